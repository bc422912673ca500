#include "decoding/codecs/jpeg/JpegHuffman.h"

namespace tavolin {

namespace {

constexpr unsigned MOST_CODE_BITS = 16;
constexpr int MOST_DC_BITS = 15;
/// Sixteen zeros (section F.1.2.2.1), which count as fifteen and a coefficient that is zero.
constexpr unsigned ZERO_RUN = 0xf0;
constexpr unsigned ZERO_RUN_STEP = 16;

/// The signed number that @p size bits stand for: EXTEND of section F.2.2.1.
int extended(std::uint32_t bits, unsigned size)
{
    if (size == 0)
        return 0;
    const auto value = static_cast<std::int32_t>(bits);
    return bits >> (size - 1) != 0 ? value : value - (1 << size) + 1;
}

/// The entry for a code of @p codeBits bits with @p symbol, @p next being the bits behind it, as
/// many as its value has.
JpegTable::Entry entryFor(JpegTable::Kind kind, unsigned symbol, unsigned codeBits,
                          std::uint32_t next)
{
    const unsigned size = symbol & 15;
    const auto value = static_cast<std::uint32_t>(extended(next, size)) & 0xffff;
    unsigned step = 1;
    if (kind == JpegTable::Kind::Ac) {
        if (size != 0)
            step = (symbol >> 4) + 1;
        else
            step = symbol == ZERO_RUN ? ZERO_RUN_STEP : JpegTable::END_STEP;
    }
    return value << 16 | step << 8 | (codeBits + size);
}

} // namespace

std::optional<JpegTable> JpegTable::make(const JpegCode &code, Kind kind)
{
    JpegTable table;
    table.m_kind = kind;
    table.m_symbols = code.symbols;
    table.m_look.fill(PARTIAL);
    std::int32_t next = 0; // the next code, as in section C.2
    std::int32_t symbols = 0;
    for (unsigned length = 1; length <= MOST_CODE_BITS; ++length, next <<= 1) {
        table.m_shift[length] = symbols - next;
        for (int i = 0; i < code.counts[length]; ++i, ++next, ++symbols) {
            if (next >= 1 << length || symbols >= 256)
                return std::nullopt;
            const unsigned symbol = code.symbols[static_cast<std::size_t>(symbols)];
            if (kind == Kind::Dc && symbol > MOST_DC_BITS)
                return std::nullopt;
            const unsigned total = length + (symbol & 15);
            if (total > LOOK_BITS)
                continue;
            const unsigned rest = LOOK_BITS - total;
            const unsigned values = 1U << (symbol & 15);
            for (unsigned bits = 0; bits < values; ++bits) {
                const std::size_t first = ((static_cast<std::size_t>(next) << (symbol & 15)) | bits)
                                          << rest;
                std::fill_n(table.m_look.begin() + static_cast<std::ptrdiff_t>(first), 1U << rest,
                            entryFor(kind, symbol, length, bits));
            }
        }
        // A code of ones alone is reserved.
        if (code.counts[length] > 0 && next >= 1 << length)
            return std::nullopt;
        table.m_end[length] = next;
    }
    return table;
}

JpegTable::Entry JpegTable::resolved(std::uint32_t next) const
{
    for (unsigned length = 1; length <= MOST_CODE_BITS; ++length) {
        const auto code = static_cast<std::int32_t>(next >> (32 - length));
        if (code >= m_end[length])
            continue;
        const int index = code + m_shift[length];
        if (index < 0 || index > 255)
            return BROKEN;
        const unsigned symbol = m_symbols[static_cast<std::size_t>(index)];
        const unsigned size = symbol & 15;
        const std::uint32_t value = (next >> (32 - length - size)) & ((1U << size) - 1);
        return entryFor(m_kind, symbol, length, value);
    }
    return BROKEN;
}

JpegPairTable::Entry::Entry(JpegTable::Entry only)
{
    if (!JpegTable::isWhole(only))
        return;
    const std::uint64_t step = JpegTable::step(only);
    const unsigned coefficients = step == JpegTable::END_STEP ? 0 : 1;
    m_packed = JpegTable::bits(only) | step << 8 | step << 16 | coefficients << 24 |
               std::uint64_t{JpegTable::bits(only)} << 26 | std::uint64_t{only >> 16} << 32;
}

JpegPairTable::Entry::Entry(JpegTable::Entry first, JpegTable::Entry second) : Entry(first)
{
    const std::uint64_t step = JpegTable::step(second);
    const std::uint64_t coefficients = step == JpegTable::END_STEP ? 0 : 1;
    m_packed += JpegTable::bits(second) | step << 8 | coefficients << 24 |
                std::uint64_t{second >> 16} << 48;
}

JpegPairTable::JpegPairTable(const JpegTable &table) : m_table(table)
{
    constexpr std::uint32_t MASK = (1U << JpegTable::LOOK_BITS) - 1;
    for (std::uint32_t next = 0; next <= MASK; ++next) {
        const JpegTable::Entry first = table.look(next);
        m_look[next] = Entry(first);
        if (!JpegTable::isWhole(first) || JpegTable::step(first) == JpegTable::END_STEP)
            continue;
        const unsigned used = JpegTable::bits(first);
        const JpegTable::Entry second = table.look(next << used & MASK);
        if (JpegTable::isWhole(second) && used + JpegTable::bits(second) <= JpegTable::LOOK_BITS)
            m_look[next] = Entry(first, second);
    }
}

} // namespace tavolin
