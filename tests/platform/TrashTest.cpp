#include "platform/Trash.h"

#include "logic/TemporaryFolder.h"
#include "platform/FileSystems.h"
#include "platform/Mount.h"
#include "platform/OwnHome.h"
#include "platform/Refusal.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>

#include <sys/resource.h>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace tavolin {
namespace {

namespace fs = std::filesystem;
using test::contentOf;
using test::namesIn;

class MoveToTrash : public testing::Test
{
protected:
    void SetUp() override { fs::remove_all(test::OwnHome::trash()); }

    /// Moves @p file there and fails the test where that fails.
    static void move(const fs::path &file)
    {
        const Failure failure = moveToTrash(file);
        EXPECT_FALSE(failure) << failure.value_or(QString()).toStdString();
    }

    static fs::path files() { return test::OwnHome::trash() / "files"; }

    /// What the Trash knows about the file that has @p name there.
    static std::string infoOf(const std::string &name)
    {
        return contentOf(test::OwnHome::trash() / "info" / (name + ".trashinfo"));
    }

    test::TemporaryFolder folder;
};

TEST_F(MoveToTrash, WholeFileIsThereAndNoLongerInItsPlace)
{
    const auto file = folder.write("1.jpg", "picture");
    move(file);
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(contentOf(files() / "1.jpg"), "picture");
}

TEST_F(MoveToTrash, TrashKnowsWhereTheFileBelongsAndSinceWhen)
{
    const auto file = folder.write("a b.jpg", "picture");
    move(file);
    const std::string info = infoOf("a b.jpg");
    EXPECT_TRUE(info.starts_with("[Trash Info]\nPath=" + folder.path().native() +
                                 "/a%20b.jpg\nDeletionDate=20"))
        << info;
}

TEST_F(MoveToTrash, NameThatIsNotUtf8IsKept)
{
    move(folder.write("\xff\xfe.jpg", "picture"));
    EXPECT_EQ(contentOf(files() / "\xff\xfe.jpg"), "picture");
    EXPECT_NE(infoOf("\xff\xfe.jpg").find("/%FF%FE.jpg\n"), std::string::npos);
}

TEST_F(MoveToTrash, OfASymbolicLinkTheLinkGoes)
{
    const auto target = folder.write("target.jpg", "picture");
    fs::create_symlink(target, folder / "link.jpg");
    move(folder / "link.jpg");
    EXPECT_EQ(contentOf(target), "picture");
    EXPECT_FALSE(fs::is_symlink(folder / "link.jpg"));
    EXPECT_TRUE(fs::is_symlink(files() / "link.jpg"));
}

TEST_F(MoveToTrash, FolderAboveALinkIsThatOfTheLinksTarget)
{
    fs::create_directories(folder / "card/dir");
    fs::create_directory(folder / "card/pictures");
    fs::create_directory(folder / "pictures");
    fs::create_directory_symlink("card/dir", folder / "link");
    folder.write("card/pictures/1.jpg", "on the card");
    folder.write("pictures/1.jpg", "beside the link");
    move(folder / "link/../pictures/1.jpg");
    EXPECT_EQ(contentOf(files() / "1.jpg"), "on the card");
    EXPECT_FALSE(fs::exists(folder / "card/pictures/1.jpg"));
    EXPECT_EQ(contentOf(folder / "pictures/1.jpg"), "beside the link");
}

TEST_F(MoveToTrash, FolderThatHasGoneIsReportedInWords)
{
    EXPECT_EQ(moveToTrash(folder / "absent/1.jpg"), QStringLiteral("No such file or directory"));
}

TEST_F(MoveToTrash, FilesOfTheSameNameAreBothKept)
{
    move(folder.write("1.jpg", "first"));
    move(folder.write("1.jpg", "second"));
    std::set<std::string> contents;
    for (const std::string &name : namesIn(files()))
        contents.insert(contentOf(files() / name));
    EXPECT_EQ(contents, (std::set<std::string>{"first", "second"}));
}

TEST_F(MoveToTrash, WorksFromAnyThread)
{
    const auto file = folder.write("1.jpg", "picture");
    std::jthread([&] { move(file); }).join();
    EXPECT_EQ(contentOf(files() / "1.jpg"), "picture");
}

TEST_F(MoveToTrash, FileThatHasGoneIsReportedInWords)
{
    const Failure failure = moveToTrash(folder / "1.jpg");
    ASSERT_TRUE(failure);
    EXPECT_TRUE(failure->contains(QStringLiteral("No such file"))) << failure->toStdString();
}

TEST_F(MoveToTrash, FileInAReadOnlyFolderStays)
{
    fs::create_directory(folder / "pictures");
    const auto file = folder.write("pictures/1.jpg", "picture");
    const test::ReadOnly readOnly(file.parent_path());
    const test::WithoutRoot withoutRoot;
#ifdef __SANITIZE_ADDRESS__
    // GIO forgets what it has written about a file that it then can't move.
    const __lsan::ScopedDisabler disabler;
#endif
    const Failure failure = moveToTrash(file);
    EXPECT_EQ(failure, QStringLiteral("ไม่มีสิทธิ์"));
    EXPECT_EQ(contentOf(file), "picture");
}

TEST_F(MoveToTrash, FileStaysWhereThereCanBeNoTrash)
{
    const auto mount = test::Mount::memory(folder.path(), 1 << 20);
    if (!mount.error().empty())
        GTEST_SKIP() << mount.error();
    const auto file = folder.write("1.jpg", "picture");
    EXPECT_EQ(moveToTrash(file), QStringLiteral("ดิสก์นี้ไม่มีถังขยะ"));
    EXPECT_EQ(contentOf(file), "picture");
}

TEST_F(MoveToTrash, DiskThatIsReadOnlyIsReportedAsThat)
{
    const auto mount = test::Mount::memory(folder.path(), 1 << 20);
    if (!mount.error().empty())
        GTEST_SKIP() << mount.error();
    const auto file = folder.write("1.jpg", "picture");
    const std::string command = "mount -o remount,ro " + folder.path().native();
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(moveToTrash(file), QStringLiteral("ดิสก์อ่านได้อย่างเดียว"));
    EXPECT_EQ(contentOf(file), "picture");
}

TEST_F(MoveToTrash, DiskThatIsFullIsReportedAsThat)
{
    const auto mount = test::Mount::memory(folder.path(), 1 << 20);
    if (!mount.error().empty())
        GTEST_SKIP() << mount.error();
    const auto file = folder.write("1.jpg", "picture");
    EXPECT_ANY_THROW(folder.write("2.jpg", QByteArray(2 << 20, 'x')));
    EXPECT_EQ(moveToTrash(file), QStringLiteral("พื้นที่เต็ม"));
    EXPECT_EQ(contentOf(file), "picture");
}

TEST_F(MoveToTrash, LongestNameThatCanBeRestoredIs)
{
    const std::string name(238, 'x');
    move(folder.write(name, "picture"));
    EXPECT_EQ(contentOf(files() / name), "picture");
    EXPECT_NE(infoOf(name).find("/" + name + "\n"), std::string::npos);
}

TEST_F(MoveToTrash, FileStaysWhoseNameIsTooLongToBeWrittenDown)
{
    for (const std::size_t length : {239U, 245U, 246U, 255U}) {
        const auto file = folder.write(std::string(length, 'x'), "picture");
        EXPECT_EQ(moveToTrash(file), QStringLiteral("ชื่อไฟล์ยาวเกินไป")) << length;
        EXPECT_EQ(contentOf(file), "picture") << length;
    }
    EXPECT_FALSE(fs::exists(files()) && !namesIn(files()).empty());
}

/// What moving @p file says where nothing can be written, as on a full disk.
Failure moveOnAFullDisk(const fs::path &file)
{
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    rlimit none = limit;
    none.rlim_cur = 0;
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &none);
    const Failure failure = moveToTrash(file);
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, handler);
    return failure;
}

