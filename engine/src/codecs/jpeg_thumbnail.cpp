#include "codecs/jpeg_thumbnail.h"

#include "codecs/area_scaler.h"
#include "codecs/byte_reader.h"
#include "codecs/orientation.h"

#include <algorithm>
#include <climits>
#include <csetjmp>
#include <cstring>
#include <new>
#include <stdexcept>
#include <vector>

// jpeglib.h wants FILE and size_t declared before it (<cstdio>, through the header above).
#include <jpeglib.h>
#include <jerror.h>

namespace orrelux::engine {

namespace {

// libjpeg-turbo writes 0xAARRGGBB words directly: B, G, R, A bytes on a little-endian machine.
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
constexpr J_COLOR_SPACE kWordColorSpace = JCS_EXT_ARGB;
#else
constexpr J_COLOR_SPACE kWordColorSpace = JCS_EXT_BGRA;
#endif

// A progressive file keeps all its coefficients while its scans arrive (two bytes per sample).
// This bounds that buffer: a 4:2:0 picture of about 85 megapixels still fits.
constexpr long kMaxLibjpegMemory = 256L * 1024 * 1024;
// More scans than any real encoder writes: a crafted file with thousands of tiny scans would
// otherwise cost a full pass over the coefficients for each one.
constexpr int kMaxScans = 500;
// Rows asked of jpeg_read_scanlines at once; it returns at most one row group per call anyway.
constexpr int kBandRows = 16;
// Progress positions run over this range.
constexpr int kProgressRange = 1 << 16;

// All state of one decode that libjpeg's callbacks and the long jump out of them can touch.
// It lives in the caller's frame, outside the functions that setjmp, and owns the libjpeg
// object: however a decode ends, the destructor releases it.
struct Session {
    explicit Session(const DecodeControl& control) : control(control) {}
    ~Session() {
        if (created)
            jpeg_destroy_decompress(&cinfo);
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    jpeg_decompress_struct cinfo{};
    jpeg_error_mgr errors{};
    jpeg_progress_mgr monitor{};
    std::jmp_buf jump{};
    const DecodeControl& control;
    DecodeStatus failure = DecodeStatus::Corrupt; // the meaning of a long jump back
    int reported = -1;                            // the last progress position reported
    bool created = false;
};

Session& SessionOf(j_common_ptr common) {
    return *static_cast<Session*>(common->client_data);
}

DecodeStatus StatusOfError(int code) {
    switch (code) {
    case JERR_OUT_OF_MEMORY:
    case JERR_NO_BACKING_STORE:
        return DecodeStatus::OutOfMemory;
    case JERR_NO_SOI:
    case JERR_BAD_PRECISION:
    case JERR_IMAGE_TOO_BIG:
    case JERR_WIDTH_OVERFLOW:
    case JERR_NOT_COMPILED:
    case JERR_CONVERSION_NOTIMPL:
        return DecodeStatus::Unsupported;
    default:
        return DecodeStatus::Corrupt;
    }
}

// The callbacks below end in a long jump to the guarded function that called into libjpeg. They
// hold no objects with destructors, and the frames they skip are libjpeg's own C frames.
[[noreturn]] void Fail(Session& session, DecodeStatus status) {
    session.failure = status;
    std::longjmp(session.jump, 1);
}

[[noreturn]] void OnError(j_common_ptr common) {
    Fail(SessionOf(common), StatusOfError(common->err->msg_code));
}

// Warnings about damaged entropy data are tolerated (the picture shows what could be decoded),
// but a stream that ends early is refused: the rest would be grey.
void OnMessage(j_common_ptr common, int level) {
    if (level >= 0)
        return;
    ++common->err->num_warnings;
    if (common->err->msg_code == JWRN_JPEG_EOF)
        Fail(SessionOf(common), DecodeStatus::Corrupt);
}

// libjpeg calls this once per row group of the output and, while a multi-scan file is read
// before the output starts, once per row of blocks of each scan: the abort checks and the
// progress reports of the whole decode come from here.
void OnProgress(j_common_ptr common) {
    Session& session = SessionOf(common);
    const auto* cinfo = reinterpret_cast<j_decompress_ptr>(common);
    if (cinfo->input_scan_number > kMaxScans)
        Fail(session, DecodeStatus::Corrupt);
    if (session.control.ShouldStop())
        Fail(session, DecodeStatus::Aborted);

    // Done = (completed passes + fraction of this pass) / passes. libjpeg may raise its guess
    // of a pass's length as scans arrive, so positions only ever move forward.
    const jpeg_progress_mgr& m = *common->progress;
    if (m.total_passes <= 0 || m.pass_limit <= 0)
        return;
    const double pass = std::min(1.0, static_cast<double>(m.pass_counter) / m.pass_limit);
    const double done = std::min(1.0, (m.completed_passes + pass) / m.total_passes);
    const int position = static_cast<int>(done * kProgressRange);
    if (position >= session.reported + kProgressRange / 64) {
        session.reported = position;
        session.control.Report(position, kProgressRange);
    }
}

// What the header pass learns.
struct Header {
    int orientation = 1;
    bool cmyk = false;         // libjpeg hands out C, M, Y, K bytes; converted here
    bool invertedCmyk = false; // Adobe's convention: stored values are 255 minus the ink
};

// Returns 0 for a payload that is no Exif block, else the orientation 1..8 (1 when damaged).
int ExifSegmentOrientation(const std::uint8_t* payload, std::size_t size) {
    static const std::uint8_t kSignature[6] = {'E', 'x', 'i', 'f', 0, 0};
    if (payload == nullptr || size < sizeof kSignature ||
        std::memcmp(payload, kSignature, sizeof kSignature) != 0)
        return 0;
    const std::uint8_t* tiff = payload + sizeof kSignature;
    const std::size_t length = size - sizeof kSignature;
    if (length < 8)
        return 1;
    bool little;
    if (tiff[0] == 'I' && tiff[1] == 'I')
        little = true;
    else if (tiff[0] == 'M' && tiff[1] == 'M')
        little = false;
    else
        return 1;
    // Callers check offset + 2 (or + 4) <= length first.
    auto u16 = [&](std::size_t offset) {
        const std::uint8_t* p = tiff + offset;
        return static_cast<unsigned>(little ? p[0] | p[1] << 8 : p[0] << 8 | p[1]);
    };
    auto u32 = [&](std::size_t offset) {
        const std::uint8_t* p = tiff + offset;
        const std::uint32_t b0 = p[0], b1 = p[1], b2 = p[2], b3 = p[3];
        return little ? b0 | b1 << 8 | b2 << 16 | b3 << 24 : b3 | b2 << 8 | b1 << 16 | b0 << 24;
    };
    if (u16(2) != 42)
        return 1;
    const std::uint32_t ifd = u32(4);
    if (ifd < 8 || ifd > length - 2)
        return 1;
    // An entry is 12 bytes: tag, type, count, value. Only entries wholly inside are read, so a
    // count that overstates the directory costs nothing.
    const std::size_t entries = std::min<std::size_t>(u16(ifd), (length - ifd - 2) / 12);
    constexpr unsigned kOrientationTag = 0x0112;
    constexpr unsigned kTypeShort = 3;
    for (std::size_t i = 0; i < entries; ++i) {
        const std::size_t entry = ifd + 2 + 12 * i;
        if (u16(entry) != kOrientationTag)
            continue;
        if (u16(entry + 2) != kTypeShort || u32(entry + 4) < 1)
            return 1;
        const unsigned value = u16(entry + 8);
        return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
    }
    return 1;
}

// The guarded parts of a decode. Each sets the session's jump target first; whatever fails
// inside libjpeg (or an abort) comes back to that setjmp and returns session.failure. They hold
// only trivial locals: everything with a lifetime lives in the session or the caller.
DecodeStatus ReadHeader(Session& session, std::FILE* file, const std::uint8_t* data,
                        std::size_t size, Header& header) {
    if (setjmp(session.jump) != 0)
        return session.failure;
    jpeg_decompress_struct& cinfo = session.cinfo;
    cinfo.err = jpeg_std_error(&session.errors);
    session.errors.error_exit = OnError;
    session.errors.emit_message = OnMessage;
    cinfo.client_data = &session;
    session.created = true;
    jpeg_create_decompress(&cinfo);
    cinfo.mem->max_memory_to_use = kMaxLibjpegMemory;
    session.monitor.progress_monitor = OnProgress;
    cinfo.progress = &session.monitor;

    if (file != nullptr)
        jpeg_stdio_src(&cinfo, file);
    else
        jpeg_mem_src(&cinfo, data, static_cast<unsigned long>(size));
    jpeg_save_markers(&cinfo, JPEG_APP0 + 1, 0xFFFF);
    if (jpeg_read_header(&cinfo, TRUE) != JPEG_HEADER_OK)
        return DecodeStatus::Corrupt;

    for (jpeg_saved_marker_ptr m = cinfo.marker_list; m != nullptr; m = m->next) {
        const int orientation = ExifSegmentOrientation(m->data, m->data_length);
        if (orientation != 0) {
            header.orientation = orientation;
            break;
        }
    }
    switch (cinfo.jpeg_color_space) {
    case JCS_GRAYSCALE:
    case JCS_YCbCr:
    case JCS_RGB:
        cinfo.out_color_space = kWordColorSpace;
        break;
    case JCS_CMYK:
    case JCS_YCCK:
        cinfo.out_color_space = JCS_CMYK;
        header.cmyk = true;
        header.invertedCmyk = cinfo.saw_Adobe_marker != FALSE;
        break;
    default:
        return DecodeStatus::Unsupported;
    }
    return DecodeStatus::Ok;
}

// The smallest scale_num/8 whose output covers the target size, by libjpeg's own arithmetic.
DecodeStatus ChooseScale(Session& session, ScaledSize target) {
    if (setjmp(session.jump) != 0)
        return session.failure;
    jpeg_decompress_struct& cinfo = session.cinfo;
    cinfo.scale_denom = 8;
    for (unsigned num = 1; num <= 16; ++num) {
        cinfo.scale_num = num;
        jpeg_calc_output_dimensions(&cinfo);
        if (cinfo.output_width >= static_cast<JDIMENSION>(target.width) &&
            cinfo.output_height >= static_cast<JDIMENSION>(target.height))
            break;
    }
    return DecodeStatus::Ok;
}

void CmykToWords(const JSAMPLE* cmyk, std::uint32_t* out, int width, bool inverted) {
    for (int x = 0; x < width; ++x, cmyk += 4) {
        unsigned c = cmyk[0], m = cmyk[1], y = cmyk[2], k = cmyk[3];
        if (!inverted) {
            c = 255 - c;
            m = 255 - m;
            y = 255 - y;
            k = 255 - k;
        }
        // Now 255 means no ink: each channel is (1 - ink) * (1 - black), rounded.
        const unsigned r = (c * k + 127) / 255;
        const unsigned g = (m * k + 127) / 255;
        const unsigned b = (y * k + 127) / 255;
        out[x] = 0xFF000000u | r << 16 | g << 8 | b;
    }
}

// Runs the decompression and hands every output row to `sink`. `band` has room for kBandRows
// rows of the output width in 32-bit words; a CMYK row of 4 bytes a pixel fits as well, and
// `words` takes its conversion.
DecodeStatus ReadRows(Session& session, const Header& header, std::uint32_t* band,
                      std::uint32_t* words, RowSink& sink) {
    if (setjmp(session.jump) != 0)
        return session.failure;
    jpeg_decompress_struct& cinfo = session.cinfo;
    session.control.Report(0, kProgressRange);
    session.reported = 0;
    jpeg_start_decompress(&cinfo);
    const std::size_t width = cinfo.output_width;
    JSAMPROW rows[kBandRows];
    for (int i = 0; i < kBandRows; ++i)
        rows[i] = reinterpret_cast<JSAMPROW>(band + i * width);
    while (cinfo.output_scanline < cinfo.output_height) {
        const JDIMENSION got = jpeg_read_scanlines(&cinfo, rows, kBandRows);
        if (got == 0)
            return DecodeStatus::Corrupt;
        for (JDIMENSION i = 0; i < got; ++i) {
            if (header.cmyk) {
                CmykToWords(rows[i], words, static_cast<int>(width), header.invertedCmyk);
                sink.PutRow(words);
            } else {
                sink.PutRow(band + i * width);
            }
        }
    }
    session.control.Report(kProgressRange, kProgressRange);
    return DecodeStatus::Ok;
}

DecodeStatus Decode(std::FILE* file, const std::uint8_t* data, std::size_t size, int maxWidth,
                    int maxHeight, const DecodeControl& control, DecodedImage& image,
                    JpegThumbnailInfo* info) {
    image = DecodedImage{};
    JpegThumbnailInfo found;
    DecodeStatus status;
    try {
        Session session(control);
        Header header;
        status = ReadHeader(session, file, data, size, header);
        if (status == DecodeStatus::Ok) {
            found.sourceWidth = static_cast<int>(session.cinfo.image_width);
            found.sourceHeight = static_cast<int>(session.cinfo.image_height);
            found.orientation = header.orientation;
            // The box holds the upright picture; the decoder works on the stored one.
            const bool swapped = OrientationSwapsAxes(header.orientation);
            const ScaledSize upright =
                swapped ? FitInBox(found.sourceHeight, found.sourceWidth, maxWidth, maxHeight)
                        : FitInBox(found.sourceWidth, found.sourceHeight, maxWidth, maxHeight);
            const ScaledSize stored = swapped ? ScaledSize{upright.height, upright.width} : upright;
            status = ChooseScale(session, stored);
            if (status == DecodeStatus::Ok) {
                found.scaleNum = static_cast<int>(session.cinfo.scale_num);
                found.scaledWidth = static_cast<int>(session.cinfo.output_width);
                found.scaledHeight = static_cast<int>(session.cinfo.output_height);
                RowAccumulator thumbnail = RowAccumulator::Exact(stored.width, stored.height);
                status = thumbnail.Begin(found.scaledWidth, found.scaledHeight);
                if (status == DecodeStatus::Ok) {
                    const std::size_t width = static_cast<std::size_t>(found.scaledWidth);
                    std::vector<std::uint32_t> band(width * kBandRows);
                    std::vector<std::uint32_t> words(header.cmyk ? width : 0);
                    status = ReadRows(session, header, band.data(), words.data(), thumbnail);
                }
                if (status == DecodeStatus::Ok) {
                    image = thumbnail.TakeImage();
                    status = ApplyOrientation(image, header.orientation);
                }
            }
        }
        if (status != DecodeStatus::Ok && session.created)
            jpeg_abort_decompress(&session.cinfo);
    } catch (const std::bad_alloc&) {
        status = DecodeStatus::OutOfMemory;
    } catch (const std::length_error&) {
        status = DecodeStatus::OutOfMemory;
    }
    if (status != DecodeStatus::Ok)
        image = DecodedImage{};
    if (info != nullptr)
        *info = found;
    return status;
}

} // namespace

DecodeStatus DecodeJpegThumbnail(const std::uint8_t* data, std::size_t size, int maxWidth,
                                 int maxHeight, const DecodeControl& control, DecodedImage& image,
                                 JpegThumbnailInfo* info) {
    // libjpeg's memory source counts in unsigned long, 32 bits on Windows.
    if (size > ULONG_MAX) {
        image = DecodedImage{};
        return DecodeStatus::OutOfMemory;
    }
    if (data == nullptr)
        size = 0;
    return Decode(nullptr, data, size, maxWidth, maxHeight, control, image, info);
}

DecodeStatus DecodeJpegThumbnail(std::FILE* file, int maxWidth, int maxHeight,
                                 const DecodeControl& control, DecodedImage& image,
                                 JpegThumbnailInfo* info) {
    if (file == nullptr) {
        image = DecodedImage{};
        return DecodeStatus::Corrupt;
    }
    return Decode(file, nullptr, 0, maxWidth, maxHeight, control, image, info);
}

DecodeStatus DecodeJpegThumbnailFile(const char* path, int maxWidth, int maxHeight,
                                     const DecodeControl& control, DecodedImage& image,
                                     JpegThumbnailInfo* info) {
    std::FILE* file = path != nullptr ? std::fopen(path, "rb") : nullptr;
    const DecodeStatus status =
        DecodeJpegThumbnail(file, maxWidth, maxHeight, control, image, info);
    if (file != nullptr)
        std::fclose(file);
    return status;
}

int ReadJpegOrientation(const std::uint8_t* data, std::size_t size) {
    ByteReader reader(data, size);
    std::uint16_t soi = 0;
    if (!reader.ReadU16Be(soi) || soi != 0xFFD8)
        return 1;
    for (;;) {
        std::uint8_t prefix = 0, marker = 0;
        if (!reader.ReadU8(prefix) || prefix != 0xFF || !reader.ReadU8(marker))
            return 1;
        while (marker == 0xFF) // fill bytes before a marker
            if (!reader.ReadU8(marker))
                return 1;
        constexpr std::uint8_t kSos = 0xDA, kEoi = 0xD9, kApp1 = 0xE1;
        if (marker == kSos || marker == kEoi)
            return 1;
        if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7))
            continue; // markers without a length
        std::uint16_t length = 0;
        if (!reader.ReadU16Be(length) || length < 2 || length - 2u > reader.Remaining())
            return 1;
        if (marker == kApp1) {
            const int orientation = ExifSegmentOrientation(reader.Current(), length - 2u);
            if (orientation != 0)
                return orientation;
        }
        reader.Skip(length - 2u);
    }
}

} // namespace orrelux::engine
