// How much of a photograph is left after turning it by 7° and back: our rotation beside OpenCV's
// cubic one and libvips' bicubic one, which get the same geometry. One line for each file.

#include "decoding/Decoding.h"
#include "pixels/Rotate.h"

#include <QCoreApplication>
#include <QSize>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <span>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <vips/vips.h>

namespace {

using namespace tavolin;

constexpr double DEGREES = 7;

/// A turn about the centre: places in the result are R · (place − from) + to, with R's rows
/// (cosine, −sine) and (sine, cosine).
struct Turn
{
    double cosine;
    double sine;
    std::array<double, 2> from; // the middle of the source, counted in pixels from the first one's
    std::array<double, 2> to;   // and that of the result

    Turn(QSize source, double degrees, QSize result)
        : cosine(std::cos(degrees * std::numbers::pi / 180)),
          sine(std::sin(degrees * std::numbers::pi / 180)), from{(source.width() - 1) / 2.0,
                                                                 (source.height() - 1) / 2.0},
          to{(result.width() - 1) / 2.0, (result.height() - 1) / 2.0}
    {}
};

Image imageOf(QSize size, const void *pixels, std::size_t rowBytes)
{
    PixelBuffer buffer(size);
    for (int y = 0; y < size.height(); ++y)
        std::copy_n(static_cast<const char *>(pixels) + static_cast<std::size_t>(y) * rowBytes,
                    static_cast<std::size_t>(size.width()) * sizeof(Pixel),
                    reinterpret_cast<char *>(buffer.row(y)));
    return std::move(buffer).toImage(Alpha::Opaque);
}

Image rotatedByOpenCv(const Image &image, double degrees, QSize size)
{
    const Turn turn(image.size(), degrees, size);
    const cv::Mat source(image.height(), image.width(), CV_8UC4, const_cast<Pixel *>(image.row(0)),
                         static_cast<std::size_t>(image.stride()) * sizeof(Pixel));
    // From places in the result to those in the source, with WARP_INVERSE_MAP.
    const cv::Mat inverse =
        (cv::Mat_<double>(2, 3) << turn.cosine, turn.sine,
         turn.from[0] - turn.cosine * turn.to[0] - turn.sine * turn.to[1], -turn.sine, turn.cosine,
         turn.from[1] + turn.sine * turn.to[0] - turn.cosine * turn.to[1]);
    cv::Mat result;
    cv::warpAffine(source, result, inverse, {size.width(), size.height()},
                   cv::INTER_CUBIC | cv::WARP_INVERSE_MAP, cv::BORDER_REPLICATE);
    return imageOf(size, result.data, result.step[0]);
}

Image rotatedByVips(const Image &image, double degrees, QSize size)
{
    const Turn turn(image.size(), degrees, size);
    VipsImage *source = vips_image_new_from_memory(
        image.row(0), static_cast<std::size_t>(image.stride() * image.height()) * sizeof(Pixel),
        static_cast<int>(image.stride()), image.height(), 4, VIPS_FORMAT_UCHAR);
    const std::array<int, 4> part{0, 0, size.width(), size.height()};
    VipsArrayInt *area = vips_array_int_new(part.data(), static_cast<int>(part.size()));
    VipsInterpolate *bicubic = vips_interpolate_new("bicubic");
    VipsImage *result = nullptr;
    vips_affine(source, &result, turn.cosine, -turn.sine, turn.sine, turn.cosine, "interpolate",
                bicubic, "oarea", area, "idx", -turn.from[0], "idy", -turn.from[1], "odx",
                turn.to[0], "ody", turn.to[1], "extend", VIPS_EXTEND_COPY, "premultiplied", TRUE,
                nullptr);
    std::size_t bytes = 0;
    void *pixels = result ? vips_image_write_to_memory(result, &bytes) : nullptr;
    Image copy;
    if (pixels)
        copy = imageOf(size, pixels, static_cast<std::size_t>(size.width()) * sizeof(Pixel));
    g_free(pixels);
    if (result)
        g_object_unref(result);
    g_object_unref(bicubic);
    vips_area_unref(VIPS_AREA(area));
    g_object_unref(source);
    return copy;
}

/// The peak signal-to-noise ratio of the colours in the middle of both, decibels.
double likeness(const Image &image, const Image &original)
{
    const int left = (original.width() - image.width()) / 2;
    const int top = (original.height() - image.height()) / 2;
    double squares = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            for (int shift = 0; shift < 24; shift += 8) {
                const auto channel = [shift](Pixel pixel) {
                    return static_cast<int>(pixel >> shift & 0xff);
                };
                const int difference =
                    channel(image.row(y)[x]) - channel(original.row(top + y)[left + x]);
                squares += difference * difference;
            }
    return 10 * std::log10(255.0 * 255.0 * 3 * image.width() * image.height() / squares);
}

/// What is left of @p original, as a size that lies inside after both turns and whose middle is
/// the middle of a pixel where the original's is.
QSize sharedSize(QSize original, double share)
{
    const auto side = [share](int full) { return full - 2 * static_cast<int>(full * share / 2); };
    return {side(original.width()), side(original.height())};
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::fputs("usage: tavolin-rotation-quality FILE...\n", stderr);
        return 2;
    }
    const QCoreApplication application(argc, argv);
    if (VIPS_INIT(argv[0]) != 0)
        return 1;
    bool isBest = true;
    for (const char *file : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
        const Image original = loadFullImage(file);
        if (original.isNull())
            return 1;
        const QSize once = sharedSize(original.size(), 0.3);
        const QSize twice = sharedSize(original.size(), 0.5);
        const auto roundTrip = [&](auto turned) {
            return likeness(turned(turned(original, DEGREES, once), -DEGREES, twice), original);
        };
        const double ours = roundTrip(rotated);
        const double openCv = roundTrip(rotatedByOpenCv);
        const double vips = roundTrip(rotatedByVips);
        isBest = isBest && ours >= openCv && ours >= vips;
        std::printf("%s: ours %.3f dB, OpenCV %.3f dB, libvips %.3f dB\n", file, ours, openCv,
                    vips);
    }
    vips_shutdown();
    return isBest ? 0 : 1;
}
