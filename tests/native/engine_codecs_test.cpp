#include "codecs/area_scaler.h"
#include "codecs/orientation.h"
#include "codecs/pcx_decoder.h"
#include "codecs/psd_decoder.h"
#include "codecs/wbmp_decoder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace orrelux::engine {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Pixels = std::vector<std::uint32_t>;

constexpr std::uint32_t kB = 0xFF000000; // opaque black
constexpr std::uint32_t kW = 0xFFFFFFFF; // opaque white

std::uint32_t Gray(std::uint32_t v) {
    return 0xFF000000u | v << 16 | v << 8 | v;
}

// 'W' white, anything else black.
Pixels Mono(const std::string& bits) {
    Pixels out;
    for (char bit : bits)
        out.push_back(bit == 'W' ? kW : kB);
    return out;
}

void PutLe16(Bytes& out, unsigned v) {
    out.push_back(static_cast<std::uint8_t>(v));
    out.push_back(static_cast<std::uint8_t>(v >> 8));
}
void PutBe16(Bytes& out, unsigned v) {
    out.push_back(static_cast<std::uint8_t>(v >> 8));
    out.push_back(static_cast<std::uint8_t>(v));
}
void PutBe32(Bytes& out, std::uint32_t v) {
    PutBe16(out, v >> 16);
    PutBe16(out, v & 0xFFFF);
}
void Append(Bytes& out, const Bytes& more) {
    out.insert(out.end(), more.begin(), more.end());
}

// `lines` holds height * planes * bytesPerLine plain bytes; `encoded`, when not empty, is the
// image data as it stands instead. Header palette entry i is (16 i, 255 - 16 i, i).
Bytes MakePcx(int bitsPerPixel, int planes, int width, int height, int bytesPerLine,
              const Bytes& lines, const Bytes& trailingPalette = {}, int version = 5,
              int encoding = 1, const Bytes& encoded = {}) {
    Bytes out = {0x0A, static_cast<std::uint8_t>(version), static_cast<std::uint8_t>(encoding),
                 static_cast<std::uint8_t>(bitsPerPixel)};
    const int xMin = 5, yMin = 2; // sizes come from the differences
    for (int v : {xMin, yMin, xMin + width - 1, yMin + height - 1, 72, 72})
        PutLe16(out, static_cast<unsigned>(v));
    for (int i = 0; i < 16; ++i)
        Append(out, {static_cast<std::uint8_t>(16 * i), static_cast<std::uint8_t>(255 - 16 * i),
                     static_cast<std::uint8_t>(i)});
    out.push_back(0);
    out.push_back(static_cast<std::uint8_t>(planes));
    PutLe16(out, static_cast<unsigned>(bytesPerLine));
    out.resize(128, 0);
    if (!encoded.empty() || encoding == 0) {
        Append(out, encoded.empty() ? lines : encoded);
    } else {
        // Runs within each scanline; a byte with its top bits set always goes as a run.
        const std::size_t scanline = static_cast<std::size_t>(planes * bytesPerLine);
        for (std::size_t start = 0; start < lines.size(); start += scanline) {
            for (std::size_t i = start; i < start + scanline;) {
                std::size_t run = 1;
                while (i + run < start + scanline && run < 63 && lines[i + run] == lines[i])
                    ++run;
                if (run > 1 || lines[i] >= 0xC0)
                    out.push_back(static_cast<std::uint8_t>(0xC0 | run));
                out.push_back(lines[i]);
                i += run;
            }
        }
    }
    if (!trailingPalette.empty()) {
        out.push_back(0x0C);
        Append(out, trailingPalette);
    }
    return out;
}

// Trailing palette entry i is (i, 255 - i, i ^ 0x55).
Bytes TrailingPalette() {
    Bytes p;
    for (int i = 0; i < 256; ++i)
        Append(p, {static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(255 - i),
                   static_cast<std::uint8_t>(i ^ 0x55)});
    return p;
}

