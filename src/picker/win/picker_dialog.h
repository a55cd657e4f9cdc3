// The picker's dialog window: dialog resource 103 run modally around a CPickerWindow.
#pragma once

#include <windows.h>

#include "picker/picker_window.h"

namespace orrelux {

// Runs dialog 103 modally with `owner` (may be null) and the picker as the dialog's window
// object. Returns the dialog's result: 1 OK, 2 Cancel, 0 when its start failed, -1 when the
// dialog could not be created at all.
INT_PTR RunPickerDialog(CPickerWindow& picker, HWND owner);

// The module that holds the dialog templates and bitmaps: the DLL (or test program) this code
// is linked into.
HINSTANCE ResourceModule();

} // namespace orrelux
