#include "platform/RegularFile.h"

#include "logic/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>

namespace tavolin {

namespace {

using test::TemporaryFolder;

bool isOpen(int descriptor)
{
    return fcntl(descriptor, F_GETFD) != -1;
}

/// The descriptor that the next open() gets.
int nextDescriptor()
{
    const int descriptor = dup(STDERR_FILENO);
    close(descriptor);
    return descriptor;
}

std::string contentOf(const Descriptor &descriptor)
{
    std::array<char, 64> buffer{};
    const ssize_t count = read(descriptor.get(), buffer.data(), buffer.size());
    return {buffer.data(), static_cast<std::size_t>(count)};
}

TEST(OpenRegularFile, GivesAFileWithItsSize)
{
    const TemporaryFolder folder;
    const auto file = openRegularFile(folder.write("ten", "0123456789"));
    ASSERT_TRUE(file);
    EXPECT_EQ(file->size, 10);
    EXPECT_EQ(contentOf(file->descriptor), "0123456789");
}

TEST(OpenRegularFile, KnowsSizesThatTake33Bits)
{
    const TemporaryFolder folder;
    const auto path = folder.write("large");
    std::filesystem::resize_file(path, std::uintmax_t{5} << 30);
    const auto file = openRegularFile(path);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->size, std::int64_t{5} << 30);
}

TEST(OpenRegularFile, FollowsALinkToAFile)
{
    const TemporaryFolder folder;
    folder.write("ten", "0123456789");
    std::filesystem::create_symlink("ten", folder / "link");
    EXPECT_TRUE(openRegularFile(folder / "link"));
}

TEST(OpenRegularFile, RefusesWhatIsNoFileWithoutWaiting)
{
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    std::filesystem::create_symlink("nowhere", folder / "dangling");
    for (const auto &path : {folder / "missing", folder / "dangling", folder / "fifo",
                             folder.path(), std::filesystem::path("/dev/zero")})
        EXPECT_FALSE(openRegularFile(path)) << path;
}

TEST(OpenRegularFile, ClosesWhatItRefuses)
{
    const TemporaryFolder folder;
    const int descriptor = nextDescriptor();
    EXPECT_FALSE(openRegularFile(folder.path()));
    EXPECT_FALSE(isOpen(descriptor));
}

TEST(OpenRegularFile, IsNotPassedOnToPrograms)
{
    const TemporaryFolder folder;
    const auto file = openRegularFile(folder.write("ten", "0123456789"));
    ASSERT_TRUE(file);
    EXPECT_TRUE((fcntl(file->descriptor.get(), F_GETFD) & FD_CLOEXEC) != 0);
}

TEST(Descriptor, IsClosedOnceHoweverOftenItMoves)
{
    const int number = dup(STDERR_FILENO);
    const int replaced = dup(STDERR_FILENO);
    {
        Descriptor third(replaced);
        {
            Descriptor first(number);
            Descriptor second(std::move(first));
            third = std::move(second);
        }
        EXPECT_TRUE(isOpen(number));
        EXPECT_FALSE(isOpen(replaced));
        EXPECT_EQ(third.get(), number);
    }
    EXPECT_FALSE(isOpen(number));
}

} // namespace

} // namespace tavolin
