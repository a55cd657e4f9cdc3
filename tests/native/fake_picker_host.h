// A recording PickerHost: an in-memory dialog whose controls keep text, selection, geometry and
// visibility, and which writes every call into one log in order. Queries are logged with a
// leading '?', so TakeTrace() can leave them out. Like the real edits, a text written into an
// edit notifies the picker at once when notifications are on; like the real focus, a change of
// focus runs the focus handlers of plane, strip and grid when RouteFocus is on.
#pragma once

#include "picker/picker_host.h"
#include "picker/picker_window.h"

#include <algorithm>
#include <cstdio>
#include <deque>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace orrelux::testing {

enum class EditKind { None, Channel, Hex };

struct FakeWindow {
    std::string Name;
    int Id = 0;
    EditKind Kind = EditKind::None;
    std::wstring Text;
    Rect Client;
    Rect Bounds; // outer rectangle in the dialog's client coordinates
    bool Visible = true;
    int SelStart = 0;
    int SelEnd = 0;
};

inline std::string Narrow(const wchar_t* text) {
    std::string out;
    for (; text && *text; ++text)
        out += static_cast<char>(*text);
    return out;
}

class FakePickerHost final : public PickerHost, public PickerOwner {
public:
    std::vector<std::string> Log;
    WindowHandle Focus = nullptr;
    int Tabs = 6;
    bool FailSurfaces = false;
    bool Notify = false;       // edits notify the picker when their text is set
    bool RouteFocus = false;   // SetFocus runs the kill and set focus handlers
    bool FailGeometry = false; // GetClientRectIn fails
    int TabSelection = -1;
    int ComboSelection = -1;
    std::vector<std::intptr_t> ComboItems; // the item data of each entry
    std::function<void()> OnApply;         // the client's Apply handler

    // Builds the controls and opens the picker on them; the plane's inner area is 300 x 240 and
    // the strip's 19 x 240 with the picker's inset of 3; the palette grid is 300 x 220. Plane,
    // strip and grid stand where the dialog start finds them in the dialog's client area; OK,
    // Cancel and Apply in dialog units 125, 180, 235 wide 45, doubled to pixels.
    explicit FakePickerHost(CPickerWindow& picker) : picker_(picker) {
        picker.DialogHandle = picker.DialogWindow = Add("dialog", 0, Rect{0, 0, 560, 420});
        picker.TabWindow = Add("tab", 201, Rect{0, 0, 400, 350});
        picker.NewSwatchWindow = Add("new", 215, Rect{0, 0, 60, 20});
        picker.OldSwatchWindow = Add("old", 216, Rect{0, 0, 60, 20});
        picker.RedEdit = Add("red", 209, Rect{0, 0, 60, 20}, EditKind::Channel);
        picker.GreenEdit = Add("green", 210, Rect{0, 0, 60, 20}, EditKind::Channel);
        picker.BlueEdit = Add("blue", 212, Rect{0, 0, 60, 20}, EditKind::Channel);
        picker.HexEdit = Add("hex", 214, Rect{0, 0, 60, 20}, EditKind::Hex);
        picker.RedSpin = Add("redSpin", 230, Rect{0, 0, 10, 20});
        picker.GreenSpin = Add("greenSpin", 231, Rect{0, 0, 10, 20});
        picker.BlueSpin = Add("blueSpin", 232, Rect{0, 0, 10, 20});
        picker.PlaneWindow = Add("plane", 205, Rect{0, 0, 306, 246}, {}, Rect{10, 20, 316, 266});
        picker.StripWindow = Add("strip", 206, Rect{0, 0, 25, 246}, {}, Rect{330, 20, 355, 266});
        picker.PaletteCombo = Add("combo", 224, Rect{0, 0, 200, 20});
        picker.PaletteLabel = Add("label", 225, Rect{0, 0, 40, 12});
        picker.PaletteGridWindow =
            Add("grid", 228, Rect{0, 0, 300, 220}, {}, Rect{10, 40, 310, 260});
        Add("ok", 1, Rect{0, 0, 90, 32}, {}, Rect{250, 376, 340, 408});
        Add("cancel", 2, Rect{0, 0, 90, 32}, {}, Rect{360, 376, 450, 408});
        Add("apply", 202, Rect{0, 0, 90, 32}, {}, Rect{470, 376, 560, 408});
        picker.DialogClientRect = Window(picker.DialogWindow).Client;
        picker.PlaneClientRect = Window(picker.PlaneWindow).Client;
        picker.StripClientRect = Window(picker.StripWindow).Client;
        picker.PaletteGridClientRect = Window(picker.PaletteGridWindow).Client;
        picker.PlaneRect = Window(picker.PlaneWindow).Bounds;
        picker.StripRect = Window(picker.StripWindow).Bounds;
        picker.PaletteGridRect = Window(picker.PaletteGridWindow).Bounds;
        picker.Host = this;
    }

