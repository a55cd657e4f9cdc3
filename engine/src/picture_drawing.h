// Drawing a decoded picture onto a device context: a source rectangle of the picture into a
// destination rectangle of the surface, scaled as needed, band by band.
//
// The picture is first resampled to the destination's size (a straight copy when the sizes
// agree; otherwise area averaging with kEngineDrawSmooth, else the nearest pixel), then handed
// to the surface in bands of rows through a 32-bit DIB section. With kEngineDrawBlend each pixel
// is blended over what the surface holds by its alpha (AlphaBlend, source over); a band that is
// opaque throughout, and every band without the flag, is copied (BitBlt), the alpha byte with
// the colour. The stop question is asked before every band.
#pragma once

#include <windows.h>

#include "codecs/decoded_image.h"

namespace orrelux::engine {

struct PixelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

struct DrawRequest {
    HDC dc = nullptr;
    PixelRect destination; // in the surface's logical units
    PixelRect source;      // inside the picture
    bool blend = false;
    bool smooth = false;
};

// Corrupt for a source rectangle outside the picture or empty rectangles; Unsupported when the
// system refuses a drawing call (`systemStatus`, which may be null, then holds its status).
DecodeStatus DrawPicture(const DecodedImage& picture, const DrawRequest& request,
                         const DecodeControl& control, HRESULT* systemStatus);

} // namespace orrelux::engine
