// BMP: the 14-byte file header and the bitmap header after it, told apart by its size: 12 (core,
// 16-bit fields), 40 (info), 52 and 56 (info with RGB or RGBA masks inside), 108 (v4), 124 (v5).
// A negative height marks rows stored top-down; the picture is as high as its magnitude.
//
// Alpha comes only from a non-zero alpha mask of a 16- or 32-bit bitmap with bit fields: the
// header's own mask (56 bytes and more) or the fourth mask after an info header (ALPHABITFIELDS).
// A 32-bit BI_RGB bitmap has no alpha: its fourth byte is unused, whatever a v4/v5 header holds.
//
// Refused: other header sizes (OS/2 2.x), pictures embedded as JPEG or PNG, CMYK compressions.
#include "headers/header_input.h"

#include <cstdlib>

namespace orrelux::engine::detail {
namespace {

constexpr std::uint64_t kFileHeaderSize = 14;
constexpr std::uint64_t kAlphaMaskOffset = 66; // 14 + 52: the same place in both layouts

enum Compression : std::uint32_t {
    kBiRgb = 0,
    kBiRle8 = 1,
    kBiRle4 = 2,
    kBiBitfields = 3,
    kBiAlphaBitfields = 6,
};

bool IsInfoHeaderSize(std::uint32_t size) {
    return size == 40 || size == 52 || size == 56 || size == 108 || size == 124;
}

std::uint32_t ModelOf(unsigned bitCount) {
    return bitCount <= 8 ? kPixelFormatIndexed : kPixelFormatRgb;
}

ImageHeader ReadCoreHeader(HeaderInput& input) {
    std::uint8_t core[8];
    if (!input.Read(kFileHeaderSize + 4, core, sizeof core)) {
        return Failure(kFileFormatBmp, HeaderStatus::Truncated);
    }
    const unsigned width = Le16(core);
    const unsigned height = Le16(core + 2);
    const unsigned planes = Le16(core + 4);
    const unsigned bitCount = Le16(core + 6);
    if (planes != 1 || (bitCount != 1 && bitCount != 4 && bitCount != 8 && bitCount != 24)) {
        return Failure(kFileFormatBmp, HeaderStatus::Corrupt);
    }
    return Describe(kFileFormatBmp, width, height, bitCount, ModelOf(bitCount));
}

ImageHeader ReadInfoHeader(HeaderInput& input, std::uint32_t headerSize) {
    std::uint8_t info[16];
    if (!input.Holds(0, kFileHeaderSize + headerSize) ||
        !input.Read(kFileHeaderSize + 4, info, sizeof info)) {
        return Failure(kFileFormatBmp, HeaderStatus::Truncated);
    }
    const std::int32_t width = static_cast<std::int32_t>(Le32(info));
    const std::int32_t signedHeight = static_cast<std::int32_t>(Le32(info + 4));
    const unsigned planes = Le16(info + 8);
    const unsigned bitCount = Le16(info + 10);
    const std::uint32_t compression = Le32(info + 12);
    // INT32_MIN has no magnitude in 32 bits: no picture is that high.
    if (width <= 0 || signedHeight == 0 || signedHeight == INT32_MIN || planes != 1) {
        return Failure(kFileFormatBmp, HeaderStatus::Corrupt);
    }
    const std::int32_t height = std::abs(signedHeight);

    bool validDepth = false;
    switch (compression) {
    case kBiRgb:
        validDepth = bitCount == 1 || bitCount == 4 || bitCount == 8 || bitCount == 16 ||
                     bitCount == 24 || bitCount == 32;
        break;
    case kBiRle8:
        validDepth = bitCount == 8;
        break;
    case kBiRle4:
        validDepth = bitCount == 4;
        break;
    case kBiBitfields:
    case kBiAlphaBitfields:
        validDepth = bitCount == 16 || bitCount == 32;
        break;
    default: // 4 JPEG and 5 PNG inside, 11 to 13 CMYK, and whatever else
        return Failure(kFileFormatBmp, HeaderStatus::Unsupported);
    }
    if (!validDepth) {
        return Failure(kFileFormatBmp, HeaderStatus::Corrupt);
    }

    std::uint32_t flags = ModelOf(bitCount);
    const bool hasBitfields = compression == kBiBitfields || compression == kBiAlphaBitfields;
    if (hasBitfields && headerSize == 40) {
        // The masks follow the header: three, or four with ALPHABITFIELDS.
        const std::uint64_t maskCount = compression == kBiAlphaBitfields ? 4 : 3;
        if (!input.Holds(0, kFileHeaderSize + headerSize + 4 * maskCount)) {
            return Failure(kFileFormatBmp, HeaderStatus::Truncated);
        }
    }
    const bool hasAlphaMask =
        compression == kBiAlphaBitfields || (compression == kBiBitfields && headerSize >= 56);
    if (hasAlphaMask) {
        std::uint8_t mask[4];
        if (!input.Read(kAlphaMaskOffset, mask, sizeof mask)) {
            return Failure(kFileFormatBmp, HeaderStatus::Truncated);
        }
        if (Le32(mask) != 0) {
            flags |= kPixelFormatAlpha;
        }
    }
    return Describe(kFileFormatBmp, static_cast<std::uint32_t>(width),
                    static_cast<std::uint32_t>(height), bitCount, flags);
}

} // namespace

ImageHeader ReadBmp(HeaderInput& input) {
    if (!input.StartsWith("BM", 2)) {
        return Failure(kFileFormatBmp, HeaderStatus::NotRecognised);
    }
    std::uint8_t size[4];
    if (!input.Read(kFileHeaderSize, size, sizeof size)) {
        return Failure(kFileFormatBmp, HeaderStatus::Truncated);
    }
    const std::uint32_t headerSize = Le32(size);
    if (headerSize == 12) {
        return ReadCoreHeader(input);
    }
    if (IsInfoHeaderSize(headerSize)) {
        return ReadInfoHeader(input, headerSize);
    }
    return Failure(kFileFormatBmp,
                   headerSize < 12 ? HeaderStatus::Corrupt : HeaderStatus::Unsupported);
}

} // namespace orrelux::engine::detail
