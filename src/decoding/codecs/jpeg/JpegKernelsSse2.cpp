// The kernels for vectors of 16 bytes, which every x86-64 processor has.

#include "decoding/codecs/jpeg/JpegKernels.h"

#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>

namespace tavolin {

namespace {

using Vector = __m128i;
constexpr int WORDS = 8;

inline Vector zero()
{
    return _mm_setzero_si128();
}
inline Vector all16(std::int16_t value)
{
    return _mm_set1_epi16(value);
}
inline Vector all32(std::int32_t value)
{
    return _mm_set1_epi32(value);
}
/// Two words over and over.
inline Vector pairOf(int first, int second)
{
    return all32((first & 0xffff) |
                 static_cast<std::int32_t>(static_cast<std::uint32_t>(second) << 16));
}
inline Vector add16(Vector a, Vector b)
{
    return _mm_add_epi16(a, b);
}
inline Vector sub16(Vector a, Vector b)
{
    return _mm_sub_epi16(a, b);
}
inline Vector add32(Vector a, Vector b)
{
    return _mm_add_epi32(a, b);
}
inline Vector sub32(Vector a, Vector b)
{
    return _mm_sub_epi32(a, b);
}
inline Vector multiplyAdd(Vector a, Vector b)
{
    return _mm_madd_epi16(a, b);
}
inline Vector multiplyHigh(Vector a, Vector b)
{
    return _mm_mulhi_epi16(a, b);
}
inline Vector limited32(Vector a, Vector b)
{
    return _mm_packs_epi32(a, b);
}
inline Vector limited16(Vector a, Vector b)
{
    return _mm_packs_epi16(a, b);
}
inline Vector limitedUnsigned16(Vector a, Vector b)
{
    return _mm_packus_epi16(a, b);
}
inline Vector low8(Vector a, Vector b)
{
    return _mm_unpacklo_epi8(a, b);
}
inline Vector high8(Vector a, Vector b)
{
    return _mm_unpackhi_epi8(a, b);
}
inline Vector low16(Vector a, Vector b)
{
    return _mm_unpacklo_epi16(a, b);
}
inline Vector high16(Vector a, Vector b)
{
    return _mm_unpackhi_epi16(a, b);
}
inline Vector low32(Vector a, Vector b)
{
    return _mm_unpacklo_epi32(a, b);
}
inline Vector high32(Vector a, Vector b)
{
    return _mm_unpackhi_epi32(a, b);
}
inline Vector low64(Vector a, Vector b)
{
    return _mm_unpacklo_epi64(a, b);
}
inline Vector high64(Vector a, Vector b)
{
    return _mm_unpackhi_epi64(a, b);
}
template <int BITS>
inline Vector right32(Vector a)
{
    return _mm_srai_epi32(a, BITS);
}
template <int BITS>
inline Vector left32(Vector a)
{
    return _mm_slli_epi32(a, BITS);
}
template <int BITS>
inline Vector right16(Vector a)
{
    return _mm_srli_epi16(a, BITS);
}
template <int BITS>
inline Vector right16Signed(Vector a)
{
    return _mm_srai_epi16(a, BITS);
}
template <int BITS>
inline Vector left16(Vector a)
{
    return _mm_slli_epi16(a, BITS);
}
/// Bytes from -128 on as bytes from 0 on.
inline Vector centred(Vector bytes)
{
    return _mm_xor_si128(bytes, _mm_set1_epi8(-128));
}
inline Vector loadWords(const std::int16_t *from)
{
    return _mm_load_si128(reinterpret_cast<const Vector *>(from));
}
inline void storeWords(Vector words, void *to)
{
    _mm_storeu_si128(static_cast<Vector *>(to), words);
}
inline void storeBytes(Vector bytes, std::uint8_t *to)
{
    _mm_storeu_si128(reinterpret_cast<Vector *>(to), bytes);
}
/// As many bytes as there are words.
inline Vector widened(const std::uint8_t *bytes)
{
    return low8(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(bytes)), zero());
}
inline void storeNarrow(Vector words, std::uint8_t *to)
{
    _mm_storel_epi64(reinterpret_cast<__m128i *>(to), limitedUnsigned16(words, words));
}
/// A row of eight bytes in each half.
inline void storeTwoRows(Vector rows, std::uint8_t *to, std::ptrdiff_t stride)
{
    _mm_storel_epi64(reinterpret_cast<__m128i *>(to), rows);
    _mm_storel_epi64(reinterpret_cast<__m128i *>(to + stride), high64(rows, rows));
}
inline void storePixels(Vector low, Vector high, Pixel *to)
{
    _mm_storeu_si128(reinterpret_cast<__m128i *>(to), low);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(to + 4), high);
}

} // namespace

} // namespace tavolin

#include "decoding/codecs/jpeg/JpegVectorKernels.h"

namespace tavolin {

const JpegKernels *sse2JpegKernels()
{
    return &KERNELS;
}

} // namespace tavolin

#else

namespace tavolin {

const JpegKernels *sse2JpegKernels()
{
    return nullptr;
}

} // namespace tavolin

#endif
