#include "decoding/codecs/jpeg/JpegBlocks.h"

#include <algorithm>

namespace tavolin {

namespace {

/// Decodes one block to @p out. The place behind its last coefficient, or null.
inline JpegCoefficient *readBlock(JpegBits &bits, const JpegTable &dc, const JpegPairTable &ac,
                                  std::uint32_t &prediction, JpegCoefficient *out)
{
    bits.refill();
    JpegTable::Entry entry = dc.look(bits);
    if (!JpegTable::isWhole(entry)) [[unlikely]] {
        entry = dc.resolved(bits.peek(32));
        if (entry == JpegTable::BROKEN)
            return nullptr;
    }
    bits.drop(JpegTable::bits(entry));
    prediction += static_cast<std::uint32_t>(JpegTable::value(entry));
    *out++ = prediction << 16 | 1;

    unsigned place = 1;
    for (;;) {
        // 56 bits are enough for three looks, and in whole entries for five.
        bits.refill();
        for (int looks = 0; looks < 3; ++looks) {
            JpegPairTable::Entry pair = ac.look(bits);
            if (!pair.isWhole()) [[unlikely]] {
                bits.refill();
                const JpegTable::Entry single = ac.resolved(bits.peek(32));
                if (single == JpegTable::BROKEN)
                    return nullptr;
                pair = JpegPairTable::Entry(single);
            }
            const unsigned middle = place + pair.firstStep();
            const unsigned last = place + pair.step();
            out[0] = pair.first() | middle;
            out[1] = pair.second() | last;
            if (last < BLOCK_COEFFICIENTS) [[likely]] {
                bits.drop(pair.bits());
                out += pair.coefficients();
                place = last;
                continue;
            }
            if (middle >= BLOCK_COEFFICIENTS && middle <= JpegTable::END_STEP) {
                // What follows the last coefficient is not this block's.
                bits.drop(pair.firstBits());
                return middle == BLOCK_COEFFICIENTS ? out + 1 : nullptr;
            }
            bits.drop(pair.bits());
            const bool isEnd = last == BLOCK_COEFFICIENTS || last > JpegTable::END_STEP;
            return isEnd ? out + pair.coefficients() : nullptr;
        }
    }
}

} // namespace

void JpegBlocks::grow()
{
    const auto doubled = [](std::size_t size) {
        constexpr std::size_t LEAST = 4096;
        return std::max(2 * size, LEAST);
    };
    if (m_coefficients.size() < m_used + BLOCK_COEFFICIENTS + SPARE)
        m_coefficients.resize(doubled(m_coefficients.size()));
    if (m_begins.size() < m_blocks + 2)
        m_begins.resize(doubled(m_begins.size()));
}

namespace {

/// The index of @p table among @p tables, to which it is added if it isn't there: components mostly
/// share tables, and one copy stays in the cache.
template <typename Table>
std::size_t indexOf(const Table &table, std::vector<Table> &tables)
{
    const auto same = std::ranges::find(tables, table);
    const auto index = static_cast<std::size_t>(same - tables.begin());
    if (same == tables.end())
        tables.push_back(table);
    return index;
}

} // namespace

std::optional<JpegBlockReader> JpegBlockReader::make(const JpegFrame &frame)
{
    JpegBlockReader reader;
    const bool isAlone = frame.components.size() == 1;
    for (int i = 0; i < static_cast<int>(frame.components.size()); ++i) {
        const JpegComponent &component = frame.components[static_cast<std::size_t>(i)];
        Block block{.component = i};
        const auto dc = JpegTable::make(component.dc, JpegTable::Kind::Dc);
        const auto ac = JpegTable::make(component.ac, JpegTable::Kind::Ac);
        if (!dc || !ac)
            return std::nullopt;
        block.dc = indexOf(*dc, reader.m_dcTables);
        block.ac = indexOf(JpegPairTable(*ac), reader.m_acTables);
        const int count = isAlone ? 1 : component.h * component.v;
        reader.m_mcu.insert(reader.m_mcu.end(), static_cast<std::size_t>(count), block);
    }
    return reader;
}

bool JpegBlockReader::read(JpegCursor &cursor, const std::uint8_t *bytes, const Limits &limits,
                           JpegBlocks &blocks, std::vector<std::size_t> *begins) const
{
    JpegBits bits(bytes, cursor.bit);
    auto inMcu = static_cast<std::size_t>(cursor.block);
    std::size_t at = cursor.bit;
    bool isSound = true;
    for (std::int64_t left = limits.blocks; left > 0 && at < limits.until; --left) {
        const Block &block = m_mcu[inMcu];
        std::uint32_t &prediction = cursor.predictions[static_cast<std::size_t>(block.component)];
        const std::uint32_t before = prediction;
        const JpegCoefficient *end =
            readBlock(bits, m_dcTables[block.dc], m_acTables[block.ac], prediction, blocks.room());
        const std::size_t next = bits.position();
        if (end == nullptr || next > limits.end) {
            prediction = before;
            isSound = false;
            break;
        }
        blocks.keep(end);
        if (begins != nullptr)
            begins->push_back(at);
        at = next;
        if (++inMcu == m_mcu.size())
            inMcu = 0;
    }
    cursor.bit = at;
    cursor.block = static_cast<int>(inMcu);
    return isSound;
}

} // namespace tavolin
