#include "components/file_dialog.h"

#include <commctrl.h>

#include <cstdlib>
#include <ctime>
#include <cwchar>
#include <string_view>

#include "filedialog/win/dialog_hook.h"
#include "platform/component_support.h"

namespace orrelux {

namespace {

using filedialog::TextResult;

constexpr wchar_t kCaptionTooLong[] =
    L"Specified string is too long. The maximum length for this string is 2028";
constexpr wchar_t kLabelTooLong[] =
    L"Specified string is too long. The maximum length for this string is 100";
constexpr wchar_t kNotAWindow[] = L"Specified handle does not identify an existing window";
constexpr wchar_t kFilterIndexOutOfRange[] = L"Filter index is out of range";
constexpr wchar_t kFileNameIndexOutOfRange[] = L"File name index %d is out of range [0-%d]";
constexpr wchar_t kFileTitleIndexOutOfRange[] = L"File title index %d is out of range [0-%d]";
constexpr wchar_t kBitmapNotInitialized[] = L"Bitmap object is not initialized";
constexpr wchar_t kAlreadyOpened[] = L"Cannot open the dialog because it is already opened";
constexpr wchar_t kInitializationError[] = L"Cannot open the dialog due to initialization error";
constexpr wchar_t kNoNameBuffer[] = L"Not enough memory to initialize filename buffer";

// Defaults of the table of members.
constexpr wchar_t kDefaultCancelButton[] = L"Cancel";
constexpr wchar_t kDefaultDateFormat[] = L"MM'/'dd'/'yyyy";
constexpr wchar_t kDefaultExtension[] = L"*";
constexpr wchar_t kDefaultTitle[] = L"Open file";
constexpr wchar_t kDefaultHelpButton[] = L"&Help";
constexpr wchar_t kDefaultLookIn[] = L"Look &in:";
constexpr wchar_t kDefaultShowPreview[] = L"Sho&w preview";
constexpr wchar_t kDefaultReadOnly[] = L"Open as &read-only";
constexpr wchar_t kDefaultOpenButton[] = L"&Open";
constexpr wchar_t kDefaultSaveButton[] = L"&Save";
constexpr wchar_t kDefaultFileNameLabel[] = L"File &name:";
constexpr wchar_t kDefaultFileTypeLabel[] = L"Files of &type:";
constexpr wchar_t kDefaultDimensions[] = L"Dimensions:";
constexpr wchar_t kDefaultDate[] = L"Date:";
constexpr wchar_t kDefaultSize[] = L"Size:";
constexpr wchar_t kDefaultType[] = L"Type:";
constexpr wchar_t kDefaultColorSpace[] = L"Color space:";
constexpr wchar_t kDefaultColorDepth[] = L"Color depth:";
constexpr wchar_t kDefaultTransparency[] = L"Transparency:";
constexpr wchar_t kDefaultYes[] = L"Yes";
constexpr wchar_t kDefaultNo[] = L"No";
constexpr wchar_t kDefaultKilobytes[] = L"kb";
constexpr wchar_t kDefaultBytes[] = L"b";
constexpr wchar_t kEmpty[] = L"";
constexpr char16_t kFallbackFilter[] = u"All|*.*";

// The pane's dialog template in the module's resources.
constexpr WORD kPaneTemplate = 130;
// The natural size of the control, in pixels.
constexpr int kNaturalWidth = 24;
constexpr int kNaturalHeight = 19;
// The system's menu bar colour, the pane's background.
constexpr int kMenuBarColorIndex = 30;

// The request's flags before the properties add theirs: Explorer style, hook, include
// notifications.
constexpr DWORD kBaseFlags = OFN_EXPLORER | OFN_ENABLEHOOK | OFN_ENABLEINCLUDENOTIFY;
static_assert(kBaseFlags == 0x00480020, "base flags of the request");

HINSTANCE ThisModule() {
    HMODULE module = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                             GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         reinterpret_cast<LPCWSTR>(&ThisModule), &module);
    return module;
}

// HIMETRIC units (0.01 mm) of `pixels` at `pixelsPerInch`, rounded. 2540 * pixels stays far
// inside 32 bits for the control's size.
LONG PixelsToHimetric(int pixels, int pixelsPerInch) {
    return (2540 * pixels + pixelsPerInch / 2) / pixelsPerInch;
}

bool IsExistingDirectory(const char16_t* path) {
    const DWORD attributes = ::GetFileAttributesW(reinterpret_cast<const wchar_t*>(path));
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// Copies a text that fits (checked by the caller) and closes it.
template <std::size_t N>
void CopyText(wchar_t (&field)[N], const wchar_t* text, std::size_t length) {
    std::wmemcpy(field, text, length);
    field[length] = L'\0';
}

template <std::size_t N> void CopyText(wchar_t (&field)[N], const wchar_t* text) {
    CopyText(field, text, std::wcslen(text));
}

// A path field emptied with two terminators, as the system's buffers are.
template <std::size_t N> void EmptyPath(wchar_t (&field)[N]) {
    static_assert(N >= 2, "room for two terminators");
    field[0] = field[1] = L'\0';
}

// A new BSTR of `text`; E_FAIL when it cannot be allocated.
HRESULT MakeBstr(const wchar_t* text, BSTR* out) {
    *out = ::SysAllocString(text);
    return *out ? S_OK : E_FAIL;
}

HRESULT MakeBstr(const char16_t* text, BSTR* out) {
    return MakeBstr(reinterpret_cast<const wchar_t*>(text), out);
}

// A 32-bit boolean field of this class from an automation boolean: any value but 0 counts as
// set, and -1 stays -1.
constexpr LONG SignExtend(VARIANT_BOOL value) {
    return static_cast<LONG>(static_cast<short>(value));
}

// The low 16 bits of a 32-bit field, as a get hands them out.
constexpr VARIANT_BOOL LowWord(LONG value) {
    return static_cast<VARIANT_BOOL>(static_cast<std::uint16_t>(value & 0xFFFF));
}

OLE_HANDLE ToOleHandle(HWND window) {
    // OLE_HANDLE is 32 bits wide; window handles are too, on 64-bit Windows as well.
    return static_cast<OLE_HANDLE>(reinterpret_cast<UINT_PTR>(window));
}

// The `position`-th argument of an event call (0 is the first one), as a 32-bit integer.
// Automation passes the arguments in reverse order.
bool LongArgument(const DISPPARAMS& parameters, UINT position, LONG& value) {
    if (position >= parameters.cArgs || !parameters.rgvarg)
        return false;
    VARIANT converted;
    ::VariantInit(&converted);
    const HRESULT status = ::VariantChangeType(
        &converted, &parameters.rgvarg[parameters.cArgs - 1 - position], 0, VT_I4);
    if (FAILED(status))
        return false;
    value = V_I4(&converted);
    return true;
}

} // namespace

// ---- Construction --------------------------------------------------------------------------

CFileDialog::CFileDialog() {
    MainInit();
}

CFileDialog::~CFileDialog() {
    // A semaphore that an engine operation still held when the last reference went.
    const UniqueKernelHandle semaphore(LoadSemaphore.exchange(nullptr));
}

void CFileDialog::MainInit() {
    // 1. Defaults of the text fields, in the order of the fields. InitialDir and InitialFileName
    //    are emptied by step 3.
    CopyText(CancelButtonCaption, kDefaultCancelButton);
    CopyText(DateFormat, kDefaultDateFormat);
    CopyText(DefaultExtension, kDefaultExtension);
    CopyText(Title, kDefaultTitle);
    StoreFallbackFilter();
    CopyText(HelpButtonCaption, kDefaultHelpButton);
    CopyText(LookInLabelCaption, kDefaultLookIn);
    CopyText(ShowPreviewCheckBoxCaption, kDefaultShowPreview);
    CopyText(ReadOnlyCheckBoxCaption, kDefaultReadOnly);
    CopyText(OpenButtonCaption, kDefaultOpenButton);
    CopyText(SaveButtonCaption, kDefaultSaveButton);
    CopyText(FileNameLabelCaption, kDefaultFileNameLabel);
    CopyText(FileTypeLabelCaption, kDefaultFileTypeLabel);
    CopyText(DimensionsLabelCaption, kDefaultDimensions);
    CopyText(DateLabelCaption, kDefaultDate);
    CopyText(SizeLabelCaption, kDefaultSize);
    CopyText(TypeLabelCaption, kDefaultType);
    CopyText(ColorSpaceLabelCaption, kDefaultColorSpace);
    CopyText(ColorDepthLabelCaption, kDefaultColorDepth);
    CopyText(TransparencyLabelCaption, kDefaultTransparency);
    CopyText(YesLabelCaption, kDefaultYes);
    CopyText(NoLabelCaption, kDefaultNo);
    CopyText(KilobytesLabelCaption, kDefaultKilobytes);
    CopyText(BytesLabelCaption, kDefaultBytes);

    // 2. The natural size at the screen's resolution.
    {
        WindowDC screen(nullptr);
        const int ppiX = screen ? ::GetDeviceCaps(screen.Get(), LOGPIXELSX) : 96;
        const int ppiY = screen ? ::GetDeviceCaps(screen.Get(), LOGPIXELSY) : 96;
        NaturalSize = SIZEL{PixelsToHimetric(kNaturalWidth, ppiX > 0 ? ppiX : 96),
                            PixelsToHimetric(kNaturalHeight, ppiY > 0 ? ppiY : 96)};
    }

    // 3.
    EmptyPath(InitialDir);
    EmptyPath(InitialFileName);

    // 4.
    EnablePreview = -1;
    PreviewBusy.GiveBack();
    AllowMultiSelect = 0;
    CreatePrompt = -1;
    DontAddToRecent = 0;
    EnableSizing = -1;
    FileMustExist = -1;
    PathMustExist = -1;
    ForceShowHidden = 0;
    HideReadOnlyCheckbox = -1;
    NoDereferencedLinks = 0;
    NoNetworkButton = 0;
    OverwritePrompt = -1;
    ReadOnlyChecked = 0;
    ShowHelp = 0;
    NoValidate = 0;

    // 5. Step 1 wrote the fallback list. Unless the client's own filter is in force, the
    //    engine's open list replaces it on every run, so that a new component offers the
    //    engine's formats from the start rather than "All|*.*".
    if (FilterFollowsEngine())
        LoadDefaultFilter(kOpenMode);

    // 6, 7.
    InitOpenFileName();
    DialogMode = kOpenMode;
}

HRESULT CFileDialog::FinalConstruct() {
    // The load workers draw their tokens from the standard generator.
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    PaneBackColor = filedialog::PaneBackColorFrom(::GetSysColor(kMenuBarColorIndex));
    MainInit();
    if (!FileNameBuffer.Allocate())
        return ReportError(kNoNameBuffer, E_OUTOFMEMORY);
    ::InitCommonControls();

    // The engine is optional: without it the component shows a plain dialog without pane.
    const HRESULT created = InitEngineObjects(EngineOrder::BitmapFirst);
    if (EngineBitmap && SUCCEEDED(created)) {
        HRESULT subscribed = E_FAIL;
        try {
            subscribed = SubscribeToEngineEvents();
        } catch (...) {
            return ReportError(kInitializationError, E_FAIL);
        }
        if (FAILED(subscribed))
            return subscribed;
    }

    InitOsVersionMember();
    OpenFileName = OPENFILENAMEW{};
    OpenFileName.lStructSize = IsOldOs ? OPENFILENAME_SIZE_VERSION_400W : sizeof(OPENFILENAMEW);
    OpenFileName.lCustData = reinterpret_cast<LPARAM>(this);
    FileNameBuffer.Clear();
    EmptyPath(InitialDir);
    EmptyPath(InitialFileName);
    if (!FilterValid)
        LoadDefaultFilter(kOpenMode);
    InitOpenFileName();
    DialogMode = kOpenMode;
    return S_OK;
}

void CFileDialog::FinalRelease() {
    if (EngineBitmap) {
        if (EngineEventCookie != 0 && EngineEventCookie != kEndedSubscription) {
            try {
                ComPtr<IConnectionPointContainer> container;
                ComPtr<IConnectionPoint> point;
                if (SUCCEEDED(EngineBitmap->QueryInterface(IID_IConnectionPointContainer,
                                                           container.PutVoid())) &&
                    container &&
                    SUCCEEDED(
                        container->FindConnectionPoint(DIID__IEngineBitmapEvents, point.Put())) &&
                    point)
                    point->Unadvise(EngineEventCookie);
            } catch (...) {
            }
        }
        EngineEventCookie = kEndedSubscription;
    }
    FileNameBuffer.Free();
}

void CFileDialog::InitOsVersionMember() {
    OsMajorVersion = 5;
    OsMinorVersion = 1;
    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    static_assert(sizeof(OSVERSIONINFOW) == 276, "the version structure of 276 bytes");
    if (::GetVersionExW(&version)) {
        OsMajorVersion = version.dwMajorVersion;
        OsMinorVersion = version.dwMinorVersion;
    }
    IsOldOs = OsMajorVersion == 4 && OsMinorVersion == 0;
}

// ---- The engine ----------------------------------------------------------------------------

HRESULT CFileDialog::InitEngineObjects(EngineOrder order) {
    HRESULT last = S_OK;
    const auto makeBitmap = [&] {
        if (!EngineBitmap)
            last = ::CoCreateInstance(CLSID_EngineBitmap, nullptr, engine::kEngineCreationContext,
                                      IID_IEngineBitmap, EngineBitmap.PutVoid());
    };
    const auto makeMetaReader = [&] {
        if (!EngineMetaReader)
            last =
                ::CoCreateInstance(CLSID_EngineMetaReader, nullptr, engine::kEngineCreationContext,
                                   IID_IEngineMetaReader, EngineMetaReader.PutVoid());
    };
    if (order == EngineOrder::BitmapFirst) {
        makeBitmap();
        makeMetaReader();
    } else {
        makeMetaReader();
        makeBitmap();
    }
    return last;
}

HRESULT CFileDialog::SubscribeToEngineEvents() {
    ComPtr<IConnectionPointContainer> container;
    HRESULT status =
        EngineBitmap->QueryInterface(IID_IConnectionPointContainer, container.PutVoid());
    if (FAILED(status))
        return status;
    if (!container)
        return E_NOINTERFACE;
    ComPtr<IConnectionPoint> point;
    status = container->FindConnectionPoint(DIID__IEngineBitmapEvents, point.Put());
    if (FAILED(status))
        return status;
    if (!point)
        return CONNECT_E_NOCONNECTION;
    return point->Advise(&EngineEvents, &EngineEventCookie);
}

void CFileDialog::StoreFallbackFilter() {
    filedialog::FilterFromText(kFallbackFilter, FilterText, std::size(FilterText));
}

void CFileDialog::LoadDefaultFilter(LONG mode) {
    try {
        if (!EngineBitmap &&
            FAILED(::CoCreateInstance(CLSID_EngineBitmap, nullptr, engine::kEngineCreationContext,
                                      IID_IEngineBitmap, EngineBitmap.PutVoid()))) {
            StoreFallbackFilter();
        } else {
            ComPtr<IEngineFormatList> formats;
            if (FAILED(EngineBitmap->GetFormatList(formats.Put())) || !formats) {
                StoreFallbackFilter();
            } else {
                UniqueBstr text;
                const HRESULT fetched = mode == kSaveMode ? formats->get_SaveFilter(text.Put())
                                                          : formats->get_OpenFilter(text.Put());
                if (SUCCEEDED(fetched)) {
                    filedialog::FilterFromText(
                        std::u16string_view(reinterpret_cast<const char16_t*>(text.Get()),
                                            ::SysStringLen(text.Get())),
                        FilterText, std::size(FilterText));
                } else {
                    StoreFallbackFilter();
                }
            }
        }
    } catch (...) {
        StoreFallbackFilter();
    }
    FilterValid = 1;
}

// ---- Composition ---------------------------------------------------------------------------

const wchar_t* CFileDialog::GetTitlePointer() const {
    return TitleSet ? Title : nullptr;
}

HWND CFileDialog::ResolveOwner() {
    if (OwnerWindowSet)
        return OwnerWindow;
    return GetContainerWindow(ClientSite.Get());
}

DWORD CFileDialog::ComposeFlags() const {
    const struct {
        LONG CFileDialog::*field;
        DWORD flag;
    } kFlagTable[] = {
        {&CFileDialog::AllowMultiSelect, OFN_ALLOWMULTISELECT},
        {&CFileDialog::CreatePrompt, OFN_CREATEPROMPT},
        {&CFileDialog::DontAddToRecent, OFN_DONTADDTORECENT},
        {&CFileDialog::EnableSizing, OFN_ENABLESIZING},
        {&CFileDialog::FileMustExist, OFN_FILEMUSTEXIST},
        {&CFileDialog::PathMustExist, OFN_PATHMUSTEXIST},
        {&CFileDialog::ForceShowHidden, OFN_FORCESHOWHIDDEN},
        {&CFileDialog::HideReadOnlyCheckbox, OFN_HIDEREADONLY},
        {&CFileDialog::NoDereferencedLinks, OFN_NODEREFERENCELINKS},
        {&CFileDialog::NoNetworkButton, OFN_NONETWORKBUTTON},
        {&CFileDialog::OverwritePrompt, OFN_OVERWRITEPROMPT},
        {&CFileDialog::ReadOnlyChecked, OFN_READONLY},
        {&CFileDialog::ShowHelp, OFN_SHOWHELP},
        {&CFileDialog::NoValidate, OFN_NOVALIDATE},
    };
    DWORD flags = kBaseFlags;
    for (const auto& row : kFlagTable) {
        if (this->*row.field)
            flags |= row.flag;
    }
    return flags;
}

void CFileDialog::InitOpenFileName() {
    // 1. Without both engine objects there is no pane, for good: the property reads False.
    const HRESULT created = InitEngineObjects(EngineOrder::MetaReaderFirst);
    if (FAILED(created) || !EngineBitmap)
        EnablePreviewPane = 0;

    // 2, 3. The result buffer starts as the initial name; the system writes the result there.
    OpenFileName.lpstrInitialDir = InitialDir[0] ? InitialDir : nullptr;
    if (FileNameBuffer.IsAllocated())
        FileNameBuffer.AssignPath(reinterpret_cast<const char16_t*>(InitialFileName));
    OpenFileName.lpstrFile = reinterpret_cast<wchar_t*>(FileNameBuffer.Data());
    OpenFileName.nMaxFile = FileNameBuffer.Capacity();
    OpenFileName.lpstrFileTitle = nullptr;
    OpenFileName.nMaxFileTitle = 0;

    // 4. An empty list passes no filter and the index 0. A put of FilterIndex is in the request
    //    now, so the get answers the request's index again from here on.
    const bool hasFilter =
        filedialog::GetListLength(FilterText, static_cast<std::int32_t>(kCaptionChars)) >= 1;
    OpenFileName.lpstrFilter = hasFilter ? reinterpret_cast<const wchar_t*>(FilterText) : nullptr;
    OpenFileName.nFilterIndex = hasFilter ? static_cast<DWORD>(FilterIndex) : 0;
    FilterIndexPut = 0;
    OpenFileName.lpstrCustomFilter = nullptr;
    OpenFileName.nMaxCustFilter = 0;

    // 5.
    OpenFileName.lpstrDefExt = DefaultExtension[0] ? DefaultExtension : nullptr;
    OpenFileName.hwndOwner = ResolveOwner();
    OpenFileName.lpstrTitle = GetTitlePointer();
    OpenFileName.FlagsEx = 0; // the places bar is never suppressed

    // 6. Wipes the bits that the system left at the last show.
    OpenFileName.Flags = ComposeFlags();

    // 7. The hook is in every show, the template only with the pane.
    OpenFileName.lpfnHook = FileDialogHookProc;
    if (EnablePreviewPane) {
        OpenFileName.Flags |= OFN_ENABLETEMPLATE;
        OpenFileName.lpTemplateName = MAKEINTRESOURCEW(kPaneTemplate);
        OpenFileName.hInstance = ThisModule();
    } else {
        OpenFileName.lpTemplateName = nullptr;
        OpenFileName.hInstance = nullptr;
    }
}

// ---- Show ----------------------------------------------------------------------------------

HRESULT CFileDialog::ShowOpen(VARIANT_BOOL* pVal) {
    return Show(kOpenMode, pVal);
}

HRESULT CFileDialog::ShowSave(VARIANT_BOOL* pVal) {
    return Show(kSaveMode, pVal);
}

HRESULT CFileDialog::Show(LONG mode, VARIANT_BOOL* pVal) {
    if (!pVal)
        return E_POINTER;
    // The free-threaded marshaler lets two threads of the client call at once, and an event
    // handler can call in from inside a show: one atomic test-and-set lets exactly one show in.
    LONG closed = 0;
    if (!DialogOpen.compare_exchange_strong(closed, -1))
        return ReportError(kAlreadyOpened, kOrreluxDialogsErrorAlreadyOpened);
    LastResult = 0;
    // The engine's list follows the mode of each show: the open list for ShowOpen, the save
    // list for ShowSave. A filter that the client put stays in force for both.
    if (FilterFollowsEngine())
        LoadDefaultFilter(mode);
    InitOpenFileName();
    PaneInitDone = 0;
    DialogMode = mode;

    const SystemDialogOutcome outcome = RunSystemDialog();
    LastResult = outcome.Result;
    if (outcome.Result == 0 && outcome.ExtendedError == FNERR_INVALIDFILENAME) {
        // The system refused the initial folder or name: both go for good, and the dialog
        // opens again without them.
        EmptyPath(InitialDir);
        EmptyPath(InitialFileName);
        DialogOpen.store(0);
        BeforeClose();
        return mode == kSaveMode ? ShowSave(pVal) : ShowOpen(pVal);
    }
    BeforeClose();
    *pVal = LowWord(LastResult);
    DialogOpen.store(0);
    return S_OK;
}

// The system's open or save dialog runs here, on the caller's thread, with the composed request
// and the hook procedure; it returns when the dialog has been closed.
CFileDialog::SystemDialogOutcome CFileDialog::RunSystemDialog() {
    if (SystemDialogStandIn)
        return SystemDialogStandIn(*this);
    const BOOL accepted = DialogMode == kSaveMode ? ::GetSaveFileNameW(&OpenFileName)
                                                  : ::GetOpenFileNameW(&OpenFileName);
    if (accepted)
        return SystemDialogOutcome{static_cast<LONG>(accepted), 0};
    return SystemDialogOutcome{0, ::CommDlgExtendedError()};
}

int CFileDialog::BeforeClose() {
    PaneWindow = nullptr;
    SystemDialogWindow = nullptr;
    ProgressWindow.store(nullptr);
    PreviewCheckWindow = nullptr;
    PreviewWindow = nullptr;
    RowWindows = RowWindowTable();
    return 1;
}

// ---- Families ------------------------------------------------------------------------------

HRESULT CFileDialog::ReportError(const wchar_t* message, HRESULT code) {
    return ReportComponentError(CLSID_FileDialog, message, IID_IFileDialog, code);
}

bool CFileDialog::DesignMode() {
    return IsDesignMode(ClientSite.Get());
}

template <std::size_t N> HRESULT CFileDialog::GetText(const wchar_t (&field)[N], BSTR* pVal) {
    if (!pVal)
        return E_POINTER;
    return MakeBstr(field, pVal);
}

// Stores `value` in a text field, or `nullText` for a NULL string. A text beyond the field's
// limit is refused and the field keeps its text. The length is the BSTR's own.
template <std::size_t N>
HRESULT CFileDialog::PutText(wchar_t (&field)[N], TextFamily family, BSTR value,
                             const wchar_t* nullText) {
    constexpr std::size_t limit = N - 1;
    if (!value) {
        CopyText(field, nullText);
        return S_OK;
    }
    const std::size_t length = ::SysStringLen(value);
    if (length > limit) {
        switch (family) {
        case TextFamily::Caption:
            return ReportError(kCaptionTooLong, kOrreluxDialogsErrorStringTooLong);
        case TextFamily::Label:
            return ReportError(kLabelTooLong, kOrreluxDialogsErrorStringTooLong);
        case TextFamily::Path:
            return E_INVALIDARG;
        }
    }
    CopyText(field, value, length);
    return S_OK;
}

template <std::size_t N>
HRESULT CFileDialog::PutCaption(wchar_t (&field)[N], BSTR value, const wchar_t* nullText,
                                unsigned bit) {
    static_assert(N == kCaptionChars + 1, "a caption field");
    const HRESULT stored = PutText(field, TextFamily::Caption, value, nullText);
    if (SUCCEEDED(stored) && bit)
        UpdateLabel(bit);
    return stored;
}

HRESULT CFileDialog::GetFlag(LONG field, VARIANT_BOOL* pVal) {
    if (!pVal)
        return E_POINTER;
    *pVal = LowWord(field);
    return S_OK;
}

void CFileDialog::PutFlag(LONG& field, VARIANT_BOOL value) {
    field = SignExtend(value);
}

// ---- Captions ------------------------------------------------------------------------------

HRESULT CFileDialog::get_CancelButtonCaption(BSTR* pVal) {
    return GetText(CancelButtonCaption, pVal);
}
HRESULT CFileDialog::put_CancelButtonCaption(BSTR newVal) {
    return PutCaption(CancelButtonCaption, newVal, kDefaultCancelButton, kUpdateCancelButton);
}

HRESULT CFileDialog::get_DateFormat(BSTR* pVal) {
    return GetText(DateFormat, pVal);
}
HRESULT CFileDialog::put_DateFormat(BSTR newVal) {
    return PutCaption(DateFormat, newVal, kDefaultDateFormat, 0);
}

HRESULT CFileDialog::get_DefaultExtension(BSTR* pVal) {
    return GetText(DefaultExtension, pVal);
}
HRESULT CFileDialog::put_DefaultExtension(BSTR newVal) {
    return PutCaption(DefaultExtension, newVal, kDefaultExtension, 0);
}

HRESULT CFileDialog::get_Title(BSTR* pVal) {
    return GetText(Title, pVal);
}
HRESULT CFileDialog::put_Title(BSTR newVal) {
    const HRESULT stored = PutText(Title, TextFamily::Caption, newVal, kEmpty);
    if (FAILED(stored))
        return stored;
    // Once put, the title is passed at composition, an empty one included.
    TitleSet = -1;
    UpdateLabel(kUpdateTitle);
    return S_OK;
}

HRESULT CFileDialog::get_HelpButtonCaption(BSTR* pVal) {
    return GetText(HelpButtonCaption, pVal);
}
HRESULT CFileDialog::put_HelpButtonCaption(BSTR newVal) {
    return PutCaption(HelpButtonCaption, newVal, kDefaultHelpButton, kUpdateHelpButton);
}

HRESULT CFileDialog::get_LookInLabelCaption(BSTR* pVal) {
    return GetText(LookInLabelCaption, pVal);
}
HRESULT CFileDialog::put_LookInLabelCaption(BSTR newVal) {
    return PutCaption(LookInLabelCaption, newVal, kDefaultLookIn, kUpdateLookIn);
}

HRESULT CFileDialog::get_ShowPreviewCheckBoxCaption(BSTR* pVal) {
    return GetText(ShowPreviewCheckBoxCaption, pVal);
}
HRESULT CFileDialog::put_ShowPreviewCheckBoxCaption(BSTR newVal) {
    return PutCaption(ShowPreviewCheckBoxCaption, newVal, kDefaultShowPreview, kUpdateShowPreview);
}

HRESULT CFileDialog::get_ReadOnlyCheckBoxCaption(BSTR* pVal) {
    return GetText(ReadOnlyCheckBoxCaption, pVal);
}
HRESULT CFileDialog::put_ReadOnlyCheckBoxCaption(BSTR newVal) {
    return PutCaption(ReadOnlyCheckBoxCaption, newVal, kDefaultReadOnly, kUpdateReadOnly);
}

// The two captions of control 1 reach a running dialog only in their own mode.
HRESULT CFileDialog::get_OpenButtonCaption(BSTR* pVal) {
    return GetText(OpenButtonCaption, pVal);
}
HRESULT CFileDialog::put_OpenButtonCaption(BSTR newVal) {
    return PutCaption(OpenButtonCaption, newVal, kDefaultOpenButton,
                      DialogMode == kOpenMode ? kUpdateOkButton : 0);
}

HRESULT CFileDialog::get_SaveButtonCaption(BSTR* pVal) {
    return GetText(SaveButtonCaption, pVal);
}
HRESULT CFileDialog::put_SaveButtonCaption(BSTR newVal) {
    return PutCaption(SaveButtonCaption, newVal, kDefaultSaveButton,
                      DialogMode == kSaveMode ? kUpdateOkButton : 0);
}

HRESULT CFileDialog::get_FileNameLabelCaption(BSTR* pVal) {
    return GetText(FileNameLabelCaption, pVal);
}
HRESULT CFileDialog::put_FileNameLabelCaption(BSTR newVal) {
    return PutCaption(FileNameLabelCaption, newVal, kDefaultFileNameLabel, kUpdateFileNameLabel);
}

HRESULT CFileDialog::get_FileTypeLabelCaption(BSTR* pVal) {
    return GetText(FileTypeLabelCaption, pVal);
}
HRESULT CFileDialog::put_FileTypeLabelCaption(BSTR newVal) {
    return PutCaption(FileTypeLabelCaption, newVal, kDefaultFileTypeLabel, kUpdateFileTypeLabel);
}

// ---- Labels: the pane's row captions and the words of the rows' values ---------------------

// A NULL row caption empties the caption (and so takes its row away); a NULL word restores it.
#define ORRELUX_FILE_DIALOG_LABEL(Name, NullText)                                                  \
    HRESULT CFileDialog::get_##Name(BSTR* pVal) {                                                  \
        return GetText(Name, pVal);                                                                \
    }                                                                                              \
    HRESULT CFileDialog::put_##Name(BSTR newVal) {                                                 \
        return PutText(Name, TextFamily::Label, newVal, NullText);                                 \
    }

