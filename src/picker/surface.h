// Pixel surfaces: the off-screen pictures of the plane, the strip and the cached cubes.
//
// A surface is a plain array of 32-bit pixels, rows top-down, in the byte order of a 32-bit
// device-independent bitmap: 0x00RRGGBB, the same layout as RgbColor. On Windows the pixels of
// the plane and strip surfaces are the bits of a DIB section selected into a memory DC, so the
// window shell block-copies exactly what these operations wrote. Nothing here knows about
// windows; every operation clips to the surface, so no write can land outside it.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace orrelux {

using Pixel = std::uint32_t;

// Left, top, right, bottom; right and bottom are excluded.
struct Rect {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
    bool operator==(const Rect& other) const {
        return left == other.left && top == other.top && right == other.right &&
               bottom == other.bottom;
    }
};

// A non-owning view of pixels. Copies are cheap and refer to the same pixels.
class Surface {
public:
    Surface() = default;
    Surface(Pixel* bits, int width, int height) : bits_(bits), width_(width), height_(height) {}

    int Width() const { return width_; }
    int Height() const { return height_; }
    bool IsEmpty() const { return bits_ == nullptr || width_ <= 0 || height_ <= 0; }
    bool Contains(int x, int y) const {
        return !IsEmpty() && x >= 0 && y >= 0 && x < width_ && y < height_;
    }

    // Unchecked access for inner loops that have already clipped their range.
    Pixel* Row(int y) { return bits_ + static_cast<std::size_t>(y) * width_; }
    const Pixel* Row(int y) const { return bits_ + static_cast<std::size_t>(y) * width_; }

    // Writes outside the surface are dropped and reads outside give 0, as with GDI.
    void SetPixel(int x, int y, Pixel value) {
        if (Contains(x, y))
            Row(y)[x] = value;
    }
    Pixel GetPixel(int x, int y) const { return Contains(x, y) ? Row(y)[x] : 0; }

    void FillRect(const Rect& rect, Pixel value);
    // Logical NOT of the colour bits of every pixel; the unused top byte stays 0.
    void InvertRect(const Rect& rect);
    // A dotted outline one pixel wide: every other pixel of the border is inverted, starting at
    // the top-left corner. Drawing it twice restores the pixels.
    void DrawFocusRect(const Rect& rect);
    // Copies the source rectangle of `source` so that its top-left lands at (x, y), clipped to
    // both surfaces. Overlapping views of the same pixels are not supported.
    void CopyFrom(const Surface& source, const Rect& sourceRect, int x, int y);

    Rect Bounds() const { return Rect{0, 0, width_, height_}; }
    Rect Clip(const Rect& rect) const;

private:
    Pixel* bits_ = nullptr;
    int width_ = 0;
    int height_ = 0;
};

// Owner of a surface's pixels. The window shell stores a DIB section behind it; portable code
// and the tests use HeapSurface.
class SurfaceBuffer {
public:
    virtual ~SurfaceBuffer() = default;
    Surface& Pixels() { return pixels_; }
    const Surface& Pixels() const { return pixels_; }

protected:
    SurfaceBuffer() = default;
    void Attach(Pixel* bits, int width, int height) { pixels_ = Surface(bits, width, height); }

private:
    Surface pixels_;
};

class HeapSurface final : public SurfaceBuffer {
public:
    // Negative sizes count as 0. All pixels start at 0.
    HeapSurface(int width, int height);

private:
    std::vector<Pixel> storage_;
};

} // namespace orrelux
