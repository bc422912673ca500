#include "decoding/Properties.h"

#include "decoding/headers/Headers.h"

#include <limits>

namespace tavolin {

std::optional<QSize> checkedSize(std::uint64_t width, std::uint64_t height)
{
    constexpr std::uint64_t MAX = std::numeric_limits<int>::max();
    if (width == 0 || height == 0 || width > MAX || height > MAX)
        return std::nullopt;
    return QSize(static_cast<int>(width), static_cast<int>(height));
}

std::optional<ImageProperties> readProperties(const SniffedFile &file)
{
    FieldReader fields(file.source);
    switch (file.type) {
    case FileType::Unknown:
        break;
    case FileType::Jpeg:
        return readJpegHeader(fields);
    case FileType::Png:
        return readPngHeader(fields);
    case FileType::Bmp:
        return readBmpHeader(fields);
    case FileType::WebP:
        return readWebPHeader(fields);
    case FileType::Tiff:
        return readTiffHeader(fields, 0, fields.size(), false);
    case FileType::Heif:
        return readHeifHeader(fields);
    case FileType::Raw:
        return readRawHeader(fields);
    }
    return std::nullopt;
}

} // namespace tavolin
