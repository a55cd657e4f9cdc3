#include "codecs/pcx_decoder.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace orrelux::engine {

namespace {

constexpr std::size_t kHeaderSize = 128;
constexpr std::uint8_t kManufacturer = 0x0A;
// The trailing palette: a 0x0C marker and 256 RGB triples, the last 769 bytes of the file.
constexpr std::uint8_t kPaletteMarker = 0x0C;
constexpr std::size_t kTrailingPaletteSize = 769;
constexpr std::uint32_t kOpaque = 0xFF000000u;

// The standard 16 colours of an EGA/VGA text-mode palette, for version 3 files.
constexpr std::uint32_t kEgaPalette[16] = {
    0xFF000000, 0xFF0000AA, 0xFF00AA00, 0xFF00AAAA, 0xFFAA0000, 0xFFAA00AA, 0xFFAA5500, 0xFFAAAAAA,
    0xFF555555, 0xFF5555FF, 0xFF55FF55, 0xFF55FFFF, 0xFFFF5555, 0xFFFF55FF, 0xFFFFFF55, 0xFFFFFFFF,
};

enum class Layout { SmallIndexed, Indexed256, Rgb, Rgba };

int U16Le(const std::uint8_t* p) {
    return p[0] | p[1] << 8;
}

std::uint32_t RgbTriple(const std::uint8_t* p) {
    return kOpaque | static_cast<std::uint32_t>(p[0]) << 16 |
           static_cast<std::uint32_t>(p[1]) << 8 | p[2];
}

// The encoded stream, unpacked a scanline at a time. A byte with both top bits set starts a run
// of (byte & 0x3F) copies of the next byte; any other byte stands for itself. A run left over
// at the end of one scanline goes on into the next.
class RunReader {
public:
    RunReader(const std::uint8_t* data, std::size_t size, bool compressed)
        : data_(data), size_(size), compressed_(compressed) {}

