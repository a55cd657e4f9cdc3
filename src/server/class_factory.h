// The class factory of one object map row.
#pragma once

#include <windows.h>
#include <ole2.h>

#include "server/class_description.h"

namespace orrelux {

// Makes the object of a class: plain when `outer` is null, aggregated otherwise.
using CreateObject = HRESULT (*)(const ClassDescription& description, IUnknown* outer, REFIID iid,
                                 void** out);

class ClassFactory final : public IClassFactory {
public:
    ClassFactory(const ClassDescription& description, CreateObject create)
        : description_(description), create_(create) {}
    ClassFactory(const ClassFactory&) = delete;
    ClassFactory& operator=(const ClassFactory&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
    // A lock keeps the module loaded; it is one count of the module's lock count.
    STDMETHODIMP LockServer(BOOL lock) override;

private:
    ~ClassFactory() = default;

    LONG references_ = 1;
    const ClassDescription& description_;
    CreateObject create_;
};

} // namespace orrelux
