// Sample pictures for the FileDialog demo, made on the spot: one of every format the pane knows
// (JPEG, BMP, PNG, TIFF and GIF through the system's WIC encoders; PCX, WBMP and PSD byte by
// byte), a PNG with a soft transparent edge, a portrait photo stored as a landscape JPEG with
// the EXIF orientation 6 (turn 90 degrees clockwise to view), and one damaged JPEG.
#pragma once

#include <windows.h>
#include <wincodec.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/handles.h"

namespace demo {

using orrelux::ComPtr;

// A landscape of soft bands under a sun: 0xAARRGGBB. `alpha` fades the corners out.
inline std::uint32_t ScenePixel(int x, int y, int width, int height, bool alpha) {
    const double u = static_cast<double>(x) / width;
    const double v = static_cast<double>(y) / height;
    const double sunX = 0.68, sunY = 0.34;
    const double sun = std::hypot(u - sunX, (v - sunY) * height / width);
    double r = 40 + 180 * (1 - v), g = 70 + 120 * (1 - v) * u, b = 150 + 90 * v;
    if (v > 0.62) { // the hills
        const double shade = 0.5 + 0.5 * std::sin(u * 9 + v * 4);
        r = 40 + 40 * shade;
        g = 110 + 70 * shade;
        b = 50 + 20 * shade;
    } else if (sun < 0.12) {
        r = 255;
        g = 214 - 200 * sun;
        b = 90;
    }
    std::uint32_t a = 0xFF;
    if (alpha) {
        const double edge = std::hypot(u - 0.5, v - 0.5) * 2;
        a = edge >= 1 ? 0 : static_cast<std::uint32_t>(255 * (1 - edge * edge));
    }
    const auto c = [](double value) {
        return static_cast<std::uint32_t>(value < 0 ? 0 : value > 255 ? 255 : value);
    };
    return a << 24 | c(r) << 16 | c(g) << 8 | c(b);
}

inline bool WriteBytes(const std::wstring& path, const std::vector<std::uint8_t>& bytes) {
    const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    const orrelux::UniqueKernelHandle owned(file);
    DWORD written = 0;
    return ::WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
           written == bytes.size();
}

inline std::vector<std::uint8_t> ReadBytes(const std::wstring& path) {
    std::vector<std::uint8_t> bytes;
    const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return bytes;
    const orrelux::UniqueKernelHandle owned(file);
    bytes.resize(::GetFileSize(file, nullptr));
    DWORD read = 0;
    if (!::ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr))
        read = 0;
    bytes.resize(read);
    return bytes;
}

// One frame through a WIC encoder: BGRA rows, or 8-bit indices with a palette.
inline bool EncodeWithWic(const std::wstring& path, REFGUID container, int width, int height,
                          bool alpha) {
    ComPtr<IWICImagingFactory> factory;
    HRESULT status = ::CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                        IID_IWICImagingFactory, factory.PutVoid());
    const bool indexed = container == GUID_ContainerFormatGif;
    WICPixelFormatGUID format = indexed ? GUID_WICPixelFormat8bppIndexed
                                : alpha ? GUID_WICPixelFormat32bppBGRA
                                        : GUID_WICPixelFormat24bppBGR;
    const UINT bytesPerPixel = indexed ? 1 : alpha ? 4 : 3;
    const UINT stride = (width * bytesPerPixel + 3) & ~3u;
    std::vector<std::uint8_t> rows(static_cast<std::size_t>(stride) * height);
    std::vector<WICColor> palette;
    if (indexed) // 6 x 6 x 6 colour cube
        for (int i = 0; i < 216; ++i)
            palette.push_back(0xFF000000u | (i / 36 * 51) << 16 | (i / 6 % 6 * 51) << 8 |
                              (i % 6 * 51));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const std::uint32_t pixel = ScenePixel(x, y, width, height, alpha);
            std::uint8_t* out = rows.data() + static_cast<std::size_t>(y) * stride +
                                static_cast<std::size_t>(x) * bytesPerPixel;
            if (indexed) {
                const auto level = [pixel](int shift) {
                    return ((pixel >> shift & 0xFF) + 25) / 51;
                };
                *out = static_cast<std::uint8_t>(level(16) * 36 + level(8) * 6 + level(0));
            } else {
                for (UINT c = 0; c < bytesPerPixel; ++c)
                    out[c] = static_cast<std::uint8_t>(pixel >> (8 * c));
            }
        }
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
    if (SUCCEEDED(status))
        status = frame->SetPixelFormat(&format);
    if (SUCCEEDED(status) && indexed) {
        ComPtr<IWICPalette> colours;
        status = factory->CreatePalette(colours.Put());
        if (SUCCEEDED(status))
            status = colours->InitializeCustom(palette.data(), static_cast<UINT>(palette.size()));
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
    return SUCCEEDED(status);
}

