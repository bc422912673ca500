#include "decoding/color/Color.h"

#include "decoding/TestPictures.h"
#include "decoding/TestProfiles.h"

#include <QColorSpace>

#include <array>
#include <bit>
#include <cmath>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace tavolin {

namespace {

using namespace test;
using namespace Qt::StringLiterals;

QByteArray srgbProfile()
{
    return saved(cmsCreate_sRGBProfile());
}

Pixel rgb(int red, int green, int blue)
{
    return 0xff000000 | static_cast<Pixel>(red << 16 | green << 8 | blue);
}

/// What toSrgb() makes of one colour.
Pixel converted(Pixel color, const QByteArray &profile)
{
    // High enough for two threads; every row must be converted.
    const Image image = toSrgb(flatImage({3, 100}, color, profile));
    EXPECT_TRUE(looksLike(image, flatImage({3, 100}, image.row(0)[0])));
    return image.row(0)[0];
}

enum class Space { AdobeRgb, DisplayP3 };

struct Conversion
{
    const char *name;
    Space space;
    Pixel color;
    Pixel srgb;
};

void PrintTo(const Conversion &conversion, std::ostream *out)
{
    *out << conversion.name;
}

class KnownColor : public testing::TestWithParam<Conversion>
{};

// Worked out by hand from the published matrices: Adobe RGB (1998), section 4.3.5.3, with its curve
// of exponent 563/256; Display P3 to XYZ as in CSS Color 4, section 17, with the sRGB curve; XYZ to
// sRGB of IEC 61966-2-1. What falls outside sRGB is cut channel by channel. Pure green of Adobe
// RGB, for instance, is (−0.398, 1.000, −0.043) of sRGB's linear primaries, pure red of Display P3
// is (1.225, −0.042, −0.020).
INSTANTIATE_TEST_SUITE_P(
    All, KnownColor,
    testing::Values(
        Conversion{"AdobeRed", Space::AdobeRgb, rgb(255, 0, 0), rgb(255, 0, 0)},
        Conversion{"AdobeGreen", Space::AdobeRgb, rgb(0, 255, 0), rgb(0, 255, 0)},
        Conversion{"AdobeGrey", Space::AdobeRgb, rgb(128, 128, 128), rgb(129, 129, 129)},
        Conversion{"AdobeWhite", Space::AdobeRgb, rgb(255, 255, 255), rgb(255, 255, 255)},
        Conversion{"AdobeSkin", Space::AdobeRgb, rgb(200, 150, 100), rgb(217, 151, 97)},
        Conversion{"AdobeSky", Space::AdobeRgb, rgb(100, 150, 200), rgb(66, 151, 203)},
        Conversion{"AdobeLeaf", Space::AdobeRgb, rgb(150, 200, 100), rgb(124, 201, 92)},
        Conversion{"AdobeMoss", Space::AdobeRgb, rgb(120, 140, 60), rgb(111, 141, 50)},
        Conversion{"P3Red", Space::DisplayP3, rgb(255, 0, 0), rgb(255, 0, 0)},
        Conversion{"P3Green", Space::DisplayP3, rgb(0, 255, 0), rgb(0, 255, 0)},
        Conversion{"P3Grey", Space::DisplayP3, rgb(128, 128, 128), rgb(128, 128, 128)},
        Conversion{"P3White", Space::DisplayP3, rgb(255, 255, 255), rgb(255, 255, 255)},
        Conversion{"P3Skin", Space::DisplayP3, rgb(200, 150, 100), rgb(209, 147, 91)},
        Conversion{"P3Sky", Space::DisplayP3, rgb(100, 150, 200), rgb(84, 152, 205)},
        Conversion{"P3Leaf", Space::DisplayP3, rgb(150, 200, 100), rgb(135, 202, 84)},
        Conversion{"P3Brown", Space::DisplayP3, rgb(64, 32, 16), rgb(69, 30, 12)}),
    [](const auto &one) { return std::string(one.param.name); });

TEST_P(KnownColor, ComesOutWithinTwoLevels)
{
    const QByteArray &profile =
        GetParam().space == Space::AdobeRgb ? adobeRgbProfile() : displayP3Profile();
    EXPECT_TRUE(isNear(converted(GetParam().color, profile), GetParam().srgb, 2));
}

// The same spaces as another library knows them.
TEST(Profiles, AreThoseOfTheirNames)
{
    EXPECT_EQ(QColorSpace::fromIccProfile(adobeRgbProfile()).primaries(),
              QColorSpace::Primaries::AdobeRgb);
    EXPECT_EQ(QColorSpace::fromIccProfile(displayP3Profile()).primaries(),
              QColorSpace::Primaries::DciP3D65);
}

TEST(ToSrgb, SrgbPictureIsTheSame)
{
    for (const QByteArray &profile : {srgbProfile(), QColorSpace(QColorSpace::SRgb).iccProfile()}) {
        const Image image = noiseImage({20, 100}).withProfile(profile);
        const Image result = toSrgb(image);
        EXPECT_TRUE(result.isSameAs(image));
        EXPECT_TRUE(result.iccProfile().isEmpty());
    }
}

TEST(ToSrgb, PictureWithoutProfileIsTheSame)
{
    const Image image = noiseImage({20, 100});
    EXPECT_TRUE(toSrgb(image).isSameAs(image));
    EXPECT_TRUE(toSrgb({}).isNull());
}

TEST(ToSrgb, UnusableProfileCountsAsNone)
{
    QByteArray cut = adobeRgbProfile();
    cut.truncate(cut.size() / 2);
    for (const QByteArray &profile : {QByteArray("garbage"), QByteArray(5000, '\xff'), cut}) {
        const Image image = noiseImage({20, 100}).withProfile(profile);
        const Image result = toSrgb(image);
        EXPECT_TRUE(result.isSameAs(image));
        EXPECT_TRUE(result.iccProfile().isEmpty());
    }
}

TEST(ToSrgb, DamagedProfilesDoNoHarm)
{
    const Image image = noiseImage({5, 5});
    for (unsigned seed = 0; seed < 200; ++seed)
        EXPECT_EQ(toSrgb(image.withProfile(damaged(adobeRgbProfile(), seed))).size(), image.size());
}

TEST(ToSrgb, CmykProfileOfAnRgbPictureIsIgnored)
{
    const Image image = noiseImage({20, 100}).withProfile(redInkProfile());
    EXPECT_TRUE(toSrgb(image).isSameAs(image));
}

TEST(ToSrgb, ResultHasNoProfileAndTheSourceKeepsItsPixels)
{
    const Image image = flatImage({4, 4}, rgb(100, 150, 200), displayP3Profile());
    const Image result = toSrgb(image);
    EXPECT_TRUE(result.iccProfile().isEmpty());
    EXPECT_FALSE(result.isSameAs(image));
    EXPECT_EQ(image.row(3)[3], rgb(100, 150, 200));
}

TEST(ToSrgb, WhatNobodyElseHoldsIsConvertedWhereItLies)
{
    const Image shared = noiseImage({20, 100}).withProfile(adobeRgbProfile());
    Image own = noiseImage({20, 100}).withProfile(adobeRgbProfile());
    const Pixel *const pixels = own.row(0);
    const Image result = toSrgb(std::move(own));
    EXPECT_EQ(result.row(0), pixels);
    EXPECT_TRUE(result.iccProfile().isEmpty());
    EXPECT_TRUE(looksLike(result, toSrgb(shared)));
}

TEST(ToSrgb, WorksOnACrop)
{
    const Image image = makeImage(
        {10, 10}, [](int x, int y) { return x == 7 && y == 6 ? rgb(200, 150, 100) : 0xff000000; },
        Alpha::Opaque, displayP3Profile());
    const Image result = toSrgb(image.cropped({6, 5, 3, 3}));
    ASSERT_EQ(result.size(), QSize(3, 3));
    EXPECT_TRUE(isNear(result.row(1)[1], rgb(209, 147, 91), 2));
    EXPECT_TRUE(isNear(result.row(0)[1], 0xff000000, 2));
}

// Level 128 of 255 is 0.502 of the light, which sRGB's curve writes as 187.8; 64 becomes 137.2.
TEST(ToSrgb, GreyProfileIsAppliedToEachChannel)
{
    EXPECT_TRUE(isNear(converted(rgb(128, 128, 128), linearGreyProfile()), rgb(188, 188, 188), 1));
    EXPECT_TRUE(isNear(converted(rgb(64, 64, 64), linearGreyProfile()), rgb(137, 137, 137), 1));
    EXPECT_EQ(converted(rgb(0, 0, 0), linearGreyProfile()), rgb(0, 0, 0));
    EXPECT_EQ(converted(rgb(255, 255, 255), linearGreyProfile()), rgb(255, 255, 255));
}

TEST(ToSrgb, GreyProfileLeavesColorsColored)
{
    EXPECT_TRUE(isNear(converted(rgb(128, 64, 255), linearGreyProfile()), rgb(188, 137, 255), 1));
}

// A profile speaks of the colours before they are multiplied: 200 at 128 of 255 is the 100 that is
// stored, becomes 229 and is 115 at that alpha.
TEST(ToSrgb, GreyProfileIsAppliedUnderAlpha)
{
    const Image image = makeImage(
        {8, 8}, [](int, int) { return 0x80646464; }, Alpha::Premultiplied, linearGreyProfile());
    EXPECT_TRUE(isNear(toSrgb(image).row(4)[4], 0x80737373, 2));
}

TEST(RgbProfile, IsTheSameEachTime)
{
    EXPECT_EQ(rgbProfile(SRGB_PRIMARIES, 1.8), rgbProfile(SRGB_PRIMARIES, 1.8));
    EXPECT_EQ(rgbProfile(SRGB_PRIMARIES, {}), tavolin::srgbProfile());
    // The year of its making.
    EXPECT_EQ(rgbProfile(SRGB_PRIMARIES, 1.8).mid(24, 2), QByteArray("\x07\xd0", 2));
}

TEST(RgbProfile, IsThatOfPrimariesAndGamma)
{
    // 128 of 255 to the power of 1.8 is 0.289, which sRGB's curve writes as 146.6.
    EXPECT_TRUE(isNear(converted(rgb(128, 128, 128), rgbProfile(SRGB_PRIMARIES, 1.8)),
                       rgb(147, 147, 147), 1));
    Primaries swapped = SRGB_PRIMARIES;
    std::swap(swapped.red, swapped.blue);
    EXPECT_TRUE(rgbProfile(swapped, 1.8).isEmpty());
}

TEST(RgbProfile, IsEmptyForWhatCanBeNoColors)
{
    for (const double gamma : {0.0, -1.0, 0.09, 10.1, std::nan("")})
        EXPECT_TRUE(rgbProfile(SRGB_PRIMARIES, gamma).isEmpty()) << gamma;
    const auto isEmptyWith = [](Chromaticity Primaries::*part, Chromaticity value) {
        Primaries primaries = SRGB_PRIMARIES;
        primaries.*part = value;
        return rgbProfile(primaries, 2.2).isEmpty();
    };
    EXPECT_FALSE(isEmptyWith(&Primaries::white, {0.4476, 0.4074})); // of a lamp
    EXPECT_TRUE(isEmptyWith(&Primaries::white, {0.9, 0.1}));
    EXPECT_TRUE(isEmptyWith(&Primaries::white, {0.2, 0.25})); // outside of the triangle
    EXPECT_TRUE(isEmptyWith(&Primaries::red, {0.31, 0.33}));
    EXPECT_TRUE(isEmptyWith(&Primaries::green, {0.3, 0.0}));
    EXPECT_TRUE(isEmptyWith(&Primaries::blue, {20'000.0, 20'000.0}));
}

TEST(ToSrgb, AlphaStaysAndColorsStayBelowIt)
{
    const Image image = noiseWithAlpha({40, 100}).withProfile(displayP3Profile());
    const Image result = toSrgb(image);
    ASSERT_EQ(result.size(), image.size());
    EXPECT_EQ(result.alpha(), Alpha::Premultiplied);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const Pixel pixel = result.row(y)[x];
            ASSERT_EQ(pixel >> 24, image.row(y)[x] >> 24);
            for (int shift = 0; shift < 24; shift += 8)
                ASSERT_LE(channel(pixel, shift), channel(pixel, 24)) << std::hex << pixel;
        }
    }
}

