#include "pixels/Rotate.h"

#include "decoding/TestPictures.h"
#include "pixels/Orientation.h"
#include "pixels/RotateKernels.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace tavolin {

namespace {

using namespace test;

/// Duchon 1979: sinc(x) · sinc(x / 3) up to 3.
double lanczos(double x)
{
    const auto sinc = [](double t) {
        return t == 0 ? 1 : std::sin(std::numbers::pi * t) / (std::numbers::pi * t);
    };
    return std::abs(x) < 3 ? sinc(x) * sinc(x / 3) : 0;
}

/// The slow and obvious way to rotated().
Image reference(const Image &image, double degrees, QSize size)
{
    const double angle = degrees * std::numbers::pi / 180;
    return makeImage(
        size,
        [&](int column, int row) {
            const double x = column + 0.5 - size.width() / 2.0;
            const double y = row + 0.5 - size.height() / 2.0;
            const double sourceX =
                x * std::cos(angle) + y * std::sin(angle) + image.width() / 2.0 - 0.5;
            const double sourceY =
                -x * std::sin(angle) + y * std::cos(angle) + image.height() / 2.0 - 0.5;
            const int left = static_cast<int>(std::floor(sourceX));
            const int top = static_cast<int>(std::floor(sourceY));
            std::array<double, 4> sums{};
            double total = 0;
            for (int atY = top - 2; atY <= top + 3; ++atY)
                for (int atX = left - 2; atX <= left + 3; ++atX) {
                    const int insideX = std::max(0, std::min(atX, image.width() - 1));
                    const int insideY = std::max(0, std::min(atY, image.height() - 1));
                    const double weight = lanczos(atX - sourceX) * lanczos(atY - sourceY);
                    total += weight;
                    for (int i = 0; i < 4; ++i)
                        sums[static_cast<std::size_t>(i)] +=
                            weight * channel(image.row(insideY)[insideX], 8 * i);
                }
            Pixel result = 0;
            for (int i = 0; i < 4; ++i) {
                const long level = std::lround(sums[static_cast<std::size_t>(i)] / total);
                result |= static_cast<Pixel>(std::max(0L, std::min(level, 255L))) << (8 * i);
            }
            return result;
        },
        image.alpha());
}

struct TurnCase
{
    std::string name;
    QSize source;
    double degrees;
    QSize result;
};

void PrintTo(const TurnCase &turn, std::ostream *out)
{
    *out << turn.name;
}

class RotatedAs : public testing::TestWithParam<TurnCase>
{};

TEST_P(RotatedAs, TheFilterSaysWithinTwoLevelsOfNoise)
{
    const Image noise = noiseImage(GetParam().source);
    EXPECT_TRUE(looksLike(rotated(noise, GetParam().degrees, GetParam().result),
                          reference(noise, GetParam().degrees, GetParam().result), 2));
}

TEST_P(RotatedAs, FlatColoursStayExactlyFlat)
{
    for (const Pixel color : {0xff000000, 0xffffffff, 0xff010203, 0xfffefdfc, 0xff808080})
        EXPECT_TRUE(looksLike(
            rotated(flatImage(GetParam().source, color), GetParam().degrees, GetParam().result),
            flatImage(GetParam().result, color)));
}

INSTANTIATE_TEST_SUITE_P(
    Turns, RotatedAs,
    testing::Values(TurnCase{"slightly", {200, 150}, 0.3, {198, 148}},
                    TurnCase{"clockwise", {211, 150}, 5, {198, 131}},
                    TurnCase{"counterclockwise", {211, 150}, -5, {198, 131}},
                    TurnCase{"half way", {150, 201}, 45, {106, 106}},
                    TurnCase{"far", {150, 201}, -163, {104, 170}},
                    TurnCase{"over the edges", {90, 60}, 20, {140, 131}},
                    TurnCase{"in several bands and tiles", {400, 500}, 11.25, {330, 430}},
                    TurnCase{"one row", {60, 1}, 3, {50, 1}},
                    TurnCase{"one pixel", {1, 1}, 30, {3, 3}}),
    [](const auto &tested) {
        std::string name = tested.param.name;
        std::erase(name, ' ');
        return name;
    });

TEST(Rotated, QuarterTurnsMoveWholePixels)
{
    const Image noise = noiseImage({131, 90});
    EXPECT_TRUE(
        looksLike(rotated(noise, 90, {90, 131}), turnedUpright(noise, Orientation::Turn90)));
    EXPECT_TRUE(
        looksLike(rotated(noise, -90, {90, 131}), turnedUpright(noise, Orientation::Turn270)));
    EXPECT_TRUE(
        looksLike(rotated(noise, 180, {131, 90}), turnedUpright(noise, Orientation::Turn180)));
}

TEST(Rotated, NoTurnIsACopyOfTheMiddle)
{
    const Image noise = noiseImage({131, 90});
    EXPECT_TRUE(looksLike(rotated(noise, 0, {101, 60}), noise.cropped({15, 15, 101, 60})));
}

TEST(Rotated, TheCentreStaysWhereItIs)
{
    const Image dot = makeImage(
        {101, 81}, [](int x, int y) { return x == 50 && y == 40 ? 0xffffffff : 0xff000000; });
    for (const double degrees : {0.7, 7.0, 12.0, -30.0, 45.0}) {
        const Image turned = rotated(dot, degrees, {61, 41});
        EXPECT_EQ(turned.row(20)[30], 0xffffffff) << degrees;
        EXPECT_EQ(turned.row(20)[32], turned.row(20)[28]) << degrees;
    }
}

TEST(Rotated, NothingFromBesideTheCropGetsIn)
{
    const Image red = makeImage({400, 300}, [](int x, int y) {
        const bool isInside = x >= 50 && x < 350 && y >= 40 && y < 260;
        return isInside ? GREY : RED;
    });
    const Image crop = red.cropped({50, 40, 300, 220});
    for (const double degrees : {-45.0, -20.0, 3.0, 33.0, 90.0})
        EXPECT_TRUE(looksLike(rotated(crop, degrees, {300, 300}), flatImage({300, 300}, GREY)));
}

TEST(Rotated, ASmoothPictureIsTheSameWithinTwoLevelsAfterTurningBack)
{
    // Waves 20 pixels long, in another direction for each channel.
    const Image waves = makeImage({400, 300}, [](int x, int y) {
        const auto level = [](double phase) {
            return static_cast<Pixel>(
                std::lround(127.5 + 100 * std::sin(phase * std::numbers::pi / 10)));
        };
        return 0xff000000 | level(x) << 16 | level(y) << 8 | level((x + y) / std::numbers::sqrt2);
    });
    for (const double degrees : {-31.0, -7.0, 0.5, 7.0, 45.0}) {
        const Image back = rotated(rotated(waves, degrees, {240, 240}), -degrees, {160, 160});
        EXPECT_TRUE(looksLike(back, waves.cropped({120, 70, 160, 160}), 2)) << degrees;
    }
}

TEST(Rotated, APixelDoesNotDependOnHowManyRowsAreMadeAtOnce)
{
    const Image noise = noiseImage({700, 700});
    // So few rows make one band; the others are divided among the cores.
    const Image few = rotated(noise, 13.7, {401, 31});
    const Image many = rotated(noise, 13.7, {401, 431});
    EXPECT_TRUE(looksLike(many.cropped({0, 200, 401, 31}), few));
}

TEST(RotateKernels, WideVectorsMakeTheSameBits)
{
    const turning::PixelsInside wide = turning::avx2PixelsInside();
    if (!wide)
        GTEST_SKIP() << "no vectors of 32 bytes on this processor";
    std::minstd_rand random(5);
    std::uniform_int_distribution<int> weight(-2000, 9000); // some sums reach beyond their limits
    turning::WeightTable weights{};
    for (turning::Weights &one : weights)
        std::generate_n(one.begin(), turning::TAPS,
                        [&] { return static_cast<std::int16_t>(weight(random)); });
    const Image noise = noiseWithAlpha({60, 60});
    const turning::Source source{noise.row(0), noise.stride(), weights};
    const auto fixed = [](double pixels) { return static_cast<std::int64_t>(pixels * 0x1p32); };
    for (int count = 1; count <= 40; ++count) {
        const turning::Place first{fixed(2.1 + count / 7.0), fixed(50.3 - count / 9.0)};
        const turning::Place step{fixed(0.97), fixed(-0.24)};
        const auto room = static_cast<std::size_t>(count);
        std::vector<Pixel> plainOut(room);
        std::vector<Pixel> wideOut(room);
        turning::plainPixelsInside(source, first, step, count, plainOut.data());
        wide(source, first, step, count, wideOut.data());
        ASSERT_EQ(wideOut, plainOut) << count << " pixels";
    }
}

TEST(Rotated, ColoursStayWithinTheirAlpha)
{
    const Image turned = rotated(noiseWithAlpha({200, 200}), 20, {180, 180});
    ASSERT_EQ(turned.alpha(), Alpha::Premultiplied);
    int above = 0;
    for (int y = 0; y < turned.height(); ++y)
        for (int x = 0; x < turned.width(); ++x)
            for (int shift = 0; shift < 24; shift += 8)
                above += channel(turned.row(y)[x], shift) > channel(turned.row(y)[x], 24);
    EXPECT_EQ(above, 0);
}

TEST(Rotated, AlphaIsFilteredLikeAColour)
{
    const auto step = [](Pixel clear, Pixel solid) {
        return makeImage(
            {60, 60}, [=](int x, int) { return x < 30 ? clear : solid; }, Alpha::Premultiplied);
    };
    const Image white = rotated(step(0, 0xffffffff), 30, {40, 40});
    const Image grey = rotated(step(0xff000000, 0xffffffff), 30, {40, 40});
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 40; ++x)
            ASSERT_EQ(white.row(y)[x] >> 24, grey.row(y)[x] & 0xff);
}

TEST(Rotated, AnOpaquePictureStaysOpaque)
{
    const Image turned = rotated(noiseImage({100, 100}), 20, {120, 120});
    for (int y = 0; y < turned.height(); ++y)
        for (int x = 0; x < turned.width(); ++x)
            ASSERT_EQ(turned.row(y)[x] >> 24, 0xffU);
    EXPECT_EQ(turned.alpha(), Alpha::Opaque);
}

TEST(Rotated, TheProfileIsKept)
{
    EXPECT_EQ(rotated(flatImage({20, 20}, RED, "profile"), 5, {10, 10}).iccProfile(), "profile");
}

TEST(Rotated, NullForNothingToMake)
{
    EXPECT_TRUE(rotated(Image(), 5, {10, 10}).isNull());
    EXPECT_TRUE(rotated(noiseImage({20, 20}), 5, {0, 10}).isNull());
}

} // namespace

} // namespace tavolin
