#include "e2e/SessionBus.h"

#include "e2e/ChildProcess.h"
#include "e2e/WaitUntil.h"

#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QStandardPaths>

namespace tavolin {

using namespace Qt::StringLiterals;

namespace {

constexpr auto VIEWER_NAME = "org.tavolin.Viewer";
constexpr auto VIEWER_PATH = "/org/tavolin/Viewer";

/// In the text format of the GVariant library.
QString quoted(const QString &text)
{
    return u'\'' + text + u'\'';
}

} // namespace

SessionBus::SessionBus(const QByteArray &displayName)
{
    const QDir folder(m_folder.path());
    for (const QString &name : {u"dbus-1/services"_s, u"home"_s, u"run"_s})
        folder.mkpath(name);
    QFile::setPermissions(folder.filePath(u"run"_s),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString &name : {u"LC_ALL"_s, u"LANGUAGE"_s, u"WAYLAND_DISPLAY"_s,
                                u"QT_SCALE_FACTOR"_s, u"QT_QPA_PLATFORMTHEME"_s})
        environment.remove(name);
    environment.insert(u"LANG"_s, u"C.UTF-8"_s);
    environment.insert(u"DISPLAY"_s, QString::fromLatin1(displayName));
    environment.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
    environment.insert(u"HOME"_s, folder.filePath(u"home"_s));
    environment.insert(u"XDG_DATA_HOME"_s, m_folder.path()); // where services are looked for
    environment.insert(u"XDG_RUNTIME_DIR"_s, folder.filePath(u"run"_s));
    endWithParent(m_process);
    m_process.setProcessEnvironment(environment);
    m_process.start(u"dbus-daemon"_s,
                    {u"--session"_s, u"--nofork"_s, u"--nopidfile"_s, u"--print-address"_s,
                     u"--address=unix:path="_s + folder.filePath(u"bus"_s)});
    m_process.waitForReadyRead();
    m_address = QString::fromLatin1(m_process.readLine()).trimmed();
    if (m_address.isEmpty())
        m_error = u"dbus-daemon does not start: "_s +
                  QString::fromLocal8Bit(m_process.readAllStandardError());
}

SessionBus::~SessionBus()
{
    m_process.kill();
    m_process.waitForFinished();
}

QString SessionBus::whyUnavailable()
{
    for (const QString &program : {u"dbus-daemon"_s, u"dbus-send"_s, u"gdbus"_s}) {
        if (QStandardPaths::findExecutable(program).isEmpty())
            return program + u" is not installed"_s;
    }
    return {};
}

void SessionBus::installService(const QString &program)
{
    QFile file(m_folder.filePath(u"dbus-1/services/org.tavolin.Viewer.service"_s));
    if (!file.open(QIODevice::WriteOnly))
        return;
    file.write("[D-BUS Service]\nName=org.tavolin.Viewer\nExec=" + program.toUtf8() + '\n');
    file.close();
    (void)call({u"--dest=org.freedesktop.DBus"_s, u"--object-path=/org/freedesktop/DBus"_s,
                u"--method=org.freedesktop.DBus.ReloadConfig"_s});
}

bool SessionBus::hasViewer() const
{
    return call({u"--dest=org.freedesktop.DBus"_s, u"--object-path=/org/freedesktop/DBus"_s,
                 u"--method=org.freedesktop.DBus.NameHasOwner"_s,
                 QString::fromLatin1(VIEWER_NAME)}) == "(true,)\n";
}

bool SessionBus::open(const QStringList &uris) const
{
    QStringList list;
    for (const QString &uri : uris)
        list.append(quoted(uri));
    return call({u"--dest"_s, QString::fromLatin1(VIEWER_NAME), u"--object-path"_s,
                 QString::fromLatin1(VIEWER_PATH), u"--method=org.freedesktop.Application.Open"_s,
                 u'[' + list.join(u',') + u']', u"{}"_s})
        .has_value();
}

bool SessionBus::openNumbers() const
{
    QProcess send; // gdbus knows what the program wants, and refuses
    endWithParent(send);
    send.start(u"dbus-send"_s,
               {u"--bus="_s + m_address, u"--print-reply"_s,
                u"--dest="_s + QString::fromLatin1(VIEWER_NAME), QString::fromLatin1(VIEWER_PATH),
                u"org.freedesktop.Application.Open"_s, u"array:int32:1,2"_s,
                u"dict:string:string:"_s});
    return send.waitForFinished() && send.exitCode() == 0;
}

bool SessionBus::activate() const
{
    return call({u"--dest"_s, QString::fromLatin1(VIEWER_NAME), u"--object-path"_s,
                 QString::fromLatin1(VIEWER_PATH),
                 u"--method=org.freedesktop.Application.Activate"_s, u"{}"_s})
        .has_value();
}

bool SessionBus::activateAction(const QString &name) const
{
    return call({u"--dest"_s, QString::fromLatin1(VIEWER_NAME), u"--object-path"_s,
                 QString::fromLatin1(VIEWER_PATH),
                 u"--method=org.freedesktop.Application.ActivateAction"_s, quoted(name), u"[]"_s,
                 u"{}"_s})
        .has_value();
}

std::optional<QByteArray> SessionBus::call(const QStringList &arguments) const
{
    QProcess gdbus;
    endWithParent(gdbus);
    gdbus.start(u"gdbus"_s, QStringList{u"call"_s, u"--address"_s, m_address} + arguments);
    if (!gdbus.waitForFinished() || gdbus.exitStatus() != QProcess::NormalExit ||
        gdbus.exitCode() != 0)
        return {};
    return gdbus.readAllStandardOutput();
}

} // namespace tavolin
