// The whole program in a Wayland compositor, which is a window on a real X server.

#include "decoding/TestProfiles.h"
#include "e2e/MonitorSetup.h"
#include "e2e/ViewerTest.h"
#include "e2e/Weston.h"

#include <chrono>

#include <linux/input-event-codes.h>

namespace tavolin {

using namespace Qt::StringLiterals;

namespace {

/// Where a picture of three to two is when the viewer covers the compositor's screen.
constexpr QRect FULL_SCREEN_PICTURE{40, 0, 1200, 800};

class WaylandTest : public ViewerTest
{
protected:
    void SetUp() override
    {
        if (const QString reason = Weston::whyUnavailable(); !reason.isEmpty())
            GTEST_SKIP() << reason.toStdString();
        ViewerTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        m_weston.emplace(*m_server);
        ASSERT_TRUE(m_weston->error().isEmpty()) << m_weston->error().toStdString();
        addPictures(4);
        startViewer({m_folder.path()}, m_weston->socket());
        ASSERT_TRUE(waitForPicture(1, FULL_SCREEN_PICTURE));
    }

    void TearDown() override
    {
        ViewerTest::TearDown();
        m_weston.reset();
    }

private:
    std::optional<Weston> m_weston;
};

TEST_F(WaylandTest, ViewerCoversTheScreen)
{
    EXPECT_TRUE(isAll(m_client->screen(QRect(0, 100, 40, 700)), BLACK));
    EXPECT_TRUE(isAll(m_client->screen(QRect(1240, 0, 40, 800)), BLACK));
}

TEST_F(WaylandTest, RightAndTheWheelStep)
{
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(2, FULL_SCREEN_PICTURE));
    m_client->moveMouse(WESTON_RECT.center() + QPoint(20, 20));
    m_client->click(WHEEL_DOWN);
    EXPECT_TRUE(waitForPicture(3, FULL_SCREEN_PICTURE));
}

TEST_F(WaylandTest, FLeavesFullScreenAndEntersItAgain)
{
    ASSERT_TRUE(waitForDetails()); // nothing but the key makes the viewer draw after that
    tap(KEY_F);
    // A title bar and the desktop's own bar are above the picture now.
    ASSERT_TRUE(waitUntil([&] { return shownIndex(FULL_SCREEN_PICTURE) != 1; }));
    tap(KEY_F);
    EXPECT_TRUE(waitForPicture(1, FULL_SCREEN_PICTURE));
}

// The compositor converts what is in sRGB; what an X server beside it says of monitors is not
// meant.
TEST_F(WaylandTest, PicturesStayInSrgb)
{
    ASSERT_TRUE(waitForDetails());
    const QImage before = m_client->screen(FULL_SCREEN_PICTURE);
    ASSERT_TRUE(setMonitorProfile(m_server->displayName(), 0, test::exchangedProfile()));
    EXPECT_TRUE(staysTrue([&] { return m_client->screen(FULL_SCREEN_PICTURE) == before; },
                          std::chrono::milliseconds(1500)));
    tap(KEY_RIGHT);
    ASSERT_TRUE(waitForPicture(2, FULL_SCREEN_PICTURE));
    tap(KEY_LEFT);
    EXPECT_TRUE(waitUntil([&] { return m_client->screen(FULL_SCREEN_PICTURE) == before; }));
}

TEST_F(WaylandTest, EscapeQuits)
{
    tap(KEY_ESC);
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
}

} // namespace

} // namespace tavolin
