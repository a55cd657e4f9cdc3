// The preview's loading pipeline: what a selection in the open or save dialog turns into, and
// the worker thread that decodes the selected picture into the pane.
//
// The operations themselves are members of CFileDialog (StartReadingFile, Thread_LoadPicture,
// AbortLoading, DrawEmptyBitmap and the handlers of the engine's OperationBegin and OperationEnd)
// and are defined in preview_pipeline.cpp; this header holds the pieces they share: the work
// record handed to a worker, the worker's outcome, and the reading of the selected path from the
// system dialog.
//
// Threads. StartReadingFile and AbortLoading run on the dialog's thread; each selection starts
// one worker, which runs Thread_LoadPicture in the multithreaded apartment and never waits for
// the dialog's thread except inside the window calls that the system routes there. The dialog's
// thread never waits for a worker. LoadGeneration is the token of the selection that may still
// draw; a worker whose token is out of date stops at its next check and leaves the screen alone.
//
// Lifetime. A worker may outlive the dialog, and the client may drop its last reference while a
// worker runs. The work record therefore holds a counted reference to the component's
// controlling unknown, so that the component ends with its last worker at the earliest (and
// DllCanUnloadNow answers S_OK once that worker has let go), and a reference to this module, so
// that the code the worker still runs after that release stays loaded until its thread has
// exited.
#pragma once

#include <windows.h>

#include <cstddef>
#include <string_view>

#include "platform/handles.h"

namespace orrelux {

class CFileDialog;

namespace filedialog {

// Characters of a full path with its terminator: the room of the work record's file name and of
// the folder and path texts read from the system dialog.
constexpr std::size_t kPreviewPathChars = 260;
// Room for the dialog's file name text, which holds several quoted names in a multiple
// selection.
constexpr std::size_t kSelectionSpecChars = 16384;
// Longest wait of a new worker for the engine's running operation.
constexpr DWORD kEngineWaitMs = 10000;

// A counted reference to a loaded module, given back with FreeLibrary.
using UniqueModuleReference = UniqueHandle<NullHandleTraits<HMODULE, ::FreeLibrary>>;

// The work record of one load, allocated by StartReadingFile and owned by its worker, which
// frees it on every path. A worker that cannot be started frees it at once.
struct LoadPictureRequest {
    wchar_t FileName[kPreviewPathChars] = {}; // full path of the picture, terminated
    CFileDialog* Owner = nullptr;             // the component whose pane the worker draws
    LONG Generation = 0;                      // LoadGeneration when the selection was read
    ComPtr<IUnknown> OwnerReference;          // the controlling unknown, counted
    UniqueModuleReference Module;             // this module, until the thread has exited
};

// How a worker ends; it starts as Failed.
enum class LoadOutcome {
    Failed,    // no engine, the load or the size query failed, Draw failed otherwise than -6
    Cancelled, // out-of-date token, the engine's wait failed, -6, the pane was busy, a fault
    Done,      // the picture is in the pane's bitmap
};

// The texts that StartReadingFile reads from the system dialog, in one allocation.
struct SelectionTexts {
    wchar_t Path[kPreviewPathChars];
    wchar_t Folder[kPreviewPathChars];
    wchar_t Selection[kPreviewPathChars];
    wchar_t Spec[kSelectionSpecChars];
};

// The name of the dialog's file name text that the preview shows: the text itself, or, when it
// begins with a double quote (several selected files come as quoted names), the first quoted
// name without its quotes.
std::wstring_view PreviewedName(const wchar_t* spec);

// `folder`, a backslash unless `folder` already ends in a backslash or a slash, and `name`, into
// `path` with its terminator. False, with `path` empty, when the joined path does not fit in
// kPreviewPathChars characters with its terminator: such a selection has no preview.
bool JoinPreviewPath(const wchar_t* folder, std::wstring_view name,
                     wchar_t (&path)[kPreviewPathChars]);

// Reads the selection of the system dialog into `texts`: the folder (CDM_GETFOLDERPATH), the
// file name text (CDM_GETSPEC) and the selected path (CDM_GETFILEPATH, or the folder when there
// is none), and joins folder and previewed name into texts.Path. False when the pane is to show
// its cross instead of a picture: the folder or the name text cannot be read, is empty or too
// long, the selection is a subfolder, or the joined path is too long.
bool ReadSelectedPath(HWND systemDialog, SelectionTexts& texts);

// Takes messages off the calling thread's queue, for any window, and translates and dispatches
// them: at most 100, or until the queue is empty. A quit message that turns up is posted again
// for the thread's own loop, and the pumping stops there.
void PumpPendingMessages();

} // namespace filedialog
} // namespace orrelux
