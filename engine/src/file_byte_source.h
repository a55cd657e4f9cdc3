// The header readers' byte source over an open SharedFile: they ask for the ranges they need
// and nothing else is read.
#pragma once

#include "headers/image_header.h"
#include "shared_file.h"

namespace orrelux::engine {

class FileByteSource final : public ImageByteSource {
public:
    explicit FileByteSource(const SharedFile& file) : file_(file) {}

    std::size_t ReadAt(std::uint64_t offset, void* buffer, std::size_t size) override {
        std::size_t read = 0;
        return SUCCEEDED(file_.ReadAt(offset, buffer, size, &read)) ? read : 0;
    }
    std::uint64_t Size() override { return file_.Size(); }

private:
    const SharedFile& file_;
};

} // namespace orrelux::engine
