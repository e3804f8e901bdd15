#include "BusDaemon.h"

namespace {

GVariant* CallFor(GDBusConnection* connection, const char* method, GVariant* parameters) {
    return g_dbus_connection_call_sync(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                       "org.freedesktop.DBus", method, parameters, nullptr,
                                       G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
}

// The number in the daemon's reply, or 0.
std::uint32_t NumberFor(GDBusConnection* connection, const char* method, GVariant* parameters) {
    g_autoptr(GVariant) reply = CallFor(connection, method, parameters);
    guint32 number = 0;
    if (reply != nullptr) {
        g_variant_get(reply, "(u)", &number);
    }
    return number;
}

} // namespace

bool BusDaemon::Call(GDBusConnection* connection, const char* method, GVariant* parameters) {
    g_autoptr(GVariant) reply = CallFor(connection, method, parameters);
    return reply != nullptr;
}

void BusDaemon::Ping(GDBusConnection* connection) {
    Call(connection, "GetId", nullptr);
}

std::uint32_t BusDaemon::RequestName(GDBusConnection* connection, const std::string& name) {
    return NumberFor(connection, "RequestName", g_variant_new("(su)", name.c_str(), guint32{4}));
}

bool BusDaemon::ReleaseName(GDBusConnection* connection, const std::string& name) {
    return Call(connection, "ReleaseName", g_variant_new("(s)", name.c_str()));
}

bool BusDaemon::ReportsGroups(GDBusConnection* connection) {
    const char* const name = g_dbus_connection_get_unique_name(connection);
    g_autoptr(GVariant) reply =
        CallFor(connection, "GetConnectionCredentials", g_variant_new("(s)", name));
    if (reply == nullptr) {
        return false;
    }
    g_autoptr(GVariant) credentials = g_variant_get_child_value(reply, 0);
    g_autoptr(GVariant) groups = g_variant_lookup_value(credentials, "UnixGroupIDs", nullptr);
    return groups != nullptr;
}

pid_t BusDaemon::Process(GDBusConnection* connection) {
    return static_cast<pid_t>(NumberFor(connection, "GetConnectionUnixProcessID",
                                        g_variant_new("(s)", "org.freedesktop.DBus")));
}
