#include "decoding/Thumbnail.h"

#include "decoding/codecs/HeifCodec.h"
#include "decoding/codecs/JpegCodec.h"
#include "decoding/codecs/QtCodec.h"
#include "decoding/codecs/RawCodec.h"
#include "decoding/Properties.h"
#include "pixels/Limits.h"

namespace tavolin {

namespace {

/// The full picture of a file that is no raw container, or null.
Image decodeContent(const SourceFile &file, FileType type, int maxPixel)
{
    if (type == FileType::Heif)
        return decodeHeif(file, maxPixel);
    const auto properties = readProperties(file);
    if (!properties || !isWithinLimits(properties->stored))
        return {};
    const Image stored = type == FileType::Jpeg ? decodeJpeg(file, maxPixel, properties->colorHint)
                                                : decodeWithQt(file, type, maxPixel);
    return turnedUpright(stored, properties->orientation);
}

Image decode(const SourceFile &file, int maxPixel, ThumbnailRule rule)
{
    const FileType type = sniffFileType(file);
    switch (type) {
    case FileType::Unknown:
        // Some old raw formats have no mark of their own.
        if (rule == ThumbnailRule::FromImageAlways)
            return {};
        break;
    case FileType::Raw:
        break;
    case FileType::Tiff:
        if (rule == ThumbnailRule::FromImageAlways) {
            const auto properties = readProperties(file);
            return properties && properties->isRaw ? renderRaw(file, maxPixel)
                                                   : decodeContent(file, type, maxPixel);
        }
        break;
    default:
        return decodeContent(file, type, maxPixel);
    }

    Image result;
    if (rule == ThumbnailRule::FromImageIfAbsent)
        result = decodeRawPreview(file, maxPixel);
    if (result.isNull())
        result = renderRaw(file, maxPixel);
    // LibRaw has nothing to say about a plain TIFF under a raw name.
    if (result.isNull() && type == FileType::Tiff)
        result = decodeContent(file, type, maxPixel);
    return result;
}

} // namespace

Image createThumbnail(const SourceFile &file, int maxPixel, ThumbnailRule rule)
{
    if (maxPixel < 1)
        return {};
    try {
        return decode(file, maxPixel, rule);
    } catch (...) {
        // Memory or threads are lacking; libraries' own exceptions end in their wrappers.
        return {};
    }
}

std::optional<QSize> readUprightSize(const SourceFile &file, ThumbnailRule rule)
{
    const FileType type = sniffFileType(file);
    const bool mayBeRaw =
        type == FileType::Raw || type == FileType::Tiff || type == FileType::Unknown;
    std::optional<ImageProperties> properties;
    if (type == FileType::Raw || (rule == ThumbnailRule::FromImageIfAbsent && mayBeRaw))
        properties = readRawProperties(file);
    if (!properties)
        properties = readProperties(file);
    return properties ? std::optional(properties->upright()) : std::nullopt;
}

} // namespace tavolin
