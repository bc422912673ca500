#include "browse/FolderChooser.h"

#include "app/ViewerFixture.h"
#include "logic/TemporaryFolder.h"
#include "platform/Background.h"
#include "platform/Mailbox.h"

#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QToolButton>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <future>
#include <optional>
#include <vector>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace fs = std::filesystem;

namespace {

using test::waitFor;
using Paths = std::vector<fs::path>;

/// A chooser over a window, in a home folder of its own that has two photos' folders.
class FolderChooserTest : public testing::Test
{
protected:
    FolderChooserTest()
    {
        fs::create_directories(home / "photos/day 2");
        fs::create_directories(home / "photos/day 10");
        fs::create_directories(home / "music");
        setenv("HOME", home.path().c_str(), 1);
        window.show();
        chooser = new FolderChooser(queue, &window);
        QObject::connect(chooser, &FolderChooser::ready, &window, [this] {
            ++timesReady;
            chooser->open();
        });
        QObject::connect(chooser, &FolderChooser::chosen, &window,
                         [this](const fs::path &folder) { chosen.push_back(folder); });
        QObject::connect(chooser, &QDialog::finished, &window,
                         [this](int result) { results.push_back(result); });
        field = chooser->findChild<QLineEdit *>();
        places = chooser->findChild<QListWidget *>();
        for (QListView *candidate : chooser->findChildren<QListView *>()) {
            if (candidate != places)
                list = candidate;
        }
    }

    ~FolderChooserTest() override
    {
        letGo();
        if (homeBefore)
            setenv("HOME", homeBefore->c_str(), 1);
        else
            unsetenv("HOME");
    }

    /// Begins in @p folder and waits until the lines of the list are @p lines.
    [[nodiscard]] testing::AssertionResult begin(const fs::path &folder, const QStringList &lines)
    {
        chooser->begin(folder);
        return waitForLines(lines);
    }

    [[nodiscard]] QStringList lines() const
    {
        QStringList texts;
        for (int row = 0; row < list->model()->rowCount(); ++row)
            texts << list->model()->index(row, 0).data().toString();
        return texts;
    }

    [[nodiscard]] testing::AssertionResult waitForLines(const QStringList &expected) const
    {
        if (waitFor([&] { return lines() == expected; }))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "lines: " << lines().join(u", "_s).toStdString();
    }

    /// The selected line; empty when there is none.
    [[nodiscard]] std::string selected() const
    {
        const auto indexes = list->selectionModel()->selectedIndexes();
        return indexes.empty() ? "" : indexes.front().data().toString().toStdString();
    }

    void press(Qt::Key key) const { QTest::keyClick(list, key); }

    [[nodiscard]] QPushButton *button(const QString &text) const
    {
        for (QPushButton *candidate : chooser->findChildren<QPushButton *>()) {
            if (candidate->text() == text)
                return candidate;
        }
        return nullptr;
    }

    void clickOpen() const { QTest::mouseClick(button(u"เปิด"_s), Qt::LeftButton); }

    /// Keeps the queue from what is asked for from now on, until letGo().
    void holdQueue()
    {
        gate.emplace();
        queue.run<bool>(nullptr, {.work = [opened = gate->get_future().share()](const auto &) {
                            opened.wait();
                            return true;
                        }});
    }

    void letGo()
    {
        if (gate)
            gate->set_value();
        gate.reset();
    }

