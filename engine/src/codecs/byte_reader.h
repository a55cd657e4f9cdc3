// A cursor over a byte span for the decoders. It never reads past the end: every read says
// whether its bytes were there, and a failed read leaves the cursor where it was.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orrelux::engine {

class ByteReader {
public:
    ByteReader(const std::uint8_t* data, std::size_t size)
        : data_(data != nullptr ? data : &kNothing), size_(data != nullptr ? size : 0) {}

    std::size_t Position() const { return position_; }
    std::size_t Remaining() const { return size_ - position_; }
    // The unread bytes; valid for Remaining() bytes.
    const std::uint8_t* Current() const { return data_ + position_; }

    bool Skip(std::size_t count) {
        if (count > Remaining())
            return false;
        position_ += count;
        return true;
    }
    bool ReadU8(std::uint8_t& value) {
        if (Remaining() < 1)
            return false;
        value = data_[position_++];
        return true;
    }
    bool ReadU16Le(std::uint16_t& value) {
        if (Remaining() < 2)
            return false;
        value = static_cast<std::uint16_t>(data_[position_] | data_[position_ + 1] << 8);
        position_ += 2;
        return true;
    }
    bool ReadU16Be(std::uint16_t& value) {
        if (Remaining() < 2)
            return false;
        value = static_cast<std::uint16_t>(data_[position_] << 8 | data_[position_ + 1]);
        position_ += 2;
        return true;
    }
    bool ReadU32Be(std::uint32_t& value) {
        if (Remaining() < 4)
            return false;
        const std::uint8_t* p = data_ + position_;
        value = static_cast<std::uint32_t>(p[0]) << 24 | static_cast<std::uint32_t>(p[1]) << 16 |
                static_cast<std::uint32_t>(p[2]) << 8 | p[3];
        position_ += 4;
        return true;
    }

private:
    static constexpr std::uint8_t kNothing = 0;

    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t position_ = 0;
};

} // namespace orrelux::engine
