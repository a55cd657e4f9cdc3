// The FileDialog end to end: ShowOpen and ShowSave run the system's own dialog with the hook and
// the pane on a folder of pictures that the test writes, read by the registered imaging engine; a
// driver inside the modal loop plays the user.
#include <windows.h>
#include <commctrl.h>
#include <commdlg.h>
#include <dlgs.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "dialog_driver.h"
#include "engine_pictures.h"
#include "file_dialog_support.h"
#include "test_support.h"

namespace orrelux {
namespace {

using testing::DialogDriver;
using testing::RecordingSink;
using testing::TakeBstr;
using testing::TextOf;
using Access = FileDialogTestAccess;
using PutText = HRESULT (STDMETHODCALLTYPE IFileDialog::*)(BSTR);

// ---- The folder of pictures --------------------------------------------------------------------

constexpr int kWidth = 45;
constexpr int kHeight = 31;

// What the pane shows of a picture of the folder; an empty type means that the reader knows
// nothing of the file and the rows stay empty.
struct Picture {
    const wchar_t* name;
    const wchar_t* dimensions; // empty when the header is too damaged to give them
    const wchar_t* type;       // empty: no rows at all
    const wchar_t* colorSpace; // empty with colorDepth empty: no colour rows
    const wchar_t* colorDepth;
    const wchar_t* transparency;
};

constexpr Picture kPictures[] = {
    {L"photo.jpg", L"45 x 31", L"JPEG format", L"RGB", L"24 bpp", L"No"},
    {L"bitmap.bmp", L"45 x 31", L"BMP format", L"RGB", L"24 bpp", L"No"},
    {L"alpha.png", L"45 x 31", L"PNG format", L"RGB", L"32 bpp", L"Yes"},
    {L"mono.wbmp", L"45 x 31", L"WBMP format", L"Grayscale", L"1 bpp", L"No"},
    {L"anim.gif", L"45 x 31", L"GIF format", L"Indexed", L"8 bpp", L"No"},
    // The signature and the start of the header: the format is known, nothing else.
    {L"cut.png", L"", L"PNG format", L"", L"", L""},
    // Nothing the reader recognises.
    {L"empty.png", L"", L"", L"", L"", L""},
    {L"notes.txt", L"", L"", L"", L"", L""},
};

// Writes the folder once for the whole suite: the pictures of kPictures, the subfolder "more"
// with one picture, and the folder "long" of many files with long names.
class PictureFolder {
public:
    static constexpr int kLongNames = 90;

    PictureFolder() {
        using namespace testing;
        const auto wic = [this](const wchar_t* name, REFGUID container) {
            return SUCCEEDED(WriteWicPicture(tree.File(name), container, kWidth, kHeight));
        };
        std::vector<std::uint8_t> cut;
        ok = wic(L"photo.jpg", GUID_ContainerFormatJpeg) &&
             wic(L"bitmap.bmp", GUID_ContainerFormatBmp) &&
             wic(L"alpha.png", GUID_ContainerFormatPng) &&
             SUCCEEDED(WriteGif(tree.File(L"anim.gif"), kWidth, kHeight)) &&
             WriteBytes(tree.File(L"mono.wbmp"), WbmpFile(kWidth, kHeight)) &&
             (cut = ReadBytes(tree.File(L"alpha.png"), 20)).size() == 20 &&
             WriteBytes(tree.File(L"cut.png"), cut) && WriteBytes(tree.File(L"empty.png"), {}) &&
             WriteBytes(tree.File(L"notes.txt"), {'n', 'o', ' ', 'p', 'i', 'c'}) &&
             tree.Folder(L"more") && wic(L"more\\inner.bmp", GUID_ContainerFormatBmp) &&
             tree.Folder(L"long");
        for (int i = 0; ok && i < kLongNames; ++i)
            ok = WriteBytes(tree.File(L"long\\" + LongName(i)), {0});
    }

    // Names that together need more than the 16384 characters of the initial name buffer.
    static std::wstring LongName(int index) {
        wchar_t prefix[16];
        std::swprintf(prefix, 16, L"file-%02d-", index);
        return prefix + std::wstring(180, L'x') + L".dat";
    }

