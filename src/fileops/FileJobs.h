#pragma once
// The work on picture files that has been asked for and has not ended: what may run at the same
// time, and what waits for what.

#include "pixels/Image.h"
#include "platform/Background.h"
#include "platform/Failure.h"
#include "platform/Progress.h"

#include <QObject>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <list>
#include <memory>
#include <optional>

namespace tavolin {

enum class FileJobKind : std::uint8_t { Pick, Save, Deletion };

/// One piece of work on a picture's file.
struct FileJob
{
    FileJobKind kind{};
    std::filesystem::path file;
    Image edited = {}; ///< What a save writes; null for the others.
    /// Runs in the background: a function of the values that it holds.
    std::function<Failure(const Progress &)> work;
    /// Is given the result on the main thread.
    std::function<void(const Failure &)> finished;
};

/// Whether @p later, asked for after @p earlier, begins only when that has ended: picks and saves
/// of a folder are a queue, its deletions another one, and all work on one file keeps its order.
[[nodiscard]] bool waitsFor(const FileJob &later, const FileJob &earlier);

/// Owns the jobs that have not ended. One that runs has a thread of its own, so that a folder whose
/// disk hangs holds up no other one. Lives on the main thread.
class FileJobs : public QObject
{
    Q_OBJECT

public:
    using Clock = std::chrono::steady_clock;

    /// @p mailbox carries results back to the main thread; it must outlive the jobs.
    explicit FileJobs(Mailbox &mailbox);
    /// Waits for the jobs that run; those that have not begun are dropped.
    ~FileJobs() override;

    /// Starts @p job as soon as those that it waits for have ended. Does nothing when the same has
    /// been asked for and has not ended: the same kind of work on the same file, with the same
    /// picture to save.
    void add(FileJob job);

    [[nodiscard]] bool isEmpty() const { return m_entries.empty(); }
    /// Whether @p edited is going to be saved, or is being saved.
    [[nodiscard]] bool isSaving(const Image &edited) const;
    /// Whether anything is going to be saved, or is being saved.
    [[nodiscard]] bool isSaving() const;
    /// What was asked for first, and when; there must be such a job.
    [[nodiscard]] FileJobKind oldestKind() const { return m_entries.front().job.kind; }
    [[nodiscard]] Clock::time_point oldestTime() const { return m_entries.front().time; }
    /// When a disk was last seen to get on with a job: one has ended, or bytes have been written.
    [[nodiscard]] Clock::time_point lastProgress() const;

private:
    struct Entry
    {
        FileJob job;
        Clock::time_point time; // of asking
        bool hasBegun = false;
        std::unique_ptr<BackgroundQueue> thread = {}; // while it runs
    };
    using Entries = std::list<Entry>;

    void startWhatMay();
    void start(Entries::iterator entry);
    void end(Entries::iterator entry, const Failure &failure);

    Mailbox &m_mailbox;
    Entries m_entries;                                       // in the order of asking
    std::shared_ptr<std::atomic<Clock::rep>> m_lastProgress; // shared with the work
};

} // namespace tavolin
