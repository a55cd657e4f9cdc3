// Pointer and key input of the colour picker: positions on the plane and the strip as hue,
// saturation and brightness.
//
// Pointer steps and key steps work in hue, saturation and brightness, not in RGB, so that a hue
// survives while the colour passes through grey or black. The maps here are the inverse of the
// marker placement (CPickerWindow::PlacePlaneMarker, PlaceStripMarker): positions are in the
// control's client coordinates, frame inset included. The handlers that use them (OnButtonDown,
// OnPlaneKeyDown, ...) are members of CPickerWindow (picker_window.h) and live in
// pointer_input.cpp; the key codes and flags they take are in input_codes.h.
#pragma once

#include "picker/plane_geometry.h"

#include <cstdint>

namespace orrelux {

// Values of CPickerWindow::DragTarget: the control that a pointer drag runs on.
constexpr int kDragNone = 0;
constexpr int kDragPlane = 1;
constexpr int kDragStrip = 2;
constexpr int kDragPaletteGrid = 3;

// A typed, pointed or stepped value held to low..high. The lower bound is applied first, so
// that when the range is empty (a control smaller than its frame) the upper bound wins.
constexpr int HoldTo(int value, int low, int high) {
    if (value < low)
        value = low;
    if (value > high)
        value = high;
    return value;
}

// Hue, saturation and brightness as a step computes them: signed, so that a key step may pass
// a limit before it is held. Hue 0..360, the others 16.16 in 0..0x10000.
struct HsbStep {
    int hue = 0;
    int saturation = 0;
    int brightness = 0;
};

// The two coordinates that a plane position gives on pages 0 (hue, saturation), 1 (hue and
// saturation, polar) and 2 (saturation, brightness); the third is left as it was. Other pages,
// and a plane without inner pixels, leave hsb untouched. Results are held to their ranges.
void PlanePointToHsb(int page, const PlaneGeometry& geometry, int x, int y, HsbStep& hsb);

// The coordinate that a strip row gives: hue on page 2, brightness on pages 0, 1, 3 and 4.
// stripHeight is the strip's inner height (client height less 2 * inset).
void StripRowToHsb(int page, int stripHeight, int inset, int row, HsbStep& hsb);

// A pointer message's position parameter: x in the low 16 bits and y in the high 16 bits, each
// signed, so that a position left of or above the window under capture comes out negative.
struct PointerPosition {
    int x = 0;
    int y = 0;
};
PointerPosition PositionFromMessage(std::uint32_t position);

} // namespace orrelux
