#pragma once
// The view that fills the main window: hands the user's events on, and has the picture painted.

#include <QPointF>
#include <QWidget>

#include <functional>

namespace tavolin {

/// What the view hands on, and to whom. Positions are in view points; the mouse is the left button.
struct ViewHandlers
{
    std::function<bool(const QKeyEvent &)> keyPressed; ///< False for a key that has no command.
    std::function<void(QPointF)> mousePressed;
    std::function<void(QPointF)> mouseDragged;
    std::function<void()> mouseReleased;
    std::function<void(const QWheelEvent &)> scrolled;
    std::function<void()> resized; ///< Or has another scale, of device pixels to a point.
    std::function<void(QPainter &)> paint;
};

/// Paints nothing and ignores events while it has no handlers.
class ViewerView : public QWidget
{
    Q_OBJECT

public:
    ViewerView();

    /// All of @p handlers are set, or none.
    void setHandlers(ViewHandlers handlers) { m_handlers = std::move(handlers); }

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    // Nothing to paint: it looks the same with the keyboard and without.
    void focusInEvent(QFocusEvent *) override {}
    void focusOutEvent(QFocusEvent *) override {}

private:
    ViewHandlers m_handlers;
    double m_scale; // when it was painted last
};

} // namespace tavolin
