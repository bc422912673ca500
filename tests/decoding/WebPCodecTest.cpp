#include "decoding/codecs/WebPCodec.h"

#include "decoding/color/Color.h"
#include "FileBytes.h"
#include "pictures/Picture.h"
#include "pixels/Resample.h"
#include "pixels/RowSink.h"
#include "TestPictures.h"

#include <QPoint>
#include <QtEndian>

#include <algorithm>
#include <string>
#include <vector>

#include <webp/encode.h>

namespace tavolin {

namespace {

using namespace test;
using pictures::fourQuarters;

constexpr int NO_LIMIT = 100'000;
constexpr Pixel CLEAR = 0;
constexpr Pixel WHITE = 0xffffffff;
/// What lossy coding at quality 90 may change in flat areas.
constexpr int LOSSY_TOLERANCE = 5;

enum class Coding { Lossy, Lossless };

/// @p image, its colours not multiplied by alpha, by libwebp's own encoder.
QByteArray encoded(const QImage &image, Coding coding)
{
    const QImage pixels = image.convertToFormat(QImage::Format_ARGB32);
    const std::uint8_t *bits = pixels.constBits();
    const int stride = static_cast<int>(pixels.bytesPerLine());
    std::uint8_t *out = nullptr;
    const std::size_t size =
        coding == Coding::Lossy
            ? WebPEncodeBGRA(bits, image.width(), image.height(), stride, 90, &out)
            : WebPEncodeLosslessBGRA(bits, image.width(), image.height(), stride, &out);
    EXPECT_GT(size, 0U);
    QByteArray bytes(reinterpret_cast<const char *>(out), static_cast<qsizetype>(size));
    WebPFree(out);
    return bytes;
}

QByteArray lossless(const QImage &image)
{
    return encoded(image, Coding::Lossless);
}

QImage flat(QSize size, QRgb color)
{
    QImage image(size, QImage::Format_ARGB32);
    image.fill(color);
    return image;
}

QImage noise(QSize size)
{
    const Image drawn = noiseImage(size);
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y)
        std::copy_n(drawn.row(y), size.width(), reinterpret_cast<Pixel *>(image.scanLine(y)));
    return image;
}

Image decoded(const QByteArray &webp, int maxPixel = NO_LIMIT)
{
    return decodeWebP(fileOf(webp), maxPixel).image;
}

FileBytes littleEndian()
{
    return FileBytes(ByteOrder::Little);
}

QByteArray chunk(std::string_view type, const QByteArray &content)
{
    const auto size = static_cast<std::uint64_t>(content.size());
    return littleEndian().text(type).u32(size).append(content).zeros(content.size() % 2).bytes();
}

QByteArray riff(const QByteArray &chunks)
{
    const auto size = static_cast<std::uint64_t>(chunks.size()) + 4;
    return littleEndian().text("RIFF").u32(size).text("WEBP").append(chunks).bytes();
}

FileBytes &u24(FileBytes &bytes, int value)
{
    const auto number = static_cast<std::uint64_t>(value);
    return bytes.u16(number & 0xffff).u8(number >> 16);
}

constexpr unsigned HAS_ANIMATION = 0x02;
constexpr unsigned HAS_ALPHA = 0x10;
constexpr unsigned HAS_PROFILE = 0x20;

QByteArray extended(unsigned flags, QSize canvas)
{
    FileBytes bytes = littleEndian();
    bytes.u8(flags).zeros(3);
    u24(bytes, canvas.width() - 1);
    return chunk("VP8X", u24(bytes, canvas.height() - 1).bytes());
}

/// The chunks with the pixels of @p webp, a file of the encoder.
QByteArray pixelChunks(const QByteArray &webp)
{
    constexpr qsizetype RIFF_BYTES = 12;
    constexpr qsizetype EXTENDED_BYTES = 18;
    return webp.mid(webp.mid(RIFF_BYTES, 4) == "VP8X" ? RIFF_BYTES + EXTENDED_BYTES : RIFF_BYTES);
}

/// A frame of an animation, whose @p pixels are in chunks.
QByteArray frame(QPoint at, QSize size, const QByteArray &pixels)
{
    FileBytes bytes = littleEndian();
    u24(bytes, at.x() / 2);
    u24(bytes, at.y() / 2);
    u24(bytes, size.width() - 1);
    u24(bytes, size.height() - 1);
    u24(bytes, 100);
    return chunk("ANMF", bytes.u8(0).append(pixels).bytes());
}

QByteArray frame(QPoint at, const QImage &image, Coding coding = Coding::Lossless)
{
    return frame(at, image.size(), pixelChunks(encoded(image, coding)));
}

/// An animation on a background of white, which is only a hint.
QByteArray animation(QSize canvas, const QByteArray &frames, unsigned flags = 0)
{
    return riff(extended(HAS_ANIMATION | flags, canvas) +
                chunk("ANIM", littleEndian().u32(0xffffffff).u16(0).bytes()) + frames);
}

TEST(WebPCodec, ShowsItsQuarters)
{
    for (const Coding coding : {Coding::Lossy, Coding::Lossless}) {
        const int tolerance = coding == Coding::Lossy ? LOSSY_TOLERANCE : 0;
        const QByteArray webp = encoded(fourQuarters({120, 80}), coding);
        for (const QSize size : {QSize(120, 80), QSize(100, 67), QSize(31, 21)}) {
            const Image image = decoded(webp, size.width());
            EXPECT_EQ(image.size(), size);
            EXPECT_EQ(image.alpha(), Alpha::Opaque);
            EXPECT_TRUE(showsFourQuarters(image, tolerance));
        }
        EXPECT_EQ(decoded(webp, 1).size(), QSize(1, 1));
    }
}

TEST(WebPCodec, LosslessPixelsAreExact)
{
    for (const QSize size : {QSize(61, 47), QSize(1, 1), QSize(300, 7)})
        EXPECT_TRUE(looksLike(decoded(lossless(noise(size))), noiseImage(size)));
}

// More than the decoder is given at a time.
TEST(WebPCodec, LargeFileShowsAllItsRows)
{
    const QByteArray webp = lossless(noise({400, 300}));
    ASSERT_GT(webp.size(), 3 << 16);
    EXPECT_TRUE(looksLike(decoded(webp), noiseImage({400, 300})));
    EXPECT_TRUE(looksLike(decoded(webp, 100), resampled(noiseImage({400, 300}), {100, 75})));
}

TEST(WebPCodec, TransparencyIsPremultiplied)
{
    // 200, 100 and 50 at 128 of 255 are 100.4, 50.2 and 25.1.
    constexpr std::array<Pixel, 4> SHOWN{CLEAR, 0x80643219, 0x80808080, BLUE};
    for (const Coding coding : {Coding::Lossy, Coding::Lossless}) {
        for (const int limit : {NO_LIMIT, 20}) {
            const Image image = decoded(encoded(clearQuarters(), coding), limit);
            EXPECT_EQ(image.alpha(), Alpha::Premultiplied);
            EXPECT_TRUE(hasQuarters(image, SHOWN, coding == Coding::Lossy ? LOSSY_TOLERANCE : 0));
        }
    }
}

TEST(WebPCodec, ReducedTransparencyStaysBelowItsAlpha)
{
    const Image image = decoded(lossless(clearQuarters()), 13);
    for (int y = 0; y < 13; ++y)
        for (int x = 0; x < 13; ++x)
            for (int shift = 0; shift < 24; shift += 8)
                ASSERT_LE(channel(image.row(y)[x], shift), channel(image.row(y)[x], 24));
}

TEST(WebPCodec, ProfileIsCarriedWhereItIsAnnounced)
{
    const QByteArray profile = chunk("ICCP", displayP3Profile());
    const QByteArray pixels = pixelChunks(lossless(flat({8, 8}, RED)));
    for (const int limit : {NO_LIMIT, 4}) {
        EXPECT_EQ(
            decoded(riff(extended(HAS_PROFILE, {8, 8}) + profile + pixels), limit).iccProfile(),
            displayP3Profile());
        EXPECT_TRUE(decoded(riff(extended(0, {8, 8}) + pixels), limit).iccProfile().isEmpty());
    }
    const QByteArray animated = animation({8, 8}, profile + frame({0, 0}, flat({8, 8}, RED)));
    EXPECT_FALSE(decoded(animated).isNull());
    const QByteArray large = chunk("ICCP", QByteArray((16 << 20) + 1, 'x'));
    const Image image = decoded(riff(extended(HAS_PROFILE, {8, 8}) + large + pixels));
    EXPECT_TRUE(looksLike(image, flatImage({8, 8}, RED)));
    EXPECT_TRUE(image.iccProfile().isEmpty());
}

TEST(WebPCodec, AnimationIsItsFirstFrame)
{
    for (const Coding coding : {Coding::Lossy, Coding::Lossless}) {
        const QByteArray webp = animation({40, 30}, frame({0, 0}, fourQuarters({40, 30}), coding) +
                                                        frame({0, 0}, flat({40, 30}, WHITE)));
        for (const int limit : {NO_LIMIT, 20}) {
            const Image image = decoded(webp, limit);
            EXPECT_EQ(image.width(), std::min(40, limit));
            EXPECT_EQ(image.alpha(), Alpha::Opaque);
            EXPECT_TRUE(showsFourQuarters(image, LOSSY_TOLERANCE));
        }
    }
}

TEST(WebPCodec, FrameInACornerLeavesTheCanvasClear)
{
    const Image picture = noiseImage({6, 4});
    for (const QPoint at :
         {QPoint(0, 0), QPoint(10, 0), QPoint(0, 8), QPoint(10, 8), QPoint(4, 2)}) {
        const QByteArray webp = animation({16, 12}, frame(at, noise({6, 4})));
        const Image image = decoded(webp);
        EXPECT_EQ(image.alpha(), Alpha::Premultiplied);
        EXPECT_TRUE(looksLike(image, makeImage({16, 12}, [&](int x, int y) {
                                  const QPoint inside = QPoint(x, y) - at;
                                  return QRect(0, 0, 6, 4).contains(inside)
                                             ? picture.row(inside.y())[inside.x()]
                                             : CLEAR;
                              })));
        EXPECT_TRUE(looksLike(decoded(webp, 8), resampled(image, {8, 6})));
    }
}

TEST(WebPCodec, FrameWithAlphaLiesOnAClearCanvas)
{
    const QByteArray webp =
        animation({40, 40}, frame({0, 0}, clearQuarters(), Coding::Lossless), HAS_ALPHA);
    EXPECT_TRUE(hasQuarters(decoded(webp), {CLEAR, 0x80643219, 0x80808080, BLUE}, 0));
}

/// Whether @p image begins with rows of @p whole, and what follows is missing; how many in @p rows.
testing::AssertionResult isBeginningOf(const Image &image, const Image &whole, int &rows)
{
    if (image.size() != whole.size())
        return testing::AssertionFailure() << "wrong size";
    const auto isRow = [&](int y) {
        return std::equal(whole.row(y), whole.row(y) + whole.width(), image.row(y));
    };
    for (rows = 0; rows < whole.height() && isRow(rows);)
        ++rows;
    for (int y = rows; y < whole.height(); ++y)
        for (int x = 0; x < whole.width(); ++x)
            if (image.row(y)[x] != MISSING)
                return testing::AssertionFailure()
                       << std::hex << image.row(y)[x] << std::dec << " at " << x << ", " << y;
    return testing::AssertionSuccess();
}

TEST(WebPCodec, FileCutAnywhereShowsTheRowsThatCameOnGrey)
{
    QImage translucent = noise({70, 200}).convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 70; ++x)
            translucent.setPixel(x, y, (translucent.pixel(x, y) & 0x00ffffff) | 0x90000000);
    for (const QImage &picture : {noise({70, 200}), translucent}) {
        for (const Coding coding : {Coding::Lossy, Coding::Lossless}) {
            const QByteArray webp = encoded(picture, coding);
            const Image whole = decoded(webp);
            int before = 0;
            int partly = 0;
            for (qsizetype bytes = 0; bytes < webp.size(); bytes += 97) {
                const Image image = decoded(webp.first(bytes));
                if (image.isNull()) {
                    ASSERT_EQ(before, 0) << bytes;
                    continue;
                }
                int rows = 0;
                ASSERT_TRUE(isBeginningOf(image, whole, rows)) << bytes << " of " << webp.size();
                ASSERT_GE(rows, std::max(1, before)) << bytes;
                before = rows;
                partly += rows < 200 ? 1 : 0;
            }
            EXPECT_GT(partly, 10);
        }
    }
}

