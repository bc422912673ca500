#include "editing/TranslucentPanel.h"

#include <QPainter>

#include <gtest/gtest.h>

namespace tavolin {
namespace {

/// In a view of 400 x 300 points.
const QRect AREA(100, 200, 200, 60);
constexpr QRect VIEW(0, 0, 400, 300);

QImage panelOver(const std::function<void(QPainter &)> &paintBehind, int scale = 1)
{
    return translucentPanel(AREA, 14, scale, paintBehind);
}

std::function<void(QPainter &)> plain(const QColor &color)
{
    return [color](QPainter &painter) { painter.fillRect(VIEW, color); };
}

TEST(TranslucentPanel, HasTheSizeOfItsAreaInDevicePixels)
{
    EXPECT_EQ(panelOver(plain(Qt::black)).size(), QSize(200, 60));
    EXPECT_EQ(panelOver(plain(Qt::black), 2).size(), QSize(400, 120));
    EXPECT_EQ(panelOver(plain(Qt::black), 2).devicePixelRatio(), 2);
}

TEST(TranslucentPanel, IsDarkGreyOverBlack)
{
    const QRgb pixel = panelOver(plain(Qt::black)).pixel(100, 30);
    EXPECT_EQ(qAlpha(pixel), 255);
    EXPECT_NEAR(qRed(pixel), 28, 1);
    EXPECT_NEAR(qGreen(pixel), 28, 1);
    EXPECT_NEAR(qBlue(pixel), 30, 1);
}

TEST(TranslucentPanel, AQuarterOfWhatIsBehindShinesThrough)
{
    EXPECT_NEAR(qRed(panelOver(plain(Qt::white)).pixel(100, 30)), 28 + 66, 1);
}

TEST(TranslucentPanel, CornersAreRoundWithFourteenPoints)
{
    const QImage panel = panelOver(plain(Qt::black), 2);
    EXPECT_EQ(qAlpha(panel.pixel(0, 0)), 0);
    EXPECT_EQ(qAlpha(panel.pixel(399, 119)), 0);
    EXPECT_EQ(qAlpha(panel.pixel(6, 6)), 0); // the arc passes at 4.1 points
    EXPECT_EQ(qAlpha(panel.pixel(11, 11)), 255);
    EXPECT_EQ(qAlpha(panel.pixel(0, 30)), 255);
    EXPECT_EQ(qAlpha(panel.pixel(30, 0)), 255);
}

TEST(TranslucentPanel, EdgeIsOnePointOfFaintWhite)
{
    const QImage panel = panelOver(plain(Qt::black), 2);
    for (const int y : {0, 1})
        EXPECT_NEAR(qRed(panel.pixel(200, y)), 28 + 28, 2) << y; // 12 % of the way to white
    EXPECT_NEAR(qRed(panel.pixel(200, 2)), 28, 1);
}

TEST(TranslucentPanel, EdgesBehindItAreSoft)
{
    const QImage panel = panelOver([](QPainter &painter) {
        painter.fillRect(VIEW, Qt::black);
        painter.fillRect(200, 0, 200, 300, Qt::white);
    });
    int last = qRed(panel.pixel(60, 30));
    EXPECT_NEAR(last, 28, 1);
    for (int x = 61; x < 140; ++x) {
        const int now = qRed(panel.pixel(x, 30));
        EXPECT_GE(now, last) << x;
        EXPECT_LE(now, last + 4) << x;
        last = now;
    }
    EXPECT_NEAR(last, 94, 1);
    EXPECT_NEAR(qRed(panel.pixel(100, 30)), 61, 6); // half way where the edge is
}

TEST(TranslucentPanel, ShowsWhatIsBehindItAndNotWhatIsElsewhere)
{
    const QImage panel = panelOver([](QPainter &painter) {
        painter.fillRect(VIEW, Qt::white);
        painter.fillRect(AREA.adjusted(-30, -30, 30, 30), Qt::black);
    });
    EXPECT_NEAR(qRed(panel.pixel(20, 30)), 28, 1);
    EXPECT_NEAR(qRed(panel.pixel(180, 30)), 28, 1);
}

TEST(TranslucentPanel, NothingPaintedBehindCountsAsBlack)
{
    EXPECT_EQ(panelOver([](QPainter &) {}), panelOver(plain(Qt::black)));
}

} // namespace
} // namespace tavolin
