#include "components/color_dialog.h"

#include <commctrl.h>

#include <cwchar>
#include <new>

#include "colour/colour_values.h"
#include "picker/win/picker_dialog.h"
#include "platform/component_support.h"

namespace orrelux {

namespace {

constexpr wchar_t kStringTooLong[] =
    L"Specified string is too long. The maximum length for this string is 260";
constexpr wchar_t kNotAWindow[] = L"Specified handle does not identify an existing window";

constexpr LONG AsLong(std::uint32_t value) {
    return static_cast<LONG>(value);
}
constexpr std::uint32_t AsUnsigned(LONG value) {
    return static_cast<std::uint32_t>(value);
}

} // namespace

CColorDialog::CColorDialog()
    : Picker(new (std::nothrow) CPickerWindow(::GetSysColor(COLOR_BTNFACE))) {
    // The picker's tab strip and up-down controls come from the common controls library.
    INITCOMMONCONTROLSEX classes = {sizeof(classes), ICC_LISTVIEW_CLASSES};
    ::InitCommonControlsEx(&classes);
}

CColorDialog::~CColorDialog() = default;

HRESULT CColorDialog::ReportError(const wchar_t* message, HRESULT code) {
    return ReportComponentError(CLSID_ColorDialog, message, IID_IColorDialog, code);
}

HWND CColorDialog::ResolveOwner() {
    if (OwnerWindowSet)
        return OwnerWindow;
    return GetContainerWindow(ClientSite.Get());
}

HRESULT CColorDialog::Show(VARIANT_BOOL* accepted) {
    if (!accepted)
        return E_POINTER;
    *accepted = VARIANT_FALSE;
    if (!Picker)
        return E_FAIL;
    try {
        Picker->PrepareForShow(this, StoredColor, StoredPage, StoredPaletteIndex,
                               StoredPaletteColorIndex);
        const HWND owner = ResolveOwner();
        DialogVisible = -1;
        const INT_PTR result = RunPickerDialog(*Picker, owner);
        if (result == 1) {
            StoredColor = Picker->GetResultColor();
            *accepted = VARIANT_TRUE;
        }
        DialogVisible = 0;
        return S_OK;
    } catch (...) {
        DialogVisible = 0;
        return E_FAIL;
    }
}

// Members other than Show that need the picker answer E_FAIL when it could not be made: there
// is nothing to read or write.

HRESULT CColorDialog::get_ColorColorref(OLE_COLOR* value) {
    if (!value)
        return E_POINTER;
    *value = 0;
    if (!Picker)
        return E_FAIL;
    StoredColor = Picker->GetResultColor();
    *value = RgbToColorRef(StoredColor);
    return S_OK;
}

HRESULT CColorDialog::put_ColorColorref(OLE_COLOR value) {
    if (!Picker)
        return E_FAIL;
    // OleTranslateColor also resolves system colour indices (0x800000nn).
    COLORREF translated = 0;
    if (SUCCEEDED(::OleTranslateColor(value, nullptr, &translated)))
        StoredColor = ColorRefToArgb(translated);
    else
        StoredColor = ColorRefToArgb(value);
    Picker->SetResultColor(StoredColor);
    return S_OK;
}

HRESULT CColorDialog::get_ColorArgb(LONG* value) {
    if (!value)
        return E_POINTER;
    *value = 0;
    if (!Picker)
        return E_FAIL;
    StoredColor = Picker->GetResultColor();
    *value = AsLong(ForceOpaque(StoredColor));
    return S_OK;
}

HRESULT CColorDialog::put_ColorArgb(LONG value) {
    if (!Picker)
        return E_FAIL;
    StoredColor = ForceOpaque(AsUnsigned(value));
    Picker->SetResultColor(StoredColor);
    return S_OK;
}

HRESULT CColorDialog::get_ActivePage(ColorDialogPage* value) {
    if (!value)
        return E_POINTER;
    *value = ColorDialogPageHSBBrightness;
    if (!Picker)
        return E_FAIL;
    StoredPage = Picker->GetActivePage();
    *value = static_cast<ColorDialogPage>(StoredPage);
    return S_OK;
}

HRESULT CColorDialog::put_ActivePage(ColorDialogPage value) {
    if (!Picker)
        return E_FAIL;
    StoredPage = value;
    Picker->SetActivePage(value);
    return S_OK;
}

HRESULT CColorDialog::get_PaletteColorIndex(LONG* value) {
    if (!value)
        return E_POINTER;
    *value = 0;
    if (!Picker)
        return E_FAIL;
    StoredPaletteColorIndex = Picker->GetPaletteColorIndex();
    *value = StoredPaletteColorIndex;
    return S_OK;
}

HRESULT CColorDialog::put_PaletteColorIndex(LONG value) {
    if (!Picker)
        return E_FAIL;
    StoredPaletteColorIndex = value;
    Picker->SetPaletteColorIndexField(value);
    return S_OK;
}

HRESULT CColorDialog::get_PaletteIndex(LONG* value) {
    if (!value)
        return E_POINTER;
    *value = 0;
    if (!Picker)
        return E_FAIL;
    StoredPaletteIndex = Picker->GetPaletteIndex();
    *value = StoredPaletteIndex;
    return S_OK;
}

HRESULT CColorDialog::put_PaletteIndex(LONG value) {
    if (!Picker)
        return E_FAIL;
    StoredPaletteIndex = value;
    Picker->SetPaletteIndexField(value);
    return S_OK;
}

HRESULT CColorDialog::get_Title(BSTR* value) {
    if (!value)
        return E_POINTER;
    *value = nullptr;
    if (!Picker)
        return E_FAIL;
    *value = ::SysAllocString(Picker->GetTitle());
    return *value ? S_OK : E_OUTOFMEMORY;
}

HRESULT CColorDialog::put_Title(BSTR value) {
    if (!Picker)
        return E_FAIL;
    // A null BSTR is the empty string. The length is the BSTR's own, so embedded zeros count.
    if (::SysStringLen(value) > kTitleCapacity)
        return ReportError(kStringTooLong, kOrreluxDialogsErrorStringTooLong);
    Picker->SetTitle(value ? value : L"");
    return S_OK;
}

HRESULT CColorDialog::get_ApplyButtonVisible(VARIANT_BOOL* value) {
    if (!value)
        return E_POINTER;
    *value = VARIANT_FALSE;
    if (!Picker)
        return E_FAIL;
    *value = Picker->GetApplyButtonVisible() ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

HRESULT CColorDialog::put_ApplyButtonVisible(VARIANT_BOOL value) {
    if (!Picker)
        return E_FAIL;
    // Any non-zero VARIANT_BOOL counts as true, as the sign-extended field would.
    Picker->SetApplyButtonVisible(static_cast<short>(value) != 0);
    return S_OK;
}

HRESULT CColorDialog::get_Hwnd(OLE_HANDLE* value) {
    if (!value)
        return E_POINTER;
    *value = 0;
    if (!Picker)
        return E_FAIL;
    *value = static_cast<OLE_HANDLE>(
        reinterpret_cast<UINT_PTR>(static_cast<HWND>(Picker->GetDialogWindow())));
    return S_OK;
}

HRESULT CColorDialog::get_OwnerWindow(OLE_HANDLE* value) {
    if (!value)
        return E_POINTER;
    *value = static_cast<OLE_HANDLE>(reinterpret_cast<UINT_PTR>(OwnerWindow));
    return S_OK;
}

HRESULT CColorDialog::put_OwnerWindow(OLE_HANDLE value) {
    // OLE_HANDLE is 32 bits wide; window handles are too, on 64-bit Windows as well.
    const HWND window = reinterpret_cast<HWND>(static_cast<UINT_PTR>(value));
    if (window && !::IsWindow(window))
        return ReportError(kNotAWindow, E_INVALIDARG);
    OwnerWindow = window;
    OwnerWindowSet = -1;
    return S_OK;
}

HRESULT CColorDialog::get_Visible(VARIANT_BOOL* value) {
    if (!value)
        return E_POINTER;
    *value = static_cast<VARIANT_BOOL>(DialogVisible & 0xFFFF);
    return S_OK;
}

void CColorDialog::FireApply() {
    // The result of the firing is not used: a sink that fails changes nothing for the dialog.
    EventSinkList.Fire(kDispidApply, nullptr);
}

} // namespace orrelux
