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
    [[nodiscard]] Entry look(const JpegBits &bits) const { return look(bits.peek(LOOK_BITS)); }
    /// The same for LOOK_BITS of them, by their value.
    [[nodiscard]] Entry look(std::uint32_t next) const { return m_look[next]; }

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

/// A code of other coefficients than the zero-frequency one as a table that gives two symbols at
/// one look, where both are short: half as many looks, each of which waits for the one before it.
class JpegPairTable
{
public:
    /// What one look gives: two coefficients, or one, with the block's end behind it or without; or
    /// the end alone. For each there is a bit count, and a step in coefficients.
    class Entry
    {
    public:
        Entry() = default;
        /// Of one symbol, or none where it isn't whole.
        explicit Entry(JpegTable::Entry only);
        Entry(JpegTable::Entry first, JpegTable::Entry second);

        /// False where code and value together are longer than the look: see resolved().
        [[nodiscard]] bool isWhole() const { return (m_packed & 0xff) != 0; }
        [[nodiscard]] unsigned bits() const { return m_packed & 0xff; }
        [[nodiscard]] unsigned step() const { return m_packed >> 8 & 0xff; }
        [[nodiscard]] unsigned firstBits() const { return m_packed >> 26 & 0x3f; }
        [[nodiscard]] unsigned firstStep() const { return m_packed >> 16 & 0xff; }
        /// How many of them are coefficients.
        [[nodiscard]] unsigned coefficients() const { return m_packed >> 24 & 3; }
        /// Their values in the upper half, as signed 16-bit numbers.
        [[nodiscard]] std::uint32_t first() const
        {
            return static_cast<std::uint32_t>(m_packed >> 16) & 0xffff0000;
        }
        [[nodiscard]] std::uint32_t second() const
        {
            return static_cast<std::uint32_t>(m_packed >> 32) & 0xffff0000;
        }

        [[nodiscard]] bool operator==(const Entry &) const = default;

    private:
        std::uint64_t m_packed = 0;
    };

    explicit JpegPairTable(const JpegTable &table);

    /// The entry for the next bits.
    [[nodiscard]] Entry look(const JpegBits &bits) const
    {
        return m_look[bits.peek(JpegTable::LOOK_BITS)];
    }
    /// See JpegTable.
    [[nodiscard]] JpegTable::Entry resolved(std::uint32_t next) const
    {
        return m_table.resolved(next);
    }

    [[nodiscard]] bool operator==(const JpegPairTable &) const = default;

private:
    JpegTable m_table;
    std::array<Entry, 1 << JpegTable::LOOK_BITS> m_look;
};

} // namespace tavolin
