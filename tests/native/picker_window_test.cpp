#include "picker/picker_window.h"

#include "fake_picker_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include <string>

namespace orrelux {
namespace {

using testing::FakePickerHost;

constexpr int kFull = 0x10000;

TEST(PickerClosed, SetCurrentColorMasksAndStopsOnUnchangedColour) {
    CPickerWindow picker;
    EXPECT_TRUE(picker.SetCurrentColor(0xFF123456, false));
    EXPECT_EQ(picker.CurrentColor, 0x123456u);
    EXPECT_TRUE(picker.SetCurrentColor(0xFF123456, false));
    EXPECT_TRUE(picker.SetCurrentColor(0x123456, true));
    EXPECT_EQ(picker.CurrentColor, 0x123456u);
    // No swatch window: the swatch keeps its colour, and no marker gets placed.
    EXPECT_EQ(picker.NewSwatchColor, 0xFFFFFFFFu);
    EXPECT_EQ(picker.PlaneMarkerX, kNoMarker);
    EXPECT_EQ(picker.StripMarkerPos, kNoMarker);
}

TEST(PickerClosed, PropertyWritesOnlyStore) {
    CPickerWindow picker;
    picker.SetResultColor(0xFF00FF00);
    EXPECT_EQ(picker.GetResultColor(), 0xFF00FF00u);
    EXPECT_EQ(picker.CurrentColor, 0x00FF00u);
    for (int page : {3, 5, 9, -1}) {
        EXPECT_FALSE(picker.SetActivePage(page));
        EXPECT_EQ(picker.GetActivePage(), page);
    }
}

TEST(PickerClosed, TitleDefaultsCopiesAndBounds) {
    CPickerWindow picker;
    EXPECT_EQ(std::wstring(picker.GetTitle()), L"Colors");
    picker.SetTitle(nullptr);
    EXPECT_EQ(std::wstring(picker.GetTitle()), L"");
    const std::wstring longText(300, L'x');
    picker.SetTitle(longText.c_str());
    EXPECT_EQ(std::wstring(picker.GetTitle()), longText.substr(0, kTitleCapacity));
}

class PickerOpen : public ::testing::Test {
protected:
    PickerOpen() {
        picker.PrepareForShow(&host, 0, 0, 0, 0);
        picker.EnsurePlaneSurface();
        picker.EnsureStripSurface();
        host.TakeTrace();
    }
    const Surface& Plane() const { return picker.PlaneSurface->Pixels(); }
    const Surface& Strip() const { return picker.StripSurface->Pixels(); }
    static int LitPixels(const Surface& surface) {
        int lit = 0;
        for (int y = 0; y < surface.Height(); ++y)
            for (int x = 0; x < surface.Width(); ++x)
                lit += surface.GetPixel(x, y) == 0xFFFFFF;
        return lit;
    }

