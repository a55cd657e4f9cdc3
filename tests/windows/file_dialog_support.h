// What the FileDialog tests stand in for: the imaging engine (class objects registered in this
// process for EngineBitmap and EngineMetaReader, present or failing), a container's site with
// its ambient user mode and window, and the system dialog's part on the component's fields.
#pragma once

#include <windows.h>
#include <ole2.h>
#include <ocidl.h>
#include <commctrl.h>
#include <dlgs.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>

#include "components/file_dialog.h"
#include "imaging_engine.h"
#include "test_support.h"

namespace orrelux {

// ---- The imaging engine ---------------------------------------------------------------------

// What the fake engine objects answer and what they saw. One instance per test, shared by the
// objects it makes.
struct FakeEngineState {
    HRESULT bitmapCreation = S_OK; // what the class object of EngineBitmap answers
    HRESULT metaReaderCreation = S_OK;
    bool connectable = true; // EngineBitmap answers IConnectionPointContainer
    HRESULT adviseResult = S_OK;
    bool adviseThrows = false; // a fault that passes out of the engine
    HRESULT formatListResult = S_OK;
    std::wstring openFilter = L"Images|*.png;*.jpg|All files|*.*";
    std::wstring saveFilter = L"PNG image|*.png";
    HRESULT openFilterResult = S_OK;
    HRESULT saveFilterResult = S_OK;
    VARIANT_BOOL lzw = VARIANT_FALSE;
    HRESULT lzwResult = S_OK;

    int bitmapsMade = 0;
    int metaReadersMade = 0;
    int unadvised = 0;
    DWORD unadvisedCookie = 0;
    ComPtr<IDispatch> sink; // the component's engine event sink while subscribed
};

// IUnknown and IDispatch of the test's own engine objects: counted on the heap from 1, answering
// IUnknown, IDispatch and their one engine interface; the component calls them by vtable only.
template <typename Interface> class TestEngineObject : public Interface {
public:
    explicit TestEngineObject(REFIID interfaceId) : interfaceId_(interfaceId) {}
    virtual ~TestEngineObject() = default;
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        *out = nullptr;
        if (iid != IID_IUnknown && iid != IID_IDispatch && iid != interfaceId_)
            return E_NOINTERFACE;
        *out = static_cast<Interface*>(this);
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = --references_;
        if (left == 0)
            delete this;
        return left;
    }
    STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                        UINT*) override {
        return E_NOTIMPL;
    }

private:
    const IID interfaceId_;
    ULONG references_ = 1;
};

class FakeFormatList final : public TestEngineObject<IEngineFormatList> {
public:
    explicit FakeFormatList(FakeEngineState& state)
        : TestEngineObject(IID_IEngineFormatList), state_(state) {}
    STDMETHODIMP get_OpenFilter(BSTR* filter) override {
        return Answer(state_.openFilterResult, state_.openFilter, filter);
    }
    STDMETHODIMP get_SaveFilter(BSTR* filter) override {
        return Answer(state_.saveFilterResult, state_.saveFilter, filter);
    }
    STDMETHODIMP get_Count(LONG* count) override {
        *count = 2;
        return S_OK;
    }

private:
    static HRESULT Answer(HRESULT status, const std::wstring& text, BSTR* out) {
        *out = FAILED(status) ? nullptr : ::SysAllocString(text.c_str());
        return status;
    }
    FakeEngineState& state_;
};

