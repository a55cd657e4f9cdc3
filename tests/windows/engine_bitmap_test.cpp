// EngineBitmap of ImagingEngine.dll as the file dialog's preview uses it: loads of every format,
// drawing, the events of every operation, aborts, several callers at once, and apartments. The
// DLL is registered by the suite's fixture.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engine_pictures.h"
#include "imaging_engine.h"
#include "test_support.h"

namespace orrelux {
namespace {

using engine::kEngineCreationContext;
using engine::kEngineErrorLzwDisabled;
using engine::kEngineErrorNothingLoaded;
using engine::kEngineStatusAborted;
using testing::CorpusPicture;
using testing::Expected;
using testing::kCorpus;
using testing::kCorpusHeight;
using testing::kCorpusWidth;

constexpr HRESULT kIllegalMethodCall = static_cast<HRESULT>(0x8000000E);

// A file name for a test's trace (the names are ASCII).
std::string Narrow(const wchar_t* text) {
    return std::string(text, text + wcslen(text));
}

ComPtr<IEngineBitmap> CreateBitmap() {
    ComPtr<IEngineBitmap> bitmap;
    EXPECT_EQ(S_OK, ::CoCreateInstance(CLSID_EngineBitmap, nullptr, kEngineCreationContext,
                                       IID_IEngineBitmap, bitmap.PutVoid()));
    return bitmap;
}

struct Size {
    LONG width;
    LONG height;
    bool operator==(const Size& other) const {
        return width == other.width && height == other.height;
    }
};
std::ostream& operator<<(std::ostream& out, const Size& size) {
    return out << size.width << " x " << size.height;
}

Size LoadedSize(IEngineBitmap* bitmap) {
    ComPtr<IEngineBitmapData> data;
    Size size = {-1, -1};
    if (SUCCEEDED(bitmap->GetData(data.Put())) && data) {
        data->get_Width(&size.width);
        data->get_Height(&size.height);
    }
    return size;
}

HRESULT Thumbnail(IEngineBitmap* bitmap, const std::wstring& path, double width, double height) {
    UniqueBstr name(path.c_str());
    return bitmap->LoadThumbnail(name.Get(), width, height);
}

HRESULT LoadWhole(IEngineBitmap* bitmap, const std::wstring& path) {
    UniqueBstr name(path.c_str());
    return bitmap->Load(name.Get());
}

// A 32-bit top-down DIB section in a memory DC, filled with one colour.
class Surface {
public:
    Surface(int width, int height, std::uint32_t fill) : width_(width) {
        BITMAPINFO format = {};
        format.bmiHeader.biSize = sizeof(format.bmiHeader);
        format.bmiHeader.biWidth = width;
        format.bmiHeader.biHeight = -height;
        format.bmiHeader.biPlanes = 1;
        format.bmiHeader.biBitCount = 32;
        bitmap_.Reset(::CreateDIBSection(nullptr, &format, DIB_RGB_COLORS, &bits_, nullptr, 0));
        dc_.Reset(::CreateCompatibleDC(nullptr));
        old_ = ::SelectObject(dc_.Get(), bitmap_.Get());
        for (int i = 0; i < width * height; ++i)
            static_cast<std::uint32_t*>(bits_)[i] = fill;
    }
    ~Surface() { ::SelectObject(dc_.Get(), old_); }
    LONG Handle() const { return static_cast<LONG>(reinterpret_cast<LONG_PTR>(dc_.Get())); }
    std::uint32_t At(int x, int y) const {
        ::GdiFlush();
        return static_cast<const std::uint32_t*>(bits_)[y * width_ + x];
    }

private:
    int width_;
    void* bits_ = nullptr;
    UniqueBitmap bitmap_;
    UniqueMemoryDC dc_;
    HGDIOBJ old_ = nullptr;
};

HRESULT DrawAll(IEngineBitmap* bitmap, const Surface& surface, Size size, LONG flags) {
    return bitmap->Draw(surface.Handle(), 0, 0, size.width, size.height, 0, 0, size.width,
                        size.height, engine::kEngineDrawCopy, flags);
}

// One event as a sink received it, with the thread it arrived on.
struct Event {
    DISPID id;
    LONG first;  // position, or the error's code
    LONG second; // range
    std::wstring text;
    DWORD thread;
};

// A sink of _IEngineBitmapEvents that may be called from any thread; `hook` runs inside each
// event, outside the log's lock.
class EventLog final : public IDispatch {
public:
    std::function<void(const Event&)> hook;

