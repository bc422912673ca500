// TIFF pages by every compression, with chroma that pixels share, and with profiles.

#include "decoding/codecs/TiffCodec.h"

#include "decoding/color/Color.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "pictures/Tiff.h"
#include "Samples.h"
#include "TestPictures.h"
#include "WrittenTiff.h"

#include <ostream>
#include <string>

namespace tavolin {

namespace {

using namespace test;

constexpr int NO_LIMIT = 100'000;
constexpr Pixel BLACK = 0xff000000;
constexpr Pixel WHITE = 0xffffffff;

Image decoded(const QByteArray &tiff, int maxPixel = NO_LIMIT)
{
    return decodeTiff(fileOf(tiff), maxPixel).image;
}

struct Packing
{
    const char *name;
    int compression;
    TiffPage page;
    Quarters stored;
    std::array<Pixel, 4> shown;
    int tolerance = 0;
};

void PrintTo(const Packing &packing, std::ostream *out)
{
    *out << packing.name;
}

class TiffPacking : public testing::TestWithParam<Packing>
{};

TiffPage predicted(TiffPage page, int predictor)
{
    page.predictor = predictor;
    return page;
}

TiffPage inJpeg(TiffPage page)
{
    page.size = {64, 48};
    page.rowsPerStrip = 16;
    return page;
}

/// Written from RGB, with halved chroma.
TiffPage yCbCrInJpeg()
{
    TiffPage page = inJpeg(colors(PHOTOMETRIC_YCBCR, 3));
    page.more = [](TIFF *tiff) {
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 2, 2);
    };
    return page;
}

/// 8-bit numbers of @p samples that the codec itself turns to LogL or LogLuv.
TiffPage inLog(int photometric, int samples)
{
    TiffPage page{
        .bits = 32, .samples = samples, .photometric = photometric, .format = SAMPLEFORMAT_IEEEFP};
    page.more = [](TIFF *tiff) { TIFFSetField(tiff, TIFFTAG_SGILOGDATAFMT, SGILOGDATAFMT_FLOAT); };
    return page;
}

TiffPage inOneStrip(TiffPage page)
{
    page.rowsPerStrip = page.size.height();
    return page;
}

TiffPage inTiles(TiffPage page)
{
    page.tile = {32, 16};
    return page;
}

const Quarters BITS{{{0}, {1}, {1}, {0}}};
constexpr std::array<Pixel, 4> BITS_SHOWN{WHITE, BLACK, BLACK, WHITE};
const TiffPage FAX = grey(1, SAMPLEFORMAT_UINT, PHOTOMETRIC_MINISWHITE);
const Quarters RGB_16{{{65535, 0, 0}, {0, 65535, 0}, {0, 0, 65535}, {65535, 65535, 0}}};
const Quarters RGB_UNIT{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 0}}};

