// The colour picker's dialog driven as a user drives it. Pointer messages are posted to the
// dialog, where the system delivers them over plane, strip and grid, and keys to the focused
// control, so that the modal loop's dialog manager sees them first. Every scenario ends with a
// second Show that has to start afresh from the properties.
#include <windows.h>
#include <commctrl.h>
#include <process.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "colour/colour_values.h"
#include "components/color_dialog.h"
#include "dialog_driver.h"
#include "imaging_engine.h"
#include "picker/cube_picking.h"
#include "picker/palette_library.h"
#include "picker/plane_geometry.h"
#include "picker/plane_rendering.h"
#include "picker/pointer_input.h"
#include "test_support.h"

namespace orrelux {
namespace {

using testing::Click;
using testing::DialogDriver;
using testing::PostKey;
using testing::PostPointer;
using testing::TextOf;
using testing::TypeInto;

constexpr int kTab = 201;
constexpr int kApply = 202;
constexpr int kPlane = 205;
constexpr int kStrip = 206;
constexpr int kRed = 209;
constexpr int kGreen = 210;
constexpr int kBlue = 212;
constexpr int kHex = 214;
constexpr int kNewSwatch = 215;
constexpr int kOldSwatch = 216;
constexpr int kCombo = 224;
constexpr int kGrid = 228;
constexpr int kRedSpin = 230; // the green and blue spins follow
constexpr int kInset = 3;     // the frame of plane, strip and grid
constexpr std::uint32_t kOpaque = 0xFF000000u;

HWND Item(HWND dialog, int id) {
    return ::GetDlgItem(dialog, id);
}

std::string Hex(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%06X", static_cast<unsigned>(value));
    return text;
}

COLORREF PixelOf(HWND control, int x, int y) {
    const WindowDC context(control);
    return ::GetPixel(context.Get(), x, y);
}

COLORREF SwatchPixel(HWND dialog, int id) {
    RECT client;
    ::GetClientRect(Item(dialog, id), &client);
    return PixelOf(Item(dialog, id), client.right / 2, client.bottom / 2);
}

// The colour that the three decimal fields spell; an empty field reads as 0.
RgbColor FieldsColour(HWND dialog) {
    auto channel = [&](int id) {
        return static_cast<std::uint32_t>(
            std::wcstol(TextOf(Item(dialog, id)).c_str(), nullptr, 10));
    };
    return PackRgb(channel(kRed), channel(kGreen), channel(kBlue));
}

// Every view of the colour agrees: the picker's state, both kinds of field, the New swatch.
void ExpectShows(HWND dialog, const CPickerWindow& picker, RgbColor expected) {
    EXPECT_EQ(Hex(expected), Hex(picker.CurrentColor)) << "current colour";
    EXPECT_EQ(Hex(expected), Hex(FieldsColour(dialog))) << "decimal fields";
    EXPECT_EQ(Hex(expected), Hex(ParseHexColor(TextOf(Item(dialog, kHex)).c_str()))) << "hex field";
    EXPECT_EQ(Hex(RgbToColorRef(expected)), Hex(SwatchPixel(dialog, kNewSwatch)))
        << "New swatch (as COLORREF)";
}

SIZE ClientSize(HWND dialog, int id) {
    RECT client;
    ::GetClientRect(Item(dialog, id), &client);
    return SIZE{client.right, client.bottom};
}

// Where a pointer at `at` (a control's client coordinates) acts: the dialog holds the position
// to its own client area, the drag then to the control's area inside its frame.
POINT ActsAt(HWND dialog, int id, POINT at) {
    RECT client;
    ::GetClientRect(dialog, &client);
    POINT origin = {0, 0};
    ::MapWindowPoints(Item(dialog, id), dialog, &origin, 1);
    const SIZE size = ClientSize(dialog, id);
    const int x = HoldTo(origin.x + at.x, 0, client.right - 1) - origin.x;
    const int y = HoldTo(origin.y + at.y, 0, client.bottom - 1) - origin.y;
    return POINT{HoldTo(x, kInset, size.cx - kInset), HoldTo(y, kInset, size.cy - kInset)};
}

PlaneGeometry PlaneOf(HWND dialog) {
    const SIZE plane = ClientSize(dialog, kPlane);
    return PlaneGeometry::FromInnerSize(plane.cx - 2 * kInset, plane.cy - 2 * kInset, kInset);
}

int StripInnerHeight(HWND dialog) {
    return ClientSize(dialog, kStrip).cy - 2 * kInset;
}

RgbColor FromHsb(const HsbStep& hsb) {
    const RgbChannels channels =
        HsbToRgb(static_cast<std::uint32_t>(hsb.hue), static_cast<std::uint32_t>(hsb.saturation),
                 static_cast<std::uint32_t>(hsb.brightness));
    return PackRgb(channels.red, channels.green, channels.blue);
}

// Where a step on pages 0 to 2 starts: what the placed markers stand for, else the colour's.
HsbStep ReadBack(const CPickerWindow& picker, HWND dialog, int page, RgbColor colour) {
    const HsbColor own = RgbToHsb(colour);
    HsbStep hsb{static_cast<int>(own.hue), static_cast<int>(own.saturation),
                static_cast<int>(own.brightness)};
    if (page < 0 || page > 2)
        return hsb;
    if (picker.PlaneMarkerX > kNoMarker && picker.PlaneMarkerY > kNoMarker)
        PlanePointToHsb(page, PlaneOf(dialog), picker.PlaneMarkerX, picker.PlaneMarkerY, hsb);
    if (picker.StripMarkerPos > kNoMarker)
        StripRowToHsb(page, StripInnerHeight(dialog), kInset, picker.StripMarkerPos, hsb);
    return hsb;
}

struct StepResult {
    RgbColor colour = 0;
    int cubeMode = kCubeDragNone;
};

// What a pointer step at `at` (held to the control's inner area) gives from the state before.
StepResult PointerStep(const CPickerWindow& picker, HWND dialog, int page, bool strip, POINT at,
                       RgbColor colour, int cubeMode) {
    if (!strip && (page == 3 || page == 4)) {
        const CubePick pick =
            PickCubeColor(at.x, at.y, page == 3, cubeMode, colour, PlaneOf(dialog));
        return StepResult{PackRgb(pick.colour.red, pick.colour.green, pick.colour.blue), pick.mode};
    }
    HsbStep hsb = ReadBack(picker, dialog, page, colour);
    if (strip)
        StripRowToHsb(page, StripInnerHeight(dialog), kInset, at.y, hsb);
    else
        PlanePointToHsb(page, PlaneOf(dialog), at.x, at.y, hsb);
    return StepResult{FromHsb(hsb), cubeMode};
}

// A standard palette of the engine, read the way the picker reads it.
std::vector<RgbColor> EnginePalette(LONG type) {
    std::vector<RgbColor> entries;
    ComPtr<IEnginePalette> palette;
    if (FAILED(::CoCreateInstance(CLSID_EnginePalette, nullptr, engine::kEngineCreationContext,
                                  IID_IEnginePalette, palette.PutVoid())) ||
        !palette || FAILED(palette->LoadStandardPalette(type, 0)))
        return entries;
    LONG count = 0;
    palette->EntryCount(&count);
    for (LONG i = 0; i < count; ++i) {
        ULONG colour = 0;
        palette->EntryAt(i, &colour);
        entries.push_back(colour & 0x00FFFFFFu);
    }
    return entries;
}

// A cell index past a palette's end keeps its column and goes up to the last row with a cell.
int OntoPalette(int index, int count) {
    const int columns = PaletteColumnsFor(count);
    while (index >= count)
        index -= columns;
    return std::max(index, 0);
}

// The grid's cells: Columns across and as many rows' room down, each cell's size rounded down.
struct GridCells {
    int columns = 16;
    int width = 1;
    int height = 1;

