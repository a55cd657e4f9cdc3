// The type library embedded in Orrelux20Dialogs.dll as TYPELIB 1, walked through ITypeLib and
// ITypeInfo: order, kinds, names, GUIDs, flags, dispids, doc strings, constants, the members of
// the enumeration and the stdole2 aliases.
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "test_support.h"

namespace orrelux {
namespace {

std::wstring Name(ITypeInfo* info, MEMBERID member = MEMBERID_NIL) {
    UniqueBstr name;
    info->GetDocumentation(member, name.Put(), nullptr, nullptr, nullptr);
    return name.Get() ? name.Get() : L"";
}

std::wstring Doc(ITypeInfo* info, MEMBERID member = MEMBERID_NIL) {
    UniqueBstr doc;
    info->GetDocumentation(member, nullptr, doc.Put(), nullptr, nullptr);
    return doc.Get() ? doc.Get() : L"";
}

MEMBERID IdOf(ITypeInfo* info, const wchar_t* name) {
    MEMBERID id = MEMBERID_NIL;
    LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
    EXPECT_EQ(S_OK, info->GetIDsOfNames(names, 1, &id)) << name;
    return id;
}

struct Attr {
    explicit Attr(ITypeInfo* info) : info(info) { info->GetTypeAttr(&attr); }
    ~Attr() { info->ReleaseTypeAttr(attr); }
    TYPEATTR* operator->() const { return attr; }
    ITypeInfo* info;
    TYPEATTR* attr = nullptr;
};

// A value type: its VT number, or library.name of a referenced type.
std::wstring TypeName(ITypeInfo* info, const TYPEDESC& type) {
    if (type.vt == VT_PTR)
        return TypeName(info, *type.lptdesc);
    if (type.vt != VT_USERDEFINED)
        return std::to_wstring(type.vt);
    ComPtr<ITypeInfo> referenced;
    info->GetRefTypeInfo(type.hreftype, referenced.Put());
    ComPtr<ITypeLib> library;
    UINT index = 0;
    referenced->GetContainingTypeLib(library.Put(), &index);
    UniqueBstr libraryName;
    library->GetDocumentation(-1, libraryName.Put(), nullptr, nullptr, nullptr);
    return std::wstring(libraryName.Get()) + L"." + Name(referenced.Get());
}

const wchar_t* KindName(INVOKEKIND kind) {
    return kind == INVOKE_FUNC ? L"func" : kind == INVOKE_PROPERTYGET ? L"get" : L"put";
}

// The visible members of a dispatch type info as "id kind name type": the type is the get's
// result, the put's only argument, or the method's result.
std::vector<std::wstring> Members(ITypeInfo* info) {
    std::vector<std::wstring> members;
    Attr attr(info);
    for (UINT i = 0; i < attr->cFuncs; ++i) {
        FUNCDESC* f = nullptr;
        info->GetFuncDesc(i, &f);
        if (!(f->wFuncFlags & FUNCFLAG_FRESTRICTED)) {
            const TYPEDESC& value = f->invkind == INVOKE_PROPERTYPUT && f->cParams > 0
                                        ? f->lprgelemdescParam[f->cParams - 1].tdesc
                                        : f->elemdescFunc.tdesc;
            members.push_back(std::to_wstring(f->memid) + L" " + KindName(f->invkind) + L" " +
                              Name(info, f->memid) + L" " + TypeName(info, value));
        }
        info->ReleaseFuncDesc(f);
    }
    return members;
}

// Members in dispid order from 1, separated by ';', each "access type name": access m a method,
// g a get, p a get and a put; the type as Members writes it.
std::vector<std::wstring> Expand(const std::wstring& table) {
    std::vector<std::wstring> members;
    std::wistringstream rows(table);
    std::wstring access, type, name;
    for (int id = 1; rows >> access >> type >> name; ++id) {
        if (name.back() == L';')
            name.pop_back();
        const std::wstring nameAndType = L" " + name + L" " + type;
        members.push_back(std::to_wstring(id) + (access == L"m" ? L" func" : L" get") +
                          nameAndType);
        if (access == L"p")
            members.push_back(std::to_wstring(id) + L" put" + nameAndType);
    }
    return members;
}

// The function of a dispatch type info with this member id and kind; the caller releases it.
FUNCDESC* FindFunction(ITypeInfo* info, MEMBERID id, INVOKEKIND kind) {
    Attr attr(info);
    for (UINT i = 0; i < attr->cFuncs; ++i) {
        FUNCDESC* f = nullptr;
        info->GetFuncDesc(i, &f);
        if (f->memid == id && f->invkind == kind)
            return f;
        info->ReleaseFuncDesc(f);
    }
    return nullptr;
}

class TypeLibraryTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(S_OK,
                  ::LoadTypeLibEx(testing::ServerDllPath().c_str(), REGKIND_NONE, library.Put()));
    }

