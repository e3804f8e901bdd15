#include <shared/Foreground.h>

#include <utility>

#include <unistd.h>

namespace applistctl {

namespace {

constexpr guint PERIOD_MS = 250;

} // namespace

// Without a controlling terminal there is no background.
bool IsInForeground() {
    const pid_t foreground = tcgetpgrp(STDIN_FILENO);
    return foreground < 0 || foreground == getpgrp();
}

void ForegroundWatch::Start(std::function<void()> onForeground) {
    m_timer.Start(PERIOD_MS, [this, onForeground = std::move(onForeground)] {
        if (IsInForeground()) {
            onForeground();
        } else {
            Start(onForeground);
        }
    });
}

} // namespace applistctl
