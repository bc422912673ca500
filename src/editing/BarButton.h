#pragma once
// What the crop bar is made of: its buttons, and the lines between them.

#include <QAbstractButton>

namespace tavolin {

/// A flat button that draws itself, for dark panels; text() is its label. A button that is
/// checkable can be shown as chosen; clicking doesn't change that. Never takes the keyboard. It
/// asks for generous room around its label and gives most of it up where there is none.
class BarButton : public QAbstractButton
{
    Q_OBJECT

public:
    /// @p fontSizePx is the height of the label's font in view points.
    BarButton(const QString &label, int fontSizePx, QWidget *parent);

    /// Makes it the prominent one.
    void setAccent(bool accent);
    /// Shows it as chosen, as assistive tools are told too; for checkable buttons.
    void setSelectedState(bool selected) { setChecked(selected); }
    [[nodiscard]] bool isSelectedState() const { return isChecked(); }

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void nextCheckState() override {}
    bool event(QEvent *event) override;

private:
    bool m_accent = false;
};

/// An upright line between groups of buttons.
class BarSeparator : public QWidget
{
public:
    explicit BarSeparator(QWidget *parent);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
};

} // namespace tavolin
