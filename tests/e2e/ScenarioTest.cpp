// The user's stories, from one end to the other: keys and the mouse on a real X server, judged by
// what is on the screen and on disk. Texts are read, and buttons found, where a screen reader does:
// what these tests can read and press, everybody can.

#include "e2e/SessionTest.h"

#include <QFile>

#include <algorithm>

#include <linux/input-event-codes.h>

namespace tavolin {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

/// Where a picture of three to two lies in crop mode, and the middle of the box's right edge.
constexpr QRect CROP_PICTURE_RECT{264, 76, 1392, 928};
constexpr QPoint RIGHT_EDGE{1517, 540};

/// A part of the box's left edge, moved by the key for a step to the left.
constexpr QRect BORDER_AFTER_LEFT{391, 600, 5, 5};

/// What the box leaves of a picture of 1200x800 pixels.
constexpr QSize CROPPED_SIZE{960, 640};

constexpr QStringView HELP_TEXT =
    u"←/→/Space\tเลื่อนดูรูป (กดค้าง = เร็ว)\n"
    u"คลิกค้าง\tซูม 100% + ลากแพน\n"
    u"A\tคัดลอกไปโฟลเดอร์ HL\n"
    u"D\tลบลงถังขยะ\n"
    u"X หรือ T\tครอป+หมุน ในขั้นตอนเดียว\n"
    u"\t(ลาก/ลูกศร=กรอบ  [ ]=หมุน  F=สลับกรอบตั้ง-นอน  1-6=สัดส่วน  Enter=ตกลง)\n"
    u"S\tบันทึกภาพที่แก้ไข → Edit/\n"
    u"Ctrl+Z\tย้อนการแก้ไข\n"
    u"J\tค้นหาชื่อไฟล์\n"
    u"O\tเปิดโฟลเดอร์    F เข้า/ออกเต็มจอ    H ปิดหน้านี้\n"
    u"Esc\tออกจากแอป";

QByteArray contentOf(const fs::path &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QSize sizeOf(const fs::path &picture)
{
    return QImage(QString::fromStdString(picture)).size();
}

class Scenario : public SessionTest
{
protected:
    /// What is called @p name; the topmost if there are several.
    [[nodiscard]] std::optional<AccessibleObject> find(Role role, const QString &name) const
    {
        const auto objects = m_tool->objects();
        const auto found = std::find_if(objects.rbegin(), objects.rend(), [&](const auto &object) {
            return object.role == role && object.name == name;
        });
        return found == objects.rend() ? std::nullopt : std::optional(*found);
    }

    [[nodiscard]] testing::AssertionResult waitFor(Role role, const QString &name) const
    {
        if (waitUntil([&] { return find(role, name).has_value(); }))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "no " << name.toStdString() << "; " << shownNames();
    }

    [[nodiscard]] bool waitUntilGone(Role role, const QString &name) const
    {
        return waitUntil([&] { return !find(role, name); });
    }

    [[nodiscard]] testing::AssertionResult waitForInfo(const QString &text) const
    {
        if (waitUntil([&] { return infoLine() == text; }))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "no " << text.toStdString() << "; " << shownNames();
    }

    [[nodiscard]] testing::AssertionResult waitForStatus(const QString &text) const
    {
        if (waitUntil([&] { return statusLine() == text; }))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "no " << text.toStdString() << "; " << shownNames();
    }

    /// Waits for a button (or what is like one) and clicks where it says it is.
    [[nodiscard]] testing::AssertionResult clickOn(Role role, const QString &name)
    {
        std::optional<AccessibleObject> button;
        if (!waitUntil([&] { return (button = find(role, name)).has_value(); }))
            return testing::AssertionFailure()
                   << "no " << name.toStdString() << "; " << shownNames();
        m_client->moveMouse(button->rect.center());
        m_client->click(LEFT_BUTTON);
        return testing::AssertionSuccess();
    }

    /// Waits for a text field that has the keyboard and the content @p content.
    [[nodiscard]] bool waitForField(const QString &name, const QString &content) const
    {
        return waitUntil([&] {
            const auto field = find(Role::TextField, name);
            return field && field->hasFocus && field->content == content;
        });
    }

    /// Opens a folder of @p count pictures and waits for the first, and until it is told of.
    [[nodiscard]] testing::AssertionResult openPictures(int count)
    {
        addPictures(count);
        if (const auto opened = openFolder(); !opened)
            return opened;
        return waitForInfo(u"1/%1 | IMG_1001.jpg   [H=วิธีใช้]"_s.arg(count));
    }

    [[nodiscard]] testing::AssertionResult enterCrop()
    {
        tap(KEY_X);
        return waitFor(Role::ToolBar, u"ครอป+หมุน"_s);
    }

    /// Crops the first of @p count pictures to the box as it comes.
    [[nodiscard]] testing::AssertionResult openAndCrop(int count = 1)
    {
        if (const auto opened = openPictures(count); !opened)
            return opened;
        if (const auto entered = enterCrop(); !entered)
            return entered;
        tap(KEY_ENTER);
        return waitForStatus(CROPPED);
    }

    /// The ratio buttons that are lit.
    [[nodiscard]] QStringList selectedRatios() const
    {
        QStringList names;
        for (const AccessibleObject &object : m_tool->objects()) {
            if (object.role == Role::CheckBox && object.isChecked)
                names.append(object.name);
        }
        return names;
    }

    [[nodiscard]] testing::AssertionResult waitForRatio(const QString &name) const
    {
        if (waitUntil([&] { return selectedRatios() == QStringList{name}; }))
            return testing::AssertionSuccess();
        return testing::AssertionFailure()
               << "lit: " << selectedRatios().join(u", "_s).toStdString();
    }

    /// What the bar says, in degrees.
    [[nodiscard]] double shownAngle() const
    {
        for (const AccessibleObject &object : m_tool->objects()) {
            if (object.role == Role::Label && object.name.endsWith(u'°'))
                return object.name.chopped(1).toDouble();
        }
        return 0;
    }

    void undo() { m_client->tapKey(KEY_Z, {KEY_LEFTCTRL}); }

    [[nodiscard]] bool isInTrash(const std::string &name) const
    {
        return fs::exists(m_viewer->dataHome() / "Trash" / "files" / name);
    }

    /// Waits for the question about the unsaved crop of the first picture.
    [[nodiscard]] testing::AssertionResult waitForQuestion() const
    {
        if (const auto asked = waitFor(Role::Alert, QUESTION); !asked)
            return asked;
        return waitFor(Role::Label, u"IMG_1001.jpg ถูกครอป/หมุนแล้ว แต่ยังไม่ได้บันทึกลงโฟลเดอร์ Edit"_s);
    }

    const QString CROPPED =
        u"✂️ เรียบร้อย — S=บันทึก  Ctrl+Z=ย้อน"_s;
    const QString QUESTION = u"มีการแก้ไขที่ยังไม่ได้บันทึก"_s;

private:
    /// For messages: everything that has a name.
    [[nodiscard]] std::string shownNames() const
    {
        QStringList names;
        for (const AccessibleObject &object : m_tool->objects()) {
            if (!object.name.isEmpty())
                names.append(object.name);
        }
        return "shown: " + names.join(u", "_s).toStdString();
    }
};

TEST_F(Scenario, FolderIsChosenInTheDialogAndSteppedThrough)
{
    addPictures(3);
    startViewer({});
    ASSERT_TRUE(waitForInfo(u"Tavolin Viewer — กด O เปิดโฟลเดอร์ | H วิธีใช้"_s));
    tap(KEY_O);
    ASSERT_TRUE(waitFor(Role::Button, u"เปิด"_s));
    ASSERT_TRUE(waitUntil([&] { return m_client->windows().back().hasKeyboard; }));
    m_client->type(m_folder.path());
    ASSERT_TRUE(waitForField(u"โฟลเดอร์:"_s, m_folder.path()));
    tap(KEY_ENTER); // goes there
    tap(KEY_ENTER); // and opens it
    ASSERT_TRUE(waitForInfo(u"1/3 | IMG_1001.jpg   [H=วิธีใช้]"_s));
    EXPECT_TRUE(waitForPicture(1));
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForInfo(u"2/3 | IMG_1002.jpg   [H=วิธีใช้]"_s));
    EXPECT_TRUE(waitForPicture(2));
    EXPECT_EQ(quit(), 0) << m_viewer->standardError().toStdString();
}

TEST_F(Scenario, HeldArrowCountsUpToTheLastPicture)
{
    constexpr int COUNT = 30;
    ASSERT_TRUE(openPictures(COUNT));
    int position = 1;
    m_client->pressKey(KEY_RIGHT);
    // Whenever it is read, the line is whole, and never behind what it was.
    ASSERT_TRUE(waitUntil([&] {
        const QString line = infoLine();
        const int seen = line.section(u'/', 0, 0).toInt();
        EXPECT_GE(seen, position);
        EXPECT_EQ(line, u"%1/30 | IMG_%2.jpg   [H=วิธีใช้]"_s.arg(seen).arg(1000 + seen));
        position = seen;
        return seen == COUNT || HasFailure();
    }));
    m_client->releaseKey(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(COUNT));
}

TEST_F(Scenario, WheelStepsAndTheLineSaysWhere)
{
    ASSERT_TRUE(openPictures(4));
    m_client->moveMouse(SCREEN_RECT.center());
    m_client->click(WHEEL_DOWN);
    m_client->click(WHEEL_DOWN);
    EXPECT_TRUE(waitForInfo(u"3/4 | IMG_1003.jpg   [H=วิธีใช้]"_s));
    EXPECT_TRUE(waitForPicture(3));
    m_client->click(WHEEL_UP);
    EXPECT_TRUE(waitForInfo(u"2/4 | IMG_1002.jpg   [H=วิธีใช้]"_s));
    EXPECT_TRUE(waitForPicture(2));
}

TEST_F(Scenario, HeldMouseEnlargesSaysSoAndReturns)
{
    ASSERT_TRUE(openPictures(1));
    ASSERT_TRUE(waitForDetails());
    const QImage fitted = m_client->screen(LANDSCAPE_RECT);
    m_client->moveMouse({400, 300});
    m_client->pressButton(LEFT_BUTTON);
    EXPECT_TRUE(waitForStatus(u"🔍 100% — ลากเพื่อแพน ปล่อยเพื่อกลับ"_s));
    m_client->moveMouse({700, 500});
    EXPECT_TRUE(waitUntil([&] { return m_client->screen(LANDSCAPE_RECT) != fitted; }));
    m_client->releaseButton(LEFT_BUTTON);
    EXPECT_TRUE(waitForStatus({}));
    EXPECT_TRUE(waitUntil([&] { return m_client->screen(LANDSCAPE_RECT) == fitted; }));
}

TEST_F(Scenario, JumpFindsANameWhileItIsTyped)
{
    const QString field = u"ค้นหาชื่อไฟล์"_s;
    ASSERT_TRUE(openPictures(12));
    tap(KEY_J);
    ASSERT_TRUE(waitForField(field, {}));
    m_client->type(u"007");
    EXPECT_TRUE(waitForField(field, u"007"_s));
    EXPECT_TRUE(waitForInfo(u"7/12 | IMG_1007.jpg   [H=วิธีใช้]"_s));
    EXPECT_TRUE(waitForPicture(7));
    tap(KEY_ENTER);
    EXPECT_TRUE(waitUntilGone(Role::TextField, field));
    tap(KEY_LEFT);
    EXPECT_TRUE(waitForInfo(u"6/12 | IMG_1006.jpg   [H=วิธีใช้]"_s));
}

TEST_F(Scenario, HelpSaysAllThereIsAndStaysWhileCommandsWork)
{
    const auto help = HELP_TEXT.toString();
    ASSERT_TRUE(openPictures(2));
    tap(KEY_H);
    ASSERT_TRUE(waitFor(Role::Label, help));
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForInfo(u"2/2 | IMG_1002.jpg   [H=วิธีใช้]"_s));
    EXPECT_TRUE(find(Role::Label, help));
    tap(KEY_ESC);
    EXPECT_TRUE(waitUntilGone(Role::Label, help));
    EXPECT_TRUE(waitForPicture(2));
}

