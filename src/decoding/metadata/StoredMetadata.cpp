#include "decoding/metadata/StoredMetadata.h"

#include "decoding/FieldReader.h"
#include "decoding/headers/JpegSegments.h"

#include <QCryptographicHash>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <string_view>
#include <utility>

namespace tavolin {

namespace {

// ITU-T T.81, table B.1.
constexpr unsigned APP0 = 0xe0;
constexpr unsigned APP1 = 0xe1;
constexpr unsigned APP13 = 0xed;
constexpr unsigned COM = 0xfe;

constexpr std::string_view JFIF_HEADER{"JFIF\0", 5};
constexpr std::string_view PHOTOSHOP_HEADER{"Photoshop 3.0", 14};
constexpr std::string_view EXTENSION_HEADER{"http://ns.adobe.com/xmp/extension/", 35};

/// Far above the resources and comments of honest files.
constexpr qsizetype MAX_BYTES = 4 << 20;
/// Of further packets of XMP. Larger ones are maps and pictures, of which nothing is carried over.
constexpr qsizetype MAX_EXTENSION_BYTES = 1 << 20;

/// A density by which both sides can be multiplied to get the same; none where JFIF can't say it.
std::optional<PixelDensity> checkedDensity(unsigned unit, std::uint64_t x, std::uint64_t y)
{
    constexpr std::uint64_t MOST = std::numeric_limits<std::uint16_t>::max();
    if (unit > PixelDensity::PER_CENTIMETRE || x == 0 || y == 0 || x > MOST || y > MOST)
        return std::nullopt;
    return PixelDensity{static_cast<std::uint8_t>(unit), static_cast<std::uint16_t>(x),
                        static_cast<std::uint16_t>(y)};
}

/// The pieces of further packets of XMP (Adobe's XMP, part 3, 1.1.3.1), by the digest of the
/// packet and the place of the piece in it.
class ExtendedXmp
{
public:
    /// Takes what stands behind the header.
    void add(const QByteArray &piece)
    {
        constexpr qsizetype DIGEST_BYTES = 32;
        constexpr qsizetype HEAD_BYTES = DIGEST_BYTES + 4 + 4; // with the length and the place
        if (piece.size() <= HEAD_BYTES)
            return;
        const auto place = qFromBigEndian<quint32>(piece.constData() + DIGEST_BYTES + 4);
        m_packets[piece.first(DIGEST_BYTES)].emplace(place, piece.mid(HEAD_BYTES));
    }

    /// The packets that are whole, by their digests.
    [[nodiscard]] std::map<QByteArray, QByteArray> packets() const
    {
        std::map<QByteArray, QByteArray> packets;
        for (const auto &[digest, pieces] : m_packets) {
            QByteArray whole;
            for (const auto &piece : pieces)
                whole += piece.second;
            if (QCryptographicHash::hash(whole, QCryptographicHash::Md5).toHex() ==
                digest.toLower())
                packets.emplace(digest, whole);
        }
        return packets;
    }

private:
    std::map<QByteArray, std::map<quint32, QByteArray>> m_packets;
};

StoredMetadata readJpeg(FieldReader &fields)
{
    StoredMetadata found;
    ExtendedXmp xmp;
    qsizetype left = MAX_BYTES;
    qsizetype extensionLeft = MAX_EXTENSION_BYTES;
    // The content behind a header, which is taken off the bytes that are left; nothing where there
    // is another.
    const auto contentBehind = [&](std::string_view header, const JpegSegment &segment,
                                   qsizetype &budget) {
        const auto headerBytes = static_cast<std::int64_t>(header.size());
        const bool isThat =
            segment.bytes > headerBytes && budget >= segment.bytes &&
            hasText(fields.bytes(segment.begin, std::max<std::size_t>(header.size(), 1)), header);
        if (!isThat)
            return QByteArray();
        budget -= segment.bytes;
        return fields.file().bytesAt(segment.begin + headerBytes, segment.bytes - headerBytes);
    };
    walkJpegSegments(fields, 0, [&](const JpegSegment &segment) {
        if (segment.marker == APP0 && !found.density) {
            // Behind the header: two bytes for the version, one for the unit, two each.
            if (const QByteArray jfif = contentBehind(JFIF_HEADER, segment, left); jfif.size() >= 7)
                found.density = checkedDensity(static_cast<unsigned char>(jfif[2]),
                                               qFromBigEndian<quint16>(jfif.constData() + 3),
                                               qFromBigEndian<quint16>(jfif.constData() + 5));
        } else if (segment.marker == APP1) {
            xmp.add(contentBehind(EXTENSION_HEADER, segment, extensionLeft));
        } else if (segment.marker == APP13) {
            found.resources += contentBehind(PHOTOSHOP_HEADER, segment, left);
        } else if (segment.marker == COM) {
            if (QByteArray comment = contentBehind({}, segment, left); !comment.isEmpty())
                found.comments.push_back(std::move(comment));
        }
        return true;
    });
    found.extendedXmp = xmp.packets();
    return found;
}

/// The density in a PNG (ISO/IEC 15948, 11.3.5.3): pixels a metre, or their shape alone.
std::optional<PixelDensity> pngDensity(FieldReader &fields)
{
    constexpr std::int64_t SIGNATURE_BYTES = 8;
    constexpr std::int64_t AROUND_BYTES = 12; // length, type and checksum
    constexpr double METRES_IN_INCH = 0.0254;
    for (std::int64_t at = SIGNATURE_BYTES;;) {
        const ByteSpan chunk = fields.bytes(at, 8);
        if (chunk.empty() || hasText(chunk, "IDAT", 4))
            return std::nullopt;
        const std::int64_t length = bigEndian<quint32>(chunk, 0);
        if (hasText(chunk, "pHYs", 4)) {
            const ByteSpan physical = fields.bytes(at + 8, 9);
            if (physical.empty())
                return std::nullopt;
            const auto x = bigEndian<quint32>(physical, 0);
            const auto y = bigEndian<quint32>(physical, 4);
            if (physical[8] != std::byte{1})
                return checkedDensity(PixelDensity::NONE, x, y);
            const auto toInch = [](quint32 metre) {
                return static_cast<std::uint64_t>(std::llround(metre * METRES_IN_INCH));
            };
            return checkedDensity(PixelDensity::PER_INCH, toInch(x), toInch(y));
        }
        at += length + AROUND_BYTES;
    }
}

} // namespace

StoredMetadata readStoredMetadata(const SniffedFile &file)
{
    FieldReader fields(file.source);
    if (file.type == FileType::Jpeg)
        return readJpeg(fields);
    StoredMetadata found;
    if (file.type == FileType::Png)
        found.density = pngDensity(fields);
    return found;
}

} // namespace tavolin
