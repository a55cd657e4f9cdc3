// EngineMetaReader of ImagingEngine.dll as the file dialog's property probe uses it: format,
// size and pixel format word of every format from its header alone, failures as statuses, files
// that other programs hold; and the operation order of the engine's interfaces, which callers
// reach by vtable.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine_pictures.h"
#include "imaging_engine.h"
#include "test_support.h"

namespace orrelux {
namespace {

using engine::kEngineCreationContext;
using testing::CorpusPicture;
using testing::kCorpus;

ComPtr<IEngineMetaReader> CreateReader() {
    ComPtr<IEngineMetaReader> reader;
    EXPECT_EQ(S_OK, ::CoCreateInstance(CLSID_EngineMetaReader, nullptr, kEngineCreationContext,
                                       IID_IEngineMetaReader, reader.PutVoid()));
    return reader;
}

HRESULT Open(IEngineMetaReader* reader, const std::wstring& path) {
    UniqueBstr name(path.c_str());
    return reader->Open(name.Get());
}

struct Facts {
    HRESULT formatStatus, widthStatus, heightStatus, pixelStatus;
    LONG format, width, height;
    ULONG pixelFormat;
};

Facts Read(IEngineMetaReader* reader) {
    Facts facts = {};
    facts.formatStatus = reader->get_FileFormat(&facts.format);
    facts.widthStatus = reader->get_Width(&facts.width);
    facts.heightStatus = reader->get_Height(&facts.height);
    facts.pixelStatus = reader->get_PixelFormat(&facts.pixelFormat);
    return facts;
}

// The signature and header of a PNG of the given size, and nothing after them.
std::vector<std::uint8_t> PngHeaderOnly(std::uint32_t width, std::uint32_t height) {
    std::vector<std::uint8_t> png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    testing::PutBe32(png, 13);
    for (const char c : {'I', 'H', 'D', 'R'})
        png.push_back(static_cast<std::uint8_t>(c));
    testing::PutBe32(png, width);
    testing::PutBe32(png, height);
    for (const std::uint8_t b : {8, 6, 0, 0, 0}) // 8-bit RGBA
        png.push_back(b);
    testing::PutBe32(png, 0); // CRCs are not the reader's business
    testing::PutBe32(png, 0); // the first data chunk ends the header
    for (const char c : {'I', 'D', 'A', 'T'})
        png.push_back(static_cast<std::uint8_t>(c));
    testing::PutBe32(png, 0);
    return png;
}

class EngineMetaReaderTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(testing::WriteCorpus(directory_));
        reader_ = CreateReader();
        ASSERT_TRUE(reader_);
    }

    testing::ScratchDirectory directory_;
    ComPtr<IEngineMetaReader> reader_;
};

TEST_F(EngineMetaReaderTest, DescribesEveryFormatFromItsHeader) {
    for (const CorpusPicture& picture : kCorpus) {
        SCOPED_TRACE(std::string(picture.name, picture.name + wcslen(picture.name)));
        ASSERT_EQ(S_OK, Open(reader_.Get(), directory_.File(picture.name)));
        const Facts facts = Read(reader_.Get());
        EXPECT_EQ(S_OK, facts.formatStatus);
        EXPECT_EQ(picture.fileFormat, facts.format);
        EXPECT_EQ(testing::kCorpusWidth, facts.width);
        EXPECT_EQ(testing::kCorpusHeight, facts.height);
        EXPECT_EQ(picture.pixelFormat, facts.pixelFormat);
        EXPECT_EQ(S_OK, reader_->Close());
    }
    // Only the header is read: a picture far too large to decode, with no pixels at all.
    const std::wstring huge = directory_.File(L"huge.png");
    ASSERT_TRUE(testing::WriteBytes(huge, PngHeaderOnly(200000, 150000)));
    ASSERT_EQ(S_OK, Open(reader_.Get(), huge));
    const Facts facts = Read(reader_.Get());
    EXPECT_EQ(200000, facts.width);
    EXPECT_EQ(150000, facts.height);
    EXPECT_EQ(0x01042000u, facts.pixelFormat);
}

