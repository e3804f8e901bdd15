#include "MainLoop.h"

#include <gio/gio.h>

namespace {

gboolean WakeUp(void* /*user_data*/) {
    return G_SOURCE_CONTINUE;
}

} // namespace

bool MainLoop::IterateUntil(const std::function<bool()>& happened,
                            std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    // For conditions that another thread fulfils and for the deadline.
    GSource* const tick = g_timeout_source_new(5);
    g_source_set_callback(tick, WakeUp, nullptr, nullptr);
    g_source_attach(tick, nullptr);
    bool done = happened();
    while (!done && std::chrono::steady_clock::now() < deadline) {
        g_main_context_iteration(nullptr, TRUE);
        done = happened();
    }
    g_source_destroy(tick);
    g_source_unref(tick);
    return done;
}

void MainLoop::IterateUntilIdle() {
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}