TEST_F(Scenario, KeepersAreCopiedAndTheRestIsThrownAway)
{
    ASSERT_TRUE(openPictures(3));
    const QByteArray keeper = contentOf(pathOf("IMG_1002.jpg"));
    tap(KEY_RIGHT);
    ASSERT_TRUE(waitForPicture(2));
    tap(KEY_A);
    EXPECT_TRUE(waitForStatus(u"✅ Auto Save to HL"_s));
    EXPECT_EQ(contentOf(pathOf("HL/IMG_1002.jpg")), keeper);

    tap(KEY_D);
    EXPECT_TRUE(waitForStatus(u"🗑 ลบแล้ว"_s));
    EXPECT_TRUE(waitForInfo(u"2/2 | IMG_1003.jpg   [H=วิธีใช้]"_s));
    EXPECT_TRUE(waitForPicture(3));
    EXPECT_TRUE(isInTrash("IMG_1002.jpg"));
    EXPECT_EQ(contentOf(pathOf("HL/IMG_1002.jpg")), keeper);

    tap(KEY_D); // the last of the list: the one before it comes up
    EXPECT_TRUE(waitForInfo(u"1/1 | IMG_1001.jpg   [H=วิธีใช้]"_s));
    EXPECT_TRUE(waitForPicture(1));
    tap(KEY_D);
    EXPECT_TRUE(waitForInfo(u"โฟลเดอร์ว่างแล้ว — กด O เปิดใหม่"_s));
    EXPECT_TRUE(isInTrash("IMG_1001.jpg"));
    EXPECT_TRUE(waitUntil([&] { return isAll(m_client->screen({500, 200, 800, 600}), BLACK); }));
}

