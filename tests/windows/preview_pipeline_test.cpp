// The preview's loading pipeline on a live component: the selection read from the dialog, the
// worker's outcomes read back from the preview bitmap, out-of-date loads, the engine's semaphore,
// aborts, the busy pane, the progress bar, the empty picture, and a component that outlives its
// client while a worker runs. The engine is the real one behind SlowImagingEngine.dll, which holds
// each load inside its operation until the test lets it go.
#include <gtest/gtest.h>

#include <windows.h>
#include <commctrl.h>

#include <algorithm>
#include <string>
#include <vector>

#include "engine_pictures.h"
#include "file_dialog_support.h"
#include "filedialog/win/preview_pipeline.h"
#include "preview_pipeline_support.h"
#include "server/object_map.h"
#include "test_support.h"

namespace orrelux {
namespace {

using Access = PreviewPipelineTestAccess;
using testing::PatternRgb;
using testing::PumpFor;
using testing::PumpUntil;
using testing::References;

constexpr std::uint32_t kBlack = 0;

class PreviewPipelineTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(slow.Ready()) << "SlowImagingEngine.dll and its manifest in bin/";
        for (const auto& [w, h] : {std::pair{100, 100}, std::pair{98, 100}, std::pair{40, 30}})
            ASSERT_EQ(S_OK, testing::WriteWicPicture(files.File(Name(w, h)),
                                                     GUID_ContainerFormatBmp, w, h));
        ASSERT_TRUE(testing::WriteBytes(files.File(L"corrupt.bmp"), {'B', 'M', 0x40, 0, 0, 0, 0, 0,
                                                                     0, 0, 0x36, 0, 0, 0, 40, 0}));
        ASSERT_TRUE(testing::WriteBytes(files.File(L"notes.txt"), {'h', 'e', 'l', 'l', 'o'}));
        ASSERT_TRUE(files.Folder(L"sub"));
        ASSERT_TRUE(system.Pane());
        object = testing::CreateLinkedObject<IFileDialog>(CLSID_FileDialog);
        ASSERT_TRUE(object);
        ASSERT_EQ(1, slow.Counters().objects) << "the component's EngineBitmap is the slow one";
        OpenPane(100, 100);
        baseline = References(object.Get());
    }
    void TearDown() override {
        slow.Configure(SlowEngineSettings{});
        if (object) {
            EXPECT_TRUE(WaitDone());
            Access::CloseWindows(object.Get());
        }
    }

    static std::wstring Name(int width, int height) {
        return L"p" + std::to_wstring(width) + L"x" + std::to_wstring(height) + L".bmp";
    }
    void OpenPane(int width, int height) {
        system.Open(object.Get(), width, height);
        this->width = width;
        this->height = height;
    }
    // A selection of `name` in the test's directory, as the hook reports it.
    void Select(const std::wstring& name) {
        system.Select(files.Path(), name);
        Access::SelectionChanged(object.Get());
    }
    bool WaitHeld() {
        return PumpUntil([&] { return slow.Counters().held == 1; });
    }
    bool WaitCalls(LONG thumbnails) {
        return PumpUntil([&] { return slow.Counters().thumbnailCalls == thumbnails; });
    }
    bool WaitDone() { return testing::WaitForWorkers(object.Get(), baseline); }
    void NewToken() {
        Access::SetGeneration(object.Get(), Access::Generation(object.Get()) ^ 0x10000);
    }

