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

/// The identifiers of "uuid" boxes in a CR3: Canon's metadata in "moov", and beside it the preview
/// and the packet of XMP.
inline constexpr std::string_view CANON_METADATA =
    "\x85\xc0\xb6\x87\x82\x0f\x11\xe0\x81\x11\xf4\xce\x46\x2b\x6a\x48";
inline constexpr std::string_view CANON_PREVIEW =
    "\xea\xf4\x2b\x5e\x1c\x98\x4b\x88\xb9\xfb\xb7\xdc\x40\x6e\x4d\x16";
inline constexpr std::string_view XMP_PACKET =
    "\xbe\x7a\xcf\xcb\x97\xa9\x42\xe8\x9c\x71\x99\x94\x91\xe3\xaf\xac";

/// What follows the identifier of the first "uuid" box from @p begin to @p end that has the 16
/// bytes @p identifier.
[[nodiscard]] std::optional<Box> findUuidBox(FieldReader &fields, std::int64_t begin,
                                             std::int64_t end, std::string_view identifier);

/// What a CR3 says of its picture: boxes "CMT1" to "CMT4", TIFF streams with what is IFD0, the EXIF
/// directory, the maker note and the GPS directory elsewhere, and the thumbnail.
[[nodiscard]] std::optional<Box> findCanonMetadata(FieldReader &fields);

/// Bytes before the content of a full box: its version and 24 flags.
inline constexpr std::int64_t VERSION_BYTES = 4;

struct FullBoxHead
{
    unsigned version = 0;
    std::uint32_t flags = 0;
};

/// The version and flags of the full box @p box; zeros where they are missing.
[[nodiscard]] FullBoxHead fullBoxHead(FieldReader &fields, const Box &box);

/// Big-endian numbers from @p begin to @p end, one after the other; 0 once they are beyond.
class BoxNumbers
{
public:
    BoxNumbers(FieldReader &fields, std::int64_t begin, std::int64_t end)
        : m_fields(fields), m_at(begin), m_end(end)
    {}

    template <typename T>
    [[nodiscard]] T next()
    {
        const bool isInside = std::int64_t{sizeof(T)} <= m_end - m_at;
        const ByteSpan bytes = isInside ? m_fields.bytes(m_at, sizeof(T)) : ByteSpan();
        m_isGood = m_isGood && !bytes.empty();
        m_at += std::int64_t{sizeof(T)};
        return m_isGood ? bigEndian<T>(bytes, 0) : T{0};
    }

    /// A number of two bytes, or of four where @p isLong.
    [[nodiscard]] std::uint32_t next16or32(bool isLong)
    {
        return isLong ? next<quint32>() : next<quint16>();
    }

    /// A number of @p bytes bytes: 0 (the number is 0), 4 or 8; any other makes them all bad.
    [[nodiscard]] std::uint64_t nextOf(unsigned bytes)
    {
        m_isGood = m_isGood && (bytes == 0 || bytes == 4 || bytes == 8);
        return bytes == 8 ? next<quint64>() : bytes == 4 ? next<quint32>() : 0;
    }

    /// Whether all numbers so far were there.
    [[nodiscard]] bool isGood() const { return m_isGood; }
    /// Where the next number begins in the file.
    [[nodiscard]] std::int64_t at() const { return m_at; }

private:
    FieldReader &m_fields;
    std::int64_t m_at;
    std::int64_t m_end;
    bool m_isGood = true;
};

} // namespace tavolin
