#include "picker/picker_window.h"

#include "picker/cube_picking.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace orrelux {

namespace {

constexpr RgbColor kRgbMask = 0x00FFFFFF;
constexpr int kFixedUnit = 0x10000;                 // 1.0 in 16.16 saturation and brightness
constexpr double kUnitPerFixed = 1.52587890625e-05; // exactly 1 / 65536
// Room for any text the fields can hold, terminator included.
constexpr int kFieldTextCapacity = 260;

// Controls of dialog 103.
constexpr int kTabControl = 201;
constexpr int kRedField = 209;
constexpr int kGreenField = 210;
constexpr int kBlueField = 212;
constexpr int kHexField = 214;
constexpr int kRedSpin = 230;
constexpr int kGreenSpin = 231;
constexpr int kBlueSpin = 232;
constexpr int kPlaneControl = 205;
constexpr int kStripControl = 206;
constexpr int kNewSwatchControl = 215;
constexpr int kOldSwatchControl = 216;
constexpr int kPaletteComboControl = 224;
constexpr int kPaletteLabelControl = 225;
constexpr int kPaletteGridControl = 228;
constexpr int kChannelSpinWidth = 10;
constexpr int kChannelTextLimit = 3;
constexpr int kHexTextLimit = 6;
// The size in bytes of TabTextBuffer (260 wide characters), as the tab strip is told it; the tab
// items name only their image, so the strip never reads or writes the text.
constexpr int kTabTextCapacity = 520;

constexpr int kOkButton = 1;
constexpr int kCancelButton = 2;
constexpr int kApplyButton = 202;
constexpr int kResultOk = 1;
constexpr int kResultCancel = 2;

bool IsDecimalText(const wchar_t* text) {
    for (; *text != L'\0'; ++text) {
        if (*text < L'0' || *text > L'9')
            return false;
    }
    return true;
}

} // namespace

CPickerWindow::CPickerWindow(ColorRef buttonFace) : BackgroundColor(buttonFace), Title{} {
    SetTitle(L"Colors");
}

// ---- Colour flow ----------------------------------------------------------------------------

bool CPickerWindow::SetCurrentColor(RgbColor color, bool force) {
    const RgbColor masked = color & kRgbMask;
    // The unchanged-colour exit is what ends the loops between the flow and the entry fields.
    if (CurrentColor == masked && !force)
        return true;
    CurrentColor = masked;
    UpdateNewSwatch(masked);
    UpdateChannelFields(CurrentColor);
    UpdateHexField(CurrentColor);
    // The repaints wipe both markers, so they are placed afresh afterwards, strip first.
    RepaintPlane(-1, -1, -1);
    RepaintStrip(-1, -1);
    PlaceStripMarkerForColor(CurrentColor);
    PlacePlaneMarkerForColor(CurrentColor);
    return true;
}

void CPickerWindow::SetCurrentColorHsb(int hue, int saturation, int brightness) {
    const RgbChannels channels =
        HsbToRgb(static_cast<std::uint32_t>(hue), static_cast<std::uint32_t>(saturation),
                 static_cast<std::uint32_t>(brightness));
    CurrentColor = PackRgb(channels.red, channels.green, channels.blue);
    UpdateNewSwatch(CurrentColor);
    UpdateChannelFields(CurrentColor);
    UpdateHexField(CurrentColor);
    // The markers go to the triple itself, not to one derived back from the colour, so that a
    // hue survives while the colour passes through grey or black.
    PlaceStripMarker(hue, saturation, brightness);
    PlacePlaneMarker(hue, saturation, brightness);
}

void CPickerWindow::UpdateNewSwatch(RgbColor color) {
    // The stored value is compared as it is: a stale alpha byte from PrepareForShow can only
    // cause one extra repaint, never hide a change.
    if (!NewSwatchWindow || (color & kRgbMask) == NewSwatchColor)
        return;
    NewSwatchColor = color & kRgbMask;
    Refresh(NewSwatchWindow);
}

void CPickerWindow::UpdateOldSwatch(RgbColor color) {
    if (!OldSwatchWindow || (color & kRgbMask) == OldSwatchColor)
        return;
    OldSwatchColor = color & kRgbMask;
    Refresh(OldSwatchWindow);
}

