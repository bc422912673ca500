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
ScaledPicture decodeStored(const SourceFile &file, FileType type, const SizeRule &size,
                           ColorHint hint)
{
    switch (type) {
    case FileType::Bmp:
        return decodeBmp(file, size);
    case FileType::Jpeg:
        return decodeJpeg(file, size, hint);
    case FileType::Png:
        return decodePng(file, size);
    case FileType::Tiff:
        return decodeTiff(file, size);
    case FileType::WebP:
        return decodeWebP(file, size);
    default:
        return {};
    }
}

/// The full picture of a file that is no raw container, or null.
ScaledPicture decodeContent(const SniffedFile &file, const Properties &properties,
                            const SizeRule &size)
{
    if (!properties || !isWithinLimits(properties->stored, size.sizesOf(properties->stored).image))
        return {};
    return turnedUpright(decodeStored(file.source, file.type,
                                      size.beforeTurning(properties->orientation),
                                      properties->colorHint),
                         properties->orientation);
}

/// The preview of a raw file, or a rendering of its raw data where there is none or only a stamp.
ScaledPicture decodeRaw(const SourceFile &file, const Properties &properties, const SizeRule &size,
                        ThumbnailRule rule)
{
    DecodedPreview preview;
    if (rule == ThumbnailRule::FromImageIfAbsent)
        preview = decodeRawPreview(file, properties, size);
    if (preview.picture.isNull())
        return renderRaw(file, size);
    // Whatever is asked for: the same picture at every size.
    if (preview.longSidePx >= MIN_PREVIEW_LONG_SIDE_PX)
        return preview.picture;
    ScaledPicture rendering = renderRawInsteadOf(preview.longSidePx, file, size);
    return rendering.isNull() ? preview.picture : rendering;
}

ScaledPicture decode(const SniffedFile &file, const SizeRule &size, ThumbnailRule rule)
{
    if (file.type == FileType::Heif)
        return decodeHeif(file.source, size);
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
            return properties && properties->isRaw ? renderRaw(file.source, size)
                                                   : decodeContent(file, properties, size);
        break;
    default:
        return decodeContent(file, properties, size);
    }

    ScaledPicture result = decodeRaw(file.source, properties, size, rule);
    // LibRaw has nothing to say about a plain TIFF under a raw name.
    if (result.isNull() && file.type == FileType::Tiff)
        result = decodeContent(file, properties, size);
    return result;
}

} // namespace

ScaledPicture createThumbnail(const SniffedFile &file, const SizeRule &size, ThumbnailRule rule)
{
    try {
        return decode(file, size, rule);
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