    std::vector<Event> Take() {
        std::lock_guard<std::mutex> guard(lock_);
        return std::exchange(events_, {});
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        *out = nullptr;
        if (iid != IID_IUnknown && iid != IID_IDispatch && iid != DIID__IEngineBitmapEvents)
            return E_NOINTERFACE;
        *out = static_cast<IDispatch*>(this);
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
    STDMETHODIMP_(ULONG) Release() override { return --references_; }
    STDMETHODIMP GetTypeInfoCount(UINT* count) override {
        *count = 0;
        return S_OK;
    }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT*, EXCEPINFO*,
                        UINT*) override {
        Event event = {id, 0, 0, L"", ::GetCurrentThreadId()};
        const UINT count = parameters ? parameters->cArgs : 0;
        if (count == 2) { // arguments arrive last to first
            const VARIANT& last = parameters->rgvarg[0];
            const VARIANT& first = parameters->rgvarg[1];
            event.second = last.vt == VT_I4 ? last.lVal : -1;
            event.first = first.vt == VT_I4 ? first.lVal : -1;
            if (first.vt == VT_BSTR) {
                event.text = first.bstrVal ? first.bstrVal : L"";
                event.first = event.second; // ErrorOccured(description, code)
            }
        }
        {
            std::lock_guard<std::mutex> guard(lock_);
            events_.push_back(event);
        }
        if (hook)
            hook(event);
        return S_OK;
    }

private:
    std::mutex lock_;
    std::vector<Event> events_;
    std::atomic<ULONG> references_{1}; // owned by the test's frame
};

// Advises a sink for the connection's life.
class Connection {
public:
    Connection(IEngineBitmap* bitmap, IUnknown* sink) {
        ComPtr<IConnectionPointContainer> container;
        EXPECT_EQ(S_OK, ComPtr<IEngineBitmap>(bitmap).As(container));
        if (container) {
            EXPECT_EQ(S_OK,
                      container->FindConnectionPoint(DIID__IEngineBitmapEvents, point_.Put()));
        }
        if (point_) {
            EXPECT_EQ(S_OK, point_->Advise(sink, &cookie_));
        }
    }
    ~Connection() {
        if (point_)
            point_->Unadvise(cookie_);
    }

private:
    ComPtr<IConnectionPoint> point_;
    DWORD cookie_ = 0;
};

// What one operation's events said: Begin first and End last, once each, progress rising.
struct OperationSummary {
    bool paired = false;
    int progressCount = 0;
    LONG firstPosition = -1;
    LONG lastPosition = -1;
    bool progressRises = true;
    int errors = 0;
    LONG errorCode = 0;
    std::wstring errorText;
};

OperationSummary Summarise(const std::vector<Event>& events) {
    OperationSummary summary;
    summary.paired = events.size() >= 2 && events.front().id == 8 && events.back().id == 9;
    for (std::size_t i = 0; i < events.size(); ++i) {
        const Event& event = events[i];
        if ((event.id == 8 || event.id == 9) && i != 0 && i + 1 != events.size())
            summary.paired = false;
        if (event.id == 1) {
            summary.progressRises =
                summary.progressRises && event.second == 100 && event.first > summary.lastPosition;
            if (summary.progressCount++ == 0)
                summary.firstPosition = event.first;
            summary.lastPosition = event.first;
        } else if (event.id == 2) {
            ++summary.errors;
            summary.errorCode = event.first;
            summary.errorText = event.text;
        }
    }
    return summary;
}

class EngineBitmapTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        directory_ = new testing::ScratchDirectory();
        corpusWritten_ = testing::WriteCorpus(*directory_);
    }
    static void TearDownTestSuite() {
        delete directory_;
        directory_ = nullptr;
    }
    void SetUp() override {
        ASSERT_TRUE(corpusWritten_) << "the test pictures could not be written";
        bitmap_ = CreateBitmap();
        ASSERT_TRUE(bitmap_);
    }
    static std::wstring File(const wchar_t* name) { return directory_->File(name); }

    ComPtr<IEngineBitmap> bitmap_;
    static inline testing::ScratchDirectory* directory_ = nullptr;
    static inline bool corpusWritten_ = false;
};

// Every format through its decoder into the box-fitting scaler: the box binds one side exactly,
// the other keeps the aspect (rounded, halves up), and a small picture is never enlarged.
TEST_F(EngineBitmapTest, ThumbnailsOfEveryFormatFitTheirBox) {
    ASSERT_EQ(S_OK, bitmap_->put_IsLzwEnabled(VARIANT_TRUE));
    const struct {
        double width, height;
        Size expected;
    } boxes[] = {{100, 100, {45, 31}},
                 {20, 100, {20, 14}},
                 {100, 10, {15, 10}},
                 {1, 1, {1, 1}},
                 {7.9, 50, {7, 5}}};
    for (const CorpusPicture& picture : kCorpus)
        for (const auto& box : boxes) {
            SCOPED_TRACE(::testing::Message()
                         << Narrow(picture.name) << " in " << box.width << " x " << box.height);
            EXPECT_EQ(S_OK, Thumbnail(bitmap_.Get(), File(picture.name), box.width, box.height));
            EXPECT_EQ(box.expected, LoadedSize(bitmap_.Get()));
        }

    // A JPEG well above the box goes through libjpeg's scaled decoding first.
    const std::wstring large = File(L"large.jpg");
    ASSERT_EQ(S_OK, testing::WriteWicPicture(large, GUID_ContainerFormatJpeg, 640, 480));
    EXPECT_EQ(S_OK, Thumbnail(bitmap_.Get(), large, 100, 100));
    EXPECT_EQ((Size{100, 75}), LoadedSize(bitmap_.Get()));
}

