// The colour picker's dialog end to end: Show runs dialog 103 modally, and a driver inside the
// modal loop types, clicks and switches pages as a user would; the assertions read the
// component's properties, the fields, and the pixels the screen shows.
#include <windows.h>
#include <psapi.h>

#include <gtest/gtest.h>

#include <cstdio>

#include "components/color_dialog.h"
#include "dialog_driver.h"
#include "test_support.h"

namespace orrelux {
namespace {

using testing::Click;
using testing::CreateLinkedObject;
using testing::DialogDriver;
using testing::RecordingSink;
using testing::TextOf;
using testing::TypeInto;

class PickerDialogTest : public ::testing::Test {
protected:
    // Runs Show with a driver that finds the dialog through Hwnd, ticking inside the modal loop.
    bool Show(DialogDriver& driver) {
        VARIANT_BOOL accepted = VARIANT_FALSE;
        driver.Start();
        EXPECT_EQ(S_OK, dialog.Show(&accepted));
        driver.Stop();
        EXPECT_TRUE(driver.Finished());
        return accepted == VARIANT_TRUE;
    }
    DialogDriver Driver() {
        return DialogDriver([this] {
            OLE_HANDLE handle = 0;
            dialog.get_Hwnd(&handle);
            return reinterpret_cast<HWND>(static_cast<UINT_PTR>(handle));
        });
    }
    std::uint32_t Argb() {
        LONG value = 0;
        EXPECT_EQ(S_OK, dialog.get_ColorArgb(&value));
        return static_cast<std::uint32_t>(value);
    }
    ComPtr<IConnectionPoint> Events() {
        ComPtr<IConnectionPointContainer> container;
        ComPtr<IConnectionPoint> point;
        EXPECT_EQ(S_OK, object.As(container));
        EXPECT_EQ(S_OK, container->FindConnectionPoint(DIID__IColorDialogEvents, point.Put()));
        return point;
    }

