#include "browse/PlainText.h"

#include "logic/Printing.h"

#include <QStringList>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace tavolin {
namespace {

const QString BREAK(QChar(0x200b));

TEST(WrappableText, OrdinaryNamesAreLeftAsTheyAre)
{
    const QString name = u"IMG_20240131_123456789_HDR-edited (2).jpg ถูกครอป/หมุนแล้ว"_s;
    EXPECT_EQ(wrappableText(name), name);
    EXPECT_EQ(wrappableText({}), QString());
    EXPECT_EQ(wrappableText(QString(40, u'0')), QString(40, u'0'));
}

TEST(WrappableText, LongWordCanBeBrokenAfterEachOfItsCharacters)
{
    const QString word(41, u'0');
    const QString broken = wrappableText(u"a "_s + word + u" b"_s);
    EXPECT_EQ(broken.count(BREAK), 40);
    EXPECT_TRUE(broken.startsWith(u"a 0"_s + BREAK + u'0'));
    EXPECT_TRUE(broken.endsWith(u'0' + BREAK + u"0 b"_s));
    EXPECT_EQ(QString(broken).remove(BREAK), u"a "_s + word + u" b"_s);
}

TEST(WrappableText, CharactersStayWhole)
{
    const QString camera = u"📷"_s; // two units
    EXPECT_EQ(wrappableText(camera.repeated(21)).remove(BREAK), camera.repeated(21));
    const QString syllable = u"e\u0301"_s;
    const QString broken = wrappableText(syllable.repeated(21));
    EXPECT_EQ(broken, QStringList(21, syllable).join(BREAK));
}

} // namespace
} // namespace tavolin
