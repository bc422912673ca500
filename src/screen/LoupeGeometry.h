#pragma once
// Where the picture lies at 100 %. Pure functions; rectangles and positions are in view points.

#include <QPointF>
#include <QRectF>
#include <QSizeF>

namespace tavolin {

/// The frame of a picture of @p imageSize pixels, one a point, placed so that the part of it that
/// is under @p anchor when it is fitted into @p fitted stays there.
[[nodiscard]] QRectF loupeFrame(const QRectF &fitted, QSizeF imageSize, QPointF anchor);

} // namespace tavolin
