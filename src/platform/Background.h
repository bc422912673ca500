#pragma once
// The one way to do work in the background: what is done there, what becomes of its result on the
// main thread, and the question whether that is still wanted.

#include "platform/Mailbox.h"
#include "platform/SerialQueue.h"

#include <QObject>
#include <QPointer>

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>

namespace tavolin {

/// One piece of background work. @p Result is a value whose default says that the work failed.
template <typename Result>
struct BackgroundWork
{
    /// Runs on the queue: a function of the values that it holds. What it throws, for lack of
    /// memory or threads, counts as failure. Released there when it has run.
    std::function<Result(const std::stop_token &)> work;
    /// Whether the result is still wanted when it comes; always if empty.
    std::function<bool()> stillApplies = {};
    /// What is done with a result that is wanted.
    std::function<void(const Result &)> use;
    /// What is done instead where it is not; nothing if empty.
    std::function<void()> otherwise = {};
};

/// After so long without an answer a file is taken for one that does not answer any more.
inline constexpr std::chrono::seconds STUCK_AFTER{10};
/// For work to end that was asked to, where what comes next cannot wait: more than any needs that
/// does not wait for a disk, and no time for the user to wonder.
inline constexpr std::chrono::milliseconds DROP_PATIENCE{300};

/// A serial queue that hands results back. Made, used and destroyed on the main thread, whose
/// mailbox it is given; that must outlive it.
///
/// Work that no longer answers, as on a disk that has gone, can be left behind. It has failed then,
/// and nothing more is heard of it; but it may still be under way after all queues have ended, so
/// that what its function refers to must not be destroyed while workersLeftBehind().
class BackgroundQueue
{
public:
    BackgroundQueue(std::string name, QualityOfService qualityOfService, Mailbox &mailbox,
                    WaitingJobs atTheEnd = WaitingJobs::Dropped);
    /// Waits for the work under way, unless waiting jobs are dropped: then for a moment at most,
    /// and leaves it behind.
    ~BackgroundQueue();
    BackgroundQueue(const BackgroundQueue &) = delete;
    BackgroundQueue &operator=(const BackgroundQueue &) = delete;

    /// Does @p job.work after everything queued earlier; then, on the main thread, what is to be
    /// done with its result, unless @p owner has gone. All but the work may use @p owner, and what
    /// lives as long. A stop of @p stop reaches the work's token, as does the queue's end.
    template <typename Result>
    void run(QObject *owner, BackgroundWork<Result> job, std::stop_source stop = {});

    /// Leaves the work under way behind if it has been asked to stop and does not end within
    /// @p patience.
    void leaveBehindUnlessEnded(std::chrono::milliseconds patience);
    /// Begins the end, for which the destructor waits: several queues can end together.
    void requestStop();

private:
    /// Work that was asked for. Whoever makes it over hands it back, or drops it.
    struct Errand
    {
        std::stop_source stop;
        std::function<void()> deliver; // on the main thread
        std::atomic<bool> isOver = false;
    };

    template <typename Result>
    static Result resultOf(const std::function<Result(const std::stop_token &)> &work,
                           const std::stop_token &stop)
    {
        try {
            return work(stop);
        } catch (...) {
            return Result();
        }
    }

    void post(const std::shared_ptr<Errand> &errand, SerialQueue::Job job);
    void leaveBehind(Errand &errand);

    Mailbox &m_mailbox;
    WaitingJobs m_atTheEnd;
    std::deque<std::shared_ptr<Errand>> m_errands; // in order; the first may be over
    std::optional<std::chrono::steady_clock::time_point> m_latestEnd;
    QObject m_context; // of timers
    SerialQueue m_queue;
};

template <typename Result>
void BackgroundQueue::run(QObject *owner, BackgroundWork<Result> job, std::stop_source stop)
{
    // Made before the work begins, so that handing back takes next to no memory.
    std::shared_ptr<Result> result(new Result());
    std::function<Result(const std::stop_token &)> work = std::exchange(job.work, nullptr);
    std::shared_ptr<Errand> errand(new Errand{.stop = std::move(stop)});
    errand->deliver = [result, job = std::move(job), owner = QPointer<QObject>(owner)] {
        if (!owner) // looked at on the main thread only
            return;
        if (!job.stillApplies || job.stillApplies())
            job.use(*result);
        else if (job.otherwise)
            job.otherwise();
    };
    post(errand, [errand, result = std::move(result), work = std::move(work),
                  &mailbox = m_mailbox](const std::stop_token &token) mutable {
        if (errand->isOver) // before it began
            return;
        Result made = resultOf(work, token);
        work = nullptr;
        if (errand->isOver.exchange(true)) // left behind
            return;
        *result = std::move(made);
        result.reset();
        mailbox.post(std::exchange(errand->deliver, nullptr));
    });
}

} // namespace tavolin
