// Benchmark of EngineBitmap on 24-megapixel pictures (6000 x 4000) of every decoder family:
// the time of a 100 x 100 thumbnail and of a full load, and how long an abort takes to stop a
// running thumbnail decode (from AbortOperation to OperationEnd and to the return of
// LoadThumbnail).
//
// Run under Wine from the build tree: wine64 bench/engine_bench.exe. The engine DLL is loaded
// from the build's bin directory through its class factory, so it need not be registered.
#include <windows.h>
#include <ole2.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "ImagingEngine.h"
#include "engine_pictures.h"

namespace {

using orrelux::ComPtr;
using orrelux::UniqueBstr;
using Clock = std::chrono::steady_clock;

double Milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

// Signals `reached` once progress passes `threshold` percent.
class ProgressWatch final : public IDispatch {
public:
    ProgressWatch(HANDLE reached, LONG threshold) : reached_(reached), threshold_(threshold) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        *out = nullptr;
        if (iid != IID_IUnknown && iid != IID_IDispatch && iid != DIID__IEngineBitmapEvents)
            return E_NOINTERFACE;
        *out = static_cast<IDispatch*>(this);
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
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
        if (id == 9)
            endedAt = Clock::now();
        if (id == 1 && parameters && parameters->cArgs == 2) {
            ++events;
            if (parameters->rgvarg[1].lVal >= threshold_)
                ::SetEvent(reached_);
        }
        return S_OK;
    }

    std::atomic<int> events{0};
    Clock::time_point endedAt; // of the last OperationEnd

private:
    HANDLE reached_;
    LONG threshold_;
};

ComPtr<IEngineBitmap> CreateBitmap(HMODULE engine) {
    using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
    const auto get = reinterpret_cast<GetClassObject>(
        reinterpret_cast<void*>(::GetProcAddress(engine, "DllGetClassObject")));
    ComPtr<IClassFactory> factory;
    ComPtr<IEngineBitmap> bitmap;
    if (get && SUCCEEDED(get(CLSID_EngineBitmap, IID_IClassFactory, factory.PutVoid())))
        factory->CreateInstance(nullptr, IID_IEngineBitmap, bitmap.PutVoid());
    return bitmap;
}

struct Sample {
    const wchar_t* name;
    bool made;
};

} // namespace

int main() {
    if (FAILED(::CoInitializeEx(nullptr, COINIT_MULTITHREADED)))
        return 2;
    std::wstring dll = std::wstring(ORRELUX_BIN_DIR) + L"/ImagingEngine.dll";
    std::replace(dll.begin(), dll.end(), L'/', L'\\');
    const HMODULE engine = ::LoadLibraryW(dll.c_str());
    const ComPtr<IEngineBitmap> bitmap = engine ? CreateBitmap(engine) : nullptr;
    if (!bitmap) {
        std::printf("cannot load %ls\n", dll.c_str());
        return 1;
    }
    bitmap->put_IsLzwEnabled(VARIANT_TRUE);

    const int w = 6000;
    const int h = 4000;
    orrelux::testing::ScratchDirectory directory;
    const auto file = [&directory](const wchar_t* name) { return directory.File(name); };
    std::printf("making %d x %d pictures...\n", w, h);
    Sample samples[] = {
        {L"big.jpg", SUCCEEDED(orrelux::testing::WriteWicPicture(file(L"big.jpg"),
                                                                 GUID_ContainerFormatJpeg, w, h))},
        {L"big.png", SUCCEEDED(orrelux::testing::WriteWicPicture(file(L"big.png"),
                                                                 GUID_ContainerFormatPng, w, h))},
        {L"big.bmp", SUCCEEDED(orrelux::testing::WriteWicPicture(file(L"big.bmp"),
                                                                 GUID_ContainerFormatBmp, w, h))},
        {L"big.tif", SUCCEEDED(orrelux::testing::WriteWicPicture(file(L"big.tif"),
                                                                 GUID_ContainerFormatTiff, w, h))},
        {L"big.pcx",
         orrelux::testing::WriteBytes(file(L"big.pcx"), orrelux::testing::PcxFile(w, h))},
        {L"big.psd",
         orrelux::testing::WriteBytes(file(L"big.psd"), orrelux::testing::PsdFile(w, h))},
    };

    // Abort columns: from AbortOperation to OperationEnd, and to the return of LoadThumbnail
    // (which also waits for the decoder's buffers to be given back), median and worst of 5.
    std::printf("%-8s %12s %10s %10s %10s %10s %10s %7s\n", "file", "thumb ms", "full ms",
                "end med", "end max", "ret med", "ret max", "events");
    for (const Sample& sample : samples) {
        if (!sample.made) {
            std::printf("%-8ls not written\n", sample.name);
            continue;
        }
        UniqueBstr name(file(sample.name).c_str());
        std::vector<double> thumbnails;
        HRESULT status = S_OK;
        for (int run = 0; run < 3 && SUCCEEDED(status); ++run) {
            const Clock::time_point start = Clock::now();
            status = bitmap->LoadThumbnail(name.Get(), 100, 100);
            thumbnails.push_back(Milliseconds(Clock::now() - start));
        }
        const Clock::time_point fullStart = Clock::now();
        const HRESULT full = bitmap->Load(name.Get());
        const double fullTime = Milliseconds(Clock::now() - fullStart);
        bitmap->Clear();

        // Aborts: a worker decodes, this thread aborts once progress passes 25 %.
        const HANDLE reached = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
        ProgressWatch watch(reached, 25);
        ComPtr<IConnectionPointContainer> container;
        ComPtr<IConnectionPoint> point;
        DWORD cookie = 0;
        bitmap.As(container);
        container->FindConnectionPoint(DIID__IEngineBitmapEvents, point.Put());
        point->Advise(&watch, &cookie);
        std::vector<double> latencies;
        std::vector<double> untilEnd;
        int notAborted = 0;
        for (int run = 0; run < 5; ++run) {
            ::ResetEvent(reached);
            std::atomic<HRESULT> result{S_OK};
            Clock::time_point returned;
            std::thread worker([&] {
                ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
                result = bitmap->LoadThumbnail(name.Get(), 100, 100);
                returned = Clock::now();
                ::CoUninitialize();
            });
            ::WaitForSingleObject(reached, 60000);
            const Clock::time_point asked = Clock::now();
            bitmap->AbortOperation();
            worker.join();
            if (result.load() == static_cast<HRESULT>(0xFFFFFFFA)) {
                latencies.push_back(Milliseconds(returned - asked));
                untilEnd.push_back(Milliseconds(watch.endedAt - asked));
            } else {
                ++notAborted;
            }
        }
        point->Unadvise(cookie);
        ::CloseHandle(reached);

        std::sort(thumbnails.begin(), thumbnails.end());
        std::sort(latencies.begin(), latencies.end());
        std::sort(untilEnd.begin(), untilEnd.end());
        const auto median = [](const std::vector<double>& values) {
            return values.empty() ? -1.0 : values[values.size() / 2];
        };
        std::printf("%-8ls %12.1f %10.1f %10.2f %10.2f %10.2f %10.2f %7d", sample.name,
                    SUCCEEDED(status) ? median(thumbnails) : -1.0,
                    SUCCEEDED(full) ? fullTime : -1.0, median(untilEnd),
                    untilEnd.empty() ? -1.0 : untilEnd.back(), median(latencies),
                    latencies.empty() ? -1.0 : latencies.back(), watch.events.load() / 5);
        if (notAborted > 0)
            std::printf("  (%d runs ended before the abort)", notAborted);
        std::printf("\n");
    }
    ::CoUninitialize();
    return 0;
}
