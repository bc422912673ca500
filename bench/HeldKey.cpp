// Measures what someone sees who holds the Right key: starts the viewer on a virtual screen,
// presses real keys and watches the index bar of the pictures and the position on the info line.
// Or single steps, also through pictures of a few pixels; or how long a picture at rest takes to
// become as sharp as a large screen. Prints one line of JSON.

#include "e2e/ViewerProcess.h"
#include "e2e/WaitUntil.h"
#include "e2e/XClient.h"
#include "e2e/XServer.h"
#include "pictures/Picture.h"
#include "Stepping.h"

#include <QCommandLineParser>
#include <QDir>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include <linux/input-event-codes.h>

using namespace tavolin;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

/// A picture of a few pixels is all of one grey, by its index.
constexpr QSize TINY_SIZE{64, 64};
constexpr int LEVELS_PER_INDEX = 3;
constexpr int MOST_TINY = 255 / LEVELS_PER_INDEX;
constexpr QRect MIDDLE{960, 540, 1, 1};

/// The beginning of the info line, left of the picture.
constexpr QRect COUNTER_RECT{20, 16, 130, 22};

/// Time between two looks.
constexpr auto SAMPLE_INTERVAL = 4ms;

/// Nothing happens in the viewer this long after a step: its timers have run and the neighbours are
/// decoded.
constexpr auto QUIET_TIME = 1s;

constexpr int SINGLE_STEPS = 20;

/// A large screen, and what is looked at to see that a picture on it has become another one: a part
/// that has details in it.
constexpr QSize LARGE_SCREEN{3840, 2160};
constexpr QRect DETAILS{1700, 700, 200, 100};

/// Pictures that are gone through at a time: the last one is beyond those that were made ready.
constexpr int RESTS = 5;
constexpr int STEPS_BEFORE_A_REST = 4;

struct Settings
{
    int presses = 60;
    std::chrono::milliseconds interval{25};
    int count = 80;
    bool single = false;
    bool tiny = false;
    bool sharp = false;
    QString folder;
};

/// A change on the screen: what it is changed to, and when that was seen.
template <typename Value>
struct Change
{
    Clock::time_point when;
    Value value;
};

int tinyIndex(const XClient &client)
{
    const QImage pixel = client.screen(MIDDLE);
    return (qGray(pixel.pixel(0, 0)) + LEVELS_PER_INDEX / 2) / LEVELS_PER_INDEX;
}

QByteArray counterPixels(const XClient &client)
{
    const QImage image = client.screen(COUNTER_RECT);
    return QByteArray(reinterpret_cast<const char *>(image.constBits()), image.sizeInBytes());
}

/// Looks at the screen on a thread and a connection of its own until it is stopped.
class Watcher
{
public:
    explicit Watcher(const QByteArray &displayName)
        : m_thread([this, displayName](const std::stop_token &stop) { watch(stop, displayName); })
    {
        m_ready.wait(false);
    }

    void stop()
    {
        m_thread.request_stop();
        m_thread.join();
    }

    /// To be read after stop(). The first element is what was there at the beginning.
    [[nodiscard]] const std::vector<Change<int>> &pictures() const { return m_pictures; }
    [[nodiscard]] const std::vector<Change<QByteArray>> &counters() const { return m_counters; }

private:
    template <typename Value>
    static void note(std::vector<Change<Value>> &changes, Value value)
    {
        if (changes.empty() || changes.back().value != value)
            changes.push_back({Clock::now(), std::move(value)});
    }

    void watch(const std::stop_token &stop, const QByteArray &displayName)
    {
        const XClient client(displayName);
        while (!stop.stop_requested()) {
            note(m_pictures, barIndex(client));
            note(m_counters, counterPixels(client));
            m_ready = true;
            m_ready.notify_one();
            std::this_thread::sleep_for(SAMPLE_INTERVAL);
        }
    }

    std::vector<Change<int>> m_pictures;
    std::vector<Change<QByteArray>> m_counters;
    std::atomic<bool> m_ready = false;
    std::jthread m_thread; // last: it uses the others
};

