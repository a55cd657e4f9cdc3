// The selection result buffer of the file dialog and the double-terminated lists around it.
//
// The system dialog hands its result back in one character buffer whose form depends on how many
// files were chosen, and takes its filter as a list closed by a double terminator. The functions
// here read and write those forms: the bar-separated Filter text, the counting of selected files,
// the n-th full path, and the split of a path into title and folder. They hold no state, take no
// lock and never throw; a failed allocation gives a null result.
//
// Text is in 16-bit characters. The portable code uses char16_t; on Windows wchar_t is 16 bits
// as well, so the component passes its WCHAR buffers with reinterpret_cast<char16_t*> and back.
//
// Buffer forms (told apart only by comparing the first string's length with GetListLength):
//   Empty:  two terminators.
//   Single: one full path, two terminators.
//   List:   folder, terminator, name 1, terminator, ... name n, terminator, terminator.
#ifndef ORRELUX_FILEDIALOG_SELECTION_BUFFER_H
#define ORRELUX_FILEDIALOG_SELECTION_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace orrelux::filedialog {

constexpr char16_t kTerminator = 0;
constexpr char16_t kFilterBar = u'|';
constexpr char16_t kBackslash = u'\\';
constexpr char16_t kSlash = u'/';

// Characters of a path result with its terminator; longer joins are sized by need, never cut.
constexpr std::size_t kPathResultChars = 260;
// Longest filter list text, without its two closing terminators.
constexpr std::size_t kFilterTextChars = 2028;
// Room of a filter list field: its text and both closing terminators.
constexpr std::size_t kFilterListChars = kFilterTextChars + 2;

// A string allocated for the caller, closed by a terminator. Null means the allocation failed.
using TextResult = std::unique_ptr<char16_t[]>;

// Tells whether a path names an existing directory. On Windows this is IsExistingDirectory
// (GetFileAttributesW with the directory bit); tests pass a table. A null test counts every path
// as no directory.
using DirectoryTest = bool (*)(const char16_t* path);

// Number of characters in front of the first double terminator, at most `limit`; 0 when `limit`
// is below 1 or `list` is null. A leading empty string does not end the list: only a double
// terminator does. The test at position limit - 1 looks at list[limit], so `list` must have
// limit + 1 readable characters unless a double terminator comes earlier.
std::int32_t GetListLength(const char16_t* list, std::int32_t limit) noexcept;

// Writes `text` into `list` with a terminator for each bar, then two terminators. The bar has no
// escape; an empty text gives two terminators. `listCapacity` is the room of `list` in
// characters, closing terminators included: a longer text is cut to listCapacity - 2 characters,
// and with room below 2 nothing is written.
void FilterFromText(std::u16string_view text, char16_t* list, std::size_t listCapacity) noexcept;

// The list's first GetListLength(list, kFilterTextChars) characters with a bar for each
// terminator, in a new allocation of kFilterTextChars + 1 characters. `list` must have
// kFilterListChars - 1 readable characters or end earlier in a double terminator.
TextResult FilterToText(const char16_t* list) noexcept;

// Number of selected files in a buffer of `capacity` characters (plus the one character that
// GetListLength may look at behind it): 0 for a null or empty buffer, 1 for a single path, else
// the names behind the folder line.
std::int32_t GetFileCount(const char16_t* buffer, std::uint32_t capacity) noexcept;

// Full path of the `index`-th file. An index at or beyond GetFileCount, and any index but 0 on a
// single path, gives the empty string; a negative index on a list gives the folder line. A name
// is joined to its folder with a backslash unless the folder already ends in one.
TextResult GetFileNameAt(const char16_t* buffer, std::int32_t index,
                         std::uint32_t capacity) noexcept;

// What stands behind the last backslash or slash. A null path, a path without separator and a
// path that `isDirectory` accepts give the empty string.
TextResult GetFileTitle(const char16_t* path, DirectoryTest isDirectory) noexcept;

// The folder of a path with its closing separator (the last backslash or slash). A directory
// that `isDirectory` accepts is copied whole, with no separator added. A null path and a path
// without separator give the empty string.
TextResult GetFilePath(const char16_t* path, DirectoryTest isDirectory) noexcept;

// Owner of the selection result buffer that the system dialog writes through lpstrFile and
// nMaxFile (Capacity()). It holds one guard terminator behind Capacity() characters, never handed
// to the system, so that GetListLength(Data(), Capacity()) may look at the character behind the
// last one. Capacity starts at kInitialCapacity and only grows.
class FileNameBuffer {
public:
    static constexpr std::uint32_t kInitialCapacity = 16384;
    static constexpr std::uint32_t kGrowthStep = 16384;
    // Keeps (capacity + 1) * 2 bytes well inside a 32-bit size.
    static constexpr std::uint32_t kMaxCapacity = 0x3FFFFFFE;
    // Room that the hook adds to the length of the selected names when it checks for growth.
    static constexpr std::int64_t kPathRoom = 260;

    FileNameBuffer() noexcept = default;
    FileNameBuffer(const FileNameBuffer&) = delete;
    FileNameBuffer& operator=(const FileNameBuffer&) = delete;

    // Allocates kInitialCapacity characters in the Empty form; false when the allocation fails.
    // A buffer that exists already is freed first.
    bool Allocate() noexcept;
    // Frees the buffer; Data() is null and Capacity() 0 afterwards.
    void Free() noexcept;

    bool IsAllocated() const noexcept { return storage_ != nullptr; }
    char16_t* Data() noexcept { return storage_.get(); }
    const char16_t* Data() const noexcept { return storage_.get(); }
    // FileNameCapacity: characters the system may write; 0 before Allocate.
    std::uint32_t Capacity() const noexcept { return capacity_; }

    // Makes room for `needed` characters. Nothing happens when the capacity reaches `needed`
    // already (a negative `needed` included). Otherwise the new capacity is Capacity() +
    // kGrowthStep, or `needed` when that is larger; the content is copied over whole. False,
    // with the old buffer kept, when the allocation fails, `needed` is above kMaxCapacity or no
    // buffer exists.
    bool GrowFor(std::int64_t needed) noexcept;

    // The Empty form: two terminators. No effect without a buffer.
    void Clear() noexcept;
    // The Single form: `path` closed by two terminators, cut to Capacity() - 2 characters. No
    // effect without a buffer.
    void AssignPath(std::u16string_view path) noexcept;

private:
    std::unique_ptr<char16_t[]> storage_;
    std::uint32_t capacity_ = 0;
};

} // namespace orrelux::filedialog

#endif
