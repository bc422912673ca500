// Cropping, rotating, saving, undoing and quitting before a real X server, with its keys and mouse.

#include "e2e/DesktopSession.h"
#include "e2e/ViewerTest.h"
#include "e2e/WatchedFolder.h"

#include <chrono>
#include <cmath>
#include <fstream>
#include <optional>

#include <linux/input-event-codes.h>

namespace tavolin {

namespace fs = std::filesystem;

namespace {

/// Of the patch in the corner at the top left: an eighth of the picture each way.
constexpr QRgb RED = 0xffff0000;

/// Where a picture of three to two lies in crop mode, and the default box in it.
constexpr QRect CROP_PICTURE_RECT{264, 76, 1392, 928};
constexpr QRect DEFAULT_BOX{403, 169, 1114, 742};

/// The crop bar is somewhere in here.
constexpr QRect BAR_RECT{560, 1004, 800, 64};

class EditTest : public ViewerTest
{
protected:
    [[nodiscard]] testing::AssertionResult openOnePicture()
    {
        addPictures(1);
        return openFolder();
    }

    /// Whether the border of the box goes through @p point.
    [[nodiscard]] bool isBorder(QPoint point) const
    {
        return hasText(m_client->screen({point - QPoint(2, 2), QSize(5, 5)}), LABEL_COLOR);
    }

    [[nodiscard]] bool waitForBorder(QPoint point)
    {
        return waitUntil([&] { return isBorder(point); });
    }

    [[nodiscard]] bool enterCrop()
    {
        tap(KEY_X);
        return waitForBorder({DEFAULT_BOX.left(), 500});
    }

    void drag(QPoint from, QPoint to)
    {
        m_client->moveMouse(from);
        m_client->pressButton(LEFT_BUTTON);
        m_client->moveMouse(to);
        m_client->releaseButton(LEFT_BUTTON);
    }

    void undo() { m_client->tapKey(KEY_Z, {KEY_LEFTCTRL}); }

    /// Crops to the default box; what is left fills the screen as the whole picture did.
    [[nodiscard]] bool crop()
    {
        if (!enterCrop())
            return false;
        tap(KEY_ENTER);
        return waitUntil([&] { return isCroppedToTheMiddle(); });
    }

    /// Whether the picture is not in crop mode and has lost the better part of its red corner.
    [[nodiscard]] bool isCroppedToTheMiddle() const
    {
        return !isAll(m_client->screen({170, 500, 40, 40}), BLACK) &&
               !hasText(m_client->screen({270, 80, 10, 10}), RED);
    }

    [[nodiscard]] QSize savedSize() const
    {
        return QImage(QString::fromStdString(pathOf("Edit") / "IMG_1001.jpg")).size();
    }

