#include "picture_drawing.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <vector>

#include "codecs/area_scaler.h"
#include "codecs/row_sink.h"
#include "platform/handles.h"

namespace orrelux::engine {

namespace {

bool Inside(const PixelRect& rect, int width, int height) {
    return rect.width >= 1 && rect.height >= 1 && rect.x >= 0 && rect.y >= 0 &&
           rect.x <= width - rect.width && rect.y <= height - rect.height;
}

// The source index of target index t of `targetCount`, sampling at the target pixel's centre:
// floor((2t + 1) * sourceCount / (2 * targetCount)). Products stay below 2^63.
int NearestSource(int t, int targetCount, int sourceCount) {
    return static_cast<int>((2 * static_cast<std::int64_t>(t) + 1) * sourceCount /
                            (2 * static_cast<std::int64_t>(targetCount)));
}

// Straight alpha to the premultiplied form AlphaBlend takes, rounding to nearest.
std::uint32_t Premultiplied(std::uint32_t pixel) {
    const std::uint32_t alpha = pixel >> 24;
    if (alpha == 0xFF)
        return pixel;
    const auto scale = [alpha](std::uint32_t channel) { return (channel * alpha + 127) / 255; };
    return alpha << 24 | scale((pixel >> 16) & 0xFF) << 16 | scale((pixel >> 8) & 0xFF) << 8 |
           scale(pixel & 0xFF);
}

// The rows of the destination, one at a time: from the picture itself (same size, nearest)
// or from an area-averaged copy at the destination's size.
class DestinationRows {
public:
    DestinationRows(const DecodedImage& picture, const PixelRect& source, const PixelRect& target)
        : picture_(picture), source_(source), target_(target) {}

    // Prepares the averaged copy when the sizes differ and smoothing is asked for.
    DecodeStatus Prepare(bool smooth, const DecodeControl& control) {
        sameSize_ = source_.width == target_.width && source_.height == target_.height;
        if (sameSize_)
            return DecodeStatus::Ok;
        if (!smooth) {
            columns_.resize(static_cast<std::size_t>(target_.width));
            for (int x = 0; x < target_.width; ++x)
                columns_[static_cast<std::size_t>(x)] =
                    source_.x + NearestSource(x, target_.width, source_.width);
            return DecodeStatus::Ok;
        }
        RowAccumulator accumulator = RowAccumulator::Exact(target_.width, target_.height);
        DecodeStatus status = accumulator.Begin(source_.width, source_.height);
        if (status != DecodeStatus::Ok)
            return status;
        RowBands bands(control, source_.width, source_.height);
        for (int y = 0; y < source_.height; ++y) {
            if (!bands.Continue(y))
                return DecodeStatus::Aborted;
            accumulator.PutRow(SourceRow(source_.y + y) + source_.x);
        }
        scaled_ = accumulator.TakeImage();
        return DecodeStatus::Ok;
    }

    // Writes destination row y (target_.width pixels) to `out`.
    void Row(int y, std::uint32_t* out) const {
        if (!scaled_.IsEmpty()) {
            const std::uint32_t* row =
                scaled_.pixels.data() + static_cast<std::size_t>(y) * scaled_.width;
            std::copy(row, row + target_.width, out);
            return;
        }
        const std::uint32_t* row =
            SourceRow(source_.y + NearestSource(y, target_.height, source_.height));
        if (sameSize_) {
            std::copy(row + source_.x, row + source_.x + target_.width, out);
            return;
        }
        for (int x = 0; x < target_.width; ++x)
            out[x] = row[columns_[static_cast<std::size_t>(x)]];
    }

private:
    const std::uint32_t* SourceRow(int y) const {
        return picture_.pixels.data() + static_cast<std::size_t>(y) * picture_.width;
    }

    const DecodedImage& picture_;
    PixelRect source_;
    PixelRect target_;
    bool sameSize_ = false;
    std::vector<int> columns_;
    DecodedImage scaled_;
};

} // namespace

DecodeStatus DrawPicture(const DecodedImage& picture, const DrawRequest& request,
                         const DecodeControl& control, HRESULT* systemStatus) {
    HRESULT ignored = S_OK;
    HRESULT& status = systemStatus ? *systemStatus : ignored;
    status = S_OK;
    const PixelRect& target = request.destination;
    if (picture.IsEmpty() || !Inside(request.source, picture.width, picture.height) ||
        target.width < 1 || target.height < 1)
        return DecodeStatus::Corrupt;
    try {
        DestinationRows rows(picture, request.source, target);
        const DecodeStatus prepared = rows.Prepare(request.smooth, control);
        if (prepared != DecodeStatus::Ok)
            return prepared;

        const int bandRows = RowsPerBand(target.width, target.height);
        BITMAPINFO format = {};
        format.bmiHeader.biSize = sizeof(format.bmiHeader);
        format.bmiHeader.biWidth = target.width;
        format.bmiHeader.biHeight = -bandRows; // top-down
        format.bmiHeader.biPlanes = 1;
        format.bmiHeader.biBitCount = 32;
        format.bmiHeader.biCompression = BI_RGB;
        void* bits = nullptr;
        const UniqueBitmap band(
            ::CreateDIBSection(request.dc, &format, DIB_RGB_COLORS, &bits, nullptr, 0));
        const UniqueMemoryDC memory(::CreateCompatibleDC(request.dc));
        if (!band || !bits || !memory) {
            status = E_OUTOFMEMORY;
            return DecodeStatus::OutOfMemory;
        }
        const SelectGuard selected(memory.Get(), band.Get());
        auto* pixels = static_cast<std::uint32_t*>(bits);
        const std::size_t stride = static_cast<std::size_t>(target.width);

        for (int y = 0; y < target.height; y += bandRows) {
            if (control.ShouldStop())
                return DecodeStatus::Aborted;
            const int count = std::min(bandRows, target.height - y);
            ::GdiFlush(); // the previous band's drawing has read the section's bits
            bool opaque = true;
            for (int row = 0; row < count; ++row) {
                std::uint32_t* out = pixels + static_cast<std::size_t>(row) * stride;
                rows.Row(y + row, out);
                if (!request.blend)
                    continue;
                for (std::size_t x = 0; x < stride; ++x) {
                    opaque = opaque && out[x] >> 24 == 0xFF;
                    out[x] = Premultiplied(out[x]);
                }
            }
            BOOL drawn;
            if (request.blend && !opaque) {
                const BLENDFUNCTION over = {AC_SRC_OVER, 0, 0xFF, AC_SRC_ALPHA};
                drawn = ::AlphaBlend(request.dc, target.x, target.y + y, target.width, count,
                                     memory.Get(), 0, 0, target.width, count, over);
            } else {
                drawn = ::BitBlt(request.dc, target.x, target.y + y, target.width, count,
                                 memory.Get(), 0, 0, SRCCOPY);
            }
            if (!drawn) {
                const DWORD error = ::GetLastError();
                status = error != ERROR_SUCCESS ? HRESULT_FROM_WIN32(error) : E_FAIL;
                return DecodeStatus::Unsupported;
            }
        }
        return DecodeStatus::Ok;
    } catch (const std::bad_alloc&) {
        status = E_OUTOFMEMORY;
        return DecodeStatus::OutOfMemory;
    }
}

} // namespace orrelux::engine
