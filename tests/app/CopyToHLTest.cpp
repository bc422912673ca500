#include "app/ViewerFixture.h"

#include "platform/FileSystems.h"

#include <gtest/gtest.h>

#include <set>

namespace tavolin {
namespace {

using test::contentOf;
using test::namesIn;
using Names = std::set<std::string>;

class CopyToHL : public test::ViewerFixture
{
protected:
    [[nodiscard]] std::filesystem::path picks() const { return folder / "pictures" / "HL"; }
};

TEST_F(CopyToHL, FirstPickMakesTheFolderAndTheCopy)
{
    ASSERT_TRUE(startOnPictures(3, 1));
    press(Qt::Key_A);
    ASSERT_TRUE(waitForStatus("✅ Auto Save to HL"));
    EXPECT_EQ(namesIn(picks()), Names{"001.jpg"});
    EXPECT_EQ(contentOf(picks() / "001.jpg"), contentOf(folder / "pictures" / "001.jpg"));
}

TEST_F(CopyToHL, SecondPickReplacesTheCopyAndSaysTheSame)
{
    ASSERT_TRUE(startOnPictures(1));
    press(Qt::Key_A);
    ASSERT_TRUE(waitForFileWork());
    folder.write("pictures/HL/000.jpg", "something else");
    viewer->labels().showStatus({}, false);
    press(Qt::Key_A);
    ASSERT_TRUE(waitForStatus("✅ Auto Save to HL"));
    EXPECT_EQ(namesIn(picks()), Names{"000.jpg"});
    EXPECT_EQ(contentOf(picks() / "000.jpg"), contentOf(folder / "pictures" / "000.jpg"));
}

TEST_F(CopyToHL, PickIsOfThePictureOnScreenNotOfTheTarget)
{
    ASSERT_TRUE(startOnPictures(4));
    decoder.closeGate();
    press(Qt::Key_Right);
    press(Qt::Key_Right);
    ASSERT_EQ(infoText(), "3/4 | 002.jpg   [H=วิธีใช้]");
    press(Qt::Key_A);
    ASSERT_TRUE(waitForFileWork());
    EXPECT_EQ(namesIn(picks()), Names{"000.jpg"});
}

TEST_F(CopyToHL, NothingIsPickedWhileThePictureOfAnotherFolderIsOnScreen)
{
    const auto second = makePictures("second", 100, 102);
    ASSERT_TRUE(startOnPictures(3));
    decoder.closeGate();
    open(second / "101.jpg");
    press(Qt::Key_A);
    ASSERT_TRUE(waitForFileWork());
    EXPECT_FALSE(std::filesystem::exists(second / "HL"));
    EXPECT_FALSE(std::filesystem::exists(picks()));
    decoder.openGate();
    ASSERT_TRUE(test::waitFor([this] { return shownNumber() == 101; }));
    press(Qt::Key_A);
    ASSERT_TRUE(waitForFileWork());
    EXPECT_EQ(namesIn(second / "HL"), Names{"101.jpg"});
}

TEST_F(CopyToHL, PickLeavesThePositionAndTheSource)
{
    ASSERT_TRUE(startOnPictures(3, 1));
    press(Qt::Key_A);
    ASSERT_TRUE(waitForFileWork());
    EXPECT_EQ(infoText(), "2/3 | 001.jpg   [H=วิธีใช้]");
    EXPECT_EQ(shownNumber(), 1);
    EXPECT_EQ(namesIn(folder / "pictures"), (Names{"000.jpg", "001.jpg", "002.jpg", "HL"}));
}

TEST_F(CopyToHL, WithoutAListNothingHappens)
{
    start({"--bench"});
    press(Qt::Key_A);
    EXPECT_EQ(statusText(), "");
}

TEST_F(CopyToHL, PhysicalKeyPicksUnderAThaiLayout)
{
    constexpr int THAI_FO_FAN = 0xe1f; // what the key A writes in Thai
    ASSERT_TRUE(startOnPictures(1));
    EXPECT_TRUE(send(test::pressAt(30, 0, THAI_FO_FAN)));
    ASSERT_TRUE(waitForFileWork());
    EXPECT_EQ(namesIn(picks()), Names{"000.jpg"});
}

TEST_F(CopyToHL, ReadOnlyFolderIsReportedAndTheListStays)
{
    ASSERT_TRUE(startOnPictures(3));
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    const test::ReadOnly readOnly(folder / "pictures");
    {
        const test::WithoutRoot withoutRoot;
        press(Qt::Key_A);
        ASSERT_TRUE(waitForFileWork());
    }
    EXPECT_EQ(statusText(), "❌ Error: ไม่มีสิทธิ์");
    EXPECT_EQ(infoText(), "1/3 | 000.jpg   [H=วิธีใช้]");
    EXPECT_EQ(namesIn(folder / "pictures").size(), 3U);
}

TEST_F(CopyToHL, PictureThatHasGoneIsReportedAndTheListStays)
{
    ASSERT_TRUE(startOnPictures(3));
    std::filesystem::remove(folder / "pictures" / "000.jpg");
    press(Qt::Key_A);
    ASSERT_TRUE(waitForFileWork());
    EXPECT_EQ(statusText(), "❌ Error: No such file or directory");
    EXPECT_EQ(infoText(), "1/3 | 000.jpg   [H=วิธีใช้]");
}

TEST_F(CopyToHL, PickIntoTheFolderItselfIsReportedAndRemovesNothing)
{
    ASSERT_TRUE(startOnPictures(1));
    std::filesystem::create_directory_symlink(".", picks());
    const std::string content = contentOf(folder / "pictures" / "000.jpg");
    press(Qt::Key_A);
    ASSERT_TRUE(waitForFileWork());
    EXPECT_EQ(statusText(), "❌ Error: ต้นฉบับกับสำเนาเป็นไฟล์เดียวกัน");
    EXPECT_EQ(contentOf(folder / "pictures" / "000.jpg"), content);
}

TEST_F(CopyToHL, PicksAreNotListed)
{
    ASSERT_TRUE(startOnPictures(2));
    press(Qt::Key_A);
    ASSERT_TRUE(waitForFileWork());
    open(folder / "pictures");
    EXPECT_EQ(infoText(), "1/2 | 000.jpg   [H=วิธีใช้]");
}

} // namespace
} // namespace tavolin
