#pragma once
// A user who does anything, at random, in folders of good and broken pictures where another program
// is at work, disks do not answer for a while and workers of the viewer die, and who looks closely
// whenever the viewer rests.

#include "e2e/Accessibility.h"
#include "e2e/SessionBus.h"
#include "e2e/ViewerProcess.h"
#include "e2e/WatchedFolder.h"
#include "e2e/XClient.h"
#include "e2e/XServer.h"
#include "soak/PictureFolder.h"
#include "soak/StallWatch.h"
#include "soak/WorkerKiller.h"

#include <QImage>
#include <QString>
#include <QTemporaryDir>

#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <set>

namespace tavolin {

/// Tells what it sees on standard output as it goes.
class Soak
{
public:
    /// The same @p seed does the same things, as far as the viewer is as fast.
    explicit Soak(unsigned seed);

    /// Runs for @p duration. False when anything was wrong.
    [[nodiscard]] bool run(std::chrono::seconds duration);

private:
    /// The info line, taken apart.
    struct InfoLine
    {
        std::string name;
        bool isEdited = false;
    };

    enum class Verdict { Right, Wrong, NobodyKnows };

    bool start();
    void fillFolders();
    void fault(const QString &text);

    void act();
    void step();
    void reject();
    void turnWheel();
    void look();
    void search();
    void crop();
    void actOnBox();
    void askForFolder();
    void tryToQuit();
    void hangDisk();
    void letDiskAnswer();

    void expectFolder(PictureFolder &folder);
    void open(PictureFolder &folder);
    void leaveModes();
    void rest();
    [[nodiscard]] Verdict judgePicture();
    [[nodiscard]] bool hasExpectation(const std::filesystem::path &file);
    [[nodiscard]] bool isPictureOf(const QRect &view, double tolerance) const;
    void haveAllWorkersWork();
    [[nodiscard]] std::optional<qint64> memoryKiB() const;
    [[nodiscard]] std::optional<qint64> memoryAtRest();
    void findFaults();
    void judge(std::optional<qint64> settled, std::optional<qint64> last);
    void quit();
    void report(std::chrono::seconds since);

    [[nodiscard]] int chance(int first, int last) { return pick(m_random, first, last); }
    [[nodiscard]] QPoint anyPoint();
    [[nodiscard]] PictureFolder &anyFolder();
    [[nodiscard]] std::optional<InfoLine> infoLine() const;
    [[nodiscard]] QRect viewRect() const;
    [[nodiscard]] bool
    isAnyShown(const std::function<bool(const AccessibleObject &)> &predicate) const;
    [[nodiscard]] bool isShown(AccessibleRole role, const QString &name) const;

    unsigned m_seed;
    Random m_random;
    QTemporaryDir m_temporary;
    XServer m_server;
    XClient m_client;
    SessionBus m_bus;
    AssistiveTool m_tool;
    std::deque<PictureFolder> m_folders; ///< The first is left in peace, for measuring memory.
    PictureFolder *m_current = nullptr;
    Clock::time_point m_opened;          ///< When m_current was opened.
    std::optional<WatchedFolder> m_disk; ///< Of all folders.
    std::optional<Clock::time_point> m_hangsUntil;
    int m_hangs = 0;
    std::optional<ViewerProcess> m_viewer;
    std::optional<StallWatch> m_stalls;
    std::optional<WorkerKiller> m_killer;
    QImage m_expected; ///< What m_expectedFile should look like, as it was at m_expectedSince.
    std::filesystem::path m_expectedFile;
    Clock::time_point m_expectedSince;
    std::set<std::filesystem::path> m_trashedFiles; ///< Looked at already.
    std::set<QByteArray> m_trashed;                 ///< Their hashes.
    int m_actions = 0;
    int m_rests = 0;
    int m_judged = 0; ///< Rests whose picture could be judged, and was right.
    int m_faults = 0;
};

} // namespace tavolin
