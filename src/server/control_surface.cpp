#include "server/control_surface.h"

#include <cwchar>
#include <new>

#include "platform/handles.h"
#include "server/module.h"
#include "server/persistence.h"

namespace orrelux {

namespace {

// The natural size of both controls, in pixels.
constexpr int kNaturalWidth = 24;
constexpr int kNaturalHeight = 19;
// The picture is copied from this point of the bitmap: its one-pixel frame is left out.
constexpr int kBitmapOrigin = 1;
constexpr wchar_t kContentsStream[] = L"Contents";

// HIMETRIC units (0.01 mm) of `pixels` at `pixelsPerInch`, rounded: 2540 per inch.
// pixels * 2540 stays far inside 32 bits for any control size.
LONG PixelsToHimetric(int pixels, int pixelsPerInch) {
    return (2540 * pixels + pixelsPerInch / 2) / pixelsPerInch;
}

SIZEL NaturalSize() {
    WindowDC screen(nullptr);
    const int ppiX = screen ? ::GetDeviceCaps(screen.Get(), LOGPIXELSX) : 96;
    const int ppiY = screen ? ::GetDeviceCaps(screen.Get(), LOGPIXELSY) : 96;
    return SIZEL{PixelsToHimetric(kNaturalWidth, ppiX > 0 ? ppiX : 96),
                 PixelsToHimetric(kNaturalHeight, ppiY > 0 ? ppiY : 96)};
}

// The window class of the control window, registered once per module under a name made from
// the module's own address, so that two copies of the framework in one process never share it.
// Guarded by the module lock.
wchar_t controlWindowClassName[64] = {};
ATOM controlWindowClass = 0;

const wchar_t* ControlWindowClass(WNDPROC procedure) {
    module::ScopedModuleLock guard;
    if (!controlWindowClass) {
        std::swprintf(controlWindowClassName, std::size(controlWindowClassName),
                      L"OrreluxControl:%p", reinterpret_cast<void*>(procedure));
        WNDCLASSEXW windowClass = {};
        windowClass.cbSize = sizeof(windowClass);
        windowClass.style = CS_HREDRAW | CS_VREDRAW | CS_DBLCLKS;
        windowClass.lpfnWndProc = procedure;
        windowClass.hInstance = module::Instance();
        windowClass.hCursor = ::LoadCursorW(nullptr, IDC_ARROW);
        windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
        windowClass.lpszClassName = controlWindowClassName;
        controlWindowClass = ::RegisterClassExW(&windowClass);
        if (!controlWindowClass)
            return nullptr;
    }
    return controlWindowClassName;
}

} // namespace

// ---- Identity -----------------------------------------------------------------------------------

// The interfaces of the object in the order of search. Row 1, the class's dual interface, and
// IDispatch answer the component's primary interface; IMarshal goes to the free-threaded
// marshaler; the class may name one more interface that the primary interface answers.
struct ControlSurface::InterfaceRow {
    const IID* iid; // null: the class's dual interface
    void* (*cast)(ControlSurface&);
};

template <class Interface> void* As(ControlSurface& surface) {
    return static_cast<Interface*>(&surface);
}

const ControlSurface::InterfaceRow ControlSurface::kInterfaceTable[] = {
    {nullptr, [](ControlSurface& s) -> void* { return s.Primary(); }},
    {&IID_IDispatch, [](ControlSurface& s) -> void* { return s.Primary(); }},
    {&IID_IViewObjectEx, As<IViewObjectEx>},
    {&IID_IViewObject2, As<IViewObjectEx>},
    {&IID_IViewObject, As<IViewObjectEx>},
    {&IID_IOleInPlaceObjectWindowless, As<IOleInPlaceObjectWindowless>},
    {&IID_IOleInPlaceObject, As<IOleInPlaceObjectWindowless>},
    {&IID_IOleWindow, As<IOleInPlaceObjectWindowless>},
    {&IID_IOleInPlaceActiveObject, As<IOleInPlaceActiveObject>},
    {&IID_IOleControl, As<IOleControl>},
    {&IID_IOleObject, As<IOleObject>},
    {&IID_IPersistStreamInit, As<IPersistStreamInit>},
    {&IID_IPersist, As<IPersistStreamInit>},
    {&IID_ISupportErrorInfo, As<ISupportErrorInfo>},
    {&IID_IConnectionPointContainer, As<IConnectionPointContainer>},
    {&IID_ISpecifyPropertyPages, As<ISpecifyPropertyPages>},
    {&IID_IQuickActivate, As<IQuickActivate>},
    {&IID_IPersistStorage, As<IPersistStorage>},
    {&IID_IDataObject, As<IDataObject>},
    {&IID_IProvideClassInfo, As<IProvideClassInfo2>},
    {&IID_IProvideClassInfo2, As<IProvideClassInfo2>},
};

ControlSurface::ControlSurface(const ClassDescription& description, IUnknown* outer,
                               SinkList& eventSinks)
    : description_(description), outer_(outer), natural_(NaturalSize()), extent_(natural_),
      eventPoint_(ControllingUnknown(), this, *description.EventInterface, eventSinks),
      propertyNotifyPoint_(ControllingUnknown(), this, IID_IPropertyNotifySink,
                           propertyNotifySinks_) {
    module::Lock();
}

ControlSurface::~ControlSurface() {
    if (window_)
        ::DestroyWindow(window_);
    propertyNotifySinks_.Clear();
    module::Unlock();
}

void ControlSurface::UnregisterWindowClass() {
    module::ScopedModuleLock guard;
    if (controlWindowClass && ::UnregisterClassW(controlWindowClassName, module::Instance()))
        controlWindowClass = 0;
}

HRESULT ControlSurface::FinishConstruction() {
    return ::CoCreateFreeThreadedMarshaler(ControllingUnknown(), marshaler_.Put());
}

void* ControlSurface::FindInterface(REFIID iid) {
    for (const InterfaceRow& row : kInterfaceTable) {
        if (iid == (row.iid ? *row.iid : *description_.DualInterface))
            return row.cast(*this);
    }
    if (description_.AlsoPrimary && iid == *description_.AlsoPrimary)
        return Primary();
    return nullptr;
}

STDMETHODIMP ControlSurface::Inner::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (iid == IID_IUnknown) {
        *out = static_cast<IUnknown*>(this);
        AddRef();
        return S_OK;
    }
    if (iid == IID_IMarshal) {
        return owner_.marshaler_ ? owner_.marshaler_->QueryInterface(iid, out) : E_NOINTERFACE;
    }
    void* found = owner_.FindInterface(iid);
    if (!found)
        return E_NOINTERFACE;
    static_cast<IUnknown*>(found)->AddRef();
    *out = found;
    return S_OK;
}

