#include "decoding/headers/JpegSegments.h"

namespace tavolin {

namespace {

// ITU-T T.81, table B.1.
constexpr unsigned TEM = 0x01;
constexpr unsigned RST0 = 0xd0;
constexpr unsigned SOI = 0xd8;
constexpr unsigned EOI = 0xd9;
constexpr unsigned SOS = 0xda;
constexpr unsigned APP1 = 0xe1;

/// Bytes that belong to no segment are skipped, as decoders do, but not for ever.
constexpr int MAX_STRAY_BYTES = 1 << 16;

} // namespace

bool walkJpegSegments(FieldReader &fields, std::int64_t begin,
                      const std::function<bool(const JpegSegment &)> &use)
{
    if (!hasText(fields.bytes(begin, 2), "\xff\xd8"))
        return false;
    int strayBytes = 0;
    for (std::int64_t at = begin + 2; strayBytes <= MAX_STRAY_BYTES;) {
        const ByteSpan lead = fields.bytes(at, 2);
        if (lead.empty())
            break;
        const auto marker = std::to_integer<unsigned>(lead[1]);
        if (lead[0] != std::byte{0xff} || marker == 0 || marker == 0xff) {
            ++at;
            ++strayBytes;
            continue;
        }
        at += 2;
        if (marker == TEM || (marker >= RST0 && marker <= SOI))
            continue;
        const ByteSpan lengthField = fields.bytes(at, 2);
        if (marker == EOI || marker == SOS || lengthField.empty())
            break;
        const auto length = bigEndian<quint16>(lengthField, 0);
        if (length < 2 || !use({marker, at + 2, length - 2}))
            break;
        at += length;
    }
    return true;
}

std::optional<JpegSegment> findExifSegment(FieldReader &fields, std::int64_t begin)
{
    constexpr std::string_view PREFIX("Exif\0\0", 6);
    constexpr auto PREFIX_BYTES = static_cast<std::int64_t>(PREFIX.size());
    std::optional<JpegSegment> found;
    walkJpegSegments(fields, begin, [&](const JpegSegment &segment) {
        const bool isExif = segment.marker == APP1 && segment.bytes > PREFIX_BYTES &&
                            hasText(fields.bytes(segment.begin, PREFIX.size()), PREFIX);
        if (isExif)
            found = {segment.marker, segment.begin + PREFIX_BYTES, segment.bytes - PREFIX_BYTES};
        return !isExif;
    });
    return found;
}

} // namespace tavolin
