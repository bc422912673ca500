#include "editing/BarButton.h"

#include "logic/Printing.h"
#include "screen/TextLabel.h"

#include <QAccessible>
#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QSignalSpy>
#include <QtTest>

#include <gtest/gtest.h>

#include <cmath>
#include <ostream>
#include <string>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

std::string hex(QRgb pixel)
{
    return QString::number(pixel & 0xffffffU, 16).rightJustified(6, u'0').toStdString();
}

/// @p widget on black, at two device pixels a point.
QImage rendered(QWidget &widget)
{
    QImage image(widget.size() * 2, QImage::Format_RGB32);
    image.setDevicePixelRatio(2);
    image.fill(Qt::black);
    widget.render(&image, {}, {}, QWidget::DrawChildren);
    return image;
}

class BarButtonTest : public testing::Test
{
protected:
    BarButtonTest()
    {
        window.resize(200, 100);
        button.move(20, 30);
        button.resize(button.sizeHint());
        window.show();
        movePointerAway();
    }

    void movePointer(QPoint position)
    {
        QTest::mouseMove(window.windowHandle(), position);
        QApplication::processEvents();
    }
    void movePointerAway() { movePointer({190, 90}); }
    void hover() { movePointer(button.geometry().center()); }

    /// The fill, beside the label.
    std::string fill() { return hex(rendered(button).pixel(10, button.height())); }

    bool hasPixel(QRgb color)
    {
        const QImage image = rendered(button);
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (hex(image.pixel(x, y)) == hex(color))
                    return true;
            }
        }
        return false;
    }

    QWidget window;
    BarButton button{u"16:9"_s, 14, &window};
};

TEST_F(BarButtonTest, HeldButtonIsLetGoWhenAnotherWindowComesUp)
{
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    QTest::mousePress(&button, Qt::LeftButton);
    ASSERT_TRUE(button.isDown());
    QWidget dialog;
    dialog.show();
    dialog.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&dialog));
    EXPECT_FALSE(button.isDown());
    QTest::mouseRelease(&button, Qt::LeftButton);
}

TEST_F(BarButtonTest, LeavesRoomAroundItsLabel)
{
    const QFontMetricsF metrics(interfaceFont(14));
    EXPECT_EQ(button.sizeHint().width(), std::ceil(metrics.horizontalAdvance(u"16:9"_s)) + 28);
    EXPECT_EQ(button.sizeHint().height(), std::ceil(metrics.height()) + 16);
}

TEST_F(BarButtonTest, GivesUpRoomAtTheSidesOnly)
{
    EXPECT_EQ(button.minimumSizeHint(), button.sizeHint() - QSize(20, 0));
}

TEST_F(BarButtonTest, GrowsWithItsFontAndLabel)
{
    const QSize before = button.sizeHint();
    button.setText(u"16:9 and more"_s);
    EXPECT_GT(button.sizeHint().width(), before.width());
    button.setFont(interfaceFont(17));
    EXPECT_GT(button.sizeHint().height(), before.height());
}

TEST_F(BarButtonTest, PlainOneIsFaintlyWhite)
{
    EXPECT_EQ(fill(), "121212"); // 7 %
    EXPECT_TRUE(hasPixel(0xffffffff));
}

TEST_F(BarButtonTest, PlainOneBrightensUnderThePointer)
{
    hover();
    EXPECT_EQ(fill(), "2e2e2e"); // 18 %
    movePointerAway();
    EXPECT_EQ(fill(), "121212");
}

TEST_F(BarButtonTest, PlainOneIsBrightestWhenPressed)
{
    hover();
    QTest::mousePress(&button, Qt::LeftButton);
    EXPECT_EQ(fill(), "474747"); // 28 %
    QTest::mouseRelease(&button, Qt::LeftButton);
    EXPECT_EQ(fill(), "2e2e2e");
}

TEST_F(BarButtonTest, PlainOneHasAnOutlineOnePointInside)
{
    const QImage image = rendered(button);
    const int y = button.height();
    EXPECT_EQ(hex(image.pixel(0, y)), "000000");
    EXPECT_EQ(hex(image.pixel(1, y)), "1a1a1a"); // the outer half of the outline: 10 %
    EXPECT_EQ(hex(image.pixel(2, y)), "2a2a2a"); // the inner half, over the fill
    EXPECT_EQ(hex(image.pixel(3, y)), "121212");
}

