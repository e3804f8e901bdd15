// All orders of the three measured sides, so that each side follows each other side equally often.
#ifndef APPLIST_BENCH_LANEORDERS_H
#define APPLIST_BENCH_LANEORDERS_H

#include <array>

inline namespace applist_bench {

constexpr std::array<std::array<int, 3>, 6> LANE_ORDERS = {
    {{0, 1, 2}, {2, 1, 0}, {1, 0, 2}, {2, 0, 1}, {1, 2, 0}, {0, 2, 1}}};

} // namespace applist_bench

#endif
