// The kernels for vectors of 32 bytes, compiled for processors that have them and chosen at run
// time.

#include "decoding/codecs/jpeg/JpegKernels.h"

#include <cstring>

#ifdef __SSE2__
#include <immintrin.h>

#ifdef __clang__
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif

namespace tavolin {

namespace {

using Vector = __m256i;
constexpr int WORDS = 16;

inline Vector zero()
{
    return _mm256_setzero_si256();
}
inline Vector all16(std::int16_t value)
{
    return _mm256_set1_epi16(value);
}
inline Vector all32(std::int32_t value)
{
    return _mm256_set1_epi32(value);
}
/// Two words over and over.
inline Vector pairOf(int first, int second)
{
    return all32((first & 0xffff) |
                 static_cast<std::int32_t>(static_cast<std::uint32_t>(second) << 16));
}
inline Vector add16(Vector a, Vector b)
{
    return _mm256_add_epi16(a, b);
}
inline Vector sub16(Vector a, Vector b)
{
    return _mm256_sub_epi16(a, b);
}
inline Vector add32(Vector a, Vector b)
{
    return _mm256_add_epi32(a, b);
}
inline Vector sub32(Vector a, Vector b)
{
    return _mm256_sub_epi32(a, b);
}
inline Vector multiplyAdd(Vector a, Vector b)
{
    return _mm256_madd_epi16(a, b);
}
inline Vector multiplyHigh(Vector a, Vector b)
{
    return _mm256_mulhi_epi16(a, b);
}
inline Vector limited32(Vector a, Vector b)
{
    return _mm256_packs_epi32(a, b);
}
inline Vector limited16(Vector a, Vector b)
{
    return _mm256_packs_epi16(a, b);
}
inline Vector limitedUnsigned16(Vector a, Vector b)
{
    return _mm256_packus_epi16(a, b);
}
inline Vector low8(Vector a, Vector b)
{
    return _mm256_unpacklo_epi8(a, b);
}
inline Vector high8(Vector a, Vector b)
{
    return _mm256_unpackhi_epi8(a, b);
}
inline Vector low16(Vector a, Vector b)
{
    return _mm256_unpacklo_epi16(a, b);
}
inline Vector high16(Vector a, Vector b)
{
    return _mm256_unpackhi_epi16(a, b);
}
inline Vector low32(Vector a, Vector b)
{
    return _mm256_unpacklo_epi32(a, b);
}
inline Vector high32(Vector a, Vector b)
{
    return _mm256_unpackhi_epi32(a, b);
}
inline Vector low64(Vector a, Vector b)
{
    return _mm256_unpacklo_epi64(a, b);
}
inline Vector high64(Vector a, Vector b)
{
    return _mm256_unpackhi_epi64(a, b);
}
template <int BITS>
inline Vector right32(Vector a)
{
    return _mm256_srai_epi32(a, BITS);
}
template <int BITS>
inline Vector left32(Vector a)
{
    return _mm256_slli_epi32(a, BITS);
}
template <int BITS>
inline Vector right16(Vector a)
{
    return _mm256_srli_epi16(a, BITS);
}
template <int BITS>
inline Vector right16Signed(Vector a)
{
    return _mm256_srai_epi16(a, BITS);
}
template <int BITS>
inline Vector left16(Vector a)
{
    return _mm256_slli_epi16(a, BITS);
}
/// Bytes from -128 on as bytes from 0 on.
inline Vector centred(Vector bytes)
{
    return _mm256_xor_si256(bytes, _mm256_set1_epi8(-128));
}
inline Vector loadWords(const std::int16_t *from)
{
    return _mm256_load_si256(reinterpret_cast<const Vector *>(from));
}
inline void storeWords(Vector words, void *to)
{
    _mm256_storeu_si256(static_cast<Vector *>(to), words);
}
inline void storeBytes(Vector bytes, std::uint8_t *to)
{
    _mm256_storeu_si256(reinterpret_cast<Vector *>(to), bytes);
}
/// As many bytes as there are words.
inline Vector widened(const std::uint8_t *bytes)
{
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes)));
}
inline void storeNarrow(Vector words, std::uint8_t *to)
{
    const Vector bytes = _mm256_permute4x64_epi64(limitedUnsigned16(words, words), 0b1000);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(to), _mm256_castsi256_si128(bytes));
}
/// A row of eight bytes in each half of a group, the second group's to the right of the first's.
inline void storeTwoRows(Vector rows, std::uint8_t *to, std::ptrdiff_t stride)
{
    const Vector inOrder = _mm256_permute4x64_epi64(rows, 0b11011000);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(to), _mm256_castsi256_si128(inOrder));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(to + stride),
                     _mm256_extracti128_si256(inOrder, 1));
}
/// Of each group the first four and the last four.
inline void storePixels(Vector low, Vector high, Pixel *to)
{
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(to),
                        _mm256_permute2x128_si256(low, high, 0x20));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(to + 8),
                        _mm256_permute2x128_si256(low, high, 0x31));
}

} // namespace

} // namespace tavolin

#include "decoding/codecs/jpeg/JpegVectorKernels.h"

#ifdef __clang__
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

namespace tavolin {

const JpegKernels *avx2JpegKernels()
{
    return __builtin_cpu_supports("avx2") != 0 ? &KERNELS : nullptr;
}

} // namespace tavolin

#else

namespace tavolin {

const JpegKernels *avx2JpegKernels()
{
    return nullptr;
}

} // namespace tavolin

#endif
