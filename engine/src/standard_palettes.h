// The standard palettes of the imaging engine, as plain tables of colours.
//
// Portable: no Windows header is reached from here, so the tables are built and checked on every
// platform. The COM palette object copies one of them when a client asks for it.
#ifndef ORRELUX_ENGINE_STANDARD_PALETTES_H
#define ORRELUX_ENGINE_STANDARD_PALETTES_H

#include <cstdint>
#include <vector>

namespace orrelux::engine {

// 0xAARRGGBB. Every entry of a standard palette is opaque: alpha 0xFF.
using ArgbColor = std::uint32_t;

// The palette types a client passes to LoadStandardPalette. Values 0 and 1 belong to no standard
// palette: they stay unknown, as does everything above Mac.
enum StandardPaletteType : std::int32_t {
    kWebSafePalette = 2, // 216 entries
    kWindowsPalette = 3, // 20 entries
    kMacPalette = 4,     // 256 entries
};

// WebSafe: the 6 x 6 x 6 cube of the levels 0x00, 0x33, ..., 0xFF. Red counts slowest and blue
// fastest, every channel upwards: entry 0 is black, 1 is 0x000033, 6 is 0x003300, 36 is
// 0x330000 and 215 is white.
std::vector<ArgbColor> WebSafePalette();

// Windows: the 20 static colours of the default system palette, in its order. Entries 0-7 are
// the dark half of the VGA colours, 8-11 the four extra colours (money green 0xC0DCC0, sky blue
// 0xA6CAF0, cream 0xFFFBF0, medium grey 0xA0A0A4), 12-19 the bright half from dark grey to white.
std::vector<ArgbColor> WindowsPalette();

// Mac: the classic 256-colour system palette. Entries 0-214 are the 6 x 6 x 6 cube with every
// channel running downwards from 0xFF (red slowest, blue fastest), from white (0) to 0x000033
// (214); its black corner is left for the end. Then four ramps of ten levels 0xEE, 0xDD, 0xBB,
// 0xAA, 0x88, 0x77, 0x55, 0x44, 0x22, 0x11, the levels that are no multiples of 0x33: red
// (215-224), green (225-234), blue (235-244) and grey (245-254). Entry 255 is black.
std::vector<ArgbColor> MacPalette();

// The palette of the given type; empty when the type is none of the standard palettes.
std::vector<ArgbColor> StandardPalette(std::int32_t type);

} // namespace orrelux::engine

#endif // ORRELUX_ENGINE_STANDARD_PALETTES_H
