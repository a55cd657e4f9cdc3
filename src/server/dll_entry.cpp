// The entry points of Orrelux20Dialogs.dll: the module entry and the four exports.
#include <windows.h>
#include <ole2.h>

#include "server/module.h"
#include "server/object_map.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        orrelux::module::SetInstance(instance);
        ::DisableThreadLibraryCalls(instance);
        break;
    case DLL_PROCESS_DETACH:
        // At process exit (reserved non-null) other modules may already be gone: COM objects
        // are only released when the DLL itself is being unloaded.
        if (!reserved)
            orrelux::server::Terminate();
        break;
    default:
        break;
    }
    return TRUE;
}

STDAPI DllCanUnloadNow() {
    return orrelux::server::CanUnloadNow();
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* out) {
    return orrelux::server::GetClassObject(clsid, iid, out);
}

STDAPI DllRegisterServer() {
    return orrelux::server::RegisterServer();
}

STDAPI DllUnregisterServer() {
    return orrelux::server::UnregisterServer();
}