    ComPtr<ITypeInfo> Type(UINT index) {
        ComPtr<ITypeInfo> info;
        EXPECT_EQ(S_OK, library->GetTypeInfo(index, info.Put()));
        return info;
    }

    ComPtr<ITypeLib> library;
};

TEST_F(TypeLibraryTest, LibraryAttributes) {
    TLIBATTR* attr = nullptr;
    ASSERT_EQ(S_OK, library->GetLibAttr(&attr));
    EXPECT_TRUE(IsEqualGUID(LIBID_OrreluxDialogs, attr->guid));
    EXPECT_EQ(2, attr->wMajorVerNum);
    EXPECT_EQ(0, attr->wMinorVerNum);
    EXPECT_EQ(LCID(1033), attr->lcid);
    EXPECT_EQ(sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32, attr->syskind);
    library->ReleaseTLibAttr(attr);
    UniqueBstr name, doc;
    library->GetDocumentation(-1, name.Put(), doc.Put(), nullptr, nullptr);
    EXPECT_EQ(std::wstring(L"OrreluxDialogs"), name.Get());
    EXPECT_EQ(std::wstring(L"Brevanta Orrelux 2.0 Dialogs"), doc.Get());
}

TEST_F(TypeLibraryTest, TypeInfosInTheirOrder) {
    constexpr WORD kDual = TYPEFLAG_FDUAL | TYPEFLAG_FDISPATCHABLE;
    const struct {
        TYPEKIND kind;
        const wchar_t* name;
        const GUID* guid;
        WORD flags;
        const wchar_t* doc;
    } expected[] = {
        {TKIND_MODULE, L"OrreluxDialogsConstants", nullptr, 0,
         L"Module, containing various constants for Orrelux Dialogs."},
        {TKIND_DISPATCH, L"_IFileDialogEvents", &DIID__IFileDialogEvents, TYPEFLAG_FDISPATCHABLE,
         L"_IFileDialogEvents Interface"},
        {TKIND_COCLASS, L"FileDialog", &CLSID_FileDialog, TYPEFLAG_FCANCREATE,
         L"Brevanta Orrelux 2.0 File Dialog"},
        {TKIND_DISPATCH, L"IFileDialog", &IID_IFileDialog, kDual, L"IFileDialog Interface"},
        {TKIND_DISPATCH, L"_IColorDialogEvents", &DIID__IColorDialogEvents, TYPEFLAG_FDISPATCHABLE,
         L"_IColorDialogEvents Interface"},
        {TKIND_COCLASS, L"ColorDialog", &CLSID_ColorDialog, TYPEFLAG_FCANCREATE,
         L"Brevanta Orrelux 2.0 Color Dialog"},
        {TKIND_DISPATCH, L"IColorDialog", &IID_IColorDialog, kDual, L"IColorDialog Interface"},
        {TKIND_ENUM, L"ColorDialogPage", &GUID_NULL, 0,
         L"Represents constants correspond to the dialog pages of Brevanta Color Dialog."},
    };
    // {D6511204-D8EB-4AD6-B5B3-C11858E5C2F7}
    const GUID moduleGuid = {
        0xD6511204, 0xD8EB, 0x4AD6, {0xB5, 0xB3, 0xC1, 0x18, 0x58, 0xE5, 0xC2, 0xF7}};
    ASSERT_EQ(std::size(expected), library->GetTypeInfoCount());
    for (UINT i = 0; i < std::size(expected); ++i) {
        SCOPED_TRACE(i);
        ComPtr<ITypeInfo> info = Type(i);
        Attr attr(info.Get());
        EXPECT_EQ(expected[i].kind, attr->typekind);
        EXPECT_EQ(expected[i].name, Name(info.Get()));
        EXPECT_TRUE(IsEqualGUID(expected[i].guid ? *expected[i].guid : moduleGuid, attr->guid));
        EXPECT_EQ(expected[i].flags, attr->wTypeFlags);
        EXPECT_EQ(expected[i].doc, Doc(info.Get()));
    }
}

