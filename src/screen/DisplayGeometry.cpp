#include "screen/DisplayGeometry.h"

#include "pixels/DisplayPicture.h"

#include <algorithm>

namespace tavolin {

namespace {

/// Parts of the width and height that crop mode keeps free on each side.
constexpr double CROP_MARGIN_X = 0.05;
constexpr double CROP_MARGIN_Y = 0.06;
/// Points that the crop bar needs, whatever the height.
constexpr double LEAST_CROP_MARGIN_Y = 76;

/// Device pixels a view point.
constexpr double SCALE_OF_A_SHARP_SCREEN = 2;

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

int displayLimit(QSize frame, std::optional<double> scale)
{
    const double side =
        scale.value_or(SCALE_OF_A_SHARP_SCREEN) * std::max(frame.width(), frame.height());
    return static_cast<int>(std::min<double>(side, MAX_DISPLAY_PIXELS));
}

} // namespace tavolin
