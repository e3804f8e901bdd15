// Iterates the test's main context until something has happened, here or in a thread of its own.
#ifndef APPLIST_TESTS_MAINLOOP_H
#define APPLIST_TESTS_MAINLOOP_H

#include <chrono>
#include <functional>
#include <thread>

#include <glib.h>

inline namespace applist_test {

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

/** Iterates the global default context in its own thread, until the destructor. */
class LoopThread {
public:
    LoopThread();
    ~LoopThread();

    LoopThread(const LoopThread&) = delete;
    LoopThread& operator=(const LoopThread&) = delete;

    std::thread::id Id() const { return m_thread.get_id(); }

private:
    GMainLoop* m_loop;
    std::thread m_thread;
};

} // namespace applist_test

#endif
