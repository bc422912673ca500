#include "app/ImageLayer.h"

#include "browse/DisplayPicture.h"

#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

#include <algorithm>
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
    return {image, frame, makeRendition(image, frame, scale)};
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
