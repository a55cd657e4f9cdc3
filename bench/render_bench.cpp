// Speed of the picker's renderers: plane and strip repaints and whole drag steps, at the
// dialog's own plane size. Prints the median time of each operation; nothing is asserted.
//
// On Windows (or under Wine) the page-0 plane is also painted the way a plain GDI
// implementation would, one SetPixel per pixel on a memory DC, as the yardstick for the pixel
// surface.
#include "picker/cube_picking.h"
#include "picker/plane_rendering.h"

#ifdef _WIN32
#include "platform/handles.h"
#endif

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace orrelux {
namespace {

using Clock = std::chrono::steady_clock;

// Plane and strip of the dialog: inner sizes with the frame of 3 pixels.
constexpr int kPlaneWidth = 256;
constexpr int kPlaneHeight = 249;
constexpr int kStripWidth = 18;
constexpr int kInset = 3;
constexpr Pixel kBackground = 0x00F0F0F0;

// Median microseconds of one call of op. Calls are timed in batches long enough for the clock
// (Wine's steady_clock ticks in 100 ns), after a few warm-up calls.
template <typename Op> double MedianMicroseconds(Op&& op) {
    for (int i = 0; i < 3; ++i)
        op();
    const auto start = Clock::now();
    op();
    const double once =
        std::max(std::chrono::duration<double, std::micro>(Clock::now() - start).count(), 0.05);
    const int batch = std::max(1, static_cast<int>(2000.0 / once));
    const int samples = once > 5000.0 ? 9 : 41;
    std::vector<double> perCall;
    for (int s = 0; s < samples; ++s) {
        const auto begin = Clock::now();
        for (int i = 0; i < batch; ++i)
            op();
        perCall.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count() /
                          batch);
    }
    std::nth_element(perCall.begin(), perCall.begin() + samples / 2, perCall.end());
    return perCall[samples / 2];
}

void PrintRow(const char* page, const char* operation, double microseconds) {
    std::printf("| %-4s | %-48s | %9.1f |\n", page, operation, microseconds);
}

// The strip marker as the picker draws it: a flat ring across the strip, by two inversions.
void InvertStripMarker(Surface& strip, int y) {
    const int w = strip.Width();
    strip.InvertRect(Rect{2, y - 1, w - 2, y + 1});
    strip.InvertRect(Rect{1, y - 2, w - 1, y + 2});
}

// A marker move: erase at the old place, draw at the new one.
void MoveMarkers(Surface& plane, Surface& strip, int step) {
    InvertPlaneMarkerRing(plane, 40 + step % 100, 60);
    InvertPlaneMarkerRing(plane, 41 + step % 100, 61);
    InvertStripMarker(strip, 50 + step % 100);
    InvertStripMarker(strip, 51 + step % 100);
}

#ifdef _WIN32
// The yardstick: page 0 through GDI, one SetPixel per pixel with HsbToRgb per pixel, on a
// memory DC holding a bitmap compatible with the screen. Returns false if GDI is unavailable.
bool MeasureGdiBaseline(const PlaneGeometry& g, const Surface& ours, double oursMicroseconds) {
    WindowDC screen(nullptr);
    if (!screen)
        return false;
    UniqueMemoryDC memory(::CreateCompatibleDC(screen.Get()));
    UniqueBitmap bitmap(
        ::CreateCompatibleBitmap(screen.Get(), g.SurfaceWidth(), g.SurfaceHeight()));
    UniqueBrush brush(::CreateSolidBrush(RgbToColorRef(kBackground)));
    if (!memory || !bitmap || !brush)
        return false;
    SelectGuard selected(memory.Get(), bitmap.Get());
    const HDC dc = memory.Get();
    auto paint = [&] {
        const RECT all{0, 0, g.SurfaceWidth(), g.SurfaceHeight()};
        ::FillRect(dc, &all, brush.Get());
        const auto stepX = static_cast<std::uint32_t>(23592960.0 / g.width);
        const auto stepY = static_cast<std::uint32_t>(65536.0 / g.height);
        std::uint32_t s = kFixedOne;
        for (int y = g.inset; y < g.inset + g.height; ++y, s -= stepY) {
            std::uint32_t a = 0;
            for (int x = g.inset; x < g.inset + g.width; ++x, a += stepX) {
                const RgbChannels c = HsbToRgb(a >> 16, s, 0xC000);
                ::SetPixel(dc, x, y, RGB(c.red, c.green, c.blue));
            }
        }
    };
    const double gdi = MedianMicroseconds(paint);
    PrintRow("0", "plane repaint, GDI SetPixel (yardstick)", gdi);

    // Read the GDI picture back as a top-down 32-bit DIB: it must be ours, pixel for pixel.
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = g.SurfaceWidth();
    info.bmiHeader.biHeight = -g.SurfaceHeight();
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    std::vector<Pixel> bits(static_cast<std::size_t>(g.SurfaceWidth()) * g.SurfaceHeight());
    paint();
    bool identical = false;
    {
        // GetDIBits wants the bitmap out of any DC: park a placeholder in the memory DC.
        UniqueBitmap placeholder(::CreateCompatibleBitmap(screen.Get(), 1, 1));
        SelectGuard swapped(dc, placeholder.Get());
        if (::GetDIBits(screen.Get(), bitmap.Get(), 0, g.SurfaceHeight(), bits.data(), &info,
                        DIB_RGB_COLORS) == g.SurfaceHeight()) {
            identical = true;
            for (int y = 0; y < g.SurfaceHeight(); ++y)
                for (int x = 0; x < g.SurfaceWidth(); ++x)
                    identical =
                        identical && (bits[static_cast<std::size_t>(y) * g.SurfaceWidth() + x] &
                                      0xFFFFFF) == ours.GetPixel(x, y);
        }
    }
    std::printf("\nGDI SetPixel / surface, page 0 plane repaint: %.0f times slower; pictures %s\n",
                gdi / oursMicroseconds, identical ? "identical" : "DIFFERENT");
    return true;
}
#endif

int Run() {
    const PlaneGeometry g = PlaneGeometry::FromInnerSize(kPlaneWidth, kPlaneHeight, kInset);
    const StripGeometry sg = StripGeometry::FromInnerSize(kStripWidth, kPlaneHeight, kInset);
    HeapSurface planeBuffer(g.SurfaceWidth(), g.SurfaceHeight());
    HeapSurface stripBuffer(sg.SurfaceWidth(), sg.SurfaceHeight());
    HeapSurface rgbCube(g.SurfaceWidth(), g.SurfaceHeight());
    HeapSurface cmyCube(g.SurfaceWidth(), g.SurfaceHeight());
    Surface& plane = planeBuffer.Pixels();
    Surface& strip = stripBuffer.Pixels();
    // Made once per plane size, like the cached cubes.
    const double wheelLayout = MedianMicroseconds([&] { WheelLayout once(g); });
    const WheelLayout wheel(g);
    int step = 0;

    std::printf("Plane %dx%d, strip %dx%d, frame %d; median microseconds per operation\n\n",
                kPlaneWidth, kPlaneHeight, kStripWidth, kPlaneHeight, kInset);
    std::printf("| page | %-48s | %9s |\n|------|%s|-----------|\n", "operation", "median us",
                "--------------------------------------------------");

    // The fixed value changes from call to call, as it does during a drag.
    auto paintPlane = [&](int page) {
        ++step;
        switch (page) {
        case 0:
            PaintBrightnessPlane(plane, g, 0x8000 + step % 0x8000, kBackground);
            break;
        case 1:
            PaintWheelPlane(plane, wheel, 0x8000 + step % 0x8000, kBackground);
            break;
        case 2:
            PaintHuePlane(plane, g, step % 361, kBackground);
            break;
        default: {
            // A cube page after its first painting: copy the cached cube, draw the guides.
            const Surface& cube = page == 3 ? rgbCube.Pixels() : cmyCube.Pixels();
            plane.CopyFrom(cube, cube.Bounds(), 0, 0);
            DrawCubeGuides(plane, g, PackRgb(step, step * 3, step * 7), page == 3);
        }
        }
    };
    auto paintStrip = [&](int page) {
        ++step;
        PaintStripRamp(strip, sg, page, step % 360, 0x10000 - step % 0x8000, kBackground);
    };

    const char* pages[] = {"0", "1", "2", "3", "4"};
    double firstCube[2] = {};
    for (int cube = 0; cube < 2; ++cube) {
        Surface& target = cube == 0 ? rgbCube.Pixels() : cmyCube.Pixels();
        firstCube[cube] =
            MedianMicroseconds([&] { PaintCube(target, g, cube == 0, kBackground, 0); });
    }
    double page0 = 0;
    for (int page = 0; page <= 4; ++page) {
        const double repaint = MedianMicroseconds([&] { paintPlane(page); });
        if (page == 0)
            page0 = repaint;
        PrintRow(pages[page], "plane repaint", repaint);
        if (page == 1)
            PrintRow(pages[page], "  wheel layout, once per plane size", wheelLayout);
        if (page >= 3)
            PrintRow(pages[page], "  first painting of the cached cube", firstCube[page - 3]);
        PrintRow(pages[page], "strip repaint", MedianMicroseconds([&] { paintStrip(page); }));
        if (page <= 2) {
            // A plane step repaints the strip and moves both markers; a strip step repaints the
            // plane and moves both markers.
            PrintRow(pages[page], "drag step on the plane (strip + markers)",
                     MedianMicroseconds([&] {
                         paintStrip(page);
                         MoveMarkers(plane, strip, step);
                     }));
            PrintRow(pages[page], "drag step on the strip (plane + markers)",
                     MedianMicroseconds([&] {
                         paintPlane(page);
                         MoveMarkers(plane, strip, step);
                     }));
        } else {
            // A cube step picks the colour, repaints the plane twice (the colour change and the
            // marker step), the strip once and places the strip marker.
            PrintRow(pages[page], "drag step on the plane (pick, 2 planes, strip)",
                     MedianMicroseconds([&] {
                         const CubePick pick = PickCubeColor(60 + step % 140, 90, page == 3,
                                                             kCubeDragNone, 0x804020, g);
                         step += pick.mode;
                         paintPlane(page);
                         paintStrip(page);
                         paintPlane(page);
                         InvertStripMarker(strip, 50 + step % 100);
                     }));
            PrintRow(pages[page], "drag step on the strip (plane + marker)",
                     MedianMicroseconds([&] {
                         paintPlane(page);
                         InvertStripMarker(strip, 50 + step % 100);
                         InvertStripMarker(strip, 51 + step % 100);
                     }));
        }
    }

#ifdef _WIN32
    PaintBrightnessPlane(plane, g, 0xC000, kBackground);
    if (!MeasureGdiBaseline(g, plane, page0))
        std::printf("\nGDI yardstick skipped: no screen DC\n");
#else
    (void)page0;
#endif
    return 0;
}

} // namespace
} // namespace orrelux

int main() {
    return orrelux::Run();
}
