#include "decoding/headers/Headers.h"

namespace tavolin {

namespace {

// EXIF 2.32, 4.6.3 to 4.6.5 and annex; DCF 2.0 for the interoperability directory.
constexpr std::uint16_t INTEROP_INDEX = 0x0001;
constexpr std::uint16_t ORIENTATION = 0x0112;
constexpr std::uint16_t EXIF_DIRECTORY = 0x8769;
constexpr std::uint16_t COLOR_SPACE = 0xa001;
constexpr std::uint16_t PIXEL_X_DIMENSION = 0xa002;
constexpr std::uint16_t PIXEL_Y_DIMENSION = 0xa003;
constexpr std::uint16_t INTEROP_DIRECTORY = 0xa005;

/// Not in the standard, but written by cameras.
constexpr std::uint64_t COLOR_SPACE_ADOBE_RGB = 2;

} // namespace

ExifFacts readExif(TiffReader &tiff, const TiffDirectory &first)
{
    ExifFacts facts = readExifDirectory(tiff, tiff.directory(first.find(EXIF_DIRECTORY)));
    const std::uint64_t orientation = tiff.integer(first.find(ORIENTATION)).value_or(1);
    if (orientation <= 8)
        facts.orientation = orientationFromExif(static_cast<std::uint32_t>(orientation));
    return facts;
}

ExifFacts readExifDirectory(TiffReader &tiff, const TiffDirectory &exif)
{
    ExifFacts facts;
    facts.pixels = checkedSize(tiff.integer(exif.find(PIXEL_X_DIMENSION)).value_or(0),
                               tiff.integer(exif.find(PIXEL_Y_DIMENSION)).value_or(0));
    const TiffDirectory interop = tiff.directory(exif.find(INTEROP_DIRECTORY));
    if (tiff.integer(exif.find(COLOR_SPACE)) == COLOR_SPACE_ADOBE_RGB ||
        tiff.text(interop.find(INTEROP_INDEX), 4) == "R03")
        facts.colorHint = ColorHint::AdobeRgb;
    return facts;
}

ExifFacts readExif(FieldReader &fields, std::int64_t begin, std::int64_t end)
{
    constexpr int PREFIX_BYTES = 6; // "Exif", a zero and a byte of padding
    const bool hasPrefix = hasText(fields.bytes(begin, PREFIX_BYTES), "Exif");
    std::optional<TiffReader> tiff =
        TiffReader::open(fields, hasPrefix ? begin + PREFIX_BYTES : begin, end);
    return tiff ? readExif(*tiff, tiff->directory(tiff->first())) : ExifFacts{};
}

} // namespace tavolin
