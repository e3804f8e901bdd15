#include <shared/Timer.h>

#include <utility>

namespace applistctl {

void Timer::Start(guint milliseconds, std::function<void()> onExpiry) {
    Stop();
    m_onExpiry = std::move(onExpiry);
    m_sourceId = g_timeout_add(milliseconds, OnExpiry, this);
}

void Timer::Stop() {
    if (m_sourceId != 0) {
        g_source_remove(std::exchange(m_sourceId, 0U));
    }
}

gboolean Timer::OnExpiry(void* user_data) {
    auto* const self = static_cast<Timer*>(user_data);
    self->m_sourceId = 0;
    // The call may start the timer again, or delete it.
    const std::function<void()> onExpiry = std::move(self->m_onExpiry);
    onExpiry();
    return G_SOURCE_REMOVE;
}

} // namespace applistctl
