// The file dialog's pane under a user's hand, with the real imaging engine (ImagingEngine.dll of
// this build, its class objects registered in this process only):
//
//   (a) selection to rows on screen: a selection change up to the moment the last of the pane's
//       row controls has painted its new text, median per format of a small local picture,
//       each selection coming from another format's picture;
//   (b) selection to finished preview: a 6000x4000 baseline JPEG until its 100x100 thumbnail is
//       in the pane and repainted; compare with `djpeg -scale 1/8` natively on the same file,
//       whose path is printed;
//   (c) the dialog thread's worst message latency while the selection changes 200 times at
//       100 per second across large JPEGs: a second thread posts a stamped message every
//       millisecond, and the dialog thread notes how late each one arrives.
//
// The component is the server's code linked into this program; the system dialog's part (the
// CDM_GET* answers) is played by a window holding the pane of template 130, as in the tests.
// Prints figures; nothing is asserted. Run in the x86_64 tree under wine64:
//
//   tools/with-wine.sh PREFIX wine64 bench/file_dialog_bench.exe [picture.jpg]
#include <windows.h>
#include <mmsystem.h>
#include <ole2.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <jpeglib.h>

#include "engine_pictures.h"
#include "preview_pipeline_support.h"
#include "test_support.h"

namespace orrelux {
namespace {

using Access = PreviewPipelineTestAccess;
using Clock = std::chrono::steady_clock;
using testing::FakeSystemDialog;
using testing::PumpUntil;
using testing::References;

double Milliseconds(Clock::duration span) {
    return std::chrono::duration<double, std::milli>(span).count();
}

struct Spread {
    double median = 0;
    double worst = 0;
};

Spread SpreadOf(std::vector<double> times) {
    Spread spread;
    if (times.empty())
        return spread;
    std::sort(times.begin(), times.end());
    spread.median = times[times.size() / 2];
    spread.worst = times.back();
    return spread;
}

// ---- The engine, registered for this process -------------------------------------------------

class EngineClasses {
public:
    bool Register() {
        const std::wstring dll = testing::BinPath(L"ImagingEngine.dll");
        const HMODULE engine = ::LoadLibraryW(dll.c_str());
        if (!engine)
            return false;
        using GetClassObject = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
        const auto entry = reinterpret_cast<GetClassObject>(
            reinterpret_cast<void*>(::GetProcAddress(engine, "DllGetClassObject")));
        if (!entry)
            return false;
        for (const CLSID* clsid : {&CLSID_EngineBitmap, &CLSID_EngineMetaReader}) {
            ComPtr<IUnknown> factory;
            DWORD cookie = 0;
            if (FAILED(entry(*clsid, IID_IUnknown, factory.PutVoid())) ||
                FAILED(::CoRegisterClassObject(*clsid, factory.Get(), CLSCTX_INPROC_SERVER,
                                               REGCLS_MULTIPLEUSE, &cookie)))
                return false;
            cookies_.push_back(cookie);
        }
        return true;
    }
    ~EngineClasses() {
        for (DWORD cookie : cookies_)
            ::CoRevokeClassObject(cookie);
    }

private:
    std::vector<DWORD> cookies_;
};

// ---- Pictures
// ------------------------------------------------------------------------------------

// A photograph-like baseline JPEG (smooth waves with fine grain, quality 90), written with
// libjpeg so that the entropy-coded data has a realistic size.
bool WriteLargeJpeg(const std::wstring& path, int width, int height, int seed) {
    std::vector<int> waveX(width), waveY(height);
    for (int x = 0; x < width; ++x)
        waveX[x] =
            static_cast<int>(60 * std::sin((x + seed * 97) / 157.0) + 25 * std::sin(x / 23.0));
    for (int y = 0; y < height; ++y)
        waveY[y] =
            static_cast<int>(60 * std::cos((y + seed * 53) / 211.0) + 25 * std::sin(y / 31.0));
    jpeg_compress_struct compress{};
    jpeg_error_mgr errors{};
    compress.err = jpeg_std_error(&errors);
    jpeg_create_compress(&compress);
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&compress, &buffer, &size);
    compress.image_width = static_cast<JDIMENSION>(width);
    compress.image_height = static_cast<JDIMENSION>(height);
    compress.in_color_space = JCS_RGB;
    compress.input_components = 3;
    jpeg_set_defaults(&compress);
    jpeg_set_quality(&compress, 90, TRUE);
    jpeg_start_compress(&compress, TRUE);
    std::vector<JSAMPLE> row(static_cast<std::size_t>(width) * 3);
    std::uint32_t noise = 0x2545F491u + static_cast<std::uint32_t>(seed);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            noise ^= noise << 13;
            noise ^= noise >> 17;
            noise ^= noise << 5;
            const int grain = static_cast<int>(noise & 15) - 8;
            const int base = 128 + waveX[x] / 2 + waveY[y] / 2;
            row[x * 3] = static_cast<JSAMPLE>(std::clamp(base + waveX[x] / 3 + grain, 0, 255));
            row[x * 3 + 1] = static_cast<JSAMPLE>(std::clamp(base + grain, 0, 255));
            row[x * 3 + 2] = static_cast<JSAMPLE>(std::clamp(base - waveY[y] / 3 + grain, 0, 255));
        }
        JSAMPROW rows[1] = {row.data()};
        jpeg_write_scanlines(&compress, rows, 1);
    }
    jpeg_finish_compress(&compress);
    jpeg_destroy_compress(&compress);
    const std::vector<std::uint8_t> bytes(buffer, buffer + size);
    std::free(buffer);
    return testing::WriteBytes(path, bytes);
}

