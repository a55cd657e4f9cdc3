// The Windows side of the preview pane's bitmap: the 32-bit DIB section that holds the pane's
// picture, a view of its pixels for the portable drawing code (filedialog/preview_drawing.h),
// the empty picture drawn into it, and the decoded picture placed in its frame by the imaging
// engine.
//
// Pixels are written straight into the section's bits: one GdiFlush first, so that no batched
// GDI call of this thread lands on them afterwards, and no per-pixel GDI call anywhere. A bitmap
// of another kind (a device-dependent one) still works: its pixels are read into a heap surface
// and written back with one SetDIBits.
//
// None of these functions takes the pane's busy flag: the caller holds it for as long as it
// draws.
#pragma once

#include <windows.h>

#include <memory>

#include "colour/colour_values.h"
#include "imaging_engine.h"
#include "picker/surface.h"
#include "platform/handles.h"

namespace orrelux::filedialog {

// A top-down 32-bit DIB section of width x height pixels (0x00RRGGBB each, the layout of a
// Surface), filled with black; null when a side is below 1 or the system refuses it.
UniqueBitmap CreatePreviewBitmap(int width, int height);

// Write access to the pixels of a bitmap for one drawing. The bitmap must not be selected into a
// device context of another thread meanwhile: the pane's busy flag sees to that.
class PreviewPixels {
public:
    // Views the bits of a 32-bit top-down DIB section in place; any other bitmap is copied into
    // a heap surface and copied back by the destructor.
    explicit PreviewPixels(HBITMAP bitmap);
    ~PreviewPixels();
    PreviewPixels(const PreviewPixels&) = delete;
    PreviewPixels& operator=(const PreviewPixels&) = delete;

    // Empty when the bitmap is null or its pixels could not be reached.
    Surface& Pixels() { return pixels_; }

private:
    HBITMAP bitmap_;
    Surface pixels_;
    std::unique_ptr<SurfaceBuffer> copy_; // set for a bitmap that is no 32-bit top-down section
};

// The empty picture of the pane: the whole bitmap in backColor and, when crossed, the two black
// blended diagonals that join its corners. Always answers true: a bitmap that cannot be reached
// is simply left as it was.
bool DrawEmptyPicture(HBITMAP bitmap, int width, int height, ColorRef backColor, bool crossed);

// Draws the picture that `engine` holds (pictureWidth x pictureHeight, already fitted to the
// pane by the engine) centred into the pane's bitmap, inside a one-pixel black frame on the sides
// that lie within the bitmap. The frame goes in first, straight into the pixels; then the engine
// draws the picture at its own size through a memory device context that holds the bitmap. The
// pane's background is left as it is around them.
//
// Gives the engine's status of Draw (kEngineStatusAborted when it was stopped), or E_FAIL when
// no device context could be made. An exception that passes out of the engine is not caught
// here: the load worker decides what a fault means.
HRESULT DrawFramedPicture(IEngineBitmap* engine, HBITMAP bitmap, int previewWidth,
                          int previewHeight, int pictureWidth, int pictureHeight);

} // namespace orrelux::filedialog