TEST(WebPCodec, FrameThatBreaksOffIsGreyOnItsClearCanvas)
{
    const QSize size(200, 600);
    const QByteArray pixels = pixelChunks(lossless(noise(size)));
    const QByteArray half = chunk("VP8L", pixels.mid(8, pixels.size() / 2));
    const Image image = decoded(animation({220, 620}, frame({10, 12}, size, half)));
    ASSERT_EQ(image.size(), QSize(220, 620));
    EXPECT_EQ(image.row(12)[10], noiseImage(size).row(0)[0]);
    for (const QPoint inside : {QPoint(10, 611), QPoint(209, 611), QPoint(100, 400)})
        EXPECT_EQ(image.row(inside.y())[inside.x()], MISSING);
    for (const QPoint outside : {QPoint(0, 0), QPoint(9, 100), QPoint(210, 600), QPoint(100, 612)})
        EXPECT_EQ(image.row(outside.y())[outside.x()], CLEAR);
}

TEST(WebPCodec, AnimationCutAfterItsFirstFrameShowsIt)
{
    const QByteArray first = frame({0, 0}, noise({30, 20}));
    const QByteArray webp = animation({30, 20}, first + frame({0, 0}, noise({30, 20})));
    const qsizetype end = webp.indexOf(first) + first.size();
    for (const qsizetype bytes : {end, end + 5, end + 100, webp.size() - 1})
        EXPECT_TRUE(looksLike(decoded(webp.first(bytes)), noiseImage({30, 20}))) << bytes;
}

