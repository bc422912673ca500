#include "decoding/Properties.h"

#include "FileBytes.h"

#include <gtest/gtest.h>

#include <zlib.h>

#include <ostream>
#include <string>

namespace tavolin {

namespace {

using test::ASCII;
using test::box;
using test::ByteOrder;
using test::directory;
using test::exifBlock;
using test::exifSegment;
using test::Field;
using test::FileBytes;
using test::fullBox;
using test::jpeg;
using test::LONG;
using test::png;
using test::pngChunk;
using test::SHORT;
using test::tiff;
using test::tiffHead;

std::optional<ImageProperties> read(const QByteArray &bytes)
{
    return readProperties(SourceFile::fromBytes(bytes));
}

/// The upright size; 0x0 when nothing was found.
QSize uprightOf(const QByteArray &bytes)
{
    const auto properties = read(bytes);
    return properties ? properties->upright() : QSize(0, 0);
}

Orientation orientationOf(const QByteArray &bytes)
{
    const auto properties = read(bytes);
    EXPECT_TRUE(properties);
    return properties ? properties->orientation : Orientation::Upright;
}

// JPEG

TEST(JpegProperties, SwapTheSidesOfAPortrait)
{
    const auto properties = read(jpeg(6000, 4000, exifSegment(exifBlock(6))));
    ASSERT_TRUE(properties);
    EXPECT_EQ(properties->stored, QSize(6000, 4000));
    EXPECT_EQ(properties->orientation, Orientation::Turn90);
    EXPECT_EQ(properties->upright(), QSize(4000, 6000));
}

TEST(JpegProperties, KeepTheSidesOfAHalfTurn)
{
    EXPECT_EQ(uprightOf(jpeg(6000, 4000, exifSegment(exifBlock(3)))), QSize(6000, 4000));
}

TEST(JpegProperties, AreUprightWithoutExif)
{
    const auto properties = read(jpeg(40, 30));
    ASSERT_TRUE(properties);
    EXPECT_EQ(properties->stored, QSize(40, 30));
    EXPECT_EQ(properties->orientation, Orientation::Upright);
    EXPECT_EQ(properties->colorHint, ColorHint::None);
}

struct OrientationTag
{
    const char *name;
    std::uint16_t type;
    std::uint32_t value;
    Orientation expected;
};

void PrintTo(const OrientationTag &tag, std::ostream *out)
{
    *out << tag.name;
}

class JpegOrientation : public testing::TestWithParam<OrientationTag>
{};

TEST_P(JpegOrientation, ComesFromATagThatMakesSense)
{
    const OrientationTag &tag = GetParam();
    EXPECT_EQ(orientationOf(jpeg(6, 4, exifSegment(exifBlock(tag.value, tag.type)))), tag.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Tags, JpegOrientation,
    testing::Values(OrientationTag{"One", SHORT, 1, Orientation::Upright},
                    OrientationTag{"Two", SHORT, 2, Orientation::MirrorHorizontal},
                    OrientationTag{"Three", SHORT, 3, Orientation::Turn180},
                    OrientationTag{"Four", SHORT, 4, Orientation::MirrorVertical},
                    OrientationTag{"Five", SHORT, 5, Orientation::Transpose},
                    OrientationTag{"Six", SHORT, 6, Orientation::Turn90},
                    OrientationTag{"Seven", SHORT, 7, Orientation::Transverse},
                    OrientationTag{"Eight", SHORT, 8, Orientation::Turn270},
                    OrientationTag{"SixAsLong", LONG, 6, Orientation::Turn90},
                    OrientationTag{"SixAsText", ASCII, 0x36000000, Orientation::Upright},
                    OrientationTag{"SixAsUnknownType", 999, 6, Orientation::Upright},
                    OrientationTag{"Zero", SHORT, 0, Orientation::Upright},
                    OrientationTag{"Nine", SHORT, 9, Orientation::Upright},
                    OrientationTag{"Huge", SHORT, 65535, Orientation::Upright},
                    OrientationTag{"LongWhoseLowPartIsSix", LONG, 0x10006, Orientation::Upright}),
    [](const auto &test) { return std::string(test.param.name); });

TEST(JpegProperties, GoByTheFirstOfTwoExifSegments)
{
    const QByteArray segments = exifSegment(exifBlock(6)) + exifSegment(exifBlock(8));
    EXPECT_EQ(orientationOf(jpeg(6, 4, segments)), Orientation::Turn90);
    const QByteArray brokenFirst = exifSegment("no TIFF stream") + exifSegment(exifBlock(8));
    EXPECT_EQ(orientationOf(jpeg(6, 4, brokenFirst)), Orientation::Upright);
}

TEST(JpegProperties, FindExifBehindAnotherApp1Segment)
{
    const QByteArray xmp =
        FileBytes().u16(0xffe1).u16(31).text({"http://ns.adobe.com/xap/1.0/\0", 29}).bytes();
    EXPECT_EQ(orientationOf(jpeg(6, 4, xmp + exifSegment(exifBlock(6)))), Orientation::Turn90);
}

TEST(JpegProperties, DoNotReadExifBeyondItsSegment)
{
    QByteArray segment = exifSegment(exifBlock(6));
    segment[3] = 20; // the directory is now outside
    EXPECT_EQ(orientationOf(jpeg(6, 4, segment)), Orientation::Upright);
}

TEST(JpegProperties, SkipFillBytesAndStrayBytes)
{
    const QByteArray padded =
        FileBytes().u32(0xffe00002).text("stray").u16(0xff00).u32(0xffffffff).bytes();
    EXPECT_EQ(uprightOf(jpeg(6, 4, padded)), QSize(6, 4));
}

TEST(JpegProperties, KnowEachKindOfFrame)
{
    for (const unsigned frame : {0xc0U, 0xc1U, 0xc2U, 0xc3U, 0xc5U, 0xc9U, 0xcfU})
        EXPECT_EQ(uprightOf(jpeg(6, 4, {}, frame)), QSize(6, 4)) << frame;
    for (const unsigned other : {0xc4U, 0xc8U, 0xccU, 0xfeU})
        EXPECT_FALSE(read(jpeg(6, 4, {}, other))) << other;
}

TEST(JpegProperties, AreNothingWithoutAHeight)
{
    EXPECT_FALSE(read(jpeg(6, 0)));
    EXPECT_FALSE(read(jpeg(0, 4)));
}

TEST(JpegProperties, AreNothingWhenCutOffBeforeTheSize)
{
    const QByteArray whole = jpeg(6, 4, exifSegment(exifBlock(6)));
    const qsizetype sizeEnds = whole.size() - 6;
    for (qsizetype length = 0; length < sizeEnds; ++length)
        EXPECT_FALSE(read(whole.left(length))) << length;
    EXPECT_TRUE(read(whole.left(sizeEnds)));
}

TEST(JpegProperties, EndWhenASegmentClaimsNoLength)
{
    EXPECT_FALSE(read(jpeg(6, 4, FileBytes().u16(0xffe0).u16(0).bytes())));
}

/// An EXIF segment with ColorSpace and the index of the interoperability directory.
QByteArray colorSegment(std::uint32_t colorSpace, std::uint32_t index)
{
    // Each directory has one or two entries: 18 or 30 bytes.
    return exifSegment(
        tiff(ByteOrder::Big, {{0x8769, LONG, 1, 26}}) +
        directory(ByteOrder::Big, {{0xa001, SHORT, 1, colorSpace}, {0xa005, LONG, 1, 56}}) +
        directory(ByteOrder::Big, {{0x0001, ASCII, 4, index}}));
}

TEST(JpegColorHint, FollowsTheInteroperabilityIndex)
{
    constexpr std::uint32_t R03 = 0x52303300;
    constexpr std::uint32_t R98 = 0x52393800;
    constexpr std::uint32_t UNCALIBRATED = 65535;
    EXPECT_EQ(read(jpeg(6, 4, colorSegment(UNCALIBRATED, R03)))->colorHint, ColorHint::AdobeRgb);
    EXPECT_EQ(read(jpeg(6, 4, colorSegment(UNCALIBRATED, R98)))->colorHint, ColorHint::None);
    EXPECT_EQ(read(jpeg(6, 4, colorSegment(1, R98)))->colorHint, ColorHint::None);
}

TEST(JpegColorHint, FollowsColorSpaceTwo)
{
    EXPECT_EQ(read(jpeg(6, 4, colorSegment(2, 0)))->colorHint, ColorHint::AdobeRgb);
}

TEST(JpegProperties, SurviveExifThatPointsInCircles)
{
    const QByteArray circle = tiff(
        ByteOrder::Big, {{0x0112, SHORT, 1, 6}, {0x8769, LONG, 1, 8}, {0xa005, LONG, 1, 8}}, 8);
    EXPECT_EQ(orientationOf(jpeg(6, 4, exifSegment(circle))), Orientation::Turn90);
}

// PNG

QByteArray hexProfile(const QByteArray &exif)
{
    QByteArray digits = exif.toHex();
    for (qsizetype at = 72; at < digits.size(); at += 73)
        digits.insert(at, '\n');
    return "\nexif\n" + QByteArray::number(exif.size()).rightJustified(8) + "\n" + digits + "\n";
}

QByteArray deflated(const QByteArray &bytes)
{
    QByteArray result(static_cast<qsizetype>(compressBound(static_cast<uLong>(bytes.size()))), 0);
    uLongf length = static_cast<uLongf>(result.size());
    compress(reinterpret_cast<Bytef *>(result.data()), &length,
             reinterpret_cast<const Bytef *>(bytes.constData()), static_cast<uLong>(bytes.size()));
    return result.left(static_cast<qsizetype>(length));
}

const QByteArray PREFIX("Exif\0\0", 6);
const QByteArray KEYWORD("Raw profile type exif\0", 22);

TEST(PngProperties, ReadTheHeader)
{
    EXPECT_EQ(uprightOf(png(70000, 3)), QSize(70000, 3));
    EXPECT_EQ(orientationOf(png(70000, 3)), Orientation::Upright);
}

TEST(PngProperties, FindTheExifChunkAlsoBehindThePixels)
{
    const QByteArray chunks =
        pngChunk("IDAT", QByteArray(10000, 'x')) + pngChunk("eXIf", exifBlock(6));
    EXPECT_EQ(uprightOf(png(200, 100, chunks)), QSize(100, 200));
}

TEST(PngProperties, ReadAProfileInTextChunks)
{
    const QByteArray profile = hexProfile(PREFIX + exifBlock(8));
    EXPECT_EQ(orientationOf(png(2, 1, pngChunk("tEXt", KEYWORD + profile))), Orientation::Turn270);
    const QByteArray packed = KEYWORD + '\0' + deflated(profile);
    EXPECT_EQ(orientationOf(png(2, 1, pngChunk("zTXt", packed))), Orientation::Turn270);
}

TEST(PngProperties, LookPastAnXmpProfile)
{
    const QByteArray app1("Raw profile type APP1\0", 22);
    const QByteArray xmp = app1 + hexProfile("http://ns.adobe.com/xap/1.0/");
    const QByteArray exif = app1 + hexProfile(PREFIX + exifBlock(3));
    EXPECT_EQ(orientationOf(png(2, 1, pngChunk("tEXt", xmp) + pngChunk("tEXt", exif))),
              Orientation::Turn180);
}

TEST(PngProperties, PreferTheExifChunkToText)
{
    const QByteArray text = pngChunk("tEXt", KEYWORD + hexProfile(PREFIX + exifBlock(8)));
    EXPECT_EQ(orientationOf(png(2, 1, text + pngChunk("eXIf", exifBlock(6)))), Orientation::Turn90);
}

TEST(PngProperties, IgnoreAProfileThatInflatesToMegabytes)
{
    const QByteArray bomb =
        KEYWORD + '\0' + deflated(hexProfile(PREFIX + exifBlock(6)) + QByteArray(30 << 20, '\n'));
    EXPECT_EQ(orientationOf(png(2, 1, pngChunk("zTXt", bomb))), Orientation::Upright);
}

TEST(PngProperties, IgnoreOtherTextsAndDamagedProfiles)
{
    for (const QByteArray &text :
         {QByteArray("Comment\0six", 11), KEYWORD, KEYWORD + "\nexif\n", KEYWORD + "\nexif\n8\nzz"})
        EXPECT_EQ(orientationOf(png(2, 1, pngChunk("tEXt", text) + pngChunk("zTXt", text))),
                  Orientation::Upright);
}

TEST(PngProperties, KeepTheSizeOfAFileThatBreaksOff)
{
    const QByteArray whole = png(200, 100, pngChunk("eXIf", exifBlock(6)));
    for (qsizetype length = 0; length < whole.size(); ++length) {
        const auto properties = read(whole.left(length));
        EXPECT_EQ(properties.has_value(), length >= 24) << length;
    }
}

TEST(PngProperties, RefuseSidesThatDoNotFit)
{
    EXPECT_FALSE(read(png(0, 10)));
    EXPECT_FALSE(read(png(10, 0)));
    EXPECT_FALSE(read(png(0x80000000, 10)));
    EXPECT_EQ(uprightOf(png(0x7fffffff, 1)), QSize(0x7fffffff, 1));
}

TEST(PngProperties, SurviveAChunkThatClaimsFourGigabytes)
{
    const QByteArray chunk = FileBytes().u32(0xffffffff).text("tEXt").append(KEYWORD).bytes();
    EXPECT_EQ(uprightOf(png(2, 1, chunk)), QSize(2, 1));
}

// BMP

QByteArray bmp(std::uint32_t headerBytes, const QByteArray &sides)
{
    FileBytes bytes(ByteOrder::Little);
    return bytes.text("BM").zeros(12).u32(headerBytes).append(sides).zeros(40).bytes();
}

QByteArray bmpSides(std::uint32_t width, std::uint32_t height)
{
    return FileBytes(ByteOrder::Little).u32(width).u32(height).bytes();
}

TEST(BmpProperties, ReadWindowsHeaders)
{
    EXPECT_EQ(uprightOf(bmp(40, bmpSides(127, 64))), QSize(127, 64));
    EXPECT_EQ(uprightOf(bmp(124, bmpSides(127, 64))), QSize(127, 64));
}

TEST(BmpProperties, ReadShortOs2Headers)
{
    const QByteArray sides = FileBytes(ByteOrder::Little).u16(127).u16(64).bytes();
    EXPECT_EQ(uprightOf(bmp(12, sides)), QSize(127, 64));
}

TEST(BmpProperties, TakeANegativeHeightForRowsFromTheTop)
{
    EXPECT_EQ(uprightOf(bmp(40, bmpSides(127, 0xffffffc0))), QSize(127, 64));
}

TEST(BmpProperties, RefuseSidesThatMakeNoSense)
{
    EXPECT_FALSE(read(bmp(40, bmpSides(0xffffff81, 64))));
    EXPECT_FALSE(read(bmp(40, bmpSides(127, 0x80000000))));
    EXPECT_FALSE(read(bmp(40, bmpSides(0, 64))));
    EXPECT_FALSE(read(bmp(12, FileBytes().u32(0).bytes())));
    EXPECT_FALSE(read(bmp(40, bmpSides(127, 64)).left(25)));
}

// WebP

QByteArray webPChunk(std::string_view type, const QByteArray &content)
{
    FileBytes bytes(ByteOrder::Little);
    bytes.text(type).u32(static_cast<std::uint64_t>(content.size())).append(content);
    return bytes.zeros(content.size() % 2).bytes();
}

QByteArray webP(const QByteArray &chunks)
{
    FileBytes bytes(ByteOrder::Little);
    bytes.text("RIFF").u32(static_cast<std::uint64_t>(chunks.size()) + 4).text("WEBP");
    return bytes.append(chunks).bytes();
}

QByteArray extendedWebP(const QByteArray &chunks)
{
    // 70000 x 3, less one each, in 24 bits.
    const QByteArray canvas =
        FileBytes(ByteOrder::Little).u32(8).u16(69999 & 0xffff).u8(1).u16(2).u8(0).bytes();
    return webP(webPChunk("VP8X", canvas) + chunks);
}

TEST(WebPProperties, ReadALossyFrameWithoutItsScalingBits)
{
    const QByteArray frame =
        FileBytes(ByteOrder::Little).zeros(3).text("\x9d\x01\x2a").u16(0x4000 + 31).u16(13).bytes();
    EXPECT_EQ(uprightOf(webP(webPChunk("VP8 ", frame))), QSize(31, 13));
    EXPECT_FALSE(read(webP(webPChunk("VP8 ", QByteArray(10, 'x')))));
}

TEST(WebPProperties, ReadALosslessFrame)
{
    const QByteArray frame = FileBytes(ByteOrder::Little)
                                 .u8(0x2f)
                                 .u32((16383U - 1) | (13U - 1) << 14 | 1U << 28)
                                 .bytes();
    EXPECT_EQ(uprightOf(webP(webPChunk("VP8L", frame))), QSize(16383, 13));
    EXPECT_FALSE(read(webP(webPChunk("VP8L", QByteArray(5, 'x')))));
}

TEST(WebPProperties, ReadTheCanvas)
{
    EXPECT_EQ(uprightOf(extendedWebP({})), QSize(70000, 3));
}

TEST(WebPProperties, FindExifBehindAnOddChunkWithOrWithoutPrefix)
{
    const QByteArray frame = webPChunk("VP8L", "odd");
    EXPECT_EQ(orientationOf(extendedWebP(frame + webPChunk("EXIF", exifBlock(6)))),
              Orientation::Turn90);
    EXPECT_EQ(orientationOf(extendedWebP(frame + webPChunk("EXIF", PREFIX + exifBlock(6)))),
              Orientation::Turn90);
}

TEST(WebPProperties, AreNothingWithoutAFrame)
{
    EXPECT_FALSE(read(webP({})));
    EXPECT_FALSE(read(webP(webPChunk("ALPH", QByteArray(20, 'x')))));
    EXPECT_FALSE(read(extendedWebP({}).left(29)));
}

// TIFF

constexpr Field WIDTH{0x0100, SHORT, 1, 600};
constexpr Field LENGTH{0x0101, SHORT, 1, 400};

TEST(TiffProperties, ReadTheFirstPage)
{
    EXPECT_EQ(uprightOf(tiff(ByteOrder::Little, {WIDTH, LENGTH, {0x0112, SHORT, 1, 6}})),
              QSize(400, 600));
}

TEST(TiffProperties, AreReadFromABigTiff)
{
    const auto bigTiff = [](std::uint64_t orientation) {
        constexpr std::uint16_t LONG8 = 16;
        FileBytes bytes;
        bytes.text("MM").u16(43).u16(8).u16(0).u64(16).u64(3);
        bytes.u16(0x0100).u16(SHORT).u64(1).u16(600).zeros(6);
        bytes.u16(0x0101).u16(LONG).u64(1).u32(400).zeros(4);
        return bytes.u16(0x0112).u16(LONG8).u64(1).u64(orientation).u64(0).bytes();
    };
    EXPECT_EQ(uprightOf(bigTiff(6)), QSize(400, 600));
    EXPECT_EQ(uprightOf(bigTiff(0x1'0000'0006)), QSize(600, 400));
}

TEST(TiffProperties, IgnoreALargerSecondPage)
{
    const QByteArray first = tiff(ByteOrder::Big, {WIDTH, LENGTH}, 38);
    ASSERT_EQ(first.size(), 38);
    const QByteArray second =
        directory(ByteOrder::Big, {{0x0100, LONG, 1, 9000}, {0x0101, LONG, 1, 6000}});
    EXPECT_EQ(uprightOf(first + second), QSize(600, 400));
}

TEST(TiffProperties, RefuseSidesThatDoNotFit)
{
    EXPECT_FALSE(read(tiff(ByteOrder::Big, {{0x0100, LONG, 1, 0xffffffff}, LENGTH})));
    EXPECT_FALSE(read(tiff(ByteOrder::Big, {{0x0100, LONG, 1, 0}, LENGTH})));
    EXPECT_FALSE(read(tiff(ByteOrder::Big, {WIDTH})));
}

TEST(TiffProperties, AreReadFromADirectoryThatNamesItselfAsTheNext)
{
    EXPECT_EQ(uprightOf(tiff(ByteOrder::Big, {WIDTH, LENGTH}, 8)), QSize(600, 400));
}

/// A small first directory with @p mark, and one sub-directory of 6000 x 4000 with this photometric
/// interpretation.
QByteArray rawTiff(const Field &mark, std::uint32_t photometric)
{
    const QByteArray first = tiff(ByteOrder::Big, {{0x0100, SHORT, 1, 160},
                                                   {0x0101, SHORT, 1, 120},
                                                   mark,
                                                   {0x0112, SHORT, 1, 8},
                                                   {0x014a, LONG, 1, 74}});
    EXPECT_EQ(first.size(), 74);
    return first + directory(ByteOrder::Big, {{0x0100, SHORT, 1, 6000},
                                              {0x0101, SHORT, 1, 4000},
                                              {0x0106, SHORT, 1, photometric}});
}

constexpr Field MAKE{0x010f, ASCII, 4, 0x41636d00};
constexpr Field DNG_VERSION{0xc612, 1, 4, 0x01040000};
constexpr std::uint32_t CFA = 32803;
constexpr std::uint32_t RGB = 2;

TEST(RawTiffProperties, AreThoseOfTheSensorDataInASubDirectory)
{
    EXPECT_EQ(uprightOf(rawTiff(MAKE, CFA)), QSize(4000, 6000));
    EXPECT_EQ(uprightOf(rawTiff(DNG_VERSION, 34892)), QSize(4000, 6000));
}

TEST(RawTiffProperties, AreNotTakenFromAPlainTiff)
{
    constexpr Field SOFTWARE{0x0131, ASCII, 4, 0x41636d00};
    EXPECT_EQ(uprightOf(rawTiff(SOFTWARE, CFA)), QSize(120, 160));
    EXPECT_EQ(uprightOf(rawTiff(MAKE, RGB)), QSize(120, 160));
}

TEST(RawTiffProperties, AreThoseOfTheLargestSensorData)
{
    const auto subDirectory = [](std::uint32_t side) {
        return directory(
            ByteOrder::Big,
            {{0x0100, SHORT, 1, side}, {0x0101, SHORT, 1, side}, {0x0106, SHORT, 1, CFA}});
    };
    // Two of 42 bytes behind the offsets at 38.
    const QByteArray first = tiff(ByteOrder::Big, {DNG_VERSION, {0x014a, LONG, 2, 38}});
    const QByteArray offsets = FileBytes().u32(46).u32(88).bytes();
    ASSERT_EQ(first.size(), 38);
    EXPECT_EQ(uprightOf(first + offsets + subDirectory(90) + subDirectory(50)), QSize(90, 90));
    EXPECT_EQ(uprightOf(first + offsets + subDirectory(50) + subDirectory(90)), QSize(90, 90));
}

TEST(RawTiffProperties, SurviveSubDirectoriesThatLeadBack)
{
    const QByteArray circle =
        tiff(ByteOrder::Big, {WIDTH, LENGTH, DNG_VERSION, {0x014a, LONG, 1, 8}}, 8);
    EXPECT_EQ(uprightOf(circle), QSize(600, 400));
    const QByteArray many =
        tiff(ByteOrder::Big, {WIDTH, LENGTH, DNG_VERSION, {0x014a, LONG, 0xffffffff, 8}});
    EXPECT_EQ(uprightOf(many), QSize(600, 400));
}

TEST(RawTiffProperties, OfCr2AreTheExifDimensionsWhenTheyAreLarger)
{
    FileBytes bytes(ByteOrder::Little);
    bytes.text("II").u16(42).u32(16).text("CR").u16(2).u32(0);
    bytes.append(directory(ByteOrder::Little, {{0x0100, SHORT, 1, 1536},
                                               {0x0101, SHORT, 1, 1024},
                                               {0x0112, SHORT, 1, 6},
                                               {0x8769, LONG, 1, 70}}));
    ASSERT_EQ(bytes.bytes().size(), 70);
    bytes.append(
        directory(ByteOrder::Little, {{0xa002, SHORT, 1, 3456}, {0xa003, SHORT, 1, 2304}}));
    EXPECT_EQ(uprightOf(bytes.bytes()), QSize(2304, 3456));
}

TEST(RawProperties, OfRw2AreTheEdgesOnTheSensor)
{
    const auto rw2 = [](std::uint32_t left, std::uint32_t right) {
        return tiffHead(ByteOrder::Little, 0x55) +
               directory(ByteOrder::Little, {{4, SHORT, 1, 6},
                                             {5, SHORT, 1, left},
                                             {6, SHORT, 1, 2742},
                                             {7, SHORT, 1, right},
                                             {0x0112, SHORT, 1, 6}});
    };
    EXPECT_EQ(uprightOf(rw2(8, 3656)), QSize(2736, 3648));
    EXPECT_FALSE(read(rw2(3656, 8)));
}

TEST(RawProperties, OfOrfComeFromItsTiffStream)
{
    EXPECT_EQ(uprightOf(tiffHead(ByteOrder::Little, 0x4f52) +
                        directory(ByteOrder::Little, {WIDTH, LENGTH, {0x0112, SHORT, 1, 8}})),
              QSize(400, 600));
}

QByteArray raf(const QByteArray &jpegFile, const QByteArray &records)
{
    FileBytes bytes;
    bytes.text("FUJIFILMCCD-RAW ").zeros(68);
    bytes.u32(200).u32(static_cast<std::uint64_t>(jpegFile.size())).u32(100).u32(50);
    bytes.append(records).zeros(100 - records.size());
    return bytes.append(jpegFile).bytes();
}

TEST(RawProperties, OfRafAreTheLargerOfJpegAndSensorPicture)
{
    const QByteArray records =
        FileBytes().u32(2).u16(0x0100).u16(4).u32(0).u16(0x0111).u16(4).u16(4000).u16(6000).bytes();
    const QByteArray turned = exifSegment(exifBlock(6));
    EXPECT_EQ(uprightOf(raf(jpeg(1920, 1280, turned), records)), QSize(4000, 6000));
    EXPECT_EQ(uprightOf(raf(jpeg(1920, 1280, turned), {})), QSize(1280, 1920));
    EXPECT_EQ(uprightOf(raf(jpeg(7000, 4000), records)), QSize(7000, 4000));
    EXPECT_FALSE(read(raf({}, records)));
}

QByteArray cr3(const QByteArray &streams)
{
    const QByteArray uuid("\x85\xc0\xb6\x87\x82\x0f\x11\xe0\x81\x11\xf4\xce\x46\x2b\x6a\x48", 16);
    return box("ftyp", FileBytes().text("crx ").u32(1).text("crx isom").bytes()) +
           box("moov", box("uuid", QByteArray(16, 'x')) + box("uuid", uuid + streams));
}

TEST(RawProperties, OfCr3AreTheExifDimensionsWhenTheyAreLarger)
{
    const QByteArray streams =
        box("CMT1", tiff(ByteOrder::Little, {WIDTH, LENGTH})) +
        box("CMT2", tiff(ByteOrder::Little, {{0xa002, SHORT, 1, 6000}, {0xa003, SHORT, 1, 4000}}));
    EXPECT_EQ(uprightOf(cr3(streams)), QSize(6000, 4000));
}

TEST(RawProperties, OfCr3ComeFromCanonsBox)
{
    const QByteArray streams =
        box("CNCV", "version") +
        box("CMT1", tiff(ByteOrder::Little, {WIDTH, LENGTH, {0x0112, SHORT, 1, 6}})) +
        box("CMT2", tiff(ByteOrder::Little,
                         {{0xa001, SHORT, 1, 2}, {0xa002, SHORT, 1, 60}, {0xa003, SHORT, 1, 40}}));
    const auto properties = read(cr3(streams));
    ASSERT_TRUE(properties);
    EXPECT_EQ(properties->upright(), QSize(400, 600));
    EXPECT_EQ(properties->colorHint, ColorHint::AdobeRgb);
    EXPECT_FALSE(read(cr3({})));
    for (qsizetype length = 0; length < cr3(streams).size(); ++length)
        read(cr3(streams).left(length));
}

// HEIF

/// A property of a picture.
QByteArray ispe(std::uint32_t width, std::uint32_t height)
{
    return fullBox("ispe", 0, FileBytes().u32(width).u32(height).bytes());
}

QByteArray irot(int quarterTurns)
{
    return box("irot", FileBytes().u8(static_cast<std::uint64_t>(quarterTurns)).bytes());
}

QByteArray clap(std::uint32_t width, std::uint32_t height, std::uint32_t denominator = 1)
{
    FileBytes bytes;
    bytes.u32(width).u32(denominator).u32(height).u32(denominator);
    return box("clap", bytes.u32(0).u32(1).u32(0).u32(1).bytes());
}

/// A file whose primary item, number 7, has the properties with these numbers, from 1.
QByteArray heif(const QByteArray &properties, std::initializer_list<int> numbers)
{
    FileBytes associations;
    associations.u32(2).u16(3).u8(1).u8(1); // item 3 has the first property
    associations.u16(7).u8(numbers.size());
    for (const int number : numbers)
        associations.u8(0x80U | static_cast<unsigned>(number));
    const QByteArray meta =
        fullBox("hdlr", 0, QByteArray(20, '\0')) + fullBox("pitm", 0, FileBytes().u16(7).bytes()) +
        box("iprp", box("ipco", properties) + fullBox("ipma", 0, associations.bytes()));
    return box("ftyp", FileBytes().text("heic").u32(0).text("mif1").bytes()) +
           fullBox("meta", 0, meta) + box("mdat", "pixels");
}

TEST(HeifProperties, AreThoseOfThePrimaryPicture)
{
    EXPECT_EQ(uprightOf(heif(ispe(160, 120) + ispe(4032, 3024), {2})), QSize(4032, 3024));
}

TEST(HeifProperties, ComeTurnedSoThatNothingIsLeftToDo)
{
    const auto properties = read(heif(ispe(4032, 3024) + irot(3), {1, 2}));
    ASSERT_TRUE(properties);
    EXPECT_EQ(properties->stored, QSize(3024, 4032));
    EXPECT_EQ(properties->orientation, Orientation::Upright);
}

TEST(HeifProperties, SwapTheSidesByQuarterTurnsOnly)
{
    EXPECT_EQ(uprightOf(heif(ispe(40, 30) + irot(0), {1, 2})), QSize(40, 30));
    EXPECT_EQ(uprightOf(heif(ispe(40, 30) + irot(1), {1, 2})), QSize(30, 40));
    EXPECT_EQ(uprightOf(heif(ispe(40, 30) + irot(2), {1, 2})), QSize(40, 30));
    EXPECT_EQ(uprightOf(heif(ispe(40, 30) + box("imir", {"\1", 1}), {1, 2})), QSize(40, 30));
}

TEST(HeifProperties, ApplyTheTransformsInTheirOrder)
{
    const QByteArray properties = ispe(100, 50) + irot(1) + clap(40, 20);
    EXPECT_EQ(uprightOf(heif(properties, {1, 2, 3})), QSize(40, 20));
    EXPECT_EQ(uprightOf(heif(properties, {1, 3, 2})), QSize(20, 40));
}

TEST(HeifProperties, CutTheCleanApertureAtThePicture)
{
    EXPECT_EQ(uprightOf(heif(ispe(64, 100) + clap(29, 100), {1, 2})), QSize(29, 100));
    EXPECT_EQ(uprightOf(heif(ispe(452, 462) + clap(451, 461), {1, 2})), QSize(451, 461));
    EXPECT_EQ(uprightOf(heif(ispe(64, 100) + clap(1000, 1000), {1, 2})), QSize(64, 100));
}

TEST(HeifProperties, RoundTheCleanApertureAsTheDecoderDoes)
{
    // What libheif makes of a picture of 160 x 480 with the aperture off the middle.
    const auto shifted = [](std::initializer_list<std::uint32_t> numbers) {
        FileBytes bytes;
        for (const std::uint32_t number : numbers)
            bytes.u32(number);
        return heif(ispe(160, 480) + box("clap", bytes.bytes()), {1, 2});
    };
    EXPECT_EQ(uprightOf(shifted({383, 3, 2842, 6, 3, 3, 13, 2})), QSize(128, 470));
    EXPECT_EQ(uprightOf(shifted({153, 1, 152, 1, 13, 2, 4, 2})), QSize(150, 152));
    constexpr std::uint32_t MINUS_15 = 0xfffffff1;
    constexpr std::uint32_t MINUS_9 = 0xfffffff7;
    EXPECT_EQ(uprightOf(shifted({155, 6, 1401, 3, MINUS_15, 1, MINUS_9, 1})), QSize(26, 465));
}

TEST(HeifProperties, AreNothingWhenTheCleanApertureIs)
{
    EXPECT_FALSE(read(heif(ispe(64, 100) + clap(0, 100), {1, 2})));
    EXPECT_FALSE(read(heif(ispe(64, 100) + clap(29, 100, 0), {1, 2})));
}

TEST(HeifProperties, AreNothingWithoutASize)
{
    EXPECT_FALSE(read(heif(irot(1), {1})));
    EXPECT_FALSE(read(heif(ispe(64, 100), {})));
    EXPECT_FALSE(read(heif(ispe(64, 100), {2, 0, 127})));
    EXPECT_FALSE(read(heif(ispe(0xffffffff, 100), {1})));
}

TEST(HeifProperties, SurviveBeingCutOffAnywhere)
{
    const QByteArray whole = heif(ispe(4032, 3024) + clap(4000, 3000) + irot(3), {1, 2, 3});
    const qsizetype metaEnds = whole.size() - 14;
    for (qsizetype length = 0; length < whole.size(); ++length)
        EXPECT_EQ(uprightOf(whole.left(length)),
                  length < metaEnds ? QSize(0, 0) : QSize(3000, 4000))
            << length;
}

TEST(HeifProperties, SurviveBoxesThatLieAboutTheirLength)
{
    for (const std::uint32_t length : {0U, 1U, 2U, 7U, 0xffffffffU}) {
        const QByteArray head = box("ftyp", FileBytes().text("heic").u32(0).bytes());
        read(head + FileBytes().u32(length).text("meta").u64(0).bytes());
        read(head + FileBytes().u32(1).text("meta").u64(length).bytes());
    }
}

// All

TEST(Properties, AreNothingOfWhatIsNoPicture)
{
    EXPECT_FALSE(read(""));
    EXPECT_FALSE(read("GIF89a"));
    EXPECT_FALSE(read(QByteArray(10000, '\xff')));
}

TEST(Properties, SurviveAnyChangedByte)
{
    const QByteArray files[] = {
        jpeg(6, 4, colorSegment(2, 0)),
        png(2, 1, pngChunk("zTXt", KEYWORD + '\0' + deflated(hexProfile(exifBlock(6))))),
        extendedWebP(webPChunk("EXIF", exifBlock(6))),
        rawTiff(MAKE, CFA),
        heif(ispe(4032, 3024) + clap(4000, 3000) + irot(3), {1, 2, 3}),
        cr3(box("CMT1", tiff(ByteOrder::Little, {WIDTH, LENGTH})))};
    int found = 0;
    for (const QByteArray &file : files) {
        for (qsizetype at = 0; at < file.size(); ++at) {
            for (const char value : {'\0', '\1', '\x7f', '\x80', '\xff'}) {
                QByteArray changed = file;
                changed[at] = value;
                const auto properties = read(changed);
                found += properties ? 1 : 0;
                EXPECT_TRUE(!properties || !properties->stored.isEmpty());
            }
        }
    }
    EXPECT_GT(found, 0);
}

} // namespace

} // namespace tavolin
