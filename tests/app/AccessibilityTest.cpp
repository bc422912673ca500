// What assistive tools are told about what is on the screen. The tests of the whole program ask for
// the same from another process.

#include "app/EditFixture.h"

#include "app/HelpView.h"
#include "browse/SearchField.h"
#include "editing/CropBar.h"
#include "editing/CropOverlayView.h"
#include "logic/Printing.h"
#include "screen/TextLabel.h"
#include "screen/ViewerView.h"

#include <QAccessible>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

QAccessible::Role roleOf(QWidget *widget)
{
    return QAccessible::queryAccessibleInterface(widget)->role();
}

QString nameOf(QWidget *widget)
{
    return QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name);
}

QString descriptionOf(QWidget *widget)
{
    return QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Description);
}

/// The first viewer of a process, as every user's is: it is made before anything has been said
/// about our widgets.
using FirstViewer = test::ViewerFixture;

TEST_F(FirstViewer, ViewIsAPicture)
{
    start({"--bench"});
    EXPECT_EQ(roleOf(view), QAccessible::Graphic);
    EXPECT_EQ(nameOf(view), u"Tavolin Viewer — กด O เปิดโฟลเดอร์ | H วิธีใช้"_s);
}

class Accessibility : public test::EditFixture
{
protected:
    template <typename Widget>
    [[nodiscard]] Widget *shown() const
    {
        return view->findChild<Widget *>();
    }
};

TEST_F(Accessibility, LinesAreTextsThatAreNamedByWhatTheySay)
{
    ASSERT_TRUE(openPictures());
    EXPECT_EQ(roleOf(infoLabel), QAccessible::StaticText);
    EXPECT_EQ(roleOf(detailLabel), QAccessible::StaticText);
    EXPECT_EQ(roleOf(statusLabel), QAccessible::Notification);
    EXPECT_EQ(nameOf(infoLabel), u"1/3 | 0.png   [H=วิธีใช้]"_s);
    EXPECT_EQ(nameOf(statusLabel), QString());
    press(Qt::Key_Right);
    EXPECT_EQ(nameOf(infoLabel), u"2/3 | 1.png   [H=วิธีใช้]"_s);
    press(Qt::Key_S);
    EXPECT_EQ(nameOf(statusLabel), u"ยังไม่มีการแก้ไข — X=ครอป/หมุน"_s);
}

TEST_F(Accessibility, LinesLieWhereTheirTextIs)
{
    ASSERT_TRUE(openPictures());
    const QPoint origin = view->mapToGlobal(QPoint(0, 0));
    const auto rect = [&](QWidget *widget) {
        return QAccessible::queryAccessibleInterface(widget)->rect().translated(-origin);
    };
    EXPECT_EQ(rect(infoLabel), QRect(20, 16, 760, 22));
    EXPECT_EQ(rect(statusLabel), QRect(0, 520, 800, 30));
}

TEST_F(Accessibility, HelpPageIsAllItsLines)
{
    start({"--bench"});
    press(Qt::Key_H);
    auto *help = shown<HelpView>();
    ASSERT_NE(help, nullptr);
    EXPECT_EQ(roleOf(help), QAccessible::StaticText);
    const QString text = nameOf(help);
    EXPECT_TRUE(
        text.startsWith(u"←/→/Space\tเลื่อนดูรูป (กดค้าง = เร็ว)\nคลิกค้าง\tซูม 100% + ลากแพน\nA\t"_s));
    EXPECT_TRUE(text.contains(u"\n\t(ลาก/ลูกศร=กรอบ  "_s));
    EXPECT_TRUE(text.endsWith(u"\nEsc\tออกจากแอป"_s));
    EXPECT_EQ(text.count(u'\n'), 10);
}

TEST_F(Accessibility, SearchFieldHasAName)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_J);
    auto *field = shown<SearchField>();
    ASSERT_NE(field, nullptr);
    EXPECT_EQ(roleOf(field), QAccessible::EditableText);
    EXPECT_EQ(nameOf(field), u"ค้นหาชื่อไฟล์"_s);
}

TEST_F(Accessibility, CropModeIsAPictureAndAToolBar)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    ASSERT_NE(overlay(), nullptr);
    EXPECT_EQ(roleOf(overlay()), QAccessible::Graphic);
    EXPECT_EQ(nameOf(overlay()), u"กรอบครอป"_s);
    EXPECT_EQ(roleOf(bar()), QAccessible::ToolBar);
    EXPECT_EQ(nameOf(bar()), u"ครอป+หมุน"_s);
}

TEST_F(Accessibility, ViewIsNamedByTheInfoLine)
{
    ASSERT_TRUE(openPictures());
    EXPECT_EQ(nameOf(view), u"1/3 | 0.png   [H=วิธีใช้]"_s);
    press(Qt::Key_Right);
    EXPECT_EQ(nameOf(view), u"2/3 | 1.png   [H=วิธีใช้]"_s);
}

TEST_F(Accessibility, CropBoxTellsItsSizeAndTheAngle)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    setBox(test::TOP_LEFT_QUARTER);
    EXPECT_EQ(descriptionOf(overlay()), u"200 × 150 px, 0.0°"_s);
    press(Qt::Key_BracketRight);
    EXPECT_TRUE(descriptionOf(overlay()).endsWith(u" px, +0.5°"_s));
}

} // namespace
} // namespace tavolin
