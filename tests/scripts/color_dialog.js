// ColorDialog from Wine's JScript host: every property read and written by name, and the error
// numbers and descriptions a script sees. Exit code 0 when all checks hold.
var failures = 0;

function check(what, actual, expected) {
    if (actual !== expected) {
        WScript.Echo("FAIL " + what + ": got " + actual + ", expected " + expected);
        failures++;
    }
}

function expectError(what, action, number, description) {
    try {
        action();
        WScript.Echo("FAIL " + what + ": no error");
        failures++;
    } catch (e) {
        check(what + " number", e.number, number);
        check(what + " description", e.description, description);
    }
}

var dialog = new ActiveXObject("OrreluxDialogs.ColorDialog");

check("default ColorArgb", dialog.ColorArgb, -1);
check("default ColorColorref", dialog.ColorColorref, 0xFFFFFF);
check("default ActivePage", dialog.ActivePage, 0);
check("default PaletteIndex", dialog.PaletteIndex, 0);
check("default PaletteColorIndex", dialog.PaletteColorIndex, 0);
check("default Title", dialog.Title, "Colors");
check("default ApplyButtonVisible", dialog.ApplyButtonVisible, true);
check("Hwnd", dialog.Hwnd, 0);
check("default OwnerWindow", dialog.OwnerWindow, 0);
check("Visible", dialog.Visible, false);

dialog.ColorArgb = 0x22334455;
check("ColorArgb drops alpha", dialog.ColorArgb, 0xFF334455 - 0x100000000);
check("ColorColorref of it", dialog.ColorColorref, 0x554433);
dialog.ColorColorref = 0x0000FF;
check("ColorArgb of red", dialog.ColorArgb, 0xFFFF0000 - 0x100000000);
dialog.ActivePage = 5;
check("ActivePage", dialog.ActivePage, 5);
dialog.PaletteIndex = 2;
check("PaletteIndex", dialog.PaletteIndex, 2);
dialog.PaletteColorIndex = 17;
check("PaletteColorIndex", dialog.PaletteColorIndex, 17);
dialog.Title = "Pick a colour";
check("Title", dialog.Title, "Pick a colour");
dialog.ApplyButtonVisible = false;
check("ApplyButtonVisible", dialog.ApplyButtonVisible, false);
dialog.OwnerWindow = 0;
check("OwnerWindow", dialog.OwnerWindow, 0);

var tooLong = new Array(262).join("x");
expectError("Title of 261 characters", function () { dialog.Title = tooLong; }, -1518,
            "Specified string is too long. The maximum length for this string is 260");
check("Title after the refused put", dialog.Title, "Pick a colour");
expectError("OwnerWindow that is no window", function () { dialog.OwnerWindow = 0x7FFF0010; },
            -2147024809, "Specified handle does not identify an existing window");

WScript.Quit(failures === 0 ? 0 : 1);
