#include "colour/colour_values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <ostream>
#include <string>

namespace orrelux {

// Readable failure output for the value types.
void PrintTo(const RgbChannels& channels, std::ostream* out) {
    *out << "{" << int{channels.red} << ", " << int{channels.green} << ", " << int{channels.blue}
         << "}";
}

void PrintTo(const HsbColor& hsb, std::ostream* out) {
    *out << "{" << hsb.hue << ", " << hsb.saturation << ", " << hsb.brightness << "}";
}

namespace {

std::wstring FormattedHex(RgbColor color) {
    wchar_t text[kHexTextCapacity];
    FormatHexColor(color, text);
    return text;
}

std::wstring FormattedChannel(int value) {
    wchar_t text[kChannelTextCapacity];
    FormatChannelText(value, text);
    return text;
}

// Red and blue swap between the packed forms; a top byte never carries over.
TEST(ColourPacking, LayoutsAndSwaps) {
    const std::uint32_t cases[][2] = {
        {RgbToColorRef(0xAB123456), 0x563412},    {PackRgb(0x312, 0x234, 0x156), 0x123456},
        {ColorRefToRgb(0x7F563412), 0x123456},    {RedOf(0xAB123456), 0x12},
        {ColorRefToArgb(0x01563412), 0xFF123456}, {GreenOf(0xAB123456), 0x34},
        {ForceOpaque(0x7F123456), 0xFF123456},    {BlueOf(0xAB123456), 0x56},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c[0], c[1]) << "case " << &c - cases;
    EXPECT_EQ(UnpackRgb(0xAB123456), (RgbChannels{0x12, 0x34, 0x56}));
}

// Each row: a colour, its HSB triple, and what HsbToRgb makes of that triple again.
const struct WorkedValue {
    RgbColor color;
    HsbColor hsb;
    RgbChannels back;
} kWorkedValues[] = {
    {0xFF0000, {0, 65536, 65535}, {254, 0, 0}},     {0x000000, {0, 0, 0}, {0, 0, 0}},
    {0x00FF00, {120, 65536, 65535}, {0, 254, 0}},   {0x0000FF, {240, 65536, 65535}, {0, 0, 254}},
    {0xFFFF00, {60, 65536, 65535}, {254, 254, 0}},  {0xFF00FF, {300, 65536, 65535}, {254, 0, 254}},
    {0xFFFFFF, {0, 0, 65535}, {254, 254, 254}},     {0xC86432, {20, 49152, 51400}, {199, 99, 49}},
    {0x123456, {210, 51819, 22102}, {17, 51, 85}},  {0xFF8000, {30, 65536, 65535}, {254, 127, 0}},
    {0xFE017F, {330, 65277, 65278}, {253, 0, 127}}, {0x00FFFF, {180, 65536, 65535}, {0, 254, 254}},
};

TEST(ColourHsb, WorkedValuesBothWays) {
    for (const auto& row : kWorkedValues) {
        SCOPED_TRACE(testing::Message() << std::hex << "color 0x" << row.color);
        const HsbColor hsb = RgbToHsb(row.color);
        EXPECT_EQ(hsb, row.hsb);
        EXPECT_EQ(RgbToHsb(RedOf(row.color), GreenOf(row.color), BlueOf(row.color)), row.hsb);
        EXPECT_EQ(HsbToRgb(hsb.hue, hsb.saturation, hsb.brightness), row.back);
        // The top byte never takes part.
        EXPECT_EQ(RgbToHsb(row.color | 0xA5000000), row.hsb);
    }
}

// The full channel is the brightness itself while the others are built from its halved value,
// so an odd brightness can leave a grey one unit uneven.
TEST(ColourHsb, DirectHsbToRgbValues) {
    const struct {
        HsbColor hsb;
        RgbChannels expected;
    } cases[] = {
        {{0, 0x10000, 0x10000}, {255, 0, 0}},     {{0, 0, 515}, {2, 1, 1}},
        {{120, 0x10000, 0x10000}, {0, 255, 0}},   {{240, 0x10000, 0x10000}, {0, 0, 255}},
        {{60, 0x10000, 0x10000}, {255, 255, 0}},  {{0, 0, 0x10000}, {255, 255, 255}},
        {{180, 0x10000, 0x10000}, {0, 255, 255}}, {{30, 0x8000, 0x8000}, {127, 95, 63}},
        {{300, 0x10000, 0x10000}, {255, 0, 255}}, {{90, 0x10000, 0x10000}, {127, 255, 0}},
        {{359, 0x10000, 0x10000}, {255, 0, 4}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(HsbToRgb(c.hsb.hue, c.hsb.saturation, c.hsb.brightness), c.expected)
            << "hsb " << c.hsb.hue << ", " << c.hsb.saturation << ", " << c.hsb.brightness;
}

const std::uint32_t kLevels[] = {0, 1, 257, 0x4000, 0x8000, 0x8001, 0xC000, 65535, 0x10000};

TEST(ColourHsb, HueFullTurnAndBeyond) {
    const std::uint32_t pastFullTurn[] = {361,   362,   420,        1000,      65535,
                                          65536, 65537, 0x7FFFFFFF, 0xFFFFFFFF};
    for (std::uint32_t saturation : kLevels) {
        for (std::uint32_t brightness : kLevels) {
            SCOPED_TRACE(testing::Message() << "s " << saturation << " b " << brightness);
            EXPECT_EQ(HsbToRgb(360, saturation, brightness), HsbToRgb(0, saturation, brightness));
            for (std::uint32_t hue : pastFullTurn)
                EXPECT_EQ(HsbToRgb(hue, saturation, brightness), (RgbChannels{0, 0, 0})) << hue;
        }
    }
}

TEST(ColourHsb, ZeroSaturationIsGreyAtAnyHue) {
    // Every brightness that RgbToHsb can give (multiples of 257), and every even brightness.
    for (std::uint32_t hue = 0; hue <= 360; ++hue) {
        for (std::uint32_t brightness = 0; brightness <= 0x10000; brightness += 2) {
            const RgbChannels grey = HsbToRgb(hue, 0, brightness);
            if (grey.red != grey.green || grey.green != grey.blue) {
                ADD_FAILURE() << "hue " << hue << " brightness " << brightness;
                return;
            }
        }
        for (std::uint32_t level = 0; level <= 255; ++level) {
            const RgbChannels grey = HsbToRgb(hue, 0, level * 257);
            // level * 257 * 255 is level * 65536 - level: one unit short of level.
            const auto expected = static_cast<std::uint8_t>(level == 0 ? 0 : level - 1);
            ASSERT_EQ(grey, (RgbChannels{expected, expected, expected}))
                << "hue " << hue << " level " << level;
        }
    }
}

TEST(ColourHsb, SaturatedHuesAreContinuousAndReadBack) {
    // A swapped row or level in the sextant table shows up as a jump at a sextant border.
    for (std::uint32_t hue = 0; hue < 360; ++hue) {
        SCOPED_TRACE(testing::Message() << "hue " << hue);
        const RgbChannels here = HsbToRgb(hue, 0x10000, 0x10000);
        const RgbChannels next = HsbToRgb(hue + 1, 0x10000, 0x10000);
        EXPECT_LE(std::abs(here.red - next.red), 5);
        EXPECT_LE(std::abs(here.green - next.green), 5);
        EXPECT_LE(std::abs(here.blue - next.blue), 5);

        const HsbColor back = RgbToHsb(PackRgb(here.red, here.green, here.blue));
        const int drift = std::abs(static_cast<int>(back.hue) - static_cast<int>(hue));
        EXPECT_LE(drift == 359 ? 1 : drift, 1);
        EXPECT_EQ(back.saturation, kFixedOne);
        EXPECT_EQ(back.brightness, 65535u);
    }
}

TEST(ColourHsb, RgbToHsbRangesOverEveryColour) {
    for (std::uint32_t red = 0; red <= 255; ++red) {
        for (std::uint32_t green = 0; green <= 255; ++green) {
            const std::uint32_t redGreenMax = red > green ? red : green;
            for (std::uint32_t blue = 0; blue <= 255; ++blue) {
                const HsbColor hsb =
                    RgbToHsb(static_cast<std::uint8_t>(red), static_cast<std::uint8_t>(green),
                             static_cast<std::uint8_t>(blue));
                const std::uint32_t max = redGreenMax > blue ? redGreenMax : blue;
                const bool grey = red == green && green == blue;
                if (hsb.hue >= 360 || hsb.saturation > kFixedOne || hsb.brightness != max * 257 ||
                    grey != (hsb.saturation == 0) || (grey && hsb.hue != 0)) {
                    FAIL() << "rgb " << red << ", " << green << ", " << blue << " gives " << hsb.hue
                           << ", " << hsb.saturation << ", " << hsb.brightness;
                }
            }
        }
    }
}

// Halves round up, the doubles just below them down (floor(x + 0.5) gives 1 for the one below
// 0.5); results outside the int range come out as INT_MIN.
TEST(ColourRounding, RoundToInt) {
    const struct {
        double x;
        int expected;
    } cases[] = {
        {2147483647.0, INT_MAX},  {2.5, 3},
        {2147483646.5, INT_MAX},  {-2.5, -2},
        {-2147483648.0, INT_MIN}, {0.5, 1},
        {-2147483648.5, INT_MIN}, {-0.5, 0},
        {2147483647.5, INT_MIN},  {1e300, INT_MIN},
        {2.4999999999999996, 2},  {-1e300, INT_MIN},
        {0.49999999999999994, 0}, {-2.5000000000000004, -3},
    };
    for (const auto& c : cases)
        EXPECT_EQ(RoundToInt(c.x), c.expected) << "x " << std::hexfloat << c.x;
    EXPECT_EQ(RoundToInt(std::numeric_limits<double>::infinity()), INT_MIN);
    EXPECT_EQ(RoundToInt(std::numeric_limits<double>::quiet_NaN()), INT_MIN);
}

// Exactly -0.5 rounds up, not away from zero. The last four rows are rounding edges where
// another operand order gives a different result: position * 360 / extent one more in the
// first two, hue * (extent * k) 917 and hue * k * extent 1006 in the last two.
TEST(ColourRounding, ScaleMaps) {
    const struct {
        int (*map)(int, int);
        int value, extent, expected;
    } cases[] = {
        {ScaleFixedToPixels, 32768, 100, 50}, {ScaleFixedToPixels, 0x10000, 251, 251},
        {ScaleFixedToPixels, 32768, 1, 1},    {ScaleFixedToPixels, -32768, 1, 0},
        {ScaleFixedToPixels, 32767, 1, 0},    {ScalePixelsToFixed, 1, 3, 21845},
        {ScalePixelsToFixed, 2, 3, 43691},    {ScalePixelsToFixed, 251, 251, 0x10000},
        {ScalePixelsToFixed, -1, 2, -32768},  {ScaleHueToPixels, 180, 251, 126},
        {ScaleHueToPixels, 359, 251, 250},    {ScalePixelsToHue, 125, 251, 179},
        {ScalePixelsToHue, 251, 251, 360},    {ScalePixelsToHue, 0, 251, 0},
        {ScalePixelsToHue, 126, 251, 181},    {ScalePixelsToHue, -1, 251, -1},
        {ScalePixelsToHue, 7, 80, 31},        {ScalePixelsToHue, 23, 144, 57},
        {ScaleHueToPixels, 225, 1468, 918},   {ScaleHueToPixels, 183, 1980, 1007},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.map(c.value, c.extent), c.expected) << "row " << &c - cases;
}

// Only the low 24 bits count.
TEST(ColourDistance, Values) {
    const struct {
        RgbColor first, second;
        std::int32_t expected;
    } cases[] = {
        {0xFF0000, 0, 1950750},    {0x00FF00, 0, 3836475},
        {0x0000FF, 0, 715275},     {0xFFFFFF, 0, 6502500},
        {0x102030, 0x112233, 365}, {0x112233, 0x102030, 365},
        {0x123456, 0x123456, 0},   {0xFF102030, 0x00112233, 365},
        {0xAB000000, 0, 0},        {0x80FFFFFF, 0x7F000000, 6502500},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ColorDistance(c.first, c.second), c.expected)
            << std::hex << "0x" << c.first << " 0x" << c.second;
}

TEST(ColourText, HexDigits) {
    const std::wstring digits = L"0123456789ABCDEF";
    for (int ch = 0; ch < 0x10000; ++ch) {
        const auto wide = static_cast<wchar_t>(ch);
        const std::size_t position = digits.find(wide);
        const bool digit = position != std::wstring::npos;
        ASSERT_EQ(IsHexDigitChar(wide), digit) << "char " << ch;
        ASSERT_EQ(HexDigitValue(wide), digit ? static_cast<int>(position) : 0) << "char " << ch;
    }
}

// Upper case, six digits at most; a-umlaut and full-width A are no digits.
TEST(ColourText, FilterHexText) {
    const struct {
        const wchar_t *source, *cleaned;
        bool unchanged;
    } cases[] = {
        {L"12g4", L"124", false},        {L"abc", L"ABC", false}, {L"ABC", L"ABC", true},
        {L"1234567", L"123456", false},  {L"", L"", true},        {L"123456", L"123456", true},
        {L"#00ff00", L"00FF00", false},  {L"G", L"", false},      {L" 1", L"1", false},
        {L"\u00E4\uFF21B", L"B", false},
    };
    for (const auto& c : cases) {
        std::wstring target = L"stale";
        EXPECT_EQ(FilterHexText(c.source, target), c.unchanged) << c.source;
        EXPECT_EQ(target, c.cleaned);
    }
    std::wstring target = L"stale";
    EXPECT_TRUE(FilterHexText(nullptr, target));
    EXPECT_EQ(target, L"");
}

// Upper case only (callers parse filtered text); a non-digit still takes its place, and only the
// last six characters count.
TEST(ColourText, ParseHexColor) {
    const struct {
        const wchar_t* text;
        RgbColor expected;
    } cases[] = {
        {L"FF", 255},          {L"ff", 0},        {L"", 0},
        {L"ABCD", 0xABCD},     {L"0000FF", 0xFF}, {L"FFFFFF", 0xFFFFFF},
        {L"123456", 0x123456}, {L"F F", 0xF0F},   {L"1234567", 0x234567},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ParseHexColor(c.text), c.expected) << c.text;
    EXPECT_EQ(ParseHexColor(nullptr), 0u);
}

TEST(ColourText, FormatHexColor) {
    const struct {
        RgbColor color;
        const wchar_t* expected;
    } cases[] = {
        {0xFFFFFF, L"FFFFFF"}, {0, L"0"},          {0x0A0B0C, L"A0B0C"},  {0xFF, L"FF"},
        {0xFF00ABCD, L"ABCD"}, {0xFF000000, L"0"}, {0x100000, L"100000"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(FormattedHex(c.color), c.expected) << std::hex << c.color;
}

TEST(ColourText, HexFormatParseAndFilterAgree) {
    for (RgbColor color = 0; color <= 0xFFFFFF; color += 97) {
        const std::wstring text = FormattedHex(color);
        std::wstring cleaned;
        if (ParseHexColor(text.c_str()) != color || !FilterHexText(text.c_str(), cleaned)) {
            FAIL() << std::hex << "color 0x" << color;
        }
    }
}

TEST(ColourText, ChannelText) {
    const std::pair<int, const wchar_t*> formats[] = {
        {0, L"0"},   {7, L"7"},
        {10, L"10"}, {INT_MAX, L"2147483647"},
        {-5, L"-5"}, {INT_MIN, L"-2147483648"},
    };
    for (const auto& [value, text] : formats)
        EXPECT_EQ(FormattedChannel(value), text) << value;

    const std::pair<const wchar_t*, int> parses[] = {
        {L"07", 7},   {L"", 0},    {L"2147483647", INT_MAX},
        {L"12a", 12}, {L"a12", 0}, {L"2147483648", INT_MAX},
        {L"-5", 0},   {L"+5", 0},  {L"99999999999999999999", INT_MAX},
        {L" 5", 0},
    };
    for (const auto& [text, value] : parses)
        EXPECT_EQ(ParseChannelText(text), value) << text;
    EXPECT_EQ(ParseChannelText(nullptr), 0);

    for (int value = 0; value <= 1000; ++value) {
        ASSERT_EQ(ParseChannelText(FormattedChannel(value).c_str()), value);
    }
}

} // namespace
} // namespace orrelux
