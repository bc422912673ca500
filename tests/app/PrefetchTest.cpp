#include "app/ViewerFixture.h"
#include "platform/QualityOfService.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#ifdef Q_OS_LINUX
#include <sys/resource.h>
#endif

namespace tavolin {
namespace {

using test::waitFor;
using Numbers = std::vector<int>;

class Prefetch : public test::ViewerFixture
{
protected:
    /// Does as startOnPictures(), in a window whose pictures are quickly made: neighbours are
    /// decoded at a low priority.
    [[nodiscard]] testing::AssertionResult startSmall(int count, int first = 0)
    {
        const auto result = startOnPictures(count, first);
        return result && !resizeTo({300, 200})
                   ? testing::AssertionFailure() << "the window does not change its size"
                   : result;
    }

    /// The files whose decode has begun, once all neighbours that were asked for are done.
    [[nodiscard]] Numbers allStarted()
    {
        // The facts are read after them, on the same queue.
        EXPECT_TRUE(pauses.end(test::INFO_PAUSE));
        EXPECT_TRUE(waitFor([this] { return !detailText().empty(); }));
        return decoder.started();
    }

    /// Waits until the viewer has seen the result of @p number, which is held at the moment.
    [[nodiscard]] bool releaseAndSee(int number)
    {
        const int seen = mailbox.deliveries;
        decoder.release(number);
        return waitFor([&] { return mailbox.deliveries > seen; });
    }

