#include "picker/pointer_input.h"

#include "picker/cube_picking.h"
#include "picker/input_codes.h"
#include "picker/picker_window.h"

#include <cmath>

namespace orrelux {

namespace {

constexpr int kFixedUnit = 0x10000; // 1.0 in 16.16 saturation and brightness
constexpr int kFullHue = 360;
constexpr int kChannelMax = 255;

// Left and top included, right and bottom not.
bool PointInRect(const Rect& rect, int x, int y) {
    return x >= rect.left && x < rect.right && y >= rect.top && y < rect.bottom;
}

bool HasPlane(int page) {
    return page >= 0 && page < kPalettePage;
}

} // namespace

// ---- Position to colour ---------------------------------------------------------------------

void PlanePointToHsb(int page, const PlaneGeometry& geometry, int x, int y, HsbStep& hsb) {
    const int m = geometry.inset;
    const int width = geometry.width;
    const int height = geometry.height;
    if (width < 1 || height < 1)
        return;
    // From the inner area's corner; the pointer and the markers are held to it already.
    const int px = HoldTo(x, m, m + width) - m;
    const int py = HoldTo(y, m, m + height) - m;
    switch (page) {
    case 0:
        hsb.hue = ScalePixelsToHue(px, width);
        hsb.saturation = kFixedUnit - ScalePixelsToFixed(py, height);
        break;
    case 1: {
        if (!geometry.HasWheel())
            return;
        // Polar, with the wheel's 180 / 3.14 so that a position reads back the hue painted
        // there. The centre gives saturation 0 and hue 0: the hue is lost there.
        const double dx = static_cast<double>(px) - geometry.halfWidth;
        const double dy = static_cast<double>(py) - geometry.halfHeight;
        const double distance = std::sqrt(dx * dx + dy * dy);
        hsb.saturation = HoldTo(RoundToInt(distance / geometry.radius * 65536.0), 0, kFixedUnit);
        // Up is positive hue; 360 can come out, which HsbToRgb takes as 0.
        hsb.hue =
            HoldTo(RoundToInt(NormalizeDegrees(-(std::atan2(dy, dx) * kPaintedDegreesPerRadian))),
                   0, kFullHue);
        break;
    }
    case 2:
        hsb.saturation = ScalePixelsToFixed(px, width);
        hsb.brightness = kFixedUnit - ScalePixelsToFixed(py, height);
        break;
    default:
        break;
    }
}

void StripRowToHsb(int page, int stripHeight, int inset, int row, HsbStep& hsb) {
    if (stripHeight < 1)
        return;
    const int sy = HoldTo(row, inset, inset + stripHeight) - inset;
    switch (page) {
    case 2:
        hsb.hue = ScalePixelsToHue(sy, stripHeight); // hue 0 at the top
        break;
    case 0:
    case 1:
    case 3:
    case 4:
        hsb.brightness = kFixedUnit - ScalePixelsToFixed(sy, stripHeight); // full at the top
        break;
    default:
        break;
    }
}

PointerPosition PositionFromMessage(std::uint32_t position) {
    auto signedWord = [](std::uint32_t word) {
        const int value = static_cast<int>(word & 0xFFFFu);
        return value >= 0x8000 ? value - 0x10000 : value;
    };
    return PointerPosition{signedWord(position), signedWord(position >> 16)};
}

// ---- Where a step starts --------------------------------------------------------------------

HsbStep CPickerWindow::CurrentHsb() const {
    const HsbColor hsb = RgbToHsb(CurrentColor);
    return HsbStep{static_cast<int>(hsb.hue), static_cast<int>(hsb.saturation),
                   static_cast<int>(hsb.brightness)};
}

HsbStep CPickerWindow::ReadBackHsb() const {
    // The markers hold what the colour may have lost: the hue of a grey or of black, the
    // saturation of black.
    HsbStep hsb = CurrentHsb();
    if (ActivePage < 0 || ActivePage > 2)
        return hsb; // the cube pages place no plane marker
    if (PlaneMarkerX > kNoMarker && PlaneMarkerY > kNoMarker)
        PlanePointToHsb(ActivePage, CurrentPlaneGeometry(), PlaneMarkerX, PlaneMarkerY, hsb);
    if (StripMarkerPos > kNoMarker)
        StripRowToHsb(ActivePage, StripHeight, FrameInset, StripMarkerPos, hsb);
    return hsb;
}

HsbStep CPickerWindow::KeyStepStart() const {
    return StripMarkerPos > kNoMarker ? ReadBackHsb() : CurrentHsb();
}

int CPickerWindow::StripUnits(int pixels) const {
    // The key steps of all pages are measured on the strip, whatever the plane's size.
    return StripHeight >= 1 ? ScalePixelsToFixed(pixels, StripHeight) : 0;
}

// ---- Pointer --------------------------------------------------------------------------------

bool CPickerWindow::OnButtonDown(std::uint32_t keyFlags, int x, int y) {
    x = HoldTo(x, 0, DialogClientRect.Width() - 1);
    y = HoldTo(y, 0, DialogClientRect.Height() - 1);
    WindowHandle target = nullptr;
    if (HasPlane(ActivePage) && PointInRect(PlaneRect, x, y)) {
        DragTarget = kDragPlane;
        target = PlaneWindow;
    } else if (HasPlane(ActivePage) && PointInRect(StripRect, x, y)) {
        DragTarget = kDragStrip;
        target = StripWindow;
    } else if (ActivePage == kPalettePage && PointInRect(PaletteGridRect, x, y)) {
        DragTarget = kDragPaletteGrid;
        target = PaletteGridWindow;
    } else {
        DragTarget = kDragNone;
    }
    // DragTarget is set first: SetFocus runs the focus handlers at once, which repaint the
    // control, and the first step then lands on the fresh surface.
    if (PickerHost* host = HostFor(target))
        host->SetFocus(target);
    if (DragTarget != kDragNone) {
        if (PickerHost* host = HostFor(DialogWindow))
            host->SetCapture(DialogWindow); // moves outside the dialog keep arriving
        OnPointerMove(keyFlags, x, y);      // the press is the first step
    }
    return true;
}

bool CPickerWindow::OnPointerMove(std::uint32_t keyFlags, int x, int y) {
    // Also when capture was lost and DragTarget stayed set.
    if ((keyFlags & kMkLButton) == 0)
        return true;
    x = HoldTo(x, 0, DialogClientRect.Width() - 1);
    y = HoldTo(y, 0, DialogClientRect.Height() - 1);
    // A position in the frame of FrameInset pixels acts on the nearest inner pixel.
    const int m = FrameInset;
    auto inner = [&](const Rect& rect, const Rect& client, int& px, int& py) {
        px = HoldTo(x - rect.left, m, client.Width() - m);
        py = HoldTo(y - rect.top, m, client.Height() - m);
    };
    int px = 0;
    int py = 0;
    switch (DragTarget) {
    case kDragPlane:
        inner(PlaneRect, PlaneClientRect, px, py);
        PlanePointerAt(px, py);
        break;
    case kDragStrip:
        inner(StripRect, StripClientRect, px, py);
        StripPointerAt(px, py);
        break;
    case kDragPaletteGrid:
        inner(PaletteGridRect, PaletteGridClientRect, px, py);
        PaletteGridPointerAt(px, py);
        break;
    default:
        break;
    }
    return true;
}

bool CPickerWindow::OnButtonUp() {
    // Whether a drag ran or not; nothing is painted.
    CubeDragMode = kCubeDragNone;
    DragTarget = kDragNone;
    if (PickerHost* host = HostFor(DialogWindow))
        host->ReleaseCapture();
    return true;
}

void CPickerWindow::PlanePointerAt(int x, int y) {
    switch (ActivePage) {
    case 0:
    case 1:
    case 2: {
        // The plane gives two coordinates, the strip's marker the third; the strip shows the
        // new pair, the plane only moves its marker.
        HsbStep hsb = ReadBackHsb();
        PlanePointToHsb(ActivePage, CurrentPlaneGeometry(), x, y, hsb);
        RepaintStrip(hsb.hue, hsb.saturation);
        SetCurrentColorHsb(hsb.hue, hsb.saturation, hsb.brightness);
        break;
    }
    case 3:
    case 4: {
        const CubePick pick = PickCubeColor(x, y, ActivePage == 3, CubeDragMode, CurrentColor,
                                            CurrentPlaneGeometry());
        CubeDragMode = pick.mode;
        // Unforced: a step that keeps the colour paints nothing.
        SetCurrentColor(PackRgb(pick.colour.red, pick.colour.green, pick.colour.blue), false);
        break;
    }
    default:
        break;
    }
}

void CPickerWindow::StripPointerAt(int, int y) {
    HsbStep hsb;
    switch (ActivePage) {
    case 0:
    case 1:
        hsb = ReadBackHsb();
        StripRowToHsb(ActivePage, StripHeight, FrameInset, y, hsb);
        RepaintPlane(-1, -1, hsb.brightness);
        break;
    case 2:
        hsb = ReadBackHsb();
        StripRowToHsb(ActivePage, StripHeight, FrameInset, y, hsb);
        RepaintPlane(hsb.hue, -1, -1);
        break;
    case 3:
    case 4:
        // The cube's guides are redrawn by the marker step of the colour flow.
        hsb = CurrentHsb();
        StripRowToHsb(ActivePage, StripHeight, FrameInset, y, hsb);
        break;
    default:
        return;
    }
    SetCurrentColorHsb(hsb.hue, hsb.saturation, hsb.brightness);
}

void CPickerWindow::PaletteGridPointerAt(int x, int y) {
    ClampPaletteIndices(false);
    SetPaletteColorIndex(PaletteCellFromPoint(x, y), false);
}

// ---- Keys -----------------------------------------------------------------------------------

bool CPickerWindow::OnPlaneKeyDown(int key) {
    int dx = 0;
    int dy = 0;
    switch (key) {
    case kVkLeft:
        dx = -1;
        break;
    case kVkRight:
        dx = 1;
        break;
    case kVkUp:
        dy = 1;
        break;
    case kVkDown:
        dy = -1;
        break;
    default:
        return false;
    }
    if (ActivePage == 3 || ActivePage == 4) {
        // Right adds blue (yellow on the CMY cube), up adds red (cyan); green has no key. The
        // forced flow repaints also when a limit kept the colour.
        const int sign = ActivePage == 3 ? 1 : -1;
        const int red = HoldTo(RedOf(CurrentColor) + sign * dy, 0, kChannelMax);
        const int blue = HoldTo(BlueOf(CurrentColor) + sign * dx, 0, kChannelMax);
        SetCurrentColor(PackRgb(static_cast<std::uint32_t>(red), GreenOf(CurrentColor),
                                static_cast<std::uint32_t>(blue)),
                        true);
        return false;
    }
    if (ActivePage < 0 || ActivePage > 2)
        return false;

    HsbStep hsb = KeyStepStart();
    switch (ActivePage) {
    case 0:
        hsb.hue = HoldTo(hsb.hue + 2 * dx, 0, kFullHue);
        hsb.saturation = HoldTo(hsb.saturation + dy * StripUnits(1), 0, kFixedUnit);
        break;
    case 1:
        // Right turns clockwise, up moves away from the centre. The hue goes round at the low
        // end only: above 360 it stays at 360.
        hsb.hue -= 2 * dx;
        if (hsb.hue > kFullHue)
            hsb.hue = kFullHue;
        else if (hsb.hue <= -1)
            hsb.hue = kFullHue - 1;
        hsb.saturation = HoldTo(hsb.saturation + dy * StripUnits(2), 0, kFixedUnit);
        break;
    default:
        hsb.saturation = HoldTo(hsb.saturation + dx * StripUnits(1), 0, kFixedUnit);
        hsb.brightness = HoldTo(hsb.brightness + dy * StripUnits(1), 0, kFixedUnit);
        break;
    }
    RepaintStrip(hsb.hue, hsb.saturation);
    SetCurrentColorHsb(hsb.hue, hsb.saturation, hsb.brightness);
    return false;
}

bool CPickerWindow::OnStripKeyDown(int key) {
    int k = 0;
    if (key == kVkUp)
        k = 1;
    else if (key == kVkDown)
        k = -1;
    else
        return false;
    HsbStep hsb;
    switch (ActivePage) {
    case 0:
    case 1:
    case 3:
    case 4:
        // On the cube pages the colour alone gives the start.
        hsb = ActivePage < 2 ? KeyStepStart() : CurrentHsb();
        hsb.brightness = HoldTo(hsb.brightness + k * StripUnits(1), 0, kFixedUnit);
        RepaintPlane(-1, -1, hsb.brightness);
        break;
    case 2:
        // Up moves the marker towards hue 0, at the top of the strip.
        hsb = KeyStepStart();
        hsb.hue = HoldTo(hsb.hue - 2 * k, 0, kFullHue);
        RepaintPlane(hsb.hue, -1, -1);
        break;
    default:
        return false;
    }
    SetCurrentColorHsb(hsb.hue, hsb.saturation, hsb.brightness);
    return false;
}

// ---- Focus, dialog codes, tabs --------------------------------------------------------------

bool CPickerWindow::OnPlaneFocusChange() {
    // The repaint asks who has the focus, so it adds or removes the focus outline.
    RepaintPlane(-1, -1, -1);
    PlacePlaneMarkerForColor(CurrentColor);
    return false;
}

bool CPickerWindow::OnStripFocusChange() {
    RepaintStrip(-1, -1);
    PlaceStripMarkerForColor(CurrentColor);
    return false;
}

int CPickerWindow::OnGetDlgCode() {
    return kDlgcWantArrows;
}

bool CPickerWindow::OnTabSelectionChanged() {
    CubeDragMode = kCubeDragNone;
    PickerHost* host = HostFor(TabWindow);
    if (!host)
        return true;
    // Tab and page are the same number.
    const int selection = host->GetTabSelection(TabWindow);
    if (selection >= 0 && selection < kPageCount)
        SetActivePage(selection);
    return true;
}

} // namespace orrelux
