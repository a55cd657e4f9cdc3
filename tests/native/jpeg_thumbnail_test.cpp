#include "codecs/jpeg_thumbnail.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <jpeglib.h>

namespace orrelux::engine {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Sample = std::array<std::uint8_t, 4>; // the components of one pixel as handed to libjpeg
using Sampler = std::function<Sample(int x, int y)>;

struct Encoding {
    J_COLOR_SPACE input = JCS_RGB;      // JCS_RGB, JCS_GRAYSCALE or JCS_CMYK samples
    J_COLOR_SPACE stored = JCS_UNKNOWN; // the file's colour space; UNKNOWN: libjpeg's default
    bool adobe = false;                 // CMYK: write the Adobe marker
    bool progressive = false;
    Bytes app1; // an APP1 payload (an Exif block) or nothing
};

// A q90 JPEG file made with libjpeg's own compressor.
Bytes Encode(int width, int height, const Encoding& e, const Sampler& sample) {
    jpeg_compress_struct cinfo{};
    jpeg_error_mgr errors{};
    cinfo.err = jpeg_std_error(&errors);
    jpeg_create_compress(&cinfo);
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&cinfo, &buffer, &size);
    cinfo.image_width = static_cast<JDIMENSION>(width);
    cinfo.image_height = static_cast<JDIMENSION>(height);
    cinfo.in_color_space = e.input;
    const int components = e.input == JCS_GRAYSCALE ? 1 : e.input == JCS_CMYK ? 4 : 3;
    cinfo.input_components = components;
    jpeg_set_defaults(&cinfo);
    if (e.stored != JCS_UNKNOWN)
        jpeg_set_colorspace(&cinfo, e.stored);
    if (e.input == JCS_CMYK)
        cinfo.write_Adobe_marker = e.adobe ? TRUE : FALSE;
    jpeg_set_quality(&cinfo, 90, TRUE);
    if (e.progressive)
        jpeg_simple_progression(&cinfo);
    jpeg_start_compress(&cinfo, TRUE);
    if (!e.app1.empty())
        jpeg_write_marker(&cinfo, JPEG_APP0 + 1, e.app1.data(),
                          static_cast<unsigned>(e.app1.size()));
    std::vector<JSAMPLE> row(static_cast<std::size_t>(width) * components);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            std::memcpy(&row[static_cast<std::size_t>(x) * components], sample(x, y).data(),
                        components);
        JSAMPROW rows[1] = {row.data()};
        jpeg_write_scanlines(&cinfo, rows, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    Bytes out(buffer, buffer + size);
    std::free(buffer);
    return out;
}

Sample Rgb(std::uint32_t rgb) {
    return {static_cast<std::uint8_t>(rgb >> 16), static_cast<std::uint8_t>(rgb >> 8),
            static_cast<std::uint8_t>(rgb), 0};
}

Sample Gradient(int x, int y) {
    return {static_cast<std::uint8_t>(x * 7 + y), static_cast<std::uint8_t>(y * 5),
            static_cast<std::uint8_t>((x ^ y) * 3), 0};
}

// An Exif block whose IFD 0 holds one entry, the orientation; little-endian ("II"). Offsets:
// TIFF header at 6, IFD 0 at 14, the entry at 16 (type at 18, count at 20, value at 24).
Bytes ExifOrientation(int orientation) {
    return {'E', 'x',  'i',  'f', 0,
            0,   'I',  'I',  42,  0,
            8,   0,    0,    0,   1,
            0,   0x12, 0x01, 3,   0,
            1,   0,    0,    0,   static_cast<std::uint8_t>(orientation),
            0,   0,    0,    0,   0,
            0,   0};
}

Bytes EncodeGradient(int width, int height, bool progressive = false, int orientation = 1) {
    Encoding e;
    e.progressive = progressive;
    if (orientation != 1)
        e.app1 = ExifOrientation(orientation);
    return Encode(width, height, e, Gradient);
}

struct Result {
    DecodeStatus status;
    DecodedImage image;
    JpegThumbnailInfo info;
};

Result Thumbnail(const Bytes& file, int maxWidth, int maxHeight,
                 const DecodeControl& control = {}) {
    Result r;
    r.status = DecodeJpegThumbnail(file.data(), file.size(), maxWidth, maxHeight, control, r.image,
                                   &r.info);
    return r;
}

// Every pixel is opaque and within `tolerance` of `rgb` in each channel.
::testing::AssertionResult AllNear(const std::vector<std::uint32_t>& pixels, std::uint32_t rgb,
                                   int tolerance) {
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        bool near = pixels[i] >> 24 == 0xFF;
        for (int shift = 0; shift < 24; shift += 8)
            near = near && std::abs(static_cast<int>(pixels[i] >> shift & 0xFF) -
                                    static_cast<int>(rgb >> shift & 0xFF)) <= tolerance;
        if (!near)
            return ::testing::AssertionFailure()
                   << "pixel " << i << " is " << std::hex << pixels[i] << ", wanted about " << rgb;
    }
    return ::testing::AssertionSuccess();
}