    std::vector<std::uint32_t> Pane() {
        return testing::ReadPixels(Access::Bitmap(object.Get()), width, height);
    }
    std::uint32_t At(const std::vector<std::uint32_t>& pane, int x, int y) const {
        return pane[static_cast<std::size_t>(y) * width + x];
    }
    std::uint32_t Background() { return testing::RgbOf(Access::BackColor(object.Get())); }
    bool AllBackground(const std::vector<std::uint32_t>& pane) {
        for (std::uint32_t pixel : pane)
            if (pixel != Background())
                return false;
        return true;
    }
    // The 40 x 30 picture in the middle of the 100 x 100 pane, with its frame.
    bool ShowsSmallPicture(const std::vector<std::uint32_t>& pane) {
        return At(pane, 30, 35) == PatternRgb(0, 0) && At(pane, 69, 64) == PatternRgb(39, 29) &&
               At(pane, 29, 34) == kBlack && At(pane, 0, 0) == Background();
    }
    // The cross of a square pane: both diagonals pure black, the middle of the top edge not.
    bool ShowsSquareCross(const std::vector<std::uint32_t>& pane) {
        for (int i = 0; i < width; ++i)
            if (At(pane, i, i) != kBlack || At(pane, width - 1 - i, i) != kBlack)
                return false;
        return At(pane, width / 2, 0) == Background();
    }

    testing::SlowEngine slow;
    testing::ScratchDirectory files;
    testing::FakeSystemDialog system;
    ComPtr<IFileDialog> object;
    ULONG baseline = 0;
    int width = 0;
    int height = 0;
};

