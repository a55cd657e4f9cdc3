#include "codecs/area_scaler.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

namespace orrelux::engine {

namespace {

// Above this the premultiplied sums of one target pixel (255 * 255 * W * H) could pass 2^56 and,
// with the rounding terms, come close to 2^64.
constexpr std::uint64_t kMaxSourcePixels = std::uint64_t{1} << 40;

std::uint64_t RoundedQuotient(std::uint64_t numerator, std::uint64_t denominator) {
    return (numerator + denominator / 2) / denominator;
}

// Adds one pixel with the given weight: alpha and the premultiplied colours.
inline void AddWeighted(std::uint64_t* sums, std::uint32_t pixel, std::uint64_t weight) {
    const std::uint64_t alpha = pixel >> 24;
    const std::uint64_t weightedAlpha = alpha * weight;
    sums[0] += weightedAlpha;
    sums[1] += ((pixel >> 16) & 0xFFu) * weightedAlpha;
    sums[2] += ((pixel >> 8) & 0xFFu) * weightedAlpha;
    sums[3] += (pixel & 0xFFu) * weightedAlpha;
}

} // namespace

ScaledSize FitInBox(int width, int height, int maxWidth, int maxHeight) {
    if (width < 1 || height < 1)
        return {};
    const std::int64_t boxWidth = std::max(1, maxWidth);
    const std::int64_t boxHeight = std::max(1, maxHeight);
    if (width <= boxWidth && height <= boxHeight)
        return {width, height};
    const std::int64_t w = width;
    const std::int64_t h = height;
    // Products below 2^62: every factor is below 2^31.
    if (w * boxHeight >= h * boxWidth) {
        const std::int64_t scaledHeight = (2 * h * boxWidth + w) / (2 * w);
        return {static_cast<int>(boxWidth),
                static_cast<int>(std::max<std::int64_t>(1, scaledHeight))};
    }
    const std::int64_t scaledWidth = (2 * w * boxHeight + h) / (2 * h);
    return {static_cast<int>(std::max<std::int64_t>(1, scaledWidth)), static_cast<int>(boxHeight)};
}

RowAccumulator RowAccumulator::Exact(int width, int height) {
    return RowAccumulator(std::max(1, width), std::max(1, height), false);
}

RowAccumulator RowAccumulator::FitInto(int maxWidth, int maxHeight) {
    return RowAccumulator(maxWidth, maxHeight, true);
}

DecodeStatus RowAccumulator::Begin(int sourceWidth, int sourceHeight) {
    began_ = false;
    if (sourceWidth < 1 || sourceHeight < 1)
        return DecodeStatus::Corrupt;
    const std::uint64_t sourcePixels =
        static_cast<std::uint64_t>(sourceWidth) * static_cast<std::uint64_t>(sourceHeight);
    if (sourcePixels > kMaxSourcePixels)
        return DecodeStatus::Unsupported;
    const ScaledSize target = fitInBox_ ? FitInBox(sourceWidth, sourceHeight, boxWidth_, boxHeight_)
                                        : ScaledSize{boxWidth_, boxHeight_};
    const std::uint64_t targetPixels =
        static_cast<std::uint64_t>(target.width) * static_cast<std::uint64_t>(target.height);
    if (targetPixels > kMaxImagePixels)
        return DecodeStatus::OutOfMemory;

    sourceWidth_ = sourceWidth;
    sourceHeight_ = sourceHeight;
    sourceRow_ = 0;
    targetRow_ = 0;
    try {
        image_.width = target.width;
        image_.height = target.height;
        image_.pixels.assign(static_cast<std::size_t>(targetPixels), 0u);
        const bool copying = target.width == sourceWidth && target.height == sourceHeight;
        spans_.clear();
        folded_.clear();
        rowSums_.clear();
        if (!copying) {
            // Target column i covers units [i * W, (i + 1) * W); source column x covers
            // [x * w, (x + 1) * w). Products below 2^59 (i < 2^28, W < 2^31).
            const std::int64_t w = target.width;
            const std::int64_t W = sourceWidth;
            spans_.resize(static_cast<std::size_t>(target.width));
            for (std::int64_t i = 0; i < w; ++i) {
                const std::int64_t left = i * W;
                const std::int64_t right = left + W;
                ColumnSpan& span = spans_[static_cast<std::size_t>(i)];
                span.first = static_cast<int>(left / w);
                span.last = static_cast<int>((right - 1) / w);
                if (span.first == span.last) {
                    span.firstWeight = static_cast<std::uint64_t>(W);
                    span.lastWeight = 0;
                } else {
                    span.firstWeight = static_cast<std::uint64_t>((span.first + 1) * w - left);
                    span.lastWeight = static_cast<std::uint64_t>(right - span.last * w);
                }
            }
            folded_.assign(spans_.size() * 4, 0);
            rowSums_.assign(spans_.size() * 4, 0);
        }
    } catch (const std::bad_alloc&) {
        image_ = DecodedImage{};
        return DecodeStatus::OutOfMemory;
    } catch (const std::length_error&) {
        image_ = DecodedImage{};
        return DecodeStatus::OutOfMemory;
    }
    began_ = true;
    return DecodeStatus::Ok;
}

void RowAccumulator::FoldRow(const std::uint32_t* pixels) {
    // Most rows are wholly opaque: then the premultiplied sums are the plain ones times 255, and
    // the interior columns need no multiplication per pixel. Same values either way.
    std::uint32_t allAlpha = 0xFF000000u;
    for (int x = 0; x < sourceWidth_; ++x)
        allAlpha &= pixels[x];
    const bool opaque = allAlpha == 0xFF000000u;

    const std::uint64_t interiorWeight = static_cast<std::uint64_t>(image_.width);
    std::uint64_t* sums = folded_.data();
    for (const ColumnSpan& span : spans_) {
        sums[0] = sums[1] = sums[2] = sums[3] = 0;
        AddWeighted(sums, pixels[span.first], span.firstWeight);
        if (span.last > span.first) {
            // The columns between carry the same weight: sum them plain, weigh once. At most
            // 255 * 255 * sourceWidth, well inside 64 bits.
            std::uint64_t interior[4] = {0, 0, 0, 0};
            if (opaque) {
                for (int x = span.first + 1; x < span.last; ++x) {
                    const std::uint32_t pixel = pixels[x];
                    interior[1] += (pixel >> 16) & 0xFFu;
                    interior[2] += (pixel >> 8) & 0xFFu;
                    interior[3] += pixel & 0xFFu;
                }
                interior[0] = static_cast<std::uint64_t>(span.last - span.first - 1);
                for (std::uint64_t& sum : interior)
                    sum *= 255u;
            } else {
                for (int x = span.first + 1; x < span.last; ++x)
                    AddWeighted(interior, pixels[x], 1);
            }
            for (int c = 0; c < 4; ++c)
                sums[c] += interior[c] * interiorWeight;
            AddWeighted(sums, pixels[span.last], span.lastWeight);
        }
        sums += 4;
    }
}

void RowAccumulator::AddFolded(std::uint64_t weight) {
    for (std::size_t k = 0; k < rowSums_.size(); ++k)
        rowSums_[k] += folded_[k] * weight;
}

void RowAccumulator::EmitTargetRow() {
    const std::uint64_t total =
        static_cast<std::uint64_t>(sourceWidth_) * static_cast<std::uint64_t>(sourceHeight_);
    std::uint32_t* out = image_.pixels.data() + static_cast<std::size_t>(targetRow_) *
                                                    static_cast<std::size_t>(image_.width);
    for (std::size_t i = 0; i < spans_.size(); ++i) {
        std::uint64_t* sums = &rowSums_[i * 4];
        std::uint32_t pixel = 0;
        if (sums[0] != 0) {
            const auto alpha = static_cast<std::uint32_t>(RoundedQuotient(sums[0], total));
            const auto red = static_cast<std::uint32_t>(RoundedQuotient(sums[1], sums[0]));
            const auto green = static_cast<std::uint32_t>(RoundedQuotient(sums[2], sums[0]));
            const auto blue = static_cast<std::uint32_t>(RoundedQuotient(sums[3], sums[0]));
            pixel = alpha << 24 | red << 16 | green << 8 | blue;
        }
        out[i] = pixel;
        sums[0] = sums[1] = sums[2] = sums[3] = 0;
    }
}

void RowAccumulator::PutRow(const std::uint32_t* pixels) {
    if (!began_ || sourceRow_ >= sourceHeight_)
        return;
    if (spans_.empty()) {
        std::memcpy(image_.pixels.data() + static_cast<std::size_t>(sourceRow_) *
                                               static_cast<std::size_t>(sourceWidth_),
                    pixels, static_cast<std::size_t>(sourceWidth_) * sizeof(std::uint32_t));
        ++sourceRow_;
        return;
    }
    FoldRow(pixels);
    // Source row y covers units [y * h, (y + 1) * h); target row j covers [j * H, (j + 1) * H).
    // Products below 2^59 (y < 2^31, h <= 2^28).
    const std::int64_t h = image_.height;
    const std::int64_t H = sourceHeight_;
    const std::int64_t top = sourceRow_ * h;
    const std::int64_t bottom = top + h;
    while (targetRow_ < image_.height) {
        const std::int64_t targetTop = targetRow_ * H;
        const std::int64_t targetBottom = targetTop + H;
        const std::int64_t overlap = std::min(bottom, targetBottom) - std::max(top, targetTop);
        if (overlap > 0)
            AddFolded(static_cast<std::uint64_t>(overlap));
        if (targetBottom > bottom)
            break;
        EmitTargetRow();
        ++targetRow_;
    }
    ++sourceRow_;
}

DecodedImage RowAccumulator::TakeImage() {
    DecodedImage taken = std::move(image_);
    image_ = DecodedImage{};
    began_ = false;
    return taken;
}

DecodeStatus ScaleAreaAverage(const DecodedImage& source, int width, int height,
                              DecodedImage& result, const DecodeControl& control) {
    DecodeStatus status = DecodeStatus::Corrupt;
    DecodedImage scaled;
    if (!source.IsEmpty() && source.pixels.size() == static_cast<std::size_t>(source.width) *
                                                         static_cast<std::size_t>(source.height)) {
        RowAccumulator accumulator = RowAccumulator::Exact(width, height);
        status = accumulator.Begin(source.width, source.height);
        if (status == DecodeStatus::Ok) {
            RowBands bands(control, source.width, source.height);
            const std::size_t stride = static_cast<std::size_t>(source.width);
            for (int y = 0; y < source.height && status == DecodeStatus::Ok; ++y) {
                if (!bands.Continue(y))
                    status = DecodeStatus::Aborted;
                else
                    accumulator.PutRow(source.pixels.data() + static_cast<std::size_t>(y) * stride);
            }
            if (status == DecodeStatus::Ok) {
                bands.Finish();
                scaled = accumulator.TakeImage();
            }
        }
    }
    result = std::move(scaled);
    return status;
}

} // namespace orrelux::engine
