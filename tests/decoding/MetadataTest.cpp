#include "decoding/metadata/Metadata.h"

#include "decoding/metadata/Exiv2Access.h"
#include "FileBytes.h"
#include "HeifFile.h"
#include "LargeFiles.h"
#include "pictures/Exif.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "pictures/Tiff.h"
#include "pictures/Writing.h"
#include "TestPictures.h"

#include <QTemporaryFile>
#include <QtEndian>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <exiv2/exiv2.hpp>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

using pictures::asciiField;
using pictures::bytesField;
using pictures::rationalField;
using pictures::shortField;
using pictures::TiffDirectory;
using pictures::TiffType;
using test::box;
using test::damaged;
using test::FileBytes;
using test::fileOf;
using test::fullBox;

constexpr quint16 MODEL = 0x0110;
constexpr quint16 EXPOSURE_TIME = 0x829a;
constexpr quint16 F_NUMBER = 0x829d;
constexpr quint16 EXIF_DIRECTORY = 0x8769;
constexpr quint16 ISO = 0x8827;
constexpr quint16 DATE = 0x9003;
constexpr quint16 FOCAL_LENGTH = 0x920a;
constexpr quint16 LENS = 0xa434;

std::optional<PhotoMetadata> read(const QByteArray &bytes)
{
    const auto found = readFacts(fileOf(bytes), ThumbnailRule::FromImageAlways);
    return found ? std::optional(found->metadata) : std::nullopt;
}

/// The same, of a file that must be a picture.
PhotoMetadata facts(const QByteArray &bytes)
{
    const auto metadata = read(bytes);
    EXPECT_TRUE(metadata);
    return metadata.value_or(PhotoMetadata{});
}

TiffDirectory withExif(TiffDirectory main, const TiffDirectory &exif)
{
    if (!exif.empty())
        main.push_back(pictures::directoriesField(EXIF_DIRECTORY, {exif}));
    return main;
}

QByteArray jpegOf(const TiffDirectory &main, const TiffDirectory &exif)
{
    return pictures::encodeJpeg(pictures::fourQuarters({6, 4}),
                                {.exif = pictures::tiffBlock(withExif(main, exif))});
}

/// A TIFF as far as its headers go.
QByteArray tiffOf(TiffDirectory main, const TiffDirectory &exif)
{
    main.push_back(shortField(0x0100, {6}));
    main.push_back(shortField(0x0101, {4}));
    return pictures::tiffBlock(withExif(std::move(main), exif));
}

/// A HEIF of one picture without data and an EXIF block.
QByteArray heifOf(const QByteArray &block)
{
    const auto infe = [](int id, std::string_view type) {
        FileBytes entry;
        entry.u16(static_cast<std::uint64_t>(id)).u16(0).text(type).u8(0);
        return fullBox("infe", 0x02000000, entry.bytes());
    };
    const auto file = [&](std::uint64_t exifAt) {
        const QByteArray infos = infe(1, "hvc1") + infe(2, "Exif");
        FileBytes places;
        places.u8(0x44).u8(0).u16(1); // offsets and lengths of 4 bytes, no base; one item
        places.u16(2).u16(0).u16(1).u32(exifAt).u32(static_cast<std::uint64_t>(block.size()) + 4);
        const QByteArray size = fullBox("ispe", 0, FileBytes().u32(6).u32(4).bytes());
        const QByteArray uses = fullBox("ipma", 0, FileBytes().u32(1).u16(1).u8(1).u8(1).bytes());
        const QByteArray handler =
            fullBox("hdlr", 0, FileBytes().u32(0).text("pict").zeros(13).bytes());
        return box("ftyp", FileBytes().text("heic").u32(0).text("mif1heic").bytes()) +
               fullBox("meta", 0,
                       handler + fullBox("pitm", 0, FileBytes().u16(1).bytes()) +
                           fullBox("iloc", 0, places.bytes()) +
                           fullBox("iinf", 0, FileBytes().u16(2).append(infos).bytes()) +
                           box("iprp", box("ipco", size) + uses));
    };
    constexpr int BOX_HEAD = 8;
    const auto exifAt = static_cast<std::uint64_t>(file(0).size()) + BOX_HEAD;
    return file(exifAt) + box("mdat", FileBytes().u32(0).append(block).bytes());
}

