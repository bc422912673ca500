#include "pixels/FileExtensions.h"

#include <gtest/gtest.h>

#include <string>

namespace tavolin {

namespace {

using namespace std::string_literals;

TEST(HasImageExtension, KnowsEachOfTheNineteen)
{
    for (const char *name :
         {"a.jpg", "a.jpeg", "a.png", "a.webp", "a.bmp", "a.tiff", "a.tif", "a.heic", "a.heif",
          "a.nef", "a.cr2", "a.cr3", "a.arw", "a.dng", "a.raf", "a.orf", "a.rw2", "a.pef", "a.srw"})
        EXPECT_TRUE(hasImageExtension(name)) << name;
}

TEST(HasImageExtension, RefusesOtherFiles)
{
    for (const char *name : {"a.gif", "a.txt", "a.jpg.xmp", "a.jp", "a.jpgg", "a.", "a", ""})
        EXPECT_FALSE(hasImageExtension(name)) << name;
}

TEST(HasImageExtension, IgnoresTheCaseOfLetters)
{
    EXPECT_TRUE(hasImageExtension("DSC_0001.JPG"));
    EXPECT_TRUE(hasImageExtension("DSC_0001.Nef"));
    EXPECT_TRUE(hasRawExtension("DSC_0001.NEF"));
}

TEST(HasImageExtension, TakesAllThatFollowsTheLastDot)
{
    EXPECT_TRUE(hasImageExtension(".jpg"));
    EXPECT_TRUE(hasImageExtension("a.b.jpg"));
    EXPECT_TRUE(hasImageExtension("a..jpg"));
    EXPECT_FALSE(hasImageExtension("jpg"));
}

TEST(HasImageExtension, LooksAtTheFileNameOnly)
{
    EXPECT_FALSE(hasImageExtension("/photos.jpg/readme"));
    EXPECT_FALSE(hasImageExtension("/photos.jpg/"));
    EXPECT_TRUE(hasImageExtension("/photos.d/a.jpg"));
}

TEST(HasImageExtension, AcceptsNamesThatAreNoUtf8)
{
    EXPECT_TRUE(hasImageExtension("/photos/\xff\xfe\xc3.jpg"s));
    EXPECT_FALSE(hasImageExtension("a.jp\xc7"s));
}

TEST(HasRawExtension, KnowsTheTenAndNoOther)
{
    for (const char *name :
         {"a.nef", "a.cr2", "a.cr3", "a.arw", "a.dng", "a.raf", "a.orf", "a.rw2", "a.pef", "a.srw"})
        EXPECT_TRUE(hasRawExtension(name)) << name;
    for (const char *name : {"a.jpg", "a.tif", "a.heic", "a.raw"})
        EXPECT_FALSE(hasRawExtension(name)) << name;
}

} // namespace

} // namespace tavolin
