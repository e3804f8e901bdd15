// The process group that may use the terminal on standard input.
#ifndef APPLIST_TOOLS_FOREGROUND_H
#define APPLIST_TOOLS_FOREGROUND_H

#include <functional>

#include <shared/Timer.h>

namespace applistctl {

/** Whether the process may read and change the terminal: a background process would be stopped. */
bool IsInForeground();

/**
 * Reports that the process is in the foreground again. A process that was running in the background
 * receives no signal of this change.
 */
class ForegroundWatch {
public:
    /** Calls @p onForeground once, in the main loop. An earlier start is cancelled. */
    void Start(std::function<void()> onForeground);

    void Stop() { m_timer.Stop(); }

private:
    Timer m_timer;
};

} // namespace applistctl

#endif
