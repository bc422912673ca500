#include "decoding/color/Color.h"
#include "decoding/FileType.h"
#include "decoding/Thumbnail.h"
#include "LargeFiles.h"
#include "pixels/FileExtensions.h"
#include "pixels/Orientation.h"
#include "pixels/Resample.h"
#include "Samples.h"
#include "TestPictures.h"

#include <QTemporaryDir>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tavolin {

namespace {

using namespace test;

/// Refused by the libraries of Debian 12, while later ones show some of them: a tone-map item,
/// lossless and 12-bit JPEG, and raw files that lack both raw data and previews.
const std::set<std::string> REFUSED = {
    "formats/heic/iphone_tmap_gainmap_orient6.heic",
    "formats/jpeg/lossless_sof3.jpg",
    "formats/jpeg/twelve_bit.jpg",
    "raw/canon_350d_stripped.cr2",
    "raw/canon_70d_orient8_cut.cr2",
};

/// Raw samples that have no preview of 1000 pixels, but all of their raw data: these are rendered.
const std::set<std::string> RENDERED = {
    "raw/lg_g4_lossy.dng",
    "raw/nikon_d1_full.nef",
};

struct Sample
{
    std::string path; // below the folder of samples
    QString expect;   // of broken files: what may be shown
    QByteArray model; // the camera's
    QSize upright;    // empty when it isn't known
    QSize preview;    // of raw files: the largest embedded one, upright
    QSize raw;        // of raw files: the raw picture, upright
};

class SampleDecode : public SampleTest
{
protected:
    void SetUp() override
    {
        SampleTest::SetUp();
        for (const QJsonValue &file : files()) {
            const QJsonValue oracle = file[QStringLiteral("oracle")];
            m_samples.push_back(
                {.path = file[QStringLiteral("path")].toString().toStdString(),
                 .expect = file[QStringLiteral("expect")].toString(),
                 .model = oracle[QStringLiteral("model")].toString().toLatin1(),
                 .upright = sizeOf(oracle[QStringLiteral("upright")]),
                 .preview = sizeOf(
                     oracle[QStringLiteral("raw")][QStringLiteral("largest_preview_upright")]),
                 .raw = sizeOf(oracle[QStringLiteral("raw")][QStringLiteral("upright_raw_size")])});
        }
    }

    /// The samples whose paths begin with @p folder.
    [[nodiscard]] std::vector<Sample> samplesBelow(const std::string &folder) const
    {
        std::vector<Sample> found;
        std::copy_if(m_samples.begin(), m_samples.end(), std::back_inserter(found),
                     [&](const Sample &sample) { return sample.path.starts_with(folder); });
        EXPECT_FALSE(found.empty()) << folder;
        return found;
    }

    [[nodiscard]] Image thumbnail(const std::string &path, int maxPixel) const
    {
        const auto file = SourceFile::open(find(path));
        EXPECT_TRUE(file) << path;
        return file ? createThumbnail(*file, maxPixel, ruleFor(path)).image : Image();
    }

    [[nodiscard]] std::optional<QSize> uprightSizeOf(const std::string &path) const
    {
        const auto file = SourceFile::open(find(path));
        EXPECT_TRUE(file) << path;
        return file ? readUprightSize(*file, ruleFor(path)) : std::nullopt;
    }

private:
    static QSize sizeOf(const QJsonValue &sides) { return {sides[0].toInt(), sides[1].toInt()}; }
    static ThumbnailRule ruleFor(const std::string &path)
    {
        return hasRawExtension(path) ? ThumbnailRule::FromImageIfAbsent
                                     : ThumbnailRule::FromImageAlways;
    }

    std::vector<Sample> m_samples;
};

/// The most memory the process has held since resetPeakMemory(), in KiB; 0 where unknown.
long peakMemory()
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            long kib = 0;
            status >> kib;
            return kib;
        }
    }
    return 0;
}

