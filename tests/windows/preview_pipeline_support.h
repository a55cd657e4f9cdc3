// What the preview pipeline's tests and benchmarks stand on: the slow engine, a stand-in for the
// system's open dialog with the pane made from template 130, and the component's pipeline fields.
#pragma once

#include <windows.h>
#include <commdlg.h>

#include <cstdint>
#include <string>
#include <vector>

#include "components/file_dialog.h"
#include "filedialog/win/preview_bitmap.h"
#include "platform/handles.h"
#include "slow_engine/slow_engine.h"
#include "test_support.h"

namespace orrelux {

// ---- The component's side --------------------------------------------------------------------

// Plays the hook's and the system dialog's part on the component's pipeline fields.
class PreviewPipelineTestAccess {
public:
    static CFileDialog& Of(IFileDialog* object) { return *static_cast<CFileDialog*>(object); }

    // The window handles that the pane's start would store, and a preview bitmap of
    // width x height made as the pipeline makes it.
    static void OpenPane(IFileDialog* object, HWND system, HWND pane, int width, int height) {
        CFileDialog& dialog = Of(object);
        dialog.SystemDialogWindow = system;
        dialog.PaneWindow = pane;
        dialog.PreviewWindow = ::GetDlgItem(pane, 1010);
        dialog.ProgressWindow.store(::GetDlgItem(pane, 1100));
        dialog.PreviewCheckWindow = ::GetDlgItem(pane, 1011);
        dialog.PreviewWidth = width;
        dialog.PreviewHeight = height;
        dialog.PreviewBitmap = filedialog::CreatePreviewBitmap(width, height);
    }
    static void CloseWindows(IFileDialog* object) { Of(object).BeforeClose(); }

    // What the hook does on CDN_SELCHANGE with the pane on, and on a click of the check box.
    static void SelectionChanged(IFileDialog* object) {
        Of(object).AbortLoading();
        Of(object).StartReadingFile();
    }
    static void StartReadingFile(IFileDialog* object) { Of(object).StartReadingFile(); }
    static void AbortLoading(IFileDialog* object) { Of(object).AbortLoading(); }
    static void DrawEmptyBitmap(IFileDialog* object, bool crossed, bool repaint) {
        Of(object).DrawEmptyBitmap(crossed, repaint);
    }

    static LONG Generation(IFileDialog* object) { return Of(object).LoadGeneration.load(); }
    static void SetGeneration(IFileDialog* object, LONG token) {
        Of(object).LoadGeneration.store(token);
    }
    static bool Crossed(IFileDialog* object) { return Of(object).PreviewCrossed.load() != 0; }
    static void SetEnablePreview(IFileDialog* object, LONG on) { Of(object).EnablePreview = on; }
    static HBITMAP Bitmap(IFileDialog* object) { return Of(object).PreviewBitmap.Get(); }
    static int Width(IFileDialog* object) { return Of(object).PreviewWidth; }
    static int Height(IFileDialog* object) { return Of(object).PreviewHeight; }
    static HWND PreviewWindow(IFileDialog* object) { return Of(object).PreviewWindow; }
    static COLORREF BackColor(IFileDialog* object) { return Of(object).PaneBackColor; }
    static IEngineBitmap* Engine(IFileDialog* object) { return Of(object).EngineBitmap.Get(); }
    static filedialog::PreviewBusyFlag& Busy(IFileDialog* object) { return Of(object).PreviewBusy; }
    static std::wstring FileName(IFileDialog* object) {
        const char16_t* text = Of(object).FileNameBuffer.Data();
        return text ? std::wstring(reinterpret_cast<const wchar_t*>(text)) : std::wstring();
    }
};

namespace testing {

// ---- Waiting on the dialog's thread -------------------------------------------------------------

// Dispatches this thread's messages until `done` holds or `timeoutMs` has passed. Workers send
// window messages to the pane, which this thread owns: a test never waits without pumping.
template <typename Done> bool PumpUntil(Done&& done, DWORD timeoutMs = 10000) {
    const DWORD start = ::GetTickCount();
    for (;;) {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            ::TranslateMessage(&message);
            ::DispatchMessageW(&message);
        }
        if (done())
            return true;
        if (::GetTickCount() - start > timeoutMs)
            return false;
        ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 2, QS_ALLINPUT);
    }
}

inline void PumpFor(DWORD milliseconds) {
    PumpUntil([] { return false; }, milliseconds);
}

