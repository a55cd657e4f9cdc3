#include "filedialog/win/preview_bitmap.h"

#include "filedialog/preview_drawing.h"

namespace orrelux::filedialog {

namespace {

// The draw operation and flags that the pane asks of the engine: the picture replaces what lies
// under it (kEngineDrawCopy), alpha blended over the background and area-averaged where the
// engine scales (kEngineDrawBlend | kEngineDrawSmooth). The picture comes fitted to the pane, so
// in practice nothing is scaled here.
constexpr LONG kPaneDrawOperation = engine::kEngineDrawCopy;
constexpr LONG kPaneDrawFlags = engine::kEngineDrawBlend | engine::kEngineDrawSmooth;
static_assert(kPaneDrawOperation == 1 && kPaneDrawFlags == 3, "the pane draws with 1 and 3");

BITMAPINFO TopDownFormat(int width, int height) {
    BITMAPINFO format = {};
    format.bmiHeader.biSize = sizeof(format.bmiHeader);
    format.bmiHeader.biWidth = width;
    format.bmiHeader.biHeight = -height; // top-down: row 0 first, as on a Surface
    format.bmiHeader.biPlanes = 1;
    format.bmiHeader.biBitCount = 32;
    format.bmiHeader.biCompression = BI_RGB;
    return format;
}

// The device handle as the engine's interface carries it: 32 bits, which is all that a GDI
// handle uses on 64-bit Windows as well (the engine sign-extends it back).
LONG HandleValue(HDC dc) {
    return static_cast<LONG>(reinterpret_cast<LONG_PTR>(dc));
}

} // namespace

UniqueBitmap CreatePreviewBitmap(int width, int height) {
    if (width < 1 || height < 1)
        return UniqueBitmap();
    const WindowDC screen(nullptr);
    if (!screen)
        return UniqueBitmap();
    const BITMAPINFO format = TopDownFormat(width, height);
    void* bits = nullptr;
    UniqueBitmap bitmap(
        ::CreateDIBSection(screen.Get(), &format, DIB_RGB_COLORS, &bits, nullptr, 0));
    if (!bitmap || !bits)
        return UniqueBitmap();
    ::GdiFlush();
    Surface(static_cast<Pixel*>(bits), width, height).FillRect(Rect{0, 0, width, height}, 0);
    return bitmap;
}

PreviewPixels::PreviewPixels(HBITMAP bitmap) : bitmap_(bitmap) {
    if (!bitmap_)
        return;
    // Whatever GDI still batches for this thread reaches the bits before they are touched.
    ::GdiFlush();
    DIBSECTION section = {};
    const int answered = ::GetObjectW(bitmap_, sizeof(section), &section);
    if (answered == sizeof(section) && section.dsBm.bmBits && section.dsBm.bmBitsPixel == 32 &&
        section.dsBmih.biHeight < 0 && section.dsBmih.biCompression == BI_RGB) {
        pixels_ = Surface(static_cast<Pixel*>(section.dsBm.bmBits), section.dsBm.bmWidth,
                          section.dsBm.bmHeight);
        return;
    }
    // Any other bitmap: a heap copy in the surface's layout, read and written whole.
    BITMAP facts = {};
    if (::GetObjectW(bitmap_, sizeof(facts), &facts) != sizeof(facts) || facts.bmWidth < 1 ||
        facts.bmHeight < 1)
        return;
    auto copy = std::make_unique<HeapSurface>(facts.bmWidth, facts.bmHeight);
    BITMAPINFO format = TopDownFormat(facts.bmWidth, facts.bmHeight);
    const WindowDC screen(nullptr);
    if (!screen || ::GetDIBits(screen.Get(), bitmap_, 0, static_cast<UINT>(facts.bmHeight),
                               copy->Pixels().Row(0), &format, DIB_RGB_COLORS) == 0)
        return;
    pixels_ = copy->Pixels();
    copy_ = std::move(copy);
}

PreviewPixels::~PreviewPixels() {
    if (!copy_ || pixels_.IsEmpty())
        return;
    BITMAPINFO format = TopDownFormat(pixels_.Width(), pixels_.Height());
    const WindowDC screen(nullptr);
    if (screen)
        ::SetDIBits(screen.Get(), bitmap_, 0, static_cast<UINT>(pixels_.Height()), pixels_.Row(0),
                    &format, DIB_RGB_COLORS);
}

bool DrawEmptyPicture(HBITMAP bitmap, int width, int height, ColorRef backColor, bool crossed) {
    PreviewPixels target(bitmap);
    if (target.Pixels().IsEmpty())
        return true;
    // The lines join the corners of the pane's measured size; the bitmap was made at that size,
    // and a pixel beyond it would be dropped by the surface.
    filedialog::DrawEmptyPicture(target.Pixels(), width, height, backColor, crossed);
    return true;
}

HRESULT DrawFramedPicture(IEngineBitmap* engine, HBITMAP bitmap, int previewWidth,
                          int previewHeight, int pictureWidth, int pictureHeight) {
    const Rect place = PlacePicture(previewWidth, previewHeight, pictureWidth, pictureHeight);
    {
        PreviewPixels target(bitmap);
        if (!target.Pixels().IsEmpty())
            DrawPictureFrame(target.Pixels(), place);
    }
    const UniqueMemoryDC memory(::CreateCompatibleDC(nullptr));
    if (!memory)
        return E_FAIL;
    const SelectGuard selected(memory.Get(), bitmap);
    if (!selected)
        return E_FAIL;
    const HRESULT drawn =
        engine->Draw(HandleValue(memory.Get()), place.left, place.top, pictureWidth, pictureHeight,
                     0.0, 0.0, pictureWidth, pictureHeight, kPaneDrawOperation, kPaneDrawFlags);
    // The engine drew on this thread: its batched calls reach the bits before another thread
    // copies them to the screen.
    ::GdiFlush();
    return drawn;
}

} // namespace orrelux::filedialog
