#include "decoding/SourceFile.h"

#include "platform/RegularFile.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <array>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tavolin {

namespace {

/// A folder of its own for each test, with one file of ten bytes.
class SourceFileOnDisk : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_directory.isValid());
        QFile file(m_directory.filePath(QStringLiteral("ten")));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write("0123456789"), 10);
    }

    [[nodiscard]] std::filesystem::path path(const char *name) const
    {
        return std::filesystem::path(m_directory.path().toStdString()) / name;
    }

private:
    QTemporaryDir m_directory;
};

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

QByteArray readAt(const SourceFile &file, std::int64_t offset, std::size_t count)
{
    std::array<std::byte, 64> buffer{};
    const std::size_t done = file.readAt(offset, std::span(buffer).first(count));
    return {reinterpret_cast<const char *>(buffer.data()), static_cast<qsizetype>(done)};
}

TEST_F(SourceFileOnDisk, ReadsByPosition)
{
    const auto file = SourceFile::open(path("ten"));
    ASSERT_TRUE(file);
    EXPECT_EQ(file->size(), 10);
    EXPECT_EQ(readAt(*file, 3, 4), "3456");
    EXPECT_EQ(readAt(*file, 0, 2), "01");
    EXPECT_EQ(file->bytesAt(2, 3), "234");
}

TEST_F(SourceFileOnDisk, GivesFewerBytesAtTheEndAndNoneBeyond)
{
    const auto file = SourceFile::open(path("ten"));
    ASSERT_TRUE(file);
    EXPECT_EQ(readAt(*file, 8, 10), "89");
    EXPECT_EQ(readAt(*file, 10, 1), "");
    EXPECT_EQ(readAt(*file, INT64_MAX, 1), "");
    EXPECT_EQ(readAt(*file, -1, 1), "");
    EXPECT_EQ(file->bytesAt(8, INT64_MAX), "89");
    EXPECT_EQ(file->bytesAt(10, 1), "");
    EXPECT_EQ(file->bytesAt(-1, 5), "");
    EXPECT_EQ(file->bytesAt(3, -1), "");
}

TEST_F(SourceFileOnDisk, GivesWhatIsLeftOfAFileThatShrank)
{
    const auto file = SourceFile::open(path("ten"));
    ASSERT_TRUE(file);
    ASSERT_EQ(truncate(path("ten").c_str(), 4), 0);
    EXPECT_EQ(readAt(*file, 2, 8), "23");
    EXPECT_EQ(file->bytesAt(2, 8), "23");
    EXPECT_EQ(file->bytesAt(5, 2), "");
}

TEST_F(SourceFileOnDisk, PartReadsOnlyItsOwnBytes)
{
    const auto file = SourceFile::open(path("ten"));
    ASSERT_TRUE(file);
    const SourceFile part = file->part(3, 4);
    EXPECT_EQ(part.size(), 4);
    EXPECT_EQ(readAt(part, 0, 10), "3456");
    EXPECT_EQ(readAt(part, 2, 10), "56");
    EXPECT_EQ(readAt(part, 4, 1), "");
    EXPECT_EQ(readAt(part, -1, 2), "");
    EXPECT_EQ(part.bytesAt(1, 2), "45");
    EXPECT_EQ(part.part(1, 2).bytesAt(0, 9), "45");
}

TEST_F(SourceFileOnDisk, PartEndsWithItsFile)
{
    const auto file = SourceFile::open(path("ten"));
    ASSERT_TRUE(file);
    EXPECT_EQ(file->part(8, INT64_MAX).bytesAt(0, 9), "89");
    for (const auto &[offset, count] :
         {std::pair<std::int64_t, std::int64_t>{10, 1}, {INT64_MAX, 1}, {-1, 3}, {2, 0}, {2, -1}})
        EXPECT_EQ(file->part(offset, count).size(), 0) << offset << " " << count;
}

TEST(SourceFile, PartOfBytesIsMovable)
{
    const SourceFile file = SourceFile::fromBytes("0123456789");
    SourceFile part = file.part(0, 1);
    part = file.part(4, 3);
    const SourceFile moved = std::move(part);
    EXPECT_EQ(moved.bytesAt(0, 9), "456");
}

TEST(SourceFile, PartStopsWithItsFile)
{
    std::stop_source stop;
    const SourceFile file = SourceFile::fromBytes("0123456789", stop.get_token());
    const SourceFile part = file.part(4, 3);
    stop.request_stop();
    EXPECT_TRUE(part.stopToken().stop_requested());
    EXPECT_EQ(part.bytesAt(0, 3), "");
}

TEST_F(SourceFileOnDisk, FollowsALinkToAFile)
{
    ASSERT_EQ(symlink(path("ten").c_str(), path("link").c_str()), 0);
    EXPECT_TRUE(SourceFile::open(path("link")));
}

