// Helpers that the automation components share: the error report that a client sees through
// IErrorInfo, and the two questions a component asks its container.
#pragma once

#include <windows.h>
#include <ole2.h>

namespace orrelux {

// Makes a thread error object for the client (GUID = the component's dual interface, source =
// the class's ProgID when the registry has one, description = message; no help file or
// context) and returns `code`. A failure while building the report still returns `code`.
HRESULT ReportComponentError(REFCLSID clsid, const wchar_t* message, REFIID iid, HRESULT code);

// The container's window, through IOleClientSite::GetContainer and IOleWindow. 0 without a
// site or on any failure.
HWND GetContainerWindow(IOleClientSite* clientSite);

// True when the container's ambient USERMODE says design mode. A site that cannot answer
// counts as run mode.
bool IsDesignMode(IOleClientSite* clientSite);

} // namespace orrelux