STDMETHODIMP_(ULONG) ControlSurface::Inner::AddRef() {
    return static_cast<ULONG>(::InterlockedIncrement(&references_));
}

STDMETHODIMP_(ULONG) ControlSurface::Inner::Release() {
    const LONG left = ::InterlockedDecrement(&references_);
    if (left == 0) {
        // Guards against the destruction steps taking and dropping a reference again.
        references_ = 1;
        owner_.BeforeDestruction();
        delete &owner_;
    }
    return static_cast<ULONG>(left);
}

// ---- Dual dispatch ------------------------------------------------------------------------------

HRESULT ControlSurface::DispatchGetTypeInfoCount(UINT* count) {
    if (!count)
        return E_POINTER;
    *count = 1;
    return S_OK;
}

HRESULT ControlSurface::DispatchGetTypeInfo(UINT index, LCID, ITypeInfo** info) {
    if (!info)
        return E_POINTER;
    *info = nullptr;
    if (index != 0)
        return DISP_E_BADINDEX;
    return module::GetTypeInfo(*description_.DualInterface, info);
}

HRESULT ControlSurface::DispatchGetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID,
                                              DISPID* ids) {
    if (!names || !ids)
        return E_POINTER;
    if (iid != IID_NULL)
        return DISP_E_UNKNOWNINTERFACE;
    ComPtr<ITypeInfo> info;
    const HRESULT loaded = module::GetTypeInfo(*description_.DualInterface, info.Put());
    if (FAILED(loaded))
        return loaded;
    return info->GetIDsOfNames(names, count, ids);
}

HRESULT ControlSurface::DispatchInvoke(DISPID dispid, REFIID iid, LCID, WORD flags,
                                       DISPPARAMS* parameters, VARIANT* result,
                                       EXCEPINFO* exception, UINT* argumentError) {
    if (!parameters)
        return E_POINTER;
    if (iid != IID_NULL)
        return DISP_E_UNKNOWNINTERFACE;
    ComPtr<ITypeInfo> info;
    const HRESULT loaded = module::GetTypeInfo(*description_.DualInterface, info.Put());
    if (FAILED(loaded))
        return loaded;
    // The type info calls the vtable and turns a failure with error info into EXCEPINFO.
    return info->Invoke(Primary(), dispid, flags, parameters, result, exception, argumentError);
}

// ---- Drawing and views --------------------------------------------------------------------------

