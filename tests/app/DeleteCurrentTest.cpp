#include "app/ViewerFixture.h"

#include "screen/ViewerView.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

using test::waitFor;
using Names = std::vector<std::string>;
using Numbers = std::vector<int>;

constexpr auto DELETED = "🗑 ลบแล้ว";

class DeleteCurrent : public test::ViewerFixture
{
protected:
    /// Waits until the info line is @p text.
    [[nodiscard]] bool waitForInfo(const std::string &text) const
    {
        return waitFor([&] { return infoText() == text; });
    }

    [[nodiscard]] bool waitForShown(int number) const
    {
        return waitFor([&] { return shownNumber() == number; });
    }

    /// Waits until so many moves to the Trash have begun.
    [[nodiscard]] bool waitForAsked(std::size_t count) const
    {
        return waitFor([&] { return trash.asked().size() == count; });
    }
};

TEST_F(DeleteCurrent, MiddlePictureGivesWayToItsSuccessor)
{
    ASSERT_TRUE(startOnPictures(4, 1));
    press(Qt::Key_D);
    ASSERT_TRUE(waitForInfo("2/3 | 002.jpg   [H=วิธีใช้]"));
    EXPECT_EQ(statusText(), DELETED);
    EXPECT_TRUE(waitForShown(2));
    EXPECT_EQ(trash.files(), Names{"001.jpg"});
}

TEST_F(DeleteCurrent, LastPictureGivesWayToTheNewLast)
{
    ASSERT_TRUE(startOnPictures(3, 2));
    press(Qt::Key_D);
    ASSERT_TRUE(waitForInfo("2/2 | 001.jpg   [H=วิธีใช้]"));
    EXPECT_EQ(statusText(), DELETED);
    EXPECT_TRUE(waitForShown(1));
}

TEST_F(DeleteCurrent, OnlyPictureLeavesAnEmptyBlackFolder)
{
    ASSERT_TRUE(startOnPictures(1));
    press(Qt::Key_D);
    ASSERT_TRUE(waitForInfo("โฟลเดอร์ว่างแล้ว — กด O เปิดใหม่"));
    EXPECT_EQ(shownNumber(), std::nullopt);
    EXPECT_EQ(statusText(), "");
    EXPECT_EQ(trash.files(), Names{"000.jpg"});
}

TEST_F(DeleteCurrent, EmptiedFolderStaysBlackWhenTheMouseIsLetGo)
{
    ASSERT_TRUE(startOnPictures(1));
    viewer->loupe().zoomBegin(QRectF(view->rect()).center());
    press(Qt::Key_D);
    ASSERT_TRUE(waitForInfo("โฟลเดอร์ว่างแล้ว — กด O เปิดใหม่"));
    viewer->loupe().zoomEnd();
    EXPECT_EQ(shownNumber(), std::nullopt);
}

TEST_F(DeleteCurrent, WithoutAListNothingHappens)
{
    start({"--bench"});
    press(Qt::Key_D);
    EXPECT_TRUE(trash.asked().empty());
    EXPECT_EQ(statusText(), "");
}

TEST_F(DeleteCurrent, PhysicalKeyDeletesUnderAThaiLayout)
{
    constexpr int THAI_KO_KAI = 0xe01; // what the key D writes in Thai
    ASSERT_TRUE(startOnPictures(2));
    EXPECT_TRUE(send(test::pressAt(32, 2, THAI_KO_KAI)));
    EXPECT_TRUE(waitForInfo("1/1 | 001.jpg   [H=วิธีใช้]"));
}

TEST_F(DeleteCurrent, EveryPressDeletesOneFile)
{
    ASSERT_TRUE(startOnPictures(6, 1));
    decoder.closeGate(); // no need to have seen a picture
    for (const char *info : {"2/5 | 002.jpg", "2/4 | 003.jpg", "2/3 | 004.jpg"}) {
        press(Qt::Key_D);
        ASSERT_TRUE(waitForInfo(info + std::string("   [H=วิธีใช้]")));
    }
    EXPECT_EQ(trash.files(), (Names{"001.jpg", "002.jpg", "003.jpg"}));
}

TEST_F(DeleteCurrent, PressForAFileThatIsOnItsWayAsksForNothing)
{
    ASSERT_TRUE(startOnPictures(3));
    trash.closeGate();
    for (int i = 0; i < 3; ++i)
        press(Qt::Key_D);
    trash.openGate();
    ASSERT_TRUE(waitForInfo("1/2 | 001.jpg   [H=วิธีใช้]"));
    press(Qt::Key_D);
    ASSERT_TRUE(waitForInfo("1/1 | 002.jpg   [H=วิธีใช้]"));
    EXPECT_EQ(trash.asked(), (Names{"000.jpg", "001.jpg"}));
    EXPECT_EQ(statusText(), DELETED);
}

