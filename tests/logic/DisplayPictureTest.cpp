#include "pixels/DisplayPicture.h"

#include "decoding/color/Color.h"
#include "decoding/Decoding.h"
#include "logic/PngFile.h"
#include "logic/Printing.h"
#include "logic/TemporaryFolder.h"
#include "pictures/Picture.h"
#include "pictures/Writing.h"
#include "pixels/Resample.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ostream>
#include <stop_token>
#include <utility>

namespace tavolin {

using test::pngFile;
using test::TemporaryFolder;

namespace {

QByteArray fourQuarters(QSize size)
{
    return pngFile(pictures::fourQuarters(size));
}

/// Red, of which the left half can't be seen at all and the right half for one half.
QByteArray transparentPicture(QSize size)
{
    QImage image(size, QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgba(255, 0, 0, x < image.width() / 2 ? 0 : 128));
    }
    return pngFile(image);
}

struct RenditionCase
{
    const char *name;
    QSize image;
    QRectF area;
    double scale;
    QSize expected;
};

void PrintTo(const RenditionCase &item, std::ostream *out)
{
    *out << item.name;
}

class Rendition : public testing::TestWithParam<RenditionCase>
{};

TEST_P(Rendition, SizeIsThatOfTheFittedPicture)
{
    EXPECT_EQ(renditionSize(GetParam().image, GetParam().area, GetParam().scale),
              GetParam().expected);
}

TEST_P(Rendition, LoadedPictureHasThatSize)
{
    const TemporaryFolder folder;
    const auto file = folder.write("a.png", fourQuarters(GetParam().image));
    const DisplayTarget target{2560, GetParam().area, GetParam().scale};
    EXPECT_EQ(loadDisplayPicture(file, target).rendition.size(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, Rendition,
    testing::Values(RenditionCase{"enlarged", {300, 200}, {0, 0, 1200, 800}, 1.0, {1200, 800}},
                    RenditionCase{"reduced", {300, 200}, {0, 0, 150, 150}, 1.0, {150, 100}},
                    RenditionCase{"portrait", {200, 300}, {0, 0, 600, 600}, 1.0, {400, 600}},
                    RenditionCase{"sharpScreen", {300, 200}, {0, 0, 600, 600}, 2.0, {1200, 800}},
                    RenditionCase{"oneAndAHalf", {300, 200}, {0, 0, 101, 101}, 1.5, {152, 101}},
                    RenditionCase{"areaInside", {300, 200}, {50, 76, 90, 848}, 1.0, {90, 60}},
                    RenditionCase{"thinPicture", {300, 1}, {0, 0, 100, 100}, 1.0, {100, 1}}),
    [](const auto &test) { return test.param.name; });

TEST(LoadDisplayPicture, ImageKeepsToTheLimitWhateverTheArea)
{
    const TemporaryFolder folder;
    const auto file = folder.write("a.png", fourQuarters({300, 200}));
    const DisplayPicture picture = loadDisplayPicture(file, {150, {0, 0, 600, 400}, 1.0});
    EXPECT_EQ(picture.image.size(), QSize(150, 100));
    EXPECT_EQ(picture.rendition.size(), QSize(600, 400));
}

TEST(LoadDisplayPicture, RenditionShowsThePictureUpright)
{
    const TemporaryFolder folder;
    const auto file = folder.write("a.png", fourQuarters({300, 200}));
    const Image rendition = loadDisplayPicture(file, {300, {0, 0, 60, 40}, 1.0}).rendition;
    ASSERT_EQ(rendition.size(), QSize(60, 40));
    EXPECT_EQ(rendition.row(5)[5], 0xffff0000);
    EXPECT_EQ(rendition.row(5)[54], 0xff00ff00);
    EXPECT_EQ(rendition.row(34)[5], 0xff0000ff);
    EXPECT_EQ(rendition.row(34)[54], 0xffffff00);
}

/// Bars of six pixels, which two reductions leave paler than one does.
TEST(LoadDisplayPicture, RenditionIsMadeInOneStepFromTheDecodedRows)
{
    const TemporaryFolder folder;
    QImage bars(600, 400, QImage::Format_RGB32);
    for (int y = 0; y < bars.height(); ++y)
        for (int x = 0; x < bars.width(); ++x)
            bars.setPixel(x, y, x / 6 % 2 == 0 ? qRgb(60, 60, 60) : qRgb(190, 190, 190));
    const auto file = folder.write("a.png", pngFile(bars));
    const Image whole = loadFullImage(file);
    const DisplayPicture picture = loadDisplayPicture(file, {192, {0, 0, 192, 108}});
    ASSERT_EQ(picture.image.size(), QSize(192, 128));
    ASSERT_EQ(picture.rendition.size(), QSize(162, 108));
    const Image once = resampled(whole, {162, 108});
    const Image twice = resampled(picture.image, {162, 108});
    bool isTwice = true;
    for (int y = 0; y < once.height(); ++y) {
        EXPECT_TRUE(std::equal(once.row(y), once.row(y) + 162, picture.rendition.row(y)));
        isTwice = isTwice && std::equal(once.row(y), once.row(y) + 162, twice.row(y));
    }
    EXPECT_FALSE(isTwice);
}

TEST(LoadDisplayPicture, TransparencyBecomesBlack)
{
    const TemporaryFolder folder;
    const auto file = folder.write("a.png", transparentPicture({60, 40}));
    const Image rendition = loadDisplayPicture(file, {60, {0, 0, 120, 80}, 1.0}).rendition;
    ASSERT_EQ(rendition.size(), QSize(120, 80));
    EXPECT_EQ(rendition.alpha(), Alpha::Opaque);
    EXPECT_EQ(rendition.row(40)[20], 0xff000000);
    EXPECT_EQ(rendition.row(40)[100], 0xff800000);
}

TEST(LoadDisplayPicture, TransparentRenditionIsOpaqueWithoutScalingToo)
{
    const TemporaryFolder folder;
    const auto file = folder.write("a.png", transparentPicture({60, 40}));
    const Image rendition = loadDisplayPicture(file, {60, {0, 0, 60, 40}, 1.0}).rendition;
    ASSERT_EQ(rendition.size(), QSize(60, 40));
    EXPECT_EQ(rendition.alpha(), Alpha::Opaque);
    for (int y = 0; y < rendition.height(); ++y)
        EXPECT_TRUE(std::all_of(rendition.row(y), rendition.row(y) + 60,
                                [](Pixel pixel) { return pixel >> 24 == 0xff; }));
}

TEST(LoadDisplayPicture, ColoursOfAdobeRgbAreConverted)
{
    const TemporaryFolder folder;
    QImage source(30, 20, QImage::Format_RGB32);
    source.fill(qRgb(100, 150, 100));
    const pictures::PictureSpec spec{.size = source.size()};
    const auto file = folder.write(
        "a.png", pictures::encodePicture(source, spec, ".png", {.iccProfile = adobeRgbProfile()}));
    const DisplayPicture picture = loadDisplayPicture(file, {30, {0, 0, 30, 20}, 1.0});
    ASSERT_FALSE(picture.isNull());
    EXPECT_TRUE(picture.image.iccProfile().isEmpty());
    // By the primaries and the gamma of 2.2 of IEC 61966-2-5 and the curve of sRGB.
    for (const Image &image : {picture.image, picture.rendition}) {
        const Pixel pixel = image.row(10)[15];
        EXPECT_NEAR(qRed(pixel), 66, 2);
        EXPECT_NEAR(qGreen(pixel), 151, 2);
        EXPECT_NEAR(qBlue(pixel), 97, 2);
    }
}

TEST(LoadDisplayPicture, FileThatIsNoPictureGivesNull)
{
    const TemporaryFolder folder;
    const auto file = folder.write("a.png", "not a picture at all");
    const DisplayPicture picture = loadDisplayPicture(file, {300, {0, 0, 600, 400}, 1.0});
    EXPECT_TRUE(picture.isNull());
    EXPECT_TRUE(picture.rendition.isNull());
}

TEST(LoadDisplayPicture, StopRequestGivesNull)
{
    const TemporaryFolder folder;
    const auto file = folder.write("a.png", fourQuarters({300, 200}));
    std::stop_source source;
    source.request_stop();
    const DisplayPicture picture =
        loadDisplayPicture(file, {300, {0, 0, 600, 400}, 1.0}, source.get_token());
    EXPECT_TRUE(picture.isNull());
    EXPECT_TRUE(picture.rendition.isNull());
}

TEST(MakeDisplayPicture, ReducesToTheLimitAndLeavesThePictureAloneWithinIt)
{
    PixelBuffer pixels(QSize(300, 200));
    const Image image = std::move(pixels).toImage(Alpha::Opaque);
    const DisplayPicture reduced = makeDisplayPicture(image, {150, {0, 0, 60, 40}, 1.0});
    EXPECT_EQ(reduced.image.size(), QSize(150, 100));
    EXPECT_EQ(reduced.rendition.size(), QSize(60, 40));
    EXPECT_TRUE(makeDisplayPicture(image, {300, {0, 0, 60, 40}, 1.0}).image.isSameAs(image));
}

TEST(MakeDisplayPicture, OfNothingOrOnceStoppedIsNull)
{
    PixelBuffer pixels(QSize(30, 20));
    const Image image = std::move(pixels).toImage(Alpha::Opaque);
    std::stop_source source;
    source.request_stop();
    EXPECT_TRUE(makeDisplayPicture(Image(), {300, {0, 0, 60, 40}, 1.0}).isNull());
    EXPECT_TRUE(makeDisplayPicture(image, {300, {0, 0, 60, 40}, 1.0}, source.get_token()).isNull());
}

TEST(MakeRendition, OfNothingIsNull)
{
    EXPECT_TRUE(makeRendition({}, {0, 0, 600, 400}, 1.0).isNull());
}

TEST(MakeRendition, StopRequestGivesNull)
{
    PixelBuffer pixels(QSize(30, 20));
    const Image image = std::move(pixels).toImage(Alpha::Opaque);
    std::stop_source source;
    source.request_stop();
    EXPECT_TRUE(makeRendition(image, {0, 0, 600, 400}, 1.0, source.get_token()).isNull());
}

} // namespace

} // namespace tavolin
