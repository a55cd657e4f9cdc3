#include "filedialog/preview_drawing.h"

#include "picker/plane_rendering.h"

namespace orrelux::filedialog {

namespace {
constexpr Pixel kBlack = 0;
} // namespace

void DrawEmptyPicture(Surface& bitmap, int width, int height, ColorRef backColor, bool crossed) {
    bitmap.FillRect(bitmap.Bounds(), ColorRefToRgb(backColor));
    if (!crossed)
        return;
    // Blended lines read what lies under them, so the second line softens over the first where
    // they meet. In a square pane both run through pixel centres and stay pure black.
    DrawBlendedLine(bitmap, 0, 0, width - 1, height - 1, kBlack);
    DrawBlendedLine(bitmap, width - 1, 0, 0, height - 1, kBlack);
}

bool DrawEmptyBitmap(PreviewPane& pane, bool paneOpen, bool crossed) {
    if (pane.bitmap.IsEmpty() || pane.width < 1 || pane.height < 1 || !paneOpen)
        return false;
    const PreviewBusyHold hold(pane.busy);
    if (!hold.Held())
        return false;
    pane.crossed.store(crossed);
    DrawEmptyPicture(pane.bitmap, pane.width, pane.height, pane.backColor, crossed);
    return true;
}

Rect PlacePicture(int previewWidth, int previewHeight, int pictureWidth, int pictureHeight) {
    // Sizes are at most a few thousand pixels: no difference or sum comes near overflow. The
    // division truncates toward zero, so a picture one pixel narrower than the pane starts at 0.
    const int left = (previewWidth - pictureWidth) / 2;
    const int top = (previewHeight - pictureHeight) / 2;
    return Rect{left, top, left + pictureWidth, top + pictureHeight};
}

void DrawPictureFrame(Surface& bitmap, const Rect& picture) {
    const int x0 = picture.left - 1;
    const int y0 = picture.top - 1;
    const int x1 = picture.right;
    const int y1 = picture.bottom;
    // A side outside the bitmap is left out, and the lines across stop short of where it would
    // have been.
    if (x0 >= 0) {
        const int first = y0 >= 0 ? y0 : 0;
        const int last = y0 >= 0 ? y1 : y1 - 1;
        bitmap.FillRect(Rect{x0, first, x0 + 1, last + 1}, kBlack);
        bitmap.FillRect(Rect{x1, first, x1 + 1, last + 1}, kBlack);
    }
    if (y0 >= 0) {
        const int first = x0 >= 0 ? x0 : 0;
        const int last = x0 >= 0 ? x1 : x1 - 1;
        bitmap.FillRect(Rect{first, y0, last + 1, y0 + 1}, kBlack);
        bitmap.FillRect(Rect{first, y1, last + 1, y1 + 1}, kBlack);
    }
}

} // namespace orrelux::filedialog
