#pragma once
// The two kinds of edit step and their geometry. A list of steps is applied in order to the
// full-size source, each to the result of the one before; no step changes the picture that it is
// given, and one that can't be applied gives that picture back. Pixels, origin at the top left, y
// downward, angles in degrees clockwise. Usable from any thread.

#include "pixels/Image.h"

#include <QRect>
#include <QRectF>
#include <QSizeF>

#include <variant>

namespace tavolin {

/// Keep the pixels inside rect, which is in the picture that the step is applied to.
struct CropOp
{
    QRect rect;

    bool operator==(const CropOp &) const = default;
};

/// Turn the picture clockwise and keep the largest upright rectangle inside it.
struct RotateOp
{
    double degrees = 0;

    bool operator==(const RotateOp &) const = default;
};

using EditOp = std::variant<CropOp, RotateOp>;

/// @p image after @p op. A crop is cut to the picture and shares its pixels. The same picture when
/// nothing of it lies in the crop, and when it can't be rotated (see rotateInscribed).
[[nodiscard]] Image applyOp(const Image &image, const EditOp &op);

/// The size of the largest upright rectangle inside a rectangle of @p size turned by @p degrees,
/// in whatever unit and not rounded. At 0° and 180°, and where the sine is 0.0001 at most, the size
/// is unchanged; at 90° width and height swap; a turn to the other side gives the same.
[[nodiscard]] QSizeF inscribedSize(QSizeF size, double degrees);

/// The same in whole pixels, both sides truncated; @p size where one would be less than 2, or the
/// angle is no number.
[[nodiscard]] QSize inscribedPixels(QSize size, double degrees);

/// @p image turned clockwise by @p degrees about its centre, cut to inscribedPixels(). The same
/// picture when the sine of the angle is 0.0001 at most, when a side would be less than 2 pixels,
/// when the angle is no number, or when memory is lacking.
[[nodiscard]] Image rotateInscribed(const Image &image, double degrees);

/// The smallest rectangle of whole pixels around @p rect, whose sides may be negative: the left and
/// top edges rounded down, the right and bottom ones up.
[[nodiscard]] QRect integralRect(const QRectF &rect);

} // namespace tavolin
