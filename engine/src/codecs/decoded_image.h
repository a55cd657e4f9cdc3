// What every decoder of the engine hands back, and how a running decode is steered.
//
// Portable: no windows.h. The COM objects of the engine (EngineBitmap) drive these decoders on
// their callers' threads; the decoders themselves hold no state between calls.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace orrelux::engine {

// A decoded picture: top-down rows, one 0xAARRGGBB word per pixel, no padding between rows.
// A little-endian 0xAARRGGBB word is the byte order B, G, R, A of a 32-bit DIB section.
struct DecodedImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels;

    bool IsEmpty() const { return width <= 0 || height <= 0; }
};

enum class DecodeStatus {
    Ok,
    Aborted,     // the control's Aborted() said stop
    Corrupt,     // the data contradicts itself or ends early
    Unsupported, // a valid file of a kind this decoder does not handle (or LZW while disabled)
    OutOfMemory, // the picture would not fit in memory
};

// Steering of one decode. Both callbacks may be empty. Decoders call Aborted() between bands of
// rows (at most every 1/16 of the work and often enough that a 24-megapixel picture stops within
// a few milliseconds) and report Progress(position, range) at least every 1/16 of the work, with
// position rising from 0 to range.
struct DecodeControl {
    std::function<bool()> Aborted;
    std::function<void(int position, int range)> Progress;

    bool ShouldStop() const { return Aborted && Aborted(); }
    void Report(int position, int range) const {
        if (Progress)
            Progress(position, range);
    }
};

} // namespace orrelux::engine
