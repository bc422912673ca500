// The whole program on a folder whose disk is slow.

#include "e2e/SlowMount.h"
#include "e2e/ViewerTest.h"

#include <linux/input-event-codes.h>

namespace tavolin {

using namespace std::chrono_literals;

namespace {

/// As long as someone waits for a program that has been told to end.
constexpr auto ESCAPE_LIMIT = 2s;

class SlowDiskTest : public ViewerTest
{
protected:
    void SetUp() override
    {
        if (const QString reason = SlowMount::whyUnavailable(); !reason.isEmpty())
            GTEST_SKIP() << reason.toStdString();
        ViewerTest::SetUp();
    }

    void TearDown() override
    {
        m_disk.reset(); // first: what waits for it then fails
        ViewerTest::TearDown();
    }

    /// Starts the viewer on the folder as it is on a slow disk, and waits for its first picture.
    [[nodiscard]] testing::AssertionResult openSlowFolder()
    {
        m_disk.emplace(m_folder.path().toStdString(), DiskSpeed{.call = 5ms});
        if (!m_disk->error().isEmpty())
            return testing::AssertionFailure() << m_disk->error().toStdString();
        startViewer({m_disk->path()});
        return waitForPicture(1);
    }

    std::optional<SlowMount> m_disk;
};

TEST_F(SlowDiskTest, FolderOpensAndSteps)
{
    constexpr int LAST = 7; // farther than what is ready after the start
    addPictures(LAST);
    ASSERT_TRUE(openSlowFolder());
    for (int index = 2; index <= LAST; ++index) {
        tap(KEY_RIGHT);
        ASSERT_TRUE(waitForPicture(index));
    }
    for (int press = 1; press < LAST; ++press)
        tap(KEY_LEFT);
    EXPECT_TRUE(waitForPicture(1));
}

TEST_F(SlowDiskTest, EscapeEndsTheViewerWhileTheDiskHangs)
{
    constexpr int COUNT = 12;
    constexpr int PRESSES = 8; // to a picture that has not been read ahead
    addPictures(COUNT);
    ASSERT_TRUE(openSlowFolder());
    ASSERT_TRUE(waitForDetails());
    m_disk->hang();
    for (int press = 0; press < PRESSES; ++press)
        ASSERT_TRUE(tapMovesCounter(KEY_RIGHT));
    ASSERT_TRUE(staysTrue([&] { return shownIndex() != 1 + PRESSES; }, 400ms));
    tap(KEY_ESC);
    EXPECT_TRUE(waitUntil([&] { return !m_viewer->isRunning(); }, ESCAPE_LIMIT));
    EXPECT_EQ(m_viewer->exitCode(), 0) << m_viewer->standardError().toStdString();
}

} // namespace

} // namespace tavolin
