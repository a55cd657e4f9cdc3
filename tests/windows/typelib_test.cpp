// The type library embedded in Orrelux20Dialogs.dll as TYPELIB 1, walked through ITypeLib and
// ITypeInfo: order, kinds, names, GUIDs, flags, dispids, doc strings, constants, the members of
// the enumeration and the stdole2 aliases.
#include <gtest/gtest.h>

#include <map>
#include <set>
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

struct Attr {
    explicit Attr(ITypeInfo* info) : info(info) { info->GetTypeAttr(&attr); }
    ~Attr() { info->ReleaseTypeAttr(attr); }
    TYPEATTR* operator->() const { return attr; }
    ITypeInfo* info;
    TYPEATTR* attr = nullptr;
};

// One member as a client sees it through the dispatch type info.
struct Member {
    MEMBERID id;
    INVOKEKIND kind;
    std::wstring name;
    std::wstring type; // of the value: VT number, or the name of a referenced type
};

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

// The visible members of a dispatch type info: the value type is the get's result, or the
// put's only argument, or the method's result.
std::vector<Member> Members(ITypeInfo* info) {
    std::vector<Member> members;
    Attr attr(info);
    for (UINT i = 0; i < attr->cFuncs; ++i) {
        FUNCDESC* f = nullptr;
        info->GetFuncDesc(i, &f);
        if (!(f->wFuncFlags & FUNCFLAG_FRESTRICTED)) {
            const TYPEDESC& value = f->invkind == INVOKE_PROPERTYPUT && f->cParams > 0
                                        ? f->lprgelemdescParam[f->cParams - 1].tdesc
                                        : f->elemdescFunc.tdesc;
            members.push_back({f->memid, f->invkind, Name(info, f->memid), TypeName(info, value)});
        }
        info->ReleaseFuncDesc(f);
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
        const wchar_t* dual;
        const wchar_t* events;
    } classes[] = {{2, L"IFileDialog", L"_IFileDialogEvents"},
                   {5, L"IColorDialog", L"_IColorDialogEvents"}};
    for (const auto& c : classes) {
        ComPtr<ITypeInfo> info = Type(c.index);
        ASSERT_EQ(2, Attr(info.Get())->cImplTypes);
        const struct {
            const wchar_t* name;
            INT flags;
        } expected[] = {{c.dual, IMPLTYPEFLAG_FDEFAULT},
                        {c.events, IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE}};
        for (UINT i = 0; i < 2; ++i) {
            HREFTYPE reference = 0;
            INT flags = 0;
            info->GetRefTypeOfImplType(i, &reference);
            info->GetImplTypeFlags(i, &flags);
            ComPtr<ITypeInfo> implemented;
            info->GetRefTypeInfo(reference, implemented.Put());
            EXPECT_EQ(expected[i].name, Name(implemented.Get()));
            EXPECT_EQ(expected[i].flags, flags);
        }
    }
}

TEST_F(TypeLibraryTest, ColorDialogMembers) {
    const std::wstring kColor = L"stdole.OLE_COLOR", kHandle = L"stdole.OLE_HANDLE",
                       kPage = L"OrreluxDialogs.ColorDialogPage", kLong = L"3", kBool = L"11",
                       kText = L"8";
    const struct {
        MEMBERID id;
        INVOKEKIND kind;
        const wchar_t* name;
        std::wstring type;
        const wchar_t* doc;
    } expected[] = {
        {1, INVOKE_FUNC, L"Show", kBool, L"Displays the Color dialog."},
        {2, INVOKE_PROPERTYGET, L"ColorColorref", kColor,
         L"Retrieves the selected color as COLORREF value (common VB color format)."},
        {2, INVOKE_PROPERTYPUT, L"ColorColorref", kColor, nullptr},
        {3, INVOKE_PROPERTYGET, L"ColorArgb", kLong,
         L"Retrieves selected color in ARGB format (common Orrelux format)."},
        {3, INVOKE_PROPERTYPUT, L"ColorArgb", kLong, nullptr},
        {4, INVOKE_PROPERTYGET, L"ActivePage", kPage,
         L"Retrieves current active page of the color dialog."},
        {4, INVOKE_PROPERTYPUT, L"ActivePage", kPage, nullptr},
        {5, INVOKE_PROPERTYGET, L"PaletteColorIndex", kLong,
         L"Retrieves index of the selected color in current palette (at palette page)."},
        {5, INVOKE_PROPERTYPUT, L"PaletteColorIndex", kLong, nullptr},
        {6, INVOKE_PROPERTYGET, L"PaletteIndex", kLong,
         L"Retrieves index of the currently selected palette (at palette page)."},
        {6, INVOKE_PROPERTYPUT, L"PaletteIndex", kLong, nullptr},
        {7, INVOKE_PROPERTYGET, L"Title", kText, L"Specifies title of the dialog."},
        {7, INVOKE_PROPERTYPUT, L"Title", kText, nullptr},
        {8, INVOKE_PROPERTYGET, L"ApplyButtonVisible", kBool,
         L"Specifies whether Apply button is visible."},
        {8, INVOKE_PROPERTYPUT, L"ApplyButtonVisible", kBool, nullptr},
        {9, INVOKE_PROPERTYGET, L"Hwnd", kHandle, L"Specifies dialog window handle."},
        {10, INVOKE_PROPERTYGET, L"OwnerWindow", kHandle, L"Specifies owner window handle."},
        {10, INVOKE_PROPERTYPUT, L"OwnerWindow", kHandle, nullptr},
        {11, INVOKE_PROPERTYGET, L"Visible", kBool, L"Specifies whether dialog is visible."},
    };
    ComPtr<ITypeInfo> info = Type(6);
    const std::vector<Member> members = Members(info.Get());
    ASSERT_EQ(std::size(expected), members.size());
    for (std::size_t i = 0; i < members.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(expected[i].id, members[i].id);
        EXPECT_EQ(expected[i].kind, members[i].kind);
        EXPECT_EQ(expected[i].name, members[i].name);
        EXPECT_EQ(expected[i].type, members[i].type);
        if (expected[i].doc) {
            EXPECT_EQ(expected[i].doc, Doc(info.Get(), expected[i].id));
        }
    }
}

