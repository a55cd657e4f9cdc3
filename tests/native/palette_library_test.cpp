#include "picker/palette_library.h"

#include "fake_picker_host.h"
#include "picker/input_codes.h"
#include "picker/picker_window.h"

#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace orrelux {
namespace {

using testing::FakePickerHost;

// The engine's palette object: serves the scripted palettes by type and records its calls.
struct EngineScript {
    std::map<int, std::vector<std::uint32_t>> palettes; // an empty palette counts 0 entries
    std::set<int> failLoad, failCount, failEntries;
    std::string calls;
    int released = 0;
};

class FakePaletteSource final : public PaletteSource {
public:
    explicit FakePaletteSource(EngineScript& script) : script_(script) {}
    ~FakePaletteSource() override { ++script_.released; }
    Status LoadStandardPalette(std::int32_t type, std::int32_t reserved) override {
        script_.calls += std::to_string(type) + "," + std::to_string(reserved) + " ";
        type_ = type;
        return script_.failLoad.count(type) || !script_.palettes.count(type) ? -1 : 0;
    }
    Status EntryCount(std::int32_t& count) override {
        count = static_cast<std::int32_t>(script_.palettes[type_].size());
        return script_.failCount.count(type_) ? -2147467259 : 0;
    }
    Status EntryAt(std::int32_t index, std::uint32_t& color) override {
        color = 0xFFFFFFFF; // left behind by a failure, and never to be used
        if (script_.failEntries.count(index))
            return -1;
        color = script_.palettes[type_].at(static_cast<std::size_t>(index));
        return 0;
    }

private:
    EngineScript& script_;
    int type_ = 0;
};

std::vector<std::uint32_t> WebSafe() { // blue fastest, with the engine's opaque alpha
    std::vector<std::uint32_t> colors;
    for (std::uint32_t i = 0; i < 216; ++i)
        colors.push_back(0xFF000000 | PackRgb(i / 36 * 51, i / 6 % 6 * 51, i % 6 * 51));
    return colors;
}

const std::vector<std::uint32_t> kSystem20 = {0x000000, 0x800000, 0x008000, 0x808000, 0x000080,
                                              0x800080, 0x008080, 0xC0C0C0, 0xC0DCC0, 0xA6CAF0,
                                              0xFFFBF0, 0xA0A0A4, 0x808080, 0xFF0000, 0x00FF00,
                                              0xFFFF00, 0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF};

// The fake dialog's grid is 300 x 220: 16 columns of cells 18 x 13 for up to 256 entries.
class PalettePage : public ::testing::Test {
protected:
    PalettePage() {
        script.palettes = {{2, WebSafe()}, {3, kSystem20}, {4, std::vector<std::uint32_t>(256)}};
        picker.CreatePaletteSource = [this] { return std::make_unique<FakePaletteSource>(script); };
    }
    // The palette steps of the dialog start, with the given property values.
    void Open(int palette, int cell, RgbColor color = 0) {
        host.ComboItems.clear();
        picker.PrepareForShow(&host, color, 0, palette, cell);
        ASSERT_TRUE(picker.LoadPalettes());
        ASSERT_TRUE(picker.FillPaletteCombo());
        picker.SetCurrentColor(picker.CurrentColor, true);
        host.TakeTrace();
    }
    PaletteRecord& Record(int index) { return (*picker.Palettes)[index]; }
    Pixel GridPixel(int record, int x, int y) {
        return Record(record).GridSurface->Pixels().GetPixel(x, y);
    }

