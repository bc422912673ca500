#include "decoding/codecs/PngCodec.h"

#include "decoding/codecs/PngChunks.h"
#include "pictures/Picture.h"
#include "pixels/RowSink.h"
#include "PngFile.h"
#include "TestPictures.h"

#include <QBuffer>
#include <QImageWriter>
#include <QtEndian>

#include <chrono>
#include <ctime>
#include <functional>
#include <stop_token>
#include <thread>
#include <vector>

namespace tavolin {

namespace {

using namespace test;
using pictures::fourQuarters;

constexpr int NO_LIMIT = 100'000;
constexpr Pixel BLACK = 0xff000000;
constexpr Pixel CLEAR = 0;

Image decoded(const QByteArray &png, int maxPixel = NO_LIMIT)
{
    return decodePng(fileOf(png), maxPixel).image;
}

/// A picture by Qt's writer.
QByteArray encoded(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    EXPECT_TRUE(QImageWriter(&buffer, "png").write(image));
    return bytes;
}

TEST(PngCodec, ComesInTheSizeOfTheLimit)
{
    const QByteArray png = encoded(fourQuarters({120, 80}));
    EXPECT_EQ(decoded(png, 120).size(), QSize(120, 80));
    EXPECT_EQ(decoded(png, 100).size(), QSize(100, 67));
    EXPECT_EQ(decoded(png, 1).size(), QSize(1, 1));
    EXPECT_TRUE(showsFourQuarters(decoded(png, 31), 0));
    const auto quarter = [](int x, int y) {
        return std::vector<unsigned>{x < 60 ? 0xffU : 0U, y < 40 ? 0xffU : 0U, 0};
    };
    const Image interlaced = decoded(pngFile({{120, 80}, 8, 2, true}, quarter), 30);
    EXPECT_EQ(interlaced.size(), QSize(30, 20));
    EXPECT_TRUE(hasQuarters(interlaced, {YELLOW, GREEN, RED, BLACK}, 0));
}

TEST(PngCodec, ReducedTransparencyStaysBelowItsAlpha)
{
    const auto checks = [](int x, int y) {
        return std::vector<unsigned>{255, 255, 255, x / 3 % 2 == y / 3 % 2 ? 255U : 0U};
    };
    for (const bool isInterlaced : {false, true}) {
        const Image image = decoded(pngFile({{40, 40}, 8, 6, isInterlaced}, checks), 13);
        ASSERT_EQ(image.alpha(), Alpha::Premultiplied);
        for (int y = 0; y < 13; ++y)
            for (int x = 0; x < 13; ++x)
                for (int shift = 0; shift < 24; shift += 8)
                    ASSERT_LE(channel(image.row(y)[x], shift), channel(image.row(y)[x], 24));
    }
}

TEST(PngCodec, EveryFilterIsTakenBack)
{
    const QByteArray rows = FileBytes()
                                .u8(0)
                                .u8(10)
                                .u8(20)
                                .u8(30) // none
                                .u8(1)
                                .u8(5)
                                .u8(5)
                                .u8(5) // left
                                .u8(2)
                                .u8(1)
                                .u8(1)
                                .u8(1) // above
                                .u8(3)
                                .u8(10)
                                .u8(10)
                                .u8(10) // half of both
                                .u8(4)
                                .u8(1)
                                .u8(1)
                                .u8(1) // the nearest of three
                                .bytes();
    constexpr std::array<std::array<Pixel, 3>, 5> LEVELS{
        {{10, 20, 30}, {5, 10, 15}, {6, 11, 16}, {13, 22, 29}, {14, 23, 30}}};
    EXPECT_TRUE(looksLike(
        decoded(pngOfRows({{3, 5}}, rows)), makeImage({3, 5}, [&](int x, int y) {
            return BLACK |
                   LEVELS[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] * 0x010101;
        })));
}

/// 16 x 16 levels of grey, of which all differ.
unsigned levelAt(int x, int y)
{
    return static_cast<unsigned>(16 * y + x);
}
const PngKind LEVELS{{16, 16}};
QByteArray levelRows()
{
    return pngRows(LEVELS, [](int x, int y) { return std::vector{levelAt(x, y)}; });
}
Pixel shownLevelAt(int x, int y)
{
    return BLACK | levelAt(x, y) * 0x010101;
}

/// How many rows from the top show their levels, when all others are missing; −1 when others are
/// something else.
int rowsShown(const Image &image)
{
    int rows = 0;
    bool isMissing = false;
    for (int y = 0; y < 16; ++y) {
        const bool isShown = image.row(y)[3] == shownLevelAt(3, y) && shownLevelAt(3, y) != MISSING;
        isMissing = isMissing || !isShown;
        for (int x = 0; x < 16; ++x)
            if (image.row(y)[x] != (isMissing ? MISSING : shownLevelAt(x, y)))
                return -1;
        rows += isMissing ? 0 : 1;
    }
    return rows;
}

TEST(PngCodec, PixelsInManyChunksAreOnePicture)
{
    const QByteArray data = deflated(levelRows());
    QByteArray pieces = checkedChunk("IDAT", {}) + checkedChunk("IDAT", {});
    for (qsizetype at = 0; at < data.size(); ++at)
        pieces += checkedChunk("IDAT", data.mid(at, 1)) + checkedChunk("IDAT", {}) +
                  checkedChunk("tEXt", "between");
    const QByteArray png = PNG_SIGNATURE + pngHeader(LEVELS) + pieces + checkedChunk("IEND", {});
    EXPECT_EQ(rowsShown(decoded(png)), 16);
}

TEST(PngCodec, FileCutAnywhereShowsTheRowsThatCameOnGrey)
{
    const QByteArray png = pngOfRows(LEVELS, levelRows(), {}, 0);
    // Seven bytes of zlib's lead to the first row; each has a filter's byte before its pixels.
    const qsizetype firstRow = png.indexOf("IDAT") + 4 + 7;
    for (qsizetype bytes = 0; bytes <= png.size(); ++bytes) {
        const Image image = decoded(png.first(bytes));
        const qsizetype rows =
            std::min<qsizetype>(std::max<qsizetype>(0, bytes - firstRow) / 17, 16);
        ASSERT_EQ(image.isNull() ? 0 : rowsShown(image), rows) << bytes;
    }
}

TEST(PngCodec, InterlacedFileThatEndsEarlyIsCoarse)
{
    const PngKind kind{{16, 16}, 8, 0, true};
    const QByteArray rows = pngRows(kind, [](int x, int y) { return std::vector{levelAt(x, y)}; });
    struct End
    {
        int bytes;
        std::function<Pixel(int, int)> expected;
    };
    // The first three passes are rows of 2, 2 and 4 pixels, each after a filter's byte: the first
    // has two of them, the second too, the third two.
    const std::vector<End> ends = {
        {3, [](int x, int y) { return y < 8 ? shownLevelAt(x & ~7, 0) : MISSING; }},
        {6, [](int x, int y) { return shownLevelAt(x & ~7, y & ~7); }},
        {9, [](int x, int y) { return shownLevelAt(y < 8 ? x & ~3 : x & ~7, y & ~7); }},
        {12, [](int x, int y) { return shownLevelAt(x & ~3, y & ~7); }},
        {17, [](int x, int y) { return shownLevelAt(x & ~3, y < 8 ? y & ~3 : y & ~7); }},
        {22, [](int x, int y) { return shownLevelAt(x & ~3, y & ~3); }},
    };
    EXPECT_TRUE(decoded(pngOfRows(kind, rows.first(2))).isNull());
    for (const End &end : ends)
        EXPECT_TRUE(looksLike(decoded(pngOfRows(kind, rows.first(end.bytes))),
                              makeImage({16, 16}, end.expected)))
            << end.bytes;
    EXPECT_TRUE(looksLike(decoded(pngOfRows(kind, rows)), makeImage({16, 16}, shownLevelAt)));
}

/// @p png with the checksum of its first chunk of @p type made wrong.
QByteArray withWrongChecksum(QByteArray png, const char *type)
{
    const qsizetype at = png.indexOf(type);
    const auto length = qFromBigEndian<quint32>(png.constData() + at - 4);
    png[at + 4 + length] = static_cast<char>(png[at + 4 + length] ^ 1);
    return png;
}

TEST(PngCodec, WrongChecksumEndsThePictureOrCostsTheChunk)
{
    const QByteArray data = deflated(levelRows(), 0);
    const QByteArray half = checkedChunk("IDAT", data.first(7 + 8 * 17));
    const QByteArray png = PNG_SIGNATURE + pngHeader(LEVELS) + transparent({0x42}) + half +
                           checkedChunk("IDAT", data.mid(7 + 8 * 17)) + checkedChunk("IEND", {});
    EXPECT_EQ(pixelAt(decoded(png), 2 / 16.0, 4 / 16.0), CLEAR);
    EXPECT_TRUE(decoded(withWrongChecksum(png, "IHDR")).isNull());
    EXPECT_EQ(rowsShown(decoded(withWrongChecksum(withWrongChecksum(png, "tRNS"), "IDAT"))), 8);
    EXPECT_EQ(rowsShown(decoded(withWrongChecksum(png, "tRNS"))), 16);
    for (const bool isInterlaced : {false, true}) {
        const PngKind kind{{16, 16}, 8, 0, isInterlaced};
        const QByteArray rows =
            pngRows(kind, [](int x, int y) { return std::vector{levelAt(x, y)}; });
        EXPECT_TRUE(looksLike(decoded(withWrongChecksum(pngOfRows(kind, rows), "IDAT")),
                              makeImage({16, 16}, shownLevelAt)));
    }
}

TEST(PngCodec, PixelsOfAWrongLengthGiveWhatCame)
{
    const QByteArray png = pngOfRows(LEVELS, levelRows(), {}, 0);
    const qsizetype at = png.indexOf("IDAT") - 4;
    for (const std::uint32_t length : {7U + 8 * 17, 100'000U, 0xffffffffU}) {
        QByteArray lying = png;
        qToBigEndian(length, lying.data() + at);
        EXPECT_GE(rowsShown(decoded(lying)), 8) << length;
    }
}

TEST(PngCodec, HeaderThatClaimsTooMuchIsRefused)
{
    const QByteArray rows(1 << 16, '\0');
    for (const bool isInterlaced : {false, true}) {
        EXPECT_EQ(decoded(pngOfRows({{200, 300}, 8, 0, isInterlaced}, rows)).size(),
                  QSize(200, 300));
        for (const QSize size :
             {QSize(31'250, 32'001), QSize(60'000, 60'000), QSize(0x7fffffff, 1), QSize(0, 300)})
            EXPECT_TRUE(decoded(pngOfRows({size, 8, 0, isInterlaced}, rows), 100).isNull());
    }
    // 289 megapixels are not too many, but an interlaced picture has to be held whole.
    EXPECT_TRUE(decoded(pngOfRows({{17'000, 17'000}, 8, 0, true}, rows), 100).isNull());
}

TEST(PngCodec, WhatIsOver300MegapixelsComesOutReducedOnly)
{
    const QByteArray row = '\0' + QByteArray(17'600 / 8, '\xff'); // without a filter, all white
    const QByteArray png = pngOfRows({{17'600, 17'500}, 1, 0}, row.repeated(17'500));
    EXPECT_TRUE(looksLike(decoded(png, 352), flatImage({352, 350}, 0xffffffff)));
    EXPECT_TRUE(decoded(png).isNull());
}

TEST(PngCodec, GigapixelUnderWayIsLeftAtOnce)
{
    const QByteArray row(1 + 31'250 / 8 + 1, '\0');
    const QByteArray png = pngOfRows({{31'250, 32'000}, 1, 0}, row.repeated(32'000));
    std::stop_source stop;
    std::chrono::steady_clock::time_point stopped;
    const std::jthread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        stopped = std::chrono::steady_clock::now();
        stop.request_stop();
    });
    EXPECT_TRUE(decodePng(SourceFile::fromBytes(png, stop.get_token()), 512).isNull());
    EXPECT_TRUE(stop.stop_requested());
    EXPECT_LT(std::chrono::steady_clock::now() - stopped, std::chrono::seconds(1));
}

// What is not there is not scaled, which takes some seconds.
TEST(PngCodec, ClaimOfAGigapixelCostsNothing)
{
    const QByteArray png = pngOfRows({{31'250, 32'000}, 8, 0}, QByteArray(1 << 17, '\0'));
    const std::clock_t begin = std::clock();
    const Image image = decoded(png, 512);
    EXPECT_LT(static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC, 0.5);
    ASSERT_EQ(image.size(), QSize(500, 512));
    EXPECT_EQ(pixelAt(image, 1, 1), MISSING);
}

TEST(PngCodec, OneVeryLongRowIsShown)
{
    QImage row(70'000, 1, QImage::Format_RGB32);
    row.fill(RED);
    EXPECT_TRUE(looksLike(decoded(encoded(row), 700), flatImage({700, 1}, RED)));
}

TEST(PngCodec, AnimationIsItsDefaultImage)
{
    const QByteArray frame = FileBytes().u32(0).u32(16).u32(16).zeros(14).bytes();
    const QByteArray otherRows = deflated(QByteArray(16 * 17, '\0'));
    const QByteArray png =
        PNG_SIGNATURE + pngHeader(LEVELS) +
        checkedChunk("acTL", FileBytes().u32(2).u32(0).bytes()) + checkedChunk("fcTL", frame) +
        checkedChunk("IDAT", deflated(levelRows())) + checkedChunk("fcTL", frame) +
        checkedChunk("fdAT", FileBytes().u32(1).append(otherRows).bytes()) +
        checkedChunk("IEND", {});
    EXPECT_EQ(rowsShown(decoded(png)), 16);
}

/// What PngChunks makes of @p png.
QByteArray passedOn(const QByteArray &png)
{
    const SourceFile file = fileOf(png);
    PngChunks chunks(file);
    QByteArray passed;
    for (std::byte byte{}; chunks.read({&byte, 1});)
        passed.append(static_cast<char>(byte));
    return passed;
}

TEST(PngChunks, WhatPixelsDontNeedIsLeftOut)
{
    const QByteArray colors = palette() + transparent({1});
    const QByteArray pixels = checkedChunk("IDAT", "pixels");
    const QByteArray end = checkedChunk("IEND", {});
    // 92 kB of text that inflate to 90 MB.
    const QByteArray bomb =
        checkedChunk("zTXt", QByteArray("Comment\0\0", 9) + deflated(QByteArray(90 << 20, ' ')));
    const QByteArray text = bomb + checkedChunk("tEXt", "a") + checkedChunk("iTXt", "b") +
                            checkedChunk("iCCP", "c") + checkedChunk("abCd", "d") +
                            checkedChunk("bKGD", "e");
    const QByteArray header = PNG_SIGNATURE + pngHeader(LEVELS);
    EXPECT_EQ(passedOn(header + text + colors + text + pixels + text + transparent({2}) + pixels +
                       text + end),
              header + colors + pixels + pixels + end);
}

TEST(PngChunks, EmptyChunksComeToAnEnd)
{
    const QByteArray header = PNG_SIGNATURE + pngHeader(LEVELS);
    const QByteArray rest = checkedChunk("IDAT", deflated(levelRows()));
    EXPECT_EQ(rowsShown(decoded(header + checkedChunk("tEXt", {}).repeated(100'000) + rest)), 16);
    EXPECT_EQ(rowsShown(decoded(header + checkedChunk("IDAT", {}).repeated(100'000) + rest)), 16);
    for (const char *type : {"tEXt", "IDAT"})
        EXPECT_TRUE(decoded(header + checkedChunk(type, {}).repeated(1'000'001) + rest).isNull());
}

TEST(PngCodec, IsNullOnceStopped)
{
    for (const bool isInterlaced : {false, true}) {
        const QByteArray png = pngOfRows({{16, 16}, 8, 0, isInterlaced}, levelRows());
        EXPECT_TRUE(decodePng(stoppedFileOf(png), NO_LIMIT).isNull());
    }
}

TEST(PngCodec, OtherFilesAreNull)
{
    EXPECT_TRUE(decoded("GIF89a and more that is none of ours").isNull());
    EXPECT_TRUE(decoded({}).isNull());
    EXPECT_TRUE(decoded(PNG_SIGNATURE).isNull());
    EXPECT_TRUE(decoded(PNG_SIGNATURE + pngHeader(LEVELS) + checkedChunk("IEND", {})).isNull());
    EXPECT_TRUE(decoded(PNG_SIGNATURE + pngHeader(LEVELS) + checkedChunk("WHAT", "is this") +
                        checkedChunk("IDAT", deflated(levelRows())))
                    .isNull());
}

} // namespace

} // namespace tavolin
