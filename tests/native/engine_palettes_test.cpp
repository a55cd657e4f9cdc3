#include "standard_palettes.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <set>
#include <vector>

namespace orrelux::engine {
namespace {

// Each palette's count, then index and colour of its first, last and the joints between the
// parts of its table.
const struct PaletteCase {
    const char* name;
    std::int32_t type;
    std::size_t count;
    std::vector<ArgbColor> entries; // index, colour, index, colour, ...
} kPalettes[] = {
    {"WebSafe",
     kWebSafePalette,
     216,
     {0, 0xFF000000, 1, 0xFF000033, 5, 0xFF0000FF, 6, 0xFF003300, 36, 0xFF330000, 43, 0xFF333333,
      214, 0xFFFFFFCC, 215, 0xFFFFFFFF}},
    {"Windows", kWindowsPalette, 20, {0,  0xFF000000, 1,  0xFF800000, 4,  0xFF000080,
                                      7,  0xFFC0C0C0, 8,  0xFFC0DCC0, 9,  0xFFA6CAF0,
                                      10, 0xFFFFFBF0, 11, 0xFFA0A0A4, 12, 0xFF808080,
                                      13, 0xFFFF0000, 16, 0xFF0000FF, 19, 0xFFFFFFFF}},
    {"Mac", kMacPalette, 256, {0,   0xFFFFFFFF, 1,   0xFFFFFFCC, 6,   0xFFFFCCFF, 36,  0xFFCCFFFF,
                               214, 0xFF000033, 215, 0xFFEE0000, 224, 0xFF110000, 225, 0xFF00EE00,
                               235, 0xFF0000EE, 244, 0xFF000011, 245, 0xFFEEEEEE, 250, 0xFF777777,
                               254, 0xFF111111, 255, 0xFF000000}},
};

TEST(EnginePalettes, CountsAndEntries) {
    for (const auto& c : kPalettes) {
        SCOPED_TRACE(c.name);
        const std::vector<ArgbColor> palette = StandardPalette(c.type);
        ASSERT_EQ(c.count, palette.size());
        for (std::size_t i = 0; i < c.entries.size(); i += 2)
            EXPECT_EQ(c.entries[i + 1], palette[c.entries[i]]) << "entry " << c.entries[i];
        for (std::size_t i = 0; i < palette.size(); ++i)
            EXPECT_EQ(0xFF000000u, palette[i] & 0xFF000000u) << "entry " << i << " is opaque";
        EXPECT_EQ(palette.size(), std::set<ArgbColor>(palette.begin(), palette.end()).size())
            << "no colour twice";
    }
}

TEST(EnginePalettes, UnknownTypesGiveNothing) {
    for (const std::int32_t type : {-1, 0, 1, 5, 0x7FFFFFFF})
        EXPECT_TRUE(StandardPalette(type).empty()) << type;
}

// The two cubes are the same 216 colours in different orders: the Mac palette keeps 215 of them
// in its cube part and black at its very end.
TEST(EnginePalettes, MacCubeAndBlackAreTheWebSafeColours) {
    const std::vector<ArgbColor> webSafe = WebSafePalette();
    const std::vector<ArgbColor> mac = MacPalette();
    ASSERT_EQ(256u, mac.size());
    std::set<ArgbColor> macCube(mac.begin(), mac.begin() + 215);
    macCube.insert(mac.back());
    EXPECT_EQ(std::set<ArgbColor>(webSafe.begin(), webSafe.end()), macCube);
}

} // namespace
} // namespace orrelux::engine
