// Picks, saves and deletions that take their time: the viewer goes on, and says how they ended.

#include "app/FileWorkFixture.h"

#include "logic/Printing.h"
#include "platform/FileSystems.h"
#include "screen/TextLabel.h"

#include <QElapsedTimer>
#include <QMainWindow>
#include <QMessageBox>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

using namespace test;
using Names = std::vector<std::string>;

class FileWorkInTheBackground : public FileWorkFixture
{};

TEST_F(FileWorkInTheBackground, SlowSaveSaysSoAndThenHowItEnded)
{
    ASSERT_TRUE(openAndCrop());
    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(startSave());
    ASSERT_TRUE(waitForStatus("⏳ กำลังบันทึก..."));
    EXPECT_GE(timer.elapsed(), 300);
    EXPECT_FALSE(viewer->labels().isStatusTemporary());
    slow.openGate();
    EXPECT_TRUE(waitForStatus(SAVED));
}

TEST_F(FileWorkInTheBackground, SlowDeletionSaysSoAndThenHowItEnded)
{
    ASSERT_TRUE(openPicturesAsUser());
    trash.closeGate();
    press(Qt::Key_D);
    ASSERT_TRUE(waitForStatus("⏳ กำลังลบ..."));
    trash.openGate();
    EXPECT_TRUE(waitForStatus(DELETED));
}

TEST_F(FileWorkInTheBackground, SlowDeletionOfTheOnlyPictureLeavesNoMessage)
{
    ASSERT_TRUE(openPicturesAsUser());
    std::filesystem::remove(pictures / "1.png");
    std::filesystem::remove(pictures / "2.png");
    viewer->browser().openPath(pictures);
    ASSERT_TRUE(waitFor(
        [this] { return infoText().starts_with("1/1") && viewer->browser().isCurrentShown(); }));
    trash.closeGate();
    press(Qt::Key_D);
    ASSERT_TRUE(waitForStatus("⏳ กำลังลบ..."));
    trash.openGate();
    ASSERT_TRUE(waitFor([this] { return viewer->browser().imageList().empty(); }));
    EXPECT_EQ(statusText(), "");
}

TEST_F(FileWorkInTheBackground, QuickWorkShowsNothingButItsEnd)
{
    ASSERT_TRUE(openAndCrop());
    Names shown;
    const auto note = [&] {
        if (shown.empty() || shown.back() != statusText())
            shown.push_back(statusText());
        return statusText() == PICKED;
    };
    press(Qt::Key_S);
    press(Qt::Key_A);
    ASSERT_TRUE(waitFor(note));
    for (const std::string &text : shown)
        EXPECT_FALSE(text.starts_with("⏳")) << text;
}

TEST_F(FileWorkInTheBackground, PicturesAreSteppedThroughDuringASave)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForSecond());
    EXPECT_FALSE(isSaved());
    slow.openGate();
    ASSERT_TRUE(waitForStatus(SAVED));
    EXPECT_EQ(QImage(QString::fromStdString(pictures / "Edit/0.jpg")).size(), QSize(200, 300));
    EXPECT_EQ(infoText(), "2/3 | 1.png   [H=วิธีใช้]");
}

TEST_F(FileWorkInTheBackground, PickOfAPictureThatIsBeingSavedWaits)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    press(Qt::Key_A);
    ASSERT_TRUE(waitForStatus("⏳ กำลังบันทึก..."));
    EXPECT_FALSE(std::filesystem::exists(pictures / "HL"));
    slow.openGate();
    ASSERT_TRUE(waitForFileWork());
    EXPECT_TRUE(std::filesystem::exists(pictures / "HL/0.png"));
    EXPECT_EQ(statusText(), PICKED);
}

TEST_F(FileWorkInTheBackground, DeletionOfAPictureThatIsBeingSavedWaits)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    press(Qt::Key_D);
    ASSERT_TRUE(waitForStatus("⏳ กำลังบันทึก..."));
    EXPECT_TRUE(trash.asked().empty());
    slow.openGate();
    ASSERT_TRUE(waitForFileWork());
    EXPECT_TRUE(isSaved());
    EXPECT_EQ(trash.files(), Names{"0.png"});
}

TEST_F(FileWorkInTheBackground, DeletionOfAnotherPictureWaitsForNothing)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForSecond());
    press(Qt::Key_D);
    ASSERT_TRUE(waitForStatus(DELETED));
    EXPECT_EQ(trash.files(), Names{"1.png"});
    EXPECT_FALSE(isSaved());
}

TEST_F(FileWorkInTheBackground, HeldSaveKeyWritesOnce)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    for (int i = 0; i < 30; ++i)
        press(Qt::Key_S);
    slow.openGate();
    ASSERT_TRUE(waitForFileWork());
    EXPECT_EQ(slow.begun(), 1);
}

TEST_F(FileWorkInTheBackground, SaveOfAnotherStateOfThePictureIsAnotherOne)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    ASSERT_TRUE(crop(TOP_HALF));
    press(Qt::Key_S);
    slow.openGate();
    ASSERT_TRUE(waitForFileWork());
    EXPECT_EQ(slow.begun(), 2);
    EXPECT_EQ(QImage(QString::fromStdString(pictures / "Edit/0.jpg")).size(), QSize(200, 150));
}

