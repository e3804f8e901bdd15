// The time of an edit from its call to the reply in the partner: by AppListClient and by
// AppListProxy, one after the other.
#ifndef APPLIST_BENCH_EDITCOST_H
#define APPLIST_BENCH_EDITCOST_H

#include <string>

inline namespace applist_bench {

/** Needs a private bus. Appends one result for each kind of edit to @p out. */
void MeasureEditCost(const std::string& out, bool quick);

} // namespace applist_bench

#endif
