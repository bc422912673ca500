#include "pixels/Rotate.h"

#include "pixels/Bands.h"
#include "pixels/Geometry.h"
#include "pixels/Resample.h"
#include "pixels/RotateKernels.h"
#include "pixels/Vectors.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <numeric>
#include <utility>

namespace tavolin {

using namespace turning;

namespace {

/// The result is made in tiles of this side, pixels: what they need of the source stays near,
/// whatever the angle.
constexpr int TILE = 64;

/// Lanczos' windowed sine at distance @p x from its centre.
double lanczos(double x)
{
    constexpr double REACH = TAPS / 2.0;
    const double angle = std::numbers::pi * x;
    if (x == 0)
        return 1;
    return std::abs(x) < REACH ? REACH * std::sin(angle) * std::sin(angle / REACH) / (angle * angle)
                               : 0;
}

/// The weights at @p phase / 512 of the way from the third neighbour to the fourth.
Weights weightsAt(int phase)
{
    std::array<double, TAPS> exact{};
    double total = 0;
    for (int tap = 0; tap < TAPS; ++tap) {
        const double distance =
            tap - (TAPS / 2 - 1) - static_cast<double>(phase) / (1 << PHASE_BITS);
        total += exact[static_cast<std::size_t>(tap)] = lanczos(distance);
    }
    std::array<int, TAPS> rounded{};
    std::ranges::transform(exact, rounded.begin(), [total](double weight) {
        return static_cast<int>(std::lround(weight / total * (1 << WEIGHT_BITS)));
    });
    // They must add up to exactly one, or flat areas would change their colour.
    *std::ranges::max_element(rounded) +=
        (1 << WEIGHT_BITS) - std::accumulate(rounded.begin(), rounded.end(), 0);
    Weights ordered{};
    constexpr std::array<std::size_t, TAPS> ORDER{0, 2, 1, 3, 4, 5};
    std::ranges::transform(ORDER, ordered.begin(), [&rounded](std::size_t tap) {
        return static_cast<std::int16_t>(rounded[tap]);
    });
    return ordered;
}

const WeightTable &weightTable()
{
    static const WeightTable table = [] {
        WeightTable made{};
        for (int phase = 0; phase < 1 << PHASE_BITS; ++phase)
            made[static_cast<std::size_t>(phase)] = weightsAt(phase);
        return made;
    }();
    return table;
}

/// The weights of rows, each pair as often as a vector holds it.
struct RowWeights
{
    Words8 first;  // of rows 1 and 3
    Words8 second; // 2 and 4
    Words8 third;  // 5 and 6
};

/// The weighted sums down one column of four channels, whose bytes are given as words, two rows
/// side by side; with FRACTION_BITS below the unit.
inline Longs4 columnSum(Bytes16 first, Bytes16 second, Bytes16 third, const RowWeights &weights)
{
    constexpr int SHIFT = WEIGHT_BITS - FRACTION_BITS;
    constexpr int HALF = 1 << (SHIFT - 1);
    return (multiplyAddPairs(std::bit_cast<Words8>(first), weights.first) +
            multiplyAddPairs(std::bit_cast<Words8>(second), weights.second) +
            multiplyAddPairs(std::bit_cast<Words8>(third), weights.third) + HALF) >>
           SHIFT;
}

/// The sums down two columns, given as bytes, two rows side by side.
inline Words8 columnSums(Bytes16 first, Bytes16 second, Bytes16 third, const RowWeights &weights)
{
    const Bytes16 zero{};
    return narrowed(columnSum(interleavedLow(first, zero), interleavedLow(second, zero),
                              interleavedLow(third, zero), weights),
                    columnSum(interleavedHigh(first, zero), interleavedHigh(second, zero),
                              interleavedHigh(third, zero), weights));
}

/// The last two of six pixels.
inline Bytes16 loadRight(const Pixel *row)
{
    std::int64_t pixels = 0;
    std::memcpy(&pixels, row + 4, sizeof pixels);
    return std::bit_cast<Bytes16>(Quads2{pixels, 0});
}

/// The weighted sum of 6×6 pixels from @p first on, in rows @p stride pixels apart.
inline Pixel weightedSum(const Pixel *first, std::ptrdiff_t stride, const Weights &across,
                         const Weights &down)
{
    constexpr int SHIFT = WEIGHT_BITS + FRACTION_BITS;
    constexpr int HALF = 1 << (SHIFT - 1);
    const Pixel *row1 = first;
    const Pixel *row2 = row1 + stride;
    const Pixel *row3 = row2 + stride;
    const Pixel *row4 = row3 + stride;
    const Pixel *row5 = row4 + stride;
    const Pixel *row6 = row5 + stride;
    const RowWeights weights{weightPair(down.data()), weightPair(down.data() + 2),
                             weightPair(down.data() + 4)};
    const auto pixels1 = load<Bytes16>(row1);
    const auto pixels2 = load<Bytes16>(row2);
    const auto pixels3 = load<Bytes16>(row3);
    const auto pixels4 = load<Bytes16>(row4);
    const auto pixels5 = load<Bytes16>(row5);
    const auto pixels6 = load<Bytes16>(row6);
    const Words8 left =
        columnSums(interleavedLow(pixels1, pixels3), interleavedLow(pixels2, pixels4),
                   interleavedLow(pixels5, pixels6), weights);
    const Words8 middle =
        columnSums(interleavedHigh(pixels1, pixels3), interleavedHigh(pixels2, pixels4),
                   interleavedHigh(pixels5, pixels6), weights);
    const Words8 right = columnSums(interleavedLow(loadRight(row1), loadRight(row3)),
                                    interleavedLow(loadRight(row2), loadRight(row4)),
                                    interleavedLow(loadRight(row5), loadRight(row6)), weights);
    const Longs4 sum =
        multiplyAddPairs(interleavedLow(left, middle), weightPair(across.data())) +
        multiplyAddPairs(interleavedHigh(left, middle), weightPair(across.data() + 2)) +
        multiplyAddPairs(interleavedHalves(right), weightPair(across.data() + 4));
    return packedPixel((sum + HALF) >> SHIFT);
}

std::int64_t fixed(double pixels)
{
    return std::llround(pixels * static_cast<double>(std::int64_t{1} << POSITION_BITS));
}

/// The fastest way for this machine.
PixelsInside pixelsInside()
{
    static const PixelsInside fastest = avx2PixelsInside();
    return fastest ? fastest : plainPixelsInside;
}

/// A source and how the result lies on it. The place of a pixel is that of the third of its six
/// neighbours each way, and the part of the way from there to the fourth.
class Turn
{
public:
    Turn(const Image &source, double degrees, QSize size) : m_source(source)
    {
        const double angle = degrees * std::numbers::pi / 180;
        const double sine = std::sin(angle);
        const double cosine = std::cos(angle);
        m_across = {fixed(cosine), fixed(-sine)};
        m_down = {fixed(sine), fixed(cosine)};
        // From the middle of the first pixel to the centre of the result.
        const double x = (size.width() - 1) / 2.0;
        const double y = (size.height() - 1) / 2.0;
        // Places are cut off to the phases of the table: half a phase more rounds them.
        const double half = 0.5 / (1 << PHASE_BITS);
        m_first = {fixed((source.width() - 1) / 2.0 - x * cosine - y * sine + half),
                   fixed((source.height() - 1) / 2.0 + x * sine - y * cosine + half)};
    }

