#include "app/ViewerFixture.h"

#include "browse/SearchField.h"
#include "logic/Printing.h"
#include "screen/ViewerView.h"

#include <QInputMethodEvent>
#include <QMainWindow>

#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

using test::waitFor;
using Numbers = std::vector<int>;

class FilenameJump : public test::ViewerFixture
{
protected:
    /// Starts on the first of files called @p names and waits until the keyboard is the view's.
    [[nodiscard]] testing::AssertionResult startOnNames(const std::vector<std::string> &names)
    {
        std::filesystem::create_directory(folder / "names");
        for (const std::string &name : names)
            folder.write("names/" + name);
        start({"--bench", folder / "names"});
        return waitForFirst();
    }

    [[nodiscard]] testing::AssertionResult startOnNumbers(int count)
    {
        startLoading(count);
        return waitForFirst();
    }

    [[nodiscard]] testing::AssertionResult waitForFirst()
    {
        if (!waitForLoads(1))
            return testing::AssertionFailure() << "the first picture is not loaded";
        if (!QTest::qWaitForWindowActive(window))
            return testing::AssertionFailure() << "the window has no keyboard";
        return testing::AssertionSuccess();
    }

    /// Presses a key of the window, which hands it to whoever has the keyboard.
    void click(Qt::Key key) const { QTest::keyClick(window->windowHandle(), key); }
    void type(const char *text) const
    {
        for (; *text; ++text)
            QTest::keyClick(window->windowHandle(), *text);
    }

    /// Enters @p text at once, as an input method does.
    void commit(const QString &text) const
    {
        ASSERT_NE(field(), nullptr);
        QInputMethodEvent event;
        event.setCommitString(text);
        QCoreApplication::sendEvent(field(), &event);
    }

    /// The open search field; none when it is closed.
    [[nodiscard]] SearchField *field() const
    {
        const auto fields = view->findChildren<SearchField *>();
        EXPECT_LE(fields.size(), 1);
        return fields.isEmpty() || !fields.front()->isVisible() ? nullptr : fields.front();
    }

    /// The name in the info line: that of the target.
    [[nodiscard]] std::string target() const
    {
        const std::string info = infoText();
        const auto begin = info.find("| ") + 2;
        return info.substr(begin, info.find("   [") - begin);
    }
};

std::vector<std::string> cameraNames(int count)
{
    std::vector<std::string> names;
    for (int number = 1; number <= count; ++number)
        names.push_back(
            QString(u"IMG_%1.JPG"_s).arg(number, 4, 10, QLatin1Char('0')).toStdString());
    return names;
}

TEST_F(FilenameJump, JOpensTheFieldAndGivesItTheKeyboard)
{
    ASSERT_TRUE(startOnNumbers(3));
    EXPECT_EQ(field(), nullptr);
    click(Qt::Key_J);
    ASSERT_NE(field(), nullptr);
    EXPECT_EQ(field()->text().toStdString(), "");
    EXPECT_TRUE(field()->hasFocus());
}

TEST_F(FilenameJump, LiesNearTheTopInTheMiddle)
{
    ASSERT_TRUE(startOnNumbers(1));
    ASSERT_TRUE(resizeTo({700, 500}));
    click(Qt::Key_J);
    ASSERT_NE(field(), nullptr);
    EXPECT_EQ(field()->geometry(), QRect(180, 64, 340, 26));
}

TEST_F(FilenameJump, StaysNearTheTopInTheMiddleOfAChangedWindow)
{
    ASSERT_TRUE(startOnNumbers(1));
    click(Qt::Key_J);
    ASSERT_TRUE(resizeTo({700, 500}));
    ASSERT_NE(field(), nullptr);
    EXPECT_EQ(field()->geometry(), QRect(180, 64, 340, 26));
}

