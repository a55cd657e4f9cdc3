// ZSoft PCX pictures: 1, 2 and 4 bits per pixel in one to four bit planes (up to 16 colours from
// the header's palette), 8-bit indexed with the 256-colour palette at the end of the file, and
// 8 bits in three planes (RGB) or four (RGB and alpha); run-length encoded or plain.
//
// Colours: one plane of one bit is black (0) and white (1); other indexed pictures of up to 16
// colours take the header's palette, except version 3 files ("no palette"), which take the
// standard 16 EGA colours; a 2-bit picture takes the first four header entries as they are.
// An 8-bit indexed picture must end in the 0x0C marker and its 768-byte palette (Corrupt
// without). A run may carry on into the next scanline; pad bytes at the end of a plane line
// (bytes per line beyond the width) are read and ignored.
#pragma once

#include "codecs/decoded_image.h"
#include "codecs/row_sink.h"

#include <cstddef>
#include <cstdint>

namespace orrelux::engine {

// Decodes the PCX file in data[0, size) row by row into `sink`. Corrupt for data that
// contradicts itself or ends early, Unsupported for another bit layout or encoding.
DecodeStatus DecodePcx(const std::uint8_t* data, std::size_t size, RowSink& sink,
                       const DecodeControl& control);

// The same into a whole picture; `image` is left empty on any status but Ok.
DecodeStatus DecodePcx(const std::uint8_t* data, std::size_t size, DecodedImage& image,
                       const DecodeControl& control);

} // namespace orrelux::engine