    testing::ScratchDirectory tree;
    bool ok = false;
};

// The texts the pane shows for a file, made here independently of the component: the creation
// date in UTC as the date picture gives it, and the size.
std::wstring CreationDate(const std::wstring& path, const wchar_t* picture = L"MM'/'dd'/'yyyy") {
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    SYSTEMTIME date = {};
    if (::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data))
        ::FileTimeToSystemTime(&data.ftCreationTime, &date);
    wchar_t text[400] = {};
    ::GetDateFormatW(LOCALE_USER_DEFAULT, 0, &date, picture, text, 400);
    return text;
}

std::wstring SizeText(const std::wstring& path, const std::wstring& kilobytes = L"kb") {
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data))
        return L"?";
    const DWORD size = data.nFileSizeLow;
    return size < 1024 ? std::to_wstring(size) + L" b"
                       : std::to_wstring(size / 1024) + L" " + kilobytes;
}

// ---- The dialog's windows ----------------------------------------------------------------------

struct Row {
    std::wstring caption;
    std::wstring value;
    bool operator==(const Row& other) const {
        return caption == other.caption && value == other.value;
    }
};
using Rows = std::array<Row, 7>;

void PrintTo(const Row& row, std::ostream* out) {
    *out << '"' << ::testing::PrintToString(row.caption) << ": "
         << ::testing::PrintToString(row.value) << '"';
}

constexpr int kCaptionIds[7] = {170, 172, 174, 176, 178, 196, 198};
constexpr int kValueIds[7] = {171, 173, 175, 177, 179, 197, 199};

// The pane: the system's child dialog that holds the preview.
HWND Pane(HWND dialog) {
    for (HWND child = ::FindWindowExW(dialog, nullptr, L"#32770", nullptr); child;
         child = ::FindWindowExW(dialog, child, L"#32770", nullptr)) {
        if (::GetDlgItem(child, 1010))
            return child;
    }
    return nullptr;
}

Rows ReadRows(HWND pane) {
    Rows rows;
    for (int i = 0; i < 7; ++i)
        rows[i] = {TextOf(::GetDlgItem(pane, kCaptionIds[i])),
                   TextOf(::GetDlgItem(pane, kValueIds[i]))};
    return rows;
}

void Close(HWND dialog, int button) {
    ::PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED), 0);
}

// A control's rectangle in the pane's client coordinates.
RECT RectIn(HWND pane, int id) {
    RECT rect = {};
    ::GetWindowRect(::GetDlgItem(pane, id), &rect);
    ::MapWindowPoints(nullptr, pane, reinterpret_cast<POINT*>(&rect), 2);
    return rect;
}

// ---- The fixture -------------------------------------------------------------------------------

// The texts of the captions that the rows are made with, as the component holds them.
struct Captions {
    std::array<std::wstring, 7> labels = {L"Dimensions:",  L"Date:",        L"Size:",
                                          L"Type:",        L"Color space:", L"Color depth:",
                                          L"Transparency:"};
    std::wstring kilobytes = L"kb";
    const wchar_t* datePicture = L"MM'/'dd'/'yyyy";
};

class FileDialogShowTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { folder_ = new PictureFolder(); }
    static void TearDownTestSuite() {
        delete folder_;
        folder_ = nullptr;
    }

    void SetUp() override {
        ASSERT_TRUE(folder_->ok) << "the pictures could not be written";
        ASSERT_TRUE(object);
        ASSERT_EQ(S_OK, Put(&IFileDialog::put_InitialDir, folder_->tree.Path()));
        ASSERT_EQ(S_OK, Put(&IFileDialog::put_Filter, L"All files|*.*"));
    }

    static std::wstring File(const std::wstring& name) { return folder_->tree.File(name); }

    HRESULT Put(PutText put, const std::wstring& text) {
        UniqueBstr value(::SysAllocStringLen(text.data(), static_cast<UINT>(text.size())));
        return (object.Get()->*put)(value.Get());
    }
    std::wstring FileName(LONG index = 0) {
        BSTR value = nullptr;
        EXPECT_EQ(S_OK, object->get_FileNames(index, &value));
        return TakeBstr(value);
    }
    LONG FileCount() {
        LONG count = -1;
        EXPECT_EQ(S_OK, object->get_FileCount(&count));
        return count;
    }

    // Runs the show with the driver ticking inside the system's modal loop.
    VARIANT_BOOL Show(DialogDriver& driver, bool save = false) {
        VARIANT_BOOL accepted = 7;
        driver.Start();
        EXPECT_EQ(S_OK, save ? object->ShowSave(&accepted) : object->ShowOpen(&accepted));
        driver.Stop();
        EXPECT_TRUE(driver.Finished()) << "the dialog ended before the script did";
        return accepted;
    }

    // The rows the pane should show for a picture of the folder with these captions.
    static Rows Expected(const Picture& picture, const std::wstring& path,
                         const Captions& captions = Captions()) {
        Rows rows;
        if (std::wstring(picture.type).empty())
            return rows;
        const std::wstring values[7] = {picture.dimensions,
                                        CreationDate(path, captions.datePicture),
                                        SizeText(path, captions.kilobytes),
                                        picture.type,
                                        picture.colorSpace,
                                        picture.colorDepth,
                                        picture.transparency};
        std::size_t next = 0;
        for (int kind = 0; kind < 7; ++kind)
            if (!captions.labels[kind].empty() && !values[kind].empty())
                rows[next++] = Row{captions.labels[kind], values[kind]};
        return rows;
    }
    // Selects one file of the folder and expects the rows of its picture.
    void ExpectRowsOf(HWND dialog, const Picture& picture, const Captions& captions = Captions()) {
        ASSERT_TRUE(SelectInSystemDialog(dialog, {picture.name}));
        EXPECT_EQ(Expected(picture, File(picture.name), captions), ReadRows(Pane(dialog)));
    }

    ComPtr<IFileDialog> object = testing::CreateLinkedObject<IFileDialog>(CLSID_FileDialog);

private:
    static inline PictureFolder* folder_ = nullptr;
};

// ---- The rows ----------------------------------------------------------------------------------

// Each picture selected in turn: the rows show its header, date, size and type, damaged files
// what could be read of them, and files the reader does not know no rows at all. FileName follows
// the selection in every case.
TEST_F(FileDialogShowTest, RowsOfEveryPicture) {
    DialogDriver driver(SystemFileDialog);
    for (const Picture& picture : kPictures) {
        driver.Then([&](HWND dialog) {
            SCOPED_TRACE(::testing::PrintToString(std::wstring(picture.name)));
            ExpectRowsOf(dialog, picture);
            EXPECT_EQ(File(picture.name), FileName());
        });
    }
    driver.Then([](HWND dialog) { Close(dialog, IDCANCEL); });
    EXPECT_EQ(VARIANT_FALSE, Show(driver));
    EXPECT_EQ(File(std::end(kPictures)[-1].name), FileName())
        << "after cancel the name of the last selection stays";
}

// Captions put during the show take effect at the next selection: an empty caption takes its row
// away and the rows below move up, a renamed one shows its text, and the unit word and the date
// picture change the values.
TEST_F(FileDialogShowTest, RowsFollowTheCaptionsAndWordsOfTheClient) {
    Captions captions;
    captions.labels[1].clear();
    captions.labels[3] = L"Kind:";
    captions.kilobytes = L"KB";
    captions.datePicture = L"yyyy'-'MM'-'dd";
    DialogDriver driver(SystemFileDialog);
    driver.Then([&](HWND dialog) {
        ExpectRowsOf(dialog, kPictures[1]);
        EXPECT_EQ(S_OK, Put(&IFileDialog::put_DateLabelCaption, L""));
        EXPECT_EQ(S_OK, Put(&IFileDialog::put_TypeLabelCaption, L"Kind:"));
        EXPECT_EQ(S_OK, Put(&IFileDialog::put_KilobytesLabelCaption, L"KB"));
        EXPECT_EQ(S_OK, Put(&IFileDialog::put_DateFormat, captions.datePicture));
        ExpectRowsOf(dialog, kPictures[1], captions); // bitmap.bmp is over 1 kb
        captions.labels[1] = L"Date:";
        EXPECT_EQ(S_OK, Put(&IFileDialog::put_DateLabelCaption, L"Date:"));
        ExpectRowsOf(dialog, kPictures[1], captions);
        Close(dialog, IDCANCEL);
    });
    Show(driver);
}

