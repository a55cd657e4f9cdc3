// CFileDialog through its vtable, without the system's dialog: properties, the filter, the results,
// the composed request, the engine's objects and events, and the same surface through IDispatch.
// The imaging engine is played by class objects registered in this process (present, or refusing
// creation); the system dialog's part by FileDialogTestAccess.
#include <gtest/gtest.h>

#include <windows.h>
#include <commctrl.h>

#include <string>
#include <utility>
#include <vector>

#include "dialog_driver.h"
#include "file_dialog_support.h"
#include "filedialog/win/dialog_hook.h"

namespace orrelux {
namespace {

using testing::ClearErrorInfo;
using testing::CreateLinkedObject;
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
    std::pair<HRESULT, std::wstring> FilePath() {
        BSTR path = nullptr;
        const HRESULT status = object->get_FilePath(&path);
        return {status, TakeBstr(path)};
    }
    VARIANT_BOOL Show(bool save = false) {
        VARIANT_BOOL accepted = 5;
        EXPECT_EQ(S_OK, save ? object->ShowSave(&accepted) : object->ShowOpen(&accepted));
        return accepted;
    }
    const OPENFILENAMEW& Request() { return Access::Request(object.Get()); }
    void UseSite(bool userMode) {
        site.userMode = userMode;
        ComPtr<IOleObject> ole;
        ASSERT_EQ(S_OK, object.As(ole));
        ASSERT_EQ(S_OK, ole->SetClientSite(&site));
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
#define TEXT_CASE(n, ...)                                                                          \
    { #n, &IFileDialog::get_##n, &IFileDialog::put_##n, __VA_ARGS__ }

const TextCase kTexts[] = {
    TEXT_CASE(CancelButtonCaption, L"Cancel", L"Cancel", 2028),
    TEXT_CASE(DateFormat, L"MM'/'dd'/'yyyy", L"MM'/'dd'/'yyyy", 2028),
    TEXT_CASE(DefaultExtension, L"*", L"*", 2028),
    TEXT_CASE(Title, L"Open file", L"", 2028),
    TEXT_CASE(HelpButtonCaption, L"&Help", L"&Help", 2028),
    TEXT_CASE(LookInLabelCaption, L"Look &in:", L"Look &in:", 2028),
    TEXT_CASE(ColorDepthLabelCaption, L"Color depth:", L"", 100),
    TEXT_CASE(ShowPreviewCheckBoxCaption, L"Sho&w preview", L"Sho&w preview", 2028),
    TEXT_CASE(DateLabelCaption, L"Date:", L"", 100),
    TEXT_CASE(SizeLabelCaption, L"Size:", L"", 100),
    TEXT_CASE(TypeLabelCaption, L"Type:", L"", 100),
    TEXT_CASE(ReadOnlyCheckBoxCaption, L"Open as &read-only", L"Open as &read-only", 2028),
    TEXT_CASE(OpenButtonCaption, L"&Open", L"&Open", 2028),
    TEXT_CASE(SaveButtonCaption, L"&Save", L"&Save", 2028),
    TEXT_CASE(FileNameLabelCaption, L"File &name:", L"File &name:", 2028),
    TEXT_CASE(FileTypeLabelCaption, L"Files of &type:", L"Files of &type:", 2028),
    TEXT_CASE(InitialDir, L"", L"", 260),
    TEXT_CASE(InitialFileName, L"", L"", 260),
    TEXT_CASE(DimensionsLabelCaption, L"Dimensions:", L"", 100),
    TEXT_CASE(ColorSpaceLabelCaption, L"Color space:", L"", 100),
    TEXT_CASE(TransparencyLabelCaption, L"Transparency:", L"", 100),
    TEXT_CASE(YesLabelCaption, L"Yes", L"Yes", 100),
    TEXT_CASE(NoLabelCaption, L"No", L"No", 100),
    TEXT_CASE(KilobytesLabelCaption, L"kb", L"kb", 100),
    TEXT_CASE(BytesLabelCaption, L"b", L"b", 100),
};
#undef TEXT_CASE

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
    Show();
    EXPECT_EQ(nullptr, Request().lpstrTitle) << "the system's own title";
    EXPECT_EQ(kTooLong, Put(&IFileDialog::put_Title, std::wstring(2029, L't')));
    Show();
    EXPECT_EQ(nullptr, Request().lpstrTitle) << "a refused put sets nothing";
    EXPECT_EQ(S_OK, object->put_Title(nullptr));
    Show(true);
    ASSERT_NE(nullptr, Request().lpstrTitle);
    EXPECT_EQ(std::wstring(L""), Request().lpstrTitle) << "an empty title is passed once put";
}

TEST_F(FileDialogTest, EveryGetRefusesANullOutPointerWithoutText) {
    IFileDialog* d = object.Get();
    const HRESULT results[] = {d->ShowOpen(nullptr),
                               d->ShowSave(nullptr),
                               d->get_Filter(nullptr),
                               d->get_FileName(nullptr),
                               d->get_EnablePreview(nullptr),
                               d->get_OwnerWindow(nullptr),
                               d->get_FilterIndex(nullptr),
                               d->get_FileTitle(nullptr),
                               d->get_FilePath(nullptr),
                               d->get_Hwnd(nullptr),
                               d->get_FileCount(nullptr),
                               d->get_FileNames(0, nullptr),
                               d->get_Visible(nullptr),
                               d->get_FileTitles(0, nullptr),
                               d->get_IsLzwEnabled(nullptr),
                               d->get_CreatePrompt(nullptr),
                               d->get_Title(nullptr),
                               d->get_YesLabelCaption(nullptr),
                               d->get_InitialDir(nullptr),
                               d->get_EnablePreviewPane(nullptr),
                               d->get_ExtensionDifferent(nullptr),
                               d->get_NoReadOnlyReturn(nullptr)};
    for (std::size_t i = 0; i < std::size(results); ++i)
        EXPECT_EQ(E_POINTER, results[i]) << i;
    EXPECT_FALSE(TakeErrorInfo().present);
    EXPECT_EQ(VARIANT_FALSE, Flag(&IFileDialog::get_Visible)) << "a refused show never started";
}

// ---- Flags and the composed request -------------------------------------------------------------

TEST_F(FileDialogTest, FlagsAreSignExtendedAndReachTheRequestAtTheNextShow) {
    struct FlagCase {
        const char* name;
        FlagGet get;
        FlagPut put;
        VARIANT_BOOL initial;
        DWORD bit;
    };
#define FLAG_CASE(n, ...)                                                                          \
    { #n, &IFileDialog::get_##n, &IFileDialog::put_##n, __VA_ARGS__ }
    const FlagCase flags[] = {
        FLAG_CASE(AllowMultiSelect, VARIANT_FALSE, OFN_ALLOWMULTISELECT),
        FLAG_CASE(CreatePrompt, VARIANT_TRUE, OFN_CREATEPROMPT),
        FLAG_CASE(DontAddToRecent, VARIANT_FALSE, OFN_DONTADDTORECENT),
        FLAG_CASE(EnableSizing, VARIANT_TRUE, OFN_ENABLESIZING),
        FLAG_CASE(FileMustExist, VARIANT_TRUE, OFN_FILEMUSTEXIST),
        FLAG_CASE(PathMustExist, VARIANT_TRUE, OFN_PATHMUSTEXIST),
        FLAG_CASE(ForceShowHidden, VARIANT_FALSE, OFN_FORCESHOWHIDDEN),
        FLAG_CASE(HideReadOnlyCheckbox, VARIANT_TRUE, OFN_HIDEREADONLY),
        FLAG_CASE(NoDereferencedLinks, VARIANT_FALSE, OFN_NODEREFERENCELINKS),
        FLAG_CASE(NoNetworkButton, VARIANT_FALSE, OFN_NONETWORKBUTTON),
        FLAG_CASE(OverwritePrompt, VARIANT_TRUE, OFN_OVERWRITEPROMPT),
        FLAG_CASE(ReadOnlyChecked, VARIANT_FALSE, OFN_READONLY),
        FLAG_CASE(ShowHelp, VARIANT_FALSE, OFN_SHOWHELP),
        FLAG_CASE(NoValidate, VARIANT_FALSE, OFN_NOVALIDATE),
    };
#undef FLAG_CASE
    for (const auto& f : flags) {
        SCOPED_TRACE(f.name);
        EXPECT_EQ(f.initial, Flag(f.get));
        const DWORD before = Request().Flags;
        for (VARIANT_BOOL value : {VARIANT_BOOL(1), VARIANT_BOOL(0x7FFF), VARIANT_TRUE}) {
            EXPECT_EQ(S_OK, (object.Get()->*f.put)(value));
            EXPECT_EQ(value, Flag(f.get)) << "the get gives the low 16 bits of the field";
        }
        EXPECT_EQ(before, Request().Flags) << "no effect before a show";
        Show();
        EXPECT_EQ(f.bit, Request().Flags & f.bit);
        EXPECT_EQ(S_OK, (object.Get()->*f.put)(VARIANT_FALSE));
        EXPECT_EQ(VARIANT_FALSE, Flag(f.get));
        Show();
        EXPECT_EQ(0u, Request().Flags & f.bit);
        EXPECT_EQ(S_OK, (object.Get()->*f.put)(f.initial));
    }
}

TEST_F(FileDialogTest, TheComposedRequestWithTheDefaults) {
    Show();
    const OPENFILENAMEW& request = Request();
    EXPECT_EQ(sizeof(OPENFILENAMEW), request.lStructSize);
    EXPECT_EQ(0x00C83866u, request.Flags);
    EXPECT_EQ(0u, request.FlagsEx);
    EXPECT_EQ(&FileDialogHookProc, request.lpfnHook);
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
    Show();
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
    Show();
    EXPECT_EQ(VARIANT_FALSE, Flag(&IFileDialog::get_ExtensionDifferent)) << "composition clears";
    EXPECT_EQ(VARIANT_FALSE, Flag(&IFileDialog::get_NoReadOnlyReturn));
}

TEST_F(FileDialogTest, OwnerWindowComesFromThePutOrTheContainer) {
    TestWindow container(L"STATIC", WS_POPUP), owner(L"STATIC", WS_POPUP);
    site.window = container.handle;
    UseSite(true);
    Show();
    EXPECT_EQ(container.handle, Request().hwndOwner);
    EXPECT_EQ(S_OK, object->put_OwnerWindow(
                        static_cast<OLE_HANDLE>(reinterpret_cast<UINT_PTR>(owner.handle))));
    Show();
    EXPECT_EQ(owner.handle, Request().hwndOwner);
    EXPECT_EQ(S_OK, object->put_OwnerWindow(0));
    Show();
    EXPECT_EQ(nullptr, Request().hwndOwner) << "0 means no owner at all";

    EXPECT_EQ(E_INVALIDARG, object->put_OwnerWindow(0x7FFF0010));
    ExpectReport(L"Specified handle does not identify an existing window");
    OLE_HANDLE back = 1;
    EXPECT_EQ(S_OK, object->get_OwnerWindow(&back));
    EXPECT_EQ(0u, back) << "a refused put keeps the old value";
}

// ---- Show --------------------------------------------------------------------------------------

TEST_F(FileDialogTest, AShowEndsAsADialogThatCouldNotStart) {
    EXPECT_EQ(S_OK, Put(&IFileDialog::put_InitialFileName, L"C:\\pictures\\start.png"));
    EXPECT_EQ(VARIANT_FALSE, Show(true));
    EXPECT_EQ(CFileDialog::kSaveMode, Access::DialogMode(object.Get())) << "the mode stays";
    EXPECT_EQ(VARIANT_FALSE, Flag(&IFileDialog::get_Visible));
    OLE_HANDLE hwnd = 1;
    EXPECT_EQ(S_OK, object->get_Hwnd(&hwnd));
    EXPECT_EQ(0u, hwnd);
    EXPECT_EQ((std::pair<HRESULT, std::wstring>{S_FALSE, L""}), FilePath());
    // The buffer holds the initial name, as after cancel.
    EXPECT_EQ((std::pair<HRESULT, std::wstring>{S_OK, L"C:\\pictures\\start.png"}),
              Indexed(false, 0));
    EXPECT_EQ(VARIANT_FALSE, Show());
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
    EXPECT_EQ(VARIANT_FALSE, Show());
}

// ---- Filter ------------------------------------------------------------------------------------

TEST_F(FileDialogTest, FilterPutsAndReadsBack) {
    const std::wstring engineOpen = engine.state.openFilter;
    EXPECT_EQ(engineOpen, Text(&IFileDialog::get_Filter)) << "the engine's list after creation";
    const struct {
        const wchar_t* put; // null: a NULL string
        const wchar_t* back;
    } cases[] = {{L"A|*.a||B|*.b", L"A|*.a"},
                 {nullptr, engineOpen.c_str()},
                 {L"Only", L"Only"},
                 {L"", engineOpen.c_str()}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.put ? c.put : L"NULL");
        UniqueBstr text(c.put ? ::SysAllocString(c.put) : nullptr);
        EXPECT_EQ(S_OK, object->put_Filter(text.Get()));
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
    Show(true);
    EXPECT_EQ(engine.state.saveFilter, Text(&IFileDialog::get_Filter));
    EXPECT_EQ(std::wstring(L"PNG image"), Request().lpstrFilter);
    Show();
    EXPECT_EQ(engine.state.openFilter, Text(&IFileDialog::get_Filter));

    EXPECT_EQ(S_OK, Put(&IFileDialog::put_Filter, L"Mine|*.mine"));
    Show(true);
    EXPECT_EQ(L"Mine|*.mine", Text(&IFileDialog::get_Filter));
    EXPECT_EQ(S_OK, object->put_Filter(nullptr));
    EXPECT_EQ(engine.state.saveFilter, Text(&IFileDialog::get_Filter))
        << "a get after clearing fetches the list of the last show's mode";
}

TEST_F(FileDialogTest, FilterFallsBackWhenTheEngineCannotGiveItsList) {
    for (HRESULT FakeEngineState::*status :
         {&FakeEngineState::formatListResult, &FakeEngineState::openFilterResult}) {
        engine.state.*status = E_FAIL;
        EXPECT_EQ(S_OK, object->put_Filter(nullptr));
        EXPECT_EQ(L"All|*.*", Text(&IFileDialog::get_Filter));
        engine.state.*status = S_OK;
    }
}

TEST_F(FileDialogTest, FilterIndexInRunMode) {
    EXPECT_EQ(1, FilterIndex());
    EXPECT_EQ(S_OK, object->put_FilterIndex(3));
    EXPECT_EQ(3, FilterIndex()) << "a put reads back until the next show";
    Show();
    EXPECT_EQ(3u, Request().nFilterIndex);
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
    Show();
    EXPECT_EQ(nullptr, Request().lpstrFilter);
    EXPECT_EQ(0, FilterIndex());
}

TEST_F(FileDialogTest, FilterIndexInDesignMode) {
    UseSite(false);
    Access::LeaveFilterIndex(object.Get(), 4);
    EXPECT_EQ(1, FilterIndex()) << "the field as it stands";
    for (LONG index : {0L, -3L}) {
        EXPECT_EQ(S_OK, object->put_FilterIndex(index));
        EXPECT_EQ(1, FilterIndex());
    }
    EXPECT_FALSE(TakeErrorInfo().present);
}

// ---- Results -----------------------------------------------------------------------------------

const std::u16string kList = std::u16string(u"C:\\pictures\0a.jpg\0b.jpg", 23);

// The rules of the component around the name list: before a show ended with OK only index 0 is
// read; a multiple selection counts its names and refuses an index beyond them with a text, and a
// single one answers its one path for any index.
TEST_F(FileDialogTest, WhatFileNamesAndFileTitlesGive) {
    const std::u16string single = u"C:\\pictures\\a.jpg";
    const wchar_t* kRange0 = L"File name index 0 is out of range [0--1]";
    const wchar_t* kTitleRange0 = L"File title index 0 is out of range [0--1]";
    const struct {
        const char* situation;
        bool multi;
        LONG lastResult;
        std::u16string content;
        LONG index;
        HRESULT status;
        const wchar_t* name;  // FileNames(index)
        const wchar_t* title; // FileTitles(index)
    } cases[] = {
        {"before the first show", false, 0, u"", 0, S_OK, L"", L""},
        {"before the first show, multi", true, 0, u"", 0, kOutOfRange, kRange0, kTitleRange0},
        {"during a show", false, 0, single, 0, S_OK, L"C:\\pictures\\a.jpg", L"a.jpg"},
        {"during a show, index 1", false, 0, single, 1, S_OK, L"", L""},
        {"after OK", false, 1, single, 0, S_OK, L"C:\\pictures\\a.jpg", L"a.jpg"},
        {"after OK, any index gives the one path", false, 1, single, 5, S_OK,
         L"C:\\pictures\\a.jpg", L"a.jpg"},
        {"after OK, multi, first", true, 1, kList, 0, S_OK, L"C:\\pictures\\a.jpg", L"a.jpg"},
        {"after OK, multi, beyond", true, 1, kList, 2, kOutOfRange,
         L"File name index 2 is out of range [0-1]", L"File title index 2 is out of range [0-1]"},
        {"after OK, multi, negative: the folder line", true, 1, kList, -1, S_OK, L"C:\\pictures",
         L"pictures"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.situation);
        EXPECT_EQ(S_OK, object->put_AllowMultiSelect(c.multi ? VARIANT_TRUE : VARIANT_FALSE));
        Access::LeaveResult(object.Get(), c.lastResult, c.content);
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
        {"after OK, empty", false, 1, u"", S_OK, L"", 0},
        {"after OK, an existing folder is kept whole", false, 1, u"C:\\windows", S_OK,
         L"C:\\windows", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.situation);
        EXPECT_EQ(S_OK, object->put_AllowMultiSelect(c.multi ? VARIANT_TRUE : VARIANT_FALSE));
        Access::LeaveResult(object.Get(), c.lastResult, c.content);
        EXPECT_EQ((std::pair<HRESULT, std::wstring>{c.pathStatus, c.path}), FilePath());
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
    UseSite(false);
    EXPECT_EQ(S_OK, object->put_AllowMultiSelect(VARIANT_TRUE));
    Access::LeaveResult(object.Get(), 1, kList);
    EXPECT_EQ((std::pair<HRESULT, std::wstring>{S_OK, L"C:\\pictures"}), Indexed(false, 7));
    LONG count = 0;
    EXPECT_EQ(S_OK, object->get_FileCount(&count));
    EXPECT_EQ(2, count);
    EXPECT_EQ((std::pair<HRESULT, std::wstring>{S_OK, L"C:\\"}), FilePath());
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
    Show();
    EXPECT_EQ(0u, Request().Flags & OFN_ENABLETEMPLATE);
    EXPECT_NE(0u, Request().Flags & OFN_ENABLEHOOK) << "the hook stays in";
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
        EXPECT_EQ(c.text ? c.text : L"", report.description);
    }
}

// The bar follows the engine's progress until an error or the dialog's end; each operation holds
// a fresh semaphore at count 0, which the next begin or the end releases.
TEST_F(FileDialogTest, EngineEventsDriveTheProgressBarAndTheLoadSemaphore) {
    ::InitCommonControls();
    TestWindow bar(PROGRESS_CLASSW, WS_POPUP);
    ASSERT_NE(nullptr, bar.handle);
    Access::OpenWindows(object.Get(), nullptr, nullptr, nullptr, bar.handle);
    const auto position = [&] { return ::SendMessageW(bar.handle, PBM_GETPOS, 0, 0); };
    EXPECT_EQ(S_OK, engine.Fire(kDispidOperationProgress, {30, 70000}));
    EXPECT_TRUE(::IsWindowVisible(bar.handle));
    EXPECT_EQ(30, position());
    EXPECT_EQ(S_OK, engine.Fire(kDispidErrorOccured));
    EXPECT_FALSE(::IsWindowVisible(bar.handle));
    EXPECT_EQ(S_OK, engine.Fire(kDispidOperationProgress, {10, 100}));
    EXPECT_TRUE(::IsWindowVisible(bar.handle));
    EXPECT_EQ(10, position()) << "shown again from 0";
    Access::CloseWindows(object.Get());
    EXPECT_EQ(S_OK, engine.Fire(kDispidOperationProgress, {50, 100}));
    EXPECT_EQ(10, position()) << "no bar once the dialog has closed";

    EXPECT_EQ(nullptr, Access::LoadSemaphore(object.Get()));
    const auto duplicate = [&] {
        HANDLE copy = nullptr;
        ::DuplicateHandle(::GetCurrentProcess(), Access::LoadSemaphore(object.Get()),
                          ::GetCurrentProcess(), &copy, 0, FALSE, DUPLICATE_SAME_ACCESS);
        return UniqueKernelHandle(copy);
    };
    EXPECT_EQ(S_OK, engine.Fire(kDispidOperationBegin));
    const UniqueKernelHandle first = duplicate();
    ASSERT_TRUE(first);
    EXPECT_EQ(DWORD(WAIT_TIMEOUT), ::WaitForSingleObject(first.Get(), 0));
    EXPECT_EQ(S_OK, engine.Fire(kDispidOperationBegin));
    EXPECT_EQ(DWORD(WAIT_OBJECT_0), ::WaitForSingleObject(first.Get(), 0));
    const UniqueKernelHandle second = duplicate();
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

    Show(true);
    EXPECT_EQ(0x00C83826u, Request().Flags) << "no template";
    EXPECT_EQ(nullptr, Request().lpTemplateName);
    EXPECT_EQ(std::wstring(L"All"), Request().lpstrFilter);
    EXPECT_EQ(L"All|*.*", Text(&IFileDialog::get_Filter)) << "the save list falls back too";
    EXPECT_EQ(0u, Access::EngineCookie(object.Get())) << "nothing to subscribe to";
    EXPECT_FALSE(engine.state.sink);
}

// Captions of a running dialog: a put only stores while the dialog is closed, in design mode, and
// without the pane (the system dialog's own test follows each caption to its control).
TEST_F(FileDialogTest, CaptionsReachOnlyARunningDialogWithAPane) {
    TestWindow system(L"STATIC", WS_POPUP, nullptr, 0, L"system title");
    TestWindow pane(L"STATIC", WS_POPUP);
    TestWindow help(L"STATIC", WS_CHILD, system.handle, 1038);
    TestWindow check(L"BUTTON", WS_CHILD | BS_AUTOCHECKBOX, pane.handle, 1011);
    const auto helpText = [&] { return testing::TextOf(help.handle); };
    const auto checked = [&] { return ::SendMessageW(check.handle, BM_GETCHECK, 0, 0); };

    EXPECT_EQ(S_OK, Put(&IFileDialog::put_HelpButtonCaption, L"Closed"));
    EXPECT_EQ(L"", helpText());
    Access::OpenWindows(object.Get(), system.handle, pane.handle, check.handle, nullptr);
    EXPECT_EQ(S_OK, Put(&IFileDialog::put_HelpButtonCaption, L"Running"));
    EXPECT_EQ(L"Running", helpText());
    for (VARIANT_BOOL on : {VARIANT_FALSE, VARIANT_TRUE}) {
        EXPECT_EQ(S_OK, object->put_EnablePreview(on));
        EXPECT_EQ(on ? BST_CHECKED : BST_UNCHECKED, checked()) << "the box follows in run mode";
    }

    UseSite(false);
    EXPECT_EQ(S_OK, Put(&IFileDialog::put_HelpButtonCaption, L"Design"));
    EXPECT_EQ(L"Running", helpText());
    EXPECT_EQ(S_OK, object->put_EnablePreview(VARIANT_FALSE));
    EXPECT_EQ(BST_CHECKED, checked());
    EXPECT_EQ(VARIANT_FALSE, Flag(&IFileDialog::get_EnablePreview));

    site.userMode = true;
    Access::OpenWindows(object.Get(), system.handle, nullptr, check.handle, nullptr);
    EXPECT_EQ(S_OK, Put(&IFileDialog::put_HelpButtonCaption, L"No pane"));
    EXPECT_EQ(L"Running", helpText());
    Access::CloseWindows(object.Get());
}

// ---- Through IDispatch -------------------------------------------------------------------------

class FileDialogDispatchTest : public ::testing::Test {
protected:
    void SetUp() override {
        ClearErrorInfo();
        ASSERT_TRUE(dispatch) << "the server is registered by the test fixture";
    }
    void TearDown() override { ClearException(); }

    HRESULT Call(const wchar_t* name, WORD flags, std::vector<VARIANT> arguments, VARIANT* result) {
        ClearException();
        DISPID id = DISPID_UNKNOWN;
        LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
        EXPECT_EQ(S_OK, dispatch->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id));
        DISPID named = DISPID_PROPERTYPUT;
        const bool put = flags == DISPATCH_PROPERTYPUT;
        DISPPARAMS parameters = {arguments.data(), put ? &named : nullptr,
                                 static_cast<UINT>(arguments.size()), put ? 1u : 0u};
        if (result)
            ::VariantInit(result);
        return dispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters, result,
                                &exception, nullptr);
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
    static VARIANT Of(VARTYPE type, LONG value) {
        VARIANT v;
        V_VT(&v) = type;
        if (type == VT_BOOL)
            V_BOOL(&v) = value ? VARIANT_TRUE : VARIANT_FALSE;
        else
            V_I4(&v) = value;
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

    // The failures' texts arrive in EXCEPINFO, with FileDialog as their source.
    ASSERT_EQ(S_OK, Call(L"AllowMultiSelect", DISPATCH_PROPERTYPUT, {Of(VT_BOOL, 1)}, nullptr));
    ASSERT_EQ(S_OK, Call(L"FileTitles", DISPATCH_PROPERTYGET, {Of(VT_I4, 3)}, &result))
        << "before a show an index of 1 or more reads empty";
    EXPECT_EQ(L"", TakeBstr(V_BSTR(&result)));
    EXPECT_EQ(DISP_E_EXCEPTION, Call(L"FileTitles", DISPATCH_PROPERTYGET, {Of(VT_I4, 0)}, &result));
    ExpectException(kOutOfRange, L"File title index 0 is out of range [0--1]");
    EXPECT_EQ(DISP_E_EXCEPTION, Call(L"FileName", DISPATCH_PROPERTYGET, {}, &result));
    ExpectException(kOutOfRange, L"File name index 0 is out of range [0--1]");

    ASSERT_EQ(S_OK, Call(L"FilePath", DISPATCH_PROPERTYGET, {}, &result))
        << "S_FALSE reaches a late-bound client as success";
    EXPECT_EQ(L"", TakeBstr(V_BSTR(&result)));
}

} // namespace
} // namespace orrelux
