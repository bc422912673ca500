#include "editing/CropOverlayView.h"

#include "editing/CropRatio.h"

#include <QAccessible>
#include <QMouseEvent>
#include <QPainter>
#include <QRegion>

#include <utility>

using namespace Qt::StringLiterals;

namespace tavolin {

CropOverlayView::CropOverlayView(CropPicture picture, QWidget *parent)
    : QWidget(parent), m_picture(std::move(picture))
{
    setAccessibleName(u"กรอบครอป"_s);
}

void CropOverlayView::setInitialRatio(std::optional<double> ratio, const QString &name)
{
    m_crop.ratio = ratio;
    m_crop.ratioName = name;
}

void CropOverlayView::resetToDefaultBox()
{
    setBox(defaultBox(imageBounds(), m_crop.ratio));
}

void CropOverlayView::refitBox()
{
    m_crop.box = tavolin::refitBox(m_crop.box, m_crop.ratio, imageBounds());
    // The shade follows the picture. Were this asked for, too, both would be painted twice.
    (parentWidget() ? parentWidget() : this)->update();
    tellOfChange();
}

void CropOverlayView::setRatio(std::optional<double> ratio, const QString &name)
{
    setInitialRatio(ratio, name);
    if (ratio)
        setBox(boxWithRatio(m_crop.box, *ratio, imageBounds()));
    Q_EMIT ratioChanged();
}

void CropOverlayView::flipOrientation()
{
    const std::optional<CropBox> flipped = tavolin::flipOrientation(m_crop, imageBounds());
    if (!flipped)
        return;
    setInitialRatio(flipped->ratio, flipped->ratioName);
    setBox(flipped->box);
    Q_EMIT ratioChanged();
}

void CropOverlayView::nudge(KeyCode code, bool shift)
{
    setBox(shift ? resizedBox(m_crop.box, code, m_crop.ratio, imageBounds())
                 : movedBox(m_crop.box, code, imageBounds()));
}

void CropOverlayView::pixelScaleChanged()
{
    update(); // the read-out
    tellOfChange();
}

void CropOverlayView::setBox(const QRectF &box)
{
    const QRectF before = cropBoxExtent(scene());
    m_crop.box = box;
    const QRectF after = cropBoxExtent(scene());
    if (before.isEmpty() || after.isEmpty())
        update(); // the shade appears or goes
    else
        update(QRegion(before.toAlignedRect()) + after.toAlignedRect());
    tellOfChange();
}

QRectF CropOverlayView::imageBounds() const
{
    std::optional<QRectF> bounds;
    if (m_picture.fitRect)
        bounds = m_picture.fitRect();
    return bounds.value_or(QRectF(rect()));
}

std::optional<QRectF> CropOverlayView::boxInImagePixels(QSizeF fullSize) const
{
    return tavolin::boxInImagePixels(m_crop.box, imageBounds(), fullSize);
}

QString CropOverlayView::description() const
{
    const QString angle = angleText(m_picture.angle ? m_picture.angle() : 0);
    const auto scale = scene().pixelScale;
    return scale ? cropSizeText(m_crop.box.size(), *scale) + u", "_s + angle : angle;
}

void CropOverlayView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    m_drag = beginDrag(event->position(), m_crop.box, imageBounds());
    if (m_drag->action == DragAction::New)
        setBox(QRectF(m_drag->dragStart, QSizeF(0, 0)));
}

void CropOverlayView::mouseMoveEvent(QMouseEvent *event)
{
    if (m_drag)
        setBox(draggedBox(*m_drag, event->position(), m_crop.ratio, imageBounds()));
}

void CropOverlayView::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        m_drag.reset();
}

void CropOverlayView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    paintCropOverlay(painter, scene());
}

void CropOverlayView::resizeEvent(QResizeEvent *)
{
    if (size() == m_lastSize)
        return;
    m_lastSize = size();
    Q_EMIT layoutChanged();
    resetToDefaultBox();
}

void CropOverlayView::tellOfChange()
{
    if (!QAccessible::isActive())
        return;
    QAccessibleEvent event(this, QAccessible::DescriptionChanged);
    QAccessible::updateAccessibility(&event);
}

CropScene CropOverlayView::scene() const
{
    CropScene scene{
        .box = m_crop.box, .image = imageBounds(), .view = size(), .bar = {}, .pixelScale = {}};
    if (m_picture.imagePixelScale)
        scene.pixelScale = m_picture.imagePixelScale();
    if (m_picture.bar)
        scene.bar = m_picture.bar();
    return scene;
}

} // namespace tavolin
