// libFuzzer target for the selection result buffer and the filter list.
//
// The first input byte picks a few options; every further byte is one 16-bit character (bytes
// below 0x80 as they are, so that terminators, bars and both separators are one byte away, the
// rest moved into the 0xFF00 block). Every buffer handed to the code under test is a heap block
// of exactly the size that its contract admits, so AddressSanitizer reports any read past it.
// Besides sanitizer findings the target aborts when an invariant below fails.
#include "filedialog/selection_buffer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

using namespace orrelux::filedialog;

namespace {

void Check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

std::u16string TextOf(const TextResult& result) {
    Check(result != nullptr);
    return std::u16string(result.get());
}

bool IsSeparator(char16_t c) {
    return c == kBackslash || c == kSlash;
}

bool gEveryPathIsDirectory = false;

bool FuzzDirectoryTest(const char16_t*) {
    return gEveryPathIsDirectory;
}

// The bar text that a text reads back as, told from the text's side: it ends in front of the
// first separator (bar or terminator) that is followed by another one or by the end.
std::u16string ExpectedReadBack(std::u16string_view text) {
    const std::size_t length = std::min(text.size(), kFilterTextChars);
    auto separates = [&](std::size_t i) { return i >= length || text[i] == 0 || text[i] == '|'; };
    std::size_t end = 0;
    while (end < length && !(separates(end) && separates(end + 1))) {
        ++end;
    }
    std::u16string expected(text.substr(0, end));
    for (char16_t& c : expected) {
        c = c == 0 ? kFilterBar : c;
    }
    return expected;
}

void CheckFilter(std::u16string_view text) {
    std::vector<char16_t> list(kFilterListChars);
    FilterFromText(text, list.data(), list.size());
    const std::u16string back = TextOf(FilterToText(list.data()));
    Check(back == ExpectedReadBack(text));

    // Read-back text is in its normal form: it goes round unchanged.
    std::vector<char16_t> again(kFilterListChars);
    FilterFromText(back, again.data(), again.size());
    Check(TextOf(FilterToText(again.data())) == back);
}

// The raw characters as a list closed by a double terminator, exactly that long.
void CheckListToText(const std::vector<char16_t>& chars) {
    std::vector<char16_t> list(chars);
    list.push_back(0);
    list.push_back(0);
    const std::int32_t n = GetListLength(list.data(), static_cast<std::int32_t>(kFilterTextChars));
    const std::u16string text = TextOf(FilterToText(list.data()));
    Check(text.size() == static_cast<std::size_t>(n));
    bool hasBar = false;
    for (std::int32_t i = 0; i < n; ++i) {
        Check(text[i] == (list[i] == 0 ? kFilterBar : list[i]));
        hasBar = hasBar || list[i] == kFilterBar;
    }
    if (!hasBar && n < static_cast<std::int32_t>(kFilterTextChars)) {
        std::vector<char16_t> rebuilt(kFilterListChars, u'x');
        FilterFromText(text, rebuilt.data(), rebuilt.size());
        for (std::int32_t i = 0; i < n + 2; ++i) {
            Check(rebuilt[i] == list[i]);
        }
    }
}

void CheckPathSplit(const std::u16string& path) {
    const std::u16string title = TextOf(GetFileTitle(path.c_str(), FuzzDirectoryTest));
    const std::u16string folder = TextOf(GetFilePath(path.c_str(), FuzzDirectoryTest));
    if (gEveryPathIsDirectory) {
        Check(title.empty() && folder == path);
        return;
    }
    const std::size_t separator = path.find_last_of(u"\\/");
    if (separator == std::u16string::npos) {
        Check(title.empty() && folder.empty());
        return;
    }
    Check(folder + title == path);
    Check(!folder.empty() && IsSeparator(folder.back()));
    Check(title.find_first_of(u"\\/") == std::u16string::npos);
}

// The raw characters as a selection buffer of `capacity` characters plus the one that
// GetListLength may look at: no terminator is added.
void CheckSelection(const std::vector<char16_t>& chars, std::uint32_t shrink) {
    if (chars.size() < 2) {
        return;
    }
    const std::vector<char16_t> buffer(chars);
    const std::uint32_t limit = static_cast<std::uint32_t>(buffer.size() - 1);
    const std::uint32_t capacity = limit > shrink ? limit - shrink : 0;
    const std::int32_t n = GetListLength(buffer.data(), static_cast<std::int32_t>(capacity));
    Check(n >= 0 && static_cast<std::uint32_t>(n) <= capacity);
    for (std::int32_t i = 0; i + 1 < static_cast<std::int32_t>(capacity) && i < n; ++i) {
        Check(!(buffer[i] == 0 && buffer[i + 1] == 0));
    }
    if (static_cast<std::uint32_t>(n) < capacity) {
        Check(buffer[n] == 0 && buffer[n + 1] == 0);
    }

    const std::int32_t count = GetFileCount(buffer.data(), capacity);
    std::size_t first = 0;
    while (first <= static_cast<std::size_t>(n) && buffer[first] != 0) {
        ++first;
    }
    const std::u16string head(buffer.data(), std::min<std::size_t>(first, n));
    Check(TextOf(GetFileNameAt(buffer.data(), count, capacity)).empty());
    if (n == 0) {
        Check(count == 0);
        return;
    }
    if (first == static_cast<std::size_t>(n)) {
        Check(count == 1);
        Check(TextOf(GetFileNameAt(buffer.data(), 0, capacity)) == head);
        Check(TextOf(GetFileNameAt(buffer.data(), -1, capacity)).empty());
        return;
    }

    // A list: the names are the pieces between the folder line and the double terminator.
    std::vector<std::u16string> names;
    for (std::size_t position = first + 1; position < static_cast<std::size_t>(n);) {
        std::size_t end = position;
        while (end < static_cast<std::size_t>(n) && buffer[end] != 0) {
            ++end;
        }
        names.emplace_back(buffer.data() + position, end - position);
        position = end + 1;
    }
    Check(count == static_cast<std::int32_t>(names.size()));
    if (first > static_cast<std::size_t>(n)) {
        return;
    }
    Check(TextOf(GetFileNameAt(buffer.data(), -1, capacity)) == head);
    const bool rootFolder = !head.empty() && head.back() == kBackslash;
    // The first and the last few names: each join walks the list, so all of them would make a
    // long input quadratic.
    for (std::int32_t i = 0; i < count; i = i == 7 && count > 16 ? count - 8 : i + 1) {
        const std::u16string path = TextOf(GetFileNameAt(buffer.data(), i, capacity));
        Check(path == head + (rootFolder ? u"" : u"\\") + names[i]);
        CheckPathSplit(path);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) {
        return 0;
    }
    const std::uint8_t options = data[0];
    std::vector<char16_t> chars;
    chars.reserve(size - 1);
    for (std::size_t i = 1; i < size; ++i) {
        chars.push_back(data[i] < 0x80 ? data[i] : static_cast<char16_t>(0xFF00 | data[i]));
    }

    gEveryPathIsDirectory = (options & 0x80) != 0;
    CheckSelection(chars, options & 0x03);
    CheckFilter(std::u16string_view(chars.data(), chars.size()));
    CheckListToText(chars);

    std::u16string path(chars.data(), chars.size());
    path = path.substr(0, path.find(u'\0'));
    CheckPathSplit(path);

    if ((options & 0x40) != 0) {
        // The owned buffer: a path put in reads back as the one selected file, also after growth.
        FileNameBuffer buffer;
        Check(buffer.Allocate());
        buffer.AssignPath(path);
        const std::uint32_t before = buffer.Capacity();
        const std::int64_t needed =
            std::int64_t{before} + static_cast<std::int64_t>(path.size()) * (options & 0x07);
        Check(buffer.GrowFor(needed));
        Check(buffer.Capacity() ==
              (needed > before
                   ? std::max<std::int64_t>(needed, before + FileNameBuffer::kGrowthStep)
                   : before));
        Check(GetFileCount(buffer.Data(), buffer.Capacity()) == (path.empty() ? 0 : 1));
        Check(TextOf(GetFileNameAt(buffer.Data(), 0, buffer.Capacity())) == path);
    }
    return 0;
}
