// Decoding PNG and WebP for the screen, each behind its library's plainest decode of the whole
// picture: rows as stored for libpng, one buffer of 32-bit pixels for libwebp.

#include "decoding/Decoding.h"
#include "pictures/Picture.h"

#include <QImage>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include <png.h>
#include <webp/decode.h>
#include <webp/encode.h>

namespace {

using namespace tavolin;

constexpr QSize CAMERA_SIZE(6000, 4000);
constexpr int LIMIT = 2560;

/// A drawn picture under noise: as hard to code as a photo.
QImage photo()
{
    QImage image = pictures::drawPicture({.size = CAMERA_SIZE, .index = 1});
    std::uint32_t random = 1;
    for (int y = 0; y < image.height(); ++y) {
        auto *row = reinterpret_cast<std::uint32_t *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            random = random * 1664525 + 1013904223;
            row[x] ^= random >> 8 & 0x030303;
        }
    }
    return image;
}

/// The files that the benchmarks read, made once.
struct Files
{
    QTemporaryDir folder;
    std::filesystem::path png8 = path("8.png");
    std::filesystem::path png16 = path("16.png");
    std::filesystem::path lossy = path("lossy.webp");
    std::filesystem::path lossless = path("lossless.webp");

    Files()
    {
        const QImage image = photo();
        image.convertToFormat(QImage::Format_RGB888).save(name(png8), "png");
        // Samples of 16 bits whose lower ones are not zero.
        QImage deep = image.convertToFormat(QImage::Format_RGBX64);
        for (int y = 0; y < deep.height(); ++y) {
            auto *row = reinterpret_cast<QRgba64 *>(deep.scanLine(y));
            for (int x = 0; x < deep.width(); ++x)
                row[x].setRed(static_cast<quint16>(row[x].red() ^ (x * 37 & 0x7f)));
        }
        deep.save(name(png16), "png");
        save(lossy, false, image);
        save(lossless, true, image);
    }

    [[nodiscard]] std::filesystem::path path(const char *file) const
    {
        return std::filesystem::path(folder.path().toStdString()) / file;
    }
    static QString name(const std::filesystem::path &path)
    {
        return QString::fromStdString(path.string());
    }
    static void save(const std::filesystem::path &path, bool isLossless, const QImage &image)
    {
        const auto stride = static_cast<int>(image.bytesPerLine());
        std::uint8_t *out = nullptr;
        const std::size_t size = isLossless
                                     ? WebPEncodeLosslessBGRA(image.constBits(), image.width(),
                                                              image.height(), stride, &out)
                                     : WebPEncodeBGRA(image.constBits(), image.width(),
                                                      image.height(), stride, 90, &out);
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char *>(out), static_cast<std::streamsize>(size));
        WebPFree(out);
    }
};

const Files &files()
{
    static const Files made;
    return made;
}

void pngAlone(const std::filesystem::path &path)
{
    std::FILE *file = std::fopen(path.c_str(), "rb");
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_read_info(png, info);
    std::vector<png_byte> row(png_get_rowbytes(png, info));
    for (png_uint_32 y = png_get_image_height(png, info); y > 0; --y)
        png_read_row(png, row.data(), nullptr);
    benchmark::DoNotOptimize(row.data());
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(file);
}

void webPAlone(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    int width = 0;
    int height = 0;
    std::uint8_t *pixels = WebPDecodeBGRA(reinterpret_cast<const std::uint8_t *>(bytes.data()),
                                          bytes.size(), &width, &height);
    benchmark::DoNotOptimize(pixels);
    WebPFree(pixels);
}

using Alone = void (*)(const std::filesystem::path &);

void baseline(benchmark::State &state, Alone decode, std::filesystem::path Files::*file)
{
    const std::filesystem::path &path = files().*file;
    for (auto _ : state)
        decode(path);
}

void thumbnail(benchmark::State &state, std::filesystem::path Files::*file)
{
    const std::filesystem::path &path = files().*file;
    for (auto _ : state)
        benchmark::DoNotOptimize(loadThumbnail(path, LIMIT));
}

BENCHMARK_CAPTURE(baseline, png8, pngAlone, &Files::png8)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(thumbnail, png8, &Files::png8)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(baseline, png16, pngAlone, &Files::png16)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(thumbnail, png16, &Files::png16)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(baseline, lossyWebP, webPAlone, &Files::lossy)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(thumbnail, lossyWebP, &Files::lossy)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(baseline, losslessWebP, webPAlone, &Files::lossless)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(thumbnail, losslessWebP, &Files::lossless)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace
