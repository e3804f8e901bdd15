// Ends a program that hangs, and prints its last step.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

inline namespace applist_test {

class Watchdog {
public:
    explicit Watchdog(std::chrono::seconds patience);
    ~Watchdog();

    /** Restarts the time limit for @p step. */
    void Beat(const std::string& step);

private:
    void Watch();

    const std::chrono::seconds m_patience;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::string m_step = "starting";
    bool m_beaten = false;
    bool m_ends = false;
    std::thread m_thread;
};

} // namespace applist_test