    const std::optional<std::string> homeBefore =
        std::getenv("HOME") ? std::optional<std::string>(std::getenv("HOME")) : std::nullopt;
    test::TemporaryFolder home;
    Mailbox mailbox;
    BackgroundQueue queue{"folders", QualityOfService::UserInitiated, mailbox};
    std::optional<std::promise<void>> gate;
    QWidget window;
    QPointer<FolderChooser> chooser;
    QLineEdit *field = nullptr; // these are the chooser's
    QListWidget *places = nullptr;
    QListView *list = nullptr;
    int timesReady = 0;
    Paths chosen;
    std::vector<int> results;
};

TEST_F(FolderChooserTest, ListsTheSubfoldersOfWhereItBegins)
{
    ASSERT_TRUE(begin(home / "photos", {u"day 2"_s, u"day 10"_s}));
    EXPECT_EQ(chooser->shownFolder(), home / "photos");
    EXPECT_EQ(field->text().toStdString(), (home / "photos").native());
    EXPECT_EQ(selected(), "");
    EXPECT_TRUE(chooser->isVisible());
    EXPECT_EQ(timesReady, 1);
}

TEST_F(FolderChooserTest, IsReadyAtOnceWhereNoFolderIsOpen)
{
    chooser->begin(std::nullopt);
    EXPECT_EQ(timesReady, 1);
    EXPECT_EQ(chooser->shownFolder(), home.path());
    EXPECT_TRUE(waitForLines({u"music"_s, u"photos"_s}));
}

TEST_F(FolderChooserTest, BeginsAtHomeWhereTheFolderHasGone)
{
    ASSERT_TRUE(begin(home / "absent", {u"music"_s, u"photos"_s}));
    EXPECT_EQ(chooser->shownFolder(), home.path());
    EXPECT_EQ(timesReady, 1);
}

TEST_F(FolderChooserTest, BeginsAtHomeWhereTheFolderDoesNotAnswer)
{
    holdQueue();
    chooser->begin(home / "photos");
    EXPECT_EQ(timesReady, 0);
    EXPECT_TRUE(waitFor([this] { return timesReady == 1; }));
    EXPECT_EQ(chooser->shownFolder(), home.path());
    letGo();
    EXPECT_TRUE(waitForLines({u"music"_s, u"photos"_s}));
    EXPECT_EQ(timesReady, 1);
}

TEST_F(FolderChooserTest, BeginsInAFolderThatAnswersHoweverLongItTakesToRead)
{
    chooser->begin(home / "photos");
    holdQueue(); // behind the answer
    EXPECT_TRUE(waitFor([this] { return timesReady == 1; }));
    EXPECT_EQ(chooser->shownFolder(), home / "photos");
    EXPECT_TRUE(waitForLines({u"กำลังอ่าน..."_s}));
    letGo();
    EXPECT_TRUE(waitForLines({u"day 2"_s, u"day 10"_s}));
}

TEST_F(FolderChooserTest, SaysThatItReadsWhereThatTakesLong)
{
    holdQueue();
    chooser->begin(std::nullopt);
    EXPECT_EQ(lines(), QStringList());
    ASSERT_TRUE(waitForLines({u"กำลังอ่าน..."_s}));
    EXPECT_EQ(list->model()->index(0, 0).flags(), Qt::NoItemFlags);
    press(Qt::Key_Down);
    EXPECT_EQ(selected(), "");
    letGo();
    EXPECT_TRUE(waitForLines({u"music"_s, u"photos"_s}));
}

TEST_F(FolderChooserTest, WhatIsReadForAFolderThatWasLeftIsNotShown)
{
    holdQueue();
    chooser->begin(std::nullopt);
    field->setText(QString::fromStdString((home / "photos").native()));
    QTest::keyClick(field, Qt::Key_Return);
    letGo();
    EXPECT_TRUE(waitForLines({u"day 2"_s, u"day 10"_s}));
    EXPECT_EQ(chooser->shownFolder(), home / "photos");
}

TEST_F(FolderChooserTest, SaysThatThereAreNoSubfoldersAndOpensTheFolder)
{
    ASSERT_TRUE(begin(home / "music", {u"ไม่มีโฟลเดอร์ย่อย"_s}));
    press(Qt::Key_Return);
    EXPECT_EQ(chosen, Paths{home / "music"});
}

TEST_F(FolderChooserTest, SaysThatAFolderIsNotThereAndOpensNothing)
{
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    QTest::keyClicks(list, u"/"_s);
    QTest::keyClicks(field, u"absent"_s);
    QTest::keyClick(field, Qt::Key_Return);
    ASSERT_TRUE(waitForLines({u"ไม่พบโฟลเดอร์นี้"_s}));
    press(Qt::Key_Return);
    clickOpen();
    EXPECT_EQ(chosen, Paths());
    EXPECT_FALSE(button(u"เปิด"_s)->isEnabled());
    press(Qt::Key_Backspace); // and there are ways on
    ASSERT_TRUE(waitFor([this] { return chooser->shownFolder() == "/"; }));
    EXPECT_TRUE(button(u"เปิด"_s)->isEnabled());
}

TEST_F(FolderChooserTest, SaysThatAFolderCannotBeRead)
{
    fs::create_directory_symlink("circle", home / "circle");
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    field->setText(u"circle"_s);
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_TRUE(waitForLines({u"อ่านโฟลเดอร์นี้ไม่ได้"_s}));
}

TEST_F(FolderChooserTest, LinksToFoldersAreListedToo)
{
    fs::create_directory_symlink("photos", home / "newest");
    EXPECT_TRUE(begin(home.path(), {u"music"_s, u"newest"_s, u"photos"_s}));
}

TEST_F(FolderChooserTest, FolderOfLinksAloneIsListed)
{
    fs::create_directory_symlink(home / "photos", home / "music/link");
    EXPECT_TRUE(begin(home / "music", {u"link"_s}));
}

TEST_F(FolderChooserTest, FolderOfLinksToNoFoldersHasNoSubfolders)
{
    fs::create_symlink("nowhere", home / "music/link");
    EXPECT_TRUE(begin(home / "music", {u"ไม่มีโฟลเดอร์ย่อย"_s}));
}

TEST_F(FolderChooserTest, ReturnEntersWhatIsSelectedAndThenOpensIt)
{
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    press(Qt::Key_Down);
    EXPECT_EQ(selected(), "music");
    press(Qt::Key_Down);
    EXPECT_EQ(selected(), "photos");
    press(Qt::Key_Return);
    ASSERT_TRUE(waitForLines({u"day 2"_s, u"day 10"_s}));
    EXPECT_EQ(chosen, Paths());
    press(Qt::Key_Enter);
    EXPECT_EQ(chosen, Paths{home / "photos"});
    EXPECT_EQ(results, std::vector<int>{QDialog::Accepted});
}

TEST_F(FolderChooserTest, ReturnOpensBeforeTheFolderHasBeenRead)
{
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    press(Qt::Key_Return);
    EXPECT_EQ(chosen, Paths{home / "music"});
}

TEST_F(FolderChooserTest, ArrowDownSelectsTheFirstOneInEachFolder)
{
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    press(Qt::Key_End);
    EXPECT_EQ(selected(), "photos");
    press(Qt::Key_Return);
    ASSERT_TRUE(waitForLines({u"day 2"_s, u"day 10"_s}));
    chooser->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(chooser));
    field->setFocus();
    list->setFocus();
    EXPECT_EQ(selected(), "");
    press(Qt::Key_Down);
    EXPECT_EQ(selected(), "day 2");
}

