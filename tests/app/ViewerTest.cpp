#include "app/ViewerFixture.h"

#include "logic/Printing.h"
#include "pictures/Picture.h"
#include "screen/ViewerView.h"

#include <QApplication>
#include <QMainWindow>
#include <QScreen>

#include <gtest/gtest.h>

#include <vector>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

using test::endsTheApplication;
using test::waitFor;
using Numbers = std::vector<int>;

constexpr QRgb BLACK = 0xff000000;

class StartUp : public test::ViewerFixture
{};

TEST_F(StartUp, WithoutArgumentsGreetsOnBlack)
{
    start({});
    EXPECT_EQ(infoText(), "Tavolin Viewer — กด O เปิดโฟลเดอร์ | H วิธีใช้");
    EXPECT_EQ(shownNumber(), std::nullopt);
    EXPECT_EQ(statusText(), "");
    EXPECT_TRUE(decoder.started().empty());
}

TEST_F(StartUp, WithoutArgumentsOpensNoDialog)
{
    start({});
    ASSERT_TRUE(waitFor([this] { return window->isFullScreen(); }));
    test::serveWaitingEvents();
    for (const QWidget *widget : QApplication::topLevelWidgets())
        EXPECT_TRUE(widget == window || !widget->isVisible());
}

TEST_F(StartUp, WindowCoversTheScreenAndGoesFullScreen)
{
    start({});
    EXPECT_EQ(window->windowTitle().toStdString(), "Tavolin Viewer");
    EXPECT_EQ(window->size(), QGuiApplication::primaryScreen()->availableSize());
    EXPECT_FALSE(window->isFullScreen()); // only once the start is over
    EXPECT_TRUE(waitFor([this] { return window->isFullScreen(); }));
}

TEST_F(StartUp, BenchRunStaysInAWindow)
{
    start({"--bench"});
    test::serveWaitingEvents();
    EXPECT_TRUE(window->isVisible());
    EXPECT_FALSE(window->isFullScreen());
}

TEST_F(StartUp, FolderIsOpenedAtTheBeginning)
{
    start({makePictures("pictures", 0, 2)});
    ASSERT_TRUE(waitForLoads(1));
    EXPECT_EQ(shownNumber(), 0);
    EXPECT_EQ(infoText(), "1/3 | 000.jpg   [H=วิธีใช้]");
}

TEST_F(StartUp, FileIsOpenedInItsFolder)
{
    start({makePictures("pictures", 0, 4) / "002.jpg"});
    ASSERT_TRUE(waitForLoads(1));
    EXPECT_EQ(shownNumber(), 2);
    EXPECT_EQ(infoText(), "3/5 | 002.jpg   [H=วิธีใช้]");
}

TEST_F(StartUp, ArgumentWithTwoHyphensIsSkipped)
{
    start({"--nonsense", makePictures("pictures", 0, 2)});
    ASSERT_TRUE(waitForLoads(1));
    EXPECT_EQ(shownNumber(), 0);
}

TEST_F(StartUp, ArgumentWithOneHyphenIsAPathEvenIfNothingIsThere)
{
    start({"-there-is-no-such-file", makePictures("pictures", 0, 2)});
    test::serveWaitingEvents();
    EXPECT_EQ(infoText(), "");
    EXPECT_EQ(shownNumber(), std::nullopt);
    EXPECT_TRUE(decoder.started().empty());
}

class ViewerKeys : public test::ViewerFixture
{
protected:
    /// Whether a press of @p key is left to others.
    [[nodiscard]] bool isIgnored(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        return !send(QKeyEvent(QEvent::KeyPress, key, modifiers));
    }

    /// Whether Control and the key at the place of Q, which writes @p symbol, quit.
    [[nodiscard]] bool quitsAtThePlaceOfQ(int symbol) const
    {
        return endsTheApplication([this, symbol] {
            send(test::pressAt(16, 12, symbol, Qt::ControlModifier));
            test::serveWaitingEvents();
            if (window->isVisible())
                QCoreApplication::exit(1);
        });
    }
};

