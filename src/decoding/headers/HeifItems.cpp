#include "decoding/headers/HeifItems.h"

#include "decoding/headers/Headers.h"
#include "decoding/TiffReader.h"

#include <algorithm>
#include <utility>

namespace tavolin {

namespace {

// The largest picture that is decoded has 430 tiles of the usual size; with its depth, its gain map
// and its alpha a file has three times as many items, each with some references.
constexpr std::uint32_t MAX_ITEMS = 4096;
constexpr std::size_t MAX_REFERENCES = 16'384;
constexpr std::size_t MAX_PROPERTIES = 8192;

using Items = std::map<std::uint32_t, HeifItem>;

/// The only box of @p type in @p parent from @p begin on; nothing when there are several.
std::optional<Box> onlyBox(FieldReader &fields, std::int64_t begin, std::int64_t end,
                           std::uint32_t type)
{
    const auto box = findBox(fields, begin, end, type);
    return box && !findBox(fields, box->end, end, type) ? box : std::nullopt;
}

std::optional<Box> onlyBoxIn(FieldReader &fields, const Box &meta, std::uint32_t type)
{
    return onlyBox(fields, meta.begin + VERSION_BYTES, meta.end, type);
}

/// The number of the picture that stands for the file (ISO/IEC 14496-12, 8.11.4).
std::optional<std::uint32_t> primaryItem(FieldReader &fields, const Box &meta)
{
    const auto pitm = onlyBoxIn(fields, meta, boxType("pitm"));
    if (!pitm)
        return std::nullopt;
    BoxNumbers numbers(fields, pitm->begin + VERSION_BYTES, pitm->end);
    const std::uint32_t item = numbers.next16or32(fullBoxHead(fields, *pitm).version > 0);
    return numbers.isGood() ? std::optional(item) : std::nullopt;
}

/// Whether an item's name, from @p begin on, is followed by the type of XMP (ISO/IEC 16684-3).
bool isNamedXmp(FieldReader &fields, std::int64_t begin, std::int64_t end)
{
    constexpr std::int64_t MOST_BYTES = 256;
    const std::int64_t count = std::min(end - begin, MOST_BYTES);
    const ByteSpan text =
        count > 0 ? fields.bytes(begin, static_cast<std::size_t>(count)) : ByteSpan();
    const auto nameEnd = std::ranges::find(text, std::byte{0});
    const auto name = static_cast<std::size_t>(nameEnd - text.begin());
    return hasText(text, "application/rdf+xml", name + 1);
}

/// The types of all items (ISO/IEC 14496-12, 8.11.6).
bool readTypes(FieldReader &fields, const Box &iinf, Items &items)
{
    BoxNumbers numbers(fields, iinf.begin + VERSION_BYTES, iinf.end);
    const std::uint32_t count = numbers.next16or32(fullBoxHead(fields, iinf).version > 0);
    if (!numbers.isGood() || count > MAX_ITEMS)
        return false;
    std::int64_t at = numbers.at();
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto box = boxAt(fields, at, iinf.end);
        if (!box)
            return false;
        at = box->end;
        const unsigned version = fullBoxHead(fields, *box).version;
        if (box->type != boxType("infe") || version < 2)
            continue; // of no use here: older versions have no type
        BoxNumbers entry(fields, box->begin + VERSION_BYTES, box->end);
        const std::uint32_t id = entry.next16or32(version > 2);
        (void)entry.next<quint16>(); // protection
        const auto type = entry.next<quint32>();
        const bool isXmp = type == boxType("mime") && isNamedXmp(fields, entry.at(), box->end);
        if (!entry.isGood() ||
            !items.try_emplace(id, HeifItem{.type = type, .isXmp = isXmp}).second)
            return false;
    }
    return true;
}

/// Where the items' contents are (ISO/IEC 14496-12, 8.11.3); those in one piece are noted.
bool readPlaces(FieldReader &fields, const Box &iloc, const std::optional<Box> &idat, Items &items)
{
    const unsigned version = fullBoxHead(fields, iloc).version;
    BoxNumbers numbers(fields, iloc.begin + VERSION_BYTES, iloc.end);
    const auto sizes = numbers.next<quint16>();
    const auto sizeAt = [sizes](int shift) { return unsigned{sizes} >> shift & 0xf; };
    const std::uint32_t count = numbers.next16or32(version > 1);
    for (std::uint32_t i = 0; i < count && numbers.isGood(); ++i) {
        const std::uint32_t id = numbers.next16or32(version > 1);
        const unsigned method = version > 0 ? numbers.next<quint16>() & 0xfU : 0;
        (void)numbers.next<quint16>(); // number of the file, 0 being this one
        const std::uint64_t base = numbers.nextOf(sizeAt(4));
        const auto extents = numbers.next<quint16>();
        std::uint64_t offset = 0;
        std::uint64_t length = 0;
        for (int k = 0; k < extents && numbers.isGood(); ++k) {
            if (version > 0)
                (void)numbers.nextOf(sizeAt(0));
            offset = numbers.nextOf(sizeAt(12));
            length = numbers.nextOf(sizeAt(8));
        }
        const auto item = items.find(id);
        const bool isInIdat = method == 1 && idat;
        if (!numbers.isGood() || item == items.end() || extents != 1 || (method != 0 && !isInIdat))
            continue;
        const auto room = static_cast<std::uint64_t>(isInIdat ? idat->size() : fields.size());
        if (base > room || offset > room - base || length > room - base - offset)
            continue;
        const std::int64_t origin = isInIdat ? idat->begin : 0;
        item->second.begin = origin + static_cast<std::int64_t>(base + offset);
        item->second.end = item->second.begin + static_cast<std::int64_t>(length);
    }
    return numbers.isGood() && count <= MAX_ITEMS;
}

/// How the items refer to each other (ISO/IEC 14496-12, 8.11.12).
bool readReferences(FieldReader &fields, const Box &iref, Items &items)
{
    const bool isLong = fullBoxHead(fields, iref).version > 0;
    std::size_t total = 0;
    std::int64_t at = iref.begin + VERSION_BYTES;
    for (auto box = boxAt(fields, at, iref.end); box; box = boxAt(fields, box->end, iref.end)) {
        BoxNumbers numbers(fields, box->begin, box->end);
        const std::uint32_t from = numbers.next16or32(isLong);
        const auto count = numbers.next<quint16>();
        total += count + std::size_t{1};
        if (total > MAX_REFERENCES)
            return false;
        const auto item = items.find(from);
        const bool isDerivation = box->type == boxType("dimg");
        if (isDerivation && item != items.end() && !item->second.inputs.empty())
            return false;
        for (int k = 0; k < count; ++k) {
            const std::uint32_t to = numbers.next16or32(isLong);
            const auto target = items.find(to);
            if (isDerivation && item != items.end())
                item->second.inputs.push_back(to);
            else if (box->type == boxType("auxl") && target != items.end())
                target->second.auxiliary.push_back(from);
            else if (box->type == boxType("cdsc") && item != items.end())
                item->second.described.push_back(to);
        }
        if (!numbers.isGood())
            return false;
    }
    return true;
}

} // namespace

