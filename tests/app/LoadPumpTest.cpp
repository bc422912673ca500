#include "app/ViewerFixture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

using namespace std::chrono_literals;

namespace tavolin {
namespace {

using test::waitFor;
using test::waitWithoutEvents;
using Numbers = std::vector<int>;

/// A decode older than two seconds is late. Timers of that length may end 5 % earlier or later.
constexpr auto NOT_YET_LATE = 1900ms;
constexpr auto SURELY_LATE = 2200ms;

class LoadPump : public test::ViewerFixture
{
protected:
    /// Steps to picture 1 of 5, whose decode does not end, and waits until that is late.
    [[nodiscard]] bool startALateDecode()
    {
        decoder.hold(1);
        if (!startOnPictures(5))
            return false;
        press(Qt::Key_Right);
        if (!waitForStarts(2))
            return false;
        QTest::qWait(std::chrono::milliseconds(SURELY_LATE).count());
        return true;
    }
};

TEST_F(LoadPump, StepForwardShowsTheNextPicture)
{
    ASSERT_TRUE(startOnPictures(3));
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(shownNumber(), 1);
    press(Qt::Key_Space);
    ASSERT_TRUE(waitForLoads(3));
    EXPECT_EQ(shownNumber(), 2);
}

TEST_F(LoadPump, DecodeIsAskedForTheScreenAsItIs)
{
    ASSERT_TRUE(startOnPictures(2));
    ASSERT_TRUE(resizeTo({640, 480}));
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(2));
    const DisplayTarget target = decoder.lastTarget();
    EXPECT_EQ(target.area, QRectF(0, 0, 640, 480));
    EXPECT_EQ(target.scale, 1.0);
    EXPECT_EQ(target.maxPixel, viewer->screen().maxPixel());
    EXPECT_GE(target.maxPixel, 640);
}

TEST_F(LoadPump, LeftAtTheFirstPictureDoesNothing)
{
    ASSERT_TRUE(startOnPictures(3));
    const std::string info = infoText();
    press(Qt::Key_Left);
    EXPECT_EQ(infoText(), info);
    EXPECT_EQ(statusText(), "");
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(decoder.started(), (Numbers{0, 1}));
    EXPECT_EQ(shownNumber(), 1);
}

TEST_F(LoadPump, RightAndSpaceAtTheLastPictureDoNothing)
{
    ASSERT_TRUE(startOnPictures(3, 2));
    const std::string info = infoText();
    press(Qt::Key_Right);
    press(Qt::Key_Space);
    EXPECT_EQ(infoText(), info);
    EXPECT_EQ(statusText(), "");
    press(Qt::Key_Left);
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(decoder.started(), (Numbers{2, 1}));
    EXPECT_EQ(shownNumber(), 1);
}

TEST_F(LoadPump, HeldKeyDecodesOnlyTheNewestTargetAndShowsWhatWasLoaded)
{
    ASSERT_TRUE(startOnPictures(60));
    decoder.closeGate();
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForStarts(2));
    Numbers shown;
    // 49 further presses; a load comes to an end after every seventh.
    for (int load = 1; load <= 7; ++load) {
        const auto before = shownNumber();
        for (int i = 0; i < 7; ++i) {
            press(Qt::Key_Right);
            EXPECT_EQ(shownNumber(), before);
        }
        decoder.letOneThrough();
        ASSERT_TRUE(waitForLoads(1 + load));
        shown.push_back(shownNumber().value_or(-1));
        ASSERT_TRUE(waitForStarts(2 + static_cast<std::size_t>(load)));
    }
    decoder.letOneThrough();
    ASSERT_TRUE(waitForLoads(9));
    shown.push_back(shownNumber().value_or(-1));
    EXPECT_EQ(shown, (Numbers{1, 8, 15, 22, 29, 36, 43, 50}));
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 8, 15, 22, 29, 36, 43, 50}));
    EXPECT_EQ(decoder.finishedCount(), 9);
}

TEST_F(LoadPump, NothingIsDecodedAfterTheFinalTarget)
{
    ASSERT_TRUE(startOnPictures(20));
    decoder.closeGate();
    for (int i = 0; i < 10; ++i)
        press(Qt::Key_Right);
    decoder.openGate();
    ASSERT_TRUE(waitForLoads(3));
    EXPECT_EQ(shownNumber(), 10);
    // A decode that should not be there would come before this one.
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(4));
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 10, 11}));
}

