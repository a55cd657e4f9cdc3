// typelib_writer: writes the type library that Orrelux20Dialogs.dll embeds as TYPELIB 1.
//
//   typelib_writer WIDL_TLB OUTPUT_TLB win32|win64
//
// widl compiles OrreluxDialogs.idl well, but its library cannot be shipped as it is: widl drops
// the constants of a module, refuses doc strings on enumeration members, writes OLE_COLOR and
// OLE_HANDLE as plain integers, and faults when a dispinterface comes before a dual interface,
// which is the order clients of this library see. So this program, run under Wine at build
// time, reads widl's library and writes a new one through ICreateTypeLib2: every type info of
// kTypeOrder copied member by member in that order, plus the rows of the tables below. A type
// info of widl's library that the order does not name (other than the alias stand-ins) stops
// the build, so nothing written in the .idl is lost silently.
#include <windows.h>
#include <ole2.h>
#include <oleauto.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <deque>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "platform/handles.h"

namespace {

using orrelux::ComPtr;
using orrelux::UniqueBstr;

// ---- What widl cannot write -------------------------------------------------------------------

// Type infos of the output, in index order.
const wchar_t* const kTypeOrder[] = {
    L"OrreluxDialogsConstants", L"_IFileDialogEvents", L"FileDialog",   L"IFileDialog",
    L"_IColorDialogEvents",     L"ColorDialog",        L"IColorDialog", L"ColorDialogPage",
};

// The .idl declares these as local aliases; members that use them refer to stdole2's instead.
const wchar_t* const kStdoleAliases[] = {L"OLE_COLOR", L"OLE_HANDLE"};

struct Constant {
    const wchar_t* module;
    const wchar_t* name;
    LONG value;
    const wchar_t* doc;
};

const Constant kConstants[] = {
    {L"OrreluxDialogsConstants", L"OrreluxDialogsErrorAlreadyOpened", -1520,
     L"Occures when you try to open dialog but it is already opened."},
    {L"OrreluxDialogsConstants", L"OrreluxDialogsErrorStringTooLong", -1518,
     L"Occures when you pass too long string to the dialog."},
};

// Doc strings of enumeration members, and of property puts whose doc string differs from their
// get (widl's library holds them, but a type info answers only the first doc of a member id).
struct MemberDoc {
    const wchar_t* type;
    const wchar_t* member;
    const wchar_t* doc;
};

const MemberDoc kEnumMemberDocs[] = {
    {L"ColorDialogPage", L"ColorDialogPageHSBBrightness",
     L"HSB brightness page of Brevanta Color Dialog."},
    {L"ColorDialogPage", L"ColorDialogPageHSBWheel", L"HSB wheel page of Brevanta Color Dialog."},
    {L"ColorDialogPage", L"ColorDialogPageHSBHue", L"HSB hue page of Brevanta Color Dialog."},
    {L"ColorDialogPage", L"ColorDialogPageRGB3DAdditive",
     L"RGB 3D additive page of Brevanta Color Dialog."},
    {L"ColorDialogPage", L"ColorDialogPageCMY3DSubtractive",
     L"CMY 3D subtractive page of Brevanta Color Dialog."},
    {L"ColorDialogPage", L"ColorDialogPagePalettes",
     L"Fixed palettes page of Brevanta Color Dialog."},
};

const MemberDoc kPutDocs[] = {
    {L"IFileDialog", L"DontAddToRecent",
     L"Specifies whether to prevent system from adding a link to selected file the file system "
     L"directory that contains the user's most recently used documents. Works in Windows 2000 "
     L"and later. Default value is False."},
};

// ---- The copier -------------------------------------------------------------------------------

struct Failure {
    std::wstring what;
    HRESULT status;
};

void Check(HRESULT status, const std::wstring& what) {
    if (FAILED(status))
        throw Failure{what, status};
}

std::wstring NameOf(ITypeInfo* info, MEMBERID member = MEMBERID_NIL) {
    UniqueBstr name;
    Check(info->GetDocumentation(member, name.Put(), nullptr, nullptr, nullptr), L"name");
    return name.Get() ? name.Get() : L"";
}

std::wstring DocOf(ITypeInfo* info, MEMBERID member) {
    UniqueBstr doc;
    Check(info->GetDocumentation(member, nullptr, doc.Put(), nullptr, nullptr), L"doc string");
    return doc.Get() ? doc.Get() : L"";
}

const wchar_t* FindDoc(const MemberDoc* rows, std::size_t count, const std::wstring& type,
                       const std::wstring& member) {
    for (std::size_t i = 0; i < count; ++i) {
        if (type == rows[i].type && member == rows[i].member)
            return rows[i].doc;
    }
    return nullptr;
}

struct TypeAttr {
    TypeAttr(ITypeInfo* info) : info(info) { Check(info->GetTypeAttr(&attr), L"type attributes"); }
    ~TypeAttr() { info->ReleaseTypeAttr(attr); }
    TypeAttr(const TypeAttr&) = delete;
    TypeAttr& operator=(const TypeAttr&) = delete;
    ITypeInfo* info;
    TYPEATTR* attr = nullptr;
};

class Writer {
public:
    Writer(ITypeLib* source, ICreateTypeLib2* target, SYSKIND kind)
        : source_(source), target_(target), pointerSize_(kind == SYS_WIN64 ? 8 : 4) {
        Check(::LoadTypeLibEx(L"stdole2.tlb", REGKIND_NONE, stdole_.Put()), L"stdole2.tlb");
    }

