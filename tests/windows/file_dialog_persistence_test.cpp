// Persistence of FileDialog: the 46 rows of its property table in the stream of version 0x300
// and in the "Contents" stream of a storage, byte for byte; round trips of every row; refused
// versions and refused puts; and the engine's part, since IsLzwEnabled lives in the engine. The
// typed rows go through IDispatch, so the ctest fixture's registration of the server is needed.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "file_dialog_support.h"
#include "server/property_stream.h"

namespace orrelux {
namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::CreateLinkedObject;

// One typed row's value: text for VT_BSTR, else a number (VT_BOOL as -1 or 0).
struct Value {
    VARTYPE type;
    std::wstring text;
    LONG number = 0;
    bool operator==(const Value& other) const {
        return type == other.type && text == other.text && number == other.number;
    }
};
using Values = std::map<DISPID, Value>;

Value Text(const std::wstring& text) {
    return {VT_BSTR, text};
}
Value Boolean(bool value) {
    return {VT_BOOL, L"", value ? -1 : 0};
}
Value Number(LONG value) {
    return {VT_I4, L"", value};
}

const std::wstring kEngineOpenList = FakeEngineState{}.openFilter;

// What a new component with the engine saves.
Values Defaults() {
    return {
        {3, Text(L"Cancel")},
        {4, Text(L"MM'/'dd'/'yyyy")},
        {5, Text(L"*")},
        {6, Text(L"Open file")},
        {7, Text(kEngineOpenList)},
        {8, Text(L"&Help")},
        {9, Text(L"Look &in:")},
        {10, Text(L"Color depth:")},
        {11, Text(L"Sho&w preview")},
        {12, Text(L"Date:")},
        {13, Text(L"Size:")},
        {14, Text(L"Type:")},
        {15, Text(L"Open as &read-only")},
        {17, Text(L"&Open")},
        {18, Text(L"&Save")},
        {19, Text(L"File &name:")},
        {20, Text(L"Files of &type:")},
        {21, Boolean(true)},
        {22, Text(L"")},
        {24, Number(1)},
        {28, Boolean(true)},
        {29, Boolean(false)},
        {30, Boolean(true)},
        {31, Boolean(false)},
        {32, Boolean(true)},
        {34, Boolean(true)},
        {35, Boolean(true)},
        {36, Boolean(false)},
        {37, Boolean(true)},
        {38, Boolean(false)},
        {39, Boolean(false)},
        {41, Boolean(true)},
        {42, Boolean(false)},
        {43, Boolean(false)},
        {44, Boolean(false)},
        {49, Boolean(false)},
        {50, Text(L"")},
        {51, Text(L"Dimensions:")},
        {52, Text(L"Color space:")},
        {53, Text(L"Transparency:")},
        {54, Text(L"Yes")},
        {55, Text(L"No")},
        {56, Text(L"kb")},
        {57, Text(L"b")},
    };
}

// A value of its row's type that differs from the default: texts "v<dispid>", booleans flipped,
// the filter index 7.
Values Customized() {
    Values values = Defaults();
    for (auto& [dispid, value] : values) {
        if (value.type == VT_BSTR)
            value.text = L"v" + std::to_wstring(dispid);
        else if (value.type == VT_BOOL)
            value.number = value.number ? 0 : -1;
        else
            value.number = 7;
    }
    return values;
}

void Put32(Bytes& out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}
void Put16(Bytes& out, std::uint16_t value) {
    out.push_back(static_cast<std::uint8_t>(value));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
}

// The stream of these values, row by row in table order, up to (not including) row `end`.
Bytes Encode(SIZEL extent, const Values& values, std::size_t end = SIZE_MAX,
             std::uint32_t version = 0x300) {
    Bytes out;
    Put32(out, version);
    std::size_t row = 0;
    for (const PropertyRow& r : kFileDialogPropertyRows) {
        if (row++ >= end)
            break;
        if (r.kind == RowKind::RawExtent) {
            Put32(out,
                  static_cast<std::uint32_t>(r.axis == ExtentAxis::Cx ? extent.cx : extent.cy));
            continue;
        }
        const Value& v = values.at(r.dispid);
        Put16(out, v.type);
        if (v.type == VT_BSTR) {
            Put32(out, static_cast<std::uint32_t>((v.text.size() + 1) * 2));
            for (wchar_t c : v.text)
                Put16(out, static_cast<std::uint16_t>(c));
            Put16(out, 0);
        } else if (v.type == VT_BOOL) {
            Put16(out, static_cast<std::uint16_t>(v.number));
        } else {
            Put32(out, static_cast<std::uint32_t>(v.number));
        }
    }
    return out;
}

std::size_t RowOf(DISPID dispid) {
    for (std::size_t i = 0; i < std::size(kFileDialogPropertyRows); ++i) {
        if (kFileDialogPropertyRows[i].kind == RowKind::Typed &&
            kFileDialogPropertyRows[i].dispid == dispid)
            return i;
    }
    return SIZE_MAX;
}

Bytes StreamBytes(IStream* stream) {
    STATSTG stat = {};
    stream->Stat(&stat, STATFLAG_NONAME);
    Bytes bytes(static_cast<std::size_t>(stat.cbSize.QuadPart));
    LARGE_INTEGER zero = {};
    stream->Seek(zero, STREAM_SEEK_SET, nullptr);
    ULONG read = 0;
    stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &read);
    bytes.resize(read);
    return bytes;
}

