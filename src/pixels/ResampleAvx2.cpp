// Changing sizes with vectors of 32 bytes, compiled for processors that have them and chosen at run
// time.

#include "pixels/ResampleKernels.h"

#ifdef __SSE2__
#include <immintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#ifdef __clang__
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif

namespace tavolin {

namespace {

inline __m256i load32(const void *from)
{
    return _mm256_loadu_si256(static_cast<const __m256i *>(from));
}
inline __m128i load16(const void *from)
{
    return _mm_loadu_si128(static_cast<const __m128i *>(from));
}
inline std::int32_t pairAt(const std::int16_t *weights)
{
    std::int32_t pair = 0;
    std::memcpy(&pair, weights, sizeof pair);
    return pair;
}

void combineRows(const Pixel *const *rows, const std::int16_t *weights, int taps, int pixels,
                 std::int16_t *out)
{
    constexpr int SHIFT = WEIGHT_BITS - FRACTION_BITS;
    constexpr int STEP = 8; // pixels in a vector
    const __m256i zero = _mm256_setzero_si256();
    const __m256i half = _mm256_set1_epi32(1 << (SHIFT - 1));
    if (pixels < STEP) {
        plainResampleKernels().combineRows(rows, weights, taps, pixels, out);
        return;
    }
    for (int next = 0; next < pixels; next += STEP) {
        const int x = std::min(next, pixels - STEP); // the last ones once more
        __m256i sum0 = half;
        __m256i sum1 = half;
        __m256i sum2 = half;
        __m256i sum3 = half;
        for (int tap = 0; tap < taps; tap += 2) {
            const __m256i weight = _mm256_set1_epi32(pairAt(weights + tap));
            const __m256i a = load32(rows[tap] + x);
            const __m256i b = load32(rows[tap + 1] + x);
            const __m256i low = _mm256_unpacklo_epi8(a, b);
            const __m256i high = _mm256_unpackhi_epi8(a, b);
            const auto add = [&](__m256i &sum, __m256i words) {
                sum = _mm256_add_epi32(sum, _mm256_madd_epi16(words, weight));
            };
            add(sum0, _mm256_unpacklo_epi8(low, zero));
            add(sum1, _mm256_unpackhi_epi8(low, zero));
            add(sum2, _mm256_unpacklo_epi8(high, zero));
            add(sum3, _mm256_unpackhi_epi8(high, zero));
        }
        // Each half of the vectors has kept to itself: pixels 0, 1, 4, 5 and 2, 3, 6, 7.
        const __m256i outer =
            _mm256_packs_epi32(_mm256_srai_epi32(sum0, SHIFT), _mm256_srai_epi32(sum1, SHIFT));
        const __m256i inner =
            _mm256_packs_epi32(_mm256_srai_epi32(sum2, SHIFT), _mm256_srai_epi32(sum3, SHIFT));
        auto *const to = reinterpret_cast<__m256i *>(out + std::ptrdiff_t{x} * RESAMPLE_CHANNELS);
        _mm256_storeu_si256(to, _mm256_permute2x128_si256(outer, inner, 0x20));
        _mm256_storeu_si256(to + 1, _mm256_permute2x128_si256(outer, inner, 0x31));
    }
}

/// Two pixels at once, one in each half of the vectors: the sums of them.
inline __m256i twoSums(const std::int16_t *first, const std::int16_t *second,
                       const std::int16_t *weights, int taps)
{
    // The words of two neighbours by turns, as products take them.
    const __m256i turns = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15));
    __m256i sum = _mm256_set1_epi32(1 << (WEIGHT_BITS + FRACTION_BITS - 1));
    for (int tap = 0; tap < taps; tap += 2) {
        const __m256i words =
            _mm256_inserti128_si256(_mm256_castsi128_si256(load16(first + tap * RESAMPLE_CHANNELS)),
                                    load16(second + tap * RESAMPLE_CHANNELS), 1);
        const __m256i weight =
            _mm256_blend_epi32(_mm256_set1_epi32(pairAt(weights + tap)),
                               _mm256_set1_epi32(pairAt(weights + taps + tap)), 0xf0);
        sum = _mm256_add_epi32(sum, _mm256_madd_epi16(_mm256_shuffle_epi8(words, turns), weight));
    }
    return _mm256_srai_epi32(sum, WEIGHT_BITS + FRACTION_BITS);
}

void combineColumns(const std::int16_t *row, std::span<const int> first,
                    const std::int16_t *weights, int taps, Pixel *out)
{
    const auto at = [&](std::size_t x) {
        return row + std::ptrdiff_t{first[x]} * RESAMPLE_CHANNELS;
    };
    constexpr std::size_t STEP = 4; // pixels in a vector
    const __m256i inOrder = _mm256_setr_epi32(0, 4, 1, 5, 0, 4, 1, 5);
    std::size_t x = 0;
    for (; x + STEP <= first.size(); x += STEP, weights += std::ptrdiff_t{STEP} * taps) {
        const __m256i words =
            _mm256_packs_epi32(twoSums(at(x), at(x + 1), weights, taps),
                               twoSums(at(x + 2), at(x + 3), weights + 2 * taps, taps));
        const __m256i bytes =
            _mm256_permutevar8x32_epi32(_mm256_packus_epi16(words, words), inOrder);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + x), _mm256_castsi256_si128(bytes));
    }
    if (x < first.size())
        plainResampleKernels().combineColumns(row, first.subspan(x), weights, taps, out + x);
}

constexpr ResampleKernels KERNELS{combineRows, combineColumns};

} // namespace

} // namespace tavolin

#ifdef __clang__
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

namespace tavolin {

const ResampleKernels *avx2ResampleKernels()
{
    return __builtin_cpu_supports("avx2") != 0 ? &KERNELS : nullptr;
}

} // namespace tavolin

#else

namespace tavolin {

const ResampleKernels *avx2ResampleKernels()
{
    return nullptr;
}

} // namespace tavolin

#endif
