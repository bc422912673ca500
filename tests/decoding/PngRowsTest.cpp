#include "decoding/codecs/PngRows.h"

#include "decoding/codecs/PngCodec.h"
#include "PngFile.h"
#include "TestPictures.h"

#include <ostream>
#include <string>
#include <tuple>
#include <vector>

namespace tavolin {

namespace {

using namespace test;

constexpr int NO_LIMIT = 100'000;
constexpr Pixel BLACK = 0xff000000;
constexpr Pixel WHITE = 0xffffffff;
constexpr Pixel CLEAR = 0;

Image decoded(const QByteArray &png, int maxPixel = NO_LIMIT)
{
    return decodePng(fileOf(png), maxPixel).image;
}

/// Samples of a pixel, and what is seen of them.
struct Sample
{
    std::vector<unsigned> stored;
    Pixel shown;
};

struct Case
{
    const char *name;
    int depth;
    int color; // as in IHDR
    QByteArray chunks;
    Alpha alpha;
    std::vector<Sample> samples;
};

void PrintTo(const Case &one, std::ostream *out)
{
    *out << one.name;
}

// By hand: 16-bit samples become sample / 257 rounded; 200, 100 and 50 at 128 of 255 are 100.4,
// 50.2 and 25.1.
const std::vector<Case> CASES = {
    {"Grey1", 1, 0, {}, Alpha::Opaque, {{{0}, BLACK}, {{1}, WHITE}, {{1}, WHITE}}},
    {"Grey2",
     2,
     0,
     {},
     Alpha::Opaque,
     {{{0}, BLACK}, {{1}, 0xff555555}, {{2}, 0xffaaaaaa}, {{3}, WHITE}, {{1}, 0xff555555}}},
    {"Grey4",
     4,
     0,
     {},
     Alpha::Opaque,
     {{{0}, BLACK}, {{1}, 0xff111111}, {{7}, 0xff777777}, {{15}, WHITE}, {{14}, 0xffeeeeee}}},
    {"Grey8",
     8,
     0,
     {},
     Alpha::Opaque,
     {{{0}, BLACK}, {{0x40}, 0xff404040}, {{0x80}, 0xff808080}, {{0xff}, WHITE}}},
    {"Grey16",
     16,
     0,
     {},
     Alpha::Opaque,
     {{{0}, BLACK},
      {{0x00ff}, 0xff010101},
      {{0x407f}, 0xff404040},
      {{0x40ff}, 0xff414141},
      {{0xffff}, WHITE}}},
    {"Rgb8",
     8,
     2,
     {},
     Alpha::Opaque,
     {{{10, 20, 30}, 0xff0a141e}, {{255, 0, 128}, 0xffff0080}, {{0, 0, 0}, BLACK}}},
    {"Rgb16",
     16,
     2,
     {},
     Alpha::Opaque,
     {{{0x0a80, 0x1400, 0xffff}, 0xff0a14ff}, {{0, 0x0101, 0xfefe}, 0xff0001fe}}},
    {"Palette1", 1, 3, palette(), Alpha::Opaque, {{{0}, 0xffc86432}, {{1}, RED}, {{1}, RED}}},
    {"Palette2",
     2,
     3,
     palette(),
     Alpha::Opaque,
     {{{0}, 0xffc86432}, {{1}, RED}, {{2}, BLUE}, {{3}, 0xff010203}, {{3}, 0xff010203}}},
    {"Palette4OverItsEndIsBlack",
     4,
     3,
     palette(),
     Alpha::Opaque,
     {{{0}, 0xffc86432}, {{3}, 0xff010203}, {{4}, BLACK}, {{15}, BLACK}, {{2}, BLUE}}},
    {"Palette8OverItsEndIsBlack",
     8,
     3,
     palette(),
     Alpha::Opaque,
     {{{0}, 0xffc86432}, {{3}, 0xff010203}, {{4}, BLACK}, {{255}, BLACK}, {{2}, BLUE}}},
    {"GreyAlpha8",
     8,
     4,
     {},
     Alpha::Premultiplied,
     {{{200, 128}, 0x80646464}, {{255, 0}, CLEAR}, {{17, 255}, 0xff111111}}},
    {"GreyAlpha16",
     16,
     4,
     {},
     Alpha::Premultiplied,
     {{{0xc8c8, 0x8080}, 0x80646464}, {{0xffff, 0}, CLEAR}, {{0x1111, 0xffff}, 0xff111111}}},
    {"Rgba8",
     8,
     6,
     {},
     Alpha::Premultiplied,
     {{{200, 100, 50, 128}, 0x80643219}, {{1, 2, 3, 0}, CLEAR}, {{1, 2, 3, 255}, 0xff010203}}},
    {"Rgba16",
     16,
     6,
     {},
     Alpha::Premultiplied,
     {{{0xc8c8, 0x6464, 0x3232, 0x8080}, 0x80643219},
      {{0xffff, 0xffff, 0xffff, 0}, CLEAR},
      {{0x0101, 0x0202, 0x0303, 0xffff}, 0xff010203}}},
    {"Grey1WithTransparentWhite",
     1,
     0,
     transparent({1}),
     Alpha::Premultiplied,
     {{{0}, BLACK}, {{1}, CLEAR}, {{1}, CLEAR}}},
    {"Grey2WithTransparentLevel",
     2,
     0,
     transparent({2}),
     Alpha::Premultiplied,
     {{{0}, BLACK}, {{1}, 0xff555555}, {{2}, CLEAR}, {{3}, WHITE}, {{2}, CLEAR}}},
    {"Grey4WithTransparentLevel",
     4,
     0,
     transparent({14}),
     Alpha::Premultiplied,
     {{{13}, 0xffdddddd}, {{14}, CLEAR}, {{15}, WHITE}}},
    {"Grey8WithTransparentLevelInItsLowerByte",
     8,
     0,
     transparent({0x0140}),
     Alpha::Premultiplied,
     {{{0x3f}, 0xff3f3f3f}, {{0x40}, CLEAR}, {{0x41}, 0xff414141}}},
    {"Grey16WithTransparentLevel",
     16,
     0,
     transparent({0x40ff}),
     Alpha::Premultiplied,
     {{{0x40ff}, CLEAR}, {{0x40fe}, 0xff414141}, {{0x41ff}, 0xff424242}}},
    {"Rgb8WithTransparentColor",
     8,
     2,
     transparent({10, 20, 30}),
     Alpha::Premultiplied,
     {{{10, 20, 30}, CLEAR}, {{10, 20, 31}, 0xff0a141f}, {{30, 20, 10}, 0xff1e140a}}},
    {"Rgb16WithTransparentColorOfAllBits",
     16,
     2,
     transparent({0x0a80, 0x1400, 0xffff}),
     Alpha::Premultiplied,
     {{{0x0a80, 0x1400, 0xffff}, CLEAR},
      {{0x0a81, 0x1400, 0xffff}, 0xff0a14ff},
      {{0x0a80, 0x1401, 0xffff}, 0xff0a14ff},
      {{0x0a80, 0x1400, 0xfffe}, 0xff0a14ff}}},
    {"PaletteWithAlphas",
     8,
     3,
     palette() + checkedChunk("tRNS", FileBytes().u8(128).u8(0).bytes()),
     Alpha::Premultiplied,
     {{{0}, 0x80643219}, {{1}, CLEAR}, {{2}, BLUE}, {{3}, 0xff010203}, {{4}, BLACK}}},
};

class PngSamples : public testing::TestWithParam<std::tuple<Case, bool>>
{};

INSTANTIATE_TEST_SUITE_P(All, PngSamples,
                         testing::Combine(testing::ValuesIn(CASES), testing::Bool()),
                         [](const auto &one) {
                             return std::string(std::get<0>(one.param).name) +
                                    (std::get<1>(one.param) ? "Interlaced" : "");
                         });

TEST_P(PngSamples, AreShown)
{
    const auto &[one, isInterlaced] = GetParam();
    const auto sampleAt = [&samples = one.samples](int x, int y) {
        return samples[static_cast<std::size_t>(x + 2 * y) % samples.size()];
    };
    for (const QSize size :
         {QSize(19, 13), QSize(8, 8), QSize(3, 2), QSize(1, 9), QSize(1, 1), QSize(300, 2)}) {
        const QByteArray png = pngFile(
            {size, one.depth, one.color, isInterlaced},
            [&](int x, int y) { return sampleAt(x, y).stored; }, one.chunks);
        const Image image = decoded(png);
        EXPECT_EQ(image.alpha(), one.alpha);
        EXPECT_TRUE(
            looksLike(image, makeImage(size, [&](int x, int y) { return sampleAt(x, y).shown; })));
    }
}

TEST(PngRows, DamagedFilesDoNoHarm)
{
    constexpr int LIMIT = 40;
    std::vector<QByteArray> files;
    for (const Case &one : CASES)
        for (const bool isInterlaced : {false, true})
            files.push_back(pngFile(
                {{60, 44}, one.depth, one.color, isInterlaced},
                [&](int x, int) {
                    return one.samples[static_cast<std::size_t>(x) % one.samples.size()].stored;
                },
                one.chunks));
    testing::internal::CaptureStderr();
    for (unsigned seed = 0; seed < 800; ++seed) {
        const Image image = decoded(damaged(files[seed % files.size()], seed), LIMIT);
        ASSERT_LE(std::max(image.width(), image.height()), LIMIT) << seed;
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace

} // namespace tavolin
