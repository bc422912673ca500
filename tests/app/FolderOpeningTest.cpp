#include "app/ViewerFixture.h"

#include "browse/FolderChooser.h"
#include "screen/ViewerView.h"

#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QPushButton>
#include <QRegularExpression>
#include <QWindow>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

using test::waitFor;
using Numbers = std::vector<int>;

class FolderOpening : public test::ViewerFixture
{
protected:
    /// Opens the folder dialog with its key.
    [[nodiscard]] FolderChooser *openWithKey()
    {
        press(Qt::Key_O);
        const bool isOpen = waitFor([] { return openDialogs().size() == 1; });
        return isOpen ? openDialogs().front() : nullptr;
    }

    /// Waits until no dialog is left, hidden or not.
    [[nodiscard]] bool waitUntilClosed() const
    {
        return waitFor([this] { return !window->findChild<FolderChooser *>(); });
    }

    /// Gives the window the keyboard, as window managers do when a dialog has gone, and waits until
    /// the view has it.
    [[nodiscard]] bool waitForKeyboard() const
    {
        window->activateWindow();
        return waitFor([this] { return view->hasFocus(); });
    }

    /// Writes @p path into the field of @p dialog.
    static void type(const FolderChooser &dialog, const std::filesystem::path &path)
    {
        auto *field = dialog.findChild<QLineEdit *>();
        field->selectAll();
        QTest::keyClicks(field, QString::fromStdString(path.native()));
    }

    /// Presses the button of @p dialog that has @p text; false if there is none.
    [[nodiscard]] static bool click(const FolderChooser &dialog, const QString &text)
    {
        for (QPushButton *button : dialog.findChildren<QPushButton *>()) {
            if (button->text() != text || !button->isEnabled())
                continue;
            QTest::mouseClick(button, Qt::LeftButton);
            return true;
        }
        return false;
    }
};

TEST_F(FolderOpening, FileWithAnotherExtensionOpensItsFolderAtTheBeginning)
{
    start({"--bench"});
    const auto pictures = makePictures("pictures", 0, 3);
    open(folder.write("pictures/002.txt"));
    ASSERT_TRUE(waitForLoads(1));
    EXPECT_EQ(shownNumber(), 0);
    EXPECT_EQ(infoText(), "1/4 | 000.jpg   [H=วิธีใช้]");
}

TEST_F(FolderOpening, FileOpensItsFolderAtTheFile)
{
    start({"--bench"});
    open(makePictures("pictures", 0, 3) / "002.jpg");
    ASSERT_TRUE(waitForLoads(1));
    EXPECT_EQ(shownNumber(), 2);
    EXPECT_EQ(infoText(), "3/4 | 002.jpg   [H=วิธีใช้]");
    EXPECT_EQ(decoder.started(), Numbers{2});
}

TEST_F(FolderOpening, FolderOpensAtTheBeginningWhereverTheLastOneWas)
{
    ASSERT_TRUE(startOnPictures(4, 3));
    open(makePictures("second", 100, 104));
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(shownNumber(), 100);
    EXPECT_EQ(infoText(), "1/5 | 100.jpg   [H=วิธีใช้]");
}

TEST_F(FolderOpening, RelativePathOpensAtTheFile)
{
    start({"--bench"});
    const auto file = makePictures("pictures", 0, 3) / "002.jpg";
    open(std::filesystem::relative(file));
    ASSERT_TRUE(waitForLoads(1));
    EXPECT_EQ(shownNumber(), 2);
}

TEST_F(FolderOpening, NameThatIsNotUtf8OpensAtTheFile)
{
    start({"--bench"});
    makePictures("pictures", 0, 3);
    open(folder.write("pictures/002\xff.jpg"));
    ASSERT_TRUE(waitForLoads(1));
    EXPECT_EQ(decoder.started(), Numbers{2});
    EXPECT_EQ(infoText(), "4/5 | 002\xef\xbf\xbd.jpg   [H=วิธีใช้]");
}

TEST_F(FolderOpening, PathWithNothingThereChangesNothing)
{
    ASSERT_TRUE(startOnPictures(3, 1));
    open(folder / "absent");
    open(folder / "absent/001.jpg");
    EXPECT_EQ(statusText(), "");
    EXPECT_EQ(infoText(), "2/3 | 001.jpg   [H=วิธีใช้]");
    EXPECT_EQ(shownNumber(), 1);
}

TEST_F(FolderOpening, EmptyFolderIsBlackAndSaysSo)
{
    ASSERT_TRUE(startOnPictures(3, 1));
    open(makePictures("empty", 0, -1));
    EXPECT_EQ(infoText(), "ไม่พบรูปในโฟลเดอร์นี้ — กด O เปิดใหม่");
    EXPECT_EQ(shownNumber(), std::nullopt);
    EXPECT_EQ(statusText(), "");
}

