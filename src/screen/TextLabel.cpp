#include "screen/TextLabel.h"

#include "screen/TextShadow.h"

#include <QAccessible>
#include <QFont>
#include <QFontMetrics>
#include <QMargins>
#include <QPainter>

#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

/// Around the text: what its shadow takes, and Thai letters with signs below them.
constexpr int ROOM_WIDTH = SHADOW_REACH + 1;
constexpr QMargins ROOM(ROOM_WIDTH, ROOM_WIDTH, ROOM_WIDTH, ROOM_WIDTH);

/// Has screen readers say what @p label says.
void announce(TextLabel &label)
{
    if (!QAccessible::isActive())
        return;
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
    QAccessibleAnnouncementEvent event(&label, label.text());
#else
    // What they read aloud of such versions is a notification that appears.
    QAccessibleEvent event(&label, QAccessible::ObjectShow);
#endif
    QAccessible::updateAccessibility(&event);
}

} // namespace

TextLabel::TextLabel(int sizePx, Qt::Alignment alignment, QWidget *parent, Purpose purpose)
    : QWidget(parent), m_alignment(alignment | Qt::AlignVCenter), m_purpose(purpose)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setContentsMargins(ROOM);
    setFont(interfaceFont(sizePx));
}

void TextLabel::place(const QRect &rect)
{
    setGeometry(rect + ROOM);
}

void TextLabel::setText(const QString &text)
{
    if (text == m_text)
        return;
    m_text = text;
    m_letters = {};
    setAccessibleName(text); // notifies nobody unless a tool is there
    if (m_purpose == Purpose::Message && !text.isEmpty())
        announce(*this);
    update();
}

void TextLabel::setColor(const QColor &color)
{
    m_color = color;
    m_letters = {};
    update();
}

void TextLabel::paintEvent(QPaintEvent *)
{
    if (m_text.isEmpty())
        return;
    const double scale = devicePixelRatio();
    if (m_letters.isNull() || m_scale != scale)
        drawLetters(scale);
    // In device pixels, so that it is a copy one to one whatever the scale.
    QPainter painter(this);
    painter.scale(1 / scale, 1 / scale);
    painter.drawImage(QPointF(m_lettersX * scale, 0), m_letters);
}

void TextLabel::resizeEvent(QResizeEvent *)
{
    m_letters = {};
}

void TextLabel::drawLetters(double scale)
{
    const QRect line = contentsRect();
    const int flags = static_cast<int>(m_alignment) | Qt::TextSingleLine;
    // A message says at its beginning what failed and at its end why.
    const QString shown = fontMetrics().elidedText(m_text, Qt::ElideMiddle, line.width());
    const QRect taken = fontMetrics().boundingRect(line, flags, shown) + ROOM;
    m_lettersX = taken.x();
    m_scale = scale;
    QImage letters((QSizeF(taken.width(), height()) * scale).toSize(),
                   QImage::Format_ARGB32_Premultiplied);
    letters.setDevicePixelRatio(scale);
    letters.fill(Qt::transparent);
    QPainter painter(&letters);
    painter.translate(-m_lettersX, 0);
    painter.setFont(font());
    painter.setPen(m_color);
    painter.drawText(line, flags, shown);
    painter.end();
    m_letters = withShadow(std::move(letters));
    m_letters.setDevicePixelRatio(1); // painted pixel by pixel
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
    painter.drawText(unseen.rect(), Qt::TextSingleLine, u"Ag 0 กำลัง ❌ ⌘"_s);
}

} // namespace tavolin
