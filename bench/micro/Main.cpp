// Runs the benchmarks of one process, pinned to the core in APPLIST_BENCH_CORE. Results go to the
// file of --benchmark_out: standard output contains the lines of the library, which has no
// partner, and is dropped.
#include <cstdio>
#include <cstdlib>

#include <benchmark/benchmark.h>

#include "Cores.h"

int main(int argc, char** argv) {
    if (const char* const core = std::getenv("APPLIST_BENCH_CORE")) {
        Cores::PinTo(std::atoi(core));
    }
    // No bus either: the model keeps its list all the same.
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    if (std::freopen("/dev/null", "w", stdout) == nullptr) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
}
