// What ExifTool says of real pictures and of edited copies of them.

#include "decoding/Decoding.h"
#include "editing/EditOp.h"
#include "fileops/Saving.h"
#include "LargeFiles.h"
#include "Samples.h"
#include "TemporaryFolder.h"

#include <QJsonValue>
#include <QProcess>
#include <QStringList>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

using test::TemporaryFolder;

/// A beginning of tag names, which are "group:place:name", and why these need not survive.
struct Exception
{
    std::string_view beginning;
    const char *reason;
};

constexpr const char *STORED = "how the old pixels were stored";
constexpr const char *OTHER_PICTURE = "of another picture in the file";
constexpr const char *SENSOR = "about the data of the sensor";
constexpr const char *CONTAINER = "of the raw file's container";
constexpr const char *OLD_PARTS = "parts of the picture before its edit, or places in it";
constexpr const char *TOO_LARGE = "more than a JPEG segment holds";
constexpr const char *NOT_WRITTEN = "of further pictures that are not written";

constexpr std::array MISSING{
    Exception{"EXIF:IFD0:BitsPerSample", STORED},
    Exception{"EXIF:IFD0:CFA", STORED},
    Exception{"EXIF:IFD0:ColorMap", STORED},
    Exception{"EXIF:IFD0:Compression", STORED},
    Exception{"EXIF:IFD0:DotRange", STORED},
    Exception{"EXIF:IFD0:ExtraSamples", STORED},
    Exception{"EXIF:IFD0:FillOrder", STORED},
    Exception{"EXIF:IFD0:ImageHeight", STORED},
    Exception{"EXIF:IFD0:ImageWidth", STORED},
    Exception{"EXIF:IFD0:InkSet", STORED},
    Exception{"EXIF:IFD0:JPEG", STORED},
    Exception{"EXIF:IFD0:PhotometricInterpretation", STORED},
    Exception{"EXIF:IFD0:PlanarConfiguration", STORED},
    Exception{"EXIF:IFD0:Predictor", STORED},
    Exception{"EXIF:IFD0:RowsPerStrip", STORED},
    Exception{"EXIF:IFD0:SampleFormat", STORED},
    Exception{"EXIF:IFD0:SamplesPerPixel", STORED},
    Exception{"EXIF:IFD0:Strip", STORED},
    Exception{"EXIF:IFD0:SubfileType", STORED},
    Exception{"EXIF:IFD0:T4Options", STORED},
    Exception{"EXIF:IFD0:T6Options", STORED},
    Exception{"EXIF:IFD0:Tile", STORED},
    Exception{"EXIF:IFD0:YCbCrSubSampling", STORED},
    Exception{"XMP:XMP-tiff:BitsPerSample", STORED},
    Exception{"XMP:XMP-tiff:Compression", STORED},
    Exception{"XMP:XMP-tiff:PhotometricInterpretation", STORED},
    Exception{"XMP:XMP-tiff:PlanarConfiguration", STORED},
    Exception{"XMP:XMP-tiff:SamplesPerPixel", STORED},

    Exception{"EXIF:IFD1:", OTHER_PICTURE},
    Exception{"EXIF:IFD2:", OTHER_PICTURE},
    Exception{"EXIF:IFD3:", OTHER_PICTURE},
    Exception{"EXIF:IFD4:", OTHER_PICTURE},
    Exception{"EXIF:IFD5:", OTHER_PICTURE},
    Exception{"EXIF:IFD6:", OTHER_PICTURE},
    Exception{"EXIF:IFD7:", OTHER_PICTURE},
    Exception{"EXIF:IFD8:", OTHER_PICTURE},
    Exception{"EXIF:IFD9:", OTHER_PICTURE},
    Exception{"EXIF:SubIFD", OTHER_PICTURE},
    Exception{"MakerNotes:PreviewIFD:", OTHER_PICTURE},
    Exception{"EXIF:IFD0:Preview", OTHER_PICTURE},
    Exception{"EXIF:IFD0:Thumbnail", OTHER_PICTURE},
    Exception{"EXIF:IFD0:JpgFromRaw", OTHER_PICTURE},
    Exception{"MakerNotes:Canon:Thumbnail", OTHER_PICTURE},
    Exception{"MakerNotes:Casio:Preview", OTHER_PICTURE},
    Exception{"MakerNotes:Olympus:Preview", OTHER_PICTURE},
    Exception{"MakerNotes:Pentax:Preview", OTHER_PICTURE},
    Exception{"MakerNotes:Sony:Preview", OTHER_PICTURE},
    Exception{"XMP:XMP-apdi:", OTHER_PICTURE},
    Exception{"XMP:XMP-semanticSegmentationMatte:", OTHER_PICTURE},
    // Newer ExifTools number the profiles of one file.
    Exception{"ICC_Profile:ICC-cicp2:", OTHER_PICTURE},
    Exception{"ICC_Profile:ICC-header2:", OTHER_PICTURE},
    Exception{"ICC_Profile:ICC_Profile2:", OTHER_PICTURE},

    // Panasonic's raw files have them in IFD0.
    Exception{"EXIF:IFD0:BlackLevel", SENSOR},
    Exception{"EXIF:IFD0:HighISOMultiplier", SENSOR},
    Exception{"EXIF:IFD0:ISO", SENSOR},
    Exception{"EXIF:IFD0:LinearityLimit", SENSOR},
    Exception{"EXIF:IFD0:NoiseReductionParams", SENSOR},
    Exception{"EXIF:IFD0:PanasonicRaw", SENSOR},
    Exception{"EXIF:IFD0:Raw", SENSOR},
    Exception{"EXIF:IFD0:Sensor", SENSOR},
    Exception{"EXIF:IFD0:WB", SENSOR},
    // Sony's, in a directory that is no part of EXIF.
    Exception{"MakerNotes:SR2", SENSOR},

    Exception{"MakerNotes:Canon:CompressorVersion", CONTAINER},
    Exception{"MakerNotes:Canon:Unknown_", CONTAINER},
    Exception{"MakerNotes:Track", CONTAINER},

    Exception{"EXIF:IFD0:ProfileHueSatMapData", TOO_LARGE},
    Exception{"EXIF:IFD0:ProfileLookTableData", TOO_LARGE},
    Exception{"MakerNotes:Pentax:Pentax_0x040", TOO_LARGE},
    Exception{"MakerNotes:Pentax:UnknownBlock", TOO_LARGE},
    Exception{"XMP:XMP-GCamera:HdrPlusMakernote", TOO_LARGE},

    Exception{"XMP:XMP-Container:", NOT_WRITTEN},
    Exception{"XMP:XMP-GContainer:", NOT_WRITTEN}, // another ExifTool's name for it
    Exception{"XMP:XMP-HDRGainMap:", NOT_WRITTEN},
    Exception{"XMP:XMP-hdrgm:", NOT_WRITTEN},

    Exception{"MakerNotes:NikonScan:", "of a scanner's directory that Exiv2 does not know"},
    Exception{"Photoshop:Alpha", OLD_PARTS},
    Exception{"Photoshop:Channel0:", OLD_PARTS}, // newer ExifTools' words for the next one
    Exception{"Photoshop:DisplayInfo", OLD_PARTS},
    Exception{"Photoshop:GridGuidesInfo", OLD_PARTS},
    Exception{"Photoshop:Layer", OLD_PARTS},
    Exception{"Photoshop:NumSlices", OLD_PARTS},
    Exception{"Photoshop:PhotoshopThumbnail", OTHER_PICTURE},
    Exception{"Photoshop:SlicesGroupName", OLD_PARTS},
    Exception{"Photoshop:TargetLayerID", OLD_PARTS},
    Exception{"Photoshop:UnicodeAlphaNames", OLD_PARTS},

    Exception{"JFIF:", "said by EXIF where there is some"},
    Exception{"XMP:XMP-xmpNote:HasExtendedXMP", "all XMP is in one packet"},
    Exception{"XMP:XMP-rdf:About", "an identifier of the packet, which is another"},
    Exception{"XMP:XMP-x:XMPToolkit", "who wrote the packet"},
};

