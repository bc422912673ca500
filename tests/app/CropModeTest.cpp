#include "app/EditFixture.h"

#include "app/HelpView.h"
#include "editing/BarButton.h"
#include "editing/CropBar.h"
#include "editing/CropOverlayView.h"
#include "editing/CustomRatioDialog.h"
#include "logic/Printing.h"
#include "pictures/Picture.h"
#include "screen/TextLabel.h"
#include "screen/ViewerView.h"

#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPointer>
#include <QWindow>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <future>
#include <stop_token>
#include <string>
#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

using namespace test;

/// Counts how often all of a widget is painted.
class PaintCount : public QObject
{
public:
    explicit PaintCount(QWidget &watched) { watched.installEventFilter(this); }

    int count = 0;

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint &&
            static_cast<QPaintEvent *>(event)->region().boundingRect() ==
                static_cast<QWidget *>(watched)->rect())
            ++count;
        return false;
    }
};

class CropMode : public EditFixture
{
protected:
    /// Presses @p key @p count times.
    void pressOften(Qt::Key key, int count, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        for (int i = 0; i < count; ++i)
            press(key, modifiers);
    }

    /// Clicks the button @p label of the bar @p count times.
    void click(const QString &label, int count = 1) const
    {
        for (BarButton *button : bar()->findChildren<BarButton *>()) {
            if (button->text() != label)
                continue;
            for (int i = 0; i < count; ++i)
                QTest::mouseClick(button, Qt::LeftButton);
            return;
        }
        ADD_FAILURE() << "no button " << label.toStdString();
    }

    /// Asks for a ratio with its key and answers @p text.
    void enterRatio(const QString &text) const
    {
        press(Qt::Key_6);
        auto *dialog = window->findChild<CustomRatioDialog *>();
        ASSERT_NE(dialog, nullptr);
        auto *field = dialog->findChild<QLineEdit *>();
        field->clear();
        QTest::keyClicks(field, text);
        QTest::keyClick(field, Qt::Key_Return);
        ASSERT_TRUE(waitFor([this] { return !window->findChild<CustomRatioDialog *>(); }));
    }

    /// Shows one more picture, of 1600x1200 pixels and thus larger than the view, and enters crop
    /// mode.
    void cropLargePicture()
    {
        ASSERT_TRUE(openPictures());
        folder.write("pictures/large.png", pngFile(pictures::fourQuarters({1600, 1200})));
        open(pictures / "large.png");
        ASSERT_TRUE(waitFor([this] { return shownSize().width() > 400; }));
        ASSERT_LT(shownSize().width(), 1600);
        press(Qt::Key_X);
        ASSERT_NE(overlay(), nullptr);
    }

    /// As if the decode had not told the size of the picture on screen.
    void forgetSize() { viewer->screen().setCurrentPixelSize({}); }

    [[nodiscard]] std::string ratioName() const { return overlay()->ratioName().toStdString(); }
    [[nodiscard]] std::string angleText() const { return angleLabel()->text().toStdString(); }
    [[nodiscard]] QColor angleColor() const
    {
        return angleLabel()->palette().color(QPalette::WindowText);
    }

private:
    [[nodiscard]] QLabel *angleLabel() const { return bar()->findChild<QLabel *>(); }
};

TEST_F(CropMode, TurningPaintsThePictureOnce)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    serveWaitingEvents();
    PaintCount paints(*view);
    press(Qt::Key_BracketRight);
    ASSERT_TRUE(waitFor([&] { return paints.count > 0; }));
    serveWaitingEvents();
    EXPECT_EQ(paints.count, 1);
}

TEST_F(CropMode, WithoutAPictureXAndTDoNothing)
{
    start({"--bench"});
    press(Qt::Key_X);
    press(Qt::Key_T);
    EXPECT_EQ(overlay(), nullptr);
    EXPECT_EQ(bar(), nullptr);
}

TEST_F(CropMode, XAndTEnterIt)
{
    ASSERT_TRUE(openPictures());
    for (const Qt::Key key : {Qt::Key_X, Qt::Key_T}) {
        press(key);
        EXPECT_NE(overlay(), nullptr);
        EXPECT_NE(bar(), nullptr);
        press(Qt::Key_Escape);
        EXPECT_EQ(overlay(), nullptr);
        EXPECT_EQ(bar(), nullptr);
    }
}

TEST_F(CropMode, PictureIsInsetForTheBoxAndTheBar)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    // 5 % of 800 at the sides, 76 points above and below; 4 to 3 is as high as that.
    EXPECT_EQ(viewer->screen().imageAreaRect(), QRectF(40, 76, 720, 448));
    EXPECT_EQ(viewer->screen().imageLayer().rendition.size(), QSize(597, 448));
    press(Qt::Key_Escape);
    EXPECT_EQ(viewer->screen().imageAreaRect(), QRectF(0, 0, 800, 600));
    EXPECT_EQ(viewer->screen().imageLayer().rendition.size(), QSize(800, 600));
}

