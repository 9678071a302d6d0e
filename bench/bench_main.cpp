#include "TestEnvironment.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

// Benchmarks run in a throwaway ".test" environment, like the tests, with an application
// object for the code that posts to the main thread.
int main(int argc, char **argv)
{
    TestEnvironment environment;
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
