#include "editing/CropOverlayDrawing.h"

#include "logic/Printing.h"
#include "screen/TextLabel.h"

#include <QFontMetricsF>
#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace tavolin {
namespace {

const QSize VIEW(400, 300);
const QRectF PICTURE(40, 30, 320, 200);
/// Its thirds are at whole points: 160 and 220 across, 100 and 140 down.
const QRectF BOX(100, 60, 180, 120);

constexpr QRgb PAPER = 0xff646464; // 100
constexpr QRgb SHADED = 0xff323232;
constexpr QRgb BRIGHT = 0xff00d4ff;

/// What @p scene looks like on grey paper at @p scale device pixels a point.
QImage painted(const CropScene &scene, int scale = 1)
{
    QImage image(VIEW * scale, QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    image.fill(PAPER);
    QPainter painter(&image);
    paintCropOverlay(painter, scene);
    return image;
}

CropScene sceneOf(const QRectF &box)
{
    return {.box = box, .image = PICTURE, .view = VIEW, .pixelScale = {}};
}

QImage paper()
{
    QImage image(VIEW, QImage::Format_RGB32);
    image.fill(PAPER);
    return image;
}

/// The pixels where two pictures differ.
QRect difference(const QImage &a, const QImage &b)
{
    QRect bounds;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            if (a.pixel(x, y) != b.pixel(x, y))
                bounds |= QRect(x, y, 1, 1);
        }
    }
    return bounds;
}

std::string hex(QRgb pixel)
{
    return QString::number(pixel & 0xffffffU, 16).rightJustified(6, u'0').toStdString();
}

testing::AssertionResult isNearly(QRgb actual, QRgb expected)
{
    const int off = std::max({std::abs(qRed(actual) - qRed(expected)),
                              std::abs(qGreen(actual) - qGreen(expected)),
                              std::abs(qBlue(actual) - qBlue(expected))});
    if (off <= 2)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << hex(actual) << " instead of " << hex(expected);
}

// Nothing to draw

TEST(CropOverlayDrawing, BoxWithoutWidthLooksAsIfThereWereNoOverlay)
{
    for (const QRectF box : {QRectF(), QRectF(200, 100, 0, 0), QRectF(200, 100, 0, 50)}) {
        CropScene scene = sceneOf(box);
        scene.pixelScale = 2;
        EXPECT_EQ(painted(scene), paper());
        EXPECT_TRUE(cropBoxExtent(scene).isEmpty());
    }
}

// Shade

TEST(CropOverlayDrawing, ShadeCoversThePictureOutsideTheBox)
{
    const QImage image = painted(sceneOf(BOX));
    for (const QPoint point :
         {QPoint(40, 30), QPoint(359, 30), QPoint(40, 229), QPoint(359, 229), QPoint(200, 50),
          QPoint(60, 120), QPoint(320, 120), QPoint(200, 210)})
        EXPECT_EQ(hex(image.pixel(point)), hex(SHADED)) << point.x() << ',' << point.y();
}

TEST(CropOverlayDrawing, InsideOfTheBoxIsLeftAsItIs)
{
    const QImage image = painted(sceneOf(BOX));
    for (const QPoint point : {QPoint(110, 70), QPoint(190, 120), QPoint(270, 170)})
        EXPECT_EQ(hex(image.pixel(point)), hex(PAPER)) << point.x() << ',' << point.y();
}

TEST(CropOverlayDrawing, ViewBesideThePictureIsLeftAsItIs)
{
    const QImage image = painted(sceneOf(BOX));
    for (const QPoint point : {QPoint(39, 30), QPoint(40, 29), QPoint(360, 100), QPoint(100, 230),
                               QPoint(0, 0), QPoint(399, 299)})
        EXPECT_EQ(hex(image.pixel(point)), hex(PAPER)) << point.x() << ',' << point.y();
}

TEST(CropOverlayDrawing, ShadeCoversThePixelsThatThePictureTakesOnlyInPart)
{
    CropScene scene = sceneOf(BOX);
    scene.image = QRectF(39.75, 29.5, 319.75, 200.6); // painted from 40, 30 to 360, 231
    const QImage image = painted(scene);
    for (const QPoint point :
         {QPoint(40, 120), QPoint(359, 120), QPoint(200, 30), QPoint(200, 230)})
        EXPECT_EQ(hex(image.pixel(point)), hex(SHADED)) << point.x() << ',' << point.y();
    for (const QPoint point :
         {QPoint(39, 120), QPoint(360, 120), QPoint(200, 29), QPoint(200, 231)})
        EXPECT_EQ(hex(image.pixel(point)), hex(PAPER)) << point.x() << ',' << point.y();
}