/// proc(5): writing 5 to clear_refs starts the peak anew.
void resetPeakMemory()
{
    std::ofstream("/proc/self/clear_refs") << 5;
}

/// @p bytes with another text wherever they say @p name.
QByteArray renamed(QByteArray bytes, const QByteArray &name)
{
    return name.isEmpty() ? bytes : bytes.replace(name, QByteArray(name.size(), 'Q'));
}

/// The mean difference of a channel, in levels.
double meanDifference(const Image &a, const Image &b)
{
    double sum = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            for (int shift = 0; shift < 24; shift += 8)
                sum += std::abs(channel(a.row(y)[x], shift) - channel(b.row(y)[x], shift));
    return sum / (3.0 * a.width() * a.height());
}

TEST_F(SampleDecode, GoodFilesGiveAThumbnailOfTheRightSize)
{
    constexpr int LIMIT = 640;
    for (const char *folder : {"camera/", "formats/", "orientation/", "raw/"}) {
        for (const Sample &sample : samplesBelow(folder)) {
            const Image image = thumbnail(sample.path, LIMIT);
            EXPECT_TRUE(!image.isNull() || REFUSED.contains(sample.path)) << sample.path;
            const QSize full = RENDERED.contains(sample.path) ? sample.raw
                               : sample.preview.isEmpty()     ? sample.upright
                                                              : sample.preview;
            if (image.isNull() || full.isEmpty())
                continue;
            // Its EXIF says what its transforms should have said; both readings are right.
            const bool isAmbiguous = sample.path.find("exif6_no_irot") != std::string::npos;
            const QSize expected = sizeWithin(full, LIMIT);
            EXPECT_TRUE(image.size() == expected ||
                        (isAmbiguous && image.size() == expected.transposed()))
                << sample.path << ": " << image.width() << "x" << image.height() << " instead of "
                << expected.width() << "x" << expected.height();
        }
    }
}

TEST_F(SampleDecode, UprightSizeHasTheThumbnailsShape)
{
    constexpr int LIMIT = 64;
    for (const char *folder : {"camera/", "formats/", "orientation/"}) {
        for (const Sample &sample : samplesBelow(folder)) {
            const Image image = thumbnail(sample.path, LIMIT);
            if (image.isNull())
                continue;
            const auto full = uprightSizeOf(sample.path);
            ASSERT_TRUE(full) << sample.path;
            EXPECT_EQ(sizeWithin(*full, LIMIT), image.size()) << sample.path;
        }
    }
}

/// The most that thumbnails of one picture may differ by. Turned the wrong way they differ by 13
/// levels and more; 6 leave room for lossy coding of turned pixels.
constexpr double MOST_DIFFERENCE = 6.0;

TEST_F(SampleDecode, OrientationsOfOnePictureLookAlike)
{
    constexpr int LIMIT = 64;
    for (const std::string family : {"orientation/jpeg_", "orientation/heic_"}) {
        Image first;
        for (int number = 1; number <= 8; ++number) {
            const std::string path = samplesBelow(family + std::to_string(number))[0].path;
            const Image image = toSrgb(thumbnail(path, LIMIT));
            ASSERT_FALSE(image.isNull()) << path;
            if (first.isNull())
                first = image;
            ASSERT_EQ(image.size(), first.size()) << path;
            EXPECT_LT(meanDifference(image, first), MOST_DIFFERENCE) << path;
        }
    }
}

// These store the same pixels under different numbers, so they look alike when turned back.
TEST_F(SampleDecode, OneStoredPictureIsTurnedByItsNumber)
{
    constexpr int LIMIT = 64;
    Image first;
    for (int number = 2; number <= 8; ++number) {
        const std::string path =
            samplesBelow("orientation/png_" + std::to_string(number) + ".png")[0].path;
        const int back = number == 6 ? 8 : number == 8 ? 6 : number;
        const Image image = turnedUpright(thumbnail(path, LIMIT), static_cast<Orientation>(back));
        ASSERT_FALSE(image.isNull()) << path;
        if (first.isNull())
            first = image;
        ASSERT_EQ(image.size(), first.size()) << path;
        EXPECT_LT(meanDifference(image, first), MOST_DIFFERENCE) << path;
    }
}

