#include "browse/WheelSteps.h"

#include <QWheelEvent>

#include <gtest/gtest.h>

#include <chrono>
#include <ostream>
#include <string>
#include <vector>

namespace tavolin {
namespace {

WheelInput precise(double points)
{
    return {.isPrecise = true, .points = points};
}

WheelInput preciseEnd(double points)
{
    return {.isPrecise = true, .hasEnded = true, .points = points};
}

WheelInput momentum(double points)
{
    return {.isPrecise = true, .isMomentum = true, .points = points};
}

WheelInput wheel(int units)
{
    return {.units = units};
}

WheelInput wheelAt(int milliseconds, int units)
{
    return {.units = units, .time = std::chrono::milliseconds(milliseconds)};
}

/// Some events in a row, the step that each makes, and what is left in the end.
struct Scroll
{
    std::string name;
    std::vector<WheelInput> events;
    std::vector<int> steps;
    double scrollAcc = 0;
    int notchAcc = 0;
};

void PrintTo(const Scroll &scroll, std::ostream *out)
{
    *out << scroll.name;
}

template <typename Case>
std::string nameOf(const testing::TestParamInfo<Case> &info)
{
    return info.param.name;
}

class WheelStep : public testing::TestWithParam<Scroll>
{};

TEST_P(WheelStep, IsMadeByTheRightEventAndLeavesTheRightRest)
{
    WheelState state;
    std::vector<int> steps;
    for (const WheelInput &event : GetParam().events)
        steps.push_back(wheelStep(state, event));
    EXPECT_EQ(steps, GetParam().steps);
    EXPECT_EQ(state.scrollAcc, GetParam().scrollAcc);
    EXPECT_EQ(state.notchAcc, GetParam().notchAcc);
}

const Scroll PRECISE[] = {
    {"ThirtyPointsInThreeEventsStepForward",
     {precise(-10), precise(-10), precise(-10)},
     {0, 0, +1}},
    {"ThirtyPointsUpStepBack", {precise(10), precise(10), precise(10)}, {0, 0, -1}},
    {"LessThanThirtyPointsWait", {precise(-29.5)}, {0}, -29.5},
    {"EndForgetsWhatIsLeft", {precise(-29), preciseEnd(0)}, {0, 0}},
    {"SecondEndChangesNothing", {preciseEnd(0), preciseEnd(0)}, {0, 0}},
    {"EndWithTravelStepsFirst", {precise(-29), preciseEnd(-1)}, {0, +1}},
    {"LargeTravelStepsBackOnce", {precise(45)}, {-1}},
    {"LargeTravelStepsForwardOnceAndIsUsedUp", {precise(-95), precise(0)}, {+1, 0}},
    {"ThereAndBackIsNoStep", {precise(-20), precise(20)}, {0, 0}},
    {"FractionsOfAPointAddUp", {precise(-29.75), precise(-0.25)}, {0, +1}},
    {"StandingStillIsNoStep", {precise(0)}, {0}},
    {"CountsAnewAfterAStep", {precise(-40), precise(-20), precise(-10)}, {+1, 0, +1}},
};

const Scroll MOMENTUM[] = {
    {"NeverSteps", {momentum(-100), momentum(500)}, {0, 0}},
    {"LeavesThePointsAlone", {precise(-20), momentum(-20), precise(-5)}, {0, 0, 0}, -25},
    {"LeavesTheUnitsAlone", {wheel(-60), {.isMomentum = true, .units = -60}}, {0, 0}, 0, -60},
};

const Scroll LINES[] = {
    {"NotchDownStepsForward", {wheel(-120)}, {+1}},
    {"NotchUpStepsBack", {wheel(120)}, {-1}},
    {"EveryNotchSteps", {wheel(-120), wheel(-120), wheel(-120)}, {+1, +1, +1}},
    {"SidewaysNotchIsNoStep", {wheel(0)}, {0}},
    {"SidewaysNotchKeepsTheRest", {wheel(-60), wheel(0), wheel(-60)}, {0, 0, +1}},
    {"LeavesThePointsAlone", {precise(-20), wheel(-120)}, {0, +1}, -20},
    {"TwoNotchesInOneEventStepOnce", {wheel(-240)}, {+1}},
    {"TwoNotchesUpInOneEventStepOnce", {wheel(240)}, {-1}},
    {"EightFractionsMakeOneStep",
     {wheel(-15), wheel(-15), wheel(-15), wheel(-15), wheel(-15), wheel(-15), wheel(-15),
      wheel(-15)},
     {0, 0, 0, 0, 0, 0, 0, +1}},
    {"EightFractionsUpMakeOneStepBack",
     {wheel(15), wheel(15), wheel(15), wheel(15), wheel(15), wheel(15), wheel(15), wheel(15)},
     {0, 0, 0, 0, 0, 0, 0, -1}},
    {"SevenFractionsWait",
     {wheel(15), wheel(15), wheel(15), wheel(15), wheel(15), wheel(15), wheel(15)},
     {0, 0, 0, 0, 0, 0, 0},
     0,
     105},
    {"FractionsBackAndForthNeverStep",
     {wheel(-15), wheel(15), wheel(-15), wheel(15), wheel(-15), wheel(15), wheel(-15), wheel(15),
      wheel(-15)},
     {0, 0, 0, 0, 0, 0, 0, 0, 0},
     0,
     -15},
    {"RestIsKeptForHalfASecond", {wheelAt(1000, -60), wheelAt(1500, -60)}, {0, +1}},
    {"RestIsForgottenAfterHalfASecond", {wheelAt(1000, -60), wheelAt(1501, -60)}, {0, 0}, 0, -60},
    {"RestLastsFromTheNewestFraction",
     {wheelAt(1000, -40), wheelAt(1400, -40), wheelAt(1800, -40)},
     {0, 0, +1}},
    {"TurningBackBeginsAnew", {wheel(-105), wheel(60), wheel(60)}, {0, 0, -1}},
    {"TurningBackByAWholeNotchStepsAtOnce", {wheel(-105), wheel(120)}, {0, -1}},
    {"RestOfALargeFractionIsKept", {wheel(-100), wheel(-100)}, {0, +1}, 0, -80},
    {"RestAboveANotchIsKept", {wheel(-150), wheel(-90)}, {+1, +1}},
    {"RestAboveANotchIsKeptUpwards", {wheel(150)}, {-1}, 0, 30},
    {"RestAndLargeTravelStepOnce", {wheel(-60), wheel(-230)}, {0, +1}, 0, -50},
};

INSTANTIATE_TEST_SUITE_P(Precise, WheelStep, testing::ValuesIn(PRECISE), nameOf<Scroll>);
INSTANTIATE_TEST_SUITE_P(Momentum, WheelStep, testing::ValuesIn(MOMENTUM), nameOf<Scroll>);
INSTANTIATE_TEST_SUITE_P(Lines, WheelStep, testing::ValuesIn(LINES), nameOf<Scroll>);

/// What Qt delivers for some devices, and what it means.
struct EventKind
{
    std::string name;
    QPoint angleDelta;
    QPoint pixelDelta;
    Qt::ScrollPhase phase;
    Qt::MouseEventSource source;
    WheelInput input;
};

void PrintTo(const EventKind &kind, std::ostream *out)
{
    *out << kind.name;
}

class WheelEvent : public testing::TestWithParam<EventKind>
{
protected:
    [[nodiscard]] static WheelInput input()
    {
        const EventKind &kind = GetParam();
        const QWheelEvent event({}, {}, kind.pixelDelta, kind.angleDelta, Qt::NoButton,
                                Qt::NoModifier, kind.phase, false, kind.source);
        return wheelInput(event);
    }
};

TEST_P(WheelEvent, IsReadAsItsDeviceMeansIt)
{
    const WheelInput actual = input();
    const WheelInput &expected = GetParam().input;
    EXPECT_EQ(actual.isPrecise, expected.isPrecise);
    EXPECT_EQ(actual.isMomentum, expected.isMomentum);
    EXPECT_EQ(actual.hasEnded, expected.hasEnded);
    if (expected.isPrecise)
        EXPECT_EQ(actual.points, expected.points);
    else
        EXPECT_EQ(actual.units, expected.units);
}

TEST(WheelEventTime, IsThatOfTheSystem)
{
    QWheelEvent event({}, {}, {}, {0, -60}, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    event.setTimestamp(1234);
    EXPECT_EQ(wheelInput(event).time, std::chrono::milliseconds(1234));
}

constexpr auto DEVICE = Qt::MouseEventNotSynthesized;
constexpr auto SYSTEM = Qt::MouseEventSynthesizedBySystem;

const EventKind EVENT_KINDS[] = {
    {"X11Notch", {0, -120}, {}, Qt::NoScrollPhase, DEVICE, wheel(-120)},
    {"X11SidewaysNotch", {-120, 0}, {}, Qt::NoScrollPhase, DEVICE, wheel(0)},
    {"X11SmoothFraction", {0, 54}, {}, Qt::NoScrollPhase, DEVICE, wheel(54)},
    {"X11SmoothFractionWithPixels", {0, 54}, {0, 54}, Qt::NoScrollPhase, DEVICE, wheel(54)},
    {"WaylandNotches", {0, 240}, {}, Qt::NoScrollPhase, DEVICE, wheel(240)},
    {"WaylandFingerDown", {}, {}, Qt::ScrollBegin, DEVICE, precise(0)},
    {"WaylandFingerMove", {0, -84}, {0, -7}, Qt::ScrollUpdate, SYSTEM, precise(-7)},
    {"WaylandFingerMoveOfLessThanAPixel", {0, -4}, {}, Qt::ScrollUpdate, SYSTEM, precise(0)},
    {"WaylandFingerLift", {}, {}, Qt::ScrollEnd, DEVICE, preciseEnd(0)},
    {"WaylandContinuous", {0, -84}, {0, -7}, Qt::NoScrollPhase, SYSTEM, precise(-7)},
    {"MacTrackpadBegin", {0, -4}, {0, -2}, Qt::ScrollBegin, SYSTEM, precise(-2)},
    {"MacTrackpadMove", {0, 62}, {0, 31}, Qt::ScrollUpdate, SYSTEM, precise(31)},
    {"MacTrackpadEnd", {}, {}, Qt::ScrollEnd, SYSTEM, preciseEnd(0)},
    {"MacTrackpadMomentum", {0, -80}, {0, -40}, Qt::ScrollMomentum, SYSTEM, momentum(-40)},
    {"MacLineWheel", {0, -120}, {0, -2}, Qt::NoScrollPhase, DEVICE, wheel(-120)},
    {"PhaseWithoutPixels", {0, -60}, {}, Qt::ScrollUpdate, DEVICE, precise(-15)},
};

INSTANTIATE_TEST_SUITE_P(OfEachSystem, WheelEvent, testing::ValuesIn(EVENT_KINDS),
                         nameOf<EventKind>);

} // namespace
} // namespace tavolin
