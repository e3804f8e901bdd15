#include <client/SystemBus.h>

#include <utility>

#include <common/Log.h>

namespace applist_internal {

namespace {

constexpr gint64 RELEASE_LIMIT_US = 200000;
constexpr gulong RELEASE_PERIOD_US = 1000;

bool Exists(GWeakRef& reference) {
    g_autoptr(GObject) object = static_cast<GObject*>(g_weak_ref_get(&reference));
    return object != nullptr;
}

// Called on the thread that made the connection, which may be a thread of the host.
void cb_Closed(GDBusConnection* /*connection*/, gboolean /*remotePeerVanished*/, GError* /*error*/,
               void* user_data) {
    g_main_context_wakeup(static_cast<GMainContext*>(user_data));
}

void cb_ReleaseContext(void* context, GClosure* /*closure*/) {
    g_main_context_unref(static_cast<GMainContext*>(context));
}

} // namespace

SystemBus::SystemBus(GMainContext* context)
    : m_context(context), m_cancellable(g_cancellable_new()) {}

SystemBus::~SystemBus() {
    Disconnect();
    g_object_unref(m_cancellable);
}

bool SystemBus::Connect() {
    g_autoptr(GError) error = nullptr;
    m_connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, m_cancellable, &error);
    if (m_connection == nullptr) {
        if (g_cancellable_is_cancelled(m_cancellable) == FALSE &&
            !std::exchange(m_hasFailed, true)) {
            APPLIST_LOG_ERROR("Client cannot reach the bus, trying again [%d] %s", error->code,
                              error->message);
        }
        return false;
    }
    g_dbus_connection_set_exit_on_close(m_connection, FALSE);
    if (IsClosed()) {
        if (!std::exchange(m_hasFailed, true)) {
            APPLIST_LOG_ERROR("Client waits, the process still holds the closed connection");
        }
        g_clear_object(&m_connection);
        return false;
    }
    m_hasFailed = false;
    m_handler =
        g_signal_connect_data(m_connection, "closed", G_CALLBACK(cb_Closed),
                              g_main_context_ref(m_context), cb_ReleaseContext, GConnectFlags{});
    return true;
}

void SystemBus::Disconnect() {
    if (m_handler != 0) {
        g_signal_handler_disconnect(m_connection, std::exchange(m_handler, 0));
    }
    if (m_connection == nullptr) {
        return;
    }
    GWeakRef released;
    g_weak_ref_init(&released, m_connection);
    g_clear_object(&m_connection);
    const gint64 end = g_get_monotonic_time() + RELEASE_LIMIT_US;
    GMainContext* const context = g_main_context_get_thread_default();
    while (Exists(released) && g_get_monotonic_time() < end) {
        if (g_main_context_iteration(context, FALSE) == FALSE) {
            g_usleep(RELEASE_PERIOD_US);
        }
    }
    g_weak_ref_clear(&released);
    // The end of a subscription frees its data in an iteration.
    while (g_main_context_iteration(context, FALSE) != FALSE) {
    }
}

bool SystemBus::IsClosed() const {
    return m_connection == nullptr || g_dbus_connection_is_closed(m_connection) != FALSE;
}

void SystemBus::Cancel() {
    g_cancellable_cancel(m_cancellable);
}

} // namespace applist_internal
