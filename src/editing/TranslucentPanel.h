#pragma once
// A dark panel of frosted glass: what lies behind it shines through, blurred and dimmed.

#include <QImage>
#include <QRect>

#include <functional>

class QPainter;

namespace tavolin {

/// The panel that lies at @p area of a view, with round corners of @p radius points, an edge of
/// faint white and nothing outside; @p scale device pixels a point. @p paintBehind draws the view
/// into a painter that has its coordinates; only what is about @p area counts.
[[nodiscard]] QImage translucentPanel(const QRect &area, double radius, double scale,
                                      const std::function<void(QPainter &)> &paintBehind);

} // namespace tavolin
