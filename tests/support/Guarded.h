// State of the whole process, used under its mutex. It is never destroyed, because other threads
// may use it while the process exits.
#pragma once

#include <condition_variable>
#include <mutex>

inline namespace applist_test {

/** Holds the mutex during its lifetime, which may be one expression: Guarded<State>()->field. */
template <class State>
class Guarded {
public:
    State* operator->() const { return &m_parts.state; }
    State& operator*() const { return m_parts.state; }

    void NotifyAll() const { m_parts.changed.notify_all(); }

    template <class Condition>
    void Wait(Condition condition) {
        m_parts.changed.wait(m_lock, condition);
    }
    template <class Duration, class Condition>
    bool WaitFor(Duration timeout, Condition condition) {
        return m_parts.changed.wait_for(m_lock, timeout, condition);
    }

private:
    struct Parts {
        std::mutex mutex;
        std::condition_variable changed;
        State state;
    };

    static Parts& TheParts() {
        static auto* const parts = new Parts();
        return *parts;
    }

    Parts& m_parts = TheParts();
    std::unique_lock<std::mutex> m_lock{m_parts.mutex};
};

} // namespace applist_test
