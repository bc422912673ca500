#include "app/ViewerFixture.h"

#include "app/TextLabel.h"
#include "app/ViewerView.h"
#include "logic/Printing.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace tavolin {
namespace {

using test::waitFor;
using Clock = std::chrono::steady_clock;

/// How long messages stay, less what the timer may be early: it is a coarse one.
constexpr auto LEAST_STATUS_TIME = 1400ms - 1400ms / 20;
/// More than they may stay: a busy machine is late.
constexpr auto MOST_STATUS_TIME = 1400ms + 2000ms;

class Labels : public test::ViewerFixture
{
protected:
    /// The time from now on until the status line is empty.
    [[nodiscard]] Clock::duration timeUntilStatusIsEmpty() const
    {
        const auto begin = Clock::now();
        EXPECT_TRUE(waitFor([this] { return statusText().empty(); }));
        return Clock::now() - begin;
    }
};

/// Whether text in the label colour (0, 212, 255) is in @p rect. The edges of letters are mixed
/// with what is behind them, but some pixels are inside a stroke.
bool hasText(const QImage &image, const QRect &rect)
{
    for (int y = rect.y(); y < rect.y() + rect.height(); ++y) {
        for (int x = rect.x(); x < rect.x() + rect.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            if (qRed(pixel) < 30 && std::abs(qGreen(pixel) - 212) < 30 && qBlue(pixel) > 225)
                return true;
        }
    }
    return false;
}

TEST_F(Labels, LieInTheCornersOfALargeWindow)
{
    start({"--bench"});
    ASSERT_TRUE(resizeTo({1000, 700}));
    EXPECT_EQ(infoLabel->geometry(), QRect(20, 16, 960, 22));
    EXPECT_EQ(detailLabel->geometry(), QRect(20, 42, 960, 18));
    EXPECT_EQ(statusLabel->geometry(), QRect(0, 620, 1000, 30));
}

TEST_F(Labels, LieInTheCornersOfASmallWindow)
{
    start({"--bench"});
    ASSERT_TRUE(resizeTo({640, 480}));
    EXPECT_EQ(infoLabel->geometry(), QRect(20, 16, 600, 22));
    EXPECT_EQ(detailLabel->geometry(), QRect(20, 42, 600, 18));
    EXPECT_EQ(statusLabel->geometry(), QRect(0, 400, 640, 30));
}

TEST_F(Labels, AreLaidOutBeforeAnythingIsResized)
{
    start({"--bench"});
    ASSERT_TRUE(waitFor([this] { return infoLabel->width() == view->width() - 40; }));
    EXPECT_EQ(infoLabel->pos(), QPoint(20, 16));
    EXPECT_EQ(statusLabel->y(), view->height() - 80);
}

TEST_F(Labels, LetTheMouseThrough)
{
    start({"--bench"});
    for (const TextLabel *label : {infoLabel, detailLabel, statusLabel})
        EXPECT_TRUE(label->testAttribute(Qt::WA_TransparentForMouseEvents));
}

TEST_F(Labels, TextIsCyanOverBlack)
{
    start({"--bench"});
    ASSERT_TRUE(resizeTo({640, 480}));
    viewer->showInfo(u"HELLO"_s);
    const QImage image = grabView();
    EXPECT_TRUE(hasText(image, infoLabel->geometry()));
    EXPECT_FALSE(hasText(image, statusLabel->geometry()));
}

TEST_F(Labels, TextHasAShadowToTheRightAndBelow)
{
    ASSERT_TRUE(startOnPictures(1));
    ASSERT_TRUE(resizeTo({600, 400})); // all of it is picture
    viewer->showInfo({});
    const QImage bare = grabView();
    viewer->showInfo(u"||||"_s);
    const QImage image = grabView();
    const auto isDarker = [&](int x, int y) {
        return qBlue(image.pixel(x, y)) < 60 && qBlue(bare.pixel(x, y)) == 128;
    };
    int shadows = 0;
    const QRect line = infoLabel->geometry();
    for (int y = line.y() + 1; y < line.y() + line.height(); ++y) {
        for (int x = line.x() + 1; x < line.x() + line.width(); ++x)
            shadows += isDarker(x, y) ? 1 : 0;
    }
    EXPECT_GT(shadows, 0);
}

TEST_F(Labels, InfoLineCountsUpWithEveryStepThoughPicturesLag)
{
    ASSERT_TRUE(startOnPictures(12));
    decoder.closeGate();
    const char *const lines[] = {
        "2/12 | 001.jpg   [H=วิธีใช้]",  "3/12 | 002.jpg   [H=วิธีใช้]",  "4/12 | 003.jpg   [H=วิธีใช้]",
        "5/12 | 004.jpg   [H=วิธีใช้]",  "6/12 | 005.jpg   [H=วิธีใช้]",  "7/12 | 006.jpg   [H=วิธีใช้]",
        "8/12 | 007.jpg   [H=วิธีใช้]",  "9/12 | 008.jpg   [H=วิธีใช้]",  "10/12 | 009.jpg   [H=วิธีใช้]",
        "11/12 | 010.jpg   [H=วิธีใช้]", "12/12 | 011.jpg   [H=วิธีใช้]",
    };
    for (const char *line : lines) {
        press(Qt::Key_Right);
        EXPECT_EQ(infoText(), line);
        EXPECT_EQ(shownNumber(), 0);
    }
}

TEST_F(Labels, UpdatingTheInfoLineWithoutAListLeavesItAlone)
{
    start({"--bench"});
    viewer->showInfo(u"anything"_s);
    viewer->updateInfoText();
    EXPECT_EQ(infoText(), "anything");
}

TEST_F(Labels, MessageClearsItself)
{
    start({"--bench"});
    viewer->showStatus(u"message"_s, true);
    EXPECT_EQ(statusText(), "message");
    const auto time = timeUntilStatusIsEmpty();
    EXPECT_GE(time, LEAST_STATUS_TIME);
    EXPECT_LE(time, MOST_STATUS_TIME);
}

TEST_F(Labels, SecondMessageStaysForItsWholeTime)
{
    start({"--bench"});
    viewer->showStatus(u"first"_s, true);
    const auto begin = Clock::now();
    ASSERT_TRUE(waitFor([begin] { return Clock::now() - begin >= 1s; }));
    viewer->showStatus(u"second"_s, true);
    EXPECT_EQ(statusText(), "second");
    EXPECT_GE(timeUntilStatusIsEmpty(), LEAST_STATUS_TIME);
}

TEST_F(Labels, MessageForAStateIsNotClearedByAnEarlierOne)
{
    start({"--bench"});
    viewer->showStatus(u"first"_s, true);
    viewer->showStatus(u"lasting"_s, false);
    const auto begin = Clock::now();
    ASSERT_TRUE(waitFor([begin] { return Clock::now() - begin >= 1800ms; }));
    EXPECT_EQ(statusText(), "lasting");
}

} // namespace
} // namespace tavolin
