#include "decoding/metadata/CarriedMetadata.h"

#include "decoding/color/Color.h"
#include "decoding/metadata/Exiv2Access.h"
#include "decoding/metadata/Exiv2Seam.h"
#include "decoding/Properties.h"
#include "FileBytes.h"
#include "HeifFile.h"
#include "pictures/Dng.h"
#include "pictures/Exif.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "pictures/Tiff.h"
#include "pictures/Writing.h"
#include "TestPictures.h"

#include <QCryptographicHash>

#include <algorithm>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include <exiv2/exiv2.hpp>

namespace tavolin {

namespace {

using namespace test;
using pictures::TiffDirectory;

constexpr QSize NEW_SIZE(1200, 800);

/// What Exiv2 finds in a JPEG that carries @p metadata: the texts of its values by key.
std::map<std::string, std::string> valuesIn(const JpegMetadata &metadata)
{
    std::map<std::string, std::string> values;
    const QByteArray jpeg = writeJpeg(flatImage({16, 16}, GREY), 95, metadata);
    withMetadata(fileOf(jpeg), [&values](Exiv2::Image &image) {
        const auto add = [&values](const auto &data) {
            for (const auto &datum : data)
                values[datum.key()] = datum.toString();
        };
        add(image.exifData());
        add(image.iptcData());
        add(image.xmpData());
    });
    return values;
}

/// The same for what is carried over from @p file.
std::map<std::string, std::string> carriedFrom(const QByteArray &file)
{
    const auto metadata = carriedMetadata(fileOf(file), NEW_SIZE);
    EXPECT_TRUE(metadata);
    return metadata ? valuesIn(*metadata) : std::map<std::string, std::string>();
}

bool hasGroup(const std::map<std::string, std::string> &values, const std::string &group)
{
    return std::any_of(values.begin(), values.end(),
                       [&group](const auto &value) { return value.first.starts_with(group); });
}

QByteArray jpegWith(const QByteArray &exif)
{
    return pictures::encodeJpeg(pictures::fourQuarters({64, 48}), {.exif = exif});
}

QByteArray jpegWithXmp(const QByteArray &description)
{
    const QByteArray packet =
        "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF "
        "xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description rdf:about='' "
        "xmlns:tiff='http://ns.adobe.com/tiff/1.0/' xmlns:exif='http://ns.adobe.com/exif/1.0/' "
        "xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:xmp='http://ns.adobe.com/xap/1.0/' " +
        description + "/></rdf:RDF></x:xmpmeta>";
    return writeJpeg(flatImage({16, 16}, GREY), 95, {.xmp = packet});
}

TEST(CarriedMetadata, APortraitPhotoBecomesUpright)
{
    for (int orientation = 2; orientation <= 8; ++orientation)
        EXPECT_EQ(carriedFrom(jpegWith(pictures::exifBlock(orientation)))["Exif.Image.Orientation"],
                  "1");
}

TEST(CarriedMetadata, OurOwnReaderSeesTheCopyUpright)
{
    const auto metadata = carriedMetadata(fileOf(jpegWith(pictures::exifBlock(6))), NEW_SIZE);
    ASSERT_TRUE(metadata);
    const QByteArray copy = writeJpeg(flatImage({40, 30}, GREY), 95, *metadata);
    const auto properties = readProperties(fileOf(copy));
    ASSERT_TRUE(properties);
    EXPECT_EQ(properties->orientation, Orientation::Upright);
    EXPECT_EQ(properties->upright(), QSize(40, 30));
}

TEST(CarriedMetadata, PixelDimensionsAreTheNewOnes)
{
    const auto values = carriedFrom(jpegWith(pictures::exifBlock(1)));
    EXPECT_EQ(values.at("Exif.Photo.PixelXDimension"), "1200");
    EXPECT_EQ(values.at("Exif.Photo.PixelYDimension"), "800");
}

TEST(CarriedMetadata, SoftwareIsThisProgram)
{
    const QByteArray exif = pictures::tiffBlock(
        {pictures::asciiField(0x010f, "TestMake"), pictures::asciiField(0x0131, "Other 1.0")});
    EXPECT_EQ(carriedFrom(jpegWith(exif))["Exif.Image.Software"], "Tavolin Viewer");
    EXPECT_EQ(carriedFrom(jpegWith(pictures::exifBlock(1)))["Exif.Image.Software"],
              "Tavolin Viewer");
}

TEST(CarriedMetadata, TheExposureSurvives)
{
    const auto values = carriedFrom(jpegWith(pictures::exifBlock(6, 7)));
    EXPECT_EQ(values.at("Exif.Image.Make"), "TestMake");
    EXPECT_EQ(values.at("Exif.Image.Model"), "TestCamera");
    EXPECT_EQ(values.at("Exif.Photo.LensModel"), "TestLens 50mm");
    EXPECT_EQ(values.at("Exif.Photo.ExposureTime"), "1/250");
    EXPECT_EQ(values.at("Exif.Photo.DateTimeOriginal"), "2024:05:01 14:03:29");
}

TEST(CarriedMetadata, ASourceWithoutExifGetsNone)
{
    const auto metadata =
        carriedMetadata(fileOf(pictures::encodeJpeg(pictures::fourQuarters({64, 48}))), NEW_SIZE);
    ASSERT_TRUE(metadata);
    EXPECT_TRUE(metadata->exif.isEmpty());
    EXPECT_TRUE(metadata->xmp.isEmpty());
    EXPECT_TRUE(metadata->photoshop.isEmpty());
}

TEST(CarriedMetadata, ASourceThatHasNoneInAnyContainerGetsNone)
{
    const HeifFileItem picture{"hvc1", "stream", {ispe({6, 4})}, {}};
    for (const QByteArray &file :
         {heifFile({picture}), test::tiff(ByteOrder::Little, {{0x0100, SHORT, 1, 6}})}) {
        const auto metadata = carriedMetadata(fileOf(file), NEW_SIZE);
        ASSERT_TRUE(metadata);
        EXPECT_TRUE(metadata->exif.isEmpty());
        EXPECT_TRUE(metadata->xmp.isEmpty());
        EXPECT_TRUE(metadata->photoshop.isEmpty());
    }
}

TEST(CarriedMetadata, WithoutAMainDirectoryThereIsNoSoftwareAndNoOrientation)
{
    // Nothing in IFD0 but the place of the EXIF directory.
    const QByteArray exif =
        pictures::tiffBlock({pictures::directoriesField(0x8769, {pictures::exposureDirectory(0)})});
    const auto values = carriedFrom(jpegWith(exif));
    EXPECT_TRUE(hasGroup(values, "Exif.Photo."));
    EXPECT_FALSE(values.contains("Exif.Image.Software"));
    EXPECT_FALSE(values.contains("Exif.Image.Orientation"));
}

TEST(CarriedMetadata, WithoutAnExifDirectoryThereAreNoPixelDimensions)
{
    const auto values =
        carriedFrom(jpegWith(pictures::tiffBlock({pictures::asciiField(0x010f, "TestMake")})));
    EXPECT_EQ(values.at("Exif.Image.Orientation"), "1");
    EXPECT_FALSE(hasGroup(values, "Exif.Photo."));
}

TEST(CarriedMetadata, GpsSurvives)
{
    const TiffDirectory gps{
        pictures::asciiField(1, "N"),
        pictures::rationalField(2, {{13, 1}, {45, 1}, {30, 1}}),
    };
    const QByteArray exif = pictures::tiffBlock(
        {pictures::asciiField(0x010f, "TestMake"), pictures::directoriesField(0x8825, {gps})});
    EXPECT_EQ(carriedFrom(jpegWith(exif))["Exif.GPSInfo.GPSLatitude"], "13/1 45/1 30/1");
}

TEST(CarriedMetadata, NotesOfAnUnknownCameraSurviveByteByByte)
{
    TiffDirectory exposure = pictures::exposureDirectory(0);
    exposure.push_back(pictures::bytesField(0x927c, pictures::TiffType::Undefined, "secret notes"));
    const QByteArray exif = pictures::tiffBlock(
        {pictures::asciiField(0x010f, "TestMake"), pictures::directoriesField(0x8769, {exposure})});
    const auto before = valuesIn({.exif = exif});
    ASSERT_TRUE(before.contains("Exif.Photo.MakerNote"));
    EXPECT_EQ(carriedFrom(jpegWith(exif))["Exif.Photo.MakerNote"],
              before.at("Exif.Photo.MakerNote"));
}

/// A TIFF stream in which a Canon's notes are at @p noteAt and say where in the stream a text is.
QByteArray tiffWithCanonsNotes(qsizetype noteAt)
{
    constexpr std::uint32_t NOTE_BYTES = 18 + 12;
    const auto at = static_cast<std::uint32_t>(noteAt);
    QByteArray bytes =
        test::tiff(ByteOrder::Little, {{0x010f, ASCII, 6, 38}, {0x8769, LONG, 1, 44}}) +
        QByteArray("Canon\0", 6) +
        test::directory(ByteOrder::Little, {{0x927c, 7, NOTE_BYTES, at}});
    bytes.append(noteAt - bytes.size(), '\0');
    return bytes + test::directory(ByteOrder::Little, {{0x0006, ASCII, 12, at + 18}}) +
           QByteArray("Test Camera\0", 12);
}

TEST(CarriedMetadata, NotesWithPlacesInTheirFileSurvive)
{
    for (const qsizetype at : {qsizetype{100}, qsizetype{5000}, qsizetype{20} << 20})
        EXPECT_EQ(carriedFrom(tiffWithCanonsNotes(at))["Exif.Canon.ImageType"], "Test Camera")
            << at;
}

TEST(CarriedMetadata, TheThumbnailIsLeftBehind)
{
    const QByteArray small = pictures::encodeJpeg(pictures::fourQuarters({16, 16}));
    QByteArray jpeg = jpegWith(pictures::exifBlock(1));
    // Exiv2 itself puts the thumbnail in.
    auto image = Exiv2::ImageFactory::open(reinterpret_cast<const Exiv2::byte *>(jpeg.constData()),
                                           static_cast<long>(jpeg.size()));
    image->readMetadata();
    Exiv2::ExifThumb(image->exifData())
        .setJpegThumbnail(reinterpret_cast<const Exiv2::byte *>(small.constData()),
                          static_cast<long>(small.size()));
    image->writeMetadata();
    image->io().open();
    const Exiv2::DataBuf written = image->io().read(static_cast<long>(image->io().size()));
    jpeg = QByteArray(reinterpret_cast<const char *>(exiv2::bytesOf(written)),
                      static_cast<qsizetype>(exiv2::sizeOf(written)));
    ASSERT_TRUE(jpeg.contains(small));

    const auto metadata = carriedMetadata(fileOf(jpeg), NEW_SIZE);
    ASSERT_TRUE(metadata);
    EXPECT_FALSE(metadata->exif.contains(small));
    EXPECT_FALSE(hasGroup(valuesIn(*metadata), "Exif.Thumbnail."));
    EXPECT_EQ(valuesIn(*metadata)["Exif.Photo.LensModel"], "TestLens 50mm");
}

TEST(CarriedMetadata, HowARawFileIsBuiltIsLeftBehind)
{
    const auto values =
        carriedFrom(pictures::makeDng({.upright = pictures::fourQuarters({64, 48}),
                                       .previews = {pictures::fourQuarters({64, 48})},
                                       .orientation = 6}));
    EXPECT_EQ(values.at("Exif.Image.Make"), "TestMake");
    EXPECT_EQ(values.at("Exif.Image.Orientation"), "1");
    for (const char *key : {"Exif.Image.ImageWidth", "Exif.Image.BitsPerSample",
                            "Exif.Image.Compression", "Exif.Image.StripOffsets",
                            "Exif.Image.PhotometricInterpretation", "Exif.Image.CFAPattern"})
        EXPECT_FALSE(values.contains(key)) << key;
    EXPECT_FALSE(hasGroup(values, "Exif.SubImage"));
}

class CarriedFrom : public testing::TestWithParam<std::string>
{};

TEST_P(CarriedFrom, EveryFormatWithExif)
{
    const pictures::PictureSpec spec{.size = {160, 120}, .orientation = 6};
    const auto values =
        carriedFrom(pictures::encodePicture(pictures::drawPicture(spec), spec, GetParam()));
    EXPECT_EQ(values.at("Exif.Photo.LensModel"), "TestLens 50mm");
    EXPECT_EQ(values.at("Exif.Image.Orientation"), "1");
    EXPECT_EQ(values.at("Exif.Photo.PixelXDimension"), "1200");
    EXPECT_FALSE(values.contains("Exif.Image.ImageWidth"));
}

INSTANTIATE_TEST_SUITE_P(Formats, CarriedFrom,
                         testing::Values(".jpg", ".png", ".webp", ".tif", ".dng"),
                         [](const auto &tested) { return tested.param.substr(1); });

TEST(CarriedMetadata, HeicFilesInWhichExiv2FindsNothing)
{
    if (!canEncodeHeic())
        GTEST_SKIP() << "libheif has no HEVC encoder";
    const QByteArray profile(8, '\0'); // far too short to be one
    const QByteArray file = encodeHeic(pictures::fourQuarters({64, 64}),
                                       {.iccProfile = profile, .exif = pictures::exifBlock(6)});
    bool isFound = false;
    withMetadata(fileOf(file),
                 [&isFound](Exiv2::Image &image) { isFound = !image.exifData().empty(); });
    ASSERT_FALSE(isFound);
    EXPECT_EQ(carriedFrom(file)["Exif.Photo.LensModel"], "TestLens 50mm");
    EXPECT_EQ(carriedFrom(file)["Exif.Image.Orientation"], "1");
}

TEST(CarriedMetadata, HeicFilesInWhichExiv2FindsAll)
{
    if (!canEncodeHeic())
        GTEST_SKIP() << "libheif has no HEVC encoder";
    const QByteArray file =
        encodeHeic(pictures::fourQuarters({64, 64}), {.exif = pictures::exifBlock(6)});
    EXPECT_EQ(carriedFrom(file)["Exif.Photo.LensModel"], "TestLens 50mm");
    EXPECT_EQ(carriedFrom(file)["Exif.Image.Orientation"], "1");
}

TEST(CarriedMetadata, XmpIsCorrectedWhereItSpeaksOfThePixels)
{
    const auto values = carriedFrom(
        jpegWithXmp("tiff:Orientation='6' tiff:ImageWidth='99' exif:PixelXDimension='99' "
                    "exif:PixelYDimension='77' tiff:Compression='1' xmp:Rating='4'"));
    EXPECT_EQ(values.at("Xmp.tiff.Orientation"), "1");
    EXPECT_EQ(values.at("Xmp.tiff.ImageWidth"), "1200");
    EXPECT_EQ(values.at("Xmp.exif.PixelXDimension"), "1200");
    EXPECT_EQ(values.at("Xmp.exif.PixelYDimension"), "800");
    EXPECT_EQ(values.at("Xmp.xmp.Rating"), "4");
    EXPECT_FALSE(values.contains("Xmp.tiff.Compression"));
    EXPECT_FALSE(values.contains("Xmp.tiff.ImageLength"));
}

TEST(CarriedMetadata, IptcSurvives)
{
    Exiv2::IptcData iptc;
    iptc["Iptc.Application2.Caption"] = std::string("sunrise");
    iptc["Iptc.Application2.City"] = std::string("Chiang Mai");
    const Exiv2::DataBuf block = Exiv2::Photoshop::setIptcIrb(nullptr, 0, iptc);
    const QByteArray jpeg =
        writeJpeg(flatImage({16, 16}, GREY), 95,
                  {.photoshop = {reinterpret_cast<const char *>(exiv2::bytesOf(block)),
                                 static_cast<qsizetype>(exiv2::sizeOf(block))}});
    const auto values = carriedFrom(jpeg);
    EXPECT_EQ(values.at("Iptc.Application2.Caption"), "sunrise");
    EXPECT_EQ(values.at("Iptc.Application2.City"), "Chiang Mai");
}

/// A resource of Photoshop's without a name.
QByteArray resource(char high, char low, const QByteArray &content)
{
    QByteArray bytes = "8BIM";
    bytes += high;
    bytes += low;
    bytes += QByteArray(4, '\0');
    bytes += static_cast<char>(content.size() / 256);
    bytes += static_cast<char>(content.size() % 256);
    bytes += content;
    if (content.size() % 2 != 0)
        bytes += '\0';
    return bytes;
}

/// A data set of IPTC's second record.
QByteArray dataSet(int number, const QByteArray &value)
{
    QByteArray bytes("\x1c\2");
    bytes += static_cast<char>(number);
    bytes += static_cast<char>(value.size() / 256);
    bytes += static_cast<char>(value.size() % 256);
    return bytes + value;
}

QByteArray jpegWithResources(const QByteArray &resources)
{
    return writeJpeg(flatImage({16, 16}, GREY), 95, {.photoshop = resources});
}

QByteArray resourcesCarriedFrom(const QByteArray &file)
{
    const auto metadata = carriedMetadata(fileOf(file), NEW_SIZE);
    return metadata ? metadata->photoshop : QByteArray("no metadata");
}

/// A date, a time of day without a zone, a set twice that there should be once, and a caption.
QByteArray unusualIptc()
{
    return dataSet(55, "20240501") + dataSet(60, "140329") + dataSet(5, "one") + dataSet(5, "two") +
           dataSet(120, "sunrise");
}

TEST(CarriedMetadata, IptcGoesOverByteForByte)
{
    const QByteArray iptc = resource(4, 4, unusualIptc());
    EXPECT_EQ(resourcesCarriedFrom(jpegWithResources(iptc)), iptc);
}

TEST(CarriedMetadata, IptcOfATiffGoesOverByteForByte)
{
    const auto tiff = [](quint16 tag, const QByteArray &content) {
        return pictures::tiffBlock({pictures::asciiField(0x010f, "TestMake"),
                                    pictures::longField(0x0100, 16),
                                    pictures::longField(0x0101, 16),
                                    pictures::bytesField(tag, pictures::TiffType::Byte, content)});
    };
    const QByteArray iptc = resource(4, 4, unusualIptc());
    EXPECT_EQ(resourcesCarriedFrom(tiff(0x83bb, unusualIptc())), iptc);
    EXPECT_EQ(resourcesCarriedFrom(tiff(0x8649, iptc)), iptc);
}

TEST(CarriedMetadata, IptcThatLiesInSeveralResourcesIsWrittenAnew)
{
    // Exiv2 puts them together.
    const QByteArray iptc = dataSet(120, "sunrise");
    EXPECT_EQ(resourcesCarriedFrom(
                  jpegWithResources(resource(4, 4, iptc.first(8)) + resource(4, 4, iptc.mid(8)))),
              resource(4, 4, iptc));
}

TEST(CarriedMetadata, IptcsPreviewIsLeftBehindAndTheRestIsAsItWas)
{
    const QByteArray preview = dataSet(200, "1") + dataSet(201, "1") + dataSet(202, "a picture");
    EXPECT_EQ(resourcesCarriedFrom(jpegWithResources(
                  resource(4, 4, dataSet(60, "140329") + preview + dataSet(5, "one")))),
              resource(4, 4, dataSet(60, "140329") + dataSet(5, "one")));
}

TEST(CarriedMetadata, PhotoshopsResourcesSurviveButForThoseOfTheOldPixels)
{
    const QByteArray resolution = resource(0x03, char(0xed), QByteArray(16, '\1'));
    const QByteArray copyright = resource(0x04, 0x0a, "\1");
    const QByteArray thumbnail = resource(0x04, 0x0c, "a picture");
    const QByteArray path = resource(0x07, char(0xd0), "a path");
    EXPECT_EQ(resourcesCarriedFrom(jpegWithResources(resolution + thumbnail + path + copyright)),
              resolution + copyright);
}

TEST(CarriedMetadata, CommentsSurvive)
{
    const std::vector<QByteArray> comments{"first", QByteArray("second\0", 7)};
    const QByteArray jpeg = writeJpeg(flatImage({16, 16}, GREY), 95, {.comments = comments});
    EXPECT_EQ(carriedMetadata(fileOf(jpeg), NEW_SIZE)->comments, comments);
}

TEST(CarriedMetadata, CommentsThatAreTooManyAreLeftOut)
{
    const QByteArray jpeg = writeJpeg(flatImage({16, 16}, GREY), 95,
                                      {.comments = std::vector<QByteArray>(100, "comment")});
    EXPECT_EQ(carriedMetadata(fileOf(jpeg), NEW_SIZE)->comments,
              std::vector<QByteArray>(JpegMetadata::MAX_COMMENTS, "comment"));
}

TEST(CarriedMetadata, DensityOfAJpegSurvives)
{
    for (const PixelDensity &density :
         {PixelDensity{1, 300, 300}, PixelDensity{2, 118, 119}, PixelDensity{0, 2, 1}}) {
        const QByteArray jpeg = writeJpeg(flatImage({16, 16}, GREY), 95, {.density = density});
        EXPECT_EQ(carriedMetadata(fileOf(jpeg), NEW_SIZE)->density, density);
    }
}

TEST(CarriedMetadata, DensityOfAPngBecomesPixelsAnInch)
{
    // 11811 a metre, 299.9994 an inch.
    const QByteArray physical("\0\0\x2e\x23\0\0\x2e\x23\1", 9);
    const QByteArray file = png(16, 16, pngChunk("pHYs", physical) + pngChunk("IDAT", "?"));
    EXPECT_EQ(carriedMetadata(fileOf(file), NEW_SIZE)->density, (PixelDensity{1, 300, 300}));
}

TEST(CarriedMetadata, DensityBesideExifThatSaysNoneGoesThere)
{
    QByteArray jpeg = writeJpeg(flatImage({16, 16}, GREY), 95, {.density = {1, 240, 250}});
    const QByteArray exif = "Exif" + QByteArray(2, '\0') +
                            pictures::tiffBlock({pictures::asciiField(0x010f, "TestMake")});
    QByteArray segment("\xff\xe1");
    segment += static_cast<char>((exif.size() + 2) / 256);
    segment += static_cast<char>((exif.size() + 2) % 256);
    constexpr qsizetype BEHIND_JFIF = 20;
    jpeg.insert(BEHIND_JFIF, segment + exif);
    const auto values = carriedFrom(jpeg);
    EXPECT_EQ(values.at("Exif.Image.XResolution"), "240/1");
    EXPECT_EQ(values.at("Exif.Image.YResolution"), "250/1");
    EXPECT_EQ(values.at("Exif.Image.ResolutionUnit"), "2");
}

QByteArray bigEndian32(qsizetype number)
{
    QByteArray bytes(4, '\0');
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<char>(number >> (24 - 8 * i));
    return bytes;
}

/// A packet with @p properties of its description.
QByteArray xmpPacket(const QByteArray &properties)
{
    return "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF "
           "xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description rdf:about='' "
           "xmlns:xmp='http://ns.adobe.com/xap/1.0/' xmlns:dc='http://purl.org/dc/elements/1.1/' "
           "xmlns:GDepth='http://ns.google.com/photos/1.0/depthmap/' "
           "xmlns:xmpNote='http://ns.adobe.com/xmp/note/' " +
           properties + "/></rdf:RDF></x:xmpmeta>";
}

/// The further @p packet as it lies in a JPEG, in segments of at most @p most bytes, of which
/// @p count are there.
QByteArray xmpSegments(const QByteArray &packet, qsizetype most, int count = 99)
{
    const QByteArray digest =
        QCryptographicHash::hash(packet, QCryptographicHash::Md5).toHex().toUpper();
    QByteArray segments;
    for (qsizetype at = 0; at < packet.size() && count > 0; at += most, --count) {
        const QByteArray content = QByteArray("http://ns.adobe.com/xmp/extension/\0", 35) + digest +
                                   bigEndian32(packet.size()) + bigEndian32(at) +
                                   packet.mid(at, most);
        segments += "\xff\xe1" + bigEndian32(content.size() + 2).mid(2) + content;
    }
    return segments;
}

/// Where segments can be put into a JPEG.
constexpr qsizetype BEHIND_JFIF = 20;

/// A JPEG with a rating of 4 in its packet, and a further one with @p properties in segments of at
/// most @p most bytes, of which @p count are there.
QByteArray jpegWithMoreXmp(const QByteArray &properties, qsizetype most = 60'000, int count = 99)
{
    const QByteArray further = xmpPacket(properties);
    const QByteArray digest =
        QCryptographicHash::hash(further, QCryptographicHash::Md5).toHex().toUpper();
    QByteArray jpeg =
        writeJpeg(flatImage({16, 16}, GREY), 95,
                  {.xmp = xmpPacket("xmp:Rating='4' xmpNote:HasExtendedXMP='" + digest + "'")});
    jpeg.insert(BEHIND_JFIF, xmpSegments(further, most, count));
    return jpeg;
}

TEST(CarriedMetadata, XmpInFurtherSegmentsGoesIntoTheOnePacket)
{
    for (const qsizetype most : {60'000, 100}) {
        const auto values = carriedFrom(jpegWithMoreXmp("xmp:Label='Red'", most));
        EXPECT_EQ(values.at("Xmp.xmp.Rating"), "4");
        EXPECT_EQ(values.at("Xmp.xmp.Label"), "Red");
        EXPECT_FALSE(values.contains("Xmp.xmpNote.HasExtendedXMP"));
    }
}

TEST(CarriedMetadata, XmpInFurtherSegmentsIsLeftOutWhereItIsNotWhole)
{
    const auto values = carriedFrom(jpegWithMoreXmp("xmp:Label='Red'", 100, 2));
    EXPECT_EQ(values.at("Xmp.xmp.Rating"), "4");
    EXPECT_FALSE(values.contains("Xmp.xmp.Label"));
}

TEST(CarriedMetadata, XmpInFurtherSegmentsIsLeftOutWhereItIsAnother)
{
    QByteArray jpeg = jpegWithMoreXmp("xmp:Label='Red'");
    const auto values = carriedFrom(jpeg.replace("Label='Red'", "Label='Bed'"));
    EXPECT_EQ(values.at("Xmp.xmp.Rating"), "4");
    EXPECT_FALSE(values.contains("Xmp.xmp.Label"));
}

TEST(CarriedMetadata, XmpInFurtherSegmentsIsLeftOutWhereItDoesNotFit)
{
    const auto values = carriedFrom(
        jpegWithMoreXmp("xmp:Label='Red' dc:source='" + QByteArray(100'000, 'x') + '\''));
    EXPECT_EQ(values.at("Xmp.xmp.Rating"), "4");
    EXPECT_EQ(values.at("Xmp.xmp.Label"), "Red");
    EXPECT_FALSE(values.contains("Xmp.dc.source"));
}

TEST(CarriedMetadata, XmpInFurtherSegmentsIsThatWhichTheFirstPacketNames)
{
    // Whatever the order in which they are found.
    for (const char *label : {"Blue", "Green", "Brown", "Grey"}) {
        QByteArray jpeg = jpegWithMoreXmp("xmp:Label='Red'");
        jpeg.insert(BEHIND_JFIF,
                    xmpSegments(xmpPacket(QByteArray("xmp:Label='") + label + '\''), 60'000));
        EXPECT_EQ(carriedFrom(jpeg).at("Xmp.xmp.Label"), "Red") << label;
    }
}

TEST(CarriedMetadata, XmpInFurtherSegmentsOfMoreThanAMegabyteIsLeftBehindAndNothingElse)
{
    const QByteArray comment(60'000, 'c');
    for (const int bytes : {2'000'000, 5'000'000}) {
        QByteArray jpeg =
            jpegWithMoreXmp("xmp:Label='Red' dc:source='" + QByteArray(bytes, 'x') + '\'');
        jpeg.insert(jpeg.indexOf("\xff\xdb"),
                    "\xff\xfe" + bigEndian32(comment.size() + 2).mid(2) + comment);
        const auto metadata = carriedMetadata(fileOf(jpeg), NEW_SIZE);
        ASSERT_TRUE(metadata);
        const auto values = valuesIn(*metadata);
        EXPECT_EQ(values.at("Xmp.xmp.Rating"), "4");
        EXPECT_FALSE(values.contains("Xmp.xmp.Label"));
        EXPECT_EQ(metadata->comments, std::vector<QByteArray>{comment});
    }
}

TEST(CarriedMetadata, DepthMapsInFurtherSegmentsAreLeftBehind)
{
    const auto values = carriedFrom(jpegWithMoreXmp("xmp:Label='Red' GDepth:Data='a map'"));
    EXPECT_EQ(values.at("Xmp.xmp.Label"), "Red");
    EXPECT_FALSE(hasGroup(values, "Xmp.GDepth."));
}

TEST(CarriedMetadata, ExifThatIsTooLargeLosesItsLargestValues)
{
    // 300 KB, as a TIFF may have it: five values of 60000 bytes in IFD0 that nobody knows.
    TiffDirectory main{pictures::asciiField(0x010f, "TestMake"),
                       pictures::directoriesField(0x8769, {pictures::exposureDirectory(0)})};
    for (quint16 tag = 0xc100; tag < 0xc105; ++tag)
        main.push_back(pictures::bytesField(tag, pictures::TiffType::Undefined,
                                            QByteArray(60'000, static_cast<char>(tag))));
    const auto metadata = carriedMetadata(fileOf(pictures::tiffBlock(main)), NEW_SIZE);
    ASSERT_TRUE(metadata);
    EXPECT_LE(metadata->exif.size(), JpegMetadata::MAX_EXIF_BYTES);
    const auto values = valuesIn(*metadata);
    EXPECT_EQ(values.at("Exif.Image.Make"), "TestMake");
    EXPECT_EQ(values.at("Exif.Photo.LensModel"), "TestLens 50mm");
    EXPECT_EQ(values.at("Exif.Photo.PixelXDimension"), "1200");
}

TEST(CarriedMetadata, XmpThatIsTooLargeLosesItsLargestValues)
{
    // Fits as it is written here, but not as Exiv2 writes it: every > takes four bytes.
    const auto values = carriedFrom(
        jpegWithXmp("dc:source='" + QByteArray(30'000, '>') + "' xmp:Rating='4' xmp:Label='Red'"));
    EXPECT_FALSE(values.contains("Xmp.dc.source"));
    EXPECT_EQ(values.at("Xmp.xmp.Rating"), "4");
    EXPECT_EQ(values.at("Xmp.xmp.Label"), "Red");
}

TEST(CarriedMetadata, SrgbIsToBeSaidWhereExifSaysAdobeRgb)
{
    TiffDirectory exposure = pictures::exposureDirectory(0);
    exposure.push_back(pictures::shortField(0xa001, {2}));
    const QByteArray exif = pictures::tiffBlock(
        {pictures::asciiField(0x010f, "TestMake"), pictures::directoriesField(0x8769, {exposure})});
    EXPECT_EQ(carriedMetadata(fileOf(jpegWith(exif)), NEW_SIZE)->defaultProfile, srgbProfile());
    EXPECT_TRUE(carriedMetadata(fileOf(jpegWith(pictures::exifBlock(1))), NEW_SIZE)
                    ->defaultProfile.isEmpty());
}

TEST(CarriedMetadata, ColorSpaceOfAnotherTypeIsNone)
{
    TiffDirectory exposure = pictures::exposureDirectory(0);
    // The quotient is one that no number of its size can hold.
    constexpr int LEAST = std::numeric_limits<int>::min();
    exposure.push_back(pictures::rationalField(0xa001, {{LEAST, -1}}));
    const QByteArray exif = pictures::tiffBlock(
        {pictures::asciiField(0x010f, "TestMake"), pictures::directoriesField(0x8769, {exposure})});
    EXPECT_TRUE(carriedMetadata(fileOf(jpegWith(exif)), NEW_SIZE)->defaultProfile.isEmpty());
}

/// An XMP packet with a description of @p count properties.
QByteArray packetOf(int count)
{
    QByteArray packet = "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF "
                        "xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description "
                        "rdf:about='' xmlns:xmp='http://ns.adobe.com/xap/1.0/'";
    for (int i = 0; i < count; ++i)
        packet += " xmp:a" + QByteArray::number(i) + "=''";
    return packet + "/></rdf:RDF></x:xmpmeta>";
}

/// A PNG with @p content in a chunk of @p type.
QByteArray pngWith(std::string_view type, const QByteArray &content)
{
    return png(16, 16, pngChunk(type, content) + pngChunk("IDAT", "?"));
}

/// A TIFF stream with @p packet in its tag.
QByteArray tiffWith(const QByteArray &packet)
{
    return pictures::tiffBlock({pictures::asciiField(0x010f, "TestMake"),
                                pictures::longField(0x0100, 16), pictures::longField(0x0101, 16),
                                pictures::bytesField(0x02bc, pictures::TiffType::Byte, packet)});
}

qsizetype propertiesIn(const QByteArray &file)
{
    const auto values = carriedFrom(file);
    return std::count_if(values.begin(), values.end(),
                         [](const auto &value) { return value.first.starts_with("Xmp.xmp.a"); });
}

TEST(CarriedMetadata, XmpOfManyPropertiesSurvives)
{
    const QByteArray packet = packetOf(1500);
    const QByteArray text = QByteArray("XML:com.adobe.xmp\0\0\0\0\0", 22) + packet;
    EXPECT_EQ(propertiesIn(writeJpeg(flatImage({16, 16}, GREY), 95, {.xmp = packet})), 1500);
    EXPECT_EQ(propertiesIn(pngWith("iTXt", text)), 1500);
    EXPECT_EQ(propertiesIn(tiffWith(packet)), 1500);
}

TEST(CarriedMetadata, XmpOfMorePropertiesThanAnyoneHasIsLeftOut)
{
    const QByteArray packet = packetOf(100'000);
    const QByteArray name("XML:com.adobe.xmp\0", 18);
    const QByteArray plain = name + QByteArray(4, '\0') + packet;
    const QByteArray deflated =
        name + QByteArray("\1\0\0\0", 4) + qCompress(packet).mid(4); // without Qt's length
    EXPECT_EQ(propertiesIn(pngWith("iTXt", plain)), 0);
    EXPECT_EQ(propertiesIn(pngWith("iTXt", deflated)), 0);
    EXPECT_EQ(propertiesIn(tiffWith(packet)), 0);
    EXPECT_EQ(carriedFrom(tiffWith(packet)).at("Exif.Image.Make"), "TestMake");
    // As many as a JPEG's segment has room for.
    const QByteArray short64K = packetOf(6'000).left(65'000);
    EXPECT_EQ(propertiesIn(writeJpeg(flatImage({16, 16}, GREY), 95, {.xmp = short64K})), 0);
}

TEST(CarriedMetadata, NoneForWhatIsNoPicture)
{
    EXPECT_FALSE(carriedMetadata(fileOf("no picture"), NEW_SIZE));
    EXPECT_FALSE(carriedMetadata(fileOf({}), NEW_SIZE));
}

TEST(CarriedMetadata, DamagedFilesDoNoHarm)
{
    const HeifFileItem picture{"hvc1", "stream", {ispe({6, 4})}, {}};
    const HeifFileItem exif{"Exif", QByteArray(4, '\0') + pictures::exifBlock(6), {}, {}};
    const std::vector<QByteArray> files{jpegWith(pictures::exifBlock(6)).left(1200),
                                        tiffWithCanonsNotes(100), pictures::exifBlock(6),
                                        heifFile({picture, exif})};
    for (unsigned seed = 0; seed < 1200; ++seed) {
        const QByteArray file = damaged(files[seed % files.size()], seed);
        const auto metadata = carriedMetadata(fileOf(file), NEW_SIZE);
        if (metadata) {
            EXPECT_LE(metadata->exif.size(), JpegMetadata::MAX_EXIF_BYTES);
        }
    }
}

TEST(IsCarried, KeepsWhatTheCameraSays)
{
    for (const char *key :
         {"Exif.Image.Make", "Exif.Photo.MakerNote", "Exif.GPSInfo.GPSLatitude",
          "Exif.Canon.OwnerName", "Exif.Nikon3.ISOSpeed", "Exif.Iop.InteroperabilityIndex",
          "Iptc.Application2.Caption", "Xmp.dc.creator", "Xmp.xmp.Rating"})
        EXPECT_TRUE(isCarried(key)) << key;
}

TEST(IsCarried, DropsSmallPicturesAndTheirPlaces)
{
    for (const char *key :
         {"Exif.Thumbnail.JPEGInterchangeFormat", "Exif.NikonPreview.JPEGInterchangeFormat",
          "Exif.Pentax.PreviewOffset", "Exif.Casio2.PreviewImage", "Exif.Olympus.ThumbnailImage",
          "Exif.OlympusCs.PreviewImageStart", "Exif.Sony1.PreviewImage",
          "Exif.MpfInfo.MPFNumberOfImages", "Iptc.Application2.Preview",
          "Xmp.xmp.Thumbnails[1]/xmpGImg:image"})
        EXPECT_FALSE(isCarried(key)) << key;
}

} // namespace

} // namespace tavolin