// (200, 150, 100) at an alpha of 128 is stored as (100, 75, 50); half of (209, 147, 91) comes out.
TEST(ToSrgb, ColorsAreConvertedWithoutTheirAlpha)
{
    const Image image = makeImage(
        {2, 2}, [](int, int) { return 0x80644b32; }, Alpha::Premultiplied, displayP3Profile());
    EXPECT_TRUE(isNear(toSrgb(image).row(1)[1], 0x8069492e, 2));
}

TEST(ToSrgb, OpaquePicturesStayOpaque)
{
    const Image result = toSrgb(noiseImage({40, 40}).withProfile(adobeRgbProfile()));
    for (int y = 0; y < result.height(); ++y)
        for (int x = 0; x < result.width(); ++x)
            ASSERT_EQ(result.row(y)[x] >> 24, 0xffU);
}

TEST(ToSrgb, IsNullOnceStopped)
{
    std::stop_source source;
    source.request_stop();
    const Image image = noiseImage({20, 100}).withProfile(displayP3Profile());
    EXPECT_TRUE(toSrgb(image, source.get_token()).isNull());
}

TEST(ColorConversion, HasNothingToDoForSrgbAndForWhatCannotBeUsed)
{
    for (const QByteArray &profile :
         {QByteArray(), srgbProfile(), QByteArray("garbage"), redInkProfile()})
        EXPECT_TRUE(ColorConversion(profile).changesNothing()) << profile.size();
    EXPECT_FALSE(ColorConversion(adobeRgbProfile()).changesNothing());
    EXPECT_FALSE(ColorConversion(linearGreyProfile()).changesNothing());
}