constexpr std::array CHANGED{
    Exception{"EXIF:ExifIFD:ExifImageHeight", "the new size"},
    Exception{"EXIF:ExifIFD:ExifImageWidth", "the new size"},
    Exception{"XMP:XMP-exif:ExifImageHeight", "the new size"},
    Exception{"XMP:XMP-exif:ExifImageWidth", "the new size"},
    Exception{"XMP:XMP-tiff:ImageHeight", "the new size"},
    Exception{"XMP:XMP-tiff:ImageWidth", "the new size"},
    Exception{"EXIF:IFD0:Orientation", "upright"},
    Exception{"XMP:XMP-tiff:Orientation", "upright"},
    Exception{"EXIF:IFD0:Software", "this program"},
    Exception{"JFIF:JFIFVersion", "the one that is written"},
    Exception{"XMP:XMP-x:XMPToolkit", "who wrote the packet"},
};

template <std::size_t Count>
bool isExcepted(const std::array<Exception, Count> &exceptions, const std::string &tag)
{
    return std::any_of(exceptions.begin(), exceptions.end(), [&tag](const Exception &exception) {
        return tag.starts_with(exception.beginning);
    });
}

/// The tags of files by their paths, in ExifTool's words and as stored ("-n").
class ExifTool
{
public:
    /// False where there is no ExifTool.
    [[nodiscard]] static bool isThere()
    {
        QProcess process;
        process.start(u"exiftool"_s, {u"-ver"_s});
        return process.waitForFinished() && process.exitCode() == 0;
    }