    CPickerWindow picker;
    FakePickerHost host{picker};
};

TEST_F(PickerOpen, SetCurrentColorRunsItsStepsInOrder) {
    // 0x123456 is hue 210, saturation 51819, brightness 22102. Plane 300 x 240 inside, strip
    // 240 high, inset 3. A repaint shows as an invalidation with its marker still at -10.
    const std::string fields = "text red 18; sel red 0,0; text green 52; sel green 0,0; "
                               "text blue 86; sel blue 0,0; ";
    const std::string views = "invalidate plane @-10,-10; update dialog; "
                              "invalidate strip @-10; update dialog; "
                              "invalidate strip @162; update dialog; "
                              "invalidate plane @178,53; update dialog";
    picker.SetCurrentColor(0xFF123456, false);
    EXPECT_EQ(host.TakeTrace(),
              "invalidate new 123456; update dialog; " + fields + "text hex 123456; " + views);
    picker.SetCurrentColor(0x123456, false);
    EXPECT_EQ(host.TakeTrace(), "");
    // Forced: swatch and hex text already agree and stay alone.
    picker.SetCurrentColor(0x123456, true);
    EXPECT_EQ(host.TakeTrace(), fields + views);
}

TEST_F(PickerOpen, SetCurrentColorHsbMovesMarkersToTheTripleWithoutRepaint) {
    picker.SetCurrentColor(0x123456, false);
    host.TakeTrace();
    picker.SetCurrentColorHsb(120, kFull, kFull);
    EXPECT_EQ(picker.CurrentColor, 0x00FF00u);
    EXPECT_EQ(host.TakeTrace(), "invalidate new 00FF00; update dialog; text red 0; sel red 0,0; "
                                "text green 255; sel green 0,0; text blue 0; sel blue 0,0; "
                                "text hex FF00; invalidate strip @3; update dialog; "
                                "invalidate plane @103,3; update dialog");
    // Black at hue 240: the marker keeps the hue, which the colour no longer has.
    picker.SetCurrentColorHsb(240, kFull, 0);
    EXPECT_EQ(picker.CurrentColor, 0u);
    EXPECT_EQ(picker.PlaneMarkerX, 203);
}

TEST_F(PickerOpen, SetActivePageShowsSelectsRepaintsAndPlacesMarkers) {
    picker.SetCurrentColor(0x123456, false);
    host.TakeTrace();
    EXPECT_TRUE(picker.SetActivePage(2));
    EXPECT_EQ(host.TakeTrace(),
              "show plane 1; show strip 1; readonly red 0; readonly green 0; readonly blue 0; "
              "readonly hex 0; enable redSpin 1; enable greenSpin 1; enable blueSpin 1; "
              "show combo 0; show grid 0; select tab 2; "
              "invalidate plane @-10,-10; update dialog; invalidate strip @-10; update dialog; "
              "invalidate strip @143; update dialog; invalidate plane @240,162; update dialog");
}

TEST_F(PickerOpen, PalettePageHidesViewsLocksFieldsAndSeeksNearestEntry) {
    picker.ActivePage = 5;
    EXPECT_TRUE(picker.ShowPageControls());
    EXPECT_EQ(host.Log.back(), "?combo combo"); // the nearest-entry search starts there
    EXPECT_EQ(host.TakeTrace(),
              "show plane 0; show strip 0; readonly red 1; readonly green 1; readonly blue 1; "
              "readonly hex 1; enable redSpin 0; enable greenSpin 0; enable blueSpin 0; "
              "show combo 1; show grid 1");
}

TEST_F(PickerOpen, PageOutsideRangeOrMissingSurfaceOnlyStoresThePage) {
    EXPECT_FALSE(picker.SetActivePage(9));
    EXPECT_EQ(picker.GetActivePage(), 9);
    EXPECT_EQ(host.TakeTrace(), "");

    picker.PlaneSurface.reset();
    host.FailSurfaces = true;
    EXPECT_FALSE(picker.SetActivePage(1));
    EXPECT_EQ(picker.GetActivePage(), 1);
    EXPECT_EQ(host.TakeTrace(), "surface plane");
}

TEST_F(PickerOpen, SelectTabChecksTheStripsTabCount) {
    host.Tabs = 5; // no palettes loaded
    EXPECT_FALSE(picker.SelectTab(5));
    EXPECT_FALSE(picker.SelectTab(-1));
    EXPECT_TRUE(picker.SelectTab(4));
    EXPECT_EQ(host.TakeTrace(), "select tab 4");
}

// The alpha of the new colour doesn't count; a stale alpha forces a repaint, never hides one.
TEST_F(PickerOpen, SwatchesCompareTheLow24BitsOfTheNewColour) {
    const struct {
        std::uint32_t stored, color;
        bool repaint;
    } cases[] = {{0x112233, 0x112233, false},
                 {0x112233, 0xFF112233, false},
                 {0xFF112233, 0x112233, true},
                 {0x112233, 0x112234, true}};
    for (const auto& c : cases) {
        picker.NewSwatchColor = picker.OldSwatchColor = c.stored;
        picker.UpdateNewSwatch(c.color);
        picker.UpdateOldSwatch(c.color);
        const std::uint32_t expected = c.repaint ? c.color & 0xFFFFFF : c.stored;
        EXPECT_EQ(picker.NewSwatchColor, expected) << std::hex << c.stored << " " << c.color;
        EXPECT_EQ(picker.OldSwatchColor, expected);
        EXPECT_EQ(host.TakeTrace().empty(), !c.repaint);
    }
}

TEST_F(PickerOpen, ApplyFiresThenMovesOldSwatch) {
    picker.SetCurrentColor(0xABCDEF, false);
    host.TakeTrace();
    picker.OnApply();
    EXPECT_EQ(picker.GetResultColor(), 0xABCDEFu);
    EXPECT_EQ(host.TakeTrace(), "fire apply; invalidate old ABCDEF; update dialog");
    // Unchanged colour: the event fires all the same, no swatch repaints.
    picker.OnApply();
    EXPECT_EQ(host.TakeTrace(), "fire apply");
}

TEST_F(PickerOpen, ApplyHandlerWritingAColourChangesWhatTheOldSwatchTakes) {
    picker.SetCurrentColor(0x123456, false);
    std::uint32_t seen = 0;
    host.OnApply = [&] {
        seen = picker.GetResultColor();
        picker.SetResultColor(0xFF00FF00); // a ColorArgb write from the handler
    };
    picker.OnApply();
    EXPECT_EQ(seen, 0x123456u);
    EXPECT_EQ(picker.OldSwatchColor, 0x00FF00u);
    EXPECT_EQ(picker.GetResultColor(), 0xFF00FF00u);
}

TEST_F(PickerOpen, DialogResults) {
    picker.PrepareForShow(&host, 0xFF010203, 0, 0, 0);
    picker.SetCurrentColor(0x445566, false);
    picker.OnCancel(); // without Apply the result stays that of PrepareForShow
    EXPECT_EQ(picker.GetResultColor(), 0xFF010203u);
    picker.OnApply();
    picker.SetCurrentColor(0x778899, false);
    host.TakeTrace();
    picker.OnCancel(); // after Apply it is the applied colour
    EXPECT_EQ(picker.GetResultColor(), 0x445566u);
    picker.OnOk();
    EXPECT_EQ(picker.GetResultColor(), 0x778899u);
    EXPECT_EQ(host.TakeTrace(), "end dialog 2; end dialog 1");
}

TEST_F(PickerOpen, ApplyButtonLayoutTogglesBothWays) {
    // Apply stands at 470 and never moves; the step between buttons is 110.
    const struct {
        bool visible;
        int okLeft, cancelLeft;
    } cases[] = {{false, 360, 470}, {false, 360, 470}, {true, 250, 360}};
    for (const auto& c : cases) {
        picker.SetApplyButtonVisible(c.visible);
        EXPECT_EQ(host.Named("ok").Bounds, (Rect{c.okLeft, 376, c.okLeft + 90, 408}));
        EXPECT_EQ(host.Named("cancel").Bounds, (Rect{c.cancelLeft, 376, c.cancelLeft + 90, 408}));
        EXPECT_EQ(host.Named("apply").Bounds, (Rect{470, 376, 560, 408}));
        EXPECT_EQ(host.Named("apply").Visible, c.visible);
    }
    EXPECT_EQ(host.TakeTrace(), "show apply 0; move cancel 470,376; move ok 360,376; "
                                "show apply 0; move cancel 470,376; move ok 360,376; "
                                "show apply 1; move cancel 360,376; move ok 250,376");
}

TEST_F(PickerOpen, TitleReachesTheCaption) {
    picker.SetTitle(L"Pick");
    EXPECT_EQ(host.TakeTrace(), "text dialog Pick");
}

TEST_F(PickerOpen, PlaneMarkerIsClampedAndDrawnAsARing) {
    // Client area 306 x 246, inset 3. A whole ring is 7 x 7 less its 5 x 5 centre; at the far
    // end of the clamp its right column and bottom row fall off the surface.
    const struct {
        int x, y, placedX, placedY, lit;
    } cases[] = {{0, 0, 3, 3, 24},
                 {400, 500, 303, 243, 11},
                 {-5, 100, 3, 100, 24},
                 {150, 120, 150, 120, 24},
                 {303, 243, 303, 243, 11}};
    for (const auto& c : cases) {
        picker.MovePlaneMarker(c.x, c.y);
        EXPECT_EQ(picker.PlaneMarkerX, c.placedX);
        EXPECT_EQ(picker.PlaneMarkerY, c.placedY);
        EXPECT_EQ(LitPixels(Plane()), c.lit) << "the old ring is erased";
        EXPECT_EQ(Plane().GetPixel(c.placedX - 3, c.placedY - 3), 0xFFFFFFu);
        EXPECT_EQ(Plane().GetPixel(c.placedX - 3, c.placedY), 0xFFFFFFu);
        EXPECT_EQ(Plane().GetPixel(c.placedX, c.placedY), 0u);
        EXPECT_EQ(Plane().GetPixel(c.placedX - 2, c.placedY), 0u);
    }
}

TEST_F(PickerOpen, SecondMoveToTheSamePlaceDrawsNothing) {
    picker.MovePlaneMarker(50, 60);
    picker.MovePlaneMarker(50, 60);
    picker.MoveStripMarker(100);
    picker.MoveStripMarker(100);
    EXPECT_EQ(host.TakeTrace(),
              "invalidate plane @50,60; update dialog; invalidate strip @100; update dialog");
    EXPECT_EQ(LitPixels(Plane()), 24);
}

TEST_F(PickerOpen, StripMarkerIsAFlatRingAcrossTheStrip) {
    const struct { int row, placed; } cases[] = {{-50, 3}, {400, 243}, {100, 100}};
    for (const auto& c : cases) {
        picker.MoveStripMarker(c.row);
        ASSERT_EQ(picker.StripMarkerPos, c.placed);
        // Rows placed - 2 to placed + 1, columns 1 to 23 of a strip 25 wide.
        EXPECT_EQ(LitPixels(Strip()), 2 * 23 + 2 * 2);
        EXPECT_EQ(Strip().GetPixel(1, c.placed - 2), 0xFFFFFFu);
        EXPECT_EQ(Strip().GetPixel(23, c.placed + 1), 0xFFFFFFu);
        EXPECT_EQ(Strip().GetPixel(12, c.placed), 0u);
        EXPECT_EQ(Strip().GetPixel(0, c.placed), 0u);
    }
}

TEST_F(PickerOpen, MarkersPlacedFromHueSaturationBrightness) {
    // Plane 300 x 240 inside, strip 240 high, inset 3. Wheel: centre (153, 123), radius 119,
    // angles at 3.14 / 180 per degree (with pi / 180 hue 35 would land at x 250).
    const struct {
        int page, hue, saturation, brightness, x, y, row;
    } cases[] = {
        {0, 0, kFull, kFull, 3, 3, 3},      {0, 360, 0, 0, 303, 243, 243},
        {1, 77, 0, 0, 153, 123, 243},       {1, 90, kFull, kFull, 153, 4, 3},
        {1, 180, kFull, kFull, 34, 123, 3}, {1, 35, kFull, kFull, 251, 55, 3},
        {2, 180, 0, kFull, 3, 3, 123},      {2, 0, kFull, 0, 303, 243, 3},
    };
    for (const auto& c : cases) {
        picker.ActivePage = c.page;
        EXPECT_TRUE(picker.PlacePlaneMarker(c.hue, c.saturation, c.brightness));
        picker.PlaceStripMarker(c.hue, c.saturation, c.brightness);
        EXPECT_EQ(picker.PlaneMarkerX, c.x) << "page " << c.page << " hue " << c.hue;
        EXPECT_EQ(picker.PlaneMarkerY, c.y) << "page " << c.page << " hue " << c.hue;
        EXPECT_EQ(picker.StripMarkerPos, c.row) << "page " << c.page << " hue " << c.hue;
    }
}

TEST_F(PickerOpen, CubeAndPalettePagesPlaceNoPlaneMarker) {
    for (int page : {3, 4}) {
        picker.ActivePage = page;
        EXPECT_TRUE(picker.PlacePlaneMarker(0, kFull, kFull));
        EXPECT_EQ(picker.PlaneMarkerX, kNoMarker);
        EXPECT_EQ(host.TakeTrace(), "invalidate plane @-10,-10; update dialog");
    }
    picker.ActivePage = 5;
    EXPECT_FALSE(picker.PlacePlaneMarker(0, kFull, kFull));
    picker.PlaceStripMarker(0, kFull, kFull);
    EXPECT_FALSE(picker.PlacePlaneMarkerForColor(0xFF0000));
    EXPECT_TRUE(host.Log.empty());
}

TEST_F(PickerOpen, RepaintWipesMarkersAndDrawsFocusOnlyWhenFocused) {
    const Pixel background = ColorRefToRgb(picker.BackgroundColor);
    picker.MovePlaneMarker(50, 50);
    picker.MoveStripMarker(50);
    EXPECT_TRUE(picker.RepaintPlane(-1, -1, -1));
    EXPECT_TRUE(picker.RepaintStrip(-1, -1));
    EXPECT_EQ(picker.PlaneMarkerX, kNoMarker);
    EXPECT_EQ(picker.StripMarkerPos, kNoMarker);
    // The frame holds the background: no ring and no focus outline survived the repaint.
    EXPECT_EQ(Plane().GetPixel(1, 1), background);
    EXPECT_EQ(Strip().GetPixel(2, 1), background);

    host.Focus = picker.PlaneWindow;
    picker.RepaintPlane(-1, -1, -1);
    EXPECT_EQ(Plane().GetPixel(1, 1), background ^ 0xFFFFFFu); // the dotted outline starts here
    host.Focus = picker.StripWindow;
    picker.RepaintStrip(-1, -1);
    EXPECT_EQ(Strip().GetPixel(2, 1), background ^ 0xFFFFFFu);
}

// The cube is painted once per page and kept; every repaint copies it and draws the guides for
// the current colour, so the guides of an earlier colour never remain.
TEST_F(PickerOpen, CubePagesPaintTheirCubeOnceAndRedrawGuidesOverACopy) {
    picker.ActivePage = 3;
    picker.CurrentColor = 0x804020;
    ASSERT_TRUE(picker.RepaintPlane(-1, -1, -1));
    ASSERT_NE(picker.RgbCubeBitmap, nullptr);
    const HeapSurface* cached = picker.RgbCubeBitmap.get();
    const std::vector<Pixel> first(Plane().Row(0),
                                   Plane().Row(0) + Plane().Width() * Plane().Height());

    picker.CurrentColor = 0x000000;
    ASSERT_TRUE(picker.RepaintPlane(-1, -1, -1));
    picker.CurrentColor = 0x804020;
    ASSERT_TRUE(picker.RepaintPlane(-1, -1, -1));
    EXPECT_EQ(picker.RgbCubeBitmap.get(), cached);
    EXPECT_TRUE(std::equal(first.begin(), first.end(), Plane().Row(0)));
    EXPECT_EQ(picker.CmyCubeBitmap, nullptr);

    picker.ActivePage = 4;
    ASSERT_TRUE(picker.RepaintPlane(-1, -1, -1));
    EXPECT_NE(picker.CmyCubeBitmap, nullptr);
}

class PickerFields : public PickerOpen {
protected:
    PickerFields() {
        picker.SetCurrentColor(0x123456, true);
        host.Notify = true;
    }
    std::wstring Text(WindowHandle edit) { return host.Window(edit).Text; }
};

TEST_F(PickerFields, TypedDecimalTextIsHeldAndTakenAsTheChannel) {
    const struct {
        const wchar_t *start, *typed;
        RgbColor color;
        const wchar_t* shown;
    } cases[] = {
        {L"18", L"300", 0xFF3456, L"255"}, // held to 255 at the third digit
        {L"18", L"", 0x003456, L"0"},      // emptied: the channel becomes 0, the flow writes 0
        {L"0", L"", 0x003456, L""},        // already 0: no change, the field stays empty
        {L"7", L"07", 0x073456, L"07"},    // a leading zero has the same value and stays
        {L"18", L"1a", 0x003456, L"0"},    // pasted non-digits count as 0
    };
    for (const auto& c : cases) {
        host.Type(picker.RedEdit, c.start);
        host.Type(picker.RedEdit, c.typed);
        EXPECT_EQ(picker.CurrentColor, c.color) << std::hex << c.color;
        EXPECT_EQ(Text(picker.RedEdit), c.shown);
    }
}

TEST_F(PickerFields, CaretKeepsItsPlaceByNumber) {
    host.Named("red").SelStart = host.Named("red").SelEnd = 3;
    host.Type(picker.RedEdit, L"300");
    EXPECT_EQ(host.Named("red").SelStart, 3);
    EXPECT_EQ(host.Named("red").SelEnd, 3);
}

TEST_F(PickerFields, HexTextIsFilteredAndEqualValuesStay) {
    const struct {
        const wchar_t* typed;
        RgbColor color;
        const wchar_t* shown;
    } cases[] = {
        {L"#ff12", 0x00FF12, L"FF12"},
        {L"0000FF", 0x0000FF, L"0000FF"}, // leading zeros typed by the user stay
        {L"", 0x000000, L""},             // emptied: black, and the field stays empty
        {L"12g4567", 0x124567, L"124567"},
    };
    for (const auto& c : cases) {
        host.Type(picker.HexEdit, c.typed);
        EXPECT_EQ(picker.CurrentColor, c.color);
        EXPECT_EQ(Text(picker.HexEdit), c.shown);
        EXPECT_EQ(Text(picker.BlueEdit), std::to_wstring(c.color & 0xFF));
    }
}

TEST_F(PickerFields, FlowShowsBlackAsEmptyHex) {
    host.Window(picker.HexEdit).Text.clear();
    picker.SetCurrentColor(0, true);
    EXPECT_EQ(Text(picker.HexEdit), L"");
    EXPECT_EQ(Text(picker.GreenEdit), L"0");
}

TEST_F(PickerFields, SpinStandsRightOfItsFieldOneRowTallerAtEitherEnd) {
    host.TakeTrace();
    host.Named("red").Bounds = Rect{200, 50, 260, 70};
    EXPECT_NE(picker.CreateChannelSpin(picker.RedEdit, 230, 10), nullptr);
    EXPECT_EQ(host.TakeTrace(), "updown 230 in dialog for red at 261,49 10x22 0..255 0");
    host.FailGeometry = true;
    EXPECT_EQ(picker.CreateChannelSpin(picker.GreenEdit, 231, 10), nullptr);
    EXPECT_EQ(host.TakeTrace(), "");
}

TEST_F(PickerFields, WriteWhileAnotherFieldHasFocusNeverChangesTheColour) {
    host.Focus = picker.GreenEdit;
    EXPECT_TRUE(picker.WriteChannelField(picker.RedEdit, 999));
    EXPECT_EQ(Text(picker.RedEdit), L"255");
    EXPECT_EQ(picker.CurrentColor, 0x123456u);
    EXPECT_FALSE(picker.WriteChannelField(nullptr, 1));
}

} // namespace
} // namespace orrelux
