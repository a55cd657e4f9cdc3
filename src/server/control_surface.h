// ControlSurface: what makes a component a full control for a container, and the identity of
// the object around it.
//
// Object identity and aggregation: the object's IUnknown methods delegate to the controlling
// unknown, which is the outer object when the object is aggregated and the object's own inner
// unknown otherwise. The inner unknown holds the reference count and walks the interface table
// (kInterfaceTable in control_surface.cpp), whose order is the order of search.
//
// Everything here is the framework's default behaviour, with the few overrides that every
// class of this server shares (extent, user class, verbs, error info, class info, pages,
// drawing). ControlObject<Component> (control_object.h) joins a component to it.
//
// Threads: the object is apartment-model but holds the free-threaded marshaler, so calls arrive
// on any thread of the client. Only the sink lists are locked (inside SinkList); the reference
// count and the module lock count are atomic.
#pragma once

#include <windows.h>
#include <ole2.h>
#include <ocidl.h>
#include <olectl.h>

#include "platform/event_sinks.h"
#include "platform/handles.h"
#include "server/class_description.h"
#include "server/connection_points.h"

namespace orrelux {

class ControlSurface : public IViewObjectEx,
                       public IOleInPlaceObjectWindowless,
                       public IOleInPlaceActiveObject,
                       public IOleControl,
                       public IOleObject,
                       public IPersistStreamInit,
                       public ISupportErrorInfo,
                       public IConnectionPointContainer,
                       public ISpecifyPropertyPages,
                       public IQuickActivate,
                       public IPersistStorage,
                       public IDataObject,
                       public IProvideClassInfo2 {
public:
    ControlSurface(const ControlSurface&) = delete;
    ControlSurface& operator=(const ControlSurface&) = delete;

    // The controlling unknown: the outer object's, or the inner unknown.
    IUnknown* ControllingUnknown() { return outer_ ? outer_ : &inner_; }
    // The non-delegating unknown that an aggregating object holds.
    IUnknown* InnerUnknown() { return &inner_; }

    // Removes the window class of the control windows, when the module ends.
    static void UnregisterWindowClass();

    // The stored extent (the `_cx` and `_cy` rows), in HIMETRIC units.
    SIZEL Extent() const { return extent_; }
    void SetStoredExtent(SIZEL extent) { extent_ = extent; }
    // 24 by 19 pixels in HIMETRIC units at the screen's resolution, computed at construction.
    SIZEL NaturalExtent() const { return natural_; }

    // IViewObject, IViewObject2, IViewObjectEx
    STDMETHODIMP Draw(DWORD aspect, LONG index, void* aspectInfo, DVTARGETDEVICE* target,
                      HDC targetInfo, HDC dc, LPCRECTL bounds, LPCRECTL metafileBounds,
                      BOOL(STDMETHODCALLTYPE* shouldContinue)(ULONG_PTR),
                      ULONG_PTR continueArgument) override;
    STDMETHODIMP GetColorSet(DWORD aspect, LONG index, void* aspectInfo, DVTARGETDEVICE* target,
                             HDC targetInfo, LOGPALETTE** colors) override;
    STDMETHODIMP Freeze(DWORD aspect, LONG index, void* aspectInfo, DWORD* freeze) override;
    STDMETHODIMP Unfreeze(DWORD freeze) override;
    STDMETHODIMP SetAdvise(DWORD aspects, DWORD flags, IAdviseSink* sink) override;
    STDMETHODIMP GetAdvise(DWORD* aspects, DWORD* flags, IAdviseSink** sink) override;
    STDMETHODIMP GetExtent(DWORD aspect, LONG index, DVTARGETDEVICE* target, LPSIZEL size) override;
    STDMETHODIMP GetRect(DWORD aspect, LPRECTL rect) override;
    STDMETHODIMP GetViewStatus(DWORD* status) override;
    STDMETHODIMP QueryHitPoint(DWORD aspect, LPCRECT bounds, POINT location, LONG closeHint,
                               DWORD* hitResult) override;
    STDMETHODIMP QueryHitRect(DWORD aspect, LPCRECT bounds, LPCRECT location, LONG closeHint,
                              DWORD* hitResult) override;
    STDMETHODIMP GetNaturalExtent(DWORD aspect, LONG index, DVTARGETDEVICE* target, HDC targetInfo,
                                  DVEXTENTINFO* extentInfo, LPSIZEL size) override;

    // IOleWindow, IOleInPlaceObject, IOleInPlaceObjectWindowless
    STDMETHODIMP GetWindow(HWND* window) override;
    STDMETHODIMP ContextSensitiveHelp(BOOL enterMode) override;
    STDMETHODIMP InPlaceDeactivate() override;
    STDMETHODIMP UIDeactivate() override;
    STDMETHODIMP SetObjectRects(LPCRECT position, LPCRECT clip) override;
    STDMETHODIMP ReactivateAndUndo() override;
    STDMETHODIMP OnWindowMessage(UINT message, WPARAM wParam, LPARAM lParam,
                                 LRESULT* result) override;
    STDMETHODIMP GetDropTarget(IDropTarget** target) override;

    // IOleInPlaceActiveObject
    STDMETHODIMP TranslateAccelerator(LPMSG message) override;
    STDMETHODIMP OnFrameWindowActivate(BOOL activate) override;
    STDMETHODIMP OnDocWindowActivate(BOOL activate) override;
    STDMETHODIMP ResizeBorder(LPCRECT border, IOleInPlaceUIWindow* window, BOOL frame) override;
    STDMETHODIMP EnableModeless(BOOL enable) override;

    // IOleControl
    STDMETHODIMP GetControlInfo(CONTROLINFO* info) override;
    STDMETHODIMP OnMnemonic(MSG* message) override;
    STDMETHODIMP OnAmbientPropertyChange(DISPID dispid) override;
    STDMETHODIMP FreezeEvents(BOOL freeze) override;

    // IOleObject
    STDMETHODIMP SetClientSite(IOleClientSite* site) override;
    STDMETHODIMP GetClientSite(IOleClientSite** site) override;
    STDMETHODIMP SetHostNames(LPCOLESTR application, LPCOLESTR document) override;
    STDMETHODIMP Close(DWORD saveOption) override;
    STDMETHODIMP SetMoniker(DWORD which, IMoniker* moniker) override;
    STDMETHODIMP GetMoniker(DWORD assign, DWORD which, IMoniker** moniker) override;
    STDMETHODIMP InitFromData(IDataObject* data, BOOL creation, DWORD reserved) override;
    STDMETHODIMP GetClipboardData(DWORD reserved, IDataObject** data) override;
    STDMETHODIMP DoVerb(LONG verb, LPMSG message, IOleClientSite* site, LONG index, HWND parent,
                        LPCRECT position) override;
    STDMETHODIMP EnumVerbs(IEnumOLEVERB** verbs) override;
    STDMETHODIMP Update() override;
    STDMETHODIMP IsUpToDate() override;
    STDMETHODIMP GetUserClassID(CLSID* clsid) override;
    STDMETHODIMP GetUserType(DWORD form, LPOLESTR* name) override;
    STDMETHODIMP SetExtent(DWORD aspect, SIZEL* size) override;
    STDMETHODIMP GetExtent(DWORD aspect, SIZEL* size) override;
    STDMETHODIMP Advise(IAdviseSink* sink, DWORD* connection) override;
    STDMETHODIMP Unadvise(DWORD connection) override;
    STDMETHODIMP EnumAdvise(IEnumSTATDATA** advises) override;
    STDMETHODIMP GetMiscStatus(DWORD aspect, DWORD* status) override;
    STDMETHODIMP SetColorScheme(LOGPALETTE* palette) override;

    // IPersist, IPersistStreamInit, IPersistStorage
    STDMETHODIMP GetClassID(CLSID* clsid) override;
    STDMETHODIMP IsDirty() override;
    STDMETHODIMP Load(LPSTREAM stream) override;
    STDMETHODIMP Save(LPSTREAM stream, BOOL clearDirty) override;
    STDMETHODIMP GetSizeMax(ULARGE_INTEGER* size) override;
    STDMETHODIMP InitNew() override;
    STDMETHODIMP InitNew(IStorage* storage) override;
    STDMETHODIMP Load(IStorage* storage) override;
    STDMETHODIMP Save(IStorage* storage, BOOL sameAsLoad) override;
    STDMETHODIMP SaveCompleted(IStorage* storage) override;
    STDMETHODIMP HandsOffStorage() override;

    // ISupportErrorInfo
    STDMETHODIMP InterfaceSupportsErrorInfo(REFIID iid) override;

    // IConnectionPointContainer
    STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints** points) override;
    STDMETHODIMP FindConnectionPoint(REFIID iid, IConnectionPoint** point) override;

