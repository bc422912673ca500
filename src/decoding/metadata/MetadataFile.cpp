#include "decoding/metadata/MetadataFile.h"

#include "decoding/headers/Boxes.h"
#include "decoding/headers/Headers.h"
#include "decoding/metadata/Exiv2Access.h"
#include "decoding/metadata/Metadata.h"
#include "decoding/Tags.h"
#include "decoding/TiffReader.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

namespace tavolin {

namespace {

/// Far above what goes into a JPEG's segment: what is too large for that is left out later, by its
/// size. All values together, as many of them can be the same bytes of the file.
constexpr std::uint64_t MAX_VALUE_BYTES = 1 << 20;
/// Of notes, and of Photoshop's resources, of which small parts go over.
constexpr std::uint64_t MAX_BLOCK_BYTES = 16 << 20;
constexpr std::uint64_t MAX_TOTAL_BYTES = 32 << 20;
/// Where notes that stay in their place end at most: a library takes MAX_WHOLE_FILE_BYTES in all.
constexpr std::int64_t MAX_NOTE_END = 192 << 20;

/// Where the pixels, and pictures to preview them, are. A library would look for them.
constexpr std::array PLACES_OF_PICTURES{
    tag::STRIP_OFFSETS,    tag::STRIP_BYTE_COUNTS, tag::TILE_OFFSETS,
    tag::TILE_BYTE_COUNTS, tag::JPEG_OFFSET,       tag::JPEG_LENGTH,
    tag::SUB_DIRECTORIES,  tag::RW2_JPEG,          tag::RW2_LARGER_JPEG,
};

/// A field of a directory to be written.
struct Field
{
    std::uint16_t tag = 0;
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    QByteArray value;
    std::uint32_t place = 0; ///< Of the value in the stream, where it is there already.
};

/// Makes a small TIFF stream of a large one.
class SmallStream
{
public:
    /// @p tiff reads @p source from its first byte on.
    SmallStream(const SourceFile &source, TiffReader &tiff) : m_source(source), m_tiff(tiff) {}

    /// The stream, with @p xmp in the first directory where there is some.
    [[nodiscard]] QByteArray made(const QByteArray &xmp)
    {
        const TiffDirectory main = m_tiff.directory(m_tiff.first());
        const TiffDirectory exif = m_tiff.directory(main.find(tag::EXIF_DIRECTORY));
        const TiffDirectory gps = m_tiff.directory(main.find(tag::GPS_DIRECTORY));
        const TiffDirectory interop = m_tiff.directory(exif.find(tag::INTEROP_DIRECTORY));

        constexpr quint16 CLASSIC = 42;
        const QByteArray head = m_source.bytesAt(0, 4);
        // That of a BigTIFF does not fit here; those of raw formats say how the tags are meant.
        m_bytes = m_tiff.isBigTiff() ? head.first(2) + number(CLASSIC) : head;
        m_bytes += number(quint32{0});
        std::vector<Field> exifFields;
        if (const TiffEntry *note = exif.find(tag::MAKER_NOTE))
            addNote(exifFields, *note); // first: it has a place
        addValues(exifFields, exif);
        addDirectory(exifFields, tag::INTEROP_DIRECTORY, valuesOf(interop));
        std::vector<Field> mainFields = valuesOf(main);
        if (!xmp.isEmpty() && isTameXmp(xmp))
            mainFields.push_back(
                {tag::XMP, tiff_type::BYTE, static_cast<std::uint32_t>(xmp.size()), xmp});
        addDirectory(mainFields, tag::EXIF_DIRECTORY, std::move(exifFields));
        addDirectory(mainFields, tag::GPS_DIRECTORY, valuesOf(gps));
        const std::uint32_t first = written(std::move(mainFields));
        m_bytes.replace(4, 4, number(first));
        // Exiv2 wants to see the last bytes of any file, before it knows what that is.
        constexpr qsizetype LEAST_BYTES = 64;
        m_bytes.append(std::max<qsizetype>(0, LEAST_BYTES - m_bytes.size()), '\0');
        return m_bytes;
    }

private:
    template <typename T>
    [[nodiscard]] QByteArray number(T value) const
    {
        const T stored = m_tiff.isBigEndian() ? qToBigEndian(value) : qToLittleEndian(value);
        return {reinterpret_cast<const char *>(&stored), sizeof(T)};
    }