// A date picture that makes a text wider than its row: the value is cut at the edge of its
// control, measured in the control's font, to the longest start of the date that fits.
TEST_F(FileDialogShowTest, AValueWiderThanItsRowIsCutAtTheRowsEdge) {
    const std::wstring picture = L"dddd',' MMMM dd',' yyyy' and a long tail of words'";
    ASSERT_EQ(S_OK, Put(&IFileDialog::put_DateFormat, picture));
    DialogDriver driver(SystemFileDialog);
    driver.Then([&](HWND dialog) {
        ASSERT_TRUE(SelectInSystemDialog(dialog, {L"bitmap.bmp"}));
        const HWND pane = Pane(dialog);
        EXPECT_EQ(L"Date:", TextOf(::GetDlgItem(pane, kCaptionIds[1])));
        const HWND value = ::GetDlgItem(pane, kValueIds[1]);
        const std::wstring shown = TextOf(value);
        const std::wstring whole = CreationDate(File(L"bitmap.bmp"), picture.c_str());
        ASSERT_FALSE(shown.empty());
        ASSERT_LT(shown.size(), whole.size());
        EXPECT_EQ(whole.substr(0, shown.size()), shown) << "a start of the date";

        RECT client = {};
        ::GetClientRect(value, &client);
        WindowDC dc(value);
        SelectGuard font(dc.Get(),
                         reinterpret_cast<HGDIOBJ>(::SendMessageW(value, WM_GETFONT, 0, 0)));
        SIZE fits = {}, oneMore = {};
        ::GetTextExtentPoint32W(dc.Get(), whole.c_str(), static_cast<int>(shown.size()), &fits);
        ::GetTextExtentPoint32W(dc.Get(), whole.c_str(), static_cast<int>(shown.size() + 1),
                                &oneMore);
        EXPECT_LE(fits.cx, client.right) << "the cut text fits";
        EXPECT_GT(oneMore.cx, client.right) << "one more character would not";
        Close(dialog, IDCANCEL);
    });
    Show(driver);
}

// What a scripted reader answers and what it was asked.
struct ReaderScript {
    HRESULT open = S_OK;
    HRESULT formatResult = S_OK;
    LONG format = 2;
    HRESULT pixelResult = S_OK;
    int opens = 0, closes = 0;
    std::array<int, 4> reads = {}; // format, width, height, pixel format
};

class ScriptedMetaReader final : public TestEngineObject<IEngineMetaReader> {
public:
    explicit ScriptedMetaReader(ReaderScript& script)
        : TestEngineObject(IID_IEngineMetaReader), script_(script) {}
    STDMETHODIMP Open(BSTR) override {
        ++script_.opens;
        return script_.open;
    }
    STDMETHODIMP get_FileFormat(LONG* format) override {
        ++script_.reads[0];
        *format = script_.format;
        return script_.formatResult;
    }
    STDMETHODIMP get_Width(LONG* width) override { return Answer(1, width, 640); }
    STDMETHODIMP get_Height(LONG* height) override { return Answer(2, height, 480); }
    STDMETHODIMP get_PixelFormat(ULONG* pixelFormat) override {
        ++script_.reads[3];
        *pixelFormat = 0x01001800;
        return script_.pixelResult;
    }
    STDMETHODIMP Close() override {
        ++script_.closes;
        return S_OK;
    }

private:
    HRESULT Answer(int read, LONG* out, LONG value) {
        ++script_.reads[read];
        *out = value;
        return S_OK;
    }
    ReaderScript& script_;
};

