// The state of ImagingEngine.dll as a whole: its instance, its lock count and its type library.
#pragma once

#include <windows.h>
#include <ole2.h>

#include <string>

namespace orrelux::engine::module {

void SetInstance(HINSTANCE instance);
HINSTANCE Instance();
// The DLL's own path; empty when the system cannot tell.
std::wstring FilePath();

// Every live object and class object holds one count, as does every LockServer(TRUE); the DLL
// may be unloaded when the count is 0.
void Lock();
void Unlock();
long LockCount();

// A reference to the type library embedded in the DLL (TYPELIB 1). It is read from the DLL's own
// file once, without touching the registry, and kept until Terminate: the engine's objects
// answer IDispatch from it whether or not the library is registered.
HRESULT TypeLibrary(ITypeLib** library);
// The type info of one interface of that library.
HRESULT TypeInfo(REFGUID guid, ITypeInfo** info);

// Gives up the kept type library as the DLL is unloaded. At process exit (release false) the
// reference is dropped without a call into oleaut32, which may already be gone.
void Terminate(bool release);

} // namespace orrelux::engine::module
