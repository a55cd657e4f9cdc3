// Picture files for the imaging engine's tests, made by the tests themselves: PNG, BMP, TIFF,
// GIF and JPEG through the system's WIC encoders, LZW-compressed TIFF, PCX, WBMP and PSD built
// byte by byte. Every picture shows the same pattern (TestPixel), so a decoded picture can be
// checked pixel by pixel.
#pragma once

#include <windows.h>
#include <wincodec.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/handles.h"

namespace orrelux::testing {

// The pattern: colours that differ in every channel from pixel to pixel, opaque.
inline std::uint32_t TestPixel(int x, int y) {
    return 0xFF000000u | static_cast<std::uint32_t>((x * 7) & 0xFF) << 16 |
           static_cast<std::uint32_t>((y * 11) & 0xFF) << 8 |
           static_cast<std::uint32_t>((x + y) * 3 & 0xFF);
}

// The pattern as a picture without alpha reads back (0x00RRGGBB).
inline std::uint32_t PatternRgb(int x, int y) {
    return TestPixel(x, y) & 0x00FFFFFFu;
}

// The 16-colour palette of the indexed pictures (GIF) and the index of a pixel.
inline std::uint32_t PaletteColour(int index) {
    return 0xFF000000u | static_cast<std::uint32_t>(index * 17) << 16 |
           static_cast<std::uint32_t>(255 - index * 17) << 8 | 0x40u;
}
inline int PaletteIndex(int x, int y) {
    return (x / 3 + y / 2) % 16;
}

// A directory of its own under the system's temporary directory, removed with everything in it.
class ScratchDirectory {
public:
    ScratchDirectory() {
        wchar_t base[MAX_PATH] = {};
        ::GetTempPathW(MAX_PATH, base);
        path_ = std::wstring(base) + L"orrelux-engine-" + std::to_wstring(::GetCurrentProcessId()) +
                L"-" + std::to_wstring(::GetTickCount());
        ::CreateDirectoryW(path_.c_str(), nullptr);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory() { Remove(path_); }
    std::wstring File(const std::wstring& name) const { return path_ + L"\\" + name; }
    const std::wstring& Path() const { return path_; }
    bool Folder(const std::wstring& name) const {
        return ::CreateDirectoryW(File(name).c_str(), nullptr) != FALSE;
    }

private:
    static void Remove(const std::wstring& directory) {
        WIN32_FIND_DATAW found = {};
        const HANDLE search = ::FindFirstFileW((directory + L"\\*").c_str(), &found);
        if (search != INVALID_HANDLE_VALUE) {
            do {
                const std::wstring name = found.cFileName, path = directory + L"\\" + name;
                if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
                    ::DeleteFileW(path.c_str());
                else if (name != L"." && name != L"..")
                    Remove(path);
            } while (::FindNextFileW(search, &found));
            ::FindClose(search);
        }
        ::RemoveDirectoryW(directory.c_str());
    }

    std::wstring path_;
};

// The first `limit` bytes of a file (all of it by default).
inline std::vector<std::uint8_t> ReadBytes(const std::wstring& path, std::size_t limit = SIZE_MAX) {
    std::vector<std::uint8_t> bytes;
    const UniqueKernelHandle file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                                nullptr, OPEN_EXISTING, 0, nullptr));
    LARGE_INTEGER size = {};
    if (!file || file.Get() == INVALID_HANDLE_VALUE || !::GetFileSizeEx(file.Get(), &size))
        return bytes;
    bytes.resize(std::min<std::size_t>(limit, static_cast<std::size_t>(size.QuadPart)));
    DWORD read = 0;
    ::ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr);
    bytes.resize(read);
    return bytes;
}

inline bool WriteBytes(const std::wstring& path, const std::vector<std::uint8_t>& bytes) {
    const UniqueKernelHandle file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr,
                                                CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file || file.Get() == INVALID_HANDLE_VALUE)
        return false;
    DWORD written = 0;
    return ::WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                       nullptr) &&
           written == bytes.size();
}

