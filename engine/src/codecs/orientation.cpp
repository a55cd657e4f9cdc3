#include "codecs/orientation.h"

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

namespace orrelux::engine {

bool OrientationSwapsAxes(int orientation) {
    return orientation >= 5 && orientation <= 8;
}

DecodeStatus ApplyOrientation(DecodedImage& image, int orientation) {
    if (orientation < 2 || orientation > 8 || image.IsEmpty())
        return DecodeStatus::Ok;
    const std::ptrdiff_t w = image.width;
    const std::ptrdiff_t h = image.height;
    if (image.pixels.size() != static_cast<std::size_t>(w * h))
        return DecodeStatus::Corrupt;

    // Target pixel (x, y) is source pixel start + x * dx + y * dy (indices into the source).
    struct Walk {
        std::ptrdiff_t start;
        std::ptrdiff_t dx;
        std::ptrdiff_t dy;
    };
    const Walk walks[9] = {
        {0, 1, w},                     // unused
        {0, 1, w},                     // 1
        {w - 1, -1, w},                // 2: (w - 1 - x, y)
        {(h - 1) * w + w - 1, -1, -w}, // 3: (w - 1 - x, h - 1 - y)
        {(h - 1) * w, 1, -w},          // 4: (x, h - 1 - y)
        {0, w, 1},                     // 5: (y, x)
        {(h - 1) * w, -w, 1},          // 6: (y, h - 1 - x)
        {(h - 1) * w + w - 1, -w, -1}, // 7: (w - 1 - y, h - 1 - x)
        {w - 1, w, -1},                // 8: (w - 1 - y, x)
    };
    const Walk& walk = walks[orientation];
    const bool swapped = OrientationSwapsAxes(orientation);
    const int targetWidth = swapped ? image.height : image.width;
    const int targetHeight = swapped ? image.width : image.height;

    std::vector<std::uint32_t> turned;
    try {
        turned.resize(image.pixels.size());
    } catch (const std::bad_alloc&) {
        return DecodeStatus::OutOfMemory;
    }
    const std::uint32_t* source = image.pixels.data();
    std::uint32_t* out = turned.data();
    for (int y = 0; y < targetHeight; ++y) {
        std::ptrdiff_t index = walk.start + y * walk.dy;
        for (int x = 0; x < targetWidth; ++x, index += walk.dx)
            *out++ = source[index];
    }
    image.pixels = std::move(turned);
    image.width = targetWidth;
    image.height = targetHeight;
    return DecodeStatus::Ok;
}

} // namespace orrelux::engine
