// CColorDialog's property rules through its vtable: defaults, colour forms, the stored-value
// cache, failures with their exact codes and texts, and Apply
// reaching the sinks connected through the connection point.
#include <gtest/gtest.h>

#include <string>

#include "components/color_dialog.h"
#include "test_support.h"

namespace orrelux {
namespace {

using testing::ClearErrorInfo;
using testing::CreateLinkedObject;
using testing::RecordingSink;
using testing::TakeErrorInfo;

// The object comes from the class factory, like every object of the server; the test reaches
// the component behind the interface to drive the picker as the dialog would.
class ColorDialogTest : public ::testing::Test {
public:
    bool Disconnect(DWORD cookie) {
        ComPtr<IConnectionPointContainer> container;
        ComPtr<IConnectionPoint> point;
        object.As(container);
        container->FindConnectionPoint(DIID__IColorDialogEvents, point.Put());
        return point->Unadvise(cookie) == S_OK;
    }

protected:
    void SetUp() override {
        ClearErrorInfo();
        ASSERT_TRUE(object);
    }

    LONG Argb() {
        LONG value = 0;
        EXPECT_EQ(S_OK, dialog.get_ColorArgb(&value));
        return value;
    }
    OLE_COLOR Colorref() {
        OLE_COLOR value = 0;
        EXPECT_EQ(S_OK, dialog.get_ColorColorref(&value));
        return value;
    }
    std::wstring Title() {
        BSTR value = nullptr;
        EXPECT_EQ(S_OK, dialog.get_Title(&value));
        return testing::TakeBstr(value);
    }

    // Connects a sink to the event connection point, as a client does.
    DWORD Connect(RecordingSink& sink) {
        ComPtr<IConnectionPointContainer> container;
        ComPtr<IConnectionPoint> point;
        EXPECT_EQ(S_OK, object.As(container));
        EXPECT_EQ(S_OK, container->FindConnectionPoint(DIID__IColorDialogEvents, point.Put()));
        sink.eventIid = DIID__IColorDialogEvents;
        DWORD cookie = 0;
        EXPECT_EQ(S_OK, point->Advise(&sink, &cookie));
        return cookie;
    }

    // The user presses Apply in a dialog that Show prepared.
    void PressApply() {
        CPickerWindow* picker = dialog.PickerWindow();
        picker->PrepareForShow(&dialog, 0xFF102030, 0, 0, 0);
        picker->OnApply();
    }