// Writes one frame through a WIC encoder from rows of `pixelFormat` (BGR or BGRA bytes, or
// 8-bit indices with `palette`).
inline HRESULT EncodeWithWic(const std::wstring& path, REFGUID container,
                             const WICPixelFormatGUID& pixelFormat, int width, int height,
                             UINT stride, std::vector<std::uint8_t> rows,
                             const std::vector<std::uint32_t>* palette = nullptr) {
    ComPtr<IWICImagingFactory> factory;
    HRESULT status = ::CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                        IID_IWICImagingFactory, factory.PutVoid());
    ComPtr<IWICStream> stream;
    if (SUCCEEDED(status))
        status = factory->CreateStream(stream.Put());
    if (SUCCEEDED(status))
        status = stream->InitializeFromFilename(path.c_str(), GENERIC_WRITE);
    ComPtr<IWICBitmapEncoder> encoder;
    if (SUCCEEDED(status))
        status = factory->CreateEncoder(container, nullptr, encoder.Put());
    if (SUCCEEDED(status))
        status = encoder->Initialize(stream.Get(), WICBitmapEncoderNoCache);
    ComPtr<IWICBitmapFrameEncode> frame;
    ComPtr<IPropertyBag2> options;
    if (SUCCEEDED(status))
        status = encoder->CreateNewFrame(frame.Put(), options.Put());
    if (SUCCEEDED(status))
        status = frame->Initialize(options.Get());
    if (SUCCEEDED(status))
        status = frame->SetSize(static_cast<UINT>(width), static_cast<UINT>(height));
    WICPixelFormatGUID format = pixelFormat;
    if (SUCCEEDED(status))
        status = frame->SetPixelFormat(&format);
    if (SUCCEEDED(status) && format != pixelFormat)
        status = WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
    if (SUCCEEDED(status) && palette) {
        ComPtr<IWICPalette> colours;
        status = factory->CreatePalette(colours.Put());
        std::vector<WICColor> entries(palette->begin(), palette->end());
        if (SUCCEEDED(status))
            status = colours->InitializeCustom(entries.data(), static_cast<UINT>(entries.size()));
        if (SUCCEEDED(status))
            status = frame->SetPalette(colours.Get());
    }
    if (SUCCEEDED(status))
        status = frame->WritePixels(static_cast<UINT>(height), stride,
                                    static_cast<UINT>(rows.size()), rows.data());
    if (SUCCEEDED(status))
        status = frame->Commit();
    if (SUCCEEDED(status))
        status = encoder->Commit();
    return status;
}

// Rows of the pattern as BGR (3 bytes) or BGRA (4 bytes) pixels, DWORD-aligned.
inline std::vector<std::uint8_t> PatternRows(int width, int height, int bytesPerPixel,
                                             UINT* stride) {
    *stride = static_cast<UINT>((width * bytesPerPixel + 3) & ~3);
    std::vector<std::uint8_t> rows(static_cast<std::size_t>(*stride) * height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const std::uint32_t pixel = TestPixel(x, y);
            std::uint8_t* out = rows.data() + static_cast<std::size_t>(y) * *stride +
                                static_cast<std::size_t>(x) * bytesPerPixel;
            for (int c = 0; c < bytesPerPixel; ++c)
                out[c] = static_cast<std::uint8_t>(pixel >> (8 * c));
        }
    return rows;
}

inline HRESULT WriteWicPicture(const std::wstring& path, REFGUID container, int width, int height) {
    UINT stride = 0;
    const bool alpha = container == GUID_ContainerFormatPng;
    std::vector<std::uint8_t> rows = PatternRows(width, height, alpha ? 4 : 3, &stride);
    return EncodeWithWic(path, container,
                         alpha ? GUID_WICPixelFormat32bppBGRA : GUID_WICPixelFormat24bppBGR, width,
                         height, stride, std::move(rows));
}

