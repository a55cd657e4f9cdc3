// EnginePalette: a table of colours that a client fills with one of the standard palettes and
// reads entry by entry. Its operations may be called from any thread (ThreadingModel Both):
// the table is guarded by the object's own lock.
#pragma once

#include <windows.h>
#include <ole2.h>

#include <mutex>
#include <vector>

#include "ImagingEngine.h"
#include "dispatch_object.h"
#include "standard_palettes.h"

namespace orrelux::engine {

class CEnginePalette final : public DispatchObject<IEnginePalette> {
public:
    static HRESULT Create(REFIID iid, void** out);

    // Out-parameter null: E_POINTER. An index outside 0 to EntryCount - 1, an unknown palette
    // type or a reserved value other than 0: E_INVALIDARG, and the entries stay as they were.
    STDMETHODIMP EntryCount(LONG* count) override;
    STDMETHODIMP EntryAt(LONG index, ULONG* argbColor) override;
    STDMETHODIMP SetEntry(LONG index, ULONG argbColor) override;
    STDMETHODIMP Clear() override;
    STDMETHODIMP LoadStandardPalette(LONG paletteType, LONG reserved) override;

private:
    CEnginePalette() = default;
    ~CEnginePalette() override = default;
    friend HRESULT CreateDispatchObject<CEnginePalette>(REFIID, void**);

    // True when index names an entry; the caller holds lock_.
    bool HasEntry(LONG index) const;

    std::mutex lock_;
    std::vector<ArgbColor> entries_; // empty until a palette is loaded
};

} // namespace orrelux::engine
