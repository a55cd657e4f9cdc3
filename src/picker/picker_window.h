// CPickerWindow: the state and colour flow of the colour picker behind ColorDialog.
//
// One object holds the working colour, the page, the palette selection and all view state of
// the six-page picker. Every change of colour ends in SetCurrentColor or SetCurrentColorHsb,
// which bring the swatches, the entry fields, the plane, the strip and the markers into step in
// a fixed order. Window effects go through Host (picker_host.h). While no dialog runs, every
// window handle is null and Host is null: each view operation tests its handle and does
// nothing, and the state machine still runs, which is what a property write between two shows
// relies on.
//
// Threads: the picker belongs to the client's thread that calls Show and runs the modal loop;
// there is no other. It has no locks. What it must survive is re-entrancy: writing an edit
// sends its change notification straight back into the picker, and an Apply handler can call
// any property. Every operation therefore leaves the fields consistent before it calls out.
#pragma once

#include "colour/colour_values.h"
#include "picker/palette_library.h"
#include "picker/picker_host.h"
#include "picker/plane_geometry.h"
#include "picker/plane_rendering.h"
#include "picker/pointer_input.h"
#include "picker/surface.h"

#include <array>
#include <cstdint>
#include <memory>

namespace orrelux {

// Receives the picker's only call back into its component.
class PickerOwner {
public:
    // Fires the Apply event, synchronously; the handler may write properties re-entrantly.
    virtual void FireApply() = 0;

protected:
    ~PickerOwner() = default;
};

constexpr int kTitleCapacity = 260; // characters, terminator not included
constexpr int kNoMarker = -10;      // a marker position of -10 means no marker is drawn
constexpr int kPageCount = 6;       // pages 0 to 5; page 5 is the palette page
constexpr int kPalettePage = 5;

// A control whose messages run through one of the picker's message maps. The shell does the
// routing; the record says which control is attached to which map.
struct ControlHook {
    int Map = 0;
    WindowHandle Control = nullptr; // null while detached
};

class CPickerWindow {
public:
    // buttonFace is the system's button face colour, the background until the dialog reads the
    // tab strip's own; the Win32 component passes GetSysColor(COLOR_BTNFACE).
    explicit CPickerWindow(ColorRef buttonFace = 0xC0C0C0);

    CPickerWindow(const CPickerWindow&) = delete;
    CPickerWindow& operator=(const CPickerWindow&) = delete;

    // ---- Colour flow --------------------------------------------------------------------
    bool SetCurrentColor(RgbColor color, bool force);
    // hue 0..360, saturation and brightness 0..0x10000.
    void SetCurrentColorHsb(int hue, int saturation, int brightness);
    void UpdateNewSwatch(RgbColor color);
    void UpdateOldSwatch(RgbColor color);
    bool PlacePlaneMarkerForColor(RgbColor color);
    void PlaceStripMarkerForColor(RgbColor color);
    bool SetActivePage(int page);
    bool ShowPageControls();
    bool EnsurePlaneSurface();
    bool EnsureStripSurface();
    bool SelectTab(int index);

    // ---- Views --------------------------------------------------------------------------
    // A hue, saturation or brightness below 0 stands for the value of CurrentColor. False when
    // there is no window or surface to paint on.
    bool RepaintPlane(int hue, int saturation, int brightness);
    bool RepaintStrip(int hue, int saturation);
    // True when the page has a plane; false on the palette page.
    bool PlacePlaneMarker(int hue, int saturation, int brightness);
    void PlaceStripMarker(int hue, int saturation, int brightness);
    void MovePlaneMarker(int x, int y);
    void MoveStripMarker(int row);
    void InvertPlaneMarker(int x, int y);
    void InvertStripMarker(int y);
    void DrawPlaneFocus();
    void DrawStripFocus();