TEST_F(CropMode, BoxBeginsInTheMiddleInTheShapeOfThePicture)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    EXPECT_EQ(ratioName(), "Original");
    ASSERT_TRUE(overlay()->ratio());
    EXPECT_DOUBLE_EQ(*overlay()->ratio(), 400.0 / 300.0);
    const QRectF image = viewer->screen().fitRect();
    EXPECT_NEAR(overlay()->box().width(), 0.8 * image.width(), 1e-9);
    EXPECT_NEAR(overlay()->box().height(), 0.8 * image.height(), 1e-9);
    EXPECT_NEAR(overlay()->box().center().x(), 400, 1e-9);
    EXPECT_NEAR(overlay()->box().center().y(), 300, 1e-9);
}

TEST_F(CropMode, XAppliesAndTIsSwallowed)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    setBox(LEFT_HALF);
    press(Qt::Key_T);
    EXPECT_NE(overlay(), nullptr);
    press(Qt::Key_X);
    ASSERT_TRUE(waitForStatus(CROPPED));
    EXPECT_EQ(shownSize(), QSize(200, 300));
    EXPECT_EQ(overlay(), nullptr);
}

TEST_F(CropMode, ReturnAndKeypadEnterApply)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    setBox(LEFT_HALF);
    press(Qt::Key_Return);
    ASSERT_TRUE(waitForShown({200, 300}));
    press(Qt::Key_X);
    setBox(TOP_HALF);
    press(Qt::Key_Enter);
    EXPECT_TRUE(waitForShown({200, 150}));
}

TEST_F(CropMode, WhatIsInTheBoxIsWhatComesOut)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop({0.25, 0.25, 0.5, 0.5}));
    const Image &shown = viewer->screen().imageLayer().contents;
    ASSERT_EQ(shown.size(), QSize(200, 150));
    EXPECT_EQ(shown.row(0)[0], 0xffff0000);
    EXPECT_EQ(shown.row(74)[99], 0xffff0000);
    EXPECT_EQ(shown.row(74)[100], 0xff00ff00);
    EXPECT_EQ(shown.row(75)[99], 0xff0000ff);
    EXPECT_EQ(shown.row(149)[199], 0xffffff00);
}

TEST_F(CropMode, BusyMessageStaysUntilTheResultIsThere)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    press(Qt::Key_Return);
    EXPECT_EQ(statusText(), "⏳ กำลังประมวลผล...");
    EXPECT_NE(overlay(), nullptr);
    EXPECT_TRUE(waitForStatus(CROPPED));
}

TEST_F(CropMode, MarkerTellsThatThePictureIsEdited)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    const std::string marker =
        "  ✏️ แก้ไขแล้ว (S=บันทึก " UNDO_KEY_TEXT "=ย้อน)";
    EXPECT_EQ(infoText(), "1/3 | 0.png" + marker + "   [H=วิธีใช้]");
}

TEST_F(CropMode, NinetyOneStepsToTheRightStopAt45Degrees)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    pressOften(Qt::Key_BracketRight, 91);
    // The picture under the box is the square that fits at 45°: its side is the short one by √2.
    EXPECT_EQ(shownSize(), QSize(212, 212));
    press(Qt::Key_BracketLeft, Qt::ShiftModifier);
    pressOften(Qt::Key_BracketLeft, 86); // 45 − 2 − 43
    EXPECT_EQ(shownSize(), QSize(400, 300));
}

TEST_F(CropMode, ShiftTurnsByTwoDegreesAndStopsAtMinus45)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    pressOften(Qt::Key_BracketLeft, 22, Qt::ShiftModifier); // −44
    EXPECT_NE(shownSize(), QSize(212, 212));
    press(Qt::Key_BracketLeft, Qt::ShiftModifier);
    EXPECT_EQ(shownSize(), QSize(212, 212));
    pressOften(Qt::Key_BracketRight, 90); // −45 + 45
    EXPECT_EQ(shownSize(), QSize(400, 300));
}

TEST_F(CropMode, EscapeAfterRotatingRestoresThePictureAndRecordsNothing)
{
    ASSERT_TRUE(openPictures());
    const Image before = viewer->screen().imageLayer().contents;
    const Image renditionBefore = viewer->screen().imageLayer().rendition;
    press(Qt::Key_X);
    pressOften(Qt::Key_BracketRight, 3);
    EXPECT_FALSE(viewer->screen().imageLayer().contents.isSameAs(before));
    press(Qt::Key_Escape);
    EXPECT_TRUE(viewer->screen().imageLayer().contents.isSameAs(before));
    EXPECT_TRUE(viewer->screen().imageLayer().rendition.isSameAs(renditionBefore));
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(statusText(), NOTHING_TO_UNDO);
}

