// How often a test repeats itself: a few times in the suite, more often by scripts/long-run.
#pragma once

#include <cstdlib>

/** @return APPLIST_REPETITIONS of the environment, or @p usual without it */
inline int Repetitions(int usual) {
    const char* const text = std::getenv("APPLIST_REPETITIONS");
    return text != nullptr ? std::atoi(text) : usual;
}
