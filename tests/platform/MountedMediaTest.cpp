#include "platform/MountedMedia.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

namespace tavolin {
namespace {

using Paths = std::vector<std::filesystem::path>;

TEST(MediaFolders, AreThoseWhereDesktopsAndPeopleMountThem)
{
    EXPECT_EQ(mediaFolders("/dev/sda2 / ext4 rw,relatime 0 0\n"
                           "proc /proc proc rw 0 0\n"
                           "/dev/sdb1 /media/somchai/NIKON vfat rw 0 0\n"
                           "tmpfs /run tmpfs rw 0 0\n"
                           "/dev/sdc1 /run/media/somchai/EOS vfat rw 0 0\n"
                           "server:/photos /mnt nfs rw 0 0\n"
                           "/dev/sdd1 /home ext4 rw 0 0\n"),
              (Paths{"/media/somchai/NIKON", "/run/media/somchai/EOS", "/mnt"}));
}

TEST(MediaFolders, NamesThatOnlyBeginLikeThoseDoNotCount)
{
    EXPECT_EQ(mediaFolders("/dev/sdb1 /mnt2 ext4 rw 0 0\n"
                           "/dev/sdb2 /media-old/x ext4 rw 0 0\n"),
              Paths());
}

TEST(MediaFolders, EscapesAreTheBytesThatTheyStandFor)
{
    EXPECT_EQ(mediaFolders("/dev/sdb1 /media/My\\040Card vfat rw 0 0\n"
                           "/dev/sdc1 /media/a\\134b vfat rw 0 0\n"
                           "/dev/sdd1 /media/\\377 vfat rw 0 0\n"),
              (Paths{"/media/My Card", "/media/a\\b", "/media/\xff"}));
}

TEST(MediaFolders, BackslashThatBeginsNoEscapeIsItself)
{
    EXPECT_EQ(mediaFolders("/dev/sdb1 /media/a\\9 vfat rw 0 0\n"), Paths{"/media/a\\9"});
}

TEST(MediaFolders, WhatIsMountedOverAnotherIsThereOnce)
{
    EXPECT_EQ(mediaFolders("/dev/sdb1 /mnt ext4 rw 0 0\n/dev/sdc1 /mnt ext4 rw 0 0\n"),
              Paths{"/mnt"});
}

TEST(MediaFolders, UnfinishedLineIsNone)
{
    EXPECT_EQ(mediaFolders("/dev/sdb1"), Paths());
    EXPECT_EQ(mediaFolders(""), Paths());
}

} // namespace
} // namespace tavolin