// Failures are statuses: what opens is told by the format, what does not open leaves the reader
// closed, and every value read then is 0.
TEST_F(EngineMetaReaderTest, FailuresAreStatuses) {
    const std::wstring text = directory_.File(L"notes.txt");
    ASSERT_TRUE(testing::WriteBytes(text, {'j', 'u', 's', 't', ' ', 't', 'e', 'x', 't'}));
    const std::wstring cut = directory_.File(L"cut.png");
    std::vector<std::uint8_t> header = PngHeaderOnly(10, 10);
    header.resize(20);
    ASSERT_TRUE(testing::WriteBytes(cut, header));

    const HRESULT notOpen = engine::kEngineErrorNothingLoaded;
    const struct {
        const char* name;
        std::wstring path;
        HRESULT open;
        HRESULT format, size;
        LONG formatCode;
    } cases[] = {
        {"missing file", directory_.File(L"missing.png"), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND),
         notOpen, notOpen, 0},
        {"directory", directory_.Path(), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED), notOpen, notOpen,
         0},
        {"not a picture", text, engine::kEngineErrorUnknownFormat, notOpen, notOpen, 0},
        {"header cut short", cut, S_OK, S_OK, engine::kEngineErrorCorrupt, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_EQ(S_OK, Open(reader_.Get(), directory_.File(L"pattern.gif")));
        EXPECT_EQ(c.open, Open(reader_.Get(), c.path));
        const Facts facts = Read(reader_.Get());
        EXPECT_EQ(c.format, facts.formatStatus);
        EXPECT_EQ(c.formatCode, facts.format);
        for (const HRESULT status : {facts.widthStatus, facts.heightStatus, facts.pixelStatus})
            EXPECT_EQ(c.size, status);
        EXPECT_EQ(0, facts.width);
        EXPECT_EQ(0, facts.height);
        EXPECT_EQ(0u, facts.pixelFormat);
    }
    // A refused call changes nothing: the file read before stays open.
    ASSERT_EQ(S_OK, Open(reader_.Get(), directory_.File(L"pattern.wbmp")));
    EXPECT_EQ(E_INVALIDARG, reader_->Open(nullptr));
    EXPECT_EQ(E_INVALIDARG, Open(reader_.Get(), L""));
    EXPECT_EQ(6, Read(reader_.Get()).format);
    EXPECT_EQ(E_POINTER, reader_->get_Width(nullptr));
    EXPECT_EQ(E_POINTER, reader_->get_FileFormat(nullptr));
    EXPECT_EQ(S_OK, reader_->Close());
    EXPECT_EQ(S_OK, reader_->Close()) << "closing twice is no failure";
}

// The reader leaves the file to others: it opens a file that a writer holds open, and the
// file can be renamed or deleted while the reader holds it. A writer that shuts readers out
// gives a sharing violation.
TEST_F(EngineMetaReaderTest, SharesTheFileWithWritersAndDeleters) {
    const std::wstring path = directory_.File(L"pattern.png");
    {
        const UniqueKernelHandle writer(::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                                      OPEN_EXISTING, 0, nullptr));
        ASSERT_NE(INVALID_HANDLE_VALUE, writer.Get());
        EXPECT_EQ(S_OK, Open(reader_.Get(), path));
        EXPECT_EQ(3, Read(reader_.Get()).format);
        EXPECT_EQ(S_OK, reader_->Close());
    }
    {
        const UniqueKernelHandle exclusive(::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                                         0, nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_NE(INVALID_HANDLE_VALUE, exclusive.Get());
        EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION), Open(reader_.Get(), path));
        EXPECT_EQ(engine::kEngineErrorNothingLoaded, Read(reader_.Get()).formatStatus);
    }
    ASSERT_EQ(S_OK, Open(reader_.Get(), path));
    const std::wstring moved = directory_.File(L"moved.png");
    EXPECT_TRUE(::MoveFileW(path.c_str(), moved.c_str()));
    EXPECT_TRUE(::DeleteFileW(moved.c_str()));
    EXPECT_EQ(testing::kCorpusWidth, Read(reader_.Get()).width) << "what was read stays";
    EXPECT_EQ(S_OK, reader_->Close());
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, ::GetFileAttributesW(moved.c_str()));
}

