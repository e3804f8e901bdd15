// The peak memory of one large request, in a process without other work.
#ifndef APPLIST_BENCH_PEAK_H
#define APPLIST_BENCH_PEAK_H

#include <cstddef>
#include <string>

inline namespace applist_bench {

/**
 * Sends one request of @p bytes and writes the growth of the peak to standard output, in bytes.
 * @param kind "reference", "sendmessage" or "additematend"
 */
void MeasurePeak(const std::string& kind, std::size_t bytes);

} // namespace applist_bench

#endif