TEST_F(SampleDecode, BrokenFilesDoNoHarmAndStayBelowTwoGibibytes)
{
    constexpr int LIMIT = 2560;
    constexpr long MOST_KIB = 2L << 20;
    for (const Sample &sample : samplesBelow("broken/")) {
        resetPeakMemory();
        const Image image = thumbnail(sample.path, LIMIT);
        EXPECT_LT(peakMemory(), MOST_KIB) << sample.path;
        EXPECT_LE(std::max(image.width(), image.height()), LIMIT) << sample.path;
        const auto size = uprightSizeOf(sample.path);
        EXPECT_TRUE(!size || !size->isEmpty()) << sample.path;
        if (sample.expect.startsWith(QStringLiteral("a good"))) {
            EXPECT_FALSE(image.isNull()) << sample.path;
        }
        if (sample.expect == QStringLiteral("unreadable")) {
            EXPECT_TRUE(image.isNull()) << sample.path;
        }
    }
}

// Nothing but the structure of a file leads to its preview: there is no list of cameras.
TEST_F(SampleDecode, RawFilesOfUnknownCamerasShowTheirPreview)
{
    constexpr int LIMIT = 640;
    int shown = 0;
    for (const Sample &sample : samplesBelow("raw/")) {
        const auto file = SourceFile::open(find(sample.path));
        ASSERT_TRUE(file) << sample.path;
        const QByteArray bytes = file->bytesAt(0, file->size());
        const QByteArray other = renamed(bytes, sample.model);
        if (sample.preview.isEmpty() || RENDERED.contains(sample.path) || other == bytes)
            continue;
        EXPECT_TRUE(looksLike(
            createThumbnail(fileOf(other), LIMIT, ThumbnailRule::FromImageIfAbsent).image,
            createThumbnail(fileOf(bytes), LIMIT, ThumbnailRule::FromImageIfAbsent).image))
            << sample.path;
        ++shown;
    }
    EXPECT_GE(shown, 10);
}

// Cameras' files are as large as a card takes; what is shown of them is as large as before.
TEST_F(SampleDecode, RawFilesOfAnySizeShowTheirPreviewAndAreHardlyRead)
{
    constexpr int LIMIT = 2560;
    constexpr int MIN_PREVIEW_PX = 1000;
    constexpr std::int64_t MOST_BYTES = std::int64_t{4} << 20;
    if (!test::bytesReadSoFar())
        GTEST_SKIP() << "this system does not tell what was read";
    const QTemporaryDir folder;
    const std::filesystem::path padded = folder.filePath(QStringLiteral("padded")).toStdString();
    int shown = 0;
    for (const Sample &sample : samplesBelow("raw/")) {
        if (std::max(sample.preview.width(), sample.preview.height()) < MIN_PREVIEW_PX)
            continue;
        const Image expected = thumbnail(sample.path, LIMIT);
        EXPECT_EQ(expected.size(), sizeWithin(sample.preview, LIMIT)) << sample.path;
        for (const std::uintmax_t megabytes : {70, 300, 3900}) {
            test::copyPadded(find(sample.path), padded, megabytes);
            const auto file = SourceFile::open(padded);
            ASSERT_TRUE(file);
            const auto before = test::bytesReadSoFar();
            const Image image =
                createThumbnail(*file, LIMIT, ThumbnailRule::FromImageIfAbsent).image;
            EXPECT_LT(test::bytesReadSoFar().value_or(0) - before.value_or(0), MOST_BYTES)
                << sample.path;
            EXPECT_TRUE(looksLike(image, expected)) << sample.path;
            ++shown;
        }
    }
    EXPECT_GE(shown, 30);
}

} // namespace

} // namespace tavolin
