// Has files read as the viewer reads them, and says how that went: one JSON object a line. What
// corpus-score counts.

#include "decoding/Decoding.h"
#include "pixels/PictureReader.h"
#include "screen/QtImage.h"
#include "worker/client/WorkerReader.h"

#include <QCoreApplication>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <QTemporaryDir>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>

#include <execinfo.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace tavolin;

namespace {

constexpr std::string_view USAGE =
    "usage: tavolin-score <LIST\n"
    "       tavolin-score --here FILE\n"
    "LIST has the path of a file on each line. For each of them one JSON object is printed:\n"
    "file, ms (for the screen), shown, pixels (of the full picture), hasFacts, foreign (whether\n"
    "pixels of the picture read before are in it), failures (how workers have ended, and at "
    "what);\n"
    "in the end one of mostMemoryKiB, the most that a worker has had.\n"
    "  --here FILE   read FILE in this process; a signal prints where it was raised\n";

/// A picture for a large screen.
const DisplayTarget TARGET{
    .maxPixel = MAX_DISPLAY_PIXELS, .area = QRectF(0, 0, 2560, 1440), .scale = 1.0};

/// Of no photo; nor are as many pixels of it, or of what a lossy file makes of it, side by side.
constexpr QRgb LOUD = 0xffb713d9;
constexpr int LOUD_PIXELS = 16;
constexpr int LOUD_TOLERANCE = 3;

bool isLoud(Pixel pixel)
{
    for (int shift = 0; shift < 24; shift += 8) {
        const auto value = static_cast<int>(pixel >> shift & 0xff);
        if (std::abs(value - static_cast<int>(LOUD >> shift & 0xff)) > LOUD_TOLERANCE)
            return false;
    }
    return true;
}

bool hasLoudPixels(const Image &image)
{
    for (int y = 0; y < image.height(); ++y) {
        int count = 0;
        for (int x = 0; x < image.width(); ++x) {
            count = isLoud(image.row(y)[x]) ? count + 1 : 0;
            if (count == LOUD_PIXELS)
                return true;
        }
    }
    return false;
}

QJsonObject toJson(const WorkerFailure &failure, QLatin1StringView work)
{
    QJsonObject json{{u"work"_s, work}};
    if (failure.signal)
        json[u"signal"_s] = *failure.signal;
    else
        json[u"end"_s] = failure.isLate ? u"time"_s : failure.hasEnded ? u"exit"_s : u"nonsense"_s;
    return json;
}

/// Reads all that is said of the files on standard input.
int scoreList()
{
    const QTemporaryDir folder;
    QImage loud(1600, 1200, QImage::Format_RGB32);
    loud.fill(LOUD);
    const std::array louds{folder.filePath(u"loud.png"_s), folder.filePath(u"loud.jpg"_s)};
    for (const QString &file : louds) {
        if (!loud.save(file, nullptr, 100)) {
            std::fprintf(stderr, "no picture can be written\n");
            return EXIT_FAILURE;
        }
    }
    {
        WorkerReader reader;
        QLatin1StringView work;
        QJsonArray failures;
        reader.watchFailures(
            [&](const WorkerFailure &failure) { failures.append(toJson(failure, work)); });
        std::size_t count = 0;
        for (std::string line; std::getline(std::cin, line); ++count) {
            // In the folder of what is read before: a worker sees one folder's files only.
            const std::filesystem::path file(line);
            const std::filesystem::path url =
                std::filesystem::path(folder.path().toStdString()) /
                std::to_string(count).append(file.extension().string());
            std::filesystem::create_symlink(file, url);
            failures = {};
            work = "loud"_L1;
            const std::filesystem::path before = louds[count % louds.size()].toStdString();
            if (reader.loadDisplayPicture(before, TARGET, Urgency::Now, {}).isNull()) {
                std::fprintf(stderr, "%s: the picture before it can't be shown\n", line.c_str());
                return EXIT_FAILURE;
            }
            work = "display"_L1;
            const auto begin = std::chrono::steady_clock::now();
            const DisplayPicture picture = reader.loadDisplayPicture(url, TARGET, Urgency::Now, {});
            const std::chrono::duration<double, std::milli> time =
                std::chrono::steady_clock::now() - begin;
            work = "facts"_L1;
            const auto facts = reader.readPhotoFacts(url, Urgency::Ahead, {});
            work = "metadata"_L1;
            const auto metadata = reader.sourceMetadata(url, {600, 400});
            const QSize size = picture.pixelSize.value_or(QSize(0, 0));
            const QJsonObject json{
                {u"file"_s, QString::fromStdString(line)},
                {u"ms"_s, time.count()},
                {u"shown"_s, !picture.isNull()},
                {u"pixels"_s, double(size.width()) * size.height()},
                {u"hasFacts"_s, facts.has_value()},
                {u"hasMetadata"_s, metadata.has_value()},
                {u"foreign"_s, hasLoudPixels(picture.image)},
                {u"failures"_s, failures},
            };
            std::filesystem::remove(url);
            std::printf("%s\n", QJsonDocument(json).toJson(QJsonDocument::Compact).constData());
            std::fflush(stdout);
        }
    }
    rusage use{};
    getrusage(RUSAGE_CHILDREN, &use);
    std::printf("{\"mostMemoryKiB\":%ld}\n", use.ru_maxrss);
    return EXIT_SUCCESS;
}

/// Reads @p url in this process: who dies of it says where.
int readHere(const std::filesystem::path &url)
{
    const auto tell = [](int signal) {
        std::array<void *, 40> frames{};
        const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
        backtrace_symbols_fd(frames.data(), count, STDERR_FILENO);
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    };
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
        std::signal(signal, tell);
    const InProcessReader reader;
    const DisplayPicture picture = reader.loadDisplayPicture(url, TARGET, Urgency::Now, {});
    std::ignore = reader.readPhotoFacts(url, Urgency::Ahead, {});
    std::ignore = reader.sourceMetadata(url, {600, 400});
    return picture.isNull() ? EXIT_FAILURE : EXIT_SUCCESS;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (argc == 3 && std::string_view(argv[1]) == "--here")
        return readHere(argv[2]);
    if (argc == 1)
        return scoreList();
    std::fputs(USAGE.data(), stderr);
    return 2;
}