TEST_F(Scenario, CropIsMadeWithTheMouseAlone)
{
    ASSERT_TRUE(openPictures(1));
    ASSERT_TRUE(enterCrop());
    EXPECT_TRUE(waitForRatio(u"Original"_s));
    EXPECT_TRUE(waitForPicture(1, CROP_PICTURE_RECT));
    EXPECT_TRUE(waitFor(Role::Picture, u"กรอบครอป"_s));

    ASSERT_TRUE(clickOn(Role::CheckBox, u"4:3"_s));
    EXPECT_TRUE(waitForRatio(u"4:3"_s));
    ASSERT_TRUE(clickOn(Role::Button, u"Portrait / Landscape (F)"_s));
    EXPECT_TRUE(waitForRatio(u"4:3"_s)); // lit the other way round too
    ASSERT_TRUE(clickOn(Role::CheckBox, u"Original"_s));
    EXPECT_TRUE(waitForRatio(u"Original"_s));
    const auto rotateLeft = find(Role::Button, u"Rotate left"_s);
    ASSERT_TRUE(rotateLeft);
    m_client->moveMouse(rotateLeft->rect.center());
    m_client->pressButton(LEFT_BUTTON); // turns on as long as it is held
    EXPECT_TRUE(waitUntil([&] { return shownAngle() <= -1.5; })) << shownAngle();
    m_client->releaseButton(LEFT_BUTTON);
    ASSERT_TRUE(clickOn(Role::Button, u"Reset"_s));
    EXPECT_TRUE(waitFor(Role::Label, u"0.0°"_s));
    ASSERT_TRUE(clickOn(Role::Button, u"Cancel"_s));
    EXPECT_TRUE(waitUntilGone(Role::ToolBar, u"ครอป+หมุน"_s));
    EXPECT_TRUE(waitForPicture(1));

    ASSERT_TRUE(enterCrop());
    ASSERT_TRUE(clickOn(Role::CheckBox, u"Free"_s));
    EXPECT_TRUE(waitForRatio(u"Free"_s));
    m_client->moveMouse(RIGHT_EDGE);
    m_client->pressButton(LEFT_BUTTON);
    m_client->moveMouse({960, RIGHT_EDGE.y()});
    m_client->releaseButton(LEFT_BUTTON);
    ASSERT_TRUE(clickOn(Role::Button, u"Apply ⏎"_s));
    EXPECT_TRUE(waitForStatus(CROPPED));
    EXPECT_FALSE(find(Role::ToolBar, u"ครอป+หมุน"_s));
    EXPECT_EQ(
        infoLine(),
        u"1/1 | IMG_1001.jpg  ✏️ แก้ไขแล้ว (S=บันทึก Ctrl+Z=ย้อน)   [H=วิธีใช้]"_s);
    tap(KEY_S);
    ASSERT_TRUE(waitForStatus(u"💾 บันทึกแล้ว → Edit/IMG_1001.jpg"_s));
    // Of 1392 by 928 points the box has about 557 by 742, a point being 1200/1392 pixels.
    EXPECT_NEAR(sizeOf(pathOf("Edit/IMG_1001.jpg")).width(), 480, 8);
    EXPECT_NEAR(sizeOf(pathOf("Edit/IMG_1001.jpg")).height(), 640, 8);
}

