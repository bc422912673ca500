#include "editing/CropOverlayView.h"

#include "logic/Printing.h"

#include <QMouseEvent>
#include <QPaintEvent>
#include <QRegion>
#include <QSignalSpy>
#include <QtTest>

#include <gtest/gtest.h>

#include <functional>
#include <optional>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

const QRectF IMAGE(100, 50, 600, 400);

/// Counts what the mouse brings to the view below, and sees what is painted.
class Below : public QWidget
{
public:
    int mousePresses = 0;
    QRegion painted;

protected:
    void mousePressEvent(QMouseEvent *) override { ++mousePresses; }
    void paintEvent(QPaintEvent *event) override { painted += event->region(); }
};

class CropOverlayViewTest : public testing::Test
{
protected:
    CropOverlayViewTest()
    {
        below.resize(800, 500);
        below.setFocusPolicy(Qt::StrongFocus);
        overlay = new CropOverlayView(
            {.fitRect = [this] { return image; }, .imagePixelScale = [this] { return scale; }},
            &below);
        overlay->resize(below.size());
        below.show();
    }

    void press(QPoint position) { QTest::mousePress(overlay, Qt::LeftButton, {}, position); }
    void move(QPoint position, Qt::MouseButtons buttons = Qt::LeftButton)
    {
        QMouseEvent event(QEvent::MouseMove, position, overlay->mapToGlobal(position), Qt::NoButton,
                          buttons, {});
        QApplication::sendEvent(overlay, &event);
    }
    void release(QPoint position) { QTest::mouseRelease(overlay, Qt::LeftButton, {}, position); }
    void drag(QPoint from, QPoint to)
    {
        press(from);
        move(to);
        release(to);
    }

    /// What is painted anew because of @p change.
    QRegion repainted(const std::function<void()> &change)
    {
        QApplication::processEvents();
        below.painted = {};
        change();
        QApplication::processEvents();
        return below.painted;
    }

    std::optional<QRectF> image = IMAGE;
    std::optional<double> scale = 2;
    Below below;
    CropOverlayView *overlay = nullptr; // belongs to the view below
};

TEST_F(CropOverlayViewTest, ShowsTheDefaultBoxWhenItGetsItsSize)
{
    EXPECT_EQ(overlay->box(), QRectF(160, 90, 480, 320));
    EXPECT_FALSE(overlay->ratio());
    EXPECT_EQ(overlay->ratioName(), u"Free"_s);
}

TEST_F(CropOverlayViewTest, InitialRatioLeavesTheBoxAlone)
{
    QSignalSpy changes(overlay, &CropOverlayView::ratioChanged);
    overlay->setInitialRatio(1.0, u"Original"_s);
    EXPECT_EQ(overlay->box(), QRectF(160, 90, 480, 320));
    EXPECT_EQ(overlay->ratio(), std::optional(1.0));
    EXPECT_EQ(overlay->ratioName(), u"Original"_s);
    EXPECT_EQ(changes.count(), 0);
    overlay->resetToDefaultBox();
    EXPECT_EQ(overlay->box(), QRectF(240, 90, 320, 320));
}

TEST_F(CropOverlayViewTest, LiesInItsOwnRectangleWithoutAPicture)
{
    image.reset();
    EXPECT_EQ(overlay->imageBounds(), QRectF(0, 0, 800, 500));
    overlay->resetToDefaultBox();
    EXPECT_EQ(overlay->box(), QRectF(80, 50, 640, 400));
}

TEST_F(CropOverlayViewTest, WorksWithoutAnOwner)
{
    CropOverlayView alone({}, nullptr);
    alone.resize(400, 300);
    alone.show();
    EXPECT_EQ(alone.box(), QRectF(40, 30, 320, 240));
    alone.setRatio(1.0, u"1:1"_s);
    alone.flipOrientation();
    alone.nudge(KeyCode::Right, true);
    alone.refitBox();
    EXPECT_FALSE(alone.grab().isNull());
    EXPECT_TRUE(alone.boxInImagePixels({800, 600}));
}

TEST_F(CropOverlayViewTest, TellsOfANewSizeBeforeTheBoxIsPlacedAnew)
{
    overlay->setBox({200, 100, 50, 50});
    QRectF boxWhenTold;
    QObject::connect(overlay, &CropOverlayView::layoutChanged, overlay, [&] {
        boxWhenTold = overlay->box();
        image = QRectF(0, 0, 1000, 500); // the owner places the picture anew
    });
    overlay->resize(1000, 600);
    EXPECT_EQ(boxWhenTold, QRectF(200, 100, 50, 50));
    EXPECT_EQ(overlay->box(), QRectF(100, 50, 800, 400));
}

