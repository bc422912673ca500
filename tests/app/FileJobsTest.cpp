#include "fileops/FileJobs.h"

#include "platform/Mailbox.h"

#include <QtTest>

#include <gtest/gtest.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <ostream>
#include <set>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

using Names = std::vector<std::string>;
constexpr auto PICK = FileJobKind::Pick;
constexpr auto SAVE = FileJobKind::Save;
constexpr auto DELETION = FileJobKind::Deletion;

struct OrderCase
{
    const char *name;
    FileJobKind earlier;
    const char *earlierFile;
    FileJobKind later;
    const char *laterFile;
    bool waits;
};

void PrintTo(const OrderCase &item, std::ostream *out)
{
    *out << item.name;
}

class OrderOfFileJobs : public testing::TestWithParam<OrderCase>
{};

TEST_P(OrderOfFileJobs, IsAsTheTableSays)
{
    const OrderCase &item = GetParam();
    const FileJob earlier{.kind = item.earlier, .file = item.earlierFile};
    const FileJob later{.kind = item.later, .file = item.laterFile};
    EXPECT_EQ(waitsFor(later, earlier), item.waits);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, OrderOfFileJobs,
    testing::Values(OrderCase{"picksOfAFolder", PICK, "/a/1", PICK, "/a/2", true},
                    OrderCase{"saveBehindAPick", PICK, "/a/1", SAVE, "/a/2", true},
                    OrderCase{"picksOfTwoFolders", PICK, "/a/1", PICK, "/b/1", false},
                    OrderCase{"deletionsOfAFolder", DELETION, "/a/1", DELETION, "/a/2", true},
                    OrderCase{"deletionsOfTwoFolders", DELETION, "/a/1", DELETION, "/b/1", false},
                    OrderCase{"deletionOfAnother", PICK, "/a/1", DELETION, "/a/2", false},
                    OrderCase{"deletionOfTheSame", PICK, "/a/1", DELETION, "/a/1", true},
                    OrderCase{"pickOfAnother", DELETION, "/a/1", PICK, "/a/2", false},
                    OrderCase{"pickOfTheSame", DELETION, "/a/1", PICK, "/a/1", true}),
    [](const auto &item) { return item.param.name; });

class FileJobsTest : public testing::Test
{
protected:
    ~FileJobsTest() override { releaseAll(); }

    /// Asks for work that waits until it is released, and gives @p failure.
    void add(FileJobKind kind, const std::string &file, const Image &edited = {},
             const Failure &failure = {})
    {
        const auto name = file + ' ' + std::to_string(static_cast<int>(kind));
        jobs.add({kind, file, edited,
                  [this, name, failure](const Progress &) {
                      std::unique_lock lock(m_mutex);
                      m_begun.push_back(name);
                      m_changed.wait(lock, [&] { return m_isOpen || m_released.contains(name); });
                      return failure;
                  },
                  [this, name](const Failure &result) {
                      ended.push_back(name);
                      results[name] = result;
                  }});
    }

    void release(const std::string &name)
    {
        const std::lock_guard lock(m_mutex);
        m_released.insert(name);
        m_changed.notify_all();
    }

    void releaseAll()
    {
        const std::lock_guard lock(m_mutex);
        m_isOpen = true;
        m_changed.notify_all();
    }

    [[nodiscard]] Names begun()
    {
        const std::lock_guard lock(m_mutex);
        return m_begun;
    }