// Runs of equal bytes as runs, every other byte as a literal of one.
Bytes PackBits(const Bytes& row) {
    Bytes out;
    for (std::size_t i = 0, run = 1; i < row.size(); i += run, run = 1) {
        while (i + run < row.size() && run < 128 && row[i + run] == row[i])
            ++run;
        out.push_back(static_cast<std::uint8_t>(1 - static_cast<int>(run)));
        out.push_back(row[i]);
    }
    return out;
}

// `channels` holds the plain rows of each channel, height * row bytes.
Bytes MakePsd(int mode, int depth, int width, int height, int compression,
              const std::vector<Bytes>& channels, const Bytes& colourModeData = {}) {
    Bytes out = {'8', 'B', 'P', 'S', 0, 1};
    out.resize(out.size() + 6, 0);
    PutBe16(out, static_cast<unsigned>(channels.size()));
    PutBe32(out, static_cast<std::uint32_t>(height));
    PutBe32(out, static_cast<std::uint32_t>(width));
    PutBe16(out, static_cast<unsigned>(depth));
    PutBe16(out, static_cast<unsigned>(mode));
    PutBe32(out, static_cast<std::uint32_t>(colourModeData.size()));
    Append(out, colourModeData);
    const Bytes resources = {'8', 'B', 'I', 'M', 0x03, 0xED, 0, 0, 0, 0, 0, 0};
    PutBe32(out, static_cast<std::uint32_t>(resources.size()));
    Append(out, resources);
    PutBe32(out, 4); // layers and masks: an empty layer info
    PutBe32(out, 0);
    PutBe16(out, static_cast<unsigned>(compression));
    const std::size_t rowBytes =
        depth == 1 ? (static_cast<std::size_t>(width) + 7) / 8 : width * (depth / 8u);
    if (compression == 0) {
        for (const Bytes& channel : channels)
            Append(out, channel);
        return out;
    }
    Bytes counts, rows;
    for (const Bytes& channel : channels) {
        for (int y = 0; y < height; ++y) {
            const auto begin = channel.begin() + static_cast<std::ptrdiff_t>(y * rowBytes);
            const Bytes packed =
                PackBits(Bytes(begin, begin + static_cast<std::ptrdiff_t>(rowBytes)));
            PutBe16(counts, static_cast<unsigned>(packed.size()));
            Append(rows, packed);
        }
    }
    Append(out, counts);
    Append(out, rows);
    return out;
}

using WholeDecoder = DecodeStatus (*)(const std::uint8_t*, std::size_t, DecodedImage&,
                                      const DecodeControl&);

struct DecodeCase {
    std::string name;
    WholeDecoder decode;
    Bytes file;
    int width;
    int height;
    Pixels pixels;
};

