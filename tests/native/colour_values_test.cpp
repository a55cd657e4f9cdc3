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

TEST(ColourPacking, LayoutsAndSwaps) {
    struct Case {
        const char* what;
        std::uint32_t actual;
        std::uint32_t expected;
    };
    const Case cases[] = {
        {"RgbToColorRef swaps red and blue", RgbToColorRef(0x123456), 0x563412},
        {"RgbToColorRef drops the top byte", RgbToColorRef(0xAB123456), 0x563412},
        {"ColorRefToRgb undoes the swap", ColorRefToRgb(RgbToColorRef(0x123456)), 0x123456},
        {"ColorRefToRgb drops the top byte", ColorRefToRgb(0x7F563412), 0x123456},
        {"ColorRefToArgb is opaque RGB", ColorRefToArgb(0x563412), 0xFF123456},
        {"ColorRefToArgb replaces a stray top byte", ColorRefToArgb(0x01563412), 0xFF123456},
        {"ForceOpaque", ForceOpaque(0x00123456), 0xFF123456},
        {"ForceOpaque keeps channels", ForceOpaque(0x7F000000), 0xFF000000},
        {"PackRgb", PackRgb(0x12, 0x34, 0x56), 0x123456},
        {"PackRgb keeps low 8 bits of each channel", PackRgb(0x312, 0x234, 0x156), 0x123456},
        {"RedOf", RedOf(0xAB123456), 0x12},
        {"GreenOf", GreenOf(0xAB123456), 0x34},
        {"BlueOf", BlueOf(0xAB123456), 0x56},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(c.actual, c.expected);
    }
    EXPECT_EQ(UnpackRgb(0xAB123456), (RgbChannels{0x12, 0x34, 0x56}));
    for (RgbColor color = 0; color <= 0xFFFFFF; color += 0x010203) {
        const RgbChannels channels = UnpackRgb(color);
        EXPECT_EQ(PackRgb(channels.red, channels.green, channels.blue), color);
    }
}

// Each row: a colour, its HSB triple, and what HsbToRgb makes of that triple again.
struct WorkedValue {
    RgbColor color;
    HsbColor hsb;
    RgbChannels back;
};

const WorkedValue kWorkedValues[] = {
    {0xFF0000, {0, 65536, 65535}, {254, 0, 0}},
    {0x00FF00, {120, 65536, 65535}, {0, 254, 0}},
    {0x0000FF, {240, 65536, 65535}, {0, 0, 254}},
    {0xFFFF00, {60, 65536, 65535}, {254, 254, 0}},
    {0xFF00FF, {300, 65536, 65535}, {254, 0, 254}},
    {0xFFFFFF, {0, 0, 65535}, {254, 254, 254}},
    {0x000000, {0, 0, 0}, {0, 0, 0}},
    {0x808080, {0, 0, 32896}, {127, 127, 127}},
    {0x010101, {0, 0, 257}, {0, 0, 0}},
    {0xC86432, {20, 49152, 51400}, {199, 99, 49}},
    {0x123456, {210, 51819, 22102}, {17, 51, 85}},
    {0xFF8000, {30, 65536, 65535}, {254, 127, 0}},
    {0xFE017F, {330, 65277, 65278}, {253, 0, 127}},
    // Two channels tied for the largest.
    {0x00FFFF, {180, 65536, 65535}, {0, 254, 254}},
    {0x808000, {60, 65536, 32896}, {127, 127, 0}},
    {0x008080, {180, 65536, 32896}, {0, 127, 127}},
    {0x800080, {300, 65536, 32896}, {127, 0, 127}},
};

