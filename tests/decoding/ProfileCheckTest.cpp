#include "decoding/color/ProfileCheck.h"

#include "decoding/color/Color.h"
#include "decoding/FileBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

namespace tavolin {

namespace {

using test::FileBytes;

/// A profile of nothing but @p tag, @p count times.
QByteArray profileOf(const QByteArray &tag, int count = 1)
{
    QByteArray bytes(128, '\0');
    bytes += FileBytes().u32(static_cast<std::uint64_t>(count)).bytes();
    for (int i = 0; i < count; ++i)
        bytes += FileBytes()
                     .text("A2B0")
                     .u32(132 + 12 * static_cast<std::uint64_t>(count))
                     .u32(static_cast<std::uint64_t>(tag.size()))
                     .bytes();
    return bytes + tag;
}

QByteArray curve(quint32 entries)
{
    return FileBytes().text("curv").u32(0).u32(entries).zeros(qsizetype{entries} * 2).bytes();
}

QByteArray lut16(int in, int out, int grid, int curveEntries, qsizetype dataBytes)
{
    FileBytes tag;
    tag.text("mft2").u32(0).u8(static_cast<unsigned>(in)).u8(static_cast<unsigned>(out));
    tag.u8(static_cast<unsigned>(grid)).u8(0).zeros(36).u16(static_cast<unsigned>(curveEntries));
    return tag.u16(static_cast<unsigned>(curveEntries)).zeros(dataBytes).bytes();
}

QByteArray lut8(int in, int out, int grid, qsizetype dataBytes)
{
    FileBytes tag;
    tag.text("mft1").u32(0).u8(static_cast<unsigned>(in)).u8(static_cast<unsigned>(out));
    return tag.u8(static_cast<unsigned>(grid)).zeros(37 + dataBytes).bytes();
}

/// lutAToBType of three channels with a table of @p grid for each, and B curves.
QByteArray lutAToB(int grid, qsizetype tableBytes)
{
    FileBytes tag;
    tag.text("mAB ").u32(0).u8(3).u8(3).u16(0);
    tag.u32(32).u32(0).u32(0).u32(80).u32(0); // offsets of B curves, matrix, M curves, table, A
    for (int i = 0; i < 3; ++i)
        tag.append(curve(2));
    for (int i = 0; i < 16; ++i)
        tag.u8(i < 3 ? static_cast<unsigned>(grid) : 0U);
    return tag.u8(2).zeros(3 + tableBytes).bytes();
}

/// multiProcessElementsType of @p count stages, all of them @p element.
QByteArray elements(int count, const QByteArray &element)
{
    FileBytes tag;
    tag.text("mpet").u32(0).u16(3).u16(3).u32(static_cast<std::uint64_t>(count));
    for (int i = 0; i < count; ++i)
        tag.u32(16 + 8 * static_cast<std::uint64_t>(count))
            .u32(static_cast<std::uint64_t>(element.size()));
    return tag.append(element).bytes();
}

QByteArray matrix()
{
    return FileBytes().text("matf").u32(0).u16(3).u16(3).zeros(48).bytes();
}

/// A table stage of three channels with @p grid steps for each.
QByteArray table(int grid)
{
    FileBytes element;
    element.text("clut").u32(0).u16(3).u16(3);
    for (int i = 0; i < 16; ++i)
        element.u8(i < 3 ? static_cast<unsigned>(grid) : 0U);
    return element.zeros(qsizetype{grid} * grid * grid * 12).bytes();
}

/// A stage of one curve of @p segments formulas.
QByteArray segmentedCurve(int segments)
{
    FileBytes curves;
    curves.text("curf").u32(0).u16(static_cast<unsigned>(segments)).u16(0);
    curves.zeros((qsizetype{segments} - 1) * 4);
    for (int i = 0; i < segments; ++i)
        curves.text("parf").u32(0).u16(0).u16(0).zeros(16);
    return FileBytes()
        .text("cvst")
        .u32(0)
        .u16(1)
        .u16(1)
        .u32(20)
        .u32(static_cast<std::uint64_t>(curves.bytes().size()))
        .append(curves.bytes())
        .bytes();
}

struct ProfileCase
{
    std::string name;
    QByteArray profile;
    bool isSound;
};

void PrintTo(const ProfileCase &tested, std::ostream *out)
{
    *out << tested.name;
}

class IsSoundProfile : public testing::TestWithParam<ProfileCase>
{};

TEST_P(IsSoundProfile, OrNot)
{
    EXPECT_EQ(isSoundProfile(GetParam().profile), GetParam().isSound);
    EXPECT_EQ(soundProfile(GetParam().profile).isEmpty(), !GetParam().isSound);
}

constexpr qsizetype CUBE_33 = 33 * 33 * 33 * 3;

const std::vector<ProfileCase> CASES{
    {"AdobeRgb", adobeRgbProfile(), true},
    {"Srgb", srgbProfile(), true},
    {"DisplayP3", displayP3Profile(), true},
    {"Nothing", {}, false},
    {"HeaderAlone", QByteArray(128, '\0'), false},
    {"SixteenMegabytes", QByteArray(16 << 20, '\0'), true},
    {"MoreThanSixteenMegabytes", QByteArray((16 << 20) + 1, '\0'), false},
    {"HundredTags", profileOf(curve(4), 100), true},
    {"HundredAndOneTags", profileOf(curve(4), 101), false},
    {"UnknownTag", profileOf("????????"), true},
    {"CurveOf4096", profileOf(curve(4096)), true},
    {"CurveOfTooMany", profileOf(curve(65'537)), false},
    {"CurveBeyondItsTag", profileOf(curve(100).first(100)), false},
    {"Lut16", profileOf(lut16(3, 3, 33, 256, (CUBE_33 + 6 * 256) * 2)), true},
    {"Lut16BeyondItsTag", profileOf(lut16(3, 3, 33, 256, (CUBE_33 + 6 * 256) * 2 - 1)), false},
    {"Lut16OfManyDimensions", profileOf(lut16(15, 3, 255, 2, 4096)), false},
    {"Lut16OfSixteenChannels", profileOf(lut16(16, 3, 1, 2, 4096)), false},
    {"Lut8", profileOf(lut8(3, 3, 33, CUBE_33 + 6 * 256)), true},
    {"Lut8BeyondItsTag", profileOf(lut8(3, 3, 33, CUBE_33)), false},
    {"LutAToB", profileOf(lutAToB(33, CUBE_33 * 2)), true},
    {"LutAToBBeyondItsTag", profileOf(lutAToB(33, CUBE_33)), false},
    {"LutSharedByManyTags", profileOf(lutAToB(33, CUBE_33 * 2), 100), true},
    {"LargeLutSharedByManyTags", profileOf(lut8(3, 3, 100, 3'000'000 + 6 * 256), 20), false},
    {"FiveStages", profileOf(elements(5, matrix())), true},
    {"SeventeenStages", profileOf(elements(17, matrix())), false},
    {"StageOfATable", profileOf(elements(1, table(33))), true},
    {"OneTableManyTimes", profileOf(elements(16, table(64))), false},
    {"CurveOfThreeSegments", profileOf(elements(1, segmentedCurve(3))), true},
    {"CurveOfManySegments", profileOf(elements(1, segmentedCurve(33))), false},
};

INSTANTIATE_TEST_SUITE_P(All, IsSoundProfile, testing::ValuesIn(CASES),
                         [](const auto &tested) { return tested.param.name; });

// LittleCMS is never given one that is not sound.
TEST(UnsoundProfile, CountsAsNone)
{
    QByteArray profile = displayP3Profile();
    profile[131] = 101; // tags
    PixelBuffer pixels(QSize(2, 2));
    for (int y = 0; y < 2; ++y)
        std::fill_n(pixels.row(y), 2, 0xff00ff00);
    const Image image = toSrgb(std::move(pixels).toImage(Alpha::Opaque, profile));
    EXPECT_EQ(image.row(0)[0], 0xff00ff00);
}

} // namespace

} // namespace tavolin