std::vector<DecodeCase> ValidFiles() {
    std::vector<DecodeCase> cases;
    const auto add = [&cases](const char* name, WholeDecoder decode, Bytes file, int width,
                              int height, Pixels pixels) {
        cases.push_back({name, decode, std::move(file), width, height, std::move(pixels)});
    };
    const Bytes trailing = TrailingPalette();
    add("pcx mono, offset origin, pad bytes", DecodePcx,
        MakePcx(1, 1, 10, 2, 4, {0xB0, 0x40, 0x5A, 0x5A, 0xFF, 0xFF, 0x5A, 0x5A}), 10, 2,
        Mono("WBWWBBBBBWWWWWWWWWWW"));
    add("pcx 16 colours in 4 planes", DecodePcx,
        MakePcx(1, 4, 3, 1, 2, {0xA0, 0, 0x60, 0, 0x20, 0, 0x60, 0}), 3, 1,
        {0xFF10EF01, 0xFFA05F0A, 0xFFF00F0F});
    add("pcx 2 bits in 2 planes", DecodePcx, MakePcx(2, 2, 3, 1, 2, {0x6C, 0, 0x8C, 0}), 3, 1,
        {0xFF906F09, 0xFF20DF02, 0xFFF00F0F});
    add("pcx 4 bits", DecodePcx, MakePcx(4, 1, 3, 1, 2, {0xA3, 0xF0}), 3, 1,
        {0xFFA05F0A, 0xFF30CF03, 0xFFF00F0F});
    add("pcx version 3 takes the EGA colours", DecodePcx,
        MakePcx(4, 1, 2, 1, 2, {0x69, 0x00}, {}, 3), 2, 1, {0xFFAA5500, 0xFF5555FF});
    add("pcx 256 colours", DecodePcx,
        MakePcx(8, 1, 3, 2, 4, {0, 200, 255, 9, 7, 7, 7, 9}, trailing), 3, 2,
        {0xFF00FF55, 0xFFC8379D, 0xFFFF00AA, 0xFF07F852, 0xFF07F852, 0xFF07F852});
    add("pcx 24 bits", DecodePcx,
        MakePcx(8, 3, 2, 2, 2, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0xC1, 0xC1, 0, 0, 0xFF, 0xFF}),
        2, 2, {0xFF113355, 0xFF224466, 0xFFC100FF, 0xFFC100FF});
    add("pcx 24 bits plain", DecodePcx,
        MakePcx(8, 3, 2, 1, 2, {0x11, 0x22, 0x33, 0x44, 0xC5, 0x66}, {}, 5, 0), 2, 1,
        {0xFF1133C5, 0xFF224466});
    add("pcx 32 bits with alpha", DecodePcx,
        MakePcx(8, 4, 1, 1, 2, {0x10, 0, 0x20, 0, 0x30, 0, 0x80, 0}), 1, 1, {0x80102030});
    add("pcx run across scanlines", DecodePcx, MakePcx(1, 1, 16, 2, 2, {}, {}, 5, 1, {0xC4, 0xF0}),
        16, 2, Mono("WWWWBBBBWWWWBBBBWWWWBBBBWWWWBBBB"));

    add("wbmp", DecodeWbmp, {0, 0, 3, 2, 0xA0, 0x40}, 3, 2, Mono("WBWBWB"));
    Bytes wide = {0, 0, 0x81, 0x01, 0x01, 0x80}; // 129 wide: a width of two bytes
    wide.resize(wide.size() + 16, 0);
    wide.back() = 0x80;
    add("wbmp multi-byte width", DecodeWbmp, wide, 129, 1, Mono("W" + std::string(127, 'B') + "W"));

    add("psd rgb raw", DecodePsd,
        MakePsd(3, 8, 2, 2, 0, {{10, 20, 30, 40}, {50, 60, 70, 80}, {90, 100, 110, 120}}), 2, 2,
        {0xFF0A325A, 0xFF143C64, 0xFF1E466E, 0xFF285078});
    add("psd rgb packbits with alpha", DecodePsd,
        MakePsd(3, 8, 3, 1, 1, {{255, 255, 0}, {0, 0, 128}, {0, 0, 255}, {255, 128, 0}}), 3, 1,
        {0xFFFF0000, 0x80FF0000, 0x000080FF});
    add("psd rgb packbits, extra channel ignored", DecodePsd,
        MakePsd(3, 8, 1, 2, 1, {{1, 2}, {3, 4}, {5, 6}, {255, 7}, {9, 9}}), 1, 2,
        {0xFF010305, 0x07020406});
    add("psd gray 16 bits with alpha", DecodePsd,
        MakePsd(1, 16, 4, 1, 0,
                {{0, 0, 0xFF, 0xFF, 0x80, 0x80, 0x7F, 0x7F},
                 {0xFF, 0xFF, 0, 0, 0x80, 0x80, 0xFF, 0xFF}}),
        4, 1, {0xFF000000, 0x00FFFFFF, 0x80808080, 0xFF7F7F7F});
    add("psd rgb 16 bits packbits", DecodePsd,
        MakePsd(3, 16, 1, 1, 1, {{0x12, 0x34}, {0xFE, 0xFF}, {0x00, 0xFF}}), 1, 1, {0xFF12FE01});
    add("psd cmyk with alpha", DecodePsd,
        MakePsd(4, 8, 3, 1, 0,
                {{255, 0, 255}, {255, 255, 200}, {255, 255, 0}, {255, 255, 200}, {255, 255, 64}}),
        3, 1, {0xFFFFFFFF, 0xFF00FFFF, 0x40C89D00});
    // A gray 2x1 whose one row starts with the -128 header that does nothing.
    Bytes noOp = MakePsd(1, 8, 2, 1, 1, {{0x11, 0x22}});
    noOp.resize(noOp.size() - 6); // the row count and the row {0x00, 0x11, 0x00, 0x22}
    Append(noOp, {0x00, 0x04, 0x80, 0x01, 0x11, 0x22});
    add("psd packbits no-op header", DecodePsd, noOp, 2, 1, {Gray(0x11), Gray(0x22)});
    Bytes psdPalette(768, 0x33);
    for (int i = 0; i < 256; ++i) {
        psdPalette[i] = static_cast<std::uint8_t>(i);
        psdPalette[256 + i] = static_cast<std::uint8_t>(255 - i);
    }
    add("psd indexed", DecodePsd, MakePsd(2, 8, 2, 1, 1, {{0, 255}, {7, 7}}, psdPalette), 2, 1,
        {0xFF00FF33, 0xFFFF0033});
    add("psd bitmap", DecodePsd, MakePsd(0, 1, 10, 1, 0, {{0xA0, 0x40}}), 10, 1,
        Mono("BWBWWWWWWB"));
    add("psd duotone as gray", DecodePsd, MakePsd(8, 8, 1, 1, 0, {{0x77}}), 1, 1, {Gray(0x77)});
    return cases;
}

