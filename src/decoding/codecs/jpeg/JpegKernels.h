#pragma once
// The arithmetic from coefficients to pixels, in a plain version and in ones for vector units. All
// give the same bits, those of libjpeg-turbo's accurate transform and its smooth upsampling.

#include "pixels/Image.h"

#include <cstddef>
#include <cstdint>

namespace tavolin {

/// Words in a row of a pair of blocks: eight of the left one, eight of the right one.
inline constexpr int PAIR_WIDTH = 16;

/// Transforms two blocks that lie side by side: @p rows is their eight rows of dequantised
/// coefficients, PAIR_WIDTH words each, aligned to 32 bytes; @p out gets a rectangle of samples
/// twice as wide as high, rows @p stride apart.
using JpegTransform = void (*)(const std::int16_t *rows, std::uint8_t *out, std::ptrdiff_t stride);

/// One machine's set.
struct JpegKernels
{
    JpegTransform transform8; ///< To 8×8 samples each.
    JpegTransform transform4;
    JpegTransform transform2;

    /// Twice as many samples as the @p width in @p row, 3 or more, each 3/4 of the nearest one and
    /// 1/4 of the next.
    void (*smoothAcross)(const std::uint8_t *row, int width, std::uint8_t *out);
    /// The same with 3/4 of @p near and 1/4 of @p far.
    void (*smoothBothWays)(const std::uint8_t *near, const std::uint8_t *far, int width,
                           std::uint8_t *out);
    /// 3/4 of @p near and 1/4 of @p far; halves are rounded by @p bias: 1 down, 2 up.
    void (*smoothDown)(const std::uint8_t *near, const std::uint8_t *far, int width, int bias,
                       std::uint8_t *out);

    /// YCbCr to opaque pixels, by the matrix of JFIF (ITU-R BT.601, all 256 levels).
    void (*toColor)(const std::uint8_t *y, const std::uint8_t *cb, const std::uint8_t *cr,
                    int width, Pixel *out);
    void (*toGrey)(const std::uint8_t *y, int width, Pixel *out);
};

/// What every machine has; the others are measured by it.
[[nodiscard]] const JpegKernels &plainJpegKernels();

/// Those for vectors of 16 and 32 bytes; null where the processor has no such.
[[nodiscard]] const JpegKernels *sse2JpegKernels();
[[nodiscard]] const JpegKernels *avx2JpegKernels();

/// The fastest ones for this machine.
[[nodiscard]] const JpegKernels &jpegKernels();

} // namespace tavolin