TEST_F(FolderChooserTest, OpenButtonOpensWhatIsSelected)
{
    ASSERT_TRUE(begin(home / "photos", {u"day 2"_s, u"day 10"_s}));
    press(Qt::Key_Down);
    clickOpen();
    EXPECT_EQ(chosen, Paths{home / "photos/day 2"});
}

TEST_F(FolderChooserTest, OpenButtonOpensWhatIsShownWhereNothingIsSelected)
{
    ASSERT_TRUE(begin(home / "photos", {u"day 2"_s, u"day 10"_s}));
    clickOpen();
    EXPECT_EQ(chosen, Paths{home / "photos"});
}

TEST_F(FolderChooserTest, OpenButtonOpensWhatHasBeenTyped)
{
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    press(Qt::Key_Down);
    field->end(false);
    QTest::keyClicks(field, u"/photos/day 2"_s);
    EXPECT_EQ(selected(), "");
    clickOpen();
    EXPECT_EQ(chosen, Paths{home / "photos/day 2"});
}

TEST_F(FolderChooserTest, WhatIsSelectedTakesThePlaceOfWhatHasBeenTyped)
{
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    QTest::keyClicks(field, u"/absent"_s);
    press(Qt::Key_Down);
    EXPECT_EQ(field->text().toStdString(), home.path().native());
    clickOpen();
    EXPECT_EQ(chosen, Paths{home / "music"});
}

TEST_F(FolderChooserTest, DoubleClickEnters)
{
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    const QPoint photos = list->visualRect(list->model()->index(1, 0)).center();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, photos);
    EXPECT_EQ(selected(), "photos");
    QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, photos);
    EXPECT_TRUE(waitForLines({u"day 2"_s, u"day 10"_s}));
    EXPECT_EQ(chosen, Paths());
}

