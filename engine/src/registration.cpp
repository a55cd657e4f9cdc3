#include "registration.h"

#include <string>

#include "engine_classes.h"
#include "engine_module.h"
#include "platform/handles.h"

namespace orrelux::engine {

namespace {

struct RegistryKeyTraits {
    using Handle = HKEY;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle key) { ::RegCloseKey(key); }
};
using UniqueRegistryKey = UniqueHandle<RegistryKeyTraits>;

std::wstring GuidText(REFGUID guid) {
    wchar_t text[40] = {};
    ::StringFromGUID2(guid, text, 40);
    return text;
}

// Creates HKCR\path and sets one string value (name null: the default value).
HRESULT WriteString(const std::wstring& path, const wchar_t* name, const std::wstring& value) {
    UniqueRegistryKey key;
    HKEY created = nullptr;
    LONG status = ::RegCreateKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, 0, KEY_WRITE,
                                    nullptr, &created, nullptr);
    if (status != ERROR_SUCCESS)
        return HRESULT_FROM_WIN32(status);
    key.Reset(created);
    // The byte count includes the terminator; the registry's strings are short.
    const auto bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
    status = ::RegSetValueExW(key.Get(), name, 0, REG_SZ,
                              reinterpret_cast<const BYTE*>(value.c_str()), bytes);
    return HRESULT_FROM_WIN32(status);
}

HRESULT DeleteTree(const std::wstring& path) {
    const LONG status = ::RegDeleteTreeW(HKEY_CLASSES_ROOT, path.c_str());
    if (status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND)
        return S_OK;
    return HRESULT_FROM_WIN32(status);
}

HRESULT WriteClassKeys(const EngineClass& row, const std::wstring& modulePath,
                       const std::wstring& libraryId) {
    const std::wstring clsid = GuidText(*row.clsid);
    const std::wstring clsidKey = L"CLSID\\" + clsid;
    const struct {
        std::wstring path;
        const wchar_t* name;
        std::wstring value;
    } values[] = {
        {clsidKey, nullptr, row.description},
        {clsidKey + L"\\InprocServer32", nullptr, modulePath},
        {clsidKey + L"\\InprocServer32", L"ThreadingModel", L"Both"},
        {clsidKey + L"\\ProgID", nullptr, row.progId},
        {clsidKey + L"\\VersionIndependentProgID", nullptr, row.versionIndependentProgId},
        {clsidKey + L"\\TypeLib", nullptr, libraryId},
        {row.progId, nullptr, row.description},
        {std::wstring(row.progId) + L"\\CLSID", nullptr, clsid},
        {row.versionIndependentProgId, nullptr, row.description},
        {std::wstring(row.versionIndependentProgId) + L"\\CLSID", nullptr, clsid},
        {std::wstring(row.versionIndependentProgId) + L"\\CurVer", nullptr, row.progId},
    };
    for (const auto& value : values) {
        const HRESULT status = WriteString(value.path, value.name, value.value);
        if (FAILED(status))
            return status;
    }
    return S_OK;
}

HRESULT RemoveClassKeys(const EngineClass& row) {
    HRESULT result = S_OK;
    for (const std::wstring& path : {L"CLSID\\" + GuidText(*row.clsid), std::wstring(row.progId),
                                     std::wstring(row.versionIndependentProgId)}) {
        const HRESULT status = DeleteTree(path);
        if (FAILED(status))
            result = status;
    }
    return result;
}

HRESULT UnregisterLibrary(ITypeLib* library) {
    TLIBATTR* attributes = nullptr;
    HRESULT status = library->GetLibAttr(&attributes);
    if (FAILED(status))
        return status;
    // A library that is not registered (any more) is what unregistering wants; the system's
    // answer for it varies, so it is asked first.
    UniqueBstr registeredPath;
    if (SUCCEEDED(::QueryPathOfRegTypeLib(attributes->guid, attributes->wMajorVerNum,
                                          attributes->wMinorVerNum, attributes->lcid,
                                          registeredPath.Put())))
        status =
            ::UnRegisterTypeLib(attributes->guid, attributes->wMajorVerNum,
                                attributes->wMinorVerNum, attributes->lcid, attributes->syskind);
    library->ReleaseTLibAttr(attributes);
    return status;
}

HRESULT RegisterAll() {
    std::wstring modulePath = module::FilePath(); // RegisterTypeLib takes it non-const
    if (modulePath.empty())
        return E_UNEXPECTED;
    ComPtr<ITypeLib> library;
    HRESULT status = module::TypeLibrary(library.Put());
    if (FAILED(status))
        return status;
    TLIBATTR* attributes = nullptr;
    status = library->GetLibAttr(&attributes);
    if (FAILED(status))
        return status;
    const std::wstring libraryId = GuidText(attributes->guid);
    library->ReleaseTLibAttr(attributes);

    for (std::size_t i = 0; i < kEngineClassCount; ++i) {
        status = WriteClassKeys(kEngineClasses[i], modulePath, libraryId);
        if (FAILED(status))
            return status;
    }
    return ::RegisterTypeLib(library.Get(), modulePath.data(), nullptr);
}

HRESULT UnregisterAll() {
    HRESULT result = S_OK;
    for (std::size_t i = 0; i < kEngineClassCount; ++i) {
        const HRESULT status = RemoveClassKeys(kEngineClasses[i]);
        if (FAILED(status))
            result = status;
    }
    ComPtr<ITypeLib> library;
    HRESULT status = module::TypeLibrary(library.Put());
    if (SUCCEEDED(status))
        status = UnregisterLibrary(library.Get());
    return FAILED(status) ? status : result;
}

} // namespace

HRESULT RegisterServer() {
    try {
        const HRESULT status = RegisterAll();
        if (FAILED(status))
            UnregisterAll();
        return status;
    } catch (...) {
        UnregisterServer();
        return E_OUTOFMEMORY;
    }
}

HRESULT UnregisterServer() {
    try {
        return UnregisterAll();
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

} // namespace orrelux::engine