TEST_F(CropOverlayViewTest, SameSizeAgainKeepsTheBox)
{
    overlay->setBox({200, 100, 50, 50});
    QSignalSpy layouts(overlay, &CropOverlayView::layoutChanged);
    QResizeEvent again(overlay->size(), overlay->size());
    QApplication::sendEvent(overlay, &again);
    overlay->move(10, 10);
    EXPECT_EQ(layouts.count(), 0);
    EXPECT_EQ(overlay->box(), QRectF(200, 100, 50, 50));
}

TEST_F(CropOverlayViewTest, LeftButtonDragsACorner)
{
    drag({160, 90}, {200, 120});
    EXPECT_EQ(overlay->box(), QRectF(200, 120, 440, 290));
}

TEST_F(CropOverlayViewTest, BoxFollowsEveryMoveOfTheMouse)
{
    press({400, 250});
    move({410, 255});
    EXPECT_EQ(overlay->box(), QRectF(170, 95, 480, 320));
    move({420, 260});
    EXPECT_EQ(overlay->box(), QRectF(180, 100, 480, 320));
    release({420, 260});
    EXPECT_EQ(overlay->box(), QRectF(180, 100, 480, 320));
}

TEST_F(CropOverlayViewTest, DragGoesOnFromWhereItBeganAfterAKey)
{
    press({400, 250});
    overlay->nudge(KeyCode::Right, false);
    EXPECT_EQ(overlay->box(), QRectF(170, 90, 480, 320));
    move({405, 255});
    EXPECT_EQ(overlay->box(), QRectF(165, 95, 480, 320));
    release({405, 255});
}

TEST_F(CropOverlayViewTest, NothingMovesAfterTheButtonIsUp)
{
    drag({400, 250}, {410, 255});
    move({500, 300}, Qt::NoButton);
    EXPECT_EQ(overlay->box(), QRectF(170, 95, 480, 320));
}

TEST_F(CropOverlayViewTest, OtherButtonsDragNothing)
{
    for (const Qt::MouseButton button : {Qt::RightButton, Qt::MiddleButton}) {
        QTest::mousePress(overlay, button, {}, {400, 250});
        move({500, 300}, button);
        QTest::mouseRelease(overlay, button, {}, {500, 300});
    }
    EXPECT_EQ(overlay->box(), QRectF(160, 90, 480, 320));
}

TEST_F(CropOverlayViewTest, OtherButtonDoesNotEndADrag)
{
    press({400, 250});
    QTest::mouseClick(overlay, Qt::RightButton, {}, {400, 250});
    move({410, 255});
    EXPECT_EQ(overlay->box(), QRectF(170, 95, 480, 320));
    release({410, 255});
}

TEST_F(CropOverlayViewTest, SecondPressOfADoubleClickDragsToo)
{
    QMouseEvent second(QEvent::MouseButtonDblClick, QPointF(400, 250),
                       overlay->mapToGlobal(QPointF(400, 250)), Qt::LeftButton, Qt::LeftButton, {});
    QApplication::sendEvent(overlay, &second);
    move({410, 255});
    EXPECT_EQ(overlay->box(), QRectF(170, 95, 480, 320));
}

TEST_F(CropOverlayViewTest, ClickBesideTheBoxLeavesOneOfNothingThatCutsNothing)
{
    QTest::mouseClick(overlay, Qt::LeftButton, {}, {120, 60});
    EXPECT_EQ(overlay->box(), QRectF(120, 60, 0, 0));
    EXPECT_FALSE(overlay->boxInImagePixels({1200, 800}));
}

TEST_F(CropOverlayViewTest, PressOutsideThePictureBeginsANewBoxAtItsEdge)
{
    press({20, 470});
    EXPECT_EQ(overlay->box(), QRectF(100, 450, 0, 0));
    move({300, 350});
    EXPECT_EQ(overlay->box(), QRectF(100, 350, 200, 100));
    release({300, 350});
}

TEST_F(CropOverlayViewTest, RatioReshapesTheBoxAndTellsTheOwner)
{
    QSignalSpy changes(overlay, &CropOverlayView::ratioChanged);
    overlay->setBox({300, 150, 200, 200});
    overlay->setRatio(4.0, u"4:1"_s);
    EXPECT_EQ(overlay->box(), QRectF(200, 200, 400, 100));
    EXPECT_EQ(overlay->ratioName(), u"4:1"_s);
    EXPECT_EQ(changes.count(), 1);
}

