#include "browse/PhotoInfo.h"

#include "decoding/Decoding.h"

#include "logic/TemporaryFolder.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "pictures/Tiff.h"
#include "pictures/Writing.h"

#include <QLocale>

#include <gtest/gtest.h>

#include <clocale>
#include <limits>
#include <ostream>
#include <string>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

/// @p metadata's line without a file size.
std::string lineOf(const PhotoMetadata &metadata)
{
    return infoLine(infoSegments(metadata, std::nullopt)).toStdString();
}

const PhotoMetadata FULL{.pixelSize = QSize(6000, 4000),
                         .model = u"Camera X"_s,
                         .lensModel = u"Lens 24-70"_s,
                         .focalLength = 50.0,
                         .fNumber = 2.8,
                         .exposureTime = 0.004,
                         .iso = 100,
                         .dateTimeOriginal = u"2024:05:01 14:03:22"_s};

TEST(InfoSegments, ComeInOrder)
{
    const QStringList expected{u"6000×4000"_s,
                               u"24.6MB"_s,
                               u"Camera X"_s,
                               u"Lens 24-70"_s,
                               u"50mm f/2.8 1/250s ISO100"_s,
                               u"2024:05:01 14:03:22"_s};
    EXPECT_EQ(infoSegments(FULL, 25'795'000), expected);
}

TEST(InfoLine, HasABarBetweenTwoBlanksEach)
{
    EXPECT_EQ(infoLine(infoSegments(FULL, 25'795'000)),
              u"6000×4000  |  24.6MB  |  Camera X  |  Lens 24-70  |  50mm f/2.8 1/250s ISO100  |  "
              "2024:05:01 14:03:22"_s);
}

TEST(InfoLine, IsEmptyWithoutSegments)
{
    EXPECT_EQ(infoLine({}), QString());
    EXPECT_EQ(infoSegments({}, std::nullopt), QStringList());
}