// The toolbox picture of the class, copied unscaled into the bounds from the picture's (1, 1).
// Bounds of another size cut the picture or leave the rest unfilled. Nothing is drawn when the
// bitmap or the memory context cannot be made.
void ControlSurface::OnDraw(HDC dc, const RECT& bounds) {
    UniqueBitmap bitmap(static_cast<HBITMAP>(::LoadImageW(
        module::Instance(), MAKEINTRESOURCEW(description_.Bitmap), IMAGE_BITMAP, 0, 0, 0)));
    if (!bitmap)
        return;
    UniqueMemoryDC memory(::CreateCompatibleDC(dc));
    if (!memory)
        return;
    SelectGuard selected(memory.Get(), bitmap.Get());
    if (!selected)
        return;
    ::BitBlt(dc, bounds.left, bounds.top, bounds.right - bounds.left, bounds.bottom - bounds.top,
             memory.Get(), kBitmapOrigin, kBitmapOrigin, SRCCOPY);
}

STDMETHODIMP ControlSurface::Draw(DWORD, LONG, void*, DVTARGETDEVICE*, HDC, HDC dc, LPCRECTL bounds,
                                  LPCRECTL, BOOL(STDMETHODCALLTYPE*)(ULONG_PTR), ULONG_PTR) {
    if (!dc || !bounds)
        return E_INVALIDARG;
    try {
        OnDraw(dc, RECT{bounds->left, bounds->top, bounds->right, bounds->bottom});
    } catch (...) {
    }
    return S_OK;
}

STDMETHODIMP ControlSurface::GetColorSet(DWORD, LONG, void*, DVTARGETDEVICE*, HDC,
                                         LOGPALETTE** colors) {
    if (colors)
        *colors = nullptr;
    return E_NOTIMPL;
}

STDMETHODIMP ControlSurface::Freeze(DWORD, LONG, void*, DWORD* freeze) {
    if (freeze)
        *freeze = 0;
    return E_NOTIMPL;
}

STDMETHODIMP ControlSurface::Unfreeze(DWORD) {
    return E_NOTIMPL;
}

STDMETHODIMP ControlSurface::SetAdvise(DWORD aspects, DWORD flags, IAdviseSink* sink) {
    viewSink_ = sink;
    viewAspects_ = aspects;
    viewFlags_ = flags;
    return S_OK;
}

STDMETHODIMP ControlSurface::GetAdvise(DWORD* aspects, DWORD* flags, IAdviseSink** sink) {
    if (aspects)
        *aspects = viewAspects_;
    if (flags)
        *flags = viewFlags_;
    if (sink) {
        *sink = viewSink_.Get();
        if (*sink)
            (*sink)->AddRef();
    }
    return S_OK;
}

STDMETHODIMP ControlSurface::GetExtent(DWORD, LONG, DVTARGETDEVICE*, LPSIZEL size) {
    if (!size)
        return E_POINTER;
    *size = extent_;
    return S_OK;
}

STDMETHODIMP ControlSurface::GetRect(DWORD, LPRECTL rect) {
    if (rect)
        *rect = RECTL{};
    return E_NOTIMPL;
}

STDMETHODIMP ControlSurface::GetViewStatus(DWORD* status) {
    if (!status)
        return E_POINTER;
    *status = VIEWSTATUS_OPAQUE | VIEWSTATUS_SOLIDBKGND;
    return S_OK;
}

STDMETHODIMP ControlSurface::QueryHitPoint(DWORD aspect, LPCRECT bounds, POINT location, LONG,
                                           DWORD* hitResult) {
    if (!hitResult || !bounds)
        return E_POINTER;
    *hitResult = HITRESULT_OUTSIDE;
    if (aspect != DVASPECT_CONTENT)
        return E_FAIL;
    *hitResult = ::PtInRect(bounds, location) ? HITRESULT_HIT : HITRESULT_OUTSIDE;
    return S_OK;
}

STDMETHODIMP ControlSurface::QueryHitRect(DWORD aspect, LPCRECT bounds, LPCRECT location, LONG,
                                          DWORD* hitResult) {
    if (!hitResult || !bounds || !location)
        return E_POINTER;
    *hitResult = HITRESULT_OUTSIDE;
    if (aspect != DVASPECT_CONTENT)
        return E_FAIL;
    RECT common;
    *hitResult = ::IntersectRect(&common, bounds, location) ? HITRESULT_HIT : HITRESULT_OUTSIDE;
    return S_OK;
}

STDMETHODIMP ControlSurface::GetNaturalExtent(DWORD aspect, LONG, DVTARGETDEVICE*, HDC,
                                              DVEXTENTINFO* extentInfo, LPSIZEL size) {
    if (!extentInfo || !size)
        return E_POINTER;
    if (aspect != DVASPECT_CONTENT || extentInfo->dwExtentMode != DVEXTENT_CONTENT)
        return E_FAIL;
    *size = natural_;
    return S_OK;
}

// ---- In-place activation ------------------------------------------------------------------------

