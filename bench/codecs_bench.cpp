// Speed of the engine's portable decoders and of the area-averaging scaler on a 6000x4000
// picture, the size of a camera's photo: the scale to a 100x100 preview box, and PSD and PCX files
// decoded whole and straight into the thumbnail. Prints the median time of each operation and
// the longest stretch between two abort checks; nothing is asserted.
#include "codecs/area_scaler.h"
#include "codecs/pcx_decoder.h"
#include "codecs/psd_decoder.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace orrelux::engine {
namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<std::uint8_t>;

constexpr int kWidth = 6000;
constexpr int kHeight = 4000;
constexpr int kBox = 100;
constexpr int kSamples = 5;

double Milliseconds(Clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

// Median milliseconds of op over a few runs, and the longest gap between two abort checks (or
// between the start and the first check) seen in any run.
template <typename Op> void Measure(const char* what, Op&& op) {
    std::vector<double> times;
    double longestGap = 0;
    for (int s = 0; s < kSamples; ++s) {
        Clock::time_point last = Clock::now();
        DecodeControl control;
        control.Aborted = [&] {
            const Clock::time_point now = Clock::now();
            longestGap = std::max(longestGap, Milliseconds(now - last));
            last = now;
            return false;
        };
        const Clock::time_point start = Clock::now();
        const DecodeStatus status = op(control);
        times.push_back(Milliseconds(Clock::now() - start));
        if (status != DecodeStatus::Ok) {
            std::printf("| %-52s | failed with status %d |\n", what, static_cast<int>(status));
            return;
        }
    }
    std::nth_element(times.begin(), times.begin() + kSamples / 2, times.end());
    std::printf("| %-52s | %9.1f | %9.2f |\n", what, times[kSamples / 2], longestGap);
}

// A smooth picture with some texture: channels change every few pixels, as in a photo, so that
// neither run-length scheme gets it for free.
std::uint8_t Sample(int x, int y, int channel) {
    return static_cast<std::uint8_t>((x / (3 + channel) + y / 5 + ((x * 7 + y * 13) & 15)) & 0xFF);
}

DecodedImage MakePicture() {
    DecodedImage image{kWidth, kHeight, {}};
    image.pixels.resize(static_cast<std::size_t>(kWidth) * kHeight);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            image.pixels[static_cast<std::size_t>(y) * kWidth + x] =
                0xFF000000u | static_cast<std::uint32_t>(Sample(x, y, 0)) << 16 |
                static_cast<std::uint32_t>(Sample(x, y, 1)) << 8 | Sample(x, y, 2);
    return image;
}

void PutBe(Bytes& out, std::uint32_t value, int bytes) {
    for (int i = bytes - 1; i >= 0; --i)
        out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

void PackBitsRow(const std::uint8_t* row, int size, Bytes& out) {
    for (int i = 0; i < size;) {
        int run = 1;
        while (i + run < size && run < 128 && row[i + run] == row[i])
            ++run;
        if (run >= 2) {
            out.push_back(static_cast<std::uint8_t>(1 - run));
            out.push_back(row[i]);
            i += run;
            continue;
        }
        int literal = 1;
        while (i + literal < size && literal < 128 &&
               !(i + literal + 1 < size && row[i + literal] == row[i + literal + 1]))
            ++literal;
        out.push_back(static_cast<std::uint8_t>(literal - 1));
        out.insert(out.end(), row + i, row + i + literal);
        i += literal;
    }
}

// An RGB PSD of 8-bit channels, PackBits-compressed or plain.
Bytes MakePsd(bool packBits) {
    Bytes out = {'8', 'B', 'P', 'S', 0, 1, 0, 0, 0, 0, 0, 0, 0, 3};
    PutBe(out, kHeight, 4);
    PutBe(out, kWidth, 4);
    PutBe(out, 8, 2);
    PutBe(out, 3, 2);
    PutBe(out, 0, 4);
    PutBe(out, 0, 4);
    PutBe(out, 0, 4);
    PutBe(out, packBits ? 1 : 0, 2);
    Bytes counts, rows, line(kWidth);
    for (int channel = 0; channel < 3; ++channel) {
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x)
                line[x] = Sample(x, y, channel);
            if (!packBits) {
                rows.insert(rows.end(), line.begin(), line.end());
                continue;
            }
            const std::size_t before = rows.size();
            PackBitsRow(line.data(), kWidth, rows);
            PutBe(counts, static_cast<std::uint32_t>(rows.size() - before), 2);
        }
    }
    out.insert(out.end(), counts.begin(), counts.end());
    out.insert(out.end(), rows.begin(), rows.end());
    return out;
}