TEST_F(FolderChooserTest, ClickBesideTheNamesSelectsNothing)
{
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    press(Qt::Key_Down);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                      list->viewport()->rect().bottomLeft() + QPoint(5, -5));
    EXPECT_EQ(selected(), "");
    clickOpen();
    EXPECT_EQ(chosen, Paths{home.path()});
}

TEST_F(FolderChooserTest, BackspaceGoesUpToWhatWasLeft)
{
    ASSERT_TRUE(begin(home / "photos", {u"day 2"_s, u"day 10"_s}));
    press(Qt::Key_Backspace);
    ASSERT_TRUE(waitForLines({u"music"_s, u"photos"_s}));
    EXPECT_EQ(chooser->shownFolder(), home.path());
    EXPECT_EQ(selected(), "photos");
}

TEST_F(FolderChooserTest, LinkThatWasLeftIsSelectedToo)
{
    fs::create_directory_symlink("music", home / "newest");
    ASSERT_TRUE(begin(home / "newest", {u"ไม่มีโฟลเดอร์ย่อย"_s}));
    press(Qt::Key_Backspace);
    ASSERT_TRUE(waitForLines({u"music"_s, u"newest"_s, u"photos"_s}));
    EXPECT_EQ(selected(), "newest");
}

TEST_F(FolderChooserTest, AltUpAndTheArrowButtonGoUp)
{
    ASSERT_TRUE(begin(home / "photos/day 2", {u"ไม่มีโฟลเดอร์ย่อย"_s}));
    chooser->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(chooser));
    QTest::keyClick(field, Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(chooser->shownFolder(), home / "photos");
    QTest::mouseClick(chooser->findChild<QToolButton *>(), Qt::LeftButton);
    EXPECT_EQ(chooser->shownFolder(), home.path());
}

TEST_F(FolderChooserTest, NothingIsAboveTheRoot)
{
    chooser->begin("/");
    ASSERT_TRUE(waitFor([this] { return timesReady == 1; }));
    press(Qt::Key_Backspace);
    EXPECT_EQ(chooser->shownFolder(), "/");
    EXPECT_FALSE(chooser->findChild<QToolButton *>()->isEnabled());
}

TEST_F(FolderChooserTest, SlashAndTildeInTheListBeginAPath)
{
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    chooser->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(chooser));
    EXPECT_TRUE(list->hasFocus());
    press(Qt::Key_Down);
    QTest::keyClicks(chooser->focusWidget(), u"~"_s);
    EXPECT_TRUE(field->hasFocus());
    EXPECT_EQ(selected(), "");
    QTest::keyClicks(chooser->focusWidget(), u"/photos"_s);
    EXPECT_EQ(field->text(), u"~/photos"_s);
    QTest::keyClick(chooser->focusWidget(), Qt::Key_Return);
    EXPECT_TRUE(list->hasFocus());
    ASSERT_TRUE(waitForLines({u"day 2"_s, u"day 10"_s}));
    EXPECT_EQ(field->text().toStdString(), (home / "photos").native());
    QTest::keyClicks(list, u"/"_s);
    EXPECT_EQ(field->text(), u"/"_s);
}

TEST_F(FolderChooserTest, ReturnAfterATypedPathOpensIt)
{
    chooser->begin(std::nullopt);
    field->setText(QString::fromStdString((home / "photos").native()));
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(chosen, Paths());
    press(Qt::Key_Return);
    EXPECT_EQ(chosen, Paths{home / "photos"});
}

TEST_F(FolderChooserTest, LettersSelectByName)
{
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    QTest::keyClicks(list, u"ph"_s);
    EXPECT_EQ(selected(), "photos");
}

TEST_F(FolderChooserTest, HeldLetterSelectsNothing)
{
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    QKeyEvent held(QEvent::KeyPress, Qt::Key_P, Qt::NoModifier, u"p"_s, true);
    QCoreApplication::sendEvent(list, &held);
    EXPECT_EQ(selected(), "");
}

