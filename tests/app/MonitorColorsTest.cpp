// What is shown follows the colours of the monitor.

#include "app/EditFixture.h"

#include "decoding/color/Color.h"
#include "decoding/TestProfiles.h"
#include "editing/CropOverlayView.h"

#include <algorithm>
#include <vector>

namespace tavolin {

namespace {

using namespace test;
using Numbers = std::vector<int>;

/// No monitor's, but nobody here reads it.
const char *const PROFILE = "a profile";

class MonitorColors : public ViewerFixture
{
protected:
    [[nodiscard]] QByteArray shownProfile() const
    {
        return viewer->screen().imageLayer().rendition.iccProfile();
    }
};

TEST_F(MonitorColors, AreAskedForWithEachDecode)
{
    ASSERT_TRUE(startOnPictures(2));
    EXPECT_TRUE(decoder.lastTarget().profile.isEmpty());
    viewer->showInColorsOf(PROFILE);
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(decoder.lastTarget().profile, PROFILE);
    EXPECT_EQ(decoder.started(), (Numbers{0, 0}));
    EXPECT_EQ(shownProfile(), PROFILE);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(3));
    EXPECT_EQ(decoder.lastTarget().profile, PROFILE);
    EXPECT_EQ(shownNumber(), 1);
}

TEST_F(MonitorColors, ChangeNothingWhereTheyStay)
{
    ASSERT_TRUE(startOnPictures(2));
    viewer->showInColorsOf({});
    EXPECT_TRUE(viewer->browser().isReady(0));
    EXPECT_EQ(decoder.started(), (Numbers{0}));
}

TEST_F(MonitorColors, OfBeforeStayOnScreenUntilTheNewOnesAreThere)
{
    ASSERT_TRUE(startOnPictures(2));
    decoder.closeGate();
    viewer->showInColorsOf(PROFILE);
    ASSERT_TRUE(waitForStarts(2));
    serveWaitingEvents();
    EXPECT_EQ(shownNumber(), 0);
    EXPECT_TRUE(shownProfile().isEmpty());
    decoder.openGate();
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(shownProfile(), PROFILE);
}

TEST_F(MonitorColors, OfBeforeAreNotShownWhenTheyComeLate)
{
    ASSERT_TRUE(startOnPictures(3));
    decoder.hold(1);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForStarts(2));
    viewer->showInColorsOf(PROFILE);
    decoder.release(1);
    ASSERT_TRUE(waitForLoads(3));
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 1}));
    EXPECT_EQ(shownNumber(), 1);
    EXPECT_EQ(shownProfile(), PROFILE);
}

TEST_F(MonitorColors, OfBeforeAreNotShownWhereTheyAreOnTheirWay)
{
    ASSERT_TRUE(startOnPictures(3));
    press(Qt::Key_Right);
    ASSERT_TRUE(waitWithoutEvents([this] { return decoder.finishedCount() == 2; }));
    viewer->showInColorsOf(PROFILE);
    ASSERT_TRUE(waitForLoads(3));
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 1}));
    EXPECT_EQ(shownProfile(), PROFILE);
}

TEST_F(MonitorColors, OfNeighboursAreDecodedAnew)
{
    ASSERT_TRUE(startOnPictures(3, 1));
    ASSERT_TRUE(prefetch(2));
    ASSERT_TRUE(viewer->browser().isReady(2));
    viewer->showInColorsOf(PROFILE);
    EXPECT_FALSE(viewer->browser().isReady(0));
    EXPECT_FALSE(viewer->browser().isReady(2));
    ASSERT_TRUE(waitForLoads(4));
    ASSERT_TRUE(prefetch(2));
    EXPECT_EQ(decoder.started(), (Numbers{1, 2, 0, 1, 2, 0}));
    press(Qt::Key_Right);
    EXPECT_EQ(shownProfile(), PROFILE);
}

TEST_F(MonitorColors, OfBeforeAreNotKeptWhenANeighbourComesLate)
{
    ASSERT_TRUE(startOnPictures(2));
    decoder.hold(1);
    ASSERT_TRUE(pauses.end(PREFETCH_PAUSE));
    ASSERT_TRUE(waitForStarts(2));
    viewer->showInColorsOf(PROFILE);
    ASSERT_TRUE(waitForLoads(2));
    decoder.release(1);
    ASSERT_TRUE(waitForLoads(3));
    EXPECT_FALSE(viewer->browser().isReady(1));
    EXPECT_TRUE(viewer->browser().isReady(0));
}

