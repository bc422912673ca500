#include "platform/DesktopHandOver.h"

#ifdef Q_OS_MACOS
#include <QCoreApplication>
#include <QFile>
#include <QFileOpenEvent>
#include <QTimer>
#include <QUrl>
#else
#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFile>
#include <QStringList>
#include <QVariantMap>

#include <memory>
#include <string_view>

#include <gio/gio.h>
#endif

using namespace Qt::StringLiterals;

namespace tavolin {

#ifdef Q_OS_MACOS

std::optional<std::filesystem::path> localFile(const QString &uri)
{
    const QUrl url(uri);
    return url.isLocalFile() ? std::optional(QFile::encodeName(url.toLocalFile()).toStdString())
                             : std::nullopt;
}

DesktopHandOver::DesktopHandOver(const QString &applicationId, QObject *parent)
    : QObject(parent), m_applicationId(applicationId)
{
    // The first files may come before there is a window.
    QCoreApplication::instance()->installEventFilter(this);
}

void DesktopHandOver::listen()
{
    Q_EMIT listening(true);
}

bool DesktopHandOver::eventFilter(QObject *, QEvent *event)
{
    if (event->type() != QEvent::FileOpen)
        return false;
    const QString file = static_cast<QFileOpenEvent *>(event)->file();
    if (file.isEmpty() || m_isOneTaken)
        return true;
    // Of several files each comes in an event of its own.
    m_isOneTaken = true;
    QTimer::singleShot(0, this, [this] { m_isOneTaken = false; });
    Q_EMIT opened({QFile::encodeName(file).toStdString()});
    return true;
}

#else

namespace {

/// Bytes of a token that allows a window to come to the front; desktops make some 50. It gets into
/// the environment of all that is started from here, which has little room.
constexpr qsizetype MAX_TOKEN_BYTES = 1024;

/// How the program looks on the bus.
class ApplicationAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    explicit ApplicationAdaptor(DesktopHandOver *handOver)
        : QDBusAbstractAdaptor(handOver), m_handOver(handOver)
    {}

public Q_SLOTS:
    void Activate(const QVariantMap &platformData)
    {
        // What allows a window to come to the front on Wayland; Qt takes it from there.
        const QByteArray token = platformData.value(u"activation-token"_s).toString().toUtf8();
        if (!token.isEmpty() && token.size() <= MAX_TOKEN_BYTES)
            qputenv("XDG_ACTIVATION_TOKEN", token);
        Q_EMIT m_handOver->activated();
    }

    void Open(const QStringList &uris, const QVariantMap &platformData)
    {
        std::vector<std::filesystem::path> paths;
        if (const auto file = uris.empty() ? std::nullopt : localFile(uris.front()))
            paths.push_back(*file);
        Q_EMIT m_handOver->opened(paths);
        Activate(platformData);
    }

    /// The desktop entry names no actions.
    void ActivateAction(const QString &, const QVariantList &, const QVariantMap &) {}

private:
    DesktopHandOver *m_handOver; // owns this
};

/// Without one, asking for it would start one where the tools for that are installed.
bool hasSessionBus()
{
    return !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS") ||
           QFile::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + u"/bus"_s);
}

/// Makes @p handOver what the program @p applicationId is on @p bus.
void takeName(QDBusConnection bus, const QString &applicationId, DesktopHandOver &handOver)
{
    QString path = u'/' + applicationId;
    path.replace(u'.', u'/').replace(u'-', u'_');
    if (!bus.registerObject(path, &handOver)) {
        Q_EMIT handOver.listening(false);
        return;
    }
    // Not registerService(), which waits for the answer.
    constexpr uint DO_NOT_QUEUE = 4; // this and the next are D-Bus's own numbers
    constexpr uint IS_OWNER = 1;
    auto request =
        QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                       u"org.freedesktop.DBus"_s, u"RequestName"_s);
    request << applicationId << DO_NOT_QUEUE;
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(request), &handOver);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &handOver, [watcher, &handOver] {
        const QDBusPendingReply<uint> reply = *watcher;
        watcher->deleteLater();
        Q_EMIT handOver.listening(reply.isValid() && reply.value() == IS_OWNER);
    });
}

} // namespace

std::optional<std::filesystem::path> localFile(const QString &uri)
{
    const auto freed = [](char *text) { g_free(text); };
    char *hostName = nullptr;
    const std::unique_ptr<char, decltype(freed)> file(
        g_filename_from_uri(uri.toUtf8().constData(), &hostName, nullptr), freed);
    const std::unique_ptr<char, decltype(freed)> host(hostName, freed);
    if (!file || (host && std::string_view(host.get()) != "localhost" &&
                  std::string_view(host.get()) != g_get_host_name()))
        return {};
    return file.get();
}

DesktopHandOver::DesktopHandOver(const QString &applicationId, QObject *parent)
    : QObject(parent), m_applicationId(applicationId)
{
    new ApplicationAdaptor(this);
}

void DesktopHandOver::listen()
{
    if (!hasSessionBus()) {
        Q_EMIT listening(false);
        return;
    }
    // Whoever is first to connect waits until the bus has answered, which one that hangs never
    // does.
    m_busQueue.post([this, id = m_applicationId](const std::stop_token &) {
        const auto bus = QDBusConnection::sessionBus();
        // Runs when this still lives: it outlives the queue, and takes its events with it.
        QMetaObject::invokeMethod(
            this, [this, bus, id] { takeName(bus, id, *this); }, Qt::QueuedConnection);
    });
}

#endif

} // namespace tavolin

#ifndef Q_OS_MACOS
#include "DesktopHandOver.moc"
#endif
