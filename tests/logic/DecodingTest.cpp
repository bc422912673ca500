#include "decoding/Decoding.h"

#include "decoding/FileBytes.h"
#include "logic/PngFile.h"
#include "logic/Printing.h"
#include "logic/TemporaryFolder.h"
#include "pictures/Dng.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "pictures/Writing.h"

#include <QColor>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <ostream>
#include <stop_token>

#include <sys/stat.h>

namespace tavolin {

namespace fs = std::filesystem;
using test::TemporaryFolder;

namespace {

QImage solid(QSize size, QRgb color)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

constexpr QRgb RED = 0xffff0000;
constexpr QRgb GREEN = 0xff00ff00;
constexpr QRgb BLUE = 0xff0000ff;
constexpr QRgb YELLOW = 0xffffff00;

/// Whether the middle of @p rect has @p color, as far as compression leaves colours alone.
testing::AssertionResult isColoredAt(const Image &image, const QRect &rect, QRgb color)
{
    constexpr int TOLERANCE = 12;
    const QPoint at(rect.x() + rect.width() / 2, rect.y() + rect.height() / 2);
    const QRgb pixel = image.row(at.y())[at.x()];
    if (std::abs(qRed(pixel) - qRed(color)) <= TOLERANCE &&
        std::abs(qGreen(pixel) - qGreen(color)) <= TOLERANCE &&
        std::abs(qBlue(pixel) - qBlue(color)) <= TOLERANCE)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << QColor(pixel).name().toStdString() << " is not "
                                       << QColor(color).name().toStdString();
}

testing::AssertionResult isColored(const Image &image, QRgb color)
{
    return isColoredAt(image, QRect(QPoint(0, 0), image.size()), color);
}

/// Whether @p image is what pictures::fourQuarters() draws, upright.
void expectFourQuarters(const Image &image)
{
    ASSERT_FALSE(image.isNull());
    const QSize half = image.size() / 2;
    EXPECT_TRUE(isColoredAt(image, {QPoint(0, 0), half}, RED));
    EXPECT_TRUE(isColoredAt(image, {QPoint(half.width(), 0), half}, GREEN));
    EXPECT_TRUE(isColoredAt(image, {QPoint(0, half.height()), half}, BLUE));
    EXPECT_TRUE(isColoredAt(image, {QPoint(half.width(), half.height()), half}, YELLOW));
}

/// A JPEG of @p size that is a picture of four quarters turned for @p orientation.
fs::path writeTurnedJpeg(const TemporaryFolder &folder, QSize upright, int orientation)
{
    const pictures::PictureSpec spec{.size = upright, .orientation = orientation};
    return folder.write("turned.jpg", pictures::encodePicture(pictures::fourQuarters(upright), spec,
                                                              ".jpg", {.quality = 100}));
}

/// The header of a JPEG of 6000x4000 stored pixels.
fs::path writeJpegHeader(const TemporaryFolder &folder, std::uint32_t orientation)
{
    return folder.write("header.jpg",
                        test::jpeg(6000, 4000, test::exifSegment(test::exifBlock(orientation))));
}

/// An EXIF block that embeds @p thumbnail in its second directory (EXIF 2.32, 4.5.2).
QByteArray exifWithThumbnail(const QByteArray &thumbnail)
{
    using test::ByteOrder;
    constexpr std::uint32_t HEAD_BYTES = 8;
    constexpr std::uint32_t FIRST_BYTES = 2 + 12 + 4;
    constexpr std::uint32_t SECOND_BYTES = 2 + 3 * 12 + 4;
    constexpr std::uint32_t SECOND = HEAD_BYTES + FIRST_BYTES;
    return test::tiff(ByteOrder::Big, {{0x0112, test::SHORT, 1, 1}}, SECOND) +
           test::directory(ByteOrder::Big, {{0x0103, test::SHORT, 1, 6},
                                            {0x0201, test::LONG, 1, SECOND + SECOND_BYTES},
                                            {0x0202, test::LONG, 1,
                                             static_cast<std::uint32_t>(thumbnail.size())}}) +
           thumbnail;
}

TEST(LoadThumbnail, MissingFileGivesNull)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(loadThumbnail(folder / "absent.jpg", 100).isNull());
}

TEST(LoadThumbnail, FolderGivesNull)
{
    const TemporaryFolder folder;
    fs::create_directory(folder / "x.jpg");
    EXPECT_TRUE(loadThumbnail(folder / "x.jpg", 100).isNull());
}

TEST(LoadThumbnail, EmptyFileGivesNull)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(loadThumbnail(folder.write("a.jpg"), 100).isNull());
    EXPECT_TRUE(loadThumbnail(folder.write("a.nef"), 100).isNull());
}

