#pragma once
// A Wayland compositor of a test's own, as a window on a virtual X screen: what the user does there
// reaches the programs in it.

#include <QProcess>
#include <QRect>
#include <QString>
#include <QTemporaryDir>

namespace tavolin {

class XServer;

/// The compositor's window on the X screen, in pixels; its programs see a screen of this size.
inline constexpr QRect WESTON_RECT{0, 0, 1280, 800};

/// Runs from construction to destruction.
class Weston
{
public:
    /// Starts the compositor on @p server, which must outlive it, with the keyboard and the mouse.
    /// Waits until programs can be started; on failure error() says why.
    explicit Weston(const XServer &server);
    ~Weston();
    Weston(const Weston &) = delete;
    Weston &operator=(const Weston &) = delete;

    /// Why it can't be started on this machine: the reason to skip a test. Empty when it can.
    [[nodiscard]] static QString whyUnavailable();

    /// Empty when the compositor is running.
    [[nodiscard]] const QString &error() const { return m_error; }

    /// Where it listens for programs: a full path.
    [[nodiscard]] QString socket() const;

private:
    [[nodiscard]] QString logPath() const;
    void startProcess(const XServer &server);
    [[nodiscard]] bool isRunning();

    QTemporaryDir m_folder;
    QProcess m_process;
    QString m_error;
};

} // namespace tavolin
