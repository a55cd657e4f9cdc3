// Persistence of FileDialog: the 46 rows of its property table in the stream, byte for byte (the
// storage and the stream's own rules are the persistence suite's); round trips of every row; the
// puts that refuse a load; and the engine's part, since IsLzwEnabled lives in the engine. The
// typed rows go through IDispatch, so the ctest fixture's registration of the server is needed.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "engine_pictures.h"
#include "file_dialog_support.h"
#include "server/property_stream.h"

namespace orrelux {
namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::CreateLinkedObject;
using testing::StreamBytes;
using testing::StreamOf;

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

// A value of its row's type that differs from the default: texts "v<dispid>", booleans flipped,
// the filter index 7.
Values Customized(Values values) {
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

// The stream of these values, row by row in table order, up to (not including) row `end`.
Bytes Encode(SIZEL extent, const Values& values, std::size_t end = SIZE_MAX,
             std::uint32_t version = 0x300) {
    using testing::PutLe16;
    using testing::PutLe32;
    Bytes out;
    PutLe32(out, version);
    std::size_t row = 0;
    for (const PropertyRow& r : kFileDialogPropertyRows) {
        if (row++ >= end)
            break;
        if (r.kind == RowKind::RawExtent) {
            PutLe32(out,
                    static_cast<std::uint32_t>(r.axis == ExtentAxis::Cx ? extent.cx : extent.cy));
            continue;
        }
        const Value& v = values.at(r.dispid);
        PutLe16(out, v.type);
        if (v.type == VT_BSTR) {
            PutLe32(out, static_cast<std::uint32_t>((v.text.size() + 1) * 2));
            for (wchar_t c : v.text)
                PutLe16(out, c);
            PutLe16(out, 0);
        } else if (v.type == VT_BOOL) {
            PutLe16(out, static_cast<std::uint16_t>(v.number));
        } else {
            PutLe32(out, static_cast<std::uint32_t>(v.number));
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

class FileDialogPersistenceTest : public ::testing::Test {
protected:
    explicit FileDialogPersistenceTest(bool enginePresent = true) : engine(enginePresent) {}
    void SetUp() override {
        ASSERT_TRUE(object);
        ComPtr<IOleObject> ole;
        ASSERT_EQ(S_OK, object.As(ole));
        ole->GetExtent(DVASPECT_CONTENT, &natural);
    }

    static ComPtr<IFileDialog> Fresh() { return CreateLinkedObject<IFileDialog>(CLSID_FileDialog); }

    // Every typed row that the component's IDispatch reads (the defaults of a new one are pinned
    // by the interface's own tests).
    static Values Read(IFileDialog* dialog) {
        Values values;
        for (const PropertyRow& r : kFileDialogPropertyRows) {
            if (r.kind != RowKind::Typed)
                continue;
            DISPPARAMS none = {nullptr, nullptr, 0, 0};
            VARIANT result;
            ::VariantInit(&result);
            if (FAILED(dialog->Invoke(r.dispid, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET,
                                      &none, &result, nullptr, nullptr)))
                continue;
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
    const Values defaults = Read(object.Get());
    const Values custom = Customized(defaults);
};

TEST_F(FileDialogPersistenceTest, SavesEveryRowInTableOrder) {
    ASSERT_EQ(46u, std::size(kFileDialogPropertyRows));
    ASSERT_EQ(44u, defaults.size()) << "every typed row reads";
    Bytes saved;
    ASSERT_EQ(S_OK, Save(object.Get(), saved));
    EXPECT_EQ(Encode(natural, defaults), saved);
}

TEST_F(FileDialogPersistenceTest, EveryRowSurvivesARoundTrip) {
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

// The puts that refuse a value end the load there: the rows before it applied, the rest default.
TEST_F(FileDialogPersistenceTest, LoadsStopAtTheFirstRefusedPut) {
    const struct {
        const char* name;
        DISPID dispid;
        Value refused;
    } cases[] = {
        {"LookInLabelCaption over 2028", 9, Text(std::wstring(2029, L'l'))},
        {"DimensionsLabelCaption over 100", 51, Text(std::wstring(101, L'd'))},
        {"a filter index of 0 in run mode", 24, Number(0)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Values stream = custom, after = defaults;
        stream[c.dispid] = c.refused;
        for (const auto& [dispid, value] : custom)
            if (RowOf(dispid) < RowOf(c.dispid))
                after[dispid] = value;
        engine.state.lzw = VARIANT_FALSE;
        auto fresh = Fresh();
        EXPECT_EQ(E_FAIL, Load(fresh.Get(), Encode(natural, stream)));
        EXPECT_EQ(after, Read(fresh.Get()));
    }
}

class FileDialogPersistenceWithoutEngineTest : public FileDialogPersistenceTest {
protected:
    FileDialogPersistenceWithoutEngineTest() : FileDialogPersistenceTest(false) {}
};

// Without the engine IsLzwEnabled cannot be read, so a save ends at its row; a load still runs
// through, since the put answers S_FALSE.
TEST_F(FileDialogPersistenceWithoutEngineTest, SaveEndsAtIsLzwEnabledAndLoadRunsThrough) {
    Bytes saved;
    EXPECT_EQ(E_FAIL, Save(object.Get(), saved));
    EXPECT_EQ(0u, defaults.count(49)) << "IsLzwEnabled cannot be read";
    EXPECT_EQ(Encode(natural, defaults, RowOf(49)), saved)
        << "the rows before IsLzwEnabled stay in the stream";

    Values stream = custom;
    stream[49] = Boolean(true);
    auto fresh = Fresh();
    EXPECT_EQ(S_OK, Load(fresh.Get(), Encode(natural, stream)));
    BSTR bytes = nullptr;
    EXPECT_EQ(S_OK, fresh->get_BytesLabelCaption(&bytes));
    EXPECT_EQ(L"v57", testing::TakeBstr(bytes)) << "the rows behind IsLzwEnabled were applied";
    VARIANT_BOOL pane = 1;
    EXPECT_EQ(S_OK, fresh->get_EnablePreviewPane(&pane));
    EXPECT_EQ(VARIANT_FALSE, pane);
}

} // namespace
} // namespace orrelux