TEST(ColourHsb, WorkedValuesBothWays) {
    for (const WorkedValue& row : kWorkedValues) {
        SCOPED_TRACE(testing::Message() << std::hex << "color 0x" << row.color);
        const HsbColor hsb = RgbToHsb(row.color);
        EXPECT_EQ(hsb, row.hsb);
        EXPECT_EQ(RgbToHsb(RedOf(row.color), GreenOf(row.color), BlueOf(row.color)), row.hsb);
        EXPECT_EQ(HsbToRgb(hsb.hue, hsb.saturation, hsb.brightness), row.back);
        // The top byte never takes part.
        EXPECT_EQ(RgbToHsb(row.color | 0xA5000000), row.hsb);
    }
}

TEST(ColourHsb, DirectHsbToRgbValues) {
    struct Case {
        HsbColor hsb;
        RgbChannels expected;
    };
    const Case cases[] = {
        {{0, 0x10000, 0x10000}, {255, 0, 0}},
        {{120, 0x10000, 0x10000}, {0, 255, 0}},
        {{240, 0x10000, 0x10000}, {0, 0, 255}},
        {{360, 0x10000, 0x10000}, {255, 0, 0}},
        {{0, 0, 0x10000}, {255, 255, 255}},
        {{30, 0x8000, 0x8000}, {127, 95, 63}},
        // Full level in is 255 out, 65535 in is 254 out: channels truncate.
        {{0, 0, 65535}, {254, 254, 254}},
        {{60, 0x10000, 0x10000}, {255, 255, 0}},
        {{180, 0x10000, 0x10000}, {0, 255, 255}},
        {{300, 0x10000, 0x10000}, {255, 0, 255}},
        {{90, 0x10000, 0x10000}, {127, 255, 0}},
        {{359, 0x10000, 0x10000}, {255, 0, 4}},
        // The full channel is the brightness itself while the others are built from its
        // halved value, so an odd brightness can leave a grey one unit uneven.
        {{0, 0, 515}, {2, 1, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "hsb " << c.hsb.hue << ", " << c.hsb.saturation << ", "
                                        << c.hsb.brightness);
        EXPECT_EQ(HsbToRgb(c.hsb.hue, c.hsb.saturation, c.hsb.brightness), c.expected);
    }
}

const std::uint32_t kLevels[] = {0, 1, 257, 0x4000, 0x8000, 0x8001, 0xC000, 65535, 0x10000};

TEST(ColourHsb, HueFullTurnAndBeyond) {
    const std::uint32_t pastFullTurn[] = {361,   362,   420,        1000,      65535,
                                          65536, 65537, 0x7FFFFFFF, 0xFFFFFFFF};
    for (std::uint32_t saturation : kLevels) {
        for (std::uint32_t brightness : kLevels) {
            SCOPED_TRACE(testing::Message() << "s " << saturation << " b " << brightness);
            EXPECT_EQ(HsbToRgb(360, saturation, brightness), HsbToRgb(0, saturation, brightness));
            for (std::uint32_t hue : pastFullTurn) {
                SCOPED_TRACE(testing::Message() << "hue " << hue);
                EXPECT_EQ(HsbToRgb(hue, saturation, brightness), (RgbChannels{0, 0, 0}));
            }
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

TEST(ColourRounding, RoundToInt) {
    struct Case {
        double x;
        int expected;
    };
    const Case cases[] = {
        {0.0, 0},
        {-0.0, 0},
        {2.5, 3},
        {-2.5, -2},
        {0.5, 1},
        {-0.5, 0},
        {1.5, 2},
        {-1.5, -1},
        {2.4999999999999996, 2},  // the double just below 2.5
        {0.49999999999999994, 0}, // just below 0.5: floor(x + 0.5) would give 1
        {-2.5000000000000004, -3},
        {-0.49999999999999994, 0},
        {7.0, 7},
        {-7.0, -7},
        {1e9 + 0.5, 1000000001},
        {2147483647.0, INT_MAX},
        {2147483646.5, INT_MAX},
        {-2147483648.0, INT_MIN},
        {-2147483648.5, INT_MIN},
        // Results outside the int range come out as INT_MIN.
        {2147483647.5, INT_MIN},
        {1e300, INT_MIN},
        {-1e300, INT_MIN},
        {std::numeric_limits<double>::infinity(), INT_MIN},
        {std::numeric_limits<double>::quiet_NaN(), INT_MIN},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "x " << std::hexfloat << c.x);
        EXPECT_EQ(RoundToInt(c.x), c.expected);
    }
}

TEST(ColourRounding, ScaleMaps) {
    enum class Map { FixedToPixels, PixelsToFixed, HueToPixels, PixelsToHue };
    struct Case {
        Map map;
        int value;
        int extent;
        int expected;
    };
    const Case cases[] = {
        {Map::FixedToPixels, 32768, 100, 50},
        {Map::PixelsToFixed, 1, 3, 21845},
        {Map::HueToPixels, 180, 251, 126},
        {Map::HueToPixels, 359, 251, 250},
        {Map::PixelsToHue, 125, 251, 179},
        {Map::PixelsToHue, 251, 251, 360},
        {Map::PixelsToHue, 0, 251, 0},
        {Map::PixelsToHue, 126, 251, 181},
        {Map::FixedToPixels, 0x10000, 251, 251},
        {Map::FixedToPixels, 32768, 1, 1},  // exactly 0.5
        {Map::FixedToPixels, -32768, 1, 0}, // exactly -0.5 rounds up, not away from zero
        {Map::FixedToPixels, 32767, 1, 0},
        {Map::PixelsToFixed, 2, 3, 43691},
        {Map::PixelsToFixed, 251, 251, 0x10000},
        {Map::PixelsToFixed, -1, 2, -32768},
        {Map::PixelsToHue, -1, 251, -1},
        // Rounding edges where another operand order gives a different result:
        // position * 360 / extent gives one more in both.
        {Map::PixelsToHue, 7, 80, 31},
        {Map::PixelsToHue, 23, 144, 57},
        // hue * (extent * k) gives 917.
        {Map::HueToPixels, 225, 1468, 918},
        // hue * k * extent gives 1006.
        {Map::HueToPixels, 183, 1980, 1007},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "map " << static_cast<int>(c.map) << " value " << c.value
                                        << " extent " << c.extent);
        int actual = 0;
        switch (c.map) {
        case Map::FixedToPixels:
            actual = ScaleFixedToPixels(c.value, c.extent);
            break;
        case Map::PixelsToFixed:
            actual = ScalePixelsToFixed(c.value, c.extent);
            break;
        case Map::HueToPixels:
            actual = ScaleHueToPixels(c.value, c.extent);
            break;
        case Map::PixelsToHue:
            actual = ScalePixelsToHue(c.value, c.extent);
            break;
        }
        EXPECT_EQ(actual, c.expected);
    }
}

TEST(ColourDistance, Values) {
    struct Case {
        RgbColor first;
        RgbColor second;
        std::int32_t expected;
    };
    const Case cases[] = {
        {0xFF0000, 0, 1950750},
        {0x00FF00, 0, 3836475},
        {0x0000FF, 0, 715275},
        {0xFFFFFF, 0, 6502500},
        {0x102030, 0x112233, 365},
        {0x112233, 0x102030, 365},
        {0, 0xFFFFFF, 6502500},
        {0x123456, 0x123456, 0},
        // Only the low 24 bits count.
        {0xFF102030, 0x00112233, 365},
        {0xAB000000, 0, 0},
        {0x80FFFFFF, 0x7F000000, 6502500},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << "0x" << c.first << " 0x" << c.second);
        EXPECT_EQ(ColorDistance(c.first, c.second), c.expected);
    }
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

TEST(ColourText, FilterHexText) {
    struct Case {
        const wchar_t* source;
        const wchar_t* cleaned;
        bool unchanged;
    };
    const Case cases[] = {
        {L"12g4", L"124", false},
        {L"abc", L"ABC", false},
        {L"ABC", L"ABC", true},
        {L"1234567", L"123456", false},
        {L"", L"", true},
        {L"123456", L"123456", true},
        {L"#00ff00", L"00FF00", false},
        {L"aBcDeF", L"ABCDEF", false},
        {L"ABCDEF0", L"ABCDEF", false},
        {L"G", L"", false},
        {L" 1", L"1", false},
        {L"\u00E4\uFF21B", L"B", false}, // a-umlaut and full-width A are no digits
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "source \"" << c.source << "\"");
        std::wstring target = L"stale";
        EXPECT_EQ(FilterHexText(c.source, target), c.unchanged);
        EXPECT_EQ(target, c.cleaned);
    }
    std::wstring target = L"stale";
    EXPECT_TRUE(FilterHexText(nullptr, target));
    EXPECT_EQ(target, L"");
}

TEST(ColourText, ParseHexColor) {
    struct Case {
        const wchar_t* text;
        RgbColor expected;
    };
    const Case cases[] = {
        {L"FF", 255},
        {L"ff", 0}, // upper case only: callers parse filtered text
        {L"", 0},
        {L"0", 0},
        {L"ABCD", 0xABCD},
        {L"0000FF", 0xFF},
        {L"FFFFFF", 0xFFFFFF},
        {L"123456", 0x123456},
        {L"F0F", 0xF0F},
        {L"F F", 0xF0F},        // a non-digit still takes its place
        {L"1234567", 0x234567}, // only the last six characters count
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "text \"" << c.text << "\"");
        EXPECT_EQ(ParseHexColor(c.text), c.expected);
    }
    EXPECT_EQ(ParseHexColor(nullptr), 0u);
}

