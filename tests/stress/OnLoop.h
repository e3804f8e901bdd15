// Does something on the thread that iterates the global default context, where proxies are
// destroyed while the partner notifies.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>

#include <glib.h>

inline namespace applist_test {

/** Returns when @p work is done. Not to be called on that thread itself. */
inline void OnLoop(const std::function<void()>& work) {
    struct Task {
        const std::function<void()>& work;
        std::mutex mutex;
        std::condition_variable changed;
        bool isDone = false;
    };
    Task task{work, {}, {}};
    std::unique_lock<std::mutex> lock(task.mutex);
    GSource* const source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source,
        [](void* data) -> gboolean {
            Task& self = *static_cast<Task*>(data);
            // The last access: afterwards the waiting thread may return and destroy the task.
            const std::lock_guard<std::mutex> held(self.mutex);
            self.work();
            self.isDone = true;
            self.changed.notify_all();
            return G_SOURCE_REMOVE;
        },
        &task, nullptr);
    g_source_attach(source, nullptr);
    g_source_unref(source);
    task.changed.wait(lock, [&] { return task.isDone; });
}

} // namespace applist_test
