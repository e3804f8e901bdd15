// Durations of the checks.
#ifndef APPLIST_TOOLS_CHECK_SECONDS_H
#define APPLIST_TOOLS_CHECK_SECONDS_H

#include <chrono>

namespace applistctl {

/** The values of two kinds of options, for WrongOption. */
constexpr const char* POSITIVE_SECONDS = "more than 0 and at most 3600 seconds";
constexpr const char* ANY_SECONDS = "0 to 3600 seconds";

using Clock = std::chrono::steady_clock;

inline double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

} // namespace applistctl

#endif
