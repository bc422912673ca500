#include "decoding/headers/Boxes.h"

#include <algorithm>

namespace tavolin {

std::optional<Box> boxAt(FieldReader &fields, std::int64_t offset, std::int64_t end)
{
    const std::int64_t room = end - offset;
    const ByteSpan header = room >= 8 ? fields.bytes(offset, 8) : ByteSpan();
    if (header.empty())
        return std::nullopt;
    const auto type = bigEndian<quint32>(header, 4);
    std::uint64_t length = bigEndian<quint32>(header, 0);
    std::uint64_t headerBytes = 8;
    if (length == 0) { // to the end
        length = static_cast<std::uint64_t>(room);
    } else if (length == 1) {
        const ByteSpan extended = fields.bytes(offset + 8, 8);
        if (extended.empty())
            return std::nullopt;
        length = bigEndian<quint64>(extended, 0);
        headerBytes = 16;
    }
    if (length < headerBytes || static_cast<std::uint64_t>(room) < headerBytes)
        return std::nullopt;
    length = std::min(length, static_cast<std::uint64_t>(room));
    return Box{type, offset + static_cast<std::int64_t>(headerBytes),
               offset + static_cast<std::int64_t>(length)};
}

std::optional<Box> findBox(FieldReader &fields, std::int64_t begin, std::int64_t end,
                           std::uint32_t type)
{
    std::optional<Box> box = boxAt(fields, begin, end);
    while (box && box->type != type)
        box = boxAt(fields, box->end, end);
    return box;
}

std::optional<Box> findUuidBox(FieldReader &fields, std::int64_t begin, std::int64_t end,
                               std::string_view identifier)
{
    const auto isIt = [&](const Box &box) {
        return box.type == boxType("uuid") &&
               hasText(fields.bytes(box.begin, identifier.size()), identifier);
    };
    std::optional<Box> box = boxAt(fields, begin, end);
    while (box && !isIt(*box))
        box = boxAt(fields, box->end, end);
    if (box)
        box->begin += static_cast<std::int64_t>(identifier.size());
    return box;
}

std::optional<Box> findCanonMetadata(FieldReader &fields)
{
    const auto moov = findBox(fields, 0, fields.size(), boxType("moov"));
    return moov ? findUuidBox(fields, moov->begin, moov->end, CANON_METADATA) : std::nullopt;
}

FullBoxHead fullBoxHead(FieldReader &fields, const Box &box)
{
    BoxNumbers numbers(fields, box.begin, box.end);
    const auto head = numbers.next<quint32>();
    return {head >> 24, head & 0xffffff};
}

} // namespace tavolin