TEST_F(CropMode, PreviewIsNoLargerThanTheScreenNeeds)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(resizeTo({400, 300})); // the picture has 360 by 148 points, and 197 by 148 pixels
    press(Qt::Key_X);
    press(Qt::Key_BracketRight);
    EXPECT_LT(shownSize().width(), 260);
    EXPECT_GE(shownSize().width(), viewer->screen().imageLayer().rendition.width());
    pressOften(Qt::Key_BracketRight, 89);
    EXPECT_GE(shownSize().width(), viewer->screen().imageLayer().rendition.width());
}

TEST_F(CropMode, PreviewGrowsWithTheWindow)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(resizeTo({400, 300}));
    press(Qt::Key_X);
    press(Qt::Key_BracketRight);
    ASSERT_LT(shownSize().width(), 260);
    ASSERT_TRUE(resizeTo({800, 600}));       // more than all pixels of the picture
    EXPECT_EQ(shownSize(), QSize(397, 296)); // what fits into 400 by 300 turned by 0.5°
    EXPECT_EQ(viewer->screen().imageLayer().rendition.height(), 448);
}

TEST_F(CropMode, RotatedCropIsRecordedAsTwoSteps)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    pressOften(Qt::Key_BracketRight, 5, Qt::ShiftModifier); // 10°
    setBox(LEFT_HALF);
    press(Qt::Key_Return);
    ASSERT_TRUE(waitForStatus(CROPPED));
    EXPECT_EQ(shownSize(), QSize(182, 240)); // half of 363.77, rounded outward, by 240.49
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(waitForStatus("↩️ ย้อนแล้ว (เหลือ 1 ขั้น)"));
    EXPECT_EQ(shownSize(), QSize(363, 240));
}

TEST_F(CropMode, BoxUnderTwoPixelsIsRefused)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    setBox({0.5, 0.5, 0.004, 0.5}); // 1.6 pixels wide
    press(Qt::Key_Return);
    EXPECT_EQ(statusText(), BOX_TOO_SMALL);
    EXPECT_NE(overlay(), nullptr);
    EXPECT_EQ(shownSize(), QSize(400, 300));
}

TEST_F(CropMode, EditedPictureIsCroppedFurtherWithoutReadingItsFile)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    std::filesystem::remove(pictures / "0.png");
    ASSERT_TRUE(crop(TOP_HALF));
    EXPECT_EQ(shownSize(), QSize(200, 150));
    EXPECT_EQ(viewer->screen().imageLayer().contents.row(149)[199], 0xffff0000);
}

TEST_F(CropMode, FurtherCropAddsToTheSteps)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    ASSERT_TRUE(crop(TOP_HALF));
    press(Qt::Key_Z, Qt::ControlModifier);
    ASSERT_TRUE(waitForStatus("↩️ ย้อนแล้ว (เหลือ 1 ขั้น)"));
    EXPECT_EQ(shownSize(), QSize(200, 300));
}

TEST_F(CropMode, FileThatHasGoneFailsAndStaysInIt)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    std::filesystem::remove(pictures / "0.png");
    press(Qt::Key_Return);
    EXPECT_TRUE(waitForStatus("❌ ไม่สำเร็จ"));
    EXPECT_NE(overlay(), nullptr);
}

TEST_F(CropMode, DigitsSetTheRatio)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    press(Qt::Key_3);
    EXPECT_EQ(ratioName(), "1:1");
    EXPECT_EQ(overlay()->ratio(), 1.0);
    press(Qt::Key_4);
    EXPECT_EQ(ratioName(), "4:3");
    EXPECT_EQ(overlay()->ratio(), 4.0 / 3);
    press(Qt::Key_5);
    EXPECT_EQ(ratioName(), "16:9");
    EXPECT_EQ(overlay()->ratio(), 16.0 / 9);
    press(Qt::Key_2);
    EXPECT_EQ(ratioName(), "Original");
    EXPECT_EQ(overlay()->ratio(), 400.0 / 300);
    press(Qt::Key_1);
    EXPECT_EQ(ratioName(), "Free");
    EXPECT_EQ(overlay()->ratio(), std::nullopt);
}

TEST_F(CropMode, BeginsWhenTheSizeIsReadThatNobodyHasTold)
{
    ASSERT_TRUE(openPictures());
    forgetSize();
    press(Qt::Key_X);
    EXPECT_EQ(overlay(), nullptr);
    press(Qt::Key_X); // a held key
    ASSERT_TRUE(waitFor([this] { return overlay(); }));
    EXPECT_EQ(ratioName(), "Original");
    EXPECT_EQ(overlay()->ratio(), 400.0 / 300);
}

TEST_F(CropMode, DoesNotBeginForAUserWhoHasMovedOn)
{
    ASSERT_TRUE(openPictures());
    forgetSize();
    press(Qt::Key_X);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitFor([this] { return viewer->browser().currentIndex() == 1; }));
    test::serveWaitingEvents();
    EXPECT_EQ(overlay(), nullptr);
}

