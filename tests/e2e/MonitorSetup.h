#pragma once
// The monitors of a virtual screen, and their colour profiles, as a desktop's colour service would
// set them.

#include <QByteArray>
#include <QRect>

#include <vector>

namespace tavolin {

/// Gives monitor @p number (0 is the first) of the X server @p displayName the profile @p icc, or
/// none where that is empty. False when the server does not take it.
[[nodiscard]] bool setMonitorProfile(const QByteArray &displayName, int number,
                                     const QByteArray &icc);

/// Divides the screen into @p monitors, the first of which is the primary one.
[[nodiscard]] bool divideScreen(const QByteArray &displayName, const std::vector<QRect> &monitors);

} // namespace tavolin
