#include "decoding/metadata/Metadata.h"

#include "decoding/FieldReader.h"
#include "decoding/FileType.h"
#include "decoding/headers/Boxes.h"
#include "decoding/headers/Headers.h"
#include "decoding/headers/JpegSegments.h"
#include "decoding/metadata/Exiv2Access.h"
#include "decoding/metadata/Exiv2Seam.h"
#include "decoding/Tags.h"
#include "decoding/TiffReader.h"

#include <QByteArray>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

namespace tavolin {

namespace {

/// The most that is taken of a text.
constexpr std::uint64_t MAX_TEXT_BYTES = FieldReader::CAPACITY;

enum class Directory : std::uint8_t { Main, Exif };

struct Tag
{
    std::uint16_t number;
    Directory directory;
};

constexpr Tag MAKE{tag::MAKE, Directory::Main};
constexpr Tag MODEL{tag::MODEL, Directory::Main};
constexpr Tag EXPOSURE_TIME{tag::EXPOSURE_TIME, Directory::Exif};
constexpr Tag F_NUMBER{tag::F_NUMBER, Directory::Exif};
constexpr Tag ISO_SPEED_RATINGS{tag::ISO_SPEED_RATINGS, Directory::Exif};
constexpr Tag DATE_TIME_ORIGINAL{tag::DATE_TIME_ORIGINAL, Directory::Exif};
constexpr Tag FOCAL_LENGTH{tag::FOCAL_LENGTH, Directory::Exif};
constexpr Tag LENS_MODEL{tag::LENS_MODEL, Directory::Exif};

QString decoded(std::string_view text)
{
    text = text.substr(0, std::min(text.find('\0'), text.size()));
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

std::optional<double> quotient(std::int64_t numerator, std::int64_t denominator)
{
    return denominator == 0
               ? std::nullopt
               : std::optional(static_cast<double>(numerator) / static_cast<double>(denominator));
}

/// The tags in directories of a file that is a TIFF stream as a whole.
class StreamTags
{
public:
    StreamTags(FieldReader &fields, TiffReader &tiff, TiffDirectory main, TiffDirectory exif)
        : m_fields(fields), m_tiff(tiff), m_main(std::move(main)), m_exif(std::move(exif))
    {}

    std::optional<QString> text(Tag wanted)
    {
        const TiffEntry *entry = find(wanted);
        if (!entry || entry->type != tiff_type::ASCII)
            return std::nullopt;
        const ByteSpan bytes =
            m_fields.bytes(entry->offset, std::min(entry->count, MAX_TEXT_BYTES));
        if (bytes.empty())
            return std::nullopt;
        return decoded({reinterpret_cast<const char *>(bytes.data()), bytes.size()});
    }

    std::optional<double> number(Tag wanted)
    {
        const TiffEntry *entry = find(wanted);
        if (!entry || entry->count == 0)
            return std::nullopt;
        if (entry->type != tiff_type::RATIONAL && entry->type != tiff_type::SIGNED_RATIONAL)
            return m_tiff.integer(entry);
        // Two integers, one after the other.
        const TiffEntry pair{entry->tag, tiff_type::LONG, 2, entry->offset};
        const auto numerator = m_tiff.integer(&pair, 0);
        const auto denominator = m_tiff.integer(&pair, 1);
        if (!numerator || !denominator)
            return std::nullopt;
        if (entry->type == tiff_type::SIGNED_RATIONAL)
            return quotient(static_cast<std::int32_t>(*numerator),
                            static_cast<std::int32_t>(*denominator));
        return quotient(static_cast<std::int64_t>(*numerator),
                        static_cast<std::int64_t>(*denominator));
    }

private:
    [[nodiscard]] const TiffEntry *find(Tag wanted) const
    {
        return (wanted.directory == Directory::Main ? m_main : m_exif).find(wanted.number);
    }

    FieldReader &m_fields;
    TiffReader &m_tiff;
    TiffDirectory m_main;
    TiffDirectory m_exif;
};

/// The tags that Exiv2 has found.
class FoundTags
{
public:
    explicit FoundTags(const Exiv2::ExifData &exif) : m_exif(exif) {}

    std::optional<QString> text(Tag wanted)
    {
        const Exiv2::Value *value = find(wanted);
        if (!value || value->typeId() != Exiv2::asciiString)
            return std::nullopt;
        std::vector<Exiv2::byte> bytes(static_cast<std::size_t>(value->size()));
        value->copy(bytes.data(), Exiv2::littleEndian);
        return decoded({reinterpret_cast<const char *>(bytes.data()),
                        std::min<std::size_t>(bytes.size(), MAX_TEXT_BYTES)});
    }

    std::optional<double> number(Tag wanted)
    {
        const Exiv2::Value *value = find(wanted);
        if (!value)
            return std::nullopt;
        if (const auto *pairs = dynamic_cast<const Exiv2::URationalValue *>(value))
            return quotient(pairs->value_[0].first, pairs->value_[0].second);
        if (const auto *pairs = dynamic_cast<const Exiv2::RationalValue *>(value))
            return quotient(pairs->value_[0].first, pairs->value_[0].second);
        if (value->typeId() == Exiv2::unsignedShort || value->typeId() == Exiv2::unsignedLong)
            return static_cast<double>(exiv2::wholeNumber(*value));
        return std::nullopt;
    }

private:
    /// The value of @p wanted, of which there is at least one; or null.
    [[nodiscard]] const Exiv2::Value *find(Tag wanted) const
    {
        const char *group = wanted.directory == Directory::Main ? "Image" : "Photo";
        const auto found = m_exif.findKey(Exiv2::ExifKey(wanted.number, group));
        return found == m_exif.end() || found->count() <= 0 ? nullptr : &found->value();
    }

    const Exiv2::ExifData &m_exif;
};

template <typename Tags>
PhotoMetadata metadataFrom(Tags tags)
{
    PhotoMetadata result;
    result.make = tags.text(MAKE);
    result.model = tags.text(MODEL);
    result.lensModel = tags.text(LENS_MODEL);
    result.focalLength = tags.number(FOCAL_LENGTH);
    result.fNumber = tags.number(F_NUMBER);
    result.exposureTime = tags.number(EXPOSURE_TIME);
    // EXIF has no larger ones, and a double may not fit.
    constexpr double MAX_ISO = std::numeric_limits<std::uint32_t>::max();
    if (const auto iso = tags.number(ISO_SPEED_RATINGS); iso && *iso >= 0 && *iso <= MAX_ISO)
        result.iso = static_cast<qint64>(*iso);
    result.dateTimeOriginal = tags.text(DATE_TIME_ORIGINAL);
    return result;
}

/// Gives @p metadata what only @p other has; neither has a pixel size yet.
void addMissing(PhotoMetadata &metadata, PhotoMetadata other)
{
    const auto add = [](auto &mine, auto &theirs) {
        if (!mine)
            mine = std::move(theirs);
    };
    add(metadata.make, other.make);
    add(metadata.model, other.model);
    add(metadata.lensModel, other.lensModel);
    add(metadata.focalLength, other.focalLength);
    add(metadata.fNumber, other.fNumber);
    add(metadata.exposureTime, other.exposureTime);
    add(metadata.iso, other.iso);
    add(metadata.dateTimeOriginal, other.dateTimeOriginal);
}

PhotoMetadata readWithExiv2(const SourceFile &file)
{
    PhotoMetadata result;
    withMetadata(file, [&result](const Exiv2::Image &image) {
        result = metadataFrom(FoundTags(image.exifData()));
    });
    return result;
}

/// Empty when @p file is no TIFF stream.
std::optional<PhotoMetadata> readStream(const SourceFile &file)
{
    FieldReader fields(file);
    std::optional<TiffReader> tiff = TiffReader::open(fields, 0, file.size());
    if (!tiff)
        return std::nullopt;
    TiffDirectory main = tiff->directory(tiff->first());
    TiffDirectory exif = tiff->directory(main.find(tag::EXIF_DIRECTORY));
    return metadataFrom(StreamTags(fields, *tiff, std::move(main), std::move(exif)));
}

/// What @p jpeg says. Of one that ends in its EXIF data Exiv2 takes nothing.
PhotoMetadata readJpeg(const SourceFile &jpeg)
{
    PhotoMetadata result = readWithExiv2(jpeg);
    FieldReader fields(jpeg);
    if (result == PhotoMetadata{})
        if (const auto exif = findExifSegment(fields, 0))
            result = readStream(jpeg.part(exif->begin, exif->bytes)).value_or(PhotoMetadata{});
    return result;
}

PhotoMetadata readCr3(const SourceFile &file)
{
    FieldReader fields(file);
    const auto canon = findCanonMetadata(fields);
    if (!canon)
        return {};
    PhotoMetadata result;
    if (const auto main = findBox(fields, canon->begin, canon->end, boxType("CMT1")))
        result = readStream(file.part(main->begin, main->size())).value_or(PhotoMetadata{});
    if (const auto exif = findBox(fields, canon->begin, canon->end, boxType("CMT2"))) {
        const SourceFile part = file.part(exif->begin, exif->size());
        FieldReader exifFields(part);
        if (auto tiff = TiffReader::open(exifFields, 0, part.size()))
            addMissing(result, metadataFrom(StreamTags(exifFields, *tiff, {},
                                                       tiff->directory(tiff->first()))));
    }
    return result;
}

/// All but the pixel size. Exiv2 would want most files in memory as a whole, which can be hundreds
/// of megabytes, so these are read here.
PhotoMetadata readTags(const SniffedFile &file)
{
    if (file.type == FileType::Unknown)
        return {};
    const std::optional<SourceFile> jpeg = embeddedJpeg(file);
    if (auto result = readStream(file.source)) {
        // What Panasonic's own directories leave out is in the JPEG.
        if (jpeg)
            addMissing(*result, readJpeg(*jpeg));
        return *result;
    }
    FieldReader fields(file.source);
    if (file.type == FileType::Heif)
        return readStream(findHeifMetadata(fields).exif).value_or(PhotoMetadata{});
    if (file.type == FileType::WebP)
        return readStream(findWebPMetadata(fields).exif).value_or(PhotoMetadata{});
    if (file.type == FileType::Raw && !jpeg)
        return readCr3(file.source);
    if (jpeg || file.type == FileType::Jpeg)
        return readJpeg(jpeg ? *jpeg : file.source);
    return readWithExiv2(file.source);
}

} // namespace

std::optional<SourceFile> embeddedJpeg(const SniffedFile &file)
{
    if (file.type != FileType::Raw)
        return std::nullopt;
    FieldReader fields(file.source);
    std::int64_t begin = -1;
    if (const ByteSpan head = fields.bytes(0, 92); hasText(head, "FUJIFILMCCD-RAW")) {
        begin = bigEndian<quint32>(head, 84);
    } else if (hasText(head, {"IIU\0", 4})) {
        auto tiff = TiffReader::open(fields, 0, fields.size());
        const TiffDirectory main = tiff ? tiff->directory(tiff->first()) : TiffDirectory{};
        if (const TiffEntry *jpeg = main.find(tag::RW2_JPEG))
            begin = jpeg->offset;
    } else {
        return std::nullopt;
    }
    const bool isJpeg = hasText(fields.bytes(begin, 2), "\xff\xd8");
    return file.source.part(begin, isJpeg ? file.source.size() : 0);
}

std::optional<PhotoFacts> readFacts(const SniffedFile &file, ThumbnailRule rule)
{
    const auto properties = readProperties(file);
    PhotoFacts facts{readTags(file), static_cast<std::uintmax_t>(file.source.size()),
                     properties ? properties->orientation : Orientation::Upright};
    facts.metadata.pixelSize = uprightSizeOf(file, rule, properties);
    return facts.metadata == PhotoMetadata{} ? std::nullopt : std::optional(std::move(facts));
}

} // namespace tavolin
