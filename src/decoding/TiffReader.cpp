#include "decoding/TiffReader.h"

#include "decoding/Tags.h"

#include <algorithm>
#include <limits>

namespace tavolin {

namespace {

/// Real files have about ten directories (raw files with previews and masks).
constexpr std::size_t MAX_DIRECTORIES = 64;
/// Real directories have about a hundred entries (DNG).
constexpr std::uint64_t MAX_ENTRIES = 1024;
/// Of one directory: raw files have up to a dozen (DNG with semantic masks).
constexpr std::uint64_t MAX_SUB_DIRECTORIES = 32;

/// Bytes of one value; 0 for types that don't exist.
std::size_t valueBytes(std::uint16_t type)
{
    constexpr std::array<std::uint8_t, 19> BYTES{0, 1, 1, 2, 4, 8, 1, 1, 2, 4,
                                                 8, 4, 8, 4, 0, 0, 8, 8, 8};
    if (type == tiff_type::UTF8)
        return 1;
    return type < BYTES.size() ? BYTES[type] : 0;
}

/// @p value as an offset; what no file can have becomes one that is outside of every stream.
std::int64_t toOffset(std::uint64_t value)
{
    constexpr auto MAX = std::numeric_limits<std::int64_t>::max();
    return value > static_cast<std::uint64_t>(MAX) ? MAX : static_cast<std::int64_t>(value);
}

} // namespace

std::uint64_t TiffEntry::length() const
{
    constexpr auto MAX = std::numeric_limits<std::uint64_t>::max();
    const std::size_t size = valueBytes(type);
    return size != 0 && count > MAX / size ? MAX : count * size;
}

const TiffEntry *TiffDirectory::find(std::uint16_t tag) const
{
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [tag](const TiffEntry &entry) { return entry.tag == tag; });
    return found == entries.end() ? nullptr : &*found;
}

std::optional<TiffReader> TiffReader::open(FieldReader &fields, std::int64_t begin,
                                           std::int64_t end)
{
    TiffReader reader(fields, begin, std::min(end, fields.size()));
    const ByteSpan head = reader.bytes(0, 8);
    if (head.empty() || !(hasText(head, "II") || hasText(head, "MM")))
        return std::nullopt;
    reader.m_isBigEndian = hasText(head, "MM");
    switch (reader.number<quint16>(head, 2)) {
    case 42:     // TIFF
    case 0x55:   // RW2
    case 0x4f52: // ORF, "RO"
    case 0x5352: // ORF, "RS"
        reader.m_first = reader.number<quint32>(head, 4);
        return reader;
    case 43: {
        reader.m_isBigTiff = true;
        const ByteSpan big = reader.bytes(0, 16);
        if (big.empty() || reader.number<quint16>(big, 4) != 8)
            return std::nullopt;
        reader.m_first = toOffset(reader.word(big, 8));
        return reader;
    }
    default:
        return std::nullopt;
    }
}

TiffReader TiffReader::from(std::int64_t begin, bool isBigEndian) const
{
    TiffReader reader(*m_fields, begin, m_end);
    reader.m_isBigEndian = isBigEndian;
    reader.m_hasHeader = false;
    return reader;
}

TiffDirectory TiffReader::directory(std::int64_t offset)
{
    const bool isKnown = std::find(m_visited.begin(), m_visited.end(), offset) != m_visited.end();
    if (offset < (m_hasHeader ? 1 : 0) || isKnown || m_visited.size() == MAX_DIRECTORIES)
        return {};
    m_visited.push_back(offset);

    const std::size_t countBytes = m_isBigTiff ? 8 : 2;
    const std::size_t entryBytes = m_isBigTiff ? 20 : 12;
    const std::size_t nextBytes = m_isBigTiff ? 8 : 4;
    const ByteSpan head = bytes(offset, countBytes);
    if (head.empty())
        return {};
    const std::uint64_t count =
        m_isBigTiff ? number<quint64>(head, 0) : std::uint64_t{number<quint16>(head, 0)};
    std::int64_t at = offset + static_cast<std::int64_t>(countBytes);
    TiffDirectory result;
    for (std::uint64_t i = 0; i < std::min(count, MAX_ENTRIES); ++i) {
        const ByteSpan entry = bytes(at, entryBytes);
        if (entry.empty())
            return result;
        result.entries.push_back(parsed(entry, at));
        at += static_cast<std::int64_t>(entryBytes);
    }
    if (const ByteSpan next = bytes(at, nextBytes); !next.empty() && count <= MAX_ENTRIES)
        result.next = toOffset(word(next, 0));
    return result;
}

