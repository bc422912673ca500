// Which HEIF files are given to a library.

#include "decoding/headers/HeifItems.h"

#include "decoding/codecs/HeifCodec.h"
#include "decoding/headers/Headers.h"
#include "decoding/headers/HevcSize.h"
#include "HeifFile.h"
#include "pictures/Picture.h"
#include "TestPictures.h"

namespace tavolin {

namespace {

using namespace test;

constexpr int NO_LIMIT = 100'000;
constexpr QSize TILE(64, 64);

HeifFileItem tile(QRgb color = 0xff3264c8)
{
    QImage image(TILE, QImage::Format_RGB32);
    image.fill(color);
    return streamItem(image);
}

class HeifItems : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!canEncodeHeic())
            GTEST_SKIP() << "this libheif was built without an encoder for HEVC";
    }
};

/// A grid of tiles in four colours, two by two.
QByteArray gridFile(const GridSpec &grid)
{
    return heifFile(
        {gridItem(grid, {2, 3, 4, 5}), tile(RED), tile(GREEN), tile(BLUE), tile(YELLOW)});
}

TEST_F(HeifItems, GridOfTilesIsShown)
{
    for (const QSize size : {QSize(128, 128), QSize(100, 70)}) {
        const QByteArray file =
            gridFile({.columns = 2, .rows = 2, .canvas = size, .claimed = size});
        EXPECT_TRUE(isSoundHeif(fileOf(file)));
        EXPECT_EQ(decodeHeif(fileOf(file), NO_LIMIT).image.size(), size);
    }
    const QByteArray file =
        gridFile({.columns = 2, .rows = 2, .canvas = {128, 128}, .claimed = {128, 128}});
    EXPECT_TRUE(showsFourQuarters(decodeHeif(fileOf(file), NO_LIMIT).image, 8));
}

struct GridCase
{
    std::string name;
    GridSpec grid;
    std::vector<std::uint32_t> tiles;
};

void PrintTo(const GridCase &tested, std::ostream *out)
{
    *out << tested.name;
}

class UnsoundGrid : public testing::TestWithParam<GridCase>
{};

TEST_P(UnsoundGrid, IsRefused)
{
    if (!canEncodeHeic())
        GTEST_SKIP() << "this libheif was built without an encoder for HEVC";
    const QByteArray file =
        heifFile({gridItem(GetParam().grid, GetParam().tiles), tile(), tile(), tile(), tile()});
    EXPECT_FALSE(isSoundHeif(fileOf(file)));
    EXPECT_TRUE(decodeHeif(fileOf(file), NO_LIMIT).isNull());
}

const std::vector<GridCase> UNSOUND_GRIDS{
    {"CanvasAboveItsClaim",
     {.columns = 2, .rows = 2, .canvas = {32'000, 32'000}, .claimed = {128, 128}},
     {2, 3, 4, 5}},
    {"CanvasBelowItsClaim",
     {.columns = 2, .rows = 2, .canvas = {128, 128}, .claimed = {4032, 3024}},
     {2, 3, 4, 5}},
    {"TilesThatEndBeforeTheCanvas",
     {.columns = 2, .rows = 2, .canvas = {129, 128}, .claimed = {129, 128}},
     {2, 3, 4, 5}},
    {"TilesBesideTheCanvas",
     {.columns = 2, .rows = 2, .canvas = {64, 128}, .claimed = {64, 128}},
     {2, 3, 4, 5}},
    {"FewerTilesThanPlaces",
     {.columns = 2, .rows = 2, .canvas = {128, 128}, .claimed = {128, 128}},
     {2, 3, 4}},
    {"MoreTilesThanPlaces",
     {.columns = 2, .rows = 1, .canvas = {128, 64}, .claimed = {128, 64}},
     {2, 3, 4}},
    {"NoTiles", {.columns = 1, .rows = 1, .canvas = {64, 64}, .claimed = {64, 64}}, {}},
    {"TileThatDoesNotExist",
     {.columns = 2, .rows = 1, .canvas = {128, 64}, .claimed = {128, 64}},
     {2, 9}},
    {"ItselfAsATile", {.columns = 1, .rows = 1, .canvas = {64, 64}, .claimed = {64, 64}}, {1}},
    {"CanvasOverTheLimit",
     {.columns = 2, .rows = 2, .canvas = {30'000, 30'000}, .claimed = {30'000, 30'000}},
     {2, 3, 4, 5}},
};

