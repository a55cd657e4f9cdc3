#include "picker/win/engine_palette_source.h"

#include "imaging_engine.h"
#include "platform/handles.h"

namespace orrelux {

namespace {

// Every call into the engine runs under a catch-all: whatever the engine throws becomes a
// failure status, and the palette that was loading is skipped.
class EnginePaletteSource final : public PaletteSource {
public:
    explicit EnginePaletteSource(ComPtr<IEnginePalette> palette) : palette_(std::move(palette)) {}

    Status EntryCount(std::int32_t& count) override {
        LONG value = 0;
        const Status status = Guarded([&] { return palette_->EntryCount(&value); });
        count = value;
        return status;
    }
    Status EntryAt(std::int32_t index, std::uint32_t& color) override {
        ULONG value = 0;
        const Status status = Guarded([&] { return palette_->EntryAt(index, &value); });
        color = value;
        return status;
    }
    Status LoadStandardPalette(std::int32_t paletteType, std::int32_t reserved) override {
        return Guarded([&] { return palette_->LoadStandardPalette(paletteType, reserved); });
    }

private:
    template <typename Call> static Status Guarded(Call call) {
        try {
            return call();
        } catch (...) {
            return E_FAIL;
        }
    }

    ComPtr<IEnginePalette> palette_;
};

} // namespace

std::unique_ptr<PaletteSource> CreateEnginePaletteSource() {
    ComPtr<IEnginePalette> palette;
    try {
        if (FAILED(::CoCreateInstance(CLSID_EnginePalette, nullptr, engine::kEngineCreationContext,
                                      IID_IEnginePalette, palette.PutVoid())) ||
            !palette)
            return nullptr;
        return std::make_unique<EnginePaletteSource>(std::move(palette));
    } catch (...) {
        return nullptr;
    }
}

} // namespace orrelux
