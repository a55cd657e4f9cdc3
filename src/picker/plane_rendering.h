// Renderers of the picker's plane and strip: pure functions that paint a Surface.
//
// Every pixel is 0x00RRGGBB (see surface.h); the background comes in the same form. The
// pictures follow exact integer recipes, down to the order in which overlapping writes land,
// because marker placement and pointer picking read positions back against them. The plane and
// strip are repainted whole on every step of a drag, so the HSB pages are computed row by row
// with what is constant along a row or column taken out of the inner loops; the results equal a
// per-pixel HsbToRgb to the last bit.
//
// No function writes outside the surface: all writes are clipped to it, whatever the geometry.
#pragma once

#include "colour/colour_values.h"
#include "picker/plane_geometry.h"
#include "picker/surface.h"

#include <cstdint>
#include <vector>

namespace orrelux {

// HSB brightness page: hue rising to the right, saturation falling downwards, at a fixed
// brightness (16.16). Fills the whole surface area of the geometry with the background first.
void PaintBrightnessPlane(Surface& surface, const PlaneGeometry& geometry, std::uint32_t brightness,
                          Pixel background);

// The wheel's figures for each position of its top left quadrant: distance (as saturation),
// angle and rim blend. They depend on the plane's size only, and their square root and atan2
// are most of the wheel's cost, so the picker keeps one layout for its plane and repaints from
// it at every brightness.
class WheelLayout {
public:
    explicit WheelLayout(const PlaneGeometry& geometry);
    const PlaneGeometry& Geometry() const { return geometry_; }

private:
    friend void PaintWheelPlane(Surface&, const WheelLayout&, std::uint32_t, Pixel);
    enum class Kind : std::uint8_t { Outside, Rim, Inside };
    struct Position {
        std::uint32_t saturation; // trunc(d / R * 65536), 0..0x10000
        std::uint16_t alpha;      // rim only: trunc((ceil(d) - d) * 65536), below 0x10000
        std::uint8_t angle;       // trunc(atan2(dy, dx) * 180 / 3.14), 0..90
        Kind kind;
    };
    PlaneGeometry geometry_;
    // Row by row from m to cy, each from column m to cx; empty without a wheel.
    std::vector<Position> positions_;
};

// HSB wheel page: a disc of hue (angle, counter-clockwise from red at the right) and saturation
// (distance from the centre) at a fixed brightness, its rim blended into the background over
// one pixel.
void PaintWheelPlane(Surface& surface, const WheelLayout& layout, std::uint32_t brightness,
                     Pixel background);
// The same with a layout made for this one call.
void PaintWheelPlane(Surface& surface, const PlaneGeometry& geometry, std::uint32_t brightness,
                     Pixel background);

// HSB hue page: saturation rising to the right, brightness falling downwards, at a fixed hue in
// whole degrees (above 360 paints black).
void PaintHuePlane(Surface& surface, const PlaneGeometry& geometry, std::uint32_t hue,
                   Pixel background);

// The colour cube seen from inside, corner at the centre: the RGB cube when additive, else the
// CMY cube, which also gets its three axes in axisColor. The image doesn't depend on the
// current colour, so the picker paints it once per page into a surface of its own and copies
// it before drawing the guides.
void PaintCube(Surface& surface, const PlaneGeometry& geometry, bool additive, Pixel background,
               Pixel axisColor);

// Where the guides of a colour stand on the cube: the top of the box, its near corners on the
// floor axes and its far corner.
struct CubeGuidePoints {
    int top = 0;    // Y: one row above the top of the box on the vertical axis
    int greenX = 0; // Xg, on the left axis
    int blueX = 0;  // Xb, on the right axis
    int farX = 0;   // Xc = Xg + Xb - cx
    int greenY = 0; // gy: rows the left axis falls from the centre to Xg
    int blueY = 0;  // by: rows the right axis falls from the centre to Xb
};
CubeGuidePoints CubeGuidesFor(const PlaneGeometry& geometry, RgbColor color, bool additive);

// The wire-frame box from the cube's centre corner to color, in white on the RGB cube and black
// on the CMY cube, and the three axis markers. Draws over what the surface holds (normally a
// fresh copy of the cube).
void DrawCubeGuides(Surface& surface, const PlaneGeometry& geometry, RgbColor color, bool additive);

// A line of two-pixel coverage: each step along the longer axis blends the colour into the two
// pixels that straddle the exact position, reading what they hold. Vertical and horizontal
// lines are written plainly. Both ends are included.
void DrawBlendedLine(Surface& surface, int x1, int y1, int x2, int y2, Pixel colour);

// The plane marker: a square ring one pixel thick, 7 by 7 outside, centred on (x, y), drawn by
// inverting two squares. Drawing it again at the same place erases it.
void InvertPlaneMarkerRing(Surface& surface, int x, int y);

// The strip: background everywhere, then the ramp by page. Page 2 shows all hues at full
// saturation and brightness; pages 0, 1, 3 and 4 the brightness ramp at the given hue and
// saturation; any other page only the background. HsbToRgb runs once per row.
void PaintStripRamp(Surface& surface, const StripGeometry& geometry, int page, std::uint32_t hue,
                    std::uint32_t saturation, Pixel background);

} // namespace orrelux
