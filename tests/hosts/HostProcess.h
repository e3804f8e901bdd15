// A host of its own process, run to its end.
#pragma once

#include <string>
#include <vector>

inline namespace applist_test {

struct HostProcess {
    int status = -1; ///< exit status, 128 + N after signal N
    std::string output;

    /** Runs @p command, a program and its arguments, and waits for its end. */
    static HostProcess Run(const std::vector<std::string>& command);
};

} // namespace applist_test
