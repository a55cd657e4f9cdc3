// What every format reader shares: bounded reads from an ImageByteSource, byte order, and the
// one place that turns found values into an ImageHeader.
//
// No read ever asks for a byte at or beyond Size(): a range that does not fit is refused before
// the source is asked, so a reader that stops early has asked for nothing it did not need.
#ifndef ORRELUX_ENGINE_HEADERS_HEADER_INPUT_H
#define ORRELUX_ENGINE_HEADERS_HEADER_INPUT_H

#include "headers/image_header.h"

#include <cstddef>
#include <cstdint>

namespace orrelux::engine::detail {

// Records (segments, chunks, blocks, fill bytes) a reader follows before the record it looks
// for; a header longer than that is refused as Unsupported, so that a hostile file cannot keep
// the dialog's thread reading a byte at a time.
constexpr unsigned kMaxHeaderRecords = 65536;

class HeaderInput {
public:
    explicit HeaderInput(ImageByteSource& source) : source_(source), size_(source.Size()) {}

    std::uint64_t Size() const { return size_; }

    // True when the count bytes from offset all lie inside the data.
    bool Holds(std::uint64_t offset, std::uint64_t count) const {
        return offset <= size_ && count <= size_ - offset;
    }

    // Exactly count bytes or false: a range beyond the end is not even asked for.
    bool Read(std::uint64_t offset, void* buffer, std::size_t count) {
        return Holds(offset, count) && source_.ReadAt(offset, buffer, count) == count;
    }

    bool ReadByte(std::uint64_t offset, std::uint8_t& value) { return Read(offset, &value, 1); }

    // Compares the data's first bytes with a signature, the first byte alone before the rest, so
    // that a reader of another format asks for one byte only.
    bool StartsWith(const char* signature, std::size_t length);

private:
    ImageByteSource& source_;
    std::uint64_t size_;
};

inline std::uint16_t Le16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}
inline std::uint16_t Be16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>((p[0] << 8) | p[1]);
}
inline std::uint32_t Le32(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}
inline std::uint32_t Be32(const std::uint8_t* p) {
    return (static_cast<std::uint32_t>(p[0]) << 24) | (static_cast<std::uint32_t>(p[1]) << 16) |
           (static_cast<std::uint32_t>(p[2]) << 8) | static_cast<std::uint32_t>(p[3]);
}

// A failed reading. NotRecognised names no format; every other status keeps the format whose
// signature matched.
ImageHeader Failure(std::int32_t fileFormat, HeaderStatus status);

// A successful reading, after the checks every format shares: width and height 1 to INT32_MAX
// (else Corrupt), bits per pixel 1 to kMaxBitsPerPixel (0 is Corrupt, more is Unsupported: the
// word has one byte for it).
ImageHeader Describe(std::int32_t fileFormat, std::uint64_t width, std::uint64_t height,
                     std::uint64_t bitsPerPixel, std::uint32_t flags);

// The format readers over one shared input (one Size() for the whole detection).
ImageHeader ReadJpeg(HeaderInput& input);
ImageHeader ReadBmp(HeaderInput& input);
ImageHeader ReadPng(HeaderInput& input);
ImageHeader ReadTiff(HeaderInput& input);
ImageHeader ReadPcx(HeaderInput& input);
ImageHeader ReadWbmp(HeaderInput& input);
ImageHeader ReadGif(HeaderInput& input);
ImageHeader ReadPsd(HeaderInput& input);

} // namespace orrelux::engine::detail

#endif // ORRELUX_ENGINE_HEADERS_HEADER_INPUT_H