bool CPickerWindow::PlacePlaneMarkerForColor(RgbColor color) {
    switch (ActivePage) {
    case 0:
    case 1:
    case 2: {
        const HsbColor hsb = RgbToHsb(color);
        return PlacePlaneMarker(static_cast<int>(hsb.hue), static_cast<int>(hsb.saturation),
                                static_cast<int>(hsb.brightness));
    }
    case 3:
    case 4:
        // The cube's marker is part of its picture.
        RepaintPlane(-1, -1, -1);
        return true;
    default:
        return false;
    }
}

void CPickerWindow::PlaceStripMarkerForColor(RgbColor color) {
    const HsbColor hsb = RgbToHsb(color);
    PlaceStripMarker(static_cast<int>(hsb.hue), static_cast<int>(hsb.saturation),
                     static_cast<int>(hsb.brightness));
}

bool CPickerWindow::SetActivePage(int page) {
    // Stored unchecked: with the dialog closed this is all that happens.
    ActivePage = page;
    if (!PlaneSurface)
        EnsurePlaneSurface();
    if (!StripSurface)
        EnsureStripSurface();
    if (!PlaneSurface || !StripSurface)
        return false;

    ShowPageControls();
    if (page < 0 || page >= kPageCount)
        return false;
    SelectTab(page); // tab index and page are the same number

    RepaintPlane(-1, -1, -1);
    RepaintStrip(-1, -1);
    // Nothing of the previous page's markers may remain.
    StripMarkerPos = kNoMarker;
    PlaceStripMarkerForColor(CurrentColor);
    PlaneMarkerX = kNoMarker;
    PlaneMarkerY = kNoMarker;
    PlacePlaneMarkerForColor(CurrentColor);
    return true;
}

bool CPickerWindow::ShowPageControls() {
    if (ActivePage < 0 || ActivePage >= kPageCount)
        return false;
    const bool palettePage = ActivePage == kPalettePage;
    auto show = [this](WindowHandle window, bool visible) {
        if (PickerHost* host = HostFor(window))
            host->ShowWindow(window, visible);
    };
    auto readOnly = [this](WindowHandle edit, bool locked) {
        if (PickerHost* host = HostFor(edit))
            host->SetEditReadOnly(edit, locked);
    };
    auto enable = [this](WindowHandle window, bool enabled) {
        if (PickerHost* host = HostFor(window))
            host->EnableWindow(window, enabled);
    };

    show(PlaneWindow, !palettePage);
    show(StripWindow, !palettePage);
    // On the palette page the fields only show the selected entry.
    readOnly(RedEdit, palettePage);
    readOnly(GreenEdit, palettePage);
    readOnly(BlueEdit, palettePage);
    readOnly(HexEdit, palettePage);
    enable(RedSpin, !palettePage);
    enable(GreenSpin, !palettePage);
    enable(BlueSpin, !palettePage);
    show(PaletteCombo, palettePage);
    show(PaletteGridWindow, palettePage);

    // Arriving on the palette page takes the nearest entry; ResultColor stays.
    if (palettePage)
        SelectNearestPaletteColor(CurrentColor);
    return true;
}

bool CPickerWindow::EnsurePlaneSurface() {
    PickerHost* host = HostFor(PlaneWindow);
    if (!host)
        return false;
    if (PlaneSurface)
        return true;
    PlaneSurface = host->CreateWindowSurface(PlaneWindow, FrameInset, PlaneWidth, PlaneHeight);
    return PlaneSurface != nullptr;
}

bool CPickerWindow::EnsureStripSurface() {
    PickerHost* host = HostFor(StripWindow);
    if (!host)
        return false;
    if (StripSurface)
        return true;
    StripSurface = host->CreateWindowSurface(StripWindow, FrameInset, StripWidth, StripHeight);
    return StripSurface != nullptr;
}

bool CPickerWindow::SelectTab(int index) {
    PickerHost* host = HostFor(TabWindow);
    if (!host || index < 0 || index >= host->TabCount(TabWindow))
        return false;
    return host->SelectTab(TabWindow, index);
}

