// Files that end early show nothing of what was decoded before them, and the same whatever memory
// held: what is missing is cleared before a decoder sees it.

#include "decoding/codecs/JpegCodec.h"
#include "decoding/Decoding.h"
#include "HeifFile.h"
#include "pictures/Dng.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "pictures/Tiff.h"
#include "pictures/Writing.h"
#include "pixels/JpegWriter.h"
#include "TestPictures.h"

#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include <malloc.h>

namespace tavolin {

namespace {

using namespace test;

constexpr QSize SIZE(320, 240);
/// Places where files are cut, from near the beginning to near the end.
constexpr int CUTS = 24;

/// A picture in which no colour is near the loud one.
QImage quietPicture()
{
    QImage image(SIZE, QImage::Format_RGB32);
    for (int y = 0; y < SIZE.height(); ++y)
        for (int x = 0; x < SIZE.width(); ++x)
            image.setPixel(x, y, qRgb(40 + x / 4 + (x * 7 + y * 3) % 16, 150 + y / 4, 90 + y / 8));
    return image;
}

QImage loudPicture()
{
    QImage image(SIZE, QImage::Format_RGB32);
    image.fill(qRgb(255, 0, 255));
    return image;
}

bool isLoud(Pixel pixel)
{
    return channel(pixel, 16) > 190 && channel(pixel, 8) < 90 && channel(pixel, 0) > 190;
}

/// What is known of a format: how a picture becomes a file, and how the file is cut to a share of
/// its length.
struct Format
{
    std::string name;
    std::string extension;
    std::function<QByteArray(const QImage &)> encode;
    std::function<QByteArray(const QByteArray &, double)> cut = [](const QByteArray &file,
                                                                   double share) {
        return file.first(static_cast<qsizetype>(static_cast<double>(file.size()) * share));
    };
};

void PrintTo(const Format &format, std::ostream *out)
{
    *out << format.name;
}

std::function<QByteArray(const QImage &)> written(const std::string &extension,
                                                  pictures::WriteOptions options = {})
{
    return [=](const QImage &image) {
        return pictures::encodePicture(image, {.size = image.size()}, extension, options);
    };
}

std::function<QByteArray(const QImage &)> asJpeg(pictures::JpegOptions options)
{
    return [=](const QImage &image) { return pictures::encodeJpeg(image, options); };
}

QByteArray dngOfRawData(const QImage &image)
{
    return pictures::makeDng({.upright = image});
}

/// A raw file whose only preview is a bitmap at its end.
QByteArray dngWithBitmap(const QImage &image)
{
    const QImage rgb = image.convertToFormat(QImage::Format_RGB888);
    QByteArray pixels;
    for (int y = 0; y < rgb.height(); ++y)
        pixels += QByteArray(reinterpret_cast<const char *>(rgb.constScanLine(y)), rgb.width() * 3);
    using namespace pictures;
    const TiffDirectory raw{
        longField(254, 0),
        longField(256, 64),
        longField(257, 64),
        shortField(258, {16}),
        shortField(259, {1}),
        shortField(262, {32803}),
        dataField(273, QByteArray(64 * 64 * 2, '\x20')),
        shortField(277, {1}),
        longField(278, 64),
        longField(279, 64 * 64 * 2),
        shortField(33421, {2, 2}),
        bytesField(33422, TiffType::Byte, QByteArray("\0\1\1\2", 4)),
    };
    return tiffBlock({
        asciiField(271, "TestMake"),
        asciiField(272, "TestRaw"),
        directoriesField(330, {raw}),
        bytesField(50706, TiffType::Byte, QByteArray("\1\4\0\0", 4)),
        asciiField(50708, "TestMake TestRaw"),
        longField(254, 1),
        longField(256, rgb.width()),
        longField(257, rgb.height()),
        shortField(258, {8, 8, 8}),
        shortField(259, {1}),
        shortField(262, {2}),
        dataField(273, pixels),
        shortField(277, {3}),
        longField(278, rgb.height()),
        longField(279, pixels.size()),
    });
}

QByteArray heic(const QImage &image)
{
    return heifFile({streamItem(image)});
}

/// A HEIF whose stream breaks off at @p share, as its boxes know.
QByteArray withCutStream(const QByteArray &file, double share)
{
    const qsizetype idat = file.indexOf("idat") + 4;
    qsizetype unit = idat; // the last one, after its length
    const auto lengthAt = [&file](qsizetype at) {
        return static_cast<qsizetype>(qFromBigEndian<quint32>(file.constData() + at));
    };
    while (unit + 4 + lengthAt(unit) < file.size())
        unit += 4 + lengthAt(unit);
    const auto kept =
        static_cast<qsizetype>(static_cast<double>(lengthAt(unit)) * share) + qsizetype{4};
    // The boxes stay as long as they were: other bytes follow, which belong to no unit.
    QByteArray result = file.first(unit) + FileBytes().u32(static_cast<quint64>(kept)).bytes() +
                        file.mid(unit + 4, kept);
    const qsizetype left = file.size() - result.size() - 4;
    if (left > 0)
        result += FileBytes().u32(static_cast<quint64>(left)).zeros(left).bytes();
    return result;
}

class Truncated : public testing::TestWithParam<Format>
{
protected:
    void TearDown() override { mallopt(M_PERTURB, 0); }

