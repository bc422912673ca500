#include "app/EditFixture.h"

#include "decoding/metadata/Exiv2Access.h"
#include "editing/CropOverlayView.h"
#include "logic/Printing.h"
#include "pictures/Exif.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "pixels/DisplayPicture.h"
#include "screen/TextLabel.h"
#include "screen/ViewerView.h"

#include <QColorSpace>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <utility>

#include <exiv2/exiv2.hpp>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

using namespace test;

class CountingReader : public InProcessReader
{
public:
    [[nodiscard]] DisplayPicture loadDisplayPicture(const std::filesystem::path &url,
                                                    const DisplayTarget &target, Urgency urgency,
                                                    std::stop_token stop) const override
    {
        ++decodes;
        return InProcessReader::loadDisplayPicture(url, target, urgency, std::move(stop));
    }

    mutable std::atomic<int> decodes = 0;
};

class EditHistory : public EditFixture
{
protected:
    void undo() const { press(Qt::Key_Z, Qt::ControlModifier); }

    [[nodiscard]] bool isMarkedAsEdited() const
    {
        return infoText().find(EDITED_MARKER) != std::string::npos;
    }
};

TEST_F(EditHistory, WithoutStepsThereIsNothingToUndo)
{
    ASSERT_TRUE(openPictures());
    const Image before = viewer->screen().imageLayer().contents;
    undo();
    EXPECT_EQ(statusText(), NOTHING_TO_UNDO);
    EXPECT_TRUE(viewer->screen().imageLayer().contents.isSameAs(before));
}

TEST_F(EditHistory, WithoutAPictureThereIsNothingToUndo)
{
    start({"--bench"});
    undo();
    EXPECT_EQ(statusText(), NOTHING_TO_UNDO);
}

TEST_F(EditHistory, UndoOfTheOnlyStepShowsTheSourceAgain)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    undo();
    EXPECT_EQ(statusText(), "⏳ กำลังย้อน...");
    ASSERT_TRUE(waitForStatus(BACK_TO_SOURCE));
    EXPECT_EQ(shownSize(), QSize(400, 300));
    EXPECT_EQ(viewer->screen().imageLayer().contents.row(299)[399], 0xffffff00);
    EXPECT_FALSE(isMarkedAsEdited());
}

TEST_F(EditHistory, UndoOfTheOnlyStepLeavesNothingToSave)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    undo();
    ASSERT_TRUE(waitForStatus(BACK_TO_SOURCE));
    press(Qt::Key_S);
    EXPECT_EQ(statusText(), "ยังไม่มีการแก้ไข — X=ครอป/หมุน");
}

TEST_F(EditHistory, SeveralQuickUndosAreAllCarriedOut)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    ASSERT_TRUE(crop(TOP_HALF));
    ASSERT_TRUE(crop(LEFT_HALF));
    undo();
    undo();
    EXPECT_TRUE(waitForStatus("↩️ ย้อนแล้ว (เหลือ 1 ขั้น)"));
    EXPECT_EQ(shownSize(), QSize(200, 300));
    EXPECT_TRUE(isMarkedAsEdited());
}

TEST_F(EditHistory, NavigationDropsTheEditsWithoutAQuestion)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    press(Qt::Key_Right);
    EXPECT_EQ(infoText(), "2/3 | 1.png   [H=วิธีใช้]");
    press(Qt::Key_Left);
    ASSERT_TRUE(waitForShown({400, 300}));
    EXPECT_EQ(infoText(), "1/3 | 0.png   [H=วิธีใช้]");
    undo();
    EXPECT_EQ(statusText(), NOTHING_TO_UNDO);
}

TEST_F(EditHistory, UneditedPictureReturnsWhenTheNextFileCanNotBeShown)
{
    ASSERT_TRUE(openPictures());
    folder.write("pictures/1.png", "no picture any more");
    ASSERT_TRUE(crop(LEFT_HALF));
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForShown({400, 300}));
    EXPECT_EQ(infoText(), "2/3 | 1.png   [H=วิธีใช้]");
    EXPECT_TRUE(viewer->browser().isCurrentShown());
    EXPECT_EQ(viewer->browser().currentIndex(), 0);
}

