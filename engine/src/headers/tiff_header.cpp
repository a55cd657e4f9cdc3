// TIFF: the 8-byte header (II little endian, MM big endian) and the first IFD. Read are the
// entries and, where a tag's values do not fit in its entry, the BitsPerSample and ExtraSamples
// arrays; the pointer to the next IFD and all other tags' data stay unread.
//
// Colour model by Photometric: 0 and 1 grayscale, 2 RGB, 3 palette (indexed), 5 CMYK when its
// InkSet is 1 (the default), 6 YCbCr as RGB, 8 to 10 CIE Lab (the "other" model). A missing
// Photometric is guessed from SamplesPerPixel: 3 or more RGB, else grayscale. Samples beyond the
// model's colour samples are extra; ExtraSamples 1 (associated) or 2 (unassociated alpha) among
// them gives alpha. Bits per pixel is the sum of BitsPerSample over all samples.
//
// Refused: BigTIFF (version 43), transparency masks (Photometric 4) and unknown Photometrics.
#include "headers/header_input.h"

#include <algorithm>
#include <vector>

namespace orrelux::engine::detail {
namespace {

constexpr std::uint64_t kEntrySize = 12;
// More samples than this cannot make a pixel of kMaxBitsPerPixel bits.
constexpr std::uint32_t kMaxSamples = kMaxBitsPerPixel;
constexpr std::uint32_t kMaxBitsPerSample = 64;

enum Tag : std::uint16_t {
    kImageWidth = 256,
    kImageLength = 257,
    kBitsPerSample = 258,
    kPhotometric = 262,
    kSamplesPerPixel = 277,
    kInkSet = 332,
    kExtraSamples = 338,
};

enum FieldType : std::uint16_t {
    kByte = 1,
    kShort = 3,
    kLong = 4,
};

enum Photometric : std::uint32_t {
    kWhiteIsZero = 0,
    kBlackIsZero = 1,
    kPhotometricRgb = 2,
    kPalette = 3,
    kSeparated = 5,
    kYCbCr = 6,
    kCieLab = 8,
    kIccLab = 9,
    kItuLab = 10,
    kPhotometricMissing = 0xFFFFFFFF,
};

constexpr std::uint32_t kInkSetCmyk = 1;

class TiffReader {
public:
    TiffReader(HeaderInput& input, bool bigEndian) : input_(input), bigEndian_(bigEndian) {}

    std::uint16_t U16(const std::uint8_t* p) const { return bigEndian_ ? Be16(p) : Le16(p); }
    std::uint32_t U32(const std::uint8_t* p) const { return bigEndian_ ? Be32(p) : Le32(p); }

    // The first `wanted` values of an entry of type BYTE, SHORT or LONG, from inside the entry
    // when they fit in its 4 bytes, else from the offset it holds. False with status set when the
    // type is wrong, the entry has fewer values or the array lies beyond the data.
    bool Values(const std::uint8_t* entry, std::uint32_t wanted, std::vector<std::uint32_t>& out,
                HeaderStatus& status) {
        const std::uint16_t type = U16(entry + 2);
        const std::uint32_t count = U32(entry + 4);
        const unsigned width = type == kByte ? 1 : type == kShort ? 2 : type == kLong ? 4 : 0;
        if (width == 0 || count < wanted) {
            status = HeaderStatus::Corrupt;
            return false;
        }
        out.clear();
        if (wanted == 0) {
            return true;
        }
        // wanted <= kMaxSamples, so this is at most 1020 bytes.
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(wanted) * width);
        if (static_cast<std::uint64_t>(count) * width <= 4) {
            std::copy(entry + 8, entry + 8 + bytes.size(), bytes.begin());
        } else if (!input_.Read(U32(entry + 8), bytes.data(), bytes.size())) {
            status = HeaderStatus::Truncated;
            return false;
        }
        for (std::size_t i = 0; i < wanted; ++i) {
            const std::uint8_t* p = bytes.data() + i * width;
            out.push_back(width == 1 ? *p : width == 2 ? U16(p) : U32(p));
        }
        return true;
    }

