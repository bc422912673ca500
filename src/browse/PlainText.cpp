#include "browse/PlainText.h"

#include <QStringList>
#include <QTextBoundaryFinder>

#include <algorithm>
#include <array>

namespace tavolin {

namespace {

/// Of what is not broken, in units of UTF-16: the names that cameras and people give fit, and every
/// label that wraps is wider.
constexpr qsizetype LONGEST_WORD = 40;
constexpr QChar ZERO_WIDTH_SPACE = u'\u200b';

/// The pieces of @p text between the boundaries of @p type.
QStringList pieces(const QString &text, QTextBoundaryFinder::BoundaryType type)
{
    QStringList result;
    QTextBoundaryFinder finder(type, text);
    for (qsizetype begin = 0; begin < text.size(); begin = finder.position()) {
        finder.toNextBoundary();
        result << text.mid(begin, finder.position() - begin);
    }
    return result;
}

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

QString wrappableText(const QString &text)
{
    QString result;
    for (const QString &piece : pieces(text, QTextBoundaryFinder::Line)) {
        const QString word = piece.trimmed(); // blanks after it belong to the piece
        QString broken = piece;
        if (word.size() > LONGEST_WORD)
            broken.replace(word,
                           pieces(word, QTextBoundaryFinder::Grapheme).join(ZERO_WIDTH_SPACE));
        result += broken;
    }
    return result;
}

} // namespace tavolin