TEST_F(FileWorkInTheBackground, HeldPickKeyCopiesOnce)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave()); // behind which the pick waits
    for (int i = 0; i < 30; ++i)
        press(Qt::Key_A);
    EXPECT_TRUE(viewer->fileWork().jobs().isSaving());
    int ends = 0;
    QObject::connect(&viewer->fileWork(), &FileWork::ended, window,
                     [&](FileJobKind kind) { ends += kind == FileJobKind::Pick; });
    slow.openGate();
    ASSERT_TRUE(waitForFileWork());
    EXPECT_EQ(ends, 1);
}

TEST_F(FileWorkInTheBackground, PickAfterAnotherOneHasEndedIsDoneAgain)
{
    ASSERT_TRUE(openPicturesAsUser());
    press(Qt::Key_A);
    ASSERT_TRUE(waitForFileWork());
    std::filesystem::remove(pictures / "HL/0.png");
    press(Qt::Key_A);
    ASSERT_TRUE(waitForFileWork());
    EXPECT_TRUE(std::filesystem::exists(pictures / "HL/0.png"));
}

TEST_F(FileWorkInTheBackground, EditMadeDuringASaveIsNotTakenForSaved)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    ASSERT_TRUE(crop(TOP_HALF));
    slow.openGate();
    ASSERT_TRUE(waitForFileWork());
    EXPECT_TRUE(stays([this] { press(Qt::Key_Escape); }));
    EXPECT_NE(question(), nullptr);
}

TEST_F(FileWorkInTheBackground, FailureOfASaveOfThePictureOnScreenClearsItself)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    folder.write("pictures/Edit", "a file");
    slow.openGate();
    ASSERT_TRUE(waitForStatus("❌ สร้างโฟลเดอร์ Edit ไม่ได้"));
    EXPECT_TRUE(viewer->labels().isStatusTemporary());
}

TEST_F(FileWorkInTheBackground, FailureOfASaveOfAPictureThatWasLeftStaysUntilAKey)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForSecond());
    folder.write("pictures/Edit", "a file");
    slow.openGate();
    constexpr auto FAILED = "❌ สร้างโฟลเดอร์ Edit ไม่ได้: 0.png";
    ASSERT_TRUE(waitForStatus(FAILED));
    EXPECT_FALSE(viewer->labels().isStatusTemporary());
    viewer->labels().showStatus(u"something else"_s, true);
    viewer->labels().clearStatus();
    EXPECT_EQ(statusText(), FAILED);
    press(Qt::Key_F10); // has no command
    EXPECT_EQ(statusText(), "");
}

TEST_F(FileWorkInTheBackground, FailuresOfTwoSavesOfPicturesThatWereLeftNameBoth)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForSecond());
    ASSERT_TRUE(crop(LEFT_HALF));
    press(Qt::Key_S);
    press(Qt::Key_Right);
    folder.write("pictures/Edit", "a file");
    slow.openGate();
    EXPECT_TRUE(waitForStatus("❌ สร้างโฟลเดอร์ Edit ไม่ได้: 0.png, 1.png"));
    press(Qt::Key_F10); // has no command
    EXPECT_EQ(statusText(), "");
}

TEST_F(FileWorkInTheBackground, FailuresOfManySavesOfPicturesThatWereLeftAreCounted)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForSecond());
    for (const int next : {2, 1}) {
        for (const QRectF &area : {LEFT_HALF, TOP_HALF}) { // each is saved twice
            ASSERT_TRUE(crop(area));
            press(Qt::Key_S);
        }
        press(next == 2 ? Qt::Key_Right : Qt::Key_Left);
        ASSERT_TRUE(waitFor([&] { return viewer->browser().currentIndex() == next; }));
    }
    folder.write("pictures/Edit", "a file");
    slow.openGate();
    EXPECT_TRUE(waitForStatus("❌ สร้างโฟลเดอร์ Edit ไม่ได้: 3 ภาพ"));
}

TEST_F(FileWorkInTheBackground, NewerMessageOfAStateIsNotWipedBySuccess)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    viewer->loupe().zoomBegin({400, 300});
    const std::string hint = statusText();
    ASSERT_TRUE(hint.starts_with("🔍"));
    slow.openGate();
    ASSERT_TRUE(waitForFileWork());
    EXPECT_EQ(statusText(), hint);
}

TEST_F(FileWorkInTheBackground, NewerMessageOfAStateGivesWayToAFailure)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    viewer->loupe().zoomBegin({400, 300});
    folder.write("pictures/Edit", "a file");
    slow.openGate();
    EXPECT_TRUE(waitForStatus("❌ สร้างโฟลเดอร์ Edit ไม่ได้"));
}

TEST_F(FileWorkInTheBackground, SlowWorkDoesNotWipeANewerMessage)
{
    ASSERT_TRUE(openAndCrop());
    ASSERT_TRUE(startSave());
    viewer->loupe().zoomBegin({400, 300});
    const std::string hint = statusText();
    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(waitFor([&] { return timer.elapsed() > 700; }));
    EXPECT_EQ(statusText(), hint);
    viewer->loupe().zoomEnd();
    EXPECT_TRUE(waitForStatus("⏳ กำลังบันทึก..."));
}

} // namespace
} // namespace tavolin
