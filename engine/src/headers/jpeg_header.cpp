// JPEG: the frame header (SOFn) after the segments before it. Segments are skipped by their
// length fields; the entropy-coded data never comes into view, because a frame header precedes
// the first scan.
//
// Refused: a frame whose height is 0 (the height comes later in a DNL segment, behind scan
// data), and component counts other than 1, 3 or 4.
#include "headers/header_input.h"

namespace orrelux::engine::detail {
namespace {

constexpr std::uint8_t kMarkerSoi = 0xD8;
constexpr std::uint8_t kMarkerEoi = 0xD9;
constexpr std::uint8_t kMarkerSos = 0xDA;
constexpr std::uint8_t kMarkerTem = 0x01;

// SOF0 to SOF15, less the three codes of that range that are no frames: DHT (C4), JPG (C8) and
// DAC (CC).
bool IsFrameMarker(std::uint8_t code) {
    return code >= 0xC0 && code <= 0xCF && code != 0xC4 && code != 0xC8 && code != 0xCC;
}

// Markers that stand alone, without a length field.
bool IsStandalone(std::uint8_t code) {
    return code == kMarkerTem || (code >= 0xD0 && code <= 0xD7);
}

// Sample precision by process: baseline 8 bits; extended and progressive 8 or 12; lossless
// (SOF3, 7, 11, 15) 2 to 16.
bool IsValidPrecision(std::uint8_t code, unsigned precision) {
    if (code == 0xC0) {
        return precision == 8;
    }
    if ((code & 0x03) == 0x03) {
        return precision >= 2 && precision <= 16;
    }
    return precision == 8 || precision == 12;
}

// The frame header at offset (its length field): Lf, P, Y, X, Nf. The three bytes of each
// component that follow are not read, only their presence is checked.
ImageHeader ReadFrame(HeaderInput& input, std::uint64_t offset, std::uint8_t code) {
    std::uint8_t frame[8];
    if (!input.Read(offset, frame, sizeof frame)) {
        return Failure(kFileFormatJpeg, HeaderStatus::Truncated);
    }
    const unsigned length = Be16(frame);
    const unsigned precision = frame[2];
    const unsigned height = Be16(frame + 3);
    const unsigned width = Be16(frame + 5);
    const unsigned components = frame[7];
    if (components == 0 || length != 8 + 3 * components || width == 0 ||
        !IsValidPrecision(code, precision)) {
        return Failure(kFileFormatJpeg, HeaderStatus::Corrupt);
    }
    if (!input.Holds(offset, length)) {
        return Failure(kFileFormatJpeg, HeaderStatus::Truncated);
    }
    std::uint32_t model = 0;
    switch (components) {
    case 1:
        model = kPixelFormatGrayscale;
        break;
    case 3: // YCbCr (JFIF) or RGB (Adobe, transform 0): both show as RGB
        model = kPixelFormatRgb;
        break;
    case 4: // CMYK or YCCK (Adobe): both show as CMYK
        model = kPixelFormatCmyk;
        break;
    default:
        return Failure(kFileFormatJpeg, HeaderStatus::Unsupported);
    }
    if (height == 0) {
        return Failure(kFileFormatJpeg, HeaderStatus::Unsupported);
    }
    return Describe(kFileFormatJpeg, width, height, components * precision, model);
}

} // namespace

ImageHeader ReadJpeg(HeaderInput& input) {
    if (!input.StartsWith("\xFF\xD8\xFF", 3)) {
        return Failure(kFileFormatJpeg, HeaderStatus::NotRecognised);
    }
    std::uint64_t offset = 2; // the marker after SOI
    for (unsigned record = 0; record < kMaxHeaderRecords; ++record) {
        std::uint8_t marker[2];
        if (!input.Read(offset, marker, sizeof marker)) {
            return Failure(kFileFormatJpeg, HeaderStatus::Truncated);
        }
        if (marker[0] != 0xFF) {
            return Failure(kFileFormatJpeg, HeaderStatus::Corrupt);
        }
        if (marker[1] == 0xFF) { // a fill byte before the marker code
            ++offset;
            continue;
        }
        const std::uint8_t code = marker[1];
        offset += 2;
        if (IsFrameMarker(code)) {
            return ReadFrame(input, offset, code);
        }
        if (IsStandalone(code)) {
            continue;
        }
        // No frame yet: a scan, the end of the picture, a second start or a stuffed zero.
        if (code == kMarkerSos || code == kMarkerEoi || code == kMarkerSoi || code == 0x00) {
            return Failure(kFileFormatJpeg, HeaderStatus::Corrupt);
        }
        std::uint8_t length[2];
        if (!input.Read(offset, length, sizeof length)) {
            return Failure(kFileFormatJpeg, HeaderStatus::Truncated);
        }
        const unsigned segmentLength = Be16(length);
        if (segmentLength < 2) {
            return Failure(kFileFormatJpeg, HeaderStatus::Corrupt);
        }
        offset += segmentLength; // APPn, DQT, DHT, COM, DRI, ...: skipped unread
    }
    return Failure(kFileFormatJpeg, HeaderStatus::Unsupported);
}

} // namespace orrelux::engine::detail
