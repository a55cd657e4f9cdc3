#include "picker/pointer_input.h"

#include "fake_picker_host.h"
#include "picker/cube_picking.h"
#include "picker/input_codes.h"
#include "picker/picker_window.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace orrelux {
namespace {

using testing::FakePickerHost;

constexpr int kFull = 0x10000;
constexpr int kHalf = 0x8000;
constexpr int kUnit1 = 273; // one row of a strip 240 high, in 16.16
constexpr int kUnit2 = 546;

RgbColor Hsb(int hue, int saturation, int brightness) {
    const RgbChannels c = HsbToRgb(hue, saturation, brightness);
    return PackRgb(c.red, c.green, c.blue);
}

// Plane 300 x 240 inside a frame of 3: the wheel's centre is (153, 123), its radius 119.
TEST(PointerMaps, PositionsGiveThePagesCoordinates) {
    const PlaneGeometry plane = PlaneGeometry::FromInnerSize(300, 240, 3);
    const struct {
        bool strip;
        int page, x, y, hue, saturation, brightness; // 7: left alone
    } cases[] = {
        {false, 0, 303, 243, 360, 0, 7},   {false, 0, -40, 500, 0, 0, 7},
        {false, 1, 153, 123, 0, 0, 7},     {false, 1, 153, 4, 90, kFull, 7},
        {false, 1, 3, 123, 180, kFull, 7}, {false, 2, 303, 3, 7, kFull, kFull},
        {true, 0, 0, 123, 7, 7, kHalf},    {true, 2, 0, 243, 360, 7, 7},
        {true, 2, 0, 0, 0, 7, 7},
    };
    for (const auto& c : cases) {
        HsbStep hsb{7, 7, 7};
        if (c.strip)
            StripRowToHsb(c.page, 240, 3, c.y, hsb);
        else
            PlanePointToHsb(c.page, plane, c.x, c.y, hsb);
        EXPECT_EQ(hsb.hue, c.hue) << "page " << c.page << " at " << c.x << "," << c.y;
        EXPECT_EQ(hsb.saturation, c.saturation) << "page " << c.page << " at " << c.x << "," << c.y;
        EXPECT_EQ(hsb.brightness, c.brightness) << "page " << c.page << " at " << c.x << "," << c.y;
    }
    EXPECT_EQ(PositionFromMessage(0x8000FFFB).x, -5);
    EXPECT_EQ(PositionFromMessage(0x8000FFFB).y, -32768);
}

// The fake dialog: plane at 10, 20 (306 x 246), strip at 330, 20 (25 x 246), grid at 10, 40,
// in a client area of 560 x 420.
class PointerInput : public ::testing::Test {
protected:
    PointerInput() {
        picker.PrepareForShow(&host, 0, 0, 0, 0);
        picker.EnsurePlaneSurface();
        picker.EnsureStripSurface();
    }
    void Start(int page, int hue, int saturation, int brightness) {
        picker.ActivePage = page;
        picker.SetCurrentColorHsb(hue, saturation, brightness);
        host.TakeTrace();
    }
    // Focus, capture and the invalidations of plane and strip since the last call.
    std::string Views() {
        std::istringstream entries(host.TakeTrace());
        std::string entry, views;
        while (std::getline(entries >> std::ws, entry, ';'))
            if (entry.find("plane") != std::string::npos ||
                entry.find("strip") != std::string::npos || entry.find("capture") == 0)
                views += (views.empty() ? "" : "; ") + entry;
        return views;
    }

