#include "e2e/ViewerProcess.h"

#include "e2e/ChildProcess.h"

#include <QDir>
#include <QFile>

namespace tavolin {

using namespace Qt::StringLiterals;

namespace {

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The environment of the test with everything that changes what the viewer does replaced.
QProcessEnvironment environment(const QDir &folder, const QByteArray &displayName,
                                const QString &waylandSocket, const QString &busAddress)
{
    QProcessEnvironment result = QProcessEnvironment::systemEnvironment();
    for (const QString &name :
         {u"LC_ALL"_s, u"LANGUAGE"_s, u"WAYLAND_DISPLAY"_s, u"QT_IM_MODULE"_s, u"QT_SCALE_FACTOR"_s,
          u"QT_STYLE_OVERRIDE"_s, u"QT_QPA_PLATFORMTHEME"_s, u"XDG_CURRENT_DESKTOP"_s})
        result.remove(name);
    result.insert(u"DISPLAY"_s, QString::fromLatin1(displayName));
    result.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
    if (!waylandSocket.isEmpty()) {
        result.insert(u"WAYLAND_DISPLAY"_s, waylandSocket);
        result.insert(u"QT_QPA_PLATFORM"_s, u"wayland"_s);
    }
    result.insert(u"LANG"_s, u"C.UTF-8"_s);
    result.insert(u"DBUS_SESSION_BUS_ADDRESS"_s,
                  busAddress.isEmpty() ? u"disabled:"_s : busAddress);
    result.insert(u"HOME"_s, folder.filePath(u"home"_s));
    result.insert(u"XDG_CONFIG_HOME"_s, folder.filePath(u"home/.config"_s));
    result.insert(u"XDG_DATA_HOME"_s, folder.filePath(u"home/.local/share"_s));
    result.insert(u"XDG_CACHE_HOME"_s, folder.filePath(u"home/.cache"_s));
    result.insert(u"XDG_RUNTIME_DIR"_s, folder.filePath(u"run"_s));
    return result;
}

} // namespace

ViewerProcess::ViewerProcess(const QString &program, const QStringList &arguments,
                             const QByteArray &displayName, const QString &waylandSocket,
                             const QString &busAddress, const QProcessEnvironment &additions)
{
    const QDir folder(m_folder.path());
    for (const QString &name :
         {u"home/.config"_s, u"home/.local/share"_s, u"home/.cache"_s, u"run"_s, u"work"_s})
        folder.mkpath(name);
    // Qt complains about a runtime folder that others can read.
    QFile::setPermissions(folder.filePath(u"run"_s),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    endWithParent(m_process);
    QProcessEnvironment surroundings = environment(folder, displayName, waylandSocket, busAddress);
    surroundings.insert(additions);
    m_process.setProcessEnvironment(surroundings);
    m_process.setWorkingDirectory(folder.filePath(u"work"_s));
    // Files, as a pipe that nobody empties would stop the program.
    m_process.setStandardOutputFile(folder.filePath(u"stdout"_s));
    m_process.setStandardErrorFile(folder.filePath(u"stderr"_s));
    m_process.start(program, arguments);
    m_process.waitForStarted();
}

ViewerProcess::~ViewerProcess()
{
    m_process.kill();
    m_process.waitForFinished();
}

std::filesystem::path ViewerProcess::dataHome() const
{
    return m_folder.filePath(u"home/.local/share"_s).toStdString();
}

bool ViewerProcess::isRunning()
{
    // Without an event loop the state is brought up to date only by waiting.
    m_process.waitForFinished(0);
    return m_process.state() != QProcess::NotRunning;
}

std::optional<int> ViewerProcess::exitCode()
{
    if (isRunning() || m_process.exitStatus() != QProcess::NormalExit ||
        m_process.error() == QProcess::FailedToStart)
        return {};
    return m_process.exitCode();
}

QByteArray ViewerProcess::standardOutput() const
{
    return contents(m_folder.filePath(u"stdout"_s));
}

QByteArray ViewerProcess::standardError() const
{
    return contents(m_folder.filePath(u"stderr"_s));
}

std::optional<qint64> ViewerProcess::rssKiB()
{
    return statusField("VmRSS:");
}

std::optional<qint64> ViewerProcess::peakRssKiB()
{
    return statusField("VmHWM:");
}

std::optional<qint64> ViewerProcess::statusField(const QByteArray &name)
{
    if (!isRunning())
        return {};
    const QByteArray status = contents(u"/proc/%1/status"_s.arg(m_process.processId()));
    for (const QByteArray &line : status.split('\n')) {
        if (line.startsWith(name)) // "VmHWM:     1234 kB"
            return line.mid(name.size()).chopped(2).trimmed().toLongLong();
    }
    return {};
}

} // namespace tavolin
