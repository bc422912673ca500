#include "browse/SearchField.h"

#include "logic/Printing.h"

#include <QApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QSignalSpy>
#include <QtTest>

#include <gtest/gtest.h>

#include <ostream>
#include <string>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

/// Stands for the view below the field: takes the keyboard if it is offered, and counts keys.
class KeyCounter : public QWidget
{
public:
    KeyCounter() { setFocusPolicy(Qt::StrongFocus); }

    int keys = 0;

protected:
    void keyPressEvent(QKeyEvent *) override { ++keys; }
    void keyReleaseEvent(QKeyEvent *) override { ++keys; }
};

class SearchFieldTest : public testing::Test
{
protected:
    SearchFieldTest()
    {
        view.resize(1000, 700);
        field = new SearchField(&view);
        field->place(view.size());
        view.show();
        view.activateWindow();
        field->setFocus();
    }

    /// Presses and releases a key in the window, which hands it to whoever has the keyboard.
    void click(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(view.windowHandle(), key, modifiers);
    }

    KeyCounter view;
    SearchField *field = nullptr; // belongs to the view
};

TEST_F(SearchFieldTest, LiesNearTheTopInTheMiddle)
{
    field->place({1000, 700});
    EXPECT_EQ(field->geometry(), QRect(330, 64, 340, 26));
}

TEST_F(SearchFieldTest, KeepsItsDistanceFromTheTopOfALargerView)
{
    field->place({1920, 1080});
    EXPECT_EQ(field->geometry(), QRect(790, 64, 340, 26));
}

TEST_F(SearchFieldTest, SaysWhatItIsFor)
{
    EXPECT_EQ(field->placeholderText().toStdString(), "พิมพ์ชื่อไฟล์เพื่อกระโดด… (Enter/Esc ปิด)");
    EXPECT_EQ(field->font().pixelSize(), 13);
}

TEST_F(SearchFieldTest, IsTallEnoughForThaiLetters)
{
    EXPECT_LE(QFontMetrics(field->font()).height(), field->height() - 4);
}

struct KeyCase
{
    std::string name;
    Qt::Key key;
    Qt::KeyboardModifiers modifiers;
};

void PrintTo(const KeyCase &key, std::ostream *out)
{
    *out << key.name;
}

std::string nameOf(const testing::TestParamInfo<KeyCase> &info)
{
    return info.param.name;
}

class ClosingKey : public SearchFieldTest, public testing::WithParamInterface<KeyCase>
{};

TEST_P(ClosingKey, ClosesOnceAndGoesNoFurther)
{
    const QSignalSpy closed(field, &SearchField::closed);
    QTest::keyClick(field, GetParam().key, GetParam().modifiers);
    EXPECT_EQ(closed.count(), 1);
    EXPECT_EQ(view.keys, 0);
}

TEST_P(ClosingKey, LeavesTheText)
{
    field->setText(u"img"_s);
    QTest::keyClick(field, GetParam().key, GetParam().modifiers);
    EXPECT_EQ(field->text().toStdString(), "img");
}

TEST_P(ClosingKey, MayEndTheField)
{
    QObject::connect(field, &SearchField::closed, field, &QObject::deleteLater);
    const QPointer<SearchField> guard = field;
    QTest::keyClick(field, GetParam().key, GetParam().modifiers);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(guard.isNull());
}

const KeyCase CLOSING_KEYS[] = {
    {"Escape", Qt::Key_Escape, Qt::NoModifier},
    {"Return", Qt::Key_Return, Qt::NoModifier},
    {"KeypadEnter", Qt::Key_Enter, Qt::KeypadModifier},
};
INSTANTIATE_TEST_SUITE_P(SearchField, ClosingKey, testing::ValuesIn(CLOSING_KEYS), nameOf);

class OtherKey : public SearchFieldTest, public testing::WithParamInterface<KeyCase>
{};

TEST_P(OtherKey, ReachesNobodyElseAndDoesNotClose)
{
    const QSignalSpy closed(field, &SearchField::closed);
    field->setText(u"img"_s);
    QTest::keyClick(field, GetParam().key, GetParam().modifiers);
    EXPECT_EQ(view.keys, 0);
    EXPECT_EQ(closed.count(), 0);
}

