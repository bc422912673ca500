// Looking at pictures closely before a real X server: wheel, loupe, jump to a name, help page, the
// line of details, and neighbours that are ready before they are asked for.

#include "decoding/Decoding.h"
#include "e2e/MeanDifference.h"
#include "e2e/ViewerTest.h"
#include "pixels/Geometry.h"
#include "pixels/Resample.h"

#include <algorithm>
#include <cstdlib>
#include <initializer_list>

#include <linux/input-event-codes.h>

namespace tavolin {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

/// So large that 27 pixels of the screen show 50 of the picture's.
constexpr QSize LARGE_SIZE{3000, 2000};

/// Where the mouse is pressed, and which pixel of a large picture is there: 25 pixels to the left
/// of the red patch's right edge and 50 above its lower one.
constexpr QPoint PRESS_POINT{339, 108};
constexpr QPoint PRESSED_PIXEL{350, 200};
constexpr QSize RED_AT_100_PERCENT{25, 50};

/// Where the search field is.
constexpr QRect FIELD_RECT{790, 64, 340, 26};

constexpr QRgb WHITE = 0xffffffff;

/// How far red goes to the right of @p point and down from it, itself included, in pixels.
QSize redFrom(const QImage &screen, QPoint point)
{
    const auto isRed = [&](int x, int y) {
        const QRgb pixel = screen.pixel(x, y);
        return qRed(pixel) > 200 && qGreen(pixel) < 60 && qBlue(pixel) < 60;
    };
    QSize size(0, 0);
    while (isRed(point.x() + size.width(), point.y()))
        ++size.rwidth();
    while (isRed(point.x(), point.y() + size.height()))
        ++size.rheight();
    return size;
}

/// The screen has no alpha.
bool isSameColor(Pixel a, Pixel b)
{
    return (a | 0xff000000) == (b | 0xff000000);
}

/// Whether @p size is @p wanted but for the soft edges of a JPEG's colours.
bool isAbout(QSize size, QSize wanted)
{
    return std::abs(size.width() - wanted.width()) <= 2 &&
           std::abs(size.height() - wanted.height()) <= 2;
}

/// The smallest rectangle with everything that differs between two pictures of one size.
QRect changedRect(const QImage &a, const QImage &b)
{
    QRect changed;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            if (a.pixel(x, y) != b.pixel(x, y))
                changed |= QRect(x, y, 1, 1);
        }
    }
    return changed;
}

/// The share (0 to 1) of the pixels of @p after that are those of @p before under black of 85 %.
double darkenedShare(const QImage &before, const QImage &after)
{
    const auto isDarkened = [](int from, int to) { return std::abs(to - 0.15 * from) <= 2; };
    int count = 0;
    for (int y = 0; y < after.height(); ++y) {
        for (int x = 0; x < after.width(); ++x) {
            const QRgb from = before.pixel(x, y);
            const QRgb to = after.pixel(x, y);
            count += isDarkened(qRed(from), qRed(to)) && isDarkened(qGreen(from), qGreen(to)) &&
                     isDarkened(qBlue(from), qBlue(to));
        }
    }
    return static_cast<double>(count) / (after.width() * after.height());
}

class LookCloselyTest : public ViewerTest
{
protected:
    /// Opens a folder of one large picture and waits until all about it is on the screen.
    [[nodiscard]] bool openLargePicture()
    {
        addPictures(1, LARGE_SIZE);
        return openFolder() && waitForDetails();
    }

    void pressAt(QPoint point)
    {
        m_client->moveMouse(point);
        m_client->pressButton(LEFT_BUTTON);
    }

    /// Waits until the press point lies in the red patch as it does at 100 %, with the mouse at
    /// @p mouse.
    [[nodiscard]] bool waitForRedAround(QPoint mouse)
    {
        return waitUntil([&] {
            return isAbout(redFrom(m_client->screen(SCREEN_RECT), mouse), RED_AT_100_PERCENT);
        });
    }

    /// Taps @p key and waits until @p rect looks different.
    [[nodiscard]] bool tapChanges(int key, const QRect &rect)
    {
        const QImage before = m_client->screen(rect);
        tap(key);
        return waitUntil([&] { return m_client->screen(rect) != before; });
    }

