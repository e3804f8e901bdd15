// Iterates the test's main context until something has happened, here or in a thread of its own.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

#include <glib.h>

namespace MainLoop {

/** @return whether @p happened became true in time. Checked after every dispatch. */
bool IterateUntil(const std::function<bool()>& happened,
                  std::chrono::milliseconds timeout = std::chrono::seconds(20));

/** Dispatches the ready sources until no source is ready. */
void IterateUntilIdle();

/**
 * Waits for other threads, without dispatching sources in this thread. @return whether @p happened
 * became true in time
 */
bool WaitWithoutIterating(const std::function<bool()>& happened,
                          std::chrono::milliseconds timeout = std::chrono::seconds(20));

} // namespace MainLoop

inline namespace applist_test {

/**
 * Iterates a context in its own thread, until the destructor: the global default context, or
 * @p context, which is then the default of the thread.
 */
class LoopThread {
public:
    explicit LoopThread(GMainContext* context = nullptr);
    ~LoopThread();

    std::thread::id Id() const { return m_thread.get_id(); }

private:
    GMainLoop* m_loop;
    std::thread m_thread;
};

} // namespace applist_test