TEST_P(OtherKey, LeavesTheKeyboardInTheField)
{
    ASSERT_TRUE(QTest::qWaitForWindowActive(&view));
    QTest::keyClick(field, GetParam().key, GetParam().modifiers);
    EXPECT_EQ(QApplication::focusWidget(), field);
}

const KeyCase OTHER_KEYS[] = {
    {"Left", Qt::Key_Left, Qt::NoModifier},
    {"Right", Qt::Key_Right, Qt::NoModifier},
    {"Up", Qt::Key_Up, Qt::NoModifier},
    {"Down", Qt::Key_Down, Qt::NoModifier},
    {"PageDown", Qt::Key_PageDown, Qt::NoModifier},
    {"Home", Qt::Key_Home, Qt::NoModifier},
    {"Space", Qt::Key_Space, Qt::NoModifier},
    {"Tab", Qt::Key_Tab, Qt::NoModifier},
    {"Backtab", Qt::Key_Backtab, Qt::ShiftModifier},
    {"CtrlTab", Qt::Key_Tab, Qt::ControlModifier},
    {"Delete", Qt::Key_Delete, Qt::NoModifier},
    {"A", Qt::Key_A, Qt::NoModifier},
    {"D", Qt::Key_D, Qt::NoModifier},
    {"F", Qt::Key_F, Qt::NoModifier},
    {"J", Qt::Key_J, Qt::NoModifier},
    {"Digit1", Qt::Key_1, Qt::NoModifier},
    {"F1", Qt::Key_F1, Qt::NoModifier},
    {"F11", Qt::Key_F11, Qt::NoModifier},
    {"CtrlO", Qt::Key_O, Qt::ControlModifier},
    {"CtrlZ", Qt::Key_Z, Qt::ControlModifier},
    {"AltX", Qt::Key_X, Qt::AltModifier},
    {"Shift", Qt::Key_Shift, Qt::NoModifier},
    {"MediaPlay", Qt::Key_MediaPlay, Qt::NoModifier},
};
INSTANTIATE_TEST_SUITE_P(SearchField, OtherKey, testing::ValuesIn(OTHER_KEYS), nameOf);

TEST_F(SearchFieldTest, TypedTextIsTold)
{
    const QSignalSpy changed(field, &QLineEdit::textChanged);
    QTest::keyClicks(field, u"img_05"_s);
    EXPECT_EQ(field->text().toStdString(), "img_05");
    EXPECT_EQ(changed.count(), 6);
}

TEST_F(SearchFieldTest, KeysOfTheWindowComeToIt)
{
    ASSERT_TRUE(QTest::qWaitForWindowActive(&view));
    click(Qt::Key_J);
    EXPECT_EQ(field->text().toStdString(), "j");
}

TEST_F(SearchFieldTest, ArrowsMoveTheCaret)
{
    QTest::keyClicks(field, u"ac"_s);
    QTest::keyClick(field, Qt::Key_Left);
    QTest::keyClicks(field, u"b"_s);
    EXPECT_EQ(field->text().toStdString(), "abc");
}

TEST_F(SearchFieldTest, ThaiTextFromAnInputMethodIsTaken)
{
    const QSignalSpy changed(field, &QLineEdit::textChanged);
    QInputMethodEvent event;
    event.setCommitString(u"ที่ทะเล"_s);
    QCoreApplication::sendEvent(field, &event);
    EXPECT_EQ(field->text().toStdString(), "ที่ทะเล");
    EXPECT_EQ(changed.count(), 1);
}

TEST_F(SearchFieldTest, ThaiKeyPressIsTaken)
{
    QKeyEvent press(QEvent::KeyPress, 0xe20, Qt::NoModifier, u"ภ"_s);
    QCoreApplication::sendEvent(field, &press);
    EXPECT_EQ(field->text().toStdString(), "ภ");
    EXPECT_EQ(view.keys, 0);
}

TEST_F(SearchFieldTest, UnfinishedCompositionIsNoTextYet)
{
    const QSignalSpy changed(field, &QLineEdit::textChanged);
    QInputMethodEvent event(u"ka"_s, {});
    QCoreApplication::sendEvent(field, &event);
    EXPECT_TRUE(field->text().isEmpty());
    EXPECT_EQ(changed.count(), 0);
}

TEST_F(SearchFieldTest, AsksForAnInputMethod)
{
    EXPECT_TRUE(field->testAttribute(Qt::WA_InputMethodEnabled));
}

} // namespace
} // namespace tavolin