    [[nodiscard]] std::ptrdiff_t startsOf(int number) const
    {
        const Numbers started = decoder.started();
        return std::count(started.begin(), started.end(), number);
    }
};

TEST_F(Prefetch, AtTheFirstPictureTakesTheTwoAfterIt)
{
    ASSERT_TRUE(startSmall(10));
    ASSERT_TRUE(prefetch(2));
    EXPECT_EQ(allStarted(), (Numbers{0, 1, 2}));
}

TEST_F(Prefetch, AsksAheadForWhatNobodyWaitsForYet)
{
    ASSERT_TRUE(startSmall(2));
    EXPECT_EQ(decoder.lastUrgency(), Urgency::Now);
    ASSERT_TRUE(prefetch(1));
    EXPECT_EQ(decoder.lastUrgency(), Urgency::Ahead);
}

TEST_F(Prefetch, AtTheLastPictureTakesTheTwoBeforeIt)
{
    ASSERT_TRUE(startSmall(10, 9));
    ASSERT_TRUE(prefetch(2));
    EXPECT_EQ(allStarted(), (Numbers{9, 8, 7}));
}

TEST_F(Prefetch, TakesTheNextThePreviousAndThenThoseBeyond)
{
    ASSERT_TRUE(startSmall(10, 5));
    ASSERT_TRUE(prefetch(4));
    EXPECT_EQ(allStarted(), (Numbers{5, 6, 4, 7, 3}));
}

TEST_F(Prefetch, OnlyPictureHasNoNeighbours)
{
    ASSERT_TRUE(startSmall(1));
    ASSERT_TRUE(prefetch(0));
    EXPECT_EQ(allStarted(), (Numbers{0}));
}

TEST_F(Prefetch, NothingIsDecodedBeforeThePauseIsOver)
{
    ASSERT_TRUE(startSmall(10, 5));
    EXPECT_EQ(allStarted(), (Numbers{5}));
}

TEST_F(Prefetch, DecodesForTheScreenAsItIs)
{
    ASSERT_TRUE(startSmall(2));
    ASSERT_TRUE(resizeTo({640, 480}));
    ASSERT_TRUE(prefetch(1));
    const DisplayTarget target = decoder.lastTarget();
    EXPECT_EQ(target.area, QRectF(0, 0, 640, 480));
    EXPECT_EQ(target.scale, 1.0);
    EXPECT_EQ(target.maxPixel, viewer->screen().maxPixel());
}

#ifdef Q_OS_LINUX
TEST_F(Prefetch, GivesWayAndTheLoadDoesNot)
{
    ASSERT_TRUE(startSmall(2));
    EXPECT_EQ(decoder.lastNiceness(), getpriority(PRIO_PROCESS, 0));
    ASSERT_TRUE(prefetch(1));
    EXPECT_EQ(decoder.lastNiceness(), UTILITY_NICENESS);
}
#endif

TEST_F(Prefetch, NextPicturesAreShownAtOnceWithoutAnotherDecode)
{
    ASSERT_TRUE(startSmall(10, 5));
    ASSERT_TRUE(prefetch(4));
    press(Qt::Key_Right);
    EXPECT_EQ(shownNumber(), 6); // no event has been served
    press(Qt::Key_Right);
    EXPECT_EQ(shownNumber(), 7);
    EXPECT_EQ(decoder.started(), (Numbers{5, 6, 4, 7, 3}));
}

TEST_F(Prefetch, PreviousPicturesAreShownAtOnceWithoutAnotherDecode)
{
    ASSERT_TRUE(startSmall(10, 5));
    ASSERT_TRUE(prefetch(4));
    press(Qt::Key_Left);
    EXPECT_EQ(shownNumber(), 4);
    press(Qt::Key_Left);
    EXPECT_EQ(shownNumber(), 3);
    EXPECT_EQ(decoder.started(), (Numbers{5, 6, 4, 7, 3}));
}

TEST_F(Prefetch, TwoPicturesSoonAfterEachOtherMakeOnePassForTheSecond)
{
    ASSERT_TRUE(startSmall(20, 5));
    viewer->browser().jumpTo(12);
    ASSERT_TRUE(waitForLoads(2));
    ASSERT_TRUE(prefetch(4));
    EXPECT_EQ(allStarted(), (Numbers{5, 12, 13, 11, 14, 10}));
}

TEST_F(Prefetch, PauseBeginsAnewWithTheNextPicture)
{
    ASSERT_TRUE(startSmall(20, 5));
    QTimer *pause = pauses.held(test::PREFETCH_PAUSE);
    ASSERT_NE(pause, nullptr);
    pause->setInterval(std::chrono::hours(1)); // for as long as it goes on
    viewer->browser().jumpTo(12);
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(pause->intervalAsDuration(), test::PREFETCH_PAUSE);
}

TEST_F(Prefetch, CachedPictureIsNotDecodedAgain)
{
    ASSERT_TRUE(startSmall(10, 5));
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(2));
    ASSERT_TRUE(prefetch(3));
    EXPECT_EQ(allStarted(), (Numbers{5, 6, 7, 8, 4}));
}

TEST_F(Prefetch, PictureThatIsBeingPrefetchedIsNotAskedForAgain)
{
    ASSERT_TRUE(startSmall(12, 5));
    decoder.hold(6);
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE)); // for 6, 4, 7 and 3
    ASSERT_TRUE(waitForStarts(2));
    viewer->browser().jumpTo(8);
    ASSERT_TRUE(waitForLoads(2));
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE)); // for 9 and 10
    decoder.release(6);
    EXPECT_EQ(allStarted(), (Numbers{5, 6, 8, 4, 7, 3, 9, 10}));
}

TEST_F(Prefetch, FailedPictureIsTriedAgainAtTheNextPass)
{
    decoder.setCorrupt(1);
    ASSERT_TRUE(startSmall(3));
    ASSERT_TRUE(prefetch(2));
    decoder.setCorrupt(1, false);
    viewer->browser().jumpTo(2);
    ASSERT_TRUE(prefetch(1));
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 2, 1}));
    press(Qt::Key_Left);
    EXPECT_EQ(shownNumber(), 1);
}

TEST_F(Prefetch, FailedPictureIsDecodedWhenTheUserComesToIt)
{
    decoder.setCorrupt(1);
    ASSERT_TRUE(startSmall(3));
    ASSERT_TRUE(prefetch(2));
    decoder.setCorrupt(1, false);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 1; }));
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 2, 1}));
}