    static GridCells Of(HWND dialog, int colorCount) {
        const SIZE grid = ClientSize(dialog, kGrid);
        const int columns = PaletteColumnsFor(colorCount);
        return GridCells{columns, grid.cx / columns, grid.cy / columns};
    }
    POINT Corner(int index) const {
        return POINT{width * (index % columns), height * (index / columns)};
    }
    POINT Centre(int index) const {
        const POINT corner = Corner(index);
        return POINT{corner.x + width / 2, corner.y + height / 2};
    }
};

// The grid on the screen: the selected cell in its frame, the others filled with their colour.
void ExpectGridShows(HWND d, const std::vector<RgbColor>& entries, int selected, bool focused) {
    const GridCells cells = GridCells::Of(d, static_cast<int>(entries.size()));
    const HWND grid = Item(d, kGrid);
    const POINT corner = cells.Corner(selected);
    const POINT centre = cells.Centre(selected);
    EXPECT_EQ(Hex(RgbToColorRef(entries[static_cast<std::size_t>(selected)])),
              Hex(PixelOf(grid, centre.x, centre.y)))
        << "the selected cell's colour";
    // Focused: a dotted outline, then white, then black. Without the focus: blue, then black.
    const int black = focused ? 3 : 2;
    const int ring = focused ? 2 : 1;
    EXPECT_EQ(Hex(0), Hex(PixelOf(grid, corner.x + black, corner.y + black))) << "its black ring";
    EXPECT_EQ(Hex(focused ? 0xFFFFFF : RgbToColorRef(0x3333FF)),
              Hex(PixelOf(grid, corner.x + ring, corner.y + ring)))
        << "its outer ring";
    // A sample of the other cells, which must not keep a frame of an earlier selection.
    for (std::size_t i = 0; i < entries.size(); i += 7) {
        const POINT other = cells.Corner(static_cast<int>(i));
        if (static_cast<int>(i) != selected) {
            EXPECT_EQ(Hex(RgbToColorRef(entries[i])), Hex(PixelOf(grid, other.x + 3, other.y + 3)))
                << "cell " << i;
        }
    }
}

// Takes the imaging engine's registration away for its life, and gives it back.
class EngineRemoved {
public:
    EngineRemoved() : removed_(Regsvr32(true) == 0) {}
    ~EngineRemoved() { Regsvr32(false); }
    bool Removed() const { return removed_; }

private:
    static intptr_t Regsvr32(bool unregister) {
        wchar_t program[MAX_PATH] = {};
        ::GetSystemDirectoryW(program, MAX_PATH);
        const std::wstring path = std::wstring(program) + L"\\regsvr32.exe";
        const std::wstring dll = L"\"" + testing::BinPath(L"ImagingEngine.dll") + L"\"";
        return unregister
                   ? _wspawnl(_P_WAIT, path.c_str(), L"regsvr32", L"/s", L"/u", dll.c_str(),
                              nullptr)
                   : _wspawnl(_P_WAIT, path.c_str(), L"regsvr32", L"/s", dll.c_str(), nullptr);
    }
    bool removed_;
};

void ClickTab(HWND dialog, int index) {
    const HWND tab = Item(dialog, kTab);
    RECT item;
    ::SendMessageW(tab, TCM_GETITEMRECT, static_cast<WPARAM>(index),
                   reinterpret_cast<LPARAM>(&item));
    const LPARAM at = MAKELPARAM((item.left + item.right) / 2, (item.top + item.bottom) / 2);
    ::PostMessageW(tab, WM_LBUTTONDOWN, MK_LBUTTON, at);
    ::PostMessageW(tab, WM_LBUTTONUP, 0, at);
}

int TabSelection(HWND dialog) {
    return static_cast<int>(::SendMessageW(Item(dialog, kTab), TCM_GETCURSEL, 0, 0));
}

int TabCount(HWND dialog) {
    return static_cast<int>(::SendMessageW(Item(dialog, kTab), TCM_GETITEMCOUNT, 0, 0));
}

class PickerInteractionTest : public ::testing::Test {
protected:
    // Steps start once the modal loop has shown the dialog: what they check is on the screen.
    DialogDriver Driver() {
        return DialogDriver([this]() -> HWND {
            OLE_HANDLE handle = 0;
            dialog.get_Hwnd(&handle);
            const HWND d = reinterpret_cast<HWND>(static_cast<UINT_PTR>(handle));
            return d && ::IsWindowVisible(d) ? d : nullptr;
        });
    }
    // Runs Show with the driver ticking inside the modal loop.
    bool Show(DialogDriver& driver) {
        VARIANT_BOOL accepted = VARIANT_FALSE;
        driver.Start(10);
        EXPECT_EQ(S_OK, dialog.Show(&accepted));
        driver.Stop();
        EXPECT_TRUE(driver.Finished()) << "the dialog ended before the script";
        return accepted == VARIANT_TRUE;
    }
    std::uint32_t Argb() {
        LONG value = 0;
        EXPECT_EQ(S_OK, dialog.get_ColorArgb(&value));
        return static_cast<std::uint32_t>(value);
    }
    LONG PaletteColorIndex() {
        LONG index = -1;
        EXPECT_EQ(S_OK, dialog.get_PaletteColorIndex(&index));
        return index;
    }
    int Page() {
        ColorDialogPage page = ColorDialogPageHSBBrightness;
        EXPECT_EQ(S_OK, dialog.get_ActivePage(&page));
        return page;
    }
    void Prepare(RgbColor colour, int page) {
        ASSERT_EQ(S_OK, dialog.put_ColorArgb(static_cast<LONG>(kOpaque | colour)));
        ASSERT_EQ(S_OK, dialog.put_ActivePage(static_cast<ColorDialogPage>(page)));
    }
    CPickerWindow& Picker() { return *dialog.PickerWindow(); }

