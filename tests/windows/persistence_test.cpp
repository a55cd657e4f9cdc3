// Persistence of ColorDialog through IPersistStreamInit and IPersistStorage: the stream's
// bytes, round trips, and the edge cases of the format. The typed rows go through IDispatch,
// so these tests need the registered type library (the ctest fixture registers the server).
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "test_support.h"

namespace orrelux {
namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::CreateLinkedObject;

Bytes StreamBytes(IStream* stream) {
    STATSTG stat = {};
    stream->Stat(&stat, STATFLAG_NONAME);
    Bytes bytes(static_cast<std::size_t>(stat.cbSize.QuadPart));
    LARGE_INTEGER zero = {};
    stream->Seek(zero, STREAM_SEEK_SET, nullptr);
    ULONG read = 0;
    stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &read);
    bytes.resize(read);
    return bytes;
}

ComPtr<IStream> StreamOf(const Bytes& bytes) {
    ComPtr<IStream> stream;
    ::CreateStreamOnHGlobal(nullptr, TRUE, stream.Put());
    ULONG written = 0;
    stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
    LARGE_INTEGER zero = {};
    stream->Seek(zero, STREAM_SEEK_SET, nullptr);
    return stream;
}

// Little-endian pieces of an expected stream.
void Put32(Bytes& out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}
void Put16(Bytes& out, std::uint16_t value) {
    out.push_back(static_cast<std::uint8_t>(value));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
}
void PutText(Bytes& out, const std::wstring& text) {
    Put16(out, VT_BSTR);
    Put32(out, static_cast<std::uint32_t>((text.size() + 1) * 2));
    for (wchar_t c : text)
        Put16(out, static_cast<std::uint16_t>(c));
    Put16(out, 0);
}

struct Properties {
    std::uint32_t cx, cy;
    std::uint32_t colorref;
    std::uint32_t argb;
    std::int32_t page, paletteColorIndex, paletteIndex;
    std::wstring title; // in the stream with its terminator
    bool apply;
};

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
    PutText(out, p.title);
    Put16(out, VT_BOOL);
    Put16(out, p.apply ? 0xFFFF : 0);
    return out;
}

class PersistenceTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dialog);
        ASSERT_EQ(S_OK, dialog.As(persist));
        ComPtr<IOleObject> ole;
        ASSERT_EQ(S_OK, dialog.As(ole));
        ole->GetExtent(DVASPECT_CONTENT, &natural);
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

    void Customize(IColorDialog* object) {
        ASSERT_EQ(S_OK, object->put_ColorArgb(0x00336699));
        ASSERT_EQ(S_OK, object->put_ActivePage(ColorDialogPageCMY3DSubtractive));
        ASSERT_EQ(S_OK, object->put_PaletteColorIndex(17));
        ASSERT_EQ(S_OK, object->put_PaletteIndex(2));
        UniqueBstr title(L"Pick a colour");
        ASSERT_EQ(S_OK, object->put_Title(title.Get()));
        ASSERT_EQ(S_OK, object->put_ApplyButtonVisible(VARIANT_FALSE));
    }

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

    ComPtr<IColorDialog> dialog = CreateLinkedObject<IColorDialog>(CLSID_ColorDialog);
    ComPtr<IPersistStreamInit> persist;
    SIZEL natural = {};
};

void ExpectSame(const Properties& expected, const Properties& actual) {
    EXPECT_EQ(expected.cx, actual.cx);
    EXPECT_EQ(expected.cy, actual.cy);
    EXPECT_EQ(expected.colorref, actual.colorref);
    EXPECT_EQ(expected.argb, actual.argb);
    EXPECT_EQ(expected.page, actual.page);
    EXPECT_EQ(expected.paletteColorIndex, actual.paletteColorIndex);
    EXPECT_EQ(expected.paletteIndex, actual.paletteIndex);
    EXPECT_EQ(expected.title, actual.title);
    EXPECT_EQ(expected.apply, actual.apply);
}

TEST_F(PersistenceTest, SavesTheRowsOfThePropertyTableInOrder) {
    Customize(dialog.Get());
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, ::CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()));
    ASSERT_EQ(S_OK, persist->Save(stream.Get(), TRUE));
    // ColorColorref is an OLE_COLOR, which the type library makes an unsigned 32-bit value.
    EXPECT_EQ(Encode(Customized()), StreamBytes(stream.Get()));
}