TEST(EngineCodecs, DecodesEveryVariantToExactPixels) {
    for (const DecodeCase& c : ValidFiles()) {
        SCOPED_TRACE(c.name);
        DecodedImage image;
        ASSERT_EQ(DecodeStatus::Ok, c.decode(c.file.data(), c.file.size(), image, {}));
        EXPECT_EQ(c.width, image.width);
        EXPECT_EQ(c.height, image.height);
        EXPECT_EQ(c.pixels, image.pixels);
    }
}

TEST(EngineCodecs, EveryTruncationIsCorruptAndLeavesNoPicture) {
    for (const DecodeCase& c : ValidFiles()) {
        SCOPED_TRACE(c.name);
        for (std::size_t size = 0; size < c.file.size(); ++size) {
            // A copy of exactly `size` bytes, so that AddressSanitizer sees any read beyond it.
            const Bytes prefix(c.file.begin(), c.file.begin() + static_cast<std::ptrdiff_t>(size));
            DecodedImage image{1, 1, {kW}};
            EXPECT_EQ(DecodeStatus::Corrupt, c.decode(prefix.data(), prefix.size(), image, {}))
                << "prefix of " << size << " bytes";
            EXPECT_TRUE(image.IsEmpty() && image.pixels.empty());
        }
    }
}

struct StatusCase {
    const char* name;
    WholeDecoder decode;
    Bytes file;
    DecodeStatus expected;
};

Bytes Patched(Bytes file, std::size_t at, std::uint8_t value) {
    file.at(at) = value;
    return file;
}

// A gray 30000 x 30000 whose row counts and rows all claim 1 byte: too little for any row, found
// out before the picture is allocated.
Bytes TinyRowsOfAHugePsd() {
    Bytes file = MakePsd(1, 8, 1, 1, 1, {{0}});
    file.resize(file.size() - 4); // the row count and the row
    for (std::size_t at : {14u, 18u}) {
        file[at + 2] = 30000 >> 8;
        file[at + 3] = 30000 & 0xFF;
    }
    for (int row = 0; row < 30000; ++row)
        Append(file, {0, 1});
    file.resize(file.size() + 30000, 0);
    return file;
}