ORRELUX_FILE_DIALOG_LABEL(DimensionsLabelCaption, kEmpty)
ORRELUX_FILE_DIALOG_LABEL(DateLabelCaption, kEmpty)
ORRELUX_FILE_DIALOG_LABEL(SizeLabelCaption, kEmpty)
ORRELUX_FILE_DIALOG_LABEL(TypeLabelCaption, kEmpty)
ORRELUX_FILE_DIALOG_LABEL(ColorSpaceLabelCaption, kEmpty)
ORRELUX_FILE_DIALOG_LABEL(ColorDepthLabelCaption, kEmpty)
ORRELUX_FILE_DIALOG_LABEL(TransparencyLabelCaption, kEmpty)
ORRELUX_FILE_DIALOG_LABEL(YesLabelCaption, kDefaultYes)
ORRELUX_FILE_DIALOG_LABEL(NoLabelCaption, kDefaultNo)
ORRELUX_FILE_DIALOG_LABEL(KilobytesLabelCaption, kDefaultKilobytes)
ORRELUX_FILE_DIALOG_LABEL(BytesLabelCaption, kDefaultBytes)

#undef ORRELUX_FILE_DIALOG_LABEL

// ---- Paths ---------------------------------------------------------------------------------

HRESULT CFileDialog::get_InitialDir(BSTR* pVal) {
    return GetText(InitialDir, pVal);
}
HRESULT CFileDialog::put_InitialDir(BSTR newVal) {
    return PutText(InitialDir, TextFamily::Path, newVal, kEmpty);
}