// The object's reference count: each running worker holds one on the controlling unknown.
inline ULONG References(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

// Waits until only `baseline` references are left, that is until every worker has ended.
inline bool WaitForWorkers(IUnknown* object, ULONG baseline, DWORD timeoutMs = 15000) {
    return PumpUntil([&] { return References(object) <= baseline; }, timeoutMs);
}

// ---- Pixels ---------------------------------------------------------------------------------

// The bitmap's pixels as 0x00RRGGBB, rows top-down, read with GetDIBits.
inline std::vector<std::uint32_t> ReadPixels(HBITMAP bitmap, int width, int height) {
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width) * height, 0xFFFFFFFFu);
    BITMAPINFO format = {};
    format.bmiHeader.biSize = sizeof(format.bmiHeader);
    format.bmiHeader.biWidth = width;
    format.bmiHeader.biHeight = -height;
    format.bmiHeader.biPlanes = 1;
    format.bmiHeader.biBitCount = 32;
    format.bmiHeader.biCompression = BI_RGB;
    const WindowDC screen(nullptr);
    ::GdiFlush();
    ::GetDIBits(screen.Get(), bitmap, 0, static_cast<UINT>(height), pixels.data(), &format,
                DIB_RGB_COLORS);
    for (auto& pixel : pixels)
        pixel &= 0x00FFFFFFu;
    return pixels;
}

inline std::uint32_t RgbOf(COLORREF color) {
    return (color & 0xFFu) << 16 | (color & 0xFF00u) | (color >> 16 & 0xFFu);
}

// ---- The slow engine ---------------------------------------------------------------------------

struct ActivationContextTraits {
    using Handle = HANDLE;
    static Handle Invalid() { return INVALID_HANDLE_VALUE; }
    static void Close(Handle handle) { ::ReleaseActCtx(handle); }
};
using UniqueActivationContext = UniqueHandle<ActivationContextTraits>;

// While it lives, EngineBitmap made on this thread is SlowImagingEngine.dll's (see
// slow_engine.h), steered through the DLL's exports. Objects made meanwhile keep it after.
class SlowEngine {
public:
    explicit SlowEngine(const std::wstring& binDirectory = BinDirectory()) {
        const std::wstring manifest = binDirectory + L"\\SlowImagingEngine.manifest";
        ACTCTXW context = {};
        context.cbSize = sizeof(context);
        context.dwFlags = ACTCTX_FLAG_ASSEMBLY_DIRECTORY_VALID;
        context.lpSource = manifest.c_str();
        context.lpAssemblyDirectory = binDirectory.c_str();
        context_.Reset(::CreateActCtxW(&context));
        if (context_ && !::ActivateActCtx(context_.Get(), &cookie_))
            context_.Reset();
        module_ = ::LoadLibraryW((binDirectory + L"\\SlowImagingEngine.dll").c_str());
        if (module_) {
            configure_ = Entry<SlowEngineConfigureProc>("SlowEngineConfigure");
            release_ = Entry<SlowEngineReleaseProc>("SlowEngineRelease");
            read_ = Entry<SlowEngineReadCountersProc>("SlowEngineReadCounters");
        }
        Configure(SlowEngineSettings{});
    }
    ~SlowEngine() {
        if (release_)
            Configure(SlowEngineSettings{}); // no hold survives the test
        if (context_)
            ::DeactivateActCtx(0, cookie_);
    }
    SlowEngine(const SlowEngine&) = delete;
    SlowEngine& operator=(const SlowEngine&) = delete;

    bool Ready() const { return context_ && configure_ && release_ && read_; }

    void Configure(const SlowEngineSettings& settings) {
        if (configure_)
            configure_(&settings);
    }
    // Every load waits inside its operation until Release.
    void Hold() {
        SlowEngineSettings settings = {};
        settings.holdThumbnails = TRUE;
        Configure(settings);
    }
    void Release(LONG count = 1) {
        if (release_)
            release_(count);
    }
    SlowEngineCounters Counters() const {
        SlowEngineCounters counters = {};
        if (read_)
            read_(&counters);
        return counters;
    }

private:
    static std::wstring BinDirectory() {
        std::wstring path = BinPath(L"");
        while (!path.empty() && path.back() == L'\\')
            path.pop_back();
        return path;
    }
    template <typename Proc> Proc Entry(const char* name) {
        return reinterpret_cast<Proc>(reinterpret_cast<void*>(::GetProcAddress(module_, name)));
    }

    UniqueActivationContext context_;
    ULONG_PTR cookie_ = 0;
    HMODULE module_ = nullptr; // stays loaded: the DLL never unloads
    SlowEngineConfigureProc configure_ = nullptr;
    SlowEngineReleaseProc release_ = nullptr;
    SlowEngineReadCountersProc read_ = nullptr;
};

// ---- The system dialog's part ------------------------------------------------------------------

// A top-level window in the part of the system's open dialog: it answers CDM_GETFOLDERPATH,
// CDM_GETSPEC and CDM_GETFILEPATH as the system does (the size with the terminator, the text
// copied as far as the buffer reaches), and holds the pane, a child dialog made from template
// 130 of the module. The pane's dialog procedure counts the paints of the preview and copies the
// preview bitmap to the screen as the hook does.
class FakeSystemDialog {
public:
    std::wstring folder;
    std::wstring spec;
    std::wstring filePath;
    HBITMAP paintedBitmap = nullptr; // what WM_DRAWITEM of control 1010 copies, when set
    filedialog::PreviewBusyFlag* busy = nullptr;
    int previewPaints = 0;