/// A CR3: main and EXIF directory are streams of their own.
QByteArray cr3Of(const TiffDirectory &main, const TiffDirectory &exif)
{
    const QByteArray boxes = box("CMT1", tiffOf(main, {})) + box("CMT2", pictures::tiffBlock(exif));
    return box("ftyp", FileBytes().text("crx ").u32(1).text("crx isom").bytes()) +
           box("moov",
               box("uuid", QByteArray::fromHex("85c0b687820f11e08111f4ce462b6a48") + boxes));
}

QByteArray rafOf(const QByteArray &jpeg)
{
    FileBytes bytes;
    bytes.text("FUJIFILMCCD-RAW 0201FF000000").zeros(56);
    return bytes.u32(148)
        .u32(static_cast<std::uint64_t>(jpeg.size()))
        .zeros(56)
        .append(jpeg)
        .bytes();
}

/// An RW2 of 60 by 40 pixels that carries @p jpeg.
QByteArray rw2Of(TiffDirectory main, const TiffDirectory &exif, const QByteArray &jpeg)
{
    main.push_back(shortField(4, {0}));
    main.push_back(shortField(5, {0}));
    main.push_back(shortField(6, {40}));
    main.push_back(shortField(7, {60}));
    main.push_back(bytesField(0x002e, TiffType::Undefined, jpeg));
    QByteArray bytes = pictures::tiffBlock(withExif(std::move(main), exif));
    bytes[2] = 0x55;
    return bytes;
}

/// What pictures::exifBlock() says.
PhotoMetadata generatedFacts(QSize size)
{
    return {.pixelSize = size,
            .model = u"TestCamera"_s,
            .lensModel = u"TestLens 50mm"_s,
            .focalLength = 50.0,
            .fNumber = 2.8,
            .exposureTime = 0.004,
            .iso = 100,
            .dateTimeOriginal = u"2024:05:01 14:03:22"_s};
}

void expectFacts(const PhotoMetadata &actual, const PhotoMetadata &expected)
{
    const auto utf8 = [](const std::optional<QString> &text) {
        return text ? text->toStdString() : "(absent)";
    };
    EXPECT_EQ(actual.pixelSize, expected.pixelSize);
    EXPECT_EQ(utf8(actual.model), utf8(expected.model));
    EXPECT_EQ(utf8(actual.lensModel), utf8(expected.lensModel));
    EXPECT_EQ(actual.focalLength, expected.focalLength);
    EXPECT_EQ(actual.fNumber, expected.fNumber);
    EXPECT_EQ(actual.exposureTime, expected.exposureTime);
    EXPECT_EQ(actual.iso, expected.iso);
    EXPECT_EQ(utf8(actual.dateTimeOriginal), utf8(expected.dateTimeOriginal));
}

/// A picture of 200 by 150 pixels, seen upright, that is stored on its side.
QByteArray generated(const std::string &extension)
{
    const pictures::PictureSpec spec{.size = {200, 150}, .orientation = 6, .detailed = false};
    return pictures::encodePicture(pictures::drawPicture(spec), spec, extension);
}

// Containers

class MetadataOf : public testing::TestWithParam<const char *>
{};

TEST_P(MetadataOf, GeneratedPicturesIsWhole)
{
    PhotoMetadata expected = generatedFacts({200, 150});
    expected.dateTimeOriginal = u"2024:05:01 14:03:23"_s; // the picture's index is 1
    if (GetParam() == std::string(".dng"))
        expected.model = u"TestRaw"_s;
    expectFacts(facts(generated(GetParam())), expected);
    EXPECT_EQ(facts(generated(GetParam())).make, u"TestMake"_s);
}

INSTANTIATE_TEST_SUITE_P(Formats, MetadataOf,
                         testing::Values(".jpg", ".png", ".webp", ".tif", ".dng"),
                         [](const auto &test) { return std::string(test.param).substr(1); });

