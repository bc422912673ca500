#include "decoding/headers/Headers.h"

#include <zlib.h>

namespace tavolin {

namespace {

/// An EXIF block has at most 64 kB, which as hexadecimal digits in lines makes 133 kB.
constexpr std::int64_t MAX_TEXT_BYTES = std::int64_t{1} << 20;
constexpr std::int64_t SIGNATURE_BYTES = 8;
/// An APP1 profile may also be XMP; more of them than this are not looked into.
constexpr int MAX_PROFILES = 4;
/// "Raw profile type " and four letters, with a terminator.
constexpr int KEYWORD_BYTES = 22;

/// The zlib stream @p deflated; empty when it is damaged or longer than MAX_TEXT_BYTES.
QByteArray inflated(const QByteArray &deflated)
{
    QByteArray text(MAX_TEXT_BYTES, Qt::Uninitialized);
    uLongf length = MAX_TEXT_BYTES;
    if (uncompress(reinterpret_cast<Bytef *>(text.data()), &length,
                   reinterpret_cast<const Bytef *>(deflated.constData()),
                   static_cast<uLong>(deflated.size())) != Z_OK)
        return {};
    text.truncate(static_cast<qsizetype>(length));
    return text;
}

/// The bytes in a profile that ImageMagick wrote as text: a line with its name, one with its
/// length, then lines of hexadecimal digits.
QByteArray profileFromText(const QByteArray &text)
{
    const qsizetype name = text.indexOf('\n') + 1;
    const qsizetype length = text.indexOf('\n', name) + 1;
    const qsizetype digits = text.indexOf('\n', length) + 1;
    return digits > length && length > name ? QByteArray::fromHex(text.mid(digits)) : QByteArray();
}

/// The profile in the text chunk from @p begin to @p end; nothing when it is another kind of text,
/// no bytes when the profile is damaged.
std::optional<QByteArray> profileIn(FieldReader &fields, std::int64_t begin, std::int64_t end,
                                    bool isDeflated)
{
    const ByteSpan keyword = fields.bytes(begin, KEYWORD_BYTES);
    if (end - begin > MAX_TEXT_BYTES || !hasText(keyword, "Raw profile type ") ||
        !(hasText(keyword, "exif", 17) || hasText(keyword, "APP1", 17)))
        return std::nullopt;
    // A compressed text begins with a byte for the method, of which there is one.
    const std::int64_t text = begin + KEYWORD_BYTES + (isDeflated ? 1 : 0);
    const QByteArray bytes = fields.file().bytesAt(text, end - text);
    return profileFromText(isDeflated ? inflated(bytes) : bytes);
}

Orientation orientationIn(const QByteArray &exif)
{
    const SourceFile block = SourceFile::fromBytes(exif);
    FieldReader fields(block);
    return readExif(fields, 0, block.size()).orientation;
}

} // namespace

std::optional<ImageProperties> readPngHeader(FieldReader &fields)
{
    const ByteSpan header = fields.bytes(SIGNATURE_BYTES, 16);
    if (!hasText(header, "IHDR", 4))
        return std::nullopt;
    const auto size = checkedSize(bigEndian<quint32>(header, 8), bigEndian<quint32>(header, 12));
    if (!size)
        return std::nullopt;
    ImageProperties result{*size};
    int profiles = 0;
    for (std::int64_t at = SIGNATURE_BYTES;;) {
        const ByteSpan chunk = fields.bytes(at, 8);
        if (chunk.empty() || hasText(chunk, "IEND", 4))
            return result;
        const std::int64_t begin = at + 8;
        const std::int64_t end = begin + bigEndian<quint32>(chunk, 0);
        const bool isDeflated = hasText(chunk, "zTXt", 4);
        if (hasText(chunk, "eXIf", 4)) {
            result.orientation = readExif(fields, begin, end).orientation;
            return result;
        }
        if (profiles < MAX_PROFILES && (isDeflated || hasText(chunk, "tEXt", 4))) {
            if (const auto profile = profileIn(fields, begin, end, isDeflated)) {
                ++profiles;
                if (result.orientation == Orientation::Upright)
                    result.orientation = orientationIn(*profile);
            }
        }
        constexpr int CHECKSUM_BYTES = 4;
        at = end + CHECKSUM_BYTES;
    }
}

} // namespace tavolin
