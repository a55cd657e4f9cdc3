// The server's object map and what the four exports do with it.
//
// The map's rows are the creatable classes in the order of registration and of the search for a
// class object. A row without a creation function is registered (script and type library) but
// has no class object yet.
#pragma once

#include <windows.h>
#include <ole2.h>

namespace orrelux::server {

// DllGetClassObject: the cached class factory of the row for `clsid`, asked for `iid`.
// E_POINTER for a null `out`; CLASS_E_CLASSNOTAVAILABLE for a class the map doesn't make.
HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** out);

// DllCanUnloadNow: S_OK when no object, enumerator or factory lock holds the module.
HRESULT CanUnloadNow();

// DllRegisterServer: every row's script in order, then the module's type library. Stops at the
// first failure and returns it.
HRESULT RegisterServer();

// DllUnregisterServer: every row's script in unregister mode, then the type library. Never
// fails: whatever cannot be removed is left.
HRESULT UnregisterServer();

// Process detach: releases the cached factories and what the module keeps.
void Terminate();

} // namespace orrelux::server