HRESULT CFileDialog::get_InitialFileName(BSTR* pVal) {
    return GetText(InitialFileName, pVal);
}
HRESULT CFileDialog::put_InitialFileName(BSTR newVal) {
    return PutText(InitialFileName, TextFamily::Path, newVal, kEmpty);
}

// ---- Flags ---------------------------------------------------------------------------------

#define ORRELUX_FILE_DIALOG_FLAG(Name)                                                             \
    HRESULT CFileDialog::get_##Name(VARIANT_BOOL* pVal) {                                          \
        return GetFlag(Name, pVal);                                                                \
    }                                                                                              \
    HRESULT CFileDialog::put_##Name(VARIANT_BOOL newVal) {                                         \
        PutFlag(Name, newVal);                                                                     \
        return S_OK;                                                                               \
    }

ORRELUX_FILE_DIALOG_FLAG(AllowMultiSelect)
ORRELUX_FILE_DIALOG_FLAG(CreatePrompt)
ORRELUX_FILE_DIALOG_FLAG(DontAddToRecent)
ORRELUX_FILE_DIALOG_FLAG(EnableSizing)
ORRELUX_FILE_DIALOG_FLAG(FileMustExist)
ORRELUX_FILE_DIALOG_FLAG(PathMustExist)
ORRELUX_FILE_DIALOG_FLAG(ForceShowHidden)
ORRELUX_FILE_DIALOG_FLAG(HideReadOnlyCheckbox)
ORRELUX_FILE_DIALOG_FLAG(NoDereferencedLinks)
ORRELUX_FILE_DIALOG_FLAG(NoNetworkButton)
ORRELUX_FILE_DIALOG_FLAG(OverwritePrompt)
ORRELUX_FILE_DIALOG_FLAG(ReadOnlyChecked)
ORRELUX_FILE_DIALOG_FLAG(ShowHelp)
ORRELUX_FILE_DIALOG_FLAG(NoValidate)