TEST(Metadata, OfHeifIsWhole)
{
    expectFacts(facts(heifOf(pictures::exifBlock(1))), generatedFacts({6, 4}));
}

TEST(Metadata, OfHeicIsWholeThoughExiv2FindsNothing)
{
    if (!test::canEncodeHeic())
        GTEST_SKIP() << "libheif has no HEVC encoder";
    const QByteArray profile(8, '\0'); // far too short to be one
    const QByteArray file = test::encodeHeic(
        pictures::fourQuarters({64, 48}), {.iccProfile = profile, .exif = pictures::exifBlock(1)});
    bool isFound = false;
    withMetadata(fileOf(file),
                 [&isFound](const Exiv2::Image &image) { isFound = !image.exifData().empty(); });
    ASSERT_FALSE(isFound);
    expectFacts(facts(file), generatedFacts({64, 48}));
}

// A pair of pictures, of two lenses, of which one is shown.
TEST(Metadata, OfASpatialPhotoIsThatOfThePictureShown)
{
    const auto exif = [](const QByteArray &lens, std::uint32_t picture) {
        const QByteArray block = pictures::tiffBlock(
            {pictures::directoriesField(EXIF_DIRECTORY, {{asciiField(LENS, lens)}})});
        return test::HeifFileItem{"Exif", QByteArray(4, '\0') + block, {}, {{"cdsc", {picture}}}};
    };
    const test::HeifFileItem picture{"hvc1", "stream", {test::ispe({6, 4})}, {}};
    for (const QByteArray &file :
         {test::heifFile({picture, picture, exif("Left", 1), exif("Right", 2)}),
          test::heifFile({picture, picture, exif("Right", 2), exif("Left", 1)})})
        EXPECT_EQ(facts(file).lensModel, u"Left"_s);
}

TEST(Metadata, OfCr3ComesFromItsTwoStreams)
{
    expectFacts(facts(cr3Of({asciiField(MODEL, "TestCamera")}, pictures::exposureDirectory(0))),
                generatedFacts({6, 4}));
}

// A card that is pulled while it is copied from.
TEST(Metadata, OfACutCr3IsWhatIsThere)
{
    QByteArray file = cr3Of({asciiField(MODEL, "TestCamera")}, pictures::exposureDirectory(0));
    const qsizetype moovEnd = file.size();
    file += box("uuid", QByteArray(1000, 'p')) + box("mdat", QByteArray(1000, 'd'));
    for (qsizetype size = moovEnd; size <= file.size(); ++size)
        expectFacts(facts(file.first(size)), generatedFacts({6, 4}));
    const QByteArray withoutExif = file.first(file.indexOf("CMT2"));
    expectFacts(facts(withoutExif), {.pixelSize = QSize(6, 4), .model = u"TestCamera"_s});
}

TEST(Metadata, OfACutFileIsWholeWhereOnlyPixelsAreMissing)
{
    const QByteArray jpeg = generated(".jpg");
    const qsizetype tables = jpeg.indexOf("\xff\xdb");
    ASSERT_GT(tables, 0);
    EXPECT_EQ(facts(jpeg.first(tables)).lensModel, u"TestLens 50mm"_s);
    EXPECT_EQ(facts(jpeg.first(tables + 10)).lensModel, u"TestLens 50mm"_s);
    const QByteArray png = generated(".png");
    const qsizetype data = png.indexOf("IDAT");
    ASSERT_GT(data, png.indexOf("eXIf"));
    EXPECT_EQ(facts(png.first(data + 100)).lensModel, u"TestLens 50mm"_s);
}

TEST(Metadata, OfAFileThatIsCutInItsExifIsWhatIsThere)
{
    // The EXIF directory follows the main one.
    const QByteArray jpeg =
        jpegOf({asciiField(MODEL, "TestCamera")}, pictures::exposureDirectory(0));
    const qsizetype model = jpeg.indexOf("TestCamera");
    ASSERT_GT(model, 0);
    expectFacts(facts(jpeg.first(model + 11)), {.model = u"TestCamera"_s});
    expectFacts(facts(rafOf(jpeg.first(model + 11))), {.model = u"TestCamera"_s});
}

