#include "browse/InfoLine.h"

#include "UndoKey.h"

#include <gtest/gtest.h>

namespace tavolin {
namespace {

TEST(InfoText, ShowsPositionNameAndHint)
{
    EXPECT_EQ(infoText(11, 348, "/photos/IMG_0042.JPG", false).toStdString(),
              "12/348 | IMG_0042.JPG   [H=วิธีใช้]");
}

TEST(InfoText, EditedMarkerStandsBetweenNameAndHint)
{
    EXPECT_EQ(infoText(11, 348, "/photos/IMG_0042.JPG", true).toStdString(),
              "12/348 | IMG_0042.JPG"
              "  ✏️ แก้ไขแล้ว (S=บันทึก " UNDO_KEY_TEXT "=ย้อน)"
              "   [H=วิธีใช้]");
}

TEST(InfoText, NumbersAreNotGrouped)
{
    EXPECT_EQ(infoText(99999, 1234567, "a.jpg", false).toStdString(),
              "100000/1234567 | a.jpg   [H=วิธีใช้]");
}

TEST(InfoText, StaysOnOneLineWhateverTheName)
{
    EXPECT_EQ(infoText(0, 1, "two\nlines.jpg", false).toStdString(),
              "1/1 | two lines.jpg   [H=วิธีใช้]");
}

TEST(InfoText, NameWithRightToLeftLettersIsIsolatedFromTheCounter)
{
    // From FIRST STRONG ISOLATE to POP DIRECTIONAL ISOLATE: Hebrew, Arabic, and Adlam, which lies
    // beyond 16 bits.
    for (const std::string name : {"שלום 12.jpg", "12 سلام.jpg", "𞤀.jpg"})
        EXPECT_EQ(infoText(11, 348, name, false).toStdString(),
                  "12/348 | \u2068" + name + "\u2069   [H=วิธีใช้]");
}

TEST(DisplayName, IsTheLastPartOfThePath)
{
    EXPECT_EQ(displayName("/a/b.c/ภาพ 1.jpg").toStdString(), "ภาพ 1.jpg");
}

TEST(DisplayName, ControlCharactersBecomeBlanks)
{
    EXPECT_EQ(displayName("a\tb\rc\x1b"
                          "d\x7f"
                          "e.jpg")
                  .toStdString(),
              "a b c d e.jpg");
}

TEST(DisplayName, UnicodeLineBreaksBecomeBlanks)
{
    // NEXT LINE, LINE SEPARATOR and PARAGRAPH SEPARATOR
    EXPECT_EQ(displayName("a\xc2\x85"
                          "b\xe2\x80\xa8"
                          "c\xe2\x80\xa9"
                          "d.jpg")
                  .toStdString(),
              "a b c d.jpg");
}

TEST(DisplayName, BytesThatAreNotUtf8BecomeReplacementCharacters)
{
    EXPECT_EQ(displayName("a\xff"
                          "b.jpg")
                  .toStdString(),
              "a\xef\xbf\xbd"
              "b.jpg");
}

TEST(DisplayName, EmojiStays)
{
    EXPECT_EQ(displayName("🌅.jpg").toStdString(), "🌅.jpg");
}

} // namespace
} // namespace tavolin
