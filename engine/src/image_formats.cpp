#include "image_formats.h"

namespace orrelux::engine {

const FileFormatInfo kFileFormats[] = {
    {kFileFormatJpeg, L"JPEG", L"*.jpg;*.jpeg;*.jpe;*.jfif", L"*.jpg"},
    {kFileFormatBmp, L"BMP", L"*.bmp;*.dib", L"*.bmp"},
    {kFileFormatPng, L"PNG", L"*.png", L"*.png"},
    {kFileFormatTiff, L"TIFF", L"*.tif;*.tiff", L"*.tif"},
    {kFileFormatPcx, L"PCX", L"*.pcx", nullptr},
    {kFileFormatWbmp, L"WBMP", L"*.wbmp", nullptr},
    {kFileFormatGif, L"GIF", L"*.gif", nullptr},
    {kFileFormatPsd, L"PSD", L"*.psd", nullptr},
};
const int kFileFormatCount = static_cast<int>(sizeof(kFileFormats) / sizeof(kFileFormats[0]));

std::wstring OpenFilterText() {
    std::wstring all;
    std::wstring each;
    for (const FileFormatInfo& format : kFileFormats) {
        if (!all.empty())
            all += L';';
        all += format.openPatterns;
        each += L'|';
        each += format.name;
        each += L'|';
        each += format.openPatterns;
    }
    return L"All supported|" + all + each;
}

std::wstring SaveFilterText() {
    std::wstring text;
    for (const FileFormatInfo& format : kFileFormats) {
        if (!format.savePattern)
            continue;
        if (!text.empty())
            text += L'|';
        text += format.name;
        text += L'|';
        text += format.savePattern;
    }
    return text;
}

} // namespace orrelux::engine
