// GIF 87a and 89a: the logical screen descriptor, then the blocks up to the first image
// descriptor. Colour tables and extension data are skipped by their sizes; of the extensions only
// a Graphic Control Extension's flags byte is read.
//
// Size: the logical screen; a screen of width or height 0 takes the first image's right and
// bottom edges instead. Depth: the bits of the colour table that the first image uses (its local
// table, else the global one); with neither, the screen's colour resolution. Alpha: the first
// image's Graphic Control Extension sets the transparent colour flag. A GCE belongs to the next
// graphic block, so one that precedes a Plain Text Extension does not reach the image.
#include "headers/header_input.h"

namespace orrelux::engine::detail {
namespace {

constexpr std::uint64_t kScreenDescriptorEnd = 13;
constexpr std::uint8_t kExtensionIntroducer = 0x21;
constexpr std::uint8_t kImageSeparator = 0x2C;
constexpr std::uint8_t kGraphicControlLabel = 0xF9;
constexpr std::uint8_t kPlainTextLabel = 0x01;
constexpr std::uint8_t kTableFlag = 0x80;
constexpr std::uint8_t kTransparentFlag = 0x01;
constexpr unsigned kGraphicControlSize = 4;

// Bits per entry of a colour table, from the size field of a packed byte (2^(n+1) entries).
unsigned TableBits(std::uint8_t packed) {
    return (packed & 7u) + 1;
}

std::uint64_t TableBytes(std::uint8_t packed) {
    return (packed & kTableFlag) != 0 ? 3ull << TableBits(packed) : 0;
}

} // namespace

ImageHeader ReadGif(HeaderInput& input) {
    if (!input.StartsWith("GIF87a", 6) && !input.StartsWith("GIF89a", 6)) {
        return Failure(kFileFormatGif, HeaderStatus::NotRecognised);
    }
    std::uint8_t screen[7]; // width, height, packed, background, aspect
    if (!input.Read(6, screen, sizeof screen)) {
        return Failure(kFileFormatGif, HeaderStatus::Truncated);
    }
    const unsigned screenWidth = Le16(screen);
    const unsigned screenHeight = Le16(screen + 2);
    const std::uint8_t screenPacked = screen[4];

    bool transparent = false;
    bool inExtension = false;
    bool graphicControl = false;
    bool firstSubBlock = false;
    std::uint64_t offset = kScreenDescriptorEnd + TableBytes(screenPacked);
    for (unsigned record = 0; record < kMaxHeaderRecords; ++record) {
        std::uint8_t byte = 0;
        if (!input.ReadByte(offset, byte)) {
            return Failure(kFileFormatGif, HeaderStatus::Truncated);
        }
        if (inExtension) { // byte is the size of a sub-block, 0 ends the extension
            if (graphicControl && firstSubBlock) {
                std::uint8_t flags = 0;
                if (byte != kGraphicControlSize) {
                    return Failure(kFileFormatGif, HeaderStatus::Corrupt);
                }
                if (!input.ReadByte(offset + 1, flags)) {
                    return Failure(kFileFormatGif, HeaderStatus::Truncated);
                }
                transparent = (flags & kTransparentFlag) != 0;
            }
            firstSubBlock = false;
            inExtension = byte != 0;
            offset += 1 + static_cast<std::uint64_t>(byte);
            continue;
        }
        if (byte == kExtensionIntroducer) {
            std::uint8_t label = 0;
            if (!input.ReadByte(offset + 1, label)) {
                return Failure(kFileFormatGif, HeaderStatus::Truncated);
            }
            graphicControl = label == kGraphicControlLabel;
            if (label == kPlainTextLabel) {
                transparent = false; // the pending GCE was for this text
            }
            inExtension = true;
            firstSubBlock = true;
            offset += 2;
            continue;
        }
        if (byte == kImageSeparator) {
            std::uint8_t image[9]; // left, top, width, height, packed
            if (!input.Read(offset + 1, image, sizeof image)) {
                return Failure(kFileFormatGif, HeaderStatus::Truncated);
            }
            const unsigned left = Le16(image);
            const unsigned top = Le16(image + 2);
            const unsigned imageWidth = Le16(image + 4);
            const unsigned imageHeight = Le16(image + 6);
            const std::uint8_t imagePacked = image[8];
            if (imageWidth == 0 || imageHeight == 0) {
                return Failure(kFileFormatGif, HeaderStatus::Corrupt);
            }
            const bool emptyScreen = screenWidth == 0 || screenHeight == 0;
            const unsigned width = emptyScreen ? left + imageWidth : screenWidth;
            const unsigned height = emptyScreen ? top + imageHeight : screenHeight;
            unsigned bits = ((screenPacked >> 4) & 7u) + 1; // colour resolution
            if ((imagePacked & kTableFlag) != 0) {
                bits = TableBits(imagePacked);
            } else if ((screenPacked & kTableFlag) != 0) {
                bits = TableBits(screenPacked);
            }
            const std::uint32_t flags = kPixelFormatIndexed | (transparent ? kPixelFormatAlpha : 0);
            return Describe(kFileFormatGif, width, height, bits, flags);
        }
        // The trailer before any image, or a byte that starts no block: nothing to show.
        return Failure(kFileFormatGif, HeaderStatus::Corrupt);
    }
    return Failure(kFileFormatGif, HeaderStatus::Unsupported);
}

} // namespace orrelux::engine::detail