TEST_F(EditHistory, JumpDropsTheEdits)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    viewer->browser().jumpTo(2);
    EXPECT_EQ(infoText(), "3/3 | 2.png   [H=วิธีใช้]");
    undo();
    EXPECT_EQ(statusText(), NOTHING_TO_UNDO);
}

TEST_F(EditHistory, StepThatStopsAtTheEndKeepsTheEdits)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    press(Qt::Key_Left);
    viewer->browser().jumpTo(0);
    EXPECT_TRUE(isMarkedAsEdited());
    EXPECT_EQ(shownSize(), QSize(200, 300));
}

TEST_F(EditHistory, OpeningAFolderDropsTheEdits)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    open(pictures);
    EXPECT_FALSE(isMarkedAsEdited());
    undo();
    EXPECT_EQ(statusText(), NOTHING_TO_UNDO);
    EXPECT_TRUE(waitForShown({400, 300}));
}

TEST_F(EditHistory, UndoOfAFileThatHasGoneFailsAndTheStepStaysRemoved)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    ASSERT_TRUE(crop(TOP_HALF));
    std::filesystem::remove(pictures / "0.png");
    undo();
    EXPECT_TRUE(waitForStatus("❌ ย้อนไม่สำเร็จ"));
    EXPECT_EQ(shownSize(), QSize(200, 150));
    undo();
    EXPECT_TRUE(waitForStatus("❌ ย้อนไม่สำเร็จ"));
    undo();
    EXPECT_EQ(statusText(), NOTHING_TO_UNDO);
}

TEST_F(EditHistory, UndoneEditOfAPictureThatWasLeftIsDropped)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    ASSERT_TRUE(crop(TOP_HALF));
    undo();
    press(Qt::Key_Right); // decoded behind the undo
    ASSERT_TRUE(
        waitFor([this] { return viewer->screen().imageLayer().contents.row(0)[0] == 0xff112233; }));
    EXPECT_EQ(shownSize(), QSize(400, 300));
    EXPECT_FALSE(isMarkedAsEdited());
    EXPECT_EQ(statusText(), "");
    press(Qt::Key_S);
    EXPECT_EQ(statusText(), "ยังไม่มีการแก้ไข — X=ครอป/หมุน");
}

TEST_F(EditHistory, EndOfAnUndoDoesNotWipeANewerMessageOfAState)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    undo();
    viewer->labels().showStatus(u"a newer state"_s, false);
    ASSERT_TRUE(waitForShown({400, 300}));
    EXPECT_EQ(statusText(), "a newer state");
}

TEST_F(EditHistory, EndOfAnUndoThatWasLeftDoesNotWipeANewerMessage)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    undo();
    press(Qt::Key_Right); // decoded behind the undo
    viewer->labels().showStatus(u"newer"_s, false);
    ASSERT_TRUE(
        waitFor([this] { return viewer->screen().imageLayer().contents.row(0)[0] == 0xff112233; }));
    EXPECT_EQ(statusText(), "newer");
}

TEST_F(EditHistory, FailureOfAnUndoTakesThePlaceOfANewerMessage)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    std::filesystem::remove(pictures / "0.png");
    undo();
    viewer->labels().showStatus(u"a newer state"_s, false);
    EXPECT_TRUE(waitForStatus("❌ ย้อนไม่สำเร็จ"));
}

TEST_F(EditHistory, UndoForAViewerThatHasGoneIsDropped)
{
    const CountingReader counting;
    makeViewer(counting);
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    const int seen = mailbox.deliveries;
    undo();
    press(Qt::Key_Right); // decoded behind the undo
    ASSERT_TRUE(waitWithoutEvents([&counting] { return counting.decodes == 2; }));
    viewer.reset();
    EXPECT_TRUE(waitFor([&] { return mailbox.deliveries > seen; }));
}

TEST_F(EditHistory, CropModeWaitsForAnUndoAndIsThenEntered)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    undo();
    press(Qt::Key_X);
    EXPECT_EQ(overlay(), nullptr);
    ASSERT_TRUE(waitForStatus(BACK_TO_SOURCE));
    EXPECT_NE(overlay(), nullptr);
    EXPECT_EQ(shownSize(), QSize(400, 300));
}

