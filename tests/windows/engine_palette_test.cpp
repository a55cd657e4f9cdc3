// EnginePalette of ImagingEngine.dll as the picker reaches it (CoCreateInstance with context 23),
// the DLL's exports, and its registration and removal. The suite registers the DLL itself, so it
// also runs on its own; the test that unregisters it registers it again before it ends.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "imaging_engine.h"
#include "test_support.h"

namespace orrelux {
namespace {

using engine::kEngineCreationContext;

std::wstring EngineDllPath() {
    return testing::BinPath(L"ImagingEngine.dll");
}

std::wstring GuidText(REFGUID guid) {
    wchar_t text[40] = {};
    ::StringFromGUID2(guid, text, 40);
    return text;
}

// Runs regsvr32 on the engine and answers its exit code (0: the DLL's call succeeded).
DWORD RegisterEngine(bool registering) {
    std::wstring line = std::wstring(L"regsvr32.exe /s ") + (registering ? L"" : L"/u ") + L"\"" +
                        EngineDllPath() + L"\"";
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

// A string value below HKEY_CLASSES_ROOT; "(absent)" when the key or the value is missing.
std::wstring ClassesValue(const std::wstring& path, const wchar_t* name = nullptr) {
    wchar_t data[1024] = {};
    DWORD size = sizeof(data);
    if (::RegGetValueW(HKEY_CLASSES_ROOT, path.c_str(), name, RRF_RT_REG_SZ, nullptr, data,
                       &size) != ERROR_SUCCESS)
        return L"(absent)";
    return data;
}

bool ClassesKeyExists(const std::wstring& path) {
    HKEY key = nullptr;
    if (::RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    ::RegCloseKey(key);
    return true;
}

ComPtr<IEnginePalette> CreatePalette(HRESULT* status = nullptr) {
    ComPtr<IEnginePalette> palette;
    const HRESULT created = ::CoCreateInstance(CLSID_EnginePalette, nullptr, kEngineCreationContext,
                                               IID_IEnginePalette, palette.PutVoid());
    if (status)
        *status = created;
    return palette;
}

// The colours of a palette object, as the picker reads them.
std::vector<ULONG> ReadEntries(IEnginePalette* palette) {
    std::vector<ULONG> entries;
    LONG count = 0;
    EXPECT_EQ(S_OK, palette->EntryCount(&count));
    for (LONG i = 0; i < count; ++i) {
        ULONG color = 0;
        EXPECT_EQ(S_OK, palette->EntryAt(i, &color)) << i;
        entries.push_back(color);
    }
    return entries;
}

class EnginePaletteTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { registerExit_ = RegisterEngine(true); }
    void SetUp() override { ASSERT_EQ(0u, registerExit_) << "regsvr32 ImagingEngine.dll"; }

    static DWORD registerExit_;
};
DWORD EnginePaletteTest::registerExit_ = 0;

// Each standard palette by its count and an entry; a load replaces the whole palette.
TEST_F(EnginePaletteTest, LoadsTheThreeStandardPalettes) {
    HRESULT created = E_FAIL;
    const ComPtr<IEnginePalette> palette = CreatePalette(&created);
    ASSERT_EQ(S_OK, created);
    ASSERT_TRUE(palette);
    EXPECT_TRUE(ReadEntries(palette.Get()).empty()) << "a new object holds no palette";
    const struct {
        LONG type, index;
        std::size_t count;
        ULONG color;
    } cases[] = {{2, 1, 216, 0xFF000033},
                 {4, 215, 256, 0xFFEE0000},
                 {3, 11, 20, 0xFFA0A0A4},
                 {2, 36, 216, 0xFF330000}};
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "type " << c.type << " entry " << c.index);
        ASSERT_EQ(S_OK, palette->LoadStandardPalette(c.type, 0));
        const std::vector<ULONG> entries = ReadEntries(palette.Get());
        ASSERT_EQ(c.count, entries.size());
        EXPECT_EQ(c.color, entries[c.index]);
        for (const ULONG entry : entries)
            ASSERT_EQ(0xFF000000u, entry & 0xFF000000u) << "every entry is opaque";
    }
}

// The Windows palette is the system's own default palette, entry for entry.
TEST_F(EnginePaletteTest, WindowsPaletteIsTheSystemDefaultPalette) {
    PALETTEENTRY system[20] = {};
    ASSERT_EQ(20u, ::GetPaletteEntries(static_cast<HPALETTE>(::GetStockObject(DEFAULT_PALETTE)), 0,
                                       20, system));
    const ComPtr<IEnginePalette> palette = CreatePalette();
    ASSERT_TRUE(palette);
    ASSERT_EQ(S_OK, palette->LoadStandardPalette(3, 0));
    const std::vector<ULONG> entries = ReadEntries(palette.Get());
    ASSERT_EQ(20u, entries.size());
    for (size_t i = 0; i < 20; ++i)
        EXPECT_EQ(0xFF000000u | static_cast<ULONG>(system[i].peRed) << 16 |
                      static_cast<ULONG>(system[i].peGreen) << 8 | system[i].peBlue,
                  entries[i])
            << "entry " << i;
}

TEST_F(EnginePaletteTest, RefusedCallsLeaveThePaletteAsItWas) {
    const ComPtr<IEnginePalette> palette = CreatePalette();
    ASSERT_TRUE(palette);
    ULONG color = 0x12345678;
    EXPECT_EQ(E_INVALIDARG, palette->EntryAt(0, &color)) << "an empty palette has no entry 0";
    EXPECT_EQ(0u, color);
    ASSERT_EQ(S_OK, palette->LoadStandardPalette(3, 0));
    const std::vector<ULONG> windows = ReadEntries(palette.Get());

    IEnginePalette* p = palette.Get();
    EXPECT_EQ(E_POINTER, p->EntryCount(nullptr));
    EXPECT_EQ(E_POINTER, p->EntryAt(0, nullptr));
    for (const LONG type : {1L, 5L, -1L})
        EXPECT_EQ(E_INVALIDARG, p->LoadStandardPalette(type, 0)) << "palette type " << type;
    EXPECT_EQ(E_INVALIDARG, p->LoadStandardPalette(2, 1)) << "reserved not 0";
    for (const LONG index : {-1L, 20L, 0x7FFFFFFFL, static_cast<LONG>(0x80000000u)}) {
        EXPECT_EQ(E_INVALIDARG, p->SetEntry(index, 0xFF123456)) << index;
        color = 0x12345678;
        EXPECT_EQ(E_INVALIDARG, p->EntryAt(index, &color)) << index;
        EXPECT_EQ(0u, color) << "the out-value is cleared";
    }
    EXPECT_EQ(windows, ReadEntries(palette.Get()));
}

TEST_F(EnginePaletteTest, SetEntryAndClear) {
    const ComPtr<IEnginePalette> palette = CreatePalette();
    ASSERT_TRUE(palette);
    ASSERT_EQ(S_OK, palette->LoadStandardPalette(4, 0));
    ASSERT_EQ(S_OK, palette->SetEntry(255, 0x80123456));
    const std::vector<ULONG> entries = ReadEntries(palette.Get());
    EXPECT_EQ(0x80123456u, entries[255]);
    EXPECT_EQ(0xFF111111u, entries[254]) << "the neighbour stays";
    EXPECT_EQ(S_OK, palette->Clear());
    EXPECT_TRUE(ReadEntries(palette.Get()).empty());
    EXPECT_EQ(E_INVALIDARG, palette->SetEntry(0, 0));
}

// An automation client reaches the same operations by name through the embedded type library
// (whose order the meta reader's test checks with the engine's other interfaces).
TEST_F(EnginePaletteTest, DispatchCallsTheSameOperations) {
    const ComPtr<IEnginePalette> palette = CreatePalette();
    ASSERT_TRUE(palette);
    ComPtr<IDispatch> dispatch;
    ASSERT_EQ(S_OK, palette.As(dispatch));
    const auto dispid = [&](const wchar_t* name) {
        DISPID id = DISPID_UNKNOWN;
        auto* names = const_cast<LPOLESTR>(name);
        EXPECT_EQ(S_OK, dispatch->GetIDsOfNames(IID_NULL, &names, 1, 0, &id)) << name;
        return id;
    };
    VARIANT result;
    ::VariantInit(&result);
    // Arguments go in reverse order.
    const auto call = [&](const wchar_t* name, std::vector<LONG> arguments) {
        std::vector<VARIANT> values(arguments.size());
        for (std::size_t i = 0; i < values.size(); ++i) {
            values[i].vt = VT_I4;
            values[i].lVal = arguments[i];
        }
        DISPPARAMS parameters = {values.data(), nullptr, static_cast<UINT>(values.size()), 0};
        EXCEPINFO exception = {};
        const HRESULT status = dispatch->Invoke(dispid(name), IID_NULL, 0, DISPATCH_METHOD,
                                                &parameters, &result, &exception, nullptr);
        ::SysFreeString(exception.bstrSource);
        ::SysFreeString(exception.bstrDescription);
        ::SysFreeString(exception.bstrHelpFile);
        return status;
    };
    EXPECT_EQ(S_OK, call(L"LoadStandardPalette", {0, 4})); // reserved, then the type
    EXPECT_EQ(S_OK, call(L"EntryCount", {}));
    EXPECT_EQ(VT_I4, result.vt);
    EXPECT_EQ(256, result.lVal);
    EXPECT_EQ(S_OK, call(L"EntryAt", {245}));
    EXPECT_EQ(VT_UI4, result.vt);
    EXPECT_EQ(0xFFEEEEEEu, result.ulVal);
    EXPECT_TRUE(FAILED(call(L"EntryAt", {256})));
    EXPECT_TRUE(FAILED(call(L"LoadStandardPalette", {0, 7})));
    EXPECT_EQ(S_OK, call(L"EntryCount", {}));
    EXPECT_EQ(256, result.lVal);
    EXPECT_EQ(DISP_E_UNKNOWNINTERFACE,
              dispatch->Invoke(dispid(L"Clear"), IID_IEnginePalette, 0, DISPATCH_METHOD, nullptr,
                               nullptr, nullptr, nullptr));
}

// Both threading models: an object made in the multithreaded apartment is used by several of
// its threads at once, loading and reading, and never shows a mixture of two palettes.
TEST_F(EnginePaletteTest, ThreadsOfTheMultithreadedApartmentShareOneObject) {
    std::atomic<int> failures{0};
    std::thread owner([&failures] {
        ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        {
            const ComPtr<IEnginePalette> palette = CreatePalette();
            failures += palette ? 0 : 1;
            std::vector<std::thread> workers;
            for (LONG t = 0; palette && t < 4; ++t)
                workers.emplace_back([&failures, &palette, t] {
                    ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
                    for (int i = 0; i < 2000; ++i) {
                        palette->LoadStandardPalette(2 + (t + i) % 3, 0);
                        LONG count = 0;
                        ULONG first = 0;
                        palette->EntryCount(&count);
                        const HRESULT read = palette->EntryAt(0, &first);
                        if ((count != 216 && count != 20 && count != 256) || read != S_OK ||
                            (first != 0xFF000000u && first != 0xFFFFFFFFu))
                            ++failures;
                    }
                    ::CoUninitialize();
                });
            for (std::thread& worker : workers)
                worker.join();
        }
        ::CoUninitialize();
    });
    owner.join();
    EXPECT_EQ(0, failures.load());
}

TEST_F(EnginePaletteTest, DllEntryPointsAndLockCount) {
    const testing::UniqueModule dll(::LoadLibraryW(EngineDllPath().c_str()));
    ASSERT_TRUE(dll);
    const auto entry = [&](const char* name) {
        return reinterpret_cast<void*>(::GetProcAddress(dll.Get(), name));
    };
    for (const char* name :
         {"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"})
        EXPECT_NE(nullptr, entry(name)) << name;
    const auto canUnload = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(entry("DllCanUnloadNow"));
    const auto getClassObject =
        reinterpret_cast<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>(
            entry("DllGetClassObject"));
    ASSERT_TRUE(canUnload && getClassObject);

    void* out = reinterpret_cast<void*>(1);
    EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE,
              getClassObject(IID_IEnginePalette, IID_IClassFactory, &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(E_POINTER, getClassObject(CLSID_EnginePalette, IID_IClassFactory, nullptr));

    EXPECT_EQ(S_OK, canUnload());
    {
        ComPtr<IClassFactory> factory;
        ASSERT_EQ(S_OK, getClassObject(CLSID_EnginePalette, IID_IClassFactory, factory.PutVoid()));
        EXPECT_EQ(S_FALSE, canUnload()) << "a factory in use keeps the DLL";
        ComPtr<IUnknown> outer;
        ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IID_IUnknown, outer.PutVoid()));
        ComPtr<IUnknown> aggregated;
        EXPECT_EQ(CLASS_E_NOAGGREGATION,
                  factory->CreateInstance(outer.Get(), IID_IUnknown, aggregated.PutVoid()));
        ComPtr<IEnginePalette> palette;
        ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IID_IEnginePalette, palette.PutVoid()));
        ComPtr<IStream> none;
        EXPECT_EQ(E_NOINTERFACE, palette.As(none));
        factory.Reset();
        EXPECT_EQ(S_FALSE, canUnload()) << "live objects keep the DLL";
    }
    EXPECT_EQ(S_OK, canUnload());
}

