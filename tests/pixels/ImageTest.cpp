#include "pixels/Image.h"

#include "decoding/TestPictures.h"

#include <limits>
#include <memory>
#include <vector>

namespace tavolin {

namespace {

using namespace test;

/// A 4 x 3 picture whose pixels say where they stand: 0xff0000yx.
Image numbered(const QByteArray &profile = {})
{
    return makeImage(
        {4, 3}, [](int x, int y) { return 0xff000000 | static_cast<Pixel>(y << 4 | x); },
        Alpha::Opaque, profile);
}

/// A 2 x 2 picture that sets @p isFreed when the last owner lets go of its pixels.
Image watched(bool &isFreed)
{
    auto pixels = std::make_unique<Pixel[]>(4);
    std::fill_n(pixels.get(), 4, RED);
    return {std::shared_ptr<const Pixel>(pixels.release(),
                                         [&isFreed](const Pixel *memory) {
                                             delete[] memory;
                                             isFreed = true;
                                         }),
            {2, 2},
            2,
            Alpha::Opaque};
}

TEST(Image, IsNullByDefault)
{
    EXPECT_TRUE(Image().isNull());
    EXPECT_TRUE(Image().size().isEmpty());
    EXPECT_TRUE(Image().cropped({0, 0, 1, 1}).isNull());
}

TEST(Image, CropSharesThePixels)
{
    const Image image = numbered();
    const Image part = image.cropped({1, 1, 2, 2});
    ASSERT_EQ(part.size(), QSize(2, 2));
    EXPECT_EQ(part.row(0), image.row(1) + 1);
    EXPECT_EQ(part.row(1)[1], 0xff000022);
}

TEST(Image, CropIsCutToThePicture)
{
    const Image image = numbered();
    const Image corner = image.cropped({-5, -5, 7, 7});
    EXPECT_EQ(corner.size(), QSize(2, 2));
    EXPECT_EQ(corner.row(0), image.row(0));
    const Image opposite = image.cropped({3, 2, 100, 100});
    EXPECT_EQ(opposite.size(), QSize(1, 1));
    EXPECT_EQ(opposite.row(0)[0], 0xff000023);
}

TEST(Image, CropOfNothingIsNull)
{
    const Image image = numbered();
    for (const QRect &rect :
         {QRect(), QRect(1, 1, 0, 2), QRect(4, 0, 1, 1), QRect(0, -2, 4, 2), QRect(0, 3, 4, 1)})
        EXPECT_TRUE(image.cropped(rect).isNull()) << rect.x() << ", " << rect.y();
}

TEST(Image, CropOfACropCountsFromItsCorner)
{
    const Image part = numbered().cropped({1, 1, 3, 2}).cropped({1, 1, 5, 5});
    ASSERT_EQ(part.size(), QSize(2, 1));
    EXPECT_EQ(part.row(0)[0], 0xff000022);
}

TEST(Image, CropKeepsAlphaAndProfile)
{
    const Image image = makeImage(
        {2, 2}, [](int, int) { return 0x80402010; }, Alpha::Premultiplied, "profile");
    const Image part = image.cropped({0, 0, 1, 1});
    EXPECT_EQ(part.alpha(), Alpha::Premultiplied);
    EXPECT_EQ(part.iccProfile(), "profile");
}

TEST(Image, CropKeepsThePixelsAliveAfterTheWhole)
{
    bool isFreed = false;
    Image part = watched(isFreed).cropped({1, 1, 1, 1});
    EXPECT_FALSE(isFreed);
    EXPECT_EQ(part.row(0)[0], RED);
    part = {};
    EXPECT_TRUE(isFreed);
}

TEST(Image, IsTheSameAsItsCopyAndItsWholeCrop)
{
    const Image image = numbered();
    const Image copy = image;
    EXPECT_TRUE(copy.isSameAs(image));
    EXPECT_TRUE(image.cropped({0, 0, 4, 3}).isSameAs(image));
    EXPECT_TRUE(Image().isSameAs({}));
}

TEST(Image, IsNotTheSameAsOneWithEqualPixels)
{
    EXPECT_FALSE(numbered().isSameAs(numbered()));
    EXPECT_FALSE(numbered().isSameAs({}));
}

TEST(Image, IsNotTheSameAsAPartOfIt)
{
    const Image image = numbered();
    EXPECT_FALSE(image.cropped({0, 0, 4, 2}).isSameAs(image));
    EXPECT_FALSE(image.cropped({0, 0, 3, 3}).isSameAs(image));
}

TEST(Image, WithProfileSharesThePixels)
{
    const Image image = numbered("old");
    const Image other = image.withProfile("new");
    EXPECT_TRUE(other.isSameAs(image));
    EXPECT_EQ(other.iccProfile(), "new");
    EXPECT_EQ(image.iccProfile(), "old");
}

TEST(PixelBuffer, OfAnEmptySizeIsNull)
{
    for (const QSize size : {QSize(), QSize(0, 0), QSize(5, 0), QSize(0, 5), QSize(-1, 5)}) {
        PixelBuffer buffer(size);
        EXPECT_TRUE(buffer.isNull()) << size.width() << "x" << size.height();
        EXPECT_TRUE(std::move(buffer).toImage(Alpha::Opaque).isNull());
    }
}

#if !defined(__SANITIZE_ADDRESS__)
// The sanitizer ends the program instead of refusing.
TEST(PixelBuffer, BeyondAllMemoryIsNull)
{
    constexpr int HUGE_SIDE = std::numeric_limits<int>::max();
    EXPECT_TRUE(PixelBuffer({HUGE_SIDE, HUGE_SIDE}).isNull());
}
#endif

TEST(PixelBuffer, ComesZeroed)
{
    PixelBuffer buffer({33, 17});
    for (int y = 0; y < 17; ++y)
        EXPECT_EQ(std::count(buffer.row(y), buffer.row(y) + 33, 0U), 33);
}

TEST(PixelBuffer, IsMadeOfWhatAPictureOfTheSameSizeHasLetGoOf)
{
    const QSize size(1000, 700);
    const Pixel *memory = nullptr;
    {
        PixelBuffer buffer = PixelBuffer::recycled(size);
        memory = buffer.row(0);
        const Image image = std::move(buffer).toImage(Alpha::Opaque);
        EXPECT_NE(PixelBuffer::recycled(size).row(0), memory) << "still a picture's";
    }
    PixelBuffer next = PixelBuffer::recycled(size);
    EXPECT_EQ(next.row(0), memory);
    EXPECT_EQ(next.size(), size);
}

TEST(PixelBuffer, RecycledForALargerPictureHasRoomForIt)
{
    constexpr QSize LARGER(1200, 900);
    (void)PixelBuffer::recycled({1000, 700});
    PixelBuffer buffer = PixelBuffer::recycled(LARGER);
    for (int y = 0; y < LARGER.height(); ++y)
        std::fill_n(buffer.row(y), LARGER.width(), RED);
    EXPECT_EQ(buffer.row(LARGER.height() - 1)[LARGER.width() - 1], RED);
}

TEST(PixelBuffer, RecycledOfAnEmptySizeIsNull)
{
    EXPECT_TRUE(PixelBuffer::recycled({}).isNull());
}

TEST(PixelBuffer, TakesAnotherShapeOfAsManyPixels)
{
    PixelBuffer buffer({4, 6});
    buffer.row(2)[1] = RED; // pixel 9
    PixelBuffer turned = std::move(buffer).reshaped({6, 4});
    EXPECT_EQ(turned.size(), QSize(6, 4));
    EXPECT_EQ(turned.row(1)[3], RED);
}

TEST(PixelBuffer, IsTakenFromAPictureThatNobodyElseHolds)
{
    Image image = noiseImage({5, 4});
    const Pixel *const pixels = image.row(0);
    PixelBuffer buffer = PixelBuffer::takenFrom(image);
    EXPECT_TRUE(image.isNull());
    EXPECT_EQ(buffer.size(), QSize(5, 4));
    EXPECT_EQ(buffer.row(0), pixels);
}

TEST(PixelBuffer, IsNotTakenFromAPictureThatOthersHoldNorFromAPart)
{
    Image image = noiseImage({5, 4});
    {
        const Image other = image.withProfile("other");
        EXPECT_TRUE(PixelBuffer::takenFrom(image).isNull());
    }
    image = image.cropped({1, 1, 3, 3});
    EXPECT_TRUE(PixelBuffer::takenFrom(image).isNull());
    EXPECT_EQ(image.size(), QSize(3, 3));
    Image none;
    EXPECT_TRUE(PixelBuffer::takenFrom(none).isNull());
}

TEST(PixelBuffer, GivesItsPixelsToThePicture)
{
    PixelBuffer buffer({3, 2});
    buffer.row(1)[2] = BLUE;
    const Pixel *memory = buffer.row(0);
    const Image image = std::move(buffer).toImage(Alpha::Opaque, "profile");
    EXPECT_TRUE(buffer.isNull()); // NOLINT(bugprone-use-after-move): null by promise
    EXPECT_TRUE(buffer.size().isEmpty());
    EXPECT_EQ(image.row(0), memory);
    EXPECT_EQ(image.stride(), 3);
    EXPECT_EQ(image.row(1)[2], BLUE);
    EXPECT_EQ(image.iccProfile(), "profile");
}

} // namespace

} // namespace tavolin