// The probe against a reader that answers as it is told: it is asked only for what a row with a
// caption can show, and every Open that succeeds is closed again.
TEST_F(FileDialogShowTest, TheProbeReadsWhatTheRowsNeedAndAlwaysClosesTheReader) {
    ReaderScript script;
    const RegisteredClass readerClass(CLSID_EngineMetaReader, [&](IUnknown** made) {
        *made = new ScriptedMetaReader(script);
        return S_OK;
    });
    object = testing::CreateLinkedObject<IFileDialog>(CLSID_FileDialog);
    SetUp();
    const std::wstring path = File(L"bitmap.bmp");
    const Rows whole = {Row{L"Dimensions:", L"640 x 480"}, {L"Date:", CreationDate(path)},
                        {L"Size:", SizeText(path)},        {L"Type:", L"BMP format"},
                        {L"Color space:", L"RGB"},         {L"Color depth:", L"24 bpp"},
                        {L"Transparency:", L"No"}};
    const struct {
        const char* name;
        std::function<void(ReaderScript&)> answer;
        bool noCaptions;
        Rows rows;
        std::array<int, 4> reads;
    } cases[] = {
        {"a whole header", [](ReaderScript&) {}, false, whole, {1, 1, 1, 1}},
        {"no pixel format",
         [](ReaderScript& r) { r.pixelResult = E_FAIL; },
         false,
         {whole[0], whole[1], whole[2], whole[3]},
         {1, 1, 1, 1}},
        {"every caption empty", [](ReaderScript&) {}, true, Rows(), {1, 0, 0, 0}},
        {"format code 0", [](ReaderScript& r) { r.format = 0; }, false, Rows(), {1, 0, 0, 0}},
        {"a failing format read",
         [](ReaderScript& r) { r.formatResult = E_FAIL; },
         false,
         Rows(),
         {1, 0, 0, 0}},
        {"a failing open", [](ReaderScript& r) { r.open = E_ACCESSDENIED; }, false, Rows(), {}},
    };
    const PutText labels[] = {
        &IFileDialog::put_DimensionsLabelCaption,  &IFileDialog::put_DateLabelCaption,
        &IFileDialog::put_SizeLabelCaption,        &IFileDialog::put_TypeLabelCaption,
        &IFileDialog::put_ColorSpaceLabelCaption,  &IFileDialog::put_ColorDepthLabelCaption,
        &IFileDialog::put_TransparencyLabelCaption};
    DialogDriver driver(SystemFileDialog);
    for (const auto& c : cases) {
        driver.Then([&](HWND dialog) {
            SCOPED_TRACE(c.name);
            for (int kind = 0; kind < 7; ++kind) // a NULL row caption empties it
                EXPECT_EQ(S_OK, c.noCaptions ? (object.Get()->*labels[kind])(nullptr)
                                             : Put(labels[kind], Captions().labels[kind]));
            script = ReaderScript();
            c.answer(script);
            ASSERT_TRUE(SelectInSystemDialog(dialog, {L"bitmap.bmp"}));
            EXPECT_EQ(c.rows, ReadRows(Pane(dialog)));
            // The system may report one selection more than once; each report is one probe.
            const int probes = script.opens;
            EXPECT_LE(1, probes);
            EXPECT_EQ((std::array<int, 4>{c.reads[0] * probes, c.reads[1] * probes,
                                          c.reads[2] * probes, c.reads[3] * probes}),
                      script.reads);
            EXPECT_EQ(SUCCEEDED(script.open) ? probes : 0, script.closes);
        });
    }
    driver.Then([](HWND dialog) { Close(dialog, IDCANCEL); });
    Show(driver);
}

// ---- Selections, folders and results -----------------------------------------------------------

// A folder change clears the rows; the subfolder's picture is read there, and a subfolder
// selected in the list shows no rows. OK returns the chosen file.
TEST_F(FileDialogShowTest, AFolderChangeClearsTheRowsAndOkReturnsTheChoice) {
    DialogDriver driver(SystemFileDialog);
    driver
        .Then([&](HWND dialog) {
            ASSERT_TRUE(SelectInSystemDialog(dialog, {L"more"}));
            EXPECT_EQ(Rows(), ReadRows(Pane(dialog))) << "a folder has no rows";
            ExpectRowsOf(dialog, kPictures[0]);
            // Typed into the name box, with the default button pressed.
            ::SetDlgItemTextW(dialog, cmb13, L"more");
            Close(dialog, IDOK);
        })
        .Then([&](HWND dialog) {
            EXPECT_EQ(Rows(), ReadRows(Pane(dialog))) << "the new folder clears the rows";
            ASSERT_TRUE(SelectInSystemDialog(dialog, {L"inner.bmp"}));
            EXPECT_EQ(Expected(kPictures[1], File(L"more\\inner.bmp")), ReadRows(Pane(dialog)));
            Close(dialog, IDOK);
        });
    EXPECT_EQ(VARIANT_BOOL(1), Show(driver)) << "the system's 1, not -1";
    EXPECT_EQ(File(L"more\\inner.bmp"), FileName());
    EXPECT_EQ(1, FileCount());
}

