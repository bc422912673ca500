#include "editing/EditJobs.h"

#include "decoding/color/Color.h"
#include "decoding/Decoding.h"
#include "editing/CropAngle.h"
#include "logic/PngFile.h"
#include "logic/Printing.h"
#include "logic/TemporaryFolder.h"
#include "pictures/Picture.h"

#include <QColorSpace>

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <random>
#include <stop_token>

namespace tavolin {

using test::pngFile;
using test::TemporaryFolder;

namespace {

const DisplayTarget SCREEN{100, {0, 0, 60, 40}, 1.0};

/// A picture whose every pixel says where it is.
QImage mapOf(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, qRgb(x % 256, y % 256, 128));
    }
    return image;
}

bool samePixels(const Image &a, const Image &b)
{
    if (a.size() != b.size())
        return false;
    for (int y = 0; y < a.height(); ++y) {
        if (!std::equal(a.row(y), a.row(y) + a.width(), b.row(y)))
            return false;
    }
    return true;
}

class EditJobs : public testing::Test
{
protected:
    TemporaryFolder folder;
    InProcessReader reader;
    std::filesystem::path file = folder.write("map.png", pngFile(mapOf({240, 160})));
};

TEST_F(EditJobs, CropOfAFileTakesThePixelsInTheBox)
{
    const auto result =
        cropPicture(reader, loadFullImage(file), {QSizeF(240, 160), 0, {10, 20, 30, 40}}, SCREEN);
    ASSERT_EQ(result.picture.image.size(), QSize(30, 40));
    EXPECT_EQ(result.picture.image.row(0)[0], qRgb(10, 20, 128));
    EXPECT_EQ(result.picture.image.row(39)[29], qRgb(39, 59, 128));
    EXPECT_EQ(result.steps, std::vector<EditOp>{CropOp{QRect(10, 20, 30, 40)}});
}

TEST_F(EditJobs, BoxIsRoundedOutward)
{
    const auto result = cropPicture(reader, loadFullImage(file),
                                    {QSizeF(240, 160), 0, {10.9, 20.1, 29.2, 39}}, SCREEN);
    EXPECT_EQ(result.steps, std::vector<EditOp>{CropOp{QRect(10, 20, 31, 40)}});
}

TEST_F(EditJobs, NoiseInTheBoxCostsNoPixel)
{
    const auto result =
        cropPicture(reader, loadFullImage(file),
                    {QSizeF(240, 160), 0, {9.9999999, 20.0000001, 30.0000001, 40}}, SCREEN);
    EXPECT_EQ(result.steps, std::vector<EditOp>{CropOp{QRect(10, 20, 30, 40)}});
}

TEST_F(EditJobs, CropLeavesThePictureItWasCutFromAlone)
{
    const Image base = loadFullImage(file);
    const auto result = cropPicture(reader, base, {QSizeF(240, 160), 5, {10, 20, 30, 40}}, SCREEN);
    EXPECT_EQ(result.picture.image.size(), QSize(30, 40));
    EXPECT_TRUE(samePixels(base, loadFullImage(file)));
}

TEST_F(EditJobs, BoxOverALargerPictureThanTheFileHoldsIsScaled)
{
    // As for a raw file of 960x640 pixels with a preview of 240x160.
    const auto result =
        cropPicture(reader, loadFullImage(file), {QSizeF(960, 640), 0, {40, 80, 120, 160}}, SCREEN);
    EXPECT_EQ(result.steps, std::vector<EditOp>{CropOp{QRect(10, 20, 30, 40)}});
    EXPECT_EQ(result.picture.image.row(0)[0], qRgb(10, 20, 128));
}

TEST_F(EditJobs, RotationComesBeforeTheCrop)
{
    const auto result =
        cropPicture(reader, loadFullImage(file), {QSizeF(240, 160), 5, {10, 20, 30, 40}}, SCREEN);
    EXPECT_EQ(result.steps, (std::vector<EditOp>{RotateOp{5}, CropOp{QRect(10, 20, 30, 40)}}));
    const Image rotated = rotateInscribed(loadFullImage(file), 5);
    EXPECT_TRUE(samePixels(result.picture.image, rotated.cropped({10, 20, 30, 40})));
}

TEST_F(EditJobs, AngleOf3HundredthsIsNeitherAppliedNorRecorded)
{
    ASSERT_TRUE(isPreviewRotated(0.03));
    const auto result = cropPicture(reader, loadFullImage(file),
                                    {QSizeF(240, 160), 0.03, {10, 20, 30, 40}}, SCREEN);
    EXPECT_EQ(result.steps, std::vector<EditOp>{CropOp{QRect(10, 20, 30, 40)}});
    EXPECT_EQ(result.picture.image.row(0)[0], qRgb(10, 20, 128));
}