TEST_F(Prefetch, PictureAskedForDoesNotWaitForANeighbour)
{
    ASSERT_TRUE(startSmall(10));
    decoder.hold(1);
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE));
    ASSERT_TRUE(waitForStarts(2));
    viewer->browser().jumpTo(5);
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(shownNumber(), 5);
}

TEST_F(Prefetch, ResultThatTheUserHasMovedAwayFromIsDropped)
{
    ASSERT_TRUE(startSmall(30, 10));
    decoder.hold(11);
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE));
    ASSERT_TRUE(waitForStarts(2));
    viewer->browser().jumpTo(20);
    ASSERT_TRUE(waitForLoads(2));
    ASSERT_TRUE(releaseAndSee(11));
    viewer->browser().jumpTo(11);
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 11; }));
    EXPECT_EQ(startsOf(11), 2);
}

TEST_F(Prefetch, DroppedResultMayBeTriedAgain)
{
    ASSERT_TRUE(startSmall(30, 10));
    decoder.hold(11);
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE));
    ASSERT_TRUE(waitForStarts(2));
    viewer->browser().jumpTo(20);
    ASSERT_TRUE(waitForLoads(2));
    ASSERT_TRUE(releaseAndSee(11));
    viewer->browser().jumpTo(13);
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 13; }));
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE)); // for 14, 12, 15 and 11
    EXPECT_TRUE(waitFor([this] { return startsOf(11) == 2; }));
}

TEST_F(Prefetch, ResultThreeStepsAwayIsKept)
{
    ASSERT_TRUE(startSmall(12, 5));
    decoder.hold(7);
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE));
    ASSERT_TRUE(waitForStarts(4)); // 5, 6, 4 and 7
    viewer->browser().jumpTo(4);
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 4; }));
    ASSERT_TRUE(releaseAndSee(7));
    viewer->browser().jumpTo(7);
    EXPECT_EQ(shownNumber(), 7);
    EXPECT_EQ(startsOf(7), 1);
}

TEST_F(Prefetch, ResultFourStepsAwayIsDropped)
{
    ASSERT_TRUE(startSmall(12, 5));
    decoder.hold(7);
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE));
    ASSERT_TRUE(waitForStarts(4));
    viewer->browser().jumpTo(3);
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 3; }));
    ASSERT_TRUE(releaseAndSee(7));
    viewer->browser().jumpTo(7);
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 7; }));
    EXPECT_EQ(startsOf(7), 2);
}

TEST_F(Prefetch, ResultOfAnEarlierFolderIsNotCached)
{
    const auto second = makePictures("second", 100, 109);
    ASSERT_TRUE(startSmall(2));
    decoder.hold(1);
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE));
    ASSERT_TRUE(waitForStarts(2));
    open(second);
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 100; }));
    EXPECT_TRUE(waitFor([this] { return decoder.stopped() == Numbers{1}; }));
    press(Qt::Key_Right);
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 101; }));
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 100, 101}));
}

TEST_F(Prefetch, JobOfAnEarlierFolderDoesNotBlockTheSamePlaceInTheNewOne)
{
    const auto second = makePictures("second", 100, 101);
    ASSERT_TRUE(startSmall(2));
    decoder.hold(1);
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE));
    ASSERT_TRUE(waitForStarts(2));
    open(second);
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 100; }));
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE));
    EXPECT_TRUE(waitForStarts(4));
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 100, 101}));
}

TEST_F(Prefetch, EndOfAnEarlierFoldersJobDoesNotPassForThatOfTheNewOnes)
{
    const auto second = makePictures("second", 100, 102);
    ASSERT_TRUE(startSmall(2));
    decoder.hold(1);
    decoder.hold(101);
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE));
    ASSERT_TRUE(waitForStarts(2));
    open(second);
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 100; }));
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE)); // for 101 and 102
    ASSERT_TRUE(waitForStarts(4));
    viewer->browser().jumpTo(2);
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 102; }));
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE)); // 101 is under way
    decoder.release(101);
    const Numbers started = allStarted();
    EXPECT_EQ(std::count(started.begin(), started.end(), 101), 1);
}

