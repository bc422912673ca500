#include "platform/FileCopy.h"

#include "logic/TemporaryFolder.h"
#include "platform/FileSystems.h"
#include "platform/Mount.h"
#include "platform/Refusal.h"
#include "platform/Syncs.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <ostream>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sched.h>
#include <sys/inotify.h>
#include <sys/mount.h>
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

/// What the name of an unfinished copy has before the number of the process, as seen at one.
std::string unfinishedPrefix()
{
    const test::TemporaryFolder folder;
    const auto source = folder.write("1.jpg", "picture");
    fs::create_directory(folder / "picks");
    const int watch = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    inotify_add_watch(watch, (folder / "picks").c_str(), IN_CREATE);
    const Failure failure = copyIntoFolder(source, folder / "picks");
    alignas(inotify_event) char events[4096]{};
    const auto size = read(watch, events, sizeof events);
    close(watch);
    const std::string name = reinterpret_cast<const inotify_event *>(events)->name;
    const auto number = name.find('-' + std::to_string(getpid()) + '-');
    if (failure || size <= 0 || number == std::string::npos)
        throw std::runtime_error("no unfinished copy is seen");
    return name.substr(0, number + 1);
}

/// Makes processes that are started from now on be numbered anew, as in a container. False when
/// there is no right to.
bool beginNumberingAnew()
{
    return unshare(CLONE_NEWPID) == 0;
}

/// Makes this look like another machine to this process. False when there is no right to.
bool changeMachine()
{
    if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return false;
    const test::TemporaryFolder folder;
    const auto identity = folder.write("machine-id", "0123456789abcdef0123456789abcdef\n");
    bool isChanged = false;
    for (const char *place : {"/var/lib/dbus/machine-id", "/etc/machine-id"})
        isChanged |= mount(identity.c_str(), place, nullptr, MS_BIND, nullptr) == 0;
    return isChanged;
}