STDMETHODIMP ControlSurface::GetWindow(HWND* window) {
    if (!window)
        return E_POINTER;
    *window = window_;
    return window_ ? S_OK : E_FAIL;
}

STDMETHODIMP ControlSurface::ContextSensitiveHelp(BOOL) {
    return E_NOTIMPL;
}

STDMETHODIMP ControlSurface::InPlaceDeactivate() {
    if (!inPlaceSite_)
        return S_OK;
    UIDeactivate();
    if (window_) {
        ::DestroyWindow(window_);
        window_ = nullptr;
    }
    const ComPtr<IOleInPlaceSite> site = inPlaceSite_;
    inPlaceSite_.Reset();
    site->OnInPlaceDeactivate();
    return S_OK;
}

STDMETHODIMP ControlSurface::UIDeactivate() {
    if (!uiActive_)
        return S_OK;
    uiActive_ = false;
    if (document_)
        document_->SetActiveObject(nullptr, nullptr);
    if (frame_)
        frame_->SetActiveObject(nullptr, nullptr);
    document_.Reset();
    frame_.Reset();
    if (inPlaceSite_)
        inPlaceSite_->OnUIDeactivate(FALSE);
    return S_OK;
}

STDMETHODIMP ControlSurface::SetObjectRects(LPCRECT position, LPCRECT) {
    if (!position)
        return E_POINTER;
    if (window_) {
        ::SetWindowPos(window_, nullptr, position->left, position->top,
                       position->right - position->left, position->bottom - position->top,
                       SWP_NOZORDER | SWP_NOACTIVATE);
    }
    return S_OK;
}

STDMETHODIMP ControlSurface::ReactivateAndUndo() {
    return E_NOTIMPL;
}

// Both classes are window-only: a windowless site's messages are never ours.
STDMETHODIMP ControlSurface::OnWindowMessage(UINT, WPARAM, LPARAM, LRESULT* result) {
    if (result)
        *result = 0;
    return S_FALSE;
}

STDMETHODIMP ControlSurface::GetDropTarget(IDropTarget** target) {
    if (target)
        *target = nullptr;
    return E_NOTIMPL;
}

HRESULT ControlSurface::CreateControlWindow(HWND parent, const RECT& position) {
    const wchar_t* windowClass = ControlWindowClass(&WindowProcedure);
    if (!windowClass)
        return HRESULT_FROM_WIN32(::GetLastError());
    window_ = ::CreateWindowExW(
        0, windowClass, L"", WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | WS_CLIPCHILDREN,
        position.left, position.top, position.right - position.left, position.bottom - position.top,
        parent, nullptr, module::Instance(), this);
    return window_ ? S_OK : HRESULT_FROM_WIN32(::GetLastError());
}

// The framework's activation: negotiate with the site, make the window and show it; for UI
// activation also take the focus and become the frame's active object.
HRESULT ControlSurface::InPlaceActivate(LONG verb) {
    if (!clientSite_)
        return E_UNEXPECTED;
    if (!inPlaceSite_) {
        ComPtr<IOleInPlaceSite> site;
        if (FAILED(clientSite_.As(site)) || !site)
            return E_FAIL;
        if (site->CanInPlaceActivate() != S_OK)
            return E_FAIL;
        site->OnInPlaceActivate();
        inPlaceSite_ = site;
    }
    HWND parent = nullptr;
    if (FAILED(inPlaceSite_->GetWindow(&parent)))
        return E_FAIL;
    ComPtr<IOleInPlaceFrame> frame;
    ComPtr<IOleInPlaceUIWindow> document;
    RECT position = {}, clip = {};
    OLEINPLACEFRAMEINFO frameInfo = {};
    frameInfo.cb = sizeof(frameInfo);
    if (FAILED(inPlaceSite_->GetWindowContext(frame.Put(), document.Put(), &position, &clip,
                                              &frameInfo)))
        return E_FAIL;
    if (!window_) {
        const HRESULT created = CreateControlWindow(parent, position);
        if (FAILED(created))
            return created;
    }
    SetObjectRects(&position, &clip);
    ::ShowWindow(window_, SW_SHOW);

    if (verb == OLEIVERB_UIACTIVATE && !uiActive_) {
        uiActive_ = true;
        inPlaceSite_->OnUIActivate();
        ::SetFocus(window_);
        frame_ = frame;
        document_ = document;
        if (frame_) {
            frame_->SetActiveObject(this, nullptr);
            frame_->SetBorderSpace(nullptr);
        }
        if (document_) {
            document_->SetActiveObject(this, nullptr);
            document_->SetBorderSpace(nullptr);
        }
    }
    return S_OK;
}

