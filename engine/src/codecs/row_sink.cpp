#include "codecs/row_sink.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace orrelux::engine {

namespace {

constexpr int kBandPixels = 1 << 16;

} // namespace

DecodeStatus ImageSink::Begin(int width, int height) {
    if (width < 1 || height < 1)
        return DecodeStatus::Corrupt;
    const std::uint64_t pixels =
        static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
    if (pixels > maxPixels_)
        return DecodeStatus::OutOfMemory;
    try {
        target_.pixels.assign(static_cast<std::size_t>(pixels), 0u);
    } catch (const std::bad_alloc&) {
        target_ = DecodedImage{};
        return DecodeStatus::OutOfMemory;
    }
    target_.width = width;
    target_.height = height;
    nextRow_ = 0;
    return DecodeStatus::Ok;
}

void ImageSink::PutRow(const std::uint32_t* pixels) {
    if (nextRow_ >= target_.height)
        return;
    const std::size_t width = static_cast<std::size_t>(target_.width);
    std::memcpy(target_.pixels.data() + static_cast<std::size_t>(nextRow_) * width, pixels,
                width * sizeof(std::uint32_t));
    ++nextRow_;
}

int RowsPerBand(int width, int height) {
    const int sixteenth = height / 16 + (height % 16 != 0 ? 1 : 0);
    const int byPixels = std::max(1, kBandPixels / std::max(1, width));
    return std::max(1, std::min(sixteenth, byPixels));
}

bool RowBands::Continue(int y) {
    if (y < nextBand_)
        return true;
    if (control_.ShouldStop())
        return false;
    control_.Report(y, height_);
    nextBand_ = y + bandRows_;
    return true;
}

} // namespace orrelux::engine
