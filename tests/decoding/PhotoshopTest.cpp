#include "decoding/metadata/Photoshop.h"

#include <gtest/gtest.h>

#include <random>

namespace tavolin {

namespace {

constexpr qsizetype NO_LIMIT = 65'000;

/// A resource of @p number, with a name of three letters and its length, which is even.
QByteArray resource(int number, const QByteArray &content)
{
    QByteArray bytes = "8BIM";
    bytes += static_cast<char>(number / 256);
    bytes += static_cast<char>(number % 256);
    bytes += QByteArray("\3abc\0\0", 6);
    bytes += static_cast<char>(content.size() / 256);
    bytes += static_cast<char>(content.size() % 256);
    bytes += content;
    return content.size() % 2 == 0 ? bytes : bytes + '\0';
}

QByteArray dataSet(int number, const QByteArray &value)
{
    QByteArray bytes("\x1c\2");
    bytes += static_cast<char>(number);
    bytes += static_cast<char>(value.size() / 256);
    bytes += static_cast<char>(value.size() % 256);
    return bytes + value;
}

constexpr int IPTC = 1028;
constexpr int COPYRIGHT_FLAG = 1034;
constexpr int ADDRESS = 1035;

TEST(CarriedResources, AreTheSameByteForByte)
{
    const QByteArray resources = resource(ADDRESS, "http://example.com") +
                                 resource(COPYRIGHT_FLAG, "\1") + resource(4999, "plug-in");
    EXPECT_EQ(carriedResources(resources, NO_LIMIT), resources);
}

TEST(CarriedResources, LeaveOutWhatIsOfThePictureBeforeItsEdit)
{
    for (const int number : {1033, 1036, 1032, 1050, 1058, 1060, 1039, 2000, 2999})
        EXPECT_EQ(carriedResources(resource(number, "x") + resource(ADDRESS, "y"), NO_LIMIT),
                  resource(ADDRESS, "y"))
            << number;
}

TEST(CarriedResources, LoseTheLargestWhereTheyAreTooMany)
{
    const QByteArray small = resource(ADDRESS, "small");
    const QByteArray large = resource(4000, QByteArray(1000, 'x'));
    EXPECT_EQ(carriedResources(small + large + small, large.size() + small.size()), small + small);
}

TEST(CarriedResources, LoseTheIptcDataLast)
{
    const QByteArray iptc = resource(IPTC, dataSet(120, QByteArray(1000, 'x')));
    const QByteArray other = resource(ADDRESS, "small");
    EXPECT_EQ(carriedResources(other + iptc, iptc.size()), iptc);
}

TEST(CarriedResources, LoseTheLargestDataSetsOfIptcThatIsTooLong)
{
    const QByteArray small = dataSet(5, "small");
    const QByteArray large = dataSet(120, QByteArray(1000, 'x'));
    EXPECT_EQ(carriedResources(resource(IPTC, small + large + small), 500),
              iptcResource(small + small));
}

TEST(CarriedResources, AnyNumberOfThemIsCutToTheLimit)
{
    QByteArray resources;
    for (int i = 0; i < 200'000; ++i)
        resources += resource(ADDRESS, "x");
    EXPECT_LE(carriedResources(resources, NO_LIMIT).size(), NO_LIMIT);
}

TEST(CarriedResources, DataSetWithALongLengthIsCarried)
{
    // Its length stands in four bytes behind.
    const QByteArray set = QByteArray("\x1c\2\x78\x80\4\0\0\0\5", 9) + "value";
    const QByteArray iptc = resource(IPTC, set + dataSet(5, "name"));
    EXPECT_EQ(carriedResources(iptc, NO_LIMIT), iptc);
}

TEST(CarriedResources, ZerosBehindTheDataSetsAreKept)
{
    const QByteArray iptc = resource(IPTC, dataSet(5, "name") + QByteArray(3, '\0'));
    EXPECT_EQ(carriedResources(iptc, NO_LIMIT), iptc);
}

TEST(CarriedResources, BytesBetweenTheDataSetsAreLeftOutAndNothingElse)
{
    const QByteArray iptc = "ab" + dataSet(5, "name") + QByteArray(3, '\0') + dataSet(120, "text") +
                            "c" + dataSet(202, "a picture") + dataSet(90, "city");
    EXPECT_EQ(carriedResources(resource(IPTC, iptc), NO_LIMIT),
              iptcResource(dataSet(5, "name") + dataSet(120, "text") + dataSet(90, "city")));
}

TEST(CarriedResources, PreviewBehindADamagedDataSetIsLeftOut)
{
    const QByteArray damaged("\x1c\2\5\x7f\xff", 5);
    EXPECT_EQ(
        carriedResources(resource(IPTC, dataSet(5, "name") + damaged + dataSet(202, "a picture")),
                         NO_LIMIT),
        iptcResource(dataSet(5, "name")));
}

TEST(CarriedResources, WhatIsNotWholeIsLeftOut)
{
    const QByteArray whole = resource(ADDRESS, "whole!");
    const QByteArray cut = resource(COPYRIGHT_FLAG, "not whole");
    for (qsizetype bytes = 0; bytes + 2 < cut.size(); ++bytes)
        EXPECT_EQ(carriedResources(whole + cut.first(bytes), NO_LIMIT), whole) << bytes;
}

TEST(CarriedResources, NoiseDoesNoHarm)
{
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        QByteArray noise = resource(IPTC, dataSet(5, "name") + dataSet(202, "picture")) +
                           resource(ADDRESS, "address");
        for (int i = 0; i < 6; ++i)
            noise[static_cast<qsizetype>(random() % static_cast<unsigned>(noise.size()))] =
                static_cast<char>(random());
        for (const qsizetype limit : {0, 12, 30, 50})
            EXPECT_LE(carriedResources(noise, limit).size(), limit);
    }
}

TEST(HasIptc, OnlyWhereThereIsSome)
{
    EXPECT_TRUE(hasIptc(resource(ADDRESS, "a") + resource(IPTC, dataSet(5, "name"))));
    EXPECT_FALSE(hasIptc(resource(ADDRESS, "a")));
    EXPECT_FALSE(hasIptc(resource(IPTC, "no data set")));
    EXPECT_FALSE(hasIptc({}));
}

} // namespace

} // namespace tavolin
