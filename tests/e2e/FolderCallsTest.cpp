// Disks that are slow or no longer answer: what the viewer asks of them, and on which thread.

#include "e2e/ViewerTest.h"
#include "e2e/WatchedFolderTest.h"

#include <algorithm>
#include <chrono>

#include <linux/input-event-codes.h>

namespace tavolin {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

class FolderCallsTest : public WatchedFolderTest<ViewerTest>
{};

TEST_F(FolderCallsTest, ListingAndOpeningAreSeen)
{
    addPictures(2);
    ASSERT_TRUE(openFolder());
    const auto calls = m_watched->calls();
    const auto isCalled = [&](const std::string &name, const fs::path &path) {
        return std::ranges::any_of(
            calls, [&](const FolderCall &call) { return call.name == name && call.path == path; });
    };
    EXPECT_TRUE(isCalled("readdir", m_folder.path().toStdString()));
    EXPECT_TRUE(isCalled("open", pathOf("IMG_1001.jpg")));
    EXPECT_TRUE(isCalled("fstat", pathOf("IMG_1001.jpg")));
    EXPECT_TRUE(std::ranges::any_of(calls, [](const auto &call) { return !call.isOnMainThread; }));
}

TEST_F(FolderCallsTest, HangingCallGoesOnWhenItIsReleased)
{
    addPictures(2);
    m_watched->hang({"open"});
    startViewer({m_folder.path()});
    ASSERT_TRUE(m_watched->waitUntilStuck());
    EXPECT_TRUE(staysTrue([&] { return shownIndex() != 1; }, 300ms));
    m_watched->release();
    EXPECT_TRUE(waitForPicture(1));
}

TEST_F(FolderCallsTest, DelayedCallTakesThatLong)
{
    addPictures(2);
    m_watched->delay(200ms);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(openFolder());
    // Before the picture come, one after the other, at least a status, a listing's beginning, two
    // entries, and the file's beginning and its status.
    EXPECT_GT(std::chrono::steady_clock::now() - start, 6 * 200ms);
}

} // namespace

} // namespace tavolin
