#include "decoding/codecs/PngChunks.h"

#include <QtEndian>

#include <algorithm>
#include <cstring>

namespace tavolin {

namespace {

/// The largest file has no more in chunks of 4 kB, and libpng's have 8. One of nothing but empty
/// chunks would keep a reader busy for minutes.
constexpr int MAX_CHUNKS = 1'000'000;
/// Length and type before a chunk's content, a checksum after it.
constexpr std::int64_t HEAD_BYTES = 8;
constexpr std::int64_t CHECKSUM_BYTES = 4;
/// Lengths are 31-bit numbers.
constexpr std::uint32_t MAX_LENGTH = 0x7fffffff;

constexpr std::uint32_t type(const char (&name)[5])
{
    std::uint32_t number = 0;
    for (int i = 0; i < 4; ++i)
        number = number << 8 | static_cast<unsigned char>(name[i]);
    return number;
}

/// A small first letter (5.4): the picture can be shown without this chunk.
constexpr bool isAncillary(std::uint32_t type)
{
    return (type >> 24 & 0x20) != 0;
}

} // namespace

std::span<const std::byte> PngChunks::buffered(std::size_t least)
{
    if (m_at < m_bufferBegin || m_at + static_cast<std::int64_t>(least) > m_bufferEnd) {
        m_bufferBegin = m_at;
        m_bufferEnd = m_at + static_cast<std::int64_t>(m_file.readAt(m_at, m_buffer));
    }
    return std::span<const std::byte>(m_buffer).subspan(
        static_cast<std::size_t>(m_at - m_bufferBegin),
        static_cast<std::size_t>(m_bufferEnd - m_at));
}

PngChunk *PngChunks::colorChunk(std::uint32_t kind)
{
    switch (kind) {
    case type("cICP"):
        return &m_colorChunks.cicp;
    case type("iCCP"):
        return &m_colorChunks.iccp;
    case type("sRGB"):
        return &m_colorChunks.srgb;
    case type("gAMA"):
        return &m_colorChunks.gama;
    case type("cHRM"):
        return &m_colorChunks.chrm;
    default:
        return nullptr;
    }
}

bool PngChunks::enterNextChunk()
{
    while (m_chunks++ < MAX_CHUNKS) {
        const auto head = buffered(HEAD_BYTES);
        if (head.size() < HEAD_BYTES)
            return false;
        const auto length = qFromBigEndian<quint32>(head.data());
        const auto kind = qFromBigEndian<quint32>(head.data() + 4);
        const bool isKept = !isAncillary(kind) || (kind == type("tRNS") && !m_hasPixels);
        m_hasPixels = m_hasPixels || kind == type("IDAT");
        if (isKept || length > MAX_LENGTH) {
            m_left = HEAD_BYTES + std::int64_t{length} + CHECKSUM_BYTES;
            if (kind == type("IDAT") && m_at + m_left > m_file.size())
                shorten();
            return true;
        }
        PngChunk *chunk = m_hasPixels ? nullptr : colorChunk(kind);
        if (chunk && chunk->begin == 0)
            *chunk = {m_at + HEAD_BYTES, length};
        m_at += HEAD_BYTES + std::int64_t{length} + CHECKSUM_BYTES;
    }
    return false;
}

void PngChunks::shorten()
{
    m_left = m_file.size() - m_at;
    qToBigEndian(static_cast<quint32>(m_left - HEAD_BYTES),
                 m_buffer.data() + (m_at - m_bufferBegin));
}

bool PngChunks::read(std::span<std::byte> out)
{
    while (!out.empty()) {
        if (m_left == 0 && !enterNextChunk())
            return false;
        const auto bytes = buffered(1);
        const std::size_t count =
            std::min({bytes.size(), out.size(), static_cast<std::size_t>(m_left)});
        if (count == 0)
            return false;
        std::memcpy(out.data(), bytes.data(), count);
        out = out.subspan(count);
        m_at += static_cast<std::int64_t>(count);
        m_left -= static_cast<std::int64_t>(count);
    }
    return true;
}

} // namespace tavolin