TEST_F(EditJobs, FileThatCannotBeDecodedGivesNothing)
{
    const auto broken = folder.write("broken.png", "no picture");
    EXPECT_TRUE(
        cropPicture(reader, loadFullImage(broken), {QSizeF(240, 160), 0, {10, 20, 30, 40}}, SCREEN)
            .picture.isNull());
    EXPECT_TRUE(replay(reader, loadFullImage(broken), {}, SCREEN).isNull());
    EXPECT_TRUE(replay(reader, loadFullImage(folder / "none.png"), {}, SCREEN).isNull());
}

TEST_F(EditJobs, JobThatNobodyWaitsForGivesNothing)
{
    std::stop_source stopped;
    stopped.request_stop();
    const CropRequest request{QSizeF(240, 160), 5, {10, 20, 30, 40}};
    EXPECT_TRUE(cropPicture(reader, loadFullImage(file), request, SCREEN, stopped.get_token())
                    .picture.isNull());
    EXPECT_TRUE(replay(reader, loadFullImage(file), {}, SCREEN, stopped.get_token()).isNull());
}

TEST_F(EditJobs, BoxOutsideThePictureGivesNothing)
{
    EXPECT_TRUE(
        cropPicture(reader, loadFullImage(file), {QSizeF(240, 160), 0, {300, 20, 30, 40}}, SCREEN)
            .picture.isNull());
}

TEST_F(EditJobs, DisplayIsWithinTheLimitAndFitted)
{
    const EditedPicture picture = replay(reader, loadFullImage(file), {}, SCREEN);
    EXPECT_EQ(picture.image.size(), QSize(240, 160));
    EXPECT_EQ(picture.display.image.size(), QSize(100, 66));
    EXPECT_EQ(picture.display.rendition.size(), QSize(60, 40));
}

TEST_F(EditJobs, DisplayIsInTheColoursOfTheScreenAndTheResultInThoseOfTheSource)
{
    QImage wide = mapOf({240, 160});
    wide.setColorSpace(QColorSpace::AdobeRgb);
    const auto wideFile = folder.write("wide.png", pngFile(wide));
    const auto result =
        cropPicture(reader, loadFullImage(wideFile), {QSizeF(240, 160), 0, {0, 0, 50, 50}}, SCREEN);
    EXPECT_FALSE(result.picture.image.iccProfile().isEmpty());
    EXPECT_EQ(result.picture.image.row(40)[40], qRgb(40, 40, 128));
    EXPECT_TRUE(samePixels(result.picture.display.image, toSrgb(result.picture.image)));
    EXPECT_FALSE(samePixels(result.picture.display.image, result.picture.image));
}

/// A reader that remembers what it was to convert, and fails in it.
class FailingReader : public InProcessReader
{
public:
    [[nodiscard]] Image converted(const Image &image, const QByteArray &,
                                  std::stop_token) const override
    {
        asked = image;
        return {};
    }

    mutable Image asked;
};

TEST_F(EditJobs, PictureThatCannotBeShownIsNone)
{
    const FailingReader failing;
    EXPECT_TRUE(
        cropPicture(failing, loadFullImage(file), {QSizeF(240, 160), 0, {10, 20, 30, 40}}, SCREEN)
            .picture.isNull());
    EXPECT_TRUE(replay(failing, loadFullImage(file), {}, SCREEN).isNull());
}

TEST_F(EditJobs, NoMoreThanTheScreenTakesIsConverted)
{
    const FailingReader failing;
    (void)replay(failing, loadFullImage(file), {}, SCREEN);
    EXPECT_EQ(failing.asked.size(), QSize(100, 66));
}

TEST_F(EditJobs, ReplayGivesThePixelsThatTheCropGave)
{
    const auto result =
        cropPicture(reader, loadFullImage(file), {QSizeF(240, 160), -7.5, {11, 7, 99, 64}}, SCREEN);
    const EditedPicture replayed = replay(reader, loadFullImage(file), result.steps, SCREEN);
    EXPECT_TRUE(samePixels(replayed.image, result.picture.image));
    EXPECT_TRUE(samePixels(replayed.display.image, result.picture.display.image));
}

