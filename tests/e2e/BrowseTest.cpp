// The whole program before a real X server: started, shown real keys, and looked at.

#include "e2e/ViewerTest.h"

#include <chrono>
#include <fstream>
#include <thread>

#include <linux/input-event-codes.h>
#include <sys/stat.h>

namespace tavolin {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

/// Where a picture of two to three is on the screen.
constexpr QRect PORTRAIT_RECT{600, 0, 720, 1080};

class BrowseTest : public ViewerTest
{
protected:
    /// Taps the physical O key, waits for the folder dialog and leaves it with Escape.
    [[nodiscard]] testing::AssertionResult openAndLeaveDialog()
    {
        const auto windowCountBecomes = [this](std::size_t count) {
            return waitUntil([&] { return m_client->windows().size() == count; });
        };
        if (!windowCountBecomes(1))
            return testing::AssertionFailure() << "there is no window";
        tap(KEY_O);
        const auto dialogHasKeyboard = [this] {
            const auto windows = m_client->windows();
            return windows.size() == 2 && windows.back().hasKeyboard;
        };
        if (!waitUntil(dialogHasKeyboard))
            return testing::AssertionFailure() << "no dialog opens";
        tap(KEY_ESC);
        if (!windowCountBecomes(1))
            return testing::AssertionFailure() << "the dialog stays, or the viewer has gone too";
        return testing::AssertionSuccess();
    }
};

TEST_F(BrowseTest, WindowCoversTheScreen)
{
    addPictures(1);
    ASSERT_TRUE(openFolder());
    const auto windows = m_client->windows();
    ASSERT_EQ(windows.size(), 1U);
    EXPECT_EQ(windows[0].geometry, SCREEN_RECT);
    EXPECT_EQ(windows[0].title, u"Tavolin Viewer"_s);
    EXPECT_TRUE(isAll(m_client->screen(QRect(0, 100, 150, 980)), BLACK));
}

TEST_F(BrowseTest, RightAndSpaceStepForwardAndLeftBack)
{
    addPictures(4);
    ASSERT_TRUE(openFolder());
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(2));
    tap(KEY_SPACE);
    EXPECT_TRUE(waitForPicture(3));
    tap(KEY_LEFT);
    EXPECT_TRUE(waitForPicture(2));
}

TEST_F(BrowseTest, OpeningAFileStartsAtIt)
{
    addPictures(3);
    startViewer({m_folder.filePath(u"IMG_1002.jpg"_s)});
    EXPECT_TRUE(waitForPicture(2));
}

TEST_F(BrowseTest, LeftDoesNothingAtTheFirstPicture)
{
    addPictures(3);
    ASSERT_TRUE(openFolder());
    const QImage counter = m_client->screen(COUNTER_RECT);
    tap(KEY_LEFT);
    EXPECT_TRUE(staysTrue(
        [&] { return m_client->screen(COUNTER_RECT) == counter && shownIndex() == 1; }, 400ms));
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(2));
}

TEST_F(BrowseTest, RightDoesNothingAtTheLastPicture)
{
    addPictures(2);
    ASSERT_TRUE(openFolder());
    for (int press = 0; press < 3; ++press)
        tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(2));
    tap(KEY_LEFT);
    EXPECT_TRUE(waitForPicture(1));
}

TEST_F(BrowseTest, NoPressOfAHeldKeyIsLost)
{
    constexpr int PRESSES = 60;
    addPictures(PRESSES + 10);
    ASSERT_TRUE(openFolder());
    auto when = std::chrono::steady_clock::now();
    for (int press = 0; press < PRESSES; ++press) {
        tap(KEY_RIGHT);
        std::this_thread::sleep_until(when += 25ms);
    }
    EXPECT_TRUE(waitForPicture(1 + PRESSES));
    EXPECT_TRUE(staysTrue([&] { return shownIndex() == 1 + PRESSES; }, 400ms));
}

TEST_F(BrowseTest, InfoLineChangesWithEveryStep)
{
    addPictures(11);
    ASSERT_TRUE(openFolder());
    for (int step = 1; step <= 10; ++step)
        ASSERT_TRUE(tapMovesCounter(KEY_RIGHT)) << "step " << step;
    EXPECT_TRUE(hasText(m_client->screen(COUNTER_RECT), LABEL_COLOR));
}

TEST_F(BrowseTest, PortraitPictureIsTurnedUpright)
{
    addPicture("portrait.jpg", {.size = QSize(800, 1200), .orientation = 6, .detailed = false});
    startViewer({m_folder.path()});
    EXPECT_TRUE(waitForPicture(1, PORTRAIT_RECT));
    EXPECT_TRUE(isAll(m_client->screen(QRect(1320, 100, 600, 980)), BLACK));
}

TEST_F(BrowseTest, KeysWorkUnderAThaiLayout)
{
    ASSERT_TRUE(startServer(u"th"_s));
    ASSERT_EQ(m_client->symbol(KEY_O, 0), 0xdb9UL); // THAI CHARACTER NO NU: there is no letter O
    addPictures(2);
    ASSERT_TRUE(openFolder());
    ASSERT_TRUE(openAndLeaveDialog());
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(2));
}

TEST_F(BrowseTest, KeysWorkInTheSecondGroupOfTwoLayouts)
{
    ASSERT_TRUE(startServer(u"us,th"_s));
    ASSERT_EQ(m_client->symbol(KEY_O, 1), 0xdb9UL);
    addPictures(2);
    ASSERT_TRUE(openFolder());
    m_client->lockGroup(1);
    ASSERT_TRUE(openAndLeaveDialog());
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(2));
}

