#pragma once
// A folder seen through a slow disk of a test's own, which can be made to hang.

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <chrono>
#include <filesystem>

namespace tavolin {

/// How slow a disk is.
struct DiskSpeed
{
    std::chrono::milliseconds call{0}; ///< What every call takes.
    int megabytesPerSecond = 0;        ///< What reading takes on top; 0: no limit.
};

/// Mounted from construction to destruction. Nothing of the folder's files is in memory at first,
/// as far as those can tell that look through the mount.
class SlowMount
{
public:
    /// Waits until @p source is mounted; on failure error() says why.
    SlowMount(const std::filesystem::path &source, const DiskSpeed &speed);

    /// Unmounts, also while the disk hangs: calls that wait for it fail.
    ~SlowMount();
    SlowMount(const SlowMount &) = delete;
    SlowMount &operator=(const SlowMount &) = delete;

    /// Why nothing can be mounted on this machine: the reason to skip a test. Empty when it can.
    [[nodiscard]] static QString whyUnavailable();

    /// Empty when the folder is mounted.
    [[nodiscard]] const QString &error() const { return m_error; }

    /// Where the folder is seen: a full path.
    [[nodiscard]] QString path() const { return m_mountPoint.path(); }

    /// From now on no call comes back until goOn(), but for those of processes that are killed.
    void hang();
    void goOn();

private:
    [[nodiscard]] QString hangFile() const;

    QTemporaryDir m_folder;
    QTemporaryDir m_mountPoint;
    QProcess m_process;
    QString m_error;
};

} // namespace tavolin