TEST(LoadThumbnail, TextGivesNull)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(loadThumbnail(folder.write("a.jpg", "not a picture at all"), 100).isNull());
    EXPECT_TRUE(loadThumbnail(folder.write("a.nef", "not a picture at all"), 100).isNull());
}

TEST(LoadThumbnail, FifoGivesNullAndIsNotWaitedFor)
{
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "a.jpg").c_str(), 0600), 0);
    EXPECT_TRUE(loadThumbnail(folder / "a.jpg", 100).isNull());
}

TEST(LoadThumbnail, StopRequestGivesNull)
{
    const TemporaryFolder folder;
    const auto file = folder.write("a.jpg", pictures::encodeJpeg(solid({60, 40}, GREEN)));
    std::stop_source source;
    source.request_stop();
    EXPECT_TRUE(loadThumbnail(file, 100, source.get_token()).isNull());
    EXPECT_FALSE(loadThumbnail(file, 100).isNull());
}

TEST(LoadThumbnail, LongestSideIsAtTheLimit)
{
    const TemporaryFolder folder;
    const auto file = folder.write("a.jpg", pictures::encodeJpeg(solid({600, 400}, GREEN)));
    EXPECT_EQ(loadThumbnail(file, 150).size(), QSize(150, 100));
}

TEST(LoadThumbnail, SmallPictureIsNotEnlarged)
{
    const TemporaryFolder folder;
    const auto file = folder.write("a.jpg", pictures::encodeJpeg(solid({60, 40}, GREEN)));
    EXPECT_EQ(loadThumbnail(file, 2560).size(), QSize(60, 40));
}

TEST(LoadThumbnail, RawExtensionInCapitalsGivesThePreview)
{
    const TemporaryFolder folder;
    const QByteArray raw = pictures::makeDng({solid({600, 400}, RED), {solid({1200, 800}, BLUE)}});
    const Image image = loadThumbnail(folder.write("a.NEF", raw), 2560);
    EXPECT_EQ(image.size(), QSize(1200, 800));
    EXPECT_TRUE(isColored(image, BLUE));
}

TEST(LoadThumbnail, RawFileWithAStampIsDeveloped)
{
    const TemporaryFolder folder;
    const QByteArray raw = pictures::makeDng({solid({600, 400}, RED), {solid({240, 160}, BLUE)}});
    const Image image = loadThumbnail(folder.write("a.NEF", raw), 2560);
    ASSERT_EQ(image.size(), QSize(600, 400));
    EXPECT_LT(qBlue(image.row(200)[300]), 50);
}

TEST(LoadThumbnail, RawFileWithoutPreviewIsDeveloped)
{
    const TemporaryFolder folder;
    const QByteArray raw = pictures::makeDng({solid({600, 400}, RED), {}});
    const Image image = loadThumbnail(folder.write("a.dng", raw), 300);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.width(), 300);
    const Pixel pixel = image.row(100)[150];
    EXPECT_GT(qRed(pixel), 200);
    EXPECT_LT(qBlue(pixel), 50);
}

