#include "decoding/FieldReader.h"

#include <cstring>

namespace tavolin {

bool hasText(ByteSpan bytes, std::string_view text, std::size_t at)
{
    // memcmp must not get null, even for no bytes.
    return at <= bytes.size() && text.size() <= bytes.size() - at &&
           (text.empty() || std::memcmp(bytes.data() + at, text.data(), text.size()) == 0);
}

ByteSpan FieldReader::bytes(std::int64_t offset, std::size_t count)
{
    const auto length = static_cast<std::int64_t>(count);
    if (m_calls == MAX_CALLS)
        return {};
    ++m_calls;
    if (count == 0 || count > CAPACITY || offset < 0 || offset > size() - length)
        return {};
    if (offset < m_begin || offset + length > m_end) {
        if (m_fills == MAX_FILLS)
            return {};
        ++m_fills;
        m_begin = offset;
        m_end = offset + static_cast<std::int64_t>(m_file.readAt(offset, m_buffer));
    }
    if (offset + length > m_end)
        return {};
    return ByteSpan(m_buffer).subspan(static_cast<std::size_t>(offset - m_begin), count);
}

} // namespace tavolin
