// The rows of the measurements that the client process makes in pairs.
#ifndef APPLIST_BENCH_ROWS_H
#define APPLIST_BENCH_ROWS_H

#include <functional>
#include <string>

inline namespace applist_bench {

/** Where a run writes its results and which of the rows it takes. */
struct Run {
    std::string out;
    std::string log; ///< the system log's name, noted with each row
    std::function<bool(const std::string&)> isWanted; ///< asked with the row's name
    bool quick = false;
};

void RunRows(const Run& run);

} // namespace applist_bench

#endif
