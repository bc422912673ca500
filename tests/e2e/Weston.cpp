#include "e2e/Weston.h"

#include "e2e/ChildProcess.h"
#include "e2e/WaitUntil.h"
#include "e2e/XClient.h"
#include "e2e/XServer.h"

#include <QFile>
#include <QImage>
#include <QLibraryInfo>
#include <QProcessEnvironment>
#include <QStandardPaths>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <utility>

namespace tavolin {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// The desktop is all there when it looks the same for so long: several steps of its fading.
constexpr auto SETTLING_TIME = 100ms;

} // namespace

Weston::Weston(const XServer &server, std::vector<WestonOutput> outputs)
    : m_server(server), m_outputs(std::move(outputs))
{
    startProcess();
    XClient client(server.displayName());
    if (!waitUntil([&] { return !isRunning() || hasWindows(client); }) || !hasWindows(client)) {
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

int Weston::majorVersion()
{
    QProcess weston;
    weston.start(u"weston"_s, {u"--version"_s});
    if (!weston.waitForFinished())
        return 0;
    // "weston 10.0.1"
    return weston.readAllStandardOutput().split(' ').last().split('.').first().toInt();
}

QString Weston::whyUnavailable()
{
    const QString plugins = QLibraryInfo::path(QLibraryInfo::PluginsPath);
    if (!QFile::exists(plugins + u"/platforms/libqwayland-generic.so"_s))
        return u"Qt's Wayland platform plugin is not installed"_s;
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

bool Weston::closeFirstOutput()
{
    XClient client(m_server.displayName());
    client.close(client.windows()[0]);
    m_outputs.erase(m_outputs.begin());
    if (!waitUntil([&] { return hasWindows(client); }))
        return false;
    client.giveKeyboard(client.windows()[0]);
    return true;
}

bool Weston::hasWindows(const XClient &client) const
{
    const auto windows = client.windows();
    return std::ranges::equal(
        windows, m_outputs, {}, &TopLevelWindow::geometry,
        [](const WestonOutput &output) { return QRect(WESTON_RECT.topLeft(), output.pixels()); });
}

bool Weston::writeConfiguration() const
{
    QString text;
    for (std::size_t i = 0; i < m_outputs.size(); ++i)
        text += u"[output]\nname=X%1\nmode=%2x%3\nscale=%4\n"_s.arg(i + 1)
                    .arg(m_outputs[i].size.width())
                    .arg(m_outputs[i].size.height())
                    .arg(m_outputs[i].scale);
    QFile file(m_folder.filePath(u"weston.ini"_s));
    return file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) >= 0;
}

void Weston::startProcess()
{
    if (!writeConfiguration())
        return;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DISPLAY"_s, QString::fromLatin1(m_server.displayName()));
    environment.insert(u"HOME"_s, m_folder.path());
    environment.insert(u"XDG_RUNTIME_DIR"_s, m_folder.path()); // which only its owner can read
    endWithParent(m_process);
    m_process.setProcessEnvironment(environment);
    m_process.setWorkingDirectory(m_folder.path());
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.setStandardOutputFile(logPath());
    m_process.start(u"weston"_s, {u"--backend=x11-backend.so"_s, u"--use-pixman"_s,
                                  u"--output-count=%1"_s.arg(m_outputs.size()),
                                  u"--config="_s + m_folder.filePath(u"weston.ini"_s),
                                  u"--idle-time=0"_s, u"--socket=wayland"_s});
}

bool Weston::isRunning()
{
    // Without an event loop the state is brought up to date only by waiting.
    m_process.waitForFinished(0);
    return m_process.state() != QProcess::NotRunning;
}

} // namespace tavolin