TEST_F(TypeLibraryTest, DualInterfacesHaveAutomationVtables) {
    for (UINT index : {3u, 6u}) {
        ComPtr<ITypeInfo> info = Type(index);
        HREFTYPE vtable = 0;
        ASSERT_EQ(S_OK, info->GetRefTypeOfImplType(-1, &vtable));
        ComPtr<ITypeInfo> half;
        ASSERT_EQ(S_OK, info->GetRefTypeInfo(vtable, half.Put()));
        Attr attr(half.Get());
        EXPECT_EQ(TKIND_INTERFACE, attr->typekind);
        EXPECT_EQ(TYPEFLAG_FDUAL | TYPEFLAG_FOLEAUTOMATION | TYPEFLAG_FDISPATCHABLE,
                  attr->wTypeFlags);
        // IUnknown and IDispatch take 7 slots before the class's own members.
        EXPECT_EQ(sizeof(void*) * (7 + attr->cFuncs), attr->cbSizeVft);
        HREFTYPE base = 0;
        ASSERT_EQ(S_OK, half->GetRefTypeOfImplType(0, &base));
        ComPtr<ITypeInfo> dispatch;
        ASSERT_EQ(S_OK, half->GetRefTypeInfo(base, dispatch.Put()));
        EXPECT_EQ(L"IDispatch", Name(dispatch.Get()));
    }
}

TEST_F(TypeLibraryTest, CoclassesNameTheirDefaultInterfaceAndSource) {
    const struct {
        UINT index;
        const wchar_t* names[2];
    } classes[] = {{2, {L"IFileDialog", L"_IFileDialogEvents"}},
                   {5, {L"IColorDialog", L"_IColorDialogEvents"}}};
    const INT flags[] = {IMPLTYPEFLAG_FDEFAULT, IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE};
    for (const auto& c : classes) {
        ComPtr<ITypeInfo> info = Type(c.index);
        ASSERT_EQ(2, Attr(info.Get())->cImplTypes);
        for (UINT i = 0; i < 2; ++i) {
            HREFTYPE reference = 0;
            INT implFlags = 0;
            info->GetRefTypeOfImplType(i, &reference);
            info->GetImplTypeFlags(i, &implFlags);
            ComPtr<ITypeInfo> implemented;
            info->GetRefTypeInfo(reference, implemented.Put());
            EXPECT_EQ(c.names[i], Name(implemented.Get()));
            EXPECT_EQ(flags[i], implFlags);
        }
    }
}