/// @p webp saying that it has @p bytes, less the 8 before that.
QByteArray saying(QByteArray webp, quint32 bytes)
{
    qToLittleEndian(bytes, webp.data() + 4);
    return webp;
}

TEST(WebPCodec, SizesThatLieDoNoHarm)
{
    const QByteArray webp = lossless(noise({32, 32}));
    const QByteArray pixels = pixelChunks(webp);
    const QImage image = noise({32, 32});
    EXPECT_TRUE(looksLike(decoded(saying(webp, 1'000'000)), noiseImage({32, 32})));
    EXPECT_TRUE(decoded(saying(webp, 100)).isNull());
    EXPECT_TRUE(decoded(riff(extended(0, {33, 32}) + pixels)).isNull());
    EXPECT_TRUE(decoded(riff(extended(0, {16, 16}) + pixels)).isNull());
    EXPECT_TRUE(decoded(riff(extended(0, {1 << 24, 1 << 24}) + pixels)).isNull());
    EXPECT_TRUE(decoded(animation({16'384, 16'384}, frame({0, 0}, image)), 100).isNull());
    EXPECT_TRUE(decoded(animation({250'000, 1}, frame({0, 0}, flat({1, 1}, RED))), 100).isNull());
    EXPECT_TRUE(decoded(animation({32, 32}, frame({2, 0}, image))).isNull());
    EXPECT_TRUE(decoded(animation({32, 32}, frame({0, 2}, image))).isNull());
    EXPECT_TRUE(decoded(animation({32, 32}, {})).isNull());
    // What the pixels themselves say counts.
    EXPECT_TRUE(looksLike(decoded(animation({32, 32}, frame({0, 0}, {30, 30}, pixels))),
                          noiseImage({32, 32})));
}

TEST(WebPCodec, IsNullOnceStopped)
{
    const QByteArray webp = lossless(noise({32, 32}));
    EXPECT_TRUE(decodeWebP(stoppedFileOf(webp), NO_LIMIT).isNull());
    EXPECT_TRUE(decodeWebP(stoppedFileOf(webp), 10).isNull());
}

TEST(WebPCodec, OtherFilesAreNull)
{
    EXPECT_TRUE(decoded({}).isNull());
    EXPECT_TRUE(decoded("GIF89a and more that is none of ours").isNull());
    EXPECT_TRUE(decoded(riff({})).isNull());
    EXPECT_TRUE(decoded(riff(chunk("JUNK", "nothing"))).isNull());
}

TEST(WebPCodec, DamagedFilesDoNoHarm)
{
    constexpr int LIMIT = 40;
    const std::vector<QByteArray> files = {
        encoded(fourQuarters({60, 44}), Coding::Lossy),
        lossless(fourQuarters({60, 44})),
        encoded(clearQuarters(), Coding::Lossy),
        lossless(noise({60, 44})),
        animation({60, 44}, frame({4, 2}, noise({30, 20}), Coding::Lossy)),
        riff(extended(HAS_PROFILE, {60, 44}) + chunk("ICCP", displayP3Profile()) +
             pixelChunks(encoded(noise({60, 44}), Coding::Lossy))),
    };
    testing::internal::CaptureStderr();
    for (unsigned seed = 0; seed < 600; ++seed) {
        const Image image = decoded(damaged(files[seed % files.size()], seed), LIMIT);
        ASSERT_LE(std::max(image.width(), image.height()), LIMIT) << seed;
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace

} // namespace tavolin
