// Durations of the checks.
#ifndef APPLIST_TOOLS_CHECK_SECONDS_H
#define APPLIST_TOOLS_CHECK_SECONDS_H

#include <chrono>

namespace applistctl {

using Clock = std::chrono::steady_clock;

inline double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

} // namespace applistctl

#endif
