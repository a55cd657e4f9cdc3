// ColorDialog: the automation object through which a client uses the colour picker.
//
// The component keeps a cached copy of the colour, page and palette indices (the live values are
// in the picker) and decides what a property write does before, during and after a Show. Every
// member returns an HRESULT and never lets an exception out; failures meant for the client go
// through ReportComponentError with this class's identity.
//
// It implements the members of IColorDialog and nothing else of COM: the server's control
// framework (ControlObject in src/server) supplies IUnknown, IDispatch, the control interfaces,
// persistence and the connection points, and hands the component the container's site.
#pragma once

#include <windows.h>
#include <ole2.h>
#include <olectl.h>

#include <memory>

#include "OrreluxDialogs.h"
#include "components/dialog_errors.h"
#include "picker/picker_window.h"
#include "platform/event_sinks.h"
#include "platform/handles.h"

namespace orrelux {

// Dispatch identifiers of _IColorDialogEvents.
inline constexpr DISPID kDispidApply = 1;
inline constexpr DISPID kDispidColorSelect = 2;

class CColorDialog : public IColorDialog, public PickerOwner {
public:
    using Interface = IColorDialog;

    CColorDialog();
    ~CColorDialog();
    CColorDialog(const CColorDialog&) = delete;
    CColorDialog& operator=(const CColorDialog&) = delete;

    // IColorDialog, in interface order.
    STDMETHODIMP Show(VARIANT_BOOL* accepted) override;
    STDMETHODIMP get_ColorColorref(OLE_COLOR* value) override;
    STDMETHODIMP put_ColorColorref(OLE_COLOR value) override;
    STDMETHODIMP get_ColorArgb(LONG* value) override;
    STDMETHODIMP put_ColorArgb(LONG value) override;
    STDMETHODIMP get_ActivePage(ColorDialogPage* value) override;
    STDMETHODIMP put_ActivePage(ColorDialogPage value) override;
    STDMETHODIMP get_PaletteColorIndex(LONG* value) override;
    STDMETHODIMP put_PaletteColorIndex(LONG value) override;
    STDMETHODIMP get_PaletteIndex(LONG* value) override;
    STDMETHODIMP put_PaletteIndex(LONG value) override;
    STDMETHODIMP get_Title(BSTR* value) override;
    STDMETHODIMP put_Title(BSTR value) override;
    STDMETHODIMP get_ApplyButtonVisible(VARIANT_BOOL* value) override;
    STDMETHODIMP put_ApplyButtonVisible(VARIANT_BOOL value) override;
    STDMETHODIMP get_Hwnd(OLE_HANDLE* value) override;
    STDMETHODIMP get_OwnerWindow(OLE_HANDLE* value) override;
    STDMETHODIMP put_OwnerWindow(OLE_HANDLE value) override;
    STDMETHODIMP get_Visible(VARIANT_BOOL* value) override;

    // The connected sinks of _IColorDialogEvents; the connection point hands them out.
    SinkList& EventSinks() { return EventSinkList; }
    // The container's site, set by the control framework; the default owner comes from it.
    void SetClientSite(IOleClientSite* site) { ClientSite = site; }
    // The picker this component owns; null only if memory ran out at construction.
    CPickerWindow* PickerWindow() { return Picker.get(); }

    // PickerOwner: the user pressed Apply. Fires Apply to every connected sink.
    void FireApply() override;

private:
    HRESULT ReportError(const wchar_t* message, HRESULT code);
    HWND ResolveOwner();

    // All fields belong to the client's thread, which also runs the modal loop of Show.
    std::uint32_t StoredColor = 0xFFFFFFFF;
    LONG StoredPage = 0;
    LONG StoredPaletteColorIndex = 0;
    LONG StoredPaletteIndex = 0;
    std::unique_ptr<CPickerWindow> Picker; // null only if memory ran out at construction
    HWND OwnerWindow = nullptr;
    int OwnerWindowSet = 0; // -1 once a put of OwnerWindow succeeded
    int DialogVisible = 0;  // -1 while Show runs the dialog
    ComPtr<IOleClientSite> ClientSite;
    SinkList EventSinkList;
};

} // namespace orrelux
