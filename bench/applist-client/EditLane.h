// A process that edits a list on command and reports the time of each call. Each command is a line:
// "add", "modify" or "remove". The answer is the monotonic time before the call, in nanoseconds.
#ifndef APPLIST_BENCH_EDITLANE_H
#define APPLIST_BENCH_EDITLANE_H

#include <cstdio>
#include <iostream>
#include <string>

#include "Ready.h"

inline namespace applist_bench {

namespace EditLane {

constexpr const char* UNIQUE_ID = "0123456789abcdef";
constexpr const char* NAMES[] = {"Application 0001", "Application 0002"};

/** @param list has Add, Modify and Remove, which return after the reply of the partner */
template <class List>
void Run(List& list) {
    std::puts("ready");
    std::fflush(stdout);
    std::size_t edits = 0;
    for (std::string command; std::getline(std::cin, command);) {
        const char* const name = NAMES[edits++ % 2];
        const long long call = Ready::Now();
        if (command == "add") {
            list.Add(UNIQUE_ID, name);
        } else if (command == "modify") {
            list.Modify(UNIQUE_ID, name);
        } else {
            list.Remove(UNIQUE_ID);
        }
        std::printf("%lld\n", call);
        std::fflush(stdout);
    }
}

} // namespace EditLane

} // namespace applist_bench

#endif
