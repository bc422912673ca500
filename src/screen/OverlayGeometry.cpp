#include "screen/OverlayGeometry.h"

#include "pixels/Geometry.h"

namespace tavolin {

namespace {

/// Between the lines at the top and the view's edges, on the left and on the right.
constexpr int LINE_MARGIN = 20;
constexpr int INFO_TOP = 16;
constexpr int INFO_HEIGHT = 22;
constexpr int DETAIL_TOP = 42;
constexpr int DETAIL_HEIGHT = 18;
constexpr int STATUS_HEIGHT = 30;
/// Between the status line and the view's lower edge, or the crop bar.
constexpr int STATUS_DISTANCE = 50;
constexpr int STATUS_DISTANCE_FROM_BAR = 4;

constexpr int SEARCH_TOP = 64;
constexpr QSize SEARCH_SIZE(340, 26);

constexpr int BAR_DISTANCE = 14;

} // namespace

LabelRects labelRects(QSize view, std::optional<int> cropBarTop)
{
    const int width = view.width() - 2 * LINE_MARGIN;
    const int bottom =
        cropBarTop ? *cropBarTop - STATUS_DISTANCE_FROM_BAR : view.height() - STATUS_DISTANCE;
    return {{LINE_MARGIN, INFO_TOP, width, INFO_HEIGHT},
            {LINE_MARGIN, DETAIL_TOP, width, DETAIL_HEIGHT},
            {0, bottom - STATUS_HEIGHT, view.width(), STATUS_HEIGHT}};
}

QRect searchFieldRect(QSize view)
{
    return {QPoint((view.width() - SEARCH_SIZE.width()) / 2, SEARCH_TOP), SEARCH_SIZE};
}

QRect helpRect(QSize view, QSize size)
{
    const QSize space = view - size;
    return {QPoint(space.width() / 2, space.height() / 2), size};
}

QRect cropBarRect(QSize view, QSize wanted, int leastWidth)
{
    const int width = clamped(wanted.width(), leastWidth, view.width());
    return {(view.width() - width) / 2, view.height() - BAR_DISTANCE - wanted.height(), width,
            wanted.height()};
}

} // namespace tavolin
