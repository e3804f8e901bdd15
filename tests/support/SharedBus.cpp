#include "SharedBus.h"

#include <atomic>
#include <stdexcept>

#include "MainLoop.h"

SharedBus::SharedBus() : m_connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr)) {
    if (m_connection == nullptr) {
        throw std::runtime_error("no shared bus connection");
    }
}

bool SharedBus::WaitUntilReleased() {
    GDBusConnection* const connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    if (connection == nullptr) {
        return true;
    }
    // GDBus's own thread may release the last reference.
    static std::atomic<int> held{0};
    held = 1;
    g_object_weak_ref(
        G_OBJECT(connection), [](void* /*data*/, GObject* /*object*/) { held = 0; }, nullptr);
    g_object_unref(connection);
    const bool released = MainLoop::IterateUntil([] { return held == 0; });
    MainLoop::IterateUntilIdle();
    return released;
}
