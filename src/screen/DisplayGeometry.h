#pragma once
// Where the picture may lie on the screen, and how large it is wanted. Rectangles are in view
// points, origin at the top left.

#include <QRectF>
#include <QSize>
#include <QSizeF>

#include <cstdint>
#include <optional>

namespace tavolin {

enum class ViewMode : std::uint8_t { Browsing, Cropping };

/// The part of a view of @p viewSize that the picture may take: all of it, or in crop mode what is
/// left inside a margin for the crop bar and the status line.
[[nodiscard]] QRectF imageAreaRect(QSizeF viewSize, ViewMode mode);

/// The longest side, in pixels, that a picture needs in a window of @p frame view points (title bar
/// included) at @p scale device pixels a point; at most MAX_DISPLAY_PIXELS. Without a scale, as of
/// a window that is on no screen, it is enough for a screen with two.
[[nodiscard]] int displayLimit(QSize frame, std::optional<double> scale);

} // namespace tavolin
