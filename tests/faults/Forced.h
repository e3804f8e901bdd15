// Runs code of a test at a line of the log, at a lock or at an allocation. In a host, the same
// events happen there by chance.
#pragma once

#include <cstddef>
#include <functional>
#include <future>
#include <string>
#include <vector>

namespace Forced {

/** Runs @p action once, in the thread that logs a message with the prefix @p start. */
void AtLine(const std::string& start, std::function<void()> action);

/** Runs @p action once, in this thread, before its @p count-th lock of a mutex from now on. */
void BeforeLock(int count, std::function<void()> action);

/** The mutexes that this thread has locked since ForgetLocks. */
void ForgetLocks();
std::vector<const void*> TakenLocks();

/** The number of mutexes that this thread holds. */
std::size_t HeldLocks();

/** The next allocation by operator new of this thread fails. */
void FailNextAllocation();

/** The number of allocated blocks of operator new. */
long LiveBlocks();

/** Runs @p action at the release of the last reference to the next proxy of the library. */
void AtReleaseOfNextProxy(std::function<void()> action);

} // namespace Forced

inline namespace applist_test {

/** Holds the thread that logs a message with this prefix, until Release. */
class HeldLine {
public:
    explicit HeldLine(const std::string& start);
    ~HeldLine() { Release(); }

    void WaitUntilReached() { m_reached.get_future().wait(); }
    void Release();

private:
    std::promise<void> m_reached;
    std::promise<void> m_released;
    bool m_isReleased = false;
};

} // namespace applist_test
