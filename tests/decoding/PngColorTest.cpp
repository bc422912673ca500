#include "decoding/codecs/PngColor.h"

#include "decoding/codecs/JpegCodec.h"
#include "decoding/codecs/PngCodec.h"
#include "decoding/color/Color.h"
#include "decoding/Decoding.h"
#include "pixels/JpegWriter.h"
#include "PngFile.h"
#include "TestPictures.h"

#include <ostream>
#include <string>
#include <vector>

namespace tavolin {

namespace {

using namespace test;

constexpr int GREY_SAMPLES = 0;
constexpr int RGB_SAMPLES = 2;

QByteArray cicp(unsigned primaries, unsigned transfer, unsigned matrix = 0, unsigned range = 1)
{
    return checkedChunk("cICP",
                        FileBytes().u8(primaries).u8(transfer).u8(matrix).u8(range).bytes());
}

const QByteArray SRGB = checkedChunk("sRGB", QByteArray(1, '\0'));

/// @p exponent in 100,000ths.
QByteArray gama(unsigned exponent)
{
    return checkedChunk("gAMA", FileBytes().u32(exponent).bytes());
}

/// x and y of white, red, green and blue in 100,000ths.
QByteArray chrm(const std::vector<unsigned> &coordinates)
{
    FileBytes bytes;
    for (const unsigned coordinate : coordinates)
        bytes.u32(coordinate);
    return checkedChunk("cHRM", bytes.bytes());
}

const std::vector<unsigned> P3{31270, 32900, 68000, 32000, 26500, 69000, 15000, 6000};
const std::vector<unsigned> WITHOUT_AREA{31270, 32900, 30000, 30000, 30000, 30000, 30000, 30000};

/// A profile's header with nothing in it but what is looked at.
QByteArray profileFor(const char *space, qsizetype bytes = 200)
{
    QByteArray profile(bytes, 'x');
    profile.replace(0, 4, FileBytes().u32(static_cast<std::uint64_t>(bytes)).bytes());
    profile.replace(128, 4, QByteArray(4, '\0')); // tags
    profile.replace(16, 4, space);
    profile.replace(36, 4, "acsp");
    return profile;
}

QByteArray damagedChunk(QByteArray chunk)
{
    chunk.back() = static_cast<char>(chunk.back() ^ 1);
    return chunk;
}

struct Case
{
    const char *name;
    QByteArray chunks;
    QByteArray profile;
    int color = RGB_SAMPLES;
};

void PrintTo(const Case &one, std::ostream *out)
{
    *out << one.name;
}

const QByteArray LINEAR = rgbProfile(SRGB_PRIMARIES, 1.0);

const std::vector<Case> CASES = {
    {"NothingIsSrgb", {}, {}},
    {"Srgb", SRGB, {}},
    {"CodedSrgb", cicp(1, 13), {}},
    {"CodedDisplayP3", cicp(12, 13), displayP3Profile()},
    {"CodedBt709", cicp(1, 1), {}},
    {"CodeWinsOverAllElse", SRGB + gama(100'000) + iccp(profileFor("RGB ")) + cicp(12, 13),
     displayP3Profile()},
    {"CodedSrgbWinsOverAProfile", iccp(profileFor("RGB ")) + cicp(1, 13), {}},
    {"UnusualCodeIsPassedOver", cicp(9, 16) + iccp(profileFor("RGB ")), profileFor("RGB ")},
    {"CodeOfPartOfTheRangeIsPassedOver", cicp(12, 13, 0, 0), {}},
    {"CodeWithAMatrixIsPassedOver", cicp(12, 13, 1), {}},
    {"Embedded", iccp(profileFor("RGB ")), profileFor("RGB ")},
    {"EmbeddedWinsOverSrgbAndGamma", SRGB + gama(100'000) + iccp(profileFor("RGB ")),
     profileFor("RGB ")},
    {"EmbeddedForGrey", iccp(profileFor("GRAY")), profileFor("GRAY"), GREY_SAMPLES},
    {"EmbeddedForGreyInAColorPictureIsPassedOver", iccp(profileFor("GRAY")) + gama(100'000),
     LINEAR},
    {"EmbeddedForColorInAGreyPictureIsPassedOver", iccp(profileFor("RGB ")), {}, GREY_SAMPLES},
    {"EmbeddedForInkIsPassedOver", iccp(profileFor("CMYK")), {}},
    {"EmbeddedShorterThanItSaysIsPassedOver", iccp(profileFor("RGB ").chopped(1)), {}},
    {"EmbeddedWithMoreBehindIsCutThere", iccp(profileFor("RGB ") + "more"), profileFor("RGB ")},
    {"EmbeddedThatIsNoProfileIsPassedOver", iccp(QByteArray(500, 'x')) + gama(100'000), LINEAR},
    {"EmbeddedWithoutDataIsPassedOver", checkedChunk("iCCP", "name"), {}},
    {"EmbeddedThatIsNotDeflatedIsPassedOver",
     checkedChunk("iCCP", QByteArray("name\0\0", 6) + profileFor("RGB ")),
     {}},
    {"EmbeddedOverTheLimitIsPassedOver", iccp(profileFor("RGB ", (16 << 20) + 1)), {}},
    {"DamagedChunkIsPassedOver", damagedChunk(iccp(profileFor("RGB "))) + gama(100'000), LINEAR},
    {"SecondOfAKindIsPassedOver", gama(100'000) + gama(45'455), LINEAR},
    {"SrgbWinsOverGamma", gama(100'000) + SRGB, {}},
    {"SrgbOfAnUnknownIntentIsPassedOver", gama(100'000) + checkedChunk("sRGB", QByteArray(1, '\4')),
     LINEAR},
    {"Gamma", gama(50'000), rgbProfile(SRGB_PRIMARIES, 2.0)},
    {"GammaOfAGreyPicture", gama(50'000), rgbProfile(SRGB_PRIMARIES, 2.0), GREY_SAMPLES},
    {"GammaWithPrimaries", gama(50'000) + chrm(P3),
     rgbProfile({D65, {0.68, 0.32}, {0.265, 0.69}, {0.15, 0.06}}, 2.0)},
    {"PrimariesWithoutGammaHaveTheCurveOfSrgb", chrm(P3), displayP3Profile()},
    {"PrimariesWithoutAnAreaArePassedOver", chrm(WITHOUT_AREA) + gama(100'000), LINEAR},
    {"PrimariesWithoutAWhiteArePassedOver", chrm({0, 0, 0, 0, 0, 0, 0, 0}), {}},
    {"GammaOfZeroIsPassedOver", gama(0), {}},
    {"AbsurdGammaIsPassedOver", gama(1), {}},
    {"ChunksOfAWrongLengthArePassedOver",
     checkedChunk("gAMA", "abc") + checkedChunk("cHRM", "abc") + checkedChunk("cICP", "abc"),
     {}},
};

class PngColors : public testing::TestWithParam<Case>
{};

INSTANTIATE_TEST_SUITE_P(All, PngColors, testing::ValuesIn(CASES),
                         [](const auto &one) { return std::string(one.param.name); });

TEST_P(PngColors, AreThoseOfTheProfile)
{
    const Case &one = GetParam();
    const int channels = one.color == RGB_SAMPLES ? 3 : 1;
    const auto samples = [channels](int, int) {
        return std::vector<unsigned>(static_cast<std::size_t>(channels), 7);
    };
    for (const bool isInterlaced : {false, true}) {
        const QByteArray png = pngFile({{3, 2}, 8, one.color, isInterlaced}, samples, one.chunks);
        const Image image = decodePng(fileOf(png), 100).image;
        ASSERT_FALSE(image.isNull());
        EXPECT_EQ(image.iccProfile(), one.profile);
    }
}

TEST(PngColors, BehindThePixelsAreNotLookedAt)
{
    const PngKind kind{{3, 2}, 8, GREY_SAMPLES};
    const auto samples = [](int, int) { return std::vector<unsigned>{7}; };
    QByteArray png = pngFile(kind, samples);
    png.insert(png.indexOf("IEND") - 4, gama(100'000));
    EXPECT_TRUE(decodePng(fileOf(png), 100).image.iccProfile().isEmpty());
}

struct Shown
{
    const char *name;
    QByteArray chunks;
    unsigned stored;
    Pixel shown;
};

TEST(PngColors, AreConvertedForTheScreen)
{
    // By hand: 128 of 255 as light is 0.7366 in sRGB, 51 of 255 to the power of 2.2 is 0.1863.
    const std::vector<Shown> cases = {
        {"sRGB", SRGB, 128, 0xff808080},
        {"linear", gama(100'000), 128, 0xffbcbcbc},
        {"2.2", gama(45'455), 51, 0xff2f2f2f},
    };
    for (const Shown &one : cases) {
        for (const int color : {GREY_SAMPLES, RGB_SAMPLES}) {
            const auto samples = [&](int, int) {
                return std::vector<unsigned>(color == RGB_SAMPLES ? 3 : 1, one.stored);
            };
            const QByteArray png = pngFile({{3, 2}, 8, color}, samples, one.chunks);
            EXPECT_TRUE(looksLike(toSrgb(decodePng(fileOf(png), 100).image),
                                  flatImage({3, 2}, one.shown), 1))
                << one.name;
        }
    }
}

// By hand: 200, 100 and 50 of 255 as light are 229.1, 168.1 and 122.4 in sRGB, at 128 of 255 over
// black 115.0, 84.4 and 61.5.
TEST(PngColors, TransparentPictureIsSavedAsShown)
{
    const auto samples = [](int, int) { return std::vector<unsigned>{200, 100, 50, 128}; };
    const QByteArray png = pngFile({{16, 16}, 8, 6}, samples, gama(100'000));
    EXPECT_TRUE(isNear(toSrgb(decodePng(fileOf(png), 100).image).row(8)[8], 0x8073543d, 2));
    const Image image = decodeFull(fileOf(png), ThumbnailRule::FromImageAlways, KEPT);
    const Image saved = decodeJpeg(fileOf(writeJpeg(image, 95)), 100).image;
    EXPECT_TRUE(isNear(toSrgb(saved).row(8)[8], 0xff73543d, 4));
}

} // namespace

} // namespace tavolin
