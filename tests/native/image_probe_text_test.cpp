#include "filedialog/image_probe_text.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <string>
#include <utility>

namespace orrelux::filedialog {
namespace {

// ASCII as it is, anything else as \uXXXX: readable in failure messages and still exact.
std::string Shown(std::u16string_view text) {
    std::string out;
    for (char16_t ch : text) {
        if (ch >= 0x20 && ch < 0x7F) {
            out += static_cast<char>(ch);
        } else {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(ch));
            out += escape;
        }
    }
    return out;
}

// RGB is tested before CMYK, CMYK before grayscale, grayscale before indexed; CMYK and grayscale
// need bit 28 as well, and bit 28 alone names no space. The depth is the byte above the lowest.
TEST(ColorDepthTexts, PixelFormatWordsReadAsTheEngineDefinesThem) {
    const struct {
        std::uint32_t word;
        const char *space, *depth;
        bool alpha;
    } cases[] = {
        {0x01001800, "RGB", "24 bpp", false},       {0x10000800, "", "8 bpp", false},
        {0x01042000, "RGB", "32 bpp", true},        {0x02000800, "", "8 bpp", false},
        {0x01010800, "RGB", "8 bpp", false},        {0x04000800, "", "8 bpp", false},
        {0x00010100, "Indexed", "1 bpp", false},    {0x000000FF, "", "0 bpp", false},
        {0x00050800, "Indexed", "8 bpp", true},     {0x0000FF00, "", "255 bpp", false},
        {0x12000800, "Grayscale", "8 bpp", false},  {0x00FA0000, "", "0 bpp", false},
        {0x12011000, "Grayscale", "16 bpp", false}, {0x00040000, "", "0 bpp", true},
        {0x14002000, "CMYK", "32 bpp", false},      {0x00020000, "", "0 bpp", false},
        {0x16002000, "CMYK", "32 bpp", false},      {0xE8000000, "", "0 bpp", false},
        {0x15002000, "RGB", "32 bpp", false},       {0xFFFFFFFF, "RGB", "255 bpp", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << "word 0x" << c.word);
        const ColorDepthTexts texts = MyGetColorDepth(c.word, u"Oui", u"Non");
        EXPECT_EQ(Shown(texts.colorSpace), c.space);
        EXPECT_EQ(Shown(texts.colorDepth), c.depth);
        EXPECT_EQ(Shown(texts.transparency), c.alpha ? "Oui" : "Non");
    }
}

TEST(FormatName, EveryCodeOfTheReaderHasItsText) {
    const std::pair<std::int32_t, const char*> cases[] = {
        {1, "JPEG format"},          {2, "BMP format"},           {3, "PNG format"},
        {4, "TIFF format"},          {5, "PCX format"},           {6, "WBMP format"},
        {7, "GIF format"},           {8, "PSD format"},           {0, "Unknown format"},
        {9, "Unknown format"},       {-1, "Unknown format"},      {257, "Unknown format"},
        {INT_MIN, "Unknown format"}, {INT_MAX, "Unknown format"},
    };
    for (const auto& [code, name] : cases)
        EXPECT_EQ(Shown(GetFormatName(code)), name) << "code " << code;
}

// No unit above kilobytes; a size whose low word reads negative has no text; an empty unit still
// leaves the separating blank.
TEST(FileSizeText, UnitsChangeAtOneKilobyteAndStayThere) {
    const struct {
        std::uint32_t size;
        const char16_t *kilobytes, *bytes;
        const char* text;
    } cases[] = {
        {0, u"kb", u"b", "0 b"},     {1023, u"kb", u"b", "1023 b"},
        {1024, u"kb", u"b", "1 kb"}, {5000000, u"kb", u"b", "4882 kb"},
        {2047, u"kb", u"b", "1 kb"}, {0x7FFFFFFF, u"kb", u"b", "2097151 kb"},
        {3000, u"KB", u"B", "2 KB"}, {0x80000000, u"kb", u"b", ""},
        {5, u"kb", u"", "5 "},       {0xFFFFFFFF, u"kb", u"b", ""},
        {4096, u"", u"b", "4 "},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Shown(FileSizeText(c.size, c.kilobytes, c.bytes)), c.text) << "size " << c.size;
}

constexpr std::uint32_t kRgbAlpha32 = 0x01042000;

struct Labels {
    std::u16string dimensions = u"Dimensions:";
    std::u16string date = u"Date:";
    std::u16string size = u"Size:";
    std::u16string type = u"Type:";
    std::u16string colorSpace = u"Color space:";
    std::u16string colorDepth = u"Color depth:";
    std::u16string transparency = u"Transparency:";
    std::u16string yes = u"Yes";
    std::u16string no = u"No";