    // One value of an entry.
    bool Value(const std::uint8_t* entry, std::uint32_t& value, HeaderStatus& status) {
        std::vector<std::uint32_t> values;
        if (!Values(entry, 1, values, status)) {
            return false;
        }
        value = values[0];
        return true;
    }

    ImageHeader Read();

private:
    HeaderInput& input_;
    bool bigEndian_;
};

// Colour samples and flags of a Photometric; false for the refused ones.
bool ModelOf(std::uint32_t photometric, std::uint32_t inkSet, std::uint32_t samples,
             std::uint32_t& colourSamples, std::uint32_t& flags) {
    switch (photometric) {
    case kWhiteIsZero:
    case kBlackIsZero:
        colourSamples = 1;
        flags = kPixelFormatGrayscale;
        return true;
    case kPhotometricRgb:
    case kYCbCr:
        colourSamples = 3;
        flags = kPixelFormatRgb;
        return true;
    case kPalette:
        colourSamples = 1;
        flags = kPixelFormatIndexed;
        return true;
    case kSeparated:
        colourSamples = inkSet == kInkSetCmyk ? 4 : 1;
        flags = inkSet == kInkSetCmyk ? kPixelFormatCmyk : kPixelFormatOtherModel;
        return true;
    case kCieLab:
    case kIccLab:
    case kItuLab:
        colourSamples = 1; // L* alone is a valid Lab picture
        flags = kPixelFormatOtherModel;
        return true;
    case kPhotometricMissing:
        colourSamples = samples >= 3 ? 3 : 1;
        flags = samples >= 3 ? kPixelFormatRgb : kPixelFormatGrayscale;
        return true;
    default:
        return false;
    }
}

ImageHeader TiffReader::Read() {
    std::uint8_t offsetBytes[4];
    if (!input_.Read(4, offsetBytes, sizeof offsetBytes)) {
        return Failure(kFileFormatTiff, HeaderStatus::Truncated);
    }
    const std::uint64_t ifdOffset = U32(offsetBytes);
    std::uint8_t countBytes[2];
    if (ifdOffset < 8) {
        return Failure(kFileFormatTiff, HeaderStatus::Corrupt);
    }
    if (!input_.Read(ifdOffset, countBytes, sizeof countBytes)) {
        return Failure(kFileFormatTiff, HeaderStatus::Truncated);
    }
    const std::uint64_t entryCount = U16(countBytes);
    if (entryCount == 0) {
        return Failure(kFileFormatTiff, HeaderStatus::Corrupt);
    }
    // At most 65535 entries: 786420 bytes, and only when the data holds them and the pointer to
    // the next IFD that closes them (which itself stays unread).
    std::vector<std::uint8_t> entries;
    if (input_.Holds(ifdOffset + 2, entryCount * kEntrySize + 4)) {
        entries.resize(static_cast<std::size_t>(entryCount * kEntrySize));
    }
    if (entries.empty() || !input_.Read(ifdOffset + 2, entries.data(), entries.size())) {
        return Failure(kFileFormatTiff, HeaderStatus::Truncated);
    }

    const std::uint8_t* width = nullptr;
    const std::uint8_t* length = nullptr;
    const std::uint8_t* bitsPerSample = nullptr;
    const std::uint8_t* samplesPerPixel = nullptr;
    const std::uint8_t* photometric = nullptr;
    const std::uint8_t* inkSet = nullptr;
    const std::uint8_t* extraSamples = nullptr;
    for (std::size_t i = 0; i < entries.size(); i += kEntrySize) {
        const std::uint8_t* entry = entries.data() + i;
        switch (U16(entry)) {
        case kImageWidth:
            width = entry;
            break;
        case kImageLength:
            length = entry;
            break;
        case kBitsPerSample:
            bitsPerSample = entry;
            break;
        case kSamplesPerPixel:
            samplesPerPixel = entry;
            break;
        case kPhotometric:
            photometric = entry;
            break;
        case kInkSet:
            inkSet = entry;
            break;
        case kExtraSamples:
            extraSamples = entry;
            break;
        default:
            break;
        }
    }
    if (width == nullptr || length == nullptr) {
        return Failure(kFileFormatTiff, HeaderStatus::Corrupt);
    }

    HeaderStatus status = HeaderStatus::Corrupt;
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    std::uint32_t samples = 1;
    std::uint32_t photometricValue = kPhotometricMissing;
    std::uint32_t inkSetValue = kInkSetCmyk;
    if (!Value(width, columns, status) || !Value(length, rows, status) ||
        (samplesPerPixel != nullptr && !Value(samplesPerPixel, samples, status)) ||
        (photometric != nullptr && !Value(photometric, photometricValue, status)) ||
        (inkSet != nullptr && !Value(inkSet, inkSetValue, status))) {
        return Failure(kFileFormatTiff, status);
    }
    if (samples == 0) {
        return Failure(kFileFormatTiff, HeaderStatus::Corrupt);
    }
    if (samples > kMaxSamples) {
        return Failure(kFileFormatTiff, HeaderStatus::Unsupported);
    }
    std::uint32_t colourSamples = 0;
    std::uint32_t flags = 0;
    if (!ModelOf(photometricValue, inkSetValue, samples, colourSamples, flags)) {
        return Failure(kFileFormatTiff, HeaderStatus::Unsupported);
    }
    if (samples < colourSamples) {
        return Failure(kFileFormatTiff, HeaderStatus::Corrupt);
    }

    // BitsPerSample: one value for every sample, or a single one that holds for all; 1 when the
    // tag is missing.
    std::uint64_t bitsPerPixel = samples;
    if (bitsPerSample != nullptr) {
        const bool shared = U32(bitsPerSample + 4) == 1;
        std::vector<std::uint32_t> bits;
        if (!Values(bitsPerSample, shared ? 1 : samples, bits, status)) {
            return Failure(kFileFormatTiff, status);
        }
        bitsPerPixel = 0;
        for (std::uint32_t i = 0; i < samples; ++i) {
            const std::uint32_t sampleBits = bits[shared ? 0 : i];
            if (sampleBits == 0 || sampleBits > kMaxBitsPerSample) {
                return Failure(kFileFormatTiff, HeaderStatus::Corrupt);
            }
            bitsPerPixel += sampleBits; // at most 255 * 64
        }
    }

    if (extraSamples != nullptr) {
        const std::uint32_t extraCount = U32(extraSamples + 4);
        if (extraCount > samples - colourSamples) {
            return Failure(kFileFormatTiff, HeaderStatus::Corrupt);
        }
        std::vector<std::uint32_t> kinds;
        if (!Values(extraSamples, extraCount, kinds, status)) {
            return Failure(kFileFormatTiff, status);
        }
        for (const std::uint32_t kind : kinds) {
            if (kind == 1 || kind == 2) {
                flags |= kPixelFormatAlpha;
            }
        }
    }
    return Describe(kFileFormatTiff, columns, rows, bitsPerPixel, flags);
}

} // namespace

ImageHeader ReadTiff(HeaderInput& input) {
    const bool littleEndian = input.StartsWith("II*\0", 4);
    const bool bigEndian = !littleEndian && input.StartsWith("MM\0*", 4);
    if (!littleEndian && !bigEndian) {
        if (input.StartsWith("II+\0", 4) || input.StartsWith("MM\0+", 4)) {
            return Failure(kFileFormatTiff, HeaderStatus::Unsupported); // BigTIFF
        }
        return Failure(kFileFormatTiff, HeaderStatus::NotRecognised);
    }
    return TiffReader(input, bigEndian).Read();
}

} // namespace orrelux::engine::detail
