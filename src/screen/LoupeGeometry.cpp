#include "screen/LoupeGeometry.h"

namespace tavolin {

QRectF loupeFrame(const QRectF &fitted, QSizeF imageSize, QPointF anchor)
{
    const double across = (anchor.x() - fitted.x()) / fitted.width();
    const double down = (anchor.y() - fitted.y()) / fitted.height();
    return {anchor - QPointF(imageSize.width() * across, imageSize.height() * down), imageSize};
}

} // namespace tavolin