TEST_F(FolderOpening, EmptyFolderHasNowhereToStepTo)
{
    ASSERT_TRUE(startOnPictures(3, 1));
    open(makePictures("empty", 0, -1));
    press(Qt::Key_Right);
    press(Qt::Key_Left);
    EXPECT_EQ(infoText(), "ไม่พบรูปในโฟลเดอร์นี้ — กด O เปิดใหม่");
    EXPECT_EQ(shownNumber(), std::nullopt);
}

TEST_F(FolderOpening, EmptyFolderStaysBlackWhenTheWindowChangesItsSize)
{
    ASSERT_TRUE(startOnPictures(3, 1));
    open(makePictures("empty", 0, -1));
    ASSERT_TRUE(resizeTo({640, 480}));
    EXPECT_EQ(shownNumber(), std::nullopt);
}

TEST_F(FolderOpening, UnreadableFolderIsReportedAndNothingElseChanges)
{
    ASSERT_TRUE(startOnPictures(3, 1));
    viewer->browser().openFolder(folder.write("file"), std::nullopt);
    EXPECT_TRUE(waitUntilOpened());
    EXPECT_EQ(statusText(), "❌ เปิดโฟลเดอร์ไม่ได้");
    EXPECT_EQ(infoText(), "2/3 | 001.jpg   [H=วิธีใช้]");
    EXPECT_EQ(shownNumber(), 1);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(shownNumber(), 2);
    EXPECT_EQ(decoder.started(), (Numbers{1, 2}));
}

TEST_F(FolderOpening, EverythingStaysUntilTheListIsThere)
{
    ASSERT_TRUE(startOnPictures(3, 1));
    const auto second = makePictures("second", 100, 104);
    viewer->browser().openPath(second);
    EXPECT_TRUE(viewer->browser().isOpening());
    EXPECT_EQ(infoText(), "2/3 | 001.jpg   [H=วิธีใช้]");
    EXPECT_EQ(shownNumber(), 1);
    press(Qt::Key_Right);
    EXPECT_EQ(infoText(), "3/3 | 002.jpg   [H=วิธีใช้]");
    ASSERT_TRUE(waitUntilOpened());
    EXPECT_EQ(infoText(), "1/5 | 100.jpg   [H=วิธีใช้]");
}

TEST_F(FolderOpening, LaterOneTakesThePlaceOfTheEarlier)
{
    start({"--bench"});
    const auto first = makePictures("first", 0, 3);
    const auto second = makePictures("second", 100, 104);
    int lists = 0;
    QObject::connect(&viewer->browser(), &Browser::listChanged, &mailbox, [&lists] { ++lists; });
    viewer->browser().openPath(first);
    viewer->browser().openPath(second);
    ASSERT_TRUE(waitUntilOpened());
    EXPECT_EQ(infoText(), "1/5 | 100.jpg   [H=วิธีใช้]");
    EXPECT_EQ(lists, 1);
}

TEST_F(FolderOpening, StepsBeforeTheFirstListAreMadeInIt)
{
    start({"--bench"});
    viewer->browser().openPath(makePictures("pictures", 0, 9));
    press(Qt::Key_Right);
    press(Qt::Key_Right);
    press(Qt::Key_Left);
    ASSERT_TRUE(waitUntilOpened());
    EXPECT_EQ(infoText(), "2/10 | 001.jpg   [H=วิธีใช้]");
}

TEST_F(FolderOpening, DecodeForTheEarlierFolderIsGivenUp)
{
    ASSERT_TRUE(startOnPictures(3));
    decoder.hold(1);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForStarts(2));
    open(makePictures("second", 100, 104));
    EXPECT_TRUE(waitFor([this] { return shownNumber() == 100; }));
    EXPECT_EQ(decoder.stopped(), Numbers{1});
}

TEST_F(FolderOpening, HeldKeyOpensOneDialog)
{
    start({"--bench"});
    press(Qt::Key_O);
    press(Qt::Key_O);
    test::serveWaitingEvents();
    EXPECT_EQ(openDialogs().size(), 1U);
}

TEST_F(FolderOpening, DialogOpensAgainAfterItWasClosed)
{
    start({"--bench"});
    FolderChooser *dialog = openWithKey();
    ASSERT_NE(dialog, nullptr);
    QTest::keyClick(dialog, Qt::Key_Escape);
    ASSERT_TRUE(waitUntilClosed());
    EXPECT_NE(openWithKey(), nullptr);
}

TEST_F(FolderOpening, EscapeBeforeTheDialogComesCancelsItAndQuitsNothing)
{
    ASSERT_TRUE(startOnPictures(3));
    press(Qt::Key_O);
    press(Qt::Key_Escape);
    ASSERT_TRUE(waitUntilClosed());
    EXPECT_TRUE(window->isVisible());
    EXPECT_NE(openWithKey(), nullptr);
}

TEST_F(FolderOpening, DialogEndsTheLoupe)
{
    ASSERT_TRUE(startOnPictures(3));
    QTest::mousePress(view, Qt::LeftButton, {}, view->rect().center());
    ASSERT_TRUE(waitFor([this] { return viewer->loupe().isZooming(); }));
    ASSERT_NE(openWithKey(), nullptr);
    EXPECT_FALSE(viewer->loupe().isZooming());
}

