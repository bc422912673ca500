#include "browse/FileSearch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

using Paths = std::vector<std::filesystem::path>;

std::optional<int> firstMatch(const Paths &files, const QString &query)
{
    return FileSearch(files).firstMatch(query);
}

/// IMG_0001.JPG to IMG_0100.JPG.
Paths hundredFiles()
{
    Paths files;
    for (int number = 1; number <= 100; ++number) {
        char name[32];
        std::snprintf(name, sizeof name, "/photos/IMG_%04d.JPG", number);
        files.emplace_back(name);
    }
    return files;
}

TEST(FileSearch, MoreLettersNarrowTheMatch)
{
    const FileSearch search(hundredFiles());
    EXPECT_EQ(search.firstMatch(u"0"_s), 0);
    EXPECT_EQ(search.firstMatch(u"05"_s), 4);
    EXPECT_EQ(search.firstMatch(u"050"_s), 49);
}

TEST(FileSearch, AlwaysGivesTheFirstMatch)
{
    EXPECT_EQ(firstMatch({"/p/a1.jpg", "/p/b1.jpg", "/p/b2.jpg"}, u"b"_s), 1);
}

TEST(FileSearch, MatchesTheLastName)
{
    EXPECT_EQ(firstMatch({"/p/a.jpg", "/p/b.jpg", "/p/c.jpg"}, u"c.jpg"_s), 2);
}

TEST(FileSearch, UnmatchedQueryHasNoMatch)
{
    EXPECT_EQ(firstMatch(hundredFiles(), u"0101"_s), std::nullopt);
}

TEST(FileSearch, EmptyQueryHasNoMatch)
{
    EXPECT_EQ(firstMatch(hundredFiles(), {}), std::nullopt);
    EXPECT_EQ(firstMatch(hundredFiles(), u""_s), std::nullopt);
}

TEST(FileSearch, EmptyListHasNoMatch)
{
    EXPECT_EQ(firstMatch({}, u"a"_s), std::nullopt);
}

TEST(FileSearch, CapitalsMatchSmallLetters)
{
    EXPECT_EQ(firstMatch({"/p/dsc.jpg", "/p/img.jpg"}, u"IMG"_s), 1);
}

TEST(FileSearch, SmallLettersMatchCapitals)
{
    EXPECT_EQ(firstMatch({"/p/DSC.JPG", "/p/IMG.JPG"}, u"img"_s), 1);
}

TEST(FileSearch, CaseOfEveryAlphabetIsTheSame)
{
    EXPECT_EQ(firstMatch({"/p/ДАЧА.jpg"}, u"дача"_s), 0);
    EXPECT_EQ(firstMatch({"/p/été.jpg"}, u"ÉTÉ"_s), 0);
    EXPECT_EQ(firstMatch({"/p/𐐀.jpg"}, u"𐐨"_s), 0); // outside the basic plane
}

TEST(FileSearch, SharpSIsNotDoubleS)
{
    EXPECT_EQ(firstMatch({"/p/strasse.jpg"}, u"straße"_s), std::nullopt);
}

TEST(FileSearch, LookalikesAreNotTheSame)
{
    EXPECT_EQ(firstMatch({"/p/x².jpg"}, u"x2"_s), std::nullopt);
}

TEST(FileSearch, ExtensionIsPartOfTheName)
{
    EXPECT_EQ(firstMatch({"/p/1.png", "/p/2.heic", "/p/3.JPG", "/p/4.jpg"}, u"jpg"_s), 2);
}

TEST(FileSearch, FolderIsNotPartOfTheName)
{
    EXPECT_EQ(firstMatch({"/photos/a.jpg"}, u"photos"_s), std::nullopt);
}

TEST(FileSearch, NothingInAQueryIsAPattern)
{
    EXPECT_EQ(firstMatch({"/p/ab.jpg", "/p/a.b.jpg"}, u"a.b"_s), 1);
    EXPECT_EQ(firstMatch({"/p/ab.jpg"}, u"a*"_s), std::nullopt);
}

TEST(FileSearch, BlanksCount)
{
    EXPECT_EQ(firstMatch({"/p/a1.jpg", "/p/a 1.jpg"}, u"a 1"_s), 1);
}

TEST(FileSearch, AccentedLetterDoesNotMatchThePlainOne)
{
    EXPECT_EQ(firstMatch({"/p/cafe.jpg"}, u"café"_s), std::nullopt);
}

TEST(FileSearch, PlainLetterDoesNotMatchTheAccentedOne)
{
    EXPECT_EQ(firstMatch({"/p/caf\u00e9.jpg"}, u"cafe"_s), std::nullopt);
    EXPECT_EQ(firstMatch({"/p/cafe\u0301.jpg"}, u"cafe"_s), std::nullopt);
}

TEST(FileSearch, ComposedQueryFindsDecomposedName)
{
    EXPECT_EQ(firstMatch({"/p/cafe\u0301.jpg"}, u"caf\u00e9"_s), 0);
}

TEST(FileSearch, DecomposedQueryFindsComposedName)
{
    EXPECT_EQ(firstMatch({"/p/caf\u00e9.jpg"}, u"cafe\u0301"_s), 0);
}

TEST(FileSearch, ThaiNameIsFound)
{
    EXPECT_EQ(firstMatch({"/p/บ้าน.jpg", "/p/ที่ทะเล.jpg"}, u"ทะเล"_s), 1);
    EXPECT_EQ(firstMatch({"/p/บ้าน.jpg", "/p/ที่ทะเล.jpg"}, u"ที่"_s), 1);
}

TEST(FileSearch, ThaiToneMarkIsNotIgnored)
{
    EXPECT_EQ(firstMatch({"/p/บาน.jpg", "/p/บ้าน.jpg"}, u"บ้าน"_s), 1);
}

TEST(FileSearch, NameThatIsNotUtf8IsFoundByTheRest)
{
    const Paths files{"/p/a.jpg", "/p/x\xff\xfey.jpg"};
    EXPECT_EQ(firstMatch(files, u"x"_s), 1);
    EXPECT_EQ(firstMatch(files, u"y.j"_s), 1);
    EXPECT_EQ(firstMatch(files, u"\ufffd"_s), 1);
}

TEST(FileSearch, KeepsTheNamesOfTheListItWasMadeOf)
{
    Paths files{"/p/a.jpg", "/p/b.jpg"};
    const FileSearch search(files);
    files.clear();
    EXPECT_EQ(search.firstMatch(u"b"_s), 1);
}

} // namespace
} // namespace tavolin
