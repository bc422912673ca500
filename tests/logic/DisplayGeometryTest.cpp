#include "screen/DisplayGeometry.h"

#include "logic/Printing.h"

#include <gtest/gtest.h>

#include <ostream>

namespace tavolin {
namespace {

TEST(ImageAreaRect, IsTheWholeViewWhileBrowsing)
{
    EXPECT_EQ(imageAreaRect({1920, 1080}, ViewMode::Browsing), QRectF(0, 0, 1920, 1080));
}

TEST(ImageAreaRect, CropModeKeepsAtLeast76PointsAboveAndBelow)
{
    EXPECT_EQ(imageAreaRect({1000, 1000}, ViewMode::Cropping), QRectF(50, 76, 900, 848));
}

TEST(ImageAreaRect, CropModeKeepsSixPercentOfALargeHeight)
{
    EXPECT_EQ(imageAreaRect({1000, 2000}, ViewMode::Cropping), QRectF(50, 120, 900, 1760));
}

TEST(ImageAreaRect, CropModeInALowViewLeavesNoHeight)
{
    EXPECT_LE(imageAreaRect({1000, 100}, ViewMode::Cropping).height(), 0);
}

struct LimitCase
{
    const char *name;
    QSize frame;
    std::optional<double> scale;
    int expected;
};

void PrintTo(const LimitCase &item, std::ostream *out)
{
    *out << item.name;
}

class DisplayLimit : public testing::TestWithParam<LimitCase>
{};

TEST_P(DisplayLimit, IsTheLongSideInDevicePixels)
{
    EXPECT_EQ(displayLimit(GetParam().frame, GetParam().scale), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Screens, DisplayLimit,
                         testing::Values(LimitCase{"sharpScreenIsCapped", {1440, 900}, 2.0, 2560},
                                         LimitCase{"smallWindow", {800, 600}, 1.0, 800},
                                         LimitCase{"portraitCountsItsHeight", {600, 900}, 1.0, 900},
                                         LimitCase{"fractionIsCutOff", {801, 600}, 1.25, 1001},
                                         LimitCase{"justBelowTheCap", {2559, 100}, 1.0, 2559},
                                         LimitCase{"atTheCap", {1280, 800}, 2.0, 2560},
                                         LimitCase{"noScreen", {800, 600}, std::nullopt, 1600},
                                         LimitCase{"noWindow", {0, 0}, 2.0, 0}),
                         [](const auto &test) { return test.param.name; });

} // namespace
} // namespace tavolin
