#pragma once
// The two passes of a change of size, for all machines and for those with vectors of 32 bytes.
// Both give the same bits.

#include "pixels/Image.h"

#include <cstdint>
#include <span>

namespace tavolin {

/// Values of a pixel.
inline constexpr int RESAMPLE_CHANNELS = 4;
/// A weight of 1.0 is 1 << 14, the most that leaves a 16-bit word room for it.
inline constexpr int WEIGHT_BITS = 14;
/// Rows between the two passes keep 6 bits below the unit: overshoot stays inside 16 bits, and the
/// second rounding is not seen.
inline constexpr int FRACTION_BITS = 6;

/// One machine's set. Numbers of taps are even.
struct ResampleKernels
{
    /// The weighted sum of @p taps rows of @p pixels, with FRACTION_BITS below the unit.
    void (*combineRows)(const Pixel *const *rows, const std::int16_t *weights, int taps, int pixels,
                        std::int16_t *out);
    /// For each of @p first the weighted sum of @p taps pixels from there on, of a row that
    /// combineRows made. @p weights are those of one after the other.
    void (*combineColumns)(const std::int16_t *row, std::span<const int> first,
                           const std::int16_t *weights, int taps, Pixel *out);
};

/// What every machine has.
[[nodiscard]] const ResampleKernels &plainResampleKernels();

/// Null where the processor has no such vectors.
[[nodiscard]] const ResampleKernels *avx2ResampleKernels();

/// The fastest ones for this machine.
[[nodiscard]] const ResampleKernels &resampleKernels();

} // namespace tavolin
