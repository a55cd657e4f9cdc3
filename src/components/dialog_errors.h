// Status codes that both dialog components return as they are: the constants of the type
// library's OrreluxDialogsConstants module, and the out-of-range code of the file dialog's index
// properties, which has no name in the library. They are plain negative numbers, not HRESULTs
// built from severity, facility and code.
#pragma once

#include <windows.h>

namespace orrelux {

inline constexpr HRESULT kOrreluxDialogsErrorStringTooLong = -1518; // 0xFFFFFA12
inline constexpr HRESULT kOrreluxDialogsErrorAlreadyOpened = -1520; // 0xFFFFFA10
inline constexpr HRESULT kIndexOutOfRange = -26;                    // 0xFFFFFFE6

} // namespace orrelux