TEST_F(FolderOpening, PhysicalKeyOpensTheDialogUnderAThaiLayout)
{
    constexpr int THAI_NO_NU = 0xe19; // what the key O writes in Thai
    start({"--bench"});
    EXPECT_TRUE(send(test::pressAt(24, 31, THAI_NO_NU)));
    EXPECT_TRUE(waitFor([] { return openDialogs().size() == 1; }));
}

TEST_F(FolderOpening, DialogBeginsInTheFolderOnScreen)
{
    ASSERT_TRUE(startOnPictures(3));
    const FolderChooser *dialog = openWithKey();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->shownFolder(), folder / "pictures");
}

TEST_F(FolderOpening, DialogBeginsAtHomeWhereTheFolderHasGone)
{
    ASSERT_TRUE(startOnPictures(3));
    std::filesystem::remove_all(folder / "pictures");
    const FolderChooser *dialog = openWithKey();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->shownFolder(), std::getenv("HOME"));
}

TEST_F(FolderOpening, DialogBeginsAtHomeWithoutAFolder)
{
    start({"--bench"});
    const FolderChooser *dialog = openWithKey();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->shownFolder(), std::getenv("HOME"));
}

TEST_F(FolderOpening, DialogSpeaksThai)
{
    ASSERT_TRUE(startOnPictures(3));
    const FolderChooser *dialog = openWithKey();
    ASSERT_NE(dialog, nullptr);
    QStringList texts{dialog->windowTitle()};
    for (const QLabel *label : dialog->findChildren<QLabel *>())
        texts << label->text();
    for (const QAbstractButton *button : dialog->findChildren<QAbstractButton *>())
        texts << button->text() << button->toolTip();
    for (const QWidget *widget : dialog->findChildren<QWidget *>())
        texts << widget->accessibleName();
    EXPECT_TRUE(texts.contains(u"เปิด"_s));
    for (const QString &text : texts)
        EXPECT_FALSE(text.contains(QRegularExpression(u"[A-Za-z]"_s))) << text.toStdString();
}

TEST_F(FolderOpening, CancellingTheDialogChangesNothing)
{
    ASSERT_TRUE(startOnPictures(3, 1));
    const FolderChooser *dialog = openWithKey();
    ASSERT_NE(dialog, nullptr);
    ASSERT_TRUE(click(*dialog, u"ยกเลิก"_s));
    ASSERT_TRUE(waitUntilClosed());
    EXPECT_EQ(infoText(), "2/3 | 001.jpg   [H=วิธีใช้]");
    EXPECT_EQ(statusText(), "");
    EXPECT_EQ(shownNumber(), 1);
    EXPECT_EQ(decoder.started(), Numbers{1});
}

TEST_F(FolderOpening, KeysWorkAfterTheDialogWasCancelled)
{
    ASSERT_TRUE(startOnPictures(3));
    FolderChooser *dialog = openWithKey();
    ASSERT_NE(dialog, nullptr);
    QTest::keyClick(dialog, Qt::Key_Escape);
    ASSERT_TRUE(waitUntilClosed());
    ASSERT_TRUE(waitForKeyboard());
    QTest::keyClick(window->windowHandle(), Qt::Key_Right);
    EXPECT_TRUE(waitFor([this] { return shownNumber() == 1; }));
}

TEST_F(FolderOpening, ChosenFolderIsOpened)
{
    ASSERT_TRUE(startOnPictures(3, 2));
    const auto second = makePictures("second", 100, 104);
    FolderChooser *dialog = openWithKey();
    ASSERT_NE(dialog, nullptr);
    type(*dialog, second);
    ASSERT_TRUE(click(*dialog, u"เปิด"_s));
    EXPECT_TRUE(waitFor([this] { return shownNumber() == 100; }));
    EXPECT_EQ(infoText(), "1/5 | 100.jpg   [H=วิธีใช้]");
    EXPECT_TRUE(waitForKeyboard());
}

TEST_F(FolderOpening, ChosenFolderEndsCropMode)
{
    ASSERT_TRUE(startOnPictures(3));
    const auto empty = makePictures("empty", 0, -1);
    FolderChooser *dialog = openWithKey();
    ASSERT_NE(dialog, nullptr);
    viewer->cropMode().enterCrop(); // as the crop demo does, whatever is open
    ASSERT_LT(viewer->screen().imageAreaRect().width(), view->width());
    type(*dialog, empty);
    ASSERT_TRUE(click(*dialog, u"เปิด"_s));
    ASSERT_TRUE(waitUntilClosed());
    ASSERT_TRUE(waitUntilOpened());
    EXPECT_EQ(infoText(), "ไม่พบรูปในโฟลเดอร์นี้ — กด O เปิดใหม่");
    EXPECT_EQ(viewer->screen().imageAreaRect().width(), view->width());
    EXPECT_EQ(shownNumber(), std::nullopt);
}

} // namespace
} // namespace tavolin