TEST_F(ViewerKeys, FTogglesFullScreen)
{
    start({});
    ASSERT_TRUE(waitFor([this] { return window->isFullScreen(); }));
    press(Qt::Key_F);
    EXPECT_TRUE(waitFor([this] { return !window->isFullScreen(); }));
    press(Qt::Key_F);
    EXPECT_TRUE(waitFor([this] { return window->isFullScreen(); }));
}

TEST_F(ViewerKeys, ShiftAltAndMetaDoNotChangeTheStep)
{
    ASSERT_TRUE(startOnPictures(5));
    press(Qt::Key_Right, Qt::ShiftModifier);
    EXPECT_EQ(infoText(), "2/5 | 001.jpg   [H=วิธีใช้]");
    press(Qt::Key_Right, Qt::AltModifier);
    EXPECT_EQ(infoText(), "3/5 | 002.jpg   [H=วิธีใช้]");
    press(Qt::Key_Right, Qt::MetaModifier); // the Control key of macOS
    EXPECT_EQ(infoText(), "4/5 | 003.jpg   [H=วิธีใช้]");
}

TEST_F(ViewerKeys, RepeatedPressIsAStepToo)
{
    ASSERT_TRUE(startOnPictures(5));
    EXPECT_TRUE(send(QKeyEvent(QEvent::KeyPress, Qt::Key_Right, Qt::NoModifier, {}, true)));
    EXPECT_EQ(infoText(), "2/5 | 001.jpg   [H=วิธีใช้]");
}

TEST_F(ViewerKeys, OtherKeysAreLeftToOthers)
{
    ASSERT_TRUE(startOnPictures(5, 2));
    for (const Qt::Key key :
         {Qt::Key_Down, Qt::Key_Up, Qt::Key_Return, Qt::Key_Backspace, Qt::Key_6, Qt::Key_Q,
          Qt::Key_BracketLeft, Qt::Key_PageDown, Qt::Key_F5, Qt::Key_Shift})
        EXPECT_TRUE(isIgnored(key)) << "Qt::Key " << key;
    EXPECT_EQ(infoText(), "3/5 | 002.jpg   [H=วิธีใช้]");
    EXPECT_TRUE(window->isVisible());
}

TEST_F(ViewerKeys, ControlMakesACommandKeyAnother)
{
    ASSERT_TRUE(startOnPictures(5, 2));
    for (const Qt::Key key : {Qt::Key_Right, Qt::Key_Left, Qt::Key_Space, Qt::Key_F, Qt::Key_O})
        EXPECT_TRUE(isIgnored(key, Qt::ControlModifier)) << "Qt::Key " << key;
    test::serveWaitingEvents();
    EXPECT_EQ(infoText(), "3/5 | 002.jpg   [H=วิธีใช้]");
    EXPECT_FALSE(window->isFullScreen());
    EXPECT_TRUE(openDialogs().empty());
}

#ifndef Q_OS_MACOS // where no such press arrives
TEST_F(ViewerKeys, LayoutSwitchOnSpaceStaysOnThePicture)
{
    constexpr quint32 SPACE = 65;
    constexpr quint32 ISO_NEXT_GROUP = 0xfe08;
    ASSERT_TRUE(startOnPictures(3));
    EXPECT_FALSE(send(QKeyEvent(QEvent::KeyPress, 0, Qt::MetaModifier, SPACE, ISO_NEXT_GROUP, 0)));
    EXPECT_EQ(infoText(), "1/3 | 000.jpg   [H=วิธีใช้]");
}
#endif

TEST_F(ViewerKeys, StepsWithoutAListDoNothing)
{
    start({"--bench"});
    press(Qt::Key_Right);
    press(Qt::Key_Left);
    EXPECT_EQ(infoText(), "Tavolin Viewer — กด O เปิดโฟลเดอร์ | H วิธีใช้");
    EXPECT_TRUE(decoder.started().empty());
}

TEST_F(ViewerKeys, EscapeQuits)
{
    start({"--bench"});
    EXPECT_TRUE(endsTheApplication([this] { press(Qt::Key_Escape); }));
}

