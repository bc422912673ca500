// TIFF pages of every kind of numbers, in every layout.

#include "decoding/codecs/TiffCodec.h"

#include "TestPictures.h"
#include "WrittenTiff.h"

#include <cmath>
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

Image decoded(const QByteArray &tiff, int maxPixel = NO_LIMIT)
{
    return decodeTiff(fileOf(tiff), maxPixel).image;
}

/// A picture of four quarters as it is stored, and as it is to be shown.
struct Kind
{
    const char *name;
    TiffPage page;
    Quarters stored;
    std::array<Pixel, 4> shown;
    int tolerance = 0;
};

void PrintTo(const Kind &kind, std::ostream *out)
{
    *out << kind.name;
}

/// How the numbers of a kind are laid out in the file.
struct Storage
{
    const char *name;
    const char *mode = "wl";
    int rowsPerStrip = 7;
    QSize tile;
    bool isPlanar = false;
    int compression = COMPRESSION_NONE;
};

void PrintTo(const Storage &storage, std::ostream *out)
{
    *out << storage.name;
}

TiffPage withExtra(TiffPage page, std::uint16_t kind)
{
    ++page.samples;
    page.extras = {kind};
    return page;
}

std::vector<Kind> kinds()
{
    constexpr std::array<Pixel, 4> GREYS{BLACK, 0xff555555, 0xffaaaaaa, WHITE};
    constexpr std::array<Pixel, 4> INVERTED{WHITE, 0xffaaaaaa, 0xff555555, BLACK};
    constexpr std::array<Pixel, 4> COVERED{0, 0x80640000, 0x80808080, BLUE};
    const double top = 18446744073709547520.0; // the last double below 2⁶⁴
    return {
        {"Grey1", grey(1), {{{0}, {1}, {1}, {0}}}, {BLACK, WHITE, WHITE, BLACK}},
        {"Grey2", grey(2), {{{0}, {1}, {2}, {3}}}, GREYS},
        {"Grey4", grey(4), {{{0}, {5}, {10}, {15}}}, GREYS},
        {"Grey8", grey(8), {{{0}, {85}, {170}, {255}}}, GREYS},
        {"Grey12", grey(12), {{{0}, {1365}, {2730}, {4095}}}, GREYS},
        {"Grey16", grey(16), {{{0}, {21845}, {43690}, {65535}}}, GREYS},
        {"Grey24", grey(24), {{{0}, {5592405}, {11184810}, {16777215}}}, GREYS},
        {"Grey32", grey(32), {{{0}, {1431655765}, {2863311530}, {4294967295}}}, GREYS},
        {"Grey64", grey(64), {{{0}, {top / 3}, {top / 3 * 2}, {top}}}, GREYS},
        {"GreySigned8",
         grey(8, SAMPLEFORMAT_INT),
         {{{-128}, {-1}, {64}, {127}}},
         {BLACK, BLACK, 0xff818181, WHITE}},
        {"GreySigned16",
         grey(16, SAMPLEFORMAT_INT),
         {{{-32768}, {0}, {16384}, {32767}}},
         {BLACK, BLACK, 0xff808080, WHITE}},
        {"GreySigned32",
         grey(32, SAMPLEFORMAT_INT),
         {{{-1}, {0}, {1073741824}, {2147483647}}},
         {BLACK, BLACK, 0xff808080, WHITE}},
        {"GreyFloat16",
         grey(16, SAMPLEFORMAT_IEEEFP),
         {{{0}, {0.25}, {0.5}, {1}}},
         {BLACK, 0xff404040, 0xff808080, WHITE}},
        {"GreyFloat32",
         grey(32, SAMPLEFORMAT_IEEEFP),
         {{{-7}, {0.25}, {0.5}, {9}}},
         {BLACK, 0xff404040, 0xff808080, WHITE}},
        {"GreyFloat64",
         grey(64, SAMPLEFORMAT_IEEEFP),
         {{{std::nan("")}, {0.25}, {0.5}, {HUGE_VAL}}},
         {BLACK, 0xff404040, 0xff808080, WHITE}},
        {"White1",
         grey(1, SAMPLEFORMAT_UINT, PHOTOMETRIC_MINISWHITE),
         {{{0}, {1}, {1}, {0}}},
         {WHITE, BLACK, BLACK, WHITE}},
        {"White4",
         grey(4, SAMPLEFORMAT_UINT, PHOTOMETRIC_MINISWHITE),
         {{{0}, {5}, {10}, {15}}},
         INVERTED},
        {"White8",
         grey(8, SAMPLEFORMAT_UINT, PHOTOMETRIC_MINISWHITE),
         {{{0}, {85}, {170}, {255}}},
         INVERTED},
        {"White16",
         grey(16, SAMPLEFORMAT_UINT, PHOTOMETRIC_MINISWHITE),
         {{{0}, {21845}, {43690}, {65535}}},
         INVERTED},
        {"Mask",
         grey(1, SAMPLEFORMAT_UINT, PHOTOMETRIC_MASK),
         {{{0}, {1}, {1}, {0}}},
         {BLACK, WHITE, WHITE, BLACK}},
        {"Rgb4", rgb(4), {{{15, 0, 0}, {0, 15, 0}, {0, 0, 15}, {15, 15, 0}}}, SHOWN},
        {"Rgb8", rgb(8), RGB_8, SHOWN},
        {"Rgb16",
         rgb(16),
         {{{65535, 0, 0}, {0, 65535, 0}, {32896, 0, 65535}, {65535, 65535, 128}}},
         {RED, GREEN, 0xff8000ff, YELLOW}},
        {"Rgb32",
         rgb(32),
         {{{4294967295, 0, 0},
           {0, 4294967295, 0},
           {0, 0, 4294967295},
           {4294967295, 4294967295, 0}}},
         SHOWN},
        {"RgbFloat16",
         rgb(16, SAMPLEFORMAT_IEEEFP),
         {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 0}}},
         SHOWN},
        {"RgbFloat32",
         rgb(32, SAMPLEFORMAT_IEEEFP),
         {{{2, -1, 0}, {0, 1, 0}, {0.5, 0, 1}, {1, 1, 0}}},
         {RED, GREEN, 0xff8000ff, YELLOW}},
        {"RgbFloat64",
         rgb(64, SAMPLEFORMAT_IEEEFP),
         {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 0}}},
         SHOWN},
        {"Palette1",
         palette(1, fourColors(65535)),
         {{{0}, {1}, {1}, {0}}},
         {RED, GREEN, GREEN, RED}},
        {"Palette2", palette(2, fourColors(65535)), INDICES, SHOWN},
        {"Palette4", palette(4, fourColors(65535)), INDICES, SHOWN},
        {"Palette8", palette(8, fourColors(65535)), INDICES, SHOWN},
        {"Palette16", palette(16, fourColors(65535)), INDICES, SHOWN},
        {"PaletteOf8BitNumbers", palette(8, fourColors(255)), INDICES, SHOWN},
        {"PaletteOfShiftedNumbers", palette(8, fourColors(65280)), INDICES, SHOWN},
        // Straight alpha: 200 at 128 of 255 is 100.4.
        {"RgbUnassociated8",
         withExtra(rgb(8), EXTRASAMPLE_UNASSALPHA),
         {{{255, 255, 255, 0}, {200, 0, 0, 128}, {255, 255, 255, 128}, {0, 0, 255, 255}}},
         COVERED},
        {"RgbAssociated8",
         withExtra(rgb(8), EXTRASAMPLE_ASSOCALPHA),
         {{{0, 0, 0, 0}, {100, 0, 0, 128}, {255, 255, 255, 128}, {0, 0, 255, 255}}},
         COVERED},
        {"RgbUnassociated16",
         withExtra(rgb(16), EXTRASAMPLE_UNASSALPHA),
         {{{65535, 65535, 65535, 0},
           {51400, 0, 0, 32896},
           {65535, 65535, 65535, 32896},
           {0, 0, 65535, 65535}}},
         COVERED},
        {"RgbAssociatedFloat",
         withExtra(rgb(32, SAMPLEFORMAT_IEEEFP), EXTRASAMPLE_ASSOCALPHA),
         {{{1, 1, 1, 0}, {0.392, 0, 0, 0.502}, {0.502, 0.502, 0.502, 0.502}, {0, 0, 1, 1}}},
         COVERED},
        {"RgbWithAnUnknownExtra",
         withExtra(rgb(8), EXTRASAMPLE_UNSPECIFIED),
         {{{255, 0, 0, 0}, {0, 255, 0, 9}, {0, 0, 255, 99}, {255, 255, 0, 255}}},
         SHOWN},
        {"LabUnassociated8",
         withExtra(colors(PHOTOMETRIC_CIELAB, 3), EXTRASAMPLE_UNASSALPHA),
         {{{255, 0, 0, 0}, {255, 0, 0, 128}, {0, 0, 0, 255}, {255, 0, 0, 255}}},
         {0, 0x80808080, BLACK, WHITE},
         1},
        {"LabAssociated16",
         withExtra(colors(PHOTOMETRIC_CIELAB, 3, 16), EXTRASAMPLE_ASSOCALPHA),
         {{{0, 0, 0, 0}, {65535, 0, 0, 32896}, {0, 0, 0, 65535}, {65535, 0, 0, 65535}}},
         {0, 0x80808080, BLACK, WHITE},
         1},
        {"PaletteUnassociated4",
         withExtra(palette(4, fourColors(65535)), EXTRASAMPLE_UNASSALPHA),
         {{{0, 15}, {1, 15}, {2, 0}, {3, 5}}},
         {RED, GREEN, 0, 0x55555500}},
        {"GreyUnassociated8",
         withExtra(grey(8), EXTRASAMPLE_UNASSALPHA),
         {{{255, 0}, {255, 128}, {0, 255}, {255, 255}}},
         {0, 0x80808080, BLACK, WHITE}},
        // Ideal inks: (1 − C)(1 − K).
        {"Cmyk8",
         colors(PHOTOMETRIC_SEPARATED, 4),
         {{{0, 255, 255, 0}, {255, 0, 255, 0}, {255, 255, 0, 0}, {0, 0, 255, 128}}},
         {RED, GREEN, BLUE, 0xff7f7f00}},
        {"Cmyk16",
         colors(PHOTOMETRIC_SEPARATED, 4, 16),
         {{{0, 65535, 65535, 0}, {65535, 0, 65535, 0}, {65535, 65535, 0, 0}, {0, 0, 65535, 32896}}},
         {RED, GREEN, BLUE, 0xff7f7f00}},
        // sRGB's primaries relative to D50: (54.29, 80.80, 69.89), (87.82, −79.27, 80.99) and
        // (29.57, 68.30, −112.03).
        {"CieLab8",
         colors(PHOTOMETRIC_CIELAB, 3),
         {{{138, 81, 70}, {224, 176, 81}, {75, 68, 144}, {255, 0, 0}}},
         {RED, GREEN, BLUE, WHITE},
         6},
        {"CieLab16",
         colors(PHOTOMETRIC_CIELAB, 3, 16),
         {{{35579, 20685, 17892}, {57553, 45243, 20733}, {19379, 17485, 36856}, {65535, 0, 0}}},
         {RED, GREEN, BLUE, WHITE},
         2},
        {"IccLab8",
         colors(PHOTOMETRIC_ICCLAB, 3),
         {{{138, 209, 198}, {224, 48, 209}, {75, 196, 16}, {255, 128, 128}}},
         {RED, GREEN, BLUE, WHITE},
         6},
        {"IccLab16",
         colors(PHOTOMETRIC_ICCLAB, 3, 16),
         {{{35441, 53453, 50660},
           {57329, 12475, 53501},
           {19303, 50253, 4088},
           {65280, 32768, 32768}}},
         {RED, GREEN, BLUE, WHITE},
         2},
        // ITU-R BT.601 of 0 to 255, as in JPEG.
        {"YCbCr8",
         yCbCr(),
         {{{76, 85, 255}, {150, 44, 21}, {29, 255, 107}, {226, 0, 149}}},
         SHOWN,
         3},
        {"YCbCr16",
         yCbCr(16),
         {{{19532, 21845, 65535}, {38550, 11308, 5397}, {7453, 65535, 27499}, {58082, 0, 38293}}},
         SHOWN,
         3},
    };
}