ComPtr<IStream> StreamOf(const Bytes& bytes) {
    ComPtr<IStream> stream;
    ::CreateStreamOnHGlobal(nullptr, TRUE, stream.Put());
    ULONG written = 0;
    stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
    LARGE_INTEGER zero = {};
    stream->Seek(zero, STREAM_SEEK_SET, nullptr);
    return stream;
}

class FileDialogPersistenceTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(object);
        ComPtr<IOleObject> ole;
        ASSERT_EQ(S_OK, object.As(ole));
        ole->GetExtent(DVASPECT_CONTENT, &natural);
    }

    static ComPtr<IFileDialog> Fresh() { return CreateLinkedObject<IFileDialog>(CLSID_FileDialog); }

    // Every typed row as the component's IDispatch reads it.
    static Values Read(IFileDialog* dialog) {
        Values values;
        for (const PropertyRow& r : kFileDialogPropertyRows) {
            if (r.kind != RowKind::Typed)
                continue;
            DISPPARAMS none = {nullptr, nullptr, 0, 0};
            VARIANT result;
            ::VariantInit(&result);
            EXPECT_EQ(S_OK, dialog->Invoke(r.dispid, IID_NULL, LOCALE_USER_DEFAULT,
                                           DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr))
                << r.name;
            Value v{V_VT(&result), L"", 0};
            if (V_VT(&result) == VT_BSTR)
                v.text = V_BSTR(&result) ? V_BSTR(&result) : L"";
            else if (V_VT(&result) == VT_BOOL)
                v.number = V_BOOL(&result);
            else
                v.number = V_I4(&result);
            ::VariantClear(&result);
            values[r.dispid] = v;
        }
        return values;
    }

    static void Write(IFileDialog* dialog, const Values& values) {
        for (const auto& [dispid, v] : values) {
            VARIANT argument;
            V_VT(&argument) = v.type;
            if (v.type == VT_BSTR)
                V_BSTR(&argument) = ::SysAllocString(v.text.c_str());
            else if (v.type == VT_BOOL)
                V_BOOL(&argument) = static_cast<VARIANT_BOOL>(v.number);
            else
                V_I4(&argument) = v.number;
            DISPID named = DISPID_PROPERTYPUT;
            DISPPARAMS parameters = {&argument, &named, 1, 1};
            EXPECT_EQ(S_OK,
                      dialog->Invoke(dispid, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT,
                                     &parameters, nullptr, nullptr, nullptr))
                << dispid;
            ::VariantClear(&argument);
        }
    }

    static HRESULT Save(IFileDialog* dialog, Bytes& bytes) {
        ComPtr<IPersistStreamInit> persist;
        dialog->QueryInterface(IID_IPersistStreamInit, persist.PutVoid());
        ComPtr<IStream> stream;
        ::CreateStreamOnHGlobal(nullptr, TRUE, stream.Put());
        const HRESULT saved = persist->Save(stream.Get(), TRUE);
        bytes = StreamBytes(stream.Get());
        return saved;
    }

    static HRESULT Load(IFileDialog* dialog, const Bytes& bytes) {
        ComPtr<IPersistStreamInit> persist;
        dialog->QueryInterface(IID_IPersistStreamInit, persist.PutVoid());
        return persist->Load(StreamOf(bytes).Get());
    }

    FakeEngine engine;
    ComPtr<IFileDialog> object = Fresh();
    SIZEL natural = {};
};