TEST_F(DeleteCurrent, ViewerStaysUsableWhileAFileIsOnItsWay)
{
    ASSERT_TRUE(startOnPictures(3));
    trash.closeGate();
    press(Qt::Key_D);
    ASSERT_TRUE(waitForAsked(1));
    press(Qt::Key_Right);
    EXPECT_TRUE(waitForShown(1));
    EXPECT_EQ(infoText(), "2/3 | 001.jpg   [H=วิธีใช้]");
}

TEST_F(DeleteCurrent, FailureIsReportedAndChangesNothing)
{
    ASSERT_TRUE(startOnPictures(3, 1));
    trash.failWith(u"no Trash here"_s);
    press(Qt::Key_D);
    ASSERT_TRUE(waitForStatus("❌ ลบไม่ได้: no Trash here"));
    EXPECT_EQ(infoText(), "2/3 | 001.jpg   [H=วิธีใช้]");
    EXPECT_EQ(shownNumber(), 1);
    EXPECT_EQ(decoder.started(), Numbers{1});
}

TEST_F(DeleteCurrent, TextThatActsIsTakenOutOfTheReason)
{
    ASSERT_TRUE(startOnPictures(1));
    trash.failWith(u"no\n\u202etrash"_s);
    press(Qt::Key_D);
    EXPECT_TRUE(waitForStatus("❌ ลบไม่ได้: no  trash"));
}

TEST_F(DeleteCurrent, FileCanBeAskedForAgainAfterAFailure)
{
    ASSERT_TRUE(startOnPictures(2));
    trash.failWith(u"no Trash here"_s);
    press(Qt::Key_D);
    ASSERT_TRUE(waitForStatus("❌ ลบไม่ได้: no Trash here"));
    press(Qt::Key_D);
    EXPECT_TRUE(waitForAsked(2));
}

TEST_F(DeleteCurrent, FileThatHasGoneIsReportedAndStaysInTheList)
{
    ASSERT_TRUE(startOnPictures(2));
    std::filesystem::remove(folder / "pictures" / "000.jpg");
    press(Qt::Key_D);
    ASSERT_TRUE(waitForStatus("❌ ลบไม่ได้: No such file or directory"));
    EXPECT_EQ(infoText(), "1/2 | 000.jpg   [H=วิธีใช้]");
}

TEST_F(DeleteCurrent, EntryThatGoesIsThatOfThePictureOnScreenInTheEnd)
{
    ASSERT_TRUE(startOnPictures(4));
    trash.closeGate();
    press(Qt::Key_D);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForShown(1));
    trash.openGate();
    ASSERT_TRUE(waitForInfo("2/3 | 002.jpg   [H=วิธีใช้]"));
    EXPECT_EQ(trash.files(), Names{"000.jpg"});
    press(Qt::Key_Left);
    EXPECT_EQ(infoText(), "1/3 | 000.jpg   [H=วิธีใช้]");
}

TEST_F(DeleteCurrent, TargetReturnsToThePlaceOfThePictureOnScreen)
{
    ASSERT_TRUE(startOnPictures(5));
    decoder.closeGate();
    for (int i = 0; i < 3; ++i)
        press(Qt::Key_Right);
    press(Qt::Key_D);
    ASSERT_TRUE(waitForInfo("1/4 | 001.jpg   [H=วิธีใช้]"));
    decoder.openGate();
    EXPECT_TRUE(waitForShown(1));
}

TEST_F(DeleteCurrent, DecodeUnderWayIsShownAtTheNewPlaceOfItsFile)
{
    ASSERT_TRUE(startOnPictures(4));
    decoder.closeGate();
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForStarts(2)); // 001.jpg, at what is going to be the place of 002.jpg
    press(Qt::Key_D);
    ASSERT_TRUE(waitForInfo("1/3 | 001.jpg   [H=วิธีใช้]"));
    decoder.openGate();
    ASSERT_TRUE(waitForShown(1));
    press(Qt::Key_Right);
    EXPECT_TRUE(waitForShown(2));
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 2}));
}

TEST_F(DeleteCurrent, DecodeUnderWayOfWhatIsNoLongerTheTargetIsKept)
{
    ASSERT_TRUE(startOnPictures(4));
    decoder.closeGate();
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForStarts(2));
    press(Qt::Key_Right);
    press(Qt::Key_D); // 000.jpg, after which 001.jpg is the target
    ASSERT_TRUE(waitForInfo("1/3 | 001.jpg   [H=วิธีใช้]"));
    press(Qt::Key_Right);
    decoder.openGate();
    ASSERT_TRUE(waitForShown(2));
    press(Qt::Key_Left);
    EXPECT_EQ(shownNumber(), 1);
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 2}));
}

