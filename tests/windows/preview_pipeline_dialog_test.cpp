// The preview pipeline in the system's own open dialog: a selection made in the dialog's list
// reaches the pane's bitmap and the screen, a file the engine cannot read shows the cross, and a
// load that is still running when the user cancels ends on its own after the client has let go
// of the component. The engine is the real one behind SlowImagingEngine.dll.
#include <gtest/gtest.h>

#include <windows.h>
#include <commctrl.h>

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
using testing::CreateLinkedObject;
using testing::DialogDriver;
using testing::PumpFor;
using testing::PumpUntil;
using testing::ReadPixels;
using testing::References;
using testing::ScratchDirectory;
using testing::SelectInSystemDialog;
using testing::SlowEngine;
using testing::TestPixel;
using testing::WaitForWorkers;

std::wstring BinDirectory() {
    std::wstring path = testing::BinPath(L"");
    while (!path.empty() && path.back() == L'\\')
        path.pop_back();
    return path;
}

std::uint32_t Picture(int x, int y) {
    return TestPixel(x, y) & 0x00FFFFFFu;
}

class PreviewInSystemDialogTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(slow.Ready());
        ASSERT_TRUE(SUCCEEDED(
            testing::WriteWicPicture(files.File(L"small.bmp"), GUID_ContainerFormatBmp, 40, 30)));
        ASSERT_TRUE(testing::WriteBytes(files.File(L"damaged.bmp"), {'B', 'M', 0x40, 0, 0, 0}));
        object = CreateLinkedObject<IFileDialog>(CLSID_FileDialog);
        ASSERT_TRUE(object);
        ASSERT_EQ(1, slow.Counters().objects);
        const UniqueBstr folder(files.Path().c_str());
        ASSERT_EQ(S_OK, object->put_InitialDir(folder.Get()));
        const UniqueBstr filter(L"All files|*.*");
        ASSERT_EQ(S_OK, object->put_Filter(filter.Get()));
        baseline = References(object.Get());
    }
    void TearDown() override {
        slow.Configure(SlowEngineSettings{});
        if (object) {
            EXPECT_TRUE(WaitForWorkers(object.Get(), baseline));
        }
    }

    void Show(DialogDriver& driver) {
        VARIANT_BOOL accepted = 7;
        driver.Start();
        EXPECT_EQ(S_OK, object->ShowOpen(&accepted));
        driver.Stop();
        EXPECT_TRUE(driver.Finished()) << "the dialog ended before the script did";
        EXPECT_EQ(VARIANT_FALSE, accepted);
    }

    SlowEngine slow{BinDirectory()};
    ScratchDirectory files;
    ComPtr<IFileDialog> object;
    ULONG baseline = 0;
};

TEST_F(PreviewInSystemDialogTest, ASelectionInTheListReachesThePaneAndTheScreen) {
    DialogDriver driver(&SystemFileDialog);
    driver
        .Then([&](HWND dialog) {
            ASSERT_TRUE(SelectInSystemDialog(dialog, L"small.bmp"));
            ASSERT_TRUE(WaitForWorkers(object.Get(), baseline));
            const int width = Access::Width(object.Get());
            const int height = Access::Height(object.Get());
            ASSERT_GE(width, 42);
            ASSERT_GE(height, 32);
            const int left = (width - 40) / 2;
            const int top = (height - 30) / 2;
            const std::vector<std::uint32_t> pane =
                ReadPixels(Access::Bitmap(object.Get()), width, height);
            const auto at = [&](int x, int y) { return pane[std::size_t(y) * width + x]; };
            EXPECT_EQ(Picture(0, 0), at(left, top));
            EXPECT_EQ(Picture(39, 29), at(left + 39, top + 29));
            EXPECT_EQ(Picture(17, 11), at(left + 17, top + 11));
            EXPECT_EQ(0u, at(left - 1, top - 1)) << "the frame";
            EXPECT_EQ(0u, at(left + 40, top + 30));
            EXPECT_FALSE(Access::Crossed(object.Get()));
            // The hook copied the bitmap to control 1010 when the worker asked for a repaint.
            const WindowDC screen(Access::PreviewWindow(object.Get()));
            const COLORREF shown = ::GetPixel(screen.Get(), left + 17, top + 11);
            EXPECT_EQ(Picture(17, 11), testing::RgbOf(shown));
        })
        .Then([&](HWND dialog) {
            ASSERT_TRUE(SelectInSystemDialog(dialog, L"damaged.bmp"));
            ASSERT_TRUE(WaitForWorkers(object.Get(), baseline));
            EXPECT_TRUE(Access::Crossed(object.Get()));
            const int width = Access::Width(object.Get());
            const int height = Access::Height(object.Get());
            const std::vector<std::uint32_t> pane =
                ReadPixels(Access::Bitmap(object.Get()), width, height);
            EXPECT_EQ(0u, pane[0]) << "the cross starts in the corner";
            EXPECT_EQ(0u, pane[std::size_t(height - 1) * width + width - 1]);
        })
        .Then([](HWND dialog) {
            ::PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
        });
    Show(driver);
    BSTR name = nullptr;
    EXPECT_EQ(S_OK, object->get_FileName(&name));
    EXPECT_EQ(files.File(L"damaged.bmp"), testing::TakeBstr(name))
        << "after cancel FileName holds the last selection";
}

