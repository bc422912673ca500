#include "platform/FinderOrder.h"

#include <QByteArray>
#include <QtGlobal>

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace tavolin {
namespace {

using Names = std::vector<std::string>;

struct Case
{
    const char *name;
    Names listed;
    Names sorted;
};

void PrintTo(const Case &testCase, std::ostream *out)
{
    *out << testCase.name;
}

const Case CASES[] = {
    {"Nothing", {}, {}},
    {"One", {"a.jpg"}, {"a.jpg"}},
    {"EmptyNameFirst", {"a", ""}, {"", "a"}},
    {"NumbersByValueAndCaseAlike",
     {"b.JPG", "a.jpeg", "IMG_10.png", "IMG_2.png"},
     {"a.jpeg", "b.JPG", "IMG_2.png", "IMG_10.png"}},
    {"NumbersInTheMiddle", {"a10b2", "a9b10", "a9b9"}, {"a9b9", "a9b10", "a10b2"}},
    {"NumbersBeyond64Bits",
     {"100000000000000000000", "99999999999999999999"},
     {"99999999999999999999", "100000000000000000000"}},
    {"EqualNamesKeepTheirOrder",
     {"IMG_2", "img_2", "IMG_02", "IMG_1"},
     {"IMG_1", "IMG_2", "img_2", "IMG_02"}},
    {"EqualNamesKeepTheOtherOrder",
     {"IMG_02", "img_2", "IMG_2", "IMG_1"},
     {"IMG_1", "IMG_02", "img_2", "IMG_2"}},
    {"AccentAfterPlainLetter", {"á", "a", "b"}, {"a", "á", "b"}},
    {"AccentCountsAfterTheLetters", {"áa", "ab", "áb"}, {"áa", "ab", "áb"}},
    {"ComposedEqualsDecomposed",
     {"cafe\u0301", "caf\u00e9", "cafz"},
     {"cafe\u0301", "caf\u00e9", "cafz"}},
    {"DecomposedEqualsComposed",
     {"caf\u00e9", "cafe\u0301", "cafz"},
     {"caf\u00e9", "cafe\u0301", "cafz"}},
    {"MarksCountInAnyOrder",
     {"a\u0301\u0323", "a\u0323\u0301"},
     {"a\u0301\u0323", "a\u0323\u0301"}},
    {"MarksCountInTheOtherOrder",
     {"a\u0323\u0301", "a\u0301\u0323"},
     {"a\u0323\u0301", "a\u0301\u0323"}},
    {"SpaceCounts", {"ab", "a b"}, {"a b", "ab"}},
    {"UnderscoreCounts", {"DSC1", "DSC_1"}, {"DSC_1", "DSC1"}},
    {"ThaiLeadingVowelsSortByConsonant", {"ข", "แก", "เก", "ก"}, {"ก", "เก", "แก", "ข"}},
    {"ThaiAfterLatin", {"ก", "z"}, {"z", "ก"}},
    {"ThaiDigitsByValue", {"ภาพ๑๐", "ภาพ๒"}, {"ภาพ๒", "ภาพ๑๐"}},
    {"InvalidBytesComeBackUntouched",
     {"b\xff.jpg", "b.jpg", "a\xc3\x28.jpg"},
     {"a\xc3\x28.jpg", "b.jpg", "b\xff.jpg"}},
    {"InvalidBytesAreEqual", {"\xff", "\xfe", "\x80"}, {"\xff", "\xfe", "\x80"}},
    {"EmojiBeforeLetters", {"a", "😀"}, {"😀", "a"}},
};

class FinderOrder : public testing::TestWithParam<Case>
{};

TEST_P(FinderOrder, HoldsInRoot)
{
    EXPECT_EQ(sortedLikeFinder(GetParam().listed, ""), GetParam().sorted);
}

INSTANTIATE_TEST_SUITE_P(Table, FinderOrder, testing::ValuesIn(CASES),
                         [](const auto &instance) { return std::string(instance.param.name); });

TEST(FinderOrderLocale, ThaiSortsThaiBeforeLatin)
{
    EXPECT_EQ(sortedLikeFinder({"z", "ก"}, "th"), (Names{"ก", "z"}));
}

TEST(FinderOrderLocale, ThaiCountsSpacesToo)
{
    EXPECT_EQ(sortedLikeFinder({"ab", "a b"}, "th"), (Names{"a b", "ab"}));
}

TEST(FinderOrderLocale, SwedishSortsRingAfterZ)
{
    EXPECT_EQ(sortedLikeFinder({"å", "z"}, "sv-SE"), (Names{"z", "å"}));
    EXPECT_EQ(sortedLikeFinder({"å", "z"}, ""), (Names{"å", "z"}));
}

TEST(FinderOrderLocale, UnknownMeansRoot)
{
    EXPECT_EQ(sortedLikeFinder({"ก", "IMG_10", "img_2"}, "xx-YY"), (Names{"img_2", "IMG_10", "ก"}));
}

TEST(FinderOrderLocale, UnusableMeansByteOrder)
{
    // Longer than any language tag, so ICU refuses it.
    EXPECT_EQ(sortedLikeFinder({"b", "a10", "a2", "C"}, std::string(1000, 'x')),
              (Names{"C", "a10", "a2", "b"}));
}

// CTest runs it under C, where numbers would not count and capitals would come first.
TEST(FinderOrderLocale, UsersLocaleSortsNumbersByValueAndCaseAlike)
{
    EXPECT_EQ(sortedLikeFinder({"b.JPG", "a.jpeg", "IMG_10.png", "IMG_2.png"}),
              (Names{"a.jpeg", "b.JPG", "IMG_2.png", "IMG_10.png"}));
}

#ifdef Q_OS_LINUX
// CTest sets the environment.
TEST(FinderOrderThaiUser, SeesThaiBeforeLatin)
{
    if (qgetenv("LC_ALL") != "th_TH.UTF-8")
        GTEST_SKIP() << "needs LC_ALL=th_TH.UTF-8";
    EXPECT_EQ(sortedLikeFinder({"z", "ก"}), (Names{"ก", "z"}));
}
#endif

TEST(FinderOrderKeys, LongNamesSortByTheirEnds)
{
    // Accents come last in a key and make it long: some 360 bytes for these 240.
    std::string accents;
    for (int i = 0; i < 120; ++i)
        accents += "\u00e9";
    EXPECT_EQ(sortedLikeFinder({accents + "\u00e9", "z", accents + "e", "b"}, ""),
              (Names{"b", accents + "e", accents + "\u00e9", "z"}));
}

TEST(FinderOrderKeys, ManyEqualNamesKeepTheirOrder)
{
    Names names;
    for (std::size_t zeros = 0; zeros < 200; ++zeros)
        names.push_back(std::string(zeros * 7 % 200, '0') + "1");
    EXPECT_EQ(sortedLikeFinder(names, ""), names);
}

TEST(FinderOrderKeys, ManyNamesComeBackInOrder)
{
    Names expected;
    for (int i = 0; i < 5000; ++i)
        expected.push_back("IMG_" + std::to_string(i) + ".jpg");
    Names listed(expected.rbegin(), expected.rend());
    EXPECT_EQ(sortedLikeFinder(listed, ""), expected);
}

} // namespace
} // namespace tavolin
