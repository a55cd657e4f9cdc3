// Connection points and the enumerators of the control framework.
#pragma once

#include <windows.h>
#include <ole2.h>
#include <ocidl.h>

#include <memory>
#include <vector>

#include "platform/event_sinks.h"
#include "platform/handles.h"

namespace orrelux {

// One connection point of an object. It lives inside the object and shares its reference count:
// AddRef and Release go to the object's controlling unknown. The sinks are stored as the
// interface they were advised with, which is what SinkList's firing loop expects.
class ConnectionPoint final : public IConnectionPoint {
public:
    ConnectionPoint(IUnknown* controllingUnknown, IConnectionPointContainer* container,
                    REFIID sinkInterface, SinkList& sinks)
        : controllingUnknown_(controllingUnknown), container_(container), iid_(sinkInterface),
          sinks_(sinks) {}
    ConnectionPoint(const ConnectionPoint&) = delete;
    ConnectionPoint& operator=(const ConnectionPoint&) = delete;

    REFIID SinkInterface() const { return iid_; }

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return controllingUnknown_->AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return controllingUnknown_->Release(); }

    // IConnectionPoint
    STDMETHODIMP GetConnectionInterface(IID* iid) override;
    STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer** container) override;
    STDMETHODIMP Advise(IUnknown* sink, DWORD* cookie) override;
    STDMETHODIMP Unadvise(DWORD cookie) override;
    STDMETHODIMP EnumConnections(IEnumConnections** connections) override;

private:
    IUnknown* controllingUnknown_;
    IConnectionPointContainer* container_;
    const IID iid_;
    SinkList& sinks_;
};

// An enumerator over a snapshot taken when it was made. Clones share the snapshot. Each
// enumerator is an object of its own and holds a module lock while it lives.
template <class Interface, class Stored, class Item>
class SnapshotEnumerator final : public Interface {
public:
    using Items = std::vector<Stored>;
    // CopyOut hands one stored item to the caller with a reference of its own.
    using CopyOut = void (*)(const Stored&, Item*);

    static HRESULT Create(std::shared_ptr<const Items> items, CopyOut copyOut, Interface** out);

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;
    STDMETHODIMP Next(ULONG count, Item* items, ULONG* fetched) override;
    STDMETHODIMP Skip(ULONG count) override;
    STDMETHODIMP Reset() override;
    STDMETHODIMP Clone(Interface** clone) override;

private:
    SnapshotEnumerator(std::shared_ptr<const Items> items, CopyOut copyOut);
    ~SnapshotEnumerator();

    LONG references_ = 1;
    std::shared_ptr<const Items> items_;
    CopyOut copyOut_;
    std::size_t position_ = 0;
};

using ConnectionPointEnumerator =
    SnapshotEnumerator<IEnumConnectionPoints, ComPtr<IConnectionPoint>, IConnectionPoint*>;
struct StoredConnection {
    ComPtr<IUnknown> Sink;
    DWORD Cookie;
};
using ConnectionEnumerator = SnapshotEnumerator<IEnumConnections, StoredConnection, CONNECTDATA>;

} // namespace orrelux