// A full load keeps every pixel: drawn at its own size onto a DIB section, the picture reads
// back as it was written (JPEG within its loss).
TEST_F(EngineBitmapTest, FullLoadsGiveBackThePixels) {
    ASSERT_EQ(S_OK, bitmap_->put_IsLzwEnabled(VARIANT_TRUE));
    for (const CorpusPicture& picture : kCorpus) {
        SCOPED_TRACE(Narrow(picture.name));
        ASSERT_EQ(S_OK, LoadWhole(bitmap_.Get(), File(picture.name)));
        const Size size = LoadedSize(bitmap_.Get());
        ASSERT_EQ((Size{kCorpusWidth, kCorpusHeight}), size);
        const Surface surface(size.width, size.height, 0x12345678);
        ASSERT_EQ(S_OK, DrawAll(bitmap_.Get(), surface, size, 0));
        int wrong = 0;
        long error = 0;
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x) {
                const std::uint32_t expected = testing::ExpectedPixel(picture.pixels, x, y);
                const std::uint32_t actual = surface.At(x, y);
                if (picture.pixels != Expected::Approximate) {
                    wrong += actual != expected;
                    continue;
                }
                for (int shift = 0; shift < 24; shift += 8)
                    error += std::abs(static_cast<int>((actual >> shift) & 0xFF) -
                                      static_cast<int>((expected >> shift) & 0xFF));
            }
        EXPECT_EQ(0, wrong);
        EXPECT_LT(error / (size.width * size.height * 3), 12) << "mean error of a JPEG channel";
    }
}

// LZW is off by default: GIF and LZW TIFF are refused (with ErrorOccured) before decoding; a
// plain TIFF loads either way.
TEST_F(EngineBitmapTest, LzwPicturesLoadOnlyWhileLzwIsEnabled) {
    VARIANT_BOOL enabled = VARIANT_TRUE;
    EXPECT_EQ(S_OK, bitmap_->get_IsLzwEnabled(&enabled));
    EXPECT_EQ(VARIANT_FALSE, enabled);
    EXPECT_EQ(E_POINTER, bitmap_->get_IsLzwEnabled(nullptr));
    EventLog log;
    const Connection connection(bitmap_.Get(), &log);

    const struct {
        VARIANT_BOOL lzw;
        const wchar_t* file;
        HRESULT expected;
    } cases[] = {
        {VARIANT_FALSE, L"pattern.gif", kEngineErrorLzwDisabled},
        {VARIANT_FALSE, L"lzw.tif", kEngineErrorLzwDisabled},
        {VARIANT_FALSE, L"pattern.tif", S_OK},
        {VARIANT_TRUE, L"pattern.gif", S_OK},
        {static_cast<VARIANT_BOOL>(1), L"lzw.tif", S_OK}, // any non-zero value is true
        {VARIANT_FALSE, L"lzw.tif", kEngineErrorLzwDisabled},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "LZW " << c.lzw << ", file " << Narrow(c.file));
        ASSERT_EQ(S_OK, bitmap_->put_IsLzwEnabled(c.lzw));
        EXPECT_EQ(S_OK, bitmap_->get_IsLzwEnabled(&enabled));
        EXPECT_EQ(c.lzw ? VARIANT_TRUE : VARIANT_FALSE, enabled);
        EXPECT_EQ(c.expected, Thumbnail(bitmap_.Get(), File(c.file), 100, 100));
        const OperationSummary summary = Summarise(log.Take());
        EXPECT_TRUE(summary.paired);
        EXPECT_EQ(c.expected == S_OK ? 0 : 1, summary.errors);
        if (c.expected != S_OK) {
            EXPECT_EQ(c.expected, summary.errorCode);
            EXPECT_EQ((Size{0, 0}), LoadedSize(bitmap_.Get())) << "a failed load keeps nothing";
        }
    }
}