TEST_F(EditHistory, CropModeWaitsForAnUndoThatIsAskedForAfterIt)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    ASSERT_TRUE(crop(TOP_HALF));
    undo();
    press(Qt::Key_X);
    undo();
    ASSERT_TRUE(waitForStatus(BACK_TO_SOURCE));
    EXPECT_NE(overlay(), nullptr);
    press(Qt::Key_Escape); // to what was there before
    EXPECT_EQ(shownSize(), QSize(400, 300));
}

TEST_F(EditHistory, HeldCropKeyDuringAnUndoEntersCropModeOnce)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    undo();
    for (int i = 0; i < 3; ++i)
        press(Qt::Key_X);
    ASSERT_TRUE(waitForStatus(BACK_TO_SOURCE));
    serveWaitingEvents();
    EXPECT_NE(overlay(), nullptr); // a second time would have applied the box
}

TEST_F(EditHistory, CropModeThatWaitsForAnUndoIsForgottenWithThePicture)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    undo();
    press(Qt::Key_X);
    press(Qt::Key_Right);
    ASSERT_TRUE(
        waitFor([this] { return viewer->screen().imageLayer().contents.row(0)[0] == 0xff112233; }));
    EXPECT_EQ(overlay(), nullptr);
}

TEST_F(EditHistory, SaveDuringAnUndoWritesWhatTheUndoGives)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    ASSERT_TRUE(crop(TOP_HALF));
    undo();
    press(Qt::Key_S);
    ASSERT_TRUE(waitForStatus("💾 บันทึกแล้ว → Edit/0.jpg"));
    EXPECT_EQ(QImage(QString::fromStdString(pictures / "Edit" / "0.jpg")).size(), QSize(200, 300));
}

TEST_F(EditHistory, SaveBetweenTwoQuickUndosWritesWhatTheFirstGives)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    ASSERT_TRUE(crop(TOP_HALF));
    ASSERT_TRUE(crop(LEFT_HALF));
    undo();
    press(Qt::Key_S);
    undo();
    ASSERT_TRUE(waitForShown({200, 300}));
    ASSERT_TRUE(waitForFileWork());
    EXPECT_EQ(QImage(QString::fromStdString(pictures / "Edit" / "0.jpg")).size(), QSize(200, 150));
}

TEST_F(EditHistory, SaveDuringTheUndoOfTheOnlyStepHasNothingToWrite)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    undo();
    press(Qt::Key_S);
    ASSERT_TRUE(waitForStatus("ยังไม่มีการแก้ไข — X=ครอป/หมุน"));
    EXPECT_FALSE(std::filesystem::exists(pictures / "Edit"));
}

TEST_F(EditHistory, ResultThatArrivesInTheLoupeEndsIt)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    undo();
    viewer->loupe().zoomBegin({400, 300});
    ASSERT_TRUE(waitForStatus(BACK_TO_SOURCE));
    EXPECT_EQ(viewer->screen().imageLayer().gravity, Gravity::ResizeAspect);
    EXPECT_EQ(viewer->screen().imageLayer().frame, QRectF(0, 0, 800, 600));
}

TEST_F(EditHistory, FactsReadMeanwhileDoNotChangeTheSizeOfAnEditedPicture)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop({0, 0, 0.5, 1.0 / 3})); // 200 by 100
    ASSERT_TRUE(pauses.end(INFO_PAUSE));
    ASSERT_TRUE(waitFor([this] { return detailText().starts_with("400×300"); }));
    press(Qt::Key_X);
    EXPECT_EQ(overlay()->ratioName().toStdString(), "Original");
    EXPECT_EQ(overlay()->ratio(), 2.0);
}

/// With a photo of 1200x900 pixels whose file stores it lying on its side, in a window of 400x300
/// points: what is on screen has fewer pixels than the photo and its edits.
class EditOfALargePhoto : public EditFixture
{
protected:
    EditOfALargePhoto() { std::filesystem::create_directory(pictures); }