    // A second Show starts from the properties' page and colour, with no drag or capture left.
    void ExpectFreshReopen(int tabs = 6) {
        SCOPED_TRACE("reopened");
        const RgbColor colour = Argb() & 0x00FFFFFFu;
        const int page = Page();
        bool checked = false;
        auto driver = Driver();
        driver
            .Then([&](HWND d) {
                const CPickerWindow& picker = Picker();
                EXPECT_EQ(tabs, TabCount(d));
                if (page < tabs) {
                    EXPECT_EQ(page, TabSelection(d));
                }
                EXPECT_EQ(nullptr, ::GetCapture());
                EXPECT_EQ(kDragNone, picker.DragTarget);
                EXPECT_EQ(kCubeDragNone, picker.CubeDragMode);
                EXPECT_EQ(Hex(RgbToColorRef(colour)), Hex(SwatchPixel(d, kOldSwatch)));
                EXPECT_EQ(page != 5, ::IsWindowVisible(Item(d, kPlane)) != FALSE);
                // On the palette page the nearest entry may have taken the colour's place.
                ExpectShows(d, picker, page == 5 && tabs == 6 ? picker.CurrentColor : colour);
                if (page != 5) {
                    EXPECT_GT(picker.StripMarkerPos, kNoMarker);
                }
                if (page <= 2) {
                    EXPECT_GT(picker.PlaneMarkerX, kNoMarker);
                }
                checked = true;
            })
            .Then([&](HWND d) { Click(d, IDCANCEL); });
        EXPECT_FALSE(Show(driver));
        EXPECT_TRUE(checked);
    }

    ComPtr<IColorDialog> object = testing::CreateLinkedObject<IColorDialog>(CLSID_ColorDialog);
    CColorDialog& dialog = *static_cast<CColorDialog*>(object.Get());
};

// The points of a drag in the control's client coordinates, made once the dialog is up.
using PathMaker = std::function<std::vector<POINT>(HWND dialog)>;

// One drag on plane or strip: press, moves, release, then a move that must do nothing. Each
// message is checked at the next tick against the arithmetic applied to the state before it.
class DragScript {
public:
    DragScript(CPickerWindow& picker, int page, bool strip, std::size_t points, PathMaker path)
        : picker_(picker), page_(page), strip_(strip), points_(points), makePath_(std::move(path)) {
    }

    void AddTo(DialogDriver& driver) {
        driver.Then([this](HWND d) {
            path_ = makePath_(d);
            EXPECT_EQ(points_, path_.size()) << "the script's path";
            path_.resize(points_);
            // Focus first: a press that focuses the control places its marker afresh.
            ::SetFocus(Control(d));
        });
        for (std::size_t i = 0; i < points_; ++i) {
            driver.Then([this, i](HWND d) {
                if (i > 0) {
                    CheckStep(d, i - 1);
                } else {
                    // The control and the tab strip above it let a real press through.
                    POINT screen = path_[0];
                    ::MapWindowPoints(Control(d), HWND_DESKTOP, &screen, 1);
                    EXPECT_EQ(d, ::WindowFromPoint(screen))
                        << "a pointer over it reaches the dialog";
                }
                Post(d, i);
            });
        }
        driver.Then([this](HWND d) {
            CheckStep(d, points_ - 1);
            PostPointer(d, Control(d), WM_LBUTTONUP, path_.back().x, path_.back().y, 0);
        });
        driver.Then([this](HWND d) {
            SCOPED_TRACE("after the release");
            EXPECT_EQ(nullptr, ::GetCapture());
            EXPECT_EQ(kDragNone, picker_.DragTarget);
            EXPECT_EQ(kCubeDragNone, picker_.CubeDragMode);
            PostPointer(d, Control(d), WM_MOUSEMOVE, path_[0].x, path_[0].y, MK_LBUTTON);
        });
        driver.Then([this](HWND d) {
            SCOPED_TRACE("a move after the release");
            ExpectShows(d, picker_, Last());
        });
    }

    RgbColor Last() const { return expected_.colour; }
    const std::vector<int>& Modes() const { return modes_; }

private:
    HWND Control(HWND d) const { return Item(d, strip_ ? kStrip : kPlane); }

    void Post(HWND d, std::size_t i) {
        at_ = ActsAt(d, strip_ ? kStrip : kPlane, path_[i]);
        expected_ = PointerStep(picker_, d, page_, strip_, at_, FieldsColour(d),
                                i == 0 ? kCubeDragNone : expected_.cubeMode);
        modes_.push_back(expected_.cubeMode);
        PostPointer(d, Control(d), i == 0 ? WM_LBUTTONDOWN : WM_MOUSEMOVE, path_[i].x, path_[i].y,
                    MK_LBUTTON);
    }

