#include <client/SystemBus.h>

#include <utility>

#include <common/Log.h>
#include <gio/gio.h>

namespace {

void cb_Closed(GDBusConnection* /*connection*/, gboolean /*remotePeerVanished*/, GError* /*error*/,
               void* user_data) {
    (*static_cast<std::function<void()>*>(user_data))();
}

} // namespace

SystemBus::SystemBus(std::function<void()> onClosed)
    : m_onClosed(std::move(onClosed)), m_cancellable(g_cancellable_new()) {}

SystemBus::~SystemBus() {
    Disconnect();
    g_object_unref(m_cancellable);
}

bool SystemBus::Connect() {
    g_autoptr(GError) error = nullptr;
    m_connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, m_cancellable, &error);
    if (m_connection == nullptr) {
        if (!m_hasFailed) {
            APPLIST_LOG_ERROR("Client cannot reach the bus, trying again [%d] %s", error->code,
                              error->message);
        }
        m_hasFailed = true;
        return false;
    }
    if (IsClosed()) {
        // Another part of the process still holds the closed connection.
        Disconnect();
        return false;
    }
    m_hasFailed = false;
    g_dbus_connection_set_exit_on_close(m_connection, FALSE);
    m_handler = g_signal_connect(m_connection, "closed", G_CALLBACK(cb_Closed), &m_onClosed);
    return true;
}

void SystemBus::Disconnect() {
    if (m_handler != 0) {
        g_signal_handler_disconnect(m_connection, std::exchange(m_handler, 0));
    }
    g_clear_object(&m_connection);
}

bool SystemBus::IsClosed() const {
    return m_connection == nullptr || g_dbus_connection_is_closed(m_connection) != FALSE;
}

void SystemBus::Cancel() {
    g_cancellable_cancel(m_cancellable);
}