TEST(CropOverlayDrawing, BoxThatCoversThePictureLeavesNoShade)
{
    const QImage image = painted(sceneOf(PICTURE));
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            ASSERT_GE(qBlue(image.pixel(x, y)), 100) << x << ',' << y;
    }
}

// Border

TEST(CropOverlayDrawing, BorderReachesAPointToBothSidesOfTheEdge)
{
    const QImage image = painted(sceneOf(BOX));
    // Between a handle and a guide, across each edge.
    for (const int offset : {-1, 0}) {
        EXPECT_EQ(hex(image.pixel(120, 60 + offset)), hex(BRIGHT)) << "top " << offset;
        EXPECT_EQ(hex(image.pixel(120, 180 + offset)), hex(BRIGHT)) << "bottom " << offset;
        EXPECT_EQ(hex(image.pixel(100 + offset, 80)), hex(BRIGHT)) << "left " << offset;
        EXPECT_EQ(hex(image.pixel(280 + offset, 80)), hex(BRIGHT)) << "right " << offset;
    }
    EXPECT_EQ(hex(image.pixel(120, 58)), hex(SHADED));
    EXPECT_EQ(hex(image.pixel(120, 61)), hex(PAPER));
    EXPECT_EQ(hex(image.pixel(120, 178)), hex(PAPER));
    EXPECT_EQ(hex(image.pixel(120, 181)), hex(SHADED));
    EXPECT_EQ(hex(image.pixel(98, 80)), hex(SHADED));
    EXPECT_EQ(hex(image.pixel(101, 80)), hex(PAPER));
    EXPECT_EQ(hex(image.pixel(278, 80)), hex(PAPER));
    EXPECT_EQ(hex(image.pixel(281, 80)), hex(SHADED));
}

TEST(CropOverlayDrawing, BorderIsTwoPointsWideOnAFinerScreenToo)
{
    const QImage image = painted(sceneOf(BOX), 2);
    for (const int offset : {-2, -1, 0, 1})
        EXPECT_EQ(hex(image.pixel(240, 120 + offset)), hex(BRIGHT)) << offset;
    EXPECT_EQ(hex(image.pixel(240, 117)), hex(SHADED));
    EXPECT_EQ(hex(image.pixel(240, 122)), hex(PAPER));
}

TEST(CropOverlayDrawing, BorderBetweenPixelsIsSoft)
{
    const QImage image = painted(sceneOf(BOX.translated(0, 0.5)));
    // 59.5 to 61.5: half of the outer pixels.
    EXPECT_TRUE(isNearly(image.pixel(120, 59), 0xff198398)); // half bright, half shaded
    EXPECT_EQ(hex(image.pixel(120, 60)), hex(BRIGHT));
    EXPECT_TRUE(isNearly(image.pixel(120, 61), 0xff329cb2)); // half bright, half paper
}

// Guides

TEST(CropOverlayDrawing, GuidesStandAtTheThirds)
{
    const QImage image = painted(sceneOf(BOX), 2);
    // 60 points of 180, 40 of 120; a dash begins every 7 points, here after 14.
    for (const int x : {160, 220}) {
        EXPECT_TRUE(isNearly(image.pixel(2 * x - 1, 2 * 74), 0xffe0e0e0)) << x;
        EXPECT_TRUE(isNearly(image.pixel(2 * x, 2 * 74), 0xffe0e0e0)) << x;
        EXPECT_EQ(hex(image.pixel(2 * x - 2, 2 * 74)), hex(PAPER)) << x;
        EXPECT_EQ(hex(image.pixel(2 * x + 1, 2 * 74)), hex(PAPER)) << x;
    }
    for (const int y : {100, 140}) {
        EXPECT_TRUE(isNearly(image.pixel(2 * 114, 2 * y - 1), 0xffe0e0e0)) << y;
        EXPECT_TRUE(isNearly(image.pixel(2 * 114, 2 * y), 0xffe0e0e0)) << y;
        EXPECT_EQ(hex(image.pixel(2 * 114, 2 * y - 2)), hex(PAPER)) << y;
        EXPECT_EQ(hex(image.pixel(2 * 114, 2 * y + 1)), hex(PAPER)) << y;
    }
}

TEST(CropOverlayDrawing, GuideOnABorderOfPixelsIsSharedByBoth)
{
    const QImage image = painted(sceneOf(BOX));
    EXPECT_TRUE(isNearly(image.pixel(159, 74), 0xffa2a2a2)); // 40 %
    EXPECT_TRUE(isNearly(image.pixel(160, 74), 0xffa2a2a2));
    EXPECT_EQ(hex(image.pixel(158, 74)), hex(PAPER));
    EXPECT_EQ(hex(image.pixel(161, 74)), hex(PAPER));
}

