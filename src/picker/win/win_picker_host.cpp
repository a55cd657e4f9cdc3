#include "picker/win/win_picker_host.h"

#include <commctrl.h>

#include "picker/win/dib_surface.h"
#include "picker/win/picker_dialog.h"
#include "platform/handles.h"

namespace orrelux {

namespace {

// The window property through which a hooked control finds its record.
constexpr wchar_t kHookProperty[] = L"OrreluxPickerHook";

constexpr int kTabPicturesBitmap = 202;
constexpr int kTabMasksBitmap = 204;
constexpr int kTabImageSize = 16;
constexpr int kTabImageCount = 6;
constexpr int kTabImageGrowth = 10;

// The up-down style of the channel fields: child, visible, UDS_SETBUDDYINT, UDS_ALIGNRIGHT,
// UDS_ARROWKEYS, UDS_NOTHOUSANDS.
constexpr DWORD kChannelSpinStyle = 0x500000A6;

Rect FromRect(const RECT& r) {
    return Rect{r.left, r.top, r.right, r.bottom};
}

bool MapRect(HWND from, HWND to, RECT& rect) {
    // MapWindowPoints returns 0 both for failure and for a zero offset: tell them apart by the
    // last error, which it clears on success.
    ::SetLastError(ERROR_SUCCESS);
    if (::MapWindowPoints(from, to, reinterpret_cast<POINT*>(&rect), 2) == 0 &&
        ::GetLastError() != ERROR_SUCCESS)
        return false;
    return true;
}

} // namespace

Win32PickerHost::~Win32PickerHost() {
    DetachHooks();
}

void Win32PickerHost::DetachHooks() {
    for (Hook& hook : hooks_) {
        if (!hook.control)
            continue;
        if (::IsWindow(hook.control)) {
            ::SetWindowLongPtrW(hook.control, GWLP_WNDPROC,
                                reinterpret_cast<LONG_PTR>(hook.original));
            ::RemovePropW(hook.control, kHookProperty);
        }
        hook = Hook{};
    }
}

Win32PickerHost::Hook* Win32PickerHost::FindHook(HWND control) {
    return static_cast<Hook*>(::GetPropW(control, kHookProperty));
}

LRESULT Win32PickerHost::CallControlProcedure(HWND control, UINT message, WPARAM wParam,
                                              LPARAM lParam) {
    const Hook* hook = FindHook(control);
    if (!hook || !hook->original)
        return ::DefWindowProcW(control, message, wParam, lParam);
    return ::CallWindowProcW(hook->original, control, message, wParam, lParam);
}

LRESULT CALLBACK Win32PickerHost::HookProcedure(HWND control, UINT message, WPARAM wParam,
                                                LPARAM lParam) {
    Hook* hook = FindHook(control);
    if (!hook)
        return ::DefWindowProcW(control, message, wParam, lParam);
    // The control goes away before the dialog: unhook on its last message so that nothing
    // calls through a record that no longer matches it.
    if (message == WM_NCDESTROY) {
        const WNDPROC original = hook->original;
        ::SetWindowLongPtrW(control, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(original));
        ::RemovePropW(control, kHookProperty);
        *hook = Hook{};
        return ::CallWindowProcW(original, control, message, wParam, lParam);
    }
    LRESULT result = 0;
    if (hook->host->sink_.OnControlMessage(hook->map, control, message, wParam, lParam, result))
        return result;
    return ::CallWindowProcW(hook->original, control, message, wParam, lParam);
}

WindowHandle Win32PickerHost::GetDialogItem(WindowHandle dialog, int id) {
    return ToHandle(::GetDlgItem(ToHwnd(dialog), id));
}

WindowHandle Win32PickerHost::GetParent(WindowHandle window) {
    return ToHandle(::GetParent(ToHwnd(window)));
}

void Win32PickerHost::EndDialog(WindowHandle dialog, int result) {
    ::EndDialog(ToHwnd(dialog), result);
}

bool Win32PickerHost::AttachHook(WindowHandle control, int map) {
    const HWND window = ToHwnd(control);
    if (!window || FindHook(window))
        return false;
    for (Hook& hook : hooks_) {
        if (hook.control)
            continue;
        hook = Hook{window, map, nullptr, this};
        if (!::SetPropW(window, kHookProperty, &hook)) {
            hook = Hook{};
            return false;
        }
        hook.original = reinterpret_cast<WNDPROC>(
            ::SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&HookProcedure)));
        return hook.original != nullptr;
    }
    return false;
}

bool Win32PickerHost::GetClientRectIn(WindowHandle window, WindowHandle reference, Rect& rect) {
    RECT client;
    if (!window || !::GetClientRect(ToHwnd(window), &client))
        return false;
    if (reference && !MapRect(ToHwnd(window), ToHwnd(reference), client))
        return false;
    rect = FromRect(client);
    return true;
}