TEST_F(LoadPump, LoadThatTheUserHasLeftIsShownAndTheTargetIsLoadedAtOnce)
{
    decoder.closeGate();
    startLoading(12, 5);
    for (int i = 0; i < 4; ++i)
        press(Qt::Key_Right);
    ASSERT_TRUE(waitForStarts(1));
    EXPECT_EQ(shownNumber(), std::nullopt);
    decoder.letOneThrough();
    ASSERT_TRUE(waitForLoads(1));
    EXPECT_EQ(shownNumber(), 5);
    EXPECT_EQ(infoText(), "10/12 | 009.jpg   [H=วิธีใช้]");
    ASSERT_TRUE(waitForStarts(2));
    decoder.letOneThrough();
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(shownNumber(), 9);
    EXPECT_EQ(decoder.started(), (Numbers{5, 9}));
}

TEST_F(LoadPump, DecodeThatTheUserHasLeftIsGivenUpOnceItIsLate)
{
    decoder.hold(1);
    ASSERT_TRUE(startOnPictures(5));
    const auto begin = std::chrono::steady_clock::now();
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForStarts(2));
    press(Qt::Key_Right);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitFor([this] { return !decoder.stopped().empty(); }));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, NOT_YET_LATE);
    ASSERT_TRUE(waitForLoads(3));
    EXPECT_EQ(shownNumber(), 3);
    EXPECT_EQ(decoder.stopped(), Numbers{1});
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 3}));
}

TEST_F(LoadPump, LateDecodeIsGivenUpAsSoonAsTheUserLeavesIt)
{
    ASSERT_TRUE(startALateDecode());
    EXPECT_EQ(decoder.stopped(), Numbers()); // somebody waits for it
    press(Qt::Key_Right);
    ASSERT_TRUE(waitWithoutEvents([this] { return decoder.stopped() == Numbers{1}; }));
    ASSERT_TRUE(waitForLoads(3));
    EXPECT_EQ(shownNumber(), 2);
}

TEST_F(LoadPump, PictureWhoseDecodeWasGivenUpIsDecodedAgainForAUserWhoReturns)
{
    ASSERT_TRUE(startALateDecode());
    press(Qt::Key_Right);
    press(Qt::Key_Left);
    ASSERT_TRUE(waitWithoutEvents([this] { return decoder.stopped() == Numbers{1}; }));
    decoder.release(1);
    ASSERT_TRUE(waitForLoads(3));
    EXPECT_EQ(shownNumber(), 1);
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 1}));
}

TEST_F(LoadPump, LateDecodeForAnEarlierListIsGivenUp)
{
    const auto second = makePictures("second", 100, 102);
    ASSERT_TRUE(startALateDecode());
    open(second);
    ASSERT_TRUE(waitWithoutEvents([this] { return decoder.stopped() == Numbers{1}; }));
    ASSERT_TRUE(waitForLoads(3));
    EXPECT_EQ(shownNumber(), 100);
}

TEST_F(LoadPump, NextDecodeHasItsOwnTime)
{
    ASSERT_TRUE(startALateDecode());
    decoder.hold(2);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForStarts(3)); // of 2
    press(Qt::Key_Right);
    test::serveWaitingEvents();
    EXPECT_EQ(decoder.stopped(), Numbers{1});
    decoder.release(2);
    ASSERT_TRUE(waitForLoads(4));
    EXPECT_EQ(decoder.stopped(), Numbers{1});
    EXPECT_EQ(shownNumber(), 3);
}

TEST_F(LoadPump, ReturningToThePictureBeingLoadedLoadsItOnce)
{
    ASSERT_TRUE(startOnPictures(5));
    decoder.closeGate();
    press(Qt::Key_Right);
    press(Qt::Key_Right);
    press(Qt::Key_Left);
    decoder.openGate();
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(shownNumber(), 1);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(3));
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 2}));
}

TEST_F(LoadPump, CachedPictureIsShownAtOnceAndNotDecodedAgain)
{
    ASSERT_TRUE(startOnPictures(4));
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(2));
    decoder.closeGate();
    press(Qt::Key_Left);
    EXPECT_EQ(shownNumber(), 0); // no event has been served
    press(Qt::Key_Right);
    EXPECT_EQ(shownNumber(), 1);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForStarts(3));
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 2}));
}

TEST_F(LoadPump, PictureFourStepsAwayIsDecodedAgain)
{
    ASSERT_TRUE(startOnPictures(6));
    for (int load = 2; load <= 5; ++load) {
        press(Qt::Key_Right);
        ASSERT_TRUE(waitForLoads(load));
    }
    for (int i = 0; i < 4; ++i)
        press(Qt::Key_Left);
    ASSERT_TRUE(waitForLoads(6));
    EXPECT_EQ(shownNumber(), 0);
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 2, 3, 4, 0}));
}

