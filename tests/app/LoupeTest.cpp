#include "app/ViewerFixture.h"

#include "logic/Printing.h"
#include "screen/ViewerView.h"

#include <QColorSpace>
#include <QMouseEvent>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <vector>

namespace tavolin {
namespace {

using test::waitFor;
using test::waitWithoutEvents;
using Numbers = std::vector<int>;

constexpr QRgb BLACK = 0xff000000;

/// The pixel at @p x, @p y (up to 4095) of a picture, whose colour says where it is: no two are
/// alike, and none has the colour of a number.
QRgb colorAt(int x, int y)
{
    return qRgb(x & 0xff, y & 0xff, x >> 8 | y >> 8 << 4);
}

QPoint placeOf(QRgb color)
{
    return {qRed(color) | (qBlue(color) & 0xf) << 8, qGreen(color) | qBlue(color) >> 4 << 8};
}

/// A file with such a picture.
QByteArray mapFile(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, colorAt(x, y));
    }
    return test::pngFile(image);
}

/// A file with lines a pixel wide: no such line is left in a reduced picture.
QByteArray linesFile(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, x % 2 == 0 ? 0xffffffff : BLACK);
    }
    return test::pngFile(image);
}

/// In a view of 600x400 points, which pictures of 30x20 and of 1200x800 pixels fill.
class Loupe : public test::ViewerFixture
{
protected:
    static constexpr QPoint CENTRE{300, 200};
    static constexpr QRectF FITTED{0, 0, 600, 400};

    /// Shows the first of ten pictures. Its file holds a map of 1200x800 pixels, its display image
    /// is the one of the decoder.
    [[nodiscard]] testing::AssertionResult startOnMap(QSize viewSize = {600, 400})
    {
        decoder.setPixelSize(0, QSize(1200, 800));
        return showMap(viewSize);
    }

    /// The same with a decode that does not tell the size of the map.
    [[nodiscard]] testing::AssertionResult startOnMapOfUnknownSize()
    {
        decoder.setPixelSize(0, {});
        return showMap({600, 400});
    }

    [[nodiscard]] testing::AssertionResult showMap(QSize viewSize)
    {
        if (const auto result = startOnPictures(10); !result)
            return result;
        replaceFile(0, mapFile({1200, 800}));
        return emptyView(viewSize);
    }

    /// Shows the only picture of a folder, with the real decoder.
    [[nodiscard]] testing::AssertionResult startOnFile(const QByteArray &content)
    {
        makeViewer(reader);
        start({"--bench", folder.write("000.png", content)});
        if (!waitForLoads(1))
            return testing::AssertionFailure() << "the picture is not loaded";
        return emptyView({600, 400});
    }

    /// Gives the view its size and clears the line that lies over the picture.
    [[nodiscard]] testing::AssertionResult emptyView(QSize viewSize)
    {
        viewer->labels().showInfo({});
        if (!resizeTo(viewSize))
            return testing::AssertionFailure() << "the window does not change its size";
        return testing::AssertionSuccess();
    }

    /// Keeps the load queue busy, with a load that will show nothing.
    [[nodiscard]] bool plugLoadQueue()
    {
        decoder.setCorrupt(9);
        decoder.hold(9);
        const std::size_t before = decoder.started().size();
        viewer->browser().jumpTo(9);
        return waitWithoutEvents([&] { return decoder.started().size() == before + 1; });
    }
    void unplugLoadQueue() { decoder.release(9); }

    void pressAt(QPointF position, Qt::MouseButton button = Qt::LeftButton) const
    {
        mouse(QEvent::MouseButtonPress, position, button, button);
    }
    void moveTo(QPointF position, Qt::MouseButton held = Qt::LeftButton) const
    {
        mouse(QEvent::MouseMove, position, Qt::NoButton, held);
    }
    void releaseAt(QPointF position, Qt::MouseButton button = Qt::LeftButton) const
    {
        mouse(QEvent::MouseButtonRelease, position, button, Qt::NoButton);
    }
    void mouse(QEvent::Type type, QPointF position, Qt::MouseButton button,
               Qt::MouseButtons buttons) const
    {
        QMouseEvent event(type, position, view->mapToGlobal(position), button, buttons,
                          Qt::NoModifier);
        QCoreApplication::sendEvent(view, &event);
    }

