#include "decoding/TiffReader.h"

#include "FileBytes.h"

#include <gtest/gtest.h>

#include <array>

namespace tavolin {

namespace {

using test::ASCII;
using test::ByteOrder;
using test::Field;
using test::FileBytes;
using test::LONG;
using test::SHORT;
using test::tiff;
using test::tiffHead;

/// A stream in memory with its reader. open() is null when the header is not accepted.
class TiffStream
{
public:
    explicit TiffStream(const QByteArray &bytes, std::int64_t begin = 0)
        : m_file(SourceFile::fromBytes(bytes)), m_fields(m_file),
          m_reader(TiffReader::open(m_fields, begin, bytes.size()))
    {}
    TiffStream(const TiffStream &) = delete;
    TiffStream &operator=(const TiffStream &) = delete;

    [[nodiscard]] bool isOpen() const { return m_reader.has_value(); }
    TiffReader &operator*() { return *m_reader; }
    TiffReader *operator->() { return &*m_reader; }

private:
    SourceFile m_file;
    FieldReader m_fields;
    std::optional<TiffReader> m_reader;
};

class TiffByteOrder : public testing::TestWithParam<ByteOrder>
{};

TEST_P(TiffByteOrder, IsFollowedInAllNumbers)
{
    TiffStream stream(
        tiff(GetParam(), {{0x0100, LONG, 1, 0x01020304}, {0x0112, SHORT, 1, 0x0506}}, 0x0708));
    ASSERT_TRUE(stream.isOpen());
    const TiffDirectory directory = stream->directory(stream->first());
    ASSERT_EQ(directory.entries.size(), 2U);
    EXPECT_EQ(stream->integer(directory.find(0x0100)), 0x01020304U);
    EXPECT_EQ(stream->integer(directory.find(0x0112)), 0x0506U);
    EXPECT_EQ(directory.next, 0x0708);
}

TEST_P(TiffByteOrder, IsFollowedInValuesElsewhere)
{
    FileBytes values(GetParam());
    values.u32(100).u32(200).u32(300);
    const QByteArray directory = test::directory(GetParam(), {{0x014a, LONG, 3, 26}});
    TiffStream stream(tiffHead(GetParam()) + directory + values.bytes());
    const TiffDirectory first = stream->directory(stream->first());
    EXPECT_EQ(stream->integer(first.find(0x014a), 0), 100U);
    EXPECT_EQ(stream->integer(first.find(0x014a), 2), 300U);
    EXPECT_FALSE(stream->integer(first.find(0x014a), 3));
}

INSTANTIATE_TEST_SUITE_P(Both, TiffByteOrder, testing::Values(ByteOrder::Little, ByteOrder::Big),
                         [](const auto &test) {
                             return test.param == ByteOrder::Big ? "Big" : "Little";
                         });

TEST(TiffReader, ReadsTheHeadersOfRawFormats)
{
    for (const std::uint16_t magic : std::array<std::uint16_t, 3>{0x55, 0x4f52, 0x5352}) {
        EXPECT_TRUE(TiffStream(tiffHead(ByteOrder::Little, magic)).isOpen()) << magic;
        EXPECT_TRUE(TiffStream(tiffHead(ByteOrder::Big, magic)).isOpen()) << magic;
    }
}

TEST(TiffReader, RefusesOtherHeaders)
{
    EXPECT_FALSE(TiffStream("").isOpen());
    EXPECT_FALSE(TiffStream(tiffHead(ByteOrder::Big).left(7)).isOpen());
    EXPECT_FALSE(TiffStream(tiffHead(ByteOrder::Big, 41)).isOpen());
    EXPECT_FALSE(TiffStream("IM" + tiffHead(ByteOrder::Big).mid(2)).isOpen());
}

TEST(TiffReader, CountsOffsetsFromTheStreamsStart)
{
    const QByteArray stream = tiff(ByteOrder::Big, {{0x0112, SHORT, 1, 6}});
    TiffStream reader(QByteArray(1000, 'x') + stream, 1000);
    ASSERT_TRUE(reader.isOpen());
    EXPECT_EQ(reader->integer(reader->directory(8).find(0x0112)), 6U);
}

TEST(TiffReader, ReadsBigTiff)
{
    FileBytes bytes(ByteOrder::Little);
    bytes.text("II").u16(43).u16(8).u16(0).u64(16);
    bytes.u64(2).u16(0x0100).u16(16).u64(1).u64(6000).u16(0x0101).u16(LONG).u64(2).u32(1).u32(2);
    TiffStream stream(bytes.u64(77).bytes());
    ASSERT_TRUE(stream.isOpen());
    const TiffDirectory directory = stream->directory(stream->first());
    EXPECT_EQ(stream->integer(directory.find(0x0100)), 6000U);
    EXPECT_EQ(stream->integer(directory.find(0x0101), 1), 2U);
    EXPECT_EQ(directory.next, 77);
}

TEST(TiffReader, ReadsTextUpToItsTerminator)
{
    const QByteArray directory =
        test::directory(ByteOrder::Big, {{1, ASCII, 4, 0x52303300}, {2, ASCII, 9, 38}});
    TiffStream stream(tiffHead(ByteOrder::Big) + directory + QByteArray("TestMake\0", 9));
    const TiffDirectory first = stream->directory(stream->first());
    EXPECT_EQ(stream->text(first.find(1), 4), "R03");
    EXPECT_EQ(stream->text(first.find(2), 100), "TestMake");
    EXPECT_EQ(stream->text(first.find(2), 4), "Test");
    EXPECT_EQ(stream->text(first.find(3), 4), "");
}

TEST(TiffReader, DoesNotTakeTextForANumberNorANumberForText)
{
    TiffStream stream(tiff(ByteOrder::Big, {{1, ASCII, 2, 0x36000000}, {2, LONG, 1, 0x36000000}}));
    const TiffDirectory directory = stream->directory(stream->first());
    EXPECT_FALSE(stream->integer(directory.find(1)));
    EXPECT_EQ(stream->text(directory.find(2), 4), "");
}

TEST(TiffReader, TakesWhatLiesOutsideTheStreamForAbsent)
{
    TiffStream stream(tiff(ByteOrder::Big, {{1, LONG, 2, 0xfffffff0},
                                            {2, LONG, 0xffffffff, 8},
                                            {3, ASCII, 0xffffffff, 0xffffffff},
                                            {4, SHORT, 0, 5},
                                            {5, 999, 1, 5}}));
    const TiffDirectory directory = stream->directory(stream->first());
    ASSERT_EQ(directory.entries.size(), 5U);
    EXPECT_FALSE(stream->integer(directory.find(1)));
    EXPECT_FALSE(stream->integer(directory.find(2), 0xfffffffe));
    EXPECT_EQ(stream->text(directory.find(3), 10), "");
    EXPECT_FALSE(stream->integer(directory.find(4)));
    EXPECT_FALSE(stream->integer(directory.find(5)));
    EXPECT_FALSE(stream->integer(nullptr));
}

TEST(TiffReader, DoesNotReadBeyondTheStreamThoughTheFileGoesOn)
{
    const QByteArray stream = tiff(ByteOrder::Big, {{0x0112, SHORT, 1, 6}});
    const SourceFile file = SourceFile::fromBytes(stream + QByteArray(100, '\0'));
    FieldReader fields(file);
    auto cut = TiffReader::open(fields, 0, stream.size() - 5);
    ASSERT_TRUE(cut);
    EXPECT_TRUE(cut->directory(cut->first()).entries.empty());
}

TEST(TiffReader, GivesTheEntriesThatAreThereOfADirectoryThatIsCutOff)
{
    const QByteArray whole = tiff(ByteOrder::Big, {{1, SHORT, 1, 10}, {2, SHORT, 1, 20}}, 99);
    TiffStream stream(whole.left(8 + 2 + 12 + 11));
    const TiffDirectory directory = stream->directory(stream->first());
    EXPECT_EQ(directory.entries.size(), 1U);
    EXPECT_EQ(stream->integer(directory.find(1)), 10U);
    EXPECT_EQ(directory.next, 0);
}

TEST(TiffReader, GivesNothingForADirectoryThatIsNotThere)
{
    TiffStream stream(tiffHead(ByteOrder::Big));
    EXPECT_TRUE(stream->directory(stream->first()).entries.empty());
    EXPECT_TRUE(stream->directory(std::int64_t{0}).entries.empty());
    EXPECT_TRUE(stream->directory(std::int64_t{-8}).entries.empty());
    EXPECT_TRUE(stream->directory(INT64_MAX).entries.empty());
}

TEST(TiffReader, GivesADirectoryOnceSoThatLoopsEnd)
{
    TiffStream stream(tiff(ByteOrder::Big, {{0x8769, LONG, 1, 8}}, 8));
    const TiffDirectory first = stream->directory(stream->first());
    ASSERT_EQ(first.entries.size(), 1U);
    EXPECT_EQ(first.next, 8);
    EXPECT_TRUE(stream->directory(first.next).entries.empty());
    EXPECT_TRUE(stream->directory(first.find(0x8769)).entries.empty());
}

TEST(TiffReader, GivesUpOnEndlessChains)
{
    // A thousand directories of one entry, each the next of the one before.
    QByteArray bytes = tiffHead(ByteOrder::Big);
    for (std::uint32_t i = 0; i < 1000; ++i)
        bytes += test::directory(ByteOrder::Big, {{1, SHORT, 1, i}}, 8 + (i + 1) * 18);
    TiffStream stream(bytes);
    int given = 0;
    for (std::int64_t at = stream->first(); at != 0 && given < 1000; ++given) {
        const TiffDirectory directory = stream->directory(at);
        if (directory.entries.empty())
            break;
        at = directory.next;
    }
    EXPECT_EQ(given, 64);
}

TEST(TiffReader, CutsAnAbsurdNumberOfEntries)
{
    FileBytes bytes;
    bytes.append(tiffHead(ByteOrder::Big)).u16(65535).zeros(65535 * 12);
    TiffStream stream(bytes.bytes());
    EXPECT_EQ(stream->directory(stream->first()).entries.size(), 1024U);
}

TEST(FieldReader, GivesExactlyTheBytesAskedForOrNone)
{
    const SourceFile file = SourceFile::fromBytes("0123456789");
    FieldReader fields(file);
    EXPECT_TRUE(hasText(fields.bytes(4, 3), "456"));
    EXPECT_EQ(fields.bytes(4, 3).size(), 3U);
    EXPECT_TRUE(fields.bytes(8, 3).empty());
    EXPECT_TRUE(fields.bytes(-1, 1).empty());
    EXPECT_TRUE(fields.bytes(INT64_MAX, 1).empty());
    EXPECT_TRUE(fields.bytes(0, 0).empty());
    EXPECT_TRUE(fields.bytes(0, FieldReader::CAPACITY + 1).empty());
}

TEST(FieldReader, ReadsAcrossTheEdgeOfItsBuffer)
{
    QByteArray bytes(3 * FieldReader::CAPACITY, 'x');
    bytes.replace(FieldReader::CAPACITY - 2, 4, "edge");
    const SourceFile file = SourceFile::fromBytes(bytes);
    FieldReader fields(file);
    EXPECT_FALSE(fields.bytes(0, 1).empty());
    EXPECT_TRUE(hasText(fields.bytes(FieldReader::CAPACITY - 2, 4), "edge"));
    EXPECT_TRUE(hasText(fields.bytes(0, 1), "x"));
}

TEST(FieldReader, GivesUpOnAWalkWithoutEnd)
{
    const SourceFile file = SourceFile::fromBytes(QByteArray(3 * FieldReader::CAPACITY, 'x'));
    const auto reads = [&file](int distance) {
        FieldReader fields(file);
        int count = 0;
        while (count < 1'000'000 && !fields.bytes(count % 2 * distance, 1).empty())
            ++count;
        return count;
    };
    // Each far from the one before, then all in the same place.
    EXPECT_EQ(reads(8000), 8000);
    EXPECT_EQ(reads(0), 100'000);
}

TEST(HasText, NeverLooksBeyondTheBytes)
{
    const std::array<std::byte, 3> bytes{std::byte{'a'}, std::byte{'b'}, std::byte{'c'}};
    EXPECT_TRUE(hasText(bytes, "bc", 1));
    EXPECT_FALSE(hasText(bytes, "bcd", 1));
    EXPECT_FALSE(hasText(bytes, "a", 4));
    EXPECT_FALSE(hasText({}, "a"));
}

} // namespace

} // namespace tavolin