    FakeSystemDialog() {
        static const ATOM windowClass = [] {
            WNDCLASSW description = {};
            description.lpfnWndProc = &SystemProc;
            description.hInstance = ::GetModuleHandleW(nullptr);
            description.lpszClassName = L"OrreluxFakeSystemDialog";
            description.hCursor = ::LoadCursorW(nullptr, IDC_ARROW);
            return ::RegisterClassW(&description);
        }();
        (void)windowClass;
        window_ =
            ::CreateWindowExW(0, L"OrreluxFakeSystemDialog", L"Open", WS_OVERLAPPEDWINDOW, 0, 0,
                              700, 500, nullptr, nullptr, ::GetModuleHandleW(nullptr), this);
        pane_ = ::CreateDialogParamW(::GetModuleHandleW(nullptr), MAKEINTRESOURCEW(130), window_,
                                     &PaneProc, reinterpret_cast<LPARAM>(this));
        if (pane_)
            ::ShowWindow(pane_, SW_SHOWNA);
        ::ShowWindow(window_, SW_SHOWNA);
        ::UpdateWindow(window_);
    }
    ~FakeSystemDialog() {
        if (window_)
            ::DestroyWindow(window_);
    }
    FakeSystemDialog(const FakeSystemDialog&) = delete;
    FakeSystemDialog& operator=(const FakeSystemDialog&) = delete;

    HWND Window() const { return window_; }
    // Opens the component's pane in this dialog, as the hook does, with its bitmap painted here.
    void Open(IFileDialog* object, int width = 100, int height = 100) {
        PreviewPipelineTestAccess::OpenPane(object, window_, pane_, width, height);
        paintedBitmap = PreviewPipelineTestAccess::Bitmap(object);
        busy = &PreviewPipelineTestAccess::Busy(object);
    }
    HWND Pane() const { return pane_; }
    HWND Progress() const { return ::GetDlgItem(pane_, 1100); }
    HWND Preview() const { return ::GetDlgItem(pane_, 1010); }

    // A selection of one file in `directory`, as the system's list reports it.
    void Select(const std::wstring& directory, const std::wstring& name) {
        folder = directory;
        spec = name;
        filePath = directory + L"\\" + name;
    }

private:
    static LRESULT Answer(const std::wstring& text, WPARAM room, LPARAM buffer) {
        auto* target = reinterpret_cast<wchar_t*>(buffer);
        if (target && room > 0) {
            const std::size_t copied = std::min<std::size_t>(text.size(), room - 1);
            text.copy(target, copied);
            target[copied] = L'\0';
        }
        return static_cast<LRESULT>(text.size() + 1);
    }

    static LRESULT CALLBACK SystemProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == WM_NCCREATE) {
            const auto* creation = reinterpret_cast<const CREATESTRUCTW*>(lParam);
            ::SetWindowLongPtrW(window, GWLP_USERDATA,
                                reinterpret_cast<LONG_PTR>(creation->lpCreateParams));
        }
        auto* self =
            reinterpret_cast<FakeSystemDialog*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
        if (self) {
            switch (message) {
            case CDM_GETFOLDERPATH:
                return Answer(self->folder, wParam, lParam);
            case CDM_GETSPEC:
                return Answer(self->spec, wParam, lParam);
            case CDM_GETFILEPATH:
                return Answer(self->filePath, wParam, lParam);
            default:
                break;
            }
        }
        return ::DefWindowProcW(window, message, wParam, lParam);
    }

    static INT_PTR CALLBACK PaneProc(HWND pane, UINT message, WPARAM, LPARAM lParam) {
        if (message == WM_INITDIALOG) {
            ::SetWindowLongPtrW(pane, GWLP_USERDATA, lParam);
            return TRUE;
        }
        auto* self = reinterpret_cast<FakeSystemDialog*>(::GetWindowLongPtrW(pane, GWLP_USERDATA));
        if (message != WM_DRAWITEM || !self)
            return FALSE;
        const auto* item = reinterpret_cast<const DRAWITEMSTRUCT*>(lParam);
        if (item->CtlID != 1010)
            return FALSE;
        ++self->previewPaints;
        if (!self->paintedBitmap || !self->busy || !self->busy->TryTake())
            return TRUE;
        {
            const UniqueMemoryDC memory(::CreateCompatibleDC(item->hDC));
            const SelectGuard selected(memory.Get(), self->paintedBitmap);
            ::BitBlt(item->hDC, item->rcItem.left, item->rcItem.top,
                     item->rcItem.right - item->rcItem.left, item->rcItem.bottom - item->rcItem.top,
                     memory.Get(), 0, 0, SRCCOPY);
        }
        self->busy->GiveBack();
        return TRUE;
    }

    HWND window_ = nullptr;
    HWND pane_ = nullptr;
};

} // namespace testing
} // namespace orrelux
