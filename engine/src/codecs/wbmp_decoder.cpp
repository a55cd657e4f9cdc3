#include "codecs/wbmp_decoder.h"

#include "codecs/byte_reader.h"

#include <vector>

namespace orrelux::engine {

namespace {

constexpr std::uint32_t kBlack = 0xFF000000u;
constexpr std::uint32_t kWhite = 0xFFFFFFFFu;
constexpr std::uint8_t kExtensionFlag = 0x80;

enum class IntegerRead { Ok, Ended, TooLarge };

// A multi-byte integer of at most 31 bits: five bytes at most, and no bits beyond.
IntegerRead ReadMultiByte(ByteReader& reader, std::uint32_t& value) {
    value = 0;
    for (int count = 0; count < 5; ++count) {
        std::uint8_t byte;
        if (!reader.ReadU8(byte))
            return IntegerRead::Ended;
        if (value > (0x7FFFFFFFu >> 7))
            return IntegerRead::TooLarge;
        value = value << 7 | (byte & 0x7Fu);
        if ((byte & 0x80) == 0)
            return IntegerRead::Ok;
    }
    return IntegerRead::TooLarge;
}

DecodeStatus DecodeRows(const std::uint8_t* data, std::size_t size, RowSink& sink,
                        const DecodeControl& control) {
    ByteReader reader(data, size);
    std::uint32_t type;
    switch (ReadMultiByte(reader, type)) {
    case IntegerRead::Ok:
        break;
    case IntegerRead::Ended:
        return DecodeStatus::Corrupt;
    case IntegerRead::TooLarge:
        return DecodeStatus::Unsupported;
    }
    if (type != 0)
        return DecodeStatus::Unsupported;
    std::uint8_t fixedHeader;
    if (!reader.ReadU8(fixedHeader))
        return DecodeStatus::Corrupt;
    if ((fixedHeader & kExtensionFlag) != 0)
        return DecodeStatus::Unsupported;
    std::uint32_t width;
    std::uint32_t height;
    if (ReadMultiByte(reader, width) != IntegerRead::Ok ||
        ReadMultiByte(reader, height) != IntegerRead::Ok || width == 0 || height == 0)
        return DecodeStatus::Corrupt;

    // All rows must be there before anything is allocated. Below 2^60: both factors < 2^31.
    const std::size_t rowBytes = (static_cast<std::size_t>(width) + 7) / 8;
    if (static_cast<std::uint64_t>(rowBytes) * height > reader.Remaining())
        return DecodeStatus::Corrupt;

    const int w = static_cast<int>(width);
    const int h = static_cast<int>(height);
    const DecodeStatus begun = sink.Begin(w, h);
    if (begun != DecodeStatus::Ok)
        return begun;
    std::vector<std::uint32_t> row(width);
    RowBands bands(control, w, h);
    const std::uint8_t* bits = reader.Current();
    for (int y = 0; y < h; ++y, bits += rowBytes) {
        if (!bands.Continue(y))
            return DecodeStatus::Aborted;
        for (int x = 0; x < w; ++x)
            row[x] = (bits[x >> 3] >> (7 - (x & 7)) & 1) != 0 ? kWhite : kBlack;
        sink.PutRow(row.data());
    }
    bands.Finish();
    return DecodeStatus::Ok;
}

} // namespace

DecodeStatus DecodeWbmp(const std::uint8_t* data, std::size_t size, RowSink& sink,
                        const DecodeControl& control) {
    try {
        return DecodeRows(data, size, sink, control);
    } catch (const std::bad_alloc&) {
        return DecodeStatus::OutOfMemory;
    }
}

DecodeStatus DecodeWbmp(const std::uint8_t* data, std::size_t size, DecodedImage& image,
                        const DecodeControl& control) {
    return DecodeWholeImage(image,
                            [&](RowSink& sink) { return DecodeRows(data, size, sink, control); });
}

} // namespace orrelux::engine
