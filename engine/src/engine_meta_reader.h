// EngineMetaReader: what a picture file is (format, size, pixel format word) from its header
// alone, without decoding a pixel. Open reads the header through a file handle that leaves the
// file to other readers and writers; the file stays open until Close or the next Open.
//
// Results:
//   Open    E_INVALIDARG for a null or empty name; the system's status when the file does not
//           open (HRESULT_FROM_WIN32: not found, sharing violation, access denied, a
//           directory); kEngineErrorUnknownFormat when no format's signature matches (the
//           file is then closed again). A file whose signature matched but whose header is
//           damaged, cut short or of a variant not described opens with S_OK: its FileFormat
//           is known, its Width, Height and PixelFormat fail with kEngineErrorCorrupt or
//           kEngineErrorUnsupported.
//   getters E_POINTER for a null out-parameter; kEngineErrorNothingLoaded while no file is
//           open; the value is 0 on every failure.
//   Close   S_OK, also when nothing is open.
// The object guards its state with its own lock (ThreadingModel Both).
#pragma once

#include <windows.h>
#include <ole2.h>

#include <mutex>

#include "ImagingEngine.h"
#include "dispatch_object.h"
#include "headers/image_header.h"
#include "shared_file.h"

namespace orrelux::engine {

class CEngineMetaReader final : public DispatchObject<IEngineMetaReader> {
public:
    static HRESULT Create(REFIID iid, void** out);

    STDMETHODIMP Open(BSTR fileName) override;
    STDMETHODIMP get_Width(LONG* width) override;
    STDMETHODIMP get_Height(LONG* height) override;
    STDMETHODIMP get_PixelFormat(ULONG* pixelFormat) override;
    STDMETHODIMP get_FileFormat(LONG* fileFormat) override;
    STDMETHODIMP Close() override;

private:
    CEngineMetaReader() = default;
    ~CEngineMetaReader() override = default;
    friend HRESULT CreateDispatchObject<CEngineMetaReader>(REFIID, void**);

    // Gives one field of the header read by Open; `needsWholeHeader` for the fields that a
    // damaged header does not have.
    template <typename Value, typename Field>
    HRESULT GiveField(Value* out, bool needsWholeHeader, Field field);

    std::mutex lock_;
    SharedFile file_;    // guarded by lock_
    ImageHeader header_; // guarded by lock_; valid while file_ is open
};

} // namespace orrelux::engine