#undef ORRELUX_FILE_DIALOG_FLAG

// The bits of the request's Flags as the system left them: the bit itself, not -1. Composition
// clears both, so they read False during a show.
HRESULT CFileDialog::get_ExtensionDifferent(VARIANT_BOOL* pVal) {
    return GetFlag(static_cast<LONG>(OpenFileName.Flags & OFN_EXTENSIONDIFFERENT), pVal);
}

HRESULT CFileDialog::get_NoReadOnlyReturn(VARIANT_BOOL* pVal) {
    return GetFlag(static_cast<LONG>(OpenFileName.Flags & OFN_NOREADONLYRETURN), pVal);
}

// ---- Properties with rules of their own ----------------------------------------------------

HRESULT CFileDialog::get_Filter(BSTR* pVal) {
    if (!pVal)
        return E_POINTER;
    *pVal = nullptr;
    if (!FilterValid)
        LoadDefaultFilter(DialogMode);
    const TextResult text = filedialog::FilterToText(FilterText);
    if (!text)
        return E_FAIL;
    return MakeBstr(text.get(), pVal);
}

HRESULT CFileDialog::put_Filter(BSTR newVal) {
    const std::size_t length = ::SysStringLen(newVal);
    if (length > kCaptionChars)
        return ReportError(kCaptionTooLong, kOrreluxDialogsErrorStringTooLong);
    if (length == 0) {
        // The next get or show fetches the engine's list again.
        FilterValid = 0;
        FilterFromClient = 0;
        return S_OK;
    }
    filedialog::FilterFromText(
        std::u16string_view(reinterpret_cast<const char16_t*>(newVal), length), FilterText,
        std::size(FilterText));
    FilterValid = 1;
    FilterFromClient = 1;
    return S_OK;
}