TEST(LoadThumbnail, OtherExtensionInCapitalsGivesTheFullPicture)
{
    const TemporaryFolder folder;
    const QByteArray thumbnail = pictures::encodeJpeg(solid({160, 120}, BLUE));
    const QByteArray bytes =
        pictures::encodeJpeg(solid({400, 300}, RED), {.exif = exifWithThumbnail(thumbnail)});
    ASSERT_TRUE(bytes.contains(thumbnail));
    const Image image = loadThumbnail(folder.write("a.JPG", bytes), 160);
    EXPECT_EQ(image.size(), QSize(160, 120));
    EXPECT_TRUE(isColored(image, RED));
}

TEST(LoadThumbnail, QuarterTurnGivesAnUprightPortrait)
{
    const TemporaryFolder folder;
    const Image image = loadThumbnail(writeTurnedJpeg(folder, {160, 240}, 6), 120);
    EXPECT_EQ(image.size(), QSize(80, 120));
    expectFourQuarters(image);
}

TEST(LoadThumbnail, HalfTurnGivesAnUprightLandscape)
{
    const TemporaryFolder folder;
    const Image image = loadThumbnail(writeTurnedJpeg(folder, {240, 160}, 3), 120);
    EXPECT_EQ(image.size(), QSize(120, 80));
    expectFourQuarters(image);
}

TEST(LoadFullImage, KeepsTheFullSize)
{
    const TemporaryFolder folder;
    const auto file = folder.write("a.jpg", pictures::encodeJpeg(solid({3000, 20}, GREEN)));
    EXPECT_EQ(loadFullImage(file).size(), QSize(3000, 20));
}

TEST(LoadFullImage, SideOfMoreThan100000PixelsIsReduced)
{
    const TemporaryFolder folder;
    const auto file = folder.write("a.png", test::pngFile(solid({120'000, 6}, GREEN)));
    EXPECT_EQ(loadFullImage(file).size(), QSize(100'000, 5));
}

TEST(LoadFullImage, OfARawFileIsItsPreview)
{
    const TemporaryFolder folder;
    const QByteArray raw = pictures::makeDng(
        {solid({2000, 1332}, RED), {solid({256, 170}, GREEN), solid({1620, 1080}, BLUE)}});
    const Image image = loadFullImage(folder.write("a.dng", raw));
    EXPECT_EQ(image.size(), QSize(1620, 1080));
    EXPECT_TRUE(isColored(image, BLUE));
}

TEST(LoadFullImage, MissingFileGivesNull)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(loadFullImage(folder / "absent.jpg").isNull());
}

TEST(ReadPixelSize, QuarterTurnSwapsTheSides)
{
    const TemporaryFolder folder;
    EXPECT_EQ(readPixelSize(writeJpegHeader(folder, 6)), QSize(4000, 6000));
}

TEST(ReadPixelSize, HalfTurnKeepsTheSides)
{
    const TemporaryFolder folder;
    EXPECT_EQ(readPixelSize(writeJpegHeader(folder, 3)), QSize(6000, 4000));
}

TEST(ReadPixelSize, UnknownOrientationKeepsTheSides)
{
    const TemporaryFolder folder;
    EXPECT_EQ(readPixelSize(writeJpegHeader(folder, 9)), QSize(6000, 4000));
}

TEST(ReadPixelSize, OfARawFileIsThatOfTheRawPicture)
{
    const TemporaryFolder folder;
    const QByteArray raw = pictures::makeDng({solid({600, 400}, RED), {solid({240, 160}, BLUE)}});
    EXPECT_EQ(readPixelSize(folder.write("a.dng", raw)), QSize(600, 400));
}

TEST(ReadPixelSize, MissingFolderOrEmptyFileHasNone)
{
    const TemporaryFolder folder;
    fs::create_directory(folder / "x.jpg");
    EXPECT_EQ(readPixelSize(folder / "absent.jpg"), std::nullopt);
    EXPECT_EQ(readPixelSize(folder / "x.jpg"), std::nullopt);
    EXPECT_EQ(readPixelSize(folder.write("a.jpg")), std::nullopt);
}

} // namespace

} // namespace tavolin