TEST(Metadata, OfRafComesFromItsJpeg)
{
    const QByteArray jpeg =
        jpegOf({asciiField(MODEL, "TestCamera")}, pictures::exposureDirectory(0));
    expectFacts(facts(rafOf(jpeg)), generatedFacts({6, 4}));
}

TEST(Metadata, OfRafWithoutJpegIsMissing)
{
    EXPECT_FALSE(read(rafOf({})));
    // A library would take it for what it looks like, and the whole file with it.
    EXPECT_FALSE(read(rafOf(pictures::tiffBlock({asciiField(MODEL, "TestCamera")}))));
}

TEST(Metadata, OfRw2IsCompletedFromItsJpeg)
{
    const QByteArray jpeg =
        jpegOf({asciiField(MODEL, "JpegCamera")}, pictures::exposureDirectory(0));
    PhotoMetadata expected = generatedFacts({60, 40});
    expected.fNumber = 4.0;
    expectFacts(
        facts(rw2Of({asciiField(MODEL, "TestCamera")}, {rationalField(F_NUMBER, {{4, 1}})}, jpeg)),
        expected);
}

TEST(Metadata, OfBmpIsItsSize)
{
    expectFacts(facts(generated(".bmp")), {.pixelSize = QSize(200, 150)});
}

TEST(Metadata, OfPicturesWithoutExifIsTheirSize)
{
    expectFacts(facts(test::png(800, 600)), {.pixelSize = QSize(800, 600)});
    expectFacts(facts(test::jpeg(800, 600)), {.pixelSize = QSize(800, 600)});
}

TEST(Metadata, IsMissingWhereThereIsNoPicture)
{
    EXPECT_FALSE(read({}));
    EXPECT_FALSE(read("a text"));
    EXPECT_FALSE(read("GIF89a\x01\x02\x03\x04"));
    EXPECT_FALSE(read("\xff\xd8\xff"));
    EXPECT_FALSE(read(QByteArray("II*\0\x08\0\0\0", 8)));
}

TEST(Metadata, IsMissingForKindsThatAreNotShown)
{
    const QByteArray tiff = pictures::tiffBlock({asciiField(MODEL, "TestCamera")});
    const auto length = static_cast<std::uint64_t>(tiff.size());
    FileBytes mrw; // Minolta's, which the metadata library reads
    mrw.u8(0).text("MRM").u32(length + 8).u8(0).text("TTW").u32(length).append(tiff);
    EXPECT_FALSE(read(mrw.bytes()));
}

TEST(Metadata, IsThereWithoutASize)
{
    const QByteArray tiff = pictures::tiffBlock({asciiField(MODEL, "TestCamera")});
    expectFacts(facts(tiff), {.model = u"TestCamera"_s});
}

TEST(Metadata, IsMissingOnceAskedToStop)
{
    EXPECT_FALSE(readFacts(test::stoppedFileOf(generated(".jpg")), ThumbnailRule::FromImageAlways));
    EXPECT_FALSE(readFacts(test::stoppedFileOf(generated(".tif")), ThumbnailRule::FromImageAlways));
}

TEST(Metadata, OfABigEndianStreamIsRead)
{
    constexpr std::uint32_t ABC = 0x41424300;
    const QByteArray tiff =
        test::tiff(test::ByteOrder::Big,
                   {{0x0110, test::ASCII, 4, ABC}, {0x8769, test::LONG, 1, 38}}) +
        test::directory(test::ByteOrder::Big, {{0x829a, 5, 1, 68}, {0x8827, test::SHORT, 1, 400}}) +
        FileBytes().u32(1).u32(250).bytes();
    expectFacts(facts(tiff), {.model = u"ABC"_s, .exposureTime = 0.004, .iso = 400});
}

// Tags, read from a JPEG in one way and from a TIFF in another

struct Container
{
    const char *name;
    QByteArray (*make)(TiffDirectory main, const TiffDirectory &exif);
};

void PrintTo(const Container &container, std::ostream *out)
{
    *out << container.name;
}

