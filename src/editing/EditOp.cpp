#include "editing/EditOp.h"

#include "editing/CropAngle.h"
#include "pixels/Rotate.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

namespace tavolin {

namespace {

double radians(double degrees)
{
    return degrees * std::numbers::pi / 180;
}

/// @p inscribed, which is not larger than a picture's diagonal, with both sides truncated; empty
/// where one would be less than 2.
std::optional<QSize> wholePixels(QSizeF inscribed)
{
    // Written so that what is no number fails too.
    if (!(inscribed.width() >= 2 && inscribed.height() >= 2))
        return std::nullopt;
    return QSize(static_cast<int>(inscribed.width()), static_cast<int>(inscribed.height()));
}

} // namespace

Image applyOp(const Image &image, const EditOp &op)
{
    if (const auto *rotate = std::get_if<RotateOp>(&op))
        return rotateInscribed(image, rotate->degrees);
    const Image part = image.cropped(std::get<CropOp>(op).rect);
    return part.isNull() ? image : part;
}

QSizeF inscribedSize(QSizeF size, double degrees)
{
    const double width = size.width();
    const double height = size.height();
    const double sine = std::abs(std::sin(radians(degrees)));
    const double cosine = std::abs(std::cos(radians(degrees)));
    if (!isRotationVisible(degrees))
        return size;
    const double longSide = std::max(width, height);
    const double shortSide = std::min(width, height);
    // Two corners of the result lie on the long sides, and the other two inside, when the picture
    // is so long that its short sides are out of reach.
    if (shortSide <= longSide * (2 * sine * cosine)) {
        const double half = shortSide * 0.5;
        return height <= width ? QSizeF(half / sine, half / cosine)
                               : QSizeF(half / cosine, half / sine);
    }
    // Otherwise each corner lies on a side of its own.
    const double doubled = cosine * cosine - sine * sine; // cos 2a
    return {(width * cosine - height * sine) / doubled, (height * cosine - width * sine) / doubled};
}

QSize inscribedPixels(QSize size, double degrees)
{
    return wholePixels(inscribedSize(size, degrees)).value_or(size);
}

Image rotateInscribed(const Image &image, double degrees)
{
    if (!isRotationVisible(degrees))
        return image;
    const auto size = wholePixels(inscribedSize(image.size(), degrees));
    if (!size)
        return image;
    const Image result = rotated(image, degrees, *size);
    return result.isNull() ? image : result;
}

QRect integralRect(const QRectF &rect)
{
    return rect.normalized().toAlignedRect();
}

} // namespace tavolin
