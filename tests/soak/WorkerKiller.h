#pragma once
// Deaths of the viewer's workers, as a lack of memory may cause them.

#include "e2e/Processes.h"
#include "soak/PictureFolder.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>

namespace tavolin {

/// Kills one of the viewer's workers by chance, some in a minute, on a thread of its own from
/// construction to destruction. Between two deaths there is more time than any picture takes, as
/// the viewer gives a picture up whose workers have died twice.
class WorkerKiller
{
public:
    WorkerKiller(pid_t viewer, unsigned seed);
    ~WorkerKiller();
    WorkerKiller(const WorkerKiller &) = delete;
    WorkerKiller &operator=(const WorkerKiller &) = delete;

    /// None is killed as long as the result is there.
    [[nodiscard]] std::unique_lock<std::mutex> spare() { return std::unique_lock(m_mutex); }

    [[nodiscard]] int killed() const { return m_killed; }

private:
    void run(const std::stop_token &stop);
    void killAny();

    const pid_t m_viewer;
    Random m_random;
    std::mutex m_mutex; // is held for every death
    std::atomic<int> m_killed = 0;
    std::jthread m_thread; // last: it uses the others
};

} // namespace tavolin
