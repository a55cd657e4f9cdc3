#include "filedialog/win/preview_pipeline.h"

#include <process.h>

#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <new>

#include "components/file_dialog.h"
#include "filedialog/win/preview_bitmap.h"

namespace orrelux {

using filedialog::kEngineWaitMs;
using filedialog::kPreviewPathChars;
using filedialog::kSelectionSpecChars;
using filedialog::LoadOutcome;
using filedialog::LoadPictureRequest;
using filedialog::SelectionTexts;

namespace {

// At most this many messages per pumping, so that a busy queue cannot hold the caller.
constexpr int kPumpedMessages = 100;
// The end of an engine operation lets this many waiting workers go on: all of them.
constexpr LONG kEngineWaiters = 0x7FFFFFFF;
// The shortest time between two progress reports that reach the bar: one frame of the screen.
constexpr DWORD kProgressFrameMs = 16;
// How long a worker of the current selection tries for the pane's busy flag, and how often.
constexpr DWORD kBusyPatienceMs = 200;
constexpr DWORD kBusyRetryMs = 1;

// SkippedEmpty: the token of the selection in the low 32 bits, and these two above it.
constexpr std::uint64_t kSkippedSet = std::uint64_t{1} << 32;
constexpr std::uint64_t kSkippedCrossed = std::uint64_t{1} << 33;

std::uint64_t SkippedMark(LONG generation, bool crossed) {
    return static_cast<std::uint32_t>(generation) | kSkippedSet | (crossed ? kSkippedCrossed : 0);
}
LONG SkippedGeneration(std::uint64_t mark) {
    return static_cast<LONG>(static_cast<std::uint32_t>(mark));
}

// The selection that a worker thread loads for, from its first call into the engine to its last;
// none on any other thread. The engine announces an operation on the thread that asked for it, so
// OperationBegin reads here whose operation it is.
struct WorkerSelection {
    bool loading = false;
    LONG generation = 0;
};
thread_local WorkerSelection t_workerSelection;

class LoadingFor {
public:
    explicit LoadingFor(LONG generation) { t_workerSelection = WorkerSelection{true, generation}; }
    ~LoadingFor() { t_workerSelection = WorkerSelection(); }
    LoadingFor(const LoadingFor&) = delete;
    LoadingFor& operator=(const LoadingFor&) = delete;
};

// Gives the pane's busy flag back when the drawing that took it ends, however it ends, once
// whatever GDI still batches for this thread has reached the bitmap.
class BusyTaken {
public:
    explicit BusyTaken(filedialog::PreviewBusyFlag& flag) : flag_(flag) {}
    ~BusyTaken() {
        ::GdiFlush();
        flag_.GiveBack();
    }
    BusyTaken(const BusyTaken&) = delete;
    BusyTaken& operator=(const BusyTaken&) = delete;

private:
    filedialog::PreviewBusyFlag& flag_;
};

// The pane's window handles and sizes are written on the dialog's thread (the pane's start and
// BeforeClose) and read on the workers as well: one whole load of the field each time, which the
// compiler may neither split nor take from an earlier read.
template <typename Field> Field ReadShared(const Field& field) {
    return __atomic_load_n(&field, __ATOMIC_ACQUIRE);
}

bool PathDoesNotExist(const wchar_t* path) {
    return ::GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES;
}

bool IsExistingDirectory(const wchar_t* path) {
    const DWORD attributes = ::GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// A CDM_GET* text of the system dialog into `buffer` of `room` characters. The answer is the
// text's size with its terminator; a text that does not fit, an empty one and a failure give
// false.
bool ReadDialogText(HWND dialog, UINT message, wchar_t* buffer, std::size_t room) {
    buffer[0] = L'\0';
    const LRESULT size = ::SendMessageW(dialog, message, static_cast<WPARAM>(room),
                                        reinterpret_cast<LPARAM>(buffer));
    buffer[room - 1] = L'\0';
    return size >= 1 && static_cast<std::size_t>(size) <= room && buffer[0] != L'\0';
}

} // namespace

namespace filedialog {

std::wstring_view PreviewedName(const wchar_t* spec) {
    if (!spec)
        return {};
    if (spec[0] != L'"')
        return spec;
    const wchar_t* name = spec + 1;
    const wchar_t* closing = std::wcschr(name, L'"');
    return closing ? std::wstring_view(name, static_cast<std::size_t>(closing - name))
                   : std::wstring_view(name);
}

bool JoinPreviewPath(const wchar_t* folder, std::wstring_view name,
                     wchar_t (&path)[kPreviewPathChars]) {
    path[0] = L'\0';
    const std::size_t folderLength = std::wcslen(folder);
    const bool separated =
        folderLength > 0 && (folder[folderLength - 1] == L'\\' || folder[folderLength - 1] == L'/');
    const std::size_t length = folderLength + (separated ? 0 : 1) + name.size();
    // A joined path that the work record cannot hold with its terminator has no preview.
    if (length >= kPreviewPathChars)
        return false;
    std::wmemcpy(path, folder, folderLength);
    std::size_t at = folderLength;
    if (!separated)
        path[at++] = L'\\';
    std::wmemcpy(path + at, name.data(), name.size());
    path[length] = L'\0';
    return true;
}

bool ReadSelectedPath(HWND systemDialog, SelectionTexts& texts) {
    texts.Path[0] = L'\0';
    if (!ReadDialogText(systemDialog, CDM_GETFOLDERPATH, texts.Folder, kPreviewPathChars) ||
        !ReadDialogText(systemDialog, CDM_GETSPEC, texts.Spec, kSelectionSpecChars))
        return false;
    if (!ReadDialogText(systemDialog, CDM_GETFILEPATH, texts.Selection, kPreviewPathChars))
        std::wcscpy(texts.Selection, texts.Folder);
    // The user selecting a subfolder.
    if (IsExistingDirectory(texts.Selection) && ::lstrcmpiW(texts.Selection, texts.Folder) != 0)
        return false;
    return JoinPreviewPath(texts.Folder, PreviewedName(texts.Spec), texts.Path);
}

void PumpPendingMessages() {
    MSG message;
    for (int pumped = 0;
         pumped < kPumpedMessages && ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE); ++pumped) {
        if (message.message == WM_QUIT) {
            // Not ours to take: the thread's own loop is to see it.
            ::PostQuitMessage(static_cast<int>(message.wParam));
            return;
        }
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

} // namespace filedialog

// ---- The dialog's thread -------------------------------------------------------------------

void CFileDialog::AbortLoading() {
    // A token is never followed by itself, so that the running worker always sees the change.
    const LONG previous = LoadGeneration.load();
    LONG next = std::rand();
    while (next == previous)
        next = std::rand();
    LoadGeneration.store(next);
    if (EngineBitmap) {
        try {
            EngineBitmap->AbortOperation();
        } catch (...) {
        }
    }
}

// Each step that can let a newer selection in (the repaint of the blank pane pumps messages, and
// so can run the hook again for the next selection) is followed by a check of the token: the
// nested run has called AbortLoading, and this one gives way to it.
//
// The rows change once per selection, when its outcome is known: emptied when there is nothing to
// show, else the probe's rows. Each row control repaints itself as its text changes, so emptying
// them ahead of the probe would paint every changed row twice, and rows that stay as they were
// (the captions, mostly) are not written at all. A run that a newer selection overtakes writes no
// row: the newer one owns them.
void CFileDialog::StartReadingFile() {
    if (!SystemDialogWindow)
        return;
    const LONG generation = LoadGeneration.load();
    const auto current = [this, generation] { return LoadGeneration.load() == generation; };
    const auto showCross = [this] {
        ClearAllLabels();
        DrawEmptyBitmap(true, true);
    };
    const std::unique_ptr<SelectionTexts> texts(new (std::nothrow) SelectionTexts);
    if (!texts || !current())
        return;
    DrawEmptyBitmap(false, true);
    if (!current())
        return;
    if (!filedialog::ReadSelectedPath(SystemDialogWindow, *texts)) {
        showCross();
        return;
    }
    // From here on FileName reads the selected path, whatever follows.
    FileNameBuffer.AssignPath(reinterpret_cast<const char16_t*>(texts->Path));
    if (PathDoesNotExist(texts->Path) || IsExistingDirectory(texts->Path)) {
        showCross();
        return;
    }
    if (!current())
        return;
    SetPropsFromFilename(texts->Path);
    // With the box off the rows stay filled and the pane shows the cross.
    if (!EnablePreview) {
        DrawEmptyBitmap(true, true);
        return;
    }
    if (!current())
        return;
    StartLoadWorker(texts->Path, generation);
}

// The worker gets the record with a counted reference to the controlling unknown and one to this
// module. _beginthreadex rather than _beginthread: its handle is ours to close at once, and stays
// valid however soon the thread ends, and its thread may end with FreeLibraryAndExitThread (a
// _beginthread thread must return into the runtime, which closes the handle there). A worker
// that cannot be started takes nothing with it: the record, and with it both references, is
// freed here, and the pane stays blank.
void CFileDialog::StartLoadWorker(const wchar_t* path, LONG generation) {
    std::unique_ptr<LoadPictureRequest> request(new (std::nothrow) LoadPictureRequest);
    if (!request)
        return;
    std::wcsncpy(request->FileName, path, kPreviewPathChars - 1);
    request->Owner = this;
    request->Generation = generation;
    if (FAILED(static_cast<IFileDialog*>(this)->QueryInterface(
            IID_IUnknown, request->OwnerReference.PutVoid())) ||
        !request->OwnerReference)
        return;
    HMODULE module = nullptr;
    if (!::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                              reinterpret_cast<LPCWSTR>(&CFileDialog::Thread_LoadPicture), &module))
        return;
    request->Module.Reset(module);
    const std::uintptr_t thread =
        ::_beginthreadex(nullptr, 0, &CFileDialog::Thread_LoadPicture, request.get(), 0, nullptr);
    if (thread == 0)
        return;
    request.release(); // the worker's from here on
    const UniqueKernelHandle started(reinterpret_cast<HANDLE>(thread));
}

void CFileDialog::DrawEmptyBitmap(bool crossed, bool repaint) {
    DrawEmptyPane(crossed, repaint, nullptr);
}

// The empty picture, for the dialog's thread (`worker` null: a held busy flag skips the drawing
// and leaves it to the holder, see TakePreviewBusyOrLeaveMark) or for a worker of the selection
// `*worker` (which tries a moment longer for the flag).
void CFileDialog::DrawEmptyPane(bool crossed, bool repaint, const LONG* worker,
                                std::uint64_t skippedMark) {
    const HBITMAP bitmap = PreviewBitmap.Get();
    const LONG width = ReadShared(PreviewWidth);
    const LONG height = ReadShared(PreviewHeight);
    if (!bitmap || width < 1 || height < 1 || !ReadShared(PaneWindow))
        return;
    if (worker ? !TakePreviewBusy(*worker) : !TakePreviewBusyOrLeaveMark(crossed))
        return;
    {
        const BusyTaken taken(PreviewBusy);
        if (skippedMark) {
            // Read again under the flag: a drawing for the selection since the mark was read
            // has taken it away, and must not be covered.
            if (!SkippedEmpty.compare_exchange_strong(skippedMark, 0))
                return;
        } else {
            ClearSkippedEmpty(worker ? *worker : LoadGeneration.load());
        }
        PreviewCrossed.store(crossed ? 1 : 0);
        filedialog::DrawEmptyPicture(bitmap, width, height, PaneBackColor, crossed);
    }
    if (repaint && RepaintPreview())
        filedialog::PumpPendingMessages();
}

// The window may be gone with the dialog: no handle, no repaint (a null window would repaint
// every window).
bool CFileDialog::RepaintPreview() {
    const HWND preview = ReadShared(PreviewWindow);
    if (!preview)
        return false;
    ::InvalidateRect(preview, nullptr, FALSE);
    ::UpdateWindow(preview);
    return true;
}

// ---- The worker ----------------------------------------------------------------------------

unsigned __stdcall CFileDialog::Thread_LoadPicture(void* argument) {
    HMODULE module = nullptr;
    try {
        std::unique_ptr<LoadPictureRequest> request(static_cast<LoadPictureRequest*>(argument));
        module = request->Module.Detach();
        CFileDialog& owner = *request->Owner;
        const HRESULT apartment = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        {
            ComPtr<IEngineBitmapData> data;
            LoadOutcome outcome = LoadOutcome::Failed;
            {
                const LoadingFor loading(request->Generation);
                outcome = owner.LoadPicture(*request, data);
            }
            owner.FinishLoad(outcome, request->Generation);
            owner.ShowProgressBar(false);
        }
        // The component's reference goes last of all that touches it: this release may end the
        // component, here on the worker's thread.
        request.reset();
        if (SUCCEEDED(apartment))
            ::CoUninitialize();
    } catch (...) {
    }
    // The code above may have released the module's last object; the module reference keeps this
    // code loaded until the thread is gone.
    if (module)
        ::FreeLibraryAndExitThread(module, 0);
    return 0;
}

bool CFileDialog::WaitForEngine() {
    UniqueKernelHandle running;
    {
        // A duplicate of the running operation's semaphore: OperationEnd may close the field's
        // handle at any moment, and the wait must not land on a closed or reused handle.
        const std::lock_guard<std::mutex> guard(LoadSemaphoreLock);
        const HANDLE current = LoadSemaphore.load();
        if (!current)
            return true;
        HANDLE copy = nullptr;
        if (!::DuplicateHandle(::GetCurrentProcess(), current, ::GetCurrentProcess(), &copy, 0,
                               FALSE, DUPLICATE_SAME_ACCESS))
            return false;
        running.Reset(copy);
    }
    return ::WaitForSingleObject(running.Get(), kEngineWaitMs) == WAIT_OBJECT_0;
}

LoadOutcome CFileDialog::LoadPicture(const LoadPictureRequest& request,
                                     ComPtr<IEngineBitmapData>& data) {
    const auto stale = [this, &request] { return LoadGeneration.load() != request.Generation; };
    if (stale())
        return LoadOutcome::Cancelled;
    // A new worker stays out of the engine while it runs an older worker's operation.
    if (!WaitForEngine() || stale())
        return LoadOutcome::Cancelled;
    if (!EngineBitmap)
        return LoadOutcome::Failed;
    if (stale())
        return LoadOutcome::Cancelled;
    ShowProgressBar(true);

    HRESULT loaded = E_FAIL;
    try {
        const UniqueBstr name(request.FileName);
        loaded = name.Get() ? EngineBitmap->LoadThumbnail(name.Get(), PreviewWidth, PreviewHeight)
                            : E_OUTOFMEMORY;
    } catch (...) {
        loaded = E_FAIL;
    }
    // Before the status: an out-of-date worker never draws the cross.
    if (stale())
        return LoadOutcome::Cancelled;
    if (loaded == engine::kEngineStatusAborted)
        return LoadOutcome::Cancelled;
    if (FAILED(loaded))
        return LoadOutcome::Failed;

    LONG width = 0;
    LONG height = 0;
    try {
        if (FAILED(EngineBitmap->GetData(data.Put())) || !data)
            return LoadOutcome::Failed;
        if (stale())
            return LoadOutcome::Cancelled;
        if (FAILED(data->get_Height(&height)) || height < 1 || FAILED(data->get_Width(&width)) ||
            width < 1)
            return LoadOutcome::Failed;
    } catch (...) {
        return LoadOutcome::Failed;
    }
    if (stale())
        return LoadOutcome::Cancelled;
    ShowProgressBar(false);

    if (!TakePreviewBusy(request.Generation))
        return LoadOutcome::Cancelled;
    HRESULT drawn = E_FAIL;
    bool faulted = false;
    {
        const BusyTaken taken(PreviewBusy);
        ClearSkippedEmpty(request.Generation);
        try {
            drawn = filedialog::DrawFramedPicture(EngineBitmap.Get(), PreviewBitmap.Get(),
                                                  PreviewWidth, PreviewHeight, width, height);
        } catch (...) {
            faulted = true;
        }
    }
    // A fault inside Draw may have left anything in the bitmap: the pane is not repainted.
    if (faulted || drawn == engine::kEngineStatusAborted)
        return LoadOutcome::Cancelled;
    return SUCCEEDED(drawn) ? LoadOutcome::Done : LoadOutcome::Failed;
}

// The pane's other holders keep the flag for one fill or one copy to the screen, and the dialog's
// thread never waits for it. A worker of the current selection that finds it held (most often by
// the repaint that the hidden progress bar has just caused) tries again for a moment rather than
// give up: giving up would leave the selection's picture undrawn for good, since nothing draws it
// later. A worker whose selection has gone gives up at once.
//
// The token is read again once the flag is held: a newer selection can come between the first
// read and the take, and its worker may even have drawn its picture in that moment; drawing now
// would put an out-of-date picture or cross over it. Every drawing of a worker happens under the
// flag, so the read under the flag is final.
bool CFileDialog::TakePreviewBusy(LONG generation) {
    for (DWORD waited = 0;; waited += kBusyRetryMs) {
        if (LoadGeneration.load() != generation)
            return false;
        if (PreviewBusy.TryTake()) {
            if (LoadGeneration.load() == generation)
                return true;
            PreviewBusy.GiveBack();
            return false;
        }
        if (waited >= kBusyPatienceMs)
            return false;
        ::Sleep(kBusyRetryMs);
    }
}

void CFileDialog::FinishLoad(LoadOutcome outcome, LONG generation) {
    switch (outcome) {
    case LoadOutcome::Failed:
        DrawEmptyPane(true, true, &generation);
        break;
    case LoadOutcome::Done:
        RepaintPreview();
        break;
    case LoadOutcome::Cancelled:
        break; // a newer selection owns the pane
    }
    DrawSkippedEmpty();
}

// The dialog's thread never waits for the flag. When a worker holds it, the blank or the cross of
// a newer selection is left as a mark for the worker to draw as it lets go; without that, a
// selection with no picture to load (a folder, a missing or unreadable file) would go on showing
// the picture that the worker has just finished. A second try after the mark covers a worker that
// let go in between, before it could see the mark.
bool CFileDialog::TakePreviewBusyOrLeaveMark(bool crossed) {
    if (PreviewBusy.TryTake())
        return true;
    SkippedEmpty.store(SkippedMark(LoadGeneration.load(), crossed));
    return PreviewBusy.TryTake();
}

// Whatever is drawn under the flag for a selection replaces an empty picture still waiting for it.
void CFileDialog::ClearSkippedEmpty(LONG generation) {
    std::uint64_t mark = SkippedEmpty.load();
    while ((mark & kSkippedSet) && SkippedGeneration(mark) == generation &&
           !SkippedEmpty.compare_exchange_weak(mark, 0)) {
    }
}

// On a worker as it ends: the empty picture that the dialog's thread left for the current
// selection, if any. The token and the mark are checked again under the flag.
void CFileDialog::DrawSkippedEmpty() {
    const std::uint64_t mark = SkippedEmpty.load();
    if (!(mark & kSkippedSet))
        return;
    const LONG generation = SkippedGeneration(mark);
    if (generation != LoadGeneration.load())
        return;
    DrawEmptyPane((mark & kSkippedCrossed) != 0, true, &generation, mark);
}

// ---- Events of the engine ------------------------------------------------------------------

// The engine reports every percent of a load, and each report costs the decoding thread a few
// round trips to the dialog's thread, which owns the bar: a hundred of them made a load of a large
// picture take twice as long. A report reaches the bar when the bar is hidden (so that it shows at
// once), when the range changes, when the operation is complete, and otherwise at most once a
// frame; the reports in between could not have been seen. The bar still never moves back.
bool CFileDialog::ProgressWorthShowing(LONG position, LONG range) {
    const HWND bar = ProgressWindow.load();
    const DWORD now = ::GetTickCount();
    const bool due = !bar || !::IsWindowVisible(bar) || range != ProgressRangePassed.load() ||
                     position >= range || now - ProgressPassedAt.load() >= kProgressFrameMs;
    if (!due)
        return false;
    ProgressPassedAt.store(now);
    ProgressRangePassed.store(range);
    return true;
}

// A running engine operation holds a fresh semaphore at count 0; a worker that finds it waits
// until the operation ends. The end wakes every waiter at once, not one: the waiters of a
// newer selection go on, the out-of-date ones end at their next check. Waking only one could
// leave the newest selection's worker asleep behind an out-of-date one until its wait times out.
// The lock keeps the exchange and close of the handle apart from a worker that takes its
// duplicate; it is held for no wait.
//
// An abort that came between a worker's last check and the start of its operation found nothing
// to stop, and the operation would run to its end while the newer selection's worker waits: the
// worker stops its own operation as it begins.
void CFileDialog::OnOperationBegin() {
    {
        UniqueKernelHandle fresh(::CreateSemaphoreW(nullptr, 0, kEngineWaiters, nullptr));
        const std::lock_guard<std::mutex> guard(LoadSemaphoreLock);
        const UniqueKernelHandle older(LoadSemaphore.exchange(fresh.Detach()));
        // The older operation's end was lost: its waiters go on now.
        if (older)
            ::ReleaseSemaphore(older.Get(), kEngineWaiters, nullptr);
    }
    const WorkerSelection worker = t_workerSelection;
    if (worker.loading && worker.generation != LoadGeneration.load() && EngineBitmap)
        EngineBitmap->AbortOperation();
}

void CFileDialog::OnOperationEnd() {
    const std::lock_guard<std::mutex> guard(LoadSemaphoreLock);
    const UniqueKernelHandle ended(LoadSemaphore.exchange(nullptr));
    if (ended)
        ::ReleaseSemaphore(ended.Get(), kEngineWaiters, nullptr);
}

} // namespace orrelux
