#include "app/EditFixture.h"

#include "browse/SearchField.h"
#include "editing/CropOverlayView.h"
#include "logic/Printing.h"
#include "screen/ViewerView.h"

#include <QAbstractButton>
#include <QLabel>
#include <QMainWindow>
#include <QMessageBox>
#include <QPushButton>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

using namespace test;

constexpr auto SAVE = "บันทึกแล้วออก";
constexpr auto DISCARD = "ออกโดยไม่บันทึก";
constexpr auto CANCEL = "ยกเลิก";

class QuitGuard : public EditFixture
{
protected:
    [[nodiscard]] testing::AssertionResult openAndCrop()
    {
        if (const auto result = openPicturesAsUser(); !result)
            return result;
        if (!crop(LEFT_HALF))
            return testing::AssertionFailure() << "the picture is not cropped";
        return testing::AssertionSuccess();
    }

    /// Crops the picture just opened, once it is there.
    [[nodiscard]] bool cropWhenShown()
    {
        const auto isInCropMode = [this] {
            press(Qt::Key_X);
            return overlay() != nullptr;
        };
        if (!waitFor(isInCropMode))
            return false;
        press(Qt::Key_Return);
        return waitForStatus(CROPPED);
    }

    /// Whether @p action ends the program, done while the event loop runs, at the latest when work
    /// on files has ended.
    [[nodiscard]] bool ends(const std::function<void()> &action) const
    {
        return endsTheApplication([&] {
            action();
            EXPECT_TRUE(waitForFileWork());
            serveWaitingEvents();
            if (window->isVisible())
                QCoreApplication::exit(1);
        });
    }

    /// Presses Escape and clicks the button @p label of the question; fails if there is none.
    void escapeAndAnswer(const std::string &label) const
    {
        press(Qt::Key_Escape);
        answer(label);
    }

    static void answer(const std::string &label)
    {
        QMessageBox *box = question();
        ASSERT_NE(box, nullptr);
        for (QAbstractButton *each : box->buttons()) {
            if (each->text().toStdString() == label) {
                QTest::mouseClick(each, Qt::LeftButton);
                return;
            }
        }
        FAIL() << "no button " << label;
    }

    [[nodiscard]] bool isSaved() const { return std::filesystem::exists(pictures / "Edit/0.jpg"); }
};

TEST_F(QuitGuard, WithoutEditsQuitsAtOnce)
{
    ASSERT_TRUE(openPicturesAsUser());
    EXPECT_TRUE(ends([this] { press(Qt::Key_Escape); }));
}

TEST_F(QuitGuard, QuestionNamesTheFileAndOffersThreeAnswers)
{
    ASSERT_TRUE(openAndCrop());
    EXPECT_FALSE(ends([this] { press(Qt::Key_Escape); }));
    const QMessageBox *box = question();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->text().toStdString(), "มีการแก้ไขที่ยังไม่ได้บันทึก");
    EXPECT_EQ(box->informativeText().toStdString(),
              "0.png ถูกครอป/หมุนแล้ว แต่ยังไม่ได้บันทึกลงโฟลเดอร์ Edit");
    std::vector<std::string> labels;
    for (const QAbstractButton *each : box->buttons())
        labels.push_back(each->text().toStdString());
    std::sort(labels.begin(), labels.end());
    EXPECT_EQ(labels, (std::vector<std::string>{SAVE, CANCEL, DISCARD}));
    EXPECT_EQ(box->defaultButton()->text().toStdString(), SAVE);
}

TEST_F(QuitGuard, NameThatLooksLikeMarkupIsShownAsItIs)
{
    ASSERT_TRUE(openPicturesAsUser());
    const auto file = pictures / "<b>0<b>.png";
    std::filesystem::rename(pictures / "0.png", file);
    open(file);
    ASSERT_TRUE(cropWhenShown());
    EXPECT_FALSE(ends([this] { press(Qt::Key_Escape); }));
    const auto *label = question()->findChild<QLabel *>(u"qt_msgbox_informativelabel"_s);
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(label->textFormat(), Qt::PlainText);
    EXPECT_TRUE(label->text().startsWith(u"<b>0<b>.png "_s));
}

TEST_F(QuitGuard, LongNameIsWrapped)
{
    ASSERT_TRUE(openPicturesAsUser());
    const std::string name(240, '0');
    const auto file = (pictures / name).concat(".png");
    std::filesystem::rename(pictures / "0.png", file);
    open(file);
    ASSERT_TRUE(cropWhenShown());
    EXPECT_FALSE(ends([this] { press(Qt::Key_Escape); }));
    const auto *label = question()->findChild<QLabel *>(u"qt_msgbox_informativelabel"_s);
    ASSERT_NE(label, nullptr);
    EXPECT_LE(label->minimumSizeHint().width(), label->width());
    EXPECT_LE(label->heightForWidth(label->width()), label->height());
    EXPECT_LE(question()->width(), 700);
}

TEST_F(QuitGuard, CancelKeepsTheProgramAndTheEdit)
{
    ASSERT_TRUE(openAndCrop());
    EXPECT_FALSE(ends([this] { escapeAndAnswer(CANCEL); }));
    EXPECT_EQ(shownSize(), QSize(200, 300));
    EXPECT_FALSE(isSaved());
    EXPECT_FALSE(ends([this] { press(Qt::Key_Escape); }));
    EXPECT_NE(question(), nullptr); // asked again
}

TEST_F(QuitGuard, CancelGivesTheKeyboardBackToTheSearchField)
{
    ASSERT_TRUE(openAndCrop());
    press(Qt::Key_J);
    const auto *field = view->findChild<SearchField *>();
    ASSERT_NE(field, nullptr);
    EXPECT_FALSE(ends([this] {
        window->close();
        answer(CANCEL);
    }));
    EXPECT_EQ(window->focusWidget(), field);
}

