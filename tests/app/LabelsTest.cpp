#include "app/ViewerFixture.h"

#include "logic/Printing.h"
#include "screen/TextLabel.h"
#include "screen/ViewerView.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace tavolin {
namespace {

using test::waitFor;
using Clock = std::chrono::steady_clock;

/// How long messages stay at least: a busy machine is late.
constexpr auto STATUS_TIME = 1400ms;

class Labels : public test::ViewerFixture
{
protected:
    /// Shows @p message and waits until the status line is empty again.
    [[nodiscard]] Clock::duration timeOf(const QString &message) const
    {
        const auto begin = Clock::now();
        viewer->labels().showStatus(message, true);
        EXPECT_EQ(statusText(), message.toStdString());
        EXPECT_TRUE(waitFor([this] { return statusText().empty(); }));
        return Clock::now() - begin;
    }
};

/// Where @p image has pixels of which @p predicate says true: all of them and no more.
template <typename Predicate>
QRect boundsOf(const QImage &image, Predicate predicate)
{
    QRect bounds;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (predicate(image.pixel(x, y)))
                bounds |= QRect(x, y, 1, 1);
        }
    }
    return bounds;
}

/// Whether @p pixel has the label colour (0, 212, 255). The edges of letters are mixed with what is
/// behind them, but some pixels are inside a stroke.
bool isText(QRgb pixel)
{
    return qRed(pixel) < 30 && std::abs(qGreen(pixel) - 212) < 30 && qBlue(pixel) > 225;
}

TEST_F(Labels, LieInTheCornersOfALargeWindow)
{
    start({"--bench"});
    ASSERT_TRUE(resizeTo({1000, 700}));
    EXPECT_EQ(infoLabel->placed(), QRect(20, 16, 960, 22));
    EXPECT_EQ(detailLabel->placed(), QRect(20, 42, 960, 18));
    EXPECT_EQ(statusLabel->placed(), QRect(0, 620, 1000, 30));
}

TEST_F(Labels, LieInTheCornersOfASmallWindow)
{
    start({"--bench"});
    ASSERT_TRUE(resizeTo({640, 480}));
    EXPECT_EQ(infoLabel->placed(), QRect(20, 16, 600, 22));
    EXPECT_EQ(detailLabel->placed(), QRect(20, 42, 600, 18));
    EXPECT_EQ(statusLabel->placed(), QRect(0, 400, 640, 30));
}

TEST_F(Labels, AreLaidOutBeforeAnythingIsResized)
{
    start({"--bench"});
    ASSERT_TRUE(waitFor([this] { return infoLabel->placed().width() == view->width() - 40; }));
    EXPECT_EQ(infoLabel->placed().topLeft(), QPoint(20, 16));
    EXPECT_EQ(statusLabel->placed().y(), view->height() - 80);
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
    viewer->labels().showInfo(u"HELLO"_s);
    const QImage image = grabView();
    EXPECT_FALSE(boundsOf(image.copy(infoLabel->placed()), isText).isEmpty());
    EXPECT_TRUE(boundsOf(image.copy(statusLabel->placed()), isText).isEmpty());
}

TEST_F(Labels, TextHasAShadowToTheRightAndBelow)
{
    ASSERT_TRUE(startOnPictures(1));
    ASSERT_TRUE(resizeTo({600, 400})); // all of it is picture, whose blue is 128
    viewer->labels().showInfo(u"|"_s);
    const QImage line = grabView().copy(infoLabel->geometry());
    const QRect text = boundsOf(line, [](QRgb pixel) { return qBlue(pixel) > 153; });
    const QRect shadow = boundsOf(line, [](QRgb pixel) { return qBlue(pixel) < 124; });
    ASSERT_FALSE(text.isEmpty());
    EXPECT_GE(shadow.left(), text.left());
    EXPECT_GE(shadow.right(), text.right() + 2); // a copy of the text would be one further
    EXPECT_GE(shadow.bottom(), text.bottom() + 2);
}

