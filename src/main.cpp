// Program entry.

#include "app/LaunchOptions.h"
#include "app/Viewer.h"
#include "platform/DesktopHandOver.h"
#include "platform/Mailbox.h"
#include "platform/SerialQueue.h"
#include "worker/client/WorkerReader.h"

#include <QApplication>
#include <QTimer>

#include <chrono>
#include <cstdlib>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

/// On D-Bus, and the name of the desktop entry.
constexpr QStringView APPLICATION_ID = u"org.tavolin.Viewer";

/// After the start: by then the first picture is there.
constexpr std::chrono::milliseconds CROP_DEMO_DELAY(1200);

} // namespace

int main(int argc, char **argv)
{
    // Read before the application object takes its own options out of the arguments.
    const auto options =
        tavolin::readLaunchOptions(std::span(argv, static_cast<std::size_t>(argc)).subspan(1));
    // First, so that workers are ready when the window is.
    const tavolin::WorkerReader reader;
    int nameOnly = 1;
    QApplication application(nameOnly, argv);
    QApplication::setApplicationName(u"tavolin-viewer"_s);
    QApplication::setApplicationDisplayName(u"Tavolin Viewer"_s);
    QApplication::setDesktopFileName(APPLICATION_ID.toString());

    tavolin::Mailbox mailbox;
    std::optional<tavolin::Viewer> viewer(std::in_place, mailbox, reader);
    std::optional<tavolin::DesktopHandOver> handOver(std::in_place, APPLICATION_ID.toString());
    QObject::connect(&*handOver, &tavolin::DesktopHandOver::opened, &*viewer,
                     &tavolin::Viewer::applicationOpen);
    QObject::connect(&*handOver, &tavolin::DesktopHandOver::activated, &viewer->shell(),
                     &tavolin::Shell::activate);
    viewer->applicationDidFinishLaunching(options);
    if (options.isBench)
        viewer->selfTest().runBench();
    if (options.isCropDemo)
        QTimer::singleShot(CROP_DEMO_DELAY, &viewer->cropMode(), &tavolin::CropMode::enterCrop);
    // A viewer that is not the first one gets no name there, and a bench run is nobody's to hand
    // something to.
    if (!options.isBench)
        handOver->listen();
    const int result = QApplication::exec();
    // The user has given up work that may hang for ever: nothing it uses may be taken away.
    if (!viewer->fileWork().jobs().isEmpty())
        std::_Exit(result);
    handOver.reset();
    viewer.reset();
    // A disk that does not answer keeps a thread of ours, and that the reader. Nothing is left to
    // be written, and the system ends them all.
    if (tavolin::workersLeftBehind() > 0)
        std::_Exit(result);
    return result;
}