TEST_F(CropMode, OriginalRatioOfAPictureOfUnknownSizeLeavesTheRatioAlone)
{
    ASSERT_TRUE(openPictures());
    forgetSize();
    folder.write("pictures/0.png", "no picture any more");
    press(Qt::Key_X);
    ASSERT_TRUE(waitFor([this] { return overlay(); }));
    EXPECT_EQ(ratioName(), "Free");
    press(Qt::Key_3);
    press(Qt::Key_2);
    EXPECT_EQ(ratioName(), "1:1");
    EXPECT_FALSE(viewer->cropMode().imagePixelScale());
    press(Qt::Key_Return);
    EXPECT_EQ(statusText(), BOX_TOO_SMALL);
}

TEST_F(CropMode, BarSetsTheRatio)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    for (const char *name : {"Free", "1:1", "4:3", "16:9", "Original"}) {
        click(QString::fromUtf8(name));
        EXPECT_EQ(ratioName(), name);
    }
}

TEST_F(CropMode, BarTurnsTheBox)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    click(u"4:3"_s);
    click(u"⇄"_s);
    EXPECT_EQ(ratioName(), "3:4");
}

TEST_F(CropMode, BarTurnsThePictureTo45DegreesAndBack)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    click(u"↻"_s, 91);
    EXPECT_EQ(angleText(), "+45.0°");
    EXPECT_EQ(angleColor(), QColor(0, 191, 255));
    EXPECT_EQ(shownSize(), QSize(212, 212));
    click(u"Reset"_s);
    EXPECT_EQ(angleText(), "0.0°");
    EXPECT_EQ(angleColor(), QColor(255, 255, 255, 140)); // 55 %
    EXPECT_EQ(shownSize(), QSize(400, 300));
}

TEST_F(CropMode, BarTurnsThePictureLeft)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    click(u"↺"_s, 3);
    EXPECT_EQ(angleText(), "-1.5°");
    click(u"↺"_s, 88);
    EXPECT_EQ(angleText(), "-45.0°");
}

TEST_F(CropMode, BarApplies)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    setBox(LEFT_HALF);
    click(u"Apply ⏎"_s);
    ASSERT_TRUE(waitForStatus(CROPPED));
    EXPECT_EQ(shownSize(), QSize(200, 300));
}

TEST_F(CropMode, BarCancels)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    setBox(LEFT_HALF);
    click(u"Cancel"_s);
    EXPECT_EQ(overlay(), nullptr);
    EXPECT_EQ(bar(), nullptr);
    EXPECT_EQ(shownSize(), QSize(400, 300));
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(statusText(), NOTHING_TO_UNDO);
}

TEST_F(CropMode, BarAsksForARatio)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    click(u"Custom…"_s);
    EXPECT_NE(window->findChild<CustomRatioDialog *>(), nullptr);
}

TEST_F(CropMode, RatioIsCalledExactlyWhatWasTyped)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    enterRatio(u" 16 : 10"_s);
    EXPECT_EQ(ratioName(), " 16 : 10");
    EXPECT_EQ(overlay()->ratio(), 1.6);
    EXPECT_EQ(statusText(), "");
}

TEST_F(CropMode, TextThatIsNoRatioIsReportedAndChangesNothing)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    for (const QString &text : {u"0:5"_s, u"wide"_s, u"1:2:3"_s}) {
        viewer->labels().showStatus({}, false);
        enterRatio(text);
        EXPECT_EQ(statusText(), "❌ Invalid format (example: 16:10)") << text.toStdString();
        EXPECT_EQ(ratioName(), "Original");
    }
}

TEST_F(CropMode, ScaleIsThatOfTheFilesPixels)
{
    ASSERT_NO_FATAL_FAILURE(cropLargePicture());
    ASSERT_TRUE(viewer->cropMode().imagePixelScale());
    EXPECT_NEAR(*viewer->cropMode().imagePixelScale(), 2.679, 0.01); // 1200 pixels in 448 points
}

TEST_F(CropMode, ScaleOfARotatedPictureIsThatOfWhatIsLeftOfIt)
{
    ASSERT_NO_FATAL_FAILURE(cropLargePicture());
    pressOften(Qt::Key_BracketRight, 5, Qt::ShiftModifier); // 10°
    ASSERT_TRUE(viewer->cropMode().imagePixelScale());
    EXPECT_NEAR(*viewer->cropMode().imagePixelScale(), 2.147, 0.01); // 961.94 pixels in 448 points
}

TEST_F(CropMode, ScaleOfAnEditedPictureIsThatOfItsOwnPixels)
{
    ASSERT_NO_FATAL_FAILURE(cropLargePicture());
    setBox(LEFT_HALF);
    press(Qt::Key_Return);
    ASSERT_TRUE(waitForStatus(CROPPED));
    press(Qt::Key_X);
    ASSERT_TRUE(viewer->cropMode().imagePixelScale());
    EXPECT_NEAR(*viewer->cropMode().imagePixelScale(), 2.679, 0.01); // 1200 pixels in 448 points
}

