#include "browse/PlainText.h"

#include <algorithm>
#include <array>

namespace tavolin {

namespace {

bool isActing(QChar c)
{
    switch (c.direction()) {
    case QChar::DirLRE:
    case QChar::DirLRO:
    case QChar::DirRLE:
    case QChar::DirRLO:
    case QChar::DirPDF:
    case QChar::DirLRI:
    case QChar::DirRLI:
    case QChar::DirFSI:
    case QChar::DirPDI:
        return true;
    default:
        break;
    }
    constexpr std::array<char16_t, 3> DIRECTION_MARKS{0x061c, 0x200e, 0x200f};
    return c.category() == QChar::Other_Control || c == QChar::LineSeparator ||
           c == QChar::ParagraphSeparator ||
           std::find(DIRECTION_MARKS.begin(), DIRECTION_MARKS.end(), c) != DIRECTION_MARKS.end();
}

} // namespace

QString plainText(QString text)
{
    std::replace_if(text.begin(), text.end(), isActing, u' ');
    return text;
}

} // namespace tavolin
