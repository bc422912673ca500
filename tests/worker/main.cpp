#include <QGuiApplication>

#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__)
/// The encoder behind the tests' HEIC files keeps some of its memory when it is done.
extern "C" const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libx265";
}
#endif

int main(int argc, char *argv[])
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
