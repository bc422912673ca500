#pragma once
// From the numbers of a TIFF, as libtiff unpacks them, to pixels, a row at a time.

#include "decoding/codecs/TiffFile.h"
#include "pixels/Image.h"

#include <cstdint>
#include <span>
#include <vector>

namespace tavolin {

/// Makes pixels of the rows of one page. Colours come in the layout's profile, premultiplied; Lab
/// and YCbCr in sRGB; inks as the four bytes of a pixel in the order of memory. One thread at a
/// time.
class TiffPixels
{
public:
    /// @p layout must outlive it.
    explicit TiffPixels(const TiffLayout &layout);

    /// The numbers of a pixel that lie in planes of their own and are needed; of a page that is not
    /// planar just the first.
    [[nodiscard]] const std::vector<int> &planes() const { return m_planes; }

    /// Makes @p count pixels of the rows that begin at @p rows, one for each of planes().
    void convert(std::span<const std::uint8_t *const> rows, int count, Pixel *out);

    /// The same for YCbCr with shared chroma, of row @p y of @p block, a whole strip or tile.
    void convertSubsampled(const std::uint8_t *block, int y, int count, Pixel *out) const;

    /// The bytes of such a block.
    [[nodiscard]] std::int64_t subsampledBytes() const;

    /// What is shown where pixels are missing.
    [[nodiscard]] Pixel missing() const;

private:
    bool convertPlain(const std::uint8_t *row, int count, Pixel *out);
    template <typename ColorOf>
    void pack(int count, Pixel *out, ColorOf colorOf) const;
    void packInks(int count, Pixel *out) const;

    const TiffLayout &m_layout;
    std::vector<int> m_planes;
    int m_stride;                         ///< Numbers of a pixel in m_numbers.
    int m_alpha;                          ///< Where alpha is among them; −1: none.
    std::uint32_t m_alphaUnit = 1;        ///< What brings alpha to 0 to 65535.
    std::vector<std::uint16_t> m_numbers; ///< Of a row, most kinds from 0 to 65535.
    std::vector<std::uint8_t> m_bytes;
};

} // namespace tavolin