/// Writes the pictures that are missing, with the index 1 to @p count.
bool makePictures(const std::filesystem::path &folder, int count, bool tiny)
{
    return writeMissing(folder, count, [&](int index, const std::filesystem::path &file) {
        if (!tiny)
            return writeLargePicture(index, count, file);
        QImage picture(TINY_SIZE, QImage::Format_RGB32);
        picture.fill(QColor::fromRgb(0x010101 * LEVELS_PER_INDEX * index));
        return picture.save(QString::fromStdString(file));
    });
}

bool waitForPicture(const XClient &client, int index)
{
    return waitUntil([&] { return barIndex(client) == index; });
}

/// Presses Right @p settings.presses times and tells what was to be seen. Empty when the last
/// picture does not come.
std::optional<QJsonObject> holdKey(XClient &client, const QByteArray &displayName,
                                   const Settings &settings)
{
    Watcher watcher(displayName);
    const auto firstPress = Clock::now();
    auto lastPress = firstPress;
    for (int press = 0; press < settings.presses; ++press) {
        std::this_thread::sleep_until(firstPress + press * settings.interval);
        lastPress = Clock::now();
        client.tapKey(KEY_RIGHT);
    }
    const int target = 1 + settings.presses;
    const bool arrived = waitForPicture(client, target);
    std::this_thread::sleep_for(QUIET_TIME); // for pictures that come after it and should not
    watcher.stop();
    if (!arrived || watcher.pictures().back().value != target)
        return {};

    Clock::duration largestGap{};
    auto previous = firstPress;
    int during = 0;
    for (auto change = watcher.pictures().begin() + 1; change < watcher.pictures().end();
         ++change) {
        largestGap = std::max(largestGap, change->when - previous);
        previous = change->when;
        during += change->when <= lastPress ? 1 : 0;
    }
    std::set<QByteArray> counters;
    for (const auto &change : watcher.counters())
        counters.insert(change.value);
    return QJsonObject{
        {u"presses"_s, settings.presses},
        {u"intervalMs"_s, static_cast<int>(settings.interval.count())},
        {u"picturesDuringPresses"_s, during},
        {u"largestGapMs"_s, toMs(largestGap)},
        {u"counters"_s, static_cast<int>(counters.size())},
        {u"lastPressToFinalPictureMs"_s, toMs(watcher.pictures().back().when - lastPress)},
    };
}

/// Steps forward, waiting for each picture, then to and fro between two pictures that the viewer
/// has at hand. Empty when a picture does not come.
std::optional<QJsonObject> stepSingly(XClient &client, bool tiny)
{
    const auto timeStepTo = [&](int index, int key) {
        return timeStep(client, key,
                        [&] { return (tiny ? tinyIndex(client) : barIndex(client)) == index; });
    };
    std::vector<Clock::duration> forward;
    for (int step = 1; step <= SINGLE_STEPS; ++step) {
        const auto time = timeStepTo(1 + step, KEY_RIGHT);
        if (!time)
            return {};
        forward.push_back(*time);
    }
    std::vector<Clock::duration> alternate;
    for (int step = 0; step < SINGLE_STEPS; ++step) {
        std::this_thread::sleep_for(QUIET_TIME);
        const bool back = step % 2 == 0;
        const auto time =
            timeStepTo(back ? SINGLE_STEPS : SINGLE_STEPS + 1, back ? KEY_LEFT : KEY_RIGHT);
        if (!time)
            return {};
        alternate.push_back(*time);
    }
    return QJsonObject{{u"forward"_s, summary(forward)}, {u"cacheHit"_s, summary(alternate)}};
}

/// The time from the last change but one of what @p client sees to the last one, once nothing has
/// changed for QUIET_TIME; empty where fewer than two come.
std::optional<Clock::duration> betweenTheLastTwoChanges(const XClient &client)
{
    std::vector<Clock::time_point> changes;
    QImage last = client.screen(DETAILS);
    const auto begin = Clock::now();
    auto newest = begin;
    while (Clock::now() - newest < QUIET_TIME) {
        QImage now = client.screen(DETAILS);
        if (now != last) {
            newest = Clock::now();
            changes.push_back(newest);
            last = std::move(now);
        }
        std::this_thread::sleep_for(SAMPLE_INTERVAL);
    }
    if (changes.size() < 2)
        return {};
    return changes.back() - changes[changes.size() - 2];
}

