// Copies, saves and moves to the Trash that are killed at any moment lose nothing. TAVOLIN_KILLS
// says how many are killed.

#include "logic/TemporaryFolder.h"
#include "platform/FileCopy.h"
#include "platform/FileReplacement.h"
#include "platform/FileSystems.h"
#include "platform/Trash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <span>
#include <string_view>
#include <thread>

#include <signal.h>
#include <sys/wait.h>

namespace tavolin {
namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;
using test::contentOf;
using test::namesIn;

constexpr int DEFAULT_KILLS = 20;
constexpr int PICTURES = 6;
constexpr std::size_t BYTES = 2'000'000;
constexpr auto EARLIER = "an earlier pick or save";

int killCount()
{
    const char *text = std::getenv("TAVOLIN_KILLS");
    return text ? std::atoi(text) : DEFAULT_KILLS;
}

/// A folder with pictures, earlier picks and saves, beside a home folder, and a process that picks
/// them, saves others of their names, and throws them away.
class Round
{
public:
    explicit Round(std::mt19937 &random)
    {
        fs::create_directory(m_folder / "pictures");
        fs::create_directory(picks());
        fs::create_directory(saves());
        fs::create_directory(m_folder / "home");
        for (int i = 1; i <= PICTURES; ++i) {
            std::string content(BYTES, '\0');
            for (std::size_t at = 0; at < BYTES; at += 64)
                content[at] = static_cast<char>(random());
            const std::string name = std::to_string(i) + ".jpg";
            m_folder.write("pictures/" + name, QByteArray::fromStdString(content));
            m_folder.write("pictures/HL/" + name, EARLIER);
            m_folder.write("pictures/Edit/" + name, EARLIER);
            m_contents.emplace(name, std::move(content));
        }
    }

    /// Picks each picture twice, saves its content and throws it away, in a process of its own.
    [[nodiscard]] pid_t start() const
    {
        return run([this] {
            for (const auto &[name, content] : m_contents) {
                if (copyIntoFolder(pictures() / name, picks()) ||
                    copyIntoFolder(pictures() / name, picks()) ||
                    !replaceFile(saves() / name, std::as_bytes(std::span(content))) ||
                    moveToTrash(pictures() / name))
                    return false;
            }
            return true;
        });
    }

    /// Picks one more picture; false when that fails.
    [[nodiscard]] bool pickAnother() const
    {
        const auto another = m_folder.write("pictures/another.jpg", "picture");
        int status = 0;
        waitpid(run([&] { return !copyIntoFolder(another, picks()); }), &status, 0);
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

    /// Saves one more; false when that fails.
    [[nodiscard]] bool saveAnother() const
    {
        static constexpr std::string_view CONTENT = "edited";
        return replaceFile(saves() / "another.jpg", std::as_bytes(std::span(CONTENT)));
    }

    /// Every picture is whole in its place or in the Trash.
    void expectNothingLost() const
    {
        for (const auto &[name, content] : m_contents) {
            const bool isThere = contentOf(pictures() / name) == content;
            const bool isThrownAway = contentOf(trashed() / name) == content;
            EXPECT_TRUE(isThere || isThrownAway) << name;
        }
    }

    /// Of every picture there is a whole pick and a whole save, the earlier ones or the new.
    void expectNoCopyLost() const
    {
        for (const auto &[name, content] : m_contents) {
            for (const fs::path &folder : {picks(), saves()}) {
                const std::string copy = contentOf(folder / name);
                EXPECT_TRUE(copy == EARLIER || copy == content) << folder / name;
            }
        }
    }

    [[nodiscard]] fs::path pictures() const { return m_folder / "pictures"; }
    [[nodiscard]] fs::path picks() const { return pictures() / "HL"; }
    [[nodiscard]] fs::path saves() const { return pictures() / "Edit"; }
    [[nodiscard]] fs::path trashed() const { return m_folder / "home/Trash/files"; }
    [[nodiscard]] std::size_t count() const { return m_contents.size(); }

private:
    /// Runs @p work, which says whether it went well, in a child. Nothing here may use GLib before,
    /// which asks once where the Trash is.
    [[nodiscard]] pid_t run(const std::function<bool()> &work) const
    {
        const pid_t child = fork();
        if (child != 0)
            return child;
        setenv("HOME", (m_folder / "home").c_str(), 1);
        setenv("XDG_DATA_HOME", (m_folder / "home").c_str(), 1);
        _exit(work() ? 0 : 1);
    }

    test::TemporaryFolder m_folder;
    std::map<std::string, std::string> m_contents;
};

TEST(NothingLost, WhenCopiesSavesAndMovesAreKilledAtAnyMoment)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);

    // How long it takes undisturbed, at best, says which moments there are.
    int status = 0;
    auto duration = steady_clock::duration::max();
    for (int i = 0; i < 3; ++i) {
        const Round undisturbed(random);
        const auto begin = steady_clock::now();
        waitpid(undisturbed.start(), &status, 0);
        duration = std::min(duration, steady_clock::now() - begin);
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        EXPECT_EQ(namesIn(undisturbed.picks()).size(), undisturbed.count());
        EXPECT_EQ(namesIn(undisturbed.trashed()).size(), undisturbed.count());
        for (const std::string &name : namesIn(undisturbed.saves()))
            EXPECT_NE(contentOf(undisturbed.saves() / name), EARLIER) << name;
        undisturbed.expectNothingLost();
    }

    std::uniform_int_distribution<steady_clock::rep> moments(0, duration.count());
    int killed = 0;
    for (int round = 1; round <= killCount(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const Round disturbed(random);
        const pid_t child = disturbed.start();
        std::this_thread::sleep_for(steady_clock::duration(moments(random)));
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
        killed += WIFSIGNALED(status);
        disturbed.expectNothingLost();
        disturbed.expectNoCopyLost();
        EXPECT_TRUE(disturbed.pickAnother());
        EXPECT_TRUE(disturbed.saveAnother());
        for (const fs::path &folder : {disturbed.picks(), disturbed.saves()})
            for (const std::string &name : namesIn(folder))
                EXPECT_FALSE(name.starts_with('.')) << folder / name << " is left behind";
        if (HasFailure())
            break;
    }
    EXPECT_GT(killed, 0) << "none was killed in the middle";
    std::printf("%d of %d were killed in the middle\n", killed, killCount());
}

} // namespace
} // namespace tavolin
