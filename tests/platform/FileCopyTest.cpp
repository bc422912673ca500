#include "platform/FileCopy.h"

#include "logic/TemporaryFolder.h"
#include "platform/FileSystems.h"
#include "platform/Mount.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <random>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>

namespace tavolin {
namespace {

namespace fs = std::filesystem;
using test::contentOf;
using test::namesIn;
using Names = std::set<std::string>;

QByteArray randomBytes(int count)
{
    std::mt19937 random(1);
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes.append(static_cast<char>(random()));
    return bytes;
}

/// The number of a process that has ended.
pid_t deadProcess()
{
    const pid_t process = fork();
    if (process == 0)
        _exit(0);
    waitpid(process, nullptr, 0);
    return process;
}

const std::string ATTRIBUTE("5 stars\0\xff", 9);

bool giveAttribute(const fs::path &file)
{
    return setxattr(file.c_str(), "user.tavolin.test", ATTRIBUTE.data(), ATTRIBUTE.size(), 0) == 0;
}

std::string attributeOf(const fs::path &file)
{
    std::string value(100, '\0');
    const auto size = getxattr(file.c_str(), "user.tavolin.test", value.data(), value.size());
    value.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return value;
}

class CopyIntoFolder : public testing::Test
{
protected:
    /// Copies and fails the test where that fails.
    void copy(const fs::path &source)
    {
        const Failure failure = copyIntoFolder(source, target);
        EXPECT_FALSE(failure) << failure.value_or(QString()).toStdString();
    }

    /// Puts what may be the last copy of a picture where the copy of 1.jpg is to be.
    void makeEarlierCopy()
    {
        fs::create_directory(target);
        folder.write("picks/1.jpg", EARLIER);
    }

    void expectEarlierCopyAlone() const
    {
        EXPECT_EQ(contentOf(target / "1.jpg"), EARLIER);
        EXPECT_EQ(namesIn(target), Names{"1.jpg"});
    }

