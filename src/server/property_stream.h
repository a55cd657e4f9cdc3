// The property stream: how a control's persisted properties are laid out in a byte stream.
//
// A stream is a 32-bit version followed by one row per entry of the class's property table,
// in table order, with nothing between rows. Everything is little-endian, whatever the host.
//
//   raw extent row   4 bytes, the extent in HIMETRIC units
//   typed row        2 bytes of variant type, then the value:
//                      fixed-size types   1, 2, 4 or 8 bytes by type (VT_BOOL: 0xFFFF / 0)
//                      VT_BSTR            4-byte byte count, then that many bytes of UTF-16
//                                         text including its terminator; a null text is the
//                                         count 0 alone, an empty text the count 2 and a
//                                         terminator
//
// The codec is portable: it knows nothing of IStream, IDispatch or VARIANT. The COM layer adapts
// an IStream to ByteSource/ByteSink (Read/Write map one to one, and the stream's HRESULT goes
// into the status unchanged) and the component's dispatch interface to PropertyAccess, and
// converts a VARIANT to and from PropertyValue. Statuses are HRESULT bit patterns: negative
// means failure, 0 and 1 (S_OK, S_FALSE) are success. The only exception that can leave the
// codec is std::bad_alloc from growing a text or a row buffer; the COM layer turns it into
// E_OUTOFMEMORY.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orrelux {

using StreamStatus = std::int32_t;

constexpr StreamStatus kStatusOk = 0;    // S_OK
constexpr StreamStatus kStatusFalse = 1; // S_FALSE: what a stream answers for a short read
// E_FAIL: a short read or write, a malformed row, a refused version, a failed put or get.
constexpr StreamStatus kStatusFail = static_cast<StreamStatus>(0x80004005u);

constexpr bool IsFailure(StreamStatus status) {
    return status < 0;
}

constexpr std::uint32_t kPropertyStreamVersion = 0x300;

// The largest VT_BSTR byte count accepted, terminator included. The longest text any component
// keeps is 2028 characters (4058 bytes), so this is far above every legitimate row. It exists
// because a stream does not always know how many bytes remain: without a cap, a corrupt count
// would have the loader grow a text until the stream ends, however large the stream is. The
// saver refuses anything longer too, so every stream written here can be read back.
constexpr std::uint32_t kMaxTextBytes = 1u << 20;

// ---------------------------------------------------------------------------------------------
// Variant types. The numbers are the VARTYPE values of OLE automation.

using VarType = std::uint16_t;

constexpr VarType kVtEmpty = 0;
constexpr VarType kVtI2 = 2;
constexpr VarType kVtI4 = 3;
constexpr VarType kVtR4 = 4;
constexpr VarType kVtR8 = 5;
constexpr VarType kVtCy = 6;
constexpr VarType kVtDate = 7;
constexpr VarType kVtBstr = 8;
constexpr VarType kVtError = 10;
constexpr VarType kVtBool = 11;
constexpr VarType kVtI1 = 16;
constexpr VarType kVtUi1 = 17;
constexpr VarType kVtUi2 = 18;
constexpr VarType kVtUi4 = 19;
constexpr VarType kVtI8 = 20;
constexpr VarType kVtUi8 = 21;
constexpr VarType kVtInt = 22;
constexpr VarType kVtUint = 23;

// Bytes of the value of a fixed-size type (1, 2, 4 or 8), or 0 when the type is not one: text,
// VT_EMPTY, and every other type, flag bits such as VT_BYREF and VT_ARRAY included.
std::size_t FixedValueSize(VarType type);

// The value of a typed row: a type that the stream can carry and its value. A fixed-size value
// keeps the raw bits of its wire bytes, so floating-point values, NaN payloads and booleans
// other than 0 and -1 pass through unchanged. Text is a sequence of UTF-16 code units without
// the terminator; embedded zeros are kept.
class PropertyValue {
public:
    // VT_EMPTY, which the writer refuses: a property's get must give a storable type.
    PropertyValue() = default;

    static PropertyValue Boolean(bool value) { return FixedSize(kVtBool, value ? 0xFFFF : 0); }
    static PropertyValue Int32(std::int32_t value) {
        return FixedSize(kVtI4, static_cast<std::uint32_t>(value));
    }
    static PropertyValue UInt32(std::uint32_t value) { return FixedSize(kVtUi4, value); }
    // Any type; bits beyond the type's size are dropped. A type without a fixed size keeps no
    // bits (VT_BSTR gives a null text), so only Text and NullText make useful text values.
    static PropertyValue FixedSize(VarType type, std::uint64_t bits);
    static PropertyValue Text(std::u16string text);
    static PropertyValue NullText();

