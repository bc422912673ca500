#include "platform/Mailbox.h"

#include "platform/SerialQueue.h"

#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <numeric>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace tavolin {
namespace {

/// One pass of the event loop for @p mailbox.
void deliver(Mailbox &mailbox)
{
    QCoreApplication::sendPostedEvents(&mailbox);
}

/// Counts the events that arrive at the object it filters.
class EventCounter : public QObject
{
public:
    bool eventFilter(QObject *, QEvent *) override
    {
        ++count;
        return false;
    }

    int count = 0;
};

TEST(Mailbox, RunsNothingBeforeTheEventLoopDoes)
{
    Mailbox mailbox;
    bool ran = false;
    mailbox.post([&ran] { ran = true; });
    EXPECT_FALSE(ran);
    deliver(mailbox);
    EXPECT_TRUE(ran);
}

TEST(Mailbox, RunsClosuresInTheOrderOfPosting)
{
    Mailbox mailbox;
    std::vector<int> ran;
    for (int i = 0; i < 3; ++i)
        mailbox.post([&ran, i] { ran.push_back(i); });
    deliver(mailbox);
    EXPECT_EQ(ran, (std::vector<int>{0, 1, 2}));
}

TEST(Mailbox, RunsEachClosureOnce)
{
    Mailbox mailbox;
    int runs = 0;
    mailbox.post([&runs] { ++runs; });
    deliver(mailbox);
    deliver(mailbox);
    EXPECT_EQ(runs, 1);
}

TEST(Mailbox, OneEventServesAllThatIsWaiting)
{
    Mailbox mailbox;
    EventCounter counter;
    mailbox.installEventFilter(&counter);
    int runs = 0;
    for (int i = 0; i < 100; ++i)
        mailbox.post([&runs] { ++runs; });
    deliver(mailbox);
    EXPECT_EQ(runs, 100);
    EXPECT_EQ(counter.count, 1);
}

TEST(Mailbox, WakesAgainAfterABatch)
{
    Mailbox mailbox;
    int runs = 0;
    for (int batch = 0; batch < 3; ++batch) {
        mailbox.post([&runs] { ++runs; });
        deliver(mailbox);
    }
    EXPECT_EQ(runs, 3);
}

TEST(Mailbox, WhatAClosurePostsRunsInALaterPass)
{
    Mailbox mailbox;
    int runs = 0;
    mailbox.post([&] {
        ++runs;
        mailbox.post([&runs] { ++runs; });
    });
    deliver(mailbox);
    EXPECT_EQ(runs, 1);
    deliver(mailbox);
    EXPECT_EQ(runs, 2);
}

TEST(Mailbox, WhatAClosurePostsRunsAfterEventsThatWereWaiting)
{
    Mailbox mailbox;
    QObject other;
    EventCounter counter;
    other.installEventFilter(&counter);
    std::optional<int> eventsBefore;
    QEventLoop loop;
    mailbox.post([&] {
        mailbox.post([&] {
            eventsBefore = counter.count;
            loop.quit();
        });
    });
    QCoreApplication::postEvent(&other, new QEvent(QEvent::User));
    loop.exec();
    EXPECT_EQ(eventsBefore, 1);
}

TEST(Mailbox, ReleasesWhatAClosureHoldsBeforeTheNextRuns)
{
    Mailbox mailbox;
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = held;
    bool expired = false;
    mailbox.post([held = std::move(held)] {});
    mailbox.post([&] { expired = watched.expired(); });
    deliver(mailbox);
    EXPECT_TRUE(expired);
}

TEST(Mailbox, DestructionDropsClosuresThatHaveNotRun)
{
    bool ran = false;
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = held;
    {
        Mailbox mailbox;
        mailbox.post([&ran, held = std::move(held)] { ran = true; });
    }
    QCoreApplication::sendPostedEvents();
    EXPECT_FALSE(ran);
    EXPECT_TRUE(watched.expired());
}

TEST(Mailbox, LeavesOtherEventsToQt)
{
    Mailbox mailbox;
    bool ran = false;
    mailbox.post([&ran] { ran = true; });
    QEvent other(QEvent::LanguageChange);
    EXPECT_FALSE(mailbox.event(&other));
    EXPECT_FALSE(ran);
}

TEST(Mailbox, ClosureOfAnotherThreadRunsOnItsOwn)
{
    Mailbox mailbox;
    std::thread::id ranOn;
    std::jthread([&] { mailbox.post([&] { ranOn = std::this_thread::get_id(); }); }).join();
    deliver(mailbox);
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(Mailbox, PostFromAnotherThreadWakesTheLoop)
{
    Mailbox mailbox;
    QEventLoop loop;
    std::jthread worker;
    bool ran = false;
    // The worker starts when the loop runs already, and nothing but its post ends the loop.
    mailbox.post([&] {
        worker = std::jthread([&] {
            mailbox.post([&] {
                ran = true;
                loop.quit();
            });
        });
    });
    loop.exec();
    EXPECT_TRUE(ran);
}

TEST(Mailbox, KeepsTheOrderOfEachPostingThread)
{
    constexpr int POSTERS = 4;
    constexpr int CLOSURES = 1000;
    Mailbox mailbox;
    QEventLoop loop;
    std::array<std::vector<int>, POSTERS> ran;
    int left = POSTERS * CLOSURES;
    std::vector<std::jthread> posters;
    posters.reserve(POSTERS);
    for (auto &mine : ran)
        posters.emplace_back([&] {
            for (int i = 0; i < CLOSURES; ++i)
                mailbox.post([&, i] {
                    mine.push_back(i);
                    if (--left == 0)
                        loop.quit();
                });
        });
    loop.exec();

    std::vector<int> expected(CLOSURES);
    std::iota(expected.begin(), expected.end(), 0);
    for (const auto &one : ran)
        EXPECT_EQ(one, expected);
}

TEST(Mailbox, BringsTheResultsOfAQueueInOrder)
{
    Mailbox mailbox;
    QEventLoop loop;
    std::vector<std::vector<int>> results;
    SerialQueue queue("test", QualityOfService::UserInitiated);
    for (int i = 0; i < 100; ++i)
        queue.post([&, i](const std::stop_token &) {
            mailbox.post([&, result = std::vector<int>(3, i)]() mutable {
                results.push_back(std::move(result));
                if (results.size() == 100)
                    loop.quit();
            });
        });
    loop.exec();

    ASSERT_EQ(results.size(), 100U);
    EXPECT_EQ(results.front(), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(results[42], (std::vector<int>{42, 42, 42}));
    EXPECT_EQ(results.back(), (std::vector<int>{99, 99, 99}));
}

} // namespace
} // namespace tavolin