    static constexpr auto EARLIER = "the earlier copy";
    test::TemporaryFolder folder;
    fs::path target = folder / "picks";
};

TEST_F(CopyIntoFolder, FirstCopyMakesTheFoldersThatAreMissing)
{
    target = folder / "a" / "b" / "picks";
    copy(folder.write("1.jpg", "picture"));
    EXPECT_EQ(contentOf(target / "1.jpg"), "picture");
}

TEST_F(CopyIntoFolder, ContentIsTheSameByteForByte)
{
    const QByteArray content = randomBytes(3'000'001);
    const auto source = folder.write("1.NEF", content);
    copy(source);
    EXPECT_EQ(contentOf(target / "1.NEF"), content.toStdString());
    EXPECT_EQ(contentOf(source), content.toStdString());
}

TEST_F(CopyIntoFolder, EmptyFileIsCopied)
{
    copy(folder.write("1.jpg"));
    EXPECT_TRUE(fs::is_empty(target / "1.jpg"));
}

TEST_F(CopyIntoFolder, TimeAndPermissionsAreKept)
{
    const auto source = folder.write("1.jpg", "picture");
    const timespec times[]{{1'234'567'890, 0}, {1'400'000'000, 123'456'789}};
    ASSERT_EQ(utimensat(AT_FDCWD, source.c_str(), times, 0), 0);
    fs::permissions(source, fs::perms(0440));
    copy(source);
    struct stat status
    {};
    ASSERT_EQ(stat((target / "1.jpg").c_str(), &status), 0);
    EXPECT_EQ(status.st_mtim.tv_sec, 1'400'000'000);
    EXPECT_EQ(status.st_mtim.tv_nsec, 123'456'789);
    EXPECT_EQ(status.st_mode & 07777U, 0440U);
}

TEST_F(CopyIntoFolder, ExtendedAttributesAreKept)
{
    const auto source = folder.write("1.jpg", "picture");
    if (!giveAttribute(source))
        GTEST_SKIP() << "no extended attributes on this file system: " << std::strerror(errno);
    copy(source);
    EXPECT_EQ(attributeOf(target / "1.jpg"), ATTRIBUTE);
}

TEST_F(CopyIntoFolder, ExtendedAttributesAndTimeOfAReadOnlyFileAreKept)
{
    const auto source = folder.write("1.jpg", "picture");
    if (!giveAttribute(source))
        GTEST_SKIP() << "no extended attributes on this file system: " << std::strerror(errno);
    const auto time = fs::last_write_time(source) - std::chrono::hours(1000);
    fs::last_write_time(source, time);
    fs::permissions(source, fs::perms(0444)); // as cameras protect pictures
    fs::permissions(folder.path(), fs::perms::all);
    {
        const test::WithoutRoot withoutRoot;
        copy(source);
    }
    EXPECT_EQ(attributeOf(target / "1.jpg"), ATTRIBUTE);
    EXPECT_EQ(fs::last_write_time(target / "1.jpg"), time);
    EXPECT_EQ(fs::status(target / "1.jpg").permissions(), fs::perms(0444));
}

TEST_F(CopyIntoFolder, EarlierCopyIsReplacedUnderTheSameName)
{
    const auto source = folder.write("1.jpg", "picture");
    copy(source);
    folder.write("picks/1.jpg", "something longer than the picture");
    fs::permissions(target / "1.jpg", fs::perms(0400));
    copy(source);
    EXPECT_EQ(contentOf(target / "1.jpg"), "picture");
    EXPECT_EQ(namesIn(target), Names{"1.jpg"});
}

TEST_F(CopyIntoFolder, NameThatIsNotUtf8IsKept)
{
    copy(folder.write("\xff\xfe.jpg", "picture"));
    EXPECT_EQ(namesIn(target), Names{"\xff\xfe.jpg"});
}

TEST_F(CopyIntoFolder, SymbolicLinkIsCopiedByItsContent)
{
    folder.write("elsewhere.jpg", "picture");
    fs::create_symlink("elsewhere.jpg", folder / "1.jpg");
    copy(folder / "1.jpg");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(target / "1.jpg")));
    EXPECT_EQ(contentOf(target / "1.jpg"), "picture");
    EXPECT_TRUE(fs::is_symlink(folder / "1.jpg"));
}

TEST_F(CopyIntoFolder, EarlierCopyThatIsAHardLinkOfTheSourceIsReplaced)
{
    const auto source = folder.write("1.jpg", "picture");
    fs::create_directory(target);
    fs::create_hard_link(source, target / "1.jpg");
    copy(source);
    EXPECT_FALSE(fs::equivalent(source, target / "1.jpg"));
    EXPECT_EQ(contentOf(source), "picture");
    EXPECT_EQ(contentOf(target / "1.jpg"), "picture");
}

TEST_F(CopyIntoFolder, EarlierCopyThatIsALinkToTheSourceIsReplaced)
{
    const auto source = folder.write("1.jpg", "picture");
    fs::create_directory(target);
    fs::create_symlink(source, target / "1.jpg");
    copy(source);
    EXPECT_FALSE(fs::is_symlink(target / "1.jpg"));
    EXPECT_EQ(contentOf(source), "picture");
    EXPECT_EQ(contentOf(target / "1.jpg"), "picture");
}

TEST_F(CopyIntoFolder, NothingIsRemovedWhenTheFolderIsALinkToThatOfTheSource)
{
    const auto source = folder.write("1.jpg", "picture");
    fs::create_directory_symlink(".", target);
    EXPECT_TRUE(copyIntoFolder(source, target));
    EXPECT_EQ(contentOf(source), "picture");
    EXPECT_EQ(namesIn(folder.path()), (Names{"1.jpg", "picks"}));
}

TEST_F(CopyIntoFolder, NothingIsRemovedWhenTheSourceIsALinkToItsCopy)
{
    fs::create_directory(target);
    folder.write("picks/1.jpg", "picture");
    fs::create_symlink("picks/1.jpg", folder / "1.jpg");
    EXPECT_TRUE(copyIntoFolder(folder / "1.jpg", target));
    EXPECT_EQ(contentOf(target / "1.jpg"), "picture");
}

TEST_F(CopyIntoFolder, NothingIsRemovedWhenTheSourceIsALinkByWayOfItsCopy)
{
    fs::create_directory(target);
    folder.write("elsewhere.jpg", "picture");
    fs::create_symlink("../elsewhere.jpg", target / "1.jpg");
    fs::create_symlink("picks/1.jpg", folder / "1.jpg");
    EXPECT_TRUE(copyIntoFolder(folder / "1.jpg", target));
    EXPECT_EQ(contentOf(folder / "1.jpg"), "picture");
}

TEST_F(CopyIntoFolder, SourceThatHasGoneLeavesAnEarlierCopyAlone)
{
    const auto source = folder.write("1.jpg", "picture");
    copy(source);
    fs::remove(source);
    EXPECT_TRUE(copyIntoFolder(source, target));
    EXPECT_EQ(contentOf(target / "1.jpg"), "picture");
}

TEST_F(CopyIntoFolder, LinkThatLeadsNowhereFails)
{
    fs::create_symlink("nowhere.jpg", folder / "1.jpg");
    EXPECT_TRUE(copyIntoFolder(folder / "1.jpg", target));
    EXPECT_EQ(namesIn(target), Names{});
}

TEST_F(CopyIntoFolder, FolderIsNotCopied)
{
    fs::create_directory(folder / "1.jpg");
    EXPECT_TRUE(copyIntoFolder(folder / "1.jpg", target));
    EXPECT_EQ(namesIn(target), Names{});
}

TEST_F(CopyIntoFolder, FolderLeavesAnEarlierCopyAlone)
{
    makeEarlierCopy();
    fs::create_directory(folder / "1.jpg");
    EXPECT_TRUE(copyIntoFolder(folder / "1.jpg", target));
    expectEarlierCopyAlone();
}

TEST_F(CopyIntoFolder, PipeThatNobodyWritesToFailsInsteadOfWaiting)
{
    makeEarlierCopy();
    ASSERT_EQ(mkfifo((folder / "1.jpg").c_str(), 0600), 0);
    EXPECT_TRUE(copyIntoFolder(folder / "1.jpg", target));
    expectEarlierCopyAlone();
}

TEST_F(CopyIntoFolder, FileInThePlaceOfTheFolderStays)
{
    folder.write("picks", "a file");
    EXPECT_TRUE(copyIntoFolder(folder.write("1.jpg", "picture"), target));
    EXPECT_EQ(contentOf(target), "a file");
}

TEST_F(CopyIntoFolder, FolderWithTheNameOfTheCopyKeepsWhatIsInIt)
{
    fs::create_directories(target / "1.jpg");
    folder.write("picks/1.jpg/inside", "a file");
    EXPECT_TRUE(copyIntoFolder(folder.write("1.jpg", "picture"), target));
    EXPECT_EQ(contentOf(target / "1.jpg" / "inside"), "a file");
    EXPECT_EQ(namesIn(target), Names{"1.jpg"});
}

TEST_F(CopyIntoFolder, EmptyFolderWithTheNameOfTheCopyGivesWay)
{
    fs::create_directories(target / "1.jpg");
    copy(folder.write("1.jpg", "picture"));
    EXPECT_EQ(contentOf(target / "1.jpg"), "picture");
}

TEST_F(CopyIntoFolder, EarlierCopyThatIsALinkElsewhereGivesWayAndWhatItLedToStays)
{
    fs::create_directory(target);
    fs::create_symlink("../elsewhere.jpg", target / "1.jpg");
    folder.write("elsewhere.jpg", "another picture");
    copy(folder.write("1.jpg", "picture"));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(target / "1.jpg")));
    EXPECT_EQ(contentOf(folder / "elsewhere.jpg"), "another picture");
}

