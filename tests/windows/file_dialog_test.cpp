// CFileDialog through its vtable: the defaults, limits and NULL rules of every property family,
// the filter and its engine list, the filter index, the result members in every situation of a
// show, the composed request, the show's refusal and outcome, the engine's objects and events,
// captions on a running dialog, PreviewClick and PreviewDblClick, and the same surface through
// IDispatch with EXCEPINFO. The imaging engine is played by class objects registered in this
// process (present, or refusing creation); the system dialog's part by FileDialogTestAccess.
#include <gtest/gtest.h>

#include <windows.h>
#include <commctrl.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "dialog_driver.h"
#include "file_dialog_support.h"

namespace orrelux {
namespace {

using testing::ClearErrorInfo;
using testing::CreateLinkedObject;
using testing::RecordingSink;
using testing::TakeBstr;
using testing::TakeErrorInfo;
using Access = FileDialogTestAccess;

constexpr HRESULT kTooLong = HRESULT(0xFFFFFA12);
constexpr HRESULT kAlreadyOpened = HRESULT(0xFFFFFA10);
constexpr HRESULT kOutOfRange = HRESULT(0xFFFFFFE6);
constexpr wchar_t kSource[] = L"OrreluxDialogs.FileDialog.2.0";
constexpr wchar_t kCaptionTooLong[] =
    L"Specified string is too long. The maximum length for this string is 2028";
constexpr wchar_t kLabelTooLong[] =
    L"Specified string is too long. The maximum length for this string is 100";

using TextGet = decltype(&IFileDialog::get_Title);
using TextPut = decltype(&IFileDialog::put_Title);
using FlagGet = decltype(&IFileDialog::get_AllowMultiSelect);
using FlagPut = decltype(&IFileDialog::put_AllowMultiSelect);

// A window of the test, destroyed at the end of the scope.
struct TestWindow {
    TestWindow(const wchar_t* windowClass, DWORD style, HWND parent = nullptr, int id = 0,
               const wchar_t* text = L"")
        : handle(::CreateWindowExW(0, windowClass, text, style, 0, 0, 200, 20, parent,
                                   reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), nullptr,
                                   nullptr)) {}
    ~TestWindow() {
        if (handle)
            ::DestroyWindow(handle);
    }
    TestWindow(const TestWindow&) = delete;
    TestWindow& operator=(const TestWindow&) = delete;
    HWND handle;
};

std::wstring WindowText(HWND window) {
    wchar_t text[256] = {};
    ::GetWindowTextW(window, text, 256);
    return text;
}

class FileDialogTest : public ::testing::Test {
protected:
    explicit FileDialogTest(bool enginePresent = true) : engine(enginePresent) {}

    void SetUp() override {
        ClearErrorInfo();
        ASSERT_TRUE(object);
    }

    std::wstring Text(TextGet get) {
        BSTR value = nullptr;
        EXPECT_EQ(S_OK, (object.Get()->*get)(&value));
        return TakeBstr(value);
    }
    HRESULT Put(TextPut put, const std::wstring& text) {
        UniqueBstr value(::SysAllocStringLen(text.data(), static_cast<UINT>(text.size())));
        return (object.Get()->*put)(value.Get());
    }
    VARIANT_BOOL Flag(FlagGet get) {
        VARIANT_BOOL value = 7;
        EXPECT_EQ(S_OK, (object.Get()->*get)(&value));
        return value;
    }
    LONG FilterIndex() {
        LONG value = -7;
        EXPECT_EQ(S_OK, object->get_FilterIndex(&value));
        return value;
    }
    // FileNames or FileTitles with the status they answered.
    std::pair<HRESULT, std::wstring> Indexed(bool titles, LONG index) {
        BSTR value = nullptr;
        const HRESULT status =
            titles ? object->get_FileTitles(index, &value) : object->get_FileNames(index, &value);
        return {status, TakeBstr(value)};
    }
    VARIANT_BOOL ShowOpen() {
        VARIANT_BOOL accepted = 5;
        EXPECT_EQ(S_OK, object->ShowOpen(&accepted));
        return accepted;
    }
    VARIANT_BOOL ShowSave() {
        VARIANT_BOOL accepted = 5;
        EXPECT_EQ(S_OK, object->ShowSave(&accepted));
        return accepted;
    }
    void UseSite() {
        ComPtr<IOleObject> ole;
        ASSERT_EQ(S_OK, object.As(ole));
        ASSERT_EQ(S_OK, ole->SetClientSite(&site));
    }
    DWORD Connect(RecordingSink& sink) {
        ComPtr<IConnectionPointContainer> container;
        ComPtr<IConnectionPoint> point;
        EXPECT_EQ(S_OK, object.As(container));
        EXPECT_EQ(S_OK, container->FindConnectionPoint(DIID__IFileDialogEvents, point.Put()));
        sink.eventIid = DIID__IFileDialogEvents;
        DWORD cookie = 0;
        EXPECT_EQ(S_OK, point->Advise(&sink, &cookie));
        return cookie;
    }
    void Disconnect(DWORD cookie) {
        ComPtr<IConnectionPointContainer> container;
        ComPtr<IConnectionPoint> point;
        object.As(container);
        container->FindConnectionPoint(DIID__IFileDialogEvents, point.Put());
        EXPECT_EQ(S_OK, point->Unadvise(cookie));
    }
    void ExpectReport(const wchar_t* description) {
        const auto report = TakeErrorInfo();
        ASSERT_TRUE(report.present);
        EXPECT_EQ(description, report.description);
        EXPECT_EQ(kSource, report.source);
        EXPECT_TRUE(IsEqualGUID(IID_IFileDialog, report.guid));
        EXPECT_EQ(L"", report.helpFile);
        EXPECT_EQ(0u, report.helpContext);
    }
    CFileDialog& Component() { return Access::Of(object.Get()); }

