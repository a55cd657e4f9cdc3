#include "filedialog/win/dialog_hook.h"

#include <cstdint>

#include "components/file_dialog.h"

namespace orrelux {

namespace {

// Controls of the pane that the hook answers for.
constexpr UINT kPreviewControl = 1010;
constexpr WORD kPreviewCheckControl = 1011;

// Room for the path that a selection change mirrors into the name buffer without the pane, and
// what the growth test adds to the length of the selected names.
constexpr int kSelectedPathChars = 260;
constexpr std::int64_t kSelectionRoom = 260;

CFileDialog* ComponentOf(HWND hookWindow) {
    return static_cast<CFileDialog*>(::GetPropW(::GetParent(hookWindow), kFileDialogProperty));
}

// The system reads a hook's answer to WM_NOTIFY from DWLP_MSGRESULT. It is written for every
// notification, so that no answer of an earlier one (1 for CDN_INCLUDEITEM) is taken for a
// refusal of CDN_FILEOK.
UINT_PTR AnswerNotify(HWND hookWindow, LRESULT answer) {
    ::SetWindowLongPtrW(hookWindow, DWLP_MSGRESULT, answer);
    return static_cast<UINT_PTR>(answer);
}

// The notifications before which a running load is stopped: each of them changes or ends what
// the preview shows.
bool EndsTheCurrentLoad(UINT code) {
    switch (code) {
    case CDN_FOLDERCHANGE:
    case CDN_TYPECHANGE:
    case CDN_SELCHANGE:
    case CDN_SHAREVIOLATION:
    case CDN_FILEOK:
        return true;
    default:
        return false;
    }
}

} // namespace

// One handler per message of the hook. A friend of CFileDialog: the hook works on the
// component's fields as the component's own operations do.
class FileDialogHook {
public:
    static UINT_PTR OnHelp(LPARAM lParam);
    static UINT_PTR OnSize(HWND window);
    static UINT_PTR OnClose(HWND window);
    static UINT_PTR OnDrawItem(HWND window, const DRAWITEMSTRUCT* item);
    static UINT_PTR OnNotify(HWND window, const OFNOTIFYW* notify);
    static UINT_PTR OnInitDialog(HWND window, const OPENFILENAMEW* request);
    static UINT_PTR OnCommand(HWND window, WORD control, WORD code);

private:
    static bool PaneReady(const CFileDialog& dialog) {
        return dialog.PaneWindow && dialog.ProgressWindow.load() && dialog.PreviewCheckWindow;
    }
    static void OnFolderChange(CFileDialog& dialog);
    static void OnSelChange(CFileDialog& dialog, HWND systemDialog);
    static void GrowNameBufferFor(CFileDialog& dialog, std::int64_t needed);
    static void MirrorSelectedPath(CFileDialog& dialog, HWND systemDialog);
};

UINT_PTR FileDialogHook::OnHelp(LPARAM lParam) {
    return static_cast<UINT_PTR>(
        CFileDialog::ShowContextHelp(reinterpret_cast<const HELPINFO*>(lParam)));
}

UINT_PTR FileDialogHook::OnSize(HWND window) {
    if (CFileDialog* dialog = ComponentOf(window))
        dialog->RepositionLabels();
    return 0;
}

UINT_PTR FileDialogHook::OnClose(HWND window) {
    CFileDialog* dialog = ComponentOf(window);
    if (!dialog)
        return 0;
    dialog->BeforeClose();
    ::RemovePropW(::GetParent(window), kFileDialogProperty);
    return 0;
}

// Copies the preview bitmap to control 1010. The bitmap is shared with the load workers: a paint
// that finds it busy gives up, and the worker's own repaint brings the picture when it is done.
UINT_PTR FileDialogHook::OnDrawItem(HWND window, const DRAWITEMSTRUCT* item) {
    if (!item || item->CtlID != kPreviewControl)
        return 0;
    CFileDialog* dialog = ComponentOf(window);
    if (!dialog || !dialog->PreviewBitmap || dialog->PreviewWidth < 1 ||
        dialog->PreviewHeight < 1 || !item->hDC)
        return 0;
    const filedialog::PreviewBusyHold busy(dialog->PreviewBusy);
    if (!busy.Held())
        return 0;
    const UniqueMemoryDC memory(::CreateCompatibleDC(item->hDC));
    if (!memory)
        return 0;
    const SelectGuard select(memory.Get(), dialog->PreviewBitmap.Get());
    const RECT& area = item->rcItem;
    ::BitBlt(item->hDC, area.left, area.top, area.right - area.left, area.bottom - area.top,
             memory.Get(), 0, 0, SRCCOPY);
    return 1;
}

UINT_PTR FileDialogHook::OnNotify(HWND window, const OFNOTIFYW* notify) {
    CFileDialog* dialog = ComponentOf(window);
    if (!dialog || !notify)
        return AnswerNotify(window, 0);
    const UINT code = notify->hdr.code;
    if (dialog->EnablePreviewPane && EndsTheCurrentLoad(code)) {
        dialog->AbortLoading();
        // These can come before CDN_INITDONE: the pane starts at the first of them.
        if (!PaneReady(*dialog))
            dialog->AfterInit(window);
        if (!PaneReady(*dialog))
            return AnswerNotify(window, 0);
    }
    switch (code) {
    case CDN_INCLUDEITEM:
        return AnswerNotify(window, 1); // every item is shown
    case CDN_FOLDERCHANGE:
        OnFolderChange(*dialog);
        return AnswerNotify(window, 0);
    case CDN_SELCHANGE:
        OnSelChange(*dialog, ::GetParent(window));
        return AnswerNotify(window, 0);
    case CDN_INITDONE:
        dialog->AfterInit(window);
        return AnswerNotify(window, 1);
    default:
        // CDN_FILEOK accepts the choice; CDN_SHAREVIOLATION, CDN_TYPECHANGE and CDN_HELP take
        // the system's own course.
        return AnswerNotify(window, 0);
    }
}

void FileDialogHook::OnFolderChange(CFileDialog& dialog) {
    if (!dialog.EnablePreviewPane)
        return;
    dialog.ClearAllLabels();
    dialog.DrawEmptyBitmap(true, true);
}

void FileDialogHook::OnSelChange(CFileDialog& dialog, HWND systemDialog) {
    // Without a buffer the system answers with the room that the selected names need.
    const LRESULT specChars = ::SendMessageW(systemDialog, CDM_GETSPEC, 0, 0);
    const std::int64_t needed = static_cast<std::int64_t>(specChars) + kSelectionRoom;
    if (static_cast<std::int64_t>(dialog.OpenFileName.nMaxFile) < needed)
        GrowNameBufferFor(dialog, needed);
    if (dialog.EnablePreviewPane)
        dialog.StartReadingFile();
    else
        MirrorSelectedPath(dialog, systemDialog);
}

// The system writes the result through lpstrFile and nMaxFile when the dialog ends, so a
// selection that outgrows the buffer moves the request to a larger one now. When the larger
// buffer cannot be had, the old one stays in force with its old size.
void FileDialogHook::GrowNameBufferFor(CFileDialog& dialog, std::int64_t needed) {
    if (!dialog.FileNameBuffer.GrowFor(needed))
        return;
    dialog.OpenFileName.lpstrFile = reinterpret_cast<wchar_t*>(dialog.FileNameBuffer.Data());
    dialog.OpenFileName.nMaxFile = dialog.FileNameBuffer.Capacity();
}

// Without the pane nothing reads the selection, so the hook itself keeps FileName up to date.
void FileDialogHook::MirrorSelectedPath(CFileDialog& dialog, HWND systemDialog) {
    wchar_t path[kSelectedPathChars] = {};
    const LRESULT length = ::SendMessageW(systemDialog, CDM_GETFILEPATH, kSelectedPathChars,
                                          reinterpret_cast<LPARAM>(path));
    path[kSelectedPathChars - 1] = L'\0';
    if (length < 0 || length > kSelectedPathChars || path[0] == L'\0')
        return;
    dialog.FileNameBuffer.AssignPath(reinterpret_cast<const char16_t*>(path));
}

UINT_PTR FileDialogHook::OnInitDialog(HWND window, const OPENFILENAMEW* request) {
    if (request && request->lCustData)
        ::SetPropW(::GetParent(window), kFileDialogProperty,
                   reinterpret_cast<HANDLE>(request->lCustData));
    return 0;
}

UINT_PTR FileDialogHook::OnCommand(HWND window, WORD control, WORD code) {
    CFileDialog* dialog = ComponentOf(window);
    if (!dialog)
        return 0;
    if (control == kPreviewCheckControl && code == BN_CLICKED) {
        // The user's choice is kept for the next show as well; the current selection is loaded
        // again, or crossed out when the box went off.
        if (!dialog->EnablePreviewPane)
            return 0;
        const LONG checked = dialog->GetPreviewCheck();
        if (checked != dialog->EnablePreview) {
            dialog->EnablePreview = checked;
            dialog->StartReadingFile();
        }
    } else if (control == kPreviewControl && code == STN_CLICKED) {
        dialog->FirePreviewClick();
    } else if (control == kPreviewControl && code == STN_DBLCLK) {
        dialog->FirePreviewDblClick();
    }
    return 0;
}

UINT_PTR CALLBACK FileDialogHookProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    // Called by the system: nothing may pass out of here.
    try {
        switch (message) {
        case WM_HELP:
            return FileDialogHook::OnHelp(lParam);
        case WM_SIZE:
            return FileDialogHook::OnSize(window);
        case WM_SETREDRAW:
            return 1;
        case WM_CLOSE:
            return FileDialogHook::OnClose(window);
        case WM_DRAWITEM:
            return FileDialogHook::OnDrawItem(window,
                                              reinterpret_cast<const DRAWITEMSTRUCT*>(lParam));
        case WM_NOTIFY:
            return FileDialogHook::OnNotify(window, reinterpret_cast<const OFNOTIFYW*>(lParam));
        case WM_INITDIALOG:
            return FileDialogHook::OnInitDialog(window,
                                                reinterpret_cast<const OPENFILENAMEW*>(lParam));
        case WM_COMMAND:
            return FileDialogHook::OnCommand(window, LOWORD(wParam), HIWORD(wParam));
        case WM_SIZING:
            return FileDialogHook::OnSize(window);
        default:
            return 0;
        }
    } catch (...) {
        return 0;
    }
}

} // namespace orrelux
