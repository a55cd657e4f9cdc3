// Window services of the colour picker.
//
// The picker's state machine (CPickerWindow) never talks to the window system directly: every
// effect on a window goes through PickerHost, which the Win32 shell implements while the dialog
// runs and the native tests implement with a recorder. The shell converts HWND to and from
// WindowHandle; a null WindowHandle is a window that doesn't exist.
//
// Painting that starts from a message with its own drawing context (owner-drawn items, the tab
// strip's WM_PAINT) stays in the shell: it copies the picker's surfaces and reads its swatch
// colours, so it needs no call here. All methods run on the dialog's thread, which is the
// thread of the client that called Show.
#pragma once

#include "colour/colour_values.h"
#include "picker/surface.h"

#include <cstdint>
#include <memory>

namespace orrelux {

// HWND on Windows; opaque everywhere else.
using WindowHandle = void*;
// HIMAGELIST on Windows: the page pictures of the tab strip.
using ImageListHandle = void*;

class PickerHost {
public:
    virtual ~PickerHost() = default;

    // Dialog and control lookup.
    virtual WindowHandle GetDialogItem(WindowHandle dialog, int id) = 0;
    virtual WindowHandle GetParent(WindowHandle window) = 0;
    virtual void EndDialog(WindowHandle dialog, int result) = 0;
    // Routes the control's messages through the picker's message map with this map number
    // (subclassing on Windows). False if the control can't be hooked.
    virtual bool AttachHook(WindowHandle control, int map) = 0;

    // Geometry. Rectangles come back in the client coordinates of reference, or of the window
    // itself when reference is null. False when a step fails.
    virtual bool GetClientRectIn(WindowHandle window, WindowHandle reference, Rect& rect) = 0;
    // The window's outer rectangle, its corner mapped like GetClientRectIn.
    virtual bool GetWindowRectIn(WindowHandle window, WindowHandle reference, Rect& rect) = 0;
    // Moves and resizes within the parent's client coordinates, repainting.
    virtual void MoveWindow(WindowHandle window, const Rect& rect) = 0;

    // Visibility, state and focus.
    virtual void ShowWindow(WindowHandle window, bool visible) = 0;
    virtual void EnableWindow(WindowHandle window, bool enabled) = 0;
    virtual void SetFocus(WindowHandle window) = 0;
    virtual bool HasFocus(WindowHandle window) = 0;
    virtual void SetCapture(WindowHandle window) = 0;
    virtual void ReleaseCapture() = 0;

    // Repainting: invalidates the whole client area without erasing; UpdateWindow paints what
    // is invalid at once.
    virtual void InvalidateClient(WindowHandle window) = 0;
    virtual void UpdateWindow(WindowHandle window) = 0;

    // Text. capacity counts the terminator, as GetWindowText does: at most capacity - 1
    // characters are copied and the buffer is always terminated. Returns the length copied.
    virtual void SetWindowText(WindowHandle window, const wchar_t* text) = 0;
    virtual int GetWindowText(WindowHandle window, wchar_t* buffer, int capacity) = 0;
    // Writes text with the system's default GUI font on a transparent background at x, y of
    // the window's client area.
    virtual void DrawWindowText(WindowHandle window, int x, int y, const wchar_t* text) = 0;

    // Edit controls.
    virtual void SetEditReadOnly(WindowHandle edit, bool readOnly) = 0;
    virtual void LimitText(WindowHandle edit, int characters) = 0;
    virtual void GetEditSelection(WindowHandle edit, int& start, int& end) = 0;
    virtual void SetEditSelection(WindowHandle edit, int start, int end) = 0;

    // An up-down control beside its buddy edit; null on failure.
    virtual WindowHandle CreateUpDown(WindowHandle parent, int id, WindowHandle buddy,
                                      const Rect& bounds, int lower, int upper, int position) = 0;

    // Tab strip.
    virtual int TabCount(WindowHandle tab) = 0;
    // Selects the tab; true if the strip accepted it.
    virtual bool SelectTab(WindowHandle tab, int index) = 0;
    // The selected tab, or -1.
    virtual int GetTabSelection(WindowHandle tab) = 0;
    // Inserts a tab showing only the image; the text buffer is handed over for the strip's use.
    virtual bool InsertTab(WindowHandle tab, int index, int image, wchar_t* text,
                           int textCapacity) = 0;
    virtual bool GetTabItemRect(WindowHandle tab, int index, Rect& rect) = 0;
    virtual void SetTabItemSize(WindowHandle tab, int width, int height) = 0;
    // The six page pictures with their masks; null on failure.
    virtual ImageListHandle CreateTabImages() = 0;
    virtual void SetTabImages(WindowHandle tab, ImageListHandle images) = 0;
    virtual void DestroyTabImages(ImageListHandle images) = 0;

    // Combo box without strings of its own: each entry carries a caller's value.
    virtual int AddComboItem(WindowHandle combo, const wchar_t* text) = 0;
    virtual void SetComboItemData(WindowHandle combo, int index, std::intptr_t data) = 0;
    virtual std::intptr_t GetComboItemData(WindowHandle combo, int index) = 0;
    // The selected entry, or -1.
    virtual int GetComboSelection(WindowHandle combo) = 0;
    virtual void SetComboSelection(WindowHandle combo, int index) = 0;

    // Colours. GetSystemColor takes a system colour index (5 window, 15 button face).
    virtual ColorRef GetSystemColor(int index) = 0;
    // The background colour of a drawing context of the window; false without a context.
    virtual bool GetBackgroundColor(WindowHandle window, ColorRef& color) = 0;

    // An off-screen picture of the window's whole client area, pixels cleared. On Windows a DIB
    // section selected into a memory context compatible with the window; the buffer selects the
    // displaced bitmap back and deletes its own when it is destroyed. Null on any failure, with
    // width and height untouched; otherwise they get the client size less 2 * inset.
    virtual std::unique_ptr<SurfaceBuffer> CreateWindowSurface(WindowHandle window, int inset,
                                                               int& width, int& height) = 0;
};

} // namespace orrelux
