#include "screen/TextLabel.h"

#include <QFont>
#include <QImage>
#include <QPainter>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

const QColor SHADOW(0, 0, 0, 230);
/// One point right and one down.
constexpr QPointF SHADOW_OFFSET(1, 1);

void drawLine(QPainter &painter, const QRectF &rect, Qt::Alignment alignment, const QString &text,
              const QColor &color)
{
    const int flags = static_cast<int>(alignment) | Qt::TextSingleLine;
    painter.setPen(SHADOW);
    painter.drawText(rect.translated(SHADOW_OFFSET), flags, text);
    painter.setPen(color);
    painter.drawText(rect, flags, text);
}

} // namespace

TextLabel::TextLabel(int sizePx, Qt::Alignment alignment, QWidget *parent)
    : QWidget(parent), m_alignment(alignment | Qt::AlignVCenter)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFont(interfaceFont(sizePx));
}

void TextLabel::setText(const QString &text)
{
    if (text == m_text)
        return;
    m_text = text;
    setAccessibleName(text); // notifies nobody unless a tool is there
    update();
}

void TextLabel::setColor(const QColor &color)
{
    m_color = color;
    update();
}

void TextLabel::paintEvent(QPaintEvent *)
{
    if (m_text.isEmpty())
        return;
    // A message says at its beginning what failed and at its end why.
    const QString shown = fontMetrics().elidedText(m_text, Qt::ElideMiddle, width());
    QPainter painter(this);
    drawLine(painter, rect(), m_alignment, shown, m_color);
}

QFont interfaceFont(int sizePx)
{
    QFont font;
#ifndef Q_OS_MACOS // whose system font has all of them
    font.setFamilies({u"Noto Sans"_s, u"Noto Sans Thai"_s, u"Noto Color Emoji"_s});
#endif
    font.setPixelSize(sizePx);
    font.setWeight(QFont::Medium);
    return font;
}

void warmUpFonts()
{
    QImage unseen(1, 1, QImage::Format_RGB32);
    QPainter painter(&unseen);
    painter.setFont(interfaceFont(20));
    drawLine(painter, unseen.rect(), Qt::AlignLeft, u"Ag 0 กำลัง ❌ ⌘"_s, NEON);
}

} // namespace tavolin
