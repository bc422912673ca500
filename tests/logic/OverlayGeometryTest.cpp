#include "screen/OverlayGeometry.h"

#include "logic/Printing.h"

#include <gtest/gtest.h>

namespace tavolin {
namespace {

TEST(LabelRects, LieAtTheTopAndNearTheLowerEdge)
{
    const LabelRects rects = labelRects({1000, 700}, {});
    EXPECT_EQ(rects.info, QRect(20, 16, 960, 22));
    EXPECT_EQ(rects.detail, QRect(20, 42, 960, 18));
    EXPECT_EQ(rects.status, QRect(0, 620, 1000, 30));
}

TEST(LabelRects, StatusLineStandsAboveTheCropBar)
{
    EXPECT_EQ(labelRects({1000, 700}, 630).status, QRect(0, 596, 1000, 30));
}

TEST(SearchFieldRect, IsInTheMiddleNearTheUpperEdge)
{
    EXPECT_EQ(searchFieldRect({1000, 700}), QRect(330, 64, 340, 26));
}

TEST(HelpRect, IsInTheMiddle)
{
    EXPECT_EQ(helpRect({1000, 700}, {400, 300}), QRect(300, 200, 400, 300));
}

TEST(HelpRect, LargerThanTheViewSticksOutEvenly)
{
    EXPECT_EQ(helpRect({300, 200}, {400, 300}), QRect(-50, -50, 400, 300));
}

TEST(CropBarRect, IsInTheMiddleNearTheLowerEdge)
{
    EXPECT_EQ(cropBarRect({1000, 700}, {800, 60}, 500), QRect(100, 626, 800, 60));
}

TEST(CropBarRect, IsAsWideAsANarrowView)
{
    EXPECT_EQ(cropBarRect({600, 700}, {800, 60}, 500), QRect(0, 626, 600, 60));
}

TEST(CropBarRect, NarrowerThanItCanBeItSticksOutEvenly)
{
    EXPECT_EQ(cropBarRect({400, 700}, {800, 60}, 500), QRect(-50, 626, 500, 60));
}

} // namespace
} // namespace tavolin
