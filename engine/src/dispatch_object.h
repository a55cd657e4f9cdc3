// The common body of the engine's objects: IUnknown with a thread-safe count, and IDispatch
// answered from the engine's type library. An object derives from DispatchObject<IItsInterface>
// and implements only the operations of its own interface.
#pragma once

#include <windows.h>
#include <ole2.h>

#include "engine_module.h"
#include "platform/handles.h"

namespace orrelux::engine {

template <class Interface> class DispatchObject : public Interface {
public:
    DispatchObject(const DispatchObject&) = delete;
    DispatchObject& operator=(const DispatchObject&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        if (iid != IID_IUnknown && iid != IID_IDispatch && iid != __uuidof(Interface))
            return E_NOINTERFACE;
        *out = static_cast<Interface*>(this);
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override {
        return static_cast<ULONG>(::InterlockedIncrement(&references_));
    }
    STDMETHODIMP_(ULONG) Release() override {
        const LONG left = ::InterlockedDecrement(&references_);
        if (left == 0)
            delete this;
        return static_cast<ULONG>(left);
    }

    STDMETHODIMP GetTypeInfoCount(UINT* count) override {
        if (!count)
            return E_POINTER;
        *count = 1;
        return S_OK;
    }
    STDMETHODIMP GetTypeInfo(UINT index, LCID, ITypeInfo** info) override {
        if (!info)
            return E_POINTER;
        *info = nullptr;
        if (index != 0)
            return DISP_E_BADINDEX;
        return module::TypeInfo(__uuidof(Interface), info);
    }
    STDMETHODIMP GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID,
                               DISPID* ids) override {
        if (iid != IID_NULL)
            return DISP_E_UNKNOWNINTERFACE;
        ComPtr<ITypeInfo> info;
        const HRESULT status = module::TypeInfo(__uuidof(Interface), info.Put());
        if (FAILED(status))
            return status;
        return info->GetIDsOfNames(names, count, ids);
    }
    STDMETHODIMP Invoke(DISPID id, REFIID iid, LCID, WORD flags, DISPPARAMS* parameters,
                        VARIANT* result, EXCEPINFO* exception, UINT* argumentError) override {
        if (iid != IID_NULL)
            return DISP_E_UNKNOWNINTERFACE;
        ComPtr<ITypeInfo> info;
        const HRESULT status = module::TypeInfo(__uuidof(Interface), info.Put());
        if (FAILED(status))
            return status;
        return info->Invoke(static_cast<Interface*>(this), id, flags, parameters, result, exception,
                            argumentError);
    }

protected:
    // A new object starts with one reference, which its creator hands on or releases.
    DispatchObject() { module::Lock(); }
    virtual ~DispatchObject() { module::Unlock(); }

private:
    LONG references_ = 1;
};

// Makes an object of class Object and answers the interface `iid` of it.
template <class Object> HRESULT CreateDispatchObject(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    try {
        const auto object = ComPtr<Object>::Adopt(new Object());
        return object->QueryInterface(iid, out);
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

} // namespace orrelux::engine
