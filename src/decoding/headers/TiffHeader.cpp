#include "decoding/headers/Headers.h"

#include "decoding/Tags.h"
#include "pixels/Limits.h"

namespace tavolin {

namespace {

/// Photometric interpretations of TIFF/EP and DNG.
constexpr std::uint64_t COLOR_FILTER_ARRAY = 32803;
constexpr std::uint64_t LINEAR_RAW = 34892;

std::optional<QSize> sizeOf(TiffReader &tiff, const TiffDirectory &directory)
{
    return checkedSize(tiff.integer(directory.find(tag::IMAGE_WIDTH)).value_or(0),
                       tiff.integer(directory.find(tag::IMAGE_LENGTH)).value_or(0));
}

bool isSensorData(TiffReader &tiff, const TiffDirectory &directory)
{
    const auto photometric = tiff.integer(directory.find(tag::PHOTOMETRIC));
    return photometric == COLOR_FILTER_ARRAY || photometric == LINEAR_RAW;
}

void keepLarger(std::optional<QSize> &largest, std::optional<QSize> size)
{
    if (size && (!largest || pixelCount(*size) > pixelCount(*largest)))
        largest = size;
}

/// The largest pictures in a stream.
struct Largest
{
    std::optional<QSize> any;
    std::optional<QSize> sensor; ///< Among those that are marked as data of a sensor.
};

/// Looks at @p first, the directories chained to it and the sub-directories of all.
Largest findLargest(TiffReader &tiff, const TiffDirectory &first)
{
    Largest largest;
    walkDirectories(tiff, first, [&](const TiffDirectory &directory) {
        const std::optional<QSize> size = sizeOf(tiff, directory);
        keepLarger(largest.any, size);
        if (isSensorData(tiff, directory))
            keepLarger(largest.sensor, size);
    });
    return largest;
}

} // namespace

std::optional<ImageProperties> readTiffHeader(FieldReader &fields, std::int64_t begin,
                                              std::int64_t end, bool isRaw)
{
    std::optional<TiffReader> tiff = TiffReader::open(fields, begin, end);
    if (!tiff)
        return std::nullopt;
    const TiffDirectory first = tiff->directory(tiff->first());
    const ExifFacts exif = readExif(*tiff, first);
    std::optional<QSize> size = sizeOf(*tiff, first);
    const bool isKnownRaw = isRaw || first.find(tag::DNG_VERSION);
    bool hasSensorData = false;
    if (isKnownRaw || (first.find(tag::MAKE) && first.find(tag::SUB_DIRECTORIES)) ||
        isSensorData(*tiff, first)) {
        const Largest largest = findLargest(*tiff, first);
        hasSensorData = largest.sensor.has_value();
        if (hasSensorData) {
            // Only this: previews are sometimes larger than a raw picture that was reduced.
            size = largest.sensor;
        } else if (isKnownRaw || !size) {
            size = largest.any;
            // CR2 says nowhere else how large its raw picture is.
            keepLarger(size, exif.pixels);
        }
    }
    if (!size)
        return std::nullopt;
    return ImageProperties{*size, exif.orientation, exif.colorHint, isKnownRaw || hasSensorData};
}

} // namespace tavolin
