// Folders and pictures that the desktop hands to the program, on a bus of the test's own.

#include "e2e/SessionBus.h"
#include "e2e/ViewerTest.h"

#include <chrono>

#include <linux/input-event-codes.h>

namespace tavolin {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

class HandOverTest : public ViewerTest
{
protected:
    void SetUp() override
    {
        if (const QString reason = SessionBus::whyUnavailable(); !reason.isEmpty())
            GTEST_SKIP() << reason.toStdString();
        ViewerTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        m_bus.emplace(m_server->displayName());
        ASSERT_EQ(m_bus->error(), QString());
        m_busAddress = m_bus->address();
        addPictures(5);
    }

    void TearDown() override
    {
        ViewerTest::TearDown();
        m_bus.reset();
    }

    [[nodiscard]] bool waitForName() const
    {
        return waitUntil([this] { return m_bus->hasViewer(); });
    }

    /// Whether the window is under a dialog, which has the keyboard.
    [[nodiscard]] bool isDialogInFront() const
    {
        const auto windows = m_client->windows();
        return windows.size() == 2 && windows.back().hasKeyboard;
    }

    /// The URI of @p name, which needs no encoding, in the folder.
    [[nodiscard]] QString uriOf(const QString &name) const
    {
        return u"file://"_s + m_folder.filePath(name);
    }

    std::optional<SessionBus> m_bus;
};

TEST_F(HandOverTest, PictureIsOpenedInTheRunningProgram)
{
    startViewer({});
    ASSERT_TRUE(waitForName());
    EXPECT_TRUE(m_bus->open({uriOf(u"IMG_1003.jpg"_s)}));
    EXPECT_TRUE(waitForPicture(3));
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(4));
}

TEST_F(HandOverTest, FolderIsOpenedInTheRunningProgram)
{
    startViewer({m_folder.filePath(u"IMG_1005.jpg"_s)});
    ASSERT_TRUE(waitForPicture(5));
    ASSERT_TRUE(waitForName());
    EXPECT_TRUE(m_bus->open({uriOf({})}));
    EXPECT_TRUE(waitForPicture(1));
}

TEST_F(HandOverTest, OfSeveralFilesTheFirstIsOpened)
{
    startViewer({});
    ASSERT_TRUE(waitForName());
    EXPECT_TRUE(m_bus->open({uriOf(u"IMG_1002.jpg"_s), uriOf(u"IMG_1004.jpg"_s)}));
    EXPECT_TRUE(waitForPicture(2));
}

TEST_F(HandOverTest, NameThatIsNotUtf8IsOpened)
{
    addPicture("\xff\xfe.jpg", 6, 6);
    startViewer({});
    ASSERT_TRUE(waitForName());
    EXPECT_TRUE(m_bus->open({uriOf(u"%FF%FE.jpg"_s)}));
    EXPECT_TRUE(waitForPicture(6));
}

TEST_F(HandOverTest, WhatIsNoLocalFileIsIgnored)
{
    startViewer({m_folder.path()});
    ASSERT_TRUE(waitForPicture(1));
    ASSERT_TRUE(waitForName());
    EXPECT_TRUE(m_bus->open({u"https://example.org/IMG_1003.jpg"_s}));
    EXPECT_TRUE(m_bus->open({}));
    EXPECT_TRUE(m_bus->activateAction(u"nothing"_s));
    EXPECT_TRUE(m_bus->activate());
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(2));
}

TEST_F(HandOverTest, DialogStaysBeforeTheWindowThatComesToTheFront)
{
    startViewer({m_folder.path()});
    ASSERT_TRUE(waitForPicture(1));
    ASSERT_TRUE(waitForName());
    tap(KEY_O);
    ASSERT_TRUE(waitUntil([this] { return isDialogInFront(); }));
    const auto dialog = m_client->windows().back().id;
    EXPECT_TRUE(m_bus->activate());
    EXPECT_TRUE(waitUntil([this] { return isDialogInFront(); }));
    EXPECT_EQ(m_client->windows().back().id, dialog);
}

TEST_F(HandOverTest, FolderDialogMakesWayForWhatIsHandedOver)
{
    startViewer({m_folder.path()});
    ASSERT_TRUE(waitForPicture(1));
    ASSERT_TRUE(waitForName());
    tap(KEY_O);
    ASSERT_TRUE(waitUntil([this] { return isDialogInFront(); }));
    EXPECT_TRUE(m_bus->open({uriOf(u"IMG_1002.jpg"_s)}));
    EXPECT_TRUE(waitForPicture(2));
    EXPECT_TRUE(waitUntil([this] {
        const auto windows = m_client->windows();
        return windows.size() == 1 && windows[0].hasKeyboard;
    }));
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(3));
}

TEST_F(HandOverTest, WhatIsNoTextIsRefused)
{
    startViewer({m_folder.path()});
    ASSERT_TRUE(waitForPicture(1));
    ASSERT_TRUE(waitForName());
    EXPECT_FALSE(m_bus->openNumbers());
    EXPECT_TRUE(m_bus->open({uriOf(u"IMG_1002.jpg"_s)}));
    EXPECT_TRUE(waitForPicture(2));
}

TEST_F(HandOverTest, BusStartsTheProgramForWhatIsHandedOver)
{
    m_bus->installService(QStringLiteral(TAVOLIN_VIEWER_PROGRAM));
    EXPECT_TRUE(m_bus->open({uriOf(u"IMG_1004.jpg"_s)}));
    EXPECT_TRUE(waitUntil([this] { return shownIndex() == 4; }));
    tap(KEY_ESC);
    EXPECT_TRUE(waitUntil([this] { return !m_bus->hasViewer(); }));
}

TEST_F(HandOverTest, SecondStartIsAViewerOfItsOwn)
{
    startViewer({m_folder.path()});
    ASSERT_TRUE(waitForPicture(1));
    ASSERT_TRUE(waitForName());
    const ViewerProcess second(QStringLiteral(TAVOLIN_VIEWER_PROGRAM),
                               {m_folder.filePath(u"IMG_1003.jpg"_s)}, m_server->displayName(), {},
                               m_busAddress);
    EXPECT_TRUE(waitUntil([this] { return m_client->windows().size() == 2; }));
    EXPECT_TRUE(waitUntil([this] { return shownIndex() == 3; }));
    // What is handed over goes to the first.
    EXPECT_TRUE(m_bus->open({uriOf(u"IMG_1005.jpg"_s)}));
    EXPECT_TRUE(waitForPicture(5));
    EXPECT_EQ(second.standardError(), QByteArray());
}

TEST_F(HandOverTest, BenchRunTakesNoName)
{
    startViewer({u"--bench"_s, m_folder.path()});
    ASSERT_TRUE(waitUntil([this] { return m_client->windows().size() == 1; }));
    EXPECT_TRUE(staysTrue([this] { return !m_bus->hasViewer(); }, std::chrono::milliseconds(600)));
}

TEST_F(HandOverTest, WithoutABusNothingIsSaid)
{
    m_busAddress.clear();
    startViewer({m_folder.path()});
    ASSERT_TRUE(waitForPicture(1));
    tap(KEY_ESC);
    EXPECT_EQ(waitForExit(), 0);
    EXPECT_EQ(m_viewer->standardError(), QByteArray());
}

} // namespace

} // namespace tavolin
