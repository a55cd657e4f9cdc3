// SlowImagingEngine.dll, as the tests and benchmarks steer it.
//
// The DLL serves EngineBitmap under the engine's own class identifier. A process that activates
// SlowImagingEngine.manifest (an activation context whose comClass names CLSID_EngineBitmap)
// gets it from CoCreateInstance in place of the registered engine; nothing else is affected,
// and the product's DLLs know nothing of it. Each object wraps a real EngineBitmap of
// ImagingEngine.dll from the same directory and passes every call and event through, adding what
// the settings ask for inside each LoadThumbnail operation, right after the engine has announced
// it (OperationBegin), in this order: the injected progress steps, the delay, the hold. The
// delay and the hold end early when AbortOperation is called from the operation's announcement
// on, so that the real engine then reports the operation as aborted (-6).
//
// The exported functions are reached with GetProcAddress on the loaded DLL (SlowEngineApi).
#pragma once

#include <windows.h>

extern "C" {

struct SlowEngineSettings {
    LONG progressRange;    // range of the injected OperationProgress steps
    LONG progressCount;    // how many of progressSteps are fired (at most 8)
    LONG progressSteps[8]; // positions, in this order
    DWORD stepDelayMs;     // pause after each injected step
    DWORD delayMs;         // pause inside each LoadThumbnail operation
    BOOL holdThumbnails;   // each LoadThumbnail operation waits for SlowEngineRelease
    BOOL throwInThumbnail; // LoadThumbnail throws a C++ exception instead of loading
    BOOL throwInDraw;      // Draw throws a C++ exception instead of drawing
    BOOL holdBeforeBegin;  // each LoadThumbnail waits for SlowEngineRelease before the engine
                           // starts its operation; an abort does not end this wait, since no
                           // operation runs yet
    BOOL holdDraw;         // each Draw waits for SlowEngineRelease before it draws; an abort does
                           // not end this wait either
};

struct SlowEngineCounters {
    LONG objects;             // wrappers alive
    LONG thumbnailCalls;      // LoadThumbnail calls since the last SlowEngineConfigure
    LONG drawCalls;           // Draw calls since then
    LONG abortCalls;          // AbortOperation calls since then
    LONG held;                // LoadThumbnail operations waiting in a hold right now
    LONG callersInside;       // threads inside LoadThumbnail right now
    LONG mostCallersInside;   // the most threads that were inside LoadThumbnail at once
    WCHAR lastThumbnail[260]; // file name of the last LoadThumbnail call
    LONG heldBeforeBegin;     // LoadThumbnail calls waiting before their operation right now
    LONG heldInDraw;          // Draw calls waiting in their hold right now
};

// Replaces the settings and zeroes the counters (but objects). A hold that is switched off lets
// every held operation go on.
typedef void(WINAPI* SlowEngineConfigureProc)(const SlowEngineSettings* settings);
// Lets `count` held operations go on, now or as soon as they arrive at their hold.
typedef void(WINAPI* SlowEngineReleaseProc)(LONG count);
typedef void(WINAPI* SlowEngineReadCountersProc)(SlowEngineCounters* counters);

} // extern "C"
