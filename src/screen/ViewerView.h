#pragma once
// The view that fills the main window: hands the user's events to the viewer, and paints the
// picture.

#include <QPointer>
#include <QWidget>

namespace tavolin {

class Viewer;

class ViewerView : public QWidget
{
    Q_OBJECT

public:
    explicit ViewerView(Viewer &controller);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    QPointer<Viewer> m_controller; // not ours; may be gone while the window is closing
};

} // namespace tavolin
