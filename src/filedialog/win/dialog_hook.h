// The hook procedure of the system's Explorer-style open and save dialog.
//
// The component installs it in every show, with or without the pane (template 130). The system
// calls it for the hook's child dialog: the pane when there is one, else a bare child dialog of
// the system's making. It keeps no state of its own: the component is found through the window
// property "MY_FILEDIALOG" on the system dialog, the parent of the hook's window, which
// WM_INITDIALOG sets from lCustData of the request and WM_CLOSE removes.
#pragma once

#include <windows.h>

namespace orrelux {

// The window property on the system dialog whose value is the CFileDialog of the show.
inline constexpr wchar_t kFileDialogProperty[] = L"MY_FILEDIALOG";

// The answer for WM_NOTIFY is also stored in the dialog's DWLP_MSGRESULT, where the system
// reads it (a dialog procedure's return value only says whether it handled the message).
UINT_PTR CALLBACK FileDialogHookProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

} // namespace orrelux
