// The imaging engine as its clients see it: class and interface identifiers, the interface
// declarations (generated from idl/ImagingEngine.idl) and the creation context its objects are
// made with.
//
// Link with orrelux_engine_interfaces for the GUID definitions. A client creates an object of the
// registered engine, for instance
//
//     IEnginePalette* palette = nullptr;
//     CoCreateInstance(CLSID_EnginePalette, nullptr, orrelux::engine::kEngineCreationContext,
//                      IID_IEnginePalette, reinterpret_cast<void**>(&palette));
//
// and treats REGDB_E_CLASSNOTREG (or any failure) as "the engine is not installed".
#pragma once

#include <windows.h>
#include <ole2.h>

#include "ImagingEngine.h"

namespace orrelux::engine {

// Any kind of server: in-process, in-process handler, local and remote (CLSCTX_ALL, 23).
constexpr DWORD kEngineCreationContext =
    CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER;
static_assert(kEngineCreationContext == 23, "the engine's objects are made with context 23");

} // namespace orrelux::engine