INSTANTIATE_TEST_SUITE_P(All, UnsoundGrid, testing::ValuesIn(UNSOUND_GRIDS),
                         [](const auto &tested) { return tested.param.name; });

TEST_F(HeifItems, TileWhoseStreamIsSmallerThanItsClaimIsRefused)
{
    HeifFileItem small = tile();
    small.properties.back() = ispe({128, 128});
    const GridSpec grid{.columns = 1, .rows = 1, .canvas = {128, 128}, .claimed = {128, 128}};
    EXPECT_FALSE(isSoundHeif(fileOf(heifFile({gridItem(grid, {2}), small}))));
}

TEST_F(HeifItems, GridsOfEachOtherAreRefused)
{
    const GridSpec grid{.columns = 1, .rows = 1, .canvas = TILE, .claimed = TILE};
    EXPECT_FALSE(isSoundHeif(fileOf(heifFile({gridItem(grid, {2}), gridItem(grid, {1})}))));
}

// Six levels of grids of 16 would be 16 million tiles in a file of a few hundred bytes.
TEST_F(HeifItems, GridsOfGridsEnd)
{
    const GridSpec grid{.columns = 4, .rows = 4, .canvas = TILE, .claimed = TILE};
    std::vector<HeifFileItem> items;
    for (std::uint32_t level = 0; level < 6; ++level)
        items.push_back(gridItem(grid, std::vector<std::uint32_t>(16, level + 2)));
    items.push_back(tile());
    EXPECT_FALSE(isSoundHeif(fileOf(heifFile(items))));
}

