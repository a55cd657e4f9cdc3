#include "picker/win/picker_dialog.h"

namespace orrelux {

namespace {

constexpr int kPickerDialogId = 103;

INT_PTR CALLBACK PickerDialogProc(HWND dialog, UINT message, WPARAM, LPARAM lParam) {
    switch (message) {
    case WM_INITDIALOG:
        ::SetWindowLongPtrW(dialog, DWLP_USER, lParam);
        return TRUE;
    default:
        return FALSE;
    }
}

} // namespace

HINSTANCE ResourceModule() {
    HMODULE module = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                             GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         reinterpret_cast<LPCWSTR>(&ResourceModule), &module);
    return module;
}

INT_PTR RunPickerDialog(CPickerWindow& picker, HWND owner) {
    return ::DialogBoxParamW(ResourceModule(), MAKEINTRESOURCEW(kPickerDialogId), owner,
                             &PickerDialogProc, reinterpret_cast<LPARAM>(&picker));
}

} // namespace orrelux
