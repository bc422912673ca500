#pragma once
// Sixteen bytes at a time, for filters: vectors of the compilers we build with (GCC, Clang), with
// the few operations that those don't know on their own. Each machine's own registers are this
// wide.

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace tavolin {

using Bytes16 = std::uint8_t __attribute__((vector_size(16)));
using Words8 = std::int16_t __attribute__((vector_size(16)));
using Longs4 = std::int32_t __attribute__((vector_size(16)));
using Quads2 = std::int64_t __attribute__((vector_size(16)));

/// The vector that lies at @p from, which need not be aligned.
template <typename Vector>
inline Vector load(const void *from)
{
    Vector result;
    std::memcpy(&result, from, sizeof result);
    return result;
}

/// a0·b0 + a1·b1, a2·b2 + a3·b3, …
inline Longs4 multiplyAddPairs(Words8 a, Words8 b)
{
#ifdef __SSE2__
    return std::bit_cast<Longs4>(
        _mm_madd_epi16(std::bit_cast<__m128i>(a), std::bit_cast<__m128i>(b)));
#else
    return Longs4{a[0] * b[0] + a[1] * b[1], a[2] * b[2] + a[3] * b[3], a[4] * b[4] + a[5] * b[5],
                  a[6] * b[6] + a[7] * b[7]};
#endif
}

/// Eight 32-bit sums as 16-bit words, limited to their range.
inline Words8 narrowed(Longs4 low, Longs4 high)
{
#ifdef __SSE2__
    return std::bit_cast<Words8>(
        _mm_packs_epi32(std::bit_cast<__m128i>(low), std::bit_cast<__m128i>(high)));
#else
    Words8 result;
    for (int i = 0; i < 4; ++i) {
        result[i] = static_cast<std::int16_t>(std::min(std::max(low[i], -32768), 32767));
        result[i + 4] = static_cast<std::int16_t>(std::min(std::max(high[i], -32768), 32767));
    }
    return result;
#endif
}

/// Four sums as the bytes of one pixel, the first in the lowest, limited to 0 to 255.
inline std::uint32_t packedPixel(Longs4 sum)
{
#ifdef __SSE2__
    const __m128i words = _mm_packs_epi32(std::bit_cast<__m128i>(sum), _mm_setzero_si128());
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(words, words)));
#else
    const auto byte = [](std::int32_t value) {
        return static_cast<std::uint32_t>(std::min(std::max(value, 0), 255));
    };
    return byte(sum[0]) | byte(sum[1]) << 8 | byte(sum[2]) << 16 | byte(sum[3]) << 24;
#endif
}

/// a0, b0, a1, b1, … of the lower halves.
inline Bytes16 interleavedLow(Bytes16 a, Bytes16 b)
{
#ifdef __SSE2__
    return std::bit_cast<Bytes16>(
        _mm_unpacklo_epi8(std::bit_cast<__m128i>(a), std::bit_cast<__m128i>(b)));
#else
    return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
#endif
}
inline Words8 interleavedLow(Words8 a, Words8 b)
{
#ifdef __SSE2__
    return std::bit_cast<Words8>(
        _mm_unpacklo_epi16(std::bit_cast<__m128i>(a), std::bit_cast<__m128i>(b)));
#else
    return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
#endif
}

/// The same of the upper halves.
inline Bytes16 interleavedHigh(Bytes16 a, Bytes16 b)
{
#ifdef __SSE2__
    return std::bit_cast<Bytes16>(
        _mm_unpackhi_epi8(std::bit_cast<__m128i>(a), std::bit_cast<__m128i>(b)));
#else
    return __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15,
                                   31);
#endif
}
inline Words8 interleavedHigh(Words8 a, Words8 b)
{
#ifdef __SSE2__
    return std::bit_cast<Words8>(
        _mm_unpackhi_epi16(std::bit_cast<__m128i>(a), std::bit_cast<__m128i>(b)));
#else
    return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
#endif
}

/// a0, a4, a1, a5, … of one vector.
inline Words8 interleavedHalves(Words8 a)
{
#ifdef __SSE2__
    const auto halves = std::bit_cast<__m128i>(a);
    return std::bit_cast<Words8>(_mm_unpacklo_epi16(halves, _mm_srli_si128(halves, 8)));
#else
    return __builtin_shufflevector(a, a, 0, 4, 1, 5, 2, 6, 3, 7);
#endif
}

/// Two weights repeated, as multiplyAddPairs wants them.
inline Words8 weightPair(const std::int16_t *weights)
{
    std::int32_t pair = 0;
    std::memcpy(&pair, weights, sizeof pair);
    return std::bit_cast<Words8>(Longs4{pair, pair, pair, pair});
}

} // namespace tavolin
