// The common parts of the phases of the stress program: bounds, random numbers and table.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "PrivateBus.h"
#include "Watchdog.h"

inline namespace applist_test {

struct Phase {
    using Rows = std::vector<std::pair<std::string, std::string>>;

    const PrivateBus& bus;
    Watchdog& watchdog;
    std::mt19937_64& numbers;
    unsigned long count; ///< the repetitions of the phase
    std::chrono::steady_clock::time_point deadline;
    Rows rows; ///< the results of the phase, as a name and a number

    bool HasTime() const { return std::chrono::steady_clock::now() < deadline; }
    std::size_t Pick(std::size_t choices) { return static_cast<std::size_t>(numbers() % choices); }
    void AddRow(const std::string& what, unsigned long number) {
        rows.emplace_back(what, std::to_string(number));
    }
};

// Each throws std::runtime_error when a promise is broken.

/** Partner restarts while four threads send and the listeners call the list. */
void RestartsUnderLoad(Phase& phase);

/** Proxies created and destroyed at random moments. */
void RunProxyCycles(Phase& phase);

/** Notifications, both ways, with a loop that stalls. */
void NotificationOrder(Phase& phase);

} // namespace applist_test