TEST_F(MoveToTrash, FileComesBackWhosePlaceIsNotWrittenDown)
{
    const auto file = folder.write("1.jpg", "picture");
    const Failure failure = moveOnAFullDisk(file);
    ASSERT_TRUE(failure);
    // Newer versions of GIO look for themselves, and say why.
    EXPECT_TRUE(failure == QStringLiteral("ถังขยะจดที่เดิมของไฟล์ไม่ได้") ||
                failure->contains(QStringLiteral("File too large")))
        << failure->toStdString();
    EXPECT_EQ(contentOf(file), "picture");
    EXPECT_TRUE(namesIn(files()).empty());
    EXPECT_TRUE(namesIn(test::OwnHome::trash() / "info").empty());
}

TEST_F(MoveToTrash, FileComesBackWhereAFileSystemCantRenameOnlyToAFreeName)
{
    for (const int error : {EINVAL, ENOSYS}) {
        const auto file = folder.write("1.jpg", "picture");
        const test::Refusal refusal(test::Call::RenameUnlessThere, error);
        EXPECT_TRUE(moveOnAFullDisk(file));
        EXPECT_EQ(contentOf(file), "picture") << error;
        EXPECT_TRUE(namesIn(files()).empty());
    }
}

TEST_F(MoveToTrash, SecondOfALongNameComesBackOrCanBeRestored)
{
    // The Trash gives it a longer one.
    const std::string name(238, 'x');
    move(folder.write(name, "first"));
    const auto second = folder.write(name, "second");
    if (moveToTrash(second)) {
        EXPECT_EQ(contentOf(second), "second");
        EXPECT_EQ(namesIn(files()), std::set<std::string>{name});
        return;
    }
    // Newer versions of GIO find one that is short enough.
    EXPECT_FALSE(fs::exists(second));
    const auto names = namesIn(files());
    EXPECT_EQ(names.size(), 2);
    for (const std::string &each : names)
        EXPECT_NE(infoOf(each).find("/" + name + "\n"), std::string::npos) << each;
}

TEST_F(MoveToTrash, OtherFileSystemHasATrashOfItsOwn)
{
    const auto image = folder / "image";
    fs::create_directory(folder / "disk");
    const std::string command = "mkfs.ext4 -q " + image.native() + " 4M >/dev/null 2>&1 </dev/null";
    if (std::system(command.c_str()) != 0)
        GTEST_SKIP() << "no file system can be made: " << command;
    const auto mount = test::Mount::image(image, folder / "disk");
    if (!mount.error().empty())
        GTEST_SKIP() << mount.error();
    fs::create_directory(folder / "disk" / "pictures");
    const auto file = folder.write("disk/pictures/1.jpg", "picture");
    move(file);
    EXPECT_FALSE(fs::exists(file));
    const auto trash = folder / "disk" / (".Trash-" + std::to_string(getuid()));
    EXPECT_EQ(contentOf(trash / "files" / "1.jpg"), "picture");
    EXPECT_NE(contentOf(trash / "info" / "1.jpg.trashinfo").find("Path=pictures/1.jpg\n"),
              std::string::npos);
}

} // namespace
} // namespace tavolin
