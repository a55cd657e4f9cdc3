// Orrelux20Dialogs.dll from outside: its exports, the class object and the lock count,
// registration by regsvr32 and its removal, and activation without registration through an
// activation context. Tests that unregister the server register it again before they end.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "test_support.h"

namespace orrelux {
namespace {

using testing::ServerDllPath;

// The server loaded by path, with its four exports.
class ServerModule {
public:
    explicit ServerModule(const std::wstring& path) : module_(::LoadLibraryW(path.c_str())) {
        if (!module_)
            return;
        canUnload = Export<decltype(canUnload)>("DllCanUnloadNow");
        getClassObject = Export<decltype(getClassObject)>("DllGetClassObject");
        registerServer = Export<decltype(registerServer)>("DllRegisterServer");
        unregisterServer = Export<decltype(unregisterServer)>("DllUnregisterServer");
    }
    HMODULE Handle() const { return module_.Get(); }

    HRESULT(STDAPICALLTYPE* canUnload)() = nullptr;
    HRESULT(STDAPICALLTYPE* getClassObject)(REFCLSID, REFIID, void**) = nullptr;
    HRESULT(STDAPICALLTYPE* registerServer)() = nullptr;
    HRESULT(STDAPICALLTYPE* unregisterServer)() = nullptr;

private:
    template <class Function> Function Export(const char* name) {
        return reinterpret_cast<Function>(
            reinterpret_cast<void*>(::GetProcAddress(module_.Get(), name)));
    }
    testing::UniqueModule module_;
};

// Runs a program of the system and answers its exit code.
DWORD RunProgram(const std::wstring& commandLine) {
    std::wstring line = commandLine;
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started = {};
    if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                          &startup, &started))
        return static_cast<DWORD>(-1);
    const UniqueKernelHandle process(started.hProcess), thread(started.hThread);
    ::WaitForSingleObject(process.Get(), INFINITE);
    DWORD code = 0;
    ::GetExitCodeProcess(process.Get(), &code);
    return code;
}

DWORD Regsvr32(const std::wstring& options) {
    return RunProgram(L"regsvr32.exe /s " + options + L" \"" + ServerDllPath() + L"\"");
}

// Everything below a key of HKEY_CLASSES_ROOT: "path|value name" -> "type:data".
using RegistryTree = std::map<std::wstring, std::wstring>;

