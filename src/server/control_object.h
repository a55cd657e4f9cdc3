// ControlObject<Component>: a component joined to the control framework as one COM object.
//
// A component is a plain class that implements its dual interface's own members and leaves
// IUnknown and IDispatch abstract; it names that interface as `Interface`, owns the sinks of its
// event interface (`SinkList& EventSinks()`) and takes the container's site
// (`SetClientSite(IOleClientSite*)`). It may add `HRESULT FinalConstruct()`, which runs once the
// object is whole and can refuse the creation, and `void FinalRelease()`, which runs before the
// object is destroyed. Everything else comes from ControlSurface.
#pragma once

#include <new>
#include <type_traits>
#include <utility>

#include "server/class_description.h"
#include "server/control_surface.h"

namespace orrelux {

template <class Component> class ControlObject final : public Component, public ControlSurface {
public:
    // The class factory's creation: a plain object when `outer` is null, else an aggregated one,
    // which can only be asked for its IUnknown.
    static HRESULT Create(const ClassDescription& description, IUnknown* outer, REFIID iid,
                          void** out) {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        if (outer && iid != IID_IUnknown)
            return CLASS_E_NOAGGREGATION;
        ControlObject* object = nullptr;
        try {
            object = new ControlObject(description, outer);
        } catch (...) {
            return E_OUTOFMEMORY;
        }
        // The creation's own reference keeps the object alive through the steps below; a step
        // that fails releases it, and the object ends whole.
        IUnknown* inner = object->InnerUnknown();
        inner->AddRef();
        HRESULT status = object->RunFinalConstruct();
        if (SUCCEEDED(status))
            status = object->FinishConstruction();
        if (SUCCEEDED(status))
            status = inner->QueryInterface(iid, out);
        inner->Release();
        return status;
    }

    // IUnknown of every interface of the object: the controlling unknown's.
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        return ControllingUnknown()->QueryInterface(iid, out);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ControllingUnknown()->AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return ControllingUnknown()->Release(); }

    // IDispatch of the dual interface.
    STDMETHODIMP GetTypeInfoCount(UINT* count) override { return DispatchGetTypeInfoCount(count); }
    STDMETHODIMP GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) override {
        return DispatchGetTypeInfo(index, locale, info);
    }
    STDMETHODIMP GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID locale,
                               DISPID* ids) override {
        return DispatchGetIDsOfNames(iid, names, count, locale, ids);
    }
    STDMETHODIMP Invoke(DISPID dispid, REFIID iid, LCID locale, WORD flags, DISPPARAMS* parameters,
                        VARIANT* result, EXCEPINFO* exception, UINT* argumentError) override {
        return DispatchInvoke(dispid, iid, locale, flags, parameters, result, exception,
                              argumentError);
    }

private:
    ControlObject(const ClassDescription& description, IUnknown* outer)
        : Component(), ControlSurface(description, outer, Component::EventSinks()) {}
    ~ControlObject() override = default;

    IDispatch* Primary() override { return static_cast<typename Component::Interface*>(this); }
    void ClientSiteChanged(IOleClientSite* site) override { Component::SetClientSite(site); }

    template <class C, class = void> struct HasFinalConstruct : std::false_type {};
    template <class C>
    struct HasFinalConstruct<C, std::void_t<decltype(std::declval<C&>().FinalConstruct())>>
        : std::true_type {};
    template <class C, class = void> struct HasFinalRelease : std::false_type {};
    template <class C>
    struct HasFinalRelease<C, std::void_t<decltype(std::declval<C&>().FinalRelease())>>
        : std::true_type {};

    HRESULT RunFinalConstruct() {
        if constexpr (HasFinalConstruct<Component>::value) {
            try {
                return Component::FinalConstruct();
            } catch (...) {
                return E_FAIL;
            }
        }
        return S_OK;
    }

    void BeforeDestruction() override {
        if constexpr (HasFinalRelease<Component>::value) {
            try {
                Component::FinalRelease();
            } catch (...) {
            }
        }
    }
};

} // namespace orrelux