TEST_F(Scenario, CropIsMadeWithKeysAloneSavedAndUndoneStepByStep)
{
    ASSERT_TRUE(openPictures(1));
    const QByteArray source = contentOf(pathOf("IMG_1001.jpg"));
    ASSERT_TRUE(enterCrop());
    tap(KEY_LEFT);
    EXPECT_TRUE(
        waitUntil([&] { return hasText(m_client->screen(BORDER_AFTER_LEFT), LABEL_COLOR); }));
    tap(KEY_3);
    EXPECT_TRUE(waitForRatio(u"1:1"_s));
    tap(KEY_5);
    EXPECT_TRUE(waitForRatio(u"16:9"_s));
    tap(KEY_F);
    EXPECT_TRUE(waitForRatio(u"16:9"_s));
    tap(KEY_3);
    EXPECT_TRUE(waitForRatio(u"1:1"_s));
    tap(KEY_RIGHTBRACE);
    EXPECT_TRUE(waitFor(Role::Label, u"+0.5°"_s));
    m_client->tapKey(KEY_LEFTBRACE, {KEY_LEFTSHIFT});
    EXPECT_TRUE(waitFor(Role::Label, u"-1.5°"_s));
    tap(KEY_ENTER);
    ASSERT_TRUE(waitForStatus(CROPPED));
    tap(KEY_S);
    ASSERT_TRUE(waitForStatus(u"💾 บันทึกแล้ว → Edit/IMG_1001.jpg"_s));
    const QSize saved = sizeOf(pathOf("Edit/IMG_1001.jpg"));
    EXPECT_GT(saved.width(), 500);
    EXPECT_NEAR(saved.width(), saved.height(), 1);

    undo();
    EXPECT_TRUE(
        waitForStatus(u"↩️ ย้อนแล้ว (เหลือ 1 ขั้น)"_s));
    EXPECT_EQ(
        infoLine(),
        u"1/1 | IMG_1001.jpg  ✏️ แก้ไขแล้ว (S=บันทึก Ctrl+Z=ย้อน)   [H=วิธีใช้]"_s);
    undo();
    EXPECT_TRUE(
        waitForStatus(u"↩️ กลับเป็นต้นฉบับแล้ว"_s));
    EXPECT_EQ(infoLine(), u"1/1 | IMG_1001.jpg   [H=วิธีใช้]"_s);
    EXPECT_TRUE(waitForPicture(1));
    undo();
    EXPECT_TRUE(waitForStatus(u"ไม่มีการแก้ไขให้ย้อน"_s));
    tap(KEY_S);
    EXPECT_TRUE(waitForStatus(u"ยังไม่มีการแก้ไข — X=ครอป/หมุน"_s));
    EXPECT_EQ(contentOf(pathOf("IMG_1001.jpg")), source);
    EXPECT_EQ(quit(), 0) << m_viewer->standardError().toStdString();
}