    // ---- Entry fields -------------------------------------------------------------------
    void UpdateChannelFields(RgbColor color);
    bool UpdateHexField(RgbColor color);
    bool WriteChannelField(WindowHandle edit, int value);
    int ReadChannelField(WindowHandle edit);
    RgbColor ReadChannelFields();
    RgbColor ReadHexField();
    // The edits' EN_UPDATE notifications.
    void OnChannelFieldChanged(WindowHandle edit);
    void OnHexFieldChanged(WindowHandle edit);
    // The up-down control beside a decimal field, made at dialog start; null on failure.
    WindowHandle CreateChannelSpin(WindowHandle edit, int identifier, int width);

    // ---- Palette page (palette_library.cpp) ---------------------------------------------
    // Loading, at dialog start: true if at least one palette loaded.
    bool LoadPalettes();
    // Fills the next record from the object's standard palette, or leaves the table alone.
    void LoadPalette(PaletteSource* paletteObject, int paletteType, const wchar_t* name);
    // Fills the combo box, selects the palette and prepares its grid; false without a combo.
    bool FillPaletteCombo();
    // At dialog end: every record with its pictures, then the table.
    void ReleasePalettes();
    // The Index of the combo box's selected record; 0 without combo or selection.
    int GetComboPaletteIndex();
    // The record whose address a combo box entry carries; null for any other value.
    PaletteRecord* PaletteRecordFromItemData(std::intptr_t data);
    void OnPaletteComboChanged(); // CBN_SELCHANGE of the combo box

    // Grid and previews.
    bool BuildPaletteGrid(PaletteRecord* record);
    bool BuildPalettePreview(PaletteRecord* record, int width, int height);
    // Brings any index onto a cell of the record; an index past the end keeps its column.
    static int WrapPaletteIndex(const PaletteRecord& record, int index);
    // Draws one cell into the record's grid and wraps the index in place, also when the grid
    // couldn't be made, so that the index can always be used on the record's colours.
    void DrawPaletteCell(PaletteRecord* record, int& index, bool selected, bool focused);
    static void DrawCellFrame(Surface& surface, int x, int y, int width, int height, RgbColor color,
                              bool selected, bool focused);
    // What the shell copies to the screen at the owner-draw requests; null when there is
    // nothing to show. Each makes its picture first if needed.
    const Surface* GetPaletteGridPicture();
    const Surface* GetPalettePreview(PaletteRecord& record, int width, int height);

    // Selection.
    int PaletteCellFromPoint(int x, int y); // grid client coordinates
    void ClampPaletteIndices(bool paletteOnly);
    void SetPaletteColorIndex(int index, bool force);
    void SelectNearestPaletteColor(RgbColor color);
    // The grid's WM_KEYDOWN, always consumed (true), and its WM_SETFOCUS / WM_KILLFOCUS, left
    // to default handling too (false). Results: handled.
    bool OnPaletteGridKeyDown(int key);
    bool OnPaletteGridFocusChange();

    // ---- Pointer and keys (pointer_input.cpp) -------------------------------------------
    // The dialog's WM_LBUTTONDOWN, WM_MOUSEMOVE and WM_LBUTTONUP; x and y are the signed
    // position in dialog client coordinates (PositionFromMessage). All report handled.
    bool OnButtonDown(std::uint32_t keyFlags, int x, int y);
    bool OnPointerMove(std::uint32_t keyFlags, int x, int y);
    bool OnButtonUp();
    // One drag step, in the control's client coordinates.
    void PlanePointerAt(int x, int y);
    void StripPointerAt(int x, int y);
    void PaletteGridPointerAt(int x, int y);
    // WM_KEYDOWN, WM_SETFOCUS and WM_KILLFOCUS of plane and strip: never handled, so that the
    // control's own procedure runs too.
    bool OnPlaneKeyDown(int key);
    bool OnStripKeyDown(int key);
    bool OnPlaneFocusChange();
    bool OnStripFocusChange();
    // WM_GETDLGCODE of plane, strip and grid: always handled, with this result.
    int OnGetDlgCode();
    // TCN_SELCHANGE of the tab strip; handled.
    bool OnTabSelectionChanged();