const struct SizeCase {
    int width, height, orientation, boxWidth, boxHeight;
    bool progressive;
    int outWidth, outHeight; // the upright thumbnail
    int scaleNum, scaledWidth, scaledHeight;
} kSizes[] = {
    {800, 600, 1, 100, 100, false, 100, 75, 1, 100, 75},   // 1/8 lands exactly
    {801, 601, 1, 100, 100, false, 100, 75, 1, 101, 76},   // 1/8 rounds up, then averaged
    {640, 480, 1, 200, 200, false, 200, 150, 3, 240, 180}, // 2/8 would be 160 wide: too small
    {120, 90, 1, 119, 119, false, 119, 89, 8, 120, 90},    // 7/8 is 105: only full size covers
    {10, 1000, 1, 100, 100, false, 1, 100, 1, 2, 125},     // a sliver keeps one column
    {1200, 900, 1, 300, 300, true, 300, 225, 2, 300, 225}, // progressive scales alike
    {2000, 1500, 6, 100, 50, false, 38, 50, 1, 250, 188},  // the box holds the upright picture
    {640, 480, 8, 300, 200, false, 150, 200, 3, 240, 180}, // turned: tall in the box
};

TEST(JpegThumbnail, OutputSizeAndDctScale) {
    for (const auto& c : kSizes) {
        SCOPED_TRACE(::testing::Message() << c.width << "x" << c.height << " o" << c.orientation
                                          << " into " << c.boxWidth << "x" << c.boxHeight);
        const Result r = Thumbnail(EncodeGradient(c.width, c.height, c.progressive, c.orientation),
                                   c.boxWidth, c.boxHeight);
        ASSERT_EQ(r.status, DecodeStatus::Ok);
        EXPECT_EQ(r.image.width, c.outWidth);
        EXPECT_EQ(r.image.height, c.outHeight);
        EXPECT_EQ(r.image.pixels.size(), static_cast<std::size_t>(c.outWidth) * c.outHeight);
        EXPECT_EQ(r.info.sourceWidth, c.width);
        EXPECT_EQ(r.info.sourceHeight, c.height);
        EXPECT_EQ(r.info.orientation, c.orientation);
        EXPECT_EQ(r.info.scaleNum, c.scaleNum);
        EXPECT_EQ(r.info.scaledWidth, c.scaledWidth);
        EXPECT_EQ(r.info.scaledHeight, c.scaledHeight);
    }
}

const struct ColourCase {
    const char* name;
    J_COLOR_SPACE input, stored;
    bool adobe; // Adobe CMYK files store 255 minus the ink
    Sample sample;
    std::uint32_t rgb;
    int tolerance;
} kColours[] = {
    {"red", JCS_RGB, JCS_YCbCr, false, Rgb(0xFF0000), 0xFF0000, 3},
    {"orange", JCS_RGB, JCS_YCbCr, false, Rgb(0xFF8000), 0xFF8000, 3},
    {"orange stored as RGB", JCS_RGB, JCS_RGB, false, Rgb(0xFF8000), 0xFF8000, 3},
    {"grey 128", JCS_GRAYSCALE, JCS_GRAYSCALE, false, {128}, 0x808080, 1},
    {"Adobe CMYK cyan", JCS_CMYK, JCS_CMYK, true, {0, 255, 255, 255}, 0x00FFFF, 3},
    {"Adobe CMYK cyan, half black", JCS_CMYK, JCS_CMYK, true, {0, 255, 255, 128}, 0x008080, 3},
    {"Adobe YCCK yellow", JCS_CMYK, JCS_YCCK, true, {255, 255, 0, 255}, 0xFFFF00, 3},
    {"plain CMYK cyan", JCS_CMYK, JCS_CMYK, false, {255, 0, 0, 0}, 0x00FFFF, 3},
    {"plain CMYK half black", JCS_CMYK, JCS_CMYK, false, {0, 0, 0, 128}, 0x7F7F7F, 3},
};

