// Key codes, pointer flags and dialog codes that the picker's handlers take and give.
//
// They are the values of the Windows headers (VK_LEFT, VK_UP, VK_RIGHT, VK_DOWN, MK_LBUTTON,
// DLGC_WANTARROWS), named apart from the system's macros so that the portable layers need no
// windows.h and the shell can include both. The shell checks them against the system's with
// static_assert.
#pragma once

#include <cstdint>

namespace orrelux {

// Virtual-key codes of WM_KEYDOWN.
constexpr int kVkLeft = 0x25;
constexpr int kVkUp = 0x26;
constexpr int kVkRight = 0x27;
constexpr int kVkDown = 0x28;

// The left-button bit of a pointer message's key flags.
constexpr std::uint32_t kMkLButton = 0x0001;

// The answer to WM_GETDLGCODE that leaves the arrow keys to the control; Tab still moves on.
constexpr int kDlgcWantArrows = 0x0001;

} // namespace orrelux
