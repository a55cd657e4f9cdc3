// The pane of the open and save dialog (template 130): its start in a show, the captions that
// reach the running dialog, the seven property rows and their alignment, the preview check box,
// the progress bar and the context help of its controls.
#include "components/file_dialog.h"

#include <commctrl.h>
#include <htmlhelp.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "filedialog/image_probe_text.h"
#include "filedialog/win/preview_bitmap.h"

namespace orrelux {

namespace {

using filedialog::kPropertyRowCount;

// The rows of the pane: a caption control and a value control each.
struct RowControls {
    int caption;
    int value;
};
constexpr RowControls kRowControls[kPropertyRowCount] = {
    {170, 171}, {172, 173}, {174, 175}, {176, 177}, {178, 179}, {196, 197}, {198, 199},
};

// Controls of the pane.
constexpr int kPreviewControl = 1010;
constexpr int kPreviewCheckControl = 1011;
constexpr int kProgressControl = 1100;

// Controls of the system dialog that captions go to.
constexpr int kLookInLabelControl = 1091;
constexpr int kReadOnlyCheckControl = 1040;
constexpr int kFileNameLabelControl = 1090;
constexpr int kFileTypeLabelControl = 1089;
constexpr int kHelpButtonControl = 1038;

// The title that a full caption update shows when the client never put one.
constexpr wchar_t kOpenTitle[] = L"Open file";
constexpr wchar_t kSaveTitle[] = L"Save file";

// The preview's client rectangle until the control has been measured.
constexpr RECT kUnmeasuredPreview = {0, 0, 100, 100};

// The progress bar's range at the start of a load.
constexpr LONG kStartRange = 100;

HINSTANCE ThisModule() {
    HMODULE module = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                             GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         reinterpret_cast<LPCWSTR>(&ThisModule), &module);
    return module;
}

int ClampRow(int row) {
    if (row < 0)
        return 0;
    if (row >= static_cast<int>(kPropertyRowCount))
        return static_cast<int>(kPropertyRowCount) - 1;
    return row;
}

// A control's client rectangle in the coordinates of the pane.
bool RectInPane(HWND control, HWND pane, RECT& rect) {
    if (!control || !::GetClientRect(control, &rect))
        return false;
    ::MapWindowPoints(control, pane, reinterpret_cast<POINT*>(&rect), 2);
    return true;
}

// Moves a row's control at its own size. It is hidden while it moves, so that no trace of it is
// left at the old place.
void MoveRowControl(HWND control, const RECT& current, LONG x, LONG y) {
    ::ShowWindow(control, SW_HIDE);
    ::MoveWindow(control, x, y, current.right - current.left, current.bottom - current.top, TRUE);
    ::ShowWindow(control, SW_SHOW);
}

void SetText(HWND control, std::u16string_view text) {
    const std::u16string closed(text);
    ::SetWindowTextW(control, reinterpret_cast<const wchar_t*>(closed.c_str()));
}

// Room for any row text: captions and values hold up to 100 characters.
constexpr int kShownRowChars = 128;

// A static control repaints itself on every WM_SETTEXT, and under a busy selection that is most
// of the dialog thread's work: a row that already shows the text is left alone. A text too long
// to compare in full is always written.
void SetRowText(HWND control, std::u16string_view text) {
    wchar_t shown[kShownRowChars] = {};
    const int length = ::GetWindowTextW(control, shown, kShownRowChars);
    if (text.size() < kShownRowChars - 1 && length >= 0 &&
        static_cast<std::size_t>(length) == text.size() &&
        text == std::u16string_view(reinterpret_cast<const char16_t*>(shown),
                                    static_cast<std::size_t>(length)))
        return;
    SetText(control, text);
}

// A value wider than its control is cut at the control's edge, measured in the control's own
// font; the rows never wrap and never show a partial ellipsis of the system's making. One memory
// DC measures all rows of a selection.
std::u16string_view FitToControl(HDC measuring, HWND control, std::u16string_view text) {
    RECT client;
    if (text.empty() || !measuring || !::GetClientRect(control, &client))
        return text;
    const auto font = reinterpret_cast<HGDIOBJ>(::SendMessageW(control, WM_GETFONT, 0, 0));
    const SelectGuard select(measuring, font ? font : ::GetStockObject(SYSTEM_FONT));
    const filedialog::TextMeasurer measure = [measuring](std::u16string_view part) {
        SIZE size = {};
        ::GetTextExtentPoint32W(measuring, reinterpret_cast<const wchar_t*>(part.data()),
                                static_cast<int>(part.size()), &size);
        return static_cast<int>(size.cx);
    };
    return filedialog::CutToRowWidth(text, static_cast<int>(client.right - client.left), measure);
}

using HtmlHelpEntry = HWND(WINAPI*)(HWND caller, LPCWSTR file, UINT command, DWORD_PTR data);

// The HTML Help library is loaded at the first request and stays for the life of the process: a
// popup that it shows lives on in its windows after the call has returned.
HtmlHelpEntry LoadHtmlHelp() {
    const HMODULE library = ::LoadLibraryW(L"hhctrl.ocx");
    if (!library)
        return nullptr;
    return reinterpret_cast<HtmlHelpEntry>(
        reinterpret_cast<void*>(::GetProcAddress(library, "HtmlHelpW")));
}

} // namespace