/// A raw file's headers tell of a larger picture than its preview, which is what is cut.
class PreviewReader : public InProcessReader
{
public:
    [[nodiscard]] DisplayPicture loadDisplayPicture(const std::filesystem::path &url,
                                                    const DisplayTarget &target, Urgency urgency,
                                                    std::stop_token stop) const override
    {
        auto picture = InProcessReader::loadDisplayPicture(url, target, urgency, std::move(stop));
        picture.pixelSize = QSize(4000, 3000);
        return picture;
    }
};

TEST_F(CropMode, ScaleOverARawPreviewIsThatOfThePixelsThatWillBeSaved)
{
    const PreviewReader previews;
    makeViewer(previews);
    std::filesystem::create_directory(pictures);
    folder.write("pictures/0.nef", pngFile(pictures::fourQuarters({400, 300})));
    start({"--bench", pictures});
    ASSERT_TRUE(resizeTo({800, 600}));
    ASSERT_TRUE(waitForShown({400, 300}));
    press(Qt::Key_X);
    EXPECT_EQ(viewer->cropMode().imagePixelScale(), std::nullopt); // not known yet
    ASSERT_TRUE(waitFor([this] { return viewer->cropMode().imagePixelScale().has_value(); }));
    // 300 pixels in the 448 points that the bar leaves
    EXPECT_NEAR(*viewer->cropMode().imagePixelScale(), 0.66964, 0.0001);
    setBox(LEFT_HALF);
    press(Qt::Key_Return);
    EXPECT_TRUE(waitForStatus(CROPPED));
    EXPECT_EQ(shownSize(), QSize(200, 300));
    viewer.reset(); // before its reader
}

/// Whose first full picture takes until nobody wants it.
class FirstNeverComes : public PreviewReader
{
public:
    [[nodiscard]] Image loadFullImage(const std::filesystem::path &url, const FullColors &colors,
                                      std::stop_token stop) const override
    {
        if (++m_loads == 1) {
            std::promise<void> stopped;
            const std::stop_callback tell(stop, [&stopped] { stopped.set_value(); });
            stopped.get_future().wait();
            return {};
        }
        return PreviewReader::loadFullImage(url, colors, std::move(stop));
    }

private:
    mutable std::atomic<int> m_loads = 0;
};

TEST_F(CropMode, ReturnDoesNotWaitForThePixelsToBeCounted)
{
    const FirstNeverComes previews;
    makeViewer(previews);
    std::filesystem::create_directory(pictures);
    folder.write("pictures/0.nef", pngFile(pictures::fourQuarters({400, 300})));
    start({"--bench", pictures});
    ASSERT_TRUE(resizeTo({800, 600}));
    ASSERT_TRUE(waitForShown({400, 300}));
    press(Qt::Key_X);
    setBox(LEFT_HALF);
    press(Qt::Key_Return);
    EXPECT_TRUE(waitForStatus(CROPPED));
    EXPECT_EQ(shownSize(), QSize(200, 300));
    viewer.reset(); // before its reader
}

TEST_F(CropMode, TurnedPortraitLiesWhereItsDisplayImageWouldWhateverThePreview)
{
    ASSERT_TRUE(openPictures());
    folder.write("pictures/portrait.png", pngFile(pictures::fourQuarters({450, 600})));
    open(pictures / "portrait.png");
    ASSERT_TRUE(waitForShown({450, 600})); // as large as the display image may be
    press(Qt::Key_X);
    pressOften(Qt::Key_BracketRight, 5, Qt::ShiftModifier); // 10°
    ASSERT_LT(shownSize().height(), 545);                   // a smaller preview is enough
    // 450x600 turned by 10° leaves 360.73x545.65, and whole pixels 360x545, in 448 points
    const QRectF bounds = overlay()->imageBounds();
    EXPECT_NEAR(bounds.height(), 448, 1e-9);
    EXPECT_NEAR(bounds.width(), 295.9266, 0.0001);
    EXPECT_EQ(viewer->screen().imageLayer().rendition.size(), QSize(296, 448));
}

TEST_F(CropMode, PressThatCameBeforeItDoesNotDraw)
{
    ASSERT_TRUE(openPictures());
    QWindow *handle = window->windowHandle();
    const QPoint origin = view->mapTo(window, QPoint(0, 0));
    QTest::mousePress(handle, Qt::LeftButton, {}, origin + QPoint(150, 120));
    press(Qt::Key_X);
    ASSERT_NE(overlay(), nullptr);
    const QRectF box = overlay()->box();
    QTest::mouseMove(handle, origin + QPoint(300, 250));
    test::serveWaitingEvents();
    QTest::mouseMove(handle, origin + QPoint(500, 400));
    QTest::mouseRelease(handle, Qt::LeftButton, {}, origin + QPoint(500, 400));
    EXPECT_EQ(overlay()->box(), box);
    EXPECT_EQ(viewer->screen().imageLayer().gravity, Gravity::ResizeAspect);
}

