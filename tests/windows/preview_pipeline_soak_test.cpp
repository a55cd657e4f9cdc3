// Robustness of the preview pipeline under load, sized to finish well within a minute: a thousand
// rapid selection changes over large, small and damaged files with a slowed engine, a dialog
// that closes while loads run, and clients that let go of the component while a worker still
// decodes. The figures (resources before and after) are printed for the record.
#include <gtest/gtest.h>

#include <windows.h>
#include <psapi.h>
#include <winternl.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "dialog_driver.h"
#include "engine_pictures.h"
#include "file_dialog_support.h"
#include "preview_pipeline_support.h"
#include "server/object_map.h"
#include "test_support.h"

namespace orrelux {
namespace {

using Access = PreviewPipelineTestAccess;
using testing::DialogDriver;
using testing::FakeSystemDialog;
using testing::PumpFor;
using testing::PumpUntil;
using testing::WaitForWorkers;

struct Resources {
    DWORD gdi = 0;
    DWORD user = 0;
    DWORD handles = 0;
    long long memory = 0;
};

// Wine answers GetGuiResources and GetProcessHandleCount with 0 and leaves PrivateUsage at 0.
// There the figures come from the GDI handle table that the system maps into the process (the
// PEB's GdiSharedHandleTable: 24-byte entries, in use when the type byte is set), from the open
// handle values, from the process's windows and from the page file usage.
DWORD GdiObjects() {
    if (const DWORD objects = ::GetGuiResources(::GetCurrentProcess(), GR_GDIOBJECTS))
        return objects;
#ifdef _WIN64
    struct Entry {
        std::uint64_t object;
        ULONG owner;
        USHORT unique;
        UCHAR type;
        UCHAR flags;
        std::uint64_t user;
    };
    static_assert(sizeof(Entry) == 24, "a GDI handle table entry");
    using QueryProcess = LONG(WINAPI*)(HANDLE, PROCESSINFOCLASS, void*, ULONG, ULONG*);
    const auto query = reinterpret_cast<QueryProcess>(reinterpret_cast<void*>(
        ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQueryInformationProcess")));
    PROCESS_BASIC_INFORMATION basics = {};
    if (!query || query(::GetCurrentProcess(), ProcessBasicInformation, &basics, sizeof(basics),
                        nullptr) != 0)
        return 0;
    const auto* peb = reinterpret_cast<const char*>(basics.PebBaseAddress);
    const auto* table = *reinterpret_cast<const Entry* const*>(peb + 0xF8);
    DWORD objects = 0;
    for (int index = 0; table && index < 0x10000; ++index)
        objects += table[index].type != 0 ? 1 : 0;
    return objects;
#else
    return 0;
#endif
}

BOOL CALLBACK CountWindow(HWND window, LPARAM counter) {
    DWORD process = 0;
    ::GetWindowThreadProcessId(window, &process);
    if (process == ::GetCurrentProcessId()) {
        ++*reinterpret_cast<DWORD*>(counter);
        ::EnumChildWindows(window, &CountWindow, counter);
    }
    return TRUE;
}

DWORD UserObjects() {
    if (const DWORD objects = ::GetGuiResources(::GetCurrentProcess(), GR_USEROBJECTS))
        return objects;
    DWORD windows = 0;
    ::EnumWindows(&CountWindow, reinterpret_cast<LPARAM>(&windows));
    return windows;
}

DWORD Handles() {
    DWORD handles = 0;
    if (::GetProcessHandleCount(::GetCurrentProcess(), &handles) && handles)
        return handles;
    for (UINT_PTR value = 4; value < 0x10000; value += 4) {
        DWORD flags = 0;
        handles += ::GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) ? 1 : 0;
    }
    return handles;
}

Resources Measure() {
    PROCESS_MEMORY_COUNTERS_EX memory = {};
    ::GetProcessMemoryInfo(::GetCurrentProcess(),
                           reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory), sizeof(memory));
    return {
        GdiObjects(), UserObjects(), Handles(),
        static_cast<long long>(memory.PrivateUsage ? memory.PrivateUsage : memory.PagefileUsage)};
}

// Prints the figures for the record, and expects them flat.
void ExpectFlat(const char* what, const Resources& before, const Resources& after) {
    std::printf("%s: GDI objects %lu -> %lu, USER objects %lu -> %lu, handles %lu -> %lu, "
                "memory %lld -> %lld\n",
                what, before.gdi, after.gdi, before.user, after.user, before.handles, after.handles,
                before.memory, after.memory);
    std::fflush(stdout);
    EXPECT_LE(after.gdi, before.gdi + 4);
    EXPECT_LE(after.user, before.user + 4);
    EXPECT_LE(after.handles, before.handles + 8);
    EXPECT_LT(after.memory - before.memory, 4 * 1024 * 1024);
}

class PreviewPipelineSoakTest : public ::testing::Test {
protected:
    // Two large JPEG photographs, one cut in the middle of its data, a damaged bitmap, a small
    // pattern picture and a text file.
    void SetUp() override {
        ASSERT_TRUE(slow.Ready());
        ASSERT_EQ(S_OK, testing::WriteWicPicture(files.File(L"large1.jpg"),
                                                 GUID_ContainerFormatJpeg, 2400, 1600));
        ASSERT_EQ(S_OK, testing::WriteWicPicture(files.File(L"large2.jpg"),
                                                 GUID_ContainerFormatJpeg, 1600, 2400));
        ASSERT_EQ(S_OK, testing::WriteWicPicture(files.File(L"small.bmp"), GUID_ContainerFormatBmp,
                                                 40, 30));
        ASSERT_TRUE(testing::WriteBytes(files.File(L"damaged.bmp"),
                                        {'B', 'M', 0x40, 0, 0, 0, 0, 0, 0, 0, 0x36, 0}));
        ASSERT_TRUE(testing::WriteBytes(files.File(L"notes.txt"), {'n', 'o', 't', 'e', 's'}));
        std::vector<std::uint8_t> whole = testing::ReadBytes(files.File(L"large1.jpg"));
        whole.resize(whole.size() / 2); // a header that promises more than the file holds
        ASSERT_TRUE(testing::WriteBytes(files.File(L"truncated.jpg"), whole));
    }

