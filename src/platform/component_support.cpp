#include "platform/component_support.h"

#include <olectl.h>

#include "platform/handles.h"

namespace orrelux {

HRESULT ReportComponentError(REFCLSID clsid, const wchar_t* message, REFIID iid, HRESULT code) {
    ComPtr<ICreateErrorInfo> create;
    if (FAILED(::CreateErrorInfo(create.Put())))
        return code;
    create->SetGUID(iid);
    LPOLESTR progId = nullptr;
    if (SUCCEEDED(::ProgIDFromCLSID(clsid, &progId)) && progId) {
        create->SetSource(progId);
        ::CoTaskMemFree(progId);
    }
    create->SetDescription(const_cast<LPOLESTR>(message));
    ComPtr<IErrorInfo> info;
    if (SUCCEEDED(create.As(info)))
        ::SetErrorInfo(0, info.Get());
    return code;
}

HWND GetContainerWindow(IOleClientSite* clientSite) {
    if (!clientSite)
        return nullptr;
    ComPtr<IOleContainer> container;
    if (FAILED(clientSite->GetContainer(container.Put())) || !container)
        return nullptr;
    ComPtr<IOleWindow> window;
    if (FAILED(container.As(window)) || !window)
        return nullptr;
    HWND handle = nullptr;
    if (FAILED(window->GetWindow(&handle)))
        return nullptr;
    return handle;
}

bool IsDesignMode(IOleClientSite* clientSite) {
    if (!clientSite)
        return false;
    ComPtr<IDispatch> ambient;
    if (FAILED(clientSite->QueryInterface(IID_IDispatch, ambient.PutVoid())) || !ambient)
        return false;
    DISPPARAMS none = {nullptr, nullptr, 0, 0};
    VARIANT result;
    ::VariantInit(&result);
    const HRESULT hr = ambient->Invoke(DISPID_AMBIENT_USERMODE, IID_NULL, LOCALE_USER_DEFAULT,
                                       DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr);
    bool design = false;
    if (SUCCEEDED(hr) && SUCCEEDED(::VariantChangeType(&result, &result, 0, VT_BOOL)))
        design = V_BOOL(&result) == VARIANT_FALSE;
    ::VariantClear(&result);
    return design;
}

} // namespace orrelux
