#include "filedialog/preview_drawing.h"

#include <gtest/gtest.h>

#include <cstdio>
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

// A picture drawn as rows of '#' for black and any other character for `back`.
void ExpectMap(const Surface& surface, const std::vector<std::string>& map, Pixel back) {
    std::vector<std::vector<Pixel>> rows;
    for (const std::string& row : map) {
        rows.emplace_back();
        for (char cell : row)
            rows.back().push_back(cell == '#' ? kBlack : back);
    }
    ExpectPixels(surface, rows);
}

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
    constexpr Pixel b = 0x814121, h = 0x402010, q = 0x201008;
    HeapSurface buffer(5, 3);
    DrawEmptyPicture(buffer.Pixels(), 5, 3, 0x00214181, true);
    ExpectPixels(buffer.Pixels(),
                 {{kBlack, h, b, h, kBlack}, {b, q, kBlack, q, b}, {kBlack, h, b, h, kBlack}});
}

TEST(EmptyPicture, SquareAndDegeneratePanesGetPlainBlackLines) {
    const struct {
        int width, height;
        std::vector<std::string> map; // # black, . background
    } cases[] = {
        {5, 5, {"#...#", ".#.#.", "..#..", ".#.#.", "#...#"}},
        {6, 6, {"#....#", ".#..#.", "..##..", "..##..", ".#..#.", "#....#"}},
        {4, 1, {"####"}},
    };
    constexpr Pixel back = 0xEEEEEE;
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << " by " << c.height);
        HeapSurface buffer(c.width, c.height);
        DrawEmptyPicture(buffer.Pixels(), c.width, c.height, back, true);
        ExpectMap(buffer.Pixels(), c.map, back);
    }
}

TEST(PaneBackColor, BlackFromTheSystemMeansTheFallback) {
    EXPECT_EQ(PaneBackColorFrom(0), 0xEEEEEEu);
    EXPECT_EQ(PaneBackColorFrom(0x00010000), 0x00010000u);
    EXPECT_EQ(PaneBackColorFrom(0x00F0F0F0), 0x00F0F0F0u);
}

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
    const struct {
        const char* name;
        void (*change)(PreviewPane&);
        bool paneOpen;
    } cases[] = {
        {"dialog closed", [](PreviewPane&) {}, false},
        {"no bitmap", [](PreviewPane& p) { p.bitmap = Surface(); }, true},
        {"no width", [](PreviewPane& p) { p.width = 0; }, true},
        {"negative height", [](PreviewPane& p) { p.height = -3; }, true},
    };
    for (const auto& c : cases) {
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

// A picture one pixel narrower than the pane starts at 0; one larger than the pane is truncated
// toward zero as well.
TEST(PlacePicture, CentresByTruncationAndNeverScales) {
    const struct {
        int paneW, paneH, w, h;
        Rect place;
    } cases[] = {
        {100, 100, 100, 60, {0, 20, 100, 80}},    {100, 100, 99, 99, {0, 0, 99, 99}},
        {101, 75, 50, 20, {25, 27, 75, 47}},      {300, 200, 16, 16, {142, 92, 158, 108}},
        {100, 100, 103, 105, {-1, -2, 102, 103}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(PlacePicture(c.paneW, c.paneH, c.w, c.h), c.place) << c.w << " by " << c.h;
}

TEST(PictureFrame, DrawnOnlyOnTheSidesInsideTheBitmap) {
    const struct {
        int paneW, paneH, w, h;
        std::vector<std::string> map; // # frame, . untouched
    } cases[] = {
        {6, 6, 2, 2, {"......", ".####.", ".#..#.", ".#..#.", ".####.", "......"}},
        {6, 6, 3, 3, {"#####.", "#...#.", "#...#.", "#...#.", "#####.", "......"}},
        {6, 6, 4, 5, {"#....#", "#....#", "#....#", "#....#", "#....#", "......"}},
        {6, 6, 5, 4, {"#####.", "......", "......", "......", "......", "#####."}},
        {6, 6, 5, 5, {"......", "......", "......", "......", "......", "......"}},
        {6, 6, 8, 2, {"......", "######", "......", "......", "######", "......"}},
    };
    constexpr Pixel untouched = 0xA0B0C0;
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.w << " by " << c.h << " in " << c.paneW << " by " << c.paneH);
        HeapSurface buffer(c.paneW, c.paneH);
        buffer.Pixels().FillRect(buffer.Pixels().Bounds(), untouched);
        DrawPictureFrame(buffer.Pixels(), PlacePicture(c.paneW, c.paneH, c.w, c.h));
        ExpectMap(buffer.Pixels(), c.map, untouched);
    }
}

} // namespace
} // namespace orrelux::filedialog
