// FileDialog: the automation object through which a client uses the system's open and save
// dialog with the preview pane.
//
// The component keeps all of its state in this one object: every caption in a fixed array with
// room for its limit and a terminator (nothing is allocated for a text), the flags as sign-
// extended 32-bit fields, the composed OPENFILENAMEW, and the selection result buffer that the
// system writes. Every member returns an HRESULT and never lets an exception out; failures meant
// for the client go through ReportComponentError with this class's CLSID and IFileDialog.
//
// It implements the members of IFileDialog and nothing else of COM: the server's control
// framework (ControlObject in src/server) supplies IUnknown, IDispatch, the control interfaces,
// persistence, the connection points and the free-threaded marshaler, and hands the component
// the container's site.
//
// Threads: the members run on the caller's thread and take no lock; a show runs its modal loop
// on that thread, and the client's event handlers call back in on it. The events of the imaging
// engine arrive on threads of the engine's choice and touch only the progress bar and
// LoadSemaphore.
//
// Three rules of this class:
//   - Filter: unless the client put a filter of its own, the engine's list is in force from
//     construction on and follows the mode of each show (the open list for ShowOpen, the save
//     list for ShowSave). A NULL or empty put hands the filter back to the engine.
//   - FilterIndex: a put reads back as it was put until the next show composes it into the
//     request; from then on the get answers the index where the system left the user's choice.
//   - A show is entered by one atomic test-and-set of DialogOpen, so that neither a handler
//     inside the dialog's loop nor a second thread (the free-threaded marshaler lets one in) can
//     start a second show.
#pragma once

#include <windows.h>
#include <ole2.h>
#include <olectl.h>
#include <commdlg.h>
#include <cderr.h>

// commdlg.h maps GetFileTitle to the system's GetFileTitleW; the component means the selection
// buffer's own.
#undef GetFileTitle

#include <atomic>
#include <cstdint>
#include <mutex>

#include "OrreluxDialogs.h"
#include "components/dialog_errors.h"
#include "filedialog/image_probe_text.h"
#include "filedialog/preview_drawing.h"
#include "filedialog/selection_buffer.h"
#include "filedialog/win/preview_pipeline.h"
#include "imaging_engine.h"
#include "platform/event_sinks.h"
#include "platform/handles.h"

namespace orrelux {

// Dispatch identifiers of _IFileDialogEvents.
inline constexpr DISPID kDispidPreviewClick = 1;
inline constexpr DISPID kDispidPreviewDblClick = 2;

// Dispatch identifiers of the imaging engine's _IEngineBitmapEvents.
inline constexpr DISPID kDispidOperationProgress = 1;
inline constexpr DISPID kDispidErrorOccured = 2;
inline constexpr DISPID kDispidOperationBegin = 8;
inline constexpr DISPID kDispidOperationEnd = 9;

// Bits of UpdateLabel: which caption a put pushes to a running dialog.
inline constexpr unsigned kUpdateTitle = 0x0001;
inline constexpr unsigned kUpdateLookIn = 0x0002;
inline constexpr unsigned kUpdateShowPreview = 0x0004;
inline constexpr unsigned kUpdateReadOnly = 0x0008;
inline constexpr unsigned kUpdateFileNameLabel = 0x0010;
inline constexpr unsigned kUpdateFileTypeLabel = 0x0020;
inline constexpr unsigned kUpdateCancelButton = 0x0400;
inline constexpr unsigned kUpdateOkButton = 0x0800; // Open or Save caption, by DialogMode
inline constexpr unsigned kUpdateHelpButton = 0x1000;

class CFileDialog : public IFileDialog {
public:
    using Interface = IFileDialog;

    // Longest texts of the three families, without the terminator.
    static constexpr std::size_t kCaptionChars = 2028;
    static constexpr std::size_t kLabelChars = 100;
    static constexpr std::size_t kPathChars = 260;

    // The two values of DialogMode.
    static constexpr LONG kOpenMode = 0;
    static constexpr LONG kSaveMode = 1;

    // FinalRelease marks the subscription to the engine's events as ended with this cookie.
    static constexpr DWORD kEndedSubscription = 0xFEFEFEFE;

    CFileDialog();
    ~CFileDialog();
    CFileDialog(const CFileDialog&) = delete;
    CFileDialog& operator=(const CFileDialog&) = delete;

