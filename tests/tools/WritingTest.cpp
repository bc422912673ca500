#include "pictures/Writing.h"
#include "pictures/Dng.h"
#include "pictures/Exif.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"

#include <QBuffer>
#include <QByteArray>
#include <QColorSpace>
#include <QImage>
#include <QImageReader>
#include <QTemporaryDir>

#include <exiv2/exiv2.hpp>
#include <gtest/gtest.h>
#include <libraw/libraw.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace tavolin::pictures {

namespace {

PictureSpec smallSpec(int orientation)
{
    PictureSpec spec;
    spec.size = {320, 200};
    spec.index = 40;
    spec.count = 100;
    spec.orientation = orientation;
    spec.detailed = false;
    return spec;
}

QByteArray encoded(const std::string &extension, int orientation, const WriteOptions &options = {})
{
    const PictureSpec spec = smallSpec(orientation);
    return encodePicture(drawPicture(spec), spec, extension, options);
}

/// The picture in @p file as stored, or turned as it says.
QImage readByQt(const QByteArray &file, bool isTurned)
{
    QBuffer buffer;
    buffer.setData(file);
    QImageReader reader(&buffer);
    reader.setAutoTransform(isTurned);
    return reader.read();
}

Exiv2::ExifData exifOf(const QByteArray &file)
{
    const auto image = Exiv2::ImageFactory::open(
        reinterpret_cast<const Exiv2::byte *>(file.constData()), static_cast<long>(file.size()));
    image->readMetadata();
    return image->exifData();
}

std::string textOf(const Exiv2::ExifData &exif, const char *key)
{
    const auto found = exif.findKey(Exiv2::ExifKey(key));
    return found == exif.end() ? "missing" : found->toString();
}

std::string withoutDot(const std::string &extension)
{
    return extension.substr(1);
}

// --- every format ---

class AnyFormat : public testing::TestWithParam<std::string>
{};

TEST_P(AnyFormat, SameSpecGivesTheSameBytes)
{
    const QByteArray file = encoded(GetParam(), 6);
    EXPECT_FALSE(file.isEmpty());
    EXPECT_EQ(encoded(GetParam(), 6), file);
}

INSTANTIATE_TEST_SUITE_P(Formats, AnyFormat,
                         testing::Values(".jpg", ".jpeg", ".png", ".webp", ".bmp", ".tif", ".tiff",
                                         ".dng"),
                         [](const auto &item) { return withoutDot(item.param); });

class ExifFormat : public testing::TestWithParam<std::string>
{};

TEST_P(ExifFormat, SaysWhichCameraAndExposure)
{
    const Exiv2::ExifData exif = exifOf(encoded(GetParam(), 6));
    EXPECT_EQ(textOf(exif, "Exif.Image.Make"), "TestMake");
    EXPECT_EQ(textOf(exif, "Exif.Image.Model"), "TestCamera");
    EXPECT_EQ(textOf(exif, "Exif.Photo.LensModel"), "TestLens 50mm");
    EXPECT_EQ(textOf(exif, "Exif.Photo.FocalLength"), "50/1");
    EXPECT_EQ(textOf(exif, "Exif.Photo.FNumber"), "28/10");
    EXPECT_EQ(textOf(exif, "Exif.Photo.ExposureTime"), "1/250");
    EXPECT_EQ(textOf(exif, "Exif.Photo.ISOSpeedRatings"), "100");
}

TEST_P(ExifFormat, IsTakenAsManySecondsLaterAsItsIndexSays)
{
    const Exiv2::ExifData exif = exifOf(encoded(GetParam(), 1));
    EXPECT_EQ(textOf(exif, "Exif.Photo.DateTimeOriginal"), "2024:05:01 14:04:02");
}

TEST_P(ExifFormat, SaysItsOrientation)
{
    for (int orientation = 1; orientation <= 8; ++orientation)
        EXPECT_EQ(textOf(exifOf(encoded(GetParam(), orientation)), "Exif.Image.Orientation"),
                  std::to_string(orientation));
}

TEST_P(ExifFormat, StoresTheSidesTurned)
{
    EXPECT_EQ(readByQt(encoded(GetParam(), 3), false).size(), QSize(320, 200));
    EXPECT_EQ(readByQt(encoded(GetParam(), 6), false).size(), QSize(200, 320));
}

INSTANTIATE_TEST_SUITE_P(Formats, ExifFormat, testing::Values(".jpg", ".png", ".webp", ".tif"),
                         [](const auto &item) { return withoutDot(item.param); });

/// Formats whose orientation Qt reads: a reader that is not ours.
class TurnedByQt : public testing::TestWithParam<std::string>
{};

TEST_P(TurnedByQt, IsShownUprightAtEveryOrientation)
{
    for (int orientation = 1; orientation <= 8; ++orientation) {
        const QImage shown = readByQt(encoded(GetParam(), orientation), true);
        ASSERT_EQ(shown.size(), QSize(320, 200)) << orientation;
        EXPECT_EQ(readIndex(shown), 40) << orientation;
        EXPECT_GT(qRed(shown.pixel(8, 8)), 240) << orientation;
        EXPECT_LT(qRed(shown.pixel(312, 8)), 15) << orientation;
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, TurnedByQt, testing::Values(".jpg", ".tif"),
                         [](const auto &item) { return withoutDot(item.param); });

TEST(EncodePicture, BmpIsStoredUpright)
{
    EXPECT_EQ(readIndex(readByQt(encoded(".bmp", 6), false)), 40);
}

TEST(EncodePicture, PngKeepsEveryPixel)
{
    const PictureSpec spec = smallSpec(1);
    const QImage upright = drawPicture(spec);
    const QImage read = readByQt(encodePicture(upright, spec, ".png"), false);
    EXPECT_EQ(read.convertToFormat(QImage::Format_RGB32), upright);
}

TEST(EncodePicture, PngGivesItsReaderNothingToWarnOf)
{
    static int warnings = 0; // of the PNG library, such as a wrong checksum
    const QtMessageHandler before = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &) { ++warnings; });
    const QImage image = readByQt(encoded(".png", 6), false);
    qInstallMessageHandler(before);
    EXPECT_FALSE(image.isNull());
    EXPECT_EQ(warnings, 0);
}