TEST_F(Scenario, RatioOfOnesOwnIsTypedAndAWrongOneRefused)
{
    const QString dialog = u"Custom Ratio"_s;
    ASSERT_TRUE(openPictures(1));
    ASSERT_TRUE(enterCrop());
    ASSERT_TRUE(clickOn(Role::CheckBox, u"Custom…"_s));
    ASSERT_TRUE(waitFor(Role::Dialog, dialog));
    EXPECT_TRUE(find(Role::Label, u"Enter as width:height, e.g. 16:10"_s));
    ASSERT_TRUE(waitForField(dialog, u"16:10"_s)); // all of it selected
    m_client->type(u"2:1");
    ASSERT_TRUE(waitForField(dialog, u"2:1"_s));
    ASSERT_TRUE(clickOn(Role::Button, u"OK"_s));
    EXPECT_TRUE(waitForRatio(u"Custom…"_s));

    tap(KEY_6);
    ASSERT_TRUE(waitForField(dialog, u"16:10"_s));
    m_client->type(u"wide");
    tap(KEY_ENTER);
    EXPECT_TRUE(waitForStatus(u"❌ Invalid format (example: 16:10)"_s));
    EXPECT_TRUE(waitForRatio(u"Custom…"_s));

    tap(KEY_6);
    ASSERT_TRUE(waitForField(dialog, u"16:10"_s));
    ASSERT_TRUE(clickOn(Role::Button, u"Cancel"_s)); // of the dialog, not of the bar behind it
    EXPECT_TRUE(waitUntilGone(Role::Dialog, dialog));
    tap(KEY_ENTER);
    ASSERT_TRUE(waitForStatus(CROPPED));
    tap(KEY_S);
    ASSERT_TRUE(waitForStatus(u"💾 บันทึกแล้ว → Edit/IMG_1001.jpg"_s));
    const QSize saved = sizeOf(pathOf("Edit/IMG_1001.jpg"));
    EXPECT_NEAR(saved.width(), 2 * saved.height(), 2);
}