void ReadTree(HKEY root, const std::wstring& path, RegistryTree& tree) {
    HKEY key = nullptr;
    if (::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return;
    tree.emplace(path + L"|", L"(key)"); // a default value below replaces the marker
    for (DWORD i = 0;; ++i) {
        wchar_t name[256];
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
    std::vector<std::wstring> children;
    for (DWORD i = 0;; ++i) {
        wchar_t name[256];
        DWORD nameLength = 256;
        if (::RegEnumKeyExW(key, i, name, &nameLength, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
            break;
        children.push_back(name);
    }
    ::RegCloseKey(key);
    for (const std::wstring& child : children)
        ReadTree(root, path + L"\\" + child, tree);
}

const wchar_t kColorClsidKey[] = L"CLSID\\{AC261EDF-CD49-47DC-9A9B-1207B8AA68AD}";
const wchar_t kFileClsidKey[] = L"CLSID\\{057891B4-0512-457E-8061-93B2046003A1}";
const wchar_t kTypeLibKey[] = L"TypeLib\\{1912E4D1-2417-4FA4-A1CA-B55F5C881A0C}";
const wchar_t* const kServerKeys[] = {
    kColorClsidKey,
    kFileClsidKey,
    L"OrreluxDialogs.ColorDialog.2.0",
    L"OrreluxDialogs.ColorDialog",
    L"OrreluxDialogs.FileDialog.2.0",
    L"OrreluxDialogs.FileDialog",
    kTypeLibKey,
};

RegistryTree ServerRegistry() {
    RegistryTree tree;
    for (const wchar_t* key : kServerKeys)
        ReadTree(HKEY_CLASSES_ROOT, key, tree);
    return tree;
}

std::wstring ShortPath(const std::wstring& path) {
    wchar_t buffer[MAX_PATH];
    const DWORD length = ::GetShortPathNameW(path.c_str(), buffer, MAX_PATH);
    return length ? std::wstring(buffer, length) : path;
}

// Registers the server again when a test that unregistered it ends, passed or not.
struct ReregisterAtEnd {
    ~ReregisterAtEnd() { Regsvr32(L""); }
};

TEST(ServerDllTest, ExportsTheFourEntryPointsAndNothingElse) {
    ServerModule server(ServerDllPath());
    ASSERT_NE(nullptr, server.Handle());
    const auto* base = reinterpret_cast<const BYTE*>(server.Handle());
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
    ASSERT_TRUE(server.getClassObject);
    EXPECT_EQ(E_POINTER, server.getClassObject(CLSID_ColorDialog, IID_IClassFactory, nullptr));

    const struct {
        const char* name;
        const CLSID* clsid;
        const IID* iid;
        HRESULT result;
    } cases[] = {
        {"an interface identifier is no class", &IID_IFileDialog, &IID_IClassFactory,
         CLASS_E_CLASSNOTAVAILABLE},
        {"an unknown class", &IID_IColorDialog, &IID_IUnknown, CLASS_E_CLASSNOTAVAILABLE},
        {"a factory answers no other interface", &CLSID_ColorDialog, &IID_IDispatch, E_NOINTERFACE},
        {"the factory", &CLSID_ColorDialog, &IID_IClassFactory, S_OK},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        void* out = reinterpret_cast<void*>(1);
        EXPECT_EQ(c.result, server.getClassObject(*c.clsid, *c.iid, &out));
        EXPECT_EQ(c.result == S_OK, out != nullptr);
        if (out)
            static_cast<IUnknown*>(out)->Release();
    }

    ComPtr<IClassFactory> first, second;
    ASSERT_EQ(S_OK, server.getClassObject(CLSID_ColorDialog, IID_IClassFactory, first.PutVoid()));
    ASSERT_EQ(S_OK, server.getClassObject(CLSID_ColorDialog, IID_IClassFactory, second.PutVoid()));
    EXPECT_EQ(first.Get(), second.Get()) << "the factory is made once and kept";
}

TEST(ServerDllTest, CanUnloadNowFollowsTheLockCount) {
    ServerModule server(ServerDllPath());
    ASSERT_TRUE(server.canUnload && server.getClassObject);
    EXPECT_EQ(S_OK, server.canUnload());
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(S_OK, server.getClassObject(CLSID_ColorDialog, IID_IClassFactory, factory.PutVoid()));
    EXPECT_EQ(S_OK, server.canUnload()) << "a factory alone holds no lock";

    ComPtr<IColorDialog> first, second;
    ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IID_IColorDialog, first.PutVoid()));
    ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IID_IColorDialog, second.PutVoid()));
    EXPECT_EQ(S_FALSE, server.canUnload());
    ComPtr<IEnumConnectionPoints> points;
    ComPtr<IConnectionPointContainer> container;
    ASSERT_EQ(S_OK, first.As(container));
    ASSERT_EQ(S_OK, container->EnumConnectionPoints(points.Put()));
    container.Reset();
    first.Reset();
    second.Reset();
    EXPECT_EQ(S_FALSE, server.canUnload()) << "an enumerator holds the module too";
    points.Reset();
    EXPECT_EQ(S_OK, server.canUnload());

    ASSERT_EQ(S_OK, factory->LockServer(TRUE));
    ASSERT_EQ(S_OK, factory->LockServer(TRUE));
    EXPECT_EQ(S_FALSE, server.canUnload());
    ASSERT_EQ(S_OK, factory->LockServer(FALSE));
    EXPECT_EQ(S_FALSE, server.canUnload());
    ASSERT_EQ(S_OK, factory->LockServer(FALSE));
    EXPECT_EQ(S_OK, server.canUnload());
}

TEST(ServerDllTest, Regsvr32WritesTheScriptsAndTheTypeLibrary) {
    ReregisterAtEnd restore;
    ASSERT_EQ(0u, Regsvr32(L""));
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

    ASSERT_EQ(0u, Regsvr32(L""));
    EXPECT_EQ(once, ServerRegistry()) << "registering twice equals registering once";
}

