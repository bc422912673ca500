#include "decoding/headers/Headers.h"

namespace tavolin {

namespace {

constexpr std::int64_t CHUNK_HEADER_BYTES = 8;
/// Content of a "VP8X" chunk.
constexpr int EXTENDED_BYTES = 10;

std::uint32_t littleEndian24(ByteSpan bytes, std::size_t at)
{
    return littleEndian<quint16>(bytes, at) | std::to_integer<std::uint32_t>(bytes[at + 2]) << 16;
}

/// The size in a "VP8 " chunk (RFC 6386, 9.1), whose upper bits ask for scaling.
std::optional<QSize> lossySize(ByteSpan frame)
{
    if (!hasText(frame, "\x9d\x01\x2a", 3))
        return std::nullopt;
    return checkedSize(littleEndian<quint16>(frame, 6) & 0x3fff,
                       littleEndian<quint16>(frame, 8) & 0x3fff);
}

/// The size in a "VP8L" chunk: two times 14 bits, less one, after a signature byte.
std::optional<QSize> losslessSize(ByteSpan frame)
{
    if (!hasText(frame, "\x2f"))
        return std::nullopt;
    const auto bits = littleEndian<quint32>(frame, 1);
    return checkedSize((bits & 0x3fff) + 1, (bits >> 14 & 0x3fff) + 1);
}

/// The size in a "VP8X" chunk, of which all frames are a part.
std::optional<QSize> canvasSize(ByteSpan chunk)
{
    if (chunk.empty())
        return std::nullopt;
    return checkedSize(littleEndian24(chunk, 4) + 1, littleEndian24(chunk, 7) + 1);
}

/// The orientation from the EXIF chunk, from @p at on.
Orientation exifOrientation(FieldReader &fields, std::int64_t at)
{
    for (;;) {
        const ByteSpan chunk = fields.bytes(at, CHUNK_HEADER_BYTES);
        if (chunk.empty())
            return Orientation::Upright;
        const std::int64_t begin = at + CHUNK_HEADER_BYTES;
        const std::int64_t length = littleEndian<quint32>(chunk, 4);
        if (hasText(chunk, "EXIF"))
            return readExif(fields, begin, begin + length).orientation;
        at = begin + length + length % 2;
    }
}

} // namespace

std::optional<ImageProperties> readWebPHeader(FieldReader &fields)
{
    constexpr std::int64_t FIRST_CHUNK = 12;
    const std::int64_t payload = FIRST_CHUNK + CHUNK_HEADER_BYTES;
    const ByteSpan kind = fields.bytes(FIRST_CHUNK, 4);
    const bool isExtended = hasText(kind, "VP8X");
    std::optional<QSize> size;
    if (isExtended)
        size = canvasSize(fields.bytes(payload, EXTENDED_BYTES));
    else if (hasText(kind, "VP8L"))
        size = losslessSize(fields.bytes(payload, 5));
    else if (hasText(kind, "VP8 "))
        size = lossySize(fields.bytes(payload, 10));
    if (!size)
        return std::nullopt;
    ImageProperties result{*size};
    if (isExtended)
        result.orientation = exifOrientation(fields, payload + EXTENDED_BYTES);
    return result;
}

} // namespace tavolin
