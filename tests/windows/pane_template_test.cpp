// Template 130, the file dialog's pane, as the DLL carries it: the system dialog reads the
// template's bytes, so the bytes are what is checked, field by field, against the layout table.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "test_support.h"

namespace orrelux::testing {
namespace {

struct ItemTemplate {
    std::uint32_t helpId = 0;
    std::uint32_t exStyle = 0;
    std::uint32_t style = 0;
    short x = 0, y = 0, cx = 0, cy = 0;
    std::uint32_t id = 0;
    std::wstring windowClass;
    std::wstring text;
};

struct DialogTemplate {
    std::uint32_t helpId = 0;
    std::uint32_t exStyle = 0;
    std::uint32_t style = 0;
    short x = 0, y = 0, cx = 0, cy = 0;
    std::wstring title;
    std::uint16_t pointSize = 0;
    std::uint16_t weight = 0;
    std::uint8_t italic = 0;
    std::uint8_t charset = 0;
    std::wstring typeface;
    std::vector<ItemTemplate> items;
};

// Reads the extended template format (DLGTEMPLATEEX and DLGITEMTEMPLATEEX records).
class TemplateReader {
public:
    TemplateReader(const BYTE* data, std::size_t size) : data_(data), size_(size) {}

    template <typename T> T Read() {
        T value{};
        if (offset_ + sizeof(T) > size_) {
            failed_ = true;
            return value;
        }
        std::memcpy(&value, data_ + offset_, sizeof(T));
        offset_ += sizeof(T);
        return value;
    }
    // A string or an ordinal (0xFFFF followed by a number); ordinals of the predefined window
    // classes are given their names.
    std::wstring ReadNameOrOrdinal() {
        const std::uint16_t first = Read<std::uint16_t>();
        if (first == 0xFFFF) {
            const std::uint16_t ordinal = Read<std::uint16_t>();
            switch (ordinal) {
            case 0x80:
                return L"Button";
            case 0x81:
                return L"Edit";
            case 0x82:
                return L"Static";
            default:
                return L"#" + std::to_wstring(ordinal);
            }
        }
        std::wstring text;
        for (std::uint16_t c = first; c != 0 && !failed_; c = Read<std::uint16_t>())
            text.push_back(static_cast<wchar_t>(c));
        return text;
    }
    void AlignToDword() { offset_ = (offset_ + 3) & ~std::size_t(3); }
    bool Failed() const { return failed_; }

private:
    const BYTE* data_;
    std::size_t size_;
    std::size_t offset_ = 0;
    bool failed_ = false;
};

DialogTemplate ParseTemplate(const BYTE* data, std::size_t size) {
    TemplateReader reader(data, size);
    DialogTemplate dialog;
    EXPECT_EQ(reader.Read<std::uint16_t>(), 1) << "dialog version";
    EXPECT_EQ(reader.Read<std::uint16_t>(), 0xFFFF) << "extended template signature";
    dialog.helpId = reader.Read<std::uint32_t>();
    dialog.exStyle = reader.Read<std::uint32_t>();
    dialog.style = reader.Read<std::uint32_t>();
    const std::uint16_t count = reader.Read<std::uint16_t>();
    dialog.x = reader.Read<short>();
    dialog.y = reader.Read<short>();
    dialog.cx = reader.Read<short>();
    dialog.cy = reader.Read<short>();
    EXPECT_EQ(reader.ReadNameOrOrdinal(), L"") << "menu";
    EXPECT_EQ(reader.ReadNameOrOrdinal(), L"") << "window class";
    dialog.title = reader.ReadNameOrOrdinal();
    if (dialog.style & DS_SETFONT) {
        dialog.pointSize = reader.Read<std::uint16_t>();
        dialog.weight = reader.Read<std::uint16_t>();
        dialog.italic = reader.Read<std::uint8_t>();
        dialog.charset = reader.Read<std::uint8_t>();
        dialog.typeface = reader.ReadNameOrOrdinal();
    }
    for (std::uint16_t i = 0; i < count && !reader.Failed(); ++i) {
        reader.AlignToDword();
        ItemTemplate item;
        item.helpId = reader.Read<std::uint32_t>();
        item.exStyle = reader.Read<std::uint32_t>();
        item.style = reader.Read<std::uint32_t>();
        item.x = reader.Read<short>();
        item.y = reader.Read<short>();
        item.cx = reader.Read<short>();
        item.cy = reader.Read<short>();
        item.id = reader.Read<std::uint32_t>();
        item.windowClass = reader.ReadNameOrOrdinal();
        item.text = reader.ReadNameOrOrdinal();
        const std::uint16_t extra = reader.Read<std::uint16_t>();
        for (std::uint16_t b = 0; b < extra; ++b)
            reader.Read<std::uint8_t>();
        dialog.items.push_back(item);
    }
    EXPECT_FALSE(reader.Failed()) << "the template ends inside a record";
    return dialog;
}

class PaneTemplateTest : public ::testing::Test {
protected:
    void SetUp() override {
        module_ = ::LoadLibraryExW(ServerDllPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
        ASSERT_NE(module_, nullptr);
        HRSRC found = ::FindResourceExW(module_, MAKEINTRESOURCEW(5), MAKEINTRESOURCEW(130),
                                        MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));
        ASSERT_NE(found, nullptr) << "dialog 130 in language 1033";
        HGLOBAL loaded = ::LoadResource(module_, found);
        const auto* bytes = static_cast<const BYTE*>(::LockResource(loaded));
        ASSERT_NE(bytes, nullptr);
        pane_ = ParseTemplate(bytes, ::SizeofResource(module_, found));
    }
    void TearDown() override {
        if (module_)
            ::FreeLibrary(module_);
    }