TEST(ServerDllTest, Regsvr32UnregisterRemovesWhatTheScriptsOwn) {
    ReregisterAtEnd restore;
    ASSERT_EQ(0u, Regsvr32(L""));
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        ASSERT_EQ(0u, Regsvr32(L"/u")) << "unregistering never fails, twice included";
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
        ASSERT_TRUE(server.registerServer);
        ASSERT_EQ(S_OK, server.registerServer());
        RegistryTree tree;
        ReadTree(HKEY_CLASSES_ROOT, kColorClsidKey, tree);
        const std::wstring registered = tree[std::wstring(kColorClsidKey) + L"\\InprocServer32|"];
        EXPECT_EQ(L"1:" + ShortPath(copy), registered);
        EXPECT_EQ(1, std::count(registered.begin(), registered.end(), L'\''));
        EXPECT_EQ(S_OK, server.unregisterServer());
    }
    ::DeleteFileW(copy.c_str());
    ::RemoveDirectoryW(directory.c_str());
}

// Activation through a manifest: the server is unregistered, and a client that activates the
// sample application manifest still makes the object by ProgID, calls it late-bound through
// the type library, and gets error information.
TEST(ServerDllTest, RegistrationFreeActivationThroughAnActivationContext) {
    ReregisterAtEnd restore;
    ASSERT_EQ(0u, Regsvr32(L"/u"));
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
        // Made by class identifier, and by both ProgIDs (which Wine maps to an alias of the
        // class): each time an object of ColorDialog.
        std::vector<CLSID> classes = {CLSID_ColorDialog};
        for (const wchar_t* progId :
             {L"OrreluxDialogs.ColorDialog", L"OrreluxDialogs.ColorDialog.2.0"}) {
            ASSERT_EQ(S_OK, ::CLSIDFromProgID(progId, &clsid));
            classes.push_back(clsid);
        }
        for (const CLSID& made : classes) {
            auto persist = testing::CreateRegisteredObject<IPersist>(made);
            ASSERT_TRUE(persist);
            CLSID actual = GUID_NULL;
            EXPECT_EQ(S_OK, persist->GetClassID(&actual));
            EXPECT_TRUE(IsEqualGUID(CLSID_ColorDialog, actual));
        }
        auto dispatch = testing::CreateRegisteredObject<IDispatch>(CLSID_ColorDialog);
        ASSERT_TRUE(dispatch);
        LPOLESTR names[] = {const_cast<LPOLESTR>(L"ColorArgb")};
        DISPID id = 0;
        ASSERT_EQ(S_OK, dispatch->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id));
        EXPECT_EQ(3, id);
        VARIANT value;
        V_VT(&value) = VT_I4;
        V_I4(&value) = 0x00ABCDEF;
        DISPID named = DISPID_PROPERTYPUT;
        DISPPARAMS put = {&value, &named, 1, 1};
        ASSERT_EQ(S_OK, dispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT,
                                         &put, nullptr, nullptr, nullptr));
        ComPtr<IColorDialog> dialog;
        ASSERT_EQ(S_OK, dispatch.As(dialog));
        LONG argb = 0;
        EXPECT_EQ(S_OK, dialog->get_ColorArgb(&argb));
        EXPECT_EQ(LONG(0xFFABCDEF), argb);

        // FileDialog the same way: both ProgIDs, and a late-bound read of its Title.
        for (const wchar_t* progId :
             {L"OrreluxDialogs.FileDialog", L"OrreluxDialogs.FileDialog.2.0"}) {
            ASSERT_EQ(S_OK, ::CLSIDFromProgID(progId, &clsid));
            auto persist = testing::CreateRegisteredObject<IPersist>(clsid);
            ASSERT_TRUE(persist);
            CLSID actual = GUID_NULL;
            EXPECT_EQ(S_OK, persist->GetClassID(&actual));
            EXPECT_TRUE(IsEqualGUID(CLSID_FileDialog, actual));
        }
        auto file = testing::CreateRegisteredObject<IDispatch>(CLSID_FileDialog);
        ASSERT_TRUE(file);
        LPOLESTR title[] = {const_cast<LPOLESTR>(L"Title")};
        ASSERT_EQ(S_OK, file->GetIDsOfNames(IID_NULL, title, 1, LOCALE_USER_DEFAULT, &id));
        EXPECT_EQ(6, id);
        DISPPARAMS none = {nullptr, nullptr, 0, 0};
        VARIANT text;
        ::VariantInit(&text);
        ASSERT_EQ(S_OK, file->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none,
                                     &text, nullptr, nullptr));
        EXPECT_EQ(L"Open file", testing::TakeBstr(V_BSTR(&text)));
    }
    ::DeactivateActCtx(0, cookie);
    ::ReleaseActCtx(activation);
}

} // namespace
} // namespace orrelux