// ---- Views ----------------------------------------------------------------------------------

bool CPickerWindow::RepaintPlane(int hue, int saturation, int brightness) {
    // The repaint wipes the marker, so the next move has nothing to erase.
    PlaneMarkerX = kNoMarker;
    PlaneMarkerY = kNoMarker;
    PickerHost* host = HostFor(PlaneWindow);
    if (!host)
        return false;
    if (!PlaneSurface && !EnsurePlaneSurface())
        return false;
    if (!PaintPlanePage(hue, saturation, brightness))
        return false;
    if (host->HasFocus(PlaneWindow))
        DrawPlaneFocus();
    Refresh(PlaneWindow);
    return true;
}

bool CPickerWindow::RepaintStrip(int hue, int saturation) {
    StripMarkerPos = kNoMarker;
    PickerHost* host = HostFor(StripWindow);
    if (!host)
        return false;
    if (!StripSurface && !EnsureStripSurface())
        return false;
    PaintStrip(hue, saturation);
    if (host->HasFocus(StripWindow))
        DrawStripFocus();
    Refresh(StripWindow);
    return true;
}

PlaneGeometry CPickerWindow::CurrentPlaneGeometry() const {
    return PlaneGeometry::FromInnerSize(PlaneWidth, PlaneHeight, FrameInset);
}

bool CPickerWindow::PaintPlanePage(int hue, int, int brightness) {
    // A value below 0 stands for CurrentColor's; the saturation is read on no page.
    const HsbColor current = RgbToHsb(CurrentColor);
    const auto fixedBrightness =
        brightness >= 0 ? static_cast<std::uint32_t>(brightness) : current.brightness;
    const auto fixedHue = hue >= 0 ? static_cast<std::uint32_t>(hue) : current.hue;
    const Pixel background = ColorRefToRgb(BackgroundColor);
    Surface& pixels = PlaneSurface->Pixels();
    const PlaneGeometry geometry = CurrentPlaneGeometry();
    switch (ActivePage) {
    case 0:
        PaintBrightnessPlane(pixels, geometry, fixedBrightness, background);
        return true;
    case 1:
        if (!PlaneWheelLayout || PlaneWheelLayout->Geometry().width != geometry.width ||
            PlaneWheelLayout->Geometry().height != geometry.height ||
            PlaneWheelLayout->Geometry().inset != geometry.inset)
            PlaneWheelLayout = std::make_unique<WheelLayout>(geometry);
        PaintWheelPlane(pixels, *PlaneWheelLayout, fixedBrightness, background);
        return true;
    case 2:
        PaintHuePlane(pixels, geometry, fixedHue, background);
        return true;
    case 3:
    case 4:
        return PaintCubePage(ActivePage == 3);
    default:
        return true; // nothing to paint on other pages
    }
}

bool CPickerWindow::PaintCubePage(bool additive) {
    // The cube doesn't depend on the colour: it is painted once, with the background and size
    // of that moment, and every repaint copies it and draws the guides over the copy.
    std::unique_ptr<HeapSurface>& cube = additive ? RgbCubeBitmap : CmyCubeBitmap;
    const PlaneGeometry geometry = CurrentPlaneGeometry();
    if (!cube) {
        auto painted =
            std::make_unique<HeapSurface>(PlaneClientRect.Width(), PlaneClientRect.Height());
        if (painted->Pixels().IsEmpty())
            return false;
        PaintCube(painted->Pixels(), geometry, additive, ColorRefToRgb(BackgroundColor),
                  CubeAxisColor);
        cube = std::move(painted);
    }
    Surface& pixels = PlaneSurface->Pixels();
    pixels.CopyFrom(cube->Pixels(), cube->Pixels().Bounds(), 0, 0);
    DrawCubeGuides(pixels, geometry, CurrentColor, additive);
    return true;
}

