#include "browse/DisplayGeometry.h"

#include <algorithm>
#include <cmath>

namespace tavolin {

namespace {

/// Parts of the width and height that crop mode keeps free on each side.
constexpr double CROP_MARGIN_X = 0.05;
constexpr double CROP_MARGIN_Y = 0.06;
/// Points that the crop bar needs, whatever the height.
constexpr double LEAST_CROP_MARGIN_Y = 76;

} // namespace

QRectF imageAreaRect(QSizeF viewSize, ViewMode mode)
{
    const QRectF bounds(QPointF(0, 0), viewSize);
    if (mode == ViewMode::Browsing)
        return bounds;
    const double dx = viewSize.width() * CROP_MARGIN_X;
    const double dy = std::max(viewSize.height() * CROP_MARGIN_Y, LEAST_CROP_MARGIN_Y);
    return bounds.adjusted(dx, dy, -dx, -dy);
}

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
