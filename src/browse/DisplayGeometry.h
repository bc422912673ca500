#pragma once
// Where the picture lies on the screen. Rectangles are in view points, origin at the top left,
// unless they say device pixels.

#include <QRect>
#include <QRectF>
#include <QSizeF>

#include <cstdint>

namespace tavolin {

enum class ViewMode : std::uint8_t { Browsing, Cropping };

/// The part of a view of @p viewSize that the picture may take: all of it, or in crop mode what is
/// left inside a margin for the crop bar and the status line.
[[nodiscard]] QRectF imageAreaRect(QSizeF viewSize, ViewMode mode);

/// A picture of @p imageSize pixels fitted into @p area and centred, aspect kept, enlarged if it is
/// smaller; @p area itself when one of them is empty.
[[nodiscard]] QRectF fitRect(const QRectF &area, QSizeF imageSize);

/// @p rect in device pixels of a screen with @p scale of them a point. Position and size are
/// rounded to the nearest whole pixel, the size to at least 1.
[[nodiscard]] QRect toDevicePixels(const QRectF &rect, double scale);

} // namespace tavolin
