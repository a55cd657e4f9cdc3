// The table of the engine's creatable classes: what the class objects make and what registration
// writes. A new engine object is one more row in kEngineClasses.
#pragma once

#include <windows.h>
#include <ole2.h>

#include <cstddef>

namespace orrelux::engine {

struct EngineClass {
    const CLSID* clsid;
    const wchar_t* description;              // the default value of the CLSID key
    const wchar_t* progId;                   // versioned, "OrreluxEngine.Palette.1"
    const wchar_t* versionIndependentProgId; // "OrreluxEngine.Palette"
    HRESULT (*create)(REFIID iid, void** out);
};

extern const EngineClass kEngineClasses[];
extern const std::size_t kEngineClassCount;

// The row of a class, or null for a class this DLL does not serve.
const EngineClass* FindEngineClass(REFCLSID clsid);

// The class object of a row: one IClassFactory per request, counted in the module's lock count
// while it lives.
HRESULT CreateClassFactory(const EngineClass& engineClass, REFIID iid, void** out);

} // namespace orrelux::engine
