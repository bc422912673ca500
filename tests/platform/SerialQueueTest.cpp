#include "platform/SerialQueue.h"

#include <QtGlobal>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <latch>
#include <memory>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <pthread.h>
#include <sys/resource.h>
#ifdef Q_OS_LINUX
#include <unistd.h>
#endif

namespace tavolin {
namespace {

/// Returns when @p stop is requested.
void waitForStop(const std::stop_token &stop)
{
    std::latch requested(1);
    const std::stop_callback callback(stop, [&requested] { requested.count_down(); });
    requested.wait();
}

/// What @p ask gives on the worker of @p queue, after the jobs posted so far.
template <typename Ask>
auto askWorker(SerialQueue &queue, Ask ask)
{
    std::latch answered(1);
    decltype(ask()) answer{};
    queue.post([&](const std::stop_token &) {
        answer = ask();
        answered.count_down();
    });
    answered.wait();
    return answer;
}

void waitForJobs(SerialQueue &queue)
{
    askWorker(queue, [] { return true; });
}

TEST(SerialQueue, JobsRunInTheOrderOfPosting)
{
    SerialQueue queue("test", QualityOfService::UserInitiated);
    std::vector<int> ran;
    for (int i = 0; i < 1000; ++i)
        queue.post([&ran, i](const std::stop_token &) { ran.push_back(i); });
    waitForJobs(queue);

    std::vector<int> expected(1000);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(ran, expected);
}

TEST(SerialQueue, AllJobsRunOnOneThreadOfItsOwn)
{
    SerialQueue queue("test", QualityOfService::UserInitiated);
    const auto worker = askWorker(queue, [] { return std::this_thread::get_id(); });
    EXPECT_NE(worker, std::this_thread::get_id());
    EXPECT_EQ(worker, askWorker(queue, [] { return std::this_thread::get_id(); }));
}

TEST(SerialQueue, QueuesDoNotWaitForEachOther)
{
    SerialQueue first("first", QualityOfService::UserInitiated);
    SerialQueue second("second", QualityOfService::Utility);
    std::latch secondRan(1);
    first.post([&](const std::stop_token &) { secondRan.wait(); });
    second.post([&](const std::stop_token &) { secondRan.count_down(); });
    waitForJobs(first);
}

TEST(SerialQueue, KeepsTheOrderOfEachPostingThread)
{
    constexpr int POSTERS = 4;
    constexpr int JOBS = 500;
    SerialQueue queue("test", QualityOfService::UserInitiated);
    std::array<std::vector<int>, POSTERS> ran;
    {
        std::vector<std::jthread> posters;
        posters.reserve(POSTERS);
        for (auto &mine : ran)
            posters.emplace_back([&queue, &mine] {
                for (int i = 0; i < JOBS; ++i)
                    queue.post([&mine, i](const std::stop_token &) { mine.push_back(i); });
            });
    }
    waitForJobs(queue);

    std::vector<int> expected(JOBS);
    std::iota(expected.begin(), expected.end(), 0);
    for (const auto &one : ran)
        EXPECT_EQ(one, expected);
}

TEST(SerialQueue, JobMayPostToItsOwnQueue)
{
    SerialQueue queue("test", QualityOfService::UserInitiated);
    std::latch innerRan(1);
    queue.post([&](const std::stop_token &) {
        queue.post([&](const std::stop_token &) { innerRan.count_down(); });
    });
    innerRan.wait();
}

TEST(SerialQueue, NoStopIsRequestedWhileItLives)
{
    SerialQueue queue("test", QualityOfService::UserInitiated);
    std::latch ran(1);
    bool requested = true;
    queue.post([&](const std::stop_token &stop) {
        requested = stop.stop_requested();
        ran.count_down();
    });
    ran.wait();
    EXPECT_FALSE(requested);
}

TEST(SerialQueue, ReleasesWhatAJobHoldsBeforeTheNextRuns)
{
    SerialQueue queue("test", QualityOfService::UserInitiated);
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = held;
    queue.post([held = std::move(held)](const std::stop_token &) {});
    EXPECT_TRUE(askWorker(queue, [&watched] { return watched.expired(); }));
}

TEST(SerialQueue, ReleasesWhatTheLastJobHoldsWhenItEnds)
{
    std::latch released(1);
    SerialQueue queue("test", QualityOfService::UserInitiated);
    std::shared_ptr<std::latch> held(&released, [](std::latch *latch) { latch->count_down(); });
    queue.post([held = std::move(held)](const std::stop_token &) {});
    released.wait();
}

TEST(SerialQueue, DestructionEndsAnIdleWorker)
{
    std::optional<SerialQueue> queue(std::in_place, "test", QualityOfService::Utility);
    waitForJobs(*queue);
    queue.reset();
    EXPECT_FALSE(queue);
}

TEST(SerialQueue, DestructionStopsTheRunningJobAndWaitsForIt)
{
    bool ended = false;
    {
        SerialQueue queue("test", QualityOfService::UserInitiated);
        std::latch started(1);
        queue.post([&](const std::stop_token &stop) {
            started.count_down();
            waitForStop(stop);
            ended = true;
        });
        started.wait();
    }
    EXPECT_TRUE(ended);
}

TEST(SerialQueue, DestructionDropsJobsThatHaveNotStarted)
{
    bool ran = false;
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = held;
    {
        SerialQueue queue("test", QualityOfService::UserInitiated);
        std::latch started(1);
        queue.post([&](const std::stop_token &stop) {
            started.count_down();
            waitForStop(stop);
        });
        queue.post([&ran, held = std::move(held)](const std::stop_token &) { ran = true; });
        started.wait();
    }
    EXPECT_FALSE(ran);
    EXPECT_TRUE(watched.expired());
}

TEST(SerialQueue, DestructionRunsJobsThatHaveNotStartedWhereNoneMayBeLost)
{
    std::vector<int> ran;
    {
        SerialQueue queue("test", QualityOfService::UserInitiated, WaitingJobs::Run);
        std::latch started(1);
        queue.post([&](const std::stop_token &stop) {
            started.count_down();
            waitForStop(stop);
            queue.post([&](const std::stop_token &) { ran.push_back(3); });
        });
        for (const int job : {1, 2})
            queue.post([&ran, job](const std::stop_token &) { ran.push_back(job); });
        started.wait();
    }
    EXPECT_EQ(ran, (std::vector<int>{1, 2, 3}));
}

TEST(SerialQueue, DestructionEndsAnIdleWorkerWhereNoJobMayBeLost)
{
    std::optional<SerialQueue> queue(std::in_place, "test", QualityOfService::UserInitiated,
                                     WaitingJobs::Run);
    waitForJobs(*queue);
    queue.reset();
    EXPECT_FALSE(queue);
}

TEST(SerialQueue, DestructionDropsWhatTheStoppedJobPosts)
{
    bool ran = false;
    {
        SerialQueue queue("test", QualityOfService::UserInitiated);
        std::latch started(1);
        queue.post([&](const std::stop_token &stop) {
            started.count_down();
            waitForStop(stop);
            queue.post([&ran](const std::stop_token &) { ran = true; });
        });
        started.wait();
    }
    EXPECT_FALSE(ran);
}

/// A job that heeds no stop, until the test lets it end.
class StuckJob
{
public:
    explicit StuckJob(SerialQueue &queue)
    {
        queue.post([this](const std::stop_token &stop) {
            m_started.count_down();
            m_released.wait();
            m_heardOfStop = stop.stop_requested();
            m_ended.count_down();
        });
        m_started.wait();
    }

