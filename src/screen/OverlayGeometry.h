#pragma once
// Where things over the picture go: labels, search field, help page and crop bar. Pure functions;
// view points, origin at the top left.

#include <QRect>
#include <QSize>

#include <optional>

namespace tavolin {

/// The three lines of text.
struct LabelRects
{
    QRect info;
    QRect detail;
    QRect status;
};

/// The lines in a view of @p view points: two at the top, and the status line near the lower edge
/// or, where a crop bar has its upper edge at @p cropBarTop, above the bar, which would cover it.
[[nodiscard]] LabelRects labelRects(QSize view, std::optional<int> cropBarTop);

/// The search field, in the middle near the upper edge.
[[nodiscard]] QRect searchFieldRect(QSize view);

/// The help page, of @p size, in the middle.
[[nodiscard]] QRect helpRect(QSize view, QSize size);

/// The crop bar, in the middle near the lower edge: as wide as it wants (@p wanted), in a narrow
/// view as the view, but no narrower than @p leastWidth, overhanging equally on both sides if need
/// be.
[[nodiscard]] QRect cropBarRect(QSize view, QSize wanted, int leastWidth);

} // namespace tavolin
