// Drives a modal dialog from inside its own loop, as a user would: a thread timer runs one
// scripted step per tick, so every message a step causes is processed before the next step.
// A script that ends without closing the dialog gets it cancelled, and the test fails.
#pragma once

#include <windows.h>

#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace orrelux::testing {

class DialogDriver {
public:
    using Step = std::function<void(HWND dialog)>;

    // find returns the dialog once it is up (null before).
    explicit DialogDriver(std::function<HWND()> find) : find_(std::move(find)) {}
    ~DialogDriver() { Stop(); }

    DialogDriver& Then(Step step) {
        steps_.push_back(std::move(step));
        return *this;
    }

    // Starts ticking; call right before the call that runs the modal loop.
    void Start(UINT intervalMs = 15) {
        current_ = this;
        timer_ = ::SetTimer(nullptr, 0, intervalMs, &Tick);
    }
    void Stop() {
        if (timer_)
            ::KillTimer(nullptr, timer_);
        timer_ = 0;
        if (current_ == this)
            current_ = nullptr;
    }
    bool Finished() const { return next_ >= steps_.size(); }

private:
    static void CALLBACK Tick(HWND, UINT, UINT_PTR, DWORD) {
        DialogDriver* self = current_;
        if (!self)
            return;
        const HWND dialog = self->find_();
        if (!dialog) {
            if (++self->idleTicks_ > 400)
                self->Stop(); // the dialog never came up; the caller's assertions say so
            return;
        }
        // A step whose messages are pumped from inside (a repaint that dispatches what is
        // queued) sees this timer again: the next step waits until this one has returned.
        if (self->running_)
            return;
        if (self->next_ < self->steps_.size()) {
            Step step = self->steps_[self->next_++];
            self->running_ = true;
            step(dialog);
            self->running_ = false;
            return;
        }
        ADD_FAILURE() << "the script ended with the dialog still open";
        ::PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
        self->Stop();
    }

    static inline DialogDriver* current_ = nullptr;
    std::function<HWND()> find_;
    std::vector<Step> steps_;
    std::size_t next_ = 0;
    int idleTicks_ = 0;
    bool running_ = false;
    UINT_PTR timer_ = 0;
};

// Typing: focus the control and send the characters as the keyboard would.
inline void TypeInto(HWND control, const std::wstring& text, bool replace = true) {
    ::SetFocus(control);
    if (replace)
        ::SendMessageW(control, EM_SETSEL, 0, -1);
    for (wchar_t ch : text)
        ::SendMessageW(control, WM_CHAR, ch, 1);
}

inline std::wstring TextOf(HWND control) {
    wchar_t buffer[300] = {};
    ::GetWindowTextW(control, buffer, 300);
    return buffer;
}

inline void Click(HWND dialog, int buttonId) {
    ::SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(buttonId, BN_CLICKED),
                   reinterpret_cast<LPARAM>(::GetDlgItem(dialog, buttonId)));
}

// Posts a pointer message to the dialog for a point given in a control's client coordinates,
// as the system delivers it when the control lets the pointer through to its parent. The point
// may lie outside the control or the dialog: under capture its coordinates arrive signed.
inline void PostPointer(HWND dialog, HWND control, UINT message, int x, int y, WPARAM keys) {
    POINT at = {x, y};
    ::MapWindowPoints(control, dialog, &at, 1);
    ::PostMessageW(dialog, message, keys,
                   MAKELPARAM(static_cast<WORD>(at.x & 0xFFFF), static_cast<WORD>(at.y & 0xFFFF)));
}

// A key press and release posted to a control, so that the modal loop's dialog manager sees
// the key first, as it sees a typed one.
inline void PostKey(HWND control, UINT key) {
    ::PostMessageW(control, WM_KEYDOWN, key, 1);
    ::PostMessageW(control, WM_KEYUP, key, static_cast<LPARAM>(0xC0000001u));
}

// Pastes text into an edit through the clipboard, replacing its whole text by default.
inline bool PasteInto(HWND edit, const std::wstring& text, bool replace = true) {
    const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE, bytes);
    if (!memory)
        return false;
    if (void* target = ::GlobalLock(memory)) {
        std::memcpy(target, text.c_str(), bytes);
        ::GlobalUnlock(memory);
    }
    if (!::OpenClipboard(edit)) {
        ::GlobalFree(memory);
        return false;
    }
    ::EmptyClipboard();
    const bool stored = ::SetClipboardData(CF_UNICODETEXT, memory) != nullptr;
    ::CloseClipboard();
    if (!stored) {
        ::GlobalFree(memory);
        return false;
    }
    ::SetFocus(edit);
    if (replace)
        ::SendMessageW(edit, EM_SETSEL, 0, -1);
    ::SendMessageW(edit, WM_PASTE, 0, 0);
    return true;
}

// The caret or selection of an edit: start and end.
inline std::pair<int, int> SelectionOf(HWND edit) {
    DWORD start = 0;
    DWORD end = 0;
    ::SendMessageW(edit, EM_GETSEL, reinterpret_cast<WPARAM>(&start),
                   reinterpret_cast<LPARAM>(&end));
    return {static_cast<int>(start), static_cast<int>(end)};
}

} // namespace orrelux::testing
