// PNG, GIF, BMP and TIFF through the system's imaging codecs (WIC): the first frame, converted
// to 32-bit BGRA with straight alpha, handed to a RowSink band by band.
//
// The system's decoders differ in when they do their work: some decode the whole picture while
// the decoder is made (PNG, GIF), some on the first pixel request (BMP), some strip by strip
// (TIFF). Reading goes through a FileStream that asks the stop question before every piece it
// reads, so every kind stops within one piece; between bands the question is asked again.
// Progress is half reading (the bytes read of the file's size) and half rows handed on.
#pragma once

#include <windows.h>

#include <memory>

#include "codecs/decoded_image.h"
#include "codecs/row_sink.h"
#include "shared_file.h"

namespace orrelux::engine {

// Decodes the first frame of `file`. `systemStatus` (may be null) gets the status of the
// system call that failed, S_OK otherwise.
DecodeStatus DecodeWithWic(const std::shared_ptr<const SharedFile>& file, RowSink& sink,
                           const DecodeControl& control, HRESULT* systemStatus);

} // namespace orrelux::engine
