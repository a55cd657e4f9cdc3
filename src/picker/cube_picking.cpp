#include "picker/cube_picking.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace orrelux {

namespace {

// The picking measures in true angles, unlike the painting: the tangent of pi / 6 and the
// bearing's 3 pi / 2 and 180 / pi.
constexpr double kPiOverSix = 0.5235987755982988;
constexpr double kThreeHalvesPi = 4.71238898038469;
constexpr double kDegreesPerRadian = 57.29577951308232;

// trunc(v), held far inside the int range first so that no position, however wild, makes the
// conversion undefined. Every caller clamps the result to a channel afterwards, so the hold
// changes nothing that can be seen.
int Trunc(double value) {
    if (!(value > -1.0e6))
        return -1000000;
    if (value > 1.0e6)
        return 1000000;
    return static_cast<int>(value);
}

int ClampChannel(int value) {
    return std::clamp(value, 0, 255);
}

enum class Face { RightWall, Floor, LeftWall };

// The three boundaries between the faces run along the axes.
Face FaceAt(int bearing) {
    if (bearing <= 119)
        return Face::RightWall;
    if (bearing <= 240)
        return Face::Floor;
    return Face::LeftWall;
}

// Channel along a wall axis from the distance to the vertical axis, one channel step short:
// -2 - trunc(-z) is trunc(z) - 2.
int AlongWallAxis(double across, double wallWidth) {
    return ClampChannel(-2 - Trunc(across * -255.0 / wallWidth));
}

} // namespace

int CubeBearing(int x, int y, const PlaneGeometry& g) {
    const double dx = static_cast<double>(g.centreX) - x;
    const double dy = static_cast<double>(g.centreY) - y;
    return RoundToInt(NormalizeDegrees((std::atan2(dy, dx) + kThreeHalvesPi) * kDegreesPerRadian));
}

CubePick PickCubeColor(int x, int y, bool additive, int dragMode, RgbColor current,
                       const PlaneGeometry& g) {
    const double edge = g.radius;
    // The wall's width as painted (3.14-based cosine), not truncated; the true tangent.
    const double wallWidth = std::cos(kPaintedThirtyDegrees) * edge;
    const double t = std::tan(kPiOverSix);
    // Positive to the left of the centre and above it.
    const double dx = static_cast<double>(g.centreX) - x;
    const double dy = static_cast<double>(g.centreY) - y;
    const double ax = std::fabs(dx);
    const int bearing = CubeBearing(x, y, g);

    // On the CMY cube the values are amounts of cyan, magenta and yellow.
    auto out = [additive](int value) { return additive ? value : 255 - value; };
    const int base = out(0);
    int red = base;
    int green = base;
    int blue = base;
    const RgbChannels now = UnpackRgb(current);

    // Distances along the floor axes, in coordinates from the centre with y downwards: (P, -Pt)
    // is the point's projection on the left axis along the right one, (Q, Qt) on the right axis
    // along the left one. d1 measures blue, d2 green.
    const double floorX = -dx;
    const double floorY = std::fabs(dy);
    const double p = -(t * dx + floorY) / (2 * t);
    const double q = (floorY - t * dx) / (2 * t);
    const double d1 = std::sqrt((floorX - p) * (floorX - p) + (floorY + p * t) * (floorY + p * t));
    const double d2 = std::sqrt((floorX - q) * (floorX - q) + (floorY - q * t) * (floorY - q * t));

    int mode = dragMode;
    if (dragMode == kCubeDragNone || dragMode == kCubeDragRightWall || dragMode == kCubeDragFloor ||
        dragMode == kCubeDragLeftWall) {
        const Face face = FaceAt(bearing);
        // Near: the channel just stored is within 10 steps of the current colour's, i.e. the
        // pointer is close to that axis' marker.
        auto near = [](int stored, int held) { return std::abs(stored - held) < 10; };
        if (face == Face::Floor) {
            const int a = ClampChannel(Trunc(d1 * 255.0 / edge));
            const int b = ClampChannel(Trunc(d2 * 255.0 / edge));
            blue = out(a);
            green = out(b);
            if (dragMode != kCubeDragNone)
                mode = kCubeDragFloor;
            else if (b < 15 && near(blue, now.blue) && b <= a)
                mode = kCubeDragRightAxis;
            else if (a < 15 && near(green, now.green))
                mode = kCubeDragLeftAxis;
            else
                mode = kCubeDragFloor;
        } else {
            const bool right = face == Face::RightWall;
            // a grows away from the vertical axis, b up the wall.
            const int a = ClampChannel(-1 - Trunc(ax * -255.0 / wallWidth));
            const int b = ClampChannel(-2 - Trunc((t * ax + dy + 1.0) * -255.0 / edge));
            int& across = right ? blue : green;
            const int acrossNow = right ? now.blue : now.green;
            across = out(a);
            red = out(b);
            const int wallMode = right ? kCubeDragRightWall : kCubeDragLeftWall;
            const int axisMode = right ? kCubeDragRightAxis : kCubeDragLeftAxis;
            if (dragMode != kCubeDragNone)
                mode = wallMode;
            else if (a < 15 && near(red, now.red) && b >= a)
                mode = kCubeDragVerticalAxis;
            else if (b < 15 && near(across, acrossNow))
                mode = axisMode;
            else
                mode = wallMode;
        }
    }

    // An axis drag moves its channel only: by row on the vertical axis, by column on the wall
    // that a floor axis bounds, by projection over the floor, and to the base beyond.
    if (mode == kCubeDragVerticalAxis) {
        red = out(ClampChannel(-2 - Trunc((dy + 1.0) * -255.0 / edge)));
        green = now.green;
        blue = now.blue;
    } else if (mode == kCubeDragRightAxis) {
        int v = 0;
        if (bearing <= 120)
            v = AlongWallAxis(ax, wallWidth);
        else if (bearing <= 240)
            v = ClampChannel(Trunc(d1 * 255.0 / edge));
        blue = out(v);
        red = now.red;
        green = now.green;
    } else if (mode == kCubeDragLeftAxis) {
        int v = 0;
        if (bearing >= 240 && bearing <= 359)
            v = AlongWallAxis(ax, wallWidth);
        else if (bearing >= 121 && bearing <= 239)
            v = ClampChannel(Trunc(d2 * 255.0 / edge));
        green = out(v);
        red = now.red;
        blue = now.blue;
    }

    return CubePick{RgbChannels{static_cast<std::uint8_t>(red), static_cast<std::uint8_t>(green),
                                static_cast<std::uint8_t>(blue)},
                    mode};
}

} // namespace orrelux
