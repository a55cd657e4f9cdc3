// Photoshop documents (PSD, version 1): the composite picture stored after the layers, plain or
// PackBits-compressed. Colour modes: bitmap (1 bit, 1 is black), grayscale and duotone (shown as
// their gray), indexed (8 bits, the 768-byte palette of the colour mode section), RGB and CMYK;
// 8 or 16 bits per channel (16 bits are rounded to the nearest 8-bit value, v * 255 / 65535).
//
// Alpha: in grayscale, duotone, RGB and CMYK pictures the first channel after the colour
// channels (the 2nd, 4th or 5th) is alpha when present; further channels are ignored.
//
// CMYK is converted without colour management. The file stores each ink inverted (255 is no
// ink), so with C', M', Y', K' the stored values: red = C' * K' / 255, green = M' * K' / 255,
// blue = Y' * K' / 255, each rounded to nearest.
#pragma once

#include "codecs/decoded_image.h"
#include "codecs/row_sink.h"

#include <cstddef>
#include <cstdint>

namespace orrelux::engine {

// Decodes the PSD file in data[0, size) row by row into `sink`. Unsupported for large documents
// (PSB, version 2), Lab and multichannel modes, 32-bit channels and ZIP compression; Corrupt for
// data that contradicts itself or ends early (all channels of the composite must be present).
DecodeStatus DecodePsd(const std::uint8_t* data, std::size_t size, RowSink& sink,
                       const DecodeControl& control);

// The same into a whole picture; `image` is left empty on any status but Ok.
DecodeStatus DecodePsd(const std::uint8_t* data, std::size_t size, DecodedImage& image,
                       const DecodeControl& control);

} // namespace orrelux::engine