TEST_F(BrowseTest, LayoutSwitchOnSpaceStaysOnThePicture)
{
    ASSERT_TRUE(startServer(u"us,th"_s, u"grp:win_space_toggle"_s));
    addPictures(3);
    ASSERT_TRUE(openFolder());
    m_client->tapKey(KEY_SPACE, {KEY_LEFTMETA});
    ASSERT_EQ(m_client->group(), 1);
    tap(KEY_SPACE);
    EXPECT_TRUE(waitForPicture(2));
    tap(KEY_LEFT);
    EXPECT_TRUE(waitForPicture(1));
}

TEST_F(BrowseTest, KeyWithoutACommandBeepsAndALayoutSwitchDoesNot)
{
    ASSERT_TRUE(startServer(u"us,th"_s, u"grp:alt_shift_toggle"_s));
    addPictures(2);
    ASSERT_TRUE(openFolder());
    m_client->tapKey(KEY_LEFTSHIFT, {KEY_LEFTALT});
    ASSERT_EQ(m_client->group(), 1);
    tap(KEY_DOWN);
    tap(KEY_RIGHT);
    ASSERT_TRUE(waitForPicture(2)); // so all of the presses have been seen
    EXPECT_EQ(m_client->beepCount(), 1);
}

TEST_F(BrowseTest, EscapeQuits)
{
    addPictures(1);
    ASSERT_TRUE(openFolder());
    tap(KEY_ESC);
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
}

TEST_F(BrowseTest, ControlAndThePhysicalQKeyQuitUnderAThaiLayout)
{
    ASSERT_TRUE(startServer(u"th"_s));
    addPictures(1);
    ASSERT_TRUE(openFolder());
    m_client->tapKey(KEY_Q, {KEY_LEFTCTRL});
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
}

TEST_F(BrowseTest, TheQKeyAloneDoesNotQuit)
{
    addPictures(2);
    ASSERT_TRUE(openFolder());
    tap(KEY_Q);
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(2));
    EXPECT_TRUE(m_viewer->isRunning());
}

TEST_F(BrowseTest, GreetingStandsAloneOnBlackWithoutArguments)
{
    startViewer({});
    EXPECT_TRUE(waitUntil([&] { return hasText(m_client->screen(INFO_RECT), LABEL_COLOR); }));
    EXPECT_TRUE(isAll(m_client->screen(QRect(0, 42, 1920, 1038)), BLACK));
    EXPECT_EQ(m_client->windows().size(), 1U);
}

TEST_F(BrowseTest, EmptyFolderLeavesThePictureAreaBlackAndSaysSo)
{
    startViewer({m_folder.path()});
    EXPECT_TRUE(waitUntil([&] { return hasText(m_client->screen(INFO_RECT), LABEL_COLOR); }));
    EXPECT_TRUE(isAll(m_client->screen(QRect(0, 42, 1920, 1038)), BLACK));
}

TEST_F(BrowseTest, CorruptFileMovesThePositionAndLeavesThePicture)
{
    addPicture("1.jpg", 1, 3);
    std::ofstream(pathOf("2.jpg")) << "not a picture at all";
    addPicture("3.jpg", 3, 3);
    ASSERT_TRUE(openFolder());
    EXPECT_TRUE(tapMovesCounter(KEY_RIGHT));
    EXPECT_TRUE(staysTrue([&] { return shownIndex() == 1; }, 400ms));
    EXPECT_TRUE(tapMovesCounter(KEY_RIGHT));
    EXPECT_TRUE(waitForPicture(3));
    EXPECT_TRUE(tapMovesCounter(KEY_LEFT));
    EXPECT_TRUE(staysTrue([&] { return shownIndex() == 3; }, 400ms));
}

TEST_F(BrowseTest, ArgumentWithTwoHyphensIsSkipped)
{
    addPictures(1);
    startViewer({u"--nonsense"_s, m_folder.path()});
    EXPECT_TRUE(waitForPicture(1));
}

TEST_F(BrowseTest, ArgumentWithOneHyphenIsAPathEvenIfNothingIsThere)
{
    addPictures(1);
    startViewer({u"-x"_s, m_folder.path()});
    // A dialog that came and went shows that the start is over.
    ASSERT_TRUE(openAndLeaveDialog());
    EXPECT_TRUE(waitUntil([&] { return isAll(m_client->screen(SCREEN_RECT), BLACK); }));
}

TEST_F(BrowseTest, StrangeEntriesAreSteppedOver)
{
    constexpr int COUNT = 7;
    addPicture("1.jpg", 1, COUNT);
    addPicture("2 line\nbreak.jpg", 2, COUNT);
    addPicture("3 \xff\xfe.jpg", 3, COUNT);
    ASSERT_TRUE(fs::create_directory(pathOf("4 folder.jpg")));
    ASSERT_EQ(mkfifo(pathOf("5 fifo.jpg").c_str(), 0600), 0);
    fs::create_symlink("nowhere.jpg", pathOf("6 link.jpg"));
    addPicture("7.jpg", 7, COUNT);
    ASSERT_TRUE(openFolder());
    // The picture that is on the screen after each step; what is no picture leaves the last one.
    for (const int picture : {2, 3, 3, 3, 3, 7}) {
        ASSERT_TRUE(tapMovesCounter(KEY_RIGHT));
        ASSERT_TRUE(waitForPicture(picture));
    }
    for (const int picture : {7, 7, 7, 3, 2, 1}) {
        ASSERT_TRUE(tapMovesCounter(KEY_LEFT));
        ASSERT_TRUE(waitForPicture(picture));
    }
    EXPECT_TRUE(m_viewer->isRunning());
}

} // namespace

} // namespace tavolin
