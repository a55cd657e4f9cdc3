#include "engine_classes.h"

#include "ImagingEngine.h"
#include "engine_bitmap.h"
#include "engine_meta_reader.h"
#include "engine_module.h"
#include "engine_palette.h"
#include "platform/handles.h"

namespace orrelux::engine {

const EngineClass kEngineClasses[] = {
    {&CLSID_EnginePalette, L"EnginePalette Class", L"OrreluxEngine.Palette.1",
     L"OrreluxEngine.Palette", &CEnginePalette::Create},
    {&CLSID_EngineBitmap, L"EngineBitmap Class", L"OrreluxEngine.Bitmap.1", L"OrreluxEngine.Bitmap",
     &CEngineBitmap::Create},
    {&CLSID_EngineMetaReader, L"EngineMetaReader Class", L"OrreluxEngine.MetaReader.1",
     L"OrreluxEngine.MetaReader", &CEngineMetaReader::Create},
};
const std::size_t kEngineClassCount = sizeof(kEngineClasses) / sizeof(kEngineClasses[0]);

const EngineClass* FindEngineClass(REFCLSID clsid) {
    for (const EngineClass& row : kEngineClasses)
        if (*row.clsid == clsid)
            return &row;
    return nullptr;
}

namespace {

class ClassFactory final : public IClassFactory {
public:
    explicit ClassFactory(const EngineClass& engineClass) : class_(engineClass) { module::Lock(); }
    ClassFactory(const ClassFactory&) = delete;
    ClassFactory& operator=(const ClassFactory&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        if (iid != IID_IUnknown && iid != IID_IClassFactory)
            return E_NOINTERFACE;
        *out = static_cast<IClassFactory*>(this);
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

    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        if (outer)
            return CLASS_E_NOAGGREGATION;
        return class_.create(iid, out);
    }
    STDMETHODIMP LockServer(BOOL lock) override {
        if (lock)
            module::Lock();
        else
            module::Unlock();
        return S_OK;
    }

private:
    ~ClassFactory() { module::Unlock(); }

    LONG references_ = 1;
    const EngineClass& class_;
};

} // namespace

HRESULT CreateClassFactory(const EngineClass& engineClass, REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    try {
        const auto factory = ComPtr<ClassFactory>::Adopt(new ClassFactory(engineClass));
        return factory->QueryInterface(iid, out);
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

} // namespace orrelux::engine
