// What the pane's property rows read from the file system: the creation date of a file, formatted
// through the system's date pictures, and its size with the client's unit words. The rows
// themselves are composed by the portable code (filedialog/image_probe_text.h) from these texts
// and from what the imaging engine's meta reader gives
// (CFileDialog::GetDataFromFileThroughMetaData).
#pragma once

#include <windows.h>

#include <string>

namespace orrelux::filedialog {

// Opens the file for reading (an existing file only, other readers allowed, writers not) and
// makes its two texts.
//
// The date is the creation time, taken as a calendar date in UTC with no conversion to local
// time, through GetDateFormatW (default locale, no flags) with `dateFormat` as the picture. The
// whole date is made however long the picture makes it; the row that shows it cuts it. S_OK
// when the date was made; E_FAIL when the file does not open or the date cannot be made, and
// then the caller shows neither text, even when the size was known.
//
// The size is the low 32 bits of the file's size, as FileSizeText makes it: below 1024 in bytes
// with `bytesText`, from there on in whole kilobytes with `kilobytesText`; no text from 2 GiB.
//
// A missing `fileName`, `dateFormat` or `dateText` gives E_INVALIDARG; `sizeText`,
// `kilobytesText` and `bytesText` may be null (no size text, or empty units).
HRESULT GetFileDateAndSizeTexts(const wchar_t* fileName, const wchar_t* dateFormat,
                                const wchar_t* kilobytesText, const wchar_t* bytesText,
                                std::u16string* dateText, std::u16string* sizeText);

} // namespace orrelux::filedialog
