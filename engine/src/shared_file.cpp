#include "shared_file.h"

#include <fcntl.h>
#include <io.h>

#include <algorithm>

namespace orrelux::engine {

HRESULT SharedFile::Open(const wchar_t* path) {
    Close();
    if (!path || !*path)
        return E_INVALIDARG;
    // Without FILE_FLAG_BACKUP_SEMANTICS a directory does not open (ERROR_ACCESS_DENIED).
    const HANDLE opened = ::CreateFileW(
        path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
        const DWORD error = ::GetLastError();
        return HRESULT_FROM_WIN32(error != ERROR_SUCCESS ? error : ERROR_OPEN_FAILED);
    }
    handle_.Reset(opened);
    return S_OK;
}

std::uint64_t SharedFile::Size() const {
    LARGE_INTEGER size = {};
    if (!handle_ || !::GetFileSizeEx(handle_.Get(), &size) || size.QuadPart < 0)
        return 0;
    return static_cast<std::uint64_t>(size.QuadPart);
}

HRESULT SharedFile::ReadAt(std::uint64_t offset, void* buffer, std::size_t count,
                           std::size_t* read) const {
    if (!read)
        return E_POINTER;
    *read = 0;
    if (!buffer && count > 0)
        return E_POINTER;
    if (!handle_)
        return E_HANDLE;
    auto* bytes = static_cast<BYTE*>(buffer);
    while (*read < count) {
        // ReadFile takes a 32-bit count: a larger request goes in pieces.
        const DWORD piece = static_cast<DWORD>(std::min<std::size_t>(count - *read, 1u << 30));
        OVERLAPPED at = {};
        const std::uint64_t position = offset + *read;
        at.Offset = static_cast<DWORD>(position);
        at.OffsetHigh = static_cast<DWORD>(position >> 32);
        DWORD got = 0;
        if (!::ReadFile(handle_.Get(), bytes + *read, piece, &got, &at)) {
            const DWORD error = ::GetLastError();
            if (error == ERROR_HANDLE_EOF)
                break;
            return HRESULT_FROM_WIN32(error);
        }
        if (got == 0)
            break;
        *read += got;
    }
    return S_OK;
}

UniqueCStream SharedFile::OpenCStream() const {
    if (!handle_)
        return nullptr;
    HANDLE copy = nullptr;
    const HANDLE process = ::GetCurrentProcess();
    if (!::DuplicateHandle(process, handle_.Get(), process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS))
        return nullptr;
    // From here the descriptor owns the copy, then the stream owns the descriptor.
    const int descriptor =
        ::_open_osfhandle(reinterpret_cast<intptr_t>(copy), _O_RDONLY | _O_BINARY);
    if (descriptor < 0) {
        ::CloseHandle(copy);
        return nullptr;
    }
    UniqueCStream stream(::_fdopen(descriptor, "rb"));
    if (!stream) {
        ::_close(descriptor);
        return nullptr;
    }
    if (std::fseek(stream.get(), 0, SEEK_SET) != 0)
        return nullptr;
    return stream;
}

} // namespace orrelux::engine
