// Runs the tasks of a client for a loop that watches a file descriptor.
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <deque>
#include <mutex>
#include <utility>

#include <applist/AppListExecutors.h>
#include <common/Log.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace applist_internal {

/** The waiting tasks; the executor functions hold them as well. */
class DescriptorTasks {
public:
    DescriptorTasks() : m_descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
        if (m_descriptor < 0) {
            APPLIST_LOG_ERROR("Client has no descriptor for its events: %s", std::strerror(errno));
        }
    }

    int Descriptor() const { return m_descriptor; }

    void Push(AppListClient::Task task) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_descriptor < 0) {
            return;
        }
        m_tasks.push_back(std::move(task));
        if (!std::exchange(m_isReadable, true)) {
            const std::uint64_t one = 1;
            [[maybe_unused]] const ssize_t written = write(m_descriptor, &one, sizeof(one));
        }
    }

    /** @return the number of waiting tasks; the descriptor becomes unreadable. */
    std::size_t Count() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t bytes = read(m_descriptor, &count, sizeof(count));
        m_isReadable = false;
        return m_tasks.size();
    }

    /** @return the first waiting task, or an empty function. */
    AppListClient::Task Pop() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_tasks.empty()) {
            return {};
        }
        AppListClient::Task task = std::move(m_tasks.front());
        m_tasks.pop_front();
        return task;
    }

    void Close() {
        std::deque<AppListClient::Task> dropped; // destroyed without the lock
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_descriptor >= 0) {
            close(std::exchange(m_descriptor, -1));
        }
        dropped.swap(m_tasks);
    }

private:
    std::mutex m_mutex;
    int m_descriptor;
    bool m_isReadable = false;
    std::deque<AppListClient::Task> m_tasks;
};

} // namespace applist_internal

DescriptorExecutor::DescriptorExecutor()
    : m_tasks(std::make_shared<applist_internal::DescriptorTasks>()) {}

DescriptorExecutor::~DescriptorExecutor() {
    m_tasks->Close();
}

int DescriptorExecutor::GetDescriptor() const {
    return m_tasks->Descriptor();
}

void DescriptorExecutor::Dispatch() {
    const auto tasks = m_tasks; // a task may destroy this object
    for (std::size_t count = tasks->Count(); count > 0; --count) {
        const AppListClient::Task task = tasks->Pop();
        if (!task) {
            return; // a nested Dispatch has run the rest
        }
        task();
    }
}

AppListClient::Executor DescriptorExecutor::GetExecutor() const {
    return [tasks = m_tasks](AppListClient::Task task) { tasks->Push(std::move(task)); };
}