    // ISpecifyPropertyPages
    STDMETHODIMP GetPages(CAUUID* pages) override;

    // IQuickActivate
    STDMETHODIMP QuickActivate(QACONTAINER* container, QACONTROL* control) override;
    STDMETHODIMP SetContentExtent(LPSIZEL size) override;
    STDMETHODIMP GetContentExtent(LPSIZEL size) override;

    // IDataObject
    STDMETHODIMP GetData(FORMATETC* format, STGMEDIUM* medium) override;
    STDMETHODIMP GetDataHere(FORMATETC* format, STGMEDIUM* medium) override;
    STDMETHODIMP QueryGetData(FORMATETC* format) override;
    STDMETHODIMP GetCanonicalFormatEtc(FORMATETC* format, FORMATETC* canonical) override;
    STDMETHODIMP SetData(FORMATETC* format, STGMEDIUM* medium, BOOL release) override;
    STDMETHODIMP EnumFormatEtc(DWORD direction, IEnumFORMATETC** formats) override;
    STDMETHODIMP DAdvise(FORMATETC* format, DWORD flags, IAdviseSink* sink,
                         DWORD* connection) override;
    STDMETHODIMP DUnadvise(DWORD connection) override;
    STDMETHODIMP EnumDAdvise(IEnumSTATDATA** advises) override;