TEST(EncodePicture, GreyIsWithoutColor)
{
    WriteOptions options;
    options.grey = true;
    for (const char *extension : {".jpg", ".png", ".bmp", ".tif"})
        EXPECT_TRUE(readByQt(encoded(extension, 1, options), false).allGray()) << extension;
}

TEST(EncodePicture, ProfileIsEmbedded)
{
    WriteOptions options;
    options.iccProfile = QColorSpace(QColorSpace::AdobeRgb).iccProfile();
    for (const char *extension : {".jpg", ".png", ".webp", ".tif"})
        EXPECT_EQ(readByQt(encoded(extension, 1, options), false).colorSpace().primaries(),
                  QColorSpace::Primaries::AdobeRgb)
            << extension;
}

TEST(EncodePicture, UnknownExtensionGivesNothing)
{
    EXPECT_TRUE(encoded(".gif", 1).isEmpty());
    EXPECT_TRUE(encoded("", 1).isEmpty());
}

// --- files ---

std::filesystem::path pathOf(const QTemporaryDir &folder, const char *name)
{
    return std::filesystem::path(folder.path().toStdString()) / name;
}

TEST(WritePicture, ReplacesTheFileAndLeavesNothingElse)
{
    const QTemporaryDir folder;
    const std::filesystem::path file = pathOf(folder, "one.JPG");
    std::ofstream(file) << "old";
    const PictureSpec spec = smallSpec(1);
    EXPECT_TRUE(writePicture(drawPicture(spec), spec, file));
    EXPECT_EQ(readIndex(QImage(QString::fromStdString(file.string()))), 40);
    const auto entries = std::filesystem::directory_iterator(file.parent_path());
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 1);
}

TEST(WritePicture, FailsWithoutTheFolder)
{
    const QTemporaryDir folder;
    const PictureSpec spec = smallSpec(1);
    EXPECT_FALSE(writePicture(drawPicture(spec), spec, pathOf(folder, "missing/one.jpg")));
}

TEST(WritePicture, FailsForAnUnknownExtension)
{
    const QTemporaryDir folder;
    const PictureSpec spec = smallSpec(1);
    EXPECT_FALSE(writePicture(drawPicture(spec), spec, pathOf(folder, "one.gif")));
    EXPECT_FALSE(std::filesystem::exists(pathOf(folder, "one.gif")));
}

// --- raw files ---

/// A raw file opened from memory.
class RawFile
{
public:
    explicit RawFile(const DngSpec &spec) : m_bytes(makeDng(spec))
    {
        isOpen = raw.open_buffer(m_bytes.data(), static_cast<std::size_t>(m_bytes.size())) ==
                 LIBRAW_SUCCESS;
    }

    /// The preview, as stored; null when there is none.
    [[nodiscard]] QImage preview()
    {
        if (raw.unpack_thumb() != LIBRAW_SUCCESS)
            return {};
        const auto &found = raw.imgdata.thumbnail;
        return QImage::fromData(reinterpret_cast<const uchar *>(found.thumb),
                                static_cast<int>(found.tlength), "jpeg");
    }

    /// The raw picture, developed without brightening and turned upright; null on failure.
    [[nodiscard]] QImage developed()
    {
        raw.imgdata.params.use_camera_wb = 1;
        raw.imgdata.params.no_auto_bright = 1;
        raw.imgdata.params.gamm[0] = 1 / 2.4; // the curve of sRGB
        raw.imgdata.params.gamm[1] = 12.92;
        if (raw.unpack() != LIBRAW_SUCCESS || raw.dcraw_process() != LIBRAW_SUCCESS)
            return {};
        const std::unique_ptr<libraw_processed_image_t, void (*)(libraw_processed_image_t *)>
            result(raw.dcraw_make_mem_image(), LibRaw::dcraw_clear_mem);
        if (!result || result->colors != 3 || result->bits != 8)
            return {};
        return QImage(result->data, result->width, result->height, 3 * result->width,
                      QImage::Format_RGB888)
            .copy();
    }

