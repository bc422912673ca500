#include "decoding/codecs/PngColor.h"

#include "decoding/color/Color.h"
#include "pixels/Limits.h"

#include <QtEndian>

#include <array>
#include <cstdint>
#include <optional>

#include <zlib.h>

namespace tavolin {

namespace {

/// What stands in @p chunk of @p file; empty when there is none, or when its checksum is wrong.
QByteArray content(const SourceFile &file, const PngChunk &chunk)
{
    constexpr int TYPE_BYTES = 4;
    constexpr int CHECKSUM_BYTES = 4;
    if (chunk.begin == 0 || chunk.length > MAX_PROFILE_BYTES)
        return {};
    const qsizetype checked = TYPE_BYTES + static_cast<qsizetype>(chunk.length);
    const QByteArray bytes = file.bytesAt(chunk.begin - TYPE_BYTES, checked + CHECKSUM_BYTES);
    if (bytes.size() < checked + CHECKSUM_BYTES)
        return {};
    const auto sum =
        crc32(0, reinterpret_cast<const Bytef *>(bytes.constData()), static_cast<uInt>(checked));
    if (sum != qFromBigEndian<quint32>(bytes.constData() + checked))
        return {};
    return bytes.mid(TYPE_BYTES, static_cast<qsizetype>(chunk.length));
}

/// The first bytes of a zlib stream, as many as are asked for.
class Inflater
{
public:
    explicit Inflater(const QByteArray &deflated)
    {
        // zlib does not write there.
        m_stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(deflated.constData()));
        m_stream.avail_in = static_cast<uInt>(deflated.size());
        m_isReady = inflateInit(&m_stream) == Z_OK;
    }
    ~Inflater()
    {
        if (m_isReady)
            inflateEnd(&m_stream);
    }
    Inflater(const Inflater &) = delete;
    Inflater &operator=(const Inflater &) = delete;

    /// The next @p count bytes; empty when there are fewer.
    [[nodiscard]] QByteArray next(qsizetype count)
    {
        QByteArray bytes(count, '\0');
        m_stream.next_out = reinterpret_cast<Bytef *>(bytes.data());
        m_stream.avail_out = static_cast<uInt>(count);
        if (m_isReady)
            inflate(&m_stream, Z_SYNC_FLUSH);
        return m_isReady && m_stream.avail_out == 0 ? bytes : QByteArray();
    }

private:
    z_stream m_stream{};
    bool m_isReady = false;
};

/// The profile in an iCCP chunk (11.3.2.3): a name, a method, the deflated profile.
QByteArray embeddedProfile(const QByteArray &chunk, bool isGrey)
{
    constexpr qsizetype HEADER_BYTES = 128;
    constexpr qsizetype MOST_NAME_BYTES = 79;
    const qsizetype name = chunk.indexOf('\0');
    if (name < 1 || name > MOST_NAME_BYTES || chunk.size() < name + 2 || chunk[name + 1] != 0)
        return {};
    const QByteArray deflated = chunk.mid(name + 2);
    Inflater inflater(deflated);
    const QByteArray header = inflater.next(HEADER_BYTES);
    // ICC.1:2022, 7.2: its size, the colour space at 16, the signature at 36.
    if (header.isEmpty() || header.mid(36, 4) != "acsp" ||
        header.mid(16, 4) != (isGrey ? "GRAY" : "RGB "))
        return {};
    const qsizetype size = qFromBigEndian<quint32>(header.constData());
    if (size <= HEADER_BYTES || size > MAX_PROFILE_BYTES)
        return {};
    const QByteArray rest = inflater.next(size - HEADER_BYTES);
    return rest.isEmpty() ? QByteArray() : header + rest;
}

/// What a cICP chunk says in the codes of ITU-T H.273; nothing when it is not one of the usual.
std::optional<QByteArray> codedProfile(const QByteArray &chunk)
{
    // Primaries, transfer, no matrix, all of the range.
    if (chunk == QByteArray("\x01\x0d\x00\x01", 4) || chunk == QByteArray("\x01\x01\x00\x01", 4))
        return QByteArray();
    if (chunk == QByteArray("\x0c\x0d\x00\x01", 4))
        return displayP3Profile();
    return std::nullopt;
}

/// The number at @p index, in 100,000ths.
double fraction(const QByteArray &chunk, int index)
{
    return qFromBigEndian<quint32>(chunk.constData() + 4 * index) / 100'000.0;
}

std::optional<Primaries> readPrimaries(const QByteArray &chunk)
{
    if (chunk.size() != 32)
        return std::nullopt;
    const auto color = [&chunk](int index) {
        return Chromaticity{fraction(chunk, 2 * index), fraction(chunk, 2 * index + 1)};
    };
    const Primaries primaries{color(0), color(1), color(2), color(3)};
    return rgbProfile(primaries, {}).isEmpty() ? std::nullopt : std::optional(primaries);
}

/// The light's exponent: the chunk has that of the way back.
std::optional<double> readGamma(const QByteArray &chunk)
{
    if (chunk.size() != 4 || fraction(chunk, 0) == 0)
        return std::nullopt;
    return 1 / fraction(chunk, 0);
}

} // namespace

QByteArray pngProfile(const SourceFile &file, const PngColorChunks &chunks, bool isGrey)
{
    if (const auto profile = codedProfile(content(file, chunks.cicp)))
        return *profile;
    if (const QByteArray profile = embeddedProfile(content(file, chunks.iccp), isGrey);
        !profile.isEmpty())
        return profile;
    constexpr char LAST_INTENT = 3;
    const QByteArray srgb = content(file, chunks.srgb);
    if (srgb.size() == 1 && srgb[0] >= 0 && srgb[0] <= LAST_INTENT)
        return {};
    const auto primaries = readPrimaries(content(file, chunks.chrm));
    const auto gamma = readGamma(content(file, chunks.gama));
    return primaries || gamma ? rgbProfile(primaries.value_or(SRGB_PRIMARIES), gamma)
                              : QByteArray();
}

} // namespace tavolin