    // IProvideClassInfo, IProvideClassInfo2
    STDMETHODIMP GetClassInfo(ITypeInfo** info) override;
    STDMETHODIMP GetGUID(DWORD kind, GUID* guid) override;

protected:
    ControlSurface(const ClassDescription& description, IUnknown* outer, SinkList& eventSinks);
    virtual ~ControlSurface();

    // The last step of creation, after the component's own: makes the free-threaded marshaler
    // with the controlling unknown.
    HRESULT FinishConstruction();

    // The component's dual interface, which IDispatch answers as well.
    virtual IDispatch* Primary() = 0;
    // Tells the component the container's site (null when the container lets go).
    virtual void ClientSiteChanged(IOleClientSite* site) = 0;
    // Runs before the object is deleted, while it is still whole.
    virtual void BeforeDestruction() {}

    // IDispatch of the dual interface, through its type info in the registered library.
    HRESULT DispatchGetTypeInfoCount(UINT* count);
    HRESULT DispatchGetTypeInfo(UINT index, LCID locale, ITypeInfo** info);
    HRESULT DispatchGetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID locale,
                                  DISPID* ids);
    HRESULT DispatchInvoke(DISPID dispid, REFIID iid, LCID locale, WORD flags,
                           DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                           UINT* argumentError);

private:
    // The non-delegating unknown of the object.
    class Inner final : public IUnknown {
    public:
        explicit Inner(ControlSurface& owner) : owner_(owner) {}
        STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
        STDMETHODIMP_(ULONG) AddRef() override;
        STDMETHODIMP_(ULONG) Release() override;

    private:
        ControlSurface& owner_;
        LONG references_ = 0;
    };

    struct InterfaceRow;
    static const InterfaceRow kInterfaceTable[];

    void* FindInterface(REFIID iid);
    void OnDraw(HDC dc, const RECT& bounds);
    HRESULT InPlaceActivate(LONG verb);
    HRESULT CreateControlWindow(HWND parent, const RECT& position);
    HRESULT SaveToStream(IStream* stream);
    HRESULT LoadFromStream(IStream* stream);

    // The control's window, made when a container activates the control in place.
    static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam,
                                            LPARAM lParam);
    LRESULT OnPaint();
    LRESULT OnSetFocus();
    LRESULT OnKillFocus();
    LRESULT OnMouseActivate(UINT message, WPARAM wParam, LPARAM lParam);

    const ClassDescription& description_;
    IUnknown* const outer_;
    Inner inner_{*this};
    ComPtr<IUnknown> marshaler_; // the free-threaded marshaler, aggregated

    SIZEL natural_;
    SIZEL extent_;
    bool dirty_ = false;
    LONG frozenEvents_ = 0; // IOleControl::FreezeEvents counts up and down

    ComPtr<IOleClientSite> clientSite_;
    ComPtr<IOleAdviseHolder> oleAdviseHolder_;
    ComPtr<IDataAdviseHolder> dataAdviseHolder_;
    ComPtr<IAdviseSink> viewSink_;
    DWORD viewAspects_ = 0;
    DWORD viewFlags_ = 0;

    ComPtr<IOleInPlaceSite> inPlaceSite_; // set while active in place
    ComPtr<IOleInPlaceFrame> frame_;      // set while UI-active
    ComPtr<IOleInPlaceUIWindow> document_;
    HWND window_ = nullptr;
    bool uiActive_ = false;

    SinkList propertyNotifySinks_;
    ConnectionPoint eventPoint_;
    ConnectionPoint propertyNotifyPoint_;
};

} // namespace orrelux
