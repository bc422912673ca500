#include "screen/ViewerView.h"

#include "platform/KeyCodes.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>

#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

namespace {

bool isModifier(const QKeyEvent &event)
{
    const int key = event.key();
    return isLayoutSwitch(event) || (key >= Qt::Key_Shift && key <= Qt::Key_ScrollLock) ||
           key == Qt::Key_AltGr || key == Qt::Key_Super_L || key == Qt::Key_Super_R;
}

} // namespace

ViewerView::ViewerView() : m_scale(devicePixelRatio())
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::TabFocus); // a click must not take the keyboard from the search field
    setAccessibleName(u"รูป"_s);
}

void ViewerView::keyPressEvent(QKeyEvent *event)
{
    if (m_handlers.keyPressed && m_handlers.keyPressed(*event))
        return;
    if (!isModifier(*event))
        QApplication::beep();
    event->ignore();
}

void ViewerView::mousePressEvent(QMouseEvent *event)
{
    if (m_handlers.mousePressed && event->button() == Qt::LeftButton)
        m_handlers.mousePressed(event->position());
}

void ViewerView::mouseMoveEvent(QMouseEvent *event)
{
    if (m_handlers.mouseDragged)
        m_handlers.mouseDragged(event->position());
}

void ViewerView::mouseReleaseEvent(QMouseEvent *event)
{
    if (m_handlers.mouseReleased && event->button() == Qt::LeftButton)
        m_handlers.mouseReleased();
}

void ViewerView::wheelEvent(QWheelEvent *event)
{
    if (m_handlers.scrolled)
        m_handlers.scrolled(*event);
    event->accept();
}

void ViewerView::paintEvent(QPaintEvent *)
{
    // Before version 6.6 Qt tells nobody when the scale alone is another one. All is painted then.
    const double scale = devicePixelRatio();
    if (scale != std::exchange(m_scale, scale) && m_handlers.resized)
        m_handlers.resized();
    QPainter painter(this);
    if (m_handlers.paint)
        m_handlers.paint(painter);
}

void ViewerView::resizeEvent(QResizeEvent *)
{
    if (m_handlers.resized)
        m_handlers.resized();
}

} // namespace tavolin
