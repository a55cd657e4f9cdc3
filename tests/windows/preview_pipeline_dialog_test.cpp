// The preview pipeline in the system's own open dialog: a selection in the dialog's list reaches
// the pane's bitmap and the screen, a file the engine cannot read shows the cross, and a load still
// running when the user cancels ends on its own after the client has let go of the registered
// DLL. The engine is the one behind SlowImagingEngine.dll.
#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

#include "dialog_driver.h"
#include "engine_pictures.h"
#include "file_dialog_support.h"
#include "preview_pipeline_support.h"
#include "test_support.h"

namespace orrelux {
namespace {

using Access = PreviewPipelineTestAccess;
using testing::DialogDriver;
using testing::PatternRgb;
using testing::PumpFor;
using testing::PumpUntil;

class PreviewInSystemDialogTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(slow.Ready());
        ASSERT_EQ(S_OK, testing::WriteWicPicture(files.File(L"small.bmp"), GUID_ContainerFormatBmp,
                                                 40, 30));
        ASSERT_TRUE(testing::WriteBytes(files.File(L"damaged.bmp"), {'B', 'M', 0x40, 0, 0, 0}));
        object = testing::CreateLinkedObject<IFileDialog>(CLSID_FileDialog);
        ASSERT_TRUE(object);
        ASSERT_EQ(1, slow.Counters().objects);
        baseline = testing::References(object.Get());
    }
    void TearDown() override {
        slow.Configure(SlowEngineSettings{});
        if (object) {
            EXPECT_TRUE(testing::WaitForWorkers(object.Get(), baseline));
        }
    }

    // Shows the open dialog on the test's folder and runs the script in it; the user cancels.
    void Show(IFileDialog* dialog, DialogDriver& driver) {
        const UniqueBstr folder(files.Path().c_str()), filter(L"All files|*.*");
        ASSERT_EQ(S_OK, dialog->put_InitialDir(folder.Get()));
        ASSERT_EQ(S_OK, dialog->put_Filter(filter.Get()));
        driver.Then([](HWND system) {
            ::PostMessageW(system, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
        });
        VARIANT_BOOL accepted = 7;
        driver.Start();
        EXPECT_EQ(S_OK, dialog->ShowOpen(&accepted));
        driver.Stop();
        EXPECT_TRUE(driver.Finished()) << "the dialog ended before the script did";
        EXPECT_EQ(VARIANT_FALSE, accepted);
    }
    std::vector<std::uint32_t> Pane() {
        return testing::ReadPixels(Access::Bitmap(object.Get()), Access::Width(object.Get()),
                                   Access::Height(object.Get()));
    }

    testing::SlowEngine slow;
    testing::ScratchDirectory files;
    ComPtr<IFileDialog> object;
    ULONG baseline = 0;
};

TEST_F(PreviewInSystemDialogTest, ASelectionInTheListReachesThePaneAndTheScreen) {
    DialogDriver driver(&SystemFileDialog);
    driver
        .Then([&](HWND system) {
            ASSERT_TRUE(SelectInSystemDialog(system, {L"small.bmp"}));
            ASSERT_TRUE(testing::WaitForWorkers(object.Get(), baseline));
            const int width = Access::Width(object.Get());
            ASSERT_GE(width, 42);
            ASSERT_GE(Access::Height(object.Get()), 32);
            const int left = (width - 40) / 2;
            const int top = (Access::Height(object.Get()) - 30) / 2;
            const std::vector<std::uint32_t> pane = Pane();
            const auto at = [&](int x, int y) { return pane[std::size_t(y) * width + x]; };
            EXPECT_EQ(PatternRgb(0, 0), at(left, top));
            EXPECT_EQ(PatternRgb(39, 29), at(left + 39, top + 29));
            EXPECT_EQ(0u, at(left - 1, top - 1)) << "the frame";
            EXPECT_EQ(0u, at(left + 40, top + 30));
            EXPECT_FALSE(Access::Crossed(object.Get()));
            // The hook copied the bitmap to control 1010 when the worker asked for a repaint.
            const WindowDC screen(Access::PreviewWindow(object.Get()));
            EXPECT_EQ(PatternRgb(17, 11),
                      testing::RgbOf(::GetPixel(screen.Get(), left + 17, top + 11)));
        })
        .Then([&](HWND system) {
            ASSERT_TRUE(SelectInSystemDialog(system, {L"damaged.bmp"}));
            ASSERT_TRUE(testing::WaitForWorkers(object.Get(), baseline));
            EXPECT_TRUE(Access::Crossed(object.Get()));
            const std::vector<std::uint32_t> pane = Pane();
            EXPECT_EQ(0u, pane.front()) << "the cross starts in the corner";
            EXPECT_EQ(0u, pane.back());
        });
    Show(object.Get(), driver);
    BSTR name = nullptr;
    EXPECT_EQ(S_OK, object->get_FileName(&name));
    EXPECT_EQ(files.File(L"damaged.bmp"), testing::TakeBstr(name))
        << "after cancel FileName holds the last selection";
}

// A load still running when the user cancels (which sends no notification, so nothing stops the
// load) keeps the registered server, Orrelux20Dialogs.dll, as a client gets it. Once the worker is
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
    const auto canUnloadNow = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
        reinterpret_cast<void*>(::GetProcAddress(server, "DllCanUnloadNow")));
    ASSERT_NE(nullptr, canUnloadNow);
    ASSERT_EQ(2, slow.Counters().objects) << "the server's component has the slow engine as well";

    slow.Hold();
    DialogDriver driver(&SystemFileDialog);
    driver.Then([&](HWND system) {
        ASSERT_TRUE(SelectInSystemDialog(system, {L"small.bmp"}));
        ASSERT_TRUE(PumpUntil([&] { return slow.Counters().held == 1; }));
    });
    Show(client.Get(), driver);
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
