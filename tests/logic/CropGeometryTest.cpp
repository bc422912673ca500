#include "editing/CropGeometry.h"

#include "logic/Printing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>
#include <random>
#include <string>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

using enum DragAction;
using Ratio = std::optional<double>;

/// A picture of 1000 x 500 points that doesn't begin at the view's corner.
const QRectF IMAGE(100, 50, 1000, 500);

/// Rectangles whose numbers come out of several operations.
void expectNear(const QRectF &actual, const QRectF &expected)
{
    constexpr double TOLERANCE = 1e-9;
    EXPECT_NEAR(actual.x(), expected.x(), TOLERANCE);
    EXPECT_NEAR(actual.y(), expected.y(), TOLERANCE);
    EXPECT_NEAR(actual.width(), expected.width(), TOLERANCE);
    EXPECT_NEAR(actual.height(), expected.height(), TOLERANCE);
}

// The default box

TEST(DefaultBox, TakesFourFifthsOfThePictureInItsMiddle)
{
    expectNear(defaultBox(IMAGE, {}), {200, 100, 800, 400});
}

TEST(DefaultBox, SquareIsAsHighAsFourFifthsOfAWidePicture)
{
    expectNear(defaultBox({0, 0, 1000, 500}, 1.0), {300, 50, 400, 400});
}

TEST(DefaultBox, FlatRatioIsAsWideAsFourFifthsOfThePicture)
{
    expectNear(defaultBox(IMAGE, 4.0), {200, 200, 800, 200});
}

TEST(DefaultBox, PicturesOwnRatioFillsTheFourFifths)
{
    expectNear(defaultBox(IMAGE, 2.0), {200, 100, 800, 400});
}

TEST(DefaultBox, NarrowPictureIsTakenWhole)
{
    EXPECT_EQ(defaultBox({10, 20, 39, 500}, {}), QRectF(10, 20, 39, 500));
}

TEST(DefaultBox, LowPictureIsTakenWhole)
{
    EXPECT_EQ(defaultBox({10, 20, 500, 39}, {}), QRectF(10, 20, 500, 39));
}

TEST(DefaultBox, NarrowPictureIsTakenWholeWhateverTheRatio)
{
    EXPECT_EQ(defaultBox({10, 20, 39, 500}, 1.0), QRectF(10, 20, 39, 500));
}

TEST(DefaultBox, PictureOfFortyPointsIsNotNarrow)
{
    expectNear(defaultBox({0, 0, 40, 500}, {}), {4, 50, 32, 400});
}

TEST(DefaultBox, PictureWithoutSizeIsTakenWhole)
{
    EXPECT_EQ(defaultBox({30, 40, 0, 0}, 1.5), QRectF(30, 40, 0, 0));
}

// Refitting to another rectangle of the picture

TEST(RefitBox, BoxInsideStays)
{
    EXPECT_EQ(refitBox({200, 100, 300, 200}, {}, IMAGE), QRectF(200, 100, 300, 200));
}

TEST(RefitBox, FreeBoxIsCutOffAtThePicture)
{
    EXPECT_EQ(refitBox({50, 500, 300, 200}, {}, IMAGE), QRectF(100, 500, 250, 50));
}

TEST(RefitBox, FreeBoxThatWouldBeUnderTwentyPointsIsPlacedAnew)
{
    expectNear(refitBox({1081, 100, 300, 200}, {}, IMAGE), {200, 100, 800, 400});
    expectNear(refitBox({200, 531, 300, 200}, {}, IMAGE), {200, 100, 800, 400});
}

TEST(RefitBox, FreeBoxOfTwentyPointsIsKept)
{
    EXPECT_EQ(refitBox({1080, 530, 300, 200}, {}, IMAGE), QRectF(1080, 530, 20, 20));
}

TEST(RefitBox, FreeBoxFarOutsideIsPlacedAnew)
{
    expectNear(refitBox({5000, 5000, 300, 200}, {}, IMAGE), {200, 100, 800, 400});
}

TEST(RefitBox, BoxWithoutWidthIsPlacedAnew)
{
    expectNear(refitBox({300, 300, 0, 200}, {}, IMAGE), {200, 100, 800, 400});
    expectNear(refitBox({300, 300, 0, 200}, 1.0, IMAGE), {400, 100, 400, 400});
}

TEST(RefitBox, BoxWithRatioInsideStays)
{
    expectNear(refitBox({200, 100, 300, 200}, 1.5, IMAGE), {200, 100, 300, 200});
}

TEST(RefitBox, HeightComesFromTheWidthAndTheRatio)
{
    // The centre is (350, 200).
    expectNear(refitBox({200, 100, 300, 200}, 3.0, IMAGE), {200, 150, 300, 100});
}

