#pragma once
// The viewer as a process of its own, in surroundings that are the same on every machine.

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <filesystem>
#include <optional>

namespace tavolin {

/// Runs from construction to destruction at most; what is still running then is killed.
class ViewerProcess
{
public:
    /// Starts @p program with @p arguments on the X display @p displayName or, when there is a
    /// @p waylandSocket (a full path), in the compositor that listens there. It finds an empty home
    /// folder, the locale C.UTF-8, the session bus at @p busAddress or else none, an empty working
    /// folder, and what @p additions say.
    ViewerProcess(const QString &program, const QStringList &arguments,
                  const QByteArray &displayName, const QString &waylandSocket = {},
                  const QString &busAddress = {}, const QProcessEnvironment &additions = {});
    ~ViewerProcess();
    ViewerProcess(const ViewerProcess &) = delete;
    ViewerProcess &operator=(const ViewerProcess &) = delete;

    [[nodiscard]] bool isRunning();

    /// Empty while the program runs, and when it was ended by a signal or never started.
    [[nodiscard]] std::optional<int> exitCode();

    /// 0 when it is not running.
    [[nodiscard]] qint64 processId() const { return m_process.processId(); }

    /// What the program finds as XDG_DATA_HOME; its Trash is in there.
    [[nodiscard]] std::filesystem::path dataHome() const;

    /// What the program has written so far.
    [[nodiscard]] QByteArray standardOutput() const;
    [[nodiscard]] QByteArray standardError() const;

    /// Memory that the program has in use, and the most that it has had: KiB, of which shared
    /// libraries are a part. Empty when it is not running.
    [[nodiscard]] std::optional<qint64> rssKiB();
    [[nodiscard]] std::optional<qint64> peakRssKiB();

private:
    [[nodiscard]] std::optional<qint64> statusField(const QByteArray &name);

    QTemporaryDir m_folder;
    QProcess m_process;
};

} // namespace tavolin
