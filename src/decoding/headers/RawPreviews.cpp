#include "decoding/headers/RawPreviews.h"

#include "decoding/headers/Boxes.h"
#include "decoding/headers/Headers.h"
#include "decoding/headers/JpegSegments.h"
#include "decoding/Tags.h"
#include "decoding/TiffReader.h"
#include "pixels/Limits.h"

#include <algorithm>
#include <array>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>

namespace tavolin {

namespace {

using namespace std::string_view_literals;

/// Real files have up to five.
constexpr std::size_t MAX_PREVIEWS = 64;

/// Frames of JPEG up to this are sequential or progressive, coded by Huffman (ITU-T T.81, table
/// B.1); the next one is the lossless one.
constexpr unsigned SOF2 = 0xc2;

/// Photometric interpretations of JPEGs in strips or tiles that are previews (DNG 1.6,
/// Compression); others are sensor data, masks and depths.
constexpr std::uint64_t BLACK_IS_ZERO = 1;
constexpr std::uint64_t YCBCR = 6;

/// Tags in the maker notes of those who keep previews there.
constexpr std::uint16_t PENTAX_PREVIEW_LENGTH = 0x0003;
constexpr std::uint16_t PENTAX_PREVIEW_START = 0x0004;
constexpr std::uint16_t NIKON_PREVIEW_DIRECTORY = 0x0011;
constexpr std::uint16_t SAMSUNG_PREVIEW_DIRECTORY = 0x0035;
constexpr std::uint16_t MINOLTA_PREVIEW = 0x0081; // and of Olympus and Sony of old, like the next
constexpr std::uint16_t MINOLTA_PREVIEW_START = 0x0088;
constexpr std::uint16_t MINOLTA_PREVIEW_LENGTH = 0x0089;
constexpr std::uint16_t OLYMPUS_THUMBNAIL = 0x0100;
constexpr std::uint16_t SONY_PREVIEW = 0x2001;
constexpr std::uint16_t OLYMPUS_SETTINGS = 0x2020;
constexpr std::uint16_t OLYMPUS_PREVIEW_START = 0x0101; // in the settings, like the next
constexpr std::uint16_t OLYMPUS_PREVIEW_LENGTH = 0x0102;

/// How a maker note begins, and where its directory then is.
struct MakerNoteKind
{
    std::string_view signature;
    std::size_t byteOrderAt = 0; ///< Of "II" or "MM"; 0: the stream's order.
    std::int64_t directoryAt = 0;
};
constexpr std::array MAKER_NOTE_KINDS{
    MakerNoteKind{"OLYMPUS\0"sv, 8, 12}, MakerNoteKind{"OM SYSTEM\0\0\0"sv, 12, 16},
    MakerNoteKind{"OLYMP\0"sv, 0, 8},    MakerNoteKind{"PENTAX \0"sv, 8, 10},
    MakerNoteKind{"AOC\0"sv, 4, 6},      MakerNoteKind{"SONY DSC \0\0\0"sv, 0, 12},
    MakerNoteKind{""sv, 0, 0},
};
/// A whole TIFF stream follows ten bytes of this.
constexpr std::string_view NIKON_SIGNATURE = "Nikon\0\2"sv;
constexpr std::int64_t NIKON_STREAM_AT = 10;

/// Collects the previews of one file, wherever it is told to look.
class Search
{
public:
    explicit Search(FieldReader &fields) : m_fields(fields) {}

    /// The JPEG at @p offset from byte @p base of the file, if one is there, and the thumbnail in
    /// its EXIF block. A @p length of 0 is not known.
    void addJpeg(std::int64_t base, std::uint64_t offset, std::uint64_t length);
    void addFromStream(TiffReader tiff);
    void addFromRaf();
    void addFromCr3();

    [[nodiscard]] std::vector<RawPreview> largestFirst() &&;

private:
    void addFromDirectory(TiffReader &tiff, const TiffDirectory &directory);
    void addFromMakerNote(TiffReader &tiff, const TiffEntry *entry);
    void addFromNoteDirectory(TiffReader &note, const TiffDirectory &directory);
    void addSpan(TiffReader &tiff, const TiffDirectory &directory, std::uint16_t offsetTag,
                 std::uint16_t lengthTag);
    void addValue(const TiffReader &tiff, const TiffEntry *entry);
    void addFromTrack(const Box &track);

