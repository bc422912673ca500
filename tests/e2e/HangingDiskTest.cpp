// A share whose server has gone, or a card that was pulled: keys still do what they can, another
// folder opens, the program ends, and the main thread has asked the disk for nothing.

#include "e2e/SessionBus.h"
#include "e2e/ViewerTest.h"
#include "e2e/WatchedFolderTest.h"
#include "pictures/Writing.h"

#include <chrono>
#include <fstream>
#include <functional>

#include <linux/input-event-codes.h>

namespace tavolin {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

/// In which the program ends, or something else is opened.
constexpr auto SOON = 2s;

/// The bar of crop mode is over this part of the screen, which a landscape picture covers without
/// it.
constexpr QRect UNDER_THE_BAR{760, 1000, 400, 60};

class HangingDiskTest : public WatchedFolderTest<ViewerTest>
{
protected:
    void SetUp() override
    {
        WatchedFolderTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        ASSERT_TRUE(pictures::writePicture(
            pictures::drawPicture({.size = QSize(1200, 800), .index = 7, .count = 9}),
            {.size = QSize(1200, 800)}, elsewhere()));
        addPictures(9);
    }

    void TearDown() override
    {
        WatchedFolderTest::TearDown();
        m_bus.reset();
    }

    /// A picture, number 7, in a folder on another disk.
    [[nodiscard]] fs::path elsewhere() const
    {
        return m_elsewhere.filePath(u"other.jpg"_s).toStdString();
    }

    /// Gives the viewers to come a session bus, for hand-overs; false where there is none.
    [[nodiscard]] bool startBus()
    {
        if (!SessionBus::whyUnavailable().isEmpty())
            return false;
        m_bus.emplace(m_server->displayName());
        m_busAddress = m_bus->address();
        return m_bus->error().isEmpty();
    }

    /// The folder with the first picture on screen and its neighbours ready, and then no answer.
    [[nodiscard]] testing::AssertionResult openAndHang()
    {
        if (const auto opened = openFolder(); !opened)
            return opened;
        if (!waitForDetails())
            return testing::AssertionFailure() << "no details";
        m_watched->hang();
        return testing::AssertionSuccess();
    }

    /// Whether Escape, pressed @p times, ends the program soon.
    [[nodiscard]] testing::AssertionResult escapeEnds(int times = 1)
    {
        const auto begin = std::chrono::steady_clock::now();
        for (int i = 0; i < times; ++i)
            tap(KEY_ESC);
        if (waitForExit() != 0)
            return testing::AssertionFailure()
                   << "no end, or a bad one: " << m_viewer->standardError().toStdString();
        const auto time = std::chrono::steady_clock::now() - begin;
        if (time > SOON)
            return testing::AssertionFailure()
                   << "it took "
                   << std::chrono::duration_cast<std::chrono::milliseconds>(time).count() << " ms";
        if (const QByteArray error = m_viewer->standardError(); !error.isEmpty())
            return testing::AssertionFailure() << error.toStdString();
        return testing::AssertionSuccess();
    }

    /// Whether another folder, handed over, is shown soon.
    [[nodiscard]] testing::AssertionResult anotherFolderOpens()
    {
        if (!waitUntil([this] { return m_bus->hasViewer(); }))
            return testing::AssertionFailure() << "the viewer is not on the bus";
        if (!m_bus->open({u"file://"_s + QString::fromStdString(elsewhere().native())}))
            return testing::AssertionFailure() << "it takes nothing";
        if (!waitUntil([this] { return shownIndex() == 7; }, SOON))
            return testing::AssertionFailure() << "it is not shown";
        return testing::AssertionSuccess();
    }

    /// Waits until the folder dialog has the keyboard.
    [[nodiscard]] bool waitForDialog()
    {
        return waitUntil(
            [this] {
                const auto windows = m_client->windows();
                return windows.size() == 2 && windows.back().hasKeyboard;
            },
            SOON);
    }

