#include "screen/ImageLayer.h"

#include "pixels/DisplayPicture.h"

#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <utility>

namespace tavolin {
namespace {

constexpr QRgb BLACK = 0xff000000;
constexpr QRgb COLOR = 0xff2468ac;
constexpr QRgb UNTOUCHED = 0xffffffff;

/// A layer with a picture of @p size in one colour, made for @p frame at @p scale.
ImageLayer layerOf(QSize size, const QRectF &frame, double scale)
{
    PixelBuffer pixels(size);
    for (int y = 0; y < size.height(); ++y)
        std::fill_n(pixels.row(y), size.width(), COLOR);
    const Image image = std::move(pixels).toImage(Alpha::Opaque);
    return {.contents = image, .frame = frame, .rendition = makeRendition(image, frame, scale)};
}

/// What a view of @p viewSize points shows of @p layer.
QImage painted(const ImageLayer &layer, QSize viewSize, double scale,
               const QRectF &clip = QRectF(0, 0, 1000, 1000))
{
    QImage screen(viewSize * scale, QImage::Format_RGB32);
    screen.setDevicePixelRatio(scale);
    screen.fill(UNTOUCHED);
    QPainter painter(&screen);
    painter.setClipRect(clip);
    paintLayer(painter, layer, viewSize, scale);
    return screen;
}

/// The device pixels of @p screen that have @p color; empty unless they are a full rectangle.
QRect rectOf(const QImage &screen, QRgb color)
{
    QRect rect;
    int count = 0;
    for (int y = 0; y < screen.height(); ++y) {
        for (int x = 0; x < screen.width(); ++x) {
            if (screen.pixel(x, y) != color)
                continue;
            rect |= QRect(x, y, 1, 1);
            ++count;
        }
    }
    return count == rect.width() * rect.height() ? rect : QRect();
}

int countOf(const QImage &screen, QRgb color)
{
    int count = 0;
    for (int y = 0; y < screen.height(); ++y) {
        for (int x = 0; x < screen.width(); ++x)
            count += screen.pixel(x, y) == color ? 1 : 0;
    }
    return count;
}

TEST(PaintLayer, WithoutAPictureTheViewIsBlack)
{
    const QImage screen = painted({}, {60, 40}, 1.0);
    EXPECT_EQ(countOf(screen, BLACK), 60 * 40);
}

TEST(PaintLayer, PictureIsCentredAndBlackIsAroundIt)
{
    const QImage screen = painted(layerOf({20, 30}, {0, 0, 60, 30}, 1.0), {60, 30}, 1.0);
    EXPECT_EQ(rectOf(screen, COLOR), QRect(20, 0, 20, 30));
    EXPECT_EQ(countOf(screen, BLACK), 40 * 30);
}

TEST(PaintLayer, FrameInsideTheViewHasBlackOnAllSides)
{
    const QImage screen = painted(layerOf({30, 20}, {10, 5, 30, 20}, 1.0), {60, 40}, 1.0);
    EXPECT_EQ(rectOf(screen, COLOR), QRect(10, 5, 30, 20));
    EXPECT_EQ(countOf(screen, BLACK), 60 * 40 - 30 * 20);
}

TEST(PaintLayer, SharpScreenGetsOneRenditionPixelForEachOfItsOwn)
{
    const QImage screen = painted(layerOf({20, 30}, {0, 0, 60, 30}, 2.0), {60, 30}, 2.0);
    EXPECT_EQ(rectOf(screen, COLOR), QRect(40, 0, 40, 60));
    EXPECT_EQ(countOf(screen, BLACK), 80 * 60);
}

TEST(PaintLayer, FractionalScaleIsCoveredWithoutGaps)
{
    const QImage screen = painted(layerOf({20, 30}, {0, 0, 62, 30}, 1.5), {62, 30}, 1.5);
    EXPECT_EQ(rectOf(screen, COLOR), QRect(32, 0, 30, 45));
    EXPECT_EQ(countOf(screen, BLACK), (93 - 30) * 45);
}

TEST(PaintLayer, NothingIsPaintedOutsideTheClip)
{
    const QImage screen =
        painted(layerOf({30, 20}, {0, 0, 60, 40}, 1.0), {60, 40}, 1.0, QRectF(10, 10, 5, 5));
    EXPECT_EQ(rectOf(screen, COLOR), QRect(10, 10, 5, 5));
    EXPECT_EQ(countOf(screen, UNTOUCHED), 60 * 40 - 25);
}

/// Four by three pixels, no two alike.
Image mosaic()
{
    PixelBuffer pixels({4, 3});
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x)
            pixels.row(y)[x] = BLACK | static_cast<Pixel>((x + 1) << 12 | (y + 1) << 4);
    }
    return std::move(pixels).toImage(Alpha::Opaque);
}

