#include "decoding/codecs/QtCodec.h"

#include "pictures/Picture.h"
#include "pictures/Tiff.h"
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

Image decoded(const Container &container, const QByteArray &bytes, int maxPixel = NO_LIMIT)
{
    return decodeWithQt(fileOf(bytes), container.type, maxPixel);
}

constexpr Container BMP{"Bmp", FileType::Bmp, "bmp", 0};
constexpr Container TIFF{"Tiff", FileType::Tiff, "tiff", 0};

class QtContainer : public testing::TestWithParam<Container>
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

INSTANTIATE_TEST_SUITE_P(All, QtContainer, testing::Values(BMP, TIFF),
                         [](const auto &one) { return std::string(one.param.name); });

TEST_P(QtContainer, ShowsItsQuarters)
{
    const Image image = decode(encode(fourQuarters({61, 47})));
    EXPECT_EQ(image.size(), QSize(61, 47));
    EXPECT_EQ(image.alpha(), Alpha::Opaque);
    EXPECT_TRUE(showsFourQuarters(image, GetParam().tolerance));
}

// More pixels than are converted at a time.
TEST_P(QtContainer, ShowsAllRowsOfALargePicture)
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

TEST_P(QtContainer, ComesInTheSizeOfTheLimit)
{
    const QByteArray bytes = encode(fourQuarters({120, 80}));
    EXPECT_EQ(decode(bytes, 120).size(), QSize(120, 80));
    EXPECT_EQ(decode(bytes, 100).size(), QSize(100, 67));
    EXPECT_EQ(decode(bytes, 1).size(), QSize(1, 1));
    const Image small = decode(bytes, 31);
    EXPECT_EQ(small.size(), QSize(31, 21));
    EXPECT_TRUE(showsFourQuarters(small, GetParam().tolerance));
}

TEST_P(QtContainer, TruncatedIsNullOrOfItsSize)
{
    const QByteArray bytes = encode(pictures::drawPicture({.size = {200, 150}}));
    for (qsizetype percent = 0; percent < 100; percent += 3) {
        const Image image = decode(bytes.first(bytes.size() * percent / 100), 100);
        EXPECT_TRUE(image.isNull() || image.size() == QSize(100, 75)) << percent;
    }
    EXPECT_TRUE(decode(bytes.first(20)).isNull());
}

TEST_P(QtContainer, IsNullOnceStopped)
{
    const SourceFile file = stoppedFileOf(encode(fourQuarters({61, 47})));
    EXPECT_TRUE(decodeWithQt(file, GetParam().type, NO_LIMIT).isNull());
}

TEST_P(QtContainer, IsNotReadAsAnother)
{
    EXPECT_TRUE(decode("GIF89a and more that is none of ours").isNull());
    const Container other = GetParam().type == FileType::Bmp ? TIFF : BMP;
    EXPECT_TRUE(decode(encoded(fourQuarters({20, 20}), other.qtName)).isNull());
}

TEST_P(QtContainer, DamagedFilesDoNoHarm)
{
    constexpr int LIMIT = 40;
    const QByteArray bytes = encode(fourQuarters({60, 44}));
    for (unsigned seed = 0; seed < 80; ++seed) {
        const Image image = decode(damaged(bytes, seed), LIMIT);
        ASSERT_LE(std::max(image.width(), image.height()), LIMIT) << seed;
    }
}

/// Clear, half-clear orange, half-clear white and opaque blue.
QImage clearQuarters()
{
    QImage image(40, 40, QImage::Format_ARGB32);
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 40; ++x)
            image.setPixel(x, y,
                           x < 20 ? (y < 20 ? 0x00ffffff : 0x80ffffff)
                                  : (y < 20 ? 0x80c86432 : 0xff0000ff));
    return image;
}

// 200, 100 and 50 at 128 of 255 are 100.4, 50.2 and 25.1.
constexpr std::array<Pixel, 4> CLEAR_QUARTERS{0, 0x80643219, 0x80808080, BLUE};

TEST(QtCodec, TransparencyIsPremultiplied)
{
    const Image image = decoded(TIFF, encoded(clearQuarters(), "tiff"));
    EXPECT_EQ(image.alpha(), Alpha::Premultiplied);
    EXPECT_TRUE(hasQuarters(image, CLEAR_QUARTERS, 1));
}

TEST(QtCodec, ReducedTransparencyStaysBelowItsAlpha)
{
    const Image image = decoded(TIFF, encoded(clearQuarters(), "tiff"), 13);
    EXPECT_EQ(image.alpha(), Alpha::Premultiplied);
    for (int y = 0; y < 13; ++y)
        for (int x = 0; x < 13; ++x)
            for (int shift = 0; shift < 24; shift += 8)
                ASSERT_LE(channel(image.row(y)[x], shift), channel(image.row(y)[x], 24));
}

TEST(QtCodec, ProfileIsCarried)
{
    QImage picture = fourQuarters({32, 32});
    EXPECT_TRUE(decoded(TIFF, encoded(picture, "tiff")).iccProfile().isEmpty());
    picture.setColorSpace(QColorSpace::DisplayP3);
    const Image image = decoded(TIFF, encoded(picture, "tiff"), 16);
    EXPECT_EQ(QColorSpace::fromIccProfile(image.iccProfile()).primaries(),
              QColorSpace::Primaries::DciP3D65);
}

// libtiff takes a failed read for one of −1 bytes and clears memory before its buffer's start: the
// end of a file is no failure.
TEST(QtCodec, TiffWhoseStripLiesBeyondTheEndDoesNoHarm)
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

TEST(QtCodec, TypesThatAreNotQtsAreNull)
{
    const SourceFile file = fileOf("\xff\xd8\xff\xd9");
    EXPECT_TRUE(decodeWithQt(file, FileType::Unknown, 100).isNull());
}

} // namespace

} // namespace tavolin
