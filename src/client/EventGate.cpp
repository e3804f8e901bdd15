#include <client/EventGate.h>

#include <exception>
#include <utility>

#include <common/CancellationOff.h>
#include <common/Log.h>

namespace applist_internal {

void EventGate::Post(AppListClient::Task task) {
    const CancellationOff untilPosted;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_closed) {
            return;
        }
    }
    try {
        m_executor([gate = shared_from_this(), task = std::move(task)] { gate->Run(task); });
    } catch (const std::exception& exception) {
        APPLIST_LOG_ERROR("Exception in %s: %s", "the executor", exception.what());
    } catch (...) {
        APPLIST_LOG_ERROR("Exception in %s", "the executor");
    }
}

void EventGate::Run(const AppListClient::Task& task) {
    const CancellationOff untilReturned;
    if (!Begin()) {
        return;
    }
    try {
        task();
    } catch (const std::exception& exception) {
        APPLIST_LOG_ERROR("Exception in %s: %s", "an event handler", exception.what());
    } catch (...) {
        APPLIST_LOG_ERROR("Exception in %s", "an event handler");
    }
    End();
}

bool EventGate::Begin() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_closed) {
        return false;
    }
    ++m_depth;
    m_thread = std::this_thread::get_id();
    return true;
}

void EventGate::End() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    --m_depth;
    m_ended.notify_all();
}

void EventGate::Close(std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_closed = true;
    if (m_thread == std::this_thread::get_id()) {
        return;
    }
    if (!m_ended.wait_for(lock, limit, [this] { return m_depth == 0; })) {
        APPLIST_LOG_ERROR("An event handler still runs after the end of the client");
    }
}

} // namespace applist_internal
