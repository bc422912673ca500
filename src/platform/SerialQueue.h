#pragma once
// Background work, one job after the other: a named worker thread and the jobs that wait for it.

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

namespace tavolin {

/// How much the user waits for what a queue does.
enum class QualityOfService : std::uint8_t {
    UserInitiated, ///< Somebody is waiting: normal priority.
    Utility,       ///< Nobody is: runs on what processor time others leave.
};

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

private:
    void run(const std::stop_token &stop) noexcept;

    WaitingJobs m_atTheEnd;
    std::mutex m_mutex; // guards m_jobs
    std::condition_variable_any m_posted;
    std::deque<Job> m_jobs;
    std::jthread m_worker;
};

/// @p job, whose token also hears of a stop of @p source. A stop of the queue stops the source.
[[nodiscard]] SerialQueue::Job stoppable(std::stop_source source, SerialQueue::Job job);

} // namespace tavolin
