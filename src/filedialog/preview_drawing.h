// The pixels of the preview pane: the empty picture (background, optionally crossed), the place
// of a decoded picture in the pane and its frame, and the try-lock that guards the bitmap.
//
// The pane's bitmap is a 32-bit surface (0x00RRGGBB, see picker/surface.h); on Windows the bits
// of a DIB section. Colours come in as the system gives them, as COLORREF values (0x00BBGGRR),
// and are turned into pixels here. Nothing here knows about windows or drawing contexts: the
// Windows side asks whether a drawing happened and repaints the control itself.
#ifndef ORRELUX_FILEDIALOG_PREVIEW_DRAWING_H
#define ORRELUX_FILEDIALOG_PREVIEW_DRAWING_H

#include "colour/colour_values.h"
#include "picker/surface.h"

#include <atomic>

namespace orrelux::filedialog {

// Size of the pane until the control has been measured.
constexpr int kDefaultPreviewExtent = 100;
// The pane's background when the system has no menu bar colour (or gives black for it).
constexpr ColorRef kFallbackPaneBackColor = 0xEEEEEE;

constexpr ColorRef PaneBackColorFrom(ColorRef menuBarColor) {
    return menuBarColor == 0 ? kFallbackPaneBackColor : menuBarColor;
}

// Fills the whole bitmap with backColor and, when crossed, draws two black blended lines over it
// that join the corners of the width x height pane: (0, 0) to (width - 1, height - 1), then
// (width - 1, 0) to (0, height - 1). Pixels beyond the bitmap are left alone.
void DrawEmptyPicture(Surface& bitmap, int width, int height, ColorRef backColor, bool crossed);

// The guard of the pane's bitmap: taken in one atomic step, and whoever finds it held gives up
// rather than waits. Holders are the empty-picture drawing, the painting of the control and the
// load worker.
class PreviewBusyFlag {
public:
    bool TryTake() noexcept { return !flag_.test_and_set(std::memory_order_acquire); }
    void GiveBack() noexcept { flag_.clear(std::memory_order_release); }

private:
    std::atomic_flag flag_ = ATOMIC_FLAG_INIT;
};

// Holds the flag for one scope if it could be taken.
class PreviewBusyHold {
public:
    explicit PreviewBusyHold(PreviewBusyFlag& flag) : flag_(flag), held_(flag.TryTake()) {}
    ~PreviewBusyHold() {
        if (held_)
            flag_.GiveBack();
    }
    PreviewBusyHold(const PreviewBusyHold&) = delete;
    PreviewBusyHold& operator=(const PreviewBusyHold&) = delete;

    bool Held() const { return held_; }

private:
    PreviewBusyFlag& flag_;
    bool held_;
};

// The state of the pane shared by the dialog's thread, the load workers and the engine's event
// threads. The sizes and the colour are set on the dialog's thread before any worker starts.
struct PreviewPane {
    Surface bitmap; // empty until the pane's bitmap has been made
    int width = kDefaultPreviewExtent;
    int height = kDefaultPreviewExtent;
    ColorRef backColor = kFallbackPaneBackColor;
    PreviewBusyFlag busy;
    std::atomic<bool> crossed{false}; // the last empty picture carried the cross
};

// Draws the empty picture into the pane's bitmap under the busy flag and records `crossed`. Does
// nothing, and leaves the recorded cross alone, when there is no bitmap, a size is below 1, the
// pane is not open or the flag is held. Gives true when it drew: only then may the caller
// repaint the control.
bool DrawEmptyBitmap(PreviewPane& pane, bool paneOpen, bool crossed);

// Where a decoded picture of pictureWidth x pictureHeight goes in the pane: centred, truncating
// toward zero, at its own size (the decoder has already fitted it to the pane, and it is never
// scaled here). A picture larger than the pane gets a negative left or top.
Rect PlacePicture(int previewWidth, int previewHeight, int pictureWidth, int pictureHeight);

// The black frame one pixel outside a placed picture, drawn only on the sides that lie inside
// the bitmap: a picture as wide as the pane gets only its top and bottom lines, one as tall as
// the pane only its sides, one that fills it no frame. The picture's own pixels are not touched.
void DrawPictureFrame(Surface& bitmap, const Rect& picture);

} // namespace orrelux::filedialog

#endif // ORRELUX_FILEDIALOG_PREVIEW_DRAWING_H
