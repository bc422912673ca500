#include "e2e/Weston.h"

#include "e2e/ChildProcess.h"
#include "e2e/WaitUntil.h"
#include "e2e/XClient.h"
#include "e2e/XServer.h"

#include <QFile>
#include <QImage>
#include <QProcessEnvironment>
#include <QStandardPaths>

#include <chrono>

namespace tavolin {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// The desktop is all there when it looks the same for so long: several steps of its fading.
constexpr auto SETTLING_TIME = 100ms;

} // namespace

Weston::Weston(const XServer &server)
{
    startProcess(server);
    XClient client(server.displayName());
    const auto hasWindow = [&] {
        const auto windows = client.windows();
        return windows.size() == 1 && windows[0].geometry == WESTON_RECT;
    };
    if (!waitUntil([&] { return !isRunning() || hasWindow(); }) || !hasWindow()) {
        QFile log(logPath());
        m_error = u"weston does not start: "_s + (log.open(QIODevice::ReadOnly)
                                                      ? QString::fromUtf8(log.readAll())
                                                      : m_process.errorString());
        return;
    }
    // There is no window manager to do it.
    client.giveKeyboard(client.windows()[0]);
    client.moveMouse(WESTON_RECT.center());

    // The desktop fades in. Before that, neither its colours nor where keys go can be relied on.
    const QPoint besideThePointer = WESTON_RECT.center() - QPoint(50, 50);
    const auto hasSettled = [&] {
        const QImage look = client.screen(WESTON_RECT);
        return qGray(look.pixel(besideThePointer)) > 0 &&
               staysTrue([&] { return client.screen(WESTON_RECT) == look; }, SETTLING_TIME);
    };
    if (!waitUntil(hasSettled))
        m_error = u"weston shows no desktop"_s;
}

Weston::~Weston()
{
    m_process.terminate();
    if (!m_process.waitForFinished())
        m_process.kill();
    m_process.waitForFinished();
}

QString Weston::whyUnavailable()
{
    return QStandardPaths::findExecutable(u"weston"_s).isEmpty() ? u"weston is not installed"_s
                                                                 : QString();
}

QString Weston::socket() const
{
    return m_folder.filePath(u"wayland"_s);
}

QString Weston::logPath() const
{
    return m_folder.filePath(u"log"_s);
}

void Weston::startProcess(const XServer &server)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DISPLAY"_s, QString::fromLatin1(server.displayName()));
    environment.insert(u"HOME"_s, m_folder.path());
    environment.insert(u"XDG_RUNTIME_DIR"_s, m_folder.path()); // which only its owner can read
    endWithParent(m_process);
    m_process.setProcessEnvironment(environment);
    m_process.setWorkingDirectory(m_folder.path());
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.setStandardOutputFile(logPath());
    m_process.start(u"weston"_s, {u"--backend=x11-backend.so"_s, u"--use-pixman"_s,
                                  u"--width=%1"_s.arg(WESTON_RECT.width()),
                                  u"--height=%1"_s.arg(WESTON_RECT.height()), u"--no-config"_s,
                                  u"--idle-time=0"_s, u"--socket=wayland"_s});
}

bool Weston::isRunning()
{
    // Without an event loop the state is brought up to date only by waiting.
    m_process.waitForFinished(0);
    return m_process.state() != QProcess::NotRunning;
}

} // namespace tavolin
