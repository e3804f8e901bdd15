#include <shared/SystemBus.h>

#include <utility>

namespace {
constexpr const char* ADDRESS_VARIABLE = "DBUS_SYSTEM_BUS_ADDRESS";
}

SystemBus::SystemBus(std::function<void(const std::string&)> onClosed)
    : m_onClosed(std::move(onClosed)) {
    g_autoptr(GError) error = nullptr;
    m_connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    if (m_connection == nullptr) {
        m_problem = error->message;
        return;
    }
    // Otherwise the loss of the bus would end the process with a signal, and without a word.
    g_dbus_connection_set_exit_on_close(m_connection, FALSE);
    m_handlerId = g_signal_connect(m_connection, "closed", G_CALLBACK(OnClosed), this);
}

SystemBus::~SystemBus() {
    if (m_connection != nullptr) {
        g_signal_handler_disconnect(m_connection, m_handlerId);
        g_object_unref(m_connection);
    }
}

std::string SystemBus::Describe() {
    const char* const address = g_getenv(ADDRESS_VARIABLE);
    return address != nullptr ? "the bus at " + std::string(address) : "the system bus";
}

void SystemBus::UseAddress(const std::string& address) {
    g_setenv(ADDRESS_VARIABLE, address.c_str(), TRUE);
}

void SystemBus::OnClosed(GDBusConnection* /*connection*/, gboolean /*remotePeerVanished*/,
                         GError* error, void* user_data) {
    auto* const self = static_cast<SystemBus*>(user_data);
    self->m_onClosed(error != nullptr ? error->message : "the connection was closed");
}