    /// The value of @p entry, of @p limit bytes at most; null where it is larger or not all there.
    [[nodiscard]] QByteArray valueOf(const TiffEntry &entry, std::uint64_t limit)
    {
        const std::uint64_t length = entry.length();
        if (length == 0 || length > std::min(limit, m_bytesLeft))
            return {};
        QByteArray value = m_source.bytesAt(entry.offset, static_cast<std::int64_t>(length));
        if (static_cast<std::uint64_t>(value.size()) != length)
            return {};
        m_bytesLeft -= length;
        return value;
    }

    void addNote(std::vector<Field> &fields, const TiffEntry &note)
    {
        QByteArray value = valueOf(note, MAX_BLOCK_BYTES);
        if (value.isNull())
            return;
        Field field{note.tag, note.type, static_cast<std::uint32_t>(note.count), value};
        const bool isFar = note.offset > MAX_NOTE_END - value.size();
        if (value.size() > 4 && note.offset >= m_bytes.size() && !isFar) {
            field.place = static_cast<std::uint32_t>(note.offset);
            m_bytes += QByteArray(note.offset - m_bytes.size(), '\0') + value;
        }
        fields.push_back(std::move(field));
    }

    void addValues(std::vector<Field> &fields, const TiffDirectory &directory)
    {
        for (const TiffEntry &entry : directory.entries) {
            const bool isElsewhere =
                entry.tag == tag::MAKER_NOTE || entry.tag == tag::EXIF_DIRECTORY ||
                entry.tag == tag::GPS_DIRECTORY || entry.tag == tag::INTEROP_DIRECTORY ||
                std::ranges::count(PLACES_OF_PICTURES, entry.tag) > 0;
            if (isElsewhere)
                continue;
            const QByteArray value =
                valueOf(entry, entry.tag == tag::PHOTOSHOP ? MAX_BLOCK_BYTES : MAX_VALUE_BYTES);
            if ((value.isNull() && entry.count > 0) || (entry.tag == tag::XMP && !isTameXmp(value)))
                continue;
            fields.push_back(
                {entry.tag, entry.type, static_cast<std::uint32_t>(entry.count), value});
        }
    }

    [[nodiscard]] std::vector<Field> valuesOf(const TiffDirectory &directory)
    {
        std::vector<Field> fields;
        addValues(fields, directory);
        return fields;
    }

    /// Writes @p directory, if it has any fields, and adds the @p pointer to it.
    void addDirectory(std::vector<Field> &fields, std::uint16_t pointer,
                      std::vector<Field> directory)
    {
        if (!directory.empty())
            fields.push_back({pointer, tiff_type::LONG, 1, number(written(std::move(directory)))});
    }

    /// Where the directory of @p fields has been written, with their values behind it.
    std::uint32_t written(std::vector<Field> fields)
    {
        constexpr qsizetype ENTRY_BYTES = 12;
        constexpr qsizetype ROOM = 4; // for a value, in its entry
        std::ranges::stable_sort(fields, {}, &Field::tag);
        m_bytes.append(m_bytes.size() % 2, '\0');
        const qsizetype begin = m_bytes.size();
        qsizetype end = begin + 2 + qsizetype(fields.size()) * ENTRY_BYTES + 4;
        QByteArray values;
        m_bytes += number(static_cast<quint16>(fields.size()));
        for (const Field &field : fields) {
            m_bytes += number(field.tag) + number(field.type) + number(field.count);
            if (field.value.size() <= ROOM) {
                m_bytes += field.value + QByteArray(ROOM - field.value.size(), '\0');
            } else if (field.place > 0) {
                m_bytes += number(field.place);
            } else {
                m_bytes += number(static_cast<quint32>(end + values.size()));
                values += field.value + QByteArray(field.value.size() % 2, '\0');
            }
        }
        m_bytes += number(quint32{0}) + values; // no further directory
        return static_cast<std::uint32_t>(begin);
    }

