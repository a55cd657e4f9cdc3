// WBMP type 0: a type field 0, a fixed header byte 0, then width and height as multibyte
// integers (7 bits a byte, most significant first, the top bit set on every byte but the last),
// then the rows, each padded to whole bytes, one bit a pixel.
//
// WBMP has no signature, so plenty of other files start like one. It is recognised only when
// every field is plausible: no extension headers, integers of at most 4 bytes in their shortest
// form, width and height 1 or more, and a file exactly as long as the header and the rows. Any
// doubt answers NotRecognised rather than Corrupt: the file may well be something else.
//
// The picture is black and white: grayscale, 1 bit per pixel.
#include "headers/header_input.h"

namespace orrelux::engine::detail {
namespace {

constexpr unsigned kMaxIntegerBytes = 4; // 28 bits

// A multibyte integer at offset; advances offset past it. False when it is cut off, longer than
// kMaxIntegerBytes or starts with a zero continuation byte (a longer form than needed).
bool ReadMultiByte(HeaderInput& input, std::uint64_t& offset, std::uint32_t& value) {
    value = 0;
    for (unsigned i = 0; i < kMaxIntegerBytes; ++i) {
        std::uint8_t byte = 0;
        if (!input.ReadByte(offset, byte) || (i == 0 && byte == 0x80)) {
            return false;
        }
        ++offset;
        value = (value << 7) | (byte & 0x7Fu);
        if ((byte & 0x80) == 0) {
            return true;
        }
    }
    return false;
}

} // namespace

ImageHeader ReadWbmp(HeaderInput& input) {
    const auto notWbmp = Failure(kFileFormatWbmp, HeaderStatus::NotRecognised);
    std::uint8_t fields[2];
    if (!input.StartsWith("\0", 1) || !input.Read(0, fields, sizeof fields) || fields[1] != 0) {
        return notWbmp;
    }
    std::uint64_t offset = 2;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    if (!ReadMultiByte(input, offset, width) || !ReadMultiByte(input, offset, height) ||
        width == 0 || height == 0) {
        return notWbmp;
    }
    const std::uint64_t rowBytes = (static_cast<std::uint64_t>(width) + 7) / 8;
    if (input.Size() != offset + rowBytes * height) { // below 2^25 * 2^28
        return notWbmp;
    }
    return Describe(kFileFormatWbmp, width, height, 1, kPixelFormatGrayscale);
}

} // namespace orrelux::engine::detail