TEST_F(SourceFileOnDisk, RefusesWhatIsNoFile)
{
    ASSERT_EQ(symlink("nowhere", path("dangling").c_str()), 0);
    ASSERT_EQ(symlink("loop", path("loop").c_str()), 0);
    EXPECT_FALSE(SourceFile::open(path("missing")));
    EXPECT_FALSE(SourceFile::open(path("dangling")));
    EXPECT_FALSE(SourceFile::open(path("loop")));
    EXPECT_FALSE(SourceFile::open(path("")));
    EXPECT_FALSE(SourceFile::open("/dev/zero"));
}

TEST_F(SourceFileOnDisk, RefusesAFifoWithoutWaitingForAWriter)
{
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    ASSERT_EQ(symlink("fifo", path("link").c_str()), 0);
    EXPECT_FALSE(SourceFile::open(path("fifo")));
    EXPECT_FALSE(SourceFile::open(path("link")));
}

TEST_F(SourceFileOnDisk, ClosesWhatItRefuses)
{
    const int descriptor = nextDescriptor();
    EXPECT_FALSE(SourceFile::open(path("")));
    EXPECT_FALSE(isOpen(descriptor));
}

TEST_F(SourceFileOnDisk, RefusesAFileAboveTheLimit)
{
    ASSERT_EQ(truncate(path("ten").c_str(), SourceFile::MAX_BYTES), 0);
    EXPECT_TRUE(SourceFile::open(path("ten")));
    ASSERT_EQ(truncate(path("ten").c_str(), SourceFile::MAX_BYTES + 1), 0);
    EXPECT_FALSE(SourceFile::open(path("ten")));
}

TEST_F(SourceFileOnDisk, IsClosedOnceHoweverOftenItMoves)
{
    const int descriptor = nextDescriptor();
    {
        auto first = SourceFile::open(path("ten"));
        ASSERT_TRUE(first);
        auto second = std::make_optional(std::move(*first));
        first.reset();
        EXPECT_TRUE(isOpen(descriptor));
        SourceFile third = SourceFile::fromBytes("x");
        third = std::move(*second);
        second.reset();
        EXPECT_TRUE(isOpen(descriptor));
        EXPECT_EQ(readAt(third, 0, 3), "012");
    }
    EXPECT_FALSE(isOpen(descriptor));
}

TEST_F(SourceFileOnDisk, ServesADescriptorUpToTheSizeThatIsTold)
{
    auto opened = openRegularFile(path("ten"));
    ASSERT_TRUE(opened);
    std::stop_source stop;
    const int descriptor = opened->descriptor.get();
    {
        const auto file =
            SourceFile::fromDescriptor(std::move(opened->descriptor), 8, stop.get_token());
        ASSERT_TRUE(file);
        EXPECT_EQ(file->size(), 8);
        EXPECT_EQ(readAt(*file, 3, 10), "34567");
        stop.request_stop();
        EXPECT_EQ(readAt(*file, 3, 10), "");
    }
    EXPECT_FALSE(isOpen(descriptor));
}

TEST_F(SourceFileOnDisk, RefusesDescriptorsWithImpossibleSizesAndNone)
{
    for (const std::int64_t size : {SourceFile::MAX_BYTES + 1, std::int64_t{-1}}) {
        auto opened = openRegularFile(path("ten"));
        ASSERT_TRUE(opened);
        const int descriptor = opened->descriptor.get();
        EXPECT_FALSE(SourceFile::fromDescriptor(std::move(opened->descriptor), size)) << size;
        EXPECT_FALSE(isOpen(descriptor));
    }
    EXPECT_TRUE(SourceFile::fromDescriptor(std::move(openRegularFile(path("ten"))->descriptor),
                                           SourceFile::MAX_BYTES));
    EXPECT_FALSE(SourceFile::fromDescriptor(Descriptor(-1), 10));
}

TEST_F(SourceFileOnDisk, IsNotPassedOnToPrograms)
{
    const int descriptor = nextDescriptor();
    const auto file = SourceFile::open(path("ten"));
    ASSERT_TRUE(file);
    EXPECT_TRUE((fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0);
}

TEST_F(SourceFileOnDisk, GivesNothingAfterAStopRequest)
{
    std::stop_source stop;
    const auto file = SourceFile::open(path("ten"), stop.get_token());
    ASSERT_TRUE(file);
    EXPECT_EQ(readAt(*file, 0, 3), "012");
    stop.request_stop();
    EXPECT_EQ(readAt(*file, 0, 3), "");
    EXPECT_EQ(file->bytesAt(0, 3), "");
    EXPECT_TRUE(file->stopToken().stop_requested());
}

TEST(SourceFileFromBytes, ServesThemAsAFileWould)
{
    std::stop_source stop;
    const SourceFile file = SourceFile::fromBytes("0123456789", stop.get_token());
    EXPECT_EQ(file.size(), 10);
    EXPECT_EQ(readAt(file, 8, 10), "89");
    EXPECT_EQ(readAt(file, 10, 1), "");
    EXPECT_EQ(readAt(file, -1, 1), "");
    EXPECT_EQ(file.bytesAt(2, 3), "234");
    stop.request_stop();
    EXPECT_EQ(readAt(file, 0, 1), "");
}

} // namespace

} // namespace tavolin