TEST(ColorConversion, ConvertsARowToAnotherPlaceAndInPlace)
{
    const ColorConversion conversion(displayP3Profile());
    const std::array<Pixel, 3> from{rgb(200, 150, 100), rgb(255, 0, 0), rgb(128, 128, 128)};
    std::array<Pixel, 3> to{};
    conversion.convertRow(from.data(), to.data(), 3, Alpha::Opaque);
    EXPECT_TRUE(isNear(to[0], rgb(209, 147, 91), 2));
    EXPECT_TRUE(isNear(to[1], rgb(255, 0, 0), 2));
    EXPECT_TRUE(isNear(to[2], rgb(128, 128, 128), 2));
    std::array<Pixel, 3> inPlace = from;
    conversion.convertRow(inPlace.data(), inPlace.data(), 3, Alpha::Opaque);
    EXPECT_EQ(inPlace, to);
}

TEST(ColorConversion, TouchesNoPixelBehindThoseItWasGiven)
{
    for (const QByteArray &profile : {displayP3Profile(), linearGreyProfile()}) {
        std::array<Pixel, 3> row{rgb(200, 150, 100), rgb(200, 150, 100), rgb(200, 150, 100)};
        ColorConversion(profile).convertRow(row.data(), row.data(), 2, Alpha::Opaque);
        EXPECT_NE(row[1], rgb(200, 150, 100));
        EXPECT_EQ(row[2], rgb(200, 150, 100));
    }
}

