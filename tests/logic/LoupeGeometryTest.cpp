#include "screen/LoupeGeometry.h"

#include "logic/Printing.h"

#include <gtest/gtest.h>

#include <ostream>

namespace tavolin {
namespace {

TEST(LoupeFrame, CentreOfAPhotoStaysUnderThePointer)
{
    EXPECT_EQ(loupeFrame({0, 0, 1200, 800}, {6000, 4000}, {600, 400}),
              QRectF(-2400, -1600, 6000, 4000));
}

TEST(LoupeFrame, LeftEdgeStaysUnderThePointer)
{
    EXPECT_EQ(loupeFrame({100, 50, 600, 400}, {6000, 4000}, {100, 250}),
              QRectF(100, -1750, 6000, 4000));
}

TEST(LoupeFrame, LowerRightCornerStaysUnderThePointer)
{
    EXPECT_EQ(loupeFrame({100, 50, 600, 400}, {6000, 4000}, {700, 450}),
              QRectF(-5300, -3550, 6000, 4000));
}

TEST(LoupeFrame, SmallPictureShrinksTowardsThePointer)
{
    EXPECT_EQ(loupeFrame({0, 0, 1200, 800}, {300, 200}, {400, 200}), QRectF(300, 150, 300, 200));
}

TEST(LoupeFrame, PictureOfTheFittedSizeStays)
{
    EXPECT_EQ(loupeFrame({100, 50, 600, 400}, {600, 400}, {123.25, 77.5}),
              QRectF(100, 50, 600, 400));
}

} // namespace
} // namespace tavolin