std::vector<StatusCase> RefusedFiles() {
    const Bytes pcx24 = MakePcx(8, 3, 2, 1, 2, {1, 2, 3, 4, 5, 6});
    const Bytes pcx256 = MakePcx(8, 1, 2, 1, 2, {1, 2}, TrailingPalette());
    const Bytes rgb = MakePsd(3, 8, 2, 1, 0, {{1, 2}, {3, 4}, {5, 6}});
    const Bytes gray = MakePsd(1, 8, 2, 1, 1, {{0x11, 0x11}});
    Bytes huge = pcx24; // x and y max 65535, and bytes per line to match
    for (std::size_t at : {8, 9, 10, 11, 66, 67})
        huge[at] = 0xFF;
    const std::size_t psdModeAt = 24, psdDepthAt = 22;
    return {
        {"pcx wrong maker", DecodePcx, Patched(pcx24, 0, 0x0B), DecodeStatus::Corrupt},
        {"pcx encoding 2", DecodePcx, Patched(pcx24, 2, 2), DecodeStatus::Unsupported},
        {"pcx 8 bits in 2 planes", DecodePcx, Patched(pcx24, 65, 2), DecodeStatus::Unsupported},
        {"pcx 4 bits in 2 planes", DecodePcx, Patched(Patched(pcx24, 3, 4), 65, 2),
         DecodeStatus::Unsupported},
        {"pcx x max below x min", DecodePcx, Patched(pcx24, 8, 0), DecodeStatus::Corrupt},
        {"pcx line shorter than the width", DecodePcx, Patched(pcx24, 66, 1),
         DecodeStatus::Corrupt},
        {"pcx 256 colours without marker", DecodePcx, Patched(pcx256, pcx256.size() - 769, 0x0D),
         DecodeStatus::Corrupt},
        {"pcx 65536 x 65536 in a few bytes", DecodePcx, huge, DecodeStatus::Corrupt},

        {"wbmp type 1", DecodeWbmp, {1, 0, 1, 1, 0x80}, DecodeStatus::Unsupported},
        {"wbmp extension headers", DecodeWbmp, {0, 0x80, 0, 1, 1, 0x80}, DecodeStatus::Unsupported},
        {"wbmp width 0", DecodeWbmp, {0, 0, 0, 1}, DecodeStatus::Corrupt},
        {"wbmp height over 31 bits",
         DecodeWbmp,
         {0, 0, 1, 0x8F, 0xFF, 0xFF, 0xFF, 0x7F, 0},
         DecodeStatus::Corrupt},
        {"wbmp height of 33 bits that would wrap to 1",
         DecodeWbmp,
         {0, 0, 1, 0x90, 0x80, 0x80, 0x80, 0x01, 0x80},
         DecodeStatus::Corrupt},
        {"wbmp six-byte integer",
         DecodeWbmp,
         {0, 0, 0x80, 0x80, 0x80, 0x80, 0x80, 0x01, 1, 0},
         DecodeStatus::Corrupt},

        {"psd signature", DecodePsd, Patched(rgb, 3, 'T'), DecodeStatus::Corrupt},
        {"psd large document", DecodePsd, Patched(rgb, 5, 2), DecodeStatus::Unsupported},
        {"psd version 3", DecodePsd, Patched(rgb, 5, 3), DecodeStatus::Corrupt},
        {"psd lab", DecodePsd, Patched(rgb, psdModeAt + 1, 9), DecodeStatus::Unsupported},
        {"psd multichannel", DecodePsd, Patched(rgb, psdModeAt + 1, 7), DecodeStatus::Unsupported},
        {"psd mode 5", DecodePsd, Patched(rgb, psdModeAt + 1, 5), DecodeStatus::Corrupt},
        {"psd 32 bits", DecodePsd, Patched(rgb, psdDepthAt + 1, 32), DecodeStatus::Unsupported},
        {"psd 4 bits", DecodePsd, Patched(rgb, psdDepthAt + 1, 4), DecodeStatus::Corrupt},
        {"psd bitmap of 8 bits", DecodePsd, Patched(rgb, psdModeAt + 1, 0), DecodeStatus::Corrupt},
        {"psd rgb in 2 channels", DecodePsd, Patched(rgb, 13, 2), DecodeStatus::Corrupt},
        {"psd width 0", DecodePsd, Patched(rgb, 21, 0), DecodeStatus::Corrupt},
        {"psd width 30001", DecodePsd, Patched(Patched(rgb, 20, 0x75), 21, 0x31),
         DecodeStatus::Corrupt},
        {"psd indexed without palette", DecodePsd, Patched(rgb, psdModeAt + 1, 2),
         DecodeStatus::Corrupt},
        {"psd zip", DecodePsd, Patched(rgb, rgb.size() - 7, 2), DecodeStatus::Unsupported},
        {"psd compression 4", DecodePsd, Patched(rgb, rgb.size() - 7, 4), DecodeStatus::Corrupt},
        {"psd packbits run past the row", DecodePsd, Patched(gray, gray.size() - 2, 0xFD),
         DecodeStatus::Corrupt},
        {"psd 30000 x 30000 with rows of 1 byte", DecodePsd, TinyRowsOfAHugePsd(),
         DecodeStatus::Corrupt},
        {"psd packbits row count below any row", DecodePsd, Patched(gray, gray.size() - 3, 1),
         DecodeStatus::Corrupt},
    };
}

