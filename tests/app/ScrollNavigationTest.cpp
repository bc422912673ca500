#include "app/ViewerFixture.h"

#include "screen/ViewerView.h"

#include <QMouseEvent>
#include <QWheelEvent>

#include <gtest/gtest.h>

#include <filesystem>

namespace tavolin {
namespace {

class ScrollNavigation : public test::ViewerFixture
{
protected:
    /// Turns a wheel by @p units (120 a notch) and, to the side, by @p sideways.
    void turn(int units, int sideways = 0) const
    {
        scroll({}, {sideways, units}, Qt::NoScrollPhase, Qt::MouseEventNotSynthesized);
    }

    /// Moves two fingers on a trackpad by @p points.
    void swipe(int points, Qt::ScrollPhase phase = Qt::ScrollUpdate) const
    {
        scroll({0, points}, {0, points * 4}, phase, Qt::MouseEventSynthesizedBySystem);
    }

    void scroll(QPoint pixels, QPoint angle, Qt::ScrollPhase phase,
                Qt::MouseEventSource source) const
    {
        const QPointF position = view->rect().center();
        QWheelEvent event(position, view->mapToGlobal(position), pixels, angle, Qt::NoButton,
                          Qt::NoModifier, phase, false, source);
        QCoreApplication::sendEvent(view, &event);
        EXPECT_TRUE(event.isAccepted());
    }

    /// The number of the target, from 1, as the info line says it.
    [[nodiscard]] int position() const { return std::stoi(infoText()); }
};

TEST_F(ScrollNavigation, NotchDownGoesToTheNextPicture)
{
    ASSERT_TRUE(startOnPictures(5, 2));
    turn(-120);
    EXPECT_EQ(position(), 4);
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(shownNumber(), 3);
}

TEST_F(ScrollNavigation, NotchUpGoesToThePreviousPicture)
{
    ASSERT_TRUE(startOnPictures(5, 2));
    turn(+120);
    EXPECT_EQ(position(), 2);
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(shownNumber(), 1);
}

TEST_F(ScrollNavigation, SidewaysDoesNothing)
{
    ASSERT_TRUE(startOnPictures(5, 2));
    turn(0, -120);
    turn(0, +120);
    EXPECT_EQ(position(), 3);
}

TEST_F(ScrollNavigation, MomentumDoesNothing)
{
    ASSERT_TRUE(startOnPictures(5, 2));
    swipe(-200, Qt::ScrollMomentum);
    swipe(+200, Qt::ScrollMomentum);
    EXPECT_EQ(position(), 3);
}

TEST_F(ScrollNavigation, MomentumLeavesTheTravelAsItWas)
{
    ASSERT_TRUE(startOnPictures(5, 2));
    swipe(-20);
    swipe(-200, Qt::ScrollMomentum);
    swipe(-9);
    EXPECT_EQ(position(), 3);
    swipe(-1);
    EXPECT_EQ(position(), 4);
}

TEST_F(ScrollNavigation, ThirtyPointsMakeAStep)
{
    ASSERT_TRUE(startOnPictures(5, 2));
    swipe(-10, Qt::ScrollBegin);
    swipe(-10);
    EXPECT_EQ(position(), 3);
    swipe(-10);
    EXPECT_EQ(position(), 4);
}

TEST_F(ScrollNavigation, LongSwipeIsOneStepBackAndLeavesNothingOver)
{
    ASSERT_TRUE(startOnPictures(5, 2));
    swipe(+45);
    EXPECT_EQ(position(), 2);
    swipe(+29);
    EXPECT_EQ(position(), 2);
}

TEST_F(ScrollNavigation, ThereAndBackMakesNoStep)
{
    ASSERT_TRUE(startOnPictures(5, 2));
    swipe(-20);
    swipe(+20);
    swipe(-29);
    EXPECT_EQ(position(), 3);
}

TEST_F(ScrollNavigation, EndOfTheSwipeForgetsTheRest)
{
    ASSERT_TRUE(startOnPictures(5, 2));
    swipe(-29);
    swipe(0, Qt::ScrollEnd);
    swipe(-29, Qt::ScrollBegin);
    EXPECT_EQ(position(), 3);
    swipe(-1);
    EXPECT_EQ(position(), 4);
}

TEST_F(ScrollNavigation, AtTheLastPictureTheTravelIsUsedUp)
{
    ASSERT_TRUE(startOnPictures(3, 2));
    swipe(-29);
    swipe(-20);
    EXPECT_EQ(position(), 3);
    swipe(+29); // with the travel still there, this would be 20 short of nothing
    EXPECT_EQ(position(), 3);
    swipe(+1);
    EXPECT_EQ(position(), 2);
}

TEST_F(ScrollNavigation, AtTheFirstPictureANotchUpDoesNothing)
{
    ASSERT_TRUE(startOnPictures(3));
    turn(+120);
    EXPECT_EQ(position(), 1);
    EXPECT_EQ(shownNumber(), 0);
}

TEST_F(ScrollNavigation, WithoutAPictureDoesNothing)
{
    start({"--bench"});
    turn(-120);
    swipe(-40);
    EXPECT_EQ(infoText(), "Tavolin Viewer — กด O เปิดโฟลเดอร์ | H วิธีใช้");
    EXPECT_TRUE(decoder.started().empty());
}

TEST_F(ScrollNavigation, WithoutAPictureTheTravelStaysAsItWas)
{
    ASSERT_TRUE(startOnPictures(3));
    swipe(-20);
    open(makePictures("empty", 0, -1));
    swipe(-9);
    open(folder / "pictures");
    swipe(-9);
    EXPECT_EQ(position(), 1);
    swipe(-1);
    EXPECT_EQ(position(), 2);
}

/// What keeps scrolling from stepping, at picture 3 of 5.
class ScrollNavigationBlocked : public ScrollNavigation
{
protected:
    /// Scrolls in every way between @p begin and @p end, which nothing may come of, not even that
    /// travel is added or forgotten.
    template <typename Begin, typename End>
    void expectIgnoredBetween(Begin begin, End end)
    {
        ASSERT_TRUE(startOnPictures(5, 2));
        swipe(-20);
        begin();
        turn(-120);
        turn(-60);
        swipe(-9);
        swipe(-40);
        swipe(0, Qt::ScrollEnd);
        EXPECT_EQ(position(), 3);
        end();
        turn(-60); // half a notch
        swipe(-9);
        EXPECT_EQ(position(), 3);
        swipe(-1);
        EXPECT_EQ(position(), 4);
    }

