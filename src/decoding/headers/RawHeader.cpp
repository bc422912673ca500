#include "decoding/headers/Boxes.h"
#include "decoding/headers/Headers.h"
#include "decoding/Tags.h"
#include "pixels/Limits.h"

#include <algorithm>

namespace tavolin {

namespace {

std::optional<ImageProperties> readCr3Header(FieldReader &fields)
{
    const auto canon = findCanonMetadata(fields);
    if (!canon)
        return std::nullopt;
    const auto main = findBox(fields, canon->begin, canon->end, boxType("CMT1"));
    auto result = main ? readTiffHeader(fields, main->begin, main->end, true) : std::nullopt;
    const auto exif = findBox(fields, canon->begin, canon->end, boxType("CMT2"));
    auto tiff = exif ? TiffReader::open(fields, exif->begin, exif->end) : std::nullopt;
    if (!result || !tiff)
        return result;
    const ExifFacts facts = readExifDirectory(*tiff, tiff->directory(tiff->first()));
    if (facts.pixels && pixelCount(*facts.pixels) > pixelCount(result->stored))
        result->stored = *facts.pixels;
    result->colorHint = facts.colorHint;
    return result;
}

std::optional<ImageProperties> readRw2Header(FieldReader &fields)
{
    std::optional<TiffReader> tiff = TiffReader::open(fields, 0, fields.size());
    if (!tiff)
        return std::nullopt;
    const TiffDirectory first = tiff->directory(tiff->first());
    const auto length = [&](std::uint16_t from, std::uint16_t to) -> std::uint64_t {
        const auto low = tiff->integer(first.find(from));
        const auto high = tiff->integer(first.find(to));
        return low && high && *high > *low ? *high - *low : 0;
    };
    const auto size =
        checkedSize(length(tag::RW2_LEFT, tag::RW2_RIGHT), length(tag::RW2_TOP, tag::RW2_BOTTOM));
    if (!size)
        return std::nullopt;
    const ExifFacts exif = readExif(*tiff, first);
    return ImageProperties{*size, exif.orientation, exif.colorHint};
}

/// The size of the picture on the sensor in a RAF's own directory, whose offset is at byte 92.
std::optional<QSize> rafSensorSize(FieldReader &fields)
{
    constexpr quint16 CROPPED_SIZE = 0x0111;
    constexpr quint32 MAX_RECORDS = 256;
    const ByteSpan pointer = fields.bytes(92, 4);
    std::int64_t at = pointer.empty() ? 0 : bigEndian<quint32>(pointer, 0);
    const ByteSpan countField = fields.bytes(at, 4);
    const quint32 count = countField.empty() ? 0 : bigEndian<quint32>(countField, 0);
    at += 4;
    for (quint32 i = 0; i < std::min(count, MAX_RECORDS); ++i) {
        const ByteSpan record = fields.bytes(at, 8);
        if (record.empty())
            break;
        if (bigEndian<quint16>(record, 0) == CROPPED_SIZE)
            return checkedSize(bigEndian<quint16>(record, 6), bigEndian<quint16>(record, 4));
        at += 4 + bigEndian<quint16>(record, 2);
    }
    return std::nullopt;
}

/// RAF: a JPEG, which has the EXIF block and in most cameras the full size, before the raw data.
std::optional<ImageProperties> readRafHeader(FieldReader &fields)
{
    const ByteSpan pointer = fields.bytes(84, 4);
    if (pointer.empty())
        return std::nullopt;
    auto result = readJpegHeader(fields, bigEndian<quint32>(pointer, 0));
    const auto sensor = rafSensorSize(fields);
    if (result && sensor && pixelCount(*sensor) > pixelCount(result->stored))
        result->stored = *sensor;
    return result;
}

} // namespace

std::optional<ImageProperties> readRawHeader(FieldReader &fields)
{
    const ByteSpan head = fields.bytes(0, 16);
    if (hasText(head, "FUJIFILM"))
        return readRafHeader(fields);
    if (hasText(head, "ftyp", 4))
        return readCr3Header(fields);
    if (hasText(head, "IIU"))
        return readRw2Header(fields);
    return readTiffHeader(fields, 0, fields.size(), true);
}

} // namespace tavolin