TEST(JpegThumbnail, FlatColoursComeOutOpaqueAndTrue) {
    for (const auto& c : kColours) {
        SCOPED_TRACE(c.name);
        Encoding e;
        e.input = c.input;
        e.stored = c.stored;
        e.adobe = c.adobe;
        const Result r =
            Thumbnail(Encode(200, 120, e, [&c](int, int) { return c.sample; }), 30, 30);
        ASSERT_EQ(r.status, DecodeStatus::Ok);
        EXPECT_EQ(r.image.width, 30);
        EXPECT_EQ(r.image.height, 18);
        EXPECT_TRUE(AllNear(r.image.pixels, c.rgb, c.tolerance));
    }
}

// A 64x32 picture in quadrants, red and green over blue and white, shown upright: the quadrants
// in the order top-left, top-right, bottom-left, bottom-right.
constexpr std::uint32_t R = 0xFF0000, G = 0x00FF00, B = 0x0000FF, W = 0xFFFFFF;

const struct OrientationCase {
    int orientation;
    int width, height;
    std::uint32_t quadrants[4];
} kOrientations[] = {
    {1, 64, 32, {R, G, B, W}}, {2, 64, 32, {G, R, W, B}}, {3, 64, 32, {W, B, G, R}},
    {4, 64, 32, {B, W, R, G}}, {5, 32, 64, {R, B, G, W}}, {6, 32, 64, {B, R, W, G}},
    {7, 32, 64, {W, G, B, R}}, {8, 32, 64, {G, W, R, B}},
};

TEST(JpegThumbnail, ExifOrientationTurnsThePictureUpright) {
    for (const auto& c : kOrientations) {
        SCOPED_TRACE(c.orientation);
        Encoding e;
        e.app1 = ExifOrientation(c.orientation);
        const Bytes file = Encode(64, 32, e, [](int x, int y) {
            return Rgb(y < 16 ? (x < 32 ? R : G) : (x < 32 ? B : W));
        });
        EXPECT_EQ(ReadJpegOrientation(file.data(), file.size()), c.orientation);
        const Result r = Thumbnail(file, 1000, 1000);
        ASSERT_EQ(r.status, DecodeStatus::Ok);
        ASSERT_EQ(r.image.width, c.width);
        ASSERT_EQ(r.image.height, c.height);
        for (int q = 0; q < 4; ++q) {
            const int x = c.width / 4 * (q % 2 ? 3 : 1), y = c.height / 4 * (q / 2 ? 3 : 1);
            EXPECT_TRUE(AllNear({r.image.pixels[y * c.width + x]}, c.quadrants[q], 24)) << q;
        }
    }
}

// A stream of segments (marker, payload) for ReadJpegOrientation.
Bytes Stream(std::initializer_list<std::pair<int, Bytes>> segments, bool soi = true) {
    Bytes out = soi ? Bytes{0xFF, 0xD8} : Bytes{};
    for (const auto& [marker, payload] : segments) {
        const std::size_t length = payload.size() + 2;
        out.insert(out.end(),
                   {0xFF, static_cast<std::uint8_t>(marker), static_cast<std::uint8_t>(length >> 8),
                    static_cast<std::uint8_t>(length)});
        out.insert(out.end(), payload.begin(), payload.end());
    }
    return out;
}

Bytes Patched(Bytes bytes, std::size_t at, std::initializer_list<std::uint8_t> values) {
    for (std::uint8_t v : values)
        bytes.at(at++) = v;
    return bytes;
}

Bytes Cut(Bytes bytes, std::size_t size) {
    bytes.resize(size);
    return bytes;
}

