// A read-only IStream over a SharedFile, for decoders that read through a stream (WIC). It
// watches the decode from the inside: every read first asks whether the operation is to stop
// (and then fails with E_ABORT), and reports how many bytes have been read so far. Large
// reads go in pieces of kReadPiece bytes with the question asked between them, so a decoder
// that reads a whole file in one call still stops within one piece.
#pragma once

#include <windows.h>
#include <ole2.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "shared_file.h"

namespace orrelux::engine {

class FileStream final : public IStream {
public:
    static constexpr std::size_t kReadPiece = 1u << 20;

    struct Watch {
        std::function<bool()> Aborted;                                         // may be empty
        std::function<void(std::uint64_t bytesRead, std::uint64_t size)> Read; // may be empty
    };

    // A stream at position 0 of `file`, which must be open. The stream holds one reference.
    static HRESULT Create(std::shared_ptr<const SharedFile> file, Watch watch, FileStream** out);

    // Forgets the watch: after this no callback runs, whoever still holds the stream.
    void Disarm();
    // The bytes that reads of this stream and its clones have given so far.
    std::uint64_t BytesRead() const;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP Read(void* buffer, ULONG count, ULONG* read) override;
    STDMETHODIMP Write(const void* buffer, ULONG count, ULONG* written) override;
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) override;
    STDMETHODIMP SetSize(ULARGE_INTEGER size) override;
    STDMETHODIMP CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* read,
                        ULARGE_INTEGER* written) override;
    STDMETHODIMP Commit(DWORD flags) override;
    STDMETHODIMP Revert() override;
    STDMETHODIMP LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) override;
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) override;
    STDMETHODIMP Stat(STATSTG* status, DWORD flags) override;
    STDMETHODIMP Clone(IStream** clone) override;

private:
    // What the stream and its clones share: the file, the watch and the count of bytes read.
    struct Shared {
        std::shared_ptr<const SharedFile> file;
        std::mutex lock; // guards watch and bytesRead
        Watch watch;
        std::uint64_t bytesRead = 0;
    };

    explicit FileStream(std::shared_ptr<Shared> shared);
    ~FileStream() = default;

    bool Aborted() const;
    void Counted(std::size_t bytes) const;

    LONG references_ = 1;
    std::shared_ptr<Shared> shared_;
    std::uint64_t position_ = 0; // one stream object belongs to one reader at a time
};

} // namespace orrelux::engine
