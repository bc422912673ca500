// Says what the viewer makes of files, which it reads as the viewer does: one JSON object a line.

#include "browse/PhotoInfo.h"
#include "decoding/color/Color.h"
#include "editing/EditOp.h"
#include "fileops/Saving.h"
#include "screen/QtImage.h"
#include "worker/client/WorkerReader.h"

#ifndef Q_OS_MACOS
#include "platform/XMonitors.h"
#endif

#include <QCoreApplication>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

constexpr std::string_view USAGE =
    "usage: tavolin-probe [--max-pixel N] [--png OUT] [--repeat N]\n"
    "                     [--edit STEPS] [--save OUT] FILE...\n"
    "       tavolin-probe --about\n"
    "Prints one JSON object for each FILE: file, pixelSize, display, infoLine,\n"
    "segments (of that line), decodeMs, peakRssKiB.\n"
    "  --max-pixel N  decode to at most N pixels on the longest side (2560)\n"
    "  --png OUT      write the decoded picture, upright and in sRGB (of several, the last)\n"
    "  --repeat N     decode N times and give the median time (1)\n"
    "  --edit STEPS   edit the picture at its full size before saving it: steps in order,\n"
    "                 separated by ';', each rotate=DEGREES or crop=X,Y,WIDTH,HEIGHT\n"
    "  --save OUT     save it as the viewer saves an edited picture, with its metadata\n"
    "                 (of several files, the last)\n"
    "  --about        say what stands around the processes that read files, and for which\n"
    "                 monitors' colours pictures are made\n"
    "Exit status: 0 when every file gave a picture, 1 otherwise, 2 for wrong usage.\n";

struct Request
{
    int maxPixel = tavolin::MAX_DISPLAY_PIXELS;
    int repeats = 1;
    std::optional<std::filesystem::path> png;
    std::vector<tavolin::EditOp> edits;
    std::optional<std::filesystem::path> save;
    bool isAbout = false;
    std::vector<std::filesystem::path> files;
};

std::optional<int> positiveNumber(std::string_view text)
{
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && value > 0
               ? std::optional(value)
               : std::nullopt;
}

/// The numbers in @p text, between commas; none when one of them isn't a number, or larger than any
/// picture.
std::vector<double> numbers(std::string_view text)
{
    constexpr double LARGEST = 1'000'000;
    std::vector<double> result;
    const auto bytes = QByteArray::fromRawData(text.data(), static_cast<qsizetype>(text.size()));
    for (const QByteArray &part : bytes.split(',')) {
        bool isNumber = false;
        const double value = part.toDouble(&isNumber);
        if (!isNumber || !(std::abs(value) <= LARGEST))
            return {};
        result.push_back(value);
    }
    return result;
}

std::optional<std::vector<tavolin::EditOp>> readSteps(std::string_view text)
{
    constexpr std::string_view ROTATE = "rotate=";
    constexpr std::string_view CROP = "crop=";
    std::vector<tavolin::EditOp> steps;
    while (!text.empty()) {
        const std::string_view step = text.substr(0, text.find(';'));
        text.remove_prefix(std::min(step.size() + 1, text.size()));
        if (const auto degrees = numbers(step.substr(std::min(step.size(), ROTATE.size())));
            step.starts_with(ROTATE) && degrees.size() == 1)
            steps.emplace_back(tavolin::RotateOp{degrees[0]});
        else if (const auto box = numbers(step.substr(std::min(step.size(), CROP.size())));
                 step.starts_with(CROP) && box.size() == 4)
            steps.emplace_back(
                tavolin::CropOp{tavolin::integralRect({box[0], box[1], box[2], box[3]})});
        else
            return std::nullopt;
    }
    return steps;
}

std::optional<Request> readRequest(std::span<char *const> arguments)
{
    Request request;
    bool areOptions = true;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        if (!areOptions || !argument.starts_with("--")) {
            request.files.emplace_back(argument);
            continue;
        }
        if (argument == "--") {
            areOptions = false;
            continue;
        }
        if (argument == "--about") {
            request.isAbout = true;
            continue;
        }
        if (++i == arguments.size())
            return std::nullopt;
        const auto number = positiveNumber(arguments[i]);
        const auto steps = argument == "--edit" ? readSteps(arguments[i]) : std::nullopt;
        if (argument == "--png")
            request.png = arguments[i];
        else if (argument == "--save")
            request.save = arguments[i];
        else if (argument == "--edit" && steps)
            request.edits = *steps;
        else if (argument == "--max-pixel" && number)
            request.maxPixel = *number;
        else if (argument == "--repeat" && number)
            request.repeats = *number;
        else
            return std::nullopt;
    }
    return request.files.empty() != request.isAbout ? std::nullopt : std::optional(request);
}

QJsonValue toJson(std::optional<QSize> size)
{
    return size ? QJsonValue(QJsonArray{size->width(), size->height()}) : QJsonValue();
}