STDMETHODIMP ControlSurface::TranslateAccelerator(LPMSG) {
    return S_FALSE;
}
STDMETHODIMP ControlSurface::OnFrameWindowActivate(BOOL) {
    return S_OK;
}
STDMETHODIMP ControlSurface::OnDocWindowActivate(BOOL) {
    return S_OK;
}
STDMETHODIMP ControlSurface::ResizeBorder(LPCRECT, IOleInPlaceUIWindow*, BOOL) {
    return S_OK;
}
STDMETHODIMP ControlSurface::EnableModeless(BOOL) {
    return S_OK;
}

LRESULT CALLBACK ControlSurface::WindowProcedure(HWND window, UINT message, WPARAM wParam,
                                                 LPARAM lParam) {
    if (message == WM_NCCREATE) {
        const auto* create = reinterpret_cast<const CREATESTRUCTW*>(lParam);
        ::SetWindowLongPtrW(window, GWLP_USERDATA,
                            reinterpret_cast<LONG_PTR>(create->lpCreateParams));
    }
    auto* surface = reinterpret_cast<ControlSurface*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (!surface || surface->window_ != window)
        return ::DefWindowProcW(window, message, wParam, lParam);
    switch (message) {
    case WM_PAINT:
        return surface->OnPaint();
    case WM_SETFOCUS:
        return surface->OnSetFocus();
    case WM_KILLFOCUS:
        return surface->OnKillFocus();
    case WM_MOUSEACTIVATE:
        return surface->OnMouseActivate(message, wParam, lParam);
    default:
        // Reflected notifications (OCM_*) and everything else: the default procedure.
        return ::DefWindowProcW(window, message, wParam, lParam);
    }
}

LRESULT ControlSurface::OnPaint() {
    PAINTSTRUCT paint;
    if (HDC dc = ::BeginPaint(window_, &paint)) {
        RECT client;
        ::GetClientRect(window_, &client);
        OnDraw(dc, client);
        ::EndPaint(window_, &paint);
    }
    return 0;
}

LRESULT ControlSurface::OnSetFocus() {
    if (inPlaceSite_ && !uiActive_)
        InPlaceActivate(OLEIVERB_UIACTIVATE);
    ComPtr<IOleControlSite> site;
    if (clientSite_ && SUCCEEDED(clientSite_.As(site)) && site)
        site->OnFocus(TRUE);
    return 0;
}

LRESULT ControlSurface::OnKillFocus() {
    ComPtr<IOleControlSite> site;
    if (clientSite_ && SUCCEEDED(clientSite_.As(site)) && site)
        site->OnFocus(FALSE);
    return 0;
}

LRESULT ControlSurface::OnMouseActivate(UINT message, WPARAM wParam, LPARAM lParam) {
    if (inPlaceSite_ && !uiActive_)
        InPlaceActivate(OLEIVERB_UIACTIVATE);
    return ::DefWindowProcW(window_, message, wParam, lParam);
}

// ---- IOleControl --------------------------------------------------------------------------------

STDMETHODIMP ControlSurface::GetControlInfo(CONTROLINFO* info) {
    if (!info)
        return E_POINTER;
    return E_NOTIMPL;
}

STDMETHODIMP ControlSurface::OnMnemonic(MSG*) {
    return E_NOTIMPL;
}
STDMETHODIMP ControlSurface::OnAmbientPropertyChange(DISPID) {
    return S_OK;
}

STDMETHODIMP ControlSurface::FreezeEvents(BOOL freeze) {
    if (freeze)
        ::InterlockedIncrement(&frozenEvents_);
    else
        ::InterlockedDecrement(&frozenEvents_);
    return S_OK;
}

// ---- IOleObject ---------------------------------------------------------------------------------

STDMETHODIMP ControlSurface::SetClientSite(IOleClientSite* site) {
    clientSite_ = site;
    ClientSiteChanged(site);
    return S_OK;
}

STDMETHODIMP ControlSurface::GetClientSite(IOleClientSite** site) {
    if (!site)
        return E_POINTER;
    *site = clientSite_.Get();
    if (*site)
        (*site)->AddRef();
    return S_OK;
}

STDMETHODIMP ControlSurface::SetHostNames(LPCOLESTR, LPCOLESTR) {
    return S_OK;
}

STDMETHODIMP ControlSurface::Close(DWORD) {
    InPlaceDeactivate();
    if (oleAdviseHolder_)
        oleAdviseHolder_->SendOnClose();
    return S_OK;
}

STDMETHODIMP ControlSurface::SetMoniker(DWORD, IMoniker*) {
    return E_NOTIMPL;
}

STDMETHODIMP ControlSurface::GetMoniker(DWORD, DWORD, IMoniker** moniker) {
    if (moniker)
        *moniker = nullptr;
    return E_NOTIMPL;
}

STDMETHODIMP ControlSurface::InitFromData(IDataObject*, BOOL, DWORD) {
    return E_NOTIMPL;
}