    [[nodiscard]] bool waitForScreen(const QImage &wanted)
    {
        return waitUntil([&] { return m_client->screen(SCREEN_RECT) == wanted; });
    }

    void type(std::initializer_list<int> keys)
    {
        for (const int key : keys)
            tap(key);
    }

    /// Opens the search field, which covers a part of the picture.
    [[nodiscard]] bool openSearch() { return tapChanges(KEY_J, FIELD_RECT); }

    /// Shows the third of five pictures, waits until its neighbours are ready and removes all
    /// files.
    [[nodiscard]] bool openTheThirdOfFiveAndRemoveAll()
    {
        addPictures(5, LARGE_SIZE);
        startViewer({m_folder.filePath(u"IMG_1003.jpg"_s)});
        if (!waitForPicture(3) || !waitForDetails())
            return false;
        for (int index = 1; index <= 5; ++index)
            fs::remove(pathOf("IMG_100" + std::to_string(index) + ".jpg"));
        return true;
    }

    /// Taps @p key and returns the picture that is on the screen on the first look that shows
    /// another position.
    [[nodiscard]] std::optional<int> firstSeenAfter(int key)
    {
        const QImage counter = m_client->screen(COUNTER_RECT);
        tap(key);
        QImage look;
        const bool hasMoved = waitUntil([&] {
            look = m_client->screen(SCREEN_RECT);
            return look.copy(COUNTER_RECT) != counter;
        });
        return hasMoved ? pictures::readIndex(look.copy(LANDSCAPE_RECT)) : std::nullopt;
    }
};

TEST_F(LookCloselyTest, WheelStepsForwardWhenTurnedDownAndBackWhenTurnedUp)
{
    addPictures(3);
    ASSERT_TRUE(openFolder());
    m_client->moveMouse(SCREEN_RECT.center());
    m_client->click(WHEEL_DOWN);
    EXPECT_TRUE(waitForPicture(2));
    m_client->click(WHEEL_DOWN);
    EXPECT_TRUE(waitForPicture(3));
    m_client->click(WHEEL_UP);
    EXPECT_TRUE(waitForPicture(2));
}

TEST_F(LookCloselyTest, NoNotchOfAQuickWheelIsLost)
{
    constexpr int NOTCHES = 12;
    addPictures(NOTCHES + 3);
    ASSERT_TRUE(openFolder());
    m_client->moveMouse(SCREEN_RECT.center());
    for (int notch = 0; notch < NOTCHES; ++notch)
        m_client->click(WHEEL_DOWN);
    EXPECT_TRUE(waitForPicture(1 + NOTCHES));
}

TEST_F(LookCloselyTest, HeldMouseEnlargesAroundThePointUnderIt)
{
    ASSERT_TRUE(openLargePicture());
    ASSERT_TRUE(isAbout(redFrom(m_client->screen(SCREEN_RECT), PRESS_POINT), {13, 27}));
    pressAt(PRESS_POINT);
    EXPECT_TRUE(waitForRedAround(PRESS_POINT));
}

TEST_F(LookCloselyTest, HeldMouseShowsThePicturesOwnPixels)
{
    addPicture("detailed.png", {.size = LARGE_SIZE});
    const QImage picture(QString::fromStdString(pathOf("detailed.png").native()));
    ASSERT_EQ(picture.size(), LARGE_SIZE);
    ASSERT_TRUE(openFolder());
    pressAt(PRESS_POINT);
    constexpr QRect SEEN{800, 300, 600, 400}; // without any text
    const QImage wanted = picture.copy(SEEN.translated(PRESSED_PIXEL - PRESS_POINT));
    EXPECT_TRUE(waitUntil([&] { return meanDifference(m_client->screen(SEEN), wanted) < 0.01; }));
}

TEST_F(LookCloselyTest, DragTakesThePictureAlongOneToOne)
{
    ASSERT_TRUE(openLargePicture());
    pressAt(PRESS_POINT);
    ASSERT_TRUE(waitForRedAround(PRESS_POINT));
    for (const QPoint offset : {QPoint(60, 90), QPoint(400, 300), QPoint(-100, -40)}) {
        m_client->moveMouse(PRESS_POINT + offset);
        ASSERT_TRUE(waitForRedAround(PRESS_POINT + offset)) << offset.x() << ", " << offset.y();
    }
}