TEST_F(FileDialogPersistenceTest, SavesTheDefaultsRowByRowInTableOrder) {
    ASSERT_EQ(46u, std::size(kFileDialogPropertyRows));
    Bytes saved;
    ASSERT_EQ(S_OK, Save(object.Get(), saved));
    EXPECT_EQ(Encode(natural, Defaults()), saved);
}

TEST_F(FileDialogPersistenceTest, EveryRowSurvivesARoundTrip) {
    const Values custom = Customized();
    Write(object.Get(), custom);
    EXPECT_EQ(custom, Read(object.Get()));
    Bytes saved;
    ASSERT_EQ(S_OK, Save(object.Get(), saved));
    EXPECT_EQ(Encode(natural, custom), saved);

    engine.state.lzw = VARIANT_FALSE; // the value lives in the engine; the load puts it back
    auto copy = Fresh();
    ASSERT_TRUE(copy);
    EXPECT_EQ(S_OK, Load(copy.Get(), saved));
    EXPECT_EQ(custom, Read(copy.Get()));
    EXPECT_EQ(VARIANT_TRUE, engine.state.lzw);
    OLE_HANDLE owner = 1;
    EXPECT_EQ(S_OK, copy->get_OwnerWindow(&owner));
    EXPECT_EQ(0u, owner) << "OwnerWindow is not persisted";
}

