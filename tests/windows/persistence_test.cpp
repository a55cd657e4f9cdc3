// Persistence of ColorDialog through IPersistStreamInit and IPersistStorage: the stream's
// bytes, round trips, and the edge cases of the format. The typed rows go through IDispatch,
// so these tests need the registered type library (the ctest fixture registers the server).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "test_support.h"

namespace orrelux {
namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::CreateLinkedObject;
using testing::StreamBytes;
using testing::StreamOf;

// Little-endian pieces of an expected stream.
void Put32(Bytes& out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}
void Put16(Bytes& out, std::uint16_t value) {
    out.push_back(static_cast<std::uint8_t>(value));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
}

struct Properties {
    std::uint32_t cx, cy;
    std::uint32_t colorref;
    std::uint32_t argb;
    std::int32_t page, paletteColorIndex, paletteIndex;
    std::wstring title; // in the stream with its terminator
    bool apply;
};

// All of them in one line, for comparisons that show every difference.
std::wstring Describe(const Properties& p) {
    return std::to_wstring(p.cx) + L"x" + std::to_wstring(p.cy) + L" colorref " +
           std::to_wstring(p.colorref) + L" argb " + std::to_wstring(p.argb) + L" page " +
           std::to_wstring(p.page) + L" cell " + std::to_wstring(p.paletteColorIndex) +
           L" palette " + std::to_wstring(p.paletteIndex) + L" title '" + p.title + L"' apply " +
           std::to_wstring(p.apply);
}

Bytes Encode(const Properties& p, std::uint16_t colorrefType = VT_UI4,
             std::uint32_t version = 0x300) {
    Bytes out;
    Put32(out, version);
    Put32(out, p.cx);
    Put32(out, p.cy);
    Put16(out, colorrefType);
    Put32(out, p.colorref);
    for (std::int32_t value :
         {static_cast<std::int32_t>(p.argb), p.page, p.paletteColorIndex, p.paletteIndex}) {
        Put16(out, VT_I4);
        Put32(out, static_cast<std::uint32_t>(value));
    }
    Put16(out, VT_BSTR);
    Put32(out, static_cast<std::uint32_t>((p.title.size() + 1) * 2));
    for (wchar_t c : p.title)
        Put16(out, static_cast<std::uint16_t>(c));
    Put16(out, 0);
    Put16(out, VT_BOOL);
    Put16(out, p.apply ? 0xFFFF : 0);
    return out;
}

Properties Read(IColorDialog* object) {
    Properties p = {};
    ComPtr<IViewObject2> view;
    object->QueryInterface(IID_IViewObject2, view.PutVoid());
    SIZEL extent = {};
    view->GetExtent(DVASPECT_CONTENT, -1, nullptr, &extent);
    p.cx = static_cast<std::uint32_t>(extent.cx);
    p.cy = static_cast<std::uint32_t>(extent.cy);
    LONG argb = 0, paletteColorIndex = 0, paletteIndex = 0;
    OLE_COLOR colorref = 0;
    ColorDialogPage page = ColorDialogPageHSBBrightness;
    BSTR title = nullptr;
    VARIANT_BOOL apply = VARIANT_FALSE;
    object->get_ColorColorref(&colorref);
    object->get_ColorArgb(&argb);
    object->get_ActivePage(&page);
    object->get_PaletteColorIndex(&paletteColorIndex);
    object->get_PaletteIndex(&paletteIndex);
    object->get_Title(&title);
    object->get_ApplyButtonVisible(&apply);
    p.colorref = colorref;
    p.argb = static_cast<std::uint32_t>(argb);
    p.page = page;
    p.paletteColorIndex = paletteColorIndex;
    p.paletteIndex = paletteIndex;
    p.title = testing::TakeBstr(title);
    p.apply = apply != VARIANT_FALSE;
    return p;
}

// Loads the bytes into a new object; the load's result and what the object reads afterwards.
std::pair<HRESULT, Properties> LoadFresh(const Bytes& bytes) {
    auto fresh = CreateLinkedObject<IColorDialog>(CLSID_ColorDialog);
    ComPtr<IPersistStreamInit> loader;
    EXPECT_EQ(S_OK, fresh.As(loader));
    const HRESULT loaded = loader->Load(StreamOf(bytes).Get());
    EXPECT_TRUE(FAILED(loaded) || loader->IsDirty() == S_FALSE) << "a loaded object is clean";
    return {loaded, Read(fresh.Get())};
}

class PersistenceTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dialog);
        ComPtr<IOleObject> ole;
        ASSERT_EQ(S_OK, dialog.As(ole));
        ole->GetExtent(DVASPECT_CONTENT, &natural);
        ASSERT_EQ(S_OK, dialog->put_ColorArgb(0x00336699));
        ASSERT_EQ(S_OK, dialog->put_ActivePage(ColorDialogPageCMY3DSubtractive));
        ASSERT_EQ(S_OK, dialog->put_PaletteColorIndex(17));
        ASSERT_EQ(S_OK, dialog->put_PaletteIndex(2));
        ASSERT_EQ(S_OK, dialog->put_Title(UniqueBstr(L"Pick a colour").Get()));
        ASSERT_EQ(S_OK, dialog->put_ApplyButtonVisible(VARIANT_FALSE));
    }

    // What the properties SetUp wrote read back as.
    Properties Customized() const {
        return {static_cast<std::uint32_t>(natural.cx),
                static_cast<std::uint32_t>(natural.cy),
                0x00996633,
                0xFF336699,
                4,
                17,
                2,
                L"Pick a colour",
                false};
    }

    Bytes Saved() {
        ComPtr<IPersistStreamInit> persist;
        ComPtr<IStream> stream;
        EXPECT_EQ(S_OK, dialog.As(persist));
        EXPECT_EQ(S_OK, ::CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()));
        EXPECT_EQ(S_OK, persist->Save(stream.Get(), TRUE));
        return StreamBytes(stream.Get());
    }

    ComPtr<IColorDialog> dialog = CreateLinkedObject<IColorDialog>(CLSID_ColorDialog);
    SIZEL natural = {};
};

