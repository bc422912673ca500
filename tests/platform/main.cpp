#include "platform/OwnHome.h"

#include <QGuiApplication>

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    // Listing the tests, as the build does, must not need a display either.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const tavolin::test::OwnHome home;
    const QGuiApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