TEST_F(PreviewPipelineTest, TheSelectedPathIsReadFromTheDialog) {
    const std::wstring dir = files.Path();
    const std::wstring longFolder = L"C:\\" + std::wstring(250, L'a'); // 253 characters
    const struct {
        const char* name;
        std::wstring folder, spec, filePath;
        bool previewed;
        std::wstring path;
    } cases[] = {
        {"one file", dir, L"a.png", dir + L"\\a.png", true, dir + L"\\a.png"},
        {"drive root: no second backslash", L"C:\\", L"a.png", L"C:\\a.png", true, L"C:\\a.png"},
        {"folder ending in a slash", L"C:/x/", L"a.png", L"", true, L"C:/x/a.png"},
        {"several files: the first quoted name", dir, L"\"b.gif\" \"a.png\"", dir, true,
         dir + L"\\b.gif"},
        {"an unclosed quote takes the rest", dir, L"\"b.gif", dir, true, dir + L"\\b.gif"},
        {"no folder", L"", L"a.png", L"", false, L""},
        {"no name", dir, L"", dir, false, L""},
        {"a subfolder selected", dir, L"sub", dir + L"\\sub", false, L""},
        {"no selected path: the folder stands in", dir, L"a.png", L"", true, dir + L"\\a.png"},
        {"joined path of 259 characters", longFolder, L"b.png", L"", true, longFolder + L"\\b.png"},
        {"joined path of 260 characters", longFolder, L"bc.png", L"", false, L""},
        {"folder above 259 characters", L"C:\\" + std::wstring(257, L'a'), L"b", L"", false, L""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        system.folder = c.folder;
        system.spec = c.spec;
        system.filePath = c.filePath;
        filedialog::SelectionTexts texts;
        EXPECT_EQ(c.previewed, filedialog::ReadSelectedPath(system.Window(), texts));
        if (c.previewed) {
            EXPECT_EQ(c.path, texts.Path);
        }
    }
}

// Every pixel of the pane: the frame lines (right and bottom excluded), then the picture.
TEST_F(PreviewPipelineTest, ThePictureIsPlacedInItsFrame) {
    const struct {
        int pictureWidth, pictureHeight, left, top;
        std::vector<RECT> frame;
    } cases[] = {
        {98, 100, 1, 0, {{0, 0, 1, 100}, {99, 0, 100, 100}}},
        {40, 30, 30, 35, {{29, 34, 30, 66}, {70, 34, 71, 66}, {29, 34, 71, 35}, {29, 65, 71, 66}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pictureWidth);
        Select(Name(c.pictureWidth, c.pictureHeight));
        ASSERT_TRUE(WaitDone());
        std::vector<std::uint32_t> expected(static_cast<std::size_t>(width) * height, Background());
        for (const RECT& line : c.frame)
            for (LONG y = line.top; y < line.bottom; ++y)
                for (LONG x = line.left; x < line.right; ++x)
                    expected[static_cast<std::size_t>(y) * width + x] = kBlack;
        for (int y = 0; y < c.pictureHeight; ++y)
            for (int x = 0; x < c.pictureWidth; ++x)
                expected[static_cast<std::size_t>(y + c.top) * width + x + c.left] =
                    PatternRgb(x, y);
        EXPECT_TRUE(Pane() == expected);
        EXPECT_FALSE(Access::Crossed(object.Get()));
        EXPECT_FALSE(::IsWindowVisible(system.Progress())) << "the bar goes when the picture comes";
    }
}

TEST_F(PreviewPipelineTest, EachOutcomeLeavesItsPicture) {
    // A fault inside Draw may leave anything in the bitmap (here: the frame, drawn before the
    // picture), but no picture and no cross.
    enum class Shows { Picture, Cross, NoPicture };
    const struct {
        const char* name;
        const wchar_t* file;
        SlowEngineSettings settings;
        Shows shows;
    } cases[] = {
        {"a picture: done", L"p40x30.bmp", {}, Shows::Picture},
        {"damaged data: failed", L"corrupt.bmp", {}, Shows::Cross},
        {"not a picture: failed", L"notes.txt", {}, Shows::Cross},
        {"a fault out of LoadThumbnail: failed", L"p40x30.bmp",
         SlowEngineSettings{0, 0, {}, 0, 0, FALSE, TRUE, FALSE, FALSE, FALSE}, Shows::Cross},
        {"a fault out of Draw: cancelled", L"p40x30.bmp",
         SlowEngineSettings{0, 0, {}, 0, 0, FALSE, FALSE, TRUE, FALSE, FALSE}, Shows::NoPicture},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Access::DrawEmptyBitmap(object.Get(), true, false); // something to replace
        slow.Configure(c.settings);
        Select(c.file);
        ASSERT_TRUE(WaitDone());
        const std::vector<std::uint32_t> pane = Pane();
        EXPECT_EQ(c.shows == Shows::Picture, ShowsSmallPicture(pane));
        EXPECT_EQ(c.shows == Shows::Cross, ShowsSquareCross(pane));
        EXPECT_EQ(c.shows == Shows::Cross, Access::Crossed(object.Get()));
        if (c.shows == Shows::NoPicture) {
            EXPECT_EQ(Background(), At(pane, 30, 35));
            EXPECT_EQ(Background(), At(pane, 50, 50));
        }
        EXPECT_EQ(files.File(c.file), Access::FileName(object.Get())) << "whatever the outcome";
    }
}

TEST_F(PreviewPipelineTest, ASelectionWithoutPictureShowsTheCrossAndStartsNoWorker) {
    const struct {
        const char* name;
        const wchar_t* file;
        LONG enablePreview;
    } cases[] = {{"missing file", L"missing.png", -1},
                 {"a directory", L"sub", -1},
                 {"preview box off", L"p40x30.bmp", 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Access::SetEnablePreview(object.Get(), c.enablePreview);
        system.Select(files.Path(), c.file);
        system.filePath = L""; // the list reports no item: the folder stands in
        Access::SelectionChanged(object.Get());
        EXPECT_EQ(baseline, References(object.Get())) << "no worker holds the component";
        EXPECT_TRUE(ShowsSquareCross(Pane()));
        EXPECT_TRUE(Access::Crossed(object.Get()));
        EXPECT_EQ(0, slow.Counters().thumbnailCalls);
    }
}

// ---- Out-of-date loads, the semaphore, aborts --------------------------------------------------

// The token moves on while the engine works, with no abort: whether the load succeeds or fails,
// the worker leaves the pane alone, cross included.
TEST_F(PreviewPipelineTest, AnOutOfDateLoadNeverDraws) {
    for (const wchar_t* file : {L"p40x30.bmp", L"corrupt.bmp"}) {
        SCOPED_TRACE(file);
        slow.Hold();
        Select(file);
        ASSERT_TRUE(WaitHeld());
        NewToken();
        slow.Release();
        ASSERT_TRUE(WaitDone());
        EXPECT_EQ(0, slow.Counters().drawCalls);
        EXPECT_TRUE(AllBackground(Pane()));
        EXPECT_FALSE(Access::Crossed(object.Get()));
    }
}

TEST_F(PreviewPipelineTest, ANewerSelectionTakesOverFromARunningLoad) {
    slow.Hold();
    Select(L"p100x100.bmp");
    ASSERT_TRUE(WaitHeld());
    const LONG first = Access::Generation(object.Get());
    Select(L"p40x30.bmp"); // aborts the first load, whose worker ends cancelled
    EXPECT_NE(first, Access::Generation(object.Get()));
    ASSERT_TRUE(WaitCalls(2));
    ASSERT_TRUE(WaitHeld());
    EXPECT_TRUE(AllBackground(Pane())) << "the first picture never came";
    slow.Release();
    ASSERT_TRUE(WaitDone());
    EXPECT_EQ(1, slow.Counters().drawCalls);
    EXPECT_TRUE(ShowsSmallPicture(Pane()));
}

TEST_F(PreviewPipelineTest, TheSemaphoreKeepsASecondWorkerOutUntilOperationEnd) {
    slow.Hold();
    Select(L"p40x30.bmp");
    ASSERT_TRUE(WaitHeld());
    // The preview box path: a second load of the same token, without an abort.
    Access::StartReadingFile(object.Get());
    PumpFor(300);
    EXPECT_EQ(1, slow.Counters().thumbnailCalls) << "the second worker waits on the semaphore";
    EXPECT_EQ(baseline + 2, References(object.Get())) << "both workers are alive";
    slow.Release(); // the first operation ends: OperationEnd wakes the second worker
    ASSERT_TRUE(WaitCalls(2));
    ASSERT_TRUE(WaitHeld());
    slow.Release();
    ASSERT_TRUE(WaitDone());
    EXPECT_EQ(2, slow.Counters().drawCalls) << "same token: both draw";
    EXPECT_TRUE(ShowsSmallPicture(Pane()));
}

TEST_F(PreviewPipelineTest, TheEndOfAnOperationWakesEveryWaitingWorker) {
    slow.Hold();
    Select(L"p100x100.bmp");
    ASSERT_TRUE(WaitHeld());
    Access::StartReadingFile(object.Get()); // waits on the semaphore
    PumpFor(100);
    // A newer selection whose worker waits behind the first waiter, which is now out of date.
    NewToken();
    Access::StartReadingFile(object.Get());
    PumpFor(100);
    EXPECT_EQ(baseline + 3, References(object.Get()));
    EXPECT_EQ(1, slow.Counters().thumbnailCalls);
    slow.Release(); // the out-of-date operation ends
    EXPECT_TRUE(PumpUntil([&] { return slow.Counters().thumbnailCalls == 2; }, 2000))
        << "the newest worker went on at once";
    ASSERT_TRUE(WaitHeld());
    slow.Release();
    ASSERT_TRUE(WaitDone());
    EXPECT_EQ(1, slow.Counters().drawCalls);
}

TEST_F(PreviewPipelineTest, AnAbortedLoadEndsCancelled) {
    for (bool newToken : {false, true}) { // AbortLoading as the hook calls it, or the engine alone
        SCOPED_TRACE(newToken ? "AbortLoading" : "the engine answers -6");
        slow.Hold();
        Select(L"p40x30.bmp");
        ASSERT_TRUE(WaitHeld());
        if (newToken)
            Access::AbortLoading(object.Get());
        else
            Access::Engine(object.Get())->AbortOperation();
        ASSERT_TRUE(WaitDone());
        EXPECT_EQ(0, slow.Counters().drawCalls);
        EXPECT_TRUE(AllBackground(Pane())) << "no cross: the pane belongs to whoever comes next";
        EXPECT_FALSE(Access::Crossed(object.Get()));
    }
}

// An abort that comes while the worker is between its last check and the start of its operation
// finds nothing to stop; the operation is stopped as it begins, and does not hold the engine
// (here: until a release that never comes) while a newer selection waits.
TEST_F(PreviewPipelineTest, AnOperationBeginningAfterItsSelectionWentStopsAtOnce) {
    SlowEngineSettings settings = {};
    settings.holdBeforeBegin = TRUE;
    settings.holdThumbnails = TRUE;
    slow.Configure(settings);
    Select(L"p40x30.bmp");
    ASSERT_TRUE(PumpUntil([&] { return slow.Counters().heldBeforeBegin == 1; }));
    const LONG aborts = slow.Counters().abortCalls;
    Access::AbortLoading(object.Get());
    slow.Release();
    ASSERT_TRUE(WaitDone());
    EXPECT_EQ(0, slow.Counters().drawCalls);
    EXPECT_EQ(aborts + 2, slow.Counters().abortCalls) << "AbortLoading's, then the worker's own";
    EXPECT_TRUE(AllBackground(Pane()));
}

// A worker finding the pane busy waits out a brief paint for its own selection, but not for
// one that has gone.
TEST_F(PreviewPipelineTest, ABusyPaneHoldsUpOnlyAWorkerOfTheCurrentSelection) {
    for (bool current : {false, true}) {
        SCOPED_TRACE(current ? "current" : "out of date");
        slow.Hold();
        Select(L"p40x30.bmp");
        ASSERT_TRUE(WaitHeld());
        ASSERT_TRUE(Access::Busy(object.Get()).TryTake());
        if (!current)
            NewToken();
        slow.Release();
        if (current)
            PumpFor(40); // a copy to the screen takes far less than this
        else
            EXPECT_TRUE(WaitDone()) << "no wait for the busy pane";
        Access::Busy(object.Get()).GiveBack();
        ASSERT_TRUE(WaitDone());
        EXPECT_EQ(current ? 1 : 0, slow.Counters().drawCalls);
        EXPECT_EQ(current, ShowsSmallPicture(Pane()));
    }
}

// ---- The progress bar and the empty picture ----------------------------------------------------

TEST_F(PreviewPipelineTest, TheProgressBarFollowsTheEngine) {
    const struct {
        const char* name;
        LONG range, count, steps[3];
        DWORD stepDelayMs;
        LONG position, high;
    } cases[] = {
        {"reports a frame apart: never moves back", 100, 3, {10, 50, 30}, 40, 50, 100},
        {"range 70000: the low 16 bits", 70000, 1, {30}, 40, 30, 4464},
        {"rapid reports: the completing one gets through", 100, 3, {10, 20, 100}, 0, 100, 100},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SlowEngineSettings settings = {};
        settings.progressRange = c.range;
        settings.progressCount = c.count;
        std::copy(c.steps, c.steps + c.count, settings.progressSteps);
        settings.stepDelayMs = c.stepDelayMs;
        settings.holdThumbnails = TRUE;
        slow.Configure(settings);
        Select(L"p40x30.bmp");
        ASSERT_TRUE(WaitHeld());
        const HWND bar = system.Progress();
        EXPECT_TRUE(::IsWindowVisible(bar));
        EXPECT_EQ(c.position, ::SendMessageW(bar, PBM_GETPOS, 0, 0));
        EXPECT_EQ(c.high, ::SendMessageW(bar, PBM_GETRANGE, FALSE, 0));
        slow.Release();
        ASSERT_TRUE(WaitDone());
        EXPECT_FALSE(::IsWindowVisible(bar));
    }
}

// A selection with nothing to load comes while a worker draws the previous picture: the dialog's
// thread cannot take the pane, and the worker draws the cross for it as it lets go, rather than
// leave its own picture standing for a file that does not exist.
TEST_F(PreviewPipelineTest, AnEmptyPictureSkippedWhileAWorkerDrawsIsDrawnByTheWorker) {
    SlowEngineSettings settings = {};
    settings.holdDraw = TRUE;
    slow.Configure(settings);
    Select(L"p40x30.bmp");
    ASSERT_TRUE(PumpUntil([&] { return slow.Counters().heldInDraw == 1; }));
    Select(L"missing.png");
    slow.Release();
    ASSERT_TRUE(WaitDone());
    EXPECT_TRUE(ShowsSquareCross(Pane()));
    EXPECT_TRUE(Access::Crossed(object.Get()));
}

TEST_F(PreviewPipelineTest, ProgressWipesTheCross) {
    SlowEngineSettings settings = {};
    settings.progressRange = 100;
    settings.progressCount = 1;
    settings.progressSteps[0] = 5;
    settings.holdThumbnails = TRUE;
    slow.Configure(settings);
    Access::DrawEmptyBitmap(object.Get(), true, false);
    // The preview box path loads without blanking first when the pane is busy, so the cross is
    // still there when the first progress arrives.
    ASSERT_TRUE(Access::Busy(object.Get()).TryTake());
    system.Select(files.Path(), L"p40x30.bmp");
    Access::StartReadingFile(object.Get());
    Access::Busy(object.Get()).GiveBack();
    ASSERT_TRUE(WaitHeld());
    EXPECT_FALSE(Access::Crossed(object.Get()));
    EXPECT_TRUE(AllBackground(Pane()));
    slow.Release();
    ASSERT_TRUE(WaitDone());
}

TEST_F(PreviewPipelineTest, TheEmptyPictureAndWhenItReachesTheScreen) {
    const struct {
        const char* name;
        bool closed, crossed, repaint, painted;
    } cases[] = {
        {"crossed, repainted", false, true, true, true},
        {"blank, not repainted: the screen waits for the next paint", false, false, false, false},
        {"dialog closed: nothing", true, true, true, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        OpenPane(100, 100);
        ::InvalidateRect(system.Preview(), nullptr, FALSE);
        PumpFor(20);
        const std::vector<std::uint32_t> before = Pane();
        if (c.closed)
            Access::CloseWindows(object.Get());
        const int paints = system.previewPaints;
        Access::DrawEmptyBitmap(object.Get(), c.crossed, c.repaint);
        EXPECT_EQ(c.painted, system.previewPaints > paints);
        if (c.closed) {
            EXPECT_TRUE(before == Pane());
            continue;
        }
        EXPECT_EQ(c.crossed, Access::Crossed(object.Get()));
        EXPECT_TRUE(c.crossed ? ShowsSquareCross(Pane()) : AllBackground(Pane()));
    }
}

TEST_F(PreviewPipelineTest, TheComponentOutlivesItsClientWhileAWorkerRuns) {
    ASSERT_EQ(S_FALSE, server::CanUnloadNow()) << "the test's object holds the module";
    slow.Hold();
    Select(L"p40x30.bmp");
    ASSERT_TRUE(WaitHeld());
    Access::CloseWindows(object.Get()); // the dialog is gone, the load goes on
    object.Reset();                     // and so is the client's last reference
    PumpFor(50);
    EXPECT_EQ(S_FALSE, server::CanUnloadNow()) << "the worker keeps the component";
    EXPECT_EQ(1, slow.Counters().objects);
    slow.Release();
    EXPECT_TRUE(PumpUntil([] { return server::CanUnloadNow() == S_OK; }));
    EXPECT_TRUE(PumpUntil([&] { return slow.Counters().objects == 0; }))
        << "the component ended with its worker and let the engine go";
}

} // namespace
} // namespace orrelux