    void mouse(QEvent::Type type, Qt::MouseButtons buttons) const
    {
        const QPointF position = view->rect().center();
        QMouseEvent event(type, position, view->mapToGlobal(position), Qt::LeftButton, buttons,
                          Qt::NoModifier);
        QCoreApplication::sendEvent(view, &event);
    }
};

TEST_F(ScrollNavigationBlocked, WhileTheSearchFieldIsOpen)
{
    expectIgnoredBetween([this] { press(Qt::Key_J); }, [this] { viewer->search().closeSearch(); });
}

TEST_F(ScrollNavigationBlocked, WhileTheHelpPageIsShown)
{
    expectIgnoredBetween([this] { press(Qt::Key_H); }, [this] { press(Qt::Key_H); });
}

TEST_F(ScrollNavigationBlocked, WhileCropping)
{
    expectIgnoredBetween(
        [this] {
            press(Qt::Key_X);
            ASSERT_NE(viewer->screen().imageAreaRect(), QRectF(view->rect()));
        },
        [this] { press(Qt::Key_Escape); });
}

TEST_F(ScrollNavigationBlocked, WhileTheLoupeIsHeld)
{
    expectIgnoredBetween(
        [this] {
            mouse(QEvent::MouseButtonPress, Qt::LeftButton);
            ASSERT_EQ(viewer->screen().imageLayer().gravity, Gravity::Resize);
        },
        [this] { mouse(QEvent::MouseButtonRelease, Qt::NoButton); });
}

} // namespace
} // namespace tavolin
