#include "decoding/Thumbnail.h"

#include "decoding/codecs/BmpCodec.h"
#include "decoding/codecs/HeifCodec.h"
#include "decoding/codecs/JpegCodec.h"
#include "decoding/codecs/PngCodec.h"
#include "decoding/codecs/RawCodec.h"
#include "decoding/codecs/TiffCodec.h"
#include "decoding/codecs/WebPCodec.h"
#include "decoding/headers/RawPreviews.h"
#include "pixels/Limits.h"
#include "pixels/Resample.h"

#include <algorithm>

namespace tavolin {

namespace {

using Properties = std::optional<ImageProperties>;

/// The full picture as stored.
Image decodeStored(const SourceFile &file, FileType type, int maxPixel, ColorHint hint)
{
    switch (type) {
    case FileType::Bmp:
        return decodeBmp(file, maxPixel);
    case FileType::Jpeg:
        return decodeJpeg(file, maxPixel, hint);
    case FileType::Png:
        return decodePng(file, maxPixel);
    case FileType::Tiff:
        return decodeTiff(file, maxPixel);
    case FileType::WebP:
        return decodeWebP(file, maxPixel);
    default:
        return {};
    }
}

/// The full picture of a file that is no raw container, or null.
Image decodeContent(const SniffedFile &file, const Properties &properties, int maxPixel)
{
    if (!properties ||
        !isWithinLimits(properties->stored, sizeWithin(properties->stored, maxPixel)))
        return {};
    return turnedUpright(decodeStored(file.source, file.type, maxPixel, properties->colorHint),
                         properties->orientation);
}

/// The preview of a raw file, or a rendering of its raw data where there is none or only a stamp.
Image decodeRaw(const SourceFile &file, const Properties &properties, int maxPixel,
                ThumbnailRule rule)
{
    DecodedPreview preview;
    if (rule == ThumbnailRule::FromImageIfAbsent)
        preview = decodeRawPreview(file, properties, maxPixel);
    if (preview.image.isNull())
        return renderRaw(file, maxPixel);
    // Whatever is asked for: the same picture at every size.
    if (preview.longSidePx >= MIN_PREVIEW_LONG_SIDE_PX)
        return preview.image;
    Image rendering = renderRawInsteadOf(preview.longSidePx, file, maxPixel);
    return rendering.isNull() ? preview.image : rendering;
}

Image decode(const SniffedFile &file, int maxPixel, ThumbnailRule rule)
{
    if (file.type == FileType::Heif)
        return decodeHeif(file.source, maxPixel);
    const Properties properties = readProperties(file);
    switch (file.type) {
    case FileType::Unknown:
        // Some old raw formats have no mark of their own.
        if (rule == ThumbnailRule::FromImageAlways)
            return {};
        break;
    case FileType::Raw:
        break;
    case FileType::Tiff:
        if (rule == ThumbnailRule::FromImageAlways)
            return properties && properties->isRaw ? renderRaw(file.source, maxPixel)
                                                   : decodeContent(file, properties, maxPixel);
        break;
    default:
        return decodeContent(file, properties, maxPixel);
    }

    Image result = decodeRaw(file.source, properties, maxPixel, rule);
    // LibRaw has nothing to say about a plain TIFF under a raw name.
    if (result.isNull() && file.type == FileType::Tiff)
        result = decodeContent(file, properties, maxPixel);
    return result;
}

} // namespace

Image createThumbnail(const SniffedFile &file, int maxPixel, ThumbnailRule rule)
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

std::optional<QSize> readUprightSize(const SniffedFile &file, ThumbnailRule rule)
{
    return uprightSizeOf(file, rule, readProperties(file));
}

std::optional<QSize> uprightSizeOf(const SniffedFile &file, ThumbnailRule rule,
                                   const Properties &properties)
{
    const bool mayBeRaw =
        file.type == FileType::Raw || file.type == FileType::Tiff || file.type == FileType::Unknown;
    Properties found;
    if (file.type == FileType::Raw || (rule == ThumbnailRule::FromImageIfAbsent && mayBeRaw))
        found = readRawProperties(file.source);
    if (!found)
        found = properties;
    return found ? std::optional(found->upright()) : std::nullopt;
}

} // namespace tavolin
