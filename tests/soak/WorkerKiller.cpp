#include "soak/WorkerKiller.h"

#include <chrono>
#include <csignal>
#include <vector>

namespace tavolin {

namespace {

/// Seconds between two deaths.
constexpr int SHORTEST_PAUSE = 6;
constexpr int LONGEST_PAUSE = 24;

} // namespace

WorkerKiller::WorkerKiller(pid_t viewer, unsigned seed)
    : m_viewer(viewer), m_random(seed), m_thread([this](const std::stop_token &stop) { run(stop); })
{}

WorkerKiller::~WorkerKiller()
{
    m_thread.request_stop();
    m_thread.join();
}

void WorkerKiller::run(const std::stop_token &stop)
{
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any changed;
    while (!stop.stop_requested()) {
        const std::chrono::milliseconds pause(
            pick(m_random, 1000 * SHORTEST_PAUSE, 1000 * LONGEST_PAUSE));
        changed.wait_for(lock, stop, pause, [] { return false; });
        if (!stop.stop_requested())
            killAny();
    }
}

void WorkerKiller::killAny()
{
    const std::lock_guard lock(m_mutex);
    const std::vector<Process> workers = childrenOf(m_viewer);
    if (workers.empty())
        return;
    const int last = static_cast<int>(workers.size()) - 1;
    sendSignal(workers[static_cast<std::size_t>(pick(m_random, 0, last))], SIGKILL);
    ++m_killed;
}

} // namespace tavolin
