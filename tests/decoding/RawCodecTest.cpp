#include "decoding/codecs/RawCodec.h"

#include "decoding/Thumbnail.h"
#include "FileBytes.h"
#include "pictures/Dng.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "pictures/Writing.h"
#include "TestPictures.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstdint>
#include <vector>

namespace tavolin {

namespace {

using namespace test;
using pictures::fourQuarters;
using pictures::makeDng;

constexpr int NO_LIMIT = 100'000;
/// JPEG's at quality 90, at the sharp borders of small pictures.
constexpr int PREVIEW_TOLERANCE = 8;
/// A rendering is brightened as LibRaw likes it; the colours stay what they are.
constexpr int RENDERING_TOLERANCE = 40;

Image preview(const QByteArray &bytes, int maxPixel = NO_LIMIT)
{
    const SourceFile file = fileOf(bytes);
    return decodeRawPreview(file, readProperties(file), maxPixel).picture.image;
}

Image rendering(const QByteArray &bytes, int maxPixel = NO_LIMIT)
{
    return renderRaw(fileOf(bytes), maxPixel).image;
}

Image thumbnail(const QByteArray &bytes, int maxPixel = NO_LIMIT)
{
    return createThumbnail(fileOf(bytes), maxPixel, ThumbnailRule::FromImageIfAbsent).image;
}

TEST(RawPreview, IsTheLargerOne)
{
    const QImage small = fourQuarters({160, 120});
    const QImage large = fourQuarters({1024, 768});
    for (const std::vector<QImage> &previews :
         {std::vector{small, large}, std::vector{large, small}}) {
        const Image image =
            preview(makeDng({.upright = fourQuarters({320, 240}), .previews = previews}));
        EXPECT_EQ(image.size(), QSize(1024, 768));
        EXPECT_TRUE(showsFourQuarters(image, PREVIEW_TOLERANCE));
    }
}

TEST(RawPreview, ComesInTheSizeOfTheLimit)
{
    const QByteArray dng =
        makeDng({.upright = fourQuarters({320, 240}),
                 .previews = {fourQuarters({160, 120}), fourQuarters({1024, 768})}});
    EXPECT_EQ(preview(dng, 1024).size(), QSize(1024, 768));
    EXPECT_EQ(preview(dng, 1000).size(), QSize(1000, 750));
    EXPECT_EQ(preview(dng, 100).size(), QSize(100, 75));
    EXPECT_EQ(preview(dng, 1).size(), QSize(1, 1));
}

// Cameras put the full-size preview behind the raw data, offsets have 32 bits.
TEST(RawPreview, IsDecodedFarBehindInALargeFile)
{
    constexpr std::uint32_t FAR = 0xf0000000;
    const QByteArray jpeg = pictures::encodeJpeg(fourQuarters({1024, 768}));
    const QByteArray head =
        tiff(ByteOrder::Little, {{0x0100, LONG, 1, 6000},
                                 {0x0101, LONG, 1, 4000},
                                 {0x0112, SHORT, 1, 3},
                                 {0x0201, LONG, 1, FAR},
                                 {0x0202, LONG, 1, static_cast<std::uint32_t>(jpeg.size())}});
    const QTemporaryDir folder;
    QFile writer(folder.filePath(QStringLiteral("far.nef")));
    ASSERT_TRUE(writer.open(QIODevice::WriteOnly));
    writer.write(head);
    ASSERT_TRUE(writer.seek(FAR)); // a hole
    writer.write(jpeg);
    writer.close();
    const auto file = SourceFile::open(writer.fileName().toStdString());
    ASSERT_TRUE(file);
    const Image image =
        turnedUpright(createThumbnail(*file, NO_LIMIT, ThumbnailRule::FromImageIfAbsent).image,
                      Orientation::Turn180);
    EXPECT_EQ(image.size(), QSize(1024, 768));
    EXPECT_TRUE(showsFourQuarters(image, PREVIEW_TOLERANCE));
}

TEST(RawPreview, IsTheNextSmallerOneWhereTheLargestCannotBeDecoded)
{
    const QByteArray small = pictures::encodeJpeg(fourQuarters({640, 480}));
    // A frame header, but neither tables nor a scan.
    const QByteArray large = jpeg(6000, 4000);
    QByteArray bytes =
        tiff(ByteOrder::Little, {{0x0111, LONG, 1, 200},
                                 {0x0117, LONG, 1, static_cast<std::uint32_t>(large.size())},
                                 {0x0201, LONG, 1, 300},
                                 {0x0202, LONG, 1, static_cast<std::uint32_t>(small.size())}});
    bytes.resize(200, '\0');
    bytes += large;
    bytes.resize(300, '\0');
    const Image image = preview(bytes + small);
    EXPECT_EQ(image.size(), QSize(640, 480));
    EXPECT_TRUE(showsFourQuarters(image, PREVIEW_TOLERANCE));
}

TEST(RawPreview, MayConsistOfPixelsWhereThatIsLargerThanAnyJpeg)
{
    QImage white(160, 120, QImage::Format_RGB32);
    white.fill(0xffffffff);
    const Image pixels = preview(makeDng({.upright = fourQuarters({1200, 900}),
                                          .previews = {white},
                                          .orientation = 6,
                                          .pixelPreview = fourQuarters({640, 480})}));
    EXPECT_EQ(pixels.size(), QSize(640, 480));
    EXPECT_TRUE(showsFourQuarters(pixels, 0));
    const Image jpeg = preview(makeDng({.upright = fourQuarters({1200, 900}),
                                        .previews = {fourQuarters({640, 480})},
                                        .pixelPreview = white}));
    EXPECT_EQ(jpeg.size(), QSize(640, 480));
    EXPECT_TRUE(showsFourQuarters(jpeg, PREVIEW_TOLERANCE));
}

TEST(RawPreview, TellsItsLongSideAsTheFileHasIt)
{
    for (const QSize size : {QSize(1024, 768), QSize(300, 500)}) {
        const SourceFile file = fileOf(
            makeDng({.upright = fourQuarters({320, 240}), .previews = {fourQuarters(size)}}));
        const DecodedPreview decoded = decodeRawPreview(file, readProperties(file), 100);
        EXPECT_EQ(decoded.longSidePx, std::max(size.width(), size.height()));
        EXPECT_EQ(std::max(decoded.picture.image.width(), decoded.picture.image.height()), 100);
    }
}

TEST(RawPreview, IsNullWhereThereIsNone)
{
    EXPECT_TRUE(preview(makeDng({.upright = fourQuarters({320, 240})})).isNull());
    EXPECT_TRUE(preview({}).isNull());
    EXPECT_TRUE(preview("neither raw nor anything else").isNull());
}

TEST(RawRendering, ShowsItsQuarters)
{
    const Image image = rendering(makeDng({.upright = fourQuarters({320, 240})}));
    EXPECT_EQ(image.size(), QSize(320, 240));
    EXPECT_EQ(image.alpha(), Alpha::Opaque);
    EXPECT_TRUE(showsFourQuarters(image, RENDERING_TOLERANCE));
}

TEST(RawRendering, IsOfTheRawPictureNotOfAPreview)
{
    QImage white(1024, 768, QImage::Format_RGB32);
    white.fill(0xffffffff);
    const Image image =
        rendering(makeDng({.upright = fourQuarters({320, 240}), .previews = {white}}));
    EXPECT_EQ(image.size(), QSize(320, 240));
    EXPECT_TRUE(showsFourQuarters(image, RENDERING_TOLERANCE));
}

// Down to half the size the full picture is developed, below that only half of it.
TEST(RawRendering, ComesInTheSizeOfTheLimit)
{
    const QByteArray dng = makeDng({.upright = fourQuarters({320, 240})});
    for (const int limit : {320, 319, 200, 161, 160, 159, 100, 32}) {
        const Image image = rendering(dng, limit);
        EXPECT_EQ(image.size(), QSize(limit, (limit * 3 + 2) / 4)) << image.height();
        EXPECT_TRUE(showsFourQuarters(image, RENDERING_TOLERANCE)) << limit;
    }
    EXPECT_EQ(rendering(dng, 1).size(), QSize(1, 1));
}

TEST(RawRendering, IsNullWhereThereIsNoRawData)
{
    EXPECT_TRUE(rendering({}).isNull());
    EXPECT_TRUE(rendering("neither raw nor anything else").isNull());
    EXPECT_TRUE(rendering(pictures::encodeJpeg(fourQuarters({64, 64}))).isNull());
}

TEST(RawProperties, AreThoseOfTheRawPicture)
{
    const QByteArray dng = makeDng({.upright = fourQuarters({240, 320}),
                                    .previews = {fourQuarters({768, 1024})},
                                    .orientation = 6});
    const auto properties = readRawProperties(fileOf(dng));
    ASSERT_TRUE(properties);
    EXPECT_EQ(properties->stored, QSize(320, 240));
    EXPECT_EQ(properties->orientation, Orientation::Turn90);
    EXPECT_EQ(properties->upright(), QSize(240, 320));
    EXPECT_FALSE(readRawProperties(fileOf("neither raw nor anything else")));
}

class RawOrientation : public testing::TestWithParam<int>
{
protected:
    [[nodiscard]] static QByteArray dng(bool hasPreview)
    {
        std::vector<QImage> previews;
        if (hasPreview)
            previews.push_back(fourQuarters({600, 800}));
        return makeDng(
            {.upright = fourQuarters({240, 320}), .previews = previews, .orientation = GetParam()});
    }
};

// Cameras turn, they don't mirror.
INSTANTIATE_TEST_SUITE_P(Turns, RawOrientation, testing::Range(1, 9),
                         testing::PrintToStringParamName());

TEST_P(RawOrientation, PreviewIsUpright)
{
    const Image image = preview(dng(true));
    EXPECT_EQ(image.size(), QSize(600, 800));
    EXPECT_TRUE(showsFourQuarters(image, PREVIEW_TOLERANCE));
}

TEST_P(RawOrientation, RenderingIsUpright)
{
    for (const int limit : {NO_LIMIT, 160}) {
        const Image image = rendering(dng(false), limit);
        EXPECT_EQ(image.size(), limit == NO_LIMIT ? QSize(240, 320) : QSize(120, 160));
        EXPECT_TRUE(showsFourQuarters(image, RENDERING_TOLERANCE));
    }
}

TEST_P(RawOrientation, PropertiesAreThoseOfTheRendering)
{
    const auto properties = readRawProperties(fileOf(dng(true)));
    ASSERT_TRUE(properties);
    EXPECT_EQ(properties->upright(), QSize(240, 320));
}

TEST(RawThumbnail, IsARenderingWhereThereIsNoPreview)
{
    const Image image = thumbnail(makeDng({.upright = fourQuarters({320, 240})}));
    EXPECT_EQ(image.size(), QSize(320, 240));
    EXPECT_TRUE(showsFourQuarters(image, RENDERING_TOLERANCE));
}

TEST(RawThumbnail, JpegUnderARawNameIsShown)
{
    const Image image = thumbnail(pictures::encodeJpeg(fourQuarters({100, 60})));
    EXPECT_EQ(image.size(), QSize(100, 60));
    EXPECT_TRUE(showsFourQuarters(image, PREVIEW_TOLERANCE));
}

TEST(RawThumbnail, PlainTiffUnderARawNameIsShown)
{
    for (const int orientation : {1, 6}) {
        const QByteArray tiff =
            pictures::encodePicture(fourQuarters({100, 60}), {.orientation = orientation}, ".tif");
        ASSERT_FALSE(tiff.isEmpty());
        const Image image = thumbnail(tiff);
        EXPECT_EQ(image.size(), QSize(100, 60)) << orientation;
        EXPECT_TRUE(showsFourQuarters(image, 1)) << orientation;
    }
}

// What is read from a cut raw file may be garbage, but it has its size.
TEST(RawThumbnail, TruncatedFilesDoNoHarm)
{
    const QByteArray dng =
        makeDng({.upright = fourQuarters({160, 120}), .previews = {fourQuarters({96, 72})}});
    for (qsizetype percent = 0; percent < 100; percent += 4) {
        const QByteArray cut = dng.first(dng.size() * percent / 100);
        const Image image = thumbnail(cut, 50);
        EXPECT_TRUE(image.isNull() || std::max(image.width(), image.height()) <= 50) << percent;
        const Image rendered = rendering(cut, 50);
        EXPECT_TRUE(rendered.isNull() || rendered.size() == QSize(50, 38)) << percent;
    }
}

TEST(RawThumbnail, DamagedFilesDoNoHarm)
{
    constexpr int LIMIT = 50;
    const QByteArray dng =
        makeDng({.upright = fourQuarters({96, 72}), .previews = {fourQuarters({64, 48})}});
    // Damage in the first part hits the structure, and not only samples.
    const QByteArray structure = dng.first(2000);
    for (unsigned seed = 0; seed < 120; ++seed) {
        const QByteArray bytes = damaged(structure, seed) + dng.mid(structure.size());
        for (const Image &image : {thumbnail(bytes, LIMIT), rendering(bytes, LIMIT)})
            ASSERT_LE(std::max(image.width(), image.height()), LIMIT) << seed;
    }
}

TEST(RawThumbnail, IsNullOnceStopped)
{
    const QByteArray dng =
        makeDng({.upright = fourQuarters({160, 120}), .previews = {fourQuarters({96, 72})}});
    EXPECT_TRUE(decodeRawPreview(stoppedFileOf(dng), {}, NO_LIMIT).picture.isNull());
    EXPECT_TRUE(renderRaw(stoppedFileOf(dng), NO_LIMIT).isNull());
}

// Boxes within boxes, all over the same bytes: LibRaw alone goes on for hours.
TEST(RawProperties, OfBoxesThatNeverEndAreNone)
{
    QFile file(QStringLiteral(KEPT_CASES "/headers/boxes-in-boxes.cr3"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_FALSE(readRawProperties(fileOf(file.readAll())));
}

} // namespace

} // namespace tavolin