// (200, 150, 100) at an alpha of 128 is stored as (100, 75, 50); half of (209, 147, 91) comes out.
TEST(ColorConversion, ConvertsPremultipliedColorsInPlace)
{
    std::array<Pixel, 1> row{0x80644b32};
    ColorConversion(displayP3Profile()).convertRow(row.data(), row.data(), 1, Alpha::Premultiplied);
    EXPECT_TRUE(isNear(row[0], 0x8069492e, 2));
}

TEST(ColorConversion, OfOneProfileIsNotThatOfTheProfileBefore)
{
    const auto converted = [](const QByteArray &profile) {
        Pixel pixel = rgb(100, 150, 200);
        ColorConversion(profile).convertRow(&pixel, &pixel, 1, Alpha::Opaque);
        return pixel;
    };
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(isNear(converted(adobeRgbProfile()), rgb(66, 151, 203), 2));
        EXPECT_TRUE(isNear(converted(displayP3Profile()), rgb(84, 152, 205), 2));
    }
}

/// What a monitor with the profile @p monitor is sent for @p color.
Pixel sentTo(const QByteArray &monitor, Pixel color, const QByteArray &profile = {})
{
    const Image image = tavolin::converted(flatImage({3, 100}, color, profile), monitor);
    EXPECT_EQ(image.iccProfile(), monitor);
    EXPECT_TRUE(looksLike(image, flatImage({3, 100}, image.row(0)[0])));
    return image.row(0)[0];
}

TEST(Monitor, WithExchangedChannelsIsSentThemExchanged)
{
    const QByteArray monitor = exchangedProfile();
    EXPECT_TRUE(isNear(sentTo(monitor, rgb(200, 100, 20)), rgb(100, 20, 200), 1));
    EXPECT_TRUE(isNear(sentTo(monitor, rgb(255, 0, 0)), rgb(0, 0, 255), 1));
    EXPECT_TRUE(isNear(sentTo(monitor, rgb(77, 77, 77)), rgb(77, 77, 77), 1));
}