TEST(EngineCodecs, RefusesWhatItCannotDecode) {
    for (const StatusCase& c : RefusedFiles()) {
        SCOPED_TRACE(c.name);
        DecodedImage image;
        EXPECT_EQ(c.expected, c.decode(c.file.data(), c.file.size(), image, {}));
        EXPECT_TRUE(image.IsEmpty());
    }
}

TEST(EngineCodecs, ImageSinkRefusesPicturesOverItsLimit) {
    const Bytes wbmp = {0, 0, 3, 2, 0xA0, 0x40};
    DecodedImage image;
    ImageSink tight(image, 5);
    EXPECT_EQ(DecodeStatus::OutOfMemory, DecodeWbmp(wbmp.data(), wbmp.size(), tight, {}));
    ImageSink exact(image, 6);
    EXPECT_EQ(DecodeStatus::Ok, DecodeWbmp(wbmp.data(), wbmp.size(), exact, {}));
}

TEST(EngineCodecs, DecoderStreamsIntoAThumbnail) {
    // 4x4 of (v, 0, 255 - v) fitted into 2x3 becomes 2x2: the 2x2 blocks averaged.
    const Bytes red = {0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120, 130, 140, 150};
    Bytes blue = red;
    for (std::uint8_t& v : blue)
        v = static_cast<std::uint8_t>(255 - v);
    const Bytes psd = MakePsd(3, 8, 4, 4, 1, {red, Bytes(16, 0), blue});
    RowAccumulator thumbnail = RowAccumulator::FitInto(2, 3);
    ASSERT_EQ(DecodeStatus::Ok, DecodePsd(psd.data(), psd.size(), thumbnail, {}));
    EXPECT_TRUE(thumbnail.IsComplete());
    const DecodedImage image = thumbnail.TakeImage();
    EXPECT_EQ(2, image.width);
    EXPECT_EQ(2, image.height);
    EXPECT_EQ((Pixels{0xFF1900E6, 0xFF2D00D2, 0xFF690096, 0xFF7D0082}), image.pixels);
}

struct ScaleCase {
    const char* name;
    int sourceWidth;
    int sourceHeight;
    Pixels source;
    int width;
    int height;
    Pixels expected;
};

const ScaleCase kScaleCases[] = {
    {"3 to 2: thirds", 3, 1, {Gray(0), Gray(90), Gray(200)}, 2, 1, {Gray(30), Gray(163)}},
    {"5 to 2: two and a half each",
     5,
     1,
     {Gray(10), Gray(20), Gray(30), Gray(40), Gray(50)},
     2,
     1,
     {Gray(18), Gray(42)}},
    {"3x3 to 2x2: weights 4, 2, 2, 1",
     3,
     3,
     {Gray(0), Gray(30), Gray(60), Gray(90), Gray(120), Gray(150), Gray(180), Gray(210), Gray(240)},
     2,
     2,
     {Gray(40), Gray(80), Gray(160), Gray(200)}},
    {"halves round up", 2, 1, {Gray(0), Gray(1)}, 1, 1, {Gray(1)}},
    {"transparent adds no colour", 2, 1, {0xFFFF0000, 0x0000FF00}, 1, 1, {0x80FF0000}},
    {"colour weighted by alpha", 2, 1, {0xFFFFFFFF, 0x55000000}, 1, 1, {0xAABFBFBF}},
    {"all transparent is zero", 2, 1, {0x00123456, 0x00654321}, 1, 1, {0x00000000}},
    {"same size copies", 2, 1, {0x00123456, 0x80FFFFFF}, 2, 1, {0x00123456, 0x80FFFFFF}},
    {"2 to 3 enlarges as a box", 2, 1, {Gray(0), Gray(90)}, 3, 1, {Gray(0), Gray(45), Gray(90)}},
    {"1x1 to 3x2", 1, 1, {0x80402010}, 3, 2, Pixels(6, 0x80402010)},
};