// ---- The start of the pane in a show -------------------------------------------------------

// Runs once per show, at CDN_INITDONE or at the first notification that needs the pane before
// it. In a show without pane every window handle stays 0.
//
// The client's captions reach the dialog here, all at once: whatever was put before the show
// (the title, the buttons, the labels, the check box) is what the user sees from the start, and
// not the system's texts or the template's "Preview". A title that was never put reads "Open
// file", or "Save file" in a save dialog. Puts during the show go on reaching it one by one.
void CFileDialog::AfterInit(HWND hookWindow) {
    if (PaneInitDone)
        return;
    PaneInitDone = -1;
    if (!EnablePreviewPane)
        return;
    PaneWindow = hookWindow;
    SystemDialogWindow = ::GetParent(hookWindow);
    ProgressWindow.store(::GetDlgItem(hookWindow, kProgressControl));
    PreviewCheckWindow = ::GetDlgItem(hookWindow, kPreviewCheckControl);
    PreviewWindow = ::GetDlgItem(hookWindow, kPreviewControl);

    PreviewRect = kUnmeasuredPreview;
    ::GetClientRect(PreviewWindow, &PreviewRect);
    PreviewWidth = PreviewRect.right - PreviewRect.left;
    PreviewHeight = PreviewRect.bottom - PreviewRect.top;
    // Made at the first show and kept from show to show at that size.
    if (!PreviewBitmap)
        PreviewBitmap = filedialog::CreatePreviewBitmap(PreviewWidth, PreviewHeight);

    SetPreviewCheck(EnablePreview);
    ClearAllLabels();
    RepositionLabels();
    UpdateLabel(0);
}

// ---- Captions on the running dialog --------------------------------------------------------

// `mask` 0 stands for every bit, with the title falling back to the mode's own when the client
// never put one.
void CFileDialog::UpdateLabel(unsigned mask) {
    if (!SystemDialogWindow || !PaneWindow || DesignMode())
        return;
    const bool everything = mask == 0;
    // In this order; control 0 is the system dialog's own caption.
    const struct {
        unsigned bit;
        bool onPane;
        int control;
    } kTargets[] = {
        {kUpdateTitle, false, 0},
        {kUpdateOkButton, false, IDOK},
        {kUpdateLookIn, false, kLookInLabelControl},
        {kUpdateShowPreview, true, kPreviewCheckControl},
        {kUpdateReadOnly, false, kReadOnlyCheckControl},
        {kUpdateFileNameLabel, false, kFileNameLabelControl},
        {kUpdateFileTypeLabel, false, kFileTypeLabelControl},
        {kUpdateCancelButton, false, IDCANCEL},
        {kUpdateHelpButton, false, kHelpButtonControl},
    };
    for (const auto& target : kTargets) {
        if (!everything && !(mask & target.bit))
            continue;
        const wchar_t* text = nullptr;
        switch (target.bit) {
        case kUpdateTitle:
            if (everything && !TitleSet)
                text = DialogMode == kSaveMode ? kSaveTitle : kOpenTitle;
            else
                text = Title;
            break;
        case kUpdateOkButton:
            text = DialogMode == kSaveMode ? SaveButtonCaption : OpenButtonCaption;
            break;
        case kUpdateLookIn:
            text = LookInLabelCaption;
            break;
        case kUpdateShowPreview:
            text = ShowPreviewCheckBoxCaption;
            break;
        case kUpdateReadOnly:
            text = ReadOnlyCheckBoxCaption;
            break;
        case kUpdateFileNameLabel:
            text = FileNameLabelCaption;
            break;
        case kUpdateFileTypeLabel:
            text = FileTypeLabelCaption;
            break;
        case kUpdateCancelButton:
            text = CancelButtonCaption;
            break;
        default:
            text = HelpButtonCaption;
            break;
        }
        if (target.control == 0)
            ::SetWindowTextW(SystemDialogWindow, text);
        else
            ::SetDlgItemTextW(target.onPane ? PaneWindow : SystemDialogWindow, target.control,
                              text);
    }
}

