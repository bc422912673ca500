// Which messages on the status line clear themselves, and which stay as long as what they tell of.

#include "app/EditFixture.h"

#include <QDialog>
#include <QLineEdit>
#include <QMainWindow>

#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

using namespace test;

class StatusMessage;

struct MessageCase
{
    const char *name;
    void (StatusMessage::*command)(); ///< What is told of.
    const char *text;
};

void PrintTo(const MessageCase &item, std::ostream *out)
{
    *out << item.name;
}

class StatusMessage : public EditFixture, public testing::WithParamInterface<MessageCase>
{
public:
    void pick() { press(Qt::Key_A); }
    void pickOfNothing()
    {
        removeSource();
        pick();
    }
    void remove() { press(Qt::Key_D); }
    void removeWithoutTrash()
    {
        trash.failWith(u"no Trash here"_s);
        remove();
    }
    void save() { press(Qt::Key_S); }
    void saveAnEdit()
    {
        cropLeftHalf();
        save();
    }
    void saveWithoutFolder()
    {
        folder.write("pictures/Edit", "a file");
        saveAnEdit();
    }
    void saveOverAFolder()
    {
        std::filesystem::create_directories(pictures / "Edit" / "0.jpg" / "not empty");
        saveAnEdit();
    }
    void undo() { press(Qt::Key_Z, Qt::ControlModifier); }
    void undoTheOnly()
    {
        cropLeftHalf();
        undo();
    }
    void undoTheSecond()
    {
        cropLeftHalf();
        undoTheOnly();
    }
    void undoWithoutSource()
    {
        cropLeftHalf();
        removeSource();
        undo();
    }
    void applyCrop()
    {
        press(Qt::Key_X);
        press(Qt::Key_Return);
    }
    void cropWithoutSource()
    {
        press(Qt::Key_X);
        removeSource();
        press(Qt::Key_Return);
    }
    void cropToNothing()
    {
        press(Qt::Key_X);
        setBox({0.5, 0.5, 0.001, 0.001});
        press(Qt::Key_Return);
    }
    void enterWrongRatio()
    {
        press(Qt::Key_X);
        press(Qt::Key_6);
        auto *dialog = window->findChild<QDialog *>();
        ASSERT_NE(dialog, nullptr);
        auto *field = dialog->findChild<QLineEdit *>();
        ASSERT_NE(field, nullptr);
        field->setText(u"16"_s);
        QTest::keyClick(field, Qt::Key_Return);
    }
    void openNoFolder()
    {
        viewer->browser().openFolder(folder / "absent", std::nullopt);
        EXPECT_TRUE(waitUntilOpened());
    }
    void zoom() { viewer->loupe().zoomBegin({400, 300}); }

private:
    void cropLeftHalf() { ASSERT_TRUE(crop(LEFT_HALF)); }
    void removeSource() const { std::filesystem::remove(pictures / "0.png"); }
};

constexpr auto caseName = [](const auto &item) { return item.param.name; };

class MessageAboutAnAct : public StatusMessage
{};

TEST_P(MessageAboutAnAct, ClearsItself)
{
    ASSERT_TRUE(openPictures());
    (this->*GetParam().command)();
    ASSERT_TRUE(waitForStatus(GetParam().text));
    EXPECT_TRUE(viewer->labels().isStatusTemporary());
}

INSTANTIATE_TEST_SUITE_P(
    Acts, MessageAboutAnAct,
    testing::Values(
        MessageCase{"pick", &StatusMessage::pick, "✅ Auto Save to HL"},
        MessageCase{"pickThatFails", &StatusMessage::pickOfNothing,
                    "❌ Error: No such file or directory"},
        MessageCase{"deletion", &StatusMessage::remove, "🗑 ลบแล้ว"},
        MessageCase{"deletionThatFails", &StatusMessage::removeWithoutTrash,
                    "❌ ลบไม่ได้: no Trash here"},
        MessageCase{"save", &StatusMessage::saveAnEdit, "💾 บันทึกแล้ว → Edit/0.jpg"},
        MessageCase{"saveWithoutEdits", &StatusMessage::save, "ยังไม่มีการแก้ไข — X=ครอป/หมุน"},
        MessageCase{"saveWithoutFolder", &StatusMessage::saveWithoutFolder,
                    "❌ สร้างโฟลเดอร์ Edit ไม่ได้"},
        MessageCase{"saveThatFails", &StatusMessage::saveOverAFolder, "❌ บันทึกไม่สำเร็จ"},
        MessageCase{"undoOfTheOnlyStep", &StatusMessage::undoTheOnly, BACK_TO_SOURCE},
        MessageCase{"undoOfTheSecondStep", &StatusMessage::undoTheSecond,
                    "↩️ ย้อนแล้ว (เหลือ 1 ขั้น)"},
        MessageCase{"undoWithoutSteps", &StatusMessage::undo, NOTHING_TO_UNDO},
        MessageCase{"undoThatFails", &StatusMessage::undoWithoutSource, "❌ ย้อนไม่สำเร็จ"},
        MessageCase{"crop", &StatusMessage::applyCrop, CROPPED},
        MessageCase{"cropThatFails", &StatusMessage::cropWithoutSource, "❌ ไม่สำเร็จ"},
        MessageCase{"cropOfTooLittle", &StatusMessage::cropToNothing, BOX_TOO_SMALL},
        MessageCase{"wrongRatio", &StatusMessage::enterWrongRatio,
                    "❌ Invalid format (example: 16:10)"},
        MessageCase{"folderThatIsMissing", &StatusMessage::openNoFolder, "❌ เปิดโฟลเดอร์ไม่ได้"}),
    caseName);

class MessageAboutAState : public StatusMessage
{};

TEST_P(MessageAboutAState, StaysThoughAnEarlierOneWasToBeCleared)
{
    ASSERT_TRUE(openPictures());
    viewer->labels().showStatus(u"earlier"_s, true);
    (this->*GetParam().command)();
    ASSERT_EQ(statusText(), GetParam().text); // no event has been served
    EXPECT_FALSE(viewer->labels().isStatusTemporary());
}

INSTANTIATE_TEST_SUITE_P(
    States, MessageAboutAState,
    testing::Values(MessageCase{"loupe", &StatusMessage::zoom, "🔍 100% — ลากเพื่อแพน ปล่อยเพื่อกลับ"},
                    MessageCase{"crop", &StatusMessage::applyCrop, "⏳ กำลังประมวลผล..."},
                    MessageCase{"undo", &StatusMessage::undoTheOnly, "⏳ กำลังย้อน..."}),
    caseName);

} // namespace
} // namespace tavolin
