// CColorDialog's property rules through its vtable: defaults, colour forms, failures with their
// exact codes and texts, and Apply reaching the sinks connected through the connection point.
#include <gtest/gtest.h>

#include <string>

#include "components/color_dialog.h"
#include "test_support.h"

namespace orrelux {
namespace {

using testing::RecordingSink;
using testing::TakeErrorInfo;

// The object comes from the class factory, like every object of the server; the test reaches
// the component behind the interface to drive the picker as the dialog would.
class ColorDialogTest : public ::testing::Test {
public:
    bool Disconnect(DWORD cookie) { return Events()->Unadvise(cookie) == S_OK; }

protected:
    void SetUp() override {
        testing::ClearErrorInfo();
        ASSERT_TRUE(object);
    }

    // A property read through its get, which has to succeed.
    template <class Value> Value Get(HRESULT (STDMETHODCALLTYPE CColorDialog::*get)(Value*)) {
        Value value{};
        EXPECT_EQ(S_OK, (dialog.*get)(&value));
        return value;
    }
    std::wstring Title() {
        BSTR value = nullptr;
        EXPECT_EQ(S_OK, dialog.get_Title(&value));
        return testing::TakeBstr(value);
    }

    ComPtr<IConnectionPoint> Events() {
        ComPtr<IConnectionPointContainer> container;
        ComPtr<IConnectionPoint> point;
        EXPECT_EQ(S_OK, object.As(container));
        EXPECT_EQ(S_OK, container->FindConnectionPoint(DIID__IColorDialogEvents, point.Put()));
        return point;
    }
    // Connects a sink to the event connection point, as a client does.
    DWORD Connect(RecordingSink& sink) {
        sink.eventIid = DIID__IColorDialogEvents;
        DWORD cookie = 0;
        EXPECT_EQ(S_OK, Events()->Advise(&sink, &cookie));
        return cookie;
    }

    // The user picks a colour in a dialog that Show prepared and presses Apply.
    void PressApply() {
        CPickerWindow* picker = dialog.PickerWindow();
        picker->PrepareForShow(&dialog, 0xFF102030, 0, 0, 0);
        picker->SetCurrentColor(0x00405060, true);
        picker->OnApply();
    }

