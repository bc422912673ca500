#include "decoding/headers/Headers.h"

#include "decoding/Tags.h"

namespace tavolin {

namespace {

/// Not in the standard, but written by cameras.
constexpr std::uint64_t COLOR_SPACE_ADOBE_RGB = 2;

/// Where the TIFF stream begins in the EXIF block from @p begin on.
std::int64_t streamBegin(FieldReader &fields, std::int64_t begin)
{
    constexpr int PREFIX_BYTES = 6; // "Exif", a zero and a byte of padding
    return hasText(fields.bytes(begin, PREFIX_BYTES), "Exif") ? begin + PREFIX_BYTES : begin;
}

} // namespace

bool saysAdobeRgb(std::optional<std::uint64_t> colorSpace, std::string_view interopIndex)
{
    return colorSpace == COLOR_SPACE_ADOBE_RGB || interopIndex == "R03";
}

ExifFacts readExif(TiffReader &tiff, const TiffDirectory &first)
{
    ExifFacts facts = readExifDirectory(tiff, tiff.directory(first.find(tag::EXIF_DIRECTORY)));
    const std::uint64_t orientation = tiff.integer(first.find(tag::ORIENTATION)).value_or(1);
    if (orientation <= 8)
        facts.orientation = orientationFromExif(static_cast<std::uint32_t>(orientation));
    return facts;
}

ExifFacts readExifDirectory(TiffReader &tiff, const TiffDirectory &exif)
{
    ExifFacts facts;
    facts.pixels = checkedSize(tiff.integer(exif.find(tag::PIXEL_X_DIMENSION)).value_or(0),
                               tiff.integer(exif.find(tag::PIXEL_Y_DIMENSION)).value_or(0));
    const TiffDirectory interop = tiff.directory(exif.find(tag::INTEROP_DIRECTORY));
    const QByteArray index = tiff.text(interop.find(tag::INTEROP_INDEX), 4);
    if (saysAdobeRgb(tiff.integer(exif.find(tag::COLOR_SPACE)), index.toStdString()))
        facts.colorHint = ColorHint::AdobeRgb;
    return facts;
}

SourceFile exifStream(FieldReader &fields, std::int64_t begin, std::int64_t end)
{
    begin = streamBegin(fields, begin);
    return fields.file().part(begin, end - begin);
}

ExifFacts readExif(FieldReader &fields, std::int64_t begin, std::int64_t end)
{
    std::optional<TiffReader> tiff = TiffReader::open(fields, streamBegin(fields, begin), end);
    return tiff ? readExif(*tiff, tiff->directory(tiff->first())) : ExifFacts{};
}

} // namespace tavolin
