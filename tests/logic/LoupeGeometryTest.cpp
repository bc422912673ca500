#include "interact/LoupeGeometry.h"

#include "logic/Printing.h"

#include <gtest/gtest.h>

#include <ostream>

namespace tavolin {
namespace {

struct PointCase
{
    const char *name;
    QPointF point;
    bool expected;
};

void PrintTo(const PointCase &item, std::ostream *out)
{
    *out << item.name;
}

class IsInside : public testing::TestWithParam<PointCase>
{};

TEST_P(IsInside, TakesTheLeftAndUpperEdgesOnly)
{
    EXPECT_EQ(isInside(GetParam().point, {100, 50, 600, 400}), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Points, IsInside,
                         testing::Values(PointCase{"middle", {400, 250}, true},
                                         PointCase{"leftEdge", {100, 250}, true},
                                         PointCase{"leftOfIt", {99.99, 250}, false},
                                         PointCase{"upperEdge", {400, 50}, true},
                                         PointCase{"aboveIt", {400, 49.99}, false},
                                         PointCase{"rightEdge", {700, 250}, false},
                                         PointCase{"beforeRightEdge", {699.99, 250}, true},
                                         PointCase{"lowerEdge", {400, 450}, false},
                                         PointCase{"beforeLowerEdge", {400, 449.99}, true},
                                         PointCase{"topLeftCorner", {100, 50}, true},
                                         PointCase{"bottomRightCorner", {700, 450}, false}),
                         [](const auto &item) { return item.param.name; });

TEST(IsInsideRect, NothingIsInsideAnEmptyRectangle)
{
    EXPECT_FALSE(isInside({100, 50}, {100, 50, 0, 0}));
}

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