TEST_F(Scenario, SavedCropIsThereAndNothingIsAsked)
{
    ASSERT_TRUE(openAndCrop(2));
    tap(KEY_S);
    ASSERT_TRUE(waitForStatus(u"💾 บันทึกแล้ว → Edit/IMG_1001.jpg"_s));
    EXPECT_EQ(sizeOf(pathOf("Edit/IMG_1001.jpg")), CROPPED_SIZE);
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForInfo(u"2/2 | IMG_1002.jpg   [H=วิธีใช้]"_s));
    EXPECT_TRUE(waitForPicture(2));
    EXPECT_EQ(quit(), 0) << m_viewer->standardError().toStdString();
}

TEST_F(Scenario, FirstAnswerToTheQuestionSavesAndQuits)
{
    ASSERT_TRUE(openAndCrop());
    tap(KEY_ESC);
    ASSERT_TRUE(waitForQuestion());
    ASSERT_TRUE(clickOn(Role::Button, u"บันทึกแล้วออก"_s));
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
    EXPECT_EQ(sizeOf(pathOf("Edit/IMG_1001.jpg")), CROPPED_SIZE);
}

TEST_F(Scenario, SecondAnswerToTheQuestionGivesTheEditsUp)
{
    ASSERT_TRUE(openAndCrop());
    m_client->tapKey(KEY_Q, {KEY_LEFTCTRL});
    ASSERT_TRUE(waitForQuestion());
    ASSERT_TRUE(clickOn(Role::Button, u"ออกโดยไม่บันทึก"_s));
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
    EXPECT_FALSE(fs::exists(pathOf("Edit")));
}