    // ---- Client surface, used by the ColorDialog component ------------------------------
    void PrepareForShow(PickerOwner* owner, std::uint32_t color, int page, int paletteIndex,
                        int paletteColorIndex);
    std::uint32_t GetResultColor() const { return ResultColor; }
    void SetResultColor(std::uint32_t color);
    int GetActivePage() const { return ActivePage; }
    int GetPaletteIndex() const { return PaletteIndex; }
    int GetPaletteColorIndex() const { return PaletteColorIndex; }
    // Store only: the value is brought into range at the next dialog start.
    void SetPaletteIndexField(int index) { PaletteIndex = index; }
    void SetPaletteColorIndexField(int index) { PaletteColorIndex = index; }
    const wchar_t* GetTitle() const { return Title; }
    void SetTitle(const wchar_t* text);
    bool GetApplyButtonVisible() const { return ApplyButtonVisible; }
    void SetApplyButtonVisible(bool visible);
    WindowHandle GetDialogWindow() const { return DialogWindow; }

    // ---- Dialog start and end (the shell sets Host and DialogHandle first) ---------------
    // WM_INITDIALOG: finds the controls, loads the palettes, builds the tabs and shows the
    // colour. Any missing control or rectangle ends the dialog with result 0 and gives false.
    bool OnInitDialog();
    // WM_DESTROY: releases the tab images, surfaces and palettes and forgets every window, so
    // that the closed state holds again. Colour, page, palette indices, Title and
    // ApplyButtonVisible stay for the next show.
    void OnDestroy();
    // The six page pictures in an image list for the tab strip.
    bool CreateTabImages();
    // Tabs 0 to 4, and 5 only when a palette loaded; square tabs of the strip's own height.
    void InitTabs();

    // ---- Dialog results -----------------------------------------------------------------
    void OnOk();
    void OnCancel();
    void OnApply();

    // ---- Fields -------------------------------------------------------------------------
    // Every field is owned by the client's thread that runs Show. The shell fills the window
    // fields at dialog start and clears them at its end; the component uses the operations
    // above. Initial values are those of a picker that has never shown a dialog.

    // Window services; set by the shell for the life of a dialog, null while closed. Not owned.
    PickerHost* Host = nullptr;
    // Creates the imaging engine's palette object at each dialog start; installed by the shell.
    // Empty, or giving null, when the engine isn't installed: the picker then has no page 5.
    PaletteSourceFactory CreatePaletteSource;

    // Dialog and palettes (caller's thread).
    WindowHandle DialogHandle = nullptr;
    std::unique_ptr<PaletteTable> Palettes; // allocated at each dialog start, freed at its end
    int PaletteCount = 0;
    int PaletteIndex = 0;
    int PaletteColorIndex = 0;

    // Colours and page (caller's thread).
    RgbColor CurrentColor = 0xFFFFFFFF;     // top byte 0 after the first SetCurrentColor
    std::uint32_t ResultColor = 0xFFFFFFFF; // what the client reads; may carry alpha 0xFF
    int ActivePage = 0;
    RgbColor CubeAxisColor = 0;

    // Controls, null while closed (caller's thread). DialogWindow is the parent of the tab
    // strip, the dialog itself: non-null exactly while the controls exist.
    WindowHandle DialogWindow = nullptr;
    WindowHandle TabWindow = nullptr;
    WindowHandle NewSwatchWindow = nullptr;
    WindowHandle OldSwatchWindow = nullptr;
    WindowHandle RedEdit = nullptr;
    WindowHandle GreenEdit = nullptr;
    WindowHandle BlueEdit = nullptr;
    WindowHandle HexEdit = nullptr;
    WindowHandle RedSpin = nullptr;
    WindowHandle GreenSpin = nullptr;
    WindowHandle BlueSpin = nullptr;
    WindowHandle PlaneWindow = nullptr;
    WindowHandle StripWindow = nullptr;
    WindowHandle PaletteCombo = nullptr;
    WindowHandle PaletteLabel = nullptr;
    WindowHandle PaletteGridWindow = nullptr;