// ---- The property rows ---------------------------------------------------------------------

const CFileDialog::RowWindowTable& CFileDialog::RowWindowsOfPane() const {
    if (RowWindows.pane != PaneWindow) {
        RowWindows = RowWindowTable();
        RowWindows.pane = PaneWindow;
        for (std::size_t row = 0; PaneWindow && row < kPropertyRowCount; ++row) {
            RowWindows.captions[row] = ::GetDlgItem(PaneWindow, kRowControls[row].caption);
            RowWindows.values[row] = ::GetDlgItem(PaneWindow, kRowControls[row].value);
        }
    }
    return RowWindows;
}

HWND CFileDialog::GetLabelWindow(int row) const {
    return RowWindowsOfPane().captions[ClampRow(row)];
}

HWND CFileDialog::GetValueWindow(int row) const {
    return RowWindowsOfPane().values[ClampRow(row)];
}

void CFileDialog::ClearAllLabels() {
    for (int row = 0; row < static_cast<int>(kPropertyRowCount); ++row) {
        if (const HWND caption = GetLabelWindow(row))
            SetRowText(caption, u"");
        if (const HWND value = GetValueWindow(row))
            SetRowText(value, u"");
    }
}

void CFileDialog::SetImagePropTexts(const filedialog::PropertyRows& rows) {
    const UniqueMemoryDC measuring(::CreateCompatibleDC(nullptr));
    for (int row = 0; row < static_cast<int>(kPropertyRowCount); ++row) {
        if (const HWND caption = GetLabelWindow(row))
            SetRowText(caption, rows[row].caption);
        if (const HWND value = GetValueWindow(row))
            SetRowText(value, FitToControl(measuring.Get(), value, rows[row].value));
    }
}

bool CFileDialog::NeedThisLabel(std::uint32_t bit) const {
    using filedialog::PropertyKind;
    using filedialog::PropertyLabelBit;
    const wchar_t* caption = nullptr;
    if (bit == PropertyLabelBit(PropertyKind::Dimensions))
        caption = DimensionsLabelCaption;
    else if (bit == PropertyLabelBit(PropertyKind::Date))
        caption = DateLabelCaption;
    else if (bit == PropertyLabelBit(PropertyKind::Size))
        caption = SizeLabelCaption;
    else if (bit == PropertyLabelBit(PropertyKind::Type))
        caption = TypeLabelCaption;
    else if (bit == PropertyLabelBit(PropertyKind::ColorSpace))
        caption = ColorSpaceLabelCaption;
    else if (bit == PropertyLabelBit(PropertyKind::ColorDepth))
        caption = ColorDepthLabelCaption;
    else if (bit == PropertyLabelBit(PropertyKind::Transparency))
        caption = TransparencyLabelCaption;
    return caption && caption[0] != L'\0';
}

// Rows 2 to 6 follow rows 0 and 1: captions at the left edge of row 0's caption, values at the
// right edge of row 0's value, one pitch apart. Rows 0 and 1 are never moved; a row whose
// controls are missing is skipped and takes no pitch.
void CFileDialog::RepositionLabels() {
    RECT caption0, caption1, value0;
    if (!RectInPane(GetLabelWindow(0), PaneWindow, caption0) ||
        !RectInPane(GetLabelWindow(1), PaneWindow, caption1) ||
        !RectInPane(GetValueWindow(0), PaneWindow, value0))
        return;
    const LONG left = caption0.left;
    const LONG right = value0.right;
    const LONG pitch = caption1.top - caption0.top;
    LONG y = caption1.top;
    for (int row = 2; row < static_cast<int>(kPropertyRowCount); ++row) {
        const HWND caption = GetLabelWindow(row);
        const HWND value = GetValueWindow(row);
        RECT captionRect, valueRect;
        if (!RectInPane(caption, PaneWindow, captionRect) ||
            !RectInPane(value, PaneWindow, valueRect))
            continue;
        y += pitch;
        if (captionRect.top != y || captionRect.left != left)
            MoveRowControl(caption, captionRect, left, y);
        const LONG x = right - (valueRect.right - valueRect.left);
        if (valueRect.top != y || valueRect.left != x)
            MoveRowControl(value, valueRect, x, y);
    }
}

