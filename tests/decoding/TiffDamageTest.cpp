// TIFF files that are cut short, that lie, and that are refused.

#include "decoding/codecs/TiffCodec.h"

#include "FileBytes.h"
#include "pictures/Picture.h"
#include "TestPictures.h"
#include "WrittenTiff.h"

#include <QtEndian>

#include <ctime>
#include <ostream>
#include <string>
#include <vector>

namespace tavolin {

namespace {

using namespace test;

constexpr int NO_LIMIT = 100'000;
constexpr std::uint32_t BEYOND = 0xfffffff0;

Image decoded(const QByteArray &tiff, int maxPixel = NO_LIMIT)
{
    return decodeTiff(fileOf(tiff), maxPixel).image;
}

QByteArray deflated(const QByteArray &bytes)
{
    return qCompress(bytes).mid(4); // without the length that Qt puts before
}

/// A page of grey numbers whose directory stands before its strips or tiles, so that a file which
/// is cut short still has it.
struct Blocks
{
    QSize size;
    int bits = 8;
    int compression = COMPRESSION_NONE;
    QSize block; ///< Of a tile, or all columns and the rows of a strip.
    bool isTiled = false;
    std::vector<QByteArray> packed;
    std::vector<Field> changed; ///< Take the place of the fields of their tags, or are added.
};

QByteArray fileWith(const Blocks &blocks)
{
    const auto number = [](auto value) { return static_cast<std::uint32_t>(value); };
    std::vector<Field> fields{
        {256, LONG, 1, number(blocks.size.width())},
        {257, LONG, 1, number(blocks.size.height())},
        {258, SHORT, 1, number(blocks.bits)},
        {259, SHORT, 1, number(blocks.compression)},
        {262, SHORT, 1, PHOTOMETRIC_MINISBLACK},
        {blocks.isTiled ? std::uint16_t{324} : std::uint16_t{273}, LONG,
         number(blocks.packed.size()), 0},
        {277, SHORT, 1, 1},
        {blocks.isTiled ? std::uint16_t{325} : std::uint16_t{279}, LONG,
         number(blocks.packed.size()), 0},
    };
    if (blocks.isTiled)
        fields.insert(fields.end(), {{322, LONG, 1, number(blocks.block.width())},
                                     {323, LONG, 1, number(blocks.block.height())}});
    else
        fields.push_back({278, LONG, 1, number(blocks.block.height())});
    for (const Field &field : blocks.changed) {
        const auto same = std::find_if(fields.begin(), fields.end(),
                                       [&](const Field &one) { return one.tag == field.tag; });
        if (same == fields.end())
            fields.push_back(field);
        else
            *same = field;
    }
    std::sort(fields.begin(), fields.end(),
              [](const Field &a, const Field &b) { return a.tag < b.tag; });

    const std::size_t arrays = 8 + 2 + 12 * fields.size() + 4;
    std::size_t at = arrays + 8 * blocks.packed.size();
    FileBytes offsets(ByteOrder::Little);
    FileBytes counts(ByteOrder::Little);
    QByteArray data;
    for (const QByteArray &block : blocks.packed) {
        offsets.u32(at);
        counts.u32(static_cast<std::uint64_t>(block.size()));
        data += block;
        at += static_cast<std::size_t>(block.size());
    }
    // One number stands in the entry itself.
    const bool isOne = blocks.packed.size() == 1;
    for (Field &field : fields) {
        if (field.value != 0 || field.count != blocks.packed.size())
            continue;
        if (field.tag == 273 || field.tag == 324)
            field.value = number(isOne ? arrays + 8 : arrays);
        else if (field.tag == 279 || field.tag == 325)
            field.value = number(isOne ? static_cast<std::size_t>(data.size())
                                       : arrays + 4 * blocks.packed.size());
    }
    return tiff(ByteOrder::Little, fields) + offsets.bytes() + counts.bytes() + data;
}

/// The level of each pixel: bands of ten rows in 25 shades, none of them that of MISSING.
int levelAt(int y)
{
    return y / 10 * 10 % 250 + 3;
}

/// 60x100 pixels in strips of ten rows or tiles of 32x16, packed as @p compression says.
Blocks bands(int compression, bool isTiled = false)
{
    Blocks blocks{.size = {60, 100},
                  .compression = compression,
                  .block = isTiled ? QSize(32, 16) : QSize(60, 10),
                  .isTiled = isTiled,
                  .packed = {},
                  .changed = {}};
    for (int top = 0; top < 100; top += blocks.block.height()) {
        QByteArray bytes;
        for (int y = top; y < top + blocks.block.height(); ++y)
            bytes += QByteArray(blocks.block.width(), static_cast<char>(levelAt(y)));
        for (int left = 0; left < 60; left += blocks.block.width())
            blocks.packed.push_back(compression == COMPRESSION_NONE ? bytes : deflated(bytes));
    }
    return blocks;
}

Pixel greyOf(int level)
{
    return 0xff000000 | static_cast<Pixel>(level) * 0x010101;
}

struct Packing
{
    const char *name;
    int compression;
    bool isTiled;
};

void PrintTo(const Packing &packing, std::ostream *out)
{
    *out << packing.name;
}

class TiffDamage : public testing::TestWithParam<Packing>
{
protected:
    [[nodiscard]] static Blocks blocks()
    {
        return bands(GetParam().compression, GetParam().isTiled);
    }
};

INSTANTIATE_TEST_SUITE_P(All, TiffDamage,
                         testing::Values(Packing{"Plain", COMPRESSION_NONE, false},
                                         Packing{"Deflated", COMPRESSION_ADOBE_DEFLATE, false},
                                         Packing{"Tiled", COMPRESSION_NONE, true},
                                         Packing{"DeflatedTiles", COMPRESSION_ADOBE_DEFLATE, true}),
                         [](const auto &one) { return std::string(one.param.name); });

TEST_P(TiffDamage, WholeFileIsShown)
{
    const Image image = decoded(fileWith(blocks()));
    ASSERT_EQ(image.size(), QSize(60, 100));
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 60; ++x)
            ASSERT_EQ(image.row(y)[x], greyOf(levelAt(y))) << x << ", " << y;
}

TEST_P(TiffDamage, WhatIsCutOffIsGrey)
{
    const QByteArray whole = fileWith(blocks());
    int shown = 0;
    for (qsizetype length = 0; length < whole.size(); length += 1 + length / 50) {
        const Image image = decoded(whole.first(length));
        if (image.isNull())
            continue;
        ++shown;
        ASSERT_EQ(image.size(), QSize(60, 100)) << length;
        for (int y = 0; y < 100; ++y)
            for (int x = 0; x < 60; ++x)
                ASSERT_TRUE(image.row(y)[x] == greyOf(levelAt(y)) || image.row(y)[x] == GREY)
                    << length << ": " << x << ", " << y;
        EXPECT_EQ(image.row(99)[59], GREY) << length;
    }
    EXPECT_GT(shown, 5);
}

TEST_P(TiffDamage, BlockBeyondTheEndIsGreyAndTheOthersAreShown)
{
    for (const std::uint32_t offset : {100'000U, 0x7fffffffU, BEYOND}) {
        const Blocks parts = blocks();
        QByteArray file = fileWith(parts);
        // The third block's offset.
        const qsizetype arrays =
            file.size() - 8 * static_cast<qsizetype>(parts.packed.size()) - [&] {
                qsizetype bytes = 0;
                for (const QByteArray &block : parts.packed)
                    bytes += block.size();
                return bytes;
            }();
        file.replace(arrays + 8, 4, FileBytes(ByteOrder::Little).u32(offset).bytes());
        const Image image = decoded(file);
        ASSERT_EQ(image.size(), QSize(60, 100));
        // The third strip has rows 20 to 29, the third tile the left half of rows 16 to 31.
        const int top = GetParam().isTiled ? 16 : 20;
        EXPECT_EQ(image.row(top - 1)[0], greyOf(levelAt(top - 1)));
        EXPECT_EQ(image.row(top)[0], GREY);
        EXPECT_EQ(image.row(29)[31], GREY);
        EXPECT_EQ(image.row(29)[32], GetParam().isTiled ? greyOf(levelAt(29)) : GREY);
        EXPECT_EQ(image.row(32)[0], greyOf(levelAt(32)));
    }
}

TEST_P(TiffDamage, ByteCountsNearTheirLimitDoNoHarm)
{
    const Blocks parts = blocks();
    const QByteArray whole = fileWith(parts);
    const qsizetype end = whole.indexOf(parts.packed[0], 120);
    for (const std::uint32_t count : {0U, 1U, 0x7fffffffU, 0x80000000U, 0xffffffffU, BEYOND}) {
        for (std::size_t block = 0; block < parts.packed.size(); block += 3) {
            QByteArray file = whole;
            const auto left = static_cast<qsizetype>(parts.packed.size() - block);
            file.replace(end - 4 * left, 4, FileBytes(ByteOrder::Little).u32(count).bytes());
            const Image image = decoded(file);
            EXPECT_TRUE(image.isNull() || image.size() == QSize(60, 100)) << count;
        }
    }
}

TEST_P(TiffDamage, RandomDamageDoesNoHarmInSilence)
{
    const QByteArray whole = fileWith(blocks());
    testing::internal::CaptureStderr();
    for (unsigned seed = 0; seed < 200; ++seed) {
        const Image image = decoded(damaged(whole, seed), 40);
        ASSERT_LE(std::max(image.width(), image.height()), 40) << seed;
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// Memory that was another picture's must not come back in what is missing.
TEST_P(TiffDamage, DecodeIsTheSameWhateverWasDecodedBefore)
{
    const QByteArray whole = fileWith(blocks());
    const QByteArray cut = whole.first(whole.size() * 2 / 3);
    const Image first = decoded(cut);
    const QByteArray loud = writtenTiff({.size = {60, 100}}, [](int, int, int) { return 255; });
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(looksLike(decoded(loud), flatImage({60, 100}, 0xffffffff)));
        EXPECT_TRUE(looksLike(decoded(cut), first));
    }
}

TEST_P(TiffDamage, IsNullOnceStopped)
{
    EXPECT_TRUE(decodeTiff(stoppedFileOf(fileWith(blocks())), NO_LIMIT).isNull());
}

// An uncompressed strip is no thing that is whole or not: each of its rows is.
TEST(TiffStrip, PlainOneIsShownUpToTheRowThatIsCut)
{
    Blocks blocks{
        .size = {60, 100}, .block = {60, 100}, .packed = {QByteArray(6000, '\x55')}, .changed = {}};
    const QByteArray whole = fileWith(blocks);
    const Image image = decoded(whole.first(whole.size() - 6000 + 60 * 41 + 59));
    ASSERT_EQ(image.size(), QSize(60, 100));
    EXPECT_EQ(image.row(40)[59], 0xff555555);
    EXPECT_EQ(image.row(41)[0], GREY);
    EXPECT_EQ(image.row(99)[0], GREY);
}

TEST(TiffStrip, PlainOneEndsWhereItsBytesEnd)
{
    Blocks blocks = bands(COMPRESSION_NONE);
    const QByteArray whole = fileWith(blocks);
    QByteArray file = whole;
    // The count of the third strip: 4 of its 10 rows, and a part of the fifth.
    file.replace(whole.indexOf(blocks.packed[0], 120) - 4 * 8, 4,
                 FileBytes(ByteOrder::Little).u32(60 * 4 + 30).bytes());
    const Image image = decoded(file);
    ASSERT_EQ(image.size(), QSize(60, 100));
    EXPECT_EQ(image.row(23)[59], greyOf(levelAt(23)));
    EXPECT_EQ(image.row(24)[0], GREY);
    EXPECT_EQ(image.row(29)[59], GREY);
    EXPECT_EQ(image.row(30)[0], greyOf(levelAt(30)));
}

TEST(TiffStrip, BrokenOneIsGreyFromItsFirstBrokenRowOn)
{
    Blocks blocks = bands(COMPRESSION_ADOBE_DEFLATE);
    blocks.block = {60, 50};
    QByteArray noise;
    std::mt19937 random(3);
    while (noise.size() < 3000)
        noise.append(static_cast<char>(random() % 64)); // hardly shrinks: breaks where it is broken
    QByteArray broken = deflated(noise);
    broken.replace(broken.size() / 2, 40, QByteArray(40, '\xff'));
    blocks.packed = {broken, deflated(QByteArray(3000, '\x55'))};
    const Image image = decoded(fileWith(blocks));
    ASSERT_EQ(image.size(), QSize(60, 100));
    EXPECT_EQ(image.row(0)[0], greyOf(noise[0]));
    EXPECT_EQ(image.row(10)[59], greyOf(noise[659]));
    EXPECT_EQ(image.row(49)[0], GREY);
    EXPECT_EQ(image.row(49)[59], GREY);
    EXPECT_EQ(image.row(50)[0], 0xff555555);
    EXPECT_EQ(image.row(99)[59], 0xff555555);
}

// The library finds nothing wrong with it.
TEST(TiffStrip, OfFaxWithTooFewRowsIsWhiteFromThereOn)
{
    const TiffPage page{.size = {64, 10},
                        .bits = 1,
                        .samples = 1,
                        .photometric = PHOTOMETRIC_MINISWHITE,
                        .compression = COMPRESSION_CCITTFAX4,
                        .rowsPerStrip = 10};
    const QByteArray written = writtenTiff(page, [](int, int, int) { return 1; });
    const auto end = qFromLittleEndian<quint32>(written.constData() + 4);
    const Blocks blocks{.size = {64, 20},
                        .bits = 1,
                        .compression = COMPRESSION_CCITTFAX4,
                        .block = {64, 20},
                        .packed = {written.mid(8, end - 8)},
                        .changed = {{262, SHORT, 1, PHOTOMETRIC_MINISWHITE}}};
    const Image image = decoded(fileWith(blocks));
    ASSERT_EQ(image.size(), QSize(64, 20));
    EXPECT_EQ(image.row(9)[63], 0xff000000);
    for (int x = 0; x < 64; ++x)
        EXPECT_EQ(image.row(15)[x], 0xffffffff) << x;
}

// Too large to be unpacked whole.
TEST(TiffStrip, LargeOneIsShownAndGreyWhereItBreaks)
{
    constexpr QSize SIZE(3000, 1500);
    QByteArray rows;
    for (int y = 0; y < SIZE.height(); ++y)
        rows.append(SIZE.width(), static_cast<char>(levelAt(y)));
    Blocks blocks{.size = SIZE,
                  .compression = COMPRESSION_ADOBE_DEFLATE,
                  .block = SIZE,
                  .packed = {deflated(rows)},
                  .changed = {}};
    const Image whole = decoded(fileWith(blocks));
    ASSERT_EQ(whole.size(), SIZE);
    for (int y = 0; y < SIZE.height(); ++y)
        ASSERT_EQ(whole.row(y)[y], greyOf(levelAt(y))) << y;
    blocks.packed = {deflated(rows.first(3000 * 1000 + 7))};
    const Image broken = decoded(fileWith(blocks));
    EXPECT_EQ(broken.row(999)[2999], greyOf(levelAt(999)));
    EXPECT_EQ(broken.row(1000)[0], GREY);
    EXPECT_EQ(broken.row(1499)[2999], GREY);
}

TEST(TiffStrip, NothingButMissingOnesIsNull)
{
    Blocks blocks = bands(COMPRESSION_NONE);
    const QByteArray whole = fileWith(blocks);
    EXPECT_TRUE(decoded(whole.first(whole.indexOf(blocks.packed[0], 120))).isNull());
}

TEST(TiffPage, ThatIsFollowedByItselfIsShown)
{
    QByteArray file = fileWith(bands(COMPRESSION_NONE));
    const qsizetype next = 8 + 2 + 12 * 9;
    ASSERT_EQ(file.mid(next, 4), QByteArray(4, '\0'));
    file[next] = 8;
    EXPECT_EQ(decoded(file).size(), QSize(60, 100));
}

/// 102 megapixels of 16 bits, all strips the same one.
TEST(TiffPage, Of102MegapixelsOf16BitsIsShown)
{
    const QByteArray strip = deflated(QByteArray(qsizetype{11'664} * 2 * 125, '\x55'));
    Blocks blocks{.size = {11'664, 8750},
                  .bits = 16,
                  .compression = COMPRESSION_ADOBE_DEFLATE,
                  .block = {11'664, 125},
                  .packed = std::vector<QByteArray>(70, strip),
                  .changed = {}};
    EXPECT_TRUE(looksLike(decoded(fileWith(blocks), 100), flatImage({100, 75}, 0xff555555)));
}

TEST(TiffPage, OfMoreThan300MegapixelsComesOutReducedOnly)
{
    const QByteArray strip = deflated(QByteArray(qsizetype{17'600} * 125, '\x55'));
    const QByteArray file = fileWith({.size = {17'600, 17'500},
                                      .compression = COMPRESSION_ADOBE_DEFLATE,
                                      .block = {17'600, 125},
                                      .packed = std::vector<QByteArray>(140, strip),
                                      .changed = {}});
    EXPECT_TRUE(looksLike(decoded(file, 352), flatImage({352, 350}, 0xff555555)));
    EXPECT_TRUE(decoded(file).isNull());
}

/// A file that has some rows, of one level, of the gigapixel that it claims.
struct Claim
{
    const char *name;
    Blocks blocks;
};

void PrintTo(const Claim &claim, std::ostream *out)
{
    *out << claim.name;
}

class TiffClaim : public testing::TestWithParam<Claim>
{};

constexpr QSize GIGAPIXEL(31'250, 32'000);
const QByteArray SOME_ROWS(qsizetype{31'250} * 3, '\x55');

INSTANTIATE_TEST_SUITE_P(OfAGigapixel, TiffClaim,
                         testing::Values(Claim{"PlainInOneStrip",
                                               {.size = GIGAPIXEL,
                                                .block = GIGAPIXEL,
                                                .packed = {SOME_ROWS},
                                                .changed = {{279, LONG, 1, 1'000'000'000}}}},
                                         Claim{"PlainInStripsOfARow",
                                               {.size = GIGAPIXEL,
                                                .block = {31'250, 1},
                                                .packed = {3, SOME_ROWS.first(31'250)},
                                                .changed = {}}},
                                         Claim{"DeflatedInOneStrip",
                                               {.size = GIGAPIXEL,
                                                .compression = COMPRESSION_ADOBE_DEFLATE,
                                                .block = GIGAPIXEL,
                                                .packed = {deflated(SOME_ROWS)},
                                                .changed = {}}},
                                         Claim{
                                             "DeflatedInTiles",
                                             {.size = GIGAPIXEL,
                                              .compression = COMPRESSION_ADOBE_DEFLATE,
                                              .block = {256, 256},
                                              .isTiled = true,
                                              .packed = {3, deflated(QByteArray(1 << 16, '\x55'))},
                                              .changed = {}}}),
                         [](const auto &one) { return std::string(one.param.name); });

// What is not there is not scaled, which takes some seconds.
TEST_P(TiffClaim, CostsNothing)
{
    const QByteArray file = fileWith(GetParam().blocks);
    const std::clock_t begin = std::clock();
    const Image image = decoded(file, 500);
    EXPECT_LT(static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC, 0.5);
    ASSERT_EQ(image.size(), QSize(488, 500));
    EXPECT_EQ(pixelAt(image, 1, 1), MISSING);
}

TEST(TiffPage, OfMoreThanAGigapixelIsRefused)
{
    Blocks blocks{
        .size = {31'250, 32'000}, .block = {31'250, 1}, .packed = {3, SOME_ROWS}, .changed = {}};
    EXPECT_FALSE(decoded(fileWith(blocks), 500).isNull());
    blocks.size = {31'250, 32'001};
    EXPECT_TRUE(decoded(fileWith(blocks), 500).isNull());
}

// libtiff takes a failed read for one of −1 bytes and clears memory before its buffer's start: the
// end of a file is no failure.
TEST(TiffStrip, OfJpegBeyondTheEndIsNull)
{
    Blocks blocks = bands(COMPRESSION_JPEG);
    blocks.changed = {{273, LONG, 1, 100'000}, {278, LONG, 1, 100}, {279, LONG, 1, 5000}};
    EXPECT_TRUE(decoded(fileWith(blocks)).isNull());
}

struct Lie
{
    const char *name;
    bool isTiled;
    std::vector<Field> fields;
};

void PrintTo(const Lie &lie, std::ostream *out)
{
    *out << lie.name;
}

class TiffLie : public testing::TestWithParam<Lie>
{};

INSTANTIATE_TEST_SUITE_P(
    All, TiffLie,
    testing::Values(
        Lie{"WidthOfNothing", false, {{256, LONG, 1, 0}}},
        Lie{"HeightOfNothing", false, {{257, LONG, 1, 0}}},
        Lie{"HugeWidth", false, {{256, LONG, 1, 0xffffffff}}},
        Lie{"HugeHeight", false, {{257, LONG, 1, 0xffffffff}}},
        Lie{"TooManyPixels", false, {{256, LONG, 1, 20'000}, {257, LONG, 1, 20'000}}},
        Lie{"MoreNumbersThanAnybodyHas", false, {{277, SHORT, 1, 65'535}}},
        Lie{"NumbersWithoutDepth", false, {{258, SHORT, 1, 0}}},
        Lie{"NumbersOf33Bits", false, {{258, SHORT, 1, 33}}},
        Lie{"FloatsOf24Bits", false, {{258, SHORT, 1, 24}, {339, SHORT, 1, SAMPLEFORMAT_IEEEFP}}},
        Lie{"ComplexNumbers",
            false,
            {{258, SHORT, 1, 64}, {339, SHORT, 1, SAMPLEFORMAT_COMPLEXINT}}},
        Lie{"NoRowsInAStrip", false, {{278, LONG, 1, 0}}},
        Lie{"UnknownCompression", false, {{259, SHORT, 1, 12'345}}},
        Lie{"UnknownMeaning", false, {{262, SHORT, 1, 12'345}}},
        Lie{"SensorData", false, {{262, SHORT, 1, PHOTOMETRIC_CFA}}},
        Lie{"LinearSensorData", false, {{262, SHORT, 1, 34'892}}},
        Lie{"ItuLab", false, {{262, SHORT, 1, PHOTOMETRIC_ITULAB}, {277, SHORT, 1, 3}}},
        Lie{"LabOf32Bits",
            false,
            {{258, SHORT, 1, 32}, {262, SHORT, 1, PHOTOMETRIC_CIELAB}, {277, SHORT, 1, 3}}},
        Lie{"LabOfFloats",
            false,
            {{258, SHORT, 1, 16},
             {262, SHORT, 1, PHOTOMETRIC_CIELAB},
             {277, SHORT, 1, 3},
             {339, SHORT, 1, SAMPLEFORMAT_IEEEFP}}},
        Lie{"OtherInks",
            false,
            {{262, SHORT, 1, PHOTOMETRIC_SEPARATED},
             {277, SHORT, 1, 4},
             {332, SHORT, 1, INKSET_MULTIINK}}},
        Lie{"TooFewInks", false, {{262, SHORT, 1, PHOTOMETRIC_SEPARATED}, {277, SHORT, 1, 3}}},
        Lie{"PaletteWithoutColors",
            false,
            {{258, SHORT, 1, 4}, {262, SHORT, 1, PHOTOMETRIC_PALETTE}}},
        Lie{"PlanesThatShareChroma",
            false,
            {{262, SHORT, 1, PHOTOMETRIC_YCBCR}, {277, SHORT, 1, 3}, {284, SHORT, 1, 2}}},
        Lie{"ChromaSharedByThree",
            false,
            {{262, SHORT, 1, PHOTOMETRIC_YCBCR}, {277, SHORT, 1, 3}, {530, SHORT, 2, 3 | 3 << 16}}},
        Lie{"TileOfNoWidth", true, {{322, LONG, 1, 0}}},
        Lie{"TileOfNoHeight", true, {{323, LONG, 1, 0}}},
        Lie{"HugeTile", true, {{322, LONG, 1, BEYOND}, {323, LONG, 1, BEYOND}}},
        Lie{"HugeTileWidth", true, {{322, LONG, 1, BEYOND}}},
        Lie{"HugeTileHeight", true, {{323, LONG, 1, BEYOND}}},
        Lie{"TileOverTheMemory", true, {{322, LONG, 1, 32'768}, {323, LONG, 1, 32'768}}},
        Lie{"DirectoryOfStripsBeyondTheEnd",
            false,
            {{273, LONG, 10, BEYOND}, {279, LONG, 10, BEYOND}}}),
    [](const auto &one) { return std::string(one.param.name); });

TEST_P(TiffLie, IsRefusedInSilence)
{
    Blocks blocks = bands(COMPRESSION_NONE, GetParam().isTiled);
    ASSERT_FALSE(decoded(fileWith(blocks)).isNull());
    blocks.changed = GetParam().fields;
    testing::internal::CaptureStderr();
    EXPECT_TRUE(decoded(fileWith(blocks)).isNull());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace

} // namespace tavolin
