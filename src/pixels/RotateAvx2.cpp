// Turning pictures with vectors of 32 bytes, one pixel in each half, compiled for processors that
// have them and chosen at run time.

#include "pixels/RotateKernels.h"

#ifdef __SSE2__
#include <immintrin.h>

#ifdef __clang__
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif

namespace tavolin::turning {

namespace {

inline __m256i halves(__m128i low, __m128i high)
{
    return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}

inline __m128i load16(const void *from)
{
    return _mm_loadu_si128(static_cast<const __m128i *>(from));
}

/// The last two of six pixels.
inline __m128i loadRight(const Pixel *row)
{
    return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(row + 4));
}

/// The weights of two pixels' rows, each pair as often as half a vector holds it.
struct RowWeights
{
    __m256i first;  // of rows 1 and 3
    __m256i second; // 2 and 4
    __m256i third;  // 5 and 6
};

inline RowWeights pairs(const Weights &low, const Weights &high)
{
    const __m256i all = halves(load16(low.data()), load16(high.data()));
    return {_mm256_shuffle_epi32(all, 0x00), _mm256_shuffle_epi32(all, 0x55),
            _mm256_shuffle_epi32(all, 0xaa)};
}

inline __m256i columnSum(__m256i first, __m256i second, __m256i third, const RowWeights &weights)
{
    constexpr int SHIFT = WEIGHT_BITS - FRACTION_BITS;
    const __m256i half = _mm256_set1_epi32(1 << (SHIFT - 1));
    const __m256i sum =
        _mm256_add_epi32(_mm256_add_epi32(_mm256_madd_epi16(first, weights.first),
                                          _mm256_madd_epi16(second, weights.second)),
                         _mm256_add_epi32(_mm256_madd_epi16(third, weights.third), half));
    return _mm256_srai_epi32(sum, SHIFT);
}

inline __m256i columnSums(__m256i first, __m256i second, __m256i third, const RowWeights &weights)
{
    const __m256i zero = _mm256_setzero_si256();
    return _mm256_packs_epi32(
        columnSum(_mm256_unpacklo_epi8(first, zero), _mm256_unpacklo_epi8(second, zero),
                  _mm256_unpacklo_epi8(third, zero), weights),
        columnSum(_mm256_unpackhi_epi8(first, zero), _mm256_unpackhi_epi8(second, zero),
                  _mm256_unpackhi_epi8(third, zero), weights));
}

/// The pixels at @p low and @p high, each in the lowest bytes of its half.
inline __m256i pixelPair(const Source &source, Place low, Place high)
{
    constexpr int SHIFT = WEIGHT_BITS + FRACTION_BITS;
    const Pixel *const from = source.firstNeighbour(low);
    const Pixel *const fromHigh = source.firstNeighbour(high);
    const auto row = [&](int number) {
        return halves(load16(from + number * source.stride),
                      load16(fromHigh + number * source.stride));
    };
    const auto right = [&](int number) {
        return halves(loadRight(from + number * source.stride),
                      loadRight(fromHigh + number * source.stride));
    };
    const RowWeights down = pairs(source.weightsFor(low.y), source.weightsFor(high.y));
    const RowWeights across = pairs(source.weightsFor(low.x), source.weightsFor(high.x));
    const __m256i row1 = row(0);
    const __m256i row2 = row(1);
    const __m256i row3 = row(2);
    const __m256i row4 = row(3);
    const __m256i row5 = row(4);
    const __m256i row6 = row(5);
    const __m256i left =
        columnSums(_mm256_unpacklo_epi8(row1, row3), _mm256_unpacklo_epi8(row2, row4),
                   _mm256_unpacklo_epi8(row5, row6), down);
    const __m256i middle =
        columnSums(_mm256_unpackhi_epi8(row1, row3), _mm256_unpackhi_epi8(row2, row4),
                   _mm256_unpackhi_epi8(row5, row6), down);
    const __m256i last = columnSums(_mm256_unpacklo_epi8(right(0), right(2)),
                                    _mm256_unpacklo_epi8(right(1), right(3)),
                                    _mm256_unpacklo_epi8(right(4), right(5)), down);
    const __m256i half = _mm256_set1_epi32(1 << (SHIFT - 1));
    const __m256i sum = _mm256_add_epi32(
        _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(left, middle), across.first),
                         _mm256_madd_epi16(_mm256_unpackhi_epi16(left, middle), across.second)),
        _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(last, _mm256_srli_si256(last, 8)),
                                           across.third),
                         half));
    const __m256i words = _mm256_packs_epi32(_mm256_srai_epi32(sum, SHIFT), _mm256_setzero_si256());
    return _mm256_packus_epi16(words, words);
}

void pixelsInside(const Source &source, Place place, Place step, int count, Pixel *out)
{
    for (int i = 0; i < count; i += 2) {
        const bool isLast = i + 1 == count; // made twice then
        const __m256i pair = pixelPair(source, place, isLast ? place : place + step);
        out[i] = static_cast<Pixel>(_mm_cvtsi128_si32(_mm256_castsi256_si128(pair)));
        if (!isLast)
            out[i + 1] = static_cast<Pixel>(_mm_cvtsi128_si32(_mm256_extracti128_si256(pair, 1)));
        place = place + step * 2;
    }
}

} // namespace

} // namespace tavolin::turning

#ifdef __clang__
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

namespace tavolin::turning {

PixelsInside avx2PixelsInside()
{
    return __builtin_cpu_supports("avx2") != 0 ? pixelsInside : nullptr;
}

} // namespace tavolin::turning

#else

namespace tavolin::turning {

PixelsInside avx2PixelsInside()
{
    return nullptr;
}

} // namespace tavolin::turning

#endif
