#include "app/ViewerFixture.h"

#include "app/HelpView.h"
#include "logic/Printing.h"
#include "screen/ViewerView.h"

#include <QApplication>
#include <QMainWindow>
#include <QPointer>

#include <gtest/gtest.h>

#include <chrono>

namespace tavolin {
namespace {

using test::waitFor;

class Help : public test::ViewerFixture
{
protected:
    /// The help page; none when it is not shown.
    [[nodiscard]] HelpView *page() const
    {
        for (QWidget *child : view->findChildren<QWidget *>()) {
            if (auto *help = dynamic_cast<HelpView *>(child); help && help->isVisible())
                return help;
        }
        return nullptr;
    }

    [[nodiscard]] testing::AssertionResult isCentred() const
    {
        const QRect place = page()->geometry();
        const QSize right(view->size() - place.size() - QSize(place.x(), place.y()));
        // An odd point is to the right of it and below.
        const QPoint off(right.width() - place.x(), right.height() - place.y());
        if (off.x() < 0 || off.x() > 1 || off.y() < 0 || off.y() > 1)
            return testing::AssertionFailure() << "off by " << off.x() << ',' << off.y();
        return testing::AssertionSuccess();
    }
};

TEST_F(Help, HShowsThePage)
{
    start({"--bench"});
    EXPECT_EQ(page(), nullptr);
    press(Qt::Key_H);
    EXPECT_NE(page(), nullptr);
}

TEST_F(Help, SecondHEndsThePage)
{
    start({"--bench"});
    press(Qt::Key_H);
    const QPointer<QWidget> shown = page();
    press(Qt::Key_H);
    EXPECT_EQ(page(), nullptr);
    EXPECT_TRUE(shown.isNull());
}

TEST_F(Help, ThirdHShowsItAgain)
{
    start({"--bench"});
    press(Qt::Key_H);
    press(Qt::Key_H);
    press(Qt::Key_H);
    EXPECT_NE(page(), nullptr);
}

TEST_F(Help, EscapeOnlyClosesThePage)
{
    constexpr int STILL_RUNNING = 7;
    start({"--bench"});
    QTimer::singleShot(0, view, [this] {
        press(Qt::Key_H);
        press(Qt::Key_Escape);
        EXPECT_EQ(page(), nullptr);
        // A quit closes the window at once.
        EXPECT_TRUE(window->isVisible());
        QTimer::singleShot(0, view, [] { QCoreApplication::exit(STILL_RUNNING); });
    });
    EXPECT_EQ(QApplication::exec(), STILL_RUNNING);
}

TEST_F(Help, OtherCommandsWorkBelowIt)
{
    ASSERT_TRUE(startOnPictures(3));
    press(Qt::Key_H);
    press(Qt::Key_Right);
    EXPECT_EQ(infoText(), "2/3 | 001.jpg   [H=วิธีใช้]");
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_NE(page(), nullptr);
}

TEST_F(Help, LiesInTheMiddle)
{
    start({"--bench"});
    ASSERT_TRUE(resizeTo({780, 600}));
    press(Qt::Key_H);
    ASSERT_NE(page(), nullptr);
    EXPECT_TRUE(isCentred());
}

TEST_F(Help, StaysInTheMiddleOfAChangedWindow)
{
    start({"--bench"});
    press(Qt::Key_H);
    ASSERT_TRUE(resizeTo({1001, 703}));
    ASSERT_NE(page(), nullptr);
    EXPECT_TRUE(isCentred());
}

TEST_F(Help, LiesOverThePictureAndTheLabels)
{
    ASSERT_TRUE(startOnPictures(1));
    press(Qt::Key_H);
    ASSERT_NE(page(), nullptr);
    EXPECT_EQ(view->children().back(), page());
    // 15 % of the picture shine through the margin of the page.
    const QRgb pixel = grabView().pixel(page()->geometry().center().x(), page()->y() + 5);
    EXPECT_NEAR(qGreen(pixel), 38, 1); // of 255
}

} // namespace
} // namespace tavolin