INSTANTIATE_TEST_SUITE_P(
    All, TiffPacking,
    testing::Values(
        Packing{"Lzw", COMPRESSION_LZW, rgb(8), RGB_8, SHOWN},
        Packing{"LzwPredicted", COMPRESSION_LZW, predicted(rgb(8), 2), RGB_8, SHOWN},
        Packing{"LzwPredicted16", COMPRESSION_LZW, predicted(rgb(16), 2), RGB_16, SHOWN},
        Packing{"Deflate", COMPRESSION_DEFLATE, rgb(8), RGB_8, SHOWN},
        Packing{"DeflatePredictedFloats", COMPRESSION_ADOBE_DEFLATE,
                predicted(rgb(32, SAMPLEFORMAT_IEEEFP), 3), RGB_UNIT, SHOWN},
        Packing{"PackBits", COMPRESSION_PACKBITS, rgb(8), RGB_8, SHOWN},
        Packing{"Lzma", COMPRESSION_LZMA, rgb(8), RGB_8, SHOWN},
        Packing{"Zstd", COMPRESSION_ZSTD, rgb(8), RGB_8, SHOWN},
        Packing{"Lerc", COMPRESSION_LERC, rgb(8), RGB_8, SHOWN},
        Packing{"WebP", COMPRESSION_WEBP, rgb(8), RGB_8, SHOWN, 8},
        Packing{"WebPInTiles", COMPRESSION_WEBP, inTiles(rgb(8)), RGB_8, SHOWN, 8},
        Packing{"Jpeg", COMPRESSION_JPEG, inJpeg(rgb(8)), RGB_8, SHOWN, 4},
        Packing{"JpegInPlanes", COMPRESSION_JPEG,
                [] {
                    TiffPage page = inJpeg(rgb(8));
                    page.isPlanar = true;
                    return page;
                }(),
                RGB_8, SHOWN, 4},
        Packing{"JpegOfYCbCr", COMPRESSION_JPEG, yCbCrInJpeg(), RGB_8, SHOWN, 4},
        Packing{"JpegOfYCbCrInTiles", COMPRESSION_JPEG, inTiles(yCbCrInJpeg()), RGB_8, SHOWN, 4},
        Packing{"JpegOfGrey",
                COMPRESSION_JPEG,
                inJpeg(grey(8)),
                {{{0}, {85}, {170}, {255}}},
                {BLACK, 0xff555555, 0xffaaaaaa, WHITE},
                4},
        Packing{"JpegOfCmyk",
                COMPRESSION_JPEG,
                inJpeg(colors(PHOTOMETRIC_SEPARATED, 4)),
                {{{0, 255, 255, 0}, {255, 0, 255, 0}, {255, 255, 0, 0}, {0, 0, 255, 0}}},
                SHOWN,
                6},
        Packing{"PixarLog", COMPRESSION_PIXARLOG, rgb(8), RGB_8, SHOWN, 2},
        Packing{"CcittRle", COMPRESSION_CCITTRLE, FAX, BITS, BITS_SHOWN},
        Packing{"CcittRleWords", COMPRESSION_CCITTRLEW, FAX, BITS, BITS_SHOWN},
        Packing{"Fax3", COMPRESSION_CCITTFAX3, FAX, BITS, BITS_SHOWN},
        Packing{"Fax4", COMPRESSION_CCITTFAX4, FAX, BITS, BITS_SHOWN},
        Packing{"Fax4InTiles", COMPRESSION_CCITTFAX4, inTiles(FAX), BITS, BITS_SHOWN},
        Packing{"Jbig", COMPRESSION_JBIG, inOneStrip(FAX), BITS, BITS_SHOWN},
        Packing{"LogL",
                COMPRESSION_SGILOG,
                inLog(PHOTOMETRIC_LOGL, 1),
                {{{0}, {1}, {1}, {0}}},
                {BLACK, WHITE, WHITE, BLACK},
                4},
        // XYZ of white and black.
        Packing{"LogLuv",
                COMPRESSION_SGILOG,
                inLog(PHOTOMETRIC_LOGLUV, 3),
                {{{0, 0, 0}, {1, 1, 1}, {1, 1, 1}, {0, 0, 0}}},
                {BLACK, WHITE, WHITE, BLACK},
                8}),
    [](const auto &one) { return std::string(one.param.name); });

TEST_P(TiffPacking, ShowsItsQuarters)
{
    const Packing &packing = GetParam();
    if (TIFFIsCODECConfigured(static_cast<std::uint16_t>(packing.compression)) == 0)
        GTEST_SKIP() << "this libtiff was built without the codec";
    TiffPage page = packing.page;
    page.compression = packing.compression;
    const QByteArray tiff = tiffOf(page, packing.stored);
    ASSERT_FALSE(tiff.isEmpty());
    const Image image = decoded(tiff);
    ASSERT_EQ(image.size(), page.size);
    EXPECT_TRUE(hasQuarters(image, packing.shown, packing.tolerance));
}

/// Numbers of YCbCr for each quarter: red, green, blue, yellow (ITU-R BT.601, 0 to 255).
const std::array<std::array<int, 3>, 4> LUMA_CHROMA{
    {{76, 85, 255}, {150, 44, 21}, {29, 255, 107}, {226, 0, 149}}};