TEST_F(Scenario, ThirdAnswerToTheQuestionGoesBackToWork)
{
    ASSERT_TRUE(openAndCrop());
    tap(KEY_ESC);
    ASSERT_TRUE(waitForQuestion());
    ASSERT_TRUE(clickOn(Role::Button, u"ยกเลิก"_s));
    EXPECT_TRUE(waitUntilGone(Role::Alert, QUESTION));
    EXPECT_EQ(
        infoLine(),
        u"1/1 | IMG_1001.jpg  ✏️ แก้ไขแล้ว (S=บันทึก Ctrl+Z=ย้อน)   [H=วิธีใช้]"_s);
    undo();
    EXPECT_TRUE(
        waitForStatus(u"↩️ กลับเป็นต้นฉบับแล้ว"_s));
    EXPECT_TRUE(waitForPicture(1));
    EXPECT_FALSE(fs::exists(pathOf("Edit")));
}

TEST_F(Scenario, ScreenReaderHearsOfEachStepOnceAndOfMessages)
{
    ASSERT_TRUE(openPictures(3));
    const auto info = infoLabel();
    const auto status = statusLabel();
    ASSERT_TRUE(info && status);
    const int before = m_tool->nameChanges(*info);
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitUntil([&] { return m_tool->nameChanges(*info) > before; }));
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitForPicture(3));
    EXPECT_EQ(m_tool->nameChanges(*status), 0);
    tap(KEY_S);
    EXPECT_TRUE(waitUntil([&] { return m_tool->nameChanges(*status) > 0; }));
    EXPECT_EQ(m_tool->nameChanges(*info), before + 2);
}

TEST_F(Scenario, ScreenReaderSaysStepsMessagesAndWhatIsCropped)
{
    ASSERT_TRUE(openPictures(3));
    const auto view = find(Role::Picture, u"1/3 | IMG_1001.jpg   [H=วิธีใช้]"_s);
    const auto status = statusLabel();
    ASSERT_TRUE(view && status);
    EXPECT_TRUE(view->hasFocus); // or nobody would say its name
    const int steps = m_tool->nameChanges(*view);
    tap(KEY_RIGHT);
    EXPECT_TRUE(waitFor(Role::Picture, u"2/3 | IMG_1002.jpg   [H=วิธีใช้]"_s));
    EXPECT_TRUE(waitUntil([&] { return m_tool->nameChanges(*view) == steps + 1; }));

    const int messages = m_tool->announcements(*status);
    tap(KEY_S);
    EXPECT_TRUE(waitUntil([&] { return m_tool->announcements(*status) == messages + 1; }));
    EXPECT_EQ(statusLine(), u"ยังไม่มีการแก้ไข — X=ครอป/หมุน"_s);

    ASSERT_TRUE(enterCrop());
    const auto box = find(Role::Picture, u"กรอบครอป"_s);
    ASSERT_TRUE(box);
    EXPECT_EQ(box->description, u"959 × 639 px, 0.0°"_s);
    const int changes = m_tool->descriptionChanges(*box);
    tap(KEY_RIGHTBRACE);
    EXPECT_TRUE(waitUntil([&] { return m_tool->descriptionChanges(*box) == changes + 1; }));
    const auto turned = find(Role::Picture, u"กรอบครอป"_s);
    ASSERT_TRUE(turned);
    EXPECT_TRUE(turned->description.endsWith(u" px, +0.5°"_s));
}

