#include "decoding/metadata/MetadataFile.h"

#include "decoding/Tags.h"
#include "decoding/TiffReader.h"
#include "FileBytes.h"
#include "pictures/Dng.h"
#include "pictures/Exif.h"
#include "pictures/Picture.h"
#include "pictures/Tiff.h"
#include "TestPictures.h"

#include <QTemporaryFile>

#include <gtest/gtest.h>

#include <vector>

namespace tavolin {

namespace {

using namespace test;

constexpr std::uint16_t UNDEFINED = tiff_type::UNDEFINED;
constexpr std::uint16_t MAKE = tag::MAKE;
constexpr std::uint16_t EXIF = tag::EXIF_DIRECTORY;
constexpr std::uint16_t NOTE = tag::MAKER_NOTE;

QByteArray smallOf(const QByteArray &bytes)
{
    const SourceFile source = fileOf(bytes);
    const SourceFile small = metadataFile(source);
    return small.bytesAt(0, small.size());
}

/// The value of @p wanted in the first directory of the TIFF stream @p bytes, or in the one that
/// @p pointer there leads to.
QByteArray valueIn(const QByteArray &bytes, std::uint16_t wanted, std::uint16_t pointer = 0)
{
    const SourceFile source = fileOf(bytes);
    FieldReader fields(source);
    auto tiff = TiffReader::open(fields, 0, source.size());
    if (!tiff)
        return {};
    TiffDirectory directory = tiff->directory(tiff->first());
    if (pointer != 0)
        directory = tiff->directory(directory.find(pointer));
    const TiffEntry *entry = directory.find(wanted);
    return entry ? bytes.mid(entry->offset, static_cast<qsizetype>(entry->length())) : QByteArray();
}

TEST(MetadataFile, OfATiffHasTheValuesOfItsDirectories)
{
    const QByteArray small = smallOf(pictures::tiffBlock(
        {pictures::asciiField(MAKE, "TestMake"),
         pictures::directoriesField(EXIF, {pictures::exposureDirectory(0)}),
         pictures::directoriesField(tag::GPS_DIRECTORY, {{pictures::asciiField(1, "N")}})}));
    EXPECT_EQ(valueIn(small, MAKE), QByteArray("TestMake\0", 9));
    EXPECT_EQ(valueIn(small, tag::LENS_MODEL, EXIF), QByteArray("TestLens 50mm\0", 14));
    EXPECT_EQ(valueIn(small, 1, tag::GPS_DIRECTORY), QByteArray("N\0", 2));
}

TEST(MetadataFile, KeepsTheOrderOfBytes)
{
    const QByteArray small = smallOf(test::tiff(
        ByteOrder::Big, {{MAKE, ASCII, 4, 0x41424300}, {tag::ORIENTATION, SHORT, 1, 6}}));
    EXPECT_TRUE(small.startsWith(QByteArray("MM\0\x2a", 4)));
    EXPECT_EQ(valueIn(small, MAKE), QByteArray("ABC\0", 4));
    EXPECT_EQ(valueIn(small, tag::ORIENTATION), QByteArray("\0\6", 2));
}

TEST(MetadataFile, SaysWhatRawFormatItIsOf)
{
    const QByteArray orf = test::tiffHead(ByteOrder::Little, 0x4f52) +
                           test::directory(ByteOrder::Little, {{MAKE, ASCII, 4, 0x00434241}});
    EXPECT_TRUE(smallOf(orf).startsWith("IIRO"));
    EXPECT_EQ(valueIn(smallOf(orf), MAKE), QByteArray("ABC\0", 4));
}

TEST(MetadataFile, HasNoPixels)
{
    const QByteArray dng = pictures::makeDng({.upright = pictures::fourQuarters({640, 480}),
                                              .previews = {pictures::fourQuarters({640, 480})}});
    const QByteArray small = smallOf(dng);
    EXPECT_EQ(valueIn(small, MAKE), QByteArray("TestMake\0", 9));
    EXPECT_LT(small.size(), 4000);
    for (const std::uint16_t place : {tag::STRIP_OFFSETS, tag::SUB_DIRECTORIES})
        EXPECT_TRUE(valueIn(small, place).isEmpty()) << place;
}

/// A TIFF stream of @p make with @p value somewhere behind its directories, which @p wanted names.
QByteArray tiffWithValueAt(qsizetype at, std::uint16_t wanted, const QByteArray &value)
{
    const auto length = static_cast<std::uint32_t>(value.size());
    QByteArray bytes =
        test::tiff(ByteOrder::Little, {{MAKE, ASCII, 4, 0x00434241}, {EXIF, LONG, 1, 38}}) +
        test::directory(ByteOrder::Little,
                        {{wanted, UNDEFINED, length, static_cast<std::uint32_t>(at)}});
    return bytes + QByteArray(at - bytes.size(), 'x') + value;
}

// Some count the offsets in them from the beginning of the stream.
TEST(MetadataFile, LeavesTheCamerasNotesInTheirPlace)
{
    const QByteArray notes(100, 'n');
    const QByteArray small = smallOf(tiffWithValueAt(5000, NOTE, notes));
    EXPECT_EQ(valueIn(small, NOTE, EXIF), notes);
    EXPECT_EQ(small.mid(5000, 100), notes);
    EXPECT_FALSE(small.contains('x'));
}

TEST(MetadataFile, HasNotesFromAnywhereInALargeFile)
{
    constexpr qint64 AT = qint64{1} << 30;
    constexpr qint64 LARGE = AT + 100;
    const QByteArray notes(100, 'n');
    QTemporaryFile large;
    ASSERT_TRUE(large.open());
    const QByteArray head =
        test::tiff(ByteOrder::Little, {{MAKE, ASCII, 4, 0x00434241}, {EXIF, LONG, 1, 38}}) +
        test::directory(ByteOrder::Little, {{NOTE, UNDEFINED, 100, std::uint32_t{AT}}});
    ASSERT_EQ(large.write(head), head.size());
    ASSERT_TRUE(large.resize(LARGE)); // a hole
    ASSERT_TRUE(large.seek(AT));
    ASSERT_EQ(large.write(notes), notes.size());
    ASSERT_TRUE(large.flush());
    const auto source = SourceFile::open(large.fileName().toStdString());
    ASSERT_TRUE(source);
    const SourceFile small = metadataFile(*source);
    EXPECT_LT(small.size(), 1000);
    EXPECT_EQ(valueIn(small.bytesAt(0, small.size()), NOTE, EXIF), notes);
}

TEST(MetadataFile, LeavesOutValuesThatAreTooLargeOrNotThere)
{
    constexpr qsizetype MEGABYTE = 1 << 20;
    constexpr std::uint16_t SOME = 0x9286;
    const QByteArray whole = tiffWithValueAt(100, SOME, QByteArray(MEGABYTE, 'v'));
    EXPECT_EQ(valueIn(smallOf(whole), SOME, EXIF).size(), MEGABYTE);
    for (const QByteArray &file :
         {whole.chopped(1), tiffWithValueAt(100, SOME, QByteArray(MEGABYTE + 1, 'v'))}) {
        EXPECT_TRUE(valueIn(smallOf(file), SOME, EXIF).isEmpty());
        EXPECT_EQ(valueIn(smallOf(file), MAKE), QByteArray("ABC\0", 4));
    }
}

// Clipping paths and profiles among them may be large; what is carried over is small.
TEST(MetadataFile, HasPhotoshopsResourcesOfSomeMegabytes)
{
    constexpr qsizetype SIZE = 3 << 20;
    const QByteArray file = tiffWithValueAt(100, tag::PHOTOSHOP, QByteArray(SIZE, 'r'));
    EXPECT_EQ(valueIn(smallOf(file), tag::PHOTOSHOP, EXIF).size(), SIZE);
}

TEST(MetadataFile, HasTextsOfTheNewestKind)
{
    const QByteArray text = "ภาพถ่าย";
    QByteArray file = tiffWithValueAt(100, tag::LENS_MODEL, text);
    file[40 + 2] = static_cast<char>(tiff_type::UTF8); // of the entry behind the count of entries
    EXPECT_EQ(valueIn(smallOf(file), tag::LENS_MODEL, EXIF), text);
}

TEST(MetadataFile, IsBoundedThoughAllValuesAreTheSameBytes)
{
    constexpr std::uint32_t MEGABYTE = 1 << 20;
    constexpr qsizetype MOST = 40 << 20;
    std::vector<Field> fields;
    for (std::uint16_t i = 0; i < 1000; ++i)
        fields.push_back({static_cast<std::uint16_t>(0x9000 + i), UNDEFINED, MEGABYTE, 20'000});
    const QByteArray file =
        test::tiff(ByteOrder::Little, fields) + QByteArray(20'000 + MEGABYTE, 'v');
    EXPECT_LT(smallOf(file).size(), MOST);
}

TEST(MetadataFile, OfABigTiffIsATiff)
{
    FileBytes big(ByteOrder::Little);
    big.text("II").u16(43).u16(8).u16(0).u64(16); // the directory is at byte 16
    big.u64(1).u16(MAKE).u16(ASCII).u64(8).text("TestMak").u8(0).u64(0);
    const QByteArray small = smallOf(big.bytes());
    EXPECT_TRUE(small.startsWith(QByteArray("II\x2a\0", 4)));
    EXPECT_EQ(valueIn(small, MAKE), QByteArray("TestMak\0", 8));
}

TEST(MetadataFile, OfNoPictureIsEmpty)
{
    EXPECT_TRUE(smallOf("no picture").isEmpty());
    EXPECT_TRUE(smallOf({}).isEmpty());
}

TEST(MetadataFile, OfDamagedFilesIsSmall)
{
    const QByteArray dng = pictures::makeDng({.upright = pictures::fourQuarters({64, 48}),
                                              .previews = {pictures::fourQuarters({64, 48})}});
    for (unsigned seed = 0; seed < 300; ++seed)
        ASSERT_LT(smallOf(damaged(dng, seed)).size(), dng.size() + 4000) << seed;
}

} // namespace

} // namespace tavolin
