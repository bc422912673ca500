#include "pixels/Geometry.h"

#include <cmath>

namespace tavolin {

QRectF fitRect(const QRectF &area, QSizeF imageSize)
{
    if (!(imageSize.width() > 0) || !(imageSize.height() > 0) || !(area.width() > 0))
        return area;
    const double scale =
        std::min(area.width() / imageSize.width(), area.height() / imageSize.height());
    const QSizeF size = imageSize * scale;
    return {QPointF(area.x() + (area.width() - size.width()) * 0.5,
                    area.y() + (area.height() - size.height()) * 0.5),
            size};
}

QRect toDevicePixels(const QRectF &rect, double scale)
{
    const auto rounded = [scale](double points) {
        return static_cast<int>(std::lround(points * scale));
    };
    return {rounded(rect.x()), rounded(rect.y()), std::max(1, rounded(rect.width())),
            std::max(1, rounded(rect.height()))};
}

} // namespace tavolin