TEST_F(Labels, HaveRoomForTheHighestAndTheDeepestLetters)
{
    ASSERT_TRUE(startOnPictures(1));
    ASSERT_TRUE(resizeTo({600, 400}));
    for (TextLabel *label : {infoLabel, detailLabel, statusLabel}) {
        label->setText({});
        const QImage before = grabView().copy(label->geometry());
        label->setText(u"Åg|j ปู่ซื้อ ฎุฏู"_s);
        const QImage after = grabView().copy(label->geometry());
        EXPECT_NE(after, before);
        for (const int y : {0, after.height() - 1}) {
            for (int x = 0; x < after.width(); ++x)
                ASSERT_EQ(after.pixel(x, y), before.pixel(x, y)) << x;
        }
        label->setText({});
    }
}

TEST_F(Labels, TextIsDrawnAnewInAnotherSizeAndColor)
{
    start({"--bench"});
    viewer->labels().showStatus(u"HHH"_s, false);
    ASSERT_TRUE(resizeTo({640, 480}));
    const auto bounds = [this] { return boundsOf(grabView().copy(statusLabel->placed()), isText); };
    const QRect narrow = bounds();
    ASSERT_TRUE(resizeTo({1000, 480}));
    EXPECT_EQ(bounds(), narrow.translated(180, 0));
    statusLabel->setColor(Qt::red);
    EXPECT_FALSE(boundsOf(grabView(), [](QRgb pixel) { return pixel == 0xffff0000; }).isEmpty());
}

TEST_F(Labels, AreAsLargeAsTheyMatter)
{
    start({"--bench"});
    EXPECT_EQ(infoLabel->font().pixelSize(), 14);
    EXPECT_EQ(detailLabel->font().pixelSize(), 12);
    EXPECT_EQ(statusLabel->font().pixelSize(), 20);
}

TEST_F(Labels, StatusIsInTheMiddleAndTheOthersAreOnTheLeft)
{
    start({"--bench"});
    ASSERT_TRUE(resizeTo({640, 480}));
    viewer->labels().showStatus(u"HHH"_s, false);
    viewer->labels().showInfo(u"HHH"_s);
    const QImage image = grabView();
    const QRect status = boundsOf(image.copy(statusLabel->placed()), isText);
    const QRect info = boundsOf(image.copy(infoLabel->placed()), isText);
    EXPECT_GT(status.width(), 20);
    EXPECT_NEAR(status.x(), 640 - (status.x() + status.width()), 2);
    EXPECT_LE(info.x(), 2);
}

TEST_F(Labels, MessageWiderThanTheViewKeepsBothEnds)
{
    start({"--bench"});
    ASSERT_TRUE(resizeTo({640, 480}));
    viewer->labels().showStatus(u'H' + QString(400, u'.') + u'H', false);
    // The upper half of the line, where there are no dots.
    const QRect letters =
        boundsOf(grabView().copy({statusLabel->placed().topLeft(), QSize(640, 15)}), isText);
    EXPECT_LT(letters.x(), 20);
    EXPECT_GT(letters.x() + letters.width(), 620);
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
    viewer->labels().showInfo(u"anything"_s);
    viewer->browser().updateInfoText();
    EXPECT_EQ(infoText(), "anything");
}

TEST_F(Labels, MessageClearsItself)
{
    start({"--bench"});
    const auto time = timeOf(u"message"_s);
    EXPECT_GE(time, STATUS_TIME);
}

TEST_F(Labels, SecondMessageStaysForItsWholeTime)
{
    start({"--bench"});
    viewer->labels().showStatus(u"first"_s, true);
    const auto begin = Clock::now();
    ASSERT_TRUE(waitFor([begin] { return Clock::now() - begin >= 1s; }));
    EXPECT_GE(timeOf(u"second"_s), STATUS_TIME);
}

TEST_F(Labels, MessageForAStateIsNotClearedByAnEarlierOne)
{
    start({"--bench"});
    viewer->labels().showStatus(u"first"_s, true);
    viewer->labels().showStatus(u"lasting"_s, false);
    const auto begin = Clock::now();
    ASSERT_TRUE(waitFor([begin] { return Clock::now() - begin >= 1800ms; }));
    EXPECT_EQ(statusText(), "lasting");
}

} // namespace
} // namespace tavolin
