#include "server/class_factory.h"

#include "server/module.h"

namespace orrelux {

STDMETHODIMP ClassFactory::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IClassFactory)
        return E_NOINTERFACE;
    *out = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
}

// The cached factory is not counted in the module's lock count: only objects and LockServer are.
STDMETHODIMP_(ULONG) ClassFactory::AddRef() {
    return static_cast<ULONG>(::InterlockedIncrement(&references_));
}

STDMETHODIMP_(ULONG) ClassFactory::Release() {
    const LONG left = ::InterlockedDecrement(&references_);
    if (left == 0)
        delete this;
    return static_cast<ULONG>(left);
}

STDMETHODIMP ClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    try {
        return create_(description_, outer, iid, out);
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP ClassFactory::LockServer(BOOL lock) {
    if (lock)
        module::Lock();
    else
        module::Unlock();
    return S_OK;
}

} // namespace orrelux
