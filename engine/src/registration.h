// Self-registration of ImagingEngine.dll: the class keys of every row of the class table, their
// ProgIDs, and the embedded type library.
#pragma once

#include <windows.h>
#include <ole2.h>

namespace orrelux::engine {

// Writes, for each class:
//   HKCR\CLSID\{clsid}                       = description
//            \InprocServer32                 = the DLL's path, ThreadingModel = Both
//            \ProgID, \VersionIndependentProgID, \TypeLib
//   HKCR\<ProgID>\CLSID, HKCR\<VersionIndependentProgID>\CLSID and \CurVer
// and registers the type library (which also registers its interfaces for marshalling). A
// failure undoes what was written.
HRESULT RegisterServer();

// Removes all of it. Keys or a library that are already gone are no failure.
HRESULT UnregisterServer();

} // namespace orrelux::engine