class FakeEngineBitmap final : public TestEngineObject<IEngineBitmap>,
                               public IConnectionPointContainer,
                               public IConnectionPoint {
public:
    static constexpr DWORD kCookie = 77;

    explicit FakeEngineBitmap(FakeEngineState& state)
        : TestEngineObject(IID_IEngineBitmap), state_(state) {}
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        if (iid != IID_IConnectionPointContainer || !state_.connectable)
            return TestEngineObject::QueryInterface(iid, out);
        *out = static_cast<IConnectionPointContainer*>(this);
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return TestEngineObject::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return TestEngineObject::Release(); }

    // IEngineBitmap: what the component calls is answered from the state.
    STDMETHODIMP Load(BSTR) override { return E_NOTIMPL; }
    STDMETHODIMP GetFormatList(IEngineFormatList** formats) override {
        *formats = SUCCEEDED(state_.formatListResult) ? new FakeFormatList(state_) : nullptr;
        return state_.formatListResult;
    }
    STDMETHODIMP Draw(LONG, double, double, double, double, double, double, double, double, LONG,
                      LONG) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP GetData(IEngineBitmapData** data) override {
        *data = nullptr;
        return E_NOTIMPL;
    }
    STDMETHODIMP LoadThumbnail(BSTR, double, double) override { return E_NOTIMPL; }
    STDMETHODIMP AbortOperation() override { return S_OK; }
    STDMETHODIMP get_IsBusy(VARIANT_BOOL* busy) override {
        *busy = VARIANT_FALSE;
        return S_OK;
    }
    STDMETHODIMP Clear() override { return S_OK; }
    STDMETHODIMP get_IsLzwEnabled(VARIANT_BOOL* enabled) override {
        *enabled = state_.lzw;
        return state_.lzwResult;
    }
    STDMETHODIMP put_IsLzwEnabled(VARIANT_BOOL enabled) override {
        if (SUCCEEDED(state_.lzwResult))
            state_.lzw = enabled;
        return state_.lzwResult;
    }

    // IConnectionPointContainer with the one point of _IEngineBitmapEvents.
    STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
    STDMETHODIMP FindConnectionPoint(REFIID iid, IConnectionPoint** point) override {
        *point = nullptr;
        if (iid != DIID__IEngineBitmapEvents)
            return CONNECT_E_NOCONNECTION;
        *point = this;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP GetConnectionInterface(IID* iid) override {
        *iid = DIID__IEngineBitmapEvents;
        return S_OK;
    }
    STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer** container) override {
        *container = this;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP Advise(IUnknown* sink, DWORD* cookie) override {
        if (state_.adviseThrows)
            throw 42;
        *cookie = 0;
        if (FAILED(state_.adviseResult))
            return state_.adviseResult;
        ComPtr<IDispatch> dispatch;
        if (FAILED(sink->QueryInterface(DIID__IEngineBitmapEvents, dispatch.PutVoid())))
            return CONNECT_E_CANNOTCONNECT;
        state_.sink = dispatch;
        *cookie = kCookie;
        return S_OK;
    }
    STDMETHODIMP Unadvise(DWORD cookie) override {
        ++state_.unadvised;
        state_.unadvisedCookie = cookie;
        state_.sink.Reset();
        return S_OK;
    }
    STDMETHODIMP EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

private:
    FakeEngineState& state_;
    ULONG references_ = 1;
};

class FakeMetaReader final : public TestEngineObject<IEngineMetaReader> {
public:
    FakeMetaReader() : TestEngineObject(IID_IEngineMetaReader) {}
    STDMETHODIMP Open(BSTR) override { return E_NOTIMPL; }
    STDMETHODIMP get_Width(LONG*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Height(LONG*) override { return E_NOTIMPL; }
    STDMETHODIMP get_PixelFormat(ULONG*) override { return E_NOTIMPL; }
    STDMETHODIMP get_FileFormat(LONG*) override { return E_NOTIMPL; }
    STDMETHODIMP Close() override { return S_OK; }
};

// A class object registered in this apartment while it lives, which CoCreateInstance asks before
// the registry; `make` answers an object with one reference, or the status of a refusal.
class RegisteredClass final : public IClassFactory {
public:
    using Make = std::function<HRESULT(IUnknown** made)>;
    RegisteredClass(REFCLSID clsid, Make make) : make_(std::move(make)) {
        ::CoRegisterClassObject(clsid, this, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie_);
    }
    ~RegisteredClass() { ::CoRevokeClassObject(cookie_); }
    RegisteredClass(const RegisteredClass&) = delete;
    RegisteredClass& operator=(const RegisteredClass&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        *out = iid == IID_IUnknown || iid == IID_IClassFactory ? this : nullptr;
        return *out ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
        *out = nullptr;
        if (outer)
            return CLASS_E_NOAGGREGATION;
        IUnknown* made = nullptr;
        HRESULT status = make_(&made);
        if (FAILED(status))
            return status;
        status = made->QueryInterface(iid, out);
        made->Release();
        return status;
    }
    STDMETHODIMP LockServer(BOOL) override { return S_OK; }

private:
    Make make_;
    DWORD cookie_ = 0;
};

// The engine's two classes as this process sees them while the object lives. With `present`
// false both classes refuse creation as an engine that is not installed would.
class FakeEngine {
public:
    explicit FakeEngine(bool present = true) {
        if (!present)
            state.bitmapCreation = state.metaReaderCreation = REGDB_E_CLASSNOTREG;
    }

    // Raises an event of EngineBitmap on the subscribed sink; arguments in call order.
    HRESULT Fire(DISPID dispid, std::initializer_list<LONG> arguments = {}) {
        if (!state.sink)
            return E_UNEXPECTED;
        VARIANT values[4];
        UINT count = 0;
        for (auto it = arguments.end(); it != arguments.begin() && count < 4; ++count) {
            --it;
            V_VT(&values[count]) = VT_I4;
            V_I4(&values[count]) = *it;
        }
        DISPPARAMS parameters = {values, nullptr, count, 0};
        return state.sink->Invoke(dispid, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD,
                                  &parameters, nullptr, nullptr, nullptr);
    }

