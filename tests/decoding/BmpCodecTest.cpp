#include "decoding/codecs/BmpCodec.h"

#include "decoding/color/Color.h"
#include "FileBytes.h"
#include "pictures/Picture.h"
#include "TestPictures.h"

#include <QBuffer>
#include <QImageWriter>

#include <ostream>
#include <string>
#include <vector>

namespace tavolin {

namespace {

using namespace test;

constexpr int NO_LIMIT = 100'000;
constexpr Pixel BLACK = 0xff000000;
constexpr Pixel WHITE = 0xffffffff;
constexpr std::array<Pixel, 4> SHOWN{RED, GREEN, BLUE, YELLOW};

/// biCompression.
enum Compression {
    Plain = 0,
    Rle8 = 1,
    Rle4 = 2,
    BitFields = 3,
    Jpeg = 4,
    Png = 5,
    AlphaBitFields = 6
};

Image decoded(const QByteArray &bmp, int maxPixel = NO_LIMIT)
{
    return decodeBmp(fileOf(bmp), maxPixel).image;
}

/// A BMP as its fields say; what it does not name is zeros.
struct Bmp
{
    int width = 5;
    int height = 4; ///< Below 0: rows from the top.
    int bits = 24;
    int headerBytes = 40;
    std::uint32_t compression = Plain;
    std::vector<std::uint32_t> masks;
    std::vector<Pixel> palette;
    std::uint32_t colorsUsed = 0;
    std::uint32_t colorSpace = 0; ///< bV4CSType.
    QByteArray profile;           ///< Behind the pixels.
    QByteArray pixels;
};

QByteArray fileOfBmp(const Bmp &bmp)
{
    const bool isCore = bmp.headerBytes == 12;
    FileBytes header(ByteOrder::Little);
    header.u32(static_cast<std::uint64_t>(bmp.headerBytes));
    if (isCore) {
        header.u16(static_cast<std::uint64_t>(bmp.width))
            .u16(static_cast<std::uint64_t>(bmp.height));
        header.u16(1).u16(static_cast<std::uint64_t>(bmp.bits));
    } else {
        header.u32(static_cast<std::uint64_t>(bmp.width))
            .u32(static_cast<std::uint64_t>(bmp.height));
        header.u16(1).u16(static_cast<std::uint64_t>(bmp.bits));
        header.u32(bmp.compression).u32(0).u32(0).u32(0).u32(bmp.colorsUsed).u32(0);
    }
    QByteArray bytes =
        header.bytes().first(std::min(header.bytes().size(), qsizetype{bmp.headerBytes}));
    FileBytes masks(ByteOrder::Little);
    for (const std::uint32_t mask : bmp.masks)
        masks.u32(mask);
    bytes += masks.bytes(); // behind a header of 40 bytes, inside a longer one
    if (bytes.size() < bmp.headerBytes)
        bytes.append(bmp.headerBytes - bytes.size(), '\0');
    if (bmp.headerBytes >= 108)
        bytes.replace(56, 4, FileBytes(ByteOrder::Little).u32(bmp.colorSpace).bytes());
    for (const Pixel color : bmp.palette) {
        bytes.append(static_cast<char>(color)).append(static_cast<char>(color >> 8));
        bytes.append(static_cast<char>(color >> 16));
        if (!isCore)
            bytes.append('\0');
    }
    if (bmp.headerBytes == 124) {
        FileBytes place(ByteOrder::Little);
        place.u32(static_cast<std::uint64_t>(bytes.size() + bmp.pixels.size()));
        bytes.replace(112, 8, place.u32(static_cast<std::uint64_t>(bmp.profile.size())).bytes());
    }
    FileBytes file(ByteOrder::Little);
    file.text("BM").u32(static_cast<std::uint64_t>(14 + bytes.size() + bmp.pixels.size())).u32(0);
    file.u32(static_cast<std::uint64_t>(14 + bytes.size()));
    return file.append(bytes).append(bmp.pixels).append(bmp.profile).bytes();
}

/// The rows of a picture of 5x4 pixels with the quarters @p stored: the left ones three pixels
/// wide, all two rows high.
QByteArray rowsOf(const Bmp &bmp, const std::array<std::uint32_t, 4> &stored)
{
    QByteArray rows;
    for (int row = 0; row < 4; ++row) {
        const int y = bmp.height < 0 ? row : 3 - row;
        std::uint64_t bitsOfRow = 0; // of indices
        QByteArray bytes;
        for (int x = 0; x < 5; ++x) {
            const std::uint32_t pixel = stored[(y < 2 ? 0U : 2U) + (x < 3 ? 0U : 1U)];
            if (bmp.bits >= 8)
                bytes += FileBytes(ByteOrder::Little).u32(pixel).bytes().first(bmp.bits / 8);
            else
                bitsOfRow |= std::uint64_t{pixel} << (64 - bmp.bits * (x + 1));
        }
        if (bmp.bits < 8)
            bytes = FileBytes().u64(bitsOfRow).bytes().first((5 * bmp.bits + 7) / 8);
        bytes.append((4 - bytes.size() % 4) % 4, '\xee'); // nobody looks at it
        rows += bytes;
    }
    return rows;
}

struct Kind
{
    const char *name;
    Bmp bmp;
    std::array<std::uint32_t, 4> stored;
    std::array<Pixel, 4> shown = SHOWN;
};

void PrintTo(const Kind &kind, std::ostream *out)
{
    *out << kind.name;
}

const std::vector<Pixel> FOUR{RED, GREEN, BLUE, YELLOW};
constexpr std::array<std::uint32_t, 4> INDICES{0, 1, 2, 3};
constexpr std::array<std::uint32_t, 4> RGB{0xff0000, 0xff00, 0xff, 0xffff00};
constexpr std::array<std::uint32_t, 4> RGB_555{0x7c00, 0x3e0, 0x1f, 0x7fe0};

std::vector<Kind> kinds()
{
    // Straight alpha: 200 at 128 of 255 is 100.4.
    constexpr std::array<std::uint32_t, 4> COVERING{0x00ffffff, 0x80c80000, 0x80ffffff, 0xff0000ff};
    constexpr std::array<Pixel, 4> COVERED{0, 0x80640000, 0x80808080, BLUE};
    constexpr std::array<Pixel, 4> UNCOVERED{WHITE, 0xffc80000, WHITE, BLUE};
    const std::vector<std::uint32_t> argb{0xff0000, 0xff00, 0xff, 0xff000000};
    return {
        {"Bit1", {.bits = 1, .palette = {RED, GREEN}}, {0, 1, 1, 0}, {RED, GREEN, GREEN, RED}},
        {"Bit2", {.bits = 2, .palette = FOUR}, INDICES},
        {"Bit4", {.bits = 4, .palette = FOUR, .colorsUsed = 4}, INDICES},
        {"Bit8", {.bits = 8, .palette = FOUR, .colorsUsed = 4}, INDICES},
        {"Bit8OfAShortPalette", {.bits = 8, .palette = FOUR}, INDICES},
        {"Bit8BeyondThePalette",
         {.bits = 8, .palette = FOUR, .colorsUsed = 4},
         {0, 4, 255, 3},
         {RED, BLACK, BLACK, YELLOW}},
        {"Bit8OfTooManyColors", {.bits = 8, .palette = FOUR, .colorsUsed = 0xffffffff}, INDICES},
        {"Bit16", {.bits = 16}, RGB_555},
        // 16 of 31 is 131.6 of 255; the highest bit has no meaning.
        {"Bit16Levels",
         {.bits = 16},
         {0xffff, 0x4000, 0x0200, 0x0010},
         {WHITE, 0xff840000, 0xff008400, 0xff000084}},
        {"Bit24", {}, RGB},
        {"Bit32", {.bits = 32}, {0x00ff0000, 0x8000ff00, 0xff0000ff, 0x01ffff00}},
        {"Bit24FromTheTop", {.height = -4}, RGB},
        {"Bit8FromTheTop", {.height = -4, .bits = 8, .palette = FOUR, .colorsUsed = 4}, INDICES},
        {"Bit32FromTheTop", {.height = -4, .bits = 32}, RGB},
        {"Fields565",
         {.bits = 16, .compression = BitFields, .masks = {0xf800, 0x7e0, 0x1f}},
         {0xf800, 0x7e0, 0x1f, 0xffe0}},
        {"Fields444",
         {.bits = 16, .compression = BitFields, .masks = {0xf00, 0xf0, 0xf}},
         {0xf00, 0xf0, 0xf, 0xff8},
         {RED, GREEN, BLUE, 0xffffff88}},
        {"FieldsOfOneBit",
         {.bits = 16, .compression = BitFields, .masks = {4, 2, 1}},
         {4, 2, 1, 6}},
        {"FieldsSwapped",
         {.bits = 32, .compression = BitFields, .masks = {0xff, 0xff00, 0xff0000}},
         {0xff, 0xff00, 0xff0000, 0xffff}},
        {"FieldsOfTenBits",
         {.bits = 32, .compression = BitFields, .masks = {0x3ff00000, 0xffc00, 0x3ff}},
         {0x3ff00000, 0xffc00, 0x3ff, 0x3ff00000 | 0xffc00}},
        {"FieldsWithoutRed",
         {.bits = 32, .compression = BitFields, .masks = {0, 0xff00, 0xff}},
         {0xff0000, 0xff00, 0xff, 0xffff00},
         {BLACK, GREEN, BLUE, GREEN}},
        {"FieldsOfTheWholePixel",
         {.bits = 32, .compression = BitFields, .masks = {0xffffffff, 0, 0}},
         {0, 0xffffffff, 0x80000000, 0xff},
         {BLACK, RED, 0xff800000, BLACK}},
        {"Version2Fields",
         {.bits = 16, .headerBytes = 52, .compression = BitFields, .masks = {0xf800, 0x7e0, 0x1f}},
         {0xf800, 0x7e0, 0x1f, 0xffe0}},
        {"Version3Alpha",
         {.bits = 32, .headerBytes = 56, .compression = BitFields, .masks = argb},
         COVERING,
         COVERED},
        {"Version4Alpha",
         {.bits = 32, .headerBytes = 108, .compression = BitFields, .masks = argb},
         COVERING,
         COVERED},
        {"Version5Alpha",
         {.bits = 32, .headerBytes = 124, .compression = BitFields, .masks = argb},
         COVERING,
         COVERED},
        {"Version5AlphaFromTheTop",
         {.height = -4, .bits = 32, .headerBytes = 124, .compression = BitFields, .masks = argb},
         COVERING,
         COVERED},
        {"Alpha1555",
         {.bits = 16,
          .headerBytes = 124,
          .compression = BitFields,
          .masks = {0x7c00, 0x3e0, 0x1f, 0x8000}},
         {0x7fff, 0xfc00, 0x83e0, 0x801f},
         {0, RED, GREEN, BLUE}},
        {"AlphaFieldsBehindTheHeader",
         {.bits = 32, .compression = AlphaBitFields, .masks = argb},
         COVERING,
         COVERED},
        {"FieldsBehindTheHeaderHaveNoAlpha",
         {.bits = 32, .compression = BitFields, .masks = {0xff0000, 0xff00, 0xff}},
         COVERING,
         UNCOVERED},
        {"Version5WithoutFieldsIsOpaque",
         {.bits = 32, .headerBytes = 124, .masks = argb},
         COVERING,
         UNCOVERED},
        {"Core1",
         {.bits = 1, .headerBytes = 12, .palette = {RED, GREEN}},
         {0, 1, 1, 0},
         {RED, GREEN, GREEN, RED}},
        {"Core4", {.bits = 4, .headerBytes = 12, .palette = FOUR}, INDICES},
        {"Core8", {.bits = 8, .headerBytes = 12, .palette = FOUR}, INDICES},
        {"Core24", {.headerBytes = 12}, RGB},
        {"Os2Of16Bytes", {.bits = 8, .headerBytes = 16, .palette = FOUR}, INDICES},
        {"Os2Of64Bytes", {.bits = 8, .headerBytes = 64, .palette = FOUR}, INDICES},
        {"Os2Of64BytesBit24", {.headerBytes = 64}, RGB},
    };
}

class BmpKind : public testing::TestWithParam<Kind>
{};

INSTANTIATE_TEST_SUITE_P(All, BmpKind, testing::ValuesIn(kinds()),
                         [](const auto &one) { return std::string(one.param.name); });

TEST_P(BmpKind, ShowsItsQuarters)
{
    Bmp bmp = GetParam().bmp;
    bmp.pixels = rowsOf(bmp, GetParam().stored);
    const Image image = decoded(fileOfBmp(bmp));
    ASSERT_EQ(image.size(), QSize(5, 4));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 5; ++x)
            EXPECT_TRUE(
                isNear(image.row(y)[x], GetParam().shown[(y < 2 ? 0U : 2U) + (x < 3 ? 0U : 1U)], 0))
                << x << ", " << y;
    const bool hasAlpha = std::any_of(GetParam().shown.begin(), GetParam().shown.end(),
                                      [](Pixel pixel) { return pixel >> 24 != 0xff; });
    EXPECT_EQ(image.alpha(), hasAlpha ? Alpha::Premultiplied : Alpha::Opaque);
}

struct Runs
{
    const char *name;
    std::uint32_t compression;
    const char *codes; ///< In hexadecimal digits.
    /// Six by three pixels, from the top: r, g, b, y of the palette, and "-" where they are
    /// missing.
    const char *shown;
    int height = 3;
};

void PrintTo(const Runs &runs, std::ostream *out)
{
    *out << runs.name;
}

class BmpRuns : public testing::TestWithParam<Runs>
{};

INSTANTIATE_TEST_SUITE_P(
    All, BmpRuns,
    testing::Values(
        Runs{"Runs8", Rle8, "0600 0000 0601 0000 0602 0000 0001", "bbbbbb gggggg rrrrrr"},
        Runs{"Mixed8", Rle8, "0301 0302 0000 0006 000102030001 0000 0103 0503 0001",
             "yyyyyy rgbyrg gggbbb"},
        Runs{"OddSequence8", Rle8, "0003 010203 00 0302 0001", "rrrrrr rrrrrr gbybbb"},
        Runs{"Runs4", Rle4, "0601 0000 0612 0000 0623 0001", "bybyby gbgbgb rgrgrg"},
        Runs{"Sequences4", Rle4, "0006 012301 00 0000 0005 123120 00 0133 0001",
             "rrrrrr gbygby rgbyrg"},
        Runs{"EvenSequence4", Rle4, "0004 0123 0233 0001", "rrrrrr rrrrrr rgbyyy"},
        Runs{"JumpRight", Rle8, "0101 0002 0300 0202 0001", "rrrrrr rrrrrr grrrbb"},
        Runs{"JumpUp", Rle8, "0002 0201 0403 0000 0101 0001", "grrrrr rryyyy rrrrrr"},
        Runs{"EndsEarly", Rle8, "0601 0001", "rrrrrr rrrrrr gggggg"},
        Runs{"FromTheTop", Rle8, "0601 0000 0602 0000 0603 0001", "gggggg bbbbbb yyyyyy", -3},
        Runs{"RunOverTheEdge", Rle8, "ff01 0000 0602 0000 0603 0001", "yyyyyy bbbbbb gggggg"},
        Runs{"SequenceOverTheEdge", Rle8, "0009 010101010101020202 00 0000 0602 0001",
             "rrrrrr bbbbbb gggggg"},
        Runs{"JumpOutside", Rle8, "0601 0002 ffff 0603 0001", "rrrrrr rrrrrr gggggg"},
        Runs{"JumpOverTheEdge", Rle8, "0002 ff00 0303 0000 0602 0001", "rrrrrr bbbbbb rrrrrr"},
        Runs{"RowsAboveTheTop", Rle8, "0601 0000 0602 0000 0603 0000 0601 0000 0601 0001",
             "yyyyyy bbbbbb gggggg"},
        Runs{"BeyondThePalette", Rle8, "0601 0000 06ff 0000 0602 0001", "bbbbbb kkkkkk gggggg"},
        Runs{"CutInARow", Rle8, "0601 0000 0202", "------ bb---- gggggg"},
        Runs{"CutInACode", Rle8, "0601 0000 0202 06", "------ bb---- gggggg"},
        Runs{"CutInASequence", Rle8, "0601 0000 0006 0102", "------ gb---- gggggg"},
        Runs{"CutInAJump", Rle8, "0601 0000 0202 0002 01", "------ bb---- gggggg"},
        Runs{"CutFromTheTop", Rle8, "0601 0000 0202", "gggggg bb---- ------", -3},
        Runs{"CutInNibbles", Rle4, "0601 0000 0004 01", "------ rg---- rgrgrg"}),
    [](const auto &one) { return std::string(one.param.name); });

TEST_P(BmpRuns, AreShown)
{
    const Runs &runs = GetParam();
    const int bits = runs.compression == Rle8 ? 8 : 4;
    const Image image = decoded(fileOfBmp({.width = 6,
                                           .height = runs.height,
                                           .bits = bits,
                                           .compression = runs.compression,
                                           .palette = FOUR,
                                           .colorsUsed = 4,
                                           .pixels = QByteArray::fromHex(runs.codes)}));
    ASSERT_EQ(image.size(), QSize(6, 3));
    std::string shown;
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 6; ++x) {
            const Pixel pixel = image.row(y)[x];
            shown += pixel == RED      ? 'r'
                     : pixel == GREEN  ? 'g'
                     : pixel == BLUE   ? 'b'
                     : pixel == YELLOW ? 'y'
                     : pixel == BLACK  ? 'k'
                     : pixel == GREY   ? '-'
                                       : '?';
        }
        shown += y < 2 ? " " : "";
    }
    EXPECT_EQ(shown, runs.shown);
}