TEST_F(CopyIntoFolder, FolderAboveALinkIsThatOfTheLinksTarget)
{
    fs::create_directories(folder / "card/dir");
    fs::create_directory(folder / "card/pictures");
    fs::create_directory(folder / "pictures");
    fs::create_directory_symlink("card/dir", folder / "link");
    folder.write("card/pictures/1.jpg", "on the card");
    folder.write("pictures/1.jpg", "beside the link");
    target = folder / "link/../pictures/picks";
    copy(folder / "link/../pictures/1.jpg");
    EXPECT_EQ(contentOf(folder / "card/pictures/picks/1.jpg"), "on the card");
    EXPECT_EQ(namesIn(folder / "pictures"), Names{"1.jpg"});
}

TEST_F(CopyIntoFolder, ReadOnlyFolderIsReportedInWords)
{
    fs::create_directory(folder / "pictures");
    const auto source = folder.write("pictures/1.jpg", "picture");
    const test::ReadOnly readOnly(source.parent_path());
    const test::WithoutRoot withoutRoot;
    EXPECT_EQ(copyIntoFolder(source, source.parent_path() / "picks"),
              QStringLiteral("Permission denied"));
    EXPECT_EQ(namesIn(source.parent_path()), Names{"1.jpg"});
}

TEST_F(CopyIntoFolder, SourceThatMayNotBeReadLeavesAnEarlierCopyAlone)
{
    const auto source = folder.write("1.jpg", "picture");
    makeEarlierCopy();
    fs::permissions(folder.path(), fs::perms(0755));
    fs::permissions(source, fs::perms::none);
    fs::permissions(target, fs::perms::all);
    const test::WithoutRoot withoutRoot;
    const Failure failure = copyIntoFolder(source, target);
    ASSERT_TRUE(failure);
    EXPECT_TRUE(failure->contains(QStringLiteral("Permission denied"))) << failure->toStdString();
    expectEarlierCopyAlone();
}

