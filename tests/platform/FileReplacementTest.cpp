#include "platform/FileReplacement.h"

#include "logic/TemporaryFolder.h"
#include "platform/Syncs.h"

#include <gtest/gtest.h>

#include <csignal>
#include <iterator>
#include <string>
#include <string_view>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tavolin {

namespace {

using test::TemporaryFolder;

bool replaceWith(const std::filesystem::path &file, std::string_view text)
{
    return replaceFile(file, std::as_bytes(std::span(text)));
}

std::string contentOf(const std::filesystem::path &file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::ptrdiff_t filesIn(const TemporaryFolder &folder)
{
    return std::distance(std::filesystem::directory_iterator(folder.path()), {});
}

/// While it lives, no file of this process can grow beyond some bytes: what a full disk does.
class FullDisk
{
public:
    explicit FullDisk(rlim_t bytes) : m_handler(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &m_limit);
        rlimit lower = m_limit;
        lower.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &lower);
    }
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &m_limit);
        std::signal(SIGXFSZ, m_handler);
    }
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

private:
    rlimit m_limit{};
    void (*m_handler)(int);
};

TEST(ReplaceFile, MakesAFileThatWasNotThere)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(replaceWith(folder / "new", "content"));
    EXPECT_EQ(contentOf(folder / "new"), "content");
}

TEST(ReplaceFile, TellsOfWhatIsWrittenAndOfWhatTheDiskHas)
{
    constexpr int WRITES = 5; // of a mebibyte
#ifdef __linux__
    constexpr int PIECES = 2; // of four
#else
    constexpr int PIECES = 0;
#endif
    const TemporaryFolder folder;
    const std::string content(5'000'000, 'x');
    int told = 0;
    EXPECT_TRUE(replaceFile(folder / "new", std::as_bytes(std::span(content)), [&] { ++told; }));
    EXPECT_EQ(told, WRITES + PIECES);
    EXPECT_TRUE(contentOf(folder / "new") == content);
}

TEST(ReplaceFile, ReplacesAnEarlierFileAsAWhole)
{
    const TemporaryFolder folder;
    folder.write("file", "a much longer earlier content");
    EXPECT_TRUE(replaceWith(folder / "file", "short"));
    EXPECT_EQ(contentOf(folder / "file"), "short");
}

TEST(ReplaceFile, LeavesNothingBeside)
{
    const TemporaryFolder folder;
    ASSERT_TRUE(replaceWith(folder / "file", "content"));
    EXPECT_EQ(filesIn(folder), 1);
}

TEST(ReplaceFile, WhoHasTheEarlierFileOpenGoesOnReadingIt)
{
    const TemporaryFolder folder;
    std::ifstream reader(folder.write("file", "earlier"));
    ASSERT_TRUE(replaceWith(folder / "file", "later"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "earlier");
}

TEST(ReplaceFile, AFullDiskLeavesTheEarlierFileAndNothingElse)
{
    const TemporaryFolder folder;
    folder.write("file", "earlier");
    {
        const FullDisk full(1000);
        EXPECT_FALSE(replaceWith(folder / "file", std::string(5000, 'x')));
    }
    EXPECT_EQ(contentOf(folder / "file"), "earlier");
    EXPECT_EQ(filesIn(folder), 1);
}

TEST(ReplaceFile, FailsInAFolderThatIsMissing)
{
    const TemporaryFolder folder;
    EXPECT_FALSE(replaceWith(folder / "missing" / "file", "content"));
}

TEST(ReplaceFile, FailsWhereTheFolderIsAFile)
{
    const TemporaryFolder folder;
    folder.write("Edit", "not a folder");
    EXPECT_FALSE(replaceWith(folder / "Edit" / "file", "content"));
    EXPECT_EQ(contentOf(folder / "Edit"), "not a folder");
}

TEST(ReplaceFile, FailsInAFolderThatCantBeWritten)
{
    // Nobody may make files there, not even the superuser.
    EXPECT_FALSE(replaceWith("/proc/file", "content"));
}

TEST(ReplaceFile, FailsWhereAFolderHasTheName)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "file");
    EXPECT_FALSE(replaceWith(folder / "file", "content"));
    EXPECT_TRUE(std::filesystem::is_directory(folder / "file"));
    EXPECT_EQ(filesIn(folder), 1);
}

TEST(ReplaceFile, ClearsAwayWhatAKilledWriterHasLeft)
{
    const TemporaryFolder folder;
    const pid_t writer = fork();
    if (writer == 0) {
        const std::string content(5'000'000, 'x');
        replaceFile(folder / "file", std::as_bytes(std::span(content)), [] { raise(SIGKILL); });
        _exit(0);
    }
    waitpid(writer, nullptr, 0);
    ASSERT_EQ(filesIn(folder), 1);
    ASSERT_FALSE(std::filesystem::exists(folder / "file"));
    ASSERT_TRUE(replaceWith(folder / "other", "content"));
    EXPECT_EQ(filesIn(folder), 1);
}

TEST(ReplaceFile, TheDiskHasTheName)
{
    const TemporaryFolder folder;
    const test::Syncs syncs(folder / "file");
    ASSERT_TRUE(replaceWith(folder / "file", "content"));
    EXPECT_TRUE(syncs.hasPlaced(folder.path()));
}

TEST(ReplaceFile, NewFilesObeyTheMask)
{
    const TemporaryFolder folder;
    const mode_t mask = umask(027);
    EXPECT_TRUE(replaceWith(folder / "file", "content"));
    umask(mask);
    struct stat status
    {};
    ASSERT_EQ(stat((folder / "file").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640U);
}

} // namespace

} // namespace tavolin