/// Each row in a colour of its own.
Bmp bandsOf(int bits, int height)
{
    Bmp bmp{.width = 50, .height = height, .bits = bits};
    for (int i = 0; i < 256; ++i)
        bmp.palette.push_back(0xff000000 | static_cast<Pixel>(i) * 0x010101);
    if (bits > 8)
        bmp.palette.clear();
    const int rowBytes = (50 * bits + 31) / 32 * 4;
    for (int row = 0; row < std::abs(height); ++row)
        bmp.pixels.append(rowBytes, static_cast<char>(row % 100 + 1));
    return bmp;
}

// Whichever way the rows are stored, and more of them than are read at a time.
TEST(BmpRows, WhatIsCutOffIsGrey)
{
    for (const int height : {2000, -2000}) {
        for (const int bits : {8, 24, 32}) {
            const Bmp bmp = bandsOf(bits, height);
            const QByteArray whole = fileOfBmp(bmp);
            const qsizetype begin = whole.size() - bmp.pixels.size();
            const qsizetype rowBytes = bmp.pixels.size() / 2000;
            for (const int rows : {1, 2, 777, 1999}) {
                // The last row lacks its last pixel.
                const Image image =
                    decoded(whole.first(begin + rows * rowBytes + 50 * bits / 8 - 1));
                ASSERT_EQ(image.size(), QSize(50, 2000));
                for (int stored = 0; stored < 2000; ++stored) {
                    const Pixel level = static_cast<Pixel>(stored % 100 + 1) * 0x010101;
                    const Pixel *const row = image.row(height < 0 ? stored : 1999 - stored);
                    ASSERT_EQ(row[0], stored < rows ? 0xff000000 | level : GREY) << stored;
                    ASSERT_EQ(row[49], row[0]);
                }
            }
            EXPECT_TRUE(decoded(whole.first(begin)).isNull());
            EXPECT_TRUE(decoded(whole.first(begin + 10)).isNull());
        }
    }
}

