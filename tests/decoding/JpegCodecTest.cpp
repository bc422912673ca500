#include "decoding/codecs/JpegCodec.h"

#include "decoding/color/Color.h"
#include "FileBytes.h"
#include "JpegReference.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "pixels/Resample.h"
#include "TestPictures.h"

#include <QtEndian>

#include <ctime>
#include <string>
#include <tuple>
#include <vector>

namespace tavolin {

namespace {

using namespace test;
using pictures::encodeJpeg;
using pictures::fourQuarters;
using pictures::JpegColor;
using pictures::JpegOptions;
using pictures::Subsampling;

constexpr int NO_LIMIT = 100'000;
/// What baseline JPEG at quality 90 may change in flat areas.
constexpr int JPEG_TOLERANCE = 4;

Image decoded(const QByteArray &jpeg, int maxPixel = NO_LIMIT, ColorHint hint = ColorHint::None)
{
    return decodeJpeg(fileOf(jpeg), maxPixel, hint).image;
}

QByteArray randomBytes(qsizetype count)
{
    std::mt19937 random(7);
    QByteArray bytes;
    while (bytes.size() < count)
        bytes.append(static_cast<char>(random()));
    return bytes;
}

/// Where the scan headers of @p jpeg begin.
std::vector<qsizetype> scans(const QByteArray &jpeg)
{
    std::vector<qsizetype> found;
    for (qsizetype at = jpeg.indexOf("\xff\xda"); at >= 0; at = jpeg.indexOf("\xff\xda", at + 2))
        found.push_back(at);
    return found;
}

/// @p jpeg with its frame header claiming another size.
QByteArray claiming(QByteArray jpeg, int width, int height)
{
    const qsizetype frame = jpeg.indexOf(QByteArray("\xff\xc0\x00", 3));
    EXPECT_GT(frame, 0);
    qToBigEndian(static_cast<quint16>(height), jpeg.data() + frame + 5);
    qToBigEndian(static_cast<quint16>(width), jpeg.data() + frame + 7);
    return jpeg;
}

constexpr Pixel LIGHT_GREY = 0xff9e9e9e;

/// A file of nothing but LIGHT_GREY that claims @p size and has the first @p blocks blocks, of two
/// bits each: they may be a million to the kilobyte.
QByteArray lightGrey(QSize size, std::int64_t blocks)
{
    // The first difference is 15 steps of 16; all others are zero (ITU-T T.81, F.1.2).
    FileBytes file;
    file.u16(0xffd8).u16(0xffdb).u16(67).u8(0).append(QByteArray(64, 16));
    file.u16(0xffc4).u16(21).u8(0x00).u8(1).u8(1).zeros(14).u8(0).u8(4);
    file.u16(0xffc4).u16(20).u8(0x10).u8(1).zeros(15).u8(0);
    file.u16(0xffc0).u16(11).u8(8).u16(static_cast<std::uint64_t>(size.height()));
    file.u16(static_cast<std::uint64_t>(size.width())).u8(1).u8(1).u8(0x11).u8(0);
    file.u16(0xffda).u16(8).u8(1).u8(1).u8(0).u8(0).u8(63).u8(0);
    return file.u8(0b10'1111'0'0).zeros((blocks * 2 + 5) / 8).u16(0xffd9).bytes();
}

using Kind = std::tuple<Subsampling, JpegColor, bool>;

constexpr std::array<Pixel, 4> GREYS{0xff000000, 0xff606060, 0xffb0b0b0, 0xffffffff};

/// fourQuarters() in shades of grey.
QImage greyQuarters(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(
                x, y, GREYS[(y < size.height() / 2 ? 0U : 2U) + (x < size.width() / 2 ? 0U : 1U)]);
    return image;
}

class JpegKind : public testing::TestWithParam<Kind>
{};

std::string kindName(const testing::TestParamInfo<Kind> &info)
{
    const auto [subsampling, color, progressive] = info.param;
    const std::string sampled = subsampling == Subsampling::Full444   ? "444"
                                : subsampling == Subsampling::Half422 ? "422"
                                                                      : "420";
    const std::string colored = color == JpegColor::YCbCr  ? "Color"
                                : color == JpegColor::Grey ? "Grey"
                                                           : "Cmyk";
    return colored + sampled + (progressive ? "Progressive" : "Baseline");
}

INSTANTIATE_TEST_SUITE_P(
    All, JpegKind,
    testing::Combine(testing::Values(Subsampling::Full444, Subsampling::Half422,
                                     Subsampling::Quarter420),
                     testing::Values(JpegColor::YCbCr, JpegColor::Grey, JpegColor::Cmyk),
                     testing::Bool()),
    kindName);

TEST_P(JpegKind, ShowsItsQuarters)
{
    const auto [subsampling, color, progressive] = GetParam();
    JpegOptions options;
    options.subsampling = subsampling;
    options.color = color;
    options.progressive = progressive;
    const bool isGrey = color == JpegColor::Grey;
    const QSize size(97, 61);
    const QByteArray jpeg = encodeJpeg(isGrey ? greyQuarters(size) : fourQuarters(size), options);
    for (const int limit : {NO_LIMIT, 97, 60, 24, 12}) {
        const Image image = decoded(jpeg, limit);
        ASSERT_EQ(image.width(), std::min(97, limit));
        EXPECT_EQ(image.alpha(), Alpha::Opaque);
        EXPECT_TRUE(isGrey ? hasQuarters(image, GREYS, JPEG_TOLERANCE)
                           : showsFourQuarters(image, JPEG_TOLERANCE));
    }
}

struct Fit
{
    QSize source;
    int limit;
    QSize expected;
};

TEST(JpegCodec, SizeIsExactlyTheLimits)
{
    // By hand: 427 / 640 = 0.6672.
    const std::vector<Fit> fits = {
        {{640, 427}, 640, {640, 427}}, {{640, 427}, 639, {639, 426}}, {{640, 427}, 500, {500, 334}},
        {{640, 427}, 321, {321, 214}}, {{640, 427}, 320, {320, 214}}, {{640, 427}, 319, {319, 213}},
        {{640, 427}, 160, {160, 107}}, {{640, 427}, 100, {100, 67}},  {{640, 427}, 80, {80, 53}},
        {{640, 427}, 33, {33, 22}},    {{640, 427}, 2, {2, 1}},       {{640, 427}, 1, {1, 1}},
        {{427, 640}, 100, {67, 100}},  {{300, 1}, 100, {100, 1}},     {{1, 300}, 7, {1, 7}},
    };
    for (const Fit &fit : fits) {
        const Image image = decoded(encodeJpeg(fourQuarters(fit.source)), fit.limit);
        EXPECT_EQ(image.size(), fit.expected)
            << fit.limit << ": " << image.width() << "x" << image.height();
    }
}

TEST(JpegCodec, NeverEnlarges)
{
    EXPECT_EQ(decoded(encodeJpeg(fourQuarters({40, 30}))).size(), QSize(40, 30));
    EXPECT_EQ(decoded(encodeJpeg(fourQuarters({1, 1}))).size(), QSize(1, 1));
}

TEST(JpegCodec, SmallDecodeIsTheReducedPicture)
{
    const QImage picture = pictures::drawPicture({.size = {512, 384}, .index = 3});
    const QByteArray jpeg = encodeJpeg(picture, {.quality = 95});
    const Image whole = decoded(jpeg);
    for (const int limit : {400, 200, 100})
        // Scaling in the transform and by the filter differ at sharp edges.
        EXPECT_TRUE(
            looksLike(resampled(decoded(jpeg, limit), {16, 12}), resampled(whole, {16, 12}), 8))
            << limit;
}

TEST(JpegCodec, HalfOfAFileShowsItsUpperPartOnGrey)
{
    const QImage picture = pictures::drawPicture({.size = {320, 320}});
    QByteArray jpeg = encodeJpeg(picture);
    jpeg.truncate(jpeg.size() / 2);
    for (const int limit : {NO_LIMIT, 100}) {
        const Image image = decoded(jpeg, limit);
        ASSERT_EQ(image.height(), std::min(320, limit));
        EXPECT_TRUE(isNear(pixelAt(image, 0.05, 0.05), RED, 8));
        EXPECT_TRUE(isNear(pixelAt(image, 0.95, 0.05), GREEN, 8));
        for (const double x : {0.02, 0.5, 0.98})
            EXPECT_TRUE(isNear(pixelAt(image, x, 0.95), GREY, 2));
    }
}

TEST(JpegCodec, FileCutInItsHeadersIsNull)
{
    const QByteArray jpeg = encodeJpeg(fourQuarters({64, 64}));
    const qsizetype scan = scans(jpeg).front();
    for (qsizetype bytes = 0; bytes <= scan; ++bytes)
        ASSERT_TRUE(decoded(jpeg.first(bytes)).isNull()) << bytes << " of " << scan;
    EXPECT_FALSE(decoded(jpeg).isNull());
}

TEST(JpegCodec, WhatIsNoJpegIsNull)
{
    EXPECT_TRUE(decoded("not a picture at all").isNull());
    EXPECT_TRUE(decoded(randomBytes(5000)).isNull());
    EXPECT_TRUE(decoded("\xff\xd8\xff\xd9").isNull());
}

TEST(JpegCodec, RestartMarkersAreRead)
{
    for (const int interval : {1, 3, 7, 40}) {
        JpegOptions options;
        options.restartInterval = interval;
        const QByteArray jpeg = encodeJpeg(fourQuarters({150, 90}), options);
        ASSERT_TRUE(jpeg.contains("\xff\xd0"));
        EXPECT_TRUE(showsFourQuarters(decoded(jpeg), JPEG_TOLERANCE)) << interval;
    }
}

TEST(JpegCodec, TextAfterThePictureIsIgnored)
{
    EXPECT_TRUE(showsFourQuarters(decoded(encodeJpeg(fourQuarters({64, 48})) + randomBytes(9999))));
}

TEST(JpegCodec, AdobeHintStandsForItsProfile)
{
    const QByteArray jpeg = encodeJpeg(fourQuarters({16, 16}));
    EXPECT_EQ(decoded(jpeg, NO_LIMIT, ColorHint::AdobeRgb).iccProfile(), adobeRgbProfile());
    EXPECT_TRUE(decoded(jpeg, NO_LIMIT, ColorHint::None).iccProfile().isEmpty());
}

TEST(JpegCodec, ProfileInTheFileBeatsTheHint)
{
    JpegOptions options;
    options.iccProfile = displayP3Profile();
    const QByteArray jpeg = encodeJpeg(fourQuarters({16, 16}), options);
    EXPECT_EQ(decoded(jpeg, NO_LIMIT, ColorHint::AdobeRgb).iccProfile(), displayP3Profile());
}

TEST(JpegCodec, LongProfileIsPutTogetherFromItsSegments)
{
    JpegOptions options;
    // Anything goes behind a header without tags.
    options.iccProfile = QByteArray(132, '\0') + randomBytes(150 * 1024);
    const Image image = decoded(encodeJpeg(fourQuarters({64, 48}), options), 20);
    EXPECT_EQ(image.iccProfile(), options.iccProfile);
    EXPECT_TRUE(showsFourQuarters(image, JPEG_TOLERANCE));
}

TEST(JpegCodec, CmykIsDeliveredInSrgb)
{
    JpegOptions options;
    options.color = JpegColor::Cmyk;
    options.iccProfile = displayP3Profile(); // of no use to inks
    const Image image = decoded(encodeJpeg(fourQuarters({64, 48}), options));
    EXPECT_TRUE(image.iccProfile().isEmpty());
    EXPECT_TRUE(showsFourQuarters(image, JPEG_TOLERANCE));
}

/// A progressive picture of fine stripes, which only its later scans know of: header and first
/// scan, @p repeats more of that scan, then the others.
QByteArray manyScans(int repeats, bool withLaterScans)
{
    QImage stripes(128, 128, QImage::Format_RGB32);
    for (int x = 0; x < stripes.width(); ++x)
        for (int y = 0; y < stripes.height(); ++y)
            stripes.setPixel(x, y, x % 2 == 0 ? 0xffffffff : 0xff000000);
    JpegOptions options;
    options.color = JpegColor::Grey;
    options.progressive = true;
    const QByteArray jpeg = encodeJpeg(stripes, options);
    const std::vector<qsizetype> starts = scans(jpeg);
    EXPECT_GE(starts.size(), 3U);
    const qsizetype first = starts[0];
    // A scan may be followed by the tables of the next.
    const qsizetype tables = jpeg.indexOf("\xff\xc4", first);
    const qsizetype end = tables > 0 ? std::min(tables, starts[1]) : starts[1];
    return jpeg.first(end) + jpeg.mid(first, end - first).repeated(repeats) +
           (withLaterScans ? jpeg.mid(end) : QByteArray("\xff\xd9"));
}

int contrast(const Image &image)
{
    return std::abs(channel(image.row(64)[64], 0) - channel(image.row(64)[65], 0));
}

TEST(JpegCodec, ScansOfAnOrdinaryPictureAllCount)
{
    EXPECT_GT(contrast(decoded(manyScans(0, true))), 200);
    EXPECT_GT(contrast(decoded(manyScans(50, true))), 200);
    EXPECT_LT(contrast(decoded(manyScans(0, false))), 20);
}

TEST(JpegCodec, ScansAfterTheHundredthAreNotLookedAt)
{
    for (const int repeats : {200, 5000}) {
        const Image image = decoded(manyScans(repeats, true));
        ASSERT_FALSE(image.isNull());
        EXPECT_LT(contrast(image), 20) << repeats;
    }
}

TEST(JpegCodec, SegmentsWithoutEndEnd)
{
    // 80 MB of comments, where 64 MB may stand before a picture.
    const QByteArray comment = QByteArray("\xff\xfe\xff\xff", 4) + QByteArray(0xfffd, 'c');
    const QByteArray jpeg = encodeJpeg(fourQuarters({64, 64}));
    const auto withComments = [&](int count) {
        return jpeg.first(2) + comment.repeated(count) + jpeg.mid(2);
    };
    EXPECT_FALSE(decoded(withComments(100)).isNull());
    EXPECT_TRUE(decoded(withComments(1220)).isNull());
}

TEST(JpegCodec, HeaderThatClaimsTooManyPixelsIsRefused)
{
    const QByteArray jpeg = encodeJpeg(fourQuarters({64, 64}));
    EXPECT_TRUE(decoded(claiming(jpeg, 65500, 65500), 100).isNull());
    EXPECT_TRUE(decoded(claiming(jpeg, 40000, 40000), 100).isNull());
    EXPECT_TRUE(decoded(lightGrey({31'251, 32'000}, 1000), 100).isNull());
}

TEST(JpegCodec, GigapixelIsShownReduced)
{
    constexpr QSize SIZE(31'250, 32'000);
    const QByteArray jpeg = lightGrey(SIZE, std::int64_t{3907} * 4000);
    EXPECT_TRUE(looksLike(decoded(jpeg, 512), flatImage({500, 512}, LIGHT_GREY)));
    EXPECT_TRUE(decoded(jpeg).isNull());
}

TEST(JpegCodec, WhatIsOver300MegapixelsComesOutReducedOnly)
{
    const QByteArray jpeg = lightGrey({15'000, 20'001}, 1000);
    EXPECT_TRUE(decoded(jpeg).isNull());
    EXPECT_EQ(decoded(jpeg, 2000).size(), QSize(1500, 2000));
}

// What is not there is not decoded.
TEST(JpegCodec, ClaimOfAGigapixelCostsNothing)
{
    const std::clock_t begin = std::clock();
    const Image image = decoded(lightGrey({31'250, 32'000}, 4000), 512);
    EXPECT_LT(static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC, 0.1);
    ASSERT_EQ(image.size(), QSize(500, 512));
    EXPECT_TRUE(isNear(pixelAt(image, 0, 0), GREY, 32));
    EXPECT_EQ(pixelAt(image, 1, 1), GREY);
}

TEST(JpegCodec, WhatIsMissingIsAsInTheLibrary)
{
    const Sampling samplings[] = {{1, 1, true}, {1, 1}, {2, 1}, {1, 2}, {2, 2}, {4, 1}};
    for (const Sampling &sampling : samplings) {
        for (const int interval : {0, 5}) {
            const QByteArray whole =
                jpegFile({64, 896}, {.sampling = sampling, .restartInterval = interval});
            for (const int tenths : {2, 5, 9}) {
                const QByteArray cut = whole.first(whole.size() * tenths / 10);
                for (const int scale : {1, 2, 4, 8}) {
                    const DecodedRows expected = referenceRows(cut, scale);
                    const Image image = decoded(cut, 896 * scale / 8);
                    ASSERT_EQ(image.size(), expected.size);
                    const auto reference = makeImage(image.size(), [&](int x, int y) {
                        return expected.pixels[static_cast<std::size_t>(y * image.width() + x)];
                    });
                    EXPECT_TRUE(looksLike(image, reference))
                        << sampling.across << " by " << sampling.down << " every " << interval
                        << ", " << tenths << " tenths at " << scale << "/8";
                }
            }
        }
    }
}

TEST(JpegCodec, HeaderThatClaimsMoreThanThereIsGivesGreyForTheRest)
{
    const Image image = decoded(claiming(encodeJpeg(fourQuarters({64, 64})), 64, 640));
    ASSERT_EQ(image.size(), QSize(64, 640));
    EXPECT_TRUE(isNear(image.row(16)[16], RED, JPEG_TOLERANCE));
    EXPECT_TRUE(isNear(image.row(600)[16], GREY, 2));
}

TEST(JpegCodec, IsNullOnceStopped)
{
    const QByteArray jpeg = encodeJpeg(fourQuarters({64, 48}));
    EXPECT_TRUE(decodeJpeg(stoppedFileOf(jpeg), NO_LIMIT).isNull());
}

TEST(JpegCodec, DamagedFilesDoNoHarm)
{
    constexpr int LIMIT = 50;
    std::vector<QByteArray> files;
    for (const JpegColor color : {JpegColor::YCbCr, JpegColor::Grey, JpegColor::Cmyk}) {
        for (const bool progressive : {false, true}) {
            JpegOptions options;
            options.color = color;
            options.progressive = progressive;
            options.restartInterval = progressive ? 0 : 2;
            options.iccProfile = displayP3Profile();
            files.push_back(encodeJpeg(fourQuarters({96, 64}), options));
        }
    }
    int shown = 0;
    for (unsigned seed = 0; seed < 300; ++seed) {
        const Image image = decoded(damaged(files[seed % files.size()], seed), LIMIT);
        ASSERT_LE(std::max(image.width(), image.height()), LIMIT) << seed;
        shown += image.isNull() ? 0 : 1;
    }
    // Much of the damage is in the data, which still gives a picture.
    EXPECT_GT(shown, 50);
}

} // namespace

} // namespace tavolin
