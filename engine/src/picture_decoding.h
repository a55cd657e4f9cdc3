// Decoding a picture file for EngineBitmap: the format is told by its signature (never by the
// file name), then the file goes to the decoder of its format:
//   JPEG              libjpeg-turbo, at the smallest DCT scale that covers the box, upright by
//                     its EXIF orientation
//   PNG, GIF, BMP, TIFF  the system's imaging codecs (WIC), band by band
//   PCX, WBMP, PSD    the engine's own decoders
// A thumbnail is fitted into the box as the rows arrive (area average, aspect kept, never
// enlarged), so a large picture is never held whole; a full load keeps every pixel.
//
// LZW: while it is disabled, GIF pictures and TIFF pictures whose first page is LZW-compressed
// are refused before any pixel is decoded.
#pragma once

#include <windows.h>

#include <cstdint>
#include <vector>

#include "codecs/decoded_image.h"

namespace orrelux::engine {

struct PictureRequest {
    const wchar_t* path = nullptr;
    bool thumbnail = false; // false: the picture at its own size
    int maxWidth = 0;       // the box of a thumbnail, both at least 1
    int maxHeight = 0;
    bool lzwEnabled = false;
    // Where the decoders that work on the whole file in memory (PCX, WBMP, PSD) keep its bytes.
    // The caller frees them when it likes: freeing tens of megabytes takes a while, and the end
    // of an aborted operation should not wait for it. Null: a buffer of the call's own.
    std::vector<std::uint8_t>* fileBytes = nullptr;
};

struct PictureOutcome {
    // S_OK, kEngineStatusAborted, the system's status of a file that does not open, or one of
    // kEngineErrorUnknownFormat, kEngineErrorCorrupt, kEngineErrorUnsupported,
    // kEngineErrorLzwDisabled, E_OUTOFMEMORY.
    HRESULT status = S_OK;
    // What went wrong, in a sentence for ErrorOccured; null on success and when aborted.
    const wchar_t* message = nullptr;
    DecodedImage image; // empty unless status is S_OK
};

PictureOutcome DecodePicture(const PictureRequest& request, const DecodeControl& control);

// The status and sentence of a decoder's answer (Aborted gives kEngineStatusAborted and no
// sentence; Ok gives S_OK).
HRESULT StatusOfDecode(DecodeStatus status, const wchar_t** message);

} // namespace orrelux::engine