TEST(RefitBox, BoxWithRatioShrinksAboutItsCentre)
{
    // Centre (200, 300): 100 points are left of it, so 200 wide.
    expectNear(refitBox({50, 200, 300, 200}, 1.5, IMAGE), {100, 300 - 200 / 3.0, 200, 400 / 3.0});
}

TEST(RefitBox, CentreOutsideMovesTwentyPointsIn)
{
    // The centre (0, 0) goes to (120, 70), where 40 x 40 fit.
    expectNear(refitBox({-100, -100, 200, 200}, 1.0, IMAGE), {100, 50, 40, 40});
}

TEST(RefitBox, BoxWithRatioThatWouldBeUnderTwentyPointsIsPlacedAnew)
{
    // At the corner 40 points fit, of which a ratio of 4 leaves 10 high.
    expectNear(refitBox({-100, -100, 200, 50}, 4.0, IMAGE), {200, 200, 800, 200});
}

TEST(RefitBox, BoxWithRatioIsPlacedAnewInAPictureTooSmallForIt)
{
    EXPECT_EQ(refitBox({0, 0, 100, 100}, 1.0, {0, 0, 15, 15}), QRectF(0, 0, 15, 15));
}

// Setting a ratio

TEST(BoxWithRatio, KeepsCentreAndArea)
{
    expectNear(boxWithRatio({400, 200, 200, 200}, 4.0, IMAGE), {300, 250, 400, 100});
}

TEST(BoxWithRatio, ShrinksWhereThePictureEnds)
{
    // 400 x 100 about (200, 300), where 200 points fit across.
    expectNear(boxWithRatio({100, 200, 200, 200}, 4.0, IMAGE), {100, 275, 200, 50});
}

TEST(BoxWithRatio, EachSideIsTwentyPointsAtLeast)
{
    // 40 x 10 becomes 40 x 20: off the ratio.
    expectNear(boxWithRatio({400, 200, 20, 20}, 4.0, IMAGE), {390, 200, 40, 20});
}

TEST(BoxWithRatio, BoxOfNothingBecomesTwentyPointsWide)
{
    expectNear(boxWithRatio({400, 200, 0, 0}, 1.0, IMAGE), {390, 190, 20, 20});
}

TEST(BoxWithRatio, BoxOfNothingAtTheEdgeSticksOut)
{
    expectNear(boxWithRatio({100, 200, 0, 0}, 1.0, IMAGE), {90, 190, 20, 20});
}

TEST(BoxWithRatio, SideUnderAPointIsNotDividedBy)
{
    // 40 x 0.4 about (502, 50.3), where 0.6 points fit down: the scale is 0.6, not 1.
    expectNear(boxWithRatio({500, 48.3, 4, 4}, 100.0, IMAGE), {490, 40.3, 24, 20});
}

// Portrait and landscape

TEST(FlipOrientation, TurnsAFreeBoxAboutItsCentre)
{
    const auto flipped = flipOrientation({.box = {400, 200, 300, 100}}, IMAGE);
    ASSERT_TRUE(flipped);
    expectNear(flipped->box, {500, 100, 100, 300});
    EXPECT_EQ(flipped->ratio, Ratio());
    EXPECT_EQ(flipped->ratioName, u"Free"_s);
}

TEST(FlipOrientation, DoesNothingToASquareRatio)
{
    for (const double ratio : {0.9995, 1.0, 1.0005})
        EXPECT_FALSE(flipOrientation({{400, 200, 100, 100}, ratio, u"1:1"_s}, IMAGE)) << ratio;
}

TEST(FlipOrientation, TurnsARatioThatIsHardlySquare)
{
    EXPECT_TRUE(flipOrientation({{400, 200, 100, 100}, 1.002, u"a"_s}, IMAGE));
}

TEST(FlipOrientation, InvertsTheRatioAndSwapsItsName)
{
    const auto flipped = flipOrientation({{400, 200, 160, 90}, 16.0 / 9, u"16:9"_s}, IMAGE);
    ASSERT_TRUE(flipped);
    EXPECT_DOUBLE_EQ(flipped->ratio.value(), 9.0 / 16);
    EXPECT_EQ(flipped->ratioName, u"9:16"_s);
    expectNear(flipped->box, {435, 165, 90, 160});
}

TEST(FlipOrientation, KeepsTheNameOfTheOriginalsRatio)
{
    const auto flipped = flipOrientation({{400, 200, 150, 100}, 1.5, u"Original"_s}, IMAGE);
    ASSERT_TRUE(flipped);
    EXPECT_DOUBLE_EQ(flipped->ratio.value(), 1 / 1.5);
    EXPECT_EQ(flipped->ratioName, u"Original"_s);
}