    // Declared before the object, which goes first.
    FakeEngine engine;
    FakeSite site;
    Access::DialogThatCannotStart noSystemDialog;
    ComPtr<IFileDialog> object = CreateLinkedObject<IFileDialog>(CLSID_FileDialog);
};

class FileDialogWithoutEngineTest : public FileDialogTest {
protected:
    FileDialogWithoutEngineTest() : FileDialogTest(false) {}
};

// ---- Text families -----------------------------------------------------------------------------

struct TextCase {
    const char* name;
    TextGet get;
    TextPut put;
    const wchar_t* initial;
    const wchar_t* nullGives;
    std::size_t limit; // 2028 caption, 100 label, 260 path
};

const TextCase kTexts[] = {
    {"CancelButtonCaption", &IFileDialog::get_CancelButtonCaption,
     &IFileDialog::put_CancelButtonCaption, L"Cancel", L"Cancel", 2028},
    {"DateFormat", &IFileDialog::get_DateFormat, &IFileDialog::put_DateFormat, L"MM'/'dd'/'yyyy",
     L"MM'/'dd'/'yyyy", 2028},
    {"DefaultExtension", &IFileDialog::get_DefaultExtension, &IFileDialog::put_DefaultExtension,
     L"*", L"*", 2028},
    {"Title", &IFileDialog::get_Title, &IFileDialog::put_Title, L"Open file", L"", 2028},
    {"HelpButtonCaption", &IFileDialog::get_HelpButtonCaption, &IFileDialog::put_HelpButtonCaption,
     L"&Help", L"&Help", 2028},
    {"LookInLabelCaption", &IFileDialog::get_LookInLabelCaption,
     &IFileDialog::put_LookInLabelCaption, L"Look &in:", L"Look &in:", 2028},
    {"ColorDepthLabelCaption", &IFileDialog::get_ColorDepthLabelCaption,
     &IFileDialog::put_ColorDepthLabelCaption, L"Color depth:", L"", 100},
    {"ShowPreviewCheckBoxCaption", &IFileDialog::get_ShowPreviewCheckBoxCaption,
     &IFileDialog::put_ShowPreviewCheckBoxCaption, L"Sho&w preview", L"Sho&w preview", 2028},
    {"DateLabelCaption", &IFileDialog::get_DateLabelCaption, &IFileDialog::put_DateLabelCaption,
     L"Date:", L"", 100},
    {"SizeLabelCaption", &IFileDialog::get_SizeLabelCaption, &IFileDialog::put_SizeLabelCaption,
     L"Size:", L"", 100},
    {"TypeLabelCaption", &IFileDialog::get_TypeLabelCaption, &IFileDialog::put_TypeLabelCaption,
     L"Type:", L"", 100},
    {"ReadOnlyCheckBoxCaption", &IFileDialog::get_ReadOnlyCheckBoxCaption,
     &IFileDialog::put_ReadOnlyCheckBoxCaption, L"Open as &read-only", L"Open as &read-only", 2028},
    {"OpenButtonCaption", &IFileDialog::get_OpenButtonCaption, &IFileDialog::put_OpenButtonCaption,
     L"&Open", L"&Open", 2028},
    {"SaveButtonCaption", &IFileDialog::get_SaveButtonCaption, &IFileDialog::put_SaveButtonCaption,
     L"&Save", L"&Save", 2028},
    {"FileNameLabelCaption", &IFileDialog::get_FileNameLabelCaption,
     &IFileDialog::put_FileNameLabelCaption, L"File &name:", L"File &name:", 2028},
    {"FileTypeLabelCaption", &IFileDialog::get_FileTypeLabelCaption,
     &IFileDialog::put_FileTypeLabelCaption, L"Files of &type:", L"Files of &type:", 2028},
    {"InitialDir", &IFileDialog::get_InitialDir, &IFileDialog::put_InitialDir, L"", L"", 260},
    {"InitialFileName", &IFileDialog::get_InitialFileName, &IFileDialog::put_InitialFileName, L"",
     L"", 260},
    {"DimensionsLabelCaption", &IFileDialog::get_DimensionsLabelCaption,
     &IFileDialog::put_DimensionsLabelCaption, L"Dimensions:", L"", 100},
    {"ColorSpaceLabelCaption", &IFileDialog::get_ColorSpaceLabelCaption,
     &IFileDialog::put_ColorSpaceLabelCaption, L"Color space:", L"", 100},
    {"TransparencyLabelCaption", &IFileDialog::get_TransparencyLabelCaption,
     &IFileDialog::put_TransparencyLabelCaption, L"Transparency:", L"", 100},
    {"YesLabelCaption", &IFileDialog::get_YesLabelCaption, &IFileDialog::put_YesLabelCaption,
     L"Yes", L"Yes", 100},
    {"NoLabelCaption", &IFileDialog::get_NoLabelCaption, &IFileDialog::put_NoLabelCaption, L"No",
     L"No", 100},
    {"KilobytesLabelCaption", &IFileDialog::get_KilobytesLabelCaption,
     &IFileDialog::put_KilobytesLabelCaption, L"kb", L"kb", 100},
    {"BytesLabelCaption", &IFileDialog::get_BytesLabelCaption, &IFileDialog::put_BytesLabelCaption,
     L"b", L"b", 100},
};

TEST_F(FileDialogTest, TextFamiliesKeepTheirLimitsAndNullRules) {
    for (const TextCase& c : kTexts) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.initial, Text(c.get));

        const std::wstring exact(c.limit, L'x');
        EXPECT_EQ(S_OK, Put(c.put, exact));
        EXPECT_EQ(exact, Text(c.get)) << "a text of exactly the limit is stored whole";

        ClearErrorInfo();
        const HRESULT refused = Put(c.put, std::wstring(c.limit + 1, L'y'));
        if (c.limit == 260) {
            EXPECT_EQ(E_INVALIDARG, refused);
            EXPECT_FALSE(TakeErrorInfo().present) << "a path refusal carries no text";
        } else {
            EXPECT_EQ(kTooLong, refused);
            ExpectReport(c.limit == 100 ? kLabelTooLong : kCaptionTooLong);
        }
        EXPECT_EQ(exact, Text(c.get)) << "a refused put keeps the old text";

        EXPECT_EQ(S_OK, (object.Get()->*c.put)(nullptr));
        EXPECT_EQ(c.nullGives, Text(c.get));
        EXPECT_EQ(S_OK, Put(c.put, L""));
        EXPECT_EQ(L"", Text(c.get)) << "an empty string is stored as it is";
    }
}

TEST_F(FileDialogTest, TitlePutCountsAsSetNullIncluded) {
    ShowOpen();
    EXPECT_EQ(nullptr, Access::Request(object.Get()).lpstrTitle) << "the system's own title";
    EXPECT_EQ(kTooLong, Put(&IFileDialog::put_Title, std::wstring(2029, L't')));
    ShowOpen();
    EXPECT_EQ(nullptr, Access::Request(object.Get()).lpstrTitle) << "a refused put sets nothing";
    EXPECT_EQ(S_OK, object->put_Title(nullptr));
    ShowSave();
    const wchar_t* title = Access::Request(object.Get()).lpstrTitle;
    ASSERT_NE(nullptr, title);
    EXPECT_EQ(std::wstring(L""), title) << "an empty title is passed once put";
}

TEST_F(FileDialogTest, EveryGetRefusesANullOutPointerWithoutText) {
    IFileDialog* d = object.Get();
    const HRESULT results[] = {
        d->ShowOpen(nullptr),
        d->ShowSave(nullptr),
        d->get_Filter(nullptr),
        d->get_FileName(nullptr),
        d->get_EnablePreview(nullptr),
        d->get_OwnerWindow(nullptr),
        d->get_FilterIndex(nullptr),
        d->get_FileTitle(nullptr),
        d->get_FilePath(nullptr),
        d->get_Hwnd(nullptr),
        d->get_EnablePreviewPane(nullptr),
        d->get_ExtensionDifferent(nullptr),
        d->get_NoReadOnlyReturn(nullptr),
        d->get_FileCount(nullptr),
        d->get_FileNames(0, nullptr),
        d->get_Visible(nullptr),
        d->get_FileTitles(0, nullptr),
        d->get_IsLzwEnabled(nullptr),
        d->get_CreatePrompt(nullptr),
        d->get_Title(nullptr),
        d->get_YesLabelCaption(nullptr),
        d->get_InitialDir(nullptr),
    };
    for (std::size_t i = 0; i < std::size(results); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(E_POINTER, results[i]);
    }
    EXPECT_FALSE(TakeErrorInfo().present);
    VARIANT_BOOL visible = 1;
    EXPECT_EQ(S_OK, d->get_Visible(&visible));
    EXPECT_EQ(VARIANT_FALSE, visible) << "a refused show never started";
}

// ---- Flags and the composed request -------------------------------------------------------------