    [[nodiscard]] QRgb pixelAt(QPoint point) const { return grabView().pixel(point); }

    /// Waits until the full picture is seen: @p place of it at @p point of the view.
    [[nodiscard]] bool waitForMap(QPoint point, QPoint place) const
    {
        return waitFor([&] { return pixelAt(point) == colorAt(place.x(), place.y()); });
    }

    [[nodiscard]] const QRectF &frame() const { return viewer->screen().imageLayer().frame; }

    /// Whether picture @p number, as decoded for the screen, is shown fitted.
    [[nodiscard]] testing::AssertionResult isFitted(int number) const
    {
        if (viewer->screen().imageLayer().gravity != Gravity::ResizeAspect)
            return testing::AssertionFailure() << "it is stretched";
        if (frame() != viewer->screen().imageAreaRect())
            return testing::AssertionFailure() << "it is not in its place";
        if (test::numberOf(pixelAt(view->rect().center())) != number)
            return testing::AssertionFailure() << "another picture is shown";
        // What it would be fitted from if the window changed its size.
        if (test::numberOf(viewer->screen().imageLayer().contents.row(0)[0]) != number)
            return testing::AssertionFailure() << "another picture is behind it";
        return testing::AssertionSuccess();
    }
};

TEST_F(Loupe, CentreOfThePictureStaysUnderThePointer)
{
    ASSERT_TRUE(startOnMap());
    pressAt(CENTRE);
    EXPECT_EQ(frame(), QRectF(-300, -200, 1200, 800));
    EXPECT_TRUE(waitForMap(CENTRE, {600, 400}));
}

TEST_F(Loupe, LeftEdgeOfThePictureStaysUnderThePointer)
{
    ASSERT_TRUE(startOnMap({800, 400})); // 100 points are left on both sides
    pressAt({100, 200});
    EXPECT_EQ(frame(), QRectF(100, -200, 1200, 800));
    EXPECT_TRUE(waitForMap({100, 200}, {0, 400}));
    EXPECT_EQ(pixelAt({99, 200}), BLACK);
}

struct PlaceCase
{
    const char *name;
    QPoint point; // of the view
    QPoint place; // of the picture
};

void PrintTo(const PlaceCase &item, std::ostream *out)
{
    *out << item.name;
}

class LoupeAtPlace : public Loupe, public testing::WithParamInterface<PlaceCase>
{
protected:
    /// Whether the picture's place is seen at the point, but for @p tolerance pixels.
    [[nodiscard]] testing::AssertionResult isAtItsPlace(int tolerance) const
    {
        const QPoint off = placeOf(pixelAt(GetParam().point)) - GetParam().place;
        if (std::abs(off.x()) > tolerance || std::abs(off.y()) > tolerance)
            return testing::AssertionFailure() << "it is off by " << off.x() << ',' << off.y();
        return testing::AssertionSuccess();
    }
};

TEST_P(LoupeAtPlace, StaysUnderThePointer)
{
    ASSERT_TRUE(startOnFile(mapFile({1200, 800})));
    EXPECT_TRUE(isAtItsPlace(1)); // fitted: a point shows the mean of two pixels
    pressAt(GetParam().point);
    EXPECT_TRUE(isAtItsPlace(2)); // stretched; no event has been served
    EXPECT_TRUE(waitForMap(GetParam().point, GetParam().place));
    releaseAt(GetParam().point);
    EXPECT_TRUE(isAtItsPlace(1));
}

// Away from the labels, and from where a channel begins anew at 0.
INSTANTIATE_TEST_SUITE_P(Places, LoupeAtPlace,
                         testing::Values(PlaceCase{"leftAbove", {150, 100}, {300, 200}},
                                         PlaceCase{"rightAbove", {450, 90}, {900, 180}},
                                         PlaceCase{"leftEdge", {3, 251}, {6, 502}},
                                         PlaceCase{"rightBelow", {590, 390}, {1180, 780}},
                                         PlaceCase{"centre", {302, 202}, {604, 404}}),
                         [](const auto &item) { return item.param.name; });

