#pragma once
// The workers at hand: one for each role, and a spare that takes the place of one that had to go.

#include "platform/Descriptor.h"
#include "worker/client/WorkerProcess.h"
#include "worker/Protocol.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace tavolin::worker {

/// A worker that somebody works with, and what it has done before.
struct Worker
{
    std::shared_ptr<WorkerProcess> process;
    std::uint32_t lastNumber = 0; ///< Of a request.
    int files = 0;                ///< It has seen.
    std::filesystem::path folder; ///< They were in.
    std::optional<Reply> begun;   ///< What it has told of its wall.
};

/// For a worker to pause while somebody waits for another's: most pictures are there sooner, and a
/// disk may keep one for long.
inline constexpr std::chrono::milliseconds MAX_PAUSE{1000};

/// Starts workers, hands them out and reaps them, on a thread of its own. While one is out that
/// somebody waits for, those that work ahead pause: sharing the cores with them, or the caches, it
/// would take a quarter longer. The other functions may be called from any thread.
class WorkerPool
{
public:
    /// The program is what @p executable is open at. Starts a worker for display decodes at once
    /// and waits for nothing; the next is not to delay the first picture.
    explicit WorkerPool(Descriptor executable);
    /// Kills all workers. Waits for one that can't die no longer than a moment.
    ~WorkerPool();
    WorkerPool(const WorkerPool &) = delete;
    WorkerPool &operator=(const WorkerPool &) = delete;

    /// A worker for @p role that nobody else has, to which nothing of another folder than @p folder
    /// was given, nor too many files. Empty when none can be started. Waits for a worker that is
    /// being started, for a few milliseconds, never for another's work.
    [[nodiscard]] std::optional<Worker> take(Role role, const std::filesystem::path &folder);
    /// Takes @p worker back, which is ready for another request.
    void giveBack(Role role, Worker worker);
    /// Kills @p worker and has a spare ready.
    void discard(Role role, Worker worker);

private:
    /// A worker to be started: for a role, or as the spare.
    using Order = std::optional<Role>;
    using Processes = std::vector<std::shared_ptr<WorkerProcess>>;

    void noteBegin(Role role, const Worker &worker);
    void noteEnd(Role role, const Worker &worker);
    void orderSpare();
    void keep(const std::stop_token &stop);
    void startOrdered(Processes &started);
    void giveUpOrders();
    void waitForNews(Processes &alive, Processes &ending, std::chrono::milliseconds interval) const;
    void wake() const;

    const Descriptor m_executable;
    Descriptor m_wakeUp{-1}; // a byte here wakes the keeper …
    Descriptor m_woken{-1};  // … who listens here

    std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    std::deque<Order> m_orders; // the first one may be under way
    std::array<std::vector<Worker>, ROLES> m_idle;
    std::vector<Worker> m_spares; // one, unless several were wanted at once
    int m_failures = 0;           // starts that the system refused
    int m_awaited = 0;            // workers at work that somebody waits for …
    std::chrono::steady_clock::time_point m_awaitedSince; // … the newest of them
    Processes m_ahead; // those at work ahead, which pause meanwhile

    std::jthread m_keeper; // last: ends before what it works with
};

} // namespace tavolin::worker
