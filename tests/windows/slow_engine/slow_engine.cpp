// SlowImagingEngine.dll: the real EngineBitmap with delays, progress steps, holds and faults that
// a test controls (see slow_engine.h). Only tests and benchmarks load it.
#include <windows.h>
#include <ole2.h>
#include <ocidl.h>
#include <olectl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cwchar>
#include <mutex>
#include <stdexcept>
#include <string>

#include "imaging_engine.h"
#include "platform/event_sinks.h"
#include "platform/handles.h"
#include "slow_engine.h"

namespace {

using orrelux::ComPtr;
using orrelux::SinkList;

// ---- The shared state that the exported functions steer ---------------------------------------

class Control {
public:
    static Control& Get() {
        static Control control;
        return control;
    }

    void Configure(const SlowEngineSettings& settings) {
        {
            const std::lock_guard<std::mutex> guard(lock_);
            settings_ = settings;
            settings_.progressCount = std::clamp<LONG>(settings_.progressCount, 0, 8);
            releases_ = 0;
            thumbnailCalls = 0;
            drawCalls = 0;
            abortCalls = 0;
            mostCallersInside = 0;
            lastThumbnail_[0] = L'\0';
        }
        wake_.notify_all();
    }

    SlowEngineSettings Settings() {
        const std::lock_guard<std::mutex> guard(lock_);
        return settings_;
    }

    void Release(LONG count) {
        {
            const std::lock_guard<std::mutex> guard(lock_);
            releases_ += count;
        }
        wake_.notify_all();
    }

    void Aborted() {
        ++abortCalls;
        {
            const std::lock_guard<std::mutex> guard(lock_);
            ++abortEpoch_;
        }
        wake_.notify_all();
    }

    // The count of aborts so far: an operation notes it as it begins, and an abort after that
    // ends its pauses.
    unsigned AbortEpoch() {
        const std::lock_guard<std::mutex> guard(lock_);
        return abortEpoch_;
    }

    // The pause of the delay: false when an abort since `epoch` cut it short.
    bool Pause(DWORD milliseconds, unsigned epoch) {
        std::unique_lock<std::mutex> guard(lock_);
        return !wake_.wait_for(guard, std::chrono::milliseconds(milliseconds),
                               [&] { return abortEpoch_ != epoch; });
    }

    // Before the operation of LoadThumbnail or Draw: until a release is there to take or the
    // hold is switched off.
    void HoldBeforeBegin(BOOL SlowEngineSettings::*hold, LONG& waiting) {
        std::unique_lock<std::mutex> guard(lock_);
        ++waiting;
        wake_.wait(guard, [&] { return releases_ > 0 || !(settings_.*hold); });
        if (releases_ > 0)
            --releases_;
        --waiting;
    }
    void HoldBeforeThumbnail() {
        HoldBeforeBegin(&SlowEngineSettings::holdBeforeBegin, heldBeforeBegin_);
    }
    void HoldBeforeDraw() { HoldBeforeBegin(&SlowEngineSettings::holdDraw, heldInDraw_); }

    // The hold: until a release is there to take, the hold is switched off, or an abort since
    // `epoch` comes.
    void Hold(unsigned epoch) {
        std::unique_lock<std::mutex> guard(lock_);
        ++held;
        wake_.wait(guard, [&] {
            return releases_ > 0 || !settings_.holdThumbnails || abortEpoch_ != epoch;
        });
        if (releases_ > 0 && abortEpoch_ == epoch)
            --releases_;
        --held;
    }

    void Entered(BSTR fileName) {
        ++thumbnailCalls;
        const LONG inside = ++callersInside;
        LONG most = mostCallersInside.load();
        while (inside > most && !mostCallersInside.compare_exchange_weak(most, inside)) {
        }
        const std::lock_guard<std::mutex> guard(lock_);
        std::wcsncpy(lastThumbnail_, fileName ? fileName : L"", 259);
        lastThumbnail_[259] = L'\0';
    }

    void Read(SlowEngineCounters& counters) {
        counters.objects = objects.load();
        counters.thumbnailCalls = thumbnailCalls.load();
        counters.drawCalls = drawCalls.load();
        counters.abortCalls = abortCalls.load();
        counters.callersInside = callersInside.load();
        counters.mostCallersInside = mostCallersInside.load();
        const std::lock_guard<std::mutex> guard(lock_);
        counters.held = held;
        counters.heldBeforeBegin = heldBeforeBegin_;
        counters.heldInDraw = heldInDraw_;
        std::wcscpy(counters.lastThumbnail, lastThumbnail_);
    }

