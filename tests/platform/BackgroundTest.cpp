#include "platform/Background.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <chrono>
#include <latch>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

namespace tavolin {

using namespace std::chrono_literals;

namespace {

class Background : public testing::Test
{
protected:
    /// Serves the mailbox until @p predicate says true; false after a generous time.
    template <typename Predicate>
    [[nodiscard]] static bool serveUntil(Predicate predicate)
    {
        QElapsedTimer timer;
        timer.start();
        while (!predicate() && timer.elapsed() < 20'000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        return predicate();
    }

    /// Waits until all work that was asked for has been done, and its results have been seen.
    [[nodiscard]] bool finish()
    {
        bool isDone = false;
        queue.run<int>(&mailbox, {.work = [](const std::stop_token &) { return 0; },
                                  .use = [&isDone](int) { isDone = true; }});
        return serveUntil([&isDone] { return isDone; });
    }

    Mailbox mailbox;
    BackgroundQueue queue{"test", QualityOfService::UserInitiated, mailbox};
    QObject owner;
    std::vector<int> used;
};

TEST_F(Background, WorkIsDoneElsewhereAndItsResultIsUsedHere)
{
    const auto here = std::this_thread::get_id();
    std::thread::id there;
    std::thread::id usedBy;
    queue.run<int>(&owner, {.work =
                                [&there](const std::stop_token &) {
                                    there = std::this_thread::get_id();
                                    return 7;
                                },
                            .use =
                                [&](int result) {
                                    usedBy = std::this_thread::get_id();
                                    used.push_back(result);
                                }});
    ASSERT_TRUE(finish());
    EXPECT_EQ(used, std::vector<int>{7});
    EXPECT_NE(there, here);
    EXPECT_EQ(usedBy, here);
}

TEST_F(Background, ResultThatNoLongerAppliesIsNotUsed)
{
    int otherwise = 0;
    queue.run<int>(&owner, {.work = [](const std::stop_token &) { return 7; },
                            .stillApplies = [] { return false; },
                            .use = [this](int result) { used.push_back(result); },
                            .otherwise = [&otherwise] { ++otherwise; }});
    ASSERT_TRUE(finish());
    EXPECT_EQ(used, std::vector<int>{});
    EXPECT_EQ(otherwise, 1);
}

TEST_F(Background, WhetherItAppliesIsAskedWhenTheResultComes)
{
    bool applies = false;
    queue.run<int>(&owner, {.work = [](const std::stop_token &) { return 7; },
                            .stillApplies = [&applies] { return applies; },
                            .use = [this](int result) { used.push_back(result); }});
    applies = true;
    ASSERT_TRUE(finish());
    EXPECT_EQ(used, std::vector<int>{7});
}

TEST_F(Background, ResultForAnOwnerThatHasGoneIsDropped)
{
    auto gone = std::make_unique<QObject>();
    int asked = 0;
    const auto count = [&asked] { ++asked; };
    queue.run<int>(gone.get(), {.work = [](const std::stop_token &) { return 7; },
                                .stillApplies =
                                    [&asked] {
                                        ++asked;
                                        return true;
                                    },
                                .use = [this](int result) { used.push_back(result); },
                                .otherwise = count});
    gone.reset();
    ASSERT_TRUE(finish());
    EXPECT_EQ(used, std::vector<int>{});
    EXPECT_EQ(asked, 0);
}

TEST_F(Background, LackOfMemoryOrThreadsIsAFailedResult)
{
    const auto use = [this](const std::optional<int> &result) {
        used.push_back(result.value_or(-1));
    };
    queue.run<std::optional<int>>(
        &owner,
        {.work = [](const std::stop_token &) -> std::optional<int> { throw std::bad_alloc(); },
         .use = use});
    queue.run<std::optional<int>>(
        &owner, {.work = [](const std::stop_token &) -> std::optional<int> {
                     throw std::system_error(
                         std::make_error_code(std::errc::resource_unavailable_try_again));
                 },
                 .use = use});
    ASSERT_TRUE(finish());
    EXPECT_EQ(used, (std::vector<int>{-1, -1}));
}

TEST_F(Background, StopIsToldToTheWork)
{
    std::stop_source stop;
    queue.run<bool>(&owner,
                    {.work =
                         [](const std::stop_token &token) {
                             while (!token.stop_requested())
                                 std::this_thread::yield();
                             return true;
                         },
                     .use = [this](bool isStopped) { used.push_back(isStopped ? 1 : 0); }},
                    stop);
    stop.request_stop();
    ASSERT_TRUE(finish());
    EXPECT_EQ(used, std::vector<int>{1});
}

TEST_F(Background, WorkThatHeedsNoStopIsLeftBehindAndHasFailed)
{
    std::latch release(1);
    std::stop_source stop;
    queue.run<std::optional<int>>(
        &owner,
        {.work = [&release](const std::stop_token &) -> std::optional<int> {
             release.wait();
             return 7;
         },
         .use = [this](const std::optional<int> &result) { used.push_back(result.value_or(-1)); }},
        stop);
    stop.request_stop();
    queue.leaveBehindUnlessEnded(1ms);
    EXPECT_TRUE(finish());
    EXPECT_EQ(used, std::vector<int>{-1});
    release.count_down();
    EXPECT_TRUE(serveUntil([] { return workersLeftBehind() == 0; }));
    EXPECT_TRUE(finish());
    EXPECT_EQ(used, std::vector<int>{-1});
}

TEST_F(Background, QueueServesAfterAnyNumberLeftBehind)
{
    std::latch release(1);
    std::stop_source stop;
    for (int i = 0; i < 2; ++i) {
        queue.run<int>(&owner,
                       {.work =
                            [&](const std::stop_token &) {
                                release.wait();
                                return 7;
                            },
                        .use = [this](int result) { used.push_back(result); }},
                       stop);
    }
    stop.request_stop();
    queue.leaveBehindUnlessEnded(0ms);
    ASSERT_TRUE(serveUntil([this] { return used.size() == 1; }));
    queue.leaveBehindUnlessEnded(0ms);
    ASSERT_TRUE(serveUntil([this] { return used.size() == 2; }));
    EXPECT_TRUE(finish());
    release.count_down();
    EXPECT_TRUE(serveUntil([] { return workersLeftBehind() == 0; }));
    EXPECT_EQ(used, (std::vector<int>{0, 0}));
}

TEST_F(Background, WorkThatWasNotAskedToStopIsWaitedFor)
{
    std::latch release(1);
    queue.run<int>(&owner, {.work =
                                [&release](const std::stop_token &) {
                                    release.wait();
                                    return 7;
                                },
                            .use = [this](int result) { used.push_back(result); }});
    queue.leaveBehindUnlessEnded(0ms);
    QElapsedTimer timer;
    timer.start();
    EXPECT_TRUE(serveUntil([&timer] { return timer.elapsed() > 20; }));
    EXPECT_EQ(workersLeftBehind(), 0);
    release.count_down();
    ASSERT_TRUE(finish());
    EXPECT_EQ(used, std::vector<int>{7});
}

TEST_F(Background, WorkThatEndsInTimeIsNotLeftBehind)
{
    std::latch release(1);
    std::stop_source stop;
    queue.run<int>(&owner,
                   {.work =
                        [&release](const std::stop_token &) {
                            release.wait();
                            return 7;
                        },
                    .use = [this](int result) { used.push_back(result); }},
                   stop);
    stop.request_stop();
    queue.leaveBehindUnlessEnded(500ms);
    release.count_down();
    QElapsedTimer timer;
    timer.start();
    EXPECT_TRUE(serveUntil([&timer] { return timer.elapsed() > 600; }));
    EXPECT_EQ(workersLeftBehind(), 0);
    EXPECT_EQ(used, std::vector<int>{7});
}

TEST_F(Background, EndOfTheQueueDoesNotWaitForWorkThatHangs)
{
    std::latch started(1);
    std::latch release(1);
    {
        BackgroundQueue ending("test", QualityOfService::UserInitiated, mailbox);
        ending.run<int>(&owner, {.work =
                                     [&](const std::stop_token &) {
                                         started.count_down();
                                         release.wait();
                                         return 7;
                                     },
                                 .use = [this](int result) { used.push_back(result); }});
        started.wait();
    }
    EXPECT_EQ(workersLeftBehind(), 1);
    release.count_down();
    EXPECT_TRUE(serveUntil([] { return workersLeftBehind() == 0; }));
    EXPECT_TRUE(finish());
    EXPECT_EQ(used, std::vector<int>{});
}

TEST_F(Background, WhatTheWorkHoldsIsReleasedWhereItWasDone)
{
    std::thread::id releasedBy;
    const auto release = [&releasedBy](int *value) {
        releasedBy = std::this_thread::get_id();
        delete value;
    };
    std::shared_ptr<int> held(new int(7), release);
    queue.run<int>(&owner, {.work = [held = std::move(held)](
                                        const std::stop_token &) mutable { return *held; },
                            .use = [this](int result) { used.push_back(result); }});
    ASSERT_TRUE(finish());
    EXPECT_EQ(used, std::vector<int>{7});
    EXPECT_NE(releasedBy, std::thread::id());
    EXPECT_NE(releasedBy, std::this_thread::get_id());
}

} // namespace
} // namespace tavolin
