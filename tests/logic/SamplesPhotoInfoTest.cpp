#include "browse/PhotoInfo.h"

#include "decoding/Decoding.h"

#include "LargeFiles.h"
#include "Samples.h"
#include "TemporaryFolder.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace tavolin {

namespace {

/// Lines that differ from those of the manifest, and who is right.
const std::map<std::string, std::string> KNOWN_DIFFERENCES{
    // We are. The manifest's reader stops at an entry that points beyond the cut; the exposure,
    // before it, is whole.
    {"raw/canon_70d_orient8_cut.cr2", "3648×5472  |  0.0MB  |  Canon EOS 70D  |  "
                                      "18mm f/4.0 1/30s ISO1250  |  2016:11:27 11:32:07"},
    // We are. The manifest has no size because its decoder does not know the camera; the file says
    // it, and its orientation.
    {"raw/sony_zve10_orient6_cut.arw",
     "4000×6000  |  0.1MB  |  ZV-E10  |  "
     "E PZ 16-50mm F3.5-5.6 OSS  |  29mm f/18.0 1/160s ISO100  |  "
     "2021:07:24 14:23:06"},
};

/// Lines that are as right, and which library tells them.
const std::map<std::string, std::string> OTHER_LINES{
    // LibRaw 0.21. For 0.20 six rows are border on every camera of this name, but this file has no
    // more than it says its picture has.
    {"raw/made_fuji.raf",
     "608×456  |  1.5MB  |  FinePix S5500  |  8mm f/6.3 1/900s ISO64  |  2005:01:30 16:19:47"},
};

/// What the damaged files that say something certain are to show.
const std::map<std::string, std::string> BROKEN_LINES{
    {"made_cr3_box_size_zero.cr3", ""},
    {"made_exif_800_nested_ifds.jpg", "320×213  |  0.0MB"},
    {"made_exif_circular_exif_pointer.jpg", "320×213  |  0.0MB  |  TestModel"},
    {"made_exif_circular_next_ifd.jpg",
     "320×213  |  0.0MB  |  TestModel  |  TestLens 50mm  |  50mm f/2.8 1/250s ISO100  |  "
     "2024:05:01 14:03:22"},
    {"made_exif_count_4294967295.jpg", "320×213  |  0.0MB  |  TestLens 50mm  |  "
                                       "50mm f/2.8 1/250s ISO100  |  2024:05:01 14:03:22"},
    {"made_exif_date_blank.jpg", "320×213  |  0.0MB  |  TestModel  |  TestLens 50mm  |  "
                                 "50mm f/2.8 1/250s ISO100  |      :  :     :  :  "},
    {"made_exif_date_not_a_date.jpg", "320×213  |  0.0MB  |  TestModel  |  TestLens 50mm  |  "
                                      "50mm f/2.8 1/250s ISO100  |  yesterday, about noon"},
    {"made_exif_empty_model_and_lens.jpg", "320×213  |  0.0MB  |    |    |  "
                                           "50mm f/2.8 1/250s ISO100  |  2024:05:01 14:03:22"},
    {"made_exif_exposure_1s.jpg", "320×213  |  0.0MB  |  TestModel  |  TestLens 50mm  |  "
                                  "50mm f/2.8 1.0s ISO100  |  2024:05:01 14:03:22"},
    {"made_exif_garbage_makernote.jpg",
     "320×213  |  0.0MB  |  TestModel  |  TestLens 50mm  |  50mm f/2.8 1/250s ISO100  |  "
     "2024:05:01 14:03:22"},
    {"made_exif_ifd0_beyond_end.jpg", "320×213  |  0.0MB"},
    {"made_exif_iso_array.jpg", "320×213  |  0.0MB  |  TestModel  |  TestLens 50mm  |  "
                                "50mm f/2.8 1/250s ISO400  |  2024:05:01 14:03:22"},
    {"made_exif_iso_missing_photosensitivity_long.jpg",
     "320×213  |  0.0MB  |  TestModel  |  TestLens 50mm  |  50mm f/2.8 1/250s ISO65535  |  "
     "2024:05:01 14:03:22"},
    {"made_exif_long_exposure_and_fraction.jpg",
     "320×213  |  0.0MB  |  TestModel  |  TestLens 50mm  |  24mm f/11.0 1/3s ISO100  |  "
     "2024:05:01 14:03:22"},
    {"made_exif_model_invalid_utf8.jpg",
     "320×213  |  0.0MB  |  Caf\ufffd \ufffd\ufffd Cam  |  \ufffd( 50mm  |  "
     "50mm f/2.8 1/250s ISO100  |  2024:05:01 14:03:22"},
    {"made_exif_model_markup_control_bidi.jpg",
     "320×213  |  0.0MB  |  A<b>B</b>&amp;  [31mC  evil  %s%n  |  TestLens 50mm  |  "
     "50mm f/2.8 1/250s ISO100  |  2024:05:01 14:03:22"},
    {"made_exif_model_not_terminated.jpg", "320×213  |  0.0MB  |  NoNul  |  TestLens 50mm  |  "
                                           "50mm f/2.8 1/250s ISO100  |  2024:05:01 14:03:22"},
    {"made_exif_model_utf8_thai.jpg", "320×213  |  0.0MB  |  กล้องทดสอบ 📷  |  TestLens 50mm  |  "
                                      "50mm f/2.8 1/250s ISO100  |  2024:05:01 14:03:22"},
    {"made_exif_negative_exposure.jpg", "320×213  |  0.0MB  |  TestModel  |  TestLens 50mm  |  "
                                        "-50mm f/2.8 ISO100  |  2024:05:01 14:03:22"},
    {"made_exif_orientation_6_as_text.jpg",
     "320×213  |  0.0MB  |  TestModel  |  TestLens 50mm  |  50mm f/2.8 1/250s ISO100  |  "
     "2024:05:01 14:03:22"},
    {"made_exif_pointer_beyond_end.jpg", "320×213  |  0.0MB  |  TestModel"},
    {"made_exif_spaces_around_model.jpg",
     "320×213  |  0.0MB  |  Spaced Model  |  TestLens 50mm  |  50mm f/2.8 1/250s ISO100  |  "
     "2024:05:01 14:03:22"},
    {"made_exif_wrong_types.jpg", "320×213  |  0.0MB  |  TestLens 50mm  |  1/250s ISO100"},
    {"made_exif_zero_and_huge_numbers.jpg",
     "320×213  |  0.0MB  |  TestModel  |  TestLens 50mm  |  4294967295mm f/4294967295.0 ISO65535  "
     "|  2024:05:01 14:03:22"},
    {"made_exif_zero_denominators.jpg",
     "320×213  |  0.0MB  |  TestModel  |  TestLens 50mm  |  ISO100  |  2024:05:01 14:03:22"},
    {"made_png_exif_orientation_99.png",
     "4×2  |  0.0MB  |  TestModel  |  TestLens 50mm  |  50mm f/2.8 1/250s ISO100  |  "
     "2024:05:01 14:03:22"},
    {"made_text_named.nef", ""},
    {"made_truncated_50pct.png",
     "1024×640  |  0.2MB  |  PENTAX K-3 II  |  smc PENTAX-DA* 16-50mm F2.8 ED AL [IF] SDM  |  "
     "21mm f/5.6 1/200s ISO100  |  2017:10:27 08:38:52"},
    {"made_truncated_in_moov.cr3",
     "6000×4000  |  0.0MB  |  Canon EOS M50  |  EF-M15-45mm f/3.5-6.3 IS STM  |  "
     "15mm f/3.5 1/80s ISO12800  |  2018:02:21 12:08:56"},
    {"made_truncated_inside_exif.jpg", "1800×1200  |  0.0MB"},
    {"made_xmp_billion_laughs.jpg",
     "320×213  |  0.0MB  |  TestModel  |  TestLens 50mm  |  50mm f/2.8 1/250s ISO100  |  "
     "2024:05:01 14:03:22"},
    {"made_zero_bytes.jpg", ""},
    {"made_zip_named.webp", ""},
};

class SamplePhotoInfo : public SampleTest
{
protected:
    [[nodiscard]] std::string lineOf(const std::string &path) const
    {
        return infoLine(photoInfo(readPhotoFacts(find(path))).segments).toStdString();
    }
};

TEST_F(SamplePhotoInfo, IsTheLineOfTheManifest)
{
    int checked = 0;
    for (const QJsonValue &sample : files()) {
        const std::string path = sample[QStringLiteral("path")].toString().toStdString();
        const QJsonValue line = sample[QStringLiteral("oracle")][QStringLiteral("line")];
        if (!line.isString() || path.starts_with("broken/"))
            continue;
        ++checked;
        const std::string shown = lineOf(path);
        const auto other = OTHER_LINES.find(path);
        if (other != OTHER_LINES.end() && shown == other->second)
            continue;
        const auto known = KNOWN_DIFFERENCES.find(path);
        EXPECT_EQ(shown,
                  known == KNOWN_DIFFERENCES.end() ? line.toString().toStdString() : known->second)
            << path;
    }
    EXPECT_GT(checked, 150);
}

TEST_F(SamplePhotoInfo, OfDamagedFilesIsWhatTheyStillSay)
{
    for (const auto &[name, line] : BROKEN_LINES)
        EXPECT_EQ(lineOf("broken/" + name), line) << name;
}

// As a card that is pulled while it is copied from leaves them.
TEST_F(SamplePhotoInfo, OfACr3WithoutItsTailIsWhole)
{
    const test::TemporaryFolder folder;
    const std::filesystem::path cut = folder / "cut";
    for (const char *path : {"raw/made_canon.cr3", "raw/canon_r6_cut.cr3"}) {
        const auto whole = readPhotoFacts(find(path));
        ASSERT_TRUE(whole) << path;
        for (const std::uintmax_t percent : {99, 90, 75, 50, 25, 10}) {
            std::filesystem::remove(cut);
            std::filesystem::copy_file(find(path), cut);
            std::filesystem::permissions(cut, std::filesystem::perms::owner_all);
            std::filesystem::resize_file(cut, std::filesystem::file_size(cut) * percent / 100);
            auto found = readPhotoFacts(cut);
            ASSERT_TRUE(found && found->metadata.pixelSize) << path << ' ' << percent;
            found->metadata.pixelSize = whole->metadata.pixelSize; // LibRaw asks the file's size
            EXPECT_TRUE(found->metadata == whole->metadata) << path << ' ' << percent;
        }
    }
}

TEST_F(SamplePhotoInfo, OfAnyFileIsReadQuickly)
{
    using namespace std::chrono_literals;
    for (const QJsonValue &sample : files()) {
        const std::string path = sample[QStringLiteral("path")].toString().toStdString();
        const auto start = std::chrono::steady_clock::now();
        const std::string line = lineOf(path);
        // Far above the milliseconds it takes, for slow disks and sanitizers.
        EXPECT_LT(std::chrono::steady_clock::now() - start, 2s) << path;
        EXPECT_LT(line.size(), 1000) << path;
    }
}

// The size of the file is a part of the line: only that is another one.
TEST_F(SamplePhotoInfo, OfFilesOfAnySizeIsTheSameAndReadFromALittleOfThem)
{
    constexpr std::int64_t MOST_BYTES = std::int64_t{1} << 20;
    if (!test::bytesReadSoFar())
        GTEST_SKIP() << "this system does not tell what was read";
    const test::TemporaryFolder folder;
    const std::filesystem::path padded = folder / "padded";
    int checked = 0;
    for (const QJsonValue &sample : files()) {
        const std::string path = sample[QStringLiteral("path")].toString().toStdString();
        // The last one has lost what follows its cut; padded, it has something else there.
        if (path.starts_with("broken/") || path == "raw/canon_70d_orient8_cut.cr2")
            continue;
        auto expected = readPhotoFacts(find(path));
        ASSERT_TRUE(expected) << path;
        for (const std::uintmax_t megabytes : {70, 300, 3900}) {
            test::copyPadded(find(path), padded, megabytes);
            const auto before = test::bytesReadSoFar();
            const auto found = readPhotoFacts(padded);
            EXPECT_LT(test::bytesReadSoFar().value_or(0) - before.value_or(0), MOST_BYTES)
                << path << ' ' << megabytes;
            ASSERT_TRUE(found) << path;
            expected->metadata.pixelSize = found->metadata.pixelSize; // LibRaw asks the file's size
            EXPECT_TRUE(found->metadata == expected->metadata) << path << ' ' << megabytes;
            ++checked;
        }
    }
    EXPECT_GT(checked, 450);
}

} // namespace

} // namespace tavolin
