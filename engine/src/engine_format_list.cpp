#include "engine_format_list.h"

#include <new>
#include <string>

#include "image_formats.h"

namespace orrelux::engine {

namespace {

HRESULT GiveText(std::wstring (*make)(), BSTR* text) {
    if (!text)
        return E_POINTER;
    *text = nullptr;
    try {
        const std::wstring made = make();
        *text = ::SysAllocStringLen(made.data(), static_cast<UINT>(made.size()));
        return *text ? S_OK : E_OUTOFMEMORY;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

} // namespace

HRESULT CEngineFormatList::Create(REFIID iid, void** out) {
    return CreateDispatchObject<CEngineFormatList>(iid, out);
}

STDMETHODIMP CEngineFormatList::get_OpenFilter(BSTR* filter) {
    return GiveText(&OpenFilterText, filter);
}

STDMETHODIMP CEngineFormatList::get_SaveFilter(BSTR* filter) {
    return GiveText(&SaveFilterText, filter);
}

STDMETHODIMP CEngineFormatList::get_Count(LONG* count) {
    if (!count)
        return E_POINTER;
    *count = kFileFormatCount;
    return S_OK;
}

} // namespace orrelux::engine