// Nobody misses what fills the last row to four bytes.
TEST(BmpRows, FillingOfTheLastOneMayBeCutOff)
{
    Bmp bmp;
    bmp.pixels = rowsOf(bmp, RGB);
    const QByteArray whole = fileOfBmp(bmp);
    EXPECT_TRUE(looksLike(decoded(whole.chopped(1)), decoded(whole)));
    EXPECT_EQ(decoded(whole.chopped(2)).row(0)[0], GREY);
}

TEST(BmpRows, AreScaledToTheLimit)
{
    const QImage drawn = pictures::fourQuarters({120, 80});
    QByteArray bytes;
    QBuffer buffer(&bytes);
    ASSERT_TRUE(QImageWriter(&buffer, "bmp").write(drawn));
    EXPECT_TRUE(showsFourQuarters(decoded(bytes), 0));
    EXPECT_EQ(decoded(bytes, 100).size(), QSize(100, 67));
    EXPECT_EQ(decoded(bytes, 1).size(), QSize(1, 1));
    EXPECT_TRUE(showsFourQuarters(decoded(bytes, 31), 0));
    EXPECT_TRUE(decodeBmp(stoppedFileOf(bytes), NO_LIMIT).isNull());
}

TEST(BmpProfile, IsKeptWhereItIsOfThesePixels)
{
    constexpr std::uint32_t EMBEDDED = 0x4d424544;
    constexpr std::uint32_t SRGB = 0x73524742;
    Bmp bmp{.headerBytes = 124, .colorSpace = EMBEDDED, .profile = displayP3Profile()};
    bmp.pixels = rowsOf(bmp, RGB);
    EXPECT_EQ(decoded(fileOfBmp(bmp)).iccProfile(), displayP3Profile());
    EXPECT_TRUE(decoded(fileOfBmp(bmp).chopped(1)).iccProfile().isEmpty());
    bmp.profile.replace(16, 4, "CMYK");
    EXPECT_TRUE(decoded(fileOfBmp(bmp)).iccProfile().isEmpty());
    bmp.profile = displayP3Profile();
    bmp.colorSpace = SRGB;
    EXPECT_TRUE(decoded(fileOfBmp(bmp)).iccProfile().isEmpty());
}