    std::atomic<LONG> objects{0};
    std::atomic<LONG> thumbnailCalls{0};
    std::atomic<LONG> drawCalls{0};
    std::atomic<LONG> abortCalls{0};
    std::atomic<LONG> callersInside{0};
    std::atomic<LONG> mostCallersInside{0};

private:
    Control() = default;

    std::mutex lock_;
    std::condition_variable wake_;
    SlowEngineSettings settings_ = {};
    LONG releases_ = 0;        // guarded by lock_
    LONG held = 0;             // guarded by lock_
    LONG heldBeforeBegin_ = 0; // guarded by lock_
    LONG heldInDraw_ = 0;      // guarded by lock_
    unsigned abortEpoch_ = 0;  // guarded by lock_
    WCHAR lastThumbnail_[260] = {};
};

// Set while this thread runs a LoadThumbnail of a wrapper: the engine announces the operation on
// the caller's thread, and only those operations are slowed down.
thread_local bool inThumbnail = false;

HMODULE ThisModule() {
    HMODULE module = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                             GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         reinterpret_cast<LPCWSTR>(&ThisModule), &module);
    return module;
}

// A real EngineBitmap, made by the class object of ImagingEngine.dll beside this DLL. The engine
// DLL stays loaded for the life of the process.
HRESULT CreateRealBitmap(IEngineBitmap** out) {
    wchar_t path[MAX_PATH] = {};
    const DWORD length = ::GetModuleFileNameW(ThisModule(), path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH)
        return E_FAIL;
    std::wstring engine(path, length);
    engine.erase(engine.find_last_of(L"\\/") + 1);
    engine += L"ImagingEngine.dll";
    static const HMODULE module = ::LoadLibraryW(engine.c_str());
    if (!module)
        return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
    using GetClassObject = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
    const auto entry = reinterpret_cast<GetClassObject>(
        reinterpret_cast<void*>(::GetProcAddress(module, "DllGetClassObject")));
    if (!entry)
        return E_FAIL;
    ComPtr<IClassFactory> factory;
    HRESULT status = entry(CLSID_EngineBitmap, IID_IClassFactory, factory.PutVoid());
    if (FAILED(status))
        return status;
    return factory->CreateInstance(nullptr, IID_IEngineBitmap, reinterpret_cast<void**>(out));
}

HRESULT FireProgress(const SinkList& sinks, LONG position, LONG range) {
    VARIANT arguments[2];
    V_VT(&arguments[0]) = VT_I4; // automation passes the last argument first
    V_I4(&arguments[0]) = range;
    V_VT(&arguments[1]) = VT_I4;
    V_I4(&arguments[1]) = position;
    DISPPARAMS parameters = {arguments, nullptr, 2, 0};
    return sinks.Fire(1, &parameters);
}

// ---- The wrapper -------------------------------------------------------------------------------

