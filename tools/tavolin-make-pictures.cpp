// Fills a folder with generated pictures, to try the viewer with and to measure it.

#include "pictures/Picture.h"
#include "pictures/Writing.h"

#include <QByteArray>
#include <QCommandLineParser>
#include <QFile>
#include <QGuiApplication>
#include <QSize>
#include <QString>
#include <QStringList>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;
using namespace tavolin::pictures;

namespace {

constexpr int EXIT_BAD_ARGUMENTS = 2;
constexpr int WORKERS = 2;

/// Pixels that a side may have: readable marks at one end, WebP's limit at the other.
constexpr int MIN_SIDE = 160;
constexpr int MAX_SIDE = 16383;

const QStringList FORMATS = {u"jpg"_s, u"png"_s, u"webp"_s, u"bmp"_s, u"tif"_s, u"dng"_s};

enum class Orientations {
    Demo, ///< Shapes and orientations as they come from a camera.
    One,  ///< All alike.
    All,  ///< 1 to 8 by turns.
};

struct Settings
{
    int count = 12;
    QSize size;
    QStringList formats; ///< Used by turns.
    Orientations orientations = Orientations::Demo;
    int orientation = 1; ///< For Orientations::One.
    WriteOptions writing;
    bool detailed = true;
    std::filesystem::path directory;
};

/// What became of the pictures, counted by all workers.
struct Tally
{
    std::atomic<int> written = 0;
    std::atomic<int> present = 0;
    std::atomic<int> failed = 0;
};

std::optional<int> numberBetween(int least, int most, const QString &text)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    return isNumber && number >= least && number <= most ? std::optional(number) : std::nullopt;
}

std::optional<QSize> parseSize(const QString &text)
{
    const QStringList sides = text.split(u'x');
    if (sides.size() != 2)
        return {};
    const auto width = numberBetween(MIN_SIDE, MAX_SIDE, sides[0]);
    const auto height = numberBetween(MIN_SIDE, MAX_SIDE, sides[1]);
    // Longer strips have no room for the index bar, lying or standing.
    if (!width || !height || *width > 5 * *height || *height > 5 * *width)
        return {};
    return QSize(*width, *height);
}

/// The settings that the command line asks for; otherwise @p complaint says what is wrong.
std::optional<Settings> parseSettings(const QCommandLineParser &parser, QString &complaint)
{
    const auto refuse = [&](const QString &text) {
        complaint = text;
        return std::nullopt;
    };
    Settings settings;
    const auto count = numberBetween(1, 9999, parser.value(u"count"_s));
    if (!count)
        return refuse(u"--count takes a number from 1 to 9999"_s);
    settings.count = *count;
    const auto size = parseSize(parser.value(u"size"_s));
    if (!size)
        return refuse(u"--size takes WIDTHxHEIGHT, each from %1 to %2, neither over 5 times the "
                      "other"_s.arg(MIN_SIDE)
                          .arg(MAX_SIDE));
    settings.size = *size;
    const QString format = parser.value(u"format"_s);
    if (format != u"mixed" && !FORMATS.contains(format))
        return refuse(u"--format takes one of %1, mixed"_s.arg(FORMATS.join(u", ")));
    settings.formats = format == u"mixed" ? FORMATS : QStringList{format};
    const auto quality = numberBetween(1, 100, parser.value(u"quality"_s));
    if (!quality)
        return refuse(u"--quality takes a number from 1 to 100"_s);
    settings.writing.quality = *quality;
    if (parser.isSet(u"orientation"_s)) {
        const QString text = parser.value(u"orientation"_s);
        const auto orientation = numberBetween(1, 8, text);
        if (!orientation && text != u"all")
            return refuse(u"--orientation takes a number from 1 to 8 or all"_s);
        settings.orientations = orientation ? Orientations::One : Orientations::All;
        settings.orientation = orientation.value_or(1);
    }
    settings.detailed = !parser.isSet(u"plain"_s);
    if (parser.positionalArguments().size() != 1)
        return refuse(u"give one folder to fill"_s);
    settings.directory = QFile::encodeName(parser.positionalArguments().constFirst()).toStdString();
    return settings;
}