TEST(CropOverlayDrawing, DashesAreThreePointsAndTheGapsFour)
{
    const QImage image = painted(sceneOf(BOX), 2);
    // From the inner side of the border to before the crossing guide, in device pixels.
    for (int y = 2 * 62; y < 2 * 99; ++y) {
        const bool isDash = (y - 2 * 60) % 14 < 6;
        EXPECT_TRUE(isNearly(image.pixel(2 * 160, y), isDash ? 0xffe0e0e0 : PAPER)) << y;
    }
    for (int x = 2 * 106; x < 2 * 159; ++x) {
        const bool isDash = (x - 2 * 100) % 14 < 6;
        EXPECT_TRUE(isNearly(image.pixel(x, 2 * 100), isDash ? 0xffe0e0e0 : PAPER)) << x;
    }
}

TEST(CropOverlayDrawing, GuidesLieOnTheBorder)
{
    const QImage image = painted(sceneOf(BOX), 2);
    // The first dash begins in the middle of the border.
    EXPECT_EQ(hex(image.pixel(2 * 160, 2 * 60 - 1)), hex(BRIGHT));
    EXPECT_TRUE(isNearly(image.pixel(2 * 160, 2 * 60), 0xffccf6ff)); // 80 % of white
}

// Handles

struct HandleCase
{
    const char *name;
    QPoint centre;
};

void PrintTo(const HandleCase &item, std::ostream *out)
{
    *out << item.name;
}

class CropHandle : public testing::TestWithParam<HandleCase>
{};

