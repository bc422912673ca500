#include "fileops/Saving.h"

#include "decoding/color/Color.h"
#include "decoding/Decoding.h"
#include "decoding/TestPictures.h"
#include "decoding/TestProfiles.h"
#include "fileops/SavedFiles.h"
#include "pictures/Exif.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "pictures/Tiff.h"
#include "pictures/Writing.h"
#include "platform/FileSystems.h"
#include "Printing.h"
#include "TemporaryFolder.h"

#include <QCryptographicHash>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <iterator>
#include <string>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace tavolin {

namespace {

using namespace test;

QByteArray contentOf(const std::filesystem::path &file)
{
    return QByteArray::fromStdString(test::contentOf(file));
}

QByteArray photo(int orientation = 1)
{
    return pictures::encodeJpeg(
        pictures::storedFor(pictures::fourQuarters({120, 80}), orientation),
        {.subsampling = pictures::Subsampling::Full444, .exif = pictures::exifBlock(orientation)});
}

TEST(EditedFile, LiesInEditBesideTheSource)
{
    EXPECT_EQ(editedFile("/photos/IMG_0012.HEIC"), "/photos/Edit/IMG_0012.jpg");
    EXPECT_EQ(editedFile("/photos/IMG_0012.JPG"), "/photos/Edit/IMG_0012.jpg");
}

TEST(EditedFile, LosesOnlyTheLastExtension)
{
    EXPECT_EQ(editedFile("/photos/a.b.png"), "/photos/Edit/a.b.jpg");
}

TEST(EditedFile, KeepsTheBytesOfAName)
{
    EXPECT_EQ(editedFile("/photos/\xff\xfe.png").native(), "/photos/Edit/\xff\xfe.jpg");
}

TEST(IsSourceItself, WhereEditIsALinkToTheSameFolder)
{
    const TemporaryFolder folder;
    const auto source = folder.write("picture.jpg", "source");
    std::filesystem::create_directory_symlink(".", folder / "Edit");
    EXPECT_TRUE(isSourceItself(editedFile(source), source));
}

TEST(IsSourceItself, WhereTheEditedFileIsALinkToTheSource)
{
    const TemporaryFolder folder;
    const auto source = folder.write("picture.jpg", "source");
    std::filesystem::create_directory(folder / "Edit");
    std::filesystem::create_symlink(source, editedFile(source));
    EXPECT_TRUE(isSourceItself(editedFile(source), source));
}

TEST(IsSourceItself, NotForAnotherFileOrNone)
{
    const TemporaryFolder folder;
    const auto source = folder.write("picture.jpg", "same content");
    std::filesystem::create_directory(folder / "Edit");
    EXPECT_FALSE(isSourceItself(editedFile(source), source));
    folder.write("Edit/picture.jpg", "same content");
    EXPECT_FALSE(isSourceItself(editedFile(source), source));
}

TEST(SaveJPEG, SavingTwiceWritesTheSameFileTwice)
{
    const TemporaryFolder folder;
    const Image image = noiseImage({60, 40});
    ASSERT_TRUE(saveJPEG(image, folder / "saved.jpg"));
    const QByteArray first = contentOf(folder / "saved.jpg");
    ASSERT_TRUE(saveJPEG(image, folder / "saved.jpg"));
    EXPECT_EQ(contentOf(folder / "saved.jpg"), first);
    EXPECT_FALSE(first.isEmpty());
}

TEST(SaveJPEG, TheViewerShowsWhatWasSaved)
{
    const TemporaryFolder folder;
    const Image image = loadFullImage(folder.write("source.jpg", photo()));
    ASSERT_TRUE(saveJPEG(image, folder / "saved.jpg"));
    EXPECT_TRUE(looksLike(loadFullImage(folder / "saved.jpg"), image, 6));
}

TEST(SaveJPEG, APortraitPhotoIsSavedUpright)
{
    const TemporaryFolder folder;
    const auto source = folder.write("source.jpg", photo(6));
    const Image image = loadFullImage(source);
    ASSERT_TRUE(
        saveJPEG(image, folder / "saved.jpg", SAVED_QUALITY, sourceMetadata(source, image.size())));
    const Image saved = loadFullImage(folder / "saved.jpg");
    EXPECT_EQ(saved.size(), QSize(120, 80));
    EXPECT_TRUE(showsFourQuarters(saved));
    EXPECT_EQ(readPixelSize(folder / "saved.jpg"), QSize(120, 80));
}

/// What the viewer shows of @p file, a picture of 40x40 pixels.
Image onScreen(const std::filesystem::path &file)
{
    return loadDisplayPicture(file, {40, {0, 0, 40, 40}, 1.0}).rendition;
}

/// Saves the picture of @p source as an edit of it is saved, and says where.
std::filesystem::path savedCopy(const TemporaryFolder &folder, const std::filesystem::path &source)
{
    const Image image = loadFullImage(source);
    const auto file = folder / "saved.jpg";
    EXPECT_TRUE(saveJPEG(image, file, SAVED_QUALITY, sourceMetadata(source, image.size())));
    return file;
}

/// A PNG in @p profile with 5x5 colours and their alpha, each 8x8 pixels: there JPEG is near.
QByteArray transparentPng(const QByteArray &profile)
{
    const Image noise = noiseWithAlpha({5, 5});
    QImage image(40, 40, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 40; ++x)
            reinterpret_cast<QRgb *>(image.scanLine(y))[x] = noise.row(y / 8)[x / 8];
    return pictures::encodePicture(image.convertToFormat(QImage::Format_ARGB32),
                                   {.size = image.size()}, ".png", {.iccProfile = profile});
}

TEST(SaveJPEG, TransparencyIsSavedAsOnScreenWhateverTheProfile)
{
    const TemporaryFolder folder;
    for (const QByteArray &profile :
         {rgbProfile(SRGB_PRIMARIES, 1.0), rgbProfile(SRGB_PRIMARIES, 2.6), adobeRgbProfile(),
          displayP3Profile(), QByteArray()}) {
        const auto source = folder.write("source.png", transparentPng(profile));
        const auto saved = savedCopy(folder, source);
        EXPECT_TRUE(looksLike(onScreen(saved), onScreen(source), 6));
        EXPECT_TRUE(loadFullImage(saved).iccProfile().isEmpty());
    }
}

// By hand: half of linear light's 200, 229 in sRGB, is 115 there; the same in linear light itself
// would be 168.
TEST(SaveJPEG, BlackShinesThroughInSrgb)
{
    QImage image(40, 40, QImage::Format_ARGB32);
    image.fill(qRgba(200, 200, 200, 128));
    const TemporaryFolder folder;
    const auto source = folder.write(
        "source.png", pictures::encodePicture(image, {.size = image.size()}, ".png",
                                              {.iccProfile = rgbProfile(SRGB_PRIMARIES, 1.0)}));
    EXPECT_TRUE(isNear(onScreen(savedCopy(folder, source)).row(20)[20], 0xff737373, 3));
}

TEST(SaveJPEG, AlphaThatHidesNothingCostsNoProfile)
{
    QImage image(40, 40, QImage::Format_ARGB32);
    image.fill(qRgba(64, 128, 0, 255));
    const TemporaryFolder folder;
    const auto source =
        folder.write("source.png", pictures::encodePicture(image, {.size = image.size()}, ".png",
                                                           {.iccProfile = displayP3Profile()}));
    const QByteArray profile = loadFullImage(source).iccProfile();
    EXPECT_FALSE(profile.isEmpty());
    EXPECT_EQ(loadFullImage(savedCopy(folder, source)).iccProfile(), profile);
}

TEST(SaveJPEG, APhotoKeepsItsProfile)
{
    const TemporaryFolder folder;
    const auto source =
        folder.write("source.jpg", pictures::encodeJpeg(pictures::fourQuarters({40, 40}),
                                                        {.iccProfile = displayP3Profile()}));
    EXPECT_EQ(loadFullImage(savedCopy(folder, source)).iccProfile(), displayP3Profile());
}

/// A JPEG of one grey, whose profile is for grey.
QByteArray greyPhoto(const QByteArray &exif = {})
{
    QImage image(40, 40, QImage::Format_RGB32);
    image.fill(qRgb(128, 128, 128));
    return pictures::encodeJpeg(
        image,
        {.color = pictures::JpegColor::Grey, .iccProfile = linearGreyProfile(), .exif = exif});
}

// Level 128 of 255 is 0.502 of the light, which sRGB's curve writes as 187.8.
TEST(SaveJPEG, GreyIsSavedInSrgb)
{
    const TemporaryFolder folder;
    const auto saved = savedCopy(folder, folder.write("source.jpg", greyPhoto()));
    EXPECT_TRUE(loadFullImage(saved).iccProfile().isEmpty());
    EXPECT_TRUE(isNear(loadFullImage(saved).row(20)[20], 0xffbcbcbc, 2));
}

TEST(SaveJPEG, SrgbIsSaidWhereTheExifDataSayAdobeRgb)
{
    pictures::TiffDirectory exposure = pictures::exposureDirectory(0);
    exposure.push_back(pictures::shortField(0xa001, {2}));
    const QByteArray exif = pictures::tiffBlock(
        {pictures::asciiField(0x010f, "TestMake"), pictures::directoriesField(0x8769, {exposure})});
    const TemporaryFolder folder;
    const auto saved = savedCopy(folder, folder.write("source.jpg", greyPhoto(exif)));
    EXPECT_EQ(loadFullImage(saved).iccProfile(), srgbProfile());
    EXPECT_TRUE(isNear(onScreen(saved).row(20)[20], 0xffbcbcbc, 2));
}

TEST(SaveJPEG, QualityRaisesTheSize)
{
    const TemporaryFolder folder;
    ASSERT_TRUE(saveJPEG(noiseImage({60, 40}), folder / "low.jpg", 0.3));
    ASSERT_TRUE(saveJPEG(noiseImage({60, 40}), folder / "high.jpg", 0.95));
    EXPECT_LT(std::filesystem::file_size(folder / "low.jpg"),
              std::filesystem::file_size(folder / "high.jpg"));
}

TEST(SaveJPEG, AFullDiskFailsAndLosesNothing)
{
    const TemporaryFolder folder;
    const auto earlier = folder.write("saved.jpg", "earlier");
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    rlimit lower = limit;
    lower.rlim_cur = 1000;
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &lower);
    const bool isSaved = saveJPEG(noiseImage({200, 200}), earlier);
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, handler);
    EXPECT_FALSE(isSaved);
    EXPECT_EQ(contentOf(earlier), "earlier");
}