    VarType Type() const { return type_; }
    // The value's bytes as a little-endian number; 0 for text.
    std::uint64_t Bits() const { return bits_; }
    bool AsBool() const { return bits_ != 0; }
    std::int32_t AsInt32() const { return static_cast<std::int32_t>(bits_ & 0xFFFFFFFFu); }
    bool IsNullText() const { return type_ == kVtBstr && nullText_; }
    const std::u16string& TextValue() const { return text_; }

    bool operator==(const PropertyValue& other) const;
    bool operator!=(const PropertyValue& other) const { return !(*this == other); }

private:
    VarType type_ = kVtEmpty;
    std::uint64_t bits_ = 0;
    bool nullText_ = false;
    std::u16string text_;
};

// ---------------------------------------------------------------------------------------------
// Byte source and sink: the shape of IStream::Read and IStream::Write.

class ByteSource {
public:
    virtual ~ByteSource() = default;
    // Reads up to `size` bytes into `buffer` and sets `bytesRead` to the number that arrived.
    // A failure status is handed to the caller of the codec unchanged. A success with fewer
    // bytes than asked means the stream ended.
    virtual StreamStatus Read(void* buffer, std::uint32_t size, std::uint32_t& bytesRead) = 0;
    // Bytes left before the end, when the source knows; a text count beyond it is refused
    // before anything is read. Without it, text is still read in bounded chunks.
    virtual std::optional<std::uint64_t> Remaining() const { return std::nullopt; }
};

class ByteSink {
public:
    virtual ~ByteSink() = default;
    // Writes `size` bytes and sets `bytesWritten`. A failure status is handed on unchanged; a
    // success that wrote fewer bytes counts as a failed write.
    virtual StreamStatus Write(const void* data, std::uint32_t size,
                               std::uint32_t& bytesWritten) = 0;
};

// Reads from bytes that the caller keeps alive. A short read answers kStatusFalse.
class MemoryByteSource : public ByteSource {
public:
    MemoryByteSource(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    explicit MemoryByteSource(const std::vector<std::uint8_t>& bytes)
        : MemoryByteSource(bytes.data(), bytes.size()) {}

    StreamStatus Read(void* buffer, std::uint32_t size, std::uint32_t& bytesRead) override;
    std::optional<std::uint64_t> Remaining() const override { return size_ - position_; }
    std::size_t Position() const { return position_; }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t position_ = 0;
};

// Appends to a byte vector.
class MemoryByteSink : public ByteSink {
public:
    StreamStatus Write(const void* data, std::uint32_t size, std::uint32_t& bytesWritten) override;
    const std::vector<std::uint8_t>& Bytes() const { return bytes_; }

private:
    std::vector<std::uint8_t> bytes_;
};

// ---------------------------------------------------------------------------------------------
// Property tables.

enum class ExtentAxis { Cx = 0, Cy = 1 }; // the `_cx` and `_cy` rows

enum class RowKind { RawExtent, Typed };

struct PropertyRow {
    const char* name;
    RowKind kind;
    ExtentAxis axis;     // raw extent rows
    std::int32_t dispid; // typed rows
    VarType type;        // typed rows: what the property's get gives and its put takes
};

constexpr PropertyRow ExtentRow(const char* name, ExtentAxis axis) {
    return {name, RowKind::RawExtent, axis, 0, kVtEmpty};
}
constexpr PropertyRow TypedRow(const char* name, std::int32_t dispid, VarType type) {
    return {name, RowKind::Typed, ExtentAxis::Cx, dispid, type};
}

// A non-owning view of a table.
class PropertyTable {
public:
    constexpr PropertyTable(const PropertyRow* rows, std::size_t count)
        : rows_(rows), count_(count) {}
    template <std::size_t N>
    constexpr PropertyTable(const PropertyRow (&rows)[N]) : rows_(rows), count_(N) {}