TEST_F(Prefetch, ViewerThatGoesStopsItsJobs)
{
    ASSERT_TRUE(startSmall(10, 5));
    decoder.closeGate();
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE));
    ASSERT_TRUE(waitForStarts(2));
    viewer.reset();
    EXPECT_EQ(decoder.started(), (Numbers{5, 6}));
    EXPECT_EQ(decoder.finishedCount(), 2);
}

/// Pictures whose display images have fewer pixels than their files and than the screen.
class SharpPrefetch : public Prefetch
{
protected:
    SharpPrefetch()
    {
        for (int number = 0; number < 10; ++number)
            decoder.setPixelSize(number, QSize(6000, 4000));
    }

    [[nodiscard]] const Image &rendition() const { return viewer->screen().imageLayer().rendition; }

    /// Whether the rendition on screen is the sharp one of @p index.
    [[nodiscard]] bool showsSharp(int index) const
    {
        const auto picture = viewer->browser().picture(index);
        return picture && picture->isSharp && picture->rendition.isSameAs(rendition());
    }

    /// Waits until the sharp decode of @p number has begun, which is held.
    [[nodiscard]] bool beginSharpening(int number)
    {
        decoder.hold(number);
        return pauses.end(test::PREFETCH_PAUSE) &&
               waitFor([&] { return decoder.sharpened() == Numbers{number}; });
    }
};

TEST_F(SharpPrefetch, ComesBeforeTheNeighboursAndTheirsLast)
{
    ASSERT_TRUE(startSmall(10, 5));
    ASSERT_TRUE(prefetch(7));
    EXPECT_EQ(allStarted(), (Numbers{5, 5, 6, 4, 7, 3, 6, 4}));
    EXPECT_EQ(decoder.sharpened(), (Numbers{5, 6, 4}));
    EXPECT_EQ(decoder.lastUrgency(), Urgency::Ahead);
}

TEST_F(SharpPrefetch, TakesThePlaceOfTheStretchedOne)
{
    ASSERT_TRUE(startSmall(1));
    const Image stretched = rendition();
    const QImage before = grabView();
    ASSERT_TRUE(prefetch(1));
    EXPECT_TRUE(showsSharp(0));
    EXPECT_FALSE(rendition().isSameAs(stretched));
    EXPECT_EQ(rendition().size(), stretched.size());
    EXPECT_EQ(decoder.lastTarget().exactly, stretched.size());
    EXPECT_EQ(grabView(), before); // same place, same colours
}

TEST_F(SharpPrefetch, OfNeighboursIsShownAtOnce)
{
    ASSERT_TRUE(startSmall(10, 5));
    ASSERT_TRUE(prefetch(7));
    press(Qt::Key_Right);
    EXPECT_EQ(shownNumber(), 6);
    EXPECT_TRUE(showsSharp(6));
}

TEST_F(SharpPrefetch, IsNotMadeWhereTheFileHasNoMorePixels)
{
    decoder.setPixelSize(0, QSize(30, 20));
    decoder.setPixelSize(1, std::nullopt);
    ASSERT_TRUE(startSmall(2));
    ASSERT_TRUE(prefetch(1));
    EXPECT_EQ(allStarted(), (Numbers{0, 1}));
}

TEST_F(SharpPrefetch, IsNotMadeWhereTheScreenHasNoMorePixels)
{
    decoder.setSize(0, QSize(300, 200));
    ASSERT_TRUE(startSmall(1));
    ASSERT_TRUE(prefetch(0));
    EXPECT_EQ(allStarted(), (Numbers{0}));
}