    const SourceFile &m_source;
    TiffReader &m_tiff;
    QByteArray m_bytes;
    std::uint64_t m_bytesLeft = MAX_TOTAL_BYTES;
};

QByteArray bytesOf(std::string_view text)
{
    return {text.data(), static_cast<qsizetype>(text.size())};
}

SourceFile smallStream(const SourceFile &stream, const QByteArray &xmp = {})
{
    FieldReader fields(stream);
    auto tiff = TiffReader::open(fields, 0, stream.size());
    return SourceFile::fromBytes(tiff ? SmallStream(stream, *tiff).made(xmp) : QByteArray(),
                                 stream.stopToken());
}

SourceFile smallStream(const MetadataParts &parts)
{
    constexpr std::int64_t MOST = MAX_VALUE_BYTES;
    const QByteArray xmp = parts.xmp.size() <= MOST ? parts.xmp.bytesAt(0, MOST) : QByteArray();
    FieldReader fields(parts.exif);
    if (TiffReader::open(fields, 0, parts.exif.size()))
        return smallStream(parts.exif, xmp);
    constexpr std::string_view NO_DIRECTORY("II*\0\0\0\0\0", 8);
    return smallStream(SourceFile::fromBytes(bytesOf(NO_DIRECTORY)), xmp);
}

constexpr qsizetype BOX_HEAD_BYTES = 8;

QByteArray boxOf(std::string_view type, const QByteArray &content)
{
    const auto length = qToBigEndian(static_cast<quint32>(BOX_HEAD_BYTES + content.size()));
    return QByteArray(reinterpret_cast<const char *>(&length), sizeof length) + bytesOf(type) +
           content;
}

/// Nothing where @p file is no CR3.
QByteArray cr3Metadata(const SourceFile &file)
{
    FieldReader fields(file);
    const auto canon = findCanonMetadata(fields);
    if (!canon)
        return {};
    const auto content = [&](const std::optional<Box> &box) {
        const bool fits = box && box->size() <= std::int64_t{MAX_VALUE_BYTES};
        return fits ? file.bytesAt(box->begin, box->size()) : QByteArray();
    };
    QByteArray streams;
    for (const std::string_view type : {"CMT1", "CMT2", "CMT3", "CMT4"})
        if (const auto box = findBox(fields, canon->begin, canon->end, boxType(type)))
            streams += boxOf(type, content(box));
    const QByteArray xmp = content(findUuidBox(fields, 0, fields.size(), XMP_PACKET));
    QByteArray result = boxOf("ftyp", bytesOf({"crx \0\0\0\1crx isom", 16})) +
                        boxOf("moov", boxOf("uuid", bytesOf(CANON_METADATA) + streams));
    if (!xmp.isEmpty() && isTameXmp(xmp))
        result += boxOf("uuid", bytesOf(XMP_PACKET) + xmp);
    // Of a packet Exiv2 0.27 reads as many bytes as the box has with its head.
    return result + boxOf("free", QByteArray(BOX_HEAD_BYTES + qsizetype(XMP_PACKET.size()), '\0'));
}

} // namespace

SourceFile metadataFile(const SniffedFile &file)
{
    const SourceFile &source = file.source;
    FieldReader fields(source);
    switch (file.type) {
    case FileType::Tiff:
        return smallStream(source);
    case FileType::Heif:
        return smallStream(findHeifMetadata(fields));
    case FileType::WebP:
        return smallStream(findWebPMetadata(fields));
    case FileType::Raw:
        if (TiffReader::open(fields, 0, source.size()))
            return smallStream(source);
        if (auto jpeg = embeddedJpeg(file))
            return std::move(*jpeg);
        return SourceFile::fromBytes(cr3Metadata(source), source.stopToken());
    case FileType::Unknown:
        return SourceFile::fromBytes({});
    default:
        return source.part(0, source.size());
    }
}

} // namespace tavolin
