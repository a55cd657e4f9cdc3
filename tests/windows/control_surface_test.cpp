// The control framework around ColorDialog: identity and aggregation, the interface table, the
// overrides every class shares, drawing, connection points. Objects come from the class factory
// of the server code linked into this program.
#include <gtest/gtest.h>

#include <objsafe.h>

#include <string>
#include <vector>

#include "resource_ids.h"
#include "test_support.h"

namespace orrelux {
namespace {

using testing::CreateLinkedObject;

class ControlSurfaceTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(object); }

    template <class Interface> ComPtr<Interface> As() {
        ComPtr<Interface> result;
        EXPECT_EQ(S_OK, object.As(result));
        return result;
    }

    ComPtr<IUnknown> object = CreateLinkedObject<IUnknown>(CLSID_ColorDialog);
};

TEST_F(ControlSurfaceTest, AnswersEveryInterfaceOfItsTableWithOneIdentity) {
    ComPtr<IUnknown> identity;
    ASSERT_EQ(S_OK, object->QueryInterface(IID_IUnknown, identity.PutVoid()));
    int row = 0;
    for (const IID* iid : {&IID_IColorDialog,
                           &IID_IDispatch,
                           &IID_IViewObjectEx,
                           &IID_IViewObject2,
                           &IID_IViewObject,
                           &IID_IOleInPlaceObjectWindowless,
                           &IID_IOleInPlaceObject,
                           &IID_IOleWindow,
                           &IID_IOleInPlaceActiveObject,
                           &IID_IOleControl,
                           &IID_IOleObject,
                           &IID_IPersistStreamInit,
                           &IID_IPersist,
                           &IID_ISupportErrorInfo,
                           &IID_IConnectionPointContainer,
                           &IID_ISpecifyPropertyPages,
                           &IID_IQuickActivate,
                           &IID_IPersistStorage,
                           &IID_IDataObject,
                           &IID_IProvideClassInfo,
                           &IID_IProvideClassInfo2,
                           &IID_IMarshal}) {
        SCOPED_TRACE(row++);
        ComPtr<IUnknown> found, back;
        ASSERT_EQ(S_OK, object->QueryInterface(*iid, found.PutVoid()));
        ASSERT_EQ(S_OK, found->QueryInterface(IID_IUnknown, back.PutVoid()));
        EXPECT_EQ(identity.Get(), back.Get());
    }
    // The dual interface and IDispatch are one pointer.
    ComPtr<IUnknown> dual, dispatch;
    object->QueryInterface(IID_IColorDialog, dual.PutVoid());
    object->QueryInterface(IID_IDispatch, dispatch.PutVoid());
    EXPECT_EQ(dual.Get(), dispatch.Get());

    for (const IID* iid :
         {&IID_IPersistPropertyBag, &IID_IObjectSafety, &IID_IFileDialog, &IID_IClassFactory}) {
        void* out = reinterpret_cast<void*>(1);
        EXPECT_EQ(E_NOINTERFACE, object->QueryInterface(*iid, &out));
        EXPECT_EQ(nullptr, out);
    }
}

TEST_F(ControlSurfaceTest, MarshalsThroughTheFreeThreadedMarshaler) {
    ComPtr<IMarshal> marshal = As<IMarshal>();
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, ::CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()));
    CLSID unmarshaler = GUID_NULL;
    ASSERT_EQ(S_OK, marshal->GetUnmarshalClass(IID_IColorDialog, object.Get(), MSHCTX_INPROC,
                                               nullptr, MSHLFLAGS_NORMAL, &unmarshaler));
    // {0000033A-0000-0000-C000-000000000046}, the in-process free-threaded marshaler.
    const CLSID freeThreaded = {0x0000033A, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    EXPECT_TRUE(IsEqualGUID(freeThreaded, unmarshaler));
}

