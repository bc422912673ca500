// Screens with more than one pixel to a point, or with one and a fraction: pictures are shown pixel
// for pixel, and everything else is as large as it was.

#include "e2e/ViewerTest.h"
#include "e2e/Weston.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <vector>

namespace tavolin {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// The part of a picture that no text lies over.
QRect lowerHalf(QSize size)
{
    return {0, size.height() / 2, size.width(), size.height() / 2};
}

/// Black above, so that texts stand out; below, no two pixels beside each other are alike.
QImage grainyPicture(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::black);
    quint32 random = 1;
    const QRect grainy = lowerHalf(size);
    for (int y = grainy.top(); y <= grainy.bottom(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            random = random * 1664525 + 1013904223; // Numerical Recipes' generator
            image.setPixel(x, y, BLACK | random >> 8);
        }
    }
    return image;
}

/// From the first row of @p image with a pixel that @p isMeant to the last: how many there are.
template <typename Predicate>
int heightOf(const QImage &image, Predicate isMeant)
{
    QRect bounds;
    for (int y = 0; y < image.height(); ++y) {
        const auto *row = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        if (std::any_of(row, row + image.width(), isMeant))
            bounds |= QRect(0, y, 1, 1);
    }
    return bounds.height();
}

bool isNotBlack(QRgb pixel)
{
    return qGray(pixel) > 0;
}

bool isAccent(QRgb pixel)
{
    return pixel == 0xff00bfff;
}

class ScaleTest : public ViewerTest
{
protected:
    /// Starts the viewer on a picture as large as the screen, @p scale pixels to a point, and waits
    /// until it is there, pixel for pixel.
    [[nodiscard]] testing::AssertionResult start(double scale)
    {
        m_scale = scale;
        if (!m_picture.save(m_folder.filePath(u"a.png"_s)))
            return testing::AssertionFailure() << "there is no picture";
        m_additions.insert(u"QT_SCALE_FACTOR"_s, QString::number(scale));
        startViewer({m_folder.path()});
        const QRect grainy = lowerHalf(m_picture.size());
        if (!waitUntil([&] { return m_client->screen(grainy) == m_picture.copy(grainy); }))
            return testing::AssertionFailure() << "the picture is not on the screen as it is";
        return testing::AssertionSuccess();
    }

    /// What is on the screen, @p rect points of it.
    [[nodiscard]] QImage points(const QRectF &rect) const
    {
        return m_client->screen(QRectF(rect.topLeft() * m_scale, rect.size() * m_scale).toRect());
    }

    /// How high the two lines at the top are, from the first one's letters to the second one's.
    [[nodiscard]] std::optional<double> heightOfTheLines()
    {
        if (!waitUntil([this] { return heightOf(points({20, 42, 200, 18}), isNotBlack) > 0; }))
            return {};
        return heightOf(points({20, 10, 200, 54}), isNotBlack) / m_scale;
    }

    /// How high the buttons of the crop bar are: one of them has the colour of what is suggested.
    [[nodiscard]] std::optional<double> heightOfTheButtons()
    {
        tap(KEY_X);
        const QSizeF view = QSizeF(SCREEN_RECT.size()) / m_scale;
        int height = 0;
        const auto areThere = [&] {
            height = heightOf(points({0, view.height() - 76, view.width(), 76}), isAccent);
            return height > 0;
        };
        if (!waitUntil(areThere))
            return {};
        return height / m_scale;
    }

    const QImage m_picture = grainyPicture(SCREEN_RECT.size());
    double m_scale = 1;
};

class EachScale : public ScaleTest, public testing::WithParamInterface<double>
{};

TEST_P(EachScale, ShowsAPictureAsLargeAsTheScreenPixelForPixel)
{
    EXPECT_TRUE(start(GetParam()));
}

TEST_P(EachScale, LeavesTextsAndTheCropBarAsLargeAsTheyAre)
{
    ASSERT_TRUE(start(1));
    const auto lines = heightOfTheLines();
    const auto buttons = heightOfTheButtons();
    ASSERT_TRUE(lines && buttons);
    m_viewer.reset();
    ASSERT_TRUE(start(GetParam()));
    const auto scaledLines = heightOfTheLines();
    const auto scaledButtons = heightOfTheButtons();
    ASSERT_TRUE(scaledLines && scaledButtons);
    EXPECT_NEAR(*scaledLines, *lines, 2); // whole pixels of either
    EXPECT_NEAR(*scaledButtons, *buttons, 1);
}

INSTANTIATE_TEST_SUITE_P(X11, EachScale, testing::Values(1, 1.25, 1.5, 2));

/// In a compositor with a screen of two pixels to a point, and one as large with one.
class WaylandScaleTest : public ViewerTest
{
protected:
    static constexpr WestonOutput SHARP{{640, 400}, 2};
    static constexpr WestonOutput PLAIN{{640, 400}, 1};

    void SetUp() override
    {
        if (const QString reason = Weston::whyUnavailable(); !reason.isEmpty())
            GTEST_SKIP() << reason.toStdString();
        ViewerTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        m_weston.emplace(*m_server, std::vector{SHARP, PLAIN});
        ASSERT_TRUE(m_weston->error().isEmpty()) << m_weston->error().toStdString();
        ASSERT_TRUE(m_large.save(m_folder.filePath(u"a.png"_s)));
        ASSERT_TRUE(m_small.save(m_folder.filePath(u"b.png"_s)));
    }

    void TearDown() override
    {
        ViewerTest::TearDown();
        m_weston.reset();
    }

    /// Waits until @p picture is on the screen, pixel for pixel, but for its upper half.
    [[nodiscard]] bool waitForAll(const QImage &picture,
                                  std::chrono::milliseconds limit = WAIT_LIMIT)
    {
        const QRect grainy = lowerHalf(picture.size());
        return waitUntil([&] { return m_client->screen(grainy) == picture.copy(grainy); }, limit);
    }

    const QImage m_large = grainyPicture(SHARP.pixels());
    const QImage m_small = grainyPicture(PLAIN.pixels());
    std::optional<Weston> m_weston;
};

TEST_F(WaylandScaleTest, PictureIsShownPixelForPixelAlsoAfterAChange)
{
    startViewer({m_folder.path()}, m_weston->socket());
    m_client->moveMouse({1000, 100}); // where the compositor's pointer is above what is compared
    ASSERT_TRUE(waitForAll(m_large)); // the other screen covers its upper left quarter only
    // Tried with 10 and 14.
    constexpr int LAST_THAT_SHOWS_IT = 10;
    if (Weston::majorVersion() > LAST_THAT_SHOWS_IT)
        GTEST_SKIP() << "under this Weston the picture isn't seen once its screen has gone; why is "
                        "not known yet";
    ASSERT_TRUE(m_weston->closeFirstOutput());
    // The compositor makes it a window, and gives it the keyboard when it is clicked on. When it
    // has done so is not seen: a key that comes too early leaves full screen, and the next one
    // enters it.
    m_client->moveMouse({320, 150});
    bool isShown = false;
    for (int attempt = 0; attempt < 5 && !isShown; ++attempt) {
        m_client->click(LEFT_BUTTON);
        tap(KEY_RIGHT); // the smaller picture is the last
        tap(KEY_F);
        isShown = waitForAll(m_small, 3s);
    }
    EXPECT_TRUE(isShown);
}

} // namespace

} // namespace tavolin
