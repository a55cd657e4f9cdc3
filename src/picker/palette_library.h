// The palette page of the colour picker: the loaded palettes, their source and their pictures.
//
// The palettes come from the imaging engine's palette object, which the picker reaches only
// through PaletteSource: three calls with statuses, negative on failure. The object is created
// afresh at each dialog start by a factory that the window shell installs on the picker (on
// Windows a CoCreateInstance of the engine's palette class behind an adapter that runs each call
// under a catch-all); an empty factory, or one that gives nothing, is an engine that isn't
// installed, and the picker then runs without its palette page. The object lives only while
// LoadPalettes runs: destroying the PaletteSource releases it.
//
// The grid and the combo box previews are pixel surfaces (surface.h) owned by their record;
// the shell block-copies them. The operations that move the selection are members of
// CPickerWindow (picker_window.h) and live in palette_library.cpp.
#pragma once

#include "colour/colour_values.h"
#include "picker/surface.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>

namespace orrelux {

constexpr int kPaletteCapacity = 10;      // records in the palette table
constexpr int kPaletteNameCapacity = 260; // characters of a record's name, terminator included

// The engine's palette object, in the order of its interface. Every call returns a status that
// is negative on failure; out-parameters are only read after a success.
class PaletteSource {
public:
    using Status = std::int32_t;

    // Releases the engine object.
    virtual ~PaletteSource() = default;

    // Entries of the palette the object holds now.
    virtual Status EntryCount(std::int32_t& count) = 0;
    // One entry as 0xAARRGGBB; the picker uses the low 24 bits only.
    virtual Status EntryAt(std::int32_t index, std::uint32_t& color) = 0;
    // Makes the object hold a standard palette; reserved is always 0.
    virtual Status LoadStandardPalette(std::int32_t paletteType, std::int32_t reserved) = 0;
};

// Creates the engine's palette object for one load, or gives null when the engine isn't there.
using PaletteSourceFactory = std::function<std::unique_ptr<PaletteSource>()>;

// The standard palettes, in loading order, with the names the combo box shows.
struct StandardPalette {
    std::int32_t Type;
    const wchar_t* Name;
};
constexpr std::array<StandardPalette, 3> kStandardPalettes{{
    {2, L"WebSafe"},
    {3, L"Windows"},
    {4, L"Mac"},
}};

// One loaded palette with its grid and its combo box preview.
struct PaletteRecord {
    int Index = 0;                      // own position in the table; the combo gives it back
    int ColorCount = 0;                 // at least 1 once loaded
    std::unique_ptr<RgbColor[]> Colors; // ColorCount entries, top byte 0
    wchar_t Name[kPaletteNameCapacity] = {};
    // The colour strip of the combo box entry, made at its first draw or when its size changes.
    std::unique_ptr<SurfaceBuffer> PreviewBitmap;
    int PreviewWidth = 0;
    int PreviewHeight = 0;
    // Off-screen picture of the grid, made when the palette is first shown. On Windows the
    // buffer owns the memory context and selects the displaced bitmap back when destroyed.
    std::unique_ptr<SurfaceBuffer> GridSurface;
    int CellWidth = 0; // pixels per cell
    int CellHeight = 0;
    int Columns = 0; // cells per row; set at load, so the keys and the wrap work without a grid
};

using PaletteTable = std::array<PaletteRecord, kPaletteCapacity>;

// Cells per row for a palette: the square root of the count rounded upwards, at least 16, so
// 216 and 256 entries give 16 and 300 give 18.
int PaletteColumnsFor(int colorCount);

// The combo box preview: the palette sampled evenly from left to right, one vertical line of
// the surface per sample.
void PaintPalettePreview(Surface& surface, const PaletteRecord& record);

// Where a combo box entry puts its name and its colour strip, from the item rectangle, the
// horizontal dialog base unit, the font height and the measured width of the name.
struct ComboEntryLayout {
    int TextX = 0;
    int TextY = 0;
    Rect Strip; // may be empty when the name fills the item
};
ComboEntryLayout LayoutComboEntry(const Rect& item, int baseUnitX, int fontHeight, int textWidth);

} // namespace orrelux
