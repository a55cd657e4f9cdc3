// Thumbnails of JPEG pictures, on libjpeg-turbo.
//
// libjpeg-turbo decodes at the smallest DCT scale (scale_num/8) whose output still covers the
// thumbnail, so most of the inverse DCT and the colour conversion of a large picture never
// happens; an area average (RowAccumulator) then takes the rows down to the exact thumbnail
// size as they arrive, and the EXIF orientation turns the small result upright.
//
// Portable: no windows.h, no libjpeg types in this header. On Windows the engine object opens
// the file itself (with _wfopen, for wide paths) and hands over the FILE* or the bytes.
#pragma once

#include "codecs/decoded_image.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace orrelux::engine {

// What one decode found and chose.
struct JpegThumbnailInfo {
    int sourceWidth = 0; // frame size as stored, before orientation
    int sourceHeight = 0;
    int orientation = 1; // EXIF orientation 1..8; 1 when the file has none
    int scaleNum = 8;    // the DCT stage decoded at scaleNum/8
    int scaledWidth = 0; // the DCT stage's output, before the area average
    int scaledHeight = 0;
};

// Decodes a JPEG picture to fit a maxWidth x maxHeight box: aspect kept, never enlarged, at
// least 1 x 1, upright by its EXIF orientation (the box applies to the upright picture). Box
// sides below 1 count as 1.
//
// Statuses: Ok (then `image` holds the thumbnail); Aborted when control.Aborted() said stop;
// Corrupt for data that is damaged or ends early; Unsupported for data that is no JPEG stream
// or one this decoder cannot render (12-bit samples, an unknown colour space, more than 65500
// pixels a side); OutOfMemory. On any status but Ok `image` is left empty. `info`, if given, is
// filled as far as the decode got.
//
// control.Aborted() is asked between bands of rows (and, for progressive files, between bands
// of each scan while the file is read), control.Progress() reports positions rising from 0 to
// its range at least every 1/16 of the work. Neither callback may throw.
DecodeStatus DecodeJpegThumbnail(const std::uint8_t* data, std::size_t size, int maxWidth,
                                 int maxHeight, const DecodeControl& control, DecodedImage& image,
                                 JpegThumbnailInfo* info = nullptr);

// The same from an open file, read from its current position; the file stays open.
DecodeStatus DecodeJpegThumbnail(std::FILE* file, int maxWidth, int maxHeight,
                                 const DecodeControl& control, DecodedImage& image,
                                 JpegThumbnailInfo* info = nullptr);

// The same from a file name in the C library's narrow encoding. A file that cannot be opened is
// Corrupt.
DecodeStatus DecodeJpegThumbnailFile(const char* path, int maxWidth, int maxHeight,
                                     const DecodeControl& control, DecodedImage& image,
                                     JpegThumbnailInfo* info = nullptr);

// The EXIF orientation (1..8) of a JPEG stream: tag 0x0112 of IFD 0 in the first Exif APP1
// segment before the image data. 1 when there is none, or when the stream or its Exif block is
// damaged. Reads nothing outside data[0, size).
int ReadJpegOrientation(const std::uint8_t* data, std::size_t size);

} // namespace orrelux::engine