TEST_F(CropOverlayViewTest, FreeingTheRatioKeepsTheBoxAndTellsTheOwner)
{
    overlay->setRatio(4.0, u"4:1"_s);
    const QRectF before = overlay->box();
    QSignalSpy changes(overlay, &CropOverlayView::ratioChanged);
    overlay->setRatio({}, u"Free"_s);
    EXPECT_EQ(overlay->box(), before);
    EXPECT_FALSE(overlay->ratio());
    EXPECT_EQ(overlay->ratioName(), u"Free"_s);
    EXPECT_EQ(changes.count(), 1);
}

TEST_F(CropOverlayViewTest, FlippingTurnsBoxRatioAndName)
{
    overlay->setBox({300, 200, 160, 90});
    overlay->setInitialRatio(16.0 / 9, u"16:9"_s);
    QSignalSpy changes(overlay, &CropOverlayView::ratioChanged);
    overlay->flipOrientation();
    EXPECT_EQ(overlay->box(), QRectF(335, 165, 90, 160));
    EXPECT_EQ(overlay->ratio(), std::optional(1 / (16.0 / 9)));
    EXPECT_EQ(overlay->ratioName(), u"9:16"_s);
    EXPECT_EQ(changes.count(), 1);
}

TEST_F(CropOverlayViewTest, FlippingASquareTellsNobody)
{
    overlay->setInitialRatio(1.0005, u"1:1"_s);
    QSignalSpy changes(overlay, &CropOverlayView::ratioChanged);
    overlay->flipOrientation();
    EXPECT_EQ(overlay->box(), QRectF(160, 90, 480, 320));
    EXPECT_EQ(overlay->ratio(), std::optional(1.0005));
    EXPECT_EQ(changes.count(), 0);
}

TEST_F(CropOverlayViewTest, ArrowsMoveTheBoxAndShiftResizesIt)
{
    overlay->nudge(KeyCode::Right, false);
    EXPECT_EQ(overlay->box(), QRectF(170, 90, 480, 320));
    overlay->nudge(KeyCode::Left, true);
    EXPECT_EQ(overlay->box(), QRectF(180, 100, 460, 300));
}

TEST_F(CropOverlayViewTest, RefittingFollowsThePicture)
{
    image = QRectF(200, 50, 400, 400);
    overlay->refitBox();
    EXPECT_EQ(overlay->box(), QRectF(200, 90, 400, 320));
}

TEST_F(CropOverlayViewTest, CutsOutInPixelsOfTheFullPicture)
{
    EXPECT_EQ(overlay->boxInImagePixels({6000, 4000}), std::optional(QRectF(600, 400, 4800, 3200)));
}

TEST_F(CropOverlayViewTest, RepaintsOnlyWhereTheBoxWasAndIs)
{
    overlay->setBox({150, 100, 100, 80});
    const QRegion region = repainted([this] { overlay->setBox({400, 250, 60, 40}); });
    EXPECT_TRUE(region.contains(QRect(145, 95, 110, 90))); // with the handles
    EXPECT_TRUE(region.contains(QRect(395, 245, 70, 50)));
    EXPECT_TRUE(region.contains(QPoint(430, 303))); // the read-out
    EXPECT_FALSE(region.contains(QPoint(330, 150)));
    EXPECT_FALSE(region.contains(QPoint(650, 420)));
}

TEST_F(CropOverlayViewTest, RepaintsEverythingWhenTheShadeComesOrGoes)
{
    const QRegion whole(overlay->rect());
    EXPECT_EQ(repainted([this] { overlay->setBox({}); }), whole);
    EXPECT_EQ(repainted([this] { overlay->setBox({150, 100, 100, 80}); }), whole);
}

TEST_F(CropOverlayViewTest, RepaintsEverythingWhenThePictureHasChanged)
{
    const QRegion region = repainted([this] {
        image = QRectF(110, 60, 580, 380);
        overlay->refitBox();
    });
    EXPECT_EQ(region, QRegion(overlay->rect()));
}

TEST_F(CropOverlayViewTest, LeavesTheKeyboardToTheViewBelow)
{
    below.activateWindow();
    below.setFocus();
    drag({400, 250}, {410, 255});
    EXPECT_EQ(overlay->focusPolicy(), Qt::NoFocus);
    EXPECT_FALSE(overlay->hasFocus());
}

TEST_F(CropOverlayViewTest, KeepsTheMouseFromTheViewBelow)
{
    drag({400, 250}, {410, 255});
    QTest::mouseClick(overlay, Qt::RightButton, {}, {400, 250});
    EXPECT_EQ(below.mousePresses, 0);
}

} // namespace
} // namespace tavolin
