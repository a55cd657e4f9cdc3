#include "platform/event_sinks.h"

#include <new>

namespace orrelux {

DWORD SinkList::Add(IUnknown* sink) {
    std::lock_guard<std::mutex> guard(lock_);
    try {
        for (std::size_t i = 0; i < slots_.size(); ++i) {
            if (!slots_[i]) {
                slots_[i] = sink;
                return static_cast<DWORD>(i + 1);
            }
        }
        slots_.emplace_back(sink);
    } catch (const std::bad_alloc&) {
        return 0;
    }
    return static_cast<DWORD>(slots_.size());
}

bool SinkList::Remove(DWORD cookie) {
    ComPtr<IUnknown> released; // released after the lock is dropped
    {
        std::lock_guard<std::mutex> guard(lock_);
        if (cookie == 0 || cookie > slots_.size() || !slots_[cookie - 1])
            return false;
        released = std::move(slots_[cookie - 1]);
        slots_[cookie - 1] = nullptr;
    }
    return true;
}

std::size_t SinkList::SlotCount() const {
    std::lock_guard<std::mutex> guard(lock_);
    return slots_.size();
}

ComPtr<IUnknown> SinkList::At(std::size_t index) const {
    std::lock_guard<std::mutex> guard(lock_);
    return index < slots_.size() ? slots_[index] : nullptr;
}

void SinkList::Clear() {
    std::vector<ComPtr<IUnknown>> released;
    {
        std::lock_guard<std::mutex> guard(lock_);
        released.swap(slots_);
    }
}

HRESULT SinkList::Fire(DISPID dispid, DISPPARAMS* arguments) const {
    DISPPARAMS none = {nullptr, nullptr, 0, 0};
    HRESULT result = S_OK;
    const std::size_t count = SlotCount();
    for (std::size_t i = 0; i < count; ++i) {
        const ComPtr<IUnknown> sink = At(i);
        if (!sink)
            continue;
        // Sinks are stored as the dispatch interface they were advised with.
        auto* dispatch = static_cast<IDispatch*>(sink.Get());
        VARIANT ignored;
        ::VariantInit(&ignored);
        result = dispatch->Invoke(dispid, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD,
                                  arguments ? arguments : &none, &ignored, nullptr, nullptr);
        ::VariantClear(&ignored);
    }
    return result;
}

} // namespace orrelux