// Every operation is told from OperationBegin to OperationEnd: loads with progress from 0 to
// 100, failures with one ErrorOccured carrying the returned status, draws without progress.
// Calls refused by their arguments start no operation.
TEST_F(EngineBitmapTest, EveryOperationIsToldFromBeginToEnd) {
    const std::wstring text = File(L"notes.txt");
    ASSERT_TRUE(testing::WriteBytes(text, {'n', 'o', ' ', 'p', 'i', 'c', 't', 'u', 'r', 'e'}));
    const std::wstring cut = File(L"cut.bmp");
    ASSERT_TRUE(testing::WriteBytes(cut, testing::ReadBytes(File(L"pattern.bmp"), 200)));

    EventLog log;
    const Connection connection(bitmap_.Get(), &log);
    const Surface surface(10, 10, 0);
    const struct {
        const char* name;
        std::function<HRESULT(IEngineBitmap*)> call;
        HRESULT expected;
        bool events;
        bool progress;
    } cases[] = {
        {"thumbnail", [&](IEngineBitmap* b) { return Thumbnail(b, File(L"pattern.png"), 9, 9); },
         S_OK, true, true},
        {"draw",
         [&](IEngineBitmap* b) {
             return DrawAll(b, surface, {9, 6}, 3);
         },
         S_OK, true, false},
        {"full load", [&](IEngineBitmap* b) { return LoadWhole(b, File(L"pattern.psd")); }, S_OK,
         true, true},
        {"missing file", [&](IEngineBitmap* b) { return Thumbnail(b, File(L"missing.png"), 9, 9); },
         HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), true, false},
        {"not a picture", [&](IEngineBitmap* b) { return Thumbnail(b, text, 9, 9); },
         engine::kEngineErrorUnknownFormat, true, false},
        {"cut short", [&](IEngineBitmap* b) { return Thumbnail(b, cut, 9, 9); },
         engine::kEngineErrorCorrupt, true, false},
        {"draw with nothing loaded",
         [&](IEngineBitmap* b) {
             return DrawAll(b, surface, {9, 6}, 3);
         },
         kEngineErrorNothingLoaded, true, false},
        {"null name", [](IEngineBitmap* b) { return b->LoadThumbnail(nullptr, 9, 9); },
         E_INVALIDARG, false, false},
        {"box below 1",
         [&](IEngineBitmap* b) { return Thumbnail(b, File(L"pattern.png"), 0.5, 9); }, E_INVALIDARG,
         false, false},
        {"box not a number",
         [&](IEngineBitmap* b) { return Thumbnail(b, File(L"pattern.png"), 9, std::nan("")); },
         E_INVALIDARG, false, false},
        {"empty name for Load", [](IEngineBitmap* b) { return LoadWhole(b, L""); }, E_INVALIDARG,
         false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.expected, c.call(bitmap_.Get()));
        const std::vector<Event> events = log.Take();
        if (!c.events) {
            EXPECT_TRUE(events.empty());
            continue;
        }
        const OperationSummary summary = Summarise(events);
        EXPECT_TRUE(summary.paired);
        EXPECT_TRUE(summary.progressRises);
        if (c.progress) {
            EXPECT_EQ(0, summary.firstPosition);
            EXPECT_EQ(100, summary.lastPosition);
        }
        if (!c.progress && c.expected == S_OK) {
            EXPECT_EQ(0, summary.progressCount);
        }
        EXPECT_EQ(SUCCEEDED(c.expected) ? 0 : 1, summary.errors);
        if (FAILED(c.expected)) {
            EXPECT_EQ(c.expected, summary.errorCode);
            EXPECT_FALSE(summary.errorText.empty());
        }
    }
}

