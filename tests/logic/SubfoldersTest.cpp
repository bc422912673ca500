#include "browse/Subfolders.h"

#include "logic/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <system_error>
#include <vector>

namespace tavolin {

namespace fs = std::filesystem;
using test::TemporaryFolder;
using Names = std::vector<std::string>;

namespace {

TEST(ListSubfolders, AreInDisplayOrderWithoutFilesAndHiddenOnes)
{
    const TemporaryFolder folder;
    folder.write("a.jpg");
    for (const char *name : {"day 10", "day 2", "Day 1", ".cache", "\xff"})
        fs::create_directory(folder / name);
    const auto found = listSubfolders(folder.path());
    ASSERT_TRUE(found);
    EXPECT_FALSE(found->error);
    EXPECT_EQ(found->names, (Names{"Day 1", "day 2", "day 10", "\xff"}));
    EXPECT_EQ(found->links, Names());
}

TEST(ListSubfolders, HiddenFolderIsListedLikeAnyOther)
{
    const TemporaryFolder folder;
    fs::create_directories(folder / ".hidden/inner");
    EXPECT_EQ(listSubfolders(folder / ".hidden")->names, Names{"inner"});
}

TEST(ListSubfolders, NobodyLooksBehindLinks)
{
    const TemporaryFolder folder;
    fs::create_directory(folder / "real");
    fs::create_directory_symlink("real", folder / "link");
    const auto found = listSubfolders(folder.path());
    EXPECT_EQ(found->names, Names{"real"});
    EXPECT_EQ(found->links, Names{"link"});
}

TEST(ListSubfolders, SayWhyThereAreNone)
{
    const TemporaryFolder folder;
    EXPECT_EQ(listSubfolders(folder / "absent")->error, std::errc::no_such_file_or_directory);
    EXPECT_EQ(listSubfolders(folder.write("file"))->error, std::errc::not_a_directory);
}

TEST(ListSubfolders, AreNothingOnceTheyAreNotWanted)
{
    const TemporaryFolder folder;
    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(listSubfolders(folder.path(), stop.get_token()));
    EXPECT_FALSE(withLinks(folder.path(), {.links = {"link"}}, stop.get_token()));
}

TEST(WithLinks, ThoseToFoldersTakeTheirPlaceInTheOrder)
{
    const TemporaryFolder folder;
    for (const char *name : {"a", "c"})
        fs::create_directory(folder / name);
    const auto file = folder.write("file.jpg");
    fs::create_directory_symlink("c", folder / "b");
    fs::create_symlink(file, folder / "d");
    fs::create_symlink("nowhere", folder / "e");
    const auto all = withLinks(folder.path(), *listSubfolders(folder.path()));
    ASSERT_TRUE(all);
    EXPECT_EQ(all->names, (Names{"a", "b", "c"}));
    EXPECT_EQ(all->links, Names());
}

} // namespace
} // namespace tavolin
