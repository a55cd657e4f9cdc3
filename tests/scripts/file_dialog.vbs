' FileDialog from Wine's VBScript host: CreateObject by the versioned ProgID, properties read and
' written, the indexed results, and the number, source and description of the errors. A show
' needs a user, whom a script cannot play: the C++ tests drive the dialog. Exit code 0 when all
' checks hold.
Option Explicit
Dim failures, dialog, caption
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
        Check what & " source", Err.Source, "OrreluxDialogs.FileDialog.2.0"
        Check what & " description", Err.Description, description
    End If
    Err.Clear
End Sub

Set dialog = CreateObject("OrreluxDialogs.FileDialog.2.0")

Check "default Title", dialog.Title, "Open file"
Check "default DateFormat", dialog.DateFormat, "MM'/'dd'/'yyyy"
Check "default ShowPreviewCheckBoxCaption", dialog.ShowPreviewCheckBoxCaption, "Sho&w preview"
Check "default ReadOnlyCheckBoxCaption", dialog.ReadOnlyCheckBoxCaption, "Open as &read-only"
Check "default BytesLabelCaption", dialog.BytesLabelCaption, "b"
Check "default CreatePrompt", dialog.CreatePrompt, True
Check "default AllowMultiSelect", dialog.AllowMultiSelect, False
Check "default FilterIndex", dialog.FilterIndex, 1
Check "default Visible", dialog.Visible, False
Check "default FileCount", dialog.FileCount, 0
Check "FileNames(2)", dialog.FileNames(2), ""
Check "FileName", dialog.FileName, ""

dialog.DateLabelCaption = ""
Check "DateLabelCaption emptied", dialog.DateLabelCaption, ""
dialog.Filter = "Pictures|*.png;*.jpg|All|*.*"
Check "Filter", dialog.Filter, "Pictures|*.png;*.jpg|All|*.*"
dialog.OverwritePrompt = False
Check "OverwritePrompt", dialog.OverwritePrompt, False
dialog.InitialFileName = "C:\pictures\start.png"
Check "InitialFileName", dialog.InitialFileName, "C:\pictures\start.png"
Check "FileName before a show", dialog.FileName, ""

On Error Resume Next
caption = String(2028, "x")
dialog.HelpButtonCaption = caption & "x"
CheckError "HelpButtonCaption of 2029", -1518, _
    "Specified string is too long. The maximum length for this string is 2028"
dialog.YesLabelCaption = String(101, "y")
CheckError "YesLabelCaption of 101", -1518, _
    "Specified string is too long. The maximum length for this string is 100"
dialog.FilterIndex = -1
CheckError "FilterIndex -1", -26, "Filter index is out of range"
dialog.OwnerWindow = &H7FFF0010
CheckError "OwnerWindow that is no window", &H80070057, _
    "Specified handle does not identify an existing window"
dialog.AllowMultiSelect = True
Check "FileTitles(1) before OK", dialog.FileTitles(1), ""
Check "errors after the indexed reads", Err.Number, 0
caption = dialog.FileNames(0)
CheckError "FileNames(0) of an empty multi-selection", -26, _
    "File name index 0 is out of range [0--1]"
On Error GoTo 0
Check "HelpButtonCaption kept", dialog.HelpButtonCaption, "&Help"

WScript.Quit failures
