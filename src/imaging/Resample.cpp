#include "imaging/Resample.h"

#include "imaging/Bands.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <span>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace tavolin {

namespace {

// Vectors of the compilers we build with (GCC, Clang); each machine's own registers are 16 bytes.
using Bytes16 = std::uint8_t __attribute__((vector_size(16)));
using Words8 = std::int16_t __attribute__((vector_size(16)));
using Longs4 = std::int32_t __attribute__((vector_size(16)));

constexpr int CHANNELS = 4;
/// A weight of 1.0 is 1 << 14, the most that leaves a 16-bit word room for it.
constexpr int WEIGHT_BITS = 14;
/// Rows between the two passes keep 6 bits below the unit: overshoot stays inside 16 bits, and the
/// second rounding is not seen.
constexpr int FRACTION_BITS = 6;
/// Below this many rows a second thread costs more than it saves.
constexpr int LEAST_BAND_ROWS = 64;

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

/// a0, b0, a1, b1, … of the lower or upper halves.
inline Bytes16 interleavedLow(Bytes16 a, Bytes16 b)
{
#ifdef __SSE2__
    return std::bit_cast<Bytes16>(
        _mm_unpacklo_epi8(std::bit_cast<__m128i>(a), std::bit_cast<__m128i>(b)));
#else
    return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
#endif
}
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

template <typename Vector>
Vector load(const void *from)
{
    Vector result;
    std::memcpy(&result, from, sizeof result);
    return result;
}

inline std::uint8_t toByte(int value)
{
    return static_cast<std::uint8_t>(std::min(std::max(value, 0), 255));
}

/// Catmull-Rom's cubic at distance @p x from its centre; zero from 2 on.
double cubic(double x)
{
    x = std::abs(x);
    if (x < 1.0)
        return (1.5 * x - 2.5) * x * x + 1.0;
    if (x < 2.0)
        return ((-0.5 * x + 2.5) * x - 4.0) * x + 2.0;
    return 0.0;
}

/// The weighted sum of rows, with FRACTION_BITS below the unit.
void combineRows(const Pixel *const *rows, const std::int16_t *weights, int taps, int pixels,
                 std::int16_t *out)
{
    constexpr int SHIFT = WEIGHT_BITS - FRACTION_BITS;
    constexpr int HALF = 1 << (SHIFT - 1);
    constexpr int STEP = 4; // pixels in a vector
    int x = 0;
    for (; x + STEP <= pixels; x += STEP) {
        Longs4 sum0 = {HALF, HALF, HALF, HALF};
        Longs4 sum1 = sum0;
        Longs4 sum2 = sum0;
        Longs4 sum3 = sum0;
        for (int tap = 0; tap < taps; tap += 2) {
            const Words8 weight = weightPair(weights + tap);
            const auto a = load<Bytes16>(rows[tap] + x);
            const auto b = load<Bytes16>(rows[tap + 1] + x);
            const Bytes16 low = interleavedLow(a, b);
            const Bytes16 high = interleavedHigh(a, b);
            const auto wide = [](Bytes16 bytes) { return std::bit_cast<Words8>(bytes); };
            const Bytes16 zero = {};
            sum0 += multiplyAddPairs(wide(interleavedLow(low, zero)), weight);
            sum1 += multiplyAddPairs(wide(interleavedHigh(low, zero)), weight);
            sum2 += multiplyAddPairs(wide(interleavedLow(high, zero)), weight);
            sum3 += multiplyAddPairs(wide(interleavedHigh(high, zero)), weight);
        }
        const Words8 first = narrowed(sum0 >> SHIFT, sum1 >> SHIFT);
        const Words8 second = narrowed(sum2 >> SHIFT, sum3 >> SHIFT);
        std::memcpy(out + x * CHANNELS, &first, sizeof first);
        std::memcpy(out + x * CHANNELS + 8, &second, sizeof second);
    }
    for (; x < pixels; ++x) {
        for (int channel = 0; channel < CHANNELS; ++channel) {
            int sum = HALF;
            for (int tap = 0; tap < taps; ++tap)
                sum += weights[tap] * static_cast<int>(rows[tap][x] >> (8 * channel) & 0xff);
            out[x * CHANNELS + channel] = static_cast<std::int16_t>(sum >> SHIFT);
        }
    }
}

/// The weighted sum of neighbouring pixels of a row made by combineRows.
void combineColumns(const std::int16_t *row, std::span<const int> first,
                    const std::int16_t *weights, int taps, Pixel *out)
{
    constexpr int SHIFT = WEIGHT_BITS + FRACTION_BITS;
    constexpr int HALF = 1 << (SHIFT - 1);
    for (const int start : first) {
        Longs4 sum = {HALF, HALF, HALF, HALF};
        const std::int16_t *source = row + std::ptrdiff_t{start} * CHANNELS;
        for (int tap = 0; tap < taps; tap += 2) {
            const auto two = load<Words8>(source + tap * CHANNELS);
            sum += multiplyAddPairs(interleavedHalves(two), weightPair(weights + tap));
        }
        weights += taps;
        sum >>= SHIFT;
#ifdef __SSE2__
        const __m128i words = _mm_packs_epi32(std::bit_cast<__m128i>(sum), _mm_setzero_si128());
        *out++ = static_cast<Pixel>(_mm_cvtsi128_si32(_mm_packus_epi16(words, words)));
#else
        *out++ = Pixel{toByte(sum[0])} | Pixel{toByte(sum[1])} << 8 | Pixel{toByte(sum[2])} << 16 |
                 Pixel{toByte(sum[3])} << 24;
#endif
    }
}

} // namespace

