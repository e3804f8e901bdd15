// One call that the main context makes later, and that ends with its owner.
#ifndef APPLIST_TOOLS_TIMER_H
#define APPLIST_TOOLS_TIMER_H

#include <functional>

#include <glib.h>

namespace applistctl {

class Timer {
public:
    Timer() = default;
    ~Timer() { Stop(); }

    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /** Calls @p onExpiry once, @p milliseconds from now. An earlier start is cancelled. */
    void Start(guint milliseconds, std::function<void()> onExpiry);

    void Stop();

private:
    static gboolean OnExpiry(void* user_data);

    guint m_sourceId = 0;
    std::function<void()> m_onExpiry;
};

} // namespace applistctl

#endif
