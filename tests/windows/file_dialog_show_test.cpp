// The FileDialog end to end: ShowOpen and ShowSave run the system's own open and save dialog
// in this process with the hook and the pane, on a folder of pictures that the test writes
// (every format, damaged and empty files, a subfolder), read by the registered imaging engine.
// A driver inside the modal loop selects files in the system's list view, changes the folder,
// clicks the check box and the preview, puts captions and closes the dialog; the assertions
// read the pane's rows, the dialog's controls and the component's results.
#include <windows.h>
#include <commctrl.h>
#include <commdlg.h>
#include <dlgs.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "dialog_driver.h"
#include "engine_pictures.h"
#include "file_dialog_support.h"
#include "filedialog/win/dialog_hook.h"
#include "test_support.h"

namespace orrelux {
namespace {

using testing::CreateLinkedObject;
using testing::DialogDriver;
using testing::RecordingSink;
using testing::TakeBstr;
using testing::TakeErrorInfo;
using testing::TextOf;
using Access = FileDialogTestAccess;

constexpr HRESULT kAlreadyOpened = HRESULT(0xFFFFFA10);

// ---- The folder of pictures --------------------------------------------------------------------

constexpr int kWidth = 45;
constexpr int kHeight = 31;

// A tree under the temporary directory, removed with everything in it.
class PictureTree {
public:
    PictureTree() {
        wchar_t base[MAX_PATH] = {};
        ::GetTempPathW(MAX_PATH, base);
        root_ = std::wstring(base) + L"orrelux-show-" + std::to_wstring(::GetCurrentProcessId()) +
                L"-" + std::to_wstring(::GetTickCount());
        ::CreateDirectoryW(root_.c_str(), nullptr);
    }
    ~PictureTree() { Remove(root_); }
    PictureTree(const PictureTree&) = delete;
    PictureTree& operator=(const PictureTree&) = delete;

    const std::wstring& Root() const { return root_; }
    std::wstring File(const std::wstring& relative) const { return root_ + L"\\" + relative; }
    bool Folder(const std::wstring& relative) const {
        return ::CreateDirectoryW(File(relative).c_str(), nullptr) != FALSE;
    }

private:
    static void Remove(const std::wstring& directory) {
        WIN32_FIND_DATAW found = {};
        const HANDLE search = ::FindFirstFileW((directory + L"\\*").c_str(), &found);
        if (search != INVALID_HANDLE_VALUE) {
            do {
                const std::wstring name = found.cFileName;
                if (name == L"." || name == L"..")
                    continue;
                const std::wstring path = directory + L"\\" + name;
                if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                    Remove(path);
                else
                    ::DeleteFileW(path.c_str());
            } while (::FindNextFileW(search, &found));
            ::FindClose(search);
        }
        ::RemoveDirectoryW(directory.c_str());
    }

    std::wstring root_;
};

std::vector<std::uint8_t> ReadBytes(const std::wstring& path) {
    std::vector<std::uint8_t> bytes;
    if (FILE* in = ::_wfopen(path.c_str(), L"rb")) {
        std::uint8_t chunk[4096];
        for (std::size_t n; (n = std::fread(chunk, 1, sizeof(chunk), in)) > 0;)
            bytes.insert(bytes.end(), chunk, chunk + n);
        std::fclose(in);
    }
    return bytes;
}

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
    {L"scan.tif", L"45 x 31", L"TIFF format", L"RGB", L"24 bpp", L"No"},
    {L"packed.tif", L"45 x 31", L"TIFF format", L"RGB", L"24 bpp", L"No"},
    {L"paint.pcx", L"45 x 31", L"PCX format", L"RGB", L"24 bpp", L"No"},
    {L"mono.wbmp", L"45 x 31", L"WBMP format", L"Grayscale", L"1 bpp", L"No"},
    {L"anim.gif", L"45 x 31", L"GIF format", L"Indexed", L"8 bpp", L"No"},
    {L"layers.psd", L"45 x 31", L"PSD format", L"RGB", L"24 bpp", L"No"},
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
        const auto file = [this](const wchar_t* name) { return tree.File(name); };
        ok = SUCCEEDED(testing::WriteWicPicture(file(L"photo.jpg"), GUID_ContainerFormatJpeg,
                                                kWidth, kHeight)) &&
             SUCCEEDED(testing::WriteWicPicture(file(L"bitmap.bmp"), GUID_ContainerFormatBmp,
                                                kWidth, kHeight)) &&
             SUCCEEDED(testing::WriteWicPicture(file(L"alpha.png"), GUID_ContainerFormatPng, kWidth,
                                                kHeight)) &&
             SUCCEEDED(testing::WriteWicPicture(file(L"scan.tif"), GUID_ContainerFormatTiff, kWidth,
                                                kHeight)) &&
             SUCCEEDED(testing::WriteGif(file(L"anim.gif"), kWidth, kHeight)) &&
             testing::WriteBytes(file(L"packed.tif"), testing::TiffFile(kWidth, kHeight, true)) &&
             testing::WriteBytes(file(L"paint.pcx"), testing::PcxFile(kWidth, kHeight)) &&
             testing::WriteBytes(file(L"mono.wbmp"), testing::WbmpFile(kWidth, kHeight)) &&
             testing::WriteBytes(file(L"layers.psd"), testing::PsdFile(kWidth, kHeight));
        std::vector<std::uint8_t> png = ReadBytes(file(L"alpha.png"));
        png.resize(std::min<std::size_t>(png.size(), 20));
        ok = ok && png.size() == 20 && testing::WriteBytes(file(L"cut.png"), png) &&
             testing::WriteBytes(file(L"empty.png"), {}) &&
             testing::WriteBytes(file(L"notes.txt"), {'n', 'o', ' ', 'p', 'i', 'c'}) &&
             tree.Folder(L"more") &&
             SUCCEEDED(testing::WriteWicPicture(file(L"more\\inner.bmp"), GUID_ContainerFormatBmp,
                                                kWidth, kHeight)) &&
             tree.Folder(L"long");
        for (int i = 0; ok && i < kLongNames; ++i)
            ok = testing::WriteBytes(tree.File(L"long\\" + LongName(i)), {0});
    }