TiffDirectory TiffReader::directory(const TiffEntry *pointer)
{
    const std::optional<std::uint64_t> offset = integer(pointer);
    return offset ? directory(toOffset(*offset)) : TiffDirectory{};
}

std::optional<std::uint64_t> TiffReader::integer(const TiffEntry *entry, std::uint64_t index)
{
    if (!entry || index >= entry->count || index >= MAX_ENTRIES)
        return std::nullopt;
    const std::size_t size = valueBytes(entry->type);
    const auto skipped = static_cast<std::int64_t>(index * size);
    if (entry->offset > m_end - skipped)
        return std::nullopt;
    const ByteSpan value = bytes(entry->offset + skipped, size);
    if (value.empty())
        return std::nullopt;
    switch (entry->type) {
    case tiff_type::SHORT:
        return number<quint16>(value, 0);
    case tiff_type::LONG:
    case tiff_type::IFD:
        return number<quint32>(value, 0);
    case tiff_type::LONG8:
    case tiff_type::IFD8:
        return number<quint64>(value, 0);
    default:
        return std::nullopt;
    }
}

QByteArray TiffReader::text(const TiffEntry *entry, std::size_t limit)
{
    if (!entry || entry->type != tiff_type::ASCII)
        return {};
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(entry->count, limit));
    const ByteSpan value = bytes(entry->offset, count);
    const auto *begin = reinterpret_cast<const char *>(value.data());
    const auto *end = std::find(begin, begin + value.size(), '\0');
    return {begin, end - begin};
}

template <typename T>
T TiffReader::number(ByteSpan bytes, std::size_t at) const
{
    return m_isBigEndian ? bigEndian<T>(bytes, at) : littleEndian<T>(bytes, at);
}

std::uint64_t TiffReader::word(ByteSpan bytes, std::size_t at) const
{
    return m_isBigTiff ? number<quint64>(bytes, at) : std::uint64_t{number<quint32>(bytes, at)};
}

ByteSpan TiffReader::bytes(std::int64_t offset, std::size_t count)
{
    const std::int64_t length = m_end - m_begin;
    if (offset < 0 || offset > length || static_cast<std::int64_t>(count) > length - offset)
        return {};
    return m_fields->bytes(m_begin + offset, count);
}

TiffEntry TiffReader::parsed(ByteSpan entry, std::int64_t offset) const
{
    const std::size_t valueAt = m_isBigTiff ? 12 : 8;
    const std::size_t room = m_isBigTiff ? 8 : 4;
    TiffEntry result;
    result.tag = number<quint16>(entry, 0);
    result.type = number<quint16>(entry, 2);
    result.count = word(entry, 4);
    // Values that fit stand in the entry itself.
    const std::size_t size = valueBytes(result.type);
    const bool isInside = size == 0 || result.count <= room / size;
    result.offset =
        isInside ? offset + static_cast<std::int64_t>(valueAt) : toOffset(word(entry, valueAt));
    return result;
}

void walkDirectories(TiffReader &tiff, const TiffDirectory &first,
                     const std::function<void(const TiffDirectory &)> &use)
{
    std::vector<std::int64_t> pending;
    const auto visit = [&](const TiffDirectory &directory) {
        use(directory);
        pending.push_back(directory.next);
        const TiffEntry *pointers = directory.find(tag::SUB_DIRECTORIES);
        for (std::uint64_t i = 0; i < MAX_SUB_DIRECTORIES; ++i) {
            const auto offset = tiff.integer(pointers, i);
            if (!offset)
                break;
            pending.push_back(toOffset(*offset));
        }
    };
    visit(first);
    // The reader gives each directory once and not many of them: this ends.
    while (!pending.empty()) {
        const std::int64_t offset = pending.back();
        pending.pop_back();
        if (const TiffDirectory directory = tiff.directory(offset); !directory.entries.empty())
            visit(directory);
    }
}

} // namespace tavolin
