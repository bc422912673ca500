#pragma once
// Small fields anywhere in a file, read through one buffer: a header costs one or two system calls
// however many fields it has. One thread at a time.

#include "decoding/SourceFile.h"

#include <QtEndian>
#include <QtGlobal>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace tavolin {

/// Consecutive bytes of a file.
using ByteSpan = std::span<const std::byte>;

/// The unsigned number of type @p T at @p at, which the caller has made sure to be inside @p bytes.
template <typename T>
[[nodiscard]] T bigEndian(ByteSpan bytes, std::size_t at)
{
    Q_ASSERT(at + sizeof(T) <= bytes.size());
    return qFromBigEndian<T>(bytes.data() + at);
}
template <typename T>
[[nodiscard]] T littleEndian(ByteSpan bytes, std::size_t at)
{
    Q_ASSERT(at + sizeof(T) <= bytes.size());
    return qFromLittleEndian<T>(bytes.data() + at);
}

/// Whether @p bytes has @p text at @p at.
[[nodiscard]] bool hasText(ByteSpan bytes, std::string_view text, std::size_t at = 0);

/// Reads from a SourceFile, which must outlive it.
class FieldReader
{
public:
    /// The most that can be asked for at once.
    static constexpr std::size_t CAPACITY = 4096;

    explicit FieldReader(const SourceFile &file) : m_file(file) {}

    /// Exactly @p count bytes at @p offset, valid until the next call. Empty when not all of them
    /// are there, and for good after MAX_CALLS calls or MAX_FILLS of the buffer: a file made to
    /// keep a reader busy can't.
    [[nodiscard]] ByteSpan bytes(std::int64_t offset, std::size_t count);

    [[nodiscard]] std::int64_t size() const { return m_file.size(); }
    [[nodiscard]] const SourceFile &file() const { return m_file; }

private:
    /// The chunks of a 60 MB PNG, the longest walk that an honest file needs; about 5 ms.
    static constexpr int MAX_FILLS = 8000;
    /// A HEIF of a thousand tiles needs 10000.
    static constexpr int MAX_CALLS = 100'000;

    const SourceFile &m_file;
    std::array<std::byte, CAPACITY> m_buffer;
    std::int64_t m_begin = 0; // of the buffer in the file
    std::int64_t m_end = 0;   // of what is in the buffer
    int m_fills = 0;
    int m_calls = 0;
};

} // namespace tavolin
