// Quitting while files are being worked on.

#include "app/FileWorkFixture.h"

#include "platform/FileSystems.h"
#include "screen/ViewerView.h"

#include <QAbstractButton>
#include <QMainWindow>
#include <QMessageBox>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

using namespace test;
using Names = std::vector<std::string>;

class QuitDuringWork : public FileWorkFixture
{
protected:
    /// The press of a key that repeats itself because it is held.
    void repeat(Qt::Key key, Qt::KeyboardModifiers modifiers, QWidget *widget) const
    {
        QKeyEvent event(QEvent::KeyPress, key, modifiers, {}, true);
        QCoreApplication::sendEvent(widget, &event);
    }

    /// Waits until the viewer says that it waits.
    [[nodiscard]] bool isWaiting() const { return waitForStatus(WAITING_TO_QUIT); }

    static void answer(const QString &label)
    {
        ASSERT_NE(question(), nullptr);
        for (QAbstractButton *each : question()->buttons()) {
            if (each->text() == label)
                QTest::mouseClick(each, Qt::LeftButton);
        }
    }
};

TEST_F(QuitDuringWork, WaitsForADeletionSaysSoAndEnds)
{
    ASSERT_TRUE(openPicturesAsUser());
    trash.closeGate();
    EXPECT_TRUE(endsTheApplication([this] {
        press(Qt::Key_D);
        press(Qt::Key_Escape);
        EXPECT_EQ(statusText(), WAITING_TO_QUIT);
        EXPECT_TRUE(window->isVisible());
        trash.openGate();
    }));
    EXPECT_EQ(trash.files(), Names{"0.png"});
}

TEST_F(QuitDuringWork, WaitsForAPick)
{
    ASSERT_TRUE(openPicturesAsUser());
    EXPECT_TRUE(endsTheApplication([this] {
        press(Qt::Key_A);
        press(Qt::Key_Escape);
    }));
    EXPECT_EQ(contentOf(pictures / "HL/0.png"), contentOf(pictures / "0.png"));
}

TEST_F(QuitDuringWork, WaitsForASaveWithoutAQuestion)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    EXPECT_TRUE(endsTheApplication([this] {
        press(Qt::Key_Escape);
        EXPECT_EQ(question(), nullptr);
        EXPECT_EQ(statusText(), WAITING_TO_QUIT);
        slow.openGate();
    }));
    EXPECT_TRUE(isSaved());
}

TEST_F(QuitDuringWork, StaysWithItsMessageWhenTheSaveFails)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    folder.write("pictures/Edit", "a file");
    EXPECT_TRUE(stays([this] {
        press(Qt::Key_Escape);
        slow.openGate();
        ASSERT_TRUE(waitForStatus("❌ สร้างโฟลเดอร์ Edit ไม่ได้"));
    }));
    EXPECT_TRUE(stays([this] { press(Qt::Key_Escape); }));
    EXPECT_NE(question(), nullptr); // it does not wait any more
}

TEST_F(QuitDuringWork, StaysWithItsMessageWhenADeletionFails)
{
    ASSERT_TRUE(openPicturesAsUser());
    trash.closeGate();
    trash.failWith(u"no Trash here"_s);
    EXPECT_TRUE(stays([this] {
        press(Qt::Key_D);
        press(Qt::Key_Escape);
        trash.openGate();
        ASSERT_TRUE(waitForStatus("❌ ลบไม่ได้: no Trash here"));
    }));
}

TEST_F(QuitDuringWork, SaveOfAnEarlierStateIsNoAnswerToTheQuestion)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    ASSERT_TRUE(crop(TOP_HALF));
    EXPECT_TRUE(stays([this] { press(Qt::Key_Escape); }));
    EXPECT_NE(question(), nullptr);
}

TEST_F(QuitDuringWork, SecondEscapeEndsAtOnce)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    EXPECT_TRUE(endsTheApplication([this] {
        press(Qt::Key_Escape);
        press(Qt::Key_Escape);
    }));
    EXPECT_FALSE(isSaved());
    EXPECT_FALSE(viewer->fileWork().jobs().isEmpty());
}