    ComPtr<IColorDialog> object = CreateLinkedObject<IColorDialog>(CLSID_ColorDialog);
    CColorDialog& dialog = *static_cast<CColorDialog*>(object.Get());
};

TEST_F(ColorDialogTest, DefaultsReadAsDocumented) {
    EXPECT_EQ(LONG(0xFFFFFFFF), Argb());
    EXPECT_EQ(OLE_COLOR(0x00FFFFFF), Colorref());
    ColorDialogPage page = ColorDialogPagePalettes;
    LONG paletteIndex = -1, paletteColorIndex = -1;
    EXPECT_EQ(S_OK, dialog.get_ActivePage(&page));
    EXPECT_EQ(S_OK, dialog.get_PaletteIndex(&paletteIndex));
    EXPECT_EQ(S_OK, dialog.get_PaletteColorIndex(&paletteColorIndex));
    EXPECT_EQ(ColorDialogPageHSBBrightness, page);
    EXPECT_EQ(0, paletteIndex);
    EXPECT_EQ(0, paletteColorIndex);
    EXPECT_EQ(L"Colors", Title());
    VARIANT_BOOL apply = VARIANT_FALSE, visible = VARIANT_TRUE;
    EXPECT_EQ(S_OK, dialog.get_ApplyButtonVisible(&apply));
    EXPECT_EQ(S_OK, dialog.get_Visible(&visible));
    EXPECT_EQ(VARIANT_TRUE, apply);
    EXPECT_EQ(VARIANT_FALSE, visible);
    OLE_HANDLE hwnd = 1, owner = 1;
    EXPECT_EQ(S_OK, dialog.get_Hwnd(&hwnd));
    EXPECT_EQ(S_OK, dialog.get_OwnerWindow(&owner));
    EXPECT_EQ(0u, hwnd);
    EXPECT_EQ(0u, owner);
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
    for (std::size_t i = 0; i < std::size(results); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(E_POINTER, results[i]);
    }
    EXPECT_FALSE(TakeErrorInfo().present);
}

// Both colour properties are views of one value: whatever enters gets alpha 0xFF.
TEST_F(ColorDialogTest, ColourFormsConvertBothWays) {
    struct Case {
        const char* name;
        bool viaArgb;
        std::uint32_t put;
        std::uint32_t argb;
        std::uint32_t colorref;
    };
    const Case cases[] = {
        {"argb drops the client's alpha", true, 0x22334455, 0xFF334455, 0x00554433},
        {"argb zero alpha", true, 0x00000000, 0xFF000000, 0x00000000},
        {"colorref red", false, 0x000000FF, 0xFFFF0000, 0x000000FF},
        {"colorref mixed", false, 0x00123456, 0xFF563412, 0x00123456},
        // Not a system colour index OleTranslateColor knows: the raw bytes are taken.
        {"colorref untranslatable", false, 0x80000099, 0xFF990000, 0x00000099},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.viaArgb)
            ASSERT_EQ(S_OK, dialog.put_ColorArgb(static_cast<LONG>(c.put)));
        else
            ASSERT_EQ(S_OK, dialog.put_ColorColorref(c.put));
        EXPECT_EQ(static_cast<LONG>(c.argb), Argb());
        EXPECT_EQ(c.colorref, Colorref());
    }
}

TEST_F(ColorDialogTest, ColorrefResolvesSystemColourIndices) {
    const COLORREF window = ::GetSysColor(COLOR_WINDOW);
    ASSERT_EQ(S_OK, dialog.put_ColorColorref(0x80000000 | COLOR_WINDOW));
    EXPECT_EQ(window, Colorref());
    EXPECT_EQ(static_cast<LONG>(ColorRefToArgb(window)), Argb());
}

TEST_F(ColorDialogTest, PagesAndPaletteIndicesAreStoredWithoutRangeChecks) {
    enum class Property { ActivePage, PaletteIndex, PaletteColorIndex };
    struct Case {
        Property property;
        LONG value;
    };
    const Case cases[] = {
        {Property::ActivePage, 4},         {Property::ActivePage, 7},
        {Property::ActivePage, -2},        {Property::PaletteIndex, 9},
        {Property::PaletteIndex, -3},      {Property::PaletteColorIndex, 300},
        {Property::PaletteColorIndex, -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        LONG back = 12345;
        switch (c.property) {
        case Property::ActivePage: {
            EXPECT_EQ(S_OK, dialog.put_ActivePage(static_cast<ColorDialogPage>(c.value)));
            ColorDialogPage page = ColorDialogPageHSBBrightness;
            EXPECT_EQ(S_OK, dialog.get_ActivePage(&page));
            back = static_cast<LONG>(page);
            break;
        }
        case Property::PaletteIndex:
            EXPECT_EQ(S_OK, dialog.put_PaletteIndex(c.value));
            EXPECT_EQ(S_OK, dialog.get_PaletteIndex(&back));
            break;
        case Property::PaletteColorIndex:
            EXPECT_EQ(S_OK, dialog.put_PaletteColorIndex(c.value));
            EXPECT_EQ(S_OK, dialog.get_PaletteColorIndex(&back));
            break;
        }
        EXPECT_EQ(c.value, back);
    }
}

TEST_F(ColorDialogTest, TitleLengthLimitIs260Characters) {
    const std::wstring exact(260, L'x');
    BSTR text = ::SysAllocStringLen(exact.c_str(), 260);
    EXPECT_EQ(S_OK, dialog.put_Title(text));
    ::SysFreeString(text);
    EXPECT_EQ(exact, Title());

    const std::wstring tooLong(261, L'y');
    text = ::SysAllocStringLen(tooLong.c_str(), 261);
    EXPECT_EQ(HRESULT(-1518), dialog.put_Title(text));
    ::SysFreeString(text);
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
    OLE_HANDLE back = 0;
    EXPECT_EQ(S_OK, dialog.get_OwnerWindow(&back));
    EXPECT_EQ(handle, back);

    EXPECT_EQ(S_OK, dialog.put_OwnerWindow(0));
    EXPECT_EQ(S_OK, dialog.get_OwnerWindow(&back));
    EXPECT_EQ(0u, back);
}

TEST_F(ColorDialogTest, ApplyButtonVisibleIsSignExtended) {
    const struct {
        VARIANT_BOOL put;
        VARIANT_BOOL get;
    } cases[] = {{VARIANT_FALSE, VARIANT_FALSE}, {VARIANT_TRUE, VARIANT_TRUE}, {1, VARIANT_TRUE}};
    for (const auto& c : cases) {
        EXPECT_EQ(S_OK, dialog.put_ApplyButtonVisible(c.put));
        VARIANT_BOOL back = 7;
        EXPECT_EQ(S_OK, dialog.get_ApplyButtonVisible(&back));
        EXPECT_EQ(c.get, back);
    }
}

TEST_F(ColorDialogTest, ApplyFiresEverySinkInSlotOrder) {
    RecordingSink first, second;
    second.answer = E_FAIL; // a failing sink does not stop the ones after it
    RecordingSink third;
    const DWORD c1 = Connect(first);
    const DWORD c2 = Connect(second);
    const DWORD c3 = Connect(third);
    ASSERT_TRUE(c1 && c2 && c3);

    PressApply();
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

// The handler runs inside the firing and already reads the applied colour.
TEST_F(ColorDialogTest, ApplyHandlerReadsTheAppliedColour) {
    struct Context {
        CColorDialog* dialog;
        LONG seen;
    } context{&dialog, 0};
    RecordingSink sink;
    sink.context = &context;
    sink.during = [](RecordingSink&, void* raw) {
        auto* c = static_cast<Context*>(raw);
        EXPECT_EQ(S_OK, c->dialog->get_ColorArgb(&c->seen));
    };
    const DWORD cookie = Connect(sink);
    CPickerWindow* picker = dialog.PickerWindow();
    picker->PrepareForShow(&dialog, 0xFF102030, 0, 0, 0);
    picker->SetCurrentColor(0x00405060, true);
    picker->OnApply();
    EXPECT_EQ(LONG(0xFF405060), context.seen);
    EXPECT_TRUE(Disconnect(cookie));
}

} // namespace
} // namespace orrelux
