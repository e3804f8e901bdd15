// The system log for long runs: keeps no line, but counts events and wakes their waiters.
// Linked in place of the platform's log.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace EventLog {

struct Counts {
    unsigned long lines = 0;
    unsigned long errors = 0;
    unsigned long ready = 0;   ///< "ready" was reported
    unsigned long lost = 0;    ///< "lost" was reported
    unsigned long steps = 0;   ///< handshake callbacks
    unsigned long resends = 0; ///< resend passes
    unsigned long timers = 0;  ///< resend threads started
};

Counts Now();

/** The partner last reported as ready; empty after a loss. */
std::string Partner();
bool IsReady();

/** Waits, without iterating any context, until @p partner is ready. */
bool WaitUntilReady(const std::string& partner, int seconds = 60);

/** Waits, without iterating any context, until @p reached returns true. */
bool WaitUntil(const std::function<bool(const Counts&)>& reached,
               std::chrono::milliseconds patience);

/** Resets the recorded partner, for the endpoint after a destroyed one. */
void ForgetPartner();

/** The last error lines, the newest last. */
std::vector<std::string> LastErrors();

} // namespace EventLog
