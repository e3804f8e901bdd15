// ThreadSanitizer does not see into GLib, whose main contexts hand a task to another thread in
// order. A task of an idle source therefore shows this order itself. Other builds have no such
// code.
#ifdef __SANITIZE_THREAD__

#include <dlfcn.h>
#include <glib.h>
#include <sanitizer/tsan_interface.h>

namespace {

struct Task {
    GSourceFunc function;
    gpointer data;
    GDestroyNotify release;
};

gboolean cb_Run(gpointer data) {
    __tsan_acquire(data);
    const Task* const task = static_cast<Task*>(data);
    return task->function(task->data);
}

void cb_Release(gpointer data) {
    __tsan_acquire(data);
    const Task* const task = static_cast<Task*>(data);
    if (task->release != nullptr) {
        task->release(task->data);
    }
    delete task;
}

} // namespace

// Called by the objects of this program in place of GLib's function.
extern "C" void g_source_set_callback(GSource* source, GSourceFunc function, gpointer data,
                                      GDestroyNotify release) {
    static const auto original = reinterpret_cast<decltype(&g_source_set_callback)>(
        dlsym(RTLD_NEXT, "g_source_set_callback"));
    if (source->source_funcs != &g_idle_funcs) {
        original(source, function, data, release);
        return;
    }
    auto* const task = new Task{function, data, release};
    __tsan_release(task);
    original(source, cb_Run, task, cb_Release);
}

#endif
