#pragma once
// How much a file may ask for. A header can claim anything; these keep two decodes at a time below
// two gibibytes.

#include <QSize>

#include <cstdint>

namespace tavolin {

/// The most pixels of a picture: above the largest sensors and stitched panoramas seen in practice.
inline constexpr std::int64_t MAX_PIXELS = 300'000'000;

/// The most memory that a decoder which can't work row by row may take for its own picture.
inline constexpr std::int64_t MAX_DECODER_BYTES = std::int64_t{768} << 20;

[[nodiscard]] constexpr std::int64_t pixelCount(QSize size)
{
    return std::int64_t{size.width()} * size.height();
}

/// Whether a picture of @p size may be decoded by something that holds all of it at
/// @p bytesPerPixel (0: works row by row).
[[nodiscard]] constexpr bool isWithinLimits(QSize size, int bytesPerPixel = 0)
{
    return size.width() > 0 && size.height() > 0 && pixelCount(size) <= MAX_PIXELS &&
           pixelCount(size) * bytesPerPixel <= MAX_DECODER_BYTES;
}

} // namespace tavolin
