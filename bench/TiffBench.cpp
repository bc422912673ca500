// How close decoding a TIFF for the screen comes to libtiff alone. Each benchmark stands behind two
// baselines: the whole picture as libtiff itself makes one, and less than that, the strips unpacked
// one after the other into the same memory, of which no picture is made.

#include "decoding/Decoding.h"
#include "pictures/Picture.h"

#include <QImage>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <tiffio.h>

namespace {

using namespace tavolin;

constexpr QSize CAMERA_SIZE(6000, 4000);
constexpr int LIMIT = 2560;
constexpr int ROWS_PER_STRIP = 64;

struct Packing
{
    std::uint16_t compression;
    int bits;
};

constexpr std::array<Packing, 5> PACKINGS{{{COMPRESSION_NONE, 8},
                                           {COMPRESSION_LZW, 8},
                                           {COMPRESSION_ADOBE_DEFLATE, 8},
                                           {COMPRESSION_JPEG, 8},
                                           {COMPRESSION_NONE, 16}}};

void setTags(TIFF *tiff, const Packing &packing)
{
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, CAMERA_SIZE.width());
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, CAMERA_SIZE.height());
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, packing.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, packing.compression);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, ROWS_PER_STRIP);
    const bool isJpeg = packing.compression == COMPRESSION_JPEG;
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, isJpeg ? PHOTOMETRIC_YCBCR : PHOTOMETRIC_RGB);
    if (isJpeg)
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    else if (packing.compression != COMPRESSION_NONE)
        TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
}

void write(const std::filesystem::path &path, const Packing &packing)
{
    static const QImage photo = pictures::drawPicture({.size = CAMERA_SIZE, .index = 1})
                                    .convertToFormat(QImage::Format_RGB888);
    TIFF *const tiff = TIFFOpen(path.c_str(), "w");
    setTags(tiff, packing);
    for (int y = 0; y < photo.height(); ++y) {
        std::vector<std::uint8_t> row(photo.constScanLine(y),
                                      photo.constScanLine(y) + 3 * photo.width());
        if (packing.bits == 16) {
            std::vector<std::uint16_t> wide(row.begin(), row.end());
            for (std::uint16_t &number : wide)
                number = static_cast<std::uint16_t>(number * 257);
            TIFFWriteScanline(tiff, wide.data(), static_cast<std::uint32_t>(y));
        } else {
            TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(y));
        }
    }
    TIFFClose(tiff);
}

/// The file in packing number @p index, made once.
const std::filesystem::path &file(std::size_t index)
{
    static const QTemporaryDir folder;
    static std::map<std::size_t, std::filesystem::path> made;
    std::filesystem::path &path = made[index];
    if (path.empty()) {
        path = std::filesystem::path(folder.path().toStdString()) / std::to_string(index);
        write(path, PACKINGS[index]);
    }
    return path;
}

/// All strips, one after the other into one buffer.
void readStripsAlone(const std::filesystem::path &path)
{
    TIFF *const tiff = TIFFOpen(path.c_str(), "rm"); // not mapped, as nothing of ours is
    std::uint16_t compression = 0;
    TIFFGetField(tiff, TIFFTAG_COMPRESSION, &compression);
    if (compression == COMPRESSION_JPEG)
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    std::vector<std::uint8_t> strip(static_cast<std::size_t>(TIFFStripSize(tiff)));
    for (std::uint32_t i = 0; i < TIFFNumberOfStrips(tiff); ++i)
        TIFFReadEncodedStrip(tiff, i, strip.data(), static_cast<tmsize_t>(strip.size()));
    benchmark::DoNotOptimize(strip.data());
    TIFFClose(tiff);
}

/// The whole picture, in the pixels that libtiff makes.
void readPictureAlone(const std::filesystem::path &path)
{
    TIFF *const tiff = TIFFOpen(path.c_str(), "rm");
    const auto width = static_cast<std::uint32_t>(CAMERA_SIZE.width());
    const auto height = static_cast<std::uint32_t>(CAMERA_SIZE.height());
    std::vector<std::uint32_t> pixels(std::size_t{width} * height);
    TIFFReadRGBAImageOriented(tiff, width, height, pixels.data(), ORIENTATION_TOPLEFT, 0);
    benchmark::DoNotOptimize(pixels.data());
    TIFFClose(tiff);
}

void decodeForTheScreen(const std::filesystem::path &path)
{
    benchmark::DoNotOptimize(loadThumbnail(path, LIMIT));
}

struct Way
{
    const char *name;
    void (*read)(const std::filesystem::path &);
};

constexpr std::array WAYS{Way{"baselineStripsOfTiff", readStripsAlone},
                          Way{"baselineTiff", readPictureAlone},
                          Way{"thumbnailOfTiff", decodeForTheScreen}};

[[maybe_unused]] const bool areRegistered = [] {
    constexpr std::array<const char *, PACKINGS.size()> NAMES{"Plain", "Lzw", "Deflate", "Jpeg",
                                                              "Plain16"};
    for (std::size_t i = 0; i < PACKINGS.size(); ++i)
        for (const Way &way : WAYS)
            benchmark::RegisterBenchmark((way.name + std::string(NAMES[i])).c_str(),
                                         [i, read = way.read](benchmark::State &state) {
                                             const auto &path = file(i);
                                             for (auto _ : state)
                                                 read(path);
                                         })
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime();
    return true;
}();

} // namespace