TEST(FlipOrientation, ShrinksWhereThePictureEnds)
{
    // 800 x 400 would be 400 x 800; 500 points are there.
    const auto flipped = flipOrientation({{200, 100, 800, 400}, 2.0, u"2:1"_s}, IMAGE);
    ASSERT_TRUE(flipped);
    expectNear(flipped->box, {475, 50, 250, 500});
}

TEST(FlipOrientation, HeightComesFromTheRatioAndNotFromTheWidth)
{
    // A box that misses its ratio of 2: the turned height is 2 x 20.
    const auto flipped = flipOrientation({{400, 200, 30, 20}, 2.0, u"2:1"_s}, IMAGE);
    ASSERT_TRUE(flipped);
    expectNear(flipped->box, {405, 190, 20, 40});
}

TEST(FlipOrientation, EachSideIsTwentyPointsAtLeast)
{
    const auto flipped = flipOrientation({.box = {400, 200, 30, 5}}, IMAGE);
    ASSERT_TRUE(flipped);
    expectNear(flipped->box, {405, 187.5, 20, 30});
}

// What a press does

struct HitCase
{
    const char *name;
    QPointF position;
    DragAction expected;
    QRectF box = {200, 100, 300, 200};
};

void PrintTo(const HitCase &item, std::ostream *out)
{
    *out << item.name;
}

class DragActionAt : public testing::TestWithParam<HitCase>
{};

