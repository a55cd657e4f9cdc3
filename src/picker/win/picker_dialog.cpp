#include "picker/win/picker_dialog.h"

#include <commctrl.h>

#include "picker/input_codes.h"
#include "picker/pointer_input.h"
#include "picker/win/dib_surface.h"
#include "picker/win/engine_palette_source.h"
#include "picker/win/win_picker_host.h"
#include "platform/handles.h"

namespace orrelux {

namespace {

static_assert(kVkLeft == VK_LEFT && kVkUp == VK_UP && kVkRight == VK_RIGHT && kVkDown == VK_DOWN);
static_assert(kMkLButton == MK_LBUTTON && kDlgcWantArrows == DLGC_WANTARROWS);

constexpr int kPickerDialogId = 103;
constexpr int kOkId = 1;
constexpr int kCancelId = 2;
constexpr int kApplyId = 202;
constexpr int kTabId = 201;
constexpr int kRedId = 209;
constexpr int kGreenId = 210;
constexpr int kBlueId = 212;
constexpr int kHexId = 214;
constexpr int kComboId = 224;
constexpr int kLabelId = 225;
constexpr int kLabelCapacity = 260; // characters read of the label, terminator included
// Notifications that arrive in a message of their own parent: WM_COMMAND and friends are sent
// back to the child with this added (the reflection of the tab strip's map).
constexpr UINT kReflectedBase = 0x2000;

// Copies a surface's pixels to a context: straight from the DIB section's memory DC when the
// surface is one, else from the pixel array itself.
void CopySurface(HDC target, int x, int y, int width, int height, const Surface& source) {
    if (source.IsEmpty() || width <= 0 || height <= 0)
        return;
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = source.Width();
    info.bmiHeader.biHeight = -source.Height(); // top-down
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    const int rows = std::min(height, source.Height());
    ::SetDIBitsToDevice(target, x, y, std::min(width, source.Width()), rows, 0, 0, 0,
                        static_cast<UINT>(source.Height()), source.Row(0), &info, DIB_RGB_COLORS);
}

void CopySurface(HDC target, const RECT& item, const SurfaceBuffer& source) {
    const int width = item.right - item.left;
    const int height = item.bottom - item.top;
    if (const auto* dib = dynamic_cast<const DibSurface*>(&source)) {
        ::BitBlt(target, item.left, item.top, width, height, dib->Context(), 0, 0, SRCCOPY);
        return;
    }
    CopySurface(target, item.left, item.top, width, height, source.Pixels());
}

void FillColour(HDC context, const RECT& rect, RgbColor color) {
    UniqueBrush brush(::CreateSolidBrush(RgbToColorRef(color)));
    if (brush)
        ::FillRect(context, &rect, brush.Get());
}

// The dialog's window object for one run of dialog 103.
class PickerDialog final : public ControlMessageSink {
public:
    explicit PickerDialog(CPickerWindow& picker) : picker_(picker), host_(*this) {}

    INT_PTR Run(HWND owner) {
        return ::DialogBoxParamW(ResourceModule(), MAKEINTRESOURCEW(kPickerDialogId), owner,
                                 &DialogProcedure, reinterpret_cast<LPARAM>(this));
    }

private:
    static INT_PTR CALLBACK DialogProcedure(HWND dialog, UINT message, WPARAM wParam,
                                            LPARAM lParam);
    // Map 0: one handler per message; false leaves the message to the dialog's defaults.
    bool Dispatch(UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result);
    // Maps 1 to 4.
    bool OnControlMessage(int map, HWND control, UINT message, WPARAM wParam, LPARAM lParam,
                          LRESULT& result) override;

    bool OnInitDialog();
    void OnDestroy();
    bool OnCommand(int id, int notification, HWND control);
    bool OnNotify(const NMHDR& header);
    bool OnDrawItem(const DRAWITEMSTRUCT& item);
    void DrawComboEntry(const DRAWITEMSTRUCT& item);
    bool OnTabPaint(HWND tab, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result);
    bool ReflectNotification(UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result);