    FieldReader &m_fields;
    std::vector<RawPreview> m_found;
};

void Search::addJpeg(std::int64_t base, std::uint64_t offset, std::uint64_t length)
{
    const std::int64_t room = m_fields.size() - base;
    if (room <= 0 || offset >= static_cast<std::uint64_t>(room) || m_found.size() == MAX_PREVIEWS)
        return;
    const std::int64_t begin = base + static_cast<std::int64_t>(offset);
    const std::uint64_t rest = static_cast<std::uint64_t>(room) - offset;
    if (std::ranges::any_of(m_found, [&](const auto &known) { return known.offset == begin; }))
        return;
    const std::optional<JpegFrame> frame = readJpegFrame(m_fields, begin);
    if (!frame || frame->marker > SOF2 || frame->precision != 8)
        return;
    const bool isCut = length > rest;
    length = length == 0 ? rest : std::min(length, rest);
    m_found.push_back({begin, static_cast<std::int64_t>(length), frame->size, isCut});
    if (const auto exif = findExifSegment(m_fields, begin))
        if (auto tiff = TiffReader::open(m_fields, exif->begin, exif->begin + exif->bytes))
            addFromStream(*tiff);
}

void Search::addFromStream(TiffReader tiff)
{
    walkDirectories(tiff, tiff.directory(tiff.first()),
                    [&](const TiffDirectory &directory) { addFromDirectory(tiff, directory); });
}

void Search::addFromDirectory(TiffReader &tiff, const TiffDirectory &directory)
{
    addSpan(tiff, directory, tag::JPEG_OFFSET, tag::JPEG_LENGTH);
    for (const std::uint16_t jpeg : {tag::RW2_JPEG, tag::RW2_LARGER_JPEG})
        addValue(tiff, directory.find(jpeg));
    const auto photometric = tiff.integer(directory.find(tag::PHOTOMETRIC));
    if (!photometric || photometric == BLACK_IS_ZERO || photometric == YCBCR) {
        addSpan(tiff, directory, tag::STRIP_OFFSETS, tag::STRIP_BYTE_COUNTS);
        addSpan(tiff, directory, tag::TILE_OFFSETS, tag::TILE_BYTE_COUNTS);
    }
    const TiffDirectory exif = tiff.directory(directory.find(tag::EXIF_DIRECTORY));
    addFromMakerNote(tiff, exif.find(tag::MAKER_NOTE));
}

void Search::addFromMakerNote(TiffReader &tiff, const TiffEntry *entry)
{
    if (!entry || entry->offset >= m_fields.size() - tiff.begin())
        return;
    const std::int64_t begin = tiff.begin() + entry->offset;
    const ByteSpan head = m_fields.bytes(begin, 16);
    if (head.empty())
        return;
    if (hasText(head, NIKON_SIGNATURE)) {
        if (auto note = TiffReader::open(m_fields, begin + NIKON_STREAM_AT, m_fields.size()))
            addFromNoteDirectory(*note, note->directory(note->first()));
        return;
    }
    const auto *kind = std::ranges::find_if(
        MAKER_NOTE_KINDS, [&](const auto &each) { return hasText(head, each.signature); });
    const bool isBig = hasText(head, "MM", kind->byteOrderAt);
    const bool isLittle = hasText(head, "II", kind->byteOrderAt);
    const bool hasOrder = kind->byteOrderAt > 0 && (isBig || isLittle);
    // Makers count offsets from the note or from the stream around it, some now so and now so. With
    // the wrong one no JPEG is found.
    for (const std::int64_t base : {begin, tiff.begin()}) {
        TiffReader note = tiff.from(base, hasOrder ? isBig : tiff.isBigEndian());
        addFromNoteDirectory(note, note.directory(begin - base + kind->directoryAt));
    }
}

void Search::addFromNoteDirectory(TiffReader &note, const TiffDirectory &directory)
{
    addSpan(note, directory, PENTAX_PREVIEW_START, PENTAX_PREVIEW_LENGTH);
    addSpan(note, directory, MINOLTA_PREVIEW_START, MINOLTA_PREVIEW_LENGTH);
    for (const std::uint16_t pointer : {NIKON_PREVIEW_DIRECTORY, SAMSUNG_PREVIEW_DIRECTORY})
        addSpan(note, note.directory(directory.find(pointer)), tag::JPEG_OFFSET, tag::JPEG_LENGTH);
    for (const std::uint16_t value : {MINOLTA_PREVIEW, OLYMPUS_THUMBNAIL, SONY_PREVIEW})
        addValue(note, directory.find(value));
    // The settings were a value once and are a pointer now.
    const TiffEntry *settings = directory.find(OLYMPUS_SETTINGS);
    const bool isValue = settings && settings->type == tiff_type::UNDEFINED;
    addSpan(note, isValue ? note.directory(settings->offset) : note.directory(settings),
            OLYMPUS_PREVIEW_START, OLYMPUS_PREVIEW_LENGTH);
}

void Search::addSpan(TiffReader &tiff, const TiffDirectory &directory, std::uint16_t offsetTag,
                     std::uint16_t lengthTag)
{
    // What comes in several pieces is no JPEG.
    const TiffEntry *entry = directory.find(offsetTag);
    if (!entry || entry->count != 1)
        return;
    if (const auto offset = tiff.integer(entry))
        addJpeg(tiff.begin(), *offset, tiff.integer(directory.find(lengthTag)).value_or(0));
}

void Search::addValue(const TiffReader &tiff, const TiffEntry *entry)
{
    if (entry)
        addJpeg(tiff.begin(), static_cast<std::uint64_t>(entry->offset), entry->length());
}

/// The offset and the length of the JPEG are at bytes 84 and 88.
void Search::addFromRaf()
{
    const ByteSpan fields = m_fields.bytes(84, 8);
    if (!fields.empty())
        addJpeg(0, bigEndian<quint32>(fields, 0), bigEndian<quint32>(fields, 4));
}

/// A thumbnail among the metadata, a preview in a box of its own, and the full size as a track,
/// where the other tracks are the raw data.
void Search::addFromCr3()
{
    /// Size and other facts before the JPEG in "THMB" and "PRVW".
    constexpr std::int64_t FACTS_BYTES = 16;
    const auto addBox = [&](const std::optional<Box> &box) {
        if (box && box->size() > FACTS_BYTES)
            addJpeg(box->begin, FACTS_BYTES, static_cast<std::uint64_t>(box->size() - FACTS_BYTES));
    };
    const std::int64_t end = m_fields.size();
    if (const auto canon = findCanonMetadata(m_fields))
        addBox(findBox(m_fields, canon->begin, canon->end, boxType("THMB")));
    if (const auto moov = findBox(m_fields, 0, end, boxType("moov"))) {
        for (auto box = boxAt(m_fields, moov->begin, moov->end); box;
             box = boxAt(m_fields, box->end, moov->end))
            if (box->type == boxType("trak"))
                addFromTrack(*box);
    }
    constexpr std::int64_t PREVIEW_AT = 8;
    if (const auto preview = findUuidBox(m_fields, 0, end, CANON_PREVIEW))
        addBox(findBox(m_fields, preview->begin + PREVIEW_AT, preview->end, boxType("PRVW")));
}

/// The first sample of a track (ISO/IEC 14496-12, 8.7.3 and 8.7.5).
void Search::addFromTrack(const Box &track)
{
    std::optional<Box> table = track;
    for (const std::string_view step : {"mdia"sv, "minf"sv, "stbl"sv})
        if (table)
            table = findBox(m_fields, table->begin, table->end, boxType(step));
    if (!table)
        return;
    const auto sizes = findBox(m_fields, table->begin, table->end, boxType("stsz"));
    auto offsets = findBox(m_fields, table->begin, table->end, boxType("co64"));
    const bool isLong = offsets.has_value();
    if (!isLong)
        offsets = findBox(m_fields, table->begin, table->end, boxType("stco"));
    if (!sizes || !offsets)
        return;
    BoxNumbers size(m_fields, sizes->begin + VERSION_BYTES, sizes->end);
    auto length = size.next<quint32>();
    const auto count = size.next<quint32>();
    if (length == 0 && count > 0)
        length = size.next<quint32>();
    BoxNumbers offset(m_fields, offsets->begin + VERSION_BYTES, offsets->end);
    const auto chunks = offset.next<quint32>();
    const std::uint64_t begin = isLong ? offset.next<quint64>() : offset.next<quint32>();
    if (count > 0 && chunks > 0 && offset.isGood())
        addJpeg(0, begin, length);
}

std::vector<RawPreview> Search::largestFirst() &&
{
    const auto rank = [](const RawPreview &preview) {
        const int longest = std::max(preview.size.width(), preview.size.height());
        return std::pair(!preview.isCut && longest >= MIN_PREVIEW_LONG_SIDE_PX,
                         pixelCount(preview.size));
    };
    std::ranges::stable_sort(m_found, std::ranges::greater(), rank);
    return std::move(m_found);
}

} // namespace

std::vector<RawPreview> findRawPreviews(FieldReader &fields)
{
    Search search(fields);
    const ByteSpan head = fields.bytes(0, 16);
    if (hasText(head, "FUJIFILM"))
        search.addFromRaf();
    else if (hasText(head, "ftyp", 4))
        search.addFromCr3();
    else if (auto tiff = TiffReader::open(fields, 0, fields.size()))
        search.addFromStream(*tiff);
    return std::move(search).largestFirst();
}

} // namespace tavolin
