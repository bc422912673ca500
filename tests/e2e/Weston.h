#pragma once
// A Wayland compositor of a test's own, as a window on a virtual X screen: what the user does there
// reaches the programs in it.

#include <QProcess>
#include <QRect>
#include <QSize>
#include <QString>
#include <QTemporaryDir>

#include <vector>

namespace tavolin {

class XClient;
class XServer;

/// The compositor's window on the X screen, in pixels; its programs see a screen of this size.
inline constexpr QRect WESTON_RECT{0, 0, 1280, 800};

/// One of the compositor's screens: as many points, of so many pixels each way.
struct WestonOutput
{
    QSize size;
    int scale = 1;

    [[nodiscard]] QSize pixels() const { return size * scale; }
};

/// Runs from construction to destruction.
class Weston
{
public:
    /// Starts the compositor on @p server, which must outlive it, with the keyboard and the mouse.
    /// Its windows, one for each of @p outputs, all lie in the corner of the X screen, the last on
    /// top; programs start where the middle of WESTON_RECT is. Waits until they can; on failure
    /// error() says why.
    explicit Weston(const XServer &server,
                    std::vector<WestonOutput> outputs = {{WESTON_RECT.size()}});
    ~Weston();
    Weston(const Weston &) = delete;
    Weston &operator=(const Weston &) = delete;

    /// The first number of the installed one's version; 0 where it isn't told.
    [[nodiscard]] static int majorVersion();
    /// Why it can't be started on this machine, or the viewer not in it: the reason to skip a test.
    /// Empty when both can.
    [[nodiscard]] static QString whyUnavailable();

    /// Empty when the compositor is running.
    [[nodiscard]] const QString &error() const { return m_error; }

    /// Where it listens for programs: a full path.
    [[nodiscard]] QString socket() const;

    /// Takes the first screen away: its programs go to the next one. False where that fails.
    [[nodiscard]] bool closeFirstOutput();

private:
    [[nodiscard]] QString logPath() const;
    void startProcess();
    [[nodiscard]] bool writeConfiguration() const;
    [[nodiscard]] bool hasWindows(const XClient &client) const;
    [[nodiscard]] bool isRunning();

    const XServer &m_server;
    std::vector<WestonOutput> m_outputs;
    QTemporaryDir m_folder;
    QProcess m_process;
    QString m_error;
};

} // namespace tavolin
