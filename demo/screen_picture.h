// Saves what the screen shows of a window as a 24-bit BMP file: the demos' screenshots.
#pragma once

#include <windows.h>

#include <cstdio>
#include <string>

#include "platform/handles.h"

namespace demo {

inline bool SaveWindowPicture(HWND window, const std::wstring& path) {
    RECT bounds;
    if (!::GetWindowRect(window, &bounds))
        return false;
    const int width = bounds.right - bounds.left;
    const int height = bounds.bottom - bounds.top;
    orrelux::WindowDC screen(nullptr);
    orrelux::UniqueMemoryDC memory(::CreateCompatibleDC(screen.Get()));
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = height; // bottom-up, as a BMP file stores it
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 24;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    orrelux::UniqueBitmap bitmap(
        ::CreateDIBSection(screen.Get(), &info, DIB_RGB_COLORS, &bits, nullptr, 0));
    if (!memory || !bitmap || !bits)
        return false;
    {
        orrelux::SelectGuard select(memory.Get(), bitmap.Get());
        ::BitBlt(memory.Get(), 0, 0, width, height, screen.Get(), bounds.left, bounds.top, SRCCOPY);
    }
    ::GdiFlush();
    const DWORD rowBytes = ((width * 3 + 3) / 4) * 4;
    const DWORD imageBytes = rowBytes * height;
    BITMAPFILEHEADER file = {};
    file.bfType = 0x4D42; // "BM"
    file.bfOffBits = sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER);
    file.bfSize = file.bfOffBits + imageBytes;
    FILE* out = ::_wfopen(path.c_str(), L"wb");
    if (!out)
        return false;
    info.bmiHeader.biSizeImage = imageBytes;
    const bool written = std::fwrite(&file, sizeof(file), 1, out) == 1 &&
                         std::fwrite(&info.bmiHeader, sizeof(info.bmiHeader), 1, out) == 1 &&
                         std::fwrite(bits, imageBytes, 1, out) == 1;
    std::fclose(out);
    return written;
}

} // namespace demo