TEST(JpegThumbnail, ReadJpegOrientationSurvivesDamagedExif) {
    const Bytes exif6 = ExifOrientation(6);
    const Bytes xmp = {'h', 't', 't', 'p', ':', '/', '/', 'n', 's', '.'};
    Bytes filled = Stream({{0xE0, xmp}}); // fill bytes before the next marker
    filled.insert(filled.end(), {0xFF, 0xFF});
    const Bytes app1 = Stream({{0xE1, exif6}}, false);
    filled.insert(filled.end(), app1.begin(), app1.end());
    const Bytes bigEndian8 = {'E',  'x',  'i', 'f', 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1,
                              0x01, 0x12, 0,   3,   0, 0, 0,   1,   0, 8,  0, 0, 0, 0, 0, 0};
    const struct {
        const char* name;
        Bytes stream;
        int orientation;
    } cases[] = {
        {"little-endian", Stream({{0xE1, exif6}}), 6},
        {"big-endian", Stream({{0xE1, bigEndian8}}), 8},
        {"XMP first, then Exif", Stream({{0xE1, xmp}, {0xE1, ExifOrientation(3)}}), 3},
        {"fill bytes", filled, 6},
        {"value 9", Stream({{0xE1, ExifOrientation(9)}}), 1},
        {"type LONG", Stream({{0xE1, Patched(exif6, 18, {4})}}), 1},
        {"IFD beyond the block", Stream({{0xE1, Patched(exif6, 10, {0xF0})}}), 1},
        {"entry count overstated", Stream({{0xE1, Patched(exif6, 14, {0xFF, 0xFF})}}), 6},
        {"entry cut short", Stream({{0xE1, Cut(exif6, 26)}}), 1},
        {"bad TIFF magic", Stream({{0xE1, Patched(exif6, 8, {43})}}), 1},
        {"no Exif signature", Stream({{0xE1, Patched(exif6, 4, {'x'})}}), 1},
        {"Exif after the image data", Stream({{0xDA, {0, 0}}, {0xE1, exif6}}), 1},
        {"segment longer than the file", Cut(Stream({{0xE1, exif6}}), 20), 1},
        {"no SOI", Stream({{0xE1, exif6}}, false), 1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ReadJpegOrientation(c.stream.data(), c.stream.size()), c.orientation) << c.name;
    EXPECT_EQ(ReadJpegOrientation(nullptr, 100), 1);
}

Bytes NoisyPicture() {
    std::mt19937 random(7);
    return Encode(256, 192, Encoding{}, [&random](int x, int y) {
        return Sample{static_cast<std::uint8_t>(x + (random() & 31)),
                      static_cast<std::uint8_t>(y + (random() & 31)),
                      static_cast<std::uint8_t>(random()), 0};
    });
}

// Offset of the first marker 0xFF `code` after SOI, or of the last one.
std::size_t MarkerOffset(const Bytes& file, std::uint8_t code, bool last = false) {
    std::size_t found = 0;
    for (std::size_t i = 2; i + 1 < file.size() && (last || found == 0); ++i)
        if (file[i] == 0xFF && file[i + 1] == code)
            found = i;
    return found;
}

// The file with its last scan (a refinement, which libjpeg takes again with a warning) repeated.
Bytes RepeatLastScan(const Bytes& file, int times) {
    const std::size_t last = MarkerOffset(file, 0xDA, true);
    Bytes out(file.begin(), file.end() - 2);
    for (int i = 0; i < times; ++i)
        out.insert(out.end(), file.begin() + last, file.end() - 2);
    out.insert(out.end(), {0xFF, 0xD9});
    return out;
}

TEST(JpegThumbnail, DamagedFilesAreRefusedWithoutHarm) {
    const Bytes good = NoisyPicture();
    const std::size_t sos = MarkerOffset(good, 0xDA), sof = MarkerOffset(good, 0xC0);
    ASSERT_GT(sos, 0u);
    ASSERT_GT(sof, 0u);
    const Bytes progressive = EncodeGradient(64, 64, true);
    ASSERT_EQ(Thumbnail(RepeatLastScan(progressive, 20), 64, 64).status, DecodeStatus::Ok);
    Bytes garbage(200, 0x5A); // no marker after SOI
    garbage[0] = 0xFF;
    garbage[1] = 0xD8;
    const struct {
        const char* name;
        Bytes file;
        DecodeStatus status;
    } cases[] = {
        {"empty", {}, DecodeStatus::Corrupt},
        {"cut in the header", Cut(good, sof + 4), DecodeStatus::Corrupt},
        {"cut just into the data", Cut(good, sos + 20), DecodeStatus::Corrupt},
        {"cut at half", Cut(good, good.size() / 2), DecodeStatus::Corrupt},
        {"garbage after SOI", garbage, DecodeStatus::Corrupt},
        {"zero width", Patched(good, sof + 7, {0, 0}), DecodeStatus::Corrupt},
        {"a scan repeated 600 times", RepeatLastScan(progressive, 600), DecodeStatus::Corrupt},
        {"12-bit samples", Patched(good, sof + 4, {12}), DecodeStatus::Unsupported},
        {"65535 pixels wide", Patched(good, sof + 7, {0xFF, 0xFF}), DecodeStatus::Unsupported},
        {"a PNG", {0x89, 'P', 'N', 'G', 13, 10, 26, 10, 0, 0, 0, 13}, DecodeStatus::Unsupported},
    };
    for (const auto& c : cases) {
        const Result r = Thumbnail(c.file, 64, 64);
        EXPECT_EQ(r.status, c.status) << c.name;
        EXPECT_TRUE(r.image.IsEmpty() && r.image.pixels.empty()) << c.name;
    }

    // Random bytes: the first rounds hit anywhere, headers included; the rest only the
    // entropy-coded data, which leaves the size alone.
    std::mt19937 random(2024);
    for (int round = 0; round < 150; ++round) {
        const bool anywhere = round < 40;
        Bytes bad = good;
        for (int i = 0; i <= round % 8; ++i)
            bad[anywhere ? random() % bad.size() : sos + 14 + random() % (bad.size() - sos - 14)] =
                static_cast<std::uint8_t>(random());
        const Result r = Thumbnail(bad, 40, 40);
        if (r.status != DecodeStatus::Ok) {
            EXPECT_TRUE(r.image.pixels.empty()) << round;
            continue;
        }
        EXPECT_EQ(r.image.pixels.size(), static_cast<std::size_t>(r.image.width) * r.image.height);
        EXPECT_TRUE(r.image.width >= 1 && r.image.width <= 40 && r.image.height >= 1 &&
                    r.image.height <= 40)
            << round;
        if (!anywhere) {
            EXPECT_TRUE(r.image.width == 40 && r.image.height == 30) << round;
        }
    }
}

TEST(JpegThumbnail, ProgressAndAbortChecksComeInBands) {
    const struct {
        const char* name;
        bool progressive;
        int width, height, box;
    } cases[] = {
        {"baseline, full size", false, 512, 512, 512},
        {"baseline, 1/8", false, 1024, 768, 100},
        {"progressive, full size", true, 512, 512, 512},
        {"progressive, 1/4", true, 1024, 768, 256},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Bytes file = EncodeGradient(c.width, c.height, c.progressive);
        std::vector<std::pair<int, int>> reports;
        int checks = 0;
        DecodeControl control;
        control.Aborted = [&] { return ++checks < 0; };
        control.Progress = [&](int position, int range) { reports.emplace_back(position, range); };
        ASSERT_EQ(Thumbnail(file, c.box, c.box, control).status, DecodeStatus::Ok);
        EXPECT_GE(checks, 16);
        ASSERT_GE(reports.size(), 2u);
        const int range = reports.front().second;
        EXPECT_EQ(reports.front().first, 0);
        EXPECT_EQ(reports.back().first, range);
        for (std::size_t i = 1; i < reports.size(); ++i) {
            EXPECT_EQ(reports[i].second, range);
            EXPECT_GE(reports[i].first, reports[i - 1].first);
            EXPECT_LE(reports[i].first - reports[i - 1].first, range / 16) << i;
        }

        // Stopping at any check, the last one included, ends the decode there.
        for (int abortAt : {1, 2, checks / 2, checks}) {
            int asked = 0;
            DecodeControl stop;
            stop.Aborted = [&] { return ++asked >= abortAt; };
            const Result r = Thumbnail(file, c.box, c.box, stop);
            EXPECT_EQ(r.status, DecodeStatus::Aborted) << abortAt;
            EXPECT_EQ(asked, abortAt);
            EXPECT_TRUE(r.image.pixels.empty());
        }
    }
}

TEST(JpegThumbnail, FilesReadThroughStdioAsBytes) {
    const Bytes file = NoisyPicture();
    const Result fromBytes = Thumbnail(file, 50, 50);
    ASSERT_EQ(fromBytes.status, DecodeStatus::Ok);
    const std::string path = ::testing::TempDir() + "orrelux_jpeg_thumbnail_test.jpg";
    for (std::size_t size : {file.size(), file.size() / 2}) {
        std::FILE* out = std::fopen(path.c_str(), "wb");
        ASSERT_NE(out, nullptr);
        ASSERT_EQ(std::fwrite(file.data(), 1, size, out), size);
        std::fclose(out);
        DecodedImage fromPath;
        const bool whole = size == file.size();
        EXPECT_EQ(DecodeJpegThumbnailFile(path.c_str(), 50, 50, {}, fromPath),
                  whole ? DecodeStatus::Ok : DecodeStatus::Corrupt);
        EXPECT_EQ(fromPath.pixels, whole ? fromBytes.image.pixels : std::vector<std::uint32_t>{});
    }
    std::remove(path.c_str());
    DecodedImage none;
    EXPECT_EQ(DecodeJpegThumbnailFile(path.c_str(), 50, 50, {}, none), DecodeStatus::Corrupt);
}

} // namespace
} // namespace orrelux::engine
