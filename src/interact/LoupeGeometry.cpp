#include "interact/LoupeGeometry.h"

namespace tavolin {

bool isInside(QPointF point, const QRectF &rect)
{
    return point.x() >= rect.x() && point.x() < rect.x() + rect.width() && point.y() >= rect.y() &&
           point.y() < rect.y() + rect.height();
}

QRectF loupeFrame(const QRectF &fitted, QSizeF imageSize, QPointF anchor)
{
    const double across = (anchor.x() - fitted.x()) / fitted.width();
    const double down = (anchor.y() - fitted.y()) / fitted.height();
    return {anchor - QPointF(imageSize.width() * across, imageSize.height() * down), imageSize};
}

} // namespace tavolin