/// Goes on some pictures and rests, several times. Empty when a picture does not come twice.
std::optional<QJsonObject> rest(XClient &client, const Settings &settings)
{
    std::vector<Clock::duration> times;
    for (int i = 0; i < RESTS; ++i) {
        for (int step = 0; step < STEPS_BEFORE_A_REST; ++step) {
            client.tapKey(KEY_RIGHT);
            std::this_thread::sleep_for(settings.interval);
        }
        const auto time = betweenTheLastTwoChanges(client);
        if (!time)
            return {};
        times.push_back(*time);
    }
    return QJsonObject{{u"shownToSharp"_s, summary(times)}};
}

/// Runs the viewer and measures. On failure the reason is in @p error.
std::optional<QJsonObject> measure(const Settings &settings, QString &error)
{
    const XServer server(u"us"_s, {}, settings.sharp ? LARGE_SCREEN : SCREEN_RECT.size());
    error = server.error();
    if (!error.isEmpty())
        return {};
    XClient client(server.displayName());
    const QImage blank = client.screen(DETAILS);
    ViewerProcess viewer(QStringLiteral(TAVOLIN_VIEWER_PROGRAM), {settings.folder},
                         server.displayName());
    const auto isFirstThere = [&] {
        if (settings.sharp)
            return client.screen(DETAILS) != blank;
        return (settings.tiny ? tinyIndex(client)
                              : pictures::readIndex(client.screen(PICTURE_RECT))) == 1;
    };
    if (!waitUntil(isFirstThere)) {
        error = u"The first picture does not appear"_s;
        return {};
    }
    std::this_thread::sleep_for(QUIET_TIME);

    auto result = settings.sharp    ? rest(client, settings)
                  : settings.single ? stepSingly(client, settings.tiny)
                                    : holdKey(client, server.displayName(), settings);
    if (!result) {
        error = u"A picture does not appear"_s;
        return {};
    }
    result->insert(u"rssKiB"_s, viewer.rssKiB().value_or(0));
    result->insert(u"peakRssKiB"_s, viewer.peakRssKiB().value_or(0));
    return result;
}

/// Ends the program when the arguments make no sense.
Settings parseArguments(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addPositionalArgument(u"folder"_s, u"Pictures of 24 megapixels; made when missing."_s);
    parser.addOptions(
        {{u"presses"_s, u"How often Right is pressed."_s, u"n"_s, u"60"_s},
         {u"interval-ms"_s, u"Time from press to press."_s, u"ms"_s, u"25"_s},
         {u"count"_s, u"How many pictures the folder should have."_s, u"n"_s, u"80"_s},
         {u"single"_s, u"Measure single steps instead."_s},
         {u"sharp"_s, u"Measure how long a picture at rest takes to become sharp instead."_s},
         {u"tiny"_s, u"With --single: pictures of 64 by 64 pixels."_s}});
    parser.process(arguments);
    Settings settings{.presses = parser.value(u"presses"_s).toInt(),
                      .interval = std::chrono::milliseconds(parser.value(u"interval-ms"_s).toInt()),
                      .count = parser.value(u"count"_s).toInt(),
                      .single = parser.isSet(u"single"_s),
                      .tiny = parser.isSet(u"tiny"_s),
                      .sharp = parser.isSet(u"sharp"_s),
                      .folder = QDir().absoluteFilePath(parser.positionalArguments().value(0))};
    const int steps = settings.sharp    ? RESTS * STEPS_BEFORE_A_REST
                      : settings.single ? SINGLE_STEPS
                                        : settings.presses;
    if (parser.positionalArguments().size() != 1 || steps < 1 || settings.interval < 1ms ||
        settings.count <= steps || (settings.sharp && settings.single) ||
        (settings.tiny && (!settings.single || settings.count > MOST_TINY)))
        parser.showHelp(2);
    return settings;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen"); // for the text on the pictures; not the viewer's
    const QGuiApplication application(argc, argv);
    const Settings settings = parseArguments(QGuiApplication::arguments());

    QString error = XServer::whyUnavailable();
    if (error.isEmpty() &&
        !makePictures(settings.folder.toStdString(), settings.count, settings.tiny))
        error = u"The pictures can't be written"_s;
    const auto result = error.isEmpty() ? measure(settings, error) : std::nullopt;
    if (!result) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    std::printf("%s\n", QJsonDocument(*result).toJson(QJsonDocument::Compact).constData());
    return 0;
}
