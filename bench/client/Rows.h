// The rows of the measurements that the client process makes in pairs.
#ifndef APPLIST_BENCH_ROWS_H
#define APPLIST_BENCH_ROWS_H

#include <functional>
#include <string>

inline namespace applist_bench {

/** The output of a run, and the selection of its rows. */
struct Run {
    std::string out;
    std::string log; ///< the system log's name, noted with each row
    std::function<bool(const std::string&)> isWanted; ///< called with the name of the row
    bool quick = false;
};

void RunRows(const Run& run);

} // namespace applist_bench

#endif