// ColorColorref is an OLE_COLOR, which the type library makes an unsigned 32-bit value.
TEST_F(PersistenceTest, StreamHoldsThePropertyRowsInOrderAndLoadsThemBack) {
    const Bytes saved = Saved();
    EXPECT_EQ(Encode(Customized()), saved);
    const auto [loaded, after] = LoadFresh(saved);
    EXPECT_EQ(S_OK, loaded);
    EXPECT_EQ(Describe(Customized()), Describe(after));
}

TEST_F(PersistenceTest, StorageKeepsTheSameBytesInItsContentsStream) {
    ComPtr<ILockBytes> bytes;
    ComPtr<IStorage> storage;
    ASSERT_EQ(S_OK, ::CreateILockBytesOnHGlobal(nullptr, TRUE, bytes.Put()));
    ASSERT_EQ(S_OK, ::StgCreateDocfileOnILockBytes(
                        bytes.Get(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0,
                        storage.Put()));
    ComPtr<IPersistStorage> storagePersist;
    ASSERT_EQ(S_OK, dialog.As(storagePersist));
    ASSERT_EQ(S_OK, storagePersist->Save(storage.Get(), TRUE));
    ASSERT_EQ(S_OK, storagePersist->SaveCompleted(nullptr));

    ComPtr<IStream> contents;
    ASSERT_EQ(S_OK, storage->OpenStream(L"Contents", nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, 0,
                                        contents.Put()));
    EXPECT_EQ(Encode(Customized()), StreamBytes(contents.Get()));
    contents.Reset();

    auto copy = CreateLinkedObject<IColorDialog>(CLSID_ColorDialog);
    ComPtr<IPersistStorage> loader;
    ASSERT_EQ(S_OK, copy.As(loader));
    ASSERT_EQ(S_OK, loader->Load(storage.Get()));
    EXPECT_EQ(Describe(Customized()), Describe(Read(copy.Get())));
}

TEST_F(PersistenceTest, StreamEdgeCases) {
    const Properties base = Customized();
    Properties wideExtent = base, argbWins = base, emptyTitle = base, tooLong = base;
    wideExtent.cx = 1000;
    argbWins.colorref = 0x000000FF; // red, then ColorArgb says blue-green
    emptyTitle.title = L"";
    tooLong.title = std::wstring(261, L'z');
    Bytes shortStream = Encode(base);
    shortStream.resize(shortStream.size() - 2 - 4 - 10); // cut inside the Title row
    // A load that stops at Title keeps the rows before it; the rest keep their defaults.
    Properties stoppedAtTitle = base;
    stoppedAtTitle.title = L"Colors";
    stoppedAtTitle.apply = true;
    const Properties untouched = Read(CreateLinkedObject<IColorDialog>(CLSID_ColorDialog).Get());

    const struct {
        const char* name;
        Bytes stream;
        HRESULT result;
        Properties after; // what the object reads afterwards
    } cases[] = {
        {"older version loads as this one", Encode(base, VT_UI4, 0x200), S_OK, base},
        {"version 0x301 is refused before any row", Encode(base, VT_UI4, 0x301), E_FAIL, untouched},
        {"a _cx of 1000 loads", Encode(wideExtent), S_OK, wideExtent},
        // ColorArgb, loaded last, decides the colour.
        {"ColorArgb comes after ColorColorref and wins", Encode(argbWins, VT_I4), S_OK, base},
        {"an empty title", Encode(emptyTitle), S_OK, emptyTitle},
        {"a short stream stops at the first row it cannot read", shortStream, E_FAIL,
         stoppedAtTitle},
        {"a title refused by its put ends the load", Encode(tooLong), E_FAIL, stoppedAtTitle},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto [loaded, after] = LoadFresh(c.stream);
        EXPECT_EQ(c.result, loaded);
        EXPECT_EQ(Describe(c.after), Describe(after));
    }
}

TEST_F(PersistenceTest, TextByteCountsTellEmptyFromNull) {
    // An empty title is saved with the count 2 and one terminator.
    ASSERT_EQ(S_OK, dialog->put_Title(UniqueBstr(L"").Get()));
    const Bytes saved = Saved();
    const std::size_t titleRow = 4 + 8 + 6 * 5; // version, extent, five 4-byte typed rows
    ASSERT_GT(saved.size(), titleRow + 8);
    const Bytes emptyRow(saved.begin() + titleRow, saved.begin() + titleRow + 8);
    EXPECT_EQ((Bytes{VT_BSTR, 0, 2, 0, 0, 0, 0, 0}), emptyRow);

    // A null text is the count 0 alone, and loads as an empty title.
    Bytes nullTitle(saved.begin(), saved.begin() + titleRow);
    Put16(nullTitle, VT_BSTR);
    Put32(nullTitle, 0);
    Put16(nullTitle, VT_BOOL);
    Put16(nullTitle, 0xFFFF);
    const auto [loaded, after] = LoadFresh(nullTitle);
    EXPECT_EQ(S_OK, loaded);
    EXPECT_EQ(L"", after.title);
}

} // namespace
} // namespace orrelux
