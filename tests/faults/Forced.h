// Runs code of a test at a line of the log, at a lock or at an allocation. This forces events that
// happen there by chance in a host.
#ifndef APPLIST_TESTS_FORCED_H
#define APPLIST_TESTS_FORCED_H

#include <cstddef>
#include <functional>
#include <future>
#include <string>
#include <vector>

namespace Forced {

/** Does @p action, once, on the thread that logs a message that starts with @p start. */
void AtLine(const std::string& start, std::function<void()> action);

/** Does @p action, once, on this thread, before it takes its @p count-th mutex from now on. */
void BeforeLock(int count, std::function<void()> action);

/** The mutexes that this thread has taken since ForgetLocks. */
void ForgetLocks();
std::vector<const void*> TakenLocks();

/** How many mutexes this thread holds. */
std::size_t HeldLocks();

/** The next allocation by operator new of this thread fails. */
void FailNextAllocation();

/** How many blocks of operator new there are. */
long LiveBlocks();

/** Does @p action when the proxy that the library makes next is released for the last time. */
void AtReleaseOfNextProxy(std::function<void()> action);

} // namespace Forced

inline namespace applist_test {

/** Holds the thread that logs a message that starts so, until it is released. */
class HeldLine {
public:
    explicit HeldLine(const std::string& start);
    ~HeldLine() { Release(); }

    HeldLine(const HeldLine&) = delete;
    HeldLine& operator=(const HeldLine&) = delete;

    void WaitUntilReached() { m_reached.get_future().wait(); }
    void Release();

private:
    std::promise<void> m_reached;
    std::promise<void> m_released;
    bool m_isReleased = false;
};

} // namespace applist_test

#endif
