#include "decoding/codecs/jpeg/JpegBlocks.h"

#include <algorithm>

namespace tavolin {

namespace {

/// Decodes one block to @p out. The place behind its last coefficient, or null.
inline JpegCoefficient *readBlock(JpegBits &bits, const JpegTable &dc, const JpegTable &ac,
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
    // What step() leaves in place tells how the block ended.
    const auto step = [&]() -> bool {
        entry = ac.look(bits);
        if (!JpegTable::isWhole(entry)) [[unlikely]] {
            bits.refill();
            entry = ac.resolved(bits.peek(32));
            if (entry == JpegTable::BROKEN) {
                place = BLOCK_COEFFICIENTS + 1;
                return false;
            }
        }
        bits.drop(JpegTable::bits(entry));
        place += JpegTable::step(entry);
        *out = (entry & 0xffff0000) | place;
        if (place >= BLOCK_COEFFICIENTS)
            return false;
        ++out;
        return true;
    };
    // 56 bits are enough for three looks, and in whole entries for five.
    do
        bits.refill();
    while (step() && step() && step());
    if (place == BLOCK_COEFFICIENTS)
        return out + 1;
    return place > JpegTable::END_STEP ? out : nullptr;
}

} // namespace

void JpegBlocks::grow()
{
    const auto doubled = [](std::size_t size) {
        constexpr std::size_t LEAST = 4096;
        return std::max(2 * size, LEAST);
    };
    if (m_coefficients.size() < m_used + BLOCK_COEFFICIENTS + 1)
        m_coefficients.resize(doubled(m_coefficients.size()));
    if (m_begins.size() < m_blocks + 2)
        m_begins.resize(doubled(m_begins.size()));
}

bool JpegBlockReader::addTable(const JpegCode &code, JpegTable::Kind kind, std::size_t &index)
{
    auto table = JpegTable::make(code, kind);
    if (!table)
        return false;
    // Components mostly share tables, and one copy stays in the cache.
    const auto same = std::ranges::find(m_tables, *table);
    index = static_cast<std::size_t>(same - m_tables.begin());
    if (same == m_tables.end())
        m_tables.push_back(*table);
    return true;
}

std::optional<JpegBlockReader> JpegBlockReader::make(const JpegFrame &frame)
{
    JpegBlockReader reader;
    const bool isAlone = frame.components.size() == 1;
    for (int i = 0; i < static_cast<int>(frame.components.size()); ++i) {
        const JpegComponent &component = frame.components[static_cast<std::size_t>(i)];
        Block block{.component = i};
        if (!reader.addTable(component.dc, JpegTable::Kind::Dc, block.dc) ||
            !reader.addTable(component.ac, JpegTable::Kind::Ac, block.ac))
            return std::nullopt;
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
            readBlock(bits, m_tables[block.dc], m_tables[block.ac], prediction, blocks.room());
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
