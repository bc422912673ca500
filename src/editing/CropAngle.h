#pragma once
// The angle by which crop mode straightens a picture: degrees, clockwise positive.

#include "pixels/Geometry.h"

#include <cmath>

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

} // namespace tavolin