// Registration writes the class, its ProgIDs and the type library (with the interface for
// marshalling); unregistering removes all of it, after which the engine cannot be created: the
// picker then runs without its palette page.
TEST_F(EnginePaletteTest, UnregisteringRemovesTheClassAndCreationFails) {
    struct ReregisterAtEnd {
        ~ReregisterAtEnd() { RegisterEngine(true); }
    } reregister;

    const std::wstring clsid = GuidText(CLSID_EnginePalette);
    const std::wstring clsidKey = L"CLSID\\" + clsid;
    const std::wstring libraryKey = L"TypeLib\\" + GuidText(LIBID_OrreluxImagingEngine);
    const std::wstring interfaceKey = L"Interface\\" + GuidText(IID_IEnginePalette);
    const struct {
        std::wstring path;
        const wchar_t* name;
        std::wstring value;
    } values[] = {
        {clsidKey + L"\\InprocServer32", L"ThreadingModel", L"Both"},
        {clsidKey + L"\\ProgID", nullptr, L"OrreluxEngine.Palette.1"},
        {clsidKey + L"\\VersionIndependentProgID", nullptr, L"OrreluxEngine.Palette"},
        {clsidKey + L"\\TypeLib", nullptr, GuidText(LIBID_OrreluxImagingEngine)},
        {L"OrreluxEngine.Palette.1\\CLSID", nullptr, clsid},
        {L"OrreluxEngine.Palette\\CLSID", nullptr, clsid},
        {L"OrreluxEngine.Palette\\CurVer", nullptr, L"OrreluxEngine.Palette.1"},
        {interfaceKey + L"\\TypeLib", nullptr, GuidText(LIBID_OrreluxImagingEngine)},
    };
    for (const auto& v : values)
        EXPECT_EQ(v.value, ClassesValue(v.path, v.name)) << v.path;
    for (const std::wstring& pathKey :
         {clsidKey + L"\\InprocServer32",
          libraryKey + L"\\1.0\\0\\" + (sizeof(void*) == 8 ? L"win64" : L"win32")})
        EXPECT_EQ(0, ::lstrcmpiW(EngineDllPath().c_str(), ClassesValue(pathKey).c_str()))
            << pathKey << ": " << ClassesValue(pathKey);
    CLSID byProgId = GUID_NULL;
    EXPECT_EQ(S_OK, ::CLSIDFromProgID(L"OrreluxEngine.Palette", &byProgId));
    EXPECT_EQ(CLSID_EnginePalette, byProgId);

    ASSERT_EQ(0u, RegisterEngine(false));
    for (const std::wstring& key :
         {clsidKey, std::wstring(L"OrreluxEngine.Palette.1"),
          std::wstring(L"OrreluxEngine.Palette"), libraryKey, interfaceKey})
        EXPECT_FALSE(ClassesKeyExists(key)) << key;
    HRESULT created = S_OK;
    EXPECT_FALSE(CreatePalette(&created));
    EXPECT_EQ(REGDB_E_CLASSNOTREG, created);
    EXPECT_EQ(0u, RegisterEngine(false)) << "unregistering twice is no failure";

    ASSERT_EQ(0u, RegisterEngine(true));
    EXPECT_TRUE(CreatePalette(&created));
    EXPECT_EQ(S_OK, created);
}

} // namespace
} // namespace orrelux