TEST(InfoSegments, OfAPictureWithoutExifAreTheTwoSizes)
{
    EXPECT_EQ(infoLine(infoSegments({.pixelSize = QSize(800, 600)}, 419'430)),
              u"800×600  |  0.4MB"_s);
}

TEST(InfoSegments, LeaveOutWhatIsMissing)
{
    EXPECT_EQ(lineOf({.model = u"X"_s, .iso = 64}), "X  |  ISO64");
    EXPECT_EQ(lineOf({.fNumber = 8.0, .dateTimeOriginal = u"2024"_s}), "f/8.0  |  2024");
    EXPECT_EQ(lineOf({.focalLength = 35.0, .exposureTime = 0.5}), "35mm 1/2s");
}

struct FileSize
{
    const char *name;
    std::uintmax_t bytes;
    const char *expected;
};

void PrintTo(const FileSize &size, std::ostream *out)
{
    *out << size.name;
}

class FileSizeSegment : public testing::TestWithParam<FileSize>
{};

TEST_P(FileSizeSegment, IsInUnitsOfTwoToTheTwentieth)
{
    EXPECT_EQ(infoLine(infoSegments({}, GetParam().bytes)).toStdString(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, FileSizeSegment,
    testing::Values(FileSize{"Nothing", 0, "0.0MB"}, FileSize{"One", 1'048'576, "1.0MB"},
                    FileSize{"AMillion", 1'000'000, "1.0MB"},
                    FileSize{"QuarterIsExactAndRoundsToEven", 262'144, "0.2MB"},
                    FileSize{"ThreeQuartersRoundToEven", 786'432, "0.8MB"},
                    FileSize{"JustAboveAQuarter", 262'145, "0.3MB"},
                    FileSize{"ThreeGibibytes", 3'221'225'472, "3072.0MB"}),
    [](const auto &test) { return std::string(test.param.name); });

struct Setting
{
    const char *name;
    PhotoMetadata metadata;
    const char *expected;
};

void PrintTo(const Setting &setting, std::ostream *out)
{
    *out << setting.name;
}

class ExposureSetting : public testing::TestWithParam<Setting>
{};

TEST_P(ExposureSetting, IsWorded)
{
    EXPECT_EQ(lineOf(GetParam().metadata), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    FocalLengths, ExposureSetting,
    testing::Values(Setting{"Whole", {.focalLength = 50.0}, "50mm"},
                    Setting{"HalfGoesUp", {.focalLength = 23.5}, "24mm"},
                    Setting{"HalfGoesUpToOdd", {.focalLength = 24.5}, "25mm"},
                    Setting{"BelowHalf", {.focalLength = 5.49}, "5mm"},
                    Setting{"None", {.focalLength = 0.0}, "0mm"},
                    Setting{"NegativeHalfGoesAway", {.focalLength = -23.5}, "-24mm"},
                    Setting{"NearlyNoneHasNoSign", {.focalLength = -0.3}, "0mm"},
                    Setting{"Huge", {.focalLength = 4294967295.0}, "4294967295mm"}),
    [](const auto &test) { return std::string(test.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Apertures, ExposureSetting,
    testing::Values(Setting{"OneDecimal", {.fNumber = 1.8}, "f/1.8"},
                    Setting{"AlwaysADecimal", {.fNumber = 11.0}, "f/11.0"},
                    Setting{"ExactHalfRoundsToEven", {.fNumber = 1.25}, "f/1.2"},
                    Setting{"Nearest", {.fNumber = 1.85}, "f/1.9"}, // 1.85 is a little more
                    Setting{"Zero", {.fNumber = 0.0}, "f/0.0"},
                    Setting{"HugeF", {.fNumber = 4294967295.0}, "f/4294967295.0"}),
    [](const auto &test) { return std::string(test.param.name); });

INSTANTIATE_TEST_SUITE_P(
    ExposureTimes, ExposureSetting,
    testing::Values(Setting{"Short", {.exposureTime = 0.004}, "1/250s"},
                    Setting{"Third", {.exposureTime = 0.3}, "1/3s"},
                    Setting{"HalfDenominatorGoesUp", {.exposureTime = 0.4}, "1/3s"}, // 2.5
                    Setting{"JustBelowASecond", {.exposureTime = 0.9}, "1/1s"},
                    Setting{"Second", {.exposureTime = 1.0}, "1.0s"},
                    Setting{"Seconds", {.exposureTime = 2.0}, "2.0s"},
                    Setting{"LongAndBroken", {.exposureTime = 2.54}, "2.5s"},
                    Setting{"ZeroSeconds", {.exposureTime = 0.0}, ""},
                    Setting{"Negative", {.exposureTime = -0.004}, ""},
                    Setting{"Shortest", {.exposureTime = 1.0 / 4294967295}, "1/4294967295s"}),
    [](const auto &test) { return std::string(test.param.name); });

INSTANTIATE_TEST_SUITE_P(Sensitivities, ExposureSetting,
                         testing::Values(Setting{"Iso", {.iso = 100}, "ISO100"},
                                         Setting{"IsoZero", {.iso = 0}, "ISO0"},
                                         Setting{"HugeIso", {.iso = 4294967295}, "ISO4294967295"}),
                         [](const auto &test) { return std::string(test.param.name); });

TEST(InfoSegments, SurviveWhatNoFileCanHold)
{
    constexpr double HUGE_NUMBER = std::numeric_limits<double>::max();
    const PhotoMetadata metadata{
        .focalLength = HUGE_NUMBER, .fNumber = -HUGE_NUMBER, .exposureTime = HUGE_NUMBER};
    EXPECT_EQ(infoSegments(metadata, std::nullopt).size(), 1);
}

TEST(InfoSegments, UseAPointInEveryLocale)
{
    const QLocale previous;
    QLocale::setDefault(QLocale(QLocale::German));
    const std::string previousInC = std::setlocale(LC_NUMERIC, nullptr);
    std::setlocale(LC_NUMERIC, "de_DE.UTF-8"); // where it is installed
    const std::string line = lineOf({.fNumber = 2.8, .iso = 12800});
    std::setlocale(LC_NUMERIC, previousInC.c_str());
    QLocale::setDefault(previous);
    EXPECT_EQ(line, "f/2.8 ISO12800");
}

TEST(InfoSegments, AreTrimmedForCameraAndLens)
{
    EXPECT_EQ(lineOf({.model = u"  Camera  X \t\n"_s, .lensModel = u"\x00a0 Lens "_s}),
              "Camera  X  |  Lens");
}

TEST(InfoSegments, KeepEmptyNames)
{
    EXPECT_EQ(infoSegments({.model = u""_s, .lensModel = u"   "_s}, std::nullopt),
              QStringList({u""_s, u""_s}));
    EXPECT_EQ(lineOf({.pixelSize = QSize(6, 4), .model = u""_s, .iso = 1}), "6×4  |    |  ISO1");
}

TEST(InfoSegments, KeepTheDateAsStored)
{
    EXPECT_EQ(lineOf({.dateTimeOriginal = u"    :  :     :  :  "_s}), "    :  :     :  :  ");
    EXPECT_EQ(lineOf({.dateTimeOriginal = u"yesterday, about noon"_s}), "yesterday, about noon");
}

TEST(InfoSegments, StayOnOneLine)
{
    EXPECT_EQ(lineOf({.model = u"A\nB\r\tC\x1b[31mD\x7f\x85\x2028\x2029"
                               "E"_s}),
              "A B  C [31mD    E");
    EXPECT_EQ(lineOf({.dateTimeOriginal = u"2024\n05"_s}), "2024 05");
}

TEST(InfoSegments, KeepTheDirectionOfWriting)
{
    EXPECT_EQ(lineOf({.model = u"A\x202e"
                               "evil\x202c\x2066\x2069\x200f\x200e\x061c"
                               "Z"_s}),
              "A evil      Z");
}

TEST(InfoSegments, ShowMarkupAndOtherScriptsAsTheyAre)
{
    EXPECT_EQ(lineOf({.model = u"<b>A</b>&amp; %s%n"_s}), "<b>A</b>&amp; %s%n");
    EXPECT_EQ(lineOf({.model = u"กล้องทดสอบ 📷"_s}), "กล้องทดสอบ 📷");
}

TEST(InfoSegments, CutLongTexts)
{
    EXPECT_EQ(lineOf({.model = QString(60000, u'M')}), std::string(200, 'M'));
    EXPECT_EQ(lineOf({.lensModel = QString(200, u'M')}), std::string(200, 'M'));
    EXPECT_EQ(lineOf({.dateTimeOriginal = QString(201, u'M')}), std::string(200, 'M'));
}

TEST(InfoSegments, DoNotCutACharacterInHalf)
{
    EXPECT_EQ(lineOf({.model = QString(199, u'M') + u"📷📷"_s}), std::string(199, 'M'));
}

// From files

class PhotoInfoOf : public testing::Test
{
protected:
    /// The line of a picture of 200 by 150 upright pixels in a file of this name.
    [[nodiscard]] std::string lineOfFile(const std::string &name, int orientation = 1) const
    {
        const pictures::PictureSpec spec{
            .size = {200, 150}, .orientation = orientation, .detailed = false};
        const auto file = m_folder / name;
        EXPECT_TRUE(pictures::writePicture(pictures::drawPicture(spec), spec, file));
        return infoLine(photoInfo(readPhotoFacts(file)).segments).toStdString();
    }

    [[nodiscard]] const test::TemporaryFolder &folder() const { return m_folder; }

private:
    test::TemporaryFolder m_folder;
};

TEST_F(PhotoInfoOf, JpegIsAFullLine)
{
    EXPECT_EQ(lineOfFile("a.jpg"), "200×150  |  0.0MB  |  TestCamera  |  TestLens 50mm  |  "
                                   "50mm f/2.8 1/250s ISO100  |  2024:05:01 14:03:23");
}

TEST_F(PhotoInfoOf, RawFileHasTheSizeOfItsRawPicture)
{
    EXPECT_EQ(lineOfFile("a.DNG", 8), "200×150  |  0.1MB  |  TestRaw  |  TestLens 50mm  |  "
                                      "50mm f/2.8 1/250s ISO100  |  2024:05:01 14:03:23");
}

TEST_F(PhotoInfoOf, PhoneHeldUprightHasTheTallSizeFirst)
{
    const QByteArray exif = pictures::tiffBlock({pictures::shortField(0x0112, {6})});
    const QImage stored = pictures::fourQuarters({4032, 3024});
    const auto file = folder().write("phone.jpg", pictures::encodeJpeg(stored, {.exif = exif}));
    const PhotoInfo info = photoInfo(readPhotoFacts(file));
    EXPECT_EQ(info.pixelSize, QSize(3024, 4032));
    ASSERT_FALSE(info.segments.isEmpty());
    EXPECT_EQ(info.segments.front(), u"3024×4032"_s);
}

TEST_F(PhotoInfoOf, FileOfOneMebibyteSaysSo)
{
    QByteArray jpeg = pictures::encodeJpeg(pictures::fourQuarters({64, 32}));
    jpeg.append(1'048'576 - jpeg.size(), '\0');
    const auto file = folder().write("padded.jpg", jpeg);
    EXPECT_EQ(infoLine(photoInfo(readPhotoFacts(file)).segments), u"64×32  |  1.0MB"_s);
}

TEST_F(PhotoInfoOf, NoPictureIsNothing)
{
    for (const auto &file : {folder().write("empty.jpg"), folder().write("text.nef", "a text"),
                             folder() / "missing.jpg", folder().path(), std::filesystem::path()}) {
        const PhotoInfo info = photoInfo(readPhotoFacts(file));
        EXPECT_EQ(info.pixelSize, std::nullopt) << file;
        EXPECT_EQ(info.segments, QStringList()) << file;
    }
}

} // namespace

} // namespace tavolin
