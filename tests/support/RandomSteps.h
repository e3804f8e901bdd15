// The steps of a random run with a partner, and the comparisons between them.
#pragma once

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include <glib.h>

inline namespace applist_test {

/** Makes @p steps steps of @p run, compares both sides after every 20, and prints the numbers of
 *  actions. Ends the process at the first difference. */
template <class RandomRun>
void MakeRandomSteps(RandomRun& run, gint64 steps) {
    for (gint64 step = 1; step <= steps; ++step) {
        run.Step();
        if (step % 20 != 0 && step != steps) {
            continue;
        }
        try {
            run.Compare();
        } catch (const std::exception& difference) {
            std::fprintf(stderr, "step %" PRId64 ": %s\n", step, difference.what());
            std::exit(1);
        }
    }
    for (const auto& [name, count] : run.Done()) {
        std::printf("  %-34s %10lu\n", name.c_str(), count);
    }
}

} // namespace applist_test