    CPickerWindow& picker_; // the caller's thread, for the dialog's life
    Win32PickerHost host_;
    HWND dialog_ = nullptr;
};

INT_PTR CALLBACK PickerDialog::DialogProcedure(HWND dialog, UINT message, WPARAM wParam,
                                               LPARAM lParam) {
    auto* self = reinterpret_cast<PickerDialog*>(::GetWindowLongPtrW(dialog, DWLP_USER));
    if (message == WM_INITDIALOG) {
        self = reinterpret_cast<PickerDialog*>(lParam);
        ::SetWindowLongPtrW(dialog, DWLP_USER, lParam);
        self->dialog_ = dialog;
    }
    if (!self)
        return FALSE;
    LRESULT result = 0;
    if (!self->Dispatch(message, wParam, lParam, result))
        return FALSE;
    // WM_INITDIALOG answers through the return value; every other handled message through
    // DWLP_MSGRESULT.
    if (message == WM_INITDIALOG)
        return static_cast<INT_PTR>(result);
    ::SetWindowLongPtrW(dialog, DWLP_MSGRESULT, result);
    return TRUE;
}

bool PickerDialog::Dispatch(UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result) {
    switch (message) {
    case WM_INITDIALOG:
        result = OnInitDialog() ? TRUE : FALSE;
        return true;
    case WM_DESTROY:
        OnDestroy();
        return false;
    case WM_DRAWITEM:
        result = TRUE;
        return OnDrawItem(*reinterpret_cast<const DRAWITEMSTRUCT*>(lParam));
    case WM_MOUSEMOVE: {
        const PointerPosition at = PositionFromMessage(static_cast<std::uint32_t>(lParam));
        return picker_.OnPointerMove(static_cast<std::uint32_t>(wParam), at.x, at.y);
    }
    case WM_LBUTTONDOWN: {
        const PointerPosition at = PositionFromMessage(static_cast<std::uint32_t>(lParam));
        return picker_.OnButtonDown(static_cast<std::uint32_t>(wParam), at.x, at.y);
    }
    case WM_LBUTTONUP:
        return picker_.OnButtonUp();
    case WM_COMMAND:
        return OnCommand(LOWORD(wParam), HIWORD(wParam), reinterpret_cast<HWND>(lParam));
    case WM_NOTIFY:
        return OnNotify(*reinterpret_cast<const NMHDR*>(lParam));
    default:
        return false;
    }
}

bool PickerDialog::OnInitDialog() {
    picker_.DialogHandle = ToHandle(dialog_);
    picker_.Host = &host_;
    picker_.CreatePaletteSource = &CreateEnginePaletteSource;
    return picker_.OnInitDialog();
}

void PickerDialog::OnDestroy() {
    picker_.OnDestroy();
    host_.DetachHooks();
    picker_.Host = nullptr;
    picker_.DialogHandle = nullptr;
}

bool PickerDialog::OnCommand(int id, int notification, HWND control) {
    switch (id) {
    case kOkId:
    case kCancelId:
    case kApplyId:
        if (notification != BN_CLICKED)
            return false;
        if (id == kOkId)
            picker_.OnOk();
        else if (id == kCancelId)
            picker_.OnCancel();
        else
            picker_.OnApply();
        return true;
    case kRedId:
    case kGreenId:
    case kBlueId:
        if (notification != EN_UPDATE)
            return false;
        picker_.OnChannelFieldChanged(ToHandle(control));
        return true;
    case kHexId:
        if (notification != EN_UPDATE)
            return false;
        picker_.OnHexFieldChanged(ToHandle(control));
        return true;
    case kComboId:
        if (notification != CBN_SELCHANGE)
            return false;
        picker_.OnPaletteComboChanged();
        return true;
    default:
        return false;
    }
}

bool PickerDialog::OnNotify(const NMHDR& header) {
    if (header.idFrom != kTabId || header.code != static_cast<UINT>(TCN_SELCHANGE))
        return false;
    return picker_.OnTabSelectionChanged();
}

bool PickerDialog::OnDrawItem(const DRAWITEMSTRUCT& item) {
    const WindowHandle window = ToHandle(item.hwndItem);
    if (window == picker_.OldSwatchWindow || window == picker_.NewSwatchWindow) {
        const bool old = window == picker_.OldSwatchWindow;
        FillColour(item.hDC, item.rcItem, old ? picker_.OldSwatchColor : picker_.NewSwatchColor);
        return true;
    }
    if (window == picker_.PlaneWindow || window == picker_.StripWindow) {
        const bool plane = window == picker_.PlaneWindow;
        if (plane ? picker_.EnsurePlaneSurface() : picker_.EnsureStripSurface())
            CopySurface(item.hDC, item.rcItem,
                        plane ? *picker_.PlaneSurface : *picker_.StripSurface);
        return true;
    }
    if (item.CtlID == kComboId) {
        DrawComboEntry(item);
        return true;
    }
    if (window == picker_.PaletteGridWindow) {
        if (const Surface* grid = picker_.GetPaletteGridPicture())
            CopySurface(item.hDC, item.rcItem.left, item.rcItem.top,
                        item.rcItem.right - item.rcItem.left, item.rcItem.bottom - item.rcItem.top,
                        *grid);
        if (item.itemState & ODS_FOCUS)
            ::DrawFocusRect(item.hDC, &item.rcItem);
        return true;
    }
    return false;
}

void PickerDialog::DrawComboEntry(const DRAWITEMSTRUCT& item) {
    if (item.itemID == static_cast<UINT>(-1) || item.itemData == 0)
        return;
    PaletteRecord* record = picker_.PaletteRecordFromItemData(static_cast<intptr_t>(item.itemData));
    if (!record)
        return;
    const bool selected = (item.itemState & ODS_SELECTED) != 0;
    const HDC context = item.hDC;
    const COLORREF oldText =
        ::SetTextColor(context, ::GetSysColor(selected ? COLOR_HIGHLIGHTTEXT : COLOR_WINDOWTEXT));
    const COLORREF oldBack =
        ::SetBkColor(context, ::GetSysColor(selected ? COLOR_HIGHLIGHT : COLOR_WINDOW));
    TEXTMETRICW metrics = {};
    ::GetTextMetricsW(context, &metrics);
    const int length = static_cast<int>(::wcsnlen(record->Name, kPaletteNameCapacity));
    SIZE extent = {};
    const bool measured = ::GetTextExtentPoint32W(context, record->Name, length, &extent) != 0;
    const ComboEntryLayout layout = LayoutComboEntry(
        Rect{item.rcItem.left, item.rcItem.top, item.rcItem.right, item.rcItem.bottom},
        LOWORD(::GetDialogBaseUnits()), metrics.tmHeight, extent.cx);
    ::ExtTextOutW(context, layout.TextX, layout.TextY, ETO_OPAQUE | ETO_CLIPPED, &item.rcItem,
                  record->Name, static_cast<UINT>(length), nullptr);
    if (measured && layout.Strip.Width() > 0 && layout.Strip.Height() > 0) {
        if (const Surface* strip =
                picker_.GetPalettePreview(*record, layout.Strip.Width(), layout.Strip.Height()))
            CopySurface(context, layout.Strip.left, layout.Strip.top, layout.Strip.Width(),
                        layout.Strip.Height(), *strip);
    }
    ::SetTextColor(context, oldText);
    ::SetBkColor(context, oldBack);
    if (item.itemState & ODS_FOCUS)
        ::DrawFocusRect(context, &item.rcItem);
}

bool PickerDialog::OnControlMessage(int map, HWND control, UINT message, WPARAM wParam,
                                    LPARAM lParam, LRESULT& result) {
    if (map == 4) {
        if (message == WM_PAINT && OnTabPaint(control, message, wParam, lParam, result))
            return true;
        return ReflectNotification(message, wParam, lParam, result);
    }
    switch (message) {
    case WM_KEYDOWN: {
        const int key = static_cast<int>(wParam);
        result = 0;
        if (map == 1)
            return picker_.OnPlaneKeyDown(key);
        if (map == 2)
            return picker_.OnStripKeyDown(key);
        return picker_.OnPaletteGridKeyDown(key);
    }
    case WM_SETFOCUS:
    case WM_KILLFOCUS:
        // Never handled: the control's own focus handling runs after the picker's.
        if (map == 1)
            return picker_.OnPlaneFocusChange();
        if (map == 2)
            return picker_.OnStripFocusChange();
        return picker_.OnPaletteGridFocusChange();
    case WM_GETDLGCODE:
        result = picker_.OnGetDlgCode();
        return true;
    default:
        return false;
    }
}

// The "Palette:" caption of page 5 stands on the tab strip's page, drawn after the strip has
// painted itself; the static control that holds the text stays hidden.
bool PickerDialog::OnTabPaint(HWND tab, UINT message, WPARAM wParam, LPARAM lParam,
                              LRESULT& result) {
    if (picker_.ActivePage != kPalettePage)
        return false;
    result = Win32PickerHost::CallControlProcedure(tab, message, wParam, lParam);
    wchar_t text[kLabelCapacity] = {};
    if (host_.GetWindowText(picker_.PaletteLabel, text, kLabelCapacity) == 0)
        return true;
    Rect label;
    if (!host_.GetClientRectIn(host_.GetDialogItem(ToHandle(dialog_), kLabelId), ToHandle(tab),
                               label))
        return true;
    host_.DrawWindowText(ToHandle(tab), label.left, label.top, text);
    return true;
}

// A notification that a child of the tab strip sends to it goes back to that child as the
// reflected message. The strip has no children of its own in this dialog, so this is the
// framework's rule kept for completeness: without such a child the message is unhandled.
bool PickerDialog::ReflectNotification(UINT message, WPARAM wParam, LPARAM lParam,
                                       LRESULT& result) {
    HWND child = nullptr;
    switch (message) {
    case WM_COMMAND:
        child = reinterpret_cast<HWND>(lParam);
        break;
    case WM_NOTIFY:
        child = reinterpret_cast<const NMHDR*>(lParam)->hwndFrom;
        break;
    case WM_DRAWITEM:
        child = reinterpret_cast<const DRAWITEMSTRUCT*>(lParam)->hwndItem;
        break;
    default:
        return false;
    }
    if (!child || !::IsWindow(child))
        return false;
    result = ::SendMessageW(child, kReflectedBase + message, wParam, lParam);
    return true;
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
    PickerDialog dialog(picker);
    return dialog.Run(owner);
}

} // namespace orrelux
