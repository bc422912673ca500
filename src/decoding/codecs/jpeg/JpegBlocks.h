#pragma once
// The coefficients of a run of blocks, as the Huffman codes give them: only those that are there,
// so that a run takes little room and its transform sees at once how much there is to do.

#include "decoding/codecs/jpeg/JpegFrame.h"
#include "decoding/codecs/jpeg/JpegHuffman.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

namespace tavolin {

/// A coefficient: in the upper half its value, as a signed 16-bit number, in the lower its place in
/// zigzag order plus one.
using JpegCoefficient = std::uint32_t;

[[nodiscard]] constexpr unsigned placeOf(JpegCoefficient coefficient)
{
    return (coefficient & 0xffff) - 1;
}
[[nodiscard]] constexpr int valueOf(JpegCoefficient coefficient)
{
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(coefficient >> 16));
}

/// Blocks in the order of their scan. Keeps its memory when it is cleared.
class JpegBlocks
{
public:
    void clear() { m_blocks = m_used = 0; }
    [[nodiscard]] std::size_t count() const { return m_blocks; }

    /// The coefficients of block @p index, the first of them the zero-frequency one.
    [[nodiscard]] std::span<const JpegCoefficient> block(std::size_t index) const
    {
        const std::size_t begin = m_begins[index];
        return {m_coefficients.data() + begin, m_begins[index + 1] - begin};
    }

    /// Room for a block. What is written there becomes one with keep().
    [[nodiscard]] JpegCoefficient *room()
    {
        if (m_coefficients.size() < m_used + BLOCK_COEFFICIENTS + SPARE ||
            m_begins.size() < m_blocks + 2)
            grow();
        return m_coefficients.data() + m_used;
    }
    void keep(const JpegCoefficient *end)
    {
        m_used = static_cast<std::size_t>(end - m_coefficients.data());
        m_begins[++m_blocks] = static_cast<std::uint32_t>(m_used);
    }

private:
    /// Written behind a block's last coefficient.
    static constexpr std::size_t SPARE = 2;

    void grow();

    std::vector<JpegCoefficient> m_coefficients;
    std::vector<std::uint32_t> m_begins{0};
    std::size_t m_blocks = 0;
    std::size_t m_used = 0;
};

/// Where in a scan decoding stands, at the beginning of a block.
struct JpegCursor
{
    std::size_t bit = 0;
    int block = 0; ///< Of its MCU.
    /// The last zero-frequency values of each component, from which the next ones count.
    std::array<std::uint32_t, MOST_COMPONENTS> predictions{};
};

/// Decodes blocks (section F.2.2).
class JpegBlockReader
{
public:
    /// Empty when one of the codes is none.
    [[nodiscard]] static std::optional<JpegBlockReader> make(const JpegFrame &frame);

    /// What a run ends with.
    struct Limits
    {
        std::size_t until = 0; ///< Blocks that begin at this bit or later are left.
        std::size_t end = 0;   ///< No block goes beyond this bit. Room for JpegBits and 256 bytes
                               ///< follow it.
        std::int64_t blocks = std::numeric_limits<std::int64_t>::max();
    };

    /// Adds to @p blocks those from @p cursor on, which it moves. False when a block can't be
    /// decoded; the cursor stands at its beginning then. @p begins, if given, gets the bit at which
    /// each block begins.
    bool read(JpegCursor &cursor, const std::uint8_t *bytes, const Limits &limits,
              JpegBlocks &blocks, std::vector<std::size_t> *begins = nullptr) const;

    [[nodiscard]] int blocksPerMcu() const { return static_cast<int>(m_mcu.size()); }
    /// The component of block @p block of an MCU.
    [[nodiscard]] int componentOf(int block) const
    {
        return m_mcu[static_cast<std::size_t>(block)].component;
    }

private:
    struct Block
    {
        int component = 0;
        std::size_t dc = 0; // of the tables
        std::size_t ac = 0;
    };

    JpegBlockReader() = default;

    std::vector<JpegTable> m_dcTables;
    std::vector<JpegPairTable> m_acTables;
    std::vector<Block> m_mcu;
};

} // namespace tavolin
