#include "pixels/Geometry.h"

#include "logic/Printing.h"

#include <gtest/gtest.h>

#include <ostream>

namespace tavolin {
namespace {

TEST(Clamped, KeepsWhatIsInTheRangeAndStopsAtItsEnds)
{
    EXPECT_EQ(clamped(3, 1, 5), 3);
    EXPECT_EQ(clamped(0, 1, 5), 1);
    EXPECT_EQ(clamped(9.5, 1.0, 5.0), 5.0);
}

TEST(Clamped, LowerLimitWinsWhereTheLimitsCross)
{
    EXPECT_EQ(clamped(3, 5, 1), 5);
    EXPECT_EQ(clamped(9, 5, 1), 5);
    EXPECT_EQ(clamped(0, 5, 1), 5);
}

TEST(ClampedInto, IsTheNearestPointFarEdgesIncluded)
{
    const QRectF rect(10, 20, 30, 40);
    EXPECT_EQ(clampedInto(rect, {15, 25}), QPointF(15, 25));
    EXPECT_EQ(clampedInto(rect, {0, 100}), QPointF(10, 60));
    EXPECT_EQ(clampedInto(rect, {40, 60}), QPointF(40, 60));
}

TEST(Intersection, OfRectanglesApartHasSidesBelowNothing)
{
    EXPECT_EQ(intersection({0, 0, 10, 10}, {5, 6, 10, 10}), QRectF(5, 6, 5, 4));
    const QRectF none = intersection({0, 0, 10, 10}, {15, 0, 10, 10});
    EXPECT_EQ(none.width(), -5);
    EXPECT_EQ(none.height(), 10);
}

TEST(CentredOn, HasItsCentreThere)
{
    EXPECT_EQ(centredOn({10, 20}, 6, 4), QRectF(7, 18, 6, 4));
}

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

struct FitCase
{
    const char *name;
    QRectF area;
    QSizeF image;
    QRectF expected;
};

void PrintTo(const FitCase &item, std::ostream *out)
{
    *out << item.name;
}

class FitRect : public testing::TestWithParam<FitCase>
{};

TEST_P(FitRect, IsExact)
{
    EXPECT_EQ(fitRect(GetParam().area, GetParam().image), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Fits, FitRect,
    testing::Values(
        FitCase{"smallPictureIsEnlarged", {0, 0, 1200, 800}, {300, 200}, {0, 0, 1200, 800}},
        FitCase{"largePictureIsReduced", {0, 0, 300, 200}, {6000, 4000}, {0, 0, 300, 200}},
        FitCase{"sameSizeStays", {0, 0, 300, 200}, {300, 200}, {0, 0, 300, 200}},
        FitCase{"portraitIsCentred", {0, 0, 1200, 800}, {200, 400}, {400, 0, 400, 800}},
        FitCase{"panoramaIsCentred", {0, 0, 1200, 800}, {600, 100}, {0, 300, 1200, 200}},
        FitCase{"areaNotAtTheOrigin", {100, 50, 400, 400}, {100, 200}, {200, 50, 200, 400}},
        FitCase{"zeroWidthGivesTheArea", {5, 6, 1200, 800}, {0, 200}, {5, 6, 1200, 800}},
        FitCase{"zeroHeightGivesTheArea", {5, 6, 1200, 800}, {300, 0}, {5, 6, 1200, 800}},
        FitCase{"negativeSizeGivesTheArea", {5, 6, 1200, 800}, {-3, -2}, {5, 6, 1200, 800}},
        FitCase{"noPictureGivesTheArea", {5, 6, 1200, 800}, {}, {5, 6, 1200, 800}},
        FitCase{"areaWithoutWidthStays", {5, 6, 0, 800}, {300, 200}, {5, 6, 0, 800}}),
    [](const auto &test) { return test.param.name; });

struct PixelCase
{
    const char *name;
    QRectF points;
    double scale;
    QRect expected;
};

void PrintTo(const PixelCase &item, std::ostream *out)
{
    *out << item.name;
}

class ToDevicePixels : public testing::TestWithParam<PixelCase>
{};

TEST_P(ToDevicePixels, RoundsToTheNearest)
{
    EXPECT_EQ(toDevicePixels(GetParam().points, GetParam().scale), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rounding, ToDevicePixels,
    testing::Values(
        PixelCase{"wholePointsAtOne", {10, 20, 300, 200}, 1.0, {10, 20, 300, 200}},
        PixelCase{"belowHalfGoesDown", {10.4, 20.4, 300.4, 200.4}, 1.0, {10, 20, 300, 200}},
        PixelCase{"halfGoesUp", {10.5, 20.5, 300.5, 200.5}, 1.0, {11, 21, 301, 201}},
        PixelCase{"aboveHalfGoesUp", {10.6, 20.6, 300.6, 200.6}, 1.0, {11, 21, 301, 201}},
        PixelCase{"scaledBeforeItIsRounded", {0.3, 0.3, 10.3, 10.3}, 1.5, {0, 0, 15, 15}},
        PixelCase{"oddPointsAtOneAndAHalf", {1, 3, 101, 67}, 1.5, {2, 5, 152, 101}},
        PixelCase{"quarterPointAtTwo", {0.25, 0.2, 10.25, 10.2}, 2.0, {1, 0, 21, 20}},
        PixelCase{"doubled", {10, 20, 300, 200}, 2.0, {20, 40, 600, 400}},
        PixelCase{"neverWithoutWidth", {0, 0, 0.2, 0}, 1.0, {0, 0, 1, 1}}),
    [](const auto &test) { return test.param.name; });

} // namespace
} // namespace tavolin
