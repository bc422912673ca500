#include "decoding/headers/Headers.h"

namespace tavolin {

namespace {

// ITU-T T.81, table B.1.
constexpr unsigned TEM = 0x01;
constexpr unsigned SOF0 = 0xc0;
constexpr unsigned DHT = 0xc4;
constexpr unsigned JPG = 0xc8;
constexpr unsigned DAC = 0xcc;
constexpr unsigned SOF15 = 0xcf;
constexpr unsigned RST0 = 0xd0;
constexpr unsigned SOI = 0xd8;
constexpr unsigned EOI = 0xd9;
constexpr unsigned SOS = 0xda;
constexpr unsigned APP1 = 0xe1;

/// Bytes that belong to no segment are skipped, as decoders do, but not for ever.
constexpr int MAX_STRAY_BYTES = 1 << 16;

bool isFrame(unsigned marker)
{
    return marker >= SOF0 && marker <= SOF15 && marker != DHT && marker != JPG && marker != DAC;
}

} // namespace

std::optional<ImageProperties> readJpegHeader(FieldReader &fields, std::int64_t begin)
{
    if (!hasText(fields.bytes(begin, 2), "\xff\xd8"))
        return std::nullopt;
    std::optional<ExifFacts> exif;
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
        if (length < 2)
            break;
        if (isFrame(marker)) {
            const ByteSpan frame = fields.bytes(at, 7);
            const auto size = frame.empty() ? std::nullopt
                                            : checkedSize(bigEndian<quint16>(frame, 5),
                                                          bigEndian<quint16>(frame, 3));
            if (!size)
                break;
            const ExifFacts facts = exif.value_or(ExifFacts{});
            return ImageProperties{*size, facts.orientation, facts.colorHint};
        }
        if (marker == APP1 && !exif && hasText(fields.bytes(at + 2, 5), {"Exif\0", 5}))
            exif = readExif(fields, at + 2, at + length);
        at += length;
    }
    return std::nullopt;
}

} // namespace tavolin