TEST_F(Loupe, DisplayImageIsStretchedUntilTheFullOneIsThere)
{
    ASSERT_TRUE(startOnMap({800, 400}));
    ASSERT_TRUE(plugLoadQueue());
    pressAt({200, 200}); // 200 pixels are on the left of it
    test::serveWaitingEvents();
    EXPECT_EQ(frame(), QRectF(0, -200, 1200, 800));
    EXPECT_EQ(test::numberOf(pixelAt({0, 200})), 0); // it was black
}

TEST_F(Loupe, FullPictureReplacesTheStretchedOneInPlace)
{
    ASSERT_TRUE(startOnMap());
    pressAt({200, 100});
    const QRectF place = frame();
    ASSERT_TRUE(waitForMap({200, 100}, {400, 200}));
    EXPECT_EQ(frame(), place);
    const QImage image = grabView();
    for (int y = 0; y < 310; ++y) { // the status line is below
        for (int x = 0; x < 600; ++x)
            ASSERT_EQ(image.pixel(x, y), colorAt(x + 200, y + 100)) << "at " << x << ',' << y;
    }
}

TEST_F(Loupe, FullPictureIsInTheColoursOfTheScreen)
{
    ASSERT_TRUE(startOnPictures(10));
    QImage wide(1200, 800, QImage::Format_RGB32);
    wide.fill(qRgb(200, 150, 100));
    wide.setColorSpace(QColorSpace::DisplayP3);
    replaceFile(0, test::pngFile(wide));
    ASSERT_TRUE(emptyView({600, 400}));
    pressAt({200, 100});
    ASSERT_TRUE(waitFor([this] { return !test::numberOf(pixelAt({200, 100})); }));
    const QRgb color = pixelAt({200, 100});
    // By the primaries of Display P3 and the curve of sRGB.
    EXPECT_NEAR(qRed(color), 209, 2);
    EXPECT_NEAR(qGreen(color), 147, 2);
    EXPECT_NEAR(qBlue(color), 91, 2);
}

TEST_F(Loupe, PictureFollowsThePointerOneToOne)
{
    ASSERT_TRUE(startOnMap());
    pressAt(CENTRE);
    ASSERT_TRUE(waitForMap(CENTRE, {600, 400}));
    moveTo({310, 180});
    EXPECT_EQ(placeOf(pixelAt({310, 180})), QPoint(600, 400));
    moveTo({250, 230});
    EXPECT_EQ(placeOf(pixelAt({250, 230})), QPoint(600, 400));
}

TEST_F(Loupe, PictureCanBeMovedBeforeTheFullOneIsThere)
{
    ASSERT_TRUE(startOnMap());
    ASSERT_TRUE(plugLoadQueue());
    pressAt(CENTRE);
    moveTo({310, 180});
    EXPECT_EQ(frame(), QRectF(-290, -220, 1200, 800));
    unplugLoadQueue();
    EXPECT_TRUE(waitForMap({310, 180}, {600, 400}));
}

TEST_F(Loupe, PictureCanBeMovedOutOfTheViewAndBack)
{
    ASSERT_TRUE(startOnMap());
    pressAt({500, 200}); // frame from -500
    ASSERT_TRUE(waitForMap({500, 200}, {1000, 400}));
    moveTo({1100, 200}); // frame from 100
    EXPECT_EQ(pixelAt({99, 200}), BLACK);
    EXPECT_EQ(placeOf(pixelAt({100, 200})), QPoint(0, 400));
    moveTo({1600, 200}); // frame from 600, where the view ends
    const QImage image = grabView().copy(0, 0, 600, 310);
    QImage black(image.size(), image.format());
    black.fill(BLACK);
    EXPECT_EQ(image, black);
    moveTo({500, 200});
    EXPECT_EQ(placeOf(pixelAt({500, 200})), QPoint(1000, 400));
}

