#include "decoding/codecs/BmpCodec.h"
#include "decoding/codecs/PngCodec.h"
#include "decoding/codecs/TiffCodec.h"
#include "decoding/codecs/WebPCodec.h"
#include "decoding/FileType.h"

#include "FileBytes.h"
#include "pictures/Picture.h"
#include "pictures/Tiff.h"
#include "PngFile.h"
#include "TestPictures.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImageWriter>

#include <ostream>
#include <string>
#include <vector>

namespace tavolin {

namespace {

using namespace test;
using pictures::fourQuarters;

constexpr int NO_LIMIT = 100'000;

QByteArray encoded(const QImage &image, const char *format, int quality = -1)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QImageWriter writer(&buffer, format);
    writer.setQuality(quality);
    EXPECT_TRUE(writer.write(image));
    return bytes;
}

struct Container
{
    const char *name;
    FileType type;
    const char *qtName;
    int tolerance;
};

void PrintTo(const Container &container, std::ostream *out)
{
    *out << container.name;
}

Image decodeWith(const Container &container, const SourceFile &file, int maxPixel)
{
    switch (container.type) {
    case FileType::Png:
        return decodePng(file, maxPixel).image;
    case FileType::WebP:
        return decodeWebP(file, maxPixel).image;
    case FileType::Tiff:
        return decodeTiff(file, maxPixel).image;
    default:
        return decodeBmp(file, maxPixel).image;
    }
}

Image decoded(const Container &container, const QByteArray &bytes, int maxPixel = NO_LIMIT)
{
    return decodeWith(container, fileOf(bytes), maxPixel);
}

constexpr Container PNG{"Png", FileType::Png, "png", 0};
constexpr Container BMP{"Bmp", FileType::Bmp, "bmp", 0};
constexpr Container WEBP{"WebP", FileType::WebP, "webp", 4};
constexpr Container TIFF{"Tiff", FileType::Tiff, "tiff", 0};

class PlainFormat : public testing::TestWithParam<Container>
{
protected:
    [[nodiscard]] static QByteArray encode(const QImage &image)
    {
        return encoded(image, GetParam().qtName);
    }
    [[nodiscard]] static Image decode(const QByteArray &bytes, int maxPixel = NO_LIMIT)
    {
        return decoded(GetParam(), bytes, maxPixel);
    }
};

INSTANTIATE_TEST_SUITE_P(All, PlainFormat, testing::Values(PNG, BMP, WEBP, TIFF),
                         [](const auto &one) { return std::string(one.param.name); });

TEST_P(PlainFormat, ShowsItsQuarters)
{
    const Image image = decode(encode(fourQuarters({61, 47})));
    EXPECT_EQ(image.size(), QSize(61, 47));
    EXPECT_EQ(image.alpha(), Alpha::Opaque);
    EXPECT_TRUE(showsFourQuarters(image, GetParam().tolerance));
}

// More pixels than are converted at a time.
TEST_P(PlainFormat, ShowsAllRowsOfALargePicture)
{
    const QImage drawn = fourQuarters({500, 700});
    const Image image = decode(encode(drawn));
    ASSERT_EQ(image.size(), QSize(500, 700));
    for (int y = 0; y < 700; y += 7) {
        if (std::abs(y - 350) < 10)
            continue; // lossy formats blur the border
        EXPECT_TRUE(isNear(image.row(y)[125], y < 350 ? RED : BLUE, GetParam().tolerance)) << y;
        EXPECT_TRUE(isNear(image.row(y)[375], y < 350 ? GREEN : YELLOW, GetParam().tolerance));
    }
}

TEST_P(PlainFormat, ComesInTheSizeOfTheLimit)
{
    const QByteArray bytes = encode(fourQuarters({120, 80}));
    EXPECT_EQ(decode(bytes, 120).size(), QSize(120, 80));
    EXPECT_EQ(decode(bytes, 100).size(), QSize(100, 67));
    EXPECT_EQ(decode(bytes, 1).size(), QSize(1, 1));
    const Image small = decode(bytes, 31);
    EXPECT_EQ(small.size(), QSize(31, 21));
    EXPECT_TRUE(showsFourQuarters(small, GetParam().tolerance));
}

TEST_P(PlainFormat, TruncatedIsNullOrOfItsSize)
{
    const QByteArray bytes = encode(pictures::drawPicture({.size = {200, 150}}));
    for (qsizetype percent = 0; percent < 100; percent += 3) {
        const Image image = decode(bytes.first(bytes.size() * percent / 100), 100);
        EXPECT_TRUE(image.isNull() || image.size() == QSize(100, 75)) << percent;
    }
    EXPECT_TRUE(decode(bytes.first(20)).isNull());
}

TEST_P(PlainFormat, IsNullOnceStopped)
{
    const SourceFile file = stoppedFileOf(encode(fourQuarters({61, 47})));
    EXPECT_TRUE(decodeWith(GetParam(), file, NO_LIMIT).isNull());
}

TEST_P(PlainFormat, IsNotReadAsAnother)
{
    EXPECT_TRUE(decode("GIF89a and more that is none of ours").isNull());
    const Container other = GetParam().type == FileType::Png ? BMP : PNG;
    EXPECT_TRUE(decode(encoded(fourQuarters({20, 20}), other.qtName)).isNull());
}

TEST_P(PlainFormat, DamagedFilesDoNoHarm)
{
    constexpr int LIMIT = 40;
    const QByteArray bytes = encode(fourQuarters({60, 44}));
    for (unsigned seed = 0; seed < 80; ++seed) {
        const Image image = decode(damaged(bytes, seed), LIMIT);
        ASSERT_LE(std::max(image.width(), image.height()), LIMIT) << seed;
    }
}

struct Depth
{
    const char *name;
    QImage::Format format;
    int pngDepth;
    int pngColorType;
};

void PrintTo(const Depth &depth, std::ostream *out)
{
    *out << depth.name;
}

class PngDepth : public testing::TestWithParam<Depth>
{
protected:
    /// A PNG that is really of this depth.
    [[nodiscard]] static QByteArray encode(const QImage &image)
    {
        QByteArray png = encoded(image.convertToFormat(GetParam().format), "png");
        EXPECT_EQ(static_cast<int>(png[24]), GetParam().pngDepth);
        EXPECT_EQ(static_cast<int>(png[25]), GetParam().pngColorType);
        return png;
    }
};

INSTANTIATE_TEST_SUITE_P(All, PngDepth,
                         testing::Values(Depth{"Rgb8", QImage::Format_RGB32, 8, 2},
                                         Depth{"Rgb16", QImage::Format_RGBX64, 16, 2},
                                         Depth{"Rgba8", QImage::Format_ARGB32, 8, 6},
                                         Depth{"Rgba16", QImage::Format_RGBA64, 16, 6},
                                         Depth{"Palette", QImage::Format_Indexed8, 8, 3}),
                         [](const auto &one) { return std::string(one.param.name); });

TEST_P(PngDepth, ShowsItsQuarters)
{
    // More pixels than are converted at a time, so that a palette is needed more than once.
    const Image image = decoded(PNG, encode(fourQuarters({330, 300})));
    EXPECT_EQ(image.size(), QSize(330, 300));
    EXPECT_TRUE(showsFourQuarters(image, 1));
}

TEST(PngGrey, ShowsItsLevels)
{
    for (const auto format : {QImage::Format_Grayscale8, QImage::Format_Grayscale16}) {
        QImage grey(40, 40, QImage::Format_RGB32);
        for (int y = 0; y < 40; ++y)
            for (int x = 0; x < 40; ++x)
                grey.setPixel(x, y,
                              x < 20 ? (y < 20 ? 0xff000000 : 0xff404040)
                                     : (y < 20 ? 0xff808080 : 0xffffffff));
        const QByteArray png = encoded(grey.convertToFormat(format), "png");
        EXPECT_EQ(static_cast<int>(png[25]), 0); // really grey
        EXPECT_TRUE(
            hasQuarters(decoded(PNG, png), {0xff000000, 0xff808080, 0xff404040, 0xffffffff}, 1));
    }
}

TEST(PngOneBit, ShowsBlackAndWhite)
{
    QImage image(300, 300, QImage::Format_Mono);
    image.setColorTable({0xff000000, 0xffffffff});
    image.fill(0);
    for (int y = 0; y < 300; ++y)
        for (int x = 150; x < 300; ++x)
            image.setPixel(x, y, 1);
    const QByteArray png = encoded(image, "png");
    EXPECT_EQ(static_cast<int>(png[24]), 1);
    EXPECT_TRUE(
        hasQuarters(decoded(PNG, png), {0xff000000, 0xffffffff, 0xff000000, 0xffffffff}, 0));
}

// 200, 100 and 50 at 128 of 255 are 100.4, 50.2 and 25.1.
constexpr std::array<Pixel, 4> CLEAR_QUARTERS{0, 0x80643219, 0x80808080, BLUE};

TEST(PlainFormats, TransparencyIsPremultiplied)
{
    for (const Container &container : {PNG, TIFF}) {
        const Image image = decoded(container, encoded(clearQuarters(), container.qtName));
        EXPECT_EQ(image.alpha(), Alpha::Premultiplied);
        EXPECT_TRUE(hasQuarters(image, CLEAR_QUARTERS, 1)) << container.name;
    }
    // 100 is lossless.
    const Image image = decoded(WEBP, encoded(clearQuarters(), "webp", 100));
    EXPECT_EQ(image.alpha(), Alpha::Premultiplied);
    EXPECT_TRUE(hasQuarters(image, CLEAR_QUARTERS, 1));
}

TEST(PlainFormats, ReducedTransparencyStaysBelowItsAlpha)
{
    const Image image = decoded(PNG, encoded(clearQuarters(), "png"), 13);
    EXPECT_EQ(image.alpha(), Alpha::Premultiplied);
    for (int y = 0; y < 13; ++y)
        for (int x = 0; x < 13; ++x)
            for (int shift = 0; shift < 24; shift += 8)
                ASSERT_LE(channel(image.row(y)[x], shift), channel(image.row(y)[x], 24));
}

TEST(PlainFormats, TransparentPaletteIsPremultiplied)
{
    QImage image(8, 8, QImage::Format_Indexed8);
    image.setColorTable({0x80c86432, 0xff0000ff});
    image.fill(0);
    image.setPixel(7, 7, 1);
    const Image result = decoded(PNG, encoded(image, "png"));
    EXPECT_EQ(result.alpha(), Alpha::Premultiplied);
    EXPECT_TRUE(isNear(result.row(0)[0], 0x80643219, 1));
    EXPECT_EQ(result.row(7)[7], BLUE);
}

TEST(PlainFormats, ProfileIsCarried)
{
    for (const Container &container : {PNG, WEBP, TIFF}) {
        QImage picture = fourQuarters({32, 32});
        EXPECT_TRUE(decoded(container, encoded(picture, container.qtName)).iccProfile().isEmpty())
            << container.name;
        picture.setColorSpace(QColorSpace::DisplayP3);
        const Image image = decoded(container, encoded(picture, container.qtName), 16);
        EXPECT_EQ(QColorSpace::fromIccProfile(image.iccProfile()).primaries(),
                  QColorSpace::Primaries::DciP3D65)
            << container.name;
    }
}

TEST(PlainFormats, ProfileThatMakesNoSenseIsLeftBehind)
{
    for (const Container &container : {WEBP, TIFF}) {
        QImage picture = fourQuarters({32, 32});
        picture.setColorSpace(QColorSpace::DisplayP3);
        QByteArray bytes = encoded(picture, container.qtName);
        const qsizetype signature = bytes.indexOf("acsp");
        ASSERT_GT(signature, 0) << container.name;
        bytes.replace(signature - 36 + 128, 4, QByteArray(4, '\xff')); // how many tags it has
        const Image image = decoded(container, bytes);
        EXPECT_EQ(image.size(), QSize(32, 32)) << container.name;
        EXPECT_TRUE(image.iccProfile().isEmpty()) << container.name;
    }
}

/// A PNG of 8-bit grey of any size, with data for a few rows at the most.
QByteArray pngOf(int width, int height)
{
    return PNG_SIGNATURE + pngHeader({{width, height}, 8, 0}) +
           checkedChunk("IDAT", deflated(QByteArray(1 << 16, '\0'))) + checkedChunk("IEND", {});
}

TEST(PlainFormats, PngThatClaimsTooManyPixelsIsRefused)
{
    EXPECT_EQ(decoded(PNG, pngOf(200, 300)).size(), QSize(200, 300));
    EXPECT_TRUE(decoded(PNG, pngOf(60'000, 60'000), 100).isNull());
    EXPECT_TRUE(decoded(PNG, pngOf(0x7fffffff, 1), 100).isNull());
    EXPECT_TRUE(decoded(PNG, pngOf(0, 300), 100).isNull());
}

TEST(PlainFormats, PngOfOneVeryLongRowIsShown)
{
    QImage row(70'000, 1, QImage::Format_RGB32);
    row.fill(RED);
    const Image image = decoded(PNG, encoded(row, "png"), 700);
    EXPECT_TRUE(looksLike(image, flatImage({700, 1}, RED)));
}

// libtiff takes a failed read for one of −1 bytes and clears memory before its buffer's start: the
// end of a file is no failure.
TEST(PlainFormats, TiffWhoseStripLiesBeyondTheEndDoesNoHarm)
{
    const QByteArray tiff = pictures::tiffBlock({
        pictures::longField(256, 64),
        pictures::longField(257, 64),
        pictures::shortField(258, {8, 8, 8}),
        pictures::shortField(259, {7}), // JPEG
        pictures::shortField(262, {6}), // YCbCr
        pictures::longField(273, 100'000),
        pictures::shortField(277, {3}),
        pictures::longField(278, 64),
        pictures::longField(279, 5000),
    });
    const Image image = decoded(TIFF, tiff, 32);
    EXPECT_TRUE(image.isNull() || image.size() == QSize(32, 32));
}

} // namespace

} // namespace tavolin