    void Run() {
        CheckEverySourceTypeIsPlaced();
        for (const wchar_t* name : kTypeOrder)
            CreateTarget(name);
        for (const wchar_t* name : kTypeOrder)
            FillTarget(name);
        for (const wchar_t* name : kTypeOrder)
            Check(created_[name].create->LayOut(), std::wstring(L"layout of ") + name);
        Check(target_->SaveAllChanges(), L"save");
    }

    // The vtable size of each type of kTypeOrder as widl computed it for the output's pointers
    // (the loader reports it unscaled), or -1 for a type without a vtable.
    std::vector<int> VtableSizes() {
        std::vector<int> sizes;
        for (const wchar_t* name : kTypeOrder) {
            const ComPtr<ITypeInfo> source = SourceType(name);
            TypeAttr attr(source.Get());
            const bool vtable = attr.attr->typekind == TKIND_INTERFACE;
            sizes.push_back(vtable ? attr.attr->cbSizeVft : -1);
        }
        return sizes;
    }

private:
    struct Created {
        ComPtr<ICreateTypeInfo2> create;
        ComPtr<ITypeInfo> info;
    };

    // The source type info to copy: for a dual interface, its vtable half.
    ComPtr<ITypeInfo> SourceType(const std::wstring& name) {
        const UINT count = source_->GetTypeInfoCount();
        for (UINT i = 0; i < count; ++i) {
            ComPtr<ITypeInfo> info;
            Check(source_->GetTypeInfo(i, info.Put()), L"source type");
            if (NameOf(info.Get()) != name)
                continue;
            TypeAttr attr(info.Get());
            if (attr.attr->typekind == TKIND_DISPATCH && (attr.attr->wTypeFlags & TYPEFLAG_FDUAL)) {
                HREFTYPE vtable = 0;
                Check(info->GetRefTypeOfImplType(-1, &vtable), L"dual vtable half");
                ComPtr<ITypeInfo> half;
                Check(info->GetRefTypeInfo(vtable, half.Put()), L"dual vtable half");
                return half;
            }
            return info;
        }
        throw Failure{L"widl's library has no type " + name, E_FAIL};
    }

    void CheckEverySourceTypeIsPlaced() {
        const UINT count = source_->GetTypeInfoCount();
        for (UINT i = 0; i < count; ++i) {
            ComPtr<ITypeInfo> info;
            Check(source_->GetTypeInfo(i, info.Put()), L"source type");
            const std::wstring name = NameOf(info.Get());
            bool placed = false;
            for (const wchar_t* known : kTypeOrder)
                placed = placed || name == known;
            for (const wchar_t* alias : kStdoleAliases)
                placed = placed || name == alias;
            if (!placed)
                throw Failure{L"no place in the output for " + name, E_FAIL};
        }
    }

    void CreateTarget(const std::wstring& name) {
        const ComPtr<ITypeInfo> source = SourceType(name);
        TypeAttr attr(source.Get());
        Created& created = created_[name];
        ComPtr<ICreateTypeInfo> create;
        Check(target_->CreateTypeInfo(const_cast<LPOLESTR>(name.c_str()), attr.attr->typekind,
                                      create.Put()),
              L"create " + name);
        Check(create.As(created.create), L"ICreateTypeInfo2 of " + name);
        Check(create.As(created.info), L"ITypeInfo of " + name);
    }

