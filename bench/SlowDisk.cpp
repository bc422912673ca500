// Measures single steps through pictures of 24 megapixels, 8 MB each, on a slow disk: 20 MB a
// second, 5 ms a call. Before each step is a rest, in which the viewer can read ahead. Nothing of
// the folder is in memory at first. Prints one line of JSON.

#include "e2e/SlowMount.h"
#include "e2e/ViewerProcess.h"
#include "e2e/WaitUntil.h"
#include "e2e/XClient.h"
#include "e2e/XServer.h"
#include "pictures/Picture.h"
#include "Stepping.h"

#include <QCommandLineParser>
#include <QDir>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <thread>
#include <vector>

#include <linux/input-event-codes.h>

using namespace tavolin;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

/// At which a picture takes 8 MB.
constexpr int QUALITY = 92;

constexpr DiskSpeed SPEED{.call = 5ms, .megabytesPerSecond = 20};

constexpr int STEPS = 10;

/// There is something to read ahead at the last step, too.
constexpr int COUNT = STEPS + 5;

struct Settings
{
    QString viewer;
    QString folder;
    std::chrono::milliseconds rest{1500}; ///< Before each step: what someone takes to look.
};

/// Runs the viewer and measures. On failure the reason is in @p error.
std::optional<QJsonObject> measure(const Settings &settings, QString &error)
{
    const XServer server;
    error = server.error();
    if (!error.isEmpty())
        return {};
    const SlowMount disk(settings.folder.toStdString(), SPEED);
    error = disk.error();
    if (!error.isEmpty())
        return {};
    XClient client(server.displayName());
    const ViewerProcess viewer(settings.viewer, {disk.path()}, server.displayName());
    if (!waitUntil([&] { return pictures::readIndex(client.screen(PICTURE_RECT)) == 1; })) {
        error = u"The first picture does not appear"_s;
        return {};
    }
    std::vector<Clock::duration> times;
    QJsonArray timesMs;
    for (int step = 1; step <= STEPS; ++step) {
        std::this_thread::sleep_for(settings.rest);
        const auto time = timeStep(client, KEY_RIGHT, [&] { return barIndex(client) == 1 + step; });
        if (!time) {
            error = u"A picture does not appear"_s;
            return {};
        }
        times.push_back(*time);
        timesMs.append(toMs(*time));
    }
    QJsonObject result = summary(times);
    result.insert(u"stepsMs"_s, timesMs);
    return result;
}

/// Ends the program when the arguments make no sense.
Settings parseArguments(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addPositionalArgument(u"folder"_s, u"Pictures of 24 megapixels; made when missing."_s);
    parser.addOptions({{u"viewer"_s, u"The program to measure."_s, u"path"_s,
                        QStringLiteral(TAVOLIN_VIEWER_PROGRAM)},
                       {u"rest-ms"_s, u"Time before each step."_s, u"ms"_s, u"1500"_s}});
    parser.process(arguments);
    const Settings settings{.viewer = QDir().absoluteFilePath(parser.value(u"viewer"_s)),
                            .folder =
                                QDir().absoluteFilePath(parser.positionalArguments().value(0)),
                            .rest = std::chrono::milliseconds(parser.value(u"rest-ms"_s).toInt())};
    if (parser.positionalArguments().size() != 1 || settings.rest < 0ms)
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
    if (error.isEmpty())
        error = SlowMount::whyUnavailable();
    const auto write = [](int index, const std::filesystem::path &file) {
        return writeLargePicture(index, COUNT, file, {.quality = QUALITY});
    };
    if (error.isEmpty() && !writeMissing(settings.folder.toStdString(), COUNT, write))
        error = u"The pictures can't be written"_s;
    const auto result = error.isEmpty() ? measure(settings, error) : std::nullopt;
    if (!result) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    std::printf("%s\n", QJsonDocument(*result).toJson(QJsonDocument::Compact).constData());
    return 0;
}