TEST_F(FileDialogTest, FlagsAreSignExtendedAndReachTheRequestAtTheNextShow) {
    const struct {
        const char* name;
        FlagGet get;
        FlagPut put;
        VARIANT_BOOL initial;
        DWORD bit;
    } flags[] = {
        {"AllowMultiSelect", &IFileDialog::get_AllowMultiSelect, &IFileDialog::put_AllowMultiSelect,
         VARIANT_FALSE, OFN_ALLOWMULTISELECT},
        {"CreatePrompt", &IFileDialog::get_CreatePrompt, &IFileDialog::put_CreatePrompt,
         VARIANT_TRUE, OFN_CREATEPROMPT},
        {"DontAddToRecent", &IFileDialog::get_DontAddToRecent, &IFileDialog::put_DontAddToRecent,
         VARIANT_FALSE, OFN_DONTADDTORECENT},
        {"EnableSizing", &IFileDialog::get_EnableSizing, &IFileDialog::put_EnableSizing,
         VARIANT_TRUE, OFN_ENABLESIZING},
        {"FileMustExist", &IFileDialog::get_FileMustExist, &IFileDialog::put_FileMustExist,
         VARIANT_TRUE, OFN_FILEMUSTEXIST},
        {"PathMustExist", &IFileDialog::get_PathMustExist, &IFileDialog::put_PathMustExist,
         VARIANT_TRUE, OFN_PATHMUSTEXIST},
        {"ForceShowHidden", &IFileDialog::get_ForceShowHidden, &IFileDialog::put_ForceShowHidden,
         VARIANT_FALSE, OFN_FORCESHOWHIDDEN},
        {"HideReadOnlyCheckbox", &IFileDialog::get_HideReadOnlyCheckbox,
         &IFileDialog::put_HideReadOnlyCheckbox, VARIANT_TRUE, OFN_HIDEREADONLY},
        {"NoDereferencedLinks", &IFileDialog::get_NoDereferencedLinks,
         &IFileDialog::put_NoDereferencedLinks, VARIANT_FALSE, OFN_NODEREFERENCELINKS},
        {"NoNetworkButton", &IFileDialog::get_NoNetworkButton, &IFileDialog::put_NoNetworkButton,
         VARIANT_FALSE, OFN_NONETWORKBUTTON},
        {"OverwritePrompt", &IFileDialog::get_OverwritePrompt, &IFileDialog::put_OverwritePrompt,
         VARIANT_TRUE, OFN_OVERWRITEPROMPT},
        {"ReadOnlyChecked", &IFileDialog::get_ReadOnlyChecked, &IFileDialog::put_ReadOnlyChecked,
         VARIANT_FALSE, OFN_READONLY},
        {"ShowHelp", &IFileDialog::get_ShowHelp, &IFileDialog::put_ShowHelp, VARIANT_FALSE,
         OFN_SHOWHELP},
        {"NoValidate", &IFileDialog::get_NoValidate, &IFileDialog::put_NoValidate, VARIANT_FALSE,
         OFN_NOVALIDATE},
    };
    for (const auto& f : flags) {
        SCOPED_TRACE(f.name);
        EXPECT_EQ(f.initial, Flag(f.get));
        const DWORD before = Access::Request(object.Get()).Flags;
        for (VARIANT_BOOL value : {VARIANT_BOOL(1), VARIANT_BOOL(0x7FFF), VARIANT_TRUE}) {
            EXPECT_EQ(S_OK, (object.Get()->*f.put)(value));
            EXPECT_EQ(value, Flag(f.get)) << "the get gives the low 16 bits of the field";
        }
        EXPECT_EQ(before, Access::Request(object.Get()).Flags) << "no effect before a show";
        ShowOpen();
        EXPECT_EQ(f.bit, Access::Request(object.Get()).Flags & f.bit);
        EXPECT_EQ(S_OK, (object.Get()->*f.put)(VARIANT_FALSE));
        EXPECT_EQ(VARIANT_FALSE, Flag(f.get));
        ShowOpen();
        EXPECT_EQ(0u, Access::Request(object.Get()).Flags & f.bit);
        EXPECT_EQ(S_OK, (object.Get()->*f.put)(f.initial));
    }
}

TEST_F(FileDialogTest, TheComposedRequestWithTheDefaults) {
    ShowOpen();
    const OPENFILENAMEW& request = Access::Request(object.Get());
    EXPECT_EQ(sizeof(OPENFILENAMEW), request.lStructSize);
    EXPECT_EQ(0x00C83866u, request.Flags);
    EXPECT_EQ(0u, request.FlagsEx);
    EXPECT_EQ(MAKEINTRESOURCEW(130), request.lpTemplateName);
    EXPECT_NE(nullptr, request.hInstance);
    EXPECT_EQ(reinterpret_cast<LPARAM>(&Component()), request.lCustData);
    EXPECT_EQ(nullptr, request.hwndOwner) << "never put and no site: no owner";
    EXPECT_EQ(nullptr, request.lpstrInitialDir);
    EXPECT_EQ(std::wstring(L"*"), request.lpstrDefExt);
    EXPECT_EQ(16384u, request.nMaxFile);
    EXPECT_EQ(reinterpret_cast<const wchar_t*>(Access::Buffer(object.Get())), request.lpstrFile);
    EXPECT_EQ(nullptr, request.lpstrFileTitle);
    EXPECT_EQ(nullptr, request.lpstrCustomFilter);
    EXPECT_EQ(1u, request.nFilterIndex);
    ASSERT_NE(nullptr, request.lpstrFilter);
    EXPECT_EQ(std::wstring(L"Images"), request.lpstrFilter);

    EXPECT_EQ(S_OK, Put(&IFileDialog::put_InitialDir, L"C:\\pictures"));
    EXPECT_EQ(S_OK, Put(&IFileDialog::put_InitialFileName, L"C:\\pictures\\a.png"));
    EXPECT_EQ(S_OK, Put(&IFileDialog::put_DefaultExtension, L""));
    ShowOpen();
    EXPECT_EQ(std::wstring(L"C:\\pictures"), request.lpstrInitialDir);
    EXPECT_EQ(std::wstring(L"C:\\pictures\\a.png"), request.lpstrFile)
        << "the buffer receives the initial name";
    EXPECT_EQ(nullptr, request.lpstrDefExt);
}

TEST_F(FileDialogTest, ResultBitsReadTheFlagsAsTheSystemLeftThem) {
    Access::LeaveFlags(object.Get(), 0x00C83866 | OFN_EXTENSIONDIFFERENT | OFN_NOREADONLYRETURN);
    EXPECT_EQ(VARIANT_BOOL(0x0400), Flag(&IFileDialog::get_ExtensionDifferent))
        << "true, but not -1";
    EXPECT_EQ(VARIANT_BOOL(0x8000), Flag(&IFileDialog::get_NoReadOnlyReturn));
    ShowOpen();
    EXPECT_EQ(VARIANT_FALSE, Flag(&IFileDialog::get_ExtensionDifferent)) << "composition clears";
    EXPECT_EQ(VARIANT_FALSE, Flag(&IFileDialog::get_NoReadOnlyReturn));
}

TEST_F(FileDialogTest, OwnerWindowComesFromThePutOrTheContainer) {
    TestWindow container(L"STATIC", WS_POPUP), owner(L"STATIC", WS_POPUP);
    site.window = container.handle;
    UseSite();
    ShowOpen();
    EXPECT_EQ(container.handle, Access::Request(object.Get()).hwndOwner);

    const auto handle = static_cast<OLE_HANDLE>(reinterpret_cast<UINT_PTR>(owner.handle));
    EXPECT_EQ(S_OK, object->put_OwnerWindow(handle));
    ShowOpen();
    EXPECT_EQ(owner.handle, Access::Request(object.Get()).hwndOwner);

    EXPECT_EQ(S_OK, object->put_OwnerWindow(0));
    ShowOpen();
    EXPECT_EQ(nullptr, Access::Request(object.Get()).hwndOwner) << "0 means no owner at all";

    EXPECT_EQ(E_INVALIDARG, object->put_OwnerWindow(0x7FFF0010));
    ExpectReport(L"Specified handle does not identify an existing window");
    OLE_HANDLE back = 1;
    EXPECT_EQ(S_OK, object->get_OwnerWindow(&back));
    EXPECT_EQ(0u, back) << "a refused put keeps the old value";
}

