#include "editing/CropGeometry.h"

#include "editing/CropRatio.h"
#include "pixels/Geometry.h"

#include <algorithm>
#include <cmath>

namespace tavolin {

namespace {

/// The part of the picture that the default box takes.
constexpr double DEFAULT_PART = 0.8;
/// A picture narrower or lower than this, in points, is taken whole.
constexpr double LEAST_DIVIDED_SIDE = 40;
/// How far an arrow key moves the box or each of its sides, in points.
constexpr double KEY_STEP = 10;
/// Ratios this near to 1 are square.
constexpr double SQUARE_TOLERANCE = 0.001;
/// Stands for a distance of nothing, in points, so that it has a direction and can be divided by.
constexpr double HARDLY_ANYTHING = 0.001;
/// A box thinner than this, in points, is not one.
constexpr double LEAST_BOX = 1;
/// The least that can be cut out of a picture, in pixels.
constexpr double LEAST_CUT = 2;

/// @p box moved, not resized, to lie in @p image; at its origin when it is too large.
QRectF keptInside(const QRectF &box, const QRectF &image)
{
    return {clamped(box.x(), image.x(), maxX(image) - box.width()),
            clamped(box.y(), image.y(), maxY(image) - box.height()), box.width(), box.height()};
}

/// Half the width of what fits into @p image about the vertical line at @p x; 0 for a line on its
/// edge that rounding has put outside.
double halfRoomAcross(double x, const QRectF &image)
{
    return std::max(0.0, std::min(x - image.x(), maxX(image) - x));
}

double halfRoomDown(double y, const QRectF &image)
{
    return std::max(0.0, std::min(y - image.y(), maxY(image) - y));
}

/// What fits into @p image about @p centre.
QSizeF roomAbout(QPointF centre, const QRectF &image)
{
    return {2 * halfRoomAcross(centre.x(), image), 2 * halfRoomDown(centre.y(), image)};
}

/// A box of about @p size on @p centre, shrunk where @p image ends but not under the least sides.
QRectF shrunkInto(const QRectF &image, QPointF centre, QSizeF size)
{
    const QSizeF room = roomAbout(centre, image);
    // A side of nothing, as after a click, would make the scale infinite.
    const auto scaleFor = [](double available, double side) {
        return side <= 1 ? available : available / side;
    };
    const double scale = std::min(
        {scaleFor(room.width(), size.width()), scaleFor(room.height(), size.height()), 1.0});
    return centredOn(centre, std::max(size.width() * scale, MIN_CROP_SIDE),
                     std::max(size.height() * scale, MIN_CROP_SIDE));
}

/// @p resized, whose upper or lower @p edge has moved, with the width that @p ratio asks for.
QRectF withWidthFollowing(DragAction edge, const QRectF &resized, const QRectF &original,
                          double ratio, const QRectF &image)
{
    const double centre = original.center().x();
    double top = resized.y();
    double width = ratio * resized.height();
    double height = resized.height();
    const double room = 2 * halfRoomAcross(centre, image);
    if (room < width) {
        width = room;
        height = width / ratio;
        top = edge == DragAction::South ? original.y() : maxY(original) - height;
    }
    return {centre - width * 0.5, top, width, height};
}

/// The same for the left and right edges.
QRectF withHeightFollowing(DragAction edge, const QRectF &resized, const QRectF &original,
                           double ratio, const QRectF &image)
{
    const double centre = original.center().y();
    double left = resized.x();
    double width = resized.width();
    double height = resized.width() / ratio;
    const double room = 2 * halfRoomDown(centre, image);
    if (room < height) {
        height = room;
        width = ratio * height;
        left = edge == DragAction::East ? original.x() : maxX(original) - width;
    }
    return {left, centre - height * 0.5, width, height};
}

} // namespace

QRectF defaultBox(const QRectF &image, std::optional<double> ratio)
{
    double width = DEFAULT_PART * image.width();
    double height = DEFAULT_PART * image.height();
    if (ratio) {
        if (*ratio < width / height)
            width = height * *ratio;
        else
            height = width / *ratio;
    }
    if (image.width() < LEAST_DIVIDED_SIDE || image.height() < LEAST_DIVIDED_SIDE) {
        width = image.width();
        height = image.height();
    }
    return centredOn(image.center(), width, height);
}

QRectF refitBox(const QRectF &box, std::optional<double> ratio, const QRectF &image)
{
    if (!(box.width() > 0))
        return defaultBox(image, ratio);
    QRectF refitted;
    if (ratio) {
        const QPointF centre(
            clamped(box.center().x(), image.x() + MIN_CROP_SIDE, maxX(image) - MIN_CROP_SIDE),
            clamped(box.center().y(), image.y() + MIN_CROP_SIDE, maxY(image) - MIN_CROP_SIDE));
        const double height = box.width() / *ratio;
        const QSizeF room = roomAbout(centre, image);
        const double scale = std::min({1.0, room.width() / box.width(), room.height() / height});
        refitted = centredOn(centre, box.width() * scale, height * scale);
    } else {
        refitted = intersection(box, image);
    }
    if (refitted.width() < MIN_CROP_SIDE || refitted.height() < MIN_CROP_SIDE)
        return defaultBox(image, ratio);
    return refitted;
}

QRectF boxWithRatio(const QRectF &box, double ratio, const QRectF &image)
{
    const double width = std::sqrt(box.width() * box.height() * ratio);
    return shrunkInto(image, box.center(), {width, width / ratio});
}

std::optional<CropBox> flipOrientation(const CropBox &crop, const QRectF &image)
{
    CropBox flipped = crop;
    double height = crop.box.width();
    if (crop.ratio) {
        if (std::abs(*crop.ratio - 1) <= SQUARE_TOLERANCE)
            return {};
        flipped.ratio = 1 / *crop.ratio;
        flipped.ratioName = flipRatioName(crop.ratioName);
        height = crop.box.height() / *flipped.ratio;
    }
    flipped.box = shrunkInto(image, crop.box.center(), {crop.box.height(), height});
    return flipped;
}

DragAction dragActionAt(QPointF position, const QRectF &box)
{
    const auto isNear = [](double a, double b) { return std::abs(a - b) < MIN_CROP_SIDE; };
    const bool nearLeft = isNear(position.x(), box.x());
    const bool nearRight = isNear(position.x(), maxX(box));
    const bool nearTop = isNear(position.y(), box.y());
    const bool nearBottom = isNear(position.y(), maxY(box));
    const bool spansX =
        box.x() - MIN_CROP_SIDE < position.x() && position.x() < maxX(box) + MIN_CROP_SIDE;
    const bool spansY =
        box.y() - MIN_CROP_SIDE < position.y() && position.y() < maxY(box) + MIN_CROP_SIDE;

    if (nearLeft && nearTop)
        return DragAction::NorthWest;
    if (nearRight && nearTop)
        return DragAction::NorthEast;
    if (nearLeft && nearBottom)
        return DragAction::SouthWest;
    if (nearRight && nearBottom)
        return DragAction::SouthEast;
    if (nearTop && spansX)
        return DragAction::North;
    if (nearBottom && spansX)
        return DragAction::South;
    if (nearLeft && spansY)
        return DragAction::West;
    if (nearRight && spansY)
        return DragAction::East;
    return isInside(position, box) ? DragAction::Move : DragAction::New;
}

CropDrag beginDrag(QPointF position, const QRectF &box, const QRectF &image)
{
    const DragAction action = dragActionAt(position, box);
    return {action, action == DragAction::New ? clampedInto(image, position) : position, box};
}

QRectF draggedBox(const CropDrag &drag, QPointF position, std::optional<double> ratio,
                  const QRectF &image)
{
    const QRectF &box = drag.origBox;
    const QPointF to = clampedInto(image, position);
    switch (drag.action) {
    case DragAction::New:
        return rectFromAnchor(drag.dragStart, to, ratio, image);
    case DragAction::Move:
        return keptInside(box.translated(to - drag.dragStart), image);
    case DragAction::NorthWest:
        return rectFromAnchor({maxX(box), maxY(box)}, to, ratio, image);
    case DragAction::NorthEast:
        return rectFromAnchor({box.x(), maxY(box)}, to, ratio, image);
    case DragAction::SouthWest:
        return rectFromAnchor({maxX(box), box.y()}, to, ratio, image);
    case DragAction::SouthEast:
        return rectFromAnchor({box.x(), box.y()}, to, ratio, image);
    case DragAction::North:
    case DragAction::South:
    case DragAction::West:
    case DragAction::East:
        break;
    }
    return edgeResize(drag.action, box, to, ratio, image);
}

QRectF rectFromAnchor(QPointF anchor, QPointF to, std::optional<double> ratio, const QRectF &image)
{
    const auto distance = [](double from, double target) {
        const double difference = target - from;
        return difference == 0 ? HARDLY_ANYTHING : difference;
    };
    const double dx = distance(anchor.x(), to.x());
    const double dy = distance(anchor.y(), to.y());
    double width = std::abs(dx);
    double height = std::abs(dy);
    if (ratio) {
        if (height * *ratio < width)
            height = width / *ratio;
        else
            width = height * *ratio;
    }

    const double roomX = dx >= 0 ? maxX(image) - anchor.x() : anchor.x() - image.x();
    const double roomY = dy >= 0 ? maxY(image) - anchor.y() : anchor.y() - image.y();
    const double scale = std::max(0.0, std::min({roomX / std::max(width, HARDLY_ANYTHING),
                                                 roomY / std::max(height, HARDLY_ANYTHING), 1.0}));
    width *= scale;
    height *= scale;
    if (!ratio) {
        width = std::min(width, roomX);
        height = std::min(height, roomY);
    }
    return {dx >= 0 ? anchor.x() : anchor.x() - width, dy >= 0 ? anchor.y() : anchor.y() - height,
            width, height};
}

QRectF edgeResize(DragAction edge, const QRectF &original, QPointF to, std::optional<double> ratio,
                  const QRectF &image)
{
    QRectF resized = original;
    if (edge == DragAction::East) {
        resized.setWidth(std::max(to.x() - original.x(), MIN_CROP_SIDE));
    } else if (edge == DragAction::West) {
        const double left = std::min(maxX(original) - MIN_CROP_SIDE, to.x());
        resized = {left, original.y(), maxX(original) - left, original.height()};
    } else if (edge == DragAction::South) {
        resized.setHeight(std::max(to.y() - original.y(), MIN_CROP_SIDE));
    } else {
        const double top = std::min(maxY(original) - MIN_CROP_SIDE, to.y());
        resized = {original.x(), top, original.width(), maxY(original) - top};
    }
    if (ratio) {
        const bool isUpperOrLower = edge == DragAction::North || edge == DragAction::South;
        const auto follow = isUpperOrLower ? withWidthFollowing : withHeightFollowing;
        resized = follow(edge, resized, original, *ratio, image);
    }
    return keptInside(resized, image);
}

QRectF movedBox(const QRectF &box, KeyCode arrow, const QRectF &image)
{
    QPointF step;
    if (arrow == KeyCode::Left)
        step = {-KEY_STEP, 0};
    else if (arrow == KeyCode::Right)
        step = {KEY_STEP, 0};
    else if (arrow == KeyCode::Down)
        step = {0, KEY_STEP};
    else if (arrow == KeyCode::Up)
        step = {0, -KEY_STEP};
    return keptInside(box.translated(step), image);
}

QRectF resizedBox(const QRectF &box, KeyCode arrow, std::optional<double> ratio,
                  const QRectF &image)
{
    const bool grows = arrow == KeyCode::Right || arrow == KeyCode::Down;
    const double growth = 2 * (grows ? KEY_STEP : -KEY_STEP);
    const QPointF centre = box.center();
    const QSizeF room = roomAbout(centre, image);
    const double width = std::max(box.width() + growth, MIN_CROP_SIDE);
    if (ratio) {
        const double height = width / *ratio;
        const double scale = std::min({room.width() / width, room.height() / height, 1.0});
        return centredOn(centre, width * scale, height * scale);
    }
    const double height = std::max(box.height() + growth, MIN_CROP_SIDE);
    return centredOn(centre, std::min(room.width(), width), std::min(room.height(), height));
}

std::optional<QRectF> boxInImagePixels(const QRectF &box, const QRectF &image, QSizeF fullSize)
{
    if (!(box.width() >= LEAST_BOX) || !(box.height() >= LEAST_BOX) || !(image.width() > 0))
        return {};
    const double pixelsPerPoint = fullSize.width() / image.width();
    const QRectF pixels(pixelsPerPoint * (box.x() - image.x()),
                        pixelsPerPoint * (box.y() - image.y()), pixelsPerPoint * box.width(),
                        pixelsPerPoint * box.height());
    const QRectF cut = intersection(pixels, QRectF({0, 0}, fullSize));
    if (!(cut.width() >= LEAST_CUT) || !(cut.height() >= LEAST_CUT))
        return {};
    return cut;
}

} // namespace tavolin
