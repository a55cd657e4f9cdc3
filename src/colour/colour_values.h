// Colour forms of the dialogs and the exact integer conversions between them.
//
// Everything here is pure: no state, no window, and no allocation beyond the caller's string
// in FilterHexText. The plane, strip, marker and entry-field code relies on the truncations of
// these recipes, so they must not be "improved": every value has to come out the same to the
// last unit wherever it is computed.
#ifndef ORRELUX_COLOUR_COLOUR_VALUES_H
#define ORRELUX_COLOUR_COLOUR_VALUES_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace orrelux {

// 0x00RRGGBB: the picker's colour state, palette entries and text forms. The top byte is 0 once
// a value has gone through the colour flow; every reader below ignores it anyway.
using RgbColor = std::uint32_t;
// 0xAARRGGBB: the toolkit's form. Alpha carries no information: it is 0xFF on the way out and
// dropped on the way in.
using ArgbColor = std::uint32_t;
// 0x00BBGGRR: the operating system's COLORREF layout, used for drawing.
using ColorRef = std::uint32_t;

struct RgbChannels {
    std::uint8_t red;
    std::uint8_t green;
    std::uint8_t blue;
};

constexpr bool operator==(const RgbChannels& left, const RgbChannels& right) {
    return left.red == right.red && left.green == right.green && left.blue == right.blue;
}
constexpr bool operator!=(const RgbChannels& left, const RgbChannels& right) {
    return !(left == right);
}

// Hue in whole degrees; saturation and brightness in 16.16 fixed point (kFixedOne = 100 %).
// HsbToRgb accepts hue 0..360 (360 is the same as 0) and saturation/brightness 0..kFixedOne;
// larger saturation or brightness values are outside its 32-bit ranges and give no sense.
// RgbToHsb gives hue 0..359, saturation 0..kFixedOne and brightness 0..65535, always a multiple
// of 257. Because full brightness goes in as 65536 but comes out as 65535, the two conversions
// are no round trip: RgbColor stays the truth and the triple is derived from it.
struct HsbColor {
    std::uint32_t hue;
    std::uint32_t saturation;
    std::uint32_t brightness;
};

constexpr bool operator==(const HsbColor& left, const HsbColor& right) {
    return left.hue == right.hue && left.saturation == right.saturation &&
           left.brightness == right.brightness;
}
constexpr bool operator!=(const HsbColor& left, const HsbColor& right) {
    return !(left == right);
}

constexpr std::uint32_t kFixedOne = 0x10000;

// ---------------------------------------------------------------------------------------------
// Packing and swapping

// Swaps the red and blue bytes and drops the top byte. The swap is its own inverse, so this is
// also the ColorRef -> RgbColor conversion; ColorRefToRgb names that direction at call sites.
constexpr RgbColor RgbToColorRef(std::uint32_t color) {
    return ((color & 0xFFu) << 16) | (color & 0xFF00u) | ((color >> 16) & 0xFFu);
}

constexpr RgbColor ColorRefToRgb(ColorRef ref) {
    return RgbToColorRef(ref);
}

// A COLORREF as the toolkit's colour form, always opaque.
constexpr ArgbColor ColorRefToArgb(ColorRef ref) {
    return RgbToColorRef(ref) | 0xFF000000u;
}

constexpr ArgbColor ForceOpaque(std::uint32_t color) {
    return color | 0xFF000000u;
}

// Each channel is taken as its low 8 bits.
constexpr RgbColor PackRgb(std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
    return ((red & 0xFFu) << 16) | ((green & 0xFFu) << 8) | (blue & 0xFFu);
}

constexpr std::uint8_t RedOf(RgbColor color) {
    return static_cast<std::uint8_t>(color >> 16);
}
constexpr std::uint8_t GreenOf(RgbColor color) {
    return static_cast<std::uint8_t>(color >> 8);
}
constexpr std::uint8_t BlueOf(RgbColor color) {
    return static_cast<std::uint8_t>(color);
}

// Inverse of PackRgb; reads the low 24 bits only.
constexpr RgbChannels UnpackRgb(RgbColor color) {
    return RgbChannels{RedOf(color), GreenOf(color), BlueOf(color)};
}

// ---------------------------------------------------------------------------------------------
// Hue, saturation and brightness

namespace detail {

// A 16.16 level as an 8-bit channel, truncated: level * 255 is at most 0x10000 * 255.
constexpr std::uint8_t LevelToChannel(std::uint32_t level) {
    return static_cast<std::uint8_t>((level * 255) >> 16);
}

constexpr RgbChannels LevelsToChannels(std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
    return RgbChannels{LevelToChannel(red), LevelToChannel(green), LevelToChannel(blue)};
}

} // namespace detail