// The large pictures go where the build machine's own tools can read them: Z: is the root of the
// Unix file system under Wine. Elsewhere they go to the temporary directory.
std::wstring LargePicturePath(const wchar_t* name) {
    if (::GetFileAttributesW(L"Z:\\tmp") != INVALID_FILE_ATTRIBUTES)
        return std::wstring(L"Z:\\tmp\\") + name;
    wchar_t directory[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, directory);
    return std::wstring(directory) + name;
}

bool EnsureLargeJpeg(const std::wstring& path, int width, int height, int seed) {
    if (::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES)
        return true;
    return WriteLargeJpeg(path, width, height, seed);
}

std::wstring FolderOf(const std::wstring& path) {
    return path.substr(0, path.find_last_of(L'\\'));
}
std::wstring NameOf(const std::wstring& path) {
    return path.substr(path.find_last_of(L'\\') + 1);
}

// ---- The pane
// --------------------------------------------------------------------------------------

class Pane {
public:
    Pane() {
        object = testing::CreateLinkedObject<IFileDialog>(CLSID_FileDialog);
        if (!object)
            return;
        Access::OpenPane(object.Get(), system.Window(), system.Pane(), 100, 100);
        system.paintedBitmap = Access::Bitmap(object.Get());
        system.busy = &Access::Busy(object.Get());
        baseline = References(object.Get());
    }
    ~Pane() {
        if (object) {
            Settle();
            Access::CloseWindows(object.Get());
        }
    }

    void Select(const std::wstring& path) {
        system.Select(FolderOf(path), NameOf(path));
        Access::SelectionChanged(object.Get());
    }
    bool Settle() { return testing::WaitForWorkers(object.Get(), baseline, 60000); }

    FakeSystemDialog system;
    ComPtr<IFileDialog> object;
    ULONG baseline = 0;
};

// ---- (a) ---------------------------------------------------------------------------------------

// The pane's fourteen row controls, watched: the moment any of them last painted itself, whether
// on WM_SETTEXT (a static repaints at once) or on WM_PAINT.
class RowPaintWatch {
public:
    explicit RowPaintWatch(HWND pane) {
        static constexpr int kRowControls[] = {170, 171, 172, 173, 174, 175, 176,
                                               177, 178, 179, 196, 197, 198, 199};
        watch_ = this;
        for (int id : kRowControls) {
            const HWND control = ::GetDlgItem(pane, id);
            if (!control)
                continue;
            const auto previous =
                ::SetWindowLongPtrW(control, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Proc));
            controls_.push_back({control, reinterpret_cast<WNDPROC>(previous)});
        }
    }
    ~RowPaintWatch() {
        for (const Watched& watched : controls_)
            ::SetWindowLongPtrW(watched.control, GWLP_WNDPROC,
                                reinterpret_cast<LONG_PTR>(watched.previous));
        watch_ = nullptr;
    }
    Clock::time_point lastPaint;

private:
    struct Watched {
        HWND control;
        WNDPROC previous;
    };
    static LRESULT CALLBACK Proc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        for (const Watched& watched : watch_->controls_) {
            if (watched.control != window)
                continue;
            const LRESULT result =
                ::CallWindowProcW(watched.previous, window, message, wParam, lParam);
            if (message == WM_PAINT || message == WM_SETTEXT)
                watch_->lastPaint = Clock::now();
            return result;
        }
        return ::DefWindowProcW(window, message, wParam, lParam);
    }
    static RowPaintWatch* watch_;
    std::vector<Watched> controls_;
};
RowPaintWatch* RowPaintWatch::watch_ = nullptr;

