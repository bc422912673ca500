#include "e2e/XServer.h"

#include "e2e/ChildProcess.h"
#include "e2e/XClient.h"

#include <QStandardPaths>

#include <linux/input-event-codes.h>

namespace tavolin {

using namespace Qt::StringLiterals;

namespace {

/// Milliseconds that the server and its tools get: far more than they need.
constexpr int START_LIMIT = 20'000;

} // namespace

XServer::XServer(const QString &layout, const QString &option, QSize size)
{
    if (!startServer(size) || !setLayout(layout, option))
        return;
    XClient(m_displayName).paintRoot(ROOT_COLOR);
}

XServer::~XServer()
{
    m_process.terminate();
    if (!m_process.waitForFinished(START_LIMIT))
        m_process.kill();
    m_process.waitForFinished();
}

QString XServer::whyUnavailable()
{
    for (const QString &program : {u"Xvfb"_s, u"setxkbmap"_s}) {
        if (QStandardPaths::findExecutable(program).isEmpty())
            return program + u" is not installed"_s;
    }
    return {};
}

bool XServer::startServer(QSize size)
{
    const QString screen = u"%1x%2x24"_s.arg(size.width()).arg(size.height());
    endWithParent(m_process);
    m_process.setWorkingDirectory(m_folder.path());
    m_process.setStandardErrorFile(m_folder.filePath(u"stderr"_s));
    // The server chooses a free number and writes it to descriptor 1 once it accepts connections.
    // Without -noreset it would forget the layout as soon as its last client leaves.
    m_process.start(u"Xvfb"_s, {u"-displayfd"_s, u"1"_s, u"-screen"_s, u"0"_s, screen,
                                u"-nolisten"_s, u"tcp"_s, u"-noreset"_s});
    QByteArray number;
    while (!number.endsWith('\n') && m_process.waitForReadyRead(START_LIMIT))
        number += m_process.readAll();
    if (!number.endsWith('\n')) {
        m_error = u"Xvfb does not start: "_s + m_process.errorString();
        return false;
    }
    m_displayName = ':' + number.trimmed();
    return true;
}

bool XServer::setLayout(const QString &layout, const QString &option)
{
    // A new map reaches only keyboards that have sent an event.
    XClient client(m_displayName);
    if (!client.isOpen()) {
        m_error = u"Xvfb does not answer"_s;
        return false;
    }
    client.tapKey(KEY_LEFTSHIFT);

    QStringList arguments{u"-display"_s, QString::fromLatin1(m_displayName), u"-layout"_s, layout};
    if (!option.isEmpty())
        arguments << u"-option"_s << option;
    QProcess tool;
    tool.start(u"setxkbmap"_s, arguments);
    if (!tool.waitForFinished(START_LIMIT) || tool.exitCode() != 0) {
        m_error = u"setxkbmap fails: "_s + QString::fromLocal8Bit(tool.readAllStandardError());
        return false;
    }
    return true;
}

} // namespace tavolin