void CPickerWindow::PaintStrip(int hue, int saturation) {
    // Hue and saturation are used as given only as a pair; otherwise both come from the colour.
    std::uint32_t fixedHue = 0;
    std::uint32_t fixedSaturation = 0;
    if (hue > -1 && saturation > -1) {
        fixedHue = static_cast<std::uint32_t>(hue);
        fixedSaturation = static_cast<std::uint32_t>(saturation);
    } else {
        const HsbColor current = RgbToHsb(CurrentColor);
        fixedHue = current.hue;
        fixedSaturation = current.saturation;
    }
    PaintStripRamp(StripSurface->Pixels(),
                   StripGeometry::FromInnerSize(StripWidth, StripHeight, FrameInset), ActivePage,
                   fixedHue, fixedSaturation, ColorRefToRgb(BackgroundColor));
}

bool CPickerWindow::PlacePlaneMarker(int hue, int saturation, int brightness) {
    const int m = FrameInset;
    switch (ActivePage) {
    case 0:
        MovePlaneMarker(ScaleHueToPixels(hue, PlaneWidth) + m,
                        ScaleFixedToPixels(kFixedUnit - saturation, PlaneHeight) + m);
        return true;
    case 1: {
        // Polar: the angle is the hue, the distance from the centre the saturation. The angle
        // uses 3.14 like the painted wheel, so the marker lands on the painted hue.
        const PlaneGeometry geometry = CurrentPlaneGeometry();
        const double distance = static_cast<double>(geometry.radius) * saturation * kUnitPerFixed;
        const double angle = hue * kPaintedRadiansPerDegree;
        MovePlaneMarker(geometry.centreX + RoundToInt(std::cos(angle) * distance),
                        geometry.centreY - RoundToInt(std::sin(angle) * distance));
        return true;
    }
    case 2:
        MovePlaneMarker(ScaleFixedToPixels(saturation, PlaneWidth) + m,
                        ScaleFixedToPixels(kFixedUnit - brightness, PlaneHeight) + m);
        return true;
    case 3:
    case 4: {
        const RgbChannels channels =
            HsbToRgb(static_cast<std::uint32_t>(hue), static_cast<std::uint32_t>(saturation),
                     static_cast<std::uint32_t>(brightness));
        return PlacePlaneMarkerForColor(PackRgb(channels.red, channels.green, channels.blue));
    }
    default:
        return false;
    }
}

// Saturation never moves the strip marker: the strip shows brightness, or hue on page 2.
void CPickerWindow::PlaceStripMarker(int hue, [[maybe_unused]] int saturation, int brightness) {
    const int m = FrameInset;
    switch (ActivePage) {
    case 2:
        MoveStripMarker(ScaleHueToPixels(hue, StripHeight) + m);
        break;
    case 0:
    case 1:
    case 3:
    case 4:
        // Full brightness at the top.
        MoveStripMarker(StripHeight - ScaleFixedToPixels(brightness, StripHeight) + m);
        break;
    default:
        break;
    }
}

void CPickerWindow::MovePlaneMarker(int x, int y) {
    // Compared before clamping, so a repeated out-of-range position redraws the same ring.
    if (x == PlaneMarkerX && y == PlaneMarkerY)
        return;
    if (!HostFor(PlaneWindow))
        return;
    const int m = FrameInset;
    x = HoldTo(x, m, PlaneClientRect.Width() - m);
    y = HoldTo(y, m, PlaneClientRect.Height() - m);
    // No background is saved: inverting the old ring again erases it.
    if (PlaneMarkerX > kNoMarker && PlaneMarkerY > kNoMarker)
        InvertPlaneMarker(PlaneMarkerX, PlaneMarkerY);
    PlaneMarkerX = x;
    PlaneMarkerY = y;
    InvertPlaneMarker(x, y);
    Refresh(PlaneWindow);
}

void CPickerWindow::MoveStripMarker(int row) {
    if (row == StripMarkerPos || !HostFor(StripWindow))
        return;
    const int m = FrameInset;
    row = HoldTo(row, m, StripClientRect.Height() - m);
    if (StripMarkerPos > kNoMarker)
        InvertStripMarker(StripMarkerPos);
    StripMarkerPos = row;
    InvertStripMarker(row);
    Refresh(StripWindow);
}

void CPickerWindow::InvertPlaneMarker(int x, int y) {
    if (!PlaneSurface)
        return;
    InvertPlaneMarkerRing(PlaneSurface->Pixels(), x, y);
}

