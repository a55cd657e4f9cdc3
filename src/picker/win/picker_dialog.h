// The picker's dialog window: dialog resource 103 run modally around a CPickerWindow.
//
// The shell is the routing table of the picker: the dialog's messages (map 0) and those of the
// four hooked controls (maps 1 to 4) go to one handler each, and the handlers are the picker's
// own operations. What is left here is what needs a drawing context of the message itself:
// the owner-drawn items and the tab strip's paint.
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