TEST_F(FileDialogPersistenceTest, StorageKeepsTheSameBytesInItsContentsStream) {
    const Values custom = Customized();
    Write(object.Get(), custom);
    ComPtr<ILockBytes> lockBytes;
    ComPtr<IStorage> storage;
    ASSERT_EQ(S_OK, ::CreateILockBytesOnHGlobal(nullptr, TRUE, lockBytes.Put()));
    ASSERT_EQ(S_OK, ::StgCreateDocfileOnILockBytes(
                        lockBytes.Get(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0,
                        storage.Put()));
    ComPtr<IPersistStorage> persist;
    ASSERT_EQ(S_OK, object.As(persist));
    ASSERT_EQ(S_OK, persist->Save(storage.Get(), TRUE));
    ComPtr<IStream> contents;
    ASSERT_EQ(S_OK, storage->OpenStream(L"Contents", nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, 0,
                                        contents.Put()));
    EXPECT_EQ(Encode(natural, custom), StreamBytes(contents.Get()));
    contents.Reset();

    auto copy = Fresh();
    ComPtr<IPersistStorage> loader;
    ASSERT_EQ(S_OK, copy.As(loader));
    ASSERT_EQ(S_OK, loader->Load(storage.Get()));
    EXPECT_EQ(custom, Read(copy.Get()));
}

TEST_F(FileDialogPersistenceTest, LoadsStopAtTheFirstRefusal) {
    const Values custom = Customized();
    Values longCaption = custom;
    longCaption[9].text = std::wstring(2029, L'l'); // LookInLabelCaption
    Values longLabel = custom;
    longLabel[51].text = std::wstring(101, L'd'); // DimensionsLabelCaption
    Values zeroIndex = custom;
    zeroIndex[24].number = 0;
    Bytes shortStream = Encode(natural, custom, RowOf(57) + 1);
    shortStream.resize(shortStream.size() - 3); // inside the last row

    // The values after a load that stopped at `row`: rows before it applied, the rest default.
    const auto appliedBefore = [&](std::size_t row) {
        Values expected = Defaults();
        for (const auto& [dispid, value] : custom) {
            if (RowOf(dispid) < row)
                expected[dispid] = value;
        }
        return expected;
    };
    const struct {
        const char* name;
        Bytes stream;
        HRESULT result;
        Values after;
    } cases[] = {
        {"version 0x300", Encode(natural, custom), S_OK, custom},
        {"an older version reads as this one", Encode(natural, custom, SIZE_MAX, 0x200), S_OK,
         custom},
        {"version 0x301 is refused before any row", Encode(natural, custom, SIZE_MAX, 0x301),
         E_FAIL, Defaults()},
        {"a caption over 2028", Encode(natural, longCaption), E_FAIL, appliedBefore(RowOf(9))},
        {"a label over 100", Encode(natural, longLabel), E_FAIL, appliedBefore(RowOf(51))},
        {"a filter index of 0 in run mode", Encode(natural, zeroIndex), E_FAIL,
         appliedBefore(RowOf(24))},
        {"a short stream", shortStream, E_FAIL, appliedBefore(RowOf(57))},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        engine.state.lzw = VARIANT_FALSE;
        auto fresh = Fresh();
        EXPECT_EQ(c.result, Load(fresh.Get(), c.stream));
        EXPECT_EQ(c.after, Read(fresh.Get()));
    }
}

TEST_F(FileDialogPersistenceTest, AnEmptyTitleHasTheByteCountTwo) {
    Values values = Defaults();
    values[6].text = L"";
    UniqueBstr empty(L"");
    ASSERT_EQ(S_OK, object->put_Title(empty.Get()));
    Bytes saved;
    ASSERT_EQ(S_OK, Save(object.Get(), saved));
    EXPECT_EQ(Encode(natural, values), saved);
    const std::size_t titleRow = Encode(natural, values, RowOf(6)).size();
    EXPECT_EQ((Bytes{VT_BSTR, 0, 2, 0, 0, 0, 0, 0}),
              Bytes(saved.begin() + titleRow, saved.begin() + titleRow + 8));
}

// Without the engine IsLzwEnabled cannot be read, so a save ends at its row; a load still runs
// through, since the put answers S_FALSE.
TEST(FileDialogPersistenceWithoutEngineTest, SaveEndsAtIsLzwEnabledAndLoadRunsThrough) {
    FakeEngine missing(false);
    auto object = CreateLinkedObject<IFileDialog>(CLSID_FileDialog);
    ASSERT_TRUE(object);
    SIZEL natural = {};
    ComPtr<IOleObject> ole;
    ASSERT_EQ(S_OK, object.As(ole));
    ole->GetExtent(DVASPECT_CONTENT, &natural);

    Values plain = Defaults();
    plain[7].text = L"All|*.*";
    plain[28].number = 0; // no pane without the engine
    plain[49].number = 0;
    ComPtr<IPersistStreamInit> persist;
    ASSERT_EQ(S_OK, object.As(persist));
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, ::CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()));
    EXPECT_EQ(E_FAIL, persist->Save(stream.Get(), TRUE));
    EXPECT_EQ(Encode(natural, plain, RowOf(49)), StreamBytes(stream.Get()))
        << "the rows before IsLzwEnabled stay in the stream";

    Values custom = Customized();
    auto fresh = CreateLinkedObject<IFileDialog>(CLSID_FileDialog);
    ComPtr<IPersistStreamInit> loader;
    ASSERT_EQ(S_OK, fresh.As(loader));
    EXPECT_EQ(S_OK, loader->Load(StreamOf(Encode(natural, custom)).Get()));
    BSTR bytes = nullptr;
    EXPECT_EQ(S_OK, fresh->get_BytesLabelCaption(&bytes));
    EXPECT_EQ(L"v57", testing::TakeBstr(bytes)) << "the rows behind IsLzwEnabled were applied";
    VARIANT_BOOL pane = 1;
    EXPECT_EQ(S_OK, fresh->get_EnablePreviewPane(&pane));
    EXPECT_EQ(VARIANT_FALSE, pane);
}

} // namespace
} // namespace orrelux
