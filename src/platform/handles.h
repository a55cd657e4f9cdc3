// Ownership of Windows handles and COM pointers: one RAII type per kind of handle, and guards
// for the paired calls (GetDC/ReleaseDC, SelectObject and its restore). Code elsewhere never
// calls DeleteObject, DeleteDC, CloseHandle or Release itself.
#pragma once

#include <windows.h>
#include <commctrl.h>
#include <oleauto.h>

#include <utility>

namespace orrelux {

// A movable owner of one handle; Traits::Close releases it, Traits::Invalid() marks "none".
template <typename Traits> class UniqueHandle {
public:
    using Handle = typename Traits::Handle;

    UniqueHandle() = default;
    explicit UniqueHandle(Handle handle) : handle_(handle) {}
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.Detach()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other)
            Reset(other.Detach());
        return *this;
    }
    ~UniqueHandle() { Reset(); }

    Handle Get() const { return handle_; }
    explicit operator bool() const { return handle_ != Traits::Invalid(); }
    Handle Detach() { return std::exchange(handle_, Traits::Invalid()); }
    void Reset(Handle handle = Traits::Invalid()) {
        Handle old = std::exchange(handle_, handle);
        if (old != Traits::Invalid())
            Traits::Close(old);
    }

private:
    Handle handle_ = Traits::Invalid();
};

template <typename H, BOOL(WINAPI* CloseFn)(H)> struct NullHandleTraits {
    using Handle = H;
    static constexpr Handle Invalid() { return nullptr; }
    static void Close(Handle handle) { CloseFn(handle); }
};

template <typename H> struct GdiObjectTraits {
    using Handle = H;
    static constexpr Handle Invalid() { return nullptr; }
    static void Close(Handle handle) { ::DeleteObject(handle); }
};

struct KernelHandleTraits {
    using Handle = HANDLE;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle handle) { ::CloseHandle(handle); }
};

using UniqueBitmap = UniqueHandle<GdiObjectTraits<HBITMAP>>;
using UniqueBrush = UniqueHandle<GdiObjectTraits<HBRUSH>>;
using UniqueFont = UniqueHandle<GdiObjectTraits<HFONT>>;
using UniqueMemoryDC = UniqueHandle<NullHandleTraits<HDC, ::DeleteDC>>;
using UniqueImageList = UniqueHandle<NullHandleTraits<HIMAGELIST, ::ImageList_Destroy>>;
using UniqueKernelHandle = UniqueHandle<KernelHandleTraits>;

// GetDC for the guard's lifetime; ReleaseDC on the way out.
class WindowDC {
public:
    explicit WindowDC(HWND window) : window_(window), dc_(::GetDC(window)) {}
    WindowDC(const WindowDC&) = delete;
    WindowDC& operator=(const WindowDC&) = delete;
    ~WindowDC() {
        if (dc_)
            ::ReleaseDC(window_, dc_);
    }
    HDC Get() const { return dc_; }
    explicit operator bool() const { return dc_ != nullptr; }

private:
    HWND window_;
    HDC dc_;
};

// SelectObject for the guard's lifetime; the displaced object goes back on the way out.
class SelectGuard {
public:
    SelectGuard(HDC dc, HGDIOBJ object)
        : dc_(dc), old_(dc ? ::SelectObject(dc, object) : nullptr) {}
    SelectGuard(const SelectGuard&) = delete;
    SelectGuard& operator=(const SelectGuard&) = delete;
    ~SelectGuard() {
        if (old_)
            ::SelectObject(dc_, old_);
    }
    explicit operator bool() const { return old_ != nullptr; }

private:
    HDC dc_;
    HGDIOBJ old_;
};

// A counted COM reference.
template <typename T> class ComPtr {
public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {}
    ComPtr(T* pointer) : pointer_(pointer) { // takes a new reference
        if (pointer_)
            pointer_->AddRef();
    }
    ComPtr(const ComPtr& other) : ComPtr(other.pointer_) {}
    ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(pointer_, other.pointer_);
        return *this;
    }
    ~ComPtr() { Reset(); }

    // Adopts a reference that the caller already owns (the result of a creation call).
    static ComPtr Adopt(T* pointer) {
        ComPtr result;
        result.pointer_ = pointer;
        return result;
    }

    T* Get() const { return pointer_; }
    T* operator->() const { return pointer_; }
    explicit operator bool() const { return pointer_ != nullptr; }
    void Reset() {
        if (T* old = std::exchange(pointer_, nullptr))
            old->Release();
    }
    // The out-parameter form for creation and query calls; releases what was held.
    T** Put() {
        Reset();
        return &pointer_;
    }
    void** PutVoid() { return reinterpret_cast<void**>(Put()); }
    T* Detach() { return std::exchange(pointer_, nullptr); }

    template <typename U> HRESULT As(ComPtr<U>& target) const {
        if (!pointer_)
            return E_POINTER;
        return pointer_->QueryInterface(__uuidof(U), target.PutVoid());
    }

private:
    T* pointer_ = nullptr;
};

// A BSTR that frees itself.
class UniqueBstr {
public:
    UniqueBstr() = default;
    explicit UniqueBstr(const wchar_t* text) : text_(::SysAllocString(text)) {}
    UniqueBstr(const UniqueBstr&) = delete;
    UniqueBstr& operator=(const UniqueBstr&) = delete;
    UniqueBstr(UniqueBstr&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
    ~UniqueBstr() { ::SysFreeString(text_); }

    BSTR Get() const { return text_; }
    BSTR* Put() {
        ::SysFreeString(std::exchange(text_, nullptr));
        return &text_;
    }
    BSTR Detach() { return std::exchange(text_, nullptr); }

private:
    BSTR text_ = nullptr;
};

} // namespace orrelux
