// Program entry.

#include "app/LaunchOptions.h"
#include "app/Viewer.h"
#include "platform/Mailbox.h"

#include <QApplication>

using namespace Qt::StringLiterals;

int main(int argc, char **argv)
{
    // Read before the application object takes its own options out of the arguments.
    const auto options =
        tavolin::readLaunchOptions(std::span(argv, static_cast<std::size_t>(argc)).subspan(1));
    int nameOnly = 1;
    QApplication application(nameOnly, argv);
    QApplication::setApplicationName(u"tavolin-viewer"_s);
    QApplication::setApplicationDisplayName(u"Tavolin Viewer"_s);
    QApplication::setDesktopFileName(u"tavolin-viewer"_s);

    tavolin::Mailbox mailbox;
    tavolin::Viewer viewer(mailbox);
    viewer.applicationDidFinishLaunching(options);
    return QApplication::exec();
}