// ---- Show
// ----------------------------------------------------------------------------------------

TEST_F(FileDialogTest, AShowEndsAsADialogThatCouldNotStart) {
    EXPECT_EQ(S_OK, Put(&IFileDialog::put_InitialFileName, L"C:\\pictures\\start.png"));
    EXPECT_EQ(VARIANT_FALSE, ShowSave());
    EXPECT_EQ(CFileDialog::kSaveMode, Access::DialogMode(object.Get())) << "the mode stays";
    EXPECT_EQ(VARIANT_FALSE, Flag(&IFileDialog::get_Visible));
    OLE_HANDLE hwnd = 1;
    EXPECT_EQ(S_OK, object->get_Hwnd(&hwnd));
    EXPECT_EQ(0u, hwnd);
    BSTR path = nullptr;
    EXPECT_EQ(S_FALSE, object->get_FilePath(&path));
    EXPECT_EQ(L"", TakeBstr(path));
    // The buffer holds the initial name, as after cancel.
    EXPECT_EQ((std::pair<HRESULT, std::wstring>{S_OK, L"C:\\pictures\\start.png"}),
              Indexed(false, 0));
    EXPECT_EQ(VARIANT_FALSE, ShowOpen());
    EXPECT_EQ(CFileDialog::kOpenMode, Access::DialogMode(object.Get()));
}

TEST_F(FileDialogTest, AShowWhileOneIsOpenIsRefused) {
    Access::SetDialogOpen(object.Get(), -1);
    EXPECT_EQ(VARIANT_TRUE, Flag(&IFileDialog::get_Visible));
    for (bool save : {false, true}) {
        SCOPED_TRACE(save);
        VARIANT_BOOL accepted = 5;
        EXPECT_EQ(kAlreadyOpened, save ? object->ShowSave(&accepted) : object->ShowOpen(&accepted));
        EXPECT_EQ(5, accepted) << "pVal is not written";
        ExpectReport(L"Cannot open the dialog because it is already opened");
    }
    EXPECT_EQ(CFileDialog::kOpenMode, Access::DialogMode(object.Get())) << "nothing composed";
    Access::SetDialogOpen(object.Get(), 0);
    EXPECT_EQ(VARIANT_FALSE, ShowOpen());
}

// A handler of PreviewClick runs inside the open dialog's loop: its ShowOpen is refused.
TEST_F(FileDialogTest, ShowOpenFromAPreviewClickHandlerIsRefused) {
    struct Context {
        IFileDialog* dialog;
        HRESULT status;
        VARIANT_BOOL accepted;
    } context{object.Get(), S_OK, 5};
    RecordingSink sink;
    sink.context = &context;
    sink.during = [](RecordingSink&, void* raw) {
        auto* c = static_cast<Context*>(raw);
        c->status = c->dialog->ShowOpen(&c->accepted);
    };
    const DWORD cookie = Connect(sink);
    Access::SetDialogOpen(object.Get(), -1);
    Component().FirePreviewClick();
    EXPECT_EQ(kAlreadyOpened, context.status);
    EXPECT_EQ(5, context.accepted);
    ExpectReport(L"Cannot open the dialog because it is already opened");
    Access::SetDialogOpen(object.Get(), 0);
    Disconnect(cookie);
}

TEST_F(FileDialogTest, PreviewEventsReachEverySinkWithoutArguments) {
    RecordingSink first, second;
    second.answer = E_FAIL; // a failing sink does not stop the others
    const DWORD c1 = Connect(first), c2 = Connect(second);
    Component().FirePreviewClick();
    Component().FirePreviewDblClick();
    for (RecordingSink* sink : {&first, &second}) {
        ASSERT_EQ(2u, sink->calls.size());
        EXPECT_EQ(1, sink->calls[0].dispid);
        EXPECT_EQ(2, sink->calls[1].dispid);
        for (const auto& call : sink->calls) {
            EXPECT_EQ(DISPATCH_METHOD, call.flags);
            EXPECT_EQ(LCID(0x400), call.locale);
            EXPECT_EQ(0u, call.argumentCount);
            EXPECT_TRUE(call.iidIsNull);
        }
    }
    Disconnect(c1);
    Disconnect(c2);
    EXPECT_EQ(1u, first.references);
}

// ---- Filter ------------------------------------------------------------------------------------

TEST_F(FileDialogTest, FilterPutsAndReadsBack) {
    const std::wstring engineOpen = engine.state.openFilter;
    const struct {
        const char* name;
        const wchar_t* put; // null: a NULL string
        HRESULT status;
        const wchar_t* back;
    } cases[] = {
        {"two pairs", L"Pictures|*.png|All|*.*", S_OK, L"Pictures|*.png|All|*.*"},
        {"a closing bar is dropped", L"Text|*.txt|", S_OK, L"Text|*.txt"},
        {"two bars end the list", L"A|*.a||B|*.b", S_OK, L"A|*.a"},
        {"NULL fetches the engine's list again", nullptr, S_OK, engineOpen.c_str()},
        {"a single name", L"Only", S_OK, L"Only"},
        {"empty fetches again too", L"", S_OK, engineOpen.c_str()},
    };
    EXPECT_EQ(engineOpen, Text(&IFileDialog::get_Filter)) << "the engine's list after creation";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        UniqueBstr text(c.put ? ::SysAllocString(c.put) : nullptr);
        EXPECT_EQ(c.status, object->put_Filter(text.Get()));
        EXPECT_EQ(c.back, Text(&IFileDialog::get_Filter));
    }
    const std::wstring exact = L"A|" + std::wstring(2026, L'x');
    EXPECT_EQ(S_OK, Put(&IFileDialog::put_Filter, exact));
    EXPECT_EQ(exact, Text(&IFileDialog::get_Filter));
    EXPECT_EQ(kTooLong, Put(&IFileDialog::put_Filter, exact + L"y"));
    ExpectReport(kCaptionTooLong);
    EXPECT_EQ(exact, Text(&IFileDialog::get_Filter));
}

// The engine's list follows the mode of each show; a client's filter stays for both.
TEST_F(FileDialogTest, FilterFollowsTheModeOfEachShowUnlessTheClientPutOne) {
    ShowSave();
    EXPECT_EQ(engine.state.saveFilter, Text(&IFileDialog::get_Filter));
    EXPECT_EQ(std::wstring(L"PNG image"), Access::Request(object.Get()).lpstrFilter);
    ShowOpen();
    EXPECT_EQ(engine.state.openFilter, Text(&IFileDialog::get_Filter));

    EXPECT_EQ(S_OK, Put(&IFileDialog::put_Filter, L"Mine|*.mine"));
    ShowSave();
    EXPECT_EQ(L"Mine|*.mine", Text(&IFileDialog::get_Filter));
    EXPECT_EQ(S_OK, object->put_Filter(nullptr));
    EXPECT_EQ(engine.state.saveFilter, Text(&IFileDialog::get_Filter))
        << "a get after clearing fetches the list of the last show's mode";
}