// Names that together need more room than the name buffer has: the hook grows the buffer while
// the selection grows, and OK brings every name of the multiple selection back whole.
TEST_F(FileDialogShowTest, TheNameBufferGrowsForALongSelection) {
    ASSERT_EQ(S_OK, object->put_AllowMultiSelect(VARIANT_TRUE));
    ASSERT_EQ(S_OK, object->put_EnablePreview(VARIANT_FALSE)); // no loads of the empty files
    ASSERT_EQ(S_OK, Put(&IFileDialog::put_InitialDir, File(L"long")));
    DialogDriver driver(SystemFileDialog);
    driver.Then([&](HWND dialog) {
        const HWND list = SystemFileList(dialog);
        ASSERT_EQ(PictureFolder::kLongNames,
                  static_cast<int>(::SendMessageW(list, LVM_GETITEMCOUNT, 0, 0)));
        SetListSelection(list, -1, true);
        EXPECT_LT(16384u, Access::Request(object.Get()).nMaxFile) << "grown during the show";
        Close(dialog, IDOK);
    });
    EXPECT_EQ(VARIANT_BOOL(1), Show(driver));
    ASSERT_EQ(PictureFolder::kLongNames, FileCount());
    std::set<std::wstring> names, expected;
    for (int i = 0; i < PictureFolder::kLongNames; ++i) {
        names.insert(FileName(i));
        expected.insert(File(L"long\\" + PictureFolder::LongName(i)));
    }
    EXPECT_EQ(expected, names);
}

// Without the pane the hook still keeps FileName on the selection, and Hwnd reads 0.
TEST_F(FileDialogShowTest, WithoutThePaneFileNameFollowsTheSelection) {
    ASSERT_EQ(S_OK, object->put_EnablePreviewPane(VARIANT_FALSE));
    DialogDriver driver(SystemFileDialog);
    driver.Then([&](HWND dialog) {
        OLE_HANDLE hwnd = 1;
        EXPECT_EQ(S_OK, object->get_Hwnd(&hwnd));
        EXPECT_EQ(0u, hwnd);
        EXPECT_EQ(nullptr, Pane(dialog)) << "no template, no preview";
        for (const wchar_t* name : {L"photo.jpg", L"mono.wbmp"}) {
            ASSERT_TRUE(SelectInSystemDialog(dialog, {name}));
            EXPECT_EQ(File(name), FileName());
        }
        Close(dialog, IDCANCEL);
    });
    EXPECT_EQ(VARIANT_FALSE, Show(driver));
    EXPECT_EQ(File(L"mono.wbmp"), FileName());
    EXPECT_EQ(0, FileCount()) << "nothing was chosen";
}

// ---- The pane's controls -----------------------------------------------------------------------

// The user's click on the check box is the component's EnablePreview, during the show and for
// the next one; a put moves the box.
TEST_F(FileDialogShowTest, ThePreviewCheckBoxAndEnablePreview) {
    const auto check = [](HWND dialog) { return ::GetDlgItem(Pane(dialog), 1011); };
    const auto checked = [&](HWND dialog) {
        return ::SendMessageW(check(dialog), BM_GETCHECK, 0, 0);
    };
    VARIANT_BOOL enabled = 7;
    DialogDriver driver(SystemFileDialog);
    driver.Then([&](HWND dialog) {
        EXPECT_EQ(BST_CHECKED, checked(dialog)) << "set from EnablePreview";
        ASSERT_TRUE(SelectInSystemDialog(dialog, {L"photo.jpg"}));
        ::SendMessageW(check(dialog), BM_CLICK, 0, 0);
        EXPECT_EQ(S_OK, object->get_EnablePreview(&enabled));
        EXPECT_EQ(VARIANT_FALSE, enabled);
        EXPECT_EQ(L"Dimensions:", ReadRows(Pane(dialog))[0].caption)
            << "the rows stay with the box off";
        EXPECT_EQ(S_OK, object->put_EnablePreview(VARIANT_TRUE));
        EXPECT_EQ(BST_CHECKED, checked(dialog));
        EXPECT_EQ(S_OK, object->put_EnablePreview(VARIANT_FALSE));
        EXPECT_EQ(BST_UNCHECKED, checked(dialog));
        Close(dialog, IDCANCEL);
    });
    Show(driver);
    DialogDriver again(SystemFileDialog);
    again.Then([&](HWND dialog) {
        EXPECT_EQ(BST_UNCHECKED, checked(dialog)) << "the next show starts with the choice";
        Close(dialog, IDCANCEL);
    });
    Show(again);
}