TEST_F(FilenameJump, JumpsAtEveryLetter)
{
    ASSERT_TRUE(startOnNames(cameraNames(100)));
    click(Qt::Key_J);
    type("0");
    EXPECT_EQ(target(), "IMG_0001.JPG");
    type("5");
    EXPECT_EQ(target(), "IMG_0005.JPG");
    type("0");
    EXPECT_EQ(target(), "IMG_0050.JPG");
    EXPECT_TRUE(waitFor([this] { return shownNumber() == 50; }));
}

TEST_F(FilenameJump, ShowsPicturesWhileTheFieldIsOpen)
{
    ASSERT_TRUE(startOnNumbers(30));
    click(Qt::Key_J);
    type("1");
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(shownNumber(), 1);
    type("7");
    ASSERT_TRUE(waitForLoads(3));
    EXPECT_EQ(shownNumber(), 17);
    EXPECT_NE(field(), nullptr);
}

TEST_F(FilenameJump, SearchesFromTheFirstPictureWhereverTheUserIs)
{
    ASSERT_TRUE(startOnNames(cameraNames(60)));
    viewer->browser().jumpTo(54);
    click(Qt::Key_J);
    type("5"); // 55 has it, but so has 5
    EXPECT_EQ(target(), "IMG_0005.JPG");
}

TEST_F(FilenameJump, CapitalsFindSmallLetters)
{
    ASSERT_TRUE(startOnNames({"a1.jpg", "img_2.jpg"}));
    click(Qt::Key_J);
    commit(u"IMG"_s);
    EXPECT_EQ(target(), "img_2.jpg");
}

TEST_F(FilenameJump, ExtensionIsPartOfTheName)
{
    ASSERT_TRUE(startOnNames({"a1.jpg", "b2.png"}));
    click(Qt::Key_J);
    type("png");
    EXPECT_EQ(target(), "b2.png");
}

TEST_F(FilenameJump, AccentedLetterIsNotTheLetterWithoutAccent)
{
    ASSERT_TRUE(startOnNames({"a1.jpg", "cafe2.jpg", "café3.jpg"}));
    click(Qt::Key_J);
    commit(u"é"_s);
    EXPECT_EQ(target(), "café3.jpg");
}

TEST_F(FilenameJump, ThaiNameIsFoundByAnInputMethod)
{
    ASSERT_TRUE(startOnNames({"1.jpg", "ที่ทะเล 2.jpg"}));
    click(Qt::Key_J);
    commit(u"ทะเล"_s);
    EXPECT_EQ(target(), "ที่ทะเล 2.jpg");
    EXPECT_TRUE(waitFor([this] { return shownNumber() == 2; }));
}

TEST_F(FilenameJump, TextThatNoNameHasDoesNothing)
{
    ASSERT_TRUE(startOnNumbers(10));
    click(Qt::Key_J);
    type("7x");
    EXPECT_EQ(target(), "007.jpg");
    EXPECT_EQ(statusText(), "");
}

TEST_F(FilenameJump, ClearingTheTextStays)
{
    ASSERT_TRUE(startOnNumbers(10));
    click(Qt::Key_J);
    type("7");
    click(Qt::Key_Backspace);
    ASSERT_EQ(field()->text().toStdString(), "");
    EXPECT_EQ(target(), "007.jpg");
}

TEST_F(FilenameJump, NameOfTheTargetCausesNoLoad)
{
    decoder.setCorrupt(1); // so that it would be decoded again
    ASSERT_TRUE(startOnNumbers(3));
    click(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(2));
    click(Qt::Key_J);
    commit(u"001.jpg"_s);
    EXPECT_EQ(target(), "001.jpg");
    viewer->browser().jumpTo(2); // comes after what should not be there
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 2; }));
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 2}));
}

TEST_F(FilenameJump, JIsALetterWhileTheFieldIsOpen)
{
    ASSERT_TRUE(startOnNumbers(3));
    click(Qt::Key_J);
    click(Qt::Key_J);
    ASSERT_NE(field(), nullptr);
    EXPECT_EQ(field()->text().toStdString(), "j");
}