class MetadataTags : public testing::TestWithParam<Container>
{
protected:
    [[nodiscard]] static PhotoMetadata of(const TiffDirectory &main, const TiffDirectory &exif)
    {
        return facts(GetParam().make(main, exif));
    }
    [[nodiscard]] static PhotoMetadata ofMain(const pictures::TiffField &field)
    {
        return of({field}, {});
    }
    [[nodiscard]] static PhotoMetadata ofExif(const pictures::TiffField &field)
    {
        return of({}, {field});
    }
};

INSTANTIATE_TEST_SUITE_P(
    Containers, MetadataTags,
    testing::Values(Container{"Jpeg", [](TiffDirectory main,
                                         const TiffDirectory &exif) { return jpegOf(main, exif); }},
                    Container{"Tiff", tiffOf}),
    [](const auto &test) { return std::string(test.param.name); });

TEST_P(MetadataTags, NumberWhereATextBelongsIsAbsent)
{
    expectFacts(
        of({shortField(MODEL, {5})}, {shortField(LENS, {6}), rationalField(DATE, {{7, 1}})}),
        {.pixelSize = QSize(6, 4)});
}

TEST_P(MetadataTags, BytesWhereATextBelongsAreAbsent)
{
    EXPECT_EQ(ofMain(bytesField(MODEL, TiffType::Undefined, "Camera")).model, std::nullopt);
    EXPECT_EQ(ofMain(bytesField(MODEL, TiffType::Byte, "Camera")).model, std::nullopt);
}

TEST_P(MetadataTags, TextWhereANumberBelongsIsAbsent)
{
    expectFacts(of({}, {asciiField(FOCAL_LENGTH, "50"), asciiField(F_NUMBER, "2.8"),
                        asciiField(EXPOSURE_TIME, "1/250"), asciiField(ISO, "100")}),
                {.pixelSize = QSize(6, 4)});
}

TEST_P(MetadataTags, WholeNumberWhereAFractionBelongsCounts)
{
    EXPECT_EQ(ofExif(shortField(FOCAL_LENGTH, {35})).focalLength, 35.0);
    EXPECT_EQ(ofExif(pictures::longField(EXPOSURE_TIME, 70000)).exposureTime, 70000.0);
}

TEST_P(MetadataTags, ZeroDenominatorsAreAbsent)
{
    expectFacts(of({}, {rationalField(FOCAL_LENGTH, {{50, 0}}), rationalField(F_NUMBER, {{0, 0}}),
                        rationalField(EXPOSURE_TIME, {{-1, 0}})}),
                {.pixelSize = QSize(6, 4)});
}

TEST_P(MetadataTags, SignedFractionKeepsItsSign)
{
    EXPECT_EQ(ofExif(rationalField(EXPOSURE_TIME, {{-1, 250}})).exposureTime, -0.004);
    const QByteArray value = QByteArray::fromHex("0100000006ffffff"); // 1/-250
    EXPECT_EQ(ofExif(bytesField(EXPOSURE_TIME, TiffType::SignedRational, value)).exposureTime,
              -0.004);
}

TEST_P(MetadataTags, LargestFractionIsNotTakenForMinusOne)
{
    const QByteArray value = QByteArray::fromHex("ffffffff01000000");
    EXPECT_EQ(ofExif(bytesField(F_NUMBER, TiffType::Rational, value)).fNumber, 4294967295.0);
}

TEST_P(MetadataTags, FirstOfSeveralNumbersCounts)
{
    EXPECT_EQ(ofExif(shortField(ISO, {400, 800, 1600})).iso, 400);
    EXPECT_EQ(ofExif(rationalField(F_NUMBER, {{4, 1}, {8, 1}})).fNumber, 4.0);
}

TEST_P(MetadataTags, IsoMayBeLong)
{
    EXPECT_EQ(ofExif(pictures::longField(ISO, 102400)).iso, 102400);
    // 8 is the type of numbers of eight bytes.
    for (const quint64 number : {quint64{1} << 32, quint64{1} << 63, ~quint64{0}}) {
        QByteArray value(8, '\0');
        qToLittleEndian(number, value.data());
        EXPECT_FALSE(
            ofExif(pictures::bytesField(ISO, static_cast<pictures::TiffType>(16), value)).iso);
    }
}

