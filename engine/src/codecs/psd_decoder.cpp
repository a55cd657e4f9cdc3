#include "codecs/psd_decoder.h"

#include "codecs/byte_reader.h"

#include <cstring>
#include <vector>

namespace orrelux::engine {

namespace {

constexpr std::uint8_t kSignature[4] = {'8', 'B', 'P', 'S'};
constexpr std::uint32_t kMaxSide = 30000;
constexpr std::uint16_t kMaxChannels = 56;
constexpr std::uint32_t kPaletteSize = 768;

enum ColourMode : std::uint16_t {
    kBitmap = 0,
    kGrayscale = 1,
    kIndexed = 2,
    kRgb = 3,
    kCmyk = 4,
    kMultichannel = 7,
    kDuotone = 8,
    kLab = 9,
};

enum Compression : std::uint16_t { kRaw = 0, kPackBits = 1, kZip = 2, kZipPredicted = 3 };

struct Document {
    int width = 0;
    int height = 0;
    int depth = 0;
    std::uint16_t mode = 0;
    int channels = 0;
    int colourChannels = 0;
    bool alpha = false;
    const std::uint8_t* palette = nullptr; // indexed: 256 reds, 256 greens, 256 blues
    std::uint16_t compression = kRaw;
    std::size_t rowBytes = 0;
    int UsedChannels() const { return colourChannels + (alpha ? 1 : 0); }
};

// Where each row of each used channel lies in the image data.
struct RowLocation {
    std::size_t offset;
    std::size_t size;
};

// One PackBits row: a header byte n of 0..127 copies n + 1 bytes, -1..-127 repeats the next
// byte 1 - n times, -128 does nothing. The row must fill exactly; a run past its end is Corrupt.
// Bytes left in the row's share of the data after it is full are ignored.
bool UnpackBits(const std::uint8_t* in, std::size_t inSize, std::uint8_t* out,
                std::size_t outSize) {
    std::size_t i = 0;
    std::size_t o = 0;
    while (o < outSize) {
        if (i >= inSize)
            return false;
        const int n = static_cast<std::int8_t>(in[i++]);
        if (n >= 0) {
            const std::size_t count = static_cast<std::size_t>(n) + 1;
            if (count > outSize - o || count > inSize - i)
                return false;
            std::memcpy(out + o, in + i, count);
            i += count;
            o += count;
        } else if (n != -128) {
            const std::size_t count = static_cast<std::size_t>(1 - n);
            if (count > outSize - o || i >= inSize)
                return false;
            std::memset(out + o, in[i++], count);
            o += count;
        }
    }
    return true;
}

std::uint8_t SixteenToEight(const std::uint8_t* p) {
    const std::uint32_t value = static_cast<std::uint32_t>(p[0]) << 8 | p[1];
    return static_cast<std::uint8_t>((value * 255u + 32767u) / 65535u); // below 2^24
}

std::uint32_t InkProduct(std::uint32_t a, std::uint32_t b) {
    return (a * b + 127u) / 255u;
}

DecodeStatus ReadHeader(ByteReader& reader, Document& doc) {
    if (reader.Remaining() < sizeof kSignature ||
        std::memcmp(reader.Current(), kSignature, sizeof kSignature) != 0)
        return DecodeStatus::Corrupt;
    reader.Skip(sizeof kSignature);
    std::uint16_t version, channels, depth, mode;
    std::uint32_t height, width;
    if (!reader.ReadU16Be(version))
        return DecodeStatus::Corrupt;
    if (version == 2)
        return DecodeStatus::Unsupported;
    if (version != 1 || !reader.Skip(6) || !reader.ReadU16Be(channels) ||
        !reader.ReadU32Be(height) || !reader.ReadU32Be(width) || !reader.ReadU16Be(depth) ||
        !reader.ReadU16Be(mode))
        return DecodeStatus::Corrupt;
    if (channels < 1 || channels > kMaxChannels || height < 1 || height > kMaxSide || width < 1 ||
        width > kMaxSide)
        return DecodeStatus::Corrupt;
    if (depth == 32 || mode == kMultichannel || mode == kLab)
        return DecodeStatus::Unsupported;

    switch (mode) {
    case kBitmap:
        if (depth != 1)
            return DecodeStatus::Corrupt;
        doc.colourChannels = 1;
        break;
    case kIndexed:
        if (depth != 8)
            return DecodeStatus::Corrupt;
        doc.colourChannels = 1;
        break;
    case kGrayscale:
    case kDuotone:
    case kRgb:
    case kCmyk:
        if (depth != 8 && depth != 16)
            return DecodeStatus::Corrupt;
        doc.colourChannels = mode == kRgb ? 3 : mode == kCmyk ? 4 : 1;
        doc.alpha = channels > doc.colourChannels;
        break;
    default:
        return DecodeStatus::Corrupt;
    }
    if (channels < doc.colourChannels)
        return DecodeStatus::Corrupt;
    doc.width = static_cast<int>(width);
    doc.height = static_cast<int>(height);
    doc.depth = depth;
    doc.mode = mode;
    doc.channels = channels;
    doc.rowBytes = depth == 1 ? (width + 7) / 8 : width * (depth / 8);

    // Three sections, each a 32-bit length and its bytes: colour mode data (the palette of an
    // indexed picture), image resources, layers and masks.
    for (int section = 0; section < 3; ++section) {
        std::uint32_t length;
        if (!reader.ReadU32Be(length) || length > reader.Remaining())
            return DecodeStatus::Corrupt;
        if (section == 0 && mode == kIndexed) {
            if (length != kPaletteSize)
                return DecodeStatus::Corrupt;
            doc.palette = reader.Current();
        }
        reader.Skip(length);
    }
    std::uint16_t compression;
    if (!reader.ReadU16Be(compression))
        return DecodeStatus::Corrupt;
    if (compression == kZip || compression == kZipPredicted)
        return DecodeStatus::Unsupported;
    if (compression != kRaw && compression != kPackBits)
        return DecodeStatus::Corrupt;
    doc.compression = compression;
    return DecodeStatus::Ok;
}

// Finds every row of the used channels, and makes sure the whole composite is there before
// anything is allocated for the picture.
DecodeStatus LocateRows(ByteReader& reader, const Document& doc, std::vector<RowLocation>& rows) {
    const std::size_t height = static_cast<std::size_t>(doc.height);
    const std::size_t channels = static_cast<std::size_t>(doc.channels);
    const std::size_t used = static_cast<std::size_t>(doc.UsedChannels());
    // At most 56 * 30000 * 60000 bytes, below 2^37.
    const std::uint64_t plainSize = static_cast<std::uint64_t>(channels) * height * doc.rowBytes;
    rows.resize(used * height);
    if (doc.compression == kRaw) {
        if (plainSize > reader.Remaining())
            return DecodeStatus::Corrupt;
        for (std::size_t i = 0; i < rows.size(); ++i)
            rows[i] = {reader.Position() + i * doc.rowBytes, doc.rowBytes};
        return DecodeStatus::Ok;
    }
    // A row count for every row of every channel, then the rows one after another. PackBits
    // gives at most 128 bytes for 2, which bounds what a row's count may claim.
    const std::size_t countsSize = 2 * channels * height;
    if (countsSize > reader.Remaining())
        return DecodeStatus::Corrupt;
    const std::size_t smallestRow = 2 * ((doc.rowBytes + 127) / 128);
    const std::uint8_t* counts = reader.Current();
    std::size_t offset = reader.Position() + countsSize;
    std::uint64_t total = 0;
    for (std::size_t i = 0; i < channels * height; ++i) {
        const std::size_t count = static_cast<std::size_t>(counts[2 * i] << 8 | counts[2 * i + 1]);
        if (i < rows.size()) {
            if (count < smallestRow)
                return DecodeStatus::Corrupt;
            rows[i] = {offset, count};
        }
        offset += count;
        total += count;
    }
    if (total > reader.Remaining() - countsSize)
        return DecodeStatus::Corrupt;
    return DecodeStatus::Ok;
}

DecodeStatus DecodeRows(const std::uint8_t* data, std::size_t size, RowSink& sink,
                        const DecodeControl& control) {
    ByteReader reader(data, size);
    Document doc;
    DecodeStatus status = ReadHeader(reader, doc);
    if (status != DecodeStatus::Ok)
        return status;
    std::vector<RowLocation> rows;
    status = LocateRows(reader, doc, rows);
    if (status != DecodeStatus::Ok)
        return status;
    status = sink.Begin(doc.width, doc.height);
    if (status != DecodeStatus::Ok)
        return status;

    const std::size_t width = static_cast<std::size_t>(doc.width);
    const int used = doc.UsedChannels();
    std::vector<std::uint8_t> unpacked(doc.rowBytes);
    std::vector<std::uint8_t> samples(static_cast<std::size_t>(used) * width);
    std::vector<std::uint32_t> row(width);
    const std::uint8_t* base = data;
    RowBands bands(control, doc.width, doc.height);
    for (int y = 0; y < doc.height; ++y) {
        if (!bands.Continue(y))
            return DecodeStatus::Aborted;
        // Every used channel's row, as one 8-bit sample per pixel.
        for (int c = 0; c < used; ++c) {
            const RowLocation& at = rows[static_cast<std::size_t>(c) * doc.height + y];
            const std::uint8_t* bytes = base + at.offset;
            if (doc.compression == kPackBits) {
                if (!UnpackBits(bytes, at.size, unpacked.data(), doc.rowBytes))
                    return DecodeStatus::Corrupt;
                bytes = unpacked.data();
            }
            std::uint8_t* s = samples.data() + static_cast<std::size_t>(c) * width;
            if (doc.depth == 8) {
                std::memcpy(s, bytes, width);
            } else if (doc.depth == 16) {
                for (std::size_t x = 0; x < width; ++x)
                    s[x] = SixteenToEight(bytes + 2 * x);
            } else {
                for (std::size_t x = 0; x < width; ++x)
                    s[x] = (bytes[x >> 3] >> (7 - (x & 7)) & 1) != 0 ? 0 : 255;
            }
        }
        const std::uint8_t* s0 = samples.data();
        const std::uint8_t* alpha =
            doc.alpha ? samples.data() + static_cast<std::size_t>(doc.colourChannels) * width
                      : nullptr;
        for (std::size_t x = 0; x < width; ++x) {
            std::uint32_t r, g, b;
            switch (doc.mode) {
            case kIndexed:
                r = doc.palette[s0[x]];
                g = doc.palette[256 + s0[x]];
                b = doc.palette[512 + s0[x]];
                break;
            case kRgb:
                r = s0[x];
                g = s0[width + x];
                b = s0[2 * width + x];
                break;
            case kCmyk: {
                const std::uint32_t k = s0[3 * width + x];
                r = InkProduct(s0[x], k);
                g = InkProduct(s0[width + x], k);
                b = InkProduct(s0[2 * width + x], k);
                break;
            }
            default: // bitmap, grayscale, duotone
                r = g = b = s0[x];
                break;
            }
            const std::uint32_t a = alpha != nullptr ? alpha[x] : 0xFFu;
            row[x] = a << 24 | r << 16 | g << 8 | b;
        }
        sink.PutRow(row.data());
    }
    bands.Finish();
    return DecodeStatus::Ok;
}

} // namespace

DecodeStatus DecodePsd(const std::uint8_t* data, std::size_t size, RowSink& sink,
                       const DecodeControl& control) {
    try {
        return DecodeRows(data, size, sink, control);
    } catch (const std::bad_alloc&) {
        return DecodeStatus::OutOfMemory;
    }
}

DecodeStatus DecodePsd(const std::uint8_t* data, std::size_t size, DecodedImage& image,
                       const DecodeControl& control) {
    return DecodeWholeImage(image,
                            [&](RowSink& sink) { return DecodeRows(data, size, sink, control); });
}

} // namespace orrelux::engine