// A large picture, a second thread that aborts it once it is under way: -6, Begin and End
// paired, no ErrorOccured, no picture kept, and the next operation runs normally. The sink holds
// the decode at its first progress past 5 % until the abort has been asked for, so the abort
// always meets a running operation. One case per decoder family.
TEST_F(EngineBitmapTest, AbortFromAnotherThreadStopsTheRunningDecode) {
    const int w = 2400;
    const int h = 1600;
    ASSERT_EQ(S_OK, testing::WriteWicPicture(File(L"big.bmp"), GUID_ContainerFormatBmp, w, h));
    ASSERT_EQ(S_OK, testing::WriteWicPicture(File(L"big.png"), GUID_ContainerFormatPng, w, h));
    ASSERT_EQ(S_OK, testing::WriteWicPicture(File(L"big.jpg"), GUID_ContainerFormatJpeg, w, h));
    ASSERT_TRUE(testing::WriteBytes(File(L"big.pcx"), testing::PcxFile(w, h)));

    for (const wchar_t* name : {L"big.bmp", L"big.png", L"big.jpg", L"big.pcx"}) {
        SCOPED_TRACE(Narrow(name));
        const UniqueKernelHandle underWay(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        const UniqueKernelHandle asked(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        EventLog log;
        const Connection connection(bitmap_.Get(), &log);
        ASSERT_EQ(S_OK, Thumbnail(bitmap_.Get(), File(L"pattern.png"), 50, 50));
        log.Take();
        log.hook = [&](const Event& event) {
            if (event.id == 1 && event.first > 5 && event.first < 100 && ::SetEvent(underWay.Get()))
                ::WaitForSingleObject(asked.Get(), 10000);
        };

        std::atomic<DWORD> aborterThread{0};
        std::thread aborter([&] {
            aborterThread = ::GetCurrentThreadId();
            if (::WaitForSingleObject(underWay.Get(), 20000) == WAIT_OBJECT_0) {
                VARIANT_BOOL busy = VARIANT_FALSE;
                EXPECT_EQ(S_OK, bitmap_->get_IsBusy(&busy));
                EXPECT_EQ(VARIANT_TRUE, busy);
                EXPECT_EQ(S_OK, bitmap_->AbortOperation());
            }
            ::SetEvent(asked.Get());
        });
        EXPECT_EQ(kEngineStatusAborted, Thumbnail(bitmap_.Get(), File(name), 100, 100));
        aborter.join();

        const std::vector<Event> events = log.Take();
        const OperationSummary summary = Summarise(events);
        EXPECT_TRUE(summary.paired);
        EXPECT_EQ(0, summary.errors);
        EXPECT_LT(summary.lastPosition, 100);
        for (const Event& event : events)
            EXPECT_NE(aborterThread.load(), event.thread) << "events come on the decode's thread";
        EXPECT_EQ((Size{0, 0}), LoadedSize(bitmap_.Get()));
        VARIANT_BOOL busy = VARIANT_TRUE;
        EXPECT_EQ(S_OK, bitmap_->get_IsBusy(&busy));
        EXPECT_EQ(VARIANT_FALSE, busy);
        EXPECT_EQ(S_OK, Thumbnail(bitmap_.Get(), File(name), 30, 30)) << "the abort is spent";
    }
}

// An abort reaches only the operation that runs when it is called: from inside that
// operation's own event handler it stops a load or a draw; while nothing runs it does nothing.
TEST_F(EngineBitmapTest, AbortReachesOnlyTheRunningOperation) {
    EXPECT_EQ(S_OK, bitmap_->AbortOperation());
    EXPECT_EQ(S_OK, Thumbnail(bitmap_.Get(), File(L"pattern.bmp"), 20, 20))
        << "an abort while idle is not kept for later";

    EventLog log;
    IEngineBitmap* bitmap = bitmap_.Get();
    log.hook = [bitmap](const Event& event) {
        if (event.id == 8)
            bitmap->AbortOperation();
    };
    const Connection connection(bitmap_.Get(), &log);
    const Surface surface(4, 4, 0);
    EXPECT_EQ(kEngineStatusAborted, DrawAll(bitmap_.Get(), surface, {4, 4}, 0));
    EXPECT_EQ(0u, surface.At(0, 0)) << "nothing was drawn";
    EXPECT_EQ((Size{20, 14}), LoadedSize(bitmap_.Get())) << "an aborted draw keeps the picture";
    EXPECT_EQ(kEngineStatusAborted, Thumbnail(bitmap_.Get(), File(L"pattern.bmp"), 20, 20));
    EXPECT_EQ((Size{0, 0}), LoadedSize(bitmap_.Get())) << "an aborted load keeps nothing";
    const std::vector<Event> events = log.Take();
    ASSERT_GE(events.size(), 4u);
    EXPECT_TRUE(Summarise({events[0], events[1]}).paired) << "the draw";
    const OperationSummary load = Summarise({events.begin() + 2, events.end()});
    EXPECT_TRUE(load.paired);
    EXPECT_EQ(0, load.errors);
    EXPECT_LT(load.lastPosition, 100);
}

// An event handler that starts another operation on its own thread is refused at once instead
// of waiting for itself; the running operation goes on.
TEST_F(EngineBitmapTest, OperationsFromInsideAnOperationAreRefused) {
    EventLog log;
    IEngineBitmap* bitmap = bitmap_.Get();
    std::vector<HRESULT> nested;
    const std::wstring file = File(L"pattern.pcx");
    log.hook = [&](const Event& event) {
        if (event.id != 8)
            return;
        nested.push_back(Thumbnail(bitmap, file, 5, 5));
        const Surface surface(2, 2, 0);
        nested.push_back(DrawAll(bitmap, surface, {2, 2}, 0));
    };
    const Connection connection(bitmap_.Get(), &log);
    EXPECT_EQ(S_OK, Thumbnail(bitmap_.Get(), file, 10, 10));
    EXPECT_EQ((std::vector<HRESULT>{kIllegalMethodCall, kIllegalMethodCall}), nested);
    EXPECT_EQ((Size{10, 7}), LoadedSize(bitmap_.Get()));
}

// Threads of the multithreaded apartment load and draw through one object while another keeps
// aborting: every call ends with S_OK or -6, operations never overlap (Begin and End strictly
// alternate), and every operation is paired.
TEST_F(EngineBitmapTest, ConcurrentCallersTakeTurns) {
    std::mutex orderLock;
    std::vector<DISPID> order;
    EventLog log;
    log.hook = [&](const Event& event) {
        if (event.id == 8 || event.id == 9) {
            std::lock_guard<std::mutex> guard(orderLock);
            order.push_back(event.id);
        }
    };
    const Connection connection(bitmap_.Get(), &log);
    ASSERT_EQ(S_OK, bitmap_->put_IsLzwEnabled(VARIANT_TRUE));

    std::atomic<int> unexpected{0};
    std::atomic<int> aborted{0};
    std::atomic<bool> done{false};
    IEngineBitmap* bitmap = bitmap_.Get();
    const auto worker = [&](int seed) {
        ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        const Surface surface(50, 50, 0);
        for (int i = 0; i < 24; ++i) {
            const CorpusPicture& picture =
                kCorpus[(seed + i) % (sizeof(kCorpus) / sizeof(kCorpus[0]))];
            HRESULT status = Thumbnail(bitmap, File(picture.name), 20 + i, 20);
            if (status == S_OK)
                status = DrawAll(bitmap, surface, {1, 1}, engine::kEngineDrawAllFlags);
            if (status == kEngineStatusAborted)
                ++aborted;
            else if (status != S_OK && status != kEngineErrorNothingLoaded)
                ++unexpected; // another thread's failed or aborted load may leave nothing to draw
        }
        ::CoUninitialize();
    };
    std::thread aborter([&] {
        ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        while (!done) {
            bitmap->AbortOperation();
            ::Sleep(3);
        }
        ::CoUninitialize();
    });
    std::vector<std::thread> workers;
    for (int t = 0; t < 3; ++t)
        workers.emplace_back(worker, t * 3);
    for (std::thread& thread : workers)
        thread.join();
    done = true;
    aborter.join();

    EXPECT_EQ(0, unexpected.load());
    ASSERT_FALSE(order.empty());
    ASSERT_EQ(0u, order.size() % 2);
    for (std::size_t i = 0; i < order.size(); ++i)
        ASSERT_EQ(i % 2 == 0 ? 8 : 9, order[i]) << "event " << i;
    std::cout << "[          ] " << order.size() / 2 << " operations, " << aborted.load()
              << " aborted\n";
}

// The object is free-threaded: marshalled from this single-threaded apartment into the
// multithreaded one it arrives as itself, works there, and its class is registered for both.
TEST_F(EngineBitmapTest, OneObjectServesEveryApartment) {
    ComPtr<IMarshal> marshal;
    EXPECT_EQ(S_OK, bitmap_.As(marshal)) << "the free-threaded marshaler is aggregated";
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, ::CoMarshalInterThreadInterfaceInStream(IID_IEngineBitmap, bitmap_.Get(),
                                                            stream.Put()));
    IEngineBitmap* const original = bitmap_.Get();
    std::atomic<bool> same{false};
    std::atomic<HRESULT> loaded{E_FAIL};
    std::thread mta([&] {
        ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        {
            ComPtr<IEngineBitmap> there;
            if (SUCCEEDED(::CoGetInterfaceAndReleaseStream(stream.Detach(), IID_IEngineBitmap,
                                                           there.PutVoid()))) {
                same = there.Get() == original;
                loaded = Thumbnail(there.Get(), File(L"pattern.jpg"), 16, 16);
            }
        }
        ::CoUninitialize();
    });
    mta.join();
    EXPECT_TRUE(same.load());
    EXPECT_EQ(S_OK, loaded.load());
    EXPECT_EQ((Size{16, 11}), LoadedSize(bitmap_.Get())) << "the load happened in this object";

    // An object made in the multithreaded apartment is used here directly as well.
    ComPtr<IEngineBitmap> madeThere;
    std::thread maker([&] {
        ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        ComPtr<IEngineBitmap> made = CreateBitmap();
        ComPtr<IStream> out;
        if (made && SUCCEEDED(::CoMarshalInterThreadInterfaceInStream(IID_IEngineBitmap, made.Get(),
                                                                      out.Put())))
            stream = out;
        ::CoUninitialize(); // the object lives on: the stream holds it
    });
    maker.join();
    ASSERT_TRUE(stream);
    ASSERT_EQ(S_OK, ::CoGetInterfaceAndReleaseStream(stream.Detach(), IID_IEngineBitmap,
                                                     madeThere.PutVoid()));
    EXPECT_EQ(S_OK, Thumbnail(madeThere.Get(), File(L"pattern.png"), 10, 10));
    EXPECT_EQ((Size{10, 7}), LoadedSize(madeThere.Get()));

    for (const CLSID* clsid : {&CLSID_EngineBitmap, &CLSID_EngineMetaReader}) {
        wchar_t guid[40] = {}, model[32] = {};
        ::StringFromGUID2(*clsid, guid, 40);
        DWORD size = sizeof(model);
        EXPECT_EQ(ERROR_SUCCESS,
                  ::RegGetValueW(HKEY_CLASSES_ROOT,
                                 (std::wstring(L"CLSID\\") + guid + L"\\InprocServer32").c_str(),
                                 L"ThreadingModel", RRF_RT_REG_SZ, nullptr, model, &size));
        EXPECT_STREQ(L"Both", model);
    }
    CLSID clsid = GUID_NULL;
    for (const wchar_t* progId : {L"OrreluxEngine.Bitmap", L"OrreluxEngine.Bitmap.1",
                                  L"OrreluxEngine.MetaReader", L"OrreluxEngine.MetaReader.1"})
        EXPECT_EQ(S_OK, ::CLSIDFromProgID(progId, &clsid)) << progId;
}

// Drawing: alpha over the destination or copied, area average or nearest pixel when scaling,
// the source rectangle in picture coordinates, and the refused arguments.
TEST_F(EngineBitmapTest, DrawBlendsScalesAndRefusesBadArguments) {
    // Two pixels: red at half alpha, then fully transparent; below them black and white.
    const std::wstring file = File(L"alpha.png");
    std::vector<std::uint8_t> rows = {0, 0, 255, 128, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255, 255, 255};
    ASSERT_EQ(S_OK, testing::EncodeWithWic(file, GUID_ContainerFormatPng,
                                           GUID_WICPixelFormat32bppBGRA, 2, 2, 8, rows));
    ASSERT_EQ(S_OK, LoadWhole(bitmap_.Get(), file));

    const struct {
        const char* name;
        double destWidth, destHeight, srcX, srcY, srcWidth, srcHeight;
        LONG flags;
        std::uint32_t expected; // at (0, 0), drawn over white
    } draws[] = {
        {"blend", 2, 2, 0, 0, 2, 2, engine::kEngineDrawBlend, 0xFFFF7F7F},
        {"copy", 2, 2, 0, 0, 2, 2, 0, 0x80FF0000},
        {"transparent pixel blended", 1, 1, 1, 0, 1, 1, engine::kEngineDrawBlend, 0xFFFFFFFF},
        {"lower row, nearest", 1, 1, 0, 1, 2, 1, 0, 0xFFFFFFFF},
        {"lower row, averaged", 1, 1, 0, 1, 2, 1, engine::kEngineDrawSmooth, 0xFF808080},
        {"enlarged", 4, 4, 0, 1, 1, 1, engine::kEngineDrawAllFlags, 0xFF000000},
    };
    for (const auto& d : draws) {
        SCOPED_TRACE(d.name);
        const Surface surface(4, 4, 0xFFFFFFFF);
        EXPECT_EQ(S_OK,
                  bitmap_->Draw(surface.Handle(), 0, 0, d.destWidth, d.destHeight, d.srcX, d.srcY,
                                d.srcWidth, d.srcHeight, engine::kEngineDrawCopy, d.flags));
        EXPECT_EQ(d.expected, surface.At(0, 0));
        EXPECT_EQ(d.destWidth < 4 ? 0xFFFFFFFFu : d.expected, surface.At(3, 3))
            << "outside the destination the surface stays";
    }

    const Surface surface(4, 4, 0);
    const LONG dc = surface.Handle();
    const struct {
        const char* name;
        LONG dc;
        double values[8];
        LONG operation, flags;
    } refused[] = {
        {"no device context", 0, {0, 0, 2, 2, 0, 0, 2, 2}, 1, 0},
        {"a handle of no device context", 0x7FFF, {0, 0, 2, 2, 0, 0, 2, 2}, 1, 0},
        {"raster operation 2", dc, {0, 0, 2, 2, 0, 0, 2, 2}, 2, 0},
        {"unknown flag", dc, {0, 0, 2, 2, 0, 0, 2, 2}, 1, 4},
        {"empty destination", dc, {0, 0, 0, 2, 0, 0, 2, 2}, 1, 0},
        {"negative source width", dc, {0, 0, 2, 2, 0, 0, -2, 2}, 1, 0},
        {"infinite coordinate", dc, {HUGE_VAL, 0, 2, 2, 0, 0, 2, 2}, 1, 0},
        {"source past the picture", dc, {0, 0, 2, 2, 1, 0, 2, 2}, 1, 0},
        {"source before the picture", dc, {0, 0, 2, 2, 0, -1, 2, 2}, 1, 0},
    };
    for (const auto& r : refused) {
        SCOPED_TRACE(r.name);
        const double* v = r.values;
        EXPECT_EQ(E_INVALIDARG, bitmap_->Draw(r.dc, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7],
                                              r.operation, r.flags));
        EXPECT_EQ(0u, surface.At(0, 0));
    }
    EXPECT_EQ(S_OK, bitmap_->Clear());
    EXPECT_EQ((Size{0, 0}), LoadedSize(bitmap_.Get()));
    EXPECT_EQ(kEngineErrorNothingLoaded, DrawAll(bitmap_.Get(), surface, {2, 2}, 0));
}

