// Runs the tasks of a client in a main context of GLib.
#include <memory>
#include <utility>

#include <applist/AppListExecutors.h>
#include <glib.h>

namespace {

gboolean cb_RunTask(void* user_data) {
    (*static_cast<AppListClient::Task*>(user_data))();
    return G_SOURCE_REMOVE;
}

void cb_DeleteTask(void* user_data) {
    delete static_cast<AppListClient::Task*>(user_data);
}

} // namespace

AppListClient::Executor MainContextExecutor(GMainContext* context) {
    const std::shared_ptr<GMainContext> reference(
        g_main_context_ref(context == nullptr ? g_main_context_default() : context),
        g_main_context_unref);
    return [reference](AppListClient::Task task) {
        // An idle source at this priority, as g_main_context_invoke() could run the task at once.
        g_autoptr(GSource) source = g_idle_source_new();
        g_source_set_priority(source, G_PRIORITY_DEFAULT);
        g_source_set_callback(source, cb_RunTask, new AppListClient::Task(std::move(task)),
                              cb_DeleteTask);
        g_source_attach(source, reference.get());
    };
}
