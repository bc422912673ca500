// Measures the start on one picture of 24 megapixels: from starting the program to the picture
// being on a virtual screen, and what the time goes into. Prints one line of JSON, medians.
//
// The program starts itself again to be the viewer with a clock in it ("--stages") or the least
// that shows a window ("--bare").

#include "app/Viewer.h"
#include "DecodeAlone.h"
#include "e2e/ViewerProcess.h"
#include "e2e/WaitUntil.h"
#include "e2e/XClient.h"
#include "e2e/XServer.h"
#include "pictures/Picture.h"
#include "pictures/Writing.h"
#include "platform/Mailbox.h"
#include "worker/client/WorkerReader.h"

#include <QApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMainWindow>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

using namespace tavolin;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int RUNS = 15;
constexpr QSize PICTURE_SIZE{6000, 4000};

/// What such a picture is decoded at for the screen, in eighths.
constexpr unsigned HALF_SIZE = 4;

/// In the middle of the picture's red and green corner patches, and what is there.
constexpr QPoint RED_PATCH{250, 60};
constexpr QPoint GREEN_PATCH{1670, 60};

/// Left of the picture: ROOT_COLOR, until the bare window covers it with the opposite.
constexpr QPoint MARGIN{75, 540};
constexpr QRgb BARE_COLOR = 0xff4fff4f;

double now()
{
    return std::chrono::duration<double, std::milli>(Clock::now().time_since_epoch()).count();
}

/// What the child tells: moments, in milliseconds of the system's steady clock.
struct Moments
{
    double main = 0;
    double application = 0; ///< The application object is there.
    double decodeBegin = 0; ///< The window is there, and the picture looked for.
    double decodeEnd = 0;
};

/// Tells when the first picture was decoded, once all is done that was to be done at the start.
class TellingReader : public WorkerReader
{
public:
    TellingReader(Mailbox &mailbox, Moments &moments) : m_mailbox(mailbox), m_moments(moments) {}

    [[nodiscard]] DisplayPicture loadDisplayPicture(const std::filesystem::path &url,
                                                    const DisplayTarget &target, Urgency urgency,
                                                    std::stop_token stop) const override
    {
        m_moments.decodeBegin = now();
        auto picture = WorkerReader::loadDisplayPicture(url, target, urgency, std::move(stop));
        m_moments.decodeEnd = now();
        m_mailbox.post([&moments = m_moments] {
            std::printf("%.3f %.3f %.3f %.3f\n", moments.main, moments.application,
                        moments.decodeBegin, moments.decodeEnd);
            std::fflush(stdout);
        });
        return picture;
    }

private:
    Mailbox &m_mailbox;
    Moments &m_moments;
};

int runStages(int argc, char **argv)
{
    Moments moments{.main = now()};
    Mailbox mailbox;
    const TellingReader reader(mailbox, moments);
    int nameOnly = 1;
    const QApplication application(nameOnly, argv);
    moments.application = now();
    Viewer viewer(mailbox, reader);
    viewer.applicationDidFinishLaunching({.path = argv[argc - 1]});
    return QApplication::exec();
}

int runBare(char **argv)
{
    int nameOnly = 1;
    const QApplication application(nameOnly, argv);
    QMainWindow window;
    window.setPalette(QColor(BARE_COLOR));
    window.setGeometry(SCREEN_RECT);
    window.show();
    return QApplication::exec();
}

QRgb colorAt(const XClient &client, QPoint position)
{
    const QImage pixel = client.screen({position, QSize(1, 1)});
    return pixel.isNull() ? 0 : pixel.pixel(0, 0);
}

bool isPictureShown(const XClient &client)
{
    const QRgb red = colorAt(client, RED_PATCH);
    const QRgb green = colorAt(client, GREEN_PATCH);
    return qRed(red) > 200 && qGreen(red) < 60 && qGreen(green) > 200 && qRed(green) < 60;
}

