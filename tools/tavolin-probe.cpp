// Says what the viewer makes of files: one JSON object a line.

#include "browse/Decoding.h"
#include "browse/PhotoInfo.h"
#include "imaging/Color.h"

#include <QCoreApplication>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

constexpr std::string_view USAGE =
    "usage: tavolin-probe [--max-pixel N] [--png OUT] [--repeat N] FILE...\n"
    "Prints one JSON object for each FILE: file, pixelSize, display, infoLine,\n"
    "segments (of that line), decodeMs, peakRssKiB.\n"
    "  --max-pixel N  decode to at most N pixels on the longest side (2560)\n"
    "  --png OUT      write the decoded picture, upright and in sRGB (of several, the last)\n"
    "  --repeat N     decode N times and give the median time (1)\n"
    "Exit status: 0 when every file gave a picture, 1 otherwise, 2 for wrong usage.\n";

struct Request
{
    int maxPixel = tavolin::MAX_DISPLAY_PIXELS;
    int repeats = 1;
    std::optional<std::filesystem::path> png;
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
        if (++i == arguments.size())
            return std::nullopt;
        const auto number = positiveNumber(arguments[i]);
        if (argument == "--png")
            request.png = arguments[i];
        else if (argument == "--max-pixel" && number)
            request.maxPixel = *number;
        else if (argument == "--repeat" && number)
            request.repeats = *number;
        else
            return std::nullopt;
    }
    return request.files.empty() ? std::nullopt : std::optional(request);
}

QJsonValue toJson(std::optional<QSize> size)
{
    return size ? QJsonValue(QJsonArray{size->width(), size->height()}) : QJsonValue();
}

/// The most memory that this process has had resident, in KiB.
qint64 peakRssKiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
#ifdef Q_OS_MACOS
    return usage.ru_maxrss / 1024;
#else
    return usage.ru_maxrss;
#endif
}

/// Prints the line of @p file and returns whether it gave a picture (and that could be written).
bool probe(const std::filesystem::path &file, const Request &request)
{
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::duration<double, std::milli>;
    tavolin::Image picture;
    std::vector<double> times;
    for (int i = 0; i < request.repeats; ++i) {
        const auto start = Clock::now();
        picture = tavolin::loadThumbnail(file, request.maxPixel);
        times.push_back(Milliseconds(Clock::now() - start).count());
    }
    const auto median = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), median, times.end());

    const bool isShown = !picture.isNull();
    const tavolin::PhotoInfo info = tavolin::readPhotoInfo(file);
    const QJsonObject line{
        {u"file"_s, QString::fromStdString(file.native())},
        {u"pixelSize"_s, toJson(tavolin::readPixelSize(file))},
        {u"display"_s, toJson(isShown ? std::optional(picture.size()) : std::nullopt)},
        {u"infoLine"_s, tavolin::infoLine(info.segments)},
        {u"segments"_s, QJsonArray::fromStringList(info.segments)},
        {u"decodeMs"_s, *median},
        {u"peakRssKiB"_s, peakRssKiB()},
    };
    const QByteArray text = QJsonDocument(line).toJson(QJsonDocument::Compact);
    std::printf("%s\n", text.constData());
    std::fflush(stdout);
    if (!isShown || !request.png)
        return isShown;
    const QString out = QString::fromStdString(request.png->native());
    if (tavolin::toSrgb(picture).toQImage().save(out, "PNG"))
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
    const QCoreApplication application(nameOnly, argv); // knows where Qt's image readers are
    bool areAllShown = true;
    for (const auto &file : request->files)
        areAllShown = probe(file, *request) && areAllShown;
    return areAllShown ? 0 : 1;
}