/// Runs @p work in a process that comes after @p move. Empty when that fails.
template <typename Work>
std::optional<bool> runAfter(bool (*move)(), Work work)
{
    constexpr int NO_RIGHT = 2;
    const auto statusOf = [](pid_t process) {
        int status = 0;
        waitpid(process, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
    };
    const pid_t parent = fork();
    if (parent == 0) {
        if (!move())
            _exit(NO_RIGHT);
        const pid_t child = fork();
        _exit(child == 0 ? work() ? 0 : 1 : statusOf(child));
    }
    const int status = statusOf(parent);
    return status == NO_RIGHT ? std::nullopt : std::optional(status == 0);
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
    EXPECT_EQ(copyIntoFolder(source, source.parent_path() / "picks"), QStringLiteral("ไม่มีสิทธิ์"));
    EXPECT_EQ(namesIn(source.parent_path()), Names{"1.jpg"});
}

TEST_F(CopyIntoFolder, FolderThatMayNotBeListedTakesIt)
{
    const auto source = folder.write("1.jpg", "picture");
    fs::create_directory(target);
    fs::permissions(folder.path(), fs::perms(0755));
    fs::permissions(target, fs::perms(0333));
    {
        const test::WithoutRoot withoutRoot;
        copy(source);
        copy(source);
    }
    fs::permissions(target, fs::perms(0755));
    EXPECT_EQ(namesIn(target), Names{"1.jpg"});
}

TEST_F(CopyIntoFolder, SourceThatMayNotBeReadLeavesAnEarlierCopyAlone)
{
    const auto source = folder.write("1.jpg", "picture");
    makeEarlierCopy();
    fs::permissions(folder.path(), fs::perms(0755));
    fs::permissions(source, fs::perms::none);
    fs::permissions(target, fs::perms::all);
    const test::WithoutRoot withoutRoot;
    EXPECT_EQ(copyIntoFolder(source, target), QStringLiteral("ไม่มีสิทธิ์"));
    expectEarlierCopyAlone();
}

TEST_F(CopyIntoFolder, FullFileSystemLeavesAnEarlierCopyAlone)
{
    fs::create_directory(target);
    const auto mount = test::Mount::memory(target, 1 << 20);
    if (!mount.error().empty())
        GTEST_SKIP() << mount.error();
    makeEarlierCopy();
    EXPECT_EQ(copyIntoFolder(folder.write("1.jpg", randomBytes(2 << 20)), target),
              QStringLiteral("พื้นที่เต็ม"));
    expectEarlierCopyAlone();
}

/// Adds something to @p file.
void append(const fs::path &file)
{
    std::ofstream(file, std::ios::binary | std::ios::app) << "more";
}

TEST_F(CopyIntoFolder, SourceThatGrowsMeanwhileIsCopiedAgain)
{
    const auto source = folder.write("1.jpg", "half a pict");
    bool hasGrown = false;
    EXPECT_EQ(copyIntoFolder(source, target,
                             [&] {
                                 if (!std::exchange(hasGrown, true))
                                     append(source);
                             }),
              Failure());
    EXPECT_EQ(contentOf(target / "1.jpg"), "half a pictmore");
    EXPECT_EQ(namesIn(target), Names{"1.jpg"});
}

TEST_F(CopyIntoFolder, SourceThatIsWrittenToAtTheSameLengthIsCopiedAgain)
{
    const auto source = folder.write("1.jpg", "old");
    fs::last_write_time(source, fs::file_time_type::clock::now() - std::chrono::hours(1));
    bool hasChanged = false;
    EXPECT_EQ(copyIntoFolder(source, target,
                             [&] {
                                 if (!std::exchange(hasChanged, true))
                                     folder.write("1.jpg", "new");
                             }),
              Failure());
    EXPECT_EQ(contentOf(target / "1.jpg"), "new");
}

TEST_F(CopyIntoFolder, SourceThatIsWrittenToAndGivenItsTimeBackIsCopiedAgain)
{
    const auto source = folder.write("1.jpg", "old");
    const auto time = fs::last_write_time(source);
    bool hasChanged = false;
    EXPECT_EQ(copyIntoFolder(source, target,
                             [&] {
                                 if (std::exchange(hasChanged, true))
                                     return;
                                 folder.write("1.jpg", "new");
                                 fs::last_write_time(source, time);
                             }),
              Failure());
    EXPECT_EQ(contentOf(target / "1.jpg"), "new");
}

TEST_F(CopyIntoFolder, FileSystemThatCopiesNothingAndSaysSoIsNotBelieved)
{
    const test::Refusal nothing(test::Call::CopyRange, 0);
    copy(folder.write("1.jpg", "picture"));
    EXPECT_EQ(contentOf(target / "1.jpg"), "picture");
}

TEST_F(CopyIntoFolder, SourceThatGoesOnGrowingIsRefused)
{
    const auto source = folder.write("1.jpg", "half a pict");
    makeEarlierCopy();
    EXPECT_EQ(copyIntoFolder(source, target, [&] { append(source); }),
              QStringLiteral("ต้นฉบับกำลังถูกเขียนอยู่"));
    expectEarlierCopyAlone();
}

TEST_F(CopyIntoFolder, DiskHasTheNameAndTheFoldersThatWereMade)
{
    const auto source = folder.write("1.jpg", "picture");
    target = folder / "a" / "picks";
    const test::Syncs syncs(target / "1.jpg");
    copy(source);
    EXPECT_TRUE(syncs.has(folder.path()));
    EXPECT_TRUE(syncs.has(folder / "a"));
    EXPECT_TRUE(syncs.hasPlaced(target));
}

TEST_F(CopyIntoFolder, IsDoneWhereAFileSystemCantTellWhatTheDiskHas)
{
    const auto source = folder.write("1.jpg", "picture");
    for (const int error : {EINVAL, ENOSYS, ENOTSUP, EPERM}) {
        const test::Refusal refusal(test::Call::SyncFile, error);
        EXPECT_EQ(copyIntoFolder(source, target), Failure()) << error;
    }
    for (const int error : {EINVAL, ENOSYS, ENOTSUP, EPERM, EACCES, EBADF}) {
        const test::Refusal refusal(test::Call::SyncFolder, error);
        EXPECT_EQ(copyIntoFolder(source, folder / std::to_string(error)), Failure()) << error;
    }
}

TEST_F(CopyIntoFolder, FailsWhereTheDiskDoesNotTakeIt)
{
    const auto source = folder.write("1.jpg", "picture");
    for (const int error : {EIO, ENOSPC, EDQUOT})
        for (const test::Call call : {test::Call::SyncFile, test::Call::SyncFolder}) {
            const test::Refusal refusal(call, error);
            EXPECT_NE(copyIntoFolder(source, target), Failure()) << error;
        }
}

TEST_F(CopyIntoFolder, GoesIntoTheFolderThatWasLookedAt)
{
    const auto source = folder.write("1.jpg", "picture");
    fs::create_directory(folder / "originals");
    folder.write("originals/1.jpg", "somebody's");
    bool isSwapped = false;
    EXPECT_EQ(copyIntoFolder(source, target,
                             [&] {
                                 if (std::exchange(isSwapped, true))
                                     return;
                                 fs::rename(target, folder / "moved");
                                 fs::create_directory_symlink("originals", target);
                             }),
              Failure());
    EXPECT_EQ(contentOf(folder / "originals/1.jpg"), "somebody's");
    EXPECT_EQ(contentOf(folder / "moved/1.jpg"), "picture");
}

/// A folder of pictures in which the one for picks is a link to somebody's originals.
class CopyThatLeadsOut : public CopyIntoFolder
{
protected:
    CopyThatLeadsOut()
    {
        fs::create_directory(folder / "pictures");
        fs::create_directory(folder / "originals");
        target = folder / "pictures/picks";
        fs::create_directory_symlink("../originals", target);
    }

    /// What a copy over another file ends with.
    const QString refusal = QStringLiteral("มีไฟล์อื่นชื่อนี้อยู่แล้ว");
};

TEST_F(CopyThatLeadsOut, IsMadeWhereNothingHasItsName)
{
    copy(folder.write("pictures/1.jpg", "picture"));
    EXPECT_EQ(contentOf(folder / "originals/1.jpg"), "picture");
}

TEST_F(CopyThatLeadsOut, ReplacesNoOtherFile)
{
    folder.write("originals/1.jpg", "another");
    EXPECT_EQ(copyIntoFolder(folder.write("pictures/1.jpg", "picture"), target), refusal);
    EXPECT_EQ(contentOf(folder / "originals/1.jpg"), "another");
}

TEST_F(CopyThatLeadsOut, ReplacesNoOtherFileOfTheSameLength)
{
    const QByteArray content = randomBytes(1'500'000);
    QByteArray other = content;
    other.back() = static_cast<char>(other.back() + 1);
    folder.write("originals/1.jpg", other);
    EXPECT_EQ(copyIntoFolder(folder.write("pictures/1.jpg", content), target), refusal);
    EXPECT_TRUE(contentOf(folder / "originals/1.jpg") == other.toStdString());
}

TEST_F(CopyThatLeadsOut, IsDoneWhereTheSameIsThere)
{
    folder.write("originals/1.jpg", "picture");
    copy(folder.write("pictures/1.jpg", "picture"));
    EXPECT_EQ(contentOf(folder / "originals/1.jpg"), "picture");
}

TEST_F(CopyThatLeadsOut, TellsThatItGetsOnWhileItCompares)
{
    const QByteArray content = randomBytes(2'500'000);
    folder.write("originals/1.jpg", content);
    int told = 0;
    EXPECT_EQ(copyIntoFolder(folder.write("pictures/1.jpg", content), target, [&] { ++told; }),
              Failure());
    EXPECT_GE(told, 3);
}

TEST_F(CopyThatLeadsOut, ReplacesNoLink)
{
    fs::create_symlink("elsewhere.jpg", folder / "originals/1.jpg");
    EXPECT_EQ(copyIntoFolder(folder.write("pictures/1.jpg", "picture"), target), refusal);
    EXPECT_TRUE(fs::is_symlink(folder / "originals/1.jpg"));
}

TEST_F(CopyThatLeadsOut, ReplacesNoFileThatAppearsMeanwhile)
{
    EXPECT_EQ(copyIntoFolder(folder.write("pictures/1.jpg", "picture"), target,
                             [&] { folder.write("originals/1.jpg", "another"); }),
              refusal);
    EXPECT_EQ(contentOf(folder / "originals/1.jpg"), "another");
    EXPECT_EQ(namesIn(folder / "originals"), Names{"1.jpg"});
}

TEST_F(CopyThatLeadsOut, ReplacesNoFileWhereAFileSystemCantRenameOnlyToAFreeName)
{
    const test::Refusal refused(test::Call::RenameUnlessThere, EINVAL);
    copy(folder.write("pictures/1.jpg", "picture"));
    EXPECT_EQ(contentOf(folder / "originals/1.jpg"), "picture");
    EXPECT_EQ(copyIntoFolder(folder.write("pictures/2.jpg", "picture"), target,
                             [&] { folder.write("originals/2.jpg", "another"); }),
              refusal);
    EXPECT_EQ(contentOf(folder / "originals/2.jpg"), "another");
}

TEST_F(CopyThatLeadsOut, IsNoneThroughALinkWithinTheFolder)
{
    fs::remove(target);
    fs::create_directories(folder / "pictures/deep/below");
    fs::create_directory_symlink("deep/below", target);
    folder.write("pictures/deep/below/1.jpg", "an earlier copy");
    copy(folder.write("pictures/1.jpg", "picture"));
    EXPECT_EQ(contentOf(target / "1.jpg"), "picture");
}

class CopyBesideUnfinishedOnes : public CopyIntoFolder
{
protected:
    const std::string prefix = unfinishedPrefix();
};

TEST_F(CopyBesideUnfinishedOnes, ClearsAwayWhatAKilledCopyHasLeft)
{
    fs::create_directory(target);
    folder.write("picks/" + prefix + std::to_string(deadProcess()) + "-1", "half a pict");
    copy(folder.write("1.jpg", "picture"));
    EXPECT_EQ(namesIn(target), Names{"1.jpg"});
}

TEST_F(CopyBesideUnfinishedOnes, ClearsAwayWhatAProcessWithItsOwnNumberHasLeft)
{
    fs::create_directory(target);
    folder.write("picks/" + prefix + std::to_string(getpid()) + "-4294967295", "half a pict");
    copy(folder.write("1.jpg", "picture"));
    EXPECT_EQ(namesIn(target), Names{"1.jpg"});
}

TEST_F(CopyBesideUnfinishedOnes, LeavesACopyAloneThatThisProcessIsWriting)
{
    const auto large = folder.write("1.jpg", randomBytes(1'000'000));
    const auto small = folder.write("2.jpg", "picture");
    int begun = 0;
    const Failure failure = copyIntoFolder(large, target, [&] {
        if (++begun == 1)
            copy(small);
    });
    EXPECT_GT(begun, 0);
    EXPECT_FALSE(failure) << failure.value_or(QString()).toStdString();
    EXPECT_EQ(namesIn(target), (Names{"1.jpg", "2.jpg"}));
    EXPECT_TRUE(contentOf(target / "1.jpg") == contentOf(large));
}

TEST_F(CopyBesideUnfinishedOnes, LeavesACopyAloneThatAnotherProcessIsWriting)
{
    const std::string unfinished = prefix + std::to_string(getppid()) + "-1";
    fs::create_directory(target);
    folder.write("picks/" + unfinished, "half a pict");
    copy(folder.write("1.jpg", "picture"));
    EXPECT_EQ(namesIn(target), (Names{"1.jpg", unfinished}));
}

TEST_F(CopyBesideUnfinishedOnes, LeavesACopyAloneThatIsWrittenElsewhere)
{
    std::string foreign = prefix;
    char &digit = foreign[foreign.size() - 2];
    digit = digit == '0' ? '1' : '0';
    const Names unfinished{foreign + std::to_string(deadProcess()) + "-1",
                           foreign + std::to_string(getpid()) + "-1"};
    fs::create_directory(target);
    for (const std::string &name : unfinished)
        folder.write("picks/" + name, "half a pict");
    copy(folder.write("1.jpg", "picture"));
    fs::remove(target / "1.jpg");
    EXPECT_EQ(namesIn(target), unfinished);
}

struct PlaceCase
{
    const char *name;
    bool (*move)(); ///< Leads there.
};

void PrintTo(const PlaceCase &item, std::ostream *out)
{
    *out << item.name;
}

class CopyMadeElsewhere : public CopyBesideUnfinishedOnes,
                          public testing::WithParamInterface<PlaceCase>
{};

TEST_P(CopyMadeElsewhere, LeavesACopyAloneThatIsWrittenHere)
{
    // Of a process that is not to be found there.
    const std::string unfinished = prefix + std::to_string(deadProcess()) + "-1";
    fs::create_directory(target);
    folder.write("picks/" + unfinished, "half a pict");
    const auto source = folder.write("1.jpg", "picture");
    const auto isCopied =
        runAfter(GetParam().move, [&] { return !copyIntoFolder(source, target); });
    if (!isCopied)
        GTEST_SKIP() << "no right to pretend that it is another place";
    EXPECT_TRUE(*isCopied);
    EXPECT_EQ(namesIn(target), (Names{"1.jpg", unfinished}));
}

INSTANTIATE_TEST_SUITE_P(Places, CopyMadeElsewhere,
                         testing::Values(PlaceCase{"anotherContainer", beginNumberingAnew},
                                         PlaceCase{"anotherMachine", changeMachine}),
                         [](const auto &item) { return item.param.name; });

TEST_F(CopyBesideUnfinishedOnes, LeavesNamesAloneThatOnlyLookAlike)
{
    const std::string dead = std::to_string(deadProcess());
    const Names names{prefix,
                      prefix + dead,
                      prefix + dead + '-',
                      prefix + dead + "-x",
                      prefix + dead + "-1x",
                      prefix + dead + "x-1",
                      prefix + "-1-1",
                      prefix + "0-1",
                      prefix.substr(1) + dead + "-1",
                      ".tavolin-copy-" + dead + "-1",
                      prefix + "99999999999999999999-1"};
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
