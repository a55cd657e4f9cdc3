// Template 130, the file dialog's pane, as the DLL carries it: the system dialog reads the
// template's bytes, so the bytes are what is checked, field by field, against the layout table.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <cwctype>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "test_support.h"

namespace orrelux::testing {
namespace {

// One record of the extended template format: the dialog's own (DLGTEMPLATEEX, with its title as
// the text) or a control's (DLGITEMTEMPLATEEX). Class names are kept in lower case, since the
// window manager compares them without case.
struct Record {
    std::uint32_t helpId, exStyle, style;
    short x, y, cx, cy;
    std::uint32_t id;
    std::wstring windowClass, text;
    auto Tied() const {
        return std::tie(helpId, exStyle, style, x, y, cx, cy, id, windowClass, text);
    }
    bool operator==(const Record& other) const { return Tied() == other.Tied(); }
};
void PrintTo(const Record& r, std::ostream* out) {
    *out << "id " << r.id << " " << std::string(r.windowClass.begin(), r.windowClass.end())
         << " style 0x" << std::hex << r.style << " ex 0x" << r.exStyle << " help 0x" << r.helpId
         << std::dec << " at " << r.x << "," << r.y << " " << r.cx << "x" << r.cy << " text "
         << std::string(r.text.begin(), r.text.end());
}

// Reads the template's fields in order; past the end it reads zeros and records the failure.
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
    // A string or an ordinal (0xFFFF and a number); the predefined classes' ordinals by name.
    std::wstring ReadNameOrOrdinal() {
        std::uint16_t c = Read<std::uint16_t>();
        if (c == 0xFFFF) {
            const std::uint16_t ordinal = Read<std::uint16_t>();
            return ordinal == 0x80   ? L"button"
                   : ordinal == 0x81 ? L"edit"
                   : ordinal == 0x82 ? L"static"
                                     : L"#" + std::to_wstring(ordinal);
        }
        std::wstring text;
        for (; c != 0 && !failed_; c = Read<std::uint16_t>())
            text.push_back(static_cast<wchar_t>(c));
        return text;
    }
    // The fields of a record from its place on, after the help id and the styles. Where a
    // control's identifier stands, the dialog has its menu, which the pane must not have.
    Record ReadRecord(std::uint32_t helpId, std::uint32_t exStyle, std::uint32_t style,
                      bool control) {
        Record r = {helpId,        exStyle,       style, Read<short>(), Read<short>(),
                    Read<short>(), Read<short>(), 0,     L"",           L""};
        if (control)
            r.id = Read<std::uint32_t>();
        else if (!ReadNameOrOrdinal().empty())
            failed_ = true;
        r.windowClass = ReadNameOrOrdinal();
        for (wchar_t& ch : r.windowClass)
            ch = static_cast<wchar_t>(std::towlower(ch));
        r.text = ReadNameOrOrdinal();
        return r;
    }
    void AlignToDword() { offset_ = (offset_ + 3) & ~std::size_t(3); }
    bool Failed() const { return failed_; }

private:
    const BYTE* data_;
    std::size_t size_;
    std::size_t offset_ = 0;
    bool failed_ = false;
};

class PaneTemplateTest : public ::testing::Test {
protected:
    void SetUp() override {
        module_.Reset(::LoadLibraryExW(ServerDllPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
        ASSERT_TRUE(module_);
        const HRSRC found =
            ::FindResourceExW(module_.Get(), MAKEINTRESOURCEW(5), MAKEINTRESOURCEW(130),
                              MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));
        ASSERT_NE(found, nullptr) << "dialog 130 in language 1033";
        const auto* bytes =
            static_cast<const BYTE*>(::LockResource(::LoadResource(module_.Get(), found)));
        ASSERT_NE(bytes, nullptr);
        TemplateReader reader(bytes, ::SizeofResource(module_.Get(), found));
        EXPECT_EQ(reader.Read<std::uint16_t>(), 1) << "dialog version";
        EXPECT_EQ(reader.Read<std::uint16_t>(), 0xFFFF) << "extended template signature";
        const auto helpId = reader.Read<std::uint32_t>(), exStyle = reader.Read<std::uint32_t>(),
                   style = reader.Read<std::uint32_t>();
        const std::uint16_t count = reader.Read<std::uint16_t>();
        dialog_ = reader.ReadRecord(helpId, exStyle, style, false);
        ASSERT_TRUE(style & DS_SETFONT);
        font_ = {reader.Read<std::uint16_t>(), reader.Read<std::uint16_t>(),
                 reader.Read<std::uint8_t>(), reader.Read<std::uint8_t>(),
                 reader.ReadNameOrOrdinal()};
        for (std::uint16_t i = 0; i < count && !reader.Failed(); ++i) {
            reader.AlignToDword();
            const auto itemHelpId = reader.Read<std::uint32_t>(),
                       itemExStyle = reader.Read<std::uint32_t>(),
                       itemStyle = reader.Read<std::uint32_t>();
            controls_.push_back(reader.ReadRecord(itemHelpId, itemExStyle, itemStyle, true));
            const std::uint16_t extra = reader.Read<std::uint16_t>();
            for (std::uint16_t b = 0; b < extra; ++b)
                reader.Read<std::uint8_t>();
        }
        EXPECT_FALSE(reader.Failed()) << "a menu, or the template ends inside a record";
    }

    UniqueModule module_;
    Record dialog_ = {};
    struct Font {
        std::uint16_t pointSize, weight;
        std::uint8_t italic, charset;
        std::wstring typeface;
    } font_ = {};
    std::vector<Record> controls_;
};

TEST_F(PaneTemplateTest, DialogHeaderIsAChildControlWithContextHelp) {
    // Child, clip siblings, control, set font, 3D look; context help, no parent notify.
    EXPECT_EQ(dialog_, (Record{0, 0x404, 0x44000444, 0, 0, 323, 214, 0, L"", L""}));
    EXPECT_EQ(std::make_tuple(8, 0, 0, 1, std::wstring(L"MS Sans Serif")),
              std::make_tuple(font_.pointSize, font_.weight, font_.italic, font_.charset,
                              font_.typeface));
}

TEST_F(PaneTemplateTest, ControlsInTabOrderWithTheirPlacesStylesAndHelpIds) {
    constexpr DWORD kCaption = 0x50004000; // child, visible, end ellipsis, left aligned
    constexpr DWORD kValue = 0x50004002;   // the same, right aligned
    constexpr DWORD kClear = WS_EX_TRANSPARENT;
    const std::vector<Record> expected = {
        {0, 0, 0x50020000, 0, 0, 215, 214, 1119, L"static", L""},
        {0x808203F3, 0, 0x50010003, 217, 10, 99, 10, 1011, L"button", L"Preview"},
        {0, 0, 0x40800000, 222, 67, 90, 14, 1100, L"msctls_progress32", L""},
        {0x808203F2, 0, 0x5080010D, 217, 22, 100, 100, 1010, L"static", L""},
        {0, kClear, kCaption, 217, 128, 51, 10, 170, L"static", L"111"},
        {0, kClear, kValue, 273, 128, 44, 10, 171, L"static", L"111"},
        {0, kClear, kCaption, 217, 138, 47, 10, 172, L"static", L"111"},
        {0, kClear, kValue, 267, 138, 50, 10, 173, L"static", L"111"},
        {0, kClear, kCaption, 217, 148, 51, 10, 174, L"static", L"111"},
        {0, kClear, kValue, 275, 148, 42, 10, 175, L"static", L"111"},
        {0, kClear, kCaption, 217, 158, 36, 10, 176, L"static", L"111"},
        {0, kClear, kValue, 257, 158, 60, 10, 177, L"static", L"111"},
        {0, kClear, kCaption, 217, 168, 51, 10, 178, L"static", L"111"},
        {0, kClear, kValue, 273, 168, 44, 10, 179, L"static", L"111"},
        {0, kClear, kCaption, 217, 178, 48, 10, 196, L"static", L"111"},
        {0, kClear, kValue, 269, 178, 48, 10, 197, L"static", L"111"},
        {0, kClear, kCaption, 217, 188, 63, 10, 198, L"static", L"111"},
        {0, kClear, kValue, 282, 188, 36, 10, 199, L"static", L"111"},
    };
    EXPECT_EQ(expected, controls_);
}

// The two controls with a help id find their popup texts under the same numbers' low words.
TEST_F(PaneTemplateTest, HelpStringsOfThePreviewAndItsCheckBox) {
    wchar_t text[128] = {};
    ASSERT_GT(::LoadStringW(module_.Get(), 1010, text, 128), 0);
    EXPECT_STREQ(text, L"Shows the preview of the selected image");
    ASSERT_GT(::LoadStringW(module_.Get(), 1011, text, 128), 0);
    EXPECT_STREQ(text, L"Specifies whether to display the preview of the selected image");
}

} // namespace
} // namespace orrelux::testing
