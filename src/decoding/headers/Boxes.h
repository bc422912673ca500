#pragma once
// The boxes of ISO base media files (ISO/IEC 14496-12, 4.2): HEIF and CR3.

#include "decoding/FieldReader.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace tavolin {

/// One box. @p begin to @p end is its content in the file; the identifier of a "uuid" box and the
/// version of a full box count as content.
struct Box
{
    std::uint32_t type = 0; ///< Four letters, the first uppermost.
    std::int64_t begin = 0;
    std::int64_t end = 0;

    [[nodiscard]] std::int64_t size() const { return end - begin; }
};

/// The type of a box by its four letters.
[[nodiscard]] constexpr std::uint32_t boxType(std::string_view letters)
{
    std::uint32_t type = 0;
    for (const char letter : letters)
        type = type << 8 | static_cast<unsigned char>(letter);
    return type;
}

/// The box whose header is at @p offset, inside what ends at @p end. A box that claims to go on
/// beyond that is cut there. Empty at the end or when the header makes no sense.
[[nodiscard]] std::optional<Box> boxAt(FieldReader &fields, std::int64_t offset, std::int64_t end);

/// The first box of @p type among those from @p begin to @p end.
[[nodiscard]] std::optional<Box> findBox(FieldReader &fields, std::int64_t begin, std::int64_t end,
                                         std::uint32_t type);

} // namespace tavolin
