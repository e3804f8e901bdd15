// Which log lines are written, and whether standard error receives them as well: APPLIST_LOG_LEVEL
// and APPLIST_LOG in the environment, and the host's setlogmask(3).
#ifndef APPLIST_COMMON_LOGSETTINGS_H
#define APPLIST_COMMON_LOGSETTINGS_H

#include <atomic>

namespace LogSettings {

/** Values of g_lowestPriority that are not a priority. */
constexpr int NOT_READ = 0;
constexpr int FROM_HOST = -1;

/** The lowest priority that is written. Only LogSettings.cpp changes it. */
extern std::atomic<int> g_lowestPriority;

/** The slow part of Includes: reads the environment once, and the host's mask once per tick. */
bool IncludesByHostsMask(int priority);

/**
 * Whether a line of @p priority is written. A line below the level costs this call only: its
 * arguments are not evaluated. Any thread may call this function.
 */
inline bool Includes(int priority) {
    const int lowest = g_lowestPriority.load(std::memory_order_acquire);
    return lowest > NOT_READ ? priority >= lowest : IncludesByHostsMask(priority);
}

/** Whether standard error receives the lines as well. Any thread may call it. */
bool IncludesStandardError();

} // namespace LogSettings

#endif
