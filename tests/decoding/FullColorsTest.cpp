// In which colours pictures come for the screen, and at full size for an edit.

#include "decoding/Decoding.h"

#include "decoding/color/Color.h"
#include "pictures/Jpeg.h"
#include "PngFile.h"
#include "TestPictures.h"
#include "TestProfiles.h"

#include <QtEndian>

namespace tavolin {

namespace {

using namespace test;

constexpr auto ALWAYS = ThumbnailRule::FromImageAlways;
constexpr int RGB_SAMPLES = 2;
constexpr int RGBA_SAMPLES = 6;

Image kept(const QByteArray &file)
{
    return decodeFull(fileOf(file), ALWAYS, KEPT);
}

Image inSrgb(const QByteArray &file)
{
    return decodeFull(fileOf(file), ALWAYS, QByteArray());
}

/// A PNG of 16x16 pixels of (200, 100, 50) in @p profile.
QByteArray opaquePng(const QByteArray &profile)
{
    const auto samples = [](int, int) { return std::vector<unsigned>{200, 100, 50}; };
    return pngFile({{16, 16}, 8, RGB_SAMPLES}, samples, iccp(profile));
}

/// The same, of which the right half has @p alpha.
QByteArray pngWithAlpha(const QByteArray &profile, unsigned alpha)
{
    const auto samples = [alpha](int x, int) {
        return std::vector<unsigned>{200, 100, 50, x < 8 ? 255 : alpha};
    };
    return pngFile({{16, 16}, 8, RGBA_SAMPLES}, samples, iccp(profile));
}

/// A JPEG of 16x16 pixels of one grey.
QByteArray greyJpeg(int level, const QByteArray &profile,
                    pictures::JpegColor color = pictures::JpegColor::Grey)
{
    QImage grey(16, 16, QImage::Format_RGB32);
    grey.fill(qRgb(level, level, level));
    return pictures::encodeJpeg(grey, {.quality = 100, .color = color, .iccProfile = profile});
}

/// Display P3 with zeros behind it, which the header counts.
QByteArray largeProfile(qsizetype bytes)
{
    QByteArray profile = displayP3Profile();
    profile.append(bytes - profile.size(), '\0');
    qToBigEndian(static_cast<quint32>(bytes), profile.data()); // ICC.1:2022, 7.2.2
    return profile;
}

TEST(DecodeFull, KeepsAProfileForRgb)
{
    const Image image = kept(opaquePng(displayP3Profile()));
    EXPECT_EQ(image.iccProfile(), displayP3Profile());
    EXPECT_TRUE(looksLike(image, flatImage({16, 16}, 0xffc86432)));
}

TEST(DecodeFull, KeepsAProfileUnderAlphaThatHidesNothing)
{
    EXPECT_EQ(kept(pngWithAlpha(displayP3Profile(), 255)).iccProfile(), displayP3Profile());
}

// Black shines through in sRGB. By hand: 200, 100 and 50 of 255 as light are 229.1, 168.1 and 122.4
// in sRGB, at 128 of 255 over black 115.0, 84.4 and 61.5.
TEST(DecodeFull, ColorsThatAreSeenThroughBecomeSrgb)
{
    const Image image = kept(pngWithAlpha(rgbProfile(SRGB_PRIMARIES, 1.0), 128));
    ASSERT_FALSE(image.isNull());
    EXPECT_TRUE(image.iccProfile().isEmpty());
    EXPECT_TRUE(isNear(image.row(8)[4], 0xffe5a87a, 1));
    EXPECT_TRUE(isNear(image.row(8)[12], 0x8073543d, 2));
}

TEST(DecodeFull, OnePixelThatIsSeenThroughSuffices)
{
    const auto samples = [](int x, int y) {
        return std::vector<unsigned>{200, 100, 50, x == 15 && y == 15 ? 254U : 255U};
    };
    const QByteArray png = pngFile({{16, 16}, 8, RGBA_SAMPLES}, samples, iccp(displayP3Profile()));
    EXPECT_TRUE(kept(png).iccProfile().isEmpty());
    EXPECT_FALSE(looksLike(kept(png), flatImage({16, 16}, 0xffc86432), 2));
}

// Level 128 of 255 is 0.502 of the light, which sRGB's curve writes as 187.8.
TEST(DecodeFull, GreyBecomesSrgb)
{
    const Image image = kept(greyJpeg(128, linearGreyProfile()));
    ASSERT_FALSE(image.isNull());
    EXPECT_TRUE(image.iccProfile().isEmpty());
    EXPECT_TRUE(isNear(image.row(8)[8], 0xffbcbcbc, 2));
}

TEST(DecodeFull, ProfileForInkIsNotKeptWithRgbPixels)
{
    const Image image = kept(greyJpeg(128, redInkProfile(), pictures::JpegColor::YCbCr));
    ASSERT_FALSE(image.isNull());
    EXPECT_TRUE(image.iccProfile().isEmpty());
    EXPECT_TRUE(isNear(image.row(8)[8], 0xff808080, 2));
}

TEST(DecodeFull, ProfileThatNoJpegCarriesBecomesSrgb)
{
    constexpr qsizetype MOST = 255 * 65519;
    EXPECT_EQ(kept(opaquePng(largeProfile(MOST))).iccProfile().size(), MOST);
    const Image image = kept(opaquePng(largeProfile(MOST + 1)));
    ASSERT_FALSE(image.isNull());
    EXPECT_TRUE(image.iccProfile().isEmpty());
    EXPECT_TRUE(looksLike(image, inSrgb(opaquePng(displayP3Profile()))));
}

// The colour by hand, as in the tests of the conversion.
TEST(DecodeFull, IsInSrgbWhereThatIsAskedFor)
{
    const auto samples = [](int, int) { return std::vector<unsigned>{100, 150, 200}; };
    const QByteArray png = pngFile({{16, 16}, 8, RGB_SAMPLES}, samples, iccp(displayP3Profile()));
    const Image image = inSrgb(png);
    ASSERT_FALSE(image.isNull());
    EXPECT_TRUE(image.iccProfile().isEmpty());
    EXPECT_TRUE(isNear(image.row(8)[8], 0xff5498cd, 2));
}

TEST(DecodeFull, NullForWhatIsNoPictureAndOnceStopped)
{
    for (const FullColors &colors : {FullColors(KEPT), FullColors(QByteArray())}) {
        EXPECT_TRUE(decodeFull(fileOf("no picture"), ALWAYS, colors).isNull());
        EXPECT_TRUE(
            decodeFull(stoppedFileOf(opaquePng(displayP3Profile())), ALWAYS, colors).isNull());
    }
}

// By the primaries of Display P3 and the curve of sRGB.
TEST(DecodeForDisplay, IsInSrgbAndWithinTheLimit)
{
    const Image image = decodeForDisplay(fileOf(opaquePng(displayP3Profile())), 8, ALWAYS).image;
    ASSERT_EQ(image.size(), QSize(8, 8));
    EXPECT_TRUE(image.iccProfile().isEmpty());
    EXPECT_TRUE(looksLike(image, flatImage({8, 8}, 0xffd75d1f), 2));
}

TEST(DecodeForDisplay, IsInTheColorsOfTheMonitor)
{
    const QByteArray monitor = exchangedP3Profile();
    const Image image =
        decodeForDisplay(fileOf(opaquePng(displayP3Profile())), SizeRule(8), ALWAYS, monitor).image;
    ASSERT_EQ(image.size(), QSize(8, 8));
    EXPECT_EQ(image.iccProfile(), monitor);
    EXPECT_TRUE(looksLike(image, flatImage({8, 8}, 0xff6432c8), 1));
}

TEST(DecodeFull, IsInTheColorsOfTheMonitorWhereThatIsAskedFor)
{
    const QByteArray monitor = exchangedP3Profile();
    const Image image = decodeFull(fileOf(opaquePng(displayP3Profile())), ALWAYS, monitor);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.iccProfile(), monitor);
    EXPECT_TRUE(isNear(image.row(8)[8], 0xff6432c8, 1));
}

TEST(DecodeForDisplay, NullForWhatIsNoPictureAndOnceStopped)
{
    EXPECT_TRUE(decodeForDisplay(fileOf("no picture"), 8, ALWAYS).isNull());
    const QByteArray png = opaquePng(displayP3Profile());
    EXPECT_TRUE(decodeForDisplay(stoppedFileOf(png), 8, ALWAYS).isNull());
}

} // namespace

} // namespace tavolin
