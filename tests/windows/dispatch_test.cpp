// ColorDialog as an automation client sees it: the registered server made by CoCreateInstance,
// late-bound calls through GetIDsOfNames and Invoke, and the error information of failures.
#include <gtest/gtest.h>

#include <string>

#include "dialog_driver.h"
#include "test_support.h"

namespace orrelux {
namespace {

using testing::CreateRegisteredObject;

class DispatchTest : public ::testing::Test {
protected:
    void SetUp() override {
        testing::ClearErrorInfo();
        ASSERT_TRUE(dispatch) << "the server is registered by the test fixture";
    }

    DISPID IdOf(const wchar_t* name) {
        DISPID id = DISPID_UNKNOWN;
        LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
        EXPECT_EQ(S_OK, dispatch->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id));
        return id;
    }

    HRESULT Get(const wchar_t* name, VARIANT& result) {
        DISPPARAMS none = {nullptr, nullptr, 0, 0};
        ::VariantInit(&result);
        return dispatch->Invoke(IdOf(name), IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET,
                                &none, &result, &exception, nullptr);
    }

    HRESULT Put(const wchar_t* name, VARIANT value) {
        DISPID named = DISPID_PROPERTYPUT;
        DISPPARAMS parameters = {&value, &named, 1, 1};
        ClearException();
        return dispatch->Invoke(IdOf(name), IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT,
                                &parameters, nullptr, &exception, nullptr);
    }

    void ClearException() {
        ::SysFreeString(exception.bstrSource);
        ::SysFreeString(exception.bstrDescription);
        ::SysFreeString(exception.bstrHelpFile);
        exception = EXCEPINFO{};
    }
    void TearDown() override { ClearException(); }

    ComPtr<IDispatch> dispatch = CreateRegisteredObject<IDispatch>(CLSID_ColorDialog);
    EXCEPINFO exception = {};
};

VARIANT I4(LONG value) {
    VARIANT v;
    V_VT(&v) = VT_I4;
    V_I4(&v) = value;
    return v;
}

// Names are looked up without regard to case; the identifiers are the type library's.
TEST_F(DispatchTest, NamesMapToTheirDispatchIdentifiers) {
    EXPECT_EQ(1, IdOf(L"Show"));
    EXPECT_EQ(3, IdOf(L"colorargb"));
    EXPECT_EQ(11, IdOf(L"Visible"));
    LPOLESTR unknown[] = {const_cast<LPOLESTR>(L"Colour")};
    DISPID id = 0;
    EXPECT_EQ(DISP_E_UNKNOWNNAME,
              dispatch->GetIDsOfNames(IID_NULL, unknown, 1, LOCALE_USER_DEFAULT, &id));
    EXPECT_EQ(DISP_E_UNKNOWNINTERFACE,
              dispatch->GetIDsOfNames(IID_IColorDialog, unknown, 1, LOCALE_USER_DEFAULT, &id));
}

TEST_F(DispatchTest, EveryPropertyReadsAndWritesThroughInvoke) {
    UniqueBstr title(L"Choose");
    VARIANT text;
    V_VT(&text) = VT_BSTR;
    V_BSTR(&text) = title.Get();
    VARIANT no;
    V_VT(&no) = VT_BOOL;
    V_BOOL(&no) = VARIANT_FALSE;

    struct Case {
        const wchar_t* name;
        VARIANT put;
        VARTYPE type;
        LONG value; // as a 32-bit number (VT_BOOL: -1 or 0)
    };
    const Case cases[] = {
        {L"ColorArgb", I4(0x22334455), VT_I4, LONG(0xFF334455)},
        {L"ColorColorref", I4(0x000000FF), VT_UI4, 0x000000FF},
        {L"ActivePage", I4(5), VT_I4, 5},
        {L"PaletteColorIndex", I4(42), VT_I4, 42},
        {L"PaletteIndex", I4(3), VT_I4, 3},
        {L"ApplyButtonVisible", no, VT_BOOL, 0},
        {L"OwnerWindow", I4(0), VT_EMPTY, 0}, // an OLE_HANDLE: the loader picks the integer
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(std::wstring(c.name)));
        ASSERT_EQ(S_OK, Put(c.name, c.put));
        VARIANT back;
        ASSERT_EQ(S_OK, Get(c.name, back));
        if (c.type != VT_EMPTY) {
            EXPECT_EQ(c.type, V_VT(&back));
        }
        EXPECT_EQ(c.value, c.type == VT_BOOL ? LONG(V_BOOL(&back)) : V_I4(&back));
    }
    ASSERT_EQ(S_OK, Put(L"Title", text));
    VARIANT back;
    ASSERT_EQ(S_OK, Get(L"Title", back));
    ASSERT_EQ(VT_BSTR, V_VT(&back));
    EXPECT_EQ(L"Choose", testing::TakeBstr(V_BSTR(&back)));
    for (const wchar_t* readOnly : {L"Hwnd", L"Visible"}) {
        ASSERT_EQ(S_OK, Get(readOnly, back));
        EXPECT_EQ(0, V_I4(&back));
        EXPECT_EQ(DISP_E_MEMBERNOTFOUND, Put(readOnly, I4(1)));
    }
    // ColorColorref and ColorArgb are two views of one colour.
    ASSERT_EQ(S_OK, Get(L"ColorArgb", back));
    EXPECT_EQ(LONG(0xFFFF0000), V_I4(&back));
}