// An outer object that counts the calls its inner object delegates to it.
class Outer final : public IUnknown {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        ++queries;
        if (iid == IID_IUnknown) {
            *out = this;
            AddRef();
            return S_OK;
        }
        return inner ? inner->QueryInterface(iid, out) : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }

    ComPtr<IUnknown> inner;
    ULONG references = 1;
    int queries = 0;
};

TEST(ControlAggregationTest, InnerObjectDelegatesToTheOuterUnknown) {
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(S_OK,
              server::GetClassObject(CLSID_ColorDialog, IID_IClassFactory, factory.PutVoid()));
    Outer outer;
    void* refused = reinterpret_cast<void*>(1);
    EXPECT_EQ(CLASS_E_NOAGGREGATION, factory->CreateInstance(&outer, IID_IColorDialog, &refused));
    EXPECT_EQ(nullptr, refused);

    ASSERT_EQ(S_OK, factory->CreateInstance(&outer, IID_IUnknown, outer.inner.PutVoid()));
    EXPECT_EQ(1u, outer.references) << "creation leaves the outer object's count alone";

    ComPtr<IColorDialog> dialog;
    ASSERT_EQ(S_OK, outer.inner->QueryInterface(IID_IColorDialog, dialog.PutVoid()));
    EXPECT_EQ(2u, outer.references) << "an interface of the inner object counts on the outer";
    ComPtr<IUnknown> identity;
    const int queriesBefore = outer.queries;
    ASSERT_EQ(S_OK, dialog->QueryInterface(IID_IUnknown, identity.PutVoid()));
    EXPECT_EQ(static_cast<IUnknown*>(&outer), identity.Get());
    EXPECT_EQ(queriesBefore + 1, outer.queries);
    identity.Reset();
    dialog.Reset();
    EXPECT_EQ(1u, outer.references);
    outer.inner.Reset();
}

TEST_F(ControlSurfaceTest, ExtentIsFixedAtTheNaturalSize) {
    WindowDC screen(nullptr);
    const LONG ppiX = ::GetDeviceCaps(screen.Get(), LOGPIXELSX);
    const LONG ppiY = ::GetDeviceCaps(screen.Get(), LOGPIXELSY);
    const SIZEL natural = {(2540 * 24 + ppiX / 2) / ppiX, (2540 * 19 + ppiY / 2) / ppiY};

    ComPtr<IOleObject> ole = As<IOleObject>();
    SIZEL size = {};
    EXPECT_EQ(S_OK, ole->GetExtent(DVASPECT_CONTENT, &size));
    EXPECT_EQ(natural.cx, size.cx);
    EXPECT_EQ(natural.cy, size.cy);

    SIZEL wanted = {1234, 987};
    EXPECT_EQ(E_FAIL, ole->SetExtent(DVASPECT_CONTENT, &wanted));
    size = {-7, -7};
    EXPECT_EQ(S_OK, ole->GetExtent(DVASPECT_ICON, &size)) << "other aspects write nothing";
    EXPECT_EQ(-7, size.cx);

    ComPtr<IViewObject2> view = As<IViewObject2>();
    EXPECT_EQ(S_OK, view->GetExtent(DVASPECT_CONTENT, -1, nullptr, &size));
    EXPECT_EQ(natural.cx, size.cx);
    ComPtr<IQuickActivate> quick = As<IQuickActivate>();
    EXPECT_EQ(S_OK, quick->GetContentExtent(&size));
    EXPECT_EQ(natural.cy, size.cy);
}