TEST(Monitor, MayBeDescribedByATable)
{
    const QByteArray monitor = exchangedTableProfile();
    EXPECT_TRUE(isNear(sentTo(monitor, rgb(200, 100, 20)), rgb(100, 20, 200), 8));
    EXPECT_TRUE(isNear(sentTo(monitor, rgb(255, 255, 255)), rgb(255, 255, 255), 2));
    EXPECT_TRUE(isNear(sentTo(monitor, rgb(0, 0, 0)), rgb(0, 0, 0), 2));
}

// In sRGB, pure red of Display P3 would have become (255, 0, 0), which P3 writes as (234, 51, 35).
TEST(Monitor, WithMoreColorsThanSrgbShowsThem)
{
    EXPECT_TRUE(isNear(sentTo(exchangedP3Profile(), rgb(255, 0, 0), displayP3Profile()),
                       rgb(0, 0, 255), 1));
    EXPECT_TRUE(isNear(sentTo(exchangedP3Profile(), rgb(255, 0, 0)), rgb(51, 35, 234), 2));
    EXPECT_TRUE(isNear(sentTo(displayP3Profile(), rgb(255, 0, 0)), rgb(234, 51, 35), 2));
}

TEST(Monitor, IsSentWhatIsInItsColorsAsItIs)
{
    for (const QByteArray &profile : {exchangedProfile(), displayP3Profile()}) {
        const Image image = noiseImage({20, 100}).withProfile(profile);
        const Image result = tavolin::converted(image, profile);
        EXPECT_TRUE(result.isSameAs(image));
        EXPECT_EQ(result.iccProfile(), profile);
    }
}

TEST(Monitor, WithAProfileForSrgbIsSentTheSamePixels)
{
    const Image image = noiseImage({20, 100});
    const Image result = tavolin::converted(image, srgbProfile());
    EXPECT_TRUE(result.isSameAs(image));
    EXPECT_EQ(result.iccProfile(), srgbProfile());
}

/// A monitor that shows nothing but black.
QByteArray blackProfile()
{
    QByteArray icc = exchangedProfile();
    cmsHPROFILE profile =
        cmsOpenProfileFromMem(icc.constData(), static_cast<cmsUInt32Number>(icc.size()));
    const cmsUInt16Number nothing[]{0, 0};
    cmsToneCurve *curve = cmsBuildTabulatedToneCurve16(nullptr, 2, nothing);
    for (const cmsTagSignature tag : {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag})
        cmsWriteTag(profile, tag, curve);
    cmsFreeToneCurve(curve);
    return saved(profile);
}

TEST(Monitor, WhoseProfileIsOfNoUseIsSentSrgb)
{
    QByteArray scanner = exchangedProfile();
    scanner.replace(12, 4, "scnr"); // ICC.1:2022, 7.2.5
    QByteArray cut = exchangedProfile();
    cut.truncate(cut.size() / 2);
    for (const QByteArray &profile : {QByteArray("garbage"), QByteArray(5000, '\xff'), cut, scanner,
                                      redInkProfile(), linearGreyProfile(), blackProfile()}) {
        const Image image = noiseImage({20, 100});
        EXPECT_TRUE(tavolin::converted(image, profile).isSameAs(image)) << profile.size();
        EXPECT_TRUE(looksLike(tavolin::converted(image.withProfile(adobeRgbProfile()), profile),
                              toSrgb(image.withProfile(adobeRgbProfile()))))
            << profile.size();
    }
}

TEST(Monitor, IsHarmedByNoDamagedProfile)
{
    const Image image = noiseImage({5, 5});
    for (unsigned seed = 0; seed < 200; ++seed)
        EXPECT_EQ(tavolin::converted(image, damaged(exchangedProfile(), seed)).size(),
                  image.size());
}

TEST(Monitor, PictureWithAProfileOfNoUseCountsAsSrgb)
{
    for (const QByteArray &profile : {QByteArray("garbage"), redInkProfile()})
        EXPECT_TRUE(
            isNear(sentTo(exchangedProfile(), rgb(200, 100, 20), profile), rgb(100, 20, 200), 1));
}

// Linear light of 128 and 64 is 188 and 137 of sRGB.
TEST(Monitor, GreyProfileIsAppliedToEachChannel)
{
    EXPECT_TRUE(isNear(sentTo(exchangedProfile(), rgb(128, 128, 128), linearGreyProfile()),
                       rgb(188, 188, 188), 1));
    EXPECT_TRUE(isNear(sentTo(displayP3Profile(), rgb(64, 64, 64), linearGreyProfile()),
                       rgb(137, 137, 137), 1));
}