TEST_F(CropMode, ReadOutIsNotHiddenByTheBar)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(resizeTo({800, 320})); // the read-out of a box to the lower edge reaches the bar
    press(Qt::Key_X);
    setBox(WHOLE);
    const QRectF box = overlay()->box();
    ASSERT_GT(box.bottom() + 8 + 13, bar()->geometry().top());
    const QImage with = overlay()->grab().toImage();
    forgetSize();
    overlay()->update();
    const QImage without = overlay()->grab().toImage();
    QRect text;
    for (int y = 0; y < with.height(); ++y)
        for (int x = 0; x < with.width(); ++x)
            if (with.pixel(x, y) != without.pixel(x, y))
                text |= QRect(x, y, 1, 1);
    EXPECT_FALSE(text.isEmpty());
    EXPECT_LT(text.bottom(), box.bottom());
}

TEST_F(CropMode, FTurnsTheBox)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    press(Qt::Key_5);
    press(Qt::Key_F);
    EXPECT_EQ(ratioName(), "9:16");
    EXPECT_FALSE(window->isFullScreen());
}

TEST_F(CropMode, ArrowsMoveTheBoxAndShiftResizesIt)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    press(Qt::Key_1);
    const QRectF before = overlay()->box();
    press(Qt::Key_Right);
    press(Qt::Key_Down);
    EXPECT_EQ(overlay()->box(), before.translated(10, 10));
    press(Qt::Key_Left, Qt::ShiftModifier);
    EXPECT_EQ(overlay()->box(), before.translated(10, 10).adjusted(10, 10, -10, -10));
    EXPECT_EQ(infoText(), "1/3 | 0.png   [H=วิธีใช้]");
}

TEST_F(CropMode, EscapeClosesTheHelpFirst)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    press(Qt::Key_H);
    press(Qt::Key_Escape);
    EXPECT_NE(overlay(), nullptr);
    press(Qt::Key_Escape);
    EXPECT_EQ(overlay(), nullptr);
    EXPECT_TRUE(window->isVisible());
}

TEST_F(CropMode, EveryOtherKeyIsSwallowed)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    for (const Qt::Key key : {Qt::Key_Space, Qt::Key_J, Qt::Key_O, Qt::Key_S, Qt::Key_D, Qt::Key_A,
                              Qt::Key_Z, Qt::Key_PageDown, Qt::Key_F5, Qt::Key_7})
        EXPECT_TRUE(send(QKeyEvent(QEvent::KeyPress, key, Qt::NoModifier))) << "Qt::Key " << key;
    EXPECT_NE(overlay(), nullptr);
    EXPECT_EQ(statusText(), "");
    EXPECT_EQ(infoText(), "1/3 | 0.png   [H=วิธีใช้]");
    EXPECT_TRUE(openDialogs().empty());
    viewer.reset(); // whatever was asked for has been done
    EXPECT_TRUE(trash.asked().empty());
    EXPECT_FALSE(std::filesystem::exists(pictures / "HL"));
}

TEST_F(CropMode, ControlAndZIsConsumedAndChangesNothing)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    press(Qt::Key_X);
    viewer->labels().showStatus({}, false);
    EXPECT_TRUE(send(QKeyEvent(QEvent::KeyPress, Qt::Key_Z, Qt::ControlModifier)));
    EXPECT_EQ(statusText(), "");
    press(Qt::Key_Escape);
    EXPECT_EQ(shownSize(), QSize(200, 300));
}

TEST_F(CropMode, MouseDoesNotZoom)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    viewer->loupe().zoomBegin({400, 300});
    EXPECT_EQ(viewer->screen().imageLayer().gravity, Gravity::ResizeAspect);
    EXPECT_EQ(statusText(), "");
}

TEST_F(CropMode, OpeningAFileLeavesIt)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    press(Qt::Key_BracketRight);
    open(pictures / "1.png");
    EXPECT_EQ(overlay(), nullptr);
    EXPECT_EQ(bar(), nullptr);
    EXPECT_EQ(viewer->screen().imageAreaRect(), QRectF(0, 0, 800, 600));
    EXPECT_EQ(infoText(), "2/3 | 1.png   [H=วิธีใช้]");
    EXPECT_TRUE(
        waitFor([this] { return viewer->screen().imageLayer().contents.row(0)[0] == 0xff112233; }));
}

TEST_F(CropMode, QuestionForARatioEndsWithIt)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    press(Qt::Key_6);
    const QPointer<CustomRatioDialog> dialog = window->findChild<CustomRatioDialog *>();
    ASSERT_NE(dialog, nullptr);
    open(pictures / "1.png");
    EXPECT_TRUE(waitFor([&] { return !dialog; }));
}

TEST_F(CropMode, PathThatDoesNotExistLeavesItOn)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    open(pictures / "none.png");
    EXPECT_NE(overlay(), nullptr);
}