TEST_P(DragActionAt, IsTheZoneOfThePosition)
{
    EXPECT_EQ(dragActionAt(GetParam().position, GetParam().box), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Zones, DragActionAt,
    testing::Values(
        HitCase{"topLeft", {200, 100}, NorthWest}, HitCase{"topRight", {500, 100}, NorthEast},
        HitCase{"bottomLeft", {200, 300}, SouthWest}, HitCase{"bottomRight", {500, 300}, SouthEast},
        HitCase{"topMiddle", {350, 100}, North}, HitCase{"bottomMiddle", {350, 300}, South},
        HitCase{"leftMiddle", {200, 200}, West}, HitCase{"rightMiddle", {500, 200}, East}, //
        HitCase{"middle", {350, 200}, Move}, HitCase{"tenOutsideTheTopLeft", {190, 90}, NorthWest},
        HitCase{"tenInsideTheTopLeft", {210, 110}, NorthWest},
        HitCase{"twentyFiveOutsideTheTopLeft", {175, 75}, New},
        HitCase{"tenOutsideTheBottomRight", {510, 310}, SouthEast},
        HitCase{"tenAboveTheTop", {350, 90}, North}, HitCase{"tenBelowTheTop", {350, 110}, North},
        HitCase{"tenBelowTheBottom", {350, 310}, South},
        HitCase{"tenLeftOfTheLeft", {190, 200}, West},
        HitCase{"tenRightOfTheRight", {510, 200}, East}));

INSTANTIATE_TEST_SUITE_P(
    TolerancesAreStrict, DragActionAt,
    testing::Values(HitCase{"twentyAboveTheTop", {350, 80}, New},
                    HitCase{"nearlyTwentyAboveTheTop", {350, 80.01}, North},
                    HitCase{"twentyBelowTheTop", {350, 120}, Move},
                    HitCase{"nearlyTwentyBelowTheTop", {350, 119.99}, North},
                    HitCase{"twentyLeftOfTheTopLeft", {180, 100}, New},
                    HitCase{"nearlyTwentyLeftOfTheTopLeft", {180.01, 100}, NorthWest},
                    HitCase{"twentyRightOfTheTopLeft", {220, 100}, North},
                    HitCase{"twentyBelowTheTopLeft", {200, 120}, West},
                    HitCase{"twentyRightOfTheRight", {520, 200}, New},
                    HitCase{"nearlyTwentyRightOfTheRight", {519.99, 200}, East}));

INSTANTIATE_TEST_SUITE_P(
    ZonesOverlapInASmallBox, DragActionAt,
    testing::Values(
        HitCase{"cornersWinOverEdgesAndInside", {210, 110}, NorthWest, {200, 100, 30, 30}},
        HitCase{"leftWinsOverRight", {215, 100}, NorthWest, {200, 100, 30, 200}},
        HitCase{"rightWhereLeftIsTooFar", {221, 100}, NorthEast, {200, 100, 30, 200}},
        HitCase{"topWinsOverBottom", {350, 115}, North, {200, 100, 300, 30}},
        HitCase{"leftEdgeWinsOverRightEdge", {215, 200}, West, {200, 100, 30, 200}},
        HitCase{"topLeftWinsOnABoxOfNothing", {200, 100}, NorthWest, {200, 100, 0, 0}}));

// Beginning a drag

TEST(BeginDrag, RemembersPositionAndBox)
{
    const CropDrag drag = beginDrag({350, 200}, {200, 100, 300, 200}, IMAGE);
    EXPECT_EQ(drag.action, Move);
    EXPECT_EQ(drag.dragStart, QPointF(350, 200));
    EXPECT_EQ(drag.origBox, QRectF(200, 100, 300, 200));
}

TEST(BeginDrag, NewBoxBeginsInsideThePicture)
{
    const CropDrag drag = beginDrag({20, 900}, {200, 100, 300, 200}, IMAGE);
    EXPECT_EQ(drag.action, New);
    EXPECT_EQ(drag.dragStart, QPointF(100, 550));
}

TEST(BeginDrag, EdgeOutsideThePictureIsGrabbedWhereThePointerIs)
{
    const CropDrag drag = beginDrag({90, 200}, {100, 100, 300, 200}, IMAGE);
    EXPECT_EQ(drag.action, West);
    EXPECT_EQ(drag.dragStart, QPointF(90, 200));
}

// Dragging

QRectF dragged(QPointF from, QPointF to, const QRectF &box, Ratio ratio = {})
{
    return draggedBox(beginDrag(from, box, IMAGE), to, ratio, IMAGE);
}

TEST(DraggedBox, MovesWithThePointer)
{
    EXPECT_EQ(dragged({350, 200}, {365, 190}, {200, 100, 300, 200}), QRectF(215, 90, 300, 200));
}

TEST(DraggedBox, StopsFlushWithThePicturesEdgeWhenMovedFarBeyond)
{
    const QRectF box(200, 100, 300, 200);
    EXPECT_EQ(dragged({350, 200}, {9000, 9000}, box), QRectF(800, 350, 300, 200));
    EXPECT_EQ(dragged({350, 200}, {-9000, -9000}, box), QRectF(100, 50, 300, 200));
}

TEST(DraggedBox, PointerOutsideCountsAsThePicturesEdge)
{
    // 250 right of the start is the picture's right edge; the box isn't there yet.
    EXPECT_EQ(dragged({350, 200}, {5000, 200}, {300, 100, 100, 200}), QRectF(1000, 100, 100, 200));
    EXPECT_EQ(dragged({350, 200}, {350, -900}, {300, 150, 100, 100}), QRectF(300, 50, 100, 100));
}

TEST(DraggedBox, TopLeftCornerLeavesTheBottomRight)
{
    EXPECT_EQ(dragged({195, 95}, {150, 80}, {200, 100, 300, 200}), QRectF(150, 80, 350, 220));
}

TEST(DraggedBox, TopRightCornerLeavesTheBottomLeft)
{
    EXPECT_EQ(dragged({500, 100}, {600, 80}, {200, 100, 300, 200}), QRectF(200, 80, 400, 220));
}

TEST(DraggedBox, BottomLeftCornerLeavesTheTopRight)
{
    EXPECT_EQ(dragged({200, 300}, {150, 400}, {200, 100, 300, 200}), QRectF(150, 100, 350, 300));
}

TEST(DraggedBox, BottomRightCornerLeavesTheTopLeft)
{
    EXPECT_EQ(dragged({500, 300}, {600, 400}, {200, 100, 300, 200}), QRectF(200, 100, 400, 300));
}

TEST(DraggedBox, CornerCanPassTheOppositeOne)
{
    EXPECT_EQ(dragged({200, 100}, {600, 400}, {200, 100, 300, 200}), QRectF(500, 300, 100, 100));
}

TEST(DraggedBox, CornerHasNoLeastSize)
{
    EXPECT_EQ(dragged({200, 100}, {497, 298}, {200, 100, 300, 200}), QRectF(497, 298, 3, 2));
}

TEST(DraggedBox, NewBoxReachesFromTheStartToThePointer)
{
    EXPECT_EQ(dragged({600, 400}, {700, 500}, {200, 100, 300, 200}), QRectF(600, 400, 100, 100));
    EXPECT_EQ(dragged({700, 500}, {600, 400}, {200, 100, 300, 200}), QRectF(600, 400, 100, 100));
}

TEST(DraggedBox, NewBoxStaysInThePicture)
{
    EXPECT_EQ(dragged({600, 400}, {5000, 5000}, {200, 100, 300, 200}), QRectF(600, 400, 500, 150));
}

TEST(DraggedBox, EdgesMoveAlone)
{
    const QRectF box(200, 100, 300, 200);
    EXPECT_EQ(dragged({350, 100}, {900, 80}, box), QRectF(200, 80, 300, 220));
    EXPECT_EQ(dragged({350, 300}, {900, 400}, box), QRectF(200, 100, 300, 300));
    EXPECT_EQ(dragged({200, 200}, {150, 90}, box), QRectF(150, 100, 350, 200));
    EXPECT_EQ(dragged({500, 200}, {600, 90}, box), QRectF(200, 100, 400, 200));
}

TEST(DraggedBox, LeftEdgeStopsTwentyPointsBeforeTheRightOne)
{
    EXPECT_EQ(dragged({200, 200}, {5000, 200}, {200, 100, 300, 200}), QRectF(480, 100, 20, 200));
}

TEST(DraggedBox, OtherEdgesStopTwentyPointsBeforeTheOppositeOne)
{
    const QRectF box(200, 100, 300, 200);
    EXPECT_EQ(dragged({500, 200}, {-5000, 200}, box), QRectF(200, 100, 20, 200));
    EXPECT_EQ(dragged({350, 100}, {350, 5000}, box), QRectF(200, 280, 300, 20));
    EXPECT_EQ(dragged({350, 300}, {350, -5000}, box), QRectF(200, 100, 300, 20));
}

// From an anchor

TEST(RectFromAnchor, WidthWinsWhenItAsksForMore)
{
    expectNear(rectFromAnchor({100, 100}, {300, 150}, 2.0, {0, 0, 1000, 1000}),
               {100, 100, 200, 100});
}

TEST(RectFromAnchor, HeightWinsWhenItAsksForMore)
{
    expectNear(rectFromAnchor({100, 100}, {150, 300}, 2.0, {0, 0, 1000, 1000}),
               {100, 100, 400, 200});
}

TEST(RectFromAnchor, ShrinksToTheRoomBeyondTheAnchor)
{
    // 400 x 200 is asked for, 300 points are there.
    expectNear(rectFromAnchor({100, 100}, {150, 300}, 2.0, {0, 0, 400, 1000}),
               {100, 100, 300, 150});
}

TEST(RectFromAnchor, GrowsTowardsThePointer)
{
    expectNear(rectFromAnchor({500, 500}, {300, 450}, 2.0, {0, 0, 1000, 1000}),
               {300, 400, 200, 100});
}

TEST(RectFromAnchor, RoomIsCountedInTheDirectionOfThePointer)
{
    expectNear(rectFromAnchor({500, 100}, {300, 20}, 1.0, {0, 0, 1000, 1000}), {400, 0, 100, 100});
}

TEST(RectFromAnchor, PointerOnTheAnchorGivesAThousandthOfAPoint)
{
    expectNear(rectFromAnchor({500, 500}, {500, 500}, {}, {0, 0, 1000, 1000}),
               {500, 500, 0.001, 0.001});
}

TEST(RectFromAnchor, NothingIsLeftWhereThePictureEndsAtTheAnchor)
{
    // Straight down along the right edge counts as to the right, where no room is.
    expectNear(rectFromAnchor({1000, 100}, {1000, 300}, {}, {0, 0, 1000, 1000}), {1000, 100, 0, 0});
}

TEST(RectFromAnchor, AnchorOutsideThePictureGivesNothing)
{
    EXPECT_EQ(rectFromAnchor({1100, 100}, {1200, 300}, 1.0, {0, 0, 1000, 1000}),
              QRectF(1100, 100, 0, 0));
}

// Edges with a ratio

TEST(EdgeResize, WidthFollowsTheHeight)
{
    expectNear(edgeResize(South, {400, 100, 200, 100}, {0, 250}, 2.0, IMAGE), {350, 100, 300, 150});
    expectNear(edgeResize(North, {400, 200, 200, 100}, {0, 150}, 2.0, IMAGE), {350, 150, 300, 150});
}

TEST(EdgeResize, HeightFollowsTheWidth)
{
    expectNear(edgeResize(East, {400, 200, 200, 100}, {700, 0}, 2.0, IMAGE), {400, 175, 300, 150});
    expectNear(edgeResize(West, {400, 200, 200, 100}, {300, 0}, 2.0, IMAGE), {300, 175, 300, 150});
}

TEST(EdgeResize, LowerEdgeStopsWhereTheWidthHasNoRoom)
{
    // The middle is 150 points from the left edge: 300 wide, 150 high.
    expectNear(edgeResize(South, {150, 100, 200, 100}, {0, 550}, 2.0, IMAGE), {100, 100, 300, 150});
}

TEST(EdgeResize, UpperEdgeStopsWhereTheWidthHasNoRoom)
{
    expectNear(edgeResize(North, {150, 400, 200, 100}, {0, 50}, 2.0, IMAGE), {100, 350, 300, 150});
}

TEST(EdgeResize, RightEdgeStopsWhereTheHeightHasNoRoom)
{
    // The middle is 100 points from the top: 200 high, 400 wide.
    expectNear(edgeResize(East, {400, 100, 200, 100}, {1100, 0}, 2.0, IMAGE), {400, 50, 400, 200});
}

TEST(EdgeResize, LeftEdgeStopsWhereTheHeightHasNoRoom)
{
    expectNear(edgeResize(West, {600, 100, 200, 100}, {100, 0}, 2.0, IMAGE), {400, 50, 400, 200});
}

TEST(EdgeResize, TinyBoxAtTheEdgeIsMovedIn)
{
    EXPECT_EQ(edgeResize(East, {1095, 100, 5, 100}, {1100, 0}, {}, IMAGE),
              QRectF(1080, 100, 20, 100));
}

TEST(EdgeResize, LeastWidthWinsInAPictureThatIsNarrower)
{
    EXPECT_EQ(edgeResize(East, {5, 0, 5, 100}, {10, 0}, {}, {0, 0, 10, 100}),
              QRectF(0, 0, 20, 100));
}

// Arrow keys

struct ArrowCase
{
    const char *name;
    KeyCode key;
    QRectF moved;
    QRectF resized;
};

void PrintTo(const ArrowCase &item, std::ostream *out)
{
    *out << item.name;
}

class ArrowKeys : public testing::TestWithParam<ArrowCase>
{};

TEST_P(ArrowKeys, MoveTheBoxByTenPoints)
{
    EXPECT_EQ(movedBox({400, 200, 200, 100}, GetParam().key, IMAGE), GetParam().moved);
}

TEST_P(ArrowKeys, ResizeEverySideOfTheBoxByTenPoints)
{
    expectNear(resizedBox({400, 200, 200, 100}, GetParam().key, {}, IMAGE), GetParam().resized);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, ArrowKeys,
    testing::Values(ArrowCase{"left", KeyCode::Left, {390, 200, 200, 100}, {410, 210, 180, 80}},
                    ArrowCase{"right", KeyCode::Right, {410, 200, 200, 100}, {390, 190, 220, 120}},
                    ArrowCase{"down", KeyCode::Down, {400, 210, 200, 100}, {390, 190, 220, 120}},
                    ArrowCase{"up", KeyCode::Up, {400, 190, 200, 100}, {410, 210, 180, 80}},
                    ArrowCase{"other", KeyCode::F, {400, 200, 200, 100}, {410, 210, 180, 80}}),
    [](const auto &item) { return item.param.name; });

TEST(MovedBox, StopsAtThePicturesEdges)
{
    EXPECT_EQ(movedBox({105, 55, 200, 100}, KeyCode::Left, IMAGE), QRectF(100, 55, 200, 100));
    EXPECT_EQ(movedBox({105, 55, 200, 100}, KeyCode::Up, IMAGE), QRectF(105, 50, 200, 100));
    EXPECT_EQ(movedBox({895, 445, 200, 100}, KeyCode::Right, IMAGE), QRectF(900, 445, 200, 100));
    EXPECT_EQ(movedBox({895, 445, 200, 100}, KeyCode::Down, IMAGE), QRectF(895, 450, 200, 100));
}

TEST(MovedBox, BoxLargerThanThePictureLiesAtItsOrigin)
{
    EXPECT_EQ(movedBox({0, 0, 1200, 600}, KeyCode::Right, IMAGE), QRectF(100, 50, 1200, 600));
}

TEST(ResizedBox, SmallFreeBoxShrinksToTwentyPoints)
{
    expectNear(resizedBox({400, 200, 25, 25}, KeyCode::Left, {}, IMAGE), {402.5, 202.5, 20, 20});
}

TEST(ResizedBox, FreeBoxStopsGrowingAtThePicturesEdge)
{
    // The centre is 105 from the left and 55 from the top.
    expectNear(resizedBox({105, 55, 200, 100}, KeyCode::Right, {}, IMAGE), {100, 50, 210, 110});
}

TEST(ResizedBox, KeepsTheRatio)
{
    expectNear(resizedBox({400, 200, 200, 100}, KeyCode::Right, 2.0, IMAGE), {390, 195, 220, 110});
    expectNear(resizedBox({400, 200, 200, 100}, KeyCode::Left, 2.0, IMAGE), {410, 205, 180, 90});
}

TEST(ResizedBox, KeepsTheRatioAtThePicturesEdge)
{
    // 220 x 110 about (205, 105), where 210 x 110 fit.
    expectNear(resizedBox({105, 55, 200, 100}, KeyCode::Right, 2.0, IMAGE), {100, 52.5, 210, 105});
}

TEST(ResizedBox, BoxOnThePicturesEdgeShrinksToNothing)
{
    EXPECT_EQ(resizedBox({1090, 200, 20, 20}, KeyCode::Right, {}, IMAGE), QRectF(1100, 190, 0, 40));
    EXPECT_EQ(resizedBox({1091, 200, 20, 20}, KeyCode::Right, {}, IMAGE), QRectF(1101, 190, 0, 40));
}

TEST(ResizedBox, WithARatioOnlyTheWidthStopsAtTwentyPoints)
{
    expectNear(resizedBox({400, 200, 24, 12}, KeyCode::Left, 2.0, IMAGE), {402, 201, 20, 10});
}

// Pixels

TEST(BoxInImagePixels, CountsFromThePicturesCorner)
{
    const auto pixels = boxInImagePixels({200, 100, 300, 200}, IMAGE, {4000, 2000});
    ASSERT_TRUE(pixels);
    expectNear(*pixels, {400, 200, 1200, 800});
}

TEST(BoxInImagePixels, IsNotRounded)
{
    const auto pixels = boxInImagePixels({100.25, 50.5, 10.125, 20.5}, IMAGE, {2000, 1000});
    ASSERT_TRUE(pixels);
    expectNear(*pixels, {0.5, 1, 20.25, 41});
}

TEST(BoxInImagePixels, TakesOneScaleForBothDirectionsFromTheWidths)
{
    const auto pixels = boxInImagePixels({200, 100, 100, 100}, IMAGE, {2000, 900});
    ASSERT_TRUE(pixels);
    expectNear(*pixels, {200, 100, 200, 200});
}

TEST(BoxInImagePixels, IsCutOffAtThePicture)
{
    const auto pixels = boxInImagePixels({90, 540, 20, 20}, IMAGE, {1000, 500});
    ASSERT_TRUE(pixels);
    expectNear(*pixels, {0, 490, 10, 10});
}

TEST(BoxInImagePixels, BoxUnderAPointIsNone)
{
    EXPECT_FALSE(boxInImagePixels({200, 100, 0.99, 100}, IMAGE, {100000, 50000}));
    EXPECT_FALSE(boxInImagePixels({200, 100, 100, 0.99}, IMAGE, {100000, 50000}));
    EXPECT_TRUE(boxInImagePixels({200, 100, 1, 1}, IMAGE, {100000, 50000}));
}

TEST(BoxInImagePixels, CutUnderTwoPixelsIsNone)
{
    // Half a pixel a point.
    EXPECT_FALSE(boxInImagePixels({200, 100, 3.9, 100}, IMAGE, {500, 250}));
    EXPECT_FALSE(boxInImagePixels({200, 100, 100, 3.9}, IMAGE, {500, 250}));
    EXPECT_TRUE(boxInImagePixels({200, 100, 4, 4}, IMAGE, {500, 250}));
}

TEST(BoxInImagePixels, BoxBesideThePictureIsNone)
{
    EXPECT_FALSE(boxInImagePixels({2000, 100, 100, 100}, IMAGE, {1000, 500}));
    EXPECT_FALSE(boxInImagePixels({0, 100, 100, 100}, IMAGE, {1000, 500}));
}

TEST(BoxInImagePixels, BoxThatIsNoNumberIsNone)
{
    constexpr double NO_NUMBER = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(boxInImagePixels({10, 10, NO_NUMBER, 50}, {0, 0, 100, 100}, {200, 200}));
    EXPECT_FALSE(boxInImagePixels({NO_NUMBER, 10, 50, 50}, {0, 0, 100, 100}, {200, 200}));
}

TEST(BoxInImagePixels, PictureWithoutWidthHasNone)
{
    EXPECT_FALSE(boxInImagePixels({0, 0, 100, 100}, {0, 0, 0, 500}, {1000, 500}));
}

// Whatever is done with it

bool isWithin(const QRectF &box, const QRectF &image)
{
    constexpr double TOLERANCE = 1e-6;
    return box.width() >= 0 && box.height() >= 0 && box.x() >= image.x() - TOLERANCE &&
           box.y() >= image.y() - TOLERANCE &&
           box.x() + box.width() <= image.x() + image.width() + TOLERANCE &&
           box.y() + box.height() <= image.y() + image.height() + TOLERANCE;
}

/// What a user does in crop mode, by chance but the same in every run.
class CropGeometryProperty : public testing::TestWithParam<unsigned>
{
protected:
    double number(double low, double high)
    {
        return std::uniform_real_distribution<>(low, high)(m_random);
    }
    int choice(int count) { return std::uniform_int_distribution<>(0, count - 1)(m_random); }
    QPointF anywhere(const QRectF &image)
    {
        return {number(image.x() - 200, image.x() + image.width() + 200),
                number(image.y() - 200, image.y() + image.height() + 200)};
    }
    QRectF picture()
    {
        return {number(0, 300), number(0, 300), number(40, 2000), number(40, 2000)};
    }
    KeyCode arrow()
    {
        constexpr KeyCode ARROWS[] = {KeyCode::Left, KeyCode::Right, KeyCode::Down, KeyCode::Up};
        return ARROWS[choice(4)];
    }

    /// Does one thing and says what.
    std::string act(CropBox &crop, QRectF &image)
    {
        switch (choice(8)) {
        case 0: {
            const CropDrag drag = beginDrag(anywhere(image), crop.box, image);
            crop.box = draggedBox(drag, anywhere(image), crop.ratio, image);
            return "drag " + std::to_string(static_cast<int>(drag.action));
        }
        case 1: { // from the box, so that all zones come up
            const QPointF start = crop.box.topLeft() + QPointF(number(0, 1) * crop.box.width(),
                                                               number(0, 1) * crop.box.height());
            const CropDrag drag = beginDrag(start, crop.box, image);
            crop.box = draggedBox(drag, anywhere(image), crop.ratio, image);
            return "drag " + std::to_string(static_cast<int>(drag.action));
        }
        case 2:
            crop.box = movedBox(crop.box, arrow(), image);
            return "move";
        case 3:
            crop.box = resizedBox(crop.box, arrow(), crop.ratio, image);
            return "resize";
        case 4:
            crop.ratio = number(0.2, 5);
            crop.box = boxWithRatio(crop.box, *crop.ratio, image);
            return "ratio";
        case 5:
            crop.ratio.reset();
            return "free";
        case 6:
            if (const auto flipped = flipOrientation(crop, image))
                crop = *flipped;
            return "flip";
        default:
            image = picture();
            crop.box = refitBox(crop.box, crop.ratio, image);
            return "refit";
        }
    }

private:
    std::mt19937 m_random{GetParam()};
};

TEST_P(CropGeometryProperty, BoxLeavesThePictureOnlyForItsLeastSides)
{
    QRectF image = picture();
    CropBox crop{.box = defaultBox(image, {})};
    for (int step = 0; step < 5000; ++step) {
        const std::string deed = act(crop, image);
        if (isWithin(crop.box, image))
            continue;
        // Only a side that was kept from getting smaller may stick out, by half of itself.
        ASSERT_TRUE(deed == "ratio" || deed == "flip") << deed << " in step " << step;
        ASSERT_TRUE(crop.box.width() == 20 || crop.box.height() == 20) << deed;
        ASSERT_TRUE(isWithin(crop.box, image.adjusted(-10, -10, 10, 10))) << deed;
        crop.box = defaultBox(image, crop.ratio);
    }
}

TEST_P(CropGeometryProperty, WhatIsCutLiesInThePicture)
{
    QRectF image = picture();
    CropBox crop{.box = defaultBox(image, {})};
    for (int step = 0; step < 2000; ++step) {
        act(crop, image);
        const QSizeF full = image.size() * number(0.5, 8);
        if (const auto cut = boxInImagePixels(crop.box, image, full)) {
            ASSERT_TRUE(isWithin(*cut, QRectF({0, 0}, full)))
                << testing::PrintToString(*cut) << " of " << full.width() << 'x' << full.height();
            ASSERT_GE(cut->width(), 2);
            ASSERT_GE(cut->height(), 2);
        }
    }
}

TEST_P(CropGeometryProperty, DragsKeepTheRatio)
{
    const QRectF image = picture();
    for (int step = 0; step < 2000; ++step) {
        const double ratio = number(0.2, 5);
        const QRectF before = defaultBox(image, ratio);
        const CropDrag drag = beginDrag(anywhere(image), before, image);
        const QRectF after = draggedBox(drag, anywhere(image), ratio, image);
        ASSERT_NEAR(after.width(), after.height() * ratio, 1e-6)
            << static_cast<int>(drag.action) << " in step " << step;
    }
}

TEST_P(CropGeometryProperty, FlippingTwiceInTheMiddleOfALargePictureChangesNothing)
{
    const QRectF image(0, 0, 4000, 4000);
    for (int step = 0; step < 500; ++step) {
        const double ratio = number(1.1, 3);
        const double width = number(100, 1000);
        const CropBox crop{{1500, 1500, width, width / ratio}, ratio, u"a:b"_s};
        const auto once = flipOrientation(crop, image);
        ASSERT_TRUE(once);
        const auto twice = flipOrientation(*once, image);
        ASSERT_TRUE(twice);
        expectNear(twice->box, crop.box);
        EXPECT_EQ(twice->ratioName, crop.ratioName);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, CropGeometryProperty, testing::Range(1U, 6U));

} // namespace
} // namespace tavolin