    // A component with its pane open on `system`, and some engine time in every load, in steps
    // that an abort cuts short.
    ComPtr<IFileDialog> OpenComponent(FakeSystemDialog& system) {
        ComPtr<IFileDialog> object = testing::CreateLinkedObject<IFileDialog>(CLSID_FileDialog);
        if (object)
            system.Open(object.Get());
        SlowEngineSettings settings = {};
        settings.progressRange = 100;
        settings.progressCount = 2;
        settings.progressSteps[0] = 10;
        settings.progressSteps[1] = 60;
        settings.stepDelayMs = 1;
        settings.delayMs = 2;
        slow.Configure(settings);
        return object;
    }
    void Select(FakeSystemDialog& system, IFileDialog* object, const wchar_t* name) {
        system.Select(files.Path(), name);
        Access::SelectionChanged(object);
    }

    testing::SlowEngine slow;
    testing::ScratchDirectory files;
};

TEST_F(PreviewPipelineSoakTest, AThousandRapidSelectionsEndWithTheLastPicture) {
    FakeSystemDialog system;
    ComPtr<IFileDialog> object = OpenComponent(system);
    ASSERT_TRUE(object);
    const ULONG baseline = testing::References(object.Get());

    const wchar_t* const names[] = {L"large1.jpg",  L"large2.jpg", L"truncated.jpg",
                                    L"damaged.bmp", L"small.bmp",  L"notes.txt",
                                    L"missing.png", L"large2.jpg", L"large1.jpg"};
    constexpr int kNames = sizeof(names) / sizeof(names[0]);
    std::uint32_t random = 0x9E3779B9u;
    const auto select = [&](int i) {
        random = random * 1664525u + 1013904223u;
        const wchar_t* name = names[(random >> 16) % kNames];
        system.Select(files.Path(), name);
        if (i % 7 == 0) // several files selected: the first quoted one is previewed
            system.spec = std::wstring(L"\"") + name + L"\" \"small.bmp\"";
        Access::SelectionChanged(object.Get());
        // Mostly back to back, sometimes with a breath that lets a load get going.
        if (i % 13 == 0)
            PumpFor(random % 8);
        else
            PumpFor(0);
    };

    for (int i = 0; i < 50; ++i) // warm-up: the engine's and the system's caches settle
        select(i);
    // On a loaded machine the rapid warm-up may abort every load: each file is also loaded to its
    // end once, so that what the decoders make on first use is there before the count.
    for (const wchar_t* name : names) {
        Select(system, object.Get(), name);
        ASSERT_TRUE(WaitForWorkers(object.Get(), baseline, 30000));
    }
    const Resources before = Measure();
    const auto start = std::chrono::steady_clock::now();
    constexpr int kSelections = 1000;
    for (int i = 0; i < kSelections; ++i)
        select(i);
    const auto selected = std::chrono::steady_clock::now();
    Select(system, object.Get(), L"small.bmp"); // what the pane must end with
    ASSERT_TRUE(WaitForWorkers(object.Get(), baseline, 30000)) << "every worker ended";
    const auto settled = std::chrono::steady_clock::now();
    const std::vector<std::uint32_t> pane =
        testing::ReadPixels(Access::Bitmap(object.Get()), 100, 100);
    EXPECT_EQ(testing::PatternRgb(0, 0), pane[35 * 100 + 30]);
    EXPECT_EQ(testing::PatternRgb(39, 29), pane[64 * 100 + 69]);
    EXPECT_EQ(0u, pane[34 * 100 + 29]) << "the frame";
    EXPECT_FALSE(Access::Crossed(object.Get()));
    EXPECT_FALSE(::IsWindowVisible(system.Progress()));

    const Resources after = Measure();
    const SlowEngineCounters counters = slow.Counters();
    std::printf("%d selections in %.0f ms, settled %.0f ms later; the engine loaded %ld times, "
                "drew %ld times and was asked to abort %ld times\n",
                kSelections, std::chrono::duration<double, std::milli>(selected - start).count(),
                std::chrono::duration<double, std::milli>(settled - selected).count(),
                counters.thumbnailCalls, counters.drawCalls, counters.abortCalls);
    ExpectFlat("rapid selections", before, after);
    Access::CloseWindows(object.Get());
}

TEST_F(PreviewPipelineSoakTest, TheDialogClosesWhileLoadsRun) {
    for (int round = 0; round < 20; ++round) {
        FakeSystemDialog system;
        ComPtr<IFileDialog> object = OpenComponent(system);
        ASSERT_TRUE(object);
        const ULONG baseline = testing::References(object.Get());
        Select(system, object.Get(), round % 2 ? L"large1.jpg" : L"truncated.jpg");
        PumpFor(static_cast<DWORD>(round % 5));
        // The dialog ends (Cancel sends no notification: nothing aborts), its windows go first.
        Access::CloseWindows(object.Get());
        ::DestroyWindow(system.Window());
        ASSERT_TRUE(WaitForWorkers(object.Get(), baseline));
    }
}

TEST_F(PreviewPipelineSoakTest, ClientsLetGoWhileWorkersRun) {
    ASSERT_EQ(S_OK, server::CanUnloadNow());
    const auto round = [&](int i) {
        FakeSystemDialog system;
        ComPtr<IFileDialog> object = OpenComponent(system);
        ASSERT_TRUE(object);
        Select(system, object.Get(), i % 3 ? L"large2.jpg" : L"damaged.bmp");
        if (i % 4 == 0) // a second selection with a worker still on the first
            Access::SelectionChanged(object.Get());
        Access::CloseWindows(object.Get());
        object.Reset(); // the worker holds the last reference now
        ASSERT_TRUE(PumpUntil([] { return server::CanUnloadNow() == S_OK; }, 15000))
            << "the module is free once the workers are gone";
        ASSERT_TRUE(PumpUntil([&] { return slow.Counters().objects == 0; }))
            << "and the component has let the engine go";
    };
    for (int i = 0; i < 4; ++i) // warm-up: the first dialog, fonts and decoders settle
        round(i);
    const Resources before = Measure();
    constexpr int kRounds = 40;
    for (int i = 0; i < kRounds; ++i)
        round(i);
    const Resources after = Measure();
    ExpectFlat("clients letting go", before, after);
}

TEST_F(PreviewPipelineSoakTest, TwoHundredShowsWithThePaneLeaveResourcesFlat) {
    // A folder of its own with one small picture: the system lists it quickly.
    testing::ScratchDirectory single;
    ASSERT_EQ(S_OK,
              testing::WriteWicPicture(single.File(L"small.bmp"), GUID_ContainerFormatBmp, 40, 30));
    ComPtr<IFileDialog> object = testing::CreateLinkedObject<IFileDialog>(CLSID_FileDialog);
    ASSERT_TRUE(object);
    const UniqueBstr folder(single.Path().c_str()), filter(L"All files|*.*");
    ASSERT_EQ(S_OK, object->put_InitialDir(folder.Get()));
    ASSERT_EQ(S_OK, object->put_Filter(filter.Get()));
    const ULONG baseline = testing::References(object.Get());
    // Each show: the pane comes up, a picture is selected and starts loading, and the user
    // cancels at once; the load ends after the dialog.
    const auto show = [&] {
        DialogDriver driver(&SystemFileDialog);
        driver.Then([](HWND dialog) {
            EXPECT_TRUE(SelectInSystemDialog(dialog, {L"small.bmp"}));
            ::PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
        });
        VARIANT_BOOL accepted = 7;
        driver.Start(5);
        EXPECT_EQ(S_OK, object->ShowOpen(&accepted));
        driver.Stop();
        EXPECT_TRUE(driver.Finished());
    };
    for (int i = 0; i < 5; ++i) // warm-up: the system's dialog caches settle
        show();
    ASSERT_TRUE(WaitForWorkers(object.Get(), baseline));
    const Resources before = Measure();
    const auto start = std::chrono::steady_clock::now();
    constexpr int kShows = 200;
    for (int i = 0; i < kShows; ++i)
        show();
    ASSERT_TRUE(WaitForWorkers(object.Get(), baseline));
    const double elapsed =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    const Resources after = Measure();
    std::printf("%d shows with the pane in %.0f ms\n", kShows, elapsed);
    ExpectFlat("show/cancel cycles", before, after);
}

} // namespace
} // namespace orrelux