TEST(EngineCodecs, ScaleAreaAverageIsAnExactBoxFilter) {
    for (const ScaleCase& c : kScaleCases) {
        SCOPED_TRACE(c.name);
        const DecodedImage source{c.sourceWidth, c.sourceHeight, c.source};
        DecodedImage scaled;
        ASSERT_EQ(DecodeStatus::Ok, ScaleAreaAverage(source, c.width, c.height, scaled, {}));
        EXPECT_EQ(c.width, scaled.width);
        EXPECT_EQ(c.height, scaled.height);
        EXPECT_EQ(c.expected, scaled.pixels);
    }
}

TEST(EngineCodecs, ScaleAreaAverageChecksItsSourceAndMayScaleInPlace) {
    DecodedImage image{3, 1, {Gray(0), Gray(90), Gray(200)}};
    ASSERT_EQ(DecodeStatus::Ok, ScaleAreaAverage(image, 2, 0, image, {}));
    EXPECT_EQ((Pixels{Gray(30), Gray(163)}), image.pixels) << "height 0 counts as 1";

    DecodedImage result{1, 1, {kW}};
    EXPECT_EQ(DecodeStatus::Corrupt, ScaleAreaAverage(DecodedImage{2, 2, {kW}}, 1, 1, result, {}));
    EXPECT_TRUE(result.IsEmpty());
    EXPECT_EQ(DecodeStatus::Corrupt, ScaleAreaAverage(DecodedImage{}, 1, 1, result, {}));
}

// Aspect kept, sides rounded half up to the nearest pixel and never below 1, never enlarged;
// box sides below 1 count as 1.
TEST(EngineCodecs, FitInBoxKeepsAspectAndRoundsToNearest) {
    const struct {
        int width, height, maxWidth, maxHeight;
        ScaledSize expected;
    } cases[] = {
        {6000, 4000, 100, 100, {100, 67}}, {4000, 6000, 100, 100, {67, 100}},
        {50, 50, 100, 100, {50, 50}},      {100, 100, 100, 100, {100, 100}},
        {100, 40, 100, 30, {75, 30}},      {200, 3, 100, 100, {100, 2}},
        {1000, 1, 100, 100, {100, 1}},     {1, 1000, 100, 100, {1, 100}},
        {160, 120, 100, 75, {100, 75}},    {10, 10, 0, -5, {1, 1}},
        {0, 10, 100, 100, {0, 0}},         {10, -1, 100, 100, {0, 0}},
    };
    for (const auto& c : cases) {
        const ScaledSize fitted = FitInBox(c.width, c.height, c.maxWidth, c.maxHeight);
        EXPECT_TRUE(fitted == c.expected)
            << c.width << "x" << c.height << " in " << c.maxWidth << "x" << c.maxHeight << " gave "
            << fitted.width << "x" << fitted.height;
    }
}

TEST(EngineCodecs, ApplyOrientationTurnsEachExifOrientationUpright) {
    // The source is 3x2: 1 2 3 / 4 5 6.
    const struct {
        int orientation, width, height;
        Pixels pixels;
    } cases[] = {
        {0, 3, 2, {1, 2, 3, 4, 5, 6}}, {1, 3, 2, {1, 2, 3, 4, 5, 6}}, {2, 3, 2, {3, 2, 1, 6, 5, 4}},
        {3, 3, 2, {6, 5, 4, 3, 2, 1}}, {4, 3, 2, {4, 5, 6, 1, 2, 3}}, {5, 2, 3, {1, 4, 2, 5, 3, 6}},
        {6, 2, 3, {4, 1, 5, 2, 6, 3}}, {7, 2, 3, {6, 3, 5, 2, 4, 1}}, {8, 2, 3, {3, 6, 2, 5, 1, 4}},
        {9, 3, 2, {1, 2, 3, 4, 5, 6}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.orientation);
        DecodedImage image{3, 2, {1, 2, 3, 4, 5, 6}};
        ASSERT_EQ(DecodeStatus::Ok, ApplyOrientation(image, c.orientation));
        EXPECT_EQ(c.width, image.width);
        EXPECT_EQ(c.height, image.height);
        EXPECT_EQ(c.pixels, image.pixels);
    }
}

