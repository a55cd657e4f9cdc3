#include "filedialog/preview_drawing.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace orrelux::filedialog {
namespace {

constexpr Pixel kBlack = 0;

// Pixels as rows of hex words, for failure messages that show the whole picture.
std::string Dump(const Surface& surface) {
    std::string out;
    for (int y = 0; y < surface.Height(); ++y) {
        for (int x = 0; x < surface.Width(); ++x) {
            char word[10];
            std::snprintf(word, sizeof word, " %06X", surface.GetPixel(x, y));
            out += word;
        }
        out += '\n';
    }
    return out;
}

void ExpectPixels(const Surface& surface, const std::vector<std::vector<Pixel>>& rows) {
    ASSERT_EQ(surface.Height(), static_cast<int>(rows.size()));
    for (int y = 0; y < surface.Height(); ++y) {
        ASSERT_EQ(surface.Width(), static_cast<int>(rows[y].size()));
        for (int x = 0; x < surface.Width(); ++x)
            ASSERT_EQ(surface.GetPixel(x, y), rows[y][x]) << "at (" << x << ", " << y << ")\n"
                                                          << Dump(surface);
    }
}

// ---------------------------------------------------------------------------------------------
// The empty picture

TEST(EmptyPicture, PlainBackgroundIsTheSystemColourAsAPixel) {
    HeapSurface buffer(7, 5);
    buffer.Pixels().FillRect(buffer.Pixels().Bounds(), 0x123456);
    DrawEmptyPicture(buffer.Pixels(), 7, 5, 0x00336699, false); // COLORREF: red 0x99, blue 0x33
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x)
            ASSERT_EQ(buffer.Pixels().GetPixel(x, y), 0x996633u) << x << ", " << y;
}

TEST(EmptyPicture, CrossBlendsTwoPixelStepsChannelByChannel) {
    // COLORREF 0x00214181 is the pixel 0x814121. A half step truncates every channel (0x81 / 2
    // is 0x40), and where the second line crosses a half step of the first it halves it again.
    constexpr ColorRef back = 0x00214181;
    constexpr Pixel b = 0x814121;
    constexpr Pixel h = 0x402010;
    constexpr Pixel q = 0x201008;
    {
        SCOPED_TRACE("wide, 5 by 3");
        HeapSurface buffer(5, 3);
        DrawEmptyPicture(buffer.Pixels(), 5, 3, back, true);
        ExpectPixels(buffer.Pixels(), {{kBlack, h, b, h, kBlack}, //
                                       {b, q, kBlack, q, b},      //
                                       {kBlack, h, b, h, kBlack}});
    }
    {
        SCOPED_TRACE("tall, 3 by 5");
        HeapSurface buffer(3, 5);
        DrawEmptyPicture(buffer.Pixels(), 3, 5, back, true);
        ExpectPixels(
            buffer.Pixels(),
            {{kBlack, b, kBlack}, {h, q, h}, {b, kBlack, b}, {h, q, h}, {kBlack, b, kBlack}});
    }
}

TEST(EmptyPicture, SquareAndDegeneratePanesGetPlainBlackLines) {
    struct Case {
        int width, height;
        std::vector<std::string> map; // # black, . background
    };
    const Case cases[] = {
        {1, 1, {"#"}},
        {2, 2, {"##", "##"}},
        {5, 5, {"#...#", ".#.#.", "..#..", ".#.#.", "#...#"}},
        {6, 6, {"#....#", ".#..#.", "..##..", "..##..", ".#..#.", "#....#"}},
        {1, 4, {"#", "#", "#", "#"}},
        {4, 1, {"####"}},
    };
    constexpr Pixel back = 0xEEEEEE;
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << " by " << c.height);
        HeapSurface buffer(c.width, c.height);
        DrawEmptyPicture(buffer.Pixels(), c.width, c.height, back, true);
        std::vector<std::vector<Pixel>> expected;
        for (const std::string& row : c.map) {
            expected.emplace_back();
            for (char cell : row)
                expected.back().push_back(cell == '#' ? kBlack : back);
        }
        ExpectPixels(buffer.Pixels(), expected);
    }
}

