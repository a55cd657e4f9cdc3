#include "server/object_map.h"

#include <atomic>
#include <new>
#include <string>

#include "OrreluxDialogs.h"
#include "components/color_dialog.h"
#include "components/file_dialog.h"
#include "platform/handles.h"
#include "resource_ids.h"
#include "server/class_factory.h"
#include "server/control_object.h"
#include "server/module.h"
#include "server/registrar.h"

namespace orrelux::server {

namespace {

// FileDialog also answers the imaging engine's event interface with its primary interface.
const ClassDescription kFileDialogClass = {
    &CLSID_FileDialog,          &IID_IFileDialog,        &DIID__IFileDialogEvents,
    &DIID__IEngineBitmapEvents, kFileDialogPropertyRows, ORRELUX_IDB_FILEDIALOG,
    ORRELUX_IDR_FILEDIALOG,
};

const ClassDescription kColorDialogClass = {
    &CLSID_ColorDialog,       &IID_IColorDialog,       &DIID__IColorDialogEvents, nullptr,
    kColorDialogPropertyRows, ORRELUX_IDB_COLORDIALOG, ORRELUX_IDR_COLORDIALOG,
};

struct ObjectMapRow {
    const ClassDescription& description;
    CreateObject create;                   // null: no class object yet
    std::atomic<IClassFactory*> factory{}; // made on first request, under the module lock
};

ObjectMapRow objectMap[] = {
    {kFileDialogClass, &ControlObject<CFileDialog>::Create},
    {kColorDialogClass, &ControlObject<CColorDialog>::Create},
};

} // namespace

HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    for (ObjectMapRow& row : objectMap) {
        if (clsid != *row.description.Clsid || !row.create)
            continue;
        IClassFactory* factory = row.factory.load();
        if (!factory) {
            try {
                module::ScopedModuleLock guard;
                factory = row.factory.load();
                if (!factory) {
                    factory = new ClassFactory(row.description, row.create);
                    row.factory.store(factory);
                }
            } catch (...) {
                return E_OUTOFMEMORY;
            }
        }
        const HRESULT status = factory->QueryInterface(iid, out);
        if (SUCCEEDED(status) && !*out)
            return CLASS_E_CLASSNOTAVAILABLE;
        return status;
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT CanUnloadNow() {
    return module::LockCount() == 0 ? S_OK : S_FALSE;
}

HRESULT RegisterServer() {
    for (const ObjectMapRow& row : objectMap) {
        const HRESULT status = RunRegistrationScript(row.description.RegistryScript, true);
        if (FAILED(status))
            return status;
    }
    try {
        const std::wstring path = module::FilePath();
        ComPtr<ITypeLib> library;
        const HRESULT loaded = ::LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.Put());
        if (FAILED(loaded))
            return loaded;
        return ::RegisterTypeLib(library.Get(), const_cast<LPOLESTR>(path.c_str()), nullptr);
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

HRESULT UnregisterServer() {
    for (const ObjectMapRow& row : objectMap)
        RunRegistrationScript(row.description.RegistryScript, false);
    try {
        ComPtr<ITypeLib> library;
        if (SUCCEEDED(::LoadTypeLibEx(module::FilePath().c_str(), REGKIND_NONE, library.Put()))) {
            TLIBATTR* attributes = nullptr;
            if (SUCCEEDED(library->GetLibAttr(&attributes))) {
                ::UnRegisterTypeLib(attributes->guid, attributes->wMajorVerNum,
                                    attributes->wMinorVerNum, attributes->lcid,
                                    attributes->syskind);
                library->ReleaseTLibAttr(attributes);
            }
        }
    } catch (...) {
    }
    return S_OK;
}

void Terminate() {
    for (ObjectMapRow& row : objectMap) {
        if (IClassFactory* factory = row.factory.exchange(nullptr))
            factory->Release();
    }
    ControlSurface::UnregisterWindowClass();
    module::Terminate();
}

} // namespace orrelux::server
