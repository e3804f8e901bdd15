// Does something on the thread that iterates the global default context, where proxies are
// destroyed while the partner notifies.
#ifndef APPLIST_TESTS_ONLOOP_H
#define APPLIST_TESTS_ONLOOP_H

#include <functional>
#include <future>

#include <glib.h>

/** Returns when @p work is done. Not to be called on that thread itself. */
inline void OnLoop(const std::function<void()>& work) {
    struct Task {
        const std::function<void()>& work;
        std::promise<void> done;
    };
    Task task{work, {}};
    GSource* const source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source,
        [](void* data) -> gboolean {
            auto* const self = static_cast<Task*>(data);
            self->work();
            self->done.set_value();
            return G_SOURCE_REMOVE;
        },
        &task, nullptr);
    g_source_attach(source, nullptr);
    g_source_unref(source);
    task.done.get_future().wait();
}

#endif