    explicit ExifTool(const std::vector<std::filesystem::path> &files)
    {
        QStringList arguments{u"-j"_s, u"-G0:1"_s, u"-n"_s, u"-u"_s, u"-q"_s, u"-m"_s};
        for (const auto &file : files)
            arguments.append(QString::fromStdString(file.native()));
        QProcess process;
        process.start(u"exiftool"_s, arguments);
        process.waitForFinished(-1);
        const QJsonArray array = QJsonDocument::fromJson(process.readAllStandardOutput()).array();
        for (const QJsonValue &value : array)
            m_files[value[u"SourceFile"].toString().toStdString()] = value.toObject();
    }

    [[nodiscard]] QJsonObject tagsOf(const std::filesystem::path &file) const
    {
        const auto found = m_files.find(file.native());
        return found == m_files.end() ? QJsonObject() : found->second;
    }

private:
    std::map<std::string, QJsonObject> m_files;
};

class SavedSamples : public SampleTest
{};

TEST_F(SavedSamples, EveryTagSurvivesThatStillHolds)
{
    if (!ExifTool::isThere())
        GTEST_SKIP() << "exiftool is not installed";
    struct Pair
    {
        std::filesystem::path source;
        std::filesystem::path saved;
        bool hasProfile = false;
    };
    const TemporaryFolder folder;
    std::vector<Pair> pairs;
    std::vector<std::filesystem::path> all;
    for (const QJsonValue &file : files()) {
        const std::string path = file[u"path"].toString().toStdString();
        if (path.starts_with("broken/") || path.find("giant") != std::string::npos)
            continue;
        const auto source = find(path);
        const Image image = loadFullImage(source);
        if (image.isNull())
            continue;
        const Image edited = applyOp(image, CropOp{{1, 1, 60, 40}});
        const auto saved = folder / (std::to_string(pairs.size()) + ".jpg");
        ASSERT_TRUE(saveJPEG(edited, saved, SAVED_QUALITY, sourceMetadata(source, edited.size())))
            << path;
        pairs.push_back({source, saved, !image.iccProfile().isEmpty()});
        all.push_back(source);
        all.push_back(saved);
    }
    ASSERT_FALSE(pairs.empty());

    struct Count
    {
        int files = 0;
        int tags = 0;
        int kept = 0;
        int corrected = 0;
        int leftBehind = 0;
    };
    std::map<std::string, Count> counts;
    const ExifTool exifTool(all);
    for (const Pair &pair : pairs) {
        Count &count = counts[pair.source.extension()];
        ++count.files;
        const QJsonObject before = exifTool.tagsOf(pair.source);
        const QJsonObject after = exifTool.tagsOf(pair.saved);
        for (auto tag = before.begin(); tag != before.end(); ++tag) {
            const std::string name = tag.key().toStdString();
            const bool isProfile = name.starts_with("ICC_Profile:");
            const bool isMetadata = name.starts_with("EXIF:") || name.starts_with("MakerNotes:") ||
                                    name.starts_with("IPTC:") || name.starts_with("XMP:") ||
                                    name.starts_with("Photoshop:") || name.starts_with("JFIF:") ||
                                    name == "File:Comment" || (isProfile && pair.hasProfile);
            if (!isMetadata)
                continue;
            ++count.tags;
            if (!after.contains(tag.key())) {
                ++count.leftBehind;
                const bool isEmpty = tag.value() == QJsonValue(u""_s); // a text without a letter
                EXPECT_TRUE(isEmpty || isExcepted(MISSING, name)) << pair.source << " had " << name;
            } else if (after[tag.key()] != tag.value()) {
                ++count.corrected;
                EXPECT_TRUE(isExcepted(CHANGED, name)) << pair.source << ": " << name;
            } else {
                ++count.kept;
            }
        }
    }
    for (const auto &[extension, count] : counts)
        std::cout << extension << ": " << count.files << " files, " << count.tags << " tags, "
                  << count.kept << " kept, " << count.corrected << " corrected, "
                  << count.leftBehind << " left behind\n";
}