TEST_F(DeleteCurrent, DecodeUnderWayOfTheFileThatGoesIsNotShown)
{
    ASSERT_TRUE(startOnPictures(3, 1));
    trash.closeGate();
    press(Qt::Key_D);
    ASSERT_TRUE(waitForAsked(1));
    open(folder / "pictures"); // anew
    ASSERT_TRUE(waitForShown(0));
    decoder.closeGate();
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForStarts(3)); // 001.jpg
    trash.openGate();
    ASSERT_TRUE(waitForInfo("2/2 | 002.jpg   [H=วิธีใช้]"));
    decoder.letOneThrough();
    ASSERT_TRUE(waitForStarts(4));
    EXPECT_EQ(shownNumber(), 0);
    decoder.openGate();
    EXPECT_TRUE(waitForShown(2));
}

TEST_F(DeleteCurrent, NeighbourThatIsBeingDecodedIsKept)
{
    ASSERT_TRUE(startOnPictures(4));
    decoder.hold(2);
    ASSERT_TRUE(pauses.end(test::PREFETCH_PAUSE));
    ASSERT_TRUE(waitFor([this] { return decoder.started() == Numbers{0, 1, 2}; }));
    press(Qt::Key_D);
    ASSERT_TRUE(waitForShown(1));
    decoder.release(2);
    ASSERT_TRUE(waitFor([this] { return viewer->browser().isReady(1); }));
    press(Qt::Key_Right);
    EXPECT_EQ(shownNumber(), 2);
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 2, 1}));
}

TEST_F(DeleteCurrent, NeighboursOfTheOldListAreDecodedAnew)
{
    ASSERT_TRUE(startOnPictures(3));
    ASSERT_TRUE(prefetch(2));
    press(Qt::Key_D);
    ASSERT_TRUE(waitForShown(1));
    press(Qt::Key_Right);
    EXPECT_TRUE(waitForShown(2));
    EXPECT_EQ(decoder.started(), (Numbers{0, 1, 2, 1, 2}));
}

TEST_F(DeleteCurrent, FolderOpenedMeanwhileLosesNoPicture)
{
    ASSERT_TRUE(startOnPictures(3));
    const auto second = makePictures("second", 100, 102);
    trash.closeGate();
    press(Qt::Key_D);
    ASSERT_TRUE(waitForAsked(1));
    open(second);
    trash.openGate();
    ASSERT_TRUE(waitForStatus(DELETED));
    EXPECT_EQ(infoText(), "1/3 | 100.jpg   [H=วิธีใช้]");
    EXPECT_EQ(trash.files(), Names{"000.jpg"});
}

TEST_F(DeleteCurrent, FailureInAnEarlierFolderIsReported)
{
    ASSERT_TRUE(startOnPictures(3));
    const auto second = makePictures("second", 100, 102);
    trash.failWith(u"no Trash here"_s);
    trash.closeGate();
    press(Qt::Key_D);
    ASSERT_TRUE(waitForAsked(1));
    open(second);
    trash.openGate();
    EXPECT_TRUE(waitForStatus("❌ ลบไม่ได้: no Trash here"));
}

TEST_F(DeleteCurrent, FolderOpenedAnewMeanwhileLosesTheFile)
{
    ASSERT_TRUE(startOnPictures(3));
    trash.closeGate();
    press(Qt::Key_D);
    ASSERT_TRUE(waitForAsked(1));
    open(folder / "pictures");
    trash.openGate();
    ASSERT_TRUE(waitForInfo("1/2 | 001.jpg   [H=วิธีใช้]"));
    EXPECT_EQ(statusText(), DELETED);
    EXPECT_TRUE(waitForShown(1));
}

TEST_F(DeleteCurrent, FolderOpenedAnewAtALaterPictureStaysThere)
{
    ASSERT_TRUE(startOnPictures(4));
    trash.closeGate();
    press(Qt::Key_D);
    ASSERT_TRUE(waitForAsked(1));
    open(folder / "pictures" / "002.jpg");
    ASSERT_TRUE(waitForShown(2));
    trash.openGate();
    ASSERT_TRUE(waitForInfo("2/3 | 002.jpg   [H=วิธีใช้]"));
    EXPECT_EQ(shownNumber(), 2);
    press(Qt::Key_Left);
    EXPECT_TRUE(waitForShown(1));
    EXPECT_EQ(infoText(), "1/3 | 001.jpg   [H=วิธีใช้]");
}

