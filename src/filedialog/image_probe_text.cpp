#include "filedialog/image_probe_text.h"

namespace orrelux::filedialog {

namespace {

constexpr std::uint32_t kBytesPerKilobyte = 1024;

bool IsHighSurrogate(char16_t ch) {
    return ch >= 0xD800 && ch <= 0xDBFF;
}

// The first `length` characters, one fewer if that would leave half of a surrogate pair.
std::u16string_view LeadingPart(std::u16string_view text, std::size_t length) {
    if (length >= text.size())
        return text;
    if (length > 0 && IsHighSurrogate(text[length - 1]))
        --length;
    return text.substr(0, length);
}

std::u16string RowText(std::u16string_view text) {
    return std::u16string(LeadingPart(text, kPropertyTextCapacity));
}

void AppendDecimal(std::u16string& out, std::int64_t value) {
    // The magnitude is taken in unsigned arithmetic so that the most negative value survives.
    std::uint64_t magnitude = static_cast<std::uint64_t>(value);
    if (value < 0) {
        out += u'-';
        magnitude = 0 - magnitude;
    }
    char16_t digits[20];
    std::size_t count = 0;
    do {
        digits[count++] = static_cast<char16_t>(u'0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    while (count > 0)
        out += digits[--count];
}

// "%d %s"
std::u16string CountWithUnit(std::int64_t count, std::u16string_view unit) {
    std::u16string text;
    AppendDecimal(text, count);
    text += u' ';
    text += unit;
    return text;
}

// "%d x %d"
std::u16string DimensionsText(const ImageDimensions& size) {
    std::u16string text;
    AppendDecimal(text, size.width);
    text += u" x ";
    AppendDecimal(text, size.height);
    return text;
}

class RowFiller {
public:
    RowFiller(const PropertyCaptions& captions, PropertyRows& rows)
        : captions_(captions), rows_(rows) {}

    // Takes the next free row when the property has a caption and the value is not empty.
    void Offer(PropertyKind kind, std::u16string_view value) {
        if (!captions_.NeedsRow(kind) || value.empty() || next_ >= rows_.size())
            return;
        rows_[next_].caption = RowText(captions_.labels[static_cast<int>(kind)]);
        rows_[next_].value = RowText(value);
        ++next_;
    }

private:
    const PropertyCaptions& captions_;
    PropertyRows& rows_;
    std::size_t next_ = 0;
};

} // namespace

ColorDepthTexts MyGetColorDepth(std::uint32_t pixelFormat, std::u16string_view yesText,
                                std::u16string_view noText) {
    ColorDepthTexts texts;
    texts.colorDepth = CountWithUnit(PixelFormatBitsPerPixel(pixelFormat), u"bpp");
    // The first test that holds names the space, so a word with both the RGB and the indexed
    // bit reads as RGB.
    if (PixelFormatIsRgb(pixelFormat))
        texts.colorSpace = u"RGB";
    else if (PixelFormatIsCmyk(pixelFormat))
        texts.colorSpace = u"CMYK";
    else if (PixelFormatIsGrayscale(pixelFormat))
        texts.colorSpace = u"Grayscale";
    else if (PixelFormatIsIndexed(pixelFormat))
        texts.colorSpace = u"Indexed";
    texts.transparency = std::u16string(PixelFormatHasAlpha(pixelFormat) ? yesText : noText);
    return texts;
}

std::u16string_view GetFormatName(std::int32_t fileFormat) {
    switch (fileFormat) {
    case 1:
        return u"JPEG format";
    case 2:
        return u"BMP format";
    case 3:
        return u"PNG format";
    case 4:
        return u"TIFF format";
    case 5:
        return u"PCX format";
    case 6:
        return u"WBMP format";
    case 7:
        return u"GIF format";
    case 8:
        return u"PSD format";
    default:
        return u"Unknown format";
    }
}

std::u16string FileSizeText(std::uint32_t sizeLow32, std::u16string_view kilobytesText,
                            std::u16string_view bytesText) {
    const auto size = static_cast<std::int32_t>(sizeLow32);
    if (size < 0)
        return std::u16string();
    if (size < static_cast<std::int32_t>(kBytesPerKilobyte))
        return CountWithUnit(size, bytesText);
    return CountWithUnit(size / static_cast<std::int32_t>(kBytesPerKilobyte), kilobytesText);
}

FactsToRead GetFactsToRead(const PropertyCaptions& captions, std::int32_t fileFormat) {
    FactsToRead facts;
    if (fileFormat == 0)
        return facts;
    facts.dimensions = captions.NeedsRow(PropertyKind::Dimensions);
    facts.fileTexts =
        captions.NeedsRow(PropertyKind::Date) || captions.NeedsRow(PropertyKind::Size);
    facts.pixelFormat = captions.NeedsRow(PropertyKind::ColorSpace) ||
                        captions.NeedsRow(PropertyKind::ColorDepth) ||
                        captions.NeedsRow(PropertyKind::Transparency);
    return facts;
}

bool FillPropertyRows(const PropertyCaptions& captions, const ImageFacts& facts,
                      PropertyRows& rows) {
    for (PropertyRow& row : rows) {
        row.caption.clear();
        row.value.clear();
    }
    if (facts.fileFormat == 0)
        return false;

    RowFiller filler(captions, rows);
    if (facts.dimensions && facts.dimensions->width >= 1 && facts.dimensions->height >= 1)
        filler.Offer(PropertyKind::Dimensions, DimensionsText(*facts.dimensions));
    if (facts.fileTexts) {
        filler.Offer(PropertyKind::Date, facts.fileTexts->date);
        filler.Offer(PropertyKind::Size, facts.fileTexts->size);
    }
    filler.Offer(PropertyKind::Type, GetFormatName(facts.fileFormat));
    if (facts.pixelFormat) {
        const ColorDepthTexts colour =
            MyGetColorDepth(*facts.pixelFormat, captions.yesText, captions.noText);
        filler.Offer(PropertyKind::ColorSpace, colour.colorSpace);
        filler.Offer(PropertyKind::ColorDepth, colour.colorDepth);
        filler.Offer(PropertyKind::Transparency, colour.transparency);
    }
    return true;
}

std::u16string_view CutToRowWidth(std::u16string_view text, int rowWidth,
                                  const TextMeasurer& measure) {
    if (rowWidth < 0 || text.empty())
        return text.substr(0, 0);
    if (measure(text) <= rowWidth)
        return text;
    // Invariant: the first `fits` characters fit and the first `tooWide` do not.
    std::size_t fits = 0;
    std::size_t tooWide = text.size();
    while (tooWide - fits > 1) {
        const std::size_t middle = fits + (tooWide - fits) / 2;
        if (measure(text.substr(0, middle)) <= rowWidth)
            fits = middle;
        else
            tooWide = middle;
    }
    return LeadingPart(text, fits);
}

} // namespace orrelux::filedialog