// Integer-only (it runs per pixel in the plane and strip loops): multiplications, shifts and
// one division by a constant. Any hue above 360 gives black, including hues whose 16.16 form
// would not fit in 32 bits. Channels are truncated, not rounded: a level of kFixedOne gives
// 255, a level of 65535 gives 254.
inline RgbChannels HsbToRgb(std::uint32_t hue, std::uint32_t saturation, std::uint32_t brightness) {
    if (hue > 360) {
        return RgbChannels{0, 0, 0};
    }
    // Position on the colour circle in sixths, 16.16 fixed point. 359 << 16 fits easily.
    const std::uint32_t sixth = hue == 360 ? 0 : (hue << 16) / 60;
    const std::uint32_t sextant = sixth >> 16;
    const std::uint32_t fraction = sixth & 0xFFFFu;
    const std::uint32_t halfBrightness = brightness >> 1; // at most 0x8000
    const std::uint32_t halfSaturation = saturation >> 1; // at most 0x8000

    // (0x10000 - saturation) * halfBrightness: at most 0x10000 * 0x8000 = 0x80000000.
    const std::uint32_t low = ((kFixedOne - saturation) * halfBrightness) >> 15;
    // fraction * saturation: at most 0xFFFF * 0x10000, below 2^32.
    const std::uint32_t falling =
        ((kFixedOne - ((fraction * saturation) >> 16)) * halfBrightness) >> 15;
    // (0x10000 - fraction) * halfSaturation: at most 0x80000000; shifted it is at most 0x10000.
    const std::uint32_t rising =
        ((kFixedOne - (((kFixedOne - fraction) * halfSaturation) >> 15)) * halfBrightness) >> 15;

    switch (sextant) {
    case 0:
        return detail::LevelsToChannels(brightness, rising, low);
    case 1:
        return detail::LevelsToChannels(falling, brightness, low);
    case 2:
        return detail::LevelsToChannels(low, brightness, rising);
    case 3:
        return detail::LevelsToChannels(low, falling, brightness);
    case 4:
        return detail::LevelsToChannels(rising, low, brightness);
    default: // sextant 5: hue 300..359
        return detail::LevelsToChannels(brightness, low, falling);
    }
}

// Hue 0..359; on a tie for the largest channel blue wins over green and green over red, so
// yellow is 60, cyan 180 and magenta 300. Black and every grey give hue 0 and saturation 0.
HsbColor RgbToHsb(std::uint8_t red, std::uint8_t green, std::uint8_t blue);

// Reads the low 24 bits only.
HsbColor RgbToHsb(RgbColor color);

// ---------------------------------------------------------------------------------------------
// Rounding and the maps between pixel positions and channel values

// floor(x), plus one when the fraction is at least 0.5: halves go upwards, so 2.5 gives 3 and
// -2.5 gives -2. A value whose result does not fit in an int (or NaN, e.g. from a zero extent)
// gives INT_MIN, the value the processor's own conversion yields for it.
int RoundToInt(double x);

// Each map is one double expression, evaluated left to right with both operands converted to
// double first, then RoundToInt. The order matters at the rounding edge, so keep it. None of
// them clamps or inverts the axis, and extent excludes the frame inset: both are the caller's.

// value * extent / 65536 (value 0..0x10000; the product is exact in double).
int ScaleFixedToPixels(int value, int extent);
// position / extent * 65536.
int ScalePixelsToFixed(int position, int extent);
// hue * extent * (the double nearest 1/360).
int ScaleHueToPixels(int hue, int extent);
// position / extent * 360.
int ScalePixelsToHue(int position, int extent);

// 30 dr^2 + 59 dg^2 + 11 db^2 over the signed channel differences (first minus second); at
// most 6502500. No square root: only the order matters when looking for the nearest entry.
// Reads the low 24 bits of each colour only.
std::int32_t ColorDistance(RgbColor first, RgbColor second);

// ---------------------------------------------------------------------------------------------
// Text forms of the entry fields

// True for 0-9 and upper-case A-F only; lower-case letters are not digits here.
bool IsHexDigitChar(wchar_t ch);
// 0..15 for the characters IsHexDigitChar accepts, 0 for any other.
int HexDigitValue(wchar_t ch);

// Cleans typed or pasted text for the hexadecimal field: a-f become upper case, every other
// non-digit is dropped and the result is cut to 6 characters. Returns true when target equals
// source character by character, so a lower-case digit counts as a change. A null source is
// treated as empty text.
bool FilterHexText(const wchar_t* source, std::wstring& target);

// Value of a text of hexadecimal digits; empty or null text gives 0. Only the last 6 characters
// count (weights 1, 16, ... 0x100000 from the end); a character that is no upper-case digit
// counts as 0 in its place, so callers parse filtered text.
RgbColor ParseHexColor(const wchar_t* text);

// 6 digits and the terminator.
constexpr std::size_t kHexTextCapacity = 7;

// Writes the low 24 bits in upper-case hexadecimal without leading zeros (0x0000FF gives "FF",
// 0 gives "0"), terminated. The buffer is the caller's and always large enough, so nothing is
// allocated and nothing can fail.
void FormatHexColor(RgbColor color, wchar_t (&text)[kHexTextCapacity]);

// Room for any int in base 10 with a sign, and the terminator.
constexpr std::size_t kChannelTextCapacity = 12;

// Plain base 10, no leading zeros, terminated. The fields hold their values to 0..255 before
// they format, so no sign ever shows there; a negative value would be written with '-'.
void FormatChannelText(int value, wchar_t (&text)[kChannelTextCapacity]);

// Value of the leading decimal digits (0-9); text without a leading digit, null text and a
// leading sign give 0 (a field with any non-digit in it counts as 0 anyway). Values past
// INT_MAX are held at INT_MAX, which the fields then hold to 255 like any large number.
int ParseChannelText(const wchar_t* text);

} // namespace orrelux

#endif // ORRELUX_COLOUR_COLOUR_VALUES_H
