#include "Watchdog.h"

#include <cstdio>
#include <cstdlib>

Watchdog::Watchdog(std::chrono::seconds patience)
    : m_patience(patience), m_thread([this] { Watch(); }) {}

Watchdog::~Watchdog() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ends = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void Watchdog::Beat(const std::string& step) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_step = step;
        m_beaten = true;
    }
    m_changed.notify_all();
}

void Watchdog::Watch() {
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_ends) {
        m_beaten = false;
        if (!m_changed.wait_for(lock, m_patience, [this] { return m_beaten || m_ends; })) {
            std::fprintf(stderr, "hangs for %lld s: %s\n",
                         static_cast<long long>(m_patience.count()), m_step.c_str());
            std::abort();
        }
    }
}
