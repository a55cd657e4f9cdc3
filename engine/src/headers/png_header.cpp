// PNG: the IHDR chunk, then the chunk headers up to the first IDAT, for PLTE and tRNS. Only the
// length and type of a later chunk are read; its data and every CRC stay unread (a decoder checks
// them).
//
// A non-empty tRNS chunk before IDAT makes a gray, RGB or palette picture transparent: its
// contents (which entries, which colour) are not read.
#include "headers/header_input.h"

#include <cstring>

namespace orrelux::engine::detail {
namespace {

constexpr std::uint64_t kSignatureSize = 8;
constexpr std::uint32_t kMaxChunkLength = 0x7FFFFFFF;

enum ColourType : unsigned {
    kGray = 0,
    kRgb = 2,
    kPalette = 3,
    kGrayAlpha = 4,
    kRgbAlpha = 6,
};

bool IsChunk(const std::uint8_t* type, const char* name) {
    return std::memcmp(type, name, 4) == 0;
}

bool IsChunkType(const std::uint8_t* type) {
    for (int i = 0; i < 4; ++i) {
        const bool letter =
            (type[i] >= 'A' && type[i] <= 'Z') || (type[i] >= 'a' && type[i] <= 'z');
        if (!letter) {
            return false;
        }
    }
    return true;
}

// Samples per pixel of a colour type with a valid bit depth; 0 for an invalid pair.
unsigned SamplesPerPixel(unsigned colourType, unsigned bitDepth) {
    const bool upTo8 = bitDepth == 1 || bitDepth == 2 || bitDepth == 4 || bitDepth == 8;
    const bool wide = bitDepth == 8 || bitDepth == 16;
    switch (colourType) {
    case kGray:
        return upTo8 || bitDepth == 16 ? 1 : 0;
    case kRgb:
        return wide ? 3 : 0;
    case kPalette:
        return upTo8 ? 1 : 0;
    case kGrayAlpha:
        return wide ? 2 : 0;
    case kRgbAlpha:
        return wide ? 4 : 0;
    default:
        return 0;
    }
}

std::uint32_t FlagsOf(unsigned colourType) {
    switch (colourType) {
    case kGray:
        return kPixelFormatGrayscale;
    case kRgb:
        return kPixelFormatRgb;
    case kPalette:
        return kPixelFormatIndexed;
    case kGrayAlpha:
        return kPixelFormatGrayscale | kPixelFormatAlpha;
    default:
        return kPixelFormatRgb | kPixelFormatAlpha;
    }
}

} // namespace

ImageHeader ReadPng(HeaderInput& input) {
    if (!input.StartsWith("\x89PNG\r\n\x1A\n", kSignatureSize)) {
        return Failure(kFileFormatPng, HeaderStatus::NotRecognised);
    }
    // IHDR comes first: length 13, type, then width, height, bit depth, colour type,
    // compression, filter and interlace method.
    std::uint8_t ihdr[8 + 13];
    if (!input.Read(kSignatureSize, ihdr, sizeof ihdr)) {
        return Failure(kFileFormatPng, HeaderStatus::Truncated);
    }
    if (Be32(ihdr) != 13 || !IsChunk(ihdr + 4, "IHDR")) {
        return Failure(kFileFormatPng, HeaderStatus::Corrupt);
    }
    const std::uint32_t width = Be32(ihdr + 8);
    const std::uint32_t height = Be32(ihdr + 12);
    const unsigned bitDepth = ihdr[16];
    const unsigned colourType = ihdr[17];
    const unsigned samples = SamplesPerPixel(colourType, bitDepth);
    if (width == 0 || height == 0 || width > kMaxChunkLength || height > kMaxChunkLength ||
        samples == 0 || ihdr[18] != 0 || ihdr[19] != 0 || ihdr[20] > 1) {
        return Failure(kFileFormatPng, HeaderStatus::Corrupt);
    }
    std::uint32_t flags = FlagsOf(colourType);

    bool palette = false;
    std::uint64_t offset = kSignatureSize + 12 + 13;
    for (unsigned record = 0; record < kMaxHeaderRecords; ++record) {
        std::uint8_t chunk[8];
        if (!input.Read(offset, chunk, sizeof chunk)) {
            return Failure(kFileFormatPng, HeaderStatus::Truncated);
        }
        const std::uint32_t length = Be32(chunk);
        const std::uint8_t* type = chunk + 4;
        if (length > kMaxChunkLength || !IsChunkType(type) || IsChunk(type, "IHDR") ||
            IsChunk(type, "IEND")) {
            return Failure(kFileFormatPng, HeaderStatus::Corrupt);
        }
        if (IsChunk(type, "IDAT")) {
            if (colourType == kPalette && !palette) {
                return Failure(kFileFormatPng, HeaderStatus::Corrupt);
            }
            return Describe(kFileFormatPng, width, height, samples * bitDepth, flags);
        }
        if (IsChunk(type, "PLTE")) {
            palette = true;
        } else if (IsChunk(type, "tRNS") && length > 0) {
            flags |= kPixelFormatAlpha; // (types 4 and 6 have an alpha channel anyway)
        }
        offset += 12 + static_cast<std::uint64_t>(length);
    }
    return Failure(kFileFormatPng, HeaderStatus::Unsupported);
}

} // namespace orrelux::engine::detail
