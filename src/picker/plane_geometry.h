// Geometry of the picker's plane and strip, derived once from their inner sizes.
//
// The plane's renderers, the cube picking and the marker placement all work from the same
// figures (centre, wheel radius, cube edge, slopes and 16.16 steps), so they are computed here in
// one place. Each figure is truncated exactly once, the way the pictures were first drawn: two
// implementations must agree to the last unit.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace orrelux {

// 30 and 60 degrees as the planes are painted, built on 3.14 rather than pi (pi / 6 would be
// 0.5235987755982988). The cube's picture and its guides use these.
constexpr double kPaintedThirtyDegrees = 0.5233333333333333;
constexpr double kPaintedSixtyDegrees = 1.0466666666666666;
// 180 / 3.14 and 3.14 / 180: the wheel's angle factors, painting and marker placement.
constexpr double kPaintedDegreesPerRadian = 57.324840764331206;
constexpr double kPaintedRadiansPerDegree = 0.017444444444444446;

// The plane: W x H inner pixels inside a frame of m pixels, so the surface is W + 2m by H + 2m.
struct PlaneGeometry {
    int width = 0;      // W
    int height = 0;     // H
    int inset = 0;      // m
    int halfWidth = 0;  // trunc(W / 2)
    int halfHeight = 0; // trunc(H / 2)
    // min(halfW, halfH) - 1: the wheel's radius R and the cube's edge L are the same figure.
    int radius = -1;
    int centreX = 0; // cx = halfW + m
    int centreY = 0; // cy = halfH + m

    // The cube, drawn from a corner at the centre. Zero where the edge is too short for a cube.
    int wallColumns = 0;       // n = trunc(cos(30 degrees as painted) * L): columns of a wall
    std::int32_t slopeA = 0;   // 16.16 fall per column along a wall
    std::int32_t slopeB = 0;   // 16.16 run per row along the floor
    std::int32_t stepN = 0;    // 16.16 step per wall column, 65536 / n
    std::int32_t stepN2 = 0;   // 16.16 step per floor column, 65536 / 2n
    std::int32_t stepL = 0;    // 16.16 step per row, 65536 / L
    std::int32_t axisFall = 0; // (slopeA * n) >> 16: rows from the centre to a floor axis' end

    // Negative sizes count as 0.
    static PlaneGeometry FromInnerSize(int width, int height, int inset) {
        PlaneGeometry g;
        g.width = std::max(width, 0);
        g.height = std::max(height, 0);
        g.inset = std::max(inset, 0);
        g.halfWidth = g.width / 2;
        g.halfHeight = g.height / 2;
        g.radius = std::min(g.halfWidth, g.halfHeight) - 1;
        g.centreX = g.halfWidth + g.inset;
        g.centreY = g.halfHeight + g.inset;
        g.slopeA = static_cast<std::int32_t>(std::tan(kPaintedThirtyDegrees) * 65536.0);
        g.slopeB = static_cast<std::int32_t>(std::tan(kPaintedSixtyDegrees) * 65536.0);
        if (g.radius >= 1)
            g.wallColumns = static_cast<int>(std::cos(kPaintedThirtyDegrees) * g.radius);
        if (g.wallColumns >= 1) {
            g.stepN = static_cast<std::int32_t>(65536.0 / g.wallColumns);
            g.stepN2 = static_cast<std::int32_t>(65536.0 / (2 * g.wallColumns));
            g.stepL = static_cast<std::int32_t>(65536.0 / g.radius);
            // slopeA < 0x10000 and n < L, so the product stays below 2^31 for any plane that
            // fits on a screen (n < 32768).
            g.axisFall = (g.slopeA * g.wallColumns) >> 16;
        }
        return g;
    }

    int SurfaceWidth() const { return width + 2 * inset; }
    int SurfaceHeight() const { return height + 2 * inset; }
    // The wheel needs a radius of one pixel; a smaller plane shows only its background.
    bool HasWheel() const { return radius >= 1; }
    // The cube needs a wall at least one column wide (an edge of 2 pixels or more).
    bool HasCube() const { return wallColumns >= 1; }
};

// The strip: Ws x Hs inner pixels inside a frame of m pixels. Its ramp stays 2 pixels inside
// the inner width on either side, so the strip marker, which reaches beyond the ramp, has
// background to stand on.
struct StripGeometry {
    int width = 0;  // Ws
    int height = 0; // Hs
    int inset = 0;  // m

    // Negative sizes count as 0.
    static StripGeometry FromInnerSize(int width, int height, int inset) {
        return StripGeometry{std::max(width, 0), std::max(height, 0), std::max(inset, 0)};
    }

    int SurfaceWidth() const { return width + 2 * inset; }
    int SurfaceHeight() const { return height + 2 * inset; }
    int RampLeft() const { return inset + 2; }
    // Excluded; equal to RampLeft or less when the strip is 4 pixels wide or narrower.
    int RampRight() const { return inset + width - 2; }
};

// An angle in degrees brought into 0..360: whole turns are removed from the whole degrees and
// the fraction is kept. A negative angle is mirrored, so 360 itself comes back only for a
// negative multiple of 360. fmod is exact on a whole-valued double, so this equals the integer
// remainder for every angle an int can hold, and stays defined beyond.
inline double NormalizeDegrees(double angle) {
    if (angle < 0.0)
        return 360.0 - NormalizeDegrees(-angle);
    const double whole = std::floor(angle);
    return std::fmod(whole, 360.0) + (angle - whole);
}

} // namespace orrelux