    constexpr const PropertyRow* begin() const { return rows_; }
    constexpr const PropertyRow* end() const { return rows_ + count_; }
    constexpr std::size_t size() const { return count_; }
    constexpr const PropertyRow& operator[](std::size_t index) const { return rows_[index]; }

private:
    const PropertyRow* rows_;
    std::size_t count_;
};

inline constexpr PropertyRow kColorDialogPropertyRows[] = {
    ExtentRow("_cx", ExtentAxis::Cx),           ExtentRow("_cy", ExtentAxis::Cy),
    TypedRow("ColorColorref", 2, kVtI4),        TypedRow("ColorArgb", 3, kVtI4),
    TypedRow("ActivePage", 4, kVtI4),           TypedRow("PaletteColorIndex", 5, kVtI4),
    TypedRow("PaletteIndex", 6, kVtI4),         TypedRow("Title", 7, kVtBstr),
    TypedRow("ApplyButtonVisible", 8, kVtBool),
};

inline constexpr PropertyRow kFileDialogPropertyRows[] = {
    ExtentRow("_cx", ExtentAxis::Cx),
    ExtentRow("_cy", ExtentAxis::Cy),
    TypedRow("CancelButtonCaption", 3, kVtBstr),
    TypedRow("DateFormat", 4, kVtBstr),
    TypedRow("DefaultExtension", 5, kVtBstr),
    TypedRow("Title", 6, kVtBstr),
    TypedRow("Filter", 7, kVtBstr),
    TypedRow("HelpButtonCaption", 8, kVtBstr),
    TypedRow("LookInLabelCaption", 9, kVtBstr),
    TypedRow("ColorDepthLabelCaption", 10, kVtBstr),
    TypedRow("ShowPreviewCheckBoxCaption", 11, kVtBstr),
    TypedRow("DateLabelCaption", 12, kVtBstr),
    TypedRow("SizeLabelCaption", 13, kVtBstr),
    TypedRow("TypeLabelCaption", 14, kVtBstr),
    TypedRow("ReadOnlyCheckBoxCaption", 15, kVtBstr),
    TypedRow("OpenButtonCaption", 17, kVtBstr),
    TypedRow("SaveButtonCaption", 18, kVtBstr),
    TypedRow("FileNameLabelCaption", 19, kVtBstr),
    TypedRow("FileTypeLabelCaption", 20, kVtBstr),
    TypedRow("EnablePreview", 21, kVtBool),
    TypedRow("InitialDir", 22, kVtBstr),
    TypedRow("FilterIndex", 24, kVtI4),
    TypedRow("EnablePreviewPane", 28, kVtBool),
    TypedRow("AllowMultiSelect", 29, kVtBool),
    TypedRow("CreatePrompt", 30, kVtBool),
    TypedRow("DontAddToRecent", 31, kVtBool),
    TypedRow("EnableSizing", 32, kVtBool),
    TypedRow("FileMustExist", 34, kVtBool),
    TypedRow("PathMustExist", 35, kVtBool),
    TypedRow("ForceShowHidden", 36, kVtBool),
    TypedRow("HideReadOnlyCheckbox", 37, kVtBool),
    TypedRow("NoDereferencedLinks", 38, kVtBool),
    TypedRow("NoNetworkButton", 39, kVtBool),
    TypedRow("OverwritePrompt", 41, kVtBool),
    TypedRow("ReadOnlyChecked", 42, kVtBool),
    TypedRow("ShowHelp", 43, kVtBool),
    TypedRow("NoValidate", 44, kVtBool),
    TypedRow("IsLzwEnabled", 49, kVtBool),
    TypedRow("InitialFileName", 50, kVtBstr),
    TypedRow("DimensionsLabelCaption", 51, kVtBstr),
    TypedRow("ColorSpaceLabelCaption", 52, kVtBstr),
    TypedRow("TransparencyLabelCaption", 53, kVtBstr),
    TypedRow("YesLabelCaption", 54, kVtBstr),
    TypedRow("NoLabelCaption", 55, kVtBstr),
    TypedRow("KilobytesLabelCaption", 56, kVtBstr),
    TypedRow("BytesLabelCaption", 57, kVtBstr),
};

// What the codec asks of the component. The extent is a plain field and cannot fail; the typed
// properties go through the component's dispatch interface, whose status comes back here.
class PropertyAccess {
public:
    virtual ~PropertyAccess() = default;
    virtual std::uint32_t GetExtent(ExtentAxis axis) = 0;
    virtual void PutExtent(ExtentAxis axis, std::uint32_t value) = 0;
    virtual StreamStatus GetProperty(std::int32_t dispid, PropertyValue& value) = 0;
    virtual StreamStatus PutProperty(std::int32_t dispid, const PropertyValue& value) = 0;
};

// ---------------------------------------------------------------------------------------------
// Load and save.

// Reads the version and then each row in table order, handing each value to the component as
// soon as it is read. Ends at the first failure, and the rows before it stay applied:
//   - a version above kPropertyStreamVersion: kStatusFail (older versions read as this one);
//   - a failed read: the source's status unchanged; a short read of any row: kStatusFail;
//   - a malformed typed row (unknown type, odd or oversized byte count, count beyond the
//     source's known remaining bytes, text without its terminator): kStatusFail;
//   - a failed put: kStatusFail.
StreamStatus LoadProperties(ByteSource& source, PropertyTable table, PropertyAccess& access);

// Writes kPropertyStreamVersion and then each row in table order. Ends at the first failure, and
// the rows written before it stay in the sink:
//   - a failed write: the sink's status unchanged; a short write: kStatusFail;
//   - a failed get, or a value that cannot be stored (a type without a fixed size other than
//     text, or a text above kMaxTextBytes): kStatusFail.
StreamStatus SaveProperties(ByteSink& sink, PropertyTable table, PropertyAccess& access);

// One typed row (variant type and value), for the COM layer's own rows and for tests.
StreamStatus ReadPropertyValue(ByteSource& source, PropertyValue& value);
StreamStatus WritePropertyValue(ByteSink& sink, const PropertyValue& value);

} // namespace orrelux
