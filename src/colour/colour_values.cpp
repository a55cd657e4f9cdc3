#include "colour_values.h"

#include <climits>
#include <cmath>

namespace orrelux {

namespace {

// Signed 16.16 value shifted right by 16, rounding towards minus infinity (an arithmetic shift),
// written out because C++17 leaves the shift of a negative value to the compiler.
std::int32_t FloorShift16(std::int32_t value) {
    if (value >= 0) {
        return value >> 16;
    }
    // |value| is far below 2^31 here (at most 0x10000 * 60).
    const std::uint32_t magnitude = static_cast<std::uint32_t>(-value);
    return -static_cast<std::int32_t>((magnitude + 0xFFFFu) >> 16);
}

// Distance of one channel from the largest, as a 16.16 fraction of the channel spread.
// (max - channel) <= delta <= 65535, so the shift stays within 32 bits and the result is at
// most 0x10000.
std::int32_t DistanceFromMax(std::uint32_t max, std::uint32_t channel, std::uint32_t delta) {
    return static_cast<std::int32_t>(((max - channel) << 16) / delta);
}

} // namespace

HsbColor RgbToHsb(std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    // 255 * 257 = 65535: full channels become the largest 16-bit value.
    const std::uint32_t r = red * 257u;
    const std::uint32_t g = green * 257u;
    const std::uint32_t b = blue * 257u;
    const std::uint32_t max = r > g ? (r > b ? r : b) : (g > b ? g : b);
    const std::uint32_t min = r < g ? (r < b ? r : b) : (g < b ? g : b);

    HsbColor result{0, 0, max};
    if (max == 0) {
        return result;
    }
    // (max - min) <= 65535, so the shift stays within 32 bits.
    result.saturation = ((max - min) << 16) / max;
    if (result.saturation == 0) {
        return result;
    }
    // Saturation is non-zero only when max differs from min, so delta is never 0.
    const std::uint32_t delta = max - min;
    const std::int32_t rc = DistanceFromMax(max, r, delta);
    const std::int32_t gc = DistanceFromMax(max, g, delta);
    const std::int32_t bc = DistanceFromMax(max, b, delta);

    // Later tests overwrite earlier ones, so on a tie blue wins over green and green over red.
    // (Tied formulas agree: two largest channels leave the third as the smallest.)
    std::int32_t angle = 0;
    if (r == max) {
        angle = bc - gc;
    }
    if (g == max) {
        angle = rc - bc + 0x20000;
    }
    if (b == max) {
        angle = gc - rc + 0x40000;
    }
    // angle lies in -0x10000..0x50000, so angle * 60 stays far inside 32 bits.
    std::int32_t hue = FloorShift16(angle * 60);
    if (hue < 0) {
        hue += 360;
    }
    result.hue = static_cast<std::uint32_t>(hue);
    return result;
}

HsbColor RgbToHsb(RgbColor color) {
    return RgbToHsb(RedOf(color), GreenOf(color), BlueOf(color));
}

int RoundToInt(double x) {
    const double whole = std::floor(x);
    // x - floor(x) is exact for every finite double, and so is adding 1 to a whole number
    // within the int range.
    const double result = x - whole >= 0.5 ? whole + 1.0 : whole;
    // Written so that NaN fails the test as well.
    if (!(result >= static_cast<double>(INT_MIN) && result <= static_cast<double>(INT_MAX))) {
        return INT_MIN;
    }
    return static_cast<int>(result);
}

int ScaleFixedToPixels(int value, int extent) {
    return RoundToInt(static_cast<double>(value) * static_cast<double>(extent) *
                      0.0000152587890625);
}

int ScalePixelsToFixed(int position, int extent) {
    return RoundToInt(static_cast<double>(position) / static_cast<double>(extent) * 65536.0);
}

int ScaleHueToPixels(int hue, int extent) {
    return RoundToInt(static_cast<double>(hue) * static_cast<double>(extent) *
                      0.002777777777777778);
}

int ScalePixelsToHue(int position, int extent) {
    return RoundToInt(static_cast<double>(position) / static_cast<double>(extent) * 360.0);
}

std::int32_t ColorDistance(RgbColor first, RgbColor second) {
    // Each difference is -255..255, so each square is at most 65025.
    const std::int32_t dr = static_cast<std::int32_t>(RedOf(first)) - RedOf(second);
    const std::int32_t dg = static_cast<std::int32_t>(GreenOf(first)) - GreenOf(second);
    const std::int32_t db = static_cast<std::int32_t>(BlueOf(first)) - BlueOf(second);
    return 30 * dr * dr + 59 * dg * dg + 11 * db * db;
}

bool IsHexDigitChar(wchar_t ch) {
    return (ch >= L'0' && ch <= L'9') || (ch >= L'A' && ch <= L'F');
}

int HexDigitValue(wchar_t ch) {
    if (ch >= L'0' && ch <= L'9') {
        return ch - L'0';
    }
    if (ch >= L'A' && ch <= L'F') {
        return ch - L'A' + 10;
    }
    return 0;
}

bool FilterHexText(const wchar_t* source, std::wstring& target) {
    constexpr std::size_t kMaxDigits = kHexTextCapacity - 1;
    target.clear();
    if (source == nullptr) {
        return true;
    }
    std::size_t length = 0;
    for (; source[length] != L'\0'; ++length) {
        wchar_t ch = source[length];
        // Only a-f can become a digit by upper-casing, so the plain ASCII shift is enough and
        // keeps the result independent of any locale.
        if (ch >= L'a' && ch <= L'z') {
            ch = static_cast<wchar_t>(ch - (L'a' - L'A'));
        }
        if (IsHexDigitChar(ch)) {
            target.push_back(ch);
        }
    }
    if (target.size() > kMaxDigits) {
        target.resize(kMaxDigits);
    }
    return target.size() == length && target.compare(0, length, source, length) == 0;
}

RgbColor ParseHexColor(const wchar_t* text) {
    constexpr std::size_t kMaxDigits = kHexTextCapacity - 1;
    if (text == nullptr) {
        return 0;
    }
    std::size_t length = 0;
    while (text[length] != L'\0') {
        ++length;
    }
    const std::size_t first = length > kMaxDigits ? length - kMaxDigits : 0;
    RgbColor value = 0;
    RgbColor weight = 1;
    for (std::size_t index = length; index > first; --index) {
        // At most 15 * 0x100000 per digit: the sum stays within 24 bits.
        value += static_cast<RgbColor>(HexDigitValue(text[index - 1])) * weight;
        weight <<= 4;
    }
    return value;
}

void FormatHexColor(RgbColor color, wchar_t (&text)[kHexTextCapacity]) {
    static constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    RgbColor rest = color & 0xFFFFFFu;
    std::size_t count = 0;
    do {
        ++count;
        rest >>= 4;
    } while (rest != 0);

    rest = color & 0xFFFFFFu;
    text[count] = L'\0';
    for (std::size_t index = count; index > 0; --index) {
        text[index - 1] = kDigits[rest & 0xFu];
        rest >>= 4;
    }
}

void FormatChannelText(int value, wchar_t (&text)[kChannelTextCapacity]) {
    // Work on the magnitude as unsigned so that INT_MIN has one too.
    const bool negative = value < 0;
    std::uint32_t rest =
        negative ? 0u - static_cast<std::uint32_t>(value) : static_cast<std::uint32_t>(value);
    wchar_t reversed[kChannelTextCapacity];
    std::size_t count = 0;
    do {
        reversed[count++] = static_cast<wchar_t>(L'0' + rest % 10);
        rest /= 10;
    } while (rest != 0);

    std::size_t out = 0;
    if (negative) {
        text[out++] = L'-';
    }
    while (count > 0) {
        text[out++] = reversed[--count];
    }
    text[out] = L'\0';
}

int ParseChannelText(const wchar_t* text) {
    if (text == nullptr) {
        return 0;
    }
    int value = 0;
    for (const wchar_t* ch = text; *ch >= L'0' && *ch <= L'9'; ++ch) {
        const int digit = *ch - L'0';
        if (value > (INT_MAX - digit) / 10) {
            return INT_MAX;
        }
        value = value * 10 + digit;
    }
    return value;
}

} // namespace orrelux