TEST_F(FileDialogTest, FilterFallsBackWhenTheEngineCannotGiveItsList) {
    const struct {
        const char* name;
        HRESULT FakeEngineState::*status;
    } cases[] = {
        {"no format list", &FakeEngineState::formatListResult},
        {"no open filter", &FakeEngineState::openFilterResult},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        engine.state.*c.status = E_FAIL;
        EXPECT_EQ(S_OK, object->put_Filter(nullptr));
        EXPECT_EQ(L"All|*.*", Text(&IFileDialog::get_Filter));
        engine.state.*c.status = S_OK;
    }
}

// ---- FilterIndex -------------------------------------------------------------------------------

TEST_F(FileDialogTest, FilterIndexInRunMode) {
    EXPECT_EQ(1, FilterIndex());
    EXPECT_EQ(S_OK, object->put_FilterIndex(3));
    EXPECT_EQ(3, FilterIndex()) << "a put reads back until the next show";
    EXPECT_EQ(3, FilterIndex());
    ShowOpen();
    EXPECT_EQ(3u, Access::Request(object.Get()).nFilterIndex);
    Access::LeaveFilterIndex(object.Get(), 2); // the user's choice
    EXPECT_EQ(2, FilterIndex());
    EXPECT_EQ(S_OK, object->put_FilterIndex(1000)) << "the upper end is the system's";

    for (LONG refused : {0L, -5L}) {
        SCOPED_TRACE(refused);
        EXPECT_EQ(kOutOfRange, object->put_FilterIndex(refused));
        ExpectReport(L"Filter index is out of range");
        EXPECT_EQ(1000, FilterIndex());
    }

    // An empty list passes no filter and the index 0, which the get then takes over.
    EXPECT_EQ(S_OK, Put(&IFileDialog::put_Filter, L"|"));
    ShowOpen();
    EXPECT_EQ(nullptr, Access::Request(object.Get()).lpstrFilter);
    EXPECT_EQ(0, FilterIndex());
}

TEST_F(FileDialogTest, FilterIndexInDesignMode) {
    site.userMode = false;
    UseSite();
    Access::LeaveFilterIndex(object.Get(), 4);
    EXPECT_EQ(1, FilterIndex()) << "the field as it stands";
    EXPECT_EQ(S_OK, object->put_FilterIndex(0));
    EXPECT_EQ(1, FilterIndex());
    EXPECT_EQ(S_OK, object->put_FilterIndex(-3));
    EXPECT_EQ(1, FilterIndex());
    EXPECT_FALSE(TakeErrorInfo().present);
}

// ---- Results -----------------------------------------------------------------------------------

constexpr char16_t kSingle[] = u"C:\\pictures\\a.jpg";
const std::u16string kList = std::u16string(u"C:\\pictures\0a.jpg\0b.jpg", 23);

struct ResultCase {
    const char* situation;
    bool multi;
    LONG lastResult;
    bool useList;
    const char16_t* single; // content when not a list; null keeps the buffer empty
    LONG index;
    HRESULT status;
    const wchar_t* name;  // FileNames(index)
    const wchar_t* title; // FileTitles(index)
};

TEST_F(FileDialogTest, WhatFileNamesAndFileTitlesGive) {
    const wchar_t* kRange0 = L"File name index 0 is out of range [0--1]";
    const ResultCase cases[] = {
        {"before the first show", false, 0, false, nullptr, 0, S_OK, L"", L""},
        {"before the first show, multi", true, 0, false, nullptr, 0, kOutOfRange, kRange0,
         L"File title index 0 is out of range [0--1]"},
        {"during a show", false, 0, false, kSingle, 0, S_OK, L"C:\\pictures\\a.jpg", L"a.jpg"},
        {"during a show, multi: a list of one", true, 0, false, kSingle, 0, S_OK,
         L"C:\\pictures\\a.jpg", L"a.jpg"},
        {"during a show, index 1", false, 0, false, kSingle, 1, S_OK, L"", L""},
        {"after OK", false, 1, false, kSingle, 0, S_OK, L"C:\\pictures\\a.jpg", L"a.jpg"},
        {"after OK, any index gives the one path", false, 1, false, kSingle, 5, S_OK,
         L"C:\\pictures\\a.jpg", L"a.jpg"},
        {"after OK, multi, first", true, 1, true, nullptr, 0, S_OK, L"C:\\pictures\\a.jpg",
         L"a.jpg"},
        {"after OK, multi, second", true, 1, true, nullptr, 1, S_OK, L"C:\\pictures\\b.jpg",
         L"b.jpg"},
        {"after OK, multi, beyond", true, 1, true, nullptr, 2, kOutOfRange,
         L"File name index 2 is out of range [0-1]", L"File title index 2 is out of range [0-1]"},
        {"after OK, multi, negative: the folder line", true, 1, true, nullptr, -1, S_OK,
         L"C:\\pictures", L"pictures"},
        {"after OK, multi, negative on a single path", true, 1, false, kSingle, -1, S_OK, L"", L""},
        {"after cancel, multi, empty buffer", true, 0, false, nullptr, 0, kOutOfRange, kRange0,
         L"File title index 0 is out of range [0--1]"},
        {"after cancel, index 1 is empty", true, 0, false, kSingle, 1, S_OK, L"", L""},
    };
    for (const ResultCase& c : cases) {
        SCOPED_TRACE(c.situation);
        EXPECT_EQ(S_OK, object->put_AllowMultiSelect(c.multi ? VARIANT_TRUE : VARIANT_FALSE));
        Access::LeaveResult(object.Get(), c.lastResult,
                            c.useList ? kList : std::u16string(c.single ? c.single : u""));
        for (bool titles : {false, true}) {
            ClearErrorInfo();
            const auto [status, text] = Indexed(titles, c.index);
            EXPECT_EQ(c.status, status);
            if (FAILED(c.status)) {
                EXPECT_EQ(L"", text);
                ExpectReport(titles ? c.title : c.name);
            } else {
                EXPECT_EQ(titles ? c.title : c.name, text);
            }
        }
        if (c.index == 0) {
            // FileName and FileTitle are index 0 through the interface, failures included.
            BSTR name = nullptr, title = nullptr;
            EXPECT_EQ(c.status, object->get_FileName(&name));
            EXPECT_EQ(c.status, object->get_FileTitle(&title));
            if (SUCCEEDED(c.status)) {
                EXPECT_EQ(c.name, TakeBstr(name));
                EXPECT_EQ(c.title, TakeBstr(title));
            }
        }
    }
}

TEST_F(FileDialogTest, FilePathAndFileCount) {
    const struct {
        const char* situation;
        bool multi;
        LONG lastResult;
        std::u16string content;
        HRESULT pathStatus;
        const wchar_t* path;
        LONG count;
    } cases[] = {
        {"before a show", false, 0, u"C:\\pictures\\a.jpg", S_FALSE, L"", 0},
        {"after OK", false, 1, u"C:\\pictures\\a.jpg", S_OK, L"C:\\pictures\\", 1},
        {"after OK, multi, list", true, 1, kList, S_OK, L"C:\\pictures\\", 2},
        {"after OK, multi, single", true, 1, u"C:\\pictures\\a.jpg", S_OK, L"C:\\pictures\\", 1},
        {"after OK, forward slash", false, 1, u"C:/pictures/a.jpg", S_OK, L"C:/pictures/", 1},
        {"after OK, a bare name", false, 1, u"a.jpg", S_OK, L"", 1},
        {"after OK, empty", false, 1, u"", S_OK, L"", 0},
        {"after OK, an existing folder is kept whole", false, 1, u"C:\\windows", S_OK,
         L"C:\\windows", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.situation);
        EXPECT_EQ(S_OK, object->put_AllowMultiSelect(c.multi ? VARIANT_TRUE : VARIANT_FALSE));
        Access::LeaveResult(object.Get(), c.lastResult, c.content);
        BSTR path = nullptr;
        EXPECT_EQ(c.pathStatus, object->get_FilePath(&path));
        EXPECT_EQ(c.path, TakeBstr(path));
        LONG count = -1;
        EXPECT_EQ(S_OK, object->get_FileCount(&count));
        EXPECT_EQ(c.count, count);
    }
    EXPECT_EQ((std::pair<HRESULT, std::wstring>{S_OK, L""}), Indexed(true, 0))
        << "the title of an existing folder is empty";
}

