#include "decoding/Thumbnail.h"

#include "HeicFile.h"
#include "pictures/Dng.h"
#include "pictures/Exif.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "pictures/Writing.h"
#include "TestPictures.h"

#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <filesystem>
#include <string>
#include <tuple>

namespace tavolin {

namespace {

using namespace test;
using pictures::encodePicture;
using pictures::fourQuarters;

constexpr int NO_LIMIT = 100'000;
constexpr int LOSSY_TOLERANCE = 8;
constexpr int RENDERING_TOLERANCE = 40;
constexpr auto ALWAYS = ThumbnailRule::FromImageAlways;
constexpr auto IF_ABSENT = ThumbnailRule::FromImageIfAbsent;

Image thumbnail(const QByteArray &bytes, ThumbnailRule rule, int maxPixel = NO_LIMIT)
{
    return createThumbnail(fileOf(bytes), maxPixel, rule).image;
}

using Turned = std::tuple<std::string, int>; // extension and EXIF orientation

class ThumbnailOrientation : public testing::TestWithParam<Turned>
{
protected:
    /// fourQuarters() of @p size, stored turned.
    [[nodiscard]] static QByteArray file(QSize size)
    {
        const auto &[extension, orientation] = GetParam();
        return encodePicture(fourQuarters(size), {.orientation = orientation}, extension);
    }
};

std::string turnedName(const testing::TestParamInfo<Turned> &info)
{
    return std::get<0>(info.param).substr(1) + std::to_string(std::get<1>(info.param));
}

INSTANTIATE_TEST_SUITE_P(All, ThumbnailOrientation,
                         testing::Combine(testing::Values(".jpg", ".tif", ".png", ".webp"),
                                          testing::Range(1, 9)),
                         turnedName);
// Cameras turn, they don't mirror.
INSTANTIATE_TEST_SUITE_P(Raw, ThumbnailOrientation,
                         testing::Combine(testing::Values(".dng"), testing::Values(1, 3, 6, 8)),
                         turnedName);

TEST_P(ThumbnailOrientation, IsUpright)
{
    const QByteArray bytes = file({360, 240});
    ASSERT_FALSE(bytes.isEmpty());
    for (const int limit : {NO_LIMIT, 90}) {
        const Image image = thumbnail(bytes, IF_ABSENT, limit);
        EXPECT_EQ(image.size(), limit == NO_LIMIT ? QSize(360, 240) : QSize(90, 60));
        EXPECT_TRUE(showsFourQuarters(image, LOSSY_TOLERANCE)) << limit;
    }
}

TEST_P(ThumbnailOrientation, UprightSizeIsThatOfThePicture)
{
    for (const ThumbnailRule rule : {ALWAYS, IF_ABSENT})
        EXPECT_EQ(readUprightSize(fileOf(file({360, 240})), rule), QSize(360, 240));
}

TEST(Thumbnail, HeicIsUprightAndOfItsSize)
{
    if (!canEncodeHeic())
        GTEST_SKIP() << "this libheif was built without an encoder for HEVC";
    for (int orientation = 1; orientation <= 8; ++orientation) {
        const QByteArray heic =
            encodeHeic(pictures::storedFor(fourQuarters({128, 80}), orientation),
                       {.orientation = orientation});
        for (const ThumbnailRule rule : {ALWAYS, IF_ABSENT}) {
            const Image image = thumbnail(heic, rule);
            EXPECT_EQ(image.size(), QSize(128, 80)) << orientation;
            EXPECT_TRUE(showsFourQuarters(image, LOSSY_TOLERANCE)) << orientation;
            EXPECT_EQ(readUprightSize(fileOf(heic), rule), QSize(128, 80)) << orientation;
        }
    }
}

TEST(Thumbnail, BmpIsOfItsSize)
{
    const QByteArray bmp = encodePicture(fourQuarters({70, 50}), {}, ".bmp");
    for (const ThumbnailRule rule : {ALWAYS, IF_ABSENT}) {
        EXPECT_TRUE(showsFourQuarters(thumbnail(bmp, rule), 0));
        EXPECT_EQ(readUprightSize(fileOf(bmp), rule), QSize(70, 50));
    }
}

// The rule comes from a file's name; its content decides what it is.
TEST(Thumbnail, ContentDecidesUnderAnyRule)
{
    for (const char *extension : {".png", ".jpg", ".webp", ".bmp", ".tif"}) {
        const QByteArray bytes = encodePicture(fourQuarters({90, 60}), {}, extension);
        for (const ThumbnailRule rule : {ALWAYS, IF_ABSENT}) {
            const Image image = thumbnail(bytes, rule);
            EXPECT_EQ(image.size(), QSize(90, 60)) << extension;
            EXPECT_TRUE(showsFourQuarters(image, LOSSY_TOLERANCE)) << extension;
        }
    }
}

TEST(Thumbnail, FileOnDiskIsReadLikeBytes)
{
    const QTemporaryDir folder;
    const std::filesystem::path path = folder.filePath(QStringLiteral("a.png")).toStdString();
    ASSERT_TRUE(pictures::writePicture(fourQuarters({90, 60}), {.orientation = 6}, path));
    const auto file = SourceFile::open(path);
    ASSERT_TRUE(file);
    EXPECT_TRUE(showsFourQuarters(createThumbnail(*file, 45, ALWAYS).image, 0));
}

/// A picture in one colour.
QImage flat(QSize size, QRgb color)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

TEST(Thumbnail, FileThatIsCutWhileItIsOpenDoesNoHarm)
{
    const QTemporaryDir folder;
    for (const std::string extension : {".jpg", ".png", ".tif", ".webp", ".bmp", ".dng", ".heic"}) {
        const QByteArray bytes = extension == ".heic"
                                     ? encodeHeic(fourQuarters({256, 192}))
                                     : encodePicture(fourQuarters({256, 192}), {}, extension);
        const std::filesystem::path path =
            folder.filePath(QString::fromStdString("cut" + extension)).toStdString();
        if (extension == ".heic" && !canEncodeHeic())
            GTEST_SKIP() << "no HEIC: this libheif has no encoder for HEVC";
        ASSERT_FALSE(bytes.isEmpty()) << extension;
        for (const qsizetype left : {bytes.size() - 1, bytes.size() / 2, qsizetype{20}}) {
            QFile writer(QString::fromStdString(path));
            ASSERT_TRUE(writer.open(QIODevice::WriteOnly));
            writer.write(bytes);
            writer.close();
            const auto file = SourceFile::open(path);
            ASSERT_TRUE(file);
            ASSERT_TRUE(writer.resize(left));
            const Image image = createThumbnail(*file, NO_LIMIT, IF_ABSENT).image;
            EXPECT_TRUE(image.isNull() || image.size() == QSize(256, 192)) << extension << left;
            (void)readUprightSize(*file, IF_ABSENT);
        }
    }
}

TEST(Thumbnail, RuleDecidesBetweenPreviewAndRawData)
{
    const QByteArray dng = pictures::makeDng(
        {.upright = fourQuarters({320, 240}), .previews = {flat({1000, 750}, 0xffffffff)}});
    const Image preview = thumbnail(dng, IF_ABSENT);
    EXPECT_EQ(preview.size(), QSize(1000, 750));
    EXPECT_TRUE(isNear(pixelAt(preview, 0.25, 0.25), 0xffffffff, 2));
    const Image full = thumbnail(dng, ALWAYS);
    EXPECT_EQ(full.size(), QSize(320, 240));
    EXPECT_TRUE(showsFourQuarters(full, RENDERING_TOLERANCE));
}

/// A raw file of 1200 x 900 pixels with a white preview of @p size, above 0.
QByteArray rawWithPreview(QSize size)
{
    return pictures::makeDng(
        {.upright = fourQuarters({1200, 900}), .previews = {flat(size, 0xffffffff)}});
}

TEST(Thumbnail, RawDataIsRenderedWhereThePreviewIsAStamp)
{
    for (const QSize stamp : {QSize(160, 120), QSize(999, 749), QSize(749, 999)}) {
        const Image image = thumbnail(rawWithPreview(stamp), IF_ABSENT);
        EXPECT_EQ(image.size(), QSize(1200, 900));
        EXPECT_TRUE(showsFourQuarters(image, RENDERING_TOLERANCE));
    }
    for (const QSize enough : {QSize(1000, 750), QSize(750, 1000)})
        EXPECT_EQ(thumbnail(rawWithPreview(enough), IF_ABSENT).size(), enough);
}

TEST(Thumbnail, PictureIsTheSameAtEverySize)
{
    const QByteArray stamp = rawWithPreview({160, 120});
    const QByteArray enough = rawWithPreview({1000, 750});
    for (const int limit : {NO_LIMIT, 999, 160, 80}) {
        EXPECT_TRUE(showsFourQuarters(thumbnail(stamp, IF_ABSENT, limit), RENDERING_TOLERANCE));
        const Image image = thumbnail(enough, IF_ABSENT, limit);
        EXPECT_EQ(image.width(), std::min(limit, 1000));
        EXPECT_TRUE(isNear(pixelAt(image, 0.25, 0.25), 0xffffffff, 2));
    }
}

TEST(Thumbnail, StampIsGivenWhereTheRawPictureIsNoLarger)
{
    const QByteArray dng = pictures::makeDng(
        {.upright = fourQuarters({320, 240}), .previews = {flat({320, 240}, 0xffffffff)}});
    EXPECT_TRUE(isNear(pixelAt(thumbnail(dng, IF_ABSENT), 0.25, 0.25), 0xffffffff, 2));
}

TEST(Thumbnail, StampIsGivenWhereRawDataAreCut)
{
    const QByteArray dng = rawWithPreview({160, 120});
    const qsizetype rawBytes = qsizetype{1200} * 900 * 2;
    ASSERT_GT(dng.size(), rawBytes);
    for (const qsizetype missing : {rawBytes / 50, rawBytes / 2, rawBytes - 1000})
        EXPECT_EQ(thumbnail(dng.first(dng.size() - missing), IF_ABSENT).size(), QSize(160, 120))
            << missing;
}

TEST(Thumbnail, RawDataIsRenderedUnderEitherRuleWhereThereIsNoPreview)
{
    // A size of its own: memory that a reader leaves unfilled must not hold the picture by chance.
    const QByteArray dng = pictures::makeDng({.upright = fourQuarters({348, 252})});
    for (const ThumbnailRule rule : {ALWAYS, IF_ABSENT}) {
        const Image image = thumbnail(dng, rule);
        EXPECT_EQ(image.size(), QSize(348, 252));
        EXPECT_TRUE(showsFourQuarters(image, RENDERING_TOLERANCE));
    }
}

TEST(Thumbnail, PreviewIsGivenEvenWhereMoreIsAskedFor)
{
    const QByteArray dng =
        pictures::makeDng({.upright = fourQuarters({1800, 1200}),
                           .previews = {flat({160, 107}, 0xff000000), flat({1620, 1080}, RED)}});
    const Image image = thumbnail(dng, IF_ABSENT);
    EXPECT_EQ(image.size(), QSize(1620, 1080));
    EXPECT_TRUE(isNear(pixelAt(image, 0.75, 0.75), RED, 4));
}

TEST(Thumbnail, UprightSizeOfARawFileIsThatOfTheRawPicture)
{
    const QByteArray dng = pictures::makeDng({.upright = fourQuarters({240, 320}),
                                              .previews = {fourQuarters({1200, 1600})},
                                              .orientation = 8});
    EXPECT_EQ(readUprightSize(fileOf(dng), IF_ABSENT), QSize(240, 320));
    const Image image = thumbnail(dng, IF_ABSENT);
    EXPECT_EQ(image.size(), QSize(1200, 1600));
}

TEST(Thumbnail, ColorHintOfTheFileGivesItsProfile)
{
    // EXIF ColorSpace (0xa001) 2: DCF's Adobe RGB.
    pictures::TiffDirectory exposure = pictures::exposureDirectory(0);
    exposure.push_back(pictures::shortField(0xa001, {2}));
    pictures::JpegOptions options;
    options.exif = pictures::tiffBlock({pictures::directoriesField(0x8769, {exposure})});
    const QImage picture = fourQuarters({40, 40});
    EXPECT_FALSE(thumbnail(pictures::encodeJpeg(picture, options), ALWAYS).iccProfile().isEmpty());
    EXPECT_TRUE(thumbnail(pictures::encodeJpeg(picture), ALWAYS).iccProfile().isEmpty());
}

TEST(Thumbnail, WhatIsNoPictureIsNull)
{
    for (const QByteArray &bytes :
         {QByteArray(), QByteArray("x"), QByteArray("<html>not a picture</html>\n"),
          QByteArray("GIF89a, one of the kinds that are not shown"), QByteArray(10'000, '\0'),
          QByteArray(10'000, '\xff')}) {
        for (const ThumbnailRule rule : {ALWAYS, IF_ABSENT}) {
            EXPECT_TRUE(thumbnail(bytes, rule).isNull())
                << bytes.first(std::min<qsizetype>(20, bytes.size())).toStdString();
            EXPECT_FALSE(readUprightSize(fileOf(bytes), rule));
        }
    }
}

TEST(Thumbnail, OfNoPixelsIsNull)
{
    const QByteArray jpeg = pictures::encodeJpeg(fourQuarters({40, 40}));
    EXPECT_TRUE(thumbnail(jpeg, ALWAYS, 0).isNull());
    EXPECT_TRUE(thumbnail(jpeg, ALWAYS, -1).isNull());
    EXPECT_EQ(thumbnail(jpeg, ALWAYS, 1).size(), QSize(1, 1));
}

} // namespace

} // namespace tavolin
