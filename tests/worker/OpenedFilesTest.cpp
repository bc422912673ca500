#include "worker/client/OpenedFiles.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stop_token>
#include <string>

#include <sys/stat.h>

namespace tavolin::worker {
namespace {

namespace fs = std::filesystem;

class OpenedFilesTest : public testing::Test
{
protected:
    [[nodiscard]] fs::path write(const fs::path &name, std::size_t bytes) const
    {
        const fs::path path = fs::path(m_folder.path().toStdString()) / name;
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << std::string(bytes, 'x');
        return path;
    }

    OpenedFiles files;

private:
    QTemporaryDir m_folder;
};

TEST_F(OpenedFilesTest, FileThatWasReadAheadStaysOpen)
{
    const fs::path path = write("a/1.jpg", 1'000'000);
    EXPECT_EQ(files.readAhead(path, 1 << 30, {}), 1'000'000);
    const auto first = files.open(path);
    ASSERT_TRUE(first);
    EXPECT_EQ(files.open(path), first);
    EXPECT_EQ(first->size, 1'000'000);
}

TEST_F(OpenedFilesTest, FileThatWasNotIsOpenedEachTime)
{
    const fs::path path = write("a/1.jpg", 10);
    const auto first = files.open(path);
    ASSERT_TRUE(first);
    EXPECT_NE(files.open(path), first);
}

TEST_F(OpenedFilesTest, NoMoreIsReadThanWasAskedFor)
{
    EXPECT_EQ(files.readAhead(write("a/1.jpg", 1'000'000), 600'000, {}), 600'000);
}

TEST_F(OpenedFilesTest, NothingIsReadOnceStopped)
{
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(files.readAhead(write("a/1.jpg", 1'000'000), 1 << 30, stop.get_token()), 0);
}

TEST_F(OpenedFilesTest, WhatCannotBeOpenedIsNothing)
{
    const fs::path path = write("a/1.jpg", 10).replace_filename("none.jpg");
    EXPECT_EQ(files.readAhead(path, 1 << 30, {}), 0);
    EXPECT_FALSE(files.open(path));
}

TEST_F(OpenedFilesTest, AnotherFileInItsPlaceIsTheOneThatIsOpened)
{
    const fs::path path = write("a/1.jpg", 1000);
    ASSERT_EQ(files.readAhead(path, 1 << 30, {}), 1000);
    fs::rename(write("a/2.jpg", 1000), path); // as large as it was
    const auto opened = files.open(path);
    ASSERT_TRUE(opened);
    struct stat there
    {};
    struct stat found
    {};
    ASSERT_EQ(stat(path.c_str(), &there), 0);
    ASSERT_EQ(fstat(opened->descriptor.get(), &found), 0);
    EXPECT_EQ(found.st_ino, there.st_ino);
}

TEST_F(OpenedFilesTest, FileThatHasGrownIsOpenedAnew)
{
    const fs::path path = write("a/1.jpg", 1000);
    ASSERT_EQ(files.readAhead(path, 1 << 30, {}), 1000);
    std::ofstream(path, std::ios::app) << "more";
    const auto opened = files.open(path);
    ASSERT_TRUE(opened);
    EXPECT_EQ(opened->size, 1004);
}

TEST_F(OpenedFilesTest, FileThatHasGoneIsNotThereAnyMore)
{
    const fs::path path = write("a/1.jpg", 1000);
    ASSERT_EQ(files.readAhead(path, 1 << 30, {}), 1000);
    fs::remove(path);
    EXPECT_FALSE(files.open(path));
}

TEST_F(OpenedFilesTest, AnotherFoldersFileClosesThem)
{
    const fs::path path = write("a/1.jpg", 1000);
    ASSERT_EQ(files.readAhead(path, 1 << 30, {}), 1000);
    const auto kept = files.open(path);
    ASSERT_TRUE(files.open(write("b/1.jpg", 10)));
    EXPECT_NE(files.open(path), kept);
}

} // namespace
} // namespace tavolin::worker
