#include "pictures/Picture.h"

#include <QColor>
#include <QImage>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ostream>
#include <string>
#include <vector>

namespace tavolin::pictures {

namespace {

PictureSpec plainSpec(QSize size, int index = 1)
{
    PictureSpec spec;
    spec.size = size;
    spec.index = index;
    spec.detailed = false;
    return spec;
}

// --- drawing ---

TEST(DrawPicture, CornersHavePureColors)
{
    const QImage picture = drawPicture(plainSpec({400, 240}));
    ASSERT_EQ(picture.size(), QSize(400, 240));
    EXPECT_EQ(picture.pixel(0, 0), 0xffff0000);
    EXPECT_EQ(picture.pixel(399, 0), 0xff00ff00);
    EXPECT_EQ(picture.pixel(0, 239), 0xff0000ff);
    EXPECT_EQ(picture.pixel(399, 239), 0xffffff00);
}

TEST(DrawPicture, PatchesEndAfterAnEighthOfEachSide)
{
    const QImage picture = drawPicture(plainSpec({400, 240}));
    EXPECT_EQ(picture.pixel(49, 29), 0xffff0000);
    EXPECT_NE(picture.pixel(50, 29), 0xffff0000);
    EXPECT_NE(picture.pixel(49, 30), 0xffff0000);
    EXPECT_EQ(picture.pixel(350, 210), 0xffffff00);
    EXPECT_NE(picture.pixel(349, 210), 0xffffff00);
    EXPECT_NE(picture.pixel(350, 209), 0xffffff00);
}

TEST(DrawPicture, IndexBarHasItsMostSignificantBitAtTheLeft)
{
    // Cells are 10 pixels wide and begin at x = 120; their middle row is y = 210.
    const QImage picture = drawPicture(plainSpec({400, 240}, 0x8001));
    EXPECT_EQ(picture.pixel(125, 210), 0xffffffff);
    EXPECT_EQ(picture.pixel(135, 210), 0xff000000);
    EXPECT_EQ(picture.pixel(265, 210), 0xff000000);
    EXPECT_EQ(picture.pixel(275, 210), 0xffffffff);
    EXPECT_EQ(picture.pixel(117, 210), 0xff808080);
    EXPECT_EQ(picture.pixel(282, 210), 0xff808080);
}

TEST(DrawPicture, SameSpecGivesTheSamePixels)
{
    PictureSpec spec = plainSpec({600, 400}, 5);
    spec.detailed = true;
    EXPECT_EQ(drawPicture(spec), drawPicture(spec));
}

TEST(DrawPicture, SeedChangesTheBackground)
{
    PictureSpec spec = plainSpec({600, 400}, 5);
    const QImage picture = drawPicture(spec);
    spec.seed = 1;
    EXPECT_NE(drawPicture(spec), picture);
}

TEST(DrawPicture, NeighboursDifferInHue)
{
    PictureSpec spec = plainSpec({600, 400}, 1);
    spec.count = 12;
    // Between the corner patch and the panel, where only the background is.
    const QColor first(drawPicture(spec).pixel(90, 200));
    spec.index = 7;
    const QColor seventh(drawPicture(spec).pixel(90, 200));
    const int apart = std::abs(first.hsvHue() - seventh.hsvHue());
    EXPECT_GT(std::min(apart, 360 - apart), 60);
}

/// Pixels in which two pictures of the same size differ.
int differingPixels(const QImage &a, const QImage &b)
{
    int count = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            count += a.pixel(x, y) != b.pixel(x, y) ? 1 : 0;
    return count;
}

TEST(DrawPicture, OrientationChangesThePrintedTextOnly)
{
    PictureSpec spec = plainSpec({600, 400});
    const QImage first = drawPicture(spec);
    spec.orientation = 8;
    const int differing = differingPixels(first, drawPicture(spec));
    EXPECT_GT(differing, 10);
    EXPECT_LT(differing, 400); // one digit
}

TEST(FourQuarters, EachQuarterHasItsColor)
{
    const QImage picture = fourQuarters({6, 4});
    EXPECT_EQ(picture.pixel(2, 1), 0xffff0000);
    EXPECT_EQ(picture.pixel(3, 1), 0xff00ff00);
    EXPECT_EQ(picture.pixel(2, 2), 0xff0000ff);
    EXPECT_EQ(picture.pixel(3, 2), 0xffffff00);
}

// --- reading the index back ---

struct IndexCase
{
    const char *name;
    QSize size;
    int index;
};

void PrintTo(const IndexCase &item, std::ostream *out)
{
    *out << item.name;
}

class ReadIndex : public testing::TestWithParam<IndexCase>
{};

TEST_P(ReadIndex, ReadsWhatWasDrawn)
{
    const IndexCase &item = GetParam();
    PictureSpec spec = plainSpec(item.size, item.index);
    spec.detailed = true;
    EXPECT_EQ(readIndex(drawPicture(spec)), item.index);
}

TEST_P(ReadIndex, ReadsAFifthOfTheSize)
{
    const IndexCase &item = GetParam();
    PictureSpec spec = plainSpec(item.size * 5, item.index);
    const QImage shown =
        drawPicture(spec).scaled(item.size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    EXPECT_EQ(readIndex(shown), item.index);
}

INSTANTIATE_TEST_SUITE_P(Sizes, ReadIndex,
                         testing::Values(IndexCase{"Smallest", {160, 120}, 1},
                                         IndexCase{"Odd", {173, 131}, 0x5555},
                                         IndexCase{"Landscape", {600, 400}, 12},
                                         IndexCase{"Portrait", {400, 600}, 0xaaaa},
                                         IndexCase{"Longest", {800, 160}, 4711},
                                         IndexCase{"AllBits", {640, 360}, 0xffff}),
                         [](const auto &item) { return std::string(item.param.name); });

TEST(ReadIndex, SeesNothingInAnUpsideDownPicture)
{
    const QImage picture = drawPicture(plainSpec({600, 400}, 3));
    EXPECT_EQ(readIndex(picture.mirrored(true, true)), std::nullopt);
}

TEST(ReadIndex, SeesNothingInAGreyPicture)
{
    QImage picture(600, 400, QImage::Format_RGB32);
    picture.fill(Qt::gray);
    EXPECT_EQ(readIndex(picture), std::nullopt);
}

TEST(ReadIndex, SeesNothingInANullOrNarrowPicture)
{
    EXPECT_EQ(readIndex(QImage()), std::nullopt);
    QImage narrow(159, 120, QImage::Format_RGB32);
    narrow.fill(Qt::black);
    EXPECT_EQ(readIndex(narrow), std::nullopt);
}

// --- turning ---

/// The picture whose pixels are the letters of @p rows.
QImage lettersImage(const std::vector<std::string> &rows)
{
    QImage image(static_cast<int>(rows.front().size()), static_cast<int>(rows.size()),
                 QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(
                x, y, qRgb(rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)], 0, 0));
    return image;
}

std::vector<std::string> lettersOf(const QImage &image)
{
    std::vector<std::string> rows;
    for (int y = 0; y < image.height(); ++y) {
        rows.emplace_back();
        for (int x = 0; x < image.width(); ++x)
            rows.back() += static_cast<char>(qRed(image.pixel(x, y)));
    }
    return rows;
}

struct TurnCase
{
    const char *name;
    int orientation;
    int inverse; ///< The orientation that turns back what this one turns.
    std::vector<std::string> stored;
};

void PrintTo(const TurnCase &item, std::ostream *out)
{
    *out << item.name;
}

class StoredFor : public testing::TestWithParam<TurnCase>
{};

TEST_P(StoredFor, PutsEveryPixelInItsPlace)
{
    const QImage upright = lettersImage({"ABC", "DEF"});
    EXPECT_EQ(lettersOf(storedFor(upright, GetParam().orientation)), GetParam().stored);
}

TEST_P(StoredFor, TurnedBackIsTheSamePicture)
{
    const QImage upright = lettersImage({"ABC", "DEF"});
    const QImage stored = storedFor(upright, GetParam().orientation);
    EXPECT_EQ(storedFor(stored, GetParam().inverse), upright);
}

INSTANTIATE_TEST_SUITE_P(Orientations, StoredFor,
                         testing::Values(TurnCase{"Upright", 1, 1, {"ABC", "DEF"}},
                                         TurnCase{"MirrorHorizontal", 2, 2, {"CBA", "FED"}},
                                         TurnCase{"Turn180", 3, 3, {"FED", "CBA"}},
                                         TurnCase{"MirrorVertical", 4, 4, {"DEF", "ABC"}},
                                         TurnCase{"Transpose", 5, 5, {"AD", "BE", "CF"}},
                                         TurnCase{"Turn90", 6, 8, {"CF", "BE", "AD"}},
                                         TurnCase{"Transverse", 7, 7, {"FC", "EB", "DA"}},
                                         TurnCase{"Turn270", 8, 6, {"DA", "EB", "FC"}}),
                         [](const auto &item) { return std::string(item.param.name); });

} // namespace

} // namespace tavolin::pictures