    template <typename Predicate>
    [[nodiscard]] static bool waitFor(Predicate predicate)
    {
        return QTest::qWaitFor(predicate, 20'000);
    }

    [[nodiscard]] bool waitForBegun(std::size_t count)
    {
        return waitFor([&] { return begun().size() == count; });
    }

    Mailbox mailbox;
    Names ended;
    std::map<std::string, Failure> results;

private:
    std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    bool m_isOpen = false;
    std::set<std::string> m_released;
    Names m_begun;

protected:
    FileJobs jobs{mailbox};
};

TEST_F(FileJobsTest, WorkOfAFolderIsDoneInTheOrderOfAsking)
{
    add(PICK, "/a/1");
    add(SAVE, "/a/2");
    add(PICK, "/a/3");
    releaseAll();
    ASSERT_TRUE(waitFor([this] { return jobs.isEmpty(); }));
    EXPECT_EQ(begun(), (Names{"/a/1 0", "/a/2 1", "/a/3 0"}));
    EXPECT_EQ(ended, begun());
}

TEST_F(FileJobsTest, FolderWhoseDiskHangsHoldsUpNoOther)
{
    add(PICK, "/a/1");
    add(PICK, "/b/1");
    ASSERT_TRUE(waitForBegun(2));
    release("/b/1 0");
    ASSERT_TRUE(waitFor([this] { return ended == Names{"/b/1 0"}; }));
    EXPECT_FALSE(jobs.isEmpty());
}

TEST_F(FileJobsTest, DeletionWaitsForThePickOfItsFileAndForNoOther)
{
    add(PICK, "/a/1");
    add(PICK, "/a/2");
    add(DELETION, "/a/2");
    add(DELETION, "/a/1");
    ASSERT_TRUE(waitForBegun(1));
    release("/a/1 0");
    ASSERT_TRUE(waitForBegun(2)); // the second pick, before whose end nothing is deleted
    EXPECT_EQ(begun(), (Names{"/a/1 0", "/a/2 0"}));
    releaseAll();
    ASSERT_TRUE(waitFor([this] { return jobs.isEmpty(); }));
    EXPECT_EQ(ended, (Names{"/a/1 0", "/a/2 0", "/a/2 2", "/a/1 2"}));
}

TEST_F(FileJobsTest, SameWorkIsDoneOnce)
{
    add(PICK, "/a/0"); // runs
    add(PICK, "/a/0");
    add(PICK, "/a/1"); // waits
    add(PICK, "/a/1");
    releaseAll();
    ASSERT_TRUE(waitFor([this] { return jobs.isEmpty(); }));
    EXPECT_EQ(begun(), (Names{"/a/0 0", "/a/1 0"}));
}

TEST_F(FileJobsTest, SaveOfAnotherPictureOfTheFileIsOtherWork)
{
    const Image first = PixelBuffer({2, 2}).toImage(Alpha::Opaque);
    const Image second = PixelBuffer({2, 2}).toImage(Alpha::Opaque);
    add(SAVE, "/a/1", first);
    add(SAVE, "/a/1", first);
    add(SAVE, "/a/1", second);
    EXPECT_TRUE(jobs.isSaving(first));
    EXPECT_TRUE(jobs.isSaving(second));
    releaseAll();
    ASSERT_TRUE(waitFor([this] { return jobs.isEmpty(); }));
    EXPECT_EQ(begun().size(), 2U);
    EXPECT_FALSE(jobs.isSaving(first));
}

TEST_F(FileJobsTest, FailureIsHandedOver)
{
    add(PICK, "/a/1", {}, u"no disk"_s);
    releaseAll();
    ASSERT_TRUE(waitFor([this] { return jobs.isEmpty(); }));
    EXPECT_EQ(results["/a/1 0"], u"no disk"_s);
}

TEST_F(FileJobsTest, WorkThatThrowsIsAFailure)
{
    Failure result;
    jobs.add({PICK,
              "/a/1",
              {},
              [](const Progress &) -> Failure { throw std::bad_alloc(); },
              [&](const Failure &failure) { result = failure; }});
    ASSERT_TRUE(waitFor([this] { return jobs.isEmpty(); }));
    EXPECT_TRUE(result);
}

TEST_F(FileJobsTest, ProgressAndEndsAreNoted)
{
    const auto start = FileJobs::Clock::now();
    EXPECT_LT(jobs.lastProgress(), start);
    std::condition_variable changed;
    std::mutex mutex;
    bool goesOn = false;
    jobs.add({PICK,
              "/a/1",
              {},
              [&](const Progress &progress) -> Failure {
                  progress();
                  std::unique_lock lock(mutex);
                  changed.wait(lock, [&] { return goesOn; });
                  return {};
              },
              [](const Failure &) {}});
    EXPECT_TRUE(waitFor([&] { return jobs.lastProgress() > start; }));
    const auto told = jobs.lastProgress();
    {
        const std::lock_guard lock(mutex);
        goesOn = true;
    }
    changed.notify_all();
    ASSERT_TRUE(waitFor([this] { return jobs.isEmpty(); }));
    EXPECT_GT(jobs.lastProgress(), told);
}

} // namespace
} // namespace tavolin