class TiffKind : public testing::TestWithParam<std::tuple<Kind, Storage>>
{};

std::string kindName(const testing::TestParamInfo<std::tuple<Kind, Storage>> &info)
{
    return std::string(std::get<0>(info.param).name) + std::get<1>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(
    All, TiffKind,
    testing::Combine(
        testing::ValuesIn(kinds()),
        testing::Values(
            Storage{.name = "InStrips"}, Storage{.name = "BigEndian", .mode = "wb"},
            Storage{.name = "InOneStrip", .rowsPerStrip = 47},
            Storage{.name = "BigTiff", .mode = "wl8"},
            Storage{.name = "BigTiffBigEndian", .mode = "wb8"},
            Storage{.name = "InTiles", .tile = {16, 32}},
            Storage{.name = "BigEndianInTiles", .mode = "wb", .tile = {32, 16}},
            Storage{.name = "InPlanes", .isPlanar = true},
            Storage{.name = "BigEndianInPlanes", .mode = "wb", .isPlanar = true},
            Storage{.name = "InTiledPlanes", .tile = {16, 16}, .isPlanar = true},
            Storage{.name = "Deflated", .compression = COMPRESSION_ADOBE_DEFLATE},
            Storage{.name = "DeflatedBigEndian",
                    .mode = "wb",
                    .compression = COMPRESSION_ADOBE_DEFLATE},
            Storage{.name = "DeflatedInPlanes", .isPlanar = true, .compression = COMPRESSION_LZW},
            Storage{.name = "DeflatedInTiles",
                    .tile = {64, 48},
                    .compression = COMPRESSION_ADOBE_DEFLATE})),
    kindName);

TEST_P(TiffKind, ShowsItsQuarters)
{
    const auto &[kind, storage] = GetParam();
    TiffPage page = kind.page;
    page.mode = storage.mode;
    page.rowsPerStrip = storage.rowsPerStrip;
    page.tile = storage.tile;
    page.isPlanar = storage.isPlanar;
    page.compression = storage.compression;
    const QByteArray tiff = tiffOf(page, kind.stored);
    ASSERT_FALSE(tiff.isEmpty());
    const Image image = decoded(tiff);
    ASSERT_EQ(image.size(), page.size);
    EXPECT_TRUE(hasQuarters(image, kind.shown, kind.tolerance));
    const bool hasAlpha = std::any_of(kind.shown.begin(), kind.shown.end(),
                                      [](Pixel pixel) { return pixel >> 24 != 0xff; });
    EXPECT_EQ(image.alpha(), hasAlpha ? Alpha::Premultiplied : Alpha::Opaque);
    // The same in each pixel, up to the edges between the quarters and that of the picture.
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            ASSERT_TRUE(
                isNear(image.row(y)[x], kind.shown[quarterOf(page.size, x, y)], kind.tolerance))
                << x << ", " << y;
}

} // namespace

} // namespace tavolin
