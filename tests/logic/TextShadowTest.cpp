#include "screen/TextShadow.h"

#include <gtest/gtest.h>

namespace tavolin {
namespace {

constexpr QRgb CYAN = 0xff00d4ff;

/// Nothing but @p letters.
QImage pictureOf(const QRect &letters, double scale = 1, QRgb color = CYAN)
{
    QImage image(60, 60, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    image.setDevicePixelRatio(scale);
    for (int y = letters.top(); y <= letters.bottom(); ++y) {
        for (int x = letters.left(); x <= letters.right(); ++x)
            image.setPixel(x, y, color);
    }
    return image;
}

constexpr QRect DOT{20, 20, 1, 1};

int alphaAt(const QImage &image, int x, int y)
{
    return qAlpha(image.pixel(x, y));
}

/// What has any colour or shadow.
QRect extentOf(const QImage &image)
{
    QRect extent;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (alphaAt(image, x, y) > 0)
                extent |= QRect(x, y, 1, 1);
        }
    }
    return extent;
}

TEST(TextShadow, IsStrongestOnePointToTheRightAndOneDown)
{
    const QImage image = withShadow(pictureOf(DOT));
    // A normal distribution that ends at two deviations, of a point each: 5, 24, 40, 24 and 5 % on
    // either axis, and 90 % of it all.
    EXPECT_EQ(alphaAt(image, 21, 21), 37);
    EXPECT_EQ(alphaAt(image, 22, 21), 23);
    EXPECT_EQ(alphaAt(image, 21, 20), 23);
    EXPECT_EQ(alphaAt(image, 23, 21), 5);
    EXPECT_EQ(alphaAt(image, 22, 22), 14);
}

TEST(TextShadow, ReachesThreePointsToTheRightAndDownAndOneTheOtherWay)
{
    EXPECT_EQ(extentOf(withShadow(pictureOf(DOT))), QRect(19, 19, 5, 5));
    const QImage large = withShadow(pictureOf({20, 20, 10, 10}));
    EXPECT_EQ(extentOf(large), QRect(19, 19, 14, 14));
}

TEST(TextShadow, IsBlack)
{
    EXPECT_EQ(withShadow(pictureOf(DOT)).pixel(21, 21), 37U << 24);
}

TEST(TextShadow, LeavesTheLettersAlone)
{
    EXPECT_EQ(withShadow(pictureOf({20, 20, 10, 10})).pixel(25, 25), CYAN);
}

TEST(TextShadow, ShowsThroughLettersThatAreNotOpaque)
{
    // Half opaque letters have half the shadow: 128 + 115 * 127 / 255.
    const QImage image = withShadow(pictureOf({20, 20, 20, 20}, 1, 0x80006a80));
    EXPECT_EQ(image.pixel(30, 30), 0xb9006a80U);
}

TEST(TextShadow, TakesNinetyPercentWhereLettersAreWide)
{
    const QImage image = withShadow(pictureOf({20, 20, 20, 20}));
    // Beside the edge: 40, 24 and 5 %.
    EXPECT_EQ(alphaAt(image, 40, 30), 161);
}

TEST(TextShadow, KeepsItsSizeInPoints)
{
    const QImage image = withShadow(pictureOf({20, 20, 2, 2}, 2));
    EXPECT_EQ(extentOf(image), QRect(18, 18, 10, 10));
    // In the middle of the dot's place, two pixels further.
    EXPECT_GT(alphaAt(image, 22, 22), alphaAt(image, 24, 24));
    EXPECT_EQ(alphaAt(image, 22, 22), alphaAt(image, 23, 23));
}

TEST(TextShadow, LiesBetweenPixelsWhereAPointIsNoWholeNumberOfThem)
{
    const QImage image = withShadow(pictureOf(DOT, 1.5));
    EXPECT_GT(alphaAt(image, 21, 21), 0);
    EXPECT_EQ(alphaAt(image, 21, 21), alphaAt(image, 22, 22));
    EXPECT_LT(alphaAt(image, 20, 21), alphaAt(image, 21, 21));
}

TEST(TextShadow, IsCutOffAtTheEdge)
{
    const QImage image = withShadow(pictureOf({59, 20, 1, 1}));
    EXPECT_EQ(alphaAt(image, 59, 21), 23);
    EXPECT_EQ(alphaAt(image, 0, 21), 0);
    EXPECT_EQ(alphaAt(image, 0, 22), 0);
}

} // namespace
} // namespace tavolin