// The format list behind the dialog's default filters: every picture of the corpus matches a
// pattern of "All supported" and of its own format's entry; a save offers the formats the
// system encodes.
TEST_F(EngineBitmapTest, FormatListOffersTheFormatsTheEngineOpens) {
    ComPtr<IEngineFormatList> formats;
    ASSERT_EQ(S_OK, bitmap_->GetFormatList(formats.Put()));
    ASSERT_TRUE(formats);
    EXPECT_EQ(E_POINTER, bitmap_->GetFormatList(nullptr));
    LONG count = 0;
    EXPECT_EQ(S_OK, formats->get_Count(&count));
    EXPECT_EQ(8, count);
    const std::wstring open = testing::TakeBstr([&] {
        BSTR text = nullptr;
        EXPECT_EQ(S_OK, formats->get_OpenFilter(&text));
        return text;
    }());
    const std::wstring save = testing::TakeBstr([&] {
        BSTR text = nullptr;
        EXPECT_EQ(S_OK, formats->get_SaveFilter(&text));
        return text;
    }());
    EXPECT_EQ(L"JPEG|*.jpg|BMP|*.bmp|PNG|*.png|TIFF|*.tif", save);

    std::vector<std::wstring> parts;
    for (std::size_t start = 0;;) {
        const std::size_t bar = open.find(L'|', start);
        parts.push_back(open.substr(start, bar - start));
        if (bar == std::wstring::npos)
            break;
        start = bar + 1;
    }
    ASSERT_EQ(18u, parts.size()) << "nine name and pattern pairs";
    EXPECT_EQ(L"All supported", parts[0]);
    const wchar_t* const names[] = {L"JPEG", L"BMP",  L"PNG", L"TIFF",
                                    L"PCX",  L"WBMP", L"GIF", L"PSD"};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(names[i], parts[2 + 2 * i]);
    for (const CorpusPicture& picture : kCorpus) {
        const std::wstring name = picture.name;
        const std::wstring pattern = L"*" + name.substr(name.find(L'.'));
        const auto listed = [&pattern](const std::wstring& patterns) {
            return (L";" + patterns + L";").find(L";" + pattern + L";") != std::wstring::npos;
        };
        EXPECT_TRUE(listed(parts[1])) << pattern.c_str();
        EXPECT_TRUE(listed(parts[2 * picture.fileFormat + 1])) << pattern.c_str();
    }
}