inline void PutLe16(std::vector<std::uint8_t>& out, unsigned value) {
    out.push_back(static_cast<std::uint8_t>(value));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
}
inline void PutBe16(std::vector<std::uint8_t>& out, unsigned value) {
    out.push_back(static_cast<std::uint8_t>(value >> 8));
    out.push_back(static_cast<std::uint8_t>(value));
}
inline void PutBe32(std::vector<std::uint8_t>& out, std::uint32_t value) {
    PutBe16(out, value >> 16);
    PutBe16(out, value & 0xFFFF);
}

// The byte of channel `shift` (16 red, 8 green, 0 blue) of the scene.
inline std::uint8_t SceneChannel(int x, int y, int width, int height, int shift) {
    return static_cast<std::uint8_t>(ScenePixel(x, y, width, height, false) >> shift);
}

// PCX version 5: 8 bits in three planes, run-length encoded.
inline std::vector<std::uint8_t> PcxFile(int width, int height) {
    const int bytesPerLine = (width + 1) & ~1;
    std::vector<std::uint8_t> out = {0x0A, 5, 1, 8};
    for (unsigned value : {0u, 0u, unsigned(width - 1), unsigned(height - 1), 72u, 72u})
        PutLe16(out, value);
    out.resize(65, 0);
    out.push_back(3);
    PutLe16(out, static_cast<unsigned>(bytesPerLine));
    PutLe16(out, 1);
    out.resize(128, 0);
    for (int y = 0; y < height; ++y)
        for (int shift : {16, 8, 0})
            for (int x = 0; x < bytesPerLine;) {
                const std::uint8_t value = x < width ? SceneChannel(x, y, width, height, shift) : 0;
                int run = 1;
                while (run < 63 && x + run < bytesPerLine &&
                       (x + run < width ? SceneChannel(x + run, y, width, height, shift) : 0) ==
                           value)
                    ++run;
                if (run > 1 || value >= 0xC0)
                    out.push_back(static_cast<std::uint8_t>(0xC0 | run));
                out.push_back(value);
                x += run;
            }
    return out;
}

// WBMP type 0: one bit per pixel, set is white; the scene through a threshold.
inline std::vector<std::uint8_t> WbmpFile(int width, int height) {
    std::vector<std::uint8_t> out = {0, 0};
    for (unsigned value : {unsigned(width), unsigned(height)}) {
        if (value >= 0x80)
            out.push_back(static_cast<std::uint8_t>(0x80 | value >> 7));
        out.push_back(static_cast<std::uint8_t>(value & 0x7F));
    }
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; x += 8) {
            std::uint8_t byte = 0;
            for (int bit = 0; bit < 8 && x + bit < width; ++bit) {
                const int bright = SceneChannel(x + bit, y, width, height, 16) +
                                   SceneChannel(x + bit, y, width, height, 8);
                // Ordered dither against a 2 x 2 matrix.
                const int threshold = 100 + 130 * (((x + bit) & 1) * 2 + (y & 1));
                if (bright > threshold)
                    byte = static_cast<std::uint8_t>(byte | 0x80 >> bit);
            }
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
    for (int section = 0; section < 3; ++section)
        PutBe32(out, 0); // colour mode data, image resources, layers and masks
    PutBe16(out, 0);     // raw image data
    for (int shift : {16, 8, 0})
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                out.push_back(SceneChannel(x, y, width, height, shift));
    return out;
}