// Each timed selection comes from another format's picture, so that the rows really change (a
// row that already shows its text is not written again).
void SelectionToRows(const testing::ScratchDirectory& corpus) {
    std::printf("(a) selection to rows on screen (probe of a local %dx%d file, coming from "
                "another format's file), 25 runs each\n",
                testing::kCorpusWidth, testing::kCorpusHeight);
    Pane pane;
    if (!pane.object) {
        std::printf("    no component\n");
        return;
    }
    RowPaintWatch watch(pane.system.Pane());
    const std::size_t formats = std::size(testing::kCorpus);
    for (std::size_t index = 0; index < formats; ++index) {
        const testing::CorpusPicture& picture = testing::kCorpus[index];
        const std::wstring path = corpus.File(picture.name);
        const std::wstring before =
            corpus.File(testing::kCorpus[(index + formats / 2) % formats].name);
        std::vector<double> times;
        int filledRows = 0;
        int unchanged = 0;
        for (int run = 0; run < 26; ++run) {
            pane.Select(before);
            ::UpdateWindow(pane.system.Pane());
            pane.Settle();
            const auto start = Clock::now();
            watch.lastPaint = start;
            pane.Select(path);
            ::UpdateWindow(pane.system.Pane()); // rows that changed without painting, if any
            if (watch.lastPaint == start)
                ++unchanged;
            else if (run > 0) // the first run warms the engine's caches
                times.push_back(Milliseconds(watch.lastPaint - start));
            wchar_t value[64] = {};
            ::GetDlgItemTextW(pane.system.Pane(), 171, value, 64);
            filledRows = value[0] ? 1 : 0;
            pane.Settle();
        }
        const Spread spread = SpreadOf(times);
        std::printf("    %-14ls median %6.2f ms   worst %6.2f ms%s%s\n", picture.name,
                    spread.median, spread.worst, filledRows ? "" : "   (rows stayed empty)",
                    unchanged ? "   (some runs changed no row)" : "");
    }
}

// ---- (b) ---------------------------------------------------------------------------------------

void SelectionToPreview(const std::wstring& jpeg) {
    std::printf("\n(b) selection to finished preview, %ls into 100x100, 9 runs\n", jpeg.c_str());
    Pane pane;
    if (!pane.object)
        return;
    std::vector<double> times;
    for (int run = 0; run < 10; ++run) {
        const int paints = pane.system.previewPaints;
        const auto start = Clock::now();
        pane.Select(jpeg);
        pane.Settle(); // the worker's last act before it lets go is the repaint of the preview
        const auto done = Clock::now();
        if (pane.system.previewPaints <= paints)
            std::printf("    run %d: the preview was not repainted\n", run);
        if (run > 0)
            times.push_back(Milliseconds(done - start));
    }
    const Spread spread = SpreadOf(times);
    std::printf("    selection to picture: median %.1f ms, worst %.1f ms\n", spread.median,
                spread.worst);

    // The engine's own part, for reference: LoadThumbnail alone on the same file.
    ComPtr<IEngineBitmap> engine;
    if (SUCCEEDED(::CoCreateInstance(CLSID_EngineBitmap, nullptr, CLSCTX_INPROC_SERVER,
                                     IID_IEngineBitmap, engine.PutVoid()))) {
        std::vector<double> loads;
        const UniqueBstr name(jpeg.c_str());
        for (int run = 0; run < 10; ++run) {
            const auto start = Clock::now();
            engine->LoadThumbnail(name.Get(), 100, 100);
            if (run > 0)
                loads.push_back(Milliseconds(Clock::now() - start));
        }
        std::printf("    EngineBitmap::LoadThumbnail alone: median %.1f ms\n",
                    SpreadOf(loads).median);
    }
    std::printf("    yardstick, natively: djpeg -scale 1/8 -outfile /dev/null %ls\n", jpeg.c_str());
}

// ---- (c) ---------------------------------------------------------------------------------------

constexpr UINT kStamp = WM_APP + 1;  // wParam: the QueryPerformanceCounter value when posted
constexpr UINT kSelect = WM_APP + 2; // lParam: the index of the selection
constexpr UINT kFinish = WM_APP + 3;

struct LatencyProbe {
    LARGE_INTEGER frequency = {};
    double worstMs = 0;
    std::vector<double> latencies;
    std::vector<double> selectionMs;
    Pane* pane = nullptr;
    const std::vector<std::wstring>* pictures = nullptr;
    bool finished = false;
    int depth = 0;
    int nested = 0;

