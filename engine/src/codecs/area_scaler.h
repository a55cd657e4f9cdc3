// Down-scaling by area averaging, whole or row by row.
//
// Each target pixel is the average of the source area it covers, a true box filter: a source
// pixel cut by a target pixel's edge counts with the covered fraction of its area. All weights
// are integers (a source pixel is targetWidth units wide, a target pixel sourceWidth units), so
// the result is exact up to one final rounding to nearest, halves up.
//
// Alpha is straight (not premultiplied) on both sides, and averaging is premultiplied-correct:
// a colour counts in proportion to its alpha, so a fully transparent pixel adds no colour of its
// own. A target pixel whose sources are all fully transparent comes out as 0x00000000. Scaling
// to the source's own size copies the pixels unchanged.
//
// A thumbnail straight from a decoder:
//     RowAccumulator thumbnail = RowAccumulator::FitInto(maxWidth, maxHeight);
//     if (DecodePsd(data, size, thumbnail, control) == DecodeStatus::Ok)
//         image = thumbnail.TakeImage();
// A decoder with its own scanline loop (libjpeg) calls Begin once and PutRow for every row.
#pragma once

#include "codecs/decoded_image.h"
#include "codecs/row_sink.h"

#include <cstdint>
#include <vector>

namespace orrelux::engine {

struct ScaledSize {
    int width = 0;
    int height = 0;

    bool operator==(const ScaledSize& other) const {
        return width == other.width && height == other.height;
    }
};

// The size of a width x height picture fitted into a maxWidth x maxHeight box with its aspect
// kept. A picture that already fits keeps its size (never enlarged). Otherwise the side that
// binds takes the box's side exactly, and the other side is scaled by the same factor and
// rounded to nearest, halves up, but never below 1. Box sides below 1 count as 1; a picture with
// a side below 1 gives 0 x 0.
ScaledSize FitInBox(int width, int height, int maxWidth, int maxHeight);

// Scales `source` to width x height (sides below 1 count as 1; enlarging works too, as the same
// box filter). Abort checks and progress come per band of source rows, with the source height as
// the range. On success `result` (which may be `source` itself) gets the picture; on any other
// status it is left empty. An empty source, or one whose pixel count is not width * height, is
// Corrupt.
DecodeStatus ScaleAreaAverage(const DecodedImage& source, int width, int height,
                              DecodedImage& result, const DecodeControl& control);

// The streaming form: takes the source rows in order, keeps one folded row of running sums,
// and writes each target row as soon as its last source row is in. Memory is the target
// picture plus a few rows of the target's width, whatever the source's size.
class RowAccumulator final : public RowSink {
public:
    // Rows scaled to exactly width x height (sides below 1 count as 1).
    static RowAccumulator Exact(int width, int height);
    // Rows scaled to FitInBox(source, maxWidth, maxHeight), decided by Begin.
    static RowAccumulator FitInto(int maxWidth, int maxHeight);

    // Sizes the target. Corrupt for a source side below 1; Unsupported for a source of more
    // than 2^40 pixels (the sums would no longer fit 64 bits); OutOfMemory for a target of more
    // than kMaxImagePixels.
    DecodeStatus Begin(int sourceWidth, int sourceHeight) override;
    // One source row of sourceWidth pixels. Rows beyond sourceHeight are ignored.
    void PutRow(const std::uint32_t* pixels) override;

    bool IsComplete() const { return began_ && sourceRow_ == sourceHeight_; }
    // The target picture; complete once all source rows are in. Leaves the accumulator empty.
    DecodedImage TakeImage();

private:
    RowAccumulator(int width, int height, bool fitInBox)
        : boxWidth_(width), boxHeight_(height), fitInBox_(fitInBox) {}

    // The source columns that one target column covers: the first and last with their own
    // weights, every one between with the full weight of targetWidth units.
    struct ColumnSpan {
        int first;
        int last;
        std::uint64_t firstWeight;
        std::uint64_t lastWeight;
    };

    void FoldRow(const std::uint32_t* pixels);
    void AddFolded(std::uint64_t weight);
    void EmitTargetRow();

    int boxWidth_;
    int boxHeight_;
    bool fitInBox_;
    bool began_ = false;
    int sourceWidth_ = 0;
    int sourceHeight_ = 0;
    int sourceRow_ = 0;
    int targetRow_ = 0;
    std::vector<ColumnSpan> spans_;
    // Four sums per target column, in the order alpha, red * alpha, green * alpha, blue * alpha:
    // folded_ holds the current source row folded horizontally (at most 255 * 255 *
    // sourceWidth), rowSums_ the current target row (at most 255 * 255 * sourceWidth *
    // sourceHeight <= 2^56).
    std::vector<std::uint64_t> folded_;
    std::vector<std::uint64_t> rowSums_;
    DecodedImage image_;
};

} // namespace orrelux::engine
