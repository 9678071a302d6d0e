#include "TestEnvironment.h"

#include <QGuiApplication>

#include <benchmark/benchmark.h>

// Benchmarks run in a throwaway ".test" environment, like the tests, with an application
// object for the code that posts to the main thread and for the screens.
int main(int argc, char **argv)
{
    TestEnvironment environment;
    // The screens' benchmarks draw offscreen, in software, as the tests do.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