TEST_F(DeleteCurrent, PictureOnScreenIsNotDecodedAgainWhenAnotherGoes)
{
    ASSERT_TRUE(startOnPictures(5));
    trash.closeGate();
    press(Qt::Key_D);
    ASSERT_TRUE(waitForAsked(1));
    open(folder / "pictures" / "002.jpg");
    ASSERT_TRUE(waitForShown(2));
    trash.openGate();
    ASSERT_TRUE(waitForInfo("2/4 | 002.jpg   [H=วิธีใช้]"));
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForShown(3));
    EXPECT_EQ(decoder.started(), (Numbers{0, 2, 3}));
}

TEST_F(DeleteCurrent, FolderOpenedAnewAtAnEarlierPictureStaysThere)
{
    ASSERT_TRUE(startOnPictures(4, 3));
    trash.closeGate();
    press(Qt::Key_D);
    ASSERT_TRUE(waitForAsked(1));
    open(folder / "pictures" / "001.jpg");
    ASSERT_TRUE(waitForShown(1));
    trash.openGate();
    ASSERT_TRUE(waitForInfo("2/3 | 001.jpg   [H=วิธีใช้]"));
    press(Qt::Key_Right);
    press(Qt::Key_Right);
    EXPECT_EQ(infoText(), "3/3 | 002.jpg   [H=วิธีใช้]");
    EXPECT_TRUE(waitForShown(2));
}

TEST_F(DeleteCurrent, TargetInAFolderOpenedAnewStaysThatPicture)
{
    ASSERT_TRUE(startOnPictures(5));
    trash.closeGate();
    press(Qt::Key_D);
    ASSERT_TRUE(waitForAsked(1));
    open(folder / "pictures" / "001.jpg");
    ASSERT_TRUE(waitForShown(1));
    decoder.closeGate();
    press(Qt::Key_Right);
    press(Qt::Key_Right);
    trash.openGate();
    ASSERT_TRUE(waitForInfo("3/4 | 003.jpg   [H=วิธีใช้]"));
    decoder.openGate();
    EXPECT_TRUE(waitForShown(3));
}

TEST_F(DeleteCurrent, TargetThatGoesFromAFolderOpenedAnewGivesWayToTheNewLast)
{
    ASSERT_TRUE(startOnPictures(3, 2));
    trash.closeGate();
    press(Qt::Key_D);
    ASSERT_TRUE(waitForAsked(1));
    open(folder / "pictures");
    ASSERT_TRUE(waitForShown(0));
    decoder.closeGate();
    press(Qt::Key_Right);
    press(Qt::Key_Right);
    trash.openGate();
    ASSERT_TRUE(waitForInfo("2/2 | 001.jpg   [H=วิธีใช้]"));
    decoder.openGate();
    EXPECT_TRUE(waitForShown(1));
}

TEST_F(DeleteCurrent, QuittingWaitsForAllFilesThatAreOnTheirWay)
{
    ASSERT_TRUE(startOnPictures(4));
    trash.closeGate();
    for (int number = 0; number < 4; ++number) {
        ASSERT_TRUE(waitForShown(number));
        press(Qt::Key_D);
        press(Qt::Key_Right);
    }
    EXPECT_TRUE(test::endsTheApplication([this] {
        press(Qt::Key_Escape);
        trash.openGate();
    }));
    EXPECT_EQ(trash.files(), (Names{"000.jpg", "001.jpg", "002.jpg", "003.jpg"}));
}

TEST_F(DeleteCurrent, ResultForAViewerThatHasGoneIsDropped)
{
    ASSERT_TRUE(startOnPictures(2));
    press(Qt::Key_D);
    viewer.reset(); // waits for the move
    EXPECT_EQ(mailbox.deliveries, 1);
    EXPECT_TRUE(waitForLoads(2));
}

TEST_F(DeleteCurrent, OfTwoFilesOnTheirWayTheFirstStaysInTheListAndItsSuccessorGoes)
{
    ASSERT_TRUE(startOnPictures(4));
    trash.closeGate();
    press(Qt::Key_D);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForShown(1));
    press(Qt::Key_D);
    trash.openGate();
    ASSERT_TRUE(waitFor([this] { return infoText().starts_with("2/2 | 003.jpg"); }));
    EXPECT_EQ(trash.files(), (Names{"000.jpg", "001.jpg"}));
    press(Qt::Key_Left);
    EXPECT_EQ(infoText(), "1/2 | 000.jpg   [H=วิธีใช้]");
}

} // namespace
} // namespace tavolin
