#include "engine_bitmap.h"

#include <olectl.h>

#include <cmath>
#include <new>
#include <utility>
#include <vector>

#include "engine_format_list.h"
#include "imaging_engine.h"
#include "picture_decoding.h"
#include "picture_drawing.h"

namespace orrelux::engine {

namespace {

constexpr LONG kProgressRange = 100;
// E_ILLEGAL_METHOD_CALL ("a method was called at an unexpected time"), which mingw's winerror.h
// lacks: an operation started from inside the running one on its own thread.
constexpr HRESULT kIllegalMethodCall = static_cast<HRESULT>(0x8000000E);
// Coordinates and box sides beyond this are refused: whole pixels of any surface fit in it.
constexpr double kLargestCoordinate = 1 << 30;

// The events and the steering of one running operation: OperationBegin when it is made,
// OperationEnd when it goes, on every way out.
class OperationEvents {
public:
    OperationEvents(const BitmapEventPoint& events, const OperationGate::Pass& pass,
                    bool reportsProgress)
        : events_(events), pass_(pass), reportsProgress_(reportsProgress) {
        events_.FireOperationBegin();
        if (reportsProgress_)
            Progress(0, 1);
    }
    OperationEvents(const OperationEvents&) = delete;
    OperationEvents& operator=(const OperationEvents&) = delete;
    ~OperationEvents() {
        try {
            events_.FireOperationEnd();
        } catch (...) {
            // The end is told on every path; a sink list that cannot be read has nobody to tell.
        }
    }

    DecodeControl Control() {
        DecodeControl control;
        control.Aborted = [this] { return pass_.AbortRequested(); };
        if (reportsProgress_)
            control.Progress = [this](int position, int range) { Progress(position, range); };
        return control;
    }

    bool Aborted() const { return pass_.AbortRequested(); }

    // Tells the sinks and gives back `status`.
    HRESULT Failed(HRESULT status, const wchar_t* message) const {
        events_.FireErrorOccured(message, status);
        return status;
    }

    void Completed() {
        if (reportsProgress_)
            Progress(1, 1);
    }

private:
    void Progress(int position, int range) {
        if (range <= 0)
            return;
        const long long clamped = position < 0 ? 0 : position > range ? range : position;
        const LONG percent = static_cast<LONG>(clamped * kProgressRange / range);
        if (percent <= lastPercent_)
            return;
        lastPercent_ = percent;
        events_.FireOperationProgress(percent, kProgressRange);
    }

