// The report of the two clients of the start-up and idle measurements after their handshake:
// the nanoseconds since their main() began, their unique bus name and their blocking round trips.
#pragma once

#include <cstdio>
#include <ctime>

// There only when the counter is preloaded.
extern "C" __attribute__((weak)) unsigned applist_bench_round_trips();

inline namespace applist_bench {
namespace Ready {

inline long long Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

inline void Print(long long took, const char* uniqueName) {
    const int roundTrips =
        applist_bench_round_trips == nullptr ? -1 : static_cast<int>(applist_bench_round_trips());
    std::printf("%lld %s %d\n", took, uniqueName, roundTrips);
    std::fflush(stdout);
}

} // namespace Ready
} // namespace applist_bench
