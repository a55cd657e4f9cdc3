#include "picker/plane_rendering.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace orrelux {

namespace {

// ---------------------------------------------------------------------------------------------
// HsbToRgb taken apart for the plane loops
//
// HsbToRgb picks, by the hue's sextant, which channel is at full brightness, which at the low
// level and which at a level that falls or rises with the fraction of the sextant. Along a row
// or column of a plane some of these are constant, so the loops below compute the three levels
// with the very same unsigned expressions as HsbToRgb, but each only where it changes. The
// tests hold every page against a per-pixel HsbToRgb.

constexpr std::uint32_t kBlackSextant = 6;

struct HueTerms {
    std::uint32_t sextant = 0;  // 0..5, or kBlackSextant for a hue above 360
    std::uint32_t fraction = 0; // 16.16 position inside the sextant
};

HueTerms TermsOfHue(std::uint32_t hue) {
    if (hue > 360)
        return HueTerms{kBlackSextant, 0};
    const std::uint32_t sixth = hue == 360 ? 0 : (hue << 16) / 60; // 359 << 16 fits
    return HueTerms{sixth >> 16, sixth & 0xFFFFu};
}

// Odd sextants carry a falling level, even ones a rising level.
bool IsFalling(std::uint32_t sextant) {
    return (sextant & 1) != 0;
}

// Bit positions in 0x00RRGGBB of the channel at full brightness, the one at the low level and
// the one that varies within the sextant.
struct SextantLayout {
    int fullShift;
    int lowShift;
    int varyingShift;
};

constexpr SextantLayout kLayouts[6] = {
    {16, 0, 8}, // red full, green rising, blue low
    {8, 0, 16}, // red falling, green full, blue low
    {8, 16, 0}, // red low, green full, blue rising
    {0, 16, 8}, // red low, green falling, blue full
    {0, 8, 16}, // red rising, green low, blue full
    {16, 8, 0}, // red full, green low, blue falling
};

// The level expressions of HsbToRgb, in the same unsigned 32-bit arithmetic. The products stay
// below 2^32 for saturation and brightness up to 0x10000; beyond that they wrap exactly as
// HsbToRgb's do.
inline std::uint32_t LowLevel(std::uint32_t saturation, std::uint32_t halfBrightness) {
    return ((kFixedOne - saturation) * halfBrightness) >> 15;
}
inline std::uint32_t FallingLevel(std::uint32_t fraction, std::uint32_t saturation,
                                  std::uint32_t halfBrightness) {
    return ((kFixedOne - ((fraction * saturation) >> 16)) * halfBrightness) >> 15;
}
inline std::uint32_t RisingLevel(std::uint32_t fraction, std::uint32_t halfSaturation,
                                 std::uint32_t halfBrightness) {
    return ((kFixedOne - (((kFixedOne - fraction) * halfSaturation) >> 15)) * halfBrightness) >> 15;
}
// A level as an 8-bit channel, truncated and cut to 8 bits like HsbToRgb's.
inline Pixel Channel(std::uint32_t level) {
    return static_cast<std::uint8_t>((level * 255) >> 16);
}

inline Pixel ToPixel(const RgbChannels& c) {
    return PackRgb(c.red, c.green, c.blue);
}

// The inner area of a plane or strip, clipped to the surface: columns [left, right) and rows
// [top, bottom), in surface coordinates. Empty when right <= left or bottom <= top.
struct Span {
    int left;
    int top;
    int right;
    int bottom;
    bool IsEmpty() const { return right <= left || bottom <= top; }
};

Span ClipToSurface(const Surface& surface, int left, int top, int right, int bottom) {
    if (surface.IsEmpty())
        return Span{0, 0, 0, 0};
    return Span{std::max(left, 0), std::max(top, 0), std::min(right, surface.Width()),
                std::min(bottom, surface.Height())};
}

Span InnerSpan(const Surface& surface, const PlaneGeometry& g) {
    return ClipToSurface(surface, g.inset, g.inset, g.inset + g.width, g.inset + g.height);
}

void FillSurfaceArea(Surface& surface, const PlaneGeometry& g, Pixel background) {
    surface.FillRect(Rect{0, 0, g.SurfaceWidth(), g.SurfaceHeight()}, background);
}

// A run of columns whose hue lies in one sextant.
struct SextantRun {
    int begin; // first column, inner coordinates
    int end;   // excluded
    std::uint32_t sextant;
};

// ---------------------------------------------------------------------------------------------
// Wheel

// The four hues that one position of the wheel's quadrant gives to its mirrored pixels.
struct WheelHues {
    HueTerms terms[4];
};

// Per angle a = 0..90 (whole degrees, as painted): hues 180 - a, 180 + a, 360 - a and a, for
// the pixels P1 (top left), P2 (bottom left), P3 (bottom right) and P4 (top right).
std::vector<WheelHues> BuildWheelHues() {
    std::vector<WheelHues> table(91);
    for (std::uint32_t a = 0; a <= 90; ++a) {
        table[a].terms[0] = TermsOfHue(180 - a);
        table[a].terms[1] = TermsOfHue(180 + a);
        table[a].terms[2] = TermsOfHue(360 - a);
        table[a].terms[3] = TermsOfHue(a);
    }
    return table;
}

const std::vector<WheelHues>& WheelHueTable() {
    static const std::vector<WheelHues> table = BuildWheelHues();
    return table;
}

// The wheel's scattered writes, clipped to the surface. Its figures are held in locals: a
// store through a Pixel pointer could otherwise alias the surface's own fields and make every
// write reload them.
class PixelWriter {
public:
    explicit PixelWriter(Surface& surface)
        : bits_(surface.IsEmpty() ? nullptr : surface.Row(0)), width_(surface.Width()),
          height_(surface.Height()) {}
    // x and y are never negative here: the wheel's columns and rows start at the inset.
    void Put(int x, int y, Pixel value) const {
        if (x < width_ && y < height_)
            bits_[static_cast<std::size_t>(y) * width_ + x] = value;
    }

private:
    Pixel* bits_;
    int width_;
    int height_;
};

inline Pixel BlendChannels(Pixel background, const RgbChannels& colour, std::uint32_t alpha) {
    // Channels are at most 255 and the weights add up to 0x10000: the sum is below 2^24.
    const std::uint32_t beta = kFixedOne - alpha;
    const std::uint32_t red = (((background >> 16) & 0xFF) * beta + colour.red * alpha) >> 16;
    const std::uint32_t green = (((background >> 8) & 0xFF) * beta + colour.green * alpha) >> 16;
    const std::uint32_t blue = ((background & 0xFF) * beta + colour.blue * alpha) >> 16;
    return PackRgb(red, green, blue);
}

// ---------------------------------------------------------------------------------------------
// Cube

// Per channel (background * (0x10000 - w) + colour * w) >> 16; the old pixel isn't read.
Pixel BlendWithBackground(Pixel background, std::uint32_t red, std::uint32_t green,
                          std::uint32_t blue, std::uint32_t weight) {
    return BlendChannels(background,
                         RgbChannels{static_cast<std::uint8_t>(red),
                                     static_cast<std::uint8_t>(green),
                                     static_cast<std::uint8_t>(blue)},
                         weight);
}

// (0xFF0000 - index * step * 255) >> 16 and (index * step * 255) >> 16: a channel that falls or
// rises over a run of 16.16 steps. index * step stays below 0x10000.
inline std::uint32_t RampUp(std::int64_t index, std::int32_t step) {
    return static_cast<std::uint32_t>((index * step * 255) >> 16);
}
inline std::uint32_t RampDown(std::int64_t index, std::int32_t step) {
    return static_cast<std::uint32_t>((0xFF0000 - index * step * 255) >> 16);
}

void PaintCubeWalls(Surface& surface, const PlaneGeometry& g, bool additive) {
    const int edge = g.radius;
    for (int j = 0; j < edge; ++j) {
        const std::uint32_t v = additive ? RampDown(j, g.stepL) : RampUp(j, g.stepL);
        for (int i = 0; i < g.wallColumns; ++i) {
            const std::uint32_t c = additive ? RampUp(i, g.stepN) : RampDown(i, g.stepN);
            const int y =
                static_cast<int>((std::int64_t{i} * g.slopeA) >> 16) - edge + g.centreY + j + 1;
            const std::uint32_t side = additive ? 0 : 255;
            surface.SetPixel(g.centreX - 1 - i, y, PackRgb(v, c, side));
            surface.SetPixel(g.centreX + 1 + i, y, PackRgb(v, side, c));
        }
    }
}

void PaintCubeFloor(Surface& surface, const PlaneGeometry& g, bool additive) {
    const int edge = g.radius;
    const int columns = 2 * g.wallColumns;
    const std::uint32_t base = additive ? 0 : 255;
    for (int j = 0; j < edge; ++j) {
        const std::uint32_t v = additive ? RampUp(j, g.stepL) : RampDown(j, g.stepL);
        const int run = static_cast<int>((std::int64_t{j} * g.slopeB) >> 16);
        for (int i = 0; i < columns; ++i) {
            const std::uint32_t c = additive ? RampUp(i, g.stepN2) : RampDown(i, g.stepN2);
            const int fall = static_cast<int>((std::int64_t{i} * g.slopeA) >> 16);
            // Both halvings truncate towards zero, as C++ integer division does.
            const int x = g.centreX + (run - i) / 2;
            const int y = g.centreY + 1 + (fall + j) / 2;
            surface.SetPixel(x, y, PackRgb(base, c, v));
        }
    }
}

void PaintCubeEdges(Surface& surface, const PlaneGeometry& g, bool additive, Pixel background) {
    const int edge = g.radius;
    for (int i = 0; i < g.wallColumns; ++i) {
        const std::int64_t a = std::int64_t{g.slopeA} * (i + 1);
        const int k = static_cast<int>(a >> 16);
        const std::uint32_t f = static_cast<std::uint32_t>(a & 0xFFFF);
        const std::uint32_t w = kFixedOne - f;
        const int left = g.centreX - 1 - i;
        const int right = g.centreX + 1 + i;
        const std::uint32_t up = RampUp(i, g.stepN);
        const std::uint32_t down = RampDown(i, g.stepN);
        const int top = k - edge + g.centreY;
        const int seam = k + g.centreY;
        const int bottom = edge - k + g.centreY;
        auto put = [&](int x, int y, std::uint32_t r, std::uint32_t gr, std::uint32_t b,
                       std::uint32_t weight) {
            surface.SetPixel(x, y, BlendWithBackground(background, r, gr, b, weight));
        };
        if (additive) {
            put(left, top, 255, up, 0, w);
            put(right, top, 255, 0, up, w);
            put(left, seam, 0, up, 0, f);
            put(right, seam, 0, 0, up, f);
            put(left, seam + 1, 0, up, 0, w);
            put(right, seam + 1, 0, 0, up, w);
            put(left + 1, bottom, 0, 255, down, w);
            put(right - 1, bottom, 0, down, 255, w);
        } else {
            put(left, top, 0, down, 255, w);
            put(right, top, 0, 255, down, w);
            put(left, seam, 255, down, 255, f);
            put(right, seam, 255, 255, down, f);
            put(left, seam + 1, 255, down, 255, w);
            put(right, seam + 1, 255, 255, down, w);
            put(left + 1, bottom, 255, 0, up, w);
            put(right - 1, bottom, 255, up, 0, w);
        }
    }
}

// One step of a blended line: the two pixels that straddle position p across the walk.
void BlendStep(Surface& surface, int walk, double p, bool walkAlongX, Pixel colour) {
    const double base = std::floor(p);
    const double frac = p - base;
    const double inv = 1.0 - frac;
    const int first = static_cast<int>(base);
    auto blend = [&](int across, double oldWeight, double lineWeight) {
        const int x = walkAlongX ? walk : across;
        const int y = walkAlongX ? across : walk;
        const Pixel old = surface.GetPixel(x, y);
        Pixel result = 0;
        for (int shift = 0; shift <= 16; shift += 8) {
            const double o = static_cast<double>((old >> shift) & 0xFF);
            const double l = static_cast<double>((colour >> shift) & 0xFF);
            // o * w1 + l * w2 with w1 + w2 = 1 (rounded) stays below 256.
            result |= static_cast<Pixel>(static_cast<int>(o * oldWeight + l * lineWeight)) << shift;
        }
        surface.SetPixel(x, y, result);
    };
    blend(first, frac, inv);
    blend(first + 1, inv, frac);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// HSB pages

void PaintBrightnessPlane(Surface& surface, const PlaneGeometry& g, std::uint32_t brightness,
                          Pixel background) {
    FillSurfaceArea(surface, g, background);
    const Span span = InnerSpan(surface, g);
    if (span.IsEmpty())
        return;
    // 23592960 is 360 * 65536: the hue step per column in 16.16 degrees. Truncated once, so
    // the last column and row stop a little short of the full range.
    const std::uint32_t stepX = static_cast<std::uint32_t>(23592960.0 / g.width);
    const std::uint32_t stepY = static_cast<std::uint32_t>(65536.0 / g.height);
    const int columns = span.right - g.inset;

    // Per column the hue, hence the sextant and its fraction, is fixed; only the saturation
    // changes down a column. Hues rise with the column, so sextants come in runs, and each run
    // is one loop without a branch.
    std::vector<std::uint32_t> fraction(static_cast<std::size_t>(columns));
    std::vector<SextantRun> runs;
    for (int i = 0; i < columns; ++i) {
        // i * stepX < 23592960: the hue stays at most 359.
        const HueTerms t = TermsOfHue((static_cast<std::uint32_t>(i) * stepX) >> 16);
        fraction[i] = t.fraction;
        if (runs.empty() || runs.back().sextant != t.sextant)
            runs.push_back(SextantRun{i, i, t.sextant});
        runs.back().end = i + 1;
    }

    const std::uint32_t halfBrightness = brightness >> 1;
    const Pixel full = Channel(brightness);
    for (int y = span.top; y < span.bottom; ++y) {
        // (y - m) * stepY < 0x10000: the saturation stays positive.
        const std::uint32_t s = kFixedOne - static_cast<std::uint32_t>(y - g.inset) * stepY;
        const std::uint32_t halfS = s >> 1;
        const Pixel low = Channel(LowLevel(s, halfBrightness));
        Pixel* row = surface.Row(y) + g.inset;
        for (const SextantRun& run : runs) {
            const SextantLayout& layout = kLayouts[run.sextant];
            const Pixel fixed = (full << layout.fullShift) | (low << layout.lowShift);
            const int shift = layout.varyingShift;
            if (IsFalling(run.sextant)) {
                for (int i = run.begin; i < run.end; ++i)
                    row[i] =
                        fixed | (Channel(FallingLevel(fraction[i], s, halfBrightness)) << shift);
            } else {
                for (int i = run.begin; i < run.end; ++i)
                    row[i] =
                        fixed | (Channel(RisingLevel(fraction[i], halfS, halfBrightness)) << shift);
            }
        }
    }
}

void PaintHuePlane(Surface& surface, const PlaneGeometry& g, std::uint32_t hue, Pixel background) {
    FillSurfaceArea(surface, g, background);
    const Span span = InnerSpan(surface, g);
    if (span.IsEmpty())
        return;
    const HueTerms hueTerms = TermsOfHue(hue);
    if (hueTerms.sextant == kBlackSextant) {
        surface.FillRect(Rect{span.left, span.top, span.right, span.bottom}, 0);
        return;
    }
    const std::uint32_t stepX = static_cast<std::uint32_t>(65536.0 / g.width);
    const std::uint32_t stepY = static_cast<std::uint32_t>(65536.0 / g.height);
    const int columns = span.right - g.inset;
    const SextantLayout& layout = kLayouts[hueTerms.sextant];
    const bool falling = IsFalling(hueTerms.sextant);
    const std::uint32_t fraction = hueTerms.fraction;

    // Per column the saturation is fixed: keep the two factors that HsbToRgb multiplies by
    // half the brightness, for the low level and for the varying one.
    std::vector<std::uint32_t> lowFactor(static_cast<std::size_t>(columns));
    std::vector<std::uint32_t> varyingFactor(static_cast<std::size_t>(columns));
    for (int i = 0; i < columns; ++i) {
        const std::uint32_t s = static_cast<std::uint32_t>(i) * stepX; // below 0x10000
        lowFactor[i] = kFixedOne - s;
        varyingFactor[i] = falling ? kFixedOne - ((fraction * s) >> 16)
                                   : kFixedOne - (((kFixedOne - fraction) * (s >> 1)) >> 15);
    }

    for (int y = span.top; y < span.bottom; ++y) {
        const std::uint32_t v = kFixedOne - static_cast<std::uint32_t>(y - g.inset) * stepY;
        const std::uint32_t halfV = v >> 1;
        const Pixel full = Channel(v) << layout.fullShift;
        Pixel* row = surface.Row(y) + g.inset;
        for (int i = 0; i < columns; ++i)
            row[i] = full | (Channel((lowFactor[i] * halfV) >> 15) << layout.lowShift) |
                     (Channel((varyingFactor[i] * halfV) >> 15) << layout.varyingShift);
    }
}

WheelLayout::WheelLayout(const PlaneGeometry& geometry) : geometry_(geometry) {
    // With a radius below one pixel the disc has no rim and its centre no saturation.
    if (!geometry.HasWheel())
        return;
    const int m = geometry.inset;
    const int cx = geometry.centreX;
    const int cy = geometry.centreY;
    const int radius = geometry.radius;
    const double radiusD = radius;
    // d > R and d > R - 1 compared on the squares: sqrt is correctly rounded and monotonic, so
    // for whole numbers the comparisons agree exactly with those on the root.
    const int outsideSquare = radius * radius;
    const int rimSquare = (radius - 1) * (radius - 1);
    positions_.resize(static_cast<std::size_t>(cx - m + 1) * (cy - m + 1));
    Position* position = positions_.data();
    for (int dy = cy - m; dy >= 0; --dy)
        for (int dx = cx - m; dx >= 0; --dx, ++position) {
            const int square = dx * dx + dy * dy;
            if (square > outsideSquare) {
                *position = Position{0, 0, 0, Kind::Outside};
                continue;
            }
            const double d = std::sqrt(static_cast<double>(square));
            const auto saturation = static_cast<std::uint32_t>(d / radiusD * 65536.0);
            // atan2 of a point in the first quadrant lies in 0..pi/2, so the angle is 0..90
            // (90.05 truncated on the vertical axis); the clamp only guards the hue table.
            const int angle = std::clamp(
                static_cast<int>(std::atan2(static_cast<double>(dy), static_cast<double>(dx)) *
                                 kPaintedDegreesPerRadian),
                0, 90);
            if (square > rimSquare) {
                // Alpha is 0 at d = R and rises towards 0x10000 as d falls towards R - 1.
                const auto alpha = static_cast<std::uint16_t>((std::ceil(d) - d) * 65536.0);
                *position =
                    Position{saturation, alpha, static_cast<std::uint8_t>(angle), Kind::Rim};
            } else {
                *position = Position{saturation, 0, static_cast<std::uint8_t>(angle), Kind::Inside};
            }
        }
}

void PaintWheelPlane(Surface& surface, const WheelLayout& layout, std::uint32_t brightness,
                     Pixel background) {
    const PlaneGeometry& g = layout.geometry_;
    FillSurfaceArea(surface, g, background);
    if (layout.positions_.empty() || surface.IsEmpty())
        return;
    const int m = g.inset;
    const std::uint32_t halfBrightness = brightness >> 1;
    const Pixel full = Channel(brightness);
    const std::vector<WheelHues>& hues = WheelHueTable();
    const WheelLayout::Position* position = layout.positions_.data();
    const PixelWriter out(surface);

    // Only the top left quadrant is computed; each position gives four mirrored pixels, written
    // in a fixed order. When W or H is even the middle two columns or rows are written twice
    // and keep the later value, that of the position on the axis: the loops keep that order.
    for (int y = m; y <= g.centreY; ++y) {
        const int y2 = 2 * m + g.height - 1 - y;
        for (int x = m; x <= g.centreX; ++x, ++position) {
            const int x2 = 2 * m + g.width - 1 - x;
            const int pxs[4] = {x, x, x2, x2};
            const int pys[4] = {y, y2, y2, y};
            if (position->kind == WheelLayout::Kind::Outside) {
                for (int p = 0; p < 4; ++p)
                    out.Put(pxs[p], pys[p], background);
                continue;
            }
            const std::uint32_t s = position->saturation;
            const std::uint32_t a = position->angle;
            if (position->kind == WheelLayout::Kind::Rim) {
                const std::uint32_t hueOf[4] = {180 - a, 180 + a, 360 - a, a};
                for (int p = 0; p < 4; ++p)
                    out.Put(pxs[p], pys[p],
                            BlendChannels(background, HsbToRgb(hueOf[p], s, brightness),
                                          position->alpha));
                continue;
            }
            const HueTerms* terms = hues[a].terms;
            const std::uint32_t halfS = s >> 1;
            const Pixel low = Channel(LowLevel(s, halfBrightness));
            for (int p = 0; p < 4; ++p) {
                const HueTerms& t = terms[p];
                const SextantLayout& places = kLayouts[t.sextant];
                const std::uint32_t level = IsFalling(t.sextant)
                                                ? FallingLevel(t.fraction, s, halfBrightness)
                                                : RisingLevel(t.fraction, halfS, halfBrightness);
                out.Put(pxs[p], pys[p],
                        (full << places.fullShift) | (low << places.lowShift) |
                            (Channel(level) << places.varyingShift));
            }
        }
    }
}

void PaintWheelPlane(Surface& surface, const PlaneGeometry& geometry, std::uint32_t brightness,
                     Pixel background) {
    PaintWheelPlane(surface, WheelLayout(geometry), brightness, background);
}

// ---------------------------------------------------------------------------------------------
// Cube pages

void PaintCube(Surface& surface, const PlaneGeometry& g, bool additive, Pixel background,
               Pixel axisColor) {
    FillSurfaceArea(surface, g, background);
    if (!g.HasCube())
        return;
    // Walls, floor, edges: later writes replace earlier ones.
    PaintCubeWalls(surface, g, additive);
    PaintCubeFloor(surface, g, additive);
    PaintCubeEdges(surface, g, additive, background);
    if (!additive) {
        const int cx = g.centreX;
        const int cy = g.centreY;
        DrawBlendedLine(surface, cx, cy, cx, cy - g.radius, axisColor);
        DrawBlendedLine(surface, cx, cy, cx - g.wallColumns, cy + g.axisFall, axisColor);
        DrawBlendedLine(surface, cx, cy, cx + g.wallColumns, cy + g.axisFall, axisColor);
    }
}

CubeGuidePoints CubeGuidesFor(const PlaneGeometry& g, RgbColor color, bool additive) {
    const RgbChannels c = UnpackRgb(color);
    // Amounts along the axes: red, green, blue on the RGB cube; cyan, magenta, yellow on CMY.
    const double ar = additive ? c.red : 255 - c.red;
    const double ag = additive ? c.green : 255 - c.green;
    const double ab = additive ? c.blue : 255 - c.blue;
    // A quarter pixel short of the edge, so full channels end on the cube's outline.
    const double e = g.radius - 0.25;
    const double ex = std::cos(kPaintedThirtyDegrees) * e;
    const double ey = e * 0.5;
    constexpr double kPerChannel = 0.00392156862745098; // 1 / 255
    const int gx = RoundToInt(ag * ex * kPerChannel);
    const int bx = RoundToInt(ab * ex * kPerChannel);
    const int rh = RoundToInt(ar * e * kPerChannel);

    CubeGuidePoints points;
    points.greenY = RoundToInt(ag * ey * kPerChannel);
    points.blueY = RoundToInt(ab * ey * kPerChannel);
    points.top = g.centreY - rh - 1;
    points.greenX = g.centreX - gx;
    points.blueX = g.centreX + bx;
    points.farX = g.centreX - gx + bx;
    return points;
}

void DrawCubeGuides(Surface& surface, const PlaneGeometry& g, RgbColor color, bool additive) {
    const CubeGuidePoints p = CubeGuidesFor(g, color, additive);
    const Pixel line = additive ? 0xFFFFFFu : 0u;
    const int cx = g.centreX;
    const int cy = g.centreY;
    const int top = p.top + 1;
    const int gy = p.greenY;
    const int by = p.blueY;

    // The top of the box, its far side, its foot on the floor, then the three uprights.
    DrawBlendedLine(surface, cx, top, p.greenX, top + gy, line);
    DrawBlendedLine(surface, cx, top, p.blueX, top + by, line);
    DrawBlendedLine(surface, p.greenX, top + gy, p.farX, top + gy + by, line);
    DrawBlendedLine(surface, p.blueX, top + by, p.farX, top + gy + by, line);
    DrawBlendedLine(surface, p.greenX, cy + gy, p.farX, cy + gy + by, line);
    DrawBlendedLine(surface, p.blueX, cy + by, p.farX, cy + gy + by, line);
    DrawBlendedLine(surface, p.blueX, top + by, p.blueX, cy + by, line);
    DrawBlendedLine(surface, p.farX, top + gy + by, p.farX, cy + gy + by, line);
    DrawBlendedLine(surface, p.greenX, top + gy, p.greenX, cy + gy, line);

    InvertPlaneMarkerRing(surface, cx, p.top);
    InvertPlaneMarkerRing(surface, p.greenX, cy + gy + 1);
    InvertPlaneMarkerRing(surface, p.blueX + 1, cy + by + 1);
}

void DrawBlendedLine(Surface& surface, int x1, int y1, int x2, int y2, Pixel colour) {
    if (x1 == x2) {
        for (int y = std::min(y1, y2), last = std::max(y1, y2); y <= last; ++y)
            surface.SetPixel(x1, y, colour);
        return;
    }
    if (y1 == y2) {
        for (int x = std::min(x1, x2), last = std::max(x1, x2); x <= last; ++x)
            surface.SetPixel(x, y1, colour);
        return;
    }
    const double dx = static_cast<double>(x2) - x1;
    const double dy = static_cast<double>(y2) - y1;
    const bool alongX = std::fabs(dx) > std::fabs(dy);
    // Walk the longer axis one pixel a step; p is the exact position across it.
    const int from = alongX ? x1 : y1;
    const int to = alongX ? x2 : y2;
    double p = alongX ? y1 : x1;
    const double slope = alongX ? dy / dx : dx / dy;
    if (from < to) {
        for (int walk = from;; ++walk) {
            BlendStep(surface, walk, p, alongX, colour);
            if (walk == to)
                break;
            p += slope;
        }
    } else {
        for (int walk = from;; --walk) {
            BlendStep(surface, walk, p, alongX, colour);
            if (walk == to)
                break;
            p -= slope;
        }
    }
}

void InvertPlaneMarkerRing(Surface& surface, int x, int y) {
    // The 5 by 5 middle is inverted twice and stays as it was.
    surface.InvertRect(Rect{x - 2, y - 2, x + 3, y + 3});
    surface.InvertRect(Rect{x - 3, y - 3, x + 4, y + 4});
}

// ---------------------------------------------------------------------------------------------
// Strip

void PaintStripRamp(Surface& surface, const StripGeometry& g, int page, std::uint32_t hue,
                    std::uint32_t saturation, Pixel background) {
    surface.FillRect(Rect{0, 0, g.SurfaceWidth(), g.SurfaceHeight()}, background);
    if (page < 0 || page > 4 || g.height <= 0)
        return;
    const Span span =
        ClipToSurface(surface, g.RampLeft(), g.inset, g.RampRight(), g.inset + g.height);
    if (span.IsEmpty())
        return;
    const bool allHues = page == 2;
    // 23592960 is 360 * 65536: hue 0 at the top to nearly 360 at the bottom. Otherwise the
    // brightness falls from full to nearly 0. Both steps are truncated once.
    const std::uint32_t step =
        static_cast<std::uint32_t>((allHues ? 23592960.0 : 65536.0) / g.height);
    for (int y = span.top; y < span.bottom; ++y) {
        const std::uint32_t travelled = static_cast<std::uint32_t>(y - g.inset) * step;
        const Pixel colour = allHues ? ToPixel(HsbToRgb(travelled >> 16, kFixedOne, kFixedOne))
                                     : ToPixel(HsbToRgb(hue, saturation, kFixedOne - travelled));
        std::fill(surface.Row(y) + span.left, surface.Row(y) + span.right, colour);
    }
}

} // namespace orrelux