    // Names that together need more than the 16384 characters of the initial name buffer.
    static std::wstring LongName(int index) {
        wchar_t prefix[16];
        std::swprintf(prefix, 16, L"file-%02d-", index);
        return prefix + std::wstring(180, L'x') + L".dat";
    }

    PictureTree tree;
    bool ok = false;
};

// The texts the pane shows for a file: the creation date in UTC and the size, made here
// independently of the component.
SYSTEMTIME CreatedUtc(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    SYSTEMTIME date = {};
    if (::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data))
        ::FileTimeToSystemTime(&data.ftCreationTime, &date);
    return date;
}

std::wstring CreationDate(const std::wstring& path) {
    const SYSTEMTIME date = CreatedUtc(path);
    wchar_t text[32];
    std::swprintf(text, 32, L"%02u/%02u/%04u", date.wMonth, date.wDay, date.wYear);
    return text;
}

std::wstring SizeText(const std::wstring& path, const std::wstring& kilobytes = L"kb",
                      const std::wstring& bytes = L"b") {
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data))
        return L"?";
    const DWORD size = data.nFileSizeLow;
    return size < 1024 ? std::to_wstring(size) + L" " + bytes
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
    for (int i = 0; i < 7; ++i) {
        rows[i].caption = TextOf(::GetDlgItem(pane, kCaptionIds[i]));
        rows[i].value = TextOf(::GetDlgItem(pane, kValueIds[i]));
    }
    return rows;
}

HWND FileList(HWND dialog) {
    return ::FindWindowExW(::GetDlgItem(dialog, lst2), nullptr, WC_LISTVIEWW, nullptr);
}

// The list shows names with or without their extensions, by the user's settings.
int FindItem(HWND list, const std::wstring& name) {
    const std::wstring stem = name.substr(0, name.find_last_of(L'.'));
    const int count = static_cast<int>(::SendMessageW(list, LVM_GETITEMCOUNT, 0, 0));
    for (int i = 0; i < count; ++i) {
        wchar_t text[MAX_PATH] = {};
        LVITEMW item = {};
        item.iSubItem = 0;
        item.pszText = text;
        item.cchTextMax = MAX_PATH;
        ::SendMessageW(list, LVM_GETITEMTEXTW, i, reinterpret_cast<LPARAM>(&item));
        if (name == text || (stem != name && stem == text))
            return i;
    }
    return -1;
}

// Index -1 stands for every item; the focus goes along only with a single one.
void SetSelected(HWND list, int index, bool selected) {
    LVITEMW item = {};
    item.stateMask = index < 0 ? LVIS_SELECTED : LVIS_SELECTED | LVIS_FOCUSED;
    item.state = selected ? item.stateMask : 0;
    ::SendMessageW(list, LVM_SETITEMSTATE, static_cast<WPARAM>(index),
                   reinterpret_cast<LPARAM>(&item));
}

// Selects the named files alone, as a click (and ctrl-clicks) in the list would: the system
// sends CDN_SELCHANGE for each change before this returns.
void SelectFiles(HWND dialog, std::initializer_list<std::wstring> names) {
    const HWND list = FileList(dialog);
    ASSERT_NE(nullptr, list);
    SetSelected(list, -1, false);
    for (const std::wstring& name : names) {
        const int index = FindItem(list, name);
        ASSERT_LE(0, index) << "not in the list: " << ::testing::PrintToString(name);
        SetSelected(list, index, true);
    }
}