void CPickerWindow::InvertStripMarker(int y) {
    if (!StripSurface)
        return;
    // A flat ring across the strip, rows y - 2 to y + 1, reaching past the ramp on both sides.
    const int width = StripClientRect.Width();
    Surface& pixels = StripSurface->Pixels();
    pixels.InvertRect(Rect{2, y - 1, width - 2, y + 1});
    pixels.InvertRect(Rect{1, y - 2, width - 1, y + 2});
}

void CPickerWindow::DrawPlaneFocus() {
    if (!PlaneSurface)
        return;
    const Rect& client = PlaneClientRect;
    PlaneSurface->Pixels().DrawFocusRect(
        Rect{client.left + 1, client.top + 1, client.right, client.bottom - 1});
}

void CPickerWindow::DrawStripFocus() {
    if (!StripSurface)
        return;
    const Rect& client = StripClientRect;
    StripSurface->Pixels().DrawFocusRect(
        Rect{client.left + 2, client.top + 1, client.right - 2, client.bottom - 1});
}

void CPickerWindow::Refresh(WindowHandle window) {
    PickerHost* host = HostFor(window);
    if (!host)
        return;
    host->InvalidateClient(window);
    if (DialogWindow)
        host->UpdateWindow(DialogWindow);
}

bool CPickerWindow::IsFocused(WindowHandle window) const {
    PickerHost* host = HostFor(window);
    return host && host->HasFocus(window);
}

// ---- Entry fields ---------------------------------------------------------------------------

void CPickerWindow::UpdateChannelFields(RgbColor color) {
    // While red is written, green and blue still show the old colour; a notification of the
    // focused field read in between would adopt that mixture (a client's put of ColorArgb with
    // the caret in a field would end in a colour nobody asked for). The writes are therefore
    // echoes whatever the focus; a typed value reaches the flow before this runs.
    const bool outer = WritingChannelFields;
    WritingChannelFields = true;
    WriteChannelField(RedEdit, RedOf(color));
    WriteChannelField(GreenEdit, GreenOf(color));
    WriteChannelField(BlueEdit, BlueOf(color));
    WritingChannelFields = outer;
}

bool CPickerWindow::WriteChannelField(WindowHandle edit, int value) {
    PickerHost* host = HostFor(edit);
    if (!host)
        return false;
    wchar_t text[kChannelTextCapacity];
    FormatChannelText(HoldTo(value, ChannelMin, ChannelMax), text);
    // The selection is kept by number, so a caret after the third digit of 128 stands after
    // the text when it becomes 64; the control clips the numbers itself.
    int start = 0;
    int end = 0;
    host->GetEditSelection(edit, start, end);
    host->SetWindowText(edit, text); // also when unchanged: the write is the echo of the flow
    host->SetEditSelection(edit, start, end);
    return true;
}

int CPickerWindow::ReadChannelField(WindowHandle edit) {
    PickerHost* host = HostFor(edit);
    if (!host)
        return 0;
    wchar_t text[kFieldTextCapacity] = {};
    host->GetWindowText(edit, text, kFieldTextCapacity);
    if (text[0] == L'\0')
        return 0; // an empty field counts as 0 and stays empty
    // The control refuses non-digits from the keyboard; only pasted text gets here.
    if (!IsDecimalText(text)) {
        WriteChannelField(edit, 0);
        return 0;
    }
    return ParseChannelText(text);
}

RgbColor CPickerWindow::ReadChannelFields() {
    // Read one after another: a read can rewrite its field, which notifies re-entrantly.
    const int red = ReadChannelField(RedEdit);
    const int green = ReadChannelField(GreenEdit);
    const int blue = ReadChannelField(BlueEdit);
    return PackRgb(static_cast<std::uint32_t>(red), static_cast<std::uint32_t>(green),
                   static_cast<std::uint32_t>(blue));
}

RgbColor CPickerWindow::ReadHexField() {
    // Unfiltered: the control's limit keeps the text within the six digits the parser takes.
    wchar_t text[kHexTextCapacity + 1] = {};
    if (PickerHost* host = HostFor(HexEdit))
        host->GetWindowText(HexEdit, text, kHexTextCapacity + 1);
    return ParseHexColor(text);
}