HRESULT CFileDialog::get_FilterIndex(LONG* pVal) {
    if (!pVal)
        return E_POINTER;
    // Outside design mode the index is where the system left the user's choice, in the request;
    // a put since the last composition reads back as it was put until the next show.
    if (!FilterIndexPut && !DesignMode())
        FilterIndex = static_cast<LONG>(OpenFileName.nFilterIndex);
    *pVal = FilterIndex;
    return S_OK;
}

HRESULT CFileDialog::put_FilterIndex(LONG newVal) {
    // The upper end is the system's to ignore: it skips an index beyond the filters.
    if (newVal < 1) {
        if (!DesignMode())
            return ReportError(kFilterIndexOutOfRange, kIndexOutOfRange);
        newVal = 1;
    }
    FilterIndex = newVal;
    FilterIndexPut = 1;
    return S_OK;
}

HRESULT CFileDialog::get_EnablePreview(VARIANT_BOOL* pVal) {
    return GetFlag(EnablePreview, pVal);
}

HRESULT CFileDialog::put_EnablePreview(VARIANT_BOOL newVal) {
    PutFlag(EnablePreview, newVal);
    if (!DesignMode())
        SetPreviewCheck(EnablePreview);
    return S_OK;
}

HRESULT CFileDialog::get_EnablePreviewPane(VARIANT_BOOL* pVal) {
    return GetFlag(EnablePreviewPane, pVal);
}