TEST_F(CropMode, FolderThatCannotBeListedLeavesItOn)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    viewer->browser().openFolder(folder.write("file"), std::nullopt);
    EXPECT_TRUE(waitUntilOpened());
    EXPECT_EQ(statusText(), "❌ เปิดโฟลเดอร์ไม่ได้");
    EXPECT_NE(overlay(), nullptr);
}

TEST_F(CropMode, WindowThatChangesItsSizeBringsTheDefaultBox)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    setBox(LEFT_HALF);
    ASSERT_TRUE(resizeTo({700, 700}));
    EXPECT_EQ(overlay()->size(), QSize(700, 700));
    const QRectF image = viewer->screen().fitRect();
    EXPECT_EQ(image, QRectF(35, 113.75, 630, 472.5));
    EXPECT_NEAR(overlay()->box().width(), 504, 1e-9);
    EXPECT_NEAR(overlay()->box().center().x(), 350, 1e-9);
}

TEST_F(CropMode, StatusStandsAboveTheBar)
{
    ASSERT_TRUE(openPictures());
    const QRect before = statusLabel->geometry();
    press(Qt::Key_X);
    EXPECT_LT(statusLabel->geometry().bottom(), bar()->geometry().top());
    press(Qt::Key_Escape);
    EXPECT_EQ(statusLabel->geometry(), before);
}

TEST_F(CropMode, PictureThatLostItsEditsIsNotCroppedBeforeTheNextIsThere)
{
    ASSERT_TRUE(openPictures());
    folder.write("pictures/1.png", "no picture any more");
    ASSERT_TRUE(crop(LEFT_HALF));
    press(Qt::Key_Right);
    press(Qt::Key_X);
    EXPECT_EQ(overlay(), nullptr);
    ASSERT_TRUE(waitForShown({400, 300})); // without its edits
    press(Qt::Key_X);
    EXPECT_NE(overlay(), nullptr);
}

TEST_F(CropMode, SearchFieldIsClosedByIt)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_J);
    ASSERT_NE(view->findChild<QLineEdit *>(), nullptr);
    press(Qt::Key_X); // on the view, which a click gives the keyboard
    test::serveWaitingEvents();
    EXPECT_EQ(view->findChild<QLineEdit *>(), nullptr);
    EXPECT_NE(overlay(), nullptr);
}

TEST_F(CropMode, JumpIsIgnored)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    viewer->browser().jumpTo(2);
    viewer->browser().navigate(+1);
    EXPECT_EQ(infoText(), "1/3 | 0.png   [H=วิธีใช้]");
}

TEST_F(CropMode, CropUnderWayIsAppliedAfterEscape)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    setBox(LEFT_HALF);
    press(Qt::Key_Return);
    press(Qt::Key_Escape);
    EXPECT_EQ(overlay(), nullptr);
    ASSERT_TRUE(waitForStatus(CROPPED));
    EXPECT_EQ(shownSize(), QSize(200, 300));
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(waitForStatus(BACK_TO_SOURCE));
}

TEST_F(CropMode, CropUnderWayEndsTheNextOneWithItsResult)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    setBox(LEFT_HALF);
    press(Qt::Key_Return);
    press(Qt::Key_Escape);
    press(Qt::Key_X);
    ASSERT_NE(overlay(), nullptr);
    ASSERT_TRUE(waitForStatus(CROPPED));
    EXPECT_EQ(overlay(), nullptr);
    EXPECT_EQ(shownSize(), QSize(200, 300));
}

TEST_F(CropMode, CropUnderWayIsDroppedWithItsPicture)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    setBox(LEFT_HALF);
    press(Qt::Key_Return);
    press(Qt::Key_Escape);
    press(Qt::Key_Right); // decoded behind the crop
    ASSERT_TRUE(
        waitFor([this] { return viewer->screen().imageLayer().contents.row(0)[0] == 0xff112233; }));
    EXPECT_EQ(shownSize(), QSize(400, 300));
    EXPECT_EQ(infoText(), "2/3 | 1.png   [H=วิธีใช้]");
    EXPECT_EQ(statusText(), "");
}

TEST_F(CropMode, CropUnderWayIsDroppedWhenWhatItWasCutFromIsUndone)
{
    ASSERT_TRUE(openPictures());
    ASSERT_TRUE(crop(LEFT_HALF));
    press(Qt::Key_X);
    setBox(TOP_HALF);
    press(Qt::Key_Return);
    press(Qt::Key_Escape);
    press(Qt::Key_Z, Qt::ControlModifier);
    ASSERT_TRUE(waitForStatus(BACK_TO_SOURCE));
    EXPECT_EQ(shownSize(), QSize(400, 300));
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(statusText(), NOTHING_TO_UNDO);
}

TEST_F(CropMode, NewestOfTwoCropsIsTheOneThatIsDone)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    setBox(LEFT_HALF);
    press(Qt::Key_Return);
    press(Qt::Key_Escape); // it was the wrong one
    press(Qt::Key_X);
    setBox(TOP_HALF);
    press(Qt::Key_Return);
    ASSERT_TRUE(waitForStatus(CROPPED));
    EXPECT_EQ(shownSize(), QSize(400, 150));
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(waitForStatus(BACK_TO_SOURCE));
}

