#include "server/property_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace orrelux {

void PrintTo(const PropertyValue& value, std::ostream* out) {
    *out << "{type " << value.Type() << ", bits 0x" << std::hex << value.Bits() << std::dec;
    if (value.Type() == kVtBstr) {
        *out << (value.IsNullText() ? ", null text" : ", text ");
        testing::internal::PrintU16StringTo(value.TextValue(), out);
    }
    *out << "}";
}

namespace {

using Bytes = std::vector<std::uint8_t>;
using Names = std::vector<std::string>;

constexpr StreamStatus kTypeMismatch = static_cast<StreamStatus>(0x80020005u);
constexpr StreamStatus kAccessDenied = static_cast<StreamStatus>(0x80030005u);
constexpr StreamStatus kMediumFull = static_cast<StreamStatus>(0x80030070u);
constexpr StreamStatus kInvalidArg = static_cast<StreamStatus>(0x80070057u);
constexpr StreamStatus kStringTooLong = -1518;

// A component as the codec sees it through the dispatch interface: one value per typed row, and
// a record of every put that took effect. Like a property without coercion, a put of another
// type than the row's is refused.
class FakeComponent : public PropertyAccess {
public:
    explicit FakeComponent(PropertyTable table) : table_(table) {
        for (const PropertyRow& row : table) {
            if (row.kind == RowKind::Typed) {
                values_[row.dispid] = row.type == kVtBstr ? PropertyValue::NullText()
                                                          : PropertyValue::FixedSize(row.type, 0);
            }
        }
    }

    std::uint32_t GetExtent(ExtentAxis axis) override { return extent_[static_cast<int>(axis)]; }
    void PutExtent(ExtentAxis axis, std::uint32_t value) override {
        extent_[static_cast<int>(axis)] = value;
        applied.push_back(axis == ExtentAxis::Cx ? "_cx" : "_cy");
    }
    StreamStatus GetProperty(std::int32_t dispid, PropertyValue& value) override {
        if (dispid == failingGet)
            return kInvalidArg;
        value = values_.at(dispid);
        return kStatusOk;
    }
    StreamStatus PutProperty(std::int32_t dispid, const PropertyValue& value) override {
        const PropertyRow& row = Row(dispid);
        if (dispid == failingPut)
            return putFailure;
        if (value.Type() != row.type)
            return kTypeMismatch;
        values_[dispid] = value;
        applied.push_back(row.name);
        return kStatusOk;
    }

    void Set(const std::string& name, const PropertyValue& value) {
        values_[RowNamed(name).dispid] = value;
    }
    const PropertyValue& Get(const std::string& name) const {
        return values_.at(RowNamed(name).dispid);
    }
    void SetExtent(std::uint32_t cx, std::uint32_t cy) { extent_[0] = cx, extent_[1] = cy; }
    std::uint32_t Extent(ExtentAxis axis) const { return extent_[static_cast<int>(axis)]; }
    std::int32_t Dispid(const std::string& name) const { return RowNamed(name).dispid; }

    Names applied;
    std::int32_t failingGet = -1;
    std::int32_t failingPut = -1;
    StreamStatus putFailure = kStatusFail;

private:
    const PropertyRow& Row(std::int32_t dispid) const {
        return *std::find_if(table_.begin(), table_.end(), [&](const PropertyRow& row) {
            return row.kind == RowKind::Typed && row.dispid == dispid;
        });
    }
    const PropertyRow& RowNamed(const std::string& name) const {
        return *std::find_if(table_.begin(), table_.end(),
                             [&](const PropertyRow& row) { return name == row.name; });
    }

    PropertyTable table_;
    std::map<std::int32_t, PropertyValue> values_;
    std::uint32_t extent_[2] = {0, 0};
};

// A stream over bytes that can hide its size and fails every read that would reach `failAt`.
class ScriptedSource : public ByteSource {
public:
    ScriptedSource(Bytes bytes, bool knowsSize) : bytes_(std::move(bytes)), knowsSize_(knowsSize) {}

