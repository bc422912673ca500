#include "app/LaunchOptions.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tavolin {
namespace {

using Path = std::optional<std::filesystem::path>;

LaunchOptions optionsOf(std::vector<std::string> arguments)
{
    std::vector<char *> pointers;
    for (std::string &argument : arguments)
        pointers.push_back(argument.data());
    return readLaunchOptions(pointers);
}

TEST(LaunchOptions, WithoutArgumentsNothingIsAskedFor)
{
    const LaunchOptions options = optionsOf({});
    EXPECT_EQ(options.path, std::nullopt);
    EXPECT_FALSE(options.isBench);
    EXPECT_FALSE(options.isCropDemo);
}

TEST(LaunchOptions, CropDemoIsFoundBehindThePath)
{
    const LaunchOptions options = optionsOf({"/photos", "--crop-demo"});
    EXPECT_TRUE(options.isCropDemo);
    EXPECT_FALSE(options.isBench);
    EXPECT_EQ(options.path, Path("/photos"));
}

TEST(LaunchOptions, ArgumentIsThePath)
{
    EXPECT_EQ(optionsOf({"/photos"}).path, Path("/photos"));
}

TEST(LaunchOptions, FlagBeforeThePathIsSkipped)
{
    EXPECT_EQ(optionsOf({"--nonsense", "/photos"}).path, Path("/photos"));
}

TEST(LaunchOptions, SingleHyphenBeginsAPath)
{
    EXPECT_EQ(optionsOf({"-x", "/photos"}).path, Path("-x"));
}

TEST(LaunchOptions, SessionOfX11IsNoPathNorIsItsId)
{
    EXPECT_EQ(optionsOf({"-session", "117f000101"}).path, std::nullopt);
    EXPECT_EQ(optionsOf({"-session", "117f000101", "/photos"}).path, Path("/photos"));
    EXPECT_EQ(optionsOf({"/photos", "-session", "117f000101"}).path, Path("/photos"));
}

TEST(LaunchOptions, SessionWithoutAnIdIsNoPath)
{
    EXPECT_EQ(optionsOf({"-session"}).path, std::nullopt);
}

TEST(LaunchOptions, TwoHyphensAloneAreAFlag)
{
    EXPECT_EQ(optionsOf({"--"}).path, std::nullopt);
}

TEST(LaunchOptions, LaterPathsAreIgnored)
{
    EXPECT_EQ(optionsOf({"/first", "--nonsense", "/second"}).path, Path("/first"));
}

TEST(LaunchOptions, EmptyArgumentIsAPath)
{
    EXPECT_EQ(optionsOf({"", "/second"}).path, Path(""));
}

TEST(LaunchOptions, BytesOfThePathAreKept)
{
    const auto path = optionsOf({"/photos/\xff.jpg"}).path;
    ASSERT_TRUE(path);
    EXPECT_EQ(path->native(), "/photos/\xff.jpg");
}

TEST(LaunchOptions, BenchIsFoundBehindThePath)
{
    const LaunchOptions options = optionsOf({"/photos", "--bench"});
    EXPECT_TRUE(options.isBench);
    EXPECT_EQ(options.path, Path("/photos"));
}

TEST(LaunchOptions, BenchIsNoPath)
{
    const LaunchOptions options = optionsOf({"--bench"});
    EXPECT_TRUE(options.isBench);
    EXPECT_EQ(options.path, std::nullopt);
}

TEST(LaunchOptions, BenchIsTheWholeWord)
{
    EXPECT_FALSE(optionsOf({"--bench-mark", "-bench", "bench"}).isBench);
}

} // namespace
} // namespace tavolin
