// Speed of JPEG thumbnails: a 6000x4000 picture into a 100x100 box, decoded by libjpeg-turbo at
// 1/8 of its size and area-averaged to 100x67, against `djpeg -scale 1/8` on the same file (run
// natively only: djpeg is a program of the build machine). Also: a full-size decode for
// comparison, and how quickly a decode stops once asked to (the longest stretch between two
// abort checks, and the time from an abort request to the return). Prints figures; nothing is
// asserted.
//
//   jpeg_bench [picture.jpg]
//
// Without an argument it writes its own 6000x4000 q90 pictures (baseline and progressive) into
// the temporary directory, with libjpeg's compressor.
#include "codecs/jpeg_thumbnail.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <jpeglib.h>

namespace orrelux::engine {
namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<std::uint8_t>;

constexpr int kWidth = 6000;
constexpr int kHeight = 4000;
constexpr int kBox = 100;
constexpr int kRuns = 7;

double Milliseconds(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

template <typename Op> double MedianMilliseconds(int runs, Op&& op) {
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        const auto start = Clock::now();
        op();
        times.push_back(Milliseconds(start, Clock::now()));
    }
    std::nth_element(times.begin(), times.begin() + runs / 2, times.end());
    return times[runs / 2];
}

// A photograph-like picture: smooth waves of colour with fine grain on top, so that the
// entropy-coded data (which dominates decoding) has a realistic size (a few bits a pixel).
Bytes EncodePicture(bool progressive) {
    std::vector<int> waveX(kWidth), waveY(kHeight);
    for (int x = 0; x < kWidth; ++x)
        waveX[x] = static_cast<int>(60 * std::sin(x / 157.0) + 25 * std::sin(x / 23.0));
    for (int y = 0; y < kHeight; ++y)
        waveY[y] = static_cast<int>(60 * std::cos(y / 211.0) + 25 * std::sin(y / 31.0));

    jpeg_compress_struct cinfo{};
    jpeg_error_mgr errors{};
    cinfo.err = jpeg_std_error(&errors);
    jpeg_create_compress(&cinfo);
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&cinfo, &buffer, &size);
    cinfo.image_width = kWidth;
    cinfo.image_height = kHeight;
    cinfo.in_color_space = JCS_RGB;
    cinfo.input_components = 3;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, 90, TRUE);
    if (progressive)
        jpeg_simple_progression(&cinfo);
    jpeg_start_compress(&cinfo, TRUE);
    std::vector<JSAMPLE> row(kWidth * 3);
    std::uint32_t noise = 0x2545F491;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            noise ^= noise << 13;
            noise ^= noise >> 17;
            noise ^= noise << 5;
            const int grain = static_cast<int>(noise & 15) - 8;
            const int base = 128 + waveX[x] / 2 + waveY[y] / 2;
            row[x * 3] = static_cast<JSAMPLE>(std::clamp(base + waveX[x] / 3 + grain, 0, 255));
            row[x * 3 + 1] = static_cast<JSAMPLE>(std::clamp(base + grain, 0, 255));
            row[x * 3 + 2] = static_cast<JSAMPLE>(std::clamp(base - waveY[y] / 3 + grain, 0, 255));
        }
        JSAMPROW rows[1] = {row.data()};
        jpeg_write_scanlines(&cinfo, rows, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    Bytes out(buffer, buffer + size);
    std::free(buffer);
    return out;
}

bool WriteFile(const std::string& path, const Bytes& bytes) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr)
        return false;
    const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return std::fclose(file) == 0 && ok;
}

bool ReadFile(const std::string& path, Bytes& bytes) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return false;
    bytes.clear();
    std::uint8_t chunk[65536];
    for (std::size_t got; (got = std::fread(chunk, 1, sizeof chunk, file)) > 0;)
        bytes.insert(bytes.end(), chunk, chunk + got);
    std::fclose(file);
    return !bytes.empty();
}

void PrintRow(const char* what, double milliseconds) {
    std::printf("| %-58s | %9.1f |\n", what, milliseconds);
}

const char* StatusName(DecodeStatus status) {
    switch (status) {
    case DecodeStatus::Ok:
        return "Ok";
    case DecodeStatus::Aborted:
        return "Aborted";
    case DecodeStatus::Corrupt:
        return "Corrupt";
    case DecodeStatus::Unsupported:
        return "Unsupported";
    case DecodeStatus::OutOfMemory:
        return "OutOfMemory";
    }
    return "?";
}

