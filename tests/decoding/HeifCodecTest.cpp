#include "decoding/codecs/HeifCodec.h"

#include "decoding/color/Color.h"
#include "HeicFile.h"
#include "pictures/Exif.h"
#include "pictures/Picture.h"
#include "TestPictures.h"

#include <QtEndian>

namespace tavolin {

namespace {

using namespace test;
using pictures::fourQuarters;

constexpr int NO_LIMIT = 100'000;
/// What the lossy encoder and 8-bit YCbCr may change in flat areas.
constexpr int TOLERANCE = 8;

Image decoded(const QByteArray &bytes, int maxPixel = NO_LIMIT)
{
    return decodeHeif(fileOf(bytes), maxPixel).image;
}

/// @p heic with every picture of its saying that it is @p width by @p height: the box that says so
/// (ISO/IEC 23008-12, section 6.5.3) has both after four bytes of name and four of version.
QByteArray claiming(QByteArray heic, quint32 width, quint32 height)
{
    int found = 0;
    for (qsizetype at = heic.indexOf("ispe"); at > 0; at = heic.indexOf("ispe", at + 4), ++found) {
        qToBigEndian(width, heic.data() + at + 8);
        qToBigEndian(height, heic.data() + at + 12);
    }
    EXPECT_GT(found, 0);
    return heic;
}

class HeifCodec : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!canEncodeHeic())
            GTEST_SKIP() << "this libheif was built without an encoder for HEVC";
    }
};

TEST_F(HeifCodec, ShowsItsQuarters)
{
    for (const QSize size : {QSize(128, 96), QSize(97, 61), QSize(64, 200)}) {
        const Image image = decoded(encodeHeic(fourQuarters(size)));
        EXPECT_EQ(image.size(), size);
        EXPECT_EQ(image.alpha(), Alpha::Opaque);
        EXPECT_TRUE(showsFourQuarters(image, TOLERANCE));
    }
}

TEST_F(HeifCodec, ComesInTheSizeOfTheLimit)
{
    const QByteArray heic = encodeHeic(fourQuarters({120, 80}));
    EXPECT_EQ(decoded(heic, 120).size(), QSize(120, 80));
    EXPECT_EQ(decoded(heic, 100).size(), QSize(100, 67));
    EXPECT_EQ(decoded(heic, 1).size(), QSize(1, 1));
    const Image small = decoded(heic, 31);
    EXPECT_EQ(small.size(), QSize(31, 21));
    EXPECT_TRUE(showsFourQuarters(small, TOLERANCE));
}

TEST_F(HeifCodec, IsTurnedByItsContainer)
{
    for (int orientation = 1; orientation <= 8; ++orientation) {
        const QImage stored = pictures::storedFor(fourQuarters({128, 80}), orientation);
        const Image image = decoded(encodeHeic(stored, {.orientation = orientation}));
        EXPECT_EQ(image.size(), QSize(128, 80)) << orientation;
        EXPECT_TRUE(showsFourQuarters(image, TOLERANCE)) << orientation;
    }
}

TEST_F(HeifCodec, TransparencyIsPremultiplied)
{
    QImage stored(64, 64, QImage::Format_ARGB32);
    stored.fill(0x80c86432);
    const Image image = decoded(encodeHeic(stored));
    EXPECT_EQ(image.alpha(), Alpha::Premultiplied);
    // 200, 100 and 50 at 128 of 255.
    EXPECT_TRUE(isNear(pixelAt(image, 0.5, 0.5), 0x80643219, TOLERANCE));
    stored.fill(0x00ffffff);
    EXPECT_TRUE(isNear(pixelAt(decoded(encodeHeic(stored)), 0.5, 0.5), 0, TOLERANCE));
}

TEST_F(HeifCodec, ProfileIsCarried)
{
    const QImage stored = fourQuarters({64, 64});
    EXPECT_TRUE(decoded(encodeHeic(stored)).iccProfile().isEmpty());
    EXPECT_EQ(decoded(encodeHeic(stored, {.iccProfile = adobeRgbProfile()}), 20).iccProfile(),
              adobeRgbProfile());
}

TEST_F(HeifCodec, PrimariesByNumberBecomeAProfile)
{
    const QByteArray heic = encodeHeic(fourQuarters({64, 64}), {.isDisplayP3 = true});
    ASSERT_TRUE(heic.contains("nclx"));
    EXPECT_EQ(decoded(heic).iccProfile(), displayP3Profile());
}

TEST_F(HeifCodec, TruncatedIsNull)
{
    const QByteArray heic = encodeHeic(pictures::drawPicture({.size = {200, 150}}));
    for (qsizetype percent = 0; percent < 100; percent += 10)
        EXPECT_TRUE(decoded(heic.first(heic.size() * percent / 100)).isNull()) << percent;
    EXPECT_FALSE(decoded(heic).isNull());
}

TEST_F(HeifCodec, ClaimOfTooManyPixelsIsRefused)
{
    const QByteArray heic = encodeHeic(fourQuarters({128, 96}));
    // Below the library's own limit of 32768 for a side.
    EXPECT_TRUE(decoded(claiming(heic, 30'000, 30'000), 100).isNull());
    EXPECT_TRUE(decoded(claiming(heic, 65'535, 65'535), 100).isNull());
    EXPECT_TRUE(decoded(claiming(heic, 0xffffffff, 0xffffffff), 100).isNull());
}

TEST_F(HeifCodec, ClaimThatIsOnlyWrongDoesNoHarm)
{
    const QByteArray heic = encodeHeic(fourQuarters({128, 96}));
    for (const quint32 side : {0U, 1U, 64U, 1000U}) {
        const Image image = decoded(claiming(heic, side, side), 100);
        EXPECT_LE(std::max(image.width(), image.height()), 100) << side;
    }
}

TEST_F(HeifCodec, IsNullOnceStopped)
{
    EXPECT_TRUE(decodeHeif(stoppedFileOf(encodeHeic(fourQuarters({64, 64}))), NO_LIMIT).isNull());
}

TEST_F(HeifCodec, DamagedFilesDoNoHarm)
{
    constexpr int LIMIT = 40;
    const QByteArray heic = encodeHeic(fourQuarters({64, 64}), {.iccProfile = displayP3Profile()});
    for (unsigned seed = 0; seed < 200; ++seed) {
        const Image image = decoded(damaged(heic, seed), LIMIT);
        ASSERT_LE(std::max(image.width(), image.height()), LIMIT) << seed;
    }
}

TEST(HeifCodecWithoutEncoder, WhatIsNoHeifIsNull)
{
    EXPECT_TRUE(decoded({}).isNull());
    EXPECT_TRUE(decoded("not a picture at all").isNull());
    EXPECT_TRUE(decoded(QByteArray("\0\0\0\x18"
                                   "ftypheic\0\0\0\0mif1heic",
                                   24))
                    .isNull());
}

} // namespace

} // namespace tavolin