bool Win32PickerHost::GetWindowRectIn(WindowHandle window, WindowHandle reference, Rect& rect) {
    RECT outer;
    if (!window || !::GetWindowRect(ToHwnd(window), &outer))
        return false;
    // Screen coordinates into the reference's client area, or the window's own.
    if (!MapRect(HWND_DESKTOP, ToHwnd(reference ? reference : window), outer))
        return false;
    rect = FromRect(outer);
    return true;
}

void Win32PickerHost::MoveWindow(WindowHandle window, const Rect& rect) {
    ::MoveWindow(ToHwnd(window), rect.left, rect.top, rect.Width(), rect.Height(), TRUE);
}

void Win32PickerHost::ShowWindow(WindowHandle window, bool visible) {
    ::ShowWindow(ToHwnd(window), visible ? SW_SHOW : SW_HIDE);
}

void Win32PickerHost::EnableWindow(WindowHandle window, bool enabled) {
    ::EnableWindow(ToHwnd(window), enabled ? TRUE : FALSE);
}

void Win32PickerHost::SetFocus(WindowHandle window) {
    ::SetFocus(ToHwnd(window));
}

bool Win32PickerHost::HasFocus(WindowHandle window) {
    return window && ::GetFocus() == ToHwnd(window);
}

void Win32PickerHost::SetCapture(WindowHandle window) {
    ::SetCapture(ToHwnd(window));
}

void Win32PickerHost::ReleaseCapture() {
    ::ReleaseCapture();
}

void Win32PickerHost::InvalidateClient(WindowHandle window) {
    ::InvalidateRect(ToHwnd(window), nullptr, FALSE);
}

void Win32PickerHost::UpdateWindow(WindowHandle window) {
    ::UpdateWindow(ToHwnd(window));
}

void Win32PickerHost::SetWindowText(WindowHandle window, const wchar_t* text) {
    ::SetWindowTextW(ToHwnd(window), text);
}

int Win32PickerHost::GetWindowText(WindowHandle window, wchar_t* buffer, int capacity) {
    if (!buffer || capacity <= 0)
        return 0;
    buffer[0] = L'\0';
    return ::GetWindowTextW(ToHwnd(window), buffer, capacity);
}

void Win32PickerHost::DrawWindowText(WindowHandle window, int x, int y, const wchar_t* text) {
    WindowDC context(ToHwnd(window));
    if (!context || !text)
        return;
    SelectGuard font(context.Get(), ::GetStockObject(DEFAULT_GUI_FONT));
    const int oldMode = ::SetBkMode(context.Get(), TRANSPARENT);
    ::TextOutW(context.Get(), x, y, text, static_cast<int>(::wcslen(text)));
    ::SetBkMode(context.Get(), oldMode);
}

void Win32PickerHost::SetEditReadOnly(WindowHandle edit, bool readOnly) {
    ::SendMessageW(ToHwnd(edit), EM_SETREADONLY, readOnly ? TRUE : FALSE, 0);
}

void Win32PickerHost::LimitText(WindowHandle edit, int characters) {
    ::SendMessageW(ToHwnd(edit), EM_LIMITTEXT, static_cast<WPARAM>(characters), 0);
}

void Win32PickerHost::GetEditSelection(WindowHandle edit, int& start, int& end) {
    DWORD first = 0;
    DWORD last = 0;
    ::SendMessageW(ToHwnd(edit), EM_GETSEL, reinterpret_cast<WPARAM>(&first),
                   reinterpret_cast<LPARAM>(&last));
    start = static_cast<int>(first);
    end = static_cast<int>(last);
}

void Win32PickerHost::SetEditSelection(WindowHandle edit, int start, int end) {
    ::SendMessageW(ToHwnd(edit), EM_SETSEL, static_cast<WPARAM>(start), static_cast<LPARAM>(end));
}

WindowHandle Win32PickerHost::CreateUpDown(WindowHandle parent, int id, WindowHandle buddy,
                                           const Rect& bounds, int lower, int upper, int position) {
    return ToHandle(::CreateUpDownControl(kChannelSpinStyle, bounds.left, bounds.top,
                                          bounds.Width(), bounds.Height(), ToHwnd(parent), id,
                                          ResourceModule(), ToHwnd(buddy), upper, lower, position));
}

int Win32PickerHost::TabCount(WindowHandle tab) {
    return static_cast<int>(::SendMessageW(ToHwnd(tab), TCM_GETITEMCOUNT, 0, 0));
}

bool Win32PickerHost::SelectTab(WindowHandle tab, int index) {
    ::SendMessageW(ToHwnd(tab), TCM_SETCURSEL, static_cast<WPARAM>(index), 0);
    return GetTabSelection(tab) == index;
}

