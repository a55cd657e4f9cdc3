// libFuzzer target for one image header reader, chosen at compile time with
// -DORRELUX_HEADER_FORMAT=<file format code> (1 JPEG, 2 BMP, 3 PNG, 4 TIFF, 5 PCX, 6 WBMP, 7 GIF,
// 8 PSD). Seeds of that format live in fuzz/corpus/header_<format>/.
//
// Beyond "no crash, no over-read", every input must hold these invariants:
//   - no read asks for a byte at or beyond Size(), and Size() is asked once;
//   - a failure names the format whose signature matched (none for NotRecognised) and leaves
//     width, height and pixel format 0;
//   - a success has width and height of 1 or more, a depth of 1 to 255, no reserved bit, and
//     exactly one colour model (RGB, grayscale, CMYK, indexed or "other");
//   - detection over all formats gives the same answer whenever this format's signature matched;
//   - a success depends on no byte beyond the highest one read: reads that fail from there on
//     change nothing, reads that fail one byte earlier make it fail;
//   - reading through a ReadAheadSource gives the same answer, and its block stays within Size().
#include "headers/image_header.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#ifndef ORRELUX_HEADER_FORMAT
#error "compile with -DORRELUX_HEADER_FORMAT=<file format code>"
#endif

namespace {

using namespace orrelux::engine;

void Check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// Memory that serves its first `served` bytes only, and remembers what it was asked.
class CheckedSource : public ImageByteSource {
public:
    CheckedSource(const std::uint8_t* data, std::size_t size, std::size_t served)
        : memory_(data, std::min(size, served)), size_(size) {}
    std::size_t ReadAt(std::uint64_t offset, void* buffer, std::size_t size) override {
        Check(size > 0 && offset < size_ && size <= size_ - offset);
        highestEnd = std::max<std::uint64_t>(highestEnd, offset + size);
        return memory_.ReadAt(offset, buffer, size);
    }
    std::uint64_t Size() override {
        ++sizeCalls;
        return size_;
    }
    std::uint64_t highestEnd = 0;
    int sizeCalls = 0;

private:
    MemoryImageSource memory_;
    std::size_t size_;
};

ImageHeader ReadThisFormat(ImageByteSource& source) {
    switch (ORRELUX_HEADER_FORMAT) {
    case kFileFormatJpeg:
        return ReadJpegHeader(source);
    case kFileFormatBmp:
        return ReadBmpHeader(source);
    case kFileFormatPng:
        return ReadPngHeader(source);
    case kFileFormatTiff:
        return ReadTiffHeader(source);
    case kFileFormatPcx:
        return ReadPcxHeader(source);
    case kFileFormatWbmp:
        return ReadWbmpHeader(source);
    case kFileFormatGif:
        return ReadGifHeader(source);
    default:
        return ReadPsdHeader(source);
    }
}

bool Same(const ImageHeader& a, const ImageHeader& b) {
    return a.status == b.status && a.fileFormat == b.fileFormat && a.width == b.width &&
           a.height == b.height && a.pixelFormat == b.pixelFormat;
}

bool HasOneModel(std::uint32_t word) {
    const std::uint32_t flags = PixelFormatFlags(word) & ~kPixelFormatAlpha;
    return flags == kPixelFormatIndexed || flags == kPixelFormatRgb ||
           flags == kPixelFormatGrayscale || flags == kPixelFormatCmyk ||
           flags == kPixelFormatOtherModel;
}

ImageHeader ReadChecked(const std::uint8_t* data, std::size_t size, std::size_t served,
                        std::uint64_t* highestEnd) {
    CheckedSource source(data, size, served);
    const ImageHeader header = ReadThisFormat(source);
    Check(source.sizeCalls == 1);
    if (highestEnd != nullptr) {
        *highestEnd = source.highestEnd;
    }
    return header;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::uint64_t highestEnd = 0;
    const ImageHeader header = ReadChecked(data, size, size, &highestEnd);

    if (header.status != HeaderStatus::Ok) {
        Check(header.fileFormat == (header.status == HeaderStatus::NotRecognised
                                        ? kFileFormatUnknown
                                        : ORRELUX_HEADER_FORMAT));
        Check(header.width == 0 && header.height == 0 && header.pixelFormat == 0);
    } else {
        Check(header.fileFormat == ORRELUX_HEADER_FORMAT);
        Check(header.width >= 1 && header.height >= 1);
        Check(PixelFormatDepth(header.pixelFormat) >= 1);
        Check((header.pixelFormat & 0xFF) == 0 && HasOneModel(header.pixelFormat));

        Check(Same(header, ReadChecked(data, size, static_cast<std::size_t>(highestEnd), nullptr)));
        Check(highestEnd > 0);
        const std::size_t shortOfOne = static_cast<std::size_t>(highestEnd - 1);
        Check(ReadChecked(data, size, shortOfOne, nullptr).status != HeaderStatus::Ok);
    }

    if (header.status != HeaderStatus::NotRecognised) {
        MemoryImageSource source(data, size);
        Check(Same(header, ReadImageHeader(source)));
    }

    // Through a read-ahead block the answer is the same: a small block, so that reads straddle
    // its end and refill it, and the product's size.
    for (std::size_t blockSize : {std::size_t{61}, ReadAheadSource::kDefaultBlockSize}) {
        CheckedSource memory(data, size, size);
        ReadAheadSource ahead(memory, blockSize);
        Check(Same(header, ReadThisFormat(ahead)));
        Check(memory.sizeCalls == 1);
    }
    return 0;
}
