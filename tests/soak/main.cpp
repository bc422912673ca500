#include "soak/Soak.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <chrono>
#include <cstdlib>

using namespace Qt::StringLiterals;

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Uses the viewer at random on a screen of its own and looks whether all stays well."_s);
    parser.addHelpOption();
    parser.addOptions({{u"minutes"_s, u"How long."_s, u"number"_s, u"20"_s},
                       {u"seed"_s, u"What chance begins with."_s, u"number"_s, u"1"_s}});
    parser.process(application);
    const int minutes = parser.value(u"minutes"_s).toInt();
    if (minutes < 1)
        parser.showHelp(EXIT_FAILURE);
    // Leaks that are not ours; only the address sanitizer reads it.
    if (!qEnvironmentVariableIsSet("LSAN_OPTIONS"))
        qputenv("LSAN_OPTIONS", "suppressions=" TAVOLIN_KNOWN_LEAKS ":print_suppressions=0");
    tavolin::Soak soak(parser.value(u"seed"_s).toUInt());
    return soak.run(std::chrono::minutes(minutes)) ? EXIT_SUCCESS : EXIT_FAILURE;
}
