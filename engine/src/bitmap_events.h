// The events of EngineBitmap: the one connection point for _IEngineBitmapEvents and the four
// events it fires by IDispatch::Invoke.
//
// An event runs on the thread of the operation that fires it, whichever apartment that is:
// EngineBitmap is free-threaded and the sinks are called as they were advised, without
// marshalling. A firing copies each sink, with a reference of its own, under the list's lock
// and calls it outside, so a handler may advise or unadvise (itself too), and other threads
// may fire or connect at the same time.
#pragma once

#include <windows.h>
#include <ole2.h>
#include <ocidl.h>

#include "platform/event_sinks.h"

namespace orrelux::engine {

// Dispatch identifiers of _IEngineBitmapEvents.
enum BitmapEventId : DISPID {
    kEventOperationProgress = 1,
    kEventErrorOccured = 2,
    kEventOperationBegin = 8,
    kEventOperationEnd = 9,
};

class BitmapEventPoint final : public IConnectionPoint {
public:
    // Lives inside its container and shares the container's reference count.
    explicit BitmapEventPoint(IConnectionPointContainer* container) : container_(container) {}
    BitmapEventPoint(const BitmapEventPoint&) = delete;
    BitmapEventPoint& operator=(const BitmapEventPoint&) = delete;

    void FireOperationBegin() const;
    void FireOperationProgress(LONG position, LONG range) const;
    void FireErrorOccured(const wchar_t* description, LONG code) const;
    void FireOperationEnd() const;
    // Drops every sink (the container is going away).
    void Clear() { sinks_.Clear(); }

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return container_->AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return container_->Release(); }

    STDMETHODIMP GetConnectionInterface(IID* iid) override;
    STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer** container) override;
    // The sink must answer DIID__IEngineBitmapEvents (else CONNECT_E_CANNOTCONNECT).
    STDMETHODIMP Advise(IUnknown* sink, DWORD* cookie) override;
    STDMETHODIMP Unadvise(DWORD cookie) override;
    STDMETHODIMP EnumConnections(IEnumConnections** connections) override;

private:
    IConnectionPointContainer* container_;
    SinkList sinks_;
};

// The enumerator of a container's connection points: a snapshot of the given points.
HRESULT CreateConnectionPointEnumerator(IConnectionPoint* const* points, ULONG count,
                                        IEnumConnectionPoints** out);

} // namespace orrelux::engine
