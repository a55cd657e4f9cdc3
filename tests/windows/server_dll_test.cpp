// Orrelux20Dialogs.dll from outside: its exports, the class object and the lock count,
// registration by regsvr32 and its removal, and activation without registration through an
// activation context. Tests that unregister the server register it again before they end.
#include <gtest/gtest.h>

#include <process.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "test_support.h"

namespace orrelux {
namespace {

using testing::ServerDllPath;

// The server loaded by path, and its entry points.
using GetClassObjectFunction = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
struct ServerModule {
    explicit ServerModule(const std::wstring& path) : module(::LoadLibraryW(path.c_str())) {}
    template <class Function = HRESULT(STDAPICALLTYPE*)()> Function Export(const char* name) {
        return reinterpret_cast<Function>(
            reinterpret_cast<void*>(::GetProcAddress(module.Get(), name)));
    }
    testing::UniqueModule module;
};

// regsvr32 /s (and /u) on the server: its exit code, -1 when it did not run.
intptr_t Regsvr32(bool unregister = false) {
    wchar_t program[MAX_PATH] = {};
    ::GetSystemDirectoryW(program, MAX_PATH);
    const std::wstring path = std::wstring(program) + L"\\regsvr32.exe";
    const std::wstring dll = L"\"" + ServerDllPath() + L"\"";
    return unregister
               ? _wspawnl(_P_WAIT, path.c_str(), L"regsvr32", L"/s", L"/u", dll.c_str(), nullptr)
               : _wspawnl(_P_WAIT, path.c_str(), L"regsvr32", L"/s", dll.c_str(), nullptr);
}

// Everything below a key of HKEY_CLASSES_ROOT: "path|value name" -> "type:data".
using RegistryTree = std::map<std::wstring, std::wstring>;

void ReadTree(const std::wstring& path, RegistryTree& tree) {
    HKEY key = nullptr;
    if (::RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return;
    tree.emplace(path + L"|", L"(key)"); // a default value below replaces the marker
    wchar_t name[256];
    for (DWORD i = 0;; ++i) {
        DWORD nameLength = 256, type = 0;
        BYTE data[1024];
        DWORD dataLength = sizeof(data);
        if (::RegEnumValueW(key, i, name, &nameLength, nullptr, &type, data, &dataLength) !=
            ERROR_SUCCESS)
            break;
        std::wstring text;
        if (type == REG_SZ)
            text.assign(reinterpret_cast<const wchar_t*>(data), dataLength / 2);
        while (!text.empty() && text.back() == L'\0')
            text.pop_back();
        tree[path + L"|" + name] = std::to_wstring(type) + L":" + text;
    }
    for (DWORD i = 0;; ++i) {
        DWORD nameLength = 256;
        if (::RegEnumKeyExW(key, i, name, &nameLength, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
            break;
        ReadTree(path + L"\\" + name, tree);
    }
    ::RegCloseKey(key);
}

const wchar_t kColorClsidKey[] = L"CLSID\\{AC261EDF-CD49-47DC-9A9B-1207B8AA68AD}";
const wchar_t kFileClsidKey[] = L"CLSID\\{057891B4-0512-457E-8061-93B2046003A1}";
const wchar_t kTypeLibKey[] = L"TypeLib\\{1912E4D1-2417-4FA4-A1CA-B55F5C881A0C}";
const wchar_t* const kServerKeys[] = {kColorClsidKey,
                                      kFileClsidKey,
                                      L"OrreluxDialogs.ColorDialog.2.0",
                                      L"OrreluxDialogs.ColorDialog",
                                      L"OrreluxDialogs.FileDialog.2.0",
                                      L"OrreluxDialogs.FileDialog",
                                      kTypeLibKey};

RegistryTree ServerRegistry() {
    RegistryTree tree;
    for (const wchar_t* key : kServerKeys)
        ReadTree(key, tree);
    return tree;
}

std::wstring ShortPath(const std::wstring& path) {
    wchar_t buffer[MAX_PATH];
    const DWORD length = ::GetShortPathNameW(path.c_str(), buffer, MAX_PATH);
    return length ? std::wstring(buffer, length) : path;
}

// Registers the server again when a test that unregistered it ends, passed or not.
struct ReregisterAtEnd {
    ~ReregisterAtEnd() { Regsvr32(); }
};

TEST(ServerDllTest, ExportsTheFourEntryPointsAndNothingElse) {
    ServerModule server(ServerDllPath());
    ASSERT_TRUE(server.module);
    const auto* base = reinterpret_cast<const BYTE*>(server.module.Get());
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY& entry =
        nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    const auto* exports =
        reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + entry.VirtualAddress);
    std::vector<std::string> names;
    const auto* nameTable = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
    for (DWORD i = 0; i < exports->NumberOfNames; ++i)
        names.emplace_back(reinterpret_cast<const char*>(base + nameTable[i]));
    EXPECT_EQ((std::vector<std::string>{"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer",
                                        "DllUnregisterServer"}),
              names);
    EXPECT_EQ(4u, exports->NumberOfFunctions);
}

TEST(ServerDllTest, ResourcesOfTheModule) {
    const testing::UniqueModule server(
        ::LoadLibraryExW(ServerDllPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    ASSERT_TRUE(server);
    const struct {
        UINT id;
        const wchar_t* text;
    } strings[] = {
        {100, L"OrreluxDialogs"},
        {1010, L"Shows the preview of the selected image"},
        {1011, L"Specifies whether to display the preview of the selected image"},
    };
    for (const auto& s : strings) {
        wchar_t text[128] = {};
        ::LoadStringW(server.Get(), s.id, text, 128);
        EXPECT_EQ(std::wstring(s.text), text);
    }
    for (int id : {101, 103}) {
        SCOPED_TRACE(id);
        HRSRC resource = ::FindResourceW(server.Get(), MAKEINTRESOURCEW(id), RT_BITMAP);
        ASSERT_NE(nullptr, resource);
        const auto* header = static_cast<const BITMAPINFOHEADER*>(
            ::LockResource(::LoadResource(server.Get(), resource)));
        EXPECT_EQ(26, header->biWidth);
        EXPECT_EQ(21, header->biHeight);
        EXPECT_EQ(4, header->biBitCount);
    }
    for (int id : {102, 104})
        EXPECT_NE(nullptr, ::FindResourceW(server.Get(), MAKEINTRESOURCEW(id), L"REGISTRY"));

    DWORD ignored = 0;
    const std::wstring path = ServerDllPath();
    std::vector<BYTE> version(::GetFileVersionInfoSizeW(path.c_str(), &ignored));
    ASSERT_FALSE(version.empty());
    ASSERT_TRUE(
        ::GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(version.size()), version.data()));
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    ASSERT_TRUE(::VerQueryValueW(version.data(), L"\\", reinterpret_cast<void**>(&fixed), &length));
    EXPECT_EQ(DWORD(0x00020000), fixed->dwFileVersionMS);
    EXPECT_EQ(DWORD(0x00020002), fixed->dwFileVersionLS);
    EXPECT_EQ(DWORD(0x00020002), fixed->dwProductVersionLS);
    const struct {
        const wchar_t* name;
        const wchar_t* value;
    } values[] = {
        {L"FileVersion", L"2, 0, 2, 2"},
        {L"ProductVersion", L"2, 0, 2, 2"},
        {L"FileDescription", L"Brevanta Orrelux 2.0 Dialogs Library"},
    };
    for (const auto& v : values) {
        wchar_t* text = nullptr;
        const std::wstring query = std::wstring(L"\\StringFileInfo\\040904B0\\") + v.name;
        ASSERT_TRUE(::VerQueryValueW(version.data(), query.c_str(), reinterpret_cast<void**>(&text),
                                     &length));
        EXPECT_EQ(std::wstring(v.value), text);
    }
}

TEST(ServerDllTest, ClassObjectsAndTheirFailures) {
    ServerModule server(ServerDllPath());
    const auto getClassObject = server.Export<GetClassObjectFunction>("DllGetClassObject");
    ASSERT_TRUE(getClassObject);
    EXPECT_EQ(E_POINTER, getClassObject(CLSID_ColorDialog, IID_IClassFactory, nullptr));

    const struct {
        const char* name;
        const CLSID* clsid;
        const IID* iid;
        HRESULT result;
    } cases[] = {
        {"an unknown class: an interface identifier", &IID_IFileDialog, &IID_IClassFactory,
         CLASS_E_CLASSNOTAVAILABLE},
        {"a factory answers no other interface", &CLSID_ColorDialog, &IID_IDispatch, E_NOINTERFACE},
        {"the factory", &CLSID_ColorDialog, &IID_IClassFactory, S_OK},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        void* out = reinterpret_cast<void*>(1);
        EXPECT_EQ(c.result, getClassObject(*c.clsid, *c.iid, &out));
        EXPECT_EQ(c.result == S_OK, out != nullptr);
        if (out)
            static_cast<IUnknown*>(out)->Release();
    }

    ComPtr<IClassFactory> first, second;
    ASSERT_EQ(S_OK, getClassObject(CLSID_ColorDialog, IID_IClassFactory, first.PutVoid()));
    ASSERT_EQ(S_OK, getClassObject(CLSID_ColorDialog, IID_IClassFactory, second.PutVoid()));
    EXPECT_EQ(first.Get(), second.Get()) << "the factory is made once and kept";
}

TEST(ServerDllTest, CanUnloadNowFollowsTheLockCount) {
    ServerModule server(ServerDllPath());
    const auto canUnload = server.Export("DllCanUnloadNow");
    const auto getClassObject = server.Export<GetClassObjectFunction>("DllGetClassObject");
    ASSERT_TRUE(canUnload && getClassObject);
    EXPECT_EQ(S_OK, canUnload());
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(S_OK, getClassObject(CLSID_ColorDialog, IID_IClassFactory, factory.PutVoid()));
    EXPECT_EQ(S_OK, canUnload()) << "a factory alone holds no lock";

    ComPtr<IColorDialog> first, second;
    ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IID_IColorDialog, first.PutVoid()));
    ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IID_IColorDialog, second.PutVoid()));
    EXPECT_EQ(S_FALSE, canUnload());
    ComPtr<IEnumConnectionPoints> points;
    ComPtr<IConnectionPointContainer> container;
    ASSERT_EQ(S_OK, first.As(container));
    ASSERT_EQ(S_OK, container->EnumConnectionPoints(points.Put()));
    container.Reset();
    first.Reset();
    second.Reset();
    EXPECT_EQ(S_FALSE, canUnload()) << "an enumerator holds the module too";
    points.Reset();
    EXPECT_EQ(S_OK, canUnload());

