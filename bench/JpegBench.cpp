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

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>

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
    if (const char *other = std::getenv("TAVOLIN_BENCH_JPEG"))
        return other;
    static const Files made;
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

struct Headers
{
    std::optional<JpegFrame> frame;
    std::int64_t scan = 0; // offset in the file
};

Headers headersOf(const std::filesystem::path &path)
{
    std::FILE *opened = std::fopen(path.c_str(), "rb");
    jpeg_decompress_struct info;
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_stdio_src(&info, opened);
    jpeg_read_header(&info, TRUE);
    const Headers headers{sequentialFrame(info),
                          std::ftell(opened) - static_cast<long>(info.src->bytes_in_buffer)};
    jpeg_destroy_decompress(&info);
    std::fclose(opened);
    return headers;
}

/// On one thread, the bytes of the file included.
void jpegCoefficients(benchmark::State &state)
{
    const auto [frame, offset] = headersOf(fileFor(state));
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

/// As many parts as cores: what is decoded twice, in parts in ten thousand of the scan, and how
/// many times as fast as one core so many can be, which have the longest part to wait for. Decodes
/// on one thread; the time says nothing.
void jpegPartsForCores(benchmark::State &state)
{
    const std::filesystem::path path = fileFor(state);
    const auto [frame, offset] = headersOf(path);
    const auto file = SourceFile::open(path);
    const auto scan = JpegScan::read(*file, offset, file->size(), frame->restartInterval > 0);
    const auto reader = JpegBlockReader::make(*frame);
    const std::int64_t blocks = layoutOf(*frame, 8).blocks();
    const auto cores = static_cast<std::size_t>(state.range(1));
    const JpegParts parts(*scan, *reader, *frame, blocks, scan->size() / cores);
    std::size_t twice = 0;
    std::size_t longest = 0;
    for (auto _ : state) {
        twice = longest = 0;
        JpegPartResult before;
        for (std::size_t i = 0; i < parts.count(); ++i) {
            const JpegPart &part = parts.part(i);
            JpegPartResult result;
            parts.decode(part, result);
            std::size_t bits = part.end - part.begin;
            if (part.isGuess) {
                // Who decodes the part before goes on until the two meet.
                JpegBlocks gap;
                bool isSound = false;
                const std::size_t from = before.end.bit;
                if (!parts.decodeUntilMet(part, &result, blocks, before.end, gap, isSound))
                    state.SkipWithError("a part never meets");
                twice += before.end.bit - from;
                bits += before.end.bit - from;
            }
            longest = std::max(longest, bits);
            before = std::move(result);
        }
    }
    const auto all = static_cast<double>(scan->size()) * 8;
    state.counters["twice"] = static_cast<double>(twice) / all * 10'000;
    state.counters["speedUp"] = all / static_cast<double>(longest);
}
BENCHMARK(jpegPartsForCores)
    ->ArgNames({"restarts", "cores"})
    ->ArgsProduct({{0, 1}, {2, 4, 6, 8, 12, 16}})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

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
