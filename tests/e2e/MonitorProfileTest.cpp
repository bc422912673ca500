// The colours of the monitor before a real X server, whose monitors have profiles that exchange
// channels: a picture that was not brought into them, or twice, is seen.

#include "decoding/TestProfiles.h"
#include "e2e/MonitorSetup.h"
#include "e2e/ViewerTest.h"

#include <QColorSpace>
#include <QList>
#include <QProcess>
#include <QProcessEnvironment>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include <linux/input-event-codes.h>

namespace tavolin {

using namespace Qt::StringLiterals;
using namespace test;

namespace {

/// The halves of the picture, as they are in sRGB and on monitors that exchange channels once and
/// twice.
struct Halves
{
    QRgb left;
    QRgb right;
};
constexpr Halves SRGB{0xffc86414, 0xff14c864};
constexpr Halves EXCHANGED{0xff6414c8, 0xffc86414};
constexpr Halves EXCHANGED_TWICE{0xff14c864, 0xff6414c8};

/// Whether @p pixel is @p color but for the rounding of a conversion.
bool isNear(QRgb pixel, QRgb color)
{
    return std::max({std::abs(qRed(pixel) - qRed(color)), std::abs(qGreen(pixel) - qGreen(color)),
                     std::abs(qBlue(pixel) - qBlue(color))}) <= 2;
}

QByteArray exchangedTwice()
{
    return exchangedChannels({{0.30, 0.60, 1}, {0.15, 0.06, 1}, {0.64, 0.33, 1}});
}

class MonitorProfileTest : public ViewerTest
{
protected:
    /// Writes a picture of three to two whose halves have those colours, in @p space.
    void addHalves(const std::string &name, QSize size = {1200, 800}, const Halves &colors = SRGB,
                   const QColorSpace &space = {}) const
    {
        QImage image(size, QImage::Format_RGB32);
        for (int y = 0; y < size.height(); ++y)
            for (int x = 0; x < size.width(); ++x)
                image.setPixel(x, y, x < size.width() / 2 ? colors.left : colors.right);
        image.setColorSpace(space);
        ASSERT_TRUE(image.save(QString::fromStdString(pathOf(name).native()), "PNG"));
    }

    [[nodiscard]] bool setProfile(const QByteArray &icc, int number = 0) const
    {
        return setMonitorProfile(m_server->displayName(), number, icc);
    }

    /// Starts the viewer on the folder on a monitor with the profile @p icc.
    [[nodiscard]] bool openOn(const QByteArray &icc)
    {
        const bool isSet = icc.isEmpty() || setProfile(icc);
        startViewer({m_folder.path()});
        return isSet;
    }

    /// Whether the screen has the colours @p halves at the points that lie in both halves, with the
    /// whole picture on screen, in crop mode's box and after a crop to that.
    [[nodiscard]] bool shows(const Halves &halves) const
    {
        const QImage screen = m_client->screen(SCREEN_RECT);
        return isNear(screen.pixel(600, 500), halves.left) &&
               isNear(screen.pixel(1300, 500), halves.right);
    }

    [[nodiscard]] testing::AssertionResult waitFor(const Halves &halves)
    {
        if (waitUntil([&] { return shows(halves); }))
            return testing::AssertionSuccess();
        const QImage screen = m_client->screen(SCREEN_RECT);
        return testing::AssertionFailure()
               << std::hex << screen.pixel(600, 500) << ' ' << screen.pixel(1300, 500) << ' '
               << m_viewer->standardError().toStdString();
    }

    void moveBetweenMonitors();

    /// Enters crop mode, whose bar is where the picture was.
    [[nodiscard]] bool enterCrop()
    {
        tap(KEY_X);
        return waitUntil([&] { return isAll(m_client->screen({170, 500, 40, 40}), BLACK); });
    }

    /// Crops to the default box; what is left fills the screen as the whole picture did.
    [[nodiscard]] bool crop()
    {
        if (!enterCrop())
            return false;
        tap(KEY_ENTER);
        return waitUntil([&] { return !isAll(m_client->screen({170, 500, 40, 40}), BLACK); });
    }

