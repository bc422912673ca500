#include "pixels/JpegWriter.h"

#include "decoding/codecs/JpegCodec.h"
#include "decoding/color/Color.h"
#include "decoding/TestPictures.h"

#include <QtEndian>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <jpeglib.h>

namespace tavolin {

namespace {

using namespace test;

constexpr int NO_LIMIT = 100'000;

/// One segment of a JPEG before its pixels.
struct Segment
{
    int marker = 0;
    QByteArray content;
};

std::vector<Segment> segmentsOf(const QByteArray &jpeg)
{
    std::vector<Segment> segments;
    for (qsizetype at = 2; at + 4 <= jpeg.size();) {
        const int marker = static_cast<unsigned char>(jpeg[at + 1]);
        const auto size = qFromBigEndian<quint16>(jpeg.constData() + at + 2);
        segments.push_back({marker, jpeg.mid(at + 4, size - 2)});
        if (marker == 0xda)
            break;
        at += 2 + size;
    }
    return segments;
}

/// The content of the segment with @p marker that begins with @p header, without that.
QByteArray contentOf(const QByteArray &jpeg, int marker, const QByteArray &header)
{
    for (const Segment &segment : segmentsOf(jpeg))
        if (segment.marker == marker && segment.content.startsWith(header))
            return segment.content.mid(header.size());
    return {};
}

const QByteArray EXIF_HEADER("Exif\0", 6);
const QByteArray XMP_HEADER("http://ns.adobe.com/xap/1.0/", 29);
const QByteArray PHOTOSHOP_HEADER("Photoshop 3.0", 14);

Image gradient(const QByteArray &profile = {})
{
    return makeImage(
        {97, 61},
        [](int x, int y) {
            return 0xff000000 | static_cast<Pixel>(2 * x) << 16 | static_cast<Pixel>(4 * y) << 8 |
                   static_cast<Pixel>(255 - x - y);
        },
        Alpha::Opaque, profile);
}

TEST(WriteJpeg, ThePixelsComeBack)
{
    const QByteArray jpeg = writeJpeg(gradient(), 95);
    EXPECT_TRUE(looksLike(decodeJpeg(fileOf(jpeg), NO_LIMIT).image, gradient(), 6));
}

/// @p image as libjpeg writes it in one go.
QByteArray writtenInOneGo(const Image &image, int quality)
{
    jpeg_compress_struct info;
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char *buffer = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &buffer, &size);
    info.image_width = static_cast<JDIMENSION>(image.width());
    info.image_height = static_cast<JDIMENSION>(image.height());
    info.input_components = 4;
    info.in_color_space = JCS_EXT_BGRX;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, quality, TRUE);
    info.restart_in_rows = 4;
    for (int i = 0; i < 3; ++i)
        info.comp_info[i].h_samp_factor = info.comp_info[i].v_samp_factor = 1;
    jpeg_start_compress(&info, TRUE);
    for (int y = 0; y < image.height(); ++y) {
        auto *row = reinterpret_cast<JSAMPROW>(const_cast<Pixel *>(image.row(y)));
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    const QByteArray result(reinterpret_cast<const char *>(buffer), static_cast<qsizetype>(size));
    jpeg_destroy_compress(&info);
    std::free(buffer);
    return result;
}

TEST(WriteJpeg, PartsMakeTheSameFileAsOnePicture)
{
    for (const int height : {1, 8, 31, 32, 33, 255, 256, 257, 300, 511, 512, 513, 800, 2100}) {
        const Image image = noiseImage({37, height});
        EXPECT_EQ(writeJpeg(image, 95), writtenInOneGo(image, 95)) << height;
    }
}

TEST(WriteJpeg, OnlyTheFirstPartCarriesProfileAndMetadata)
{
    const Image tall = noiseImage({16, 1000}).withProfile(displayP3Profile());
    const QByteArray jpeg = writeJpeg(tall, 95, {.exif = "of the camera"});
    EXPECT_EQ(jpeg.count("of the camera"), 1);
    EXPECT_EQ(jpeg.count("ICC_PROFILE"), 1);
}

TEST(WriteJpeg, ChromaKeepsItsFullResolution)
{
    // SOF0: precision, height, width, then three bytes for each component.
    const QByteArray frame = contentOf(writeJpeg(gradient(), 95), 0xc0, {});
    ASSERT_EQ(frame.size(), 15);
    for (const qsizetype at : {7, 10, 13})
        EXPECT_EQ(frame[at], 0x11);
}

TEST(WriteJpeg, QualityIsWhatWasAskedFor)
{
    EXPECT_LT(writeJpeg(noiseImage({64, 64}), 50).size(),
              writeJpeg(noiseImage({64, 64}), 95).size());
}

TEST(WriteJpeg, PartOfAPictureIsWrittenAsSeen)
{
    const Image part = gradient().cropped({20, 10, 50, 40});
    EXPECT_TRUE(looksLike(decodeJpeg(fileOf(writeJpeg(part, 95)), NO_LIMIT).image, part, 6));
}

TEST(WriteJpeg, TransparencyIsShownOverBlack)
{
    const Image clear = makeImage(
        {32, 32}, [](int x, int) { return x < 16 ? 0x00000000U : 0x80408000U; },
        Alpha::Premultiplied);
    const Image shown = decodeJpeg(fileOf(writeJpeg(clear, 95)), NO_LIMIT).image;
    EXPECT_TRUE(isNear(shown.row(16)[4], 0xff000000, 3));
    EXPECT_TRUE(isNear(shown.row(16)[27], 0xff408000, 3));
}

TEST(WriteJpeg, TheProfileIsThatOfThePixels)
{
    const QByteArray jpeg = writeJpeg(gradient(displayP3Profile()), 95);
    EXPECT_EQ(decodeJpeg(fileOf(jpeg), NO_LIMIT).image.iccProfile(), displayP3Profile());
}

TEST(WriteJpeg, NoProfileIsWrittenForSrgb)
{
    EXPECT_TRUE(
        decodeJpeg(fileOf(writeJpeg(gradient(), 95)), NO_LIMIT).image.iccProfile().isEmpty());
}

TEST(WriteJpeg, DefaultProfileIsForPicturesWithoutOneOfTheirOwn)
{
    const JpegMetadata metadata{.defaultProfile = srgbProfile()};
    EXPECT_EQ(decodeJpeg(fileOf(writeJpeg(gradient(), 95, metadata)), NO_LIMIT).image.iccProfile(),
              srgbProfile());
    const QByteArray jpeg = writeJpeg(gradient(displayP3Profile()), 95, metadata);
    EXPECT_EQ(decodeJpeg(fileOf(jpeg), NO_LIMIT).image.iccProfile(), displayP3Profile());
}

TEST(WriteJpeg, SrgbThatIsSaidChangesNoColor)
{
    EXPECT_TRUE(looksLike(toSrgb(gradient(srgbProfile())), gradient(), 1));
}

TEST(WriteJpeg, TheLargestProfileFillsItsSegmentsAndALargerOneIsLeftOut)
{
    constexpr qsizetype MOST = 255 * 65519;
    const auto segmentsFor = [](qsizetype bytes) {
        const QByteArray jpeg = writeJpeg(gradient(QByteArray(bytes, 'x')), 95);
        const auto segments = segmentsOf(jpeg);
        EXPECT_TRUE(looksLike(decodeJpeg(fileOf(jpeg), NO_LIMIT).image, gradient(), 6));
        return std::count_if(segments.begin(), segments.end(),
                             [](const Segment &segment) { return segment.marker == 0xe2; });
    };
    EXPECT_EQ(segmentsFor(MOST), 255);
    EXPECT_EQ(segmentsFor(MOST + 1), 0);
}

TEST(WriteJpeg, BlocksGetTheirSegments)
{
    const QByteArray jpeg =
        writeJpeg(gradient(), 95, {.exif = "exif", .xmp = "xmp", .photoshop = "photoshop"});
    EXPECT_EQ(contentOf(jpeg, 0xe1, EXIF_HEADER), "exif");
    EXPECT_EQ(contentOf(jpeg, 0xe1, XMP_HEADER), "xmp");
    EXPECT_EQ(contentOf(jpeg, 0xed, PHOTOSHOP_HEADER), "photoshop");
}

TEST(WriteJpeg, ExifComesFirst)
{
    const auto segments = segmentsOf(writeJpeg(gradient(), 95, {.exif = "exif", .xmp = "xmp"}));
    ASSERT_FALSE(segments.empty());
    EXPECT_EQ(segments[0].marker, 0xe1);
    EXPECT_TRUE(segments[0].content.startsWith(EXIF_HEADER));
}

TEST(WriteJpeg, WithoutExifItIsAPlainJfif)
{
    const auto segments = segmentsOf(writeJpeg(gradient(), 95));
    ASSERT_FALSE(segments.empty());
    EXPECT_EQ(segments[0].marker, 0xe0);
    EXPECT_TRUE(contentOf(writeJpeg(gradient(), 95), 0xe1, {}).isEmpty());
}

TEST(WriteJpeg, CommentsStandInSegmentsOfTheirOwn)
{
    std::vector<QByteArray> found;
    for (const auto &segment :
         segmentsOf(writeJpeg(gradient(), 95, {.comments = {"first", "second"}})))
        if (segment.marker == 0xfe)
            found.push_back(segment.content);
    EXPECT_EQ(found, (std::vector<QByteArray>{"first", "second"}));
}

TEST(WriteJpeg, DensityStandsInTheJfifHeader)
{
    const auto segments = segmentsOf(writeJpeg(gradient(), 95, {.density = {1, 300, 250}}));
    ASSERT_FALSE(segments.empty());
    // Behind the name and the version (JFIF 1.02).
    EXPECT_EQ(segments[0].content.mid(7, 5), QByteArray("\1\x01\x2c\0\xfa", 5));
}

TEST(WriteJpeg, TheLargestBlocksFitAndLargerOnesAreLeftOut)
{
    const auto sizeOf = [](int marker, const QByteArray &header, const JpegMetadata &metadata) {
        const QByteArray jpeg = writeJpeg(gradient(), 95, metadata);
        EXPECT_TRUE(looksLike(decodeJpeg(fileOf(jpeg), NO_LIMIT).image, gradient(), 6));
        return contentOf(jpeg, marker, header).size();
    };
    using Blocks = JpegMetadata;
    const QByteArray large(70'000, 'x');
    for (const int excess : {0, 1}) {
        const auto exif = Blocks::MAX_EXIF_BYTES + excess;
        const auto xmp = Blocks::MAX_XMP_BYTES + excess;
        const auto photoshop = Blocks::MAX_PHOTOSHOP_BYTES + excess;
        EXPECT_EQ(sizeOf(0xe1, EXIF_HEADER, {.exif = large.left(exif)}), excess ? 0 : exif);
        EXPECT_EQ(sizeOf(0xe1, XMP_HEADER, {.xmp = large.left(xmp)}), excess ? 0 : xmp);
        EXPECT_EQ(sizeOf(0xed, PHOTOSHOP_HEADER, {.photoshop = large.left(photoshop)}),
                  excess ? 0 : photoshop);
    }
}

TEST(WriteJpeg, EmptyForWhatNoJpegCanHold)
{
    EXPECT_TRUE(writeJpeg(Image(), 95).isEmpty());
    EXPECT_TRUE(writeJpeg(flatImage({65501, 1}, GREY), 95).isEmpty());
    EXPECT_FALSE(writeJpeg(flatImage({65500, 1}, GREY), 95).isEmpty());
}

} // namespace

} // namespace tavolin