TEST(EmptyPicture, CrossJoinsTheCornersOfPanesOfAnyProportion) {
    constexpr Pixel back = 0xEEEEEE;
    const int sizes[][2] = {{100, 60}, {60, 100}, {133, 100}, {37, 91}, {160, 159}, {3, 2}};
    for (const auto& size : sizes) {
        const int w = size[0];
        const int h = size[1];
        SCOPED_TRACE(testing::Message() << w << " by " << h);
        HeapSurface buffer(w, h);
        Surface& s = buffer.Pixels();
        DrawEmptyPicture(s, w, h, 0xEEEEEE, true);
        EXPECT_EQ(s.GetPixel(0, 0), kBlack);
        EXPECT_EQ(s.GetPixel(w - 1, 0), kBlack);
        EXPECT_EQ(s.GetPixel(0, h - 1), kBlack);
        EXPECT_EQ(s.GetPixel(w - 1, h - 1), kBlack);
        if (w > 4 && h > 4) {
            // The middles of the edges lie far from both lines.
            EXPECT_EQ(s.GetPixel(w / 2, 0), back);
            EXPECT_EQ(s.GetPixel(w / 2, h - 1), back);
            EXPECT_EQ(s.GetPixel(0, h / 2), back);
            EXPECT_EQ(s.GetPixel(w - 1, h / 2), back);
        }
    }
}

TEST(EmptyPicture, EachStepOfASoftLineCoversOnePixelInAll) {
    // Along a wide pane every column of a line darkens two neighbouring pixels by shares that
    // add up to one pixel of black; truncation adds at most one level per pixel and channel.
    constexpr int w = 100;
    constexpr int h = 60;
    HeapSurface buffer(w, h);
    Surface& s = buffer.Pixels();
    DrawEmptyPicture(s, w, h, 0xEEEEEE, true);
    for (int x = 0; x < w; ++x) {
        if (std::abs(2 * x - (w - 1)) < 12)
            continue; // where the lines cross, they blend over each other
        int darkness = 0;
        int touched = 0;
        for (int y = 0; y < h; ++y) {
            const int level = static_cast<int>(s.GetPixel(x, y) & 0xFF);
            if (level != 0xEE) {
                darkness += 0xEE - level;
                ++touched;
            }
        }
        // Two lines, each one pixel of black spread over at most two pixels.
        EXPECT_GE(darkness, 2 * 0xEE) << "column " << x;
        EXPECT_LE(darkness, 2 * 0xEE + 4) << "column " << x;
        EXPECT_LE(touched, 4) << "column " << x;
    }
}

TEST(PaneBackColor, BlackFromTheSystemMeansTheFallback) {
    EXPECT_EQ(PaneBackColorFrom(0), 0xEEEEEEu);
    EXPECT_EQ(PaneBackColorFrom(0x00010000), 0x00010000u);
    EXPECT_EQ(PaneBackColorFrom(0x00F0F0F0), 0x00F0F0F0u);
}

// ---------------------------------------------------------------------------------------------
// The guarded drawing of the pane

class EmptyBitmapTest : public testing::Test {
protected:
    EmptyBitmapTest() : buffer_(4, 4) {
        pane_.bitmap = buffer_.Pixels();
        pane_.width = 4;
        pane_.height = 4;
        pane_.backColor = 0x00FF0000; // COLORREF blue
        buffer_.Pixels().FillRect(buffer_.Pixels().Bounds(), kOld);
    }
    bool Untouched() const {
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x)
                if (buffer_.Pixels().GetPixel(x, y) != kOld)
                    return false;
        return true;
    }

    static constexpr Pixel kOld = 0x123456;
    HeapSurface buffer_;
    PreviewPane pane_;
};

TEST_F(EmptyBitmapTest, DrawsAndRecordsTheCross) {
    EXPECT_TRUE(DrawEmptyBitmap(pane_, true, true));
    EXPECT_TRUE(pane_.crossed.load());
    EXPECT_EQ(pane_.bitmap.GetPixel(0, 0), kBlack);
    EXPECT_EQ(pane_.bitmap.GetPixel(1, 0), 0x0000FFu);

    // The flag was given back: the blank pane follows at once and clears the record.
    EXPECT_TRUE(DrawEmptyBitmap(pane_, true, false));
    EXPECT_FALSE(pane_.crossed.load());
    EXPECT_EQ(pane_.bitmap.GetPixel(0, 0), 0x0000FFu);
}

