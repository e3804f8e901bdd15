// Ends a program that hangs, and prints its last step.
#ifndef APPLIST_TESTS_WATCHDOG_H
#define APPLIST_TESTS_WATCHDOG_H

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

    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

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

#endif
