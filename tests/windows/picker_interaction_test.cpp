// The colour picker's dialog driven by pointer and keyboard as a user drives it: drags on the
// plane and the strip of every page, cube drags in each of their modes, the palette grid by
// pointer and arrow keys, the palette combo box, the arrow keys of plane and strip, the Tab
// order, typing and pasting into the entry fields, and a picker whose engine has no palettes.
//
// Pointer messages are posted to the dialog, which is where the system delivers them when the
// pointer is over plane, strip or grid, and keys to the focused control, so that the modal
// loop's dialog manager sees them first. Every expectation comes from the portable arithmetic
// (plane geometry, position maps, cube picking, palette wrap and colour distance) applied to the
// sizes of the live controls. Every scenario ends with a second Show that has to start afresh
// from the properties.
#include <windows.h>
#include <commctrl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
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
using testing::CreateLinkedObject;
using testing::DialogDriver;
using testing::PasteInto;
using testing::PostKey;
using testing::PostPointer;
using testing::SelectionOf;
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
constexpr int kInset = 3; // the frame of plane, strip and grid
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
    HDC context = ::GetDC(control);
    const COLORREF pixel = ::GetPixel(context, x, y);
    ::ReleaseDC(control, context);
    return pixel;
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

RgbColor HexFieldValue(HWND dialog) {
    return ParseHexColor(TextOf(Item(dialog, kHex)).c_str());
}

// Every view of the colour agrees with `expected`: the picker's state, the decimal fields, the
// hexadecimal field and the New swatch on the screen.
void ExpectShows(HWND dialog, const CPickerWindow& picker, RgbColor expected) {
    EXPECT_EQ(Hex(expected), Hex(picker.CurrentColor)) << "current colour";
    EXPECT_EQ(Hex(expected), Hex(FieldsColour(dialog))) << "decimal fields";
    EXPECT_EQ(Hex(expected), Hex(HexFieldValue(dialog))) << "hex field";
    EXPECT_EQ(Hex(RgbToColorRef(expected)), Hex(SwatchPixel(dialog, kNewSwatch)))
        << "New swatch (as COLORREF)";
}

// ---- Geometry of the live controls ----------------------------------------------------------

struct Area {
    POINT origin{}; // the client origin in the dialog's client coordinates
    SIZE size{};    // the client size
};

Area AreaOf(HWND dialog, HWND control) {
    RECT client;
    ::GetClientRect(control, &client);
    POINT origin = {0, 0};
    ::MapWindowPoints(control, dialog, &origin, 1);
    return Area{origin, SIZE{client.right, client.bottom}};
}

// Where a pointer at `at` (the control's client coordinates) acts: the dialog holds the
// position to its own client area, the drag then to the control's area inside its frame.
POINT ActsAt(HWND dialog, const Area& area, POINT at) {
    RECT client;
    ::GetClientRect(dialog, &client);
    const int x = HoldTo(area.origin.x + at.x, 0, client.right - 1) - area.origin.x;
    const int y = HoldTo(area.origin.y + at.y, 0, client.bottom - 1) - area.origin.y;
    return POINT{HoldTo(x, kInset, area.size.cx - kInset),
                 HoldTo(y, kInset, area.size.cy - kInset)};
}

PlaneGeometry PlaneOf(HWND dialog) {
    const Area plane = AreaOf(dialog, Item(dialog, kPlane));
    return PlaneGeometry::FromInnerSize(plane.size.cx - 2 * kInset, plane.size.cy - 2 * kInset,
                                        kInset);
}

int StripInnerHeight(HWND dialog) {
    return AreaOf(dialog, Item(dialog, kStrip)).size.cy - 2 * kInset;
}

// ---- Colour arithmetic of the steps ---------------------------------------------------------

RgbColor FromHsb(const HsbStep& hsb) {
    const RgbChannels channels =
        HsbToRgb(static_cast<std::uint32_t>(hsb.hue), static_cast<std::uint32_t>(hsb.saturation),
                 static_cast<std::uint32_t>(hsb.brightness));
    return PackRgb(channels.red, channels.green, channels.blue);
}

HsbStep HsbOf(RgbColor colour) {
    const HsbColor hsb = RgbToHsb(colour);
    return HsbStep{static_cast<int>(hsb.hue), static_cast<int>(hsb.saturation),
                   static_cast<int>(hsb.brightness)};
}

// Where a step on pages 0 to 2 starts: the coordinates that the markers stand for, and the
// colour's for a marker that isn't placed. On the cube pages the colour alone.
HsbStep ReadBack(const CPickerWindow& picker, HWND dialog, int page, RgbColor colour) {
    HsbStep hsb = HsbOf(colour);
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

// What one pointer step at `at` (already held to the control's inner area) gives, from the
// picker's state just before it.
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

// ---- The engine's palettes, read the way the picker reads them ------------------------------

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

// A cell index brought onto a palette of `count` entries: an index past the end keeps its
// column and goes up row by row to the last row that has a cell there (every palette here
// has at least one full row).
int OntoPalette(int index, int count) {
    const int columns = PaletteColumnsFor(count);
    while (index >= count)
        index -= columns;
    return std::max(index, 0);
}

// The nearest entry by ColorDistance; the present selection wins a tie, then the lowest index.
int NearestEntry(const std::vector<RgbColor>& entries, int selected, RgbColor colour) {
    int best = selected;
    std::int32_t bestDistance = ColorDistance(colour, entries[static_cast<std::size_t>(best)]);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (ColorDistance(colour, entries[i]) < bestDistance) {
            best = static_cast<int>(i);
            bestDistance = ColorDistance(colour, entries[i]);
        }
    }
    return best;
}

// The grid's cells: Columns across and as many rows' room down, each cell's size rounded down.
struct GridCells {
    int columns = 16;
    int width = 1;
    int height = 1;

    static GridCells Of(HWND dialog, int colorCount) {
        const Area grid = AreaOf(dialog, Item(dialog, kGrid));
        GridCells cells;
        cells.columns = PaletteColumnsFor(colorCount);
        cells.width = grid.size.cx / cells.columns;
        cells.height = grid.size.cy / cells.columns;
        return cells;
    }
    POINT Corner(int index) const {
        return POINT{width * (index % columns), height * (index / columns)};
    }
    POINT Centre(int index) const {
        const POINT corner = Corner(index);
        return POINT{corner.x + width / 2, corner.y + height / 2};
    }
};