    StreamStatus Read(void* buffer, std::uint32_t size, std::uint32_t& bytesRead) override {
        if (position + size > failAt) {
            bytesRead = 0;
            return failure;
        }
        MemoryByteSource rest(bytes_.data() + position, bytes_.size() - position);
        const StreamStatus status = rest.Read(buffer, size, bytesRead);
        position += bytesRead;
        return status;
    }
    std::optional<std::uint64_t> Remaining() const override {
        return knowsSize_ ? std::optional<std::uint64_t>(bytes_.size() - position) : std::nullopt;
    }

    std::size_t position = 0;
    std::size_t failAt = SIZE_MAX;
    StreamStatus failure = kAccessDenied;

private:
    Bytes bytes_;
    bool knowsSize_;
};

// A sink with room for `capacity` bytes. A write beyond it fails with `failure` and writes
// nothing, or, when `shortWrites` is set, writes what fits and reports success.
class LimitedSink : public ByteSink {
public:
    explicit LimitedSink(std::size_t capacity) : capacity_(capacity) {}

    StreamStatus Write(const void* data, std::uint32_t size, std::uint32_t& written) override {
        const auto* first = static_cast<const std::uint8_t*>(data);
        const std::size_t room = capacity_ - bytes.size();
        if (size > room && !shortWrites) {
            written = 0;
            return failure;
        }
        written = static_cast<std::uint32_t>(std::min<std::size_t>(size, room));
        bytes.insert(bytes.end(), first, first + written);
        return kStatusOk;
    }