TEST_F(ControlSurfaceTest, SharedOverridesAnswerAsTheClassSays) {
    CLSID clsid = GUID_NULL;
    EXPECT_EQ(S_OK, As<IOleObject>()->GetUserClassID(&clsid));
    EXPECT_TRUE(IsEqualGUID(CLSID_ColorDialog, clsid));
    EXPECT_EQ(S_OK, As<IPersistStreamInit>()->GetClassID(&clsid));
    EXPECT_TRUE(IsEqualGUID(CLSID_ColorDialog, clsid));

    ComPtr<ISupportErrorInfo> errors = As<ISupportErrorInfo>();
    EXPECT_EQ(S_OK, errors->InterfaceSupportsErrorInfo(IID_IColorDialog));
    EXPECT_EQ(S_FALSE, errors->InterfaceSupportsErrorInfo(IID_IOleObject));
    EXPECT_EQ(S_FALSE, errors->InterfaceSupportsErrorInfo(IID_IDispatch));

    ComPtr<IProvideClassInfo2> classInfo = As<IProvideClassInfo2>();
    GUID guid = GUID_NULL;
    EXPECT_EQ(S_OK, classInfo->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &guid));
    EXPECT_TRUE(IsEqualGUID(DIID__IColorDialogEvents, guid));
    guid = IID_IColorDialog;
    EXPECT_EQ(E_FAIL, classInfo->GetGUID(0, &guid));
    EXPECT_TRUE(IsEqualGUID(GUID_NULL, guid));

    CAUUID pages = {7, reinterpret_cast<GUID*>(1)};
    EXPECT_EQ(S_OK, As<ISpecifyPropertyPages>()->GetPages(&pages));
    EXPECT_EQ(0u, pages.cElems);
    EXPECT_EQ(nullptr, pages.pElems);

    ComPtr<IViewObjectEx> view = As<IViewObjectEx>();
    DWORD status = 0;
    EXPECT_EQ(S_OK, view->GetViewStatus(&status));
    EXPECT_EQ(DWORD(3), status);
    const RECT bounds = {10, 10, 34, 29};
    const struct {
        DWORD aspect;
        POINT point;
        HRESULT result;
        DWORD hit;
    } hits[] = {{DVASPECT_CONTENT, {10, 10}, S_OK, HITRESULT_HIT},
                {DVASPECT_CONTENT, {33, 28}, S_OK, HITRESULT_HIT},
                {DVASPECT_CONTENT, {34, 20}, S_OK, HITRESULT_OUTSIDE},
                {DVASPECT_CONTENT, {9, 20}, S_OK, HITRESULT_OUTSIDE},
                {DVASPECT_ICON, {20, 20}, E_FAIL, HITRESULT_OUTSIDE}};
    for (const auto& h : hits) {
        DWORD hit = 99;
        EXPECT_EQ(h.result, view->QueryHitPoint(h.aspect, &bounds, h.point, 0, &hit));
        EXPECT_EQ(h.hit, hit);
    }
}

TEST_F(ControlSurfaceTest, DrawsTheToolboxPictureFromItsSecondPixel) {
    BITMAPINFO info = {};
    info.bmiHeader = {sizeof(BITMAPINFOHEADER), 40, -30, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    UniqueBitmap surface(::CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0));
    UniqueMemoryDC dc(::CreateCompatibleDC(nullptr));
    ASSERT_TRUE(surface && dc);
    SelectGuard selected(dc.Get(), surface.Get());
    constexpr COLORREF kUntouched = RGB(1, 2, 3);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x)
            ::SetPixel(dc.Get(), x, y, kUntouched);

    // Bounds larger than the picture: the part beyond the bitmap stays as it was.
    const RECTL bounds = {2, 3, 38, 29};
    ASSERT_EQ(S_OK, As<IViewObject>()->Draw(DVASPECT_CONTENT, -1, nullptr, nullptr, nullptr,
                                            dc.Get(), &bounds, nullptr, nullptr, 0));

    UniqueBitmap picture(static_cast<HBITMAP>(
        ::LoadImageW(::GetModuleHandleW(nullptr), MAKEINTRESOURCEW(ORRELUX_IDB_COLORDIALOG),
                     IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION)));
    ASSERT_TRUE(picture);
    UniqueMemoryDC pictureDc(::CreateCompatibleDC(nullptr));
    SelectGuard pictureSelected(pictureDc.Get(), picture.Get());
    int mismatches = 0;
    for (int y = 0; y < 30; ++y) {
        for (int x = 0; x < 40; ++x) {
            const int px = x - bounds.left + 1, py = y - bounds.top + 1;
            const bool inside = x >= bounds.left && y >= bounds.top && px < 26 && py < 21;
            const COLORREF expected = inside ? ::GetPixel(pictureDc.Get(), px, py) : kUntouched;
            mismatches += ::GetPixel(dc.Get(), x, y) != expected;
        }
    }
    EXPECT_EQ(0, mismatches);
}

