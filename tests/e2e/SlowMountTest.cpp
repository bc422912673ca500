// The slow disk that other tests rely on.

#include "e2e/SlowMount.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <optional>
#include <string>

namespace tavolin {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

/// Milliseconds in which a program would end that nothing holds up.
constexpr int LONG_ENOUGH = 400;

std::string contents(const fs::path &file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class SlowMountTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (const QString reason = SlowMount::whyUnavailable(); !reason.isEmpty())
            GTEST_SKIP() << reason.toStdString();
    }

    [[nodiscard]] testing::AssertionResult mount(const DiskSpeed &speed)
    {
        m_mount.emplace(m_folder.path().toStdString(), speed);
        if (!m_mount->error().isEmpty())
            return testing::AssertionFailure() << m_mount->error().toStdString();
        return testing::AssertionSuccess();
    }

    [[nodiscard]] fs::path source() const { return m_folder.path().toStdString(); }
    [[nodiscard]] fs::path mounted() const { return m_mount->path().toStdString(); }

    /// Starts a program that looks into the mounted folder.
    void startLooking() { m_looking.start(u"ls"_s, {m_mount->path()}); }

    QTemporaryDir m_folder;
    QProcess m_looking;
    std::optional<SlowMount> m_mount; // last: what waits for it when it goes, goes on
};

TEST_F(SlowMountTest, FileHasTheSameBytesThroughIt)
{
    const std::string bytes(300'000, 'x');
    std::ofstream(source() / "file") << bytes << "end";
    ASSERT_TRUE(mount({}));
    EXPECT_EQ(contents(mounted() / "file"), bytes + "end");
}

TEST_F(SlowMountTest, WhatIsWrittenThroughItIsInTheFolder)
{
    ASSERT_TRUE(mount({}));
    std::ofstream(mounted() / "file") << "written";
    fs::rename(mounted() / "file", mounted() / "other");
    EXPECT_EQ(contents(source() / "other"), "written");
}

TEST_F(SlowMountTest, CallTakesItsTime)
{
    ASSERT_TRUE(mount({.call = 100ms}));
    const auto start = Clock::now();
    EXPECT_FALSE(fs::exists(mounted() / "nothing"));
    EXPECT_GE(Clock::now() - start, 100ms);
}

TEST_F(SlowMountTest, ReadingTakesItsTime)
{
    const std::string bytes(1'000'000, 'x');
    std::ofstream(source() / "file") << bytes;
    ASSERT_TRUE(mount({.megabytesPerSecond = 10}));
    const auto start = Clock::now();
    EXPECT_EQ(contents(mounted() / "file"), bytes);
    EXPECT_GE(Clock::now() - start, 100ms);
}

TEST_F(SlowMountTest, CallHangsUntilTheDiskGoesOn)
{
    ASSERT_TRUE(mount({}));
    m_mount->hang();
    startLooking();
    EXPECT_FALSE(m_looking.waitForFinished(LONG_ENOUGH));
    m_mount->goOn();
    EXPECT_TRUE(m_looking.waitForFinished());
}

TEST_F(SlowMountTest, KilledProgramEndsWhileTheDiskHangs)
{
    ASSERT_TRUE(mount({}));
    m_mount->hang();
    startLooking();
    ASSERT_FALSE(m_looking.waitForFinished(LONG_ENOUGH));
    m_looking.kill();
    EXPECT_TRUE(m_looking.waitForFinished());
}

TEST_F(SlowMountTest, NothingIsLeftOfItThoughTheDiskHangs)
{
    ASSERT_TRUE(mount({}));
    const fs::path place = mounted();
    m_mount->hang();
    startLooking();
    ASSERT_FALSE(m_looking.waitForFinished(LONG_ENOUGH));
    m_mount.reset();
    EXPECT_TRUE(m_looking.waitForFinished());
    EXPECT_FALSE(fs::exists(place));
    EXPECT_TRUE(fs::exists(source()));
}

} // namespace

} // namespace tavolin
