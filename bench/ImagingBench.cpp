// How close decoding for the screen comes to the limit of the machine. Figures mean something only
// as ratios within one run: each benchmark stands behind the baseline that it is to be compared
// with.

#include "browse/PhotoInfo.h"
#include "DecodeAlone.h"
#include "decoding/color/Color.h"
#include "decoding/Decoding.h"
#include "pictures/Dng.h"
#include "pictures/Exif.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "pixels/DisplayPicture.h"
#include "pixels/Resample.h"
#include "platform/SerialQueue.h"

#include <QByteArray>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <vector>

namespace {

using namespace tavolin;

constexpr QSize CAMERA_SIZE(6000, 4000);
/// About 40 MB of raw data, as cameras write them.
constexpr QSize RAW_SIZE(5400, 3600);
constexpr int LIMIT = 2560;

/// The files that the benchmarks read, made once.
struct Files
{
    QTemporaryDir folder;
    std::filesystem::path jpeg = std::filesystem::path(folder.path().toStdString()) / "24mp.jpg";
    std::filesystem::path raw = std::filesystem::path(folder.path().toStdString()) / "preview.dng";
    std::filesystem::path preview =
        std::filesystem::path(folder.path().toStdString()) / "preview.jpg";

    Files()
    {
        const QImage photo = pictures::drawPicture({.size = CAMERA_SIZE, .index = 1});
        save(jpeg, pictures::encodeJpeg(photo, {.subsampling = pictures::Subsampling::Half422,
                                                .exif = pictures::exifBlock(1)}));
        save(raw,
             pictures::makeDng({.upright = pictures::fourQuarters(RAW_SIZE), .previews = {photo}}));
        save(preview, pictures::encodeJpeg(photo));
    }

    static void save(const std::filesystem::path &path, const QByteArray &bytes)
    {
        std::ofstream(path, std::ios::binary).write(bytes.constData(), bytes.size());
    }
};

const Files &files()
{
    static const Files made;
    return made;
}

void baselineJpegAtHalfScale(benchmark::State &state)
{
    for (auto _ : state)
        decodeAlone(files().jpeg, 4);
}
BENCHMARK(baselineJpegAtHalfScale)->Unit(benchmark::kMillisecond)->UseRealTime();

void thumbnailOfJpeg(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(loadThumbnail(files().jpeg, LIMIT));
}
BENCHMARK(thumbnailOfJpeg)->Unit(benchmark::kMillisecond)->UseRealTime();

void thumbnailOfPreviewAsJpeg(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(loadThumbnail(files().preview, LIMIT));
}
BENCHMARK(thumbnailOfPreviewAsJpeg)->Unit(benchmark::kMillisecond)->UseRealTime();

void thumbnailOfRawWithPreview(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(loadThumbnail(files().raw, LIMIT));
}
BENCHMARK(thumbnailOfRawWithPreview)->Unit(benchmark::kMillisecond)->UseRealTime();

/// The same beside a prefetch that never rests, on its queue of low priority.
void thumbnailOfJpegWhilePrefetching(benchmark::State &state)
{
    SerialQueue prefetch("prefetch", QualityOfService::Utility);
    prefetch.post([](const std::stop_token &stop) {
        while (!stop.stop_requested())
            benchmark::DoNotOptimize(loadThumbnail(files().preview, LIMIT, stop));
    });
    for (auto _ : state)
        benchmark::DoNotOptimize(loadThumbnail(files().jpeg, LIMIT));
}
BENCHMARK(thumbnailOfJpegWhilePrefetching)->Unit(benchmark::kMillisecond)->UseRealTime();

void photoInfoOfJpeg(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(photoInfo(readPhotoFacts(files().jpeg)));
}
BENCHMARK(photoInfoOfJpeg)->Unit(benchmark::kMicrosecond);

void pixelSizeOfJpeg(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(readPixelSize(files().jpeg));
}
BENCHMARK(pixelSizeOfJpeg)->Unit(benchmark::kMicrosecond);

void pixelSizeOfRaw(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(readPixelSize(files().raw));
}
BENCHMARK(pixelSizeOfRaw)->Unit(benchmark::kMicrosecond);

/// Decoding, colours and the rendition: a new picture at 1920x1080, as the load queue makes it.
void displayPictureAtFullHd(benchmark::State &state)
{
    const DisplayTarget screen{.maxPixel = 1920, .area = {0, 0, 1920, 1080}, .scale = 1};
    for (auto _ : state)
        benchmark::DoNotOptimize(loadDisplayPicture(files().jpeg, screen));
}
BENCHMARK(displayPictureAtFullHd)->Unit(benchmark::kMillisecond)->UseRealTime();

void renditionAtFullHd(benchmark::State &state)
{
    const Image image = loadThumbnail(files().jpeg, 1920);
    for (auto _ : state)
        benchmark::DoNotOptimize(makeRendition(image, {0, 0, 1920, 1080}, 1));
}
BENCHMARK(renditionAtFullHd)->Unit(benchmark::kMillisecond)->UseRealTime();

void conversionFromAdobeRgb(benchmark::State &state)
{
    const Image image = loadThumbnail(files().jpeg, 1920).withProfile(adobeRgbProfile());
    for (auto _ : state)
        benchmark::DoNotOptimize(toSrgb(image));
}
BENCHMARK(conversionFromAdobeRgb)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