TEST_F(BarButtonTest, CornersAreRoundWithSevenPoints)
{
    button.setAccent(true);
    const QImage image = rendered(button);
    // The corner of the shape is at 1 point; the arc meets the edges 7 points on.
    EXPECT_EQ(hex(image.pixel(2, 2)), "000000");
    EXPECT_EQ(hex(image.pixel(5, 5)), "000000"); // the arc passes at 2 points + 2.05
    EXPECT_EQ(hex(image.pixel(7, 7)), "00bfff");
    EXPECT_NE(hex(image.pixel(2, 14)), "000000");
    EXPECT_EQ(hex(image.pixel(2, 17)), "00bfff");
}

struct ProminentCase
{
    const char *name;
    bool accent;
};

void PrintTo(const ProminentCase &item, std::ostream *out)
{
    *out << item.name;
}

class ProminentBarButton : public BarButtonTest, public testing::WithParamInterface<ProminentCase>
{
protected:
    ProminentBarButton()
    {
        button.setCheckable(true);
        button.setAccent(GetParam().accent);
        button.setSelectedState(!GetParam().accent);
    }
};

TEST_P(ProminentBarButton, IsAccentedWithBlackText)
{
    EXPECT_EQ(fill(), "00bfff");
    EXPECT_TRUE(hasPixel(0xff000000));
    EXPECT_FALSE(hasPixel(0xffffffff));
}

TEST_P(ProminentBarButton, HasNoOutline)
{
    const QImage image = rendered(button);
    EXPECT_EQ(hex(image.pixel(1, button.height())), "000000");
    EXPECT_EQ(hex(image.pixel(2, button.height())), "00bfff");
}

TEST_P(ProminentBarButton, TurnsTowardsWhiteUnderThePointer)
{
    hover();
    EXPECT_EQ(fill(), "2ecbff"); // 18 % of the way
}

TEST_P(ProminentBarButton, TurnsTowardsBlackWhenPressedUnderThePointerToo)
{
    hover();
    QTest::mousePress(&button, Qt::LeftButton);
    EXPECT_EQ(fill(), "008fbf"); // a quarter of the way, from the accent itself
    QTest::mouseRelease(&button, Qt::LeftButton);
}

INSTANTIATE_TEST_SUITE_P(Ways, ProminentBarButton,
                         testing::Values(ProminentCase{"accent", true},
                                         ProminentCase{"selected", false}),
                         [](const auto &item) { return item.param.name; });

TEST_F(BarButtonTest, FiresWhenReleasedInside)
{
    QSignalSpy clicks(&button, &BarButton::clicked);
    QTest::mousePress(&button, Qt::LeftButton);
    EXPECT_EQ(clicks.count(), 0);
    QTest::mouseRelease(&button, Qt::LeftButton);
    EXPECT_EQ(clicks.count(), 1);
}

TEST_F(BarButtonTest, DoesNotFireWhenReleasedOutside)
{
    QSignalSpy clicks(&button, &BarButton::clicked);
    QTest::mousePress(&button, Qt::LeftButton);
    QTest::mouseRelease(&button, Qt::LeftButton, {}, {-5, 5});
    EXPECT_EQ(clicks.count(), 0);
}

TEST_F(BarButtonTest, ClickDoesNotSelectIt)
{
    button.setCheckable(true);
    QTest::mouseClick(&button, Qt::LeftButton);
    EXPECT_FALSE(button.isSelectedState());
    button.setSelectedState(true);
    QTest::mouseClick(&button, Qt::LeftButton);
    EXPECT_TRUE(button.isSelectedState());
}

TEST_F(BarButtonTest, TellsAssistiveToolsItsLabelAndWhetherItIsSelected)
{
    button.setCheckable(true);
    QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(&button);
    ASSERT_NE(accessible, nullptr);
    EXPECT_EQ(accessible->text(QAccessible::Name), u"16:9"_s);
    EXPECT_FALSE(accessible->state().checked);
    button.setSelectedState(true);
    EXPECT_TRUE(accessible->state().checked);
}

TEST_F(BarButtonTest, LeavesTheKeyboardAlone)
{
    EXPECT_EQ(button.focusPolicy(), Qt::NoFocus);
}

TEST(BarSeparator, IsAFaintLineWithItsEndsTwoPointsInside)
{
    BarSeparator separator(nullptr);
    EXPECT_EQ(separator.sizeHint(), QSize(1, 24));
    separator.resize(1, 24);
    const QImage image = rendered(separator);
    EXPECT_EQ(hex(image.pixel(0, 3)), "000000");
    EXPECT_EQ(hex(image.pixel(0, 4)), "292929"); // 16 %
    EXPECT_EQ(hex(image.pixel(1, 43)), "292929");
    EXPECT_EQ(hex(image.pixel(1, 44)), "000000");
}

} // namespace
} // namespace tavolin
