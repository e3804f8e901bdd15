// A host with a main thread that waits outside GLib: for lines "ID NAME" on standard input.
// The library's main context and the listeners run on a second thread.
#include <applist/AppListItem.h>
#include <applist/AppListModel.h>
#include <applist/AppListProxy.h>
#include <applist/ItemSelectionListener.h>
#include <glib.h>
#include <iostream>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <utility>

class Item : public AppListItem {
public:
    Item(std::string id, std::string name) : m_id(std::move(id)), m_name(std::move(name)) {}
    std::string GetVisibleName() override { return m_name; } // on any thread, and never changed
    std::string GetUnigueId() override { return m_id; }

private:
    const std::string m_id;
    const std::string m_name;
};

class Listener : public ItemSelectionListener {
    void OnItemSelectionEvent(AppListModel* model) override { // on the loop's thread
        AppListItem* item = model->GetSelection();
        g_print("selected: %s\n", item ? item->GetVisibleName().c_str() : "nothing");
    }
};

class LoopThread {
public:
    GMainContext* Context() { return m_context; }

    void Start() {
        m_thread = std::thread([this] {
            // Without the push, the partner's events would go to another context.
            g_main_context_push_thread_default(m_context);
            g_main_loop_run(m_loop);
            g_main_context_pop_thread_default(m_context);
        });
    }

    void Stop() {
        // From inside the loop: g_main_loop_quit does nothing for a loop that does not run yet.
        GSource* quit = g_idle_source_new();
        g_source_set_callback(quit, cb_Quit, m_loop, nullptr);
        g_source_attach(quit, m_context);
        g_source_unref(quit);
        m_thread.join();
    }

    ~LoopThread() {
        while (g_main_context_iteration(m_context, FALSE)) {
            // dispatch the remaining deliveries
        }
        g_main_loop_unref(m_loop);
        g_main_context_unref(m_context);
    }

private:
    static gboolean cb_Quit(void* loop) {
        g_main_loop_quit(static_cast<GMainLoop*>(loop));
        return G_SOURCE_REMOVE;
    }

    GMainContext* const m_context = g_main_context_new();
    GMainLoop* const m_loop = g_main_loop_new(m_context, FALSE);
    std::thread m_thread;
};

int main() {
    std::list<Item> items; // outlives the proxy, and never moves an item
    Listener listener;
    LoopThread loop;

    g_main_context_push_thread_default(loop.Context());
    const auto list = std::make_unique<AppListProxy>(); // its callbacks go to that context
    g_main_context_pop_thread_default(loop.Context());
    list->AddItemSelectionListener(&listener); // before the loop runs
    loop.Start();

    std::string id;
    std::string name;
    while (std::cin >> id && std::getline(std::cin >> std::ws, name)) {
        items.emplace_back(id, name);
        list->AddItemAtEnd(&items.back()); // blocks this thread until the partner replies
    }
    loop.Stop(); // Destroying the proxy prints GLib's known warnings of invalid ids.
}
