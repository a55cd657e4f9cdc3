// Identifiers of the resources of Orrelux20Dialogs.dll, shared by the resource script and the C++
// code. Plain macros: the resource compiler reads this file too.
#pragma once

#define ORRELUX_IDS_PROJNAME 100
#define ORRELUX_IDB_FILEDIALOG 101
#define ORRELUX_IDR_FILEDIALOG 102
#define ORRELUX_IDB_COLORDIALOG 103
#define ORRELUX_IDR_COLORDIALOG 104
#define ORRELUX_IDS_PREVIEW_HELP 1010
#define ORRELUX_IDS_SHOW_PREVIEW_HELP 1011