    FakeEngineState state;

private:
    RegisteredClass bitmapClass_{CLSID_EngineBitmap, [this](IUnknown** made) {
                                     if (FAILED(state.bitmapCreation))
                                         return state.bitmapCreation;
                                     *made =
                                         static_cast<IEngineBitmap*>(new FakeEngineBitmap(state));
                                     ++state.bitmapsMade;
                                     return S_OK;
                                 }};
    RegisteredClass metaReaderClass_{CLSID_EngineMetaReader, [this](IUnknown** made) {
                                         if (FAILED(state.metaReaderCreation))
                                             return state.metaReaderCreation;
                                         *made = new FakeMetaReader();
                                         ++state.metaReadersMade;
                                         return S_OK;
                                     }};
};

// ---- The container --------------------------------------------------------------------------

// A client site whose container has a window and whose ambient properties answer USERMODE.
class FakeSite final : public IOleClientSite,
                       public IDispatch,
                       public IOleContainer,
                       public IOleWindow {
public:
    bool userMode = true;
    HWND window = nullptr;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_IOleClientSite)
            *out = static_cast<IOleClientSite*>(this);
        else if (iid == IID_IDispatch)
            *out = static_cast<IDispatch*>(this);
        else if (iid == IID_IOleContainer || iid == IID_IParseDisplayName)
            *out = static_cast<IOleContainer*>(this);
        else if (iid == IID_IOleWindow)
            *out = static_cast<IOleWindow*>(this);
        return *out ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }

    // IOleClientSite
    STDMETHODIMP SaveObject() override { return E_NOTIMPL; }
    STDMETHODIMP GetMoniker(DWORD, DWORD, IMoniker** moniker) override {
        *moniker = nullptr;
        return E_NOTIMPL;
    }
    STDMETHODIMP GetContainer(IOleContainer** container) override {
        *container = this;
        return S_OK;
    }
    STDMETHODIMP ShowObject() override { return S_OK; }
    STDMETHODIMP OnShowWindow(BOOL) override { return S_OK; }
    STDMETHODIMP RequestNewObjectLayout() override { return E_NOTIMPL; }

    // The ambient properties.
    STDMETHODIMP GetTypeInfoCount(UINT* count) override {
        *count = 0;
        return S_OK;
    }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP Invoke(DISPID dispid, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*,
                        UINT*) override {
        if (dispid != DISPID_AMBIENT_USERMODE || !result)
            return DISP_E_MEMBERNOTFOUND;
        V_VT(result) = VT_BOOL;
        V_BOOL(result) = userMode ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    }

    // IOleContainer
    STDMETHODIMP ParseDisplayName(IBindCtx*, LPOLESTR, ULONG*, IMoniker**) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP EnumObjects(DWORD, IEnumUnknown**) override { return E_NOTIMPL; }
    STDMETHODIMP LockContainer(BOOL) override { return S_OK; }

    // IOleWindow
    STDMETHODIMP GetWindow(HWND* handle) override {
        *handle = window;
        return window ? S_OK : E_FAIL;
    }
    STDMETHODIMP ContextSensitiveHelp(BOOL) override { return E_NOTIMPL; }
};

// ---- The system dialog's part ---------------------------------------------------------------

// Writes and reads the fields that the system dialog, the hook and the pane share with the
// component, as they would during and after a show.
class FileDialogTestAccess {
public:
    static CFileDialog& Of(IFileDialog* object) { return *static_cast<CFileDialog*>(object); }

    // The system's result and what it left in the name buffer (`content` carries its own
    // terminators; two more close it).
    static void LeaveResult(IFileDialog* object, LONG result, const std::u16string& content) {
        CFileDialog& dialog = Of(object);
        dialog.LastResult = result;
        char16_t* buffer = dialog.FileNameBuffer.Data();
        std::copy(content.begin(), content.end(), buffer);
        buffer[content.size()] = u'\0';
        buffer[content.size() + 1] = u'\0';
    }
    static void LeaveFlags(IFileDialog* object, DWORD flags) {
        Of(object).OpenFileName.Flags = flags;
    }
    static void LeaveFilterIndex(IFileDialog* object, DWORD index) {
        Of(object).OpenFileName.nFilterIndex = index;
    }
    static const OPENFILENAMEW& Request(IFileDialog* object) { return Of(object).OpenFileName; }
    static LONG DialogMode(IFileDialog* object) { return Of(object).DialogMode; }
    static void SetDialogOpen(IFileDialog* object, LONG open) { Of(object).DialogOpen.store(open); }
    static const char16_t* Buffer(IFileDialog* object) { return Of(object).FileNameBuffer.Data(); }
    static DWORD EngineCookie(IFileDialog* object) { return Of(object).EngineEventCookie; }
    static HANDLE LoadSemaphore(IFileDialog* object) { return Of(object).LoadSemaphore.load(); }

