#include "decoding/headers/Boxes.h"
#include "decoding/headers/Headers.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace tavolin {

namespace {

/// Bytes before the content of a full box: its version and 24 flags.
constexpr std::int64_t VERSION_BYTES = 4;
/// An association has 15 bits for the number of a property.
constexpr std::size_t MAX_PROPERTIES = 0x7fff;

struct FullBoxHead
{
    unsigned version = 0;
    bool hasFlag1 = false;
};

FullBoxHead headOf(FieldReader &fields, const Box &box)
{
    const ByteSpan head = box.size() >= VERSION_BYTES ? fields.bytes(box.begin, 4) : ByteSpan();
    if (head.empty())
        return {};
    return {std::to_integer<unsigned>(head[0]), (head[3] & std::byte{1}) != std::byte{0}};
}

/// Big-endian numbers of a box, one after the other; 0 once they are beyond its end.
class BoxNumbers
{
public:
    BoxNumbers(FieldReader &fields, std::int64_t begin, std::int64_t end)
        : m_fields(fields), m_at(begin), m_end(end)
    {}

    template <typename T>
    T next()
    {
        const bool isInside = std::int64_t{sizeof(T)} <= m_end - m_at;
        const ByteSpan bytes = isInside ? m_fields.bytes(m_at, sizeof(T)) : ByteSpan();
        m_isGood = !bytes.empty();
        m_at += std::int64_t{sizeof(T)};
        return m_isGood ? bigEndian<T>(bytes, 0) : T{0};
    }

    /// Whether the last number was there.
    [[nodiscard]] bool isGood() const { return m_isGood; }

private:
    FieldReader &m_fields;
    std::int64_t m_at;
    std::int64_t m_end;
    bool m_isGood = true;
};

/// The number of the picture that stands for the file (ISO/IEC 14496-12, 8.11.4).
std::optional<std::uint32_t> primaryItem(FieldReader &fields, const Box &meta)
{
    const auto pitm = findBox(fields, meta.begin + VERSION_BYTES, meta.end, boxType("pitm"));
    if (!pitm)
        return std::nullopt;
    const bool isLong = headOf(fields, *pitm).version > 0;
    BoxNumbers numbers(fields, pitm->begin + VERSION_BYTES, pitm->end);
    const std::uint32_t item = isLong ? numbers.next<quint32>() : numbers.next<quint16>();
    return numbers.isGood() ? std::optional(item) : std::nullopt;
}

/// The numbers of @p item's properties, from 1, in the order in which they apply, from the "ipma"
/// box @p box (ISO/IEC 23008-12, 9.3).
std::vector<std::size_t> propertiesOf(FieldReader &fields, const Box &box, std::uint32_t item)
{
    const FullBoxHead head = headOf(fields, box);
    BoxNumbers numbers(fields, box.begin + VERSION_BYTES, box.end);
    const auto entries = numbers.next<quint32>();
    for (std::uint32_t i = 0; i < entries && numbers.isGood(); ++i) {
        const std::uint32_t id =
            head.version > 0 ? numbers.next<quint32>() : numbers.next<quint16>();
        const auto count = numbers.next<quint8>();
        std::vector<std::size_t> properties;
        for (int k = 0; k < count && numbers.isGood(); ++k) {
            // The uppermost bit only says whether a reader must know the property.
            properties.push_back(head.hasFlag1 ? numbers.next<quint16>() & 0x7fffU
                                               : numbers.next<quint8>() & 0x7fU);
        }
        if (id == item && numbers.isGood())
            return properties;
    }
    return {};
}

enum class Rounding { Down, Nearest };

/// How many of @p length pixels a clean aperture of @p aperture pixels leaves, its middle @p offset
/// off the picture's (ISO/IEC 14496-12, 12.1.4). The rounding is the decoder's, which is not the
/// same in both directions.
std::int64_t cleanLength(std::int64_t length, double aperture, double offset, Rounding rounding)
{
    const double start = offset + (static_cast<double>(length) - 1) / 2 - (aperture - 1) / 2;
    const double first = std::trunc(rounding == Rounding::Down ? start : start + 0.5);
    const double last = std::trunc(first + aperture - 1 + 0.5);
    const double kept = std::min(last, static_cast<double>(length) - 1) - std::max(first, 0.0) + 1;
    return static_cast<std::int64_t>(std::max(kept, 0.0));
}

/// @p width and @p height as a property changes them.
struct ItemSize
{
    std::int64_t width = 0;
    std::int64_t height = 0;
};

ItemSize changedBy(FieldReader &fields, const Box &property, ItemSize size)
{
    BoxNumbers numbers(fields, property.begin, property.end);
    switch (property.type) {
    case boxType("ispe"):
        numbers.next<quint32>(); // version and flags
        size.width = numbers.next<quint32>();
        size.height = numbers.next<quint32>();
        return size;
    case boxType("irot"):
        if (numbers.next<quint8>() % 2 == 1)
            std::swap(size.width, size.height);
        return size;
    case boxType("clap"): {
        const auto fraction = [&numbers](bool isSigned) {
            const auto numerator = numbers.next<quint32>();
            const auto denominator = numbers.next<quint32>();
            const double top =
                isSigned ? static_cast<double>(static_cast<qint32>(numerator)) : numerator;
            return denominator == 0 ? 0.0 : top / denominator;
        };
        const double width = fraction(false);
        const double height = fraction(false);
        const double across = fraction(true);
        const double down = fraction(true);
        return {cleanLength(size.width, width, across, Rounding::Down),
                cleanLength(size.height, height, down, Rounding::Nearest)};
    }
    default:
        return size; // "imir" among them: mirroring keeps the size
    }
}

} // namespace

std::optional<ImageProperties> readHeifHeader(FieldReader &fields)
{
    const auto meta = findBox(fields, 0, fields.size(), boxType("meta"));
    const auto item = meta ? primaryItem(fields, *meta) : std::nullopt;
    if (!item)
        return std::nullopt;
    const auto iprp = findBox(fields, meta->begin + VERSION_BYTES, meta->end, boxType("iprp"));
    const auto ipco =
        iprp ? findBox(fields, iprp->begin, iprp->end, boxType("ipco")) : std::nullopt;
    if (!ipco)
        return std::nullopt;

    std::vector<std::size_t> wanted;
    for (auto box = boxAt(fields, iprp->begin, iprp->end); box && wanted.empty();
         box = boxAt(fields, box->end, iprp->end)) {
        if (box->type == boxType("ipma"))
            wanted = propertiesOf(fields, *box, *item);
    }
    std::vector<Box> properties;
    for (auto box = boxAt(fields, ipco->begin, ipco->end);
         box && properties.size() < MAX_PROPERTIES; box = boxAt(fields, box->end, ipco->end))
        properties.push_back(*box);

    ItemSize size;
    for (const std::size_t number : wanted)
        if (number >= 1 && number <= properties.size())
            size = changedBy(fields, properties[number - 1], size);
    const auto upright = checkedSize(static_cast<std::uint64_t>(size.width),
                                     static_cast<std::uint64_t>(size.height));
    return upright ? std::optional(ImageProperties{*upright}) : std::nullopt;
}

} // namespace tavolin
