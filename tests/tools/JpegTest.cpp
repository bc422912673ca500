#include "pictures/Jpeg.h"
#include "pictures/Exif.h"
#include "pictures/Picture.h"

#include <QByteArray>
#include <QImage>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace tavolin::pictures {

namespace {

struct Segment
{
    int marker = 0; ///< The byte after 0xff.
    QByteArray data;
};

/// The segments of @p jpeg from behind the start marker up to the first scan.
std::vector<Segment> segmentsOf(const QByteArray &jpeg)
{
    std::vector<Segment> segments;
    const auto byte = [&](qsizetype at) { return static_cast<uchar>(jpeg[at]); };
    for (qsizetype at = 2; at + 4 <= jpeg.size() && byte(at) == 0xff;) {
        const int length = byte(at + 2) << 8 | byte(at + 3);
        segments.push_back({byte(at + 1), jpeg.mid(at + 4, length - 2)});
        if (segments.back().marker == 0xda)
            break;
        at += 2 + length;
    }
    return segments;
}

/// The segments of @p jpeg with @p marker.
std::vector<QByteArray> segmentsOf(const QByteArray &jpeg, int marker)
{
    std::vector<QByteArray> found;
    for (const Segment &segment : segmentsOf(jpeg))
        if (segment.marker == marker)
            found.push_back(segment.data);
    return found;
}

/// Whether @p a and @p b differ by at most @p levels in every channel.
bool isNear(QRgb a, QRgb b, int levels)
{
    return std::max({std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                     std::abs(qBlue(a) - qBlue(b))}) <= levels;
}

void expectFourQuarters(const QImage &image)
{
    EXPECT_TRUE(isNear(image.pixel(8, 8), 0xffff0000, 6));
    EXPECT_TRUE(isNear(image.pixel(56, 8), 0xff00ff00, 6));
    EXPECT_TRUE(isNear(image.pixel(8, 40), 0xff0000ff, 6));
    EXPECT_TRUE(isNear(image.pixel(56, 40), 0xffffff00, 6));
}

// Frame header (ITU T.81, B.2.2): precision, height, width, components, then for each component
// its number, sampling factors and table.
constexpr int FRAME_COMPONENTS = 5;
constexpr int FRAME_FIRST_SAMPLING = 7;

TEST(EncodeJpeg, KeepsSizeAndColors)
{
    const QImage image = QImage::fromData(encodeJpeg(fourQuarters({64, 48})), "jpeg");
    ASSERT_EQ(image.size(), QSize(64, 48));
    expectFourQuarters(image);
}

TEST(EncodeJpeg, SamplingFactorsAreAsAsked)
{
    const auto sampling = [](Subsampling subsampling) {
        JpegOptions options;
        options.subsampling = subsampling;
        const auto frames = segmentsOf(encodeJpeg(fourQuarters({64, 48}), options), 0xc0);
        return frames.empty() ? -1 : int{frames.front()[FRAME_FIRST_SAMPLING]};
    };
    EXPECT_EQ(sampling(Subsampling::Full444), 0x11);
    EXPECT_EQ(sampling(Subsampling::Half422), 0x21);
    EXPECT_EQ(sampling(Subsampling::Quarter420), 0x22);
}

TEST(EncodeJpeg, ProgressiveHasAProgressiveFrame)
{
    JpegOptions options;
    options.progressive = true;
    const QByteArray jpeg = encodeJpeg(fourQuarters({64, 48}), options);
    EXPECT_EQ(segmentsOf(jpeg, 0xc2).size(), 1U);
    expectFourQuarters(QImage::fromData(jpeg, "jpeg"));
}

TEST(EncodeJpeg, GreyHasOneComponent)
{
    JpegOptions options;
    options.color = JpegColor::Grey;
    const QByteArray jpeg = encodeJpeg(fourQuarters({64, 48}), options);
    const auto frames = segmentsOf(jpeg, 0xc0);
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames.front()[FRAME_COMPONENTS], 1);
    const QImage image = QImage::fromData(jpeg, "jpeg");
    EXPECT_GT(qGray(image.pixel(56, 40)), qGray(image.pixel(8, 40)) + 50); // yellow over blue
}