    static LRESULT CALLBACK Proc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        auto* self = reinterpret_cast<LatencyProbe*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
        if (!self)
            return ::DefWindowProcW(window, message, wParam, lParam);
        switch (message) {
        case kStamp: {
            LARGE_INTEGER now;
            ::QueryPerformanceCounter(&now);
            const double late = static_cast<double>(now.QuadPart - static_cast<LONGLONG>(wParam)) *
                                1000.0 / static_cast<double>(self->frequency.QuadPart);
            self->latencies.push_back(late);
            self->worstMs = std::max(self->worstMs, late);
            return 0;
        }
        case kSelect: {
            // A selection can run inside another one's repaint, as the hook can: only the
            // outermost is timed, and the time includes those inside it.
            const auto start = Clock::now();
            const auto& list = *self->pictures;
            ++self->depth;
            if (self->depth > 1)
                ++self->nested;
            self->pane->Select(list[static_cast<std::size_t>(lParam) % list.size()]);
            if (--self->depth == 0)
                self->selectionMs.push_back(Milliseconds(Clock::now() - start));
            return 0;
        }
        case kFinish:
            self->finished = true;
            return 0;
        default:
            return ::DefWindowProcW(window, message, wParam, lParam);
        }
    }
};

void LatencyUnderSelections(const std::vector<std::wstring>& pictures) {
    std::printf("\n(c) dialog-thread message latency, 200 selections at 100/s across %zu large "
                "JPEGs, a stamped message every 1 ms\n",
                pictures.size());
    Pane pane;
    if (!pane.object)
        return;
    LatencyProbe probe;
    ::QueryPerformanceFrequency(&probe.frequency);
    probe.pane = &pane;
    probe.pictures = &pictures;
    const HWND window = ::CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                          nullptr, nullptr);
    ::SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&probe));
    ::SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&LatencyProbe::Proc));

    ::timeBeginPeriod(1);
    std::thread poster([window] {
        LARGE_INTEGER frequency, start, now;
        ::QueryPerformanceFrequency(&frequency);
        ::QueryPerformanceCounter(&start);
        int selections = 0;
        for (long long tick = 0; selections < 200; ++tick) {
            // Every millisecond a stamp; every tenth millisecond a new selection.
            const LONGLONG due = start.QuadPart + tick * frequency.QuadPart / 1000;
            do {
                ::QueryPerformanceCounter(&now);
                if (now.QuadPart < due)
                    ::Sleep(0);
            } while (now.QuadPart < due);
            ::PostMessageW(window, kStamp, static_cast<WPARAM>(now.QuadPart), 0);
            if (tick % 10 == 0)
                ::PostMessageW(window, kSelect, 0, selections++);
        }
        ::PostMessageW(window, kFinish, 0, 0);
    });
    MSG message;
    while (!probe.finished && ::GetMessageW(&message, nullptr, 0, 0) > 0) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
    poster.join();
    ::timeEndPeriod(1);
    pane.Settle();
    ::DestroyWindow(window);

    std::vector<double> sorted = probe.latencies;
    std::sort(sorted.begin(), sorted.end());
    const auto percentile = [&](double p) {
        return sorted.empty() ? 0.0 : sorted[static_cast<std::size_t>(p * (sorted.size() - 1))];
    };
    const Spread selection = SpreadOf(probe.selectionMs);
    std::printf("    %zu stamps: median %.2f ms, 99th percentile %.2f ms, worst %.2f ms\n",
                sorted.size(), percentile(0.5), percentile(0.99), probe.worstMs);
    std::printf("    a selection change on the dialog thread: median %.2f ms, worst %.2f ms "
                "(%d of the 200 ran inside another one's repaint)\n",
                selection.median, selection.worst, probe.nested);
}

int Run(int argc, wchar_t** argv) {
    if (FAILED(::OleInitialize(nullptr)))
        return 2;
    {
        EngineClasses engine;
        if (!engine.Register()) {
            std::printf("ImagingEngine.dll of this build could not be loaded\n");
            return 1;
        }
        testing::ScratchDirectory corpus;
        if (!testing::WriteCorpus(corpus)) {
            std::printf("could not write the small pictures\n");
            return 1;
        }
        SelectionToRows(corpus);

        const std::wstring large = argc > 1
                                       ? std::wstring(argv[1])
                                       : LargePicturePath(L"orrelux_dialog_bench_6000x4000.jpg");
        if (!EnsureLargeJpeg(large, 6000, 4000, 0)) {
            std::printf("could not write %ls\n", large.c_str());
            return 1;
        }
        SelectionToPreview(large);

        std::vector<std::wstring> pictures = {large};
        for (int seed = 1; seed <= 2; ++seed) {
            const std::wstring path = LargePicturePath(
                (L"orrelux_dialog_bench_4000x3000_" + std::to_wstring(seed) + L".jpg").c_str());
            if (EnsureLargeJpeg(path, 4000, 3000, seed))
                pictures.push_back(path);
        }
        LatencyUnderSelections(pictures);
    }
    ::OleUninitialize();
    return 0;
}

} // namespace
} // namespace orrelux

int wmain(int argc, wchar_t** argv) {
    return orrelux::Run(argc, argv);
}