TEST_F(FilenameJump, ClickOnThePictureLeavesItTheKeyboard)
{
    ASSERT_TRUE(startOnNumbers(3));
    click(Qt::Key_J);
    QTest::mouseClick(window->windowHandle(), Qt::LeftButton, {}, {400, 300});
    EXPECT_TRUE(field()->hasFocus());
}

TEST_F(FilenameJump, OpeningItTwiceLeavesTheTextAsItIs)
{
    ASSERT_TRUE(startOnNumbers(3));
    click(Qt::Key_J);
    type("00");
    viewer->search().openSearch();
    ASSERT_NE(field(), nullptr);
    EXPECT_EQ(field()->text().toStdString(), "00");
}

TEST_F(FilenameJump, KeysAreNoCommandsWhileTheFieldIsOpen)
{
    ASSERT_TRUE(startOnNumbers(3));
    click(Qt::Key_J);
    click(Qt::Key_Right);
    click(Qt::Key_Space);
    EXPECT_EQ(target(), "000.jpg");
}

TEST_F(FilenameJump, SearchesTheFolderThatHasBeenOpenedMeanwhile)
{
    const auto second = makePictures("second", 100, 109);
    ASSERT_TRUE(startOnNumbers(3));
    click(Qt::Key_J);
    open(second);
    type("107");
    EXPECT_EQ(target(), "107.jpg");
}

TEST_F(FilenameJump, WithoutAPictureFindsNothing)
{
    start({"--bench"});
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    click(Qt::Key_J);
    type("1");
    ASSERT_NE(field(), nullptr);
    EXPECT_TRUE(decoder.started().empty());
}

struct ClosingKey
{
    const char *name;
    Qt::Key key;
};

void PrintTo(const ClosingKey &item, std::ostream *out)
{
    *out << item.name;
}

class FilenameJumpEnd : public FilenameJump, public testing::WithParamInterface<ClosingKey>
{
protected:
    /// Jumps to picture 7 of 10 and closes the field.
    [[nodiscard]] testing::AssertionResult jumpAndClose()
    {
        if (const auto result = startOnNumbers(10); !result)
            return result;
        click(Qt::Key_J);
        type("7");
        click(GetParam().key);
        return testing::AssertionSuccess();
    }
};

TEST_P(FilenameJumpEnd, ClosesTheField)
{
    ASSERT_TRUE(jumpAndClose());
    EXPECT_EQ(field(), nullptr);
    EXPECT_TRUE(waitFor([this] { return view->findChildren<SearchField *>().isEmpty(); }));
}

TEST_P(FilenameJumpEnd, StaysAtThePictureReached)
{
    ASSERT_TRUE(jumpAndClose());
    EXPECT_EQ(target(), "007.jpg");
    ASSERT_TRUE(waitFor([this] { return shownNumber() == 7; }));
    EXPECT_TRUE(window->isVisible());
}

TEST_P(FilenameJumpEnd, MakesKeysCommandsAgain)
{
    ASSERT_TRUE(jumpAndClose());
    click(Qt::Key_Right);
    EXPECT_EQ(target(), "008.jpg");
}

TEST_P(FilenameJumpEnd, NextSearchBeginsEmpty)
{
    ASSERT_TRUE(jumpAndClose());
    click(Qt::Key_J); // the old field may not be gone yet
    ASSERT_TRUE(waitFor([this] { return view->findChildren<SearchField *>().size() == 1; }));
    ASSERT_NE(field(), nullptr);
    EXPECT_EQ(field()->text().toStdString(), "");
    type("3");
    EXPECT_EQ(target(), "003.jpg");
}

INSTANTIATE_TEST_SUITE_P(Keys, FilenameJumpEnd,
                         testing::Values(ClosingKey{"Return", Qt::Key_Return},
                                         ClosingKey{"Enter", Qt::Key_Enter},
                                         ClosingKey{"Escape", Qt::Key_Escape}),
                         [](const auto &item) { return item.param.name; });

} // namespace
} // namespace tavolin
