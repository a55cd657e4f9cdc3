// A picture file opened for reading through a Win32 handle that leaves the file to everybody
// else: other readers, a writer that still holds it, a rename or a delete. The engine reads
// headers and pixels through it at explicit offsets, so one open file serves several readers.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "platform/handles.h"

namespace orrelux::engine {

// A C library stream (for decoders that read through stdio); closing it closes its own handle.
struct CStreamClose {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using UniqueCStream = std::unique_ptr<std::FILE, CStreamClose>;

class SharedFile {
public:
    SharedFile() = default;

    // Opens an existing file (never a directory). Fails with the system's status, for instance
    // HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), or ERROR_SHARING_VIOLATION when a writer has
    // locked the file against readers; the object then stays closed.
    HRESULT Open(const wchar_t* path);
    void Close() { handle_.Reset(); }
    bool IsOpen() const { return static_cast<bool>(handle_); }

    // The size at the time of the call; 0 when closed or when the system cannot tell.
    std::uint64_t Size() const;

    // Reads up to `count` bytes at `offset` into `buffer` and gives the number read in `read`;
    // fewer than asked only at the end of the file. Safe to call from several threads at once.
    HRESULT ReadAt(std::uint64_t offset, void* buffer, std::size_t count, std::size_t* read) const;

    // A stdio stream over the same open file, at its start, with a handle of its own (the
    // sharing stays as Open made it). Null when the system refuses. The stream and this object
    // share the file position: only one of them is read at a time.
    UniqueCStream OpenCStream() const;

private:
    UniqueKernelHandle handle_;
};

} // namespace orrelux::engine
