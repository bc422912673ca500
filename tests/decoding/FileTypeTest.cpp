#include "decoding/FileType.h"

#include "FileBytes.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace tavolin {

namespace {

using namespace std::string_literals;

struct Magic
{
    const char *name;
    std::string begin;
    FileType expected;
};

void PrintTo(const Magic &magic, std::ostream *out)
{
    *out << magic.name;
}

class SniffFileType : public testing::TestWithParam<Magic>
{};

TEST_P(SniffFileType, TellsByTheFirstBytes)
{
    QByteArray bytes = QByteArray::fromStdString(GetParam().begin);
    bytes.append(64, '\0');
    EXPECT_EQ(sniffFileType(SourceFile::fromBytes(bytes)), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Magics, SniffFileType,
    testing::Values(
        Magic{"Jpeg", "\xff\xd8\xff\xe0", FileType::Jpeg},
        Magic{"Png", "\x89PNG\r\n\x1a\n", FileType::Png},
        Magic{"WindowsBmp", "BM\0\0\0\0\0\0\0\0\0\0\0\0\x28\0\0\0"s, FileType::Bmp},
        Magic{"Os2Bmp", "BM\0\0\0\0\0\0\0\0\0\0\0\0\x0c\0\0\0"s, FileType::Bmp},
        Magic{"BmpWithAbsurdHeader", "BM\0\0\0\0\0\0\0\0\0\0\0\0\0\x28\0\0"s, FileType::Unknown},
        Magic{"TextThatBeginsLikeABmp", "BMW is a maker of cars", FileType::Unknown},
        Magic{"WebP", "RIFF\x10\0\0\0WEBPVP8 "s, FileType::WebP},
        Magic{"Wave", "RIFF\x10\0\0\0WAVEfmt "s, FileType::Unknown},
        Magic{"LittleTiff", "II*\0\x08\0\0\0"s, FileType::Tiff},
        Magic{"BigTiffOrder", "MM\0*\0\0\0\x08"s, FileType::Tiff},
        Magic{"BigTiff", "II+\0\x08\0\0\0"s, FileType::Tiff},
        Magic{"Cr2", "II*\0\x10\0\0\0CR\x02\0"s, FileType::Raw},
        Magic{"Rw2", "IIU\0\x18\0\0\0"s, FileType::Raw},
        Magic{"OrfRo", "IIRO\x08\0\0\0"s, FileType::Raw},
        Magic{"OrfRs", "IIRS\x08\0\0\0"s, FileType::Raw},
        Magic{"OrfBig", "MMOR\0\0\0\x08"s, FileType::Raw},
        Magic{"Raf", "FUJIFILMCCD-RAW 0201", FileType::Raw},
        Magic{"Cr3", "\0\0\0\x18"s + "ftypcrx \0\0\0\x01" + "crx isom"s, FileType::Raw},
        Magic{"HeicMajorBrand", "\0\0\0\x10"s + "ftypheic\0\0\0\0"s, FileType::Heif},
        Magic{"HeifCompatibleBrand", "\0\0\0\x18"s + "ftypMiHE\0\0\0\0isommif1"s, FileType::Heif},
        Magic{"BrandBehindTheBox", "\0\0\0\x14"s + "ftypmp42\0\0\0\0isommif1"s, FileType::Unknown},
        Magic{"VersionThatLooksLikeABrand", "\0\0\0\x10"s + "ftypmp42heic", FileType::Unknown},
        Magic{"Mp4", "\0\0\0\x14"s + "ftypisom\0\0\x02\0avc1"s, FileType::Unknown},
        Magic{"Gif", "GIF89a", FileType::Unknown}),
    [](const auto &test) { return std::string(test.param.name); });

TEST(SniffFileTypeOfFragments, NeverReadsBeyondTheEnd)
{
    const QByteArray whole =
        test::FileBytes().u32(0x18).text("ftypheic").u32(0).text("heicmif1").bytes();
    for (qsizetype length = 0; length < 12; ++length)
        EXPECT_EQ(sniffFileType(SourceFile::fromBytes(whole.left(length))), FileType::Unknown)
            << length;
    for (qsizetype length = 12; length <= whole.size(); ++length)
        EXPECT_EQ(sniffFileType(SourceFile::fromBytes(whole.left(length))), FileType::Heif)
            << length;
}

} // namespace

} // namespace tavolin
