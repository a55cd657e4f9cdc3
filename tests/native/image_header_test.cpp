#include "headers/image_header.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <vector>

namespace orrelux::engine {
namespace {

using Bytes = std::vector<std::uint8_t>;

// The pixel format word as the file dialog's probe reads it: depth in bits 8-15, indexed bit 16,
// alpha bit 18, RGB bit 24, grayscale bits 25 and 28, CMYK bits 26 and 28.
constexpr std::uint32_t kIdx = 0x10000;
constexpr std::uint32_t kA = 0x40000;
constexpr std::uint32_t kRgbBit = 0x1000000;
constexpr std::uint32_t kGrayBits = 0x12000000;
constexpr std::uint32_t kCmykBits = 0x14000000;
constexpr std::uint32_t kOtherBit = 0x10000000;
constexpr std::uint32_t Word(unsigned bitsPerPixel, std::uint32_t bits) {
    return bits | (bitsPerPixel << 8);
}

struct Writer {
    Bytes b;
    Writer& U8(unsigned v) {
        b.push_back(static_cast<std::uint8_t>(v));
        return *this;
    }
    Writer& Le16(unsigned v) { return U8(v).U8(v >> 8); }
    Writer& Be16(unsigned v) { return U8(v >> 8).U8(v); }
    Writer& Le32(std::uint32_t v) { return Le16(v & 0xFFFF).Le16(v >> 16); }
    Writer& Be32(std::uint32_t v) { return Be16(v >> 16).Be16(v & 0xFFFF); }
    Writer& Text(const std::string& s) {
        b.insert(b.end(), s.begin(), s.end());
        return *this;
    }
    Writer& Fill(std::size_t n, unsigned v = 0) {
        b.insert(b.end(), n, static_cast<std::uint8_t>(v));
        return *this;
    }
    Writer& Add(const Bytes& more) {
        b.insert(b.end(), more.begin(), more.end());
        return *this;
    }
};

Bytes Cat(std::initializer_list<Bytes> parts) {
    Writer w;
    for (const Bytes& part : parts)
        w.Add(part);
    return w.b;
}

Bytes Patched(Bytes bytes, std::size_t offset, unsigned value) {
    bytes.at(offset) = static_cast<std::uint8_t>(value);
    return bytes;
}

// Builders: each ends where the header that its reader needs ends.

Bytes JpegSegment(unsigned code, std::size_t payload) {
    return Writer().U8(0xFF).U8(code).Be16(static_cast<unsigned>(payload + 2)).Fill(payload).b;
}
const Bytes kJfif = JpegSegment(0xE0, 14);

Bytes Jpeg(unsigned width, unsigned height, unsigned components, unsigned sof = 0xC0,
           unsigned precision = 8, const Bytes& before = kJfif) {
    Writer w;
    w.U8(0xFF).U8(0xD8).Add(before).U8(0xFF).U8(sof).Be16(8 + 3 * components).U8(precision);
    w.Be16(height).Be16(width).U8(components);
    for (unsigned i = 0; i < components; ++i)
        w.U8(i + 1).U8(0x11).U8(0);
    return w.b;
}

struct BmpFields {
    std::uint32_t headerSize;
    std::int32_t width;
    std::int32_t height;
    unsigned bitCount;
    std::uint32_t compression;
    std::uint32_t alphaMask;
};

Bytes Bmp(const BmpFields& s) {
    Writer w;
    w.Text("BM").Le32(0).Le32(0).Le32(0).Le32(s.headerSize);
    if (s.headerSize == 12)
        return w.Le16(s.width).Le16(s.height).Le16(1).Le16(s.bitCount).b;
    w.Le32(s.width).Le32(s.height).Le16(1).Le16(s.bitCount).Le32(s.compression).Fill(20);
    std::size_t masks = s.compression == 6 ? 4 : s.compression == 3 ? 3 : 0;
    masks = s.headerSize >= 56 ? 4 : s.headerSize == 52 ? 3 : masks;
    const std::uint32_t maskValues[] = {0xFF0000, 0xFF00, 0xFF, s.alphaMask};
    for (std::size_t i = 0; i < masks; ++i)
        w.Le32(maskValues[i]);
    return w.Fill(14 + std::max<std::size_t>(s.headerSize, 40 + 4 * masks) - w.b.size()).b;
}

struct Chunk {
    const char* type;
    std::uint32_t length;
};

Bytes Png(std::uint32_t width, std::uint32_t height, unsigned depth, unsigned colourType,
          const std::vector<Chunk>& chunks = {}) {
    Writer w;
    w.Text("\x89PNG\r\n\x1A\n").Be32(13).Text("IHDR").Be32(width).Be32(height);
    w.U8(depth).U8(colourType).Fill(3).Fill(4);
    for (const Chunk& c : chunks)
        w.Be32(c.length).Text(c.type).Fill(c.length + 4);
    return w.Be32(1000).Text("IDAT").b;
}

struct TiffEntry {
    std::uint16_t tag;
    std::uint16_t type; // 1 BYTE, 2 ASCII, 3 SHORT, 4 LONG
    std::vector<std::uint32_t> values;
};
TiffEntry Short(std::uint16_t tag, std::vector<std::uint32_t> v) {
    return {tag, 3, v};
}
TiffEntry Long(std::uint16_t tag, std::vector<std::uint32_t> v) {
    return {tag, 4, v};
}

// Header, the arrays that do not fit in their entries, then the IFD (last, as many writers put
// it after the pixel data).
Bytes Tiff(bool bigEndian, const std::vector<TiffEntry>& entries, std::string magic = {}) {
    const auto put = [bigEndian](Writer& w, unsigned bytes, std::uint32_t v) {
        if (bytes == 1)
            w.U8(v);
        else if (bytes == 2)
            bigEndian ? w.Be16(v) : w.Le16(v);
        else
            bigEndian ? w.Be32(v) : w.Le32(v);
    };
    const auto width = [](std::uint16_t type) { return type <= 2 ? 1u : type == 3 ? 2u : 4u; };
    Writer arrays;
    std::vector<std::uint32_t> offsets;
    for (const TiffEntry& e : entries) {
        offsets.push_back(0);
        if (e.values.size() * width(e.type) > 4) {
            offsets.back() = static_cast<std::uint32_t>(8 + arrays.b.size());
            for (std::uint32_t v : e.values)
                put(arrays, width(e.type), v);
        }
    }
    Writer w;
    w.Text(!magic.empty() ? magic : bigEndian ? std::string("MM\0*", 4) : std::string("II*\0", 4));
    put(w, 4, static_cast<std::uint32_t>(8 + arrays.b.size()));
    w.Add(arrays.b);
    put(w, 2, static_cast<std::uint32_t>(entries.size()));
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const TiffEntry& e = entries[i];
        put(w, 2, e.tag);
        put(w, 2, e.type);
        put(w, 4, static_cast<std::uint32_t>(e.values.size()));
        if (offsets[i] != 0) {
            put(w, 4, offsets[i]);
            continue;
        }
        Writer inline4;
        for (std::uint32_t v : e.values)
            put(inline4, width(e.type), v);
        w.Add(inline4.Fill(4 - inline4.b.size()).b);
    }
    put(w, 4, 0);
    return w.b;
}

Bytes Pcx(unsigned bitsPerPlane, unsigned planes, unsigned width, unsigned height,
          unsigned xMin = 0) {
    const unsigned bytesPerLine = (width * bitsPerPlane + 15) / 16 * 2;
    Writer w;
    w.U8(0x0A).U8(5).U8(1).U8(bitsPerPlane).Le16(xMin).Le16(0);
    w.Le16(xMin + width - 1).Le16(height - 1).Le16(72).Le16(72).Fill(49);
    return w.U8(planes).Le16(bytesPerLine).Le16(1).Fill(58).b;
}

Writer& MultiByte(Writer& w, std::uint32_t v) {
    int shift = 28;
    while (shift > 0 && (v >> shift) == 0)
        shift -= 7;
    for (; shift > 0; shift -= 7)
        w.U8(0x80 | ((v >> shift) & 0x7F));
    return w.U8(v & 0x7F);
}

Bytes Wbmp(std::uint32_t width, std::uint32_t height) {
    Writer w;
    w.U8(0).U8(0);
    MultiByte(w, width);
    MultiByte(w, height);
    return w.Fill((width + 7) / 8 * height).b;
}

Bytes Gce(bool transparent) {
    return Writer().U8(0x21).U8(0xF9).U8(4).U8(transparent ? 0x05 : 0x04).Fill(2).U8(3).U8(0).b;
}
Bytes GifComment(const std::string& text) {
    return Writer().U8(0x21).U8(0xFE).U8(static_cast<unsigned>(text.size())).Text(text).U8(0).b;
}
const Bytes kNetscape = Writer().U8(0x21).U8(0xFF).U8(11).Text("NETSCAPE2.0").U8(3).U8(1).Fill(3).b;
const Bytes kPlainText = Writer().U8(0x21).U8(0x01).U8(12).Fill(12).U8(2).Text("hi").U8(0).b;

// The screen's colour resolution is 4 bits; globalBits and localBits 0 mean no table.
Bytes Gif(unsigned screenWidth, unsigned screenHeight, unsigned globalBits, const Bytes& blocks,
          unsigned width, unsigned height, unsigned localBits = 0, unsigned left = 0,
          unsigned top = 0, const char* signature = "GIF89a") {
    Writer w;
    w.Text(signature).Le16(screenWidth).Le16(screenHeight);
    w.U8(0x30 | (globalBits ? 0x80 | (globalBits - 1) : 0)).Fill(2);
    w.Fill(globalBits ? 3u << globalBits : 0).Add(blocks);
    w.U8(0x2C).Le16(left).Le16(top).Le16(width).Le16(height);
    return w.U8(localBits ? 0x80 | (localBits - 1) : 0).b;
}

Bytes Psd(unsigned version, unsigned channels, std::uint32_t width, std::uint32_t height,
          unsigned depth, unsigned mode) {
    Writer w;
    w.Text("8BPS").Be16(version).Fill(6).Be16(channels).Be32(height).Be32(width);
    return w.Be16(depth).Be16(mode).b;
}

// Data of `size` bytes (a prefix of `data`) that serves its first `served` bytes and fails every
// read beyond them; records the highest byte that any read asked for.
class RecordingSource : public ImageByteSource {
public:
    explicit RecordingSource(const Bytes& data, std::size_t size = SIZE_MAX,
                             std::size_t served = SIZE_MAX)
        : data_(data), size_(std::min(size, data.size())), served_(std::min(served, size_)) {}
    std::size_t ReadAt(std::uint64_t offset, void* buffer, std::size_t size) override {
        ++reads;
        highestEnd = std::max<std::uint64_t>(highestEnd, offset + size);
        MemoryImageSource memory(data_.data(), served_);
        return memory.ReadAt(offset, buffer, size);
    }
    std::uint64_t Size() override {
        ++sizeCalls;
        return size_;
    }
    std::uint64_t highestEnd = 0;
    int sizeCalls = 0;
    int reads = 0;

private:
    const Bytes& data_;
    std::size_t size_;
    std::size_t served_;
};

struct ValidCase {
    std::string name;
    Bytes bytes;
    std::int32_t format;
    std::int32_t width;
    std::int32_t height;
    std::uint32_t word;
    std::size_t lastRead; // the end of the last byte the reader needs
};

std::vector<ValidCase> ValidCases() {
    std::vector<ValidCase> cases;
    const auto add = [&cases](std::string name, Bytes bytes, std::int32_t format, int width,
                              int height, std::uint32_t word, std::size_t unread) {
        const std::size_t lastRead = bytes.size() - unread;
        cases.push_back({name, std::move(bytes), format, width, height, word, lastRead});
    };
    // The three bytes of each component of a frame are checked for presence, never read.
    const auto jpeg = [&](const char* name, Bytes b, int w, int h, unsigned n, std::uint32_t word) {
        add(name, b, kFileFormatJpeg, w, h, word, 3 * n);
    };
    jpeg("jpeg gray", Jpeg(640, 480, 1), 640, 480, 1, Word(8, kGrayBits));
    jpeg("jpeg ycbcr", Jpeg(1, 65535, 3), 1, 65535, 3, Word(24, kRgbBit));
    jpeg("jpeg adobe cmyk progressive", Jpeg(65535, 7, 4, 0xC2, 8, JpegSegment(0xEE, 12)), 65535, 7,
         4, Word(32, kCmykBits));
    jpeg("jpeg 12-bit extended", Jpeg(30, 20, 3, 0xC1, 12), 30, 20, 3, Word(36, kRgbBit));
    jpeg("jpeg 16-bit lossless", Jpeg(30, 20, 1, 0xC3, 16), 30, 20, 1, Word(16, kGrayBits));
    jpeg("jpeg arithmetic sof15", Jpeg(30, 20, 3, 0xCF, 8), 30, 20, 3, Word(24, kRgbBit));
    const Bytes many = Cat({kJfif,
                            JpegSegment(0xE1, 3000),
                            JpegSegment(0xDB, 67),
                            JpegSegment(0xC4, 31),
                            {0xFF, 0x01},
                            JpegSegment(0xFE, 0),
                            {0xFF, 0xFF, 0xFF}});
    jpeg("jpeg exif, tables, TEM, fill bytes", Jpeg(99, 98, 3, 0xC0, 8, many), 99, 98, 3,
         Word(24, kRgbBit));

    const auto bmp = [&](const char* name, BmpFields s, std::uint32_t word, std::size_t lastRead) {
        Bytes b = Bmp(s);
        add(name, b, kFileFormatBmp, s.width, std::abs(s.height), word, b.size() - lastRead);
    };
    bmp("bmp core 24", {12, 3, 2, 24, 0, 0}, Word(24, kRgbBit), 26);
    bmp("bmp info 8", {40, 100, 50, 8, 0, 0}, Word(8, kIdx), 34);
    bmp("bmp info 24 top-down", {40, 7, -5, 24, 0, 0}, Word(24, kRgbBit), 34);
    bmp("bmp info 4 rle", {40, 7, 5, 4, 2, 0}, Word(4, kIdx), 34);
    bmp("bmp info 32 bitfields", {40, 7, 5, 32, 3, 0}, Word(32, kRgbBit), 34);
    bmp("bmp info alphabitfields", {40, 7, 5, 32, 6, 0xFF000000}, Word(32, kRgbBit | kA), 70);
    bmp("bmp v2 bitfields", {52, 7, 5, 32, 3, 0}, Word(32, kRgbBit), 34);
    bmp("bmp v3 alpha", {56, 7, 5, 32, 3, 0xFF000000}, Word(32, kRgbBit | kA), 70);
    bmp("bmp v4 no alpha mask", {108, 7, 5, 32, 3, 0}, Word(32, kRgbBit), 70);
    bmp("bmp v5 16 alpha", {124, 7, INT32_MAX, 16, 3, 0x8000}, Word(16, kRgbBit | kA), 70);
    bmp("bmp v5 32 rgb ignores mask", {124, 7, 5, 32, 0, 0xFF000000}, Word(32, kRgbBit), 34);

    const auto png = [&](const char* name, Bytes b, int w, int h, std::uint32_t word) {
        add(name, b, kFileFormatPng, w, h, word, 0);
    };
    png("png gray 1", Png(1, 1, 1, 0), 1, 1, Word(1, kGrayBits));
    png("png gray trns", Png(5, 6, 8, 0, {{"tRNS", 2}}), 5, 6, Word(8, kGrayBits | kA));
    png("png rgb 8", Png(0x7FFFFFFF, 2, 8, 2, {{"gAMA", 4}, {"iCCP", 2000}}), 0x7FFFFFFF, 2,
        Word(24, kRgbBit));
    png("png rgb 16 trns", Png(5, 6, 16, 2, {{"tRNS", 6}}), 5, 6, Word(48, kRgbBit | kA));
    png("png palette 4 trns", Png(5, 6, 4, 3, {{"PLTE", 48}, {"tRNS", 3}, {"tEXt", 9}}), 5, 6,
        Word(4, kIdx | kA));
    png("png empty trns", Png(5, 6, 8, 3, {{"PLTE", 3}, {"tRNS", 0}}), 5, 6, Word(8, kIdx));
    png("png gray alpha", Png(5, 6, 8, 4), 5, 6, Word(16, kGrayBits | kA));
    png("png rgba 16", Png(5, 0x7FFFFFFF, 16, 6, {{"PLTE", 30}}), 5, 0x7FFFFFFF,
        Word(64, kRgbBit | kA));
    png("png interlaced", Patched(Png(5, 6, 8, 2), 28, 1), 5, 6, Word(24, kRgbBit));

    const auto tiff = [&](const std::string& name, std::vector<TiffEntry> entries, int w, int h,
                          std::uint32_t word) {
        add("tiff II " + name, Tiff(false, entries), kFileFormatTiff, w, h, word, 4);
        add("tiff MM " + name, Tiff(true, entries), kFileFormatTiff, w, h, word, 4);
    };
    const TiffEntry width = Long(256, {300});
    const TiffEntry length = Short(257, {200});
    tiff("bilevel", {width, length, Short(262, {0})}, 300, 200, Word(1, kGrayBits));
    tiff("gray 16",
         {Short(256, {65535}), Long(257, {0x7FFFFFFF}), Short(258, {16}), Short(262, {1})}, 65535,
         0x7FFFFFFF, Word(16, kGrayBits));
    tiff("rgb", {width, length, Short(258, {8, 8, 8}), Short(262, {2}), Short(277, {3})}, 300, 200,
         Word(24, kRgbBit));
    tiff("rgb one shared depth",
         {width, length, Short(258, {16}), Short(262, {2}), Short(277, {3})}, 300, 200,
         Word(48, kRgbBit));
    tiff("rgba",
         {width, length, Short(258, {8, 8, 8, 8}), Short(262, {2}), Short(277, {4}),
          Short(338, {2})},
         300, 200, Word(32, kRgbBit | kA));
    tiff("rgb unspecified extra",
         {width, length, Short(258, {8, 8, 8, 8}), Short(262, {2}), Short(277, {4}),
          Short(338, {0})},
         300, 200, Word(32, kRgbBit));
    tiff("rgb two extras",
         {width, length, Short(258, {8, 8, 8, 8, 8}), Short(262, {2}), Short(277, {5}),
          Short(338, {0, 1})},
         300, 200, Word(40, kRgbBit | kA));
    tiff("palette", {width, length, Short(258, {4}), Short(262, {3})}, 300, 200, Word(4, kIdx));
    tiff("other inks",
         {width, length, Short(258, {8, 8}), Short(262, {5}), Short(277, {2}), Short(332, {2})},
         300, 200, Word(16, kOtherBit));
    tiff("lab", {width, length, {258, 1, {8, 8, 8}}, Short(262, {8}), Long(277, {3})}, 300, 200,
         Word(24, kOtherBit));
    tiff("no photometric", {width, length, Short(258, {8, 8, 8}), Short(277, {3})}, 300, 200,
         Word(24, kRgbBit));

    const auto pcx = [&](const char* name, Bytes b, int w, int h, std::uint32_t word) {
        add(name, b, kFileFormatPcx, w, h, word, 128 - 68);
    };
    pcx("pcx mono", Pcx(1, 1, 65536, 480), 65536, 480, Word(1, kIdx));
    pcx("pcx cga", Pcx(2, 1, 320, 200), 320, 200, Word(2, kIdx));
    pcx("pcx ega planes", Pcx(1, 4, 639, 350, 100), 639, 350, Word(4, kIdx));
    pcx("pcx 256", Pcx(8, 1, 640, 1), 640, 1, Word(8, kIdx));
    pcx("pcx rgb", Pcx(8, 3, 3, 65536), 3, 65536, Word(24, kRgbBit));
    pcx("pcx rgba", Pcx(8, 4, 3, 5), 3, 5, Word(32, kRgbBit | kA));

    for (const auto& size :
         {std::pair<std::uint32_t, std::uint32_t>{1, 1}, {8, 2}, {200, 300}, {128, 1}, {1, 2000}}) {
        const auto [w, h] = size;
        add("wbmp " + std::to_string(w) + "x" + std::to_string(h), Wbmp(w, h), kFileFormatWbmp, w,
            h, Word(1, kGrayBits), (w + 7) / 8 * h);
    }

    const auto gif = [&](const char* name, Bytes b, int w, int h, std::uint32_t word) {
        add(name, b, kFileFormatGif, w, h, word, 0);
    };
    gif("gif 2 colours", Gif(10, 20, 1, {}, 10, 20), 10, 20, Word(1, kIdx));
    gif("gif transparent", Gif(65535, 2, 8, Gce(true), 3, 2), 65535, 2, Word(8, kIdx | kA));
    gif("gif opaque gce", Gif(10, 20, 8, Gce(false), 10, 20), 10, 20, Word(8, kIdx));
    gif("gif local table", Gif(10, 20, 8, {}, 10, 20, 4), 10, 20, Word(4, kIdx));
    gif("gif no tables", Gif(10, 20, 0, {}, 10, 20), 10, 20, Word(4, kIdx));
    gif("gif empty screen", Gif(0, 0, 2, {}, 10, 20, 0, 5, 6), 15, 26, Word(2, kIdx));
    gif("gif 87a", Gif(10, 20, 3, {}, 10, 20, 0, 0, 0, "GIF87a"), 10, 20, Word(3, kIdx));
    gif("gif extensions", Gif(10, 20, 8, Cat({kNetscape, GifComment("ok"), Gce(true)}), 1, 1), 10,
        20, Word(8, kIdx | kA));
    gif("gif text takes gce", Gif(10, 20, 8, Cat({Gce(true), kPlainText}), 1, 1), 10, 20,
        Word(8, kIdx));

    const auto psd = [&](const char* name, Bytes b, int w, int h, std::uint32_t word) {
        add(name, b, kFileFormatPsd, w, h, word, 0);
    };
    psd("psd rgb", Psd(1, 3, 30000, 1, 8, 3), 30000, 1, Word(24, kRgbBit));
    psd("psd rgb alpha", Psd(1, 4, 5, 6, 8, 3), 5, 6, Word(32, kRgbBit | kA));
    psd("psd rgb many channels", Psd(1, 56, 5, 6, 16, 3), 5, 6, Word(64, kRgbBit | kA));
    psd("psd cmyk", Psd(1, 4, 5, 6, 32, 4), 5, 6, Word(128, kCmykBits));
    psd("psd gray", Psd(1, 1, 5, 6, 16, 1), 5, 6, Word(16, kGrayBits));
    psd("psd bitmap", Psd(1, 1, 5, 6, 1, 0), 5, 6, Word(1, kGrayBits));
    psd("psd indexed", Psd(1, 1, 5, 6, 8, 2), 5, 6, Word(8, kIdx));
    psd("psd lab", Psd(1, 3, 5, 6, 8, 9), 5, 6, Word(24, kOtherBit));
    psd("psd multichannel", Psd(1, 2, 5, 6, 16, 7), 5, 6, Word(32, kOtherBit));
    psd("psb large", Psd(2, 3, 300000, 300000, 8, 3), 300000, 300000, Word(24, kRgbBit));
    return cases;
}

// How many leading bytes each format needs to be recognised, by format code; WBMP is recognised
// only as a whole.
const std::size_t kSignatureLength[] = {0, 3, 2, 8, 4, 3, SIZE_MAX, 6, 4};

using FormatReader = ImageHeader (*)(ImageByteSource&);
const FormatReader kReaders[] = {nullptr,        ReadJpegHeader, ReadBmpHeader,
                                 ReadPngHeader,  ReadTiffHeader, ReadPcxHeader,
                                 ReadWbmpHeader, ReadGifHeader,  ReadPsdHeader};

TEST(ImageHeader, ValidHeadersAreReadUpToTheirLastNeededByte) {
    for (const ValidCase& c : ValidCases()) {
        SCOPED_TRACE(c.name);
        RecordingSource source(c.bytes);
        const ImageHeader header = ReadImageHeader(source);
        ASSERT_EQ(HeaderStatus::Ok, header.status);
        EXPECT_EQ(c.format, header.fileFormat);
        EXPECT_EQ(c.width, header.width);
        EXPECT_EQ(c.height, header.height);
        EXPECT_EQ(c.word, header.pixelFormat) << std::hex << header.pixelFormat;
        EXPECT_EQ(c.lastRead, source.highestEnd);
        EXPECT_EQ(1, source.sizeCalls);
        for (std::int32_t format = 1; format <= 8; ++format) {
            RecordingSource again(c.bytes);
            const ImageHeader alone = kReaders[format](again);
            EXPECT_EQ(format == c.format ? HeaderStatus::Ok : HeaderStatus::NotRecognised,
                      alone.status)
                << "reader of format " << format;
            EXPECT_EQ(format == c.format ? header.pixelFormat : 0u, alone.pixelFormat);
        }
    }
}

TEST(ImageHeader, EveryPrefixAndEveryFailingReadFailsCleanly) {
    for (const ValidCase& c : ValidCases()) {
        SCOPED_TRACE(c.name);
        const std::size_t signature = kSignatureLength[c.format];
        for (std::size_t length = 0; length < c.bytes.size(); ++length) {
            const HeaderStatus expected =
                length < signature ? HeaderStatus::NotRecognised : HeaderStatus::Truncated;
            RecordingSource cut(c.bytes, length);
            const ImageHeader header = ReadImageHeader(cut);
            ASSERT_EQ(expected, header.status) << "prefix of " << length;
            EXPECT_EQ(expected == HeaderStatus::Truncated ? c.format : 0, header.fileFormat);
            EXPECT_LE(cut.highestEnd, length) << "no read beyond the end";
            EXPECT_EQ(0u, header.pixelFormat);

            // The whole length is announced, but reads fail from `length` on: only the bytes
            // before lastRead matter.
            RecordingSource failing(c.bytes, SIZE_MAX, length);
            const ImageHeader failed = ReadImageHeader(failing);
            ASSERT_EQ(length < c.lastRead ? expected : HeaderStatus::Ok, failed.status)
                << "reads fail from " << length;
        }
    }
}

// A header through the read-ahead block reads as it does straight from the file, also when the
// file's reads fail part way into the block; a small header costs the file one read.
TEST(ImageHeader, ReadAheadChangesNothingButTheNumberOfReads) {
    for (const ValidCase& c : ValidCases()) {
        SCOPED_TRACE(c.name);
        for (std::size_t blockSize : {std::size_t{1}, std::size_t{16}, std::size_t{61},
                                      ReadAheadSource::kDefaultBlockSize}) {
            SCOPED_TRACE(blockSize);
            RecordingSource file(c.bytes);
            ReadAheadSource ahead(file, blockSize);
            const ImageHeader header = ReadImageHeader(ahead);
            EXPECT_EQ(HeaderStatus::Ok, header.status);
            EXPECT_EQ(c.width, header.width);
            EXPECT_EQ(c.word, header.pixelFormat);
            EXPECT_EQ(1, file.sizeCalls);
            EXPECT_LE(file.highestEnd, c.bytes.size()) << "the block stays within the size";
            if (blockSize == ReadAheadSource::kDefaultBlockSize) {
                EXPECT_EQ(1, file.reads);
            }
            for (std::size_t length = 0; length < c.bytes.size(); ++length) {
                RecordingSource failing(c.bytes, SIZE_MAX, length);
                RecordingSource failingAgain(c.bytes, SIZE_MAX, length);
                ReadAheadSource failingAhead(failingAgain, blockSize);
                ASSERT_EQ(ReadImageHeader(failing).status, ReadImageHeader(failingAhead).status)
                    << "reads fail from " << length;
            }
        }
    }
}

struct BadCase {
    const char* name;
    Bytes bytes;
    HeaderStatus status;
};

constexpr HeaderStatus kCorrupt = HeaderStatus::Corrupt;
constexpr HeaderStatus kUnsupported = HeaderStatus::Unsupported;
constexpr HeaderStatus kTruncated = HeaderStatus::Truncated;
constexpr HeaderStatus kNotRecognised = HeaderStatus::NotRecognised;

void ExpectFailures(std::int32_t format, const std::vector<BadCase>& cases) {
    for (const BadCase& c : cases) {
        SCOPED_TRACE(c.name);
        MemoryImageSource source(c.bytes.data(), c.bytes.size());
        const ImageHeader header = ReadImageHeader(source);
        EXPECT_EQ(c.status, header.status);
        EXPECT_EQ(c.status == kNotRecognised ? 0 : format, header.fileFormat);
        EXPECT_EQ(0, header.width);
        EXPECT_EQ(0u, header.pixelFormat);
    }
}

TEST(ImageHeader, CorruptJpeg) {
    const Bytes rgb = Jpeg(10, 10, 3);
    ExpectFailures(
        kFileFormatJpeg,
        {{"width 0", Jpeg(0, 10, 3), kCorrupt},
         {"height 0, given later by DNL", Jpeg(10, 0, 3), kUnsupported},
         {"2 components", Jpeg(10, 10, 2), kUnsupported},
         {"0 components", Jpeg(10, 10, 0), kCorrupt},
         {"baseline 12 bits", Jpeg(10, 10, 3, 0xC0, 12), kCorrupt},
         {"lossless 1 bit", Jpeg(10, 10, 1, 0xC7, 1), kCorrupt},
         {"frame length off", Patched(rgb, rgb.size() - 16, 18), kCorrupt},
         {"scan before frame", Jpeg(10, 10, 3, 0xC0, 8, JpegSegment(0xDA, 10)), kCorrupt},
         {"end before frame", Jpeg(10, 10, 3, 0xC0, 8, Bytes{0xFF, 0xD9}), kCorrupt},
         {"segment length 1", Jpeg(10, 10, 3, 0xC0, 8, Bytes{0xFF, 0xE1, 0, 1}), kCorrupt},
         {"garbage between segments", Jpeg(10, 10, 3, 0xC0, 8, Cat({kJfif, {0}})), kCorrupt},
         {"DHT is no frame", Cat({Jpeg(10, 10, 3, 0xC4), {0xFF, 0xD9}}), kCorrupt},
         {"JPG is no frame", Cat({Jpeg(10, 10, 3, 0xC8), {0xFF, 0xD9}}), kCorrupt},
         {"DAC is no frame", Cat({Jpeg(10, 10, 3, 0xCC), {0xFF, 0xD9}}), kCorrupt},
         {"endless fill bytes", Jpeg(10, 10, 3, 0xC0, 8, Bytes(70000, 0xFF)), kUnsupported},
         {"segment past the end", Jpeg(10, 10, 3, 0xC0, 8, Bytes{0xFF, 0xE1, 0xFF, 0xFF}),
          kTruncated}});
}

TEST(ImageHeader, CorruptBmp) {
    const Bytes info = Bmp({40, 7, 5, 24, 0, 0});
    const Bytes fields = Bmp({40, 7, 5, 32, 3, 0});
    ExpectFailures(
        kFileFormatBmp,
        {{"width 0", Bmp({40, 0, 5, 24, 0, 0}), kCorrupt},
         {"width negative", Bmp({40, -7, 5, 24, 0, 0}), kCorrupt},
         {"height 0", Bmp({40, 7, 0, 24, 0, 0}), kCorrupt},
         {"height INT32_MIN", Bmp({40, 7, INT32_MIN, 24, 0, 0}), kCorrupt},
         {"2 planes", Patched(info, 26, 2), kCorrupt},
         {"3 bits", Bmp({40, 7, 5, 3, 0, 0}), kCorrupt},
         {"rle8 with 4 bits", Bmp({40, 7, 5, 4, 1, 0}), kCorrupt},
         {"bitfields with 24 bits", Bmp({40, 7, 5, 24, 3, 0}), kCorrupt},
         {"embedded jpeg", Bmp({40, 7, 5, 0, 4, 0}), kUnsupported},
         {"cmyk", Bmp({40, 7, 5, 32, 11, 0}), kUnsupported},
         {"os/2 2.x header", Patched(info, 14, 64), kUnsupported},
         {"header of 8 bytes", Patched(info, 14, 8), kCorrupt},
         {"core 16 bits", Bmp({12, 7, 5, 16, 0, 0}), kCorrupt},
         {"bitfield masks cut off", Bytes(fields.begin(), fields.end() - 1), kTruncated}});
}

TEST(ImageHeader, CorruptPng) {
    const Bytes rgb = Png(5, 6, 8, 2);
    const Bytes head(rgb.begin(), rgb.begin() + 33); // signature and IHDR
    ExpectFailures(
        kFileFormatPng,
        {{"width 0", Png(0, 6, 8, 2), kCorrupt},
         {"width 2^31", Png(0x80000000, 6, 8, 2), kCorrupt},
         {"gray 3 bits", Png(5, 6, 3, 0), kCorrupt},
         {"palette 16 bits", Png(5, 6, 16, 3, {{"PLTE", 3}}), kCorrupt},
         {"colour type 5", Png(5, 6, 8, 5), kCorrupt},
         {"compression 1", Patched(rgb, 26, 1), kCorrupt},
         {"interlace 2", Patched(rgb, 28, 2), kCorrupt},
         {"IHDR length 12", Patched(rgb, 11, 12), kCorrupt},
         {"IHDR not first", Patched(rgb, 15, 'X'), kCorrupt},
         {"palette without PLTE", Png(5, 6, 8, 3, {{"tRNS", 1}}), kCorrupt},
         {"IEND before IDAT", Png(5, 6, 8, 2, {{"IEND", 0}}), kCorrupt},
         {"second IHDR", Png(5, 6, 8, 2, {{"IHDR", 13}}), kCorrupt},
         {"chunk type with a digit", Png(5, 6, 8, 2, {{"t3XT", 1}}), kCorrupt},
         {"chunk length 2^31", Writer().Add(head).Be32(0x80000000).Text("tEXt").b, kCorrupt},
         {"chunk past the end", Writer().Add(head).Be32(5000).Text("tEXt").Fill(10).b,
          kTruncated}});
}

TEST(ImageHeader, CorruptTiff) {
    const TiffEntry width = Long(256, {300});
    const TiffEntry length = Short(257, {200});
    const auto rgb = [&](TiffEntry bits, TiffEntry samples, TiffEntry photometric) {
        return Tiff(false, {width, length, bits, photometric, samples});
    };
    const TiffEntry bits8 = Short(258, {8, 8, 8});
    const TiffEntry three = Short(277, {3});
    const TiffEntry rgbModel = Short(262, {2});
    const Bytes good = rgb(bits8, three, rgbModel);
    Bytes farArray = good;
    farArray[good.size() - 4 - 3 * 12 + 8] = 0xF0; // BitsPerSample's array now at 240
    ExpectFailures(
        kFileFormatTiff,
        {{"bigtiff", Tiff(false, {width, length}, std::string("II+\0", 4)), kUnsupported},
         {"IFD inside the header", Patched(good, 4, 4), kCorrupt},
         {"IFD far away", Patched(Patched(good, 7, 0xFF), 6, 0xFF), kTruncated},
         {"no entries", Tiff(false, {}), kCorrupt},
         {"no width", Tiff(false, {length, bits8}), kCorrupt},
         {"width 0", Tiff(false, {Long(256, {0}), length}), kCorrupt},
         {"width as text", Tiff(false, {{256, 2, {'3', 0}}, length}), kCorrupt},
         {"width without value", Tiff(false, {{256, 3, {}}, length}), kCorrupt},
         {"0 bits", rgb(Short(258, {8, 0, 8}), three, rgbModel), kCorrupt},
         {"2 depths for 3 samples", rgb(Short(258, {8, 8}), three, rgbModel), kCorrupt},
         {"0 samples", rgb(bits8, Short(277, {0}), rgbModel), kCorrupt},
         {"rgb of 1 sample", rgb(Short(258, {8}), Short(277, {1}), rgbModel), kCorrupt},
         {"transparency mask", rgb(bits8, three, Short(262, {4})), kUnsupported},
         {"unknown photometric", rgb(bits8, three, Short(262, {32767})), kUnsupported},
         {"256 samples", rgb(Short(258, {1}), Short(277, {256}), rgbModel), kUnsupported},
         {"512 bits a pixel", rgb(Short(258, {64}), Short(277, {8}), rgbModel), kUnsupported},
         {"too many extras",
          Tiff(false, {width, length, Short(258, {8, 8, 8, 8}), rgbModel, Short(277, {4}),
                       Short(338, {2, 2})}),
          kCorrupt},
         {"depth array past the end", farArray, kTruncated},
         {"next IFD pointer cut off", Bytes(good.begin(), good.end() - 1), kTruncated}});
}

TEST(ImageHeader, CorruptPcxWbmpGifPsd) {
    ExpectFailures(kFileFormatPcx,
                   {{"right edge left of left", Patched(Pcx(8, 1, 10, 10, 5), 8, 0), kCorrupt},
                    {"0 planes", Patched(Pcx(8, 1, 10, 10), 65, 0), kCorrupt},
                    {"3 bits", Pcx(3, 1, 10, 10), kUnsupported},
                    {"8 bits in 2 planes", Pcx(8, 2, 10, 10), kUnsupported},
                    {"lines too short", Patched(Pcx(8, 3, 10, 10), 66, 9), kCorrupt},
                    {"version 1", Patched(Pcx(8, 1, 10, 10), 1, 1), kNotRecognised},
                    {"encoding 2", Patched(Pcx(8, 1, 10, 10), 2, 2), kNotRecognised}});
    ExpectFailures(
        kFileFormatWbmp,
        {{"extension headers", Patched(Wbmp(8, 2), 1, 0x80), kNotRecognised},
         {"width 0", Bytes{0, 0, 0, 1}, kNotRecognised},
         {"5-byte integer", Bytes{0, 0, 0x81, 0x80, 0x80, 0x80, 0x00, 1}, kNotRecognised},
         {"longer form than needed", Bytes{0, 0, 0x80, 0x01, 1, 0}, kNotRecognised},
         {"type 1", Patched(Wbmp(8, 2), 0, 1), kNotRecognised},
         {"a byte after the rows", Cat({Wbmp(8, 2), {0}}), kNotRecognised}});
    ExpectFailures(
        kFileFormatGif,
        {{"GIF88a", Gif(10, 20, 1, {}, 10, 20, 0, 0, 0, "GIF88a"), kNotRecognised},
         {"trailer before image", Gif(10, 20, 1, {0x3B}, 1, 1), kCorrupt},
         {"unknown block", Gif(10, 20, 1, {0x99}, 1, 1), kCorrupt},
         {"image width 0", Gif(10, 20, 1, {}, 0, 1), kCorrupt},
         {"control block of 5", Patched(Gif(10, 20, 0, Gce(true), 1, 1), 15, 5), kCorrupt}});
    ExpectFailures(kFileFormatPsd, {{"version 3", Psd(3, 3, 5, 6, 8, 3), kUnsupported},
                                    {"mode 5", Psd(1, 3, 5, 6, 8, 5), kUnsupported},
                                    {"0 channels", Psd(1, 0, 5, 6, 8, 1), kCorrupt},
                                    {"57 channels", Psd(1, 57, 5, 6, 8, 1), kCorrupt},
                                    {"rgb of 2 channels", Psd(1, 2, 5, 6, 8, 3), kCorrupt},
                                    {"depth 4", Psd(1, 3, 5, 6, 4, 3), kCorrupt},
                                    {"bitmap of 8 bits", Psd(1, 1, 5, 6, 8, 0), kCorrupt},
                                    {"psd 30001 wide", Psd(1, 3, 30001, 6, 8, 3), kCorrupt},
                                    {"psb 300001 high", Psd(2, 3, 5, 300001, 8, 3), kCorrupt},
                                    {"1792 bits a pixel", Psd(1, 56, 5, 6, 32, 7), kUnsupported}});
}

TEST(ImageHeader, UnknownDataIsNotRecognised) {
    ExpectFailures(kFileFormatUnknown, {{"empty", {}, kNotRecognised},
                                        {"text", Writer().Text("hello, world").b, kNotRecognised},
                                        {"icon", Bytes{0, 0, 1, 0, 1, 0, 16, 16}, kNotRecognised},
                                        {"zeros", Bytes(64, 0), kNotRecognised}});
}

} // namespace
} // namespace orrelux::engine
