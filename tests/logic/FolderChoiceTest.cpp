#include "browse/FolderChoice.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace fs = std::filesystem;

namespace {

struct TypedCase
{
    const char *name;
    std::string text;
    fs::path folder;
};

void PrintTo(const TypedCase &typed, std::ostream *out)
{
    *out << typed.name;
}

/// Typed at home of "/home/somchai" while "/photos/2024" is shown.
class TypedFolder : public testing::TestWithParam<TypedCase>
{};

TEST_P(TypedFolder, IsTheOneThatIsMeant)
{
    EXPECT_EQ(typedFolder(QString::fromStdString(GetParam().text), "/photos/2024", "/home/somchai")
                  .native(),
              GetParam().folder.native());
}

INSTANTIATE_TEST_SUITE_P(
    Texts, TypedFolder,
    testing::Values(TypedCase{"WhatIsShown", "/photos/2024", "/photos/2024"},
                    TypedCase{"Empty", "", "/photos/2024"}, TypedCase{"Root", "/", "/"},
                    TypedCase{"FromTheRoot", "/mnt/card", "/mnt/card"},
                    TypedCase{"SlashAtTheEnd", "/mnt/card/", "/mnt/card"},
                    TypedCase{"SlashesInARow", "/mnt//card", "/mnt/card"},
                    TypedCase{"Below", "/photos/2024/trip", "/photos/2024/trip"},
                    TypedCase{"BelowAfterSlashes", "/photos/2024//trip", "/photos/2024/trip"},
                    TypedCase{"Beside", "/photos/2024b", "/photos/2024b"},
                    TypedCase{"Above", "/photos/2024/..", "/photos"},
                    TypedCase{"AboveTheRoot", "/../..", "/"},
                    TypedCase{"Home", "~", "/home/somchai"},
                    TypedCase{"BelowHome", "~/Pictures", "/home/somchai/Pictures"},
                    TypedCase{"TildeInAName", "~old", "/photos/2024/~old"},
                    TypedCase{"FromWhatIsShown", "trip/day 1", "/photos/2024/trip/day 1"},
                    TypedCase{"DotsFromWhatIsShown", "../2023", "/photos/2023"},
                    TypedCase{"Thai", "/photos/ทะเล", "/photos/ทะเล"}),
    [](const auto &typed) { return std::string(typed.param.name); });

TEST(TypedFolder, BytesThatAreNoTextStayWhatTheyAreWhileTheirTextDoes)
{
    const fs::path shown = "/photos/\xff\xfe/a\nb";
    const auto typed = [&](const QString &text) { return typedFolder(text, shown, "/").native(); };
    EXPECT_EQ(typed(pathText(shown)), shown.native());
    EXPECT_EQ(typed(pathText(shown) + u"/trip"_s), shown.native() + "/trip");
    EXPECT_EQ(typed(pathText(shown.parent_path())), "/photos/\xff\xfe");
    EXPECT_EQ(typed(pathText(shown.parent_path()) + u"/c"_s), "/photos/\xff\xfe/c");
    EXPECT_EQ(typed(u"/photos"_s), "/photos");
}

TEST(PathText, ActsInNoWay)
{
    EXPECT_EQ(pathText("/a\nb/\xff"), u"/a b/\ufffd"_s);
}

std::vector<std::pair<std::string, fs::path>> pairs(const std::vector<Place> &places)
{
    std::vector<std::pair<std::string, fs::path>> result;
    for (const Place &place : places)
        result.emplace_back(place.name.toStdString(), place.folder);
    return result;
}

using Pairs = std::vector<std::pair<std::string, fs::path>>;

TEST(PlacesOf, BeginAtHomeAndNameMediaByTheirFolders)
{
    EXPECT_EQ(pairs(placesOf("/home/a", "/home/a/Pictures", {"/media/a/EOS", "/mnt"})),
              (Pairs{{"บ้าน", "/home/a"},
                     {"รูปภาพ", "/home/a/Pictures"},
                     {"EOS", "/media/a/EOS"},
                     {"mnt", "/mnt"}}));
}

TEST(PlacesOf, UnknownPicturesAreLeftOut)
{
    EXPECT_EQ(pairs(placesOf("/home/a", std::nullopt, {})), (Pairs{{"บ้าน", "/home/a"}}));
}

TEST(PlacesOf, NameEachFolderOnce)
{
    EXPECT_EQ(pairs(placesOf("/home/a", "/home/a", {"/mnt", "/mnt"})),
              (Pairs{{"บ้าน", "/home/a"}, {"mnt", "/mnt"}}));
}

} // namespace
} // namespace tavolin