    ASSERT_EQ(S_OK, factory->LockServer(TRUE));
    ASSERT_EQ(S_OK, factory->LockServer(TRUE));
    EXPECT_EQ(S_FALSE, canUnload());
    ASSERT_EQ(S_OK, factory->LockServer(FALSE));
    EXPECT_EQ(S_FALSE, canUnload());
    ASSERT_EQ(S_OK, factory->LockServer(FALSE));
    EXPECT_EQ(S_OK, canUnload());
}

TEST(ServerDllTest, Regsvr32WritesTheScriptsAndTheTypeLibrary) {
    ReregisterAtEnd restore;
    ASSERT_EQ(0, Regsvr32());
    const RegistryTree once = ServerRegistry();
    const std::wstring module = ShortPath(ServerDllPath());
    const std::wstring color = kColorClsidKey;
    const std::map<std::wstring, std::wstring> expected = {
        {color + L"|", L"1:Brevanta Orrelux 2.0 Color Dialog"},
        {color + L"\\ProgID|", L"1:OrreluxDialogs.ColorDialog.2.0"},
        {color + L"\\VersionIndependentProgID|", L"1:OrreluxDialogs.ColorDialog"},
        {color + L"\\Programmable|", L"(key)"},
        {color + L"\\InprocServer32|", L"1:" + module},
        {color + L"\\InprocServer32|ThreadingModel", L"1:Apartment"},
        {color + L"\\Control|", L"(key)"},
        {color + L"\\Insertable|", L"(key)"},
        {color + L"\\ToolboxBitmap32|", L"1:" + module + L", 103"},
        {color + L"\\MiscStatus|", L"1:0"},
        {color + L"\\MiscStatus\\1|", L"1:132497"},
        {color + L"\\TypeLib|", L"1:{1912E4D1-2417-4FA4-A1CA-B55F5C881A0C}"},
        {color + L"\\Version|", L"1:2.0"},
        {std::wstring(kFileClsidKey) + L"\\ToolboxBitmap32|", L"1:" + module + L", 101"},
        {std::wstring(kFileClsidKey) + L"\\InprocServer32|", L"1:" + module},
        {L"OrreluxDialogs.ColorDialog.2.0|", L"1:Brevanta Orrelux 2.0 Color Dialog"},
        {L"OrreluxDialogs.ColorDialog.2.0\\CLSID|", L"1:{AC261EDF-CD49-47DC-9A9B-1207B8AA68AD}"},
        {L"OrreluxDialogs.ColorDialog.2.0\\Insertable|", L"(key)"},
        {L"OrreluxDialogs.ColorDialog|", L"1:Brevanta Orrelux 2.0 Color Dialog"},
        {L"OrreluxDialogs.ColorDialog\\CurVer|", L"1:OrreluxDialogs.ColorDialog.2.0"},
        {L"OrreluxDialogs.FileDialog.2.0\\CLSID|", L"1:{057891B4-0512-457E-8061-93B2046003A1}"},
        {L"OrreluxDialogs.FileDialog\\CurVer|", L"1:OrreluxDialogs.FileDialog.2.0"},
        {std::wstring(kTypeLibKey) + L"\\2.0|", L"1:Brevanta Orrelux 2.0 Dialogs"},
    };
    for (const auto& [where, value] : expected) {
        SCOPED_TRACE(::testing::PrintToString(where));
        ASSERT_TRUE(once.count(where));
        EXPECT_EQ(value, once.at(where));
    }
    // The version-independent ProgID has CurVer and no Insertable; the versioned one the reverse.
    EXPECT_FALSE(once.count(L"OrreluxDialogs.ColorDialog\\Insertable|"));
    EXPECT_FALSE(once.count(L"OrreluxDialogs.ColorDialog.2.0\\CurVer|"));
    const std::wstring typelibPath =
        std::wstring(kTypeLibKey) +
        (sizeof(void*) == 8 ? L"\\2.0\\409\\win64|" : L"\\2.0\\409\\win32|");
    ASSERT_TRUE(once.count(typelibPath));

    ASSERT_EQ(0, Regsvr32());
    EXPECT_EQ(once, ServerRegistry()) << "registering twice equals registering once";
}

TEST(ServerDllTest, Regsvr32UnregisterRemovesWhatTheScriptsOwn) {
    ReregisterAtEnd restore;
    ASSERT_EQ(0, Regsvr32());
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        ASSERT_EQ(0, Regsvr32(true)) << "unregistering never fails, twice included";
        EXPECT_TRUE(ServerRegistry().empty());
        HKEY clsid = nullptr;
        ASSERT_EQ(ERROR_SUCCESS, ::RegOpenKeyExW(HKEY_CLASSES_ROOT, L"CLSID", 0, KEY_READ, &clsid))
            << "the CLSID key is NoRemove";
        ::RegCloseKey(clsid);
    }
    ComPtr<IUnknown> object;
    EXPECT_EQ(REGDB_E_CLASSNOTREG,
              ::CoCreateInstance(CLSID_ColorDialog, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                 object.PutVoid()));
}

