#pragma once
// The angle by which crop mode straightens a picture: degrees, clockwise positive.

#include "pixels/Geometry.h"

#include <cmath>
#include <numbers>

namespace tavolin {

/// One press of a rotate key or button, and one with Shift.
inline constexpr double ANGLE_STEP = 0.5;
inline constexpr double COARSE_ANGLE_STEP = 2.0;

/// No picture is straightened by more, either way.
inline constexpr double ANGLE_LIMIT = 45.0;

/// @p angle turned by @p step, stopping at the limits.
[[nodiscard]] inline double turnedBy(double angle, double step)
{
    return clamped(angle + step, -ANGLE_LIMIT, ANGLE_LIMIT);
}

// From which angle a picture counts as turned. The four differ on purpose.

/// Whether the crop bar marks @p angle as turned.
[[nodiscard]] inline bool isTurned(double angle)
{
    return std::abs(angle) > 0.01;
}

/// Whether the picture under the crop box is shown rotated.
[[nodiscard]] inline bool isPreviewRotated(double angle)
{
    return std::abs(angle) >= 0.01;
}

/// Whether applying the crop rotates, and records a rotation. Less turns even the corners of a
/// picture of 6000 pixels by hardly more than their own size.
[[nodiscard]] inline bool isRotationApplied(double angle)
{
    return std::abs(angle) > 0.05;
}

/// Whether rotating pixels by @p angle changes them. A smaller turn, or one that close to 180°,
/// moves the sides of a picture 10000 pixels wide by half a pixel: nobody sees it.
[[nodiscard]] inline bool isRotationVisible(double angle)
{
    return std::abs(std::sin(angle * std::numbers::pi / 180)) > 0.0001;
}

} // namespace tavolin
