// EngineBitmap: decodes a picture file (whole, or fitted into a box as a thumbnail), keeps it,
// draws it onto a device context, and tells its sinks how each operation goes.
//
// Threads. The object is free-threaded: it aggregates the system's free-threaded marshaler, so
// a dialog's thread and its worker threads (single- and multithreaded apartments alike) call
// the one object directly. Load, LoadThumbnail and Draw are operations: one runs at a time,
// and a second caller waits until the running one has ended (an operation started from inside
// an event handler of the running one, on its thread, is refused with E_ILLEGAL_METHOD_CALL,
// 0x8000000E). AbortOperation, IsBusy, GetData, Clear, GetFormatList and IsLzwEnabled never wait.
//
// Events (_IEngineBitmapEvents, by IDispatch::Invoke on the operation's thread, no lock held):
//   OperationBegin   when an operation starts, after its wait
//   OperationProgress(position, 100)   loads only: 0 first, then at every new percent (so at
//                    least every 1/16 of the work), 100 on success; a draw is quick next to a
//                    decode and leaves a load's progress display alone
//   ErrorOccured(description, status)  when an operation fails; not for an abort
//   OperationEnd     when the operation ends, on every path, abort and failures included
// A call refused by its argument checks starts no operation and fires nothing.
//
// Statuses (imaging_engine.h): an operation that AbortOperation reaches before it returns
// gives kEngineStatusAborted (-6), even when its work was already done. A load that does not
// succeed leaves the object without a picture. Draw without a picture gives
// kEngineErrorNothingLoaded.
//
// Draw(hdc, destination x, y, width, height, source x, y, width, height, operation, flags):
// the handle travels as its 32-bit value. Coordinates are rounded to whole pixels (halves up);
// the source rectangle must lie inside the picture. The raster operation is kEngineDrawCopy;
// flags are kEngineDrawBlend (alpha over the destination) and kEngineDrawSmooth (area average
// when scaling). See picture_drawing.h.
#pragma once

#include <windows.h>
#include <ole2.h>
#include <ocidl.h>

#include <atomic>
#include <memory>
#include <mutex>

#include "ImagingEngine.h"
#include "bitmap_events.h"
#include "codecs/decoded_image.h"
#include "dispatch_object.h"
#include "free_threaded_marshaler.h"
#include "operation_gate.h"

namespace orrelux::engine {

class CEngineBitmap final : public DispatchObject<IEngineBitmap>, public IConnectionPointContainer {
public:
    static HRESULT Create(REFIID iid, void** out);

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return DispatchObject::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return DispatchObject::Release(); }

    // IEngineBitmap
    STDMETHODIMP Load(BSTR fileName) override;
    STDMETHODIMP GetFormatList(IEngineFormatList** formats) override;
    STDMETHODIMP Draw(LONG hdc, double destX, double destY, double destWidth, double destHeight,
                      double srcX, double srcY, double srcWidth, double srcHeight,
                      LONG rasterOperation, LONG flags) override;
    STDMETHODIMP GetData(IEngineBitmapData** data) override;
    // The box: both sides at least 1 and finite (else E_INVALIDARG), cut to whole pixels.
    STDMETHODIMP LoadThumbnail(BSTR fileName, double maxWidth, double maxHeight) override;
    STDMETHODIMP AbortOperation() override;
    STDMETHODIMP get_IsBusy(VARIANT_BOOL* busy) override;
    STDMETHODIMP Clear() override;
    STDMETHODIMP get_IsLzwEnabled(VARIANT_BOOL* enabled) override;
    STDMETHODIMP put_IsLzwEnabled(VARIANT_BOOL enabled) override;

    // IConnectionPointContainer
    STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints** points) override;
    STDMETHODIMP FindConnectionPoint(REFIID iid, IConnectionPoint** point) override;

private:
    using Picture = std::shared_ptr<const DecodedImage>;

    CEngineBitmap() = default;
    ~CEngineBitmap() override { events_.Clear(); }

    HRESULT LoadPicture(BSTR fileName, bool thumbnail, int maxWidth, int maxHeight);
    Picture CurrentPicture();
    // Gives back the picture held before, for the caller to free outside the lock.
    Picture ReplacePicture(Picture picture);

    FreeThreadedMarshaler marshaler_;
    BitmapEventPoint events_{this};
    OperationGate gate_;
    std::atomic<bool> lzwEnabled_{false};
    std::mutex pictureLock_;
    Picture picture_; // guarded by pictureLock_; null while nothing is loaded
};

// EngineBitmapData: the size of the picture an EngineBitmap held when GetData was called (0 x 0
// when it held none). It never changes afterwards and is free-threaded as well.
class CEngineBitmapData final : public DispatchObject<IEngineBitmapData> {
public:
    static HRESULT Create(LONG width, LONG height, IEngineBitmapData** out);

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP get_Width(LONG* width) override;
    STDMETHODIMP get_Height(LONG* height) override;

private:
    CEngineBitmapData(LONG width, LONG height) : width_(width), height_(height) {}
    ~CEngineBitmapData() override = default;

    FreeThreadedMarshaler marshaler_;
    const LONG width_;
    const LONG height_;
};

} // namespace orrelux::engine