    // Second stage of creation: name buffer, engine objects and their events, OS version, the
    // composed request. Its failure refuses the creation. The framework aggregates the
    // free-threaded marshaler with the controlling unknown right after it.
    HRESULT FinalConstruct();
    // First stage of destruction: ends the subscription and frees the name buffer.
    void FinalRelease();

    // IFileDialog, in interface order.
    STDMETHODIMP ShowOpen(VARIANT_BOOL* pVal) override;
    STDMETHODIMP ShowSave(VARIANT_BOOL* pVal) override;
    STDMETHODIMP get_CancelButtonCaption(BSTR* pVal) override;
    STDMETHODIMP put_CancelButtonCaption(BSTR newVal) override;
    STDMETHODIMP get_DateFormat(BSTR* pVal) override;
    STDMETHODIMP put_DateFormat(BSTR newVal) override;
    STDMETHODIMP get_DefaultExtension(BSTR* pVal) override;
    STDMETHODIMP put_DefaultExtension(BSTR newVal) override;
    STDMETHODIMP get_Title(BSTR* pVal) override;
    STDMETHODIMP put_Title(BSTR newVal) override;
    STDMETHODIMP get_Filter(BSTR* pVal) override;
    STDMETHODIMP put_Filter(BSTR newVal) override;
    STDMETHODIMP get_HelpButtonCaption(BSTR* pVal) override;
    STDMETHODIMP put_HelpButtonCaption(BSTR newVal) override;
    STDMETHODIMP get_LookInLabelCaption(BSTR* pVal) override;
    STDMETHODIMP put_LookInLabelCaption(BSTR newVal) override;
    STDMETHODIMP get_ColorDepthLabelCaption(BSTR* pVal) override;
    STDMETHODIMP put_ColorDepthLabelCaption(BSTR newVal) override;
    STDMETHODIMP get_ShowPreviewCheckBoxCaption(BSTR* pVal) override;
    STDMETHODIMP put_ShowPreviewCheckBoxCaption(BSTR newVal) override;
    STDMETHODIMP get_DateLabelCaption(BSTR* pVal) override;
    STDMETHODIMP put_DateLabelCaption(BSTR newVal) override;
    STDMETHODIMP get_SizeLabelCaption(BSTR* pVal) override;
    STDMETHODIMP put_SizeLabelCaption(BSTR newVal) override;
    STDMETHODIMP get_TypeLabelCaption(BSTR* pVal) override;
    STDMETHODIMP put_TypeLabelCaption(BSTR newVal) override;
    STDMETHODIMP get_ReadOnlyCheckBoxCaption(BSTR* pVal) override;
    STDMETHODIMP put_ReadOnlyCheckBoxCaption(BSTR newVal) override;
    STDMETHODIMP get_FileName(BSTR* pVal) override;
    STDMETHODIMP get_OpenButtonCaption(BSTR* pVal) override;
    STDMETHODIMP put_OpenButtonCaption(BSTR newVal) override;
    STDMETHODIMP get_SaveButtonCaption(BSTR* pVal) override;
    STDMETHODIMP put_SaveButtonCaption(BSTR newVal) override;
    STDMETHODIMP get_FileNameLabelCaption(BSTR* pVal) override;
    STDMETHODIMP put_FileNameLabelCaption(BSTR newVal) override;
    STDMETHODIMP get_FileTypeLabelCaption(BSTR* pVal) override;
    STDMETHODIMP put_FileTypeLabelCaption(BSTR newVal) override;
    STDMETHODIMP get_EnablePreview(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_EnablePreview(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_InitialDir(BSTR* pVal) override;
    STDMETHODIMP put_InitialDir(BSTR newVal) override;
    STDMETHODIMP get_OwnerWindow(OLE_HANDLE* pVal) override;
    STDMETHODIMP put_OwnerWindow(OLE_HANDLE newVal) override;
    STDMETHODIMP get_FilterIndex(LONG* pVal) override;
    STDMETHODIMP put_FilterIndex(LONG newVal) override;
    STDMETHODIMP get_FileTitle(BSTR* pVal) override;
    STDMETHODIMP get_FilePath(BSTR* pVal) override;
    STDMETHODIMP get_Hwnd(OLE_HANDLE* pVal) override;
    STDMETHODIMP get_EnablePreviewPane(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_EnablePreviewPane(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_AllowMultiSelect(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_AllowMultiSelect(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_CreatePrompt(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_CreatePrompt(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_DontAddToRecent(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_DontAddToRecent(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_EnableSizing(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_EnableSizing(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_ExtensionDifferent(VARIANT_BOOL* pVal) override;
    STDMETHODIMP get_FileMustExist(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_FileMustExist(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_PathMustExist(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_PathMustExist(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_ForceShowHidden(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_ForceShowHidden(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_HideReadOnlyCheckbox(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_HideReadOnlyCheckbox(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_NoDereferencedLinks(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_NoDereferencedLinks(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_NoNetworkButton(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_NoNetworkButton(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_NoReadOnlyReturn(VARIANT_BOOL* pVal) override;
    STDMETHODIMP get_OverwritePrompt(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_OverwritePrompt(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_ReadOnlyChecked(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_ReadOnlyChecked(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_ShowHelp(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_ShowHelp(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_NoValidate(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_NoValidate(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_FileCount(LONG* pVal) override;
    STDMETHODIMP get_FileNames(LONG Index, BSTR* pVal) override;
    STDMETHODIMP get_Visible(VARIANT_BOOL* pVal) override;
    STDMETHODIMP get_FileTitles(LONG Index, BSTR* pVal) override;
    STDMETHODIMP get_IsLzwEnabled(VARIANT_BOOL* pVal) override;
    STDMETHODIMP put_IsLzwEnabled(VARIANT_BOOL newVal) override;
    STDMETHODIMP get_InitialFileName(BSTR* pVal) override;
    STDMETHODIMP put_InitialFileName(BSTR newVal) override;
    STDMETHODIMP get_DimensionsLabelCaption(BSTR* pVal) override;
    STDMETHODIMP put_DimensionsLabelCaption(BSTR newVal) override;
    STDMETHODIMP get_ColorSpaceLabelCaption(BSTR* pVal) override;
    STDMETHODIMP put_ColorSpaceLabelCaption(BSTR newVal) override;
    STDMETHODIMP get_TransparencyLabelCaption(BSTR* pVal) override;
    STDMETHODIMP put_TransparencyLabelCaption(BSTR newVal) override;
    STDMETHODIMP get_YesLabelCaption(BSTR* pVal) override;
    STDMETHODIMP put_YesLabelCaption(BSTR newVal) override;
    STDMETHODIMP get_NoLabelCaption(BSTR* pVal) override;
    STDMETHODIMP put_NoLabelCaption(BSTR newVal) override;
    STDMETHODIMP get_KilobytesLabelCaption(BSTR* pVal) override;
    STDMETHODIMP put_KilobytesLabelCaption(BSTR newVal) override;
    STDMETHODIMP get_BytesLabelCaption(BSTR* pVal) override;
    STDMETHODIMP put_BytesLabelCaption(BSTR newVal) override;

    // The connected sinks of _IFileDialogEvents; the connection point hands them out.
    SinkList& EventSinks() { return EventSinkList; }
    // The container's site, set by the control framework: default owner and design mode.
    void SetClientSite(IOleClientSite* site) { ClientSite = site; }

    // Fire PreviewClick and PreviewDblClick to every connected sink. The pane calls them on the
    // dialog's thread while the dialog is open.
    HRESULT FirePreviewClick();
    HRESULT FirePreviewDblClick();

private:
    friend class FileDialogTestAccess;      // tests play the system dialog's part on the fields
    friend class PreviewPipelineTestAccess; // and the hook's part on the preview pipeline
    friend class FileDialogHook;            // the system dialog's hook works on the fields

    // The private dispatch object that the engine's connection point is handed. It lives inside
    // the component and is unhooked by FinalRelease, so it holds no reference of its own.
    class EngineEventSink final : public IDispatch {
    public:
        explicit EngineEventSink(CFileDialog& owner) : Owner(owner) {}
        STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
        STDMETHODIMP_(ULONG) AddRef() override { return 2; }
        STDMETHODIMP_(ULONG) Release() override { return 1; }
        STDMETHODIMP GetTypeInfoCount(UINT* count) override;
        STDMETHODIMP GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) override;
        STDMETHODIMP GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID locale,
                                   DISPID* ids) override;
        STDMETHODIMP Invoke(DISPID dispid, REFIID iid, LCID locale, WORD flags,
                            DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                            UINT* argumentError) override;

    private:
        CFileDialog& Owner;
    };

    enum class TextFamily { Caption, Label, Path };
    // Which engine object InitEngineObjects makes first when both are missing.
    enum class EngineOrder { BitmapFirst, MetaReaderFirst };

    HRESULT ReportError(const wchar_t* message, HRESULT code);
    bool DesignMode();

    // The families of the table of members.
    template <std::size_t N> static HRESULT GetText(const wchar_t (&field)[N], BSTR* pVal);
    template <std::size_t N>
    HRESULT PutText(wchar_t (&field)[N], TextFamily family, BSTR value, const wchar_t* nullText);
    template <std::size_t N>
    HRESULT PutCaption(wchar_t (&field)[N], BSTR value, const wchar_t* nullText, unsigned bit);
    static HRESULT GetFlag(LONG field, VARIANT_BOOL* pVal);
    static void PutFlag(LONG& field, VARIANT_BOOL value);

    // Start values of everything MainInit owns; run by the constructor and by FinalConstruct.
    void MainInit();
    void InitOsVersionMember();
    // Composes OpenFileName from the fields (run at the end of MainInit, in FinalConstruct and at
    // each show). Wipes the result bits that the system left in Flags at the last show.
    void InitOpenFileName();
    DWORD ComposeFlags() const;
    const wchar_t* GetTitlePointer() const;
    HWND ResolveOwner();

    // The engine objects, made with CoCreateInstance as far as they are missing. The status of
    // the last creation that ran; S_OK when both existed.
    HRESULT InitEngineObjects(EngineOrder order);
    HRESULT SubscribeToEngineEvents();
    // Fetches the open (mode 0) or save (mode 1) list of the engine into FilterText, or the
    // fallback "All|*.*" without engine; sets FilterValid either way.
    void LoadDefaultFilter(LONG mode);
    void StoreFallbackFilter();
    // Whether the list in FilterText is to be fetched from the engine for a show of `mode`.
    bool FilterFollowsEngine() const { return !FilterFromClient; }

    HRESULT Show(LONG mode, VARIANT_BOOL* pVal);
    struct SystemDialogOutcome {
        LONG Result;         // the system call's result; 0 when it did not run to OK
        DWORD ExtendedError; // CommDlgExtendedError after a result of 0
    };
    SystemDialogOutcome RunSystemDialog();
    // The system's open and save calls. Tests of the component's own rules put a stand-in here
    // that plays the system dialog's part without a window; null means the system's calls.
    using SystemDialogCall = SystemDialogOutcome (*)(CFileDialog& dialog);
    static inline SystemDialogCall SystemDialogStandIn = nullptr;
    int BeforeClose();

    // The selection results of FileNames, FileTitles, FilePath and FileCount.
    HRESULT GetIndexedName(LONG index, bool title, BSTR* pVal);
    bool MultiSelectResults();
    const char16_t* ResultBuffer() const;

    // Operations on the running dialog (src/filedialog/win/dialog_pane.cpp). Each does nothing
    // while the window it needs is 0, which it is outside a show and in a show without pane.
    //
    // The pane's start in a show, at the first notification that needs it: the window handles,
    // the preview's size and bitmap, the check box, empty rows in line, the client's captions.
    void AfterInit(HWND hookWindow);
    // Pushes captions to the running dialog; `mask` 0 stands for all of them.
    void UpdateLabel(unsigned mask);
    // The controls of a property row (0 to 6; beyond that the nearest row), null without pane.
    HWND GetLabelWindow(int row) const;
    HWND GetValueWindow(int row) const;
    // The fourteen row controls of PaneWindow, looked up again only when the pane changes.
    struct RowWindowTable {
        HWND pane = nullptr;
        HWND captions[filedialog::kPropertyRowCount] = {};
        HWND values[filedialog::kPropertyRowCount] = {};
    };
    const RowWindowTable& RowWindowsOfPane() const;
    void ClearAllLabels();
    // Row by row, the caption and the value; a value wider than its control is cut to fit.
    void SetImagePropTexts(const filedialog::PropertyRows& rows);
    // Whether the row caption that `bit` (0x2000 to 0x80000) names is not empty.
    bool NeedThisLabel(std::uint32_t bit) const;
    // Aligns rows 2 to 6 with rows 0 and 1.
    void RepositionLabels();
    LONG GetPreviewCheck() const;
    void SetPreviewCheck(LONG state);
    void ShowProgressBar(bool show);
    void SetProgress(LONG position, LONG range);
    bool ProgressBarStillThere(HWND bar) const;
    // The popup of WM_HELP for the pane's controls; the result of HtmlHelp, 0 without it.
    static LRESULT ShowContextHelp(const HELPINFO* helpInfo);

    // The image property probe (src/filedialog/win/image_probe.cpp), on the dialog's thread.
    filedialog::PropertyCaptions RowCaptions() const;
    void SetPropsFromFilename(const wchar_t* fileName);
    HRESULT GetDataFromFileThroughMetaData(const wchar_t* fileName, filedialog::PropertyRows* rows);

    // Handlers of the engine's events; any thread.
    void OnOperationProgress(LONG position, LONG range);
    void OnErrorOccured();
    void OnOperationBegin();
    void OnOperationEnd();

    // The preview pipeline (src/filedialog/win/preview_pipeline.cpp). The hook calls
    // AbortLoading before each notification that ends the current load and StartReadingFile for
    // a new selection; both run on the dialog's thread. Each load runs Thread_LoadPicture on a
    // worker of its own, which holds a counted reference to the controlling unknown.
    void StartReadingFile();
    void AbortLoading();
    // The empty picture of the pane, crossed or blank, and a repaint of the preview that pumps
    // the calling thread's messages. Nothing without bitmap or pane, or while the pane is busy.
    void DrawEmptyBitmap(bool crossed, bool repaint);
    static unsigned __stdcall Thread_LoadPicture(void* request);
    void StartLoadWorker(const wchar_t* path, LONG generation);
    bool WaitForEngine();
    filedialog::LoadOutcome LoadPicture(const filedialog::LoadPictureRequest& request,
                                        ComPtr<IEngineBitmapData>& data);
    bool TakePreviewBusy(LONG generation);
    bool TakePreviewBusyOrLeaveMark(bool crossed);
    void ClearSkippedEmpty(LONG generation);
    void DrawSkippedEmpty();
    void FinishLoad(filedialog::LoadOutcome outcome, LONG generation);
    // `skippedMark`, when not 0, is the SkippedEmpty mark being drawn: it is drawn only if it is
    // still there once the flag is held.
    void DrawEmptyPane(bool crossed, bool repaint, const LONG* worker,
                       std::uint64_t skippedMark = 0);
    bool RepaintPreview();
    // Whether a progress report of the engine is to reach the bar (reports come faster than
    // the bar can show them, and each costs the decoding thread round trips to the dialog's).
    bool ProgressWorthShowing(LONG position, LONG range);

    // ---- Fields, in their order -----------------------------------------------------------
    LONG DialogMode = kOpenMode;
    std::atomic<std::uint8_t> PreviewCrossed{0};
    filedialog::PreviewBusyFlag PreviewBusy; // try-lock of PreviewBitmap
    // An empty picture that the dialog's thread could not draw while a worker held PreviewBusy:
    // the selection's token in the low 32 bits, with the set and crossed bits above; 0 when none
    // waits. The worker draws it as it lets go (DrawSkippedEmpty); any drawing under the flag for
    // that selection clears it. Any thread.
    std::atomic<std::uint64_t> SkippedEmpty{0};
    HWND SystemDialogWindow = nullptr; // 0 outside a show and in a show without pane
    HWND PaneWindow = nullptr;
    HWND PreviewWindow = nullptr;              // control 1010
    std::atomic<HWND> ProgressWindow{nullptr}; // control 1100; read on the engine's threads
    HWND PreviewCheckWindow = nullptr;         // control 1011
    // GetDlgItem walks the pane's children, and the rows are written at every selection: their
    // handles are kept for the pane they came from. Dialog's thread; reset by BeforeClose.
    mutable RowWindowTable RowWindows;
    UniqueBitmap PreviewBitmap;
    LONG PreviewWidth = 100;
    LONG PreviewHeight = 100;
    RECT PreviewRect = {};
    DWORD OsMajorVersion = 0;
    DWORD OsMinorVersion = 0;
    std::uint8_t IsOldOs = 0;
    COLORREF PaneBackColor = 0;
    std::atomic<HANDLE> LoadSemaphore{nullptr};
    std::atomic<LONG> LoadGeneration{0};
    ComPtr<IEngineBitmap> EngineBitmap;
    ComPtr<IEngineMetaReader> EngineMetaReader;
    wchar_t CancelButtonCaption[kCaptionChars + 1] = {};
    wchar_t DateFormat[kCaptionChars + 1] = {};
    wchar_t DefaultExtension[kCaptionChars + 1] = {};
    wchar_t Title[kCaptionChars + 1] = {};
    char16_t FilterText[filedialog::kFilterListChars] = {};
    std::uint8_t FilterValid = 0;      // FilterText is in force and is not to be fetched again
    std::uint8_t FilterFromClient = 0; // FilterText is the client's own, not the engine's
    wchar_t HelpButtonCaption[kCaptionChars + 1] = {};
    wchar_t LookInLabelCaption[kCaptionChars + 1] = {};
    wchar_t ShowPreviewCheckBoxCaption[kCaptionChars + 1] = {};
    wchar_t ReadOnlyCheckBoxCaption[kCaptionChars + 1] = {};
    wchar_t OpenButtonCaption[kCaptionChars + 1] = {};
    wchar_t SaveButtonCaption[kCaptionChars + 1] = {};
    wchar_t FileNameLabelCaption[kCaptionChars + 1] = {};
    wchar_t FileTypeLabelCaption[kCaptionChars + 1] = {};
    filedialog::FileNameBuffer FileNameBuffer; // its Capacity() is FileNameCapacity
    wchar_t InitialDir[kPathChars + 1] = {};
    wchar_t InitialFileName[kPathChars + 1] = {};
    wchar_t DimensionsLabelCaption[kLabelChars + 1] = {};
    wchar_t DateLabelCaption[kLabelChars + 1] = {};
    wchar_t SizeLabelCaption[kLabelChars + 1] = {};
    wchar_t TypeLabelCaption[kLabelChars + 1] = {};
    wchar_t ColorSpaceLabelCaption[kLabelChars + 1] = {};
    wchar_t ColorDepthLabelCaption[kLabelChars + 1] = {};
    wchar_t TransparencyLabelCaption[kLabelChars + 1] = {};
    wchar_t YesLabelCaption[kLabelChars + 1] = {};
    wchar_t NoLabelCaption[kLabelChars + 1] = {};
    wchar_t KilobytesLabelCaption[kLabelChars + 1] = {};
    wchar_t BytesLabelCaption[kLabelChars + 1] = {};
    LONG EnablePreview = -1;
    LONG EnablePreviewPane = -1;
    HWND OwnerWindow = nullptr;
    LONG OwnerWindowSet = 0;
    LONG FilterIndex = 1;
    // A put of FilterIndex since the last composition: the get answers it instead of the index
    // that the system left in OpenFileName.
    std::uint8_t FilterIndexPut = 0;
    OPENFILENAMEW OpenFileName = {};
    LONG TitleSet = 0;
    std::atomic<LONG> DialogOpen{0}; // -1 from the start of a show to its end
    LONG LastResult = 0;
    LONG PaneInitDone = 0;
    LONG AllowMultiSelect = 0;
    LONG CreatePrompt = 0;
    LONG DontAddToRecent = 0;
    LONG EnableSizing = 0;
    LONG FileMustExist = 0;
    LONG PathMustExist = 0;
    LONG ForceShowHidden = 0;
    LONG HideReadOnlyCheckbox = 0;
    LONG NoDereferencedLinks = 0;
    LONG NoNetworkButton = 0;
    LONG OverwritePrompt = 0;
    LONG ReadOnlyChecked = 0;
    LONG ShowHelp = 0;
    LONG NoValidate = 0;
    SIZEL NaturalSize = {};

    // Outside the table: the framework's links and the engine subscription.
    ComPtr<IOleClientSite> ClientSite;
    SinkList EventSinkList;
    EngineEventSink EngineEvents{*this};
    DWORD EngineEventCookie = 0;
    // Keeps the engine's handlers, which exchange and close LoadSemaphore, apart from a worker
    // that takes a duplicate of it to wait on. Held for no wait.
    std::mutex LoadSemaphoreLock;
    // The last progress report passed on to the bar: when, and with what range.
    std::atomic<DWORD> ProgressPassedAt{0};
    std::atomic<LONG> ProgressRangePassed{-1};
};

} // namespace orrelux
