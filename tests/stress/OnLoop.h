// Does something on the thread that iterates the global default context, where proxies are
// destroyed while the partner notifies.
#pragma once

#include <functional>
#include <future>

#include <glib.h>

inline namespace applist_test {

/** Returns when @p work is done. Not to be called on that thread itself. */
inline void OnLoop(const std::function<void()>& work) {
    using Task = std::packaged_task<void()>;
    auto* const task = new Task(work);
    std::future<void> done = task->get_future();
    g_idle_add_full(
        G_PRIORITY_DEFAULT,
        [](void* data) -> gboolean {
            (*static_cast<Task*>(data))();
            return G_SOURCE_REMOVE;
        },
        task, [](void* data) { delete static_cast<Task*>(data); });
    done.get();
}

} // namespace applist_test