TEST(ColourText, FormatHexColor) {
    struct Case {
        RgbColor color;
        const wchar_t* expected;
    };
    const Case cases[] = {
        {0, L"0"},
        {0xFF, L"FF"},
        {0xABCD, L"ABCD"},
        {0xFFFFFF, L"FFFFFF"},
        {0x100000, L"100000"},
        {0x0A0B0C, L"A0B0C"},
        {0xFF00ABCD, L"ABCD"}, // top byte ignored
        {0xFF000000, L"0"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << "color 0x" << c.color);
        EXPECT_EQ(FormattedHex(c.color), c.expected);
    }
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
    struct FormatCase {
        int value;
        const wchar_t* expected;
    };
    const FormatCase formats[] = {
        {0, L"0"},       {7, L"7"},
        {10, L"10"},     {255, L"255"},
        {1000, L"1000"}, {INT_MAX, L"2147483647"},
        {-5, L"-5"},     {INT_MIN, L"-2147483648"},
    };
    for (const FormatCase& c : formats) {
        SCOPED_TRACE(testing::Message() << "value " << c.value);
        EXPECT_EQ(FormattedChannel(c.value), c.expected);
    }

    struct ParseCase {
        const wchar_t* text;
        int expected;
    };
    const ParseCase parses[] = {
        {L"0", 0},
        {L"255", 255},
        {L"07", 7},
        {L"999", 999},
        {L"", 0},
        {L"12a", 12},
        {L"a12", 0},
        {L"-5", 0},
        {L"+5", 0},
        {L" 5", 0},
        {L"2147483647", INT_MAX},
        {L"2147483648", INT_MAX},
        {L"99999999999999999999", INT_MAX},
    };
    for (const ParseCase& c : parses) {
        SCOPED_TRACE(testing::Message() << "text \"" << c.text << "\"");
        EXPECT_EQ(ParseChannelText(c.text), c.expected);
    }
    EXPECT_EQ(ParseChannelText(nullptr), 0);

    for (int value = 0; value <= 1000; ++value) {
        ASSERT_EQ(ParseChannelText(FormattedChannel(value).c_str()), value);
    }
}

} // namespace
} // namespace orrelux