    ComPtr<IColorDialog> object = CreateLinkedObject<IColorDialog>(CLSID_ColorDialog);
    CColorDialog& dialog = *static_cast<CColorDialog*>(object.Get());
};

HWND Item(HWND dialog, int id) {
    return ::GetDlgItem(dialog, id);
}

// Typing into a decimal field holds the value to 255 and carries it to every view.
TEST_F(PickerDialogTest, TypedChannelsReachTheColourAndOkAcceptsIt) {
    ASSERT_EQ(S_OK, dialog.put_ColorArgb(0x000000));
    std::wstring red, hex, title;
    auto driver = Driver();
    driver.Then([&](HWND d) { title = TextOf(d); })
        .Then([&](HWND d) { TypeInto(Item(d, 209), L"300"); })
        .Then([&](HWND d) {
            red = TextOf(Item(d, 209));
            hex = TextOf(Item(d, 214));
        })
        .Then([&](HWND d) { TypeInto(Item(d, 214), L"#00ff80"); })
        .Then([&](HWND d) { Click(d, IDOK); });
    EXPECT_TRUE(Show(driver));
    EXPECT_EQ(L"Colors", title);
    EXPECT_EQ(L"255", red);
    EXPECT_EQ(L"FF0000", hex);
    EXPECT_EQ(0xFF00FF80u, Argb());
}

// The outcomes of a show started at A, where the user moves to B, and perhaps applies B and
// moves on to C.
TEST_F(PickerDialogTest, OutcomesOfOkCancelAndApply) {
    const struct {
        const char* name;
        bool apply;
        int close;
        bool accepted;
        std::uint32_t result;
    } cases[] = {{"OK", false, IDOK, true, 0xFF0000B0},
                 {"Cancel", false, IDCANCEL, false, 0xFF0000A0},
                 {"Apply then Cancel", true, IDCANCEL, false, 0xFF0000B0},
                 {"Apply then OK", true, IDOK, true, 0xFF0000C0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_EQ(S_OK, dialog.put_ColorArgb(0xA0));
        RecordingSink sink;
        sink.eventIid = DIID__IColorDialogEvents;
        DWORD cookie = 0;
        ASSERT_EQ(S_OK, Events()->Advise(&sink, &cookie));
        auto driver = Driver();
        driver.Then([&](HWND d) { TypeInto(Item(d, 212), L"176"); });
        if (c.apply) {
            driver.Then([&](HWND d) { Click(d, 202); });
            driver.Then([&](HWND d) { TypeInto(Item(d, 212), L"192"); });
        }
        driver.Then([&](HWND d) { Click(d, c.close); });
        EXPECT_EQ(c.accepted, Show(driver));
        EXPECT_EQ(c.result, Argb());
        EXPECT_EQ(c.apply ? 1u : 0u, sink.calls.size());
        EXPECT_EQ(S_OK, Events()->Unadvise(cookie));
    }
}

// What the renderers wrote is what the screen shows: the plane's surface against GetPixel on
// the control, on every page with a plane.
TEST_F(PickerDialogTest, ScreenShowsThePlaneSurfaceExactly) {
    ASSERT_EQ(S_OK, dialog.put_ColorArgb(0xC86432));
    int mismatches = 0;
    int compared = 0;
    auto driver = Driver();
    for (int page = 0; page <= 4; ++page) {
        driver.Then([&, page](HWND) { dialog.put_ActivePage(static_cast<ColorDialogPage>(page)); });
        driver.Then([&, page](HWND d) {
            SCOPED_TRACE(page);
            CPickerWindow& picker = *dialog.PickerWindow();
            ASSERT_NE(nullptr, picker.PlaneSurface);
            const Surface& pixels = picker.PlaneSurface->Pixels();
            const WindowDC screen(Item(d, 205));
            for (int y = 0; y < pixels.Height(); y += 7) {
                for (int x = 0; x < pixels.Width(); x += 5, ++compared)
                    mismatches +=
                        ::GetPixel(screen.Get(), x, y) != RgbToColorRef(pixels.GetPixel(x, y));
            }
        });
    }
    driver.Then([&](HWND d) { Click(d, IDCANCEL); });
    Show(driver);
    EXPECT_GT(compared, 5000);
    EXPECT_EQ(0, mismatches);
}

// Apply's visibility moves OK and Cancel while the dialog is open, in both directions.
TEST_F(PickerDialogTest, ApplyButtonLayoutFollowsThePropertyWhileOpen) {
    ASSERT_EQ(S_OK, dialog.put_ApplyButtonVisible(VARIANT_FALSE));
    RECT okHidden{}, cancelHidden{}, applyRect{}, okShown{};
    bool applyVisibleAtStart = true;
    auto rectOf = [](HWND d, int id) {
        RECT r;
        ::GetWindowRect(Item(d, id), &r);
        ::MapWindowPoints(HWND_DESKTOP, d, reinterpret_cast<POINT*>(&r), 2);
        return r;
    };
    auto driver = Driver();
    driver
        .Then([&](HWND d) {
            applyVisibleAtStart = ::IsWindowVisible(Item(d, 202)) != FALSE;
            okHidden = rectOf(d, IDOK);
            cancelHidden = rectOf(d, IDCANCEL);
            applyRect = rectOf(d, 202);
            dialog.put_ApplyButtonVisible(VARIANT_TRUE);
        })
        .Then([&](HWND d) {
            okShown = rectOf(d, IDOK);
            Click(d, IDCANCEL);
        });
    Show(driver);
    EXPECT_FALSE(applyVisibleAtStart);
    EXPECT_EQ(applyRect.left, cancelHidden.left) << "without Apply, Cancel takes its place";
    const int step = cancelHidden.left - okHidden.left;
    EXPECT_GT(step, 0);
    EXPECT_EQ(okHidden.left - step, okShown.left);
}

// Reopening rebuilds everything; handles and memory stay flat over many shows.
TEST_F(PickerDialogTest, RepeatedShowsLeaveResourcesFlat) {
    auto counts = [] {
        PROCESS_MEMORY_COUNTERS memory = {};
        ::GetProcessMemoryInfo(::GetCurrentProcess(), &memory, sizeof(memory));
        DWORD handles = 0;
        ::GetProcessHandleCount(::GetCurrentProcess(), &handles);
        return std::make_pair(static_cast<long long>(memory.PagefileUsage), handles);
    };
    auto once = [&] {
        auto driver = Driver();
        driver.Then([&](HWND d) { Click(d, IDCANCEL); });
        Show(driver);
    };
    for (int i = 0; i < 5; ++i)
        once(); // warm-up: caches of the system and the cube images settle
    const auto before = counts();
    constexpr int kCycles = 200;
    for (int i = 0; i < kCycles; ++i)
        once();
    const auto after = counts();
    std::printf("show/cancel soak: %d cycles, private bytes %lld -> %lld, handles %lu -> %lu\n",
                kCycles, before.first, after.first, before.second, after.second);
    EXPECT_LE(after.second, before.second + 2);
    EXPECT_LT(after.first - before.first, 2 * 1024 * 1024);
}

} // namespace
} // namespace orrelux