    void CheckStep(HWND d, std::size_t i) {
        SCOPED_TRACE(::testing::Message()
                     << (strip_ ? "strip" : "plane") << " step " << i << " at " << path_[i].x << ","
                     << path_[i].y << ", acting at " << at_.x << "," << at_.y);
        ExpectShows(d, picker_, expected_.colour);
        EXPECT_EQ(d, ::GetCapture()) << "the dialog holds the pointer during the drag";
        EXPECT_EQ(strip_ ? kDragStrip : kDragPlane, picker_.DragTarget);
        if (strip_) {
            EXPECT_NEAR(at_.y, picker_.StripMarkerPos, 1) << "the strip marker follows";
        } else if (page_ == 3 || page_ == 4) {
            EXPECT_EQ(expected_.cubeMode, picker_.CubeDragMode) << "cube drag mode";
            EXPECT_EQ(kNoMarker, picker_.PlaneMarkerX) << "the cube's markers are its picture's";
        } else {
            const PlaneGeometry geometry = PlaneOf(d);
            const double reach = std::hypot(at_.x - geometry.centreX, at_.y - geometry.centreY);
            if (page_ != 1 || reach <= geometry.radius) {
                const int tolerance = page_ == 1 ? 2 : 1; // whole degrees of hue, read back
                EXPECT_NEAR(at_.x, picker_.PlaneMarkerX, tolerance) << "the marker follows";
                EXPECT_NEAR(at_.y, picker_.PlaneMarkerY, tolerance) << "the marker follows";
            }
        }
    }

