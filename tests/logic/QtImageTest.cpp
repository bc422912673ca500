#include "screen/QtImage.h"

#include "decoding/TestPictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace tavolin {
namespace {

/// A 4 x 3 picture whose pixels say where they stand: 0xff0000yx.
Image numbered()
{
    return test::makeImage(
        {4, 3}, [](int x, int y) { return 0xff000000 | static_cast<Pixel>(y << 4 | x); });
}

TEST(ToQImage, OfNothingIsNull)
{
    EXPECT_TRUE(toQImage({}).isNull());
}

TEST(ToQImage, SharesThePixels)
{
    const Image image = numbered();
    const QImage shared = toQImage(image);
    EXPECT_EQ(shared.size(), QSize(4, 3));
    EXPECT_EQ(shared.format(), QImage::Format_RGB32);
    EXPECT_EQ(reinterpret_cast<const Pixel *>(shared.constScanLine(1)), image.row(1));
}

TEST(ToQImage, OfACropHasThePartsPixels)
{
    const QImage shared = toQImage(numbered().cropped({2, 1, 2, 2}));
    EXPECT_EQ(shared.size(), QSize(2, 2));
    EXPECT_EQ(shared.pixel(0, 0), 0xff000012);
    EXPECT_EQ(shared.pixel(1, 1), 0xff000023);
}

TEST(ToQImage, OfAnImageWithAlphaIsPremultiplied)
{
    const Image image = test::makeImage(
        {1, 1}, [](int, int) { return 0x80402010; }, Alpha::Premultiplied);
    EXPECT_EQ(toQImage(image).format(), QImage::Format_ARGB32_Premultiplied);
}

TEST(ToQImage, KeepsThePixelsAlive)
{
    bool isFreed = false;
    auto pixels = std::make_unique<Pixel[]>(1);
    pixels[0] = 0xff102030;
    QImage shared = toQImage({std::shared_ptr<const Pixel>(pixels.release(),
                                                           [&isFreed](const Pixel *memory) {
                                                               delete[] memory;
                                                               isFreed = true;
                                                           }),
                              {1, 1},
                              1,
                              Alpha::Opaque});
    EXPECT_FALSE(isFreed);
    EXPECT_EQ(shared.pixel(0, 0), 0xff102030);
    shared = {};
    EXPECT_TRUE(isFreed);
}

} // namespace
} // namespace tavolin