TEST_F(PersistenceTest, StreamRoundTripRestoresEveryProperty) {
    Customize(dialog.Get());
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, ::CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()));
    ASSERT_EQ(S_OK, persist->Save(stream.Get(), TRUE));

    auto copy = CreateLinkedObject<IColorDialog>(CLSID_ColorDialog);
    ComPtr<IPersistStreamInit> loader;
    ASSERT_EQ(S_OK, copy.As(loader));
    ASSERT_EQ(S_OK, loader->InitNew());
    LARGE_INTEGER zero = {};
    stream->Seek(zero, STREAM_SEEK_SET, nullptr);
    ASSERT_EQ(S_OK, loader->Load(stream.Get()));
    ExpectSame(Customized(), Read(copy.Get()));
    EXPECT_EQ(S_FALSE, loader->IsDirty());
}

TEST_F(PersistenceTest, StorageKeepsTheSameBytesInItsContentsStream) {
    Customize(dialog.Get());
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
    ExpectSame(Customized(), Read(copy.Get()));
}

TEST_F(PersistenceTest, StreamEdgeCases) {
    Properties base = Customized();
    Properties wideExtent = base;
    wideExtent.cx = 1000;
    Properties argbWins = base;
    argbWins.colorref = 0x000000FF; // red, then ColorArgb says blue-green
    Properties emptyTitle = base;
    emptyTitle.title = L"";

    struct Case {
        const char* name;
        Bytes stream;
        HRESULT result;
        Properties after; // what the object reads afterwards
    };
    const Properties untouched = Read(dialog.Get());
    Properties argbWinsAfter = base; // ColorArgb, loaded last, decides the colour
    Bytes shortStream = Encode(base);
    shortStream.resize(shortStream.size() - 2 - 4 - 10); // cut inside the Title row
    Properties shortAfter = untouched;                   // rows before Title stay applied
    shortAfter.colorref = base.colorref;
    shortAfter.argb = base.argb;
    shortAfter.page = base.page;
    shortAfter.paletteColorIndex = base.paletteColorIndex;
    shortAfter.paletteIndex = base.paletteIndex;

    const Case cases[] = {
        {"version 0x300 loads", Encode(base), S_OK, base},
        {"older version loads as this one", Encode(base, VT_UI4, 0x200), S_OK, base},
        {"version 0x301 is refused before any row", Encode(base, VT_UI4, 0x301), E_FAIL, untouched},
        {"a _cx of 1000 loads", Encode(wideExtent), S_OK, wideExtent},
        {"ColorArgb comes after ColorColorref and wins", Encode(argbWins, VT_I4), S_OK,
         argbWinsAfter},
        {"an empty title", Encode(emptyTitle), S_OK, emptyTitle},
        {"a short stream stops at the first row it cannot read", shortStream, E_FAIL, shortAfter},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto fresh = CreateLinkedObject<IColorDialog>(CLSID_ColorDialog);
        ComPtr<IPersistStreamInit> loader;
        ASSERT_EQ(S_OK, fresh.As(loader));
        EXPECT_EQ(c.result, loader->Load(StreamOf(c.stream).Get()));
        ExpectSame(c.after, Read(fresh.Get()));
    }
}

TEST_F(PersistenceTest, TextByteCountsTellEmptyFromNull) {
    // An empty title is saved with the count 2 and one terminator.
    UniqueBstr empty(L"");
    ASSERT_EQ(S_OK, dialog->put_Title(empty.Get()));
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, ::CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()));
    ASSERT_EQ(S_OK, persist->Save(stream.Get(), TRUE));
    const Bytes saved = StreamBytes(stream.Get());
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
    auto fresh = CreateLinkedObject<IColorDialog>(CLSID_ColorDialog);
    UniqueBstr before(L"before");
    fresh->put_Title(before.Get());
    ComPtr<IPersistStreamInit> loader;
    ASSERT_EQ(S_OK, fresh.As(loader));
    EXPECT_EQ(S_OK, loader->Load(StreamOf(nullTitle).Get()));
    BSTR title = nullptr;
    fresh->get_Title(&title);
    EXPECT_EQ(L"", testing::TakeBstr(title));
}

TEST_F(PersistenceTest, ATitleRefusedByItsPutEndsTheLoad) {
    Properties tooLong = Customized();
    tooLong.title = std::wstring(261, L'z');
    auto fresh = CreateLinkedObject<IColorDialog>(CLSID_ColorDialog);
    ComPtr<IPersistStreamInit> loader;
    ASSERT_EQ(S_OK, fresh.As(loader));
    EXPECT_EQ(E_FAIL, loader->Load(StreamOf(Encode(tooLong)).Get()));
    const Properties after = Read(fresh.Get());
    EXPECT_EQ(L"Colors", after.title);
    EXPECT_EQ(tooLong.argb, after.argb) << "the rows before the refused put stay";
    EXPECT_TRUE(after.apply) << "the rows after it are never read";
}

} // namespace
} // namespace orrelux
