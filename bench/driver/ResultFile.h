// One JSON object a line, appended to a file that several programs of a run write one after the
// other.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include <nlohmann/json.hpp>

#include "Stats.h"

inline namespace applist_bench {

/** One result; written when Write is called. */
class Result {
public:
    explicit Result(const std::string& row) { Text("row", row); }

    Result& Text(const std::string& key, const std::string& value) {
        m_members[key] = value;
        return *this;
    }
    /** Whole numbers are written without a fraction. */
    Result& Number(const std::string& key, double value) {
        const auto whole = static_cast<long long>(value);
        if (static_cast<double>(whole) == value) {
            m_members[key] = whole;
        } else {
            m_members[key] = value;
        }
        return *this;
    }
    Result& Spread(const std::string& key, const Stats::Spread& spread) {
        m_members[key] = {{"median", spread.median}, {"q1", spread.q1},
                          {"q3", spread.q3},         {"low95", spread.low95},
                          {"high95", spread.high95}, {"count", spread.count}};
        return *this;
    }

    /** Appends the line to @p path; ends the program when that fails. */
    void Write(const std::string& path) const {
        std::ofstream file(path, std::ios::app);
        if (!(file << m_members.dump() << std::endl)) {
            std::perror(path.c_str());
            std::exit(1);
        }
    }

private:
    nlohmann::ordered_json m_members;
};

} // namespace applist_bench