TEST_P(CropHandle, IsTenPointsSquare)
{
    for (const int scale : {1, 2}) {
        const QImage image = painted(sceneOf(BOX), scale);
        const QRect handle((GetParam().centre - QPoint(5, 5)) * scale, QSize(10, 10) * scale);
        const int last = 10 * scale - 1;
        for (const QPoint inside :
             {QPoint(0, 0), QPoint(last, 0), QPoint(0, last), QPoint(last, last), QPoint(3, 7)})
            EXPECT_EQ(hex(image.pixel(handle.topLeft() + inside)), hex(BRIGHT));
        for (const QPoint outside : {QPoint(-1, 0), QPoint(0, -1), QPoint(last + 1, last),
                                     QPoint(last, last + 1), QPoint(-1, -1)})
            EXPECT_NE(hex(image.pixel(handle.topLeft() + outside)), hex(BRIGHT));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Points, CropHandle,
    testing::Values(HandleCase{"topLeft", {100, 60}}, HandleCase{"topMiddle", {190, 60}},
                    HandleCase{"topRight", {280, 60}}, HandleCase{"middleLeft", {100, 120}},
                    HandleCase{"middleRight", {280, 120}}, HandleCase{"bottomLeft", {100, 180}},
                    HandleCase{"bottomMiddle", {190, 180}}, HandleCase{"bottomRight", {280, 180}}),
    [](const auto &item) { return item.param.name; });

TEST(CropOverlayDrawing, HandleBetweenPixelsIsSoft)
{
    const QImage image = painted(sceneOf(BOX.translated(0.5, 0)));
    EXPECT_TRUE(isNearly(image.pixel(95, 57), 0xff198398));
    EXPECT_EQ(hex(image.pixel(96, 57)), hex(BRIGHT));
    EXPECT_EQ(hex(image.pixel(104, 57)), hex(BRIGHT));
    EXPECT_TRUE(isNearly(image.pixel(105, 57), 0xff198398));
}

// The read-out

/// Where the read-out of @p box is seen: what its drawing adds.
QRect readOut(const QRectF &box)
{
    CropScene scene = sceneOf(box);
    const QImage without = painted(scene);
    scene.pixelScale = 2;
    return difference(painted(scene), without);
}

double lineHeight()
{
    QFont font = interfaceFont(13);
    font.setWeight(QFont::DemiBold);
    return QFontMetricsF(font).height();
}

TEST(CropSizeText, IsWidthByHeightInPixels)
{
    EXPECT_EQ(cropSizeText({600, 400}, 2).toStdString(), "1200 × 800 px");
}

TEST(CropSizeText, CutsFractionsOff)
{
    EXPECT_EQ(cropSizeText({99.9, 50.5}, 1).toStdString(), "99 × 50 px");
    EXPECT_EQ(cropSizeText({0.9, 33.4}, 1.5).toStdString(), "1 × 50 px");
}

TEST(CropSizeText, DoesNotGroupDigits)
{
    EXPECT_EQ(cropSizeText({1000, 1000}, 12.345).toStdString(), "12345 × 12345 px");
}

TEST(CropOverlayDrawing, WithoutAScaleOnlyTheReadOutIsMissing)
{
    CropScene scene = sceneOf(BOX);
    const QImage without = painted(scene);
    EXPECT_EQ(hex(without.pixel(100, 60)), hex(BRIGHT));
    EXPECT_EQ(hex(without.pixel(60, 120)), hex(SHADED));
    scene.pixelScale = 2;
    const QRect added = difference(painted(scene), without);
    EXPECT_FALSE(added.isEmpty());
    EXPECT_GE(added.y(), 180 + 5); // below the handles
}

TEST(CropOverlayDrawing, ReadOutStandsCentredEightPointsBelowTheBox)
{
    const QRect text = readOut(BOX);
    EXPECT_NEAR(text.x() + text.width() / 2.0, 190, 2);
    EXPECT_GE(text.y(), 188);
    EXPECT_LE(text.y() + text.height(), 188 + lineHeight());
    EXPECT_GE(text.height(), 9); // capitals and digits of 13 points
}

TEST(CropOverlayDrawing, ReadOutIsBright)
{
    CropScene scene = sceneOf(BOX);
    scene.pixelScale = 2;
    const QImage image = painted(scene);
    const QRect text = readOut(BOX);
    int bright = 0;
    for (int y = text.y(); y < text.y() + text.height(); ++y) {
        for (int x = text.x(); x < text.x() + text.width(); ++x)
            bright += isNearly(image.pixel(x, y), BRIGHT) ? 1 : 0;
    }
    EXPECT_GT(bright, 50);
}

TEST(CropOverlayDrawing, ReadOutOfABoxOverThePictureStandsBelowThePicture)
{
    EXPECT_GE(readOut(PICTURE).y(), 230 + 8);
    EXPECT_LE(readOut(PICTURE).y(), 230 + 8 + 7);
}

TEST(CropOverlayDrawing, ReadOutNearTheViewsEdgeEndsFourPointsAboveIt)
{
    const QRect text = readOut({100, 60, 180, 225});
    EXPECT_LE(text.y() + text.height(), 300 - 4);
    EXPECT_GE(text.y(), 300 - 4 - lineHeight());
    // Now inside the box, whose own read-out would begin at 293.
    EXPECT_LT(text.y(), 285);
}

TEST(CropOverlayDrawing, ReadOutThatTheBarWouldHideStandsInTheBox)
{
    CropScene scene = sceneOf(BOX); // whose lower edge is at 180
    scene.pixelScale = 2;
    scene.bar = QRectF(150, 190, 100, 40);
    const QImage with = painted(scene);
    scene.pixelScale = {};
    const QRect text = difference(with, painted(scene));
    EXPECT_LE(text.y() + text.height(), 180 - 8);
    EXPECT_GE(text.y(), 180 - 8 - lineHeight());
}

// Repainting a part

/// Boxes by chance, the same in every run, at any fraction of a point.
std::vector<QRectF> someBoxes()
{
    std::mt19937 random(7);
    const auto number = [&](double low, double high) {
        return std::uniform_real_distribution<>(low, high)(random);
    };
    std::vector<QRectF> boxes{BOX, PICTURE, {100, 60, 180, 225}, {200, 100, 3, 0}};
    for (int i = 0; i < 20; ++i) {
        const QPointF corner(number(40, 300), number(30, 200));
        boxes.emplace_back(corner, QSizeF(number(0.1, 360 - corner.x()), number(0, 100)));
    }
    return boxes;
}

TEST(CropOverlayDrawing, BoxesDifferOnlyWithinTheirExtents)
{
    CropScene before = sceneOf({120, 70, 60, 40});
    before.pixelScale = 3.7;
    for (const QRectF &box : someBoxes()) {
        CropScene after = before;
        after.box = box;
        const QRegion touched =
            QRegion(cropBoxExtent(before).toAlignedRect()) + cropBoxExtent(after).toAlignedRect();
        const QImage a = painted(before);
        const QImage b = painted(after);
        for (int y = 0; y < a.height(); ++y) {
            for (int x = 0; x < a.width(); ++x) {
                const bool isSame = a.pixel(x, y) == b.pixel(x, y);
                ASSERT_TRUE(isSame || touched.contains(QPoint(x, y)))
                    << x << ',' << y << ' ' << testing::PrintToString(box);
            }
        }
    }
}

TEST(CropOverlayDrawing, PartOfARepaintLooksLikeTheWhole)
{
    for (const QRectF &box : someBoxes()) {
        CropScene scene = sceneOf(box);
        scene.pixelScale = 3.7;
        const QImage whole = painted(scene);
        QImage part = paper();
        QPainter painter(&part);
        const QRect clip(90, 77, 131, 119);
        painter.setClipRect(clip);
        paintCropOverlay(painter, scene);
        painter.end();
        ASSERT_EQ(part.copy(clip), whole.copy(clip)) << testing::PrintToString(box);
    }
}

} // namespace
} // namespace tavolin