TEST_F(Loupe, ReleaseReturnsToTheFittedPicture)
{
    ASSERT_TRUE(startOnMap());
    pressAt(CENTRE);
    ASSERT_TRUE(waitForMap(CENTRE, {600, 400}));
    moveTo({100, 100});
    releaseAt({100, 100});
    EXPECT_TRUE(isFitted(0));
    EXPECT_EQ(viewer->screen().fitRect(), FITTED);
}

TEST_F(Loupe, MoveAfterTheReleaseDoesNothing)
{
    ASSERT_TRUE(startOnMap());
    pressAt(CENTRE);
    releaseAt(CENTRE);
    moveTo({100, 100});
    EXPECT_TRUE(isFitted(0));
}

TEST_F(Loupe, ReleaseBeforeTheFullPictureIsDecodedStaysFitted)
{
    ASSERT_TRUE(startOnMap());
    ASSERT_TRUE(plugLoadQueue());
    pressAt(CENTRE);
    releaseAt(CENTRE);
    EXPECT_TRUE(isFitted(0));
    const int seen = mailbox.deliveries;
    unplugLoadQueue();
    ASSERT_TRUE(waitFor([&] { return mailbox.deliveries > seen; })); // of the load
    // A later load ends after what the loupe has asked for.
    press(Qt::Key_Left);
    ASSERT_TRUE(waitFor([this] { return test::numberOf(pixelAt(CENTRE)) == 8; }));
    EXPECT_TRUE(isFitted(8));
}

TEST_F(Loupe, FullPictureThatIsReadyButNotSeenAtTheReleaseIsDropped)
{
    ASSERT_TRUE(startOnMap());
    pressAt(CENTRE);
    ASSERT_TRUE(plugLoadQueue()); // behind the full picture
    releaseAt(CENTRE);
    const int seen = mailbox.deliveries;
    ASSERT_TRUE(waitForLoads(seen + 1));
    EXPECT_TRUE(isFitted(0));
}

TEST_F(Loupe, FirstGesturesPictureNeverShowsInTheSecond)
{
    ASSERT_TRUE(startOnMap());
    pressAt(CENTRE);
    ASSERT_TRUE(plugLoadQueue()); // behind the first gesture's picture
    releaseAt(CENTRE);
    replaceFile(0, linesFile({1200, 800}));
    pressAt(CENTRE);
    const int seen = mailbox.deliveries;
    ASSERT_TRUE(waitForLoads(seen + 1));
    EXPECT_EQ(test::numberOf(pixelAt(CENTRE)), 0); // the display image, stretched
    unplugLoadQueue();
    EXPECT_TRUE(waitFor([this] { return pixelAt(CENTRE) == 0xffffffff; }));
}

TEST_F(Loupe, SecondPressOfADoubleClickHoldsThePictureAgain)
{
    ASSERT_TRUE(startOnMap());
    pressAt(CENTRE);
    releaseAt(CENTRE);
    mouse(QEvent::MouseButtonDblClick, CENTRE, Qt::LeftButton, Qt::LeftButton);
    EXPECT_EQ(frame(), QRectF(-300, -200, 1200, 800));
    EXPECT_TRUE(waitForMap(CENTRE, {600, 400}));
}

TEST_F(Loupe, PressInTheMarginDoesNothing)
{
    ASSERT_TRUE(startOnMap({800, 400})); // 100 points are left on both sides
    for (const QPointF margin : {QPointF(99, 200), QPointF(700, 200)}) {
        pressAt(margin);
        EXPECT_TRUE(isFitted(0));
        EXPECT_EQ(statusText(), "");
    }
}

TEST_F(Loupe, DragAndReleaseAfterAPressInTheMarginDoNothing)
{
    ASSERT_TRUE(startOnMap({800, 400}));
    viewer->labels().showStatus(QStringLiteral("ok"), false);
    pressAt({50, 200});
    moveTo({400, 200});
    EXPECT_TRUE(isFitted(0));
    releaseAt({400, 200});
    EXPECT_TRUE(isFitted(0));
    EXPECT_EQ(statusText(), "ok");
}