    /// Makes @p count pixels of the result's row @p y from column @p left on.
    void makePixels(int left, int y, int count, Pixel *out) const
    {
        Place place = m_first + m_across * left + m_down * y;
        // Where both ends of a line are inside, all of it is.
        if (isInside(place) && isInside(place + m_across * (count - 1))) {
            m_pixelsInside(m_neighbours, place, m_across, count, out);
            return;
        }
        for (int i = 0; i < count; ++i, place = place + m_across)
            out[i] = pixelAtEdge(place);
    }

private:
    /// Neighbours behind the place.
    static constexpr int BEHIND = TAPS / 2;

    /// Whether all 6×6 neighbours are in the picture.
    [[nodiscard]] bool isInside(Place place) const
    {
        const auto x = place.x >> POSITION_BITS;
        const auto y = place.y >> POSITION_BITS;
        return x >= BEFORE && y >= BEFORE && x + BEHIND < m_source.width() &&
               y + BEHIND < m_source.height();
    }

    [[nodiscard]] Pixel pixelAtEdge(Place place) const
    {
        const auto nearest = [](std::int64_t position, int tap, int size) {
            const std::int64_t wanted = (position >> POSITION_BITS) - BEFORE + tap;
            return static_cast<int>(clamped<std::int64_t>(wanted, 0, size - 1));
        };
        std::array<Pixel, std::size_t{TAPS} * TAPS> patch;
        for (int i = 0; i < TAPS * TAPS; ++i) {
            const Pixel *row = m_source.row(nearest(place.y, i / TAPS, m_source.height()));
            patch[static_cast<std::size_t>(i)] = row[nearest(place.x, i % TAPS, m_source.width())];
        }
        return weightedSum(patch.data(), TAPS, m_neighbours.weightsFor(place.x),
                           m_neighbours.weightsFor(place.y));
    }

    const Image &m_source;
    const Source m_neighbours{m_source.row(0), m_source.stride(), weightTable()};
    const PixelsInside m_pixelsInside = pixelsInside();
    Place m_first;  // of the first pixel of the result
    Place m_across; // from a pixel of the result to the next in its row
    Place m_down;   // and to the one below
};

} // namespace

void turning::plainPixelsInside(const Source &source, Place place, Place step, int count,
                                Pixel *out)
{
    for (int i = 0; i < count; ++i, place = place + step)
        out[i] = weightedSum(source.firstNeighbour(place), source.stride,
                             source.weightsFor(place.x), source.weightsFor(place.y));
}

Image rotated(const Image &image, double degrees, QSize size)
{
    if (image.isNull())
        return {};
    PixelBuffer result = PixelBuffer::recycled(size);
    if (result.isNull())
        return {};
    const Turn turn(image, degrees, size);
    forBands(size.height(), TILE, [&](int begin, int end) {
        for (int top = begin; top < end; top += TILE) {
            const int bottom = std::min(top + TILE, end);
            for (int left = 0; left < size.width(); left += TILE) {
                const int count = std::min(TILE, size.width() - left);
                for (int y = top; y < bottom; ++y)
                    turn.makePixels(left, y, count, result.row(y) + left);
            }
            for (int y = top; y < bottom && image.alpha() == Alpha::Premultiplied; ++y)
                limitToAlpha(result.row(y), size.width());
        }
    });
    return std::move(result).toImage(image.alpha(), image.iccProfile());
}

} // namespace tavolin
