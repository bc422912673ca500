#pragma once
// Small pictures for tests of decoders and filters, and what can be said about them. Colours are
// compared channel by channel, in levels of 0 to 255.

#include "decoding/SourceFile.h"
#include "pixels/Image.h"

#include <QByteArray>
#include <QImage>
#include <QRect>
#include <QSize>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <ios>
#include <random>
#include <stop_token>
#include <utility>

namespace tavolin::test {

inline constexpr Pixel RED = 0xffff0000;
inline constexpr Pixel GREEN = 0xff00ff00;
inline constexpr Pixel BLUE = 0xff0000ff;
inline constexpr Pixel YELLOW = 0xffffff00;
inline constexpr Pixel GREY = 0xff808080;

/// A picture of @p size with the colour colorAt(x, y) in each pixel.
template <typename ColorAt>
Image makeImage(QSize size, ColorAt colorAt, Alpha alpha = Alpha::Opaque,
                const QByteArray &profile = {})
{
    PixelBuffer buffer(size);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            buffer.row(y)[x] = static_cast<Pixel>(colorAt(x, y));
    return std::move(buffer).toImage(alpha, profile);
}

inline Image flatImage(QSize size, Pixel color, const QByteArray &profile = {})
{
    return makeImage(
        size, [color](int, int) { return color; }, Alpha::Opaque, profile);
}

/// A picture in which no two neighbours are alike; the same for the same @p seed.
inline Image noiseImage(QSize size, unsigned seed = 1)
{
    std::mt19937 random(seed);
    return makeImage(
        size, [&random](int, int) { return 0xff000000 | static_cast<Pixel>(random() & 0xffffff); });
}

/// The same with alpha: some pixels clear, some opaque, all premultiplied.
inline Image noiseWithAlpha(QSize size, unsigned seed = 1)
{
    std::mt19937 random(seed);
    const auto upTo = [&random](Pixel most) { return static_cast<Pixel>(random() % (most + 1)); };
    const auto pixel = [&upTo](int, int) {
        const Pixel kind = upTo(3);
        const Pixel alpha = kind == 0 ? 0 : kind == 1 ? 255 : upTo(255);
        const Pixel red = upTo(alpha);
        const Pixel green = upTo(alpha);
        return alpha << 24 | red << 16 | green << 8 | upTo(alpha);
    };
    return makeImage(size, pixel, Alpha::Premultiplied);
}

/// Clear, half-clear orange, half-clear white and opaque blue.
inline QImage clearQuarters()
{
    QImage image(40, 40, QImage::Format_ARGB32);
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 40; ++x)
            image.setPixel(x, y,
                           x < 20 ? (y < 20 ? 0x00ffffff : 0x80ffffff)
                                  : (y < 20 ? 0x80c86432 : 0xff0000ff));
    return image;
}

inline int channel(Pixel pixel, int shift)
{
    return static_cast<int>(pixel >> shift & 0xff);
}

/// The largest difference of a channel.
inline int difference(Pixel a, Pixel b)
{
    int largest = 0;
    for (int shift = 0; shift < 32; shift += 8)
        largest = std::max(largest, std::abs(channel(a, shift) - channel(b, shift)));
    return largest;
}

inline testing::AssertionResult isNear(Pixel actual, Pixel expected, int tolerance)
{
    if (difference(actual, expected) <= tolerance)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << std::hex << actual << " instead of " << expected;
}

/// Whether both pictures have one size and pixels that differ by @p tolerance at most.
inline testing::AssertionResult looksLike(const Image &actual, const Image &expected,
                                          int tolerance = 0)
{
    if (actual.size() != expected.size() || actual.isNull())
        return testing::AssertionFailure()
               << actual.width() << "x" << actual.height() << " instead of " << expected.width()
               << "x" << expected.height();
    for (int y = 0; y < actual.height(); ++y)
        for (int x = 0; x < actual.width(); ++x)
            if (difference(actual.row(y)[x], expected.row(y)[x]) > tolerance)
                return testing::AssertionFailure()
                       << std::hex << actual.row(y)[x] << " instead of " << expected.row(y)[x]
                       << std::dec << " at " << x << ", " << y;
    return testing::AssertionSuccess();
}

/// The pixel at shares (0 to 1) of width and height.
inline Pixel pixelAt(const Image &image, double x, double y)
{
    const auto place = [](double share, int side) {
        return std::min(static_cast<int>(std::lround(share * side)), side - 1);
    };
    return image.row(place(y, image.height()))[place(x, image.width())];
}

/// Whether the middles of @p image's quarters have these colours: from the top left, row by row.
inline testing::AssertionResult hasQuarters(const Image &image, const std::array<Pixel, 4> &colors,
                                            int tolerance)
{
    if (image.isNull())
        return testing::AssertionFailure() << "null";
    for (std::size_t i = 0; i < colors.size(); ++i) {
        const Pixel found = pixelAt(image, i % 2 == 0 ? 0.25 : 0.75, i < 2 ? 0.25 : 0.75);
        if (difference(found, colors[i]) > tolerance)
            return testing::AssertionFailure()
                   << "quarter " << i << ": " << std::hex << found << " instead of " << colors[i];
    }
    return testing::AssertionSuccess();
}

/// Whether @p image is what pictures::fourQuarters() draws.
inline testing::AssertionResult showsFourQuarters(const Image &image, int tolerance = 4)
{
    return hasQuarters(image, {RED, GREEN, BLUE, YELLOW}, tolerance);
}

/// A file of @p bytes in memory.
inline SourceFile fileOf(const QByteArray &bytes)
{
    return SourceFile::fromBytes(bytes);
}

/// A file whose reader has been told to stop.
inline SourceFile stoppedFileOf(const QByteArray &bytes)
{
    std::stop_source source;
    source.request_stop();
    return SourceFile::fromBytes(bytes, source.get_token());
}

/// @p bytes damaged in up to eight places: bits turned, bytes overwritten, parts cut out or
/// repeated. The same for the same @p seed.
inline QByteArray damaged(QByteArray bytes, unsigned seed)
{
    std::mt19937 random(seed);
    const auto below = [&random](qsizetype limit) {
        return static_cast<qsizetype>(random()) % std::max(qsizetype{1}, limit);
    };
    for (qsizetype change = below(8); change >= 0 && !bytes.isEmpty(); --change) {
        const qsizetype at = below(bytes.size());
        const qsizetype count = std::min(below(64), bytes.size() - at);
        switch (below(5)) {
        case 0:
            bytes[at] = static_cast<char>(bytes[at] ^ (1 << below(8)));
            break;
        case 1:
            bytes[at] = static_cast<char>(random());
            break;
        case 2:
            bytes[at] = '\xff';
            break;
        case 3:
            bytes.remove(at, count);
            break;
        default:
            bytes.insert(at, bytes.mid(at, count));
            break;
        }
    }
    return bytes;
}

} // namespace tavolin::test
