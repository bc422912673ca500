#pragma once
// Background work, one job after the other: a named worker thread and the jobs that wait for it.

#include "platform/QualityOfService.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <thread>

namespace tavolin {

/// What becomes of the jobs that have not started when their queue is destroyed.
enum class WaitingJobs : std::uint8_t {
    Dropped,
    Run, ///< The destructor waits for them, too: nothing that was accepted is lost.
};

/// Runs jobs in the order of posting, one at a time, on a thread of its own. Whoever posts must be
/// done with it before it is destroyed; a running job may post to its own queue at any time.
class SerialQueue
{
public:
    /// A job asks its token now and then and ends soon once a stop is requested, unless it is one
    /// that the end waits for. It must not throw: an exception that leaves a job ends the program.
    using Job = std::function<void(std::stop_token)>;

    /// Starts the worker. Debuggers show it under the first 15 bytes of @p name, all that Linux
    /// keeps.
    SerialQueue(std::string name, QualityOfService qualityOfService,
                WaitingJobs atTheEnd = WaitingJobs::Dropped);

    /// Requests a stop, waits for the running job and drops or runs the jobs that have not started.
    ~SerialQueue();

    SerialQueue(const SerialQueue &) = delete;
    SerialQueue &operator=(const SerialQueue &) = delete;

    /// Appends @p job, which must not be empty. From any thread. What the job holds is released on
    /// the worker when it ends, or by the destructor when it is dropped.
    void post(Job job);

    /// Begins the end, which the destructor waits for: nothing may be posted any more.
    void requestStop();
    /// Waits for the end that was begun; false when it has not come by @p latest.
    [[nodiscard]] bool hasEndedBy(std::chrono::steady_clock::time_point latest) const;
    /// Requests a stop of the running job and waits for it no more: whatever it uses must outlive
    /// it. A new worker does the other jobs; at the end nobody does. On the thread that owns this.
    void leaveBehind();

private:
    struct Line;

    [[nodiscard]] std::jthread startWorker(int number) const;
    static void serve(Line &line, int number, const std::stop_token &stop) noexcept;

    std::string m_name;
    QualityOfService m_qualityOfService;
    std::shared_ptr<Line> m_line; // also its workers'
    std::jthread m_worker;
};

/// How many workers that were left behind, by any queue, have not come to an end: as long as there
/// are any, nothing may be destroyed that they use.
[[nodiscard]] int workersLeftBehind();

/// @p job, whose token also hears of a stop of @p source. A stop of the queue stops the source.
[[nodiscard]] SerialQueue::Job stoppable(std::stop_source source, SerialQueue::Job job);

} // namespace tavolin