// An APP1 segment with an EXIF directory of one entry, the orientation, put behind the JPEG's
// start-of-image marker.
inline bool AddExifOrientation(const std::wstring& path, unsigned orientation) {
    std::vector<std::uint8_t> jpeg = ReadBytes(path);
    if (jpeg.size() < 4 || jpeg[0] != 0xFF || jpeg[1] != 0xD8)
        return false;
    std::vector<std::uint8_t> app1 = {0xFF, 0xE1, 0, 0, 'E', 'x', 'i', 'f', 0, 0};
    const std::vector<std::uint8_t> tiff = {'I',
                                            'I',
                                            42,
                                            0,
                                            8,
                                            0,
                                            0,
                                            0, // header, IFD at 8
                                            1,
                                            0, // one entry
                                            0x12,
                                            0x01,
                                            3,
                                            0,
                                            1,
                                            0,
                                            0,
                                            0, // 274, SHORT, 1
                                            static_cast<std::uint8_t>(orientation),
                                            0,
                                            0,
                                            0,
                                            0,
                                            0,
                                            0,
                                            0}; // no next directory
    app1.insert(app1.end(), tiff.begin(), tiff.end());
    const std::size_t length = app1.size() - 2;
    app1[2] = static_cast<std::uint8_t>(length >> 8);
    app1[3] = static_cast<std::uint8_t>(length);
    jpeg.insert(jpeg.begin() + 2, app1.begin(), app1.end());
    return WriteBytes(path, jpeg);
}

// Writes the samples into `folder` (made if missing); the names of what could not be made.
inline std::vector<std::wstring> WriteSamples(const std::wstring& folder) {
    ::CreateDirectoryW(folder.c_str(), nullptr);
    const auto at = [&folder](const wchar_t* name) { return folder + L"\\" + name; };
    std::vector<std::wstring> failed;
    const auto check = [&failed](bool made, const wchar_t* name) {
        if (!made)
            failed.push_back(name);
    };
    check(EncodeWithWic(at(L"sunset.jpg"), GUID_ContainerFormatJpeg, 640, 400, false),
          L"sunset.jpg");
    // A portrait photo as a camera stores it: the sensor's landscape rows, and the EXIF
    // orientation that turns them upright.
    check(EncodeWithWic(at(L"portrait.jpg"), GUID_ContainerFormatJpeg, 480, 320, false) &&
              AddExifOrientation(at(L"portrait.jpg"), 6),
          L"portrait.jpg");
    check(EncodeWithWic(at(L"hills.bmp"), GUID_ContainerFormatBmp, 300, 200, false), L"hills.bmp");
    check(EncodeWithWic(at(L"glass.png"), GUID_ContainerFormatPng, 256, 256, true), L"glass.png");
    check(EncodeWithWic(at(L"scan.tif"), GUID_ContainerFormatTiff, 400, 300, false), L"scan.tif");
    check(EncodeWithWic(at(L"cube.gif"), GUID_ContainerFormatGif, 240, 160, false), L"cube.gif");
    check(WriteBytes(at(L"paint.pcx"), PcxFile(320, 240)), L"paint.pcx");
    check(WriteBytes(at(L"mono.wbmp"), WbmpFile(200, 120)), L"mono.wbmp");
    check(WriteBytes(at(L"layers.psd"), PsdFile(160, 200)), L"layers.psd");
    // The start of a JPEG and then noise: the header promises a picture that is not there.
    std::vector<std::uint8_t> broken = {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 'J', 'F', 'I', 'F'};
    for (int i = 0; i < 700; ++i)
        broken.push_back(static_cast<std::uint8_t>(i * 37 + 11));
    check(WriteBytes(at(L"broken.jpg"), broken), L"broken.jpg");
    return failed;
}

} // namespace demo