STDMETHODIMP ControlSurface::GetClipboardData(DWORD, IDataObject** data) {
    if (data)
        *data = nullptr;
    return E_NOTIMPL;
}

STDMETHODIMP ControlSurface::DoVerb(LONG verb, LPMSG, IOleClientSite* site, LONG, HWND, LPCRECT) {
    if (site && !clientSite_)
        SetClientSite(site);
    try {
        switch (verb) {
        case OLEIVERB_PRIMARY:
        case OLEIVERB_SHOW:
        case OLEIVERB_INPLACEACTIVATE:
            return InPlaceActivate(OLEIVERB_INPLACEACTIVATE);
        case OLEIVERB_UIACTIVATE:
            return InPlaceActivate(OLEIVERB_UIACTIVATE);
        case OLEIVERB_HIDE:
            UIDeactivate();
            if (window_)
                ::ShowWindow(window_, SW_HIDE);
            return S_OK;
        case OLEIVERB_OPEN:
        case OLEIVERB_PROPERTIES: // there are no property pages to show
            return S_OK;
        default:
            return verb > 0 ? OLEOBJ_S_INVALIDVERB : E_NOTIMPL;
        }
    } catch (...) {
        return E_UNEXPECTED;
    }
}

STDMETHODIMP ControlSurface::EnumVerbs(IEnumOLEVERB** verbs) {
    if (!verbs)
        return E_POINTER;
    *verbs = nullptr;
    return ::OleRegEnumVerbs(*description_.Clsid, verbs);
}

STDMETHODIMP ControlSurface::Update() {
    return S_OK;
}
STDMETHODIMP ControlSurface::IsUpToDate() {
    return S_OK;
}

STDMETHODIMP ControlSurface::GetUserClassID(CLSID* clsid) {
    if (!clsid)
        return E_POINTER;
    *clsid = *description_.Clsid;
    return S_OK;
}

STDMETHODIMP ControlSurface::GetUserType(DWORD form, LPOLESTR* name) {
    if (!name)
        return E_POINTER;
    *name = nullptr;
    return ::OleRegGetUserType(*description_.Clsid, form, name);
}

// The control's size is fixed.
STDMETHODIMP ControlSurface::SetExtent(DWORD, SIZEL*) {
    return E_FAIL;
}

// The natural size for the content, whatever the stored extent; other aspects are answered
// without writing anything.
STDMETHODIMP ControlSurface::GetExtent(DWORD aspect, SIZEL* size) {
    if (!size)
        return E_POINTER;
    if (aspect == DVASPECT_CONTENT)
        *size = natural_;
    return S_OK;
}

STDMETHODIMP ControlSurface::Advise(IAdviseSink* sink, DWORD* connection) {
    if (!sink || !connection)
        return E_POINTER;
    *connection = 0;
    if (!oleAdviseHolder_) {
        const HRESULT created = ::CreateOleAdviseHolder(oleAdviseHolder_.Put());
        if (FAILED(created))
            return created;
    }
    return oleAdviseHolder_->Advise(sink, connection);
}

STDMETHODIMP ControlSurface::Unadvise(DWORD connection) {
    return oleAdviseHolder_ ? oleAdviseHolder_->Unadvise(connection) : OLE_E_NOCONNECTION;
}

STDMETHODIMP ControlSurface::EnumAdvise(IEnumSTATDATA** advises) {
    if (!advises)
        return E_POINTER;
    *advises = nullptr;
    return oleAdviseHolder_ ? oleAdviseHolder_->EnumAdvise(advises) : E_FAIL;
}

STDMETHODIMP ControlSurface::GetMiscStatus(DWORD aspect, DWORD* status) {
    if (!status)
        return E_POINTER;
    *status = 0;
    return ::OleRegGetMiscStatus(*description_.Clsid, aspect, status);
}

STDMETHODIMP ControlSurface::SetColorScheme(LOGPALETTE*) {
    return E_NOTIMPL;
}

// ---- Persistence --------------------------------------------------------------------------------

STDMETHODIMP ControlSurface::GetClassID(CLSID* clsid) {
    if (!clsid)
        return E_POINTER;
    *clsid = *description_.Clsid;
    return S_OK;
}

STDMETHODIMP ControlSurface::IsDirty() {
    return dirty_ ? S_OK : S_FALSE;
}

