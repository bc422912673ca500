#include "browse/WheelSteps.h"

#include <QWheelEvent>

#include <chrono>
#include <utility>

using namespace std::chrono_literals;

namespace tavolin {

namespace {

/// The travel of a precise device that makes a step, in points.
constexpr double STEP_POINTS = 30;
/// One notch of a wheel: 15 degrees.
constexpr int NOTCH_UNITS = 120;
/// How long a fraction of a notch counts: touch pads that pass for wheels don't say when the
/// fingers have left, and the next swipe is not to step early for what the last one left over.
constexpr auto REST_TIME = 500ms;

int preciseStep(double &scrollAcc, const WheelInput &input)
{
    scrollAcc += input.points;
    int step = 0;
    if (scrollAcc <= -STEP_POINTS)
        step = +1;
    else if (scrollAcc >= STEP_POINTS)
        step = -1;
    if (step != 0 || input.hasEnded)
        scrollAcc = 0;
    return step;
}

int notchStep(WheelState &state, const WheelInput &input)
{
    int &notchAcc = state.notchAcc;
    const int units = input.units;
    if (units == 0)
        return 0;
    if (input.time - std::exchange(state.notchTime, input.time) > REST_TIME)
        notchAcc = 0;
    const bool isForward = units < 0;
    if (notchAcc != 0 && (notchAcc < 0) != isForward)
        notchAcc = 0;
    const int rest = notchAcc + units % NOTCH_UNITS;
    notchAcc = rest % NOTCH_UNITS;
    if (units / NOTCH_UNITS == 0 && rest / NOTCH_UNITS == 0)
        return 0;
    return isForward ? +1 : -1;
}

} // namespace

int wheelStep(WheelState &state, const WheelInput &input)
{
    if (input.isMomentum)
        return 0;
    return input.isPrecise ? preciseStep(state.scrollAcc, input) : notchStep(state, input);
}

WheelInput wheelInput(const QWheelEvent &event)
{
    // Neither the kind of device nor the pixel delta tells: Wayland calls wheels touch pads, and a
    // wheel on macOS has a pixel delta. Begin and end of a gesture have no source, but a phase.
    const bool isSynthesized = event.source() == Qt::MouseEventSynthesizedBySystem;
    WheelInput input;
    input.isPrecise = isSynthesized || event.phase() != Qt::NoScrollPhase;
    input.isMomentum = event.phase() == Qt::ScrollMomentum;
    input.hasEnded = event.phase() == Qt::ScrollEnd;
    input.time = std::chrono::milliseconds(event.timestamp());
    input.units = event.angleDelta().y();
    // A slow finger's pixel delta is 0 now and then, and its fraction comes with a later event: the
    // angle must not stand in for it. Only where pixels are unknown, 120 units are 30 points.
    const bool hasPixels = isSynthesized || !event.pixelDelta().isNull();
    input.points = hasPixels ? event.pixelDelta().y() : input.units / 4.0;
    return input;
}

} // namespace tavolin
