// The local work of SetItems, from 10,000 items to a permutation with 100 changes.
#ifndef APPLIST_BENCH_PERMUTATION_H
#define APPLIST_BENCH_PERMUTATION_H

#include <string>

inline namespace applist_bench {

/** Needs a private bus without a partner. Appends a result to @p out. */
void MeasurePermutation(const std::string& out, bool quick);

} // namespace applist_bench

#endif