// sRGB's primaries with a white of D65, as X, Y and Z with 30 binary places, and a gamma of 1.8
// with 16: the value 128 is light of 0.289, which is 147 in sRGB.
TEST(BmpProfile, OfACalibratedHeaderIsMadeOfItsNumbers)
{
    Bmp bmp{.headerBytes = 108};
    bmp.pixels = rowsOf(bmp, {0x808080, 0x808080, 0x808080, 0x808080});
    QByteArray file = fileOfBmp(bmp);
    EXPECT_TRUE(decoded(file).iccProfile().isEmpty());
    FileBytes numbers(ByteOrder::Little);
    for (const double number :
         {0.4124, 0.2126, 0.0193, 0.3576, 0.7152, 0.1192, 0.1805, 0.0722, 0.9505})
        numbers.u32(static_cast<std::uint64_t>(number * (1U << 30)));
    for (int i = 0; i < 3; ++i)
        numbers.u32(static_cast<std::uint64_t>(1.8 * 65536));
    file.replace(14 + 60, numbers.bytes().size(), numbers.bytes());
    const Image image = decoded(file);
    EXPECT_FALSE(image.iccProfile().isEmpty());
    EXPECT_EQ(image.row(0)[0], GREY);
    EXPECT_TRUE(isNear(toSrgb(image).row(0)[0], 0xff939393, 1));
}