TEST_F(ViewerKeys, EscapeQuitsWhileAPictureIsDecoded)
{
    decoder.closeGate();
    startLoading(3);
    ASSERT_TRUE(waitForStarts(1));
    EXPECT_TRUE(endsTheApplication([this] { press(Qt::Key_Escape); }));
}

TEST_F(ViewerKeys, ClosingTheWindowQuits)
{
    start({"--bench"});
    EXPECT_TRUE(endsTheApplication([this] { window->close(); }));
}

#ifndef Q_OS_MACOS // where the menu has the quit key
TEST_F(ViewerKeys, ControlAndQQuits)
{
    start({"--bench"});
    EXPECT_TRUE(endsTheApplication([this] { press(Qt::Key_Q, Qt::ControlModifier); }));
}

TEST_F(ViewerKeys, ControlAndThePhysicalQKeyQuitsUnderAThaiLayout)
{
    constexpr int THAI_MAI_YAMOK = 0xe46; // what the key Q writes in Thai
    start({"--bench"});
    EXPECT_TRUE(endsTheApplication(
        [this] { send(test::pressAt(16, 12, THAI_MAI_YAMOK, Qt::ControlModifier)); }));
}

TEST_F(ViewerKeys, ControlAndTheKeyThatWritesQQuitsUnderAFrenchLayout)
{
    start({"--bench"});
    EXPECT_TRUE(
        endsTheApplication([this] { send(test::pressAt(30, 0, Qt::Key_Q, Qt::ControlModifier)); }));
}

TEST_F(ViewerKeys, ControlAndAnotherLatinLetterAtThePlaceOfQDoesNotQuit)
{
    constexpr int LATVIAN_U = 0x16a; // U with a macron
    start({"--bench"});
    EXPECT_FALSE(quitsAtThePlaceOfQ(Qt::Key_A)); // French
    EXPECT_FALSE(quitsAtThePlaceOfQ(LATVIAN_U));
}

TEST_F(ViewerKeys, ControlAndTheApostropheAtThePlaceOfQDoesNotQuitUnderDvorak)
{
    start({"--bench"});
    send(test::pressAt(30, 0, Qt::Key_A));
    EXPECT_FALSE(quitsAtThePlaceOfQ(Qt::Key_Apostrophe));
}

TEST_F(ViewerKeys, ControlAndTheSlashAtThePlaceOfQQuitsUnderAHebrewLayout)
{
    constexpr int HEBREW_SHIN = 0x5e9; // what the key A writes
    start({"--bench"});
    send(test::pressAt(30, 0, HEBREW_SHIN));
    EXPECT_TRUE(quitsAtThePlaceOfQ(Qt::Key_Slash));
}
#endif

class PicturePlacement : public test::ViewerFixture
{
protected:
    /// Shows a picture of @p imageSize in a view of @p viewSize.
    [[nodiscard]] testing::AssertionResult show(QSize imageSize, QSize viewSize)
    {
        decoder.setSize(0, imageSize);
        if (const auto result = startOnPictures(2); !result)
            return result;
        if (!resizeTo(viewSize))
            return testing::AssertionFailure() << "the window does not change its size";
        return testing::AssertionSuccess();
    }

    /// The pixels of the view that the picture 0 is on, but for those under a label.
    [[nodiscard]] QRect shownRect() const
    {
        viewer->labels().showInfo({});
        const QImage image = grabView();
        QRect rect;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (test::numberOf(image.pixel(x, y)) == 0)
                    rect |= QRect(x, y, 1, 1);
                else
                    EXPECT_EQ(image.pixel(x, y), BLACK) << "at " << x << ',' << y;
            }
        }
        return rect;
    }
};

TEST_F(PicturePlacement, LandscapeIsAsHighAsAWideView)
{
    ASSERT_TRUE(show({30, 20}, {800, 300}));
    EXPECT_EQ(shownRect(), QRect(175, 0, 450, 300));
    EXPECT_EQ(viewer->screen().fitRect(), QRectF(175, 0, 450, 300));
}

