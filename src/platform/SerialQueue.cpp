#include "platform/SerialQueue.h"

#include <QtGlobal>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <utility>

#include <pthread.h>
#include <sys/resource.h>

namespace tavolin {

namespace {

/// Bytes of a thread's name that Linux keeps, without the terminating zero.
constexpr std::size_t MAX_NAME_BYTES = 15;

constinit std::atomic<int> leftBehind = 0;

void nameThisThread(const std::string &name)
{
    const std::string shown = name.substr(0, MAX_NAME_BYTES);
#ifdef Q_OS_MACOS
    pthread_setname_np(shown.c_str());
#elif defined(Q_OS_LINUX)
    pthread_setname_np(pthread_self(), shown.c_str());
#endif
}

/// Threads that a job starts inherit the priority. A refusal only costs speed elsewhere.
void setQualityOfThisThread(QualityOfService qualityOfService)
{
#ifdef Q_OS_MACOS
    pthread_set_qos_class_self_np(qualityOfService == QualityOfService::Utility
                                      ? QOS_CLASS_UTILITY
                                      : QOS_CLASS_USER_INITIATED,
                                  0);
#elif defined(Q_OS_LINUX)
    // Linux keeps niceness for each thread (setpriority(2)).
    if (qualityOfService == QualityOfService::Utility)
        setpriority(PRIO_PROCESS, 0, UTILITY_NICENESS);
#endif
}

} // namespace

/// The jobs that wait, and who does them. Each worker has a number; one that finds another's here
/// has been left behind.
struct SerialQueue::Line
{
    const WaitingJobs atTheEnd;
    std::mutex mutex; // guards what follows
    std::condition_variable changed;
    std::deque<Job> jobs;
    int worker = 0;
    bool isEnding = false;
    bool hasEnded = false;
};

SerialQueue::SerialQueue(std::string name, QualityOfService qualityOfService, WaitingJobs atTheEnd)
    : m_name(std::move(name)), m_qualityOfService(qualityOfService),
      m_line(new Line{.atTheEnd = atTheEnd}), m_worker(startWorker(0))
{}

SerialQueue::~SerialQueue()
{
    requestStop();
    if (m_worker.joinable())
        m_worker.join();
    // One that was left behind may keep the line, and is not to release these.
    const std::lock_guard lock(m_line->mutex);
    m_line->jobs.clear();
}

std::jthread SerialQueue::startWorker(int number) const
{
    return std::jthread([line = m_line, number, name = m_name,
                         qualityOfService = m_qualityOfService](const std::stop_token &stop) {
        nameThisThread(name);
        setQualityOfThisThread(qualityOfService);
        serve(*line, number, stop);
    });
}

void SerialQueue::post(Job job)
{
    Q_ASSERT(job);
    const std::lock_guard lock(m_line->mutex);
    m_line->jobs.push_back(std::move(job));
    m_line->changed.notify_all();
}

void SerialQueue::requestStop()
{
    {
        const std::lock_guard lock(m_line->mutex);
        m_line->isEnding = true;
        m_line->changed.notify_all();
    }
    m_worker.request_stop();
}

bool SerialQueue::hasEndedBy(std::chrono::steady_clock::time_point latest) const
{
    std::unique_lock lock(m_line->mutex);
    return m_line->changed.wait_until(lock, latest, [this] { return m_line->hasEnded; });
}

void SerialQueue::leaveBehind()
{
    std::jthread behind;
    {
        const std::lock_guard lock(m_line->mutex);
        if (m_line->hasEnded)
            return;
        try {
            behind = std::exchange(m_worker, m_line->isEnding ? std::jthread()
                                                              : startWorker(m_line->worker + 1));
        } catch (const std::system_error &) { // no thread to be had: this one may come back
            return;
        }
        ++m_line->worker;
        ++leftBehind;
        m_line->changed.notify_all();
    }
    behind.request_stop();
    behind.detach();
}

void SerialQueue::serve(Line &line, int number, const std::stop_token &stop) noexcept
{
    std::unique_lock lock(line.mutex);
    while (true) {
        line.changed.wait(
            lock, [&] { return line.worker != number || line.isEnding || !line.jobs.empty(); });
        if (line.worker != number) {
            --leftBehind;
            return;
        }
        if (line.isEnding && (line.jobs.empty() || line.atTheEnd == WaitingJobs::Dropped))
            break;
        Job job = std::move(line.jobs.front());
        line.jobs.pop_front();
        lock.unlock();
        job(stop);
        job = nullptr;
        lock.lock();
    }
    line.hasEnded = true;
    line.changed.notify_all();
}

int workersLeftBehind()
{
    return leftBehind;
}

SerialQueue::Job stoppable(std::stop_source source, SerialQueue::Job job)
{
    return [source = std::move(source),
            job = std::move(job)](const std::stop_token &quitting) mutable {
        const std::stop_callback stopWithQueue(quitting, [&] { source.request_stop(); });
        job(source.get_token());
    };
}

} // namespace tavolin
