#include "pixels/ScaledPicture.h"

#include "decoding/TestPictures.h"
#include "pixels/Resample.h"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <stop_token>

namespace tavolin {

namespace {

using namespace test;

struct SizesCase
{
    const char *name;
    QSize stored;
    DisplayTarget target;
    PictureSizes expected;
};

void PrintTo(const SizesCase &item, std::ostream *out)
{
    *out << item.name;
}

class SizesOfRule : public testing::TestWithParam<SizesCase>
{};

TEST_P(SizesOfRule, AreThoseOfTheScreen)
{
    const PictureSizes sizes = SizeRule(GetParam().target).sizesOf(GetParam().stored);
    EXPECT_EQ(sizes.image, GetParam().expected.image);
    EXPECT_EQ(sizes.rendition.isEmpty(), GetParam().expected.rendition.isEmpty());
    if (!sizes.rendition.isEmpty()) {
        EXPECT_EQ(sizes.rendition, GetParam().expected.rendition);
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, SizesOfRule,
    testing::Values(
        SizesCase{"limitAlone", {6000, 4000}, {2560}, {{2560, 1707}}},
        SizesCase{"threeToTwoOnSixteenToNine",
                  {6000, 4000},
                  {1920, {0, 0, 1920, 1080}},
                  {{1920, 1280}, {1620, 1080}}},
        SizesCase{
            "portrait", {4000, 6000}, {1920, {0, 0, 1920, 1080}}, {{1280, 1920}, {720, 1080}}},
        SizesCase{"sharpScreen",
                  {6000, 4000},
                  {2560, {0, 0, 1280, 720}, 2.0},
                  {{2560, 1707}, {2160, 1440}}},
        SizesCase{"renditionIsTheImage", {6000, 3375}, {1920, {0, 0, 1920, 1080}}, {{1920, 1080}}},
        SizesCase{"renditionIsLarger", {6000, 4000}, {2560, {0, 0, 3840, 2160}}, {{2560, 1707}}},
        SizesCase{"imageIsNotReduced", {1600, 1200}, {1920, {0, 0, 1000, 800}}, {{1600, 1200}}},
        SizesCase{"noLimit", {6000, 4000}, {0, {0, 0, 1920, 1080}}, {{}}}),
    [](const auto &test) { return test.param.name; });

TEST(SizeRule, BeforeAQuarterTurnFitsThePictureAsItWillBe)
{
    const SizeRule rule(DisplayTarget{.maxPixel = 1920, .area = {0, 0, 1920, 1080}});
    for (const Orientation orientation : {Orientation::Turn90, Orientation::Transverse}) {
        const PictureSizes sizes = rule.beforeTurning(orientation).sizesOf({6000, 4000});
        EXPECT_EQ(sizes.image, QSize(1920, 1280));
        EXPECT_EQ(sizes.rendition, QSize(1080, 720));
    }
    for (const Orientation orientation : {Orientation::Upright, Orientation::Turn180})
        EXPECT_EQ(rule.beforeTurning(orientation).sizesOf({6000, 4000}).rendition,
                  QSize(1620, 1080));
}

TEST(SizeRule, OfExactlySomePixelsHasNoLimit)
{
    const DisplayTarget target{
        .maxPixel = 2560, .area = {0, 0, 3840, 2160}, .exactly = {3239, 2160}};
    const PictureSizes sizes = SizeRule(target).sizesOf({6000, 4000});
    EXPECT_EQ(sizes.image, QSize(3239, 2160));
    EXPECT_TRUE(sizes.rendition.isEmpty());
    EXPECT_EQ(SizeRule(target).beforeTurning(Orientation::Turn90).sizesOf({4000, 6000}).image,
              QSize(2160, 3239));
}

struct SharpCase
{
    const char *name;
    QSize image;
    std::optional<QSize> file;
    QRectF area;
    QSize expected; // empty: none
};

void PrintTo(const SharpCase &item, std::ostream *out)
{
    *out << item.name;
}

class SharpTarget : public testing::TestWithParam<SharpCase>
{};

TEST_P(SharpTarget, IsForTheScreensPixelsWhereTheFileHasMore)
{
    const DisplayPicture picture{.image = flatImage(GetParam().image, GREY),
                                 .pixelSize = GetParam().file};
    const auto target = sharpTarget(picture, {.maxPixel = 2560, .area = GetParam().area});
    EXPECT_EQ(target.value_or(DisplayTarget()).exactly.isEmpty(), GetParam().expected.isEmpty());
    if (target) {
        EXPECT_EQ(target->exactly, GetParam().expected);
        EXPECT_EQ(target->maxPixel, 2560);
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, SharpTarget,
    testing::Values(
        SharpCase{"stretched", {256, 171}, QSize(600, 400), {0, 0, 384, 216}, {323, 216}},
        SharpCase{"portrait", {171, 256}, QSize(400, 600), {0, 0, 400, 384}, {257, 384}},
        SharpCase{"screenIsSmaller", {256, 171}, QSize(600, 400), {0, 0, 192, 108}, {}},
        SharpCase{"screenIsAsLarge", {256, 171}, QSize(600, 400), {0, 0, 256, 171}, {}},
        SharpCase{"fileHasNoMore", {256, 171}, QSize(256, 171), {0, 0, 384, 216}, {}},
        SharpCase{"sizeOfTheFileIsUnknown", {256, 171}, {}, {0, 0, 384, 216}, {}},
        SharpCase{"aboveTheLimit", {256, 171}, QSize(60000, 40000), {0, 0, 9000, 6000}, {}}),
    [](const auto &test) { return test.param.name; });

TEST(SharpTarget, IsNoneOnceThereIsASharpRenditionOfThatSize)
{
    DisplayPicture picture{.image = flatImage({256, 171}, GREY),
                           .rendition = flatImage({323, 216}, GREY),
                           .pixelSize = QSize(600, 400)};
    const DisplayTarget target{.maxPixel = 256, .area = {0, 0, 384, 216}};
    EXPECT_TRUE(sharpTarget(picture, target));
    picture.isSharp = true;
    EXPECT_FALSE(sharpTarget(picture, target));
    EXPECT_TRUE(sharpTarget(picture, {.maxPixel = 256, .area = {0, 0, 400, 300}}));
    EXPECT_FALSE(sharpTarget({}, target));
}

TEST(PictureSizes, LongestSideIsThatOfEither)
{
    EXPECT_EQ((PictureSizes{{30, 20}}.longestSide()), 30);
    EXPECT_EQ((PictureSizes{{20, 30}, {15, 22}}.longestSide()), 30);
    EXPECT_EQ((PictureSizes{{30, 20}, {45, 30}}.longestSide()), 45);
}

TEST(ScaledPicture, IsTurnedAsAWhole)
{
    const ScaledPicture picture{noiseImage({30, 20}), noiseImage({15, 10}, 2)};
    const ScaledPicture turned = turnedUpright(picture, Orientation::Turn90);
    EXPECT_TRUE(looksLike(turned.image, turnedUpright(picture.image, Orientation::Turn90)));
    EXPECT_TRUE(looksLike(turned.rendition, turnedUpright(picture.rendition, Orientation::Turn90)));
    EXPECT_TRUE(
        turnedUpright(ScaledPicture{picture.image}, Orientation::Turn90).rendition.isNull());
    EXPECT_TRUE(turnedUpright(ScaledPicture(), Orientation::Turn90).isNull());
}

TEST(MakeDisplayPicture, TakesTheRenditionThatIsThereAndMakesItOpaque)
{
    const DisplayTarget target{.maxPixel = 30, .area = {0, 0, 15, 10}};
    const ScaledPicture opaque{noiseImage({30, 20}), noiseImage({15, 10}, 2)};
    EXPECT_TRUE(makeDisplayPicture(opaque, target).rendition.isSameAs(opaque.rendition));
    const ScaledPicture clear{noiseWithAlpha({30, 20}), noiseWithAlpha({15, 10}, 2)};
    const Image onBlack = makeDisplayPicture(clear, target).rendition;
    EXPECT_EQ(onBlack.alpha(), Alpha::Opaque);
    EXPECT_EQ(onBlack.row(5)[7], clear.rendition.row(5)[7] | 0xff000000);
}

TEST(MakeDisplayPicture, MakesTheRenditionThatIsMissing)
{
    const ScaledPicture picture{noiseImage({30, 20})};
    const DisplayPicture made =
        makeDisplayPicture(picture, {.maxPixel = 30, .area = {0, 0, 15, 10}});
    EXPECT_TRUE(looksLike(made.rendition, resampled(picture.image, {15, 10})));
}

TEST(MakeDisplayPicture, OfAPictureAboveTheLimitMakesTheRenditionInOneStep)
{
    const Image image = noiseImage({300, 200});
    const DisplayPicture made =
        makeDisplayPicture(image, {.maxPixel = 150, .area = {0, 0, 60, 60}});
    EXPECT_TRUE(looksLike(made.image, resampled(image, {150, 100})));
    EXPECT_TRUE(looksLike(made.rendition, resampled(image, {60, 40})));
}

TEST(MakeDisplayPicture, OfBothIsNullOnceStopped)
{
    std::stop_source stop;
    stop.request_stop();
    const ScaledPicture picture{noiseImage({30, 20}), noiseImage({15, 10})};
    EXPECT_TRUE(
        makeDisplayPicture(picture, {.maxPixel = 30, .area = {0, 0, 15, 10}}, stop.get_token())
            .isNull());
}

} // namespace

} // namespace tavolin