// Types a name into the file name box and presses the default button.
void OpenByName(HWND dialog, const std::wstring& name) {
    ::SetDlgItemTextW(dialog, cmb13, name.c_str());
    ::PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), 0);
}

void Close(HWND dialog, int button) {
    ::PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED), 0);
}

// A control's rectangle in the pane's client coordinates.
RECT RectIn(HWND pane, int id) {
    RECT rect = {};
    const HWND control = ::GetDlgItem(pane, id);
    ::GetWindowRect(control, &rect);
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
    std::wstring bytes = L"b";
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
        ASSERT_EQ(S_OK, PutText(&IFileDialog::put_InitialDir, folder_->tree.Root()));
        ASSERT_EQ(S_OK, PutText(&IFileDialog::put_Filter, L"All files|*.*"));
    }

    static const PictureTree& Tree() { return folder_->tree; }

    HRESULT PutText(HRESULT (STDMETHODCALLTYPE IFileDialog::*put)(BSTR), const std::wstring& text) {
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
    HWND Hwnd() {
        OLE_HANDLE handle = 1;
        EXPECT_EQ(S_OK, object->get_Hwnd(&handle));
        return reinterpret_cast<HWND>(static_cast<UINT_PTR>(handle));
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
    static Rows Expected(const Picture& picture, const std::wstring& path, const Captions& captions,
                         const std::wstring& date) {
        Rows rows;
        if (std::wstring(picture.type).empty())
            return rows;
        std::size_t next = 0;
        const auto offer = [&](int kind, const std::wstring& value) {
            if (!captions.labels[kind].empty() && !value.empty())
                rows[next++] = Row{captions.labels[kind], value};
        };
        offer(0, picture.dimensions);
        offer(1, date);
        offer(2, SizeText(path, captions.kilobytes, captions.bytes));
        offer(3, picture.type);
        offer(4, picture.colorSpace);
        offer(5, picture.colorDepth);
        offer(6, picture.transparency);
        return rows;
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

    ComPtr<IFileDialog> object = CreateLinkedObject<IFileDialog>(CLSID_FileDialog);

private:
    static inline PictureFolder* folder_ = nullptr;
};

// ---- The request -------------------------------------------------------------------------------

// The request as the system gets it: the hook in every show, the pane's template and this
// module's handle only with the pane, and the flags of the defaults.
TEST_F(FileDialogShowTest, TheRequestCarriesTheHookWithAndWithoutThePane) {
    const struct {
        VARIANT_BOOL pane;
        DWORD flags;
    } cases[] = {{VARIANT_TRUE, 0x00C83866}, {VARIANT_FALSE, 0x00C83826}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pane);
        ASSERT_EQ(S_OK, object->put_EnablePreviewPane(c.pane));
        const bool pane = c.pane != VARIANT_FALSE;
        DialogDriver driver(SystemFileDialog);
        driver.Then([&](HWND dialog) {
            const OPENFILENAMEW& request = Access::Request(object.Get());
            EXPECT_EQ(&FileDialogHookProc, request.lpfnHook);
            EXPECT_EQ(c.flags, request.Flags);
            EXPECT_EQ(pane ? MAKEINTRESOURCEW(130) : nullptr, request.lpTemplateName);
            EXPECT_EQ(pane, request.hInstance != nullptr);
            EXPECT_EQ(pane, Pane(dialog) != nullptr) << "the system made the pane";
            Close(dialog, IDCANCEL);
        });
        EXPECT_EQ(VARIANT_FALSE, Show(driver));
    }
}

// ---- The rows of every picture -----------------------------------------------------------------

// Each picture selected in turn: the rows show its header, date, size and type, damaged files
// what could be read of them, and files the reader does not know no rows at all. FileName follows
// the selection in every case.
TEST_F(FileDialogShowTest, RowsOfEveryPicture) {
    DialogDriver driver(SystemFileDialog);
    for (const Picture& picture : kPictures) {
        driver.Then([&](HWND dialog) {
            SCOPED_TRACE(::testing::PrintToString(std::wstring(picture.name)));
            SelectFiles(dialog, {picture.name});
            const std::wstring path = Tree().File(picture.name);
            EXPECT_EQ(Expected(picture, path, Captions(), CreationDate(path)),
                      ReadRows(Pane(dialog)));
            EXPECT_EQ(path, FileName());
        });
    }
    driver.Then([](HWND dialog) { Close(dialog, IDCANCEL); });
    EXPECT_EQ(VARIANT_FALSE, Show(driver));
    EXPECT_EQ(Tree().File(kPictures[std::size(kPictures) - 1].name), FileName())
        << "after cancel the name of the last selection stays";
}

// Captions put during the show take effect at the next selection: an empty caption takes its row
// away and the rows below move up, the unit words and the date picture change the values.
TEST_F(FileDialogShowTest, RowsFollowTheCaptionsAndWordsOfTheClient) {
    struct Case {
        const char* name;
        std::function<void(IFileDialog*)> put;
        std::function<void(Captions&)> expect;
        std::function<std::wstring(const SYSTEMTIME&)> date;
    };
    const auto label = [](HRESULT (STDMETHODCALLTYPE IFileDialog::*put)(BSTR), const wchar_t* t) {
        return [put, t](IFileDialog* d) {
            UniqueBstr value(t);
            EXPECT_EQ(S_OK, (d->*put)(value.Get()));
        };
    };
    const auto usDate = [](const SYSTEMTIME& d) {
        wchar_t text[32];
        std::swprintf(text, 32, L"%02u/%02u/%04u", d.wMonth, d.wDay, d.wYear);
        return std::wstring(text);
    };
    const Case cases[] = {
        {"no date row", label(&IFileDialog::put_DateLabelCaption, L""),
         [](Captions& c) { c.labels[1].clear(); }, usDate},
        {"renamed caption", label(&IFileDialog::put_TypeLabelCaption, L"Kind:"),
         [](Captions& c) { c.labels[3] = L"Kind:"; }, usDate},
        {"own units", label(&IFileDialog::put_KilobytesLabelCaption, L"KB"),
         [](Captions& c) { c.kilobytes = L"KB"; }, usDate},
        {"own date picture", label(&IFileDialog::put_DateFormat, L"yyyy'-'MM'-'dd"),
         [](Captions&) {},
         [](const SYSTEMTIME& d) {
             wchar_t text[32];
             std::swprintf(text, 32, L"%04u-%02u-%02u", d.wYear, d.wMonth, d.wDay);
             return std::wstring(text);
         }},
    };
    DialogDriver driver(SystemFileDialog);
    for (const Case& c : cases) {
        driver.Then([&](HWND dialog) {
            SCOPED_TRACE(c.name);
            c.put(object.Get());
            Captions captions;
            c.expect(captions);
            // bitmap.bmp is over 1 kb, so the unit word shows.
            SelectFiles(dialog, {L"bitmap.bmp"});
            const std::wstring path = Tree().File(L"bitmap.bmp");
            EXPECT_EQ(Expected(kPictures[1], path, captions, c.date(CreatedUtc(path))),
                      ReadRows(Pane(dialog)));
            // Back to the defaults for the next case.
            label(&IFileDialog::put_DateLabelCaption, L"Date:")(object.Get());
            label(&IFileDialog::put_TypeLabelCaption, L"Type:")(object.Get());
            EXPECT_EQ(S_OK, object->put_KilobytesLabelCaption(nullptr));
            EXPECT_EQ(S_OK, object->put_DateFormat(nullptr));
        });
    }
    driver.Then([](HWND dialog) { Close(dialog, IDCANCEL); });
    Show(driver);
}

// A date picture that makes a text wider than its row: the value is cut at the edge of its
// control, measured in the control's font, to the longest start of the date that fits.
TEST_F(FileDialogShowTest, AValueWiderThanItsRowIsCutAtTheRowsEdge) {
    const std::wstring picture = L"dddd',' MMMM dd',' yyyy' and a long tail of words'";
    ASSERT_EQ(S_OK, PutText(&IFileDialog::put_DateFormat, picture));
    DialogDriver driver(SystemFileDialog);
    driver.Then([&](HWND dialog) {
        SelectFiles(dialog, {L"bitmap.bmp"});
        const HWND pane = Pane(dialog);
        // The date is in row 1, under the dimensions.
        EXPECT_EQ(L"Date:", TextOf(::GetDlgItem(pane, kCaptionIds[1])));
        const HWND value = ::GetDlgItem(pane, kValueIds[1]);
        const std::wstring shown = TextOf(value);

        const SYSTEMTIME created = CreatedUtc(Tree().File(L"bitmap.bmp"));
        wchar_t full[400] = {};
        ASSERT_LT(0,
                  ::GetDateFormatW(LOCALE_USER_DEFAULT, 0, &created, picture.c_str(), full, 400));
        const std::wstring whole = full;
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

// ---- The probe against a reader that answers as it is told -------------------------------------

// What the reader answers and what it was asked.
struct ReaderScript {
    HRESULT open = S_OK;
    HRESULT formatResult = S_OK;
    LONG format = 2;
    HRESULT sizeResult = S_OK;
    LONG width = 640;
    LONG height = 480;
    HRESULT pixelResult = S_OK;
    ULONG pixelFormat = 0x01001800;

    int opens = 0;
    int closes = 0;
    int formatReads = 0;
    int widthReads = 0;
    int heightReads = 0;
    int pixelReads = 0;
};

class ScriptedMetaReader final : public TestEngineObject<IEngineMetaReader> {
public:
    explicit ScriptedMetaReader(ReaderScript& script)
        : TestEngineObject(IID_IEngineMetaReader), script_(script) {}
    STDMETHODIMP Open(BSTR) override {
        ++script_.opens;
        return script_.open;
    }
    STDMETHODIMP get_Width(LONG* width) override {
        ++script_.widthReads;
        *width = script_.width;
        return script_.sizeResult;
    }
    STDMETHODIMP get_Height(LONG* height) override {
        ++script_.heightReads;
        *height = script_.height;
        return script_.sizeResult;
    }
    STDMETHODIMP get_PixelFormat(ULONG* pixelFormat) override {
        ++script_.pixelReads;
        *pixelFormat = script_.pixelFormat;
        return script_.pixelResult;
    }
    STDMETHODIMP get_FileFormat(LONG* fileFormat) override {
        ++script_.formatReads;
        *fileFormat = script_.format;
        return script_.formatResult;
    }
    STDMETHODIMP Close() override {
        ++script_.closes;
        return S_OK;
    }

private:
    ReaderScript& script_;
    ULONG references_ = 1;
};

// The class object of EngineMetaReader in this process while it lives: components made meanwhile
// read headers through the script. EngineBitmap stays the registered engine's.
class ScriptedReaderClass final : public IClassFactory {
public:
    explicit ScriptedReaderClass(ReaderScript& script) : script_(script) {
        ::CoRegisterClassObject(CLSID_EngineMetaReader, this, CLSCTX_INPROC_SERVER,
                                REGCLS_MULTIPLEUSE, &cookie_);
    }
    ~ScriptedReaderClass() { ::CoRevokeClassObject(cookie_); }
    ScriptedReaderClass(const ScriptedReaderClass&) = delete;
    ScriptedReaderClass& operator=(const ScriptedReaderClass&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        *out = nullptr;
        if (iid != IID_IUnknown && iid != IID_IClassFactory)
            return E_NOINTERFACE;
        *out = static_cast<IClassFactory*>(this);
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
        *out = nullptr;
        if (outer)
            return CLASS_E_NOAGGREGATION;
        auto* reader = new ScriptedMetaReader(script_);
        const HRESULT status = reader->QueryInterface(iid, out);
        reader->Release();
        return status;
    }
    STDMETHODIMP LockServer(BOOL) override { return S_OK; }

private:
    ReaderScript& script_;
    DWORD cookie_ = 0;
};

// The rows follow what the reader answers and what the captions ask for; the reader is asked only
// for what a row with a caption can show, and every Open that succeeds is closed again.
TEST_F(FileDialogShowTest, TheProbeReadsWhatTheRowsNeedAndAlwaysClosesTheReader) {
    ReaderScript script;
    ScriptedReaderClass readerClass(script);
    object = CreateLinkedObject<IFileDialog>(CLSID_FileDialog);
    ASSERT_TRUE(object);
    SetUp();
    const std::wstring path = Tree().File(L"bitmap.bmp");
    const Row date{L"Date:", CreationDate(path)};
    const Row size{L"Size:", SizeText(path)};
    const Row bmp{L"Type:", L"BMP format"};
    struct Case {
        const char* name;
        std::function<void(ReaderScript&)> answer;
        bool noCaptions;
        Rows rows;
        std::array<int, 4> reads; // format, width, height, pixel format
    };
    const Case cases[] = {
        {"a whole header",
         [](ReaderScript&) {},
         false,
         Rows{Row{L"Dimensions:", L"640 x 480"}, date, size, bmp, Row{L"Color space:", L"RGB"},
              Row{L"Color depth:", L"24 bpp"}, Row{L"Transparency:", L"No"}},
         {1, 1, 1, 1}},
        {"a height of 0",
         [](ReaderScript& r) { r.height = 0; },
         false,
         Rows{date, size, bmp, Row{L"Color space:", L"RGB"}, Row{L"Color depth:", L"24 bpp"},
              Row{L"Transparency:", L"No"}},
         {1, 1, 1, 1}},
        {"an unknown format code",
         [](ReaderScript& r) { r.format = 9; },
         false,
         Rows{Row{L"Dimensions:", L"640 x 480"}, date, size, Row{L"Type:", L"Unknown format"},
              Row{L"Color space:", L"RGB"}, Row{L"Color depth:", L"24 bpp"},
              Row{L"Transparency:", L"No"}},
         {1, 1, 1, 1}},
        {"grey with alpha",
         [](ReaderScript& r) { r.pixelFormat = 0x12040800; },
         false,
         Rows{Row{L"Dimensions:", L"640 x 480"}, date, size, bmp,
              Row{L"Color space:", L"Grayscale"}, Row{L"Color depth:", L"8 bpp"},
              Row{L"Transparency:", L"Yes"}},
         {1, 1, 1, 1}},
        {"no colour space",
         [](ReaderScript& r) { r.pixelFormat = 0x10000800; },
         false,
         Rows{Row{L"Dimensions:", L"640 x 480"}, date, size, bmp, Row{L"Color depth:", L"8 bpp"},
              Row{L"Transparency:", L"No"}},
         {1, 1, 1, 1}},
        {"no pixel format",
         [](ReaderScript& r) { r.pixelResult = E_FAIL; },
         false,
         Rows{Row{L"Dimensions:", L"640 x 480"}, date, size, bmp},
         {1, 1, 1, 1}},
        {"every caption empty", [](ReaderScript&) {}, true, Rows(), {1, 0, 0, 0}},
        {"format code 0", [](ReaderScript& r) { r.format = 0; }, false, Rows(), {1, 0, 0, 0}},
        {"a failing format read",
         [](ReaderScript& r) { r.formatResult = E_FAIL; },
         false,
         Rows(),
         {1, 0, 0, 0}},
        {"a failing open",
         [](ReaderScript& r) { r.open = E_ACCESSDENIED; },
         false,
         Rows(),
         {0, 0, 0, 0}},
    };
    const auto labels = {
        &IFileDialog::put_DimensionsLabelCaption,  &IFileDialog::put_DateLabelCaption,
        &IFileDialog::put_SizeLabelCaption,        &IFileDialog::put_TypeLabelCaption,
        &IFileDialog::put_ColorSpaceLabelCaption,  &IFileDialog::put_ColorDepthLabelCaption,
        &IFileDialog::put_TransparencyLabelCaption};
    const Captions defaults;
    DialogDriver driver(SystemFileDialog);
    for (const Case& c : cases) {
        driver.Then([&](HWND dialog) {
            SCOPED_TRACE(c.name);
            int kind = 0;
            // A NULL row caption empties it.
            for (auto put : labels)
                EXPECT_EQ(S_OK, c.noCaptions ? (object.Get()->*put)(nullptr)
                                             : PutText(put, defaults.labels[kind++]));
            script = ReaderScript();
            c.answer(script);
            SelectFiles(dialog, {L"bitmap.bmp"});
            EXPECT_EQ(c.rows, ReadRows(Pane(dialog)));
            // The system may report one selection more than once; each report is one probe.
            const int probes = script.opens;
            EXPECT_LE(1, probes);
            const std::array<int, 4> reads = {script.formatReads, script.widthReads,
                                              script.heightReads, script.pixelReads};
            EXPECT_EQ((std::array<int, 4>{c.reads[0] * probes, c.reads[1] * probes,
                                          c.reads[2] * probes, c.reads[3] * probes}),
                      reads);
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
            SelectFiles(dialog, {L"more"});
            EXPECT_EQ(Rows(), ReadRows(Pane(dialog))) << "a folder has no rows";
            SelectFiles(dialog, {L"photo.jpg"});
            EXPECT_EQ(L"Dimensions:", ReadRows(Pane(dialog))[0].caption);
            OpenByName(dialog, L"more");
        })
        .Then([&](HWND dialog) {
            EXPECT_EQ(Rows(), ReadRows(Pane(dialog))) << "the new folder clears the rows";
            SelectFiles(dialog, {L"inner.bmp"});
            const std::wstring path = Tree().File(L"more\\inner.bmp");
            EXPECT_EQ(Expected(kPictures[1], path, Captions(), CreationDate(path)),
                      ReadRows(Pane(dialog)));
            EXPECT_EQ(path, FileName());
            Close(dialog, IDOK);
        });
    EXPECT_EQ(VARIANT_BOOL(1), Show(driver)) << "the system's 1, not -1";
    EXPECT_EQ(Tree().File(L"more\\inner.bmp"), FileName());
    EXPECT_EQ(1, FileCount());
}

TEST_F(FileDialogShowTest, AMultiSelectionComesBackWhole) {
    ASSERT_EQ(S_OK, object->put_AllowMultiSelect(VARIANT_TRUE));
    DialogDriver driver(SystemFileDialog);
    driver.Then([&](HWND dialog) {
        SelectFiles(dialog, {L"photo.jpg", L"anim.gif", L"layers.psd"});
        Close(dialog, IDOK);
    });
    EXPECT_EQ(VARIANT_BOOL(1), Show(driver));
    ASSERT_EQ(3, FileCount());
    std::set<std::wstring> names;
    for (LONG i = 0; i < 3; ++i)
        names.insert(FileName(i));
    EXPECT_EQ((std::set<std::wstring>{Tree().File(L"photo.jpg"), Tree().File(L"anim.gif"),
                                      Tree().File(L"layers.psd")}),
              names);
}

// Names that together need more room than the name buffer has: the hook grows the buffer while
// the selection grows, and OK brings every name back whole.
TEST_F(FileDialogShowTest, TheNameBufferGrowsForALongSelection) {
    ASSERT_EQ(S_OK, object->put_AllowMultiSelect(VARIANT_TRUE));
    ASSERT_EQ(S_OK, object->put_EnablePreview(VARIANT_FALSE)); // no loads of the empty files
    ASSERT_EQ(S_OK, PutText(&IFileDialog::put_InitialDir, Tree().File(L"long")));
    DialogDriver driver(SystemFileDialog);
    driver.Then([&](HWND dialog) {
        const HWND list = FileList(dialog);
        ASSERT_EQ(PictureFolder::kLongNames,
                  static_cast<int>(::SendMessageW(list, LVM_GETITEMCOUNT, 0, 0)));
        SetSelected(list, -1, true);
        EXPECT_LT(16384u, Access::Request(object.Get()).nMaxFile) << "grown during the show";
        Close(dialog, IDOK);
    });
    EXPECT_EQ(VARIANT_BOOL(1), Show(driver));
    ASSERT_EQ(PictureFolder::kLongNames, FileCount());
    std::set<std::wstring> names;
    for (LONG i = 0; i < PictureFolder::kLongNames; ++i)
        names.insert(FileName(i));
    std::set<std::wstring> expected;
    for (int i = 0; i < PictureFolder::kLongNames; ++i)
        expected.insert(Tree().File(L"long\\" + PictureFolder::LongName(i)));
    EXPECT_EQ(expected, names);
}

// Without the pane the hook still keeps FileName on the selection, and Hwnd reads 0.
TEST_F(FileDialogShowTest, WithoutThePaneFileNameFollowsTheSelection) {
    ASSERT_EQ(S_OK, object->put_EnablePreviewPane(VARIANT_FALSE));
    DialogDriver driver(SystemFileDialog);
    driver.Then([&](HWND dialog) {
        EXPECT_EQ(nullptr, Hwnd());
        EXPECT_EQ(nullptr, Pane(dialog)) << "no template, no preview";
        SelectFiles(dialog, {L"photo.jpg"});
        EXPECT_EQ(Tree().File(L"photo.jpg"), FileName());
        SelectFiles(dialog, {L"paint.pcx"});
        EXPECT_EQ(Tree().File(L"paint.pcx"), FileName());
        Close(dialog, IDCANCEL);
    });
    EXPECT_EQ(VARIANT_FALSE, Show(driver));
    EXPECT_EQ(Tree().File(L"paint.pcx"), FileName());
    EXPECT_EQ(0, FileCount()) << "nothing was chosen";
}

// ---- The pane's controls -----------------------------------------------------------------------

// The user's click on the check box is the component's EnablePreview, during the show and for
// the next one; a put moves the box.
TEST_F(FileDialogShowTest, ThePreviewCheckBoxAndEnablePreview) {
    DialogDriver driver(SystemFileDialog);
    const auto checked = [](HWND dialog) {
        return ::SendMessageW(::GetDlgItem(Pane(dialog), 1011), BM_GETCHECK, 0, 0);
    };
    VARIANT_BOOL enabled = 7;
    driver.Then([&](HWND dialog) {
        EXPECT_EQ(BST_CHECKED, checked(dialog)) << "set from EnablePreview";
        SelectFiles(dialog, {L"photo.jpg"});
        ::SendMessageW(::GetDlgItem(Pane(dialog), 1011), BM_CLICK, 0, 0);
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
    EXPECT_EQ(S_OK, object->get_EnablePreview(&enabled));
    EXPECT_EQ(VARIANT_FALSE, enabled);
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
        c->description = TakeErrorInfo().description;
    };
    const DWORD cookie = Connect(sink);
    DialogDriver driver(SystemFileDialog);
    driver.Then([&](HWND dialog) {
        SelectFiles(dialog, {L"alpha.png"});
        const HWND preview = ::GetDlgItem(Pane(dialog), 1010);
        ::SendMessageW(preview, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(10, 10));
        ::SendMessageW(preview, WM_LBUTTONUP, 0, MAKELPARAM(10, 10));
        ASSERT_EQ(1u, sink.calls.size());
        EXPECT_EQ(1, sink.calls[0].dispid);
        EXPECT_EQ(kAlreadyOpened, context.status);
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
    EXPECT_EQ(Tree().File(L"alpha.png"), FileName());
    ComPtr<IConnectionPointContainer> container;
    ComPtr<IConnectionPoint> point;
    object.As(container);
    container->FindConnectionPoint(DIID__IFileDialogEvents, point.Put());
    point->Unadvise(cookie);
}

// ---- Captions ----------------------------------------------------------------------------------

struct CaptionTarget {
    HRESULT (STDMETHODCALLTYPE IFileDialog::*put)(BSTR);
    bool onPane;
    int control; // 0: the dialog's title
    const wchar_t* text;
};

std::wstring TargetText(HWND dialog, const CaptionTarget& target) {
    if (target.control == 0)
        return TextOf(dialog);
    return TextOf(::GetDlgItem(target.onPane ? Pane(dialog) : dialog, target.control));
}

const CaptionTarget kCaptionTargets[] = {
    {&IFileDialog::put_Title, false, 0, L"Pick a picture"},
    {&IFileDialog::put_OpenButtonCaption, false, IDOK, L"&Take it"},
    {&IFileDialog::put_LookInLabelCaption, false, 1091, L"Fol&der:"},
    {&IFileDialog::put_ShowPreviewCheckBoxCaption, true, 1011, L"Show &pictures"},
    {&IFileDialog::put_FileNameLabelCaption, false, 1090, L"Picture &name:"},
    {&IFileDialog::put_FileTypeLabelCaption, false, 1089, L"&Kinds:"},
    {&IFileDialog::put_CancelButtonCaption, false, IDCANCEL, L"&Leave"},
};

// Captions put before the show are what the dialog shows from the start, a title that was never
// put reads "Open file"; puts during the show reach their control at once.
TEST_F(FileDialogShowTest, CaptionsReachTheDialogAtTheStartAndWhileItRuns) {
    ASSERT_EQ(S_OK, PutText(&IFileDialog::put_OpenButtonCaption, L"&Pick"));
    ASSERT_EQ(S_OK, PutText(&IFileDialog::put_ShowPreviewCheckBoxCaption, L"Pre&view it"));
    DialogDriver driver(SystemFileDialog);
    driver.Then([&](HWND dialog) {
        EXPECT_EQ(L"Open file", TextOf(dialog));
        EXPECT_EQ(L"&Pick", TextOf(::GetDlgItem(dialog, IDOK)));
        EXPECT_EQ(L"Pre&view it", TextOf(::GetDlgItem(Pane(dialog), 1011)));
        EXPECT_EQ(L"File &name:", TextOf(::GetDlgItem(dialog, 1090)));
        EXPECT_EQ(L"Cancel", TextOf(::GetDlgItem(dialog, IDCANCEL)));
        for (const CaptionTarget& target : kCaptionTargets) {
            SCOPED_TRACE(::testing::PrintToString(std::wstring(target.text)));
            EXPECT_EQ(S_OK, PutText(target.put, target.text));
            EXPECT_EQ(target.text, TargetText(dialog, target));
        }
        EXPECT_EQ(S_OK, PutText(&IFileDialog::put_SaveButtonCaption, L"&Keep"));
        EXPECT_EQ(L"&Take it", TextOf(::GetDlgItem(dialog, IDOK)))
            << "the save caption waits for a save dialog";
        Close(dialog, IDCANCEL);
    });
    Show(driver);
}

TEST_F(FileDialogShowTest, ASaveDialogShowsTheSaveCaptions) {
    ASSERT_EQ(S_OK, PutText(&IFileDialog::put_SaveButtonCaption, L"&Keep"));
    DialogDriver driver(SystemFileDialog);
    driver.Then([&](HWND dialog) {
        EXPECT_EQ(L"Save file", TextOf(dialog));
        EXPECT_EQ(L"&Keep", TextOf(::GetDlgItem(dialog, IDOK)));
        EXPECT_EQ(S_OK, PutText(&IFileDialog::put_OpenButtonCaption, L"&Take"));
        EXPECT_EQ(L"&Keep", TextOf(::GetDlgItem(dialog, IDOK)));
        ASSERT_EQ(S_OK, PutText(&IFileDialog::put_Title, L""));
        EXPECT_EQ(L"", TextOf(dialog)) << "a title that was put is shown as it is";
        Close(dialog, IDCANCEL);
    });
    Show(driver, true);
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
        const HWND knocked = ::GetDlgItem(pane, kValueIds[4]);
        const RECT before = RectIn(pane, kValueIds[4]);
        ::MoveWindow(knocked, before.left - 30, before.top + 7, before.right - before.left,
                     before.bottom - before.top, TRUE);
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