    ComPtr<IColorDialog> object = testing::CreateLinkedObject<IColorDialog>(CLSID_ColorDialog);
    CColorDialog& dialog = *static_cast<CColorDialog*>(object.Get());
};

TEST_F(ColorDialogTest, DefaultsReadAsDocumented) {
    EXPECT_EQ(LONG(0xFFFFFFFF), Get(&CColorDialog::get_ColorArgb));
    EXPECT_EQ(OLE_COLOR(0x00FFFFFF), Get(&CColorDialog::get_ColorColorref));
    EXPECT_EQ(ColorDialogPageHSBBrightness, Get(&CColorDialog::get_ActivePage));
    EXPECT_EQ(0, Get(&CColorDialog::get_PaletteIndex));
    EXPECT_EQ(0, Get(&CColorDialog::get_PaletteColorIndex));
    EXPECT_EQ(L"Colors", Title());
    EXPECT_EQ(VARIANT_TRUE, Get(&CColorDialog::get_ApplyButtonVisible));
    EXPECT_EQ(VARIANT_FALSE, Get(&CColorDialog::get_Visible));
    EXPECT_EQ(0u, Get(&CColorDialog::get_Hwnd));
    EXPECT_EQ(0u, Get(&CColorDialog::get_OwnerWindow));
}

TEST_F(ColorDialogTest, EveryGetRefusesANullOutPointerWithoutText) {
    const HRESULT results[] = {
        dialog.Show(nullptr),
        dialog.get_ColorColorref(nullptr),
        dialog.get_ColorArgb(nullptr),
        dialog.get_ActivePage(nullptr),
        dialog.get_PaletteColorIndex(nullptr),
        dialog.get_PaletteIndex(nullptr),
        dialog.get_Title(nullptr),
        dialog.get_ApplyButtonVisible(nullptr),
        dialog.get_Hwnd(nullptr),
        dialog.get_OwnerWindow(nullptr),
        dialog.get_Visible(nullptr),
    };
    for (std::size_t i = 0; i < std::size(results); ++i)
        EXPECT_EQ(E_POINTER, results[i]) << i;
    EXPECT_FALSE(TakeErrorInfo().present);
}

// Both colour properties are views of one value: whatever enters gets alpha 0xFF.
TEST_F(ColorDialogTest, ColourFormsConvertBothWays) {
    const COLORREF window = ::GetSysColor(COLOR_WINDOW);
    const struct {
        const char* name;
        bool viaArgb;
        std::uint32_t put;
        std::uint32_t argb;
        std::uint32_t colorref;
    } cases[] = {
        {"argb drops the client's alpha", true, 0x22334455, 0xFF334455, 0x00554433},
        {"argb zero alpha", true, 0x00000000, 0xFF000000, 0x00000000},
        {"colorref", false, 0x00123456, 0xFF563412, 0x00123456},
        {"colorref system colour index", false, 0x80000000 | COLOR_WINDOW, ColorRefToArgb(window),
         window},
        // Not a system colour index OleTranslateColor knows: the raw bytes are taken.
        {"colorref untranslatable", false, 0x80000099, 0xFF990000, 0x00000099},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.viaArgb)
            ASSERT_EQ(S_OK, dialog.put_ColorArgb(static_cast<LONG>(c.put)));
        else
            ASSERT_EQ(S_OK, dialog.put_ColorColorref(c.put));
        EXPECT_EQ(static_cast<LONG>(c.argb), Get(&CColorDialog::get_ColorArgb));
        EXPECT_EQ(c.colorref, Get(&CColorDialog::get_ColorColorref));
    }
}

TEST_F(ColorDialogTest, PagesAndPaletteIndicesAreStoredWithoutRangeChecks) {
    for (const LONG value : {7L, -2L, 300L}) {
        EXPECT_EQ(S_OK, dialog.put_ActivePage(static_cast<ColorDialogPage>(value)));
        EXPECT_EQ(S_OK, dialog.put_PaletteIndex(value));
        EXPECT_EQ(S_OK, dialog.put_PaletteColorIndex(value));
        EXPECT_EQ(value, static_cast<LONG>(Get(&CColorDialog::get_ActivePage)));
        EXPECT_EQ(value, Get(&CColorDialog::get_PaletteIndex));
        EXPECT_EQ(value, Get(&CColorDialog::get_PaletteColorIndex));
    }
}

TEST_F(ColorDialogTest, TitleLengthLimitIs260Characters) {
    const std::wstring exact(260, L'x');
    EXPECT_EQ(S_OK, dialog.put_Title(UniqueBstr(exact.c_str()).Get()));
    EXPECT_EQ(exact, Title());

    EXPECT_EQ(HRESULT(-1518), dialog.put_Title(UniqueBstr(std::wstring(261, L'y').c_str()).Get()));
    const auto report = TakeErrorInfo();
    ASSERT_TRUE(report.present);
    EXPECT_EQ(L"Specified string is too long. The maximum length for this string is 260",
              report.description);
    EXPECT_TRUE(IsEqualGUID(IID_IColorDialog, report.guid));
    EXPECT_EQ(L"", report.helpFile);
    EXPECT_EQ(0u, report.helpContext);
    EXPECT_EQ(exact, Title()) << "a refused put leaves the old value";

    EXPECT_EQ(S_OK, dialog.put_Title(nullptr));
    EXPECT_EQ(L"", Title());
}

TEST_F(ColorDialogTest, OwnerWindowMustNameAWindow) {
    HWND window = ::CreateWindowExW(0, L"STATIC", L"owner", WS_POPUP, 0, 0, 10, 10, nullptr,
                                    nullptr, nullptr, nullptr);
    ASSERT_NE(nullptr, window);
    const auto handle = static_cast<OLE_HANDLE>(reinterpret_cast<UINT_PTR>(window));
    EXPECT_EQ(S_OK, dialog.put_OwnerWindow(handle));
    ::DestroyWindow(window);

    // The same handle now names no window: refused, and the old value stays.
    EXPECT_EQ(E_INVALIDARG, dialog.put_OwnerWindow(handle));
    const auto report = TakeErrorInfo();
    ASSERT_TRUE(report.present);
    EXPECT_EQ(L"Specified handle does not identify an existing window", report.description);
    EXPECT_EQ(handle, Get(&CColorDialog::get_OwnerWindow));

    EXPECT_EQ(S_OK, dialog.put_OwnerWindow(0));
    EXPECT_EQ(0u, Get(&CColorDialog::get_OwnerWindow));
}

TEST_F(ColorDialogTest, ApplyButtonVisibleIsSignExtended) {
    for (const VARIANT_BOOL put : {VARIANT_FALSE, VARIANT_TRUE, VARIANT_BOOL(1)}) {
        EXPECT_EQ(S_OK, dialog.put_ApplyButtonVisible(put));
        EXPECT_EQ(put ? VARIANT_TRUE : VARIANT_FALSE, Get(&CColorDialog::get_ApplyButtonVisible));
    }
}

// Every sink gets the call, even after one that fails; a handler already reads the applied
// colour.
TEST_F(ColorDialogTest, ApplyFiresEverySinkInSlotOrder) {
    struct Context {
        CColorDialog* dialog;
        LONG seen;
    } context{&dialog, 0};
    RecordingSink first, second, third;
    first.context = &context;
    first.during = [](RecordingSink&, void* raw) {
        auto* c = static_cast<Context*>(raw);
        EXPECT_EQ(S_OK, c->dialog->get_ColorArgb(&c->seen));
    };
    second.answer = E_FAIL;
    const DWORD c1 = Connect(first);
    const DWORD c2 = Connect(second);
    const DWORD c3 = Connect(third);
    ASSERT_TRUE(c1 && c2 && c3);

    PressApply();
    EXPECT_EQ(LONG(0xFF405060), context.seen);
    for (RecordingSink* sink : {&first, &second, &third}) {
        ASSERT_EQ(1u, sink->calls.size());
        const auto& call = sink->calls[0];
        EXPECT_EQ(1, call.dispid);
        EXPECT_EQ(LCID(0x400), call.locale);
        EXPECT_EQ(DISPATCH_METHOD, call.flags);
        EXPECT_EQ(0u, call.argumentCount);
        EXPECT_TRUE(call.iidIsNull);
        EXPECT_TRUE(call.hasResult);
        EXPECT_FALSE(call.hasExcepInfo);
    }
    EXPECT_TRUE(Disconnect(c2));
    PressApply();
    EXPECT_EQ(2u, first.calls.size());
    EXPECT_EQ(1u, second.calls.size());
    EXPECT_EQ(2u, third.calls.size());
    EXPECT_TRUE(Disconnect(c1));
    EXPECT_TRUE(Disconnect(c3));
    EXPECT_EQ(1u, first.references);
    EXPECT_EQ(1u, third.references);
}

TEST_F(ColorDialogTest, SinkMayDisconnectItselfDuringTheFiring) {
    struct Context {
        ColorDialogTest* test;
        DWORD cookie;
    } context{this, 0};
    RecordingSink leaving, staying;
    leaving.context = &context;
    leaving.during = [](RecordingSink&, void* raw) {
        auto* c = static_cast<Context*>(raw);
        EXPECT_TRUE(c->test->Disconnect(c->cookie));
    };
    context.cookie = Connect(leaving);
    const DWORD stayingCookie = Connect(staying);

    PressApply();
    EXPECT_EQ(1u, leaving.calls.size());
    EXPECT_EQ(1u, staying.calls.size());
    EXPECT_EQ(1u, leaving.references) << "the firing's own reference is released";
    EXPECT_FALSE(Disconnect(context.cookie));
    PressApply();
    EXPECT_EQ(1u, leaving.calls.size());
    EXPECT_EQ(2u, staying.calls.size());
    EXPECT_TRUE(Disconnect(stayingCookie));
}

} // namespace
} // namespace orrelux