TEST_F(LookCloselyTest, ReleaseReturnsToTheFittedPicture)
{
    ASSERT_TRUE(openLargePicture());
    const QImage fitted = m_client->screen(SCREEN_RECT);
    pressAt(PRESS_POINT);
    ASSERT_TRUE(waitForRedAround(PRESS_POINT));
    m_client->moveMouse(PRESS_POINT + QPoint(60, 90));
    m_client->releaseButton(LEFT_BUTTON);
    EXPECT_TRUE(waitForScreen(fitted));
}

TEST_F(LookCloselyTest, TypingAPartOfANameJumpsToIt)
{
    addPictures(12);
    ASSERT_TRUE(openFolder());
    ASSERT_TRUE(openSearch());
    type({KEY_1, KEY_0, KEY_0, KEY_7});
    EXPECT_TRUE(waitForPicture(7));
    type({KEY_BACKSPACE, KEY_BACKSPACE, KEY_1, KEY_2}); // 1012
    EXPECT_TRUE(waitForPicture(12));
}

TEST_F(LookCloselyTest, ReturnClosesTheFieldAndKeysStepAgain)
{
    addPictures(6);
    ASSERT_TRUE(openFolder());
    ASSERT_TRUE(openSearch());
    type({KEY_0, KEY_4, KEY_RIGHT, KEY_ENTER, KEY_RIGHT}); // only the last one is a step
    EXPECT_TRUE(waitForPicture(5));
}

TEST_F(LookCloselyTest, EscapeInTheFieldClosesItAndTheNextOneQuits)
{
    addPictures(1);
    ASSERT_TRUE(openFolder());
    ASSERT_TRUE(waitForDetails());
    const QImage before = m_client->screen(SCREEN_RECT);
    ASSERT_TRUE(openSearch());
    tap(KEY_ESC);
    EXPECT_TRUE(waitForScreen(before));
    EXPECT_TRUE(m_viewer->isRunning());
    tap(KEY_ESC);
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
}

TEST_F(LookCloselyTest, LettersInTheFieldAreNoCommands)
{
    addPicture("fjord.jpg", 1, 3);
    addPicture("hoh.jpg", 2, 3);
    addPicture("oh space.jpg", 3, 3);
    ASSERT_TRUE(openFolder());
    ASSERT_TRUE(openSearch());
    type({KEY_H, KEY_O, KEY_H});
    ASSERT_TRUE(waitForPicture(2));
    for (int letter = 0; letter < 3; ++letter)
        tap(KEY_BACKSPACE);
    type({KEY_H, KEY_SPACE});
    ASSERT_TRUE(waitForPicture(3));
    EXPECT_EQ(m_client->windows().size(), 1U); // no folder dialog
    // With the help page there, the second Escape would only close that.
    type({KEY_ESC, KEY_ESC});
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
}

TEST_F(LookCloselyTest, HelpIsWhiteTextOnADarkenedPictureInTheMiddle)
{
    addPictures(1);
    ASSERT_TRUE(openFolder());
    ASSERT_TRUE(waitForDetails());
    const QImage before = m_client->screen(SCREEN_RECT);
    ASSERT_TRUE(tapChanges(KEY_H, SCREEN_RECT));
    const QImage after = m_client->screen(SCREEN_RECT);
    const QRect panel = changedRect(before, after);
    EXPECT_NEAR(panel.x(), SCREEN_RECT.width() - panel.x() - panel.width(), 1);
    EXPECT_NEAR(panel.y(), SCREEN_RECT.height() - panel.y() - panel.height(), 1);
    EXPECT_GT(panel.width(), 400);
    EXPECT_GT(panel.height(), 200);
    EXPECT_TRUE(hasText(after.copy(panel), WHITE));
    EXPECT_GT(darkenedShare(before.copy(panel), after.copy(panel)), 0.8);
}

TEST_F(LookCloselyTest, EscapeClosesHelpAndTheNextOneQuits)
{
    addPictures(1);
    ASSERT_TRUE(openFolder());
    ASSERT_TRUE(waitForDetails());
    const QImage before = m_client->screen(SCREEN_RECT);
    ASSERT_TRUE(tapChanges(KEY_H, SCREEN_RECT));
    tap(KEY_ESC);
    EXPECT_TRUE(waitForScreen(before));
    EXPECT_TRUE(m_viewer->isRunning());
    tap(KEY_ESC);
    EXPECT_EQ(waitForExit(), 0) << m_viewer->standardError().toStdString();
}

