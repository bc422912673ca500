#pragma once
// From the scrolling of a wheel or a trackpad to steps through the pictures. Pure values.

#include <chrono>

class QWheelEvent;

namespace tavolin {

/// What one vertical scroll event says. Positive is up or back, as the system delivers it.
struct WheelInput
{
    bool isPrecise = false;  ///< A trackpad or the like, which counts points; else a wheel.
    bool isMomentum = false; ///< The device rolls on by itself after the fingers have left.
    bool hasEnded = false;   ///< The fingers have left.
    double points = 0;       ///< Travel in view points; of precise devices only.
    int units = 0;           ///< Travel in eighths of a degree, 120 a notch; of wheels only.
    std::chrono::milliseconds time{}; ///< When, on the system's clock for events.
};

/// What has been scrolled and not yet become a step.
struct WheelState
{
    double scrollAcc = 0; ///< Of precise devices, in points; −30 < scrollAcc < 30.
    int notchAcc = 0;     ///< Of wheels, in units; less than a notch either way.
    std::chrono::milliseconds notchTime{}; ///< Of the last travel of a wheel.
};

/// The step that @p input makes: +1 to the next picture, −1 to the previous one, or 0; never more
/// than one, however large the travel. Negative travel goes to the next picture.
/// - A precise device steps at 30 points, and all it has travelled is used up then; what is left
///   when the fingers leave is forgotten.
/// - A wheel steps at a notch. Fractions of a notch add up until they make one, and what is left
///   over counts towards the next; turning back begins anew, and so does a pause of more than
///   half a second.
/// - Momentum never steps and changes nothing.
[[nodiscard]] int wheelStep(WheelState &state, const WheelInput &input);

/// What @p event says about vertical travel.
[[nodiscard]] WheelInput wheelInput(const QWheelEvent &event);

} // namespace tavolin
