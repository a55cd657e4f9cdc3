#include "filedialog/selection_buffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace orrelux::filedialog {
namespace {

// Test texts are ASCII. A list is shown with "0" for each terminator.
std::u16string Wide(const std::string& text) {
    return std::u16string(text.begin(), text.end());
}

std::string Narrow(const char16_t* text, std::size_t length) {
    std::string out;
    for (std::size_t i = 0; i < length; ++i)
        out += text[i] == 0 ? '0' : static_cast<char>(text[i]);
    return out;
}

std::string Narrow(const TextResult& text) {
    EXPECT_NE(text, nullptr);
    std::size_t length = 0;
    while (text && text[length] != 0)
        ++length;
    return text ? Narrow(text.get(), length) : "<null>";
}

// Exactly the characters of the strings, each with its terminator, and the closing terminator
// (two terminators for no strings): AddressSanitizer sees any read behind the list.
std::vector<char16_t> ListOf(std::initializer_list<const char*> strings) {
    std::vector<char16_t> list;
    for (const char* s : strings) {
        const std::u16string wide = Wide(s);
        list.insert(list.end(), wide.begin(), wide.end());
        list.push_back(0);
    }
    list.push_back(0);
    if (strings.size() == 0)
        list.push_back(0);
    return list;
}

TEST(SelectionBuffer, ListLength) {
    const struct {
        std::vector<char16_t> list;
        std::int32_t limit;
        std::int32_t expected;
    } cases[] = {
        {ListOf({"All", "*.*"}), 100, 7}, {ListOf({}), 100, 0},
        {ListOf({"", "a"}), 100, 2},      {ListOf({"abc"}), 2, 2},
        {ListOf({"abc"}), 3, 3},          {ListOf({"ab"}), 3, 2},
        {ListOf({"abc"}), 0, 0},          {ListOf({"abc"}), -5, 0},
        {ListOf({"a", "", "b"}), 100, 1},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(GetListLength(c.list.data(), c.limit), c.expected)
            << Narrow(c.list.data(), c.list.size()) << " limit " << c.limit;
    }
    EXPECT_EQ(GetListLength(nullptr, 10), 0);
}

TEST(SelectionBuffer, FilterBarRules) {
    const struct {
        const char* text;
        const char* list;
        const char* back;
    } cases[] = {
        {"All|*.*", "All0*.*00", "All|*.*"},
        {"", "00", ""},
        {"Img|*.jpg;*.png|All|*.*", "Img0*.jpg;*.png0All0*.*00", "Img|*.jpg;*.png|All|*.*"},
        {"a|b|", "a0b000", "a|b"},
        {"a||b", "a00b00", "a"},
        {"|a", "0a00", "|a"},
        {"|", "000", ""},
    };
    for (const auto& c : cases) {
        const std::u16string text = Wide(c.text);
        std::vector<char16_t> list(kFilterListChars, u'x');
        FilterFromText(text, list.data(), list.size());
        EXPECT_EQ(Narrow(list.data(), text.size() + 2), c.list) << c.text;
        EXPECT_EQ(list[text.size() + 2], u'x') << c.text;
        EXPECT_EQ(Narrow(FilterToText(list.data())), c.back) << c.text;
    }

    std::vector<char16_t> small(6, u'x');
    FilterFromText(u"abcdef", small.data(), 5);
    EXPECT_EQ(Narrow(small.data(), 6), "abc00x");
    FilterFromText(u"abcdef", small.data(), 1);
    EXPECT_EQ(Narrow(small.data(), 6), "abc00x");

    // A list that does not close within the text limit reads back cut at that limit.
    std::vector<char16_t> full(kFilterListChars - 1, u'y');
    EXPECT_EQ(Narrow(FilterToText(full.data())), std::string(kFilterTextChars, 'y'));
}

TEST(SelectionBuffer, SingleAndMultiSelection) {
    const struct {
        std::vector<char16_t> buffer;
        std::int32_t count;
        const char* names[4]; // for index -1, 0, 1, 2
    } cases[] = {
        {ListOf({"C:\\pictures\\a.jpg"}), 1, {"", "C:\\pictures\\a.jpg", "", ""}},
        {ListOf({"C:\\pictures", "a.jpg", "b.jpg"}),
         2,
         {"C:\\pictures", "C:\\pictures\\a.jpg", "C:\\pictures\\b.jpg", ""}},
        {ListOf({"C:\\", "a.jpg", "b.jpg"}), 2, {"C:\\", "C:\\a.jpg", "C:\\b.jpg", ""}},
        {ListOf({"D:\\x", "a", "bb", "ccc"}), 3, {"D:\\x", "D:\\x\\a", "D:\\x\\bb", "D:\\x\\ccc"}},
        {ListOf({"C:/pics/", "a.jpg"}), 1, {"C:/pics/", "C:/pics/\\a.jpg", "", ""}},
        {ListOf({}), 0, {"", "", "", ""}},
    };
    for (const auto& c : cases) {
        const auto capacity = static_cast<std::uint32_t>(c.buffer.size() - 1);
        const std::string shown = Narrow(c.buffer.data(), c.buffer.size());
        EXPECT_EQ(GetFileCount(c.buffer.data(), capacity), c.count) << shown;
        for (std::int32_t index = -1; index <= 2; ++index) {
            EXPECT_EQ(Narrow(GetFileNameAt(c.buffer.data(), index, capacity)), c.names[index + 1])
                << shown << " index " << index;
        }
    }
    EXPECT_EQ(GetFileCount(nullptr, 100), 0);
    EXPECT_EQ(GetFileCount(ListOf({"C:\\a.jpg"}).data(), 0), 0);

    // A join longer than a path result is sized by need, not cut.
    const std::string folder = "C:\\" + std::string(300, 'f');
    const auto longList = ListOf({folder.c_str(), "n.jpg"});
    EXPECT_EQ(Narrow(GetFileNameAt(longList.data(), 0, longList.size() - 1)), folder + "\\n.jpg");
}

bool IsPicturesFolder(const char16_t* path) {
    return std::u16string(path) == u"C:\\pictures";
}

TEST(SelectionBuffer, TitleAndFolder) {
    const struct {
        const char* path;
        const char* title;
        const char* folder;
    } cases[] = {
        {"C:\\pictures\\a.jpg", "a.jpg", "C:\\pictures\\"},
        {"C:\\pictures", "", "C:\\pictures"},
        {"C:\\new\\notyet.png", "notyet.png", "C:\\new\\"},
        {"C:/x\\y/z.jpg", "z.jpg", "C:/x\\y/"},
        {"C:\\x/y\\z.jpg", "z.jpg", "C:\\x/y\\"},
        {"C:\\dir\\", "", "C:\\dir\\"},
        {"name.jpg", "", ""},
        {"", "", ""},
    };
    for (const auto& c : cases) {
        const std::u16string path = Wide(c.path);
        EXPECT_EQ(Narrow(GetFileTitle(path.c_str(), IsPicturesFolder)), c.title) << c.path;
        EXPECT_EQ(Narrow(GetFilePath(path.c_str(), IsPicturesFolder)), c.folder) << c.path;
    }
    EXPECT_EQ(Narrow(GetFileTitle(nullptr, IsPicturesFolder)), "");
    EXPECT_EQ(Narrow(GetFilePath(nullptr, IsPicturesFolder)), "");
    EXPECT_EQ(Narrow(GetFileTitle(u"C:\\pictures", nullptr)), "pictures");
    EXPECT_EQ(Narrow(GetFilePath(u"C:\\pictures", nullptr)), "C:\\");
}

TEST(SelectionBuffer, BufferGrowth) {
    FileNameBuffer unallocated;
    EXPECT_FALSE(unallocated.GrowFor(10));

    const struct {
        std::int64_t needed;
        bool grows;
        std::uint32_t capacity;
    } cases[] = {
        {-1, false, 16384},   {16384, false, 16384}, {16385, true, 32768},
        {32768, true, 32768}, {40000, true, 40000},
    };
    for (const auto& c : cases) {
        FileNameBuffer buffer;
        ASSERT_TRUE(buffer.Allocate());
        EXPECT_EQ(GetFileCount(buffer.Data(), buffer.Capacity()), 0);
        // A list that fills the buffer to its last character, with no closing terminator: only the
        // guard behind the capacity ends it.
        std::fill(buffer.Data(), buffer.Data() + buffer.Capacity(), u'n');
        buffer.Data()[0] = u'D';
        buffer.Data()[1] = 0;
        const char16_t* before = buffer.Data();
        const std::int32_t count = GetFileCount(buffer.Data(), buffer.Capacity());
        EXPECT_TRUE(buffer.GrowFor(c.needed)) << c.needed;
        EXPECT_EQ(buffer.Capacity(), c.capacity) << c.needed;
        EXPECT_EQ(buffer.Data() != before, c.grows) << c.needed;
        EXPECT_EQ(buffer.Data()[16383], u'n') << c.needed;
        EXPECT_EQ(buffer.Data()[buffer.Capacity()], 0) << c.needed;
        EXPECT_EQ(GetFileCount(buffer.Data(), buffer.Capacity()), count) << c.needed;
    }

    FileNameBuffer buffer;
    ASSERT_TRUE(buffer.Allocate());
    EXPECT_FALSE(buffer.GrowFor(std::int64_t{FileNameBuffer::kMaxCapacity} + 1));
    EXPECT_EQ(buffer.Capacity(), FileNameBuffer::kInitialCapacity);
    buffer.AssignPath(std::u16string(20000, u'p'));
    EXPECT_EQ(GetListLength(buffer.Data(), 100000), 16382);
    EXPECT_EQ(GetFileCount(buffer.Data(), buffer.Capacity()), 1);
    buffer.AssignPath(u"C:\\a.jpg");
    EXPECT_EQ(Narrow(GetFileNameAt(buffer.Data(), 0, buffer.Capacity())), "C:\\a.jpg");
    buffer.Clear();
    EXPECT_EQ(GetFileCount(buffer.Data(), buffer.Capacity()), 0);
    buffer.Free();
    EXPECT_EQ(buffer.Data(), nullptr);
    EXPECT_EQ(buffer.Capacity(), 0u);
}

} // namespace
} // namespace orrelux::filedialog
