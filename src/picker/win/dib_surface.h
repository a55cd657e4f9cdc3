// The Windows side of a picker surface: a 32-bit top-down DIB section selected into a memory DC
// compatible with a window. Its bits are the surface's pixels, so what the portable renderers
// write is exactly what a BitBlt from the DC puts on the screen.
#pragma once

#include <windows.h>

#include <memory>

#include "picker/surface.h"
#include "platform/handles.h"

namespace orrelux {

class DibSurface final : public SurfaceBuffer {
public:
    // A surface of width x height pixels compatible with `window`; null on any failure, with
    // nothing left behind.
    static std::unique_ptr<DibSurface> Create(HWND window, int width, int height);
    ~DibSurface() override;

    HDC Context() const { return context_.Get(); }

private:
    DibSurface() = default;

    UniqueMemoryDC context_;
    UniqueBitmap bitmap_;
    HGDIOBJ displaced_ = nullptr; // selected back before the bitmap is deleted
};

} // namespace orrelux