TEST_F(Loupe, SaysHowToGoOnWhileItIsHeld)
{
    ASSERT_TRUE(startOnMap());
    pressAt(CENTRE);
    EXPECT_EQ(statusText(), "🔍 100% — ลากเพื่อแพน ปล่อยเพื่อกลับ");
    ASSERT_TRUE(waitForMap(CENTRE, {600, 400}));
    moveTo({100, 100});
    EXPECT_EQ(statusText(), "🔍 100% — ลากเพื่อแพน ปล่อยเพื่อกลับ");
    releaseAt({100, 100});
    EXPECT_EQ(statusText(), "");
}

TEST_F(Loupe, RightButtonDoesNothing)
{
    ASSERT_TRUE(startOnMap());
    pressAt(CENTRE, Qt::RightButton);
    moveTo({100, 100}, Qt::RightButton);
    EXPECT_TRUE(isFitted(0));
    EXPECT_EQ(statusText(), "");
}

TEST_F(Loupe, ReleaseOfTheRightButtonDoesNotEndIt)
{
    ASSERT_TRUE(startOnMap());
    pressAt(CENTRE);
    mouse(QEvent::MouseButtonPress, CENTRE, Qt::RightButton, Qt::LeftButton | Qt::RightButton);
    mouse(QEvent::MouseButtonRelease, CENTRE, Qt::RightButton, Qt::LeftButton);
    EXPECT_EQ(frame(), QRectF(-300, -200, 1200, 800));
    EXPECT_TRUE(waitForMap(CENTRE, {600, 400}));
}

TEST_F(Loupe, FileWithoutASizeIsNotEnlarged)
{
    ASSERT_TRUE(startOnMapOfUnknownSize());
    replaceFile(0, "no picture");
    pressAt(CENTRE);
    moveTo({100, 100});
    ASSERT_TRUE(waitForLoads(2)); // the size that was asked for
    EXPECT_TRUE(isFitted(0));
    EXPECT_EQ(statusText(), "");
}

TEST_F(Loupe, SizeThatTheDecodeHasToldIsNotReadAgain)
{
    ASSERT_TRUE(startOnMap());
    std::filesystem::remove(folder / "pictures/000.jpg");
    pressAt(CENTRE);
    EXPECT_EQ(frame(), QRectF(-300, -200, 1200, 800));
}

TEST_F(Loupe, SizeThatNobodyHasToldIsReadAndThenThePictureEnlarged)
{
    ASSERT_TRUE(startOnMapOfUnknownSize());
    pressAt(CENTRE);
    EXPECT_TRUE(isFitted(0));
    moveTo(CENTRE + QPoint(10, 20));
    ASSERT_TRUE(waitFor([this] { return !isFitted(0); }));
    EXPECT_EQ(frame(), QRectF(-290, -180, 1200, 800));
}

TEST_F(Loupe, ReleaseBeforeTheSizeIsReadLeavesThePictureFitted)
{
    ASSERT_TRUE(startOnMapOfUnknownSize());
    pressAt(CENTRE);
    releaseAt(CENTRE);
    ASSERT_TRUE(waitForLoads(2)); // the size
    EXPECT_TRUE(isFitted(0));
    EXPECT_EQ(statusText(), "");
}

TEST_F(Loupe, FileThatCanNotBeDecodedStaysStretched)
{
    ASSERT_TRUE(startOnMap());
    replaceFile(0, mapFile({1200, 800}).first(60)); // its size, and no pixels
    pressAt(CENTRE);
    const int seen = mailbox.deliveries;
    ASSERT_TRUE(waitForLoads(seen + 1));
    EXPECT_EQ(frame(), QRectF(-300, -200, 1200, 800));
    EXPECT_EQ(test::numberOf(pixelAt(CENTRE)), 0);
}

