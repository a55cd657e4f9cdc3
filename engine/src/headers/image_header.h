// Image header reading: what a file is (format, dimensions, pixel layout) from its header alone,
// without touching a single pixel. EngineMetaReader answers its four properties from here.
//
// Portable: no windows.h. The bytes come through ImageByteSource, so the COM object reads from a
// file handle and the tests read from memory. Formats are told apart by their signatures, never
// by the file name.
#ifndef ORRELUX_ENGINE_HEADERS_IMAGE_HEADER_H
#define ORRELUX_ENGINE_HEADERS_IMAGE_HEADER_H

#include <cstddef>
#include <cstdint>

namespace orrelux::engine {

// Random access to the bytes of one file. The readers ask only for the ranges they need, so a
// source need not buffer anything.
class ImageByteSource {
public:
    virtual ~ImageByteSource() = default;
    // Copies up to size bytes starting at offset into buffer and answers how many it copied:
    // fewer than size at the end of the data, 0 from the end on or when the read fails.
    virtual std::size_t ReadAt(std::uint64_t offset, void* buffer, std::size_t size) = 0;
    // The length of the data in bytes. Asked once for each reading of a header, before any read.
    virtual std::uint64_t Size() = 0;
};

// A source over bytes in memory that the caller keeps alive.
class MemoryImageSource : public ImageByteSource {
public:
    MemoryImageSource(const void* data, std::size_t size)
        : data_(static_cast<const std::uint8_t*>(data)), size_(size) {}
    std::size_t ReadAt(std::uint64_t offset, void* buffer, std::size_t size) override;
    std::uint64_t Size() override { return size_; }

private:
    const std::uint8_t* data_;
    std::size_t size_;
};

// Serves small reads from one block read ahead of them. A header is a walk of many small reads
// close together (markers, chunks, directory entries), and over a file each read costs a system
// call; through this source most of them cost a copy. A read larger than half a block, or one
// when the block cannot be had, goes straight to the inner source. The block never reaches past
// the inner source's Size(), which is asked once.
class ReadAheadSource final : public ImageByteSource {
public:
    static constexpr std::size_t kDefaultBlockSize = 64 * 1024;

    explicit ReadAheadSource(ImageByteSource& inner, std::size_t blockSize = kDefaultBlockSize);
    ~ReadAheadSource() override;
    ReadAheadSource(const ReadAheadSource&) = delete;
    ReadAheadSource& operator=(const ReadAheadSource&) = delete;

    std::size_t ReadAt(std::uint64_t offset, void* buffer, std::size_t size) override;
    std::uint64_t Size() override;

private:
    bool Holds(std::uint64_t offset, std::size_t size) const;