/// A layer with @p contents stretched to @p frame.
ImageLayer stretched(const Image &contents, const QRectF &frame)
{
    return {.contents = contents, .gravity = Gravity::Resize, .frame = frame};
}

/// Expects on @p screen the pixels of mosaic(), each @p zoom device pixels wide and high, from
/// @p origin on, and black elsewhere.
void expectMosaic(const QImage &screen, QPoint origin, int zoom)
{
    const Image contents = mosaic();
    for (int y = 0; y < screen.height(); ++y) {
        for (int x = 0; x < screen.width(); ++x) {
            const QRect all(origin, contents.size() * zoom);
            const QRgb expected =
                all.contains(x, y) ? contents.row((y - origin.y()) / zoom)[(x - origin.x()) / zoom]
                                   : BLACK;
            ASSERT_EQ(screen.pixel(x, y), expected) << "at " << x << ',' << y;
        }
    }
}

struct StretchedCase
{
    const char *name;
    QRectF frame; // in view points
    double scale;
    QPoint origin; // in device pixels
    int zoom;
};

void PrintTo(const StretchedCase &item, std::ostream *out)
{
    *out << item.name;
}

class PaintStretchedWhole : public testing::TestWithParam<StretchedCase>
{};

TEST_P(PaintStretchedWhole, KeepsThePixelsAsTheyAre)
{
    const StretchedCase &item = GetParam();
    expectMosaic(painted(stretched(mosaic(), item.frame), {20, 10}, item.scale), item.origin,
                 item.zoom);
}

INSTANTIATE_TEST_SUITE_P(
    OneToOne, PaintStretchedWhole,
    testing::Values(StretchedCase{"inside", {5, 4, 4, 3}, 1, {5, 4}, 1},
                    StretchedCase{"overTheLeftEdge", {-2, 4, 4, 3}, 1, {-2, 4}, 1},
                    StretchedCase{"overTheTopEdge", {5, -1, 4, 3}, 1, {5, -1}, 1},
                    StretchedCase{"overTheRightEdge", {18, 4, 4, 3}, 1, {18, 4}, 1},
                    StretchedCase{"overTheLowerRightCorner", {17, 8, 4, 3}, 1, {17, 8}, 1},
                    StretchedCase{"ofASharpScreen", {5, 4, 2, 1.5}, 2, {10, 8}, 1},
                    StretchedCase{"betweenPixels", {5.4, 3.6, 4, 3}, 1, {5, 4}, 1}),
    [](const auto &item) { return item.param.name; });

INSTANTIATE_TEST_SUITE_P(
    WholeMultiple, PaintStretchedWhole,
    testing::Values(StretchedCase{"inside", {5, 4, 8, 6}, 1, {5, 4}, 2},
                    StretchedCase{"overTheLeftEdge", {-3, 0, 12, 9}, 1, {-3, 0}, 3},
                    StretchedCase{"overTheLowerRightCorner", {15, 5, 12, 9}, 1, {15, 5}, 3},
                    StretchedCase{"overAllEdges", {-5, -5, 40, 30}, 1, {-5, -5}, 10},
                    StretchedCase{"ofASharpScreen", {-1, 2, 4, 3}, 2, {-2, 4}, 2}),
    [](const auto &item) { return item.param.name; });