TEST(EncodeJpeg, CmykIsMarkedByAdobeAndShowsTheSameColors)
{
    JpegOptions options;
    options.color = JpegColor::Cmyk;
    const QByteArray jpeg = encodeJpeg(fourQuarters({64, 48}), options);
    const auto frames = segmentsOf(jpeg, 0xc0);
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames.front()[FRAME_COMPONENTS], 4);
    const auto adobe = segmentsOf(jpeg, 0xee);
    ASSERT_EQ(adobe.size(), 1U);
    EXPECT_TRUE(adobe.front().startsWith("Adobe"));
    expectFourQuarters(QImage::fromData(jpeg, "jpeg"));
}

TEST(EncodeJpeg, RestartIntervalIsDeclared)
{
    EXPECT_TRUE(segmentsOf(encodeJpeg(fourQuarters({64, 48})), 0xdd).empty());
    JpegOptions options;
    options.restartInterval = 2;
    const QByteArray jpeg = encodeJpeg(fourQuarters({64, 48}), options);
    EXPECT_EQ(segmentsOf(jpeg, 0xdd), std::vector{QByteArray("\0\2", 2)});
    expectFourQuarters(QImage::fromData(jpeg, "jpeg"));
}

TEST(EncodeJpeg, LargeProfileIsSplitAndWhole)
{
    JpegOptions options;
    for (int i = 0; i < 150'000; ++i)
        options.iccProfile.append(static_cast<char>(i % 251));
    const auto parts = segmentsOf(encodeJpeg(fourQuarters({64, 48}), options), 0xe2);
    ASSERT_EQ(parts.size(), 3U);
    QByteArray joined;
    for (const QByteArray &part : parts)
        joined += part.sliced(14); // behind the name, the part's number and the count
    EXPECT_EQ(joined, options.iccProfile);
}

TEST(EncodeJpeg, ExifComesFirstBehindTheFileHeader)
{
    JpegOptions options;
    options.exif = exifBlock(6);
    const auto segments = segmentsOf(encodeJpeg(fourQuarters({64, 48}), options));
    ASSERT_GE(segments.size(), 2U);
    EXPECT_EQ(segments[1].marker, 0xe1);
    EXPECT_EQ(segments[1].data, QByteArray("Exif\0\0", 6) + options.exif);
}

TEST(EncodeJpeg, LowerQualityIsSmaller)
{
    PictureSpec spec;
    spec.size = {320, 240};
    JpegOptions low;
    low.quality = 30;
    const QImage picture = drawPicture(spec);
    EXPECT_LT(encodeJpeg(picture, low).size() * 2, encodeJpeg(picture).size());
}

TEST(EncodeJpeg, RefusesWhatJpegCanNotHold)
{
    EXPECT_TRUE(encodeJpeg(QImage()).isEmpty());
    EXPECT_TRUE(encodeJpeg(QImage(65501, 1, QImage::Format_Grayscale8)).isEmpty());
    JpegOptions options;
    options.exif = QByteArray(65528, 'x');
    EXPECT_TRUE(encodeJpeg(fourQuarters({8, 8}), options).isEmpty());
    options.exif.chop(1);
    EXPECT_FALSE(encodeJpeg(fourQuarters({8, 8}), options).isEmpty());
}

TEST(EncodeJpeg, DetailedPictureWeighsAsMuchAsAPhotograph)
{
    PictureSpec spec;
    spec.size = {3000, 2000};
    const qsizetype detailed = encodeJpeg(drawPicture(spec)).size();
    // A quarter of the 6 to 9 MB of 24 megapixels.
    EXPECT_GT(detailed, 1'500'000);
    EXPECT_LT(detailed, 2'250'000);
    spec.detailed = false;
    EXPECT_LT(encodeJpeg(drawPicture(spec)).size() * 8, detailed);
}

} // namespace

} // namespace tavolin::pictures