// The client sees a missing engine in the get: the put succeeds and the pane stays off.
HRESULT CFileDialog::put_EnablePreviewPane(VARIANT_BOOL newVal) {
    PutFlag(EnablePreviewPane, newVal);
    const HRESULT created = InitEngineObjects(EngineOrder::MetaReaderFirst);
    if (FAILED(created) || !EngineBitmap)
        EnablePreviewPane = 0;
    return S_OK;
}

HRESULT CFileDialog::get_OwnerWindow(OLE_HANDLE* pVal) {
    if (!pVal)
        return E_POINTER;
    *pVal = ToOleHandle(OwnerWindow);
    return S_OK;
}

HRESULT CFileDialog::put_OwnerWindow(OLE_HANDLE newVal) {
    const HWND window = reinterpret_cast<HWND>(static_cast<UINT_PTR>(newVal));
    if (window && !::IsWindow(window))
        return ReportError(kNotAWindow, E_INVALIDARG);
    OwnerWindow = window;
    OwnerWindowSet = -1;
    return S_OK;
}

HRESULT CFileDialog::get_Hwnd(OLE_HANDLE* pVal) {
    if (!pVal)
        return E_POINTER;
    *pVal = ToOleHandle(SystemDialogWindow);
    return S_OK;
}

HRESULT CFileDialog::get_Visible(VARIANT_BOOL* pVal) {
    return GetFlag(DialogOpen.load(), pVal);
}

