#include "browse/ImageList.h"

#include "logic/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tavolin {

namespace fs = std::filesystem;
using test::TemporaryFolder;
using Names = std::vector<std::string>;
using Paths = std::vector<fs::path>;

namespace {

/// The names in the list that opening @p folder gives.
Names namesInList(const fs::path &folder)
{
    auto entries = listFolder(folder);
    if (!entries)
        return {"the folder can't be read"};
    Names names;
    for (const fs::path &path : makeImageList(folder, std::move(*entries)))
        names.push_back(path.filename().native());
    return names;
}

TEST(ListFolder, NamesEveryEntryOfOneLevel)
{
    const TemporaryFolder folder;
    folder.write("b.jpg");
    folder.write(".hidden");
    fs::create_directory(folder / "sub");
    folder.write("sub/inner.jpg");
    auto names = listFolder(folder.path());
    ASSERT_TRUE(names);
    std::sort(names->begin(), names->end());
    EXPECT_EQ(*names, (Names{".hidden", "b.jpg", "sub"}));
}

TEST(ListFolder, EmptyFolderIsNoFailure)
{
    const TemporaryFolder folder;
    EXPECT_EQ(listFolder(folder.path()), Names());
}

TEST(ListFolder, FailsWhereNothingIs)
{
    const TemporaryFolder folder;
    EXPECT_EQ(listFolder(folder / "absent"), std::nullopt);
}

TEST(ListFolder, FailsOnAFile)
{
    const TemporaryFolder folder;
    EXPECT_EQ(listFolder(folder.write("a.jpg")), std::nullopt);
}

TEST(ImageNames, KeepTheirOrder)
{
    EXPECT_EQ(imageNames({"c.png", "a.png", "b.png"}), (Names{"c.png", "a.png", "b.png"}));
}

TEST(ImageNames, ExtensionCountsInAnyCase)
{
    EXPECT_EQ(imageNames({"a.JPG", "b.Jpeg", "c.hEiC", "d.NEF"}),
              (Names{"a.JPG", "b.Jpeg", "c.hEiC", "d.NEF"}));
}

TEST(ImageNames, EveryFormatCounts)
{
    const Names all{"1.jpg",  "2.jpeg", "3.png",  "4.webp", "5.bmp",  "6.tiff", "7.tif",
                    "8.heic", "9.heif", "10.nef", "11.cr2", "12.cr3", "13.arw", "14.dng",
                    "15.raf", "16.orf", "17.rw2", "18.pef", "19.srw"};
    EXPECT_EQ(imageNames(all), all);
}

TEST(ImageNames, OtherFilesAreLeftOut)
{
    EXPECT_EQ(imageNames({"c.txt", "jpg", "a.jpg.bak", "a.jpgx", "a.", "a.gif", "a.jpg "}),
              Names());
}

TEST(ImageNames, CompanionsOfAppleDoubleAreLeftOut)
{
    EXPECT_EQ(imageNames({"._a.jpeg", "._.jpg"}), Names());
}

TEST(ImageNames, HiddenNamesAreJudgedByTheirExtension)
{
    EXPECT_EQ(imageNames({".a.jpg", ".b.txt", "..jpg", ".jpg", "_a.jpg"}),
              (Names{".a.jpg", "..jpg", ".jpg", "_a.jpg"}));
}

TEST(MakeImageList, MixedFolderIsFilteredAndSortedAsAPersonExpects)
{
    const TemporaryFolder folder;
    for (const char *name : {"b.JPG", "a.jpeg", "._a.jpeg", "c.txt", "IMG_10.png", "IMG_2.png"})
        folder.write(name);
    EXPECT_EQ(namesInList(folder.path()), (Names{"a.jpeg", "b.JPG", "IMG_2.png", "IMG_10.png"}));
}

TEST(MakeImageList, FolderWithTheNameOfAPictureIsKept)
{
    const TemporaryFolder folder;
    fs::create_directory(folder / "x.jpg");
    EXPECT_EQ(namesInList(folder.path()), Names{"x.jpg"});
}

TEST(MakeImageList, NamesThatAreNotUtf8KeepTheirBytes)
{
    const TemporaryFolder folder;
    const std::string name = "b\xff\xc3.jpg";
    folder.write(name);
    EXPECT_EQ(namesInList(folder.path()), Names{name});
}

TEST(MakeImageList, PathsAreTheFolderAndTheName)
{
    EXPECT_EQ(makeImageList("/one/two", {"b.jpg", "a.jpg"}),
              (Paths{"/one/two/a.jpg", "/one/two/b.jpg"}));
}

TEST(StartIndex, IsThePositionOfTheFile)
{
    EXPECT_EQ(startIndex({"/f/a.jpg", "/f/b.jpg", "/f/c.jpg"}, "/f/c.jpg"), 2);
}

TEST(StartIndex, FirstOfEquals)
{
    EXPECT_EQ(startIndex({"/f/a.jpg", "/f/b.jpg", "/f/b.jpg"}, "/f/b.jpg"), 1);
}

TEST(StartIndex, FileThatIsNotInTheListStartsAtTheBeginning)
{
    EXPECT_EQ(startIndex({"/f/a.jpg", "/f/b.jpg"}, "/f/c.txt"), 0);
}

TEST(StartIndex, WithoutAFileTheListStartsAtTheBeginning)
{
    EXPECT_EQ(startIndex({"/f/a.jpg", "/f/b.jpg"}, std::nullopt), 0);
}

TEST(StartIndex, EmptyListStartsAtTheBeginning)
{
    EXPECT_EQ(startIndex({}, "/f/a.jpg"), 0);
}

TEST(StartIndex, LetterCaseIsADifference)
{
    EXPECT_EQ(startIndex({"/f/a.jpg", "/f/A.jpg"}, "/f/A.jpg"), 1);
}

TEST(StartIndex, BytesThatAreNotUtf8AreCompared)
{
    EXPECT_EQ(startIndex({"/f/\xfe.jpg", "/f/\xff.jpg"}, "/f/\xff.jpg"), 1);
}

TEST(StartIndex, DifferentSpellingOfThePathIsADifference)
{
    EXPECT_EQ(startIndex({"/f/a.jpg", "/f/b.jpg"}, "/f//b.jpg"), 0);
}

TEST(IndexOf, FindsTheFileBeforeAndBehindTheExpectedPlace)
{
    const Paths list{"/f/a.jpg", "/f/b.jpg", "/f/c.jpg", "/f/d.jpg"};
    EXPECT_EQ(indexOf("/f/a.jpg", list, 2), 0);
    EXPECT_EQ(indexOf("/f/c.jpg", list, 2), 2);
    EXPECT_EQ(indexOf("/f/d.jpg", list, 0), 3);
}

TEST(IndexOf, ExpectedPlaceMayLieBehindTheList)
{
    EXPECT_EQ(indexOf("/f/a.jpg", {"/f/a.jpg", "/f/b.jpg"}, 100), 0);
}

TEST(IndexOf, NearestOfEquals)
{
    EXPECT_EQ(indexOf("/f/b.jpg", {"/f/b.jpg", "/f/a.jpg", "/f/a.jpg", "/f/b.jpg"}, 2), 3);
}

TEST(IndexOf, IsEmptyForAFileThatIsNotThere)
{
    EXPECT_EQ(indexOf("/f/c.jpg", {"/f/a.jpg", "/f/b.jpg"}, 1), std::nullopt);
    EXPECT_EQ(indexOf("/f/c.jpg", {}, 0), std::nullopt);
}

TEST(IndexOf, EndOfANameIsAnotherName)
{
    EXPECT_EQ(indexOf("/f/a.jpg", {"/f/aa.jpg"}, 0), std::nullopt);
}

TEST(IndexOf, SameNameInAnotherFolderIsAnotherFile)
{
    EXPECT_EQ(indexOf("/g/a.jpg", {"/f/a.jpg"}, 0), std::nullopt);
}

TEST(IndexOf, SpellingOfTheFolderIsNoDifference)
{
    EXPECT_EQ(indexOf("/f//a.jpg", {"/f/a.jpg"}, 0), 0);
}

} // namespace

} // namespace tavolin