// Show through Invoke runs the dialog; the user's OK comes back as VARIANT_TRUE, and Hwnd reads
// the open dialog's window from inside the modal loop.
TEST_F(DispatchTest, ShowAnswersTheUsersChoice) {
    DISPPARAMS none = {nullptr, nullptr, 0, 0};
    auto dialogWindow = [&]() -> HWND {
        VARIANT handle;
        ::VariantInit(&handle);
        if (FAILED(dispatch->Invoke(IdOf(L"Hwnd"), IID_NULL, LOCALE_USER_DEFAULT,
                                    DISPATCH_PROPERTYGET, &none, &handle, nullptr, nullptr)) ||
            FAILED(::VariantChangeType(&handle, &handle, 0, VT_UI4)))
            return nullptr;
        return reinterpret_cast<HWND>(static_cast<UINT_PTR>(V_UI4(&handle)));
    };
    for (const int button : {IDOK, IDCANCEL}) {
        testing::DialogDriver driver(dialogWindow);
        driver.Then([&](HWND d) { testing::Click(d, button); });
        VARIANT accepted;
        ::VariantInit(&accepted);
        driver.Start();
        ASSERT_EQ(S_OK, dispatch->Invoke(IdOf(L"Show"), IID_NULL, LOCALE_USER_DEFAULT,
                                         DISPATCH_METHOD, &none, &accepted, &exception, nullptr));
        driver.Stop();
        EXPECT_TRUE(driver.Finished());
        EXPECT_EQ(VT_BOOL, V_VT(&accepted));
        EXPECT_EQ(button == IDOK ? VARIANT_TRUE : VARIANT_FALSE, V_BOOL(&accepted));
    }
    EXPECT_EQ(nullptr, dialogWindow()) << "Hwnd reads 0 once the dialog is closed";
}

TEST_F(DispatchTest, FailuresArriveWithTheirCodesAndTexts) {
    UniqueBstr tooLong(std::wstring(261, L't').c_str());
    VARIANT longTitle;
    V_VT(&longTitle) = VT_BSTR;
    V_BSTR(&longTitle) = tooLong.Get();
    const struct {
        const wchar_t* name;
        VARIANT value;
        HRESULT code;
        const wchar_t* text;
    } cases[] = {
        {L"Title", longTitle, HRESULT(0xFFFFFA12),
         L"Specified string is too long. The maximum length for this string is 260"},
        {L"OwnerWindow", I4(0x7FFF0010), E_INVALIDARG,
         L"Specified handle does not identify an existing window"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(std::wstring(c.name)));
        EXPECT_EQ(DISP_E_EXCEPTION, Put(c.name, c.value));
        EXPECT_EQ(c.code, exception.scode);
        EXPECT_EQ(std::wstring(L"OrreluxDialogs.ColorDialog.2.0"),
                  exception.bstrSource ? exception.bstrSource : L"");
        EXPECT_EQ(std::wstring(c.text),
                  exception.bstrDescription ? exception.bstrDescription : L"");
    }
    VARIANT back;
    ASSERT_EQ(S_OK, Get(L"Title", back));
    EXPECT_EQ(L"Colors", testing::TakeBstr(V_BSTR(&back)));

    // Through the dual interface's vtable the same failure leaves the error object.
    ComPtr<IColorDialog> dialog;
    ASSERT_EQ(S_OK, dispatch.As(dialog));
    EXPECT_EQ(E_INVALIDARG, dialog->put_OwnerWindow(0x7FFF0010));
    const auto report = testing::TakeErrorInfo();
    ASSERT_TRUE(report.present);
    EXPECT_EQ(L"OrreluxDialogs.ColorDialog.2.0", report.source);
    EXPECT_TRUE(IsEqualGUID(IID_IColorDialog, report.guid));
}

TEST_F(DispatchTest, TypeInfoOfTheObjectAndOfItsClass) {
    UINT count = 0;
    ASSERT_EQ(S_OK, dispatch->GetTypeInfoCount(&count));
    EXPECT_EQ(1u, count);
    ComPtr<ITypeInfo> info;
    ASSERT_EQ(S_OK, dispatch->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.Put()));
    UniqueBstr name;
    info->GetDocumentation(MEMBERID_NIL, name.Put(), nullptr, nullptr, nullptr);
    EXPECT_EQ(std::wstring(L"IColorDialog"), name.Get());

    ComPtr<IProvideClassInfo> classInfo;
    ASSERT_EQ(S_OK, dispatch.As(classInfo));
    ComPtr<ITypeInfo> coclass;
    ASSERT_EQ(S_OK, classInfo->GetClassInfo(coclass.Put()));
    TYPEATTR* attr = nullptr;
    ASSERT_EQ(S_OK, coclass->GetTypeAttr(&attr));
    EXPECT_EQ(TKIND_COCLASS, attr->typekind);
    EXPECT_TRUE(IsEqualGUID(CLSID_ColorDialog, attr->guid));
    coclass->ReleaseTypeAttr(attr);
}

// Registry-driven answers of IOleObject.
TEST_F(DispatchTest, MiscStatusAndUserTypeComeFromTheRegistry) {
    ComPtr<IOleObject> ole;
    ASSERT_EQ(S_OK, dispatch.As(ole));
    DWORD status = 0;
    EXPECT_EQ(S_OK, ole->GetMiscStatus(DVASPECT_CONTENT, &status));
    EXPECT_EQ(DWORD(132497), status);
    LPOLESTR type = nullptr;
    ASSERT_EQ(S_OK, ole->GetUserType(USERCLASSTYPE_FULL, &type));
    EXPECT_EQ(std::wstring(L"Brevanta Orrelux 2.0 Color Dialog"), type);
    ::CoTaskMemFree(type);
    ComPtr<IEnumOLEVERB> verbs;
    EXPECT_TRUE(FAILED(ole->EnumVerbs(verbs.Put()))) << "the scripts register no verbs";
    EXPECT_FALSE(verbs);
}

} // namespace
} // namespace orrelux