    [[nodiscard]] std::filesystem::path write(const std::string &name, const QByteArray &bytes)
    {
        const std::filesystem::path path =
            m_folder.filePath(QString::fromStdString(name + GetParam().extension)).toStdString();
        QFile file(QString::fromStdString(path));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        return path;
    }

private:
    QTemporaryDir m_folder;
};

/// The pixels of @p image, one after the other.
std::vector<Pixel> pixelsOf(const Image &image)
{
    std::vector<Pixel> pixels;
    for (int y = 0; y < image.height(); ++y)
        pixels.insert(pixels.end(), image.row(y), image.row(y) + image.width());
    return pixels;
}

/// What the file at @p path gives after the one at @p loud, on the screen and saved, with the
/// memory that malloc hands out made of @p filler.
std::vector<std::vector<Pixel>> shownAfter(const std::filesystem::path &loud,
                                           const std::filesystem::path &path, int filler)
{
    mallopt(M_PERTURB, filler);
    const DisplayTarget target{.maxPixel = SIZE.width(), .area = QRectF(0, 0, 200, 150)};
    (void)loadDisplayPicture(loud, target);
    const DisplayPicture shown = loadDisplayPicture(path, target);
    (void)loadFullImage(loud);
    const Image full = loadFullImage(path);
    const QByteArray saved = writeJpeg(full, 95);
    return {pixelsOf(shown.image), pixelsOf(shown.rendition), pixelsOf(full),
            pixelsOf(decodeJpeg(fileOf(saved), SIZE.width()).image)};
}

TEST_P(Truncated, ShowsNothingOfWhatWasBeforeAndTheSameEachTime)
{
    const QByteArray quiet = GetParam().encode(quietPicture());
    if (quiet.isEmpty())
        GTEST_SKIP() << "no encoder";
    const auto loud = write("loud", GetParam().encode(loudPicture()));
    for (int cut = 1; cut <= CUTS; ++cut) {
        const auto path = write("cut", GetParam().cut(quiet, cut / (CUTS + 1.0)));
        const auto once = shownAfter(loud, path, 0x55);
        EXPECT_TRUE(once == shownAfter(loud, path, 0xaa)) << "cut " << cut;
        for (const std::vector<Pixel> &pixels : once)
            EXPECT_TRUE(std::ranges::none_of(pixels, isLoud)) << "cut " << cut;
    }
}

TEST_P(Truncated, LoudPictureIsLoudWhereItIsWhole)
{
    const QByteArray file = GetParam().encode(loudPicture());
    if (file.isEmpty())
        GTEST_SKIP() << "no encoder";
    const Image image = loadFullImage(write("loud", file));
    ASSERT_FALSE(image.isNull());
    EXPECT_TRUE(isLoud(pixelAt(image, 0.5, 0.5)));
}

const std::vector<Format> FORMATS{
    {"Jpeg", ".jpg", asJpeg({})},
    {"JpegProgressive", ".jpg", asJpeg({.progressive = true})},
    {"JpegFullProgressive", ".jpg",
     asJpeg({.subsampling = pictures::Subsampling::Full444, .progressive = true})},
    {"JpegWithRestarts", ".jpg", asJpeg({.restartInterval = 3})},
    {"JpegCmyk", ".jpg", asJpeg({.color = pictures::JpegColor::Cmyk})},
    {"Heic", ".heic", heic},
    {"HeicStream", ".heic", heic, withCutStream},
    {"DngPreview", ".dng", written(".dng")},
    {"DngRawData", ".dng", dngOfRawData},
    {"DngBitmap", ".dng", dngWithBitmap},
    {"Png", ".png", written(".png")},
    {"Bmp", ".bmp", written(".bmp")},
    {"Tiff", ".tif", written(".tif")},
    {"WebP", ".webp", written(".webp")},
};

INSTANTIATE_TEST_SUITE_P(Formats, Truncated, testing::ValuesIn(FORMATS),
                         [](const auto &tested) { return tested.param.name; });

} // namespace

} // namespace tavolin