TEST_F(QuitGuard, EscapeInTheQuestionCancels)
{
    ASSERT_TRUE(openAndCrop());
    EXPECT_FALSE(ends([this] {
        press(Qt::Key_Escape);
        QTest::keyClick(question(), Qt::Key_Escape);
    }));
    EXPECT_EQ(question(), nullptr);
}

TEST_F(QuitGuard, QuestionEndsWithTheEditsThatItIsAbout)
{
    ASSERT_TRUE(openAndCrop());
    EXPECT_FALSE(ends([this] {
        press(Qt::Key_Escape);
        open(pictures / "1.png"); // handed over by another program
    }));
    EXPECT_EQ(question(), nullptr);
    EXPECT_FALSE(isSaved());
    EXPECT_TRUE(ends([this] { press(Qt::Key_Escape); }));
}

TEST_F(QuitGuard, SaveWritesTheFileAndQuits)
{
    ASSERT_TRUE(openAndCrop());
    EXPECT_TRUE(ends([this] { escapeAndAnswer(SAVE); }));
    EXPECT_TRUE(isSaved());
}

TEST_F(QuitGuard, ReturnSavesAndQuits)
{
    ASSERT_TRUE(openAndCrop());
    EXPECT_TRUE(ends([this] {
        press(Qt::Key_Escape);
        QTest::keyClick(question(), Qt::Key_Return);
    }));
    EXPECT_TRUE(isSaved());
}

TEST_F(QuitGuard, SaveThatFailsKeepsTheProgramAndTheEdit)
{
    ASSERT_TRUE(openAndCrop());
    folder.write("pictures/Edit", "a file");
    EXPECT_FALSE(ends([this] { escapeAndAnswer(SAVE); }));
    EXPECT_EQ(statusText(), "❌ สร้างโฟลเดอร์ Edit ไม่ได้");
    EXPECT_EQ(shownSize(), QSize(200, 300));
    EXPECT_FALSE(ends([this] { press(Qt::Key_Escape); }));
    EXPECT_NE(question(), nullptr);
}

TEST_F(QuitGuard, FileThatCannotBeWrittenKeepsTheProgramAndTheEdit)
{
    ASSERT_TRUE(openAndCrop());
    std::filesystem::create_directories(pictures / "Edit/0.jpg/not empty");
    EXPECT_FALSE(ends([this] { escapeAndAnswer(SAVE); }));
    EXPECT_EQ(statusText(), "❌ บันทึกไม่สำเร็จ");
    EXPECT_EQ(shownSize(), QSize(200, 300));
    EXPECT_FALSE(ends([this] { press(Qt::Key_Escape); }));
    EXPECT_NE(question(), nullptr);
}

TEST_F(QuitGuard, DiscardQuitsWithoutAFile)
{
    ASSERT_TRUE(openAndCrop());
    EXPECT_TRUE(ends([this] { escapeAndAnswer(DISCARD); }));
    EXPECT_FALSE(isSaved());
}

TEST_F(QuitGuard, AfterSavingThereIsNoQuestion)
{
    ASSERT_TRUE(openAndCrop());
    press(Qt::Key_S);
    ASSERT_TRUE(waitForFileWork());
    ASSERT_TRUE(isSaved());
    EXPECT_TRUE(ends([this] { press(Qt::Key_Escape); }));
}

TEST_F(QuitGuard, ClosingTheWindowAsksToo)
{
    ASSERT_TRUE(openAndCrop());
    EXPECT_FALSE(ends([this] { window->close(); }));
    EXPECT_NE(question(), nullptr);
}

#ifndef Q_OS_MACOS // where the menu has the quit key
TEST_F(QuitGuard, ControlAndQAsksTooEvenInCropMode)
{
    ASSERT_TRUE(openAndCrop());
    press(Qt::Key_X);
    EXPECT_FALSE(ends([this] { press(Qt::Key_Q, Qt::ControlModifier); }));
    EXPECT_NE(question(), nullptr);
    EXPECT_NE(overlay(), nullptr);
}
#endif

TEST_F(QuitGuard, SecondRequestDoesNotAskTwice)
{
    ASSERT_TRUE(openAndCrop());
    EXPECT_FALSE(ends([this] {
        window->close();
        window->close();
    }));
    int questions = 0;
    for (QWidget *widget : QApplication::topLevelWidgets())
        questions += qobject_cast<QMessageBox *>(widget) && widget->isVisible();
    EXPECT_EQ(questions, 1);
}

TEST_F(QuitGuard, EditsOfAPictureThatWasLeftAreNotAskedAbout)
{
    ASSERT_TRUE(openAndCrop());
    press(Qt::Key_Right);
    EXPECT_TRUE(ends([this] { press(Qt::Key_Escape); }));
}

TEST_F(QuitGuard, EditsOfAPictureThatWasDeletedAreNotAskedAbout)
{
    ASSERT_TRUE(openAndCrop());
    press(Qt::Key_D);
    ASSERT_TRUE(waitForStatus("🗑 ลบแล้ว"));
    EXPECT_TRUE(ends([this] { press(Qt::Key_Escape); }));
}

TEST_F(QuitGuard, UndoneEditsAreNotAskedAbout)
{
    ASSERT_TRUE(openAndCrop());
    press(Qt::Key_Z, Qt::ControlModifier);
    ASSERT_TRUE(waitForStatus(BACK_TO_SOURCE));
    EXPECT_TRUE(ends([this] { press(Qt::Key_Escape); }));
}

TEST_F(QuitGuard, BenchRunQuitsWithEdits)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    EXPECT_TRUE(ends([this] { press(Qt::Key_Escape); }));
}

} // namespace
} // namespace tavolin