class SlowBitmap final : public IEngineBitmap,
                         public IConnectionPointContainer,
                         public IConnectionPoint {
public:
    static HRESULT Create(REFIID iid, void** out) {
        ComPtr<IEngineBitmap> inner;
        HRESULT status = CreateRealBitmap(inner.Put());
        if (FAILED(status))
            return status;
        auto object = ComPtr<SlowBitmap>::Adopt(new SlowBitmap(std::move(inner)));
        status = object->Subscribe();
        if (FAILED(status))
            return status;
        return object->QueryInterface(iid, out);
    }

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_IDispatch || iid == IID_IEngineBitmap)
            *out = static_cast<IEngineBitmap*>(this);
        else if (iid == IID_IConnectionPointContainer)
            *out = static_cast<IConnectionPointContainer*>(this);
        else if (iid == IID_IConnectionPoint)
            *out = static_cast<IConnectionPoint*>(this);
        if (!*out)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = --references_;
        if (left == 0)
            delete this;
        return left;
    }

    // IDispatch: the dialogs call the interface's own operations.
    STDMETHODIMP GetTypeInfoCount(UINT* count) override {
        if (count)
            *count = 0;
        return S_OK;
    }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                        UINT*) override {
        return E_NOTIMPL;
    }

    // IEngineBitmap
    STDMETHODIMP Load(BSTR fileName) override { return inner_->Load(fileName); }
    STDMETHODIMP GetFormatList(IEngineFormatList** formats) override {
        return inner_->GetFormatList(formats);
    }
    STDMETHODIMP Draw(LONG hdc, double destX, double destY, double destWidth, double destHeight,
                      double srcX, double srcY, double srcWidth, double srcHeight,
                      LONG rasterOperation, LONG flags) override {
        Control& control = Control::Get();
        ++control.drawCalls;
        if (control.Settings().throwInDraw)
            throw std::runtime_error("a fault injected into Draw");
        if (control.Settings().holdDraw)
            control.HoldBeforeDraw();
        return inner_->Draw(hdc, destX, destY, destWidth, destHeight, srcX, srcY, srcWidth,
                            srcHeight, rasterOperation, flags);
    }
    STDMETHODIMP GetData(IEngineBitmapData** data) override { return inner_->GetData(data); }
    STDMETHODIMP LoadThumbnail(BSTR fileName, double maxWidth, double maxHeight) override {
        Control& control = Control::Get();
        control.Entered(fileName);
        struct Leave {
            ~Leave() {
                --Control::Get().callersInside;
                inThumbnail = false;
            }
        } leave;
        if (control.Settings().throwInThumbnail)
            throw std::runtime_error("a fault injected into LoadThumbnail");
        if (control.Settings().holdBeforeBegin)
            control.HoldBeforeThumbnail();
        inThumbnail = true;
        return inner_->LoadThumbnail(fileName, maxWidth, maxHeight);
    }
    STDMETHODIMP AbortOperation() override {
        const HRESULT status = inner_->AbortOperation();
        Control::Get().Aborted();
        return status;
    }
    STDMETHODIMP get_IsBusy(VARIANT_BOOL* busy) override { return inner_->get_IsBusy(busy); }
    STDMETHODIMP Clear() override { return inner_->Clear(); }
    STDMETHODIMP get_IsLzwEnabled(VARIANT_BOOL* enabled) override {
        return inner_->get_IsLzwEnabled(enabled);
    }
    STDMETHODIMP put_IsLzwEnabled(VARIANT_BOOL enabled) override {
        return inner_->put_IsLzwEnabled(enabled);
    }

    // IConnectionPointContainer with the one point of _IEngineBitmapEvents.
    STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints** points) override {
        if (points)
            *points = nullptr;
        return E_NOTIMPL;
    }
    STDMETHODIMP FindConnectionPoint(REFIID iid, IConnectionPoint** point) override {
        if (!point)
            return E_POINTER;
        *point = nullptr;
        if (iid != DIID__IEngineBitmapEvents)
            return CONNECT_E_NOCONNECTION;
        *point = this;
        AddRef();
        return S_OK;
    }

    // IConnectionPoint
    STDMETHODIMP GetConnectionInterface(IID* iid) override {
        if (!iid)
            return E_POINTER;
        *iid = DIID__IEngineBitmapEvents;
        return S_OK;
    }
    STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer** container) override {
        if (!container)
            return E_POINTER;
        *container = this;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP Advise(IUnknown* sink, DWORD* cookie) override {
        if (!sink || !cookie)
            return E_POINTER;
        *cookie = 0;
        ComPtr<IDispatch> dispatch;
        if (FAILED(sink->QueryInterface(DIID__IEngineBitmapEvents, dispatch.PutVoid())))
            return CONNECT_E_CANNOTCONNECT;
        *cookie = outerSinks_.Add(dispatch.Get());
        return *cookie ? S_OK : E_OUTOFMEMORY;
    }
    STDMETHODIMP Unadvise(DWORD cookie) override {
        return outerSinks_.Remove(cookie) ? S_OK : CONNECT_E_NOCONNECTION;
    }
    STDMETHODIMP EnumConnections(IEnumConnections** connections) override {
        if (connections)
            *connections = nullptr;
        return E_NOTIMPL;
    }

private:
    // The sink on the real engine's events: passes each on to the wrapper's own sinks, and does
    // what the settings ask for inside an operation of LoadThumbnail. It lives inside the wrapper,
    // which unsubscribes it before it goes, so it holds no reference of its own.
    class Relay final : public IDispatch {
    public:
        explicit Relay(SlowBitmap& owner) : owner_(owner) {}
        STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
            if (!out)
                return E_POINTER;
            *out = nullptr;
            if (iid != IID_IUnknown && iid != IID_IDispatch && iid != DIID__IEngineBitmapEvents)
                return E_NOINTERFACE;
            *out = static_cast<IDispatch*>(this);
            return S_OK;
        }
        STDMETHODIMP_(ULONG) AddRef() override { return 2; }
        STDMETHODIMP_(ULONG) Release() override { return 1; }
        STDMETHODIMP GetTypeInfoCount(UINT* count) override {
            if (count)
                *count = 0;
            return S_OK;
        }
        STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
        STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
            return E_NOTIMPL;
        }
        STDMETHODIMP Invoke(DISPID dispid, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT*,
                            EXCEPINFO*, UINT*) override {
            // An abort from the sinks' own OperationBegin counts for this operation.
            const unsigned epoch = Control::Get().AbortEpoch();
            owner_.outerSinks_.Fire(dispid, parameters);
            if (dispid == 8 && inThumbnail)
                owner_.SlowDown(epoch);
            return S_OK;
        }

    private:
        SlowBitmap& owner_;
    };

    explicit SlowBitmap(ComPtr<IEngineBitmap> inner) : inner_(std::move(inner)) {
        ++Control::Get().objects;
    }
    ~SlowBitmap() {
        if (point_)
            point_->Unadvise(cookie_);
        --Control::Get().objects;
    }

    HRESULT Subscribe() {
        ComPtr<IConnectionPointContainer> container;
        HRESULT status = inner_->QueryInterface(IID_IConnectionPointContainer, container.PutVoid());
        if (SUCCEEDED(status))
            status = container->FindConnectionPoint(DIID__IEngineBitmapEvents, point_.Put());
        if (SUCCEEDED(status))
            status = point_->Advise(&relay_, &cookie_);
        if (FAILED(status))
            point_.Reset();
        return status;
    }

    // Inside the operation, on its thread, after OperationBegin has reached the sinks.
    void SlowDown(unsigned epoch) {
        Control& control = Control::Get();
        const SlowEngineSettings settings = control.Settings();
        for (LONG step = 0; step < settings.progressCount; ++step) {
            FireProgress(outerSinks_, settings.progressSteps[step], settings.progressRange);
            if (settings.stepDelayMs && !control.Pause(settings.stepDelayMs, epoch))
                return;
        }
        if (settings.delayMs && !control.Pause(settings.delayMs, epoch))
            return;
        if (settings.holdThumbnails)
            control.Hold(epoch);
    }

    std::atomic<ULONG> references_{1};
    ComPtr<IEngineBitmap> inner_;
    ComPtr<IConnectionPoint> point_;
    DWORD cookie_ = 0;
    Relay relay_{*this};
    SinkList outerSinks_;
};

class Factory final : public IClassFactory {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        if (iid != IID_IUnknown && iid != IID_IClassFactory)
            return E_NOINTERFACE;
        *out = static_cast<IClassFactory*>(this);
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        if (outer)
            return CLASS_E_NOAGGREGATION;
        try {
            return SlowBitmap::Create(iid, out);
        } catch (...) {
            return E_OUTOFMEMORY;
        }
    }
    STDMETHODIMP LockServer(BOOL) override { return S_OK; }
};

Factory factory;

} // namespace

extern "C" {

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (clsid != CLSID_EngineBitmap)
        return CLASS_E_CLASSNOTAVAILABLE;
    return factory.QueryInterface(iid, out);
}

// The test's settings live in this module: it stays loaded once it has been used.
STDAPI DllCanUnloadNow() {
    return S_FALSE;
}

void WINAPI SlowEngineConfigure(const SlowEngineSettings* settings) {
    if (settings)
        Control::Get().Configure(*settings);
}

void WINAPI SlowEngineRelease(LONG count) {
    Control::Get().Release(count);
}

void WINAPI SlowEngineReadCounters(SlowEngineCounters* counters) {
    if (counters)
        Control::Get().Read(*counters);
}

} // extern "C"
