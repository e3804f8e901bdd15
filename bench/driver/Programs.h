// Starts the programs of the benchmark, which are all in one folder.
#ifndef APPLIST_BENCH_PROGRAMS_H
#define APPLIST_BENCH_PROGRAMS_H

#include <filesystem>
#include <string>
#include <vector>

#include "Process.h"

inline namespace applist_bench {

/** @return the path of @p program in the folder of the running program */
inline std::string PathBeside(const std::string& program) {
    return std::filesystem::read_symlink("/proc/self/exe").replace_filename(program).string();
}

/** Starts a program of the benchmark. The process is killed with the caller. */
inline Process StartProgram(std::vector<std::string> words,
                            const std::vector<std::string>& environment = {}) {
    words.front() = PathBeside(words.front());
    return Process(words, {environment, {}, true});
}

} // namespace applist_bench

#endif