TEST_F(QuitDuringWork, HeldEscapeIsNoSecondOne)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    EXPECT_TRUE(endsTheApplication([this] {
        press(Qt::Key_Escape);
        repeat(Qt::Key_Escape, Qt::NoModifier, view);
        EXPECT_TRUE(window->isVisible());
        slow.openGate();
    }));
    EXPECT_TRUE(isSaved());
}

TEST_F(QuitDuringWork, UnmarkedRepeatOfAHeldEscapeIsNoSecondOne)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    EXPECT_TRUE(endsTheApplication([this] {
        press(Qt::Key_Escape);
        repeat(Qt::Key_Escape, Qt::NoModifier, view);
        press(Qt::Key_Escape);
        EXPECT_TRUE(window->isVisible());
        slow.openGate();
    }));
    EXPECT_TRUE(isSaved());
}

TEST_F(QuitDuringWork, WaitsForASaveThatWaitsForAnUndo)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(crop(TOP_HALF));
    press(Qt::Key_S);
    ASSERT_TRUE(waitForFileWork());
    EXPECT_TRUE(endsTheApplication([this] {
        press(Qt::Key_Z, Qt::ControlModifier);
        press(Qt::Key_S);
        press(Qt::Key_Escape);
    }));
    EXPECT_EQ(QImage(QString::fromStdString(pictures / "Edit/0.jpg")).size(), QSize(200, 300));
}

TEST_F(QuitDuringWork, DeletionsGoOnWhenASaveBeforeTheEndIsOff)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(crop(TOP_HALF));
    EXPECT_TRUE(stays([this] {
        press(Qt::Key_Z, Qt::ControlModifier);
        press(Qt::Key_Escape);
        answer(u"บันทึกแล้วออก"_s);
        press(Qt::Key_Right); // before the undo has ended
        ASSERT_TRUE(waitForSecond());
    }));
    press(Qt::Key_D);
    EXPECT_TRUE(waitForStatus(DELETED));
    EXPECT_EQ(trash.files(), Names{"1.png"});
}

TEST_F(QuitDuringWork, DeletionDoesNotCostAnEditWhoseSaveFails)
{
    ASSERT_TRUE(openAndCrop());
    folder.write("pictures/Edit", "a file");
    trash.closeGate();
    EXPECT_TRUE(stays([this] {
        press(Qt::Key_D);
        press(Qt::Key_Escape);
        answer(u"บันทึกแล้วออก"_s);
        trash.openGate();
        ASSERT_TRUE(waitForStatus("❌ สร้างโฟลเดอร์ Edit ไม่ได้"));
        ASSERT_TRUE(waitForFileWork());
        serveWaitingEvents();
    }));
    EXPECT_EQ(shownSize(), QSize(200, 300));
    press(Qt::Key_Right);
    EXPECT_TRUE(waitForStatus(DELETED));
}

TEST_F(QuitDuringWork, KeysWorkWhileItWaits)
{
    ASSERT_TRUE(openPicturesAsUser());
    trash.closeGate();
    EXPECT_TRUE(stays([this] {
        press(Qt::Key_D);
        press(Qt::Key_Escape);
        press(Qt::Key_Right);
        EXPECT_TRUE(waitForSecond());
        EXPECT_EQ(statusText(), WAITING_TO_QUIT);
    }));
}

TEST_F(QuitDuringWork, QuestionHoldsBackADeletionThatEnds)
{
    ASSERT_TRUE(openAndCrop());
    trash.closeGate();
    EXPECT_TRUE(stays([this] {
        press(Qt::Key_D);
        press(Qt::Key_Escape);
        trash.openGate();
        ASSERT_TRUE(waitForFileWork());
    }));
    ASSERT_NE(question(), nullptr);
    EXPECT_EQ(shownSize(), QSize(200, 300));
    answer(u"ยกเลิก"_s);
    EXPECT_TRUE(waitForStatus(DELETED));
    EXPECT_TRUE(waitFor([this] { return infoText() == "1/2 | 1.png   [H=วิธีใช้]"; }));
}

