// A small client of Orrelux20Dialogs.dll: creates the ColorDialog by its ProgID, as any
// automation client would, and shows it.
//
//   color_demo.exe                 shows the dialog; prints what the user chose
//   color_demo.exe --tour DIR      opens the dialog once, visits the six pages with a colour
//                                  each, saves a picture of the dialog per page as
//                                  DIR\colour-page-N.bmp, and closes it
#include <windows.h>
#include <ole2.h>

#include <cstdio>
#include <string>

#include "OrreluxDialogs.h"
#include "platform/handles.h"
#include "screen_picture.h"

namespace {

using orrelux::ComPtr;

// The tour: one step per timer tick inside the dialog's modal loop.
struct Tour {
    IColorDialog* dialog = nullptr;
    std::wstring directory;
    int step = 0;
    int saved = 0;
};
Tour* g_tour = nullptr;

HWND DialogWindow(IColorDialog* dialog) {
    OLE_HANDLE handle = 0;
    dialog->get_Hwnd(&handle);
    return reinterpret_cast<HWND>(static_cast<UINT_PTR>(handle));
}

// Each page with a colour that shows it well; the palette page picks a cell of the Mac palette.
struct PageVisit {
    ColorDialogPage page;
    LONG argb;
};
constexpr PageVisit kVisits[] = {
    {ColorDialogPageHSBBrightness, LONG(0xFFE07020)},
    {ColorDialogPageHSBWheel, LONG(0xFF3080F0)},
    {ColorDialogPageHSBHue, LONG(0xFF20A060)},
    {ColorDialogPageRGB3DAdditive, LONG(0xFFC04080)},
    {ColorDialogPageCMY3DSubtractive, LONG(0xFF40C0C0)},
    {ColorDialogPagePalettes, LONG(0xFF6633CC)},
};

void CALLBACK TourTick(HWND, UINT, UINT_PTR, DWORD) {
    Tour& tour = *g_tour;
    const HWND window = DialogWindow(tour.dialog);
    if (!window)
        return;
    const int visit = tour.step / 2;
    if (visit >= static_cast<int>(std::size(kVisits))) {
        ::PostMessageW(window, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
        return;
    }
    if (tour.step % 2 == 0) {
        tour.dialog->put_ColorArgb(kVisits[visit].argb);
        tour.dialog->put_ActivePage(kVisits[visit].page);
    } else {
        ::UpdateWindow(window);
        const std::wstring path =
            tour.directory + L"\\colour-page-" + std::to_wstring(visit) + L".bmp";
        if (demo::SaveWindowPicture(window, path))
            ++tour.saved;
    }
    ++tour.step;
}

int Run(int argc, wchar_t** argv) {
    CLSID clsid;
    if (FAILED(::CLSIDFromProgID(L"OrreluxDialogs.ColorDialog", &clsid))) {
        std::fprintf(stderr, "OrreluxDialogs.ColorDialog is not registered\n");
        return 2;
    }
    ComPtr<IColorDialog> dialog;
    if (FAILED(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IColorDialog,
                                  dialog.PutVoid()))) {
        std::fprintf(stderr, "cannot create the ColorDialog\n");
        return 2;
    }
    orrelux::UniqueBstr title(L"Orrelux Dialogs - colour picker");
    dialog->put_Title(title.Get());

    const bool tour = argc >= 3 && std::wstring(argv[1]) == L"--tour";
    Tour state;
    UINT_PTR timer = 0;
    if (tour) {
        state.dialog = dialog.Get();
        state.directory = argv[2];
        g_tour = &state;
        timer = ::SetTimer(nullptr, 0, 400, &TourTick);
    } else {
        dialog->put_ColorArgb(LONG(0xFFE07020));
    }
    VARIANT_BOOL accepted = VARIANT_FALSE;
    const HRESULT shown = dialog->Show(&accepted);
    if (timer)
        ::KillTimer(nullptr, timer);
    if (FAILED(shown)) {
        std::fprintf(stderr, "Show failed: 0x%08lX\n", static_cast<unsigned long>(shown));
        return 1;
    }
    if (tour) {
        std::printf("saved %d pictures of the colour dialog\n", state.saved);
        return state.saved == static_cast<int>(std::size(kVisits)) ? 0 : 1;
    }
    LONG argb = 0;
    dialog->get_ColorArgb(&argb);
    std::printf("%s: ColorArgb = 0x%08lX\n", accepted ? "OK" : "Cancel",
                static_cast<unsigned long>(argb));
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