    /// Opens the photo @p upright and crops its left half.
    [[nodiscard]] testing::AssertionResult openAndCrop(const QImage &upright)
    {
        start({"--bench",
               folder.write("pictures/0.jpg",
                            pictures::encodeJpeg(pictures::storedFor(upright, 6),
                                                 {.iccProfile = upright.colorSpace().iccProfile(),
                                                  .exif = pictures::exifBlock(6)}))});
        if (!resizeTo({400, 300}) || !waitFor([this] { return !shownSize().isEmpty(); }))
            return testing::AssertionFailure() << "the photo is not shown";
        if (!crop(LEFT_HALF))
            return testing::AssertionFailure() << "the photo is not cropped";
        if (shownSize().height() >= EDITED_SIZE.height())
            return testing::AssertionFailure() << "what is shown is not made for the window";
        return testing::AssertionSuccess();
    }

    /// Presses the mouse in the middle of the view, where the picture is.
    void zoom() const { viewer->loupe().zoomBegin({200, 150}); }

    static constexpr QSize SIZE{1200, 900};
    static constexpr QSize EDITED_SIZE{600, 900};
};

TEST_F(EditOfALargePhoto, IsInTheLoupeAtOnceAndReadsNoFile)
{
    ASSERT_TRUE(openAndCrop(pictures::fourQuarters(SIZE)));
    std::filesystem::remove(pictures / "0.jpg");
    zoom();
    EXPECT_EQ(shownSize(), EDITED_SIZE); // no event has been served
    EXPECT_EQ(viewer->screen().imageLayer().gravity, Gravity::Resize);
    EXPECT_EQ(viewer->screen().imageLayer().frame.size(), QSizeF(600, 900));
}

TEST_F(EditOfALargePhoto, StaysInTheLoupeWhenWhatWasAskedForHasBeenDone)
{
    ASSERT_TRUE(openAndCrop(pictures::fourQuarters(SIZE)));
    zoom();
    viewer->screen().setCurrentPixelSize({});
    bool isRead = false; // behind whatever the loupe might have asked for
    viewer->browser().whenSizeIsKnown([&isRead] { isRead = true; });
    ASSERT_TRUE(waitFor([&isRead] { return isRead; }));
    EXPECT_EQ(shownSize(), EDITED_SIZE);
}

TEST_F(EditOfALargePhoto, IsConvertedForTheLoupeAndReadsNoFile)
{
    QImage photo(SIZE, QImage::Format_RGB32);
    photo.fill(qRgb(200, 100, 100));
    photo.setColorSpace(QColorSpace::DisplayP3);
    ASSERT_TRUE(openAndCrop(photo));
    std::filesystem::remove(pictures / "0.jpg");
    zoom();
    ASSERT_TRUE(waitForShown(EDITED_SIZE));
    const QRgb color = viewer->screen().imageLayer().contents.row(450)[300];
    EXPECT_NEAR(qRed(color), 215, 2); // in sRGB, rounded
    EXPECT_NEAR(qGreen(color), 93, 2);
}

TEST_F(EditOfALargePhoto, IsSavedInFullWithTheMetadataOfItsSource)
{
    ASSERT_TRUE(openAndCrop(pictures::fourQuarters(SIZE)));
    press(Qt::Key_S);
    ASSERT_TRUE(waitForStatus("💾 บันทึกแล้ว → Edit/0.jpg"));
    const auto saved = pictures / "Edit" / "0.jpg";
    EXPECT_EQ(QImage(QString::fromStdString(saved)).size(), EDITED_SIZE);
    const auto file = SourceFile::open(saved);
    ASSERT_TRUE(file);
    ASSERT_TRUE(withMetadata(*file, [](Exiv2::Image &image) {
        Exiv2::ExifData &exif = image.exifData();
        EXPECT_EQ(exif["Exif.Photo.PixelXDimension"].toString(), "600");
        EXPECT_EQ(exif["Exif.Photo.PixelYDimension"].toString(), "900");
        EXPECT_EQ(exif["Exif.Image.Orientation"].toString(), "1");
        EXPECT_EQ(exif["Exif.Image.Model"].toString(), "TestCamera");
    }));
}

class SaveEdited : public EditFixture
{};

TEST_F(SaveEdited, WithoutEditsSaysSo)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_S);
    EXPECT_EQ(statusText(), "ยังไม่มีการแก้ไข — X=ครอป/หมุน");
    EXPECT_FALSE(std::filesystem::exists(pictures / "Edit"));
}

