#pragma once
// The one way to do work in the background: what is done there, what becomes of its result on the
// main thread, and the question whether that is still wanted.

#include "platform/Mailbox.h"
#include "platform/SerialQueue.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>
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

/// A serial queue that hands results back. Made, used and destroyed on the main thread, whose
/// mailbox it is given; that must outlive it.
class BackgroundQueue
{
public:
    BackgroundQueue(std::string name, QualityOfService qualityOfService, Mailbox &mailbox,
                    WaitingJobs atTheEnd = WaitingJobs::Dropped)
        : m_mailbox(mailbox), m_queue(std::move(name), qualityOfService, atTheEnd)
    {}

    /// Does @p job.work after everything queued earlier; then, on the main thread, what is to be
    /// done with its result, unless @p owner has gone. All but the work may use @p owner, and what
    /// lives as long. A stop of @p stop reaches the work's token, as does the queue's end.
    template <typename Result>
    void run(QObject *owner, BackgroundWork<Result> job, std::stop_source stop = {});

private:
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

    Mailbox &m_mailbox;
    SerialQueue m_queue;
};

template <typename Result>
void BackgroundQueue::run(QObject *owner, BackgroundWork<Result> job, std::stop_source stop)
{
    struct Errand
    {
        QPointer<QObject> owner; // looked at on the main thread only
        BackgroundWork<Result> job;
        Result result;
    };
    // Made before the work begins, so that handing back takes next to no memory.
    std::shared_ptr<Errand> errand(new Errand{owner, std::move(job), Result()});
    std::function<void()> deliver = [errand] {
        if (!errand->owner)
            return;
        if (!errand->job.stillApplies || errand->job.stillApplies())
            errand->job.use(errand->result);
        else if (errand->job.otherwise)
            errand->job.otherwise();
    };
    m_queue.post(
        stoppable(std::move(stop), [errand = std::move(errand), deliver = std::move(deliver),
                                    &mailbox = m_mailbox](const std::stop_token &token) mutable {
            errand->result = resultOf(errand->job.work, token);
            errand->job.work = nullptr;
            errand.reset();
            mailbox.post(std::move(deliver));
        }));
}

} // namespace tavolin
