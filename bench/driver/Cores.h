// The processor core of a program of the benchmark. Its child processes inherit the core.
#pragma once

#include <cstdio>
#include <cstdlib>

#include <sched.h>

namespace Cores {

/** Ends the program when @p core is not to be had: unpinned figures would be noise. */
inline void PinTo(int core) {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(static_cast<unsigned>(core), &cores);
    if (sched_setaffinity(0, sizeof(cores), &cores) != 0) {
        std::perror("sched_setaffinity");
        std::exit(1);
    }
}

} // namespace Cores
