// The path of events and completions to the host: through its executor, until the client is
// destroyed.
#ifndef APPLIST_CLIENT_EVENTGATE_H
#define APPLIST_CLIENT_EVENTGATE_H

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include <applist/AppListClient.h>

namespace applist_internal {

class EventGate : public std::enable_shared_from_this<EventGate> {
public:
    explicit EventGate(AppListClient::Executor executor) : m_executor(std::move(executor)) {}

    /** Passes @p task to the executor. The task does not run after Close. */
    void Post(AppListClient::Task task);

    /**
     * From now on no task runs. Waits for a running task, at most @p limit, unless the calling
     * thread runs it.
     */
    void Close(std::chrono::milliseconds limit);

private:
    void Run(const AppListClient::Task& task);
    bool Begin();
    void End();

    const AppListClient::Executor m_executor;
    std::mutex m_mutex;
    std::condition_variable m_ended;
    bool m_closed = false;
    int m_depth = 0; // of tasks, since a task may run a nested main loop
    std::thread::id m_thread;
};

} // namespace applist_internal

#endif
