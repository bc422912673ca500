#include "decoding/headers/Headers.h"
#include "decoding/headers/JpegSegments.h"

namespace tavolin {

namespace {

// ITU-T T.81, table B.1.
constexpr unsigned SOF0 = 0xc0;
constexpr unsigned DHT = 0xc4;
constexpr unsigned JPG = 0xc8;
constexpr unsigned DAC = 0xcc;
constexpr unsigned SOF15 = 0xcf;
constexpr unsigned APP1 = 0xe1;

bool isFrame(unsigned marker)
{
    return marker >= SOF0 && marker <= SOF15 && marker != DHT && marker != JPG && marker != DAC;
}

std::optional<JpegFrame> frameIn(FieldReader &fields, const JpegSegment &segment)
{
    const ByteSpan frame = fields.bytes(segment.begin, 5);
    const auto size = frame.empty()
                          ? std::nullopt
                          : checkedSize(bigEndian<quint16>(frame, 3), bigEndian<quint16>(frame, 1));
    if (!size)
        return std::nullopt;
    return JpegFrame{segment.marker, std::to_integer<unsigned>(frame[0]), *size};
}

} // namespace

std::optional<JpegFrame> readJpegFrame(FieldReader &fields, std::int64_t begin)
{
    std::optional<JpegFrame> frame;
    walkJpegSegments(fields, begin, [&](const JpegSegment &segment) {
        if (!isFrame(segment.marker))
            return true;
        frame = frameIn(fields, segment);
        return false;
    });
    return frame;
}

std::optional<ImageProperties> readJpegHeader(FieldReader &fields, std::int64_t begin)
{
    std::optional<ExifFacts> exif;
    std::optional<JpegFrame> frame;
    walkJpegSegments(fields, begin, [&](const JpegSegment &segment) {
        if (isFrame(segment.marker)) {
            frame = frameIn(fields, segment);
            return false;
        }
        if (segment.marker == APP1 && !exif &&
            hasText(fields.bytes(segment.begin, 5), {"Exif\0", 5}))
            exif = readExif(fields, segment.begin, segment.begin + segment.bytes);
        return true;
    });
    if (!frame)
        return std::nullopt;
    const ExifFacts facts = exif.value_or(ExifFacts{});
    return ImageProperties{frame->size, facts.orientation, facts.colorHint};
}

} // namespace tavolin