// A click on the preview fires PreviewClick inside the modal loop: the handler's ShowOpen is
// refused and the open dialog goes on. A double click fires PreviewDblClick.
TEST_F(FileDialogShowTest, PreviewClicksFireEventsAndANestedShowIsRefused) {
    struct Context {
        IFileDialog* dialog = nullptr;
        HRESULT status = S_OK;
        VARIANT_BOOL accepted = 5;
        std::wstring description;
    } context;
    context.dialog = object.Get();
    RecordingSink sink;
    sink.context = &context;
    sink.during = [](RecordingSink& self, void* raw) {
        auto* c = static_cast<Context*>(raw);
        if (self.calls.back().dispid != 1)
            return;
        c->status = c->dialog->ShowOpen(&c->accepted);
        c->description = testing::TakeErrorInfo().description;
    };
    const EventConnection connection(object.Get(), sink);
    ASSERT_TRUE(connection.Advised());
    DialogDriver driver(SystemFileDialog);
    driver.Then([&](HWND dialog) {
        ASSERT_TRUE(SelectInSystemDialog(dialog, {L"alpha.png"}));
        const HWND preview = ::GetDlgItem(Pane(dialog), 1010);
        ::SendMessageW(preview, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(10, 10));
        ::SendMessageW(preview, WM_LBUTTONUP, 0, MAKELPARAM(10, 10));
        ASSERT_EQ(1u, sink.calls.size());
        EXPECT_EQ(1, sink.calls[0].dispid);
        EXPECT_EQ(HRESULT(0xFFFFFA10), context.status);
        EXPECT_EQ(5, context.accepted) << "pVal is not written";
        EXPECT_EQ(L"Cannot open the dialog because it is already opened", context.description);
        EXPECT_TRUE(::IsWindowVisible(dialog));
        ::SendMessageW(preview, WM_LBUTTONDBLCLK, MK_LBUTTON, MAKELPARAM(10, 10));
        ASSERT_EQ(2u, sink.calls.size());
        EXPECT_EQ(2, sink.calls[1].dispid);
        EXPECT_EQ(0u, sink.calls[1].argumentCount);
        Close(dialog, IDOK);
    });
    EXPECT_EQ(VARIANT_BOOL(1), Show(driver));
    EXPECT_EQ(File(L"alpha.png"), FileName());
}