TEST(PaintStretched, OtherSizesAreSmoothed)
{
    PixelBuffer pixels({2, 1});
    pixels.row(0)[0] = 0xffff0000;
    pixels.row(0)[1] = 0xff0000ff;
    const Image image = std::move(pixels).toImage(Alpha::Opaque);
    const QImage screen = painted(stretched(image, {0, 0, 15, 10}), {15, 10}, 1.0);
    EXPECT_EQ(screen.pixel(0, 5), 0xffff0000);
    EXPECT_EQ(screen.pixel(14, 5), 0xff0000ff);
    EXPECT_NEAR(qRed(screen.pixel(7, 5)), 128, 2);
    EXPECT_NEAR(qBlue(screen.pixel(7, 5)), 128, 2);
}

TEST(PaintStretched, FrameMayBeStretchedOutOfShape)
{
    const QImage screen = painted(stretched(mosaic(), {3, 2, 4, 6}), {20, 10}, 1.0);
    EXPECT_EQ(rectOf(screen, BLACK), QRect());
    EXPECT_EQ(countOf(screen, BLACK), 20 * 10 - 4 * 6);
}

TEST(PaintStretched, TransparencyIsBlack)
{
    PixelBuffer pixels({2, 1});
    pixels.row(0)[0] = 0x80800000; // half of red
    pixels.row(0)[1] = 0;
    const Image image = std::move(pixels).toImage(Alpha::Premultiplied);
    for (const double zoom : {1.0, 4.0}) {
        const QImage screen = painted(stretched(image, {0, 0, 2 * zoom, zoom}), {20, 10}, 1.0);
        const int width = static_cast<int>(zoom);
        EXPECT_EQ(rectOf(screen, 0xff800000), QRect(0, 0, width, width));
        EXPECT_EQ(countOf(screen, BLACK), 20 * 10 - width * width);
    }
}

TEST(PaintStretched, FrameOutsideTheViewLeavesItBlack)
{
    for (const int zoom : {1, 2, 50}) {
        const QSizeF size = QSizeF(4, 3) * zoom;
        for (const QPointF corner :
             {QPointF(20, 0), QPointF(0, 10), QPointF(-size.width(), 0), QPointF(0, -size.height()),
              QPointF(500, -500), QPointF(-500, 500)}) {
            const QImage screen = painted(stretched(mosaic(), QRectF(corner, size)), {20, 10}, 1.0);
            EXPECT_EQ(countOf(screen, BLACK), 20 * 10)
                << "at " << corner.x() << ',' << corner.y() << ", enlarged " << zoom;
        }
    }
}

TEST(PaintStretched, WithoutAPictureTheViewIsBlack)
{
    EXPECT_EQ(countOf(painted(stretched({}, {0, 0, 8, 6}), {20, 10}, 1.0), BLACK), 20 * 10);
}

TEST(PaintStretched, NothingIsPaintedOutsideTheClip)
{
    const QImage screen =
        painted(stretched(mosaic(), {-5, -5, 40, 30}), {20, 10}, 1.0, QRectF(4, 3, 5, 2));
    EXPECT_EQ(countOf(screen, UNTOUCHED), 20 * 10 - 5 * 2);
}

TEST(IsRenditionCurrent, AsLongAsFrameAndScaleStay)
{
    const ImageLayer layer = layerOf({30, 20}, {0, 0, 60, 40}, 1.0);
    EXPECT_TRUE(isRenditionCurrent(layer, 1.0));
    EXPECT_FALSE(isRenditionCurrent(layer, 2.0));
}

TEST(IsRenditionCurrent, NotInAFrameWhereThePictureIsLarger)
{
    ImageLayer layer = layerOf({30, 20}, {0, 0, 60, 40}, 1.0);
    layer.frame = {0, 0, 90, 60};
    EXPECT_FALSE(isRenditionCurrent(layer, 1.0));
}

TEST(IsRenditionCurrent, InAWiderFrameWhereThePictureIsAsLarge)
{
    ImageLayer layer = layerOf({30, 20}, {0, 0, 60, 40}, 1.0);
    layer.frame = {0, 0, 90, 40};
    EXPECT_TRUE(isRenditionCurrent(layer, 1.0));
}

} // namespace
} // namespace tavolin
