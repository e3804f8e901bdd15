// One JSON object a line, appended to a file that several programs of a run write one after the
// other.
#ifndef APPLIST_BENCH_RESULTFILE_H
#define APPLIST_BENCH_RESULTFILE_H

#include <string>

#include "Stats.h"

inline namespace applist_bench {

/** One result; written when Write is called. Texts are our own and need no escaping. */
class Result {
public:
    explicit Result(const std::string& row) { Text("row", row); }

    Result& Text(const std::string& key, const std::string& value);
    Result& Number(const std::string& key, double value);
    Result& Spread(const std::string& key, const Stats::Spread& spread);

    /** Appends the line to @p path; ends the program when that fails. */
    void Write(const std::string& path) const;

private:
    void Key(const std::string& key);

    std::string m_members;
};

} // namespace applist_bench

#endif