/// Picture @p index, from 1.
PictureSpec plannedPicture(const Settings &settings, int index)
{
    PictureSpec spec;
    spec.size = settings.size;
    spec.index = index;
    spec.count = settings.count;
    spec.detailed = settings.detailed;
    switch (settings.orientations) {
    case Orientations::Demo:
        if (index % 3 == 0) { // held upright, to one side and the other
            spec.size = settings.size.transposed();
            spec.orientation = index % 2 == 0 ? 8 : 6;
        } else if (index == 2) { // one in the shape of a screen
            spec.size.setHeight(settings.size.width() * 9 / 16);
        }
        break;
    case Orientations::One:
        spec.orientation = settings.orientation;
        break;
    case Orientations::All:
        spec.orientation = (index - 1) % 8 + 1;
        break;
    }
    return spec;
}

void makePicture(const Settings &settings, int index, Tally &tally)
{
    const QString format = settings.formats[(index - 1) % settings.formats.size()];
    const QString name = u"IMG_%1.%2"_s.arg(index, 4, 10, QChar(u'0')).arg(format);
    const std::filesystem::path file = settings.directory / name.toStdString();
    std::error_code error;
    if (std::filesystem::exists(file, error)) {
        ++tally.present;
        return;
    }
    const PictureSpec spec = plannedPicture(settings, index);
    if (writePicture(drawPicture(spec), spec, file, settings.writing))
        ++tally.written;
    else
        ++tally.failed;
}

void makePictures(const Settings &settings, Tally &tally)
{
    std::atomic<int> next = 1;
    std::vector<std::jthread> workers;
    for (int worker = 0; worker < WORKERS; ++worker)
        workers.emplace_back([&] {
            for (int index = next++; index <= settings.count; index = next++)
                makePicture(settings, index, tally);
        });
}

int complain(const QString &complaint, int exitCode)
{
    std::fprintf(stderr, "tavolin-make-pictures: %s\n", complaint.toUtf8().constData());
    return exitCode;
}

} // namespace

int main(int argc, char *argv[])
{
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Fills a folder with generated pictures."_s);
    parser.addPositionalArgument(u"DIR"_s, u"The folder; made if missing."_s);
    parser.addOptions({
        {u"count"_s, u"How many pictures (12)."_s, u"N"_s, u"12"_s},
        {u"size"_s, u"Upright size in pixels (6000x4000)."_s, u"WxH"_s, u"6000x4000"_s},
        {u"format"_s, u"jpg (unless told), png, webp, bmp, tif, dng or mixed."_s, u"format"_s,
         u"jpg"_s},
        {u"orientation"_s, u"EXIF orientation 1 to 8, or all by turns."_s, u"K"_s},
        {u"quality"_s, u"Of JPEG and WebP, 1 to 100 (90)."_s, u"Q"_s, u"90"_s},
        {u"plain"_s, u"Soft backgrounds: small files, quickly made."_s},
    });
    const QCommandLineOption help({u"h"_s, u"help"_s}, u"Shows this."_s);
    parser.addOption(help);
    // Before there is an application object, whose start may have words of its own on stderr.
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QFile::decodeName(argv[i]));
    if (!parser.parse(arguments))
        return complain(parser.errorText(), EXIT_BAD_ARGUMENTS);
    QString complaint;
    const std::optional<Settings> settings = parseSettings(parser, complaint);
    if (!settings && !parser.isSet(help))
        return complain(complaint, EXIT_BAD_ARGUMENTS);

    // Text is drawn, but nothing is shown: this must run where there is no display.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    if (parser.isSet(help))
        parser.showHelp();
    std::error_code error;
    std::filesystem::create_directories(settings->directory, error);
    if (error)
        return complain(u"can't make the folder: %1"_s.arg(QString::fromStdString(error.message())),
                        EXIT_FAILURE);
    Tally tally;
    makePictures(*settings, tally);
    std::printf("%s: %d written, %d already there, %d failed\n", settings->directory.c_str(),
                tally.written.load(), tally.present.load(), tally.failed.load());
    return tally.failed == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