TEST_F(TypeLibraryTest, ColorDialogMembers) {
    ComPtr<ITypeInfo> info = Type(6);
    const wchar_t* const expected =
        L"m 11 Show; p stdole.OLE_COLOR ColorColorref; p 3 ColorArgb; "
        L"p OrreluxDialogs.ColorDialogPage ActivePage; p 3 PaletteColorIndex; p 3 PaletteIndex; "
        L"p 8 Title; p 11 ApplyButtonVisible; g stdole.OLE_HANDLE Hwnd; "
        L"p stdole.OLE_HANDLE OwnerWindow; g 11 Visible";
    EXPECT_EQ(Expand(expected), Members(info.Get()));
    const struct {
        const wchar_t* name;
        const wchar_t* doc;
    } docs[] = {
        {L"Show", L"Displays the Color dialog."},
        {L"ColorColorref",
         L"Retrieves the selected color as COLORREF value (common VB color format)."},
        {L"ColorArgb", L"Retrieves selected color in ARGB format (common Orrelux format)."},
        {L"ActivePage", L"Retrieves current active page of the color dialog."},
        {L"PaletteColorIndex",
         L"Retrieves index of the selected color in current palette (at palette page)."},
        {L"PaletteIndex", L"Retrieves index of the currently selected palette (at palette page)."},
        {L"Title", L"Specifies title of the dialog."},
        {L"ApplyButtonVisible", L"Specifies whether Apply button is visible."},
        {L"Hwnd", L"Specifies dialog window handle."},
        {L"OwnerWindow", L"Specifies owner window handle."},
        {L"Visible", L"Specifies whether dialog is visible."},
    };
    for (const auto& d : docs)
        EXPECT_EQ(d.doc, Doc(info.Get(), IdOf(info.Get(), d.name)));
}

TEST_F(TypeLibraryTest, FileDialogMembers) {
    ComPtr<ITypeInfo> info = Type(3);
    const std::vector<std::wstring> members = Members(info.Get());
    ASSERT_EQ(102u, members.size());
    // FileNames and FileTitles are gets with an Index argument.
    const wchar_t* const expected =
        L"m 11 ShowOpen; m 11 ShowSave; p 8 CancelButtonCaption; p 8 DateFormat; "
        L"p 8 DefaultExtension; p 8 Title; p 8 Filter; p 8 HelpButtonCaption; "
        L"p 8 LookInLabelCaption; p 8 ColorDepthLabelCaption; p 8 ShowPreviewCheckBoxCaption; "
        L"p 8 DateLabelCaption; p 8 SizeLabelCaption; p 8 TypeLabelCaption; "
        L"p 8 ReadOnlyCheckBoxCaption; g 8 FileName; p 8 OpenButtonCaption; p 8 SaveButtonCaption; "
        L"p 8 FileNameLabelCaption; p 8 FileTypeLabelCaption; p 11 EnablePreview; p 8 InitialDir; "
        L"p stdole.OLE_HANDLE OwnerWindow; p 3 FilterIndex; g 8 FileTitle; g 8 FilePath; "
        L"g stdole.OLE_HANDLE Hwnd; p 11 EnablePreviewPane; p 11 AllowMultiSelect; "
        L"p 11 CreatePrompt; p 11 DontAddToRecent; p 11 EnableSizing; g 11 ExtensionDifferent; "
        L"p 11 FileMustExist; p 11 PathMustExist; p 11 ForceShowHidden; p 11 HideReadOnlyCheckbox; "
        L"p 11 NoDereferencedLinks; p 11 NoNetworkButton; g 11 NoReadOnlyReturn; "
        L"p 11 OverwritePrompt; p 11 ReadOnlyChecked; p 11 ShowHelp; p 11 NoValidate; "
        L"g 3 FileCount; g 8 FileNames; g 11 Visible; g 8 FileTitles; p 11 IsLzwEnabled; "
        L"p 8 InitialFileName; p 8 DimensionsLabelCaption; p 8 ColorSpaceLabelCaption; "
        L"p 8 TransparencyLabelCaption; p 8 YesLabelCaption; p 8 NoLabelCaption; "
        L"p 8 KilobytesLabelCaption; p 8 BytesLabelCaption";
    EXPECT_EQ(Expand(expected), members);
    for (MEMBERID id = 1; id <= 57; ++id)
        EXPECT_FALSE(Doc(info.Get(), id).empty()) << id;

    // FileNames and FileTitles take an optional Index that defaults to 0.
    for (const wchar_t* name : {L"FileNames", L"FileTitles"}) {
        FUNCDESC* f = FindFunction(info.Get(), IdOf(info.Get(), name), INVOKE_PROPERTYGET);
        ASSERT_NE(nullptr, f);
        EXPECT_EQ(1, f->cParams);
        const PARAMDESC& index0 = f->lprgelemdescParam[0].paramdesc;
        EXPECT_TRUE(index0.wParamFlags & PARAMFLAG_FOPT);
        EXPECT_TRUE(index0.wParamFlags & PARAMFLAG_FHASDEFAULT);
        EXPECT_EQ(0, V_I4(&index0.pparamdescex->varDefaultValue));
        info->ReleaseFuncDesc(f);
    }

    const struct {
        const wchar_t* name;
        const wchar_t* doc;
    } docs[] = {
        {L"ShowOpen", L"Displays the Open File dialog."},
        {L"ReadOnlyCheckBoxCaption",
         L"Specifies caption for Read Only check box. Default value is \"Open as &read-only:\"."},
        {L"DontAddToRecent",
         L"Specifies whether to prevent system from adding a link to selected file the file "
         L"system directory that contains the user's most recently used documents. Default "
         L"value is False."},
        {L"ShowHelp", L"Spefifies whether Help button is visible"},
        {L"BytesLabelCaption", L"Specifies caption for Bytes label. Default value is \"b\"."},
    };
    for (const auto& d : docs)
        EXPECT_EQ(d.doc, Doc(info.Get(), IdOf(info.Get(), d.name)));
}

