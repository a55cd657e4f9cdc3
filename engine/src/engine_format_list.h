// EngineFormatList: the formats the engine opens and saves, as filter texts for the open and
// the save dialog. The object holds no state: every answer comes from the format table.
#pragma once

#include <windows.h>
#include <ole2.h>

#include "ImagingEngine.h"
#include "dispatch_object.h"

namespace orrelux::engine {

class CEngineFormatList final : public DispatchObject<IEngineFormatList> {
public:
    static HRESULT Create(REFIID iid, void** out);

    // Out-parameter null: E_POINTER. The caller frees the string.
    STDMETHODIMP get_OpenFilter(BSTR* filter) override;
    STDMETHODIMP get_SaveFilter(BSTR* filter) override;
    STDMETHODIMP get_Count(LONG* count) override;

private:
    CEngineFormatList() = default;
    ~CEngineFormatList() override = default;
    friend HRESULT CreateDispatchObject<CEngineFormatList>(REFIID, void**);
};

} // namespace orrelux::engine
