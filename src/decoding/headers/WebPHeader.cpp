#include "decoding/headers/Headers.h"

namespace tavolin {

namespace {

constexpr std::int64_t CHUNK_HEADER_BYTES = 8;
constexpr std::int64_t FIRST_CHUNK = 12;
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

/// A chunk's content, from byte @p begin to @p end.
struct Chunk
{
    std::int64_t begin = 0;
    std::int64_t end = 0;
};

/// The first chunk of @p type, four letters, in an extended file; without a byte where there is
/// none.
Chunk findChunk(FieldReader &fields, std::string_view type)
{
    const ByteSpan riff = fields.bytes(0, FIRST_CHUNK + 4);
    if (!hasText(riff, "VP8X", FIRST_CHUNK))
        return {};
    const std::int64_t fileEnd = CHUNK_HEADER_BYTES + std::int64_t{littleEndian<quint32>(riff, 4)};
    for (std::int64_t at = FIRST_CHUNK; at < fileEnd;) {
        const ByteSpan head = fields.bytes(at, CHUNK_HEADER_BYTES);
        if (head.empty())
            break;
        const std::int64_t begin = at + CHUNK_HEADER_BYTES;
        const std::int64_t length = littleEndian<quint32>(head, 4);
        if (hasText(head, type))
            return {begin, begin + length};
        at = begin + length + length % 2;
    }
    return {};
}

} // namespace

std::optional<ImageProperties> readWebPHeader(FieldReader &fields)
{
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
    const Chunk exif = findChunk(fields, "EXIF");
    result.orientation = readExif(fields, exif.begin, exif.end).orientation;
    return result;
}

MetadataParts findWebPMetadata(FieldReader &fields)
{
    const Chunk exif = findChunk(fields, "EXIF");
    const Chunk xmp = findChunk(fields, "XMP ");
    return {exifStream(fields, exif.begin, exif.end),
            fields.file().part(xmp.begin, xmp.end - xmp.begin)};
}

} // namespace tavolin
