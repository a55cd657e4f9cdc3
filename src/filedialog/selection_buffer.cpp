#include "filedialog/selection_buffer.h"

#include <algorithm>
#include <climits>
#include <new>

namespace orrelux::filedialog {

namespace {

constexpr std::size_t kNoSeparator = static_cast<std::size_t>(-1);

// A new text of room for `chars` characters, empty. Null when the allocation fails.
TextResult AllocateText(std::size_t chars) noexcept {
    TextResult text(new (std::nothrow) char16_t[chars]);
    if (text) {
        text[0] = kTerminator;
    }
    return text;
}

// A new text holding `length` characters of `source`. Path results keep their documented room of
// kPathResultChars and grow beyond it only for a longer text, which is thus never cut.
TextResult CopyText(const char16_t* source, std::size_t length) noexcept {
    TextResult text = AllocateText(std::max(kPathResultChars, length + 1));
    if (text) {
        std::copy(source, source + length, text.get());
        text[length] = kTerminator;
    }
    return text;
}

TextResult EmptyPathResult() noexcept {
    return AllocateText(kPathResultChars);
}

// Length of the string at `text`, looking at no more than `limit` characters: a string that
// runs on gives `limit`.
std::size_t BoundedLength(const char16_t* text, std::size_t limit) noexcept {
    std::size_t length = 0;
    while (length < limit && text[length] != kTerminator) {
        ++length;
    }
    return length;
}

std::size_t TextLength(const char16_t* text) noexcept {
    std::size_t length = 0;
    while (text[length] != kTerminator) {
        ++length;
    }
    return length;
}

// Position of the separator further along, backslash or slash; kNoSeparator with neither.
std::size_t LastSeparator(const char16_t* path, std::size_t length) noexcept {
    for (std::size_t position = length; position > 0; --position) {
        const char16_t c = path[position - 1];
        if (c == kBackslash || c == kSlash) {
            return position - 1;
        }
    }
    return kNoSeparator;
}

// The buffer's capacity as a list limit. Capacities stay far below 2^31 (kMaxCapacity), the
// clamp only keeps a foreign value from turning negative.
std::int32_t LimitOf(std::uint32_t capacity) noexcept {
    return capacity > static_cast<std::uint32_t>(INT32_MAX) ? INT32_MAX
                                                            : static_cast<std::int32_t>(capacity);
}

// The two lengths that tell the forms apart: the list's length `n`, and the first string's
// length, read up to and including position n. Position n holds a terminator whenever the list
// closed before its limit; otherwise the first string counts as longer than the list, which is
// what an unbounded length would tell as well. Both fit in 64 bits even for a limit of 2^31 - 1.
struct ListShape {
    std::int64_t listLength;
    std::int64_t firstLength;
    bool IsSinglePath() const noexcept { return firstLength == listLength; }
};

ListShape ShapeOf(const char16_t* buffer, std::int32_t limit) noexcept {
    const std::int32_t n = GetListLength(buffer, limit);
    const std::size_t first = BoundedLength(buffer, static_cast<std::size_t>(n) + 1);
    return {n, static_cast<std::int64_t>(first)};
}

} // namespace

std::int32_t GetListLength(const char16_t* list, std::int32_t limit) noexcept {
    if (list == nullptr || limit < 1) {
        return 0;
    }
    std::int32_t position = 0;
    // position < limit <= INT32_MAX, so position + 1 does not overflow.
    while (position < limit) {
        if (list[position] == kTerminator && list[position + 1] == kTerminator) {
            break;
        }
        ++position;
    }
    return position;
}

void FilterFromText(std::u16string_view text, char16_t* list, std::size_t listCapacity) noexcept {
    if (list == nullptr || listCapacity < 2) {
        return;
    }
    const std::size_t n = std::min(text.size(), listCapacity - 2);
    for (std::size_t i = 0; i < n; ++i) {
        list[i] = text[i] == kFilterBar ? kTerminator : text[i];
    }
    list[n] = kTerminator;
    list[n + 1] = kTerminator;
}

TextResult FilterToText(const char16_t* list) noexcept {
    TextResult text = AllocateText(kFilterTextChars + 1);
    if (!text) {
        return text;
    }
    const std::int32_t n = GetListLength(list, static_cast<std::int32_t>(kFilterTextChars));
    for (std::int32_t i = 0; i < n; ++i) {
        text[i] = list[i] == kTerminator ? kFilterBar : list[i];
    }
    text[n] = kTerminator;
    return text;
}

std::int32_t GetFileCount(const char16_t* buffer, std::uint32_t capacity) noexcept {
    if (buffer == nullptr) {
        return 0;
    }
    const ListShape shape = ShapeOf(buffer, LimitOf(capacity));
    if (shape.listLength == 0) {
        return 0;
    }
    if (shape.IsSinglePath()) {
        return 1;
    }
    // The folder line does not count; the names behind it run up to the double terminator.
    const std::int64_t n = shape.listLength;
    std::int32_t count = 0;
    std::int64_t position = shape.firstLength + 1;
    while (position < n && buffer[position] != kTerminator) {
        ++count;
        while (position < n && buffer[position] != kTerminator) {
            ++position;
        }
        ++position;
    }
    return count;
}

TextResult GetFileNameAt(const char16_t* buffer, std::int32_t index,
                         std::uint32_t capacity) noexcept {
    if (buffer == nullptr || index >= GetFileCount(buffer, capacity)) {
        return EmptyPathResult();
    }
    const ListShape shape = ShapeOf(buffer, LimitOf(capacity));
    if (shape.IsSinglePath()) {
        return index == 0 ? CopyText(buffer, static_cast<std::size_t>(shape.firstLength))
                          : EmptyPathResult();
    }

    // A list. The walk keeps the offset (the position in front of the current name) below the
    // capacity and stops at the double terminator, so a name is never read past position n.
    const std::size_t n = static_cast<std::size_t>(shape.listLength);
    const std::size_t folderLength = static_cast<std::size_t>(shape.firstLength);
    std::size_t namePosition = folderLength + 1;
    std::int32_t k = 0;
    while (namePosition - 1 < capacity && k < index && namePosition < n) {
        namePosition += BoundedLength(buffer + namePosition, n - namePosition) + 1;
        ++k;
    }
    if (k != index) {
        // Only a negative index gets here: the result is the folder line.
        return CopyText(buffer, folderLength);
    }
    const std::size_t nameLength =
        namePosition < n ? BoundedLength(buffer + namePosition, n - namePosition) : 0;

    // A drive root such as C:\ ends in a backslash already and gets no second one.
    const bool needsBackslash = folderLength == 0 || buffer[folderLength - 1] != kBackslash;
    const std::size_t joinedLength = folderLength + (needsBackslash ? 1 : 0) + nameLength;
    TextResult joined = AllocateText(std::max(kPathResultChars, joinedLength + 1));
    if (!joined) {
        return joined;
    }
    char16_t* out = std::copy(buffer, buffer + folderLength, joined.get());
    if (needsBackslash) {
        *out++ = kBackslash;
    }
    out = std::copy(buffer + namePosition, buffer + namePosition + nameLength, out);
    *out = kTerminator;
    return joined;
}

TextResult GetFileTitle(const char16_t* path, DirectoryTest isDirectory) noexcept {
    if (path == nullptr || (isDirectory != nullptr && isDirectory(path))) {
        return EmptyPathResult();
    }
    const std::size_t length = TextLength(path);
    const std::size_t separator = LastSeparator(path, length);
    if (separator == kNoSeparator) {
        return EmptyPathResult();
    }
    return CopyText(path + separator + 1, length - separator - 1);
}

TextResult GetFilePath(const char16_t* path, DirectoryTest isDirectory) noexcept {
    if (path == nullptr) {
        return EmptyPathResult();
    }
    const std::size_t length = TextLength(path);
    if (isDirectory != nullptr && isDirectory(path)) {
        return CopyText(path, length);
    }
    const std::size_t separator = LastSeparator(path, length);
    if (separator == kNoSeparator) {
        return EmptyPathResult();
    }
    return CopyText(path, separator + 1);
}

bool FileNameBuffer::Allocate() noexcept {
    Free();
    // The extra character is the guard terminator; value-initialised like the rest.
    storage_.reset(new (std::nothrow) char16_t[kInitialCapacity + 1]());
    if (!storage_) {
        return false;
    }
    capacity_ = kInitialCapacity;
    return true;
}

void FileNameBuffer::Free() noexcept {
    storage_.reset();
    capacity_ = 0;
}

bool FileNameBuffer::GrowFor(std::int64_t needed) noexcept {
    if (!storage_) {
        return false;
    }
    if (needed <= static_cast<std::int64_t>(capacity_)) {
        return true;
    }
    if (needed > static_cast<std::int64_t>(kMaxCapacity)) {
        return false;
    }
    // capacity_ <= kMaxCapacity, so capacity_ + kGrowthStep stays below 2^31.
    const std::uint32_t stepped = std::min(capacity_ + kGrowthStep, kMaxCapacity);
    const std::uint32_t grown = std::max(stepped, static_cast<std::uint32_t>(needed));
    std::unique_ptr<char16_t[]> larger(new (std::nothrow) char16_t[std::size_t{grown} + 1]());
    if (!larger) {
        return false;
    }
    std::copy(storage_.get(), storage_.get() + capacity_, larger.get());
    storage_ = std::move(larger);
    capacity_ = grown;
    return true;
}

void FileNameBuffer::Clear() noexcept {
    if (storage_) {
        storage_[0] = kTerminator;
        storage_[1] = kTerminator;
    }
}

void FileNameBuffer::AssignPath(std::u16string_view path) noexcept {
    if (!storage_) {
        return;
    }
    const std::size_t length = std::min<std::size_t>(path.size(), capacity_ - 2);
    std::copy(path.begin(), path.begin() + length, storage_.get());
    storage_[length] = kTerminator;
    storage_[length + 1] = kTerminator;
}

} // namespace orrelux::filedialog