TEST_F(FolderChooserTest, HeldReturnOpensNothing)
{
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    for (int i = 0; i < 3; ++i) {
        QKeyEvent held(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, u"\r"_s, true);
        QCoreApplication::sendEvent(list, &held);
    }
    EXPECT_EQ(chooser->shownFolder(), home / "music");
    EXPECT_EQ(chosen, Paths());
}

TEST_F(FolderChooserTest, HeldArrowGoesThroughTheNames)
{
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    press(Qt::Key_Down);
    QKeyEvent held(QEvent::KeyPress, Qt::Key_Down, Qt::NoModifier, {}, true);
    QCoreApplication::sendEvent(list, &held);
    EXPECT_EQ(selected(), "photos");
}

TEST_F(FolderChooserTest, NameThatIsNoTextIsEnteredAndOpened)
{
    const fs::path folder = home / "music/\xff\xfe";
    fs::create_directories(folder / "b\xe0/c");
    ASSERT_TRUE(begin(home / "music", {u"\ufffd\ufffd"_s}));
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    ASSERT_TRUE(waitForLines({u"b\ufffd"_s}));
    QTest::keyClick(field, Qt::Key_Return); // which is the text of it
    ASSERT_TRUE(waitForLines({u"b\ufffd"_s}));
    press(Qt::Key_Down);
    clickOpen();
    ASSERT_EQ(chosen.size(), 1U);
    EXPECT_EQ(chosen.front().native(), (folder / "b\xe0").native());
}

TEST_F(FolderChooserTest, HiddenFolderIsReachedByItsPath)
{
    fs::create_directories(home / ".hidden/inner");
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    field->setText(u".hidden"_s);
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_TRUE(waitForLines({u"inner"_s}));
}

TEST_F(FolderChooserTest, PlacesAreOneClickAway)
{
    ASSERT_TRUE(begin(home / "photos", {u"day 2"_s, u"day 10"_s}));
    ASSERT_EQ(places->item(0)->text(), u"บ้าน"_s);
    EXPECT_FALSE(places->currentItem());
    QTest::mouseClick(places->viewport(), Qt::LeftButton, {},
                      places->visualItemRect(places->item(0)).center());
    EXPECT_TRUE(waitForLines({u"music"_s, u"photos"_s}));
    EXPECT_EQ(chooser->shownFolder(), home.path());
    EXPECT_EQ(places->currentRow(), 0);
}

TEST_F(FolderChooserTest, ReturnOnAPlaceGoesThere)
{
    ASSERT_TRUE(begin(home / "photos", {u"day 2"_s, u"day 10"_s}));
    QTest::keyClick(places, Qt::Key_Home);
    QTest::keyClick(places, Qt::Key_Return);
    EXPECT_TRUE(waitForLines({u"music"_s, u"photos"_s}));
    EXPECT_EQ(chosen, Paths());
}

TEST_F(FolderChooserTest, PicturesAreAPlaceIfTheyAreThere)
{
    fs::create_directory(home / "Pictures");
    ASSERT_TRUE(begin(home / "photos", {u"day 2"_s, u"day 10"_s}));
    ASSERT_TRUE(
        waitFor([this] { return places->count() > 1 && places->item(1)->text() == u"รูปภาพ"_s; }));
    places->setCurrentRow(1);
    QTest::keyClick(places, Qt::Key_Return);
    EXPECT_EQ(chooser->shownFolder(), home / "Pictures");
}

TEST_F(FolderChooserTest, EscapeCancelsAndItIsGone)
{
    ASSERT_TRUE(begin(home.path(), {u"music"_s, u"photos"_s}));
    press(Qt::Key_Down);
    press(Qt::Key_Escape);
    EXPECT_EQ(results, std::vector<int>{QDialog::Rejected});
    EXPECT_EQ(chosen, Paths());
    EXPECT_TRUE(waitFor([this] { return chooser.isNull(); }));
}

TEST_F(FolderChooserTest, CancelledBeforeItIsReadyItNeverIs)
{
    holdQueue();
    chooser->begin(home / "photos");
    chooser->reject();
    EXPECT_TRUE(waitFor([this] { return chooser.isNull(); }));
    letGo();
    test::serveWaitingEvents();
    EXPECT_EQ(timesReady, 0);
}

} // namespace
} // namespace tavolin