TEST_F(SaveEdited, WritesAJpegBesideTheSource)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(TOP_LEFT_QUARTER));
    press(Qt::Key_S);
    ASSERT_TRUE(waitForStatus("💾 บันทึกแล้ว → Edit/0.jpg"));
    const QImage saved(QString::fromStdString(pictures / "Edit" / "0.jpg"));
    ASSERT_EQ(saved.size(), QSize(200, 150));
    EXPECT_GT(qRed(saved.pixel(100, 75)), 250);
    EXPECT_LT(qGreen(saved.pixel(100, 75)), 5);
}

TEST_F(SaveEdited, TwiceReportsSuccessTwice)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(TOP_LEFT_QUARTER));
    press(Qt::Key_S);
    ASSERT_TRUE(waitForFileWork());
    viewer->labels().showStatus({}, false);
    press(Qt::Key_S);
    EXPECT_TRUE(waitForStatus("💾 บันทึกแล้ว → Edit/0.jpg"));
}

TEST_F(SaveEdited, SavedPictureCanBeUndone)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(TOP_LEFT_QUARTER));
    press(Qt::Key_S);
    ASSERT_TRUE(waitForFileWork());
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(waitForStatus(BACK_TO_SOURCE));
}

TEST_F(SaveEdited, FolderThatCannotBeMadeIsReportedAndTheEditKept)
{
    ASSERT_TRUE(openPictures());
    folder.write("pictures/Edit", "a file");
    ASSERT_TRUE(crop(TOP_LEFT_QUARTER));
    press(Qt::Key_S);
    ASSERT_TRUE(waitForStatus("❌ สร้างโฟลเดอร์ Edit ไม่ได้"));
    std::filesystem::remove(pictures / "Edit");
    press(Qt::Key_S);
    EXPECT_TRUE(waitForStatus("💾 บันทึกแล้ว → Edit/0.jpg"));
}

TEST_F(SaveEdited, DestinationThatIsTheSourceIsRefused)
{
    ASSERT_TRUE(openPictures());
    const auto source = folder.write("pictures/3.jpg", pngFile(pictures::fourQuarters({200, 100})));
    std::filesystem::create_symlink(".", pictures / "Edit");
    open(source);
    ASSERT_TRUE(waitForShown({200, 100}));
    ASSERT_TRUE(crop(TOP_LEFT_QUARTER));
    press(Qt::Key_S);
    EXPECT_TRUE(waitForStatus("❌ บันทึกไม่สำเร็จ"));
    EXPECT_EQ(QImage(QString::fromStdString(source)).size(), QSize(200, 100));
}

TEST_F(SaveEdited, PictureBesideTheSourceIsNotReplaced)
{
    ASSERT_TRUE(openPictures());
    const auto neighbour = folder.write("pictures/0.jpg", "another picture");
    std::filesystem::create_symlink(".", pictures / "Edit");
    ASSERT_TRUE(crop(TOP_LEFT_QUARTER));
    press(Qt::Key_S);
    EXPECT_TRUE(waitForStatus("❌ บันทึกไม่สำเร็จ"));
    EXPECT_EQ(std::filesystem::file_size(neighbour), 15U);
}

TEST_F(SaveEdited, DestinationThatCannotBeWrittenIsReported)
{
    ASSERT_TRUE(openPictures());
    std::filesystem::create_directories(pictures / "Edit" / "0.jpg" / "not empty");
    ASSERT_TRUE(crop(TOP_LEFT_QUARTER));
    press(Qt::Key_S);
    EXPECT_TRUE(waitForStatus("❌ บันทึกไม่สำเร็จ"));
}

TEST_F(SaveEdited, SourceThatHasGoneIsSavedWithoutMetadata)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(TOP_LEFT_QUARTER));
    std::filesystem::remove(pictures / "0.png");
    press(Qt::Key_S);
    EXPECT_TRUE(waitForStatus("💾 บันทึกแล้ว → Edit/0.jpg"));
    EXPECT_EQ(QImage(QString::fromStdString(pictures / "Edit" / "0.jpg")).size(), QSize(200, 150));
}

} // namespace
} // namespace tavolin
