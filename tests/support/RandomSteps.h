// The steps of a random run, and the comparisons between them.
#pragma once

#include <cinttypes>
#include <cstdio>
#include <exception>
#include <map>
#include <string>

#include <glib.h>

inline namespace applist_test {

inline void PrintActions(const std::map<std::string, unsigned long>& done) {
    for (const auto& [name, count] : done) {
        std::printf("  %-34s %10lu\n", name.c_str(), count);
    }
}

/** Prints the difference and the options that repeat the run. */
inline void PrintDifference(const std::exception& difference, gint64 step, gint64 seed) {
    std::fprintf(stderr,
                 "step %" PRId64 ": %s\nrepeat with --seed %" PRId64 " --steps %" PRId64 "\n", step,
                 difference.what(), seed, step);
}

/** Makes @p steps steps of @p run, compares both sides after every @p interval, and prints the
 *  numbers of actions. Ends at the first difference. @return whether there was none */
template <class RandomRun>
bool MakeRandomSteps(RandomRun& run, gint64 steps, gint64 seed, gint64 interval) {
    for (gint64 step = 1; step <= steps; ++step) {
        try {
            run.Step();
            if (step % interval == 0 || step == steps) {
                run.Compare();
            }
        } catch (const std::exception& difference) {
            PrintDifference(difference, step, seed);
            return false;
        }
    }
    PrintActions(run.Done());
    return true;
}

} // namespace applist_test
