// Helpers shared by the Windows tests.
#pragma once

#include <windows.h>
#include <ole2.h>
#include <ocidl.h>
#include <olectl.h>

#include <cstdint>
#include <string>
#include <vector>

#include "OrreluxDialogs.h"
#include "platform/handles.h"
#include "server/object_map.h"

namespace orrelux::testing {

// The thread's error object as the client would read it after a failed call.
struct ErrorReport {
    bool present = false;
    GUID guid = GUID_NULL;
    std::wstring source;
    std::wstring description;
    std::wstring helpFile;
    DWORD helpContext = 0;
};

inline ErrorReport TakeErrorInfo() {
    ErrorReport report;
    ComPtr<IErrorInfo> info;
    if (::GetErrorInfo(0, info.Put()) != S_OK || !info)
        return report;
    report.present = true;
    info->GetGUID(&report.guid);
    UniqueBstr source, description, helpFile;
    info->GetSource(source.Put());
    info->GetDescription(description.Put());
    info->GetHelpFile(helpFile.Put());
    info->GetHelpContext(&report.helpContext);
    report.source = source.Get() ? source.Get() : L"";
    report.description = description.Get() ? description.Get() : L"";
    report.helpFile = helpFile.Get() ? helpFile.Get() : L"";
    return report;
}

inline void ClearErrorInfo() {
    ::SetErrorInfo(0, nullptr);
}

// Paths of this build's server and manifests (the directory comes from the build).
inline std::wstring BinPath(const wchar_t* file) {
    std::wstring path = std::wstring(ORRELUX_BIN_DIR) + L"/" + file;
    for (wchar_t& c : path)
        c = c == L'/' ? L'\\' : c;
    return path;
}
inline std::wstring ServerDllPath() {
    return BinPath(L"Orrelux20Dialogs.dll");
}

using UniqueModule = UniqueHandle<NullHandleTraits<HMODULE, ::FreeLibrary>>;

// An object made by the class factory of the server code linked into this program, so that a
// test can reach the component behind the interface.
template <class Interface> ComPtr<Interface> CreateLinkedObject(REFCLSID clsid) {
    ComPtr<IClassFactory> factory;
    ComPtr<Interface> object;
    if (SUCCEEDED(orrelux::server::GetClassObject(clsid, IID_IClassFactory, factory.PutVoid())))
        factory->CreateInstance(nullptr, __uuidof(Interface), object.PutVoid());
    return object;
}

// An object of the registered server, made the way a client makes it.
template <class Interface> ComPtr<Interface> CreateRegisteredObject(REFCLSID clsid) {
    ComPtr<Interface> object;
    ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface), object.PutVoid());
    return object;
}

inline std::wstring TakeBstr(BSTR text) {
    std::wstring result = text ? std::wstring(text, ::SysStringLen(text)) : std::wstring();
    ::SysFreeString(text);
    return result;
}

// A dispatch sink that records the calls it receives and can run code inside them.
class RecordingSink : public IDispatch {
public:
    struct Call {
        DISPID dispid;
        LCID locale;
        WORD flags;
        UINT argumentCount;
        bool iidIsNull;
        bool hasResult;
        bool hasExcepInfo;
    };

    std::vector<Call> calls;
    HRESULT answer = S_OK;
    void (*during)(RecordingSink&, void*) = nullptr;
    void* context = nullptr;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_IDispatch || iid == eventIid) {
            *out = static_cast<IDispatch*>(this);
            AddRef();
            return S_OK;
        }
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID dispid, REFIID iid, LCID locale, WORD flags,
                                     DISPPARAMS* params, VARIANT* result, EXCEPINFO* excepInfo,
                                     UINT*) override {
        calls.push_back(Call{dispid, locale, flags, params ? params->cArgs : 0u, iid == IID_NULL,
                             result != nullptr, excepInfo != nullptr});
        if (during)
            during(*this, context);
        return answer;
    }

    IID eventIid = IID_IDispatch;
    ULONG references = 1; // owned by the test's stack frame
};

// The whole contents of a stream, read from its start.
inline std::vector<std::uint8_t> StreamBytes(IStream* stream) {
    STATSTG stat = {};
    stream->Stat(&stat, STATFLAG_NONAME);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(stat.cbSize.QuadPart));
    LARGE_INTEGER zero = {};
    stream->Seek(zero, STREAM_SEEK_SET, nullptr);
    ULONG read = 0;
    stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &read);
    bytes.resize(read);
    return bytes;
}

// A memory stream holding `bytes`, positioned at its start.
inline ComPtr<IStream> StreamOf(const std::vector<std::uint8_t>& bytes) {
    ComPtr<IStream> stream;
    ::CreateStreamOnHGlobal(nullptr, TRUE, stream.Put());
    ULONG written = 0;
    stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
    LARGE_INTEGER zero = {};
    stream->Seek(zero, STREAM_SEEK_SET, nullptr);
    return stream;
}

} // namespace orrelux::testing
