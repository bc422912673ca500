// How close the full-size work of the editor comes to libraries made for it. Each benchmark runs
// its baseline in the same loop, turn about, and counts "ratio": its own fastest run as a share of
// the baseline's fastest.

#include "editing/EditOp.h"
#include "imaging/Image.h"
#include "pictures/Picture.h"

#include <QGuiApplication>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>

#ifdef TAVOLIN_HAS_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace tavolin;

constexpr QSize CAMERA_SIZE(6000, 4000);
constexpr QSize DISPLAY_SIZE(2560, 1707);

Image photo(QSize size)
{
    const auto drawn =
        std::make_shared<const QImage>(pictures::drawPicture({.size = size, .index = 1}));
    return {{drawn, reinterpret_cast<const Pixel *>(drawn->constBits())},
            size,
            drawn->bytesPerLine() / std::ptrdiff_t{sizeof(Pixel)},
            Alpha::Opaque};
}

double seconds(const auto &work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Measures @p work, and @p baseline with it.
void compare(benchmark::State &state, const auto &baseline, const auto &work)
{
    double fastestBaseline = std::numeric_limits<double>::max();
    double fastest = fastestBaseline;
    for (auto _ : state) {
        fastestBaseline = std::min(fastestBaseline, seconds(baseline));
        const double time = seconds(work);
        fastest = std::min(fastest, time);
        state.SetIterationTime(time);
    }
    state.counters["baselineMs"] = 1000 * fastestBaseline;
    state.counters["fastestMs"] = 1000 * fastest;
    state.counters["ratio"] = fastest / fastestBaseline;
}

#ifdef TAVOLIN_HAS_OPENCV

/// OpenCV's cubic filter on all cores, making the same pixels as rotateInscribed().
void rotateByOpenCv(const Image &image, double degrees)
{
    const QSizeF inscribed = inscribedSize(image.size(), degrees);
    const cv::Size size(static_cast<int>(inscribed.width()), static_cast<int>(inscribed.height()));
    const double angle = degrees * std::numbers::pi / 180;
    const double cosine = std::cos(angle);
    const double sine = std::sin(angle);
    const double x = (size.width - 1) / 2.0;
    const double y = (size.height - 1) / 2.0;
    // From places in the result to those in the source.
    const cv::Mat inverse =
        (cv::Mat_<double>(2, 3) << cosine, sine, (image.width() - 1) / 2.0 - cosine * x - sine * y,
         -sine, cosine, (image.height() - 1) / 2.0 + sine * x - cosine * y);
    const cv::Mat source(image.height(), image.width(), CV_8UC4, const_cast<Pixel *>(image.row(0)),
                         static_cast<std::size_t>(image.stride()) * sizeof(Pixel));
    cv::Mat result;
    cv::warpAffine(source, result, inverse, size, cv::INTER_CUBIC | cv::WARP_INVERSE_MAP,
                   cv::BORDER_REPLICATE);
    benchmark::DoNotOptimize(result.data);
}

void rotate(benchmark::State &state, QSize size)
{
    const Image image = photo(size);
    const auto degrees = static_cast<double>(state.range(0));
    compare(
        state, [&] { rotateByOpenCv(image, degrees); },
        [&] { benchmark::DoNotOptimize(rotateInscribed(image, degrees)); });
}

/// A picture of 24 megapixels, as when an edit is applied.
void rotateFullSize(benchmark::State &state)
{
    rotate(state, CAMERA_SIZE);
}
BENCHMARK(rotateFullSize)->Arg(5)->Arg(45)->Unit(benchmark::kMillisecond)->UseManualTime();

/// The picture on screen, as while the angle is being chosen.
void rotatePreview(benchmark::State &state)
{
    rotate(state, DISPLAY_SIZE);
}
BENCHMARK(rotatePreview)->Arg(5)->Arg(45)->Unit(benchmark::kMillisecond)->UseManualTime();

#endif

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