// The script quotes values with single quotes, so the module path has its quotes doubled on
// the way in and comes out with one.
TEST(ServerDllTest, AModulePathWithAQuoteIsRegisteredAsItIs) {
    ReregisterAtEnd restore;
    wchar_t temp[MAX_PATH];
    ASSERT_NE(0u, ::GetTempPathW(MAX_PATH, temp));
    // A directory name that is its own short name, so the quote survives into the short path.
    const std::wstring directory = std::wstring(temp) + L"o'x";
    ::CreateDirectoryW(directory.c_str(), nullptr);
    const std::wstring copy = directory + L"\\Orrelux20Dialogs.dll";
    ASSERT_TRUE(::CopyFileW(ServerDllPath().c_str(), copy.c_str(), FALSE));
    {
        ServerModule server(copy);
        const auto registerServer = server.Export("DllRegisterServer");
        ASSERT_TRUE(registerServer);
        ASSERT_EQ(S_OK, registerServer());
        RegistryTree tree;
        ReadTree(kColorClsidKey, tree);
        const std::wstring registered = tree[std::wstring(kColorClsidKey) + L"\\InprocServer32|"];
        EXPECT_EQ(L"1:" + ShortPath(copy), registered);
        EXPECT_EQ(1, std::count(registered.begin(), registered.end(), L'\''));
        EXPECT_EQ(S_OK, server.Export("DllUnregisterServer")());
    }
    ::DeleteFileW(copy.c_str());
    ::RemoveDirectoryW(directory.c_str());
}

