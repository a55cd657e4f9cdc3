// The system's free-threaded marshaler, aggregated into an engine object: marshalling the
// object into another apartment of the process hands over the object itself, so a dialog's
// thread (single-threaded apartment) and its worker threads (multithreaded apartment) all call
// it directly. Only objects that guard their own state from any thread may carry it.
#pragma once

#include <windows.h>
#include <ole2.h>

#include "platform/handles.h"

namespace orrelux::engine {

class FreeThreadedMarshaler {
public:
    FreeThreadedMarshaler() = default;
    FreeThreadedMarshaler(const FreeThreadedMarshaler&) = delete;
    FreeThreadedMarshaler& operator=(const FreeThreadedMarshaler&) = delete;

    // Makes the marshaler with `outer` as its controlling unknown (held without a reference,
    // as aggregation requires).
    HRESULT Attach(IUnknown* outer) { return ::CoCreateFreeThreadedMarshaler(outer, inner_.Put()); }

    // Answers IMarshal through the marshaler and gives true; false for any other interface.
    bool Answer(REFIID iid, void** out, HRESULT* status) const {
        if (iid != IID_IMarshal || !inner_)
            return false;
        *status = inner_->QueryInterface(iid, out);
        return true;
    }

private:
    ComPtr<IUnknown> inner_; // the aggregated object's own unknown
};

} // namespace orrelux::engine