/// A picture of 64x48 in groups of @p across by @p down pixels that share their chroma, in strips
/// of 16 rows or tiles of 32x16.
QByteArray subsampledTiff(int across, int down, bool isTiled)
{
    TiffPage page = colors(PHOTOMETRIC_YCBCR, 3);
    page.size = {64, 48};
    page.rowsPerStrip = 16;
    const QSize block(isTiled ? 32 : 64, 16);
    if (isTiled)
        page.tile = block;
    page.more = [=](TIFF *tiff) {
        yCbCr().more(tiff);
        TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, across, down);
    };
    TiffMemory memory;
    TIFF *const tiff = TIFFClientOpen(
        "", "wl", &memory, TiffMemory::read, TiffMemory::write, TiffMemory::seek,
        [](thandle_t) { return 0; }, TiffMemory::size, nullptr, nullptr);
    setTiffTags(tiff, page);
    std::uint32_t index = 0;
    for (int top = 0; top < 48; top += block.height()) {
        for (int left = 0; left < 64; left += block.width(), ++index) {
            QByteArray bytes;
            for (int y = top; y < top + block.height(); y += down) {
                for (int x = left; x < left + block.width(); x += across) {
                    const auto &numbers = LUMA_CHROMA[quarterOf(page.size, x, y)];
                    bytes.append(across * down, static_cast<char>(numbers[0]));
                    bytes.append(static_cast<char>(numbers[1]))
                        .append(static_cast<char>(numbers[2]));
                }
            }
            if (isTiled)
                TIFFWriteRawTile(tiff, index, bytes.data(), bytes.size());
            else
                TIFFWriteRawStrip(tiff, index, bytes.data(), bytes.size());
        }
    }
    TIFFClose(tiff);
    return memory.bytes;
}

TEST(TiffYCbCr, PixelsThatShareTheirChromaAreShown)
{
    for (const int across : {1, 2, 4}) {
        for (const int down : {1, 2, 4}) {
            for (const bool isTiled : {false, true}) {
                const Image image = decoded(subsampledTiff(across, down, isTiled));
                ASSERT_EQ(image.size(), QSize(64, 48)) << across << "x" << down;
                for (int y = 0; y < 48; ++y)
                    for (int x = 0; x < 64; ++x)
                        ASSERT_TRUE(isNear(image.row(y)[x], SHOWN[quarterOf({64, 48}, x, y)], 3))
                            << across << "x" << down << ": " << x << ", " << y;
            }
        }
    }
}

// The levels of video, 16 to 235 and 16 to 240, and its other primaries (ITU-R BT.709).
TEST(TiffYCbCr, LevelsAndCoefficientsOfTheFileAreApplied)
{
    TiffPage page = yCbCr();
    page.more = [](TIFF *tiff) {
        TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 1, 1);
        float reference[] = {16, 235, 128, 240, 128, 240};
        TIFFSetField(tiff, TIFFTAG_REFERENCEBLACKWHITE, reference);
        float luma[] = {0.2126F, 0.7152F, 0.0722F};
        TIFFSetField(tiff, TIFFTAG_YCBCRCOEFFICIENTS, luma);
    };
    const Quarters stored{{{63, 102, 240}, {173, 42, 26}, {32, 240, 118}, {16, 128, 128}}};
    const Image image = decoded(tiffOf(page, stored));
    EXPECT_TRUE(hasQuarters(image, {RED, GREEN, BLUE, BLACK}, 3));
}

TEST(TiffOldJpeg, IsShown)
{
    const QByteArray jpeg = pictures::encodeJpeg(pictures::fourQuarters({64, 48}),
                                                 {.subsampling = pictures::Subsampling::Half422});
    pictures::TiffDirectory page{
        pictures::longField(256, 64),
        pictures::longField(257, 48),
        pictures::shortField(258, {8, 8, 8}),
        pictures::shortField(259, {COMPRESSION_OJPEG}),
        pictures::shortField(262, {PHOTOMETRIC_YCBCR}),
        pictures::dataField(273, jpeg),
        pictures::shortField(277, {3}),
        pictures::longField(278, 48),
        pictures::longField(279, jpeg.size()),
        pictures::shortField(512, {1}),
        pictures::dataField(513, jpeg),
        pictures::longField(514, jpeg.size()),
        pictures::shortField(530, {2, 1}),
    };
    const Image image = decoded(pictures::tiffBlock(page));
    ASSERT_EQ(image.size(), QSize(64, 48));
    EXPECT_TRUE(hasQuarters(image, SHOWN, 6));
}