// The value lives in the engine; without it a get fails and a put is a no-op.
HRESULT CFileDialog::get_IsLzwEnabled(VARIANT_BOOL* pVal) {
    if (!pVal)
        return E_POINTER;
    if (!EngineBitmap) {
        *pVal = VARIANT_FALSE;
        return ReportError(kBitmapNotInitialized, E_FAIL);
    }
    try {
        return EngineBitmap->get_IsLzwEnabled(pVal);
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT CFileDialog::put_IsLzwEnabled(VARIANT_BOOL newVal) {
    if (!EngineBitmap)
        return S_FALSE;
    try {
        return EngineBitmap->put_IsLzwEnabled(newVal);
    } catch (...) {
        return E_FAIL;
    }
}

// ---- Results -------------------------------------------------------------------------------

const char16_t* CFileDialog::ResultBuffer() const {
    return FileNameBuffer.Data();
}

bool CFileDialog::MultiSelectResults() {
    return AllowMultiSelect && !DesignMode();
}

HRESULT CFileDialog::get_FileName(BSTR* pVal) {
    return get_FileNames(0, pVal);
}

HRESULT CFileDialog::get_FileTitle(BSTR* pVal) {
    return get_FileTitles(0, pVal);
}

HRESULT CFileDialog::get_FileNames(LONG Index, BSTR* pVal) {
    return GetIndexedName(Index, false, pVal);
}

HRESULT CFileDialog::get_FileTitles(LONG Index, BSTR* pVal) {
    return GetIndexedName(Index, true, pVal);
}

// FileNames and FileTitles. Before a show ended with OK only the first name is there to read.
HRESULT CFileDialog::GetIndexedName(LONG index, bool title, BSTR* pVal) {
    if (!pVal)
        return E_POINTER;
    *pVal = nullptr;
    if (LastResult == 0 && index >= 1)
        return MakeBstr(kEmpty, pVal);
    const char16_t* buffer = ResultBuffer();
    const std::uint32_t capacity = FileNameBuffer.Capacity();
    if (MultiSelectResults()) {
        const std::int32_t count = filedialog::GetFileCount(buffer, capacity);
        if (index >= count) {
            wchar_t message[96];
            std::swprintf(message, std::size(message),
                          title ? kFileTitleIndexOutOfRange : kFileNameIndexOutOfRange,
                          static_cast<int>(index), static_cast<int>(count - 1));
            return ReportError(message, kIndexOutOfRange);
        }
        TextResult name = filedialog::GetFileNameAt(buffer, index, capacity);
        if (name && title)
            name = filedialog::GetFileTitle(name.get(), &IsExistingDirectory);
        if (!name)
            return E_FAIL;
        return MakeBstr(name.get(), pVal);
    }
    const char16_t* text = buffer ? buffer : u"";
    if (!title)
        return MakeBstr(text, pVal);
    const TextResult name = filedialog::GetFileTitle(text, &IsExistingDirectory);
    if (!name)
        return E_FAIL;
    return MakeBstr(name.get(), pVal);
}

HRESULT CFileDialog::get_FilePath(BSTR* pVal) {
    if (!pVal)
        return E_POINTER;
    *pVal = nullptr;
    if (LastResult == 0) {
        const HRESULT made = MakeBstr(kEmpty, pVal);
        return FAILED(made) ? made : S_FALSE;
    }
    const char16_t* buffer = ResultBuffer();
    TextResult path;
    if (MultiSelectResults()) {
        const TextResult first = filedialog::GetFileNameAt(buffer, 0, FileNameBuffer.Capacity());
        if (first)
            path = filedialog::GetFilePath(first.get(), &IsExistingDirectory);
    } else {
        path = filedialog::GetFilePath(buffer, &IsExistingDirectory);
    }
    if (!path)
        return E_FAIL;
    return MakeBstr(path.get(), pVal);
}

// The design mode plays no part here, unlike in the other result members.
HRESULT CFileDialog::get_FileCount(LONG* pVal) {
    if (!pVal)
        return E_POINTER;
    *pVal = 0;
    if (LastResult == 0)
        return S_OK;
    const char16_t* buffer = ResultBuffer();
    if (AllowMultiSelect)
        *pVal = filedialog::GetFileCount(buffer, FileNameBuffer.Capacity());
    else
        *pVal = buffer && buffer[0] != u'\0' ? 1 : 0;
    return S_OK;
}

// ---- Events of the component ---------------------------------------------------------------

HRESULT CFileDialog::FirePreviewClick() {
    return EventSinkList.Fire(kDispidPreviewClick, nullptr);
}

HRESULT CFileDialog::FirePreviewDblClick() {
    return EventSinkList.Fire(kDispidPreviewDblClick, nullptr);
}

// ---- Events of the engine ------------------------------------------------------------------

void CFileDialog::OnOperationProgress(LONG position, LONG range) {
    if (!ProgressWorthShowing(position, range))
        return;
    ShowProgressBar(true);
    SetProgress(position, range);
}

void CFileDialog::OnErrorOccured() {
    ShowProgressBar(false);
}

// OnOperationBegin and OnOperationEnd stand with the preview pipeline, whose workers wait on the
// semaphore they keep (src/filedialog/win/preview_pipeline.cpp).

STDMETHODIMP CFileDialog::EngineEventSink::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IDispatch && iid != DIID__IEngineBitmapEvents)
        return E_NOINTERFACE;
    *out = static_cast<IDispatch*>(this);
    return S_OK;
}

