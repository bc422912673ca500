// How good a picture looks that is made as small as the screen: our renditions beside those that
// libvips and ImageMagick make with Lanczos 3 of the same full pictures. Prints the rows of a
// table.

#include "decoding/Decoding.h"
#include "pixels/Limits.h"
#include "screen/QtImage.h"

#include <QGuiApplication>
#include <QImage>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <numbers>
#include <string>
#include <vector>

#include <vips/vips.h>

namespace {

using namespace tavolin;
using namespace Qt::StringLiterals;

constexpr QSize SOURCE(6000, 4000);
const DisplayTarget SCREEN{.maxPixel = 1920, .area = QRectF(0, 0, 1920, 1080)};

/// Levels of the drawn pictures: far from both ends, so that nothing that overshoots is cut off.
constexpr double DARK = 64;
constexpr double BRIGHT = 192;

/// A picture's colours as numbers, three for each pixel.
struct Plane
{
    QSize size;
    std::vector<float> values;

    explicit Plane(QSize ofSize)
        : size(ofSize),
          values(std::size_t(3) * std::size_t(ofSize.width()) * std::size_t(ofSize.height()))
    {}
    [[nodiscard]] float *at(int x, int y)
    {
        return values.data() +
               3 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(size.width()) +
                    static_cast<std::size_t>(x));
    }
};

/// IEC 61966-2-1, both from 0 to 1.
double toLight(double value)
{
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}
double fromLight(double light)
{
    return light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

Pixel opaquePixel(const float *levels)
{
    Pixel pixel = 0xff;
    for (int channel = 0; channel < 3; ++channel)
        pixel = pixel << 8 |
                static_cast<Pixel>(std::lround(std::max(0.0F, std::min(levels[channel], 255.0F))));
    return pixel;
}

Image imageOf(Plane plane)
{
    PixelBuffer buffer(plane.size);
    for (int y = 0; y < plane.size.height(); ++y)
        for (int x = 0; x < plane.size.width(); ++x)
            buffer.row(y)[x] = opaquePixel(plane.at(x, y));
    return std::move(buffer).toImage(Alpha::Opaque);
}

using Kernel = std::function<double(double)>;

double lanczos3(double x)
{
    const double angle = std::numbers::pi * x;
    if (x == 0)
        return 1;
    return std::abs(x) < 3 ? 3 * std::sin(angle) * std::sin(angle / 3) / (angle * angle) : 0;
}

/// One weight for each source position that counts, adding up to 1.
struct Weights
{
    int first = 0;
    std::vector<float> weights;
};

std::vector<Weights> filterWeights(int source, int target, double reach, const Kernel &kernel)
{
    const double ratio = static_cast<double>(source) / target;
    std::vector<Weights> axis;
    for (int i = 0; i < target; ++i) {
        const double centre = (i + 0.5) * ratio - 0.5;
        Weights entry{std::max(0, static_cast<int>(std::ceil(centre - reach * ratio))), {}};
        const int last = std::min(source - 1, static_cast<int>(centre + reach * ratio));
        double total = 0;
        for (int at = entry.first; at <= last; ++at)
            total += kernel((at - centre) / ratio);
        for (int at = entry.first; at <= last; ++at)
            entry.weights.push_back(static_cast<float>(kernel((at - centre) / ratio) / total));
        axis.push_back(std::move(entry));
    }
    return axis;
}

/// Every source pixel weighs as much as it covers.
std::vector<Weights> areaWeights(int source, int target)
{
    const double ratio = static_cast<double>(source) / target;
    std::vector<Weights> axis;
    for (int i = 0; i < target; ++i) {
        Weights entry{static_cast<int>(i * ratio), {}};
        for (int at = entry.first; at < source && at < (i + 1) * ratio; ++at)
            entry.weights.push_back(static_cast<float>(
                (std::min<double>(at + 1, (i + 1) * ratio) - std::max<double>(at, i * ratio)) /
                ratio));
        axis.push_back(std::move(entry));
    }
    return axis;
}

/// @p image reduced in floating point, in linear light.
Image reducedInLight(const Image &image, QSize size,
                     const std::function<std::vector<Weights>(int, int)> &weights)
{
    std::array<float, 256> light{};
    for (int level = 0; level < 256; ++level)
        light[static_cast<std::size_t>(level)] = static_cast<float>(toLight(level / 255.0));
    const auto columns = weights(image.width(), size.width());
    const auto rows = weights(image.height(), size.height());
    Plane narrow({size.width(), image.height()});
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < size.width(); ++x) {
            const Weights &entry = columns[static_cast<std::size_t>(x)];
            float *out = narrow.at(x, y);
            for (std::size_t tap = 0; tap < entry.weights.size(); ++tap) {
                const Pixel pixel = image.row(y)[static_cast<std::size_t>(entry.first) + tap];
                for (int channel = 0; channel < 3; ++channel)
                    out[channel] += entry.weights[tap] * light[pixel >> (16 - 8 * channel) & 0xff];
            }
        }
    Plane result(size);
    for (int y = 0; y < size.height(); ++y) {
        const Weights &entry = rows[static_cast<std::size_t>(y)];
        for (std::size_t tap = 0; tap < entry.weights.size(); ++tap) {
            const float *from = narrow.at(0, entry.first + static_cast<int>(tap));
            float *out = result.at(0, y);
            for (int i = 0; i < 3 * size.width(); ++i)
                out[i] += entry.weights[tap] * from[i];
        }
    }
    for (float &value : result.values)
        value = static_cast<float>(255 * fromLight(std::max(0.0F, value)));
    return imageOf(std::move(result));
}

