#include "platform/DesktopHandOver.h"

#ifdef Q_OS_MACOS
#include <QCoreApplication>
#include <QFile>
#include <QFileOpenEvent>
#include <QUrl>
#else
#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QFile>
#include <QStringList>
#include <QVariantMap>

#include <memory>
#include <string_view>
#include <utility>

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

bool DesktopHandOver::listen()
{
    return true;
}

bool DesktopHandOver::eventFilter(QObject *, QEvent *event)
{
    if (event->type() != QEvent::FileOpen)
        return false;
    const QString file = static_cast<QFileOpenEvent *>(event)->file();
    if (!file.isEmpty())
        Q_EMIT opened({QFile::encodeName(file).toStdString()});
    return true;
}

#else

namespace {

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
        if (!token.isEmpty())
            qputenv("XDG_ACTIVATION_TOKEN", token);
        Q_EMIT m_handOver->activated();
    }

    void Open(const QStringList &uris, const QVariantMap &platformData)
    {
        std::vector<std::filesystem::path> paths;
        for (const QString &uri : uris) {
            if (auto file = localFile(uri))
                paths.push_back(std::move(*file));
        }
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

bool DesktopHandOver::listen()
{
    if (!hasSessionBus())
        return false;
    QDBusConnection bus = QDBusConnection::sessionBus();
    QString path = u'/' + m_applicationId;
    path.replace(u'.', u'/').replace(u'-', u'_');
    return bus.registerObject(path, this) && bus.registerService(m_applicationId);
}

#endif

} // namespace tavolin

#ifndef Q_OS_MACOS
#include "DesktopHandOver.moc"
#endif
