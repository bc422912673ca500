#include "pixels/Resample.h"

#include "decoding/TestPictures.h"
#include "pixels/ResampleKernels.h"
#include "pixels/RowSink.h"

#include <cmath>
#include <ctime>
#include <numeric>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace tavolin {

namespace {

using namespace test;

/// Keys 1981 with a = −1/2, as published: W(x) = (a+2)|x|³ − (a+3)|x|² + 1 up to 1, and
/// a|x|³ − 5a|x|² + 8a|x| − 4a up to 2.
double keys(double x)
{
    constexpr double A = -0.5;
    x = std::abs(x);
    if (x <= 1.0)
        return (A + 2) * x * x * x - (A + 3) * x * x + 1;
    if (x < 2.0)
        return A * x * x * x - 5 * A * x * x + 8 * A * x - 4 * A;
    return 0.0;
}

/// One line of values brought to @p length, the filter widened where it shrinks, edges repeated.
std::vector<double> referenceLine(const std::vector<double> &line, int length)
{
    const int last = static_cast<int>(line.size()) - 1;
    const double ratio = static_cast<double>(line.size()) / length;
    const double stretch = std::max(1.0, ratio);
    std::vector<double> result;
    for (int i = 0; i < length; ++i) {
        const double centre = (i + 0.5) * ratio - 0.5;
        double sum = 0;
        double total = 0;
        for (int at = static_cast<int>(std::floor(centre - 2 * stretch));
             at <= centre + 2 * stretch; ++at) {
            const double weight = keys((at - centre) / stretch);
            sum += weight * line[static_cast<std::size_t>(std::max(0, std::min(at, last)))];
            total += weight;
        }
        result.push_back(sum / total);
    }
    return result;
}

/// The slow and obvious way to resampled().
Image reference(const Image &image, QSize size)
{
    std::vector<Pixel> pixels(static_cast<std::size_t>(size.width() * size.height()));
    for (int shift = 0; shift < 32; shift += 8) {
        std::vector<std::vector<double>> rows;
        for (int y = 0; y < image.height(); ++y) {
            std::vector<double> row;
            for (int x = 0; x < image.width(); ++x)
                row.push_back(channel(image.row(y)[x], shift));
            rows.push_back(referenceLine(row, size.width()));
        }
        for (int x = 0; x < size.width(); ++x) {
            std::vector<double> column;
            for (const std::vector<double> &row : rows)
                column.push_back(row[static_cast<std::size_t>(x)]);
            column = referenceLine(column, size.height());
            for (int y = 0; y < size.height(); ++y) {
                const double value = std::max(0.0, std::min(column[std::size_t(y)], 255.0));
                pixels[std::size_t(y * size.width() + x)] |= static_cast<Pixel>(std::lround(value))
                                                             << shift;
            }
        }
    }
    return makeImage(
        size, [&](int x, int y) { return pixels[std::size_t(y * size.width() + x)]; },
        image.alpha());
}

Image mirrored(const Image &image)
{
    return makeImage(image.size(), [&image](int x, int y) {
        return image.row(image.height() - 1 - y)[image.width() - 1 - x];
    });
}

/// All rows of @p image through a sink.
Image throughSink(const Image &image, QSize target)
{
    RowSink sink(image.size(), target);
    for (int y = 0; y < image.height(); ++y) {
        std::copy_n(image.row(y), image.width(), sink.nextRow());
        sink.rowDone();
    }
    return std::move(sink).takePicture(image.alpha(), image.iccProfile()).image;
}

struct SizePair
{
    const char *name;
    QSize source;
    QSize target;
};

void PrintTo(const SizePair &pair, std::ostream *out)
{
    *out << pair.name;
}

class ResampleSizes : public testing::TestWithParam<SizePair>
{};

INSTANTIATE_TEST_SUITE_P(
    All, ResampleSizes,
    testing::Values(
        SizePair{"HalfOfFour", {64, 48}, {32, 24}},
        SizePair{"WidthsNotDivisibleByFour", {61, 47}, {37, 23}},
        SizePair{"OnePixelLess", {50, 50}, {49, 49}}, SizePair{"OnePixelMore", {50, 50}, {51, 51}},
        SizePair{"Enlarged", {13, 9}, {57, 31}}, SizePair{"Tiny", {150, 110}, {3, 2}},
        SizePair{"ToOnePixel", {35, 17}, {1, 1}}, SizePair{"FromOnePixel", {1, 1}, {9, 5}},
        SizePair{"OneRow", {90, 1}, {31, 1}}, SizePair{"OneColumn", {1, 90}, {1, 31}},
        SizePair{"OneRowFromMany", {30, 21}, {30, 1}}, SizePair{"TwoPixelsWide", {2, 40}, {7, 12}},
        SizePair{"NarrowerAndHigher", {70, 20}, {21, 66}},
        SizePair{"OnlyTheWidth", {70, 20}, {33, 20}}, SizePair{"OnlyTheHeight", {70, 70}, {70, 33}},
        // Enough rows for two threads.
        SizePair{"TwoBands", {40, 300}, {20, 150}}),
    [](const auto &one) { return std::string(one.param.name); });

// Weights of 14 bits and the rounding between the passes may move a value by one level.
TEST_P(ResampleSizes, AreWhatTheFormulaSays)
{
    const Image image = noiseImage(GetParam().source);
    EXPECT_TRUE(
        looksLike(resampled(image, GetParam().target), reference(image, GetParam().target), 1));
}

TEST_P(ResampleSizes, AreTheSameThroughASink)
{
    const Image image = noiseImage(GetParam().source);
    EXPECT_TRUE(
        looksLike(throughSink(image, GetParam().target), resampled(image, GetParam().target)));
}

TEST_P(ResampleSizes, AreTheSameThroughASinkWithAlpha)
{
    const Image image = noiseWithAlpha(GetParam().source);
    const Image result = throughSink(image, GetParam().target);
    EXPECT_EQ(result.alpha(), Alpha::Premultiplied);
    EXPECT_TRUE(looksLike(result, resampled(image, GetParam().target)));
}

TEST_P(ResampleSizes, KeepColorsBelowTheirAlpha)
{
    const Image result = resampled(noiseWithAlpha(GetParam().source), GetParam().target);
    ASSERT_FALSE(result.isNull());
    for (int y = 0; y < result.height(); ++y)
        for (int x = 0; x < result.width(); ++x)
            for (int shift = 0; shift < 24; shift += 8)
                ASSERT_LE(channel(result.row(y)[x], shift), channel(result.row(y)[x], 24))
                    << x << ", " << y;
}

TEST_P(ResampleSizes, MirrorWithTheirSource)
{
    const Image image = noiseImage(GetParam().source);
    EXPECT_TRUE(looksLike(resampled(mirrored(image), GetParam().target),
                          mirrored(resampled(image, GetParam().target)), 1));
}

TEST_P(ResampleSizes, OfACropDoNotLookBeyondIt)
{
    const QSize size = GetParam().source;
    const Image image = noiseImage(size);
    const Image framed = makeImage(size + QSize(6, 6), [&](int x, int y) {
        const bool isInside = QRect(QPoint(3, 3), size).contains(x, y);
        return isInside ? image.row(y - 3)[x - 3] : YELLOW;
    });
    const Image part = framed.cropped(QRect(QPoint(3, 3), size));
    EXPECT_TRUE(looksLike(resampled(part, GetParam().target), resampled(image, GetParam().target)));
}

TEST(Resampled, FlatColorStaysExactlyThatColor)
{
    for (const Pixel color : {0xff000000, 0xffffffff, 0xff010203, 0xff7f80fe, 0xffc86432}) {
        const Image image = flatImage({37, 29}, color);
        for (int width = 1; width <= 90; ++width) {
            const QSize size(width, 91 - width);
            ASSERT_TRUE(looksLike(resampled(image, size), flatImage(size, color)));
        }
    }
}

TEST(Resampled, SameSizeIsTheSamePicture)
{
    const Image image = noiseImage({30, 20});
    EXPECT_TRUE(resampled(image, {30, 20}).isSameAs(image));
}

TEST(Resampled, KeepsTheProfileAndAlpha)
{
    const Image image = noiseWithAlpha({30, 20}).withProfile("profile");
    const Image result = resampled(image, {15, 10});
    EXPECT_EQ(result.iccProfile(), "profile");
    EXPECT_EQ(result.alpha(), Alpha::Premultiplied);
}

TEST(Resampled, OpaqueStaysOpaque)
{
    const Image result = resampled(noiseImage({61, 43}), {23, 17});
    ASSERT_FALSE(result.isNull());
    for (int y = 0; y < result.height(); ++y)
        for (int x = 0; x < result.width(); ++x)
            ASSERT_EQ(result.row(y)[x] >> 24, 0xffU);
}

TEST(Resampled, NothingToOrFromNothing)
{
    EXPECT_TRUE(resampled({}, {10, 10}).isNull());
    EXPECT_TRUE(resampled(noiseImage({4, 4}), {}).isNull());
    EXPECT_TRUE(resampled(noiseImage({4, 4}), {0, 4}).isNull());
}

TEST(Resampled, IsNullOnceStopped)
{
    std::stop_source source;
    source.request_stop();
    EXPECT_TRUE(resampled(noiseImage({40, 400}), {20, 200}, source.get_token()).isNull());
}

// A pattern finer than the target's pixels must turn grey and not into a coarser pattern. The
// cubic's side lobes let through a few percent of it; 12 of 255 levels are not seen as a pattern.
TEST(Resampled, PatternsTooFineToBeSeenTurnGrey)
{
    constexpr int SIDE = 240;
    const auto black = [](bool is) { return is ? 0xff000000 : 0xffffffff; };
    const Image board = makeImage({SIDE, SIDE}, [&](int x, int y) { return black((x + y) % 2); });
    const Image columns = makeImage({SIDE, SIDE}, [&](int x, int) { return black(x % 2); });
    const Image rows = makeImage({SIDE, SIDE}, [&](int, int y) { return black(y % 2); });
    for (const Image &image : {board, columns, rows}) {
        for (const int side : {120, 111, 100, 80, 77, 60, 31, 24, 7}) {
            const Image result = resampled(image, {side, side});
            // At the edges the repeated last pixel weighs more.
            for (int y = 2; y < side - 2; ++y)
                for (int x = 2; x < side - 2; ++x)
                    ASSERT_TRUE(isNear(result.row(y)[x], GREY, 12)) << side << ": " << x;
        }
    }
}

// Rings that get finer outwards, up to a pixel each at the edges of the axes. Where they are finer
// than half a target pixel nothing of them may be left, and in the middle they must all be there.
TEST(Resampled, ZonePlateHasNoGhosts)
{
    constexpr int SIDE = 400;
    constexpr int TARGET = 100;
    constexpr double PI = 3.14159265358979;
    const auto distance = [](int x, int y, int side) {
        return std::hypot(x + 0.5 - side / 2.0, y + 0.5 - side / 2.0);
    };
    // The phase π r² / side grows by 2π r / side for each pixel: half a turn at the edge.
    const Image plate = makeImage({SIDE, SIDE}, [&](int x, int y) {
        const double r = distance(x, y, SIDE);
        const auto level =
            static_cast<Pixel>(std::lround(127.5 + 127.5 * std::cos(PI * r * r / SIDE)));
        return 0xff000000 | level * 0x010101;
    });
    const Image result = resampled(plate, {TARGET, TARGET});
    int darkest = 255;
    int brightest = 0;
    for (int y = 0; y < TARGET; ++y) {
        for (int x = 0; x < TARGET; ++x) {
            const double r = distance(x, y, TARGET);
            const int level = channel(result.row(y)[x], 0);
            if (r > TARGET * 0.3 && r < TARGET * 0.48) {
                ASSERT_NEAR(level, 128, 20) << x << ", " << y;
            }
            if (r < TARGET * 0.06) {
                darkest = std::min(darkest, level);
                brightest = std::max(brightest, level);
            }
        }
    }
    EXPECT_LT(darkest, 60);
    EXPECT_GT(brightest, 200);
}

/// Of no filter, but sixteen of them together stay in the range that the passes are made for.
std::vector<std::int16_t> noiseWeights(int count, unsigned seed)
{
    std::minstd_rand random(seed);
    std::uniform_int_distribution<int> weight(-1000, 2000);
    std::vector<std::int16_t> weights;
    for (int i = 0; i < count; ++i)
        weights.push_back(static_cast<std::int16_t>(weight(random)));
    return weights;
}

TEST(ResampleKernels, WideVectorsMakeTheSameBits)
{
    const ResampleKernels *wide = avx2ResampleKernels();
    if (wide == nullptr)
        GTEST_SKIP() << "no vectors of 32 bytes on this processor";
    constexpr int MOST_TAPS = 16;
    for (int taps = 2; taps <= MOST_TAPS; taps += 2) {
        for (int pixels = 1; pixels <= 40; ++pixels) {
            const Image image = noiseWithAlpha({pixels, taps});
            std::vector<const Pixel *> rows;
            for (int y = 0; y < taps; ++y)
                rows.push_back(image.row(y));
            const auto rowWeights = noiseWeights(taps, 7);
            // As much room as is asked for, so that a sanitizer sees what goes beyond.
            const auto room = static_cast<std::size_t>((pixels + taps) * RESAMPLE_CHANNELS);
            std::vector<std::int16_t> plainRow(room);
            std::vector<std::int16_t> wideRow(room);
            plainResampleKernels().combineRows(rows.data(), rowWeights.data(), taps, pixels,
                                               plainRow.data());
            wide->combineRows(rows.data(), rowWeights.data(), taps, pixels, wideRow.data());
            ASSERT_EQ(wideRow, plainRow) << taps << " taps, " << pixels << " pixels";

            std::vector<int> first(static_cast<std::size_t>(pixels));
            std::iota(first.begin(), first.end(), 0);
            const auto weights = noiseWeights(taps * pixels, 9);
            std::vector<Pixel> plainOut(first.size());
            std::vector<Pixel> wideOut(first.size());
            plainResampleKernels().combineColumns(plainRow.data(), first, weights.data(), taps,
                                                  plainOut.data());
            wide->combineColumns(plainRow.data(), first, weights.data(), taps, wideOut.data());
            ASSERT_EQ(wideOut, plainOut) << taps << " taps, " << pixels << " pixels";
        }
    }
}

TEST(Downscale, LongSideIsTheLimitAndTheShortOneNeverZero)
{
    EXPECT_EQ(downscale(flatImage({3000, 1}, RED), 2560).size(), QSize(2560, 1));
    EXPECT_EQ(downscale(flatImage({1, 3000}, RED), 2560).size(), QSize(1, 2560));
}

TEST(Downscale, SidesAreTruncated)
{
    // 667 · 0.64 = 426.88, and 3 · 0.8533 = 2.56.
    EXPECT_EQ(downscale(flatImage({1000, 667}, RED), 640).size(), QSize(640, 426));
    EXPECT_EQ(downscale(flatImage({3, 3000}, RED), 2560).size(), QSize(2, 2560));
}

TEST(Downscale, WithinTheLimitItIsTheSamePicture)
{
    const Image image = flatImage({1000, 800}, RED);
    EXPECT_TRUE(downscale(image, 1000).isSameAs(image));
    EXPECT_TRUE(downscale(image, 2560).isSameAs(image));
    EXPECT_FALSE(downscale(image, 999).isSameAs(image));
}

TEST(Downscale, ShowsTheWholePicture)
{
    const Image image = makeImage({100, 80}, [](int x, int y) {
        return y < 40 ? (x < 50 ? RED : GREEN) : (x < 50 ? BLUE : YELLOW);
    });
    const Image small = downscale(image, 33);
    EXPECT_EQ(small.size(), QSize(33, 26));
    EXPECT_TRUE(showsFourQuarters(small, 0));
}

TEST(SizeWithin, RoundsToTheNearestPixel)
{
    EXPECT_EQ(sizeWithin({6000, 4000}, 2560), QSize(2560, 1707)); // 1706.67
    EXPECT_EQ(sizeWithin({4000, 6000}, 2560), QSize(1707, 2560));
    EXPECT_EQ(sizeWithin({1000, 667}, 640), QSize(640, 427)); // 426.88
    EXPECT_EQ(sizeWithin({4032, 3024}, 2560), QSize(2560, 1920));
    EXPECT_EQ(sizeWithin({1000, 301}, 500), QSize(500, 151)); // 150.5
    EXPECT_EQ(sizeWithin({1000, 300}, 499), QSize(499, 150)); // 149.7
    EXPECT_EQ(sizeWithin({1000, 302}, 499), QSize(499, 151)); // 150.698
    EXPECT_EQ(sizeWithin({1000, 301}, 498), QSize(498, 150)); // 149.898
    EXPECT_EQ(sizeWithin({1000, 300}, 498), QSize(498, 149)); // 149.4
}

TEST(SizeWithin, NeverEnlargesAndNeverVanishes)
{
    EXPECT_EQ(sizeWithin({100, 50}, 100), QSize(100, 50));
    EXPECT_EQ(sizeWithin({100, 50}, 100'000), QSize(100, 50));
    EXPECT_EQ(sizeWithin({10'000, 1}, 100), QSize(100, 1));
    EXPECT_EQ(sizeWithin({300, 200}, 1), QSize(1, 1));
}

TEST(SizeWithin, LongSideIsAlwaysExactlyTheLimit)
{
    for (int longest = 101; longest < 6000; ++longest)
        ASSERT_EQ(sizeWithin({longest, 7}, 100).width(), 100) << longest;
}

TEST(LimitToAlpha, LowersOnlyWhatIsAbove)
{
    std::vector<Pixel> row = {0x80ff4081, 0x00ffffff, 0xffffffff, 0x01010203, 0x80808080};
    limitToAlpha(row.data(), static_cast<int>(row.size()));
    EXPECT_EQ(row,
              (std::vector<Pixel>{0x80804080, 0x00000000, 0xffffffff, 0x01010101, 0x80808080}));
}

TEST(RowSink, OfEqualSizesCopies)
{
    const Image image = noiseImage({31, 17});
    EXPECT_TRUE(looksLike(throughSink(image, {31, 17}), image));
}

/// The same in two sizes.
ScaledPicture throughSink(const Image &image, const PictureSizes &sizes)
{
    RowSink sink(image.size(), sizes);
    for (int y = 0; y < image.height(); ++y) {
        std::copy_n(image.row(y), image.width(), sink.nextRow());
        sink.rowDone();
    }
    return std::move(sink).takePicture(image.alpha(), image.iccProfile());
}

TEST(RowSink, MakesBothSizesOfTheSameRows)
{
    const Image image = noiseWithAlpha({90, 700}).withProfile("profile");
    for (const PictureSizes &sizes :
         {PictureSizes{{50, 389}, {45, 350}}, PictureSizes{{89, 699}, {1, 8}},
          PictureSizes{{9, 70}, {40, 311}}, PictureSizes{{180, 1400}, {60, 30}}}) {
        const ScaledPicture both = throughSink(image, sizes);
        EXPECT_TRUE(looksLike(both.image, resampled(image, sizes.image)));
        EXPECT_TRUE(looksLike(both.rendition, resampled(image, sizes.rendition)));
        EXPECT_EQ(both.rendition.iccProfile(), "profile");
        EXPECT_EQ(both.rendition.alpha(), Alpha::Premultiplied);
    }
}

TEST(RowSink, MakesNoRenditionWhereTheRowsAreTheImage)
{
    const Image image = noiseImage({31, 17});
    const ScaledPicture both = throughSink(image, PictureSizes{{31, 17}, {15, 8}});
    EXPECT_TRUE(looksLike(both.image, image));
    EXPECT_TRUE(both.rendition.isNull());
}

TEST(RowSink, FillsTheRestOfBothAsIfItHadCome)
{
    const Image image = noiseImage({90, 700});
    const PictureSizes sizes{{50, 389}, {45, 35}};
    for (const int taken : {0, 1, 16, 333, 699}) {
        RowSink sink(image.size(), sizes);
        for (int y = 0; y < taken; ++y) {
            std::copy_n(image.row(y), image.width(), sink.nextRow());
            sink.rowDone();
        }
        sink.fillRest(GREY);
        const ScaledPicture filled = std::move(sink).takePicture(Alpha::Opaque, {});
        const Image whole = makeImage(
            image.size(), [&](int x, int y) { return y < taken ? image.row(y)[x] : GREY; });
        EXPECT_TRUE(looksLike(filled.image, resampled(whole, sizes.image))) << taken;
        EXPECT_TRUE(looksLike(filled.rendition, resampled(whole, sizes.rendition))) << taken;
    }
}

TEST(RowSink, AbandonedInTheMiddleEnds)
{
    RowSink sink({90, 700}, PictureSizes{{50, 389}, {45, 350}});
    for (int y = 0; y < 100; ++y) {
        std::fill_n(sink.nextRow(), 90, RED);
        sink.rowDone();
    }
}

TEST(RowSink, CountsTheRowsTaken)
{
    RowSink sink({8, 5}, {4, 3});
    ASSERT_TRUE(sink.isReady());
    EXPECT_EQ(sink.rowsTaken(), 0);
    std::ignore = sink.nextRow();
    sink.rowDone();
    EXPECT_EQ(sink.rowsTaken(), 1);
}

TEST(RowSink, OfAnEmptyTargetIsNotReady)
{
    EXPECT_FALSE(RowSink({8, 5}, {0, 3}).isReady());
}

TEST(RowSink, FillsTheRestWithTheColor)
{
    for (const QSize target : {QSize(20, 40), QSize(10, 20), QSize(13, 60)}) {
        RowSink sink({20, 40}, target);
        for (int y = 0; y < 20; ++y) {
            std::fill_n(sink.nextRow(), 20, RED);
            sink.rowDone();
        }
        sink.fillRest(GREY);
        EXPECT_EQ(sink.rowsTaken(), 40);
        const Image image = std::move(sink).takePicture(Alpha::Opaque, {}).image;
        ASSERT_EQ(image.size(), target);
        EXPECT_EQ(pixelAt(image, 0.5, 0.0), RED);
        EXPECT_EQ(pixelAt(image, 0.5, 0.4), RED);
        EXPECT_EQ(pixelAt(image, 0.5, 0.6), GREY);
        EXPECT_EQ(pixelAt(image, 0.5, 1.0), GREY);
    }
}

TEST(RowSink, FillsTheRestAsIfItHadCome)
{
    const Image image = noiseImage({90, 700});
    for (const QSize target : {QSize(9, 70), QSize(40, 311), QSize(90, 1), QSize(100, 900)}) {
        for (const int taken : {0, 1, 16, 333, 699}) {
            RowSink filled(image.size(), target);
            RowSink fed(image.size(), target);
            for (int y = 0; y < image.height(); ++y) {
                if (y < taken) {
                    std::copy_n(image.row(y), image.width(), filled.nextRow());
                    filled.rowDone();
                    std::copy_n(image.row(y), image.width(), fed.nextRow());
                } else {
                    std::fill_n(fed.nextRow(), image.width(), GREY);
                }
                fed.rowDone();
            }
            filled.fillRest(GREY);
            EXPECT_EQ(filled.rowsTaken(), image.height());
            EXPECT_TRUE(looksLike(std::move(filled).takePicture(Alpha::Opaque, {}).image,
                                  std::move(fed).takePicture(Alpha::Opaque, {}).image))
                << taken << " rows to " << target.height();
        }
    }
}

// Scaling a gigapixel takes more than a second.
TEST(RowSink, FillsAnyNumberOfRowsInNoTime)
{
    RowSink sink({30'000, 30'000}, {1500, 1500});
    const std::clock_t begin = std::clock();
    sink.fillRest(GREY);
    const double seconds = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
    EXPECT_LT(seconds, 0.1);
    EXPECT_TRUE(looksLike(std::move(sink).takePicture(Alpha::Opaque, {}).image,
                          flatImage({1500, 1500}, GREY)));
}

TEST(RowSink, FillsNothingWhenAllRowsCame)
{
    const Image image = noiseImage({6, 6});
    RowSink sink(image.size(), image.size());
    for (int y = 0; y < 6; ++y) {
        std::copy_n(image.row(y), 6, sink.nextRow());
        sink.rowDone();
    }
    sink.fillRest(YELLOW);
    EXPECT_TRUE(looksLike(std::move(sink).takePicture(Alpha::Opaque, {}).image, image));
}

TEST(RowSink, BufferIsAsTheFilterLeftIt)
{
    // Four channels that are no colours: nothing may be limited to the fourth.
    RowSink sink({4, 4}, {2, 2});
    for (int y = 0; y < 4; ++y) {
        std::fill_n(sink.nextRow(), 4, 0x10ff8040);
        sink.rowDone();
    }
    PixelBuffer buffer = std::move(sink).takeBuffers().image;
    ASSERT_EQ(buffer.size(), QSize(2, 2));
    EXPECT_EQ(buffer.row(1)[1], 0x10ff8040U);
}

} // namespace

} // namespace tavolin
