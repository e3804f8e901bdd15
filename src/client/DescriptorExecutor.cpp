// Runs the tasks of a client for a loop that watches a file descriptor.
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

#include <applist/AppListExecutors.h>
#include <common/Log.h>
#include <sys/eventfd.h>
#include <unistd.h>

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
        const std::uint64_t one = 1;
        // Fails only if the counter is full, and the descriptor is readable then.
        [[maybe_unused]] const ssize_t written = write(m_descriptor, &one, sizeof(one));
    }

    std::vector<AppListClient::Task> PopAll() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t bytes = read(m_descriptor, &count, sizeof(count));
        return std::exchange(m_tasks, {});
    }

    bool IsClosed() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_descriptor < 0;
    }

    void Close() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_descriptor >= 0) {
            close(std::exchange(m_descriptor, -1));
        }
        m_tasks.clear();
    }

private:
    std::mutex m_mutex;
    int m_descriptor;
    std::vector<AppListClient::Task> m_tasks;
};

DescriptorExecutor::DescriptorExecutor() : m_tasks(std::make_shared<DescriptorTasks>()) {}

DescriptorExecutor::~DescriptorExecutor() {
    m_tasks->Close();
}

int DescriptorExecutor::GetDescriptor() const {
    return m_tasks->Descriptor();
}

void DescriptorExecutor::Dispatch() {
    const std::shared_ptr<DescriptorTasks> tasks = m_tasks; // a task may destroy this object
    for (const AppListClient::Task& task : tasks->PopAll()) {
        if (tasks->IsClosed()) {
            return;
        }
        task();
    }
}

AppListClient::Executor DescriptorExecutor::GetExecutor() const {
    return [tasks = m_tasks](AppListClient::Task task) { tasks->Push(std::move(task)); };
}