    /// Lets it end and waits until its worker has; whether it was asked to stop.
    [[nodiscard]] bool release()
    {
        m_released.count_down();
        m_ended.wait();
        while (workersLeftBehind() > 0)
            std::this_thread::yield();
        return m_heardOfStop;
    }

private:
    std::latch m_started{1};
    std::latch m_released{1};
    std::latch m_ended{1};
    bool m_heardOfStop = false;
};

TEST(SerialQueue, JobsGoOnBehindOneThatIsLeftBehind)
{
    SerialQueue queue("test", QualityOfService::UserInitiated);
    StuckJob stuck(queue);
    std::vector<int> ran;
    for (const int job : {1, 2})
        queue.post([&ran, job](const std::stop_token &) { ran.push_back(job); });
    queue.leaveBehind();
    waitForJobs(queue);
    EXPECT_EQ(ran, (std::vector<int>{1, 2}));
    EXPECT_EQ(workersLeftBehind(), 1);
    EXPECT_TRUE(stuck.release());
}

TEST(SerialQueue, WorkerThatComesBackDoesNothingMore)
{
    SerialQueue queue("test", QualityOfService::UserInitiated);
    StuckJob stuck(queue);
    queue.leaveBehind();
    const auto worker = askWorker(queue, [] { return std::this_thread::get_id(); });
    ASSERT_TRUE(stuck.release());
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(askWorker(queue, [] { return std::this_thread::get_id(); }), worker);
}

TEST(SerialQueue, EndIsToldFromItsAbsence)
{
    SerialQueue queue("test", QualityOfService::UserInitiated);
    StuckJob stuck(queue);
    queue.requestStop();
    EXPECT_FALSE(queue.hasEndedBy(std::chrono::steady_clock::now() + std::chrono::milliseconds(5)));
    EXPECT_TRUE(stuck.release());
    EXPECT_TRUE(queue.hasEndedBy(std::chrono::steady_clock::now() + std::chrono::seconds(20)));
}

TEST(SerialQueue, DestructionDoesNotWaitForWhatIsLeftBehind)
{
    bool ran = false;
    std::optional<SerialQueue> queue(std::in_place, "test", QualityOfService::UserInitiated);
    StuckJob stuck(*queue);
    queue->post([&ran](const std::stop_token &) { ran = true; });
    queue->requestStop();
    queue->leaveBehind();
    queue.reset();
    EXPECT_EQ(workersLeftBehind(), 1);
    EXPECT_TRUE(stuck.release());
    EXPECT_FALSE(ran);
}

#if defined(Q_OS_LINUX) || defined(Q_OS_MACOS)
std::string threadName()
{
    std::array<char, 64> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    return name.data();
}

TEST(SerialQueue, DebuggersSeeItsName)
{
    SerialQueue queue("prefetch", QualityOfService::Utility);
    EXPECT_EQ(askWorker(queue, threadName), "prefetch");
}

TEST(SerialQueue, LongNameIsCutNotRefused)
{
    SerialQueue queue("a-name-of-twenty-two-b", QualityOfService::Utility);
    EXPECT_EQ(askWorker(queue, threadName), "a-name-of-twent");
}
#endif

#ifdef Q_OS_LINUX
int niceness()
{
    return getpriority(PRIO_PROCESS, 0); // of the calling thread
}

TEST(SerialQueue, UtilityGivesWay)
{
    SerialQueue queue("test", QualityOfService::Utility);
    EXPECT_EQ(askWorker(queue, niceness), UTILITY_NICENESS);
}

TEST(SerialQueue, UserInitiatedRunsLikeItsMaker)
{
    SerialQueue queue("test", QualityOfService::UserInitiated);
    EXPECT_EQ(askWorker(queue, niceness), niceness());
}

TEST(SerialQueue, ThreadsThatAUtilityJobStartsGiveWayToo)
{
    SerialQueue queue("test", QualityOfService::Utility);
    const int helper = askWorker(queue, [] {
        int seen = 0;
        std::jthread([&seen] { seen = niceness(); }).join();
        return seen;
    });
    EXPECT_EQ(helper, UTILITY_NICENESS);
}
#endif

TEST(SerialQueue, StoppableJobHearsOfItsSource)
{
    std::stop_source source;
    SerialQueue queue("test", QualityOfService::UserInitiated);
    queue.post(stoppable(source, waitForStop));
    source.request_stop();
    waitForJobs(queue);
}

TEST(SerialQueue, StoppableJobHearsOfTheEndOfItsQueue)
{
    const std::stop_source source;
    {
        SerialQueue queue("test", QualityOfService::UserInitiated);
        std::latch started(1);
        queue.post(stoppable(source, [&](const std::stop_token &stop) {
            started.count_down();
            waitForStop(stop);
        }));
        started.wait();
    }
    EXPECT_TRUE(source.stop_requested());
}

TEST(SerialQueueDeathTest, JobThatThrowsEndsTheProgram)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            SerialQueue queue("test", QualityOfService::UserInitiated);
            queue.post(
                [](const std::stop_token &) { throw std::runtime_error("thrown in a job"); });
            std::latch(1).wait();
        },
        "thrown in a job");
}

} // namespace
} // namespace tavolin