bool CPickerWindow::UpdateHexField(RgbColor color) {
    const RgbColor value = color & kRgbMask;
    // A text of equal value stays: typed leading zeros survive, and black leaves an empty
    // field empty.
    if (ReadHexField() == value)
        return true;
    wchar_t text[kHexTextCapacity];
    FormatHexColor(value, text);
    if (PickerHost* host = HostFor(HexEdit))
        host->SetWindowText(HexEdit, text);
    return true;
}

void CPickerWindow::OnChannelFieldChanged(WindowHandle edit) {
    PickerHost* host = HostFor(edit);
    // Only the focused field speaks for the user; any other notification, and any during the
    // flow's own writes, is the echo of a write from the colour flow.
    if (!host || !host->HasFocus(edit) || WritingChannelFields)
        return;
    CubeDragMode = -1;
    const int value = ReadChannelField(edit);
    const int held = HoldTo(value, ChannelMin, ChannelMax);
    if (held != value)
        WriteChannelField(edit, held);
    SetCurrentColor(ReadChannelFields(), false);
}

void CPickerWindow::OnHexFieldChanged(WindowHandle edit) {
    PickerHost* host = HostFor(edit);
    if (!host || !host->HasFocus(edit))
        return;
    wchar_t text[kFieldTextCapacity] = {};
    host->GetWindowText(edit, text, kFieldTextCapacity);
    std::wstring cleaned;
    if (!FilterHexText(text, cleaned)) {
        // This write notifies again; the second filter finds nothing to do.
        int start = 0;
        int end = 0;
        host->GetEditSelection(edit, start, end);
        host->SetWindowText(edit, cleaned.c_str());
        host->SetEditSelection(edit, start, end);
    }
    SetCurrentColor(ParseHexColor(cleaned.c_str()), false);
}

WindowHandle CPickerWindow::CreateChannelSpin(WindowHandle edit, int identifier, int width) {
    PickerHost* host = HostFor(DialogWindow);
    Rect field;
    if (!host || !edit || !host->GetClientRectIn(edit, DialogWindow, field))
        return nullptr;
    // Right of the field, one pixel taller at either end. The control writes its buddy's text
    // itself, so a click arrives as an ordinary EN_UPDATE; its position is never read.
    const int left = field.right + 1;
    const int top = field.top - 1;
    const Rect bounds{left, top, left + width, top + field.Height() + 2};
    return host->CreateUpDown(DialogWindow, identifier, edit, bounds, ChannelMin, ChannelMax, 0);
}

// ---- Client surface -------------------------------------------------------------------------

void CPickerWindow::PrepareForShow(PickerOwner* owner, std::uint32_t color, int page,
                                   int paletteIndex, int paletteColorIndex) {
    // Unmasked: ResultColor keeps the client's alpha until the dialog produces a colour.
    NewSwatchColor = color;
    OldSwatchColor = color;
    CurrentColor = color;
    ResultColor = color;
    ActivePage = page;
    PaletteIndex = paletteIndex;
    PaletteColorIndex = paletteColorIndex;
    Owner = owner;
}

void CPickerWindow::SetResultColor(std::uint32_t color) {
    ResultColor = color;
    SetCurrentColor(color, true);
}

void CPickerWindow::SetTitle(const wchar_t* text) {
    int length = 0;
    if (text) {
        // The caller tested the length; the bound only keeps the terminator in place.
        for (; length < kTitleCapacity && text[length] != L'\0'; ++length)
            Title[length] = text[length];
    }
    Title[length] = L'\0';
    if (PickerHost* host = HostFor(DialogWindow))
        host->SetWindowText(DialogHandle, Title);
}

// ---- Dialog start and end -------------------------------------------------------------------

