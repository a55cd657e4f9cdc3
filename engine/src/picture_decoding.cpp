#include "picture_decoding.h"

#include <algorithm>
#include <climits>
#include <memory>
#include <new>
#include <vector>

#include "codecs/area_scaler.h"
#include "codecs/jpeg_thumbnail.h"
#include "codecs/pcx_decoder.h"
#include "codecs/psd_decoder.h"
#include "codecs/row_sink.h"
#include "codecs/wbmp_decoder.h"
#include "file_byte_source.h"
#include "headers/image_header.h"
#include "imaging_engine.h"
#include "shared_file.h"
#include "wic_decoding.h"

namespace orrelux::engine {

namespace {

// A file that an in-memory decoder reads whole may be at most this large.
constexpr std::uint64_t kMaxFileInMemory = std::uint64_t{1} << 30;
// Progress of the in-memory decoders: reading the file takes the first eighth of the range.
constexpr int kProgressRange = 1 << 16;
constexpr int kReadingShare = kProgressRange / 8;
constexpr unsigned kTiffCompressionLzw = 5;

// The steering of one stage of the work: the same stop question, and progress mapped into
// [start, start + share) of kProgressRange.
DecodeControl StageControl(const DecodeControl& whole, int start, int share) {
    DecodeControl stage;
    stage.Aborted = whole.Aborted;
    stage.Progress = [&whole, start, share](int position, int range) {
        if (range <= 0)
            return;
        const std::int64_t clamped = std::clamp(position, 0, range);
        whole.Report(start + static_cast<int>(clamped * share / range), kProgressRange);
    };
    return stage;
}

// Reads the whole file in pieces, asking the stop question before each one.
DecodeStatus ReadWholeFile(const SharedFile& file, std::vector<std::uint8_t>& bytes,
                           const DecodeControl& control) {
    const std::uint64_t size = file.Size();
    if (size > kMaxFileInMemory)
        return DecodeStatus::OutOfMemory;
    bytes.resize(static_cast<std::size_t>(size));
    constexpr std::size_t kPiece = std::size_t{1} << 20;
    std::size_t done = 0;
    while (done < bytes.size()) {
        if (control.ShouldStop())
            return DecodeStatus::Aborted;
        std::size_t read = 0;
        const std::size_t piece = std::min(kPiece, bytes.size() - done);
        if (FAILED(file.ReadAt(done, bytes.data() + done, piece, &read)) || read == 0)
            break; // the file got shorter: decode what is there
        done += read;
        control.Report(static_cast<int>(static_cast<std::uint64_t>(done) * 1024 / bytes.size()),
                       1024);
    }
    bytes.resize(done);
    return DecodeStatus::Ok;
}

// The compression of the first page of a TIFF file (tag 259 of the first directory); 1 (none)
// when the tag is missing, 0 when the directory cannot be read.
unsigned FirstTiffPageCompression(ImageByteSource& source) {
    std::uint8_t head[16] = {};
    if (source.ReadAt(0, head, sizeof(head)) < 8)
        return 0;
    const bool little = head[0] == 'I';
    const auto u16 = [little](const std::uint8_t* p) {
        return static_cast<unsigned>(little ? p[0] | p[1] << 8 : p[0] << 8 | p[1]);
    };
    const auto u32 = [&u16, little](const std::uint8_t* p) {
        const std::uint64_t low = u16(little ? p : p + 2);
        const std::uint64_t high = u16(little ? p + 2 : p);
        return high << 16 | low;
    };
    const auto u64 = [&u32, little](const std::uint8_t* p) {
        const std::uint64_t low = u32(little ? p : p + 4);
        const std::uint64_t high = u32(little ? p + 4 : p);
        return high << 32 | low;
    };
    const bool big = u16(head + 2) == 43; // BigTIFF: 64-bit offsets and counts
    const std::uint64_t directory = big ? u64(head + 8) : u32(head + 4);
    std::uint8_t countBytes[8] = {};
    if (source.ReadAt(directory, countBytes, big ? 8 : 2) < (big ? 8u : 2u))
        return 0;
    const std::uint64_t count =
        std::min<std::uint64_t>(big ? u64(countBytes) : u16(countBytes), 65536);
    const std::size_t entrySize = big ? 20 : 12;
    const std::uint64_t first = directory + (big ? 8 : 2);
    for (std::uint64_t i = 0; i < count; ++i) {
        std::uint8_t entry[20] = {};
        if (source.ReadAt(first + i * entrySize, entry, entrySize) < entrySize)
            return 0;
        const unsigned tag = u16(entry);
        if (tag > 259)
            return 1; // entries are sorted by tag
        if (tag != 259)
            continue;
        const unsigned type = u16(entry + 2);
        const std::uint8_t* value = entry + (big ? 12 : 8);
        return type == 4 ? static_cast<unsigned>(u32(value)) : u16(value);
    }
    return 1;
}

bool UsesLzw(std::int32_t fileFormat, ImageByteSource& source) {
    if (fileFormat == kFileFormatGif)
        return true;
    return fileFormat == kFileFormatTiff && FirstTiffPageCompression(source) == kTiffCompressionLzw;
}

// Runs a row decoder into the sink the request wants: a box-fitting accumulator for a
// thumbnail, the whole picture otherwise.
template <typename Decode>
DecodeStatus DecodeRows(const PictureRequest& request, DecodedImage& image, Decode&& decode) {
    if (!request.thumbnail)
        return DecodeWholeImage(image, decode);
    RowAccumulator thumbnail = RowAccumulator::FitInto(request.maxWidth, request.maxHeight);
    const DecodeStatus status = decode(static_cast<RowSink&>(thumbnail));
    if (status != DecodeStatus::Ok)
        return status;
    if (!thumbnail.IsComplete())
        return DecodeStatus::Corrupt;
    image = thumbnail.TakeImage();
    return DecodeStatus::Ok;
}

// libjpeg reads the file through a stdio stream as it decodes: no copy of the file is made.
DecodeStatus DecodeJpeg(const SharedFile& file, const PictureRequest& request,
                        const DecodeControl& control, DecodedImage& image) {
    const UniqueCStream stream = file.OpenCStream();
    if (!stream)
        return DecodeStatus::Corrupt;
    // The box of a full load is as large as a picture can be: a picture is never enlarged, so
    // it keeps its own size.
    return DecodeJpegThumbnail(stream.get(), request.thumbnail ? request.maxWidth : INT_MAX,
                               request.thumbnail ? request.maxHeight : INT_MAX, control, image);
}

// PCX, WBMP and PSD decode from the file's bytes in memory.
DecodeStatus DecodeInMemory(std::int32_t fileFormat, const SharedFile& file,
                            const PictureRequest& request, const DecodeControl& control,
                            DecodedImage& image) {
    std::vector<std::uint8_t> ownBytes;
    std::vector<std::uint8_t>& bytes = request.fileBytes ? *request.fileBytes : ownBytes;
    DecodeStatus status = ReadWholeFile(file, bytes, StageControl(control, 0, kReadingShare));
    if (status != DecodeStatus::Ok)
        return status;
    const DecodeControl decoding =
        StageControl(control, kReadingShare, kProgressRange - kReadingShare);
    const std::uint8_t* data = bytes.data();
    const std::size_t size = bytes.size();
    switch (fileFormat) {
    case kFileFormatPcx:
        return DecodeRows(request, image,
                          [&](RowSink& sink) { return DecodePcx(data, size, sink, decoding); });
    case kFileFormatWbmp:
        return DecodeRows(request, image,
                          [&](RowSink& sink) { return DecodeWbmp(data, size, sink, decoding); });
    case kFileFormatPsd:
        return DecodeRows(request, image,
                          [&](RowSink& sink) { return DecodePsd(data, size, sink, decoding); });
    default:
        return DecodeStatus::Unsupported;
    }
}

} // namespace

HRESULT StatusOfDecode(DecodeStatus status, const wchar_t** message) {
    const wchar_t* ignored = nullptr;
    const wchar_t*& text = message ? *message : ignored;
    text = nullptr;
    switch (status) {
    case DecodeStatus::Ok:
        return S_OK;
    case DecodeStatus::Aborted:
        return kEngineStatusAborted;
    case DecodeStatus::Corrupt:
        text = L"The picture data is damaged or incomplete.";
        return kEngineErrorCorrupt;
    case DecodeStatus::Unsupported:
        text = L"This kind of picture is not supported.";
        return kEngineErrorUnsupported;
    case DecodeStatus::OutOfMemory:
        break;
    }
    text = L"There is not enough memory for the picture.";
    return E_OUTOFMEMORY;
}

PictureOutcome DecodePicture(const PictureRequest& request, const DecodeControl& control) {
    PictureOutcome outcome;
    try {
        auto file = std::make_shared<SharedFile>();
        outcome.status = file->Open(request.path);
        if (FAILED(outcome.status)) {
            outcome.message = L"The file cannot be opened.";
            return outcome;
        }
        FileByteSource fileSource(*file);
        ReadAheadSource source(fileSource);
        const std::int32_t fileFormat = ReadImageHeader(source).fileFormat;
        if (fileFormat == kFileFormatUnknown) {
            outcome.status = kEngineErrorUnknownFormat;
            outcome.message = L"The file is not a picture in a format the engine opens.";
            return outcome;
        }
        if (!request.lzwEnabled && UsesLzw(fileFormat, source)) {
            outcome.status = kEngineErrorLzwDisabled;
            outcome.message = L"The picture is LZW-compressed, and LZW decoding is disabled.";
            return outcome;
        }

        DecodedImage image;
        DecodeStatus status;
        switch (fileFormat) {
        case kFileFormatPng:
        case kFileFormatGif:
        case kFileFormatBmp:
        case kFileFormatTiff:
            status = DecodeRows(request, image, [&](RowSink& sink) {
                return DecodeWithWic(file, sink, control, nullptr);
            });
            break;
        case kFileFormatJpeg:
            status = DecodeJpeg(*file, request, control, image);
            break;
        default:
            status = DecodeInMemory(fileFormat, *file, request, control, image);
            break;
        }
        outcome.status = StatusOfDecode(status, &outcome.message);
        if (status == DecodeStatus::Ok)
            outcome.image = std::move(image);
    } catch (const std::bad_alloc&) {
        outcome.status = StatusOfDecode(DecodeStatus::OutOfMemory, &outcome.message);
        outcome.image = DecodedImage();
    }
    return outcome;
}

} // namespace orrelux::engine
