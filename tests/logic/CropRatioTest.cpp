#include "editing/CropRatio.h"

#include "editing/CropAngle.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

using enum RatioPreset;

std::string flipped(const char *name)
{
    return flipRatioName(QString::fromUtf8(name)).toStdString();
}

TEST(FlipRatioName, SwapsTheSides)
{
    EXPECT_EQ(flipped("16:9"), "9:16");
    EXPECT_EQ(flipped("4:3"), "3:4");
}

TEST(FlipRatioName, DoubledColonBecomesOne)
{
    EXPECT_EQ(flipped("16::9"), "9:16");
}

TEST(FlipRatioName, OnePieceStays)
{
    EXPECT_EQ(flipped(":16"), ":16");
    EXPECT_EQ(flipped("16:"), "16:");
    EXPECT_EQ(flipped("Original"), "Original");
    EXPECT_EQ(flipped("Free"), "Free");
    EXPECT_EQ(flipped(""), "");
}

TEST(FlipRatioName, ThreePiecesStay)
{
    EXPECT_EQ(flipped("1:2:3"), "1:2:3");
}

TEST(FlipRatioName, PiecesKeepTheirSpaces)
{
    EXPECT_EQ(flipped("16 : 10"), " 10:16 ");
}

TEST(RatioName, FollowsTheOrderOfTheBar)
{
    std::vector<std::string> names;
    for (const RatioPreset preset : RATIO_PRESETS)
        names.push_back(ratioName(preset).toStdString());
    EXPECT_EQ(names, (std::vector<std::string>{"Free", "Original", "1:1", "4:3", "16:9"}));
}

TEST(RatioChoiceOf, FreeHasNoRatio)
{
    const auto choice = ratioChoice(Free, {});
    ASSERT_TRUE(choice);
    EXPECT_FALSE(choice->ratio);
    EXPECT_EQ(choice->name, u"Free"_s);
}

TEST(RatioChoiceOf, OriginalIsThePicturesRatio)
{
    const auto choice = ratioChoice(Original, QSize(6000, 4000));
    ASSERT_TRUE(choice);
    EXPECT_EQ(choice->ratio, 1.5);
    EXPECT_EQ(choice->name, u"Original"_s);
}

TEST(RatioChoiceOf, OriginalOfAnUnknownPictureIsNone)
{
    EXPECT_FALSE(ratioChoice(Original, {}));
    EXPECT_FALSE(ratioChoice(Original, QSize(6000, 0)));
}

TEST(RatioChoiceOf, FixedOnesNeedNoPicture)
{
    EXPECT_EQ(ratioChoice(Square, {})->ratio, 1.0);
    EXPECT_EQ(ratioChoice(FourByThree, {})->ratio, 4.0 / 3);
    EXPECT_EQ(ratioChoice(SixteenByNine, {})->ratio, 16.0 / 9);
    EXPECT_EQ(ratioChoice(Square, {})->name, u"1:1"_s);
    EXPECT_EQ(ratioChoice(FourByThree, {})->name, u"4:3"_s);
    EXPECT_EQ(ratioChoice(SixteenByNine, {})->name, u"16:9"_s);
}

TEST(IsSelected, RatioLightsItsButtonOnly)
{
    for (const RatioPreset chosen : RATIO_PRESETS) {
        for (const RatioPreset button : RATIO_PRESETS)
            EXPECT_EQ(isSelected(button, ratioName(chosen)), button == chosen);
        EXPECT_FALSE(isCustomRatio(ratioName(chosen)));
    }
}

TEST(IsSelected, TurnedRatioStillLightsItsButton)
{
    EXPECT_TRUE(isSelected(FourByThree, u"3:4"_s));
    EXPECT_FALSE(isCustomRatio(u"3:4"_s));
    EXPECT_TRUE(isSelected(SixteenByNine, u"9:16"_s));
    EXPECT_FALSE(isCustomRatio(u"9:16"_s));
}

