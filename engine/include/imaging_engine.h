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

// Statuses of the engine's operations beyond the system's own (E_INVALIDARG, E_POINTER,
// E_OUTOFMEMORY, HRESULT_FROM_WIN32 of a file that does not open).
//
// An operation that AbortOperation stopped (LoadThumbnail, Load, Draw) gives -6.
constexpr HRESULT kEngineStatusAborted = static_cast<HRESULT>(0xFFFFFFFA);
static_assert(kEngineStatusAborted == -6, "an aborted operation gives -6");
// Interface-specific failures (FACILITY_ITF):
constexpr HRESULT kEngineErrorUnknownFormat = static_cast<HRESULT>(0x80040201); // no signature
constexpr HRESULT kEngineErrorCorrupt = static_cast<HRESULT>(0x80040202);       // damaged data
constexpr HRESULT kEngineErrorUnsupported = static_cast<HRESULT>(0x80040203);   // other variant
constexpr HRESULT kEngineErrorLzwDisabled = static_cast<HRESULT>(0x80040204);   // GIF, LZW TIFF
constexpr HRESULT kEngineErrorNothingLoaded = static_cast<HRESULT>(0x80040205); // no picture/file

// EngineBitmap::Draw: the raster operation and the flags. A preview draws with 1 and 3: the
// picture put onto the surface, blended by its alpha and averaged when scaled.
constexpr LONG kEngineDrawCopy = 1;   // the only raster operation: the picture goes onto the DC
constexpr LONG kEngineDrawBlend = 1;  // flag: alpha blends the picture over the destination
constexpr LONG kEngineDrawSmooth = 2; // flag: scaling averages areas (else nearest pixel)
constexpr LONG kEngineDrawAllFlags = kEngineDrawBlend | kEngineDrawSmooth;

} // namespace orrelux::engine