HeifProperties::HeifProperties(FieldReader &fields)
    : m_meta(onlyBox(fields, 0, fields.size(), boxType("meta")))
{
    if (!m_meta)
        return;
    m_primary = primaryItem(fields, *m_meta);
    const auto iprp = onlyBoxIn(fields, *m_meta, boxType("iprp"));
    const auto ipco =
        iprp ? onlyBox(fields, iprp->begin, iprp->end, boxType("ipco")) : std::nullopt;
    if (!ipco)
        return;
    for (auto box = boxAt(fields, ipco->begin, ipco->end); box && !m_areTooMany;
         box = boxAt(fields, box->end, ipco->end)) {
        m_boxes.push_back(*box);
        m_areTooMany = m_boxes.size() > MAX_PROPERTIES;
    }
    for (auto box = boxAt(fields, iprp->begin, iprp->end); box && !m_areTooMany;
         box = boxAt(fields, box->end, iprp->end)) {
        if (box->type == boxType("ipma"))
            readAssociations(fields, *box);
    }
}

/// ISO/IEC 23008-12, 9.3.
void HeifProperties::readAssociations(FieldReader &fields, const Box &ipma)
{
    const FullBoxHead head = fullBoxHead(fields, ipma);
    BoxNumbers numbers(fields, ipma.begin + VERSION_BYTES, ipma.end);
    const auto entries = numbers.next<quint32>();
    m_areTooMany = entries > MAX_ITEMS;
    for (std::uint32_t i = 0; i < entries && numbers.isGood() && !m_areTooMany; ++i) {
        const std::uint32_t id = numbers.next16or32(head.version > 0);
        const auto count = numbers.next<quint8>();
        std::vector<std::uint16_t> found;
        for (int k = 0; k < count; ++k) {
            // The uppermost bit only says whether a reader must know the property.
            const unsigned number = (head.flags & 1) != 0 ? numbers.next<quint16>() & 0x7fffU
                                                          : numbers.next<quint8>() & 0x7fU;
            found.push_back(static_cast<std::uint16_t>(number));
        }
        if (numbers.isGood())
            m_numbers.try_emplace(id, std::move(found));
    }
}

