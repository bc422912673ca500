#include "pictures/Tiff.h"

#include <QByteArray>

#include <gtest/gtest.h>

namespace tavolin::pictures {

namespace {

TEST(TiffBlock, SortsFieldsAndKeepsSmallValuesInTheirEntries)
{
    const QByteArray block = tiffBlock({longField(0x0101, 7), shortField(0x0100, {1, 2})});
    EXPECT_EQ(block.toHex(' '), "49 49 2a 00 08 00 00 00 " // header: the directory is at 8
                                "02 00 "                   // two entries
                                "00 01 03 00 02 00 00 00 01 00 02 00 "
                                "01 01 04 00 01 00 00 00 07 00 00 00 "
                                "00 00 00 00"); // no further directory
}

TEST(TiffBlock, PutsLongValuesOnWordBoundariesBehindTheDirectory)
{
    const QByteArray block = tiffBlock({asciiField(1, "abcd"), asciiField(2, "efgh")});
    EXPECT_EQ(block.toHex(' '), "49 49 2a 00 08 00 00 00 "
                                "02 00 "
                                "01 00 02 00 05 00 00 00 26 00 00 00 "
                                "02 00 02 00 05 00 00 00 2c 00 00 00 "
                                "00 00 00 00 "
                                "61 62 63 64 00 00 "
                                "65 66 67 68 00");
}

TEST(TiffBlock, PointsToDirectoriesAndData)
{
    const QByteArray block =
        tiffBlock({directoriesField(1, {{shortField(5, {6})}}), dataField(2, "xyz")});
    EXPECT_EQ(block.toHex(' '), "49 49 2a 00 08 00 00 00 "
                                "02 00 "
                                "01 00 04 00 01 00 00 00 26 00 00 00 "
                                "02 00 04 00 01 00 00 00 38 00 00 00 "
                                "00 00 00 00 "
                                "01 00 05 00 03 00 01 00 00 00 06 00 00 00 00 00 00 00 "
                                "78 79 7a");
}

TEST(TiffBlock, SignedRationalOnlyWhereAValueIsNegative)
{
    EXPECT_EQ(rationalField(1, {{1, 2}}).type, TiffType::Rational);
    const TiffField field = rationalField(1, {{1, 2}, {-1, 2}});
    EXPECT_EQ(field.type, TiffType::SignedRational);
    EXPECT_EQ(field.value.toHex(), "0100000002000000ffffffff02000000");
}

} // namespace

} // namespace tavolin::pictures
