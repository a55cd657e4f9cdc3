#include "server/registrar.h"

#include <string>

#include "platform/handles.h"
#include "server/module.h"

namespace orrelux {

// The script registrar of atl.dll. Its interface is declared here because the SDK headers of
// this toolchain have none; the order of the methods is the registrar's vtable. It stays outside
// the anonymous namespace: a type local to this file with no implementation in it would let the
// compiler assume its virtual calls can never reach real code.
// {44EC053A-400F-11D0-9DCD-00A0C90391D3}
constexpr CLSID kClsidRegistrar = {
    0x44EC053A, 0x400F, 0x11D0, {0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3}};
// {44EC053B-400F-11D0-9DCD-00A0C90391D3}
constexpr IID kIidRegistrar = {
    0x44EC053B, 0x400F, 0x11D0, {0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3}};

struct IRegistrar : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddReplacement(LPCOLESTR key, LPCOLESTR item) = 0;
    virtual HRESULT STDMETHODCALLTYPE ClearReplacements() = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceRegisterSz(LPCOLESTR file, LPCOLESTR id,
                                                         LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceUnregisterSz(LPCOLESTR file, LPCOLESTR id,
                                                           LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE FileRegister(LPCOLESTR file) = 0;
    virtual HRESULT STDMETHODCALLTYPE FileUnregister(LPCOLESTR file) = 0;
    virtual HRESULT STDMETHODCALLTYPE StringRegister(LPCOLESTR data) = 0;
    virtual HRESULT STDMETHODCALLTYPE StringUnregister(LPCOLESTR data) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceRegister(LPCOLESTR file, UINT id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceUnregister(LPCOLESTR file, UINT id,
                                                         LPCOLESTR type) = 0;
};

namespace {

// The module's path in short form, for the script's MODULE. The script quotes its values with
// single quotes, so a quote inside the path is doubled.
std::wstring ScriptModulePath() {
    const std::wstring path = module::FilePath();
    std::wstring shortPath(path.size() + 1, L'\0');
    const DWORD length =
        ::GetShortPathNameW(path.c_str(), shortPath.data(), static_cast<DWORD>(shortPath.size()));
    shortPath.resize(length > 0 && length < shortPath.size() ? length : 0);
    if (shortPath.empty())
        shortPath = path;
    std::wstring quoted;
    for (const wchar_t c : shortPath) {
        quoted += c;
        if (c == L'\'')
            quoted += L'\'';
    }
    return quoted;
}

// COM for the length of one registration; regsvr32 and installers do not always start it.
class ComScope {
public:
    ComScope() : started_(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {}
    ~ComScope() {
        if (started_)
            ::CoUninitialize();
    }
    ComScope(const ComScope&) = delete;
    ComScope& operator=(const ComScope&) = delete;

private:
    bool started_;
};

} // namespace

HRESULT RunRegistrationScript(int id, bool registering) {
    try {
        ComScope com;
        ComPtr<IRegistrar> registrar;
        HRESULT status = ::CoCreateInstance(kClsidRegistrar, nullptr, CLSCTX_INPROC_SERVER,
                                            kIidRegistrar, registrar.PutVoid());
        if (FAILED(status))
            return status;
        status = registrar->AddReplacement(L"MODULE", ScriptModulePath().c_str());
        if (FAILED(status))
            return status;
        const std::wstring file = module::FilePath();
        return registering
                   ? registrar->ResourceRegister(file.c_str(), static_cast<UINT>(id), L"REGISTRY")
                   : registrar->ResourceUnregister(file.c_str(), static_cast<UINT>(id),
                                                   L"REGISTRY");
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

} // namespace orrelux