TEST_F(PicturePlacement, LandscapeIsAsWideAsANarrowView)
{
    ASSERT_TRUE(show({30, 20}, {600, 500}));
    EXPECT_EQ(shownRect(), QRect(0, 50, 600, 400));
    EXPECT_EQ(viewer->screen().fitRect(), QRectF(0, 50, 600, 400));
}

TEST_F(PicturePlacement, PortraitIsInTheMiddle)
{
    ASSERT_TRUE(show({20, 30}, {800, 300}));
    EXPECT_EQ(shownRect(), QRect(300, 0, 200, 300));
    EXPECT_EQ(viewer->screen().fitRect(), QRectF(300, 0, 200, 300));
}

TEST_F(PicturePlacement, FractionsOfAPixelAreRounded)
{
    ASSERT_TRUE(show({20, 30}, {601, 400})); // 266.7 wide, 167.2 from the left
    EXPECT_EQ(shownRect(), QRect(167, 0, 267, 400));
}

TEST_F(PicturePlacement, WithoutAPictureTheWholeAreaIsIt)
{
    start({"--bench"});
    ASSERT_TRUE(resizeTo({640, 480}));
    EXPECT_EQ(viewer->screen().fitRect(), QRectF(0, 0, 640, 480));
    EXPECT_EQ(viewer->screen().imageAreaRect(), QRectF(0, 0, 640, 480));
}

TEST_F(PicturePlacement, RenditionFollowsTheWindowWithoutAnotherDecode)
{
    ASSERT_TRUE(show({30, 20}, {600, 400}));
    EXPECT_EQ(viewer->screen().imageLayer().rendition.size(), QSize(600, 400));
    ASSERT_TRUE(resizeTo({450, 400}));
    EXPECT_EQ(viewer->screen().imageLayer().rendition.size(), QSize(450, 300));
    ASSERT_TRUE(resizeTo({640, 600}));
    EXPECT_EQ(viewer->screen().imageLayer().rendition.size(), QSize(640, 427));
    EXPECT_EQ(shownRect(), QRect(0, 87, 640, 427));
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(2));
    EXPECT_EQ(decoder.started(), (Numbers{0, 1}));
}

TEST_F(PicturePlacement, CachedPictureIsFittedIntoTheWindowAsItIsNow)
{
    ASSERT_TRUE(show({30, 20}, {600, 400}));
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(2));
    ASSERT_TRUE(resizeTo({450, 400}));
    press(Qt::Key_Left);
    EXPECT_EQ(viewer->screen().imageLayer().rendition.size(), QSize(450, 300));
    EXPECT_EQ(shownRect(), QRect(0, 50, 450, 300));
}

TEST_F(PicturePlacement, PictureDecodedForAnEarlierSizeIsFittedIntoTheWindowAsItIsNow)
{
    decoder.closeGate();
    startLoading(1);
    ASSERT_TRUE(waitForStarts(1));
    ASSERT_TRUE(resizeTo({450, 400}));
    decoder.openGate();
    ASSERT_TRUE(waitForLoads(1));
    EXPECT_EQ(viewer->screen().imageLayer().rendition.size(), QSize(450, 300));
    EXPECT_EQ(shownRect(), QRect(0, 50, 450, 300));
}

TEST_F(PicturePlacement, FileIsShownUprightInEveryCorner)
{
    const QImage picture = pictures::fourQuarters({300, 200});
    ASSERT_TRUE(picture.save(QString::fromStdString(folder / "a.png")));
    makeViewer(reader);
    start({"--bench", folder / "a.png"});
    ASSERT_TRUE(resizeTo({600, 500})); // the picture is between 50 and 450
    ASSERT_TRUE(waitForLoads(1));
    viewer->labels().showInfo({});
    const QImage image = grabView();
    EXPECT_EQ(image.pixel(0, 50), 0xffff0000);
    EXPECT_EQ(image.pixel(599, 50), 0xff00ff00);
    EXPECT_EQ(image.pixel(0, 449), 0xff0000ff);
    EXPECT_EQ(image.pixel(599, 449), 0xffffff00);
    EXPECT_EQ(image.pixel(0, 49), BLACK);
    EXPECT_EQ(image.pixel(599, 450), BLACK);
}

} // namespace
} // namespace tavolin