    ImageByteSource& inner_;
    std::size_t blockSize_;
    std::uint8_t* block_ = nullptr; // blockSize_ bytes once the first small read comes
    std::uint64_t blockStart_ = 0;
    std::size_t blockLength_ = 0; // bytes of the block that hold data
    std::uint64_t size_ = 0;
    bool sizeKnown_ = false;
};

// File format codes, as EngineMetaReader's FileFormat gives them. 0 means "not recognised".
enum ImageFileFormat : std::int32_t {
    kFileFormatUnknown = 0,
    kFileFormatJpeg = 1,
    kFileFormatBmp = 2,
    kFileFormatPng = 3,
    kFileFormatTiff = 4,
    kFileFormatPcx = 5,
    kFileFormatWbmp = 6,
    kFileFormatGif = 7,
    kFileFormatPsd = 8,
};

// The pixel format word: a 32-bit summary of how a pixel is stored.
//
//   bits 0-7    reserved, always 0
//   bits 8-15   bits per pixel, 1 to 255: every stored sample of a pixel counted (an indexed
//               pixel counts its index bits, an alpha channel counts too); a layout of more bits
//               is refused as Unsupported
//   bit 16      indexed: pixels are indices into a colour table
//   bit 17      reserved, always 0
//   bit 18      alpha: the picture can be transparent, through an alpha channel or through a
//               transparent colour or palette entries (PNG tRNS, GIF transparent index)
//   bits 19-23  reserved, always 0
//   bit 24      RGB colour model (also for YCbCr storage, which decodes to RGB)
//   bit 28      a colour model other than RGB; alone it names none the word can tell (CIE Lab,
//               multichannel), with bit 25 it is grayscale, with bit 26 CMYK
//   bits 25-27, 29-31  only as part of the combinations above, else 0
//
// An indexed picture carries the indexed bit and no colour model bit: its palette is RGB, but a
// reader of the word should see "indexed" first. Exactly one of RGB, grayscale, CMYK, indexed or
// "other" is set for every picture the readers accept.
constexpr std::uint32_t kPixelFormatDepthShift = 8;
constexpr std::uint32_t kPixelFormatDepthMask = 0xFF00;
constexpr std::uint32_t kPixelFormatIndexed = 0x10000;
constexpr std::uint32_t kPixelFormatAlpha = 0x40000;
constexpr std::uint32_t kPixelFormatRgb = 0x1000000;
constexpr std::uint32_t kPixelFormatOtherModel = 0x10000000;
constexpr std::uint32_t kPixelFormatGrayscale = 0x12000000; // bits 25 and 28
constexpr std::uint32_t kPixelFormatCmyk = 0x14000000;      // bits 26 and 28
constexpr unsigned kMaxBitsPerPixel = 255;

// The word of a layout, and its parts back. bitsPerPixel must be 1 to kMaxBitsPerPixel; flags
// are the model and the indexed/alpha bits above.
constexpr std::uint32_t MakePixelFormat(unsigned bitsPerPixel, std::uint32_t flags) {
    return flags | (static_cast<std::uint32_t>(bitsPerPixel) << kPixelFormatDepthShift);
}
constexpr unsigned PixelFormatDepth(std::uint32_t pixelFormat) {
    return (pixelFormat & kPixelFormatDepthMask) >> kPixelFormatDepthShift;
}
constexpr std::uint32_t PixelFormatFlags(std::uint32_t pixelFormat) {
    return pixelFormat & ~kPixelFormatDepthMask;
}

enum class HeaderStatus {
    Ok,
    NotRecognised, // no signature matched: not a picture of any format we know
    Truncated,     // the data ends (or a read fails) before the header does
    Corrupt,       // a field contradicts the format: zero size, bad depth, misplaced records
    Unsupported,   // a well-formed header of a variant we do not describe (see each format),
                   // or one behind more than 65536 records (segments, chunks, blocks)
};

// The answer of a reader. With Ok every field is filled and width and height are 1 or more.
// Otherwise fileFormat tells which signature matched (0 for NotRecognised) and the other fields
// are 0. Width and height are those of the stored pixel grid: an EXIF orientation that stands a
// photograph upright is applied by the decoders to the picture, not to these figures, so a
// portrait photograph stored sideways reads as wider than high here.
struct ImageHeader {
    HeaderStatus status = HeaderStatus::NotRecognised;
    std::int32_t fileFormat = kFileFormatUnknown;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::uint32_t pixelFormat = 0;
};

// Recognises the format by its signature and reads its header. The formats with a signature of
// their own are tried first; WBMP, whose header has none, last and only with plausible values.
ImageHeader ReadImageHeader(ImageByteSource& source);

// One format alone, for callers that know it already. Each answers NotRecognised when its
// signature does not match.
ImageHeader ReadJpegHeader(ImageByteSource& source);
ImageHeader ReadBmpHeader(ImageByteSource& source);
ImageHeader ReadPngHeader(ImageByteSource& source);
ImageHeader ReadTiffHeader(ImageByteSource& source);
ImageHeader ReadPcxHeader(ImageByteSource& source);
ImageHeader ReadWbmpHeader(ImageByteSource& source);
ImageHeader ReadGifHeader(ImageByteSource& source);
ImageHeader ReadPsdHeader(ImageByteSource& source);

} // namespace orrelux::engine

#endif // ORRELUX_ENGINE_HEADERS_IMAGE_HEADER_H