    // The output's reference for a type that a source member or base names.
    HREFTYPE MapReference(ITypeInfo* source, HREFTYPE sourceRef, ICreateTypeInfo2* target) {
        ComPtr<ITypeInfo> referenced;
        Check(source->GetRefTypeInfo(sourceRef, referenced.Put()), L"referenced type");
        const std::wstring name = NameOf(referenced.Get());
        ComPtr<ITypeLib> library;
        UINT index = 0;
        Check(referenced->GetContainingTypeLib(library.Put(), &index), L"referenced library");
        ComPtr<ITypeInfo> replacement = referenced; // a type of another library stays imported
        if (library.Get() == source_) {
            bool stdole = false;
            for (const wchar_t* alias : kStdoleAliases)
                stdole = stdole || name == alias;
            if (stdole)
                replacement = StdoleType(name);
            else if (created_.count(name))
                replacement = created_[name].info;
            else
                throw Failure{L"reference to an unplaced type " + name, E_FAIL};
        }
        HREFTYPE mapped = 0;
        Check(target->AddRefTypeInfo(replacement.Get(), &mapped), L"reference to " + name);
        return mapped;
    }

    ComPtr<ITypeInfo> StdoleType(const std::wstring& name) {
        const UINT count = stdole_->GetTypeInfoCount();
        for (UINT i = 0; i < count; ++i) {
            ComPtr<ITypeInfo> info;
            Check(stdole_->GetTypeInfo(i, info.Put()), L"stdole2 type");
            if (NameOf(info.Get()) == name)
                return info;
        }
        throw Failure{L"stdole2 has no " + name, E_FAIL};
    }

    // A copy of `type` whose user-defined references name the output's types. The copies live
    // in `arena` until the member that uses them is added.
    TYPEDESC CopyType(const TYPEDESC& type, ITypeInfo* source, ICreateTypeInfo2* target,
                      std::deque<TYPEDESC>& arena) {
        TYPEDESC copy = type;
        if (type.vt == VT_PTR || type.vt == VT_SAFEARRAY) {
            arena.push_back(CopyType(*type.lptdesc, source, target, arena));
            copy.lptdesc = &arena.back();
        } else if (type.vt == VT_USERDEFINED) {
            copy.hreftype = MapReference(source, type.hreftype, target);
        } else if (type.vt == VT_CARRAY) {
            throw Failure{L"fixed arrays are not supported", E_NOTIMPL};
        }
        return copy;
    }

    void FillTarget(const std::wstring& name) {
        const ComPtr<ITypeInfo> source = SourceType(name);
        TypeAttr attr(source.Get());
        ICreateTypeInfo2* target = created_[name].create.Get();

        Check(target->SetGuid(attr.attr->guid), L"guid of " + name);
        Check(target->SetDocString(const_cast<LPOLESTR>(DocOf(source.Get(), MEMBERID_NIL).c_str())),
              L"doc of " + name);
        for (WORD i = 0; i < attr.attr->cImplTypes; ++i) {
            HREFTYPE sourceRef = 0;
            INT flags = 0;
            Check(source->GetRefTypeOfImplType(i, &sourceRef), L"base of " + name);
            Check(source->GetImplTypeFlags(i, &flags), L"base flags of " + name);
            Check(target->AddImplType(i, MapReference(source.Get(), sourceRef, target)),
                  L"base of " + name);
            if (attr.attr->typekind == TKIND_COCLASS)
                Check(target->SetImplTypeFlags(i, flags), L"base flags of " + name);
        }
        // A dual interface carries the automation flag too: clients test it to call the vtable.
        WORD flags = attr.attr->wTypeFlags;
        if (flags & TYPEFLAG_FDUAL)
            flags |= TYPEFLAG_FOLEAUTOMATION;
        Check(target->SetTypeFlags(flags), L"flags of " + name);

        for (UINT i = 0; i < attr.attr->cFuncs; ++i)
            CopyFunction(source.Get(), target, name, i);
        for (UINT i = 0; i < attr.attr->cVars; ++i)
            CopyVariable(source.Get(), target, name, i);
        UINT added = attr.attr->cVars;
        for (const Constant& constant : kConstants) {
            if (name == constant.module)
                AddConstant(target, added++, constant);
        }
    }

