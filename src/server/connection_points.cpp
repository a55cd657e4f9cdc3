#include "server/connection_points.h"

#include <olectl.h>

#include <new>

#include "server/module.h"

namespace orrelux {

STDMETHODIMP ConnectionPoint::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IConnectionPoint)
        return E_NOINTERFACE;
    *out = static_cast<IConnectionPoint*>(this);
    AddRef();
    return S_OK;
}

STDMETHODIMP ConnectionPoint::GetConnectionInterface(IID* iid) {
    if (!iid)
        return E_POINTER;
    *iid = iid_;
    return S_OK;
}

STDMETHODIMP ConnectionPoint::GetConnectionPointContainer(IConnectionPointContainer** container) {
    if (!container)
        return E_POINTER;
    *container = container_;
    container_->AddRef();
    return S_OK;
}

STDMETHODIMP ConnectionPoint::Advise(IUnknown* sink, DWORD* cookie) {
    if (!sink || !cookie)
        return E_POINTER;
    *cookie = 0;
    ComPtr<IUnknown> advised;
    if (FAILED(sink->QueryInterface(iid_, advised.PutVoid())) || !advised)
        return CONNECT_E_CANNOTCONNECT;
    try {
        const DWORD added = sinks_.Add(advised.Get());
        if (added == 0)
            return E_OUTOFMEMORY;
        *cookie = added;
        return S_OK;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

STDMETHODIMP ConnectionPoint::Unadvise(DWORD cookie) {
    try {
        return sinks_.Remove(cookie) ? S_OK : CONNECT_E_NOCONNECTION;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

STDMETHODIMP ConnectionPoint::EnumConnections(IEnumConnections** connections) {
    if (!connections)
        return E_POINTER;
    *connections = nullptr;
    try {
        auto items = std::make_shared<ConnectionEnumerator::Items>();
        const std::size_t count = sinks_.SlotCount();
        for (std::size_t i = 0; i < count; ++i) {
            ComPtr<IUnknown> sink = sinks_.At(i);
            if (sink)
                items->push_back(StoredConnection{sink, static_cast<DWORD>(i + 1)});
        }
        return ConnectionEnumerator::Create(
            std::move(items),
            [](const StoredConnection& stored, CONNECTDATA* item) {
                item->pUnk = stored.Sink.Get();
                item->pUnk->AddRef();
                item->dwCookie = stored.Cookie;
            },
            connections);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

// ---- SnapshotEnumerator -----------------------------------------------------------------------

template <class Interface, class Stored, class Item>
SnapshotEnumerator<Interface, Stored, Item>::SnapshotEnumerator(std::shared_ptr<const Items> items,
                                                                CopyOut copyOut)
    : items_(std::move(items)), copyOut_(copyOut) {
    module::Lock();
}

template <class Interface, class Stored, class Item>
SnapshotEnumerator<Interface, Stored, Item>::~SnapshotEnumerator() {
    module::Unlock();
}

template <class Interface, class Stored, class Item>
HRESULT SnapshotEnumerator<Interface, Stored, Item>::Create(std::shared_ptr<const Items> items,
                                                            CopyOut copyOut, Interface** out) {
    if (!out)
        return E_POINTER;
    *out = new (std::nothrow) SnapshotEnumerator(std::move(items), copyOut);
    return *out ? S_OK : E_OUTOFMEMORY;
}

template <class Interface, class Stored, class Item>
STDMETHODIMP SnapshotEnumerator<Interface, Stored, Item>::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != __uuidof(Interface))
        return E_NOINTERFACE;
    *out = static_cast<Interface*>(this);
    AddRef();
    return S_OK;
}

template <class Interface, class Stored, class Item>
STDMETHODIMP_(ULONG)
SnapshotEnumerator<Interface, Stored, Item>::AddRef() {
    return static_cast<ULONG>(::InterlockedIncrement(&references_));
}

template <class Interface, class Stored, class Item>
STDMETHODIMP_(ULONG)
SnapshotEnumerator<Interface, Stored, Item>::Release() {
    const LONG left = ::InterlockedDecrement(&references_);
    if (left == 0)
        delete this;
    return static_cast<ULONG>(left);
}

template <class Interface, class Stored, class Item>
STDMETHODIMP SnapshotEnumerator<Interface, Stored, Item>::Next(ULONG count, Item* items,
                                                               ULONG* fetched) {
    if (!items || (count > 1 && !fetched))
        return E_POINTER;
    if (fetched)
        *fetched = 0;
    ULONG given = 0;
    while (given < count && position_ < items_->size()) {
        copyOut_((*items_)[position_], &items[given]);
        ++position_;
        ++given;
    }
    if (fetched)
        *fetched = given;
    return given == count ? S_OK : S_FALSE;
}

template <class Interface, class Stored, class Item>
STDMETHODIMP SnapshotEnumerator<Interface, Stored, Item>::Skip(ULONG count) {
    const std::size_t left = items_->size() - position_;
    if (count > left) {
        position_ = items_->size();
        return S_FALSE;
    }
    position_ += count;
    return S_OK;
}

template <class Interface, class Stored, class Item>
STDMETHODIMP SnapshotEnumerator<Interface, Stored, Item>::Reset() {
    position_ = 0;
    return S_OK;
}

template <class Interface, class Stored, class Item>
STDMETHODIMP SnapshotEnumerator<Interface, Stored, Item>::Clone(Interface** clone) {
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

template class SnapshotEnumerator<IEnumConnectionPoints, ComPtr<IConnectionPoint>,
                                  IConnectionPoint*>;
template class SnapshotEnumerator<IEnumConnections, StoredConnection, CONNECTDATA>;

} // namespace orrelux
