// A small client of Orrelux20Dialogs.dll: writes a folder of sample pictures, creates the
// FileDialog by its ProgID, as any automation client would, and shows it on that folder.
//
//   file_demo.exe DIR              writes the samples into DIR and shows the open dialog there;
//                                  prints what the user chose
//   file_demo.exe --tour DIR OUT   the same, then selects a few files in turn as a user would,
//                                  waits for each preview, saves a picture of the dialog with its
//                                  pane per file as OUT\file-dialog-N.bmp, and closes the dialog
#include <windows.h>
#include <ole2.h>
#include <commctrl.h>
#include <dlgs.h>

#include <cstdio>
#include <string>

#include "OrreluxDialogs.h"
#include "platform/handles.h"
#include "sample_pictures.h"
#include "screen_picture.h"

namespace {

using orrelux::ComPtr;
using orrelux::UniqueBstr;

// The files the tour visits, each with a picture of the dialog.
constexpr const wchar_t* kVisits[] = {
    L"sunset.jpg", L"glass.png", L"portrait.jpg", L"cube.gif", L"layers.psd", L"broken.jpg",
};
// Timer ticks of 200 ms: before the first visit, and from a selection to its picture (the
// preview loads on a worker in the meantime).
constexpr int kSettleTicks = 5;
constexpr int kLoadTicks = 6;

HWND DialogWindow(IFileDialog* dialog) {
    OLE_HANDLE handle = 0;
    dialog->get_Hwnd(&handle);
    return reinterpret_cast<HWND>(static_cast<UINT_PTR>(handle));
}

// Selects one file of the system's list by its name, as a click would. The list shows names
// with or without extensions, by the user's settings.
bool SelectFile(HWND dialog, const std::wstring& name) {
    const HWND list = ::FindWindowExW(::GetDlgItem(dialog, lst2), nullptr, WC_LISTVIEWW, nullptr);
    if (!list)
        return false;
    const std::wstring stem = name.substr(0, name.find_last_of(L'.'));
    LVITEMW state = {};
    state.stateMask = LVIS_SELECTED | LVIS_FOCUSED;
    ::SendMessageW(list, LVM_SETITEMSTATE, static_cast<WPARAM>(-1),
                   reinterpret_cast<LPARAM>(&state));
    const int count = static_cast<int>(::SendMessageW(list, LVM_GETITEMCOUNT, 0, 0));
    for (int i = 0; i < count; ++i) {
        wchar_t text[MAX_PATH] = {};
        LVITEMW item = {};
        item.pszText = text;
        item.cchTextMax = MAX_PATH;
        ::SendMessageW(list, LVM_GETITEMTEXTW, i, reinterpret_cast<LPARAM>(&item));
        if (name == text || stem == text) {
            // With the focus in the list the selection shows as the user's own would.
            ::SetFocus(list);
            state.state = LVIS_SELECTED | LVIS_FOCUSED;
            ::SendMessageW(list, LVM_SETITEMSTATE, i, reinterpret_cast<LPARAM>(&state));
            ::SendMessageW(list, LVM_ENSUREVISIBLE, i, FALSE);
            return true;
        }
    }
    return false;
}

// The tour: one step per timer tick inside the dialog's modal loop.
struct Tour {
    IFileDialog* dialog = nullptr;
    std::wstring directory;
    int tick = 0;
    int saved = 0;
};
Tour* g_tour = nullptr;

void CALLBACK TourTick(HWND, UINT, UINT_PTR, DWORD) {
    Tour& tour = *g_tour;
    const HWND window = DialogWindow(tour.dialog);
    if (!window)
        return;
    const int step = tour.tick++ - kSettleTicks;
    if (step < 0)
        return;
    const int visit = step / kLoadTicks;
    if (visit >= static_cast<int>(std::size(kVisits))) {
        ::PostMessageW(window, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
        return;
    }
    if (step % kLoadTicks == 0) {
        if (!SelectFile(window, kVisits[visit]))
            std::fprintf(stderr, "not in the list: %ls\n", kVisits[visit]);
    } else if (step % kLoadTicks == kLoadTicks - 1) {
        ::RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
        const std::wstring path =
            tour.directory + L"\\file-dialog-" + std::to_wstring(visit + 1) + L".bmp";
        if (demo::SaveWindowPicture(window, path))
            ++tour.saved;
    }
}

int Run(int argc, wchar_t** argv) {
    const bool tour = argc >= 4 && std::wstring(argv[1]) == L"--tour";
    if (!tour && argc != 2) {
        std::fprintf(stderr, "usage: file_demo DIR | file_demo --tour DIR OUT\n");
        return 2;
    }
    const std::wstring samples = tour ? argv[2] : argv[1];
    for (const std::wstring& name : demo::WriteSamples(samples))
        std::fprintf(stderr, "could not write the sample %ls\n", name.c_str());

    CLSID clsid;
    if (FAILED(::CLSIDFromProgID(L"OrreluxDialogs.FileDialog", &clsid))) {
        std::fprintf(stderr, "OrreluxDialogs.FileDialog is not registered\n");
        return 2;
    }
    ComPtr<IFileDialog> dialog;
    if (FAILED(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IFileDialog,
                                  dialog.PutVoid()))) {
        std::fprintf(stderr, "cannot create the FileDialog\n");
        return 2;
    }
    UniqueBstr title(L"Orrelux Dialogs - open a picture");
    dialog->put_Title(title.Get());
    UniqueBstr folder(samples.c_str());
    dialog->put_InitialDir(folder.Get());
    dialog->put_AllowMultiSelect(VARIANT_TRUE);
    // GIF pictures need the engine's LZW decoder, which is off until a client turns it on.
    dialog->put_IsLzwEnabled(VARIANT_TRUE);

    Tour state;
    UINT_PTR timer = 0;
    if (tour) {
        state.dialog = dialog.Get();
        state.directory = argv[3];
        g_tour = &state;
        timer = ::SetTimer(nullptr, 0, 200, &TourTick);
    }
    VARIANT_BOOL accepted = VARIANT_FALSE;
    const HRESULT shown = dialog->ShowOpen(&accepted);
    if (timer)
        ::KillTimer(nullptr, timer);
    if (FAILED(shown)) {
        std::fprintf(stderr, "ShowOpen failed: 0x%08lX\n", static_cast<unsigned long>(shown));
        return 1;
    }
    if (tour) {
        std::printf("saved %d pictures of the file dialog\n", state.saved);
        return state.saved == static_cast<int>(std::size(kVisits)) ? 0 : 1;
    }
    LONG count = 0;
    dialog->get_FileCount(&count);
    std::printf("%s: %ld file(s)\n", accepted ? "OK" : "Cancel", static_cast<long>(count));
    for (LONG i = 0; i < count; ++i) {
        BSTR name = nullptr;
        if (SUCCEEDED(dialog->get_FileNames(i, &name)) && name)
            std::printf("  %ls\n", name);
        ::SysFreeString(name);
    }
    return 0;
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    if (FAILED(::OleInitialize(nullptr)))
        return 2;
    const int result = Run(argc, argv);
    ::OleUninitialize();
    return result;
}