TEST_F(QuitDuringWork, QuestionHoldsBackAHandOver)
{
    ASSERT_TRUE(openAndCrop());
    EXPECT_TRUE(stays([this] {
        press(Qt::Key_Escape);
        viewer->applicationOpen({pictures / "1.png"});
    }));
    ASSERT_NE(question(), nullptr);
    EXPECT_EQ(shownSize(), QSize(200, 300));
    answer(u"ยกเลิก"_s);
    EXPECT_TRUE(waitForSecond());
}

TEST_F(QuitDuringWork, HandOverDoesNotCostAnEditWhoseSaveFails)
{
    ASSERT_TRUE(openAndCrop());
    folder.write("pictures/Edit", "a file");
    EXPECT_TRUE(stays([this] {
        press(Qt::Key_Escape);
        viewer->applicationOpen({pictures / "1.png"});
        answer(u"บันทึกแล้วออก"_s);
        ASSERT_TRUE(waitForStatus("❌ สร้างโฟลเดอร์ Edit ไม่ได้"));
    }));
    EXPECT_EQ(shownSize(), QSize(200, 300));
}

TEST_F(QuitDuringWork, SaveAndQuitWaitsForTheUndoUnderWay)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(crop(TOP_HALF));
    EXPECT_TRUE(endsTheApplication([this] {
        press(Qt::Key_Z, Qt::ControlModifier);
        press(Qt::Key_Escape);
        answer(u"บันทึกแล้วออก"_s);
    }));
    EXPECT_EQ(QImage(QString::fromStdString(pictures / "Edit/0.jpg")).size(), QSize(200, 300));
}

TEST_F(QuitDuringWork, SaveAndQuitIsWaitedForAlsoAfterAnEarlierWait)
{
    ASSERT_TRUE(openPicturesAsUser());
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForSecond());
    trash.closeGate();
    slow.closeGate();
    EXPECT_TRUE(endsTheApplication([this] {
        press(Qt::Key_D);
        press(Qt::Key_Escape);
        press(Qt::Key_Left);
        ASSERT_TRUE(waitFor([this] { return infoText().starts_with("1/3 | 0.png"); }));
        ASSERT_TRUE(crop(LEFT_HALF));
        press(Qt::Key_Escape);
        answer(u"บันทึกแล้วออก"_s);
        serveWaitingEvents();
        EXPECT_TRUE(window->isVisible());
        slow.openGate();
        trash.openGate();
    }));
    EXPECT_TRUE(isSaved());
    EXPECT_EQ(trash.files(), Names{"1.png"});
}

TEST_F(QuitDuringWork, GivingUpTheEditsStillWaitsForTheDeletion)
{
    ASSERT_TRUE(openAndCrop());
    trash.closeGate();
    EXPECT_TRUE(endsTheApplication([this] {
        press(Qt::Key_D);
        press(Qt::Key_Escape);
        answer(u"ออกโดยไม่บันทึก"_s);
        EXPECT_TRUE(isWaiting());
        trash.openGate();
    }));
    EXPECT_EQ(trash.files(), Names{"0.png"});
    EXPECT_FALSE(isSaved());
}

#ifndef Q_OS_MACOS // where the menu has the quit key
TEST_F(QuitDuringWork, HeldControlAndQAsksOnce)
{
    ASSERT_TRUE(openAndCrop());
    EXPECT_TRUE(stays([this] {
        press(Qt::Key_Q, Qt::ControlModifier);
        const QPointer<QMessageBox> first = question();
        for (int i = 0; first && i < 5; ++i) {
            repeat(Qt::Key_Q, Qt::ControlModifier, first);
            serveWaitingEvents();
        }
        EXPECT_NE(first, nullptr);
        EXPECT_EQ(question(), first);
    }));
}

TEST_F(QuitDuringWork, HeldControlAndQIsNoSecondRequest)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    EXPECT_TRUE(stays([this] {
        press(Qt::Key_Q, Qt::ControlModifier);
        repeat(Qt::Key_Q, Qt::ControlModifier, view);
    }));
    EXPECT_EQ(statusText(), WAITING_TO_QUIT);
}
#endif

} // namespace
} // namespace tavolin