// In design mode the multi-selection rules give way to the buffer as it stands, but FileCount
// still counts the list.
TEST_F(FileDialogTest, ResultsInDesignMode) {
    site.userMode = false;
    UseSite();
    EXPECT_EQ(S_OK, object->put_AllowMultiSelect(VARIANT_TRUE));
    Access::LeaveResult(object.Get(), 1, kList);
    EXPECT_EQ((std::pair<HRESULT, std::wstring>{S_OK, L"C:\\pictures"}), Indexed(false, 7));
    LONG count = 0;
    EXPECT_EQ(S_OK, object->get_FileCount(&count));
    EXPECT_EQ(2, count);
    BSTR path = nullptr;
    EXPECT_EQ(S_OK, object->get_FilePath(&path));
    EXPECT_EQ(L"C:\\", TakeBstr(path));
}

// ---- The engine --------------------------------------------------------------------------------

TEST_F(FileDialogTest, IsLzwEnabledLivesInTheEngine) {
    EXPECT_EQ(VARIANT_FALSE, Flag(&IFileDialog::get_IsLzwEnabled));
    EXPECT_EQ(S_OK, object->put_IsLzwEnabled(VARIANT_TRUE));
    EXPECT_EQ(VARIANT_TRUE, engine.state.lzw);
    EXPECT_EQ(VARIANT_TRUE, Flag(&IFileDialog::get_IsLzwEnabled));
    engine.state.lzwResult = E_ACCESSDENIED;
    VARIANT_BOOL value = 0;
    EXPECT_EQ(E_ACCESSDENIED, object->get_IsLzwEnabled(&value)) << "the engine's own status";
    EXPECT_EQ(E_ACCESSDENIED, object->put_IsLzwEnabled(VARIANT_FALSE));
}

TEST_F(FileDialogTest, EnablePreviewPaneNeedsBothEngineObjects) {
    EXPECT_EQ(VARIANT_TRUE, Flag(&IFileDialog::get_EnablePreviewPane));
    EXPECT_EQ(S_OK, object->put_EnablePreviewPane(VARIANT_FALSE));
    EXPECT_EQ(VARIANT_FALSE, Flag(&IFileDialog::get_EnablePreviewPane));
    ShowOpen();
    const OPENFILENAMEW& request = Access::Request(object.Get());
    EXPECT_EQ(0u, request.Flags & OFN_ENABLETEMPLATE);
    EXPECT_EQ(nullptr, request.lpTemplateName);
    EXPECT_EQ(nullptr, request.hInstance);
    EXPECT_NE(0u, request.Flags & OFN_ENABLEHOOK) << "the hook stays in";
    EXPECT_EQ(S_OK, object->put_EnablePreviewPane(1));
    EXPECT_EQ(VARIANT_BOOL(1), Flag(&IFileDialog::get_EnablePreviewPane));
    EXPECT_EQ(1, engine.state.metaReadersMade) << "made once, kept";
}

// The last creation that ran decides: without a meta reader there is no pane and, since that
// creation failed after EngineBitmap's, no subscription either.
TEST(FileDialogEngineTest, APaneWithoutMetaReaderIsRefusedInTheGet) {
    FakeEngine engine;
    engine.state.metaReaderCreation = E_OUTOFMEMORY;
    auto object = CreateLinkedObject<IFileDialog>(CLSID_FileDialog);
    ASSERT_TRUE(object) << "the engine is optional";
    VARIANT_BOOL pane = 1;
    EXPECT_EQ(S_OK, object->put_EnablePreviewPane(VARIANT_TRUE));
    EXPECT_EQ(S_OK, object->get_EnablePreviewPane(&pane));
    EXPECT_EQ(VARIANT_FALSE, pane);
    EXPECT_EQ(1, engine.state.bitmapsMade);
    EXPECT_FALSE(engine.state.sink);
    EXPECT_EQ(0u, Access::EngineCookie(object.Get()));
}

TEST_F(FileDialogTest, SubscribesToTheEngineAndEndsTheSubscriptionWithTheLastReference) {
    ASSERT_TRUE(engine.state.sink);
    EXPECT_EQ(FakeEngineBitmap::kCookie, Access::EngineCookie(object.Get()));
    ComPtr<IUnknown> answered, primary;
    EXPECT_EQ(S_OK, object->QueryInterface(DIID__IEngineBitmapEvents, answered.PutVoid()));
    EXPECT_EQ(S_OK, object->QueryInterface(IID_IFileDialog, primary.PutVoid()));
    EXPECT_EQ(primary.Get(), answered.Get()) << "answered with the primary interface";
    answered.Reset();
    primary.Reset();
    object.Reset();
    EXPECT_EQ(1, engine.state.unadvised);
    EXPECT_EQ(FakeEngineBitmap::kCookie, engine.state.unadvisedCookie);
}

