#include "engine_palette.h"

#include <new>

namespace orrelux::engine {

HRESULT CEnginePalette::Create(REFIID iid, void** out) {
    return CreateDispatchObject<CEnginePalette>(iid, out);
}

bool CEnginePalette::HasEntry(LONG index) const {
    return index >= 0 && static_cast<std::size_t>(index) < entries_.size();
}

STDMETHODIMP CEnginePalette::EntryCount(LONG* count) {
    if (!count)
        return E_POINTER;
    *count = 0;
    try {
        std::lock_guard<std::mutex> guard(lock_);
        // At most 256 entries come from a standard palette; SetEntry never adds any.
        *count = static_cast<LONG>(entries_.size());
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP CEnginePalette::EntryAt(LONG index, ULONG* argbColor) {
    if (!argbColor)
        return E_POINTER;
    *argbColor = 0;
    try {
        std::lock_guard<std::mutex> guard(lock_);
        if (!HasEntry(index))
            return E_INVALIDARG;
        *argbColor = entries_[static_cast<std::size_t>(index)];
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP CEnginePalette::SetEntry(LONG index, ULONG argbColor) {
    try {
        std::lock_guard<std::mutex> guard(lock_);
        if (!HasEntry(index))
            return E_INVALIDARG;
        entries_[static_cast<std::size_t>(index)] = static_cast<ArgbColor>(argbColor);
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP CEnginePalette::Clear() {
    try {
        std::vector<ArgbColor> released; // freed after the lock is given up
        std::lock_guard<std::mutex> guard(lock_);
        released.swap(entries_);
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP CEnginePalette::LoadStandardPalette(LONG paletteType, LONG reserved) {
    if (reserved != 0)
        return E_INVALIDARG;
    try {
        std::vector<ArgbColor> loaded = StandardPalette(paletteType);
        if (loaded.empty())
            return E_INVALIDARG;
        std::lock_guard<std::mutex> guard(lock_);
        entries_.swap(loaded);
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

} // namespace orrelux::engine
