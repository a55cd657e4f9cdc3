// PSD (version 1) and PSB (version 2, the large document format): the 26-byte file header with
// channels, height, width, depth and colour mode. Both are read, with their own size limits
// (30000 and 300000 pixels a side); both are format 8.
//
// Channels beyond the mode's colour channels are alpha channels: the picture then counts as
// transparent, and its depth counts the colour channels and one alpha channel (further channels
// are masks that the composite picture does not show). Multichannel documents have no colour
// channels in that sense: all their channels count, without alpha.
//
// Refused: colour modes other than bitmap, grayscale, indexed, RGB, CMYK, multichannel, duotone
// and Lab.
#include "headers/header_input.h"

namespace orrelux::engine::detail {
namespace {

constexpr unsigned kMaxChannels = 56;

enum ColourMode : unsigned {
    kBitmap = 0,
    kGrayscale = 1,
    kIndexed = 2,
    kRgb = 3,
    kCmyk = 4,
    kMultichannel = 7,
    kDuotone = 8,
    kLab = 9,
};

struct ModeLayout {
    unsigned colourChannels; // 0: all channels are colour channels
    std::uint32_t flags;
};

// The layout of a mode; false for an unknown one.
bool LayoutOf(unsigned mode, ModeLayout& layout) {
    switch (mode) {
    case kBitmap:
    case kGrayscale:
    case kDuotone: // one ink channel, shown through its curves: a gray picture
        layout = {1, kPixelFormatGrayscale};
        return true;
    case kIndexed:
        layout = {1, kPixelFormatIndexed};
        return true;
    case kRgb:
        layout = {3, kPixelFormatRgb};
        return true;
    case kCmyk:
        layout = {4, kPixelFormatCmyk};
        return true;
    case kMultichannel:
        layout = {0, kPixelFormatOtherModel};
        return true;
    case kLab:
        layout = {3, kPixelFormatOtherModel};
        return true;
    default:
        return false;
    }
}

// Bitmap documents are 1 bit deep and indexed ones 8 bits; all others 8, 16 or 32.
bool IsValidDepth(unsigned mode, unsigned depth) {
    if (mode == kBitmap) {
        return depth == 1;
    }
    if (mode == kIndexed) {
        return depth == 8;
    }
    return depth == 8 || depth == 16 || depth == 32;
}

} // namespace

ImageHeader ReadPsd(HeaderInput& input) {
    if (!input.StartsWith("8BPS", 4)) {
        return Failure(kFileFormatPsd, HeaderStatus::NotRecognised);
    }
    // version, 6 reserved bytes, channels, height, width, depth, mode
    std::uint8_t header[22];
    if (!input.Read(4, header, sizeof header)) {
        return Failure(kFileFormatPsd, HeaderStatus::Truncated);
    }
    const unsigned version = Be16(header);
    const unsigned channels = Be16(header + 8);
    const std::uint32_t height = Be32(header + 10);
    const std::uint32_t width = Be32(header + 14);
    const unsigned depth = Be16(header + 18);
    const unsigned mode = Be16(header + 20);
    if (version != 1 && version != 2) {
        return Failure(kFileFormatPsd, HeaderStatus::Unsupported);
    }
    ModeLayout layout{};
    if (!LayoutOf(mode, layout)) {
        return Failure(kFileFormatPsd, HeaderStatus::Unsupported);
    }
    const std::uint32_t maxSide = version == 1 ? 30000 : 300000;
    if (channels == 0 || channels > kMaxChannels || channels < layout.colourChannels ||
        width > maxSide || height > maxSide || !IsValidDepth(mode, depth)) {
        return Failure(kFileFormatPsd, HeaderStatus::Corrupt);
    }
    unsigned shownChannels = channels;
    std::uint32_t flags = layout.flags;
    if (layout.colourChannels != 0) {
        const bool alpha = channels > layout.colourChannels;
        shownChannels = layout.colourChannels + (alpha ? 1 : 0);
        flags |= alpha ? kPixelFormatAlpha : 0;
    }
    return Describe(kFileFormatPsd, width, height, shownChannels * depth, flags);
}

} // namespace orrelux::engine::detail