    /// Waits for the question about unsaved edits and gives it the keyboard, as a window manager
    /// would.
    [[nodiscard]] bool waitForQuestion()
    {
        if (!waitUntil([&] { return m_client->windows().size() == 2; }))
            return false;
        m_client->giveKeyboard(m_client->windows().back());
        return true;
    }
};

TEST_F(EditTest, FiveKeysAndAMouseStraightenCropAndSave)
{
    ASSERT_TRUE(openOnePicture());
    ASSERT_TRUE(enterCrop());
    tap(KEY_1); // free
    drag({1517, 500}, {960, 500});
    ASSERT_TRUE(waitForBorder({960, 500}));
    ASSERT_FALSE(isBorder({1517, 500}));
    tap(KEY_RIGHTBRACE); // half a degree
    tap(KEY_ENTER);
    // The result is narrower than high.
    ASSERT_TRUE(waitUntil([&] {
        return isAll(m_client->screen({200, 500, 40, 40}), BLACK) && !isBorder({403, 500});
    }));
    tap(KEY_S);
    ASSERT_TRUE(waitUntil([&] { return !savedSize().isEmpty(); }));
    // Of 1392 by 928 points the box has about 557 by 742, a point being 1200/1392 pixels.
    EXPECT_NEAR(savedSize().width(), 480, 8);
    EXPECT_NEAR(savedSize().height(), 640, 8);
    undo();
    undo();
    EXPECT_TRUE(waitForPicture(1));
}

TEST_F(EditTest, BoxIsMovedWithTheMouseAndLeftWithEscape)
{
    ASSERT_TRUE(openOnePicture());
    ASSERT_TRUE(waitForDetails());
    const QImage before = m_client->screen(LANDSCAPE_RECT);
    ASSERT_TRUE(enterCrop());
    EXPECT_TRUE(waitForPicture(1, CROP_PICTURE_RECT));
    drag({960, 500}, {1000, 520});
    EXPECT_TRUE(waitForBorder({DEFAULT_BOX.left() + 40, 500}));
    tap(KEY_ESC);
    EXPECT_TRUE(waitUntil([&] { return m_client->screen(LANDSCAPE_RECT) == before; }));
    EXPECT_TRUE(m_viewer->isRunning());
}

TEST_F(EditTest, EditsAreUndoneOneByOne)
{
    ASSERT_TRUE(openOnePicture());
    ASSERT_TRUE(crop());
    ASSERT_TRUE(crop());
    undo();
    undo();
    EXPECT_TRUE(waitForPicture(1));
}

TEST_F(EditTest, QuestionCanBeCancelled)
{
    ASSERT_TRUE(openOnePicture());
    ASSERT_TRUE(crop());
    tap(KEY_ESC);
    ASSERT_TRUE(waitForQuestion());
    tap(KEY_ESC);
    EXPECT_TRUE(waitUntil([&] { return m_client->windows().size() == 1; }));
    EXPECT_TRUE(m_viewer->isRunning());
    EXPECT_TRUE(isCroppedToTheMiddle());
    EXPECT_FALSE(fs::exists(pathOf("Edit")));
}

TEST_F(EditTest, ReturnInTheQuestionSavesAndQuits)
{
    ASSERT_TRUE(openOnePicture());
    ASSERT_TRUE(crop());
    tap(KEY_ESC);
    ASSERT_TRUE(waitForQuestion());
    tap(KEY_ENTER);
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
    EXPECT_EQ(savedSize(), QSize(960, 640));
}

TEST_F(EditTest, EditsCanBeGivenUp)
{
    ASSERT_TRUE(openOnePicture());
    ASSERT_TRUE(crop());
    m_client->tapKey(KEY_Q, {KEY_LEFTCTRL});
    ASSERT_TRUE(waitForQuestion());
    tap(KEY_TAB); // from the first button to the second
    tap(KEY_SPACE);
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
    EXPECT_FALSE(fs::exists(pathOf("Edit")));
}

TEST_F(EditTest, SavedEditsAreNotAskedAbout)
{
    ASSERT_TRUE(openOnePicture());
    ASSERT_TRUE(crop());
    tap(KEY_S);
    ASSERT_TRUE(waitUntil([&] { return !savedSize().isEmpty(); }));
    tap(KEY_ESC);
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
}

/// The viewer as a member of a desktop's session, with an edit that is not saved.
class SessionEndTest : public EditTest
{
protected:
    void SetUp() override
    {
        EditTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        if (m_session.address().isEmpty())
            GTEST_SKIP() << "no session can be had";
        qputenv("SESSION_MANAGER", m_session.address());
        addPictures(1);
        startViewer({m_folder.path()});
        // It comes up only once it has been let into the session.
        ASSERT_TRUE(waitFor([this] { return m_session.hasMember(); }));
        ASSERT_TRUE(waitForPicture(1));
    }

    void TearDown() override
    {
        EditTest::TearDown();
        qunsetenv("SESSION_MANAGER");
    }

    template <typename Predicate>
    [[nodiscard]] bool waitFor(Predicate predicate)
    {
        return waitUntil([&] {
            m_session.serve();
            return predicate();
        });
    }

    /// Waits for the question, which comes only once the session has let it.
    [[nodiscard]] bool waitForQuestion()
    {
        return waitFor([this] { return m_client->windows().size() == 2; }) &&
               EditTest::waitForQuestion();
    }