/// The most memory that this process has had resident, or one of its workers that has ended, in
/// KiB.
qint64 peakRssKiB()
{
    rusage own{};
    rusage workers{};
    getrusage(RUSAGE_SELF, &own);
    getrusage(RUSAGE_CHILDREN, &workers);
    const qint64 peak = std::max(own.ru_maxrss, workers.ru_maxrss);
#ifdef Q_OS_MACOS
    return peak / 1024;
#else
    return peak;
#endif
}

/// A line for each monitor, or for all, on whose colours pictures are made for.
std::string aboutColors()
{
#ifdef Q_OS_MACOS
    return "Colours: sRGB\n";
#else
    // As Qt chooses, but for what a desktop may have said to it otherwise.
    const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    if (platform.startsWith("wayland") ||
        (platform.isEmpty() && qEnvironmentVariableIsSet("WAYLAND_DISPLAY")))
        return "Colours: sRGB; those of the monitor are not told under Wayland\n";
    const auto monitors = tavolin::XMonitors().next({});
    if (!monitors)
        return "Colours: sRGB\n";
    std::string text;
    for (std::size_t i = 0; i < monitors->size(); ++i) {
        const tavolin::Monitor &monitor = (*monitors)[i];
        const auto name = tavolin::monitorName(monitor.profile);
        const std::string why =
            name || monitor.profile.isEmpty() ? "" : ", whose profile can't be used";
        text += "Colours: " + name.value_or(u"sRGB"_s).toStdString() + " (monitor " +
                std::to_string(i + 1) + " at " + std::to_string(monitor.corner.x()) + ", " +
                std::to_string(monitor.corner.y()) + why + ")\n";
    }
    return text;
#endif
}

/// Saves @p file edited as @p request says; false when it can't be read or written.
bool saveEdited(const std::filesystem::path &file, const Request &request)
{
    const tavolin::WorkerReader reader;
    tavolin::Image picture = reader.loadFullImage(file, tavolin::KEPT, {});
    for (const tavolin::EditOp &step : request.edits)
        picture = tavolin::applyOp(picture, step);
    if (!tavolin::isSourceItself(*request.save, file) &&
        tavolin::saveJPEG(picture, *request.save, tavolin::SAVED_QUALITY,
                          reader.sourceMetadata(file, picture.size())))
        return true;
    std::fprintf(stderr, "tavolin-probe: can't save %s\n", request.save->c_str());
    return false;
}

/// Prints the line of @p file and returns whether it gave a picture (and that could be written).
bool probe(const std::filesystem::path &file, const Request &request)
{
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::duration<double, std::milli>;
    std::optional<tavolin::WorkerReader> reader(std::in_place);
    (void)reader->aboutWall(); // by then a worker is there
    tavolin::Image picture;
    std::vector<double> times;
    for (int i = 0; i < request.repeats; ++i) {
        const auto start = Clock::now();
        picture = reader->loadThumbnail(file, request.maxPixel);
        times.push_back(Milliseconds(Clock::now() - start).count());
    }
    const auto median = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), median, times.end());

    const bool isShown = !picture.isNull();
    const tavolin::PhotoInfo info =
        tavolin::photoInfo(reader->readPhotoFacts(file, tavolin::Urgency::Now, {}));
    const auto pixelSize = reader->readPixelSize(file);
    reader.reset(); // so that its workers' memory is known
    const QJsonObject line{
        {u"file"_s, QString::fromStdString(file.native())},
        {u"pixelSize"_s, toJson(pixelSize)},
        {u"display"_s, toJson(isShown ? std::optional(picture.size()) : std::nullopt)},
        {u"infoLine"_s, tavolin::infoLine(info.segments)},
        {u"segments"_s, QJsonArray::fromStringList(info.segments)},
        {u"decodeMs"_s, *median},
        {u"peakRssKiB"_s, peakRssKiB()},
    };
    const QByteArray text = QJsonDocument(line).toJson(QJsonDocument::Compact);
    std::printf("%s\n", text.constData());
    std::fflush(stdout);
    if (isShown && request.save && !saveEdited(file, request))
        return false;
    if (!isShown || !request.png)
        return isShown;
    const QString out = QString::fromStdString(request.png->native());
    if (tavolin::toQImage(picture).save(out, "PNG"))
        return true;
    std::fprintf(stderr, "tavolin-probe: can't write %s\n", request.png->c_str());
    return false;
}

} // namespace

int main(int argc, char **argv)
{
    const auto request = readRequest(std::span(argv, static_cast<std::size_t>(argc)).subspan(1));
    if (!request) {
        std::fputs(USAGE.data(), stderr);
        return 2;
    }
    int nameOnly = 1;
    const QCoreApplication application(nameOnly, argv); // knows where Qt's image writers are
    if (request->isAbout) {
        const std::string wall = tavolin::WorkerReader().aboutWall();
        std::printf("Around each process that reads files: %s\n",
                    wall.empty() ? "nothing, none can be started" : wall.c_str());
        std::fputs(aboutColors().c_str(), stdout);
        return wall.empty() ? 1 : 0;
    }
    bool areAllShown = true;
    for (const auto &file : request->files)
        areAllShown = probe(file, *request) && areAllShown;
    return areAllShown ? 0 : 1;
}
