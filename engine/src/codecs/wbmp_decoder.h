// Wireless bitmaps (WBMP) of type 0: one bit per pixel, most significant bit first, each row
// padded to whole bytes; 1 is white and 0 is black. The header is the type (a multi-byte
// integer, 0), a fixed header byte without the extension flag, then width and height as
// multi-byte integers (seven bits per byte, high bits first, bit 7 set on all but the last).
#pragma once

#include "codecs/decoded_image.h"
#include "codecs/row_sink.h"

#include <cstddef>
#include <cstdint>

namespace orrelux::engine {

// Decodes the WBMP file in data[0, size) row by row into `sink`. Unsupported for another type
// or for extension headers; Corrupt for a zero side, an integer over 31 bits or an early end.
// Bytes after the last row are ignored.
DecodeStatus DecodeWbmp(const std::uint8_t* data, std::size_t size, RowSink& sink,
                        const DecodeControl& control);

// The same into a whole picture; `image` is left empty on any status but Ok.
DecodeStatus DecodeWbmp(const std::uint8_t* data, std::size_t size, DecodedImage& image,
                        const DecodeControl& control);

} // namespace orrelux::engine
