#pragma once
// Huffman codes of JPEG as tables that give a coefficient at one look, and the bits that they are
// looked up with.

#include "decoding/codecs/jpeg/JpegFrame.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

namespace tavolin {

/// The unread bits of a scan, the next one on top. Up to nine bytes behind the last bit that is
/// wanted are read: the memory must go on for that long.
class JpegBits
{
public:
    /// Begins @p bit bits after @p bytes.
    JpegBits(const std::uint8_t *bytes, std::size_t bit) : m_bytes(bytes), m_next(bytes + bit / 8)
    {
        refill();
        drop(static_cast<unsigned>(bit % 8));
    }

    /// Makes it 56 bits or more.
    void refill()
    {
        std::uint64_t word = 0;
        std::memcpy(&word, m_next, sizeof word);
        if constexpr (std::endian::native == std::endian::little)
            word = __builtin_bswap64(word);
        m_top |= word >> m_count;
        m_next += (63 - m_count) >> 3;
        m_count |= 56;
    }

    /// The next @p count bits, 1 to 32.
    [[nodiscard]] std::uint32_t peek(unsigned count) const
    {
        return static_cast<std::uint32_t>(m_top >> (64 - count));
    }
    void drop(unsigned count)
    {
        m_top <<= count;
        m_count -= count;
    }

    /// Bits from the beginning of the bytes to the next one.
    [[nodiscard]] std::size_t position() const
    {
        return static_cast<std::size_t>(m_next - m_bytes) * 8 - m_count;
    }

private:
    const std::uint8_t *m_bytes;
    const std::uint8_t *m_next;
    std::uint64_t m_top = 0; // bits below the counted ones are those that follow, or zero
    unsigned m_count = 0;
};

/// A code's table. An entry has in its lowest byte the bits it stands for, 1 to 31; in the next the
/// step in coefficients; above them the value, a signed 16-bit number. Where code and value
/// together are longer than the look, isWhole() is false and resolved() looks again.
class JpegTable
{
public:
    enum class Kind : std::uint8_t { Dc, Ac };
    using Entry = std::uint32_t;

    static constexpr unsigned LOOK_BITS = 11;
    /// The step at a block's end: more than a block has coefficients, however many it has had.
    static constexpr unsigned END_STEP = 128;
    /// Marks what decodes to nothing.
    static constexpr Entry BROKEN = 0xffffffff;

    /// Empty where the code can't be one: more codes than there is room for, or a difference of
    /// more bits than 15.
    [[nodiscard]] static std::optional<JpegTable> make(const JpegCode &code, Kind kind);

    /// The entry for the next bits. 31 must be there.
    [[nodiscard]] Entry look(const JpegBits &bits) const { return m_look[bits.peek(LOOK_BITS)]; }

    [[nodiscard]] static bool isWhole(Entry entry) { return (entry & PARTIAL) == 0; }
    [[nodiscard]] static unsigned bits(Entry entry) { return entry & 0x3f; }
    [[nodiscard]] static unsigned step(Entry entry) { return entry >> 8 & 0xff; }
    [[nodiscard]] static int value(Entry entry)
    {
        return static_cast<std::int16_t>(static_cast<std::uint16_t>(entry >> 16));
    }

    /// The whole entry where look() had only a part of it, for the next 32 bits; BROKEN where no
    /// code begins like them.
    [[nodiscard]] Entry resolved(std::uint32_t next) const;

    [[nodiscard]] bool operator==(const JpegTable &) const = default;

private:
    static constexpr Entry PARTIAL = 0x80;

    JpegTable() = default;

    Kind m_kind = Kind::Dc;
    std::array<Entry, 1 << LOOK_BITS> m_look{};
    std::array<std::int32_t, 17> m_end{};   // one more than the last code of each length
    std::array<std::int32_t, 17> m_shift{}; // what makes a code of it an index of a symbol
    std::array<std::uint8_t, 256> m_symbols{};
};

} // namespace tavolin
