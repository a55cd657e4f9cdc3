#include "server/property_stream.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace orrelux {

namespace {

// Text arrives in pieces of this size, so that what a corrupt byte count can make the loader
// hold is bounded by the bytes that really are in the stream, plus one piece.
constexpr std::uint32_t kTextChunkBytes = 4096;

std::uint64_t LoadLittleEndian(const std::uint8_t* bytes, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = size; i > 0; --i) {
        value = (value << 8) | bytes[i - 1];
    }
    return value;
}

void StoreLittleEndian(std::vector<std::uint8_t>& out, std::uint64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
}

// All `size` bytes or a failure: the source's own failure as it is, a short read as kStatusFail.
StreamStatus ReadExact(ByteSource& source, void* buffer, std::uint32_t size) {
    std::uint32_t bytesRead = 0;
    const StreamStatus status = source.Read(buffer, size, bytesRead);
    if (IsFailure(status)) {
        return status;
    }
    return bytesRead == size ? kStatusOk : kStatusFail;
}

StreamStatus ReadUInt32(ByteSource& source, std::uint32_t& value) {
    std::uint8_t bytes[4];
    const StreamStatus status = ReadExact(source, bytes, sizeof bytes);
    if (!IsFailure(status)) {
        value = static_cast<std::uint32_t>(LoadLittleEndian(bytes, sizeof bytes));
    }
    return status;
}

StreamStatus WriteAll(ByteSink& sink, const std::vector<std::uint8_t>& bytes) {
    // A row is at most kMaxTextBytes plus its 6 header bytes, well inside 32 bits.
    const auto size = static_cast<std::uint32_t>(bytes.size());
    std::uint32_t bytesWritten = 0;
    const StreamStatus status = sink.Write(bytes.data(), size, bytesWritten);
    if (IsFailure(status)) {
        return status;
    }
    return bytesWritten == size ? kStatusOk : kStatusFail;
}

// The value of a VT_BSTR row, after its type: the byte count and the text.
StreamStatus ReadText(ByteSource& source, PropertyValue& value) {
    std::uint32_t byteCount = 0;
    StreamStatus status = ReadUInt32(source, byteCount);
    if (IsFailure(status)) {
        return status;
    }
    if (byteCount == 0) {
        value = PropertyValue::NullText();
        return kStatusOk;
    }
    // Every check that needs no text bytes comes before the first of them is read.
    if (byteCount % 2 != 0 || byteCount > kMaxTextBytes) {
        return kStatusFail;
    }
    const std::optional<std::uint64_t> remaining = source.Remaining();
    if (remaining && byteCount > *remaining) {
        return kStatusFail;
    }

    std::u16string text;
    if (remaining) {
        text.reserve(byteCount / 2);
    }
    std::uint8_t chunk[kTextChunkBytes];
    for (std::uint32_t left = byteCount; left > 0;) {
        // Both sizes are even, so a piece never splits a code unit.
        const std::uint32_t piece = std::min(left, kTextChunkBytes);
        status = ReadExact(source, chunk, piece);
        if (IsFailure(status)) {
            return status;
        }
        for (std::uint32_t i = 0; i < piece; i += 2) {
            text.push_back(static_cast<char16_t>(LoadLittleEndian(chunk + i, 2)));
        }
        left -= piece;
    }
    if (text.back() != u'\0') {
        return kStatusFail;
    }
    text.pop_back();
    value = PropertyValue::Text(std::move(text));
    return kStatusOk;
}

// The bytes of one typed row appended to `out`, or kStatusFail with `out` unchanged.
StreamStatus EncodePropertyValue(const PropertyValue& value, std::vector<std::uint8_t>& out) {
    const VarType type = value.Type();
    if (type == kVtBstr) {
        const std::u16string& text = value.TextValue();
        if (value.IsNullText()) {
            StoreLittleEndian(out, type, 2);
            StoreLittleEndian(out, 0, 4);
            return kStatusOk;
        }
        // (units + 1) * 2 <= kMaxTextBytes, so the count fits and the loader takes it back.
        if (text.size() >= kMaxTextBytes / 2) {
            return kStatusFail;
        }
        const std::size_t byteCount = (text.size() + 1) * 2;
        out.reserve(out.size() + 6 + byteCount);
        StoreLittleEndian(out, type, 2);
        StoreLittleEndian(out, byteCount, 4);
        for (const char16_t unit : text) {
            StoreLittleEndian(out, unit, 2);
        }
        StoreLittleEndian(out, 0, 2);
        return kStatusOk;
    }
    const std::size_t size = FixedValueSize(type);
    if (size == 0) {
        return kStatusFail;
    }
    StoreLittleEndian(out, type, 2);
    StoreLittleEndian(out, value.Bits(), size);
    return kStatusOk;
}

} // namespace

