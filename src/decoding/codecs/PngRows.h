#pragma once
// Rows of a PNG as its filters leave them, turned into pixels.

#include "pixels/Image.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace tavolin {

/// Kinds of samples, with the numbers of IHDR (PNG, third edition, 11.2.1).
enum class PngColor : std::uint8_t {
    Grey = 0,
    Rgb = 2,
    Palette = 3,
    GreyAlpha = 4,
    Rgba = 6,
};

/// How a picture's samples are to be read.
struct PngFormat
{
    PngColor color = PngColor::Grey;
    int depth = 8; ///< Bits of a sample.
    /// Of a palette, colours with their alpha, not multiplied by it. What is over its end is black.
    std::array<Pixel, 256> palette{};
    /// Of grey (the first) and RGB, samples as stored: the one colour that is transparent.
    std::optional<std::array<std::uint16_t, 3>> transparent;
    bool hasAlpha = false; ///< In its samples, its palette or by its transparent colour.
};

/// Makes pixels of rows of one picture.
class PngRows
{
public:
    explicit PngRows(const PngFormat &format);

    /// Turns the first @p pixels of @p samples into premultiplied @p out.
    void convert(const std::uint8_t *samples, int pixels, Pixel *out) const;

private:
    void convertIndexed(const std::uint8_t *samples, int pixels, Pixel *out) const;

    PngFormat m_format;
    bool m_isIndexed = false;
    std::array<Pixel, 256> m_table{}; // for samples of up to 8 bits that alone make a pixel
};

} // namespace tavolin
