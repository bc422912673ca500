#pragma once
// What a HEIF file is made of: items (pictures, tiles, metadata), what is said of each, and how
// they refer to each other (ISO/IEC 14496-12, 8.11; ISO/IEC 23008-12). As read here, a file that
// says one thing twice says nothing: a library might believe the other one.

#include "decoding/headers/Boxes.h"

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace tavolin {

/// The properties of a file's items. Reads while it is made.
class HeifProperties
{
public:
    explicit HeifProperties(FieldReader &fields);

    /// The box that all others are in; empty when the file has none.
    [[nodiscard]] const std::optional<Box> &meta() const { return m_meta; }
    /// The number of the picture that stands for the file.
    [[nodiscard]] std::optional<std::uint32_t> primary() const { return m_primary; }
    /// The boxes of @p item's properties, in the order in which they apply.
    [[nodiscard]] std::vector<Box> of(std::uint32_t item) const;
    [[nodiscard]] std::vector<Box> ofPrimary() const
    {
        return m_primary ? of(*m_primary) : std::vector<Box>();
    }
    /// Whether there are more of them, or of what they belong to, than any honest file has.
    [[nodiscard]] bool areTooMany() const { return m_areTooMany; }

private:
    void readAssociations(FieldReader &fields, const Box &ipma);

    std::optional<Box> m_meta;
    std::optional<std::uint32_t> m_primary;
    std::vector<Box> m_boxes;
    std::map<std::uint32_t, std::vector<std::uint16_t>> m_numbers; // from 1, of each item
    bool m_areTooMany = false;
};

struct HeifItem
{
    std::uint32_t type = 0;               ///< Four letters, as of a box.
    std::int64_t begin = 0;               ///< Of its content in the file; 0 to 0: in many places,
    std::int64_t end = 0;                 ///< or not known.
    std::vector<std::uint32_t> inputs;    ///< What it is derived from.
    std::vector<std::uint32_t> auxiliary; ///< What is shown with it, as its alpha.
    std::vector<std::uint32_t> described; ///< Of metadata: whose they are.
    bool isXmp = false;                   ///< By the type of its content.
};

/// The items of the file that @p properties were read from, by number. Empty where there are more
/// items or references than any honest file has, and where what is said of them makes no sense.
[[nodiscard]] std::map<std::uint32_t, HeifItem> readHeifItems(FieldReader &fields,
                                                              const HeifProperties &properties);

/// libheif holds a picture as planes and as interleaved pixels.
inline constexpr int HEIF_BYTES_PER_PIXEL = 7;

/// Whether the file's primary picture can be given to a library: the canvas of each grid and
/// overlay is what the item says its size is and is covered by its tiles, whose own streams have
/// the size that is said of them; nothing refers to itself, however indirectly; and items, tiles,
/// references, pixels and turns are no more than honest files have.
[[nodiscard]] bool isSoundHeif(const SourceFile &file);

} // namespace tavolin
