#pragma once
// A D-Bus session of a test's own.

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <optional>

namespace tavolin {

/// Runs from construction to destruction.
class SessionBus
{
public:
    /// Starts the bus; programs that it starts appear on the X display @p displayName. On failure
    /// error() says why.
    explicit SessionBus(const QByteArray &displayName);
    ~SessionBus();
    SessionBus(const SessionBus &) = delete;
    SessionBus &operator=(const SessionBus &) = delete;

    /// Why no bus can be started on this machine: the reason to skip a test. Empty when one can.
    [[nodiscard]] static QString whyUnavailable();

    /// Empty when the bus is running.
    [[nodiscard]] const QString &error() const { return m_error; }
    [[nodiscard]] const QString &address() const { return m_address; }

    /// Makes the bus start @p program for the viewer's name when somebody calls it there.
    void installService(const QString &program);

    /// Whether a program has the viewer's name.
    [[nodiscard]] bool hasViewer() const;

    /// Calls @p method of the viewer as a file manager does. False when the call fails.
    [[nodiscard]] bool open(const QStringList &uris) const;
    [[nodiscard]] bool openNumbers() const; // what no file manager does
    [[nodiscard]] bool activate() const;
    [[nodiscard]] bool activateAction(const QString &name) const;

private:
    [[nodiscard]] std::optional<QByteArray> call(const QStringList &arguments) const;

    QTemporaryDir m_folder;
    QProcess m_process;
    QString m_address;
    QString m_error;
};

} // namespace tavolin
