// Our decoder of sequential JPEGs beside libjpeg-turbo: coefficients alone, pictures in full and at
// the screen's size.

#include "DecodeAlone.h"
#include "decoding/codecs/jpeg/JpegHeaders.h"
#include "decoding/codecs/jpeg/JpegParts.h"
#include "decoding/codecs/jpeg/JpegScan.h"
#include "decoding/codecs/JpegCodec.h"
#include "decoding/Decoding.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"

#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>

namespace {

using namespace tavolin;

constexpr QSize CAMERA_SIZE(6000, 4000);
constexpr int LIMIT = 2560;
constexpr int NO_LIMIT = std::numeric_limits<int>::max();

/// The same picture without and with restart markers, one for each row of MCUs.
struct Files
{
    QTemporaryDir folder;
    std::filesystem::path plain = std::filesystem::path(folder.path().toStdString()) / "plain.jpg";
    std::filesystem::path restarts =
        std::filesystem::path(folder.path().toStdString()) / "restarts.jpg";

    Files()
    {
        const QImage photo = pictures::drawPicture({.size = CAMERA_SIZE, .index = 1});
        save(plain, pictures::encodeJpeg(photo, {.subsampling = pictures::Subsampling::Half422}));
        save(restarts, pictures::encodeJpeg(photo, {.subsampling = pictures::Subsampling::Half422,
                                                    .restartInterval = CAMERA_SIZE.width() / 16}));
    }

    static void save(const std::filesystem::path &path, const QByteArray &bytes)
    {
        std::ofstream(path, std::ios::binary).write(bytes.constData(), bytes.size());
    }
};

/// Without (0) or with (1) restart markers; or the file that TAVOLIN_BENCH_JPEG names.
std::filesystem::path fileFor(const benchmark::State &state)
{
    static const Files made;
    if (const char *other = std::getenv("TAVOLIN_BENCH_JPEG"))
        return other;
    return state.range(0) == 0 ? made.plain : made.restarts;
}

void jpegCoefficientsByTheLibrary(benchmark::State &state)
{
    for (auto _ : state) {
        std::FILE *file = std::fopen(fileFor(state).c_str(), "rb");
        jpeg_decompress_struct info;
        jpeg_error_mgr errors;
        info.err = jpeg_std_error(&errors);
        jpeg_create_decompress(&info);
        jpeg_stdio_src(&info, file);
        jpeg_read_header(&info, TRUE);
        benchmark::DoNotOptimize(jpeg_read_coefficients(&info));
        jpeg_destroy_decompress(&info);
        std::fclose(file);
    }
}
BENCHMARK(jpegCoefficientsByTheLibrary)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

/// On one thread, the bytes of the file included.
void jpegCoefficients(benchmark::State &state)
{
    std::FILE *opened = std::fopen(fileFor(state).c_str(), "rb");
    jpeg_decompress_struct info;
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_stdio_src(&info, opened);
    jpeg_read_header(&info, TRUE);
    const auto frame = sequentialFrame(info);
    const auto offset = std::ftell(opened) - static_cast<long>(info.src->bytes_in_buffer);
    jpeg_destroy_decompress(&info);
    std::fclose(opened);

    constexpr std::size_t PART_BYTES = std::size_t{128} << 10;
    const std::int64_t blocks = layoutOf(*frame, 8).blocks();
    for (auto _ : state) {
        const auto file = SourceFile::open(fileFor(state));
        const auto scan = JpegScan::read(*file, offset, file->size(), frame->restartInterval > 0);
        const auto reader = JpegBlockReader::make(*frame);
        const JpegParts parts(*scan, *reader, *frame, blocks, PART_BYTES);
        JpegPartResult result;
        for (std::size_t i = 0; i < parts.count(); ++i)
            parts.decode(parts.part(i), result);
        benchmark::DoNotOptimize(result);
    }
}
BENCHMARK(jpegCoefficients)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void jpegAtHalfScaleByTheLibrary(benchmark::State &state)
{
    for (auto _ : state)
        decodeAlone(fileFor(state), 4);
}
BENCHMARK(jpegAtHalfScaleByTheLibrary)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void jpegForTheScreen(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(loadThumbnail(fileFor(state), LIMIT));
}
BENCHMARK(jpegForTheScreen)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void wholeJpegByTheLibrary(benchmark::State &state)
{
    for (auto _ : state)
        decodeAlone(fileFor(state), 8);
}
BENCHMARK(wholeJpegByTheLibrary)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void wholeJpeg(benchmark::State &state)
{
    for (auto _ : state) {
        const auto file = SourceFile::open(fileFor(state));
        benchmark::DoNotOptimize(decodeJpeg(*file, NO_LIMIT));
    }
}
BENCHMARK(wholeJpeg)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
