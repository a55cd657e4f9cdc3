// PickerHost on the Windows window system: the picker's window effects as Win32 calls.
//
// One object per running dialog, made by the dialog shell and given to CPickerWindow::Host for
// the dialog's life. WindowHandle is an HWND here. AttachHook subclasses a control and sends its
// messages to the shell's message map with the map number (see picker_dialog.cpp).
#pragma once

#include <windows.h>

#include "picker/picker_host.h"

namespace orrelux {

inline HWND ToHwnd(WindowHandle window) {
    return static_cast<HWND>(window);
}
inline WindowHandle ToHandle(HWND window) {
    return static_cast<WindowHandle>(window);
}

// Receives the messages of a hooked control: map 1 to 4 of the picker's routing table.
class ControlMessageSink {
public:
    // Returns true when handled, with the result in `result`; false sends the message on to the
    // control's own procedure.
    virtual bool OnControlMessage(int map, HWND control, UINT message, WPARAM wParam, LPARAM lParam,
                                  LRESULT& result) = 0;

protected:
    ~ControlMessageSink() = default;
};

class Win32PickerHost final : public PickerHost {
public:
    explicit Win32PickerHost(ControlMessageSink& sink) : sink_(sink) {}
    ~Win32PickerHost() override;
    Win32PickerHost(const Win32PickerHost&) = delete;
    Win32PickerHost& operator=(const Win32PickerHost&) = delete;

    // Puts every hooked control's own procedure back; also done by the destructor.
    void DetachHooks();
    // Calls the hooked control's own procedure, for a message the map leaves unhandled or
    // wants the control to handle first.
    static LRESULT CallControlProcedure(HWND control, UINT message, WPARAM wParam, LPARAM lParam);

    WindowHandle GetDialogItem(WindowHandle dialog, int id) override;
    WindowHandle GetParent(WindowHandle window) override;
    void EndDialog(WindowHandle dialog, int result) override;
    bool AttachHook(WindowHandle control, int map) override;
    bool GetClientRectIn(WindowHandle window, WindowHandle reference, Rect& rect) override;
    bool GetWindowRectIn(WindowHandle window, WindowHandle reference, Rect& rect) override;
    void MoveWindow(WindowHandle window, const Rect& rect) override;
    void ShowWindow(WindowHandle window, bool visible) override;
    void EnableWindow(WindowHandle window, bool enabled) override;
    void SetFocus(WindowHandle window) override;
    bool HasFocus(WindowHandle window) override;
    void SetCapture(WindowHandle window) override;
    void ReleaseCapture() override;
    void InvalidateClient(WindowHandle window) override;
    void UpdateWindow(WindowHandle window) override;
    void SetWindowText(WindowHandle window, const wchar_t* text) override;
    int GetWindowText(WindowHandle window, wchar_t* buffer, int capacity) override;
    void DrawWindowText(WindowHandle window, int x, int y, const wchar_t* text) override;
    void SetEditReadOnly(WindowHandle edit, bool readOnly) override;
    void LimitText(WindowHandle edit, int characters) override;
    void GetEditSelection(WindowHandle edit, int& start, int& end) override;
    void SetEditSelection(WindowHandle edit, int start, int end) override;
    WindowHandle CreateUpDown(WindowHandle parent, int id, WindowHandle buddy, const Rect& bounds,
                              int lower, int upper, int position) override;
    int TabCount(WindowHandle tab) override;
    bool SelectTab(WindowHandle tab, int index) override;
    int GetTabSelection(WindowHandle tab) override;
    bool InsertTab(WindowHandle tab, int index, int image, wchar_t* text,
                   int textCapacity) override;
    bool GetTabItemRect(WindowHandle tab, int index, Rect& rect) override;
    void SetTabItemSize(WindowHandle tab, int width, int height) override;
    ImageListHandle CreateTabImages() override;
    void SetTabImages(WindowHandle tab, ImageListHandle images) override;
    void DestroyTabImages(ImageListHandle images) override;
    int AddComboItem(WindowHandle combo, const wchar_t* text) override;
    void SetComboItemData(WindowHandle combo, int index, std::intptr_t data) override;
    std::intptr_t GetComboItemData(WindowHandle combo, int index) override;
    int GetComboSelection(WindowHandle combo) override;
    void SetComboSelection(WindowHandle combo, int index) override;
    ColorRef GetSystemColor(int index) override;
    bool GetBackgroundColor(WindowHandle window, ColorRef& color) override;
    std::unique_ptr<SurfaceBuffer> CreateWindowSurface(WindowHandle window, int inset, int& width,
                                                       int& height) override;

private:
    struct Hook {
        HWND control = nullptr;
        int map = 0;
        WNDPROC original = nullptr;
        Win32PickerHost* host = nullptr;
    };
    static LRESULT CALLBACK HookProcedure(HWND control, UINT message, WPARAM wParam, LPARAM lParam);
    static Hook* FindHook(HWND control);

    ControlMessageSink& sink_;
    // One record per hooked control (at most the four of the routing table); owned here and
    // reached from the control through a window property while it is attached.
    Hook hooks_[4];
};

} // namespace orrelux
