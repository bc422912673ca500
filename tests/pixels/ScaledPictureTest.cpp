#include "pixels/ScaledPicture.h"

#include "decoding/TestPictures.h"
#include "pixels/Resample.h"

#include <gtest/gtest.h>

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