TEST(IsSelected, OtherRatioIsCustom)
{
    for (const RatioPreset button : RATIO_PRESETS)
        EXPECT_FALSE(isSelected(button, u"3:2"_s));
    EXPECT_TRUE(isCustomRatio(u"3:2"_s));
    EXPECT_TRUE(isCustomRatio(u"2:3"_s));
    EXPECT_TRUE(isCustomRatio(u"16 : 10"_s));
}

struct EntryCase
{
    const char *name;
    const char *text;
    std::optional<double> expected;
};

void PrintTo(const EntryCase &item, std::ostream *out)
{
    *out << '"' << item.text << '"';
}

class ParseCustomRatio : public testing::TestWithParam<EntryCase>
{};

TEST_P(ParseCustomRatio, TakesTwoNumbersAboveZero)
{
    EXPECT_EQ(parseCustomRatio(QString::fromUtf8(GetParam().text)), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Entries, ParseCustomRatio,
    testing::Values(EntryCase{"plain", "16:10", 1.6}, EntryCase{"decimals", "2.5:1.25", 2.0},
                    EntryCase{"spaces", "16 : 10", 1.6}, EntryCase{"spacesAround", " 3:2 ", 1.5},
                    EntryCase{"doubledColon", "3::2", 1.5},
                    EntryCase{"letterBetweenIsDropped", "16:a:10", 1.6},
                    EntryCase{"blankBetweenIsDropped", "16: :10", 1.6},
                    EntryCase{"leadingColon", ":16:10", 1.6}, EntryCase{"exponent", "1e2:50", 2.0},
                    EntryCase{"zeroFirst", "0:5", {}}, EntryCase{"zeroSecond", "5:0", {}},
                    EntryCase{"negative", "-16:10", {}}, EntryCase{"bothNegative", "-16:-10", {}},
                    EntryCase{"lettersOnly", "abc", {}}, EntryCase{"letters", "a:b", {}},
                    EntryCase{"threeNumbers", "1:2:3", {}}, EntryCase{"oneNumber", "16", {}},
                    EntryCase{"empty", "", {}}, EntryCase{"colonOnly", ":", {}},
                    EntryCase{"unitAfterTheNumber", "16cm:10", {}},
                    EntryCase{"decimalComma", "1,5:1", {}}, EntryCase{"infinite", "inf:1", {}},
                    EntryCase{"notANumber", "nan:1", {}},
                    EntryCase{"tooGreatForANumber", "1e300:1e-300", {}},
                    EntryCase{"tooWideForAPicture", "1e308:1", {}},
                    EntryCase{"tooHighForAPicture", "5e-324:1", {}},
                    EntryCase{"tooSmallForANumber", "1e-300:1e300", {}}),
    [](const auto &item) { return item.param.name; });

struct AngleCase
{
    const char *name;
    double degrees;
    const char *expected;
    bool isTurned;
};

void PrintTo(const AngleCase &item, std::ostream *out)
{
    *out << item.degrees;
}

class AngleText : public testing::TestWithParam<AngleCase>
{};

TEST_P(AngleText, HasASignWhenTurned)
{
    EXPECT_EQ(angleText(GetParam().degrees).toStdString(), GetParam().expected);
    EXPECT_EQ(isTurned(GetParam().degrees), GetParam().isTurned);
}

INSTANTIATE_TEST_SUITE_P(Angles, AngleText,
                         testing::Values(AngleCase{"level", 0, "0.0°", false},
                                         AngleCase{"exactlyLevel", 0.01, "0.0°", false},
                                         AngleCase{"tinyNegative", -0.005, "-0.0°", false},
                                         AngleCase{"hardlyTurned", 0.02, "+0.0°", true},
                                         AngleCase{"hardlyTurnedBack", -0.02, "-0.0°", true},
                                         AngleCase{"step", 0.5, "+0.5°", true},
                                         AngleCase{"stepBack", -0.5, "-0.5°", true},
                                         AngleCase{"most", 45, "+45.0°", true},
                                         AngleCase{"least", -45, "-45.0°", true}),
                         [](const auto &item) { return item.param.name; });

} // namespace
} // namespace tavolin