TEST_F(HeifItems, TilesUsedAgainAndAgainAreCounted)
{
    // 200 by 200 places for one tile.
    const QSize canvas(200 * 64, 200 * 64);
    const GridSpec grid{.columns = 200, .rows = 200, .canvas = canvas, .claimed = canvas};
    EXPECT_FALSE(isSoundHeif(
        fileOf(heifFile({gridItem(grid, std::vector<std::uint32_t>(40'000, 2)), tile()}))));
}

HeifFileItem overlayItem(QSize canvas, QSize claimed, std::vector<std::uint32_t> pictures)
{
    FileBytes content;
    content.u8(0).u8(0).u16(0).u16(0).u16(0).u16(0xffff);
    content.u16(static_cast<std::uint64_t>(canvas.width()));
    content.u16(static_cast<std::uint64_t>(canvas.height()));
    for (std::size_t i = 0; i < pictures.size(); ++i)
        content.u16(0).u16(0);
    return {"iovl", content.bytes(), {ispe(claimed)}, {{"dimg", std::move(pictures)}}};
}

TEST_F(HeifItems, OverlayIsAsLargeAsItSays)
{
    EXPECT_TRUE(isSoundHeif(fileOf(heifFile({overlayItem({80, 80}, {80, 80}, {2}), tile()}))));
    EXPECT_FALSE(isSoundHeif(fileOf(heifFile({overlayItem({80, 80}, {80, 90}, {2}), tile()}))));
    EXPECT_FALSE(isSoundHeif(fileOf(heifFile({overlayItem({80, 80}, {80, 80}, {1}), tile()}))));
}

TEST_F(HeifItems, IdentityHasOneSource)
{
    const auto identity = [](std::vector<std::uint32_t> sources) {
        return HeifFileItem{"iden", {}, {ispe(TILE)}, {{"dimg", std::move(sources)}}};
    };
    EXPECT_TRUE(isSoundHeif(fileOf(heifFile({identity({2}), tile()}))));
    EXPECT_FALSE(isSoundHeif(fileOf(heifFile({identity({2, 2}), tile()}))));
    EXPECT_FALSE(isSoundHeif(fileOf(heifFile({identity({1}), tile()}))));
}

TEST_F(HeifItems, AlphaIsCheckedLikeThePicture)
{
    const QByteArray alpha =
        fullBox("auxC", 0, QByteArray("urn:mpeg:mpegB:cicp:systems:auxiliary:alpha") + '\0');
    const auto fileWith = [&alpha](QSize canvas) {
        HeifFileItem grid =
            gridItem({.columns = 1, .rows = 1, .canvas = canvas, .claimed = TILE}, {3});
        grid.properties.push_back(alpha);
        grid.references.push_back({"auxl", {1}});
        return heifFile({tile(), grid, tile()});
    };
    EXPECT_TRUE(isSoundHeif(fileOf(fileWith(TILE))));
    EXPECT_FALSE(isSoundHeif(fileOf(fileWith({32'000, 32'000}))));
}

TEST_F(HeifItems, TurnsAreFew)
{
    HeifFileItem turned = tile();
    const QByteArray turn = box("irot", FileBytes().u8(1).bytes());
    turned.properties.insert(turned.properties.end(), 8, turn);
    EXPECT_TRUE(isSoundHeif(fileOf(heifFile({turned}))));
    turned.properties.push_back(turn);
    EXPECT_FALSE(isSoundHeif(fileOf(heifFile({turned}))));
}

TEST_F(HeifItems, ItemsAndReferencesAreLimited)
{
    std::vector<HeifFileItem> items(4096, {"Exif", {}, {}, {}});
    items.front() = tile();
    EXPECT_TRUE(isSoundHeif(fileOf(heifFile(items))));
    items.push_back({"Exif", {}, {}, {}});
    EXPECT_FALSE(isSoundHeif(fileOf(heifFile(items))));

    HeifFileItem referring = tile();
    referring.references.assign(20, {"cdsc", std::vector<std::uint32_t>(1000, 1)});
    EXPECT_FALSE(isSoundHeif(fileOf(heifFile({referring}))));
}

// A library might read the other of the two.
TEST_F(HeifItems, WhatIsSaidTwiceIsRefused)
{
    const QByteArray file = heifFile({tile()});
    EXPECT_TRUE(isSoundHeif(fileOf(file)));
    EXPECT_FALSE(isSoundHeif(fileOf(file + fullBox("meta", 0, {}))));
}

TEST_F(HeifItems, StreamsTellTheirSize)
{
    for (const QSize size : {QSize(64, 64), QSize(128, 66), QSize(500, 70)}) {
        const HeifFileItem item = streamItem(pictures::fourQuarters(size));
        const SourceFile file = fileOf(item.properties.front());
        FieldReader fields(file);
        const auto hvcC = boxAt(fields, 0, file.size());
        ASSERT_TRUE(hvcC);
        EXPECT_EQ(readHevcSize(fields, *hvcC), size);
    }
}

TEST(HevcSizeOf, NeedsAllOfTheParameters)
{
    EXPECT_FALSE(hevcSizeOf({}));
    const std::vector<std::byte> zeros(64);
    EXPECT_FALSE(hevcSizeOf(zeros));
    const std::vector<std::byte> ones(64, std::byte{0xff});
    EXPECT_FALSE(hevcSizeOf(std::span(ones).first(20)));
}

// Metadata

QByteArray exifOf(const QByteArray &file)
{
    const SourceFile source = fileOf(file);
    FieldReader fields(source);
    const MetadataParts found = findHeifMetadata(fields);
    return found.exif.bytesAt(0, found.exif.size());
}

QByteArray xmpOf(const QByteArray &file)
{
    const SourceFile source = fileOf(file);
    FieldReader fields(source);
    const MetadataParts found = findHeifMetadata(fields);
    return found.xmp.bytesAt(0, found.xmp.size());
}

/// An EXIF block of whatever bytes, as that of the items @p described.
HeifFileItem exifItem(const QByteArray &block, std::vector<std::uint32_t> described)
{
    return {"Exif", QByteArray(4, '\0') + block, {}, {{"cdsc", std::move(described)}}};
}

HeifFileItem xmpItem(const QByteArray &packet, std::string_view contentType)
{
    return {"mime", packet, {}, {{"cdsc", {1}}}, contentType};
}

const HeifFileItem PICTURE{"hvc1", "stream", {ispe(TILE)}, {}};
constexpr std::string_view XMP_TYPE("application/rdf+xml\0", 20);

TEST(HeifMetadata, IsAsTheLibraryWritesIt)
{
    if (!canEncodeHeic())
        GTEST_SKIP() << "libheif has no HEVC encoder";
    const QByteArray exif = test::exifBlock(1);
    const QByteArray xmp = "<x:xmpmeta xmlns:x='adobe:ns:meta/'/>";
    const QByteArray file =
        encodeHeic(pictures::fourQuarters({64, 64}), {.exif = exif, .xmp = xmp});
    EXPECT_EQ(exifOf(file), exif);
    EXPECT_EQ(xmpOf(file), xmp);
}

TEST(HeifMetadata, IsNoneWhereThereIsNone)
{
    const QByteArray file = heifFile({PICTURE});
    EXPECT_TRUE(exifOf(file).isEmpty());
    EXPECT_TRUE(xmpOf(file).isEmpty());
    EXPECT_TRUE(exifOf("no picture").isEmpty());
}

// A spatial photo has two pictures, each with a block of its own.
TEST(HeifMetadata, IsThatOfThePictureShown)
{
    EXPECT_EQ(exifOf(heifFile({PICTURE, PICTURE, exifItem("left", {1}), exifItem("right", {2})})),
              "left");
    EXPECT_EQ(exifOf(heifFile({PICTURE, PICTURE, exifItem("right", {2}), exifItem("left", {1})})),
              "left");
    EXPECT_EQ(
        exifOf(heifFile({PICTURE, PICTURE, exifItem("right", {2}), exifItem("both", {2, 1})})),
        "both");
}

TEST(HeifMetadata, OfNothingInParticularComeBeforeAnotherPictures)
{
    HeifFileItem ofNothing = exifItem("file", {});
    ofNothing.references.clear();
    EXPECT_EQ(exifOf(heifFile({PICTURE, PICTURE, exifItem("right", {2}), ofNothing})), "file");
    EXPECT_EQ(exifOf(heifFile({PICTURE, PICTURE, exifItem("right", {2})})), "right");
}

TEST(HeifMetadata, BeginsWhereTheBlockSays)
{
    HeifFileItem item = exifItem("Exif", {1});
    item.content = FileBytes().u32(6).text("Exif").u16(0).text("block").bytes();
    EXPECT_EQ(exifOf(heifFile({PICTURE, item})), "block");
    item.content = FileBytes().u32(0).text("Exif").u16(0).text("block").bytes();
    EXPECT_EQ(exifOf(heifFile({PICTURE, item})), "block");
    item.content = FileBytes().u32(0xffffffff).text("block").bytes();
    EXPECT_TRUE(exifOf(heifFile({PICTURE, item})).isEmpty());
    item.content = "abc";
    EXPECT_TRUE(exifOf(heifFile({PICTURE, item})).isEmpty());
}

TEST(HeifMetadata, AreFoundWhereTheBlockDoesNotSayWhere)
{
    const QByteArray stream = test::tiff(test::ByteOrder::Big, {});
    HeifFileItem item = exifItem({}, {1});
    for (const QByteArray &before :
         {QByteArray(), QByteArray("Exif\0\0", 6), QByteArray("\0\0\xff\xff", 4),
          QByteArray("\0\0\0\0Exif\0\0", 10)}) {
        item.content = before + stream;
        EXPECT_EQ(exifOf(heifFile({PICTURE, item})), stream) << before.toHex().toStdString();
    }
}

TEST(HeifMetadata, PacketIsKnownByItsType)
{
    EXPECT_EQ(xmpOf(heifFile({PICTURE, xmpItem("other", "text/plain"), xmpItem("xmp", XMP_TYPE)})),
              "xmp");
    EXPECT_TRUE(xmpOf(heifFile({PICTURE, xmpItem("other", "text/plain")})).isEmpty());
}

TEST(HeifMetadata, BeyondTheEndOfACutFileIsNone)
{
    const QByteArray file = heifFile({PICTURE, exifItem("block", {1})});
    EXPECT_EQ(exifOf(file), "block");
    EXPECT_TRUE(exifOf(file.chopped(1)).isEmpty());
}

} // namespace

} // namespace tavolin