    FakeWindow& Window(WindowHandle handle) { return *static_cast<FakeWindow*>(handle); }
    FakeWindow& Named(const std::string& name) {
        for (FakeWindow& window : windows_)
            if (window.Name == name)
                return window;
        throw std::runtime_error("no window " + name);
    }
    // The effects since the last call, queries left out, as "first; second; ...".
    std::string TakeTrace() {
        std::string trace;
        for (const std::string& entry : Log)
            if (entry[0] != '?')
                trace += (trace.empty() ? "" : "; ") + entry;
        Log.clear();
        return trace;
    }
    // The user types: the focused edit gets the text and notifies.
    void Type(WindowHandle edit, const wchar_t* text) {
        Focus = edit;
        Window(edit).Text = text;
        NotifyEdit(edit);
    }

    // PickerOwner
    void FireApply() override {
        Note("fire apply");
        if (OnApply)
            OnApply();
    }

    // PickerHost
    WindowHandle GetDialogItem(WindowHandle, int id) override {
        Note("?item", id);
        for (FakeWindow& window : windows_)
            if (window.Id == id && window.Name != "dialog")
                return &window;
        return nullptr;
    }
    WindowHandle GetParent(WindowHandle) override { return picker_.DialogWindow; }
    void EndDialog(WindowHandle dialog, int result) override { Note("end", dialog, result); }
    bool AttachHook(WindowHandle control, int map) override { return Note("hook", control, map); }
    // With a reference, the client area stands at the window's Bounds corner.
    bool GetClientRectIn(WindowHandle window, WindowHandle reference, Rect& rect) override {
        if (FailGeometry)
            return false;
        rect = Window(window).Client;
        if (reference) {
            const Rect& at = Window(window).Bounds;
            rect = Rect{at.left, at.top, at.left + rect.Width(), at.top + rect.Height()};
        }
        return true;
    }
    bool GetWindowRectIn(WindowHandle window, WindowHandle, Rect& rect) override {
        rect = Window(window).Bounds;
        return Note("?rect", window);
    }
    void MoveWindow(WindowHandle window, const Rect& rect) override {
        Note("move", window, Xy(rect.left, rect.top));
        Window(window).Bounds = rect;
    }
    void ShowWindow(WindowHandle window, bool visible) override {
        Note("show", window, visible);
        Window(window).Visible = visible;
    }
    void EnableWindow(WindowHandle window, bool on) override { Note("enable", window, on); }
    void SetFocus(WindowHandle window) override {
        Note("focus", window);
        WindowHandle old = Focus;
        Focus = window;
        if (RouteFocus && old != window) {
            FocusChanged(old);
            FocusChanged(window);
        }
    }
    bool HasFocus(WindowHandle w) override { return Note("?focus", w) && w == Focus; }
    void SetCapture(WindowHandle window) override { Note("capture", window); }
    void ReleaseCapture() override { Note("release capture"); }
    // Records what the picker holds at the moment of the call: the marker of a plane or strip,
    // the colour of a swatch.
    void InvalidateClient(WindowHandle window) override {
        std::string state;
        if (window == picker_.PlaneWindow)
            state = "@" + Xy(picker_.PlaneMarkerX, picker_.PlaneMarkerY);
        else if (window == picker_.StripWindow)
            state = "@" + std::to_string(picker_.StripMarkerPos);
        else if (window == picker_.NewSwatchWindow || window == picker_.OldSwatchWindow)
            state = Hex(window == picker_.NewSwatchWindow ? picker_.NewSwatchColor
                                                          : picker_.OldSwatchColor);
        state.empty() ? Note("invalidate", window) : Note("invalidate", window, state);
    }
    void UpdateWindow(WindowHandle window) override { Note("update", window); }
    void SetWindowText(WindowHandle window, const wchar_t* text) override {
        Note("text", window, Narrow(text));
        Window(window).Text = text;
        NotifyEdit(window);
    }
    int GetWindowText(WindowHandle window, wchar_t* buffer, int capacity) override {
        Note("?text", window);
        const std::wstring& text = Window(window).Text;
        const int length = std::min(static_cast<int>(text.size()), capacity - 1);
        text.copy(buffer, static_cast<std::size_t>(length));
        buffer[length] = L'\0';
        return length;
    }
    void DrawWindowText(WindowHandle w, int, int, const wchar_t* text) override {
        Note("draw text", w, Narrow(text));
    }
    void SetEditReadOnly(WindowHandle edit, bool on) override { Note("readonly", edit, on); }
    void LimitText(WindowHandle edit, int characters) override { Note("limit", edit, characters); }
    void GetEditSelection(WindowHandle edit, int& start, int& end) override {
        Note("?sel", edit);
        start = Window(edit).SelStart;
        end = Window(edit).SelEnd;
    }
    // The control clips the numbers to its text.
    void SetEditSelection(WindowHandle edit, int start, int end) override {
        const int length = static_cast<int>(Window(edit).Text.size());
        Window(edit).SelStart = std::min(start, length);
        Window(edit).SelEnd = std::min(end, length);
        Note("sel", edit, Xy(start, end));
    }
    WindowHandle CreateUpDown(WindowHandle parent, int id, WindowHandle buddy, const Rect& at,
                              int lower, int upper, int position) override {
        Note("updown", id, "in", parent, "for", buddy, "at", Xy(at.left, at.top),
             std::to_string(at.Width()) + "x" + std::to_string(at.Height()),
             std::to_string(lower) + ".." + std::to_string(upper), position);
        return Add("updown", id, Rect{});
    }
    int TabCount(WindowHandle) override { return Note("?tabs") ? Tabs : 0; }
    bool SelectTab(WindowHandle, int index) override { return Note("select tab", index); }
    int GetTabSelection(WindowHandle) override { return TabSelection; }
    bool InsertTab(WindowHandle, int index, int, wchar_t*, int) override {
        return Note("insert tab", index);
    }
    bool GetTabItemRect(WindowHandle, int, Rect& rect) override {
        rect = Rect{0, 0, 24, 24};
        return true;
    }
    void SetTabItemSize(WindowHandle, int, int) override {}
    ImageListHandle CreateTabImages() override { return nullptr; }
    void SetTabImages(WindowHandle, ImageListHandle) override {}
    void DestroyTabImages(ImageListHandle) override {}
    int AddComboItem(WindowHandle, const wchar_t* text) override {
        Note("combo add", Narrow(text));
        ComboItems.push_back(0);
        return static_cast<int>(ComboItems.size()) - 1;
    }
    void SetComboItemData(WindowHandle, int index, std::intptr_t data) override {
        ComboItems.at(static_cast<std::size_t>(index)) = data;
    }
    std::intptr_t GetComboItemData(WindowHandle, int index) override {
        return ComboItems.at(static_cast<std::size_t>(index));
    }
    int GetComboSelection(WindowHandle w) override {
        return Note("?combo", w) ? ComboSelection : 0;
    }
    void SetComboSelection(WindowHandle, int index) override {
        Note("combo select", index);
        ComboSelection = index;
    }
    // The window colour (5) as a COLORREF, blue first; button face for any other.
    ColorRef GetSystemColor(int index) override { return index == 5 ? 0xEEDDCC : 0xC0C0C0; }
    bool GetBackgroundColor(WindowHandle, ColorRef&) override { return false; }
    std::unique_ptr<SurfaceBuffer> CreateWindowSurface(WindowHandle window, int inset, int& width,
                                                       int& height) override {
        Note("surface", window);
        if (FailSurfaces)
            return nullptr;
        const Rect& client = Window(window).Client;
        width = client.Width() - 2 * inset;
        height = client.Height() - 2 * inset;
        return std::make_unique<HeapSurface>(client.Width(), client.Height());
    }

private:
    FakeWindow* Add(const std::string& name, int id, const Rect& client,
                    EditKind kind = EditKind::None, const Rect& bounds = Rect{}) {
        windows_.push_back(FakeWindow{name, id, kind, {}, client, bounds});
        return &windows_.back();
    }
    // Logs the words of one call, joined by blanks, and is true for the calls that succeed.
    template <typename... Words> bool Note(const Words&... words) {
        std::string entry;
        ((entry += (entry.empty() ? "" : " ") + Word(words)), ...);
        Log.push_back(entry);
        return true;
    }
    std::string Word(const std::string& text) { return text; }
    std::string Word(const char* text) { return text; }
    std::string Word(int value) { return std::to_string(value); }
    std::string Word(WindowHandle window) {
        return window ? static_cast<FakeWindow*>(window)->Name : "null";
    }
    static std::string Xy(int x, int y) { return std::to_string(x) + "," + std::to_string(y); }
    static std::string Hex(std::uint32_t value) {
        char text[16];
        std::snprintf(text, sizeof text, "%06X", value);
        return text;
    }
    void NotifyEdit(WindowHandle window) {
        if (!Notify)
            return;
        if (Window(window).Kind == EditKind::Channel)
            picker_.OnChannelFieldChanged(window);
        else if (Window(window).Kind == EditKind::Hex)
            picker_.OnHexFieldChanged(window);
    }
    void FocusChanged(WindowHandle window) {
        if (!window)
            return;
        if (window == picker_.PlaneWindow)
            picker_.OnPlaneFocusChange();
        else if (window == picker_.StripWindow)
            picker_.OnStripFocusChange();
        else if (window == picker_.PaletteGridWindow)
            picker_.OnPaletteGridFocusChange();
    }

    CPickerWindow& picker_;
    std::deque<FakeWindow> windows_; // stable addresses: a window's handle is its address
};

} // namespace orrelux::testing
