// PCX: the 128-byte header. Read are its first 68 bytes, through the bytes per plane line; the
// 256-colour palette at the end of an 8-bit file is not looked at.
//
// Layouts by bits per plane and plane count: 1 bit with 1 to 4 planes, 2, 4 or 8 bits with one
// plane (all indexed, with the header's or the trailing palette), 8 bits with 3 planes (RGB) and
// with 4 planes (RGB and alpha). Others are refused.
#include "headers/header_input.h"

namespace orrelux::engine::detail {
namespace {

constexpr std::uint64_t kHeaderSize = 128;
constexpr std::size_t kFieldsRead = 68;

// Manufacturer 10, a version of PC Paintbrush (0, 2, 3, 4 or 5), encoding 0 (none) or 1 (RLE).
bool IsSignature(const std::uint8_t* header) {
    const unsigned version = header[1];
    return header[0] == 0x0A && version <= 5 && version != 1 && header[2] <= 1;
}

// The flags of a layout of planes; 0 for one that is refused.
std::uint32_t LayoutFlags(unsigned bitsPerPlane, unsigned planes) {
    if ((bitsPerPlane == 1 && planes <= 4) ||
        (planes == 1 && (bitsPerPlane == 2 || bitsPerPlane == 4 || bitsPerPlane == 8))) {
        return kPixelFormatIndexed;
    }
    if (bitsPerPlane == 8 && planes == 3) {
        return kPixelFormatRgb;
    }
    if (bitsPerPlane == 8 && planes == 4) {
        return kPixelFormatRgb | kPixelFormatAlpha;
    }
    return 0;
}

} // namespace

ImageHeader ReadPcx(HeaderInput& input) {
    std::uint8_t header[kFieldsRead];
    if (!input.StartsWith("\x0A", 1) || !input.Read(0, header, 3) || !IsSignature(header)) {
        return Failure(kFileFormatPcx, HeaderStatus::NotRecognised);
    }
    if (!input.Holds(0, kHeaderSize) || !input.Read(0, header, sizeof header)) {
        return Failure(kFileFormatPcx, HeaderStatus::Truncated);
    }
    const unsigned bitsPerPlane = header[3];
    const unsigned xMin = Le16(header + 4);
    const unsigned yMin = Le16(header + 6);
    const unsigned xMax = Le16(header + 8);
    const unsigned yMax = Le16(header + 10);
    const unsigned planes = header[65];
    const unsigned bytesPerLine = Le16(header + 66);
    if (xMax < xMin || yMax < yMin || planes == 0) {
        return Failure(kFileFormatPcx, HeaderStatus::Corrupt);
    }
    const unsigned width = xMax - xMin + 1; // 1 to 65536
    const unsigned height = yMax - yMin + 1;

    const std::uint32_t flags = LayoutFlags(bitsPerPlane, planes);
    if (flags == 0) {
        return Failure(kFileFormatPcx, HeaderStatus::Unsupported);
    }
    // Every plane line holds the row's bits, rounded up to whole bytes.
    if (bytesPerLine < (width * bitsPerPlane + 7) / 8) {
        return Failure(kFileFormatPcx, HeaderStatus::Corrupt);
    }
    return Describe(kFileFormatPcx, width, height, bitsPerPlane * planes, flags);
}

} // namespace orrelux::engine::detail