TEST_F(SavedSamples, HaveTheSameTagsHoweverLargeTheirSourceIs)
{
    constexpr QSize NEW_SIZE(60, 40);
    constexpr std::int64_t MOST_BYTES = std::int64_t{4} << 20;
    if (!test::bytesReadSoFar())
        GTEST_SKIP() << "this system does not tell what was read";
    const TemporaryFolder folder;
    const std::filesystem::path padded = folder / "padded";
    int checked = 0;
    for (const QJsonValue &file : files()) {
        const std::string path = file[u"path"].toString().toStdString();
        // The last one has lost what follows its cut; padded, it has something else there.
        if (path.starts_with("broken/") || path == "raw/canon_70d_orient8_cut.cr2")
            continue;
        const auto expected = sourceMetadata(find(path), NEW_SIZE);
        ASSERT_TRUE(expected) << path;
        for (const std::uintmax_t megabytes : {70, 300, 3900}) {
            test::copyPadded(find(path), padded, megabytes);
            const auto before = test::bytesReadSoFar();
            const auto found = sourceMetadata(padded, NEW_SIZE);
            EXPECT_LT(test::bytesReadSoFar().value_or(0) - before.value_or(0), MOST_BYTES)
                << path << ' ' << megabytes;
            ASSERT_TRUE(found) << path;
            EXPECT_TRUE(found->exif == expected->exif) << path << ' ' << megabytes;
            EXPECT_TRUE(found->xmp == expected->xmp) << path << ' ' << megabytes;
            EXPECT_TRUE(found->photoshop == expected->photoshop) << path << ' ' << megabytes;
            ++checked;
        }
    }
    EXPECT_GT(checked, 450);
}

} // namespace

} // namespace tavolin
