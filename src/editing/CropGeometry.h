#pragma once
// Where the crop box lies: how it is placed, reshaped, dragged and nudged, and what it cuts out.
// Pure functions; rectangles and positions are in view points, y downward, `image` is the rectangle
// that the picture takes. The box stays in it but for the least sides, which win where there is no
// room.

#include "platform/KeyCodes.h"

#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>

#include <cstdint>
#include <optional>

namespace tavolin {

/// The least side of a box, and how far from an edge it can still be grabbed, in points.
inline constexpr double MIN_CROP_SIDE = 20;

/// The crop box with the shape it is held to.
struct CropBox
{
    QRectF box;
    std::optional<double> ratio; ///< Width by height, above 0; empty: any shape.
    QString ratioName = QStringLiteral("Free");
};

/// What a drag does: moves a corner or an edge, moves the box, or draws a new one.
enum class DragAction : std::uint8_t {
    NorthWest,
    NorthEast,
    SouthWest,
    SouthEast,
    North,
    South,
    West,
    East,
    Move,
    New,
};

/// A drag under way; every step of it is reckoned from how it began.
struct CropDrag
{
    DragAction action;
    QPointF dragStart;
    QRectF origBox; ///< The box before the drag.
};

/// The largest box of @p ratio in the middle 80 % of @p image; all of @p image, whatever the ratio,
/// when one of its sides is under 40 points.
[[nodiscard]] QRectF defaultBox(const QRectF &image, std::optional<double> ratio);

/// @p box after the picture's rectangle has become @p image: cut down to it, or with a ratio shrunk
/// about its centre, which itself moves at least 20 points inside. The default box when @p box has
/// no width or one side would be under 20 points.
[[nodiscard]] QRectF refitBox(const QRectF &box, std::optional<double> ratio, const QRectF &image);

/// @p box reshaped to @p ratio: same centre, same area, shrunk where @p image ends. No side gets
/// under 20 points, so that a tiny box may miss the ratio or stick out of @p image.
[[nodiscard]] QRectF boxWithRatio(const QRectF &box, double ratio, const QRectF &image);

/// @p crop turned by a quarter about its centre, with its ratio and the name of it, and shrunk
/// where
/// @p image ends, no side under 20 points. Empty when turning changes nothing: the ratio is within
/// 0.001 of 1.
[[nodiscard]] std::optional<CropBox> flipOrientation(const CropBox &crop, const QRectF &image);

/// What a press at @p position does to @p box. Edges can be grabbed from 20 points inside and
/// outside; corners win over edges, top over bottom, left over right.
[[nodiscard]] DragAction dragActionAt(QPointF position, const QRectF &box);

/// The drag that a press at @p position begins. A new box begins inside @p image.
[[nodiscard]] CropDrag beginDrag(QPointF position, const QRectF &box, const QRectF &image);

/// The box when @p drag has reached @p position, which counts as the nearest point of @p image.
/// Corners and new boxes have no least size; edges stop 20 points before the opposite one.
[[nodiscard]] QRectF draggedBox(const CropDrag &drag, QPointF position, std::optional<double> ratio,
                                const QRectF &image);

/// The rectangle from @p anchor in the direction of @p to, a point of @p image: as large as both
/// say, with a ratio as large as the more demanding side says, shrunk to what @p image has left
/// there. Where both are equally far, the direction is right or down.
[[nodiscard]] QRectF rectFromAnchor(QPointF anchor, QPointF to, std::optional<double> ratio,
                                    const QRectF &image);

/// @p original with one @p edge (North, South, West or East) moved to @p to, at least 20 points
/// from the opposite edge. With a ratio the other dimension follows evenly on both sides as far as
/// @p image allows, and holds the edge back where it does not.
[[nodiscard]] QRectF edgeResize(DragAction edge, const QRectF &original, QPointF to,
                                std::optional<double> ratio, const QRectF &image);

/// @p box moved 10 points in the direction of an arrow key, stopping at the edges of @p image.
/// Other keys don't move it.
[[nodiscard]] QRectF movedBox(const QRectF &box, KeyCode arrow, const QRectF &image);

/// @p box grown by 10 points on every side (Right, Down), or shrunk (any other key), about its
/// centre: to no more than @p image allows, and to no less than 20 points.
[[nodiscard]] QRectF resizedBox(const QRectF &box, KeyCode arrow, std::optional<double> ratio,
                                const QRectF &image);

/// What @p box cuts out of a picture of @p fullSize pixels shown in @p image: in pixels, origin at
/// the picture's top left, not rounded, clipped to the picture. Empty for a box under 1 point or
/// under 2 pixels, and without a picture.
[[nodiscard]] std::optional<QRectF> boxInImagePixels(const QRectF &box, const QRectF &image,
                                                     QSizeF fullSize);

} // namespace tavolin
