#include "picker/surface.h"

#include <algorithm>

namespace orrelux {

namespace {
constexpr Pixel kColourBits = 0x00FFFFFF;
}

Rect Surface::Clip(const Rect& rect) const {
    Rect clipped{std::max(rect.left, 0), std::max(rect.top, 0), std::min(rect.right, width_),
                 std::min(rect.bottom, height_)};
    if (IsEmpty() || clipped.left >= clipped.right || clipped.top >= clipped.bottom)
        return Rect{};
    return clipped;
}

void Surface::FillRect(const Rect& rect, Pixel value) {
    const Rect clipped = Clip(rect);
    for (int y = clipped.top; y < clipped.bottom; ++y)
        std::fill(Row(y) + clipped.left, Row(y) + clipped.right, value);
}

void Surface::InvertRect(const Rect& rect) {
    const Rect clipped = Clip(rect);
    for (int y = clipped.top; y < clipped.bottom; ++y) {
        Pixel* row = Row(y);
        for (int x = clipped.left; x < clipped.right; ++x)
            row[x] = (row[x] ^ kColourBits) & kColourBits;
    }
}

void Surface::DrawFocusRect(const Rect& rect) {
    if (rect.right <= rect.left || rect.bottom <= rect.top)
        return;
    // Walk the border clockwise from the top-left corner and invert every other pixel. The
    // phase follows the walk, so a corner is never inverted twice.
    int step = 0;
    auto visit = [&](int x, int y) {
        if ((step++ & 1) == 0 && Contains(x, y))
            Row(y)[x] = (Row(y)[x] ^ kColourBits) & kColourBits;
    };
    const int right = rect.right - 1;
    const int bottom = rect.bottom - 1;
    for (int x = rect.left; x <= right; ++x)
        visit(x, rect.top);
    for (int y = rect.top + 1; y <= bottom; ++y)
        visit(right, y);
    if (bottom > rect.top)
        for (int x = right - 1; x >= rect.left; --x)
            visit(x, bottom);
    if (right > rect.left)
        for (int y = bottom - 1; y > rect.top; --y)
            visit(rect.left, y);
}

void Surface::CopyFrom(const Surface& source, const Rect& sourceRect, int x, int y) {
    Rect from = source.Clip(sourceRect);
    if (from.Width() <= 0)
        return;
    // Shift the destination by whatever the source clip removed, then clip the destination.
    x += from.left - sourceRect.left;
    y += from.top - sourceRect.top;
    const Rect to = Clip(Rect{x, y, x + from.Width(), y + from.Height()});
    if (to.Width() <= 0)
        return;
    from.left += to.left - x;
    from.top += to.top - y;
    for (int row = 0; row < to.Height(); ++row)
        std::copy_n(source.Row(from.top + row) + from.left, to.Width(),
                    Row(to.top + row) + to.left);
}

HeapSurface::HeapSurface(int width, int height)
    : storage_(static_cast<std::size_t>(std::max(width, 0)) * std::max(height, 0)) {
    Attach(storage_.data(), std::max(width, 0), std::max(height, 0));
}

} // namespace orrelux