Image areaExact(const Image &image, QSize size)
{
    return reducedInLight(image, size, areaWeights);
}

Image lanczosInLight(const Image &image, QSize size)
{
    return reducedInLight(image, size, [](int source, int target) {
        return filterWeights(source, target, 3, lanczos3);
    });
}

Image imageFrom(const QImage &picture)
{
    const QImage source = picture.convertToFormat(QImage::Format_RGB32);
    PixelBuffer buffer({source.width(), source.height()});
    for (int y = 0; y < source.height(); ++y)
        std::copy_n(reinterpret_cast<const Pixel *>(source.constScanLine(y)), source.width(),
                    buffer.row(y));
    return std::move(buffer).toImage(Alpha::Opaque);
}

Image byVips(const Image &image, QSize size)
{
    VipsImage *source = vips_image_new_from_memory(
        image.row(0), static_cast<std::size_t>(image.stride() * image.height()) * sizeof(Pixel),
        static_cast<int>(image.stride()), image.height(), 4, VIPS_FORMAT_UCHAR);
    VipsImage *result = nullptr;
    vips_resize(source, &result, static_cast<double>(size.width()) / image.width(), "vscale",
                static_cast<double>(size.height()) / image.height(), "kernel", VIPS_KERNEL_LANCZOS3,
                nullptr);
    std::size_t bytes = 0;
    void *pixels = result ? vips_image_write_to_memory(result, &bytes) : nullptr;
    Image copy;
    if (pixels && bytes == static_cast<std::size_t>(pixelCount(size)) * sizeof(Pixel)) {
        const QImage view(static_cast<const uchar *>(pixels), size.width(), size.height(),
                          QImage::Format_RGB32);
        copy = imageFrom(view);
    }
    g_free(pixels);
    if (result)
        g_object_unref(result);
    g_object_unref(source);
    return copy;
}

Image byImageMagick(const Image &image, QSize size)
{
    const QTemporaryDir folder;
    const QString source = folder.filePath(u"source.ppm"_s);
    const QString result = folder.filePath(u"result.ppm"_s);
    toQImage(image).save(source);
    QProcess::execute(u"convert"_s, {source, u"-filter"_s, u"Lanczos"_s, u"-resize"_s,
                                     u"%1x%2!"_s.arg(size.width()).arg(size.height()), u"-depth"_s,
                                     u"8"_s, result});
    return imageFrom(QImage(result));
}

/// The rendition of the file at @p path, and the others of its full picture.
struct Reduced
{
    Image ours;
    Image vips;
    Image magick;
    Image inLight;

