#include "decoding/codecs/jpeg/JpegKernels.h"

#include "pixels/Geometry.h"

#include <algorithm>
#include <array>

namespace tavolin {

namespace {

// The transforms are Loeffler, Ligtenberg and Moschytz's (ICASSP 1989), in fixed point with 13
// bits, columns first; columns keep two bits below the unit. Sums wrap and words are limited where
// vector units do so, which shows only where a file's coefficients are nonsense.
constexpr int CONSTANT_BITS = 13;
constexpr int KEPT_BITS = 2;
/// What the transform's scale amounts to in each direction, twice: a factor of 8.
constexpr int SCALE_BITS = 3;

using Wide = std::uint32_t; // signed numbers that may wrap

constexpr Wide fixed(double value)
{
    return static_cast<Wide>(
        static_cast<std::int32_t>(value * (1 << CONSTANT_BITS) + (value < 0 ? -0.5 : 0.5)));
}

constexpr Wide wide(int value)
{
    return static_cast<Wide>(value);
}

int wrapped16(int value)
{
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(value));
}

/// @p value without its lowest @p bits bits, rounded.
Wide shifted(Wide value, int bits)
{
    return static_cast<Wide>(static_cast<std::int32_t>(value + (Wide{1} << (bits - 1))) >> bits);
}

/// The same as a 16-bit word.
std::int16_t rounded(Wide value, int bits)
{
    const auto number = static_cast<std::int32_t>(shifted(value, bits));
    return static_cast<std::int16_t>(clamped(number, -32768, 32767));
}

std::uint8_t sample(std::int16_t value)
{
    return static_cast<std::uint8_t>(clamped<int>(value, -128, 127) + 128);
}

/// One direction of the transform to eight: @p in every @p stride words, results to @p put(i, sum).
template <typename Put>
void eight(const std::int16_t *in, int stride, Put put)
{
    const auto at = [&](int i) { return int{in[i * stride]}; };
    const Wide even0 = wide(wrapped16(at(0) + at(4))) << CONSTANT_BITS;
    const Wide even1 = wide(wrapped16(at(0) - at(4))) << CONSTANT_BITS;
    const Wide turned = (wide(at(2)) + wide(at(6))) * fixed(0.541196100);
    const Wide even2 = turned - wide(at(6)) * fixed(1.847759065);
    const Wide even3 = turned + wide(at(2)) * fixed(0.765366865);
    const std::array<Wide, 4> even{even0 + even3, even1 + even2, even1 - even2, even0 - even3};

    const int sum73 = wrapped16(at(7) + at(3));
    const int sum51 = wrapped16(at(5) + at(1));
    const Wide z5 = (wide(sum73) + wide(sum51)) * fixed(1.175875602);
    const Wide z3 = z5 - wide(sum73) * fixed(1.961570560);
    const Wide z4 = z5 - wide(sum51) * fixed(0.390180644);
    const Wide z1 = (wide(at(7)) + wide(at(1))) * fixed(0.899976223);
    const Wide z2 = (wide(at(5)) + wide(at(3))) * fixed(2.562915447);
    const std::array<Wide, 4> odd{
        wide(at(1)) * fixed(1.501321110) - z1 + z4, wide(at(3)) * fixed(3.072711026) - z2 + z3,
        wide(at(5)) * fixed(2.053119869) - z2 + z4, wide(at(7)) * fixed(0.298631336) - z1 + z3};
    for (int i = 0; i < 4; ++i) {
        const auto index = static_cast<std::size_t>(i);
        put(i, even[index] + odd[index]);
        put(7 - i, even[index] - odd[index]);
    }
}

/// The same to four, which leaves the fifth coefficient out.
template <typename Put>
void four(const std::int16_t *in, int stride, Put put)
{
    const auto at = [&](int i) { return wide(in[i * stride]); };
    const Wide dc = at(0) << (CONSTANT_BITS + 1);
    const Wide turned = at(2) * fixed(1.847759065) - at(6) * fixed(0.765366865);
    const Wide inner = at(5) * fixed(1.451774981) - at(7) * fixed(0.211164243) -
                       at(3) * fixed(2.172734803) + at(1) * fixed(1.061594337);
    const Wide outer = at(3) * fixed(0.899976223) - at(7) * fixed(0.509795579) -
                       at(5) * fixed(0.601344887) + at(1) * fixed(2.562915447);
    put(0, dc + turned + outer);
    put(1, dc - turned + inner);
    put(2, dc - turned - inner);
    put(3, dc + turned - outer);
}

/// The odd part of the same to two, which leaves out all even coefficients but the first.
Wide oddOfTwo(const std::int16_t *in, int stride)
{
    const auto at = [&](int i) { return wide(in[i * stride]); };
    return at(5) * fixed(0.850430095) - at(7) * fixed(0.720959822) - at(3) * fixed(1.272758580) +
           at(1) * fixed(3.624509785);
}

/// Both directions; @p oneWay is the transform of one, to @p side samples, whose sums have @p extra
/// bits more than CONSTANT_BITS.
template <typename OneWay>
void bothWays(const std::int16_t *rows, std::uint8_t *out, std::ptrdiff_t stride, int side,
              int extra, OneWay oneWay)
{
    for (int block = 0; block < 2; ++block) {
        std::array<std::int16_t, 64> columns;
        for (int x = 0; x < 8; ++x) {
            oneWay(rows + block * 8 + x, PAIR_WIDTH, [&](int y, Wide sum) {
                columns[static_cast<std::size_t>(y * 8 + x)] =
                    rounded(sum, CONSTANT_BITS - KEPT_BITS + extra);
            });
        }
        for (int y = 0; y < side; ++y) {
            std::uint8_t *row = out + y * stride + block * side;
            oneWay(columns.data() + y * 8, 1, [&](int x, Wide sum) {
                row[x] = sample(rounded(sum, CONSTANT_BITS + KEPT_BITS + SCALE_BITS + extra));
            });
        }
    }
}

void transform8(const std::int16_t *rows, std::uint8_t *out, std::ptrdiff_t stride)
{
    bothWays(rows, out, stride, 8, 0,
             [](const std::int16_t *in, int step, auto put) { eight(in, step, put); });
}

void transform4(const std::int16_t *rows, std::uint8_t *out, std::ptrdiff_t stride)
{
    bothWays(rows, out, stride, 4, 1,
             [](const std::int16_t *in, int step, auto put) { four(in, step, put); });
}

void transform2(const std::int16_t *rows, std::uint8_t *out, std::ptrdiff_t stride)
{
    constexpr int BITS = CONSTANT_BITS - KEPT_BITS + 2;
    constexpr int LAST_BITS = CONSTANT_BITS + KEPT_BITS + SCALE_BITS + 2;
    for (int block = 0; block < 2; ++block) {
        std::array<std::int16_t, 16> columns;
        std::array<Wide, 2> first; // of the columns, which is not limited
        for (const int x : {0, 1, 3, 5, 7}) {
            const std::int16_t *in = rows + block * 8 + x;
            const Wide dc = wide(in[0]) << (CONSTANT_BITS + 2);
            const Wide odd = oddOfTwo(in, PAIR_WIDTH);
            const std::array<Wide, 2> sums{dc + odd, dc - odd};
            for (std::size_t y = 0; y < 2; ++y) {
                columns[y * 8 + static_cast<std::size_t>(x)] = rounded(sums[y], BITS);
                if (x == 0)
                    first[y] = shifted(sums[y], BITS);
            }
        }
        for (std::size_t y = 0; y < 2; ++y) {
            const Wide dc = first[y] << (CONSTANT_BITS + 2);
            const Wide odd = oddOfTwo(columns.data() + y * 8, 1);
            std::uint8_t *row = out + static_cast<std::ptrdiff_t>(y) * stride + block * 2;
            row[0] = sample(rounded(dc + odd, LAST_BITS));
            row[1] = sample(rounded(dc - odd, LAST_BITS));
        }
    }
}

std::uint8_t byte(int value)
{
    return static_cast<std::uint8_t>(value);
}

void smoothAcross(const std::uint8_t *row, int width, std::uint8_t *out)
{
    for (int x = 0; x < width; ++x) {
        const int left = row[std::max(x - 1, 0)];
        const int right = row[std::min(x + 1, width - 1)];
        out[2 * x] = byte((row[x] * 3 + left + 1) >> 2);
        out[2 * x + 1] = byte((row[x] * 3 + right + 2) >> 2);
    }
}

void smoothBothWays(const std::uint8_t *near, const std::uint8_t *far, int width, std::uint8_t *out)
{
    const auto column = [&](int x) { return near[x] * 3 + far[x]; };
    for (int x = 0; x < width; ++x) {
        const int left = column(std::max(x - 1, 0));
        const int right = column(std::min(x + 1, width - 1));
        out[2 * x] = byte((column(x) * 3 + left + 8) >> 4);
        out[2 * x + 1] = byte((column(x) * 3 + right + 7) >> 4);
    }
}

void smoothDown(const std::uint8_t *near, const std::uint8_t *far, int width, int bias,
                std::uint8_t *out)
{
    for (int x = 0; x < width; ++x)
        out[x] = byte((near[x] * 3 + far[x] + bias) >> 2);
}

Pixel opaque(int red, int green, int blue)
{
    const auto level = [](int value) { return static_cast<Pixel>(clamped(value, 0, 255)); };
    return 0xff000000 | level(red) << 16 | level(green) << 8 | level(blue);
}

void toColor(const std::uint8_t *y, const std::uint8_t *cb, const std::uint8_t *cr, int width,
             Pixel *out)
{
    // In 65536ths.
    constexpr int HALF = 1 << 15;
    constexpr int RED_OF_CR = 91881;
    constexpr int GREEN_OF_CR = 46802;
    constexpr int GREEN_OF_CB = 22554;
    constexpr int BLUE_OF_CB = 116130;
    for (int x = 0; x < width; ++x) {
        const int b = cb[x] - 128;
        const int r = cr[x] - 128;
        out[x] = opaque(y[x] + ((RED_OF_CR * r + HALF) >> 16),
                        y[x] + ((HALF - GREEN_OF_CB * b - GREEN_OF_CR * r) >> 16),
                        y[x] + ((BLUE_OF_CB * b + HALF) >> 16));
    }
}

void toGrey(const std::uint8_t *y, int width, Pixel *out)
{
    for (int x = 0; x < width; ++x)
        out[x] = 0xff000000 | Pixel{y[x]} * 0x010101;
}

} // namespace

const JpegKernels &plainJpegKernels()
{
    static constexpr JpegKernels KERNELS{transform8,     transform4, transform2, smoothAcross,
                                         smoothBothWays, smoothDown, toColor,    toGrey};
    return KERNELS;
}

const JpegKernels &jpegKernels()
{
    static const JpegKernels &fastest = []() -> const JpegKernels & {
        for (const JpegKernels *kernels : {avx2JpegKernels(), sse2JpegKernels()})
            if (kernels != nullptr)
                return *kernels;
        return plainJpegKernels();
    }();
    return fastest;
}

} // namespace tavolin
