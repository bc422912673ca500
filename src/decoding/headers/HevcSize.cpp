#include "decoding/headers/HevcSize.h"

#include "pixels/Limits.h"

#include <vector>

namespace tavolin {

namespace {

constexpr int SEQUENCE_PARAMETERS = 33; // the type of the unit

/// Bits, the uppermost first, of a unit from which the bytes against false start codes are taken.
class Bits
{
public:
    explicit Bits(ByteSpan unit)
    {
        int zeros = 0;
        for (const std::byte byte : unit) {
            if (zeros >= 2 && byte == std::byte{3}) {
                zeros = 0;
                continue;
            }
            zeros = byte == std::byte{0} ? zeros + 1 : 0;
            m_bytes.push_back(std::to_integer<unsigned>(byte));
        }
    }

    std::uint32_t next(int count)
    {
        std::uint32_t value = 0;
        for (int i = 0; i < count; ++i, ++m_at) {
            m_isGood = m_isGood && m_at / 8 < m_bytes.size();
            value = value << 1 | (m_isGood ? m_bytes[m_at / 8] >> (7 - m_at % 8) & 1 : 0);
        }
        return value;
    }
    void skip(std::size_t count) { m_at += count; }
    /// ue(v): as many zeros as bits follow a one (9.2).
    std::uint32_t nextExpGolomb()
    {
        int zeros = 0;
        while (m_isGood && zeros < 24 && next(1) == 0)
            ++zeros;
        m_isGood = m_isGood && zeros < 24; // no size is that large
        return (1U << zeros) - 1 + next(zeros);
    }
    [[nodiscard]] bool isGood() const { return m_isGood; }

private:
    std::vector<unsigned> m_bytes;
    std::size_t m_at = 0;
    bool m_isGood = true;
};

/// profile_tier_level (7.3.3) of @p subLayers sub-layers below the whole.
void skipProfile(Bits &bits, std::uint32_t subLayers)
{
    constexpr std::size_t PROFILE_BITS = 88;
    constexpr std::size_t LEVEL_BITS = 8;
    bits.skip(PROFILE_BITS + LEVEL_BITS);
    std::size_t later = 0;
    for (std::uint32_t i = 0; i < subLayers; ++i) {
        later += bits.next(1) * PROFILE_BITS;
        later += bits.next(1) * LEVEL_BITS;
    }
    if (subLayers > 0)
        bits.skip(2 * (8 - std::size_t{subLayers}));
    bits.skip(later);
}

} // namespace

std::optional<QSize> hevcSizeOf(ByteSpan unit)
{
    Bits bits(unit);
    bits.skip(16 + 4); // header, number of the video parameter set
    const std::uint32_t subLayers = bits.next(3);
    bits.skip(1);
    skipProfile(bits, subLayers);
    (void)bits.nextExpGolomb(); // its own number
    const std::uint32_t chroma = bits.nextExpGolomb();
    if (chroma == 3)
        bits.skip(1);
    std::int64_t width = bits.nextExpGolomb();
    std::int64_t height = bits.nextExpGolomb();
    if (bits.next(1) == 1) {
        // What is cut off, counted in chroma samples.
        const int across = chroma == 1 || chroma == 2 ? 2 : 1;
        const int down = chroma == 1 ? 2 : 1;
        const std::int64_t left = bits.nextExpGolomb();
        width -= across * (left + bits.nextExpGolomb());
        const std::int64_t top = bits.nextExpGolomb();
        height -= down * (top + bits.nextExpGolomb());
    }
    if (!bits.isGood() || width <= 0 || height <= 0 || width > MAX_SIDE_PX || height > MAX_SIDE_PX)
        return std::nullopt;
    return QSize(static_cast<int>(width), static_cast<int>(height));
}

std::optional<QSize> readHevcSize(FieldReader &fields, const Box &hvcC)
{
    constexpr std::int64_t FIXED_BYTES = 22;
    BoxNumbers numbers(fields, hvcC.begin + FIXED_BYTES, hvcC.end);
    std::optional<QSize> size;
    const int arrays = numbers.next<quint8>();
    std::int64_t at = numbers.at();
    for (int i = 0; i < arrays; ++i) {
        BoxNumbers array(fields, at, hvcC.end);
        const int type = array.next<quint8>() & 0x3f;
        const int units = array.next<quint16>();
        at = array.at();
        for (int k = 0; k < units; ++k) {
            BoxNumbers length(fields, at, hvcC.end);
            const auto count = length.next<quint16>();
            if (!array.isGood() || !length.isGood() || count > hvcC.end - length.at())
                return QSize();
            if (type == SEQUENCE_PARAMETERS) {
                const auto found = hevcSizeOf(fields.bytes(length.at(), count));
                if (!found || (size && *size != *found))
                    return QSize();
                size = found;
            }
            at = length.at() + count;
        }
    }
    return size;
}

} // namespace tavolin