    CPickerWindow& picker_;
    int page_;
    bool strip_;
    std::size_t points_;
    PathMaker makePath_;
    std::vector<POINT> path_;
    StepResult expected_;
    POINT at_{};
    std::vector<int> modes_;
};

// Where a drag's press lands: anywhere, on one of the cube's axis markers, or on a face.
enum class Grab { Anywhere, VerticalAxis, LeftAxis, RightAxis, Faces };

POINT AxisMarker(const PlaneGeometry& g, RgbColor colour, bool additive, Grab grab) {
    const CubeGuidePoints guides = CubeGuidesFor(g, colour, additive);
    if (grab == Grab::VerticalAxis)
        return POINT{g.centreX, guides.top};
    if (grab == Grab::LeftAxis)
        return POINT{guides.greenX, g.centreY + guides.greenY + 1};
    return POINT{guides.blueX + 1, g.centreY + guides.blueY + 1};
}

// A drag's points in the control's client coordinates: inside, out of the control and the
// dialog on every side, onto the frame, and back.
std::vector<POINT> PathOf(HWND d, bool strip, Grab grab, RgbColor start, bool additive) {
    const SIZE s = ClientSize(d, strip ? kStrip : kPlane);
    if (strip)
        return {{s.cx / 2, s.cy / 3}, {s.cx / 2, 2 * s.cy / 3}, {-100, s.cy / 2},
                {s.cx / 2, -600},     {s.cx / 2, s.cy + 600},   {s.cx + 40, s.cy / 4}};
    if (grab == Grab::Anywhere)
        return {{s.cx / 3, s.cy / 3}, {2 * s.cx / 3, s.cy / 2},    {s.cx / 2, 3 * s.cy / 4},
                {-20, s.cy / 2},      {s.cx + 600, -600},          {s.cx / 4, s.cy + 600},
                {s.cx - 1, 1},        {s.cx / 2 + 7, s.cy / 2 - 5}};
    const PlaneGeometry g = PlaneOf(d);
    const int cx = g.centreX, cy = g.centreY, l = g.radius;
    if (grab == Grab::Faces)
        return {{cx + l / 2, cy - l / 3}, {cx + l / 4, cy + l / 2}, {cx - l / 2, cy - l / 3},
                {cx - l / 3, cy + l / 3}, {-500, s.cy + 500},       {cx + l / 3, cy - l}};
    const POINT m = AxisMarker(g, start, additive, grab);
    return {m,
            {m.x, m.y - l / 4},
            {m.x + l / 3, m.y + l / 6},
            {cx + l / 2, cy + l / 3},
            {s.cx + 500, s.cy / 2},
            {-500, -500}};
}

// Drags give the colours of the held positions under capture, and OK returns the last one. On
// a cube an axis marker's press holds that axis to the release; a face's slides across faces.
TEST_F(PickerInteractionTest, DragsOnPlaneAndStripFollowThePointerAndClamp) {
    const struct {
        int page;
        bool strip;
        RgbColor start;
        Grab grab;
        int firstMode; // of a cube drag
    } cases[] = {
        {0, false, 0x4080C0, Grab::Anywhere, 0},
        {0, true, 0x4080C0, Grab::Anywhere, 0},
        {1, false, 0x4080C0, Grab::Anywhere, 0},
        {2, false, 0x4080C0, Grab::Anywhere, 0},
        {2, true, 0x208060, Grab::Anywhere, 0},
        {3, false, 0x806040, Grab::Anywhere, 0},
        {3, true, 0x806040, Grab::Anywhere, 0},
        {4, false, 0x806040, Grab::Anywhere, 0},
        {3, false, 0x804020, Grab::VerticalAxis, kCubeDragVerticalAxis},
        {3, false, 0x804020, Grab::RightAxis, kCubeDragRightAxis},
        {3, false, 0x804020, Grab::Faces, kCubeDragRightWall},
        {4, false, 0x60A0C0, Grab::LeftAxis, kCubeDragLeftAxis},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "page " << c.page << (c.strip ? " strip" : " plane")
                                          << " grab " << static_cast<int>(c.grab));
        Prepare(c.start, c.page);
        const std::size_t points = !c.strip && c.grab == Grab::Anywhere ? 8 : 6;
        DragScript drag(Picker(), c.page, c.strip, points,
                        [&c](HWND d) { return PathOf(d, c.strip, c.grab, c.start, c.page == 3); });
        auto driver = Driver();
        drag.AddTo(driver);
        driver.Then([](HWND d) { Click(d, IDOK); });
        EXPECT_TRUE(Show(driver));
        EXPECT_EQ(Hex(kOpaque | drag.Last()), Hex(Argb()));
        // The cube cases must exercise what they name.
        const std::vector<int>& modes = drag.Modes();
        if (c.grab == Grab::Faces) {
            EXPECT_EQ(c.firstMode, modes.at(0)) << "the press grabs a face";
            for (const int face : {kCubeDragRightWall, kCubeDragFloor, kCubeDragLeftWall})
                EXPECT_NE(modes.end(), std::find(modes.begin(), modes.end(), face))
                    << "the drag crosses face " << face;
        } else if (c.grab != Grab::Anywhere) {
            EXPECT_EQ(std::vector<int>(6, c.firstMode), modes) << "an axis holds to the release";
        }
    }
    ExpectFreshReopen();
}

// OK pressed from the keyboard in the middle of a cube drag ends the dialog with the button
// still down; the next Show's first press must be a fresh one, not a step of the old drag.
TEST_F(PickerInteractionTest, ClosingDuringACubeDragLeavesNothingForTheNextShow) {
    constexpr RgbColor kStart = 0x804020;
    Prepare(kStart, 3);
    int modeAtClose = kCubeDragNone;
    auto driver = Driver();
    driver.Then([](HWND d) { ::SetFocus(Item(d, kPlane)); })
        .Then([](HWND d) {
            const POINT m = AxisMarker(PlaneOf(d), kStart, true, Grab::VerticalAxis);
            PostPointer(d, Item(d, kPlane), WM_LBUTTONDOWN, m.x, m.y, MK_LBUTTON);
        })
        .Then([&](HWND d) {
            modeAtClose = Picker().CubeDragMode;
            EXPECT_EQ(d, ::GetCapture());
            PostKey(Item(d, kPlane), VK_RETURN);
        });
    EXPECT_TRUE(Show(driver));
    EXPECT_EQ(kCubeDragVerticalAxis, modeAtClose);

    const PathMaker faces = [](HWND d) -> std::vector<POINT> {
        const PlaneGeometry g = PlaneOf(d);
        return {{g.centreX + g.radius / 2, g.centreY - g.radius / 3},
                {g.centreX - g.radius / 2, g.centreY - g.radius / 3}};
    };
    DragScript drag(Picker(), 3, false, 2, faces);
    auto again = Driver();
    again.Then([&](HWND) {
        EXPECT_EQ(kCubeDragNone, Picker().CubeDragMode) << "the next Show starts without a drag";
    });
    drag.AddTo(again);
    again.Then([](HWND d) { Click(d, IDCANCEL); });
    EXPECT_FALSE(Show(again));
    EXPECT_EQ(kCubeDragRightWall, drag.Modes().front());
    ExpectFreshReopen();
}

// The web-safe grid (16 columns, 13 full rows, 8 cells in the last) selects the cell under the
// pointer, held to the cells, and arrow keys move through row ends up to the palette's ends.
TEST_F(PickerInteractionTest, PaletteGridFollowsThePointerAndTheArrowKeys) {
    const std::vector<RgbColor> webSafe = EnginePalette(2);
    ASSERT_EQ(216u, webSafe.size());
    constexpr int kWrapped = 204; // 220 is column 12 of row 13, which has 8 cells
    ASSERT_EQ(S_OK, dialog.put_PaletteIndex(0));
    ASSERT_EQ(S_OK, dialog.put_PaletteColorIndex(220));
    // The entry itself, so that arriving on the page keeps the wrapped cell as the nearest.
    Prepare(webSafe[kWrapped], 5);
    enum Act { kPress, kMove, kKey }; // a press is released unless moves follow
    const struct {
        const char* name;
        Act act;
        double x, y; // the pointer in cells from the grid's origin; presses stay on the grid
        UINT key;
        int cell; // selected afterwards
    } steps[] = {
        {"down from the short row", kKey, 0, 0, VK_DOWN, 204},
        {"right", kKey, 0, 0, VK_RIGHT, 205},
        {"up", kKey, 0, 0, VK_UP, 189},
        {"left", kKey, 0, 0, VK_LEFT, 188},
        {"a cell", kPress, 5.5, 2.5, 0, 37},
        {"below the last row, a column past the short row", kPress, 10.5, 15.2, 0, 202},
        {"below the last row, a column of the short row", kPress, 7.5, 15.2, 0, 215},
        {"right at the end", kKey, 0, 0, VK_RIGHT, 215},
        {"down at the end", kKey, 0, 0, VK_DOWN, 215},
        {"right of the last column", kPress, 16.9, 1.5, 0, 31},
        {"the frame's corner", kPress, 0, 0, 0, 0},
        {"left at the start", kKey, 0, 0, VK_LEFT, 0},
        {"a drag starts", kPress, 8.5, 2.5, 0, 40},
        {"to the next cell", kMove, 9.5, 2.5, 0, 41},
        {"a row down", kMove, 9.5, 3.5, 0, 57},
        {"out to the left", kMove, -4, 3.5, 0, 48},
        {"out below the dialog", kMove, 5.5, 200, 0, 213},
        {"out above and right", kMove, 80, -80, 0, 15},
        {"right through the row's end", kKey, 0, 0, VK_RIGHT, 16},
        {"left back", kKey, 0, 0, VK_LEFT, 15},
        {"up from the first row", kKey, 0, 0, VK_UP, 15},
        {"another key", kKey, 0, 0, VK_HOME, 15},
    };
    auto driver = Driver();
    driver.Then([&](HWND d) {
        EXPECT_EQ(kWrapped, Picker().PaletteColorIndex) << "the property's index, wrapped";
        ExpectShows(d, Picker(), webSafe[kWrapped]);
        ::SetFocus(Item(d, kGrid));
        EXPECT_EQ(DLGC_WANTARROWS, ::SendMessageW(Item(d, kGrid), WM_GETDLGCODE, 0, 0));
    });
    for (std::size_t i = 0; i < std::size(steps); ++i) {
        const auto& step = steps[i];
        const bool held = i + 1 < std::size(steps) && steps[i + 1].act == kMove;
        driver
            .Then([&, held](HWND d) {
                const HWND grid = Item(d, kGrid);
                if (step.act == kKey) {
                    PostKey(grid, step.key);
                    return;
                }
                const GridCells cells = GridCells::Of(d, 216);
                const SIZE size = ClientSize(d, kGrid);
                const bool press = step.act == kPress;
                int x = static_cast<int>(std::floor(step.x * cells.width));
                int y = static_cast<int>(std::floor(step.y * cells.height));
                if (press) {
                    x = std::min<int>(x, size.cx - 1);
                    y = std::min<int>(y, size.cy - 1);
                }
                PostPointer(d, grid, press ? WM_LBUTTONDOWN : WM_MOUSEMOVE, x, y, MK_LBUTTON);
                if (!held)
                    PostPointer(d, grid, WM_LBUTTONUP, x, y, 0);
            })
            .Then([&, held](HWND d) {
                SCOPED_TRACE(step.name);
                EXPECT_EQ(step.cell, Picker().PaletteColorIndex);
                ExpectShows(d, Picker(), webSafe[static_cast<std::size_t>(step.cell)]);
                EXPECT_EQ(Item(d, kGrid), ::GetFocus()) << "the grid keeps the focus";
                EXPECT_EQ(held ? d : nullptr, ::GetCapture());
                ExpectGridShows(d, webSafe, step.cell, true);
            });
    }
    driver.Then([](HWND d) { Click(d, IDOK); });
    EXPECT_TRUE(Show(driver));
    EXPECT_EQ(15, PaletteColorIndex());
    EXPECT_EQ(Hex(kOpaque | webSafe[15]), Hex(Argb()));
    ExpectFreshReopen();
}

// Arriving on the palette page takes the entry nearest a typed colour and locks the fields; the
// combo box switches palettes, carrying the cell over and then moving to the nearest entry.
TEST_F(PickerInteractionTest, PalettePageTakesTheNearestEntryAndTheComboSwitchesPalettes) {
    const std::vector<RgbColor> palettes[] = {EnginePalette(2), EnginePalette(3), EnginePalette(4)};
    for (const auto& entries : palettes)
        ASSERT_FALSE(entries.empty());
    ASSERT_EQ(S_OK, dialog.put_PaletteIndex(0));
    ASSERT_EQ(S_OK, dialog.put_PaletteColorIndex(100));
    Prepare(0x000000, 0);

    int cell = 100;
    RgbColor colour = 0x7A1E9C;
    // The nearest entry's colour is taken unless it is the carried cell.
    auto expectArrivedOn = [&](HWND d, int palette) {
        const std::vector<RgbColor>& entries = palettes[palette];
        const int start = OntoPalette(cell, static_cast<int>(entries.size()));
        cell = Picker().PaletteColorIndex;
        ASSERT_TRUE(cell >= 0 && cell < static_cast<int>(entries.size())) << cell;
        const RgbColor entry = entries[static_cast<std::size_t>(cell)];
        for (const RgbColor other : entries)
            EXPECT_GE(ColorDistance(colour, other), ColorDistance(colour, entry)) << Hex(other);
        colour = cell == start ? colour : entry;
        EXPECT_EQ(palette, Picker().PaletteIndex);
        EXPECT_EQ(palette, ::SendMessageW(Item(d, kCombo), CB_GETCURSEL, 0, 0));
        ExpectShows(d, Picker(), colour);
        ExpectGridShows(d, entries, cell, false);
    };
    auto driver = Driver();
    driver.Then([](HWND d) { TypeInto(Item(d, kHex), L"7a1e9c"); })
        .Then([&](HWND d) {
            ExpectShows(d, Picker(), colour);
            ClickTab(d, 5);
        })
        .Then([&](HWND d) {
            SCOPED_TRACE("arrived on the palette page");
            EXPECT_EQ(5, TabSelection(d));
            EXPECT_EQ(5, Page());
            EXPECT_TRUE(::IsWindowVisible(Item(d, kGrid)));
            EXPECT_FALSE(::IsWindowVisible(Item(d, kPlane)));
            expectArrivedOn(d, 0);
            EXPECT_EQ(Hex(kOpaque), Hex(Argb())) << "the result stays until OK";
            EXPECT_EQ(Hex(0), Hex(SwatchPixel(d, kOldSwatch)));
            for (const int id : {kRed, kGreen, kBlue, kHex})
                EXPECT_NE(0, ::GetWindowLongW(Item(d, id), GWL_STYLE) & ES_READONLY) << id;
            for (const int id : {kRedSpin, kRedSpin + 1, kRedSpin + 2})
                EXPECT_FALSE(::IsWindowEnabled(Item(d, id))) << id;
            TypeInto(Item(d, kRed), L"9");
        })
        .Then([&](HWND d) {
            SCOPED_TRACE("typed into a read-only field");
            EXPECT_EQ(cell, Picker().PaletteColorIndex);
            ExpectShows(d, Picker(), colour);
            ::SetFocus(Item(d, kCombo));
            PostKey(Item(d, kCombo), VK_DOWN);
        })
        .Then([&](HWND d) {
            SCOPED_TRACE("switched to the second palette");
            expectArrivedOn(d, 1);
            PostKey(Item(d, kCombo), VK_DOWN);
        })
        .Then([&](HWND d) {
            SCOPED_TRACE("switched to the third palette");
            expectArrivedOn(d, 2);
            PostKey(Item(d, kCombo), VK_UP);
        })
        .Then([&](HWND d) {
            SCOPED_TRACE("back to the second palette");
            expectArrivedOn(d, 1);
            Click(d, IDOK);
        });
    EXPECT_TRUE(Show(driver));
    EXPECT_EQ(Hex(kOpaque | colour), Hex(Argb()));
    LONG palette = -1;
    EXPECT_EQ(S_OK, dialog.get_PaletteIndex(&palette));
    EXPECT_EQ(1, palette);
    EXPECT_EQ(cell, PaletteColorIndex());
    ExpectFreshReopen();
}

// Arrow keys reach the focused plane or strip past the dialog manager and step hue by two
// degrees or a cube's channel by one; limits hold, other keys do nothing.
TEST_F(PickerInteractionTest, ArrowKeysOnPlaneAndStripStepTheColour) {
    auto fullHue = [](int hue) { return FromHsb({hue, 0x10000, 0x10000}); };
    const struct {
        int page;
        bool strip;
        UINT key;
        RgbColor start;
        RgbColor expected;
    } cases[] = {
        {0, false, VK_RIGHT, 0xFF0000, fullHue(2)},   {0, false, VK_HOME, 0x4080C0, 0x4080C0},
        {0, true, VK_LEFT, 0x4080C0, 0x4080C0},       {0, true, VK_UP, 0xFFFFFF, 0xFFFFFF},
        {1, false, VK_RIGHT, 0xFF0000, fullHue(359)}, {2, true, VK_DOWN, 0xFF0000, fullHue(2)},
        {3, false, VK_RIGHT, 0x806040, 0x806041},     {3, false, VK_UP, 0xFF6040, 0xFF6040},
        {4, false, VK_UP, 0x806040, 0x7F6040},        {4, false, VK_RIGHT, 0x806040, 0x80603F},
    };
    auto driver = Driver();
    for (const auto& c : cases) {
        const int id = c.strip ? kStrip : kPlane;
        driver
            .Then([&, id](HWND d) {
                Prepare(c.start, c.page);
                ::SetFocus(Item(d, id));
            })
            .Then([&, id](HWND d) { PostKey(Item(d, id), c.key); })
            .Then([&, id](HWND d) {
                SCOPED_TRACE(::testing::Message()
                             << "page " << c.page << (c.strip ? " strip" : " plane") << " key "
                             << c.key << " from " << Hex(c.start));
                ExpectShows(d, Picker(), c.expected);
                EXPECT_EQ(Item(d, id), ::GetFocus()) << "the key stayed with the control";
                EXPECT_EQ(DLGC_WANTARROWS, ::SendMessageW(Item(d, id), WM_GETDLGCODE, 0, 0));
            });
    }
    driver.Then([](HWND d) { Click(d, IDOK); });
    EXPECT_TRUE(Show(driver));
    EXPECT_EQ(Hex(0xFF80603F), Hex(Argb()));
    ExpectFreshReopen();
}

// Tab walks the template's order, skipping what the page hides, and comes round to OK.
TEST_F(PickerInteractionTest, TabMovesTheFocusInTheTemplatesOrder) {
    const struct {
        int page;
        bool apply;
        std::vector<int> order;
    } cases[] = {
        {5, true, {IDCANCEL, kApply, kRed, kGreen, kBlue, kHex, kTab, kCombo, kGrid, IDOK}},
        {3, false, {IDCANCEL, kRed, kGreen, kBlue, kHex, kTab, kPlane, kStrip, IDOK}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "page " << c.page << " apply " << c.apply);
        ASSERT_EQ(S_OK, dialog.put_ApplyButtonVisible(c.apply ? VARIANT_TRUE : VARIANT_FALSE));
        Prepare(0x4080C0, c.page);
        std::vector<int> visited;
        auto driver = Driver();
        driver.Then([](HWND d) { ::SetFocus(Item(d, IDOK)); });
        for (std::size_t i = 0; i <= c.order.size(); ++i) {
            driver.Then([&, i](HWND) {
                if (i > 0)
                    visited.push_back(::GetDlgCtrlID(::GetFocus()));
                if (i < c.order.size())
                    PostKey(::GetFocus(), VK_TAB);
            });
        }
        driver.Then([](HWND d) { Click(d, IDCANCEL); });
        EXPECT_FALSE(Show(driver));
        EXPECT_EQ(c.order, visited);
    }
    ASSERT_EQ(S_OK, dialog.put_ApplyButtonVisible(VARIANT_TRUE));
    ExpectFreshReopen();
}

// Typed and pasted text in the fields and their spins: the caret stays where the typing left
// it, although the colour flow writes the focused field back.
TEST_F(PickerInteractionTest, EntryFieldsTakeTypedAndPastedText) {
    enum class Input { Type, Paste, Erase, SpinUp, SpinDown };
    const struct {
        const char* name;
        int field;
        RgbColor start;
        int selectFrom; // the selection before the input; -1: the whole text
        int selectTo;
        Input input;
        const wchar_t* text;
        const wchar_t* shows;
        RgbColor colour;
        int caret; // -1: not checked
    } cases[] = {
        {"928 is held to 255, caret after the typed digit", kRed, 0x806699, 0, 1, Input::Type, L"9",
         L"255", 0xFF6699, 1},
        {"a digit typed between two stays there", kRed, 0x0C3366, 1, 1, Input::Type, L"5", L"152",
         0x983366, 2},
        {"emptying a channel that was not 0 writes 0", kRed, 0x336699, -1, -1, Input::Erase, L"",
         L"0", 0x006699, 0},
        {"pasted non-digits count as 0", kBlue, 0x1020FF, -1, -1, Input::Paste, L"1a2", L"0",
         0x102000, 1},
        {"hex typed in lower case shows in upper case", kHex, 0x000000, -1, -1, Input::Type,
         L"00ff80", L"00FF80", 0x00FF80, 6},
        {"pasted hex text is cut to the limit, then cleaned", kHex, 0xABCDEF, -1, -1, Input::Paste,
         L"#12ZZ34ab", L"123", 0x000123, 3},
        {"a pasted # is dropped", kHex, 0xABCDEF, -1, -1, Input::Paste, L"#a1b2c3", L"A1B2C",
         0x0A1B2C, 5},
        {"the spin steps its field, which takes the focus", kGreen, 0x102030, -1, -1, Input::SpinUp,
         L"", L"33", 0x102130, -1},
        {"the spin stops at 255", kRed, 0xFF2030, -1, -1, Input::SpinUp, L"", L"255", 0xFF2030, -1},
        {"the spin stops at 0", kBlue, 0x102000, -1, -1, Input::SpinDown, L"", L"0", 0x102000, -1},
    };
    auto driver = Driver();
    for (const auto& c : cases) {
        driver
            .Then([&](HWND d) {
                ::SetFocus(Item(d, IDOK)); // the put below then reaches no focused field
                Prepare(c.start, 0);
            })
            .Then([&](HWND d) {
                const HWND field = Item(d, c.field);
                ::SetFocus(field);
                ::SendMessageW(field, EM_SETSEL, static_cast<WPARAM>(std::max(c.selectFrom, 0)),
                               c.selectTo);
                if (c.input == Input::Type) {
                    TypeInto(field, c.text, false);
                } else if (c.input == Input::Paste) {
                    EXPECT_TRUE(testing::PasteInto(field, c.text, c.selectFrom < 0));
                } else if (c.input == Input::Erase) {
                    ::SendMessageW(field, WM_CHAR, VK_BACK, 1);
                } else {
                    // The up-down control beside the field: its upper half steps up.
                    ::SetFocus(Item(d, IDOK));
                    const HWND spin = Item(d, kRedSpin + (c.field == kRed     ? 0
                                                          : c.field == kGreen ? 1
                                                                              : 2));
                    RECT r;
                    ::GetClientRect(spin, &r);
                    const int y = c.input == Input::SpinUp ? r.bottom / 4 : 3 * r.bottom / 4;
                    ::PostMessageW(spin, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(r.right / 2, y));
                    ::PostMessageW(spin, WM_LBUTTONUP, 0, MAKELPARAM(r.right / 2, y));
                }
            })
            .Then([&](HWND d) {
                SCOPED_TRACE(c.name);
                const HWND field = Item(d, c.field);
                EXPECT_EQ(std::wstring(c.shows), TextOf(field));
                ExpectShows(d, Picker(), c.colour);
                if (c.caret >= 0) {
                    EXPECT_EQ(std::make_pair(c.caret, c.caret), testing::SelectionOf(field));
                }
            });
    }
    driver.Then([](HWND d) { Click(d, IDCANCEL); });
    EXPECT_FALSE(Show(driver));
    ExpectFreshReopen();
}

// The flow writes the fields one by one and the focused one answers each write by reading all
// three: a colour the client writes meanwhile must still be the one shown and returned.
TEST_F(PickerInteractionTest, AColourChangeWhileAFieldHasTheFocusShowsEverywhere) {
    constexpr RgbColor kWritten = 0x9C4A17;
    for (const int field : {kRed, kGreen, kBlue, kHex}) {
        SCOPED_TRACE(::testing::Message() << "field " << field << " focused");
        Prepare(0x102030, 0);
        auto driver = Driver();
        driver.Then([&](HWND d) { ::SetFocus(Item(d, field)); })
            .Then([&](HWND) {
                // As a client's timer or message handler writes it while the dialog is up.
                EXPECT_EQ(S_OK, dialog.put_ColorArgb(static_cast<LONG>(kOpaque | kWritten)));
            })
            .Then([&](HWND d) {
                EXPECT_EQ(Item(d, field), ::GetFocus());
                ExpectShows(d, Picker(), kWritten);
                Click(d, IDOK);
            });
        EXPECT_TRUE(Show(driver));
        EXPECT_EQ(Hex(kOpaque | kWritten), Hex(Argb()));
    }
    ExpectFreshReopen();
}

// Without the engine there are five tabs; ActivePage 5 is stored and hides plane and strip but
// selects no tab and changes nothing else, and the rest of the dialog goes on working.
TEST_F(PickerInteractionTest, WithoutPalettesTheDialogHasFiveTabs) {
    {
        EngineRemoved engine;
        ASSERT_TRUE(engine.Removed());
        ASSERT_EQ(S_OK, dialog.put_PaletteColorIndex(7));
        constexpr RgbColor kStart = 0x4080C0;
        Prepare(kStart, 0);
        auto driver = Driver();
        driver
            .Then([&](HWND d) {
                EXPECT_EQ(5, TabCount(d));
                EXPECT_EQ(0, ::SendMessageW(Item(d, kCombo), CB_GETCOUNT, 0, 0));
                EXPECT_EQ(S_OK, dialog.put_ActivePage(ColorDialogPagePalettes));
            })
            .Then([&](HWND d) {
                SCOPED_TRACE("page 5 written");
                EXPECT_EQ(5, Page());
                EXPECT_EQ(0, TabSelection(d)) << "there is no tab to select";
                EXPECT_FALSE(::IsWindowVisible(Item(d, kPlane)));
                EXPECT_FALSE(::IsWindowVisible(Item(d, kStrip)));
                // A press, a drag and keys on the empty grid.
                const SIZE grid = ClientSize(d, kGrid);
                const HWND g = Item(d, kGrid);
                PostPointer(d, g, WM_LBUTTONDOWN, grid.cx / 2, grid.cy / 2, MK_LBUTTON);
                PostPointer(d, g, WM_MOUSEMOVE, grid.cx / 3, grid.cy / 3, MK_LBUTTON);
                PostPointer(d, g, WM_LBUTTONUP, grid.cx / 3, grid.cy / 3, 0);
                ::SetFocus(g);
                PostKey(g, VK_RIGHT);
                PostKey(g, VK_DOWN);
            })
            .Then([&](HWND d) {
                SCOPED_TRACE("pointer and keys on the empty grid");
                ExpectShows(d, Picker(), kStart);
                EXPECT_EQ(7, Picker().PaletteColorIndex);
                EXPECT_EQ(nullptr, ::GetCapture());
                ClickTab(d, 2);
            })
            .Then([&](HWND d) {
                SCOPED_TRACE("back on a page with a plane");
                EXPECT_EQ(2, Page());
                EXPECT_TRUE(::IsWindowVisible(Item(d, kPlane)));
                EXPECT_GT(Picker().PlaneMarkerX, kNoMarker);
                TypeInto(Item(d, kRed), L"200");
            })
            .Then([&](HWND d) {
                ExpectShows(d, Picker(), 0xC880C0);
                Click(d, IDOK);
            });
        EXPECT_TRUE(Show(driver));
        EXPECT_EQ(Hex(0xFFC880C0), Hex(Argb()));
        EXPECT_EQ(7, PaletteColorIndex()) << "kept for a show that has palettes";

        Prepare(kStart, 5); // a show that starts on page 5 without palettes
        ExpectFreshReopen(5);
    }
    ExpectFreshReopen(6);
}

} // namespace
} // namespace orrelux
