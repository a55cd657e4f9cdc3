#include "server/module.h"

#include <atomic>
#include <mutex>

#include "OrreluxDialogs.h"
#include "platform/handles.h"

namespace orrelux::module {

namespace {

constexpr WORD kLibraryMajor = 2;
constexpr WORD kLibraryMinor = 0;
constexpr LCID kLibraryLocale = 1033;

HINSTANCE recordedInstance = nullptr;
std::atomic<long> lockCount{0};
std::recursive_mutex moduleLock;
ComPtr<ITypeLib> typeLibrary; // guarded by moduleLock until loaded; kept for the module's life

HINSTANCE ModuleOfThisCode() {
    HMODULE module = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                             GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         reinterpret_cast<LPCWSTR>(&ModuleOfThisCode), &module);
    return module;
}

} // namespace

void SetInstance(HINSTANCE instance) {
    recordedInstance = instance;
}

HINSTANCE Instance() {
    return recordedInstance ? recordedInstance : ModuleOfThisCode();
}

std::wstring FilePath() {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length =
            ::GetModuleFileNameW(Instance(), path.data(), static_cast<DWORD>(path.size()));
        if (length == 0)
            return std::wstring();
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

void Lock() {
    ++lockCount;
}
void Unlock() {
    --lockCount;
}
long LockCount() {
    return lockCount.load();
}

ScopedModuleLock::ScopedModuleLock() {
    moduleLock.lock();
}
ScopedModuleLock::~ScopedModuleLock() {
    moduleLock.unlock();
}

HRESULT GetTypeInfo(REFGUID guid, ITypeInfo** info) {
    if (!info)
        return E_POINTER;
    *info = nullptr;
    ComPtr<ITypeLib> library;
    {
        ScopedModuleLock guard;
        if (!typeLibrary) {
            const HRESULT loaded =
                ::LoadRegTypeLib(LIBID_OrreluxDialogs, kLibraryMajor, kLibraryMinor, kLibraryLocale,
                                 typeLibrary.Put());
            if (FAILED(loaded))
                return loaded;
        }
        library = typeLibrary;
    }
    return library->GetTypeInfoOfGuid(guid, info);
}

void Terminate() {
    ComPtr<ITypeLib> released;
    ScopedModuleLock guard;
    released = typeLibrary;
    typeLibrary.Reset();
}

} // namespace orrelux::module
