// The file formats of the engine: their codes (as EngineMetaReader reports them), names and
// file name patterns, and the filter texts that EngineFormatList gives to file dialogs.
#pragma once

#include <string>

#include "headers/image_header.h"

namespace orrelux::engine {

struct FileFormatInfo {
    ImageFileFormat code;
    const wchar_t* name;         // "JPEG"
    const wchar_t* openPatterns; // every extension the format is found under, "*.jpg;*.jpeg;..."
    const wchar_t* savePattern;  // the one extension a saved file gets; null: never written
};

// The eight formats the engine opens, in code order.
extern const FileFormatInfo kFileFormats[];
extern const int kFileFormatCount;

// "All supported|<every pattern>|JPEG|*.jpg;*.jpeg;*.jpe;*.jfif|BMP|...": the formats the
// engine opens, first all of them together, then one by one.
std::wstring OpenFilterText();

// "JPEG|*.jpg|BMP|*.bmp|PNG|*.png|TIFF|*.tif": the formats a saved picture may take. They are
// the formats the system's own imaging codecs (WIC) encode everywhere, so a save path needs no
// encoder of the engine's own; the engine itself does not save yet.
std::wstring SaveFilterText();

} // namespace orrelux::engine
