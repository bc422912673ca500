#include "platform/SerialQueue.h"

#include <QtGlobal>

#include <utility>

#include <pthread.h>
#ifdef Q_OS_LINUX
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace tavolin {

namespace {

/// Bytes of a thread's name that Linux keeps, without the terminating zero.
constexpr std::size_t MAX_NAME_BYTES = 15;

#ifdef Q_OS_LINUX
/// Steps of niceness below the program's other threads. Each step is a quarter less of a contended
/// core: 10 leave a tenth of it, little enough not to be felt and enough to get on. SCHED_IDLE
/// would leave next to nothing for as long as another program is busy.
constexpr int UTILITY_NICENESS = 10;
#endif

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
    if (qualityOfService == QualityOfService::Utility) {
        // Linux has a niceness for each thread, addressed by the thread's id. Beyond 19 it is cut.
        const auto thread = static_cast<id_t>(gettid());
        setpriority(PRIO_PROCESS, thread, getpriority(PRIO_PROCESS, thread) + UTILITY_NICENESS);
    }
#endif
}

} // namespace

SerialQueue::SerialQueue(std::string name, QualityOfService qualityOfService)
    : m_worker([this, name = std::move(name), qualityOfService](const std::stop_token &stop) {
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
            if (stop.stop_requested())
                return;
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        job(stop);
    }
}

} // namespace tavolin
