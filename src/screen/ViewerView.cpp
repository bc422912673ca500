#include "screen/ViewerView.h"

#include "app/Viewer.h"
#include "platform/KeyCodes.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>

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

ViewerView::ViewerView(Viewer &controller) : m_controller(&controller)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::TabFocus); // a click must not take the keyboard from the search field
    setAccessibleName(u"รูป"_s);
}

void ViewerView::keyPressEvent(QKeyEvent *event)
{
    if (m_controller && m_controller->handleKey(*event))
        return;
    if (!isModifier(*event))
        QApplication::beep();
    event->ignore();
}

void ViewerView::mousePressEvent(QMouseEvent *event)
{
    if (m_controller && event->button() == Qt::LeftButton)
        m_controller->zoomBegin(event->position());
}

void ViewerView::mouseMoveEvent(QMouseEvent *event)
{
    if (m_controller)
        m_controller->zoomDrag(event->position());
}

void ViewerView::mouseReleaseEvent(QMouseEvent *event)
{
    if (m_controller && event->button() == Qt::LeftButton)
        m_controller->zoomEnd();
}

void ViewerView::wheelEvent(QWheelEvent *event)
{
    if (m_controller)
        m_controller->handleScroll(*event);
    event->accept();
}

void ViewerView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    if (m_controller)
        paintLayer(painter, m_controller->imageLayer(), size(), devicePixelRatio());
}

void ViewerView::resizeEvent(QResizeEvent *)
{
    if (m_controller)
        m_controller->viewResized();
}

} // namespace tavolin
