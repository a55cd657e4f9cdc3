' ColorDialog from Wine's VBScript host: CreateObject, every property read and written, and the
' number, source and description of the errors. Exit code 0 when all checks hold.
Option Explicit
Dim failures, dialog
failures = 0

Sub Check(what, actual, expected)
    If actual <> expected Then
        WScript.Echo "FAIL " & what & ": got " & actual & ", expected " & expected
        failures = failures + 1
    End If
End Sub

Sub CheckError(what, number, description)
    If Err.Number = 0 Then
        WScript.Echo "FAIL " & what & ": no error"
        failures = failures + 1
    Else
        Check what & " number", Err.Number, number
        Check what & " source", Err.Source, "OrreluxDialogs.ColorDialog.2.0"
        Check what & " description", Err.Description, description
    End If
    Err.Clear
End Sub

Set dialog = CreateObject("OrreluxDialogs.ColorDialog")

Check "default ColorArgb", dialog.ColorArgb, -1
Check "default ColorColorref", dialog.ColorColorref, &HFFFFFF
Check "default ActivePage", dialog.ActivePage, 0
Check "default PaletteIndex", dialog.PaletteIndex, 0
Check "default PaletteColorIndex", dialog.PaletteColorIndex, 0
Check "default Title", dialog.Title, "Colors"
Check "default ApplyButtonVisible", dialog.ApplyButtonVisible, True
Check "Hwnd", dialog.Hwnd, 0
Check "default OwnerWindow", dialog.OwnerWindow, 0
Check "Visible", dialog.Visible, False

dialog.ColorArgb = &H22334455
Check "ColorArgb drops alpha", dialog.ColorArgb, &HFF334455
Check "ColorColorref of it", dialog.ColorColorref, &H554433
dialog.ColorColorref = &HFF&
Check "ColorArgb of red", dialog.ColorArgb, &HFFFF0000
dialog.ActivePage = 4
Check "ActivePage", dialog.ActivePage, 4
dialog.PaletteIndex = 1
Check "PaletteIndex", dialog.PaletteIndex, 1
dialog.PaletteColorIndex = 99
Check "PaletteColorIndex", dialog.PaletteColorIndex, 99
dialog.Title = "Farbe"
Check "Title", dialog.Title, "Farbe"
dialog.ApplyButtonVisible = False
Check "ApplyButtonVisible", dialog.ApplyButtonVisible, False
dialog.OwnerWindow = 0
Check "OwnerWindow", dialog.OwnerWindow, 0

On Error Resume Next
dialog.Title = String(261, "v")
CheckError "Title of 261 characters", -1518, _
    "Specified string is too long. The maximum length for this string is 260"
dialog.OwnerWindow = &H7FFF0010
CheckError "OwnerWindow that is no window", &H80070057, _
    "Specified handle does not identify an existing window"
On Error GoTo 0
Check "Title after the refused put", dialog.Title, "Farbe"

WScript.Quit failures