    void CopyFunction(ITypeInfo* source, ICreateTypeInfo2* target, const std::wstring& type,
                      UINT index) {
        FUNCDESC* described = nullptr;
        Check(source->GetFuncDesc(index, &described), L"member of " + type);
        FUNCDESC copy = *described;
        std::deque<TYPEDESC> arena;
        std::vector<ELEMDESC> parameters(described->lprgelemdescParam,
                                         described->lprgelemdescParam + described->cParams);
        copy.elemdescFunc.tdesc = CopyType(described->elemdescFunc.tdesc, source, target, arena);
        for (ELEMDESC& parameter : parameters)
            parameter.tdesc = CopyType(parameter.tdesc, source, target, arena);
        copy.lprgelemdescParam = parameters.empty() ? nullptr : parameters.data();
        copy.lprgscode = nullptr;
        copy.cScodes = 0;
        // The loader scales vtable offsets to this process's pointers; the output keeps its own.
        copy.oVft = static_cast<SHORT>(described->oVft / sizeof(void*) * pointerSize_);
        const HRESULT added = target->AddFuncDesc(index, &copy);
        const MEMBERID member = described->memid;
        const INVOKEKIND kind = described->invkind;
        const SHORT parameterCount = described->cParams;
        source->ReleaseFuncDesc(described);
        Check(added, L"member of " + type);

        // The value of a property put has no name of its own in a type library.
        BSTR names[64] = {};
        UINT nameCount = 0;
        Check(source->GetNames(member, names, 64, &nameCount), L"names in " + type);
        const bool put = kind & (INVOKE_PROPERTYPUT | INVOKE_PROPERTYPUTREF);
        const UINT wanted = put ? parameterCount : parameterCount + 1;
        const HRESULT named =
            target->SetFuncAndParamNames(index, names, nameCount < wanted ? nameCount : wanted);
        const std::wstring memberName = nameCount ? names[0] : L"";
        for (UINT i = 0; i < nameCount; ++i)
            ::SysFreeString(names[i]);
        Check(named, L"names of " + memberName);

        std::wstring doc = DocOf(source, member);
        if (put) {
            if (const wchar_t* own = FindDoc(kPutDocs, std::size(kPutDocs), type, memberName))
                doc = own;
        }
        Check(target->SetFuncDocString(index, const_cast<LPOLESTR>(doc.c_str())),
              L"doc of " + memberName);
    }

    void CopyVariable(ITypeInfo* source, ICreateTypeInfo2* target, const std::wstring& type,
                      UINT index) {
        VARDESC* described = nullptr;
        Check(source->GetVarDesc(index, &described), L"variable of " + type);
        VARDESC copy = *described;
        std::deque<TYPEDESC> arena;
        copy.elemdescVar.tdesc = CopyType(described->elemdescVar.tdesc, source, target, arena);
        const HRESULT added = target->AddVarDesc(index, &copy);
        const MEMBERID member = described->memid;
        source->ReleaseVarDesc(described);
        Check(added, L"variable of " + type);

        const std::wstring name = NameOf(source, member);
        Check(target->SetVarName(index, const_cast<LPOLESTR>(name.c_str())), L"name of " + name);
        std::wstring doc = DocOf(source, member);
        if (const wchar_t* own = FindDoc(kEnumMemberDocs, std::size(kEnumMemberDocs), type, name))
            doc = own;
        if (!doc.empty())
            Check(target->SetVarDocString(index, const_cast<LPOLESTR>(doc.c_str())),
                  L"doc of " + name);
    }

    static void AddConstant(ICreateTypeInfo2* target, UINT index, const Constant& constant) {
        VARIANT value;
        ::VariantInit(&value);
        V_VT(&value) = VT_I4;
        V_I4(&value) = constant.value;
        VARDESC described = {};
        described.memid = static_cast<MEMBERID>(0x40000000 + index);
        described.lpvarValue = &value;
        described.elemdescVar.tdesc.vt = VT_I4;
        described.varkind = VAR_CONST;
        Check(target->AddVarDesc(index, &described), std::wstring(L"constant ") + constant.name);
        Check(target->SetVarName(index, const_cast<LPOLESTR>(constant.name)), constant.name);
        Check(target->SetVarDocString(index, const_cast<LPOLESTR>(constant.doc)), constant.name);
    }

