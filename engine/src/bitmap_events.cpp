#include "bitmap_events.h"

#include <olectl.h>

#include <memory>
#include <new>
#include <vector>

#include "ImagingEngine.h"
#include "engine_module.h"
#include "platform/handles.h"

namespace orrelux::engine {

namespace {

// An enumerator over a snapshot taken when it was made; clones share the snapshot. Item is the
// caller's type (IConnectionPoint*, CONNECTDATA), Stored holds it with a reference.
template <class Interface, class Stored, class Item>
class SnapshotEnumerator final : public Interface {
public:
    using Items = std::vector<Stored>;
    using CopyOut = void (*)(const Stored&, Item*); // hands out one item with a new reference

    static HRESULT Create(std::shared_ptr<const Items> items, CopyOut copyOut, Interface** out) {
        *out = new (std::nothrow) SnapshotEnumerator(std::move(items), copyOut);
        return *out ? S_OK : E_OUTOFMEMORY;
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        if (iid != IID_IUnknown && iid != __uuidof(Interface))
            return E_NOINTERFACE;
        *out = static_cast<Interface*>(this);
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override {
        return static_cast<ULONG>(::InterlockedIncrement(&references_));
    }
    STDMETHODIMP_(ULONG) Release() override {
        const LONG left = ::InterlockedDecrement(&references_);
        if (left == 0)
            delete this;
        return static_cast<ULONG>(left);
    }
    STDMETHODIMP Next(ULONG count, Item* items, ULONG* fetched) override {
        if (!items || (count > 1 && !fetched))
            return E_POINTER;
        ULONG given = 0;
        while (given < count && position_ < items_->size())
            copyOut_((*items_)[position_++], &items[given++]);
        if (fetched)
            *fetched = given;
        return given == count ? S_OK : S_FALSE;
    }
    STDMETHODIMP Skip(ULONG count) override {
        const std::size_t left = items_->size() - position_;
        position_ += count < left ? count : left;
        return count <= left ? S_OK : S_FALSE;
    }
    STDMETHODIMP Reset() override {
        position_ = 0;
        return S_OK;
    }
    STDMETHODIMP Clone(Interface** clone) override {
        if (!clone)
            return E_POINTER;
        *clone = nullptr;
        auto* copy = new (std::nothrow) SnapshotEnumerator(items_, copyOut_);
        if (!copy)
            return E_OUTOFMEMORY;
        copy->position_ = position_;
        *clone = copy;
        return S_OK;
    }

private:
    SnapshotEnumerator(std::shared_ptr<const Items> items, CopyOut copyOut)
        : items_(std::move(items)), copyOut_(copyOut) {
        module::Lock();
    }
    ~SnapshotEnumerator() { module::Unlock(); }

    LONG references_ = 1;
    std::shared_ptr<const Items> items_;
    CopyOut copyOut_;
    std::size_t position_ = 0;
};

struct StoredConnection {
    ComPtr<IUnknown> sink;
    DWORD cookie;
};
using ConnectionEnumerator = SnapshotEnumerator<IEnumConnections, StoredConnection, CONNECTDATA>;
using PointEnumerator =
    SnapshotEnumerator<IEnumConnectionPoints, ComPtr<IConnectionPoint>, IConnectionPoint*>;

VARIANT IntegerArgument(LONG value) {
    VARIANT argument;
    ::VariantInit(&argument);
    argument.vt = VT_I4;
    argument.lVal = value;
    return argument;
}

} // namespace

void BitmapEventPoint::FireOperationBegin() const {
    sinks_.Fire(kEventOperationBegin, nullptr);
}

void BitmapEventPoint::FireOperationProgress(LONG position, LONG range) const {
    // Invoke takes the arguments last to first.
    VARIANT arguments[2] = {IntegerArgument(range), IntegerArgument(position)};
    DISPPARAMS parameters = {arguments, nullptr, 2, 0};
    sinks_.Fire(kEventOperationProgress, &parameters);
}

void BitmapEventPoint::FireErrorOccured(const wchar_t* description, LONG code) const {
    UniqueBstr text(description ? description : L"");
    VARIANT arguments[2] = {IntegerArgument(code), {}};
    ::VariantInit(&arguments[1]);
    arguments[1].vt = VT_BSTR;
    arguments[1].bstrVal = text.Get(); // still owned by `text`
    DISPPARAMS parameters = {arguments, nullptr, 2, 0};
    sinks_.Fire(kEventErrorOccured, &parameters);
}

void BitmapEventPoint::FireOperationEnd() const {
    sinks_.Fire(kEventOperationEnd, nullptr);
}

STDMETHODIMP BitmapEventPoint::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IConnectionPoint)
        return E_NOINTERFACE;
    *out = static_cast<IConnectionPoint*>(this);
    AddRef();
    return S_OK;
}

STDMETHODIMP BitmapEventPoint::GetConnectionInterface(IID* iid) {
    if (!iid)
        return E_POINTER;
    *iid = DIID__IEngineBitmapEvents;
    return S_OK;
}

STDMETHODIMP BitmapEventPoint::GetConnectionPointContainer(IConnectionPointContainer** container) {
    if (!container)
        return E_POINTER;
    *container = container_;
    container_->AddRef();
    return S_OK;
}

STDMETHODIMP BitmapEventPoint::Advise(IUnknown* sink, DWORD* cookie) {
    if (!cookie)
        return E_POINTER;
    *cookie = 0;
    if (!sink)
        return E_POINTER;
    try {
        // SinkList's firing calls what is stored as IDispatch: the dispinterface is one.
        ComPtr<IUnknown> events;
        if (FAILED(sink->QueryInterface(DIID__IEngineBitmapEvents, events.PutVoid())) || !events)
            return CONNECT_E_CANNOTCONNECT;
        const DWORD added = sinks_.Add(events.Get());
        if (added == 0)
            return E_OUTOFMEMORY;
        *cookie = added;
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP BitmapEventPoint::Unadvise(DWORD cookie) {
    try {
        return sinks_.Remove(cookie) ? S_OK : CONNECT_E_NOCONNECTION;
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP BitmapEventPoint::EnumConnections(IEnumConnections** connections) {
    if (!connections)
        return E_POINTER;
    *connections = nullptr;
    try {
        auto items = std::make_shared<ConnectionEnumerator::Items>();
        const std::size_t count = sinks_.SlotCount();
        for (std::size_t i = 0; i < count; ++i)
            if (ComPtr<IUnknown> sink = sinks_.At(i))
                items->push_back(StoredConnection{sink, static_cast<DWORD>(i + 1)});
        return ConnectionEnumerator::Create(
            std::move(items),
            [](const StoredConnection& stored, CONNECTDATA* item) {
                item->pUnk = ComPtr<IUnknown>(stored.sink).Detach();
                item->dwCookie = stored.cookie;
            },
            connections);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT CreateConnectionPointEnumerator(IConnectionPoint* const* points, ULONG count,
                                        IEnumConnectionPoints** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    try {
        auto items = std::make_shared<PointEnumerator::Items>(points, points + count);
        return PointEnumerator::Create(
            std::move(items),
            [](const ComPtr<IConnectionPoint>& stored, IConnectionPoint** item) {
                *item = ComPtr<IConnectionPoint>(stored).Detach();
            },
            out);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

} // namespace orrelux::engine