TEST_F(CopyIntoFolder, FullFileSystemLeavesAnEarlierCopyAlone)
{
    fs::create_directory(target);
    const auto mount = test::Mount::memory(target, 1 << 20);
    if (!mount.error().empty())
        GTEST_SKIP() << mount.error();
    makeEarlierCopy();
    const Failure failure = copyIntoFolder(folder.write("1.jpg", randomBytes(2 << 20)), target);
    ASSERT_TRUE(failure);
    EXPECT_TRUE(failure->contains(QStringLiteral("No space left"))) << failure->toStdString();
    expectEarlierCopyAlone();
}

TEST_F(CopyIntoFolder, ClearsAwayWhatAKilledCopyHasLeft)
{
    fs::create_directory(target);
    folder.write("picks/.tavolin-copy-" + std::to_string(deadProcess()) + "-1", "half a pict");
    copy(folder.write("1.jpg", "picture"));
    EXPECT_EQ(namesIn(target), Names{"1.jpg"});
}

TEST_F(CopyIntoFolder, ClearsAwayWhatAProcessWithItsOwnNumberHasLeft)
{
    fs::create_directory(target);
    folder.write("picks/.tavolin-copy-" + std::to_string(getpid()) + "-4294967295", "half a pict");
    copy(folder.write("1.jpg", "picture"));
    EXPECT_EQ(namesIn(target), Names{"1.jpg"});
}

TEST_F(CopyIntoFolder, LeavesACopyAloneThatAnotherProcessIsWriting)
{
    const std::string unfinished = ".tavolin-copy-" + std::to_string(getppid()) + "-1";
    fs::create_directory(target);
    folder.write("picks/" + unfinished, "half a pict");
    copy(folder.write("1.jpg", "picture"));
    EXPECT_EQ(namesIn(target), (Names{"1.jpg", unfinished}));
}

TEST_F(CopyIntoFolder, LeavesNamesAloneThatOnlyLookAlike)
{
    const std::string dead = std::to_string(deadProcess());
    const Names names{".tavolin-copy-",
                      ".tavolin-copy-" + dead,
                      ".tavolin-copy-" + dead + '-',
                      ".tavolin-copy-" + dead + "-x",
                      ".tavolin-copy-" + dead + "-1x",
                      ".tavolin-copy-" + dead + "x-1",
                      ".tavolin-copy--1-1",
                      ".tavolin-copy-0-1",
                      "tavolin-copy-" + dead + "-1",
                      ".tavolin-copy-99999999999999999999-1"};
    fs::create_directory(target);
    for (const std::string &name : names)
        folder.write("picks/" + name);
    const auto source = folder.write("1.jpg", "picture");
    copy(source);
    fs::remove(target / "1.jpg");
    EXPECT_EQ(namesIn(target), names);
}

} // namespace
} // namespace tavolin