// The connection point's own contract: one point, found only for the event interface, sinks
// that do not answer it refused, cookies checked, connections listed.
TEST_F(EngineBitmapTest, ConnectionPointContract) {
    ComPtr<IConnectionPointContainer> container;
    ASSERT_EQ(S_OK, bitmap_.As(container));
    ComPtr<IConnectionPoint> point;
    EXPECT_EQ(CONNECT_E_NOCONNECTION, container->FindConnectionPoint(IID_IDispatch, point.Put()));
    ASSERT_EQ(S_OK, container->FindConnectionPoint(DIID__IEngineBitmapEvents, point.Put()));
    IID iid = GUID_NULL;
    EXPECT_EQ(S_OK, point->GetConnectionInterface(&iid));
    EXPECT_EQ(DIID__IEngineBitmapEvents, iid);

    ComPtr<IEnumConnectionPoints> points;
    ASSERT_EQ(S_OK, container->EnumConnectionPoints(points.Put()));
    IConnectionPoint* listed[2] = {};
    ULONG fetched = 0;
    EXPECT_EQ(S_FALSE, points->Next(2, listed, &fetched));
    ASSERT_EQ(1u, fetched);
    EXPECT_EQ(point.Get(), listed[0]);
    listed[0]->Release();

    testing::RecordingSink plainDispatch; // answers IDispatch only
    DWORD cookie = 1;
    EXPECT_EQ(CONNECT_E_CANNOTCONNECT, point->Advise(&plainDispatch, &cookie));
    EXPECT_EQ(0u, cookie);
    EventLog log;
    ASSERT_EQ(S_OK, point->Advise(&log, &cookie));
    ComPtr<IEnumConnections> connections;
    ASSERT_EQ(S_OK, point->EnumConnections(connections.Put()));
    CONNECTDATA data = {};
    EXPECT_EQ(S_OK, connections->Next(1, &data, nullptr));
    EXPECT_EQ(cookie, data.dwCookie);
    data.pUnk->Release();
    EXPECT_EQ(CONNECT_E_NOCONNECTION, point->Unadvise(cookie + 1));
    EXPECT_EQ(S_OK, point->Unadvise(cookie));
    EXPECT_EQ(CONNECT_E_NOCONNECTION, point->Unadvise(cookie));
    EXPECT_EQ(S_OK, Thumbnail(bitmap_.Get(), File(L"pattern.bmp"), 5, 5));
    EXPECT_TRUE(log.Take().empty()) << "an unadvised sink hears nothing";
}

} // namespace
} // namespace orrelux