// A 300x200 job of each kind: three decoders and the scaler.
struct Job {
    const char* name;
    std::function<DecodeStatus(DecodedImage&, const DecodeControl&)> run;
};

Job DecodeJob(const char* name, WholeDecoder decode, Bytes file) {
    return {name, [decode, file](DecodedImage& out, const DecodeControl& control) {
                return decode(file.data(), file.size(), out, control);
            }};
}

std::vector<Job> LargeJobs() {
    constexpr int w = 300, h = 200;
    Bytes rgbLines, wbmp = {0, 0, 0x82, 0x2C, 0x81, 0x48}, red, green, blue;
    for (int y = 0; y < h; ++y) {
        for (int plane = 0; plane < 3; ++plane)
            for (int x = 0; x < w; ++x)
                rgbLines.push_back(static_cast<std::uint8_t>(x * (plane + 1) + y));
        for (int x = 0; x < (w + 7) / 8; ++x)
            wbmp.push_back(static_cast<std::uint8_t>(x ^ y));
        for (int x = 0; x < w; ++x) {
            red.push_back(static_cast<std::uint8_t>(x / 16 + y));
            green.push_back(static_cast<std::uint8_t>(y / 4));
            blue.push_back(static_cast<std::uint8_t>(x ^ y));
        }
    }
    const DecodedImage picture{w, h, Pixels(static_cast<std::size_t>(w) * h, 0xFF336699)};
    return {DecodeJob("pcx", DecodePcx, MakePcx(8, 3, w, h, w, rgbLines)),
            DecodeJob("wbmp", DecodeWbmp, wbmp),
            DecodeJob("psd", DecodePsd, MakePsd(3, 8, w, h, 1, {red, green, blue})),
            {"scale", [picture](DecodedImage& out, const DecodeControl& control) {
                 return ScaleAreaAverage(picture, 37, 23, out, control);
             }}};
}

TEST(EngineCodecs, ProgressRisesFromZeroToRangeInSixteenthsAtMost) {
    for (const Job& job : LargeJobs()) {
        SCOPED_TRACE(job.name);
        std::vector<std::pair<int, int>> reports;
        int checks = 0;
        DecodeControl control;
        control.Aborted = [&] { return ++checks < 0; };
        control.Progress = [&](int position, int range) { reports.emplace_back(position, range); };
        DecodedImage image;
        ASSERT_EQ(DecodeStatus::Ok, job.run(image, control));
        ASSERT_GE(reports.size(), 17u);
        EXPECT_EQ(std::make_pair(0, 200), reports.front());
        EXPECT_EQ(std::make_pair(200, 200), reports.back());
        for (std::size_t i = 1; i < reports.size(); ++i) {
            EXPECT_EQ(200, reports[i].second);
            EXPECT_GE(reports[i].first, reports[i - 1].first);
            EXPECT_LE(reports[i].first - reports[i - 1].first, 13) << "more than 1/16 of 200";
        }
        EXPECT_GE(checks, 16);
    }
}

TEST(EngineCodecs, AbortStopsBetweenBandsAndLeavesNoPicture) {
    for (const Job& job : LargeJobs()) {
        for (int stopAt : {1, 5}) {
            SCOPED_TRACE(std::string(job.name) + " stopping at check " + std::to_string(stopAt));
            int checks = 0;
            int lastPosition = -1;
            DecodeControl control;
            control.Aborted = [&] { return ++checks >= stopAt; };
            control.Progress = [&](int position, int) { lastPosition = position; };
            DecodedImage image{1, 1, {kW}};
            EXPECT_EQ(DecodeStatus::Aborted, job.run(image, control));
            EXPECT_EQ(stopAt, checks) << "no check after the stop";
            EXPECT_LT(lastPosition, 200);
            EXPECT_TRUE(image.IsEmpty());
        }
    }
}

} // namespace
} // namespace orrelux::engine