    LibRaw raw;
    bool isOpen = false;

private:
    QByteArray m_bytes;
};

DngSpec rawSpec(int orientation, const std::vector<QSize> &previews = {})
{
    DngSpec spec;
    spec.upright = fourQuarters({120, 80});
    for (const QSize &size : previews)
        spec.previews.push_back(fourQuarters(size));
    spec.orientation = orientation;
    return spec;
}

TEST(MakeDng, KnowsItsCamera)
{
    const RawFile file(rawSpec(1));
    ASSERT_TRUE(file.isOpen);
    EXPECT_STREQ(file.raw.imgdata.idata.make, "TestMake");
    EXPECT_STREQ(file.raw.imgdata.idata.model, "TestRaw");
    EXPECT_EQ(file.raw.imgdata.sizes.width, 120);
    EXPECT_EQ(file.raw.imgdata.sizes.height, 80);
}

TEST(MakeDng, HasNoPreviewUnlessGivenOne)
{
    RawFile file(rawSpec(1));
    ASSERT_TRUE(file.isOpen);
    EXPECT_TRUE(file.preview().isNull());
}

TEST(MakeDng, OnlyPreviewIsFound)
{
    RawFile file(rawSpec(1, {{60, 40}}));
    ASSERT_TRUE(file.isOpen);
    EXPECT_EQ(file.preview().size(), QSize(60, 40));
}

TEST(MakeDng, LargestPreviewIsFoundInEitherPlace)
{
    RawFile second(rawSpec(1, {{60, 40}, {240, 160}}));
    ASSERT_TRUE(second.isOpen);
    EXPECT_EQ(second.preview().size(), QSize(240, 160));
    RawFile first(rawSpec(1, {{240, 160}, {60, 40}}));
    ASSERT_TRUE(first.isOpen);
    EXPECT_EQ(first.preview().size(), QSize(240, 160));
}

TEST(MakeDng, PreviewIsStoredTurned)
{
    RawFile file(rawSpec(6, {{60, 40}}));
    ASSERT_TRUE(file.isOpen);
    EXPECT_EQ(file.raw.imgdata.sizes.flip, 6);
    const QImage preview = file.preview();
    ASSERT_EQ(preview.size(), QSize(40, 60));
    // Turned back by 90° counterclockwise, the green of the right top comes to the left top.
    EXPECT_GT(qGreen(preview.pixel(5, 5)), 240);
    EXPECT_LT(qRed(preview.pixel(5, 5)), 15);
}

class RawOrientation : public testing::TestWithParam<int>
{};

TEST_P(RawOrientation, DevelopsUprightInItsOwnColors)
{
    RawFile file(rawSpec(GetParam()));
    ASSERT_TRUE(file.isOpen);
    const QImage shown = file.developed();
    ASSERT_EQ(shown.size(), QSize(120, 80));
    const auto expectColor = [&](int x, int y, QRgb color) {
        const QRgb found = shown.pixel(x, y);
        EXPECT_NEAR(qRed(found), qRed(color), 12) << x << ' ' << y;
        EXPECT_NEAR(qGreen(found), qGreen(color), 12) << x << ' ' << y;
        EXPECT_NEAR(qBlue(found), qBlue(color), 12) << x << ' ' << y;
    };
    expectColor(30, 20, 0xffff0000);
    expectColor(90, 20, 0xff00ff00);
    expectColor(30, 60, 0xff0000ff);
    expectColor(90, 60, 0xffffff00);
}

INSTANTIATE_TEST_SUITE_P(Exif, RawOrientation, testing::Range(1, 9));

TEST(MakeDng, GreyKeepsItsLevel)
{
    DngSpec spec;
    spec.upright = QImage(120, 80, QImage::Format_RGB32);
    spec.upright.fill(qRgb(100, 100, 100));
    RawFile file(spec);
    ASSERT_TRUE(file.isOpen);
    const QImage shown = file.developed();
    ASSERT_FALSE(shown.isNull());
    EXPECT_NEAR(qRed(shown.pixel(60, 40)), 100, 2);
    EXPECT_NEAR(qGreen(shown.pixel(60, 40)), 100, 2);
    EXPECT_NEAR(qBlue(shown.pixel(60, 40)), 100, 2);
}

TEST(MakeDng, MetadataIsReadable)
{
    DngSpec spec = rawSpec(8, {{60, 40}});
    spec.index = 3;
    const Exiv2::ExifData exif = exifOf(makeDng(spec));
    EXPECT_EQ(textOf(exif, "Exif.Image.Orientation"), "8");
    EXPECT_EQ(textOf(exif, "Exif.Photo.LensModel"), "TestLens 50mm");
    EXPECT_EQ(textOf(exif, "Exif.Photo.DateTimeOriginal"), "2024:05:01 14:03:25");
}

TEST(MakeDng, NothingComesOfNoPicture)
{
    EXPECT_TRUE(makeDng({}).isEmpty());
}

} // namespace

} // namespace tavolin::pictures
