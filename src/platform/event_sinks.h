// The sinks of one connection point and the firing loop that calls them.
//
// A firing takes each sink under the lock, with a reference of its own, and calls the client
// outside the lock: a handler may connect or disconnect sinks (even itself) while the firing
// runs, and a second thread may do the same.
#pragma once

#include <windows.h>
#include <ole2.h>

#include <mutex>
#include <vector>

#include "platform/handles.h"

namespace orrelux {

class SinkList {
public:
    // Stores the sink (with a reference) and returns its cookie, never 0. 0 when no memory.
    DWORD Add(IUnknown* sink);
    // False for a cookie that names no connected sink.
    bool Remove(DWORD cookie);
    // The slot count, empty slots included; the firing loop walks this many.
    std::size_t SlotCount() const;
    ComPtr<IUnknown> At(std::size_t index) const;
    // Empties the list; the references are released outside the lock.
    void Clear();

    // Calls IDispatch::Invoke(dispid, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD) on every
    // connected sink, first slot to last. Returns the status of the last call (S_OK when no
    // sink is connected); a sink that fails does not stop the others.
    HRESULT Fire(DISPID dispid, DISPPARAMS* arguments) const;

private:
    mutable std::mutex lock_;
    std::vector<ComPtr<IUnknown>> slots_; // guarded by lock_; cookie = slot index + 1
};

} // namespace orrelux