// Callers reach the engine by vtable: the type library's function tables must keep the order in
// which the dialog and the picker call them (GetFormatList second, IsLzwEnabled last, after the
// seven methods of IDispatch), and the events their dispatch identifiers.
TEST_F(EngineMetaReaderTest, InterfacesKeepTheirOperationOrder) {
    ComPtr<ITypeLib> library;
    ASSERT_EQ(S_OK, ::LoadRegTypeLib(LIBID_OrreluxImagingEngine, 1, 0, 0, library.Put()));
    const struct {
        const IID* iid;
        std::vector<const wchar_t*> names;
    } interfaces[] = {
        {&IID_IEngineBitmap,
         {L"Load", L"GetFormatList", L"Draw", L"GetData", L"LoadThumbnail", L"AbortOperation",
          L"IsBusy", L"Clear", L"IsLzwEnabled", L"IsLzwEnabled"}},
        {&IID_IEngineBitmapData, {L"Width", L"Height"}},
        {&IID_IEngineFormatList, {L"OpenFilter", L"SaveFilter", L"Count"}},
        {&IID_IEngineMetaReader,
         {L"Open", L"Width", L"Height", L"PixelFormat", L"FileFormat", L"Close"}},
        {&IID_IEnginePalette,
         {L"EntryCount", L"EntryAt", L"SetEntry", L"Clear", L"LoadStandardPalette"}},
    };
    for (const auto& entry : interfaces) {
        // The dual interface's dispatch half lists IDispatch's methods too; its vtable half
        // holds only the interface's own.
        ComPtr<ITypeInfo> dispatchHalf, info;
        ASSERT_EQ(S_OK, library->GetTypeInfoOfGuid(*entry.iid, dispatchHalf.Put()));
        HREFTYPE vtableHalf = 0;
        ASSERT_EQ(S_OK, dispatchHalf->GetRefTypeOfImplType(static_cast<UINT>(-1), &vtableHalf));
        ASSERT_EQ(S_OK, dispatchHalf->GetRefTypeInfo(vtableHalf, info.Put()));
        for (std::size_t i = 0; i < entry.names.size(); ++i) {
            FUNCDESC* function = nullptr;
            ASSERT_EQ(S_OK, info->GetFuncDesc(static_cast<UINT>(i), &function));
            UniqueBstr name;
            info->GetDocumentation(function->memid, name.Put(), nullptr, nullptr, nullptr);
            // A type library keeps one spelling of a name for all its uses, whichever came
            // first ("count", a parameter of IEnginePalette, for the property Count): names
            // compare as automation compares them, without case.
            EXPECT_EQ(0, ::lstrcmpiW(entry.names[i], name.Get())) << name.Get();
            EXPECT_EQ(static_cast<SHORT>((7 + i) * sizeof(void*)), function->oVft) << i;
            info->ReleaseFuncDesc(function);
        }
    }
    ComPtr<ITypeInfo> events;
    ASSERT_EQ(S_OK, library->GetTypeInfoOfGuid(DIID__IEngineBitmapEvents, events.Put()));
    const struct {
        const wchar_t* name;
        MEMBERID id;
    } dispids[] = {{L"OperationProgress", 1},
                   {L"ErrorOccured", 2},
                   {L"OperationBegin", 8},
                   {L"OperationEnd", 9}};
    for (const auto& d : dispids) {
        MEMBERID id = 0;
        auto* name = const_cast<LPOLESTR>(d.name);
        EXPECT_EQ(S_OK, events->GetIDsOfNames(&name, 1, &id));
        EXPECT_EQ(d.id, id) << d.name;
    }
}

} // namespace
} // namespace orrelux