    PropertyCaptions View() const {
        return PropertyCaptions{
            {dimensions, date, size, type, colorSpace, colorDepth, transparency}, yes, no};
    }
};

ImageFacts FullFacts() {
    ImageFacts facts;
    facts.fileFormat = 3;
    facts.dimensions = ImageDimensions{640, 480};
    facts.fileTexts = FileTexts{u"03/14/2021", u"12 kb"};
    facts.pixelFormat = kRgbAlpha32;
    return facts;
}

// Every row as "caption=value", joined by |.
std::string Joined(const PropertyRows& rows) {
    std::string out;
    for (std::size_t r = 0; r < rows.size(); ++r)
        out += (r == 0 ? "" : "|") + Shown(rows[r].caption) + "=" + Shown(rows[r].value);
    return out;
}

// The filled rows as Joined shows them, then the empty rows left over.
std::string Rows(const std::string& filled) {
    std::string out = filled;
    std::size_t count = filled.empty() ? 0 : 1;
    for (char ch : filled)
        count += ch == '|';
    for (; count < kPropertyRowCount; ++count)
        out += count == 0 ? "=" : "|=";
    return out;
}

// Rows as an earlier selection left them: every one of them must be overwritten or cleared.
PropertyRows StaleRows() {
    PropertyRows rows;
    for (PropertyRow& row : rows)
        row = PropertyRow{u"stale caption", u"stale value"};
    return rows;
}

const std::string kDims = "Dimensions:=640 x 480|";
const std::string kDate = "Date:=03/14/2021|";
const std::string kSize = "Size:=12 kb|";
const std::string kType = "Type:=PNG format";
const std::string kColour = "|Color space:=RGB|Color depth:=32 bpp|Transparency:=Yes";

TEST(PropertyRows, MissingCaptionsAndFactsMoveLaterRowsUp) {
    const struct {
        const char* name;
        void (*change)(Labels&, ImageFacts&);
        std::string rows;
    } cases[] = {
        {"everything", [](Labels&, ImageFacts&) {}, kDims + kDate + kSize + kType + kColour},
        {"size caption empty: Type stands under Date",
         [](Labels& l, ImageFacts&) { l.size.clear(); }, kDims + kDate + kType + kColour},
        {"height 0: no Dimensions row, Date is row 0",
         [](Labels&, ImageFacts& f) { f.dimensions->height = 0; }, kDate + kSize + kType + kColour},
        {"width 0", [](Labels&, ImageFacts& f) { f.dimensions->width = 0; },
         kDate + kSize + kType + kColour},
        {"one by one is a picture",
         [](Labels&, ImageFacts& f) { f.dimensions->width = f.dimensions->height = 1; },
         "Dimensions:=1 x 1|" + kDate + kSize + kType + kColour},
        {"date and size failed: neither row, though a size was known",
         [](Labels&, ImageFacts& f) { f.fileTexts.reset(); }, kDims + kType + kColour},
        {"no size text (file of 2 GiB or more): the Date row stays",
         [](Labels&, ImageFacts& f) { f.fileTexts->size.clear(); },
         kDims + kDate + kType + kColour},
        {"empty date text: the Size row stays",
         [](Labels&, ImageFacts& f) { f.fileTexts->date.clear(); },
         kDims + kSize + kType + kColour},
        {"pixel format failed: no colour rows",
         [](Labels&, ImageFacts& f) { f.pixelFormat.reset(); }, kDims + kDate + kSize + kType},
        {"bit 28 alone: no Color space row, the depth moves up",
         [](Labels&, ImageFacts& f) { f.pixelFormat = 0x10000800; },
         kDims + kDate + kSize + kType + "|Color depth:=8 bpp|Transparency:=No"},
        {"empty No word and no alpha: no Transparency row",
         [](Labels& l, ImageFacts& f) {
             l.no.clear();
             f.pixelFormat = 0x01001800;
         },
         kDims + kDate + kSize + kType + "|Color space:=RGB|Color depth:=24 bpp"},
        {"format code 9, first two captions empty",
         [](Labels& l, ImageFacts& f) {
             f.fileFormat = 9;
             l.dimensions.clear();
             l.date.clear();
         },
         kSize + "Type:=Unknown format" + kColour},
        {"only the last caption, with the client's words",
         [](Labels& l, ImageFacts&) {
             l = Labels{u"", u"", u"", u"", u"", u"", u"Alpha", u"J\u00E1", u"Nem"};
         },
         "Alpha=J\\u00E1"},
        {"no caption at all: success with no rows",
         [](Labels& l, ImageFacts&) { l = Labels{u"", u"", u"", u"", u"", u"", u"", u"Y", u"N"}; },
         ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Labels labels;
        ImageFacts facts = FullFacts();
        c.change(labels, facts);
        PropertyRows rows = StaleRows();
        EXPECT_TRUE(FillPropertyRows(labels.View(), facts, rows));
        EXPECT_EQ(Joined(rows), Rows(c.rows));
    }
}

TEST(PropertyRows, UnrecognisedFormatFailsWithEveryRowEmpty) {
    ImageFacts facts = FullFacts();
    facts.fileFormat = 0;
    PropertyRows rows = StaleRows();
    EXPECT_FALSE(FillPropertyRows(Labels{}.View(), facts, rows));
    EXPECT_EQ(Joined(rows), Rows(""));
}

TEST(PropertyRows, TextsAreCutToTheRoomOfARow) {
    Labels labels;
    labels.dimensions = std::u16string(130, u'c');
    // 99 characters, then a pair that would straddle the end of the row.
    labels.type = std::u16string(99, u't') + u"\U0001F600" + u"tail";
    ImageFacts facts = FullFacts();
    facts.fileTexts->date = std::u16string(260, u'd'); // the formatter's own room
    facts.fileTexts->size = std::u16string(3, u'1') + u" " + std::u16string(100, u'k');

    PropertyRows rows;
    ASSERT_TRUE(FillPropertyRows(labels.View(), facts, rows));
    EXPECT_EQ(rows[0].caption, std::u16string(100, u'c'));
    EXPECT_EQ(rows[1].value, std::u16string(100, u'd'));
    EXPECT_EQ(rows[2].value, u"111 " + std::u16string(96, u'k'));
    EXPECT_EQ(rows[3].caption, std::u16string(99, u't'));
    // Exactly the room is kept whole.
    labels.type = std::u16string(98, u't') + u"\U0001F600";
    ASSERT_TRUE(FillPropertyRows(labels.View(), facts, rows));
    EXPECT_EQ(rows[3].caption, labels.type);
}

// `shown` has one digit for each caption, in display order; format 0 stops everything.
TEST(FactsToRead, OnlyWhatAShownRowNeedsIsRead) {
    const struct {
        const char* shown;
        std::int32_t format;
        bool dimensions, fileTexts, pixelFormat;
    } cases[] = {
        {"1111111", 1, true, true, true},    {"0000000", 1, false, false, false},
        {"0001000", 1, false, false, false}, {"1000000", 1, true, false, false},
        {"0100000", 1, false, true, false},  {"0010000", 1, false, true, false},
        {"0000100", 1, false, false, true},  {"0000010", 1, false, false, true},
        {"0000001", 1, false, false, true},  {"1111111", 42, true, true, true},
        {"1111111", 0, false, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.shown << " format " << c.format);
        PropertyCaptions captions{};
        for (std::size_t i = 0; i < kPropertyRowCount; ++i)
            captions.labels[i] = c.shown[i] == '1' ? u"Caption:" : u"";
        const FactsToRead read = GetFactsToRead(captions, c.format);
        EXPECT_EQ(read.dimensions, c.dimensions);
        EXPECT_EQ(read.fileTexts, c.fileTexts);
        EXPECT_EQ(read.pixelFormat, c.pixelFormat);
    }
}

int FixedWidth(std::u16string_view text) {
    return static_cast<int>(text.size()) * 7;
}

// A proportional font: narrow i, wide W, and the halves of a surrogate pair 4 pixels each.
int Proportional(std::u16string_view text) {
    int width = 0;
    for (char16_t ch : text)
        width += ch == u'i' ? 2 : ch == u'W' ? 10 : (ch >= 0xD800 && ch <= 0xDFFF) ? 4 : 6;
    return width;
}

TEST(CutToRowWidth, KeepsTheLongestLeadingPartThatFits) {
    const std::u16string hundred(100, u'a');
    const struct {
        const char* name;
        std::u16string text;
        int rowWidth;
        int (*measure)(std::u16string_view);
        std::u16string kept;
    } cases[] = {
        {"fits exactly", u"Hello", 35, FixedWidth, u"Hello"},
        {"one pixel short", u"Hello", 34, FixedWidth, u"Hell"},
        {"one character's width", u"Hello", 7, FixedWidth, u"H"},
        {"narrower than a character", u"Hello", 6, FixedWidth, u""},
        {"no room", u"Hello", 0, FixedWidth, u""},
        {"negative room", u"Hello", -1, FixedWidth, u""},
        {"empty text", u"", 50, FixedWidth, u""},
        {"long text, whole", hundred, 700, FixedWidth, hundred},
        {"long text, cut", hundred, 699, FixedWidth, std::u16string(99, u'a')},
        {"wide letter does not fit", u"iiWii", 13, Proportional, u"ii"},
        {"wide letter fits", u"iiWii", 14, Proportional, u"iiW"},
        {"narrow tail", u"Wiiiiiiiii", 17, Proportional, u"Wiii"},
        {"pair kept whole", u"ab\U0001F600c", 20, Proportional, u"ab\U0001F600"},
        {"pair not split", u"ab\U0001F600c", 19, Proportional, u"ab"},
        {"pair not split at the start", u"\U0001F600ab", 5, Proportional, u""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const TextMeasurer measure = c.measure;
        EXPECT_EQ(Shown(CutToRowWidth(c.text, c.rowWidth, measure)), Shown(c.kept));
    }
}

} // namespace
} // namespace orrelux::filedialog