TEST(FileDialogEngineTest, ASubscriptionThatFailsRefusesTheCreation) {
    const struct {
        const char* name;
        bool connectable;
        HRESULT advise;
        bool throws;
        HRESULT creation;
        const wchar_t* text;
    } cases[] = {
        {"no connection points", false, S_OK, false, E_NOINTERFACE, nullptr},
        {"advise refused", true, CONNECT_E_ADVISELIMIT, false, CONNECT_E_ADVISELIMIT, nullptr},
        {"a fault in the engine", true, S_OK, true, E_FAIL,
         L"Cannot open the dialog due to initialization error"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        FakeEngine engine;
        engine.state.connectable = c.connectable;
        engine.state.adviseResult = c.advise;
        engine.state.adviseThrows = c.throws;
        ComPtr<IClassFactory> factory;
        ASSERT_EQ(S_OK,
                  server::GetClassObject(CLSID_FileDialog, IID_IClassFactory, factory.PutVoid()));
        ClearErrorInfo();
        ComPtr<IFileDialog> object;
        EXPECT_EQ(c.creation, factory->CreateInstance(nullptr, IID_IFileDialog, object.PutVoid()));
        EXPECT_FALSE(object);
        const auto report = TakeErrorInfo();
        EXPECT_EQ(c.text != nullptr, report.present);
        if (c.text) {
            EXPECT_EQ(c.text, report.description);
        }
    }
}

TEST_F(FileDialogTest, EngineEventsDriveTheProgressBarAndTheLoadSemaphore) {
    ::InitCommonControls();
    TestWindow bar(PROGRESS_CLASSW, WS_POPUP);
    ASSERT_NE(nullptr, bar.handle);
    Access::OpenWindows(object.Get(), nullptr, nullptr, nullptr, bar.handle);
    const auto position = [&] { return ::SendMessageW(bar.handle, PBM_GETPOS, 0, 0); };
    const auto upper = [&] { return ::SendMessageW(bar.handle, PBM_GETRANGE, FALSE, 0); };

    EXPECT_EQ(S_OK, engine.Fire(kDispidOperationProgress, {30, 70000}));
    EXPECT_TRUE(::IsWindowVisible(bar.handle));
    EXPECT_EQ(30, position());
    EXPECT_EQ(4464, upper()) << "the low 16 bits of the range";
    EXPECT_EQ(S_OK, engine.Fire(kDispidOperationProgress, {20, 100}));
    EXPECT_EQ(30, position()) << "a visible bar never moves back";
    EXPECT_EQ(100, upper());
    EXPECT_EQ(S_OK, engine.Fire(kDispidErrorOccured));
    EXPECT_FALSE(::IsWindowVisible(bar.handle));
    EXPECT_EQ(S_OK, engine.Fire(kDispidOperationProgress, {10, 100}));
    EXPECT_TRUE(::IsWindowVisible(bar.handle));
    EXPECT_EQ(10, position()) << "shown again from 0";
    Access::CloseWindows(object.Get());
    EXPECT_EQ(S_OK, engine.Fire(kDispidOperationProgress, {50, 100}));
    EXPECT_EQ(10, position()) << "no bar once the dialog has closed";

    // Each operation holds a fresh semaphore at count 0; the next begin or the end releases it.
    EXPECT_EQ(nullptr, Access::LoadSemaphore(object.Get()));
    EXPECT_EQ(S_OK, engine.Fire(kDispidOperationBegin));
    const auto duplicate = [](HANDLE handle) {
        HANDLE copy = nullptr;
        ::DuplicateHandle(::GetCurrentProcess(), handle, ::GetCurrentProcess(), &copy, 0, FALSE,
                          DUPLICATE_SAME_ACCESS);
        return UniqueKernelHandle(copy);
    };
    const UniqueKernelHandle first = duplicate(Access::LoadSemaphore(object.Get()));
    ASSERT_TRUE(first);
    EXPECT_EQ(DWORD(WAIT_TIMEOUT), ::WaitForSingleObject(first.Get(), 0));
    EXPECT_EQ(S_OK, engine.Fire(kDispidOperationBegin));
    EXPECT_EQ(DWORD(WAIT_OBJECT_0), ::WaitForSingleObject(first.Get(), 0));
    const UniqueKernelHandle second = duplicate(Access::LoadSemaphore(object.Get()));
    ASSERT_TRUE(second);
    EXPECT_EQ(S_OK, engine.Fire(kDispidOperationEnd));
    EXPECT_EQ(nullptr, Access::LoadSemaphore(object.Get()));
    EXPECT_EQ(DWORD(WAIT_OBJECT_0), ::WaitForSingleObject(second.Get(), 0));
    EXPECT_EQ(S_OK, engine.Fire(kDispidOperationEnd)) << "an end without a begin does nothing";
}

TEST_F(FileDialogWithoutEngineTest, WorksAsAPlainDialog) {
    EXPECT_EQ(L"All|*.*", Text(&IFileDialog::get_Filter));
    EXPECT_EQ(VARIANT_FALSE, Flag(&IFileDialog::get_EnablePreviewPane));
    EXPECT_EQ(S_OK, object->put_EnablePreviewPane(VARIANT_TRUE));
    EXPECT_EQ(VARIANT_FALSE, Flag(&IFileDialog::get_EnablePreviewPane));

    VARIANT_BOOL lzw = 5;
    EXPECT_EQ(E_FAIL, object->get_IsLzwEnabled(&lzw));
    EXPECT_EQ(VARIANT_FALSE, lzw);
    ExpectReport(L"Bitmap object is not initialized");
    EXPECT_EQ(S_FALSE, object->put_IsLzwEnabled(VARIANT_TRUE));
    EXPECT_FALSE(TakeErrorInfo().present);

    ShowSave();
    const OPENFILENAMEW& request = Access::Request(object.Get());
    EXPECT_EQ(0x00C83826u, request.Flags) << "no template";
    EXPECT_EQ(nullptr, request.lpTemplateName);
    EXPECT_EQ(std::wstring(L"All"), request.lpstrFilter);
    EXPECT_EQ(L"All|*.*", Text(&IFileDialog::get_Filter)) << "the save list falls back too";
    EXPECT_EQ(0u, Access::EngineCookie(object.Get())) << "nothing to subscribe to";
    EXPECT_FALSE(engine.state.sink);
}

// ---- The running dialog ------------------------------------------------------------------------

// Captions reach the windows of a running dialog with a pane; labels, and captions of the other
// mode's button, are only stored.
TEST_F(FileDialogTest, CaptionsReachARunningDialog) {
    TestWindow system(L"STATIC", WS_POPUP, nullptr, 0, L"system title");
    TestWindow pane(L"STATIC", WS_POPUP);
    std::vector<std::unique_ptr<TestWindow>> controls;
    for (int id : {IDOK, IDCANCEL, 1038, 1040, 1089, 1090, 1091})
        controls.push_back(std::make_unique<TestWindow>(L"STATIC", WS_CHILD, system.handle, id));
    TestWindow check(L"BUTTON", WS_CHILD | BS_AUTOCHECKBOX, pane.handle, 1011);
    const auto control = [&](HWND parent, int id) { return WindowText(::GetDlgItem(parent, id)); };

    // Closed: only stored.
    EXPECT_EQ(S_OK, Put(&IFileDialog::put_CancelButtonCaption, L"Stop"));
    EXPECT_EQ(L"", control(system.handle, IDCANCEL));

    Access::OpenWindows(object.Get(), system.handle, pane.handle, check.handle, nullptr);
    const struct {
        TextPut put;
        HWND parent;
        int id; // 0: the window's own caption
    } targets[] = {
        {&IFileDialog::put_Title, system.handle, 0},
        {&IFileDialog::put_OpenButtonCaption, system.handle, IDOK},
        {&IFileDialog::put_LookInLabelCaption, system.handle, 1091},
        {&IFileDialog::put_ShowPreviewCheckBoxCaption, pane.handle, 1011},
        {&IFileDialog::put_ReadOnlyCheckBoxCaption, system.handle, 1040},
        {&IFileDialog::put_FileNameLabelCaption, system.handle, 1090},
        {&IFileDialog::put_FileTypeLabelCaption, system.handle, 1089},
        {&IFileDialog::put_CancelButtonCaption, system.handle, IDCANCEL},
        {&IFileDialog::put_HelpButtonCaption, system.handle, 1038},
    };
    int n = 0;
    for (const auto& t : targets) {
        SCOPED_TRACE(n);
        const std::wstring text = L"caption " + std::to_wstring(++n);
        EXPECT_EQ(S_OK, Put(t.put, text));
        EXPECT_EQ(text, t.id ? control(t.parent, t.id) : WindowText(t.parent));
    }
    // The save button's caption waits for a save dialog; a label has no window.
    EXPECT_EQ(S_OK, Put(&IFileDialog::put_SaveButtonCaption, L"Keep"));
    EXPECT_EQ(L"caption 2", control(system.handle, IDOK));
    Access::SetDialogMode(object.Get(), CFileDialog::kSaveMode);
    EXPECT_EQ(S_OK, Put(&IFileDialog::put_OpenButtonCaption, L"Unseen"));
    EXPECT_EQ(L"caption 2", control(system.handle, IDOK));
    EXPECT_EQ(S_OK, Put(&IFileDialog::put_SaveButtonCaption, L"Store"));
    EXPECT_EQ(L"Store", control(system.handle, IDOK));
    EXPECT_EQ(L"Unseen", Text(&IFileDialog::get_OpenButtonCaption)) << "the text is kept";
    EXPECT_EQ(S_OK, object->put_Title(nullptr));
    EXPECT_EQ(L"", WindowText(system.handle));

    // The check box follows EnablePreview in run mode.
    EXPECT_EQ(S_OK, object->put_EnablePreview(VARIANT_FALSE));
    EXPECT_EQ(BST_UNCHECKED, ::SendMessageW(check.handle, BM_GETCHECK, 0, 0));
    EXPECT_EQ(S_OK, object->put_EnablePreview(VARIANT_TRUE));
    EXPECT_EQ(BST_CHECKED, ::SendMessageW(check.handle, BM_GETCHECK, 0, 0));

    // In design mode nothing reaches the windows.
    site.userMode = false;
    UseSite();
    EXPECT_EQ(S_OK, Put(&IFileDialog::put_HelpButtonCaption, L"Design"));
    EXPECT_EQ(L"caption 9", control(system.handle, 1038));
    EXPECT_EQ(S_OK, object->put_EnablePreview(VARIANT_FALSE));
    EXPECT_EQ(BST_CHECKED, ::SendMessageW(check.handle, BM_GETCHECK, 0, 0));
    EXPECT_EQ(VARIANT_FALSE, Flag(&IFileDialog::get_EnablePreview));

    // Without a pane a put only stores.
    site.userMode = true;
    Access::OpenWindows(object.Get(), system.handle, nullptr, check.handle, nullptr);
    EXPECT_EQ(S_OK, Put(&IFileDialog::put_HelpButtonCaption, L"No pane"));
    EXPECT_EQ(L"caption 9", control(system.handle, 1038));
    Access::CloseWindows(object.Get());
}

// ---- Through IDispatch
// ---------------------------------------------------------------------------

class FileDialogDispatchTest : public ::testing::Test {
protected:
    void SetUp() override {
        ClearErrorInfo();
        ASSERT_TRUE(dispatch) << "the server is registered by the test fixture";
    }
    void TearDown() override { ClearException(); }

    DISPID IdOf(const wchar_t* name) {
        DISPID id = DISPID_UNKNOWN;
        LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
        EXPECT_EQ(S_OK, dispatch->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id));
        return id;
    }
    HRESULT Call(const wchar_t* name, WORD flags, std::vector<VARIANT> arguments, VARIANT* result) {
        ClearException();
        DISPID named = DISPID_PROPERTYPUT;
        DISPPARAMS parameters = {arguments.data(), flags == DISPATCH_PROPERTYPUT ? &named : nullptr,
                                 static_cast<UINT>(arguments.size()),
                                 flags == DISPATCH_PROPERTYPUT ? 1u : 0u};
        if (result)
            ::VariantInit(result);
        return dispatch->Invoke(IdOf(name), IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters,
                                result, &exception, nullptr);
    }
    void ClearException() {
        ::SysFreeString(exception.bstrSource);
        ::SysFreeString(exception.bstrDescription);
        ::SysFreeString(exception.bstrHelpFile);
        exception = EXCEPINFO{};
    }
    void ExpectException(HRESULT code, const wchar_t* text) {
        EXPECT_EQ(code, exception.scode);
        EXPECT_EQ(std::wstring(kSource), exception.bstrSource ? exception.bstrSource : L"");
        EXPECT_EQ(std::wstring(text), exception.bstrDescription ? exception.bstrDescription : L"");
    }
    static VARIANT I4(LONG value) {
        VARIANT v;
        V_VT(&v) = VT_I4;
        V_I4(&v) = value;
        return v;
    }
    static VARIANT Bool(bool value) {
        VARIANT v;
        V_VT(&v) = VT_BOOL;
        V_BOOL(&v) = value ? VARIANT_TRUE : VARIANT_FALSE;
        return v;
    }

    FakeEngine engine;
    ComPtr<IDispatch> dispatch = testing::CreateRegisteredObject<IDispatch>(CLSID_FileDialog);
    EXCEPINFO exception = {};
};