TEST_F(SharpPrefetch, IsTriedOnceWhereItFails)
{
    ASSERT_TRUE(startSmall(1));
    decoder.setCorrupt(0);
    ASSERT_TRUE(prefetch(1));
    EXPECT_EQ(allStarted(), (Numbers{0, 0}));
    EXPECT_EQ(shownNumber(), 0);
}

TEST_F(SharpPrefetch, IsDroppedByAStep)
{
    ASSERT_TRUE(startSmall(10, 5));
    ASSERT_TRUE(beginSharpening(5));
    press(Qt::Key_Right);
    EXPECT_TRUE(waitFor([this] { return decoder.stopped() == Numbers{5}; }));
    EXPECT_TRUE(waitFor([this] { return shownNumber() == 6; }));
    EXPECT_FALSE(viewer->browser().picture(5)->isSharp);
}

TEST_F(SharpPrefetch, OfAnotherSizeIsMadeForAViewThatHasChanged)
{
    ASSERT_TRUE(startSmall(1));
    ASSERT_TRUE(beginSharpening(0));
    ASSERT_TRUE(resizeTo({600, 400}));
    EXPECT_TRUE(waitFor([this] { return decoder.stopped() == Numbers{0}; }));
    decoder.release(0);
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE));
    EXPECT_TRUE(waitFor([this] { return showsSharp(0); }));
    EXPECT_EQ(rendition().size(), QSize(600, 400));
}

TEST_F(SharpPrefetch, IsDroppedByCropModeAndMadeAfterIt)
{
    ASSERT_TRUE(startSmall(1));
    ASSERT_TRUE(beginSharpening(0));
    press(Qt::Key_X);
    ASSERT_TRUE(viewer->screen().isCropping());
    EXPECT_TRUE(waitFor([this] { return decoder.stopped() == Numbers{0}; }));
    decoder.release(0);
    press(Qt::Key_Escape);
    ASSERT_FALSE(viewer->screen().isCropping());
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE));
    EXPECT_TRUE(waitFor([this] { return showsSharp(0); }));
}

TEST_F(SharpPrefetch, IsStillThereAfterCropMode)
{
    ASSERT_TRUE(startSmall(1));
    ASSERT_TRUE(prefetch(1));
    ASSERT_TRUE(showsSharp(0));
    press(Qt::Key_X);
    EXPECT_FALSE(showsSharp(0));
    press(Qt::Key_Escape);
    EXPECT_TRUE(showsSharp(0));
}

TEST_F(SharpPrefetch, ThatComesInCropModeIsShownAfterItWithoutAnotherDecode)
{
    ASSERT_TRUE(startSmall(1));
    press(Qt::Key_X);
    const Image underTheBox = rendition();
    ASSERT_TRUE(prefetch(1));
    ASSERT_TRUE(viewer->browser().picture(0)->isSharp);
    EXPECT_TRUE(rendition().isSameAs(underTheBox));
    press(Qt::Key_Escape);
    EXPECT_FALSE(showsSharp(0));
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE));
    EXPECT_TRUE(showsSharp(0));
    EXPECT_EQ(decoder.sharpened(), Numbers{0});
}

TEST_F(SharpPrefetch, LeavesTheLoupeAloneAndIsThereWhenItEnds)
{
    ASSERT_TRUE(startSmall(1));
    ASSERT_TRUE(beginSharpening(0));
    viewer->loupe().zoomBegin({150, 100});
    ASSERT_TRUE(viewer->loupe().isZooming());
    const QRectF frame = viewer->screen().imageLayer().frame;
    decoder.release(0);
    EXPECT_TRUE(waitFor([this] { return viewer->browser().picture(0)->isSharp; }));
    EXPECT_TRUE(viewer->loupe().isZooming());
    EXPECT_EQ(viewer->screen().imageLayer().frame, frame);
    viewer->loupe().zoomEnd();
    EXPECT_TRUE(showsSharp(0));
}

} // namespace
} // namespace tavolin
