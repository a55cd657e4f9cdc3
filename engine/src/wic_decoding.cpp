#include "wic_decoding.h"

#include <wincodec.h>

#include <algorithm>
#include <new>
#include <vector>

#include "file_stream.h"
#include "platform/handles.h"

namespace orrelux::engine {

namespace {

// Progress positions: reading fills the first half, rows the second.
constexpr int kProgressHalf = 1 << 12;

DecodeStatus StatusOfSystem(HRESULT status, const DecodeControl& control) {
    if (control.ShouldStop())
        return DecodeStatus::Aborted; // whatever the decoder made of the failed read
    switch (status) {
    case E_OUTOFMEMORY:
        return DecodeStatus::OutOfMemory;
    case WINCODEC_ERR_COMPONENTNOTFOUND:
    case WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT:
    case WINCODEC_ERR_UNSUPPORTEDOPERATION:
    case WINCODEC_ERR_UNKNOWNIMAGEFORMAT:
        return DecodeStatus::Unsupported;
    default:
        return DecodeStatus::Corrupt;
    }
}

// The two halves of the progress, each 0 to kProgressHalf, reported as their sum.
class WicProgress {
public:
    explicit WicProgress(const DecodeControl& control) : control_(control) {}

    // Bytes read may pass the size when a decoder reads some parts twice: reading counts as
    // done once as many bytes as the file holds have been read.
    void Read(std::uint64_t bytesRead, std::uint64_t size) {
        if (size == 0)
            return;
        // bytesRead * kProgressHalf < 2^64 for any file below 2^51 bytes.
        const int read = static_cast<int>(std::min(bytesRead, size) * kProgressHalf / size);
        if (read <= read_)
            return;
        read_ = read;
        Report();
    }
    void Rows(int done, int height) {
        rows_ = static_cast<int>(static_cast<std::int64_t>(done) * kProgressHalf / height);
        Report();
    }
    void Report() const { control_.Report(read_ + rows_, 2 * kProgressHalf); }

private:
    const DecodeControl& control_;
    int read_ = 0;
    int rows_ = 0;
};

// Disarms the stream's watch on every way out: the decoder may keep the stream a while longer.
struct StreamDisarm {
    FileStream* stream;
    ~StreamDisarm() { stream->Disarm(); }
};

} // namespace

DecodeStatus DecodeWithWic(const std::shared_ptr<const SharedFile>& file, RowSink& sink,
                           const DecodeControl& control, HRESULT* systemStatus) {
    HRESULT ignored = S_OK;
    HRESULT& status = systemStatus ? *systemStatus : ignored;
    status = S_OK;
    try {
        WicProgress progress(control);
        progress.Report();

        ComPtr<IWICImagingFactory> factory;
        status = ::CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                    IID_IWICImagingFactory, factory.PutVoid());
        if (FAILED(status))
            return DecodeStatus::Unsupported;

        FileStream::Watch watch;
        watch.Aborted = [&control] { return control.ShouldStop(); };
        watch.Read = [&progress](std::uint64_t bytesRead, std::uint64_t size) {
            progress.Read(bytesRead, size);
        };
        ComPtr<FileStream> stream;
        status = FileStream::Create(file, std::move(watch), stream.Put());
        if (FAILED(status))
            return StatusOfSystem(status, control);
        const StreamDisarm disarm{stream.Get()};

        ComPtr<IWICBitmapDecoder> decoder;
        status = factory->CreateDecoderFromStream(stream.Get(), nullptr,
                                                  WICDecodeMetadataCacheOnDemand, decoder.Put());
        if (FAILED(status))
            return StatusOfSystem(status, control);
        ComPtr<IWICBitmapFrameDecode> frame;
        status = decoder->GetFrame(0, frame.Put());
        if (FAILED(status))
            return StatusOfSystem(status, control);
        ComPtr<IWICFormatConverter> converter;
        status = factory->CreateFormatConverter(converter.Put());
        if (SUCCEEDED(status))
            status = converter->Initialize(frame.Get(), GUID_WICPixelFormat32bppBGRA,
                                           WICBitmapDitherTypeNone, nullptr, 0.0,
                                           WICBitmapPaletteTypeCustom);
        if (FAILED(status))
            return StatusOfSystem(status, control);
        UINT width = 0;
        UINT height = 0;
        status = converter->GetSize(&width, &height);
        if (FAILED(status))
            return StatusOfSystem(status, control);
        if (width < 1 || height < 1 || width > 0x7FFFFFFFu || height > 0x7FFFFFFFu)
            return DecodeStatus::Corrupt;
        const DecodeStatus begun = sink.Begin(static_cast<int>(width), static_cast<int>(height));
        if (begun != DecodeStatus::Ok)
            return begun;

        const int bandRows = RowsPerBand(static_cast<int>(width), static_cast<int>(height));
        const UINT stride = width * 4u; // width below 2^31 / 4 in any picture WIC hands out
        if (width > 0x7FFFFFFFu / 4u / static_cast<UINT>(bandRows))
            return DecodeStatus::OutOfMemory;
        std::vector<std::uint32_t> band(static_cast<std::size_t>(width) * bandRows);
        for (int y = 0; y < static_cast<int>(height); y += bandRows) {
            if (control.ShouldStop())
                return DecodeStatus::Aborted;
            const int rows = std::min(bandRows, static_cast<int>(height) - y);
            const WICRect area = {0, y, static_cast<INT>(width), rows};
            status = converter->CopyPixels(&area, stride, stride * static_cast<UINT>(rows),
                                           reinterpret_cast<BYTE*>(band.data()));
            if (FAILED(status))
                return StatusOfSystem(status, control);
            for (int row = 0; row < rows; ++row)
                sink.PutRow(band.data() + static_cast<std::size_t>(row) * width);
            progress.Rows(y + rows, static_cast<int>(height));
        }
        status = S_OK;
        return DecodeStatus::Ok;
    } catch (const std::bad_alloc&) {
        status = E_OUTOFMEMORY;
        return DecodeStatus::OutOfMemory;
    } catch (...) {
        status = E_FAIL;
        return DecodeStatus::Corrupt;
    }
}

} // namespace orrelux::engine