// Captions put before the show are what the dialog shows from the start, with the title of the
// dialog's mode when none was put; puts during the show reach their control at once, and each
// mode's button shows only its own caption.
TEST_F(FileDialogShowTest, CaptionsReachTheDialogAtTheStartAndWhileItRuns) {
    ASSERT_EQ(S_OK, Put(&IFileDialog::put_SaveButtonCaption, L"&Keep"));
    DialogDriver save(SystemFileDialog);
    save.Then([&](HWND dialog) {
        EXPECT_EQ(L"Save file", TextOf(dialog));
        EXPECT_EQ(L"&Keep", TextOf(::GetDlgItem(dialog, IDOK)));
        EXPECT_EQ(S_OK, Put(&IFileDialog::put_OpenButtonCaption, L"&Take"));
        EXPECT_EQ(L"&Keep", TextOf(::GetDlgItem(dialog, IDOK))) << "not in a save dialog";
        EXPECT_EQ(S_OK, Put(&IFileDialog::put_Title, L""));
        EXPECT_EQ(L"", TextOf(dialog)) << "a title that was put is shown as it is";
        Close(dialog, IDCANCEL);
    });
    Show(save, true);

    const struct {
        PutText put;
        bool onPane;
        int control; // 0: the dialog's title
        const wchar_t* text;
    } targets[] = {
        {&IFileDialog::put_Title, false, 0, L"Pick a picture"},
        {&IFileDialog::put_OpenButtonCaption, false, IDOK, L"&Take it"},
        {&IFileDialog::put_LookInLabelCaption, false, 1091, L"Fol&der:"},
        {&IFileDialog::put_ShowPreviewCheckBoxCaption, true, 1011, L"Show &pictures"},
        {&IFileDialog::put_FileNameLabelCaption, false, 1090, L"Picture &name:"},
        {&IFileDialog::put_FileTypeLabelCaption, false, 1089, L"&Kinds:"},
        {&IFileDialog::put_CancelButtonCaption, false, IDCANCEL, L"&Leave"},
        {&IFileDialog::put_ReadOnlyCheckBoxCaption, false, 1040, L"&Locked"},
        {&IFileDialog::put_HelpButtonCaption, false, 1038, L"&Guide"},
    };
    object = testing::CreateLinkedObject<IFileDialog>(CLSID_FileDialog);
    SetUp();
    ASSERT_EQ(S_OK, Put(&IFileDialog::put_OpenButtonCaption, L"&Pick"));
    ASSERT_EQ(S_OK, Put(&IFileDialog::put_ShowPreviewCheckBoxCaption, L"Pre&view it"));
    DialogDriver driver(SystemFileDialog);
    driver.Then([&](HWND dialog) {
        EXPECT_EQ(L"Open file", TextOf(dialog));
        EXPECT_EQ(L"&Pick", TextOf(::GetDlgItem(dialog, IDOK)));
        EXPECT_EQ(L"Pre&view it", TextOf(::GetDlgItem(Pane(dialog), 1011)));
        EXPECT_EQ(L"File &name:", TextOf(::GetDlgItem(dialog, 1090)));
        EXPECT_EQ(L"Cancel", TextOf(::GetDlgItem(dialog, IDCANCEL)));
        for (const auto& target : targets) {
            SCOPED_TRACE(::testing::PrintToString(std::wstring(target.text)));
            EXPECT_EQ(S_OK, Put(target.put, target.text));
            const HWND parent = target.onPane ? Pane(dialog) : dialog;
            EXPECT_EQ(target.text,
                      TextOf(target.control ? ::GetDlgItem(parent, target.control) : dialog));
        }
        EXPECT_EQ(S_OK, Put(&IFileDialog::put_SaveButtonCaption, L"&Store"));
        EXPECT_EQ(L"&Take it", TextOf(::GetDlgItem(dialog, IDOK))) << "not in an open dialog";
        Close(dialog, IDCANCEL);
    });
    Show(driver);
}

// ---- Layout ------------------------------------------------------------------------------------

// The rows stand in line with rows 0 and 1 from the start (the template's last value ends one
// unit further right), and a resize of the dialog brings a row that was knocked out of line back.
TEST_F(FileDialogShowTest, RowsStayInLineWhenTheDialogIsResized) {
    const auto expectInLine = [](HWND pane) {
        const RECT caption0 = RectIn(pane, kCaptionIds[0]);
        const RECT value0 = RectIn(pane, kValueIds[0]);
        const LONG pitch = RectIn(pane, kCaptionIds[1]).top - caption0.top;
        EXPECT_LT(0, pitch);
        for (int row = 1; row < 7; ++row) {
            SCOPED_TRACE(row);
            const RECT caption = RectIn(pane, kCaptionIds[row]);
            const RECT value = RectIn(pane, kValueIds[row]);
            EXPECT_EQ(caption0.left, caption.left);
            EXPECT_EQ(value0.right, value.right);
            EXPECT_EQ(caption0.top + row * pitch, caption.top);
            EXPECT_EQ(caption.top, value.top);
        }
    };
    DialogDriver driver(SystemFileDialog);
    driver.Then([&](HWND dialog) {
        const HWND pane = Pane(dialog);
        expectInLine(pane);
        const RECT before = RectIn(pane, kValueIds[4]);
        ::MoveWindow(::GetDlgItem(pane, kValueIds[4]), before.left - 30, before.top + 7,
                     before.right - before.left, before.bottom - before.top, TRUE);
        RECT bounds = {};
        ::GetWindowRect(dialog, &bounds);
        ::SetWindowPos(dialog, nullptr, 0, 0, bounds.right - bounds.left + 120,
                       bounds.bottom - bounds.top + 80, SWP_NOMOVE | SWP_NOZORDER);
        expectInLine(pane);
        Close(dialog, IDCANCEL);
    });
    Show(driver);
}

} // namespace
} // namespace orrelux