    bool Fill(std::uint8_t* out, std::size_t count) {
        if (!compressed_) {
            if (count > size_ - position_)
                return false;
            std::memcpy(out, data_ + position_, count);
            position_ += count;
            return true;
        }
        std::size_t done = 0;
        while (done < count) {
            if (runLeft_ > 0) {
                const std::size_t n = std::min(runLeft_, count - done);
                std::memset(out + done, runValue_, n);
                done += n;
                runLeft_ -= n;
                continue;
            }
            if (position_ == size_)
                return false;
            const std::uint8_t code = data_[position_++];
            if ((code & 0xC0) != 0xC0) {
                out[done++] = code;
                continue;
            }
            if (position_ == size_)
                return false;
            runLeft_ = code & 0x3Fu;
            runValue_ = data_[position_++];
        }
        return true;
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    bool compressed_;
    std::size_t position_ = 0;
    std::size_t runLeft_ = 0;
    std::uint8_t runValue_ = 0;
};

DecodeStatus DecodeRows(const std::uint8_t* data, std::size_t size, RowSink& sink,
                        const DecodeControl& control) {
    if (data == nullptr || size < kHeaderSize || data[0] != kManufacturer)
        return DecodeStatus::Corrupt;
    const int version = data[1];
    const int encoding = data[2];
    const int bitsPerPixel = data[3];
    const int xMin = U16Le(data + 4);
    const int yMin = U16Le(data + 6);
    const int xMax = U16Le(data + 8);
    const int yMax = U16Le(data + 10);
    const int planes = data[65];
    const int bytesPerLine = U16Le(data + 66);
    if (xMax < xMin || yMax < yMin)
        return DecodeStatus::Corrupt;
    const int width = xMax - xMin + 1; // at most 65536
    const int height = yMax - yMin + 1;
    if (encoding > 1)
        return DecodeStatus::Unsupported;

    Layout layout;
    if (bitsPerPixel == 8 && planes == 1)
        layout = Layout::Indexed256;
    else if (bitsPerPixel == 8 && planes == 3)
        layout = Layout::Rgb;
    else if (bitsPerPixel == 8 && planes == 4)
        layout = Layout::Rgba;
    else if ((bitsPerPixel == 1 || bitsPerPixel == 2 || bitsPerPixel == 4) && planes >= 1 &&
             bitsPerPixel * planes <= 4)
        layout = Layout::SmallIndexed;
    else
        return DecodeStatus::Unsupported;
    // Products below 2^20: width <= 65536, bits per pixel <= 8.
    if (bytesPerLine < (width * bitsPerPixel + 7) / 8)
        return DecodeStatus::Corrupt;

    std::uint32_t palette[256] = {};
    std::size_t imageEnd = size;
    if (layout == Layout::Indexed256) {
        if (size < kHeaderSize + kTrailingPaletteSize ||
            data[size - kTrailingPaletteSize] != kPaletteMarker)
            return DecodeStatus::Corrupt;
        imageEnd = size - kTrailingPaletteSize;
        for (int i = 0; i < 256; ++i)
            palette[i] = RgbTriple(data + imageEnd + 1 + 3 * i);
    } else if (layout == Layout::SmallIndexed) {
        if (bitsPerPixel * planes == 1) {
            palette[0] = kOpaque;
            palette[1] = 0xFFFFFFFFu;
        } else if (version == 3) {
            std::copy(std::begin(kEgaPalette), std::end(kEgaPalette), palette);
        } else {
            for (int i = 0; i < 16; ++i)
                palette[i] = RgbTriple(data + 16 + 3 * i);
        }
    }

    // Before anything is allocated, the data must be able to hold the picture: a run of two
    // bytes gives at most 63, so less than 1/32 of the unpacked size cannot be enough.
    const std::size_t scanline =
        static_cast<std::size_t>(bytesPerLine) * static_cast<std::size_t>(planes);
    const std::uint64_t unpacked =
        static_cast<std::uint64_t>(scanline) * static_cast<std::uint64_t>(height);
    const std::uint64_t available = imageEnd - kHeaderSize;
    if (encoding == 1 ? available * 32 < unpacked : available < unpacked)
        return DecodeStatus::Corrupt;

    const DecodeStatus begun = sink.Begin(width, height);
    if (begun != DecodeStatus::Ok)
        return begun;

    std::vector<std::uint8_t> line(scanline);
    std::vector<std::uint32_t> row(static_cast<std::size_t>(width));
    RunReader runs(data + kHeaderSize, imageEnd - kHeaderSize, encoding == 1);
    RowBands bands(control, width, height);
    const std::uint8_t* plane[4] = {};
    for (int k = 0; k < planes; ++k)
        plane[k] = line.data() + static_cast<std::size_t>(k) * bytesPerLine;
    const int pixelsPerByte = 8 / bitsPerPixel;
    const unsigned mask = (1u << bitsPerPixel) - 1u;

    for (int y = 0; y < height; ++y) {
        if (!bands.Continue(y))
            return DecodeStatus::Aborted;
        if (!runs.Fill(line.data(), scanline))
            return DecodeStatus::Corrupt;
        switch (layout) {
        case Layout::SmallIndexed:
            for (int x = 0; x < width; ++x) {
                const int byte = x / pixelsPerByte;
                const int shift = 8 - bitsPerPixel * (x % pixelsPerByte + 1);
                unsigned index = 0;
                for (int k = 0; k < planes; ++k)
                    index |= ((plane[k][byte] >> shift) & mask) << (k * bitsPerPixel);
                row[x] = palette[index];
            }
            break;
        case Layout::Indexed256:
            for (int x = 0; x < width; ++x)
                row[x] = palette[plane[0][x]];
            break;
        case Layout::Rgb:
        case Layout::Rgba:
            for (int x = 0; x < width; ++x) {
                const std::uint32_t alpha = layout == Layout::Rgba ? plane[3][x] : 0xFFu;
                row[x] = alpha << 24 | static_cast<std::uint32_t>(plane[0][x]) << 16 |
                         static_cast<std::uint32_t>(plane[1][x]) << 8 | plane[2][x];
            }
            break;
        }
        sink.PutRow(row.data());
    }
    bands.Finish();
    return DecodeStatus::Ok;
}

} // namespace

DecodeStatus DecodePcx(const std::uint8_t* data, std::size_t size, RowSink& sink,
                       const DecodeControl& control) {
    try {
        return DecodeRows(data, size, sink, control);
    } catch (const std::bad_alloc&) {
        return DecodeStatus::OutOfMemory;
    }
}

DecodeStatus DecodePcx(const std::uint8_t* data, std::size_t size, DecodedImage& image,
                       const DecodeControl& control) {
    return DecodeWholeImage(image,
                            [&](RowSink& sink) { return DecodeRows(data, size, sink, control); });
}

} // namespace orrelux::engine