    Bytes bytes;
    bool shortWrites = false;
    StreamStatus failure = kMediumFull;

private:
    std::size_t capacity_;
};

Bytes Prefix(const Bytes& bytes, std::size_t size) {
    return Bytes(bytes.begin(), bytes.begin() + size);
}

Names FirstNames(PropertyTable table, std::size_t count) {
    Names names;
    for (std::size_t i = 0; i < count; ++i)
        names.push_back(table[i].name);
    return names;
}

void SetKnownColorValues(FakeComponent& dialog) {
    dialog.SetExtent(635, 503);
    dialog.Set("ColorColorref", PropertyValue::Int32(0x00563412));
    dialog.Set("ColorArgb", PropertyValue::Int32(static_cast<std::int32_t>(0xFF123456u)));
    dialog.Set("ActivePage", PropertyValue::Int32(2));
    dialog.Set("PaletteColorIndex", PropertyValue::Int32(7));
    dialog.Set("PaletteIndex", PropertyValue::Int32(1));
    dialog.Set("Title", PropertyValue::Text(u"Pick"));
    dialog.Set("ApplyButtonVisible", PropertyValue::Boolean(true));
}

// The stream of SetKnownColorValues, written out by hand.
const Bytes kColorStream = {
    0x00, 0x03, 0x00, 0x00,                                     // version 0x300
    0x7B, 0x02, 0x00, 0x00,                                     // _cx 635
    0xF7, 0x01, 0x00, 0x00,                                     // _cy 503
    0x03, 0x00, 0x12, 0x34, 0x56, 0x00,                         // ColorColorref, VT_I4
    0x03, 0x00, 0x56, 0x34, 0x12, 0xFF,                         // ColorArgb
    0x03, 0x00, 0x02, 0x00, 0x00, 0x00,                         // ActivePage
    0x03, 0x00, 0x07, 0x00, 0x00, 0x00,                         // PaletteColorIndex
    0x03, 0x00, 0x01, 0x00, 0x00, 0x00,                         // PaletteIndex
    0x08, 0x00, 0x0A, 0x00, 0x00, 0x00,                         // Title, VT_BSTR of 10 bytes
    0x50, 0x00, 0x69, 0x00, 0x63, 0x00, 0x6B, 0x00, 0x00, 0x00, // "Pick" and terminator
    0x0B, 0x00, 0xFF, 0xFF,                                     // ApplyButtonVisible, VT_BOOL true
};
// Where each row of the ColorDialog table ends in kColorStream.
const std::size_t kColorRowEnds[] = {8, 12, 18, 24, 30, 36, 42, 58, 62};

PropertyValue F(VarType type, std::uint64_t bits) {
    return PropertyValue::FixedSize(type, bits);
}
PropertyValue T(const std::u16string& text) {
    return PropertyValue::Text(text);
}

TEST(PropertyStreamValue, EncodesAndDecodesEveryKind) {
    const struct {
        const char* what;
        PropertyValue value;
        Bytes bytes;
    } cases[] = {
        {"bool true", PropertyValue::Boolean(true), {0x0B, 0, 0xFF, 0xFF}},
        {"bool false", PropertyValue::Boolean(false), {0x0B, 0, 0, 0}},
        {"bool 1 kept", F(kVtBool, 1), {0x0B, 0, 1, 0}},
        {"I4", PropertyValue::Int32(-2), {0x03, 0, 0xFE, 0xFF, 0xFF, 0xFF}},
        {"UI4", PropertyValue::UInt32(0x89ABCDEF), {0x13, 0, 0xEF, 0xCD, 0xAB, 0x89}},
        {"I1", F(kVtI1, 0x80), {0x10, 0, 0x80}},
        {"UI1", F(kVtUi1, 0xFE), {0x11, 0, 0xFE}},
        {"I2 drops high bits", F(kVtI2, 0xABCD8001), {0x02, 0, 0x01, 0x80}},
        {"UI2", F(kVtUi2, 0x1234), {0x12, 0, 0x34, 0x12}},
        {"R4 1.0", F(kVtR4, 0x3F800000), {0x04, 0, 0, 0, 0x80, 0x3F}},
        {"R8 -2.5", F(kVtR8, 0xC004000000000000), {0x05, 0, 0, 0, 0, 0, 0, 0, 0x04, 0xC0}},
        {"CY", F(kVtCy, 0x0102030405060708), {0x06, 0, 8, 7, 6, 5, 4, 3, 2, 1}},
        {"DATE NaN", F(kVtDate, 0x7FF8000000000001), {0x07, 0, 1, 0, 0, 0, 0, 0, 0xF8, 0x7F}},
        {"I8", F(kVtI8, 0x8000000000000001), {0x14, 0, 1, 0, 0, 0, 0, 0, 0, 0x80}},
        {"UI8", F(kVtUi8, 0x00000000000000FF), {0x15, 0, 0xFF, 0, 0, 0, 0, 0, 0, 0}},
        {"ERROR", F(kVtError, 0x80004005), {0x0A, 0, 5, 0x40, 0, 0x80}},
        {"INT is 4 bytes", F(kVtInt, 0xFFFFFFFF), {0x16, 0, 0xFF, 0xFF, 0xFF, 0xFF}},
        {"UINT is 4 bytes", F(kVtUint, 7), {0x17, 0, 7, 0, 0, 0}},
        {"null text: count 0", PropertyValue::NullText(), {0x08, 0, 0, 0, 0, 0}},
        {"empty text: count 2", T(u""), {0x08, 0, 2, 0, 0, 0, 0, 0}},
        {"text", T(u"Ab"), {0x08, 0, 6, 0, 0, 0, 'A', 0, 'b', 0, 0, 0}},
        {"embedded 0",
         T(std::u16string(u"a\0b", 3)),
         {8, 0, 8, 0, 0, 0, 'a', 0, 0, 0, 'b', 0, 0, 0}},
        {"surrogates", T(u"\U0001F600"), {0x08, 0, 6, 0, 0, 0, 0x3D, 0xD8, 0x00, 0xDE, 0, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        MemoryByteSink sink;
        ASSERT_EQ(WritePropertyValue(sink, c.value), kStatusOk);
        EXPECT_EQ(sink.Bytes(), c.bytes);

        MemoryByteSource source(c.bytes);
        PropertyValue read;
        ASSERT_EQ(ReadPropertyValue(source, read), kStatusOk);
        EXPECT_EQ(read, c.value);
        EXPECT_EQ(source.Position(), c.bytes.size());
    }
}

TEST(PropertyStreamValue, RefusesMalformedRowsBeforeReadingTheirText) {
    const struct {
        const char* what;
        Bytes bytes;
        std::size_t positionSizeKnown;   // where the refusal leaves the stream
        std::size_t positionSizeUnknown; // the same when the stream can't tell its size
    } cases[] = {
        {"odd count 1", {0x08, 0, 1, 0, 0, 0, 0, 0}, 6, 6},
        {"odd count 3", {0x08, 0, 3, 0, 0, 0, 'A', 0, 0, 0}, 6, 6},
        {"count 0xFFFFFFFF", {0x08, 0, 0xFF, 0xFF, 0xFF, 0xFF, 'A', 0, 0, 0}, 6, 6},
        {"count above the cap", {0x08, 0, 0x02, 0x00, 0x10, 0x00, 'A', 0, 0, 0}, 6, 6},
        {"count beyond the stream", {0x08, 0, 0x0A, 0, 0, 0, 'A', 0, 0, 0}, 6, 10},
        {"count of the cap, 4 bytes there", {0x08, 0, 0, 0, 0x10, 0, 'A', 0, 'B', 0}, 6, 10},
        {"no terminator", {0x08, 0, 4, 0, 0, 0, 'A', 0, 'B', 0}, 10, 10},
        {"short count", {0x08, 0, 2, 0}, 4, 4},
        {"short fixed value", {0x03, 0, 1, 2, 3}, 5, 5},
        {"VT_EMPTY", {0x00, 0, 0, 0, 0, 0}, 2, 2},
        {"VT_DISPATCH", {0x09, 0, 0, 0, 0, 0}, 2, 2},
        {"VT_DECIMAL, 16 bytes", {0x0E, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 2, 2},
        {"VT_BYREF | VT_I4", {0x03, 0x40, 0, 0, 0, 0}, 2, 2},
        {"VT_ARRAY | VT_UI1", {0x11, 0x20, 0, 0, 0, 0}, 2, 2},
    };
    for (const auto& c : cases) {
        for (const bool knowsSize : {true, false}) {
            SCOPED_TRACE(std::string(c.what) + (knowsSize ? ", size known" : ", size unknown"));
            ScriptedSource source(c.bytes, knowsSize);
            PropertyValue value;
            EXPECT_EQ(ReadPropertyValue(source, value), kStatusFail);
            EXPECT_EQ(source.position, knowsSize ? c.positionSizeKnown : c.positionSizeUnknown);
        }
    }
}

TEST(PropertyStreamValue, LongestStorableTextRoundTripsAndOneMoreIsRefused) {
    std::u16string text(kMaxTextBytes / 2 - 1, u'\x4E2D');
    MemoryByteSink sink;
    ASSERT_EQ(WritePropertyValue(sink, PropertyValue::Text(text)), kStatusOk);
    EXPECT_EQ(sink.Bytes().size(), 6 + kMaxTextBytes);

    ScriptedSource source(sink.Bytes(), false);
    PropertyValue read;
    ASSERT_EQ(ReadPropertyValue(source, read), kStatusOk);
    EXPECT_EQ(read.TextValue(), text);

    text.push_back(u'x');
    MemoryByteSink refused;
    EXPECT_EQ(WritePropertyValue(refused, PropertyValue::Text(text)), kStatusFail);
    EXPECT_TRUE(refused.Bytes().empty());
}

TEST(PropertyStreamSave, ColorDialogTableGivesTheExactBytes) {
    FakeComponent dialog(kColorDialogPropertyRows);
    SetKnownColorValues(dialog);
    MemoryByteSink sink;
    ASSERT_EQ(SaveProperties(sink, kColorDialogPropertyRows, dialog), kStatusOk);
    EXPECT_EQ(sink.Bytes(), kColorStream);

    FakeComponent loaded(kColorDialogPropertyRows);
    MemoryByteSource source(kColorStream);
    ASSERT_EQ(LoadProperties(source, kColorDialogPropertyRows, loaded), kStatusOk);
    EXPECT_EQ(loaded.applied, FirstNames(kColorDialogPropertyRows, 9));
    for (const PropertyRow& row : kColorDialogPropertyRows) {
        if (row.kind == RowKind::Typed) {
            EXPECT_EQ(loaded.Get(row.name), dialog.Get(row.name)) << row.name;
        }
    }
    EXPECT_EQ(loaded.Extent(ExtentAxis::Cx), 635u);
}

TEST(PropertyStreamLoad, VersionsUpToThisOneLoadAndNewerAreRefused) {
    const struct {
        std::uint32_t version;
        StreamStatus status;
        std::size_t rowsApplied;
    } cases[] = {
        {0x300, kStatusOk, 9},   {0x2FF, kStatusOk, 9},        {0, kStatusOk, 9},
        {0x301, kStatusFail, 0}, {0xFFFFFFFF, kStatusFail, 0}, {0x80000000, kStatusFail, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.version);
        Bytes bytes = kColorStream;
        for (int i = 0; i < 4; ++i)
            bytes[i] = static_cast<std::uint8_t>(c.version >> (8 * i));
        FakeComponent dialog(kColorDialogPropertyRows);
        MemoryByteSource source(bytes);
        EXPECT_EQ(LoadProperties(source, kColorDialogPropertyRows, dialog), c.status);
        EXPECT_EQ(dialog.applied, FirstNames(kColorDialogPropertyRows, c.rowsApplied));
    }
}

TEST(PropertyStreamLoad, ShortStreamFailsAtTheFirstIncompleteRowAndKeepsTheRowsBefore) {
    for (const bool knowsSize : {true, false}) {
        for (std::size_t cut = 0; cut < kColorStream.size(); ++cut) {
            SCOPED_TRACE(testing::Message()
                         << "cut at " << cut << (knowsSize ? "" : ", size unknown"));
            const std::size_t complete = static_cast<std::size_t>(
                std::count_if(std::begin(kColorRowEnds), std::end(kColorRowEnds),
                              [&](std::size_t end) { return end <= cut; }));
            FakeComponent dialog(kColorDialogPropertyRows);
            ScriptedSource source(Prefix(kColorStream, cut), knowsSize);
            EXPECT_EQ(LoadProperties(source, kColorDialogPropertyRows, dialog), kStatusFail);
            EXPECT_EQ(dialog.applied, FirstNames(kColorDialogPropertyRows, complete));
        }
    }
}

TEST(PropertyStreamLoad, StreamFailureStatusComesBackUnchanged) {
    const struct {
        std::size_t failAt; // offset of the first byte the stream refuses to deliver
        std::size_t rowsApplied;
    } cases[] = {{0, 0}, {3, 0}, {10, 1}, {12, 2}, {50, 7}, {61, 8}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.failAt);
        FakeComponent dialog(kColorDialogPropertyRows);
        ScriptedSource source(kColorStream, true);
        source.failAt = c.failAt;
        EXPECT_EQ(LoadProperties(source, kColorDialogPropertyRows, dialog), kAccessDenied);
        EXPECT_EQ(dialog.applied, FirstNames(kColorDialogPropertyRows, c.rowsApplied));
    }
}

TEST(PropertyStreamLoad, RefusedPutEndsTheLoad) {
    const struct {
        const char* what;
        const char* failingPut;  // a put that the component refuses, or nullptr
        StreamStatus putFailure; // what it answers
        const char* mistyped;    // a row saved with the wrong type, or nullptr
        std::size_t rowsApplied;
    } cases[] = {
        {"ActivePage refused", "ActivePage", kInvalidArg, nullptr, 4},
        {"Title too long", "Title", kStringTooLong, nullptr, 7},
        {"last row refused", "ApplyButtonVisible", kStatusFail, nullptr, 8},
        {"Title stored as VT_I4", nullptr, kStatusOk, "Title", 7},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        FakeComponent saved(kColorDialogPropertyRows);
        SetKnownColorValues(saved);
        if (c.mistyped != nullptr)
            saved.Set(c.mistyped, PropertyValue::Int32(5));
        MemoryByteSink sink;
        ASSERT_EQ(SaveProperties(sink, kColorDialogPropertyRows, saved), kStatusOk);

        FakeComponent dialog(kColorDialogPropertyRows);
        if (c.failingPut != nullptr) {
            dialog.failingPut = dialog.Dispid(c.failingPut);
            dialog.putFailure = c.putFailure;
        }
        MemoryByteSource source(sink.Bytes());
        EXPECT_EQ(LoadProperties(source, kColorDialogPropertyRows, dialog), kStatusFail);
        EXPECT_EQ(dialog.applied, FirstNames(kColorDialogPropertyRows, c.rowsApplied));
    }
}

TEST(PropertyStreamSave, FailureEndsTheSaveAndKeepsTheRowsWritten) {
    const struct {
        const char* what;
        const char* failingGet;
        const char* unstorable; // a row whose get gives a type the stream can't carry
        std::size_t capacity;   // room in the sink
        bool shortWrites;
        StreamStatus status;
        std::size_t bytesKept;
    } cases[] = {
        {"get of ActivePage fails", "ActivePage", nullptr, 100, false, kStatusFail, 24},
        {"get of Title fails", "Title", nullptr, 100, false, kStatusFail, 42},
        {"get gives VT_EMPTY", nullptr, "ColorArgb", 100, false, kStatusFail, 18},
        {"get gives VT_DISPATCH", nullptr, "ApplyButtonVisible", 100, false, kStatusFail, 58},
        {"no room for the version", nullptr, nullptr, 0, false, kMediumFull, 0},
        {"no room for ColorArgb", nullptr, nullptr, 20, false, kMediumFull, 18},
        {"short write", nullptr, nullptr, 20, true, kStatusFail, 20},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        FakeComponent dialog(kColorDialogPropertyRows);
        SetKnownColorValues(dialog);
        if (c.failingGet != nullptr)
            dialog.failingGet = dialog.Dispid(c.failingGet);
        if (c.unstorable != nullptr) {
            dialog.Set(c.unstorable, std::string(c.unstorable) == "ColorArgb"
                                         ? PropertyValue()
                                         : PropertyValue::FixedSize(9, 1));
        }
        LimitedSink sink(c.capacity);
        sink.shortWrites = c.shortWrites;
        EXPECT_EQ(SaveProperties(sink, kColorDialogPropertyRows, dialog), c.status);
        EXPECT_EQ(sink.bytes, Prefix(kColorStream, c.bytesKept));
    }
}

TEST(PropertyStreamSave, FileDialogTableRoundTripsWithItsExtent) {
    FakeComponent saved(kFileDialogPropertyRows);
    saved.SetExtent(1000, 0xFFFFFFFF);
    std::uint64_t n = 0;
    for (const PropertyRow& row : kFileDialogPropertyRows) {
        ++n;
        if (row.kind == RowKind::RawExtent || n <= 5) {
            continue; // the first three texts stay null
        }
        const std::string name = row.name;
        switch (row.type) {
        case kVtBstr:
            saved.Set(name, PropertyValue::Text(std::u16string(name.begin(), name.end())));
            break;
        case kVtBool:
            saved.Set(name, PropertyValue::Boolean(n % 2 == 0));
            break;
        default:
            saved.Set(name, PropertyValue::Int32(-3));
            break;
        }
    }
    saved.Set("Title", PropertyValue::Text(u""));
    saved.Set("IsLzwEnabled", PropertyValue::FixedSize(kVtBool, 0x8000));

    MemoryByteSink sink;
    ASSERT_EQ(SaveProperties(sink, kFileDialogPropertyRows, saved), kStatusOk);
    // Version, extent, three null texts (6 bytes each), then the empty Title: byte count 2.
    EXPECT_EQ(Prefix(sink.Bytes(), 12), (Bytes{0, 3, 0, 0, 0xE8, 3, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(Bytes(sink.Bytes().begin() + 30, sink.Bytes().begin() + 38),
              (Bytes{0x08, 0, 2, 0, 0, 0, 0, 0}));

    FakeComponent loaded(kFileDialogPropertyRows);
    MemoryByteSource source(sink.Bytes());
    ASSERT_EQ(LoadProperties(source, kFileDialogPropertyRows, loaded), kStatusOk);
    EXPECT_EQ(source.Position(), sink.Bytes().size());
    EXPECT_EQ(loaded.applied, FirstNames(kFileDialogPropertyRows, 46));
    EXPECT_EQ(loaded.Extent(ExtentAxis::Cx), 1000u);
    EXPECT_EQ(loaded.Extent(ExtentAxis::Cy), 0xFFFFFFFFu);
    for (const PropertyRow& row : kFileDialogPropertyRows) {
        if (row.kind == RowKind::Typed) {
            EXPECT_EQ(loaded.Get(row.name), saved.Get(row.name)) << row.name;
        }
    }
}

} // namespace
} // namespace orrelux