TEST_F(EmptyBitmapTest, DoesNothingWhenItCannotDraw) {
    struct Case {
        const char* name;
        void (*change)(PreviewPane&);
        bool paneOpen;
    };
    const Case cases[] = {
        {"dialog closed", [](PreviewPane&) {}, false},
        {"no bitmap", [](PreviewPane& p) { p.bitmap = Surface(); }, true},
        {"no width", [](PreviewPane& p) { p.width = 0; }, true},
        {"negative height", [](PreviewPane& p) { p.height = -3; }, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        PreviewPane pane;
        pane.bitmap = buffer_.Pixels();
        pane.width = 4;
        pane.height = 4;
        pane.crossed = true;
        c.change(pane);
        EXPECT_FALSE(DrawEmptyBitmap(pane, c.paneOpen, false));
        EXPECT_TRUE(pane.crossed.load());
        EXPECT_TRUE(Untouched());
        EXPECT_TRUE(pane.busy.TryTake()) << "the flag was left held";
    }
}

TEST_F(EmptyBitmapTest, GivesUpWhileSomebodyElseHoldsTheBitmap) {
    {
        const PreviewBusyHold worker(pane_.busy);
        ASSERT_TRUE(worker.Held());
        EXPECT_FALSE(PreviewBusyHold(pane_.busy).Held());
        EXPECT_FALSE(DrawEmptyBitmap(pane_, true, true));
        EXPECT_FALSE(pane_.crossed.load());
        EXPECT_TRUE(Untouched());
    }
    EXPECT_TRUE(DrawEmptyBitmap(pane_, true, true));
    EXPECT_TRUE(pane_.crossed.load());
}

// ---------------------------------------------------------------------------------------------
// Placing a decoded picture

TEST(PlacePicture, CentresByTruncationAndNeverScales) {
    struct Case {
        const char* name;
        int paneW, paneH, w, h;
        Rect place;
    };
    const Case cases[] = {
        {"exact fit", 100, 100, 100, 100, {0, 0, 100, 100}},
        {"wide", 100, 100, 100, 60, {0, 20, 100, 80}},
        {"tall", 100, 100, 60, 100, {20, 0, 80, 100}},
        {"two narrower", 100, 100, 98, 98, {1, 1, 99, 99}},
        {"one narrower truncates to 0", 100, 100, 99, 99, {0, 0, 99, 99}},
        {"tiny", 100, 100, 1, 1, {49, 49, 50, 50}},
        {"one column", 100, 100, 1, 100, {49, 0, 50, 100}},
        {"one row", 100, 100, 100, 1, {0, 49, 100, 50}},
        {"odd pane", 101, 75, 50, 20, {25, 27, 75, 47}},
        {"small pictures keep their size", 300, 200, 16, 16, {142, 92, 158, 108}},
        {"larger than the pane, truncated toward zero", 100, 100, 103, 105, {-1, -2, 102, 103}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Rect r = PlacePicture(c.paneW, c.paneH, c.w, c.h);
        EXPECT_EQ(r.left, c.place.left);
        EXPECT_EQ(r.top, c.place.top);
        EXPECT_EQ(r.right, c.place.right);
        EXPECT_EQ(r.bottom, c.place.bottom);
    }
}

TEST(PictureFrame, DrawnOnlyOnTheSidesInsideTheBitmap) {
    struct Case {
        int paneW, paneH, w, h;
        std::vector<std::string> map; // # frame, . untouched
    };
    const Case cases[] = {
        {6, 6, 2, 2, {"......", ".####.", ".#..#.", ".#..#.", ".####.", "......"}},
        {6, 6, 4, 4, {"######", "#....#", "#....#", "#....#", "#....#", "######"}},
        {6, 6, 3, 3, {"#####.", "#...#.", "#...#.", "#...#.", "#####.", "......"}},
        {6, 6, 4, 6, {"#....#", "#....#", "#....#", "#....#", "#....#", "#....#"}},
        {6, 6, 4, 5, {"#....#", "#....#", "#....#", "#....#", "#....#", "......"}},
        {6, 6, 6, 4, {"######", "......", "......", "......", "......", "######"}},
        {6, 6, 5, 4, {"#####.", "......", "......", "......", "......", "#####."}},
        {6, 6, 1, 6, {".#.#..", ".#.#..", ".#.#..", ".#.#..", ".#.#..", ".#.#.."}},
        {6, 6, 5, 5, {"......", "......", "......", "......", "......", "......"}},
        {6, 6, 6, 6, {"......", "......", "......", "......", "......", "......"}},
        {6, 6, 8, 2, {"......", "######", "......", "......", "######", "......"}},
        {5, 5, 1, 1, {".....", ".###.", ".#.#.", ".###.", "....."}},
    };
    constexpr Pixel untouched = 0xA0B0C0;
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.w << " by " << c.h << " in " << c.paneW << " by " << c.paneH);
        HeapSurface buffer(c.paneW, c.paneH);
        buffer.Pixels().FillRect(buffer.Pixels().Bounds(), untouched);
        DrawPictureFrame(buffer.Pixels(), PlacePicture(c.paneW, c.paneH, c.w, c.h));
        std::vector<std::vector<Pixel>> expected;
        for (const std::string& row : c.map) {
            expected.emplace_back();
            for (char cell : row)
                expected.back().push_back(cell == '#' ? kBlack : untouched);
        }
        ExpectPixels(buffer.Pixels(), expected);
    }
}

} // namespace
} // namespace orrelux::filedialog
