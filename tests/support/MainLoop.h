// Iterates the test's main context until something has happened.
#ifndef APPLIST_TESTS_MAINLOOP_H
#define APPLIST_TESTS_MAINLOOP_H

#include <chrono>
#include <functional>

namespace MainLoop {

/** @return whether @p happened became true in time. Checked after every dispatch. */
bool IterateUntil(const std::function<bool()>& happened,
                  std::chrono::milliseconds timeout = std::chrono::seconds(20));

/** Dispatches what is ready now, until nothing is. */
void IterateUntilIdle();

} // namespace MainLoop

#endif