TEST_F(MonitorColors, DoNotKeepANeighbourFromBeingTakenAgain)
{
    ASSERT_TRUE(startOnPictures(2));
    decoder.hold(1);
    ASSERT_TRUE(pauses.end(PREFETCH_PAUSE));
    ASSERT_TRUE(waitForStarts(2));
    viewer->showInColorsOf(PROFILE);
    ASSERT_TRUE(waitForLoads(2));
    ASSERT_TRUE(pauses.end(PREFETCH_PAUSE)); // gives up the one that is held
    ASSERT_TRUE(waitForStarts(4));
    EXPECT_EQ(decoder.stopped(), (Numbers{1}));
    decoder.release(1);
    EXPECT_TRUE(waitFor([&] { return viewer->browser().isReady(1); }));
}

/// The same with real pictures, a monitor that exchanges channels, and edits.
class MonitorColorsOfEdits : public EditFixture
{
protected:
    /// Whether the middle of what is on screen's top left quarter, a red one, has @p color, and all
    /// of it is in the colours of @p profile.
    [[nodiscard]] bool shows(Pixel color, const QByteArray &profile) const
    {
        const Image &image = viewer->screen().imageLayer().rendition;
        return image.iccProfile() == profile &&
               image.row(image.height() / 4)[image.width() / 4] == color;
    }

    [[nodiscard]] bool waitForExchanged() const
    {
        return waitFor([this] { return shows(BLUE, MONITOR); });
    }

    static constexpr Pixel RED = 0xffff0000;
    static constexpr Pixel BLUE = 0xff0000ff;
    const QByteArray MONITOR = exchangedProfile();
};

TEST_F(MonitorColorsOfEdits, AreTheMonitorsAndTheEditedPicturesOwnStay)
{
    ASSERT_TRUE(openPictures());
    viewer->showInColorsOf(MONITOR);
    ASSERT_TRUE(waitForExchanged());
    ASSERT_TRUE(crop(WHOLE));
    EXPECT_TRUE(shows(BLUE, MONITOR));
    press(Qt::Key_Z, Qt::ControlModifier);
    ASSERT_TRUE(waitForStatus(BACK_TO_SOURCE));
    EXPECT_TRUE(shows(BLUE, MONITOR));
}

TEST_F(MonitorColorsOfEdits, FollowTheMonitor)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(TOP_LEFT_QUARTER));
    ASSERT_TRUE(shows(RED, {}));
    const QSize size = shownSize();
    viewer->showInColorsOf(MONITOR);
    EXPECT_TRUE(waitForExchanged());
    EXPECT_EQ(shownSize(), size); // still the edited one
    viewer->showInColorsOf({});
    EXPECT_TRUE(waitFor([this] { return shows(RED, {}); }));
    EXPECT_TRUE(viewer->browser().isCurrentShown());
}

TEST_F(MonitorColorsOfEdits, FollowTheMonitorDuringACrop)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    ASSERT_TRUE(overlay());
    setBox(TOP_LEFT_QUARTER);
    press(Qt::Key_Return);
    viewer->showInColorsOf(MONITOR);
    ASSERT_TRUE(waitForStatus(CROPPED));
    EXPECT_TRUE(waitForExchanged());
    EXPECT_EQ(shownSize(), QSize(200, 150));
}

TEST_F(MonitorColorsOfEdits, FollowTheMonitorDuringAnUndo)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(TOP_LEFT_QUARTER));
    press(Qt::Key_Z, Qt::ControlModifier);
    viewer->showInColorsOf(MONITOR);
    EXPECT_TRUE(waitForExchanged());
    EXPECT_TRUE(waitForShown({400, 300}));
    EXPECT_TRUE(waitForExchanged());
}

TEST_F(MonitorColorsOfEdits, FollowTheMonitorUnderTheBox)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    ASSERT_TRUE(overlay());
    setBox(TOP_LEFT_QUARTER);
    const auto box = overlay()->boxInImagePixels({400, 300});
    viewer->showInColorsOf(MONITOR);
    EXPECT_TRUE(waitForExchanged());
    EXPECT_EQ(overlay()->boxInImagePixels({400, 300}), box);
    press(Qt::Key_Escape);
    EXPECT_TRUE(shows(BLUE, MONITOR));
}

TEST_F(MonitorColorsOfEdits, FollowTheMonitorWhenTheyAreTurned)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    viewer->cropMode().setCropAngle(10);
    viewer->showInColorsOf(MONITOR);
    EXPECT_TRUE(waitForExchanged());
    viewer->cropMode().setCropAngle(0);
    EXPECT_TRUE(shows(BLUE, MONITOR));
}

TEST_F(MonitorColorsOfEdits, FollowTheMonitorUnderTheBoxOverAnEditedPicture)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(TOP_LEFT_QUARTER));
    press(Qt::Key_X);
    ASSERT_TRUE(overlay());
    viewer->showInColorsOf(MONITOR);
    EXPECT_TRUE(waitForExchanged());
    press(Qt::Key_Escape);
    EXPECT_TRUE(shows(BLUE, MONITOR));
    EXPECT_EQ(shownSize(), QSize(200, 150));
}

} // namespace

} // namespace tavolin
