#include "file_stream.h"

#include <algorithm>
#include <new>

namespace orrelux::engine {

HRESULT FileStream::Create(std::shared_ptr<const SharedFile> file, Watch watch, FileStream** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (!file || !file->IsOpen())
        return E_INVALIDARG;
    try {
        auto shared = std::make_shared<Shared>();
        shared->file = std::move(file);
        shared->watch = std::move(watch);
        *out = new FileStream(std::move(shared));
        return S_OK;
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

FileStream::FileStream(std::shared_ptr<Shared> shared) : shared_(std::move(shared)) {}

void FileStream::Disarm() {
    Watch released; // the callbacks' captures go after the lock is given up
    std::lock_guard<std::mutex> guard(shared_->lock);
    released = std::move(shared_->watch);
    shared_->watch = Watch();
}

std::uint64_t FileStream::BytesRead() const {
    std::lock_guard<std::mutex> guard(shared_->lock);
    return shared_->bytesRead;
}

bool FileStream::Aborted() const {
    std::function<bool()> aborted;
    {
        std::lock_guard<std::mutex> guard(shared_->lock);
        aborted = shared_->watch.Aborted;
    }
    return aborted && aborted();
}

void FileStream::Counted(std::size_t bytes) const {
    std::function<void(std::uint64_t, std::uint64_t)> read;
    std::uint64_t total = 0;
    {
        std::lock_guard<std::mutex> guard(shared_->lock);
        shared_->bytesRead += bytes;
        total = shared_->bytesRead;
        read = shared_->watch.Read;
    }
    if (read)
        read(total, shared_->file->Size());
}

STDMETHODIMP FileStream::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_ISequentialStream && iid != IID_IStream)
        return E_NOINTERFACE;
    *out = static_cast<IStream*>(this);
    AddRef();
    return S_OK;
}

STDMETHODIMP_(ULONG) FileStream::AddRef() {
    return static_cast<ULONG>(::InterlockedIncrement(&references_));
}

STDMETHODIMP_(ULONG) FileStream::Release() {
    const LONG left = ::InterlockedDecrement(&references_);
    if (left == 0)
        delete this;
    return static_cast<ULONG>(left);
}

STDMETHODIMP FileStream::Read(void* buffer, ULONG count, ULONG* read) {
    if (read)
        *read = 0;
    if (!buffer && count > 0)
        return STG_E_INVALIDPOINTER;
    try {
        auto* bytes = static_cast<BYTE*>(buffer);
        ULONG done = 0;
        while (done < count) {
            if (Aborted())
                return E_ABORT;
            const std::size_t piece = std::min<std::size_t>(count - done, kReadPiece);
            std::size_t got = 0;
            const HRESULT status = shared_->file->ReadAt(position_, bytes + done, piece, &got);
            if (FAILED(status))
                return status;
            position_ += got;
            done += static_cast<ULONG>(got); // got <= piece <= count - done
            if (read)
                *read = done;
            Counted(got);
            if (got < piece)
                break; // end of the file
        }
        return done == count ? S_OK : S_FALSE;
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP FileStream::Write(const void*, ULONG, ULONG* written) {
    if (written)
        *written = 0;
    return STG_E_ACCESSDENIED; // a picture is only ever read
}

STDMETHODIMP FileStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) {
    std::int64_t base = 0;
    switch (origin) {
    case STREAM_SEEK_SET:
        break;
    case STREAM_SEEK_CUR:
        base = static_cast<std::int64_t>(position_);
        break;
    case STREAM_SEEK_END:
        base = static_cast<std::int64_t>(shared_->file->Size());
        break;
    default:
        return STG_E_INVALIDFUNCTION;
    }
    // Positions stay far below 2^62: base is a file size or an earlier position.
    const std::int64_t target = base + move.QuadPart;
    if (target < 0)
        return STG_E_INVALIDFUNCTION;
    position_ = static_cast<std::uint64_t>(target);
    if (position)
        position->QuadPart = position_;
    return S_OK;
}

STDMETHODIMP FileStream::SetSize(ULARGE_INTEGER) {
    return STG_E_ACCESSDENIED;
}

STDMETHODIMP FileStream::CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* read,
                                ULARGE_INTEGER* written) {
    if (read)
        read->QuadPart = 0;
    if (written)
        written->QuadPart = 0;
    if (!target)
        return STG_E_INVALIDPOINTER;
    try {
        std::unique_ptr<BYTE[]> piece(new BYTE[kReadPiece]);
        ULONGLONG left = count.QuadPart;
        while (left > 0) {
            ULONG got = 0;
            const HRESULT status =
                Read(piece.get(), static_cast<ULONG>(std::min<ULONGLONG>(left, kReadPiece)), &got);
            if (FAILED(status))
                return status;
            if (read)
                read->QuadPart += got;
            ULONG put = 0;
            const HRESULT wrote = target->Write(piece.get(), got, &put);
            if (written)
                written->QuadPart += put;
            if (FAILED(wrote))
                return wrote;
            left -= got;
            if (status == S_FALSE || got == 0)
                break;
        }
        return S_OK;
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

STDMETHODIMP FileStream::Commit(DWORD) {
    return S_OK; // nothing is ever written
}

STDMETHODIMP FileStream::Revert() {
    return S_OK;
}

STDMETHODIMP FileStream::LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
    return STG_E_INVALIDFUNCTION; // region locking is not offered
}

STDMETHODIMP FileStream::UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
    return STG_E_INVALIDFUNCTION;
}

STDMETHODIMP FileStream::Stat(STATSTG* status, DWORD) {
    if (!status)
        return STG_E_INVALIDPOINTER;
    *status = STATSTG();
    status->type = STGTY_STREAM;
    status->cbSize.QuadPart = shared_->file->Size();
    status->grfMode = STGM_READ | STGM_SHARE_DENY_NONE;
    return S_OK;
}

STDMETHODIMP FileStream::Clone(IStream** clone) {
    if (!clone)
        return STG_E_INVALIDPOINTER;
    *clone = nullptr;
    auto* copy = new (std::nothrow) FileStream(shared_);
    if (!copy)
        return E_OUTOFMEMORY;
    copy->position_ = position_;
    *clone = copy;
    return S_OK;
}

} // namespace orrelux::engine
