#include "platform/SerialQueue.h"

#include <QtGlobal>

#include <utility>

#include <pthread.h>
#include <sched.h>

namespace tavolin {

namespace {

/// Bytes of a thread's name that Linux keeps, without the terminating zero.
constexpr std::size_t MAX_NAME_BYTES = 15;

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
    // Niceness is not enough: a thread of the load queue that wakes up waits for a nice one's turn
    // to end, which made a display decode on two cores a fifth slower; an idle one gives way at
    // once. The price is that it gets next to nothing while other programs keep every core busy.
    if (qualityOfService == QualityOfService::Utility) {
        const sched_param none{};
        pthread_setschedparam(pthread_self(), SCHED_IDLE, &none);
    }
#endif
}

} // namespace

SerialQueue::SerialQueue(std::string name, QualityOfService qualityOfService, WaitingJobs atTheEnd)
    : m_atTheEnd(atTheEnd),
      m_worker([this, name = std::move(name), qualityOfService](const std::stop_token &stop) {
          nameThisThread(name);
          setQualityOfThisThread(qualityOfService);
          run(stop);
      })
{}

SerialQueue::~SerialQueue()
{
    m_worker.request_stop();
    m_worker.join();
}

void SerialQueue::post(Job job)
{
    Q_ASSERT(job);
    {
        const std::lock_guard lock(m_mutex);
        m_jobs.push_back(std::move(job));
    }
    m_posted.notify_one();
}

void SerialQueue::run(const std::stop_token &stop) noexcept
{
    while (true) {
        Job job;
        {
            std::unique_lock lock(m_mutex);
            m_posted.wait(lock, stop, [this] { return !m_jobs.empty(); });
            if (m_jobs.empty() || (stop.stop_requested() && m_atTheEnd == WaitingJobs::Dropped))
                return;
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        job(stop);
    }
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
