#pragma once
// How the pixels of a turned picture are made that lie well inside it, for all machines and for
// those with vectors of 32 bytes. Both give the same bits.

#include "pixels/Image.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace tavolin::turning {

/// Each pixel is made of so many columns and rows.
inline constexpr int TAPS = 6;
/// Neighbours before a place.
inline constexpr int BEFORE = TAPS / 2 - 1;
/// The filter is known at this many positions between two pixels: wrong by a thousandth of a pixel
/// at most, which 8-bit channels don't show, in a table that stays in the nearest cache.
inline constexpr int PHASE_BITS = 9;
/// A weight of 1.0 is 1 << 14, the most that leaves a 16-bit word room for it.
inline constexpr int WEIGHT_BITS = 14;
/// Summed-up columns keep 6 bits below the unit: overshoot stays inside 16 bits, and the second
/// rounding is not seen.
inline constexpr int FRACTION_BITS = 6;

/// The weights of six neighbours in the order 1, 3, 2, 4, 5, 6, and two zeros: pairs of these are
/// what the vectors multiply by.
using Weights = std::array<std::int16_t, 8>;
using WeightTable = std::array<Weights, 1 << PHASE_BITS>;

/// A place in the source, or a step there, in pixels × 2³²: sums of these are exact, so a pixel
/// comes out the same whichever band or tile it is made in.
struct Place
{
    std::int64_t x;
    std::int64_t y;

    Place operator+(Place other) const { return {x + other.x, y + other.y}; }
    Place operator*(std::int64_t factor) const { return {x * factor, y * factor}; }
};

inline constexpr int POSITION_BITS = 32;

/// The picture that is turned.
struct Source
{
    const Pixel *pixels; ///< Of its first row.
    std::ptrdiff_t stride;
    const WeightTable &weights;

    [[nodiscard]] const Weights &weightsFor(std::int64_t position) const
    {
        return weights[static_cast<std::uint32_t>(position) >> (POSITION_BITS - PHASE_BITS)];
    }

    /// The first of the 6×6 neighbours of @p place.
    [[nodiscard]] const Pixel *firstNeighbour(Place place) const
    {
        return pixels + ((place.y >> POSITION_BITS) - BEFORE) * stride +
               (place.x >> POSITION_BITS) - BEFORE;
    }
};

/// Makes @p count pixels, the first at @p place, each @p step further; all their neighbours are in
/// the picture.
using PixelsInside = void (*)(const Source &source, Place place, Place step, int count, Pixel *out);

/// What every machine has.
void plainPixelsInside(const Source &source, Place place, Place step, int count, Pixel *out);

/// Null where the processor has no such vectors.
[[nodiscard]] PixelsInside avx2PixelsInside();

} // namespace tavolin::turning