QSize sizeWithin(QSize size, int maxPixel)
{
    const int longest = std::max(size.width(), size.height());
    if (maxPixel >= longest)
        return size;
    const double scale = static_cast<double>(maxPixel) / longest;
    const auto scaled = [scale](int side) {
        return std::max(1, static_cast<int>(std::lround(side * scale)));
    };
    return {scaled(size.width()), scaled(size.height())};
}

ResamplePlan::Axis ResamplePlan::makeAxis(int source, int target)
{
    Axis axis;
    const double ratio = static_cast<double>(source) / target;
    const double stretch = std::max(1.0, ratio);
    const double reach = 2.0 * stretch;
    const bool same = source == target;
    axis.taps = same ? 2 : (static_cast<int>(std::floor(2.0 * reach)) + 2) & ~1;
    axis.first.reserve(static_cast<std::size_t>(target));
    axis.weights.reserve(static_cast<std::size_t>(target) * static_cast<std::size_t>(axis.taps));

    std::vector<double> exact(static_cast<std::size_t>(axis.taps));
    for (int i = 0; i < target; ++i) {
        const double centre = (i + 0.5) * ratio - 0.5;
        const int wanted = same ? i : static_cast<int>(std::floor(centre - reach)) + 1;
        const int first = std::max(0, std::min(wanted, source - axis.taps));
        // What falls beyond an edge goes to the edge itself, as if it were repeated.
        std::fill(exact.begin(), exact.end(), 0.0);
        double total = 0.0;
        for (int tap = 0; tap < axis.taps; ++tap) {
            const double weight = cubic((wanted + tap - centre) / stretch);
            const int position = std::max(0, std::min(wanted + tap, source - 1));
            exact[static_cast<std::size_t>(position - first)] += weight;
            total += weight;
        }
        axis.first.push_back(first);
        const auto begin = axis.weights.size();
        int sum = 0;
        for (const double weight : exact) {
            const auto rounded = std::lround(weight / total * (1 << WEIGHT_BITS));
            axis.weights.push_back(static_cast<std::int16_t>(rounded));
            sum += static_cast<int>(rounded);
        }
        // The weights of a flat area must add up to exactly one, or it would change its colour.
        const auto largest = std::max_element(
            axis.weights.begin() + static_cast<std::ptrdiff_t>(begin), axis.weights.end());
        *largest = static_cast<std::int16_t>(*largest + (1 << WEIGHT_BITS) - sum);
    }
    return axis;
}

ResamplePlan::ResamplePlan(QSize source, QSize target)
    : m_source(source), m_columns(makeAxis(source.width(), target.width())),
      m_rows(makeAxis(source.height(), target.height()))
{}

int ResamplePlan::firstSourceRow(int y) const
{
    return m_rows.first[static_cast<std::size_t>(y)];
}

int ResamplePlan::lastSourceRow(int y) const
{
    return std::min(firstSourceRow(y) + m_rows.taps, m_source.height()) - 1;
}

void ResamplePlan::makeRow(int y, const Pixel *const *window, Pixel *out,
                           std::vector<std::int16_t> &scratch) const
{
    // Weights beyond the last column are zero, but the pixels are read all the same.
    scratch.resize(static_cast<std::size_t>(m_source.width() + m_columns.taps) * CHANNELS);
    combineRows(window, m_rows.weights.data() + std::ptrdiff_t{y} * m_rows.taps, m_rows.taps,
                m_source.width(), scratch.data());
    combineColumns(scratch.data(), m_columns.first, m_columns.weights.data(), m_columns.taps, out);
}

void limitToAlpha(Pixel *row, int pixels)
{
    for (Pixel *pixel = row; pixel != row + pixels; ++pixel) {
        const Pixel alpha = *pixel >> 24;
        Pixel result = alpha << 24;
        for (int shift = 0; shift < 24; shift += 8)
            result |= std::min(*pixel >> shift & 0xff, alpha) << shift;
        *pixel = result;
    }
}

Image resampled(const Image &image, QSize size, std::stop_token stop)
{
    if (image.isNull() || size.isEmpty())
        return {};
    if (size == image.size())
        return image;
    const ResamplePlan plan(image.size(), size);
    PixelBuffer result(size);
    if (result.isNull())
        return {};
    forBands(size.height(), LEAST_BAND_ROWS, [&](int begin, int end) {
        std::vector<std::int16_t> scratch;
        std::vector<const Pixel *> window(static_cast<std::size_t>(plan.windowRows()));
        for (int y = begin; y < end && !stop.stop_requested(); ++y) {
            for (int i = 0; i < plan.windowRows(); ++i)
                window[static_cast<std::size_t>(i)] =
                    image.row(std::min(plan.firstSourceRow(y) + i, image.height() - 1));
            plan.makeRow(y, window.data(), result.row(y), scratch);
            if (image.alpha() == Alpha::Premultiplied)
                limitToAlpha(result.row(y), size.width());
        }
    });
    if (stop.stop_requested())
        return {};
    return std::move(result).toImage(image.alpha(), image.iccProfile());
}

Image downscale(const Image &image, int maxPixel)
{
    const int longest = std::max(image.width(), image.height());
    if (maxPixel >= longest)
        return image;
    const double scale = static_cast<double>(maxPixel) / longest;
    const QSize size(std::max(1, static_cast<int>(image.width() * scale)),
                     std::max(1, static_cast<int>(image.height() * scale)));
    const Image result = resampled(image, size);
    return result.isNull() ? image : result;
}

} // namespace tavolin
