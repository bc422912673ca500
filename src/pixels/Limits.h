#pragma once
// How much a file may ask for: a header can claim anything.

#include <QSize>

#include <algorithm>
#include <cstdint>

namespace tavolin {

/// The most pixels of a picture that comes out, to be enlarged and cropped: above the largest
/// sensors, and a stitched panorama of the usual kind. Turning it or converting its colours holds
/// it twice, at four bytes a pixel.
inline constexpr std::int64_t MAX_PIXELS = 300'000'000;

/// The most pixels of one that comes out reduced, from formats that are read row by row: JPEG, PNG
/// and TIFF.
inline constexpr std::int64_t MAX_REDUCED_PIXELS = 1'000'000'000;

/// The longest side: what works row by row keeps some hundred rows.
inline constexpr int MAX_SIDE_PX = 200'000;

/// Above this a size is not even told: the largest that headers claim in good faith, as of maps,
/// have some million pixels.
inline constexpr int MAX_TOLD_SIDE_PX = 1 << 24;

/// The most memory that a decoder which can't work row by row may take for its own picture.
inline constexpr std::int64_t MAX_DECODER_BYTES = std::int64_t{768} << 20;

/// The most of a file that a library may hold which wants it whole.
inline constexpr std::int64_t MAX_WHOLE_FILE_BYTES = std::int64_t{256} << 20;

/// Larger profiles are nonsense; the largest in use, for presses, have about 3 MB.
inline constexpr std::int64_t MAX_PROFILE_BYTES = std::int64_t{16} << 20;

[[nodiscard]] constexpr std::int64_t pixelCount(QSize size)
{
    return std::int64_t{size.width()} * size.height();
}

/// Whether a picture of @p size may be decoded by something that holds all of it at
/// @p bytesPerPixel (0: works row by row).
[[nodiscard]] constexpr bool isWithinLimits(QSize size, int bytesPerPixel = 0)
{
    return size.width() > 0 && size.height() > 0 &&
           std::max(size.width(), size.height()) <= MAX_SIDE_PX && pixelCount(size) <= MAX_PIXELS &&
           pixelCount(size) * bytesPerPixel <= MAX_DECODER_BYTES;
}

/// Whether a picture of @p stored pixels may be decoded to one of @p target by something that works
/// row by row.
[[nodiscard]] constexpr bool isWithinLimits(QSize stored, QSize target)
{
    return stored.width() > 0 && stored.height() > 0 &&
           std::max(stored.width(), stored.height()) <= MAX_SIDE_PX &&
           pixelCount(stored) <= MAX_REDUCED_PIXELS && isWithinLimits(target);
}

} // namespace tavolin
