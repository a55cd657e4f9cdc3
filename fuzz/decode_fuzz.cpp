// libFuzzer target for one of the engine's portable decoders, chosen at compile time with
// -DORRELUX_DECODE_FORMAT=<code> (1 PCX, 2 WBMP, 3 PSD). Seeds of that format live in
// fuzz/corpus/decode_<format>/.
//
// Beyond "no crash, no over-read, no huge allocation", every input must hold these invariants:
//   - a whole decode that succeeds gives width * height pixels, both sides 1 or more; one that
//     fails leaves the picture empty;
//   - progress of a successful decode rises from 0 of height to height of height, by at most a
//     sixteenth of the rows (rounded up) a step, with an abort check before every band;
//   - the same input streamed into a thumbnail sink gives the same status (a whole picture over
//     the size cap may still stream), the size FitInBox gives, and the very pixels of the whole
//     picture scaled with ScaleAreaAverage;
//   - a decode told to stop at its first check ends Aborted, or with the whole decode's failure
//     if that came before any row;
//   - the thumbnail turned by an orientation and by its inverse is the thumbnail again.
#include "codecs/area_scaler.h"
#include "codecs/orientation.h"
#include "codecs/pcx_decoder.h"
#include "codecs/psd_decoder.h"
#include "codecs/wbmp_decoder.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#ifndef ORRELUX_DECODE_FORMAT
#error "compile with -DORRELUX_DECODE_FORMAT=<code>"
#endif

namespace {

using namespace orrelux::engine;

using WholeDecode = DecodeStatus (*)(const std::uint8_t*, std::size_t, DecodedImage&,
                                     const DecodeControl&);
using RowDecode = DecodeStatus (*)(const std::uint8_t*, std::size_t, RowSink&,
                                   const DecodeControl&);

#if ORRELUX_DECODE_FORMAT == 1
const WholeDecode kDecodeWhole = DecodePcx;
const RowDecode kDecodeRows = DecodePcx;
#elif ORRELUX_DECODE_FORMAT == 2
const WholeDecode kDecodeWhole = DecodeWbmp;
const RowDecode kDecodeRows = DecodeWbmp;
#elif ORRELUX_DECODE_FORMAT == 3
const WholeDecode kDecodeWhole = DecodePsd;
const RowDecode kDecodeRows = DecodePsd;
#else
#error "unknown ORRELUX_DECODE_FORMAT"
#endif

constexpr int kBoxWidth = 37;
constexpr int kBoxHeight = 23;

void Check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void CheckProgress(const std::vector<std::pair<int, int>>& reports, int checks, int height) {
    Check(reports.size() >= 2);
    Check(reports.front() == std::make_pair(0, height));
    Check(reports.back() == std::make_pair(height, height));
    const int step = height / 16 + (height % 16 != 0 ? 1 : 0);
    for (std::size_t i = 1; i < reports.size(); ++i) {
        Check(reports[i].second == height);
        Check(reports[i].first >= reports[i - 1].first);
        Check(reports[i].first - reports[i - 1].first <= step);
    }
    Check(static_cast<std::size_t>(checks) == reports.size() - 1);
}

void CheckOrientationRoundTrips(const DecodedImage& image) {
    const std::pair<int, int> inverses[] = {{2, 2}, {3, 3}, {4, 4}, {5, 5}, {6, 8}, {7, 7}};
    for (const auto& [turn, back] : inverses) {
        DecodedImage turned = image;
        Check(ApplyOrientation(turned, turn) == DecodeStatus::Ok);
        Check(turned.width == (OrientationSwapsAxes(turn) ? image.height : image.width));
        Check(ApplyOrientation(turned, back) == DecodeStatus::Ok);
        Check(turned.width == image.width && turned.height == image.height &&
              turned.pixels == image.pixels);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::pair<int, int>> reports;
    int checks = 0;
    DecodeControl watched;
    watched.Aborted = [&] {
        ++checks;
        return false;
    };
    watched.Progress = [&](int position, int range) { reports.emplace_back(position, range); };
    DecodedImage whole;
    const DecodeStatus status = kDecodeWhole(data, size, whole, watched);
    if (status == DecodeStatus::Ok) {
        Check(whole.width >= 1 && whole.height >= 1);
        Check(whole.pixels.size() ==
              static_cast<std::size_t>(whole.width) * static_cast<std::size_t>(whole.height));
        CheckProgress(reports, checks, whole.height);
    } else {
        Check(whole.IsEmpty() && whole.pixels.empty());
    }

    RowAccumulator thumbnail = RowAccumulator::FitInto(kBoxWidth, kBoxHeight);
    const DecodeStatus streamed = kDecodeRows(data, size, thumbnail, DecodeControl{});
    if (status == DecodeStatus::OutOfMemory)
        Check(streamed == DecodeStatus::Ok || streamed == DecodeStatus::OutOfMemory);
    else
        Check(streamed == status);
    if (status == DecodeStatus::Ok) {
        Check(thumbnail.IsComplete());
        const DecodedImage small = thumbnail.TakeImage();
        const ScaledSize fitted = FitInBox(whole.width, whole.height, kBoxWidth, kBoxHeight);
        Check(small.width == fitted.width && small.height == fitted.height);
        DecodedImage scaled;
        Check(ScaleAreaAverage(whole, fitted.width, fitted.height, scaled, DecodeControl{}) ==
              DecodeStatus::Ok);
        Check(scaled.pixels == small.pixels);
        CheckOrientationRoundTrips(small);
    }

    DecodeControl stopping;
    stopping.Aborted = [] { return true; };
    DecodedImage stopped;
    const DecodeStatus aborted = kDecodeWhole(data, size, stopped, stopping);
    Check(aborted == DecodeStatus::Aborted || (aborted == status && status != DecodeStatus::Ok));
    Check(stopped.IsEmpty());
    return 0;
}
