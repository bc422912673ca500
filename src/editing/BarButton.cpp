#include "editing/BarButton.h"

#include "editing/CropRatio.h"
#include "screen/TextLabel.h"

#include <QEvent>
#include <QFontMetricsF>
#include <QPainter>

#include <cmath>

namespace tavolin {

namespace {

// In points.
constexpr QSize PADDING(28, 16);
/// Of a button that has little room.
constexpr QSize LEAST_PADDING(8, 16);
constexpr double INSET = 1;
constexpr double CORNER_RADIUS = 7;
constexpr double OUTLINE_WIDTH = 1;
constexpr QSize SEPARATOR_SIZE(1, 24);
constexpr int SEPARATOR_INSET = 2;

constexpr QColor FILL{255, 255, 255, 18};         // 7 %
constexpr QColor HOVERED_FILL{255, 255, 255, 46}; // 18 %
constexpr QColor PRESSED_FILL{255, 255, 255, 71}; // 28 %
constexpr QColor OUTLINE{255, 255, 255, 26};      // 10 %
constexpr QColor SEPARATOR{255, 255, 255, 41};    // 16 %

/// How far the accent goes towards white under the pointer, and towards black when pressed.
constexpr double HOVERED_ACCENT = 0.18;
constexpr double PRESSED_ACCENT = 0.25;

QColor blended(const QColor &color, const QColor &other, double part)
{
    const auto channel = [part](int from, int to) {
        return static_cast<int>(std::lround(from + (to - from) * part));
    };
    return {channel(color.red(), other.red()), channel(color.green(), other.green()),
            channel(color.blue(), other.blue())};
}

QSize labelSize(const BarButton &button)
{
    const QFontMetricsF metrics(button.font());
    return {static_cast<int>(std::ceil(metrics.horizontalAdvance(button.text()))),
            static_cast<int>(std::ceil(metrics.height()))};
}

} // namespace

BarButton::BarButton(const QString &label, int fontSizePx, QWidget *parent)
    : QAbstractButton(parent)
{
    setFont(interfaceFont(fontSizePx));
    setText(label);
    setFocusPolicy(Qt::NoFocus);
    setAttribute(Qt::WA_Hover); // repaints it when the pointer comes or goes
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void BarButton::setAccent(bool accent)
{
    m_accent = accent;
    update();
}

QSize BarButton::sizeHint() const
{
    return labelSize(*this) + PADDING;
}

QSize BarButton::minimumSizeHint() const
{
    return labelSize(*this) + LEAST_PADDING;
}

bool BarButton::event(QEvent *event)
{
    // A dialog takes the release of the mouse: a held button would be pressed for ever.
    if (event->type() == QEvent::WindowDeactivate)
        setDown(false);
    return QAbstractButton::event(event);
}

void BarButton::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const bool isProminent = m_accent || isChecked();
    if (isProminent) {
        painter.setBrush(isDown()       ? blended(ACCENT, Qt::black, PRESSED_ACCENT)
                         : underMouse() ? blended(ACCENT, Qt::white, HOVERED_ACCENT)
                                        : ACCENT);
    } else {
        painter.setBrush(isDown() ? PRESSED_FILL : underMouse() ? HOVERED_FILL : FILL);
    }
    const QRectF shape = QRectF(rect()).adjusted(INSET, INSET, -INSET, -INSET);
    painter.drawRoundedRect(shape, CORNER_RADIUS, CORNER_RADIUS);
    if (!isProminent) {
        painter.setPen(QPen(OUTLINE, OUTLINE_WIDTH));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(shape, CORNER_RADIUS, CORNER_RADIUS);
    }
    painter.setPen(isProminent ? Qt::black : Qt::white);
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextSingleLine | Qt::TextDontClip, text());
}

BarSeparator::BarSeparator(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize BarSeparator::sizeHint() const
{
    return SEPARATOR_SIZE;
}

void BarSeparator::paintEvent(QPaintEvent *)
{
    QPainter(this).fillRect(0, SEPARATOR_INSET, 1, height() - 2 * SEPARATOR_INSET, SEPARATOR);
}

} // namespace tavolin
