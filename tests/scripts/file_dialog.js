// FileDialog from Wine's JScript host: the properties read and written by name, the indexed
// results, and the error numbers and descriptions a script sees. A show needs a user, whom a
// script cannot play: the C++ tests drive the dialog. The engine's presence decides Filter,
// EnablePreviewPane and IsLzwEnabled, so those checks follow what the object reports. Exit code 0
// when all checks hold.
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
        if (description !== null)
            check(what + " description", e.description, description);
    }
}

function repeat(c, n) {
    return new Array(n + 1).join(c);
}

var dialog = new ActiveXObject("OrreluxDialogs.FileDialog");

var texts = [
    ["CancelButtonCaption", "Cancel"], ["DateFormat", "MM'/'dd'/'yyyy"],
    ["DefaultExtension", "*"], ["Title", "Open file"], ["HelpButtonCaption", "&Help"],
    ["LookInLabelCaption", "Look &in:"], ["ColorDepthLabelCaption", "Color depth:"],
    ["ShowPreviewCheckBoxCaption", "Sho&w preview"], ["DateLabelCaption", "Date:"],
    ["SizeLabelCaption", "Size:"], ["TypeLabelCaption", "Type:"],
    ["ReadOnlyCheckBoxCaption", "Open as &read-only"], ["OpenButtonCaption", "&Open"],
    ["SaveButtonCaption", "&Save"], ["FileNameLabelCaption", "File &name:"],
    ["FileTypeLabelCaption", "Files of &type:"], ["InitialDir", ""], ["InitialFileName", ""],
    ["DimensionsLabelCaption", "Dimensions:"], ["ColorSpaceLabelCaption", "Color space:"],
    ["TransparencyLabelCaption", "Transparency:"], ["YesLabelCaption", "Yes"],
    ["NoLabelCaption", "No"], ["KilobytesLabelCaption", "kb"], ["BytesLabelCaption", "b"]
];
for (var i = 0; i < texts.length; i++)
    check("default " + texts[i][0], dialog[texts[i][0]], texts[i][1]);

var flags = [
    ["AllowMultiSelect", false], ["CreatePrompt", true], ["DontAddToRecent", false],
    ["EnableSizing", true], ["FileMustExist", true], ["PathMustExist", true],
    ["ForceShowHidden", false], ["HideReadOnlyCheckbox", true], ["NoDereferencedLinks", false],
    ["NoNetworkButton", false], ["OverwritePrompt", true], ["ReadOnlyChecked", false],
    ["ShowHelp", false], ["NoValidate", false], ["EnablePreview", true],
    ["ExtensionDifferent", false], ["NoReadOnlyReturn", false], ["Visible", false]
];
for (i = 0; i < flags.length; i++)
    check("default " + flags[i][0], dialog[flags[i][0]], flags[i][1]);

check("FilterIndex", dialog.FilterIndex, 1);
check("OwnerWindow", dialog.OwnerWindow, 0);
check("Hwnd", dialog.Hwnd, 0);
check("FileName", dialog.FileName, "");
check("FileTitle", dialog.FileTitle, "");
check("FilePath", dialog.FilePath, "");
check("FileCount", dialog.FileCount, 0);
check("FileNames(3)", dialog.FileNames(3), "");

var engine = dialog.EnablePreviewPane;
if (engine) {
    dialog.IsLzwEnabled = true;
    check("IsLzwEnabled in the engine", dialog.IsLzwEnabled, true);
    dialog.IsLzwEnabled = false;
} else {
    check("Filter without engine", dialog.Filter, "All|*.*");
    expectError("IsLzwEnabled without engine", function () { return dialog.IsLzwEnabled; },
                -2147467259, "Bitmap object is not initialized");
    dialog.IsLzwEnabled = true; // S_FALSE: no error
}

dialog.Filter = "Text|*.txt|";
check("Filter without its closing bar", dialog.Filter, "Text|*.txt");
dialog.Title = "Pick a picture";
check("Title", dialog.Title, "Pick a picture");
dialog.FilterIndex = 4;
check("FilterIndex as put", dialog.FilterIndex, 4);
dialog.ReadOnlyChecked = true;
check("ReadOnlyChecked", dialog.ReadOnlyChecked, true);

check("Visible without a show", dialog.Visible, false);

var caption = repeat("c", 2028);
dialog.CancelButtonCaption = caption;
expectError("CancelButtonCaption of 2029", function () { dialog.CancelButtonCaption = caption + "c"; },
            -1518, "Specified string is too long. The maximum length for this string is 2028");
check("CancelButtonCaption kept", dialog.CancelButtonCaption, caption);
expectError("DateLabelCaption of 101", function () { dialog.DateLabelCaption = repeat("d", 101); },
            -1518, "Specified string is too long. The maximum length for this string is 100");
expectError("InitialDir of 261", function () { dialog.InitialDir = repeat("p", 261); },
            -2147024809, null);
expectError("FilterIndex 0", function () { dialog.FilterIndex = 0; }, -26,
            "Filter index is out of range");
expectError("OwnerWindow that is no window", function () { dialog.OwnerWindow = 0x7FFF0010; },
            -2147024809, "Specified handle does not identify an existing window");
dialog.AllowMultiSelect = true;
expectError("FileName of an empty multi-selection", function () { return dialog.FileName; }, -26,
            "File name index 0 is out of range [0--1]");
expectError("FileTitles(0) of an empty multi-selection", function () { return dialog.FileTitles(0); },
            -26, "File title index 0 is out of range [0--1]");

WScript.Quit(failures === 0 ? 0 : 1);