STDMETHODIMP CFileDialog::EngineEventSink::GetTypeInfoCount(UINT* count) {
    if (!count)
        return E_POINTER;
    *count = 0;
    return S_OK;
}

STDMETHODIMP CFileDialog::EngineEventSink::GetTypeInfo(UINT, LCID, ITypeInfo** info) {
    if (info)
        *info = nullptr;
    return E_NOTIMPL;
}

STDMETHODIMP CFileDialog::EngineEventSink::GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) {
    return E_NOTIMPL;
}

// The events arrive by dispatch identifier on a thread of the engine's choice. A malformed call
// is answered as such; an unknown event is accepted and ignored.
STDMETHODIMP CFileDialog::EngineEventSink::Invoke(DISPID dispid, REFIID, LCID, WORD,
                                                  DISPPARAMS* parameters, VARIANT*, EXCEPINFO*,
                                                  UINT*) {
    try {
        switch (dispid) {
        case kDispidOperationProgress: {
            LONG position = 0, range = 0;
            if (!parameters || !LongArgument(*parameters, 0, position) ||
                !LongArgument(*parameters, 1, range))
                return DISP_E_BADPARAMCOUNT;
            Owner.OnOperationProgress(position, range);
            return S_OK;
        }
        case kDispidErrorOccured:
            Owner.OnErrorOccured();
            return S_OK;
        case kDispidOperationBegin:
            Owner.OnOperationBegin();
            return S_OK;
        case kDispidOperationEnd:
            Owner.OnOperationEnd();
            return S_OK;
        default:
            return S_OK;
        }
    } catch (...) {
        return E_FAIL;
    }
}

} // namespace orrelux