TEST_P(MetadataTags, NoValueAtAllIsAbsent)
{
    expectFacts(
        of({bytesField(MODEL, TiffType::Ascii, {})},
           {bytesField(ISO, TiffType::Short, {}), bytesField(F_NUMBER, TiffType::Rational, {})}),
        {.pixelSize = QSize(6, 4)});
}

TEST_P(MetadataTags, TextEndsAtItsFirstNul)
{
    EXPECT_EQ(ofMain(asciiField(MODEL, QByteArray("Ab\0Cd", 5))).model, u"Ab"_s);
}

TEST_P(MetadataTags, TextNeedsNoNul)
{
    EXPECT_EQ(ofMain(bytesField(MODEL, TiffType::Ascii, "NoNul")).model, u"NoNul"_s);
}

TEST_P(MetadataTags, EmptyTextIsThere)
{
    EXPECT_EQ(ofMain(asciiField(MODEL, {})).model, u""_s);
    EXPECT_EQ(ofExif(asciiField(LENS, "   ")).lensModel, u"   "_s);
}

TEST_P(MetadataTags, TextOfBlanksIsThere)
{
    const auto found = of({asciiField(MODEL, "    ")}, {asciiField(LENS, "  ")});
    EXPECT_EQ(found.model, u"    "_s);
    EXPECT_EQ(found.lensModel, u"  "_s);
}

TEST_P(MetadataTags, TextIsUtf8)
{
    EXPECT_EQ(ofMain(asciiField(MODEL, "กล้อง")).model, u"กล้อง"_s);
    EXPECT_EQ(ofMain(asciiField(MODEL, "Caf\xe9 X")).model, u"Caf\xfffd X"_s);
}

TEST_P(MetadataTags, TextIsCutAt4096Bytes)
{
    EXPECT_EQ(ofMain(asciiField(MODEL, QByteArray(60000, 'M'))).model, QString(4096, u'M'));
}

TEST_P(MetadataTags, TagInTheOtherDirectoryDoesNotCount)
{
    expectFacts(of({rationalField(F_NUMBER, {{4, 1}}), asciiField(DATE, "2024")},
                   {asciiField(MODEL, "Camera")}),
                {.pixelSize = QSize(6, 4)});
}

TEST_P(MetadataTags, ValueBeyondTheEndIsAbsent)
{
    QByteArray file = GetParam().make({asciiField(MODEL, "MyCamera 12")}, {});
    const QByteArray entry = QByteArray::fromHex("100102000c000000");
    const qsizetype at = file.indexOf(entry);
    ASSERT_GE(at, 0);
    file.replace(at + entry.size(), 4, QByteArray::fromHex("ffffff7f"));
    EXPECT_EQ(facts(file).model.value_or(QString()), QString());
}

// Damage

TEST(Metadata, OfATruncatedFileIsThereOrNot)
{
    for (const QByteArray &whole :
         {jpegOf({asciiField(MODEL, "TestCamera")}, pictures::exposureDirectory(0)),
          tiffOf({asciiField(MODEL, "TestCamera")}, pictures::exposureDirectory(0)),
          heifOf(pictures::exifBlock(1))}) {
        for (qsizetype length = 0; length < whole.size(); ++length) {
            const auto metadata = read(whole.left(length));
            if (!metadata)
                continue;
            EXPECT_TRUE(!metadata->fNumber || metadata->fNumber == 2.8) << length;
            EXPECT_TRUE(!metadata->iso || metadata->iso == 100) << length;
        }
    }
}