TEST_F(ControlSurfaceTest, ConnectionPointsComeInOrderAndCheckTheirSinks) {
    ComPtr<IConnectionPointContainer> container = As<IConnectionPointContainer>();
    ComPtr<IEnumConnectionPoints> points;
    ASSERT_EQ(S_OK, container->EnumConnectionPoints(points.Put()));
    IConnectionPoint* found[3] = {};
    ULONG fetched = 0;
    EXPECT_EQ(S_FALSE, points->Next(3, found, &fetched));
    ASSERT_EQ(2u, fetched);
    IID first = GUID_NULL, second = GUID_NULL;
    found[0]->GetConnectionInterface(&first);
    found[1]->GetConnectionInterface(&second);
    EXPECT_TRUE(IsEqualGUID(DIID__IColorDialogEvents, first));
    EXPECT_TRUE(IsEqualGUID(IID_IPropertyNotifySink, second));
    ComPtr<IConnectionPointContainer> back;
    EXPECT_EQ(S_OK, found[0]->GetConnectionPointContainer(back.Put()));
    EXPECT_EQ(container.Get(), back.Get());
    found[0]->Release();
    found[1]->Release();

    ComPtr<IConnectionPoint> unknown;
    EXPECT_EQ(CONNECT_E_NOCONNECTION,
              container->FindConnectionPoint(IID_IOleObject, unknown.Put()));

    ComPtr<IConnectionPoint> events;
    ASSERT_EQ(S_OK, container->FindConnectionPoint(DIID__IColorDialogEvents, events.Put()));
    testing::RecordingSink plainDispatch; // answers IDispatch but not the event interface
    DWORD cookie = 99;
    EXPECT_EQ(HRESULT(0x80040202), events->Advise(&plainDispatch, &cookie));
    EXPECT_EQ(0u, cookie);
    EXPECT_EQ(1u, plainDispatch.references);
    EXPECT_EQ(HRESULT(0x80040200), events->Unadvise(12345));
    EXPECT_EQ(HRESULT(0x80040200), events->Unadvise(0));

    testing::RecordingSink a, b;
    a.eventIid = b.eventIid = DIID__IColorDialogEvents;
    DWORD cookieA = 0, cookieB = 0;
    ASSERT_EQ(S_OK, events->Advise(&a, &cookieA));
    ASSERT_EQ(S_OK, events->Advise(&b, &cookieB));
    EXPECT_NE(cookieA, cookieB);
    ComPtr<IEnumConnections> connections;
    ASSERT_EQ(S_OK, events->EnumConnections(connections.Put()));
    CONNECTDATA data[2] = {};
    ASSERT_EQ(S_OK, connections->Next(2, data, &fetched));
    EXPECT_EQ(cookieA, data[0].dwCookie);
    EXPECT_EQ(cookieB, data[1].dwCookie);
    data[0].pUnk->Release();
    data[1].pUnk->Release();
    connections.Reset();
    EXPECT_EQ(S_OK, events->Unadvise(cookieA));
    EXPECT_EQ(HRESULT(0x80040200), events->Unadvise(cookieA)) << "a cookie is good once";
    EXPECT_EQ(S_OK, events->Unadvise(cookieB));
    EXPECT_EQ(1u, a.references);
    EXPECT_EQ(1u, b.references);
}

} // namespace
} // namespace orrelux
