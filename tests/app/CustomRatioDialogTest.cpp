#include "editing/CustomRatioDialog.h"

#include "logic/Printing.h"

#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

class CustomRatioDialogTest : public testing::Test
{
protected:
    CustomRatioDialogTest()
    {
        window.show();
        dialog = new CustomRatioDialog(&window);
        field = dialog->findChild<QLineEdit *>();
        QObject::connect(dialog, &QDialog::finished, &window, [this](int result) {
            results.push_back(result);
            answer = dialog->text();
        });
        dialog->open();
    }

    [[nodiscard]] QPushButton *button(const QString &label) const
    {
        for (QPushButton *candidate : dialog->findChildren<QPushButton *>()) {
            if (candidate->text() == label)
                return candidate;
        }
        ADD_FAILURE() << "no button " << label.toStdString();
        return nullptr;
    }

    QWidget window;
    QPointer<CustomRatioDialog> dialog;
    QLineEdit *field = nullptr; // the dialog's
    std::vector<int> results;
    QString answer;
};

TEST_F(CustomRatioDialogTest, SaysWhatToEnter)
{
    std::vector<std::string> texts;
    for (const QLabel *label : dialog->findChildren<QLabel *>())
        texts.push_back(label->text().toStdString());
    EXPECT_EQ(texts,
              (std::vector<std::string>{"Custom Ratio", "Enter as width:height, e.g. 16:10"}));
}

TEST_F(CustomRatioDialogTest, IsWideEnoughForItsTitle)
{
    QFont bold = dialog->font();
    bold.setBold(true);
    const QString title = u"Custom Ratio — "_s + QGuiApplication::applicationDisplayName();
    EXPECT_GT(dialog->width(), QFontMetrics(bold).horizontalAdvance(title) + 100); // for buttons
}

TEST_F(CustomRatioDialogTest, FieldIsFilledAndReadyToBeReplaced)
{
    EXPECT_EQ(field->size(), QSize(140, 24));
    EXPECT_EQ(field->text(), u"16:10"_s);
    EXPECT_EQ(field->selectedText(), u"16:10"_s);
    EXPECT_EQ(dialog->focusWidget(), field);
}

TEST_F(CustomRatioDialogTest, BlocksItsWindowAndNotTheProgram)
{
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_EQ(dialog->windowModality(), Qt::WindowModal);
    EXPECT_TRUE(results.empty());
}

TEST_F(CustomRatioDialogTest, OkIsTheDefault)
{
    EXPECT_TRUE(button(u"OK"_s)->isDefault());
    EXPECT_FALSE(button(u"Cancel"_s)->isDefault());
}

TEST_F(CustomRatioDialogTest, OkAnswersWithTheTextExactlyAsTyped)
{
    field->clear();
    QTest::keyClicks(field, u" 16 : 10"_s);
    QTest::mouseClick(button(u"OK"_s), Qt::LeftButton);
    EXPECT_EQ(results, std::vector<int>{QDialog::Accepted});
    EXPECT_EQ(answer, u" 16 : 10"_s);
}

TEST_F(CustomRatioDialogTest, ReturnInTheFieldIsOk)
{
    QTest::keyClicks(field, u"3:2"_s);
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(results, std::vector<int>{QDialog::Accepted});
    EXPECT_EQ(answer, u"3:2"_s);
}

TEST_F(CustomRatioDialogTest, KeypadEnterInTheFieldIsOk)
{
    QTest::keyClick(field, Qt::Key_Enter);
    EXPECT_EQ(results, std::vector<int>{QDialog::Accepted});
}

TEST_F(CustomRatioDialogTest, EscapeInTheFieldIsCancel)
{
    QTest::keyClick(field, Qt::Key_Escape);
    EXPECT_EQ(results, std::vector<int>{QDialog::Rejected});
}

TEST_F(CustomRatioDialogTest, CancelAnswersOnceWithNo)
{
    QTest::mouseClick(button(u"Cancel"_s), Qt::LeftButton);
    EXPECT_EQ(results, std::vector<int>{QDialog::Rejected});
}

TEST_F(CustomRatioDialogTest, ClosingItIsCancel)
{
    dialog->close();
    EXPECT_EQ(results, std::vector<int>{QDialog::Rejected});
}

TEST_F(CustomRatioDialogTest, DeletesItselfOnceAnswered)
{
    QTest::keyClick(field, Qt::Key_Return);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(dialog.isNull());
}

} // namespace
} // namespace tavolin