    // The windows that the pane's start-up finds.
    static void OpenWindows(IFileDialog* object, HWND system, HWND pane, HWND check,
                            HWND progress) {
        CFileDialog& dialog = Of(object);
        dialog.SystemDialogWindow = system;
        dialog.PaneWindow = pane;
        dialog.PreviewCheckWindow = check;
        dialog.ProgressWindow.store(progress);
    }
    static void CloseWindows(IFileDialog* object) { Of(object).BeforeClose(); }

    // While it lives, the shows of the component linked into this program meet a system dialog
    // that could not start (result 0, no extended error) instead of the system's own: the
    // component's own rules are tested without a window.
    class DialogThatCannotStart {
    public:
        DialogThatCannotStart() { CFileDialog::SystemDialogStandIn = &CannotStart; }
        ~DialogThatCannotStart() { CFileDialog::SystemDialogStandIn = nullptr; }
        DialogThatCannotStart(const DialogThatCannotStart&) = delete;
        DialogThatCannotStart& operator=(const DialogThatCannotStart&) = delete;

    private:
        static CFileDialog::SystemDialogOutcome CannotStart(CFileDialog&) { return {0, 0}; }
    };
};

// A sink advised on the component's _IFileDialogEvents for the connection's life.
class EventConnection {
public:
    EventConnection(IUnknown* object, testing::RecordingSink& sink) {
        sink.eventIid = DIID__IFileDialogEvents;
        ComPtr<IConnectionPointContainer> container;
        if (SUCCEEDED(object->QueryInterface(IID_IConnectionPointContainer, container.PutVoid())))
            container->FindConnectionPoint(DIID__IFileDialogEvents, point_.Put());
        advised_ = point_ && point_->Advise(&sink, &cookie_) == S_OK;
    }
    ~EventConnection() {
        if (advised_)
            point_->Unadvise(cookie_);
    }
    EventConnection(const EventConnection&) = delete;
    EventConnection& operator=(const EventConnection&) = delete;
    bool Advised() const { return advised_; }

private:
    ComPtr<IConnectionPoint> point_;
    DWORD cookie_ = 0;
    bool advised_ = false;
};

// ---- The system's own dialog -----------------------------------------------------------------

// The system's open or save dialog of this thread once it is up (with or without the pane).
inline BOOL CALLBACK FindSystemFileDialog(HWND window, LPARAM result) {
    wchar_t name[16] = {};
    ::GetClassNameW(window, name, 16);
    if (std::wstring(name) != L"#32770" || !::IsWindowVisible(window) ||
        !::GetDlgItem(window, lst2))
        return TRUE;
    *reinterpret_cast<HWND*>(result) = window;
    return FALSE;
}
inline HWND SystemFileDialog() {
    HWND found = nullptr;
    ::EnumThreadWindows(::GetCurrentThreadId(), &FindSystemFileDialog,
                        reinterpret_cast<LPARAM>(&found));
    return found;
}

inline HWND SystemFileList(HWND dialog) {
    return ::FindWindowExW(::GetDlgItem(dialog, lst2), nullptr, WC_LISTVIEWW, nullptr);
}

// Selects an item of the system dialog's list as a click (or a ctrl-click) would; the system sends
// CDN_SELCHANGE before this returns. Index -1 stands for every item; the focus goes along only
// with a single one.
inline void SetListSelection(HWND list, int index, bool selected) {
    LVITEMW item = {};
    item.stateMask = index < 0 ? LVIS_SELECTED : LVIS_SELECTED | LVIS_FOCUSED;
    item.state = selected ? item.stateMask : 0;
    ::SendMessageW(list, LVM_SETITEMSTATE, static_cast<WPARAM>(index),
                   reinterpret_cast<LPARAM>(&item));
}

// Selects the named files alone. The list shows names with or without their extensions, by the
// user's settings. False when a name is not in the list.
inline bool SelectInSystemDialog(HWND dialog, std::initializer_list<std::wstring> names) {
    const HWND list = SystemFileList(dialog);
    if (!list)
        return false;
    SetListSelection(list, -1, false);
    const int count = static_cast<int>(::SendMessageW(list, LVM_GETITEMCOUNT, 0, 0));
    for (const std::wstring& name : names) {
        const std::wstring stem = name.substr(0, name.find_last_of(L'.'));
        int index = 0;
        for (; index < count; ++index) {
            wchar_t text[MAX_PATH] = {};
            LVITEMW item = {};
            item.pszText = text;
            item.cchTextMax = MAX_PATH;
            ::SendMessageW(list, LVM_GETITEMTEXTW, index, reinterpret_cast<LPARAM>(&item));
            if (name == text || (stem != name && stem == text))
                break;
        }
        if (index == count)
            return false;
        SetListSelection(list, index, true);
    }
    return true;
}

} // namespace orrelux