HRESULT ControlSurface::LoadFromStream(IStream* stream) {
    try {
        const HRESULT loaded =
            LoadPropertyStream(stream, description_.Properties, Primary(), extent_);
        if (SUCCEEDED(loaded))
            dirty_ = false;
        return FAILED(loaded) ? loaded : S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT ControlSurface::SaveToStream(IStream* stream) {
    try {
        const HRESULT saved =
            SavePropertyStream(stream, description_.Properties, Primary(), extent_);
        return FAILED(saved) ? saved : S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP ControlSurface::Load(LPSTREAM stream) {
    if (!stream)
        return E_POINTER;
    return LoadFromStream(stream);
}

STDMETHODIMP ControlSurface::Save(LPSTREAM stream, BOOL clearDirty) {
    if (!stream)
        return E_POINTER;
    const HRESULT saved = SaveToStream(stream);
    if (SUCCEEDED(saved) && clearDirty)
        dirty_ = false;
    return saved;
}

STDMETHODIMP ControlSurface::GetSizeMax(ULARGE_INTEGER* size) {
    if (size)
        size->QuadPart = 0;
    return E_NOTIMPL;
}

STDMETHODIMP ControlSurface::InitNew() {
    return S_OK;
}

STDMETHODIMP ControlSurface::InitNew(IStorage*) {
    return InitNew();
}

STDMETHODIMP ControlSurface::Load(IStorage* storage) {
    if (!storage)
        return E_POINTER;
    ComPtr<IStream> stream;
    const HRESULT opened = storage->OpenStream(kContentsStream, nullptr,
                                               STGM_READ | STGM_SHARE_EXCLUSIVE, 0, stream.Put());
    if (FAILED(opened))
        return opened;
    return LoadFromStream(stream.Get());
}

STDMETHODIMP ControlSurface::Save(IStorage* storage, BOOL) {
    if (!storage)
        return E_POINTER;
    ComPtr<IStream> stream;
    const HRESULT created = storage->CreateStream(
        kContentsStream, STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, 0, stream.Put());
    if (FAILED(created))
        return created;
    return SaveToStream(stream.Get());
}

STDMETHODIMP ControlSurface::SaveCompleted(IStorage*) {
    return S_OK;
}
STDMETHODIMP ControlSurface::HandsOffStorage() {
    return S_OK;
}

// ---- Error info, connection points, pages, quick activation -------------------------------------

STDMETHODIMP ControlSurface::InterfaceSupportsErrorInfo(REFIID iid) {
    return iid == *description_.DualInterface ? S_OK : S_FALSE;
}

STDMETHODIMP ControlSurface::EnumConnectionPoints(IEnumConnectionPoints** points) {
    if (!points)
        return E_POINTER;
    *points = nullptr;
    try {
        auto items = std::make_shared<ConnectionPointEnumerator::Items>();
        items->emplace_back(&eventPoint_);
        items->emplace_back(&propertyNotifyPoint_);
        return ConnectionPointEnumerator::Create(
            std::move(items),
            [](const ComPtr<IConnectionPoint>& stored, IConnectionPoint** item) {
                *item = stored.Get();
                (*item)->AddRef();
            },
            points);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

STDMETHODIMP ControlSurface::FindConnectionPoint(REFIID iid, IConnectionPoint** point) {
    if (!point)
        return E_POINTER;
    *point = nullptr;
    for (ConnectionPoint* candidate : {&eventPoint_, &propertyNotifyPoint_}) {
        if (iid == candidate->SinkInterface()) {
            *point = candidate;
            candidate->AddRef();
            return S_OK;
        }
    }
    return CONNECT_E_NOCONNECTION;
}

STDMETHODIMP ControlSurface::GetPages(CAUUID* pages) {
    if (!pages)
        return E_POINTER;
    pages->cElems = 0;
    pages->pElems = nullptr;
    return S_OK;
}

STDMETHODIMP ControlSurface::QuickActivate(QACONTAINER* container, QACONTROL* control) {
    if (!container || !control)
        return E_POINTER;
    if (container->cbSize < sizeof(QACONTAINER) || control->cbSize < sizeof(QACONTROL))
        return E_INVALIDARG;
    const ULONG size = control->cbSize;
    *control = QACONTROL{};
    control->cbSize = size;

    SetClientSite(container->pClientSite);
    if (container->pAdviseSink)
        SetAdvise(DVASPECT_CONTENT, 0, container->pAdviseSink);
    GetMiscStatus(DVASPECT_CONTENT, &control->dwMiscStatus);
    GetViewStatus(&control->dwViewStatus);
    if (container->pUnkEventSink)
        eventPoint_.Advise(container->pUnkEventSink, &control->dwEventCookie);
    if (container->pPropertyNotifySink)
        propertyNotifyPoint_.Advise(container->pPropertyNotifySink, &control->dwPropNotifyCookie);
    return S_OK;
}

STDMETHODIMP ControlSurface::SetContentExtent(LPSIZEL size) {
    if (!size)
        return E_POINTER;
    extent_ = *size;
    return S_OK;
}

STDMETHODIMP ControlSurface::GetContentExtent(LPSIZEL size) {
    if (!size)
        return E_POINTER;
    *size = extent_;
    return S_OK;
}

// ---- IDataObject --------------------------------------------------------------------------------

// The content as a metafile picture of the stored extent, drawn like the view.
STDMETHODIMP ControlSurface::GetData(FORMATETC* format, STGMEDIUM* medium) {
    if (!format || !medium)
        return E_POINTER;
    *medium = STGMEDIUM{};
    if (!(format->tymed & TYMED_MFPICT))
        return DATA_E_FORMATETC;
    try {
        WindowDC screen(nullptr);
        const int ppiX = screen ? ::GetDeviceCaps(screen.Get(), LOGPIXELSX) : 96;
        const int ppiY = screen ? ::GetDeviceCaps(screen.Get(), LOGPIXELSY) : 96;
        const RECT bounds = {0, 0, MulDiv(extent_.cx, ppiX, 2540), MulDiv(extent_.cy, ppiY, 2540)};
        HDC recorder = ::CreateMetaFileW(nullptr);
        if (!recorder)
            return E_OUTOFMEMORY;
        ::SetWindowOrgEx(recorder, 0, 0, nullptr);
        ::SetWindowExtEx(recorder, bounds.right, bounds.bottom, nullptr);
        OnDraw(recorder, bounds);
        HMETAFILE metafile = ::CloseMetaFile(recorder);
        if (!metafile)
            return E_OUTOFMEMORY;
        HGLOBAL memory = ::GlobalAlloc(GMEM_SHARE | GMEM_MOVEABLE, sizeof(METAFILEPICT));
        auto* picture = memory ? static_cast<METAFILEPICT*>(::GlobalLock(memory)) : nullptr;
        if (!picture) {
            if (memory)
                ::GlobalFree(memory);
            ::DeleteMetaFile(metafile);
            return E_OUTOFMEMORY;
        }
        picture->mm = MM_ANISOTROPIC;
        picture->xExt = extent_.cx;
        picture->yExt = extent_.cy;
        picture->hMF = metafile;
        ::GlobalUnlock(memory);
        medium->tymed = TYMED_MFPICT;
        medium->hMetaFilePict = memory;
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

STDMETHODIMP ControlSurface::GetDataHere(FORMATETC*, STGMEDIUM*) {
    return E_NOTIMPL;
}
STDMETHODIMP ControlSurface::QueryGetData(FORMATETC*) {
    return E_NOTIMPL;
}

STDMETHODIMP ControlSurface::GetCanonicalFormatEtc(FORMATETC*, FORMATETC* canonical) {
    if (canonical)
        canonical->ptd = nullptr;
    return E_NOTIMPL;
}

STDMETHODIMP ControlSurface::SetData(FORMATETC*, STGMEDIUM*, BOOL) {
    return E_NOTIMPL;
}

STDMETHODIMP ControlSurface::EnumFormatEtc(DWORD, IEnumFORMATETC** formats) {
    if (formats)
        *formats = nullptr;
    return E_NOTIMPL;
}

STDMETHODIMP ControlSurface::DAdvise(FORMATETC* format, DWORD flags, IAdviseSink* sink,
                                     DWORD* connection) {
    if (!format || !sink || !connection)
        return E_POINTER;
    *connection = 0;
    if (!dataAdviseHolder_) {
        const HRESULT created = ::CreateDataAdviseHolder(dataAdviseHolder_.Put());
        if (FAILED(created))
            return created;
    }
    return dataAdviseHolder_->Advise(this, format, flags, sink, connection);
}

STDMETHODIMP ControlSurface::DUnadvise(DWORD connection) {
    return dataAdviseHolder_ ? dataAdviseHolder_->Unadvise(connection) : OLE_E_NOCONNECTION;
}

STDMETHODIMP ControlSurface::EnumDAdvise(IEnumSTATDATA** advises) {
    if (!advises)
        return E_POINTER;
    *advises = nullptr;
    return dataAdviseHolder_ ? dataAdviseHolder_->EnumAdvise(advises) : E_FAIL;
}

// ---- Class info ---------------------------------------------------------------------------------

STDMETHODIMP ControlSurface::GetClassInfo(ITypeInfo** info) {
    if (!info)
        return E_POINTER;
    *info = nullptr;
    return module::GetTypeInfo(*description_.Clsid, info);
}

STDMETHODIMP ControlSurface::GetGUID(DWORD kind, GUID* guid) {
    if (!guid)
        return E_POINTER;
    if (kind == GUIDKIND_DEFAULT_SOURCE_DISP_IID) {
        *guid = *description_.EventInterface;
        return S_OK;
    }
    *guid = GUID_NULL;
    return E_FAIL;
}

} // namespace orrelux