TEST(Metadata, OfDamagedFilesIsFinite)
{
    const std::vector<QByteArray> files{
        jpegOf({asciiField(MODEL, "TestCamera")}, pictures::exposureDirectory(0)),
        tiffOf({asciiField(MODEL, "TestCamera")}, pictures::exposureDirectory(0)),
        heifOf(pictures::exifBlock(1)),
        rw2Of({asciiField(MODEL, "TestCamera")}, {}, jpegOf({}, pictures::exposureDirectory(0))),
        rafOf(jpegOf({}, pictures::exposureDirectory(0)))};
    for (unsigned seed = 0; seed < 500; ++seed) {
        const auto metadata = read(damaged(files[seed % files.size()], seed));
        if (!metadata)
            continue;
        for (const auto number : {metadata->focalLength, metadata->fNumber, metadata->exposureTime})
            EXPECT_TRUE(std::isfinite(number.value_or(0))) << seed;
    }
}

// Cost

struct LargeFile
{
    const char *name;
    QByteArray (*head)();
};

void PrintTo(const LargeFile &file, std::ostream *out)
{
    *out << file.name;
}

class MetadataOfLargeFile : public testing::TestWithParam<LargeFile>
{};

TEST_P(MetadataOfLargeFile, IsReadFromALittleOfIt)
{
    constexpr qint64 LARGE = qint64{1} << 30;
    constexpr std::int64_t LITTLE = std::int64_t{1} << 20;
    QTemporaryFile large;
    ASSERT_TRUE(large.open());
    const QByteArray head = GetParam().head();
    ASSERT_EQ(large.write(head), head.size());
    ASSERT_TRUE(large.resize(LARGE)); // the rest is a hole that takes no space on the disk
    const auto file = SourceFile::open(large.fileName().toStdString());
    ASSERT_TRUE(file);
    const auto before = test::bytesReadSoFar();
    if (!before)
        GTEST_SKIP() << "this system does not tell what was read";
    const auto found = readFacts(*file, ThumbnailRule::FromImageAlways);
    const std::int64_t readBytes = test::bytesReadSoFar().value_or(0) - *before;
    ASSERT_TRUE(found);
    EXPECT_EQ(found->metadata.iso, 100);
    EXPECT_LT(readBytes, LITTLE);
}

INSTANTIATE_TEST_SUITE_P(
    Containers, MetadataOfLargeFile,
    testing::Values(
        LargeFile{"Jpeg", [] { return generated(".jpg"); }},
        LargeFile{"Png", [] { return generated(".png"); }},
        LargeFile{"WebP", [] { return generated(".webp"); }},
        LargeFile{"Tiff", [] { return generated(".tif"); }},
        LargeFile{"Dng", [] { return generated(".dng"); }},
        LargeFile{"Cr3", [] { return cr3Of({}, pictures::exposureDirectory(0)); }},
        LargeFile{"Heif", [] { return heifOf(pictures::exifBlock(1)); }},
        LargeFile{"Rw2", [] { return rw2Of({}, {}, jpegOf({}, pictures::exposureDirectory(0))); }},
        LargeFile{"Raf", [] { return rafOf(jpegOf({}, pictures::exposureDirectory(0))); }}),
    [](const auto &test) { return std::string(test.param.name); });

/// A gigabyte of pixels, which are a hole in the file, with what comes before and behind them.
struct AroundPixels
{
    const char *name;
    QByteArray before;
    QByteArray behind;
};

constexpr std::uint32_t PIXEL_BYTES = std::uint32_t{1} << 30;

void PrintTo(const AroundPixels &file, std::ostream *out)
{
    *out << file.name;
}

/// As most programs write it: the directories last.
AroundPixels tiffAroundPixels()
{
    constexpr std::uint32_t AT = PIXEL_BYTES + 8;
    constexpr std::uint32_t EXIF_AT = AT + 2 + 3 * 12 + 4;
    using test::ByteOrder;
    return {"Tiff", FileBytes(ByteOrder::Little).text("II").u16(42).u32(AT).bytes(),
            test::directory(ByteOrder::Little, {{0x0100, test::SHORT, 1, 6},
                                                {0x0101, test::SHORT, 1, 4},
                                                {EXIF_DIRECTORY, test::LONG, 1, EXIF_AT}}) +
                test::directory(ByteOrder::Little, {{ISO, test::SHORT, 1, 100}})};
}

