#pragma once
// Rectangles, points and ranges, in whatever unit the caller counts in; y grows downward. The
// arithmetic that Qt's types get wrong or leave undefined, in one place.

#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QSizeF>

#include <algorithm>

namespace tavolin {

/// @p value in the range from @p low to @p high; @p low where the limits cross, so that a box which
/// has outgrown its picture lies at the picture's origin.
template <typename Number>
[[nodiscard]] constexpr Number clamped(Number value, Number low, Number high)
{
    return std::max(low, std::min(value, high));
}

/// The right and lower edge of @p rect: where the next rectangle would begin.
[[nodiscard]] inline double maxX(const QRectF &rect)
{
    return rect.x() + rect.width();
}
[[nodiscard]] inline double maxY(const QRectF &rect)
{
    return rect.y() + rect.height();
}

/// Whether @p point lies in @p rect, its left and upper edges included, the others not.
[[nodiscard]] inline bool isInside(QPointF point, const QRectF &rect)
{
    return point.x() >= rect.x() && point.x() < maxX(rect) && point.y() >= rect.y() &&
           point.y() < maxY(rect);
}

/// @p point, or the nearest point of @p rect, the far edges included.
[[nodiscard]] inline QPointF clampedInto(const QRectF &rect, QPointF point)
{
    return {clamped(point.x(), rect.x(), maxX(rect)), clamped(point.y(), rect.y(), maxY(rect))};
}

/// What two rectangles have in common; a side is 0 or less where they don't overlap.
[[nodiscard]] inline QRectF intersection(const QRectF &a, const QRectF &b)
{
    const double x = std::max(a.x(), b.x());
    const double y = std::max(a.y(), b.y());
    return {x, y, std::min(maxX(a), maxX(b)) - x, std::min(maxY(a), maxY(b)) - y};
}

/// A rectangle of @p width and @p height about @p centre.
[[nodiscard]] inline QRectF centredOn(QPointF centre, double width, double height)
{
    return {centre.x() - width * 0.5, centre.y() - height * 0.5, width, height};
}

/// A picture of @p imageSize fitted into @p area and centred, aspect kept, enlarged if it is
/// smaller; @p area itself when one of them is empty.
[[nodiscard]] QRectF fitRect(const QRectF &area, QSizeF imageSize);

/// @p rect, in points, in device pixels of a screen with @p scale of them a point. Position and
/// size are rounded to the nearest whole pixel, the size to at least 1.
[[nodiscard]] QRect toDevicePixels(const QRectF &rect, double scale);

} // namespace tavolin
