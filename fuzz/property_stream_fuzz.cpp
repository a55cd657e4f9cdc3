// libFuzzer target for the property stream loader. See fuzz/README.md.
//
// Every input is loaded with the FileDialog table and with the ColorDialog table, by a component
// that takes every put. Beyond "no crash, no over-read", each load must hold these invariants:
//   - a source that can tell its remaining size and one that cannot give the same result and
//     the same applied rows;
//   - a failed load over memory answers kStatusFail and applies fewer rows than the table has;
//   - a successful load saves again to exactly the bytes it consumed (with the version set to
//     the current one), and those bytes load back to the same values.
#include "server/property_stream.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <vector>

namespace {

using namespace orrelux;

void Check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

class AcceptingComponent : public PropertyAccess {
public:
    std::uint32_t GetExtent(ExtentAxis axis) override { return extent[static_cast<int>(axis)]; }
    void PutExtent(ExtentAxis axis, std::uint32_t value) override {
        extent[static_cast<int>(axis)] = value;
        ++rowsApplied;
    }
    StreamStatus GetProperty(std::int32_t dispid, PropertyValue& value) override {
        const auto found = values.find(dispid);
        if (found == values.end()) {
            return kStatusFail;
        }
        value = found->second;
        return kStatusOk;
    }
    StreamStatus PutProperty(std::int32_t dispid, const PropertyValue& value) override {
        values[dispid] = value;
        ++rowsApplied;
        return kStatusOk;
    }

    bool SameState(const AcceptingComponent& other) const {
        return extent[0] == other.extent[0] && extent[1] == other.extent[1] &&
               values == other.values && rowsApplied == other.rowsApplied;
    }

    std::uint32_t extent[2] = {0, 0};
    std::map<std::int32_t, PropertyValue> values;
    std::size_t rowsApplied = 0;
};

// The same bytes from a stream that cannot tell how many remain.
class SizeHidingSource : public ByteSource {
public:
    SizeHidingSource(const std::uint8_t* data, std::size_t size) : inner_(data, size) {}
    StreamStatus Read(void* buffer, std::uint32_t size, std::uint32_t& bytesRead) override {
        return inner_.Read(buffer, size, bytesRead);
    }

private:
    MemoryByteSource inner_;
};

void LoadWithTable(const std::uint8_t* data, std::size_t size, PropertyTable table) {
    AcceptingComponent loaded;
    MemoryByteSource source(data, size);
    const StreamStatus status = LoadProperties(source, table, loaded);

    AcceptingComponent loadedBlind;
    SizeHidingSource blindSource(data, size);
    Check(LoadProperties(blindSource, table, loadedBlind) == status);
    Check(loadedBlind.SameState(loaded));

    if (IsFailure(status)) {
        Check(status == kStatusFail);
        Check(loaded.rowsApplied < table.size());
        return;
    }
    Check(status == kStatusOk && loaded.rowsApplied == table.size());

    MemoryByteSink sink;
    Check(SaveProperties(sink, table, loaded) == kStatusOk);
    const std::vector<std::uint8_t>& saved = sink.Bytes();
    Check(saved.size() == source.Position());
    Check(saved[0] == 0x00 && saved[1] == 0x03 && saved[2] == 0x00 && saved[3] == 0x00);
    Check(std::memcmp(saved.data() + 4, data + 4, saved.size() - 4) == 0);

    AcceptingComponent reloaded;
    MemoryByteSource again(saved);
    Check(LoadProperties(again, table, reloaded) == kStatusOk);
    Check(again.Position() == saved.size());
    Check(reloaded.SameState(loaded));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    LoadWithTable(data, size, kFileDialogPropertyRows);
    LoadWithTable(data, size, kColorDialogPropertyRows);
    return 0;
}