    /// Whether Escape closes the folder dialog soon, and nothing else.
    [[nodiscard]] bool escapeLeavesDialog()
    {
        tap(KEY_ESC);
        return waitUntil([this] { return m_client->windows().size() == 1; }, SOON);
    }

    /// The dialog on the folder of the pictures, whose only sub-folder is being entered and does
    /// not answer.
    [[nodiscard]] testing::AssertionResult enterAFolderThatHangs()
    {
        fs::create_directory(pathOf("trip"));
        if (const auto opened = openFolder(); !opened)
            return opened;
        tap(KEY_O);
        if (!waitForDialog())
            return testing::AssertionFailure() << "no dialog";
        m_watched->hang({"trip"});
        tap(KEY_DOWN);
        tap(KEY_ENTER);
        if (!m_watched->waitUntilStuck())
            return testing::AssertionFailure() << "nobody enters it";
        m_watched->hang();
        return testing::AssertionSuccess();
    }

    QTemporaryDir m_elsewhere;
    std::optional<SessionBus> m_bus;
};

TEST_F(HangingDiskTest, MainThreadAsksTheDiskForNothingWhateverTheUserLooksAt)
{
    ASSERT_TRUE(openFolder());
    tap(KEY_RIGHT);
    ASSERT_TRUE(waitForPicture(2));
    ASSERT_TRUE(waitForDetails());
    for (int step = 3; step <= 7; ++step)
        tap(KEY_RIGHT);
    ASSERT_TRUE(waitForPicture(7));
    // The loupe, before anybody but the decode has told a size.
    const QImage fitted = m_client->screen(LANDSCAPE_RECT);
    m_client->moveMouse(LANDSCAPE_RECT.center());
    m_client->pressButton(LEFT_BUTTON);
    EXPECT_TRUE(waitUntil([&] { return m_client->screen(LANDSCAPE_RECT) != fitted; }));
    m_client->releaseButton(LEFT_BUTTON);
    ASSERT_TRUE(waitForPicture(7));
    tap(KEY_LEFT);
    ASSERT_TRUE(waitForPicture(6));
    tap(KEY_X);
    EXPECT_TRUE(waitUntil([&] { return shownIndex() != 6; }));
    tap(KEY_ESC);
    ASSERT_TRUE(waitForPicture(6));
    tap(KEY_H);
    tap(KEY_H);
    tap(KEY_J);
    m_client->type(u"1003"_s);
    ASSERT_TRUE(waitForPicture(3));
    tap(KEY_ESC);
    tap(KEY_RIGHT);
    ASSERT_TRUE(waitForPicture(4));
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
    EXPECT_GT(m_watched->calls().size(), 20U);
}

TEST_F(HangingDiskTest, EscapeEndsTheProgramAtTheStart)
{
    m_watched->hang();
    startViewer({m_folder.path()});
    ASSERT_TRUE(m_watched->waitUntilStuck());
    ASSERT_TRUE(waitUntil([this] {
        const auto windows = m_client->windows();
        return windows.size() == 1 && windows[0].hasKeyboard;
    }));
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, AnotherFolderOpensAtTheStart)
{
    if (!startBus())
        GTEST_SKIP() << "no session bus";
    m_watched->hang();
    startViewer({m_folder.filePath(u"IMG_1002.jpg"_s)});
    ASSERT_TRUE(m_watched->waitUntilStuck());
    EXPECT_TRUE(anotherFolderOpens());
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, FirstPictureComesWhenTheDiskIsBackWithTheStepsMadeMeanwhile)
{
    m_watched->hang();
    startViewer({m_folder.path()});
    ASSERT_TRUE(m_watched->waitUntilStuck());
    ASSERT_TRUE(waitUntil([this] {
        const auto windows = m_client->windows();
        return windows.size() == 1 && windows[0].hasKeyboard;
    }));
    tap(KEY_RIGHT);
    tap(KEY_RIGHT);
    m_watched->release();
    EXPECT_TRUE(waitForPicture(3));
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, EscapeEndsTheProgramWhileStepping)
{
    ASSERT_TRUE(openAndHang());
    for (int step = 0; step < 5; ++step)
        EXPECT_TRUE(tapMovesCounter(KEY_RIGHT));
    ASSERT_TRUE(m_watched->waitUntilStuck());
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, AnotherFolderOpensWhileStepping)
{
    if (!startBus())
        GTEST_SKIP() << "no session bus";
    ASSERT_TRUE(openAndHang());
    for (int step = 0; step < 5; ++step)
        tap(KEY_RIGHT);
    ASSERT_TRUE(m_watched->waitUntilStuck());
    EXPECT_TRUE(anotherFolderOpens());
    EXPECT_TRUE(waitForDetails()); // which is read on another thread
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, EveryStepCountsWhenTheDiskIsBack)
{
    ASSERT_TRUE(openAndHang());
    for (int step = 0; step < 7; ++step)
        EXPECT_TRUE(tapMovesCounter(KEY_RIGHT));
    m_watched->release();
    EXPECT_TRUE(waitForPicture(8));
}

TEST_F(HangingDiskTest, FileThatDoesNotAnswerIsLeftBehindWhenTheUserMovesOn)
{
    ASSERT_TRUE(openFolder());
    m_watched->hang({"IMG_1006.jpg"});
    for (int step = 0; step < 5; ++step)
        tap(KEY_RIGHT);
    ASSERT_TRUE(m_watched->waitUntilStuck());
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(7)); // after ten seconds
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(8));
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, EscapeLeavesCropModeAndThenTheProgram)
{
    ASSERT_TRUE(openFolder());
    ASSERT_TRUE(waitForDetails());
    const QImage before = m_client->screen(UNDER_THE_BAR);
    m_watched->hang();
    tap(KEY_X);
    ASSERT_TRUE(waitUntil([&] { return m_client->screen(UNDER_THE_BAR) != before; }));
    tap(KEY_ENTER); // which wants the full picture
    ASSERT_TRUE(m_watched->waitUntilStuck());
    tap(KEY_ESC);
    EXPECT_TRUE(waitForPicture(1));
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, AnotherFolderOpensFromCropMode)
{
    if (!startBus())
        GTEST_SKIP() << "no session bus";
    ASSERT_TRUE(openAndHang());
    tap(KEY_X);
    tap(KEY_ENTER);
    ASSERT_TRUE(m_watched->waitUntilStuck());
    EXPECT_TRUE(anotherFolderOpens());
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, EscapeEndsTheProgramUnderTheLoupe)
{
    ASSERT_TRUE(openAndHang());
    m_client->moveMouse(LANDSCAPE_RECT.center());
    m_client->pressButton(LEFT_BUTTON);
    ASSERT_TRUE(m_watched->waitUntilStuck());
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, LoupeThatWaitsForTheDiskDoesNotKeepReadyPicturesFromTheScreen)
{
    ASSERT_TRUE(openAndHang());
    m_client->moveMouse(LANDSCAPE_RECT.center());
    m_client->pressButton(LEFT_BUTTON);
    ASSERT_TRUE(m_watched->waitUntilStuck());
    m_client->releaseButton(LEFT_BUTTON);
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(2));
    EXPECT_TRUE(escapeEnds());
}

