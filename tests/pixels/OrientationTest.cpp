#include "pixels/Orientation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace tavolin {

namespace {

using Pixels = std::vector<Pixel>;

Image makeImage(QSize size, const Pixels &pixels, Alpha alpha = Alpha::Opaque,
                const QByteArray &profile = {})
{
    PixelBuffer buffer(size);
    for (int y = 0; y < size.height(); ++y)
        std::copy_n(pixels.begin() + std::ptrdiff_t{y} * size.width(), size.width(), buffer.row(y));
    return std::move(buffer).toImage(alpha, profile);
}

Pixels pixelsOf(const Image &image)
{
    Pixels pixels;
    for (int y = 0; y < image.height(); ++y)
        pixels.insert(pixels.end(), image.row(y), image.row(y) + image.width());
    return pixels;
}

struct Turn
{
    const char *name;
    Orientation orientation;
    QSize size;
    Pixels expected; // of  1 2 3
                     //     4 5 6
};

void PrintTo(const Turn &turn, std::ostream *out)
{
    *out << turn.name;
}

class TurnedUpright : public testing::TestWithParam<Turn>
{};

TEST_P(TurnedUpright, PutsEachPixelInItsPlace)
{
    const Image upright =
        turnedUpright(makeImage({3, 2}, {1, 2, 3, 4, 5, 6}), GetParam().orientation);
    EXPECT_EQ(upright.size(), GetParam().size);
    EXPECT_EQ(pixelsOf(upright), GetParam().expected);
}

TEST_P(TurnedUpright, HasTheSizeThatIsForetold)
{
    EXPECT_EQ(uprightSize({3, 2}, GetParam().orientation), GetParam().size);
    EXPECT_EQ(swapsSides(GetParam().orientation), GetParam().size == QSize(2, 3));
}

TEST_P(TurnedUpright, ReadsAPartOfAWiderPicture)
{
    // Columns 1 to 3 and rows 1 and 2 of a picture whose other pixels are 9.
    const Image whole = makeImage({5, 4}, {9, 9, 9, 9, 9, 9, 1, 2, 3, 9, //
                                           9, 4, 5, 6, 9, 9, 9, 9, 9, 9});
    const Image upright = turnedUpright(whole.cropped(QRect(1, 1, 3, 2)), GetParam().orientation);
    EXPECT_EQ(pixelsOf(upright), GetParam().expected);
}

TEST_P(TurnedUpright, KeepsAlphaAndProfile)
{
    const Image upright =
        turnedUpright(makeImage({3, 2}, {1, 2, 3, 4, 5, 6}, Alpha::Premultiplied, "profile"),
                      GetParam().orientation);
    EXPECT_EQ(upright.alpha(), Alpha::Premultiplied);
    EXPECT_EQ(upright.iccProfile(), "profile");
}

INSTANTIATE_TEST_SUITE_P(
    EachOrientation, TurnedUpright,
    testing::Values(
        Turn{"Upright", Orientation::Upright, {3, 2}, {1, 2, 3, 4, 5, 6}},
        Turn{"MirrorHorizontal", Orientation::MirrorHorizontal, {3, 2}, {3, 2, 1, 6, 5, 4}},
        Turn{"Turn180", Orientation::Turn180, {3, 2}, {6, 5, 4, 3, 2, 1}},
        Turn{"MirrorVertical", Orientation::MirrorVertical, {3, 2}, {4, 5, 6, 1, 2, 3}},
        Turn{"Transpose", Orientation::Transpose, {2, 3}, {1, 4, 2, 5, 3, 6}},
        Turn{"Turn90", Orientation::Turn90, {2, 3}, {4, 1, 5, 2, 6, 3}},
        Turn{"Transverse", Orientation::Transverse, {2, 3}, {6, 3, 5, 2, 4, 1}},
        Turn{"Turn270", Orientation::Turn270, {2, 3}, {3, 6, 2, 5, 1, 4}}),
    [](const auto &test) { return std::string(test.param.name); });

/// Column and row that a stored pixel has after @p orientation, one by one and slowly.
std::pair<int, int> placeOf(int x, int y, QSize stored, Orientation orientation)
{
    const int right = stored.width() - 1 - x;
    const int below = stored.height() - 1 - y;
    switch (orientation) {
    case Orientation::Upright:
        break;
    case Orientation::MirrorHorizontal:
        return {right, y};
    case Orientation::Turn180:
        return {right, below};
    case Orientation::MirrorVertical:
        return {x, below};
    case Orientation::Transpose:
        return {y, x};
    case Orientation::Turn90:
        return {below, x};
    case Orientation::Transverse:
        return {below, right};
    case Orientation::Turn270:
        return {y, right};
    }
    return {x, y};
}

TEST(TurnedUprightPictures, AgreeWithTurningPixelByPixel)
{
    // Sides below, at and above those of the tiles, and a single row or column.
    for (const QSize size : {QSize(1, 1), QSize(1, 70), QSize(1100, 1), QSize(8, 8), QSize(9, 7),
                             QSize(512, 16), QSize(513, 17), QSize(33, 600), QSize(1030, 97)}) {
        Pixels pixels(static_cast<std::size_t>(size.width() * size.height()));
        for (std::size_t i = 0; i < pixels.size(); ++i)
            pixels[i] = static_cast<Pixel>(i + 1);
        const Image stored = makeImage(size, pixels);
        for (std::uint32_t tag = 1; tag <= 8; ++tag) {
            const Orientation orientation = orientationFromExif(tag);
            const Image upright = turnedUpright(stored, orientation);
            int wrong = 0;
            for (int y = 0; y < size.height(); ++y) {
                for (int x = 0; x < size.width(); ++x) {
                    const auto [column, row] = placeOf(x, y, size, orientation);
                    wrong += upright.row(row)[column] == stored.row(y)[x] ? 0 : 1;
                }
            }
            EXPECT_EQ(wrong, 0) << size.width() << "x" << size.height() << ", tag " << tag;
        }
    }
}

TEST(TurnedUprightPictures, AreTheSameOnesWhenAlreadyUpright)
{
    const Image image = makeImage({3, 2}, {1, 2, 3, 4, 5, 6});
    EXPECT_TRUE(turnedUpright(image, Orientation::Upright).isSameAs(image));
    EXPECT_FALSE(turnedUpright(image, Orientation::Turn180).isSameAs(image));
}

TEST(TurnedUprightPictures, AreNullWhenTheStoredOneIs)
{
    EXPECT_TRUE(turnedUpright({}, Orientation::Turn90).isNull());
    EXPECT_TRUE(turnedUpright({}, Orientation::Upright).isNull());
}

TEST(OrientationFromExif, TakesOneToEight)
{
    EXPECT_EQ(orientationFromExif(1), Orientation::Upright);
    EXPECT_EQ(orientationFromExif(2), Orientation::MirrorHorizontal);
    EXPECT_EQ(orientationFromExif(6), Orientation::Turn90);
    EXPECT_EQ(orientationFromExif(8), Orientation::Turn270);
}

TEST(OrientationFromExif, TakesOtherNumbersForUpright)
{
    for (const std::uint32_t value : {0U, 9U, 255U, 257U, 65535U, 0xffffffffU})
        EXPECT_EQ(orientationFromExif(value), Orientation::Upright) << value;
}

TEST(UprightSize, SwapsThePortraitOfACameraHeldUpright)
{
    EXPECT_EQ(uprightSize({6000, 4000}, Orientation::Turn90), QSize(4000, 6000));
    EXPECT_EQ(uprightSize({6000, 4000}, Orientation::Turn180), QSize(6000, 4000));
}

} // namespace

} // namespace tavolin
