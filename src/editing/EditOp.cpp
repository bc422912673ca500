#include "editing/EditOp.h"

#include "editing/CropAngle.h"
#include "pixels/Rotate.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tavolin {

namespace {

double radians(double degrees)
{
    return degrees * std::numbers::pi / 180;
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
    const QSizeF inscribed = inscribedSize(size, degrees);
    // Written so that what is no number fails too.
    if (!(inscribed.width() >= 2 && inscribed.height() >= 2))
        return size;
    // Not larger than the picture's diagonal, so the sides are whole numbers of this type.
    return {static_cast<int>(inscribed.width()), static_cast<int>(inscribed.height())};
}

Image rotateInscribed(const Image &image, double degrees)
{
    if (!isRotationVisible(degrees))
        return image;
    const QSizeF inscribed = inscribedSize(image.size(), degrees);
    if (!(inscribed.width() >= 2 && inscribed.height() >= 2))
        return image;
    const Image result = rotated(image, degrees, inscribedPixels(image.size(), degrees));
    return result.isNull() ? image : result;
}

QRect integralRect(const QRectF &rect)
{
    return rect.normalized().toAlignedRect();
}

} // namespace tavolin