inline HRESULT WriteGif(const std::wstring& path, int width, int height) {
    std::vector<std::uint8_t> rows(static_cast<std::size_t>(width) * height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            rows[static_cast<std::size_t>(y) * width + x] =
                static_cast<std::uint8_t>(PaletteIndex(x, y));
    std::vector<std::uint32_t> palette;
    for (int i = 0; i < 16; ++i)
        palette.push_back(PaletteColour(i));
    return EncodeWithWic(path, GUID_ContainerFormatGif, GUID_WICPixelFormat8bppIndexed, width,
                         height, static_cast<UINT>(width), std::move(rows), &palette);
}

inline void PutLe16(std::vector<std::uint8_t>& out, unsigned value) {
    out.push_back(static_cast<std::uint8_t>(value));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
}
inline void PutLe32(std::vector<std::uint8_t>& out, std::uint32_t value) {
    PutLe16(out, value & 0xFFFF);
    PutLe16(out, value >> 16);
}
inline void PutBe16(std::vector<std::uint8_t>& out, unsigned value) {
    out.push_back(static_cast<std::uint8_t>(value >> 8));
    out.push_back(static_cast<std::uint8_t>(value));
}
inline void PutBe32(std::vector<std::uint8_t>& out, std::uint32_t value) {
    PutBe16(out, value >> 16);
    PutBe16(out, value & 0xFFFF);
}

// TIFF's LZW, kept simple: nothing but literal codes, 9 bits wide, most significant bit first,
// with a clear code before the table would need a tenth bit. Valid for any decoder.
inline std::vector<std::uint8_t> LzwLiterals(const std::vector<std::uint8_t>& data) {
    std::vector<std::uint8_t> out;
    std::uint32_t bits = 0;
    int count = 0;
    const auto put = [&](unsigned code) {
        bits = bits << 9 | code;
        count += 9;
        while (count >= 8) {
            out.push_back(static_cast<std::uint8_t>(bits >> (count - 8)));
            count -= 8;
        }
    };
    const unsigned kClear = 256;
    const unsigned kEnd = 257;
    for (std::size_t i = 0; i < data.size(); ++i) {
        if (i % 250 == 0)
            put(kClear);
        put(data[i]);
    }
    put(kEnd);
    if (count > 0)
        out.push_back(static_cast<std::uint8_t>(bits << (8 - count)));
    return out;
}

// A little-endian RGB TIFF of one strip, LZW-compressed.
inline std::vector<std::uint8_t> LzwTiffFile(int width, int height) {
    std::vector<std::uint8_t> pixels;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const std::uint32_t pixel = TestPixel(x, y);
            pixels.push_back(static_cast<std::uint8_t>(pixel >> 16));
            pixels.push_back(static_cast<std::uint8_t>(pixel >> 8));
            pixels.push_back(static_cast<std::uint8_t>(pixel));
        }
    const std::vector<std::uint8_t> strip = LzwLiterals(pixels);
    // Layout: the 8-byte header, the strip (padded to an even length), the three
    // bits-per-sample values, the directory.
    const auto samplesAt = static_cast<std::uint32_t>(8 + strip.size() + strip.size() % 2);
    const std::uint32_t directoryAt = samplesAt + 6;
    const struct {
        unsigned tag, type;
        std::uint32_t count, value;
    } entries[] = {
        {256, 4, 1, static_cast<std::uint32_t>(width)},
        {257, 4, 1, static_cast<std::uint32_t>(height)},
        {258, 3, 3, samplesAt},
        {259, 3, 1, 5},
        {262, 3, 1, 2},
        {273, 4, 1, 8},
        {277, 3, 1, 3},
        {278, 4, 1, static_cast<std::uint32_t>(height)},
        {279, 4, 1, static_cast<std::uint32_t>(strip.size())},
    };
    std::vector<std::uint8_t> out = {'I', 'I', 42, 0};
    PutLe32(out, directoryAt);
    out.insert(out.end(), strip.begin(), strip.end());
    out.resize(samplesAt, 0);
    for (int sample = 0; sample < 3; ++sample)
        PutLe16(out, 8);
    PutLe16(out, sizeof(entries) / sizeof(entries[0]));
    for (const auto& entry : entries) {
        PutLe16(out, entry.tag);
        PutLe16(out, entry.type);
        PutLe32(out, entry.count);
        if (entry.type == 3 && entry.count == 1) {
            PutLe16(out, entry.value);
            PutLe16(out, 0);
        } else {
            PutLe32(out, entry.value);
        }
    }
    PutLe32(out, 0);
    return out;
}

// PCX version 5, 8 bits in three planes (RGB), run-length encoded.
inline std::vector<std::uint8_t> PcxFile(int width, int height) {
    const int bytesPerLine = (width + 1) & ~1;
    std::vector<std::uint8_t> out = {0x0A, 5, 1, 8};
    PutLe16(out, 0);
    PutLe16(out, 0);
    PutLe16(out, static_cast<unsigned>(width - 1));
    PutLe16(out, static_cast<unsigned>(height - 1));
    PutLe16(out, 72);
    PutLe16(out, 72);
    out.resize(65, 0); // 48-byte palette and the reserved byte
    out.push_back(3);
    PutLe16(out, static_cast<unsigned>(bytesPerLine));
    PutLe16(out, 1);
    out.resize(128, 0);
    for (int y = 0; y < height; ++y)
        for (int plane = 0; plane < 3; ++plane)
            for (int x = 0; x < bytesPerLine; ++x) {
                const auto value =
                    static_cast<std::uint8_t>(x < width ? TestPixel(x, y) >> (16 - 8 * plane) : 0);
                if (value >= 0xC0)
                    out.push_back(0xC1); // a run of one
                out.push_back(value);
            }
    return out;
}

