#include "MainLoop.h"

#include <gio/gio.h>

namespace {

gboolean QuitLoop(void* loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_REMOVE;
}

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

bool MainLoop::WaitWithoutIterating(const std::function<bool()>& happened,
                                    std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!happened()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

LoopThread::LoopThread(GMainContext* context)
    : m_loop(g_main_loop_new(context, FALSE)), m_thread([this, context] {
          if (context != nullptr) {
              g_main_context_push_thread_default(context);
          }
          g_main_loop_run(m_loop);
          if (context != nullptr) {
              g_main_context_pop_thread_default(context);
          }
      }) {}

LoopThread::~LoopThread() {
    // A source and not a plain quit, which would be lost on a loop that has not started yet.
    GSource* const quit = g_idle_source_new();
    g_source_set_callback(quit, QuitLoop, m_loop, nullptr);
    g_source_attach(quit, g_main_loop_get_context(m_loop));
    g_source_unref(quit);
    m_thread.join();
    g_main_loop_unref(m_loop);
}