bool CPickerWindow::OnInitDialog() {
    PickerHost* host = HostFor(DialogHandle);
    if (!host)
        return false;
    // Each step must succeed; the first that doesn't ends the dialog unseen with result 0.
    auto fail = [&] {
        host->EndDialog(DialogHandle, 0);
        return false;
    };
    TabWindow = host->GetDialogItem(DialogHandle, kTabControl);
    DialogWindow = TabWindow ? host->GetParent(TabWindow) : nullptr;
    if (!TabWindow || !DialogWindow)
        return fail();
    host->SetWindowText(DialogHandle, Title);
    RedEdit = host->GetDialogItem(DialogHandle, kRedField);
    GreenEdit = host->GetDialogItem(DialogHandle, kGreenField);
    BlueEdit = host->GetDialogItem(DialogHandle, kBlueField);
    HexEdit = host->GetDialogItem(DialogHandle, kHexField);
    if (!RedEdit || !GreenEdit || !BlueEdit || !HexEdit)
        return fail();
    RedSpin = CreateChannelSpin(RedEdit, kRedSpin, kChannelSpinWidth);
    GreenSpin = CreateChannelSpin(GreenEdit, kGreenSpin, kChannelSpinWidth);
    BlueSpin = CreateChannelSpin(BlueEdit, kBlueSpin, kChannelSpinWidth);
    if (!RedSpin || !GreenSpin || !BlueSpin)
        return fail();
    PlaneWindow = host->GetDialogItem(DialogHandle, kPlaneControl);
    StripWindow = host->GetDialogItem(DialogHandle, kStripControl);
    PaletteLabel = host->GetDialogItem(DialogHandle, kPaletteLabelControl);
    PaletteCombo = host->GetDialogItem(DialogHandle, kPaletteComboControl);
    PaletteGridWindow = host->GetDialogItem(DialogHandle, kPaletteGridControl);
    if (!PlaneWindow || !StripWindow || !PaletteLabel || !PaletteCombo || !PaletteGridWindow)
        return fail();
    // The result of an attachment is not a reason to stop: an unhooked control still draws.
    PlaneHook.Control = PlaneWindow;
    StripHook.Control = StripWindow;
    PaletteGridHook.Control = PaletteGridWindow;
    TabHook.Control = TabWindow;
    for (const ControlHook* hook : {&PlaneHook, &StripHook, &PaletteGridHook, &TabHook})
        host->AttachHook(hook->Control, hook->Map);
    SetApplyButtonVisible(ApplyButtonVisible);
    NewSwatchWindow = host->GetDialogItem(DialogHandle, kNewSwatchControl);
    OldSwatchWindow = host->GetDialogItem(DialogHandle, kOldSwatchControl);
    if (!NewSwatchWindow || !OldSwatchWindow)
        return fail();
    // Without palettes the picker runs without page 5; a combo that can't be filled is a
    // broken dialog.
    if (LoadPalettes() && !FillPaletteCombo())
        return fail();
    if (!CreateTabImages())
        return fail();
    InitTabs();
    host->LimitText(RedEdit, kChannelTextLimit);
    host->LimitText(GreenEdit, kChannelTextLimit);
    host->LimitText(BlueEdit, kChannelTextLimit);
    host->LimitText(HexEdit, kHexTextLimit);
    if (!host->GetClientRectIn(DialogWindow, nullptr, DialogClientRect) ||
        !host->GetClientRectIn(PlaneWindow, nullptr, PlaneClientRect) ||
        !host->GetClientRectIn(StripWindow, nullptr, StripClientRect) ||
        !host->GetClientRectIn(PaletteGridWindow, nullptr, PaletteGridClientRect) ||
        !host->GetClientRectIn(PlaneWindow, DialogWindow, PlaneRect) ||
        !host->GetClientRectIn(StripWindow, DialogWindow, StripRect) ||
        !host->GetClientRectIn(PaletteGridWindow, DialogWindow, PaletteGridRect))
        return fail();
    ColorRef background = 0;
    if (host->GetBackgroundColor(TabWindow, background))
        BackgroundColor = background;
    SetCurrentColor(CurrentColor, true);
    SetActivePage(ActivePage);
    return true; // the system gives the focus to the first control with a tab stop
}

bool CPickerWindow::CreateTabImages() {
    PickerHost* host = HostFor(DialogHandle);
    if (!host)
        return false;
    TabImages = host->CreateTabImages();
    return true; // a strip without pictures still works: the list has no failure path
}

