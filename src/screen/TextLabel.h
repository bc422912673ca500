#pragma once
// One line of text lying directly over the picture.

#include <QColor>
#include <QString>
#include <QWidget>

namespace tavolin {

/// The colour of all label text: a bright cyan, seen over any picture.
inline constexpr QColor NEON{0, 212, 255};

/// Draws its text on one line, plain (no markup, no line breaks), without its middle where it is
/// too long, and with a small black shadow that keeps it readable over bright pictures. Takes no
/// mouse events. Assistive tools know it as a text and hear of each change.
class TextLabel : public QWidget
{
    Q_OBJECT

public:
    /// @p sizePx is the height of the font in view points; digits are of equal width.
    TextLabel(int sizePx, Qt::Alignment alignment, QWidget *parent);

    /// The line that is shown; empty draws nothing.
    void setText(const QString &text);
    [[nodiscard]] const QString &text() const { return m_text; }
    /// NEON until set.
    void setColor(const QColor &color);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString m_text;
    QColor m_color = NEON;
    Qt::Alignment m_alignment;
};

/// The interface's font: Latin, Thai and colour emoji, at @p sizePx view points.
[[nodiscard]] QFont interfaceFont(int sizePx);

/// Draws a sample of every script of the interface out of sight: the first letter of each costs
/// about 10 ms, and is better paid while the first picture is being decoded.
void warmUpFonts();

} // namespace tavolin