int Win32PickerHost::GetTabSelection(WindowHandle tab) {
    return static_cast<int>(::SendMessageW(ToHwnd(tab), TCM_GETCURSEL, 0, 0));
}

bool Win32PickerHost::InsertTab(WindowHandle tab, int index, int image, wchar_t* text,
                                int textCapacity) {
    TCITEMW item = {};
    item.mask = TCIF_IMAGE;
    item.pszText = text;
    item.cchTextMax = textCapacity;
    item.iImage = image;
    return ::SendMessageW(ToHwnd(tab), TCM_INSERTITEMW, static_cast<WPARAM>(index),
                          reinterpret_cast<LPARAM>(&item)) != -1;
}

bool Win32PickerHost::GetTabItemRect(WindowHandle tab, int index, Rect& rect) {
    RECT item;
    if (!::SendMessageW(ToHwnd(tab), TCM_GETITEMRECT, static_cast<WPARAM>(index),
                        reinterpret_cast<LPARAM>(&item)))
        return false;
    rect = FromRect(item);
    return true;
}

void Win32PickerHost::SetTabItemSize(WindowHandle tab, int width, int height) {
    ::SendMessageW(ToHwnd(tab), TCM_SETITEMSIZE, 0, MAKELPARAM(width, height));
}

ImageListHandle Win32PickerHost::CreateTabImages() {
    const HINSTANCE module = ResourceModule();
    UniqueBitmap pictures(static_cast<HBITMAP>(::LoadImageW(
        module, MAKEINTRESOURCEW(kTabPicturesBitmap), IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION)));
    UniqueBitmap masks(static_cast<HBITMAP>(::LoadImageW(module, MAKEINTRESOURCEW(kTabMasksBitmap),
                                                         IMAGE_BITMAP, 0, 0, LR_MONOCHROME)));
    UniqueImageList images(::ImageList_Create(kTabImageSize, kTabImageSize, ILC_COLOR24 | ILC_MASK,
                                              kTabImageCount, kTabImageGrowth));
    if (!images)
        return nullptr;
    // The list copies the pictures; both bitmaps go when this returns.
    ::ImageList_Add(images.Get(), pictures.Get(), masks.Get());
    return images.Detach();
}

void Win32PickerHost::SetTabImages(WindowHandle tab, ImageListHandle images) {
    ::SendMessageW(ToHwnd(tab), TCM_SETIMAGELIST, 0, reinterpret_cast<LPARAM>(images));
}

void Win32PickerHost::DestroyTabImages(ImageListHandle images) {
    UniqueImageList owned(static_cast<HIMAGELIST>(images));
}

int Win32PickerHost::AddComboItem(WindowHandle combo, const wchar_t* text) {
    // The combo keeps no strings of its own: the address is stored as the item's value, and
    // the caller replaces it with its own.
    return static_cast<int>(
        ::SendMessageW(ToHwnd(combo), CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text)));
}

void Win32PickerHost::SetComboItemData(WindowHandle combo, int index, std::intptr_t data) {
    ::SendMessageW(ToHwnd(combo), CB_SETITEMDATA, static_cast<WPARAM>(index),
                   static_cast<LPARAM>(data));
}

std::intptr_t Win32PickerHost::GetComboItemData(WindowHandle combo, int index) {
    return static_cast<std::intptr_t>(
        ::SendMessageW(ToHwnd(combo), CB_GETITEMDATA, static_cast<WPARAM>(index), 0));
}

int Win32PickerHost::GetComboSelection(WindowHandle combo) {
    return static_cast<int>(::SendMessageW(ToHwnd(combo), CB_GETCURSEL, 0, 0));
}

void Win32PickerHost::SetComboSelection(WindowHandle combo, int index) {
    ::SendMessageW(ToHwnd(combo), CB_SETCURSEL, static_cast<WPARAM>(index), 0);
}

ColorRef Win32PickerHost::GetSystemColor(int index) {
    return ::GetSysColor(index);
}

bool Win32PickerHost::GetBackgroundColor(WindowHandle window, ColorRef& color) {
    WindowDC context(ToHwnd(window));
    if (!context)
        return false;
    color = ::GetBkColor(context.Get());
    return true;
}

std::unique_ptr<SurfaceBuffer> Win32PickerHost::CreateWindowSurface(WindowHandle window, int inset,
                                                                    int& width, int& height) {
    RECT client;
    if (!window || !::GetClientRect(ToHwnd(window), &client))
        return nullptr;
    auto surface = DibSurface::Create(ToHwnd(window), client.right, client.bottom);
    if (!surface)
        return nullptr;
    width = client.right - 2 * inset;
    height = client.bottom - 2 * inset;
    return surface;
}

} // namespace orrelux
