// The server module's own state: its instance handle, the lock count that DllCanUnloadNow
// reads, the module lock, and the type library that dual dispatch uses.
#pragma once

#include <windows.h>
#include <ole2.h>

#include <string>

namespace orrelux::module {

// Recorded at process attach. Code that runs in a program the server is linked into directly
// (the tests) gets the module that holds this code.
void SetInstance(HINSTANCE instance);
HINSTANCE Instance();

// The module's file path, as the loader knows it.
std::wstring FilePath();

// Every live object, enumerator and factory lock holds one lock. Atomic.
void Lock();
void Unlock();
long LockCount();

// The critical section of the module: guards the creation of cached class factories and the
// first load of the type library.
class ScopedModuleLock {
public:
    ScopedModuleLock();
    ~ScopedModuleLock();
    ScopedModuleLock(const ScopedModuleLock&) = delete;
    ScopedModuleLock& operator=(const ScopedModuleLock&) = delete;
};

// The type info of `guid` from the registered type library OrreluxDialogs 2.0, which is loaded
// on first use and kept until the module ends. The loader's failure comes back as it is.
HRESULT GetTypeInfo(REFGUID guid, ITypeInfo** info);

// Drops what the module keeps (the type library), at process detach.
void Terminate();

} // namespace orrelux::module
