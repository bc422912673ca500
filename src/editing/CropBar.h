#pragma once
// The bar of crop mode: aspect ratios, turning, Apply and Cancel.

#include "editing/CropRatio.h"

#include <QImage>
#include <QWidget>

#include <array>
#include <functional>

class QLabel;

namespace tavolin {

class BarButton;

/// A translucent panel with a button for everything in crop mode; each emits its signal, the
/// turning ones again and again while held. The owner carries it out and calls refresh()
/// afterwards. Never takes the keyboard, and keeps the mouse from what is below.
///
/// A button is still at work while its signal is emitted: end the bar with deleteLater(), never
/// delete.
class CropBar : public QWidget
{
    Q_OBJECT

public:
    /// @p paintBehind draws what shines through, in the parent's coordinates; it is called when the
    /// bar is placed and after refresh().
    CropBar(std::function<void(QPainter &)> paintBehind, QWidget *parent);

    /// Puts it in the middle near the lower edge of a view of size @p view, in view points. In a
    /// narrow one its buttons move together; where even that is too wide, it sticks out evenly.
    void place(QSize view);
    /// Shows the angle @p degrees, and lights the button of the ratio called @p ratioName.
    void refresh(double degrees, const QString &ratioName);

Q_SIGNALS:
    void ratioChosen(tavolin::RatioPreset preset);
    void customRatioRequested();
    void flipRequested();
    void rotateLeftRequested();
    void rotateRightRequested();
    void angleResetRequested();
    void applyRequested();
    void cancelRequested();

protected:
    void paintEvent(QPaintEvent *event) override;
    void moveEvent(QMoveEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    BarButton *addButton(const QString &label, void (CropBar::*clicked)());
    BarButton *addRotateButton(const QString &label, const QString &name,
                               void (CropBar::*clicked)());
    void addSeparator();

    std::function<void(QPainter &)> m_paintBehind;
    QImage m_panel; // null: to be made
    /// Those of the presets, then "Custom…".
    std::array<BarButton *, RATIO_PRESETS.size() + 1> m_ratioButtons{};
    QLabel *m_cropAngleLabel = nullptr;
};

} // namespace tavolin