    CPickerWindow picker;
    FakePickerHost host{picker};
};

TEST_F(PointerInput, PressPicksTheTargetByPageAndRectangle) {
    const struct {
        int page, x, y, target;
    } cases[] = {
        {0, 12, 25, kDragPlane},       {0, 340, 100, kDragStrip}, {0, 50, 60, kDragPlane},
        {5, 50, 60, kDragPaletteGrid}, {5, 12, 25, kDragNone},    {5, 340, 100, kDragNone},
        {0, 316, 100, kDragNone},      {4, 330, 20, kDragStrip},  {0, -900, -900, kDragNone},
    };
    for (const auto& c : cases) {
        picker.ActivePage = c.page;
        picker.DragTarget = 9;
        EXPECT_TRUE(picker.OnButtonDown(kMkLButton, c.x, c.y));
        EXPECT_EQ(picker.DragTarget, c.target) << c.page << " at " << c.x << "," << c.y;
        EXPECT_EQ(Views().find("capture") != std::string::npos, c.target != kDragNone);
    }
    picker.StripRect.right = 560; // at the client area's edge it takes presses from beyond
    picker.OnButtonDown(kMkLButton, 700, 100);
    EXPECT_EQ(picker.DragTarget, kDragStrip);
}

TEST_F(PointerInput, PlaneDragHoldsToThePlaneAndRepaintsOnlyTheStrip) {
    Start(0, 0, 0, kFull);
    picker.OnButtonDown(kMkLButton, 11, 21); // the frame pixel (1, 1) acts as (3, 3)
    EXPECT_EQ(picker.CurrentColor, 0xFF0000u);
    EXPECT_EQ(Views(), "focus plane; capture dialog; invalidate strip @-10; "
                       "invalidate strip @3; invalidate plane @3,3");
    // Left of the dialog holds hue 0; the plane's right edge gives hue 360, red again, with
    // the marker at that edge.
    picker.OnPointerMove(kMkLButton, -50, 140);
    const RgbColor left = picker.CurrentColor;
    picker.OnPointerMove(kMkLButton, 400, 140);
    EXPECT_EQ(picker.CurrentColor, left);
    EXPECT_EQ(picker.PlaneMarkerX, 303);
    host.TakeTrace();
    picker.OnPointerMove(0, 200, 200); // no button: nothing, though DragTarget stayed set
    EXPECT_EQ(host.TakeTrace(), "");
    picker.CubeDragMode = 3;
    picker.OnButtonUp();
    EXPECT_EQ(picker.DragTarget, kDragNone);
    EXPECT_EQ(picker.CubeDragMode, kCubeDragNone);
    EXPECT_EQ(host.TakeTrace(), "release capture");
}

// A coordinate whose marker stands is read from the marker: black on the strip (page 0) or on
// the plane (page 2) doesn't lose the hue.
TEST_F(PointerInput, HueSurvivesBlackWhileTheOtherControlIsDragged) {
    const struct { int page, x, blackY, brightY; } cases[] = {{0, 340, 265, 21}, {2, 315, 265, 21}};
    for (const auto& c : cases) {
        Start(c.page, 200, kFull, kFull);
        picker.OnButtonDown(kMkLButton, c.x, c.blackY);
        EXPECT_EQ(picker.CurrentColor, 0u);
        picker.OnPointerMove(kMkLButton, c.x, c.brightY);
        EXPECT_EQ(picker.CurrentColor, Hsb(200, kFull, kFull)) << "page " << c.page;
    }
    // With focus routed, the strip repaints for its focus before the step repaints the plane.
    host.RouteFocus = true;
    Start(0, 120, kFull, kFull);
    host.Focus = picker.PlaneWindow;
    picker.OnButtonDown(kMkLButton, 340, 100);
    EXPECT_EQ(Views(), "focus strip; invalidate plane @-10,-10; invalidate plane @103,3; "
                       "invalidate strip @-10; invalidate strip @3; capture dialog; "
                       "invalidate plane @-10,-10; invalidate strip @80; invalidate plane @103,3");
}

TEST_F(PointerInput, CubeDragHoldsAnAxisUntilTheButtonComesUp) {
    picker.ActivePage = 3;
    picker.SetCurrentColor(0x804020, true);
    const PlaneGeometry plane = PlaneGeometry::FromInnerSize(300, 240, 3);
    const int x = 10 + plane.centreX;
    const int wallX = x + 60, wallY = 20 + plane.centreY - 50;
    picker.OnButtonDown(kMkLButton, x, 20 + CubeGuidesFor(plane, 0x804020, true).top);
    EXPECT_EQ(picker.CubeDragMode, kCubeDragVerticalAxis); // grabbed red's marker
    picker.OnPointerMove(kMkLButton, wallX, wallY);
    EXPECT_EQ(picker.CubeDragMode, kCubeDragVerticalAxis);
    EXPECT_EQ(picker.CurrentColor & 0x00FFFF, 0x4020u);
    host.TakeTrace();
    picker.OnPointerMove(kMkLButton, wallX, wallY);
    EXPECT_EQ(host.TakeTrace(), ""); // same colour: nothing repaints
    picker.OnButtonUp();
    picker.OnButtonDown(kMkLButton, wallX, wallY); // afresh: the right wall, green at base
    EXPECT_EQ(picker.CubeDragMode, kCubeDragRightWall);
    EXPECT_EQ(GreenOf(picker.CurrentColor), 0);
    picker.ActivePage = 4; // CMY: the base is 255
    picker.OnButtonDown(kMkLButton, x - 80, 20 + plane.centreY - 40);
    EXPECT_EQ(picker.CubeDragMode, kCubeDragLeftWall);
    EXPECT_EQ(BlueOf(picker.CurrentColor), 255);
    host.TabSelection = -1; // no page: only the drag mode ends
    picker.OnTabSelectionChanged();
    EXPECT_EQ(picker.CubeDragMode, kCubeDragNone);
    EXPECT_EQ(picker.ActivePage, 4);
    host.TabSelection = 2;
    picker.OnTabSelectionChanged();
    EXPECT_EQ(picker.ActivePage, 2);
}

TEST_F(PointerInput, ArrowKeysStepEachPageWithinItsLimits) {
    struct Hsb3 {
        int hue, saturation, brightness;
    };
    const struct {
        bool strip;
        int page;
        Hsb3 from;
        int key;
        Hsb3 to;
    } cases[] = {
        {false, 0, {0, kFull, kFull}, kVkLeft, {0, kFull, kFull}},
        {false, 0, {100, kHalf, kFull}, kVkRight, {102, kHalf, kFull}},
        {false, 0, {100, kHalf, kFull}, kVkUp, {100, kHalf + kUnit1, kFull}},
        {false, 0, {100, 0, kFull}, kVkDown, {100, 0, kFull}},
        {false, 0, {100, kHalf, kFull}, 0x41, {100, kHalf, kFull}},
        {false, 1, {0, kFull, kFull}, kVkRight, {359, kFull, kFull}},
        {false, 1, {358, kFull, kFull}, kVkLeft, {360, kFull, kFull}},
        {false, 1, {0, kFull, kHalf}, kVkDown, {0, kFull - kUnit2, kHalf}},
        {false, 2, {120, kHalf, kHalf}, kVkRight, {120, kHalf + kUnit1, kHalf}},
        {false, 2, {120, kHalf, kHalf}, kVkDown, {120, kHalf, kHalf - kUnit1}},
        {true, 0, {100, kHalf, kHalf}, kVkUp, {100, kHalf, kHalf + kUnit1}},
        {true, 1, {100, kHalf, 0}, kVkDown, {100, kHalf, 0}},
        {true, 2, {1, kHalf, kHalf}, kVkUp, {0, kHalf, kHalf}},
        {true, 2, {120, kHalf, kHalf}, kVkDown, {122, kHalf, kHalf}},
        {true, 2, {120, kHalf, kHalf}, kVkLeft, {120, kHalf, kHalf}},
    };
    for (const auto& c : cases) {
        Start(c.page, c.from.hue, c.from.saturation, c.from.brightness);
        EXPECT_FALSE(c.strip ? picker.OnStripKeyDown(c.key) : picker.OnPlaneKeyDown(c.key));
        EXPECT_EQ(picker.CurrentColor, Hsb(c.to.hue, c.to.saturation, c.to.brightness))
            << (c.strip ? "strip" : "plane") << " page " << c.page << " key " << c.key;
    }
    // Black at hue 200: the key starts from the markers while the strip marker stands, and
    // from the colour, which has no hue, when it doesn't.
    for (int marker : {243, kNoMarker}) {
        Start(0, 200, kFull, 0);
        picker.StripMarkerPos = marker;
        picker.OnPlaneKeyDown(kVkRight);
        EXPECT_EQ(picker.PlaneMarkerX, ScaleHueToPixels(marker == kNoMarker ? 2 : 202, 300) + 3);
    }
}

TEST_F(PointerInput, ArrowKeysOnTheCubesStepChannelsAndAlwaysRepaint) {
    const struct {
        bool strip;
        int page;
        RgbColor from;
        int key;
        RgbColor to;
    } cases[] = {
        {false, 3, 0x801020, kVkRight, 0x801021}, {false, 3, 0x801020, kVkDown, 0x7F1020},
        {false, 3, 0xFF10FF, kVkUp, 0xFF10FF},    {false, 3, 0xFF10FF, kVkRight, 0xFF10FF},
        {false, 4, 0x801020, kVkRight, 0x80101F}, {false, 4, 0x801020, kVkUp, 0x7F1020},
        {false, 4, 0x001000, kVkUp, 0x001000},    {true, 3, 0xFFFFFF, kVkUp, 0xFFFFFF},
    };
    for (const auto& c : cases) {
        picker.ActivePage = c.page;
        picker.SetCurrentColor(c.from, true);
        host.TakeTrace();
        EXPECT_FALSE(c.strip ? picker.OnStripKeyDown(c.key) : picker.OnPlaneKeyDown(c.key));
        EXPECT_EQ(picker.CurrentColor, c.to) << std::hex << c.from << " key " << c.key;
        EXPECT_NE(Views().find("invalidate plane @-10,-10"), std::string::npos);
    }
    EXPECT_EQ(picker.OnGetDlgCode(), kDlgcWantArrows);
}

} // namespace
} // namespace orrelux