TEST(TiffFillOrder, BitsFromTheLowestAreShown)
{
    for (const int compression : {COMPRESSION_NONE, COMPRESSION_CCITTFAX4}) {
        TiffPage page = FAX;
        page.compression = compression;
        page.more = [](TIFF *tiff) { TIFFSetField(tiff, TIFFTAG_FILLORDER, FILLORDER_LSB2MSB); };
        EXPECT_TRUE(hasQuarters(decoded(tiffOf(page, BITS)), BITS_SHOWN, 0)) << compression;
    }
}

TEST(TiffScaled, ComesInTheSizeOfTheLimit)
{
    for (const bool isTiled : {false, true}) {
        TiffPage page = rgb(16);
        page.size = {120, 80};
        if (isTiled)
            page.tile = {32, 32};
        const QByteArray tiff = tiffOf(page, RGB_16);
        EXPECT_EQ(decoded(tiff, 120).size(), QSize(120, 80));
        EXPECT_EQ(decoded(tiff, 100).size(), QSize(100, 67));
        EXPECT_EQ(decoded(tiff, 1).size(), QSize(1, 1));
        const Image small = decoded(tiff, 31);
        EXPECT_EQ(small.size(), QSize(31, 21));
        EXPECT_TRUE(hasQuarters(small, SHOWN, 0));
    }
}

QByteArray withProfile(TiffPage page, const Quarters &stored, const QByteArray &profile)
{
    const auto more = page.more;
    page.more = [&](TIFF *tiff) {
        more(tiff);
        TIFFSetField(tiff, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(profile.size()),
                     profile.constData());
    };
    return tiffOf(page, stored);
}

TEST(TiffProfile, IsKeptWhereItSpeaksOfTheseColors)
{
    const QByteArray &color = displayP3Profile();
    QByteArray mono = color;
    mono.replace(16, 4, "GRAY");
    QByteArray inks = color;
    inks.replace(16, 4, "CMYK");
    const Quarters levels{{{0}, {85}, {170}, {255}}};
    const Quarters cmyk{{{0, 255, 255, 0}, {255, 0, 255, 0}, {255, 255, 0, 0}, {0, 0, 255, 0}}};
    const Quarters lab{{{255, 0, 0}, {255, 0, 0}, {255, 0, 0}, {255, 0, 0}}};
    EXPECT_EQ(decoded(withProfile(rgb(8), RGB_8, color)).iccProfile(), color);
    EXPECT_EQ(decoded(withProfile(rgb(16), RGB_16, color), 9).iccProfile(), color);
    EXPECT_EQ(decoded(withProfile(palette(8, fourColors(65535)), INDICES, color)).iccProfile(),
              color);
    EXPECT_EQ(decoded(withProfile(grey(8), levels, mono)).iccProfile(), mono);
    EXPECT_TRUE(decoded(tiffOf(rgb(8), RGB_8)).iccProfile().isEmpty());
    for (const QByteArray &other : {mono, inks, QByteArray("x"), QByteArray(200, 'x')})
        EXPECT_TRUE(decoded(withProfile(rgb(8), RGB_8, other)).iccProfile().isEmpty());
    EXPECT_TRUE(
        decoded(withProfile(colors(PHOTOMETRIC_CIELAB, 3), lab, color)).iccProfile().isEmpty());
    const Image converted = decoded(withProfile(colors(PHOTOMETRIC_SEPARATED, 4), cmyk, inks));
    EXPECT_TRUE(converted.iccProfile().isEmpty());
    EXPECT_TRUE(hasQuarters(converted, SHOWN, 0));
}

class TiffSample : public SampleTest
{};

// Full magenta and yellow on coated paper (FOGRA39) are no pure red: 227, 6, 20.
TEST_F(TiffSample, ProfileOfInksIsUsed)
{
    const auto file = SourceFile::open(find("formats/tiff/cmyk8_jpeg_icc.tif"));
    ASSERT_TRUE(file);
    const Image image = decodeTiff(*file, NO_LIMIT).image;
    ASSERT_FALSE(image.isNull());
    EXPECT_TRUE(isNear(image.row(0)[0], 0xffe30614, 6));
}

} // namespace

} // namespace tavolin