TEST_F(Loupe, SizeThatTheInformationLineHasReadIsNotReadAgain)
{
    ASSERT_TRUE(startOnMap());
    ASSERT_TRUE(pauses.end(test::INFO_PAUSE));
    ASSERT_TRUE(waitFor([this] { return !detailText().empty(); }));
    std::filesystem::remove(folder / "pictures/000.jpg");
    pressAt(CENTRE);
    EXPECT_EQ(frame(), QRectF(-300, -200, 1200, 800));
}

TEST_F(Loupe, SizeThatTheInformationLineCanNotReadIsForgotten)
{
    ASSERT_TRUE(startOnMap());
    pressAt(CENTRE);
    EXPECT_EQ(frame(), QRectF(-300, -200, 1200, 800));
    releaseAt(CENTRE);
    ASSERT_TRUE(waitForLoads(2)); // what the loupe has asked for
    std::filesystem::remove(folder / "pictures/000.jpg");
    ASSERT_TRUE(pauses.end(test::INFO_PAUSE));
    ASSERT_TRUE(waitForLoads(3));
    pressAt(CENTRE);
    EXPECT_TRUE(isFitted(0));
    EXPECT_EQ(statusText(), "");
}

TEST_F(Loupe, SizeOfThePreviousPictureIsForgotten)
{
    ASSERT_TRUE(startOnMap());
    pressAt(CENTRE);
    releaseAt(CENTRE);
    replaceFile(1, mapFile({900, 600}));
    press(Qt::Key_Right);
    ASSERT_TRUE(waitFor([this] { return test::numberOf(pixelAt(CENTRE)) == 1; }));
    pressAt(CENTRE);
    EXPECT_EQ(frame(), QRectF(-150, -100, 900, 600));
}

TEST_F(Loupe, WithoutAPictureNothingIsEnlarged)
{
    start({"--bench"});
    ASSERT_TRUE(emptyView({600, 400}));
    pressAt(CENTRE);
    moveTo({100, 100});
    releaseAt({100, 100});
    EXPECT_EQ(viewer->screen().imageLayer().gravity, Gravity::ResizeAspect);
    EXPECT_EQ(pixelAt(CENTRE), BLACK);
}

TEST_F(Loupe, BeforeTheFirstPictureIsThereNothingIsEnlarged)
{
    decoder.closeGate();
    startLoading(2);
    ASSERT_TRUE(emptyView({600, 400}));
    pressAt(CENTRE);
    EXPECT_EQ(viewer->screen().imageLayer().gravity, Gravity::ResizeAspect);
    EXPECT_EQ(statusText(), "");
}

TEST_F(Loupe, PictureOfAnEarlierFolderIsNotEnlarged)
{
    ASSERT_TRUE(startOnMap());
    decoder.closeGate();
    open(makePictures("others", 7, 8));
    ASSERT_TRUE(waitForStarts(2));
    pressAt(CENTRE);
    EXPECT_TRUE(isFitted(0));
    EXPECT_EQ(statusText(), "");
}

TEST_F(Loupe, PictureThatWasDeletedIsNotEnlarged)
{
    ASSERT_TRUE(startOnMap());
    decoder.closeGate();
    press(Qt::Key_D);
    ASSERT_TRUE(waitForStarts(2)); // of the next one
    pressAt(CENTRE);
    EXPECT_TRUE(isFitted(0));
    EXPECT_EQ(statusText(), "🗑 ลบแล้ว");
}

TEST_F(Loupe, EnlargesThePictureOnScreenWhileAnotherIsLoaded)
{
    ASSERT_TRUE(startOnMap());
    ASSERT_TRUE(plugLoadQueue());
    pressAt(CENTRE);
    unplugLoadQueue();
    EXPECT_TRUE(waitForMap(CENTRE, {600, 400}));
}

TEST_F(Loupe, FullPictureNeverCoversTheOneThatTheUserHasSteppedTo)
{
    ASSERT_TRUE(startOnMap());
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(2));
    press(Qt::Key_Left); // both are cached now
    viewer->labels().showInfo({});
    pressAt(CENTRE);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitForLoads(3)); // what the loupe has asked for
    EXPECT_EQ(test::numberOf(pixelAt(CENTRE)), 1);
    releaseAt(CENTRE);
    EXPECT_TRUE(isFitted(1));
}

