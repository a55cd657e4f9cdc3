#include "picker/win/dib_surface.h"

namespace orrelux {

std::unique_ptr<DibSurface> DibSurface::Create(HWND window, int width, int height) {
    if (width <= 0 || height <= 0)
        return nullptr;
    WindowDC screen(window);
    if (!screen)
        return nullptr;
    std::unique_ptr<DibSurface> surface(new DibSurface());
    surface->context_.Reset(::CreateCompatibleDC(screen.Get()));
    if (!surface->context_)
        return nullptr;
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height; // top-down: row 0 is the top row, as on the surface
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    surface->bitmap_.Reset(
        ::CreateDIBSection(screen.Get(), &info, DIB_RGB_COLORS, &bits, nullptr, 0));
    if (!surface->bitmap_ || !bits)
        return nullptr;
    surface->displaced_ = ::SelectObject(surface->context_.Get(), surface->bitmap_.Get());
    if (!surface->displaced_)
        return nullptr;
    // GDI may still be batching work on the section: flush before the pixels are ours.
    ::GdiFlush();
    surface->Attach(static_cast<Pixel*>(bits), width, height);
    surface->Pixels().FillRect(surface->Pixels().Bounds(), 0);
    return surface;
}

DibSurface::~DibSurface() {
    if (displaced_)
        ::SelectObject(context_.Get(), displaced_);
}

} // namespace orrelux