TEST_F(FileDialogDispatchTest, MembersByNameAndFailuresAsExceptions) {
    VARIANT result;
    // The registered server shows the system's dialog; the user cancels it.
    testing::DialogDriver cancel(&SystemFileDialog);
    cancel.Then([](HWND dialog) {
        ::PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
    });
    cancel.Start();
    ASSERT_EQ(S_OK, Call(L"ShowOpen", DISPATCH_METHOD, {}, &result));
    cancel.Stop();
    EXPECT_TRUE(cancel.Finished());
    EXPECT_EQ(VT_BOOL, V_VT(&result));
    EXPECT_EQ(VARIANT_FALSE, V_BOOL(&result));
    ASSERT_EQ(S_OK, Call(L"Filter", DISPATCH_PROPERTYGET, {}, &result));
    EXPECT_EQ(engine.state.openFilter, TakeBstr(V_BSTR(&result)));
    ASSERT_EQ(S_OK, Call(L"FileNames", DISPATCH_PROPERTYGET, {}, &result)) << "Index is optional";
    EXPECT_EQ(L"", TakeBstr(V_BSTR(&result)));

    UniqueBstr tooLong(std::wstring(101, L'n').c_str());
    VARIANT label;
    V_VT(&label) = VT_BSTR;
    V_BSTR(&label) = tooLong.Get();
    EXPECT_EQ(DISP_E_EXCEPTION, Call(L"DateLabelCaption", DISPATCH_PROPERTYPUT, {label}, nullptr));
    ExpectException(kTooLong, kLabelTooLong);
    EXPECT_EQ(DISP_E_EXCEPTION, Call(L"FilterIndex", DISPATCH_PROPERTYPUT, {I4(0)}, nullptr));
    ExpectException(kOutOfRange, L"Filter index is out of range");

    ASSERT_EQ(S_OK, Call(L"AllowMultiSelect", DISPATCH_PROPERTYPUT, {Bool(true)}, nullptr));
    ASSERT_EQ(S_OK, Call(L"FileTitles", DISPATCH_PROPERTYGET, {I4(3)}, &result))
        << "before a show an index of 1 or more reads empty";
    EXPECT_EQ(L"", TakeBstr(V_BSTR(&result)));
    EXPECT_EQ(DISP_E_EXCEPTION, Call(L"FileTitles", DISPATCH_PROPERTYGET, {I4(0)}, &result));
    ExpectException(kOutOfRange, L"File title index 0 is out of range [0--1]");
    EXPECT_EQ(DISP_E_EXCEPTION, Call(L"FileName", DISPATCH_PROPERTYGET, {}, &result));
    ExpectException(kOutOfRange, L"File name index 0 is out of range [0--1]");

    ASSERT_EQ(S_OK, Call(L"NoValidate", DISPATCH_PROPERTYPUT, {Bool(true)}, nullptr));
    ASSERT_EQ(S_OK, Call(L"NoValidate", DISPATCH_PROPERTYGET, {}, &result));
    EXPECT_EQ(VARIANT_TRUE, V_BOOL(&result));
    ASSERT_EQ(S_OK, Call(L"FilePath", DISPATCH_PROPERTYGET, {}, &result))
        << "S_FALSE reaches a late-bound client as success";
    EXPECT_EQ(L"", TakeBstr(V_BSTR(&result)));
}

} // namespace
} // namespace orrelux