// Times of one picture: thumbnail from memory and from the file, a full-size decode, and djpeg.
void MeasureDecodes(const char* name, const std::string& path, const Bytes& bytes) {
    DecodedImage image;
    JpegThumbnailInfo info;
    const DecodeStatus status =
        DecodeJpegThumbnail(bytes.data(), bytes.size(), kBox, kBox, {}, image, &info);
    std::printf("\n%s: %s, %dx%d, %.1f MB; thumbnail %s %dx%d via %d/8 (%dx%d)\n\n", name,
                path.c_str(), info.sourceWidth, info.sourceHeight, bytes.size() / 1e6,
                StatusName(status), image.width, image.height, info.scaleNum, info.scaledWidth,
                info.scaledHeight);
    if (status != DecodeStatus::Ok)
        return;
    std::printf("| %-58s | %9s |\n", "operation (median of 7)", "ms");
    std::printf("|%s|%s|\n", std::string(60, '-').c_str(), std::string(11, '-').c_str());
    PrintRow("ours: thumbnail into 100x100, bytes in memory", MedianMilliseconds(kRuns, [&] {
                 DecodeJpegThumbnail(bytes.data(), bytes.size(), kBox, kBox, {}, image);
             }));
    PrintRow("ours: thumbnail into 100x100, read from the file", MedianMilliseconds(kRuns, [&] {
                 DecodeJpegThumbnailFile(path.c_str(), kBox, kBox, {}, image);
             }));
    PrintRow("ours: full-size decode, whole picture, bytes in memory", MedianMilliseconds(3, [&] {
                 DecodeJpegThumbnail(bytes.data(), bytes.size(), info.sourceWidth,
                                     info.sourceHeight, {}, image);
             }));
#ifdef _WIN32
    std::printf("| %-58s | %9s |\n", "djpeg -scale 1/8 (native only)", "-");
#else
    const std::string quiet = " -outfile /dev/null '" + path + "' 2>/dev/null";
    const std::string scaled = "djpeg -scale 1/8" + quiet;
    if (std::system(scaled.c_str()) != 0) {
        std::printf("| %-58s | %9s |\n", "djpeg -scale 1/8 (djpeg not available)", "-");
        return;
    }
    PrintRow("djpeg -scale 1/8 (process, decode, PPM to /dev/null)",
             MedianMilliseconds(kRuns, [&] { (void)std::system(scaled.c_str()); }));
    const std::string full = "djpeg" + quiet;
    PrintRow("djpeg full size (process, decode, PPM to /dev/null)",
             MedianMilliseconds(3, [&] { (void)std::system(full.c_str()); }));
    PrintRow("process start alone (/bin/true)",
             MedianMilliseconds(kRuns, [] { (void)std::system("true"); }));
#endif
}

// How a running decode stops: the longest stretch between two abort checks over a whole
// thumbnail decode, and the time from an abort request (the moment the control starts
// answering yes) to the return, for requests at several points of the decode. Each figure is
// taken over three decodes: a stretch or a delay only grows when the machine takes the processor
// away, so the smallest longest stretch and the median delay are the decoder's own.
void MeasureAbort(const char* name, const Bytes& bytes) {
    std::printf("\n%s: abort checks and stopping\n\n", name);
    constexpr int kRepeats = 3;
    DecodedImage image;
    std::vector<double> totals, longests;
    int checks = 0, reports = 0;
    for (int run = 0; run < kRepeats; ++run) {
        Clock::time_point last;
        double longest = 0;
        checks = reports = 0;
        DecodeControl watch;
        watch.Aborted = [&] {
            const auto now = Clock::now();
            longest = std::max(longest, Milliseconds(last, now));
            last = now;
            ++checks;
            return false;
        };
        watch.Progress = [&](int, int) { ++reports; };
        const auto start = Clock::now();
        last = start;
        DecodeJpegThumbnail(bytes.data(), bytes.size(), kBox, kBox, watch, image);
        totals.push_back(Milliseconds(start, Clock::now()));
        longests.push_back(longest);
    }
    std::sort(totals.begin(), totals.end());
    const double total = totals[kRepeats / 2];
    std::printf("  whole decode %.1f ms (median): %d abort checks, %d progress reports, longest "
                "stretch between checks %.2f ms (smallest of %d runs: %.2f, %.2f, %.2f)\n",
                total, checks, reports, *std::min_element(longests.begin(), longests.end()),
                kRepeats, longests[0], longests[1], longests[2]);

    for (double fraction : {0.1, 0.3, 0.5, 0.7, 0.9}) {
        std::vector<double> delays;
        DecodeStatus status = DecodeStatus::Ok;
        for (int run = 0; run < kRepeats; ++run) {
            const auto deadline =
                Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                   std::chrono::duration<double, std::milli>(total * fraction));
            DecodeControl control;
            control.Aborted = [&] { return Clock::now() >= deadline; };
            status = DecodeJpegThumbnail(bytes.data(), bytes.size(), kBox, kBox, control, image);
            delays.push_back(Milliseconds(deadline, Clock::now()));
        }
        std::sort(delays.begin(), delays.end());
        if (status == DecodeStatus::Aborted)
            std::printf("  abort requested at %2.0f%% (%6.1f ms): Aborted, returned %.2f ms "
                        "after the request (median; slowest %.2f)\n",
                        fraction * 100, total * fraction, delays[kRepeats / 2], delays.back());
        else
            std::printf("  abort requested at %2.0f%% (%6.1f ms): %s, finished before it\n",
                        fraction * 100, total * fraction, StatusName(status));
    }
}

int Run(int argc, char** argv) {
    std::printf("JPEG thumbnails into a %dx%d box\n", kBox, kBox);
    if (argc > 1) {
        Bytes bytes;
        if (!ReadFile(argv[1], bytes)) {
            std::printf("cannot read %s\n", argv[1]);
            return 1;
        }
        MeasureDecodes("given picture", argv[1], bytes);
        MeasureAbort("given picture", bytes);
        return 0;
    }
    const std::filesystem::path directory = std::filesystem::temp_directory_path();
    for (bool progressive : {false, true}) {
        const char* name = progressive ? "progressive" : "baseline";
        const std::string path =
            (directory / (std::string("orrelux_jpeg_bench_") + name + ".jpg")).string();
        const auto start = Clock::now();
        const Bytes bytes = EncodePicture(progressive);
        if (!WriteFile(path, bytes)) {
            std::printf("cannot write %s\n", path.c_str());
            return 1;
        }
        std::printf("\nwrote %s in %.0f ms\n", path.c_str(), Milliseconds(start, Clock::now()));
        MeasureDecodes(name, path, bytes);
        MeasureAbort(name, bytes);
    }
    return 0;
}

} // namespace
} // namespace orrelux::engine

int main(int argc, char** argv) {
    return orrelux::engine::Run(argc, argv);
}