TEST(SaveJPEG, FailsWhereEditIsAFile)
{
    const TemporaryFolder folder;
    const auto source = folder.write("picture.jpg", photo());
    folder.write("Edit", "not a folder");
    EXPECT_FALSE(saveJPEG(noiseImage({20, 20}), editedFile(source)));
    EXPECT_EQ(contentOf(folder / "Edit"), "not a folder");
}

TEST(SaveJPEG, FailsInAFolderThatCantBeWritten)
{
    EXPECT_FALSE(saveJPEG(noiseImage({20, 20}), "/proc/picture.jpg"));
}

TEST(SaveJPEG, FailsForAPictureThatNoJpegHolds)
{
    const TemporaryFolder folder;
    const auto earlier = folder.write("saved.jpg", "earlier");
    EXPECT_FALSE(saveJPEG(Image(), earlier));
    EXPECT_FALSE(saveJPEG(flatImage({70'000, 2}, GREY), earlier));
    EXPECT_EQ(contentOf(earlier), "earlier");
}

TEST(SaveJPEG, TheSourceIsNotTouched)
{
    const TemporaryFolder folder;
    const auto source = folder.write("picture.jpg", photo(3));
    const auto hash = [&source] {
        return QCryptographicHash::hash(contentOf(source), QCryptographicHash::Sha256);
    };
    const QByteArray before = hash();
    std::filesystem::create_directory(folder / "Edit");
    const Image image = loadFullImage(source);
    ASSERT_TRUE(
        saveJPEG(image, editedFile(source), SAVED_QUALITY, sourceMetadata(source, image.size())));
    EXPECT_EQ(hash(), before);
}

TEST(SaveJPEG, ASourceWith300KilobytesOfExifIsSavedWithWhatFits)
{
    pictures::TiffDirectory main{pictures::asciiField(0x0110, "TestCamera")};
    for (quint16 tag = 0xc100; tag < 0xc105; ++tag)
        main.push_back(
            pictures::bytesField(tag, pictures::TiffType::Undefined, QByteArray(60'000, 'x')));
    const TemporaryFolder folder;
    const auto source = folder.write("source.tif", pictures::tiffBlock(main));
    ASSERT_TRUE(saveJPEG(noiseImage({20, 20}), folder / "saved.jpg", SAVED_QUALITY,
                         sourceMetadata(source, {20, 20})));
    EXPECT_TRUE(contentOf(folder / "saved.jpg").contains("TestCamera"));
    EXPECT_FALSE(loadFullImage(folder / "saved.jpg").isNull());
}

TEST(SourceMetadata, AbsentForASourceThatVanishedOrIsNoPicture)
{
    const TemporaryFolder folder;
    EXPECT_FALSE(sourceMetadata(folder / "missing.jpg", {10, 10}));
    EXPECT_FALSE(sourceMetadata(folder.write("text.jpg", "no picture"), {10, 10}));
}

TEST(SourceMetadata, WithoutItThePictureIsSavedAllTheSame)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(saveJPEG(noiseImage({20, 20}), folder / "saved.jpg", SAVED_QUALITY,
                         sourceMetadata(folder / "missing.jpg", {20, 20})));
    EXPECT_FALSE(loadFullImage(folder / "saved.jpg").isNull());
}

/// Saves @p edited as the first save of a run.
Failure save(const Image &edited, const std::filesystem::path &source,
             const Progress &progress = {})
{
    SavedFiles saves;
    return saveEdit(InProcessReader(), saves, edited, source, progress);
}

TEST(SaveEdit, WritesThePictureBesideItsSourceWithItsMetadata)
{
    const TemporaryFolder folder;
    const auto source = folder.write("picture.jpg", photo(6));
    const Image edited = noiseImage({60, 40});
    int told = 0;
    EXPECT_EQ(save(edited, source, [&] { ++told; }), Failure());
    EXPECT_GT(told, 0);
    const auto saved = editedFile(source);
    EXPECT_EQ(readPixelSize(saved), QSize(60, 40));
    EXPECT_EQ(readPhotoFacts(saved)->metadata.make, QStringLiteral("TestMake"));
    EXPECT_EQ(contentOf(source), photo(6));
}

TEST(SaveEdit, NamesAFolderThatCannotBeMade)
{
    const TemporaryFolder folder;
    const auto source = folder.write("picture.jpg", photo());
    folder.write("Edit", "a file");
    EXPECT_EQ(save(noiseImage({60, 40}), source), QStringLiteral("สร้างโฟลเดอร์ Edit ไม่ได้"));
}

TEST(SaveEdit, ReplacesNothingWhereEditLeadsToTheSource)
{
    const TemporaryFolder folder;
    const auto source = folder.write("picture.jpg", photo());
    std::filesystem::create_directory_symlink(".", folder / "Edit");
    EXPECT_EQ(save(noiseImage({60, 40}), source), QStringLiteral("บันทึกไม่สำเร็จ"));
    EXPECT_EQ(contentOf(source), photo());
}

TEST(SaveEdit, ReplacesNoNeighbourWhereEditLeadsToTheFolder)
{
    const TemporaryFolder folder;
    const auto source = folder.write("picture.nef", photo());
    folder.write("picture.jpg", "of the camera");
    std::filesystem::create_directory_symlink(".", folder / "Edit");
    EXPECT_EQ(save(noiseImage({60, 40}), source), QStringLiteral("บันทึกไม่สำเร็จ"));
    EXPECT_EQ(contentOf(folder / "picture.jpg"), "of the camera");
}

TEST(SaveEdit, NamesTheReasonWhereWeHaveAWordForIt)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "pictures");
    const auto source = folder.write("pictures/picture.jpg", photo());
    {
        const ReadOnly readOnly(source.parent_path());
        const WithoutRoot withoutRoot;
        EXPECT_EQ(save(noiseImage({60, 40}), source),
                  QStringLiteral("สร้างโฟลเดอร์ Edit ไม่ได้ (ไม่มีสิทธิ์)"));
    }
    std::filesystem::create_directory(folder / "pictures/Edit");
    const ReadOnly readOnly(source.parent_path() / "Edit");
    const WithoutRoot withoutRoot;
    EXPECT_EQ(save(noiseImage({60, 40}), source), QStringLiteral("บันทึกไม่สำเร็จ (ไม่มีสิทธิ์)"));
}

TEST(SaveEdit, TheFileHasThePermissionsOfItsSource)
{
    using std::filesystem::perms;
    const TemporaryFolder folder;
    const auto source = folder.write("picture.jpg", photo());
    for (const perms permissions : {perms(0600), perms(0644), perms(0440)}) {
        std::filesystem::permissions(source, permissions);
        EXPECT_EQ(save(noiseImage({60, 40}), source), Failure());
        EXPECT_EQ(std::filesystem::status(editedFile(source)).permissions(), permissions);
    }
}

/// One that nobody here is in.
constexpr gid_t SOME_GROUP = 12345;

mode_t permissionsOf(const std::filesystem::path &file)
{
    return static_cast<mode_t>(std::filesystem::status(file).permissions());
}

TEST(SaveEdit, TheFileHasTheGroupOfItsSource)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root gives files to any group";
    const TemporaryFolder folder;
    const auto source = folder.write("picture.jpg", photo());
    ASSERT_EQ(chown(source.c_str(), static_cast<uid_t>(-1), SOME_GROUP), 0);
    ASSERT_EQ(chmod(source.c_str(), 0660), 0);
    EXPECT_EQ(save(noiseImage({60, 40}), source), Failure());
    struct stat status
    {};
    ASSERT_EQ(stat(editedFile(source).c_str(), &status), 0);
    EXPECT_EQ(status.st_gid, SOME_GROUP);
    EXPECT_EQ(permissionsOf(editedFile(source)), 0660U);
}

TEST(SaveEdit, AnotherGroupMayDoWhatEverybodyMay)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root gives files to any group";
    const TemporaryFolder folder;
    const auto source = folder.write("picture.jpg", photo());
    std::filesystem::create_directory(folder / "Edit");
    ASSERT_EQ(chmod((folder / "Edit").c_str(), 0777), 0);
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    ASSERT_EQ(chown(source.c_str(), static_cast<uid_t>(-1), SOME_GROUP), 0);
    ASSERT_EQ(chmod(source.c_str(), 0664), 0);
    {
        const WithoutRoot withoutRoot;
        EXPECT_EQ(save(noiseImage({60, 40}), source), Failure());
    }
    EXPECT_EQ(permissionsOf(editedFile(source)), 0644U);
}

TEST(SaveEdit, OnlyTheUserMayReadTheEditOfASourceThatHasGone)
{
    const TemporaryFolder folder;
    const auto source = folder.write("picture.jpg", photo());
    EXPECT_EQ(save(noiseImage({60, 40}), source, [&] { std::filesystem::remove(source); }),
              Failure());
    EXPECT_EQ(permissionsOf(editedFile(source)), 0600U);
}

TEST(SaveEdit, TheFileHasTheAccessListOfItsSource)
{
    // Version 2; tag, permissions and number each: the owner writes, user 1000 reads, the group
    // reads, nobody may more than read, others may nothing.
    constexpr std::string_view LIST{"\2\0\0\0"
                                    "\1\0\6\0\xff\xff\xff\xff"
                                    "\2\0\4\0\xe8\3\0\0"
                                    "\4\0\4\0\xff\xff\xff\xff"
                                    "\x10\0\4\0\xff\xff\xff\xff"
                                    "\x20\0\0\0\xff\xff\xff\xff",
                                    44};
    constexpr const char *NAME = "system.posix_acl_access";
    const TemporaryFolder folder;
    const auto source = folder.write("picture.jpg", photo());
    if (setxattr(source.c_str(), NAME, LIST.data(), LIST.size(), 0) != 0)
        GTEST_SKIP() << "no access lists on this file system";
    const auto listOf = [](const std::filesystem::path &file) {
        std::string list(1000, '\0');
        list.resize(static_cast<std::size_t>(
            std::max<ssize_t>(0, getxattr(file.c_str(), NAME, list.data(), list.size()))));
        return list;
    };
    EXPECT_EQ(save(noiseImage({60, 40}), source), Failure());
    EXPECT_EQ(listOf(editedFile(source)), LIST);
}

/// A folder of pictures whose "Edit" is a link to somebody's originals.
class EditLeadsOut : public testing::Test
{
protected:
    EditLeadsOut()
    {
        std::filesystem::create_directory(folder / "pictures");
        std::filesystem::create_directory(folder / "originals");
        std::filesystem::create_directory_symlink("../originals", folder / "pictures/Edit");
        folder.write("pictures/picture.jpg", photo());
    }

    test::TemporaryFolder folder;
    const std::filesystem::path source = folder / "pictures/picture.jpg";
    const std::filesystem::path there = folder / "originals/picture.jpg";
    const QString refusal = QStringLiteral("บันทึกไม่สำเร็จ (มีไฟล์อื่นชื่อนี้อยู่แล้ว)");
};

TEST_F(EditLeadsOut, AFileThatIsSomebodysStays)
{
    folder.write("originals/picture.jpg", photo(3));
    EXPECT_EQ(save(noiseImage({60, 40}), source), refusal);
    EXPECT_EQ(contentOf(there), photo(3));
}

TEST_F(EditLeadsOut, ANewFileIsWritten)
{
    EXPECT_EQ(save(noiseImage({60, 40}), source), Failure());
    EXPECT_EQ(readPixelSize(there), QSize(60, 40));
}

TEST_F(EditLeadsOut, AnEditOfAnEarlierRunIsReplaced)
{
    ASSERT_EQ(save(noiseImage({60, 40}), source), Failure());
    EXPECT_EQ(save(noiseImage({80, 40}), source), Failure());
    EXPECT_EQ(readPixelSize(there), QSize(80, 40));
}

TEST_F(EditLeadsOut, AnEditThatDoesNotSayWhoMadeItIsReplacedByTheRunThatSavedIt)
{
    folder.write("pictures/picture.jpg", pictures::encodeJpeg(pictures::fourQuarters({64, 48})));
    SavedFiles saves;
    ASSERT_EQ(saveEdit(InProcessReader(), saves, noiseImage({60, 40}), source), Failure());
    EXPECT_EQ(save(noiseImage({80, 40}), source), refusal);
    EXPECT_EQ(saveEdit(InProcessReader(), saves, noiseImage({80, 40}), source), Failure());
    EXPECT_EQ(readPixelSize(there), QSize(80, 40));
}

TEST_F(EditLeadsOut, AnEditThatSomebodyHasWrittenToSinceStays)
{
    folder.write("pictures/picture.jpg", pictures::encodeJpeg(pictures::fourQuarters({64, 48})));
    SavedFiles saves;
    ASSERT_EQ(saveEdit(InProcessReader(), saves, noiseImage({60, 40}), source), Failure());
    folder.write("originals/picture.jpg", "retouched");
    EXPECT_EQ(saveEdit(InProcessReader(), saves, noiseImage({80, 40}), source), refusal);
    EXPECT_EQ(contentOf(there), "retouched");
}

TEST_F(EditLeadsOut, ALinkOfThatNameStays)
{
    ASSERT_EQ(save(noiseImage({60, 40}), source), Failure());
    std::filesystem::rename(there, folder / "originals/edited.jpg");
    std::filesystem::create_symlink("edited.jpg", there);
    EXPECT_EQ(save(noiseImage({80, 40}), source), refusal);
    EXPECT_TRUE(std::filesystem::is_symlink(there));
}

TEST_F(EditLeadsOut, AFileThatAppearsMeanwhileStays)
{
    bool isThere = false;
    const Failure failure = save(noiseImage({60, 40}), source, [&] {
        // Being written.
        if (!isThere &&
            std::distance(std::filesystem::directory_iterator(folder / "originals"), {}))
            isThere = !folder.write("originals/picture.jpg", photo(3)).empty();
    });
    ASSERT_TRUE(isThere);
    EXPECT_EQ(failure, refusal);
    EXPECT_EQ(contentOf(there), photo(3));
    EXPECT_EQ(namesIn(folder / "originals"), std::set<std::string>{"picture.jpg"});
}

/// Notes when it has been asked whether a picture is an earlier edit.
class Asked : public InProcessReader
{
public:
    [[nodiscard]] bool isSavedByViewer(int file) const override
    {
        isAsked = true;
        return InProcessReader::isSavedByViewer(file);
    }
    mutable bool isAsked = false;
};

TEST_F(EditLeadsOut, AFileThatTakesThePlaceOfAnEditMeanwhileStays)
{
    ASSERT_EQ(save(noiseImage({60, 40}), source), Failure());
    const auto other = folder.write("other.jpg", photo(3));
    const Asked reader;
    SavedFiles saves;
    EXPECT_EQ(saveEdit(reader, saves, noiseImage({80, 40}), source,
                       [&] {
                           std::error_code movedBefore;
                           if (reader.isAsked)
                               std::filesystem::rename(other, there, movedBefore);
                       }),
              refusal);
    EXPECT_EQ(contentOf(there), photo(3));
    EXPECT_EQ(namesIn(folder / "originals"), std::set<std::string>{"picture.jpg"});
}

TEST_F(EditLeadsOut, AnEditThatGoesMeanwhileIsNoHindrance)
{
    ASSERT_EQ(save(noiseImage({60, 40}), source), Failure());
    const Asked reader;
    SavedFiles saves;
    EXPECT_EQ(saveEdit(reader, saves, noiseImage({80, 40}), source,
                       [&] {
                           if (reader.isAsked)
                               std::filesystem::remove(there);
                       }),
              Failure());
    EXPECT_EQ(readPixelSize(there), QSize(80, 40));
}

TEST(SaveEdit, GoesIntoTheFolderThatWasLookedAt)
{
    const TemporaryFolder folder;
    const auto source = folder.write("picture.jpg", photo());
    std::filesystem::create_directory(folder / "originals");
    folder.write("originals/picture.jpg", photo(3));
    bool isSwapped = false;
    EXPECT_EQ(save(noiseImage({60, 40}), source,
                   [&] {
                       if (isSwapped || !std::filesystem::exists(folder / "Edit"))
                           return;
                       isSwapped = true;
                       std::filesystem::rename(folder / "Edit", folder / "moved");
                       std::filesystem::create_directory_symlink("originals", folder / "Edit");
                   }),
              Failure());
    ASSERT_TRUE(isSwapped);
    EXPECT_EQ(contentOf(folder / "originals/picture.jpg"), photo(3));
    EXPECT_EQ(readPixelSize(folder / "moved/picture.jpg"), QSize(60, 40));
}

TEST(SaveEdit, AsksNothingOfTheDiskForAPictureThatIsTooLarge)
{
    const TemporaryFolder folder;
    const auto source = folder.write("picture.jpg", photo());
    EXPECT_EQ(save(flatImage({70'000, 2}, GREY), source), QStringLiteral("บันทึกไม่สำเร็จ"));
    EXPECT_FALSE(std::filesystem::exists(folder / "Edit"));
}

} // namespace

} // namespace tavolin
