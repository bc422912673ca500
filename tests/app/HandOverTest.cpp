#include "app/ViewerFixture.h"

#include "screen/ViewerView.h"

#include <QMainWindow>

#include <gtest/gtest.h>

namespace tavolin {
namespace {

constexpr auto GREETING = "Tavolin Viewer — กด O เปิดโฟลเดอร์ | H วิธีใช้";

class HandOver : public test::ViewerFixture
{};

TEST_F(HandOver, FileHandedOverBeforeTheStartIsOpenedInsteadOfTheGreeting)
{
    viewer->applicationOpen({makePictures("pictures", 0, 3) / "002.jpg"});
    start({"--bench"});
    ASSERT_TRUE(waitForLoads(1));
    EXPECT_EQ(shownNumber(), 2);
    EXPECT_EQ(infoText(), "3/4 | 002.jpg   [H=วิธีใช้]");
}

TEST_F(HandOver, LastBeforeTheStartWins)
{
    const auto pictures = makePictures("pictures", 0, 3);
    viewer->applicationOpen({pictures / "002.jpg"});
    viewer->applicationOpen({pictures / "001.jpg"});
    start({"--bench"});
    EXPECT_EQ(infoText(), "2/4 | 001.jpg   [H=วิธีใช้]");
}

TEST_F(HandOver, PathOfTheCommandLineWins)
{
    const auto pictures = makePictures("pictures", 0, 3);
    viewer->applicationOpen({pictures / "002.jpg"});
    start({"--bench", pictures / "001.jpg"});
    EXPECT_EQ(infoText(), "2/4 | 001.jpg   [H=วิธีใช้]");
}

TEST_F(HandOver, NothingHandedOverBeforeTheStartLeavesTheGreeting)
{
    viewer->applicationOpen({});
    start({"--bench"});
    EXPECT_EQ(infoText(), GREETING);
}

TEST_F(HandOver, FileOpensItsFolderAtTheFile)
{
    start({"--bench"});
    viewer->applicationOpen({makePictures("pictures", 0, 3) / "002.jpg"});
    ASSERT_TRUE(waitForLoads(1));
    EXPECT_EQ(shownNumber(), 2);
}

TEST_F(HandOver, FolderOpensAtItsBeginning)
{
    ASSERT_TRUE(startOnPictures(3, 2));
    viewer->applicationOpen({makePictures("second", 100, 104)});
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(shownNumber(), 100);
    EXPECT_EQ(infoText(), "1/5 | 100.jpg   [H=วิธีใช้]");
}

TEST_F(HandOver, OnlyTheFirstIsOpened)
{
    start({"--bench"});
    const auto pictures = makePictures("pictures", 0, 3);
    viewer->applicationOpen({pictures / "001.jpg", pictures / "003.jpg"});
    ASSERT_TRUE(waitUntilOpened());
    EXPECT_EQ(infoText(), "2/4 | 001.jpg   [H=วิธีใช้]");
}

TEST_F(HandOver, WhatIsNotThereChangesNothing)
{
    ASSERT_TRUE(startOnPictures(3, 2));
    viewer->applicationOpen({folder / "absent"});
    ASSERT_TRUE(waitUntilOpened());
    viewer->applicationOpen({});
    EXPECT_EQ(infoText(), "3/3 | 002.jpg   [H=วิธีใช้]");
    EXPECT_EQ(statusText(), "");
}

TEST_F(HandOver, FolderThatIsBeingChosenIsGivenUp)
{
    ASSERT_TRUE(startOnPictures(3));
    press(Qt::Key_O);
    ASSERT_TRUE(test::waitFor([] { return openDialogs().size() == 1; }));
    viewer->applicationOpen({makePictures("second", 100, 104)});
    EXPECT_TRUE(openDialogs().empty());
    EXPECT_TRUE(test::waitFor([this] { return shownNumber() == 100; }));
    window->activateWindow();
    EXPECT_TRUE(test::waitFor([this] { return view->hasFocus(); }));
}

TEST_F(HandOver, FolderDialogThatHasNotOpenedYetNeverDoes)
{
    ASSERT_TRUE(startOnPictures(3));
    press(Qt::Key_O);
    ASSERT_TRUE(openDialogs().empty()); // it waits for the folder
    viewer->applicationOpen({makePictures("second", 100, 104)});
    EXPECT_TRUE(test::waitFor([this] { return shownNumber() == 100; }));
    test::serveWaitingEvents();
    EXPECT_TRUE(openDialogs().empty());
    press(Qt::Key_O);
    EXPECT_TRUE(test::waitFor([] { return openDialogs().size() == 1; }));
}

TEST_F(HandOver, MinimizedWindowComesBack)
{
    start({"--bench"});
    window->showMinimized();
    viewer->shell().activate();
    EXPECT_FALSE(window->isMinimized());
    EXPECT_TRUE(window->isVisible());
}

} // namespace
} // namespace tavolin
