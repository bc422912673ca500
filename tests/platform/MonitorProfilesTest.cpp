#include "platform/MonitorProfiles.h"

#ifndef Q_OS_MACOS
#include "platform/XMonitors.h"
#endif

#include <gtest/gtest.h>

namespace tavolin {

namespace {

constexpr QPoint LEFT(0, 0);
constexpr QPoint MIDDLE(1920, 0);
constexpr QPoint RIGHT(3840, 200);

TEST(NumberedMonitors, PrimaryOneIsTheFirstAndTheOthersKeepTheirOrder)
{
    const Monitors monitors =
        numbered({{LEFT, false, "a"}, {MIDDLE, true, "b"}, {RIGHT, false, "c"}});
    EXPECT_EQ(monitors, (Monitors{{MIDDLE, true, "b"}, {LEFT, false, "a"}, {RIGHT, false, "c"}}));
}

TEST(NumberedMonitors, KeepTheirOrderWithoutAPrimaryOne)
{
    const Monitors monitors{{RIGHT, false, {}}, {LEFT, false, {}}};
    EXPECT_EQ(numbered(monitors), monitors);
}

TEST(ProfileProperty, OfTheFirstMonitorHasNoNumber)
{
    EXPECT_EQ(profileProperty(0), "_ICC_PROFILE");
    EXPECT_EQ(profileProperty(1), "_ICC_PROFILE_1");
    EXPECT_EQ(profileProperty(12), "_ICC_PROFILE_12");
}

TEST(MonitorAt, IsTheOneThatBeginsThere)
{
    const Monitors monitors{{LEFT, true, "a"}, {MIDDLE, false, "b"}, {RIGHT, false, "c"}};
    EXPECT_EQ(monitorAt(monitors, LEFT)->profile, "a");
    EXPECT_EQ(monitorAt(monitors, MIDDLE)->profile, "b");
    EXPECT_EQ(monitorAt(monitors, RIGHT)->profile, "c");
}

TEST(MonitorAt, IsTheFirstOfThoseThatShowTheSame)
{
    EXPECT_EQ(monitorAt({{LEFT, true, "a"}, {LEFT, false, "b"}}, LEFT)->profile, "a");
}

// A desktop that Qt takes for one screen where the server knows several monitors.
TEST(MonitorAt, IsTheFirstWhereNoneBeginsThere)
{
    EXPECT_EQ(monitorAt({{MIDDLE, true, "a"}, {LEFT, false, "b"}}, RIGHT)->profile, "a");
    EXPECT_EQ(monitorAt({}, LEFT), nullptr);
}

TEST(MonitorProfiles, AreNoneWhereWindowsAreNoneOfAnXServer)
{
    Mailbox mailbox;
    EXPECT_TRUE(MonitorProfiles(mailbox).profileAt(LEFT).isEmpty());
}

#ifndef Q_OS_MACOS
TEST(XMonitors, AreUnknownWithoutAServer)
{
    const QByteArray display = qgetenv("DISPLAY");
    qputenv("DISPLAY", ":no server");
    XMonitors server;
    EXPECT_FALSE(server.next({}));
    EXPECT_FALSE(server.next({}));
    display.isNull() ? qunsetenv("DISPLAY") : qputenv("DISPLAY", display);
}
#endif

} // namespace

} // namespace tavolin