/// Starts @p program and returns the time until @p isShown, in milliseconds. Whatever it has
/// printed by then or soon after is in @p output, if wanted. Empty when nothing is shown.
std::optional<double> timeStart(const XServer &server, const QString &program,
                                const QStringList &arguments,
                                const std::function<bool(const XClient &)> &isShown,
                                double &started, QByteArray *output = nullptr)
{
    XClient client(server.displayName());
    client.paintRoot(ROOT_COLOR);
    started = now();
    const ViewerProcess viewer(program, arguments, server.displayName());
    const double limit = started + std::chrono::duration<double, std::milli>(WAIT_LIMIT).count();
    while (!isShown(client)) {
        if (now() > limit)
            return {};
        std::this_thread::sleep_for(500us);
    }
    const double shown = now();
    if (output && !waitUntil([&] { return (*output = viewer.standardOutput()).endsWith('\n'); }))
        return {};
    return shown - started;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return std::round(values[values.size() / 2] * 10) / 10;
}

std::optional<QJsonObject> measure(const QString &self)
{
    const QTemporaryDir folder;
    const QString picture = folder.filePath(u"IMG_1001.jpg"_s);
    const pictures::PictureSpec spec{.size = PICTURE_SIZE};
    const XServer server;
    if (!server.error().isEmpty() ||
        !pictures::writePicture(pictures::drawPicture(spec), spec, picture.toStdString()))
        return {};

    std::vector<double> viewer, bare, decode, process, application, window, decoding, painting;
    for (int run = 0; run < RUNS; ++run) {
        double started = 0;
        const auto whole = timeStart(server, QStringLiteral(TAVOLIN_VIEWER_PROGRAM), {picture},
                                     isPictureShown, started);
        const auto least = timeStart(
            server, self, {u"--bare"_s},
            [](const XClient &client) { return colorAt(client, MARGIN) == BARE_COLOR; }, started);
        const double begin = now();
        decodeAlone(picture.toStdString(), HALF_SIZE);
        decode.push_back(now() - begin);
        QByteArray output;
        const auto staged =
            timeStart(server, self, {u"--stages"_s, picture}, isPictureShown, started, &output);
        Moments moments;
        if (!whole || !least || !staged ||
            std::sscanf(output.constData(), "%lf %lf %lf %lf", &moments.main, &moments.application,
                        &moments.decodeBegin, &moments.decodeEnd) != 4)
            return {};
        viewer.push_back(*whole);
        bare.push_back(*least);
        process.push_back(moments.main - started);
        application.push_back(moments.application - moments.main);
        window.push_back(moments.decodeBegin - moments.application);
        decoding.push_back(moments.decodeEnd - moments.decodeBegin);
        painting.push_back(started + *staged - moments.decodeEnd);
    }
    return QJsonObject{
        {u"viewerMs"_s, median(viewer)},           {u"bareWindowMs"_s, median(bare)},
        {u"decodeAloneMs"_s, median(decode)},      {u"processMs"_s, median(process)},
        {u"applicationMs"_s, median(application)}, {u"windowMs"_s, median(window)},
        {u"decodeMs"_s, median(decoding)},         {u"untilShownMs"_s, median(painting)},
    };
}

} // namespace

int main(int argc, char **argv)
{
    const std::string role = argc > 1 ? argv[1] : "";
    if (role == "--stages")
        return runStages(argc, argv);
    if (role == "--bare")
        return runBare(argv);

    qputenv("QT_QPA_PLATFORM", "offscreen"); // for the text on the picture; not the viewer's
    const QApplication application(argc, argv);
    const auto result = measure(QCoreApplication::applicationFilePath());
    if (!result) {
        std::fprintf(stderr, "nothing can be measured here\n");
        return 1;
    }
    std::printf("%s\n", QJsonDocument(*result).toJson(QJsonDocument::Compact).constData());
    return 0;
}