TEST_F(EditJobs, EveryUndoOfARandomHistoryGivesWhatWasThereBefore)
{
    std::mt19937 random(7);
    const auto between = [&](double low, double high) {
        return std::uniform_real_distribution(low, high)(random);
    };
    for (int history = 0; history < 25; ++history) {
        std::vector<EditOp> steps;
        std::vector<Image> states{loadFullImage(file)};
        for (int i = 0; i < 4; ++i) {
            const Image &base = states.back();
            const double angle = i % 2 ? 0 : between(-20, 20);
            const QSizeF size =
                isRotationApplied(angle) ? inscribedSize(base.size(), angle) : QSizeF(base.size());
            const QRectF box(between(0, 0.3) * size.width(), between(0, 0.3) * size.height(),
                             between(0.4, 0.7) * size.width(), between(0.4, 0.7) * size.height());
            const auto result = cropPicture(reader, base, {base.size(), angle, box}, SCREEN);
            ASSERT_FALSE(result.picture.isNull());
            for (std::size_t s = 0; s < result.steps.size(); ++s) {
                steps.push_back(result.steps[s]);
                states.push_back(applyOp(states.back(), result.steps[s]));
            }
            ASSERT_TRUE(samePixels(states.back(), result.picture.image));
        }
        while (!steps.empty()) {
            steps.pop_back();
            states.pop_back();
            ASSERT_TRUE(samePixels(replay(reader, loadFullImage(file), steps, SCREEN).image,
                                   states.back()));
        }
    }
}

struct ShapeCase
{
    const char *name;
    QSizeF told;
    QSize shown;
    QSizeF expected;
};

void PrintTo(const ShapeCase &item, std::ostream *out)
{
    *out << item.name;
}

class SizeInShapeOf : public testing::TestWithParam<ShapeCase>
{};

TEST_P(SizeInShapeOf, IsTheToldSizeUnlessAnotherShapeIsSeen)
{
    EXPECT_EQ(sizeInShapeOf(GetParam().told, GetParam().shown), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, SizeInShapeOf,
    testing::Values(ShapeCase{"same", {6000, 4000}, {6000, 4000}, {6000, 4000}},
                    ShapeCase{"reduced", {6000, 4000}, {2560, 1706}, {6000, 4000}},
                    ShapeCase{"panorama", {20000, 100}, {2560, 12}, {20000, 100}},
                    ShapeCase{"panorama on end", {104, 20000}, {13, 2560}, {104, 20000}},
                    ShapeCase{"narrow by a truncated width", {700, 6000}, {298, 2560}, {700, 6000}},
                    ShapeCase{
                        "narrow preview in another shape", {100, 1000}, {100, 800}, {100, 800}},
                    ShapeCase{"preview in another shape", {6000, 4000}, {1600, 1200}, {6000, 4500}},
                    ShapeCase{"wider preview", {4000, 3000}, {1920, 1080}, {4000, 2250}}),
    [](const auto &test) {
        std::string name = test.param.name;
        std::replace(name.begin(), name.end(), ' ', '_');
        return name;
    });

TEST(PreviewScale, IsThatOfTheFittedPictureWithoutAnAngle)
{
    EXPECT_DOUBLE_EQ(previewScale({2000, 1000}, 0, {0, 0, 1000, 900}, 1), 0.5);
    EXPECT_DOUBLE_EQ(previewScale({2000, 1000}, 0, {0, 0, 1000, 900}, 2), 1.0);
}

TEST(PreviewScale, GrowsWithTheAngle)
{
    // A square of 1000 pixels keeps 707.1 at 45°, which then fill 500 points.
    EXPECT_NEAR(previewScale({1000, 1000}, 45, {0, 0, 500, 500}, 1), 0.7071, 1e-4);
}

struct TurnCase
{
    double angle;
    double step;
    double expected;
};

TEST(TurnedBy, StopsAt45DegreesOnBothSides)
{
    for (const TurnCase &each : {TurnCase{0, 0.5, 0.5}, TurnCase{44.5, 0.5, 45},
                                 TurnCase{45, 0.5, 45}, TurnCase{44, 2, 45}, TurnCase{-44, -2, -45},
                                 TurnCase{-44.5, -0.5, -45}, TurnCase{-45, 0.5, -44.5}})
        EXPECT_EQ(turnedBy(each.angle, each.step), each.expected) << each.angle << ' ' << each.step;
}

TEST(CropAngle, ThresholdsOfPreviewAndResultDiffer)
{
    EXPECT_FALSE(isPreviewRotated(0.009));
    EXPECT_TRUE(isPreviewRotated(-0.01));
    EXPECT_FALSE(isRotationApplied(0.05));
    EXPECT_TRUE(isRotationApplied(-0.051));
}

} // namespace
} // namespace tavolin