TEST_F(HangingDiskTest, DialogOpensAtHomeAndEscapeLeavesItAndThenTheProgram)
{
    ASSERT_TRUE(openAndHang());
    tap(KEY_O);
    ASSERT_TRUE(waitForDialog());
    EXPECT_TRUE(escapeLeavesDialog());
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, EscapeLeavesTheDialogThatIsOpenThereAndThenTheProgram)
{
    ASSERT_TRUE(openFolder());
    tap(KEY_O);
    ASSERT_TRUE(waitForDialog());
    m_watched->hang();
    EXPECT_TRUE(escapeLeavesDialog());
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, EscapeLeavesTheDialogWhileAFolderIsEnteredAndThenTheProgram)
{
    ASSERT_TRUE(enterAFolderThatHangs());
    EXPECT_TRUE(escapeLeavesDialog());
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, AnotherFolderIsChosenWhileOneIsEntered)
{
    ASSERT_TRUE(enterAFolderThatHangs());
    m_client->type(m_elsewhere.path());
    tap(KEY_ENTER);
    tap(KEY_ENTER);
    EXPECT_TRUE(waitUntil([this] { return shownIndex() == 7; }, SOON));
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, AnotherFolderIsChosenWhereThePicturesHang)
{
    ASSERT_TRUE(openAndHang());
    tap(KEY_O);
    ASSERT_TRUE(waitForDialog());
    m_client->type(m_elsewhere.path());
    tap(KEY_ENTER);
    tap(KEY_ENTER);
    EXPECT_TRUE(waitUntil([this] { return shownIndex() == 7; }, SOON));
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, EscapeLeavesTheDialogWithAPathTypedThereAndThenTheProgram)
{
    m_watched->hang();
    startViewer({});
    ASSERT_TRUE(waitUntil([this] {
        const auto windows = m_client->windows();
        return windows.size() == 1 && windows[0].hasKeyboard;
    }));
    tap(KEY_O);
    ASSERT_TRUE(waitForDialog());
    m_client->type(m_folder.path());
    tap(KEY_ENTER);
    ASSERT_TRUE(m_watched->waitUntilStuck());
    EXPECT_TRUE(escapeLeavesDialog());
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, DialogThatWasLeftWhileThePicturesFolderHungListsFoldersAgain)
{
    startViewer({});
    ASSERT_TRUE(waitUntil([this] {
        const auto windows = m_client->windows();
        return windows.size() == 1 && windows[0].hasKeyboard;
    }));
    const fs::path home = m_viewer->dataHome() / "../..";
    fs::create_directories(home / ".config");
    std::ofstream(home / ".config/user-dirs.dirs")
        << "XDG_PICTURES_DIR=\"" << pathOf("photos").native() << "\"\n";
    fs::create_directory(home / "trip");
    fs::copy_file(elsewhere(), home / "trip/other.jpg");
    m_watched->hang();
    tap(KEY_O);
    ASSERT_TRUE(waitForDialog());
    ASSERT_TRUE(m_watched->waitUntilStuck());
    EXPECT_TRUE(escapeLeavesDialog());
    tap(KEY_O);
    ASSERT_TRUE(waitForDialog());
    EXPECT_TRUE(waitUntil(
        [this] {
            tap(KEY_DOWN);
            tap(KEY_ENTER); // into what is listed; and there is no picture at home
            return shownIndex() == 7;
        },
        SOON));
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

TEST_F(HangingDiskTest, LinkToOneKeepsNothingFromBeingListed)
{
    fs::create_directory_symlink("/", pathOf("share"));
    fs::create_directory(pathOf("trip"));
    addPicture("trip/a.jpg", 8, 9);
    ASSERT_TRUE(openFolder());
    m_watched->hang({"share"}); // as what is behind it does
    tap(KEY_O);
    ASSERT_TRUE(waitForDialog());
    ASSERT_TRUE(m_watched->waitUntilStuck());
    tap(KEY_DOWN); // the only one that is known
    tap(KEY_ENTER);
    tap(KEY_ENTER);
    EXPECT_TRUE(waitUntil([this] { return shownIndex() == 8; }, SOON));
    EXPECT_TRUE(escapeEnds());
    EXPECT_EQ(m_watched->callsOnMainThread(), "");
}

} // namespace

} // namespace tavolin
