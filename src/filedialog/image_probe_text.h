// The texts of the pane's property rows: what the header of a picture and its file say, turned
// into seven rows of caption and value.
//
// The Windows side reads the facts (the engine's meta reader, the file's creation date through
// the system's date formatter, the file size) and hands them over in an ImageFacts; everything
// from there on is decided here: which facts are worth reading at all, the value texts, the
// order of the rows, the rule that an empty caption removes its row, and how a text is cut to
// the room of its row. Nothing here allocates a caption or keeps state.
//
// Text is in 16-bit characters: char16_t here, WCHAR on Windows (reinterpret_cast both ways).
#ifndef ORRELUX_FILEDIALOG_IMAGE_PROBE_TEXT_H
#define ORRELUX_FILEDIALOG_IMAGE_PROBE_TEXT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace orrelux::filedialog {

constexpr std::size_t kPropertyRowCount = 7;
// Characters a caption or a value may hold, not counting a terminator.
constexpr std::size_t kPropertyTextCapacity = 100;

// The properties in display order. A caption's notification bit is 0x2000 shifted by its place.
enum class PropertyKind : int {
    Dimensions,
    Date,
    Size,
    Type,
    ColorSpace,
    ColorDepth,
    Transparency,
};

constexpr std::uint32_t PropertyLabelBit(PropertyKind kind) {
    return 0x2000u << static_cast<int>(kind);
}

// The pixel format word of the imaging engine. Each test holds when all bits of its mask are set;
// bits 0 to 7 and the high bits outside the masks mean nothing to the pane.
constexpr std::uint32_t PixelFormatBitsPerPixel(std::uint32_t word) {
    return (word >> 8) & 0xFFu;
}
constexpr bool PixelFormatIsIndexed(std::uint32_t word) {
    return (word & 0x10000u) == 0x10000u;
}
constexpr bool PixelFormatHasAlpha(std::uint32_t word) {
    return (word & 0x40000u) == 0x40000u;
}
constexpr bool PixelFormatIsRgb(std::uint32_t word) {
    return (word & 0x1000000u) == 0x1000000u;
}
constexpr bool PixelFormatIsGrayscale(std::uint32_t word) {
    return (word & 0x12000000u) == 0x12000000u;
}
constexpr bool PixelFormatIsCmyk(std::uint32_t word) {
    return (word & 0x14000000u) == 0x14000000u;
}

struct ColorDepthTexts {
    std::u16string colorSpace;   // empty when the word names no colour space
    std::u16string colorDepth;   // "<bits> bpp"
    std::u16string transparency; // yesText or noText, by the alpha bit alone
};

ColorDepthTexts MyGetColorDepth(std::uint32_t pixelFormat, std::u16string_view yesText,
                                std::u16string_view noText);

// The Type row's text for a file format code of the reader; any code but 1 to 8 is unknown.
std::u16string_view GetFormatName(std::int32_t fileFormat);

// The Size row's text from the low 32 bits of the file size. Those bits read as a signed number:
// negative (2 GiB up to 4 GiB) gives no text. Below 1024 the count is in bytes, from 1024 on in
// whole kilobytes, truncated; there is no larger unit.
std::u16string FileSizeText(std::uint32_t sizeLow32, std::u16string_view kilobytesText,
                            std::u16string_view bytesText);

// The client's captions, by PropertyKind, and the two words of the Transparency row. An empty
// caption removes its row.
struct PropertyCaptions {
    std::array<std::u16string_view, kPropertyRowCount> labels;
    std::u16string_view yesText;
    std::u16string_view noText;

    bool NeedsRow(PropertyKind kind) const { return !labels[static_cast<int>(kind)].empty(); }
};

// Which facts the rows can use. An unrecognised format (code 0) ends the probe before anything
// else is read; otherwise a fact is read only when a row it feeds has a caption.
struct FactsToRead {
    bool dimensions = false; // width and height, both always read together
    bool fileTexts = false;  // date and size of the file
    bool pixelFormat = false;
};

FactsToRead GetFactsToRead(const PropertyCaptions& captions, std::int32_t fileFormat);

struct ImageDimensions {
    std::int32_t width = 0;
    std::int32_t height = 0;
};

// The file's date text (already formatted by the system) and its size text (FileSizeText).
struct FileTexts {
    std::u16string date;
    std::u16string size;
};

// What the reader and the file system gave. A fact that was not read, or whose reading failed,
// is left out; for the file texts that means both, even when the size alone was known.
struct ImageFacts {
    std::int32_t fileFormat = 0;
    std::optional<ImageDimensions> dimensions;
    std::optional<FileTexts> fileTexts;
    std::optional<std::uint32_t> pixelFormat;
};

struct PropertyRow {
    std::u16string caption;
    std::u16string value;
};

using PropertyRows = std::array<PropertyRow, kPropertyRowCount>;

// Fills the rows from row 0 down with no gaps, in display order; rows left over are empty. A row
// is used only when its caption is not empty and its value is known and not empty; dimensions
// need a width and a height of at least 1. Captions and values are cut to
// kPropertyTextCapacity characters. Gives false, with all rows empty, for format code 0.
bool FillPropertyRows(const PropertyCaptions& captions, const ImageFacts& facts,
                      PropertyRows& rows);

// Width of a text in the row's font, in pixels; on Windows GetTextExtentPoint32W.
using TextMeasurer = std::function<int(std::u16string_view text)>;

// The longest leading part of `text` whose measured width is at most `rowWidth`: a value wider
// than its row is cut at the row's edge rather than wrapped or dropped. A surrogate pair is never
// split. Widths are taken to grow with the length, as they do for the system's fonts, so only a
// logarithmic number of measurements is made.
std::u16string_view CutToRowWidth(std::u16string_view text, int rowWidth,
                                  const TextMeasurer& measure);

} // namespace orrelux::filedialog

#endif // ORRELUX_FILEDIALOG_IMAGE_PROBE_TEXT_H
