#include "picker/plane_rendering.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace orrelux {
namespace {

constexpr Pixel kGrey = 0x00C0C0C0;
constexpr Pixel kTeal = 0x00308090;

Pixel Packed(const RgbChannels& c) {
    return PackRgb(c.red, c.green, c.blue);
}

// An exact-size surface inside a buffer with canaries before and after, so that a stray write
// shows even without AddressSanitizer.
class GuardedSurface {
public:
    GuardedSurface(int width, int height)
        : storage_(static_cast<std::size_t>(width) * height + 2 * kGuard, kCanary),
          surface_(storage_.data() + kGuard, width, height) {
        surface_.FillRect(surface_.Bounds(), 0);
    }
    Surface& Get() { return surface_; }
    bool CanariesIntact() const {
        for (std::size_t i = 0; i < kGuard; ++i)
            if (storage_[i] != kCanary || storage_[storage_.size() - 1 - i] != kCanary)
                return false;
        return true;
    }

private:
    static constexpr std::size_t kGuard = 64;
    static constexpr Pixel kCanary = 0xDEADBEEF;
    std::vector<Pixel> storage_;
    Surface surface_;
};

// "" when equal, else the first differing pixel.
std::string FirstDifference(const Surface& actual, const Surface& expected) {
    for (int y = 0; y < expected.Height(); ++y)
        for (int x = 0; x < expected.Width(); ++x)
            if (actual.GetPixel(x, y) != expected.GetPixel(x, y)) {
                char text[96];
                std::snprintf(text, sizeof text, "(%d, %d): %06X, expected %06X", x, y,
                              actual.GetPixel(x, y), expected.GetPixel(x, y));
                return text;
            }
    return "";
}

// Reference pages: the recipes step by step, one HsbToRgb per pixel, sizes derived afresh.

void ReferenceBrightnessPlane(Surface& s, int w, int h, int m, std::uint32_t b, Pixel bg) {
    s.FillRect(Rect{0, 0, w + 2 * m, h + 2 * m}, bg);
    const auto stepX = static_cast<std::uint32_t>(23592960.0 / w);
    const auto stepY = static_cast<std::uint32_t>(65536.0 / h);
    std::uint32_t sat = 0x10000;
    for (int y = m; y < m + h; ++y, sat -= stepY) {
        std::uint32_t a = 0;
        for (int x = m; x < m + w; ++x, a += stepX)
            s.SetPixel(x, y, Packed(HsbToRgb(a >> 16, sat, b)));
    }
}

void ReferenceHuePlane(Surface& s, int w, int h, int m, std::uint32_t hue, Pixel bg) {
    s.FillRect(Rect{0, 0, w + 2 * m, h + 2 * m}, bg);
    const auto stepX = static_cast<std::uint32_t>(65536.0 / w);
    const auto stepY = static_cast<std::uint32_t>(65536.0 / h);
    std::uint32_t v = 0x10000;
    for (int y = m; y < m + h; ++y, v -= stepY) {
        std::uint32_t a = 0;
        for (int x = m; x < m + w; ++x, a += stepX)
            s.SetPixel(x, y, Packed(HsbToRgb(hue, a, v)));
    }
}

void ReferenceWheelPlane(Surface& s, int w, int h, int m, std::uint32_t b, Pixel bg) {
    s.FillRect(Rect{0, 0, w + 2 * m, h + 2 * m}, bg);
    const int r = std::min(w / 2, h / 2) - 1;
    const int cx = w / 2 + m;
    const int cy = h / 2 + m;
    for (int y = m; y <= cy; ++y)
        for (int x = m; x <= cx; ++x) {
            const int dx = cx - x;
            const int dy = cy - y;
            const int x2 = 2 * m + w - 1 - x;
            const int y2 = 2 * m + h - 1 - y;
            const double d = std::sqrt(static_cast<double>(dx * dx + dy * dy));
            if (d > r) {
                const int order[4][2] = {{x, y}, {x2, y2}, {x, y2}, {x2, y}};
                for (const auto& p : order)
                    s.SetPixel(p[0], p[1], bg);
                continue;
            }
            const auto sat = static_cast<std::uint32_t>(d / r * 65536.0);
            const auto a = static_cast<std::uint32_t>(std::atan2(dy, dx) * 57.324840764331206);
            const int px[4] = {x, x, x2, x2};
            const int py[4] = {y, y2, y2, y};
            const std::uint32_t hue[4] = {180 - a, 180 + a, 360 - a, a};
            const auto alpha = static_cast<std::uint32_t>((std::ceil(d) - d) * 65536.0);
            for (int p = 0; p < 4; ++p) {
                const RgbChannels c = HsbToRgb(hue[p], sat, b);
                if (d <= r - 1) {
                    s.SetPixel(px[p], py[p], Packed(c));
                    continue;
                }
                auto mix = [&](int shift, std::uint32_t channel) {
                    return (((bg >> shift) & 0xFF) * (0x10000 - alpha) + channel * alpha) >> 16;
                };
                s.SetPixel(px[p], py[p], PackRgb(mix(16, c.red), mix(8, c.green), mix(0, c.blue)));
            }
        }
}

struct PlaneSize {
    int width, height, inset;
};

class HsbPlanes : public ::testing::TestWithParam<PlaneSize> {
protected:
    template <typename Fast, typename Reference>
    void ExpectSame(const std::vector<std::uint32_t>& values, Fast fast, Reference reference) {
        const PlaneSize p = GetParam();
        const PlaneGeometry g = PlaneGeometry::FromInnerSize(p.width, p.height, p.inset);
        for (std::uint32_t value : values) {
            HeapSurface actual(g.SurfaceWidth(), g.SurfaceHeight());
            HeapSurface expected(g.SurfaceWidth(), g.SurfaceHeight());
            fast(actual.Pixels(), g, value, kTeal);
            reference(expected.Pixels(), p.width, p.height, p.inset, value, kTeal);
            EXPECT_EQ(FirstDifference(actual.Pixels(), expected.Pixels()), "") << "value " << value;
        }
    }
};

const std::vector<std::uint32_t> kBrightnesses = {0,      1,      257,   515,    0x7FFF,
                                                  0x8000, 0x8001, 65535, 0x10000};

// The hues of the hue page: each side of every sextant border, and past the full turn.
TEST_P(HsbPlanes, EveryPageEqualsPerPixelConversion) {
    ExpectSame(kBrightnesses, PaintBrightnessPlane, ReferenceBrightnessPlane);
    ExpectSame({0, 59, 60, 119, 120, 179, 180, 210, 239, 240, 299, 300, 359, 360, 361},
               PaintHuePlane, ReferenceHuePlane);
    // One layout serves every brightness.
    const PlaneSize p = GetParam();
    const WheelLayout layout(PlaneGeometry::FromInnerSize(p.width, p.height, p.inset));
    auto paint = [&layout](Surface& s, const PlaneGeometry&, std::uint32_t brightness, Pixel bg) {
        PaintWheelPlane(s, layout, brightness, bg);
    };
    ExpectSame(kBrightnesses, paint, ReferenceWheelPlane);
}

INSTANTIATE_TEST_SUITE_P(Sizes, HsbPlanes,
                         ::testing::Values(PlaneSize{8, 8, 3}, PlaneSize{9, 8, 3},
                                           PlaneSize{8, 9, 0}, PlaneSize{9, 9, 1},
                                           PlaneSize{30, 17, 3}, PlaneSize{17, 30, 2},
                                           PlaneSize{101, 40, 3}, PlaneSize{256, 249, 3}));

TEST(WheelPlane, LandmarksOfASmallDisc) {
    const PlaneGeometry g = PlaneGeometry::FromInnerSize(21, 21, 3);
    ASSERT_EQ(g.radius, 9);
    ASSERT_EQ(g.centreX, 13);
    HeapSurface plane(g.SurfaceWidth(), g.SurfaceHeight());
    PaintWheelPlane(plane.Pixels(), g, 0x10000, kGrey);
    const struct {
        int x, y;
        Pixel expected;
    } cases[] = {
        {21, 13, 0xFF1C1C}, // eight right of the centre: hue 0, saturation 58254
        {13, 5, 0x8DFF1C},  // eight above: hue 90
        {13, 13, 0xFFFFFF}, // the centre: no saturation whatever atan2(0, 0) says
        {22, 13, kGrey},    // d = R: alpha 0, the pure background
        {3, 3, kGrey},      // outside the disc
    };
    for (const auto& c : cases)
        EXPECT_EQ(plane.Pixels().GetPixel(c.x, c.y), c.expected) << c.x << "," << c.y;
}

class CubePages : public ::testing::TestWithParam<Pixel> {
protected:
    static HeapSurface Paint(bool additive, Pixel background) {
        const PlaneGeometry g = PlaneGeometry::FromInnerSize(256, 249, 3);
        HeapSurface cube(g.SurfaceWidth(), g.SurfaceHeight());
        PaintCube(cube.Pixels(), g, additive, background, 0);
        return cube;
    }
};

TEST_P(CubePages, FacePixelsDoNotDependOnTheBackground) {
    const HeapSurface rgb = Paint(true, GetParam());
    const HeapSurface cmy = Paint(false, GetParam());
    const struct {
        int x, y;
        Pixel onRgb, onCmy;
    } cases[] = {
        {131, 129, 0x000304, 0xFFFBFA}, // floor next to the centre
        {131, 248, 0x00FBFA, 0xFF0304}, // floor at its far corner
        {26, 127, 0x7EFA00, 0x8004FF},  // left wall
        {236, 127, 0x7E00FA, 0x80FF04}, // right wall
    };
    for (const auto& c : cases) {
        EXPECT_EQ(rgb.Pixels().GetPixel(c.x, c.y), c.onRgb) << c.x << "," << c.y;
        EXPECT_EQ(cmy.Pixels().GetPixel(c.x, c.y), c.onCmy) << c.x << "," << c.y;
    }
}

TEST_P(CubePages, CentreColumnAndTopEdge) {
    const Pixel bg = GetParam();
    const HeapSurface rgb = Paint(true, bg);
    const HeapSurface cmy = Paint(false, bg);
    const int cx = 131, cy = 127, edge = 123;
    for (int y = 0; y <= cy; ++y) {
        EXPECT_EQ(rgb.Pixels().GetPixel(cx, y), bg) << y;
        EXPECT_EQ(cmy.Pixels().GetPixel(cx, y), y >= cy - edge ? 0u : bg) << y;
    }
    EXPECT_NE(rgb.Pixels().GetPixel(cx, cy + 1), bg); // the floor starts below the corner
    EXPECT_EQ(rgb.Pixels().GetPixel(cx - 1, cy - edge + 1), 0xFF0000u);
    // Above it the top edge blends red with the background: every channel strictly between.
    const Pixel blended = rgb.Pixels().GetPixel(cx - 1, cy - edge);
    for (int shift : {16, 8, 0}) {
        const int b = (bg >> shift) & 0xFF, red = (0xFF0000 >> shift) & 0xFF;
        const int c = (blended >> shift) & 0xFF;
        EXPECT_TRUE(b != red && c > std::min(b, red) && c < std::max(b, red)) << shift;
    }
}

INSTANTIATE_TEST_SUITE_P(Backgrounds, CubePages, ::testing::Values(kGrey, kTeal));

struct GuideCase {
    RgbColor colour;
    bool additive;
    int top, greenX, greenY, blueX, blueY; // marker rows and columns as the picture places them
};

class CubeGuides : public ::testing::TestWithParam<GuideCase> {};

// Distance from (x, y) to the segment (x1, y1)-(x2, y2).
double DistanceToSegment(int x, int y, int x1, int y1, int x2, int y2) {
    const double vx = x2 - x1, vy = y2 - y1, wx = x - x1, wy = y - y1;
    const double length = vx * vx + vy * vy;
    const double t = length == 0 ? 0 : std::clamp((wx * vx + wy * vy) / length, 0.0, 1.0);
    return std::hypot(wx - t * vx, wy - t * vy);
}

TEST_P(CubeGuides, MarkersStandOnTheAxesAndLinesFollowTheBox) {
    const GuideCase c = GetParam();
    const PlaneGeometry g = PlaneGeometry::FromInnerSize(256, 249, 3);
    const CubeGuidePoints p = CubeGuidesFor(g, c.colour, c.additive);
    EXPECT_EQ(p.top, c.top);
    EXPECT_EQ(p.greenX, c.greenX);
    EXPECT_EQ(g.centreY + p.greenY + 1, c.greenY);
    EXPECT_EQ(p.blueX + 1, c.blueX);
    EXPECT_EQ(g.centreY + p.blueY + 1, c.blueY);

    HeapSurface cube(g.SurfaceWidth(), g.SurfaceHeight());
    PaintCube(cube.Pixels(), g, c.additive, kGrey, 0);
    HeapSurface plane(g.SurfaceWidth(), g.SurfaceHeight());
    plane.Pixels().CopyFrom(cube.Pixels(), cube.Pixels().Bounds(), 0, 0);
    DrawCubeGuides(plane.Pixels(), g, c.colour, c.additive);
    // Undo the three rings where they should stand: what differs from the cube then lies on
    // the nine lines of the box.
    InvertPlaneMarkerRing(plane.Pixels(), g.centreX, c.top);
    InvertPlaneMarkerRing(plane.Pixels(), c.greenX, c.greenY);
    InvertPlaneMarkerRing(plane.Pixels(), c.blueX, c.blueY);
    const int cx = g.centreX, cy = g.centreY, t = p.top + 1, gy = p.greenY, by = p.blueY;
    const int xg = p.greenX, xb = p.blueX, xc = p.farX;
    const int lines[9][4] = {{cx, t, xg, t + gy},
                             {cx, t, xb, t + by},
                             {xg, t + gy, xc, t + gy + by},
                             {xb, t + by, xc, t + gy + by},
                             {xg, cy + gy, xc, cy + gy + by},
                             {xb, cy + by, xc, cy + gy + by},
                             {xb, t + by, xb, cy + by},
                             {xc, t + gy + by, xc, cy + gy + by},
                             {xg, t + gy, xg, cy + gy}};
    int changed = 0;
    for (int y = 0; y < g.SurfaceHeight(); ++y)
        for (int x = 0; x < g.SurfaceWidth(); ++x) {
            if (plane.Pixels().GetPixel(x, y) == cube.Pixels().GetPixel(x, y))
                continue;
            ++changed;
            double nearest = 1e9;
            for (const auto& l : lines)
                nearest = std::min(nearest, DistanceToSegment(x, y, l[0], l[1], l[2], l[3]));
            EXPECT_LE(nearest, 1.0) << x << "," << y;
        }
    EXPECT_GT(changed, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Colours, CubeGuides,
    ::testing::Values(GuideCase{0x804020, true, 64, 104, 143, 145, 136},
                      // No amount on any axis: the box is the centre pixel, markers round it.
                      GuideCase{0x000000, true, 126, 131, 128, 132, 128},
                      GuideCase{0x7FBFDF, false, 64, 104, 143, 145, 136},
                      // Full red reaches the cube's top edge.
                      GuideCase{0xFF0000, true, 127 - 123 - 1, 131, 128, 132, 128},
                      GuideCase{0xFFFFFF, true, 127 - 123 - 1, 25, 189, 238, 189}));

TEST(CubeGuides, EmptyBoxIsOnePixelInTheLineColour) {
    const PlaneGeometry g = PlaneGeometry::FromInnerSize(256, 249, 3);
    for (bool additive : {true, false}) {
        HeapSurface cube(g.SurfaceWidth(), g.SurfaceHeight());
        PaintCube(cube.Pixels(), g, additive, kGrey, 0);
        HeapSurface plane(g.SurfaceWidth(), g.SurfaceHeight());
        plane.Pixels().CopyFrom(cube.Pixels(), cube.Pixels().Bounds(), 0, 0);
        DrawCubeGuides(plane.Pixels(), g, additive ? 0x000000 : 0xFFFFFF, additive);
        const int cx = g.centreX, cy = g.centreY;
        InvertPlaneMarkerRing(plane.Pixels(), cx, cy - 1);
        InvertPlaneMarkerRing(plane.Pixels(), cx, cy + 1);
        InvertPlaneMarkerRing(plane.Pixels(), cx + 1, cy + 1);
        cube.Pixels().SetPixel(cx, cy, additive ? 0xFFFFFF : 0x000000);
        EXPECT_EQ(FirstDifference(plane.Pixels(), cube.Pixels()), "") << additive;
    }
}

// Grey levels from the top left corner, rows split by '/', '.' for a pixel that keeps its value.
void DrawPicture(Surface& s, const std::string& picture) {
    std::istringstream rows(picture);
    std::string row;
    for (int y = 0; std::getline(rows, row, '/'); ++y) {
        std::istringstream cells(row);
        std::string cell;
        for (int x = 0; cells >> cell; ++x)
            if (cell != ".")
                s.SetPixel(x, y, 0x010101u * std::stoi(cell));
    }
}

TEST(BlendedLine, CoverageSplitsBetweenTwoPixels) {
    const struct {
        int x1, y1, x2, y2;
        Pixel old, line;
        const char* picture;
    } cases[] = {
        {0, 0, 0, 0, 0x000000, 0xFFFFFF, "255"},
        {1, 2, 1, 0, 0x000000, 0xFFFFFF, ". 255 / . 255 / . 255"},
        {2, 0, 0, 0, 0x000000, 0xFFFFFF, "255 255 255"},
        // Exactly 45 degrees: frac is 0 at each step, so the second pixel keeps its value.
        {0, 0, 2, 2, 0x000000, 0xFFFFFF, "255 . . / . 255 . / . . 255"},
        {0, 0, 4, 1, 0x000000, 0xFFFFFF, "255 191 127 63 . / . 63 127 191 255"},
        {4, 1, 0, 0, 0x000000, 0xFFFFFF, "255 191 127 63 . / . 63 127 191 255"},
        {0, 0, 1, 4, 0x000000, 0xFFFFFF, "255 . / 191 63 / 127 127 / 63 191 / . 255"},
        // A line of 200 over 100: 100 * 0.25 + 200 * 0.75 = 175 and so on.
        {0, 0, 4, 1, 0x646464, 0xC8C8C8, "200 175 150 125 . / . 125 150 175 200"},
    };
    for (const auto& c : cases) {
        HeapSurface actual(8, 8);
        actual.Pixels().FillRect(actual.Pixels().Bounds(), c.old);
        DrawBlendedLine(actual.Pixels(), c.x1, c.y1, c.x2, c.y2, c.line);
        HeapSurface expected(8, 8);
        expected.Pixels().FillRect(expected.Pixels().Bounds(), c.old);
        DrawPicture(expected.Pixels(), c.picture);
        EXPECT_EQ(FirstDifference(actual.Pixels(), expected.Pixels()), "")
            << c.x1 << "," << c.y1 << " to " << c.x2 << "," << c.y2;
    }
}

TEST(StripRamp, RowsByPage) {
    const struct {
        int page;
        std::uint32_t hue, saturation;
        int row; // inner row
        Pixel expected;
    } cases[] = {
        {0, 0, 0, 0, 0xFFFFFF},         // brightness full at the top
        {0, 0, 0, 248, 0x010101},       // 0x10000 - 248 * 263 = 312 at the last row
        {3, 120, 0x10000, 0, 0x00FF00}, // the ramp of the given hue, not the current colour
        {4, 240, 0x10000, 124, 0x000080},
        {2, 999, 999, 0, 0xFF0000}, // all hues: hue and saturation are not read
        {2, 0, 0, 248, 0xFF0008},   // 248 * 94750 >> 16 = 358 at the last row
    };
    const StripGeometry g = StripGeometry::FromInnerSize(16, 249, 3);
    for (const auto& c : cases) {
        GuardedSurface strip(g.SurfaceWidth(), g.SurfaceHeight());
        PaintStripRamp(strip.Get(), g, c.page, c.hue, c.saturation, kGrey);
        const int y = g.inset + c.row;
        // The ramp spans columns m + 2 to m + Ws - 3; the marker's room beside it stays grey.
        EXPECT_EQ(strip.Get().GetPixel(g.inset + 1, y), kGrey) << c.page;
        EXPECT_EQ(strip.Get().GetPixel(g.inset + 2, y), c.expected) << c.page << " " << c.row;
        EXPECT_EQ(strip.Get().GetPixel(g.inset + 13, y), c.expected) << c.page << " " << c.row;
        EXPECT_EQ(strip.Get().GetPixel(g.inset + 14, y), kGrey) << c.page;
        EXPECT_EQ(strip.Get().GetPixel(g.inset + 2, g.inset - 1), kGrey) << c.page;
        EXPECT_EQ(strip.Get().GetPixel(g.inset + 2, g.inset + 249), kGrey) << c.page;
        EXPECT_TRUE(strip.CanariesIntact());
    }
}

TEST(StripRamp, BackgroundOnlyForNarrowStripsAndOtherPages) {
    const struct { int width, page; } cases[] = {{0, 0}, {1, 0}, {4, 2}, {4, 0}, {20, 5}, {20, -1}};
    for (const auto& c : cases) {
        const StripGeometry g = StripGeometry::FromInnerSize(c.width, 30, 3);
        GuardedSurface strip(g.SurfaceWidth(), g.SurfaceHeight());
        PaintStripRamp(strip.Get(), g, c.page, 120, 0x10000, kGrey);
        for (int y = 0; y < g.SurfaceHeight(); ++y)
            for (int x = 0; x < g.SurfaceWidth(); ++x)
                ASSERT_EQ(strip.Get().GetPixel(x, y), kGrey) << c.width << " " << c.page;
        EXPECT_TRUE(strip.CanariesIntact());
    }
}

TEST(PlaneBounds, EveryPageStaysInsideItsSurfaceAndFrame) {
    // From planes too small for a wheel or a cube up to odd and even sizes with both shapes.
    for (int w = 1; w <= 17; ++w)
        for (int h = 1; h <= 17; h += 2)
            for (int m : {0, 3}) {
                const PlaneGeometry g = PlaneGeometry::FromInnerSize(w, h, m);
                for (int page = 0; page <= 4; ++page) {
                    GuardedSurface plane(g.SurfaceWidth(), g.SurfaceHeight());
                    Surface& s = plane.Get();
                    if (page == 0)
                        PaintBrightnessPlane(s, g, 0x10000, kTeal);
                    else if (page == 1)
                        PaintWheelPlane(s, g, 0x10000, kTeal);
                    else if (page == 2)
                        PaintHuePlane(s, g, 200, kTeal);
                    else
                        PaintCube(s, g, page == 3, kTeal, 0);
                    for (int y = 0; y < s.Height(); ++y)
                        for (int x = 0; x < s.Width(); ++x)
                            if (x < m || y < m || x >= m + w || y >= m + h) {
                                ASSERT_EQ(s.GetPixel(x, y), kTeal)
                                    << w << "x" << h << "+" << m << " page " << page;
                            }
                    if (page >= 3)
                        for (RgbColor colour : {0x000000u, 0xFFFFFFu, 0x804020u})
                            DrawCubeGuides(s, g, colour, page == 3);
                    EXPECT_TRUE(plane.CanariesIntact())
                        << w << "x" << h << "+" << m << " page " << page;
                }
            }
}

TEST(PlaneBounds, SurfaceSmallerThanThePlaneClipsEveryWrite) {
    const PlaneGeometry g = PlaneGeometry::FromInnerSize(40, 36, 3);
    GuardedSurface plane(23, 17);
    Surface& s = plane.Get();
    PaintBrightnessPlane(s, g, 0x10000, kTeal);
    PaintWheelPlane(s, g, 0x10000, kTeal);
    PaintHuePlane(s, g, 30, kTeal);
    PaintCube(s, g, false, kTeal, 0);
    DrawCubeGuides(s, g, 0xFFFFFF, true);
    PaintStripRamp(s, StripGeometry::FromInnerSize(40, 60, 3), 0, 0, 0, kTeal);
    DrawBlendedLine(s, -5, -7, 60, 30, 0xFFFFFF);
    EXPECT_TRUE(plane.CanariesIntact());
}

} // namespace
} // namespace orrelux