std::vector<Box> HeifProperties::of(std::uint32_t item) const
{
    std::vector<Box> result;
    if (const auto found = m_numbers.find(item); found != m_numbers.end())
        for (const std::uint16_t number : found->second)
            if (number >= 1 && number <= m_boxes.size())
                result.push_back(m_boxes[number - std::size_t{1}]);
    return result;
}

std::map<std::uint32_t, HeifItem> readHeifItems(FieldReader &fields,
                                                const HeifProperties &properties)
{
    Items items;
    const auto &meta = properties.meta();
    if (!meta || properties.areTooMany())
        return {};
    const auto iinf = onlyBoxIn(fields, *meta, boxType("iinf"));
    const auto iloc = onlyBoxIn(fields, *meta, boxType("iloc"));
    const auto idat = onlyBoxIn(fields, *meta, boxType("idat"));
    if (!iinf || !iloc || !readTypes(fields, *iinf, items) ||
        !readPlaces(fields, *iloc, idat, items))
        return {};
    if (findBox(fields, meta->begin + VERSION_BYTES, meta->end, boxType("iref"))) {
        const auto iref = onlyBoxIn(fields, *meta, boxType("iref"));
        if (!iref || !readReferences(fields, *iref, items))
            return {};
    }
    return items;
}

namespace {

bool isTiff(const SourceFile &stream)
{
    FieldReader fields(stream);
    return TiffReader::open(fields, 0, stream.size()).has_value();
}

} // namespace

MetadataParts findHeifMetadata(FieldReader &fields)
{
    const HeifProperties properties(fields);
    const Items items = readHeifItems(fields, properties);
    const auto best = [&](auto isKind) {
        const auto rank = [&](const HeifItem &item) {
            const bool isOwn = properties.primary() &&
                               std::ranges::count(item.described, *properties.primary()) > 0;
            return !isKind(item) || item.begin == item.end ? 0
                   : isOwn                                 ? 3
                   : item.described.empty()                ? 2
                                                           : 1;
        };
        const auto found = std::ranges::max_element(
            items, {}, [&](const auto &numbered) { return rank(numbered.second); });
        const bool isThere = found != items.end() && rank(found->second) > 0;
        return isThere ? found->second : HeifItem();
    };
    const HeifItem xmp = best([](const HeifItem &item) { return item.isXmp; });
    const HeifItem exif = best([](const HeifItem &item) { return item.type == boxType("Exif"); });
    // How far the stream is from what follows (ISO/IEC 23008-12, A.2.1).
    BoxNumbers numbers(fields, exif.begin, exif.end);
    const auto before = numbers.next<quint32>();
    MetadataParts parts{exifStream(fields, numbers.at() + before, exif.end),
                        fields.file().part(xmp.begin, xmp.end - xmp.begin)};
    // Some leave that number out, or have it wrong.
    for (const std::int64_t begin : {exif.begin, exif.begin + 4}) {
        SourceFile stream = exifStream(fields, begin, exif.end);
        if (!isTiff(parts.exif) && isTiff(stream))
            parts.exif = std::move(stream);
    }
    return parts;
}

} // namespace tavolin