TEST_F(Scenario, PictureHandedOverByTheDesktopIsShown)
{
    addPictures(3);
    startViewer({});
    ASSERT_TRUE(waitForInfo(u"Tavolin Viewer — กด O เปิดโฟลเดอร์ | H วิธีใช้"_s));
    ASSERT_TRUE(waitUntil([&] { return m_bus->hasViewer(); }));
    ASSERT_TRUE(m_bus->open({u"file://"_s + m_folder.filePath(u"IMG_1002.jpg"_s)}));
    EXPECT_TRUE(waitForInfo(u"2/3 | IMG_1002.jpg   [H=วิธีใช้]"_s));
    EXPECT_TRUE(waitForPicture(2));
}

TEST_F(Scenario, SecondFolderHandedOverWhileCroppingEndsTheCrop)
{
    ASSERT_TRUE(fs::create_directory(pathOf("second")));
    addPicture("second/IMG_2001.jpg", 21, 22);
    addPicture("second/IMG_2002.jpg", 22, 22);
    ASSERT_TRUE(openPictures(3));
    ASSERT_TRUE(enterCrop());
    tap(KEY_RIGHTBRACE);
    ASSERT_TRUE(waitFor(Role::Label, u"+0.5°"_s));
    ASSERT_TRUE(waitUntil([&] { return m_bus->hasViewer(); }));
    ASSERT_TRUE(m_bus->open({u"file://"_s + m_folder.filePath(u"second"_s)}));
    EXPECT_TRUE(waitForInfo(u"1/2 | IMG_2001.jpg   [H=วิธีใช้]"_s));
    EXPECT_TRUE(waitForPicture(21));
    EXPECT_FALSE(find(Role::ToolBar, u"ครอป+หมุน"_s));
    tap(KEY_RIGHT); // steps again, and moves no box
    EXPECT_TRUE(waitForInfo(u"2/2 | IMG_2002.jpg   [H=วิธีใช้]"_s));
    EXPECT_TRUE(waitForPicture(22));
}

TEST_F(Scenario, EveryCommandWorksUnderAThaiLayout)
{
    ASSERT_TRUE(startServer(u"th"_s));
    ASSERT_EQ(m_client->symbol(KEY_A, 0), 0xdbfUL); // THAI CHARACTER FO FAN: there is no letter A
    ASSERT_NO_FATAL_FAILURE(startSession());
    ASSERT_TRUE(openPictures(3));
    tap(KEY_A);
    EXPECT_TRUE(waitForStatus(u"✅ Auto Save to HL"_s));
    tap(KEY_D);
    EXPECT_TRUE(waitForStatus(u"🗑 ลบแล้ว"_s));
    EXPECT_TRUE(waitForInfo(u"1/2 | IMG_1002.jpg   [H=วิธีใช้]"_s));
    ASSERT_TRUE(waitForPicture(2));
    tap(KEY_H);
    EXPECT_TRUE(waitFor(Role::Label, HELP_TEXT.toString()));
    tap(KEY_H);
    EXPECT_TRUE(waitUntilGone(Role::Label, HELP_TEXT.toString()));
    ASSERT_TRUE(enterCrop());
    tap(KEY_4);
    EXPECT_TRUE(waitForRatio(u"4:3"_s));
    tap(KEY_LEFTBRACE);
    EXPECT_TRUE(waitFor(Role::Label, u"-0.5°"_s));
    tap(KEY_X);
    ASSERT_TRUE(waitForStatus(CROPPED));
    tap(KEY_S);
    EXPECT_TRUE(waitForStatus(u"💾 บันทึกแล้ว → Edit/IMG_1002.jpg"_s));
    undo();
    EXPECT_TRUE(
        waitForStatus(u"↩️ ย้อนแล้ว (เหลือ 1 ขั้น)"_s));
}

} // namespace

} // namespace tavolin