    /// Crops, saves and returns the file; empty when there is none.
    [[nodiscard]] QByteArray croppedAndSaved()
    {
        if (!crop())
            return {};
        tap(KEY_S);
        const auto path = pathOf("Edit") / "a.jpg";
        if (!waitUntil([&] { return std::filesystem::exists(path); }))
            return {};
        std::ifstream file(path, std::ios::binary);
        return {std::string(std::istreambuf_iterator<char>(file), {}).c_str(),
                static_cast<qsizetype>(std::filesystem::file_size(path))};
    }
};

TEST_F(MonitorProfileTest, PictureIsInTheColorsOfTheMonitor)
{
    addHalves("a.png");
    ASSERT_TRUE(openOn(exchangedProfile()));
    EXPECT_TRUE(waitFor(EXCHANGED));
}

TEST_F(MonitorProfileTest, AnotherProfileIsFollowed)
{
    addHalves("a.png");
    addHalves("b.png");
    ASSERT_TRUE(openOn({}));
    ASSERT_TRUE(waitFor(SRGB));
    ASSERT_TRUE(waitForDetails());
    ASSERT_TRUE(setProfile(exchangedProfile()));
    EXPECT_TRUE(waitFor(EXCHANGED));
    ASSERT_TRUE(setProfile(exchangedTwice()));
    EXPECT_TRUE(waitFor(EXCHANGED_TWICE));
    tap(KEY_RIGHT); // which was ready in the colours of before
    EXPECT_TRUE(waitFor(EXCHANGED_TWICE));
    ASSERT_TRUE(setProfile({}));
    EXPECT_TRUE(waitFor(SRGB));
}

TEST_F(MonitorProfileTest, BrokenProfileCountsAsSrgb)
{
    addHalves("a.png");
    ASSERT_TRUE(openOn(exchangedProfile().left(300)));
    EXPECT_TRUE(waitFor(SRGB));
    ASSERT_TRUE(setProfile(exchangedProfile()));
    EXPECT_TRUE(waitFor(EXCHANGED));
    ASSERT_TRUE(setProfile("no profile"));
    EXPECT_TRUE(waitFor(SRGB));
}

// Through sRGB, the red would have lost what only a wide monitor shows.
TEST_F(MonitorProfileTest, WidePictureIsNotCutToSrgb)
{
    addHalves("a.png", {1200, 800}, {0xffff0000, 0xff00ff00}, QColorSpace::DisplayP3);
    ASSERT_TRUE(openOn(exchangedP3Profile()));
    EXPECT_TRUE(waitFor({0xff0000ff, 0xffff0000}));
}

TEST_F(MonitorProfileTest, LoupeIsInTheColorsOfTheMonitor)
{
    addHalves("a.png", {3000, 2000});
    ASSERT_TRUE(openOn(exchangedProfile()));
    ASSERT_TRUE(waitFor(EXCHANGED));
    ASSERT_TRUE(waitForDetails());
    // The left half reaches to 1437 then.
    m_client->moveMouse({400, 500});
    m_client->pressButton(LEFT_BUTTON);
    const Halves enlarged{EXCHANGED.left, EXCHANGED.left};
    ASSERT_TRUE(waitFor(enlarged));
    EXPECT_TRUE(staysTrue([&] { return shows(enlarged); }, std::chrono::milliseconds(1500)));
    m_client->releaseButton(LEFT_BUTTON);
    EXPECT_TRUE(waitFor(EXCHANGED));
}

TEST_F(MonitorProfileTest, CropPreviewFollowsTheMonitor)
{
    addHalves("a.png");
    ASSERT_TRUE(openOn(exchangedProfile()));
    ASSERT_TRUE(waitFor(EXCHANGED));
    ASSERT_TRUE(enterCrop());
    EXPECT_TRUE(waitFor(EXCHANGED));
    ASSERT_TRUE(setProfile(exchangedTwice()));
    EXPECT_TRUE(waitFor(EXCHANGED_TWICE));
    tap(KEY_ESC);
    ASSERT_TRUE(waitUntil([&] { return !isAll(m_client->screen({170, 500, 40, 40}), BLACK); }));
    EXPECT_TRUE(waitFor(EXCHANGED_TWICE));
}

TEST_F(MonitorProfileTest, EditedPictureFollowsTheMonitor)
{
    addHalves("a.png");
    ASSERT_TRUE(openOn(exchangedProfile()));
    ASSERT_TRUE(waitFor(EXCHANGED));
    ASSERT_TRUE(crop());
    EXPECT_TRUE(waitFor(EXCHANGED));
    ASSERT_TRUE(setProfile(exchangedTwice()));
    EXPECT_TRUE(waitFor(EXCHANGED_TWICE));
    ASSERT_TRUE(enterCrop());
    ASSERT_TRUE(setProfile(exchangedProfile()));
    EXPECT_TRUE(waitFor(EXCHANGED));
}

TEST_F(MonitorProfileTest, SavedFileIsTheSameWhateverTheMonitor)
{
    addHalves("a.png", {1200, 800}, SRGB, QColorSpace::DisplayP3);
    ASSERT_TRUE(openOn({}));
    ASSERT_TRUE(waitForDetails());
    const QByteArray saved = croppedAndSaved();
    ASSERT_FALSE(saved.isEmpty());
    m_viewer.reset();
    std::filesystem::remove_all(pathOf("Edit"));
    ASSERT_TRUE(openOn(exchangedP3Profile()));
    ASSERT_TRUE(waitFor(EXCHANGED));
    ASSERT_TRUE(waitForDetails());
    EXPECT_TRUE(croppedAndSaved() == saved);
}

TEST_F(MonitorProfileTest, ProbeTellsWhoseColorsAreInForce)
{
    const auto about = [&](const QByteArray &wayland = {}) {
        QProcess probe;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(u"QT_QPA_PLATFORM"_s);
        environment.remove(u"WAYLAND_DISPLAY"_s);
        environment.insert(u"DISPLAY"_s, QString::fromLatin1(m_server->displayName()));
        if (!wayland.isEmpty())
            environment.insert(u"WAYLAND_DISPLAY"_s, QString::fromLatin1(wayland));
        probe.setProcessEnvironment(environment);
        probe.start(QStringLiteral(TAVOLIN_PROBE_PROGRAM), {u"--about"_s});
        probe.waitForFinished();
        return probe.readAllStandardOutput().split('\n').mid(1);
    };
    EXPECT_EQ(about().front(), "Colours: sRGB (monitor 1 at 0, 0)");
    EXPECT_EQ(about("wayland-0").front(),
              "Colours: sRGB; those of the monitor are not told under Wayland");
    ASSERT_TRUE(setProfile("no profile"));
    EXPECT_EQ(about().front(), "Colours: sRGB (monitor 1 at 0, 0, whose profile can't be used)");
    ASSERT_TRUE(divideScreen(m_server->displayName(), {{0, 0, 960, 1080}, {960, 0, 960, 1080}}));
    ASSERT_TRUE(setProfile({}));
    ASSERT_TRUE(setProfile(exchangedProfile(), 1)); // LittleCMS gives it this name
    EXPECT_EQ(about(), (QList<QByteArray>{"Colours: sRGB (monitor 1 at 0, 0)",
                                          "Colours: RGB built-in (monitor 2 at 960, 0)", ""}));
}

/// Starts the viewer on the first of two monitors and moves it to the other one and back.
void MonitorProfileTest::moveBetweenMonitors()
{
    constexpr QRect LEFT(0, 0, 960, 1080);
    constexpr QRect RIGHT(960, 0, 960, 1080);
    addHalves("a.png");
    ASSERT_TRUE(divideScreen(m_server->displayName(), {LEFT, RIGHT}));
    ASSERT_TRUE(setProfile(exchangedTwice(), 1));
    ASSERT_TRUE(openOn(exchangedProfile()));
    const auto showsOn = [&](const QRect &monitor, const Halves &halves) {
        return waitUntil([&] {
            const QImage screen = m_client->screen(monitor);
            return isNear(screen.pixel(240, 540), halves.left) &&
                   isNear(screen.pixel(720, 540), halves.right);
        });
    };
    ASSERT_TRUE(showsOn(LEFT, EXCHANGED));
    m_client->placeWindow(m_client->windows().front(), RIGHT);
    EXPECT_TRUE(showsOn(RIGHT, EXCHANGED_TWICE));
    m_client->placeWindow(m_client->windows().front(), LEFT);
    EXPECT_TRUE(showsOn(LEFT, EXCHANGED));
}

TEST_F(MonitorProfileTest, WindowHasTheColorsOfTheMonitorThatItIsOn)
{
    moveBetweenMonitors();
}

TEST_F(MonitorProfileTest, WindowHasTheColorsOfItsMonitorWhereAPointIsTwoPixels)
{
    m_additions.insert(u"QT_SCALE_FACTOR"_s, u"2"_s);
    moveBetweenMonitors();
}

} // namespace

} // namespace tavolin