    DesktopSession m_session;
};

TEST_F(SessionEndTest, WithoutEditsAsksNothing)
{
    m_session.logOut();
    EXPECT_TRUE(waitFor([this] { return m_session.isOver(); }));
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
}

TEST_F(SessionEndTest, IsStoppedByCancelling)
{
    ASSERT_TRUE(crop());
    m_session.logOut();
    ASSERT_TRUE(waitForQuestion());
    EXPECT_FALSE(m_session.isOver());
    tap(KEY_ESC);
    EXPECT_TRUE(waitFor([this] { return m_client->windows().size() == 1; }));
    EXPECT_TRUE(waitFor([this] { return m_session.isCancelled(); }));
    EXPECT_TRUE(m_viewer->isRunning());
    EXPECT_TRUE(isCroppedToTheMiddle());
}

TEST_F(SessionEndTest, GoesOnOnceTheEditsAreSaved)
{
    ASSERT_TRUE(crop());
    m_session.logOut();
    ASSERT_TRUE(waitForQuestion());
    EXPECT_FALSE(m_session.isOver());
    tap(KEY_ENTER);
    EXPECT_TRUE(waitFor([this] { return !m_viewer->isRunning(); }));
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
    EXPECT_FALSE(m_session.isCancelled());
    EXPECT_EQ(savedSize(), QSize(960, 640));
}

TEST_F(SessionEndTest, GoesOnOnceTheEditsAreGivenUp)
{
    ASSERT_TRUE(crop());
    m_session.logOut();
    ASSERT_TRUE(waitForQuestion());
    tap(KEY_TAB); // from the first button to the second
    tap(KEY_SPACE);
    EXPECT_TRUE(waitFor([this] { return !m_viewer->isRunning(); }));
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
    EXPECT_FALSE(m_session.isCancelled());
    EXPECT_FALSE(fs::exists(pathOf("Edit")));
}

TEST_F(SessionEndTest, IsStoppedWhenTheSaveFails)
{
    ASSERT_TRUE(crop());
    std::ofstream(pathOf("Edit")) << "a file";
    m_session.logOut();
    ASSERT_TRUE(waitForQuestion());
    tap(KEY_ENTER);
    EXPECT_TRUE(waitFor([this] { return m_session.isCancelled(); }));
    EXPECT_TRUE(m_viewer->isRunning());
    EXPECT_TRUE(isCroppedToTheMiddle());
}

/// The same with a folder whose disk can be made to hang.
class StuckSessionEndTest : public SessionEndTest
{
protected:
    void SetUp() override
    {
        m_watched.emplace(fs::canonical(m_folder.path().toStdString()));
        m_additions = m_watched->environment();
        SessionEndTest::SetUp();
    }

    void TearDown() override
    {
        m_watched->release();
        SessionEndTest::TearDown();
    }

    std::optional<WatchedFolder> m_watched;
};

TEST_F(StuckSessionEndTest, WaitsForASaveUnderWay)
{
    ASSERT_TRUE(crop());
    m_watched->hang({"rename"});
    tap(KEY_S);
    ASSERT_TRUE(m_watched->waitUntilStuck());
    m_session.logOut();
    const auto goesOn = [this] {
        m_session.serve();
        return !m_session.isOver() && !m_session.isCancelled() && m_viewer->isRunning();
    };
    EXPECT_TRUE(staysTrue(goesOn, std::chrono::milliseconds(700)));
    EXPECT_EQ(m_client->windows().size(), 1U);
    m_watched->release();
    EXPECT_TRUE(waitFor([this] { return !m_viewer->isRunning(); }));
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
    EXPECT_FALSE(m_session.isCancelled());
    EXPECT_EQ(savedSize(), QSize(960, 640));
}

TEST_F(StuckSessionEndTest, IsStoppedWhenTheDiskDoesNotGetOnWithASave)
{
    ASSERT_TRUE(crop());
    m_watched->hang({"rename"});
    tap(KEY_S);
    ASSERT_TRUE(m_watched->waitUntilStuck());
    m_session.logOut();
    EXPECT_TRUE(waitFor([this] { return m_session.isCancelled(); }));
    EXPECT_TRUE(m_viewer->isRunning());
}

} // namespace

} // namespace tavolin