    EngineScript script;
    CPickerWindow picker;
    FakePickerHost host{picker};
};

TEST_F(PalettePage, LoadingSkipsFailedPalettesAndKeeps24BitsOfEachEntry) {
    const struct {
        std::set<int> failLoad, failCount, empty;
        std::vector<std::wstring> names;
    } cases[] = {
        {{}, {}, {}, {L"WebSafe", L"Windows", L"Mac"}},
        {{3}, {}, {}, {L"WebSafe", L"Mac"}}, // the records close up
        {{}, {2}, {4}, {L"Windows"}},
        {{2, 3, 4}, {}, {}, {}},
    };
    for (const auto& c : cases) {
        script.failLoad = c.failLoad;
        script.failCount = c.failCount;
        for (int type : c.empty)
            script.palettes[type].clear();
        script.calls.clear();
        script.released = 0;
        EXPECT_EQ(picker.LoadPalettes(), !c.names.empty());
        ASSERT_EQ(picker.PaletteCount, static_cast<int>(c.names.size()));
        for (int i = 0; i < picker.PaletteCount; ++i) {
            EXPECT_EQ(Record(i).Name, c.names[static_cast<std::size_t>(i)]);
            EXPECT_EQ(Record(i).Index, i);
        }
        EXPECT_EQ(script.calls, "2,0 3,0 4,0 ");
        EXPECT_EQ(script.released, 1);
    }
    script.palettes[3] = {0xFF123456, 0xFFABCDEF, 0x80FEDCBA};
    script.failLoad = {2, 4};
    script.failEntries = {1}; // stays black
    ASSERT_TRUE(picker.LoadPalettes());
    EXPECT_EQ(std::vector<RgbColor>(Record(0).Colors.get(), Record(0).Colors.get() + 3),
              (std::vector<RgbColor>{0x123456, 0, 0xFEDCBA}));
    // The table has room for ten records and no more.
    FakePaletteSource source(script);
    for (int i = 0; i < 12; ++i)
        picker.LoadPalette(&source, 3, L"More");
    EXPECT_EQ(picker.PaletteCount, kPaletteCapacity);
}

TEST_F(PalettePage, WithoutTheEngineThePalettePageDrawsAndChangesNothing) {
    picker.CreatePaletteSource = [] { return std::unique_ptr<PaletteSource>(); };
    EXPECT_FALSE(picker.LoadPalettes());
    picker.PrepareForShow(&host, 0x123456, 5, 3, 40);
    picker.SetCurrentColor(picker.CurrentColor, true);
    picker.SetActivePage(5);
    EXPECT_EQ(picker.GetPaletteGridPicture(), nullptr);
    EXPECT_TRUE(picker.OnPaletteGridKeyDown(kVkRight));
    picker.OnButtonDown(kMkLButton, 50, 60); // inside the grid
    EXPECT_EQ(picker.GetPaletteIndex(), 3);
    EXPECT_EQ(picker.GetPaletteColorIndex(), 40);
    EXPECT_EQ(picker.CurrentColor, 0x123456u);
}

TEST(PaletteWrap, AnIndexPastTheEndKeepsItsColumn) {
    const struct {
        int count, index, wrapped;
    } cases[] = {{216, -3, 0},    {216, 215, 215},     {216, 216, 200},  {216, 223, 207},
                 {216, 224, 208}, {216, INT_MAX, 207}, {20, 35, 19},     {20, 23, 7},
                 {4, 5, 3},       {4, 17, 1},          {256, 1000, 248}, {300, 341, 287}};
    for (const auto& c : cases) {
        PaletteRecord record;
        record.ColorCount = c.count;
        record.Columns = PaletteColumnsFor(c.count); // 18 for 300 entries, else 16
        EXPECT_EQ(CPickerWindow::WrapPaletteIndex(record, c.index), c.wrapped)
            << c.count << " entries, index " << c.index;
    }
}

TEST_F(PalettePage, PropertyIndicesAreBroughtOntoTheTableAtStart) {
    const struct {
        int palette, cell, palette2, cell2;
    } cases[] = {{7, 0, 2, 0},  {-4, 300, 0, 204}, {1, 35, 1, 19},
                 {0, -5, 0, 0}, {2, 1000, 2, 248}, {INT_MIN, INT_MAX, 0, 207}};
    for (const auto& c : cases) {
        Open(c.palette, c.cell);
        EXPECT_EQ(picker.GetPaletteIndex(), c.palette2);
        EXPECT_EQ(picker.GetPaletteColorIndex(), c.cell2);
        EXPECT_EQ(picker.GetComboPaletteIndex(), c.palette2);
    }
    picker.SetPaletteIndexField(9); // written while open: held at its next use
    picker.SetPaletteColorIndex(3, false);
    EXPECT_EQ(picker.GetPaletteIndex(), 2);
}

TEST_F(PalettePage, GridCellsAndTheirHitTest) {
    Open(0, 1);
    const struct {
        int x, y;
        Pixel pixel;
    } pixels[] = {
        {0, 0, 0xCCDDEE},   {18, 1, 0xCCDDEE},    {1, 1, 0x000000},     {37, 1, 0x000066},
        {19, 1, 0x3333FF},  {20, 2, 0x000000},    {21, 3, 0x000033},    {35, 12, 0x3333FF},
        {290, 5, 0xCCDDEE}, {149, 161, 0xFF9966}, {149, 174, 0xCCDDEE}, {5, 213, 0xCCDDEE},
    }; // window colour; cell 0; cell 1 selected: blue and black rings; cell 200; no cell
    for (const auto& p : pixels)
        EXPECT_EQ(GridPixel(0, p.x, p.y), p.pixel) << p.x << "," << p.y;
    const struct {
        int x, y, cell;
    } points[] = {{0, 0, 0},  {17, 12, 0},     {18, 0, 1},    {299, 0, 15},
                  {-5, 0, 0}, {150, 169, 200}, {0, 219, 208}, {287, 14, 31}};
    for (const auto& p : points)
        EXPECT_EQ(picker.PaletteCellFromPoint(p.x, p.y), p.cell) << p.x << "," << p.y;
}

TEST_F(PalettePage, NearestEntryKeepsTheSelectionOnATieElseTheLowestIndexWins) {
    script.palettes[2] = {0x000000, 0xFF0000, 0x00FF00, 0x0000FF, 0xFF0000, 0x808080, 0x020000};
    const struct {
        int selected;
        RgbColor color;
        int nearest;
        RgbColor after;
    } cases[] = {
        {0, 0xFE0000, 1, 0xFF0000}, // two equal entries: the first
        {4, 0xFE0000, 4, 0xFE0000}, // the selection is one of them: it stays, colour and all
        {6, 0x010000, 6, 0x010000}, // as far from the selection as from entry 0
        {1, 0x010000, 0, 0x000000},
    };
    for (const auto& c : cases) {
        Open(0, c.selected, c.color);
        picker.SelectNearestPaletteColor(c.color);
        EXPECT_EQ(picker.GetPaletteColorIndex(), c.nearest) << std::hex << c.color;
        EXPECT_EQ(picker.CurrentColor, c.after) << std::hex << c.color;
    }
}

TEST_F(PalettePage, ArrivingOnPage5TakesTheNearestEntryButNotTheResult) {
    Open(0, 0, 0xFF123456);
    EXPECT_TRUE(picker.SetActivePage(5));
    EXPECT_EQ(picker.GetPaletteColorIndex(), 8);
    EXPECT_EQ(picker.CurrentColor, 0x003366u);
    EXPECT_EQ(host.Named("hex").Text, L"3366");
    EXPECT_EQ(picker.GetResultColor(), 0xFF123456u);
    EXPECT_EQ(picker.OldSwatchColor, 0xFF123456u);
}

TEST_F(PalettePage, ArrowKeysMoveWithinTheGridAndAreAlwaysConsumed) {
    const struct {
        int from, key, to;
    } cases[] = {{0, kVkLeft, 0},    {3, kVkUp, 3},      {3, kVkDown, 19}, {5, kVkDown, 5},
                 {19, kVkRight, 19}, {15, kVkRight, 16}, {16, kVkUp, 0},   {7, 0x41, 7}};
    for (const auto& c : cases) { // 20 entries: a full row and a row of 4
        Open(1, c.from, 0x123456);
        EXPECT_TRUE(picker.OnPaletteGridKeyDown(c.key));
        EXPECT_EQ(picker.GetPaletteColorIndex(), c.to) << c.from << " key " << c.key;
        EXPECT_EQ(picker.CurrentColor, c.from == c.to ? 0x123456u : kSystem20[c.to]);
    }
    // Focus redraws the cell with its outline and takes its colour.
    host.Focus = picker.PaletteGridWindow;
    EXPECT_FALSE(picker.OnPaletteGridFocusChange());
    EXPECT_EQ(picker.CurrentColor, 0xC0C0C0u);
    EXPECT_EQ(GridPixel(1, 7 * 18 + 1, 1), 0x3F3F3Fu); // the entry, inverted
    EXPECT_EQ(GridPixel(1, 7 * 18 + 2, 2), 0xFFFFFFu);
}

TEST_F(PalettePage, ComboChangeCarriesTheCellThenJumpsToTheNearestEntry) {
    Open(0, 18, 0x009900); // WebSafe entry 18
    host.ComboSelection = 1;
    picker.OnPaletteComboChanged();
    EXPECT_EQ(picker.GetPaletteColorIndex(), 2);
    EXPECT_EQ(picker.CurrentColor, 0x008000u);
    EXPECT_EQ(GridPixel(0, 37, 14), 0x009900u); // the old grid is left clean
    EXPECT_EQ(GridPixel(1, 37, 1), 0x3333FFu);
    // Mac's cell 250 wraps onto cell 10, whose entry is the colour already.
    Open(2, 250, 0xFFFBF0);
    host.ComboSelection = 1;
    picker.OnPaletteComboChanged();
    EXPECT_EQ(picker.GetPaletteColorIndex(), 10);
}

TEST_F(PalettePage, PreviewSamplesThePaletteEvenlyAndFollowsItsSize) {
    const struct {
        int count, width;
        std::vector<int> entries; // of each column
    } cases[] = {{4, 8, {0, 0, 1, 1, 2, 2, 3, 3}}, {216, 4, {0, 54, 108, 162}}};
    for (const auto& c : cases) {
        PaletteRecord record;
        record.ColorCount = c.count;
        record.Colors.reset(new RgbColor[static_cast<std::size_t>(c.count)]);
        for (int i = 0; i < c.count; ++i)
            record.Colors[i] = static_cast<RgbColor>(i);
        const Surface* strip = picker.GetPalettePreview(record, c.width, 2);
        ASSERT_NE(strip, nullptr);
        for (int x = 0; x < c.width; ++x)
            EXPECT_EQ(strip->GetPixel(x, 1), static_cast<Pixel>(c.entries[x])) << c.count;
    }
    // A rounded-up step carries the last columns of a wide strip past the end.
    Open(0, 0);
    Record(0).ColorCount = 1;
    EXPECT_EQ(picker.GetPalettePreview(Record(0), 1000, 1)->GetPixel(999, 0), 0u);
    EXPECT_EQ(picker.GetPalettePreview(Record(0), 0, 10), nullptr);
    const ComboEntryLayout layout = LayoutComboEntry(Rect{0, -3, 200, 0}, 6, 6, 50);
    EXPECT_EQ(layout.TextY, -4); // -9 / 2 truncates
    EXPECT_EQ(layout.Strip, (Rect{55, -3, 196, 2}));
}

} // namespace
} // namespace orrelux