// WBMP type 0: bit set is white. The pattern's blue bit 4 decides.
inline bool WbmpWhite(int x, int y) {
    return (TestPixel(x, y) & 0x10) != 0;
}
inline std::vector<std::uint8_t> WbmpFile(int width, int height) {
    std::vector<std::uint8_t> out = {0, 0};
    const auto putMultiByte = [&out](unsigned value) {
        if (value >= 0x80)
            out.push_back(static_cast<std::uint8_t>(0x80 | value >> 7));
        out.push_back(static_cast<std::uint8_t>(value & 0x7F));
    };
    putMultiByte(static_cast<unsigned>(width));
    putMultiByte(static_cast<unsigned>(height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; x += 8) {
            std::uint8_t byte = 0;
            for (int bit = 0; bit < 8 && x + bit < width; ++bit)
                byte = static_cast<std::uint8_t>(byte | (WbmpWhite(x + bit, y) ? 0x80 >> bit : 0));
            out.push_back(byte);
        }
    return out;
}

// PSD version 1, RGB, 8 bits per channel, the composite stored plain.
inline std::vector<std::uint8_t> PsdFile(int width, int height) {
    std::vector<std::uint8_t> out = {'8', 'B', 'P', 'S'};
    PutBe16(out, 1);
    out.resize(out.size() + 6, 0);
    PutBe16(out, 3);
    PutBe32(out, static_cast<std::uint32_t>(height));
    PutBe32(out, static_cast<std::uint32_t>(width));
    PutBe16(out, 8);
    PutBe16(out, 3);
    PutBe32(out, 0); // colour mode data
    PutBe32(out, 0); // image resources
    PutBe32(out, 0); // layers and masks
    PutBe16(out, 0); // raw image data
    for (int plane = 0; plane < 3; ++plane)
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                out.push_back(static_cast<std::uint8_t>(TestPixel(x, y) >> (16 - 8 * plane)));
    return out;
}

// The test pictures: one of each format (two TIFFs, LZW and plain), all of kCorpusWidth x
// kCorpusHeight, odd sides so that row padding shows.
constexpr int kCorpusWidth = 45;
constexpr int kCorpusHeight = 31;

enum class Expected { Pattern, Palette, BlackWhite, Approximate };

struct CorpusPicture {
    const wchar_t* name;
    long fileFormat;
    unsigned long pixelFormat;
    Expected pixels;
};

inline const CorpusPicture kCorpus[] = {
    {L"pattern.jpg", 1, 0x01001800, Expected::Approximate},
    {L"pattern.bmp", 2, 0x01001800, Expected::Pattern},
    {L"pattern.png", 3, 0x01042000, Expected::Pattern},
    {L"pattern.tif", 4, 0x01001800, Expected::Pattern},
    {L"lzw.tif", 4, 0x01001800, Expected::Pattern},
    {L"pattern.pcx", 5, 0x01001800, Expected::Pattern},
    {L"pattern.wbmp", 6, 0x12000100, Expected::BlackWhite},
    {L"pattern.gif", 7, 0x00010800, Expected::Palette},
    {L"pattern.psd", 8, 0x01001800, Expected::Pattern},
};

// Writes every picture of kCorpus into `directory`; false when one could not be made.
inline bool WriteCorpus(const ScratchDirectory& directory) {
    const int w = kCorpusWidth, h = kCorpusHeight;
    const auto wic = [&](const wchar_t* name, REFGUID container) {
        return SUCCEEDED(WriteWicPicture(directory.File(name), container, w, h));
    };
    return wic(L"pattern.jpg", GUID_ContainerFormatJpeg) &&
           wic(L"pattern.bmp", GUID_ContainerFormatBmp) &&
           wic(L"pattern.png", GUID_ContainerFormatPng) &&
           wic(L"pattern.tif", GUID_ContainerFormatTiff) &&
           SUCCEEDED(WriteGif(directory.File(L"pattern.gif"), w, h)) &&
           WriteBytes(directory.File(L"lzw.tif"), LzwTiffFile(w, h)) &&
           WriteBytes(directory.File(L"pattern.pcx"), PcxFile(w, h)) &&
           WriteBytes(directory.File(L"pattern.wbmp"), WbmpFile(w, h)) &&
           WriteBytes(directory.File(L"pattern.psd"), PsdFile(w, h));
}

// The colour the corpus picture should show at (x, y).
inline std::uint32_t ExpectedPixel(Expected kind, int x, int y) {
    switch (kind) {
    case Expected::Palette:
        return PaletteColour(PaletteIndex(x, y));
    case Expected::BlackWhite:
        return WbmpWhite(x, y) ? 0xFFFFFFFFu : 0xFF000000u;
    default:
        return TestPixel(x, y);
    }
}

} // namespace orrelux::testing
