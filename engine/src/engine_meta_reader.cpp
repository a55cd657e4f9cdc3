#include "engine_meta_reader.h"

#include <new>

#include "file_byte_source.h"
#include "imaging_engine.h"

namespace orrelux::engine {

namespace {

HRESULT StatusOfHeader(HeaderStatus status) {
    switch (status) {
    case HeaderStatus::Ok:
        return S_OK;
    case HeaderStatus::NotRecognised:
        return kEngineErrorUnknownFormat;
    case HeaderStatus::Unsupported:
        return kEngineErrorUnsupported;
    case HeaderStatus::Truncated:
    case HeaderStatus::Corrupt:
        break;
    }
    return kEngineErrorCorrupt;
}

} // namespace

HRESULT CEngineMetaReader::Create(REFIID iid, void** out) {
    return CreateDispatchObject<CEngineMetaReader>(iid, out);
}

STDMETHODIMP CEngineMetaReader::Open(BSTR fileName) {
    if (!fileName || ::SysStringLen(fileName) == 0)
        return E_INVALIDARG;
    try {
        std::lock_guard<std::mutex> guard(lock_);
        header_ = ImageHeader();
        HRESULT status = file_.Open(fileName);
        if (FAILED(status))
            return status;
        FileByteSource file(file_);
        ReadAheadSource source(file);
        header_ = ReadImageHeader(source);
        if (header_.status == HeaderStatus::NotRecognised) {
            file_.Close();
            return kEngineErrorUnknownFormat;
        }
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

template <typename Value, typename Field>
HRESULT CEngineMetaReader::GiveField(Value* out, bool needsWholeHeader, Field field) {
    if (!out)
        return E_POINTER;
    *out = 0;
    try {
        std::lock_guard<std::mutex> guard(lock_);
        if (!file_.IsOpen())
            return kEngineErrorNothingLoaded;
        if (needsWholeHeader && header_.status != HeaderStatus::Ok)
            return StatusOfHeader(header_.status);
        *out = static_cast<Value>(field(header_));
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP CEngineMetaReader::get_Width(LONG* width) {
    return GiveField(width, true, [](const ImageHeader& header) { return header.width; });
}

STDMETHODIMP CEngineMetaReader::get_Height(LONG* height) {
    return GiveField(height, true, [](const ImageHeader& header) { return header.height; });
}

STDMETHODIMP CEngineMetaReader::get_PixelFormat(ULONG* pixelFormat) {
    return GiveField(pixelFormat, true,
                     [](const ImageHeader& header) { return header.pixelFormat; });
}

STDMETHODIMP CEngineMetaReader::get_FileFormat(LONG* fileFormat) {
    return GiveField(fileFormat, false,
                     [](const ImageHeader& header) { return header.fileFormat; });
}

STDMETHODIMP CEngineMetaReader::Close() {
    try {
        std::lock_guard<std::mutex> guard(lock_);
        file_.Close();
        header_ = ImageHeader();
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

} // namespace orrelux::engine
