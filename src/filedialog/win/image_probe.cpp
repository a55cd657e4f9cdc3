// The image property probe on Windows: the facts of a selected file (the header through the
// imaging engine's meta reader, the date and size through the file system) handed to the
// portable row composition, and the rows handed to the pane. Runs on the dialog's thread, inside
// StartReadingFile, before the background load starts.
#include "filedialog/win/image_probe.h"

#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "components/file_dialog.h"
#include "filedialog/image_probe_text.h"
#include "platform/handles.h"

namespace orrelux {

namespace filedialog {

namespace {

std::u16string_view View(const wchar_t* text) {
    return text ? std::u16string_view(reinterpret_cast<const char16_t*>(text))
                : std::u16string_view();
}

// The date of `time` through the picture, however long it comes out; empty on failure.
std::u16string FormatDate(const SYSTEMTIME& time, const wchar_t* picture) {
    const int needed = ::GetDateFormatW(LOCALE_USER_DEFAULT, 0, &time, picture, nullptr, 0);
    if (needed <= 0)
        return std::u16string();
    std::unique_ptr<wchar_t[]> text(new (std::nothrow) wchar_t[static_cast<std::size_t>(needed)]);
    if (!text || ::GetDateFormatW(LOCALE_USER_DEFAULT, 0, &time, picture, text.get(), needed) <= 0)
        return std::u16string();
    return std::u16string(View(text.get()));
}

} // namespace

HRESULT GetFileDateAndSizeTexts(const wchar_t* fileName, const wchar_t* dateFormat,
                                const wchar_t* kilobytesText, const wchar_t* bytesText,
                                std::u16string* dateText, std::u16string* sizeText) {
    if (!fileName || !dateFormat || !dateText)
        return E_INVALIDARG;
    dateText->clear();
    if (sizeText)
        sizeText->clear();
    HRESULT result = E_FAIL;
    try {
        const HANDLE opened = ::CreateFileW(fileName, GENERIC_READ, FILE_SHARE_READ, nullptr,
                                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (opened == INVALID_HANDLE_VALUE)
            return E_FAIL;
        const UniqueKernelHandle file(opened);
        FILETIME created = {};
        SYSTEMTIME date = {};
        if (::GetFileTime(file.Get(), &created, nullptr, nullptr) &&
            ::FileTimeToSystemTime(&created, &date)) {
            *dateText = FormatDate(date, dateFormat);
            if (!dateText->empty())
                result = S_OK;
        }
        if (sizeText) {
            const DWORD sizeLow = ::GetFileSize(file.Get(), nullptr);
            // 0xFFFFFFFF is also a failure mark, and reads as negative: no size text either way.
            *sizeText = FileSizeText(sizeLow, View(kilobytesText), View(bytesText));
        }
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return result;
}

} // namespace filedialog

namespace {

// Open and Close of the meta reader pair up within one probe: the reader is never left open
// between selections, whatever way the probe ends.
class OpenMetaReader {
public:
    explicit OpenMetaReader(IEngineMetaReader* reader) : reader_(reader) {}
    ~OpenMetaReader() {
        try {
            reader_->Close(); // its result is of no interest
        } catch (...) {
        }
    }
    OpenMetaReader(const OpenMetaReader&) = delete;
    OpenMetaReader& operator=(const OpenMetaReader&) = delete;

private:
    IEngineMetaReader* reader_;
};

std::u16string_view View(const wchar_t* text) {
    return std::u16string_view(reinterpret_cast<const char16_t*>(text));
}

} // namespace

filedialog::PropertyCaptions CFileDialog::RowCaptions() const {
    filedialog::PropertyCaptions captions;
    captions.labels = {View(DimensionsLabelCaption),  View(DateLabelCaption),
                       View(SizeLabelCaption),        View(TypeLabelCaption),
                       View(ColorSpaceLabelCaption),  View(ColorDepthLabelCaption),
                       View(TransparencyLabelCaption)};
    captions.yesText = View(YesLabelCaption);
    captions.noText = View(NoLabelCaption);
    return captions;
}

// A failed probe leaves every row empty. The rows are written once, with the outcome: the probe
// is the first thing of a selection to touch them.
void CFileDialog::SetPropsFromFilename(const wchar_t* fileName) {
    filedialog::PropertyRows rows;
    if (!fileName || FAILED(GetDataFromFileThroughMetaData(fileName, &rows))) {
        ClearAllLabels();
        return;
    }
    SetImagePropTexts(rows);
}

// Reads the facts that the rows with a caption can use, and only those: with every caption
// empty the reader is opened, asked for the format and closed, and nothing else is read.
HRESULT CFileDialog::GetDataFromFileThroughMetaData(const wchar_t* fileName,
                                                    filedialog::PropertyRows* rows) {
    if (!fileName || !rows)
        return E_INVALIDARG;
    for (filedialog::PropertyRow& row : *rows) {
        row.caption.clear();
        row.value.clear();
    }
    try {
        if (!EngineMetaReader) {
            const HRESULT created =
                ::CoCreateInstance(CLSID_EngineMetaReader, nullptr, engine::kEngineCreationContext,
                                   IID_IEngineMetaReader, EngineMetaReader.PutVoid());
            if (FAILED(created))
                return created;
        }
        const ComPtr<IEngineMetaReader> reader = EngineMetaReader;
        if (!reader)
            return E_FAIL;
        const UniqueBstr name(fileName);
        if (!name.Get())
            return E_OUTOFMEMORY;
        const HRESULT opened = reader->Open(name.Get());
        if (FAILED(opened))
            return opened;
        const OpenMetaReader open(reader.Get());

        filedialog::ImageFacts facts;
        LONG fileFormat = 0;
        if (FAILED(reader->get_FileFormat(&fileFormat)) || fileFormat == 0)
            return E_FAIL;
        facts.fileFormat = fileFormat;

        const filedialog::PropertyCaptions captions = RowCaptions();
        const filedialog::FactsToRead toRead = filedialog::GetFactsToRead(captions, fileFormat);
        if (toRead.dimensions) {
            LONG width = 0;
            LONG height = 0;
            const HRESULT widthRead = reader->get_Width(&width);
            const HRESULT heightRead = reader->get_Height(&height);
            if (SUCCEEDED(widthRead) && SUCCEEDED(heightRead))
                facts.dimensions = filedialog::ImageDimensions{width, height};
        }
        if (toRead.fileTexts) {
            filedialog::FileTexts texts;
            if (SUCCEEDED(filedialog::GetFileDateAndSizeTexts(
                    fileName, DateFormat, KilobytesLabelCaption, BytesLabelCaption, &texts.date,
                    &texts.size)))
                facts.fileTexts = std::move(texts);
        }
        if (toRead.pixelFormat) {
            ULONG pixelFormat = 0;
            if (SUCCEEDED(reader->get_PixelFormat(&pixelFormat)))
                facts.pixelFormat = pixelFormat;
        }
        filedialog::FillPropertyRows(captions, facts, *rows);
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

} // namespace orrelux