// A late-bound property call by name through the type library; the member's dispid comes back.
HRESULT Property(IDispatch* object, const wchar_t* name, WORD flags, VARIANT& value, DISPID& id) {
    LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
    const HRESULT found = object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(found))
        return found;
    DISPID named = DISPID_PROPERTYPUT;
    DISPPARAMS put = {&value, &named, 1, 1}, none = {nullptr, nullptr, 0, 0};
    const bool get = flags == DISPATCH_PROPERTYGET;
    return object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, get ? &none : &put,
                          get ? &value : nullptr, nullptr, nullptr);
}

// Activation through a manifest: the server is unregistered, and a client that activates the
// sample application manifest still makes both classes by CLSID and ProgID (which Wine maps to
// an alias of the class) and calls them late-bound through the type library.
TEST(ServerDllTest, RegistrationFreeActivationThroughAnActivationContext) {
    ReregisterAtEnd restore;
    ASSERT_EQ(0, Regsvr32(true));
    CLSID clsid = GUID_NULL;
    ASSERT_NE(S_OK, ::CLSIDFromProgID(L"OrreluxDialogs.ColorDialog", &clsid));

    const std::wstring manifest = testing::BinPath(L"OrreluxDialogsClient.exe.manifest");
    const std::wstring directory = testing::BinPath(L"");
    ACTCTXW context = {};
    context.cbSize = sizeof(context);
    context.dwFlags = ACTCTX_FLAG_ASSEMBLY_DIRECTORY_VALID;
    context.lpSource = manifest.c_str();
    context.lpAssemblyDirectory = directory.c_str();
    HANDLE activation = ::CreateActCtxW(&context);
    ASSERT_NE(INVALID_HANDLE_VALUE, activation) << ::GetLastError();
    ULONG_PTR cookie = 0;
    ASSERT_TRUE(::ActivateActCtx(activation, &cookie));
    {
        const struct {
            const wchar_t* progId; // null: by class identifier
            const CLSID* clsid;
        } made[] = {{nullptr, &CLSID_ColorDialog},
                    {L"OrreluxDialogs.ColorDialog", &CLSID_ColorDialog},
                    {L"OrreluxDialogs.ColorDialog.2.0", &CLSID_ColorDialog},
                    {L"OrreluxDialogs.FileDialog", &CLSID_FileDialog},
                    {L"OrreluxDialogs.FileDialog.2.0", &CLSID_FileDialog}};
        for (const auto& m : made) {
            clsid = *m.clsid;
            ASSERT_TRUE(!m.progId || ::CLSIDFromProgID(m.progId, &clsid) == S_OK) << m.progId;
            auto persist = testing::CreateRegisteredObject<IPersist>(clsid);
            ASSERT_TRUE(persist);
            CLSID actual = GUID_NULL;
            EXPECT_EQ(S_OK, persist->GetClassID(&actual));
            EXPECT_TRUE(IsEqualGUID(*m.clsid, actual));
        }
        auto color = testing::CreateRegisteredObject<IDispatch>(CLSID_ColorDialog);
        ASSERT_TRUE(color);
        VARIANT value;
        V_VT(&value) = VT_I4;
        V_I4(&value) = 0x00ABCDEF;
        DISPID id = 0;
        ASSERT_EQ(S_OK, Property(color.Get(), L"ColorArgb", DISPATCH_PROPERTYPUT, value, id));
        EXPECT_EQ(3, id);
        ComPtr<IColorDialog> dialog;
        ASSERT_EQ(S_OK, color.As(dialog));
        LONG argb = 0;
        EXPECT_EQ(S_OK, dialog->get_ColorArgb(&argb));
        EXPECT_EQ(LONG(0xFFABCDEF), argb);

        auto file = testing::CreateRegisteredObject<IDispatch>(CLSID_FileDialog);
        ASSERT_TRUE(file);
        ::VariantInit(&value);
        ASSERT_EQ(S_OK, Property(file.Get(), L"Title", DISPATCH_PROPERTYGET, value, id));
        EXPECT_EQ(6, id);
        EXPECT_EQ(L"Open file", testing::TakeBstr(V_BSTR(&value)));
    }
    ::DeactivateActCtx(0, cookie);
    ::ReleaseActCtx(activation);
}

} // namespace
} // namespace orrelux
