#include "decoding/headers/Boxes.h"

#include "FileBytes.h"

#include <gtest/gtest.h>

namespace tavolin {

namespace {

using test::box;
using test::FileBytes;

/// The box at the start of @p bytes.
std::optional<Box> firstBox(const QByteArray &bytes)
{
    const SourceFile file = SourceFile::fromBytes(bytes);
    FieldReader fields(file);
    return boxAt(fields, 0, bytes.size());
}

TEST(BoxAt, GivesTypeAndContent)
{
    const auto free = firstBox(box("free", "12345") + box("mdat", ""));
    ASSERT_TRUE(free);
    EXPECT_EQ(free->type, 0x66726565U);
    EXPECT_EQ(free->begin, 8);
    EXPECT_EQ(free->end, 13);
}

TEST(BoxAt, ReadsALongLength)
{
    const auto data = firstBox(FileBytes().u32(1).text("mdat").u64(20).zeros(100).bytes());
    ASSERT_TRUE(data);
    EXPECT_EQ(data->begin, 16);
    EXPECT_EQ(data->end, 20);
}

TEST(BoxAt, TakesALengthOfZeroForAllThatFollows)
{
    const auto data = firstBox(FileBytes().u32(0).text("mdat").zeros(100).bytes());
    ASSERT_TRUE(data);
    EXPECT_EQ(data->end, 108);
}

TEST(BoxAt, CutsABoxThatClaimsToGoOn)
{
    for (const auto &head : {FileBytes().u32(0xffffffff).text("mdat").u64(0),
                             FileBytes().u32(1).text("mdat").u64(0xffffffffffffffff)}) {
        const auto data = firstBox(head.bytes() + QByteArray(100, '\0'));
        ASSERT_TRUE(data);
        EXPECT_EQ(data->end, 116);
    }
}

TEST(BoxAt, RefusesALengthBelowItsHeader)
{
    for (const std::uint32_t length : {2U, 7U})
        EXPECT_FALSE(firstBox(FileBytes().u32(length).text("mdat").zeros(100).bytes())) << length;
    for (const std::uint32_t length : {0U, 15U})
        EXPECT_FALSE(firstBox(FileBytes().u32(1).text("mdat").u64(length).zeros(100).bytes()))
            << length;
}

TEST(BoxAt, RefusesAHeaderThatIsCutOff)
{
    EXPECT_FALSE(firstBox(box("free", "").left(7)));
    EXPECT_FALSE(firstBox(FileBytes().u32(1).text("mdat").u32(0).bytes()));
}

TEST(FindBox, SkipsOthersAndEndsWithTheContainer)
{
    const QByteArray bytes = box("free", "x") + box("meta", "a") + box("meta", "bc");
    const SourceFile file = SourceFile::fromBytes(bytes);
    FieldReader fields(file);
    const auto found = findBox(fields, 0, bytes.size(), boxType("meta"));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->size(), 1);
    EXPECT_FALSE(findBox(fields, 0, 9, boxType("meta")));
    EXPECT_FALSE(findBox(fields, 0, bytes.size(), boxType("moov")));
}

} // namespace

} // namespace tavolin