TEST_F(TypeLibraryTest, FileDialogMembers) {
    // Access: m method, g get, p get and put, i get with an Index argument.
    const struct {
        const wchar_t* name;
        char access;
        const wchar_t* type;
    } expected[] = {
        {L"ShowOpen", 'm', L"11"},
        {L"ShowSave", 'm', L"11"},
        {L"CancelButtonCaption", 'p', L"8"},
        {L"DateFormat", 'p', L"8"},
        {L"DefaultExtension", 'p', L"8"},
        {L"Title", 'p', L"8"},
        {L"Filter", 'p', L"8"},
        {L"HelpButtonCaption", 'p', L"8"},
        {L"LookInLabelCaption", 'p', L"8"},
        {L"ColorDepthLabelCaption", 'p', L"8"},
        {L"ShowPreviewCheckBoxCaption", 'p', L"8"},
        {L"DateLabelCaption", 'p', L"8"},
        {L"SizeLabelCaption", 'p', L"8"},
        {L"TypeLabelCaption", 'p', L"8"},
        {L"ReadOnlyCheckBoxCaption", 'p', L"8"},
        {L"FileName", 'g', L"8"},
        {L"OpenButtonCaption", 'p', L"8"},
        {L"SaveButtonCaption", 'p', L"8"},
        {L"FileNameLabelCaption", 'p', L"8"},
        {L"FileTypeLabelCaption", 'p', L"8"},
        {L"EnablePreview", 'p', L"11"},
        {L"InitialDir", 'p', L"8"},
        {L"OwnerWindow", 'p', L"stdole.OLE_HANDLE"},
        {L"FilterIndex", 'p', L"3"},
        {L"FileTitle", 'g', L"8"},
        {L"FilePath", 'g', L"8"},
        {L"Hwnd", 'g', L"stdole.OLE_HANDLE"},
        {L"EnablePreviewPane", 'p', L"11"},
        {L"AllowMultiSelect", 'p', L"11"},
        {L"CreatePrompt", 'p', L"11"},
        {L"DontAddToRecent", 'p', L"11"},
        {L"EnableSizing", 'p', L"11"},
        {L"ExtensionDifferent", 'g', L"11"},
        {L"FileMustExist", 'p', L"11"},
        {L"PathMustExist", 'p', L"11"},
        {L"ForceShowHidden", 'p', L"11"},
        {L"HideReadOnlyCheckbox", 'p', L"11"},
        {L"NoDereferencedLinks", 'p', L"11"},
        {L"NoNetworkButton", 'p', L"11"},
        {L"NoReadOnlyReturn", 'g', L"11"},
        {L"OverwritePrompt", 'p', L"11"},
        {L"ReadOnlyChecked", 'p', L"11"},
        {L"ShowHelp", 'p', L"11"},
        {L"NoValidate", 'p', L"11"},
        {L"FileCount", 'g', L"3"},
        {L"FileNames", 'i', L"8"},
        {L"Visible", 'g', L"11"},
        {L"FileTitles", 'i', L"8"},
        {L"IsLzwEnabled", 'p', L"11"},
        {L"InitialFileName", 'p', L"8"},
        {L"DimensionsLabelCaption", 'p', L"8"},
        {L"ColorSpaceLabelCaption", 'p', L"8"},
        {L"TransparencyLabelCaption", 'p', L"8"},
        {L"YesLabelCaption", 'p', L"8"},
        {L"NoLabelCaption", 'p', L"8"},
        {L"KilobytesLabelCaption", 'p', L"8"},
        {L"BytesLabelCaption", 'p', L"8"},
    };
    std::vector<Member> wanted;
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        const auto id = static_cast<MEMBERID>(i + 1);
        const auto& e = expected[i];
        wanted.push_back({id, e.access == 'm' ? INVOKE_FUNC : INVOKE_PROPERTYGET, e.name, e.type});
        if (e.access == 'p')
            wanted.push_back({id, INVOKE_PROPERTYPUT, e.name, e.type});
    }
    ComPtr<ITypeInfo> info = Type(3);
    const std::vector<Member> members = Members(info.Get());
    ASSERT_EQ(102u, members.size());
    ASSERT_EQ(wanted.size(), members.size());
    for (std::size_t i = 0; i < members.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(wanted[i].id, members[i].id);
        EXPECT_EQ(wanted[i].kind, members[i].kind);
        EXPECT_EQ(wanted[i].name, members[i].name);
        EXPECT_EQ(wanted[i].type, members[i].type);
        EXPECT_FALSE(Doc(info.Get(), members[i].id).empty());
    }

    // FileNames and FileTitles take an optional Index that defaults to 0.
    for (const wchar_t* name : {L"FileNames", L"FileTitles"}) {
        DISPID id = 0;
        LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
        ASSERT_EQ(S_OK, info->GetIDsOfNames(names, 1, &id));
        FUNCDESC* f = FindFunction(info.Get(), id, INVOKE_PROPERTYGET);
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
    for (const auto& d : docs) {
        DISPID id = 0;
        LPOLESTR names[] = {const_cast<LPOLESTR>(d.name)};
        ASSERT_EQ(S_OK, info->GetIDsOfNames(names, 1, &id));
        EXPECT_EQ(d.doc, Doc(info.Get(), id));
    }
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
        const std::vector<Member> members = Members(info.Get());
        ASSERT_EQ(2u, members.size());
        EXPECT_EQ(e.name, members[e.id - 1].name);
        EXPECT_EQ(e.id, members[e.id - 1].id);
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
        const UINT position = seen[e.index]++;
        VARDESC* v = nullptr;
        ASSERT_EQ(S_OK, info->GetVarDesc(position, &v));
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

TEST_F(TypeLibraryTest, OleColorAndOleHandleAreStdoleAliases) {
    const struct {
        const wchar_t* member;
        GUID alias;
    } expected[] = {
        // {66504301-BE0F-101A-8BBB-00AA00300CAB}, {66504313-BE0F-101A-8BBB-00AA00300CAB}
        {L"ColorColorref",
         {0x66504301, 0xBE0F, 0x101A, {0x8B, 0xBB, 0x00, 0xAA, 0x00, 0x30, 0x0C, 0xAB}}},
        {L"Hwnd", {0x66504313, 0xBE0F, 0x101A, {0x8B, 0xBB, 0x00, 0xAA, 0x00, 0x30, 0x0C, 0xAB}}},
    };
    ComPtr<ITypeInfo> info = Type(6);
    for (const auto& e : expected) {
        LPOLESTR names[] = {const_cast<LPOLESTR>(e.member)};
        DISPID id = 0;
        ASSERT_EQ(S_OK, info->GetIDsOfNames(names, 1, &id));
        FUNCDESC* f = FindFunction(info.Get(), id, INVOKE_PROPERTYGET);
        ASSERT_NE(nullptr, f);
        ASSERT_EQ(VT_USERDEFINED, f->elemdescFunc.tdesc.vt);
        ComPtr<ITypeInfo> alias;
        ASSERT_EQ(S_OK, info->GetRefTypeInfo(f->elemdescFunc.tdesc.hreftype, alias.Put()));
        info->ReleaseFuncDesc(f);
        Attr attr(alias.Get());
        EXPECT_EQ(TKIND_ALIAS, attr->typekind);
        EXPECT_TRUE(IsEqualGUID(e.alias, attr->guid));
        ComPtr<ITypeLib> owner;
        UINT position = 0;
        alias->GetContainingTypeLib(owner.Put(), &position);
        TLIBATTR* libAttr = nullptr;
        owner->GetLibAttr(&libAttr);
        // {00020430-0000-0000-C000-000000000046}: stdole2
        const GUID stdole = {0x00020430, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
        EXPECT_TRUE(IsEqualGUID(stdole, libAttr->guid));
        owner->ReleaseTLibAttr(libAttr);
    }
}

} // namespace
} // namespace orrelux
