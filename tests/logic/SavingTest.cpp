#include "fileops/Saving.h"

#include "decoding/Decoding.h"
#include "decoding/TestPictures.h"
#include "pictures/Exif.h"
#include "pictures/Jpeg.h"
#include "pictures/Picture.h"
#include "pictures/Tiff.h"
#include "Printing.h"
#include "TemporaryFolder.h"

#include <QCryptographicHash>

#include <csignal>
#include <fstream>
#include <iterator>
#include <string>

#include <sys/resource.h>

namespace tavolin {

namespace {

using namespace test;

QByteArray contentOf(const std::filesystem::path &file)
{
    std::ifstream in(file, std::ios::binary);
    return QByteArray::fromStdString({std::istreambuf_iterator<char>(in), {}});
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

TEST(IsInFolderOf, WhereEditIsALinkToTheSameFolder)
{
    const TemporaryFolder folder;
    const auto source = folder.write("picture.nef", "source");
    std::filesystem::create_directory_symlink(".", folder / "Edit");
    EXPECT_TRUE(isInFolderOf(editedFile(source), source));
}

TEST(IsInFolderOf, NotWhereEditIsAFolderOrMissing)
{
    const TemporaryFolder folder;
    const auto source = folder.write("picture.nef", "source");
    EXPECT_FALSE(isInFolderOf(editedFile(source), source));
    std::filesystem::create_directory(folder / "Edit");
    EXPECT_FALSE(isInFolderOf(editedFile(source), source));
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

} // namespace

} // namespace tavolin
