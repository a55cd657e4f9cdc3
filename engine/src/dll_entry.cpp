// The entry points of ImagingEngine.dll: the module entry and the four exports.
#include <windows.h>
#include <ole2.h>

#include "engine_classes.h"
#include "engine_module.h"
#include "registration.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        orrelux::engine::module::SetInstance(instance);
        ::DisableThreadLibraryCalls(instance);
        break;
    case DLL_PROCESS_DETACH:
        // At process exit (reserved non-null) oleaut32 may already be gone: the type library is
        // only released when the DLL itself is being unloaded.
        orrelux::engine::module::Terminate(reserved == nullptr);
        break;
    default:
        break;
    }
    return TRUE;
}

STDAPI DllCanUnloadNow() {
    return orrelux::engine::module::LockCount() == 0 ? S_OK : S_FALSE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    const orrelux::engine::EngineClass* row = orrelux::engine::FindEngineClass(clsid);
    if (!row)
        return CLASS_E_CLASSNOTAVAILABLE;
    return orrelux::engine::CreateClassFactory(*row, iid, out);
}

STDAPI DllRegisterServer() {
    return orrelux::engine::RegisterServer();
}

STDAPI DllUnregisterServer() {
    return orrelux::engine::UnregisterServer();
}