std::size_t FixedValueSize(VarType type) {
    switch (type) {
    case kVtI1:
    case kVtUi1:
        return 1;
    case kVtI2:
    case kVtUi2:
    case kVtBool:
        return 2;
    case kVtI4:
    case kVtUi4:
    case kVtR4:
    case kVtError:
    case kVtInt:
    case kVtUint:
        return 4;
    case kVtR8:
    case kVtCy:
    case kVtDate:
    case kVtI8:
    case kVtUi8:
        return 8;
    default:
        return 0;
    }
}

PropertyValue PropertyValue::FixedSize(VarType type, std::uint64_t bits) {
    PropertyValue value;
    value.type_ = type;
    const std::size_t size = FixedValueSize(type);
    if (size == 8) {
        value.bits_ = bits;
    } else if (size > 0) {
        value.bits_ = bits & ((std::uint64_t{1} << (8 * size)) - 1);
    }
    value.nullText_ = type == kVtBstr;
    return value;
}

PropertyValue PropertyValue::Text(std::u16string text) {
    PropertyValue value;
    value.type_ = kVtBstr;
    value.text_ = std::move(text);
    return value;
}

PropertyValue PropertyValue::NullText() {
    PropertyValue value;
    value.type_ = kVtBstr;
    value.nullText_ = true;
    return value;
}

bool PropertyValue::operator==(const PropertyValue& other) const {
    return type_ == other.type_ && bits_ == other.bits_ && nullText_ == other.nullText_ &&
           text_ == other.text_;
}

StreamStatus MemoryByteSource::Read(void* buffer, std::uint32_t size, std::uint32_t& bytesRead) {
    const std::size_t count = std::min<std::size_t>(size, size_ - position_);
    if (count > 0) {
        std::memcpy(buffer, data_ + position_, count);
    }
    position_ += count;
    bytesRead = static_cast<std::uint32_t>(count);
    return count == size ? kStatusOk : kStatusFalse;
}

StreamStatus MemoryByteSink::Write(const void* data, std::uint32_t size,
                                   std::uint32_t& bytesWritten) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    if (size > 0) {
        bytes_.insert(bytes_.end(), bytes, bytes + size);
    }
    bytesWritten = size;
    return kStatusOk;
}

StreamStatus ReadPropertyValue(ByteSource& source, PropertyValue& value) {
    std::uint8_t typeBytes[2];
    StreamStatus status = ReadExact(source, typeBytes, sizeof typeBytes);
    if (IsFailure(status)) {
        return status;
    }
    const auto type = static_cast<VarType>(LoadLittleEndian(typeBytes, sizeof typeBytes));
    if (type == kVtBstr) {
        return ReadText(source, value);
    }
    const std::size_t size = FixedValueSize(type);
    if (size == 0) {
        return kStatusFail;
    }
    std::uint8_t bytes[8];
    status = ReadExact(source, bytes, static_cast<std::uint32_t>(size));
    if (IsFailure(status)) {
        return status;
    }
    value = PropertyValue::FixedSize(type, LoadLittleEndian(bytes, size));
    return kStatusOk;
}

StreamStatus WritePropertyValue(ByteSink& sink, const PropertyValue& value) {
    std::vector<std::uint8_t> bytes;
    const StreamStatus status = EncodePropertyValue(value, bytes);
    return IsFailure(status) ? status : WriteAll(sink, bytes);
}

StreamStatus LoadProperties(ByteSource& source, PropertyTable table, PropertyAccess& access) {
    std::uint32_t version = 0;
    StreamStatus status = ReadUInt32(source, version);
    if (IsFailure(status)) {
        return status;
    }
    if (version > kPropertyStreamVersion) {
        return kStatusFail;
    }
    for (const PropertyRow& row : table) {
        if (row.kind == RowKind::RawExtent) {
            std::uint32_t extent = 0;
            status = ReadUInt32(source, extent);
            if (IsFailure(status)) {
                return status;
            }
            access.PutExtent(row.axis, extent);
            continue;
        }
        PropertyValue value;
        status = ReadPropertyValue(source, value);
        if (IsFailure(status)) {
            return status;
        }
        if (IsFailure(access.PutProperty(row.dispid, value))) {
            return kStatusFail;
        }
    }
    return kStatusOk;
}

StreamStatus SaveProperties(ByteSink& sink, PropertyTable table, PropertyAccess& access) {
    std::vector<std::uint8_t> bytes;
    StoreLittleEndian(bytes, kPropertyStreamVersion, 4);
    StreamStatus status = WriteAll(sink, bytes);
    if (IsFailure(status)) {
        return status;
    }
    for (const PropertyRow& row : table) {
        bytes.clear();
        if (row.kind == RowKind::RawExtent) {
            StoreLittleEndian(bytes, access.GetExtent(row.axis), 4);
        } else {
            PropertyValue value;
            if (IsFailure(access.GetProperty(row.dispid, value)) ||
                IsFailure(EncodePropertyValue(value, bytes))) {
                return kStatusFail;
            }
        }
        status = WriteAll(sink, bytes);
        if (IsFailure(status)) {
            return status;
        }
    }
    return kStatusOk;
}

} // namespace orrelux