// ---- The preview check box -----------------------------------------------------------------

LONG CFileDialog::GetPreviewCheck() const {
    if (!PreviewCheckWindow)
        return 0;
    return ::SendMessageW(PreviewCheckWindow, BM_GETCHECK, 0, 0) == BST_CHECKED ? -1 : 0;
}

// BM_SETCHECK sends no notification: the box moves, and no load starts or stops.
void CFileDialog::SetPreviewCheck(LONG state) {
    if (PreviewCheckWindow)
        ::SendMessageW(PreviewCheckWindow, BM_SETCHECK, state ? BST_CHECKED : BST_UNCHECKED, 0);
}

// ---- The progress bar ----------------------------------------------------------------------

// Both run on the engine's threads. The dialog's thread can take the window away at any moment
// (BeforeClose, or the system ending the dialog), so it is looked at again before each message.
bool CFileDialog::ProgressBarStillThere(HWND bar) const {
    return bar && ProgressWindow.load() == bar && ::IsWindow(bar);
}

void CFileDialog::ShowProgressBar(bool show) {
    const HWND bar = ProgressWindow.load();
    if (!ProgressBarStillThere(bar))
        return;
    const bool visible = ::IsWindowVisible(bar) != FALSE;
    if (show && !visible) {
        SetProgress(0, kStartRange);
        if (ProgressBarStillThere(bar))
            ::ShowWindow(bar, SW_SHOW);
    } else if (!show && visible) {
        ::ShowWindow(bar, SW_HIDE);
    }
}

// While the bar is visible its position never goes back. The range takes the low 16 bits.
void CFileDialog::SetProgress(LONG position, LONG range) {
    const HWND bar = ProgressWindow.load();
    if (!ProgressBarStillThere(bar))
        return;
    // The cross goes as soon as a load shows progress.
    if (PreviewCrossed.load())
        DrawEmptyBitmap(false, true);
    if (range >= 0 && ProgressBarStillThere(bar))
        ::SendMessageW(bar, PBM_SETRANGE, 0,
                       MAKELPARAM(0, static_cast<WORD>(static_cast<DWORD>(range) & 0xFFFF)));
    if (!ProgressBarStillThere(bar))
        return;
    if (::IsWindowVisible(bar) && ::SendMessageW(bar, PBM_GETPOS, 0, 0) >= position)
        return;
    if (ProgressBarStillThere(bar))
        ::SendMessageW(bar, PBM_SETPOS, static_cast<WPARAM>(position), 0);
}

// ---- Context help --------------------------------------------------------------------------

// The popup of WM_HELP for the pane's controls: the help id of the control (0x808203F2 for the
// preview, 0x808203F3 for the check box) names a string of this module, whose low word is the
// string's number. Without the help library there is no popup and the answer is 0.
LRESULT CFileDialog::ShowContextHelp(const HELPINFO* helpInfo) {
    if (!helpInfo)
        return 0;
    static const HtmlHelpEntry htmlHelp = LoadHtmlHelp();
    if (!htmlHelp)
        return 0;
    HH_POPUP popup = {};
    popup.cbStruct = sizeof(popup);
    popup.hinst = ThisModule();
    popup.idString = static_cast<UINT>(helpInfo->dwContextId);
    popup.pszText = nullptr;
    popup.pt = helpInfo->MousePos;
    popup.clrForeground = static_cast<COLORREF>(-1);
    popup.clrBackground = static_cast<COLORREF>(-1);
    popup.rcMargins = RECT{-1, -1, -1, -1};
    popup.pszFont = nullptr;
    return reinterpret_cast<LRESULT>(htmlHelp(static_cast<HWND>(helpInfo->hItemHandle), nullptr,
                                              HH_DISPLAY_TEXT_POPUP,
                                              reinterpret_cast<DWORD_PTR>(&popup)));
}

} // namespace orrelux
