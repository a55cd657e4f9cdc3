// The eight picture orientations of the EXIF Orientation tag (0x0112), turned into pixels.
#pragma once

#include "codecs/decoded_image.h"

namespace orrelux::engine {

// Turns a picture stored in the given orientation upright. The values are those of the tag:
//   1 upright (nothing to do)          5 transposed: rows become columns (x, y) -> (y, x)
//   2 mirrored left to right           6 turned 90 degrees clockwise to view
//   3 turned 180 degrees               7 transversed: mirrored along the other diagonal
//   4 mirrored top to bottom           8 turned 90 degrees counter-clockwise to view
// Values 5 to 8 swap width and height. Any other value leaves the picture as it is, as does an
// empty picture. OutOfMemory (picture unchanged) if the turned copy cannot be allocated;
// Corrupt if the pixel count is not width * height.
//
// Orienting after scaling is cheapest: for values 5 to 8 fit the picture into the box with its
// sides swapped (OrientationSwapsAxes), then orient the small result.
DecodeStatus ApplyOrientation(DecodedImage& image, int orientation);

bool OrientationSwapsAxes(int orientation);

} // namespace orrelux::engine