TEST_F(PreviewInSystemDialogTest, ALoadOutlivesTheDialogAndItsClient) {
    SlowEngineSettings settings = {};
    settings.holdThumbnails = TRUE;
    slow.Configure(settings);
    DialogDriver driver(&SystemFileDialog);
    driver
        .Then([&](HWND dialog) {
            ASSERT_TRUE(SelectInSystemDialog(dialog, L"small.bmp"));
            ASSERT_TRUE(PumpUntil([&] { return slow.Counters().held == 1; }));
        })
        .Then([](HWND dialog) {
            // Cancel sends no notification: nothing stops the load.
            ::PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
        });
    Show(driver);
    EXPECT_EQ(baseline + 1, References(object.Get())) << "the worker still runs";
    object.Reset();
    PumpFor(50);
    EXPECT_EQ(S_FALSE, server::CanUnloadNow()) << "the worker keeps the component";
    slow.Release();
    EXPECT_TRUE(PumpUntil([] { return server::CanUnloadNow() == S_OK; }));
    EXPECT_TRUE(PumpUntil([&] { return slow.Counters().objects == 0; }));
}

// The same in the registered server, Orrelux20Dialogs.dll, as a client gets it: once the worker is
// gone the DLL answers DllCanUnloadNow with S_OK, and the system may unload it while the worker's
// thread is still on its way out, which the worker's own reference to the module makes safe.
TEST_F(PreviewInSystemDialogTest, TheServerDllUnloadsOnceItsLastWorkerIsGone) {
    ComPtr<IFileDialog> client = testing::CreateRegisteredObject<IFileDialog>(CLSID_FileDialog);
    ASSERT_TRUE(client);
    // The module that holds the object's code (the loader may know it by its short name).
    const void* code = *reinterpret_cast<void* const*>(client.Get());
    const auto loaded = [code] {
        HMODULE module = nullptr;
        ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                 GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                             static_cast<LPCWSTR>(code), &module);
        return module;
    };
    const HMODULE server = loaded();
    ASSERT_NE(nullptr, server);
    ASSERT_NE(::GetModuleHandleW(nullptr), server) << "the object comes from the DLL";
    using CanUnloadNow = HRESULT(STDAPICALLTYPE*)();
    const auto canUnloadNow = reinterpret_cast<CanUnloadNow>(
        reinterpret_cast<void*>(::GetProcAddress(server, "DllCanUnloadNow")));
    ASSERT_NE(nullptr, canUnloadNow);
    ASSERT_EQ(2, slow.Counters().objects) << "the server's component has the slow engine as well";
    const UniqueBstr folder(files.Path().c_str());
    ASSERT_EQ(S_OK, client->put_InitialDir(folder.Get()));
    const UniqueBstr filter(L"All files|*.*");
    ASSERT_EQ(S_OK, client->put_Filter(filter.Get()));

    SlowEngineSettings settings = {};
    settings.holdThumbnails = TRUE;
    slow.Configure(settings);
    DialogDriver driver(&SystemFileDialog);
    driver
        .Then([&](HWND dialog) {
            ASSERT_TRUE(SelectInSystemDialog(dialog, L"small.bmp"));
            ASSERT_TRUE(PumpUntil([&] { return slow.Counters().held == 1; }));
        })
        .Then([](HWND dialog) {
            ::PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
        });
    VARIANT_BOOL accepted = 7;
    driver.Start();
    EXPECT_EQ(S_OK, client->ShowOpen(&accepted));
    driver.Stop();
    client.Reset();
    PumpFor(50);
    ::CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_EQ(server, loaded()) << "the worker holds it";
    EXPECT_EQ(S_FALSE, canUnloadNow());

    slow.Release();
    EXPECT_TRUE(PumpUntil([&] { return canUnloadNow() == S_OK; }));
    // Freed at once, while the worker's thread may still be leaving.
    EXPECT_TRUE(PumpUntil([&] {
        ::CoFreeUnusedLibrariesEx(0, 0);
        return loaded() == nullptr;
    }));
    PumpFor(100);
}

} // namespace
} // namespace orrelux