    [[nodiscard]] bool isComplete() const
    {
        return ours.size() == vips.size() && ours.size() == magick.size() && !ours.isNull();
    }
};

Reduced reduced(const std::filesystem::path &path, const Image &full)
{
    const Image ours = loadDisplayPicture(path, SCREEN).rendition;
    return {ours, byVips(full, ours.size()), byImageMagick(full, ours.size()),
            lanczosInLight(full, ours.size())};
}

double green(const Image &image, int x, int y)
{
    return image.row(y)[x] >> 8 & 0xff;
}

/// Circles about the middle that grow finer outward, up to the finest that pixels can show at the
/// upper edge.
Image zonePlate()
{
    PixelBuffer buffer(SOURCE);
    for (int y = 0; y < SOURCE.height(); ++y)
        for (int x = 0; x < SOURCE.width(); ++x) {
            const double across = x + 0.5 - SOURCE.width() / 2.0;
            const double down = y + 0.5 - SOURCE.height() / 2.0;
            const double square = across * across + down * down;
            const double level =
                (DARK + BRIGHT) / 2 +
                (BRIGHT - DARK) / 2 * std::cos(std::numbers::pi * square / (SOURCE.height()));
            const std::array<float, 3> levels{float(level), float(level), float(level)};
            buffer.row(y)[x] = opaquePixel(levels.data());
        }
    return std::move(buffer).toImage(Alpha::Opaque);
}

/// What is left of the circles that the pixels of @p image can't show, in levels (root of the mean
/// square about their mean): all of it is false.
double aliasing(const Image &image)
{
    const double ratio = static_cast<double>(SOURCE.height()) / image.height();
    // Where the circles are as fine as two pixels of the picture: a period is height / radius.
    const double limit = SOURCE.height() / (2 * ratio) / ratio;
    double squares = 0;
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const double radius =
                std::hypot(x + 0.5 - image.width() / 2.0, y + 0.5 - image.height() / 2.0);
            if (radius < limit || radius > image.height() / 2.0)
                continue;
            const double difference = green(image, x, y) - (DARK + BRIGHT) / 2;
            squares += difference * difference;
            ++count;
        }
    return std::sqrt(squares / count);
}

/// How steep the edge is: columns for each row.
constexpr double SLANT = 0.0875; // 5°

/// Dark on the left and bright on the right of a line through the middle; a pixel that the line
/// crosses has what it covers of both.
Image slantedEdge()
{
    PixelBuffer buffer(SOURCE);
    for (int y = 0; y < SOURCE.height(); ++y) {
        const double edge = SOURCE.width() / 2.0 + SLANT * (y + 0.5 - SOURCE.height() / 2.0);
        for (int x = 0; x < SOURCE.width(); ++x) {
            const double covered = std::max(0.0, std::min(x + 1 - edge, 1.0));
            const double level = DARK + (BRIGHT - DARK) * covered;
            const std::array<float, 3> levels{float(level), float(level), float(level)};
            buffer.row(y)[x] = opaquePixel(levels.data());
        }
    }
    return std::move(buffer).toImage(Alpha::Opaque);
}

struct EdgeFigures
{
    double overshoot; ///< Parts of the step.
    double width;     ///< From a quarter of the step to three quarters of it, in pixels.
};

EdgeFigures edgeFigures(const Image &image)
{
    constexpr int BINS_PER_PIXEL = 20;
    constexpr int REACH = 8; // pixels on each side
    constexpr auto BINS = std::size_t(2 * REACH * BINS_PER_PIXEL);
    std::array<double, BINS> sums{};
    std::array<int, BINS> counts{};
    const double steepness = std::hypot(1.0, SLANT);
    for (int y = image.height() / 4; y < image.height() * 3 / 4; ++y)
        for (int x = 0; x < image.width(); ++x) {
            const double edge = image.width() / 2.0 + SLANT * (y + 0.5 - image.height() / 2.0);
            const double distance = (x + 0.5 - edge) / steepness;
            const double bin = (distance + REACH) * BINS_PER_PIXEL;
            if (bin < 0 || bin >= BINS)
                continue;
            sums[static_cast<std::size_t>(bin)] += green(image, x, y);
            ++counts[static_cast<std::size_t>(bin)];
        }
    std::array<double, BINS> part{};
    for (std::size_t bin = 0; bin < BINS; ++bin)
        part[bin] = (sums[bin] / counts[bin] - DARK) / (BRIGHT - DARK);
    const auto crossing = [&part](double level) {
        std::size_t bin = BINS / 2 - std::size_t(2 * BINS_PER_PIXEL);
        while (part[bin + 1] < level)
            ++bin;
        return (static_cast<double>(bin) + (level - part[bin]) / (part[bin + 1] - part[bin])) /
               BINS_PER_PIXEL;
    };
    const double over = *std::max_element(part.begin(), part.end()) - 1;
    const double under = -*std::min_element(part.begin(), part.end());
    return {std::max(over, under), crossing(0.75) - crossing(0.25)};
}