TEST_F(LookCloselyTest, DetailsComeAfterAPauseAndGoWithTheNextPicture)
{
    addPictures(2);
    startViewer({m_folder.path()});
    QImage look;
    const auto seesPicture = [&](int index) {
        look = m_client->screen(SCREEN_RECT);
        return pictures::readIndex(look.copy(LANDSCAPE_RECT)) == index;
    };
    ASSERT_TRUE(waitUntil([&] { return seesPicture(1); }));
    EXPECT_TRUE(isAll(look.copy(DETAIL_START_RECT), BLACK));
    ASSERT_TRUE(waitForDetails());
    tap(KEY_RIGHT);
    ASSERT_TRUE(waitUntil([&] { return seesPicture(2); }));
    EXPECT_TRUE(isAll(look.copy(DETAIL_START_RECT), BLACK));
    EXPECT_TRUE(waitForDetails());
}

TEST_F(LookCloselyTest, TwoNextPicturesAppearTogetherWithTheirPositionAndNeedNoFile)
{
    ASSERT_TRUE(openTheThirdOfFiveAndRemoveAll());
    EXPECT_EQ(firstSeenAfter(KEY_RIGHT), 4);
    EXPECT_EQ(firstSeenAfter(KEY_RIGHT), 5);
}

TEST_F(LookCloselyTest, TwoPreviousPicturesAppearTogetherWithTheirPositionAndNeedNoFile)
{
    ASSERT_TRUE(openTheThirdOfFiveAndRemoveAll());
    EXPECT_EQ(firstSeenAfter(KEY_LEFT), 2);
    EXPECT_EQ(firstSeenAfter(KEY_LEFT), 1);
}

TEST_F(LookCloselyTest, PictureAtRestIsAsSharpAsALargeScreen)
{
    constexpr QSize LARGE_SCREEN(3840, 2160);
    constexpr int BELOW_THE_LABELS = 100;
    ASSERT_TRUE(startServer(u"us"_s, {}, LARGE_SCREEN));
    addPicture("1.jpg", {.size = {4500, 3000}});
    const QRectF fitted = fitRect(QRectF(QPointF(0, 0), LARGE_SCREEN), QSizeF(2560, 1707));
    const QRect place = toDevicePixels(fitted, 1);
    const Image sharp = resampled(loadFullImage(pathOf("1.jpg")), place.size());
    ASSERT_FALSE(sharp.isNull());
    startViewer({m_folder.path()});
    const auto isShown = [&] {
        const QImage screen = m_client->screen(place);
        for (int y = BELOW_THE_LABELS; y < sharp.height(); ++y)
            if (!std::equal(sharp.row(y), sharp.row(y) + sharp.width(),
                            reinterpret_cast<const Pixel *>(screen.constScanLine(y)), isSameColor))
                return false;
        return true;
    };
    EXPECT_TRUE(waitUntil(isShown));
}

TEST_F(LookCloselyTest, PhysicalHAndJWorkUnderAThaiLayout)
{
    ASSERT_TRUE(startServer(u"th"_s));
    ASSERT_EQ(m_client->symbol(KEY_H, 0), 0xde9UL); // THAI CHARACTER MAI THO: no letter H
    ASSERT_EQ(m_client->symbol(KEY_D, 0), 0xda1UL); // THAI CHARACTER KO KAI
    ASSERT_EQ(m_client->symbol(KEY_K, 0), 0xdd2UL); // THAI CHARACTER SARA AA
    addPicture("1.jpg", 1, 2);
    addPicture("กา.jpg", 2, 2);
    ASSERT_TRUE(openFolder());
    ASSERT_TRUE(waitForDetails());
    const QImage before = m_client->screen(SCREEN_RECT);
    ASSERT_TRUE(tapChanges(KEY_H, SCREEN_RECT));
    tap(KEY_H);
    ASSERT_TRUE(waitForScreen(before));
    ASSERT_TRUE(openSearch());
    type({KEY_D, KEY_K});
    EXPECT_TRUE(waitForPicture(2));
}

} // namespace

} // namespace tavolin
