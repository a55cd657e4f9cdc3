#include "picker/palette_library.h"

#include "picker/input_codes.h"
#include "picker/picker_window.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <new>

namespace orrelux {

namespace {

constexpr RgbColor kRgbMask = 0x00FFFFFF;
constexpr int kWindowColorIndex = 5; // the system's window colour, behind the cells
constexpr int kMinimumColumns = 16;
// The rings of a selected cell, outside in: the focus outline or this blue, then black.
constexpr RgbColor kSelectedRing = 0x3333FF; // red 0x33, green 0x33, blue 0xFF
constexpr RgbColor kFocusedRing = 0xFFFFFF;
constexpr RgbColor kInnerRing = 0x000000;

Rect Shrunk(const Rect& rect) {
    return Rect{rect.left + 1, rect.top + 1, rect.right - 1, rect.bottom - 1};
}

} // namespace

int PaletteColumnsFor(int colorCount) {
    // The smallest side whose square holds the count; the double root is off by at most one
    // either way, and side * side can't overflow in 64 bits.
    std::int64_t side = static_cast<std::int64_t>(std::sqrt(static_cast<double>(colorCount)));
    while (side * side < colorCount)
        ++side;
    while (side > 0 && (side - 1) * (side - 1) >= colorCount)
        --side;
    return std::max<int>(kMinimumColumns, static_cast<int>(side));
}

void PaintPalettePreview(Surface& surface, const PaletteRecord& record) {
    if (surface.IsEmpty() || record.ColorCount < 1 || !record.Colors)
        return;
    const int width = surface.Width();
    // Entries per column in 16.16. Rounding the step up can carry the last columns past the
    // end, and a huge palette on a narrow strip has no step that fits: the index is held.
    const std::int64_t step = RoundToInt(static_cast<double>(record.ColorCount) / width * 65536.0);
    std::int64_t position = 0;
    for (int x = 0; x < width; ++x) {
        const std::int64_t index =
            std::clamp<std::int64_t>(position >> 16, 0, record.ColorCount - 1);
        surface.FillRect(Rect{x, 0, x + 1, surface.Height()}, record.Colors[index] & kRgbMask);
        position += step;
    }
}

ComboEntryLayout LayoutComboEntry(const Rect& item, int baseUnitX, int fontHeight, int textWidth) {
    ComboEntryLayout layout;
    layout.TextX = item.left + baseUnitX / 4;
    // Centred on the item; the sum is signed and the division truncates.
    layout.TextY = (item.bottom + item.top - fontHeight) / 2;
    const int left = layout.TextX + textWidth + 4;
    const int top = layout.TextY + 1;
    const int width = item.right - left - 4;
    layout.Strip = Rect{left, top, left + width, top + fontHeight - 1};
    return layout;
}

// ---- Loading --------------------------------------------------------------------------------

bool CPickerWindow::LoadPalettes() {
    // A second start without an end in between would otherwise keep stale records.
    ReleasePalettes();
    std::unique_ptr<PaletteSource> paletteObject =
        CreatePaletteSource ? CreatePaletteSource() : nullptr;
    if (paletteObject) {
        // Room for 10 records. A table that can't be made is a load that failed.
        Palettes.reset(new (std::nothrow) PaletteTable);
        PaletteCount = 0;
        if (Palettes) {
            for (const StandardPalette& palette : kStandardPalettes)
                LoadPalette(paletteObject.get(), palette.Type, palette.Name);
        }
    }
    // paletteObject is released here, whatever loaded.
    return PaletteCount >= 1;
}

void CPickerWindow::LoadPalette(PaletteSource* paletteObject, int paletteType,
                                const wchar_t* name) {
    if (!paletteObject || !name || !Palettes || PaletteCount >= kPaletteCapacity)
        return;
    if (paletteObject->LoadStandardPalette(paletteType, 0) < 0)
        return;
    std::int32_t count = 0;
    if (paletteObject->EntryCount(count) < 0 || count <= 0)
        return;
    std::unique_ptr<RgbColor[]> colors(new (std::nothrow)
                                           RgbColor[static_cast<std::size_t>(count)]);
    if (!colors)
        return;

    // A palette that failed left no trace, so the record's position and the palette type are
    // not tied together.
    PaletteRecord& record = (*Palettes)[PaletteCount];
    record = PaletteRecord{};
    record.Index = PaletteCount;
    record.ColorCount = count;
    record.Columns = PaletteColumnsFor(count);
    for (int i = 0; i + 1 < kPaletteNameCapacity && name[i] != L'\0'; ++i)
        record.Name[i] = name[i];
    for (std::int32_t i = 0; i < count; ++i) {
        // An entry that fails stays black; loading goes on.
        colors[i] = 0;
        std::uint32_t entry = 0;
        if (paletteObject->EntryAt(i, entry) >= 0)
            colors[i] = entry & kRgbMask;
    }
    record.Colors = std::move(colors);
    ++PaletteCount;
}

bool CPickerWindow::FillPaletteCombo() {
    PickerHost* host = HostFor(PaletteCombo);
    if (!host)
        return false;
    for (int i = 0; Palettes && i < PaletteCount; ++i) {
        // The combo keeps no strings of its own: each entry carries its record, from which
        // the owner-drawn entry takes name and colours.
        PaletteRecord& record = (*Palettes)[i];
        const int entry = host->AddComboItem(PaletteCombo, record.Name);
        if (entry >= 0)
            host->SetComboItemData(PaletteCombo, entry, reinterpret_cast<std::intptr_t>(&record));
    }
    ClampPaletteIndices(true);
    host->SetComboSelection(PaletteCombo, PaletteIndex);
    PaletteRecord* record = CurrentPalette();
    if (record && !record->GridSurface)
        BuildPaletteGrid(record);
    // Brings a cell index from the properties onto this palette.
    DrawPaletteCell(record, PaletteColorIndex, true, false);
    Refresh(PaletteGridWindow);
    return true;
}

void CPickerWindow::ReleasePalettes() {
    // Each record owns its colours, preview and grid picture.
    Palettes.reset();
    PaletteCount = 0;
}

int CPickerWindow::GetComboPaletteIndex() {
    PickerHost* host = HostFor(PaletteCombo);
    if (!host)
        return 0;
    const int selection = host->GetComboSelection(PaletteCombo);
    if (selection < 0)
        return 0;
    const PaletteRecord* record =
        PaletteRecordFromItemData(host->GetComboItemData(PaletteCombo, selection));
    return record ? record->Index : 0;
}

PaletteRecord* CPickerWindow::PaletteRecordFromItemData(std::intptr_t data) {
    // Compared, never dereferenced: a value that names no loaded record gives null.
    for (int i = 0; Palettes && i < PaletteCount; ++i) {
        if (reinterpret_cast<std::intptr_t>(&(*Palettes)[i]) == data)
            return &(*Palettes)[i];
    }
    return nullptr;
}

PaletteRecord* CPickerWindow::CurrentPalette() {
    if (!Palettes || PaletteIndex < 0 || PaletteIndex >= PaletteCount)
        return nullptr;
    PaletteRecord& record = (*Palettes)[PaletteIndex];
    return record.Colors && record.ColorCount >= 1 ? &record : nullptr;
}

void CPickerWindow::OnPaletteComboChanged() {
    // Leave the old grid clean for when it shows again.
    if (PaletteIndex >= 0) {
        int oldCell = PaletteColorIndex;
        DrawPaletteCell(CurrentPalette(), oldCell, false, false);
    }
    PaletteIndex = GetComboPaletteIndex();
    PaletteRecord* record = CurrentPalette();
    if (record && !record->GridSurface)
        BuildPaletteGrid(record);
    // The cell number carries over, wrapped onto the new palette; then the nearest entry wins.
    DrawPaletteCell(record, PaletteColorIndex, true, IsFocused(PaletteGridWindow));
    SelectNearestPaletteColor(CurrentColor);
    Refresh(PaletteGridWindow);
}

// ---- Grid and previews ----------------------------------------------------------------------

bool CPickerWindow::BuildPaletteGrid(PaletteRecord* record) {
    PickerHost* host = HostFor(PaletteGridWindow);
    Rect client;
    if (!record || !host || !host->GetClientRectIn(PaletteGridWindow, nullptr, client))
        return false;
    int width = client.Width();
    int height = client.Height();
    record->GridSurface = host->CreateWindowSurface(PaletteGridWindow, 0, width, height);
    if (!record->GridSurface)
        return false;
    Surface& pixels = record->GridSurface->Pixels();
    pixels.FillRect(pixels.Bounds(), ColorRefToRgb(host->GetSystemColor(kWindowColorIndex)));

    // Both sides are divided by the column count: the grid has room for as many rows as
    // columns, and rows past the last entry keep the window colour.
    record->Columns = PaletteColumnsFor(record->ColorCount);
    record->CellWidth = width / record->Columns;
    record->CellHeight = height / record->Columns;
    for (int i = 0; i < record->ColorCount; ++i) {
        int cell = i;
        DrawPaletteCell(record, cell, false, false);
    }
    return true;
}

bool CPickerWindow::BuildPalettePreview(PaletteRecord* record, int width, int height) {
    if (!record)
        return false;
    record->PreviewBitmap.reset();
    if (width < 1 || height < 1 || !record->Colors)
        return false;
    std::unique_ptr<SurfaceBuffer> preview;
    try {
        preview = std::make_unique<HeapSurface>(width, height);
    } catch (const std::bad_alloc&) {
        return false; // the entry shows without its strip
    }
    PaintPalettePreview(preview->Pixels(), *record);
    record->PreviewBitmap = std::move(preview);
    record->PreviewWidth = width;
    record->PreviewHeight = height;
    return true;
}

int CPickerWindow::WrapPaletteIndex(const PaletteRecord& record, int index) {
    if (index < 0 || record.ColorCount < 1)
        return 0;
    if (index < record.ColorCount)
        return index;
    const int columns = record.Columns >= 1 ? record.Columns : PaletteColumnsFor(record.ColorCount);
    // Past the end: keep the column and fall to the last row with a cell in it, which may be
    // the short last row.
    const int column = index % columns;
    const int shortRow = record.ColorCount % columns;
    const int fullRows = (record.ColorCount - shortRow) / columns;
    // A palette without a full row has columns with no cell at all: take its last cell.
    if (fullRows == 0 && column >= shortRow)
        return record.ColorCount - 1;
    return columns * (fullRows - 1 + (column < shortRow ? 1 : 0)) + column;
}

void CPickerWindow::DrawPaletteCell(PaletteRecord* record, int& index, bool selected,
                                    bool focused) {
    if (!record || record->ColorCount < 1 || !record->Colors)
        return;
    index = WrapPaletteIndex(*record, index);
    if (!record->GridSurface || record->Columns < 1)
        return;
    const int column = index % record->Columns;
    const int row = index / record->Columns;
    DrawCellFrame(record->GridSurface->Pixels(), record->CellWidth * column,
                  record->CellHeight * row, record->CellWidth, record->CellHeight,
                  record->Colors[index], selected, focused);
}

void CPickerWindow::DrawCellFrame(Surface& surface, int x, int y, int width, int height,
                                  RgbColor color, bool selected, bool focused) {
    // One pixel of window colour stays along the left and top of every cell.
    Rect rect{x + 1, y + 1, x + width, y + height};
    if (!selected) {
        surface.FillRect(rect, color & kRgbMask);
        return;
    }
    if (focused) {
        surface.DrawFocusRect(rect);
        rect = Shrunk(rect);
        surface.FillRect(rect, kFocusedRing);
    } else {
        surface.FillRect(rect, kSelectedRing);
    }
    rect = Shrunk(rect);
    surface.FillRect(rect, kInnerRing);
    rect = Shrunk(rect);
    surface.FillRect(rect, color & kRgbMask);
}

const Surface* CPickerWindow::GetPaletteGridPicture() {
    // Without a palette there is nothing to draw from, even if page 5 was asked for.
    PaletteRecord* record = CurrentPalette();
    if (!record || (!record->GridSurface && !BuildPaletteGrid(record)))
        return nullptr;
    return &record->GridSurface->Pixels();
}

const Surface* CPickerWindow::GetPalettePreview(PaletteRecord& record, int width, int height) {
    if (!record.PreviewBitmap || record.PreviewWidth != width || record.PreviewHeight != height)
        BuildPalettePreview(&record, width, height);
    return record.PreviewBitmap ? &record.PreviewBitmap->Pixels() : nullptr;
}

// ---- Selection ------------------------------------------------------------------------------

int CPickerWindow::PaletteCellFromPoint(int x, int y) {
    ClampPaletteIndices(true);
    const PaletteRecord* record = CurrentPalette();
    if (!record)
        return PaletteColorIndex; // no cell to land on: the selection stays
    if (record->CellWidth < 1 || record->CellHeight < 1)
        return WrapPaletteIndex(*record, PaletteColorIndex);
    // x is held to the grid's columns; a y below the last row lands on the last cell of its
    // column through the wrap.
    x = HoldTo(x, 0, record->Columns * record->CellWidth - 1);
    const std::int64_t index =
        static_cast<std::int64_t>(y / record->CellHeight) * record->Columns + x / record->CellWidth;
    return WrapPaletteIndex(
        *record, static_cast<int>(std::min<std::int64_t>(index, std::numeric_limits<int>::max())));
}

void CPickerWindow::ClampPaletteIndices(bool paletteOnly) {
    // Without palettes there is nothing to hold to; the indices are kept for the next show.
    if (!Palettes || PaletteCount < 1)
        return;
    PaletteIndex = HoldTo(PaletteIndex, 0, PaletteCount - 1);
    if (!paletteOnly)
        PaletteColorIndex = HoldTo(PaletteColorIndex, 0, (*Palettes)[PaletteIndex].ColorCount - 1);
}

void CPickerWindow::SetPaletteColorIndex(int index, bool force) {
    if (index == PaletteColorIndex && !force)
        return;
    int oldCell = PaletteColorIndex;
    DrawPaletteCell(CurrentPalette(), oldCell, false, false);
    PaletteColorIndex = index;
    ClampPaletteIndices(true);
    PaletteRecord* record = CurrentPalette();
    // Wraps PaletteColorIndex onto the palette before its colour is read below.
    DrawPaletteCell(record, PaletteColorIndex, true, IsFocused(PaletteGridWindow));
    Refresh(PaletteGridWindow);
    if (record)
        SetCurrentColor(record->Colors[PaletteColorIndex], false);
}

void CPickerWindow::SelectNearestPaletteColor(RgbColor color) {
    const int palette = GetComboPaletteIndex();
    if (!PaletteLabel || !PaletteCombo || !PaletteGridWindow || !Palettes || PaletteCount < 1 ||
        palette < 0 || palette >= PaletteCount || PaletteColorIndex < 0)
        return;
    const PaletteRecord& record = (*Palettes)[palette];
    if (!record.Colors || record.ColorCount < 1)
        return;
    // The present selection wins a tie; among the others the lowest index does.
    int best = WrapPaletteIndex(record, PaletteColorIndex);
    std::int32_t bestDistance = ColorDistance(color, record.Colors[best]);
    for (int i = 0; i < record.ColorCount; ++i) {
        const std::int32_t distance = ColorDistance(color, record.Colors[i]);
        if (distance < bestDistance) {
            best = i;
            bestDistance = distance;
        }
    }
    // Already the nearest: the colour stays as it is, even if it isn't the entry's.
    if (best != PaletteColorIndex)
        SetPaletteColorIndex(best, false);
}

bool CPickerWindow::OnPaletteGridKeyDown(int key) {
    // 64 bits: a value written to the property while the dialog is open may stand at either
    // end of the int range.
    std::int64_t index = PaletteColorIndex;
    if (const PaletteRecord* record = CurrentPalette()) {
        const int columns = record->Columns;
        switch (key) {
        case kVkLeft:
            index = std::max<std::int64_t>(index - 1, 0);
            break;
        case kVkUp:
            if (index - columns >= 0)
                index -= columns;
            break;
        case kVkRight:
            index = std::min<std::int64_t>(index + 1, record->ColorCount - 1);
            break;
        case kVkDown:
            if (index + columns < record->ColorCount)
                index += columns;
            break;
        default:
            break;
        }
    }
    SetPaletteColorIndex(static_cast<int>(index), false);
    return true; // the grid consumes every key that reaches it
}

bool CPickerWindow::OnPaletteGridFocusChange() {
    // Redraws the selected cell with or without the focus outline, and takes its colour.
    SetPaletteColorIndex(PaletteColorIndex, true);
    return false;
}

} // namespace orrelux