    ITypeLib* source_;
    ICreateTypeLib2* target_;
    std::size_t pointerSize_;
    ComPtr<ITypeLib> stdole_;
    std::map<std::wstring, Created> created_;
};

// Wine's ICreateTypeInfo2::LayOut counts the inherited IDispatch slots at this process's pointer
// size, so a 32-bit library written by this 64-bit program gets vtable sizes 28 bytes too large.
// The slot offsets of the members are right (the copier sets them). This rewrites the size field
// of each interface record of the written file with the size widl computed.
void CorrectVtableSizes(const wchar_t* path, const std::vector<int>& sizes) {
    std::vector<char> bytes;
    {
        std::ifstream in(path, std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    auto readInt = [&](std::size_t offset) {
        std::int32_t value = 0;
        if (offset + 4 > bytes.size())
            throw Failure{L"type library too short", E_FAIL};
        std::memcpy(&value, bytes.data() + offset, 4);
        return value;
    };
    // Header: "MSFT", ..., varflags at 0x14, type info count at 0x20; 0x54 bytes, then the help
    // DLL name offset when varflags has 0x100, then one offset per type info, then the segment
    // directory whose first entry locates the type info records (0x64 bytes each).
    constexpr std::int32_t kMagic = 0x5446534D;
    constexpr std::size_t kHeaderSize = 0x54, kVtableSizeField = 0x4E;
    if (readInt(0) != kMagic)
        throw Failure{L"not an MSFT type library", E_FAIL};
    const std::int32_t count = readInt(0x20);
    if (count != static_cast<std::int32_t>(sizes.size()))
        throw Failure{L"unexpected type info count", E_FAIL};
    const std::size_t offsets = kHeaderSize + ((readInt(0x14) & 0x100) ? 4 : 0);
    const std::size_t records = static_cast<std::size_t>(readInt(offsets + 4 * count));
    for (std::int32_t i = 0; i < count; ++i) {
        if (sizes[i] < 0)
            continue;
        const std::size_t field =
            records + static_cast<std::size_t>(readInt(offsets + 4 * i)) + kVtableSizeField;
        if (field + 2 > bytes.size())
            throw Failure{L"type info record beyond the end", E_FAIL};
        const auto size = static_cast<std::int16_t>(sizes[i]);
        std::memcpy(bytes.data() + field, &size, 2);
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out)
        throw Failure{L"rewrite of the type library", E_FAIL};
}

// The members a client sees, as (member id, invoke kind) pairs: the inherited IUnknown and
// IDispatch members, which loaders list for dispatch types, are restricted and left out.
std::vector<std::pair<MEMBERID, INVOKEKIND>> VisibleMembers(ITypeInfo* info) {
    TypeAttr attr(info);
    std::vector<std::pair<MEMBERID, INVOKEKIND>> members;
    for (UINT i = 0; i < attr.attr->cFuncs; ++i) {
        FUNCDESC* described = nullptr;
        Check(info->GetFuncDesc(i, &described), L"member");
        if (!(described->wFuncFlags & FUNCFLAG_FRESTRICTED))
            members.emplace_back(described->memid, described->invkind);
        info->ReleaseFuncDesc(described);
    }
    return members;
}

// `added` is the number of variables the output carries beyond widl's (the module constants).
bool SameShape(ITypeInfo* a, ITypeInfo* b, WORD added = 0) {
    TypeAttr x(a), y(b);
    const bool vtable = x.attr->typekind == TKIND_INTERFACE;
    return x.attr->typekind == y.attr->typekind && x.attr->guid == y.attr->guid &&
           x.attr->cVars == y.attr->cVars + added && x.attr->cImplTypes == y.attr->cImplTypes &&
           x.attr->wTypeFlags == y.attr->wTypeFlags &&
           (!vtable ||
            (x.attr->cFuncs == y.attr->cFuncs && x.attr->cbSizeVft == y.attr->cbSizeVft)) &&
           VisibleMembers(a) == VisibleMembers(b);
}

ComPtr<ITypeInfo> VtableHalf(ITypeInfo* info) {
    ComPtr<ITypeInfo> half;
    HREFTYPE reference = 0;
    if (SUCCEEDED(info->GetRefTypeOfImplType(-1, &reference)))
        Check(info->GetRefTypeInfo(reference, half.Put()), L"vtable half");
    return half;
}

// Reads the written library back and compares the shape of every type, and of the vtable half of
// each dual interface, with widl's: a copy that lost a member, a base or a flag stops the build.
void VerifyOutput(ITypeLib* source, const wchar_t* path) {
    ComPtr<ITypeLib> output;
    Check(::LoadTypeLibEx(path, REGKIND_NONE, output.Put()), L"reload of the output");
    for (UINT i = 0; i < std::size(kTypeOrder); ++i) {
        ComPtr<ITypeInfo> written, original;
        Check(output->GetTypeInfo(i, written.Put()), L"output type");
        const std::wstring name = NameOf(written.Get());
        if (name != kTypeOrder[i])
            throw Failure{L"output order at " + name, E_FAIL};
        const UINT count = source->GetTypeInfoCount();
        for (UINT j = 0; j < count && !original; ++j) {
            ComPtr<ITypeInfo> candidate;
            Check(source->GetTypeInfo(j, candidate.Put()), L"source type");
            if (NameOf(candidate.Get()) == name)
                original = candidate;
        }
        const ComPtr<ITypeInfo> writtenHalf = VtableHalf(written.Get());
        const ComPtr<ITypeInfo> originalHalf = VtableHalf(original.Get());
        const bool halvesMatch = !writtenHalf == !originalHalf &&
                                 (!writtenHalf || SameShape(writtenHalf.Get(), originalHalf.Get()));
        WORD constants = 0;
        for (const Constant& constant : kConstants)
            constants += name == constant.module;
        if (!SameShape(written.Get(), original.Get(), constants) || !halvesMatch)
            throw Failure{L"output shape of " + name, E_FAIL};
    }
}

void CopyLibraryAttributes(ITypeLib* source, ICreateTypeLib2* target) {
    TLIBATTR* attr = nullptr;
    Check(source->GetLibAttr(&attr), L"library attributes");
    const TLIBATTR copy = *attr;
    source->ReleaseTLibAttr(attr);
    UniqueBstr name, doc;
    Check(source->GetDocumentation(-1, name.Put(), doc.Put(), nullptr, nullptr), L"library doc");
    Check(target->SetName(name.Get()), L"library name");
    Check(target->SetGuid(copy.guid), L"library guid");
    Check(target->SetVersion(copy.wMajorVerNum, copy.wMinorVerNum), L"library version");
    Check(target->SetLcid(copy.lcid), L"library locale");
    Check(target->SetDocString(doc.Get()), L"library doc");
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc != 4 || (std::wcscmp(argv[3], L"win32") != 0 && std::wcscmp(argv[3], L"win64") != 0)) {
        std::fwprintf(stderr, L"usage: typelib_writer WIDL_TLB OUTPUT_TLB win32|win64\n");
        return 2;
    }
    const SYSKIND kind = std::wcscmp(argv[3], L"win32") == 0 ? SYS_WIN32 : SYS_WIN64;
    if (FAILED(::CoInitialize(nullptr)))
        return 1;
    int result = 0;
    try {
        ComPtr<ITypeLib> source;
        Check(::LoadTypeLibEx(argv[1], REGKIND_NONE, source.Put()), argv[1]);
        ComPtr<ICreateTypeLib2> target;
        Check(::CreateTypeLib2(kind, argv[2], target.Put()), argv[2]);
        CopyLibraryAttributes(source.Get(), target.Get());
        Writer writer(source.Get(), target.Get(), kind);
        writer.Run();
        const std::vector<int> sizes = writer.VtableSizes();
        target = nullptr; // closes the file
        if (sizeof(void*) == 8 && kind == SYS_WIN32)
            CorrectVtableSizes(argv[2], sizes);
        VerifyOutput(source.Get(), argv[2]);
    } catch (const Failure& failure) {
        std::fwprintf(stderr, L"typelib_writer: %ls failed (0x%08lX)\n", failure.what.c_str(),
                      static_cast<unsigned long>(failure.status));
        result = 1;
    }
    ::CoUninitialize();
    return result;
}