    HMODULE module_ = nullptr;
    DialogTemplate pane_;
};

TEST_F(PaneTemplateTest, DialogHeaderIsAChildControlWithContextHelp) {
    EXPECT_EQ(pane_.style, 0x44000444u);
    EXPECT_EQ(pane_.style, DWORD(WS_CHILD | WS_CLIPSIBLINGS | DS_CONTROL | DS_SETFONT | DS_3DLOOK));
    EXPECT_EQ(pane_.exStyle, 0x404u);
    EXPECT_EQ(pane_.exStyle, DWORD(WS_EX_CONTEXTHELP | WS_EX_NOPARENTNOTIFY));
    EXPECT_EQ(pane_.helpId, 0u);
    EXPECT_EQ(pane_.x, 0);
    EXPECT_EQ(pane_.y, 0);
    EXPECT_EQ(pane_.cx, 323);
    EXPECT_EQ(pane_.cy, 214);
    EXPECT_EQ(pane_.title, L"");
    EXPECT_EQ(pane_.pointSize, 8);
    EXPECT_EQ(pane_.weight, 0);
    EXPECT_EQ(pane_.italic, 0);
    EXPECT_EQ(pane_.charset, 1);
    EXPECT_EQ(pane_.typeface, L"MS Sans Serif");
}

TEST_F(PaneTemplateTest, ControlsInTabOrderWithTheirPlacesStylesAndHelpIds) {
    constexpr DWORD kCaption = 0x50004000; // child, visible, end ellipsis, left aligned
    constexpr DWORD kValue = 0x50004002;   // the same, right aligned
    const ItemTemplate expected[] = {
        {0, 0, 0x50020000, 0, 0, 215, 214, 1119, L"Static", L""},
        {0x808203F3, 0, 0x50010003, 217, 10, 99, 10, 1011, L"Button", L"Preview"},
        {0, 0, 0x40800000, 222, 67, 90, 14, 1100, L"msctls_progress32", L""},
        {0x808203F2, 0, 0x5080010D, 217, 22, 100, 100, 1010, L"Static", L""},
        {0, WS_EX_TRANSPARENT, kCaption, 217, 128, 51, 10, 170, L"Static", L"111"},
        {0, WS_EX_TRANSPARENT, kValue, 273, 128, 44, 10, 171, L"Static", L"111"},
        {0, WS_EX_TRANSPARENT, kCaption, 217, 138, 47, 10, 172, L"Static", L"111"},
        {0, WS_EX_TRANSPARENT, kValue, 267, 138, 50, 10, 173, L"Static", L"111"},
        {0, WS_EX_TRANSPARENT, kCaption, 217, 148, 51, 10, 174, L"Static", L"111"},
        {0, WS_EX_TRANSPARENT, kValue, 275, 148, 42, 10, 175, L"Static", L"111"},
        {0, WS_EX_TRANSPARENT, kCaption, 217, 158, 36, 10, 176, L"Static", L"111"},
        {0, WS_EX_TRANSPARENT, kValue, 257, 158, 60, 10, 177, L"Static", L"111"},
        {0, WS_EX_TRANSPARENT, kCaption, 217, 168, 51, 10, 178, L"Static", L"111"},
        {0, WS_EX_TRANSPARENT, kValue, 273, 168, 44, 10, 179, L"Static", L"111"},
        {0, WS_EX_TRANSPARENT, kCaption, 217, 178, 48, 10, 196, L"Static", L"111"},
        {0, WS_EX_TRANSPARENT, kValue, 269, 178, 48, 10, 197, L"Static", L"111"},
        {0, WS_EX_TRANSPARENT, kCaption, 217, 188, 63, 10, 198, L"Static", L"111"},
        {0, WS_EX_TRANSPARENT, kValue, 282, 188, 36, 10, 199, L"Static", L"111"},
    };
    ASSERT_EQ(pane_.items.size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        const ItemTemplate& want = expected[i];
        const ItemTemplate& got = pane_.items[i];
        SCOPED_TRACE("control " + std::to_string(want.id));
        EXPECT_EQ(got.id, want.id);
        // Window class names are compared as the window manager does: without case.
        EXPECT_EQ(::_wcsicmp(got.windowClass.c_str(), want.windowClass.c_str()), 0)
            << "class " << std::string(got.windowClass.begin(), got.windowClass.end());
        EXPECT_EQ(got.text, want.text);
        EXPECT_EQ(got.style, want.style);
        EXPECT_EQ(got.exStyle, want.exStyle);
        EXPECT_EQ(got.helpId, want.helpId);
        EXPECT_EQ(got.x, want.x);
        EXPECT_EQ(got.y, want.y);
        EXPECT_EQ(got.cx, want.cx);
        EXPECT_EQ(got.cy, want.cy);
    }
}

// The two controls with a help id find their popup texts under the same numbers' low words.
TEST_F(PaneTemplateTest, HelpStringsOfThePreviewAndItsCheckBox) {
    wchar_t text[128] = {};
    ASSERT_GT(::LoadStringW(module_, 1010, text, 128), 0);
    EXPECT_STREQ(text, L"Shows the preview of the selected image");
    ASSERT_GT(::LoadStringW(module_, 1011, text, 128), 0);
    EXPECT_STREQ(text, L"Specifies whether to display the preview of the selected image");
}

} // namespace
} // namespace orrelux::testing