// The cell that a pointer at `at` (grid client coordinates) selects on a palette of `count`.
int CellAt(HWND dialog, int count, POINT at) {
    const GridCells cells = GridCells::Of(dialog, count);
    const POINT inner = ActsAt(dialog, AreaOf(dialog, Item(dialog, kGrid)), at);
    const int x = HoldTo(inner.x, 0, cells.columns * cells.width - 1);
    return OntoPalette((inner.y / cells.height) * cells.columns + x / cells.width, count);
}

// Runs regsvr32 on the imaging engine; 0 when the DLL's call succeeded.
DWORD RegisterEngine(bool registering) {
    std::wstring line = std::wstring(L"regsvr32.exe /s ") + (registering ? L"" : L"/u ") + L"\"" +
                        testing::BinPath(L"ImagingEngine.dll") + L"\"";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started = {};
    if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                          &startup, &started))
        return static_cast<DWORD>(-1);
    const UniqueKernelHandle process(started.hProcess), thread(started.hThread);
    ::WaitForSingleObject(process.Get(), INFINITE);
    DWORD code = 0;
    ::GetExitCodeProcess(process.Get(), &code);
    return code;
}

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
    HWND Dialog() {
        OLE_HANDLE handle = 0;
        dialog.get_Hwnd(&handle);
        return reinterpret_cast<HWND>(static_cast<UINT_PTR>(handle));
    }
    // Steps start once the modal loop has shown the dialog: what they check is on the screen.
    DialogDriver Driver() {
        return DialogDriver([this]() -> HWND {
            const HWND d = Dialog();
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

    // A second Show starts from the properties: the page and colour they hold, no drag, no
    // capture, the markers placed for the colour. `tabs` is the number of tabs expected.
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

    ComPtr<IColorDialog> object = CreateLinkedObject<IColorDialog>(CLSID_ColorDialog);
    CColorDialog& dialog = *static_cast<CColorDialog*>(object.Get());
};

// ---- Drags ----------------------------------------------------------------------------------

// The points of a drag in the control's client coordinates, made once the dialog is up.
using PathMaker = std::function<std::vector<POINT>(HWND dialog)>;

// One drag on plane or strip: focus the control, press at the first point, move along the
// rest, release, then a move with the button flag that must do nothing. Each posted message is
// checked at the next tick against the arithmetic applied to the state just before it.
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
            // Focus first: a press on a control without the focus repaints it and places its
            // marker afresh, and the read-back of the press starts from there.
            ::SetFocus(Control(d));
        });
        for (std::size_t i = 0; i < points_; ++i) {
            driver.Then([this, i](HWND d) {
                if (i > 0)
                    CheckStep(d, i - 1);
                else
                    CheckPassesThrough(d);
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

    RgbColor Last() const { return colours_.empty() ? 0 : colours_.back(); }
    const std::vector<RgbColor>& Colours() const { return colours_; }
    const std::vector<int>& Modes() const { return modes_; }

private:
    HWND Control(HWND d) const { return Item(d, strip_ ? kStrip : kPlane); }

    // A pointer over the control reaches the dialog: the tab strip above it and the control
    // itself let it through, which is what routes a real press to the drag.
    void CheckPassesThrough(HWND d) {
        POINT screen = path_[0];
        ::MapWindowPoints(Control(d), HWND_DESKTOP, &screen, 1);
        EXPECT_EQ(d, ::WindowFromPoint(screen)) << "a pointer over the control reaches the dialog";
    }

    void Post(HWND d, std::size_t i) {
        at_ = ActsAt(d, AreaOf(d, Control(d)), path_[i]);
        if (i == 0) {
            expected_.cubeMode = kCubeDragNone;
            stripRowAtPress_ = picker_.StripMarkerPos;
            planeMarkerAtPress_ = POINT{picker_.PlaneMarkerX, picker_.PlaneMarkerY};
        }
        expected_ =
            PointerStep(picker_, d, page_, strip_, at_, FieldsColour(d), expected_.cubeMode);
        colours_.push_back(expected_.colour);
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
        const bool cube = page_ == 3 || page_ == 4;
        if (strip_) {
            EXPECT_NEAR(at_.y, picker_.StripMarkerPos, 1) << "the strip marker follows";
            if (!cube) {
                EXPECT_EQ(planeMarkerAtPress_.x, picker_.PlaneMarkerX) << "the plane marker stays";
                EXPECT_EQ(planeMarkerAtPress_.y, picker_.PlaneMarkerY) << "the plane marker stays";
            }
        } else if (cube) {
            EXPECT_EQ(expected_.cubeMode, picker_.CubeDragMode) << "cube drag mode";
            EXPECT_EQ(kNoMarker, picker_.PlaneMarkerX) << "the cube's markers are its picture's";
        } else {
            EXPECT_EQ(stripRowAtPress_, picker_.StripMarkerPos) << "the strip marker stays";
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
    int stripRowAtPress_ = kNoMarker;
    POINT planeMarkerAtPress_{};
    std::vector<RgbColor> colours_;
    std::vector<int> modes_;
};

SIZE ClientSize(HWND d, int id) {
    return AreaOf(d, Item(d, id)).size;
}

// Through the inside, out of the control to the left, out of the dialog above and to the
// right, below it, onto the frame's corner, and back inside.
std::vector<POINT> PlanePath(HWND d) {
    const SIZE s = ClientSize(d, kPlane);
    return {{s.cx / 3, s.cy / 3}, {2 * s.cx / 3, s.cy / 2},    {s.cx / 2, 3 * s.cy / 4},
            {-20, s.cy / 2},      {s.cx + 600, -600},          {s.cx / 4, s.cy + 600},
            {s.cx - 1, 1},        {s.cx / 2 + 7, s.cy / 2 - 5}};
}
constexpr std::size_t kPlanePathPoints = 8;

// Down the strip, off it to the left (x plays no part), above and below the dialog.
std::vector<POINT> StripPath(HWND d) {
    const SIZE s = ClientSize(d, kStrip);
    return {{s.cx / 2, s.cy / 3}, {s.cx / 2, 2 * s.cy / 3}, {-100, s.cy / 2},
            {s.cx / 2, -600},     {s.cx / 2, s.cy + 600},   {s.cx + 40, s.cy / 4}};
}
constexpr std::size_t kStripPathPoints = 6;

// On every page with a plane, a drag on the plane and one on the strip give the colours that
// the position maps (or the cube picking) give at the held positions, with the pointer
// captured from press to release; OK returns the last colour.
TEST_F(PickerInteractionTest, DragsOnPlaneAndStripFollowThePointerAndClamp) {
    struct Case {
        int page;
        bool strip;
        RgbColor start;
    };
    const Case cases[] = {
        {0, false, 0x4080C0}, {0, true, 0x4080C0}, {1, false, 0x4080C0}, {1, true, 0xC08040},
        {2, false, 0x4080C0}, {2, true, 0x208060}, {3, false, 0x806040}, {3, true, 0x806040},
        {4, false, 0x806040}, {4, true, 0x406080},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << "page " << c.page << (c.strip ? " strip" : " plane"));
        Prepare(c.start, c.page);
        DragScript drag(Picker(), c.page, c.strip, c.strip ? kStripPathPoints : kPlanePathPoints,
                        c.strip ? PathMaker(StripPath) : PathMaker(PlanePath));
        auto driver = Driver();
        drag.AddTo(driver);
        driver.Then([](HWND d) { Click(d, IDOK); });
        EXPECT_TRUE(Show(driver));
        EXPECT_EQ(Hex(kOpaque | drag.Last()), Hex(Argb()));
    }
    ExpectFreshReopen();
}

// Where the cube's three axis markers stand for a colour: on the vertical, left and right axes.
enum class Grab { VerticalAxis, LeftAxis, RightAxis, Faces };

POINT AxisMarker(const PlaneGeometry& g, RgbColor colour, bool additive, Grab grab) {
    const CubeGuidePoints guides = CubeGuidesFor(g, colour, additive);
    switch (grab) {
    case Grab::VerticalAxis:
        return POINT{g.centreX, guides.top};
    case Grab::LeftAxis:
        return POINT{guides.greenX, g.centreY + guides.greenY + 1};
    default:
        return POINT{guides.blueX + 1, g.centreY + guides.blueY + 1};
    }
}

// A press on an axis marker holds that axis for the whole drag, wherever the pointer goes; a
// press on a face lets the drag slide from face to face.
TEST_F(PickerInteractionTest, CubeDragsHoldAnAxisOrFollowTheFaces) {
    struct Case {
        int page;
        RgbColor start;
        Grab grab;
        int firstMode;
    };
    const Case cases[] = {
        {3, 0x804020, Grab::VerticalAxis, kCubeDragVerticalAxis},
        {3, 0x804020, Grab::LeftAxis, kCubeDragLeftAxis},
        {3, 0x804020, Grab::RightAxis, kCubeDragRightAxis},
        {3, 0x804020, Grab::Faces, kCubeDragRightWall},
        {4, 0x60A0C0, Grab::VerticalAxis, kCubeDragVerticalAxis},
        {4, 0x60A0C0, Grab::LeftAxis, kCubeDragLeftAxis},
        {4, 0x60A0C0, Grab::RightAxis, kCubeDragRightAxis},
        {4, 0x60A0C0, Grab::Faces, kCubeDragRightWall},
    };
    constexpr std::size_t kPoints = 6;
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << "page " << c.page << " mode " << c.firstMode);
        Prepare(c.start, c.page);
        const PathMaker path = [&c](HWND d) -> std::vector<POINT> {
            const PlaneGeometry g = PlaneOf(d);
            const SIZE s = ClientSize(d, kPlane);
            const int cx = g.centreX;
            const int cy = g.centreY;
            const int l = g.radius;
            if (c.grab == Grab::Faces)
                return {{cx + l / 2, cy - l / 3}, {cx + l / 4, cy + l / 2},
                        {cx - l / 2, cy - l / 3}, {cx - l / 3, cy + l / 3},
                        {-500, s.cy + 500},       {cx + l / 3, cy - l}};
            const POINT m = AxisMarker(g, c.start, c.page == 3, c.grab);
            return {m,
                    {m.x, m.y - l / 4},
                    {m.x + l / 3, m.y + l / 6},
                    {cx + l / 2, cy + l / 3},
                    {s.cx + 500, s.cy / 2},
                    {-500, -500}};
        };
        DragScript drag(Picker(), c.page, false, kPoints, path);
        auto driver = Driver();
        drag.AddTo(driver);
        driver.Then([](HWND d) { Click(d, IDOK); });
        EXPECT_TRUE(Show(driver));
        EXPECT_EQ(Hex(kOpaque | drag.Last()), Hex(Argb()));
        // The cases must exercise what they name.
        ASSERT_EQ(kPoints, drag.Modes().size());
        EXPECT_EQ(c.firstMode, drag.Modes()[0]) << "the press grabs the intended mode";
        if (c.grab == Grab::Faces) {
            for (const int face : {kCubeDragRightWall, kCubeDragFloor, kCubeDragLeftWall})
                EXPECT_NE(drag.Modes().end(),
                          std::find(drag.Modes().begin(), drag.Modes().end(), face))
                    << "the drag crosses face " << face;
        } else {
            for (const int mode : drag.Modes())
                EXPECT_EQ(c.firstMode, mode) << "an axis holds to the release";
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

// On the HSB pages the hue is kept through black: brightness to 0 and back, within one drag
// and across two, gives the hue back, since the markers hold what the colour lost.
TEST_F(PickerInteractionTest, HueSurvivesADragThroughBlack) {
    constexpr RgbColor kStart = 0x3366CC;
    const int startHue = HsbOf(kStart).hue;
    struct Case {
        int page;
        bool strip; // where brightness is: the strip on pages 0 and 1, the plane on page 2
    };
    for (const Case c : {Case{0, true}, Case{1, true}, Case{2, false}}) {
        SCOPED_TRACE(::testing::Message() << "page " << c.page);
        Prepare(kStart, c.page);
        const int id = c.strip ? kStrip : kPlane;
        auto column = [id](HWND d) { return 2 * ClientSize(d, id).cx / 3; };
        auto height = [id](HWND d) { return ClientSize(d, id).cy; };
        DragScript downAndUp(Picker(), c.page, c.strip, 3, [&](HWND d) -> std::vector<POINT> {
            return {{column(d), height(d) / 2}, {column(d), height(d) + 300}, {column(d), -300}};
        });
        // Presses land on the control itself: on its frame, which acts as the nearest row.
        DragScript down(Picker(), c.page, c.strip, 1, [&](HWND d) -> std::vector<POINT> {
            return {{column(d), height(d) - 1}};
        });
        DragScript up(Picker(), c.page, c.strip, 2, [&](HWND d) -> std::vector<POINT> {
            return {{column(d), 0}, {column(d), height(d) / 4}};
        });
        auto driver = Driver();
        downAndUp.AddTo(driver);
        down.AddTo(driver);
        up.AddTo(driver);
        driver.Then([](HWND d) { Click(d, IDOK); });
        EXPECT_TRUE(Show(driver));
        ASSERT_EQ(3u, downAndUp.Colours().size());
        EXPECT_EQ(Hex(0), Hex(downAndUp.Colours()[1])) << "the drag passes through black";
        EXPECT_EQ(Hex(0), Hex(down.Last()));
        ASSERT_EQ(2u, up.Colours().size());
        for (const RgbColor back : {downAndUp.Last(), up.Colours()[0], up.Last()}) {
            EXPECT_NE(0u, back);
            EXPECT_NEAR(startHue, HsbOf(back).hue, 2) << Hex(back) << " keeps the hue";
        }
        EXPECT_EQ(Hex(kOpaque | up.Last()), Hex(Argb()));
    }
    ExpectFreshReopen();
}

// ---- Palette page ---------------------------------------------------------------------------

// The grid on the screen: the selected cell in its frame, the others filled with their colour.
void ExpectGridShows(HWND d, const std::vector<RgbColor>& entries, int selected, bool focused) {
    const GridCells cells = GridCells::Of(d, static_cast<int>(entries.size()));
    const HWND grid = Item(d, kGrid);
    const POINT corner = cells.Corner(selected);
    const POINT centre = cells.Centre(selected);
    EXPECT_EQ(Hex(RgbToColorRef(entries[static_cast<std::size_t>(selected)])),
              Hex(PixelOf(grid, centre.x, centre.y)))
        << "the selected cell's colour";
    // Focused: the dotted outline on the cell's first ring, then white, then black. Without the
    // focus: blue (red 0x33, green 0x33, blue 0xFF), then black.
    const int black = focused ? 3 : 2;
    const POINT ring =
        focused ? POINT{corner.x + 2, corner.y + 2} : POINT{corner.x + 1, corner.y + 1};
    EXPECT_EQ(Hex(0), Hex(PixelOf(grid, corner.x + black, corner.y + black))) << "its black ring";
    EXPECT_EQ(Hex(focused ? 0xFFFFFF : RgbToColorRef(0x3333FF)), Hex(PixelOf(grid, ring.x, ring.y)))
        << "its outer ring";
    // A sample of the other cells, which must not keep a frame of an earlier selection.
    for (std::size_t i = 0; i < entries.size(); i += 7) {
        if (static_cast<int>(i) == selected)
            continue;
        const POINT other = cells.Corner(static_cast<int>(i));
        EXPECT_EQ(Hex(RgbToColorRef(entries[i])), Hex(PixelOf(grid, other.x + 3, other.y + 3)))
            << "cell " << i;
    }
}

// Presses and drags on the grid select the cell under the pointer, hold a pointer beyond the
// grid to its cells and put a pointer below the last row on the last cell of its column.
TEST_F(PickerInteractionTest, PaletteGridSelectsTheCellUnderThePointer) {
    const std::vector<RgbColor> webSafe = EnginePalette(2);
    ASSERT_EQ(216u, webSafe.size());
    ASSERT_EQ(S_OK, dialog.put_PaletteIndex(0));
    ASSERT_EQ(S_OK, dialog.put_PaletteColorIndex(0));
    Prepare(webSafe[0], 5);

    using Target = POINT (*)(HWND d);
    struct Press {
        const char* name;
        Target at; // grid client coordinates
        bool drag; // a move of the drag begun by the previous press, not a press of its own
    };
    static const auto cells = [](HWND d) { return GridCells::Of(d, 216); };
    const Press presses[] = {
        {"a cell", [](HWND d) { return cells(d).Centre(37); }, false},
        {"below the last row, a column past the short row",
         [](HWND d) {
             return POINT{cells(d).Centre(10).x, 15 * cells(d).height + 2};
         },
         false},
        {"below the last row, a column of the short row",
         [](HWND d) {
             return POINT{cells(d).Centre(3).x, 15 * cells(d).height + 2};
         },
         false},
        {"right of the last column",
         [](HWND d) {
             return POINT{ClientSize(d, kGrid).cx - 1, cells(d).Centre(16).y};
         },
         false},
        {"the frame's corner",
         [](HWND) {
             return POINT{0, 0};
         },
         false},
        {"a drag starts", [](HWND d) { return cells(d).Centre(40); }, false},
        {"to the next cell", [](HWND d) { return cells(d).Centre(41); }, true},
        {"a row down", [](HWND d) { return cells(d).Centre(57); }, true},
        {"out to the left",
         [](HWND d) {
             return POINT{-50, cells(d).Centre(48).y};
         },
         true},
        {"out below the dialog",
         [](HWND d) {
             return POINT{cells(d).Centre(5).x, 2000};
         },
         true},
        {"out above and right",
         [](HWND d) {
             return POINT{ClientSize(d, kGrid).cx + 900, -900};
         },
         true},
    };
    const std::size_t count = sizeof(presses) / sizeof(presses[0]);
    int expected = 0;
    auto driver = Driver();
    for (std::size_t i = 0; i < count; ++i) {
        const Press& press = presses[i];
        const bool last = i + 1 == count || !presses[i + 1].drag;
        driver.Then([&, last](HWND d) {
            const POINT at = press.at(d);
            expected = CellAt(d, 216, at);
            const HWND grid = Item(d, kGrid);
            PostPointer(d, grid, press.drag ? WM_MOUSEMOVE : WM_LBUTTONDOWN, at.x, at.y,
                        MK_LBUTTON);
            if (last)
                PostPointer(d, grid, WM_LBUTTONUP, at.x, at.y, 0);
        });
        driver.Then([&, last](HWND d) {
            SCOPED_TRACE(press.name);
            const CPickerWindow& picker = Picker();
            EXPECT_EQ(expected, picker.PaletteColorIndex);
            ExpectShows(d, picker, webSafe[static_cast<std::size_t>(expected)]);
            EXPECT_EQ(Item(d, kGrid), ::GetFocus());
            EXPECT_EQ(last ? nullptr : d, ::GetCapture());
            ExpectGridShows(d, webSafe, expected, true);
        });
    }
    driver.Then([](HWND d) { Click(d, IDOK); });
    EXPECT_TRUE(Show(driver));
    LONG index = -1;
    EXPECT_EQ(S_OK, dialog.get_PaletteColorIndex(&index));
    EXPECT_EQ(expected, index);
    EXPECT_EQ(Hex(kOpaque | webSafe[static_cast<std::size_t>(expected)]), Hex(Argb()));
    ExpectFreshReopen();
}

// The cell an arrow key moves to: left and right run through the row ends and stop at the
// ends of the palette, up and down stay when there is no cell there; other keys do nothing.
int AfterKey(int index, UINT key, int count, int columns) {
    switch (key) {
    case VK_LEFT:
        return std::max(index - 1, 0);
    case VK_RIGHT:
        return std::min(index + 1, count - 1);
    case VK_UP:
        return index - columns >= 0 ? index - columns : index;
    case VK_DOWN:
        return index + columns < count ? index + columns : index;
    default:
        return index;
    }
}

// The arrow keys move the selection on the grid; a cell index past the palette from the
// properties is wrapped onto the last row that has its column.
TEST_F(PickerInteractionTest, PaletteGridArrowKeysMoveTheSelection) {
    const std::vector<RgbColor> webSafe = EnginePalette(2);
    ASSERT_EQ(216u, webSafe.size());
    const int columns = PaletteColumnsFor(216);
    const int wrapped = OntoPalette(220, 216);
    ASSERT_EQ(S_OK, dialog.put_PaletteIndex(0));
    ASSERT_EQ(S_OK, dialog.put_PaletteColorIndex(220));
    // The entry itself, so that arriving on the page keeps the wrapped cell as the nearest.
    Prepare(webSafe[static_cast<std::size_t>(wrapped)], 5);

    struct Action {
        UINT key; // 0: a press on `cell` instead
        int cell;
    };
    const Action actions[] = {
        {VK_DOWN, 0},  {VK_RIGHT, 0}, {VK_UP, 0},    {VK_LEFT, 0},  {0, 15},
        {VK_RIGHT, 0}, {VK_LEFT, 0},  {VK_UP, 0},    {0, 0},        {VK_LEFT, 0},
        {VK_UP, 0},    {0, 215},      {VK_RIGHT, 0}, {VK_DOWN, 0},  {VK_UP, 0},
        {0, 200},      {VK_DOWN, 0},  {VK_HOME, 0},  {VK_RIGHT, 0},
    };
    int expected = wrapped;
    auto driver = Driver();
    driver.Then([&](HWND d) {
        const CPickerWindow& picker = Picker();
        EXPECT_EQ(wrapped, picker.PaletteColorIndex) << "the property's index, wrapped";
        ExpectShows(d, picker, webSafe[static_cast<std::size_t>(wrapped)]);
        ::SetFocus(Item(d, kGrid));
        EXPECT_EQ(DLGC_WANTARROWS, ::SendMessageW(Item(d, kGrid), WM_GETDLGCODE, 0, 0));
    });
    for (const Action& action : actions) {
        driver.Then([&](HWND d) {
            const HWND grid = Item(d, kGrid);
            if (action.key == 0) {
                expected = action.cell;
                const POINT at = GridCells::Of(d, 216).Centre(action.cell);
                PostPointer(d, grid, WM_LBUTTONDOWN, at.x, at.y, MK_LBUTTON);
                PostPointer(d, grid, WM_LBUTTONUP, at.x, at.y, 0);
            } else {
                expected = AfterKey(expected, action.key, 216, columns);
                PostKey(grid, action.key);
            }
        });
        driver.Then([&](HWND d) {
            SCOPED_TRACE(::testing::Message() << "key " << action.key << " cell " << action.cell
                                              << " expecting " << expected);
            const CPickerWindow& picker = Picker();
            EXPECT_EQ(expected, picker.PaletteColorIndex);
            ExpectShows(d, picker, webSafe[static_cast<std::size_t>(expected)]);
            EXPECT_EQ(Item(d, kGrid), ::GetFocus()) << "the grid keeps the arrow keys";
            ExpectGridShows(d, webSafe, expected, true);
        });
    }
    driver.Then([](HWND d) { Click(d, IDOK); });
    EXPECT_TRUE(Show(driver));
    LONG index = -1;
    EXPECT_EQ(S_OK, dialog.get_PaletteColorIndex(&index));
    EXPECT_EQ(expected, index);
    ExpectFreshReopen();
}

// A typed colour that no palette entry has: arriving on the palette page selects the nearest
// entry and takes its colour, the fields turn read-only; the combo box switches palettes,
// carrying the cell number over and then moving to the entry nearest the colour.
TEST_F(PickerInteractionTest, PalettePageTakesTheNearestEntryAndTheComboSwitchesPalettes) {
    const std::vector<RgbColor> palettes[] = {EnginePalette(2), EnginePalette(3), EnginePalette(4)};
    for (const auto& entries : palettes)
        ASSERT_FALSE(entries.empty());
    ASSERT_EQ(S_OK, dialog.put_PaletteIndex(0));
    ASSERT_EQ(S_OK, dialog.put_PaletteColorIndex(100));
    Prepare(0x000000, 0);

    constexpr RgbColor kTyped = 0x7A1E9C;
    int expectedCell = 0;
    RgbColor expectedColour = 0;
    // What arriving on a palette (with cell `cell` selected before) gives, colour `before`.
    auto arrive = [&](const std::vector<RgbColor>& entries, int cell, RgbColor before) {
        const int start = OntoPalette(cell, static_cast<int>(entries.size()));
        expectedCell = NearestEntry(entries, start, before);
        // Already the nearest: the colour stays as it is, even if it isn't the entry's.
        expectedColour =
            expectedCell == start ? before : entries[static_cast<std::size_t>(expectedCell)];
    };
    auto expectPalette = [&](HWND d, int palette) {
        const CPickerWindow& picker = Picker();
        EXPECT_EQ(palette, picker.PaletteIndex);
        EXPECT_EQ(palette, ::SendMessageW(Item(d, kCombo), CB_GETCURSEL, 0, 0));
        EXPECT_EQ(expectedCell, picker.PaletteColorIndex);
        ExpectShows(d, picker, expectedColour);
        ExpectGridShows(d, palettes[palette], expectedCell, false);
    };

    auto driver = Driver();
    driver.Then([](HWND d) { TypeInto(Item(d, kHex), L"7a1e9c"); })
        .Then([&](HWND d) {
            ExpectShows(d, Picker(), kTyped);
            arrive(palettes[0], 100, kTyped);
            ClickTab(d, 5);
        })
        .Then([&](HWND d) {
            SCOPED_TRACE("arrived on the palette page");
            EXPECT_EQ(5, TabSelection(d));
            EXPECT_EQ(5, Page());
            EXPECT_TRUE(::IsWindowVisible(Item(d, kGrid)));
            EXPECT_FALSE(::IsWindowVisible(Item(d, kPlane)));
            expectPalette(d, 0);
            EXPECT_EQ(Hex(kOpaque), Hex(Argb())) << "the result stays until OK";
            EXPECT_EQ(Hex(0), Hex(SwatchPixel(d, kOldSwatch)));
            for (const int id : {kRed, kGreen, kBlue, kHex})
                EXPECT_NE(0, ::GetWindowLongW(Item(d, id), GWL_STYLE) & ES_READONLY) << id;
            for (const int id : {230, 231, 232})
                EXPECT_FALSE(::IsWindowEnabled(Item(d, id))) << id;
            TypeInto(Item(d, kRed), L"9");
        })
        .Then([&](HWND d) {
            SCOPED_TRACE("typed into a read-only field");
            expectPalette(d, 0);
            ::SetFocus(Item(d, kCombo));
            arrive(palettes[1], expectedCell, expectedColour);
            PostKey(Item(d, kCombo), VK_DOWN);
        })
        .Then([&](HWND d) {
            SCOPED_TRACE("switched to the second palette");
            expectPalette(d, 1);
            arrive(palettes[2], expectedCell, expectedColour);
            PostKey(Item(d, kCombo), VK_DOWN);
        })
        .Then([&](HWND d) {
            SCOPED_TRACE("switched to the third palette");
            expectPalette(d, 2);
            arrive(palettes[1], expectedCell, expectedColour);
            PostKey(Item(d, kCombo), VK_UP);
        })
        .Then([&](HWND d) {
            SCOPED_TRACE("back to the second palette");
            expectPalette(d, 1);
            Click(d, IDOK);
        });
    EXPECT_TRUE(Show(driver));
    EXPECT_EQ(Hex(kOpaque | expectedColour), Hex(Argb()));
    LONG palette = -1;
    LONG cell = -1;
    EXPECT_EQ(S_OK, dialog.get_PaletteIndex(&palette));
    EXPECT_EQ(S_OK, dialog.get_PaletteColorIndex(&cell));
    EXPECT_EQ(1, palette);
    EXPECT_EQ(expectedCell, cell);
    ExpectFreshReopen();
}

// ---- Keys -----------------------------------------------------------------------------------

// What an arrow key on plane or strip gives, from the state just before it. Steps are measured
// on the strip: one row (two on the wheel's radius), two degrees of hue, one channel unit on
// the cubes, where up adds red (cyan) and right adds blue (yellow).
RgbColor AfterArrow(const CPickerWindow& picker, HWND d, int page, bool strip, UINT key,
                    RgbColor colour) {
    const int dx = key == VK_RIGHT ? 1 : key == VK_LEFT ? -1 : 0;
    const int dy = key == VK_UP ? 1 : key == VK_DOWN ? -1 : 0;
    if ((dx == 0 && dy == 0) || (strip && dy == 0))
        return colour;
    if (!strip && (page == 3 || page == 4)) {
        const int sign = page == 3 ? 1 : -1;
        return PackRgb(static_cast<std::uint32_t>(HoldTo(RedOf(colour) + sign * dy, 0, 255)),
                       GreenOf(colour),
                       static_cast<std::uint32_t>(HoldTo(BlueOf(colour) + sign * dx, 0, 255)));
    }
    const int unit1 = ScalePixelsToFixed(1, StripInnerHeight(d));
    const int unit2 = ScalePixelsToFixed(2, StripInnerHeight(d));
    HsbStep hsb =
        picker.StripMarkerPos > kNoMarker ? ReadBack(picker, d, page, colour) : HsbOf(colour);
    if (strip) {
        if (page == 2)
            hsb.hue = HoldTo(hsb.hue - 2 * dy, 0, 360);
        else
            hsb.brightness = HoldTo(hsb.brightness + dy * unit1, 0, 0x10000);
        return FromHsb(hsb);
    }
    switch (page) {
    case 0:
        hsb.hue = HoldTo(hsb.hue + 2 * dx, 0, 360);
        hsb.saturation = HoldTo(hsb.saturation + dy * unit1, 0, 0x10000);
        break;
    case 1:
        hsb.hue -= 2 * dx;
        hsb.hue = hsb.hue > 360 ? 360 : hsb.hue <= -1 ? 359 : hsb.hue;
        hsb.saturation = HoldTo(hsb.saturation + dy * unit2, 0, 0x10000);
        break;
    default:
        hsb.saturation = HoldTo(hsb.saturation + dx * unit1, 0, 0x10000);
        hsb.brightness = HoldTo(hsb.brightness + dy * unit1, 0, 0x10000);
        break;
    }
    return FromHsb(hsb);
}

// Arrow keys posted to the focused plane or strip reach it past the dialog manager, which
// would otherwise move the focus, and step the colour by the page's rule; limits hold.
TEST_F(PickerInteractionTest, ArrowKeysOnPlaneAndStripStepTheColour) {
    struct Case {
        int page;
        bool strip;
        UINT key;
        RgbColor start;
    };
    const Case cases[] = {
        {0, false, VK_RIGHT, 0x4080C0}, {0, false, VK_LEFT, 0xFF0000}, // hue 0 stays
        {0, false, VK_UP, 0x4080C0},    {0, false, VK_DOWN, 0x4080C0},
        {0, false, VK_HOME, 0x4080C0},  {0, true, VK_UP, 0x4080C0},
        {0, true, VK_DOWN, 0x4080C0},   {0, true, VK_UP, 0xFFFFFF},     // full stays
        {0, true, VK_LEFT, 0x4080C0},   {1, false, VK_RIGHT, 0xFF0000}, // 0 goes round to 359
        {1, false, VK_LEFT, 0x4080C0},  {1, false, VK_UP, 0x4080C0},
        {1, false, VK_DOWN, 0x4080C0},  {1, true, VK_DOWN, 0xC08040},
        {2, false, VK_RIGHT, 0x4080C0}, {2, false, VK_LEFT, 0x4080C0},
        {2, false, VK_UP, 0x4080C0},    {2, false, VK_DOWN, 0x4080C0},
        {2, true, VK_UP, 0xFF0400},     {2, true, VK_DOWN, 0x4080C0},
        {3, false, VK_RIGHT, 0x806040}, {3, false, VK_UP, 0xFF6040}, // red 255 stays
        {3, false, VK_LEFT, 0x806040},  {3, false, VK_DOWN, 0x806040},
        {3, true, VK_UP, 0x806040},     {3, true, VK_DOWN, 0x806040},
        {4, false, VK_RIGHT, 0x806040}, {4, false, VK_UP, 0x806040},
        {4, false, VK_LEFT, 0x8060FF},  {4, false, VK_DOWN, 0x806040},
        {4, true, VK_DOWN, 0x806040},
    };
    RgbColor expected = 0;
    auto driver = Driver();
    for (const Case& c : cases) {
        const int id = c.strip ? kStrip : kPlane;
        driver
            .Then([&, id](HWND d) {
                Prepare(c.start, c.page);
                ::SetFocus(Item(d, id));
            })
            .Then([&, id](HWND d) {
                expected = AfterArrow(Picker(), d, c.page, c.strip, c.key, FieldsColour(d));
                PostKey(Item(d, id), c.key);
            })
            .Then([&, id](HWND d) {
                SCOPED_TRACE(::testing::Message()
                             << "page " << c.page << (c.strip ? " strip" : " plane") << " key "
                             << c.key << " from " << Hex(c.start));
                ExpectShows(d, Picker(), expected);
                EXPECT_EQ(Item(d, id), ::GetFocus()) << "the key stayed with the control";
                EXPECT_EQ(DLGC_WANTARROWS, ::SendMessageW(Item(d, id), WM_GETDLGCODE, 0, 0));
            });
    }
    driver.Then([](HWND d) { Click(d, IDOK); });
    EXPECT_TRUE(Show(driver));
    EXPECT_EQ(Hex(kOpaque | expected), Hex(Argb()));
    ExpectFreshReopen();
}

// Tab walks the controls with a tab stop in the template's order, skipping what is hidden on
// the page, and comes round to OK.
TEST_F(PickerInteractionTest, TabMovesTheFocusInTheTemplatesOrder) {
    struct Case {
        const char* name;
        int page;
        bool apply;
        std::vector<int> order;
    };
    const Case cases[] = {
        {"plane page",
         0,
         true,
         {IDCANCEL, kApply, kRed, kGreen, kBlue, kHex, kTab, kPlane, kStrip, IDOK}},
        {"palette page",
         5,
         true,
         {IDCANCEL, kApply, kRed, kGreen, kBlue, kHex, kTab, kCombo, kGrid, IDOK}},
        {"without Apply",
         3,
         false,
         {IDCANCEL, kRed, kGreen, kBlue, kHex, kTab, kPlane, kStrip, IDOK}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
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

// ---- Entry fields ---------------------------------------------------------------------------

// Typing and pasting into the fields: values held to 255, emptied fields, leading zeros, the
// hex filter and the field's limit. A valid text stays as typed, and the caret stays where
// the typing left it, although the colour flow writes the focused field back.
TEST_F(PickerInteractionTest, EntryFieldsTakeTypedAndPastedText) {
    enum class Input { Type, Paste, Erase, SpinUp, SpinDown };
    struct Case {
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
    };
    const Case cases[] = {
        {"300 is held to 255", kRed, 0x336699, -1, -1, Input::Type, L"300", L"255", 0xFF6699, 3},
        {"928 is held to 255, caret after the typed digit", kRed, 0x806699, 0, 1, Input::Type, L"9",
         L"255", 0xFF6699, 1},
        {"a digit typed between two stays there", kRed, 0x0C3366, 1, 1, Input::Type, L"5", L"152",
         0x983366, 2},
        {"emptying a channel that was not 0 writes 0", kRed, 0x336699, -1, -1, Input::Erase, L"",
         L"0", 0x006699, 0},
        {"emptying a channel that was 0 leaves the field empty", kGreen, 0x330099, -1, -1,
         Input::Erase, L"", L"", 0x330099, 0},
        {"a leading zero stays", kGreen, 0x330799, 0, 0, Input::Type, L"0", L"07", 0x330799, 1},
        {"pasted non-digits count as 0", kBlue, 0x1020FF, -1, -1, Input::Paste, L"1a2", L"0",
         0x102000, 1},
        {"hex text of equal value keeps its zeros", kHex, 0x0000FF, -1, -1, Input::Type, L"0000FF",
         L"0000FF", 0x0000FF, 6},
        {"hex typed in lower case shows in upper case", kHex, 0x000000, -1, -1, Input::Type,
         L"00ff80", L"00FF80", 0x00FF80, 6},
        {"pasted hex text is cut to the limit, then cleaned", kHex, 0xABCDEF, -1, -1, Input::Paste,
         L"#12ZZ34ab", L"123", 0x000123, 3},
        {"a pasted # is dropped", kHex, 0xABCDEF, -1, -1, Input::Paste, L"#a1b2c3", L"A1B2C",
         0x0A1B2C, 5},
        {"emptying the hex field gives black and stays empty", kHex, 0x123456, -1, -1, Input::Erase,
         L"", L"", 0x000000, 0},
        {"the spin steps its field, which takes the focus", kGreen, 0x102030, -1, -1, Input::SpinUp,
         L"", L"33", 0x102130, -1},
        {"the spin stops at 255", kRed, 0xFF2030, -1, -1, Input::SpinUp, L"", L"255", 0xFF2030, -1},
        {"the spin stops at 0", kBlue, 0x102000, -1, -1, Input::SpinDown, L"", L"0", 0x102000, -1},
    };
    auto driver = Driver();
    for (const Case& c : cases) {
        driver
            .Then([&](HWND d) {
                ::SetFocus(Item(d, IDOK)); // the put below then reaches no focused field
                Prepare(c.start, 0);
            })
            .Then([&](HWND d) {
                const HWND field = Item(d, c.field);
                ::SetFocus(field);
                if (c.selectFrom < 0)
                    ::SendMessageW(field, EM_SETSEL, 0, -1);
                else
                    ::SendMessageW(field, EM_SETSEL, static_cast<WPARAM>(c.selectFrom), c.selectTo);
                switch (c.input) {
                case Input::Type:
                    TypeInto(field, c.text, false);
                    break;
                case Input::Paste:
                    EXPECT_TRUE(PasteInto(field, c.text, c.selectFrom < 0));
                    break;
                case Input::Erase:
                    ::SendMessageW(field, WM_CHAR, VK_BACK, 1);
                    break;
                case Input::SpinUp:
                case Input::SpinDown: {
                    // The up-down control beside the field: its upper half steps up.
                    ::SetFocus(Item(d, IDOK));
                    const HWND spin = Item(d, c.field == kRed     ? 230
                                              : c.field == kGreen ? 231
                                                                  : 232);
                    RECT r;
                    ::GetClientRect(spin, &r);
                    const int y = c.input == Input::SpinUp ? r.bottom / 4 : 3 * r.bottom / 4;
                    ::PostMessageW(spin, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(r.right / 2, y));
                    ::PostMessageW(spin, WM_LBUTTONUP, 0, MAKELPARAM(r.right / 2, y));
                    break;
                }
                }
            })
            .Then([&](HWND d) {
                SCOPED_TRACE(c.name);
                const HWND field = Item(d, c.field);
                EXPECT_EQ(std::wstring(c.shows), TextOf(field));
                ExpectShows(d, Picker(), c.colour);
                if (c.caret >= 0) {
                    EXPECT_EQ(std::make_pair(c.caret, c.caret), SelectionOf(field)) << "the caret";
                }
            });
    }
    driver.Then([](HWND d) { Click(d, IDCANCEL); });
    EXPECT_FALSE(Show(driver));
    ExpectFreshReopen();
}

// The colour flow writes the three decimal fields one by one, and the field with the focus
// answers each write by reading all three. A colour that the client writes while a decimal
// field holds the focus must still end up as the one colour shown and returned.
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

// ---- Without palettes -----------------------------------------------------------------------

// Takes the imaging engine's registration away for its life, and gives it back.
class EngineRemoved {
public:
    EngineRemoved() : removed_(RegisterEngine(false) == 0) {}
    ~EngineRemoved() { RegisterEngine(true); }
    bool Removed() const { return removed_; }

private:
    bool removed_;
};

// Without the engine no palette loads: five tabs, and page 5 has nothing to show. A write of
// ActivePage 5 is stored and hides plane and strip, but selects no tab, changes no colour and
// takes no palette cell; the rest of the dialog goes on working.
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
                ExpectShows(d, Picker(), kStart);
                const SIZE grid = ClientSize(d, kGrid);
                PostPointer(d, Item(d, kGrid), WM_LBUTTONDOWN, grid.cx / 2, grid.cy / 2,
                            MK_LBUTTON);
                PostPointer(d, Item(d, kGrid), WM_MOUSEMOVE, grid.cx / 3, grid.cy / 3, MK_LBUTTON);
                PostPointer(d, Item(d, kGrid), WM_LBUTTONUP, grid.cx / 3, grid.cy / 3, 0);
            })
            .Then([&](HWND d) {
                SCOPED_TRACE("a press on the empty grid");
                ExpectShows(d, Picker(), kStart);
                EXPECT_EQ(7, Picker().PaletteColorIndex);
                EXPECT_EQ(nullptr, ::GetCapture());
                ::SetFocus(Item(d, kGrid));
                PostKey(Item(d, kGrid), VK_RIGHT);
                PostKey(Item(d, kGrid), VK_DOWN);
            })
            .Then([&](HWND d) {
                SCOPED_TRACE("keys on the empty grid");
                ExpectShows(d, Picker(), kStart);
                EXPECT_EQ(7, Picker().PaletteColorIndex);
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
        LONG cell = -1;
        EXPECT_EQ(S_OK, dialog.get_PaletteColorIndex(&cell));
        EXPECT_EQ(7, cell) << "kept for a show that has palettes";

        // A show that starts on page 5 without palettes.
        Prepare(kStart, 5);
        auto second = Driver();
        second
            .Then([&](HWND d) {
                EXPECT_EQ(5, TabCount(d));
                EXPECT_EQ(5, Page());
                EXPECT_FALSE(::IsWindowVisible(Item(d, kPlane)));
                ExpectShows(d, Picker(), kStart);
                ClickTab(d, 1);
            })
            .Then([&](HWND d) {
                EXPECT_EQ(1, Page());
                EXPECT_TRUE(::IsWindowVisible(Item(d, kPlane)));
                EXPECT_GT(Picker().PlaneMarkerX, kNoMarker);
                ExpectShows(d, Picker(), kStart);
                Click(d, IDCANCEL);
            });
        EXPECT_FALSE(Show(second));
        ExpectFreshReopen(5);
    }
    ExpectFreshReopen(6);
}

} // namespace
} // namespace orrelux