void CPickerWindow::InitTabs() {
    PickerHost* host = HostFor(TabWindow);
    if (!host)
        return;
    host->SetTabImages(TabWindow, TabImages);
    const int tabs = PaletteCount > 0 ? kPageCount : kPageCount - 1;
    for (int page = 0; page < tabs; ++page) {
        // Only the image reaches a tab; the buffer is handed over empty.
        TabTextBuffer[0] = L'\0';
        host->InsertTab(TabWindow, page, page, TabTextBuffer, kTabTextCapacity);
    }
    Rect first;
    if (host->GetTabItemRect(TabWindow, 0, first))
        host->SetTabItemSize(TabWindow, first.Height(), first.Height());
}

void CPickerWindow::OnDestroy() {
    if (PickerHost* host = Host) {
        if (TabImages)
            host->DestroyTabImages(TabImages);
    }
    TabImages = nullptr;
    PlaneSurface.reset();
    StripSurface.reset();
    ReleasePalettes();
    for (ControlHook* hook : {&PlaneHook, &StripHook, &PaletteGridHook, &TabHook})
        hook->Control = nullptr;
    DialogWindow = TabWindow = nullptr;
    RedEdit = GreenEdit = BlueEdit = HexEdit = nullptr;
    RedSpin = GreenSpin = BlueSpin = nullptr;
    PlaneWindow = StripWindow = nullptr;
    NewSwatchWindow = OldSwatchWindow = nullptr;
    PaletteCombo = PaletteLabel = PaletteGridWindow = nullptr;
    // A dialog can end with the button still down (Enter or Escape during a drag), and no
    // button-up follows: nothing of that drag may carry into the next show, where a cube press
    // would otherwise continue the old axis instead of picking afresh.
    DragTarget = 0;
    CubeDragMode = kCubeDragNone;
}

void CPickerWindow::SetApplyButtonVisible(bool visible) {
    ApplyButtonVisible = visible;
    PickerHost* host = HostFor(DialogWindow);
    if (!host)
        return;
    WindowHandle ok = host->GetDialogItem(DialogWindow, kOkButton);
    WindowHandle cancel = host->GetDialogItem(DialogWindow, kCancelButton);
    WindowHandle apply = host->GetDialogItem(DialogWindow, kApplyButton);
    if (!ok || !cancel || !apply)
        return;
    Rect okRect;
    Rect cancelRect;
    Rect applyRect;
    if (!host->GetWindowRectIn(ok, DialogWindow, okRect) ||
        !host->GetWindowRectIn(cancel, DialogWindow, cancelRect) ||
        !host->GetWindowRectIn(apply, DialogWindow, applyRect))
        return;

    // Apply never moves, so the right end of the row stays put; without Apply the other two
    // move one place to the right. The step is read afresh each time, so the layout can be
    // toggled either way any number of times.
    const int step = cancelRect.left - okRect.left;
    const int y = applyRect.top;
    const int cancelX = visible ? applyRect.left - step : applyRect.left;
    const int okX = cancelX - step;
    host->ShowWindow(apply, visible);
    host->MoveWindow(cancel,
                     Rect{cancelX, y, cancelX + cancelRect.Width(), y + cancelRect.Height()});
    host->MoveWindow(ok, Rect{okX, y, okX + okRect.Width(), y + okRect.Height()});
}

// ---- Dialog results -------------------------------------------------------------------------

void CPickerWindow::OnOk() {
    ResultColor = CurrentColor;
    if (PickerHost* host = HostFor(DialogHandle))
        host->EndDialog(DialogHandle, kResultOk);
}

void CPickerWindow::OnCancel() {
    if (PickerHost* host = HostFor(DialogHandle))
        host->EndDialog(DialogHandle, kResultCancel);
}

void CPickerWindow::OnApply() {
    ResultColor = CurrentColor;
    // The handler reads the new colour already and may change CurrentColor; the Old swatch
    // moves only after it returns, and takes whatever colour is current then.
    if (Owner)
        Owner->FireApply();
    UpdateOldSwatch(CurrentColor);
}

} // namespace orrelux
