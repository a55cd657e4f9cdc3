#include "standard_palettes.h"

namespace orrelux::engine {

namespace {

constexpr ArgbColor kOpaque = 0xFF000000u;

constexpr ArgbColor Opaque(std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
    return kOpaque | red << 16 | green << 8 | blue;
}

// The step between the cube's levels: 6 levels from 0x00 to 0xFF.
constexpr std::uint32_t kCubeStep = 0x33;
constexpr std::uint32_t kCubeLevels = 6;

// The levels of the Mac ramps: the multiples of 0x11 that the cube lacks, brightest first.
constexpr std::uint32_t kRampLevels[] = {0xEE, 0xDD, 0xBB, 0xAA, 0x88,
                                         0x77, 0x55, 0x44, 0x22, 0x11};

} // namespace

std::vector<ArgbColor> WebSafePalette() {
    std::vector<ArgbColor> entries;
    entries.reserve(kCubeLevels * kCubeLevels * kCubeLevels);
    for (std::uint32_t red = 0; red < kCubeLevels; ++red)
        for (std::uint32_t green = 0; green < kCubeLevels; ++green)
            for (std::uint32_t blue = 0; blue < kCubeLevels; ++blue)
                entries.push_back(Opaque(red * kCubeStep, green * kCubeStep, blue * kCubeStep));
    return entries;
}

std::vector<ArgbColor> WindowsPalette() {
    return {
        Opaque(0x00, 0x00, 0x00), Opaque(0x80, 0x00, 0x00), Opaque(0x00, 0x80, 0x00),
        Opaque(0x80, 0x80, 0x00), Opaque(0x00, 0x00, 0x80), Opaque(0x80, 0x00, 0x80),
        Opaque(0x00, 0x80, 0x80), Opaque(0xC0, 0xC0, 0xC0), Opaque(0xC0, 0xDC, 0xC0),
        Opaque(0xA6, 0xCA, 0xF0), Opaque(0xFF, 0xFB, 0xF0), Opaque(0xA0, 0xA0, 0xA4),
        Opaque(0x80, 0x80, 0x80), Opaque(0xFF, 0x00, 0x00), Opaque(0x00, 0xFF, 0x00),
        Opaque(0xFF, 0xFF, 0x00), Opaque(0x00, 0x00, 0xFF), Opaque(0xFF, 0x00, 0xFF),
        Opaque(0x00, 0xFF, 0xFF), Opaque(0xFF, 0xFF, 0xFF),
    };
}

std::vector<ArgbColor> MacPalette() {
    constexpr std::uint32_t kTop = kCubeStep * (kCubeLevels - 1); // 0xFF
    std::vector<ArgbColor> entries;
    entries.reserve(256);
    for (std::uint32_t red = 0; red < kCubeLevels; ++red)
        for (std::uint32_t green = 0; green < kCubeLevels; ++green)
            for (std::uint32_t blue = 0; blue < kCubeLevels; ++blue)
                entries.push_back(Opaque(kTop - red * kCubeStep, kTop - green * kCubeStep,
                                         kTop - blue * kCubeStep));
    entries.pop_back(); // the cube's black corner; black closes the palette instead
    for (const std::uint32_t level : kRampLevels)
        entries.push_back(Opaque(level, 0, 0));
    for (const std::uint32_t level : kRampLevels)
        entries.push_back(Opaque(0, level, 0));
    for (const std::uint32_t level : kRampLevels)
        entries.push_back(Opaque(0, 0, level));
    for (const std::uint32_t level : kRampLevels)
        entries.push_back(Opaque(level, level, level));
    entries.push_back(Opaque(0, 0, 0));
    return entries;
}

std::vector<ArgbColor> StandardPalette(std::int32_t type) {
    switch (type) {
    case kWebSafePalette:
        return WebSafePalette();
    case kWindowsPalette:
        return WindowsPalette();
    case kMacPalette:
        return MacPalette();
    default:
        return {};
    }
}

} // namespace orrelux::engine