// A 24-bit PCX in three planes, run-length encoded within each scanline.
Bytes MakePcx() {
    Bytes out = {0x0A, 5, 1, 8};
    for (int v : {0, 0, kWidth - 1, kHeight - 1, 72, 72}) {
        out.push_back(static_cast<std::uint8_t>(v));
        out.push_back(static_cast<std::uint8_t>(v >> 8));
    }
    out.resize(65, 0);
    out.push_back(3);
    out.push_back(static_cast<std::uint8_t>(kWidth & 0xFF));
    out.push_back(static_cast<std::uint8_t>(kWidth >> 8));
    out.resize(128, 0);
    for (int y = 0; y < kHeight; ++y) {
        for (int channel = 0; channel < 3; ++channel) {
            for (int x = 0; x < kWidth;) {
                const std::uint8_t value = Sample(x, y, channel);
                int run = 1;
                while (x + run < kWidth && run < 63 && Sample(x + run, y, channel) == value)
                    ++run;
                if (run > 1 || value >= 0xC0)
                    out.push_back(static_cast<std::uint8_t>(0xC0 | run));
                out.push_back(value);
                x += run;
            }
        }
    }
    return out;
}

void Run() {
    const DecodedImage picture = MakePicture();
    const ScaledSize fitted = FitInBox(kWidth, kHeight, kBox, kBox);
    std::printf("6000x4000 into a %dx%d box gives %dx%d\n\n", kBox, kBox, fitted.width,
                fitted.height);
    std::printf("| %-52s | %9s | %9s |\n", "operation", "median ms", "max gap ms");
    std::printf("|%s|%s|%s|\n", std::string(54, '-').c_str(), std::string(11, '-').c_str(),
                std::string(11, '-').c_str());

    Measure("ScaleAreaAverage 6000x4000 -> 100x67", [&](const DecodeControl& control) {
        DecodedImage scaled;
        return ScaleAreaAverage(picture, fitted.width, fitted.height, scaled, control);
    });
    DecodedImage translucent = picture;
    for (std::size_t i = 0; i < translucent.pixels.size(); i += 3)
        translucent.pixels[i] &= 0x80FFFFFFu;
    Measure("ScaleAreaAverage, a third of the pixels half opaque",
            [&](const DecodeControl& control) {
                DecodedImage scaled;
                return ScaleAreaAverage(translucent, fitted.width, fitted.height, scaled, control);
            });

    const struct {
        const char* name;
        Bytes file;
        DecodeStatus (*whole)(const std::uint8_t*, std::size_t, DecodedImage&,
                              const DecodeControl&);
        DecodeStatus (*rows)(const std::uint8_t*, std::size_t, RowSink&, const DecodeControl&);
    } files[] = {
        {"PSD RGB PackBits", MakePsd(true), DecodePsd, DecodePsd},
        {"PSD RGB plain", MakePsd(false), DecodePsd, DecodePsd},
        {"PCX 24-bit RLE", MakePcx(), DecodePcx, DecodePcx},
    };
    for (const auto& f : files) {
        char label[80];
        std::snprintf(label, sizeof label, "%s (%.1f MB) decoded whole", f.name,
                      static_cast<double>(f.file.size()) / 1e6);
        Measure(label, [&](const DecodeControl& control) {
            DecodedImage image;
            return f.whole(f.file.data(), f.file.size(), image, control);
        });
        std::snprintf(label, sizeof label, "%s decoded into a 100x100 thumbnail", f.name);
        Measure(label, [&](const DecodeControl& control) {
            RowAccumulator thumbnail = RowAccumulator::FitInto(kBox, kBox);
            return f.rows(f.file.data(), f.file.size(), thumbnail, control);
        });
    }
}

} // namespace
} // namespace orrelux::engine

int main() {
    orrelux::engine::Run();
    return 0;
}
