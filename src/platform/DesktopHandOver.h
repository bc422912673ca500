#pragma once
// Folders and files that the desktop hands to the running program instead of starting another one.

#include "platform/SerialQueue.h"

#include <QObject>
#include <QString>

#include <filesystem>
#include <optional>
#include <vector>

namespace tavolin {

/// The local file that @p uri ("file:///…") names, its bytes as they are percent-encoded there;
/// empty when it is no URI of a file, or of one on another machine.
[[nodiscard]] std::optional<std::filesystem::path> localFile(const QString &uri);

/// On Linux the program as an "org.freedesktop.Application" on the session's D-Bus; on macOS what
/// the Finder sends to the application object. On the main thread, as long as the application.
class DesktopHandOver : public QObject
{
    Q_OBJECT

public:
    /// @p applicationId is the program's name on the bus and that of its desktop entry. The Finder
    /// is heard from now on.
    explicit DesktopHandOver(const QString &applicationId, QObject *parent = nullptr);

    /// Asks the bus for the name, so that others can hand something over; listening() tells what
    /// came of it. Waits for nothing; only the destructor waits for a bus that does not answer.
    /// Called once.
    void listen();

#ifdef Q_OS_MACOS
    bool eventFilter(QObject *watched, QEvent *event) override;
#endif

Q_SIGNALS:
    /// Whether others can hand something over from now on. They can't, and no harm is done, when
    /// there is no bus or another program has the name already.
    void listening(bool canHear);
    /// What was handed over is to be opened: of several folders and files the first alone counts,
    /// so that @p paths are one, or none where that is no local file.
    void opened(const std::vector<std::filesystem::path> &paths);
    /// The program is to come to the front.
    void activated();

private:
    QString m_applicationId;
#ifdef Q_OS_MACOS
    bool m_isOneTaken = false; // of the files that come together
#else
    // Last, so that its job ends first.
    SerialQueue m_busQueue{"bus", QualityOfService::UserInitiated};
#endif
};

} // namespace tavolin