TEST_F(CropMode, SecondReturnDoesNotCropTwice)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    setBox(LEFT_HALF);
    press(Qt::Key_Return);
    press(Qt::Key_Return);
    ASSERT_TRUE(waitForStatus(CROPPED));
    EXPECT_EQ(shownSize(), QSize(200, 300));
    press(Qt::Key_Z, Qt::ControlModifier); // done behind the second crop
    EXPECT_TRUE(waitForStatus(BACK_TO_SOURCE));
}

TEST_F(CropMode, DeletionThatFinishesMeanwhileLeavesIt)
{
    ASSERT_TRUE(openPictures());
    trash.closeGate();
    press(Qt::Key_D);
    press(Qt::Key_X);
    press(Qt::Key_BracketRight);
    ASSERT_NE(overlay(), nullptr);
    trash.openGate();
    ASSERT_TRUE(
        waitFor([this] { return viewer->screen().imageLayer().contents.row(0)[0] == 0xff112233; }));
    EXPECT_EQ(overlay(), nullptr);
    EXPECT_EQ(bar(), nullptr);
    EXPECT_EQ(viewer->screen().imageAreaRect(), QRectF(0, 0, 800, 600));
    EXPECT_EQ(infoText(), "1/2 | 1.png   [H=วิธีใช้]");
}

TEST_F(CropMode, DeletionOfAnotherFileInAFolderOpenedAnewLeavesBoxAndEdits)
{
    ASSERT_TRUE(openPictures());
    trash.closeGate();
    press(Qt::Key_D);
    ASSERT_TRUE(waitFor([this] { return trash.asked().size() == 1; }));
    open(pictures / "1.png");
    ASSERT_TRUE(
        waitFor([this] { return viewer->screen().imageLayer().contents.row(0)[0] == 0xff112233; }));
    ASSERT_TRUE(crop(LEFT_HALF));
    press(Qt::Key_X);
    setBox(TOP_HALF);
    trash.openGate();
    ASSERT_TRUE(waitForStatus("🗑 ลบแล้ว"));
    EXPECT_EQ(infoText().substr(0, 11), "1/2 | 1.png");
    ASSERT_NE(overlay(), nullptr);
    press(Qt::Key_Return);
    ASSERT_TRUE(waitForStatus(CROPPED));
    EXPECT_EQ(shownSize(), QSize(200, 150));
    EXPECT_EQ(viewer->browser().currentUrl(), pictures / "1.png");
}

TEST_F(CropMode, CropOfAnOlderPictureIsDroppedWhenAnotherIsOpened)
{
    ASSERT_TRUE(openPictures());
    press(Qt::Key_X);
    setBox(LEFT_HALF);
    press(Qt::Key_Return);
    open(pictures / "1.png"); // decoded behind the crop
    ASSERT_TRUE(
        waitFor([this] { return viewer->screen().imageLayer().contents.row(0)[0] == 0xff112233; }));
    EXPECT_EQ(shownSize(), QSize(400, 300));
    EXPECT_EQ(infoText(), "2/3 | 1.png   [H=วิธีใช้]");
}

/// With pictures whose decoding the test controls.
class CropModeOverSlowDecodes : public ViewerFixture
{};

TEST_F(CropModeOverSlowDecodes, PictureUnderTheBoxIsTheTargetAgain)
{
    ASSERT_TRUE(startOnPictures(5));
    decoder.closeGate();
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForStarts(2));
    EXPECT_EQ(infoText(), "2/5 | 001.jpg   [H=วิธีใช้]");
    press(Qt::Key_X);
    EXPECT_EQ(infoText(), "1/5 | 000.jpg   [H=วิธีใช้]");
}

TEST_F(CropModeOverSlowDecodes, LoadThatEndsMeanwhileIsNotShown)
{
    ASSERT_TRUE(startOnPictures(5));
    decoder.closeGate();
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForStarts(2));
    press(Qt::Key_X);
    const Image under = viewer->screen().imageLayer().contents;
    decoder.openGate();
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_TRUE(viewer->screen().imageLayer().contents.isSameAs(under));
    press(Qt::Key_Escape);
    EXPECT_TRUE(viewer->screen().imageLayer().contents.isSameAs(under));
    press(Qt::Key_Right); // from the cache
    EXPECT_EQ(shownNumber(), 1);
}

TEST_F(CropModeOverSlowDecodes, PictureOfAnEarlierFolderIsNotCropped)
{
    ASSERT_TRUE(startOnPictures(2));
    decoder.closeGate();
    open(makePictures("others", 7, 8));
    ASSERT_TRUE(waitForStarts(2));
    press(Qt::Key_X);
    decoder.openGate();
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(shownNumber(), 7);
    EXPECT_EQ(viewer->screen().imageAreaRect().width(), view->width());
}

} // namespace
} // namespace tavolin