// A type info answers only the first doc string of a member id, so the put of DontAddToRecent,
// whose doc string differs from its get, is looked up in the library's bytes.
TEST_F(TypeLibraryTest, PutOfDontAddToRecentKeepsItsOwnDocString) {
    const testing::UniqueModule server(
        ::LoadLibraryExW(testing::ServerDllPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    ASSERT_TRUE(server);
    HRSRC resource = ::FindResourceW(server.Get(), MAKEINTRESOURCEW(1), L"TYPELIB");
    ASSERT_NE(nullptr, resource);
    const auto* bytes =
        static_cast<const char*>(::LockResource(::LoadResource(server.Get(), resource)));
    const std::string content(bytes, ::SizeofResource(server.Get(), resource));
    EXPECT_NE(std::string::npos,
              content.find("most recently used documents. Works in Windows 2000 and later. "
                           "Default value is False."));
}

TEST_F(TypeLibraryTest, EventInterfaces) {
    const struct {
        UINT index;
        MEMBERID id;
        const wchar_t* name;
        const wchar_t* doc;
        std::vector<std::wstring> parameters;
    } expected[] = {
        {1, 1, L"PreviewClick", L"Fires when preview is clicked.", {}},
        {1, 2, L"PreviewDblClick", L"Fires when preview is double-clicked.", {}},
        {4, 1, L"Apply", L"Fires when the user clicks the Apply button on dialog.", {}},
        {4, 2, L"ColorSelect", L"Fires when the new color is selected.", {L"color"}},
    };
    for (const auto& e : expected) {
        SCOPED_TRACE(::testing::PrintToString(std::wstring(e.name)));
        ComPtr<ITypeInfo> info = Type(e.index);
        const std::vector<std::wstring> members = Members(info.Get());
        ASSERT_EQ(2u, members.size());
        const std::wstring& member = members[e.id - 1];
        EXPECT_EQ(std::to_wstring(e.id) + L" func " + e.name, member.substr(0, member.rfind(L' ')));
        EXPECT_EQ(e.doc, Doc(info.Get(), e.id));
        BSTR names[4] = {};
        UINT count = 0;
        info->GetNames(e.id, names, 4, &count);
        ASSERT_EQ(1 + e.parameters.size(), count);
        for (UINT i = 1; i < count; ++i)
            EXPECT_EQ(e.parameters[i - 1], testing::TakeBstr(names[i]));
        ::SysFreeString(names[0]);
    }
}

TEST_F(TypeLibraryTest, ConstantsAndEnumerationMembers) {
    const struct {
        UINT index;
        const wchar_t* name;
        LONG value;
        const wchar_t* doc;
    } expected[] = {
        {0, L"OrreluxDialogsErrorAlreadyOpened", -1520,
         L"Occures when you try to open dialog but it is already opened."},
        {0, L"OrreluxDialogsErrorStringTooLong", -1518,
         L"Occures when you pass too long string to the dialog."},
        {7, L"ColorDialogPageHSBBrightness", 0, L"HSB brightness page of Brevanta Color Dialog."},
        {7, L"ColorDialogPageHSBWheel", 1, L"HSB wheel page of Brevanta Color Dialog."},
        {7, L"ColorDialogPageHSBHue", 2, L"HSB hue page of Brevanta Color Dialog."},
        {7, L"ColorDialogPageRGB3DAdditive", 3, L"RGB 3D additive page of Brevanta Color Dialog."},
        {7, L"ColorDialogPageCMY3DSubtractive", 4,
         L"CMY 3D subtractive page of Brevanta Color Dialog."},
        {7, L"ColorDialogPagePalettes", 5, L"Fixed palettes page of Brevanta Color Dialog."},
    };
    std::map<UINT, UINT> seen;
    for (const auto& e : expected) {
        SCOPED_TRACE(::testing::PrintToString(std::wstring(e.name)));
        ComPtr<ITypeInfo> info = Type(e.index);
        VARDESC* v = nullptr;
        ASSERT_EQ(S_OK, info->GetVarDesc(seen[e.index]++, &v));
        EXPECT_EQ(VAR_CONST, v->varkind);
        EXPECT_EQ(VT_I4, V_VT(v->lpvarValue));
        EXPECT_EQ(e.value, V_I4(v->lpvarValue));
        EXPECT_EQ(e.name, Name(info.Get(), v->memid));
        EXPECT_EQ(e.doc, Doc(info.Get(), v->memid));
        info->ReleaseVarDesc(v);
    }
    EXPECT_EQ(2, Attr(Type(0).Get())->cVars);
    EXPECT_EQ(6, Attr(Type(7).Get())->cVars);
}

// OLE_COLOR {66504301-...} and OLE_HANDLE {66504313-...} are the aliases of stdole2
// {00020430-0000-0000-C000-000000000046}.
TEST_F(TypeLibraryTest, OleColorAndOleHandleAreStdoleAliases) {
    const struct {
        const wchar_t* member;
        unsigned long alias;
    } expected[] = {{L"ColorColorref", 0x66504301}, {L"Hwnd", 0x66504313}};
    const GUID stdole = {0x00020430, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    ComPtr<ITypeInfo> info = Type(6);
    for (const auto& e : expected) {
        FUNCDESC* f = FindFunction(info.Get(), IdOf(info.Get(), e.member), INVOKE_PROPERTYGET);
        ASSERT_NE(nullptr, f);
        ASSERT_EQ(VT_USERDEFINED, f->elemdescFunc.tdesc.vt);
        ComPtr<ITypeInfo> alias;
        ASSERT_EQ(S_OK, info->GetRefTypeInfo(f->elemdescFunc.tdesc.hreftype, alias.Put()));
        info->ReleaseFuncDesc(f);
        const GUID guid = {
            e.alias, 0xBE0F, 0x101A, {0x8B, 0xBB, 0x00, 0xAA, 0x00, 0x30, 0x0C, 0xAB}};
        EXPECT_EQ(TKIND_ALIAS, Attr(alias.Get())->typekind);
        EXPECT_TRUE(IsEqualGUID(guid, Attr(alias.Get())->guid));
        ComPtr<ITypeLib> owner;
        UINT position = 0;
        alias->GetContainingTypeLib(owner.Put(), &position);
        TLIBATTR* libAttr = nullptr;
        owner->GetLibAttr(&libAttr);
        EXPECT_TRUE(IsEqualGUID(stdole, libAttr->guid));
        owner->ReleaseTLibAttr(libAttr);
    }
}

} // namespace
} // namespace orrelux
