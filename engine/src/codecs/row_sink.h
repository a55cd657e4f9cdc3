// Where decoders put their rows, and the banding of abort checks and progress.
//
// Every decoder of this directory produces its picture one row at a time, top to bottom, into a
// RowSink. An ImageSink keeps the whole picture; a RowAccumulator (area_scaler.h) scales it down
// on the fly, so a thumbnail of a 6000x4000 picture never holds more than a few rows of it.
#pragma once

#include "codecs/decoded_image.h"

#include <cstddef>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <utility>

namespace orrelux::engine {

// The largest picture held whole: 2^28 pixels, 1 GiB of 0xAARRGGBB words. Anything larger can
// only be decoded into a scaling sink.
constexpr std::uint64_t kMaxImagePixels = std::uint64_t{1} << 28;

class RowSink {
public:
    virtual ~RowSink() = default;

    // Called once, before the first row, with the size of the picture (both at least 1). Any
    // status but Ok ends the decode with that status.
    virtual DecodeStatus Begin(int width, int height) = 0;

    // The next row, top to bottom: `width` pixels of 0xAARRGGBB. Called exactly `height` times
    // when the decode succeeds, fewer when it fails.
    virtual void PutRow(const std::uint32_t* pixels) = 0;
};

// Keeps every row: the picture as a whole.
class ImageSink final : public RowSink {
public:
    // `maxPixels` bounds width * height; a larger picture is refused with OutOfMemory before
    // anything is allocated.
    explicit ImageSink(DecodedImage& target, std::uint64_t maxPixels = kMaxImagePixels)
        : target_(target), maxPixels_(maxPixels) {}

    DecodeStatus Begin(int width, int height) override;
    void PutRow(const std::uint32_t* pixels) override;

private:
    DecodedImage& target_;
    std::uint64_t maxPixels_;
    int nextRow_ = 0;
};

// Rows per band between two abort checks and progress reports: at most 1/16 of the rows (so
// progress comes at least every 1/16 of the work) and about 2^16 pixels (so a stop request is
// noticed within a few milliseconds even by the slowest decoder on a 6000-pixel-wide picture).
int RowsPerBand(int width, int height);

// The abort checks and progress reports of one pass over `height` rows. Progress positions are
// row numbers: 0 before the first row, rising band by band, `height` at the end.
class RowBands {
public:
    RowBands(const DecodeControl& control, int width, int height)
        : control_(control), height_(height), bandRows_(RowsPerBand(width, height)) {}

    // Call before row y, with y rising from 0. At the start of a band it asks whether to stop
    // (then answers false) and reports the position.
    bool Continue(int y);
    // After the last row: reports height of height.
    void Finish() const { control_.Report(height_, height_); }

private:
    const DecodeControl& control_;
    int height_;
    int bandRows_;
    int nextBand_ = 0;
};

// Runs `decode(sink)` into a fresh picture and hands it to `image` on success. On any other
// status `image` is left empty. Allocation failures become OutOfMemory: no exception leaves.
template <typename Decode> DecodeStatus DecodeWholeImage(DecodedImage& image, Decode&& decode) {
    DecodeStatus status;
    DecodedImage decoded;
    try {
        ImageSink sink(decoded);
        status = decode(static_cast<RowSink&>(sink));
    } catch (const std::bad_alloc&) {
        status = DecodeStatus::OutOfMemory;
    } catch (const std::length_error&) {
        status = DecodeStatus::OutOfMemory;
    }
    image = status == DecodeStatus::Ok ? std::move(decoded) : DecodedImage{};
    return status;
}

} // namespace orrelux::engine
