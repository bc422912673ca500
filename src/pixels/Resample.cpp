#include "pixels/Resample.h"

#include "pixels/Bands.h"
#include "pixels/Geometry.h"
#include "pixels/ResampleKernels.h"
#include "pixels/Vectors.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <span>

namespace tavolin {

namespace {

/// Below this many rows a second thread costs more than it saves.
constexpr int LEAST_BAND_ROWS = 64;

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
        std::memcpy(out + x * RESAMPLE_CHANNELS, &first, sizeof first);
        std::memcpy(out + x * RESAMPLE_CHANNELS + 8, &second, sizeof second);
    }
    for (; x < pixels; ++x) {
        for (int channel = 0; channel < RESAMPLE_CHANNELS; ++channel) {
            int sum = HALF;
            for (int tap = 0; tap < taps; ++tap)
                sum += weights[tap] * static_cast<int>(rows[tap][x] >> (8 * channel) & 0xff);
            out[x * RESAMPLE_CHANNELS + channel] = static_cast<std::int16_t>(sum >> SHIFT);
        }
    }
}

void combineColumns(const std::int16_t *row, std::span<const int> first,
                    const std::int16_t *weights, int taps, Pixel *out)
{
    constexpr int SHIFT = WEIGHT_BITS + FRACTION_BITS;
    constexpr int HALF = 1 << (SHIFT - 1);
    for (const int start : first) {
        Longs4 sum = {HALF, HALF, HALF, HALF};
        const std::int16_t *source = row + std::ptrdiff_t{start} * RESAMPLE_CHANNELS;
        for (int tap = 0; tap < taps; tap += 2) {
            const auto two = load<Words8>(source + tap * RESAMPLE_CHANNELS);
            sum += multiplyAddPairs(interleavedHalves(two), weightPair(weights + tap));
        }
        weights += taps;
        sum >>= SHIFT;
        *out++ = packedPixel(sum);
    }
}

} // namespace

const ResampleKernels &plainResampleKernels()
{
    static constexpr ResampleKernels KERNELS{combineRows, combineColumns};
    return KERNELS;
}

const ResampleKernels &resampleKernels()
{
    static const ResampleKernels *const fastest = avx2ResampleKernels();
    return fastest != nullptr ? *fastest : plainResampleKernels();
}

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
    // As many positions as lie within the reach, at its ends the filter being zero.
    axis.taps = same ? 2 : (static_cast<int>(std::ceil(2.0 * reach)) + 1) & ~1;
    axis.first.reserve(static_cast<std::size_t>(target));
    axis.weights.reserve(static_cast<std::size_t>(target) * static_cast<std::size_t>(axis.taps));

    std::vector<double> exact(static_cast<std::size_t>(axis.taps));
    for (int i = 0; i < target; ++i) {
        const double centre = (i + 0.5) * ratio - 0.5;
        const int wanted = same ? i : static_cast<int>(std::floor(centre - reach)) + 1;
        const int first = clamped(wanted, 0, source - axis.taps);
        // What falls beyond an edge goes to the edge itself, as if it were repeated.
        std::fill(exact.begin(), exact.end(), 0.0);
        double total = 0.0;
        for (int tap = 0; tap < axis.taps; ++tap) {
            const double weight = cubic((wanted + tap - centre) / stretch);
            const int position = clamped(wanted + tap, 0, source - 1);
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

std::size_t ResamplePlan::scratchSize() const
{
    return static_cast<std::size_t>(m_source.width() + m_columns.taps) * RESAMPLE_CHANNELS;
}

void ResamplePlan::makeRow(int y, const Pixel *const *window, Pixel *out,
                           std::vector<std::int16_t> &scratch) const
{
    // Weights beyond the last column are zero, but the pixels are read all the same.
    scratch.resize(scratchSize());
    const ResampleKernels &kernels = resampleKernels();
    kernels.combineRows(window, m_rows.weights.data() + std::ptrdiff_t{y} * m_rows.taps,
                        m_rows.taps, m_source.width(), scratch.data());
    kernels.combineColumns(scratch.data(), m_columns.first, m_columns.weights.data(),
                           m_columns.taps, out);
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
    PixelBuffer result = PixelBuffer::recycled(size);
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