    const BitmapEventPoint& events_;
    const OperationGate::Pass& pass_;
    bool reportsProgress_;
    LONG lastPercent_ = -1;
};

// A coordinate or size of Draw as a whole pixel, halves rounded up.
bool ToPixel(double value, int& pixel) {
    if (!std::isfinite(value) || std::fabs(value) > kLargestCoordinate)
        return false;
    pixel = static_cast<int>(std::floor(value + 0.5));
    return true;
}

bool ToRect(double x, double y, double width, double height, PixelRect& rect) {
    return ToPixel(x, rect.x) && ToPixel(y, rect.y) && ToPixel(width, rect.width) &&
           ToPixel(height, rect.height) && rect.width >= 1 && rect.height >= 1;
}

bool ToBoxSide(double value, int& side) {
    if (!std::isfinite(value) || value < 1.0 || value > kLargestCoordinate)
        return false;
    side = static_cast<int>(value); // a thumbnail never exceeds its box: cut, not rounded
    return true;
}

bool IsDeviceContext(HDC dc) {
    switch (::GetObjectType(dc)) {
    case OBJ_DC:
    case OBJ_MEMDC:
    case OBJ_ENHMETADC:
    case OBJ_METADC:
        return true;
    default:
        return false;
    }
}

} // namespace

HRESULT CEngineBitmap::Create(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    try {
        const auto object = ComPtr<CEngineBitmap>::Adopt(new CEngineBitmap());
        const HRESULT status = object->marshaler_.Attach(static_cast<IEngineBitmap*>(object.Get()));
        if (FAILED(status))
            return status;
        return object->QueryInterface(iid, out);
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

STDMETHODIMP CEngineBitmap::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (iid == IID_IConnectionPointContainer) {
        *out = static_cast<IConnectionPointContainer*>(this);
        AddRef();
        return S_OK;
    }
    HRESULT status = E_NOINTERFACE;
    if (marshaler_.Answer(iid, out, &status))
        return status;
    return DispatchObject::QueryInterface(iid, out);
}

CEngineBitmap::Picture CEngineBitmap::CurrentPicture() {
    std::lock_guard<std::mutex> guard(pictureLock_);
    return picture_;
}

CEngineBitmap::Picture CEngineBitmap::ReplacePicture(Picture picture) {
    std::lock_guard<std::mutex> guard(pictureLock_);
    return std::exchange(picture_, std::move(picture));
}

HRESULT CEngineBitmap::LoadPicture(BSTR fileName, bool thumbnail, int maxWidth, int maxHeight) {
    try {
        if (gate_.IsHeldByThisThread())
            return kIllegalMethodCall;
        // Freed once the operation has ended and given up the gate: neither OperationEnd nor
        // the next operation waits for a large file's bytes or the picture this load replaces
        // to be given back.
        std::vector<std::uint8_t> fileBytes;
        Picture displaced;
        return gate_.Run([&](const OperationGate::Pass& pass) {
            OperationEvents operation(events_, pass, true);
            PictureRequest request;
            request.fileBytes = &fileBytes;
            request.path = fileName;
            request.thumbnail = thumbnail;
            request.maxWidth = maxWidth;
            request.maxHeight = maxHeight;
            request.lzwEnabled = lzwEnabled_.load();
            PictureOutcome outcome = DecodePicture(request, operation.Control());
            if (FAILED(outcome.status) || operation.Aborted()) {
                displaced = ReplacePicture(nullptr);
                if (outcome.status == kEngineStatusAborted || operation.Aborted())
                    return kEngineStatusAborted;
                return operation.Failed(outcome.status, outcome.message);
            }
            displaced =
                ReplacePicture(std::make_shared<const DecodedImage>(std::move(outcome.image)));
            operation.Completed();
            return S_OK;
        });
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP CEngineBitmap::Load(BSTR fileName) {
    if (!fileName || ::SysStringLen(fileName) == 0)
        return E_INVALIDARG;
    return LoadPicture(fileName, false, 0, 0);
}

STDMETHODIMP CEngineBitmap::LoadThumbnail(BSTR fileName, double maxWidth, double maxHeight) {
    int boxWidth = 0;
    int boxHeight = 0;
    if (!fileName || ::SysStringLen(fileName) == 0 || !ToBoxSide(maxWidth, boxWidth) ||
        !ToBoxSide(maxHeight, boxHeight))
        return E_INVALIDARG;
    return LoadPicture(fileName, true, boxWidth, boxHeight);
}

STDMETHODIMP CEngineBitmap::GetFormatList(IEngineFormatList** formats) {
    if (!formats)
        return E_POINTER;
    *formats = nullptr;
    return CEngineFormatList::Create(IID_IEngineFormatList, reinterpret_cast<void**>(formats));
}

STDMETHODIMP CEngineBitmap::Draw(LONG hdc, double destX, double destY, double destWidth,
                                 double destHeight, double srcX, double srcY, double srcWidth,
                                 double srcHeight, LONG rasterOperation, LONG flags) {
    // Automation carries the handle as 32 bits; 64-bit Windows sign-extends GDI handles.
    const HDC dc = reinterpret_cast<HDC>(static_cast<LONG_PTR>(hdc));
    DrawRequest request;
    if (!dc || !IsDeviceContext(dc) || rasterOperation != kEngineDrawCopy ||
        (flags & ~kEngineDrawAllFlags) != 0 ||
        !ToRect(destX, destY, destWidth, destHeight, request.destination) ||
        !ToRect(srcX, srcY, srcWidth, srcHeight, request.source))
        return E_INVALIDARG;
    request.dc = dc;
    request.blend = (flags & kEngineDrawBlend) != 0;
    request.smooth = (flags & kEngineDrawSmooth) != 0;
    try {
        if (gate_.IsHeldByThisThread())
            return kIllegalMethodCall;
        return gate_.Run([&](const OperationGate::Pass& pass) {
            OperationEvents operation(events_, pass, false);
            const Picture picture = CurrentPicture();
            if (!picture)
                return operation.Failed(kEngineErrorNothingLoaded, L"No picture is loaded.");
            const PixelRect& source = request.source;
            if (source.x < 0 || source.y < 0 || source.x > picture->width - source.width ||
                source.y > picture->height - source.height)
                return operation.Failed(E_INVALIDARG,
                                        L"The source rectangle does not lie inside the picture.");
            HRESULT systemStatus = S_OK;
            const DecodeStatus drawn =
                DrawPicture(*picture, request, operation.Control(), &systemStatus);
            if (drawn == DecodeStatus::Aborted || operation.Aborted())
                return kEngineStatusAborted;
            if (drawn != DecodeStatus::Ok)
                return operation.Failed(FAILED(systemStatus) ? systemStatus : E_FAIL,
                                        L"The picture could not be drawn.");
            return S_OK;
        });
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP CEngineBitmap::GetData(IEngineBitmapData** data) {
    if (!data)
        return E_POINTER;
    *data = nullptr;
    try {
        const Picture picture = CurrentPicture();
        return CEngineBitmapData::Create(picture ? picture->width : 0,
                                         picture ? picture->height : 0, data);
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP CEngineBitmap::AbortOperation() {
    gate_.Abort();
    return S_OK;
}

STDMETHODIMP CEngineBitmap::get_IsBusy(VARIANT_BOOL* busy) {
    if (!busy)
        return E_POINTER;
    *busy = gate_.IsBusy() ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

STDMETHODIMP CEngineBitmap::Clear() {
    try {
        const Picture released = ReplacePicture(nullptr); // freed after the lock is given up
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP CEngineBitmap::get_IsLzwEnabled(VARIANT_BOOL* enabled) {
    if (!enabled)
        return E_POINTER;
    *enabled = lzwEnabled_.load() ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

STDMETHODIMP CEngineBitmap::put_IsLzwEnabled(VARIANT_BOOL enabled) {
    lzwEnabled_.store(enabled != VARIANT_FALSE);
    return S_OK;
}

STDMETHODIMP CEngineBitmap::EnumConnectionPoints(IEnumConnectionPoints** points) {
    if (!points)
        return E_POINTER;
    *points = nullptr;
    IConnectionPoint* const only[] = {&events_};
    return CreateConnectionPointEnumerator(only, 1, points);
}

STDMETHODIMP CEngineBitmap::FindConnectionPoint(REFIID iid, IConnectionPoint** point) {
    if (!point)
        return E_POINTER;
    *point = nullptr;
    if (iid != DIID__IEngineBitmapEvents)
        return CONNECT_E_NOCONNECTION;
    *point = &events_;
    events_.AddRef();
    return S_OK;
}

HRESULT CEngineBitmapData::Create(LONG width, LONG height, IEngineBitmapData** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    try {
        const auto object = ComPtr<CEngineBitmapData>::Adopt(new CEngineBitmapData(width, height));
        const HRESULT status =
            object->marshaler_.Attach(static_cast<IEngineBitmapData*>(object.Get()));
        if (FAILED(status))
            return status;
        *out = ComPtr<CEngineBitmapData>(object).Detach();
        return S_OK;
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

STDMETHODIMP CEngineBitmapData::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    HRESULT status = E_NOINTERFACE;
    if (marshaler_.Answer(iid, out, &status))
        return status;
    return DispatchObject::QueryInterface(iid, out);
}

STDMETHODIMP CEngineBitmapData::get_Width(LONG* width) {
    if (!width)
        return E_POINTER;
    *width = width_;
    return S_OK;
}

STDMETHODIMP CEngineBitmapData::get_Height(LONG* height) {
    if (!height)
        return E_POINTER;
    *height = height_;
    return S_OK;
}

} // namespace orrelux::engine