    // Off-screen pictures of plane and strip, released at dialog end (caller's thread). On
    // Windows the buffer owns the memory context and selects the displaced bitmap back when it
    // is destroyed, so there are no separate old-bitmap fields.
    std::unique_ptr<SurfaceBuffer> PlaneSurface;
    std::unique_ptr<SurfaceBuffer> StripSurface;
    // Inner sizes: client size less 2 * FrameInset; 300 until the surface exists.
    int PlaneWidth = 300;
    int PlaneHeight = 300;
    int StripWidth = 300;
    int StripHeight = 300;

    // Geometry, filled at dialog start (caller's thread).
    Rect PlaneClientRect{0, 0, 1, 1};
    Rect StripClientRect{0, 0, 1, 1};
    Rect PaletteGridClientRect;
    Rect PlaneRect; // the three areas in the client coordinates of DialogWindow
    Rect StripRect;
    Rect PaletteGridRect;
    Rect DialogClientRect;

    // Markers, kNoMarker when none stands on the surface (caller's thread).
    int StripMarkerPos = kNoMarker;
    int PlaneMarkerX = kNoMarker;
    int PlaneMarkerY = kNoMarker;

    // Painted cube images, a pure cache kept for the picker's life (caller's thread).
    std::unique_ptr<HeapSurface> RgbCubeBitmap;
    std::unique_ptr<HeapSurface> CmyCubeBitmap;
    // The wheel's per-position figures for the current plane size; rebuilt when it changes.
    std::unique_ptr<WheelLayout> PlaneWheelLayout;

    // Interaction state (caller's thread).
    bool ApplyButtonVisible = true;
    int DragTarget = kDragNone; // kDragPlane, kDragStrip, kDragPaletteGrid during a drag
    int CubeDragMode = -1;      // kCubeDragNone or the mode of the cube drag in progress
    // The flow is writing the three decimal fields: their notifications are its own echo, even
    // from the focused field, whose neighbours may still hold the previous colour.
    bool WritingChannelFields = false;
    std::uint32_t NewSwatchColor = 0xFFFFFFFF; // both set by PrepareForShow
    std::uint32_t OldSwatchColor = 0xFFFFFFFF;
    ImageListHandle TabImages = nullptr;

    // Constants of the views (caller's thread); nothing changes them.
    int ChannelMax = 255;
    int ChannelMin = 0;
    int FrameInset = 3;

    // Background of plane and strip, a ColorRef; replaced at dialog start by the tab strip's.
    ColorRef BackgroundColor;
    wchar_t Title[kTitleCapacity + 1];
    wchar_t TabTextBuffer[kTitleCapacity + 1] = {};

    // Message routing of four controls through maps 1 to 4 (caller's thread).
    ControlHook PlaneHook{1};
    ControlHook StripHook{2};
    ControlHook PaletteGridHook{3};
    ControlHook TabHook{4};

    // The component, target of Apply; set by PrepareForShow, not owned.
    PickerOwner* Owner = nullptr;

private:
    // Host, when the given window exists; the shell sets Host before any window field.
    PickerHost* HostFor(WindowHandle window) const { return window ? Host : nullptr; }
    // Invalidates the window and brings the dialog up to date at once.
    void Refresh(WindowHandle window);
    // Whether the window exists and has the keyboard focus.
    bool IsFocused(WindowHandle window) const;
    PlaneGeometry CurrentPlaneGeometry() const;
    // The selected record, or null when PaletteIndex doesn't name a loaded one.
    PaletteRecord* CurrentPalette();
    // RgbToHsb of CurrentColor.
    HsbStep CurrentHsb() const;
    // Where a step starts: the markers' coordinates where they are placed, the colour's for
    // the rest (pages 0 to 2); on pages 3 and 4 the colour's alone.
    HsbStep ReadBackHsb() const;
    // Where a key step on pages 0 to 2 starts: as ReadBackHsb, but all three from the colour
    // when the strip marker isn't placed.
    HsbStep KeyStepStart() const;
    // One key step in 16.16: `pixels` rows of the strip.
    int StripUnits(int pixels) const;
    // Paints the page's picture into PlaneSurface; false when a cube image can't be made.
    bool PaintPlanePage(int hue, int saturation, int brightness);
    bool PaintCubePage(bool additive);
    void PaintStrip(int hue, int saturation);
};

} // namespace orrelux