AroundPixels pngAroundPixels()
{
    const QByteArray png = test::png(6, 4);
    const qsizetype end = png.indexOf("IEND") - 4;
    return {"Png", png.first(end) + FileBytes().u32(PIXEL_BYTES).text("IDAT").bytes(),
            FileBytes().u32(0).bytes() + test::pngChunk("eXIf", pictures::exifBlock(1)) +
                png.mid(end)};
}

/// Of an extended WebP, or of one that has nothing but pixels.
AroundPixels webPAroundPixels(bool isExtended)
{
    const QByteArray exif = pictures::exifBlock(1);
    const auto exifBytes = static_cast<std::uint32_t>(exif.size());
    FileBytes before(test::ByteOrder::Little);
    before.text("RIFF").u32(PIXEL_BYTES + 4000).text("WEBP");
    if (isExtended) // with EXIF, 6 by 4
        before.text("VP8X").u32(10).u32(8).u16(5).u8(0).u16(3).u8(0);
    const QByteArray frame = QByteArray::fromHex("0000009d012a06000400");
    before.text("VP8 ").u32(PIXEL_BYTES + 10).append(frame);
    FileBytes behind(test::ByteOrder::Little);
    if (isExtended)
        behind.text("EXIF").u32(exifBytes).append(exif).zeros(exif.size() % 2);
    return {isExtended ? "WebP" : "SimpleWebP", before.bytes(), behind.bytes()};
}

AroundPixels cr3AroundPixels()
{
    return {"Cr3",
            cr3Of({}, pictures::exposureDirectory(0)) +
                FileBytes().u32(PIXEL_BYTES + 8).text("mdat").bytes(),
            {}};
}

class MetadataAroundPixels : public testing::TestWithParam<AroundPixels>
{};

TEST_P(MetadataAroundPixels, IsReadWithoutThem)
{
    constexpr std::int64_t LITTLE = std::int64_t{1} << 20;
    const auto &[name, before, behind] = GetParam();
    QTemporaryFile large;
    ASSERT_TRUE(large.open());
    ASSERT_EQ(large.write(before), before.size());
    ASSERT_TRUE(large.seek(before.size() + qint64{PIXEL_BYTES}));
    ASSERT_EQ(large.write(behind), behind.size());
    ASSERT_TRUE(large.resize(before.size() + qint64{PIXEL_BYTES} + behind.size()));
    const auto file = SourceFile::open(large.fileName().toStdString());
    ASSERT_TRUE(file);
    const auto readBefore = test::bytesReadSoFar();
    if (!readBefore)
        GTEST_SKIP() << "this system does not tell what was read";
    const auto found = readFacts(*file, ThumbnailRule::FromImageAlways);
    EXPECT_LT(test::bytesReadSoFar().value_or(0) - *readBefore, LITTLE);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->metadata.pixelSize, QSize(6, 4));
    EXPECT_EQ(found->metadata.iso,
              name == std::string("SimpleWebP") ? std::nullopt : std::optional<qint64>(100));
}

INSTANTIATE_TEST_SUITE_P(Containers, MetadataAroundPixels,
                         testing::Values(tiffAroundPixels(), pngAroundPixels(), cr3AroundPixels(),
                                         webPAroundPixels(true), webPAroundPixels(false)),
                         [](const auto &test) { return std::string(test.param.name); });

// Threads

TEST(Metadata, IsTheSameFromSeveralThreads)
{
    std::vector<QByteArray> files;
    std::vector<PhotoMetadata> expected;
    for (const char *extension : {".jpg", ".png", ".webp", ".tif", ".dng"}) {
        files.push_back(generated(extension));
        expected.push_back(facts(files.back()));
    }
    constexpr std::size_t THREADS = 4;
    constexpr std::size_t READS = 50;
    std::vector<int> differences(THREADS, 0);
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&, thread] {
            for (std::size_t i = 0; i < READS; ++i) {
                const std::size_t file = (i + thread) % files.size();
                if (read(files[file]) != expected[file])
                    ++differences[thread];
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(differences, std::vector<int>(THREADS, 0));
}

} // namespace

} // namespace tavolin