// Half of (100, 20, 200).
TEST(Monitor, ColorsAreConvertedWithoutTheirAlpha)
{
    const Image image = makeImage(
        {2, 2}, [](int, int) { return 0x8064320a; }, Alpha::Premultiplied);
    EXPECT_TRUE(isNear(tavolin::converted(image, exchangedProfile()).row(1)[1], 0x80320a64, 2));
}

TEST(Monitor, HasTheNameThatItsProfileTells)
{
    EXPECT_EQ(monitorName(exchangedProfile()), u"RGB built-in"_s); // LittleCMS's own
    EXPECT_EQ(monitorName(QColorSpace(QColorSpace::DisplayP3).iccProfile()), u"Display P3"_s);
    EXPECT_FALSE(monitorName({}));
    EXPECT_FALSE(monitorName("garbage"));
    EXPECT_FALSE(monitorName(redInkProfile()));
}

TEST(Monitor, IsNotAnotherMonitor)
{
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(isNear(sentTo(exchangedProfile(), RED), rgb(0, 0, 255), 1));
        EXPECT_TRUE(isNear(sentTo(displayP3Profile(), RED), rgb(234, 51, 35), 2));
        EXPECT_EQ(sentTo({}, RED), RED);
    }
}

/// What convertCmykToSrgb() makes of inks, each 0 (none) to 255.
Pixel printed(std::array<int, 4> inks, const QByteArray &profile = {}, bool isInverted = false)
{
    std::array<std::uint8_t, 4> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(isInverted ? 255 - inks[i] : inks[i]);
    PixelBuffer buffer({3, 100});
    for (int y = 0; y < 100; ++y)
        std::fill_n(buffer.row(y), 3, std::bit_cast<Pixel>(bytes));
    convertCmykToSrgb(buffer, profile, isInverted);
    const Image image = std::move(buffer).toImage(Alpha::Opaque);
    EXPECT_TRUE(looksLike(image, flatImage({3, 100}, image.row(0)[0])));
    return image.row(0)[0];
}

struct Inks
{
    std::array<int, 4> inks;
    Pixel color;
};

// The last two by hand: 127 · 191 / 255 = 95.1; 205 · 155 / 255 = 124.6, 105 · 155 / 255 = 63.8.
const std::vector<Inks> KNOWN_INKS = {
    {{0, 0, 0, 0}, rgb(255, 255, 255)},   {{255, 0, 0, 0}, rgb(0, 255, 255)},
    {{0, 255, 0, 0}, rgb(255, 0, 255)},   {{0, 0, 255, 0}, rgb(255, 255, 0)},
    {{0, 0, 0, 255}, rgb(0, 0, 0)},       {{0, 255, 255, 0}, rgb(255, 0, 0)},
    {{128, 0, 0, 64}, rgb(95, 191, 191)}, {{50, 150, 255, 100}, rgb(125, 64, 0)},
};

TEST(CmykToSrgb, WithoutProfileInksAreIdeal)
{
    for (const Inks &known : KNOWN_INKS)
        EXPECT_TRUE(isNear(printed(known.inks), known.color, 1));
}

TEST(CmykToSrgb, InvertedInksGiveTheSameColors)
{
    for (const Inks &known : KNOWN_INKS)
        EXPECT_TRUE(isNear(printed(known.inks, {}, true), known.color, 1));
}

TEST(CmykToSrgb, UnusableProfileCountsAsNone)
{
    for (const QByteArray &profile : {QByteArray("garbage"), adobeRgbProfile()})
        for (const Inks &known : KNOWN_INKS)
            EXPECT_TRUE(isNear(printed(known.inks, profile), known.color, 1));
}

TEST(CmykToSrgb, ProfileSaysWhatInksLookLike)
{
    const QByteArray profile = redInkProfile();
    for (const bool isInverted : {false, true}) {
        EXPECT_TRUE(isNear(printed({255, 0, 0, 0}, profile, isInverted), RED, 4)) << isInverted;
        EXPECT_TRUE(isNear(printed({0, 0, 0, 0}, profile, isInverted), 0xffffffff, 2));
        EXPECT_TRUE(isNear(printed({0, 255, 0, 0}, profile, isInverted), 0xff000000, 2));
    }
}

} // namespace

} // namespace tavolin
