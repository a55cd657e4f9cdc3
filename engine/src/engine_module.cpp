#include "engine_module.h"

#include <atomic>
#include <mutex>

#include "platform/handles.h"

namespace orrelux::engine::module {

namespace {

HINSTANCE recordedInstance = nullptr;
std::atomic<long> lockCount{0};
std::mutex libraryLock;
ComPtr<ITypeLib> keptLibrary; // guarded by libraryLock

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
        path.resize(path.size() * 2); // truncated: try again with more room
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

HRESULT TypeLibrary(ITypeLib** library) {
    if (!library)
        return E_POINTER;
    *library = nullptr;
    try {
        std::lock_guard<std::mutex> guard(libraryLock);
        if (!keptLibrary) {
            const std::wstring path = FilePath();
            if (path.empty())
                return E_UNEXPECTED;
            const HRESULT status = ::LoadTypeLibEx(path.c_str(), REGKIND_NONE, keptLibrary.Put());
            if (FAILED(status))
                return status;
        }
        *library = ComPtr<ITypeLib>(keptLibrary).Detach();
        return S_OK;
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

HRESULT TypeInfo(REFGUID guid, ITypeInfo** info) {
    if (!info)
        return E_POINTER;
    *info = nullptr;
    ComPtr<ITypeLib> library;
    const HRESULT status = TypeLibrary(library.Put());
    if (FAILED(status))
        return status;
    return library->GetTypeInfoOfGuid(guid, info);
}

void Terminate(bool release) {
    ComPtr<ITypeLib> released; // released after the lock is given up
    std::lock_guard<std::mutex> guard(libraryLock);
    released = std::move(keptLibrary);
    if (!release)
        released.Detach();
}

} // namespace orrelux::engine::module
