// How close the full-size work of the editor comes to libraries made for it. Each benchmark runs
// its baseline in the same loop, turn about, and counts "ratio": its own fastest run as a share of
// the baseline's fastest.

#include "editing/EditOp.h"
#include "fileops/Saving.h"
#include "pictures/Picture.h"
#include "pixels/Image.h"

#include <QGuiApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <memory>
#include <numbers>

#include <jpeglib.h>

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

/// libjpeg-turbo alone, into memory, with the settings of saveJPEG().
void compressAlone(const Image &image)
{
    jpeg_compress_struct info;
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char *file = nullptr;
    unsigned long bytes = 0;
    jpeg_mem_dest(&info, &file, &bytes);
    info.image_width = static_cast<JDIMENSION>(image.width());
    info.image_height = static_cast<JDIMENSION>(image.height());
    info.input_components = 4;
    info.in_color_space = JCS_EXT_BGRX;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 95, TRUE);
    info.comp_info[0].h_samp_factor = 1;
    info.comp_info[0].v_samp_factor = 1;
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        auto *row = reinterpret_cast<JSAMPROW>(
            const_cast<Pixel *>(image.row(static_cast<int>(info.next_scanline))));
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    benchmark::DoNotOptimize(file);
    std::free(file);
}

/// From pixels to a file that the disk has, over an earlier one.
void save(benchmark::State &state)
{
    const Image image = photo(CAMERA_SIZE);
    const QTemporaryDir folder;
    const std::filesystem::path file =
        std::filesystem::path(folder.path().toStdString()) / "saved.jpg";
    compare(
        state, [&] { compressAlone(image); },
        [&] {
            if (!saveJPEG(image, file))
                state.SkipWithError("can't save");
        });
}
BENCHMARK(save)->Unit(benchmark::kMillisecond)->UseManualTime();

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