TEST_F(LoadPump, CorruptFileLeavesThePictureAndMovesThePosition)
{
    decoder.setCorrupt(1);
    ASSERT_TRUE(startOnPictures(3));
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(shownNumber(), 0);
    EXPECT_EQ(infoText(), "2/3 | 001.jpg   [H=วิธีใช้]");
    EXPECT_EQ(statusText(), "");
}

TEST_F(LoadPump, CorruptFileDoesNotHoldUpTheNext)
{
    decoder.setCorrupt(1);
    ASSERT_TRUE(startOnPictures(3));
    decoder.closeGate();
    press(Qt::Key_Right);
    press(Qt::Key_Right);
    decoder.openGate();
    ASSERT_TRUE(waitForLoads(3));
    EXPECT_EQ(shownNumber(), 2);
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 2}));
}

TEST_F(LoadPump, ReturningToACorruptFileTriesAgain)
{
    decoder.setCorrupt(1);
    ASSERT_TRUE(startOnPictures(3));
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(2));
    decoder.setCorrupt(1, false);
    press(Qt::Key_Left);
    EXPECT_EQ(shownNumber(), 0);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(3));
    EXPECT_EQ(shownNumber(), 1);
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 1}));
}

TEST_F(LoadPump, CorruptFirstFileStaysBlack)
{
    decoder.setCorrupt(0);
    startLoading(2);
    ASSERT_TRUE(waitForLoads(1));
    EXPECT_EQ(shownNumber(), std::nullopt);
    EXPECT_EQ(infoText(), "1/2 | 000.jpg   [H=วิธีใช้]");
}

TEST_F(LoadPump, ResultForAnEarlierListIsNeitherShownNorCached)
{
    const auto second = makePictures("second", 100, 102);
    decoder.closeGate();
    startLoading(3);
    ASSERT_TRUE(waitForStarts(1));
    open(second); // its target has the same number: 0
    decoder.letOneThrough();
    ASSERT_TRUE(waitForLoads(1));
    EXPECT_EQ(shownNumber(), std::nullopt);
    // Were it in the cache, the first picture of the new list would not be decoded.
    ASSERT_TRUE(waitForStarts(2));
    decoder.letOneThrough();
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(shownNumber(), 100);
    EXPECT_EQ(decoder.started(), (Numbers{0, 100}));
}

TEST_F(LoadPump, ResultForAnEarlierListIsFollowedByThePresentTarget)
{
    const auto second = makePictures("second", 100, 110);
    decoder.closeGate();
    startLoading(3);
    ASSERT_TRUE(waitForStarts(1));
    open(second);
    for (int i = 0; i < 7; ++i)
        press(Qt::Key_Right);
    decoder.openGate();
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 107; }));
    // The first of the new list is begun where the earlier decode ends before the steps.
    const Numbers started = decoder.started();
    EXPECT_TRUE(started == (Numbers{0, 107}) || started == (Numbers{0, 100, 107}));
}

TEST_F(LoadPump, ResultForAnEarlierListDoesNotFillAnEmptyOne)
{
    const auto empty = makePictures("empty", 0, -1);
    decoder.closeGate();
    startLoading(3);
    ASSERT_TRUE(waitForStarts(1));
    open(empty);
    decoder.letOneThrough();
    ASSERT_TRUE(waitForLoads(1));
    EXPECT_EQ(shownNumber(), std::nullopt);
    // The pump is free for the next list.
    open(makePictures("second", 100, 102));
    decoder.letOneThrough();
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(shownNumber(), 100);
}

TEST_F(LoadPump, OpeningAFolderForgetsTheCache)
{
    ASSERT_TRUE(startOnPictures(3));
    open(folder / "pictures");
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(decoder.started(), (Numbers{0, 0}));
}

TEST_F(LoadPump, PictureStaysUntilThatOfTheNewFolderIsLoaded)
{
    ASSERT_TRUE(startOnPictures(3));
    decoder.closeGate();
    open(makePictures("second", 100, 102));
    ASSERT_TRUE(waitForStarts(2));
    EXPECT_EQ(shownNumber(), 0);
}

TEST_F(LoadPump, ViewerThatGoesStopsItsDecode)
{
    decoder.closeGate();
    startLoading(3);
    ASSERT_TRUE(waitForStarts(1));
    viewer.reset();
    EXPECT_EQ(decoder.finishedCount(), 1);
}

TEST_F(LoadPump, ResultForAViewerThatHasGoneIsDropped)
{
    decoder.closeGate();
    startLoading(3);
    ASSERT_TRUE(waitForStarts(1));
    viewer.reset();
    EXPECT_EQ(mailbox.deliveries, 0);
    EXPECT_TRUE(waitForLoads(1));
}

} // namespace
} // namespace tavolin
