#pragma once
// One line of text lying directly over the picture.

#include <QColor>
#include <QImage>
#include <QRect>
#include <QString>
#include <QWidget>

#include <cstdint>

namespace tavolin {

/// The colour of all label text: a bright cyan, seen over any picture.
inline constexpr QColor NEON{0, 212, 255};

/// Draws its text on one line, plain (no markup, no line breaks), without its middle where it is
/// too long, and with a soft black shadow that keeps it readable over bright pictures: drawn once
/// for each text, and a picture from then on. Takes no mouse events. Assistive tools know it as a
/// text, or a message, and hear of each change.
class TextLabel : public QWidget
{
    Q_OBJECT

public:
    enum class Purpose : std::uint8_t {
        Line,
        Message, ///< Screen readers say it aloud, whatever the user is at.
    };

    /// @p sizePx is the height of the font in view points; digits are of equal width.
    TextLabel(int sizePx, Qt::Alignment alignment, QWidget *parent,
              Purpose purpose = Purpose::Line);

    [[nodiscard]] Purpose purpose() const { return m_purpose; }

    /// Puts the line of text at @p rect of the parent; the widget is larger, for the shadow.
    void place(const QRect &rect);
    /// Where that is.
    [[nodiscard]] QRect placed() const { return contentsRect().translated(pos()); }
    /// The line that is shown; empty draws nothing.
    void setText(const QString &text);
    [[nodiscard]] const QString &text() const { return m_text; }
    /// NEON until set.
    void setColor(const QColor &color);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void drawLetters(double scale);

    QString m_text;
    QColor m_color = NEON;
    Qt::Alignment m_alignment;
    Purpose m_purpose;
    QImage m_letters;   // the text with its shadow, in device pixels; null: to be drawn
    double m_scale = 1; // of the screen that they are for
    int m_lettersX = 0; // their left edge, in points
};

/// The interface's font: Latin, Thai and colour emoji, at @p sizePx view points.
[[nodiscard]] QFont interfaceFont(int sizePx);

/// Draws a sample of every script of the interface out of sight: the first letter of each costs
/// about 10 ms, and is better paid while the first picture is being decoded.
void warmUpFonts();

} // namespace tavolin