struct Refused
{
    const char *name;
    Bmp bmp;
};

void PrintTo(const Refused &refused, std::ostream *out)
{
    *out << refused.name;
}

class BmpRefused : public testing::TestWithParam<Refused>
{};

INSTANTIATE_TEST_SUITE_P(
    All, BmpRefused,
    testing::Values(Refused{"Jpeg", {.bits = 0, .compression = Jpeg}},
                    Refused{"Png", {.bits = 0, .compression = Png}},
                    Refused{"UnknownCompression", {.compression = 99}},
                    Refused{"HuffmanOfOs2", {.bits = 1, .headerBytes = 64, .compression = 3}},
                    Refused{"RunsOf24BitsOfOs2", {.headerBytes = 64, .compression = 4}},
                    Refused{"NoBits", {.bits = 0}}, Refused{"ThreeBits", {.bits = 3}},
                    Refused{"SixtyFourBits", {.bits = 64}},
                    Refused{"RunsOf8BitsOf4", {.bits = 4, .compression = Rle8}},
                    Refused{"RunsOf4BitsOf8", {.bits = 8, .compression = Rle4}},
                    Refused{"FieldsOf24Bits", {.bits = 24, .compression = BitFields}},
                    Refused{"NoWidth", {.width = 0}}, Refused{"NegativeWidth", {.width = -5}},
                    Refused{"NoHeight", {.height = 0}},
                    Refused{"LeastHeight", {.height = std::numeric_limits<int>::min()}},
                    Refused{"TooWide", {.width = 200'001}},
                    Refused{"TooManyPixels", {.width = 20'000, .height = 20'000}},
                    Refused{"UnknownHeader", {.headerBytes = 128}}),
    [](const auto &one) { return std::string(one.param.name); });

TEST_P(BmpRefused, IsNull)
{
    Bmp bmp = GetParam().bmp;
    bmp.pixels = QByteArray(4000, '\x55');
    EXPECT_TRUE(decoded(fileOfBmp(bmp)).isNull());
}

TEST(BmpDamage, DoesNoHarm)
{
    for (const Kind &kind : kinds()) {
        Bmp bmp = kind.bmp;
        bmp.pixels = rowsOf(bmp, kind.stored);
        const QByteArray bytes = fileOfBmp(bmp);
        for (unsigned seed = 0; seed < 40; ++seed)
            ASSERT_LE(decoded(damaged(bytes, seed), 40).width(), 40) << kind.name << seed;
        for (qsizetype length = 0; length < bytes.size(); ++length) {
            const Image image = decoded(bytes.first(length));
            ASSERT_TRUE(image.isNull() || image.size() == QSize(5, 4)) << kind.name << length;
        }
    }
}

} // namespace

} // namespace tavolin
