// Measures in pairs: each round runs the reference, the library and the reference again (the
// control). The order changes from round to round, so that each lane runs first and after each
// other lane equally often.
#ifndef APPLIST_BENCH_PAIRS_H
#define APPLIST_BENCH_PAIRS_H

#include <cstddef>
#include <functional>
#include <vector>

#include "ResultFile.h"

inline namespace applist_bench {

struct Lanes {
    std::function<void()> reference;
    std::function<void()> applist;
    std::function<void()> control;
    // Not measured, before and after each round.
    std::function<void()> prepare = [] {};
    std::function<void()> finish = [] {};
};

/** The duration of each round, in seconds: by the clock, and of processor time in all threads. */
class Pairs {
public:
    /** Does not record the first @p warmUp rounds; records all later rounds. */
    Pairs(const Lanes& lanes, std::size_t warmUp, std::size_t rounds);

    /** Adds medians, spreads and ratios to @p result. */
    void Report(Result& result) const;

private:
    struct Samples {
        std::vector<double> wall;
        std::vector<double> processCpu;
        std::vector<double> threadCpu;
    };

    static constexpr int REFERENCE = 0;
    static constexpr int LIBRARY = 1;
    static constexpr int CONTROL = 2;

    void RunRound(const Lanes& lanes, std::size_t round, bool recorded);

    Samples m_samples[3];
    std::size_t m_warmUp;
};

} // namespace applist_bench

#endif
