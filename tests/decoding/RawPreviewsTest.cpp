#include "decoding/headers/RawPreviews.h"

#include "decoding/Tags.h"
#include "FileBytes.h"
#include "pixels/FileExtensions.h"
#include "Samples.h"
#include "TestPictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tavolin {

namespace {

using namespace std::string_view_literals;
using test::box;
using test::ByteOrder;
using test::Field;
using test::FileBytes;
using test::fullBox;
using test::jpeg;
using test::LONG;
using test::SHORT;
using test::tiffHead;
constexpr std::uint16_t UNDEFINED = 7;

/// Where the files of these tests have their JPEG, which is that of size PREVIEW.
constexpr std::uint32_t JPEG_AT = 900;
constexpr QSize PREVIEW(1620, 1080);

std::vector<RawPreview> previewsOf(const QByteArray &bytes)
{
    const SourceFile file = SourceFile::fromBytes(bytes);
    FieldReader fields(file);
    return findRawPreviews(fields);
}

QByteArray previewJpeg()
{
    return jpeg(PREVIEW.width(), PREVIEW.height());
}

const auto JPEG_BYTES = static_cast<std::uint32_t>(previewJpeg().size());

/// @p bytes with @p more at @p offset, which is beyond their end.
QByteArray with(QByteArray bytes, qsizetype offset, const QByteArray &more)
{
    EXPECT_LE(bytes.size(), offset);
    bytes.resize(offset, '\0');
    return bytes + more;
}

QByteArray withJpeg(const QByteArray &head)
{
    return with(head, JPEG_AT, previewJpeg());
}

/// A TIFF stream of @p first with its JPEG.
QByteArray tiffWithJpeg(const std::vector<Field> &first, std::uint16_t magic = 42)
{
    return withJpeg(tiffHead(ByteOrder::Little, magic) + test::directory(ByteOrder::Little, first));
}

/// Where the maker notes of these tests begin.
constexpr std::uint32_t NOTE_AT = 200;

/// A TIFF stream in big-endian order whose EXIF directory points to @p note.
QByteArray tiffWithNote(const QByteArray &note)
{
    const auto order = ByteOrder::Big;
    QByteArray bytes =
        tiffHead(order) + test::directory(order, {{tag::EXIF_DIRECTORY, LONG, 1, 100}});
    bytes = with(bytes, 100,
                 test::directory(order, {{tag::MAKER_NOTE, UNDEFINED,
                                          static_cast<std::uint32_t>(note.size()), NOTE_AT}}));
    return withJpeg(with(bytes, NOTE_AT, note));
}

/// A maker note of @p signature with @p fields, and a directory of @p more at @p moreAt of it.
QByteArray note(std::string_view signature, ByteOrder order, const std::vector<Field> &fields,
                qsizetype moreAt = 0, const std::vector<Field> &more = {})
{
    const QByteArray bytes =
        FileBytes().text(signature).append(test::directory(order, fields)).bytes();
    return moreAt == 0 ? bytes : with(bytes, moreAt, test::directory(order, more));
}

QByteArray raf()
{
    const QByteArray pointer = FileBytes().u32(JPEG_AT).u32(JPEG_BYTES).bytes();
    return withJpeg(with("FUJIFILMCCD-RAW 0201", 84, pointer));
}

constexpr auto CANON_METADATA =
    "\x85\xc0\xb6\x87\x82\x0f\x11\xe0\x81\x11\xf4\xce\x46\x2b\x6a\x48"sv;
constexpr auto CANON_PREVIEW = "\xea\xf4\x2b\x5e\x1c\x98\x4b\x88\xb9\xfb\xb7\xdc\x40\x6e\x4d\x16"sv;

QByteArray cr3Head()
{
    return box("ftyp", "crx \0\0\0\1crx isom");
}

/// The rest of a CR3 from JPEG_AT - @p before on, so that a JPEG that has @p before bytes of boxes
/// in front of it is at JPEG_AT.
QByteArray cr3(qsizetype before, const QByteArray &boxes)
{
    const qsizetype filler = JPEG_AT - before - cr3Head().size() - 8;
    return cr3Head() + box("free", QByteArray(filler, '\0')) + boxes;
}

QByteArray canonBox(std::string_view identifier, const QByteArray &content)
{
    return box("uuid", FileBytes().text(identifier).append(content).bytes());
}

/// "THMB" or "PRVW".
QByteArray pictureBox(std::string_view type)
{
    return box(type, FileBytes().zeros(16).append(previewJpeg()).bytes());
}

QByteArray track(const QByteArray &sizes, const QByteArray &offsets)
{
    return box("trak", box("mdia", box("minf", box("stbl", sizes + offsets))));
}

QByteArray cr3WithTracks(const QByteArray &tracks)
{
    return withJpeg(cr3Head() + box("moov", tracks) + box("mdat", {}));
}

struct Layout
{
    std::string name;
    QByteArray file;
};

void PrintTo(const Layout &layout, std::ostream *out)
{
    *out << layout.name;
}

std::vector<Layout> tiffLayouts()
{
    const std::vector<Field> pointer{{tag::JPEG_OFFSET, LONG, 1, JPEG_AT},
                                     {tag::JPEG_LENGTH, LONG, 1, JPEG_BYTES}};
    const auto order = ByteOrder::Little;
    return {
        {"Pointer", tiffWithJpeg(pointer)},
        {"Strip", tiffWithJpeg({{tag::PHOTOMETRIC, SHORT, 1, 6},
                                {tag::STRIP_OFFSETS, LONG, 1, JPEG_AT},
                                {tag::STRIP_BYTE_COUNTS, LONG, 1, JPEG_BYTES}})},
        {"Tile", tiffWithJpeg({{tag::TILE_OFFSETS, LONG, 1, JPEG_AT},
                               {tag::TILE_BYTE_COUNTS, LONG, 1, JPEG_BYTES}})},
        {"SubDirectory",
         withJpeg(
             with(tiffHead(order) + test::directory(order, {{tag::SUB_DIRECTORIES, LONG, 1, 100}}),
                  100, test::directory(order, pointer)))},
        {"ChainedDirectory", withJpeg(with(tiffHead(order) + test::directory(order, {}, 100), 100,
                                           test::directory(order, pointer)))},
        {"Panasonic", tiffWithJpeg({{tag::RW2_JPEG, UNDEFINED, JPEG_BYTES, JPEG_AT}}, 0x55)},
        {"PanasonicInFullSize",
         tiffWithJpeg({{tag::RW2_LARGER_JPEG, UNDEFINED, JPEG_BYTES, JPEG_AT}}, 0x55)},
    };
}

std::vector<Layout> makerNoteLayouts()
{
    const auto little = ByteOrder::Little;
    const auto big = ByteOrder::Big;
    constexpr std::uint32_t FROM_NOTE = JPEG_AT - NOTE_AT;
    const auto pointerTo = [](std::uint32_t offset) {
        return std::vector<Field>{{tag::JPEG_OFFSET, LONG, 1, offset},
                                  {tag::JPEG_LENGTH, LONG, 1, JPEG_BYTES}};
    };
    const auto pentax = [](std::uint32_t offset) {
        return std::vector<Field>{{3, LONG, 1, JPEG_BYTES}, {4, LONG, 1, offset}};
    };
    const auto olympus = [](std::uint32_t offset) {
        return std::vector<Field>{{0x0101, LONG, 1, offset}, {0x0102, LONG, 1, JPEG_BYTES}};
    };
    return {
        {"Olympus", tiffWithNote(note("OLYMPUS\0II\3\0"sv, little, {{0x2020, 13, 1, 100}}, 100,
                                      olympus(FROM_NOTE)))},
        {"OmSystem", tiffWithNote(note("OM SYSTEM\0\0\0II\4\0"sv, little, {{0x2020, 13, 1, 100}},
                                       100, olympus(FROM_NOTE)))},
        {"OlympusOfOldWithSettingsAsAValue",
         tiffWithNote(note("OLYMP\0\1\0"sv, big, {{0x2020, UNDEFINED, 50, NOTE_AT + 100}}, 100,
                           olympus(JPEG_AT)))},
        {"OlympusThumbnail", tiffWithNote(note("OLYMPUS\0II\3\0"sv, little,
                                               {{0x0100, UNDEFINED, JPEG_BYTES, FROM_NOTE}}))},
        {"Pentax", tiffWithNote(note("PENTAX \0II"sv, little, pentax(FROM_NOTE)))},
        {"PentaxOfOld", tiffWithNote(note("AOC\0MM"sv, big, pentax(JPEG_AT)))},
        {"SpanOfMinolta",
         tiffWithNote(
             note("OLYMP\0\1\0"sv, big, {{0x88, LONG, 1, JPEG_AT}, {0x89, LONG, 1, JPEG_BYTES}}))},
        {"ValueOfMinolta", tiffWithNote(note({}, big, {{0x81, UNDEFINED, JPEG_BYTES, JPEG_AT}}))},
        {"PentaxInTheOrderOfTheStream", tiffWithNote(note("AOC\0\0\0"sv, big, pentax(JPEG_AT)))},
        {"Nikon", tiffWithNote(FileBytes()
                                   .text("Nikon\0\2\x10\0\0"sv)
                                   .append(with(test::tiff(little, {{0x11, LONG, 1, 100}}), 100,
                                                test::directory(little, pointerTo(FROM_NOTE - 10))))
                                   .bytes())},
        {"SamsungFromTheNote",
         tiffWithNote(note({}, big, {{0x35, LONG, 1, 100}}, 100, pointerTo(FROM_NOTE)))},
        {"SamsungFromTheStream",
         tiffWithNote(note({}, big, {{0x35, LONG, 1, NOTE_AT + 100}}, 100, pointerTo(JPEG_AT)))},
        {"Sony",
         tiffWithNote(note("SONY DSC \0\0\0"sv, big, {{0x2001, UNDEFINED, JPEG_BYTES, JPEG_AT}}))},
        {"SonyWithoutSignature",
         tiffWithNote(note({}, big, {{0x2001, UNDEFINED, JPEG_BYTES, JPEG_AT}}))},
    };
}

std::vector<Layout> otherLayouts()
{
    const QByteArray sizes = fullBox("stsz", 0, FileBytes().u32(0).u32(1).u32(JPEG_BYTES).bytes());
    const QByteArray offsets = fullBox("co64", 0, FileBytes().u32(1).u64(JPEG_AT).bytes());
    return {
        {"Raf", raf()},
        {"Cr3Thumbnail",
         cr3(8 + 8 + 16 + 8 + 16, box("moov", canonBox(CANON_METADATA, pictureBox("THMB"))))},
        {"Cr3Preview", cr3(8 + 16 + 8 + 8 + 16,
                           canonBox(CANON_PREVIEW, QByteArray(8, '\0') + pictureBox("PRVW")))},
        {"Cr3Track", cr3WithTracks(track(sizes, offsets))},
        {"Cr3TrackOfOneSize",
         cr3WithTracks(
             track(fullBox("stsz", 0, FileBytes().u32(JPEG_BYTES).u32(1).bytes()), offsets))},
        {"Cr3TrackWithShortOffsets",
         cr3WithTracks(track(sizes, fullBox("stco", 0, FileBytes().u32(1).u32(JPEG_AT).bytes())))},
        {"Cr3SecondTrack", cr3WithTracks(track({}, {}) + track(sizes, offsets))},
    };
}

std::vector<Layout> allLayouts()
{
    std::vector<Layout> all = tiffLayouts();
    for (const auto &more : {makerNoteLayouts(), otherLayouts()})
        all.insert(all.end(), more.begin(), more.end());
    return all;
}

class RawPreviews : public testing::TestWithParam<Layout>
{};

INSTANTIATE_TEST_SUITE_P(All, RawPreviews, testing::ValuesIn(allLayouts()),
                         [](const auto &test) { return test.param.name; });

TEST_P(RawPreviews, AreFoundWhereTheContainerHasThem)
{
    const auto previews = previewsOf(GetParam().file);
    ASSERT_EQ(previews.size(), 1U);
    EXPECT_EQ(previews[0].offset, JPEG_AT);
    EXPECT_EQ(previews[0].length, JPEG_BYTES);
    EXPECT_EQ(previews[0].size, PREVIEW);
}

TEST_P(RawPreviews, AreNoneWhereNoJpegBegins)
{
    QByteArray file = GetParam().file;
    file[JPEG_AT] = 'x';
    EXPECT_TRUE(previewsOf(file).empty());
}

TEST_P(RawPreviews, DoNotReachBeyondACutFile)
{
    const QByteArray &file = GetParam().file;
    for (qsizetype size = 0; size < file.size(); ++size)
        for (const RawPreview &preview : previewsOf(file.first(size)))
            ASSERT_LE(preview.offset + preview.length, size);
}

TEST_P(RawPreviews, StayInsideADamagedFile)
{
    const QByteArray &file = GetParam().file;
    for (unsigned seed = 0; seed < 300; ++seed) {
        const QByteArray bytes = test::damaged(file, seed);
        for (const RawPreview &preview : previewsOf(bytes)) {
            ASSERT_GE(preview.offset, 0) << seed;
            ASSERT_GT(preview.length, 0) << seed;
            ASSERT_LE(preview.length, bytes.size() - preview.offset) << seed;
            ASSERT_FALSE(preview.size.isEmpty()) << seed;
        }
    }
}

// Each field of four bytes in turn: offsets, counts and lengths of boxes among them.
TEST_P(RawPreviews, StayInsideWhateverANumberSays)
{
    const QByteArray &file = GetParam().file;
    for (const char *value : {"\xff\xff\xff\xff", "\xff\xff\xff\xf0", "\xf0\xff\xff\xff",
                              "\x7f\xff\xff\xff", "\0\0\0\0"}) {
        for (qsizetype at = 0; at + 4 <= JPEG_AT; ++at) {
            QByteArray bytes = file;
            bytes.replace(at, 4, value, 4);
            for (const RawPreview &preview : previewsOf(bytes)) {
                ASSERT_GE(preview.offset, 0) << at;
                ASSERT_LE(preview.length, bytes.size() - preview.offset) << at;
            }
        }
    }
}

/// A TIFF stream whose directory has @p jpegs, each by a pointer in a directory of its own.
QByteArray tiffOf(const std::vector<QByteArray> &jpegs)
{
    QByteArray bytes = tiffHead(ByteOrder::Little);
    for (std::size_t i = 0; i < jpegs.size(); ++i) {
        constexpr qsizetype DIRECTORY_BYTES = 2 + 2 * 12 + 4;
        const auto at = static_cast<std::uint32_t>(bytes.size() + DIRECTORY_BYTES);
        const auto length = static_cast<std::uint32_t>(jpegs[i].size());
        bytes +=
            test::directory(ByteOrder::Little,
                            {{tag::JPEG_OFFSET, LONG, 1, at}, {tag::JPEG_LENGTH, LONG, 1, length}},
                            i + 1 < jpegs.size() ? at + length : 0);
        bytes += jpegs[i];
    }
    return bytes;
}

TEST(RawPreviewList, BeginsWithTheLargest)
{
    const auto previews =
        previewsOf(tiffOf({jpeg(160, 120), jpeg(6000, 4000), jpeg(1620, 1080), jpeg(570, 375)}));
    ASSERT_EQ(previews.size(), 4U);
    EXPECT_EQ(previews[0].size, QSize(6000, 4000));
    EXPECT_EQ(previews[1].size, QSize(1620, 1080));
    EXPECT_EQ(previews[2].size, QSize(570, 375));
    EXPECT_EQ(previews[3].size, QSize(160, 120));
}

// As of a card that was pulled: of the largest the first rows may be there.
TEST(RawPreviewList, HasACutOneBehindThoseThatAreWholeUnlessTheseAreStamps)
{
    const auto sizesOf = [](const std::vector<QByteArray> &jpegs) {
        std::vector<QSize> sizes;
        for (const RawPreview &preview : previewsOf(tiffOf(jpegs).chopped(1)))
            sizes.push_back(preview.size);
        return sizes;
    };
    EXPECT_EQ(sizesOf({jpeg(160, 120), jpeg(1620, 1080), jpeg(6000, 4000)}),
              (std::vector<QSize>{{1620, 1080}, {6000, 4000}, {160, 120}}));
    EXPECT_EQ(sizesOf({jpeg(160, 120), jpeg(999, 700), jpeg(6000, 4000)}),
              (std::vector<QSize>{{6000, 4000}, {999, 700}, {160, 120}}));
}

TEST(RawPreviewList, HasOnlyWhatCanBeDecoded)
{
    QByteArray twelveBits = jpeg(1000, 700, {}, 0xc1);
    twelveBits[6] = 12;
    const auto previews = previewsOf(
        tiffOf({jpeg(100, 10, {}, 0xc0), jpeg(100, 11, {}, 0xc1), jpeg(100, 12, {}, 0xc2),
                jpeg(6000, 4000, {}, 0xc3), jpeg(6000, 4000, {}, 0xc9), twelveBits}));
    ASSERT_EQ(previews.size(), 3U);
    EXPECT_EQ(previews[0].size, QSize(100, 12));
    EXPECT_EQ(previews[1].size, QSize(100, 11));
    EXPECT_EQ(previews[2].size, QSize(100, 10));
}

// Cameras and converters store raw data, masks and depths as JPEGs too.
TEST(RawPreviewList, HasNoStripsOfSensorDataOrMasks)
{
    for (const std::uint32_t photometric : {32803U, 34892U, 51177U, 52527U, 2U})
        EXPECT_TRUE(previewsOf(tiffWithJpeg({{tag::PHOTOMETRIC, SHORT, 1, photometric},
                                             {tag::STRIP_OFFSETS, LONG, 1, JPEG_AT},
                                             {tag::STRIP_BYTE_COUNTS, LONG, 1, JPEG_BYTES}}))
                        .empty())
            << photometric;
}

TEST(RawPreviewList, HasNothingThatComesInSeveralStrips)
{
    EXPECT_TRUE(previewsOf(tiffWithJpeg({{tag::STRIP_OFFSETS, SHORT, 2, JPEG_AT | JPEG_AT << 16},
                                         {tag::STRIP_BYTE_COUNTS, SHORT, 2, 0x00100010}}))
                    .empty());
}

TEST(RawPreviewList, HasAJpegOnceHoweverOftenItIsNamed)
{
    EXPECT_EQ(previewsOf(tiffWithJpeg({{tag::STRIP_OFFSETS, LONG, 1, JPEG_AT},
                                       {tag::JPEG_OFFSET, LONG, 1, JPEG_AT},
                                       {tag::TILE_OFFSETS, LONG, 1, JPEG_AT}}))
                  .size(),
              1U);
}

TEST(RawPreviewList, EndsAtTheFileWhereTheLengthIsMissingOrTooLarge)
{
    for (const std::uint32_t length : {0U, JPEG_BYTES + 1, 0xffffffffU}) {
        const auto previews = previewsOf(tiffWithJpeg(
            {{tag::JPEG_OFFSET, LONG, 1, JPEG_AT}, {tag::JPEG_LENGTH, LONG, 1, length}}));
        ASSERT_EQ(previews.size(), 1U) << length;
        EXPECT_EQ(previews[0].length, JPEG_BYTES) << length;
    }
}

TEST(RawPreviewList, HasTheThumbnailOfAPreview)
{
    const QByteArray thumbnail = jpeg(160, 120);
    QByteArray block = tiffHead(ByteOrder::Big) + test::directory(ByteOrder::Big, {}, 14);
    block += test::directory(ByteOrder::Big,
                             {{tag::JPEG_OFFSET, LONG, 1, 50}, {tag::JPEG_LENGTH, LONG, 1, 99}});
    const QByteArray file = tiffOf({jpeg(8, 8, test::exifSegment(with(block, 50, thumbnail)))});
    const auto previews = previewsOf(file);
    ASSERT_EQ(previews.size(), 2U);
    EXPECT_EQ(previews[0].size, QSize(160, 120));
    EXPECT_EQ(previews[0].offset, file.indexOf(thumbnail));
    EXPECT_EQ(previews[1].size, QSize(8, 8));
}

TEST(RawPreviewList, EndsWhereDirectoriesAndJpegsGoInCircles)
{
    // A directory that is its own next and sub-directory.
    EXPECT_TRUE(previewsOf(tiffHead(ByteOrder::Little) +
                           test::directory(ByteOrder::Little,
                                           {{tag::SUB_DIRECTORIES, LONG, 1, 8},
                                            {tag::EXIF_DIRECTORY, LONG, 1, 8},
                                            {tag::MAKER_NOTE, UNDEFINED, 100, 8}},
                                           8))
                    .empty());
    // A JPEG whose EXIF block names the JPEG itself: the block is at byte 12 of it.
    const QByteArray block =
        test::tiff(ByteOrder::Little, {{tag::JPEG_OFFSET, LONG, 1, 0xfffffff4},
                                       {tag::RW2_JPEG, UNDEFINED, 0xffffffff, 0}});
    EXPECT_EQ(previewsOf(tiffOf({jpeg(16, 16, test::exifSegment(block))})).size(), 1U);
}

TEST(RawPreviewList, IsBoundedHoweverManyJpegsThereAre)
{
    // Each JPEG's EXIF block holds the next one.
    QByteArray nested = jpeg(16, 16);
    for (int depth = 0; depth < 400; ++depth) {
        const QByteArray block = test::tiff(ByteOrder::Big, {{tag::JPEG_OFFSET, LONG, 1, 26}});
        nested = jpeg(16, 16, test::exifSegment(block + nested));
    }
    EXPECT_EQ(previewsOf(tiffOf({nested})).size(), 64U);
}

class SampleRawPreviews : public SampleTest
{
protected:
    /// The samples with raw extensions.
    [[nodiscard]] std::vector<QJsonObject> rawFiles() const
    {
        std::vector<QJsonObject> found;
        for (const QJsonValue &file : files())
            if (hasRawExtension(pathOf(file.toObject())))
                found.push_back(file.toObject());
        return found;
    }
    [[nodiscard]] static std::string pathOf(const QJsonObject &file)
    {
        return file[QStringLiteral("path")].toString().toStdString();
    }
    [[nodiscard]] static QJsonArray knownPreviews(const QJsonObject &file)
    {
        return file[QStringLiteral("oracle")][QStringLiteral("raw")][QStringLiteral("previews")]
            .toArray();
    }
};

TEST_F(SampleRawPreviews, AreAllThatAreKnown)
{
    int known = 0;
    for (const QJsonObject &sample : rawFiles()) {
        const auto file = SourceFile::open(find(pathOf(sample)));
        ASSERT_TRUE(file) << pathOf(sample);
        FieldReader fields(*file);
        const auto previews = findRawPreviews(fields);
        for (const QJsonValue &expected : knownPreviews(sample)) {
            const QJsonValue sides = expected[QStringLiteral("size")];
            if (expected[QStringLiteral("format")].toString() != QStringLiteral("JPEG"))
                continue;
            ++known;
            EXPECT_TRUE(std::ranges::any_of(
                previews,
                [&](const RawPreview &preview) {
                    return preview.size == QSize(sides[0].toInt(), sides[1].toInt()) &&
                           preview.length == expected[QStringLiteral("bytes")].toInt();
                }))
                << pathOf(sample) << ": "
                << expected[QStringLiteral("exiftool_tag")].toString().toStdString();
        }
    }
    EXPECT_GE(known, 30);
}

TEST(RawPreviewList, IsEmptyForWhatIsNoRawFile)
{
    EXPECT_TRUE(previewsOf({}).empty());
    EXPECT_TRUE(previewsOf("FUJIFILM").empty());
    EXPECT_TRUE(previewsOf(jpeg(100, 100)).empty());
    EXPECT_TRUE(previewsOf("neither raw nor anything else").empty());
}

} // namespace

} // namespace tavolin