/// The peak signal-to-noise ratio, decibels.
double likeness(const Image &image, const Image &reference)
{
    double squares = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            for (int shift = 0; shift < 24; shift += 8) {
                const auto channel = [shift](Pixel pixel) {
                    return static_cast<int>(pixel >> shift & 0xff);
                };
                const int difference = channel(image.row(y)[x]) - channel(reference.row(y)[x]);
                squares += difference * difference;
            }
    return 10 * std::log10(255.0 * 255.0 * 3 * double(pixelCount(image.size())) / squares);
}

/// Whether every row so far keeps within a tenth, or a decibel, of the better of the others.
bool isGoodEnough = true;

void printRow(const std::string &name, const Reduced &all, const char *format, double mostBehind,
              bool isMoreBetter, const std::function<double(const Image &)> &figure)
{
    const double ours = figure(all.ours);
    const double vips = figure(all.vips);
    const double magick = figure(all.magick);
    isGoodEnough = isGoodEnough && (isMoreBetter ? ours >= std::max(vips, magick) - mostBehind
                                                 : ours <= std::min(vips, magick) * mostBehind);
    std::printf("| %s |", name.c_str());
    for (const double value : {ours, vips, magick, figure(all.inLight)}) {
        std::printf(format, value);
        std::printf(" |");
    }
    std::printf("\n");
}

bool printDrawn(const std::filesystem::path &folder, const char *name, const Image &full,
                const std::function<void(const std::string &, const Reduced &)> &print)
{
    for (const char *ending : {"png", "jpg"}) {
        const auto path = folder / (std::string("picture.") + ending);
        toQImage(full).save(QString::fromStdString(path.string()), nullptr, 95);
        const Reduced all = reduced(path, loadFullImage(path));
        if (!all.isComplete())
            return false;
        print(std::string(name) + ", " + ending, all);
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::fputs("usage: tavolin-reduction-quality PHOTO...\n", stderr);
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    if (VIPS_INIT(argv[0]) != 0)
        return 1;
    const QTemporaryDir temporary;
    const std::filesystem::path folder(temporary.path().toStdString());
    constexpr double TENTH = 1.1;
    const bool isDrawn =
        printDrawn(folder, "zone plate", zonePlate(),
                   [](const std::string &name, const Reduced &all) {
                       printRow(name + ": aliasing, levels", all, " %.2f", TENTH, false, aliasing);
                   }) &&
        printDrawn(folder, "edge", slantedEdge(), [](const std::string &name, const Reduced &all) {
            printRow(name + ": overshoot, %", all, " %.1f", TENTH, false,
                     [](const Image &image) { return 100 * edgeFigures(image).overshoot; });
            printRow(name + ": 50 % width, pixels", all, " %.2f", TENTH, false,
                     [](const Image &image) { return edgeFigures(image).width; });
        });
    if (!isDrawn)
        return 1;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path path(argv[i]);
        const Image full = loadFullImage(path, QByteArray());
        const Reduced all = reduced(path, full);
        if (!all.isComplete())
            return 1;
        const Image reference = areaExact(full, all.ours.size());
        printRow(path.stem().string() + ": dB", all, " %.2f", 1, true,
                 [&](const Image &image) { return likeness(image, reference); });
    }
    vips_shutdown();
    return isGoodEnough ? 0 : 1;
}
