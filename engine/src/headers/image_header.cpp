// Detection by signature and the shared pieces of the format readers.
#include "headers/image_header.h"

#include "headers/header_input.h"

#include <cstring>
#include <limits>
#include <new>

namespace orrelux::engine {

std::size_t MemoryImageSource::ReadAt(std::uint64_t offset, void* buffer, std::size_t size) {
    if (offset >= size_) {
        return 0;
    }
    const std::size_t start = static_cast<std::size_t>(offset);
    const std::size_t count = size < size_ - start ? size : size_ - start;
    std::memcpy(buffer, data_ + start, count);
    return count;
}

ReadAheadSource::ReadAheadSource(ImageByteSource& inner, std::size_t blockSize)
    : inner_(inner), blockSize_(blockSize > 0 ? blockSize : 1) {}

ReadAheadSource::~ReadAheadSource() {
    delete[] block_;
}

std::uint64_t ReadAheadSource::Size() {
    if (!sizeKnown_) {
        size_ = inner_.Size();
        sizeKnown_ = true;
    }
    return size_;
}

bool ReadAheadSource::Holds(std::uint64_t offset, std::size_t size) const {
    // blockStart_ + blockLength_ cannot overflow: both lie within Size().
    return offset >= blockStart_ && offset - blockStart_ <= blockLength_ &&
           size <= blockLength_ - static_cast<std::size_t>(offset - blockStart_);
}

std::size_t ReadAheadSource::ReadAt(std::uint64_t offset, void* buffer, std::size_t size) {
    const std::uint64_t total = Size();
    if (size == 0 || offset >= total)
        return 0;
    if (size > blockSize_ / 2)
        return inner_.ReadAt(offset, buffer, size);
    if (!Holds(offset, size)) {
        if (!block_) {
            block_ = new (std::nothrow) std::uint8_t[blockSize_];
            if (!block_)
                return inner_.ReadAt(offset, buffer, size);
        }
        const std::uint64_t left = total - offset;
        const std::size_t wanted = left < blockSize_ ? static_cast<std::size_t>(left) : blockSize_;
        blockStart_ = offset;
        blockLength_ = inner_.ReadAt(offset, block_, wanted);
        if (blockLength_ > wanted)
            blockLength_ = 0; // a source that claims more than it was given is not believed
    }
    // A short block (the inner read failed part way) serves what it has.
    const std::size_t available = blockLength_ - static_cast<std::size_t>(offset - blockStart_);
    const std::size_t count = size < available ? size : available;
    std::memcpy(buffer, block_ + (offset - blockStart_), count);
    return count;
}

namespace detail {

bool HeaderInput::StartsWith(const char* signature, std::size_t length) {
    std::uint8_t first = 0;
    if (length == 0 || !ReadByte(0, first) || first != static_cast<std::uint8_t>(signature[0])) {
        return false;
    }
    std::uint8_t bytes[16];
    if (length > sizeof bytes || !Read(0, bytes, length)) {
        return false;
    }
    return std::memcmp(bytes, signature, length) == 0;
}

ImageHeader Failure(std::int32_t fileFormat, HeaderStatus status) {
    ImageHeader header;
    header.status = status;
    header.fileFormat = status == HeaderStatus::NotRecognised ? kFileFormatUnknown : fileFormat;
    return header;
}

ImageHeader Describe(std::int32_t fileFormat, std::uint64_t width, std::uint64_t height,
                     std::uint64_t bitsPerPixel, std::uint32_t flags) {
    constexpr std::uint64_t kMaxDimension = std::numeric_limits<std::int32_t>::max();
    if (width == 0 || height == 0 || width > kMaxDimension || height > kMaxDimension ||
        bitsPerPixel == 0) {
        return Failure(fileFormat, HeaderStatus::Corrupt);
    }
    if (bitsPerPixel > kMaxBitsPerPixel) {
        return Failure(fileFormat, HeaderStatus::Unsupported);
    }
    ImageHeader header;
    header.status = HeaderStatus::Ok;
    header.fileFormat = fileFormat;
    header.width = static_cast<std::int32_t>(width);
    header.height = static_cast<std::int32_t>(height);
    header.pixelFormat = MakePixelFormat(static_cast<unsigned>(bitsPerPixel), flags);
    return header;
}

} // namespace detail

ImageHeader ReadImageHeader(ImageByteSource& source) {
    // Strong signatures first, each of a different first byte; WBMP has none and comes last.
    using Reader = ImageHeader (*)(detail::HeaderInput&);
    static constexpr Reader kReaders[] = {detail::ReadJpeg, detail::ReadPng,  detail::ReadGif,
                                          detail::ReadPsd,  detail::ReadTiff, detail::ReadBmp,
                                          detail::ReadPcx,  detail::ReadWbmp};
    detail::HeaderInput input(source);
    for (const Reader read : kReaders) {
        const ImageHeader header = read(input);
        if (header.status != HeaderStatus::NotRecognised) {
            return header;
        }
    }
    return detail::Failure(kFileFormatUnknown, HeaderStatus::NotRecognised);
}

namespace {

template <ImageHeader (*Read)(detail::HeaderInput&)> ImageHeader ReadOne(ImageByteSource& source) {
    detail::HeaderInput input(source);
    return Read(input);
}

} // namespace

ImageHeader ReadJpegHeader(ImageByteSource& source) {
    return ReadOne<detail::ReadJpeg>(source);
}
ImageHeader ReadBmpHeader(ImageByteSource& source) {
    return ReadOne<detail::ReadBmp>(source);
}
ImageHeader ReadPngHeader(ImageByteSource& source) {
    return ReadOne<detail::ReadPng>(source);
}
ImageHeader ReadTiffHeader(ImageByteSource& source) {
    return ReadOne<detail::ReadTiff>(source);
}
ImageHeader ReadPcxHeader(ImageByteSource& source) {
    return ReadOne<detail::ReadPcx>(source);
}
ImageHeader ReadWbmpHeader(ImageByteSource& source) {
    return ReadOne<detail::ReadWbmp>(source);
}
ImageHeader ReadGifHeader(ImageByteSource& source) {
    return ReadOne<detail::ReadGif>(source);
}
ImageHeader ReadPsdHeader(ImageByteSource& source) {
    return ReadOne<detail::ReadPsd>(source);
}

} // namespace orrelux::engine
