// The longest block of a host's user interface thread, in each situation in which AppListProxy
// blocks its caller.
#ifndef APPLIST_BENCH_BLOCKS_H
#define APPLIST_BENCH_BLOCKS_H

#include <string>

inline namespace applist_bench {

/** Needs a private bus. Appends one result for each situation to @p out. */
void MeasureBlocks(const std::string& out, bool quick);

} // namespace applist_bench

#endif