TEST_F(Loupe, WindowThatChangesItsSizeMeanwhileGetsAPictureThatFits)
{
    ASSERT_TRUE(startOnMap());
    pressAt(CENTRE);
    ASSERT_TRUE(waitForMap(CENTRE, {600, 400}));
    ASSERT_TRUE(resizeTo({450, 500}));
    releaseAt(CENTRE);
    EXPECT_TRUE(isFitted(0));
    EXPECT_EQ(viewer->screen().imageLayer().rendition.size(), QSize(450, 300));
    EXPECT_EQ(pixelAt({225, 99}), BLACK);
    EXPECT_EQ(test::numberOf(pixelAt({225, 100})), 0);
    EXPECT_EQ(test::numberOf(pixelAt({225, 399})), 0);
    EXPECT_EQ(pixelAt({225, 400}), BLACK);
}

TEST_F(Loupe, WindowThatChangesItsSizeLeavesTheFrameWhereItIs)
{
    ASSERT_TRUE(startOnMap());
    pressAt(CENTRE);
    ASSERT_TRUE(resizeTo({450, 500}));
    EXPECT_EQ(frame(), QRectF(-300, -200, 1200, 800));
}

TEST_F(Loupe, FullPictureForAViewerThatHasGoneIsDropped)
{
    ASSERT_TRUE(startOnMap());
    const int seen = mailbox.deliveries;
    pressAt(CENTRE);
    ASSERT_TRUE(plugLoadQueue()); // behind the full picture
    viewer.reset();
    EXPECT_TRUE(waitFor([&] { return mailbox.deliveries > seen; }));
}

/// With display images that are not enlarged by a whole number: Qt smooths those on threads of its
/// own.
class SmoothLoupe : public Loupe
{};

TEST_F(SmoothLoupe, FullPictureHasDetailsOfOnePixel)
{
    ASSERT_TRUE(startOnFile(linesFile({1200, 800})));
    pressAt(CENTRE); // pixel 300 is at the left edge
    ASSERT_TRUE(waitFor([this] { return pixelAt({0, 100}) == 0xffffffff; }));
    const QImage image = grabView();
    for (int x = 0; x < 600; ++x)
        ASSERT_EQ(image.pixel(x, 100), x % 2 == 0 ? 0xffffffff : BLACK) << "at " << x;
}

TEST_F(SmoothLoupe, PictureThatArrivesWhileItIsHeldEndsIt)
{
    ASSERT_TRUE(startOnMap());
    decoder.setSize(1, {20, 30});
    pressAt(CENTRE);
    ASSERT_TRUE(waitForMap(CENTRE, {600, 400}));
    press(Qt::Key_Right);
    ASSERT_TRUE(waitFor([this] { return test::numberOf(pixelAt(CENTRE)) == 1; }));
    EXPECT_TRUE(isFitted(1));
    EXPECT_EQ(statusText(), "");
    EXPECT_EQ(viewer->screen().imageLayer().rendition.size(), QSize(267, 400));
    EXPECT_EQ(pixelAt({100, 200}), BLACK);
    moveTo({350, 230}); // still held
    releaseAt({350, 230});
    EXPECT_TRUE(isFitted(1));
}

TEST_F(SmoothLoupe, PictureThatArrivesLeavesANewerMessage)
{
    ASSERT_TRUE(startOnMap());
    pressAt(CENTRE);
    ASSERT_TRUE(waitForMap(CENTRE, {600, 400}));
    viewer->labels().showStatus(QStringLiteral("🗑 ลบแล้ว"), true);
    press(Qt::Key_Right);
    ASSERT_TRUE(waitFor([this] { return test::numberOf(pixelAt(CENTRE)) == 1; }));
    EXPECT_EQ(statusText(), "🗑 ลบแล้ว");
}

} // namespace
} // namespace tavolin
